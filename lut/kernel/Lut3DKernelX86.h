/*
 * 128-bit building blocks shared by the x86-64 kernel variants: the YUV->RGB
 * and RGB->YUV steps, eight pixels per step, and the byte shuffles that move
 * between R, G, B triples and one 32-bit R, G, B, 0 word per pixel.
 *
 * Included only by variant files compiled with -msse4.1 or more. Everything
 * here has internal linkage, so each variant carries its own copy compiled
 * with its own flags and no copy built for a newer instruction set can be
 * picked up by an older one.
 *
 * Lane arithmetic, with the identities it relies on (each proved over its
 * input range by the kernel checker test):
 *  - m(a, c) = floor(a * c / 32768) is pmulhw(2a, c): the high half of the
 *    32-bit product of 2a and c. 2a = (Y - offset) * 32 or (C - 128) * 32
 *    stays within -4096..8160, so the doubling cannot overflow.
 *  - (x + 2) >> 2 with unsigned saturation is psraw(paddw(x, 2), 2) packed
 *    with packuswb: over every Y, U and V the sums before the shift stay
 *    within -1157..2186, far from wrapping.
 *  - Y: (sum + 128) >> 8 as psrlw(paddw(sum, 128), 8), equal for every
 *    16-bit sum (a wrapped sum gives 0, as 256 narrowed to 8 bits does).
 *  - Chroma: (X + 128) >> 8 as psraw(paddw(X, 128), 8) then packsswb:
 *    |X| <= 127 * 255.
 *
 * Files compiled with -mavx2 or more also get 16-pixel versions of both
 * steps (256-bit lanes, the same arithmetic), with the 8-pixel step for a
 * last odd group of 8.
 *
 * Memory: reads exactly count bytes of each luma and chroma row and 3 * count
 * bytes of each RGB buffer, writes exactly as many; nothing past a row.
 */
#ifndef LUT3DKERNELX86_H
#define LUT3DKERNELX86_H

#include <immintrin.h>

#include <cstdint>

#include "lut/Lut3DTypes.h"
#include "lut/kernel/Lut3DKernel.h"

namespace lut3d_x86 {

constexpr int8_t Z = -128; // pshufb index that yields 0

static LUT3D_KERNEL_INLINE __m128i load8(const void* p)
{
    return _mm_loadl_epi64(static_cast<const __m128i*>(p));
}

static LUT3D_KERNEL_INLINE __m128i load16(const void* p)
{
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}

static LUT3D_KERNEL_INLINE void store8(void* p, __m128i v)
{
    _mm_storel_epi64(static_cast<__m128i*>(p), v);
}

// Eight unsigned 8-bit lanes of a constants field widened to 16 bits.
static LUT3D_KERNEL_INLINE __m128i widen8(const uint8_t* lanes)
{
    return _mm_cvtepu8_epi16(load8(lanes));
}

// Pixels 0-3 of a group of eight R, G, B triples (24 bytes at rgb) as
// R | G << 8 | B << 16 words, and pixels 4-7. The two 16-byte loads cover
// bytes 0-15 and 8-23, exactly the group.
static LUT3D_KERNEL_INLINE __m128i rgbWordsLow(__m128i bytes0to15)
{
    const __m128i m = _mm_setr_epi8(0, 1, 2, Z, 3, 4, 5, Z, 6, 7, 8, Z, 9, 10, 11, Z);
    return _mm_shuffle_epi8(bytes0to15, m);
}

static LUT3D_KERNEL_INLINE __m128i rgbWordsHigh(__m128i bytes8to23)
{
    const __m128i m = _mm_setr_epi8(4, 5, 6, Z, 7, 8, 9, Z, 10, 11, 12, Z, 13, 14, 15, Z);
    return _mm_shuffle_epi8(bytes8to23, m);
}

// The inverse: two vectors of four R, G, B, x words back to 24 bytes.
static LUT3D_KERNEL_INLINE void storeRgbWords(uint8_t* rgb, __m128i lo, __m128i hi)
{
    const __m128i packLo = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, Z, Z, Z, Z);
    const __m128i packHiHead = _mm_setr_epi8(Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, 0, 1, 2, 4);
    const __m128i packHiTail = _mm_setr_epi8(5, 6, 8, 9, 10, 12, 13, 14, Z, Z, Z, Z, Z, Z, Z, Z);
    const __m128i head =
        _mm_or_si128(_mm_shuffle_epi8(lo, packLo), _mm_shuffle_epi8(hi, packHiHead));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(rgb), head);
    store8(rgb + 16, _mm_shuffle_epi8(hi, packHiTail));
}

