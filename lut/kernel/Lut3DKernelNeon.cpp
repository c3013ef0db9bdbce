/*
 * NEON kernel variant (arm64, where Advanced SIMD is always present). Integer
 * code only; bit-exact with the portable reference, which models these very
 * instructions lane by lane:
 *  - YUV->RGB: m(a, c) = floor(a * c / 32768) is sqdmulh (vqdmulhq_s16); the
 *    rounding shift by 2 with unsigned saturation is sqrshrun.
 *  - Grid lookup: a uniform table's index is sqdmulh(c, scale) and its
 *    fraction bits 8 to 14 of the wrapped 16-bit product c * scale; the
 *    eight corners of a pixel are four 64-bit loads, each holding the cells
 *    at iB and iB + 1 of one (R, G) corner as R, G, B, x words; each
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
 * reads the 8 bytes of cells iB and iB + 1; iB + 1 <= N is a padding cell at
 * worst, inside the grid. The index table is read one byte pair at a time.
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
        LUT3D_MCA_BEGIN("yuvToRgb");
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
        LUT3D_MCA_END();
    }
}

// ---------------------------------------------------------------- grid

struct GridGeometry {
    const uint8_t* grid;
    uint32_t planeStride, rowStride; // N <= 65: planeStride <= 17424 fits 16 bits
    int16x8_t scale;                 // uniform tables
    const uint8_t* indexTable;       // non-uniform tables
};

// Positions of eight pixels: byte offsets of their (iR, iG, iB) cells and
// their three fractions as 16-bit lanes.
struct Positions {
    uint32_t offset[8];
    uint16x8_t fR, fG, fB;
};

struct Channel {
    uint16x8_t index, fraction;
};

// Uniform table: index = floor(c * s / 32768) (sqdmulh), fraction = bits 8 to
// 14 of the wrapped product c * s.
LUT3D_KERNEL_INLINE Channel channelUniform(uint8x8_t value, int16x8_t scale)
{
    const uint16x8_t c = vmovl_u8(value);
    const uint16x8_t product = vmulq_u16(c, vreinterpretq_u16_s16(scale));
    return {vreinterpretq_u16_s16(vqdmulhq_s16(vreinterpretq_s16_u16(c), scale)),
            vandq_u16(vshrq_n_u16(product, 8), vdupq_n_u16(127))};
}

LUT3D_KERNEL_INLINE void positionsOf(const GridGeometry& g, const Channel& r, const Channel& gr,
                                     const Channel& b, Positions* p)
{
    const uint16_t plane = static_cast<uint16_t>(g.planeStride);
    const uint16_t row = static_cast<uint16_t>(g.rowStride);
    uint32x4_t lo = vmull_n_u16(vget_low_u16(r.index), plane);
    uint32x4_t hi = vmull_n_u16(vget_high_u16(r.index), plane);
    lo = vmlal_n_u16(lo, vget_low_u16(gr.index), row);
    hi = vmlal_n_u16(hi, vget_high_u16(gr.index), row);
    lo = vmlal_n_u16(lo, vget_low_u16(b.index), 4);
    hi = vmlal_n_u16(hi, vget_high_u16(b.index), 4);
    vst1q_u32(p->offset, lo);
    vst1q_u32(p->offset + 4, hi);
    p->fR = r.fraction;
    p->fG = gr.fraction;
    p->fB = b.fraction;
}

LUT3D_KERNEL_INLINE void positionsUniform(const GridGeometry& g, const uint8_t* rgb, Positions* p)
{
    const uint8x8x3_t c = vld3_u8(rgb);
    positionsOf(g, channelUniform(c.val[0], g.scale), channelUniform(c.val[1], g.scale),
                channelUniform(c.val[2], g.scale), p);
}

LUT3D_KERNEL_INLINE Channel channelIndexed(const uint16_t* pairs)
{
    const uint16x8_t words = vld1q_u16(pairs);
    return {vandq_u16(words, vdupq_n_u16(0xFF)), vshrq_n_u16(words, 8)};
}

// Non-uniform table: (index, fraction) pairs from the index table, one
// channel value at a time, each pair read as one 16-bit word (index in its
// low byte).
LUT3D_KERNEL_INLINE void positionsIndexed(const GridGeometry& g, const uint8_t* rgb, Positions* p)
{
    uint16_t pairs[3][8];
    for (int i = 0; i < 8; ++i)
        for (int ch = 0; ch < 3; ++ch)
            std::memcpy(&pairs[ch][i], g.indexTable + 2 * rgb[3 * i + ch], 2);
    positionsOf(g, channelIndexed(pairs[0]), channelIndexed(pairs[1]), channelIndexed(pairs[2]), p);
}

// Weights of four pixels' cell words: each pixel's fraction f in all four
// bytes of its word, and 128 - f. `spread` picks the fraction bytes of
// pixels 0-3 or 4-7 out of the 16-bit lanes.
struct Weights {
    uint8x16_t w0, w1;
};

LUT3D_KERNEL_INLINE Weights weightsOf(uint16x8_t f, uint8x16_t spread)
{
    const uint8x16_t w1 = vqtbl1q_u8(vreinterpretq_u8_u16(f), spread);
    return {vsubq_u8(vdupq_n_u8(128), w1), w1};
}

// (c0 * (128 - f) + c1 * f) >> 7 for sixteen bytes; the sums fit 16 bits.
LUT3D_KERNEL_INLINE uint8x16_t lerp7(uint8x16_t c0, uint8x16_t c1, const Weights& w)
{
    const uint16x8_t lo = vmlal_u8(vmull_u8(vget_low_u8(c0), vget_low_u8(w.w0)), vget_low_u8(c1),
                                   vget_low_u8(w.w1));
    const uint16x8_t hi = vmlal_high_u8(vmull_high_u8(c0, w.w0), c1, w.w1);
    return vshrn_high_n_u16(vshrn_n_u16(lo, 7), hi, 7);
}

// The cells at iB (d0) and iB + 1 (d1) of one (R, G) corner of four pixels:
// one 64-bit load per pixel (plain loads take a register offset, lane loads
// would need an address each), then split into one cell of four pixels per
// vector.
struct CellPair {
    uint8x16_t d0, d1;
};

// The 8 bytes at a in the low half and those at b in the high half: a plain
// load and a lane load, with no separate insert.
LUT3D_KERNEL_INLINE uint32x4_t loadCells(const uint8_t* a, const uint8_t* b)
{
    const uint64x2_t low =
        vcombine_u64(vld1_u64(reinterpret_cast<const uint64_t*>(a)), vdup_n_u64(0));
    return vreinterpretq_u32_u64(vld1q_lane_u64(reinterpret_cast<const uint64_t*>(b), low, 1));
}

LUT3D_KERNEL_INLINE CellPair loadPair(const uint8_t* const (&cell)[4], uint32_t at)
{
    const uint32x4_t p01 = loadCells(cell[0] + at, cell[1] + at);
    const uint32x4_t p23 = loadCells(cell[2] + at, cell[3] + at);
    return {vreinterpretq_u8_u32(vuzp1q_u32(p01, p23)), vreinterpretq_u8_u32(vuzp2q_u32(p01, p23))};
}

// R, G, B, x words of four pixels looked up through the grid: along R for
// each (G, B) corner, then along G, then along B.
LUT3D_KERNEL_INLINE uint8x16_t interpolate4(const GridGeometry& g, const uint32_t* offset,
                                            const Weights& r, const Weights& gw, const Weights& b)
{
    const uint8_t* const cell[4] = {g.grid + offset[0], g.grid + offset[1], g.grid + offset[2],
                                    g.grid + offset[3]};
    const uint32_t plane = g.planeStride, row = g.rowStride;
    const CellPair r0g0 = loadPair(cell, 0), r1g0 = loadPair(cell, plane);
    const CellPair r0g1 = loadPair(cell, row), r1g1 = loadPair(cell, plane + row);
    const uint8x16_t e00 = lerp7(r0g0.d0, r1g0.d0, r);
    const uint8x16_t e01 = lerp7(r0g0.d1, r1g0.d1, r);
    const uint8x16_t e10 = lerp7(r0g1.d0, r1g1.d0, r);
    const uint8x16_t e11 = lerp7(r0g1.d1, r1g1.d1, r);
    return lerp7(lerp7(e00, e10, gw), lerp7(e01, e11, gw), b);
}

template <bool kUniform>
void gridLoop(const GridGeometry& g, uint8_t* rgb, uint32_t count)
{
    // The fraction of pixel i is byte 2 * i of the 16-bit lanes.
    static const uint8_t kSpread[2][16] = {
        {0, 0, 0, 0, 2, 2, 2, 2, 4, 4, 4, 4, 6, 6, 6, 6},
        {8, 8, 8, 8, 10, 10, 10, 10, 12, 12, 12, 12, 14, 14, 14, 14}};
    // Drops the fourth byte of each word: 32 bytes of words to 24 of triples.
    static const uint8_t kPackHead[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 16, 17, 18, 20};
    static const uint8_t kPackTail[8] = {21, 22, 24, 25, 26, 28, 29, 30};
    const uint8x16_t low = vld1q_u8(kSpread[0]), high = vld1q_u8(kSpread[1]);
    const uint8x16_t packHead = vld1q_u8(kPackHead);
    const uint8x8_t packTail = vld1_u8(kPackTail);
    for (uint32_t x = 0; x < count; x += 8, rgb += 24) {
        if (kUniform)
            LUT3D_MCA_BEGIN("gridLookup-uniform");
        else
            LUT3D_MCA_BEGIN("gridLookup-indexed");
        Positions p;
        if (kUniform)
            positionsUniform(g, rgb, &p);
        else
            positionsIndexed(g, rgb, &p);
        uint8x16x2_t words;
        words.val[0] = interpolate4(g, p.offset, weightsOf(p.fR, low), weightsOf(p.fG, low),
                                    weightsOf(p.fB, low));
        words.val[1] = interpolate4(g, p.offset + 4, weightsOf(p.fR, high), weightsOf(p.fG, high),
                                    weightsOf(p.fB, high));
        vst1q_u8(rgb, vqtbl2q_u8(words, packHead));
        vst1_u8(rgb + 16, vqtbl2_u8(words, packTail));
        LUT3D_MCA_END();
    }
}

void gridLookupNeon(const Lut3DConstants* k, const Lut3DTable* table, uint8_t* rgb,
                    uint32_t count)
{
    GridGeometry g;
    g.grid = table->grid;
    g.planeStride = static_cast<uint32_t>(table->planeStride);
    g.rowStride = static_cast<uint32_t>(table->rowStride);
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
        LUT3D_MCA_BEGIN("rgbToYuv");
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
        LUT3D_MCA_END();
    }
}

} // namespace

extern const Lut3DKernelOps kLut3DKernelNeon;
const Lut3DKernelOps kLut3DKernelNeon = {"NEON", yuvToRgbNeon, gridLookupNeon, rgbToYuvNeon,
                                         false};
