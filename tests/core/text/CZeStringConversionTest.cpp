// Conversions of CZeString: the exact repair rules for invalid UTF-8 and
// unpaired surrogates, Latin-1, UTF-16 and UTF-32, null and empty results;
// and the text codecs, whose decoders carry unfinished UTF-8 from one input
// to the next.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "CZeString.h"
#include "CZeTextCodec.h"
#include "support/MessageCapture.h"
#include "support/TestText.h"

namespace {

struct DecodeCase {
    const char* name;
    std::string input;
    std::u16string expected;
    bool replaced;
};

TEST(CZeStringConversion, Utf8DecoderRules)
{
    const char16_t R = 0xfffd;
    const DecodeCase cases[] = {
        { "mark skipped at the start", "\xEF\xBB\xBF\x41", u"A", false },
        { "mark after text is a character", "A\xEF\xBB\xBF", u"A\uFEFF", false },
        { "mark alone", "\xEF\xBB\xBF", u"", false },
        { "second mark kept", "\xEF\xBB\xBF\xEF\xBB\xBF", u"\uFEFF", false },
        { "overlong 2-byte lead C0", "\xC0\x80", { R, R }, true },
        { "overlong 2-byte lead C1", "\xC1\xBF", { R, R }, true },
        { "overlong 3-byte", "\xE0\x80\x80", { R, R, R }, true },
        { "overlong 4-byte", "\xF0\x8F\xBF\xBF", { R, R, R, R }, true },
        { "encoded surrogate", "\xED\xA0\x80", { R, R, R }, true },
        { "encoded low surrogate", "\xED\xBF\xBF", { R, R, R }, true },
        { "above U+10FFFF", "\xF4\x90\x80\x80", { R, R, R, R }, true },
        { "lead above F4", "\xF5\x80\x80\x80", { R, R, R, R }, true },
        { "stray continuations", "a\x80\xBFz", { u'a', R, R, u'z' }, true },
        { "cut 3-byte at the end", "x\xE2\x82", { u'x', R, R }, true },
        { "cut 4-byte at the end", "\xF0\x9F\x98", { R, R, R }, true },
        { "bad continuation", "\xC3\x41", { R, u'A' }, true },
        { "bad third byte", "\xE2\x82\x41\xAC", { R, R, u'A', R }, true },
        { "smallest 2-byte", "\xC2\x80", u"\u0080", false },
        { "largest 2-byte", "\xDF\xBF", u"\u07FF", false },
        { "smallest 3-byte", "\xE0\xA0\x80", u"\u0800", false },
        { "before surrogates", "\xED\x9F\xBF", u"\uD7FF", false },
        { "after surrogates", "\xEE\x80\x80", u"\uE000", false },
        { "largest 3-byte", "\xEF\xBF\xBF", u"\uFFFF", false },
        { "smallest 4-byte", "\xF0\x90\x80\x80", u"\U00010000", false },
        { "emoji", "\xF0\x9F\x98\x80", { 0xD83D, 0xDE00 }, false },
        { "largest code point", "\xF4\x8F\xBF\xBF", { 0xDBFF, 0xDFFF }, false },
        { "embedded zero", std::string("a\0b", 3), std::u16string(u"a\0b", 3), false },
    };
    for (const DecodeCase& c : cases) {
        bool replaced = !c.replaced;
        const CZeString s
            = CZeString::fromUtf8_helper(c.input.data(), int(c.input.size()), &replaced);
        EXPECT_EQ(u16(s), c.expected) << c.name;
        EXPECT_EQ(replaced, c.replaced) << c.name;
        EXPECT_FALSE(s.isNull()) << c.name;
        EXPECT_TRUE(terminated(s)) << c.name;
        EXPECT_EQ(u16(CZeString::fromUtf8(c.input.data(), int(c.input.size()))), c.expected);
        EXPECT_EQ(u16(CZeString::fromLocal8Bit(c.input.data(), int(c.input.size()))), c.expected);
        EXPECT_EQ(u16(CZeString::fromAscii(c.input.data(), int(c.input.size()))), c.expected);
    }
}

TEST(CZeStringConversion, Utf8Encoder)
{
    struct Case {
        const char* name;
        CZeString input;
        std::string expected;
    } cases[] = {
        { "ascii", units({ 'a', 'b' }), "ab" },
        { "2-byte limits", units({ 0x80, 0x7ff }), "\xC2\x80\xDF\xBF" },
        { "3-byte limits", units({ 0x800, 0xd7ff, 0xe000, 0xffff }),
            "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF" },
        { "pair", units({ 0xd83d, 0xde00 }), "\xF0\x9F\x98\x80" },
        { "largest pair", units({ 0xdbff, 0xdfff }), "\xF4\x8F\xBF\xBF" },
        { "lone high before a letter", units({ 0xd800, 'A' }), "?A" },
        { "low then high", units({ 0xdc00, 0xd800 }), "??" },
        { "high high low", units({ 0xd800, 0xd800, 0xdc00 }), "?\xF0\x90\x80\x80" },
        { "zero unit", units({ 'a', 0, 'b' }), std::string("a\0b", 3) },
    };
    for (const Case& c : cases) {
        EXPECT_EQ(text(c.input.toUtf8()), c.expected) << c.name;
        EXPECT_EQ(text(c.input.toLocal8Bit()), c.expected) << c.name;
        EXPECT_TRUE(terminated(c.input.toUtf8())) << c.name;
    }
    EXPECT_TRUE(CZeString().toUtf8().isNull());
    EXPECT_EQ(shown(units({}).toUtf8()), "");
}

TEST(CZeStringConversion, Latin1)
{
    EXPECT_EQ(text(units({ 0xe9 }).toLatin1()), "\xE9");
    EXPECT_EQ(text(units({ 0x20ac }).toLatin1()), "?");
    EXPECT_EQ(text(units({ 0xd83d, 0xde00, 'x', 0xff, 0x100 }).toLatin1()), "??x\xFF?");
    EXPECT_TRUE(CZeString().toLatin1().isNull());
    EXPECT_FALSE(units({}).toLatin1().isNull());

    const CZeString all = CZeString::fromLatin1("\x01\x7F\x80\xA0\xFF");
    EXPECT_EQ(u16(all), u"\u0001\u007F\u0080\u00A0\u00FF");
    EXPECT_EQ(all.capacity(), 5);
    EXPECT_TRUE(CZeString::fromLatin1(static_cast<const char*>(nullptr)).isNull());
    EXPECT_FALSE(CZeString::fromLatin1("", -1).isNull());
    EXPECT_TRUE(CZeString::fromLatin1("abc", 0).isEmpty());
    EXPECT_EQ(u16(CZeString::fromLatin1("a\0b", 3)), std::u16string(u"a\0b", 3));
    EXPECT_EQ(u16(CZeString::fromLatin1(CZeByteArray("\xE9t\xE9"))), u"\u00e9t\u00e9");

    CZeString assigned = CZeString::fromLatin1("0123456789");
    const CZeChar* block = assigned.unicode();
    assigned = CZeLatin1String("\xC0\xE9");
    EXPECT_EQ(u16(assigned), u"\u00c0\u00e9");
    EXPECT_EQ(assigned.unicode(), block); // own block with room: reused
    CZeString other = assigned;
    assigned = CZeLatin1String("new");
    EXPECT_EQ(u16(other), u"\u00c0\u00e9");
}

TEST(CZeStringConversion, Utf16AndUcs4)
{
    EXPECT_TRUE(CZeString::fromUtf16(static_cast<const unsigned short*>(nullptr), 3).isNull());
    EXPECT_EQ(u16(CZeString::fromUtf16(u"ab\0c")), u"ab");
    const unsigned short lone[] = { 0xdc00, 0xd800 };
    EXPECT_EQ(u16(CZeString::fromUtf16(lone, 2)), std::u16string(u"\xdc00\xd800", 2));

    EXPECT_TRUE(CZeString::fromUcs4(nullptr, 2).isNull());
    const unsigned int cps[] = { 'a', 0x1F600, 0x110000, 0xD800, 0xDFFF, 0xFFFF, 0 };
    EXPECT_EQ(u16(CZeString::fromUcs4(cps)),
        std::u16string({ u'a', 0xD83D, 0xDE00, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFF }));
    EXPECT_EQ(shown(CZeString::fromUcs4(cps, 0)), "");

    EXPECT_EQ(units({ 0xdc00, 0xd800 }).toUcs4(), (std::vector<unsigned int> { 0xfffd, 0xfffd }));
    EXPECT_EQ(units({ 0xd800, 'a' }).toUcs4(), (std::vector<unsigned int> { 0xfffd, 'a' }));
    EXPECT_TRUE(CZeString().toUcs4().empty());

    const unsigned short mixed[] = { 'x', 0xd83d, 0xde00, 0xdc01 };
    unsigned int out[4] = { 1, 1, 1, 1 };
    EXPECT_EQ(CZeString::toUcs4_helper(mixed, 4, out), 3);
    EXPECT_EQ(out[0], unsigned('x'));
    EXPECT_EQ(out[1], 0x1F600u);
    EXPECT_EQ(out[2], 0xfffdu);
    EXPECT_EQ(out[3], 1u); // nothing written past the count
}

TEST(CZeTextCodec, NamesAndLatin1)
{
    EXPECT_EQ(CZeTextCodec::mibForName(CZeByteArray("UTF-8")), 106); // lower-cased first
    EXPECT_EQ(CZeTextCodec::mibForName(CZeByteArray("ISO-8859-1")), 4);
    EXPECT_EQ(CZeTextCodec::mibForName(CZeByteArray("csISOLatin1")), 4);
    EXPECT_EQ(CZeTextCodec::mibForName(CZeByteArray("latin1")), 0);
    EXPECT_EQ(CZeTextCodec::mibForName(CZeByteArray("utf8")), 0);
    EXPECT_EQ(CZeTextCodec::createDecoder(CZeByteArray("latin1"), 0), nullptr);
    const std::unique_ptr<CZeTextDecoder> latin1(
        CZeTextCodec::createDecoder(CZeByteArray("iso-8859-1"), 0));
    EXPECT_EQ(u16(latin1->toUnicode("\xe9t\xe9", 3)), u"\u00e9t\u00e9");
}

// A decoder fed in chunks: what each chunk gives, and the invalid count after all.
TEST(CZeTextCodec, DecoderCarriesUnfinishedSequences)
{
    using namespace std::string_literals;
    const std::u16string R = u"\ufffd";
    const struct {
        const char* name;
        int flags;
        std::vector<const char*> chunks;
        std::vector<std::u16string> out;
        int invalid;
    } rows[] = {
        { "split euro sign", 0, { "\xe2\x82", "\xac" }, { u"", u"\u20ac" }, 0 },
        { "kept lead, then no continuation", 0, { "\xe9", "A" }, { u"", R + u"A" }, 1 },
        { "three kept, each rejected", 0, { "\xf0\x9f\x98", "B" }, { u"", R + R + R + u"B" }, 3 },
        { "stray and overlong", 0, { "\x80\xc0\xaf" }, { R + R + R }, 3 },
        { "encoded surrogate", 0, { "\xed\xa0\x80" }, { R + R + R }, 3 },
        { "invalid to null", int(CZeTextCodec::ConvertInvalidToNull), { "x\xffy", "\xe2", "z" },
            { u"x\0y"s, u"", u"\0z"s }, 2 },
        { "mark split up, dropped", 0, { "\xef", "\xbb", "\xbf\x41", "\xef\xbb\xbf" },
            { u"", u"", u"A", u"\ufeff" }, 0 },
        { "mark after text", 0, { "A", "\xef\xbb\xbf" }, { u"A", u"\ufeff" }, 0 },
        { "only the first mark", 0, { "\xef\xbb\xbf\xef\xbb\xbf" }, { u"\ufeff" }, 0 },
        { "mark after invalid", 0, { "\xff\xef\xbb\xbf" }, { R + u"\ufeff" }, 1 },
        { "header ignored", int(CZeTextCodec::IgnoreHeader), { "\xef\xbb\xbf" }, { u"\ufeff" }, 0 },
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::unique_ptr<CZeTextDecoder> d(
            CZeTextCodec::createDecoder(CZeByteArray("utf-8"), row.flags));
        for (size_t i = 0; i < row.chunks.size(); ++i)
            EXPECT_EQ(u16(d->toUnicode(row.chunks[i], int(std::strlen(row.chunks[i])))), row.out[i])
                << "chunk " << i;
        EXPECT_EQ(d->invalidChars(), row.invalid);
        EXPECT_EQ(d->hasFailure(), row.invalid > 0);
    }
}

TEST(CZeTextCodec, UnsupportedMib)
{
    MessageCapture capture;
    CZeTextDecoder unknown(3);
    EXPECT_TRUE(unknown.toUnicode("abc", 3).isNull());
    const std::string message = warning(capture);
    EXPECT_TRUE(std::regex_match(
        message, std::regex(R"(CZeTextCodec\.cpp\(\d+\), toUnicode: Unsupported mib!)")))
        << message;
}

} // namespace
