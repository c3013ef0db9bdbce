#include "support/LutFileWriter.h"

#include <cstring>
#include <utility>

#include "support/TemporaryDirectory.h"

LutFileWriter::LutFileWriter(std::vector<float> levels, std::vector<uint8_t> entries)
    : m_levels(std::move(levels))
    , m_entries(std::move(entries))
{
    m_header.levelCount = static_cast<uint32_t>(m_levels.size());
}

LutFileWriter& LutFileWriter::signatureByte(size_t index, char value)
{
    if (m_signature.empty())
        m_signature.assign(kLut3DSignature, kLut3DSignature + kLut3DSignatureBytes);
    m_signature.at(index) = value;
    return *this;
}

std::vector<uint8_t> LutFileWriter::bytes() const
{
    std::vector<uint8_t> out(kLut3DHeaderBytes);
    Lut3DEncodeHeader(m_header, out.data());
    if (!m_signature.empty())
        std::memcpy(out.data(), m_signature.data(), kLut3DSignatureBytes);
    // Offsets too far out for a test file only make the header lie.
    if (m_header.levelOffset > kLut3DHeaderBytes && m_header.levelOffset < (1u << 20))
        out.resize(static_cast<size_t>(m_header.levelOffset), m_gapByte);
    const size_t levelsAt = out.size();
    out.resize(levelsAt + 4 * m_levels.size());
    Lut3DEncodeLevels(
        m_levels.data(), static_cast<uint32_t>(m_levels.size()), out.data() + levelsAt);
    out.insert(out.end(), m_entries.begin(), m_entries.end());
    return out;
}

bool LutFileWriter::write(const std::string& path, size_t cutBytes) const
{
    std::vector<uint8_t> out = bytes();
    out.resize(cutBytes < out.size() ? out.size() - cutBytes : 0);
    return writeFileBytes(path, out);
}
