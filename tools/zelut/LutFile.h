/*
 * The binary LUT file the library loads, as this tool builds and explains it.
 * The format itself (layout, parsing, the uniform test) is the library's
 * format module, lut/format/Lut3DFormat.h.
 *
 *   LutTable t = identityTable(33);
 *   std::vector<uint8_t> bytes = encodeLutFile(t);     // ready to write
 *   LutFileInfo info;
 *   if (!decodeLutFile(bytes, info, error)) ...        // header fields for display
 *
 * Entry (r, g, b) of a three-dimensional table is number (r * N + g) * N + b:
 * the blue input index runs fastest.
 */
#ifndef ZELUT_LUTFILE_H
#define ZELUT_LUTFILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "lut/format/Lut3DFormat.h"

// A three-dimensional table with 8-bit entries, as this tool writes them.
struct LutTable {
    uint32_t n = 0;
    std::vector<float> levels; // n input values, shared by the three axes
    std::vector<uint8_t> entries; // n^3 (R, G, B) triples, blue index fastest
};

// Header, level offset 48, levels, entries; reserved words 0.
std::vector<uint8_t> encodeLutFile(const LutTable& table);

// Levels i / (n - 1) in single precision, as the library's uniform tables use.
std::vector<float> unitLevels(uint32_t n);

// Every cell holds its own input: round(level x 255) in R, G and B.
LutTable identityTable(uint32_t n);

// n unit levels, and in cell (r, g, b) the bytes cell(levels[r], levels[g],
// levels[b], out) writes to out[0..2].
template <typename Cell>
LutTable tableOf(uint32_t n, Cell cell)
{
    LutTable t;
    t.n = n;
    t.levels = unitLevels(n);
    t.entries.resize(3u * n * n * n);
    uint8_t* out = t.entries.data();
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b, out += 3)
                cell(t.levels[r], t.levels[g], t.levels[b], out);
    return t;
}

// An output value in 0..1 as an entry byte, clamped and rounded to nearest.
uint8_t lutByte(double value);

struct LutFileInfo {
    uint32_t version = 0;
    uint32_t levelCount = 0;
    uint32_t entryType = 0;
    uint32_t dimensions = 0;
    uint64_t levelOffset = 0;
    uint64_t fileBytes = 0;
    std::vector<float> levels;
    uint64_t entryBytes = 0; // as the header implies
    uint32_t entryCrc32 = 0;
    uint64_t trailingBytes = 0; // bytes after the entries
};

// Reads the fields of a file that the library accepted; on a file too short
// or inconsistent for that, false and a reason.
bool decodeLutFile(const std::string& bytes, LutFileInfo& info, std::string& error);

// The library's reason, when it gives none, for refusing a file: the first
// rule of the format that the bytes break. Empty when none is broken.
std::string lutFileProblem(const std::string& bytes);

// Evenly spaced from 0 to 1 within 1/512, judged as the library judges it.
bool levelsUniform(const std::vector<float>& levels);

#endif
