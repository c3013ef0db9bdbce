// A LUT file of arbitrary bytes, loaded the way a host loads what its users
// download: the bytes are written to a file and handed to
// ZecLut3DLoadTableFromFile. When a table comes back, a small frame is
// rendered through it in both pixel formats and compared with the portable
// reference kernel, twice: once with the grid's padding (cells at index N
// and every fourth byte) cleared and once with it set to 0xFF. The results
// must be identical, so no render may depend on bytes the file never gave.
// Then the table is destroyed (the leak checker sees what is left).
//
// The last input byte picks the colour matrix (0, 1 or another value) and
// the range (0, 1, 2 or -1: only exactly 1 drops the luma offset); it is part
// of the file as well.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "CZeDebugLog.h"
#include "ZeLut3D.h"
#include "lut/Lut3DRender.h"

namespace {

constexpr uint32_t kWidth = 22; // two 8-pixel groups and a leftover of 6
constexpr uint32_t kHeight = 5; // two row pairs and a lone last row

std::string g_folder, g_path;
Lut3DEffect* g_effect = nullptr;

void removeFolder()
{
    unlink(g_path.c_str());
    rmdir(g_folder.c_str());
}

void check(bool condition)
{
    if (!condition)
        __builtin_trap();
}

struct Frame {
    Frame() : luma(kWidth * kHeight), chroma(kWidth * ((kHeight + 1) / 2))
    {
        uint32_t x = 12345;
        for (uint8_t& b : luma)
            b = static_cast<uint8_t>((x = x * 1103515245u + 12345u) >> 24);
        for (uint8_t& b : chroma)
            b = static_cast<uint8_t>((x = x * 1103515245u + 12345u) >> 24);
    }
    Lut3DFrame descriptor() { return {luma.data(), chroma.data(), nullptr, kWidth, kWidth}; }
    std::vector<uint8_t> luma, chroma;
};

// The grid bytes no file entry fills: the fourth byte of each cell and every
// cell with an index of N.
void fillPadding(Lut3DTable* table, uint8_t value)
{
    const uint32_t n = Lut3DTableLevels(table);
    for (uint32_t r = 0; r <= n; ++r)
        for (uint32_t g = 0; g <= n; ++g)
            for (uint32_t b = 0; b <= n; ++b) {
                uint8_t* cell = table->grid + r * table->planeStride + g * table->rowStride + b * 4;
                if (r == n || g == n || b == n)
                    std::memset(cell, value, 4);
                else
                    cell[3] = value;
            }
}

Frame referenceRender(Lut3DTable* table, uint32_t format, uint32_t matrix, int32_t range)
{
    Frame source, out;
    check(Lut3DRenderWithVariant(Lut3DKernelVariant::Reference, table, source.descriptor(),
                                 out.descriptor(), format, matrix, range, kWidth, kHeight));
    return out;
}

void renderAndCompare(Lut3DTable* table, uint32_t matrix, int32_t range)
{
    for (uint32_t format = 0; format < 2; ++format) {
        Frame frames[2];
        for (int pass = 0; pass < 2; ++pass) {
            fillPadding(table, pass ? 0xff : 0x00);
            Lut3DFrame d = frames[pass].descriptor();
            check(ZecLut3DRenderEffect(g_effect, table, &d, &d, format, matrix, range, kWidth,
                                       kHeight, 0) == 1);
        }
        check(frames[0].luma == frames[1].luma && frames[0].chroma == frames[1].chroma);
        const Frame expected = referenceRender(table, format, matrix, range);
        check(frames[0].luma == expected.luma && frames[0].chroma == expected.chroma);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // Messages are formatted and emitted (into the fuzz log sink) on every input.
    CZeDebugLog::SetDebugLevel(CZeDebugLog::DebugLevelVerbose);
    const char* tmp = std::getenv("TMPDIR");
    g_folder = std::string(tmp && *tmp ? tmp : "/tmp") + "/ze-fuzz-lut-XXXXXX";
    if (!mkdtemp(&g_folder[0]))
        std::abort();
    g_path = g_folder + "/input.lut";
    std::atexit(removeFolder);
    g_effect = ZecLut3DCreateEffect(1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FILE* f = std::fopen(g_path.c_str(), "wb");
    if (!f)
        std::abort();
    if (size && std::fwrite(data, 1, size, f) != size)
        std::abort();
    std::fclose(f);

    Lut3DTable* table = ZecLut3DLoadTableFromFile(g_path.c_str());
    if (table) {
        const uint8_t pick = size ? data[size - 1] : 0;
        const uint32_t matrices[] = {0, 1, 7, 0};
        const int32_t ranges[] = {0, 1, 2, -1};
        renderAndCompare(table, matrices[pick & 3], ranges[(pick >> 2) & 3]);
    }
    ZecLut3DDestroyTable(table);
    return 0;
}
