/*
 * AVX-512 kernel variant (x86-64: F, BW, VL and VBMI), compiled with those
 * flags and entered only after the dispatch's CPU check. Integer code only;
 * bit-exact with the portable reference. The YUV->RGB and RGB->YUV steps are
 * the shared sixteen-pixel ones of Lut3DKernelX86.h; the grid lookup is its
 * own, sixteen pixels per step, with no gather.
 *
 * Grid positions, the same way for every table: each call turns the table
 * into two 256-entry byte tables, the grid index and the 7-bit fraction of
 * every channel value (for a uniform table from the grid scale, exactly as
 * the reference multiplies; otherwise the index table's pairs). The 48
 * channel values of sixteen pixels then find their indices and fractions
 * with two vpermi2b each, so uniform and non-uniform tables cost the same.
 *
 * Corners come from the table's pair grid (Lut3DTypes.h), which the table
 * builder makes for this variant: one 32-byte load per pixel holds, for both
 * iB and iB + 1 and both iG and iG + 1, the cells at iR and iR + 1 as
 * interleaved byte pairs, biased by -128 so that they are signed bytes.
 * Each interpolation step is then one pmaddubsw of those pairs with the
 * unsigned weight pair (128 - f, f) and an arithmetic shift by 7:
 *   (128 - f) * (c0 - 128) + f * (c1 - 128) = (128 - f) * c0 + f * c1 - 128 * 128,
 * whose magnitude stays within 128 * 128 (no saturation), and since
 * 128 * 128 = 128 << 7 the shifted result is the reference's step minus
 * 128: the next step's biased byte, exactly. The last step's bias is removed
 * by flipping the top bit. Steps run along R, then G, then B, as in the
 * reference; between steps one vpermt2b picks the low bytes of the 16-bit
 * results into the next step's pairs.
 *
 * Memory: reads and writes exactly 3 * count bytes of the RGB buffer (masked
 * loads and stores for a last group of eight); a corner load reads one pair
 * grid entry and the next one (iB + 1 <= N), inside the pair grid.
 */
#include "lut/kernel/Lut3DKernelX86.h"

#include "lut/kernel/Lut3DKernel.h"

using namespace lut3d_x86;

namespace {

// A 256-entry byte table in four registers of 64 entries.
struct ByteTable {
    __m512i quarter[4];
};

// table[c] for every byte c; `high` holds bit 7 of each byte of c, which
// tells the half of the table its entry lies in.
LUT3D_KERNEL_INLINE __m512i lookup(const ByteTable& t, __m512i c, __mmask64 high)
{
    const __m512i low = _mm512_permutex2var_epi8(t.quarter[0], c, t.quarter[1]);
    const __m512i upper = _mm512_permutex2var_epi8(t.quarter[2], c, t.quarter[3]);
    return _mm512_mask_blend_epi8(high, low, upper);
}

// The even bytes (indices) or the odd bytes (fractions) of 512 bytes of
// (index, fraction) pairs.
ByteTable tableFromPairs(const uint8_t* pairs, int odd)
{
    const __m512i even = _mm512_set_epi64(0x7E7C7A7876747270, 0x6E6C6A6866646260,
        0x5E5C5A5856545250, 0x4E4C4A4846444240, 0x3E3C3A3836343230, 0x2E2C2A2826242220,
        0x1E1C1A1816141210, 0x0E0C0A0806040200);
    const __m512i pick = _mm512_add_epi8(even, _mm512_set1_epi8(static_cast<char>(odd)));
    ByteTable t;
    for (int q = 0; q < 4; ++q)
        t.quarter[q] = _mm512_permutex2var_epi8(
            _mm512_loadu_si512(pairs + 128 * q), pick, _mm512_loadu_si512(pairs + 128 * q + 64));
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
        _mm256_storeu_si256(
            reinterpret_cast<__m256i*>(pairs + 2 * base), _mm512_cvtepi32_epi16(pair));
    }
}

/*
 * Byte and word selectors of one sixteen-pixel step. Data layouts, per pixel:
 *   corners (after the load)  8 bytes per (dB, dG) corner k = 2 dB + dG:
 *                             the byte pairs (R at iR, R at iR + 1), (G ..), (B ..), (0, 0)
 *   after the R step          16 words e(k, ch), ch = R, G, B, 0
 *   G step input              16 bytes: for dB, ch the pair (e(dB, dG = 0, ch), e(dB, 1, ch))
 *   after the G step          8 words t(dB, ch)
 *   B step input              8 bytes: for ch the pair (t(0, ch), t(1, ch))
 *   after the B step          4 words: R, G, B, 0
 */
