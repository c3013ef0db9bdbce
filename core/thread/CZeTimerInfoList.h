/*
 * CZeTimerInfoList - one thread's repeating timers, sorted by due time.
 *
 *   list.registerTimer(id, 50, object);   // due 50 ms from now
 *   int64_t wait;
 *   if (list.timerWait(wait)) ...         // ms until the next timer is due
 *   list.activateTimers();                // fires the due ones, reschedules them
 *
 * Times are milliseconds of the monotonic clock. The list belongs to one
 * thread and has no lock.
 */
#ifndef CZETIMERINFOLIST_H
#define CZETIMERINFOLIST_H

#include <cstdint>
#include <deque>

class CZeObject;

struct CZeTimerInfo {
    int32_t id;
    int32_t interval;              // ms
    int64_t timeout;               // next due time, ms
    CZeObject* object;
    // While the timer's event is being delivered: the firing routine's local
    // pointer to this info, nulled if the timer is unregistered meanwhile.
    CZeTimerInfo** activateRef;
};

class CZeTimerInfoList {
public:
    CZeTimerInfoList() = default;
    ~CZeTimerInfoList();

    int64_t updateCurrentTime();

    void registerTimer(int id, int interval, CZeObject* object);
    bool unregisterTimer(int id);
    // False only when the list is empty.
    bool unregisterTimers(CZeObject* object);

    // Milliseconds until the first timer that is not being fired is due (at
    // least 0); false when there is none.
    bool timerWait(int64_t& ms);
    // Milliseconds until the timer is due (at least 0), -1 for an unknown id.
    int remainingTime(int id);

    // Fires every due timer once (missed periods are skipped) and returns how
    // many fired.
    int activateTimers();

    // Inserts after the last timer that is not due later, so timers with the
    // same due time keep their order.
    void timerInsert(CZeTimerInfo* info);

    std::deque<CZeTimerInfo*> timers;
    CZeTimerInfo* firstTimerInfo = nullptr;
    int64_t currentTime = 0;

private:
    void release(CZeTimerInfo* info);

    CZeTimerInfoList(const CZeTimerInfoList&) = delete;
    CZeTimerInfoList& operator=(const CZeTimerInfoList&) = delete;
};

#endif // CZETIMERINFOLIST_H