// ---------------------------------------------------------------- YUV -> RGB

struct YuvToRgbConstants {
    __m128i lumaOffset, chromaOffset, lumaScale, rFromV, gFromU, gFromV, bFromU;
    __m128i spreadU, spreadV; // chroma byte of each pixel's pair, zero-extended
};

static LUT3D_KERNEL_INLINE YuvToRgbConstants yuvToRgbConstants(const Lut3DConstants* k, int isNV21)
{
    // Pixel x uses the pair at byte 2 * (x / 2); U is its first byte for NV12
    // and its second for NV21. The format is only this choice of shuffle.
    const __m128i first = _mm_setr_epi8(0, Z, 0, Z, 2, Z, 2, Z, 4, Z, 4, Z, 6, Z, 6, Z);
    const __m128i second = _mm_setr_epi8(1, Z, 1, Z, 3, Z, 3, Z, 5, Z, 5, Z, 7, Z, 7, Z);
    YuvToRgbConstants c;
    c.lumaOffset = widen8(k->lumaOffset);
    c.chromaOffset = widen8(k->chromaOffset);
    c.lumaScale = load16(k->lumaScale);
    c.rFromV = load16(k->rFromV);
    c.gFromU = load16(k->gFromU);
    c.gFromV = load16(k->gFromV);
    c.bFromU = load16(k->bFromU);
    c.spreadU = isNV21 ? second : first;
    c.spreadV = isNV21 ? first : second;
    return c;
}

// Eight R, G, B triples of one row from Y' and the shared chroma terms.
static LUT3D_KERNEL_INLINE void rgbRow(__m128i yScaled, __m128i rTerm, __m128i gTerm, __m128i bTerm,
                                       uint8_t* out)
{
    const __m128i two = _mm_set1_epi16(2);
    const __m128i r = _mm_srai_epi16(_mm_add_epi16(_mm_add_epi16(yScaled, rTerm), two), 2);
    const __m128i g = _mm_srai_epi16(_mm_add_epi16(_mm_sub_epi16(yScaled, gTerm), two), 2);
    const __m128i b = _mm_srai_epi16(_mm_add_epi16(_mm_add_epi16(yScaled, bTerm), two), 2);
    const __m128i rg = _mm_packus_epi16(r, g); // R0..R7 G0..G7
    const __m128i bb = _mm_packus_epi16(b, b); // B0..B7 twice
    const __m128i headRG = _mm_setr_epi8(0, 8, Z, 1, 9, Z, 2, 10, Z, 3, 11, Z, 4, 12, Z, 5);
    const __m128i headB = _mm_setr_epi8(Z, Z, 0, Z, Z, 1, Z, Z, 2, Z, Z, 3, Z, Z, 4, Z);
    const __m128i tailRG = _mm_setr_epi8(13, Z, 6, 14, Z, 7, 15, Z, Z, Z, Z, Z, Z, Z, Z, Z);
    const __m128i tailB = _mm_setr_epi8(Z, 5, Z, Z, 6, Z, Z, 7, Z, Z, Z, Z, Z, Z, Z, Z);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                     _mm_or_si128(_mm_shuffle_epi8(rg, headRG), _mm_shuffle_epi8(bb, headB)));
    store8(out + 16, _mm_or_si128(_mm_shuffle_epi8(rg, tailRG), _mm_shuffle_epi8(bb, tailB)));
}

