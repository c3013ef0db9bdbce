// CZeString comparison (both case modes, lengths, surrogates) and search:
// indexOf, lastIndexOf, count, startsWith, endsWith for every operand kind,
// checked against a plain search over UTF-16.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "CZeString.h"
#include "support/TestText.h"

namespace {

constexpr Ze::CaseSensitivity CS = Ze::CaseSensitive;
constexpr Ze::CaseSensitivity CI = Ze::CaseInsensitive;

TEST(CZeStringCompare, CaseInsensitiveFoldsAsciiOnly)
{
    EXPECT_EQ(L1("ABC").compare(L1("abc"), CI), 0);
    EXPECT_EQ(L1("abc").compare(L1("ABD"), CI), -1);
    EXPECT_EQ(U16(u"\u00c9").compare(U16(u"\u00e9"), CI), -32); // É and é stay apart
    EXPECT_EQ(L1("[").compare(L1("a"), CI), '[' - 'a'); // '[' sits between 'Z' and 'a'
    EXPECT_EQ(L1("@").compare(L1("`"), CI), '@' - '`');
    EXPECT_EQ(L1("ab").compare(L1("ABCDE"), CI), -1); // lengths: only the sign
    EXPECT_EQ(L1("abcde").compare(L1("AB"), CI), 1);
    EXPECT_EQ(L1("ab").compare(L1("abc"), CS), -1);
    EXPECT_EQ(L1("abd").compare(L1("abc"), CS), 1);

    // The same storage: the length difference, even for different lengths.
    const CZeString s = L1("Hello");
    EXPECT_EQ(s.compare(s, CI), 0);
    EXPECT_EQ(CZeString::compare_helper(s.unicode(), 2, s.unicode(), 5, CI), -3);
    EXPECT_EQ(CZeString::compare_helper(nullptr, 0, s.unicode(), 5, CI), 1);
    EXPECT_EQ(
        CZeString::compare_helper(s.unicode(), 5, static_cast<const CZeChar*>(nullptr), 0, CI), -1);
    EXPECT_EQ(CZeString::compare_helper(s.unicode(), 5, CZeLatin1String(), CI), -1);

    const CZeString cafe = U16(u"caf\u00e9");
    EXPECT_EQ(cafe.compare(CZeLatin1String("CAF\xc9"), CI), 0x20);
    EXPECT_EQ(CZeString::compare_helper(cafe.unicode(), 4, "CAF\xc3\xa9", 5, CI), 0); // UTF-8
    EXPECT_LT(CZeString::compare_helper(cafe.unicode(), 4, "caf\xff", -1), 0);
    EXPECT_TRUE(L1("abc") < CZeLatin1String("abd") && CZeLatin1String("abd") > L1("abc"));
}

TEST(CZeStringCompare, SurrogatePairsCompareByCodePoint)
{
    const CZeString grin = U16(u"\U0001F600"); // D83D DE00
    const CZeString bmp = units({ 0xd83d, 0xe000 }); // a high surrogate, then U+E000
    EXPECT_EQ(grin.compare(U16(u"\U0001F601"), CI), -1);
    // At the low-surrogate position the pair's code point meets U+E000.
    EXPECT_EQ(grin.compare(bmp, CI), 0x1f600 - 0xe000);
    EXPECT_EQ(grin.compare(bmp, CS), 0xde00 - 0xe000);
    // A low surrogate without a high one before it stands for itself.
    EXPECT_EQ(units({ 0x61, 0xdc00 }).compare(units({ 0x61, 0xdc01 }), CI), -1);
    EXPECT_EQ(U16(u"A\U0001F600").compare(U16(u"a\U0001F600"), CI), 0);
}

std::u16string foldAscii(std::u16string s)
{
    for (char16_t& c : s)
        if (c >= u'A' && c <= u'Z')
            c = char16_t(c + 0x20);
    return s;
}

// Every search against std::u16string on the same text with ASCII folded, for
// every operand kind the needle can take: a string, a view into another
// string, Latin-1 text when it fits, and a single unit.
TEST(CZeStringSearch, AgreesWithAPlainSearch)
{
    std::mt19937 rng(5);
    const char16_t alphabet[] = u"aAbB\u00e9\U0001F600";
    const auto position = [](size_t p) { return p == std::u16string::npos ? -1 : int(p); };
    for (int round = 0; round < 3000; ++round) {
        std::u16string hay, needle;
        for (int i = int(rng() % 12); i > 0; --i)
            hay += alphabet[rng() % 7];
        for (int i = int(rng() % 4); i > 0; --i)
            needle += alphabet[rng() % 7];
        const CZeString h = CZeString::fromUtf16(hay.c_str(), int(hay.size()));
        const CZeString w = CZeString::fromUtf16(needle.c_str(), int(needle.size()));
        const CZeString framed = U16((u"<" + needle + u">").c_str());
        const CZeByteArray latin1 = w.toLatin1();
        const bool fitsLatin1
            = std::all_of(needle.begin(), needle.end(), [](char16_t c) { return c < 0x100; });
        const int n = int(hay.size()), m = int(needle.size());
        for (Ze::CaseSensitivity cs : { CS, CI }) {
            SCOPED_TRACE(latin(h) + " / " + latin(w) + (cs == CI ? " CI" : " CS"));
            const std::u16string hh = cs == CI ? foldAscii(hay) : hay;
            const std::u16string ww = cs == CI ? foldAscii(needle) : needle;
            const int from = int(rng() % 14) - 2, lastFrom = int(rng() % 16) - 4;
            const int start = from < 0 ? std::max(0, from + n) : from;
            const int index = start > n ? -1 : position(hh.find(ww, size_t(start)));
            const int lastStart = std::min(lastFrom < 0 ? lastFrom + n : lastFrom, n - m);
            const int last = lastStart < 0 ? -1 : position(hh.rfind(ww, size_t(lastStart)));
            int count = 0;
            for (size_t p = hh.find(ww); p != std::u16string::npos; p = hh.find(ww, p + 1))
                ++count;
            const bool starts = hh.compare(0, ww.size(), ww) == 0;
            const bool ends = m <= n && hh.compare(size_t(n - m), ww.size(), ww) == 0;
            const auto expectAll = [&](const auto& operand, const char* kind) {
                SCOPED_TRACE(kind);
                EXPECT_EQ(h.indexOf(operand, from, cs), index);
                EXPECT_EQ(h.lastIndexOf(operand, lastFrom, cs), last);
                EXPECT_EQ(h.startsWith(operand, cs), starts);
                EXPECT_EQ(h.endsWith(operand, cs), ends);
            };
            expectAll(w, "string");
            expectAll(framed.midRef(1, m), "view");
            EXPECT_EQ(h.count(w, cs), count);
            EXPECT_EQ(h.count(framed.midRef(1, m), cs), count);
            EXPECT_EQ(h.contains(w, cs), count > 0);
            if (fitsLatin1)
                expectAll(CZeLatin1String(latin1.constData(), m), "latin-1");
            if (m == 1) {
                expectAll(w.unicode()[0], "unit");
                EXPECT_EQ(h.count(w.unicode()[0], cs), count);
            }
            // A match is where a comparison of the same length gives 0.
            const int at = std::max(index, 0);
            EXPECT_TRUE(index < 0
                || CZeString::compare_helper(h.unicode() + at, m, w.unicode(), m, cs) == 0);
            if (HasFailure())
                return;
        }
    }
    EXPECT_TRUE(CZeString().startsWith(L1("")));
    EXPECT_FALSE(CZeString().startsWith(CZeChar('a')));
    EXPECT_FALSE(CZeString().endsWith(CZeChar(0))); // the terminator is not text
}

} // namespace
