/*
 * 8-bit RGB / RGBA images read from and written to PNG files through libpng.
 *
 *   RgbImage image;
 *   std::string error;
 *   if (!readPng("in.png", image, error)) ...   // any PNG: grey, palette, 16-bit...
 *   if (!writePng("out.png", image, error)) ... // all or nothing
 *
 * Images with an alpha channel keep it (RGBA); the others are read as RGB.
 */
#ifndef ZELUT_PNGIMAGE_H
#define ZELUT_PNGIMAGE_H

#include <cstdint>
#include <string>
#include <vector>

struct RgbImage {
    RgbImage() = default;
    RgbImage(uint32_t w, uint32_t h, bool alpha = false)
        : width(w)
        , height(h)
        , hasAlpha(alpha)
        , pixels(static_cast<size_t>(w) * h * (alpha ? 4 : 3))
    {
    }
    uint32_t channels() const { return hasAlpha ? 4 : 3; }
    size_t rowBytes() const { return static_cast<size_t>(width) * channels(); }
    uint8_t* pixel(uint32_t x, uint32_t y)
    {
        return pixels.data() + y * rowBytes() + x * channels();
    }
    const uint8_t* pixel(uint32_t x, uint32_t y) const
    {
        return pixels.data() + y * rowBytes() + x * channels();
    }

    uint32_t width = 0, height = 0;
    bool hasAlpha = false;
    bool from16Bits = false; // read from 16 bits per channel, rounded to 8
    std::vector<uint8_t> pixels; // rows top to bottom, no padding
};

// A PNG file is read whole, up to this size.
constexpr uint64_t kPngMaxBytes = 1u << 30;
// Images declaring more pixels are refused before anything is allocated.
constexpr uint64_t kPngMaxPixels = 1u << 28;

// 16-bit channels are taken as the coded values they are (0x8080 is 128),
// not as linear light.
bool readPng(const std::string& path, RgbImage& image, std::string& error);
// The same from bytes in memory; path only names them in an error.
bool decodePng(const std::string& bytes, const std::string& path, RgbImage& image, std::string& error);
bool writePng(const std::string& path, const RgbImage& image, std::string& error);

#endif
