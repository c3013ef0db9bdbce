// Every kernel variant this CPU can run against the portable reference, in
// the way vector code is checked against its C twin: random row pairs,
// widths, tables, formats, matrices and ranges, identical bytes required;
// guard bytes around every output; inputs against a PROT_NONE page so that an
// over-read faults. The seed is printed; ZE_CHECKER_SEED=<n> replays a run.
//
// The Lut3DKernelIdentities suite proves, over their whole input ranges, the
// lane identities the variants rely on instead of the reference's formulas.
#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#if defined(__x86_64__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

#include "lut/Lut3DMemory.h"
#include "lut/Lut3DTableBuilder.h"
#include "lut/kernel/Lut3DKernel.h"
#include "lut/kernel/Lut3DKernelMath.h"
#include "support/TestFrames.h"

namespace {

using namespace lut3d;

uint32_t checkerSeed()
{
    static const uint32_t seed = [] {
        const char* replay = std::getenv("ZE_CHECKER_SEED");
        const uint32_t s = replay ? static_cast<uint32_t>(std::strtoul(replay, nullptr, 0))
                                  : std::random_device {}();
        std::printf("kernel checker seed %u (replay: ZE_CHECKER_SEED=%u)\n", s, s);
        return s;
    }();
    return seed;
}

struct Variant {
    const char* name;
    const Lut3DKernelOps* ops;
};

// Every variant but the reference that this build and CPU can run.
std::vector<Variant> variantsUnderTest()
{
    std::vector<Variant> out;
    for (Lut3DKernelVariant v : { Lut3DKernelVariant::SSE41, Lut3DKernelVariant::AVX2,
             Lut3DKernelVariant::AVX512, Lut3DKernelVariant::NEON }) {
        if (const Lut3DKernelOps* ops = Lut3DKernelGet(v))
            out.push_back({ ops->name, ops });
    }
    return out;
}

struct ConstantsDeleter {
    void operator()(Lut3DConstants* k) const { Lut3DAlignedFree(k); }
};
using ConstantsPtr = std::unique_ptr<Lut3DConstants, ConstantsDeleter>;

ConstantsPtr makeConstants(const Lut3DTable* table, uint32_t matrix, int32_t range)
{
    ConstantsPtr k(static_cast<Lut3DConstants*>(Lut3DAlignedAlloc(sizeof(Lut3DConstants))));
    std::memset(k.get(), 0, sizeof(Lut3DConstants));
    Lut3DBuildConstants(k.get(), table, matrix, range);
    return k;
}

// Level values of every shape the loader accepts: evenly spaced, random and
// sorted, not reaching 0 or 1, nearly even, with repeated levels.
std::vector<float> randomLevels(std::mt19937& rng, uint32_t n, bool uniform)
{
    if (uniform && n >= 2)
        return uniformLevels(n);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::vector<float> levels(n);
    switch (rng() % 4) {
    case 0: // random, spanning 0 to 1
        for (float& l : levels)
            l = unit(rng);
        std::sort(levels.begin(), levels.end());
        levels.front() = 0.0f;
        levels.back() = n > 1 ? 1.0f : levels.back();
        break;
    case 1: // inside (0.05, 0.9): values outside clamp to the end cells
        for (float& l : levels)
            l = 0.05f + 0.85f * unit(rng);
        std::sort(levels.begin(), levels.end());
        break;
    case 2: // even but for one level moved well past the uniform tolerance
        levels = uniformLevels(n);
        levels[rng() % n] += 0.02f;
        std::sort(levels.begin(), levels.end());
        break;
    default: // repeated levels
        for (float& l : levels)
            l = static_cast<float>(rng() % 5) / 4.0f;
        std::sort(levels.begin(), levels.end());
        break;
    }
    return levels;
}

TablePtr randomTable(std::mt19937& rng, uint32_t n, bool uniform)
{
    const std::vector<float> levels = randomLevels(rng, n, uniform);
    const std::vector<uint8_t> entries = randomEntries(n, rng);
    return TablePtr(Lut3DTableCreate(levels.data(), n, entries.data()));
}

// A region with an inaccessible page on each side. A span placed at its end
// faults on the first byte read or written past it; one placed at its start
// faults on the first byte before it.
class GuardedBuffer {
public:
    explicit GuardedBuffer(size_t capacity)
    {
        page_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        data_ = (capacity + page_ - 1) / page_ * page_;
        void* m = mmap(
            nullptr, data_ + 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        base_ = m == MAP_FAILED ? nullptr : static_cast<uint8_t*>(m);
        if (base_) {
            mprotect(base_, page_, PROT_NONE);
            mprotect(base_ + page_ + data_, page_, PROT_NONE);
        }
    }
    ~GuardedBuffer()
    {
        if (base_)
            munmap(base_, data_ + 2 * page_);
    }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    bool valid() const { return base_ != nullptr; }
    // A copy of bytes placed against the upper or the lower guard page.
    uint8_t* place(const std::vector<uint8_t>& bytes, bool atEnd)
    {
        uint8_t* p = base_ + page_ + (atEnd ? data_ - bytes.size() : 0);
        std::memcpy(p, bytes.data(), bytes.size());
        return p;
    }

private:
    size_t page_ = 0, data_ = 0;
    uint8_t* base_ = nullptr;
};

// An output row between two runs of guard bytes.
class GuardedRow {
public:
    static constexpr size_t kGuard = 64;
    explicit GuardedRow(size_t n, uint8_t fill)
        : bytes_(n + 2 * kGuard)
    {
        for (size_t i = 0; i < bytes_.size(); ++i)
            bytes_[i] = static_cast<uint8_t>(fill + 13 * i);
    }
    uint8_t* data() { return bytes_.data() + kGuard; }
    std::vector<uint8_t> row() const { return { bytes_.begin() + kGuard, bytes_.end() - kGuard }; }
    bool guardsIntact(uint8_t fill) const
    {
        for (size_t i = 0; i < kGuard; ++i) {
            const size_t j = bytes_.size() - 1 - i;
            if (bytes_[i] != static_cast<uint8_t>(fill + 13 * i)
                || bytes_[j] != static_cast<uint8_t>(fill + 13 * j))
                return false;
        }
        return true;
    }

private:
    std::vector<uint8_t> bytes_;
};

std::vector<uint8_t> randomBytes(std::mt19937& rng, size_t n)
{
    std::vector<uint8_t> v(n);
    for (uint8_t& b : v)
        b = static_cast<uint8_t>(rng());
    return v;
}

// The bytes a row-pair render leaves: luma row 0, luma row 1, chroma row.
struct RowPairResult {
    std::vector<uint8_t> y0, y1, uv;
    bool guardsIntact = true;
};

struct RowPairCase {
    uint32_t width;
    bool isNV21, alias, loneRow, atEnd;
    std::vector<uint8_t> y0, y1, uv;

