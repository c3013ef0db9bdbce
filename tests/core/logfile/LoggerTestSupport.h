/*
 * Helpers of the log-file writer tests: substitute clocks, waiting for the
 * writer, and the path of a day's file.
 *
 *   FakeClocks::install();   // fake wall clock, real steady clock, 5 ms flushes
 *   FakeClocks::wall = localTime("2031-01-10 12:00:00");
 *   CZeLogger::WriteMessage("x");
 *   ASSERT_TRUE(waitHandled(1));
 */
#ifndef TESTS_CORE_LOG_LOGGERTESTSUPPORT_H
#define TESTS_CORE_LOG_LOGGERTESTSUPPORT_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>
#include <thread>

#include "core/logfile/ZeLoggerInternal.h"

constexpr int64_t kMillisecond = 1000 * 1000;
constexpr int64_t kSecond = 1000 * kMillisecond;

struct FakeClocks {
    static inline std::atomic<time_t> wall { 0 };
    static inline std::atomic<int64_t> steady { 1000 * kSecond };

    static time_t wallNow() { return wall.load(); }
    static int64_t steadyNow() { return steady.load(); }

    // The fake wall clock, and the fake steady clock when asked for; the
    // writer flushes (and looks at the date) after `flushInterval` of quiet.
    static void install(int64_t flushInterval = 5 * kMillisecond, bool fakeSteady = false)
    {
        ZeLoggerTiming t = ZeLoggerDefaultTiming();
        t.wallClock = wallNow;
        if (fakeSteady)
            t.steadyClock = steadyNow;
        t.flushIntervalNs = flushInterval;
        ZeLoggerSetTiming(t);
    }
};

// Seconds since the epoch of a local time written as in the log lines.
inline time_t localTime(const char* stamp)
{
    struct tm t { };
    strptime(stamp, "%Y-%m-%d %H:%M:%S", &t);
    t.tm_isdst = -1;
    return std::mktime(&t);
}

// Polls the condition; false when it still fails after `limit`. The limit
// only keeps a broken writer from hanging the test.
template <typename Condition>
bool waitUntil(Condition condition, std::chrono::seconds limit = std::chrono::seconds(30))
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

inline bool waitHandled(uint64_t lines)
{
    return waitUntil([lines] { return ZeLoggerCountersNow().linesHandled >= lines; });
}

// "<folder>/corvidsdk/log/corvidsdklog(YYYY-MM-DD).log" for the day of `when`.
inline std::string logFileOf(const std::string& folder, time_t when)
{
    struct tm local;
    localtime_r(&when, &local);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%d", &local);
    return folder + "/corvidsdk/log/corvidsdklog(" + date + ").log";
}

#endif
