/*
 * The exported C entry points of the effect. Nothing here may throw: every
 * allocation is non-throwing and every refusal is a null or 0 result.
 */
#include "ZeLut3D.h"

#include <cstring>
#include <new>

#include "CZeString.h"
#include "core/log/CZeMessageLogger.h"
#include "lut/Lut3DFileData.h"
#include "lut/Lut3DMemory.h"
#include "lut/Lut3DRender.h"
#include "lut/Lut3DTableBuilder.h"
#include "lut/Lut3DTypes.h"

Lut3DEffect* ZecLut3DCreateEffect(uint32_t threadCount)
{
    Lut3DEffect* effect = new (std::nothrow) Lut3DEffect{};
    if (!effect)
        return nullptr;
    // A missing constants block is not reported here; every render then fails.
    effect->constants = static_cast<Lut3DConstants*>(Lut3DAlignedAlloc(sizeof(Lut3DConstants)));
    if (effect->constants)
        std::memset(effect->constants, 0, sizeof(Lut3DConstants));
    (void)threadCount; // every effect renders on the calling thread for now
    return effect;
}

void ZecLut3DDestroyEffect(Lut3DEffect* effect)
{
    if (!effect)
        return;
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

Lut3DTable* ZecLut3DLoadTableFromFile(const char* path)
{
    // A null path becomes a null name, which then fails to open.
    Lut3DFileData* file = Lut3DFileDataCreate(CZeString::fromUtf8(path));
    if (!file)
        return nullptr;
    if (!file->loaded()) {
        Lut3DFileDataDestroy(file);
        return nullptr;
    }
    if (!file->threeDimensional) {
        ZE_LOGGER.error("We only support 3D LUT file!");
        Lut3DFileDataDestroy(file);
        return nullptr;
    }
    if (file->entryType != 0) {
        ZE_LOGGER.error("We only support uint8 LUT file!");
        Lut3DFileDataDestroy(file);
        return nullptr;
    }
    Lut3DTable* table = Lut3DNewRecord<Lut3DTable>();
    if (!table) {
        Lut3DFileDataDestroy(file);
        return nullptr;
    }
    table->fileData = file;
    const uint32_t n = file->levelCount();
    if (!Lut3DBuildGrid(table, n, file->entries) ||
        !Lut3DBuildIndexTable(table, file->levelValues(), n)) {
        ZecLut3DDestroyTable(table);
        return nullptr;
    }
    return table;
}

void ZecLut3DDestroyTable(Lut3DTable* table)
{
    if (!table)
        return;
    Lut3DAlignedFree(table->indexTable);
    table->indexTable = nullptr;
    Lut3DAlignedFree(table->grid);
    table->grid = nullptr;
    Lut3DFileDataDestroy(table->fileData);
    table->fileData = nullptr;
    Lut3DDeleteRecord(table);
}
