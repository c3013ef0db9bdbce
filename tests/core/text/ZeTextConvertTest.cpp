// The block paths of the conversion loops (word and vector) give exactly the
// unit-by-unit results without writing past their stated output room; the
// unit path states the rules. Seeds are printed for replay. Random bytes and
// round trips through every path are the fuzz target fuzz_utf8's work.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "CZeString.h"
#include "core/text/ZeTextConvert.h"

namespace {

using ZeText::Path;

std::string encodeCodePoints(const std::vector<unsigned int>& cps)
{
    std::string out;
    for (unsigned int cp : cps) {
        if (cp < 0x80) {
            out += char(cp);
        } else if (cp < 0x800) {
            out += char(0xC0 | (cp >> 6));
            out += char(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += char(0xE0 | (cp >> 12));
            out += char(0x80 | ((cp >> 6) & 0x3F));
            out += char(0x80 | (cp & 0x3F));
        } else {
            out += char(0xF0 | (cp >> 18));
            out += char(0x80 | ((cp >> 12) & 0x3F));
            out += char(0x80 | ((cp >> 6) & 0x3F));
            out += char(0x80 | (cp & 0x3F));
        }
    }
    return out;
}

unsigned int randomCodePoint(std::mt19937& rng)
{
    switch (rng() % 6) {
    case 0:
    case 1:
        return rng() % 0x80;
    case 2:
        return 0x80 + rng() % (0x800 - 0x80);
    case 3: {
        unsigned int cp;
        do
            cp = 0x800 + rng() % (0x10000 - 0x800);
        while (cp >= 0xD800 && cp <= 0xDFFF);
        return cp;
    }
    case 4:
        return 0x10000 + rng() % (0x110000 - 0x10000);
    default:
        return 0x20 + rng() % 0x5F; // a run of printable ASCII is common text
    }
}

unsigned freshSeed()
{
    return std::random_device{}();
}

// ---- Block paths against the unit-by-unit path ----------------------------

std::vector<Path> fastPaths()
{
    std::vector<Path> paths{ZeText::PathWord};
    if (ZeText::simdAvailable())
        paths.push_back(ZeText::PathSimd);
    return paths;
}

const char* pathName(Path p)
{
    return p == ZeText::PathWord ? "word" : "simd";
}

// Kinds of random text: mostly ASCII is where the block paths work hardest,
// the others make them bail out at every position.
std::string randomBytes(std::mt19937& rng, int length, int kind)
{
    std::string s(size_t(length), '\0');
    for (char& c : s) {
        switch (kind) {
        case 0:
            c = char(rng() % 0x80);
            break;
        case 1:
            c = char(rng() % 23 == 0 ? 0x80 + rng() % 0x80 : 0x20 + rng() % 0x5F);
            break;
        case 2:
            c = char(rng() % 0x100);
            break;
        default:
            c = char(rng() % 5 == 0 ? 0xC0 + rng() % 0x40 : rng() % 0x100);
            break;
        }
    }
    if (kind == 4) { // valid mixed UTF-8 cut to length
        std::vector<unsigned int> cps(static_cast<size_t>(length));
        for (unsigned int& cp : cps)
            cp = randomCodePoint(rng);
        s = encodeCodePoints(cps).substr(0, size_t(length));
    }
    return s;
}

std::vector<unsigned short> randomUnits(std::mt19937& rng, int length, int kind)
{
    std::vector<unsigned short> u(static_cast<size_t>(length));
    for (unsigned short& c : u) {
        switch (kind) {
        case 0:
            c = static_cast<unsigned short>(rng() % 0x80);
            break;
        case 1:
            c = static_cast<unsigned short>(rng() % 19 == 0 ? rng() % 0x10000 : 0x20 + rng() % 0x5F);
            break;
        case 2:
            c = static_cast<unsigned short>(rng() % 0x100);
            break;
        case 3:
            c = static_cast<unsigned short>(0xD800 + rng() % 0x800); // surrogates only
            break;
        default:
            c = static_cast<unsigned short>(rng() % 0x10000);
            break;
        }
    }
    return u;
}

constexpr int kGuard = 40;
constexpr unsigned short kGuardUnit = 0xBEEF;
constexpr unsigned char kGuardByte = 0xA5;

TEST(ZeTextConvert, BlockPathsEqualUnitByUnit)
{
    const unsigned seed = freshSeed();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 rng(seed);
    for (int length = 0; length <= 100; ++length) {
        for (int kind = 0; kind < 5; ++kind) {
            for (int shift = 0; shift < 3; ++shift) { // unaligned starts too
                SCOPED_TRACE("length " + std::to_string(length) + " kind " + std::to_string(kind)
                             + " shift " + std::to_string(shift));
                // Input placed at an offset inside a larger buffer.
                const std::string text = std::string(size_t(shift), 'p') + randomBytes(rng, length, kind);
                const unsigned char* in = reinterpret_cast<const unsigned char*>(text.data()) + shift;
                std::vector<unsigned short> u16 = randomUnits(rng, length + shift, kind);
                const unsigned short* units = u16.data() + shift;

                std::vector<unsigned short> refWide(size_t(length + kGuard), kGuardUnit);
                bool refReplaced = false;
                const int refDecoded =
                    ZeText::utf8ToUtf16(in, length, refWide.data(), &refReplaced, ZeText::PathUnit);
                std::vector<unsigned char> refNarrow(size_t(3 * length + kGuard), kGuardByte);
                const int refEncoded =
                    ZeText::utf16ToUtf8(units, length, refNarrow.data(), ZeText::PathUnit);
                std::vector<unsigned short> refLatin1Wide(size_t(length + kGuard), kGuardUnit);
                ZeText::latin1ToUtf16(in, length, refLatin1Wide.data(), ZeText::PathUnit);
                std::vector<unsigned char> refLatin1(size_t(length + kGuard), kGuardByte);
                ZeText::utf16ToLatin1(units, length, refLatin1.data(), ZeText::PathUnit);

                for (Path path : fastPaths()) {
                    SCOPED_TRACE(pathName(path));
                    std::vector<unsigned short> wide(size_t(length + kGuard), kGuardUnit);
                    bool replaced = !refReplaced;
                    const int decoded = ZeText::utf8ToUtf16(in, length, wide.data(), &replaced, path);
                    ASSERT_EQ(decoded, refDecoded);
                    ASSERT_EQ(replaced, refReplaced);
                    ASSERT_TRUE(std::equal(wide.begin(), wide.begin() + decoded, refWide.begin()));
                    for (int i = length; i < length + kGuard; ++i)
                        ASSERT_EQ(wide[size_t(i)], kGuardUnit) << "write past the room at " << i;

                    std::vector<unsigned char> narrow(size_t(3 * length + kGuard), kGuardByte);
                    const int encoded = ZeText::utf16ToUtf8(units, length, narrow.data(), path);
                    ASSERT_EQ(encoded, refEncoded);
                    ASSERT_TRUE(std::equal(narrow.begin(), narrow.begin() + encoded, refNarrow.begin()));
                    for (int i = 3 * length; i < 3 * length + kGuard; ++i)
                        ASSERT_EQ(narrow[size_t(i)], kGuardByte) << "write past the room at " << i;

                    std::vector<unsigned short> latin1Wide(size_t(length + kGuard), kGuardUnit);
                    ZeText::latin1ToUtf16(in, length, latin1Wide.data(), path);
                    ASSERT_EQ(latin1Wide, refLatin1Wide);

                    std::vector<unsigned char> latin1(size_t(length + kGuard), kGuardByte);
                    ZeText::utf16ToLatin1(units, length, latin1.data(), path);
                    ASSERT_EQ(latin1, refLatin1);
                }
            }
        }
    }
}

TEST(ZeTextConvert, UnitPathStatesTheRules)
{
    // The oracle itself, on a few hand-checked inputs.
    const unsigned char in[] = {'a', 0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xF0, 0x9F, 0x98, 0x80, 0x80};
    unsigned short out[11];
    bool replaced = false;
    const int n = ZeText::utf8ToUtf16(in, 11, out, &replaced, ZeText::PathUnit);
    ASSERT_EQ(n, 6);
    const unsigned short expected[] = {'a', 0xE9, 0x20AC, 0xD83D, 0xDE00, 0xFFFD};
    EXPECT_TRUE(std::equal(out, out + 6, expected));
    EXPECT_TRUE(replaced);

    const unsigned short wide[] = {'a', 0x100, 0xFF};
    unsigned char latin1[3];
    ZeText::utf16ToLatin1(wide, 3, latin1, ZeText::PathUnit);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(latin1), 3), "a?\xFF");
}

} // namespace
