// The reference kernel and the caller's-thread driver against hand-computed
// values and against a per-pixel model of the whole frame.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "lut/Lut3DTableBuilder.h"
#include "lut/kernel/Lut3DKernel.h"
#include "lut/kernel/Lut3DKernelMath.h"
#include "support/TestFrames.h"

namespace {

using namespace lut3d;

struct Constants {
    Constants(const Lut3DTable* t, uint32_t matrix, int32_t range)
    {
        Lut3DBuildConstants(k, t, matrix, range);
    }
    alignas(64) Lut3DConstants block{};
    Lut3DConstants* const k = &block;
};

// RGB of one pixel through the reference YUV->RGB step (8 identical lanes).
std::array<uint8_t, 3> toRgb(const Lut3DConstants* k, uint8_t y, uint8_t u, uint8_t v)
{
    uint8_t y0[8], uv[8], rgb0[24], rgb1[24];
    std::memset(y0, y, 8);
    for (int i = 0; i < 8; i += 2) {
        uv[i] = u;
        uv[i + 1] = v;
    }
    kLut3DKernelReference.yuvToRgb(k, y0, y0, uv, 0, rgb0, rgb1, 8);
    return {rgb0[0], rgb0[1], rgb0[2]};
}

TEST(Lut3DReferenceKernel, KnownYuvToRgb)
{
    TablePtr t = buildTable(uniformLevels(2), identityEntries(2));
    Constants video601(t.get(), 0, 0);
    EXPECT_EQ(toRgb(video601.k, 16, 128, 128), (std::array<uint8_t, 3>{0, 0, 0}));
    EXPECT_EQ(toRgb(video601.k, 235, 128, 128), (std::array<uint8_t, 3>{255, 255, 255}));
    EXPECT_EQ(toRgb(video601.k, 0, 128, 128), (std::array<uint8_t, 3>{0, 0, 0}));
    // Full chroma swing saturates: Y=128 with V=255 is deep red.
    EXPECT_EQ(toRgb(video601.k, 128, 128, 255)[0], 255);

    // Y=16 carries light only when the luma offset is 0 (range exactly 1):
    // (16 * 16 * 8192 >> 15 = 64, + 2) >> 2 = 16.
    Constants full(t.get(), 0, 1);
    Constants range2(t.get(), 0, 2);
    EXPECT_EQ(toRgb(full.k, 16, 128, 128), (std::array<uint8_t, 3>{16, 16, 16}));
    EXPECT_EQ(toRgb(range2.k, 16, 128, 128), (std::array<uint8_t, 3>{0, 0, 0}));
    EXPECT_EQ(toRgb(full.k, 255, 128, 128), (std::array<uint8_t, 3>{255, 255, 255}));
    EXPECT_EQ(toRgb(range2.k, 255, 128, 128), (std::array<uint8_t, 3>{239, 239, 239}));
}

TEST(Lut3DReferenceKernel, UniformLookupNeverReachesTheTopCellAlone)
{
    // R output = 7 x R index, so cells 31 and 32 hold 217 and 224.
    auto entries = tableEntries(33, [](uint32_t, uint32_t r, uint32_t, uint32_t, int c) {
        return c == 0 ? static_cast<uint8_t>(7 * r) : uint8_t(0);
    });
    TablePtr t = buildTable(uniformLevels(33), entries);
    Constants c(t.get(), 0, 0);
    uint32_t index, fraction;
    gridPosUniform(255, c.k->gridScale[0], &index, &fraction);
    EXPECT_EQ(index, 31u);
    EXPECT_EQ(fraction, 127u);
    uint8_t rgb[24] = {255, 0, 0};
    kLut3DKernelReference.gridLookup(c.k, t.get(), rgb, 8);
    EXPECT_EQ(rgb[0], (217 * 1 + 224 * 127) >> 7); // 223, not 224
}

TEST(Lut3DReferenceKernel, TrilinearOrderIsRThenGThenB)
{
    // Eight distinct corners; the truncating shifts make the order visible.
    auto entries = tableEntries(2, [](uint32_t, uint32_t r, uint32_t g, uint32_t b, int c) {
        static const uint8_t v[2][2][2] = {{{0, 255}, {90, 13}}, {{201, 77}, {255, 1}}};
        return static_cast<uint8_t>(c == 0 ? v[r][g][b] : 0);
    });
    TablePtr t = buildTable({0.0f, 1.0f}, entries);
    ASSERT_EQ(t->uniform, 1);
    Constants k(t.get(), 0, 0);
    uint8_t rgb[24] = {100, 150, 200};
    uint32_t i, fr, fg, fb;
    gridPosUniform(100, k.k->gridScale[0], &i, &fr);
    gridPosUniform(150, k.k->gridScale[0], &i, &fg);
    gridPosUniform(200, k.k->gridScale[0], &i, &fb);
    auto l = [](int a, int b, int f) { return (a * (128 - f) + b * f) >> 7; };
    const int e00 = l(0, 201, fr), e01 = l(255, 77, fr), e10 = l(90, 255, fr), e11 = l(13, 1, fr);
    const int expected = l(l(e00, e10, fg), l(e01, e11, fg), fb);
    kLut3DKernelReference.gridLookup(k.k, t.get(), rgb, 8);
    EXPECT_EQ(rgb[0], expected);
}

// A per-pixel model of a whole render, written straight from the arithmetic:
// no 8-pixel groups, no spans, no tails. An odd width's last chroma pair is
// averaged with a phantom column of Y = 0 sharing that pair.
std::vector<uint8_t> modelRender(TestFrame& f, const Lut3DTable* t, uint32_t fmt, uint32_t matrix,
                                 int32_t range)
{
    Constants c(t, matrix, range);
    const Lut3DConstants* k = c.k;
    const uint32_t w = f.width, h = f.height, cols = w + (w & 1);
    std::vector<std::array<uint8_t, 3>> rgb(static_cast<size_t>(cols) * h);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < cols; ++x) {
            const uint8_t* pair = f.chromaRow(y / 2) + (x & ~1u);
            const uint8_t luma = x < w ? f.lumaRow(y)[x] : 0;
            const uint8_t u = fmt ? pair[1] : pair[0], v = fmt ? pair[0] : pair[1];
            std::array<uint8_t, 3> p = toRgb(k, luma, u, v);
            uint8_t buf[24] = {p[0], p[1], p[2]};
            kLut3DKernelReference.gridLookup(k, t, buf, 8);
            rgb[y * cols + x] = {buf[0], buf[1], buf[2]};
        }
    std::vector<uint8_t> out;
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x)
            out.push_back(lumaOf(k, rgb[y * cols + x].data()));
    for (uint32_t cy = 0; cy < (h + 1) / 2; ++cy) {
        const uint32_t y0 = 2 * cy, y1 = std::min(2 * cy + 1, h - 1);
        for (uint32_t x = 0; x < cols; x += 2) {
            uint8_t a[3];
            for (int ch = 0; ch < 3; ++ch)
                a[ch] = average4(rgb[y0 * cols + x][ch], rgb[y0 * cols + x + 1][ch],
                                 rgb[y1 * cols + x][ch], rgb[y1 * cols + x + 1][ch]);
            const uint8_t u = chromaU(k, a[0], a[1], a[2]), v = chromaV(k, a[0], a[1], a[2]);
            out.push_back(fmt ? v : u);
            out.push_back(fmt ? u : v);
        }
    }
    return out;
}

