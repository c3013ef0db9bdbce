#include "DemoImages.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

struct Rgb {
    double r, g, b; // 0..1
};

uint8_t byteOf(double v)
{
    return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
}

void fillRect(RgbImage& image, uint32_t x0, uint32_t y0, uint32_t x1, uint32_t y1, Rgb c)
{
    for (uint32_t y = y0; y < y1 && y < image.height; ++y)
        for (uint32_t x = x0; x < x1 && x < image.width; ++x) {
            uint8_t* p = image.pixel(x, y);
            p[0] = byteOf(c.r);
            p[1] = byteOf(c.g);
            p[2] = byteOf(c.b);
        }
}

// Hue in turns (0..1), full saturation and value.
Rgb hueColour(double hue)
{
    const double h = (hue - std::floor(hue)) * 6.0;
    const double f = h - std::floor(h);
    switch (static_cast<int>(h)) {
    case 0:
        return { 1, f, 0 };
    case 1:
        return { 1 - f, 1, 0 };
    case 2:
        return { 0, 1, f };
    case 3:
        return { 0, 1 - f, 1 };
    case 4:
        return { f, 0, 1 };
    default:
        return { 1, 0, 1 - f };
    }
}

double smoothstep(double e0, double e1, double x)
{
    const double t = std::clamp((x - e0) / (e1 - e0), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

Rgb grade(Rgb in)
{
    const double pi = 3.14159265358979323846;
    // Contrast: an S-curve through 0, 0.5 and 1 (monotonic) applied to luma
    // and added to every channel alike, so that hues do not drift.
    auto curve = [pi](double x) { return x - 0.06 * std::sin(2.0 * pi * x); };
    const double luma0 = 0.2126 * in.r + 0.7152 * in.g + 0.0722 * in.b;
    const double lift = curve(luma0) - luma0;
    Rgb c { in.r + lift, in.g + lift, in.b + lift };
    const double luma = luma0 + lift;

    // Skin-like hues (orange-red, moderately saturated) get a third of the tint.
    const double maxc = std::max({ in.r, in.g, in.b }), minc = std::min({ in.r, in.g, in.b });
    const double sat = maxc > 0.0 ? (maxc - minc) / maxc : 0.0;
    const bool warmOrder = in.r >= in.g && in.g >= in.b;
    const double skin
        = warmOrder ? smoothstep(0.05, 0.2, sat) * (1.0 - smoothstep(0.55, 0.8, sat)) : 0.0;
    const double tint = 1.0 - 0.8 * skin;

    // Split toning: teal into the shadows, amber into the highlights.
    const double shadows = (1.0 - smoothstep(0.0, 0.55, luma)) * tint;
    const double highlights = smoothstep(0.45, 1.0, luma) * tint;
    c.r += -0.045 * shadows + 0.045 * highlights;
    c.g += 0.015 * shadows + 0.02 * highlights;
    c.b += 0.05 * shadows - 0.055 * highlights;

    // Saturation up by 12 % (3 % on skin), around the pixel's own luma.
    const double l2 = 0.2126 * c.r + 0.7152 * c.g + 0.0722 * c.b;
    const double s = 1.12 - 0.09 * skin;
    return { l2 + (c.r - l2) * s, l2 + (c.g - l2) * s, l2 + (c.b - l2) * s };
}

// 5x7 glyphs for the labels, one row per byte, bit 4 leftmost.
struct Glyph {
    char c;
    uint8_t rows[7];
};
const Glyph kGlyphs[] = {
    { 'A', { 0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11 } },
    { 'B', { 0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E } },
    { 'E', { 0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F } },
    { 'F', { 0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10 } },
    { 'O', { 0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E } },
    { 'R', { 0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11 } },
    { 'T', { 0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04 } },
};

void drawText(RgbImage& image, uint32_t x, uint32_t y, const char* text, uint32_t scale, Rgb colour)
{
    for (; *text; ++text, x += 6 * scale) {
        for (const Glyph& g : kGlyphs) {
            if (g.c != *text)
                continue;
            for (uint32_t row = 0; row < 7; ++row)
                for (uint32_t col = 0; col < 5; ++col)
                    if (g.rows[row] & (0x10 >> col))
                        fillRect(image, x + col * scale, y + row * scale, x + (col + 1) * scale,
                            y + (row + 1) * scale, colour);
        }
    }
}

} // namespace

RgbImage makeTestChart(uint32_t width, uint32_t height)
{
    RgbImage image(width, height);
    fillRect(image, 0, 0, width, height, { 0.5, 0.5, 0.5 });
    const uint32_t barsEnd = height * 3 / 10;
    const uint32_t skinEnd = height * 55 / 100;
    const uint32_t greyEnd = height * 65 / 100;
    const uint32_t hueEnd = height * 75 / 100;

    // 100 % colour bars.
    const Rgb bars[] = { { 1, 1, 1 }, { 1, 1, 0 }, { 0, 1, 1 }, { 0, 1, 0 }, { 1, 0, 1 },
        { 1, 0, 0 }, { 0, 0, 1 }, { 0, 0, 0 } };
    for (uint32_t i = 0; i < 8; ++i)
        fillRect(image, width * i / 8, 0, width * (i + 1) / 8, barsEnd, bars[i]);

    // Skin tones from very light to deep, on a mid-grey surround.
    const Rgb skins[] = { { 1.00, 0.88, 0.77 }, { 0.95, 0.78, 0.65 }, { 0.89, 0.68, 0.54 },
        { 0.80, 0.56, 0.42 }, { 0.66, 0.44, 0.31 }, { 0.50, 0.32, 0.22 }, { 0.36, 0.22, 0.15 },
        { 0.24, 0.15, 0.11 } };
    const uint32_t gap = std::max(2u, width / 160);
    for (uint32_t i = 0; i < 8; ++i)
        fillRect(image, width * i / 8 + gap, barsEnd + gap, width * (i + 1) / 8 - gap,
            skinEnd - gap, skins[i]);

    for (uint32_t y = skinEnd; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            const double t = width > 1 ? static_cast<double>(x) / (width - 1) : 0.0;
            Rgb c;
            if (y < greyEnd) {
                c = { t, t, t }; // black to white
            } else if (y < hueEnd) {
                c = hueColour(t);
            } else {
                // Hue across, from white at the top through the pure hue to black.
                const double v
                    = static_cast<double>(y - hueEnd) / std::max(1u, height - 1 - hueEnd);
                const Rgb h = hueColour(t);
                if (v < 0.5) {
                    const double k = v * 2.0;
                    c = { 1 + (h.r - 1) * k, 1 + (h.g - 1) * k, 1 + (h.b - 1) * k };
                } else {
                    const double k = 2.0 - v * 2.0;
                    c = { h.r * k, h.g * k, h.b * k };
                }
            }
            uint8_t* p = image.pixel(x, y);
            p[0] = byteOf(c.r);
            p[1] = byteOf(c.g);
            p[2] = byteOf(c.b);
        }
    return image;
}

LutTable sampleGradeTable(uint32_t n)
{
    return tableOf(n, [](float r, float g, float b, uint8_t* out) {
        const Rgb graded = grade({r, g, b});
        out[0] = lutByte(graded.r);
        out[1] = lutByte(graded.g);
        out[2] = lutByte(graded.b);
    });
}

RgbImage sideBySide(const RgbImage& before, const RgbImage& after)
{
    const uint32_t scale = std::max(2u, before.height / 180);
    const uint32_t margin = 4 * scale;
    const uint32_t label = 7 * scale + 2 * margin;
    const uint32_t width = before.width + after.width + 3 * margin;
    const uint32_t height = std::max(before.height, after.height) + label + margin;
    RgbImage out(width, height);
    fillRect(out, 0, 0, width, height, { 0.12, 0.12, 0.12 });
    const RgbImage* parts[2] = { &before, &after };
    const char* names[2] = { "BEFORE", "AFTER" };
    uint32_t x0 = margin;
    for (int i = 0; i < 2; ++i) {
        const RgbImage& part = *parts[i];
        drawText(out, x0, margin, names[i], scale, { 0.92, 0.92, 0.92 });
        for (uint32_t y = 0; y < part.height; ++y)
            for (uint32_t x = 0; x < part.width; ++x)
                std::memcpy(out.pixel(x0 + x, label + y), part.pixel(x, y), 3);
        x0 += part.width + margin;
    }
    return out;
}
