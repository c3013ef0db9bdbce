/*
 * AVX-512 kernel variant (x86-64: F, BW, VL and VBMI), compiled with those
 * flags and entered only after the dispatch's CPU check. Integer code only;
 * bit-exact with the portable reference. The YUV->RGB and RGB->YUV steps are
 * the shared sixteen-pixel ones of Lut3DKernelX86.h; the grid lookup is its
 * own, sixteen pixels per step.
 *
 * Grid positions, the same way for every table: each call first turns the
 * table into two 256-entry byte tables, the grid index and the 7-bit fraction
 * of every channel value (for a uniform table from the grid scale, exactly as
 * the reference multiplies; otherwise the index table's pairs). A channel
 * value then finds its index and fraction with two vpermi2b each, so neither
 * kind of table needs a multiply or a gather for it: uniform and non-uniform
 * tables cost the same.
 *
 * Corners: per pixel, each (R, G) corner is one 64-bit gather element
 * holding the cells iB and iB + 1, eight pixels per gather; the interpolation
 * runs on the even (R, B) and odd (G, x) bytes in 16-bit lanes with the
 * identity c0 + ((c1 - c0) * f >> 7) that the checker proves equal to the
 * reference's (c0 * (128 - f) + c1 * f) >> 7.
 *
 * Memory: reads and writes exactly 3 * count bytes of the RGB buffer (masked
 * loads and stores for a last group of eight); a corner gather reads the 8
 * bytes of cells iB and iB + 1, and iB + 1 <= N is a padding cell at worst,
 * inside the grid.
 */
#include "lut/kernel/Lut3DKernelX86.h"

#include "lut/kernel/Lut3DKernel.h"

using namespace lut3d_x86;

namespace {

// A 256-entry byte table in four registers of 64 entries.
struct ByteTable {
    __m512i quarter[4];
};

// table[c] for the byte c in every byte lane picked by `lanes`; others 0.
LUT3D_KERNEL_INLINE __m512i lookup(const ByteTable& t, __m512i c, __mmask64 lanes)
{
    const __m512i low = _mm512_permutex2var_epi8(t.quarter[0], c, t.quarter[1]);
    const __m512i high = _mm512_permutex2var_epi8(t.quarter[2], c, t.quarter[3]);
    // Bit 7 of c tells which half of the table the entry lies in.
    return _mm512_maskz_mov_epi8(lanes, _mm512_mask_blend_epi8(_mm512_movepi8_mask(c), low, high));
}

struct Tables {
    ByteTable index, fraction;
};

// The even bytes (indices) and the odd bytes (fractions) of 512 bytes of
// (index, fraction) pairs.
Tables tablesFromPairs(const uint8_t* pairs)
{
    const __m512i even = _mm512_set_epi64(0x7E7C7A7876747270, 0x6E6C6A6866646260,
                                          0x5E5C5A5856545250, 0x4E4C4A4846444240,
                                          0x3E3C3A3836343230, 0x2E2C2A2826242220,
                                          0x1E1C1A1816141210, 0x0E0C0A0806040200);
    const __m512i odd = _mm512_add_epi8(even, _mm512_set1_epi8(1));
    Tables t;
    for (int q = 0; q < 4; ++q) {
        const __m512i a = _mm512_loadu_si512(pairs + 128 * q);
        const __m512i b = _mm512_loadu_si512(pairs + 128 * q + 64);
        t.index.quarter[q] = _mm512_permutex2var_epi8(a, even, b);
        t.fraction.quarter[q] = _mm512_permutex2var_epi8(a, odd, b);
    }
    return t;
}

// The pairs a uniform table's grid scale gives: index = c * s >> 15 and
// fraction = bits 8 to 14 of c * s, for every channel value c.
void uniformPairs(uint16_t scale, uint8_t* pairs)
{
    const __m512i s = _mm512_set1_epi32(scale);
    const __m512i step = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    for (int base = 0; base < 256; base += 16) {
        const __m512i p = _mm512_mullo_epi32(_mm512_add_epi32(step, _mm512_set1_epi32(base)), s);
        const __m512i index = _mm512_srli_epi32(p, 15);
        const __m512i fraction = _mm512_and_si512(_mm512_srli_epi32(p, 8), _mm512_set1_epi32(127));
        // index | fraction << 8 in each 32-bit lane, then the low 16 bits.
        const __m512i pair = _mm512_or_si512(index, _mm512_slli_epi32(fraction, 8));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(pairs + 2 * base),
                            _mm512_cvtepi32_epi16(pair));
    }
}

