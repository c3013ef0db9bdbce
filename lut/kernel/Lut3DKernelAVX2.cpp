/*
 * AVX2 kernel variant (x86-64), compiled with -mavx2 and entered only after
 * the dispatch's CPU check. Integer code only (no FMA can contract anything);
 * bit-exact with the portable reference.
 *
 * Grid lookup, one group of 8 pixels per step: each channel value is spread
 * to both 16-bit halves of its pixel's word, which gives the index and the
 * fraction already in the form the interpolation wants; the four (R, G)
 * corners of each pixel are gathered with vpgatherdq, one 64-bit element
 * holding the cells at iB and iB + 1; the interpolation runs on the even
 * bytes (R, B) and the odd bytes (G, x) of the cell words in 16-bit lanes,
 * as in the SSE4.1 variant. Non-uniform tables take their (index, fraction)
 * pairs with three 32-bit gathers from the index table.
 * The YUV->RGB and RGB->YUV steps are the shared ones of Lut3DKernelX86.h,
 * sixteen pixels per step.
 *
 * Memory: reads and writes exactly count bytes of each luma and chroma row
 * and 3 * count bytes of each RGB buffer; nothing past a row. A corner gather
 * reads the 8 bytes of cells iB and iB + 1; iB + 1 <= N is a padding cell at
 * worst, inside the grid. An index-table gather reads the aligned 32-bit
 * word holding the wanted pair (bytes 4 * (c / 2) to 4 * (c / 2) + 3), inside
 * the 512-byte table.
 */
#include "lut/kernel/Lut3DKernelX86.h"

#include "lut/kernel/Lut3DKernel.h"

using namespace lut3d_x86;

namespace {

struct Positions {
    __m256i offset, fR, fG, fB; // fractions in both 16-bit halves of each word
};

struct GridGeometry {
    const long long* pair[2][2]; // grid + a * planeStride + b * rowStride
    __m256i strides;             // planeStride | rowStride << 16 per word, for pmaddwd
    __m256i scale2;              // twice the grid scale in every 16-bit lane (uniform)
    const int* indexWords;       // the index table as 128 words of two pairs
};

// The 24 bytes of a group of eight R, G, B triples: bytes 0-15 in the low
// lane and 8-23 in the high one, so that pixels 0-3 and 4-7 each lie within
// one lane (at lane bytes 3k and 4 + 3k).
LUT3D_KERNEL_INLINE __m256i loadGroup(const uint8_t* rgb)
{
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(rgb)), load16(rgb + 8), 1);
}

// Channel ch (0 R, 1 G, 2 B) of each pixel in both 16-bit halves of its word.
// Adding ch to a zeroing index keeps its top bit, so one base mask serves all.
LUT3D_KERNEL_INLINE __m256i channelTwice(__m256i group, int ch)
{
    const __m256i base = _mm256_setr_epi8(0, Z, 0, Z, 3, Z, 3, Z, 6, Z, 6, Z, 9, Z, 9, Z,
                                          4, Z, 4, Z, 7, Z, 7, Z, 10, Z, 10, Z, 13, Z, 13, Z);
    const __m256i shift = _mm256_set1_epi8(static_cast<char>(ch));
    return _mm256_shuffle_epi8(group, _mm256_add_epi8(base, shift));
}

// Channel ch of each pixel as a 32-bit word.
LUT3D_KERNEL_INLINE __m256i channelWord(__m256i group, int ch)
{
    const __m256i base = _mm256_setr_epi8(0, Z, Z, Z, 3, Z, Z, Z, 6, Z, Z, Z, 9, Z, Z, Z,
                                          4, Z, Z, Z, 7, Z, Z, Z, 10, Z, Z, Z, 13, Z, Z, Z);
    const __m256i shift = _mm256_set1_epi8(static_cast<char>(ch));
    return _mm256_shuffle_epi8(group, _mm256_add_epi8(base, shift));
}

// iR * planeStride + iG * rowStride + iB * 4 from indices held twice per
// word. The strides fit signed 16 bits for N <= 65, so one pmaddwd forms the
// first two products.
LUT3D_KERNEL_INLINE __m256i cellOffset(const GridGeometry& g, __m256i iR, __m256i iG, __m256i iB)
{
    const __m256i rg = _mm256_blend_epi16(iR, iG, 0xAA);
    return _mm256_add_epi32(_mm256_madd_epi16(rg, g.strides),
                            _mm256_madd_epi16(iB, _mm256_set1_epi32(4)));
}

