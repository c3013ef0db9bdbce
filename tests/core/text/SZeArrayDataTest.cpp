// Block allocation: the growth rule, options, element alignment, size limits
// and reallocation.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "CZeByteArray.h"

namespace {

using Data = SZeArrayData;

TEST(SZeArrayData, Allocate)
{
    const struct {
        const char* name;
        unsigned long objectSize, alignment, capacity;
        int options;
        unsigned int alloc;
        int ref;
    } rows[] = {
        { "bytes grown: 12 + 24 = 36 -> 64", 1, 8, 12, Data::Grow, 40, 1 },
        { "units grown: 10 + 24 = 34 -> 64", 2, 8, 5, Data::Grow, 20, 1 },
        { "bytes exact", 1, 8, 12, 0, 12, 1 },
        { "units exact", 2, 8, 5, 0, 5, 1 },
        { "64 goes to the next power strictly above", 1, 8, 40, Data::Grow, 104, 1 },
        { "unsharable, reserved", 2, 64, 7, Data::Unsharable | Data::CapacityReserved, 7, 0 },
        { "16-aligned", 1, 16, 10, 0, 10, 1 },
        { "32-aligned", 1, 32, 33, 0, 33, 1 },
        { "128-aligned", 1, 128, 1, 0, 1, 1 },
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Data* x = Data::allocate(row.objectSize, row.alignment, row.capacity, row.options);
        ASSERT_NE(x, nullptr);
        EXPECT_EQ(x->alloc, row.alloc);
        EXPECT_EQ(x->ref.load(), row.ref);
        EXPECT_EQ(x->capacityReserved, (row.options & Data::CapacityReserved) ? 1u : 0u);
        // The elements start at the first multiple of the alignment behind the
        // header, and all of them lie inside the block (written whole, so that
        // AddressSanitizer sees an overrun).
        const uintptr_t start = reinterpret_cast<uintptr_t>(x);
        const uintptr_t first = (start + sizeof(Data) + row.alignment - 1) / row.alignment;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(x->data()), first * row.alignment);
        std::memset(x->data(), 0x5A, row.objectSize * x->alloc);
        Data::deallocate(x, row.objectSize, row.alignment);
    }
}

TEST(SZeArrayData, ImpossibleSizesGiveNull)
{
    EXPECT_EQ(Data::allocate(1, 1ul << 31, 1, 0), nullptr); // header >= 2^31
    EXPECT_EQ(Data::allocate(2, 8, 0x80000000ul, 0), nullptr); // product overflows
    EXPECT_EQ(Data::allocate(1, 8, 0xffffffecul, 0), nullptr); // sum overflows
    EXPECT_EQ(Data::allocate(1, 8, 0x7ffffff0ul, 0), nullptr); // sum negative as int32
    EXPECT_EQ(Data::allocate(1, 8, 0x100000000ul, 0), nullptr); // not a 32-bit size
}

TEST(SZeArrayData, ReallocateKeepsContentsAndHeader)
{
    Data* x = Data::allocate(1, 8, 10, 0);
    ASSERT_NE(x, nullptr);
    std::memcpy(x->data(), "123456789", 10);
    x->size = 9;
    EXPECT_EQ(Data::reallocateUnaligned(x, 2, 0x80000000ul, 0), nullptr); // x is left as it was
    Data* y = Data::reallocateUnaligned(x, 1, 100, Data::Grow | Data::CapacityReserved);
    ASSERT_NE(y, nullptr);
    EXPECT_EQ(y->alloc, 104u); // 124 -> 128
    EXPECT_EQ(y->capacityReserved, 1u);
    EXPECT_EQ(y->size, 9);
    EXPECT_STREQ(static_cast<const char*>(y->data()), "123456789");
    Data::deallocate(y, 1, 8);
}

} // namespace
