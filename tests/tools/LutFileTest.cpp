// The LUT file as the tool writes and reads it, and as the library takes it.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "DemoImages.h"
#include "LutFile.h"
#include "ToolTestSupport.h"
#include "ZeLut3D.h"
#include "support/TestFrames.h"

namespace {

std::string asString(const std::vector<uint8_t>& b)
{
    return std::string(b.begin(), b.end());
}

TEST(LutFile, DecodesFieldsAndChecksumsTheEntries)
{
    // A one-dimensional table of three 3-byte entries whose bytes are the
    // CRC-32 check string "123456789" (CRC cbf43926), with a gap before the
    // levels and one stray byte at the end.
    std::vector<uint8_t> b(kLut3DSignature, kLut3DSignature + 8);
    const uint32_t header[10] = { 1, 3, 0, 0, 0, 0, 52, 0, 0, 0 };
    for (uint32_t v : header)
        for (int i = 0; i < 4; ++i)
            b.push_back(static_cast<uint8_t>(v >> (8 * i)));
    b.resize(52, 0xEE);
    const float levels[3] = { 0.0f, 0.5f, 0.9f };
    b.insert(b.end(), reinterpret_cast<const uint8_t*>(levels),
        reinterpret_cast<const uint8_t*>(levels) + 12);
    for (char c : std::string("123456789!"))
        b.push_back(static_cast<uint8_t>(c));
    LutFileInfo info;
    std::string error;
    ASSERT_TRUE(decodeLutFile(asString(b), info, error)) << error;
    EXPECT_EQ(info.version, 1u);
    EXPECT_EQ(info.levelCount, 3u);
    EXPECT_EQ(info.dimensions, 0u);
    EXPECT_EQ(info.levelOffset, 52u);
    EXPECT_EQ(info.levels, (std::vector<float>(levels, levels + 3)));
    EXPECT_EQ(info.entryBytes, 9u);
    EXPECT_EQ(info.entryCrc32, 0xcbf43926u);
    EXPECT_EQ(info.trailingBytes, 1u);
    EXPECT_EQ(info.fileBytes, b.size());
}

TEST(LutFile, NamesTheRuleABadFileBreaks)
{
    const std::vector<uint8_t> good = encodeLutFile(identityTable(2));
    EXPECT_EQ(lutFileProblem(asString(good)), "");
    auto with = [&](size_t at, uint32_t value) {
        std::vector<uint8_t> b = good;
        for (int i = 0; i < 4; ++i)
            b[at + i] = static_cast<uint8_t>(value >> (8 * i));
        return asString(b);
    };
    const std::string g = asString(good);
    EXPECT_EQ(lutFileProblem(g.substr(0, 7)), "shorter than the 8-byte signature");
    EXPECT_EQ(lutFileProblem("x" + g.substr(1)), "not a LUT file (wrong signature)");
    EXPECT_EQ(lutFileProblem(g.substr(0, 10)), "file ends inside the header");
    EXPECT_EQ(lutFileProblem(with(8, 2)), "unsupported version 2 (only version 1 is read)");
    EXPECT_EQ(lutFileProblem(g.substr(0, 47)), "file ends inside the 48-byte header");
    EXPECT_EQ(lutFileProblem(with(16, 7)), "unknown entry type 7");
    EXPECT_EQ(lutFileProblem(with(12, 0)), "level count 0 is outside 1 to 65");
    EXPECT_EQ(lutFileProblem(with(12, 66)), "level count 66 is outside 1 to 65");
    EXPECT_EQ(lutFileProblem(with(32, 1000)), "the level values run past the end of the file");
    EXPECT_EQ(
        lutFileProblem(g.substr(0, g.size() - 1)), "the entries run past the end of the file");
    EXPECT_EQ(lutFileProblem(with(20, 0)), "one-dimensional table");
    EXPECT_EQ(lutFileProblem(with(16, 3)), "the entries run past the end of the file");
    EXPECT_EQ(lutFileProblem(with(16, 3) + std::string(72, '\0')), "entries are not 8-bit");
}

// A file written by the tool renders exactly as the same entries built into a
// table in memory: the byte order and levels are read as they were meant.
TEST(LutFile, LibraryLoadsWhatTheToolWrites)
{
    TemporaryDirectory dir;
    std::mt19937 rng(11);
    LutTable random;
    random.n = 9;
    random.levels = unitLevels(9);
    random.entries = randomEntries(9, rng);
    LutTable shifted = identityTable(6);
    shifted.levels = { 0.0f, 0.1f, 0.3f, 0.6f, 0.8f, 1.0f }; // not uniform
    const EffectPtr effect(ZecLut3DCreateEffect(1));
    for (const LutTable* t : { &random, &shifted }) {
        const std::string path = dir.file("t.lut");
        writeFileBytes(path, encodeLutFile(*t));
        const TablePtr loaded(ZecLut3DLoadTableFromFile(path.c_str()));
        ASSERT_NE(loaded, nullptr);
        TestFrame source(67, 9);
        source.fillRandom(3);
        EXPECT_EQ(effectRender(effect.get(), source, loaded.get(), 0, 1, 0),
            referenceRender(source, buildTable(t->levels, t->entries).get(), 0, 1, 0));
    }
    // The demo's grade and the largest identity load too.
    for (const LutTable& t : { sampleGradeTable(33), identityTable(65) }) {
        const std::string path = dir.file("g.lut");
        writeFileBytes(path, encodeLutFile(t));
        EXPECT_NE(TablePtr(ZecLut3DLoadTableFromFile(path.c_str())), nullptr);
    }
}

} // namespace