struct Geometry {
    const long long* pair[2][2]; // grid + a * planeStride + b * rowStride
    __m512i strides;             // planeStride | rowStride << 16 per word, for pmaddwd
    Tables tables;
};

// Byte lanes 0 and 2 of every 32-bit word, and lane 0 alone.
constexpr __mmask64 kBytes02 = 0x5555555555555555ull;
constexpr __mmask64 kByte0 = 0x1111111111111111ull;

// Byte selectors: channel values of sixteen R, G, B triples (48 bytes) put
// into 32-bit words, pixel p in word p.
struct Selectors {
    __m512i rAndG;   // R at byte 0, G at byte 2
    __m512i rTwice;  // R at bytes 0 and 2
    __m512i gTwice;
    __m512i bTwice;
    __m512i pack;    // R | G << 8 | B << 16 | x << 24 words back to triples
};

Selectors makeSelectors()
{
    alignas(64) uint8_t rg[64], r2[64], g2[64], b2[64], pack[64];
    for (int p = 0; p < 16; ++p) {
        const uint8_t at = static_cast<uint8_t>(3 * p);
        const uint8_t word[4][4] = {{at, 0, static_cast<uint8_t>(at + 1), 0},
                                    {at, 0, at, 0},
                                    {static_cast<uint8_t>(at + 1), 0, static_cast<uint8_t>(at + 1), 0},
                                    {static_cast<uint8_t>(at + 2), 0, static_cast<uint8_t>(at + 2), 0}};
        for (int i = 0; i < 4; ++i) {
            rg[4 * p + i] = word[0][i];
            r2[4 * p + i] = word[1][i];
            g2[4 * p + i] = word[2][i];
            b2[4 * p + i] = word[3][i];
        }
    }
    for (int i = 0; i < 64; ++i)
        pack[i] = static_cast<uint8_t>(i < 48 ? 4 * (i / 3) + i % 3 : 0);
    return {_mm512_load_si512(rg), _mm512_load_si512(r2), _mm512_load_si512(g2),
            _mm512_load_si512(b2), _mm512_load_si512(pack)};
}

LUT3D_KERNEL_INLINE __m512i lerp7x2(__m512i c0, __m512i c1, __m512i f)
{
    return _mm512_add_epi16(
        c0, _mm512_srai_epi16(_mm512_mullo_epi16(_mm512_sub_epi16(c1, c0), f), 7));
}

struct EvenOdd {
    __m512i even, odd;
};

LUT3D_KERNEL_INLINE EvenOdd split(__m512i words)
{
    return {_mm512_and_si512(words, _mm512_set1_epi32(0x00FF00FF)), _mm512_srli_epi16(words, 8)};
}

LUT3D_KERNEL_INLINE EvenOdd lerp(const EvenOdd& c0, const EvenOdd& c1, __m512i f)
{
    return {lerp7x2(c0.even, c1.even, f), lerp7x2(c0.odd, c1.odd, f)};
}

// Eight pixels (offsets of one half) looked up: R | G << 8 | B << 16 | x << 24
// words. The fractions hold each pixel's value in every 16-bit lane of its
// 64-bit element.
LUT3D_KERNEL_INLINE __m256i interpolate8(const Geometry& g, __m256i offsets, __m512i wR,
                                          __m512i wG, __m512i wB)
{
    auto corner = [&](int a, int b) {
        const __m256i lo = _mm256_i32gather_epi64(g.pair[a][b], _mm256_castsi256_si128(offsets), 1);
        const __m256i hi = _mm256_i32gather_epi64(g.pair[a][b], _mm256_extracti128_si256(offsets, 1), 1);
        return split(_mm512_inserti64x4(_mm512_castsi256_si512(lo), hi, 1));
    };
    const EvenOdd e0 = lerp(corner(0, 0), corner(1, 0), wR);
    const EvenOdd e1 = lerp(corner(0, 1), corner(1, 1), wR);
    const EvenOdd rg = lerp(e0, e1, wG);
    // Along B: cell iB + 1 sits in the high 32 bits of each element.
    const __m512i even = lerp7x2(rg.even, _mm512_srli_epi64(rg.even, 32), wB);
    const __m512i odd = lerp7x2(rg.odd, _mm512_srli_epi64(rg.odd, 32), wB);
    return _mm512_cvtepi64_epi32(_mm512_or_si512(even, _mm512_slli_epi16(odd, 8)));
}

