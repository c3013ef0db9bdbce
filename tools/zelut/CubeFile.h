/*
 * Reader for 3D tables in the ".cube" text format, and their conversion to
 * the library's LUT file.
 *
 *   CubeTable cube;
 *   std::string error;
 *   if (!parseCube(text, "look.cube", cube, error))
 *       fail(error);                       // "look.cube:12: 'x' is not a number"
 *   LutTable lut;
 *   if (!cubeToLut(cube, "look.cube", lut, error)) ...
 *
 * Accepted: TITLE, LUT_3D_SIZE 2..65, DOMAIN_MIN / DOMAIN_MAX or the older
 * LUT_3D_INPUT_RANGE min max (the same input range for all three channels;
 * a file may use one form or the other, not both), '#' comment lines, blank
 * lines, LF, CRLF or CR line ends, a UTF-8 byte-order mark and keywords in
 * any case. Keywords come before the data; data lines hold three numbers with
 * the red index fastest.
 *
 * A 1D shaper ahead of the 3D table (LUT_1D_SIZE with its rows first, as
 * colour tools bake them, and LUT_1D_INPUT_RANGE for its input) becomes the
 * table's levels when it is one increasing curve shared by all three
 * channels: each level is the input the shaper maps to a grid node. Every
 * refusal names the line it concerns.
 */
#ifndef ZELUT_CUBEFILE_H
#define ZELUT_CUBEFILE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "LutFile.h"

constexpr uint32_t kCubeMinSize = 2;
constexpr uint32_t kCubeMaxSize = 65;

struct CubeTable {
    std::string title;
    uint32_t size = 0;
    double domainMin[3] = { 0.0, 0.0, 0.0 };
    double domainMax[3] = { 1.0, 1.0, 1.0 };
    std::vector<double> values; // size^3 (R, G, B) outputs in file order: red index fastest
    uint32_t domainLine = 0; // last line that set the domain (0: none)
    // The 1D shaper, when there is one: its size, input range and (R, G, B)
    // rows; shaperLine is its LUT_1D_SIZE line.
    uint32_t shaperSize = 0;
    double shaperMin = 0.0, shaperMax = 1.0;
    std::vector<double> shaper;
    uint32_t shaperLine = 0, shaperDataLine = 0;
};

// "name:line: reason" in error on failure.
bool parseCube(std::string_view text, const std::string& name, CubeTable& cube, std::string& error);

// Levels from the domain, entries re-ordered blue-fastest and rounded to
// bytes with clamping. Refuses domains the LUT file cannot express (one set of
// increasing levels for all three axes).
bool cubeToLut(const CubeTable& cube, const std::string& name, LutTable& lut, std::string& error);

#endif
