#include "lut/Lut3DRender.h"

#include "core/log/CZeMessageLogger.h"
#include "lut/WorkerPool.h"
#include "lut/kernel/Lut3DKernel.h"

namespace {

// Renders count rows from the given first rows of source and destination,
// top-down in row pairs; a lone last row is processed as a pair of itself.
// Within the walk strides are sign-extended.
void renderRows(const Lut3DEffect* effect, const uint8_t* sy, const uint8_t* sc, uint8_t* dy,
                uint8_t* dc, uint32_t count)
{
    const Lut3DKernelOps* ops = Lut3DKernelActive();
    const Lut3DFrame* src = effect->source;
    const Lut3DFrame* dst = effect->destination;
    const bool isNV21 = effect->pixelFormat == kLut3DFormatNV21;
    const ptrdiff_t srcY = src->lumaStride, srcC = src->chromaStride;
    const ptrdiff_t dstY = dst->lumaStride, dstC = dst->chromaStride;

    const uint32_t pairs = count >> 1;
    for (uint32_t i = 0; i < pairs; ++i) {
        Lut3DKernelRowPair(ops, effect, sy, sy + srcY, sc, dy, dy + dstY, dc, isNV21);
        sy += 2 * srcY;
        dy += 2 * dstY;
        sc += srcC;
        dc += dstC;
    }
    if (count & 1)
        Lut3DKernelRowPair(ops, effect, sy, sy, sc, dy, dy, dc, isNV21);
}

// Walks the whole frame on the calling thread.
void renderOnCallerThread(const Lut3DEffect* effect)
{
    const Lut3DFrame* src = effect->source;
    const Lut3DFrame* dst = effect->destination;
    renderRows(effect, src->lumaPlane, src->chromaPlane, dst->lumaPlane, dst->chromaPlane,
               static_cast<uint32_t>(effect->height));
}

// Offset of a band's first row, signed and in 64 bits. For positive strides
// it equals the unsigned 32-bit product of the plain band arithmetic; unlike
// that product it stays inside a bottom-up frame (negative strides), so
// pooled effects render those too.
ptrdiff_t bandOffset(int32_t stride, uint32_t row)
{
    return static_cast<ptrdiff_t>(stride) * static_cast<ptrdiff_t>(row);
}

} // namespace

void Lut3DBandRange(uint32_t height, uint32_t index, uint32_t count, uint32_t* first,
                    uint32_t* last)
{
    // The products are taken in 64 bits: H x n may exceed 32 bits for tall
    // frames, and a wrapped product would make bands overlap.
    const uint64_t h = height;
    *first = static_cast<uint32_t>(h * index / count) & ~1u;
    const uint32_t end = static_cast<uint32_t>(h * (index + 1) / count);
    *last = index == count - 1 ? end : (end & ~1u);
}

void Lut3DBand(const Lut3DEffect* effect, uint32_t first, uint32_t count)
{
    if (effect->pixelFormat > kLut3DFormatNV21)
        return;
    const Lut3DFrame* src = effect->source;
    const Lut3DFrame* dst = effect->destination;
    renderRows(effect, src->lumaPlane + bandOffset(src->lumaStride, first),
               src->chromaPlane + bandOffset(src->chromaStride, first / 2),
               dst->lumaPlane + bandOffset(dst->lumaStride, first),
               dst->chromaPlane + bandOffset(dst->chromaStride, first / 2), count);
}

void Lut3DBandJob(void* argument, uint32_t index, uint32_t count)
{
    const Lut3DEffect* effect = static_cast<const Lut3DEffect*>(argument);
    uint32_t first = 0, last = 0;
    Lut3DBandRange(static_cast<uint32_t>(effect->height), index, count, &first, &last);
    if (last > first)
        Lut3DBand(effect, first, last - first);
}

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

    if (effect->pool) {
        // The fields above are written before the batch is posted under the
        // pool's lock, so every worker sees them.
        effect->pool->runBatch(Lut3DBandJob, effect);
        return 1;
    }
    renderOnCallerThread(effect);
    return 1;
}
