// CZeString storage: construction, raw data, the length-changing operations,
// sharing, copy-on-write isolation and number formatting.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <string>
#include <vector>

#include "CZeString.h"
#include "support/TestText.h"
#include "support/CopyOnWriteModel.h"

namespace {

void expectTerminated(const CZeString& s)
{
    EXPECT_EQ(s.unicode()[s.size()].unicode(), 0) << latin(s);
}

TEST(CZeString, Construction)
{
    const CZeChar units[] = {CZeChar(u'a'), CZeChar(u'b'), CZeChar(), CZeChar(u'c')};
    EXPECT_TRUE(CZeString().isNull());
    EXPECT_TRUE(CZeString(static_cast<const CZeChar*>(nullptr), 5).isNull());

    const CZeString empty(units, 0);
    EXPECT_FALSE(empty.isNull());
    EXPECT_TRUE(empty.isEmpty());
    expectTerminated(empty);

    EXPECT_EQ(u16(CZeString(units, -1)), u"ab"); // up to the first 0 unit
    const CZeString four(units, 4);
    EXPECT_EQ(four.size(), 4);
    EXPECT_EQ(four.capacity(), 4); // constructors allocate exactly
    expectTerminated(four);

    EXPECT_EQ(u16(CZeString(3, CZeChar(u'x'))), u"xxx");
    EXPECT_FALSE(CZeString(0, CZeChar(u'x')).isNull());
    EXPECT_TRUE(CZeString(-2, CZeChar(u'x')).isEmpty());
    EXPECT_EQ(u16(CZeString(CZeChar(0x20ac))), u"\u20ac");

    CZeString raw(5, Ze::Uninitialized);
    EXPECT_EQ(raw.size(), 5);
    EXPECT_EQ(raw.capacity(), 5);
    expectTerminated(raw);

    EXPECT_EQ(u16(CZeString(CZeLatin1String("caf\xe9"))), u"caf\u00e9");
    EXPECT_TRUE(CZeString(CZeLatin1String()).isNull());
}

TEST(CZeString, ResizeNeverGivesMemoryBack)
{
    CZeString s = U16(u"0123456789");
    const CZeChar* block = s.unicode();
    s.resize(3);
    EXPECT_EQ(u16(s), u"012");
    EXPECT_EQ(s.capacity(), 10);
    expectTerminated(s);
    s.resize(8); // fits the kept block: no allocation
    EXPECT_EQ(s.unicode(), block);
    EXPECT_EQ(s.capacity(), 10);
    EXPECT_EQ(s.size(), 8);
    expectTerminated(s);
    s.resize(0);
    EXPECT_FALSE(s.isNull());
    EXPECT_EQ(s.unicode(), block);
    s.resize(-4);
    EXPECT_EQ(s.size(), 0);

    CZeString grow = U16(u"abcd");
    CZeString shared = grow;
    grow.resize(5); // shared: reallocated with growth, 6 units -> 20
    EXPECT_EQ(grow.capacity(), 19);
    EXPECT_EQ(u16(shared), u"abcd");

    CZeString filled = U16(u"ab");
    filled.resize(5, CZeChar(u'-'));
    EXPECT_EQ(u16(filled), u"ab---");
    filled.resize(1, CZeChar(u'+'));
    EXPECT_EQ(u16(filled), u"a");
}

TEST(CZeString, AppendSharesOnlyIntoNull)
{
    const CZeString other = U16(u"tail");
    CZeString null;
    null.append(other);
    EXPECT_TRUE(null.isSharedWith(other));
    null.append(CZeChar(u'!')); // the shared block is copied before writing
    EXPECT_EQ(u16(other), u"tail");
    EXPECT_EQ(u16(null), u"tail!");

    CZeString empty = U16(u"");
    ASSERT_FALSE(empty.isNull());
    empty.append(other); // empty but not null: copies
    EXPECT_FALSE(empty.isSharedWith(other));
    EXPECT_EQ(u16(empty), u"tail");

    CZeString s = U16(u"ab");
    s.append(CZeString());
    EXPECT_EQ(u16(s), u"ab");
    s.append(CZeLatin1String("c\xe9"));
    s.append(CZeChar(0x20ac));
    s.append(s.unicode(), 2);
    s.append(s);
    EXPECT_EQ(u16(s), u"abc\u00e9\u20acab" u"abc\u00e9\u20acab");
    expectTerminated(s);

    CZeString viewed = U16(u"0123456789");
    viewed.append(CZeStringRef(&viewed, 2, 3));
    EXPECT_EQ(u16(viewed), u"0123456789234");
    viewed.append(CZeStringRef());
    EXPECT_EQ(viewed.size(), 13);
}

TEST(CZeString, InsertAndRemove)
{
    CZeString s = U16(u"ab");
    s.insert(5, CZeLatin1String("xy"));
    EXPECT_EQ(u16(s), u"ab   xy"); // reached by padding with spaces
    s.insert(1, CZeChar(u'-'));
    EXPECT_EQ(u16(s), u"a-b   xy");
    s.insert(10, CZeChar(u'!'));
    EXPECT_EQ(u16(s), u"a-b   xy  !");
    s.insert(0, U16(u"<<"));
    EXPECT_EQ(u16(s), u"<<a-b   xy  !");
    expectTerminated(s);

    CZeString same = U16(u"abc");
    same.insert(-1, CZeChar(u'x'));
    same.insert(-1, CZeLatin1String("x"));
    same.insert(1, CZeLatin1String(""));
    same.insert(1, static_cast<const CZeChar*>(nullptr), 3);
    same.insert(1, CZeString());
    EXPECT_EQ(u16(same), u"abc");

    CZeString self = U16(u"abc");
    self.insert(1, self);
    EXPECT_EQ(u16(self), u"aabcbc");
    CZeString roomy = U16(u"0123456789");
    roomy.reserve(64); // the units being inserted stay inside the own block
    roomy.insert(2, roomy.unicode() + 5, 3);
    EXPECT_EQ(u16(roomy), u"0156723456789");

    CZeString r = U16(u"0123456789");
    CZeString keep = r;
    r.remove(2, 3);
    EXPECT_EQ(u16(r), u"0156789");
    r.remove(4, 100);
    EXPECT_EQ(u16(r), u"0156");
    r.remove(-1, 1);
    r.remove(4, 1);
    r.remove(0, 0);
    EXPECT_EQ(u16(r), u"0156");
    EXPECT_EQ(u16(keep), u"0123456789");
}

TEST(CZeString, RawData)
{
    EXPECT_TRUE(CZeString::fromRawData(nullptr, 3).isNull());
    const char16_t text[] = u"external text";
    const CZeChar* units = reinterpret_cast<const CZeChar*>(text);
    EXPECT_FALSE(CZeString::fromRawData(units, 0).isNull());

    CZeString raw = CZeString::fromRawData(units, 8);
    EXPECT_EQ(raw.unicode(), units);
    EXPECT_EQ(u16(raw), u"external");
    CZeString view = raw;
    const unsigned short* terminated = view.utf16(); // copies: raw data has no terminator
    EXPECT_NE(static_cast<const void*>(terminated), static_cast<const void*>(text));
    EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(terminated)), u"external");
    EXPECT_EQ(raw.unicode(), units);

    raw.resize(3); // unshared raw data only shrinks its size
    EXPECT_EQ(raw.unicode(), units);
    EXPECT_EQ(u16(raw), u"ext");
    raw[0] = CZeChar(u'E'); // a write copies
    EXPECT_EQ(u16(raw), u"Ext");
    EXPECT_EQ(std::u16string(text), u"external text");

    CZeString reused = CZeString::fromRawData(units, 2);
    reused.setRawData(units + 9, 4);
    EXPECT_EQ(u16(reused), u"text");
    reused.setRawData(nullptr, 0);
    EXPECT_FALSE(reused.isNull());
    EXPECT_TRUE(reused.isEmpty());

    CZeString owned = U16(u"owned");
    owned.setRawData(units, 3); // not a raw header: a new one is made
    EXPECT_EQ(u16(owned), u"ext");

    CZeString appended = CZeString::fromRawData(units, 3);
    appended.append(CZeChar(u'!'));
    EXPECT_EQ(u16(appended), u"ext!");
    EXPECT_EQ(std::u16string(text), u"external text");
}

