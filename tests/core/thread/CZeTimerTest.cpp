// Timers: the id allocator, the per-thread timer list, and timers of objects
// fired by a thread's event loop.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "CZeString.h"
#include "ThreadTestHelpers.h"
#include "core/thread/CZeTimerIdAllocator.h"
#include "core/thread/CZeTimerInfoList.h"

namespace {

TEST(CZeTimerIdAllocator, ConcurrentUseNeverHandsOutAnIdTwice)
{
    CZeTimerIdAllocator a;
    constexpr int kThreads = 4, kRounds = 20000, kHeld = 8;
    std::vector<std::atomic<bool>> inUse(4096);
    std::atomic<int> duplicates{0}, outOfRange{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            int held[kHeld] = {};
            for (int r = 0; r < kRounds; ++r) {
                int& slot = held[r % kHeld];
                if (slot) {
                    inUse[slot].store(false);
                    a.releaseTimerId(slot);
                }
                slot = a.allocateTimerId();
                if (slot <= 0 || slot >= static_cast<int>(inUse.size())) {
                    ++outOfRange;
                    slot = 0;
                } else if (inUse[slot].exchange(true)) {
                    ++duplicates;
                }
            }
            for (int id : held)
                if (id) {
                    inUse[id].store(false);
                    a.releaseTimerId(id);
                }
        });
    }
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(duplicates.load(), 0);
    EXPECT_EQ(outOfRange.load(), 0);
}

CZeTimerInfo* info(int id, int interval, int64_t timeout, CZeObject* object)
{
    return new CZeTimerInfo{id, interval, timeout, object, nullptr};
}

std::vector<int> order(const CZeTimerInfoList& list)
{
    std::vector<int> ids;
    for (const CZeTimerInfo* t : list.timers)
        ids.push_back(t->id);
    return ids;
}

TEST(CZeTimerInfoList, DueTimersFireOncePerPassInOrder)
{
    Probe p;
    CZeTimerInfoList list;
    const int64_t now = list.updateCurrentTime();
    // Zero intervals stay due after rescheduling; each still fires once.
    list.timerInsert(info(1, 0, now - 5, &p));
    list.timerInsert(info(2, 0, now - 9, &p));
    list.timerInsert(info(3, 1000, now - 1, &p));
    list.timerInsert(info(4, 1000, now + 100000, &p));
    EXPECT_EQ(list.activateTimers(), 3);
    EXPECT_EQ(p.timerIds, (std::vector<int>{2, 1, 3}));
    EXPECT_EQ(list.firstTimerInfo, nullptr);
    EXPECT_EQ(list.remainingTime(4) > 0, true);
    EXPECT_EQ(list.remainingTime(99), -1);
}

TEST(CZeTimerInfoList, HandlerMayUnregisterTimers)
{
    Probe p;
    CZeTimerInfoList list;
    const int64_t now = list.updateCurrentTime();
    list.timerInsert(info(1, 50, now - 1, &p));
    list.timerInsert(info(2, 50, now - 1, &p));
    Probe other;
    list.timerInsert(info(3, 50, now + 100000, &other));
    p.onTimer = [&](Probe* self, CZeTimerEvent* e) {
        if (e->timerId() == 1)
            list.unregisterTimers(self); // removes the one firing and the next
    };
    EXPECT_EQ(list.activateTimers(), 1);
    EXPECT_EQ(p.timerIds, std::vector<int>{1});
    EXPECT_EQ(order(list), std::vector<int>{3});
    EXPECT_TRUE(list.unregisterTimers(&p)); // nothing of p left, list not empty
    EXPECT_TRUE(list.unregisterTimers(&other));
    EXPECT_FALSE(list.unregisterTimers(&other));
}

TEST(CZeObjectTimers, FireInOrderInTheEventLoop)
{
    std::vector<int> started, fired;
    FunctionThread t([&](FunctionThread* self) {
        Probe p;
        started = {p.startTimer(600), p.startTimer(200), p.startTimer(400)};
        p.onTimer = [&](Probe* probe, CZeTimerEvent* e) {
            probe->killTimer(e->timerId());
            if (probe->timerIds.size() == 3)
                self->quit();
        };
        self->exec();
        fired = p.timerIds;
    });
    t.start();
    ASSERT_TRUE(t.wait(kGenerousMs));
    ASSERT_EQ(started.size(), 3u);
    EXPECT_EQ(fired, (std::vector<int>{started[1], started[2], started[0]}));
}

