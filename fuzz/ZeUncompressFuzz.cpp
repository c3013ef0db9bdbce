// ZeUncompress on arbitrary blocks, and a compression round trip of the same
// bytes.
//
// A stored length between 16 MiB and the decoder's limit only makes the
// decoder allocate that much up front (its documented behaviour); such lengths
// are scaled down here so that one input does not reserve gigabytes and trip
// the fuzzer's memory limit. Lengths above the limit are kept: their refusal
// is part of what is fuzzed.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "CZeByteArray.h"
#include "CZeDebugLog.h"

namespace {

constexpr uint32_t kLargestFuzzedLength = 16u << 20;
constexpr uint32_t kDecoderLimit = 0x7fffffe6u;

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    CZeDebugLog::SetDebugLevel(CZeDebugLog::DebugLevelVerbose);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > (1u << 20))
        return 0;
    std::vector<unsigned char> block(data, data + size);
    if (size >= 4) {
        uint32_t stored = (uint32_t(block[0]) << 24) | (uint32_t(block[1]) << 16)
            | (uint32_t(block[2]) << 8) | uint32_t(block[3]);
        if (stored > kLargestFuzzedLength && stored <= kDecoderLimit) {
            stored %= kLargestFuzzedLength;
            block[0] = 0;
            block[1] = static_cast<unsigned char>(stored >> 16);
            block[2] = static_cast<unsigned char>(stored >> 8);
            block[3] = static_cast<unsigned char>(stored);
        }
    }
    const int n = static_cast<int>(size);
    const CZeByteArray restored = ZeUncompress(block.data(), n);
    if (!restored.isNull() && restored.constData()[restored.size()] != '\0')
        __builtin_trap();

    // Whatever the bytes are, compressing and restoring them gives them back.
    const int level = size ? int(data[0] % 12) - 1 : -1; // -1..10, 10 acts as -1
    const CZeByteArray packed = ZeCompress(data, n, level);
    const CZeByteArray back = ZeUncompress(packed);
    if (back.size() != n || (n && std::memcmp(back.constData(), data, size) != 0))
        __builtin_trap();
    return 0;
}
