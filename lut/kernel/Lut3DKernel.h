/*
 * Row-pair kernel of the LUT effect.
 *
 * A row pair is converted NV12/NV21 -> RGB (fixed point), looked up in the
 * table's grid with trilinear interpolation, and converted back to two luma
 * rows and one 2x2-subsampled chroma row. The three steps are separate
 * functions per instruction set with identical signatures and identical
 * results, collected in a Lut3DKernelOps table:
 *
 *   Lut3DKernelParams p{Lut3DKernelActive(), constants, table, width, isNV21};
 *   Lut3DKernelRowPair(p, sy0, sy1, suv, dy0, dy1, duv);
 *
 * The portable reference (Lut3DKernelC.cpp) mimics 16-bit vector lanes
 * exactly and is the oracle every other variant is tested against.
 */
#ifndef LUT3DKERNEL_H
#define LUT3DKERNEL_H

#include <cstdint>

#include "lut/Lut3DTypes.h"

// Marks the small helpers of a variant's inner loop, which the compiler's
// size heuristics would otherwise leave as calls that pass vectors through
// memory.
#define LUT3D_KERNEL_INLINE inline __attribute__((always_inline))

// Marks a loop body for LLVM's machine-code analyser (make mca, which builds
// with LUT3D_MCA); in every other build the marks are nothing.
#if defined(LUT3D_MCA)
#define LUT3D_MCA_BEGIN(name) __asm__ volatile("# LLVM-MCA-BEGIN " name)
#define LUT3D_MCA_END() __asm__ volatile("# LLVM-MCA-END")
#else
#define LUT3D_MCA_BEGIN(name) do {} while (0)
#define LUT3D_MCA_END() do {} while (0)
#endif

struct Lut3DKernelOps {
    const char* name;
    // count pixels (a multiple of 8) of two luma rows and their chroma row to
    // two RGB triple buffers. Reads exactly count bytes of each input row.
    void (*yuvToRgb)(const Lut3DConstants* k, const uint8_t* y0, const uint8_t* y1,
                     const uint8_t* uv, int isNV21, uint8_t* rgb0, uint8_t* rgb1, uint32_t count);
    // Recolours count RGB triples (a multiple of 8) in place through the grid.
    void (*gridLookup)(const Lut3DConstants* k, const Lut3DTable* table, uint8_t* rgb,
                       uint32_t count);
    // count pixels (a multiple of 8) of two RGB buffers to two luma rows and
    // one chroma row. Writes exactly count bytes of each output row.
    void (*rgbToYuv)(const Lut3DConstants* k, const uint8_t* rgb0, const uint8_t* rgb1,
                     uint8_t* y0, uint8_t* y1, uint8_t* uv, int isNV21, uint32_t count);
    // The grid lookup reads the table's pair grid, which every table carries
    // on a CPU that can run such a variant.
    bool usesPairGrid;
};

enum class Lut3DKernelVariant { Reference, SSE41, AVX2, AVX512, NEON };

// Everything a row pair reads besides its rows, fixed for a whole render.
struct Lut3DKernelParams {
    const Lut3DKernelOps* ops;
    const Lut3DConstants* constants; // built by Lut3DBuildConstants for this table
    const Lut3DTable* table;
    uint32_t width;                  // pixels per row
    bool isNV21;                     // chroma pairs are V, U
};

// The variant used for rendering, chosen on first use (thread-safe).
const Lut3DKernelOps* Lut3DKernelActive();

// A named variant, or null when this CPU or build cannot run it. Tests and
// benchmarks use this to compare variants.
const Lut3DKernelOps* Lut3DKernelGet(Lut3DKernelVariant variant);

// Whether a variant this CPU and build can run reads the pair grid, so that
// tables must carry one (thread-safe; decided once).
bool Lut3DKernelPairGridNeeded();

// The variant of that name ("C", "SSE4.1", "AVX2", "AVX-512", "NEON"), or
// null when there is none or this CPU or build cannot run it.
const Lut3DKernelOps* Lut3DKernelFind(const char* name);

extern const Lut3DKernelOps kLut3DKernelReference;

// Fills the constants block from the colour matrix (0 BT.601, other BT.709),
// the range (0 video, other full; luma offset 0 only for exactly 1) and the
// table. The grid scale is written only for uniform tables.
void Lut3DBuildConstants(Lut3DConstants* k, const Lut3DTable* table, uint32_t colourMatrix,
                         int32_t range);

// Processes one row pair of params.width pixels. For a lone last row the
// same row is passed as row 0 and row 1. Source and destination may be the
// same frame: each span of columns is read and converted whole before any of
// it is written.
void Lut3DKernelRowPair(const Lut3DKernelParams& params, const uint8_t* srcY0,
                        const uint8_t* srcY1, const uint8_t* srcUV, uint8_t* dstY0,
                        uint8_t* dstY1, uint8_t* dstUV);

#endif // LUT3DKERNEL_H