// One group of eight pixels of both rows.
static LUT3D_KERNEL_INLINE void yuvToRgb8(const YuvToRgbConstants& c, const uint8_t* y0,
                                          const uint8_t* y1, const uint8_t* uv, uint8_t* rgb0,
                                          uint8_t* rgb1)
{
    const __m128i chroma = load8(uv);
    // 2u and 2v: (C - 128) * 32, the doubled operand of pmulhw.
    const __m128i u2 = _mm_slli_epi16(_mm_sub_epi16(_mm_shuffle_epi8(chroma, c.spreadU),
                                                    c.chromaOffset), 5);
    const __m128i v2 = _mm_slli_epi16(_mm_sub_epi16(_mm_shuffle_epi8(chroma, c.spreadV),
                                                    c.chromaOffset), 5);
    const __m128i rTerm = _mm_mulhi_epi16(v2, c.rFromV);
    const __m128i gTerm = _mm_add_epi16(_mm_mulhi_epi16(u2, c.gFromU),
                                        _mm_mulhi_epi16(v2, c.gFromV));
    const __m128i bTerm = _mm_mulhi_epi16(u2, c.bFromU);
    const __m128i l0 = _mm_slli_epi16(_mm_sub_epi16(_mm_cvtepu8_epi16(load8(y0)), c.lumaOffset), 5);
    const __m128i l1 = _mm_slli_epi16(_mm_sub_epi16(_mm_cvtepu8_epi16(load8(y1)), c.lumaOffset), 5);
    rgbRow(_mm_mulhi_epi16(l0, c.lumaScale), rTerm, gTerm, bTerm, rgb0);
    rgbRow(_mm_mulhi_epi16(l1, c.lumaScale), rTerm, gTerm, bTerm, rgb1);
}

static LUT3D_KERNEL_INLINE void yuvToRgbX86(const Lut3DConstants* k, const uint8_t* y0,
                                            const uint8_t* y1, const uint8_t* uv, int isNV21,
                                            uint8_t* rgb0, uint8_t* rgb1, uint32_t count)
{
    const YuvToRgbConstants c = yuvToRgbConstants(k, isNV21);
    for (uint32_t x = 0; x < count; x += 8)
        yuvToRgb8(c, y0 + x, y1 + x, uv + x, rgb0 + 3 * x, rgb1 + 3 * x);
}

// ---------------------------------------------------------------- RGB -> YUV

struct RgbToYuvConstants {
    __m128i yFromR, yFromG, yFromB, lumaOffset;
    // Chroma lanes alternate between the pair's first and second byte (U, V
    // for NV12; V, U for NV21), so one multiply-add computes both.
    __m128i fromR, fromG, fromB;
};

static LUT3D_KERNEL_INLINE RgbToYuvConstants rgbToYuvConstants(const Lut3DConstants* k, int isNV21)
{
    RgbToYuvConstants c;
    c.yFromR = widen8(k->yFromR);
    c.yFromG = widen8(k->yFromG);
    c.yFromB = widen8(k->yFromB);
    const __m128i offset = load8(k->lumaOffset);
    c.lumaOffset = _mm_unpacklo_epi64(offset, offset);
    const __m128i zero = _mm_setzero_si128();
    // U = uB * B - uR * R - uG * G;  V = vR * R - vG * G - vB * B.
    const __m128i uR = _mm_sub_epi16(zero, load8(k->uFromR));
    const __m128i uG = _mm_sub_epi16(zero, load8(k->uFromG));
    const __m128i uB = load8(k->uFromB);
    const __m128i vR = load8(k->vFromR);
    const __m128i vG = _mm_sub_epi16(zero, load8(k->vFromG));
    const __m128i vB = _mm_sub_epi16(zero, load8(k->vFromB));
    if (isNV21) {
        c.fromR = _mm_unpacklo_epi16(vR, uR);
        c.fromG = _mm_unpacklo_epi16(vG, uG);
        c.fromB = _mm_unpacklo_epi16(vB, uB);
    } else {
        c.fromR = _mm_unpacklo_epi16(uR, vR);
        c.fromG = _mm_unpacklo_epi16(uG, vG);
        c.fromB = _mm_unpacklo_epi16(uB, vB);
    }
    return c;
}

