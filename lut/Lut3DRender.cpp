#include "lut/Lut3DRender.h"

#include "core/log/CZeMessageLogger.h"
#include "lut/WorkerPool.h"

namespace {

// Offset of a row, signed and in 64 bits. For positive strides it equals the
// unsigned 32-bit product of the plain band arithmetic; unlike that product it
// stays inside a bottom-up frame (negative strides), so pooled effects render
// those too.
ptrdiff_t rowOffset(int32_t stride, uint32_t row)
{
    return static_cast<ptrdiff_t>(stride) * static_cast<ptrdiff_t>(row);
}

// The job the driver posts to the effect's pool: worker index's band of the
// Lut3DRenderJob that argument points to.
void bandJob(void* argument, uint32_t index, uint32_t count)
{
    const Lut3DRenderJob& job = *static_cast<const Lut3DRenderJob*>(argument);
    uint32_t first = 0, last = 0;
    Lut3DBandRange(job.height, index, count, &first, &last);
    if (last > first)
        Lut3DRenderBand(job, first, last - first);
}

Lut3DRenderJob makeJob(const Lut3DKernelOps* ops, const Lut3DConstants* constants,
                       const Lut3DTable* table, const Lut3DFrame& source,
                       const Lut3DFrame& destination, uint32_t pixelFormat, uint32_t width,
                       uint32_t height)
{
    return Lut3DRenderJob{{ops, constants, table, width, pixelFormat == kLut3DFormatNV21},
                          source,
                          destination,
                          height};
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

// Top-down in row pairs from row `first`; a lone last row is processed as a
// pair of itself. first is even except for an empty band, so the chroma row
// of each pair is its first luma row / 2.
void Lut3DRenderBand(const Lut3DRenderJob& job, uint32_t first, uint32_t count)
{
    const Lut3DFrame& src = job.source;
    const Lut3DFrame& dst = job.destination;
    const ptrdiff_t srcY = src.lumaStride, srcC = src.chromaStride;
    const ptrdiff_t dstY = dst.lumaStride, dstC = dst.chromaStride;
    const uint8_t* sy = src.lumaPlane + rowOffset(src.lumaStride, first);
    const uint8_t* sc = src.chromaPlane + rowOffset(src.chromaStride, first / 2);
    uint8_t* dy = dst.lumaPlane + rowOffset(dst.lumaStride, first);
    uint8_t* dc = dst.chromaPlane + rowOffset(dst.chromaStride, first / 2);

    for (uint32_t pair = 0; pair < count / 2; ++pair) {
        Lut3DKernelRowPair(job.kernel, sy, sy + srcY, sc, dy, dy + dstY, dc);
        sy += 2 * srcY;
        dy += 2 * dstY;
        sc += srcC;
        dc += dstC;
    }
    if (count & 1)
        Lut3DKernelRowPair(job.kernel, sy, sy, sc, dy, dy, dc);
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

    // The effect keeps the last render's arguments for the host's debugger;
    // the bands read the job below, never these fields.
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

    const Lut3DKernelOps* ops = effect->kernel ? effect->kernel : Lut3DKernelActive();
    Lut3DRenderJob job = makeJob(ops, effect->constants, table, *source,
                                       *destination, pixelFormat, width,
                                       static_cast<uint32_t>(height));
    if (effect->pool)
        // Posted under the pool's lock, so every worker sees the whole job.
        effect->pool->runBatch(bandJob, &job);
    else
        Lut3DRenderBand(job, 0, job.height);
    return 1;
}

bool Lut3DRenderWithVariant(Lut3DKernelVariant variant, const Lut3DTable* table,
                            const Lut3DFrame& source, const Lut3DFrame& destination,
                            uint32_t pixelFormat, uint32_t colourMatrix, int32_t range,
                            uint32_t width, uint32_t height)
{
    const Lut3DKernelOps* ops = Lut3DKernelGet(variant);
    if (!ops || pixelFormat > kLut3DFormatNV21)
        return false;
    alignas(64) Lut3DConstants constants{};
    Lut3DBuildConstants(&constants, table, colourMatrix, range);
    Lut3DRenderBand(makeJob(ops, &constants, table, source, destination, pixelFormat, width,
                            height),
                    0, height);
    return true;
}
