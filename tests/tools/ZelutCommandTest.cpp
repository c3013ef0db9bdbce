// The zelut program as a user runs it: exit statuses, one-line errors, and
// outputs checked against renders through the library.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <thread>

#include <fcntl.h>
#include <png.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include "ColourConvert.h"
#include "CubeFile.h"
#include "LutFile.h"
#include "PngImage.h"
#include "ToolTestSupport.h"
#include "ZeLut3D.h"
#include "support/TestFrames.h"
#include "support/TestText.h"

namespace {

std::vector<uint8_t> randomTableFile(uint32_t n, uint32_t seed)
{
    std::mt19937 rng(seed);
    LutTable t;
    t.n = n;
    t.levels = unitLevels(n);
    t.entries = randomEntries(n, rng);
    return encodeLutFile(t);
}

void expectOneErrorLine(const ZelutRun& r, int status, const std::string& line)
{
    EXPECT_EQ(r.status, status) << r.err;
    const std::vector<std::string> lines = r.errLines();
    ASSERT_EQ(lines.size(), 1u) << r.err;
    EXPECT_EQ(lines[0], line);
}

TEST(ZelutCommand, UsageErrorsExitTwoWithOneLine)
{
    expectOneErrorLine(runZelut({}), 2, "zelut: no command given; see 'zelut --help'");
    expectOneErrorLine(
        runZelut({ "paint" }), 2, "zelut: unknown command 'paint'; see 'zelut --help'");
    expectOneErrorLine(runZelut({ "convert", "a.cube" }), 2,
        "zelut convert: expected IN.cube (or IN.3dl) and OUT.lut; see 'zelut convert --help'");
    expectOneErrorLine(runZelut({ "convert", "--identity", "66", "o.lut" }), 2,
        "zelut convert: --identity must be a whole number from 2 to 65, not '66'; "
        "see 'zelut convert --help'");
    expectOneErrorLine(
        runZelut({ "info" }), 2, "zelut info: missing FILE.lut; see 'zelut info --help'");
    expectOneErrorLine(runZelut({ "apply", "--lut", "t.lut", "--colour", "x", "a", "b" }), 2,
        "zelut apply: unknown option --colour; see 'zelut apply --help'");
    expectOneErrorLine(runZelut({ "apply", "a.yuv", "b.yuv" }), 2,
        "zelut apply: --lut F.lut is required; see 'zelut apply --help'");
    expectOneErrorLine(runZelut({ "apply", "--lut", "t.lut", "-", "b.yuv" }), 2,
        "zelut apply: raw frames need --size WxH; see 'zelut apply --help'");
    expectOneErrorLine(runZelut({ "apply", "--lut", "t.lut", "--size", "64x", "a", "b" }), 2,
        "zelut apply: --size height must be a whole number from 1 to 16384, not ''; "
        "see 'zelut apply --help'");
    expectOneErrorLine(runZelut({ "apply", "--lut", "t.lut", "a.png", "b.yuv" }), 2,
        "zelut apply: IN and OUT must both be PNG images or both raw frames; "
        "see 'zelut apply --help'");
    expectOneErrorLine(runZelut({ "apply", "--lut=t.lut", "--matrix=bt2020", "a.png", "b.png" }), 2,
        "zelut apply: --matrix must be bt601 or bt709, not 'bt2020'; "
        "see 'zelut apply --help'");
    expectOneErrorLine(runZelut({ "bench", "--threads" }), 2,
        "zelut bench: --threads needs a value; see 'zelut bench --help'");
    expectOneErrorLine(runZelut({ "demo", "--out", "a", "--out", "b" }), 2,
        "zelut demo: --out given twice; see 'zelut demo --help'");
}

TEST(ZelutCommand, ConvertRefusalsNameTheLineAndWriteNothing)
{
    TemporaryDirectory dir;
    const std::string in = dir.file("bad.cube"), out = dir.file("out.lut");
    writeFileText(in, "LUT_3D_SIZE 2\r\n0 0 0\r\n0 0 O.5\r\n");
    expectOneErrorLine(
        runZelut({ "convert", in, out }), 1, "zelut convert: " + in + ":3: 'O.5' is not a number");
    expectOneErrorLine(runZelut({ "convert", dir.file("none.cube"), out }), 1,
        "zelut convert: " + dir.file("none.cube") + ": No such file or directory");
    EXPECT_FALSE(present(out));
    writeFileText(in, identityCubeText(2));
    expectOneErrorLine(runZelut({ "convert", in, dir.file("missing/out.lut") }), 1,
        "zelut convert: " + dir.file("missing/out.lut") + ": No such file or directory");
}

// Hostile sizes cost neither time nor memory: every read stops at the most
// a valid input can need, and an image's declared size is checked first.
TEST(ZelutCommand, InputsAreReadWithinBounds)
{
    TemporaryDirectory dir;
    writeFileBytes(dir.file("big.lut"), encodeLutFile(identityTable(3)));
    ASSERT_EQ(::truncate(dir.file("big.lut").c_str(), off_t { 50 } << 30), 0);
    const ZelutRun big = runZelut({ "info", dir.file("big.lut") });
    EXPECT_EQ(big.status, 0) << big.err;
    EXPECT_NE(big.out.find("levels (N):   3\n"), std::string::npos) << big.out;
    expectOneErrorLine(runZelut({ "info", "/dev/zero" }), 1,
        "zelut info: /dev/zero: Failed to open lut file /dev/zero");

    writeFileText(dir.file("wide.cube"), "LUT_3D_SIZE 2\n" + std::string(5000, ' ') + "0 0 0\n");
    expectOneErrorLine(runZelut({ "convert", dir.file("wide.cube"), dir.file("o.lut") }), 1,
        "zelut convert: " + dir.file("wide.cube") + ":2: line longer than 4096 bytes");
    writeFileBytes(dir.file("in.yuv"), std::vector<uint8_t>(6));
    writeFileText(dir.file("long.cube"), "LUT_3D_SIZE 2\n");
    ASSERT_EQ(::truncate(dir.file("long.cube").c_str(), off_t { 100 } << 20), 0);
    expectOneErrorLine(runZelut({ "apply", "--lut", dir.file("long.cube"), "--size", "2x2",
                           dir.file("in.yuv"), dir.file("o.yuv") }),
        1,
        "zelut apply: " + dir.file("long.cube")
            + ": larger than 67108864 bytes, too large to read");

    // A PNG signature and an IHDR chunk declaring 60000 x 60000 pixels.
    std::vector<uint8_t> png = { 0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H',
        'D', 'R', 0, 0, 0xEA, 0x60, 0, 0, 0xEA, 0x60, 8, 2, 0, 0, 0 };
    const uint32_t crc = static_cast<uint32_t>(crc32(0, png.data() + 12, 17));
    for (int shift : { 24, 16, 8, 0 })
        png.push_back(static_cast<uint8_t>(crc >> shift));
    // An empty IDAT chunk: libpng reads up to the first one for the header.
    for (uint8_t b : { 0, 0, 0, 0, 0x49, 0x44, 0x41, 0x54, 0x35, 0xAF, 0x06, 0x1E })
        png.push_back(b);
    writeFileBytes(dir.file("huge.png"), png);
    writeFileBytes(dir.file("t.lut"), encodeLutFile(identityTable(2)));
    expectOneErrorLine(
        runZelut({ "apply", "--lut", dir.file("t.lut"), dir.file("huge.png"), dir.file("o.png") }),
        1, "zelut apply: " + dir.file("huge.png") + ": 60000x60000 is more than 2^28 pixels");

    const ZelutRun version = runZelut({ "--version" });
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("zelut ", 0), 0u) << version.out;
}

