/*
 * NEON kernel variant (arm64, where Advanced SIMD is always present). Integer
 * code only; bit-exact with the portable reference, which models these very
 * instructions lane by lane:
 *  - YUV->RGB: m(a, c) = floor(a * c / 32768) is sqdmulh (vqdmulhq_s16); the
 *    rounding shift by 2 with unsigned saturation is sqrshrun.
 *  - Grid lookup: a uniform table's index is sqdmulh(c, scale) and its
 *    fraction bits 8 to 14 of the wrapped 16-bit product c * scale; the
 *    corners are eight 32-bit lane loads per pixel (R, G, B, x words); each
 *    interpolation step is (c0 * (128 - f) + c1 * f) >> 7 as umull + umlal
 *    into 16-bit lanes and a narrowing shift, on the bytes of the words, so
 *    one step serves all channels of four pixels per vector.
 *  - RGB->YUV: Y by umull/umlal and a rounding narrow by 8; the 2x2 chroma
 *    average by a widening add, a pairwise add and a rounding shift by 2; U
 *    and V by 16-bit multiply-subtract and a rounding, saturating narrow by 8.
 * The pixel format is data: a table-lookup index that picks each pixel's U
 * and V byte, and one that orders the output pair.
 *
 * Memory: reads and writes exactly count bytes of each luma and chroma row
 * and 3 * count bytes of each RGB buffer; nothing past a row. A corner load
 * reads the 4 bytes of one cell; the upper neighbour of any index is a
 * padding cell at worst, inside the grid. The index table is read one byte
 * pair at a time.
 */
#include <arm_neon.h>

#include <cstdint>
#include <cstring>

#include "lut/kernel/Lut3DKernel.h"

