#ifndef LUT3DRENDER_H
#define LUT3DRENDER_H

#include <cstdint>

#include "lut/Lut3DTypes.h"

// Checks the pixel format, records the render's arguments in the effect,
// rebuilds its constants and renders the whole frame. Returns 1 or 0.
int32_t Lut3DRender(Lut3DEffect* effect, Lut3DTable* table, Lut3DFrame* source,
                    Lut3DFrame* destination, uint32_t pixelFormat, uint32_t colourMatrix,
                    int32_t range, uint32_t width, int32_t height, int32_t reserved);

#endif // LUT3DRENDER_H