// --lut takes .cube and .3dl tables as they are, rendering exactly as their
// converted LUT files do.
TEST(ZelutCommand, ApplyTakesTextTables)
{
    TemporaryDirectory dir;
    writeFileText(dir.file("look.cube"), identityCubeText(5));
    writeFileText(dir.file("look.3dl"),
        "0 1023\n0 0 0\n0 0 900\n0 900 0\n0 900 900\n"
        "900 0 0\n900 0 900\n900 900 0\n900 900 900\n");
    std::vector<uint8_t> frames(64 * 32 * 3 / 2 * 2);
    std::mt19937 rng(5);
    for (uint8_t& b : frames)
        b = static_cast<uint8_t>(rng());
    writeFileBytes(dir.file("in.yuv"), frames);
    for (const char* look : { "look.cube", "look.3dl" }) {
        const std::string converted = dir.file(std::string(look) + ".lut");
        ASSERT_EQ(runZelut({ "convert", dir.file(look), converted }).status, 0);
        for (const std::string& table : { dir.file(look), converted }) {
            const ZelutRun r = runZelut(
                { "apply", "--lut", table, "--size", "64x32", dir.file("in.yuv"), table + ".yuv" });
            ASSERT_EQ(r.status, 0) << r.err;
        }
        EXPECT_EQ(readFileBytes(dir.file(look) + ".yuv"), readFileBytes(converted + ".yuv"))
            << look;
    }
    EXPECT_NE(readFileBytes(dir.file("look.cube.yuv")), readFileBytes(dir.file("look.3dl.yuv")));
}

