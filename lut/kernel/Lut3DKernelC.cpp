/*
 * Portable reference kernel. Each group of 8 pixels is computed lane by lane
 * with the exact width and wrap-around of the vector code: 16-bit signed
 * lanes for YUV->RGB and chroma, 16-bit unsigned lanes for interpolation and
 * luma. Reads and writes exactly count bytes per row (no over-read).
 */
#include <cstdint>

#include "lut/kernel/Lut3DKernel.h"
#include "lut/kernel/Lut3DKernelMath.h"

using namespace lut3d;

namespace {

void yuvToRgbC(const Lut3DConstants* k, const uint8_t* y0, const uint8_t* y1, const uint8_t* uv,
               int isNV21, uint8_t* rgb0, uint8_t* rgb1, uint32_t count)
{
    const int uIndex = isNV21 ? 1 : 0;
    for (uint32_t x = 0; x < count; ++x) {
        const uint8_t* pair = uv + (x & ~1u);
        const int16_t u = chromaTerm(pair[uIndex]);
        const int16_t v = chromaTerm(pair[1 - uIndex]);
        const int16_t rTerm = mulHigh(v, k->rFromV[0]);
        const int16_t gTerm = wrap16(mulHigh(u, k->gFromU[0]) + mulHigh(v, k->gFromV[0]));
        const int16_t bTerm = mulHigh(u, k->bFromU[0]);
        const uint8_t* luma[2] = {y0, y1};
        uint8_t* out[2] = {rgb0, rgb1};
        for (int row = 0; row < 2; ++row) {
            const int16_t yScaled = mulHigh(lumaTerm(luma[row][x], k->lumaOffset[0]), k->lumaScale[0]);
            uint8_t* px = out[row] + 3 * x;
            px[0] = roundShift2Sat(wrap16(yScaled + rTerm));
            px[1] = roundShift2Sat(wrap16(yScaled - gTerm));
            px[2] = roundShift2Sat(wrap16(yScaled + bTerm));
        }
    }
}

void gridLookupC(const Lut3DConstants* k, const Lut3DTable* table, uint8_t* rgb, uint32_t count)
{
    const uint16_t scale = k->gridScale[0];
    for (uint32_t p = 0; p < count; ++p, rgb += 3) {
        uint32_t idx[3];
        uint32_t frac[3];
        for (int c = 0; c < 3; ++c) {
            if (table->uniform)
                gridPosUniform(rgb[c], scale, &idx[c], &frac[c]);
            else
                gridPosIndexed(table->indexTable, rgb[c], &idx[c], &frac[c]);
        }
        const uint8_t* base =
            table->grid + idx[0] * table->planeStride + idx[1] * table->rowStride + idx[2] * 4;
        const uint8_t* corner[2][2][2]; // [r][g][b]
        for (int a = 0; a < 2; ++a)
            for (int b = 0; b < 2; ++b)
                for (int d = 0; d < 2; ++d)
                    corner[a][b][d] = base + a * table->planeStride + b * table->rowStride + d * 4;
        uint8_t result[3];
        for (int ch = 0; ch < 3; ++ch) {
            uint8_t e[2][2];
            for (int b = 0; b < 2; ++b)
                for (int d = 0; d < 2; ++d)
                    e[b][d] = lerp7(corner[0][b][d][ch], corner[1][b][d][ch], frac[0]);
            const uint8_t g0 = lerp7(e[0][0], e[1][0], frac[1]);
            const uint8_t g1 = lerp7(e[0][1], e[1][1], frac[1]);
            result[ch] = lerp7(g0, g1, frac[2]);
        }
        rgb[0] = result[0];
        rgb[1] = result[1];
        rgb[2] = result[2];
    }
}

void rgbToYuvC(const Lut3DConstants* k, const uint8_t* rgb0, const uint8_t* rgb1, uint8_t* y0,
               uint8_t* y1, uint8_t* uv, int isNV21, uint32_t count)
{
    for (uint32_t x = 0; x < count; ++x) {
        y0[x] = lumaOf(k, rgb0 + 3 * x);
        y1[x] = lumaOf(k, rgb1 + 3 * x);
    }
    const int uIndex = isNV21 ? 1 : 0;
    for (uint32_t x = 0; x < count; x += 2) {
        uint8_t avg[3];
        for (int c = 0; c < 3; ++c)
            avg[c] = average4(rgb0[3 * x + c], rgb0[3 * x + 3 + c], rgb1[3 * x + c],
                              rgb1[3 * x + 3 + c]);
        uint8_t* pair = uv + x;
        pair[uIndex] = chromaU(k, avg[0], avg[1], avg[2]);
        pair[1 - uIndex] = chromaV(k, avg[0], avg[1], avg[2]);
    }
}

} // namespace

const Lut3DKernelOps kLut3DKernelReference = {"C", yuvToRgbC, gridLookupC, rgbToYuvC, false};
