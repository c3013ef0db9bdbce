// The log-file writer while it runs: line format and order, the file of the
// day, the debug log's file sink, many producers at once, the day change,
// a file removed or replaced under its name and the back-off after a failed
// opening.
//
// The writer is one per process and keeps its file open across tests, so
// every test writes on a day of its own: the writer's date check closes the
// previous test's file before the test starts writing.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <string>
#include <thread>
#include <vector>

#include "CZeDebugLog.h"
#include "CZeDir.h"
#include "CZeLogger.h"
#include "core/log/CZeMessageLogger.h"
#include "LoggerTestSupport.h"
#include "support/TestText.h"
#include "support/MessageCapture.h"
#include "support/TemporaryDirectory.h"

namespace {

size_t lineCount(const std::string& text)
{
    size_t n = 0;
    for (char c : text)
        n += c == '\n';
    return n;
}

// The file's text once it holds `lines` lines (what it holds after the wait
// limit otherwise).
std::string waitForLines(const std::string& path, size_t lines)
{
    std::string text;
    waitUntil([&] {
        text = readFileText(path);
        return lineCount(text) >= lines;
    });
    return text;
}

class CZeLoggerTest : public ::testing::Test {
protected:
    void SetUp() override { FakeClocks::install(5 * kMillisecond); }
    void TearDown() override { FakeClocks::install(5 * kMillisecond); }

