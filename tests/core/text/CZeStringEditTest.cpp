// CZeString editing by content: split, sections, sub-strings and views,
// justification, replacement, removal, repetition, trimming and case.
#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <string>

#include "CZeString.h"
#include "support/TestText.h"

namespace {

constexpr Ze::CaseSensitivity CI = Ze::CaseInsensitive;

// Parts, each behind a '|': {"a", ""} reads "|a|", no parts at all "".
template <typename Parts> std::string joined(const Parts& parts)
{
    std::string result;
    for (const auto& p : parts)
        result += "|" + latin(CZeString(p.unicode(), p.size()));
    return result;
}

// Random texts split by a separator of one or two units, keeping and skipping
// empty parts, as strings and as views, against a plain split.
TEST(CZeStringSplit, AgreesWithAPlainSplit)
{
    std::mt19937 rng(9);
    for (int round = 0; round < 2000; ++round) {
        std::string text, sep, kept, skipped;
        for (int i = int(rng() % 10); i > 0; --i)
            text += "ab,"[rng() % 3];
        for (int i = 1 + int(rng() % 2); i > 0; --i)
            sep += "ab,"[rng() % 3];
        for (size_t start = 0, end = 0; end != std::string::npos; start = end + sep.size()) {
            end = text.find(sep, start);
            const std::string part = text.substr(start, end - start);
            kept += "|" + part;
            skipped += part.empty() ? "" : "|" + part;
        }
        SCOPED_TRACE(text + " / " + sep);
        const CZeString s = L1(text.c_str()), by = L1(sep.c_str());
        EXPECT_EQ(joined(s.split(by)), kept);
        EXPECT_EQ(joined(s.split(by, CZeString::SkipEmptyParts)), skipped);
        EXPECT_EQ(joined(s.splitRef(by, CZeString::SkipEmptyParts)), skipped);
        if (sep.size() == 1) {
            EXPECT_EQ(joined(s.split(by.unicode()[0])), kept);
            EXPECT_EQ(joined(s.splitRef(by.unicode()[0])), kept);
        }
    }
}

TEST(CZeStringSection, RangesAndFlags)
{
    const CZeString path = L1("/usr/local/lib/libze.so");
    const CZeChar slash('/');
    const int lead = CZeString::SectionIncludeLeadingSep;
    const int trail = CZeString::SectionIncludeTrailingSep;
    EXPECT_EQ(shown(path.section(slash, 1, 1)), "usr");
    EXPECT_EQ(shown(path.section(slash, 1)), "usr/local/lib/libze.so"); // to the last
    EXPECT_EQ(shown(path.section(slash, 2, 3)), "local/lib");
    EXPECT_EQ(shown(path.section(slash, -2, -1)), "lib/libze.so");
    EXPECT_EQ(shown(path.section(slash, 0, 1)), "/usr");
    EXPECT_EQ(shown(path.section(slash, 2, 100)), "local/lib/libze.so");
    EXPECT_EQ(shown(path.section(slash, 3, 2)), "<null>");
    EXPECT_EQ(shown(path.section(slash, 0, 0)), ""); // the empty first section
    EXPECT_EQ(shown(path.section(slash, 2, 2, lead)), "/local");
    EXPECT_EQ(shown(path.section(slash, 2, 2, trail)), "local/");
    EXPECT_EQ(shown(path.section(slash, -1, -1, trail)), "libze.so"); // nothing after
    EXPECT_EQ(shown(path.section(slash, 0, 0, lead)), ""); // nothing before
    EXPECT_EQ(shown(CZeString().section(CZeChar(','), 0)), "<null>");

    // Skipping empty sections renumbers them; the text between is kept as it stands.
    const CZeString fields = L1(",,a,,b,c,");
    const int skip = CZeString::SectionSkipEmpty;
    EXPECT_EQ(shown(fields.section(CZeChar(','), 0, 0, skip)), "a");
    EXPECT_EQ(shown(fields.section(CZeChar(','), 0, 1, skip)), "a,,b");
    EXPECT_EQ(shown(fields.section(CZeChar(','), -1, -1, skip)), "c");
    EXPECT_EQ(shown(fields.section(CZeChar(','), -1, -1, skip | lead | trail)), ",c,");
    EXPECT_EQ(shown(fields.section(CZeChar(','), -1)), "");

    // Separators of several units, matched with or without case; the ones kept
    // are those in the text.
    const CZeString words = L1("oneANDtwoandthree");
    const int ci = CZeString::SectionCaseInsensitiveSeps;
    EXPECT_EQ(shown(words.section(L1("and"), 1)), "three");
    EXPECT_EQ(shown(words.section(L1("and"), 1, 1, ci)), "two");
    EXPECT_EQ(shown(words.section(L1("and"), 1, 1, ci | lead | trail)), "ANDtwoand");
}

// A view as "position+size", or <null>.
std::string span(const CZeStringRef& r)
{
    return r.isNull() ? "<null>" : std::to_string(r.position()) + "+" + std::to_string(r.size());
}

TEST(CZeStringSubstrings, LeftRightMid)
{
    const CZeString s = L1("abcdef");
    EXPECT_EQ(shown(s.left(2)), "ab");
    EXPECT_EQ(shown(s.left(0)), "");
    EXPECT_EQ(shown(s.right(2)), "ef");
    EXPECT_EQ(shown(s.mid(2)), "cdef");
    EXPECT_EQ(shown(s.mid(2, 2)), "cd");
    EXPECT_EQ(shown(s.mid(4, 100)), "ef");
    EXPECT_EQ(shown(s.mid(-2, 4)), "ab"); // starts at 0, two units shorter
    EXPECT_EQ(shown(s.mid(-2, 1)), "");
    EXPECT_EQ(shown(s.mid(6)), "");
    EXPECT_EQ(shown(s.mid(7)), "<null>");
    EXPECT_EQ(shown(s.mid(1, INT_MAX)), "bcdef");
    EXPECT_EQ(shown(s.mid(INT_MIN + 1, INT_MAX)), "");
    for (const CZeString& whole : { s.left(6), s.left(-1), s.right(100), s.mid(-2), s.mid(0, -5) })
        EXPECT_TRUE(whole.isSharedWith(s));

    EXPECT_EQ(span(s.leftRef(3)), "0+3");
    EXPECT_EQ(span(s.rightRef(2)), "4+2");
    EXPECT_EQ(span(s.midRef(1, 3)), "1+3");
    EXPECT_EQ(span(s.leftRef(-1)), "0+6");
    EXPECT_EQ(span(s.rightRef(99)), "0+6");
    EXPECT_EQ(span(s.midRef(-2, 4)), "0+2");
    EXPECT_EQ(span(s.midRef(6)), "6+0");
    EXPECT_EQ(span(s.midRef(7)), "<null>");
    EXPECT_EQ(s.midRef(1, 3).string(), &s);
}

// A plain replace-all to check against.
std::string replaceAll(const std::string& text, const std::string& before, const std::string& after)
{
    std::string result;
    if (before.empty()) {
        for (char c : text)
            result += after + c;
        return result + after;
    }
    size_t start = 0, hit;
    for (; (hit = text.find(before, start)) != std::string::npos; start = hit + before.size())
        result += text.substr(start, hit - start) + after;
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
        EXPECT_TRUE(terminated(s));
        EXPECT_TRUE(round % 2 == 0 || latin(keep) == text);
    }
}

