#include "lut/format/Lut3DFormat.h"

#include <cmath>
#include <cstring>

const uint8_t kLut3DSignature[kLut3DSignatureBytes] = {'.', 'K', 'D', '-', 'L', 'U', 'T', ' '};

namespace {

// Header field offsets.
constexpr size_t kVersionAt = 8;
constexpr size_t kLevelCountAt = 12;
constexpr size_t kEntryTypeAt = 16;
constexpr size_t kDimensionsAt = 20;
constexpr size_t kLevelOffsetAt = 32;

uint64_t le64(const uint8_t* p)
{
    return static_cast<uint64_t>(Lut3DDecodeU32(p)) |
           static_cast<uint64_t>(Lut3DDecodeU32(p + 4)) << 32;
}

void putLe32(uint8_t* p, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(v >> (8 * i));
}

void putLe64(uint8_t* p, uint64_t v)
{
    putLe32(p, static_cast<uint32_t>(v));
    putLe32(p + 4, static_cast<uint32_t>(v >> 32));
}

} // namespace

uint32_t Lut3DDecodeU32(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

bool Lut3DSignatureMatches(const uint8_t* eightBytes)
{
    return std::memcmp(eightBytes, kLut3DSignature, kLut3DSignatureBytes) == 0;
}

Lut3DHeader Lut3DDecodeHeader(const uint8_t* bytes)
{
    Lut3DHeader h;
    h.version = Lut3DDecodeU32(bytes + kVersionAt);
    h.levelCount = Lut3DDecodeU32(bytes + kLevelCountAt);
    h.entryType = Lut3DDecodeU32(bytes + kEntryTypeAt);
    h.dimensions = Lut3DDecodeU32(bytes + kDimensionsAt);
    h.levelOffset = le64(bytes + kLevelOffsetAt);
    return h;
}

void Lut3DEncodeHeader(const Lut3DHeader& header, uint8_t* out)
{
    std::memset(out, 0, kLut3DHeaderBytes);
    std::memcpy(out, kLut3DSignature, kLut3DSignatureBytes);
    putLe32(out + kVersionAt, header.version);
    putLe32(out + kLevelCountAt, header.levelCount);
    putLe32(out + kEntryTypeAt, header.entryType);
    putLe32(out + kDimensionsAt, header.dimensions);
    putLe64(out + kLevelOffsetAt, header.levelOffset);
}

uint64_t Lut3DEntryBytes(uint32_t levelCount, uint32_t entryType, bool threeDimensional)
{
    const uint64_t perEntry = entryType != kLut3DEntryUint8 ? 12 : 3;
    return perEntry * levelCount * (threeDimensional ? uint64_t{levelCount} * levelCount : 1);
}

void Lut3DDecodeLevels(const void* bytes, float* out, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        uint8_t le[4];
        std::memcpy(le, static_cast<const uint8_t*>(bytes) + 4 * i, 4);
        const uint32_t bits = Lut3DDecodeU32(le);
        std::memcpy(&out[i], &bits, sizeof bits);
    }
}

void Lut3DEncodeLevels(const float* levels, uint32_t count, uint8_t* out)
{
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t bits;
        std::memcpy(&bits, &levels[i], sizeof bits);
        putLe32(out + 4 * i, bits);
    }
}

bool Lut3DLevelsUniform(const float* levels, uint32_t count)
{
    const float t = kLut3DUniformTolerance;
    if (count == 0 || std::fabs(levels[0]) > t || std::fabs(levels[count - 1] - 1.0f) > t)
        return false;
    if (count < 2)
        return true;
    float smallest = levels[1] - levels[0];
    float largest = smallest;
    for (uint32_t i = 2; i < count; ++i) {
        const float d = levels[i] - levels[i - 1];
        if (d < smallest)
            smallest = d;
        else if (d > largest)
            largest = d;
    }
    return !(largest - smallest > t);
}

std::vector<uint8_t> Lut3DEncodeFile(const float* levels, uint32_t count, const uint8_t* entries)
{
    Lut3DHeader header;
    header.levelCount = count;
    const uint64_t entryBytes = Lut3DEntryBytes(count, kLut3DEntryUint8, true);
    std::vector<uint8_t> out(kLut3DHeaderBytes + 4 * size_t{count} + entryBytes);
    Lut3DEncodeHeader(header, out.data());
    Lut3DEncodeLevels(levels, count, out.data() + kLut3DHeaderBytes);
    if (entryBytes)
        std::memcpy(out.data() + kLut3DHeaderBytes + 4 * size_t{count}, entries, entryBytes);
    return out;
}

// ---- Parsing ------------------------------------------------------------------

bool Lut3DMemorySource::readExactly(void* data, uint64_t size)
{
    if (m_position > m_size || size > m_size - m_position) {
        m_position = m_size; // a short read consumes what there was
        return false;
    }
    if (size)
        std::memcpy(data, m_data + m_position, size);
    m_position += size;
    return true;
}

bool Lut3DMemorySource::seek(uint64_t position)
{
    // As in a file: any position in the signed 64-bit range can be sought to,
    // even past the end, where the next read comes up short.
    if (position > static_cast<uint64_t>(INT64_MAX))
        return false;
    m_position = position;
    return true;
}

Lut3DParseResult Lut3DParse(Lut3DByteSource& source, const Lut3DAllocator& allocator,
                            Lut3DParsed& parsed)
{
    parsed = Lut3DParsed();
    uint8_t header[kLut3DHeaderBytes];
    if (!source.readExactly(header, kLut3DSignatureBytes))
        return Lut3DParseResult::ShortSignature;
    if (!Lut3DSignatureMatches(header))
        return Lut3DParseResult::BadSignature;
    if (!source.readExactly(header + kVersionAt, 4) ||
        Lut3DDecodeU32(header + kVersionAt) != kLut3DVersion || !source.seek(0))
        return Lut3DParseResult::BadVersion;
    if (!source.readExactly(header, kLut3DHeaderBytes))
        return Lut3DParseResult::ShortHeader;
    const Lut3DHeader h = Lut3DDecodeHeader(header);
    if (h.entryType != kLut3DEntryUint8 && h.entryType != kLut3DEntryWide)
        return Lut3DParseResult::BadEntryType;
    if (h.levelCount == 0 || h.levelCount > kLut3DMaxLevels)
        return Lut3DParseResult::BadLevelCount;

    const size_t levelBytes = 4 * size_t{h.levelCount};
    float* levels = static_cast<float*>(allocator.allocate(levelBytes));
    if (!levels)
        return Lut3DParseResult::NoLevelMemory;
    std::memset(levels, 0, levelBytes);
    if (!source.seek(h.levelOffset)) {
        allocator.release(levels);
        return Lut3DParseResult::BadLevelOffset;
    }
    if (!source.readExactly(levels, levelBytes)) {
        allocator.release(levels);
        return Lut3DParseResult::ShortLevels;
    }
    Lut3DDecodeLevels(levels, levels, h.levelCount);

    const uint64_t entryBytes = Lut3DEntryBytes(h.levelCount, h.entryType, h.dimensions != 0);
    uint8_t* entries = static_cast<uint8_t*>(allocator.allocate(entryBytes));
    if (!entries) {
        allocator.release(levels);
        return Lut3DParseResult::NoEntryMemory;
    }
    if (!source.readExactly(entries, entryBytes)) {
        allocator.release(entries);
        allocator.release(levels);
        return Lut3DParseResult::ShortEntries;
    }
    parsed.header = h;
    parsed.levels = levels;
    parsed.entries = entries;
    parsed.entryBytes = entryBytes;
    return Lut3DParseResult::Ok;
}
