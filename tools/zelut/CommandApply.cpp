#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

#include "Commands.h"
#include "PngImage.h"
#include "ToolCommon.h"
#include "ToolFiles.h"

namespace {

const char kHelp[] = "usage: zelut apply --lut F.lut [options] IN OUT\n"
                     "\n"
                     "Renders IN through the table F.lut into OUT.\n"
                     "  raw frames  IN and OUT hold any number of NV12 (or NV21) frames back to\n"
                     "              back; --size gives their size. A progress bar is drawn on\n"
                     "              stderr when it is a terminal; frames per second at the end.\n"
                     "  PNG images  IN.png and OUT.png: the image is converted to NV12/NV21 with\n"
                     "              the same matrix and range, rendered by the library, converted\n"
                     "              back and written as PNG (an alpha channel is kept as it is).\n"
                     "\n"
                     "  --lut F.lut           the table (required)\n"
                     "  --size WxH            frame size of raw frames\n"
                     "  --format nv12|nv21    chroma byte order (default nv12)\n"
                     "  --matrix bt601|bt709  colour matrix (default bt709)\n"
                     "  --range video|full    luma and chroma range (default video)\n"
                     "  --threads N           0 one worker per processor (default), 1 the calling\n"
                     "                        thread, N workers\n";

class ProgressBar {
public:
    explicit ProgressBar(uint64_t total)
        : m_total(total)
        , m_enabled(::isatty(STDERR_FILENO) == 1)
    {
    }
    void update(uint64_t done, double seconds)
    {
        if (!m_enabled || (done != m_total && seconds - m_lastDraw < 0.1))
            return;
        m_lastDraw = seconds;
        const int width = 30;
        const int filled = static_cast<int>(width * done / m_total);
        std::fprintf(stderr, "\r[%.*s%*s] %llu/%llu frames  %.1f frames/s", filled,
            "##############################", width - filled, "",
            static_cast<unsigned long long>(done), static_cast<unsigned long long>(m_total),
            seconds > 0 ? done / seconds : 0.0);
        if (done == m_total)
            std::fputc('\n', stderr);
        std::fflush(stderr);
    }

private:
    uint64_t m_total;
    bool m_enabled;
    double m_lastDraw = -1.0;
};

// Input problems are reported before the table is loaded: they are the
// likelier mistake and cost nothing to find.
void applyPng(const std::string& lut, const RenderSettings& settings, const std::string& in,
    const std::string& out)
{
    RgbImage image;
    std::string error;
    if (!readPng(in, image, error))
        fail(error);
    const TablePtr table = loadTable(lut);
    const EffectPtr effect(ZecLut3DCreateEffect(settings.threads));
    YuvFrame frame(image.width, image.height);
    rgbToYuv(image.pixels.data(), image.channels(), image.rowBytes(), settings.matrix,
        settings.range, settings.nv21, frame);
    renderFrame(effect.get(), table.get(), settings, frame, frame);
    yuvToRgb(frame, settings.matrix, settings.range, settings.nv21, image.pixels.data(),
        image.channels(), image.rowBytes());
    if (!writePng(out, image, error))
        fail(error);
    std::printf("%s: %ux%u image rendered (%s)\n", out.c_str(), image.width, image.height,
        settings.describe().c_str());
}

void applyRaw(const std::string& lut, const RenderSettings& settings, const std::string& in,
    const std::string& out, uint32_t width, uint32_t height)
{
    std::FILE* input = std::fopen(in.c_str(), "rb");
    if (!input)
        fail(systemError(in));
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> closer(input, std::fclose);
    struct stat inStat;
    if (::fstat(::fileno(input), &inStat) != 0)
        fail(systemError(in));
    const uint64_t frameBytes = YuvFrame::bytesFor(width, height);
    const uint64_t size = static_cast<uint64_t>(inStat.st_size);
    const std::string sizeText = std::to_string(width) + "x" + std::to_string(height);
    if (size == 0 || size % frameBytes != 0)
        fail(in + ": " + std::to_string(size) + " bytes are not a whole number of " + sizeText
            + " frames (" + std::to_string(frameBytes) + " bytes each); check --size");
    const uint64_t frames = size / frameBytes;
    const TablePtr table = loadTable(lut);
    const EffectPtr effect(ZecLut3DCreateEffect(settings.threads));

    ReplacingFile output(out);
    std::string error;
    if (!output.open(error))
        fail(error);
    YuvFrame source(width, height), rendered(width, height);
    ProgressBar progress(frames);
    double renderSeconds = 0.0;
    const auto start = std::chrono::steady_clock::now();
    for (uint64_t i = 0; i < frames; ++i) {
        if (std::fread(source.bytes.data(), 1, frameBytes, input) != frameBytes)
            fail(in + ": read failed at frame " + std::to_string(i + 1));
        const auto renderStart = std::chrono::steady_clock::now();
        renderFrame(effect.get(), table.get(), settings, source, rendered);
        renderSeconds += secondsSince(renderStart);
        if (!output.write(rendered.bytes.data(), frameBytes, error))
            fail(error);
        progress.update(i + 1, secondsSince(start));
    }
    if (!output.commit(error))
        fail(error);
    const double seconds = secondsSince(start);
    std::printf("%s: %llu frames of %s (%s) in %.2f s, %.1f frames/s (render %.2f ms/frame)\n",
        out.c_str(), static_cast<unsigned long long>(frames), sizeText.c_str(),
        settings.describe().c_str(), seconds, seconds > 0 ? frames / seconds : 0.0,
        1000.0 * renderSeconds / frames);
}

} // namespace

int runApply(const Args& args)
{
    std::vector<OptionSpec> specs = RenderSettings::options();
    specs.push_back({ "--lut", true });
    specs.push_back({ "--size", true });
    const ParsedArgs a = parseArgs(args, specs);
    if (a.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (a.positional.size() != 2)
        usageError(a.positional.size() < 2 ? "expected IN and OUT" : "too many arguments");
    if (!a.has("--lut"))
        usageError("--lut F.lut is required");
    const RenderSettings settings = RenderSettings::from(a);
    const std::string& in = a.positional[0];
    const std::string& out = a.positional[1];
    const bool png = endsWithIgnoringCase(in, ".png");
    if (png != endsWithIgnoringCase(out, ".png"))
        usageError("IN and OUT must both be PNG images or both raw frames");
    uint32_t width = 0, height = 0;
    if (png && a.has("--size"))
        usageError("--size is for raw frames; a PNG image has its own size");
    if (!png) {
        if (!a.has("--size"))
            usageError("raw frames need --size WxH");
        parseSize(a.value("--size"), width, height);
    }
    std::string error;
    if (!outputIsNotAnInput(out, {in, a.value("--lut")}, error))
        fail(error);
    if (png)
        applyPng(a.value("--lut"), settings, in, out);
    else
        applyRaw(a.value("--lut"), settings, in, out, width, height);
    return 0;
}
