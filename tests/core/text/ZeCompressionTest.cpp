// Compressed byte-array blocks: round trips at every level, the block format,
// damaged and hostile blocks, and the zlib results that valid input never
// produces (driven through stand-ins for compress2 and uncompress).
#include <gtest/gtest.h>

#include <zlib.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "CZeByteArray.h"
#include "core/text/ZeCompression.h"
#include "support/MessageCapture.h"

namespace {

const unsigned char* bytes(const CZeByteArray& a)
{
    return reinterpret_cast<const unsigned char*>(a.constData());
}

CZeByteArray randomBytes(int n, unsigned seed)
{
    std::mt19937 rng(seed);
    CZeByteArray a(n, '\0');
    char* p = a.data();
    for (int i = 0; i < n; ++i)
        p[i] = static_cast<char>(rng());
    return a;
}

CZeByteArray repetitiveBytes(int n)
{
    const char pattern[] = "tavren lut row pair 0123456789 ";
    CZeByteArray a(n, '\0');
    char* p = a.data();
    for (int i = 0; i < n; ++i)
        p[i] = pattern[(i / 3) % (sizeof pattern - 1)];
    return a;
}

unsigned long storedLength(const CZeByteArray& block)
{
    const unsigned char* b = bytes(block);
    return (static_cast<unsigned long>(b[0]) << 24) | (b[1] << 16) | (b[2] << 8) | b[3];
}

CZeByteArray withStoredLength(CZeByteArray block, unsigned long length)
{
    char* b = block.data();
    b[0] = static_cast<char>(length >> 24);
    b[1] = static_cast<char>(length >> 16);
    b[2] = static_cast<char>(length >> 8);
    b[3] = static_cast<char>(length);
    return block;
}

std::vector<std::string> texts(const MessageCapture& capture)
{
    std::vector<std::string> result;
    for (const CapturedMessage& m : capture.messages())
        result.push_back(m.text);
    return result;
}

using Texts = std::vector<std::string>;

// ---- Round trips ---------------------------------------------------------------

TEST(ZeCompression, RoundTripsAtEveryLevel)
{
    MessageCapture capture;
    const CZeByteArray inputs[]
        = { CZeByteArray("x"), randomBytes(1 << 20, 7), repetitiveBytes(1 << 20) };
    for (const CZeByteArray& input : inputs) {
        for (int level = -1; level <= 9; ++level) {
            const CZeByteArray packed = ZeCompress(input, level);
            ASSERT_GT(packed.size(), 4) << level;
            EXPECT_EQ(storedLength(packed), static_cast<unsigned long>(input.size()));
            const CZeByteArray back = ZeUncompress(packed);
            ASSERT_EQ(back.size(), input.size()) << level;
            EXPECT_TRUE(back == input) << level;
            EXPECT_EQ(back.constData()[back.size()], '\0');
        }
    }
    // The stream behind the length is exactly what compress2 writes.
    const CZeByteArray input = repetitiveBytes(5000);
    const CZeByteArray packed = ZeCompress(input, 9);
    std::vector<unsigned char> expected(compressBound(5000));
    unsigned long expectedLength = expected.size();
    ASSERT_EQ(compress2(expected.data(), &expectedLength, bytes(input), 5000, 9), Z_OK);
    ASSERT_EQ(packed.size(), int(expectedLength) + 4);
    EXPECT_TRUE(
        std::equal(expected.begin(), expected.begin() + long(expectedLength), bytes(packed) + 4));
    // A 1 MB repetitive input shrinks a lot, random input hardly at all.
    EXPECT_LT(ZeCompress(repetitiveBytes(1 << 20)).size(), 1 << 14);
    EXPECT_EQ(capture.count(), 0u);
}

// ---- Misuse and damaged blocks ------------------------------------------------------

TEST(ZeCompression, NullAndShortInput)
{
    MessageCapture capture;
    EXPECT_TRUE(ZeCompress(nullptr, 5).isNull());
    EXPECT_TRUE(ZeUncompress(nullptr, 10).isNull());
    EXPECT_EQ(texts(capture), (Texts { "ZeCompress: Data is null", "ZeUncompress: Data is null" }));
    EXPECT_EQ(capture.messages()[0].priority, 5);

    capture.clear();
    const unsigned char one[] = { 0, 0, 0, 1 };
    const unsigned char zeros[] = { 0, 0, 0, 0 };
    EXPECT_TRUE(ZeUncompress(zeros, 4).isNull());
    EXPECT_EQ(capture.count(), 0u);
    EXPECT_TRUE(ZeUncompress(one, 4).isNull());
    EXPECT_TRUE(ZeUncompress(zeros, 3).isNull());
    EXPECT_TRUE(ZeUncompress(zeros, -4).isNull());
    EXPECT_EQ(texts(capture), Texts(3, "ZeUncompress: Input data is corrupted"));

    capture.clear();
    EXPECT_TRUE(ZeCompress(zeros, -1).isNull()); // a negative size is no data
    EXPECT_EQ(capture.count(), 0u);
}

int g_calls = 0;
std::vector<unsigned long> g_sizes;

int countingUncompress(unsigned char* dest, unsigned long* destLen, const unsigned char* source,
    unsigned long sourceLen)
{
    ++g_calls;
    g_sizes.push_back(*destLen);
    return uncompress(dest, destLen, source, sourceLen);
}

TEST(ZeCompression, StoredLengthBeyondTheLimitIsRefusedUpFront)
{
    MessageCapture capture;
    const CZeByteArray packed = ZeCompress(repetitiveBytes(1000));
    for (unsigned long length : { 0xfffffffful, 0x80000000ul, 0x7fffffe7ul }) {
        g_calls = 0;
        const CZeByteArray block = withStoredLength(packed, length);
        EXPECT_TRUE(
            ZeText::uncompressWith(countingUncompress, bytes(block), block.size()).isNull());
        EXPECT_EQ(g_calls, 0) << length; // refused before any buffer or zlib call
    }
    EXPECT_EQ(texts(capture), Texts(3, "ZeUncompress: Input data is corrupted"));
}

TEST(ZeCompression, TruncatedStreamsAreCorrupted)
{
    MessageCapture capture;
    const CZeByteArray input = repetitiveBytes(3000);
    const CZeByteArray packed = ZeCompress(input);
    for (int cut = 5; cut < packed.size(); ++cut) {
        capture.clear();
        EXPECT_TRUE(ZeUncompress(bytes(packed), cut).isNull()) << cut;
        EXPECT_EQ(texts(capture), Texts { "ZeUncompress: Z_DATA_ERROR: Input data is corrupted" })
            << cut;
    }
    // A damaged checksum is found too.
    CZeByteArray damaged = packed;
    damaged.data()[damaged.size() - 1] ^= 1;
    capture.clear();
    EXPECT_TRUE(ZeUncompress(damaged).isNull());
    EXPECT_EQ(texts(capture), Texts { "ZeUncompress: Z_DATA_ERROR: Input data is corrupted" });
}

// ---- Results that valid input never gives ---------------------------------------------

int g_failuresLeft = 0;
int g_failure = Z_OK;

// Counts the call and its output room; true when the planned failure is due.
bool failureDue(unsigned long room)
{
    ++g_calls;
    g_sizes.push_back(room);
    if (g_failuresLeft == 0)
        return false;
    if (g_failuresLeft > 0)
        --g_failuresLeft;
    return true;
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

void failNext(int count, int status)
{
    g_calls = 0;
    g_sizes.clear();
    g_failuresLeft = count;
    g_failure = status;
}

TEST(ZeCompression, CompressorResults)
{
    MessageCapture capture;
    const CZeByteArray input = repetitiveBytes(1000);

    failNext(2, Z_BUF_ERROR); // a full output area doubles it
    CZeByteArray packed = ZeText::compressWith(failingCompress, bytes(input), 1000, -1);
    EXPECT_EQ(g_sizes, (std::vector<unsigned long> { 1023, 2046, 4092 }));
    EXPECT_TRUE(ZeUncompress(packed) == input);

    failNext(1, Z_MEM_ERROR); // out of memory: empty, not null
    packed = ZeText::compressWith(failingCompress, bytes(input), 1000, -1);
    EXPECT_TRUE(packed.isEmpty());
    EXPECT_FALSE(packed.isNull());
    EXPECT_EQ(texts(capture), Texts { "ZeCompress: Z_MEM_ERROR: Not enough memory" });

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
    const CZeByteArray input = repetitiveBytes(1000);
    const CZeByteArray packed = ZeCompress(input);

    failNext(1, Z_MEM_ERROR);
    EXPECT_TRUE(ZeText::uncompressWith(failingUncompress, bytes(packed), packed.size()).isNull());
    EXPECT_EQ(texts(capture), Texts { "ZeUncompress: Z_MEM_ERROR: Not enough memory" });

    // An unknown result is retried with the same arguments...
    capture.clear();
    failNext(ZeText::kUnknownResultRetries, Z_STREAM_ERROR);
    EXPECT_TRUE(ZeText::uncompressWith(failingUncompress, bytes(packed), packed.size()) == input);
    EXPECT_EQ(g_calls, ZeText::kUnknownResultRetries + 1);
    EXPECT_EQ(g_sizes, std::vector<unsigned long>(size_t(g_calls), 1000ul));
    EXPECT_EQ(capture.count(), 0u);

    // ...but one that never changes cannot keep the caller forever.
    for (int status : { Z_STREAM_ERROR, Z_VERSION_ERROR, Z_NEED_DICT, 12345 }) {
        capture.clear();
        failNext(-1, status);
        EXPECT_TRUE(
            ZeText::uncompressWith(failingUncompress, bytes(packed), packed.size()).isNull());
        EXPECT_EQ(g_calls, ZeText::kUnknownResultRetries + 1);
        EXPECT_EQ(texts(capture), Texts { "ZeUncompress: Input data is corrupted" });
    }

    // A retry after the output grew counts afresh.
    capture.clear();
    failNext(3, Z_BUF_ERROR);
    EXPECT_TRUE(ZeText::uncompressWith(failingUncompress, bytes(packed), packed.size()) == input);
    EXPECT_EQ(g_sizes, (std::vector<unsigned long> { 1000, 2000, 4000, 8000 }));
    g_failuresLeft = 0;
}

} // namespace
