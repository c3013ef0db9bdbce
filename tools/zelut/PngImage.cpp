#include "PngImage.h"

#include <algorithm>
#include <cstring>
#include <png.h>

#include "ToolFiles.h"

bool readPng(const std::string& path, RgbImage& image, std::string& error)
{
    std::string bytes;
    return readWholeFile(path, bytes, error, kPngMaxBytes) && decodePng(bytes, path, image, error);
}

bool decodePng(const std::string& bytes, const std::string& path, RgbImage& image, std::string& error)
{
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&png, bytes.data(), bytes.size())) {
        error = path + ": not a readable PNG image (" + png.message + ")";
        return false;
    }
    if (uint64_t{ png.width } * png.height > kPngMaxPixels) {
        error = path + ": " + std::to_string(png.width) + "x" + std::to_string(png.height)
            + " is more than 2^28 pixels";
        png_image_free(&png);
        return false;
    }
    const bool alpha = (png.format & PNG_FORMAT_FLAG_ALPHA) != 0;
    // libpng's simplified reader treats 16-bit data as linear light and
    // would gamma-encode it on the way to 8 bits; asking for its 16-bit
    // "linear" form instead hands over the file's values unchanged (alpha
    // premultiplied), which are then rounded to 8 bits here.
    const bool wide = (png.format & PNG_FORMAT_FLAG_LINEAR) != 0;
    png.format = wide ? (alpha ? PNG_FORMAT_LINEAR_RGB_ALPHA : PNG_FORMAT_LINEAR_RGB)
                      : (alpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB);
    image = RgbImage(png.width, png.height, alpha);
    image.from16Bits = wide;
    std::vector<uint16_t> wideRows(wide ? image.pixels.size() : 0);
    void* target = wide ? static_cast<void*>(wideRows.data()) : image.pixels.data();
    if (!png_image_finish_read(&png, nullptr, target,
            static_cast<png_int_32>(image.width * image.channels()), nullptr)) {
        error = path + ": broken PNG image (" + png.message + ")";
        png_image_free(&png);
        return false;
    }
    const uint32_t channels = image.channels();
    for (size_t i = 0; i < wideRows.size(); i += channels) {
        const uint32_t a = alpha ? wideRows[i + 3] : 65535;
        for (uint32_t c = 0; c < channels; ++c) {
            uint32_t v = wideRows[i + c];
            if (c < 3 && alpha) // undo the premultiplication
                v = a == 0 ? 0 : std::min<uint32_t>(65535, (v * 65535u + a / 2) / a);
            image.pixels[i + c] = static_cast<uint8_t>((v * 255u + 32767u) / 65535u);
        }
    }
    return true;
}

bool writePng(const std::string& path, const RgbImage& image, std::string& error)
{
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    png.width = image.width;
    png.height = image.height;
    png.format = image.hasAlpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
    png_alloc_size_t size = 0;
    const png_int_32 stride = static_cast<png_int_32>(image.rowBytes());
    if (!png_image_write_to_memory(&png, nullptr, &size, 0, image.pixels.data(), stride, nullptr)) {
        error = path + ": cannot encode PNG (" + png.message + ")";
        return false;
    }
    std::vector<uint8_t> encoded(size);
    if (!png_image_write_to_memory(
            &png, encoded.data(), &size, 0, image.pixels.data(), stride, nullptr)) {
        error = path + ": cannot encode PNG (" + png.message + ")";
        return false;
    }
    return writeFileReplacing(path, encoded.data(), size, error);
}
