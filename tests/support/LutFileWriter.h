/*
 * Builds LUT files for the loader's tests, well-formed or broken on purpose.
 *
 *   LutFileWriter w(uniformLevels(5), identityEntries(5));  // a valid 3D 8-bit file
 *   w.write(dir.file("ok.lut"));
 *   w.version(2).write(dir.file("v2.lut"));                  // refused silently
 *   w.levelOffset(200).gapByte(0xEE);                        // levels elsewhere
 *   w.write(dir.file("short.lut"), 1);                       // one byte cut off the end
 *
 * The file is the 48-byte header (signature, version, N, entry type,
 * dimensions, reserved zeros, level offset, reserved zeros), filler up to the
 * level offset when it lies beyond the header, the level values as
 * little-endian float32 and the entry bytes as given. Header fields are
 * written as set, whatever the levels and entries hold, so any field can lie.
 */
#ifndef TESTS_SUPPORT_LUTFILEWRITER_H
#define TESTS_SUPPORT_LUTFILEWRITER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "lut/format/Lut3DFormat.h"

class LutFileWriter {
public:
    // N from the level count; version 1, entry type 0, three-dimensional, offset 48.
    LutFileWriter(std::vector<float> levels, std::vector<uint8_t> entries);

    // The format's signature with byte `index` replaced by `value`.
    LutFileWriter& signatureByte(size_t index, char value);
    LutFileWriter& version(uint32_t v) { return set(m_header.version = v); }
    LutFileWriter& levelCount(uint32_t n) { return set(m_header.levelCount = n); }
    LutFileWriter& entryType(uint32_t type) { return set(m_header.entryType = type); }
    LutFileWriter& dimensions(uint32_t v) { return set(m_header.dimensions = v); }
    // Offsets past the header leave a gap of gap bytes before the levels.
    LutFileWriter& levelOffset(uint64_t offset) { return set(m_header.levelOffset = offset); }
    LutFileWriter& gapByte(uint8_t value) { return set(m_gapByte = value); }

    std::vector<uint8_t> bytes() const;
    // Writes the file minus `cutBytes` at its end.
    bool write(const std::string& path, size_t cutBytes = 0) const;

    // 48 + 4N + 3N^3: a minimal valid 3D 8-bit file.
    static size_t validSize(uint32_t n) { return 48 + 4 * size_t { n } + 3 * size_t { n } * n * n; }

private:
    // Chains a setter: the assignment is the argument.
    template <typename T> LutFileWriter& set(T) { return *this; }
    Lut3DHeader m_header;
    std::string m_signature; // empty: the format's own
    uint8_t m_gapByte = 0;
    std::vector<float> m_levels;
    std::vector<uint8_t> m_entries;
};

#endif
