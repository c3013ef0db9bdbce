// The exported C functions: checks, results and messages.
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "CZeDebugLog.h"
#include "ZeLut3D.h"
#include "lut/Lut3DTableBuilder.h"
#include "lut/kernel/Lut3DKernel.h"
#include "support/MessageCapture.h"
#include "support/TestFrames.h"

namespace {

const char kFormatMessage[] = "We only support NV12 and NV21 pixel format right now!";

struct Fixture {
    Fixture()
        : rng(5)
        , frame(16, 4)
        , table(nullptr)
        , effect(ZecLut3DCreateEffect(1))
    {
        table = Lut3DTableCreate(uniformLevels(5).data(), 5, randomEntries(5, rng).data());
        frame.fillRandom(1);
        desc = frame.descriptor();
    }
    ~Fixture()
    {
        ZecLut3DDestroyEffect(effect);
        ZecLut3DDestroyTable(table);
    }
    std::mt19937 rng;
    TestFrame frame;
    Lut3DFrame desc;
    Lut3DTable* table;
    Lut3DEffect* effect;
};

TEST(ZeLut3DApi, RefusedWithoutMessage)
{
    MessageCapture capture;
    Fixture f;
    const auto before = f.frame.pixels();
    Lut3DFrame* d = &f.desc;
    EXPECT_EQ(ZecLut3DRenderEffect(nullptr, f.table, d, d, 0, 0, 0, 16, 4, 0), 0);
    EXPECT_EQ(ZecLut3DRenderEffect(f.effect, nullptr, d, d, 0, 0, 0, 16, 4, 0), 0);
    EXPECT_EQ(ZecLut3DRenderEffect(f.effect, f.table, nullptr, d, 0, 0, 0, 16, 4, 0), 0);
    EXPECT_EQ(ZecLut3DRenderEffect(f.effect, f.table, d, nullptr, 0, 0, 0, 16, 4, 0), 0);
    EXPECT_EQ(ZecLut3DRenderEffect(f.effect, f.table, d, d, 0, 0, 0, 0, 4, 0), 0);
    EXPECT_EQ(ZecLut3DRenderEffect(f.effect, f.table, d, d, 0, 0, 0, 16, 0, 0), 0);
    // Null pointer checks come before size checks, and both before the format.
    EXPECT_EQ(ZecLut3DRenderEffect(f.effect, nullptr, d, d, 2, 0, 0, 16, 4, 0), 0);
    EXPECT_EQ(ZecLut3DRenderEffect(f.effect, f.table, d, d, 5, 0, 0, 0, 4, 0), 0);
    // A negative height is refused too, with nothing touched.
    EXPECT_EQ(ZecLut3DRenderEffect(f.effect, f.table, d, d, 0, 0, 0, 16, -4, 0), 0);
    EXPECT_EQ(capture.count(), 0u);
    EXPECT_EQ(f.frame.pixels(), before);
}

TEST(ZeLut3DApi, PixelFormatTwoOrMoreIsRefusedWithError)
{
    MessageCapture capture;
    Fixture f;
    const auto before = f.frame.pixels();
    for (uint32_t format : { 2u, 3u, 0xFFFFFFFFu }) {
        capture.clear();
        EXPECT_EQ(
            ZecLut3DRenderEffect(f.effect, f.table, &f.desc, &f.desc, format, 0, 0, 16, 4, 0), 0);
        const auto m = capture.messages();
        ASSERT_EQ(m.size(), 1u);
        EXPECT_EQ(m[0].priority, 6);
        EXPECT_EQ(m[0].tag, "tavren");
        const std::string& text = m[0].text;
        ASSERT_GE(text.size(), sizeof kFormatMessage - 1);
        EXPECT_EQ(text.substr(text.size() - (sizeof kFormatMessage - 1)), kFormatMessage);
    }
    EXPECT_EQ(f.frame.pixels(), before);
    // At level 0 the refusal is silent.
    capture.clear();
    CZeDebugLog::SetDebugLevel(CZeDebugLog::DebugLevelNone);
    EXPECT_EQ(ZecLut3DRenderEffect(f.effect, f.table, &f.desc, &f.desc, 2, 0, 0, 16, 4, 0), 0);
    EXPECT_EQ(capture.count(), 0u);
}

TEST(ZeLut3DApi, RenderRecordsArgumentsAndSucceeds)
{
    MessageCapture capture;
    Fixture f;
    TestFrame out(16, 4);
    Lut3DFrame o = out.descriptor();
    EXPECT_EQ(ZecLut3DRenderEffect(f.effect, f.table, &f.desc, &o, 1, 1, 1, 16, 4, 77), 1);
    EXPECT_EQ(capture.count(), 0u);
    // Width 1, height 1: one luma byte and one chroma pair are written.
    TestFrame one(1, 1, 7);
    one.fillRandom(2);
    Lut3DFrame od = one.descriptor();
    EXPECT_EQ(ZecLut3DRenderEffect(f.effect, f.table, &od, &od, 0, 0, 0, 1, 1, 0), 1);
    EXPECT_TRUE(one.paddingIntact());
}

// A host may pin an effect to any variant this CPU runs; each renders the
// reference's bytes, and an unknown or unrunnable name changes nothing.
TEST(ZeLut3DApi, EffectKernelChoiceKeepsTheBytes)
{
    Fixture f;
    const std::vector<uint8_t> expected = referenceRender(f.frame, f.table, 1, 1, 0);
    for (const char* name :
        { "C", "SSE4.1", "AVX2", "AVX-512", "NEON", "", "avx2", (const char*)nullptr }) {
        const bool runnable = !name || !*name || Lut3DKernelFind(name);
        EXPECT_EQ(ZecLut3DSetEffectKernel(f.effect, name), runnable ? 1 : 0)
            << (name ? name : "null");
        EXPECT_EQ(effectRender(f.effect, f.frame, f.table, 1, 1, 0), expected)
            << (name ? name : "null");
    }
    EXPECT_EQ(ZecLut3DSetEffectKernel(nullptr, "C"), 0);
}

} // namespace
