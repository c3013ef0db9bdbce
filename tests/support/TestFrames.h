/*
 * Frame and table builders for the effect's tests, owning handles, and the
 * one reference render (the portable kernel through the driver's seam).
 *
 *   TestFrame f(17, 5, 8);            // 17x5 NV12, 8 spare bytes per row
 *   f.fillRandom(42);
 *   Lut3DFrame desc = f.descriptor();
 *   EXPECT_TRUE(f.paddingIntact());   // the spare bytes still hold the sentinel
 *
 *   TablePtr table(Lut3DTableCreate(levels.data(), n, entries.data()));
 *   EXPECT_EQ(rendered.pixels(), referenceRender(f, table.get(), 0, 1, 0));
 */
#ifndef TESTS_SUPPORT_TESTFRAMES_H
#define TESTS_SUPPORT_TESTFRAMES_H

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "ZeLut3D.h"

// Tables from the loader or from Lut3DTableCreate alike.
struct TableDeleter {
    void operator()(Lut3DTable* t) const { ZecLut3DDestroyTable(t); }
};
using TablePtr = std::unique_ptr<Lut3DTable, TableDeleter>;

struct EffectDeleter {
    void operator()(Lut3DEffect* e) const { ZecLut3DDestroyEffect(e); }
};
using EffectPtr = std::unique_ptr<Lut3DEffect, EffectDeleter>;

constexpr uint8_t kSentinel = 0xA5;

class TestFrame {
public:
    // width x height pixels, rows padded by `spare` sentinel bytes.
    TestFrame(uint32_t width, uint32_t height, uint32_t spare = 0);

    void fillRandom(uint32_t seed);
    void fill(uint8_t y, uint8_t c0, uint8_t c1);

    Lut3DFrame descriptor(); // top-down, positive strides
    Lut3DFrame descriptorBottomUp(); // row 0 is the last row in memory, negative strides

    uint8_t* lumaRow(uint32_t row) { return luma.data() + row * lumaStride; }
    uint8_t* chromaRow(uint32_t row) { return chroma.data() + row * chromaStride; }
    uint32_t chromaRows() const { return (height + 1) / 2; }
    uint32_t chromaBytes() const { return ((width + 1) / 2) * 2; }

    // Pixel bytes only (no padding), row by row, for comparisons.
    std::vector<uint8_t> pixels() const;
    bool paddingIntact() const;

    uint32_t width, height, lumaStride, chromaStride;
    std::vector<uint8_t> luma, chroma;
};

// Entries of an N^3 table (blue fastest) whose cell (r, g, b) holds f(r, g, b).
std::vector<uint8_t> tableEntries(
    uint32_t n, uint8_t (*f)(uint32_t n, uint32_t r, uint32_t g, uint32_t b, int channel));
// Cells equal to their coordinates scaled to 0..255 (level value x 255).
std::vector<uint8_t> identityEntries(uint32_t n);
std::vector<uint8_t> randomEntries(uint32_t n, std::mt19937& rng);
std::vector<float> uniformLevels(uint32_t n);
// A table built in memory from levels (N of them) and N^3 entries.
TablePtr buildTable(const std::vector<float>& levels, const std::vector<uint8_t>& entries);
// A table of random entries (seeded) on the given levels.
TablePtr randomTable(const std::vector<float>& levels, uint32_t seed);

// The pixels of `input` rendered by the portable reference kernel: the
// oracle that every other path is compared with, byte for byte. Bottom-up
// describes the frame with negative strides (row 0 last in memory).
std::vector<uint8_t> referenceRender(const TestFrame& input, const Lut3DTable* table,
    uint32_t format, uint32_t matrix, int32_t range, bool bottomUp = false);

// The pixels of `input` rendered through the C interface by `effect`, into a
// frame of their own or in place; empty when the render is refused, a
// padding byte changed, or a separate source was written to.
std::vector<uint8_t> effectRender(Lut3DEffect* effect, const TestFrame& input,
    const Lut3DTable* table, uint32_t format, uint32_t matrix, int32_t range, bool inPlace = false,
    bool bottomUp = false);

#endif
