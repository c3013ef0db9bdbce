#include "core/thread/CZeTimerInfoList.h"

#include <algorithm>
#include <chrono>
#include <limits>

#include "CZeObject.h"

namespace {

int64_t monotonicMs()
{
    using namespace std::chrono;
    return duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count() / 1000000;
}

int clampToInt(int64_t v)
{
    return v > std::numeric_limits<int>::max() ? std::numeric_limits<int>::max()
                                               : static_cast<int>(v);
}

} // namespace

CZeTimerInfoList::~CZeTimerInfoList()
{
    for (CZeTimerInfo* t : timers)
        release(t);
    timers.clear();
}

void CZeTimerInfoList::release(CZeTimerInfo* info)
{
    if (info == firstTimerInfo)
        firstTimerInfo = nullptr;
    // A timer whose event is being delivered tells the firing routine that it
    // is gone.
    if (info->activateRef)
        *info->activateRef = nullptr;
    delete info;
}

int64_t CZeTimerInfoList::updateCurrentTime()
{
    currentTime = monotonicMs();
    return currentTime;
}

void CZeTimerInfoList::registerTimer(int id, int interval, CZeObject* object)
{
    CZeTimerInfo* t = new CZeTimerInfo{id, interval, updateCurrentTime() + interval, object,
                                       nullptr};
    timerInsert(t);
}

void CZeTimerInfoList::timerInsert(CZeTimerInfo* info)
{
    auto it = timers.end();
    while (it != timers.begin()) {
        if ((*(it - 1))->timeout <= info->timeout)
            break;
        --it;
    }
    timers.insert(it, info);
}

bool CZeTimerInfoList::unregisterTimer(int id)
{
    for (auto it = timers.begin(); it != timers.end(); ++it) {
        if ((*it)->id == id) {
            CZeTimerInfo* t = *it;
            timers.erase(it);
            release(t);
            return true;
        }
    }
    return false;
}

bool CZeTimerInfoList::unregisterTimers(CZeObject* object)
{
    if (timers.empty())
        return false;
    auto keep = timers.begin();
    for (auto it = timers.begin(); it != timers.end(); ++it) {
        if ((*it)->object == object)
            release(*it);
        else
            *keep++ = *it;
    }
    timers.erase(keep, timers.end());
    return true;
}

bool CZeTimerInfoList::timerWait(int64_t& ms)
{
    const int64_t now = updateCurrentTime();
    for (CZeTimerInfo* t : timers) {
        if (!t->activateRef) {
            ms = std::max<int64_t>(0, t->timeout - now);
            return true;
        }
    }
    return false;
}

int CZeTimerInfoList::remainingTime(int id)
{
    const int64_t now = updateCurrentTime();
    for (CZeTimerInfo* t : timers)
        if (t->id == id)
            return clampToInt(std::max<int64_t>(0, t->timeout - now));
    return -1;
}

int CZeTimerInfoList::activateTimers()
{
    if (timers.empty())
        return 0;
    firstTimerInfo = nullptr;
    const int64_t now = updateCurrentTime();

    // At most the timers due now fire in this pass, each at most once.
    size_t maxCount = 0;
    for (CZeTimerInfo* t : timers) {
        if (t->timeout > now)
            break;
        ++maxCount;
    }

    int fired = 0;
    while (maxCount--) {
        if (timers.empty())
            break;
        CZeTimerInfo* current = timers.front();
        if (current->timeout > now)
            break;
        if (!firstTimerInfo) {
            firstTimerInfo = current;
        } else if (firstTimerInfo == current) {
            break; // it came round again: no timer fires twice in one pass
        } else if (current->interval <= firstTimerInfo->interval) {
            firstTimerInfo = current;
        }

        timers.pop_front();
        current->timeout += current->interval;
        if (current->timeout < now) // missed periods are skipped, not caught up
            current->timeout = now + current->interval;
        timerInsert(current);

        if (!current->activateRef) {
            current->activateRef = &current;
            CZeTimerEvent e(current->id);
            CZeObject::notify(current->object, &e);
            ++fired;
            // Null when the handler unregistered the timer (or deleted its object).
            if (current)
                current->activateRef = nullptr;
        }
    }
    firstTimerInfo = nullptr;
    return fired;
}