    std::string describe() const
    {
        char text[160];
        std::snprintf(text, sizeof text, "width %u, %s%s%s, inputs at page %s", width,
            isNV21 ? "NV21" : "NV12", alias ? ", in place" : "", loneRow ? ", lone row" : "",
            atEnd ? "end" : "start");
        return text;
    }
};

// A variant (the reference too), with its inputs against guard pages and its
// outputs between guard bytes (or written over the guarded inputs when in
// place).
RowPairResult runVariant(
    const Lut3DKernelOps* ops, Lut3DKernelParams p, const RowPairCase& c, GuardedBuffer (&pages)[3])
{
    p.ops = ops;
    p.isNV21 = c.isNV21;
    uint8_t* sy0 = pages[0].place(c.y0, c.atEnd);
    uint8_t* sy1 = c.loneRow ? sy0 : pages[1].place(c.y1, c.atEnd);
    uint8_t* suv = pages[2].place(c.uv, c.atEnd);
    RowPairResult r;
    if (c.alias) {
        Lut3DKernelRowPair(p, sy0, sy1, suv, sy0, sy1, suv);
        r.y0.assign(sy0, sy0 + c.width);
        r.y1.assign(sy1, sy1 + c.width);
        r.uv.assign(suv, suv + c.uv.size());
        return r;
    }
    GuardedRow y0(c.width, 1), y1(c.width, 2), uv(c.uv.size(), 3);
    uint8_t* dy1 = c.loneRow ? y0.data() : y1.data();
    Lut3DKernelRowPair(p, sy0, sy1, suv, y0.data(), dy1, uv.data());
    r.y0 = y0.row();
    r.y1 = c.loneRow ? r.y0 : y1.row();
    r.uv = uv.row();
    r.guardsIntact = y0.guardsIntact(1) && y1.guardsIntact(2) && uv.guardsIntact(3);
    return r;
}

// First differing position of two byte rows, or -1.
long firstDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b)
{
    const auto m = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return m.first == a.end() && m.second == b.end() ? -1 : static_cast<long>(m.first - a.begin());
}

uint32_t randomWidth(std::mt19937& rng)
{
    const uint32_t pick = rng() % 100;
    if (pick < 3)
        return 1920;
    if (pick < 5)
        return 3840;
    return 1 + rng() % 300;
}

constexpr uint32_t kMatrices[] = { 0, 1, 7 };
constexpr int32_t kRanges[] = { 0, 1, 2 };
constexpr uint32_t kTables = 64;
constexpr uint32_t kRowPairsPerTable = 32;

TEST(Lut3DKernelChecker, RowPairsMatchReferenceByteForByte)
{
    const std::vector<Variant> variants = variantsUnderTest();
    if (variants.empty())
        GTEST_SKIP() << "no vector variant for this CPU";
    const uint32_t seed = checkerSeed();
    SCOPED_TRACE("ZE_CHECKER_SEED=" + std::to_string(seed));
    std::mt19937 rng(seed);
    GuardedBuffer pages[3] = { GuardedBuffer(3840), GuardedBuffer(3840), GuardedBuffer(3840) };
    ASSERT_TRUE(pages[0].valid() && pages[1].valid() && pages[2].valid());
    ConstantsPtr k(static_cast<Lut3DConstants*>(Lut3DAlignedAlloc(sizeof(Lut3DConstants))));
    std::memset(k.get(), 0, sizeof(Lut3DConstants));

    std::vector<unsigned> failures(variants.size());
    unsigned checked = 0;
    for (uint32_t t = 0; t < kTables; ++t) {
        const uint32_t n = 1 + rng() % 65;
        const bool uniform = rng() % 2 == 0;
        TablePtr table = randomTable(rng, n, uniform);
        ASSERT_TRUE(table);
        for (uint32_t i = 0; i < kRowPairsPerTable; ++i) {
            RowPairCase c;
            c.width = randomWidth(rng);
            c.isNV21 = rng() % 2 == 1;
            c.alias = rng() % 3 == 0;
            c.loneRow = rng() % 8 == 0;
            c.atEnd = rng() % 4 != 0;
            c.y0 = randomBytes(rng, c.width);
            c.y1 = randomBytes(rng, c.width);
            c.uv = randomBytes(rng, (c.width + 1) & ~1u);
            const uint32_t matrix = kMatrices[rng() % 3];
            const int32_t range = kRanges[rng() % 3];
            Lut3DBuildConstants(k.get(), table.get(), matrix, range);
            const Lut3DKernelParams e { nullptr, k.get(), table.get(), c.width, c.isNV21 };

            const RowPairResult expected = runVariant(&kLut3DKernelReference, e, c, pages);
            ASSERT_TRUE(expected.guardsIntact) << "reference: " << c.describe();
            for (size_t v = 0; v < variants.size(); ++v) {
                if (failures[v] >= 3)
                    continue; // enough detail for one variant
                const RowPairResult got = runVariant(variants[v].ops, e, c, pages);
                const long dy0 = firstDifference(got.y0, expected.y0);
                const long dy1 = firstDifference(got.y1, expected.y1);
                const long duv = firstDifference(got.uv, expected.uv);
                if (dy0 >= 0 || dy1 >= 0 || duv >= 0 || !got.guardsIntact) {
                    ++failures[v];
                    ADD_FAILURE() << variants[v].name << ": " << c.describe() << ", " << n
                                  << (table->uniform ? " uniform" : " non-uniform")
                                  << " levels, matrix " << matrix << ", range " << range
                                  << ": first difference at luma row 0 byte " << dy0
                                  << ", row 1 byte " << dy1 << ", chroma byte " << duv
                                  << (got.guardsIntact ? "" : ", guard bytes overwritten");
                }
                ++checked;
            }
        }
    }
    std::printf("kernel checker: %u row pairs over %zu variant(s)\n", checked, variants.size());
}

TEST(Lut3DKernelChecker, DispatchPicksOneRunnableVariantOnce)
{
    const Lut3DKernelOps* active = Lut3DKernelActive();
    ASSERT_NE(active, nullptr);
    EXPECT_EQ(active, Lut3DKernelActive());
    EXPECT_EQ(Lut3DKernelGet(Lut3DKernelVariant::Reference), &kLut3DKernelReference);
    // The active variant is the last runnable one in order of preference.
    const std::vector<Variant> variants = variantsUnderTest();
    EXPECT_EQ(active, variants.empty() ? &kLut3DKernelReference : variants.back().ops);
}

// ------------------------------------------------------------ identities

// The identities are checked millions of times: compare without building an
// assertion object for every case, and stop at the first counterexample.
#define REQUIRE_SAME(a, b)                                                                         \
    if ((a) == (b)) {                                                                              \
    } else                                                                                         \
        FAIL() << #a " = " << +(a) << ", " #b " = " << +(b) << " at "

// The Q13 and Q8 coefficient sets, read from the constants block.
std::vector<ConstantsPtr> everyCoefficientSet()
{
    const std::vector<float> levels = uniformLevels(2);
    TablePtr t(Lut3DTableCreate(levels.data(), 2, identityEntries(2).data()));
    std::vector<ConstantsPtr> sets;
    for (uint32_t matrix : { 0u, 1u })
        for (int32_t range : { 0, 1, 2 })
            sets.push_back(makeConstants(t.get(), matrix, range));
    return sets;
}

int64_t floorDiv(int64_t a, int64_t b)
{
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)) ? 1 : 0);
}