    // Points the writer at `folder` on the day of `when`, once the file of
    // the previous day is closed.
    static void startDay(const std::string& folder, time_t when)
    {
        FakeClocks::wall = when;
        CZeLogger::SetLogDirPath(folder.c_str());
        ASSERT_TRUE(waitUntil([] {
            const ZeLoggerCounters c = ZeLoggerCountersNow();
            return c.filesOpened == c.filesClosed;
        }));
    }
};

TEST_F(CZeLoggerTest, LinesCarryTheirStampInQueueOrder)
{
    TemporaryDirectory dir;
    const time_t when = localTime(2031, 1, 10, 12, 34, 56);
    startDay(dir.path(), when);

    CZeLogger::WriteMessage("first");
    CZeLogger::WriteMessage(CZeString::fromUtf8("zweite Zeile \xc3\xa9"));
    CZeLogger::WriteMessage(CZeByteArray("third\twith a tab"));
    FakeClocks::wall = when + 61;
    CZeLogger::WriteMessage("fourth");

    const std::string path = dir.path() + "/corvidsdk/log/corvidsdklog(2031-01-10).log";
    EXPECT_EQ(logFileOf(dir.path(), when), path);
    EXPECT_EQ(waitForLines(path, 4),
              "[2031-01-10 12:34:56] first\n"
              "[2031-01-10 12:34:56] zweite Zeile \xc3\xa9\n"
              "[2031-01-10 12:34:56] third\twith a tab\n"
              "[2031-01-10 12:35:57] fourth\n");
    EXPECT_EQ(namesIn(dir.path() + "/corvidsdk/log"),
              std::vector<std::string>{"corvidsdklog(2031-01-10).log"});
}

TEST_F(CZeLoggerTest, TheDebugLogHandsOverMessagesToSave)
{
    TemporaryDirectory dir;
    const time_t when = localTime(2031, 1, 12, 8, 15, 0);
    startDay(dir.path(), when);
    MessageCapture capture;
    const uint64_t queued = ZeLoggerCountersNow().linesQueued;

    CZeDebugLog::debugFormatOutput("kept in the file", CZeDebugLog::ZeWarningMsg, true);
    EXPECT_TRUE(capture.contains("kept in the file")); // the system log still has it
    EXPECT_EQ(ZeLoggerCountersNow().linesQueued, queued + 1);

    CZeDebugLog::debugFormatOutput("system log only", CZeDebugLog::ZeWarningMsg, false);
    CZeDebugLog::debugFormatOutput("below the level", CZeDebugLog::ZeDebugMsg, true);
    EXPECT_EQ(ZeLoggerCountersNow().linesQueued, queued + 1);

    CZeDebugLog::SetForceSaveLogToFile(true);
    CZeDebugLog::debugFormatOutput("forced", CZeDebugLog::ZeInfoMsg, false);
    CZeDebugLog::SetForceSaveLogToFile(false);
    CZeMessageLogger("Source.cpp", 12, "render", true).error("with position %d", 7);
    CZeDebugLog(CZeDebugLog::ZeInfoMsg, nullptr, 0, nullptr, true) << "streamed " << 3;

    EXPECT_EQ(waitForLines(logFileOf(dir.path(), when), 4),
              "[2031-01-12 08:15:00] kept in the file\n"
              "[2031-01-12 08:15:00] forced\n"
              "[2031-01-12 08:15:00] Source.cpp(12), render: with position 7\n"
              "[2031-01-12 08:15:00] streamed 3\n");
}

TEST_F(CZeLoggerTest, ANewDayStartsANewFileAfterTheDateCheck)
{
    TemporaryDirectory dir;
    const time_t evening = localTime(2031, 1, 14, 23, 59, 58);
    startDay(dir.path(), evening);
    CZeLogger::WriteMessage("late");
    EXPECT_EQ(waitForLines(logFileOf(dir.path(), evening), 1), "[2031-01-14 23:59:58] late\n");

    const uint64_t closed = ZeLoggerCountersNow().filesClosed;
    const time_t morning = localTime(2031, 1, 15, 0, 0, 5);
    FakeClocks::wall = morning;
    ASSERT_TRUE(waitUntil([closed] { return ZeLoggerCountersNow().filesClosed > closed; }));
    CZeLogger::WriteMessage("early");
    EXPECT_EQ(waitForLines(logFileOf(dir.path(), morning), 1), "[2031-01-15 00:00:05] early\n");
    EXPECT_EQ(readFileText(logFileOf(dir.path(), evening)), "[2031-01-14 23:59:58] late\n");

    // Another folder is used from the next opening on, not for the open file.
    TemporaryDirectory other;
    CZeLogger::SetLogDirPath(other.path().c_str());
    CZeLogger::WriteMessage("same file");
    EXPECT_EQ(waitForLines(logFileOf(dir.path(), morning), 2),
              "[2031-01-15 00:00:05] early\n[2031-01-15 00:00:05] same file\n");
    EXPECT_TRUE(other.entries().empty());
}

// A folder below a plain file cannot be made, whatever the privileges.
// Without this the writer kept appending to the removed file for the rest of
// the day, and every later line was lost.
TEST_F(CZeLoggerTest, AFileRemovedOrReplacedUnderItsNameIsOpenedAgain)
{
    TemporaryDirectory dir;
    const time_t when = localTime(2031, 1, 20, 8, 0, 0);
    startDay(dir.path(), when);
    const std::string path = logFileOf(dir.path(), when);
    CZeLogger::WriteMessage("before");
    EXPECT_EQ(waitForLines(path, 1), "[2031-01-20 08:00:00] before\n");

    // The folders go with the file; the writer makes them again.
    ASSERT_TRUE(CZeDir::removeRecursively(CZeString::fromUtf8((dir.path() + "/corvidsdk").c_str())));
    ASSERT_EQ(fileSizeOf(path), -1);
    CZeLogger::WriteMessage("after removal");
    EXPECT_EQ(waitForLines(path, 1), "[2031-01-20 08:00:00] after removal\n");

    // Another file renamed over it is continued.
    ASSERT_TRUE(writeFileText(path + ".new", "other\n"));
    ASSERT_EQ(std::rename((path + ".new").c_str(), path.c_str()), 0);
    CZeLogger::WriteMessage("after replacement");
    EXPECT_EQ(waitForLines(path, 2), "other\n[2031-01-20 08:00:00] after replacement\n");
}

TEST_F(CZeLoggerTest, AFailedOpeningBacksOffForThirtySeconds)
{
    TemporaryDirectory dir;
    ASSERT_TRUE(writeFileText(dir.file("plain"), "x"));
    const std::string broken = dir.file("plain/sub");
    const time_t when = localTime(2031, 1, 16, 10, 0, 0);
    startDay(broken, when);
    FakeClocks::install(5 * kMillisecond, true);
    MessageCapture capture;
    auto warnings = [&] {
        std::vector<CapturedMessage> found;
        for (const CapturedMessage& m : capture.messages())
            if (m.text.rfind("Failed to create log file: ", 0) == 0)
                found.push_back(m);
        return found;
    };
    uint64_t handled = ZeLoggerCountersNow().linesHandled;

    CZeLogger::WriteMessage("dropped 1");
    ASSERT_TRUE(waitHandled(++handled));
    const std::vector<CapturedMessage> first = warnings();
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].priority, 5);
    EXPECT_EQ(first[0].tag, "tavren");
    EXPECT_EQ(first[0].text, "Failed to create log file: " + logFileOf(broken, when));

    CZeLogger::WriteMessage("dropped 2");
    ASSERT_TRUE(waitHandled(++handled));
    EXPECT_EQ(warnings().size(), 1u);
    FakeClocks::steady += 30 * kSecond - 1;
    CZeLogger::WriteMessage("dropped 3");
    ASSERT_TRUE(waitHandled(++handled));
    EXPECT_EQ(warnings().size(), 1u);
    FakeClocks::steady += 1;
    CZeLogger::WriteMessage("dropped 4");
    ASSERT_TRUE(waitHandled(++handled));
    EXPECT_EQ(warnings().size(), 2u);

    // A working folder is tried once the back-off is over.
    CZeLogger::SetLogDirPath(dir.path().c_str());
    CZeLogger::WriteMessage("dropped 5");
    ASSERT_TRUE(waitHandled(++handled));
    EXPECT_EQ(fileSizeOf(logFileOf(dir.path(), when)), -1);
    FakeClocks::steady += 30 * kSecond;
    CZeLogger::WriteMessage("written");
    EXPECT_EQ(waitForLines(logFileOf(dir.path(), when), 1), "[2031-01-16 10:00:00] written\n");
    EXPECT_EQ(warnings().size(), 2u);
}

} // namespace