struct Shape {
    uint32_t width, height;
};

TEST(Lut3DRender, MatchesPerPixelModelForEveryShape)
{
    std::mt19937 rng(11);
    std::vector<Shape> shapes;
    for (uint32_t w = 1; w <= 17; ++w)
        for (uint32_t h : {1u, 2u, 3u})
            shapes.push_back({w, h});
    shapes.push_back({1923, 7});
    shapes.push_back({4101, 3}); // crosses the 4096-column span
    shapes.push_back({37, 101});
    TablePtr uniform = buildTable(uniformLevels(17), randomEntries(17, rng));
    std::vector<float> levels = {0.0f, 0.1f, 0.15f, 0.5f, 0.93f, 1.0f};
    TablePtr indexed = buildTable(levels, randomEntries(6, rng));
    EffectPtr e(ZecLut3DCreateEffect(1));
    int i = 0;
    for (const Shape& s : shapes) {
        const Lut3DTable* t = (i % 2) ? indexed.get() : uniform.get();
        const uint32_t fmt = i % 2, matrix = (i / 2) % 2;
        const int32_t range = i % 3;
        ++i;
        TestFrame src(s.width, s.height, 5), dst(s.width, s.height, 9);
        src.fillRandom(i);
        dst.fillRandom(1000 + i);
        const std::vector<uint8_t> expected = modelRender(src, t, fmt, matrix, range);
        Lut3DFrame sd = src.descriptor(), dd = dst.descriptor();
        ASSERT_EQ(ZecLut3DRenderEffect(e.get(), const_cast<Lut3DTable*>(t), &sd, &dd, fmt, matrix,
                                       range, s.width, static_cast<int32_t>(s.height), 0),
                  1);
        EXPECT_EQ(dst.pixels(), expected) << s.width << "x" << s.height;
        EXPECT_TRUE(dst.paddingIntact()) << s.width << "x" << s.height;
        EXPECT_TRUE(src.paddingIntact());
    }
}

