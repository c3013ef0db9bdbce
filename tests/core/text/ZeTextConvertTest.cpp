// The block paths of the conversion loops (word and vector) give exactly the
// unit-by-unit results without writing past their stated output room. The
// rules themselves are pinned through CZeString's conversions; random bytes
// and round trips through every path are the fuzz target fuzz_utf8's work.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "CZeString.h"
#include "core/text/ZeTextConvert.h"
#include "support/TestText.h"

namespace {

using ZeText::Path;

// Kinds of random text: mostly ASCII is where the block paths work hardest,
// the others make them bail out at every position.
std::string randomBytes(std::mt19937& rng, int length, int kind)
{
    if (kind == 4) { // valid UTF-8 of every sequence length, cut to length
        static const unsigned int limits[] = { 0x80, 0x800, 0x10000, 0x110000 };
        std::vector<unsigned int> cps(size_t(length) + 1, 0);
        for (int i = 0; i < length; ++i) {
            cps[size_t(i)] = rng() % limits[rng() % 4];
            if (cps[size_t(i)] >= 0xD800 && cps[size_t(i)] <= 0xDFFF)
                cps[size_t(i)] = 'x';
        }
        return text(CZeString::fromUcs4(cps.data(), length).toUtf8()).substr(0, size_t(length));
    }
    std::string s(size_t(length), '\0');
    for (char& c : s) {
        const unsigned r = rng(), any = rng() % 0x100;
        c = char(kind == 0  ? r % 0x80
                : kind == 1 ? (r % 23 == 0 ? 0x80 + any % 0x80 : 0x20 + r % 0x5F)
                : kind == 2 ? any
                            : (r % 5 == 0 ? 0xC0 + any % 0x40 : any)); // many lead bytes
    }
    return s;
}

std::vector<unsigned short> randomUnits(std::mt19937& rng, int length, int kind)
{
    std::vector<unsigned short> u(static_cast<size_t>(length));
    for (unsigned short& c : u) {
        const unsigned r = rng(), any = rng() % 0x10000;
        const unsigned unit = kind == 0 ? r % 0x80
            : kind == 1                 ? (r % 19 == 0 ? any : 0x20 + r % 0x5F)
            : kind == 2                 ? r % 0x100
            : kind == 3                 ? 0xD800 + any % 0x800 // surrogates only
                                        : any;
        c = static_cast<unsigned short>(unit);
    }
    return u;
}

// One conversion on the unit path and on `path`, into buffers of `room`
// elements and a guard behind them: the elements reported must agree, and
// nothing past the room may be written.
template <typename Out, typename Convert>
void expectSameAsUnitPath(Path path, int room, Convert convert)
{
    constexpr int kGuard = 40;
    std::vector<Out> expected(size_t(room + kGuard), Out(0xBEEF)), actual = expected;
    const int n = convert(expected.data(), ZeText::PathUnit);
    ASSERT_EQ(convert(actual.data(), path), n);
    EXPECT_TRUE(std::equal(actual.begin(), actual.begin() + n, expected.begin()));
    EXPECT_TRUE(std::equal(actual.begin() + room, actual.end(), expected.begin() + room))
        << "written past the room";
}

TEST(ZeTextConvert, BlockPathsEqualUnitByUnit)
{
    std::vector<Path> paths { ZeText::PathWord };
    if (ZeText::simdAvailable())
        paths.push_back(ZeText::PathSimd);
    const unsigned seed = std::random_device {}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 rng(seed);
    for (int length = 0; length <= 100; ++length) {
        for (int kind = 0; kind < 5; ++kind) {
            for (int shift = 0; shift < 3; ++shift) { // unaligned starts too
                SCOPED_TRACE("length " + std::to_string(length) + " kind " + std::to_string(kind)
                    + " shift " + std::to_string(shift));
                const std::string bytes
                    = std::string(size_t(shift), 'p') + randomBytes(rng, length, kind);
                const unsigned char* in
                    = reinterpret_cast<const unsigned char*>(bytes.data()) + shift;
                const std::vector<unsigned short> wide = randomUnits(rng, length + shift, kind);
                const unsigned short* units = wide.data() + shift;
                for (Path path : paths) {
                    SCOPED_TRACE(path == ZeText::PathWord ? "word" : "simd");
                    bool replaced[2] = { false, true };
                    expectSameAsUnitPath<unsigned short>(
                        path, length, [&](unsigned short* out, Path p) {
                            return ZeText::utf8ToUtf16(
                                in, length, out, &replaced[p != ZeText::PathUnit], p);
                        });
                    EXPECT_EQ(replaced[0], replaced[1]);
                    expectSameAsUnitPath<unsigned char>(
                        path, 3 * length, [&](unsigned char* out, Path p) {
                            return ZeText::utf16ToUtf8(units, length, out, p);
                        });
                    expectSameAsUnitPath<unsigned short>(
                        path, length, [&](unsigned short* out, Path p) {
                            ZeText::latin1ToUtf16(in, length, out, p);
                            return length;
                        });
                    expectSameAsUnitPath<unsigned char>(
                        path, length, [&](unsigned char* out, Path p) {
                            ZeText::utf16ToLatin1(units, length, out, p);
                            return length;
                        });
                    if (HasFailure())
                        return;
                }
            }
        }
    }
}

} // namespace
