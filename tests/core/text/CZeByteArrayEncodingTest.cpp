// Byte arrays as text: hexadecimal output and floating-point numbers.
#include <gtest/gtest.h>

#include <string>

#include "CZeByteArray.h"

#include "support/TestText.h"

namespace {

TEST(CZeByteArrayEncoding, Hex)
{
    const CZeByteArray bytes("\x01\xab", 2);
    EXPECT_EQ(text(bytes.toHex(':')), "01:ab");
    EXPECT_EQ(text(bytes.toHex()), "01ab");
    EXPECT_EQ(text(CZeByteArray("\xff", 1).toHex(' ')), "ff"); // no separator after the last
    EXPECT_TRUE(CZeByteArray().toHex().isNull());
    EXPECT_TRUE(CZeByteArray("").toHex(':').isNull());

    CZeByteArray all(256, '\0');
    for (int i = 0; i < 256; ++i)
        all.data()[i] = static_cast<char>(i);
    const CZeByteArray hex = all.toHex('-');
    ASSERT_EQ(hex.size(), 3 * 256 - 1);
    const char digits[] = "0123456789abcdef";
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(hex.at(3 * i), digits[i >> 4]);
        EXPECT_EQ(hex.at(3 * i + 1), digits[i & 15]);
        if (i < 255) {
            EXPECT_EQ(hex.at(3 * i + 2), '-');
        }
    }
    EXPECT_EQ(hex.constData()[hex.size()], '\0');
    EXPECT_EQ(all.toHex().size(), 512);
}

TEST(CZeByteArrayEncoding, DoubleText)
{
    EXPECT_EQ(text(CZeByteArray::number(2.5)), "2.5");
    EXPECT_EQ(text(CZeByteArray::number(1234.5, 'e', 6)), "1.234500e+03");
    EXPECT_EQ(text(CZeByteArray::number(1234.5, 'e', -1)), "1.234500e+03"); // %e: default precision
    EXPECT_EQ(text(CZeByteArray::number(1.0 / 3.0, 'g', -1)), "0.333333");
    EXPECT_EQ(text(CZeByteArray::number(0.5, 'f', 0)), "0");
    EXPECT_EQ(text(CZeByteArray::number(255.0, 'A', 2)), "0X1.FEP+7");
    EXPECT_EQ(text(CZeByteArray::number(2.5, 'd', 2)), "2.5"); // not a floating conversion: 'g'

    // The text is cut at 127 bytes.
    const CZeByteArray huge = CZeByteArray::number(1e300, 'f', 6);
    EXPECT_EQ(huge.size(), 127);
    EXPECT_EQ(text(huge).substr(0, 4), "1000");

    CZeByteArray a("old text");
    EXPECT_EQ(text(a.setNum(-0.125, 'f', 2)), "-0.12");
    EXPECT_EQ(&a.setNum(1.0), &a);
}

} // namespace