// m(a, c) = floor(a * c / 32768) for every lane value a that YUV->RGB forms
// (y from -256 to 4080, u and v from -2048 to 2032) and every coefficient:
// the high half of the doubled product (x86 pmulhw of 2a) and the saturating
// doubling multiply (arm64 sqdmulh) both give it.
TEST(Lut3DKernelIdentities, MulHighIsHighHalfOfDoubledProduct)
{
    for (const ConstantsPtr& k : everyCoefficientSet()) {
        for (int16_t c :
            { k->lumaScale[0], k->rFromV[0], k->gFromU[0], k->gFromV[0], k->bFromU[0] }) {
            for (int32_t a = -2048; a <= 4080; ++a) {
                const int16_t expected = static_cast<int16_t>(floorDiv(int64_t { a } * c, 32768));
                REQUIRE_SAME(mulHigh(static_cast<int16_t>(a), c), expected) << a << " " << c;
#if defined(__x86_64__)
                const __m128i hi = _mm_mulhi_epi16(
                    _mm_set1_epi16(static_cast<int16_t>(2 * a)), _mm_set1_epi16(c));
                REQUIRE_SAME(static_cast<int16_t>(_mm_extract_epi16(hi, 3)), expected) << a;
#elif defined(__aarch64__)
                const int16x8_t hi
                    = vqdmulhq_s16(vdupq_n_s16(static_cast<int16_t>(a)), vdupq_n_s16(c));
                REQUIRE_SAME(vgetq_lane_s16(hi, 5), expected) << a;
#endif
            }
        }
    }
}

