/*
 * CZeElapsedTimer - time since a start point, on the monotonic clock.
 *
 *   CZeElapsedTimer timer;
 *   timer.start();
 *   ...
 *   if (timer.hasExpired(500)) ...      // more than 500 ms have passed
 *   long long ns = timer.nsecsElapsed();
 *
 * The start point is kept in nanoseconds of std::chrono::steady_clock; 0
 * means "never started" (isValid() is false). Milliseconds and seconds are
 * nanoseconds divided by 1,000,000 and 1,000,000,000, truncated toward zero.
 */
#ifndef CZEELAPSEDTIMER_H
#define CZEELAPSEDTIMER_H

#include "ZeGlobal.h"

class ZE_EXPORT CZeElapsedTimer {
public:
    CZeElapsedTimer() noexcept
        : m_start(0)
    {
    }

    bool isValid() const noexcept { return m_start != 0; }
    void start() noexcept;
    // Milliseconds since the start point, which then becomes now.
    long long restart() noexcept;
    long long elapsed() const noexcept;
    long long nsecsElapsed() const noexcept;
    // The start point itself, in milliseconds of the monotonic clock.
    long long msecsSinceReference() const noexcept;
    // From this start point to the other's (negative when the other is earlier).
    long long msecsTo(const CZeElapsedTimer& other) const noexcept;
    long long secsTo(const CZeElapsedTimer& other) const noexcept;
    // More than `timeout` milliseconds have passed.
    bool hasExpired(long long timeout) const noexcept;

private:
    long long m_start; // nanoseconds of the monotonic clock
};

#endif /* CZEELAPSEDTIMER_H */
