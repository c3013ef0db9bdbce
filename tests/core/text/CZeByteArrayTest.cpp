// Shared array blocks (allocation, the growth rule, alignment, size limits)
// and CZeByteArray: null and empty states, capacity rules, insertion, sharing
// and copy-on-write (with a randomised model check), search, hexadecimal and
// number text.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "CZeByteArray.h"
#include "support/CopyOnWriteModel.h"
#include "support/TestText.h"

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

TEST(CZeByteArray, NullAndEmptyAreDistinct)
{
    EXPECT_TRUE(CZeByteArray().isNull());
    EXPECT_STREQ(CZeByteArray().constData(), "");
    EXPECT_TRUE(CZeByteArray(nullptr, 5).isNull());
    for (const CZeByteArray& e :
        { CZeByteArray(""), CZeByteArray("abc", 0), CZeByteArray(-3, 'x') }) {
        EXPECT_FALSE(e.isNull());
        EXPECT_TRUE(e.isEmpty());
        EXPECT_EQ(e.capacity(), 0);
        EXPECT_STREQ(e.constData(), "");
    }
}

TEST(CZeByteArray, ResizeRules)
{
    CZeByteArray neg("abc");
    neg.resize(-5);
    EXPECT_FALSE(neg.isNull());
    EXPECT_EQ(neg.capacity(), 0); // the static empty block, as resize(0)

    CZeByteArray reserved;
    reserved.reserve(20);
    reserved.append("hello");
    const char* block = reserved.constData();
    reserved.resize(0);
    EXPECT_EQ(reserved.constData(), block); // capacity reserved: the block stays
    EXPECT_TRUE(terminated(reserved));

    CZeByteArray fresh;
    fresh.resize(7); // the first allocation of an empty array is exact
    EXPECT_EQ(fresh.capacity(), 7);
    EXPECT_TRUE(terminated(fresh));

    CZeByteArray eleven("hello world"); // capacity 12 with the terminator
    block = eleven.constData();
    eleven.resize(5); // 6 is not below 12 / 2: kept
    EXPECT_EQ(eleven.constData(), block);
    EXPECT_TRUE(terminated(eleven));

    CZeByteArray big(100, 'b');
    big.resize(10); // 11 < 101 / 2: memory is given back, with growth rounding
    EXPECT_EQ(big.capacity(), 39);
    EXPECT_TRUE(terminated(big));

    CZeByteArray kept(100, 'k');
    kept.reserve(100);
    kept.resize(10); // reserved capacity survives shrinking
    EXPECT_EQ(kept.capacity(), 100);
    kept.squeeze();
    EXPECT_EQ(kept.capacity(), 10);
}

TEST(CZeByteArray, Insert)
{
    CZeByteArray a("ab");
    a.insert(5, "xy").insert(1, CZeByteArray("<>")).insert(9, 'Z').insert(0, "[", 1);
    EXPECT_EQ(text(a), "[a<>b   xyZ"); // past the end: padded with spaces
    EXPECT_TRUE(terminated(a));
    a.insert(-1, "x").insert(1, static_cast<const char*>(nullptr)).insert(1, "").insert(1, "y", 0);
    EXPECT_EQ(text(a), "[a<>b   xyZ");
    CZeByteArray b("0123456789");
    b.reserve(100); // room enough that nothing moves unless it must
    b.insert(2, b.constData() + 5, 3);
    EXPECT_EQ(text(b), "0156723456789");
}

TEST(CZeByteArray, SharingAndRawData)
{
    const CZeByteArray a("original");
    CZeByteArray b = a;
    b.data()[0] = 'O';
    EXPECT_EQ(text(a), "original");
    EXPECT_TRUE(a.nulTerminated().isSharedWith(a));

    char buffer[] = "raw bytes";
    CZeByteArray view = CZeByteArray::fromRawData(buffer, 5);
    EXPECT_EQ(view.constData(), buffer);
    view.resize(2); // unshared raw data: only the size changes, no terminator written
    EXPECT_EQ(view.constData(), buffer);
    const CZeByteArray copied = view.nulTerminated();
    EXPECT_STREQ(copied.constData(), "ra");
    view.setRawData(buffer + 4, 5); // the raw header is reused
    EXPECT_EQ(text(view), "bytes");
    EXPECT_EQ(shown(view.setRawData(nullptr, 0)), "");
    EXPECT_TRUE(CZeByteArray::fromRawData(nullptr, 3).isNull());
    EXPECT_STREQ(buffer, "raw bytes");
}

TEST(CZeByteArray, PrependAndAppendShareOrCopy)
{
    const CZeByteArray other("xy");
    CZeByteArray null;
    null.prepend(other);
    EXPECT_TRUE(null.isSharedWith(other));
    CZeByteArray empty("");
    empty.append(other);
    EXPECT_TRUE(empty.isSharedWith(other));
    empty.append("!"); // the shared block is never written
    EXPECT_EQ(text(other), "xy");
    CZeByteArray a("cd");
    a.prepend("ab");
    a.prepend(a.constData() + 2); // a part of itself
    EXPECT_EQ(text(a), "cdabcd");
    CZeByteArray target;
    target.append(CZeByteArray::fromRawData("external", 8)); // copied, to be terminated
    EXPECT_EQ(text(target), "external");
    EXPECT_TRUE(terminated(target));
}

