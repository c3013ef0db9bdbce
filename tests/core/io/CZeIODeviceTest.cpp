// The device base on an in-memory device: the one-byte path, text mode,
// peeking, line reading, position synchronisation and every warning.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "CZeIODevice.h"
#include "support/TestText.h"
#include "support/MessageCapture.h"

namespace {

// Bytes in a string behind a cursor of its own, like a real device: the base
// must seek it wherever its logical position differs.
class MemoryDevice : public CZeIODevice {
public:
    explicit MemoryDevice(std::string bytes, bool sequential = false)
        : data(std::move(bytes)), m_sequential(sequential)
    {
    }

    bool isSequential() const override { return m_sequential; }
    int64_t size() const override { return m_sequential ? CZeIODevice::size() : reportedSize(); }
    bool seek(int64_t pos) override
    {
        ++seeks;
        if (refuseSeeks)
            return false;
        if (!CZeIODevice::seek(pos))
            return false;
        cursor = static_cast<size_t>(pos);
        return true;
    }

    std::string data;
    size_t cursor = 0;
    int readCalls = 0;
    int seeks = 0;
    bool refuseSeeks = false;
    bool ownLineReader = false;
    int64_t fakeSize = -1;

protected:
    int64_t readData(char* out, int64_t maxSize) override
    {
        ++readCalls;
        if (!isOpen())
            return -1;
        const size_t n = std::min(static_cast<size_t>(maxSize), data.size() - std::min(cursor, data.size()));
        std::memcpy(out, data.data() + cursor, n);
        cursor += n;
        return static_cast<int64_t>(n);
    }
    int64_t readLineData(char* out, int64_t maxSize) override
    {
        if (!ownLineReader)
            return CZeIODevice::readLineData(out, maxSize);
        int64_t n = 0;
        while (n < maxSize && cursor < data.size()) {
            out[n++] = data[cursor++];
            if (out[n - 1] == '\n')
                break;
        }
        return n;
    }
    int64_t writeData(const char* in, int64_t size) override
    {
        data.replace(cursor, static_cast<size_t>(size), in, static_cast<size_t>(size));
        cursor += static_cast<size_t>(size);
        return size;
    }

private:
    int64_t reportedSize() const
    {
        return fakeSize >= 0 ? fakeSize : static_cast<int64_t>(data.size());
    }
    bool m_sequential;
};

TEST(CZeIODevice, TextModeDropsCarriageReturns)
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

    // Without text mode the bytes come as they are.
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
    EXPECT_EQ(capture.count(), 0u);
}

TEST(CZeIODevice, ReadLineLimitsAndLongLines)
{
    const std::string longLine(40000, 'q');
    MemoryDevice dev(longLine + "\nshort\nlast");
    dev.open(CZeIODevice::ReadOnly);
    EXPECT_EQ(text(dev.readLine()), longLine + "\n");
    // A limit counts the terminating zero: 3 gives two bytes.
    EXPECT_EQ(text(dev.readLine(3)), "sh");
    EXPECT_EQ(text(dev.readLine()), "ort\n");
    EXPECT_EQ(text(dev.readLine()), "last");
    // At the end the base line reader fails on a random-access device.
    char buf[4] = {'z', 'z', 'z', 'z'};
    EXPECT_EQ(dev.readLine(buf, 4), -1);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_TRUE(dev.readLine().isEmpty());

    MessageCapture capture;
    EXPECT_EQ(dev.readLine(buf, 1), -1);
    EXPECT_EQ(warning(capture), "Called with maxSize < 2");
}

TEST(CZeIODevice, PeekLeavesThePositionAndTheNextReadSeeksBack)
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
    // The one-byte path also starts where the position is.
    EXPECT_EQ(text(dev.peek(2)), "de");
    char c;
    ASSERT_TRUE(dev.getChar(&c));
    EXPECT_EQ(c, 'd');

    MessageCapture capture;
    MemoryDevice pipe("abc", true);
    pipe.open(CZeIODevice::ReadOnly);
    EXPECT_EQ(pipe.peek(buf, 2), -1);
    EXPECT_EQ(warning(capture), "Peeking data for sequential device is not supported!");
    EXPECT_EQ(text(pipe.read(3)), "abc");
}

TEST(CZeIODevice, SeekRules)
{
    MessageCapture capture;
    MemoryDevice dev("abcdef");
    EXPECT_FALSE(dev.seek(1));
    EXPECT_EQ(warning(capture), "The device is not open");

    dev.open(CZeIODevice::ReadOnly);
    ASSERT_TRUE(dev.seek(2));
    capture.clear();
    EXPECT_FALSE(dev.seek(-1));
    EXPECT_EQ(warning(capture), "CZeIODevice::seek: Invalid pos: -1");
    EXPECT_EQ(dev.pos(), 2);
    EXPECT_EQ(text(dev.read(2)), "cd");
    // Seeking past the end is allowed; nothing is there.
    EXPECT_TRUE(dev.seek(100));
    EXPECT_EQ(dev.bytesAvailable(), 0);
    EXPECT_TRUE(dev.atEnd());

    capture.clear();
    MemoryDevice pipe("abc", true);
    pipe.open(CZeIODevice::ReadOnly);
    EXPECT_FALSE(pipe.seek(0));
    EXPECT_EQ(warning(capture), "Cannot call seek on a sequential device");

    // After a peek the device must seek back; when it refuses, transfers fail.
    ASSERT_TRUE(dev.seek(0));
    EXPECT_EQ(text(dev.peek(2)), "ab");
    dev.refuseSeeks = true;
    char buf[2];
    EXPECT_EQ(dev.read(buf, 2), -1);
    EXPECT_EQ(dev.read(buf, 1), -1);
    EXPECT_EQ(dev.peek(buf, 2), -1);
    EXPECT_EQ(dev.pos(), 0);
}

