// Render kernel speed: every variant this CPU runs, side by side with the
// portable reference, on whole NV12 frames.
//
//   RowPair/<variant>/<size>/<table>    the row-pair wrapper over a frame
//   Render/threads:<n>/<size>/<table>   ZecLut3DRenderEffect, n worker threads
//                                       (1 = the caller's thread)
//
// Counters: ms/frame, ns/pixel, speedup (against the reference on the same
// size and table, when it ran first) and allocs/frame (heap allocations made
// while rendering, glibc only). Frames are camera-like: smooth gradients with
// a little noise, so that neighbouring pixels use neighbouring grid cells as
// in video; the "noise" cases use random bytes, the worst case for the grid's
// caches. Tables have 33 levels per axis, evenly spaced ("uniform33") or
// spaced by a power curve ("nonuniform33", through the index table).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include "ZeLut3D.h"
#include "lut/Lut3DMemory.h"
#include "lut/Lut3DTableBuilder.h"
#include "lut/Lut3DRender.h"

#if defined(__GLIBC__)
#include <cerrno>

// Every heap allocation of the process is counted, so that a render that
// allocates shows up in allocs/frame.
namespace {
std::atomic<uint64_t> g_allocations{0};
}

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);

void* malloc(size_t n) noexcept
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(n);
}
void* calloc(size_t count, size_t n) noexcept
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, n);
}
void* realloc(void* p, size_t n) noexcept
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(p, n);
}
void* memalign(size_t alignment, size_t n) noexcept
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_memalign(alignment, n);
}
void* aligned_alloc(size_t alignment, size_t n) noexcept
{
    return memalign(alignment, n);
}
int posix_memalign(void** out, size_t alignment, size_t n) noexcept
{
    if (alignment < sizeof(void*) || (alignment & (alignment - 1)) != 0)
        return EINVAL;
    void* p = memalign(alignment, n);
    if (!p)
        return ENOMEM;
    *out = p;
    return 0;
}
}

static uint64_t allocationCount()
{
    return g_allocations.load(std::memory_order_relaxed);
}
#else
static uint64_t allocationCount()
{
    return 0;
}
#endif

namespace {

// The machine may be shared: a single-threaded case is timed by the CPU time
// of its thread, which other processes do not inflate; a multi-threaded one by
// the wall clock, since its work runs on other threads.
class Stopwatch {
public:
    explicit Stopwatch(bool wall) : wall_(wall), start_(now()) {}
    double seconds() const { return now() - start_; }

private:
    double now() const
    {
        timespec t;
        clock_gettime(wall_ ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &t);
        return static_cast<double>(t.tv_sec) + t.tv_nsec * 1e-9;
    }
    bool wall_;
    double start_;
};

struct Size {
    uint32_t width, height;
};
constexpr Size kSizes[] = {{1280, 720}, {1920, 1080}, {3840, 2160}};

// Worker counts of the public-interface cases; 1 renders on the caller's thread.
constexpr uint32_t kThreadCounts[] = {1, 2};

enum class Content { Camera, Noise };

// A tightly packed NV12 frame.
struct Frame {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> luma, chroma;

    uint32_t chromaStride() const { return (width + 1) & ~1u; }
    uint8_t* lumaRow(uint32_t y) { return luma.data() + static_cast<size_t>(y) * width; }
    uint8_t* chromaRow(uint32_t y)
    {
        return chroma.data() + static_cast<size_t>(y) * chromaStride();
    }
    Lut3DFrame descriptor()
    {
        return Lut3DFrame{luma.data(), chroma.data(), nullptr, static_cast<int32_t>(width),
                          static_cast<int32_t>(chromaStride())};
    }
};

uint8_t clampByte(double v)
{
    return static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L));
}

Frame makeFrame(Size s, Content content)
{
    Frame f;
    f.width = s.width;
    f.height = s.height;
    f.luma.resize(static_cast<size_t>(s.width) * s.height);
    f.chroma.resize(static_cast<size_t>(f.chromaStride()) * ((s.height + 1) / 2));
    std::mt19937 rng(7);
    if (content == Content::Noise) {
        for (uint8_t& b : f.luma)
            b = static_cast<uint8_t>(rng());
        for (uint8_t& b : f.chroma)
            b = static_cast<uint8_t>(rng());
        return f;
    }
    std::uniform_int_distribution<int> noise(-3, 3);
    const double w = s.width, h = s.height;
    for (uint32_t y = 0; y < s.height; ++y)
        for (uint32_t x = 0; x < s.width; ++x) {
            const double shape = std::sin(x * 9.0 / w) * std::cos(y * 7.0 / h);
            f.lumaRow(y)[x] = clampByte(126 + 60 * shape + 40 * (x / w - y / h) + noise(rng));
        }
    for (uint32_t y = 0; y < (s.height + 1) / 2; ++y)
        for (uint32_t x = 0; x < f.chromaStride(); x += 2) {
            f.chromaRow(y)[x] = clampByte(128 + 50 * std::sin(x * 3.0 / w + y * 5.0 / h));
            f.chromaRow(y)[x + 1] = clampByte(128 + 45 * std::cos(x * 4.0 / w - y * 2.0 / h));
        }
    return f;
}