// Bounds of the sums before the rounding shift by 2, over every Y and every
// chroma pair: far inside the range where adding 2 cannot wrap 16 bits.
TEST(Lut3DKernelIdentities, YuvToRgbSumsStayFarFromWrapping)
{
    for (const ConstantsPtr& k : everyCoefficientSet()) {
        int32_t yMin = 1 << 20, yMax = -(1 << 20), tMin = 1 << 20, tMax = -(1 << 20);
        for (int luma = 0; luma < 256; ++luma) {
            const int32_t y
                = mulHigh(lumaTerm(static_cast<uint8_t>(luma), k->lumaOffset[0]), k->lumaScale[0]);
            yMin = std::min(yMin, y);
            yMax = std::max(yMax, y);
        }
        for (int u = 0; u < 256; ++u)
            for (int v = 0; v < 256; ++v) {
                const int16_t cu = chromaTerm(static_cast<uint8_t>(u));
                const int16_t cv = chromaTerm(static_cast<uint8_t>(v));
                const int32_t r = mulHigh(cv, k->rFromV[0]);
                const int32_t g = -(mulHigh(cu, k->gFromU[0]) + mulHigh(cv, k->gFromV[0]));
                const int32_t b = mulHigh(cu, k->bFromU[0]);
                tMin = std::min({ tMin, r, g, b });
                tMax = std::max({ tMax, r, g, b });
            }
        EXPECT_GE(yMin + tMin, -32768);
        EXPECT_LE(yMax + tMax, 32765);
    }
}

