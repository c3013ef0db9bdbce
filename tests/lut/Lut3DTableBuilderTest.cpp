// Grid re-layout, uniform detection and the index table.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "lut/Lut3DTableBuilder.h"
#include "support/TestFrames.h"

namespace {

std::pair<int, int> indexEntry(const Lut3DTable* t, int v)
{
    return {t->indexTable[2 * v], t->indexTable[2 * v + 1]};
}

TEST(Lut3DTableBuilder, GridLayoutAndStrides)
{
    std::mt19937 rng(7);
    for (uint32_t n : {1u, 2u, 5u, 65u}) {
        const std::vector<uint8_t> entries = randomEntries(n, rng);
        TablePtr t = buildTable(uniformLevels(n), entries);
        ASSERT_TRUE(t) << n;
        EXPECT_EQ(t->rowStride, 4u * (n + 1));
        EXPECT_EQ(t->planeStride, 4u * (n + 1) * (n + 1));
        EXPECT_EQ(reinterpret_cast<uintptr_t>(t->grid) % 64, 0u);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(t->indexTable) % 64, 0u);
        EXPECT_EQ(Lut3DTableLevels(t.get()), n);
        for (uint32_t r = 0; r < n; ++r)
            for (uint32_t g = 0; g < n; ++g)
                for (uint32_t b = 0; b < n; ++b) {
                    const uint8_t* cell = t->grid + r * t->planeStride + g * t->rowStride + 4 * b;
                    const uint8_t* e = &entries[3 * ((r * n + g) * n + b)];
                    ASSERT_EQ(0, memcmp(cell, e, 3)) << n << ": " << r << "," << g << "," << b;
                }
    }
}

TEST(Lut3DTableBuilder, ToleranceIsOneFiveHundredTwelfth)
{
    std::vector<float> levels = uniformLevels(17);
    levels[0] = 0.001953125f;
    EXPECT_EQ(buildTable(levels, identityEntries(17))->uniform, 1);
    levels[0] = 0.00196f;
    EXPECT_EQ(buildTable(levels, identityEntries(17))->uniform, 0);
    levels = uniformLevels(17);
    levels[16] = 1.0f - 0.0019f;
    EXPECT_EQ(buildTable(levels, identityEntries(17))->uniform, 1);
    levels[16] = 1.0f + 0.002f;
    EXPECT_EQ(buildTable(levels, identityEntries(17))->uniform, 0);
}

TEST(Lut3DTableBuilder, LevelsStoppingShortOfOne)
{
    std::vector<float> levels = {0.0f, 0.3f, 0.6f, 0.9f};
    TablePtr t = buildTable(levels, identityEntries(4));
    ASSERT_TRUE(t);
    EXPECT_EQ(t->uniform, 0);
    for (int v = 0; v < 256; ++v) {
        const float x = static_cast<float>(v) / 255.0f;
        if (x > 0.9f)
            EXPECT_EQ(indexEntry(t.get(), v), std::make_pair(3, 0)) << v;
        else
            EXPECT_LT(indexEntry(t.get(), v).first, 3) << v;
    }
}

TEST(Lut3DTableBuilder, ValuesBelowTheFirstLevelTakeIndexZero)
{
    TablePtr t = buildTable({0.5f, 1.0f}, identityEntries(2));
    ASSERT_TRUE(t);
    EXPECT_EQ(indexEntry(t.get(), 0), std::make_pair(0, 0));
    EXPECT_EQ(indexEntry(t.get(), 127), std::make_pair(0, 0));
    // 0.5 is exactly level 0 only for a v that gives 0.5 in float: none does;
    // 128/255 = 0.50196 is just above it.
    EXPECT_EQ(indexEntry(t.get(), 128), std::make_pair(0, 0));
    EXPECT_EQ(indexEntry(t.get(), 255), std::make_pair(1, 0));
}

TEST(Lut3DTableBuilder, HostileLevelsKeepIndicesAndWeightsInRange)
{
    // Levels a damaged file could hold: unsorted, repeated, NaN, infinite.
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<std::vector<float>> cases = {
        {1.0f, 0.5f, 0.0f},        {0.2f, 0.2f, 0.2f},   {nan, nan, nan},
        {-inf, 0.5f, inf},         {0.0f, nan, 1.0f},    {-inf, -inf, 2.0f},
        {0.1f, 0.05f, 0.7f, 0.3f}, {-1e30f, 1e-30f, 1e30f}};
    for (const std::vector<float>& levels : cases) {
        const uint32_t n = static_cast<uint32_t>(levels.size());
        TablePtr t = buildTable(levels, identityEntries(n));
        ASSERT_TRUE(t);
        for (int v = 0; v < 256; ++v) {
            EXPECT_LT(indexEntry(t.get(), v).first, static_cast<int>(n));
            EXPECT_LE(indexEntry(t.get(), v).second, 128);
        }
    }
}

} // namespace
