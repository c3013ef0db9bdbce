// PNG reading and writing through libpng.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <png.h>
#include <random>

#include "PngImage.h"
#include "ToolTestSupport.h"

namespace {

RgbImage randomImage(uint32_t w, uint32_t h, bool alpha, uint32_t seed)
{
    RgbImage image(w, h, alpha);
    std::mt19937 rng(seed);
    for (uint8_t& b : image.pixels)
        b = static_cast<uint8_t>(rng());
    return image;
}

// A file in a format the tool never writes itself.
void writeRawPng(const std::string& path, uint32_t format, uint32_t w, uint32_t h,
    const void* pixels, const void* colormap = nullptr, uint32_t colours = 0)
{
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    png.width = w;
    png.height = h;
    png.format = format;
    png.colormap_entries = colours;
    ASSERT_TRUE(png_image_write_to_file(&png, path.c_str(), 0, pixels, 0, colormap)) << png.message;
}

TEST(PngImage, GreyAndPaletteFilesReadAsRgb)
{
    TemporaryDirectory dir;
    const uint8_t grey[6] = { 0, 50, 100, 150, 200, 255 };
    writeRawPng(dir.file("grey.png"), PNG_FORMAT_GRAY, 3, 2, grey);
    RgbImage image;
    std::string error;
    ASSERT_TRUE(readPng(dir.file("grey.png"), image, error)) << error;
    ASSERT_FALSE(image.hasAlpha);
    for (int i = 0; i < 6; ++i)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(image.pixels[i * 3 + c], grey[i]);

    const uint8_t palette[6] = { 255, 0, 0, 10, 20, 30 };
    const uint8_t indices[4] = { 0, 1, 1, 0 };
    writeRawPng(dir.file("pal.png"), PNG_FORMAT_RGB_COLORMAP, 2, 2, indices, palette, 2);
    ASSERT_TRUE(readPng(dir.file("pal.png"), image, error)) << error;
    const std::vector<uint8_t> want = { 255, 0, 0, 10, 20, 30, 10, 20, 30, 255, 0, 0 };
    EXPECT_EQ(image.pixels, want);
}

TEST(PngImage, FailuresNameTheFileAndLeaveNothingBehind)
{
    TemporaryDirectory dir;
    writeFileText(dir.file("fake.png"), "GIF89a not a png");
    RgbImage image;
    std::string error;
    EXPECT_FALSE(readPng(dir.file("fake.png"), image, error));
    EXPECT_EQ(error.rfind(dir.file("fake.png") + ": not a readable PNG image (", 0), 0u) << error;
    EXPECT_FALSE(readPng(dir.file("missing.png"), image, error));
    EXPECT_EQ(error, dir.file("missing.png") + ": No such file or directory");
    EXPECT_FALSE(writePng(dir.file("no/such/dir.png"), randomImage(2, 2, false, 3), error));
    EXPECT_EQ(error, dir.file("no/such/dir.png") + ": No such file or directory");
    // Writing goes through a temporary name; only the finished file remains.
    ASSERT_TRUE(writePng(dir.file("ok.png"), randomImage(2, 2, false, 3), error)) << error;
    EXPECT_EQ(dir.entries(), (std::vector<std::string> { "fake.png", "ok.png" }));
}

} // namespace
