// CZeString::arg with a text argument: which placeholders a call replaces,
// field widths, and the template without placeholders.
#include <gtest/gtest.h>

#include <string>

#include "CZeString.h"
#include "support/MessageCapture.h"

namespace {

CZeString L1(const char* text)
{
    return CZeString::fromLatin1(text);
}

std::string utf8(const CZeString& s)
{
    const CZeByteArray b = s.toUtf8();
    return std::string(b.constData(), size_t(b.size()));
}

TEST(CZeStringArg, ReplacesOnlyTheLowestNumber)
{
    EXPECT_EQ(utf8(L1("%1 and %1").arg(L1("x"))), "x and x");
    EXPECT_EQ(utf8(L1("%2 %1").arg(L1("a"))), "%2 a");
    EXPECT_EQ(utf8(L1("%10%1").arg(L1("a"))), "%10a");
    EXPECT_EQ(utf8(L1("%100").arg(L1("a"))), "a0");
    EXPECT_EQ(utf8(L1("%1%0").arg(L1("z"))), "%1z");
    EXPECT_EQ(utf8(L1("%1(%2).log").arg(L1("corvidsdklog")).arg(L1("2024-05-01"))),
              "corvidsdklog(2024-05-01).log");
    // '%' without a digit, also at the very end, is text.
    EXPECT_EQ(utf8(L1("100% %x %1 %").arg(L1("y"))), "100% %x y %");
    // The argument becomes template text: the next call sees its placeholders.
    EXPECT_EQ(utf8(L1("%1 %2").arg(L1("%2")).arg(L1("b"))), "b b");
}

TEST(CZeStringArg, TheLFormIsOnlySeenWhileReplacing)
{
    // Counting sees one %1; replacing takes the %L1 first and keeps the %1.
    EXPECT_EQ(utf8(L1("%L1 %1").arg(L1("v"))), "v %1");
    EXPECT_EQ(utf8(L1("%L2 %1").arg(L1("v"))), "%L2 v");
}

TEST(CZeStringArg, FieldWidthAndFill)
{
    EXPECT_EQ(utf8(L1("%1").arg(L1("ab"), 5, CZeChar('*'))), "***ab");
    EXPECT_EQ(utf8(L1("%1").arg(L1("ab"), -5, CZeChar('*'))), "ab***");
    EXPECT_EQ(utf8(L1("[%1|%1]").arg(L1("ab"), 3)), "[ ab| ab]");
    EXPECT_EQ(utf8(L1("%1").arg(L1("abcdef"), 3)), "abcdef");
    EXPECT_EQ(utf8(L1("%1").arg(L1("ab"), 0, CZeChar('*'))), "ab");
    EXPECT_EQ(utf8(L1("%1").arg(CZeString::fromUtf8("\xc3\xa9t\xc3\xa9"), 4, CZeChar(0x2022))),
              "\xe2\x80\xa2\xc3\xa9t\xc3\xa9");
}

TEST(CZeStringArg, TemplateWithoutPlaceholderIsKeptAndReported)
{
    MessageCapture capture;
    const CZeString templ = L1("no placeholder");
    const CZeString result = templ.arg(CZeString::fromUtf8("\xc3\xa9"));
    EXPECT_EQ(utf8(result), "no placeholder");
    EXPECT_TRUE(result.isSharedWith(templ));
    const auto messages = capture.messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].priority, 5);
    EXPECT_EQ(messages[0].text, "CZeString::arg: Argument missing: no placeholder, \xc3\xa9");
}

} // namespace