struct Selectors {
    __m512i planar; // 48 RGB bytes -> R of pixels 0-15, then G, then B
    __m512i rgWords; // planar indices -> iR | iG << 16 per pixel dword
    __m512i bDwords; // planar indices -> iB per pixel dword
    __m512i weightR[8]; // weight words: pixel 2j's 16 times, then pixel 2j + 1's
    __m512i weightG[4]; // pixels 4j to 4j + 3, 8 times each
    __m512i weightB[2]; // pixels 8j to 8j + 7, 4 times each
    __m512i toG; // two R-step results (4 pixels) -> G step pairs
    __m512i toB; // two G-step results (8 pixels) -> B step pairs
    __m512i toRgb; // two B-step results (16 pixels) -> 48 RGB bytes
};

Selectors makeSelectors()
{
    alignas(64) uint8_t b[64];
    alignas(64) uint16_t w[32];
    auto bytes = [&] { return _mm512_load_si512(b); };
    auto words = [&] { return _mm512_load_si512(w); };
    Selectors s;
    for (int i = 0; i < 64; ++i)
        b[i] = static_cast<uint8_t>(i < 48 ? 3 * (i % 16) + i / 16 : 0);
    s.planar = bytes();
    for (int p = 0; p < 16; ++p) {
        b[4 * p] = static_cast<uint8_t>(p);
        b[4 * p + 2] = static_cast<uint8_t>(16 + p);
    }
    s.rgWords = bytes(); // bytes 1 and 3 are zeroed by the mask at use
    for (int p = 0; p < 16; ++p)
        b[4 * p] = static_cast<uint8_t>(32 + p);
    s.bDwords = bytes(); // bytes 1 to 3 are zeroed by the mask at use
    // The weight words of pixel p: R and G at words p and 16 + p of the
    // first weight vector, B at word p of the second.
    for (int j = 0; j < 8; ++j) {
        for (int i = 0; i < 32; ++i)
            w[i] = static_cast<uint16_t>(2 * j + i / 16);
        s.weightR[j] = words();
    }
    for (int j = 0; j < 4; ++j) {
        for (int i = 0; i < 32; ++i)
            w[i] = static_cast<uint16_t>(16 + 4 * j + i / 8);
        s.weightG[j] = words();
    }
    for (int j = 0; j < 2; ++j) {
        for (int i = 0; i < 32; ++i)
            w[i] = static_cast<uint16_t>(8 * j + i / 4);
        s.weightB[j] = words();
    }
    // Words are picked by their low byte (byte 2 * word of the two sources).
    for (int p = 0; p < 4; ++p)
        for (int dB = 0; dB < 2; ++dB)
            for (int ch = 0; ch < 4; ++ch)
                for (int dG = 0; dG < 2; ++dG)
                    b[16 * p + 8 * dB + 2 * ch + dG]
                        = static_cast<uint8_t>(2 * (16 * p + 4 * (2 * dB + dG) + ch));
    s.toG = bytes();
    for (int p = 0; p < 8; ++p)
        for (int ch = 0; ch < 4; ++ch)
            for (int dB = 0; dB < 2; ++dB)
                b[8 * p + 2 * ch + dB] = static_cast<uint8_t>(2 * (8 * p + 4 * dB + ch));
    s.toB = bytes();
    for (int i = 0; i < 64; ++i)
        b[i] = static_cast<uint8_t>(i < 48 ? 2 * (4 * (i / 3) + i % 3) : 0);
    s.toRgb = bytes();
    return s;
}

struct Geometry {
    const uint8_t* pairs; // the table's pair grid
    __m512i strides; // entries per iR | entries per iG << 16, for pmaddwd
    ByteTable index, fraction;
};

// One interpolation step: biased byte pairs times weight pairs, shifted.
LUT3D_KERNEL_INLINE __m512i step(__m512i pairs, __m512i weights)
{
    return _mm512_srai_epi16(_mm512_maddubs_epi16(weights, pairs), 7);
}

LUT3D_KERNEL_INLINE __m512i loadCorners(const uint8_t* pairs, uint32_t entry0, uint32_t entry1)
{
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pairs + 16 * entry0));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pairs + 16 * entry1));
    return _mm512_inserti64x4(_mm512_castsi256_si512(a), b, 1);
}