struct Channels {
    __m128i r, g, b; // eight zero-extended 16-bit lanes each
};

static LUT3D_KERNEL_INLINE Channels loadChannels(const uint8_t* rgb)
{
    const __m128i a = load16(rgb);     // bytes 0-15
    const __m128i b = load16(rgb + 8); // bytes 8-23
    const __m128i r0 = _mm_setr_epi8(0, Z, 3, Z, 6, Z, 9, Z, 12, Z, Z, Z, Z, Z, Z, Z);
    const __m128i r1 = _mm_setr_epi8(Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, 7, Z, 10, Z, 13, Z);
    const __m128i g0 = _mm_setr_epi8(1, Z, 4, Z, 7, Z, 10, Z, 13, Z, Z, Z, Z, Z, Z, Z);
    const __m128i g1 = _mm_setr_epi8(Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, 8, Z, 11, Z, 14, Z);
    const __m128i b0 = _mm_setr_epi8(2, Z, 5, Z, 8, Z, 11, Z, 14, Z, Z, Z, Z, Z, Z, Z);
    const __m128i b1 = _mm_setr_epi8(Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, 9, Z, 12, Z, 15, Z);
    Channels c;
    c.r = _mm_or_si128(_mm_shuffle_epi8(a, r0), _mm_shuffle_epi8(b, r1));
    c.g = _mm_or_si128(_mm_shuffle_epi8(a, g0), _mm_shuffle_epi8(b, g1));
    c.b = _mm_or_si128(_mm_shuffle_epi8(a, b0), _mm_shuffle_epi8(b, b1));
    return c;
}

// (yR * R + yG * G + yB * B + 128) >> 8 in unsigned 16-bit lanes.
static LUT3D_KERNEL_INLINE __m128i lumaLanes(const RgbToYuvConstants& c, const Channels& p)
{
    __m128i sum = _mm_mullo_epi16(p.r, c.yFromR);
    sum = _mm_add_epi16(sum, _mm_mullo_epi16(p.g, c.yFromG));
    sum = _mm_add_epi16(sum, _mm_mullo_epi16(p.b, c.yFromB));
    return _mm_srli_epi16(_mm_add_epi16(sum, _mm_set1_epi16(128)), 8);
}

// Rounded 2x2 average of one channel, each pair's value in both its lanes.
static LUT3D_KERNEL_INLINE __m128i average2x2(__m128i row0, __m128i row1)
{
    const __m128i swapPairs = _mm_setr_epi8(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13);
    const __m128i sum = _mm_add_epi16(row0, row1);
    const __m128i both = _mm_add_epi16(sum, _mm_shuffle_epi8(sum, swapPairs));
    return _mm_srli_epi16(_mm_add_epi16(both, _mm_set1_epi16(2)), 2);
}

static LUT3D_KERNEL_INLINE void rgbToYuv8(const RgbToYuvConstants& c, const uint8_t* rgb0,
                                          const uint8_t* rgb1, uint8_t* y0, uint8_t* y1,
                                          uint8_t* uv)
{
    const Channels p0 = loadChannels(rgb0);
    const Channels p1 = loadChannels(rgb1);
    const __m128i luma =
        _mm_add_epi8(_mm_packus_epi16(lumaLanes(c, p0), lumaLanes(c, p1)), c.lumaOffset);
    store8(y0, luma);
    store8(y1, _mm_unpackhi_epi64(luma, luma));

    __m128i x = _mm_mullo_epi16(average2x2(p0.r, p1.r), c.fromR);
    x = _mm_add_epi16(x, _mm_mullo_epi16(average2x2(p0.g, p1.g), c.fromG));
    x = _mm_add_epi16(x, _mm_mullo_epi16(average2x2(p0.b, p1.b), c.fromB));
    x = _mm_srai_epi16(_mm_add_epi16(x, _mm_set1_epi16(128)), 8);
    const __m128i chroma = _mm_xor_si128(_mm_packs_epi16(x, x), _mm_set1_epi8(-128));
    store8(uv, chroma);
}

