// UTF-8, UTF-16 and Latin-1 conversion loops. One scalar loop states the
// rules; the block forms only speed up runs of ASCII (and whole Latin-1
// buffers) and hand every other unit back to the scalar loop, so all forms
// produce the same output by construction.
#include "core/text/ZeTextConvert.h"

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#define ZE_TEXT_SSE2 1
#elif defined(__ARM_NEON) && defined(__aarch64__)
#include <arm_neon.h>
#define ZE_TEXT_NEON 1
#endif

namespace ZeText {

namespace {

// ---- ASCII runs ---------------------------------------------------------
// Each run function looks at whole blocks from `in` while at least one full
// block remains, copies (widens or narrows) them, and returns the number of
// leading ASCII units it has consumed; 0 when no full block is left. It may
// write a whole block even when only part of it is ASCII: the caller's output
// room always covers that (see the buffer rules in the header).

int asciiRunNone(const unsigned char*, const unsigned char*, unsigned short*)
{
    return 0;
}

int asciiRunNone16(const unsigned short*, const unsigned short*, unsigned char*)
{
    return 0;
}

inline int leadingAsciiBytes(uint64_t word)
{
    const uint64_t high = word & 0x8080808080808080ull;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return high ? __builtin_ctzll(high) / 8 : 8;
#else
    return high ? __builtin_clzll(high) / 8 : 8;
#endif
}

// Portable: 8 bytes tested as one 64-bit word.
int asciiRunWord(const unsigned char* in, const unsigned char* end, unsigned short* out)
{
    const unsigned char* start = in;
    while (end - in >= 8) {
        uint64_t word;
        std::memcpy(&word, in, 8);
        const int n = leadingAsciiBytes(word);
        for (int i = 0; i < 8; ++i)
            out[i] = in[i];
        in += n;
        out += n;
        if (n < 8)
            break;
    }
    return int(in - start);
}

// Portable: 8 units tested together (a unit is ASCII when no bit above 0x7F is set).
int asciiRunWord16(const unsigned short* in, const unsigned short* end, unsigned char* out)
{
    const unsigned short* start = in;
    while (end - in >= 8) {
        unsigned short any = 0;
        for (int i = 0; i < 8; ++i)
            any |= in[i];
        if (any & 0xff80u) {
            int n = 0;
            while (n < 8 && in[n] < 0x80)
                out[n] = static_cast<unsigned char>(in[n]), ++n;
            in += n;
            break;
        }
        for (int i = 0; i < 8; ++i)
            out[i] = static_cast<unsigned char>(in[i]);
        in += 8;
        out += 8;
    }
    return int(in - start);
}

#if defined(ZE_TEXT_SSE2)

int asciiRunSimd(const unsigned char* in, const unsigned char* end, unsigned short* out)
{
    const unsigned char* start = in;
    const __m128i zero = _mm_setzero_si128();
    while (end - in >= 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(v, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpackhi_epi8(v, zero));
        const int high = _mm_movemask_epi8(v); // one bit per byte >= 0x80
        if (high) {
            in += __builtin_ctz(static_cast<unsigned>(high));
            break;
        }
        in += 16;
        out += 16;
    }
    return int(in - start);
}

int asciiRunSimd16(const unsigned short* in, const unsigned short* end, unsigned char* out)
{
    const unsigned short* start = in;
    const __m128i nonAsciiBits = _mm_set1_epi16(static_cast<short>(0xff80));
    const __m128i zero = _mm_setzero_si128();
    while (end - in >= 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 8));
        // 0xFFFF lanes for ASCII units, packed to one byte per unit.
        const __m128i asciiA = _mm_cmpeq_epi16(_mm_and_si128(a, nonAsciiBits), zero);
        const __m128i asciiB = _mm_cmpeq_epi16(_mm_and_si128(b, nonAsciiBits), zero);
        const int ascii = _mm_movemask_epi8(_mm_packs_epi16(asciiA, asciiB));
        // packus saturates non-ASCII units, which are not counted below.
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(a, b));
        if (ascii != 0xffff) {
            in += __builtin_ctz(static_cast<unsigned>(~ascii));
            break;
        }
        in += 16;
        out += 16;
    }
    return int(in - start);
}

void latin1WidenSimd(const unsigned char* in, int length, unsigned short* out)
{
    const __m128i zero = _mm_setzero_si128();
    int i = 0;
    for (; i + 16 <= length; i += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi8(v, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + 8), _mm_unpackhi_epi8(v, zero));
    }
    for (; i < length; ++i)
        out[i] = in[i];
}

