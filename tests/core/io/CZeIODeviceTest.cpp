// The device base on an in-memory device: reading, peeking, lines, warnings.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "CZeIODevice.h"
#include "support/TestText.h"

namespace {

// Bytes in a string behind a cursor of its own, like a real device: the base
// must seek it wherever its logical position differs.
class MemoryDevice : public CZeIODevice {
public:
    explicit MemoryDevice(std::string bytes)
        : data(std::move(bytes))
    {
    }
    bool isSequential() const override { return sequential; }
    int64_t size() const override
    {
        return sequential ? CZeIODevice::size() : fakeSize >= 0 ? fakeSize : int64_t(data.size());
    }
    bool seek(int64_t pos) override
    {
        if (refuseSeeks || !CZeIODevice::seek(pos))
            return false;
        cursor = size_t(pos);
        return true;
    }

    std::string data;
    char buf[8] = {};
    size_t cursor = 0;
    int readCalls = 0;
    bool sequential = false, refuseSeeks = false;
    int64_t fakeSize = -1;

protected:
    int64_t readData(char* out, int64_t maxSize) override
    {
        ++readCalls;
        if (!isOpen())
            return -1;
        const size_t n = std::min(size_t(maxSize), data.size() - std::min(cursor, data.size()));
        std::memcpy(out, data.data() + cursor, n);
        cursor += n;
        return int64_t(n);
    }
    int64_t writeData(const char* in, int64_t size) override
    {
        data.replace(cursor, size_t(size), in, size_t(size));
        cursor += size_t(size);
        return size;
    }
};

TEST(CZeIODevice, TextModeAndLines)
{
    MessageCapture capture;
    MemoryDevice dev("a\r\r\nb");
    ASSERT_TRUE(dev.open(CZeIODevice::ReadOnly | CZeIODevice::Text));
    char buf[8] = {};
    // Three raw bytes give one; the loop reads again to fill the room.
    EXPECT_EQ(dev.read(buf, 3), 3);
    EXPECT_EQ(std::string(buf, 3), "a\nb");
    EXPECT_EQ(dev.pos(), 5);
    EXPECT_EQ(dev.readCalls, 2);
    dev.reset();
    EXPECT_EQ(text(dev.readAll()), "a\nb");

    MemoryDevice raw("a\r\r\nb");
    raw.open(CZeIODevice::ReadOnly);
    EXPECT_EQ(text(raw.read(5)), "a\r\r\nb");

    // The one-byte path skips carriage returns too.
    MemoryDevice chars("\r\rx\r");
    chars.open(CZeIODevice::ReadOnly | CZeIODevice::Text);
    char c = 0;
    EXPECT_TRUE(chars.getChar(&c));
    EXPECT_EQ(c, 'x');
    EXPECT_EQ(chars.pos(), 3);
    EXPECT_FALSE(chars.getChar(&c));

    // A line ending in CR LF ends in LF alone.
    MemoryDevice line("x\r\ny");
    line.open(CZeIODevice::ReadOnly);
    line.setTextModeEnabled(true);
    EXPECT_TRUE(line.isTextModeEnabled());
    EXPECT_EQ(line.readLine(buf, 8), 2);
    EXPECT_STREQ(buf, "x\n");
    EXPECT_EQ(capture.count(), 0u);

    const std::string longLine(40000, 'q');
    MemoryDevice lines(longLine + "\nshort\nlast");
    lines.open(CZeIODevice::ReadOnly);
    EXPECT_EQ(text(lines.readLine()), longLine + "\n");
    // A limit counts the terminating zero: 3 gives two bytes.
    EXPECT_EQ(text(lines.readLine(3)), "sh");
    EXPECT_EQ(text(lines.readLine()), "ort\n");
    EXPECT_EQ(text(lines.readLine()), "last");
    // At the end the base line reader fails on a random-access device.
    buf[0] = 'z';
    EXPECT_EQ(lines.readLine(buf, 4), -1);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_TRUE(lines.readLine().isEmpty());
}

TEST(CZeIODevice, PeeksSeeksAndOversizedReads)
{
    MemoryDevice dev("abcdef");
    dev.open(CZeIODevice::ReadOnly);
    char buf[4] = {};
    EXPECT_EQ(dev.peek(buf, 3), 3);
    EXPECT_EQ(std::string(buf, 3), "abc");
    EXPECT_EQ(dev.pos(), 0);
    EXPECT_EQ(text(dev.peek(2)), "ab");
    EXPECT_EQ(text(dev.read(3)), "abc");
    EXPECT_EQ(dev.pos(), 3);
    EXPECT_EQ(text(dev.peek(2)), "de");
    ASSERT_TRUE(dev.getChar(buf)); // the one-byte path seeks back too
    EXPECT_EQ(buf[0], 'd');

    // After a peek the device must seek back; when it refuses, transfers fail.
    ASSERT_TRUE(dev.seek(0));
    EXPECT_EQ(text(dev.peek(2)), "ab");
    dev.refuseSeeks = true;
    EXPECT_EQ(dev.read(buf, 2), -1);
    EXPECT_EQ(dev.read(buf, 1), -1);
    EXPECT_EQ(dev.peek(buf, 2), -1);
    EXPECT_EQ(dev.pos(), 0);
    dev.refuseSeeks = false;
    EXPECT_TRUE(dev.seek(100)); // past the end: allowed, nothing there
    EXPECT_TRUE(dev.atEnd());

    MemoryDevice pipe("abc"); // sequential: read in steps of unknown number
    pipe.sequential = true;
    pipe.open(CZeIODevice::ReadOnly);
    EXPECT_EQ(text(pipe.readAll()), "abc");

    // An oversized request: the array is sized for the clamped request, then
    // cut to what came. More than an array can hold left: nothing is read.
    MessageCapture capture;
    ASSERT_TRUE(dev.seek(3));
    dev.readCalls = 0;
    EXPECT_EQ(text(dev.read(int64_t { 3 } << 30)), "def");
    EXPECT_EQ(warning(capture), "maxSize argument exceeds CZeByteArray size limit");
    dev.seek(0);
    dev.fakeSize = int64_t { 2147483622 } + 1;
    EXPECT_TRUE(dev.readAll().isEmpty());
    EXPECT_EQ(dev.readCalls, 1);
    dev.fakeSize = -1;
    EXPECT_EQ(text(dev.readAll()), "abcdef");
}

// Every refused call warns and leaves the position and the bytes as they were.
TEST(CZeIODevice, RefusedCallsWarnAndChangeNothing)
{
    using D = MemoryDevice;
    enum Kind { Closed, In, Out, Pipe }; // Pipe: a sequential device open for reading
    const char* const negative = "Called with maxSize < 0";
    const struct {
        const char* name;
        Kind kind;
        bool (*refused)(D&);
        const char* warning;
    } rows[] = {
        { "seek closed", Closed, [](D& d) { return !d.seek(1); }, "The device is not open" },
        { "seek negative", In, [](D& d) { return !d.seek(-1); },
            "CZeIODevice::seek: Invalid pos: -1" },
        { "seek pipe", Pipe, [](D& d) { return !d.seek(0); },
            "Cannot call seek on a sequential device" },
        { "text mode closed", Closed,
            [](D& d) { return d.setTextModeEnabled(true), !d.isTextModeEnabled(); },
            "The device is not open" },
        { "peek pipe", Pipe, [](D& d) { return d.peek(d.buf, 2) == -1; },
            "Peeking data for sequential device is not supported!" },
        { "getChar closed", Closed, [](D& d) { return !d.getChar(nullptr); }, "device not open" },
        { "read closed", Closed, [](D& d) { return d.read(d.buf, 2) == -1; }, "device not open" },
        { "write closed", Closed, [](D& d) { return d.write("x", 1) == -1; }, "device not open" },
        { "read write-only", Out, [](D& d) { return d.read(d.buf, 2) == -1; }, "WriteOnly device" },
        { "peek write-only", Out, [](D& d) { return d.peek(2).isNull(); }, "WriteOnly device" },
        { "putChar read-only", In, [](D& d) { return !d.putChar('x'); }, "ReadOnly device" },
        { "read negative", In, [](D& d) { return d.read(d.buf, -1) == -1; }, negative },
        { "peek negative", In, [](D& d) { return d.peek(d.buf, -1) == -1; }, negative },
        { "read array negative", In, [](D& d) { return d.read(-1).isNull(); }, negative },
        { "readLine array negative", In, [](D& d) { return d.readLine(-1).isNull(); }, negative },
        { "write negative", Out, [](D& d) { return d.write("x", -1) == -1; }, negative },
        { "readLine below two", In, [](D& d) { return d.readLine(d.buf, 1) == -1; },
            "Called with maxSize < 2" },
    };
    MessageCapture capture;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        MemoryDevice dev("abcdef");
        dev.sequential = row.kind == Pipe;
        const int64_t pos = row.kind == In || row.kind == Out ? 2 : 0;
        if (row.kind != Closed)
            dev.open(row.kind == Out ? CZeIODevice::WriteOnly : CZeIODevice::ReadOnly);
        ASSERT_TRUE(!pos || dev.seek(pos));
        capture.clear();
        EXPECT_TRUE(row.refused(dev));
        EXPECT_EQ(warning(capture), row.warning);
        EXPECT_EQ(dev.pos(), pos);
        EXPECT_EQ(dev.data, "abcdef");
        // Only the one-byte path asks the device before it looks at the mode.
        EXPECT_EQ(dev.readCalls, std::string(row.name) == "getChar closed" ? 1 : 0);
    }
}

TEST(CZeIODevice, OpenAppendWriteAndPositions)
{
    MemoryDevice dev("abc");
    ASSERT_TRUE(dev.open(CZeIODevice::Append | CZeIODevice::WriteOnly));
    EXPECT_EQ(dev.pos(), 3);
    EXPECT_EQ(dev.write("de"), 2);
    EXPECT_EQ(dev.write(static_cast<const char*>(nullptr)), 0);
    EXPECT_EQ(dev.write(CZeByteArray("f")), 1);
    EXPECT_EQ(dev.data, "abcdef");
    EXPECT_EQ(dev.pos(), 6);
    dev.close();
    EXPECT_FALSE(dev.isOpen());
    EXPECT_EQ(dev.pos(), 0);

    ASSERT_TRUE(dev.open(CZeIODevice::ReadWrite));
    EXPECT_TRUE(dev.seek(4));
    EXPECT_TRUE(dev.putChar('E'));
    char c;
    EXPECT_TRUE(dev.getChar(&c));
    EXPECT_EQ(c, 'f');
    EXPECT_EQ(dev.data, "abcdEf");
    EXPECT_EQ(dev.errorString().toLatin1(), CZeByteArray("Unknown error"));
}

} // namespace
