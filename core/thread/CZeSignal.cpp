// CZeSignal: a flag under a mutex with a condition variable; and the event
// that sets one when it goes away.
//
// The standard mutex may report a system failure by throwing; no exception
// leaves these functions (a failed wait answers false, set and reset then do
// nothing).
#include "CZeSignal.h"

#include <chrono>

#include "CZeElapsedTimer.h"

namespace {

// One wait on the condition covers at most a day, so that the time point the
// standard library computes from a huge timeout cannot overflow.
constexpr unsigned long kLongestSingleWait = 24ul * 60 * 60 * 1000;

} // namespace

CZeSignal::CZeSignal(bool manualReset, bool initialState)
    : m_manualReset(manualReset)
    , m_signaled(initialState)
{
}

void CZeSignal::set()
{
    try {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_signaled) {
            m_signaled = true;
            m_condition.notify_all();
        }
    } catch (...) {
    }
}

void CZeSignal::reset()
{
    try {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_signaled = false;
    } catch (...) {
    }
}

bool CZeSignal::wait(unsigned long timeoutMs)
{
    CZeElapsedTimer timer;
    if (timeoutMs != 0 && timeoutMs != Infinite)
        timer.start();
    try {
        std::unique_lock<std::mutex> lock(m_mutex);
        const auto take = [this] {
            if (!m_manualReset)
                m_signaled = false;
            return true;
        };
        if (m_signaled)
            return take();
        if (timeoutMs == 0)
            return false;
        if (timeoutMs == Infinite) {
            while (!m_signaled)
                m_condition.wait(lock);
            return take();
        }
        unsigned long remaining = timeoutMs;
        for (;;) {
            const unsigned long slice
                = remaining < kLongestSingleWait ? remaining : kLongestSingleWait;
            const std::cv_status status = m_condition.wait_for(
                lock, std::chrono::milliseconds(static_cast<long long>(slice)));
            if (status == std::cv_status::timeout && slice == remaining)
                return false;
            if (m_signaled)
                return take();
            // Woken without the signal (another waiter took it, or spuriously).
            long long elapsed = timer.elapsed();
            if (elapsed < 0)
                elapsed = 0;
            if (static_cast<unsigned long long>(elapsed) >= timeoutMs)
                return false;
            remaining = timeoutMs - static_cast<unsigned long>(elapsed);
            if (remaining < 1)
                return false;
        }
    } catch (...) {
        return false;
    }
}

CZeSignallingEvent::CZeSignallingEvent(int type, CZeSignal* signal)
    : CZeEvent(type)
    , m_signal(signal)
{
}

CZeSignallingEvent::~CZeSignallingEvent()
{
    if (m_signal)
        m_signal->set();
}

void CZeSignallingEvent::signalNow()
{
    if (m_signal) {
        m_signal->set();
        m_signal = nullptr;
    }
}
