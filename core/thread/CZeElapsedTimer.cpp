#include "CZeElapsedTimer.h"

#include <chrono>

namespace {

constexpr long long kNanosPerMilli = 1000000;
constexpr long long kNanosPerSecond = 1000000000;

long long now() noexcept
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

void CZeElapsedTimer::start() noexcept
{
    m_start = now();
}

long long CZeElapsedTimer::restart() noexcept
{
    const long long t = now();
    const long long ms = (t - m_start) / kNanosPerMilli;
    m_start = t;
    return ms;
}

long long CZeElapsedTimer::elapsed() const noexcept
{
    return nsecsElapsed() / kNanosPerMilli;
}

long long CZeElapsedTimer::nsecsElapsed() const noexcept
{
    return now() - m_start;
}

long long CZeElapsedTimer::msecsSinceReference() const noexcept
{
    return m_start / kNanosPerMilli;
}

long long CZeElapsedTimer::msecsTo(const CZeElapsedTimer& other) const noexcept
{
    return (other.m_start - m_start) / kNanosPerMilli;
}

long long CZeElapsedTimer::secsTo(const CZeElapsedTimer& other) const noexcept
{
    return (other.m_start - m_start) / kNanosPerSecond;
}

bool CZeElapsedTimer::hasExpired(long long timeout) const noexcept
{
    return elapsed() > timeout;
}