// Bad files get one line: the library's own reason without the log's
// decoration or source position, or the rule that the library refuses
// silently.
TEST(ZelutCommand, InfoRefusesBadFilesWithOneClearLine)
{
    TemporaryDirectory dir;
    const struct {
        size_t at;
        int value; // -1: the last byte is cut off
        const char* reason;
    } cases[] = {
        { 8, 2, "unsupported version 2 (only version 1 is read)" },
        { 12, 66, "level count 66 is outside 1 to 65" },
        { 0, 'X', "Invalid lut file signature!" },
        { 0, -1, "Failed to read lut data!" },
        { 20, 0, "We only support 3D LUT file!" },
    };
    for (const auto& c : cases) {
        std::vector<uint8_t> bytes = encodeLutFile(identityTable(3));
        if (c.value < 0)
            bytes.pop_back();
        else
            bytes[c.at] = static_cast<uint8_t>(c.value);
        writeFileBytes(dir.file("bad.lut"), bytes);
        expectOneErrorLine(runZelut({ "info", dir.file("bad.lut") }), 1,
            "zelut info: " + dir.file("bad.lut") + ": " + c.reason);
    }
}

TEST(ZelutCommand, InfoShowsTheFields)
{
    TemporaryDirectory dir;
    LutTable t = identityTable(17);
    t.levels[3] += 0.01f;
    writeFileBytes(dir.file("t.lut"), encodeLutFile(t));
    const ZelutRun r = runZelut({ "info", dir.file("t.lut") });
    ASSERT_EQ(r.status, 0) << r.err;
    char crc[16];
    std::snprintf(
        crc, sizeof crc, "%08lx", crc32(0, t.entries.data(), static_cast<uInt>(t.entries.size())));
    for (const std::string& line :
        { std::string("version:      1\n"), std::string("levels (N):   17\n"),
            std::string("entry type:   0 (8-bit RGB)\n"), std::string("level offset: 48\n"),
            std::string("uniform:      no\n"), std::string("first level:  0\n"),
            std::string("last level:   1\n"), "checksum:     " + std::string(crc) })
        EXPECT_NE(r.out.find(line), std::string::npos) << line << " in\n" << r.out;
    writeFileBytes(dir.file("u.lut"), encodeLutFile(identityTable(33)));
    EXPECT_NE(
        runZelut({ "info", dir.file("u.lut") }).out.find("uniform:      yes\n"), std::string::npos);
}

// Each output frame equals the reference render of its input frame with the
// same arguments.
TEST(ZelutCommand, ApplyRendersEveryRawFrame)
{
    TemporaryDirectory dir;
    writeFileBytes(dir.file("t.lut"), randomTableFile(7, 5));
    const TablePtr table(ZecLut3DLoadTableFromFile(dir.file("t.lut").c_str()));
    ASSERT_NE(table, nullptr);
    std::vector<uint8_t> input, expected;
    for (uint32_t i = 0; i < 3; ++i) {
        TestFrame f(37, 19);
        f.fillRandom(100 + i);
        const std::vector<uint8_t> p = f.pixels(), want = referenceRender(f, table.get(), 1, 0, 1);
        input.insert(input.end(), p.begin(), p.end());
        expected.insert(expected.end(), want.begin(), want.end());
    }
    writeFileBytes(dir.file("in.yuv"), input);
    const ZelutRun r = runZelut(
        { "apply", "--lut", dir.file("t.lut"), "--format", "nv21", "--matrix", "bt601", "--range",
            "full", "--threads", "3", "--size", "37x19", dir.file("in.yuv"), dir.file("out.yuv") });
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, ""); // no progress bar when stderr is not a terminal
    EXPECT_EQ(
        r.out.rfind(dir.file("out.yuv") + ": 3 frames of 37x19 (NV21, BT.601 full range) in ", 0),
        0u)
        << r.out;
    EXPECT_NE(r.out.find(" frames/s"), std::string::npos);
    EXPECT_EQ(readFileBytes(dir.file("out.yuv")), expected);
}

