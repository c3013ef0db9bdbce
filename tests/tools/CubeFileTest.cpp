// .cube parsing and conversion to the LUT file's blue-fastest 8-bit entries.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "CubeFile.h"
#include "ToolTestSupport.h"

namespace {

std::string entries(uint32_t count, const char* value = "0 0 0")
{
    std::string text;
    for (uint32_t i = 0; i < count; ++i)
        text += std::string(value) + "\n";
    return text;
}

TEST(CubeFile, ReadsHeaderCommentsBlankLinesCrlfAndDomain)
{
    const std::string text = "# made by hand\r\n"
                             "TITLE \"Warm # look\"\r\n"
                             "\r\n"
                             "  DOMAIN_MIN 0 0 0\r\n"
                             "DOMAIN_MAX 1.0 1.0 1.0\r\n"
                             "LUT_3D_SIZE 2\r\n"
                             "# data follows\r\n"
                             "0 0 0\r\n"
                             "1 0 0\r\n"
                             "\t0 1 0\t\r\n"
                             "1 1 0\r\n"
                             "\r\n"
                             "0 0 1\r\n"
                             "1 0 1\r\n"
                             "0 1 1\r\n"
                             "+1 1e0 1.\r\n"
                             "# trailing comment";
    CubeTable cube;
    std::string error;
    ASSERT_TRUE(parseCube(text, "warm.cube", cube, error)) << error;
    EXPECT_EQ(cube.title, "Warm # look");
    EXPECT_EQ(cube.size, 2u);
    EXPECT_EQ(cube.domainLine, 5u);
    ASSERT_EQ(cube.values.size(), 24u);
    EXPECT_EQ(cube.values[3], 1.0); // second entry: red index 1
    EXPECT_EQ(cube.values[7], 1.0); // third entry: green index 1
    EXPECT_EQ(cube.values[21], 1.0); // last entry
    LutTable lut;
    ASSERT_TRUE(cubeToLut(cube, "warm.cube", lut, error)) << error;
    EXPECT_EQ(lut.entries, identityTable(2).entries);
    EXPECT_EQ(lut.levels, unitLevels(2));
}

TEST(CubeFile, ReordersRedFastestIntoBlueFastest)
{
    // Each output encodes its own grid position in a different channel scale,
    // so any transposition of the axes shows.
    const uint32_t n = 3;
    std::string text = "LUT_3D_SIZE 3\n";
    for (uint32_t b = 0; b < n; ++b)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t r = 0; r < n; ++r)
                text += std::to_string(r * 10 / 255.0) + " "
                    + std::to_string((g * 10 + 100) / 255.0) + " "
                    + std::to_string((b * 10 + 200) / 255.0) + "\n";
    CubeTable cube;
    LutTable lut;
    std::string error;
    ASSERT_TRUE(parseCube(text, "t.cube", cube, error)) << error;
    ASSERT_TRUE(cubeToLut(cube, "t.cube", lut, error)) << error;
    ASSERT_EQ(lut.entries.size(), 3u * 27);
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b) {
                const uint8_t* e = &lut.entries[3 * ((r * n + g) * n + b)];
                EXPECT_EQ(e[0], r * 10);
                EXPECT_EQ(e[1], g * 10 + 100);
                EXPECT_EQ(e[2], b * 10 + 200);
            }
}

TEST(CubeFile, RoundsOutputsToBytesWithClamping)
{
    const std::string text = "LUT_3D_SIZE 2\n"
                             "-0.5 1.5 0.5\n" // clamp, clamp, 127.5 rounds up
                             "0.2 0.0019607 0.0019609\n" // 51, 0.49998 -> 0, 0.50003 -> 1
        + entries(6);
    CubeTable cube;
    LutTable lut;
    std::string error;
    ASSERT_TRUE(parseCube(text, "r.cube", cube, error)) << error;
    ASSERT_TRUE(cubeToLut(cube, "r.cube", lut, error)) << error;
    const uint8_t* first = &lut.entries[0]; // (r, g, b) = (0, 0, 0)
    const uint8_t* second = &lut.entries[3 * 4]; // file entry 1 is r = 1: (1, 0, 0)
    EXPECT_EQ(first[0], 0);
    EXPECT_EQ(first[1], 255);
    EXPECT_EQ(first[2], 128);
    EXPECT_EQ(second[0], 51);
    EXPECT_EQ(second[1], 0);
    EXPECT_EQ(second[2], 1);
}

