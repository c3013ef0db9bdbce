#include "support/LutFileWriter.h"

#include <cstring>
#include <utility>

#include "lut/format/Lut3DFormat.h"
#include "support/TemporaryDirectory.h"


LutFileWriter::LutFileWriter(std::vector<float> levels, std::vector<uint8_t> entries)
    : m_levelCount(static_cast<uint32_t>(levels.size())),
      m_levels(std::move(levels)),
      m_entries(std::move(entries))
{
}

LutFileWriter& LutFileWriter::signatureByte(size_t index, char value)
{
    if (m_signature.empty())
        m_signature.assign(kLut3DSignature, kLut3DSignature + kLut3DSignatureBytes);
    m_signature.at(index) = value;
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
    Lut3DHeader header;
    header.version = m_version;
    header.levelCount = m_levelCount;
    header.entryType = m_entryType;
    header.dimensions = m_dimensions;
    header.levelOffset = m_levelOffset;
    std::vector<uint8_t> out(kLut3DHeaderBytes);
    Lut3DEncodeHeader(header, out.data());
    if (!m_signature.empty())
        std::memcpy(out.data(), m_signature.data(), kLut3DSignatureBytes);
    // Offsets too far out for a test file only make the header lie.
    if (m_levelOffset > kLut3DHeaderBytes && m_levelOffset < (1u << 20))
        out.resize(static_cast<size_t>(m_levelOffset), m_gapByte);
    const size_t levelsAt = out.size();
    out.resize(levelsAt + 4 * m_levels.size());
    Lut3DEncodeLevels(m_levels.data(), static_cast<uint32_t>(m_levels.size()), out.data() + levelsAt);
    out.insert(out.end(), m_entries.begin(), m_entries.end());
    return out;
}

bool LutFileWriter::write(const std::string& path, size_t cutBytes) const
{
    std::vector<uint8_t> out = bytes();
    out.resize(cutBytes < out.size() ? out.size() - cutBytes : 0);
    return writeFileBytes(path, out);
}