// Units above 0xFF are replaced by '?' before packing. SSE2 has no unsigned
// 16-bit compare, so both sides are biased by 0x8000 and compared signed.
void latin1NarrowSimd(const unsigned short* in, int length, unsigned char* out)
{
    const __m128i bias = _mm_set1_epi16(static_cast<short>(0x8000));
    const __m128i limit = _mm_set1_epi16(static_cast<short>(0x80ff)); // 0x00FF biased
    const __m128i question = _mm_set1_epi16('?');
    int i = 0;
    for (; i + 16 <= length; i += 16) {
        __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i + 8));
        const __m128i wideA = _mm_cmpgt_epi16(_mm_xor_si128(a, bias), limit);
        const __m128i wideB = _mm_cmpgt_epi16(_mm_xor_si128(b, bias), limit);
        a = _mm_or_si128(_mm_andnot_si128(wideA, a), _mm_and_si128(wideA, question));
        b = _mm_or_si128(_mm_andnot_si128(wideB, b), _mm_and_si128(wideB, question));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(a, b));
    }
    for (; i < length; ++i)
        out[i] = in[i] > 0xff ? '?' : static_cast<unsigned char>(in[i]);
}

#elif defined(ZE_TEXT_NEON)

// Four bits per byte lane of a compare result, in lane order.
inline uint64_t nibbleMask(uint8x16_t lanes)
{
    const uint8x8_t narrowed = vshrn_n_u16(vreinterpretq_u16_u8(lanes), 4);
    return vget_lane_u64(vreinterpret_u64_u8(narrowed), 0);
}

int asciiRunSimd(const unsigned char* in, const unsigned char* end, unsigned short* out)
{
    const unsigned char* start = in;
    while (end - in >= 16) {
        const uint8x16_t v = vld1q_u8(in);
        vst1q_u16(out, vmovl_u8(vget_low_u8(v)));
        vst1q_u16(out + 8, vmovl_high_u8(v));
        if (vmaxvq_u8(v) >= 0x80) {
            const uint64_t high = nibbleMask(vcgeq_u8(v, vdupq_n_u8(0x80)));
            in += __builtin_ctzll(high) / 4;
            break;
        }
        in += 16;
        out += 16;
    }
    return int(in - start);
}

int asciiRunSimd16(const unsigned short* in, const unsigned short* end, unsigned char* out)
{
    const unsigned short* start = in;
    const uint16x8_t limit = vdupq_n_u16(0x80);
    while (end - in >= 16) {
        const uint16x8_t a = vld1q_u16(in);
        const uint16x8_t b = vld1q_u16(in + 8);
        vst1q_u8(out, vcombine_u8(vqmovn_u16(a), vqmovn_u16(b)));
        if (vmaxvq_u16(vorrq_u16(a, b)) >= 0x80) {
            const uint8x16_t high =
                vcombine_u8(vmovn_u16(vcgeq_u16(a, limit)), vmovn_u16(vcgeq_u16(b, limit)));
            in += __builtin_ctzll(nibbleMask(high)) / 4;
            break;
        }
        in += 16;
        out += 16;
    }
    return int(in - start);
}

void latin1WidenSimd(const unsigned char* in, int length, unsigned short* out)
{
    int i = 0;
    for (; i + 16 <= length; i += 16) {
        const uint8x16_t v = vld1q_u8(in + i);
        vst1q_u16(out + i, vmovl_u8(vget_low_u8(v)));
        vst1q_u16(out + i + 8, vmovl_high_u8(v));
    }
    for (; i < length; ++i)
        out[i] = in[i];
}

void latin1NarrowSimd(const unsigned short* in, int length, unsigned char* out)
{
    const uint16x8_t limit = vdupq_n_u16(0xff);
    const uint16x8_t question = vdupq_n_u16('?');
    int i = 0;
    for (; i + 16 <= length; i += 16) {
        uint16x8_t a = vld1q_u16(in + i);
        uint16x8_t b = vld1q_u16(in + i + 8);
        a = vbslq_u16(vcgtq_u16(a, limit), question, a);
        b = vbslq_u16(vcgtq_u16(b, limit), question, b);
        vst1q_u8(out + i, vcombine_u8(vmovn_u16(a), vmovn_u16(b)));
    }
    for (; i < length; ++i)
        out[i] = in[i] > 0xff ? '?' : static_cast<unsigned char>(in[i]);
}

