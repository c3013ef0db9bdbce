/*
 * Turns level values and raw 8-bit entries into the render-ready table:
 *
 *   Lut3DTable* t = Lut3DTableCreate(levels, n, entries); // entries: n^3 RGB triples,
 *   ...                                                    // blue index fastest
 *   Lut3DTableDestroy(t);
 */
#ifndef LUT3DTABLEBUILDER_H
#define LUT3DTABLEBUILDER_H

#include <cstdint>

#include "lut/Lut3DTypes.h"
#include "lut/format/Lut3DFormat.h"

// Allocates the (N + 1)^3 grid and copies entry (r, g, b) into cell (r, g, b).
// The unused fourth byte and the padding cells stay unwritten. False when the
// grid cannot be allocated (the table is left without a grid).
bool Lut3DBuildGrid(Lut3DTable* table, uint32_t n, const uint8_t* entries);

// Allocates and fills the 256-pair index table and sets the uniform flag, in
// single precision with a tolerance of 1/512. False when the index table
// cannot be allocated.
bool Lut3DBuildIndexTable(Lut3DTable* table, const float* levels, uint32_t n);

// Allocates and fills the pair grid (Lut3DTypes.h) from the grid. False when
// it cannot be allocated.
bool Lut3DBuildPairGrid(Lut3DTable* table, uint32_t n);

// A table built from levels and entries (no file data; the loader attaches
// its own), with a pair grid where a kernel reads one. n must be 1
// to 65. Null when an allocation fails; nothing is leaked then.
Lut3DTable* Lut3DTableCreate(const float* levels, uint32_t n, const uint8_t* entries);

// Frees the pair grid, the index table and the grid (pointers cleared) and
// the record. The file data, if any, belongs to the caller.
void Lut3DTableDestroy(Lut3DTable* table);

#endif // LUT3DTABLEBUILDER_H