TEST(CZeObjectTimers, RepeatUntilKilledAndReleaseTheirIds)
{
    std::vector<int> fired;
    int id = 0, reused = 0;
    FunctionThread t([&](FunctionThread* self) {
        Probe p;
        id = p.startTimer(5);
        p.onTimer = [&](Probe* probe, CZeTimerEvent* e) {
            if (probe->timerIds.size() == 3) {
                probe->killTimer(e->timerId());
                self->quit();
            }
        };
        self->exec();
        fired = p.timerIds;
        reused = p.startTimer(5); // the released id is handed out again
        p.killTimer(reused);
    });
    t.start();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_GT(id, 0);
    EXPECT_EQ(fired, (std::vector<int>{id, id, id}));
    EXPECT_EQ(reused, id);
}

TEST(CZeObjectTimers, StartTimerRefusals)
{
    MessageCapture capture;
    const char kInterval[] = "CZeObject::startTimer: Timers cannot have negative or zero intervals";
    const char kAdopted[] =
        "CZeObject::startTimer: Timers can only be used with threads started with CZeThread";
    const char kOther[] = "CZeObject::startTimer: Timers cannot be started from another thread";

    Probe here; // lives in the adopted main thread
    EXPECT_EQ(here.startTimer(0), 0);
    EXPECT_EQ(here.startTimer(-5), 0);
    EXPECT_EQ(here.startTimer(10), 0);
    EXPECT_EQ(countMessages(capture, kInterval, kWarning), 2u);
    EXPECT_EQ(countMessages(capture, kAdopted, kWarning), 1u);

    Gate created, release;
    Probe* remote = nullptr;
    FunctionThread t([&](FunctionThread*) {
        Probe p;
        remote = &p;
        created.open();
        release.waitOpen();
    });
    t.start();
    ASSERT_TRUE(created.waitOpen());
    EXPECT_EQ(remote->startTimer(10), 0);
    release.open();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_EQ(countMessages(capture, kOther, kWarning), 1u);
}

TEST(CZeObjectTimers, KillTimerMessages)
{
    MessageCapture capture;
    Gate started, release;
    Probe* probe = nullptr;
    int id = 0;
    size_t afterOwnKills = 99;
    FunctionThread t([&](FunctionThread*) {
        Probe p;
        probe = &p;
        p.killTimer(0);   // silent
        p.killTimer(77);  // silent: the object never had a timer
        id = p.startTimer(1000);
        p.killTimer(0);   // still silent
        p.killTimer(id + 1000);
        p.killTimer(id);  // its own timer: silent
        afterOwnKills = p.runningTimers().size();
        p.killTimer(id);  // gone now
        p.startTimer(1000);
        started.open();
        release.waitOpen();
    });
    t.start();
    ASSERT_TRUE(started.waitOpen());
    probe->killTimer(id); // from the wrong thread
    release.open();
    ASSERT_TRUE(t.wait(kGenerousMs));

    char unknown[200], killed[200];
    std::snprintf(unknown, sizeof unknown,
                  "CZeObject::killTimer(): Error: timer id %d is not valid for object %p (), "
                  "timer has not been killed",
                  id + 1000, static_cast<void*>(probe));
    std::snprintf(killed, sizeof killed,
                  "CZeObject::killTimer(): Error: timer id %d is not valid for object %p (), "
                  "timer has not been killed",
                  id, static_cast<void*>(probe));
    EXPECT_EQ(afterOwnKills, 0u);
    EXPECT_EQ(countMessages(capture, unknown, kWarning), 1u);
    EXPECT_EQ(countMessages(capture, killed, kWarning), 1u);
    EXPECT_EQ(countMessages(capture,
                            "CZeObject::killTimer: Timers cannot be stopped from another thread",
                            kWarning),
              1u);
    EXPECT_EQ(capture.count(), 3u);
}

TEST(CZeObjectTimers, DestroyedFromAnotherThreadKeepsTimersRegistered)
{
    MessageCapture capture;
    Gate created, release;
    Probe* p = nullptr;
    size_t registered = 0;
    FunctionThread t([&](FunctionThread* self) {
        p = new Probe;
        p->startTimer(1000);
        created.open();
        release.waitOpen();
        registered = self->data()->timerList->timers.size();
    });
    t.start();
    ASSERT_TRUE(created.waitOpen());
    delete p;
    release.open();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_EQ(registered, 1u);
    EXPECT_EQ(countMessages(capture,
                            "CZeObject::~CZeObject: Timers cannot be stopped from another thread",
                            kWarning),
              1u);
}

} // namespace
