// The LUT file loader: every refusal with its exact message (or none), the
// exact-size boundaries, where the level values may lie, the derived tables,
// clean-up after each failing allocation, and a loaded table rendering like
// the same table built in memory.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "ZeLut3D.h"
#include "lut/Lut3DFileData.h"
#include "lut/Lut3DTableBuilder.h"
#include "support/LutFileWriter.h"
#include "support/MessageCapture.h"
#include "support/TemporaryDirectory.h"
#include "support/TestFrames.h"

namespace {

// The same grid cells (padding is never written) and derived tables.
bool sameTable(const Lut3DTable* a, const Lut3DTable* b)
{
    const uint32_t n = static_cast<uint32_t>(a->rowStride / 4 - 1);
    bool same = a->uniform == b->uniform && a->rowStride == b->rowStride
        && a->planeStride == b->planeStride && std::memcmp(a->indexTable, b->indexTable, 512) == 0
        && !a->pairGrid == !b->pairGrid
        && (!a->pairGrid || std::memcmp(a->pairGrid, b->pairGrid, 16 * n * n * (n + 1)) == 0);
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t c = 0; c < n; ++c) {
                const uint64_t at = r * a->planeStride + g * a->rowStride + c * 4;
                same = same && std::memcmp(a->grid + at, b->grid + at, 3) == 0;
            }
    return same;
}

// The file loaded by its path, after checking that its bytes loaded from
// memory give the same result and, when there is one, the same table.
TablePtr load(const std::string& path)
{
    const std::vector<uint8_t> bytes = readFileBytes(path);
    const TablePtr fromMemory(ZecLut3DLoadTableFromMemory(bytes.data(), bytes.size()));
    TablePtr fromFile(ZecLut3DLoadTableFromFile(path.c_str()));
    EXPECT_EQ(fromMemory == nullptr, fromFile == nullptr) << path;
    if (fromMemory && fromFile) {
        EXPECT_TRUE(sameTable(fromFile.get(), fromMemory.get())) << path;
    }
    return fromFile;
}

// The texts of the captured messages with their "file(line), function: "
// prefix removed; a message without that prefix is kept whole and fails the
// shape check.
std::vector<std::string> errorTexts(const MessageCapture& capture)
{
    static const std::regex position(R"(^[^ ()]+\(\d+\), [A-Za-z_0-9:~]+: )");
    std::vector<std::string> texts;
    for (const CapturedMessage& m : capture.messages()) {
        EXPECT_EQ(m.priority, 6) << m.text;
        EXPECT_EQ(m.tag, "tavren");
        std::smatch prefix;
        EXPECT_TRUE(std::regex_search(m.text, prefix, position)) << m.text;
        texts.push_back(prefix.empty() ? m.text : m.text.substr(prefix.length(0)));
    }
    return texts;
}

std::vector<uint8_t> bytesOf(size_t n, uint8_t value)
{
    return std::vector<uint8_t>(n, value);
}

LutFileWriter valid(uint32_t n)
{
    return LutFileWriter(uniformLevels(n), identityEntries(n));
}

struct FailureCase {
    const char* name;
    std::vector<uint8_t> file;
    const char* message; // null: no message at all
};

std::vector<uint8_t> cut(std::vector<uint8_t> bytes, size_t keep)
{
    bytes.resize(keep);
    return bytes;
}