TEST(Lut3DRender, OneLevelTableGivesEveryPixelItsCell)
{
    TablePtr t = buildTable({0.5f}, {10, 200, 30});
    TestFrame f(13, 5);
    f.fillRandom(5);
    EffectPtr e(ZecLut3DCreateEffect(1));
    Lut3DFrame d = f.descriptor();
    ASSERT_EQ(ZecLut3DRenderEffect(e.get(), t.get(), &d, &d, 0, 0, 0, 13, 5, 0), 1);
    // BT.601 video: Y = ((66*10 + 129*200 + 25*30 + 128) >> 8) + 16 = 122,
    // U = 112*30 - 38*10 - 74*200 = -11820 -> -46 + 128 = 82,
    // V = 112*10 - 94*200 - 18*30 = -18220 -> -71 + 128 = 57.
    for (uint32_t y = 0; y < 5; ++y)
        for (uint32_t x = 0; x < 13; ++x)
            ASSERT_EQ(f.lumaRow(y)[x], 122);
    for (uint32_t y = 0; y < 3; ++y)
        for (uint32_t x = 0; x < 14; x += 2) {
            ASSERT_EQ(f.chromaRow(y)[x], 82);
            ASSERT_EQ(f.chromaRow(y)[x + 1], 57);
        }
}

// A bottom-up frame (negative strides) renders as the same image stored
// top-down.
TEST(Lut3DRender, BottomUpRendersTheSameImage)
{
    std::mt19937 rng(31);
    TablePtr t = buildTable(uniformLevels(33), randomEntries(33, rng));
    EffectPtr e(ZecLut3DCreateEffect(1));
    for (Shape s : { Shape { 45, 9 }, Shape { 8, 2 }, Shape { 640, 35 } }) {
        TestFrame src(s.width, s.height, 3), out(s.width, s.height, 3);
        src.fillRandom(s.width);
        Lut3DFrame sd = src.descriptor(), od = out.descriptor();
        ASSERT_EQ(ZecLut3DRenderEffect(e.get(), t.get(), &sd, &od, 0, 0, 0, s.width, s.height, 0), 1);
        TestFrame flippedSrc(s.width, s.height, 3), flippedDst(s.width, s.height, 3);
        for (uint32_t y = 0; y < s.height; ++y)
            std::memcpy(flippedSrc.lumaRow(s.height - 1 - y), src.lumaRow(y), s.width);
        for (uint32_t y = 0; y < src.chromaRows(); ++y)
            std::memcpy(flippedSrc.chromaRow(src.chromaRows() - 1 - y), src.chromaRow(y),
                        src.chromaBytes());
        Lut3DFrame fs = flippedSrc.descriptorBottomUp(), fd = flippedDst.descriptorBottomUp();
        ASSERT_EQ(ZecLut3DRenderEffect(e.get(), t.get(), &fs, &fd, 0, 0, 0, s.width, s.height, 0), 1);
        for (uint32_t y = 0; y < s.height; ++y)
            ASSERT_EQ(0, std::memcmp(flippedDst.lumaRow(s.height - 1 - y), out.lumaRow(y), s.width));
        for (uint32_t y = 0; y < out.chromaRows(); ++y)
            ASSERT_EQ(0, std::memcmp(flippedDst.chromaRow(out.chromaRows() - 1 - y),
                                     out.chromaRow(y), out.chromaBytes()));
        EXPECT_TRUE(flippedDst.paddingIntact());
    }
}

} // namespace