static LUT3D_KERNEL_INLINE void rgbToYuvX86(const Lut3DConstants* k, const uint8_t* rgb0,
                                            const uint8_t* rgb1, uint8_t* y0, uint8_t* y1,
                                            uint8_t* uv, int isNV21, uint32_t count)
{
    const RgbToYuvConstants c = rgbToYuvConstants(k, isNV21);
    for (uint32_t x = 0; x < count; x += 8)
        rgbToYuv8(c, rgb0 + 3 * x, rgb1 + 3 * x, y0 + x, y1 + x, uv + x);
}

// ---------------------------------------------------------------- grid

// One step of trilinear interpolation in 16-bit lanes:
// (c0 * (128 - f) + c1 * f) >> 7 computed as c0 + (((c1 - c0) * f) >> 7).
// 128 * c0 is a multiple of 128, so the arithmetic shift of the difference
// term floors exactly as the shift of the whole sum; |c1 - c0| * f <= 255 * 128
// fits a signed 16-bit lane.
static LUT3D_KERNEL_INLINE __m128i lerp7(__m128i c0, __m128i c1, __m128i f)
{
    return _mm_add_epi16(c0, _mm_srai_epi16(_mm_mullo_epi16(_mm_sub_epi16(c1, c0), f), 7));
}

#if defined(__AVX2__)

static LUT3D_KERNEL_INLINE __m256i twice128(__m128i v)
{
    return _mm256_inserti128_si256(_mm256_castsi128_si256(v), v, 1);
}

// Two 16-byte loads as the low and the high lane.
static LUT3D_KERNEL_INLINE __m256i load2x16(const uint8_t* low, const uint8_t* high)
{
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(low)), load16(high), 1);
}

// Sixteen pixels of both rows: the 8-pixel step with pixels 0-7 in the low
// lane and 8-15 in the high one.
static LUT3D_KERNEL_INLINE void yuvToRgb16(const YuvToRgbConstants& c, const uint8_t* y0,
                                           const uint8_t* y1, const uint8_t* uv, uint8_t* rgb0,
                                           uint8_t* rgb1)
{
    // Pixel 8 + x takes chroma byte 8 + 2 * (x / 2) (+ 1): the high lane's
    // shuffle indices are 8 more.
    const __m256i eight = _mm256_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 8,
                                           0, 8, 0, 8, 0, 8, 0, 8, 0, 8, 0, 8, 0);
    const __m256i chroma = twice128(load16(uv));
    const __m256i chromaOffset = twice128(c.chromaOffset);
    const __m256i u2 = _mm256_slli_epi16(
        _mm256_sub_epi16(_mm256_shuffle_epi8(chroma, _mm256_add_epi8(twice128(c.spreadU), eight)),
                         chromaOffset), 5);
    const __m256i v2 = _mm256_slli_epi16(
        _mm256_sub_epi16(_mm256_shuffle_epi8(chroma, _mm256_add_epi8(twice128(c.spreadV), eight)),
                         chromaOffset), 5);
    const __m256i rTerm = _mm256_mulhi_epi16(v2, twice128(c.rFromV));
    const __m256i gTerm = _mm256_add_epi16(_mm256_mulhi_epi16(u2, twice128(c.gFromU)),
                                           _mm256_mulhi_epi16(v2, twice128(c.gFromV)));
    const __m256i bTerm = _mm256_mulhi_epi16(u2, twice128(c.bFromU));
    const __m256i lumaOffset = twice128(c.lumaOffset);
    const __m256i lumaScale = twice128(c.lumaScale);
    const __m256i two = _mm256_set1_epi16(2);
    const __m256i headRG =
        twice128(_mm_setr_epi8(0, 8, Z, 1, 9, Z, 2, 10, Z, 3, 11, Z, 4, 12, Z, 5));
    const __m256i headB = twice128(_mm_setr_epi8(Z, Z, 0, Z, Z, 1, Z, Z, 2, Z, Z, 3, Z, Z, 4, Z));
    const __m256i tailRG =
        twice128(_mm_setr_epi8(13, Z, 6, 14, Z, 7, 15, Z, Z, Z, Z, Z, Z, Z, Z, Z));
    const __m256i tailB = twice128(_mm_setr_epi8(Z, 5, Z, Z, 6, Z, Z, 7, Z, Z, Z, Z, Z, Z, Z, Z));
    const uint8_t* luma[2] = {y0, y1};
    uint8_t* out[2] = {rgb0, rgb1};
    for (int row = 0; row < 2; ++row) {
        const __m256i l = _mm256_slli_epi16(
            _mm256_sub_epi16(_mm256_cvtepu8_epi16(load16(luma[row])), lumaOffset), 5);
        const __m256i yScaled = _mm256_mulhi_epi16(l, lumaScale);
        const __m256i r = _mm256_srai_epi16(
            _mm256_add_epi16(_mm256_add_epi16(yScaled, rTerm), two), 2);
        const __m256i g = _mm256_srai_epi16(
            _mm256_add_epi16(_mm256_sub_epi16(yScaled, gTerm), two), 2);
        const __m256i b = _mm256_srai_epi16(
            _mm256_add_epi16(_mm256_add_epi16(yScaled, bTerm), two), 2);
        // Per lane: R G packed, B twice; then the 8-pixel interleave per lane.
        const __m256i rg = _mm256_packus_epi16(r, g);
        const __m256i bb = _mm256_packus_epi16(b, b);
        const __m256i head =
            _mm256_or_si256(_mm256_shuffle_epi8(rg, headRG), _mm256_shuffle_epi8(bb, headB));
        const __m256i tail =
            _mm256_or_si256(_mm256_shuffle_epi8(rg, tailRG), _mm256_shuffle_epi8(bb, tailB));
        uint8_t* o = out[row];
        _mm_storeu_si128(reinterpret_cast<__m128i*>(o), _mm256_castsi256_si128(head));
        store8(o + 16, _mm256_castsi256_si128(tail));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 24), _mm256_extracti128_si256(head, 1));
        store8(o + 40, _mm256_extracti128_si256(tail, 1));
    }
}

