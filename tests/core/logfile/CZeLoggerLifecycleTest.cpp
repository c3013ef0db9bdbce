// The log-file writer's life and hostile files. Each case runs in a child
// process where the writer starts from nothing; this program never makes one.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "CZeDir.h"
#include "CZeLogger.h"
#include "LoggerTestSupport.h"
#include "support/MessageCapture.h"
#include "support/TemporaryDirectory.h"

namespace {

// In a child: reports the failed expectation and ends the child.
void check(bool ok, const char* what)
{
    if (!ok) {
        std::fprintf(stderr, "child check failed: %s\n", what);
        std::fflush(stderr);
        ::_exit(3);
    }
}

// Runs `child` in a child process; true when it exits with status 0 within
// a minute (it is killed otherwise, so a writer that blocks fails the test).
template <typename Child> bool exitsCleanly(Child child)
{
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        child();
        ::_exit(4);
    }
    int status = 0;
    for (int waited = 0; waited < 6000; ++waited) {
        if (::waitpid(pid, &status, WNOHANG) == pid)
            return WIFEXITED(status) && WEXITSTATUS(status) == 0;
        ::usleep(10000);
    }
    ::kill(pid, SIGKILL);
    ::waitpid(pid, &status, 0);
    return false;
}

const time_t kDay = localTime("2032-06-01 12:00:00");

// In a child: queues the line, waits until `handled` lines were handled.
void writeHandled(const char* line, uint64_t handled)
{
    CZeLogger::WriteMessage(line);
    check(waitHandled(handled), line);
}

// In a child: the writer's clocks on kDay, its folder set.
void startIn(const std::string& folder)
{
    FakeClocks::wall = kDay;
    FakeClocks::install();
    CZeLogger::SetLogDirPath(folder.c_str());
}

// Until a folder is set every opening fails: the lines are dropped and the
// warning comes at most once per 30 seconds of the steady clock.
TEST(CZeLoggerLifecycle, LinesBeforeAFolderAreDroppedWithOneWarningPerBackOff)
{
    TemporaryDirectory dir;
    EXPECT_TRUE(exitsCleanly([&] {
        FakeClocks::wall = kDay;
        FakeClocks::install(5 * kMillisecond, true);
        MessageCapture capture;
        check(ZeLoggerCurrentState() == ZeLoggerNotCreated, "fresh writer");
        writeHandled("early one", 1);
        const auto messages = capture.messages();
        check(messages.size() == 1, "one warning");
        check(messages[0].priority == 5 && messages[0].tag == "tavren", "warning priority and tag");
        check(messages[0].text == "Failed to create log file: ", "warning with an empty path");

        FakeClocks::steady += 30 * kSecond - 1;
        writeHandled("early two", 2);
        check(capture.count() == 1, "no second warning within 30 seconds");
        FakeClocks::steady += 1;
        writeHandled("early three", 3);
        check(capture.count() == 2, "a second warning after 30 seconds");

        // The folder counts from the next attempt, which waits for the back-off.
        CZeLogger::SetLogDirPath(dir.path().c_str());
        writeHandled("four", 4);
        check(fileSizeOf(dir.path() + "/corvidsdk") == -1, "nothing made within the back-off");
        FakeClocks::steady += 30 * kSecond;
        writeHandled("five", 5);
        const ZeLoggerCounters c = ZeLoggerCountersNow();
        check(c.linesWritten == 1 && c.openFailures == 2 && c.filesOpened == 1, "one line written");
        check(capture.count() == 2, "no warning for the working folder");
        std::exit(0);
    }));
    EXPECT_EQ(readFileText(logFileOf(dir.path(), kDay)), "[2032-06-01 12:00:00] five\n");
}

TEST(CZeLoggerLifecycle, ExitClosesTheFileAndLaterCallsDoNothing)
{
    TemporaryDirectory dir, later;
    EXPECT_TRUE(exitsCleanly([&] {
        // Registered before the writer exists, so it runs after the writer's
        // own exit handler has shut it down.
        static std::string laterFolder;
        laterFolder = later.path();
        std::atexit([] {
            check(ZeLoggerCurrentState() == ZeLoggerShutDown, "shut down at exit");
            const uint64_t queued = ZeLoggerCountersNow().linesQueued;
            CZeLogger::WriteMessage("after exit");
            CZeLogger::WriteMessage(CZeString::fromUtf8("after exit too"));
            CZeLogger::SetLogDirPath(laterFolder.c_str());
            ZeLoggerShutdown();
            check(ZeLoggerCurrentState() == ZeLoggerShutDown, "not created again");
            check(ZeLoggerCountersNow().linesQueued == queued, "nothing queued after shut-down");
        });
        // The default flush interval: the line stays in the stream's buffer
        // until the file is closed at shut-down.
        FakeClocks::wall = kDay;
        ZeLoggerTiming t = ZeLoggerDefaultTiming();
        t.wallClock = FakeClocks::wallNow;
        ZeLoggerSetTiming(t);
        CZeLogger::SetLogDirPath(dir.path().c_str());
        writeHandled("written before exit", 1);
        check(ZeLoggerCountersNow().linesWritten == 1, "line written");
        std::exit(0);
    }));
    EXPECT_EQ(
        readFileText(logFileOf(dir.path(), kDay)), "[2032-06-01 12:00:00] written before exit\n");
    EXPECT_TRUE(later.entries().empty());
}

