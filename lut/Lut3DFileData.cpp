#include "lut/Lut3DFileData.h"

#include <cstring>

#include "CZeFile.h"
#include "core/log/CZeMessageLogger.h"
#include "lut/Lut3DMemory.h"
#include "lut/Lut3DTableBuilder.h"

namespace {

constexpr int64_t kHeaderSize = 48;
constexpr uint32_t kVersion = 1;
constexpr uint32_t kEntryTypeUint8 = 0;
constexpr uint32_t kEntryTypeWide = 3; // three 32-bit values, read but never rendered

// ".KD-LUT " read as one little-endian 64-bit value.
constexpr uint64_t kSignature = 0x2054554C2D444B2Eull;

uint32_t le32(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

uint64_t le64(const uint8_t* p)
{
    return static_cast<uint64_t>(le32(p)) | static_cast<uint64_t>(le32(p + 4)) << 32;
}

// Reads exactly `size` bytes; anything less is a failure.
bool readExactly(CZeFile& file, void* data, int64_t size)
{
    return file.read(static_cast<char*>(data), size) == size;
}

// Little-endian float32 values to host floats, in place.
void levelsFromFile(float* values, uint32_t count)
{
    const uint8_t* bytes = reinterpret_cast<const uint8_t*>(values);
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t bits = le32(bytes + 4 * i);
        std::memcpy(&values[i], &bits, sizeof bits);
    }
}

} // namespace

// ---- Level array ----------------------------------------------------------------

bool Lut3DLevelArray::resize(uint32_t count)
{
    clear();
    if (count == 0)
        return true;
    m_values = static_cast<float*>(Lut3DAlignedAlloc(sizeof(float) * count));
    if (!m_values)
        return false;
    std::memset(m_values, 0, sizeof(float) * count);
    m_count = count;
    return true;
}

void Lut3DLevelArray::clear()
{
    Lut3DAlignedFree(m_values);
    m_values = nullptr;
    m_count = 0;
}

void Lut3DLevelArray::take(Lut3DLevelArray& other)
{
    if (&other == this)
        return;
    clear();
    m_values = other.m_values;
    m_count = other.m_count;
    other.m_values = nullptr;
    other.m_count = 0;
}

// ---- File data --------------------------------------------------------------------

Lut3DFileData::Lut3DFileData(const CZeString& filePath) : path(filePath)
{
    load();
}

Lut3DFileData::~Lut3DFileData()
{
    Lut3DAlignedFree(entries);
    entries = nullptr;
    levels.clear();
}

// Every early return leaves the record unloaded; `file` closes itself on the
// way out and the local level array frees itself.
void Lut3DFileData::load()
{
    CZeFile file(path);
    if (!file.open(CZeIODevice::ReadOnly)) {
        ZE_LOGGER.error() << "Failed to open lut file " << path;
        return;
    }

    uint8_t signature[8];
    if (!readExactly(file, signature, sizeof signature))
        return;
    if (le64(signature) != kSignature) {
        ZE_LOGGER.error("Invalid lut file signature!");
        return;
    }

    uint8_t versionBytes[4];
    if (!readExactly(file, versionBytes, sizeof versionBytes) || le32(versionBytes) != kVersion ||
        !file.seek(0))
        return;

    uint8_t header[kHeaderSize];
    if (!readExactly(file, header, kHeaderSize)) {
        ZE_LOGGER.error("Failed to read lut file header!");
        return;
    }
    const uint32_t fileVersion = le32(header + 8);
    const uint32_t n = le32(header + 12);
    const uint32_t fileEntryType = le32(header + 16);
    const bool fileIs3D = le32(header + 20) != 0;
    const uint64_t levelOffset = le64(header + 32);

    if (fileEntryType != kEntryTypeUint8 && fileEntryType != kEntryTypeWide)
        return;
    if (n == 0 || n > kLut3DMaxLevels)
        return;

    Lut3DLevelArray fileLevels;
    if (!fileLevels.resize(n))
        return;
    // Offsets beyond the signed 64-bit range cannot be sought to.
    if (levelOffset > static_cast<uint64_t>(INT64_MAX) ||
        !file.seek(static_cast<int64_t>(levelOffset)))
        return;
    if (!readExactly(file, fileLevels.data(), int64_t{4} * n)) {
        ZE_LOGGER.error("Failed to read lut level values!");
        return;
    }
    levelsFromFile(fileLevels.data(), n);

    // At most 12 x 65^3 bytes, so the product cannot overflow.
    const uint64_t entryBytes = uint64_t{fileEntryType != kEntryTypeUint8 ? 12u : 3u} * n *
                                (fileIs3D ? uint64_t{n} * n : 1u);
    uint8_t* fileEntries = static_cast<uint8_t*>(Lut3DAlignedAlloc(entryBytes));
    if (!fileEntries)
        return;
    if (!readExactly(file, fileEntries, static_cast<int64_t>(entryBytes))) {
        ZE_LOGGER.error("Failed to read lut data!");
        Lut3DAlignedFree(fileEntries);
        return;
    }

    version = fileVersion;
    threeDimensional = fileIs3D;
    levels.take(fileLevels);
    entryType = fileEntryType;
    entries = fileEntries;
}

Lut3DFileData* Lut3DFileDataCreate(const CZeString& path)
{
    void* block = Lut3DAlignedAlloc(sizeof(Lut3DFileData));
    return block ? new (block) Lut3DFileData(path) : nullptr;
}

void Lut3DFileDataDestroy(Lut3DFileData* file)
{
    Lut3DDeleteRecord(file);
}
