/*
 * Private records of the LUT effect. The host only ever sees opaque pointers.
 */
#ifndef LUT3DTYPES_H
#define LUT3DTYPES_H

#include <cstddef>
#include <cstdint>

#include "ZeLut3D.h"

struct Lut3DFileData;
struct Lut3DKernelOps;
class WorkerPool;

// Pixel formats accepted by the driver.
enum : uint32_t { kLut3DFormatNV12 = 0, kLut3DFormatNV21 = 1 };

/*
 * Constants of one render, splatted across the lanes that the 8-pixel code
 * loads so that every step is straight-line vector code. Fixed point:
 * YUV->RGB coefficients in Q13 (8192 = 1.0), RGB->YUV coefficients in Q8,
 * the grid scale in Q15. Offsets mirror a 16-byte-aligned vector layout
 * (208 bytes in all).
 */
struct alignas(16) Lut3DConstants {
    uint8_t lumaOffset[8];      // 0 for range exactly 1, else 16
    uint8_t chromaOffset[8];    // 128
    int16_t lumaScale[8];       // Q13
    int16_t rFromV[8];          // Q13
    int16_t gFromU[8];          // Q13
    int16_t gFromV[8];          // Q13
    int16_t bFromU[8];          // Q13
    uint8_t yFromR[8];          // Q8
    uint8_t yFromG[8];          // Q8
    uint8_t yFromB[8];          // Q8
    int16_t uFromR[4];          // Q8
    int16_t uFromG[4];          // Q8
    int16_t uFromB[4];          // Q8
    int16_t vFromR[4];          // Q8
    int16_t vFromG[4];          // Q8
    int16_t vFromB[4];          // Q8
    alignas(16) uint16_t gridScale[8]; // Q15 (N - 1) / 255; written for uniform tables only
    alignas(16) uint8_t reserved[16];  // all 8; not read
};
static_assert(sizeof(Lut3DConstants) == 208, "constants block is 208 bytes");
static_assert(offsetof(Lut3DConstants, yFromR) == 96, "layout");
static_assert(offsetof(Lut3DConstants, uFromR) == 120, "layout");
static_assert(offsetof(Lut3DConstants, gridScale) == 176, "layout");
static_assert(offsetof(Lut3DConstants, reserved) == 192, "layout");

/*
 * A loaded table. The grid has (N + 1)^3 cells of 4 bytes (R, G, B, unused);
 * cells with an index of N on any axis are padding that the kernel reads only
 * with weight 0, so the upper neighbour of any index needs no bounds test.
 * Cell (r, g, b) is at grid + r * planeStride + g * rowStride + b * 4.
 *
 * The pair grid is the same cells laid out for a kernel that interpolates
 * byte pairs: entry (r, g, b) for r, g < N and b <= N is 16 bytes at
 * pairGrid + 16 * ((r * N + g) * (N + 1) + b), holding for g' = g, then
 * g + 1, the R, G and B of cells (r, g', b) and (r + 1, g', b) as byte pairs
 * (R at r, R at r + 1, G .., B ..) and two zero bytes. Every byte is the
 * cell's value minus 128 (a signed byte), and padding cells count as 128.
 * Entries b and b + 1 are adjacent: one 32-byte load holds all eight corners
 * of a position. Tables have it only on CPUs that can run such a kernel.
 */
struct Lut3DTable {
    Lut3DFileData* fileData;  // the parsed file; null for tables built in memory
    uint8_t* grid;            // 64-byte aligned
    uint64_t rowStride;       // 4 * (N + 1)
    uint64_t planeStride;     // 4 * (N + 1)^2
    uint8_t* indexTable;      // 64-byte aligned, 256 (index, fraction in 1/128) pairs
    uint8_t* pairGrid;        // 64-byte aligned, or null where no kernel reads it
    uint8_t uniform;          // 1 when the levels are evenly spaced from 0 to 1
};

// Level count N of a table, from its row stride of 4 * (N + 1).
inline uint32_t Lut3DTableLevels(const Lut3DTable* table)
{
    return static_cast<uint32_t>(table->rowStride / 4 - 1);
}

struct Lut3DEffect {
    Lut3DConstants* constants; // 64-byte aligned; null if its allocation failed
    Lut3DTable* table;         // per-render fields, table through reserved
    Lut3DFrame* source;
    Lut3DFrame* destination;
    uint32_t pixelFormat;
    uint32_t colourMatrix;
    int32_t range;
    uint32_t width;
    int32_t height;
    int32_t reserved;
    const Lut3DKernelOps* kernel; // chosen by the host; null: the active variant
    WorkerPool* pool;          // null when rendering on the caller's thread
    uint32_t threadCount;      // workers in the pool, 0 without a pool
};

#endif // LUT3DTYPES_H
