// CZeString editing by content: split, sections, sub-strings and views,
// justification, replacement, removal, repetition, trimming and case.
#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <string>
#include <vector>

#include "CZeString.h"

#include "support/TestText.h"

namespace {

template <typename Parts> std::vector<std::string> texts(const Parts& parts)
{
    std::vector<std::string> result;
    for (const auto& p : parts) {
        const CZeString s = CZeString(p.unicode(), p.size());
        result.push_back(latin(s));
    }
    return result;
}

using Texts = std::vector<std::string>;
constexpr Ze::CaseSensitivity CI = Ze::CaseInsensitive;
constexpr CZeString::SplitBehavior Skip = CZeString::SkipEmptyParts;

// ---- Split -----------------------------------------------------------------------

TEST(CZeStringSplit, AgreesWithAPlainSplit)
{
    std::mt19937 rng(9);
    for (int round = 0; round < 2000; ++round) {
        std::string text, sep;
        for (int i = int(rng() % 10); i > 0; --i)
            text += "ab,"[rng() % 3];
        for (int i = 1 + int(rng() % 2); i > 0; --i)
            sep += "ab,"[rng() % 3];
        Texts expected;
        size_t start = 0, hit;
        while ((hit = text.find(sep, start)) != std::string::npos) {
            expected.push_back(text.substr(start, hit - start));
            start = hit + sep.size();
        }
        expected.push_back(text.substr(start));
        EXPECT_EQ(texts(L1(text.c_str()).split(L1(sep.c_str()))), expected) << text << " / " << sep;
    }
}

// ---- Sections ------------------------------------------------------------------------

TEST(CZeStringSection, RangesAndFlags)
{
    const CZeString path = L1("/usr/local/lib/libze.so");
    EXPECT_EQ(latin(path.section(CZeChar('/'), 1, 1)), "usr");
    EXPECT_EQ(latin(path.section(CZeChar('/'), 1)), "usr/local/lib/libze.so"); // to the last
    EXPECT_EQ(latin(path.section(CZeChar('/'), 2, 3)), "local/lib");
    EXPECT_EQ(latin(path.section(CZeChar('/'), -1)), "libze.so");
    EXPECT_EQ(latin(path.section(CZeChar('/'), -2, -1)), "lib/libze.so");
    EXPECT_EQ(latin(path.section(CZeChar('/'), 0, 1)), "/usr");
    EXPECT_EQ(latin(path.section(CZeChar('/'), 2, 100)), "local/lib/libze.so");
    EXPECT_TRUE(path.section(CZeChar('/'), 3, 2).isNull());
    EXPECT_TRUE(path.section(CZeChar('/'), 9).isNull());
    EXPECT_TRUE(path.section(CZeChar('/'), 0, 0).isEmpty()); // the empty first section
    EXPECT_FALSE(path.section(CZeChar('/'), 0, 0).isNull());

    const int lead = CZeString::SectionIncludeLeadingSep;
    const int trail = CZeString::SectionIncludeTrailingSep;
    EXPECT_EQ(latin(path.section(CZeChar('/'), 2, 2, lead)), "/local");
    EXPECT_EQ(latin(path.section(CZeChar('/'), 2, 2, trail)), "local/");
    EXPECT_EQ(latin(path.section(CZeChar('/'), -1, -1, trail)), "libze.so"); // nothing after
    EXPECT_EQ(latin(path.section(CZeChar('/'), 0, 0, lead)), ""); // nothing before

    // Skipping empty sections renumbers them; the text between is kept as it stands.
    const CZeString fields = L1(",,a,,b,c,");
    const int skip = CZeString::SectionSkipEmpty;
    EXPECT_EQ(latin(fields.section(CZeChar(','), 0, 0, skip)), "a");
    EXPECT_EQ(latin(fields.section(CZeChar(','), 1, 1, skip)), "b");
    EXPECT_EQ(latin(fields.section(CZeChar(','), 0, 1, skip)), "a,,b");
    EXPECT_EQ(latin(fields.section(CZeChar(','), -1, -1, skip)), "c");
    EXPECT_EQ(latin(fields.section(CZeChar(','), -1, -1, skip | lead | trail)), ",c,");
    EXPECT_EQ(latin(fields.section(CZeChar(','), -1)), "");

    // Separators of several units, matched with or without case.
    const CZeString words = L1("oneANDtwoandthree");
    EXPECT_EQ(latin(words.section(L1("and"), 1)), "three");
    EXPECT_EQ(latin(words.section(L1("and"), 1, 1, CZeString::SectionCaseInsensitiveSeps)), "two");
    EXPECT_EQ(
        latin(words.section(L1("and"), 1, 1, CZeString::SectionCaseInsensitiveSeps | lead | trail)),
        "ANDtwoand"); // the separators as they stand in the text
    EXPECT_TRUE(CZeString().section(CZeChar(','), 0).isNull());
}

// ---- Sub-strings and views -------------------------------------------------------------

TEST(CZeStringSubstrings, LeftRightMid)
{
    const CZeString s = L1("abcdef");
    EXPECT_EQ(latin(s.left(2)), "ab");
    EXPECT_TRUE(s.left(6).isSharedWith(s));
    EXPECT_TRUE(s.left(-1).isSharedWith(s));
    EXPECT_TRUE(s.left(0).isEmpty());
    EXPECT_FALSE(s.left(0).isNull());
    EXPECT_EQ(latin(s.right(2)), "ef");
    EXPECT_TRUE(s.right(100).isSharedWith(s));
    EXPECT_EQ(latin(s.mid(2)), "cdef");
    EXPECT_EQ(latin(s.mid(2, 2)), "cd");
    EXPECT_EQ(latin(s.mid(4, 100)), "ef");
    EXPECT_EQ(latin(s.mid(-2, 4)), "ab"); // starts at 0, two units shorter
    EXPECT_TRUE(s.mid(-2, 1).isEmpty());
    EXPECT_TRUE(s.mid(-2).isSharedWith(s));
    EXPECT_TRUE(s.mid(6).isEmpty());
    EXPECT_FALSE(s.mid(6).isNull());
    EXPECT_TRUE(s.mid(7).isNull());
    EXPECT_TRUE(s.mid(0, -5).isSharedWith(s));
    EXPECT_EQ(latin(s.mid(1, INT_MAX)), "bcdef");
    EXPECT_EQ(latin(s.mid(INT_MIN + 1, INT_MAX)), "");

    const CZeStringRef l = s.leftRef(3), r = s.rightRef(2), m = s.midRef(1, 3);
    EXPECT_EQ(l.position(), 0);
    EXPECT_EQ(l.size(), 3);
    EXPECT_EQ(r.position(), 4);
    EXPECT_EQ(r.size(), 2);
    EXPECT_EQ(m.position(), 1);
    EXPECT_EQ(m.size(), 3);
    EXPECT_EQ(m.string(), &s);
    EXPECT_EQ(s.leftRef(-1).size(), 6);
    EXPECT_EQ(s.rightRef(99).position(), 0);
    EXPECT_EQ(s.midRef(-2, 4).size(), 2);
    EXPECT_TRUE(s.midRef(7).isNull());
    EXPECT_EQ(s.midRef(6).size(), 0);
}

// ---- Replace and remove --------------------------------------------------------------------

// A plain replace-all to check against.
std::string replaceAll(std::string text, const std::string& before, const std::string& after)
{
    std::string result;
    size_t start = 0;
    if (before.empty()) {
        for (char c : text)
            result += after + c;
        return result + after;
    }
    size_t hit;
    while ((hit = text.find(before, start)) != std::string::npos) {
        result += text.substr(start, hit - start) + after;
        start = hit + before.size();
    }
    return result + text.substr(start);
}

TEST(CZeStringReplace, AgreesWithAPlainReplace)
{
    std::mt19937 rng(3);
    for (int round = 0; round < 4000; ++round) {
        std::string text, before, after;
        for (int i = int(rng() % 700); i > 0; --i)
            text += "aab"[rng() % 3];
        for (int i = int(rng() % 3); i > 0; --i)
            before += "ab"[rng() % 2];
        for (int i = int(rng() % 4); i > 0; --i)
            after += "xab"[rng() % 3];
        CZeString s = L1(text.c_str());
        const CZeString keep = round % 2 ? s : CZeString(); // sometimes shared
        s.replace(L1(before.c_str()), L1(after.c_str()));
        ASSERT_EQ(latin(s), replaceAll(text, before, after))
            << text << " / " << before << " / " << after;
        EXPECT_EQ(s.unicode()[s.size()].unicode(), 0);
        if (round % 2) {
            EXPECT_EQ(latin(keep), text);
        }
    }
}

TEST(CZeStringReplace, Remove)
{
    CZeString s = L1("Banana");
    EXPECT_EQ(latin(s.remove(L1("an"))), "Ba");
    s = L1("Banana");
    EXPECT_EQ(latin(s.remove(CZeChar('a'))), "Bnn");
    s = L1("Banana");
    EXPECT_EQ(latin(s.remove(CZeChar('B'), CI)), "anana");
    EXPECT_EQ(latin(s.remove(CZeChar('A'), CI)), "nn");
    EXPECT_EQ(latin(s.remove(L1(""))), "nn");
    const CZeString shared = s;
    s.remove(CZeChar('n'));
    EXPECT_TRUE(s.isEmpty());
    EXPECT_EQ(latin(shared), "nn");
    EXPECT_EQ(latin(s.remove(0, 3)), ""); // the positional form is still there
}

// ---- Repetition, white space, case ----------------------------------------------------------

TEST(CZeStringEdit, TrimmedAndSimplified)
{
    EXPECT_EQ(latin(L1("  \t a b \n").trimmed()), "a b");
    EXPECT_EQ(u16(U16(u"\u3000\u00a0x\u2029\u0085").trimmed()), u"x");
    EXPECT_EQ(u16(U16(u"\u200bx").trimmed()), u"\u200bx"); // a zero-width space is no space
    const CZeString clean = L1("a b");
    EXPECT_TRUE(clean.trimmed().isSharedWith(clean));
    EXPECT_TRUE(L1(" \t ").trimmed().isEmpty());
    EXPECT_FALSE(L1(" ").trimmed().isNull());

    EXPECT_EQ(latin(L1("  lots\t of\nspace  ").simplified()), "lots of space");
    EXPECT_EQ(latin(L1("a\tb").simplified()), "a b");
    EXPECT_TRUE(clean.simplified().isSharedWith(clean));
    EXPECT_TRUE(L1("   ").simplified().isEmpty());

    // The rvalue forms edit in place when the string is not shared, and leave
    // a shared block alone.
    CZeString own = L1("  edit me  ");
    const CZeChar* block = own.unicode();
    const CZeString trimmed = static_cast<CZeString&&>(own).trimmed();
    EXPECT_EQ(latin(trimmed), "edit me");
    EXPECT_EQ(trimmed.unicode(), block);
    CZeString shared = L1("  x  y ");
    const CZeString other = shared;
    EXPECT_EQ(latin(static_cast<CZeString&&>(shared).simplified()), "x y");
    EXPECT_EQ(latin(other), "  x  y ");
    EXPECT_EQ(latin(CZeString::fromRawData(other.unicode(), 3).trimmed()), "x");
}

TEST(CZeStringEdit, CaseMapping)
{
    EXPECT_EQ(u16(U16(u"Caf\u00c9 \u00d7\u00de\u0100").toLower()), u"caf\u00e9 \u00d7\u00fe\u0100");
    EXPECT_EQ(u16(U16(u"caf\u00e9 \u00f7\u00ff\u00df").toUpper()), u"CAF\u00c9 \u00f7\u00ff\u00df");
    const CZeString lower = L1("already");
    EXPECT_TRUE(lower.toLower().isSharedWith(lower));
    const CZeString shared = L1("MiXed");
    const CZeString copy = shared;
    EXPECT_EQ(latin(static_cast<CZeString>(shared).toUpper()), "MIXED");
    EXPECT_EQ(latin(CZeString(copy).toLower()), "mixed");
    EXPECT_EQ(latin(shared), "MiXed");
    CZeString own = L1("OWN");
    const CZeChar* block = own.unicode();
    const CZeString mapped = static_cast<CZeString&&>(own).toLower();
    EXPECT_EQ(mapped.unicode(), block);
    EXPECT_EQ(latin(mapped), "own");
}

TEST(CZeStringEdit, JustifyReplaceAndRepeat)
{
    const CZeString abc = L1("abc");
    EXPECT_EQ(latin(abc.leftJustified(5, CZeChar('.'))), "abc..");
    EXPECT_EQ(latin(abc.rightJustified(5, CZeChar('.'))), "..abc");
    EXPECT_EQ(latin(abc.rightJustified(2, CZeChar('.'), true)), "ab");
    const char16_t withZero[] = {u'a', u'b', 0, u'c'};
    const CZeString z(reinterpret_cast<const CZeChar*>(withZero), 4);
    EXPECT_EQ(u16(z.leftJustified(-1, CZeChar('.'), true)), u"ab"); // up to the first 0 unit

    CZeString s = L1("hello world");
    EXPECT_EQ(latin(s.replace(0, 5, L1("goodbye"))), "goodbye world");
    EXPECT_EQ(latin(s.replace(8, 100, CZeChar('W'))), "goodbye W");
    EXPECT_EQ(latin(s.replace(1, 6, s.unicode() + 8, 1)), "gW W"); // its own units
    EXPECT_EQ(latin(s.replace(12, 1, L1("x"))), "gW W");           // past the end: nothing

    EXPECT_EQ(latin(abc.repeated(3)), "abcabcabc");
    EXPECT_TRUE(abc.repeated(INT_MAX).isNull()); // too large
    EXPECT_TRUE(L1("plain Latin-1 \xe9").isSimpleText());
    EXPECT_FALSE(U16(u"a\u0627").isSimpleText()); // Arabic
}

} // namespace
