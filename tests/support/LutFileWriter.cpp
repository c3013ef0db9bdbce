#include "support/LutFileWriter.h"

#include <cstring>
#include <utility>

#include "support/TemporaryDirectory.h"

namespace {

void put32(std::vector<uint8_t>& out, size_t at, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        out[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

void put64(std::vector<uint8_t>& out, size_t at, uint64_t v)
{
    put32(out, at, static_cast<uint32_t>(v));
    put32(out, at + 4, static_cast<uint32_t>(v >> 32));
}

} // namespace

LutFileWriter::LutFileWriter(std::vector<float> levels, std::vector<uint8_t> entries)
    : m_levelCount(static_cast<uint32_t>(levels.size())),
      m_levels(std::move(levels)),
      m_entries(std::move(entries))
{
}

LutFileWriter& LutFileWriter::signature(const std::string& eightBytes)
{
    m_signature = eightBytes;
    m_signature.resize(8, ' ');
    return *this;
}

LutFileWriter& LutFileWriter::version(uint32_t value)
{
    m_version = value;
    return *this;
}

LutFileWriter& LutFileWriter::levelCount(uint32_t n)
{
    m_levelCount = n;
    return *this;
}

LutFileWriter& LutFileWriter::entryType(uint32_t type)
{
    m_entryType = type;
    return *this;
}

LutFileWriter& LutFileWriter::dimensions(uint32_t value)
{
    m_dimensions = value;
    return *this;
}

LutFileWriter& LutFileWriter::levelOffset(uint64_t offset)
{
    m_levelOffset = offset < 48 ? 48 : offset;
    return *this;
}

LutFileWriter& LutFileWriter::gapByte(uint8_t value)
{
    m_gapByte = value;
    return *this;
}

std::vector<uint8_t> LutFileWriter::bytes() const
{
    std::vector<uint8_t> out(48, 0);
    std::memcpy(out.data(), m_signature.data(), 8);
    put32(out, 8, m_version);
    put32(out, 12, m_levelCount);
    put32(out, 16, m_entryType);
    put32(out, 20, m_dimensions);
    put64(out, 32, m_levelOffset);
    // Offsets too far out for a test file only make the header lie.
    if (m_levelOffset > 48 && m_levelOffset < (1u << 20))
        out.resize(static_cast<size_t>(m_levelOffset), m_gapByte);
    for (float level : m_levels) {
        uint32_t bits;
        std::memcpy(&bits, &level, sizeof bits);
        out.resize(out.size() + 4);
        put32(out, out.size() - 4, bits);
    }
    out.insert(out.end(), m_entries.begin(), m_entries.end());
    return out;
}

bool LutFileWriter::write(const std::string& path, size_t cutBytes) const
{
    std::vector<uint8_t> out = bytes();
    out.resize(cutBytes < out.size() ? out.size() - cutBytes : 0);
    return writeFileBytes(path, out);
}