TEST(ZelutCommand, ApplyRefusesRawFilesOfTheWrongSize)
{
    TemporaryDirectory dir;
    writeFileBytes(dir.file("t.lut"), encodeLutFile(identityTable(2)));
    writeFileBytes(dir.file("in.yuv"), std::vector<uint8_t>(100));
    // Found before the table is loaded.
    const ZelutRun r = runZelut({ "apply", "--lut", dir.file("t.lut"), "--size", "8x8",
        dir.file("in.yuv"), dir.file("out.yuv") });
    expectOneErrorLine(r, 1,
        "zelut apply: " + dir.file("in.yuv")
            + ": 100 bytes are not a whole number of 8x8 frames (96 bytes "
              "each); check --size");
    EXPECT_FALSE(present(dir.file("out.yuv")));
    writeFileBytes(dir.file("in.yuv"), std::vector<uint8_t>(96 * 2));
    expectOneErrorLine(runZelut({ "apply", "--lut", dir.file("t.lut"), "--size", "8x8",
                           dir.file("in.yuv"), dir.file("in.yuv") }),
        1,
        "zelut apply: " + dir.file("in.yuv") + ": is the same file as " + dir.file("in.yuv")
            + "; write to another file");
    EXPECT_EQ(readFileBytes(dir.file("in.yuv")), std::vector<uint8_t>(96 * 2));
    expectOneErrorLine(runZelut({ "apply", "--lut", dir.file("t.lut"), dir.file("none.png"),
                           dir.file("out.png") }),
        1, "zelut apply: " + dir.file("none.png") + ": No such file or directory");
}

// The PNG path: the image, padded to even sides with its last column and
// row, converted to NV12 with the tool's converter, rendered by the library,
// converted back and cropped; alpha untouched.
TEST(ZelutCommand, ApplyRoundTripsAPng)
{
    TemporaryDirectory dir;
    RgbImage image(41, 23, true);
    std::mt19937 rng(8);
    for (uint8_t& b : image.pixels)
        b = static_cast<uint8_t>(rng());
    std::string error;
    ASSERT_TRUE(writePng(dir.file("in.png"), image, error)) << error;
    writeFileBytes(dir.file("t.lut"), randomTableFile(5, 6));
    const ZelutRun r = runZelut({ "apply", "--lut", dir.file("t.lut"), "--matrix", "bt601",
        dir.file("in.png"), dir.file("out.png") });
    ASSERT_EQ(r.status, 0) << r.err;
    RgbImage out;
    ASSERT_TRUE(readPng(dir.file("out.png"), out, error)) << error;

    RgbImage padded(42, 24, true);
    for (uint32_t y = 0; y < 24; ++y)
        for (uint32_t x = 0; x < 42; ++x)
            std::memcpy(padded.pixel(x, y), image.pixel(std::min(x, 40u), std::min(y, 22u)), 4);
    YuvFrame frame(42, 24);
    rgbToYuv(padded.pixels.data(), 4, padded.rowBytes(), ColourMatrix::Bt601, ColourRange::Video,
        false, frame);
    const TablePtr table(ZecLut3DLoadTableFromFile(dir.file("t.lut").c_str()));
    const EffectPtr effect(ZecLut3DCreateEffect(1));
    Lut3DFrame f = { frame.luma(), frame.chroma(), nullptr, 42, int32_t(frame.chromaStride()) };
    ASSERT_EQ(ZecLut3DRenderEffect(effect.get(), table.get(), &f, &f, 0, 0, 0, 42, 24, 0), 1);
    yuvToRgb(frame, ColourMatrix::Bt601, ColourRange::Video, false, padded.pixels.data(), 4,
        padded.rowBytes());
    ASSERT_TRUE(out.hasAlpha);
    for (uint32_t y = 0; y < 23; ++y)
        for (uint32_t x = 0; x < 41; ++x) {
            ASSERT_EQ(0, std::memcmp(out.pixel(x, y), padded.pixel(x, y), 3)) << x << "," << y;
            ASSERT_EQ(out.pixel(x, y)[3], image.pixel(x, y)[3]);
        }
}

