/*
 * The render driver: C function -> Lut3DRender -> one immutable
 * Lut3DRenderJob -> bands (on the caller's thread or one per pool worker) ->
 * the row-pair kernel.
 *
 *   // What the C interface does (pixel format already checked):
 *   Lut3DRender(effect, table, &src, &dst, format, matrix, range, w, h, reserved);
 *
 *   // What tests, fuzz targets and benchmarks do: a whole frame with a named
 *   // kernel variant on the calling thread, no effect involved.
 *   Lut3DRenderWithVariant(Lut3DKernelVariant::Reference, table, src, dst,
 *                          format, matrix, range, w, h);
 */
#ifndef LUT3DRENDER_H
#define LUT3DRENDER_H

#include <cstdint>

#include "lut/Lut3DTypes.h"
#include "lut/kernel/Lut3DKernel.h"

// One render, built before any band runs and only read afterwards. The frame
// descriptors are copied so that nothing the host changes mid-render (or the
// effect's record of the last render) can reach the bands.
struct Lut3DRenderJob {
    Lut3DKernelParams kernel;
    Lut3DFrame source;
    Lut3DFrame destination;
    uint32_t height; // rows, at least 1
};

// Checks the pixel format, records the render's arguments in the effect,
// rebuilds its constants and renders the whole frame. Returns 1 or 0.
int32_t Lut3DRender(Lut3DEffect* effect, Lut3DTable* table, Lut3DFrame* source,
                    Lut3DFrame* destination, uint32_t pixelFormat, uint32_t colourMatrix,
                    int32_t range, uint32_t width, int32_t height, int32_t reserved);

// Renders a whole frame on the calling thread with the named variant and
// constants of its own. False, with nothing written, when this CPU or build
// cannot run the variant or the pixel format is not NV12 (0) or NV21 (1).
bool Lut3DRenderWithVariant(Lut3DKernelVariant variant, const Lut3DTable* table,
                            const Lut3DFrame& source, const Lut3DFrame& destination,
                            uint32_t pixelFormat, uint32_t colourMatrix, int32_t range,
                            uint32_t width, uint32_t height);

// Rows of worker index's band out of count for a frame of height rows:
// [*first, *last). Bands start on even rows and tile the frame; the last
// worker takes the remainder. *last <= *first means an empty band.
void Lut3DBandRange(uint32_t height, uint32_t index, uint32_t count, uint32_t* first,
                    uint32_t* last);

// Renders rows first .. first + count - 1 of the job.
void Lut3DRenderBand(const Lut3DRenderJob& job, uint32_t first, uint32_t count);

#endif // LUT3DRENDER_H
