// CZeString comparison (both case modes, lengths, surrogates) and search:
// indexOf, lastIndexOf, count, startsWith, endsWith for every operand kind.
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <random>
#include <string>

#include "CZeString.h"

#include "support/TestText.h"

namespace {

constexpr Ze::CaseSensitivity CS = Ze::CaseSensitive;
constexpr Ze::CaseSensitivity CI = Ze::CaseInsensitive;

// ---- Comparison ------------------------------------------------------------------

TEST(CZeStringCompare, CaseInsensitiveFoldsAsciiOnly)
{
    EXPECT_EQ(L1("ABC").compare(L1("abc"), CI), 0);
    EXPECT_EQ(L1("abc").compare(L1("ABD"), CI), -1);
    EXPECT_EQ(U16(u"\u00c9").compare(U16(u"\u00e9"), CI), -32); // É and é stay apart
    EXPECT_EQ(L1("Zeta").compare(L1("zetA"), CI), 0);
    EXPECT_EQ(L1("[").compare(L1("a"), CI), '[' - 'a'); // '[' sits between 'Z' and 'a'
    EXPECT_EQ(L1("@").compare(L1("`"), CI), '@' - '`');

    // Lengths: only the sign of what remains.
    EXPECT_EQ(L1("ab").compare(L1("ABCDE"), CI), -1);
    EXPECT_EQ(L1("abcde").compare(L1("AB"), CI), 1);

    // The same storage: the length difference, even for different lengths.
    const CZeString s = L1("Hello");
    EXPECT_EQ(s.compare(s, CI), 0);
    EXPECT_EQ(CZeString::compare_helper(s.unicode(), 2, s.unicode(), 5, CI), -3);
    EXPECT_EQ(CZeString::compare_helper(s.unicode(), 5, s.unicode(), 1, CI), 4);

    // Null arrays: 1 for a null first, -1 for a null second.
    EXPECT_EQ(CZeString::compare_helper(nullptr, 0, s.unicode(), 5, CI), 1);
    EXPECT_EQ(
        CZeString::compare_helper(s.unicode(), 5, static_cast<const CZeChar*>(nullptr), 0, CI), -1);
    EXPECT_EQ(CZeString::compare_helper(s.unicode(), 5, CZeLatin1String(), CI), -1);
}

TEST(CZeStringCompare, SurrogatePairsCompareByCodePoint)
{
    const CZeString grin = U16(u"\U0001F600"); // D83D DE00
    const CZeString beam = U16(u"\U0001F601"); // D83D DE01
    const CZeString bmp = units({ 0xd83d, 0xe000 }); // a high surrogate, then U+E000
    EXPECT_EQ(grin.compare(beam, CI), -1);
    // At the low-surrogate position the pair's code point (0x1F600) meets
    // U+E000 there: the order differs from the unit order.
    EXPECT_EQ(grin.compare(bmp, CI), 0x1f600 - 0xe000);
    EXPECT_EQ(grin.compare(bmp, CS), 0xde00 - 0xe000);
    // A low surrogate without a high one before it stands for itself.
    EXPECT_EQ(units({ 0x61, 0xdc00 }).compare(units({ 0x61, 0xdc01 }), CI), -1);
    EXPECT_EQ(U16(u"A\U0001F600").compare(U16(u"a\U0001F600"), CI), 0);
}

// ---- Search ----------------------------------------------------------------------

// Plain reference search over UTF-16 with the same ASCII folding.
std::u16string fold(std::u16string s)
{
    for (char16_t& c : s)
        if (c >= u'A' && c <= u'Z')
            c = char16_t(c + 0x20);
    return s;
}

TEST(CZeStringSearch, CountStartsEnds)
{
    const CZeString s = L1("aAaa");
    EXPECT_EQ(s.count(L1("aa")), 1);
    EXPECT_EQ(s.count(L1("aa"), CI), 3); // overlapping matches count
    EXPECT_EQ(s.count(CZeChar('a')), 3);
    EXPECT_EQ(s.count(CZeChar('a'), CI), 4);
    EXPECT_EQ(s.count(L1("")), 5);
    EXPECT_EQ(s.count(L1("x")), 0);
    const CZeString needle = L1("Aa");
    EXPECT_EQ(s.count(needle.leftRef(2)), 1);
    EXPECT_EQ(s.count(needle.leftRef(2), CI), 3);

    const CZeString path = L1("Frame.NV12");
    EXPECT_TRUE(path.startsWith(L1("Frame")));
    EXPECT_FALSE(path.startsWith(L1("frame")));
    EXPECT_TRUE(path.startsWith(L1("frame"), CI));
    EXPECT_TRUE(path.startsWith(CZeLatin1String("FRAME."), CI));
    EXPECT_TRUE(path.startsWith(CZeChar('F')));
    EXPECT_TRUE(path.startsWith(CZeChar('f'), CI));
    EXPECT_TRUE(path.startsWith(needle.leftRef(0)));
    EXPECT_TRUE(path.endsWith(L1(".nv12"), CI));
    EXPECT_FALSE(path.endsWith(L1(".nv12")));
    EXPECT_TRUE(path.endsWith(CZeLatin1String("12")));
    EXPECT_TRUE(path.endsWith(CZeChar('2')));
    EXPECT_TRUE(path.endsWith(path.midRef(6)));
    EXPECT_FALSE(path.endsWith(L1("xFrame.NV12")));
    EXPECT_TRUE(CZeString().startsWith(L1("")));
    EXPECT_FALSE(CZeString().startsWith(CZeChar('a')));
    EXPECT_FALSE(CZeString().endsWith(CZeChar(0)));
    EXPECT_TRUE(path.contains(L1("nv"), CI));
}

TEST(CZeStringSearch, AgreesWithAPlainSearch)
{
    std::mt19937 rng(5);
    const char16_t alphabet[] = u"aAbB\u00e9\U0001F600";
    for (int round = 0; round < 3000; ++round) {
        std::u16string hay, needle;
        for (int i = int(rng() % 12); i > 0; --i)
            hay += alphabet[rng() % 7];
        for (int i = int(rng() % 4); i > 0; --i)
            needle += alphabet[rng() % 7];
        const CZeString h = CZeString::fromUtf16(hay.c_str(), int(hay.size()));
        const CZeString w = CZeString::fromUtf16(needle.c_str(), int(needle.size()));
        for (Ze::CaseSensitivity cs : { CS, CI }) {
            const std::u16string hh = cs == CI ? fold(hay) : hay;
            const std::u16string ww = cs == CI ? fold(needle) : needle;
            const int from = int(rng() % 14) - 2;
            const int start = from < 0 ? std::max(0, from + int(hay.size())) : from;
            const size_t expected
                = size_t(start) > hh.size() ? std::u16string::npos : hh.find(ww, size_t(start));
            EXPECT_EQ(
                h.indexOf(w, from, cs), expected == std::u16string::npos ? -1 : int(expected));
            int n = 0;
            for (size_t p = hh.find(ww); p != std::u16string::npos; p = hh.find(ww, p + 1))
                ++n;
            EXPECT_EQ(h.count(w, cs), n);
            const size_t last = hh.rfind(ww);
            EXPECT_EQ(h.lastIndexOf(w, int(hay.size()), cs),
                last == std::u16string::npos ? -1 : int(last));
            // A case-insensitive match is a case-insensitive comparison of 0.
            const int at = h.indexOf(w, 0, cs);
            if (at >= 0) {
                EXPECT_EQ(CZeString::compare_helper(
                              h.unicode() + at, w.size(), w.unicode(), w.size(), cs),
                    0);
            }
            EXPECT_EQ(h.startsWith(w, cs), hh.compare(0, ww.size(), ww) == 0);
        }
    }
}

TEST(CZeStringSearch, LastIndexOfAndOtherOperands)
{
    const CZeString s = L1("abcABCabc");
    EXPECT_EQ(s.lastIndexOf(L1("bc")), 7);
    EXPECT_EQ(s.lastIndexOf(L1("BC"), 6, Ze::CaseInsensitive), 4);
    EXPECT_EQ(s.lastIndexOf(L1("bc"), -3), 1); // -3 is index 6
    EXPECT_EQ(s.lastIndexOf(CZeLatin1String("A"), -1, Ze::CaseInsensitive), 6);
    EXPECT_EQ(s.lastIndexOf(CZeChar('C'), 7, Ze::CaseInsensitive), 5);
    EXPECT_EQ(s.lastIndexOf(L1("-ab-").midRef(1, 2)), 6);
    EXPECT_EQ(s.lastIndexOf(L1(""), 100), 9);

    const CZeString cafe = U16(u"caf\u00e9");
    EXPECT_EQ(cafe.compare(CZeLatin1String("CAF\xc9"), Ze::CaseInsensitive), 0x20);
    EXPECT_EQ(CZeString::compare_helper(cafe.unicode(), cafe.size(), "CAF\xc3\xa9", 5,
                                        Ze::CaseInsensitive),
              0);
    EXPECT_LT(CZeString::compare_helper(cafe.unicode(), cafe.size(), "caf\xff", -1), 0);
    EXPECT_TRUE(L1("abc") < CZeLatin1String("abd") && CZeLatin1String("abd") > L1("abc"));
}

} // namespace
