/*
 * AVX2 kernel variant (x86-64), compiled with -mavx2 and entered only after
 * the dispatch's CPU check. Integer code only (no FMA can contract anything);
 * bit-exact with the portable reference.
 *
 * Grid lookup, one group of 8 pixels per 256-bit vector: each pixel's cell
 * offset and fractions are computed in 32-bit lanes, the eight corners are
 * eight vpgatherdd of one 32-bit cell per pixel, and the interpolation runs
 * on the even bytes (R, B) and odd bytes (G, x) of the gathered words in
 * 16-bit lanes, as in the SSE4.1 variant. Non-uniform tables take their
 * (index, fraction) pairs with three more gathers from the index table.
 * The YUV->RGB and RGB->YUV steps are the shared 128-bit ones, compiled here
 * with VEX encoding.
 *
 * Memory: reads and writes exactly count bytes of each luma and chroma row
 * and 3 * count bytes of each RGB buffer; nothing past a row. A corner gather
 * reads 4 bytes per cell; the upper neighbour of any index is a padding cell
 * at worst, inside the grid. An index-table gather reads the aligned 32-bit
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
    const uint8_t* grid;
    const int* corner[2][2][2]; // grid + a * planeStride + b * rowStride + d * 4
    __m256i strides;            // planeStride | rowStride << 16, for pmaddwd
    __m256i scaleLow, scaleHigh;
    const int* indexWords;      // the index table as 128 words of two pairs
};

inline __m256i bothHalves(__m256i f)
{
    return _mm256_or_si256(f, _mm256_slli_epi32(f, 16));
}

// iR * planeStride + iG * rowStride + iB * 4; the strides fit signed 16 bits
// for N <= 65, so one pmaddwd adds the first two products.
inline __m256i cellOffset(const GridGeometry& g, __m256i iR, __m256i iG, __m256i iB)
{
    const __m256i rg = _mm256_or_si256(iR, _mm256_slli_epi32(iG, 16));
    return _mm256_add_epi32(_mm256_madd_epi16(rg, g.strides), _mm256_slli_epi32(iB, 2));
}

// Eight pixels of R, G, B triples as R | G << 8 | B << 16 words: the low lane
// from bytes 0-15 (pixels 0-3), the high lane from bytes 8-23 (pixels 4-7).
inline __m256i loadWords(const uint8_t* rgb)
{
    const __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(load16(rgb)),
                                                  load16(rgb + 8), 1);
    const __m256i m = _mm256_setr_epi8(0, 1, 2, Z, 3, 4, 5, Z, 6, 7, 8, Z, 9, 10, 11, Z,
                                       4, 5, 6, Z, 7, 8, 9, Z, 10, 11, 12, Z, 13, 14, 15, Z);
    return _mm256_shuffle_epi8(bytes, m);
}

inline void storeWords(uint8_t* rgb, __m256i words)
{
    const __m256i pack = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, Z, Z, Z, Z,
                                          0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, Z, Z, Z, Z);
    // 12 bytes in each lane, then the lanes' first three words side by side.
    const __m256i packed = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(words, pack),
                                                       _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(rgb), _mm256_castsi256_si128(packed));
    store8(rgb + 16, _mm256_extracti128_si256(packed, 1));
}

inline Positions positionsUniform(const GridGeometry& g, __m256i words)
{
    const __m256i fractionMask = _mm256_set1_epi32(127);
    const __m256i rb = _mm256_and_si256(words, _mm256_set1_epi32(0x00FF00FF));
    const __m256i gw = _mm256_and_si256(_mm256_srli_epi32(words, 8), _mm256_set1_epi32(0xFF));
    const __m256i pR = _mm256_madd_epi16(rb, g.scaleLow);
    const __m256i pG = _mm256_madd_epi16(gw, g.scaleLow);
    const __m256i pB = _mm256_madd_epi16(rb, g.scaleHigh);
    Positions p;
    p.offset = cellOffset(g, _mm256_srli_epi32(pR, 15), _mm256_srli_epi32(pG, 15),
                          _mm256_srli_epi32(pB, 15));
    p.fR = bothHalves(_mm256_and_si256(_mm256_srli_epi32(pR, 8), fractionMask));
    p.fG = bothHalves(_mm256_and_si256(_mm256_srli_epi32(pG, 8), fractionMask));
    p.fB = bothHalves(_mm256_and_si256(_mm256_srli_epi32(pB, 8), fractionMask));
    return p;
}

// The (index, fraction) pair of channel value c: the index-table word c / 2
// holds pairs c & ~1 and c | 1; shift by 16 for odd c.
inline __m256i indexPair(const GridGeometry& g, __m256i c)
{
    const __m256i word = _mm256_i32gather_epi32(g.indexWords, _mm256_srli_epi32(c, 1), 4);
    const __m256i shift = _mm256_slli_epi32(_mm256_and_si256(c, _mm256_set1_epi32(1)), 4);
    return _mm256_srlv_epi32(word, shift);
}

inline Positions positionsIndexed(const GridGeometry& g, __m256i words)
{
    const __m256i lowByte = _mm256_set1_epi32(0xFF);
    const __m256i r = indexPair(g, _mm256_and_si256(words, lowByte));
    const __m256i gr = indexPair(g, _mm256_and_si256(_mm256_srli_epi32(words, 8), lowByte));
    const __m256i b = indexPair(g, _mm256_srli_epi32(words, 16));
    Positions p;
    p.offset = cellOffset(g, _mm256_and_si256(r, lowByte), _mm256_and_si256(gr, lowByte),
                          _mm256_and_si256(b, lowByte));
    p.fR = bothHalves(_mm256_and_si256(_mm256_srli_epi32(r, 8), lowByte));
    p.fG = bothHalves(_mm256_and_si256(_mm256_srli_epi32(gr, 8), lowByte));
    p.fB = bothHalves(_mm256_and_si256(_mm256_srli_epi32(b, 8), lowByte));
    return p;
}

inline __m256i lerp7x2(__m256i c0, __m256i c1, __m256i f)
{
    return _mm256_add_epi16(
        c0, _mm256_srai_epi16(_mm256_mullo_epi16(_mm256_sub_epi16(c1, c0), f), 7));
}

inline __m256i trilinear(const __m256i (&c)[2][2][2], const Positions& p)
{
    const __m256i e00 = lerp7x2(c[0][0][0], c[1][0][0], p.fR);
    const __m256i e01 = lerp7x2(c[0][0][1], c[1][0][1], p.fR);
    const __m256i e10 = lerp7x2(c[0][1][0], c[1][1][0], p.fR);
    const __m256i e11 = lerp7x2(c[0][1][1], c[1][1][1], p.fR);
    const __m256i g0 = lerp7x2(e00, e10, p.fG);
    const __m256i g1 = lerp7x2(e01, e11, p.fG);
    return lerp7x2(g0, g1, p.fB);
}

inline __m256i interpolate8(const GridGeometry& g, const Positions& p)
{
    const __m256i evenBytes = _mm256_set1_epi32(0x00FF00FF);
    __m256i even[2][2][2], odd[2][2][2];
    for (int a = 0; a < 2; ++a)
        for (int b = 0; b < 2; ++b)
            for (int d = 0; d < 2; ++d) {
                const __m256i cell = _mm256_i32gather_epi32(g.corner[a][b][d], p.offset, 1);
                even[a][b][d] = _mm256_and_si256(cell, evenBytes);
                odd[a][b][d] = _mm256_srli_epi16(cell, 8);
            }
    return _mm256_or_si256(trilinear(even, p), _mm256_slli_epi16(trilinear(odd, p), 8));
}

template <bool kUniform>
void gridLoop(const GridGeometry& g, uint8_t* rgb, uint32_t count)
{
    for (uint32_t x = 0; x < count; x += 8, rgb += 24) {
        const __m256i words = loadWords(rgb);
        const Positions p = kUniform ? positionsUniform(g, words) : positionsIndexed(g, words);
        storeWords(rgb, interpolate8(g, p));
    }
}

void gridLookupAVX2(const Lut3DConstants* k, const Lut3DTable* table, uint8_t* rgb,
                    uint32_t count)
{
    GridGeometry g;
    g.grid = table->grid;
    const uint32_t plane = static_cast<uint32_t>(table->planeStride);
    const uint32_t row = static_cast<uint32_t>(table->rowStride);
    for (int a = 0; a < 2; ++a)
        for (int b = 0; b < 2; ++b)
            for (int d = 0; d < 2; ++d)
                g.corner[a][b][d] =
                    reinterpret_cast<const int*>(table->grid + a * plane + b * row + d * 4);
    g.strides = _mm256_set1_epi32(static_cast<int>(plane | row << 16));
    g.scaleLow = _mm256_set1_epi32(k->gridScale[0]);
    g.scaleHigh = _mm256_set1_epi32(k->gridScale[0] << 16);
    g.indexWords = reinterpret_cast<const int*>(table->indexTable);
    if (table->uniform)
        gridLoop<true>(g, rgb, count);
    else
        gridLoop<false>(g, rgb, count);
}

} // namespace

extern const Lut3DKernelOps kLut3DKernelAVX2;
const Lut3DKernelOps kLut3DKernelAVX2 = {"AVX2", yuvToRgbX86, gridLookupAVX2, rgbToYuvX86};
