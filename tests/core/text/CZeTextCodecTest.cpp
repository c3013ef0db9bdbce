// Text codecs: encoding names, decoders that carry unfinished UTF-8 sequences
// from one input to the next, invalid counting and the unknown-encoding path.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

#include "CZeTextCodec.h"
#include "support/TestText.h"
#include "support/MessageCapture.h"

namespace {

std::unique_ptr<CZeTextDecoder> decoder(const char* name, int flags = 0)
{
    return std::unique_ptr<CZeTextDecoder>(CZeTextCodec::createDecoder(CZeByteArray(name), flags));
}

CZeString feed(CZeTextDecoder& d, const char* bytes)
{
    return d.toUnicode(bytes, int(std::char_traits<char>::length(bytes)));
}

TEST(CZeTextCodec, NamesAfterLowerCasing)
{
    for (const char* name : { "utf-8", "UTF-8", "Utf-8" })
        EXPECT_EQ(CZeTextCodec::mibForName(CZeByteArray(name)), 106) << name;
    for (const char* name :
        { "iso-8859-1", "ISO-8859-1", "iso8859-1", "CP819", "ibm819", "ISO-IR-100", "csISOLatin1" })
        EXPECT_EQ(CZeTextCodec::mibForName(CZeByteArray(name)), 4) << name;
    for (const char* name :
        { "latin1", "utf8", "", "utf-8 ", "utf-16", "iso-8859-15", "UTF-8\xc0" })
        EXPECT_EQ(CZeTextCodec::mibForName(CZeByteArray(name)), 0) << name;
    EXPECT_EQ(CZeTextCodec::mibForName(CZeByteArray()), 0);
    EXPECT_EQ(CZeTextCodec::mibForName(CZeByteArray("utf-8\0", 6)), 0);

    MessageCapture capture;
    EXPECT_EQ(CZeTextCodec::createDecoder(CZeByteArray("latin1"), 0), nullptr);
    EXPECT_EQ(capture.count(), 0u); // an unknown name is not logged
    const std::unique_ptr<CZeTextDecoder> latin = decoder("CP819");
    ASSERT_TRUE(latin);
    EXPECT_EQ(latin->mib(), 4);
    EXPECT_EQ(latin->remainingChars(), 0);
    EXPECT_FALSE(latin->hasFailure());
}

TEST(CZeTextCodec, Latin1WidensEveryByte)
{
    const std::unique_ptr<CZeTextDecoder> d = decoder("iso-8859-1");
    EXPECT_EQ(u16(feed(*d, "\xe9")), u"\u00e9");
    EXPECT_EQ(u16(feed(*d, "\xe2\x82")), u"\u00e2\u0082"); // no state in between
    EXPECT_EQ(u16(d->toUnicode(CZeByteArray("\0\xff", 2))), std::u16string(u"\0\u00ff", 2));
    EXPECT_EQ(d->remainingChars(), 0);
    EXPECT_FALSE(d->hasFailure());
    EXPECT_TRUE(d->toUnicode(nullptr, 4).isEmpty());
}

TEST(CZeTextCodec, SequencesSplitAcrossCalls)
{
    const std::unique_ptr<CZeTextDecoder> d = decoder("utf-8");
    EXPECT_TRUE(feed(*d, "\xe2\x82").isEmpty());
    EXPECT_EQ(d->remainingChars(), 2);
    EXPECT_EQ(u16(feed(*d, "\xac")), u"\u20ac");
    EXPECT_EQ(d->remainingChars(), 0);

    // A four-byte sequence fed one byte at a time, then with text around it.
    for (const char* byte : { "\xf0", "\x9f", "\x98" })
        EXPECT_TRUE(feed(*d, byte).isEmpty());
    EXPECT_EQ(d->remainingChars(), 3);
    EXPECT_EQ(u16(feed(*d, "\x80")), u"\U0001F600");
    EXPECT_EQ(u16(feed(*d, "a\xf0\x9f")), u"a");
    EXPECT_EQ(u16(feed(*d,
                  "\x98\x80"
                  "b\xc3")),
        u"\U0001F600b");
    EXPECT_EQ(u16(feed(*d,
                  "\xa9"
                  "c")),
        u"\u00e9c");
    EXPECT_FALSE(d->hasFailure());
}

TEST(CZeTextCodec, InvalidInputIsCounted)
{
    const std::unique_ptr<CZeTextDecoder> d = decoder("utf-8");
    EXPECT_TRUE(feed(*d, "\xe9").isEmpty()); // a lead byte: kept, not yet invalid
    EXPECT_FALSE(d->hasFailure());
    EXPECT_EQ(u16(feed(*d, "A")), u"\ufffdA");
    EXPECT_TRUE(d->hasFailure());
    EXPECT_EQ(d->invalidChars(), 1);

    // Kept bytes that the next input does not continue: each one is rejected.
    EXPECT_TRUE(feed(*d, "\xf0\x9f\x98").isEmpty());
    EXPECT_EQ(u16(feed(*d, "B")), u"\ufffd\ufffd\ufffdB");
    EXPECT_EQ(d->invalidChars(), 4);
    EXPECT_EQ(u16(feed(*d, "\x80\xc0\xaf")), u"\ufffd\ufffd\ufffd");
    EXPECT_EQ(d->invalidChars(), 7);
    EXPECT_EQ(u16(feed(*d, "\xed\xa0\x80")), u"\ufffd\ufffd\ufffd"); // an encoded surrogate
    EXPECT_EQ(d->invalidChars(), 10);

    const std::unique_ptr<CZeTextDecoder> nulls
        = decoder("utf-8", int(CZeTextCodec::ConvertInvalidToNull));
    EXPECT_EQ(u16(feed(*nulls,
                  "x\xff"
                  "y")),
        std::u16string(u"x\0y", 3));
    EXPECT_TRUE(feed(*nulls, "\xe2").isEmpty());
    EXPECT_EQ(u16(feed(*nulls, "z")), std::u16string(u"\0z", 2));
    EXPECT_EQ(nulls->invalidChars(), 2);
}

TEST(CZeTextCodec, ByteOrderMarkOnlyAtTheStart)
{
    std::unique_ptr<CZeTextDecoder> d = decoder("utf-8");
    EXPECT_TRUE(feed(*d, "\xef").isEmpty());
    EXPECT_TRUE(feed(*d, "\xbb").isEmpty());
    EXPECT_EQ(u16(feed(*d,
                  "\xbf"
                  "A")),
        u"A"); // the mark, split up, is still dropped
    EXPECT_EQ(u16(feed(*d, "\xef\xbb\xbf")), u"\ufeff");

    d = decoder("utf-8");
    EXPECT_EQ(u16(feed(*d, "A")), u"A");
    EXPECT_EQ(u16(feed(*d, "\xef\xbb\xbf")), u"\ufeff"); // after text it is a character
    d = decoder("utf-8");
    EXPECT_EQ(u16(feed(*d, "\xef\xbb\xbf\xef\xbb\xbf")), u"\ufeff"); // only the first
    d = decoder("utf-8", int(CZeTextCodec::IgnoreHeader));
    EXPECT_EQ(u16(feed(*d, "\xef\xbb\xbf")), u"\ufeff");
    d = decoder("utf-8");
    EXPECT_EQ(u16(feed(*d, "\xff\xef\xbb\xbf")), u"\ufffd\ufeff");
}

TEST(CZeTextCodec, ChunksDecodeLikeTheWhole)
{
    // Random mixes of valid sequences of every length and stray bytes, cut at
    // random places: the pieces give what the string decoder gives for the
    // whole (a final ASCII byte finishes whatever the last piece kept).
    const char* const pieces[] = { "a", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\x80",
        "\xc0", "\xe2\x82", "\xf4\x90\x80\x80", "\xef\xbb\xbf", "\xff" };
    std::mt19937 rng(21);
    for (int round = 0; round < 2000; ++round) {
        std::string input;
        for (int i = int(rng() % 12); i > 0; --i)
            input += pieces[rng() % 10];
        input += "!";
        const std::unique_ptr<CZeTextDecoder> d = decoder("UTF-8");
        std::u16string chunked;
        size_t at = 0;
        while (at < input.size()) {
            const size_t n = std::min(input.size() - at, size_t(rng() % 5));
            chunked += u16(d->toUnicode(input.data() + at, int(n)));
            at += n;
        }
        const CZeString whole = CZeString::fromUtf8(input.data(), int(input.size()));
        ASSERT_EQ(chunked, u16(whole)) << round;
        EXPECT_EQ(d->remainingChars(), 0);
        int replacements = 0;
        for (char16_t c : chunked)
            replacements += c == u'\ufffd';
        EXPECT_EQ(d->invalidChars(), replacements);
    }
}

TEST(CZeTextCodec, UnsupportedMib)
{
    MessageCapture capture;
    CZeTextDecoder unknown(3);
    EXPECT_TRUE(unknown.toUnicode("abc", 3).isNull());
    const std::vector<CapturedMessage> m = capture.messages();
    ASSERT_EQ(m.size(), 1u);
    EXPECT_EQ(m[0].priority, 5);
    const std::string suffix = ": Unsupported mib!";
    ASSERT_GT(m[0].text.size(), suffix.size());
    EXPECT_EQ(m[0].text.substr(m[0].text.size() - suffix.size()), suffix);
    EXPECT_EQ(m[0].text.rfind("CZeTextCodec.cpp(", 0), 0u) << m[0].text;
}

} // namespace
