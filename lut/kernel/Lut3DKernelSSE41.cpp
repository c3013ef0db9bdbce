/*
 * SSE4.1 kernel variant (x86-64), compiled with -msse4.1 and entered only
 * after the dispatch's CPU check. Integer code only; bit-exact with the
 * portable reference.
 *
 * Grid lookup, four pixels per 128-bit vector, two vectors per group of 8:
 * each pixel's (iR, iG, iB) cell offset and its three fractions (0 to 128) are
 * computed in 32-bit lanes; the corners are fetched as four 64-bit loads per
 * pixel, each holding the cells at iB and iB + 1 of one (R, G) pair, and
 * transposed so that one vector holds one corner of four pixels as
 * R | G << 8 | B << 16 | x << 24 words. The interpolation runs on the even
 * bytes (R, B) and the odd bytes (G, x) of those words in 16-bit lanes, so
 * the weights need no shuffling: every pixel's fraction sits in both halves
 * of its word.
 *
 * Memory: reads and writes exactly count bytes of each luma and chroma row
 * and 3 * count bytes of each RGB buffer; nothing past a row. A corner load
 * reads the 8 bytes of cells iB and iB + 1; iB + 1 <= N is a padding cell at
 * worst, inside the grid. The index table is read one pair at a time.
 */
#include "lut/kernel/Lut3DKernelX86.h"

#include <cstring>

#include "lut/kernel/Lut3DKernel.h"

using namespace lut3d_x86;

