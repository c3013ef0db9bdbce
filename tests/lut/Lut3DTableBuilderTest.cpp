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