const Frame& cachedFrame(Size s, Content content)
{
    static std::map<std::tuple<uint32_t, uint32_t, Content>, Frame> frames;
    auto key = std::make_tuple(s.width, s.height, content);
    auto it = frames.find(key);
    if (it == frames.end())
        it = frames.emplace(key, makeFrame(s, content)).first;
    return it->second;
}

struct TableDeleter {
    void operator()(Lut3DTable* t) const { ZecLut3DDestroyTable(t); }
};
using TablePtr = std::unique_ptr<Lut3DTable, TableDeleter>;

// A warm, contrasty grade with some cross-channel mixing: smooth, as real
// looks are.
TablePtr makeTable(bool uniform)
{
    constexpr uint32_t n = 33;
    std::vector<float> levels(n);
    for (uint32_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / (n - 1);
        levels[i] = static_cast<float>(uniform ? t : std::pow(t, 1.6));
    }
    std::vector<uint8_t> entries;
    entries.reserve(3 * n * n * n);
    auto curve = [](double v) { return v * v * (3 - 2 * v); };
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b) {
                const double R = levels[r], G = levels[g], B = levels[b];
                entries.push_back(clampByte(255 * curve(std::min(1.0, 1.06 * R + 0.04 * G))));
                entries.push_back(clampByte(255 * curve(0.02 * R + 0.96 * G + 0.02 * B)));
                entries.push_back(clampByte(255 * curve(0.9 * B + 0.05 * G)));
            }
    return TablePtr(Lut3DTableCreate(levels.data(), n, entries.data()));
}

const Lut3DTable* cachedTable(bool uniform)
{
    static const TablePtr tables[2] = {makeTable(false), makeTable(true)};
    return tables[uniform ? 1 : 0].get();
}

// Reference ms/frame by case name (without the variant), for the speed-up.
std::map<std::string, double>& referenceTimes()
{
    static std::map<std::string, double> times;
    return times;
}

// Sets the counters from the time of the timed loop.
void report(benchmark::State& state, double seconds, uint64_t allocations, Size s,
            const std::string& caseName, bool isReference)
{
    const double frames = static_cast<double>(state.iterations());
    const double msPerFrame = seconds * 1e3 / frames;
    state.counters["ms/frame"] = msPerFrame;
    state.counters["ns/pixel"] = seconds * 1e9 / (frames * s.width * s.height);
    state.counters["allocs/frame"] = static_cast<double>(allocations) / frames;
    if (isReference)
        referenceTimes()[caseName] = msPerFrame;
    else if (referenceTimes().count(caseName))
        state.counters["speedup"] = referenceTimes()[caseName] / msPerFrame;
}

void benchRowPairs(benchmark::State& state, Lut3DKernelVariant variant, Size s, bool uniform,
                   Content content, const std::string& caseName)
{
    const Lut3DKernelOps* ops = Lut3DKernelGet(variant);
    if (!ops) {
        state.SkipWithError("variant not supported by this CPU");
        return;
    }
    Frame src = cachedFrame(s, content);
    Frame dst = src;
    const Lut3DFrame sd = src.descriptor(), dd = dst.descriptor();
    const Lut3DTable* table = cachedTable(uniform);

    const uint64_t allocationsBefore = allocationCount();
    const Stopwatch watch(false);
    for (auto _ : state) {
        // The driver's caller's-thread walk with this variant, BT.709 video range.
        Lut3DRenderWithVariant(variant, table, sd, dd, 0, 1, 0, s.width, s.height);
        benchmark::DoNotOptimize(dst.luma.data());
        benchmark::ClobberMemory();
    }
    report(state, watch.seconds(), allocationCount() - allocationsBefore, s, caseName,
           variant == Lut3DKernelVariant::Reference);
}