TEST(Lut3DLoader, EveryRefusalHasItsMessageOrNone)
{
    const std::vector<uint8_t> good = valid(3).bytes();
    std::vector<FailureCase> cases = {
        { "empty file", {}, nullptr },
        { "seven bytes", cut(good, 7), nullptr },
        { "wrong signature", valid(3).signatureByte(7, '_').bytes(),
            "Invalid lut file signature!" },
        { "lower-case signature", valid(3).signatureByte(1, 'k').signatureByte(2, 'd').bytes(),
            "Invalid lut file signature!" },
        { "version cut short", cut(good, 10), nullptr },
        { "version 2", valid(3).version(2).bytes(), nullptr },
        { "version 0", valid(3).version(0).bytes(), nullptr },
        { "header of 12 bytes", cut(good, 12), "Failed to read lut file header!" },
        { "header of 47 bytes", cut(good, 47), "Failed to read lut file header!" },
        { "entry type 1", valid(3).entryType(1).bytes(), nullptr },
        { "entry type 7", valid(3).entryType(7).bytes(), nullptr },
        { "N = 0", valid(3).levelCount(0).bytes(), nullptr },
        { "N = 66", valid(3).levelCount(66).bytes(), nullptr },
        { "N = 2^32 - 1", valid(3).levelCount(0xFFFFFFFFu).bytes(), nullptr },
        { "level offset past the signed range", valid(3).levelOffset(1ull << 63).bytes(), nullptr },
        { "level offset all ones", valid(3).levelOffset(~0ull).bytes(), nullptr },
        { "level offset past the end", valid(3).levelOffset(1ull << 24).bytes(),
            "Failed to read lut level values!" },
        { "no level values", cut(good, 48), "Failed to read lut level values!" },
        { "level values short", cut(good, 48 + 4 * 3 - 1), "Failed to read lut level values!" },
        { "no entries", cut(good, 48 + 4 * 3), "Failed to read lut data!" },
        { "entries short", cut(good, good.size() - 1), "Failed to read lut data!" },
        { "N larger than the entries", valid(3).levelCount(4).bytes(), "Failed to read lut data!" },
        { "one-dimensional", LutFileWriter(uniformLevels(3), bytesOf(9, 7)).dimensions(0).bytes(),
            "We only support 3D LUT file!" },
        { "one-dimensional, 12-byte entries",
            LutFileWriter(uniformLevels(3), bytesOf(36, 7)).dimensions(0).entryType(3).bytes(),
            "We only support 3D LUT file!" },
        { "12-byte entries", LutFileWriter(uniformLevels(2), bytesOf(96, 7)).entryType(3).bytes(),
            "We only support uint8 LUT file!" },
        { "12-byte entries short",
            cut(LutFileWriter(uniformLevels(2), bytesOf(96, 7)).entryType(3).bytes(), 48 + 8 + 95),
            "Failed to read lut data!" },
        { "one-dimensional entries short",
            cut(LutFileWriter(uniformLevels(3), bytesOf(9, 7)).dimensions(0).bytes(), 48 + 12 + 8),
            "Failed to read lut data!" },
    };
    TemporaryDirectory dir;
    ASSERT_TRUE(dir.isValid());
    MessageCapture capture;
    for (const FailureCase& c : cases) {
        const std::string path = dir.file("broken.lut");
        ASSERT_TRUE(writeFileBytes(path, c.file));
        for (bool memory : { false, true }) {
            capture.clear();
            EXPECT_EQ(memory ? ZecLut3DLoadTableFromMemory(c.file.data(), c.file.size())
                             : ZecLut3DLoadTableFromFile(path.c_str()),
                nullptr)
                << c.name;
            const std::vector<std::string> texts = errorTexts(capture);
            if (c.message)
                EXPECT_EQ(texts, std::vector<std::string> { c.message }) << c.name << memory;
            else
                EXPECT_TRUE(texts.empty()) << c.name << ": " << (texts.empty() ? "" : texts[0]);
        }
    }
}

TEST(Lut3DLoader, FilesThatCannotBeOpenedNameThePath)
{
    TemporaryDirectory dir;
    MessageCapture capture;
    const std::string missing = dir.file("caf\xC3\xA9 missing.lut");
    EXPECT_EQ(ZecLut3DLoadTableFromFile(missing.c_str()), nullptr);
    EXPECT_EQ(
        errorTexts(capture), std::vector<std::string> { "Failed to open lut file " + missing });

    // Neither a folder nor a named pipe is a file; the pipe must not block
    // the load (nothing ever writes to it).
    const std::string pipe = dir.file("pipe.lut");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : { dir.path(), pipe }) {
        capture.clear();
        EXPECT_EQ(ZecLut3DLoadTableFromFile(path.c_str()), nullptr);
        EXPECT_EQ(
            errorTexts(capture), std::vector<std::string> { "Failed to open lut file " + path });
    }
    // A link to a file is followed.
    ASSERT_TRUE(valid(2).write(dir.file("real.lut")));
    ASSERT_EQ(symlink(dir.file("real.lut").c_str(), dir.file("link.lut").c_str()), 0);
    EXPECT_TRUE(load(dir.file("link.lut")));

    // A null path is a null name: the engine warns, then the open fails.
    capture.clear();
    EXPECT_EQ(ZecLut3DLoadTableFromFile(nullptr), nullptr);
    const auto m = capture.messages();
    ASSERT_EQ(m.size(), 2u);
    EXPECT_EQ(m[0].priority, 5);
    EXPECT_EQ(m[0].text, "CZeGenericFileEngine::open: No file name specified");
    EXPECT_EQ(m[1].priority, 6);
    EXPECT_EQ(m[1].text.substr(m[1].text.size() - 24), "Failed to open lut file ");
}