// Random edits on several copies of one string, mirrored on std::u16string.
struct Units {
    using Element = CZeChar;
    using Container = CZeString;
    using Model = std::u16string;
    static char16_t wideUnit(int k) { return char16_t(0x400 + k); }
    static CZeString make(const std::u16string& t)
    {
        return CZeString(reinterpret_cast<const CZeChar*>(t.data()), int(t.size()));
    }
    static CZeString raw(const char16_t* data, int n)
    {
        return CZeString::fromRawData(reinterpret_cast<const CZeChar*>(data), n);
    }
    static std::u16string model(const CZeString& s) { return u16(s); }
};

TEST(CZeString, RandomEditsKeepCopiesIndependent)
{
    checkCopiesStayIndependent<Units>();
}

// In-place edits and number text, one case of each path.
TEST(CZeString, EditsInPlaceAndNumbers)
{
    CZeString s = U16(u"abcdef");
    const CZeString copy = s;
    s.truncate(4);
    s.chop(1);
    EXPECT_EQ(u16(s), u"abc");
    s.chop(10);
    EXPECT_TRUE(s.isEmpty() && !s.isNull());
    s.fill(CZeChar(u'#'), 3);
    EXPECT_EQ(u16(s), u"###");
    s.setUnicode(reinterpret_cast<const CZeChar*>(u"bye"), 3);
    EXPECT_EQ(u16(s), u"bye");
    s.setUnicode(s.unicode() + 1, 2); // its own units
    EXPECT_EQ(u16(s), u"ye");
    EXPECT_EQ(u16(copy), u"abcdef");
    s.reserve(50);
    EXPECT_GE(s.capacity(), 50);
    s.squeeze();
    EXPECT_EQ(s.capacity(), 2);

    EXPECT_EQ(latin(CZeString::number(1.0 / 3.0)), "0.333333");
    EXPECT_EQ(latin(CZeString::number(123456789.0)), "1.23457e+08");
    EXPECT_EQ(latin(CZeString::number(0.5, 'f', 3)), "0.500");
    EXPECT_EQ(latin(CZeString::number(-1, 16)), "ffffffffffffffff");
    EXPECT_EQ(latin(CZeString::number(ULONG_MAX)), "18446744073709551615");
    EXPECT_EQ(latin(CZeString::number(42, 99)), "42"); // a bad base acts as 10
    EXPECT_EQ(latin(s.setNum(0.25, 'g', 6)), "0.25");
}

} // namespace
