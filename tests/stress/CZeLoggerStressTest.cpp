// The log-file writer fed from eight threads while its folder is removed and
// created again underneath it, as a user clearing an app's files would. The
// writer must neither crash nor lose its way: once the folder is back, new
// lines end up in the day's file there, each whole and on its own line.
//
// The writer's intervals are shortened through its test hook (flush every
// 20 ms, no back-off after a failed opening) so that the case takes a few
// seconds; the wait for the last lines has a generous limit and only ends
// early, it never decides the outcome.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <dirent.h>
#include <string>
#include <thread>
#include <vector>

#include "CZeDir.h"
#include "CZeLogger.h"
#include "core/logfile/ZeLoggerInternal.h"
#include "support/MessageCapture.h"
#include "support/TemporaryDirectory.h"

namespace {

constexpr int kWriters = 8;

// Every line of every log file in `folder`, in file order.
std::vector<std::string> logLines(const std::string& folder)
{
    std::vector<std::string> lines;
    DIR* dir = opendir(folder.c_str());
    if (!dir)
        return lines;
    while (dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name.size() < 4 || name.compare(name.size() - 4, 4, ".log") != 0)
            continue;
        const std::string text = readFileText(folder + "/" + name);
        size_t start = 0;
        for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
            lines.push_back(text.substr(start, end - start));
        if (start < text.size())
            lines.push_back(text.substr(start)); // not finished yet
    }
    closedir(dir);
    return lines;
}

// "[YYYY-MM-DD HH:MM:SS] " followed by the text.
bool wellFormed(const std::string& line)
{
    static const char pattern[] = "[dddd-dd-dd dd:dd:dd] ";
    if (line.size() < sizeof pattern - 1)
        return false;
    for (size_t i = 0; i + 1 < sizeof pattern; ++i) {
        const char c = line[i];
        if (pattern[i] == 'd' ? !(c >= '0' && c <= '9') : c != pattern[i])
            return false;
    }
    return true;
}

struct FastWriter {
    FastWriter()
    {
        ZeLoggerTiming t = ZeLoggerDefaultTiming();
        t.flushIntervalNs = 20 * 1000 * 1000;
        t.openRetryNs = 0;
        ZeLoggerSetTiming(t);
    }
    ~FastWriter() { ZeLoggerSetTiming(ZeLoggerDefaultTiming()); }
};

} // namespace

TEST(CZeLoggerStress, FolderRemovedUnderEightWriters)
{
    MessageCapture capture; // failed openings warn through the Android log
    FastWriter fast;
    TemporaryDirectory dir;
    ASSERT_TRUE(dir.isValid());
    const std::string base = dir.path();
    const std::string logFolder = base + "/corvidsdk/log";
    CZeLogger::SetLogDirPath(base.c_str());

    // The storm: eight writers, and the folder tree removed 150 times.
    std::atomic<bool> stop{false};
    std::atomic<int> queued{0};
    std::vector<std::thread> writers;
    for (int t = 0; t < kWriters; ++t)
        writers.emplace_back([&, t] {
            for (int i = 0; !stop.load(); ++i) {
                CZeLogger::WriteMessage(("storm " + std::to_string(t) + " " + std::to_string(i)).c_str());
                queued.fetch_add(1);
                if (i % 16 == 0)
                    std::this_thread::yield();
            }
        });
    const CZeString tree = CZeString::fromUtf8((base + "/corvidsdk").c_str());
    for (int round = 0; round < 150; ++round) {
        // The writer may put a new file in while the tree goes; try again.
        for (int attempt = 0; attempt < 100 && !CZeDir::removeRecursively(tree); ++attempt)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        if (round % 2 == 0)
            CZeDir::mkpath(CZeString::fromUtf8(logFolder.c_str()));
    }
    stop.store(true);
    for (std::thread& w : writers)
        w.join();
    EXPECT_GT(queued.load(), 0);

    // The folder is back; every line written from now on must reach its file.
    ASSERT_TRUE(CZeDir::mkpath(CZeString::fromUtf8(logFolder.c_str())));
    constexpr int kAfter = 50;
    writers.clear();
    for (int t = 0; t < kWriters; ++t)
        writers.emplace_back([t] {
            for (int i = 0; i < kAfter; ++i)
                CZeLogger::WriteMessage(("after " + std::to_string(t) + " " + std::to_string(i)).c_str());
        });
    for (std::thread& w : writers)
        w.join();

    std::vector<bool> seen(kWriters * kAfter);
    int found = 0;
    for (int wait = 0; wait < 6000 && found < kWriters * kAfter; ++wait) {
        if (wait)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        for (const std::string& line : logLines(logFolder)) {
            int t = 0, i = 0;
            const size_t at = line.find("] after ");
            if (at == std::string::npos || std::sscanf(line.c_str() + at, "] after %d %d", &t, &i) != 2)
                continue;
            if (t >= 0 && t < kWriters && i >= 0 && i < kAfter && !seen[t * kAfter + i]) {
                seen[t * kAfter + i] = true;
                ++found;
            }
        }
    }
    EXPECT_EQ(found, kWriters * kAfter);

    // Whatever survived of the storm is whole lines, one per line.
    const std::vector<std::string> lines = logLines(logFolder);
    for (const std::string& line : lines)
        ASSERT_TRUE(wellFormed(line)) << line;
}
