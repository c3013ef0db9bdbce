// Block allocation, the growth rule, size limits and the reference protocol.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "CZeByteArray.h"

namespace {

using Data = SZeArrayData;

constexpr unsigned long kHeader = sizeof(SZeArrayData);

TEST(SZeArrayData, GrowthRule)
{
    struct Case {
        unsigned long objectSize, capacity;
        int options;
        unsigned int alloc;
    } cases[] = {
        {1, 12, Data::Grow, 40}, // 12 + 24 = 36 -> 64
        {2, 5, Data::Grow, 20},  // 10 + 24 = 34 -> 64
        {1, 12, 0, 12},
        {2, 5, 0, 5},
        {1, 40, Data::Grow, 104}, // 64 is rounded to the next power strictly above: 128
        {1, 1, Data::Grow, 8},    // 25 -> 32
        {4, 3, Data::Grow, 10},   // 36 -> 64, (64 - 24) / 4
    };
    for (const Case& c : cases) {
        Data* x = Data::allocate(c.objectSize, 8, c.capacity, c.options);
        ASSERT_NE(x, nullptr);
        EXPECT_EQ(x->alloc, c.alloc) << c.objectSize << " x " << c.capacity;
        EXPECT_EQ(x->ref.load(), 1);
        EXPECT_EQ(x->size, 0);
        EXPECT_EQ(x->capacityReserved, 0u);
        EXPECT_FALSE(x->isRawData());
        Data::deallocate(x, c.objectSize, 8);
    }
}

TEST(SZeArrayData, OptionsAndAlignment)
{
    Data* x = Data::allocate(2, 64, 7, Data::Unsharable | Data::CapacityReserved);
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->ref.load(), 0);
    EXPECT_EQ(x->capacityReserved, 1u);
    EXPECT_EQ(x->alloc, 7u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(x->data()) % 64, 0u);
    EXPECT_GE(x->offset, static_cast<std::ptrdiff_t>(kHeader));
    EXPECT_TRUE(x->isRawData()); // elements not directly behind the header
    Data::deallocate(x, 2, 64);

    // Every alignment: the elements start at the first multiple at or after
    // the header, and all `capacity` of them lie inside the block (written
    // whole, so AddressSanitizer sees any overrun).
    for (unsigned long alignment : {8ul, 16ul, 32ul, 64ul, 128ul})
        for (unsigned long capacity : {1ul, 10ul, 33ul}) {
            Data* d = Data::allocate(1, alignment, capacity, 0);
            ASSERT_NE(d, nullptr);
            const uintptr_t start = reinterpret_cast<uintptr_t>(d);
            const uintptr_t first = (start + kHeader + alignment - 1) / alignment * alignment;
            EXPECT_EQ(reinterpret_cast<uintptr_t>(d->data()), first) << alignment << " " << capacity;
            std::memset(d->data(), 0x5A, capacity);
            Data::deallocate(d, 1, alignment);
        }
}

TEST(SZeArrayData, ImpossibleSizesGiveNull)
{
    EXPECT_EQ(Data::allocate(1, 1ul << 31, 1, 0), nullptr);          // header >= 2^31
    EXPECT_EQ(Data::allocate(2, 8, 0x80000000ul, 0), nullptr);       // product overflows
    EXPECT_EQ(Data::allocate(1, 8, 0xffffffecul, 0), nullptr);       // sum overflows
    EXPECT_EQ(Data::allocate(1, 8, 0x7ffffff0ul, 0), nullptr);       // sum negative as int32
    EXPECT_EQ(Data::allocate(1, 8, 0x100000000ul, 0), nullptr);      // not a 32-bit size
}

TEST(SZeArrayData, ReallocateKeepsContentsAndHeader)
{
    Data* x = Data::allocate(1, 8, 10, 0);
    ASSERT_NE(x, nullptr);
    std::memcpy(x->data(), "123456789", 10);
    x->size = 9;
    Data* y = Data::reallocateUnaligned(x, 1, 100, Data::Grow | Data::CapacityReserved);
    ASSERT_NE(y, nullptr);
    EXPECT_EQ(y->alloc, 104u); // 124 -> 128
    EXPECT_EQ(y->capacityReserved, 1u);
    EXPECT_EQ(y->size, 9);
    EXPECT_EQ(y->ref.load(), 1);
    EXPECT_STREQ(static_cast<const char*>(y->data()), "123456789");

    EXPECT_EQ(Data::reallocateUnaligned(y, 2, 0x80000000ul, 0), nullptr);
    EXPECT_EQ(y->alloc, 104u); // untouched on failure
    Data* z = Data::reallocateUnaligned(y, 1, 10, 0);
    ASSERT_NE(z, nullptr);
    EXPECT_EQ(z->alloc, 10u);
    EXPECT_EQ(z->capacityReserved, 0u);
    Data::deallocate(z, 1, 8);
}

} // namespace