static LUT3D_KERNEL_INLINE void yuvToRgbAVX2(const Lut3DConstants* k, const uint8_t* y0,
                                             const uint8_t* y1, const uint8_t* uv, int isNV21,
                                             uint8_t* rgb0, uint8_t* rgb1, uint32_t count)
{
    const YuvToRgbConstants c = yuvToRgbConstants(k, isNV21);
    uint32_t x = 0;
    for (; x + 16 <= count; x += 16)
        yuvToRgb16(c, y0 + x, y1 + x, uv + x, rgb0 + 3 * x, rgb1 + 3 * x);
    if (x < count)
        yuvToRgb8(c, y0 + x, y1 + x, uv + x, rgb0 + 3 * x, rgb1 + 3 * x);
}

struct Channels16 {
    __m256i r, g, b; // sixteen zero-extended 16-bit lanes each
};

static LUT3D_KERNEL_INLINE Channels16 loadChannels16(const uint8_t* rgb)
{
    // Per lane, the 8-pixel load: bytes 0-15 and 8-23 of pixels 0-7 (low
    // lane) and of pixels 8-15 (high lane).
    const __m256i a = load2x16(rgb, rgb + 24);
    const __m256i b = load2x16(rgb + 8, rgb + 32);
    const __m256i r0 = twice128(_mm_setr_epi8(0, Z, 3, Z, 6, Z, 9, Z, 12, Z, Z, Z, Z, Z, Z, Z));
    const __m256i r1 = twice128(_mm_setr_epi8(Z, Z, Z, Z, Z, Z, Z, Z, Z, Z, 7, Z, 10, Z, 13, Z));
    const __m256i one = _mm256_set1_epi8(1);
    Channels16 c;
    c.r = _mm256_or_si256(_mm256_shuffle_epi8(a, r0), _mm256_shuffle_epi8(b, r1));
    const __m256i g0 = _mm256_add_epi8(r0, one), g1 = _mm256_add_epi8(r1, one);
    c.g = _mm256_or_si256(_mm256_shuffle_epi8(a, g0), _mm256_shuffle_epi8(b, g1));
    const __m256i b0 = _mm256_add_epi8(g0, one), b1 = _mm256_add_epi8(g1, one);
    c.b = _mm256_or_si256(_mm256_shuffle_epi8(a, b0), _mm256_shuffle_epi8(b, b1));
    return c;
}

