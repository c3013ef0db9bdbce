// Timers: ids, the per-thread timer list, and object timers in event loops.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

#include "ThreadTestHelpers.h"
#include "core/thread/CZeTimerIdAllocator.h"
#include "core/thread/CZeTimerInfoList.h"

namespace {

TEST(CZeTimerIdAllocator, ConcurrentUseNeverHandsOutAnIdTwice)
{
    CZeTimerIdAllocator a;
    constexpr int kThreads = 4, kRounds = 20000, kHeld = 8;
    std::vector<std::atomic<bool>> inUse(4096);
    std::atomic<int> duplicates { 0 }, outOfRange { 0 };
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
                if (slot <= 0 || slot >= int(inUse.size())) {
                    ++outOfRange;
                    slot = 0;
                } else if (inUse[slot].exchange(true)) {
                    ++duplicates;
                }
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
    return new CZeTimerInfo { id, interval, timeout, object, nullptr };
}

TEST(CZeTimerInfoList, DueTimersFireOncePerPassInOrderAndHandlersMayUnregister)
{
    Probe p, other;
    CZeTimerInfoList list;
    int64_t now = list.updateCurrentTime();
    // Zero intervals stay due after rescheduling; each still fires once.
    list.timerInsert(info(1, 0, now - 5, &p));
    list.timerInsert(info(2, 0, now - 9, &p));
    list.timerInsert(info(3, 1000, now - 1, &p));
    list.timerInsert(info(4, 1000, now + 100000, &other));
    EXPECT_EQ(list.activateTimers(), 3);
    EXPECT_EQ(p.timerIds, (std::vector<int> { 2, 1, 3 }));
    EXPECT_EQ(list.firstTimerInfo, nullptr);
    EXPECT_GT(list.remainingTime(4), 0);
    EXPECT_EQ(list.remainingTime(99), -1);

    // A handler removes the timer firing and the next one due.
    EXPECT_TRUE(list.unregisterTimers(&p));
    p.timerIds.clear();
    now = list.updateCurrentTime();
    list.timerInsert(info(5, 50, now - 1, &p));
    list.timerInsert(info(6, 50, now - 1, &p));
    p.onTimer = [&](Probe* self, CZeTimerEvent*) { list.unregisterTimers(self); };
    EXPECT_EQ(list.activateTimers(), 1);
    EXPECT_EQ(p.timerIds, std::vector<int> { 5 });
    ASSERT_EQ(list.timers.size(), 1u);
    EXPECT_EQ(list.timers.front()->id, 4);
    EXPECT_TRUE(list.unregisterTimers(&p)); // nothing of p left, the list not empty
    EXPECT_TRUE(list.unregisterTimers(&other));
    EXPECT_FALSE(list.unregisterTimers(&other));
}

// Three one-shot timers fire by due time, whatever order they were started
// in; a fourth repeats until it is killed. Killed timers give their ids back.
TEST(CZeObjectTimers, FireInDueOrderAndRepeatUntilKilled)
{
    std::vector<int> started, fired;
    int repeating = 0, reused = 0;
    ASSERT_TRUE(runThread([&](FunctionThread* self) {
        Probe p;
        started = { p.startTimer(600), p.startTimer(200), p.startTimer(400) };
        repeating = p.startTimer(5);
        int repeats = 0;
        p.onTimer = [&](Probe* probe, CZeTimerEvent* e) {
            if (e->timerId() != repeating || ++repeats == 3)
                probe->killTimer(e->timerId());
            if (probe->runningTimers().empty())
                self->quit();
        };
        self->exec();
        fired = p.timerIds;
        reused = p.startTimer(5);
        p.killTimer(reused);
    }));
    ASSERT_EQ(started.size(), 3u);
    EXPECT_EQ(std::count(fired.begin(), fired.end(), repeating), 3);
    fired.erase(std::remove(fired.begin(), fired.end(), repeating), fired.end());
    EXPECT_EQ(fired, (std::vector<int> { started[1], started[2], started[0] }));
    started.push_back(repeating);
    EXPECT_NE(std::find(started.begin(), started.end(), reused), started.end()) << reused;
}

// Refused starts and kills. Timers belong to their object's thread: another
// thread can neither start nor stop them, and destroying the object there
// leaves them registered.
TEST(CZeObjectTimers, RefusedStartsAndKills)
{
    MessageCapture capture;
    Probe here; // lives in the adopted main thread
    EXPECT_EQ(here.startTimer(0), 0);
    EXPECT_EQ(here.startTimer(-5), 0);
    EXPECT_EQ(here.startTimer(10), 0);
    const void* own = nullptr;
    int id = 0;
    size_t afterOwnKills = 99, leftRegistered = 99;
    ASSERT_TRUE(runThread([&](FunctionThread* self) {
        {
            Probe p;
            own = &p;
            p.killTimer(0); // silent
            p.killTimer(77); // silent: the object never had a timer
            id = p.startTimer(1000);
            p.killTimer(0); // still silent
            p.killTimer(id + 1000);
            p.killTimer(id); // its own timer: silent
            afterOwnKills = p.runningTimers().size();
            p.killTimer(id); // gone now
            p.startTimer(1000); // left running: the object's end unregisters it
        }
        leftRegistered = self->data()->timerList->timers.size();
    }));
    EXPECT_EQ(afterOwnKills, 0u);
    EXPECT_EQ(leftRegistered, 0u);

    Gate created, release;
    Probe* probe = nullptr;
    int remoteId = 0;
    FunctionThread t([&](FunctionThread* self) {
        probe = new Probe;
        remoteId = probe->startTimer(1000);
        created.open();
        release.waitOpen();
        leftRegistered = self->data()->timerList->timers.size();
    });
    t.start();
    ASSERT_TRUE(created.waitOpen());
    EXPECT_EQ(probe->startTimer(10), 0);
    probe->killTimer(remoteId);
    EXPECT_EQ(probe->runningTimers(), std::vector<int32_t> { remoteId });
    delete probe;
    release.open();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_EQ(leftRegistered, 1u);

    const char* const interval
        = "W CZeObject::startTimer: Timers cannot have negative or zero intervals";
    const char* const invalid = "W CZeObject::killTimer(): Error: timer id %d is not valid for "
                                "object %p (), timer has not been killed";
    const char* const stopped = "Timers cannot be stopped from another thread";
    EXPECT_EQ(logged(capture),
        (Lines { interval, interval,
            "W CZeObject::startTimer: Timers can only be used with threads started with CZeThread",
            format(invalid, id + 1000, own), format(invalid, id, own),
            "W CZeObject::startTimer: Timers cannot be started from another thread",
            std::string("W CZeObject::killTimer: ") + stopped,
            std::string("W CZeObject::~CZeObject: ") + stopped }));
}

} // namespace
