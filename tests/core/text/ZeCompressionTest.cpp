// Compressed byte-array blocks: round trips at every level, the block format,
// damaged and hostile blocks, and the zlib results that valid input never
// produces (driven through stand-ins for compress2 and uncompress).
#include <gtest/gtest.h>

#include <zlib.h>

#include <random>
#include <string>
#include <vector>

#include "CZeByteArray.h"
#include "core/text/ZeCompression.h"
#include "support/MessageCapture.h"
#include "support/TestText.h"

namespace {

using Texts = std::vector<std::string>;
const std::string kCorrupted = "ZeUncompress: Input data is corrupted";

const unsigned char* bytes(const CZeByteArray& a)
{
    return reinterpret_cast<const unsigned char*>(a.constData());
}

// Repetitive text, which compresses well; with a seed, random bytes, which do not.
CZeByteArray sample(int n, unsigned seed = 0)
{
    const char pattern[] = "tavren lut row pair 0123456789 ";
    std::mt19937 rng(seed);
    CZeByteArray a(n, '\0');
    for (int i = 0; i < n; ++i)
        a.data()[i] = seed ? static_cast<char>(rng()) : pattern[(i / 3) % (sizeof pattern - 1)];
    return a;
}

// The big-endian length in front of the zlib stream.
unsigned long storedLength(const CZeByteArray& block)
{
    const unsigned char* b = bytes(block);
    return (static_cast<unsigned long>(b[0]) << 24) | (b[1] << 16) | (b[2] << 8) | b[3];
}

CZeByteArray withStoredLength(CZeByteArray block, unsigned long length)
{
    for (int i = 0; i < 4; ++i)
        block.data()[i] = static_cast<char>(length >> (24 - 8 * i));
    return block;
}

TEST(ZeCompression, RoundTripsAtEveryLevel)
{
    MessageCapture capture;
    for (const CZeByteArray& input : { CZeByteArray("x"), sample(1 << 20, 7), sample(1 << 20) }) {
        for (int level = -1; level <= 9; ++level) {
            const CZeByteArray packed = ZeCompress(input, level);
            EXPECT_EQ(storedLength(packed), static_cast<unsigned long>(input.size()));
            const CZeByteArray back = ZeUncompress(packed);
            EXPECT_TRUE(back == input) << level;
            EXPECT_TRUE(terminated(back));
        }
    }
    // The stream behind the length is exactly what compress2 writes.
    const CZeByteArray input = sample(5000);
    const CZeByteArray packed = ZeCompress(input, 9);
    std::vector<unsigned char> expected(compressBound(5000));
    unsigned long expectedLength = expected.size();
    ASSERT_EQ(compress2(expected.data(), &expectedLength, bytes(input), 5000, 9), Z_OK);
    EXPECT_EQ(text(packed).substr(4),
        std::string(expected.begin(), expected.begin() + long(expectedLength)));
    EXPECT_TRUE(ZeCompress(input, 42) == ZeCompress(input, -1)); // a level out of range is -1
    EXPECT_EQ(capture.count(), 0u);
}

TEST(ZeCompression, NullAndShortInput)
{
    MessageCapture capture;
    EXPECT_TRUE(ZeCompress(nullptr, 5).isNull());
    EXPECT_TRUE(ZeUncompress(nullptr, 10).isNull());
    EXPECT_EQ(messageTexts(capture),
        (Texts { "ZeCompress: Data is null", "ZeUncompress: Data is null" }));
    EXPECT_EQ(capture.messages()[0].priority, 5);

    capture.clear();
    const unsigned char zeros[] = { 0, 0, 0, 0 }, one[] = { 0, 0, 0, 1 };
    EXPECT_EQ(text(ZeCompress(zeros, 0)), std::string(4, '\0'));
    EXPECT_TRUE(ZeUncompress(zeros, 4).isNull()); // the compressed form of nothing: no warning
    EXPECT_TRUE(ZeCompress(zeros, -1).isNull()); // a negative size is no data
    EXPECT_EQ(capture.count(), 0u);
    EXPECT_TRUE(ZeUncompress(one, 4).isNull());
    EXPECT_TRUE(ZeUncompress(zeros, 3).isNull());
    EXPECT_TRUE(ZeUncompress(zeros, -4).isNull());
    EXPECT_EQ(messageTexts(capture), Texts(3, kCorrupted));
}

// Stand-ins for compress2 and uncompress that fail as planned before they
// pass the call on, and record the output room of every call.
int g_failuresLeft = 0; // negative: fail for ever
int g_failure = Z_OK;
std::vector<unsigned long> g_rooms;

void failNext(int count, int status)
{
    g_rooms.clear();
    g_failuresLeft = count;
    g_failure = status;
}

bool failureDue(unsigned long room)
{
    g_rooms.push_back(room);
    return g_failuresLeft < 0 || (g_failuresLeft > 0 && g_failuresLeft--);
}

int failingCompress(unsigned char* dest, unsigned long* destLen, const unsigned char* source,
    unsigned long sourceLen, int level)
{
    return failureDue(*destLen) ? g_failure : compress2(dest, destLen, source, sourceLen, level);
}

int failingUncompress(unsigned char* dest, unsigned long* destLen, const unsigned char* source,
    unsigned long sourceLen)
{
    return failureDue(*destLen) ? g_failure : uncompress(dest, destLen, source, sourceLen);
}

CZeByteArray uncompressWithStandIn(const CZeByteArray& block)
{
    return ZeText::uncompressWith(failingUncompress, bytes(block), block.size());
}

TEST(ZeCompression, StoredLengthIsAnEstimateWithALimit)
{
    MessageCapture capture;
    const CZeByteArray input = sample(1000);
    const CZeByteArray packed = ZeCompress(input);
    EXPECT_TRUE(ZeUncompress(withStoredLength(packed, 1)) == input); // the output grows
    for (unsigned long length : { 0xfffffffful, 0x80000000ul, 0x7fffffe7ul }) {
        failNext(0, Z_OK);
        EXPECT_TRUE(uncompressWithStandIn(withStoredLength(packed, length)).isNull());
        EXPECT_TRUE(g_rooms.empty()) << length; // refused before any buffer or zlib call
    }
    EXPECT_EQ(messageTexts(capture), Texts(3, kCorrupted));
}

TEST(ZeCompression, TruncatedAndDamagedStreamsAreCorrupted)
{
    MessageCapture capture;
    const CZeByteArray packed = ZeCompress(sample(3000));
    CZeByteArray damaged = packed;
    damaged.data()[damaged.size() - 1] ^= 1; // the checksum
    for (int cut = 5; cut <= packed.size(); ++cut) {
        capture.clear();
        const CZeByteArray block = cut < packed.size() ? packed.left(cut) : damaged;
        EXPECT_TRUE(ZeUncompress(block).isNull()) << cut;
        EXPECT_EQ(
            messageTexts(capture), Texts { "ZeUncompress: Z_DATA_ERROR: Input data is corrupted" })
            << cut;
    }
}

TEST(ZeCompression, CompressorResults)
{
    MessageCapture capture;
    const CZeByteArray input = sample(1000);
    failNext(2, Z_BUF_ERROR); // a full output area doubles it
    CZeByteArray packed = ZeText::compressWith(failingCompress, bytes(input), 1000, -1);
    EXPECT_EQ(g_rooms, (std::vector<unsigned long> { 1023, 2046, 4092 }));
    EXPECT_TRUE(ZeUncompress(packed) == input);

    failNext(1, Z_MEM_ERROR); // out of memory: empty, not null
    packed = ZeText::compressWith(failingCompress, bytes(input), 1000, -1);
    EXPECT_TRUE(packed.isEmpty());
    EXPECT_FALSE(packed.isNull());
    EXPECT_EQ(messageTexts(capture), Texts { "ZeCompress: Z_MEM_ERROR: Not enough memory" });

    capture.clear();
    failNext(1, Z_STREAM_ERROR); // anything else: the area as it stands, length not stored
    packed = ZeText::compressWith(failingCompress, bytes(input), 1000, -1);
    EXPECT_EQ(packed.size(), 1023 + 4);
    EXPECT_EQ(storedLength(packed), 0u);
    EXPECT_EQ(capture.count(), 0u);
}

TEST(ZeCompression, DecompressorResults)
{
    MessageCapture capture;
    const CZeByteArray input = sample(1000);
    const CZeByteArray packed = ZeCompress(input);
    failNext(1, Z_MEM_ERROR);
    EXPECT_TRUE(uncompressWithStandIn(packed).isNull());
    EXPECT_EQ(messageTexts(capture), Texts { "ZeUncompress: Z_MEM_ERROR: Not enough memory" });

    // An unknown result is retried with the same arguments...
    capture.clear();
    failNext(ZeText::kUnknownResultRetries, Z_STREAM_ERROR);
    EXPECT_TRUE(uncompressWithStandIn(packed) == input);
    EXPECT_EQ(g_rooms, std::vector<unsigned long>(ZeText::kUnknownResultRetries + 1, 1000ul));
    EXPECT_EQ(capture.count(), 0u);

    // ...but one that never changes cannot keep the caller for ever.
    for (int status : { Z_STREAM_ERROR, Z_VERSION_ERROR, Z_NEED_DICT, 12345 }) {
        capture.clear();
        failNext(-1, status);
        EXPECT_TRUE(uncompressWithStandIn(packed).isNull());
        EXPECT_EQ(g_rooms.size(), size_t(ZeText::kUnknownResultRetries + 1));
        EXPECT_EQ(messageTexts(capture), Texts { kCorrupted });
    }

    // A retry after the output grew counts afresh.
    failNext(3, Z_BUF_ERROR);
    EXPECT_TRUE(uncompressWithStandIn(packed) == input);
    EXPECT_EQ(g_rooms, (std::vector<unsigned long> { 1000, 2000, 4000, 8000 }));
}

} // namespace