TEST(CZeStringReplace, Remove)
{
    CZeString s = L1("Banana");
    EXPECT_EQ(latin(CZeString(s).remove(L1("an"))), "Ba");
    EXPECT_EQ(latin(CZeString(s).remove(CZeChar('a'))), "Bnn");
    EXPECT_EQ(latin(s.remove(CZeChar('B'), CI).remove(CZeChar('A'), CI).remove(L1(""))), "nn");
    const CZeString shared = s;
    EXPECT_TRUE(s.remove(CZeChar('n')).isEmpty());
    EXPECT_EQ(latin(shared), "nn");
}

TEST(CZeStringEdit, TrimmedAndSimplified)
{
    EXPECT_EQ(latin(L1("  \t a b \n").trimmed()), "a b");
    EXPECT_EQ(u16(U16(u"\u3000\u00a0x\u2029\u0085").trimmed()), u"x");
    EXPECT_EQ(u16(U16(u"\u200bx").trimmed()), u"\u200bx"); // a zero-width space is no space
    EXPECT_EQ(shown(L1(" \t ").trimmed()), "");
    EXPECT_EQ(latin(L1("  lots\t of\nspace  ").simplified()), "lots of space");
    EXPECT_EQ(latin(L1("a\tb").simplified()), "a b");
    EXPECT_TRUE(L1("   ").simplified().isEmpty());
    const CZeString clean = L1("a b");
    EXPECT_TRUE(clean.trimmed().isSharedWith(clean));
    EXPECT_TRUE(clean.simplified().isSharedWith(clean));

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
    EXPECT_EQ(latin(CZeString(shared).toUpper()), "MIXED"); // shared: copied
    EXPECT_EQ(latin(CZeString(shared).toLower()), "mixed");
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
    EXPECT_EQ(latin(abc.leftJustified(2, CZeChar('.'))), "abc");
    EXPECT_EQ(latin(abc.rightJustified(5, CZeChar('.'))), "..abc");
    EXPECT_EQ(latin(abc.rightJustified(2, CZeChar('.'), true)), "ab");
    const CZeString z = units({ u'a', u'b', 0, u'c' });
    EXPECT_EQ(u16(z.leftJustified(-1, CZeChar('.'), true)), u"ab"); // up to the first 0 unit

    CZeString s = L1("hello world");
    EXPECT_EQ(latin(s.replace(0, 5, L1("goodbye"))), "goodbye world");
    EXPECT_EQ(latin(s.replace(8, 100, CZeChar('W'))), "goodbye W");
    EXPECT_EQ(latin(s.replace(1, 6, s.unicode() + 8, 1)), "gW W"); // its own units
    EXPECT_EQ(latin(s.replace(12, 1, L1("x"))), "gW W"); // past the end: nothing

    EXPECT_EQ(latin(abc.repeated(3)), "abcabcabc");
    EXPECT_TRUE(abc.repeated(INT_MAX).isNull()); // too large
    EXPECT_TRUE(L1("plain Latin-1 \xe9").isSimpleText());
    EXPECT_FALSE(U16(u"a\u0627").isSimpleText()); // Arabic
}

} // namespace
