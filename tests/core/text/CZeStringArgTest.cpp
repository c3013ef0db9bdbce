// CZeString numbers: parsing with its white-space and ok rules, narrowing,
// integer text in every base, and placeholder substitution with arg().
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "CZeDebugLog.h"
#include "CZeString.h"
#include "support/TestText.h"
#include "support/MessageCapture.h"

namespace {

// ---- Parsing -----------------------------------------------------------------

TEST(CZeStringParse, RangesAndNarrowing)
{
    bool ok = false;
    EXPECT_EQ(L1("3000000000").toInt(&ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(L1("3000000000").toLongLong(&ok), 3000000000LL);
    EXPECT_TRUE(ok);
    EXPECT_EQ(L1("3000000000").toUInt(&ok), 3000000000u);
    EXPECT_TRUE(ok);

    EXPECT_EQ(L1("9223372036854775807").toLongLong(&ok), LLONG_MAX);
    EXPECT_TRUE(ok);
    EXPECT_EQ(L1("-9223372036854775808").toLongLong(&ok), LLONG_MIN);
    EXPECT_TRUE(ok);
    EXPECT_EQ(L1("9223372036854775808").toLongLong(&ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(L1("-9223372036854775809").toLong(&ok), 0);
    EXPECT_FALSE(ok);

    EXPECT_EQ(L1("-32768").toShort(&ok), SHRT_MIN);
    EXPECT_TRUE(ok);
    EXPECT_EQ(L1("32768").toShort(&ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(L1("-2147483648").toInt(&ok), INT_MIN);
    EXPECT_TRUE(ok);
    EXPECT_EQ(L1("-2147483649").toInt(&ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(L1("65535").toUShort(&ok), 65535);
    EXPECT_TRUE(ok);
    EXPECT_EQ(L1("65536").toUShort(&ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(L1("4294967296").toUInt(&ok), 0u);
    EXPECT_FALSE(ok);

    EXPECT_EQ(L1("18446744073709551615").toULongLong(&ok), ULLONG_MAX);
    EXPECT_TRUE(ok);
    EXPECT_EQ(L1("18446744073709551616").toULongLong(&ok), 0u);
    EXPECT_FALSE(ok);
    EXPECT_EQ(L1("ffffffffffffffff").toULong(&ok, 16), ULONG_MAX);
    EXPECT_TRUE(ok);
    // A minus sign is refused by the unsigned forms, not wrapped around.
    for (const char* negative : { "-1", " -0", "-18446744073709551615" }) {
        ok = true;
        EXPECT_EQ(L1(negative).toULongLong(&ok), 0u) << negative;
        EXPECT_FALSE(ok) << negative;
    }
}

// ---- Integer text ------------------------------------------------------------

TEST(CZeStringNumberText, BasesAndTwosComplement)
{
    EXPECT_EQ(latin(CZeString::number(-1, 16)), "ffffffffffffffff");
    EXPECT_EQ(latin(CZeString::number(-255, 10)), "-255");
    EXPECT_EQ(latin(CZeString::number(255, 16)), "ff");
    EXPECT_EQ(latin(CZeString::number(-2L, 2)), std::string(63, '1') + "0");
    EXPECT_EQ(latin(CZeString::number(LONG_MIN, 16)), "8000000000000000");
    EXPECT_EQ(latin(CZeString::number(0u, 36)), "0");
    CZeString s;
    EXPECT_EQ(latin(s.setNum(-1L, 8)), "1777777777777777777777");
    EXPECT_EQ(latin(s.setNum(4294967295ul, 16)), "ffffffff");
}

// ---- arg --------------------------------------------------------------------

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

    // '%' not followed by a digit is text; a '%' at the very end too.
    EXPECT_EQ(latin(L1("100%% %x %1%").arg(L1("v"))), "100%% %x v%");
    EXPECT_EQ(latin(L1("%%1").arg(L1("v"))), "%v");

    const CZeString templ = L1("<%1>");
    const CZeString filled = templ.arg(L1("t"));
    EXPECT_EQ(latin(templ), "<%1>"); // the template is left alone
    EXPECT_EQ(latin(filled), "<t>");
    EXPECT_EQ(filled.unicode()[filled.size()].unicode(), 0);

    // Empty and null arguments remove the placeholder.
    EXPECT_EQ(latin(L1("[%1]").arg(CZeString())), "[]");
    EXPECT_EQ(latin(L1("[%1]").arg(L1(""))), "[]");
    // The argument may be the template itself.
    EXPECT_EQ(latin(templ.arg(templ)), "<<%1>>");
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

TEST(CZeStringArg, Integers)
{
    EXPECT_EQ(latin(L1("%1").arg(-5, 4, 10, CZeChar('0'))), "-005");
    EXPECT_EQ(latin(L1("%1").arg(-5, -4, 10, CZeChar('0'))), "-500");
    EXPECT_EQ(latin(L1("%1").arg(-5, 4)), "  -5");
    EXPECT_EQ(latin(L1("%1").arg(5, 4, 10, CZeChar('0'))), "0005");
    EXPECT_EQ(latin(L1("%1").arg(255, 0, 16)), "ff");
    EXPECT_EQ(latin(L1("%1").arg(-1L, 0, 16)), "ffffffffffffffff");
    // The zeros go after the first unit for every negative number, also in a
    // base that writes no sign.
    EXPECT_EQ(latin(L1("%1").arg(-1L, 20, 16, CZeChar('0'))), "f0000" + std::string(15, 'f'));
    EXPECT_EQ(latin(L1("%1").arg(4294967295u, 12, 16, CZeChar('0'))), "0000ffffffff");
    EXPECT_EQ(latin(L1("%1").arg(ULLONG_MAX)), "18446744073709551615");
    EXPECT_EQ(latin(L1("%1").arg(LLONG_MIN)), "-9223372036854775808");
    EXPECT_EQ(latin(L1("%1(%2).log").arg(L1("2024-05-01")).arg(3)), "2024-05-01(3).log");
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
    const std::vector<CapturedMessage> m = capture.messages();
    ASSERT_EQ(m.size(), 6u);
    EXPECT_EQ(m[0].text, "CZeString::arg: Argument missing: no place, x");
    EXPECT_EQ(m[0].priority, 5);
    EXPECT_EQ(m[0].tag, "tavren");
    EXPECT_EQ(m[1].text, "CZeString::arg: Argument missing:abc,42");
    EXPECT_EQ(m[2].text, "CZeString::arg: Argument missing:abc,7");
    EXPECT_EQ(m[3].text, "CZeString::arg: Argument missing:t,-3");
    EXPECT_EQ(m[4].text, "CZeString::arg: Argument missing: \xc3\xa9, \xe2\x82\xac");
    EXPECT_EQ(m[5].text, "CZeString::arg: Argument missing: d, 2.5");

    // Below the warning level nothing is emitted.
    capture.clear();
    CZeDebugLog::SetDebugLevel(CZeDebugLog::DebugLevelError);
    L1("none").arg(L1("x"));
    L1("none").arg(1);
    EXPECT_EQ(capture.count(), 0u);
}

TEST(CZeStringParse, DoublesAndTheirArguments)
{
    bool ok = false;
    EXPECT_EQ(L1("0x1p4").toDouble(&ok), 16.0);
    EXPECT_TRUE(ok);
    EXPECT_GT(L1("1e-310").toDouble(&ok), 0.0); // subnormal: kept
    for (const char* bad : {"", "2.5x", "1e999", "2,5"}) {
        ok = true;
        EXPECT_EQ(L1(bad).toDouble(&ok), 0.0) << bad;
        EXPECT_FALSE(ok) << bad;
    }
    EXPECT_EQ(L1("1e39").toFloat(&ok), 0.0f);
    EXPECT_FALSE(ok);
    EXPECT_EQ(latin(L1("%1").arg(-5.5, 6, 'g', -1, CZeChar('0'))), "-005.5");
    EXPECT_EQ(latin(L1("%1").arg(1234.5, 0, 'e', 2)), "1.23e+03");
    EXPECT_EQ(latin(L1("%1").arg(2.5, 0, 's', -1)), "2.5"); // an odd format acts as 'g'
}

} // namespace
