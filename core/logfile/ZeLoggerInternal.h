/*
 * Inside view of the log-file writer, for the library's tests and benchmarks:
 * the clocks and intervals it runs on, what it has done so far, and its
 * shut-down step.
 *
 *   ZeLoggerTiming t = ZeLoggerDefaultTiming();
 *   t.wallClock = &fakeTime;          // the day the stamps and file names show
 *   t.flushIntervalNs = 20000000;     // flush and look at the date every 20 ms
 *   ZeLoggerSetTiming(t);
 *   ...
 *   ZeLoggerSetTiming(ZeLoggerDefaultTiming());
 */
#ifndef ZELOGGERINTERNAL_H
#define ZELOGGERINTERNAL_H

#include <cstdint>
#include <ctime>

struct ZeLoggerTiming {
    // Seconds since the epoch, as time(): stamps, file dates, the date check.
    time_t (*wallClock)();
    // Nanoseconds of a monotonic clock: the flush interval and the back-off.
    int64_t (*steadyClock)();
    // The writer's longest wait, and the flush interval while lines keep
    // coming (10 s).
    int64_t flushIntervalNs;
    // How long a failed opening blocks new attempts (30 s).
    int64_t openRetryNs;
};

ZeLoggerTiming ZeLoggerDefaultTiming();
// Takes effect at once: a waiting writer is woken to start a new wait.
void ZeLoggerSetTiming(const ZeLoggerTiming& timing);

// Counts since the writer was created (all 0 before).
struct ZeLoggerCounters {
    uint64_t linesQueued;   // lines accepted by WriteMessage
    uint64_t linesHandled;  // lines the writer took and wrote or dropped
    uint64_t linesWritten;  // of those, the lines written to a file
    uint64_t filesOpened;
    uint64_t filesClosed;   // by the date check, when removed or replaced, or at shut-down
    uint64_t openFailures;
};
ZeLoggerCounters ZeLoggerCountersNow();

enum ZeLoggerState { ZeLoggerNotCreated = 0, ZeLoggerShutDown = 1, ZeLoggerLive = 2 };
ZeLoggerState ZeLoggerCurrentState();

// The process-exit step, run by an exit handler: stops and joins the writer
// (which closes its file) and frees it. Later calls of the public entries do
// nothing; calling this again does nothing.
void ZeLoggerShutdown();

#endif // ZELOGGERINTERNAL_H