LUT3D_KERNEL_INLINE void storeWords(uint8_t* rgb, __m256i words)
{
    const __m256i pack = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, Z, Z, Z, Z,
                                          0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, Z, Z, Z, Z);
    // 12 bytes in each lane, then the lanes' first three words side by side.
    const __m256i packed = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(words, pack),
                                                       _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(rgb), _mm256_castsi256_si128(packed));
    store8(rgb + 16, _mm256_extracti128_si256(packed, 1));
}

struct Channel {
    __m256i index, fraction; // both held twice per pixel word
};

// Uniform table, in 16-bit lanes holding c twice: index = floor(c * 2s / 65536)
// (unsigned high half), fraction = the wrapped product c * 2s >> 9 (bits 8 to
// 14 of c * s). Both come out in both halves of each pixel's word.
LUT3D_KERNEL_INLINE Channel channelUniform(const GridGeometry& g, __m256i group, int ch)
{
    const __m256i c = channelTwice(group, ch);
    return {_mm256_mulhi_epu16(c, g.scale2),
            _mm256_srli_epi16(_mm256_mullo_epi16(c, g.scale2), 9)};
}

LUT3D_KERNEL_INLINE Positions positionsOf(const GridGeometry& g, const Channel& r,
                                          const Channel& gr, const Channel& b)
{
    return {cellOffset(g, r.index, gr.index, b.index), r.fraction, gr.fraction, b.fraction};
}

LUT3D_KERNEL_INLINE Positions positionsUniform(const GridGeometry& g, __m256i group)
{
    return positionsOf(g, channelUniform(g, group, 0), channelUniform(g, group, 1),
                       channelUniform(g, group, 2));
}

// Non-uniform table: the (index, fraction) pair of value c sits in the
// index-table word c / 2, in its low half for even c and its high half for
// odd c.
LUT3D_KERNEL_INLINE Channel channelIndexed(const GridGeometry& g, __m256i group, int ch)
{
    const __m256i indexTwice = _mm256_setr_epi8(0, Z, 0, Z, 4, Z, 4, Z, 8, Z, 8, Z, 12, Z, 12, Z,
                                                0, Z, 0, Z, 4, Z, 4, Z, 8, Z, 8, Z, 12, Z, 12, Z);
    const __m256i fractionTwice = _mm256_add_epi8(indexTwice, _mm256_set1_epi8(1));
    const __m256i c = channelWord(group, ch);
    const __m256i word = _mm256_i32gather_epi32(g.indexWords, _mm256_srli_epi32(c, 1), 4);
    const __m256i shift = _mm256_slli_epi32(_mm256_and_si256(c, _mm256_set1_epi32(1)), 4);
    const __m256i pair = _mm256_srlv_epi32(word, shift);
    return {_mm256_shuffle_epi8(pair, indexTwice), _mm256_shuffle_epi8(pair, fractionTwice)};
}

LUT3D_KERNEL_INLINE Positions positionsIndexed(const GridGeometry& g, __m256i group)
{
    return positionsOf(g, channelIndexed(g, group, 0), channelIndexed(g, group, 1),
                       channelIndexed(g, group, 2));
}

LUT3D_KERNEL_INLINE __m256i lerp7x2(__m256i c0, __m256i c1, __m256i f)
{
    return _mm256_add_epi16(
        c0, _mm256_srai_epi16(_mm256_mullo_epi16(_mm256_sub_epi16(c1, c0), f), 7));
}

// The even bytes (R, B) and the odd bytes (G, x) of R | G << 8 | B << 16 |
// x << 24 words, each byte in a 16-bit lane.
struct EvenOdd {
    __m256i even, odd;
};

LUT3D_KERNEL_INLINE EvenOdd split(__m256i words)
{
    return {_mm256_and_si256(words, _mm256_set1_epi32(0x00FF00FF)),
            _mm256_srli_epi16(words, 8)};
}

LUT3D_KERNEL_INLINE EvenOdd lerp(const EvenOdd& c0, const EvenOdd& c1, __m256i f)
{
    return {lerp7x2(c0.even, c1.even, f), lerp7x2(c0.odd, c1.odd, f)};
}

// One (R, G) corner of four pixels as one 64-bit element per pixel: cells iB
// and iB + 1 side by side, [p d0, p d1, p+1 d0, p+1 d1] per 128 bits.
LUT3D_KERNEL_INLINE EvenOdd gatherPairs(const long long* corner, __m128i offsets)
{
    return split(_mm256_i32gather_epi64(corner, offsets, 1));
}

