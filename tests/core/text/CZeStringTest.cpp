// CZeString storage: construction, raw data, the length-changing operations,
// sharing and copy-on-write (with a randomised model check).
#include <gtest/gtest.h>

#include <string>

#include "CZeString.h"
#include "support/CopyOnWriteModel.h"
#include "support/TestText.h"

namespace {

TEST(CZeString, Construction)
{
    const CZeChar units[] = { CZeChar(u'a'), CZeChar(u'b'), CZeChar(), CZeChar(u'c') };
    EXPECT_TRUE(CZeString().isNull());
    EXPECT_TRUE(CZeString(static_cast<const CZeChar*>(nullptr), 5).isNull());
    EXPECT_FALSE(CZeString(units, 0).isNull());
    EXPECT_EQ(u16(CZeString(units, -1)), u"ab"); // up to the first 0 unit
    const CZeString four(units, 4);
    EXPECT_EQ(four.capacity(), 4); // constructors allocate exactly
    EXPECT_TRUE(terminated(four));
    EXPECT_EQ(u16(CZeString(3, CZeChar(u'x'))), u"xxx");
    EXPECT_FALSE(CZeString(0, CZeChar(u'x')).isNull());
    EXPECT_TRUE(CZeString(-2, CZeChar(u'x')).isEmpty());
    EXPECT_EQ(u16(CZeString(CZeChar(0x20ac))), u"\u20ac");
    const CZeString uninitialized(5, Ze::Uninitialized);
    EXPECT_EQ(uninitialized.capacity(), 5);
    EXPECT_TRUE(terminated(uninitialized));
    EXPECT_EQ(u16(CZeString(CZeLatin1String("caf\xe9"))), u"caf\u00e9");
    EXPECT_TRUE(CZeString(CZeLatin1String()).isNull());
}

TEST(CZeString, ResizeNeverGivesMemoryBack)
{
    CZeString s = U16(u"0123456789");
    const CZeChar* block = s.unicode();
    s.resize(3);
    EXPECT_TRUE(terminated(s));
    s.resize(8); // fits the kept block: no allocation
    EXPECT_EQ(s.unicode(), block);
    EXPECT_EQ(s.capacity(), 10);
    s.resize(-4);
    EXPECT_FALSE(s.isNull());
    EXPECT_EQ(s.unicode(), block);

    CZeString grow = U16(u"abcd");
    const CZeString shared = grow;
    grow.resize(5); // shared: reallocated with growth, 6 units -> 20
    EXPECT_EQ(grow.capacity(), 19);

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
    CZeString empty = U16(u"");
    empty.append(other); // empty but not null: copies
    EXPECT_FALSE(empty.isSharedWith(other));

    CZeString s = U16(u"ab");
    s.append(s.unicode(), 2); // its own units, from a block that has to move
    EXPECT_EQ(u16(s), u"abab");
    s = U16(u"ab");
    s.append(CZeString()).append(CZeLatin1String("c\xe9")).append(CZeChar(0x20ac));
    s.append(CZeStringRef(&s, 1, 2)).append(CZeStringRef());
    EXPECT_EQ(u16(s), u"abc\u00e9\u20acbc");
    EXPECT_TRUE(terminated(s));
}

TEST(CZeString, InsertPadsWithSpaces)
{
    CZeString s = U16(u"ab");
    s.insert(5, CZeLatin1String("xy")).insert(1, CZeChar(u'-')).insert(10, CZeChar(u'!'));
    s.insert(0, U16(u"<<"));
    EXPECT_EQ(u16(s), u"<<a-b   xy  !");
    EXPECT_TRUE(terminated(s));
    s.insert(-1, CZeChar(u'x')).insert(-1, CZeLatin1String("x")).insert(1, CZeLatin1String(""));
    s.insert(1, static_cast<const CZeChar*>(nullptr), 3).insert(1, CZeString());
    EXPECT_EQ(u16(s), u"<<a-b   xy  !");
}

TEST(CZeString, RawData)
{
    EXPECT_TRUE(CZeString::fromRawData(nullptr, 3).isNull());
    const char16_t text[] = u"external text";
    const CZeChar* units = reinterpret_cast<const CZeChar*>(text);
    EXPECT_FALSE(CZeString::fromRawData(units, 0).isNull());

    CZeString raw = CZeString::fromRawData(units, 8);
    EXPECT_EQ(raw.unicode(), units);
    const CZeString view = raw;
    const unsigned short* copy = view.utf16(); // raw data has no terminator of its own
    EXPECT_NE(static_cast<const void*>(copy), static_cast<const void*>(text));
    EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(copy)), u"external");
    raw.resize(3); // unshared raw data only shrinks its size
    EXPECT_EQ(raw.unicode(), units);

    CZeString reused = CZeString::fromRawData(units, 2);
    reused.setRawData(units + 9, 4);
    EXPECT_EQ(u16(reused), u"text");
    EXPECT_EQ(shown(reused.setRawData(nullptr, 0)), "");
    CZeString owned = U16(u"owned");
    owned.setRawData(units, 3); // not a raw header: a new one is made
    EXPECT_EQ(u16(owned), u"ext");
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

TEST(CZeString, EditsInPlace)
{
    CZeString s = U16(u"abcdef");
    const CZeString copy = s;
    s.truncate(4);
    s.chop(1);
    EXPECT_EQ(u16(s), u"abc");
    s.chop(10);
    EXPECT_EQ(shown(s), "");
    s.fill(CZeChar(u'#'), 3);
    EXPECT_EQ(u16(s), u"###");
    s.setUnicode(reinterpret_cast<const CZeChar*>(u"bye"), 3);
    s.setUnicode(s.unicode() + 1, 2); // its own units
    EXPECT_EQ(u16(s), u"ye");
    EXPECT_EQ(u16(copy), u"abcdef");
    s.reserve(50);
    EXPECT_GE(s.capacity(), 50);
    s.squeeze();
    EXPECT_EQ(s.capacity(), 2);
}

} // namespace
