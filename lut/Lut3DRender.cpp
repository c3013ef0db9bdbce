#include "lut/Lut3DRender.h"

#include "core/log/CZeMessageLogger.h"
#include "lut/kernel/Lut3DKernel.h"

namespace {

// Walks the frame top-down in row pairs on the calling thread. Strides are
// sign-extended, so bottom-up frames with negative strides work.
void renderOnCallerThread(const Lut3DEffect* effect)
{
    const Lut3DKernelOps* ops = Lut3DKernelActive();
    const Lut3DFrame* src = effect->source;
    const Lut3DFrame* dst = effect->destination;
    const bool isNV21 = effect->pixelFormat == kLut3DFormatNV21;
    const ptrdiff_t srcY = src->lumaStride, srcC = src->chromaStride;
    const ptrdiff_t dstY = dst->lumaStride, dstC = dst->chromaStride;
    const uint8_t* sy = src->lumaPlane;
    const uint8_t* sc = src->chromaPlane;
    uint8_t* dy = dst->lumaPlane;
    uint8_t* dc = dst->chromaPlane;

    const uint32_t pairs = static_cast<uint32_t>(effect->height) >> 1;
    for (uint32_t i = 0; i < pairs; ++i) {
        Lut3DKernelRowPair(ops, effect, sy, sy + srcY, sc, dy, dy + dstY, dc, isNV21);
        sy += 2 * srcY;
        dy += 2 * dstY;
        sc += srcC;
        dc += dstC;
    }
    // An odd height ends with a lone row processed as a pair of itself.
    if (effect->height & 1)
        Lut3DKernelRowPair(ops, effect, sy, sy, sc, dy, dy, dc, isNV21);
}

} // namespace

int32_t Lut3DRender(Lut3DEffect* effect, Lut3DTable* table, Lut3DFrame* source,
                    Lut3DFrame* destination, uint32_t pixelFormat, uint32_t colourMatrix,
                    int32_t range, uint32_t width, int32_t height, int32_t reserved)
{
    if (!effect->constants)
        return 0;
    if (pixelFormat >= 2) {
        ZE_LOGGER.error("We only support NV12 and NV21 pixel format right now!");
        return 0;
    }
    // A negative height would make the row-pair count huge; refuse it before
    // anything of the effect or the frame is touched.
    if (height < 0)
        return 0;

    effect->table = table;
    effect->source = source;
    effect->destination = destination;
    effect->pixelFormat = pixelFormat;
    effect->colourMatrix = colourMatrix;
    effect->range = range;
    effect->width = width;
    effect->height = height;
    effect->reserved = reserved;
    Lut3DBuildConstants(effect->constants, table, colourMatrix, range);

    renderOnCallerThread(effect);
    return 1;
}