TEST(CubeFile, DomainBecomesTheLevels)
{
    CubeTable cube;
    LutTable lut;
    std::string error;
    ASSERT_TRUE(
        parseCube("DOMAIN_MIN 0.1 0.1 0.1\nDOMAIN_MAX 0.9 0.9 0.9\nLUT_3D_SIZE 3\n" + entries(27),
            "d.cube", cube, error))
        << error;
    ASSERT_TRUE(cubeToLut(cube, "d.cube", lut, error)) << error;
    EXPECT_EQ(lut.levels, (std::vector<float> { 0.1f, 0.5f, 0.9f }));

    ASSERT_TRUE(
        parseCube("LUT_3D_INPUT_RANGE 0 2\nLUT_3D_SIZE 2\n" + entries(8), "i.cube", cube, error));
    ASSERT_TRUE(cubeToLut(cube, "i.cube", lut, error)) << error;
    EXPECT_EQ(lut.levels, (std::vector<float> { 0.0f, 2.0f }));

    // One set of levels serves all three axes: per-channel domains are refused,
    // and so is an empty or reversed domain, naming the domain line.
    ASSERT_TRUE(parseCube("LUT_3D_SIZE 2\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 1 0.5\n" + entries(8),
        "c.cube", cube, error));
    EXPECT_FALSE(cubeToLut(cube, "c.cube", lut, error));
    EXPECT_EQ(error,
        "c.cube:3: the domain differs between channels; a LUT file has one set of "
        "levels for all three axes");
    ASSERT_TRUE(parseCube("DOMAIN_MIN 1 1 1\nLUT_3D_SIZE 2\n" + entries(8), "e.cube", cube, error));
    EXPECT_FALSE(cubeToLut(cube, "e.cube", lut, error));
    EXPECT_EQ(error, "e.cube:1: DOMAIN_MAX must be above DOMAIN_MIN");

    // Levels must survive single precision: finite and strictly increasing.
    for (const char* domain : { "DOMAIN_MIN -1e308 -1e308 -1e308\nDOMAIN_MAX 1e308 1e308 1e308\n",
             "DOMAIN_MIN 0 0 0\nDOMAIN_MAX 1e-50 1e-50 1e-50\n",
             "DOMAIN_MIN 1 1 1\nDOMAIN_MAX 1.00000001 1.00000001 1.00000001\n" }) {
        ASSERT_TRUE(parseCube(
            std::string(domain) + "LUT_3D_SIZE 3\n" + entries(27), "f.cube", cube, error));
        EXPECT_FALSE(cubeToLut(cube, "f.cube", lut, error)) << domain;
        EXPECT_EQ(error,
            "f.cube:2: the input levels are not finite and strictly increasing as 32-bit floats");
    }
}

TEST(CubeFile, SharedShaperBecomesTheLevels)
{
    // Shaper 0 -> 0, 0.5 -> 0.75, 1 -> 1: the 3D node 0.5 is reached at 1/3.
    const std::string head = "lut_1d_size 3\rLUT_3D_SIZE 3\r";
    CubeTable cube;
    LutTable lut;
    std::string error;
    ASSERT_TRUE(parseCube("\xEF\xBB\xBF" + head + "0 0 0\r0.75 0.75 0.75\r1 1 1\r" + entries(27),
        "s.cube", cube, error))
        << error;
    ASSERT_TRUE(cubeToLut(cube, "s.cube", lut, error)) << error;
    EXPECT_EQ(lut.levels, (std::vector<float> { 0.0f, float(1.0 / 3.0), 1.0f }));

    const struct {
        const char* shaper;
        const char* error;
    } refused[] = {
        { "0 0 0\r0.5 0.75 0.75\r1 1 1\r",
            "s.cube:4: the shaper differs between channels; "
            "only one curve shared by all three becomes the levels" },
        { "0 0 0\r0.75 0.75 0.75\r0.75 0.75 0.75\r", "s.cube:5: the shaper does not increase" },
        { "0.1 0.1 0.1\r0.5 0.5 0.5\r1 1 1\r",
            "s.cube:1: the shaper does not reach every node of the 3D grid" },
    };
    for (const auto& c : refused) {
        ASSERT_TRUE(parseCube(head + c.shaper + entries(27), "s.cube", cube, error)) << error;
        EXPECT_FALSE(cubeToLut(cube, "s.cube", lut, error));
        EXPECT_EQ(error, c.error);
    }
}

TEST(CubeFile, IdentityConvertsToTheIdentityTable)
{
    for (uint32_t n : { 2u, 5u, 17u, 33u, 65u }) {
        CubeTable cube;
        LutTable lut;
        std::string error;
        ASSERT_TRUE(parseCube(identityCubeText(n, n == 17 ? "\r\n" : "\n"), "id.cube", cube, error))
            << error;
        ASSERT_TRUE(cubeToLut(cube, "id.cube", lut, error)) << error;
        EXPECT_EQ(encodeLutFile(lut), encodeLutFile(identityTable(n))) << "N = " << n;
    }
}

