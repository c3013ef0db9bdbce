/*
 * The exported C entry points of the effect. Nothing here may throw: every
 * allocation is non-throwing and every refusal is a null or 0 result.
 */
#include "ZeLut3D.h"

#include <cstring>
#include <new>

#include "CZeString.h"
#include "core/log/CZeMessageLogger.h"
#include "core/log/ZeLogSinks.h"
#include "lut/Lut3DFileData.h"
#include "lut/Lut3DMemory.h"
#include "lut/Lut3DRender.h"
#include "lut/Lut3DTableBuilder.h"
#include "lut/Lut3DTypes.h"
#include "lut/WorkerPool.h"

namespace {

void destroyPool(Lut3DEffect* effect)
{
    if (!effect->pool)
        return;
    effect->pool->stop();
    delete effect->pool;
    effect->pool = nullptr;
    effect->threadCount = 0;
}

// Thread count n other than 1: 0 becomes one worker per online processor, 2
// and more are taken as they are (even beyond the processor count). A pool
// that cannot be started is dropped and the effect renders on the caller's
// thread.
void setUpPool(Lut3DEffect* effect, uint32_t n)
{
    if (n == 0)
        n = static_cast<uint32_t>(CZeThread::idealThreadCount());
    if (effect->pool) {
        if (effect->threadCount == n)
            return;
        destroyPool(effect);
    }
    WorkerPool* pool = new (std::nothrow) WorkerPool;
    if (!pool)
        return;
    if (!pool->start(n, CZeThread::InheritPriority)) {
        delete pool;
        return;
    }
    effect->pool = pool;
    effect->threadCount = n;
}

} // namespace

Lut3DEffect* ZecLut3DCreateEffect(uint32_t threadCount)
{
    Lut3DEffect* effect = new (std::nothrow) Lut3DEffect{};
    if (!effect)
        return nullptr;
    // A missing constants block is not reported here; every render then fails.
    effect->constants = static_cast<Lut3DConstants*>(Lut3DAlignedAlloc(sizeof(Lut3DConstants)));
    if (effect->constants)
        std::memset(effect->constants, 0, sizeof(Lut3DConstants));
    if (threadCount == 1)
        return effect;
    try {
        setUpPool(effect, threadCount);
    } catch (...) {
        // Out of memory while creating the workers: no pool.
    }
    return effect;
}

void ZecLut3DDestroyEffect(Lut3DEffect* effect)
{
    if (!effect)
        return;
    destroyPool(effect);
    Lut3DAlignedFree(effect->constants);
    delete effect;
}

int32_t ZecLut3DRenderEffect(Lut3DEffect* effect, Lut3DTable* table, Lut3DFrame* source,
                             Lut3DFrame* destination, uint32_t pixelFormat, uint32_t colourMatrix,
                             int32_t range, uint32_t width, int32_t height, int32_t reserved)
{
    if (!effect || !table || !source || !destination)
        return 0;
    if (width == 0 || height == 0)
        return 0;
    return Lut3DRender(effect, table, source, destination, pixelFormat, colourMatrix, range, width,
                       height, reserved);
}

namespace {

// The steps after parsing, shared by files and memory: only a loaded,
// three-dimensional, 8-bit table is built; the file data then belongs to it.
// Refusals are reported as coming from `entry`, the C function called.
Lut3DTable* tableFrom(Lut3DFileData* file, const char* entry)
{
    const CZeMessageLogger log(ZE_LOG_FILE, __LINE__, entry);
    if (!file)
        return nullptr;
    if (!file->loaded()) {
        Lut3DFileDataDestroy(file);
        return nullptr;
    }
    if (!file->threeDimensional) {
        log.error("We only support 3D LUT file!");
        Lut3DFileDataDestroy(file);
        return nullptr;
    }
    if (file->entryType != 0) {
        log.error("We only support uint8 LUT file!");
        Lut3DFileDataDestroy(file);
        return nullptr;
    }
    // The builder allocates the record, the grid, the index table and the
    // pair grid in that order and frees what it got when one of them fails.
    Lut3DTable* table = Lut3DTableCreate(file->levels, file->levelCount, file->entries);
    if (!table) {
        Lut3DFileDataDestroy(file);
        return nullptr;
    }
    table->fileData = file;
    return table;
}

} // namespace

Lut3DTable* ZecLut3DLoadTableFromFile(const char* path)
{
    // A null path becomes a null name, which then fails to open.
    return tableFrom(Lut3DFileDataCreate(CZeString::fromUtf8(path)), __func__);
}

Lut3DTable* ZecLut3DLoadTableFromMemory(const void* data, size_t size)
{
    return tableFrom(Lut3DFileDataCreateFromMemory(data, size), __func__);
}

void ZecLut3DDestroyTable(Lut3DTable* table)
{
    if (!table)
        return;
    Lut3DFileData* file = table->fileData;
    Lut3DTableDestroy(table);
    Lut3DFileDataDestroy(file);
}

int32_t ZecLut3DSetEffectKernel(Lut3DEffect* effect, const char* name)
{
    if (!effect)
        return 0;
    if (!name || !*name) {
        effect->kernel = nullptr;
        return 1;
    }
    const Lut3DKernelOps* ops = Lut3DKernelFind(name);
    if (!ops)
        return 0;
    effect->kernel = ops;
    return 1;
}

void ZecLut3DSetMessageCallback(ZecLut3DMessageCallback callback)
{
    ZeLogSetHostSink(callback);
}
