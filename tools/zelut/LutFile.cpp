#include "LutFile.h"

#include <cmath>
#include <cstdlib>
#include <zlib.h>

namespace {

const Lut3DAllocator kHeap = {std::malloc, std::free};

// Parses bytes as the library would; on Ok the caller owns nothing (the
// blocks are released here) but gets the header and level values.
Lut3DParseResult parseBytes(const std::string& bytes, Lut3DHeader& header,
                            std::vector<float>& levels)
{
    Lut3DMemorySource source(bytes.data(), bytes.size());
    Lut3DParsed parsed;
    const Lut3DParseResult result = Lut3DParse(source, kHeap, parsed);
    if (result == Lut3DParseResult::Ok) {
        header = parsed.header;
        levels.assign(parsed.levels, parsed.levels + parsed.header.levelCount);
        std::free(parsed.levels);
        std::free(parsed.entries);
    }
    return result;
}

} // namespace

uint8_t lutByte(double value)
{
    if (!(value > 0.0)) // also NaN
        return 0;
    if (value >= 1.0)
        return 255;
    return static_cast<uint8_t>(std::lround(value * 255.0));
}

std::vector<float> unitLevels(uint32_t n)
{
    std::vector<float> levels(n, 0.0f);
    for (uint32_t i = 0; n > 1 && i < n; ++i)
        levels[i] = static_cast<float>(i) / static_cast<float>(n - 1);
    return levels;
}

LutTable identityTable(uint32_t n)
{
    // From the index rather than the float level, so that every step is
    // round(i * 255 / (n - 1)) exactly.
    LutTable t = tableOf(n, [](float, float, float, uint8_t*) {});
    std::vector<uint8_t> value(n, 0);
    for (uint32_t i = 0; n > 1 && i < n; ++i)
        value[i] = static_cast<uint8_t>(std::lround(i * 255.0 / (n - 1)));
    uint8_t* out = t.entries.data();
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b, out += 3) {
                out[0] = value[r];
                out[1] = value[g];
                out[2] = value[b];
            }
    return t;
}

std::vector<uint8_t> encodeLutFile(const LutTable& table)
{
    return Lut3DEncodeFile(table.levels.data(), table.n, table.entries.data());
}

bool decodeLutFile(const std::string& bytes, LutFileInfo& info, std::string& error)
{
    info = LutFileInfo();
    info.fileBytes = bytes.size();
    Lut3DHeader header;
    if (parseBytes(bytes, header, info.levels) != Lut3DParseResult::Ok) {
        error = lutFileProblem(bytes);
        return false;
    }
    info.version = header.version;
    info.levelCount = header.levelCount;
    info.entryType = header.entryType;
    info.dimensions = header.dimensions;
    info.levelOffset = header.levelOffset;
    info.entryBytes = Lut3DEntryBytes(header.levelCount, header.entryType, header.dimensions != 0);
    const uint64_t entriesAt = header.levelOffset + 4ull * header.levelCount;
    info.trailingBytes = bytes.size() - entriesAt - info.entryBytes;
    info.entryCrc32 = static_cast<uint32_t>(
        crc32(0, reinterpret_cast<const Bytef*>(bytes.data() + entriesAt),
              static_cast<uInt>(info.entryBytes)));
    return true;
}

std::string lutFileProblem(const std::string& bytes)
{
    Lut3DHeader h;
    std::vector<float> levels;
    const Lut3DParseResult result = parseBytes(bytes, h, levels);
    if (bytes.size() >= kLut3DHeaderBytes)
        h = Lut3DDecodeHeader(reinterpret_cast<const uint8_t*>(bytes.data()));
    switch (result) {
    case Lut3DParseResult::ShortSignature:
        return "shorter than the 8-byte signature";
    case Lut3DParseResult::BadSignature:
        return "not a LUT file (wrong signature)";
    case Lut3DParseResult::BadVersion:
        if (bytes.size() < 12)
            return "file ends inside the header";
        return "unsupported version " +
               std::to_string(Lut3DDecodeU32(reinterpret_cast<const uint8_t*>(bytes.data()) + 8)) +
               " (only version 1 is read)";
    case Lut3DParseResult::ShortHeader:
        return "file ends inside the 48-byte header";
    case Lut3DParseResult::BadEntryType:
        return "unknown entry type " + std::to_string(h.entryType);
    case Lut3DParseResult::BadLevelCount:
        return "level count " + std::to_string(h.levelCount) + " is outside 1 to 65";
    case Lut3DParseResult::BadLevelOffset:
    case Lut3DParseResult::ShortLevels:
        return "the level values run past the end of the file";
    case Lut3DParseResult::ShortEntries:
        return "the entries run past the end of the file";
    case Lut3DParseResult::NoLevelMemory:
    case Lut3DParseResult::NoEntryMemory:
        return "out of memory";
    case Lut3DParseResult::Ok:
        break;
    }
    if (h.dimensions == 0)
        return "one-dimensional table";
    if (h.entryType != kLut3DEntryUint8)
        return "entries are not 8-bit";
    return std::string();
}

bool levelsUniform(const std::vector<float>& levels)
{
    return Lut3DLevelsUniform(levels.data(), static_cast<uint32_t>(levels.size()));
}