// (x + 2) >> 2 with unsigned saturation: in 16-bit lanes for every x that
// cannot wrap when 2 is added; sqrshrun on arm64 for every x.
TEST(Lut3DKernelIdentities, RoundingShiftBy2)
{
    for (int32_t x = -32768; x <= 32767; ++x) {
        const int16_t lane = static_cast<int16_t>(x);
        const uint8_t expected = roundShift2Sat(lane);
        if (x <= 32765) {
            const int32_t shifted = static_cast<int16_t>(x + 2) >> 2;
            REQUIRE_SAME(std::clamp(shifted, 0, 255), expected) << x;
        }
#if defined(__aarch64__)
        REQUIRE_SAME(vget_lane_u8(vqrshrun_n_s16(vdupq_n_s16(lane), 2), 0), expected) << x;
#endif
    }
}

// (c0 * (128 - f) + c1 * f) >> 7 = c0 + (((c1 - c0) * f) >> 7) with a 16-bit
// product and an arithmetic shift, for every pair of bytes and every fraction
// an index table can hold (0 to 128). Checked with the instructions too:
// pmullw/psraw/paddw on x86, umull/umlal/shrn of the first form on arm64.
TEST(Lut3DKernelIdentities, LerpByDifference)
{
    for (int f = 0; f <= 128; ++f) {
        for (int c0 = 0; c0 < 256; ++c0) {
            uint8_t expected[256];
            for (int c1 = 0; c1 < 256; ++c1) {
                expected[c1] = lerp7(static_cast<uint8_t>(c0), static_cast<uint8_t>(c1), f);
                const int16_t product = static_cast<int16_t>((c1 - c0) * f);
                REQUIRE_SAME(c0 + (product >> 7), expected[c1]) << c0 << " " << c1 << " " << f;
            }
#if defined(__x86_64__)
            for (int c1 = 0; c1 < 256; c1 += 8) {
                const __m128i a = _mm_set1_epi16(static_cast<int16_t>(c0));
                const __m128i b
                    = _mm_setr_epi16(c1, c1 + 1, c1 + 2, c1 + 3, c1 + 4, c1 + 5, c1 + 6, c1 + 7);
                const __m128i r = _mm_add_epi16(
                    a, _mm_srai_epi16(_mm_mullo_epi16(_mm_sub_epi16(b, a), _mm_set1_epi16(f)), 7));
                alignas(16) int16_t lanes[8];
                _mm_store_si128(reinterpret_cast<__m128i*>(lanes), r);
                for (int i = 0; i < 8; ++i)
                    REQUIRE_SAME(lanes[i], expected[c1 + i]) << c0 << " " << c1 + i << " " << f;
            }
#elif defined(__aarch64__)
            for (int c1 = 0; c1 < 256; c1 += 16) {
                uint8_t ramp[16], lanes[16];
                for (int i = 0; i < 16; ++i)
                    ramp[i] = static_cast<uint8_t>(c1 + i);
                const uint8x16_t a = vdupq_n_u8(static_cast<uint8_t>(c0));
                const uint8x16_t b = vld1q_u8(ramp);
                const uint8x16_t w0 = vdupq_n_u8(static_cast<uint8_t>(128 - f));
                const uint8x16_t w1 = vdupq_n_u8(static_cast<uint8_t>(f));
                const uint16x8_t lo = vmlal_u8(
                    vmull_u8(vget_low_u8(a), vget_low_u8(w0)), vget_low_u8(b), vget_low_u8(w1));
                const uint16x8_t hi = vmlal_high_u8(vmull_high_u8(a, w0), b, w1);
                vst1q_u8(lanes, vshrn_high_n_u16(vshrn_n_u16(lo, 7), hi, 7));
                for (int i = 0; i < 16; ++i)
                    REQUIRE_SAME(lanes[i], expected[c1 + i]) << c0 << " " << c1 + i << " " << f;
            }
#endif
        }
    }
}

