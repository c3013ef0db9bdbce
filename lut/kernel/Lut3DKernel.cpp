/*
 * The row-pair wrapper shared by every kernel variant. A row pair is cut into
 * spans of columns; each span is converted to RGB (whole groups of 8 straight
 * from the rows, a last partial group through zero-filled temporaries), looked
 * up in one grid pass over both rows, and converted back (the partial group
 * again through temporaries, so the variants never touch a byte past a row).
 * A span is fully read and converted before any of it is written, which makes
 * rendering in place safe.
 */
#include "lut/kernel/Lut3DKernel.h"

#include <algorithm>
#include <cstring>

namespace {

// Columns per pass. A multiple of 8 (so every pass starts on a chroma pair)
// that keeps the two RGB buffers at 24 KiB of stack whatever the width.
constexpr uint32_t kSpan = 4096;

} // namespace

void Lut3DKernelRowPair(const Lut3DKernelParams& params, const uint8_t* srcY0,
                        const uint8_t* srcY1, const uint8_t* srcUV, uint8_t* dstY0,
                        uint8_t* dstY1, uint8_t* dstUV)
{
    const Lut3DKernelOps* ops = params.ops;
    const Lut3DConstants* k = params.constants;
    const Lut3DTable* table = params.table;
    const uint32_t width = params.width;
    const int nv21 = params.isNV21 ? 1 : 0;
    // The two rows' RGB buffers, contiguous so that one grid pass covers both.
    alignas(64) uint8_t rgb[2 * 3 * kSpan];

    for (uint32_t x0 = 0; x0 < width; x0 += kSpan) {
        const uint32_t n = std::min(kSpan, width - x0);
        const uint32_t full = n & ~7u;
        const uint32_t rem = n & 7u;
        const uint32_t chromaRem = (rem + 1) & ~1u; // chroma bytes of the tail pixels
        const uint32_t w8 = full + (rem ? 8 : 0);
        uint8_t* rgb0 = rgb;
        uint8_t* rgb1 = rgb + 3 * w8;

        ops->yuvToRgb(k, srcY0 + x0, srcY1 + x0, srcUV + x0, nv21, rgb0, rgb1, full);
        if (rem) {
            // The tail goes through zero-filled temporaries so that the unset
            // lanes (and an odd width's last chroma average) are deterministic.
            uint8_t ty0[8] = {}, ty1[8] = {}, tuv[8] = {};
            std::memcpy(ty0, srcY0 + x0 + full, rem);
            std::memcpy(ty1, srcY1 + x0 + full, rem);
            std::memcpy(tuv, srcUV + x0 + full, chromaRem);
            ops->yuvToRgb(k, ty0, ty1, tuv, nv21, rgb0 + 3 * full, rgb1 + 3 * full, 8);
        }

        ops->gridLookup(k, table, rgb, 2 * w8);

        ops->rgbToYuv(k, rgb0, rgb1, dstY0 + x0, dstY1 + x0, dstUV + x0, nv21, full);
        if (rem) {
            uint8_t ty0[8], ty1[8], tuv[8];
            ops->rgbToYuv(k, rgb0 + 3 * full, rgb1 + 3 * full, ty0, ty1, tuv, nv21, 8);
            std::memcpy(dstY0 + x0 + full, ty0, rem);
            std::memcpy(dstY1 + x0 + full, ty1, rem);
            std::memcpy(dstUV + x0 + full, tuv, chromaRem);
        }
    }
}
