#include "lut/Lut3DTableBuilder.h"

#include <cmath>
#include <cstring>
#include <new>

#include "lut/Lut3DMemory.h"
#include "lut/kernel/Lut3DKernel.h"

namespace {

// Fraction in 1/128 of the way from level j-1 to level j. Along the walk x
// always lies strictly above level j-1 and at or below level j, so the
// quotient is in (0, 1] and the result in 0..128. Infinite levels can still
// make it NaN; that counts as 0 so that the kernel's weights stay valid.
uint8_t fractionOf(float x, float below, float above)
{
    const float f = (x - below) / (above - below) * 128.0f;
    if (!(f >= 0.0f))
        return 0;
    if (f >= 128.0f)
        return 128;
    return static_cast<uint8_t>(f);
}

} // namespace

bool Lut3DBuildGrid(Lut3DTable* table, uint32_t n, const uint8_t* entries)
{
    const uint64_t side = n + 1;
    table->rowStride = 4 * side;
    table->planeStride = 4 * side * side;
    table->grid = static_cast<uint8_t*>(Lut3DAlignedAlloc(table->planeStride * side));
    if (!table->grid)
        return false;
    const uint8_t* entry = entries;
    for (uint32_t r = 0; r < n; ++r) {
        for (uint32_t g = 0; g < n; ++g) {
            uint8_t* cell = table->grid + r * table->planeStride + g * table->rowStride;
            for (uint32_t b = 0; b < n; ++b, entry += 3, cell += 4)
                std::memcpy(cell, entry, 3);
        }
    }
    return true;
}

bool Lut3DBuildPairGrid(Lut3DTable* table, uint32_t n)
{
    const uint64_t entries = uint64_t { n } * n * (n + 1);
    uint8_t* pairs = static_cast<uint8_t*>(Lut3DAlignedAlloc(16 * entries));
    table->pairGrid = pairs;
    if (!pairs)
        return false;
    // Padding cells (index N) are never written in the grid; here they read
    // as 128, which the bias makes 0.
    auto biased = [&](uint32_t r, uint32_t g, uint32_t b, int ch) {
        const bool inside = r < n && g < n && b < n;
        const uint8_t value = inside
            ? table->grid[r * table->planeStride + g * table->rowStride + 4 * b + ch]
            : 128;
        return static_cast<uint8_t>(value - 128);
    };
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b <= n; ++b, pairs += 16)
                for (uint32_t dg = 0; dg < 2; ++dg) {
                    uint8_t* half = pairs + 8 * dg;
                    for (int ch = 0; ch < 3; ++ch) {
                        half[2 * ch] = biased(r, g + dg, b, ch);
                        half[2 * ch + 1] = biased(r + 1, g + dg, b, ch);
                    }
                    half[6] = half[7] = 0;
                }
    return true;
}

bool Lut3DBuildIndexTable(Lut3DTable* table, const float* levels, uint32_t n)
{
    uint8_t* index = static_cast<uint8_t*>(Lut3DAlignedAlloc(512));
    table->indexTable = index;
    if (!index)
        return false;
    table->uniform = Lut3DLevelsUniform(levels, n) ? 1 : 0;

    uint32_t j = 0;
    for (uint32_t v = 0; v < 256; ++v) {
        const float x = static_cast<float>(v) / 255.0f;
        bool pastLast = false;
        while (x > levels[j]) {
            if (j == n - 1) {
                pastLast = true;
                break;
            }
            ++j;
        }
        if (pastLast) {
            for (; v < 256; ++v) {
                index[2 * v] = static_cast<uint8_t>(n - 1);
                index[2 * v + 1] = 0;
            }
            break;
        }
        if (x == levels[j]) {
            index[2 * v] = static_cast<uint8_t>(j);
            index[2 * v + 1] = 0;
        } else if (j > 0) {
            index[2 * v] = static_cast<uint8_t>(j - 1);
            index[2 * v + 1] = fractionOf(x, levels[j - 1], levels[j]);
        } else {
            index[2 * v] = 0;
            index[2 * v + 1] = 0;
        }
    }
    return true;
}

Lut3DTable* Lut3DTableCreate(const float* levels, uint32_t n, const uint8_t* entries)
{
    if (n == 0 || n > kLut3DMaxLevels || !levels || !entries)
        return nullptr;
    Lut3DTable* table = Lut3DCreateRecord<Lut3DTable>();
    if (!table)
        return nullptr;
    if (!Lut3DBuildGrid(table, n, entries) || !Lut3DBuildIndexTable(table, levels, n)
        || (Lut3DKernelPairGridNeeded() && !Lut3DBuildPairGrid(table, n))) {
        Lut3DTableDestroy(table);
        return nullptr;
    }
    return table;
}

void Lut3DTableDestroy(Lut3DTable* table)
{
    if (!table)
        return;
    Lut3DAlignedFree(table->pairGrid);
    table->pairGrid = nullptr;
    Lut3DAlignedFree(table->indexTable);
    table->indexTable = nullptr;
    Lut3DAlignedFree(table->grid);
    table->grid = nullptr;
    Lut3DDestroyRecord(table);
}
