// CZeByteArray: null/empty states, capacity rules, insertion, sharing and
// copy-on-write isolation (including a randomised model check).
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "CZeByteArray.h"
#include "support/TestText.h"
#include "support/CopyOnWriteModel.h"

namespace {

// Every ordinary block is followed by a terminator.
void expectTerminated(const CZeByteArray& a)
{
    EXPECT_EQ(a.constData()[a.size()], '\0') << text(a);
}

TEST(CZeByteArray, NullAndEmptyAreDistinct)
{
    CZeByteArray def;
    EXPECT_TRUE(def.isNull());
    EXPECT_TRUE(def.isEmpty());
    EXPECT_STREQ(def.constData(), "");

    CZeByteArray fromNull(nullptr);
    EXPECT_TRUE(fromNull.isNull());
    CZeByteArray fromNullSized(nullptr, 5);
    EXPECT_TRUE(fromNullSized.isNull());

    for (const CZeByteArray& e : {CZeByteArray(""), CZeByteArray("abc", 0), CZeByteArray(0, 'x'),
                                  CZeByteArray(-3, 'x')}) {
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
    EXPECT_TRUE(neg.isEmpty());
    EXPECT_EQ(neg.capacity(), 0); // the static empty block, like resize(0)

    CZeByteArray reserved;
    reserved.reserve(20);
    reserved.append("hello");
    const char* block = reserved.constData();
    reserved.resize(0);
    EXPECT_EQ(reserved.constData(), block); // capacity reserved: the block stays
    EXPECT_GE(reserved.capacity(), 20);
    expectTerminated(reserved);

    CZeByteArray fresh;
    fresh.resize(7); // first allocation of an empty array is exact
    EXPECT_EQ(fresh.size(), 7);
    EXPECT_EQ(fresh.capacity(), 7);
    expectTerminated(fresh);

    CZeByteArray eleven("hello world"); // capacity 12 with the terminator
    block = eleven.constData();
    eleven.resize(5); // 6 is not below 12 / 2: kept
    EXPECT_EQ(eleven.constData(), block);
    EXPECT_EQ(eleven.constData()[5], '\0');
    EXPECT_EQ(text(eleven), "hello");

    CZeByteArray big(100, 'b');
    big.resize(10); // 11 < 101 / 2: memory is given back (with growth rounding)
    EXPECT_EQ(big.capacity(), 39);
    EXPECT_EQ(text(big), std::string(10, 'b'));
    expectTerminated(big);

    CZeByteArray kept(100, 'k');
    kept.reserve(100);
    kept.resize(10); // reserved capacity survives shrinking
    EXPECT_EQ(kept.capacity(), 100);
    kept.squeeze();
    EXPECT_EQ(kept.capacity(), 10);
    EXPECT_EQ(text(kept), std::string(10, 'k'));
}

TEST(CZeByteArray, InsertPadsPastTheEnd)
{
    CZeByteArray a("ab");
    a.insert(5, "xy");
    EXPECT_EQ(a.size(), 7);
    EXPECT_EQ(text(a), "ab   xy");
    expectTerminated(a);

    CZeByteArray b("abc");
    b.insert(1, CZeByteArray("XY"));
    EXPECT_EQ(text(b), "aXYbc");
    b.insert(5, 'Z');
    EXPECT_EQ(text(b), "aXYbcZ");
    b.insert(0, "<", 1);
    EXPECT_EQ(text(b), "<aXYbcZ");

    CZeByteArray unchanged("abc");
    unchanged.insert(-1, "x");
    unchanged.insert(1, static_cast<const char*>(nullptr));
    unchanged.insert(1, "");
    unchanged.insert(1, CZeByteArray());
    EXPECT_EQ(text(unchanged), "abc");
}

TEST(CZeByteArray, InsertIntoItself)
{
    CZeByteArray a("abc");
    a.insert(1, a);
    EXPECT_EQ(text(a), "aabcbc");

    CZeByteArray b("0123456789");
    b.reserve(100); // room enough that nothing moves unless it must
    b.insert(2, b.constData() + 5, 3);
    EXPECT_EQ(text(b), "0156723456789");
    b.insert(0, b.constData() + 10);
    EXPECT_EQ(text(b), "789" "0156723456789");
}

TEST(CZeByteArray, CopyOnWriteIsolation)
{
    CZeByteArray a("original");
    CZeByteArray b = a;
    EXPECT_TRUE(a.isSharedWith(b));
    b.data()[0] = 'O';
    b[1] = 'R';
    EXPECT_EQ(text(a), "original");
    EXPECT_EQ(text(b), "ORiginal");

    CZeByteArray c = a;
    c.resize(3);
    c.insert(0, "<");
    c.remove(1, 1);
    EXPECT_EQ(text(a), "original");
    EXPECT_EQ(text(c), "<ri");

    char buffer[] = "raw bytes";
    CZeByteArray raw = CZeByteArray::fromRawData(buffer, 3);
    EXPECT_EQ(raw.constData(), buffer);
    CZeByteArray rawCopy = raw;
    rawCopy.append("!");
    raw.data()[0] = 'W';
    raw.resize(2); // may only shrink the view
    EXPECT_STREQ(buffer, "raw bytes");
    EXPECT_EQ(text(raw), "Wa");
    EXPECT_EQ(text(rawCopy), "raw!");

    CZeByteArray view = CZeByteArray::fromRawData(buffer, 5);
    view.resize(2); // unshared raw data: only the size changes
    EXPECT_EQ(view.constData(), buffer);
    EXPECT_STREQ(buffer, "raw bytes"); // no terminator written into it
    CZeByteArray terminated = view.nulTerminated();
    EXPECT_NE(terminated.constData(), buffer);
    EXPECT_STREQ(terminated.constData(), "ra");
    EXPECT_TRUE(a.nulTerminated().isSharedWith(a));

    view.setRawData(buffer + 4, 5); // the raw header is reused
    EXPECT_EQ(text(view), "bytes");
    view.setRawData(nullptr, 0);
    EXPECT_FALSE(view.isNull());
    EXPECT_TRUE(view.isEmpty());
    EXPECT_TRUE(CZeByteArray::fromRawData(nullptr, 3).isNull());
}

TEST(CZeByteArray, CaseCopiesUseTheLatin1Table)
{
    const CZeByteArray mixed("AZaz09\xC0\xD6\xD7\xD8\xDE\xDF\xE0\xF6\xF7\xF8\xFE\xFF");
    EXPECT_EQ(text(mixed.toLower()), "azaz09\xE0\xF6\xD7\xF8\xFE\xDF\xE0\xF6\xF7\xF8\xFE\xFF");
    EXPECT_EQ(text(mixed.toUpper()), "AZAZ09\xC0\xD6\xD7\xD8\xDE\xDF\xC0\xD6\xF7\xD8\xDE\xFF");
    EXPECT_EQ(text(mixed), "AZaz09\xC0\xD6\xD7\xD8\xDE\xDF\xE0\xF6\xF7\xF8\xFE\xFF");
    EXPECT_TRUE(CZeByteArray().toLower().isNull());
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
    r.remove(2, 3);
    EXPECT_EQ(text(r), "0156789");
    r.remove(4, 100);
    EXPECT_EQ(text(r), "0156");
    r.remove(-1, 2);
    r.remove(9, 1);
    EXPECT_EQ(text(r), "0156");
    r.chop(2);
    EXPECT_EQ(text(r), "01");
    r.truncate(5);
    EXPECT_EQ(text(r), "01");
    r.clear();
    EXPECT_TRUE(r.isNull());
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
    expectTerminated(target);
}

} // namespace
