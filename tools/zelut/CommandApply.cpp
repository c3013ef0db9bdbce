#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "Commands.h"
#include "FrameStream.h"
#include "PngImage.h"
#include "ToolCommon.h"
#include "ToolFiles.h"

namespace {

const char kHelp[] = "usage: zelut apply --lut F.lut [options] IN OUT\n"
                     "\n"
                     "Renders IN through the table F.lut (or a .cube or .3dl table, converted\n"
                     "on the fly) into OUT.\n"
                     "  raw frames  IN and OUT hold any number of NV12 (or NV21) frames back to\n"
                     "              back; --size gives their size. '-' is standard input or\n"
                     "              output. A progress bar is drawn on stderr when it is a\n"
                     "              terminal; frames per second at the end.\n"
                     "  YUV4MPEG2   a stream with its own header (ffmpeg -f yuv4mpegpipe): size\n"
                     "              and range come from it (--range overrides), OUT is written\n"
                     "              as YUV4MPEG2 with the same header. 4:2:0 (C420*) only.\n"
                     "  PNG images  IN.png and OUT.png: the image is converted to NV12/NV21 with\n"
                     "              the same matrix and range, rendered by the library, converted\n"
                     "              back and written as PNG (an alpha channel is kept as it is).\n"
                     "              Odd sides are padded with their last column or row for\n"
                     "              the chroma and cropped after. 16-bit images are written\n"
                     "              with 8 bits per channel, with a warning.\n"
                     "\n"
                     "  --lut F.lut           the table: .lut, .cube or .3dl (required)\n"
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
    // A stream's total is unknown (0): frames and rate without a bar.
    void update(uint64_t done, double seconds)
    {
        if (!m_enabled || seconds - m_lastDraw < 0.1)
            return;
        draw(done, seconds);
    }
    void finish(uint64_t done, double seconds)
    {
        if (!m_enabled)
            return;
        draw(done, seconds);
        std::fputc('\n', stderr);
    }

private:
    void draw(uint64_t done, double seconds)
    {
        m_lastDraw = seconds;
        const double rate = seconds > 0 ? done / seconds : 0.0;
        if (m_total == 0) {
            std::fprintf(stderr, "\r%llu frames  %.1f frames/s", static_cast<unsigned long long>(done), rate);
        } else {
            const int width = 30;
            const int filled = static_cast<int>(width * done / m_total);
            std::fprintf(stderr, "\r[%.*s%*s] %llu/%llu frames  %.1f frames/s", filled,
                "##############################", width - filled, "",
                static_cast<unsigned long long>(done), static_cast<unsigned long long>(m_total), rate);
        }
        std::fflush(stderr);
    }

public:

private:
    uint64_t m_total;
    bool m_enabled;
    double m_lastDraw = -1.0;
};

// Input problems are reported before the table is loaded: they are the
// likelier mistake and cost nothing to find.
// An image padded to even sides with copies of its last column and row, so
// that every 2x2 chroma block holds real pixels.
RgbImage evenSided(const RgbImage& image)
{
    RgbImage padded(image.width + image.width % 2, image.height + image.height % 2, image.hasAlpha);
    for (uint32_t y = 0; y < padded.height; ++y)
        for (uint32_t x = 0; x < padded.width; ++x)
            std::memcpy(padded.pixel(x, y),
                image.pixel(std::min(x, image.width - 1), std::min(y, image.height - 1)),
                image.channels());
    return padded;
}

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
    RgbImage padded = evenSided(image);
    YuvFrame frame(padded.width, padded.height);
    rgbToYuv(padded.pixels.data(), padded.channels(), padded.rowBytes(), settings.matrix,
        settings.range, settings.nv21, frame);
    renderFrame(effect.get(), table.get(), settings, frame, frame);
    yuvToRgb(frame, settings.matrix, settings.range, settings.nv21, padded.pixels.data(),
        padded.channels(), padded.rowBytes());
    for (uint32_t y = 0; y < image.height; ++y)
        std::memcpy(image.pixel(0, y), padded.pixel(0, y), image.rowBytes());
    if (!writePng(out, image, error))
        fail(error);
    if (image.from16Bits)
        std::fprintf(stderr, "zelut apply: %s has 16 bits per channel; %s was written with 8\n",
            in.c_str(), out.c_str());
    std::printf("%s: %ux%u image rendered (%s)\n", out.c_str(), image.width, image.height,
        settings.describe().c_str());
}

void applyFrames(const std::string& lut, RenderSettings settings, bool rangeGiven,
    const std::string& in, const std::string& out, uint32_t width, uint32_t height)
{
    FrameReader input;
    std::string error;
    if (!input.open(in, width, height, error))
        input.needsSize() ? usageError(error) : fail(error);
    if (input.isY4m()) {
        // Planes come interleaved U, V; the stream's range unless one is asked for.
        settings.nv21 = false;
        if (!rangeGiven && input.header().fullRange >= 0)
            settings.range = input.header().fullRange ? ColourRange::Full : ColourRange::Video;
    }
    const TablePtr table = loadTable(lut);
    const EffectPtr effect(ZecLut3DCreateEffect(settings.threads));

    ReplacingFile output(out);
    if (!output.open(error))
        fail(error);
    if (input.isY4m() && !output.write(input.header().line.data(), input.header().line.size(), error))
        fail(error);
    YuvFrame source(input.width(), input.height()), rendered(input.width(), input.height());
    ProgressBar progress(input.knownFrames());
    double renderSeconds = 0.0;
    uint64_t frames = 0;
    const auto start = std::chrono::steady_clock::now();
    while (input.next(source, error)) {
        const auto renderStart = std::chrono::steady_clock::now();
        renderFrame(effect.get(), table.get(), settings, source, rendered);
        renderSeconds += secondsSince(renderStart);
        const std::string planar = input.isY4m() ? y4mFrame(rendered) : std::string();
        if (input.isY4m() ? !output.write(planar.data(), planar.size(), error)
                          : !output.write(rendered.bytes.data(), rendered.bytes.size(), error))
            fail(error);
        progress.update(++frames, secondsSince(start));
    }
    if (!error.empty())
        fail(error);
    if (frames == 0)
        fail(in + ": no frames");
    if (!output.commit(error))
        fail(error);
    progress.finish(frames, secondsSince(start));
    const double seconds = secondsSince(start);
    // On standard output the summary would mix with the frames: it goes to
    // the terminal then, and nowhere without one.
    std::FILE* summary = out == "-" ? (::isatty(STDERR_FILENO) ? stderr : nullptr) : stdout;
    if (summary)
        std::fprintf(summary, "%s: %llu frames of %ux%u (%s%s) in %.2f s, %.1f frames/s (render %.2f ms/frame)\n",
            out == "-" ? "standard output" : out.c_str(), static_cast<unsigned long long>(frames),
            input.width(), input.height(), input.isY4m() ? "YUV4MPEG2, " : "",
            settings.describe().c_str(), seconds, seconds > 0 ? frames / seconds : 0.0,
            1000.0 * renderSeconds / static_cast<double>(frames));
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
    if (!png && a.has("--size"))
        parseSize(a.value("--size"), width, height);
    std::string error;
    if (!outputIsNotAnInput(out, {in, a.value("--lut")}, error))
        fail(error);
    if (png)
        applyPng(a.value("--lut"), settings, in, out);
    else
        applyFrames(a.value("--lut"), settings, a.has("--range"), in, out, width, height);
    return 0;
}