void benchRender(benchmark::State& state, uint32_t threads, Size s, bool uniform,
                 const std::string& caseName)
{
    Frame src = cachedFrame(s, Content::Camera);
    Frame dst = src;
    Lut3DFrame sd = src.descriptor(), dd = dst.descriptor();
    Lut3DTable* table = const_cast<Lut3DTable*>(cachedTable(uniform));
    Lut3DEffect* effect = ZecLut3DCreateEffect(threads);

    const uint64_t allocationsBefore = allocationCount();
    const Stopwatch watch(threads != 1);
    for (auto _ : state) {
        if (!ZecLut3DRenderEffect(effect, table, &sd, &dd, 0, 1, 0, s.width,
                                  static_cast<int32_t>(s.height), 0)) {
            state.SkipWithError("render refused");
            break;
        }
        benchmark::DoNotOptimize(dst.luma.data());
        benchmark::ClobberMemory();
    }
    report(state, watch.seconds(), allocationCount() - allocationsBefore, s, caseName, false);
    ZecLut3DDestroyEffect(effect);
}

enum class Step { YuvToRgb, GridLookup, RgbToYuv };

// One step alone over a 1920-pixel row pair of camera content, repeated; the
// steps can be tuned and replaced on their own.
void benchStep(benchmark::State& state, Lut3DKernelVariant variant, Step step, bool uniform)
{
    const Lut3DKernelOps* ops = Lut3DKernelGet(variant);
    if (!ops) {
        state.SkipWithError("variant not supported by this CPU");
        return;
    }
    constexpr uint32_t kWidth = 1920;
    Frame frame = cachedFrame({kWidth, 1080}, Content::Camera);
    const Lut3DTable* table = cachedTable(uniform);
    std::unique_ptr<Lut3DConstants, void (*)(void*)> k(
        static_cast<Lut3DConstants*>(Lut3DAlignedAlloc(sizeof(Lut3DConstants))), Lut3DAlignedFree);
    std::memset(k.get(), 0, sizeof(Lut3DConstants));
    Lut3DBuildConstants(k.get(), table, 1, 0);
    std::vector<uint8_t> rgb(6 * kWidth), scratch(6 * kWidth), y(2 * kWidth), uv(kWidth);
    uint32_t row = 0;
    const Stopwatch watch(false);
    for (auto _ : state) {
        // Walk down the frame so that the grid sees a frame's variety of colours.
        row = (row + 2) % 1080;
        ops->yuvToRgb(k.get(), frame.lumaRow(row), frame.lumaRow(row + 1), frame.chromaRow(row / 2),
                      0, rgb.data(), rgb.data() + 3 * kWidth, kWidth);
        if (step == Step::YuvToRgb)
            continue;
        if (step == Step::GridLookup) {
            std::memcpy(scratch.data(), rgb.data(), rgb.size());
            ops->gridLookup(k.get(), table, scratch.data(), 2 * kWidth);
            benchmark::DoNotOptimize(scratch.data());
            continue;
        }
        ops->rgbToYuv(k.get(), rgb.data(), rgb.data() + 3 * kWidth, y.data(), y.data() + kWidth,
                      uv.data(), 0, kWidth);
        benchmark::DoNotOptimize(uv.data());
    }
    // ns per pixel including the conversion that feeds the step (see YuvToRgb).
    state.counters["ns/pixel"] =
        watch.seconds() * 1e9 / (static_cast<double>(state.iterations()) * 2 * kWidth);
}

std::string sizeName(Size s)
{
    return std::to_string(s.width) + "x" + std::to_string(s.height);
}

// Unit, clock and a "min" aggregate: with --benchmark_repetitions=N on a busy
// machine, the fastest repetition is the best estimate of the code's cost.
void configure(benchmark::internal::Benchmark* b, bool wallClock, benchmark::TimeUnit unit)
{
    b->Unit(unit)->ComputeStatistics("min", [](const std::vector<double>& v) {
        return *std::min_element(v.begin(), v.end());
    });
    if (wallClock)
        b->UseRealTime();
}

