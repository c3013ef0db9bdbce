#include "LutFile.h"

#include <cmath>
#include <cstring>
#include <zlib.h>

const char kLutSignature[8] = { '.', 'K', 'D', '-', 'L', 'U', 'T', ' ' };

namespace {

void put32(std::vector<uint8_t>& out, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void put64(std::vector<uint8_t>& out, uint64_t v)
{
    for (int i = 0; i < 8; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

uint32_t get32(const std::string& b, size_t at)
{
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | static_cast<uint8_t>(b[at + i]);
    return v;
}

uint64_t get64(const std::string& b, size_t at)
{
    return get32(b, at) | (static_cast<uint64_t>(get32(b, at + 4)) << 32);
}

uint64_t entryBytesFor(uint32_t n, uint32_t entryType, uint32_t dimensions)
{
    const uint64_t perEntry = entryType != 0 ? 12 : 3;
    return perEntry * n * (dimensions != 0 ? static_cast<uint64_t>(n) * n : 1);
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
    LutTable t;
    t.n = n;
    t.levels = unitLevels(n);
    t.entries.reserve(3u * n * n * n);
    std::vector<uint8_t> value(n, 0);
    for (uint32_t i = 0; n > 1 && i < n; ++i)
        value[i] = static_cast<uint8_t>(std::lround(i * 255.0 / (n - 1)));
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b) {
                t.entries.push_back(value[r]);
                t.entries.push_back(value[g]);
                t.entries.push_back(value[b]);
            }
    return t;
}

std::vector<uint8_t> encodeLutFile(const LutTable& table)
{
    // Built from the signature rather than reserve + insert: GCC 12 at -O3
    // mistakes the latter for an overflow.
    std::vector<uint8_t> out(kLutSignature, kLutSignature + 8);
    out.reserve(kLutHeaderBytes + 4 * table.levels.size() + table.entries.size());
    put32(out, 1); // version
    put32(out, table.n); // level count
    put32(out, 0); // entry type: three unsigned bytes
    put32(out, 1); // three-dimensional
    put64(out, 0); // reserved
    put64(out, kLutHeaderBytes);
    put64(out, 0); // reserved
    for (float level : table.levels) {
        uint32_t bits;
        std::memcpy(&bits, &level, 4);
        put32(out, bits);
    }
    out.insert(out.end(), table.entries.begin(), table.entries.end());
    return out;
}

bool decodeLutFile(const std::string& bytes, LutFileInfo& info, std::string& error)
{
    info = LutFileInfo();
    info.fileBytes = bytes.size();
    if (bytes.size() < kLutHeaderBytes) {
        error = "shorter than the 48-byte header";
        return false;
    }
    info.version = get32(bytes, 8);
    info.levelCount = get32(bytes, 12);
    info.entryType = get32(bytes, 16);
    info.dimensions = get32(bytes, 20);
    info.levelOffset = get64(bytes, 32);
    if (info.levelCount == 0 || info.levelCount > kLutMaxLevels) {
        error = "level count " + std::to_string(info.levelCount) + " is outside 1 to 65";
        return false;
    }
    const uint64_t levelBytes = 4ull * info.levelCount;
    if (info.levelOffset > bytes.size() || bytes.size() - info.levelOffset < levelBytes) {
        error = "the level values run past the end of the file";
        return false;
    }
    info.levels.resize(info.levelCount);
    for (uint32_t i = 0; i < info.levelCount; ++i) {
        const uint32_t bits = get32(bytes, info.levelOffset + 4 * i);
        std::memcpy(&info.levels[i], &bits, 4);
    }
    info.entryBytes = entryBytesFor(info.levelCount, info.entryType, info.dimensions);
    const uint64_t entriesAt = info.levelOffset + levelBytes;
    if (bytes.size() - entriesAt < info.entryBytes) {
        error = "the entries run past the end of the file";
        return false;
    }
    info.trailingBytes = bytes.size() - entriesAt - info.entryBytes;
    info.entryCrc32
        = static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(bytes.data() + entriesAt),
            static_cast<uInt>(info.entryBytes)));
    return true;
}

std::string lutFileProblem(const std::string& bytes)
{
    if (bytes.size() < 8)
        return "shorter than the 8-byte signature";
    if (std::memcmp(bytes.data(), kLutSignature, 8) != 0)
        return "not a LUT file (no \".KD-LUT \" signature)";
    if (bytes.size() < 12)
        return "file ends inside the header";
    const uint32_t version = get32(bytes, 8);
    if (version != 1)
        return "unsupported version " + std::to_string(version) + " (only version 1 is read)";
    if (bytes.size() < kLutHeaderBytes)
        return "file ends inside the 48-byte header";
    const uint32_t type = get32(bytes, 16);
    if (type != 0 && type != 3)
        return "unknown entry type " + std::to_string(type);
    const uint32_t n = get32(bytes, 12);
    if (n == 0 || n > kLutMaxLevels)
        return "level count " + std::to_string(n) + " is outside 1 to 65";
    const uint64_t offset = get64(bytes, 32);
    if (offset > bytes.size() || bytes.size() - offset < 4ull * n)
        return "the level values run past the end of the file";
    if (bytes.size() - offset - 4ull * n < entryBytesFor(n, type, get32(bytes, 20)))
        return "the entries run past the end of the file";
    if (get32(bytes, 20) == 0)
        return "one-dimensional table";
    if (type != 0)
        return "entries are not 8-bit";
    return std::string();
}

bool levelsUniform(const std::vector<float>& levels)
{
    const float t = 0.001953125f;
    const size_t n = levels.size();
    if (n == 0 || std::fabs(levels[0]) > t || std::fabs(levels[n - 1] - 1.0f) > t)
        return false;
    if (n < 2)
        return true;
    float smallest = levels[1] - levels[0];
    float largest = smallest;
    for (size_t i = 2; i < n; ++i) {
        const float d = levels[i] - levels[i - 1];
        if (d < smallest)
            smallest = d;
        else if (d > largest)
            largest = d;
    }
    return !(largest - smallest > t);
}