static LUT3D_KERNEL_INLINE __m256i lumaLanes16(const RgbToYuvConstants& c, const Channels16& p)
{
    __m256i sum = _mm256_mullo_epi16(p.r, twice128(c.yFromR));
    sum = _mm256_add_epi16(sum, _mm256_mullo_epi16(p.g, twice128(c.yFromG)));
    sum = _mm256_add_epi16(sum, _mm256_mullo_epi16(p.b, twice128(c.yFromB)));
    return _mm256_srli_epi16(_mm256_add_epi16(sum, _mm256_set1_epi16(128)), 8);
}

static LUT3D_KERNEL_INLINE __m256i average2x2x16(__m256i row0, __m256i row1)
{
    const __m256i swapPairs =
        twice128(_mm_setr_epi8(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13));
    const __m256i sum = _mm256_add_epi16(row0, row1);
    const __m256i both = _mm256_add_epi16(sum, _mm256_shuffle_epi8(sum, swapPairs));
    return _mm256_srli_epi16(_mm256_add_epi16(both, _mm256_set1_epi16(2)), 2);
}

static LUT3D_KERNEL_INLINE void rgbToYuv16(const RgbToYuvConstants& c, const uint8_t* rgb0,
                                           const uint8_t* rgb1, uint8_t* y0, uint8_t* y1,
                                           uint8_t* uv)
{
    const Channels16 p0 = loadChannels16(rgb0);
    const Channels16 p1 = loadChannels16(rgb1);
    // Per lane: row 0 then row 1 of that lane's eight pixels; reorder the
    // 64-bit quarters to row 0 (pixels 0-15) then row 1.
    const __m256i luma = _mm256_permute4x64_epi64(
        _mm256_add_epi8(_mm256_packus_epi16(lumaLanes16(c, p0), lumaLanes16(c, p1)),
                        twice128(c.lumaOffset)),
        0xD8);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(y0), _mm256_castsi256_si128(luma));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(y1), _mm256_extracti128_si256(luma, 1));

    __m256i x = _mm256_mullo_epi16(average2x2x16(p0.r, p1.r), twice128(c.fromR));
    x = _mm256_add_epi16(x, _mm256_mullo_epi16(average2x2x16(p0.g, p1.g), twice128(c.fromG)));
    x = _mm256_add_epi16(x, _mm256_mullo_epi16(average2x2x16(p0.b, p1.b), twice128(c.fromB)));
    x = _mm256_srai_epi16(_mm256_add_epi16(x, _mm256_set1_epi16(128)), 8);
    const __m256i chroma = _mm256_permute4x64_epi64(
        _mm256_xor_si256(_mm256_packs_epi16(x, x), _mm256_set1_epi8(-128)), 0x08);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(uv), _mm256_castsi256_si128(chroma));
}

static LUT3D_KERNEL_INLINE void rgbToYuvAVX2(const Lut3DConstants* k, const uint8_t* rgb0,
                                             const uint8_t* rgb1, uint8_t* y0, uint8_t* y1,
                                             uint8_t* uv, int isNV21, uint32_t count)
{
    const RgbToYuvConstants c = rgbToYuvConstants(k, isNV21);
    uint32_t x = 0;
    for (; x + 16 <= count; x += 16)
        rgbToYuv16(c, rgb0 + 3 * x, rgb1 + 3 * x, y0 + x, y1 + x, uv + x);
    if (x < count)
        rgbToYuv8(c, rgb0 + 3 * x, rgb1 + 3 * x, y0 + x, y1 + x, uv + x);
}

#endif // __AVX2__

} // namespace lut3d_x86

#endif // LUT3DKERNELX86_H
