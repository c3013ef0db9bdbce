// The effect under load from several host threads at once, as a video
// application drives it for hours: pooled effects rendering side by side
// through one shared table, tables loaded while others render, and effects
// created and destroyed over and over. Every frame must come out exactly as
// the portable reference kernel makes it, and nothing may be left running.
//
// Each case does a fixed amount of work, sized to take a few seconds under
// ThreadSanitizer on two cores; nothing here waits on a clock except the
// generous limit for finished threads to leave the process.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ZeLut3D.h"
#include "support/LutFileWriter.h"
#include "support/MessageCapture.h"
#include "support/ProcessThreads.h"
#include "support/TemporaryDirectory.h"
#include "support/TestFrames.h"

namespace {

constexpr int kHostThreads = 8;

// One render's arguments besides the table and the frames.
struct RenderJob {
    uint32_t width, height, spare;
    uint32_t format, matrix;
    int32_t range;
    bool bottomUp; // negative strides: row 0 is the last row in memory
    uint32_t seed;
};

// Widths and heights odd and even, narrow and wide, with and without row
// padding, top-down and bottom-up, over both formats, both matrices and
// both ranges.
std::vector<RenderJob> renderJobs()
{
    std::vector<RenderJob> jobs;
    const uint32_t sizes[][3] = { { 64, 36, 0 }, { 33, 17, 5 }, { 128, 9, 0 }, { 7, 40, 3 },
        { 96, 54, 16 }, { 1, 5, 0 }, { 50, 2, 2 }, { 81, 31, 1 } };
    uint32_t seed = 1;
    for (const auto& s : sizes) {
        jobs.push_back({ s[0], s[1], s[2], seed % 2, (seed / 2) % 2, int32_t(seed % 3 == 0),
            seed % 4 == 3, seed });
        ++seed;
    }
    return jobs;
}

TestFrame sourceOf(const RenderJob& job)
{
    TestFrame source(job.width, job.height, job.spare);
    source.fillRandom(job.seed);
    return source;
}

std::vector<uint8_t> referenceOf(Lut3DTable* table, const RenderJob& job)
{
    return referenceRender(sourceOf(job), table, job.format, job.matrix, job.range, job.bottomUp);
}

// Renders job's source with the effect, into a separate frame or in place;
// true when the frame equals `expected` and no padding byte changed.
bool renderMatches(Lut3DEffect* effect, Lut3DTable* table, const RenderJob& job, bool inPlace,
    const std::vector<uint8_t>& expected)
{
    return effectRender(effect, sourceOf(job), table, job.format, job.matrix, job.range, inPlace,
               job.bottomUp)
        == expected;
}

// Threads of the process once a first thread has come and gone, so that
// helper threads a runtime starts on first use (ThreadSanitizer's, for one)
// are counted already.
int settledThreads()
{
    std::thread([] {}).join();
    return processThreads();
}

// Joined workers may take a moment to leave the kernel's list; waits up to
// 30 s for the count to fall back to `baseline`.
bool threadsBackTo(int baseline)
{
    for (int i = 0; i < 3000 && processThreads() > baseline; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return processThreads() <= baseline;
}

// Releases every waiting thread at once, so that the threads' work overlaps.
class StartLine {
public:
    explicit StartLine(int parties)
        : m_waiting(parties)
    {
    }
    void arriveAndWait()
    {
        m_waiting.fetch_sub(1);
        while (m_waiting.load() > 0)
            std::this_thread::yield();
    }

private:
    std::atomic<int> m_waiting;
};

struct SharedTable {
    // The file always; the table itself only when `load` (a cold start loads
    // it on the racing threads).
    explicit SharedTable(bool load = true)
    {
        std::mt19937 rng(11);
        // Uneven levels, so that every render goes through the index table.
        std::vector<float> levels = uniformLevels(17);
        levels[5] += 0.02f;
        levels[11] -= 0.01f;
        path = dir.file("shared.lut");
        if (LutFileWriter(levels, randomEntries(17, rng)).write(path) && load)
            table = ZecLut3DLoadTableFromFile(path.c_str());
    }
    ~SharedTable() { ZecLut3DDestroyTable(table); }
    TemporaryDirectory dir;
    std::string path;
    Lut3DTable* table = nullptr;
};

} // namespace

// The first renders of the process, from eight host threads at once on
// pooled effects: whatever the library sets up on first use (such as the
// kernel it picks for this CPU) is set up under contention. Its own ctest
// entry runs it alone in a fresh process, under ThreadSanitizer too; the
// results are compared with the reference only after the race.
TEST(ZeLut3DStress, ColdStartFromManyThreadsAtOnce)
{
    SharedTable shared(false);
    const std::vector<RenderJob> jobs = renderJobs();
    std::vector<std::vector<uint8_t>> results(kHostThreads);
    std::vector<Lut3DEffect*> effects;
    for (int t = 0; t < kHostThreads; ++t)
        effects.push_back(ZecLut3DCreateEffect(uint32_t(2 + t % 3)));
    StartLine start(kHostThreads);
    std::vector<std::thread> hosts;
    for (int t = 0; t < kHostThreads; ++t)
        hosts.emplace_back([&, t] {
            const RenderJob& job = jobs[size_t(t) % jobs.size()];
            TestFrame frame = sourceOf(job);
            Lut3DFrame d = job.bottomUp ? frame.descriptorBottomUp() : frame.descriptor();
            start.arriveAndWait();
            // Loading sets up what the kernels read: a first use too.
            Lut3DTable* table = ZecLut3DLoadTableFromFile(shared.path.c_str());
            if (ZecLut3DRenderEffect(effects[size_t(t)], table, &d, &d, job.format, job.matrix,
                    job.range, job.width, int32_t(job.height), 0))
                results[size_t(t)] = frame.pixels();
            ZecLut3DDestroyTable(table);
        });
    for (std::thread& h : hosts)
        h.join();
    SharedTable reference;
    for (int t = 0; t < kHostThreads; ++t) {
        ZecLut3DDestroyEffect(effects[size_t(t)]);
        EXPECT_EQ(results[size_t(t)], referenceOf(reference.table, jobs[size_t(t) % jobs.size()]))
            << "host thread " << t;
    }
}

// Eight host threads, each with its own pooled effect (two to five workers),
// render every frame of the list in its own order, through one table, half
// of them in place. Each result equals the reference render, which a
// single-thread effect also reproduces.
TEST(ZeLut3DStress, PooledEffectsShareOneTable)
{
    SharedTable shared;
    ASSERT_NE(shared.table, nullptr);
    const std::vector<RenderJob> jobs = renderJobs();
    std::vector<std::vector<uint8_t>> expected;
    Lut3DEffect* single = ZecLut3DCreateEffect(1);
    for (const RenderJob& job : jobs) {
        expected.push_back(referenceOf(shared.table, job));
        EXPECT_TRUE(renderMatches(single, shared.table, job, false, expected.back()));
    }
    ZecLut3DDestroyEffect(single);

    constexpr int kRounds = 20;
    const int baseline = settledThreads();
    std::atomic<int> mismatches { 0 }, renders { 0 };
    StartLine start(kHostThreads);
    std::vector<std::thread> hosts;
    for (int t = 0; t < kHostThreads; ++t)
        hosts.emplace_back([&, t] {
            Lut3DEffect* effect = ZecLut3DCreateEffect(uint32_t(2 + t % 4));
            start.arriveAndWait();
            for (int round = 0; round < kRounds; ++round)
                for (size_t k = 0; k < jobs.size(); ++k) {
                    const size_t j = (k * 3 + size_t(t)) % jobs.size();
                    if (!renderMatches(
                            effect, shared.table, jobs[j], (k + t + round) % 2 == 0, expected[j]))
                        mismatches.fetch_add(1);
                    renders.fetch_add(1);
                }
            ZecLut3DDestroyEffect(effect);
        });
    for (std::thread& h : hosts)
        h.join();
    EXPECT_EQ(renders.load(), kHostThreads * kRounds * int(jobs.size()));
    EXPECT_EQ(mismatches.load(), 0);
    EXPECT_TRUE(threadsBackTo(baseline))
        << processThreads() << " threads, " << baseline << " before";
}

// While four threads render through the shared table, four others load
// tables of their own - valid and broken files - and destroy them again.
// Renders stay exact, every valid load succeeds, every broken one fails with
// its message.
TEST(ZeLut3DStress, TablesLoadWhileOthersRender)
{
    SharedTable shared;
    ASSERT_NE(shared.table, nullptr);
    std::mt19937 rng(12);
    const std::string valid = shared.dir.file("valid.lut");
    const std::string broken = shared.dir.file("broken.lut");
    ASSERT_TRUE(LutFileWriter(uniformLevels(9), randomEntries(9, rng)).write(valid));
    ASSERT_TRUE(LutFileWriter(uniformLevels(9), randomEntries(9, rng)).write(broken, 1));

    const std::vector<RenderJob> jobs = renderJobs();
    std::vector<std::vector<uint8_t>> expected;
    for (const RenderJob& job : jobs)
        expected.push_back(referenceOf(shared.table, job));

    MessageCapture capture;
    constexpr int kRounds = 10, kLoads = 100;
    std::atomic<int> mismatches { 0 }, loadFailures { 0 }, brokenLoaded { 0 };
    StartLine start(kHostThreads);
    std::vector<std::thread> hosts;
    for (int t = 0; t < kHostThreads; ++t)
        hosts.emplace_back([&, t] {
            start.arriveAndWait();
            if (t % 2 == 0) {
                Lut3DEffect* effect = ZecLut3DCreateEffect(t == 0 ? 1u : 3u);
                for (int round = 0; round < kRounds; ++round)
                    for (size_t j = 0; j < jobs.size(); ++j)
                        if (!renderMatches(effect, shared.table, jobs[j], j % 2 == 0, expected[j]))
                            mismatches.fetch_add(1);
                ZecLut3DDestroyEffect(effect);
                return;
            }
            for (int i = 0; i < kLoads; ++i) {
                Lut3DTable* own = ZecLut3DLoadTableFromFile(valid.c_str());
                loadFailures.fetch_add(own == nullptr);
                ZecLut3DDestroyTable(own);
                Lut3DTable* bad = ZecLut3DLoadTableFromFile(broken.c_str());
                brokenLoaded.fetch_add(bad != nullptr);
                ZecLut3DDestroyTable(bad);
            }
        });
    for (std::thread& h : hosts)
        h.join();
    EXPECT_EQ(mismatches.load(), 0);
    EXPECT_EQ(loadFailures.load(), 0);
    EXPECT_EQ(brokenLoaded.load(), 0);
    const auto messages = capture.messages();
    EXPECT_EQ(messages.size(), size_t(kHostThreads / 2 * kLoads));
    for (const CapturedMessage& m : messages)
        EXPECT_NE(m.text.find("Failed to read lut data!"), std::string::npos) << m.text;
}
