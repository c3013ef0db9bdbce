/*
 * Scalar models of the vector operations the kernel is made of. Each helper
 * is one lane of one instruction, with that instruction's width, rounding
 * and saturation, so the reference kernel built from them is exact.
 */
#ifndef LUT3DKERNELMATH_H
#define LUT3DKERNELMATH_H

#include <cstdint>

#include "lut/Lut3DTypes.h"

namespace lut3d {

// Two's-complement wrap of a 16-bit lane.
inline int16_t wrap16(int32_t v)
{
    return static_cast<int16_t>(static_cast<uint16_t>(v));
}

// Saturating doubling multiply keeping the high half: floor(a * c / 32768),
// saturated to int16 (only -32768 * -32768 saturates).
inline int16_t mulHigh(int16_t a, int16_t c)
{
    const int64_t p = (2 * static_cast<int64_t>(a) * c) >> 16;
    return static_cast<int16_t>(p > 32767 ? 32767 : p);
}

// (Y - offset) * 16 in a signed 16-bit lane; Y below the offset is negative.
inline int16_t lumaTerm(uint8_t y, uint8_t offset)
{
    return wrap16((static_cast<int32_t>(y) - offset) * 16);
}

// (C - 128) * 16 in a signed 16-bit lane.
inline int16_t chromaTerm(uint8_t c)
{
    return wrap16((static_cast<int32_t>(c) - 128) * 16);
}

// Rounding right shift by 2 with unsigned 8-bit saturation.
inline uint8_t roundShift2Sat(int16_t v)
{
    const int32_t r = (static_cast<int32_t>(v) + 2) >> 2;
    return static_cast<uint8_t>(r < 0 ? 0 : (r > 255 ? 255 : r));
}

// Grid position of a channel value for a uniform table: the product c * s
// holds the index in bits 15 and up and the 7-bit fraction in bits 8 to 14.
inline void gridPosUniform(uint8_t c, uint16_t scale, uint32_t* index, uint32_t* fraction)
{
    const uint32_t p = static_cast<uint32_t>(c) * scale;
    *index = p >> 15;
    *fraction = (p >> 8) & 127;
}

inline void gridPosIndexed(const uint8_t* indexTable, uint8_t c, uint32_t* index,
                           uint32_t* fraction)
{
    *index = indexTable[2 * c];
    *fraction = indexTable[2 * c + 1];
}

// (c0 * (128 - f) + c1 * f) >> 7 in an unsigned 16-bit lane, narrowed to 8 bits.
inline uint8_t lerp7(uint8_t c0, uint8_t c1, uint32_t f)
{
    const uint16_t sum = static_cast<uint16_t>(c0 * (128 - f) + c1 * f);
    return static_cast<uint8_t>(sum >> 7);
}

// Y = ((yR*R + yG*G + yB*B + 128) >> 8) + offset: unsigned 16-bit sum,
// rounding narrow, then an 8-bit add that wraps.
inline uint8_t lumaOf(const Lut3DConstants* k, const uint8_t* rgb)
{
    const uint16_t sum = static_cast<uint16_t>(k->yFromR[0] * rgb[0] + k->yFromG[0] * rgb[1] +
                                               k->yFromB[0] * rgb[2]);
    const uint8_t narrowed = static_cast<uint8_t>((static_cast<uint32_t>(sum) + 128) >> 8);
    return static_cast<uint8_t>(narrowed + k->lumaOffset[0]);
}

// Rounded average of a 2x2 block: (a + b + c + d + 2) >> 2.
inline uint8_t average4(uint8_t a, uint8_t b, uint8_t c, uint8_t d)
{
    return static_cast<uint8_t>((a + b + c + d + 2) >> 2);
}

// Rounding right shift by 8 with signed 8-bit saturation, then + 128 (mod 256).
inline uint8_t chromaNarrow(int16_t v)
{
    int32_t r = (static_cast<int32_t>(v) + 128) >> 8;
    r = r < -128 ? -128 : (r > 127 ? 127 : r);
    return static_cast<uint8_t>(r + 128);
}

inline uint8_t chromaU(const Lut3DConstants* k, uint8_t r, uint8_t g, uint8_t b)
{
    return chromaNarrow(wrap16(k->uFromB[0] * b - k->uFromR[0] * r - k->uFromG[0] * g));
}

inline uint8_t chromaV(const Lut3DConstants* k, uint8_t r, uint8_t g, uint8_t b)
{
    return chromaNarrow(wrap16(k->vFromR[0] * r - k->vFromG[0] * g - k->vFromB[0] * b));
}

} // namespace lut3d

#endif // LUT3DKERNELMATH_H
