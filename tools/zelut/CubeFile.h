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
 * Accepted: TITLE, LUT_3D_SIZE 2..65, DOMAIN_MIN / DOMAIN_MAX (or the older
 * LUT_3D_INPUT_RANGE), '#' comment lines, blank lines, LF or CRLF line ends.
 * Keywords come before the data; data lines hold three numbers with the red
 * index fastest. Every refusal names the line it concerns.
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
};

// "name:line: reason" in error on failure.
bool parseCube(std::string_view text, const std::string& name, CubeTable& cube, std::string& error);

// Levels from the domain, entries re-ordered blue-fastest and rounded to
// bytes with clamping. Refuses domains the LUT file cannot express (one set of
// increasing levels for all three axes).
bool cubeToLut(const CubeTable& cube, const std::string& name, LutTable& lut, std::string& error);

#endif