struct Refusal {
    const char* text;
    const char* error; // exact, after the "bad.cube:" prefix
};

TEST(CubeFile, RefusalsNameTheLine)
{
    const std::string eight = entries(8);
    const Refusal cases[] = {
        { "TITLE \"x\"\nLUT_1D_SIZE 16\n",
            "2: one-dimensional tables (LUT_1D_SIZE) are not supported; only 3D tables convert" },
        { "LUT_3D_SIZE 66\n", "1: LUT_3D_SIZE 66 is outside 2 to 65" },
        { "LUT_3D_SIZE 1\n0 0 0\n", "1: LUT_3D_SIZE 1 is outside 2 to 65" },
        { "LUT_3D_SIZE 2.5\n", "1: LUT_3D_SIZE must be a whole number" },
        { "LUT_3D_SIZE two\n", "1: 'two' is not a number" },
        { "LUT_3D_SIZE\n", "1: LUT_3D_SIZE expects 1 number, found 0" },
        { "LUT_3D_SIZE 2\nLUT_3D_SIZE 2\n", "2: LUT_3D_SIZE given twice" },
        { "# no size\n0 0 0\n", "2: table data before LUT_3D_SIZE" },
        { "LUT_3D_SIZE 2\n0 0 0\n0 0 x\n", "3: 'x' is not a number" },
        { "LUT_3D_SIZE 2\n0 0\n", "2: a table entry expects 3 numbers, found 2" },
        { "LUT_3D_SIZE 2\n0 0 0 0\n", "2: a table entry expects 3 numbers, found 4" },
        { "LUT_3D_SIZE 2\nnan 0 0\n", "2: 'nan' is not a number" },
        { "LUT_3D_SIZE 2\n0 inf 0\n", "2: 'inf' is not a number" },
        { "LUT_3D_SIZE 2\n0 0 1e999\n", "2: '1e999' is not a number" },
        { "LUT_3D_SIZE 2\n0.5.5 0 0\n", "2: '0.5.5' is not a number" },
        { "LUT_3D_SIZE 2\n0,5 0 0\n", "2: '0,5' is not a number" },
        { "LUT_3D_SIZE 2\n++1 0 0\n", "2: '++1' is not a number" },
        { "LUT_3D_SIZE 2\r\n\r\n0 0 0\r\n0 0 zero\r\n", "4: 'zero' is not a number" },
        { "LUT_3D_SIZE 2\nDOMAIN_MIN 0 0\n", "2: DOMAIN_MIN expects 3 numbers, found 2" },
        { "LUT_3D_SIZE 2\nLUT_IN_VIDEO_RANGE\n", "2: unknown keyword LUT_IN_VIDEO_RANGE" },
        { "LUT_3D_SIZE 2\n0 0 0\nTITLE \"late\"\n", "3: TITLE after the table data" },
        { "LUT_3D_SIZE 2\nDOMAIN_MIN 0 0 0\nLUT_3D_INPUT_RANGE 0 1\n",
            "3: LUT_3D_INPUT_RANGE and DOMAIN_MIN/DOMAIN_MAX both set the input range" },
        { "lut_3d_input_range 0 1\nDomain_Max 1 1 1\n",
            "2: DOMAIN_MAX and LUT_3D_INPUT_RANGE both set the input range" },
        { "\x89PNG\r\n",
            " not a .cube table (its first line is neither a keyword, a comment "
            "nor a table entry)" },
        { "", " no LUT_3D_SIZE line; not a 3D .cube table" },
        { "TITLE \"only\"\n# nothing else\n", " no LUT_3D_SIZE line; not a 3D .cube table" },
    };
    for (const Refusal& c : cases) {
        CubeTable cube;
        std::string error;
        EXPECT_FALSE(parseCube(c.text, "bad.cube", cube, error)) << c.text;
        EXPECT_EQ(error, std::string("bad.cube:") + c.error) << c.text;
    }
    // Wrong entry counts: an extra entry names its own line, a short file its
    // last line.
    CubeTable cube;
    std::string error;
    EXPECT_FALSE(parseCube("LUT_3D_SIZE 2\n" + eight + "0 0 0\n", "bad.cube", cube, error));
    EXPECT_EQ(error, "bad.cube:10: more entries than LUT_3D_SIZE 2 allows (8)");
    EXPECT_FALSE(parseCube("LUT_3D_SIZE 2\n" + entries(7) + "\n# end\n", "bad.cube", cube, error));
    EXPECT_EQ(error, "bad.cube:10: file ends after 7 of 8 entries (LUT_3D_SIZE 2)");
}

} // namespace
