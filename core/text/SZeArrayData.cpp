// Allocation of shared array blocks: header size, the 32-bit block size with
// its overflow rules, the power-of-two growth rule and the static headers.
#include "CZeByteArray.h"

#include <cstdint>
#include <cstdlib>

namespace {

constexpr std::ptrdiff_t kHeaderSize = sizeof(SZeArrayData);
constexpr unsigned long kHeaderAlignment = alignof(SZeArrayData); // 8 on 64-bit targets

// shared_empty and unsharable_empty, each followed by a zeroed header-sized
// block so that their element area reads as an empty terminated array.
SZeArrayData g_staticEmpty[4] = {
    {{-1}, 0, 0, 0, kHeaderSize},
    {{0}, 0, 0, 0, 0},
    {{0}, 0, 0, 0, kHeaderSize},
    {{0}, 0, 0, 0, 0},
};

SZeArrayData* sharedEmptyHeader()
{
    return &g_staticEmpty[0];
}

SZeArrayData* unsharableEmptyHeader()
{
    return &g_staticEmpty[2];
}

// Block geometry of one request. Sizes are computed in 32 bits as the format
// of the header demands; `ok` is false when the request cannot be expressed.
struct BlockSize {
    bool ok;
    uint32_t bytes;
    unsigned long capacity;
};

BlockSize computeBlockSize(unsigned long objectSize, unsigned long capacity,
                           unsigned long headerSize, int options)
{
    BlockSize result = {false, 0, capacity};
    if (headerSize >= (1ul << 31))
        return result;
    if (objectSize > UINT32_MAX || capacity > UINT32_MAX)
        return result;
    uint32_t product = 0;
    uint32_t bytes = 0;
    if (__builtin_mul_overflow(static_cast<uint32_t>(capacity), static_cast<uint32_t>(objectSize),
                               &product))
        return result;
    if (__builtin_add_overflow(product, static_cast<uint32_t>(headerSize), &bytes))
        return result;
    if (static_cast<int32_t>(bytes) < 0)
        return result;

    if (options & SZeArrayData::Grow) {
        // Next power of two strictly above `bytes` (1 for 0). From 2^31 on the
        // block only grows half-way there, so it stays below 2^31.
        const uint64_t power = bytes == 0 ? 1 : uint64_t(1) << (32 - __builtin_clz(bytes));
        if (power >= (uint64_t(1) << 31))
            bytes = bytes + static_cast<uint32_t>((power - bytes) / 2);
        else
            bytes = static_cast<uint32_t>(power);
        result.capacity = objectSize ? (bytes - headerSize) / objectSize : 0;
    }
    result.ok = true;
    result.bytes = bytes;
    return result;
}

} // namespace

const SZeArrayData SZeArrayData::shared_null[2] = {
    {{-1}, 0, 0, 0, kHeaderSize},
    {{0}, 0, 0, 0, 0},
};

SZeArrayData* SZeArrayData::sharedEmpty() noexcept
{
    return sharedEmptyHeader();
}

SZeArrayData* SZeArrayData::unsharableEmpty() noexcept
{
    return unsharableEmptyHeader();
}

SZeArrayData* SZeArrayData::allocate(unsigned long objectSize, unsigned long alignment,
                                     unsigned long capacity, int options) noexcept
{
    if (capacity == 0 && !(options & RawData))
        return (options & Unsharable) ? unsharableEmptyHeader() : sharedEmptyHeader();

    // Elements need `alignment`; malloc already gives the header's own, so
    // only the difference is slack. Smaller alignments need no slack at all.
    if (alignment < kHeaderAlignment)
        alignment = kHeaderAlignment;
    unsigned long headerSize = kHeaderSize;
    if (!(options & RawData))
        headerSize += alignment - kHeaderAlignment;

    const BlockSize block = computeBlockSize(objectSize, capacity, headerSize, options);
    if (!block.ok)
        return nullptr;

    void* memory = std::malloc(block.bytes);
    if (!memory)
        return nullptr;
    SZeArrayData* header = static_cast<SZeArrayData*>(memory);
    header->ref.store((options & Unsharable) ? 0 : 1, std::memory_order_relaxed);
    header->size = 0;
    header->alloc = static_cast<unsigned int>(block.capacity) & 0x7fffffffu;
    header->capacityReserved = (options & CapacityReserved) ? 1 : 0;
    // The elements start at the first multiple of the alignment at or after
    // the end of the header itself; the slack above covers the distance.
    const uintptr_t start = reinterpret_cast<uintptr_t>(header);
    const uintptr_t elements = (start + kHeaderSize + alignment - 1) / alignment * alignment;
    header->offset = static_cast<std::ptrdiff_t>(elements - start);
    return header;
}

SZeArrayData* SZeArrayData::reallocateUnaligned(SZeArrayData* data, unsigned long objectSize,
                                                unsigned long capacity, int options) noexcept
{
    const BlockSize block = computeBlockSize(objectSize, capacity, kHeaderSize, options);
    if (!block.ok || !data)
        return nullptr;
    void* memory = std::realloc(data, block.bytes);
    if (!memory)
        return nullptr;
    SZeArrayData* header = static_cast<SZeArrayData*>(memory);
    header->alloc = static_cast<unsigned int>(block.capacity) & 0x7fffffffu;
    header->capacityReserved = (options & CapacityReserved) ? 1 : 0;
    return header;
}

void SZeArrayData::deallocate(SZeArrayData* data, unsigned long objectSize,
                              unsigned long alignment) noexcept
{
    (void)objectSize;
    (void)alignment;
    if (!data || data == unsharableEmptyHeader() || data == sharedEmptyHeader()
        || data == sharedNull())
        return;
    std::free(data);
}
