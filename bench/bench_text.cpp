// UTF-8 decoding and encoding speed of CZeString on 1 MB of mixed text, with
// the unit-by-unit, portable-block and vector forms of the loops side by side.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "CZeString.h"
#include "core/text/ZeTextConvert.h"

namespace {

// Roughly what log lines and file names look like: mostly ASCII words, with
// accented Latin letters, some Cyrillic and CJK, and an occasional emoji.
std::string mixedText(size_t bytes)
{
    const char* pieces[] = {
        "render frame ", "table loaded from /sdcard/looks/", "caf\xC3\xA9 ", "na\xC3\xAFve ",
        "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82 ", "\xE8\xA7\x86\xE9\xA2\x91 ",
        "width=1920 height=1080 ", "\xF0\x9F\x8E\xAC ", "stride 2048, format NV12\n",
    };
    std::string text;
    unsigned state = 12345;
    while (text.size() < bytes) {
        state = state * 1103515245u + 12345u;
        text += pieces[(state >> 16) % (sizeof pieces / sizeof pieces[0])];
    }
    // Cut at a character boundary.
    size_t end = bytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    text.resize(end);
    return text;
}

// Plain ASCII log text, where the block forms of the loops do all the work.
std::string asciiText(size_t bytes)
{
    std::string text;
    while (text.size() < bytes)
        text += "Lut3DRender.cpp(212), render: frame 1920x1080 NV12 rendered in 4 bands\n";
    text.resize(bytes);
    return text;
}

// range 0: mixed text, 1: ASCII text; 1 MB each.
const std::string& text(int64_t kind = 0)
{
    static const std::string mixed = mixedText(1 << 20);
    static const std::string ascii = asciiText(1 << 20);
    return kind ? ascii : mixed;
}

void BM_FromUtf8(benchmark::State& state)
{
    const std::string& t = text(state.range(0));
    for (auto _ : state) {
        CZeString s = CZeString::fromUtf8(t.data(), int(t.size()));
        benchmark::DoNotOptimize(s.unicode());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(t.size()));
    state.SetLabel(state.range(0) ? "ascii" : "mixed");
}
BENCHMARK(BM_FromUtf8)->Arg(0)->Arg(1);

void BM_ToUtf8(benchmark::State& state)
{
    const std::string& t = text(state.range(0));
    const CZeString s = CZeString::fromUtf8(t.data(), int(t.size()));
    for (auto _ : state) {
        CZeByteArray b = s.toUtf8();
        benchmark::DoNotOptimize(b.constData());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(t.size()));
    state.SetLabel(state.range(0) ? "ascii" : "mixed");
}
BENCHMARK(BM_ToUtf8)->Arg(0)->Arg(1);

// The loops alone, per form, into preallocated buffers.
void BM_DecodeLoop(benchmark::State& state)
{
    const ZeText::Path path = static_cast<ZeText::Path>(state.range(0));
    const std::string& t = text(state.range(1));
    std::vector<unsigned short> out(t.size());
    for (auto _ : state) {
        const int n = ZeText::utf8ToUtf16(reinterpret_cast<const unsigned char*>(t.data()),
                                          int(t.size()), out.data(), nullptr, path);
        benchmark::DoNotOptimize(n);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(t.size()));
    state.SetLabel(std::string(path == ZeText::PathUnit ? "unit" : path == ZeText::PathWord ? "word" : "simd")
                   + (state.range(1) ? " ascii" : " mixed"));
}
BENCHMARK(BM_DecodeLoop)->ArgsProduct({{ZeText::PathUnit, ZeText::PathWord, ZeText::PathSimd}, {0, 1}});

void BM_EncodeLoop(benchmark::State& state)
{
    const ZeText::Path path = static_cast<ZeText::Path>(state.range(0));
    const std::string& t = text(state.range(1));
    const CZeString s = CZeString::fromUtf8(t.data(), int(t.size()));
    std::vector<unsigned char> out(size_t(s.size()) * 3);
    for (auto _ : state) {
        const int n = ZeText::utf16ToUtf8(s.utf16(), s.size(), out.data(), path);
        benchmark::DoNotOptimize(n);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(t.size()));
    state.SetLabel(std::string(path == ZeText::PathUnit ? "unit" : path == ZeText::PathWord ? "word" : "simd")
                   + (state.range(1) ? " ascii" : " mixed"));
}
BENCHMARK(BM_EncodeLoop)->ArgsProduct({{ZeText::PathUnit, ZeText::PathWord, ZeText::PathSimd}, {0, 1}});

} // namespace

BENCHMARK_MAIN();
