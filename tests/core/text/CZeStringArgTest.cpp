// CZeString numbers: parsing with its white-space and ok rules, narrowing,
// number text in every base, and placeholder substitution with arg().
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <sstream>
#include <string>

#include "CZeDebugLog.h"
#include "CZeString.h"
#include "support/MessageCapture.h"
#include "support/TestText.h"

namespace {

// One parse as text: the value, or "fail" followed by whatever came with the
// refusal besides 0.
template <typename T, typename... P, typename... A>
std::function<std::string(const CZeString&)> parser(
    T (CZeString::*parse)(bool*, P...) const, A... base)
{
    return [=](const CZeString& s) {
        bool ok = false;
        const T value = (s.*parse)(&ok, base...);
        std::ostringstream out;
        if (!ok)
            out << "fail";
        if (ok || value != 0)
            out << value;
        return out.str();
    };
}

TEST(CZeStringParse, Numbers)
{
    const auto toLongLong = parser(&CZeString::toLongLong, 10),
               toInt = parser(&CZeString::toInt, 10);
    const auto toULongLong = parser(&CZeString::toULongLong, 10),
               toDouble = parser(&CZeString::toDouble);
    const struct {
        const char* text;
        std::function<std::string(const CZeString&)> parse;
        const char* expected;
    } rows[] = {
        { " \t42\n", toInt, "42" },
        { "42x", toInt, "fail" },
        { "", toInt, "fail" },
        { "\xa0-7\x85", toInt, "-7" },
        { "0x1F", parser(&CZeString::toInt, 0), "31" },
        { "3000000000", toInt, "fail" },
        { "3000000000", toLongLong, "3000000000" },
        { "3000000000", parser(&CZeString::toUInt, 10), "3000000000" },
        { "9223372036854775807", toLongLong, "9223372036854775807" },
        { "-9223372036854775808", toLongLong, "-9223372036854775808" },
        { "9223372036854775808", toLongLong, "fail" },
        { "-9223372036854775809", parser(&CZeString::toLong, 10), "fail" },
        { "-32768", parser(&CZeString::toShort, 10), "-32768" },
        { "32768", parser(&CZeString::toShort, 10), "fail" },
        { "-2147483648", toInt, "-2147483648" },
        { "-2147483649", toInt, "fail" },
        { "65535", parser(&CZeString::toUShort, 10), "65535" },
        { "65536", parser(&CZeString::toUShort, 10), "fail" },
        { "4294967296", parser(&CZeString::toUInt, 10), "fail" },
        { "18446744073709551615", toULongLong, "18446744073709551615" },
        { "18446744073709551616", toULongLong, "fail" },
        { "ffffffffffffffff", parser(&CZeString::toULong, 16), "18446744073709551615" },
        { "-1", toULongLong, "fail" }, // refused by the unsigned forms, not wrapped around
        { " -0", toULongLong, "fail" },
        { "-18446744073709551615", toULongLong, "fail" },
        { "0x1p4", toDouble, "16" },
        { "1e-310", toDouble, "1e-310" }, // a subnormal is kept
        { "2.5x", toDouble, "fail" },
        { "1e999", toDouble, "fail" },
        { "2,5", toDouble, "fail" },
        { "", toDouble, "fail" },
        { "1e39", parser(&CZeString::toFloat), "fail" },
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.parse(L1(row.text)), row.expected) << '"' << row.text << '"';
}

TEST(CZeStringNumberText, BasesAndFormats)
{
    CZeString s;
    EXPECT_EQ(latin(CZeString::number(-1, 16)), "ffffffffffffffff"); // two's complement, no sign
    EXPECT_EQ(latin(CZeString::number(-255, 10)), "-255");
    EXPECT_EQ(latin(CZeString::number(255, 16)), "ff");
    EXPECT_EQ(latin(CZeString::number(-2L, 2)), std::string(63, '1') + "0");
    EXPECT_EQ(latin(CZeString::number(LONG_MIN, 16)), "8000000000000000");
    EXPECT_EQ(latin(CZeString::number(0u, 36)), "0");
    EXPECT_EQ(latin(CZeString::number(ULONG_MAX)), "18446744073709551615");
    EXPECT_EQ(latin(CZeString::number(42, 99)), "42"); // a base outside 2 to 36 acts as 10
    EXPECT_EQ(latin(s.setNum(-1L, 8)), "1777777777777777777777");
    EXPECT_EQ(latin(s.setNum(4294967295ul, 16)), "ffffffff");
    EXPECT_EQ(latin(CZeString::number(0.5, 'f', 3)), "0.500");
    EXPECT_EQ(latin(s.setNum(0.25, 'g', 6)), "0.25");
}

TEST(CZeStringArg, LowestPlaceholderOnly)
{
    EXPECT_EQ(latin(L1("%1 and %1").arg(L1("x"))), "x and x");
    EXPECT_EQ(latin(L1("%2 %1").arg(L1("a"))), "%2 a");
    EXPECT_EQ(latin(L1("%10%1").arg(L1("a"))), "%10a");
    EXPECT_EQ(latin(L1("%100").arg(L1("a"))), "a0"); // two digits at most
    EXPECT_EQ(latin(L1("%1%0").arg(L1("z"))), "%1z");
    EXPECT_EQ(latin(L1("%2 %1 %2").arg(L1("a")).arg(L1("b"))), "b a b");
    EXPECT_EQ(latin(L1("%01-%1").arg(L1("q"))), "q-q"); // %01 is number 1
    EXPECT_EQ(latin(L1("%99%98").arg(L1("a"))), "%99a");
    EXPECT_EQ(latin(L1("100%% %x %1%").arg(L1("v"))), "100%% %x v%");
    EXPECT_EQ(latin(L1("%%1").arg(L1("v"))), "%v");
    EXPECT_EQ(latin(L1("[%1]").arg(CZeString())), "[]");
    EXPECT_EQ(latin(L1("[%1]").arg(L1(""))), "[]");

    const CZeString templ = L1("<%1>");
    EXPECT_EQ(latin(templ.arg(templ)), "<<%1>>"); // the template is left alone
    EXPECT_TRUE(terminated(templ.arg(L1("t"))));
}

TEST(CZeStringArg, FieldWidthAndFill)
{
    EXPECT_EQ(latin(L1("%1").arg(L1("ab"), 5, CZeChar('*'))), "***ab");
    EXPECT_EQ(latin(L1("%1").arg(L1("ab"), -5, CZeChar('*'))), "ab***");
    EXPECT_EQ(latin(L1("%1").arg(L1("abcdef"), 3, CZeChar('*'))), "abcdef"); // never cut
    EXPECT_EQ(latin(L1("%1|%1").arg(L1("ab"), 4)), "  ab|  ab");
    EXPECT_EQ(latin(L1("%1").arg(CZeChar(u'c'), -3, CZeChar('.'))), "c..");
    EXPECT_EQ(latin(L1("%1").arg('\xe9')), "\xe9"); // a char is Latin-1
    // A width that cannot be allocated gives a null string, not a crash.
    EXPECT_TRUE(L1("%1").arg(L1("x"), INT_MIN).isNull());
    EXPECT_TRUE(L1("%1%1%1").arg(L1("x"), 0x40000000).isNull());
}

TEST(CZeStringArg, Numbers)
{
    EXPECT_EQ(latin(L1("%1").arg(-5, 4, 10, CZeChar('0'))), "-005");
    EXPECT_EQ(latin(L1("%1").arg(-5, -4, 10, CZeChar('0'))), "-500");
    EXPECT_EQ(latin(L1("%1").arg(-5, 4)), "  -5");
    EXPECT_EQ(latin(L1("%1").arg(5, 4, 10, CZeChar('0'))), "0005");
    EXPECT_EQ(latin(L1("%1").arg(255, 0, 16)), "ff");
    // The zeros go after the first unit for every negative number, also in a
    // base that writes no sign.
    EXPECT_EQ(latin(L1("%1").arg(-1L, 20, 16, CZeChar('0'))), "f0000" + std::string(15, 'f'));
    EXPECT_EQ(latin(L1("%1").arg(4294967295u, 12, 16, CZeChar('0'))), "0000ffffffff");
    EXPECT_EQ(latin(L1("%1").arg(ULLONG_MAX)), "18446744073709551615");
    EXPECT_EQ(latin(L1("%1").arg(LLONG_MIN)), "-9223372036854775808");
    EXPECT_EQ(latin(L1("%1(%2).log").arg(L1("2024-05-01")).arg(3)), "2024-05-01(3).log");
    EXPECT_EQ(latin(L1("%1").arg(-5.5, 6, 'g', -1, CZeChar('0'))), "-005.5");
    EXPECT_EQ(latin(L1("%1").arg(1234.5, 0, 'e', 2)), "1.23e+03");
    EXPECT_EQ(latin(L1("%1").arg(2.5, 0, 's', -1)), "2.5"); // an odd format acts as 'g'
}

TEST(CZeStringArg, MissingPlaceholderWarnings)
{
    MessageCapture capture;
    EXPECT_EQ(latin(L1("no place").arg(L1("x"))), "no place");
    EXPECT_EQ(latin(L1("abc").arg(42)), "abc");
    EXPECT_EQ(latin(L1("abc").arg(7u)), "abc");
    EXPECT_EQ(latin(L1("t").arg(-3L, 0, 16)), "t"); // the number is streamed in decimal
    EXPECT_EQ(latin(U16(u"\u00e9").arg(CZeChar(0x20ac))), "\xe9");
    EXPECT_EQ(latin(L1("d").arg(2.5)), "d");
    EXPECT_EQ(messageTexts(capture),
        (std::vector<std::string> { "CZeString::arg: Argument missing: no place, x",
            "CZeString::arg: Argument missing:abc,42", "CZeString::arg: Argument missing:abc,7",
            "CZeString::arg: Argument missing:t,-3",
            "CZeString::arg: Argument missing: \xc3\xa9, \xe2\x82\xac",
            "CZeString::arg: Argument missing: d, 2.5" }));
    EXPECT_EQ(capture.messages()[0].priority, 5);

    capture.clear(); // below the warning level nothing is emitted
    CZeDebugLog::SetDebugLevel(CZeDebugLog::DebugLevelError);
    L1("none").arg(L1("x"));
    L1("none").arg(1);
    EXPECT_EQ(capture.count(), 0u);
}

} // namespace