template <bool kWhole>
LUT3D_KERNEL_INLINE void lookup16(
    const Geometry& g, const Selectors& s, uint8_t* rgb, __mmask64 bytes)
{
    // Whole groups avoid masked byte loads and stores, which are slow on
    // some cores.
    const __m512i group = kWhole
        ? _mm512_inserti32x4(
            _mm512_castsi256_si512(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(rgb))),
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(rgb + 32)), 2)
        : _mm512_maskz_loadu_epi8(bytes, rgb);
    const __m512i planar = _mm512_permutexvar_epi8(s.planar, group);
    const __mmask64 high = _mm512_movepi8_mask(planar);
    const __m512i index = lookup(g.index, planar, high);
    const __m512i fraction = lookup(g.fraction, planar, high);

    // Pair-grid entry of each pixel: iR * N(N + 1) + iG * (N + 1) + iB.
    const __m512i rg = _mm512_maskz_permutexvar_epi8(0x5555555555555555ull, s.rgWords, index);
    const __m512i b = _mm512_maskz_permutexvar_epi8(0x1111111111111111ull, s.bDwords, index);
    alignas(64) uint32_t entry[16];
    _mm512_store_si512(entry, _mm512_add_epi32(_mm512_madd_epi16(rg, g.strides), b));

    // Weight words (128 - f) | f << 8: R and G of pixels 0-15, then B.
    const __m512i f0 = _mm512_cvtepu8_epi16(_mm512_castsi512_si256(fraction));
    const __m512i f1 = _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(fraction, 1));
    const __m512i k128 = _mm512_set1_epi16(128);
    const __m512i wRG = _mm512_add_epi16(_mm512_sub_epi16(k128, f0), _mm512_slli_epi16(f0, 8));
    const __m512i wB = _mm512_add_epi16(_mm512_sub_epi16(k128, f1), _mm512_slli_epi16(f1, 8));

    __m512i e[8];
#pragma GCC unroll 8
    for (int j = 0; j < 8; ++j)
        e[j] = step(loadCorners(g.pairs, entry[2 * j], entry[2 * j + 1]),
            _mm512_permutexvar_epi16(s.weightR[j], wRG));
    __m512i t[4];
#pragma GCC unroll 4
    for (int j = 0; j < 4; ++j)
        t[j] = step(_mm512_permutex2var_epi8(e[2 * j], s.toG, e[2 * j + 1]),
            _mm512_permutexvar_epi16(s.weightG[j], wRG));
    __m512i u[2];
#pragma GCC unroll 2
    for (int j = 0; j < 2; ++j)
        u[j] = step(_mm512_permutex2var_epi8(t[2 * j], s.toB, t[2 * j + 1]),
            _mm512_permutexvar_epi16(s.weightB[j], wB));
    // Back from biased bytes: c - 128 + 128 is the top bit flipped.
    const __m512i out = _mm512_xor_si512(
        _mm512_permutex2var_epi8(u[0], s.toRgb, u[1]), _mm512_set1_epi8(static_cast<char>(0x80)));
    if (kWhole) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(rgb), _mm512_castsi512_si256(out));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(rgb + 32), _mm512_extracti32x4_epi32(out, 2));
    } else {
        _mm512_mask_storeu_epi8(rgb, bytes, out);
    }
}

void gridLookupAVX512(
    const Lut3DConstants* k, const Lut3DTable* table, uint8_t* rgb, uint32_t count)
{
    const uint32_t n = Lut3DTableLevels(table);
    Geometry g;
    g.pairs = table->pairGrid;
    g.strides = _mm512_set1_epi32(static_cast<int>(n * (n + 1) | (n + 1) << 16));
    alignas(64) uint8_t uniform[512];
    const uint8_t* pairs = table->indexTable;
    if (table->uniform) {
        uniformPairs(k->gridScale[0], uniform);
        pairs = uniform;
    }
    g.index = tableFromPairs(pairs, 0);
    g.fraction = tableFromPairs(pairs, 1);
    static const Selectors s = makeSelectors();
    uint32_t x = 0;
    for (; x + 16 <= count; x += 16)
        lookup16<true>(g, s, rgb + 3 * x, 0);
    if (x < count) // a last group of eight; the other eight look up cell 0
        lookup16<false>(g, s, rgb + 3 * x, 0x0000000000FFFFFFull);
}

} // namespace

extern const Lut3DKernelOps kLut3DKernelAVX512;
const Lut3DKernelOps kLut3DKernelAVX512
    = { "AVX-512", yuvToRgbAVX2, gridLookupAVX512, rgbToYuvAVX2, true };