namespace {

// ---------------------------------------------------------------- YUV -> RGB

void yuvToRgbNeon(const Lut3DConstants* k, const uint8_t* y0, const uint8_t* y1,
                  const uint8_t* uv, int isNV21, uint8_t* rgb0, uint8_t* rgb1, uint32_t count)
{
    // Pixel x takes the pair at byte 2 * (x / 2): U is its first byte for NV12
    // and its second for NV21.
    static const uint8_t kFirst[8] = {0, 0, 2, 2, 4, 4, 6, 6};
    static const uint8_t kSecond[8] = {1, 1, 3, 3, 5, 5, 7, 7};
    const uint8x8_t spreadU = vld1_u8(isNV21 ? kSecond : kFirst);
    const uint8x8_t spreadV = vld1_u8(isNV21 ? kFirst : kSecond);
    const uint8x8_t lumaOffset = vld1_u8(k->lumaOffset);
    const uint8x8_t chromaOffset = vld1_u8(k->chromaOffset);
    const int16x8_t lumaScale = vld1q_s16(k->lumaScale);
    const int16x8_t rFromV = vld1q_s16(k->rFromV);
    const int16x8_t gFromU = vld1q_s16(k->gFromU);
    const int16x8_t gFromV = vld1q_s16(k->gFromV);
    const int16x8_t bFromU = vld1q_s16(k->bFromU);

    for (uint32_t x = 0; x < count; x += 8) {
        const uint8x8_t chroma = vld1_u8(uv + x);
        // (C - 128) * 16 in signed 16-bit lanes.
        const int16x8_t u = vshlq_n_s16(
            vreinterpretq_s16_u16(vsubl_u8(vtbl1_u8(chroma, spreadU), chromaOffset)), 4);
        const int16x8_t v = vshlq_n_s16(
            vreinterpretq_s16_u16(vsubl_u8(vtbl1_u8(chroma, spreadV), chromaOffset)), 4);
        const int16x8_t rTerm = vqdmulhq_s16(v, rFromV);
        const int16x8_t gTerm = vaddq_s16(vqdmulhq_s16(u, gFromU), vqdmulhq_s16(v, gFromV));
        const int16x8_t bTerm = vqdmulhq_s16(u, bFromU);
        const uint8_t* luma[2] = {y0 + x, y1 + x};
        uint8_t* out[2] = {rgb0 + 3 * x, rgb1 + 3 * x};
        for (int row = 0; row < 2; ++row) {
            const int16x8_t y = vshlq_n_s16(
                vreinterpretq_s16_u16(vsubl_u8(vld1_u8(luma[row]), lumaOffset)), 4);
            const int16x8_t yScaled = vqdmulhq_s16(y, lumaScale);
            uint8x8x3_t px;
            px.val[0] = vqrshrun_n_s16(vaddq_s16(yScaled, rTerm), 2);
            px.val[1] = vqrshrun_n_s16(vsubq_s16(yScaled, gTerm), 2);
            px.val[2] = vqrshrun_n_s16(vaddq_s16(yScaled, bTerm), 2);
            vst3_u8(out[row], px);
        }
    }
}

// ---------------------------------------------------------------- grid

struct GridGeometry {
    const uint8_t* grid;
    uint32_t corner[2][2][2]; // a * planeStride + b * rowStride + d * 4
    uint16_t planeStride, rowStride;
    int16x8_t scale;
    const uint8_t* indexTable;
};

// Positions of eight pixels: byte offsets of their (iR, iG, iB) cells and
// their three fractions as 16-bit lanes.
struct Positions {
    uint32_t offset[8];
    uint16x8_t fR, fG, fB;
};

LUT3D_KERNEL_INLINE void storeOffsets(const GridGeometry& g, uint16x8_t iR, uint16x8_t iG, uint16x8_t iB,
                         Positions* p)
{
    uint32x4_t lo = vmull_n_u16(vget_low_u16(iR), g.planeStride);
    uint32x4_t hi = vmull_n_u16(vget_high_u16(iR), g.planeStride);
    lo = vmlal_n_u16(lo, vget_low_u16(iG), g.rowStride);
    hi = vmlal_n_u16(hi, vget_high_u16(iG), g.rowStride);
    lo = vmlal_n_u16(lo, vget_low_u16(iB), 4);
    hi = vmlal_n_u16(hi, vget_high_u16(iB), 4);
    vst1q_u32(p->offset, lo);
    vst1q_u32(p->offset + 4, hi);
}

// Uniform table: index = floor(c * s / 32768), fraction = bits 8 to 14 of c * s.
LUT3D_KERNEL_INLINE void positionsUniform(const GridGeometry& g, const uint8x8x3_t& rgb, Positions* p)
{
    uint16x8_t index[3], fraction[3];
    for (int ch = 0; ch < 3; ++ch) {
        const uint16x8_t c = vmovl_u8(rgb.val[ch]);
        index[ch] = vreinterpretq_u16_s16(vqdmulhq_s16(vreinterpretq_s16_u16(c), g.scale));
        const uint16x8_t product = vmulq_u16(c, vreinterpretq_u16_s16(g.scale));
        fraction[ch] = vandq_u16(vshrq_n_u16(product, 8), vdupq_n_u16(127));
    }
    storeOffsets(g, index[0], index[1], index[2], p);
    p->fR = fraction[0];
    p->fG = fraction[1];
    p->fB = fraction[2];
}

// Non-uniform table: (index, fraction) pairs from the index table.
LUT3D_KERNEL_INLINE void positionsIndexed(const GridGeometry& g, const uint8_t* rgb, Positions* p)
{
    uint16_t index[3][8], fraction[3][8];
    for (int i = 0; i < 8; ++i)
        for (int ch = 0; ch < 3; ++ch) {
            const uint8_t* pair = g.indexTable + 2 * rgb[3 * i + ch];
            index[ch][i] = pair[0];
            fraction[ch][i] = pair[1];
        }
    storeOffsets(g, vld1q_u16(index[0]), vld1q_u16(index[1]), vld1q_u16(index[2]), p);
    p->fR = vld1q_u16(fraction[0]);
    p->fG = vld1q_u16(fraction[1]);
    p->fB = vld1q_u16(fraction[2]);
}

// Weights of four pixels' words: each pixel's fraction in all four bytes of
// its word (f), and 128 - f.
struct Weights {
    uint8x16_t w0[2], w1[2]; // pixels 0-3 and 4-7
};

LUT3D_KERNEL_INLINE Weights weightsOf(uint16x8_t f)
{
    // The fraction of pixel i is byte 2 * i of the 16-bit lanes.
    static const uint8_t kSpread[2][16] = {{0, 0, 0, 0, 2, 2, 2, 2, 4, 4, 4, 4, 6, 6, 6, 6},
                                           {8, 8, 8, 8, 10, 10, 10, 10, 12, 12, 12, 12, 14, 14, 14, 14}};
    const uint8x16_t bytes = vreinterpretq_u8_u16(f);
    Weights w;
    for (int h = 0; h < 2; ++h) {
        w.w1[h] = vqtbl1q_u8(bytes, vld1q_u8(kSpread[h]));
        w.w0[h] = vsubq_u8(vdupq_n_u8(128), w.w1[h]);
    }
    return w;
}

// (c0 * w0 + c1 * w1) >> 7 for sixteen bytes; the sums fit 16 bits.
LUT3D_KERNEL_INLINE uint8x16_t lerp7(uint8x16_t c0, uint8x16_t c1, uint8x16_t w0, uint8x16_t w1)
{
    const uint16x8_t lo =
        vmlal_u8(vmull_u8(vget_low_u8(c0), vget_low_u8(w0)), vget_low_u8(c1), vget_low_u8(w1));
    const uint16x8_t hi = vmlal_high_u8(vmull_high_u8(c0, w0), c1, w1);
    return vshrn_high_n_u16(vshrn_n_u16(lo, 7), hi, 7);
}

// Corner (a, b, d) of four pixels: one 32-bit cell per lane.
LUT3D_KERNEL_INLINE uint8x16_t loadCorner(const uint8_t* const (&cell)[4], uint32_t at)
{
    uint32x4_t v = vdupq_n_u32(0);
    v = vld1q_lane_u32(reinterpret_cast<const uint32_t*>(cell[0] + at), v, 0);
    v = vld1q_lane_u32(reinterpret_cast<const uint32_t*>(cell[1] + at), v, 1);
    v = vld1q_lane_u32(reinterpret_cast<const uint32_t*>(cell[2] + at), v, 2);
    v = vld1q_lane_u32(reinterpret_cast<const uint32_t*>(cell[3] + at), v, 3);
    return vreinterpretq_u8_u32(v);
}

// R, G, B, x words of four pixels looked up through the grid (h: which four).
LUT3D_KERNEL_INLINE uint8x16_t interpolate4(const GridGeometry& g, const Positions& p, const Weights& wR,
                               const Weights& wG, const Weights& wB, int h)
{
    const uint8_t* const cell[4] = {g.grid + p.offset[4 * h], g.grid + p.offset[4 * h + 1],
                                    g.grid + p.offset[4 * h + 2], g.grid + p.offset[4 * h + 3]};
    uint8x16_t e[2][2]; // along R, for each (b, d)
    for (int b = 0; b < 2; ++b)
        for (int d = 0; d < 2; ++d)
            e[b][d] = lerp7(loadCorner(cell, g.corner[0][b][d]),
                            loadCorner(cell, g.corner[1][b][d]), wR.w0[h], wR.w1[h]);
    const uint8x16_t g0 = lerp7(e[0][0], e[1][0], wG.w0[h], wG.w1[h]);
    const uint8x16_t g1 = lerp7(e[0][1], e[1][1], wG.w0[h], wG.w1[h]);
    return lerp7(g0, g1, wB.w0[h], wB.w1[h]);
}

template <bool kUniform>
void gridLoop(const GridGeometry& g, uint8_t* rgb, uint32_t count)
{
    // Drops the fourth byte of each word: 32 bytes of words to 24 of triples.
    static const uint8_t kPackHead[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 16, 17, 18, 20};
    static const uint8_t kPackTail[8] = {21, 22, 24, 25, 26, 28, 29, 30};
    const uint8x16_t packHead = vld1q_u8(kPackHead);
    const uint8x8_t packTail = vld1_u8(kPackTail);
    for (uint32_t x = 0; x < count; x += 8, rgb += 24) {
        Positions p;
        if (kUniform)
            positionsUniform(g, vld3_u8(rgb), &p);
        else
            positionsIndexed(g, rgb, &p);
        const Weights wR = weightsOf(p.fR), wG = weightsOf(p.fG), wB = weightsOf(p.fB);
        uint8x16x2_t words;
        words.val[0] = interpolate4(g, p, wR, wG, wB, 0);
        words.val[1] = interpolate4(g, p, wR, wG, wB, 1);
        vst1q_u8(rgb, vqtbl2q_u8(words, packHead));
        vst1_u8(rgb + 16, vqtbl2_u8(words, packTail));
    }
}

void gridLookupNeon(const Lut3DConstants* k, const Lut3DTable* table, uint8_t* rgb,
                    uint32_t count)
{
    GridGeometry g;
    g.grid = table->grid;
    // N <= 65: planeStride <= 4 * 66 * 66 = 17424 fits 16 bits.
    g.planeStride = static_cast<uint16_t>(table->planeStride);
    g.rowStride = static_cast<uint16_t>(table->rowStride);
    for (int a = 0; a < 2; ++a)
        for (int b = 0; b < 2; ++b)
            for (int d = 0; d < 2; ++d)
                g.corner[a][b][d] = a * g.planeStride + b * g.rowStride + d * 4;
    g.scale = vreinterpretq_s16_u16(vld1q_u16(k->gridScale));
    g.indexTable = table->indexTable;
    if (table->uniform)
        gridLoop<true>(g, rgb, count);
    else
        gridLoop<false>(g, rgb, count);
}

// ---------------------------------------------------------------- RGB -> YUV

// (sum of a 2x2 block + 2) >> 2 for the four pairs of eight pixels.
LUT3D_KERNEL_INLINE int16x4_t average2x2(uint8x8_t row0, uint8x8_t row1)
{
    const uint16x8_t sum = vaddl_u8(row0, row1);
    return vreinterpret_s16_u16(
        vrshr_n_u16(vpadd_u16(vget_low_u16(sum), vget_high_u16(sum)), 2));
}

void rgbToYuvNeon(const Lut3DConstants* k, const uint8_t* rgb0, const uint8_t* rgb1,
                  uint8_t* y0, uint8_t* y1, uint8_t* uv, int isNV21, uint32_t count)
{
    // The pair is computed U, V and stored as is for NV12, swapped for NV21.
    static const uint8_t kKeep[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    static const uint8_t kSwap[8] = {1, 0, 3, 2, 5, 4, 7, 6};
    const uint8x8_t order = vld1_u8(isNV21 ? kSwap : kKeep);
    const uint8x8_t yFromR = vld1_u8(k->yFromR);
    const uint8x8_t yFromG = vld1_u8(k->yFromG);
    const uint8x8_t yFromB = vld1_u8(k->yFromB);
    const uint8x8_t lumaOffset = vld1_u8(k->lumaOffset);
    const uint8x8_t chromaOffset = vld1_u8(k->chromaOffset);
    const int16x4_t uFromR = vld1_s16(k->uFromR), uFromG = vld1_s16(k->uFromG);
    const int16x4_t uFromB = vld1_s16(k->uFromB), vFromR = vld1_s16(k->vFromR);
    const int16x4_t vFromG = vld1_s16(k->vFromG), vFromB = vld1_s16(k->vFromB);

    for (uint32_t x = 0; x < count; x += 8) {
        const uint8x8x3_t p0 = vld3_u8(rgb0 + 3 * x);
        const uint8x8x3_t p1 = vld3_u8(rgb1 + 3 * x);
        const uint8x8x3_t* rows[2] = {&p0, &p1};
        uint8_t* luma[2] = {y0 + x, y1 + x};
        for (int row = 0; row < 2; ++row) {
            const uint8x8x3_t& p = *rows[row];
            uint16x8_t sum = vmull_u8(p.val[0], yFromR);
            sum = vmlal_u8(sum, p.val[1], yFromG);
            sum = vmlal_u8(sum, p.val[2], yFromB);
            vst1_u8(luma[row], vadd_u8(vrshrn_n_u16(sum, 8), lumaOffset));
        }
        const int16x4_t r = average2x2(p0.val[0], p1.val[0]);
        const int16x4_t g = average2x2(p0.val[1], p1.val[1]);
        const int16x4_t b = average2x2(p0.val[2], p1.val[2]);
        const int16x4_t u = vmls_s16(vmls_s16(vmul_s16(b, uFromB), r, uFromR), g, uFromG);
        const int16x4_t v = vmls_s16(vmls_s16(vmul_s16(r, vFromR), g, vFromG), b, vFromB);
        const int16x4x2_t pairs = vzip_s16(u, v);
        const int8x8_t narrowed = vqrshrn_n_s16(vcombine_s16(pairs.val[0], pairs.val[1]), 8);
        // + 128 modulo 256.
        const uint8x8_t chroma = vadd_u8(vreinterpret_u8_s8(narrowed), chromaOffset);
        vst1_u8(uv + x, vtbl1_u8(chroma, order));
    }
}

} // namespace

extern const Lut3DKernelOps kLut3DKernelNeon;
const Lut3DKernelOps kLut3DKernelNeon = {"NEON", yuvToRgbNeon, gridLookupNeon, rgbToYuvNeon};
