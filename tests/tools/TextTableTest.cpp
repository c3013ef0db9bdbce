// The .3dl reader, and the two text formats against each other: the same
// grade baked as .cube and as .3dl renders frames at most one code apart.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "ThreeDlFile.h"
#include "ToolTestSupport.h"
#include "ZeLut3D.h"
#include "support/TestFrames.h"

namespace {

// A smooth, non-linear grade with different work in each channel.
void grade(double r, double g, double b, double* out)
{
    out[0] = 0.85 * r + 0.1 * g + 0.02;
    out[1] = std::pow(g, 0.8);
    out[2] = 0.5 + 0.7 * (b - 0.5) * (1.0 - 0.3 * r);
}

// A 17-point mesh on 0..1023 with 12-bit outputs, as colour tools bake it.
std::string gradeAs3dl(const char* header = "3DMESH\nMesh 4 12\n")
{
    std::string text = std::string("# baked\n") + header;
    std::vector<int> mesh;
    for (int i = 0; i < 17; ++i)
        mesh.push_back(std::min(1023, 64 * i));
    for (int v : mesh)
        text += std::to_string(v) + (v == 1023 ? "\n" : " ");
    double out[3];
    for (int r : mesh)
        for (int g : mesh)
            for (int b : mesh) {
                grade(r / 1023.0, g / 1023.0, b / 1023.0, out);
                for (int c = 0; c < 3; ++c)
                    text += std::to_string(std::lround(std::clamp(out[c], 0.0, 1.0) * 4095))
                        + (c == 2 ? "\n" : " ");
            }
    return text;
}

std::string gradeAsCube()
{
    std::string text = "LUT_3D_SIZE 17\n";
    char line[96];
    double out[3];
    for (int b = 0; b < 17; ++b)
        for (int g = 0; g < 17; ++g)
            for (int r = 0; r < 17; ++r) {
                grade(r / 16.0, g / 16.0, b / 16.0, out);
                std::snprintf(line, sizeof line, "%.6f %.6f %.6f\n", out[0], out[1], out[2]);
                text += line;
            }
    return text;
}

TEST(TextTables, ThreeDlAndCubeOfOneGradeRenderWithinOneCode)
{
    TemporaryDirectory dir;
    writeFileText(dir.file("look.3dl"), gradeAs3dl());
    writeFileText(dir.file("look.cube"), gradeAsCube());
    for (const char* name : { "look.3dl", "look.cube" }) {
        const ZelutRun r
            = runZelut({ "convert", dir.file(name), dir.file(std::string(name) + ".lut") });
        ASSERT_EQ(r.status, 0) << r.err;
    }
    const TablePtr fromThreeDl(ZecLut3DLoadTableFromFile(dir.file("look.3dl.lut").c_str()));
    const TablePtr fromCube(ZecLut3DLoadTableFromFile(dir.file("look.cube.lut").c_str()));
    ASSERT_TRUE(fromThreeDl && fromCube);
    TestFrame source(256, 64);
    source.fillRandom(3);
    const EffectPtr effect(ZecLut3DCreateEffect(1));
    const std::vector<uint8_t> pa = effectRender(effect.get(), source, fromThreeDl.get(), 0, 1, 0);
    const std::vector<uint8_t> pb = effectRender(effect.get(), source, fromCube.get(), 0, 1, 0);
    ASSERT_TRUE(!pa.empty() && pa.size() == pb.size());
    int worst = 0;
    for (size_t i = 0; i < pa.size(); ++i)
        worst = std::max(worst, std::abs(int(pa[i]) - int(pb[i])));
    EXPECT_LE(worst, 1);
}

TEST(TextTables, ThreeDlDepthsAndLevels)
{
    // Without a Mesh line the outputs' depth is the smallest that holds them.
    LutTable fromMesh, inferred;
    std::string error;
    ASSERT_TRUE(parse3dl(gradeAs3dl(), "a.3dl", fromMesh, error)) << error;
    ASSERT_TRUE(parse3dl(gradeAs3dl(""), "b.3dl", inferred, error)) << error;
    EXPECT_EQ(fromMesh.entries, inferred.entries);
    EXPECT_EQ(fromMesh.levels[16], 1.0f);
    EXPECT_EQ(fromMesh.levels[1], float(64 / 1023.0));

    // 8-bit mesh, 8-bit outputs, blue fastest, CR line ends.
    LutTable small;
    ASSERT_TRUE(parse3dl("0 255\r0 0 0\r0 0 255\r0 255 0\r0 255 255\r255 0 0\r255 0 255\r"
                         "255 255 0\r255 255 255\r",
        "c.3dl", small, error))
        << error;
    EXPECT_EQ(small.entries, identityTable(2).entries);
}

TEST(TextTables, ThreeDlRefusalsNameTheLine)
{
    const struct {
        const char* text;
        const char* error;
    } cases[] = {
        { "", "t.3dl: no mesh line; not a .3dl table" },
        { "0 1023\n0 0 0\n", "t.3dl:2: file ends after 1 of 8 entries (2 levels)" },
        { "0\n", "t.3dl:1: the mesh line has 1 values; a table has 2 to 65 levels" },
        { "0 512 512\n", "t.3dl:1: the mesh values do not increase" },
        { "0 1023\n0 0 0.5\n", "t.3dl:2: '0.5' is not a whole number from 0 to 65535" },
        { "0 1023\n0 0\n", "t.3dl:2: a table entry expects 3 numbers, found 2" },
        { "Mesh 4 12\n0 1023\n0 0 5000\n", "" }, // entries filled below
        { "Mesh 4 20\n", "t.3dl:1: output depth 20 is outside 8 to 16 bits" },
        { "0 1023\nMesh 4 12\n", "t.3dl:2: MESH after the mesh line" },
        { "LUT_3D_SIZE 2\n", "t.3dl:1: unknown keyword LUT_3D_SIZE" },
        { "0 1023\n", "t.3dl:1: file ends after 0 of 8 entries (2 levels)" },
    };
    for (const auto& c : cases) {
        std::string text = c.text, want = c.error;
        if (want.empty()) {
            for (int i = 0; i < 7; ++i)
                text += "0 0 0\n";
            want = "t.3dl:2: outputs reach 5000, above the 4095 of the Mesh line's depth";
        }
        LutTable lut;
        std::string error;
        EXPECT_FALSE(parse3dl(text, "t.3dl", lut, error)) << c.text;
        EXPECT_EQ(error, want) << c.text;
    }
    std::string error;
    LutTable lut;
    EXPECT_FALSE(parse3dl("0 1023\n" + std::string(5000, ' ') + "0 0 0\n", "t.3dl", lut, error));
    EXPECT_EQ(error, "t.3dl:2: line longer than 4096 bytes");
}

} // namespace