#endif

// ---- The scalar loops ---------------------------------------------------

template <int (*AsciiRun)(const unsigned char*, const unsigned char*, unsigned short*)>
int decodeUtf8(const unsigned char* in, int length, unsigned short* out, Utf8Decoding& how)
{
    const unsigned char* p = in;
    const unsigned char* const end = in + length;
    unsigned short* const outStart = out;
    const unsigned short replacement = how.replacement;
    int invalid = 0;

    // A byte-order mark is skipped only before anything else was read.
    if (how.skipByteOrderMark && length >= 3 && p[0] == 0xef && p[1] == 0xbb && p[2] == 0xbf)
        p += 3;

    while (p < end) {
        const unsigned int lead = *p;
        if (lead < 0x80) {
            const int n = AsciiRun(p, end, out);
            if (n > 0) {
                p += n;
                out += n;
            } else {
                *out++ = static_cast<unsigned short>(lead);
                ++p;
            }
            continue;
        }

        int needed;
        unsigned int minimum;
        unsigned int value;
        if (lead < 0xc2) { // stray continuation byte or overlong 2-byte lead
            needed = -1;
            minimum = 0;
            value = 0;
        } else if (lead < 0xe0) {
            needed = 1;
            minimum = 0x80;
            value = lead & 0x1f;
        } else if (lead < 0xf0) {
            needed = 2;
            minimum = 0x800;
            value = lead & 0x0f;
        } else if (lead < 0xf5) {
            needed = 3;
            minimum = 0x10000;
            value = lead & 0x07;
        } else {
            needed = -1;
            minimum = 0;
            value = 0;
        }

        const int present = end - p > needed ? needed : int(end - p) - 1;
        bool valid = needed > 0;
        for (int i = 1; valid && i <= present; ++i) {
            const unsigned int next = p[i];
            if ((next & 0xc0) != 0x80)
                valid = false;
            value = (value << 6) | (next & 0x3f);
        }
        if (valid && present < needed) {
            // Cut off by the end of the input with every byte fine so far.
            if (how.keepIncompleteTail)
                break;
            valid = false;
        }
        if (valid && (value < minimum || value > 0x10ffff || (value >= 0xd800 && value <= 0xdfff)))
            valid = false;

        if (!valid) {
            // Only the lead byte is consumed; what follows is decoded afresh.
            *out++ = replacement;
            ++invalid;
            ++p;
            continue;
        }
        p += needed + 1;
        if (value > 0xffff) {
            *out++ = static_cast<unsigned short>((value >> 10) + 0xd7c0);
            *out++ = static_cast<unsigned short>(0xdc00 | (value & 0x3ff));
        } else {
            *out++ = static_cast<unsigned short>(value);
        }
    }
    how.invalid = invalid;
    how.consumed = int(p - in);
    return int(out - outStart);
}

template <int (*AsciiRun)(const unsigned short*, const unsigned short*, unsigned char*)>
int encodeUtf8(const unsigned short* in, int length, unsigned char* out)
{
    const unsigned short* p = in;
    const unsigned short* const end = in + length;
    unsigned char* const outStart = out;
    while (p < end) {
        const unsigned int u = *p;
        if (u < 0x80) {
            const int n = AsciiRun(p, end, out);
            if (n > 0) {
                p += n;
                out += n;
            } else {
                *out++ = static_cast<unsigned char>(u);
                ++p;
            }
        } else if (u < 0x800) {
            *out++ = static_cast<unsigned char>(0xc0 | (u >> 6));
            *out++ = static_cast<unsigned char>(0x80 | (u & 0x3f));
            ++p;
        } else if (u < 0xd800 || u > 0xdfff) {
            *out++ = static_cast<unsigned char>(0xe0 | (u >> 12));
            *out++ = static_cast<unsigned char>(0x80 | ((u >> 6) & 0x3f));
            *out++ = static_cast<unsigned char>(0x80 | (u & 0x3f));
            ++p;
        } else if (u < 0xdc00 && end - p >= 2 && (p[1] & 0xfc00) == 0xdc00) {
            const unsigned int cp = (u << 10) + p[1] - 0x35fdc00u;
            *out++ = static_cast<unsigned char>(0xf0 | (cp >> 18));
            *out++ = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3f));
            *out++ = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3f));
            *out++ = static_cast<unsigned char>(0x80 | (cp & 0x3f));
            p += 2;
        } else {
            // Unpaired surrogate; the unit after a lone high one is encoded on its own.
            *out++ = '?';
            ++p;
        }
    }
    return int(out - outStart);
}

