/*
 * 64-byte aligned blocks for the effect's large buffers (grid, index table,
 * raw entries, constants block). Every such block is released with
 * Lut3DAlignedFree, never with delete.
 */
#ifndef LUT3DMEMORY_H
#define LUT3DMEMORY_H

#include <cstddef>

constexpr size_t kLut3DAlignment = 64;

// Returns null when the block cannot be had (never throws).
void* Lut3DAlignedAlloc(size_t bytes);
void Lut3DAlignedFree(void* block);

#endif // LUT3DMEMORY_H
