#ifndef LUT3DRENDER_H
#define LUT3DRENDER_H

#include <cstdint>

#include "lut/Lut3DTypes.h"

// Checks the pixel format, records the render's arguments in the effect,
// rebuilds its constants and renders the whole frame. Returns 1 or 0.
int32_t Lut3DRender(Lut3DEffect* effect, Lut3DTable* table, Lut3DFrame* source,
                    Lut3DFrame* destination, uint32_t pixelFormat, uint32_t colourMatrix,
                    int32_t range, uint32_t width, int32_t height, int32_t reserved);

// Rows of worker index's band out of count for a frame of height rows:
// [*first, *last). Bands start on even rows and tile the frame; the last
// worker takes the remainder. *last <= *first means an empty band.
void Lut3DBandRange(uint32_t height, uint32_t index, uint32_t count, uint32_t* first,
                    uint32_t* last);

// The job the driver posts to the effect's pool: computes worker index's band
// and renders it. argument is the Lut3DEffect.
void Lut3DBandJob(void* argument, uint32_t index, uint32_t count);

// Renders rows first .. first + count - 1 of the effect's current render.
void Lut3DBand(const Lut3DEffect* effect, uint32_t first, uint32_t count);

#endif // LUT3DRENDER_H
