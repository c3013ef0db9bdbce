// The effect's worker pool: batches, bands, pool setup by thread count, and
// pooled renders against the portable reference kernel.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "CZeThread.h"
#include "ZeLut3D.h"
#include "lut/Lut3DRender.h"
#include "lut/WorkerPool.h"
#include "lut/kernel/Lut3DKernel.h"
#include "support/MessageCapture.h"
#include "support/TestFrames.h"

namespace {

struct Band {
    uint32_t first, last;
    bool operator==(const Band& o) const { return first == o.first && last == o.last; }
};

std::vector<Band> bands(uint32_t height, uint32_t n)
{
    std::vector<Band> out;
    for (uint32_t i = 0; i < n; ++i) {
        Band b {};
        Lut3DBandRange(height, i, n, &b.first, &b.last);
        out.push_back(b);
    }
    return out;
}

TEST(Lut3DBands, TileTheFrameOnEvenRows)
{
    for (uint32_t h = 1; h <= 130; ++h) {
        for (uint32_t n = 1; n <= 20; ++n) {
            uint32_t covered = 0;
            const std::vector<Band> b = bands(h, n);
            for (uint32_t i = 0; i < n; ++i) {
                if (b[i].last <= b[i].first)
                    continue;
                ASSERT_EQ(b[i].first, covered) << "h " << h << " n " << n << " i " << i;
                ASSERT_EQ(b[i].first % 2, 0u);
                if (i != n - 1) {
                    ASSERT_EQ(b[i].last % 2, 0u);
                }
                covered = b[i].last;
            }
            ASSERT_EQ(covered, h) << "h " << h << " n " << n;
        }
    }
    // Tall frames: the band products do not wrap (a 32-bit H x 8 would give
    // 268435454 here).
    EXPECT_EQ(bands(0x7FFFFFFF, 16).back().last, 0x7FFFFFFFu);
    EXPECT_EQ(bands(0x7FFFFFFF, 16)[8].first, 1073741822u);
}

TEST(Lut3DBands, EachBandWritesOnlyItsRows)
{
    TablePtr table = randomTable(uniformLevels(9), 3);
    TestFrame input(24, 7, 5);
    input.fillRandom(11);
    const std::vector<uint8_t> expected = referenceRender(input, table.get(), 0, 1, 0);
    const uint32_t n = 3;
    for (uint32_t i = 0; i < n; ++i) {
        TestFrame f = input;
        const Lut3DFrame d = f.descriptor();
        alignas(64) Lut3DConstants k {};
        Lut3DBuildConstants(&k, table.get(), 1, 0);
        const Lut3DRenderJob job { { Lut3DKernelActive(), &k, table.get(), f.width, false }, d, d,
            f.height };
        uint32_t first = 0, last = 0;
        Lut3DBandRange(f.height, i, n, &first, &last);
        if (last > first)
            Lut3DRenderBand(job, first, last - first);

        // Compare row by row: luma rows of the band and their chroma rows
        // are rendered, everything else is untouched.
        const std::vector<uint8_t>& all = expected;
        for (uint32_t row = 0; row < f.height; ++row) {
            const bool inside = row >= first && row < last;
            const uint8_t* src = inside ? &all[row * f.width] : input.lumaRow(row);
            EXPECT_EQ(0, std::memcmp(f.lumaRow(row), src, f.width))
                << "worker " << i << " row " << row;
        }
        const size_t lumaBytes = static_cast<size_t>(f.width) * f.height;
        for (uint32_t row = 0; row < f.chromaRows(); ++row) {
            const bool inside = 2 * row >= first && 2 * row < last;
            const uint8_t* src
                = inside ? &all[lumaBytes + row * f.chromaBytes()] : input.chromaRow(row);
            EXPECT_EQ(0, std::memcmp(f.chromaRow(row), src, f.chromaBytes()))
                << "worker " << i << " chroma row " << row;
        }
        EXPECT_TRUE(f.paddingIntact());
    }
}

TEST(WorkerPool, BatchRunsTheJobOncePerWorkerAndWaits)
{
    struct Record {
        std::atomic<int> calls[5];
        std::atomic<int> wrongCount { 0 };
        std::atomic<int> finished { 0 };
    } record;
    for (auto& c : record.calls)
        c = 0;
    WorkerPool pool;
    ASSERT_TRUE(pool.start(5, CZeThread::InheritPriority));
    EXPECT_FALSE(pool.start(5, CZeThread::InheritPriority)); // started once only
    EXPECT_EQ(pool.workerCount(), 5u);
    constexpr int kBatches = 200;
    for (int b = 0; b < kBatches; ++b) {
        record.finished = 0;
        pool.runBatch(
            [](void* arg, uint32_t index, uint32_t count) {
                Record* r = static_cast<Record*>(arg);
                if (count != 5)
                    ++r->wrongCount;
                if (index == 4)
                    std::this_thread::yield(); // a slow worker: the batch still waits
                ++r->calls[index];
                ++r->finished;
            },
            &record);
        ASSERT_EQ(record.finished.load(), 5) << "batch " << b;
    }
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(record.calls[i].load(), kBatches) << "worker " << i;
    EXPECT_EQ(record.wrongCount.load(), 0);
    pool.stop();
    EXPECT_FALSE(pool.isStarted());
    EXPECT_EQ(pool.workerCount(), 0u);
    EXPECT_FALSE(pool.start(5, CZeThread::InheritPriority)); // and never restarted
}

TEST(WorkerPool, StopWakesSleepingWorkersAndEmptyPoolsReturnAtOnce)
{
    for (int i = 0; i < 20; ++i) {
        WorkerPool pool;
        ASSERT_TRUE(pool.start(4, CZeThread::InheritPriority));
        pool.stop();
        pool.stop(); // nothing left to stop
    }
    WorkerPool unstarted;
    int calls = 0;
    unstarted.runBatch([](void* arg, uint32_t, uint32_t) { ++*static_cast<int*>(arg); }, &calls);
    EXPECT_EQ(calls, 0);
}

// Sanitizer runtimes reserve terabytes of address space; an address-space
// limit cannot be set under them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZE_NO_ADDRESS_LIMIT 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZE_NO_ADDRESS_LIMIT 1
#endif
#endif

// Under a limit that lets only a few workers start, asking for a thousand
// stops at the first one that fails: one warning, no pool, and the effect
// renders on the caller's thread as if it had asked for one.
TEST(Lut3DEffectPool, WorkerLimitStopsAtTheFirstFailure)
{
#if defined(ZE_NO_ADDRESS_LIMIT)
    GTEST_SKIP() << "no address-space limit under a sanitizer";
#else
    TablePtr table = randomTable(uniformLevels(5), 12);
    TestFrame input(20, 9);
    input.fillRandom(13);
    const std::vector<uint8_t> expected = referenceRender(input, table.get(), 0, 0, 0);
    fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // Room for a handful of default-sized thread stacks, not a thousand.
        struct rlimit limit;
        getrlimit(RLIMIT_AS, &limit);
        long pages = 0;
        FILE* statm = std::fopen("/proc/self/statm", "r");
        if (!statm || std::fscanf(statm, "%ld", &pages) != 1)
            _exit(10);
        limit.rlim_cur = static_cast<rlim_t>(pages) * sysconf(_SC_PAGESIZE) + (48 << 20);
        if (setrlimit(RLIMIT_AS, &limit) != 0)
            _exit(11);
        MessageCapture capture;
        EffectPtr e(ZecLut3DCreateEffect(1000));
        if (e->pool)
            _exit(77); // the limit did not hold here (an emulator may ignore it)
        size_t warnings = 0;
        for (const CapturedMessage& m : capture.messages())
            warnings
                += m.text.find("CZeThread::start: Thread creation error: ") != std::string::npos;
        TestFrame f = input;
        Lut3DFrame d = f.descriptor();
        const bool rendered = ZecLut3DRenderEffect(e.get(), table.get(), &d, &d, 0, 0, 0, f.width,
                                  static_cast<int32_t>(f.height), 0)
            == 1;
        _exit(warnings != 1              ? 1
                : e->threadCount != 0    ? 2
                : !rendered              ? 3
                : f.pixels() != expected ? 4
                                         : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    if (WEXITSTATUS(status) == 77)
        GTEST_SKIP() << "the address-space limit is not enforced here";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "1: not one warning, 2: a pool, 3/4: bad fallback render";
#endif
}

struct RenderCase {
    uint32_t width, height, format, matrix;
    int32_t range;
    bool uniform;
};

TEST(Lut3DEffectPool, PooledRendersMatchTheReferenceBitForBit)
{
    const RenderCase cases[] = {
        { 64, 48, 0, 1, 0, true },
        { 37, 21, 1, 0, 1, true },
        { 17, 5, 0, 0, 2, false },
        { 8, 3, 1, 1, 0, false },
        { 1, 1, 0, 1, 0, true },
        { 130, 67, 1, 1, 1, false },
        { 33, 2, 0, 0, 0, true },
    };
    const std::vector<float> irregular = { 0.0f, 0.15f, 0.3f, 0.55f, 0.8f, 1.0f };
    TablePtr uniform = randomTable(uniformLevels(17), 21);
    TablePtr nonUniform = randomTable(irregular, 22);
    ASSERT_TRUE(uniform && nonUniform);

    for (const RenderCase& c : cases) {
        const Lut3DTable* table = c.uniform ? uniform.get() : nonUniform.get();
        TestFrame input(c.width, c.height, 3);
        input.fillRandom(c.width * 1000 + c.height);
        const std::vector<uint8_t> expected
            = referenceRender(input, table, c.format, c.matrix, c.range);

        for (uint32_t threads : { 1u, 0u, 2u, 3u, 16u }) {
            EffectPtr e(ZecLut3DCreateEffect(threads));
            for (bool inPlace : { false, true })
                EXPECT_EQ(effectRender(e.get(), input, table, c.format, c.matrix, c.range, inPlace),
                    expected)
                    << c.width << "x" << c.height << " threads " << threads
                    << (inPlace ? " in place" : "");
        }
    }
}

TEST(Lut3DEffectPool, RefusalsTouchNothing)
{
    MessageCapture capture;
    TablePtr table = randomTable(uniformLevels(5), 4);
    TestFrame f(16, 6, 2);
    f.fillRandom(9);
    const std::vector<uint8_t> before = f.pixels();
    EffectPtr pooled(ZecLut3DCreateEffect(3));
    ASSERT_NE(pooled->pool, nullptr);

    Lut3DFrame d = f.descriptor();
    EXPECT_EQ(ZecLut3DRenderEffect(pooled.get(), table.get(), &d, &d, 2, 0, 0, 16, 6, 0), 0);
    EXPECT_TRUE(capture.contains("We only support NV12 and NV21 pixel format right now!"));
    EXPECT_EQ(ZecLut3DRenderEffect(pooled.get(), table.get(), &d, &d, 0, 0, 0, 16, -6, 0), 0);
    EXPECT_EQ(f.pixels(), before);
    EXPECT_EQ(pooled->table, nullptr); // nothing recorded in the effect either
}

} // namespace