// Uniform grid position for every channel value and every grid scale up to
// that of the largest table: index = (2c * s) >> 16 (sqdmulh, or the unsigned
// high half of c * 2s) and fraction = bits 8 to 14 of the wrapped 16-bit
// product c * s, which are also the top 7 bits of the wrapped product c * 2s.
TEST(Lut3DKernelIdentities, UniformPositionFromSixteenBitProducts)
{
    const std::vector<float> levels = uniformLevels(kLut3DMaxLevels);
    std::mt19937 rng(1);
    TablePtr largest(Lut3DTableCreate(
        levels.data(), kLut3DMaxLevels, randomEntries(kLut3DMaxLevels, rng).data()));
    ASSERT_TRUE(largest && largest->uniform);
    const uint16_t maxScale = makeConstants(largest.get(), 0, 0)->gridScale[0];
    ASSERT_LT(maxScale, 32768); // a positive signed 16-bit multiplier for pmaddwd
    for (uint32_t s = 0; s <= maxScale; ++s) {
        for (uint32_t c = 0; c < 256; ++c) {
            uint32_t index, fraction;
            gridPosUniform(static_cast<uint8_t>(c), static_cast<uint16_t>(s), &index, &fraction);
            REQUIRE_SAME((2 * c * s) >> 16, index) << c << " " << s;
            REQUIRE_SAME((static_cast<uint16_t>(c * s) >> 8) & 127, fraction) << c << " " << s;
            REQUIRE_SAME(static_cast<uint16_t>(2 * c * s) >> 9, fraction) << c << " " << s;
        }
#if defined(__aarch64__)
        for (uint32_t c = 0; c < 256; c += 8) {
            const int16x8_t lanes = vaddq_s16(vdupq_n_s16(static_cast<int16_t>(c)),
                vcombine_s16(
                    vcreate_s16(0x0003000200010000ull), vcreate_s16(0x0007000600050004ull)));
            const int16x8_t index = vqdmulhq_s16(lanes, vdupq_n_s16(static_cast<int16_t>(s)));
            for (uint32_t i = 0; i < 8; ++i) {
                uint32_t expectedIndex, fraction;
                gridPosUniform(static_cast<uint8_t>(c + i), static_cast<uint16_t>(s),
                    &expectedIndex, &fraction);
                int16_t got[8];
                vst1q_s16(got, index);
                REQUIRE_SAME(static_cast<uint32_t>(got[i]), expectedIndex) << c + i << " " << s;
            }
        }
#endif
    }
    // The cell offset's first two products fit one signed 16 x 16 multiply-add.
    EXPECT_LT(largest->planeStride, 32768u);
}

// Y: (sum + 128) >> 8 narrowed to 8 bits. In a 16-bit lane the addition
// may wrap, and the rounding narrow on arm64 keeps the carry; both equal the
// reference for every 16-bit sum (a wrapped sum gives 0, as 256 narrows to 0).
TEST(Lut3DKernelIdentities, LumaRoundingNarrow)
{
    for (uint32_t sum = 0; sum < 65536; ++sum) {
        const uint8_t reference = static_cast<uint8_t>((sum + 128) >> 8);
        REQUIRE_SAME(static_cast<uint16_t>(sum + 128) >> 8, reference) << sum;
#if defined(__aarch64__)
        REQUIRE_SAME(
            vget_lane_u8(vrshrn_n_u16(vdupq_n_u16(static_cast<uint16_t>(sum)), 8), 0), reference)
            << sum;
#endif
    }
}

// Chroma: the rounding narrow by 8 with signed saturation, in 16-bit lanes
// for every X that adding 128 cannot wrap, by sqrshrn on arm64 for every X;
// the coefficient sets keep |X| within 127 * 255.
TEST(Lut3DKernelIdentities, ChromaRoundingNarrow)
{
    for (int32_t x = -32768; x <= 32767; ++x) {
        const uint8_t expected = chromaNarrow(static_cast<int16_t>(x));
        if (x <= 32767 - 128) {
            const int32_t shifted = static_cast<int16_t>(x + 128) >> 8;
            REQUIRE_SAME(static_cast<uint8_t>(std::clamp(shifted, -128, 127) + 128), expected) << x;
        }
#if defined(__aarch64__)
        const int8x8_t n = vqrshrn_n_s16(vdupq_n_s16(static_cast<int16_t>(x)), 8);
        REQUIRE_SAME(static_cast<uint8_t>(vget_lane_s8(n, 0) + 128), expected) << x;
#endif
    }
    for (const ConstantsPtr& c : everyCoefficientSet()) {
        const int32_t uMax = 255 * c->uFromB[0], uMin = -255 * (c->uFromR[0] + c->uFromG[0]);
        const int32_t vMax = 255 * c->vFromR[0], vMin = -255 * (c->vFromG[0] + c->vFromB[0]);
        EXPECT_LE(std::max(uMax, vMax), 32767 - 128);
        EXPECT_GE(std::min(uMin, vMin), -32768);
    }
}

} // namespace