void registerAll()
{
    struct Named {
        Lut3DKernelVariant variant;
        const char* name;
    };
    // The reference first: the others report their speed-up against it.
    const Named variants[] = {{Lut3DKernelVariant::Reference, "C"},
                              {Lut3DKernelVariant::SSE41, "SSE4.1"},
                              {Lut3DKernelVariant::AVX2, "AVX2"},
                              {Lut3DKernelVariant::AVX512, "AVX-512"},
                              {Lut3DKernelVariant::NEON, "NEON"}};
    for (Size s : kSizes)
        for (bool uniform : {true, false}) {
            const std::string caseName = sizeName(s) + (uniform ? "/uniform33" : "/nonuniform33");
            for (const Named& v : variants) {
                if (v.variant != Lut3DKernelVariant::Reference && !Lut3DKernelGet(v.variant))
                    continue;
                configure(benchmark::RegisterBenchmark(
                              ("RowPair/" + std::string(v.name) + "/" + caseName).c_str(),
                              [=](benchmark::State& st) {
                                  benchRowPairs(st, v.variant, s, uniform, Content::Camera,
                                                caseName);
                              }),
                          false, benchmark::kMillisecond);
            }
        }
    const Size hd{1920, 1080};
    const std::string noiseCase = sizeName(hd) + "/uniform33/noise";
    for (const Named& v : variants) {
        if (v.variant != Lut3DKernelVariant::Reference && !Lut3DKernelGet(v.variant))
            continue;
        configure(benchmark::RegisterBenchmark(
                      ("RowPair/" + std::string(v.name) + "/" + noiseCase).c_str(),
                      [=](benchmark::State& st) {
                          benchRowPairs(st, v.variant, hd, true, Content::Noise, noiseCase);
                      }),
                  false, benchmark::kMillisecond);
    }
    const std::pair<Step, const char*> steps[] = {{Step::YuvToRgb, "yuvToRgb"},
                                                  {Step::GridLookup, "gridLookup+yuvToRgb"},
                                                  {Step::RgbToYuv, "rgbToYuv+yuvToRgb"}};
    for (const Named& v : variants) {
        if (v.variant != Lut3DKernelVariant::Reference && !Lut3DKernelGet(v.variant))
            continue;
        for (const auto& step : steps)
            for (bool uniform : {true, false}) {
                if (step.first != Step::GridLookup && !uniform)
                    continue;
                const std::string table =
                    step.first != Step::GridLookup ? "" : uniform ? "/uniform33" : "/nonuniform33";
                configure(benchmark::RegisterBenchmark(
                              ("Step/" + std::string(v.name) + "/" + step.second + table).c_str(),
                              [=](benchmark::State& st) {
                                  benchStep(st, v.variant, step.first, uniform);
                              }),
                          false, benchmark::kMicrosecond);
            }
    }
    for (uint32_t threads : kThreadCounts)
        for (Size s : kSizes)
            for (bool uniform : {true, false}) {
                const std::string caseName =
                    sizeName(s) + (uniform ? "/uniform33" : "/nonuniform33");
                configure(benchmark::RegisterBenchmark(
                              ("Render/threads:" + std::to_string(threads) + "/" + caseName)
                                  .c_str(),
                              [=](benchmark::State& st) {
                                  benchRender(st, threads, s, uniform, caseName);
                              }),
                          threads != 1, benchmark::kMillisecond);
            }
}

} // namespace

// CPU time of the whole machine (all processors, busy and idle) and of this
// process, in clock ticks and seconds.
struct CpuTimes {
    double busy = 0, total = 0, self = 0;
};

CpuTimes cpuTimesNow()
{
    CpuTimes t;
    if (std::FILE* stat = std::fopen("/proc/stat", "r")) {
        unsigned long long v[8] = {};
        if (std::fscanf(stat, "cpu %llu %llu %llu %llu %llu %llu %llu %llu", &v[0], &v[1], &v[2],
                        &v[3], &v[4], &v[5], &v[6], &v[7]) == 8) {
            for (unsigned long long x : v)
                t.total += double(x);
            t.busy = t.total - double(v[3] + v[4]); // idle and waiting for I/O
        }
        std::fclose(stat);
    }
    struct rusage self;
    if (getrusage(RUSAGE_SELF, &self) == 0)
        t.self = double(self.ru_utime.tv_sec + self.ru_stime.tv_sec) +
                 1e-6 * double(self.ru_utime.tv_usec + self.ru_stime.tv_usec);
    return t;
}

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    registerAll();
    const CpuTimes before = cpuTimesNow();
    benchmark::RunSpecifiedBenchmarks();
    const CpuTimes after = cpuTimesNow();
    benchmark::Shutdown();
    // How busy the machine was while it measured: every processor's busy
    // share, and how much of that was this benchmark.
    const double ticks = double(sysconf(_SC_CLK_TCK));
    const double total = after.total - before.total, busy = after.busy - before.busy;
    const double self = (after.self - before.self) * ticks;
    if (total > 0)
        std::printf("machine busy %.0f%% of %ld processors while measuring; others than this "
                    "benchmark: %.0f%%\n",
                    100.0 * busy / total, sysconf(_SC_NPROCESSORS_ONLN),
                    100.0 * (busy - self > 0 ? busy - self : 0) / total);
    return 0;
}
