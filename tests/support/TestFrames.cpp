#include "support/TestFrames.h"

#include <cmath>

#include "lut/Lut3DRender.h"
#include "lut/Lut3DTableBuilder.h"

TestFrame::TestFrame(uint32_t w, uint32_t h, uint32_t spare)
    : width(w)
    , height(h)
    , lumaStride(w + spare)
    , chromaStride(((w + 1) / 2) * 2 + spare)
    , luma(static_cast<size_t>(lumaStride) * h, kSentinel)
    , chroma(static_cast<size_t>(chromaStride) * ((h + 1) / 2), kSentinel)
{
}

void TestFrame::fillRandom(uint32_t seed)
{
    std::mt19937 rng(seed);
    for (uint32_t row = 0; row < height; ++row)
        for (uint32_t x = 0; x < width; ++x)
            lumaRow(row)[x] = static_cast<uint8_t>(rng());
    for (uint32_t row = 0; row < chromaRows(); ++row)
        for (uint32_t x = 0; x < chromaBytes(); ++x)
            chromaRow(row)[x] = static_cast<uint8_t>(rng());
}

void TestFrame::fill(uint8_t y, uint8_t c0, uint8_t c1)
{
    for (uint32_t row = 0; row < height; ++row)
        for (uint32_t x = 0; x < width; ++x)
            lumaRow(row)[x] = y;
    for (uint32_t row = 0; row < chromaRows(); ++row)
        for (uint32_t x = 0; x < chromaBytes(); x += 2) {
            chromaRow(row)[x] = c0;
            chromaRow(row)[x + 1] = c1;
        }
}

Lut3DFrame TestFrame::descriptor()
{
    return Lut3DFrame { luma.data(), chroma.data(), nullptr, static_cast<int32_t>(lumaStride),
        static_cast<int32_t>(chromaStride) };
}

Lut3DFrame TestFrame::descriptorBottomUp()
{
    return Lut3DFrame { lumaRow(height - 1), chromaRow(chromaRows() - 1), nullptr,
        -static_cast<int32_t>(lumaStride), -static_cast<int32_t>(chromaStride) };
}

std::vector<uint8_t> TestFrame::pixels() const
{
    std::vector<uint8_t> out;
    for (uint32_t row = 0; row < height; ++row)
        out.insert(
            out.end(), luma.begin() + row * lumaStride, luma.begin() + row * lumaStride + width);
    for (uint32_t row = 0; row < chromaRows(); ++row)
        out.insert(out.end(), chroma.begin() + row * chromaStride,
            chroma.begin() + row * chromaStride + chromaBytes());
    return out;
}

bool TestFrame::paddingIntact() const
{
    for (uint32_t row = 0; row < height; ++row)
        for (uint32_t x = width; x < lumaStride; ++x)
            if (luma[row * lumaStride + x] != kSentinel)
                return false;
    for (uint32_t row = 0; row < chromaRows(); ++row)
        for (uint32_t x = chromaBytes(); x < chromaStride; ++x)
            if (chroma[row * chromaStride + x] != kSentinel)
                return false;
    return true;
}

std::vector<uint8_t> tableEntries(
    uint32_t n, uint8_t (*f)(uint32_t, uint32_t, uint32_t, uint32_t, int))
{
    std::vector<uint8_t> e;
    e.reserve(3 * n * n * n);
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b)
                for (int c = 0; c < 3; ++c)
                    e.push_back(f(n, r, g, b, c));
    return e;
}

std::vector<uint8_t> identityEntries(uint32_t n)
{
    return tableEntries(n, [](uint32_t n, uint32_t r, uint32_t g, uint32_t b, int c) {
        const uint32_t v = c == 0 ? r : (c == 1 ? g : b);
        return n < 2 ? uint8_t(0) : static_cast<uint8_t>(std::lround(v * 255.0 / (n - 1)));
    });
}

std::vector<uint8_t> randomEntries(uint32_t n, std::mt19937& rng)
{
    std::vector<uint8_t> e(3 * n * n * n);
    for (uint8_t& b : e)
        b = static_cast<uint8_t>(rng());
    return e;
}

std::vector<float> uniformLevels(uint32_t n)
{
    std::vector<float> levels(n);
    for (uint32_t i = 0; i < n; ++i)
        levels[i] = n < 2 ? 0.0f : static_cast<float>(i) / static_cast<float>(n - 1);
    return levels;
}

TablePtr buildTable(const std::vector<float>& levels, const std::vector<uint8_t>& entries)
{
    return TablePtr(
        Lut3DTableCreate(levels.data(), static_cast<uint32_t>(levels.size()), entries.data()));
}

TablePtr randomTable(const std::vector<float>& levels, uint32_t seed)
{
    std::mt19937 rng(seed);
    return buildTable(levels, randomEntries(static_cast<uint32_t>(levels.size()), rng));
}

std::vector<uint8_t> referenceRender(const TestFrame& input, const Lut3DTable* table,
    uint32_t format, uint32_t matrix, int32_t range, bool bottomUp)
{
    TestFrame f = input;
    const Lut3DFrame d = bottomUp ? f.descriptorBottomUp() : f.descriptor();
    if (!Lut3DRenderWithVariant(
            Lut3DKernelVariant::Reference, table, d, d, format, matrix, range, f.width, f.height))
        return {};
    return f.pixels();
}

std::vector<uint8_t> effectRender(Lut3DEffect* effect, const TestFrame& input,
    const Lut3DTable* table, uint32_t format, uint32_t matrix, int32_t range, bool inPlace,
    bool bottomUp)
{
    TestFrame source = input, separate(input.width, input.height, input.lumaStride - input.width);
    TestFrame& target = inPlace ? source : separate;
    Lut3DFrame s = bottomUp ? source.descriptorBottomUp() : source.descriptor();
    Lut3DFrame d = bottomUp ? target.descriptorBottomUp() : target.descriptor();
    const int32_t ok = ZecLut3DRenderEffect(effect, const_cast<Lut3DTable*>(table), &s, &d, format,
        matrix, range, input.width, static_cast<int32_t>(input.height), 0);
    if (ok != 1 || !target.paddingIntact() || !source.paddingIntact()
        || (!inPlace && source.pixels() != input.pixels()))
        return {};
    return target.pixels();
}