// Sixteen pixels' 32-bit fraction words spread to the 64-bit elements of
// pixels 0-7 (half 0) or 8-15 (half 1).
LUT3D_KERNEL_INLINE __m512i spread(__m512i twice, int half)
{
    const __m512i pick = half ? _mm512_setr_epi32(8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13, 14, 14, 15, 15)
                              : _mm512_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7);
    return _mm512_permutexvar_epi32(pick, twice);
}

template <bool kWhole>
LUT3D_KERNEL_INLINE void lookup16(const Geometry& g, const Selectors& s, uint8_t* rgb,
                                  __mmask64 bytes)
{
    // Whole groups avoid masked byte stores, which are slow on some cores.
    const __m512i group =
        kWhole ? _mm512_inserti32x4(
                     _mm512_castsi256_si512(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(rgb))),
                     _mm_loadu_si128(reinterpret_cast<const __m128i*>(rgb + 32)), 2)
               : _mm512_maskz_loadu_epi8(bytes, rgb);
    const Tables& t = g.tables;
    // iR | iG << 16 and iB per word; fractions twice per word.
    const __m512i rg = _mm512_permutexvar_epi8(s.rAndG, group);
    const __m512i iRG = lookup(t.index, rg, kBytes02);
    const __m512i iB = lookup(t.index, _mm512_permutexvar_epi8(s.bTwice, group), kByte0);
    const __m512i fR = lookup(t.fraction, _mm512_permutexvar_epi8(s.rTwice, group), kBytes02);
    const __m512i fG = lookup(t.fraction, _mm512_permutexvar_epi8(s.gTwice, group), kBytes02);
    const __m512i fB = lookup(t.fraction, _mm512_permutexvar_epi8(s.bTwice, group), kBytes02);
    const __m512i offsets =
        _mm512_add_epi32(_mm512_madd_epi16(iRG, g.strides), _mm512_slli_epi32(iB, 2));
    const __m256i low = interpolate8(g, _mm512_castsi512_si256(offsets), spread(fR, 0),
                                     spread(fG, 0), spread(fB, 0));
    const __m256i high = interpolate8(g, _mm512_extracti64x4_epi64(offsets, 1), spread(fR, 1),
                                      spread(fG, 1), spread(fB, 1));
    const __m512i words = _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
    const __m512i packed = _mm512_permutexvar_epi8(s.pack, words);
    if (kWhole) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(rgb), _mm512_castsi512_si256(packed));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(rgb + 32), _mm512_extracti32x4_epi32(packed, 2));
    } else {
        _mm512_mask_storeu_epi8(rgb, bytes, packed);
    }
}

void gridLookupAVX512(const Lut3DConstants* k, const Lut3DTable* table, uint8_t* rgb,
                      uint32_t count)
{
    Geometry g;
    const uint32_t plane = static_cast<uint32_t>(table->planeStride);
    const uint32_t row = static_cast<uint32_t>(table->rowStride);
    for (int a = 0; a < 2; ++a)
        for (int b = 0; b < 2; ++b)
            g.pair[a][b] = reinterpret_cast<const long long*>(table->grid + a * plane + b * row);
    g.strides = _mm512_set1_epi32(static_cast<int>(plane | row << 16));
    if (table->uniform) {
        alignas(64) uint8_t pairs[512];
        uniformPairs(k->gridScale[0], pairs);
        g.tables = tablesFromPairs(pairs);
    } else {
        g.tables = tablesFromPairs(table->indexTable);
    }
    static const Selectors s = makeSelectors();
    uint32_t x = 0;
    for (; x + 16 <= count; x += 16)
        lookup16<true>(g, s, rgb + 3 * x, 0x0000FFFFFFFFFFFFull);
    if (x < count) // a last group of eight
        lookup16<false>(g, s, rgb + 3 * x, 0x0000000000FFFFFFull);
}

} // namespace

extern const Lut3DKernelOps kLut3DKernelAVX512;
const Lut3DKernelOps kLut3DKernelAVX512 = {"AVX-512", yuvToRgbAVX2, gridLookupAVX512,
                                           rgbToYuvAVX2};
