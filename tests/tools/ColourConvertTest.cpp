// RGB <-> NV12/NV21 conversion of the tool's image path.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "ColourConvert.h"

namespace {

struct Yuv {
    int y, u, v;
};

Yuv convertOne(uint8_t r, uint8_t g, uint8_t b, ColourMatrix m, ColourRange range)
{
    // A 2x2 image of one colour: one chroma pair, four equal lumas.
    const uint8_t rgb[12] = { r, g, b, r, g, b, r, g, b, r, g, b };
    YuvFrame f(2, 2);
    rgbToYuv(rgb, 3, 6, m, range, false, f);
    EXPECT_EQ(f.luma()[0], f.luma()[3]);
    return { f.luma()[0], f.chroma()[0], f.chroma()[1] };
}

void expectYuv(Yuv got, Yuv want, const char* what)
{
    EXPECT_EQ(got.y, want.y) << what;
    EXPECT_EQ(got.u, want.u) << what;
    EXPECT_EQ(got.v, want.v) << what;
}

TEST(ColourConvert, KnownColours)
{
    const auto v601 = [](uint8_t r, uint8_t g, uint8_t b) {
        return convertOne(r, g, b, ColourMatrix::Bt601, ColourRange::Video);
    };
    expectYuv(v601(255, 255, 255), { 235, 128, 128 }, "white, video");
    expectYuv(v601(0, 0, 0), { 16, 128, 128 }, "black, video");
    expectYuv(v601(255, 0, 0), { 81, 90, 240 }, "red, BT.601 video");
    expectYuv(v601(0, 0, 255), { 41, 240, 110 }, "blue, BT.601 video");
    expectYuv(convertOne(255, 0, 0, ColourMatrix::Bt709, ColourRange::Video), { 63, 102, 240 },
        "red, BT.709 video");
    expectYuv(convertOne(255, 255, 255, ColourMatrix::Bt709, ColourRange::Full), { 255, 128, 128 },
        "white, full");
    expectYuv(convertOne(255, 0, 0, ColourMatrix::Bt709, ColourRange::Full), { 54, 99, 255 },
        "red, BT.709 full");
}

TEST(ColourConvert, OddEdgesAverageOnlyRealPixelsAndAlphaIsKept)
{
    // 3x3 RGBA: the right column and bottom row form blocks of their own.
    std::vector<uint8_t> rgba(3 * 3 * 4);
    for (uint32_t i = 0; i < 9; ++i) {
        const bool corner = i == 8;
        rgba[i * 4 + 0] = corner ? 255 : 0;
        rgba[i * 4 + 1] = 0;
        rgba[i * 4 + 2] = corner ? 0 : 255;
        rgba[i * 4 + 3] = static_cast<uint8_t>(i * 20);
    }
    YuvFrame f(3, 3);
    ASSERT_EQ(f.bytes.size(), 9u + 8u);
    rgbToYuv(rgba.data(), 4, 12, ColourMatrix::Bt601, ColourRange::Video, false, f);
    const Yuv red = convertOne(255, 0, 0, ColourMatrix::Bt601, ColourRange::Video);
    const Yuv blue = convertOne(0, 0, 255, ColourMatrix::Bt601, ColourRange::Video);
    EXPECT_EQ(f.chroma()[4 + 2], red.u); // block (1, 1) holds the corner pixel alone
    EXPECT_EQ(f.chroma()[4 + 3], red.v);
    EXPECT_EQ(f.chroma()[2], blue.u); // block (1, 0): two blue pixels
    EXPECT_EQ(f.chroma()[0], blue.u);
    yuvToRgb(f, ColourMatrix::Bt601, ColourRange::Video, false, rgba.data(), 4, 12);
    for (uint32_t i = 0; i < 9; ++i)
        EXPECT_EQ(rgba[i * 4 + 3], i * 20);
    EXPECT_GE(rgba[8 * 4 + 0], 250);
    EXPECT_LE(rgba[8 * 4 + 2], 5);
}

} // namespace
