#include "ColourConvert.h"

#include <cmath>

namespace {

struct Coefficients {
    double kr, kb; // luma weights of red and blue
    double yOffset, yScale; // Y = yOffset + yScale * Y'
    double cScale; // U = 128 + cScale * Cb
};

Coefficients coefficients(ColourMatrix matrix, ColourRange range)
{
    const double kr = matrix == ColourMatrix::Bt601 ? 0.299 : 0.2126;
    const double kb = matrix == ColourMatrix::Bt601 ? 0.114 : 0.0722;
    if (range == ColourRange::Video)
        return { kr, kb, 16.0, 219.0, 224.0 };
    return { kr, kb, 0.0, 255.0, 255.0 };
}

uint8_t toByte(double v)
{
    if (!(v > 0.0))
        return 0;
    if (v >= 255.0)
        return 255;
    return static_cast<uint8_t>(std::lround(v));
}

} // namespace

YuvFrame::YuvFrame(uint32_t w, uint32_t h)
    : width(w)
    , height(h)
    , bytes(bytesFor(w, h), 0)
{
}

size_t YuvFrame::bytesFor(uint32_t w, uint32_t h)
{
    return static_cast<size_t>(w) * h + static_cast<size_t>((w + 1) / 2) * 2 * ((h + 1) / 2);
}

void rgbToYuv(const uint8_t* rgb, size_t pixelBytes, size_t rowBytes, ColourMatrix matrix,
    ColourRange range, bool nv21, YuvFrame& frame)
{
    const Coefficients k = coefficients(matrix, range);
    const double kg = 1.0 - k.kr - k.kb;
    const uint32_t w = frame.width, h = frame.height;
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t* p = rgb + y * rowBytes;
        uint8_t* out = frame.luma() + static_cast<size_t>(y) * w;
        for (uint32_t x = 0; x < w; ++x, p += pixelBytes) {
            const double l = (k.kr * p[0] + kg * p[1] + k.kb * p[2]) / 255.0;
            out[x] = toByte(k.yOffset + k.yScale * l);
        }
    }
    for (uint32_t by = 0; by < frame.chromaRows(); ++by) {
        uint8_t* out = frame.chroma() + static_cast<size_t>(by) * frame.chromaStride();
        for (uint32_t bx = 0; bx < (w + 1) / 2; ++bx) {
            double cb = 0.0, cr = 0.0;
            int count = 0;
            for (uint32_t y = 2 * by; y < 2 * by + 2 && y < h; ++y)
                for (uint32_t x = 2 * bx; x < 2 * bx + 2 && x < w; ++x) {
                    const uint8_t* p = rgb + y * rowBytes + x * pixelBytes;
                    const double r = p[0] / 255.0, g = p[1] / 255.0, b = p[2] / 255.0;
                    const double l = k.kr * r + kg * g + k.kb * b;
                    cb += (b - l) / (2.0 * (1.0 - k.kb));
                    cr += (r - l) / (2.0 * (1.0 - k.kr));
                    ++count;
                }
            const uint8_t u = toByte(128.0 + k.cScale * cb / count);
            const uint8_t v = toByte(128.0 + k.cScale * cr / count);
            out[2 * bx] = nv21 ? v : u;
            out[2 * bx + 1] = nv21 ? u : v;
        }
    }
}

void yuvToRgb(const YuvFrame& frame, ColourMatrix matrix, ColourRange range, bool nv21,
    uint8_t* rgb, size_t pixelBytes, size_t rowBytes)
{
    const Coefficients k = coefficients(matrix, range);
    const double kg = 1.0 - k.kr - k.kb;
    const uint32_t w = frame.width, h = frame.height;
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t* luma = frame.luma() + static_cast<size_t>(y) * w;
        const uint8_t* chroma = frame.chroma() + static_cast<size_t>(y / 2) * frame.chromaStride();
        uint8_t* p = rgb + y * rowBytes;
        for (uint32_t x = 0; x < w; ++x, p += pixelBytes) {
            const uint8_t first = chroma[2 * (x / 2)], second = chroma[2 * (x / 2) + 1];
            const double cb = ((nv21 ? second : first) - 128.0) / k.cScale;
            const double cr = ((nv21 ? first : second) - 128.0) / k.cScale;
            const double l = (luma[x] - k.yOffset) / k.yScale;
            const double r = l + 2.0 * (1.0 - k.kr) * cr;
            const double b = l + 2.0 * (1.0 - k.kb) * cb;
            const double g = (l - k.kr * r - k.kb * b) / kg;
            p[0] = toByte(r * 255.0);
            p[1] = toByte(g * 255.0);
            p[2] = toByte(b * 255.0);
        }
    }
}
