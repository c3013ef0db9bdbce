// The log-file writer while it runs. It is one per process and keeps its file
// open across tests, so every test writes on a day of its own: the writer's
// date check closes the previous test's file before the test starts writing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "CZeDebugLog.h"
#include "CZeDir.h"
#include "CZeLogger.h"
#include "LoggerTestSupport.h"
#include "core/log/CZeMessageLogger.h"
#include "support/TemporaryDirectory.h"
#include "support/TestText.h"

namespace {

class CZeLoggerTest : public ::testing::Test {
protected:
    void SetUp() override { FakeClocks::install(); }

    // Points the writer at the scratch folder on the day of `stamp`, once the
    // file of the previous day is closed.
    time_t startDay(const char* stamp)
    {
        FakeClocks::wall = localTime(stamp);
        CZeLogger::SetLogDirPath(dir.path().c_str());
        EXPECT_TRUE(waitUntil([] {
            const ZeLoggerCounters c = ZeLoggerCountersNow();
            return c.filesOpened == c.filesClosed;
        }));
        return FakeClocks::wall;
    }

    // The text of the day's file once it holds `lines` lines (what it holds
    // after the wait limit otherwise).
    std::string fileOnceItHolds(time_t day, long lines)
    {
        std::string text;
        waitUntil([&] {
            text = readFileText(logFileOf(dir.path(), day));
            return std::count(text.begin(), text.end(), '\n') >= lines;
        });
        return text;
    }

    TemporaryDirectory dir;
};

TEST_F(CZeLoggerTest, LinesGoInQueueOrderToTheFileOfTheirDay)
{
    const time_t when = startDay("2031-01-10 12:34:56");
    CZeLogger::WriteMessage("first");
    CZeLogger::WriteMessage(CZeString::fromUtf8("zweite Zeile \xc3\xa9"));
    CZeLogger::WriteMessage(CZeByteArray("third\twith a tab"));
    FakeClocks::wall = when + 61;
    CZeLogger::WriteMessage("fourth");
    const std::string firstDay = "[2031-01-10 12:34:56] first\n"
                                 "[2031-01-10 12:34:56] zweite Zeile \xc3\xa9\n"
                                 "[2031-01-10 12:34:56] third\twith a tab\n"
                                 "[2031-01-10 12:35:57] fourth\n";
    EXPECT_EQ(
        logFileOf(dir.path(), when), dir.path() + "/corvidsdk/log/corvidsdklog(2031-01-10).log");
    EXPECT_EQ(fileOnceItHolds(when, 4), firstDay);

    // The next day's file opens once the writer's date check closed the first.
    const uint64_t closed = ZeLoggerCountersNow().filesClosed;
    const time_t nextDay = FakeClocks::wall = localTime("2031-01-11 00:00:05");
    ASSERT_TRUE(waitUntil([closed] { return ZeLoggerCountersNow().filesClosed > closed; }));
    CZeLogger::WriteMessage("early");
    EXPECT_EQ(fileOnceItHolds(nextDay, 1), "[2031-01-11 00:00:05] early\n");
    EXPECT_EQ(readFileText(logFileOf(dir.path(), when)), firstDay);

    // Another folder is used from the next opening on, not for the open file.
    TemporaryDirectory other;
    CZeLogger::SetLogDirPath(other.path().c_str());
    CZeLogger::WriteMessage("same file");
    EXPECT_EQ(fileOnceItHolds(nextDay, 2),
        "[2031-01-11 00:00:05] early\n[2031-01-11 00:00:05] same file\n");
    EXPECT_TRUE(other.entries().empty());
}

TEST_F(CZeLoggerTest, TheDebugLogHandsOverMessagesToSave)
{
    const time_t when = startDay("2031-01-12 08:15:00");
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
    EXPECT_EQ(fileOnceItHolds(when, 4),
        "[2031-01-12 08:15:00] kept in the file\n"
        "[2031-01-12 08:15:00] forced\n"
        "[2031-01-12 08:15:00] Source.cpp(12), render: with position 7\n"
        "[2031-01-12 08:15:00] streamed 3\n");
}

// Without this the writer kept appending to the removed file for the rest of
// the day, and every later line was lost.
TEST_F(CZeLoggerTest, AFileRemovedOrReplacedUnderItsNameIsOpenedAgain)
{
    const time_t when = startDay("2031-01-20 08:00:00");
    const std::string path = logFileOf(dir.path(), when);
    CZeLogger::WriteMessage("before");
    EXPECT_EQ(fileOnceItHolds(when, 1), "[2031-01-20 08:00:00] before\n");

    // The folders go with the file; the writer makes them again.
    ASSERT_TRUE(CZeDir::removeRecursively(name(dir.path() + "/corvidsdk")));
    ASSERT_EQ(fileSizeOf(path), -1);
    CZeLogger::WriteMessage("after removal");
    EXPECT_EQ(fileOnceItHolds(when, 1), "[2031-01-20 08:00:00] after removal\n");

    // Another file renamed over it is continued.
    ASSERT_TRUE(writeFileText(path + ".new", "other\n"));
    ASSERT_EQ(std::rename((path + ".new").c_str(), path.c_str()), 0);
    CZeLogger::WriteMessage("after replacement");
    EXPECT_EQ(fileOnceItHolds(when, 2), "other\n[2031-01-20 08:00:00] after replacement\n");
}

} // namespace
