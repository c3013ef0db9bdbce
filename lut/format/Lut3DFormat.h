/*
 * The LUT file format, in one place: constants, the header layout, parsing
 * and encoding on bytes, and the uniform-levels test. The library's loader,
 * the zelut tool and the tests' file writer all go through here; nothing
 * here logs, allocates behind the caller's back or touches a file.
 *
 * Layout (little-endian; offsets from the start of the file):
 *
 *    0  8  signature ".KD-LUT "
 *    8  4  version, must be 1
 *   12  4  level count N, 1 to 65
 *   16  4  entry type: 0 = 3 x uint8 per entry, 3 = 3 x 32 bits (read, never rendered)
 *   20  4  dimensions: 0 = one-dimensional (N entries), else N^3 entries
 *   24  8  reserved (written as 0, never read)
 *   32  8  level offset: absolute position of the N float32 level values
 *   40  8  reserved (written as 0, never read)
 *
 * The entries follow the level values with no gap; entry (r, g, b) of a
 * three-dimensional table is number (r * N + g) * N + b (blue fastest).
 *
 *   Lut3DParsed parsed;
 *   Lut3DMemorySource source(bytes, size);
 *   switch (Lut3DParse(source, allocator, parsed)) { ... }
 *
 *   std::vector<uint8_t> file = Lut3DEncodeFile(levels, n, entries);
 */
#ifndef LUT3DFORMAT_H
#define LUT3DFORMAT_H

#include <cstddef>
#include <cstdint>
#include <vector>

constexpr size_t kLut3DSignatureBytes = 8;
constexpr size_t kLut3DHeaderBytes = 48;
constexpr uint32_t kLut3DVersion = 1;
constexpr uint32_t kLut3DMaxLevels = 65;
constexpr uint32_t kLut3DEntryUint8 = 0; // three unsigned bytes: output R, G, B
constexpr uint32_t kLut3DEntryWide = 3;  // three 32-bit values, meaning undefined
// Levels count as evenly spaced from 0 to 1 within this, in single precision.
constexpr float kLut3DUniformTolerance = 0.001953125f; // 1/512

// The eight signature bytes, ".KD-LUT ".
extern const uint8_t kLut3DSignature[kLut3DSignatureBytes];

struct Lut3DHeader {
    uint32_t version = kLut3DVersion;
    uint32_t levelCount = 0;
    uint32_t entryType = kLut3DEntryUint8;
    uint32_t dimensions = 1;
    uint64_t levelOffset = kLut3DHeaderBytes;
};

// bytes holds kLut3DHeaderBytes; the signature is not part of the result.
Lut3DHeader Lut3DDecodeHeader(const uint8_t* bytes);
// Signature, the fields, reserved words 0: kLut3DHeaderBytes into out.
void Lut3DEncodeHeader(const Lut3DHeader& header, uint8_t* out);

bool Lut3DSignatureMatches(const uint8_t* eightBytes);
uint32_t Lut3DDecodeU32(const uint8_t* bytes);

// Entry bytes the header implies: (12 for a non-zero type, else 3) x N x
// (N^2 when three-dimensional). At most 12 x 65^3 for a valid N.
uint64_t Lut3DEntryBytes(uint32_t levelCount, uint32_t entryType, bool threeDimensional);

// count little-endian float32 values from bytes to out (may be the same memory).
void Lut3DDecodeLevels(const void* bytes, float* out, uint32_t count);
void Lut3DEncodeLevels(const float* levels, uint32_t count, uint8_t* out);

// Evenly spaced from 0 to 1 within kLut3DUniformTolerance. One level can
// never be near both ends, so N = 1 is never uniform.
bool Lut3DLevelsUniform(const float* levels, uint32_t count);

// A minimal valid file: header with level offset 48, levels, entries
// (3 x N^3 bytes).
std::vector<uint8_t> Lut3DEncodeFile(const float* levels, uint32_t count, const uint8_t* entries);

// ---- Parsing ------------------------------------------------------------------

// Where the bytes come from: a file, or memory. Reads are exact (anything
// short is a failure) and positions absolute.
class Lut3DByteSource {
public:
    virtual ~Lut3DByteSource() = default;
    virtual bool readExactly(void* data, uint64_t size) = 0;
    virtual bool seek(uint64_t position) = 0;
};

class Lut3DMemorySource final : public Lut3DByteSource {
public:
    Lut3DMemorySource(const void* data, size_t size)
        : m_data(static_cast<const uint8_t*>(data)), m_size(data ? size : 0)
    {
    }
    bool readExactly(void* data, uint64_t size) override;
    bool seek(uint64_t position) override;

private:
    const uint8_t* m_data;
    uint64_t m_size;
    uint64_t m_position = 0;
};

// The two blocks a parse hands over: N level values (zero-filled before they
// are read) and the raw entries. Both come from the caller's allocator so
// that its failures can be injected; null means the block cannot be had.
struct Lut3DAllocator {
    void* (*allocate)(size_t bytes);
    void (*release)(void* block);
};

// The first step that failed, in the order the bytes are read.
enum class Lut3DParseResult {
    Ok,
    ShortSignature,   // fewer than 8 bytes
    BadSignature,
    BadVersion,       // version missing, not 1, or seeking back to 0 failed
    ShortHeader,      // fewer than 48 bytes
    BadEntryType,     // neither 0 nor 3
    BadLevelCount,    // 0 or above 65
    NoLevelMemory,
    BadLevelOffset,   // seeking to the level values failed
    ShortLevels,
    NoEntryMemory,
    ShortEntries,
};

struct Lut3DParsed {
    Lut3DHeader header;
    float* levels = nullptr;    // header.levelCount values, from the allocator
    uint8_t* entries = nullptr; // entryBytes raw bytes, from the allocator
    uint64_t entryBytes = 0;
};

// Reads: 8 signature bytes, the 4 version bytes, back to 0 and the whole
// header, then the level values at their offset and the entries right after
// them. On Ok, parsed owns both blocks (release them with the allocator);
// on any other result it owns nothing.
Lut3DParseResult Lut3DParse(Lut3DByteSource& source, const Lut3DAllocator& allocator,
                            Lut3DParsed& parsed);

#endif // LUT3DFORMAT_H
