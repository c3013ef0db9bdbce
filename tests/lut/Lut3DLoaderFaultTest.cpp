// Fault injection through the loader's allocation point (replaced at link
// time, FailingAllocation.h): the allocations of one successful call are
// counted, then each of them is made to fail in turn.
// Every such call must give the neutral result, say nothing, and leave no
// block behind. Under AddressSanitizer the leak checker runs after every
// injected failure, so a leak is pinned to the allocation that caused it;
// other builds still check the result and the silence.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "FailingAllocation.h"
#include "ZeLut3D.h"
#include "lut/Lut3DTableBuilder.h"
#include "lut/kernel/Lut3DKernel.h"
#include "support/LutFileWriter.h"
#include "support/MessageCapture.h"
#include "support/TemporaryDirectory.h"
#include "support/TestFrames.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZE_TEST_LEAK_CHECK 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) && !defined(ZE_TEST_LEAK_CHECK)
#define ZE_TEST_LEAK_CHECK 1
#endif
#if defined(ZE_TEST_LEAK_CHECK)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

// True when nothing is leaked at this point (always true without the checker).
bool noLeaks()
{
#if defined(ZE_TEST_LEAK_CHECK)
    return __lsan_do_recoverable_leak_check() == 0;
#else
    return true;
#endif
}

std::vector<float> unevenLevels(uint32_t n)
{
    std::vector<float> levels = uniformLevels(n);
    for (uint32_t i = 1; i + 1 < n; ++i)
        levels[i] += (i % 2 ? 0.01f : -0.005f);
    return levels;
}

struct LoadCase {
    const char* name;
    LutFileWriter writer;
    size_t cutBytes;
    const char* message; // what a load without injected failure says, or null
    bool loads;
};

} // namespace

// Files that load, and files refused after the loader has allocated: every
// allocation of the load fails in turn, and each time the load returns null
// silently with nothing leaked. Without a failure the load behaves as usual.
TEST(Lut3DLoaderFaults, EachAllocationOfALoadFailsCleanly)
{
    TemporaryDirectory dir;
    std::mt19937 rng(77);
    LoadCase cases[] = {
        {"single level", LutFileWriter({0.5f}, randomEntries(1, rng)), 0, nullptr, true},
        {"uniform", LutFileWriter(uniformLevels(9), randomEntries(9, rng)), 0, nullptr, true},
        {"uneven", LutFileWriter(unevenLevels(17), randomEntries(17, rng)), 0, nullptr, true},
        {"largest", LutFileWriter(uniformLevels(65), randomEntries(65, rng)), 0, nullptr, true},
        {"one-dimensional",
         LutFileWriter(uniformLevels(4), std::vector<uint8_t>(12, 7)).dimensions(0), 0,
         "We only support 3D LUT file!", false},
        {"wide entries",
         LutFileWriter(uniformLevels(2), std::vector<uint8_t>(12 * 8, 1)).entryType(3), 0,
         "We only support uint8 LUT file!", false},
        {"short entries", LutFileWriter(uniformLevels(5), randomEntries(5, rng)), 1,
         "Failed to read lut data!", false},
    };
    MessageCapture capture;
    ASSERT_TRUE(noLeaks());
    for (LoadCase& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.file("t.lut");
        ASSERT_TRUE(c.writer.write(path, c.cutBytes));

        capture.clear();
        Lut3DTable* table = nullptr;
        const unsigned long count =
            allocationsOf([&] { table = ZecLut3DLoadTableFromFile(path.c_str()); });
        EXPECT_EQ(table != nullptr, c.loads);
        ZecLut3DDestroyTable(table);
        if (c.message)
            EXPECT_TRUE(capture.contains(c.message));
        else
            EXPECT_EQ(capture.count(), 0u);
        // Record and level values at least, whatever the file holds.
        EXPECT_GE(count, 2u);

        for (unsigned long i = 0; i < count; ++i) {
            SCOPED_TRACE("allocation " + std::to_string(i) + " of " + std::to_string(count));
            capture.clear();
            unsigned long asked = 0;
            {
                FailingAllocation failing(i);
                asked = allocationsOf([&] { table = ZecLut3DLoadTableFromFile(path.c_str()); });
            }
            EXPECT_EQ(table, nullptr);
            ZecLut3DDestroyTable(table);
            // A failed allocation ends the load: nothing after it is asked for.
            EXPECT_EQ(asked, i + 1);
            EXPECT_EQ(capture.count(), 0u);
            EXPECT_TRUE(noLeaks());
        }
    }
}

// A table built in memory fails the same way at each of its allocations.
TEST(Lut3DLoaderFaults, EachAllocationOfABuiltTableFailsCleanly)
{
    std::mt19937 rng(78);
    const std::vector<float> levels = unevenLevels(6);
    const std::vector<uint8_t> entries = randomEntries(6, rng);
    Lut3DTable* table = nullptr;
    const unsigned long count =
        allocationsOf([&] { table = Lut3DTableCreate(levels.data(), 6, entries.data()); });
    ASSERT_NE(table, nullptr);
    Lut3DTableDestroy(table);
    // Record, grid, index table, and the pair grid where the kernel reads one.
    EXPECT_EQ(count, Lut3DKernelPairGridNeeded() ? 4u : 3u);
    for (unsigned long i = 0; i < count; ++i) {
        SCOPED_TRACE(i);
        {
            FailingAllocation failing(i);
            table = Lut3DTableCreate(levels.data(), 6, entries.data());
        }
        EXPECT_EQ(table, nullptr);
        Lut3DTableDestroy(table);
        EXPECT_TRUE(noLeaks());
    }
}

// An effect whose constants block cannot be had is still returned; each of
// its renders is refused silently with the frame untouched, and destroying
// it frees what it has.
TEST(Lut3DLoaderFaults, EffectWithoutConstantsRefusesEveryRender)
{
    std::mt19937 rng(79);
    Lut3DTable* table = Lut3DTableCreate(uniformLevels(5).data(), 5, randomEntries(5, rng).data());
    ASSERT_NE(table, nullptr);
    TestFrame frame(24, 6, 4);
    frame.fillRandom(3);
    Lut3DFrame desc = frame.descriptor();
    const std::vector<uint8_t> before = frame.pixels();
    MessageCapture capture;
    for (uint32_t threads : {1u, 3u}) {
        SCOPED_TRACE(threads);
        Lut3DEffect* effect = nullptr;
        const unsigned long count =
            allocationsOf([&] { effect = ZecLut3DCreateEffect(threads); });
        ZecLut3DDestroyEffect(effect);
        ASSERT_EQ(count, 1u); // the constants block
        {
            FailingAllocation failing(0);
            effect = ZecLut3DCreateEffect(threads);
        }
        ASSERT_NE(effect, nullptr);
        for (uint32_t format : {0u, 1u, 2u})
            EXPECT_EQ(ZecLut3DRenderEffect(effect, table, &desc, &desc, format, 0, 0, 24, 6, 0), 0);
        ZecLut3DDestroyEffect(effect);
        EXPECT_TRUE(noLeaks());
    }
    EXPECT_EQ(frame.pixels(), before);
    EXPECT_TRUE(frame.paddingIntact());
    EXPECT_EQ(capture.count(), 0u);
    ZecLut3DDestroyTable(table);
}