TEST(CZeLoggerLifecycle, AForkedChildLeavesTheFileToItsParent)
{
    TemporaryDirectory dir;
    EXPECT_TRUE(exitsCleanly([&] {
        startIn(dir.path());
        writeHandled("before fork", 1);
        const pid_t pid = ::fork();
        check(pid >= 0, "fork");
        if (pid == 0) {
            // The copy has the writer's state but not its thread.
            check(ZeLoggerCurrentState() == ZeLoggerShutDown, "forked child gives up");
            CZeLogger::WriteMessage("from the forked child");
            check(ZeLoggerCountersNow().linesQueued == 1, "nothing queued in the forked child");
            std::exit(0); // the exit handler must not wait for a thread it lacks
        }
        int status = 0;
        check(::waitpid(pid, &status, 0) == pid, "wait");
        check(WIFEXITED(status) && WEXITSTATUS(status) == 0, "forked child exited cleanly");
        writeHandled("after fork", 2);
        std::exit(0);
    }));
    EXPECT_EQ(readFileText(logFileOf(dir.path(), kDay)),
        "[2032-06-01 12:00:00] before fork\n[2032-06-01 12:00:00] after fork\n");
}

// A named pipe where the day's file belongs is refused like a failed opening
// (nobody ever reads it), and process exit does not wait for it.
TEST(CZeLoggerLifecycle, ANamedPipeAsTheLogFileNeitherBlocksNorHoldsTheExit)
{
    TemporaryDirectory dir;
    const std::string pipe = logFileOf(dir.path(), kDay);
    ASSERT_TRUE(CZeDir::mkpath(CZeString::fromUtf8(pipe.substr(0, pipe.rfind('/')).c_str())));
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_TRUE(exitsCleanly([&] {
        MessageCapture capture;
        startIn(dir.path());
        for (int i = 0; i < 1000; ++i)
            CZeLogger::WriteMessage("into the pipe");
        check(waitHandled(1000), "lines handled");
        check(capture.contains("Failed to create log file: " + pipe), "open failure warned");
        std::exit(0);
    }));
}

// Writes stop in the middle of a line (here at a file-size limit, as on a
// full disk): every line kept in the file is whole, and lines written once
// there is room again start on a line of their own.
TEST(CZeLoggerLifecycle, AFailedWriteLeavesOnlyWholeLines)
{
    TemporaryDirectory dir;
    EXPECT_TRUE(exitsCleanly([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit;
        ::getrlimit(RLIMIT_FSIZE, &limit);
        const rlim_t unlimited = limit.rlim_cur;
        limit.rlim_cur = 4000;
        check(::setrlimit(RLIMIT_FSIZE, &limit) == 0, "size limit");
        startIn(dir.path());
        for (int i = 0; i < 400; ++i)
            CZeLogger::WriteMessage(("line " + std::to_string(i) + " of the first part").c_str());
        check(waitHandled(400), "first part handled");
        ::usleep(50000); // past the flush interval: the part meets the limit
        limit.rlim_cur = unlimited;
        check(::setrlimit(RLIMIT_FSIZE, &limit) == 0, "limit lifted");
        for (int i = 0; i < 20; ++i)
            CZeLogger::WriteMessage(("after " + std::to_string(i)).c_str());
        check(waitHandled(420), "second part handled");
        std::exit(0);
    }));
    const std::string text = readFileText(logFileOf(dir.path(), kDay));
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.back(), '\n');
    const std::regex whole(R"(\[2032-06-01 12:00:00\] (line \d+ of the first part|after \d+))");
    std::istringstream lines(text);
    int kept = 0, after = 0;
    for (std::string line; std::getline(lines, line); ++kept) {
        EXPECT_TRUE(std::regex_match(line, whole)) << "line " << kept << ": " << line;
        after += line.find("] after ") != std::string::npos;
    }
    EXPECT_EQ(after, 20);
    EXPECT_LT(kept, 420); // the limit did cut the first part
}

} // namespace
