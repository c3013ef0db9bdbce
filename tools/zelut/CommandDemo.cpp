#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "Commands.h"
#include "DemoImages.h"
#include "ToolCommon.h"

namespace {

const char kHelp[] = "usage: zelut demo [--out DIR] [--size WxH] [--threads N]\n"
                     "\n"
                     "Needs no input: draws a test chart (colour bars, skin tones, smooth\n"
                     "gradients), converts it to NV12 (BT.709, video range), renders it through\n"
                     "a built-in sample grade with the library, and writes demo-before.png,\n"
                     "demo-after.png and a side-by-side demo-compare.png into DIR (default: the\n"
                     "current directory). Prints where they are and how fast the frame rendered.\n"
                     "\n"
                     "  --out DIR     folder for the three PNGs (must exist)\n"
                     "  --size WxH    chart size (default 1280x720)\n"
                     "  --threads N   0 one worker per processor (default), 1 the calling thread\n";

std::string absolute(const std::string& path)
{
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

RgbImage toRgb(const YuvFrame& frame, const RenderSettings& s)
{
    RgbImage image(frame.width, frame.height);
    yuvToRgb(frame, s.matrix, s.range, s.nv21, image.pixels.data(), 3, image.rowBytes());
    return image;
}

void save(const std::string& path, const RgbImage& image)
{
    std::string error;
    if (!writePng(path, image, error))
        fail(error);
}

} // namespace

int runDemo(const Args& args)
{
    const ParsedArgs a
        = parseArgs(args, { { "--out", true }, { "--size", true }, { "--threads", true } });
    if (a.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!a.positional.empty())
        usageError("unexpected argument '" + a.positional[0] + "'");
    RenderSettings settings = RenderSettings::from(a); // BT.709 video NV12
    uint32_t width = 1280, height = 720;
    if (a.has("--size"))
        parseSize(a.value("--size"), width, height);
    const std::string dir = a.value("--out", ".");

    const uint32_t levels = 33;
    const TablePtr table
        = loadTableBytes(encodeLutFile(sampleGradeTable(levels)), "built-in sample grade");
    const EffectPtr effect(ZecLut3DCreateEffect(settings.threads));

    const RgbImage chart = makeTestChart(width, height);
    YuvFrame frame(width, height), graded(width, height);
    rgbToYuv(chart.pixels.data(), 3, chart.rowBytes(), settings.matrix, settings.range,
        settings.nv21, frame);

    // The first render wakes the workers and touches the table; the time
    // reported is the median of the renders after it.
    renderFrame(effect.get(), table.get(), settings, frame, graded);
    std::vector<double> times;
    for (int i = 0; i < 15; ++i) {
        const auto start = std::chrono::steady_clock::now();
        renderFrame(effect.get(), table.get(), settings, frame, graded);
        times.push_back(secondsSince(start));
    }
    std::sort(times.begin(), times.end());
    const double ms = 1000.0 * times[times.size() / 2];

    // "Before" has been through NV12 as well, so that the grade is the only
    // difference between the two pictures.
    const RgbImage before = toRgb(frame, settings);
    const RgbImage after = toRgb(graded, settings);
    const std::string beforePath = dir + "/demo-before.png";
    const std::string afterPath = dir + "/demo-after.png";
    const std::string comparePath = dir + "/demo-compare.png";
    save(beforePath, before);
    save(afterPath, after);
    save(comparePath, sideBySide(before, after));

    std::printf("zelut demo: %ux%u test chart through the built-in sample grade (%u-level "
                "table), %s\n",
        width, height, levels, settings.describe().c_str());
    std::printf("  before:  %s\n", absolute(beforePath).c_str());
    std::printf("  after:   %s\n", absolute(afterPath).c_str());
    std::printf("  compare: %s\n", absolute(comparePath).c_str());
    std::printf("  render:  %.2f ms per frame, %.0f frames/s (median of %zu renders, %s)\n", ms,
        1000.0 / ms, times.size(), settings.describeThreads().c_str());
    return 0;
}