// A flat colour stays flat up to the last odd column and row, and a 16-bit
// mid-grey is 128 as at 8 bits, written with 8 bits and a warning.
TEST(ZelutCommand, ApplyPngEdgesAndDepth)
{
    TemporaryDirectory dir;
    writeFileBytes(dir.file("id.lut"), encodeLutFile(identityTable(17)));
    RgbImage flat(7, 5);
    for (size_t i = 0; i < flat.pixels.size(); i += 3)
        std::memcpy(&flat.pixels[i], "\xC8\x30\x50", 3);
    std::string error;
    ASSERT_TRUE(writePng(dir.file("flat.png"), flat, error)) << error;
    ASSERT_EQ(runZelut({ "apply", "--lut", dir.file("id.lut"), dir.file("flat.png"),
                           dir.file("flat-out.png") })
                  .status,
        0);
    RgbImage out;
    ASSERT_TRUE(readPng(dir.file("flat-out.png"), out, error)) << error;
    for (uint32_t y = 0; y < 5; ++y)
        for (uint32_t x = 0; x < 7; ++x)
            ASSERT_EQ(0, std::memcmp(out.pixel(x, y), out.pixel(0, 0), 3)) << x << "," << y;

    png_image png {};
    png.version = PNG_IMAGE_VERSION;
    png.width = 4;
    png.height = 2;
    png.format = PNG_FORMAT_LINEAR_RGB;
    const std::vector<uint16_t> grey(24, 0x8080);
    ASSERT_TRUE(
        png_image_write_to_file(&png, dir.file("deep.png").c_str(), 0, grey.data(), 0, nullptr));
    const ZelutRun r = runZelut(
        { "apply", "--lut", dir.file("id.lut"), dir.file("deep.png"), dir.file("deep-out.png") });
    expectOneErrorLine(r, 0,
        "zelut apply: " + dir.file("deep.png") + " has 16 bits per channel; "
            + dir.file("deep-out.png") + " was written with 8");
    ASSERT_TRUE(readPng(dir.file("deep-out.png"), out, error)) << error;
    EXPECT_EQ(out.pixels, std::vector<uint8_t>(24, 128));
}

TEST(ZelutCommand, DemoAndBenchRunWithoutInput)
{
    TemporaryDirectory dir;
    const ZelutRun demo
        = runZelut({ "demo", "--out", dir.path(), "--size", "96x54", "--threads", "1" });
    ASSERT_EQ(demo.status, 0) << demo.err;
    EXPECT_NE(demo.out.find("  before:  " + dir.file("demo-before.png") + "\n"), std::string::npos)
        << demo.out;
    EXPECT_NE(
        demo.out.find("  compare: " + dir.file("demo-compare.png") + "\n"), std::string::npos);
    EXPECT_NE(demo.out.find(" ms per frame"), std::string::npos);
    RgbImage before, after, compare;
    std::string error;
    ASSERT_TRUE(readPng(dir.file("demo-before.png"), before, error)) << error;
    ASSERT_TRUE(readPng(dir.file("demo-after.png"), after, error)) << error;
    ASSERT_TRUE(readPng(dir.file("demo-compare.png"), compare, error)) << error;
    EXPECT_EQ(before.width, 96u);
    EXPECT_EQ(after.height, 54u);
    EXPECT_GT(compare.width, 2 * 96u);
    EXPECT_NE(before.pixels, after.pixels);

    const ZelutRun bench
        = runZelut({ "bench", "--size", "64x32", "--frames", "3", "--threads", "1" });
    ASSERT_EQ(bench.status, 0) << bench.err;
    EXPECT_NE(bench.out.find("  3 frames in "), std::string::npos) << bench.out;
    for (const char* unit : { " ms/frame", " frames/s", " ns/pixel", "\n  C     ", "   1.0x" })
        EXPECT_NE(bench.out.find(unit), std::string::npos) << bench.out;
}

std::vector<std::string> leftovers(const TemporaryDirectory& dir)
{
    std::vector<std::string> found;
    for (const std::string& n : dir.entries())
        if (n.find(".zelut-") != std::string::npos)
            found.push_back(n);
    return found;
}