namespace {

// Grid position of four pixels: cell offset in bytes and the fractions of the
// R, G and B indices, each in both 16-bit halves of its pixel's word.
struct Positions {
    __m128i offset, fR, fG, fB;
};

struct GridGeometry {
    const uint8_t* grid;
    uint32_t planeStride, rowStride;
    __m128i strides;  // planeStride | rowStride << 16 in each word, for pmaddwd
    __m128i scaleLow; // grid scale | 0 << 16 (uniform tables)
    __m128i scaleHigh;
    const uint8_t* indexTable;
};

LUT3D_KERNEL_INLINE __m128i bothHalves(__m128i f)
{
    return _mm_or_si128(f, _mm_slli_epi32(f, 16));
}

// Cell offset iR * planeStride + iG * rowStride + iB * 4. The strides fit
// signed 16 bits for N <= 65 (planeStride <= 17424), so one pmaddwd adds the
// first two products.
LUT3D_KERNEL_INLINE __m128i cellOffset(const GridGeometry& g, __m128i iR, __m128i iG, __m128i iB)
{
    const __m128i rg = _mm_or_si128(iR, _mm_slli_epi32(iG, 16));
    return _mm_add_epi32(_mm_madd_epi16(rg, g.strides), _mm_slli_epi32(iB, 2));
}

// Uniform table: p = c * s; index = p >> 15, fraction = bits 8 to 14 of p.
LUT3D_KERNEL_INLINE Positions positionsUniform(const GridGeometry& g, __m128i words)
{
    const __m128i lowByte = _mm_set1_epi32(0xFF);
    const __m128i fractionMask = _mm_set1_epi32(127);
    const __m128i rb = _mm_and_si128(words, _mm_set1_epi32(0x00FF00FF)); // R | B << 16
    const __m128i gw = _mm_and_si128(_mm_srli_epi32(words, 8), lowByte);
    const __m128i pR = _mm_madd_epi16(rb, g.scaleLow);
    const __m128i pG = _mm_madd_epi16(gw, g.scaleLow);
    const __m128i pB = _mm_madd_epi16(rb, g.scaleHigh);
    Positions p;
    p.offset = cellOffset(g, _mm_srli_epi32(pR, 15), _mm_srli_epi32(pG, 15),
                          _mm_srli_epi32(pB, 15));
    p.fR = bothHalves(_mm_and_si128(_mm_srli_epi32(pR, 8), fractionMask));
    p.fG = bothHalves(_mm_and_si128(_mm_srli_epi32(pG, 8), fractionMask));
    p.fB = bothHalves(_mm_and_si128(_mm_srli_epi32(pB, 8), fractionMask));
    return p;
}

// Non-uniform table: (index, fraction) pairs from the 256-entry index table,
// looked up one channel at a time.
LUT3D_KERNEL_INLINE Positions positionsIndexed(const GridGeometry& g, const uint8_t* rgb)
{
    uint32_t offset[4], fr[4], fg[4], fb[4];
    for (int i = 0; i < 4; ++i, rgb += 3) {
        const uint8_t* r = g.indexTable + 2 * rgb[0];
        const uint8_t* gr = g.indexTable + 2 * rgb[1];
        const uint8_t* b = g.indexTable + 2 * rgb[2];
        offset[i] = r[0] * g.planeStride + gr[0] * g.rowStride + b[0] * 4u;
        fr[i] = r[1] * 0x10001u;
        fg[i] = gr[1] * 0x10001u;
        fb[i] = b[1] * 0x10001u;
    }
    Positions p;
    p.offset = _mm_loadu_si128(reinterpret_cast<const __m128i*>(offset));
    p.fR = _mm_loadu_si128(reinterpret_cast<const __m128i*>(fr));
    p.fG = _mm_loadu_si128(reinterpret_cast<const __m128i*>(fg));
    p.fB = _mm_loadu_si128(reinterpret_cast<const __m128i*>(fb));
    return p;
}

// The even bytes (R, B) and the odd bytes (G, x) of R | G << 8 | B << 16 |
// x << 24 words, each byte in a 16-bit lane.
struct EvenOdd {
    __m128i even, odd;
};

LUT3D_KERNEL_INLINE EvenOdd split(__m128i words)
{
    return {_mm_and_si128(words, _mm_set1_epi32(0x00FF00FF)), _mm_srli_epi16(words, 8)};
}

LUT3D_KERNEL_INLINE EvenOdd lerp(const EvenOdd& c0, const EvenOdd& c1, __m128i f)
{
    return {lerp7(c0.even, c1.even, f), lerp7(c0.odd, c1.odd, f)};
}

// The cells at iB (d0) and iB + 1 (d1) of one (R, G) corner of four pixels:
// one 64-bit load per pixel, transposed to one cell of four pixels per vector.
struct CellPair {
    EvenOdd d0, d1;
};

LUT3D_KERNEL_INLINE CellPair loadPair(const uint8_t* const (&cell)[4], uint32_t at)
{
    const __m128i t0 = _mm_unpacklo_epi32(load8(cell[0] + at), load8(cell[1] + at));
    const __m128i t1 = _mm_unpacklo_epi32(load8(cell[2] + at), load8(cell[3] + at));
    return {split(_mm_unpacklo_epi64(t0, t1)), split(_mm_unpackhi_epi64(t0, t1))};
}

// Four pixels' looked-up R | G << 8 | B << 16 | x << 24 words: along R for
// each (G, B) corner, then along G, then along B.
LUT3D_KERNEL_INLINE __m128i interpolate4(const GridGeometry& g, const Positions& p)
{
    alignas(16) uint32_t offset[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(offset), p.offset);
    const uint8_t* const cell[4] = {g.grid + offset[0], g.grid + offset[1], g.grid + offset[2],
                                    g.grid + offset[3]};
    const CellPair r0g0 = loadPair(cell, 0);
    const CellPair r1g0 = loadPair(cell, g.planeStride);
    const CellPair r0g1 = loadPair(cell, g.rowStride);
    const CellPair r1g1 = loadPair(cell, g.planeStride + g.rowStride);
    const EvenOdd e00 = lerp(r0g0.d0, r1g0.d0, p.fR);
    const EvenOdd e01 = lerp(r0g0.d1, r1g0.d1, p.fR);
    const EvenOdd e10 = lerp(r0g1.d0, r1g1.d0, p.fR);
    const EvenOdd e11 = lerp(r0g1.d1, r1g1.d1, p.fR);
    const EvenOdd g0 = lerp(e00, e10, p.fG);
    const EvenOdd g1 = lerp(e01, e11, p.fG);
    const EvenOdd out = lerp(g0, g1, p.fB);
    // Every interpolated lane stays within 0..255, so the halves recombine
    // by a shift and an or.
    return _mm_or_si128(out.even, _mm_slli_epi16(out.odd, 8));
}

template <bool kUniform>
void gridLoop(const GridGeometry& g, uint8_t* rgb, uint32_t count)
{
    for (uint32_t x = 0; x < count; x += 8, rgb += 24) {
        Positions lo, hi;
        if (kUniform) {
            lo = positionsUniform(g, rgbWordsLow(load16(rgb)));
            hi = positionsUniform(g, rgbWordsHigh(load16(rgb + 8)));
        } else {
            lo = positionsIndexed(g, rgb);
            hi = positionsIndexed(g, rgb + 12);
        }
        storeRgbWords(rgb, interpolate4(g, lo), interpolate4(g, hi));
    }
}

void gridLookupSSE41(const Lut3DConstants* k, const Lut3DTable* table, uint8_t* rgb,
                     uint32_t count)
{
    GridGeometry g;
    g.grid = table->grid;
    g.planeStride = static_cast<uint32_t>(table->planeStride);
    g.rowStride = static_cast<uint32_t>(table->rowStride);
    g.strides = _mm_set1_epi32(static_cast<int>(g.planeStride | g.rowStride << 16));
    g.scaleLow = _mm_set1_epi32(k->gridScale[0]);
    g.scaleHigh = _mm_set1_epi32(k->gridScale[0] << 16);
    g.indexTable = table->indexTable;
    if (table->uniform)
        gridLoop<true>(g, rgb, count);
    else
        gridLoop<false>(g, rgb, count);
}

} // namespace

extern const Lut3DKernelOps kLut3DKernelSSE41;
const Lut3DKernelOps kLut3DKernelSSE41 = {"SSE4.1", yuvToRgbX86, gridLookupSSE41, rgbToYuvX86,
                                          false};
