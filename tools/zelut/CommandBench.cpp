#include <cmath>
#include <cstdio>
#include <random>

#include "Commands.h"
#include "DemoImages.h"
#include "ToolCommon.h"

namespace {

const char kHelp[]
    = "usage: zelut bench [--size WxH] [--threads N] [--lut F.lut] [--frames N]\n"
      "                   [--format nv12|nv21] [--matrix bt601|bt709] [--range video|full]\n"
      "\n"
      "Renders synthetic frames (default 1920x1080) through F.lut (default: the\n"
      "built-in 33-level sample grade) and prints milliseconds per frame, frames\n"
      "per second and nanoseconds per pixel. Without --frames it renders for about\n"
      "two seconds after a short warm-up.\n"
      "\n"
      "Then it times every kernel variant this CPU runs on one thread, with the\n"
      "sample grade on evenly spaced levels and on bent ones, and prints each\n"
      "one's speed-up over the portable reference (\"C\"). All variants give the\n"
      "same bytes.\n";

// Smooth gradients with a little noise: realistic for the lookup's caches,
// never constant enough to flatter it.
void fillSynthetic(YuvFrame& frame)
{
    std::mt19937 rng(20240607);
    for (uint32_t y = 0; y < frame.height; ++y)
        for (uint32_t x = 0; x < frame.width; ++x)
            frame.luma()[static_cast<size_t>(y) * frame.width + x]
                = static_cast<uint8_t>(16 + (219u * x / frame.width + y / 8 + rng() % 8) % 220);
    for (uint32_t y = 0; y < frame.chromaRows(); ++y)
        for (uint32_t x = 0; x < frame.chromaStride(); x += 2) {
            uint8_t* c = frame.chroma() + static_cast<size_t>(y) * frame.chromaStride() + x;
            c[0] = static_cast<uint8_t>(64 + (128u * x / frame.chromaStride() + rng() % 6));
            c[1] = static_cast<uint8_t>(64 + (128u * y / frame.chromaRows() + rng() % 6));
        }
}

// Seconds per frame of `frames` renders after one warm-up render.
double secondsPerFrame(Lut3DEffect* effect, Lut3DTable* table, const RenderSettings& settings,
    YuvFrame& source, YuvFrame& out, uint32_t frames)
{
    renderFrame(effect, table, settings, source, out);
    const auto start = std::chrono::steady_clock::now();
    for (uint32_t i = 0; i < frames; ++i)
        renderFrame(effect, table, settings, source, out);
    return secondsSince(start) / frames;
}

// Every variant on one thread, with the sample grade on even and on bent
// levels (the index-table path): ms/frame, ns/pixel and the speed-up over the
// reference.
void benchKernels(const RenderSettings& settings, YuvFrame& source, YuvFrame& out)
{
    LutTable bent = sampleGradeTable(33);
    for (uint32_t i = 0; i < bent.n; ++i)
        bent.levels[i] = static_cast<float>(std::pow(i / double(bent.n - 1), 1.6));
    const TablePtr tables[2] = { loadTableBytes(encodeLutFile(sampleGradeTable(33)), "sample grade"),
        loadTableBytes(encodeLutFile(bent), "bent sample grade") };
    const EffectPtr effect(ZecLut3DCreateEffect(1));
    const double pixels = static_cast<double>(source.width) * source.height;
    std::printf("  %-8s  %-30s  %s\n", "kernel", "one thread, uniform levels", "non-uniform levels");
    double reference[2] = { 0.0, 0.0 };
    for (const char* name : { "C", "SSE4.1", "AVX2", "AVX-512", "NEON" }) {
        if (!ZecLut3DSetEffectKernel(effect.get(), name))
            continue;
        std::printf("  %-8s", name);
        for (int t = 0; t < 2; ++t) {
            const double s = secondsPerFrame(effect.get(), tables[t].get(), settings, source, out,
                reference[t] == 0.0 ? 3 : 20);
            if (reference[t] == 0.0)
                reference[t] = s;
            std::printf("  %7.2f ms %6.2f ns/px %5.1fx", 1e3 * s, 1e9 * s / pixels, reference[t] / s);
        }
        std::printf("\n");
    }
}

} // namespace

int runBench(const Args& args)
{
    std::vector<OptionSpec> specs = RenderSettings::options();
    specs.push_back({ "--size", true });
    specs.push_back({ "--lut", true });
    specs.push_back({ "--frames", true });
    const ParsedArgs a = parseArgs(args, specs);
    if (a.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!a.positional.empty())
        usageError("unexpected argument '" + a.positional[0] + "'");
    const RenderSettings settings = RenderSettings::from(a);
    uint32_t width = 1920, height = 1080;
    if (a.has("--size"))
        parseSize(a.value("--size"), width, height);
    const uint32_t fixedFrames
        = a.has("--frames") ? parseCount("--frames", a.value("--frames"), 1, 1000000) : 0;

    std::string tableName = "built-in sample grade, 33 levels";
    TablePtr table;
    if (a.has("--lut")) {
        tableName = a.value("--lut");
        table = loadTable(tableName);
    } else {
        table = loadTableBytes(encodeLutFile(sampleGradeTable(33)), "built-in sample grade");
    }
    const EffectPtr effect(ZecLut3DCreateEffect(settings.threads));
    YuvFrame source(width, height), out(width, height);
    fillSynthetic(source);

    for (int i = 0; i < 3; ++i) // warm-up: first touches of the frames, workers waking
        renderFrame(effect.get(), table.get(), settings, source, out);
    uint64_t frames = 0;
    const auto start = std::chrono::steady_clock::now();
    double seconds = 0.0;
    do {
        renderFrame(effect.get(), table.get(), settings, source, out);
        ++frames;
        seconds = secondsSince(start);
    } while (fixedFrames ? frames < fixedFrames : (seconds < 2.0 || frames < 10));

    const double msPerFrame = 1000.0 * seconds / frames;
    std::printf("zelut bench: %ux%u %s, %s, table: %s\n", width, height,
        settings.describe().c_str(), settings.describeThreads().c_str(), tableName.c_str());
    std::printf("  %llu frames in %.2f s: %.3f ms/frame, %.1f frames/s, %.2f ns/pixel\n",
        static_cast<unsigned long long>(frames), seconds, msPerFrame, frames / seconds,
        1e9 * seconds / (static_cast<double>(frames) * width * height));
    benchKernels(settings, source, out);
    return 0;
}