// Outputs of every kind: the input itself (directly or through a link) is
// refused and kept; a link is followed and stays a link; a pipe and a
// character device are written straight through; a replaced file keeps its
// permissions. No temporary is left behind in any case.
TEST(ZelutCommand, OutputsNeverCostAFile)
{
    TemporaryDirectory dir;
    const std::string lut = dir.file("t.lut"), in = dir.file("in.yuv");
    writeFileBytes(lut, randomTableFile(5, 3));
    std::vector<uint8_t> frames(96 * 3);
    std::mt19937 rng(4);
    for (uint8_t& b : frames)
        b = static_cast<uint8_t>(rng());
    writeFileBytes(in, frames);
    auto apply = [&](const std::string& out) {
        return runZelut({ "apply", "--lut", lut, "--size", "8x8", in, out });
    };
    ASSERT_EQ(apply(dir.file("plain.yuv")).status, 0);
    const std::vector<uint8_t> rendered = readFileBytes(dir.file("plain.yuv"));
    ASSERT_EQ(rendered.size(), frames.size());

    ASSERT_EQ(::symlink(in.c_str(), dir.file("to-input").c_str()), 0);
    for (const std::string& out : { in, dir.file("to-input"), lut })
        EXPECT_EQ(apply(out).status, 1) << out;
    writeFileText(dir.file("same.cube"), identityCubeText(2));
    EXPECT_EQ(runZelut({ "convert", dir.file("same.cube"), dir.file("same.cube") }).status, 1);
    EXPECT_EQ(readFileBytes(in), frames);
    EXPECT_EQ(readFileBytes(dir.file("same.cube")).size(), identityCubeText(2).size());

    writeFileBytes(dir.file("real.yuv"), { 1, 2, 3 });
    ::chmod(dir.file("real.yuv").c_str(), 0600);
    ASSERT_EQ(::symlink("real.yuv", dir.file("link.yuv").c_str()), 0);
    EXPECT_EQ(apply(dir.file("link.yuv")).status, 0);
    EXPECT_TRUE(S_ISLNK(statOf(dir.file("link.yuv")).st_mode));
    EXPECT_EQ(readFileBytes(dir.file("real.yuv")), rendered);
    EXPECT_EQ(statOf(dir.file("real.yuv")).st_mode & 07777, 0600u);

    ASSERT_EQ(::mkfifo(dir.file("pipe").c_str(), 0600), 0);
    std::vector<uint8_t> piped;
    std::thread reader([&] { piped = readFileBytes(dir.file("pipe")); });
    EXPECT_EQ(apply(dir.file("pipe")).status, 0);
    // A reader still waiting for a writer (the pipe was never opened) is let
    // go with nothing.
    const int unblock = ::open(dir.file("pipe").c_str(), O_WRONLY | O_NONBLOCK);
    if (unblock >= 0)
        ::close(unblock);
    reader.join();
    EXPECT_EQ(piped, rendered);
    EXPECT_TRUE(S_ISFIFO(statOf(dir.file("pipe")).st_mode));

    // A device of our own (the system's null device's numbers), root only.
    if (::mknod(dir.file("null").c_str(), S_IFCHR | 0666, makedev(1, 3)) == 0) {
        EXPECT_EQ(apply(dir.file("null")).status, 0);
        EXPECT_TRUE(S_ISCHR(statOf(dir.file("null")).st_mode));
    }
    EXPECT_EQ(leftovers(dir), std::vector<std::string> {});
}

// A run stopped by a signal or by the file-size limit removes its
// temporary, leaves no output and ends with the signal's status.
TEST(ZelutCommand, SignalsLeaveNoTemporaryBehind)
{
    TemporaryDirectory dir;
    const std::string lut = dir.file("t.lut"), in = dir.file("in.yuv");
    writeFileBytes(lut, encodeLutFile(identityTable(2)));
    // 600 frames of 1280x720 without a byte on disk (the file is sparse).
    const int fd = ::open(in.c_str(), O_WRONLY | O_CREAT, 0600);
    ASSERT_EQ(::ftruncate(fd, off_t(1382400) * 600), 0);
    ::close(fd);
    const std::vector<std::string> args
        = { "apply", "--lut", lut, "--size", "1280x720", in, dir.file("out.yuv") };
    struct Case {
        int signal;
        rlim_t limit;
    };
    for (const Case c : { Case { SIGTERM, RLIM_INFINITY }, Case { SIGINT, RLIM_INFINITY },
             Case { SIGXFSZ, 4000000 } }) {
        const pid_t pid = spawnZelut(args, "/dev/null", "/dev/null", c.limit);
        if (c.limit == RLIM_INFINITY) {
            // Signalled once it has its temporary and is writing.
            for (int i = 0; i < 20000 && leftovers(dir).empty(); ++i)
                ::usleep(500);
            ::kill(pid, c.signal);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == c.signal)
            << c.signal << " " << status;
        EXPECT_EQ(leftovers(dir), std::vector<std::string> {}) << c.signal;
        EXPECT_FALSE(present(dir.file("out.yuv"))) << c.signal;
    }
}

} // namespace
