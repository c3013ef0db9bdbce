// The worker pool: a 1920x1080 render through the C interface on the caller's
// thread and on two workers, and the fixed cost of one batch (an empty job)
// on 2 and on 16 workers.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

#include "CZeThread.h"
#include "ZeLut3D.h"
#include "lut/Lut3DTableBuilder.h"
#include "lut/WorkerPool.h"

namespace {

constexpr uint32_t kWidth = 1920;
constexpr int32_t kHeight = 1080;

Lut3DTable* makeTable()
{
    const uint32_t n = 33;
    std::vector<float> levels(n);
    for (uint32_t i = 0; i < n; ++i)
        levels[i] = static_cast<float>(i) / static_cast<float>(n - 1);
    std::mt19937 rng(7);
    std::vector<uint8_t> entries(3 * n * n * n);
    for (uint8_t& b : entries)
        b = static_cast<uint8_t>(rng());
    return Lut3DTableCreate(levels.data(), n, entries.data());
}

void BM_Render1080p(benchmark::State& state)
{
    const uint32_t threads = static_cast<uint32_t>(state.range(0));
    std::vector<uint8_t> luma(static_cast<size_t>(kWidth) * kHeight);
    std::vector<uint8_t> chroma(static_cast<size_t>(kWidth) * kHeight / 2);
    std::mt19937 rng(1);
    for (uint8_t& b : luma)
        b = static_cast<uint8_t>(rng());
    for (uint8_t& b : chroma)
        b = static_cast<uint8_t>(rng());
    Lut3DFrame frame{luma.data(), chroma.data(), nullptr, static_cast<int32_t>(kWidth),
                     static_cast<int32_t>(kWidth)};
    Lut3DTable* table = makeTable();
    Lut3DEffect* effect = ZecLut3DCreateEffect(threads);
    for (auto _ : state) {
        const int32_t ok = ZecLut3DRenderEffect(effect, table, &frame, &frame, 0, 1, 0, kWidth,
                                                kHeight, 0);
        benchmark::DoNotOptimize(ok);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(luma.size() + chroma.size()));
    ZecLut3DDestroyEffect(effect);
    ZecLut3DDestroyTable(table);
}
BENCHMARK(BM_Render1080p)->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

void emptyJob(void*, uint32_t, uint32_t) {}

void BM_PoolEmptyBatch(benchmark::State& state)
{
    WorkerPool pool;
    pool.start(static_cast<uint32_t>(state.range(0)), CZeThread::InheritPriority);
    for (auto _ : state)
        pool.runBatch(emptyJob, nullptr);
    pool.stop();
}
BENCHMARK(BM_PoolEmptyBatch)->ArgName("workers")->Arg(2)->Arg(16)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