void latin1WidenUnit(const unsigned char* in, int length, unsigned short* out)
{
    for (int i = 0; i < length; ++i)
        out[i] = in[i];
}

void latin1WidenWord(const unsigned char* in, int length, unsigned short* out)
{
    int i = 0;
    for (; i + 8 <= length; i += 8)
        for (int k = 0; k < 8; ++k)
            out[i + k] = in[i + k];
    for (; i < length; ++i)
        out[i] = in[i];
}

void latin1NarrowUnit(const unsigned short* in, int length, unsigned char* out)
{
    for (int i = 0; i < length; ++i)
        out[i] = in[i] > 0xff ? '?' : static_cast<unsigned char>(in[i]);
}

void latin1NarrowWord(const unsigned short* in, int length, unsigned char* out)
{
    int i = 0;
    for (; i + 8 <= length; i += 8) {
        unsigned short any = 0;
        for (int k = 0; k < 8; ++k)
            any |= in[i + k];
        if (any & 0xff00u) {
            for (int k = 0; k < 8; ++k)
                out[i + k] = in[i + k] > 0xff ? '?' : static_cast<unsigned char>(in[i + k]);
        } else {
            for (int k = 0; k < 8; ++k)
                out[i + k] = static_cast<unsigned char>(in[i + k]);
        }
    }
    for (; i < length; ++i)
        out[i] = in[i] > 0xff ? '?' : static_cast<unsigned char>(in[i]);
}

#if !defined(ZE_TEXT_SSE2) && !defined(ZE_TEXT_NEON)
int asciiRunSimd(const unsigned char* in, const unsigned char* end, unsigned short* out)
{
    return asciiRunWord(in, end, out);
}
int asciiRunSimd16(const unsigned short* in, const unsigned short* end, unsigned char* out)
{
    return asciiRunWord16(in, end, out);
}
void latin1WidenSimd(const unsigned char* in, int length, unsigned short* out)
{
    latin1WidenWord(in, length, out);
}
void latin1NarrowSimd(const unsigned short* in, int length, unsigned char* out)
{
    latin1NarrowWord(in, length, out);
}
#endif

// The variant of a conversion that the path asks for; every path gives the
// same result.
template <typename F>
F byPath(Path path, F unit, F word, F simd)
{
    return path == PathUnit ? unit : path == PathWord ? word : simd;
}

} // namespace

bool simdAvailable()
{
#if defined(ZE_TEXT_SSE2) || defined(ZE_TEXT_NEON)
    return true;
#else
    return false;
#endif
}

Path bestPath()
{
    return PathSimd;
}

int utf8ToUtf16(const unsigned char* in, int length, unsigned short* out, Utf8Decoding& how,
                Path path)
{
    if (length <= 0) {
        how.invalid = 0;
        how.consumed = 0;
        return 0;
    }
    return byPath(path, decodeUtf8<asciiRunNone>, decodeUtf8<asciiRunWord>,
                  decodeUtf8<asciiRunSimd>)(in, length, out, how);
}

int utf8ToUtf16(const unsigned char* in, int length, unsigned short* out, bool* replaced, Path path)
{
    Utf8Decoding how;
    const int written = utf8ToUtf16(in, length, out, how, path);
    if (replaced)
        *replaced = how.invalid != 0;
    return written;
}

int utf16ToUtf8(const unsigned short* in, int length, unsigned char* out, Path path)
{
    if (length <= 0)
        return 0;
    return byPath(path, encodeUtf8<asciiRunNone16>, encodeUtf8<asciiRunWord16>,
                  encodeUtf8<asciiRunSimd16>)(in, length, out);
}

void latin1ToUtf16(const unsigned char* in, int length, unsigned short* out, Path path)
{
    if (length <= 0)
        return;
    byPath(path, latin1WidenUnit, latin1WidenWord, latin1WidenSimd)(in, length, out);
}

void utf16ToLatin1(const unsigned short* in, int length, unsigned char* out, Path path)
{
    if (length <= 0)
        return;
    byPath(path, latin1NarrowUnit, latin1NarrowWord, latin1NarrowSimd)(in, length, out);
}

} // namespace ZeText