// Four pixels (one 128-bit half of the offsets) interpolated along R and G,
// still holding both B cells. The weights hold each pixel's fraction twice.
LUT3D_KERNEL_INLINE EvenOdd alongRG(const GridGeometry& g, __m128i offsets, __m256i wR, __m256i wG)
{
    const EvenOdd e0 =
        lerp(gatherPairs(g.pair[0][0], offsets), gatherPairs(g.pair[1][0], offsets), wR);
    const EvenOdd e1 =
        lerp(gatherPairs(g.pair[0][1], offsets), gatherPairs(g.pair[1][1], offsets), wR);
    return lerp(e0, e1, wG);
}

// The B cells d0 and d1 of eight pixels side by side, pixels in the order
// 0 1 4 5 | 2 3 6 7.
LUT3D_KERNEL_INLINE __m256i cellsD(__m256i low, __m256i high, int d)
{
    const __m256 a = _mm256_castsi256_ps(low), b = _mm256_castsi256_ps(high);
    return _mm256_castps_si256(d ? _mm256_shuffle_ps(a, b, 0xDD) : _mm256_shuffle_ps(a, b, 0x88));
}

// Eight pixels' looked-up R | G << 8 | B << 16 | x << 24 words.
//
// Each (R, G) corner is fetched as one 64-bit element per pixel (cells iB and
// iB + 1), pixels 0-3 in one gather and 4-7 in another: half the elements of
// eight 32-bit gathers, and a gather costs about one load per element. The R
// and G steps run on that layout with each pixel's weight twice; the B step
// first separates d0 from d1, and a last permutation restores pixels 0-7.
LUT3D_KERNEL_INLINE __m256i interpolate8(const GridGeometry& g, const Positions& p)
{
    const __m256i first = _mm256_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3);
    const __m256i second = _mm256_setr_epi32(4, 4, 5, 5, 6, 6, 7, 7);
    const EvenOdd low = alongRG(g, _mm256_castsi256_si128(p.offset),
                                _mm256_permutevar8x32_epi32(p.fR, first),
                                _mm256_permutevar8x32_epi32(p.fG, first));
    const EvenOdd high = alongRG(g, _mm256_extracti128_si256(p.offset, 1),
                                 _mm256_permutevar8x32_epi32(p.fR, second),
                                 _mm256_permutevar8x32_epi32(p.fG, second));
    const __m256i wB = _mm256_permute4x64_epi64(p.fB, 0xD8); // pixels 0 1 4 5 | 2 3 6 7
    const __m256i even =
        lerp7x2(cellsD(low.even, high.even, 0), cellsD(low.even, high.even, 1), wB);
    const __m256i odd = lerp7x2(cellsD(low.odd, high.odd, 0), cellsD(low.odd, high.odd, 1), wB);
    const __m256i words = _mm256_or_si256(even, _mm256_slli_epi16(odd, 8));
    return _mm256_permute4x64_epi64(words, 0xD8);
}

template <bool kUniform>
void gridLoop(const GridGeometry& g, uint8_t* rgb, uint32_t count)
{
    for (uint32_t x = 0; x < count; x += 8, rgb += 24) {
        const __m256i group = loadGroup(rgb);
        const Positions p = kUniform ? positionsUniform(g, group) : positionsIndexed(g, group);
        storeWords(rgb, interpolate8(g, p));
    }
}

void gridLookupAVX2(const Lut3DConstants* k, const Lut3DTable* table, uint8_t* rgb,
                    uint32_t count)
{
    GridGeometry g;
    const uint32_t plane = static_cast<uint32_t>(table->planeStride);
    const uint32_t row = static_cast<uint32_t>(table->rowStride);
    for (int a = 0; a < 2; ++a)
        for (int b = 0; b < 2; ++b)
            g.pair[a][b] = reinterpret_cast<const long long*>(table->grid + a * plane + b * row);
    g.strides = _mm256_set1_epi32(static_cast<int>(plane | row << 16));
    g.scale2 = _mm256_set1_epi16(static_cast<short>(2 * k->gridScale[0]));
    g.indexWords = reinterpret_cast<const int*>(table->indexTable);
    if (table->uniform)
        gridLoop<true>(g, rgb, count);
    else
        gridLoop<false>(g, rgb, count);
}

} // namespace

extern const Lut3DKernelOps kLut3DKernelAVX2;
const Lut3DKernelOps kLut3DKernelAVX2 = {"AVX2", yuvToRgbAVX2, gridLookupAVX2, rgbToYuvAVX2,
                                         false};