// Random edits on several copies of one array, each mirrored on a
// std::string: a write that leaks into another copy shows up as a mismatch.
struct Bytes {
    using Element = char;
    using Container = CZeByteArray;
    using Model = std::string;
    static char wideUnit(int) { return 'w'; }
    static CZeByteArray make(const std::string& t) { return CZeByteArray(t.data(), int(t.size())); }
    static CZeByteArray raw(const char* data, int n) { return CZeByteArray::fromRawData(data, n); }
    static std::string model(const CZeByteArray& a) { return text(a); }
};

TEST(CZeByteArray, RandomEditsKeepCopiesIndependent)
{
    checkCopiesStayIndependent<Bytes>();
}

TEST(CZeByteArray, EverydayOperations)
{
    const CZeByteArray a("hello world");
    EXPECT_EQ(text(a.left(5)), "hello");
    EXPECT_EQ(text(a.right(5)), "world");
    EXPECT_EQ(text(a.mid(6)), "world");
    EXPECT_EQ(text(a.mid(3, 2)), "lo");
    EXPECT_EQ(text(a.mid(-2, 4)), "he");
    EXPECT_TRUE(a.mid(12).isNull());
    EXPECT_TRUE(a.left(50).isSharedWith(a));
    EXPECT_EQ(a.left(-1).size(), 0);

    EXPECT_EQ(a.indexOf('o'), 4);
    EXPECT_EQ(a.indexOf('o', 5), 7);
    EXPECT_EQ(a.indexOf('o', -4), 7);
    EXPECT_EQ(a.indexOf('z'), -1);
    EXPECT_EQ(a.indexOf("wor"), 6);
    EXPECT_EQ(a.indexOf(CZeByteArray("l"), 4), 9);
    EXPECT_EQ(a.indexOf("worlds"), -1);
    EXPECT_EQ(a.indexOf(""), 0);
    EXPECT_EQ(a.lastIndexOf('o'), 7);
    EXPECT_EQ(a.lastIndexOf('o', 6), 4);
    EXPECT_TRUE(a.startsWith("hell"));
    EXPECT_TRUE(a.endsWith(CZeByteArray("rld")));
    EXPECT_FALSE(a.endsWith("hello"));

    EXPECT_TRUE(a == "hello world");
    EXPECT_TRUE(CZeByteArray() == CZeByteArray(""));
    EXPECT_TRUE(CZeByteArray() == static_cast<const char*>(nullptr));
    EXPECT_TRUE(CZeByteArray("abc") < CZeByteArray("abd"));
    EXPECT_TRUE(CZeByteArray("ab") < CZeByteArray("abc"));
    EXPECT_TRUE(CZeByteArray("\xff") > CZeByteArray("a")); // unsigned bytes
    EXPECT_EQ(text(CZeByteArray("ab") + "cd"), "abcd");

    CZeByteArray r("0123456789");
    r.remove(-1, 2);
    r.remove(10, 1);
    r.chop(2);
    r.truncate(9);
    EXPECT_EQ(text(r), "01234567");
    r.clear();
    EXPECT_TRUE(r.isNull());
}

TEST(CZeByteArray, CaseCopiesUseTheLatin1Table)
{
    const CZeByteArray mixed("AZaz09\xC0\xD6\xD7\xD8\xDE\xDF\xE0\xF6\xF7\xF8\xFE\xFF");
    EXPECT_EQ(text(mixed.toLower()), "azaz09\xE0\xF6\xD7\xF8\xFE\xDF\xE0\xF6\xF7\xF8\xFE\xFF");
    EXPECT_EQ(text(mixed.toUpper()), "AZAZ09\xC0\xD6\xD7\xD8\xDE\xDF\xC0\xD6\xF7\xD8\xDE\xFF");
    EXPECT_EQ(text(mixed), "AZaz09\xC0\xD6\xD7\xD8\xDE\xDF\xE0\xF6\xF7\xF8\xFE\xFF");
    EXPECT_TRUE(CZeByteArray().toLower().isNull());
}

TEST(CZeByteArray, Hex)
{
    const CZeByteArray bytes("\x01\x23\x45\x67\x89\xab\xcd\xef", 8);
    EXPECT_EQ(text(bytes.toHex()), "0123456789abcdef");
    EXPECT_EQ(text(bytes.toHex(':')), "01:23:45:67:89:ab:cd:ef"); // none after the last
    EXPECT_TRUE(terminated(bytes.toHex(':')));
    EXPECT_TRUE(CZeByteArray().toHex().isNull());
    EXPECT_TRUE(CZeByteArray("").toHex(':').isNull());
}

TEST(CZeByteArray, DoubleText)
{
    EXPECT_EQ(text(CZeByteArray::number(2.5)), "2.5");
    EXPECT_EQ(text(CZeByteArray::number(1234.5, 'e', 6)), "1.234500e+03");
    EXPECT_EQ(text(CZeByteArray::number(1234.5, 'e', -1)), "1.234500e+03"); // the C default
    EXPECT_EQ(text(CZeByteArray::number(1.0 / 3.0, 'g', -1)), "0.333333");
    EXPECT_EQ(text(CZeByteArray::number(0.5, 'f', 0)), "0");
    EXPECT_EQ(text(CZeByteArray::number(255.0, 'A', 2)), "0X1.FEP+7");
    EXPECT_EQ(text(CZeByteArray::number(2.5, 'd', 2)), "2.5"); // not a floating conversion: 'g'
    const CZeByteArray huge = CZeByteArray::number(1e300, 'f', 6); // cut at 127 bytes
    EXPECT_EQ(huge.size(), 127);
    EXPECT_EQ(text(huge).substr(0, 4), "1000");
    CZeByteArray a("old text");
    EXPECT_EQ(text(a.setNum(-0.125, 'f', 2)), "-0.12");
}

} // namespace