TEST(CZeIODevice, ClosedAndOneWayDevicesWarn)
{
    MessageCapture capture;
    MemoryDevice dev("abc");
    char buf[4];
    // One byte: readData is asked once before the mode is looked at.
    EXPECT_EQ(dev.read(buf, 1), -1);
    EXPECT_EQ(dev.readCalls, 1);
    EXPECT_EQ(warning(capture), "device not open");
    capture.clear();
    EXPECT_EQ(dev.read(buf, 2), -1);
    EXPECT_EQ(dev.readCalls, 1);
    EXPECT_EQ(warning(capture), "device not open");
    capture.clear();
    EXPECT_EQ(dev.write("x", 1), -1);
    EXPECT_EQ(warning(capture), "device not open");
    capture.clear();
    dev.setTextModeEnabled(true);
    EXPECT_EQ(warning(capture), "The device is not open");
    EXPECT_FALSE(dev.isTextModeEnabled());

    dev.open(CZeIODevice::WriteOnly);
    capture.clear();
    EXPECT_EQ(dev.read(buf, 2), -1);
    EXPECT_EQ(warning(capture), "WriteOnly device");
    capture.clear();
    EXPECT_TRUE(dev.peek(2).isEmpty());
    EXPECT_EQ(warning(capture), "WriteOnly device");
    dev.close();

    dev.open(CZeIODevice::ReadOnly);
    capture.clear();
    EXPECT_FALSE(dev.putChar('x'));
    EXPECT_EQ(warning(capture), "ReadOnly device");
    for (auto call : {+[](MemoryDevice& d, char* b) { return d.read(b, -1); },
                      +[](MemoryDevice& d, char* b) { return d.peek(b, -1); },
                      +[](MemoryDevice& d, char*) { return int64_t(d.read(-1).size()) - 1; },
                      +[](MemoryDevice& d, char*) { return int64_t(d.readLine(-1).size()) - 1; }}) {
        capture.clear();
        EXPECT_EQ(call(dev, buf), -1);
        EXPECT_EQ(warning(capture), "Called with maxSize < 0");
    }
    dev.close();
    dev.open(CZeIODevice::WriteOnly);
    capture.clear();
    EXPECT_EQ(dev.write(buf, -1), -1);
    EXPECT_EQ(warning(capture), "Called with maxSize < 0");
    EXPECT_EQ(dev.pos(), 0);
}

TEST(CZeIODevice, OversizedRequestsAreClampedOrRefused)
{
    MessageCapture capture;
    MemoryDevice dev("abc");
    dev.open(CZeIODevice::ReadOnly);
    // The array is sized for the clamped request, then cut to what came.
    EXPECT_EQ(text(dev.read(int64_t{3} << 30)), "abc");
    EXPECT_EQ(warning(capture), "maxSize argument exceeds CZeByteArray size limit");

    // More than an array can hold left: nothing is read at all.
    dev.seek(0);
    dev.fakeSize = int64_t{2147483622} + 1;
    const int calls = dev.readCalls;
    EXPECT_TRUE(dev.readAll().isEmpty());
    EXPECT_EQ(dev.readCalls, calls);
    dev.fakeSize = -1;
    EXPECT_EQ(text(dev.readAll()), "abc");
}

TEST(CZeIODevice, OpenAppendWriteAndPositions)
{
    MemoryDevice dev("abc");
    ASSERT_TRUE(dev.open(CZeIODevice::Append | CZeIODevice::WriteOnly));
    EXPECT_EQ(dev.pos(), 3);
    EXPECT_EQ(dev.write("de"), 2);
    EXPECT_EQ(dev.data, "abcde");
    EXPECT_EQ(dev.pos(), 5);
    EXPECT_EQ(dev.write(static_cast<const char*>(nullptr)), 0);
    EXPECT_EQ(dev.write(CZeByteArray("f")), 1);
    EXPECT_EQ(dev.data, "abcdef");
    dev.close();
    EXPECT_FALSE(dev.isOpen());
    EXPECT_EQ(dev.pos(), 0);

    ASSERT_TRUE(dev.open(CZeIODevice::ReadWrite));
    EXPECT_EQ(dev.pos(), 0);
    EXPECT_TRUE(dev.seek(4));
    EXPECT_TRUE(dev.putChar('E'));
    char c;
    EXPECT_TRUE(dev.getChar(&c));
    EXPECT_EQ(c, 'f');
    EXPECT_TRUE(dev.getChar(nullptr) == false);
    EXPECT_EQ(dev.data, "abcdEf");
    EXPECT_EQ(dev.errorString().toLatin1(), CZeByteArray("Unknown error"));
}

} // namespace
