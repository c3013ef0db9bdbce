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
