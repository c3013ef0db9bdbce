#include "PngImage.h"

#include <cstring>
#include <png.h>

#include "ToolFiles.h"

bool readPng(const std::string& path, RgbImage& image, std::string& error)
{
    std::string bytes;
    if (!readWholeFile(path, bytes, error))
        return false;
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&png, bytes.data(), bytes.size())) {
        error = path + ": not a readable PNG image (" + png.message + ")";
        return false;
    }
    const bool alpha = (png.format & PNG_FORMAT_FLAG_ALPHA) != 0;
    png.format = alpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
    image = RgbImage(png.width, png.height, alpha);
    if (!png_image_finish_read(&png, nullptr, image.pixels.data(),
            static_cast<png_int_32>(image.rowBytes()), nullptr)) {
        error = path + ": broken PNG image (" + png.message + ")";
        png_image_free(&png);
        return false;
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