TEST(Lut3DLoader, ExactSizeLoadsAndOneByteLessFails)
{
    TemporaryDirectory dir;
    MessageCapture capture;
    for (uint32_t n : { 1u, 2u, 17u }) {
        const std::string path = dir.file("exact.lut");
        ASSERT_TRUE(valid(n).write(path));
        ASSERT_EQ(fileSizeOf(path), static_cast<long long>(LutFileWriter::validSize(n)));
        EXPECT_TRUE(load(path)) << n;
        EXPECT_EQ(capture.count(), 0u);

        ASSERT_TRUE(valid(n).write(path, 1));
        capture.clear();
        EXPECT_FALSE(load(path)) << n; // from memory, then from the file
        EXPECT_EQ(errorTexts(capture), std::vector<std::string>(2, "Failed to read lut data!"));
        capture.clear();
    }
    // Bytes after the entries are not read.
    std::vector<uint8_t> longer = valid(4).bytes();
    longer.resize(longer.size() + 100, 0xFF);
    ASSERT_TRUE(writeFileBytes(dir.file("longer.lut"), longer));
    EXPECT_TRUE(load(dir.file("longer.lut")));
}

// A table loaded from a file, with its level values wherever the header
// says, keeps the levels and entries as read and equals the table built in
// memory from them; it renders as the reference kernel does with that one.
TEST(Lut3DLoader, LoadedTableRendersLikeTheReference)
{
    TemporaryDirectory dir;
    std::mt19937 rng(2024);
    struct Table {
        std::vector<float> levels;
        std::vector<uint8_t> entries;
        uint64_t levelOffset;
    } tables[] = {
        { uniformLevels(17), randomEntries(17, rng), 4099 },
        { { 0.0f, 0.1f, 0.15f, 0.5f, 0.93f, 1.0f }, randomEntries(6, rng), 49 },
        { uniformLevels(2), identityEntries(2), 200 },
    };
    const EffectPtr effect(ZecLut3DCreateEffect(1));
    int i = 0;
    for (const Table& t : tables) {
        const std::string path = dir.file("render.lut");
        ASSERT_TRUE(
            LutFileWriter(t.levels, t.entries).levelOffset(t.levelOffset).gapByte(0xEE).write(path));
        TablePtr loaded = load(path);
        ASSERT_TRUE(loaded && loaded->fileData);
        const Lut3DFileData& file = *loaded->fileData;
        EXPECT_EQ(std::vector<float>(file.levels, file.levels + file.levelCount), t.levels);
        EXPECT_EQ(std::vector<uint8_t>(file.entries, file.entries + t.entries.size()), t.entries);
        const TablePtr oracle = buildTable(t.levels, t.entries);
        EXPECT_TRUE(sameTable(loaded.get(), oracle.get()));
        for (uint32_t format : { 0u, 1u })
            for (int32_t range : { 0, 1 }) {
                const uint32_t matrix = static_cast<uint32_t>(i++ % 2);
                TestFrame source(37, 11, 3);
                source.fillRandom(static_cast<uint32_t>(i));
                EXPECT_EQ(effectRender(effect.get(), source, loaded.get(), format, matrix, range),
                    referenceRender(source, oracle.get(), format, matrix, range))
                    << "table " << t.levels.size() << " format " << format << " range " << range;
            }
    }
}

} // namespace
