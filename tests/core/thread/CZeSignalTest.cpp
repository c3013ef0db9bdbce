// CZeSignal (manual and automatic reset, polling, unlimited and timed waits,
// one and several waiters), CZeSignallingEvent and CZeElapsedTimer.
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <memory>

#include "CZeElapsedTimer.h"
#include "CZeSignal.h"
#include "ThreadTestHelpers.h"

namespace {

// Starts n threads that each wait once on the signal and count the outcome.
std::vector<std::unique_ptr<FunctionThread>> waiters(int n, CZeSignal& signal,
    unsigned long timeout, std::atomic<int>& passed, std::atomic<int>& refused)
{
    std::vector<std::unique_ptr<FunctionThread>> threads;
    for (int i = 0; i < n; ++i) {
        threads.emplace_back(new FunctionThread(
            [&, timeout](FunctionThread*) { ++(signal.wait(timeout) ? passed : refused); }));
        threads.back()->start();
    }
    return threads;
}

TEST(CZeSignal, ManualResetReleasesEveryWaiter)
{
    for (unsigned long timeout : { CZeSignal::Infinite, static_cast<unsigned long>(kGenerousMs) }) {
        SCOPED_TRACE(timeout);
        CZeSignal signal(true, false);
        std::atomic<int> passed { 0 }, refused { 0 };
        auto threads = waiters(5, signal, timeout, passed, refused);
        signal.set();
        for (auto& t : threads)
            ASSERT_TRUE(t->wait(kGenerousMs));
        EXPECT_EQ(passed.load(), 5);
        EXPECT_EQ(refused.load(), 0);
        EXPECT_TRUE(signal.wait(0)); // still set
    }
}

TEST(CZeSignal, AutomaticResetReleasesOneWaiterPerSet)
{
    CZeSignal signal(false, false);
    std::atomic<int> passed { 0 }, refused { 0 };
    constexpr int kWaiters = 4;
    auto threads = waiters(kWaiters, signal, CZeSignal::Infinite, passed, refused);
    for (int k = 1; k <= kWaiters; ++k) {
        signal.set();
        ASSERT_TRUE(waitUntil([&] { return passed.load() >= k; })) << k;
        EXPECT_EQ(passed.load(), k); // one set, one waiter
    }
    for (auto& t : threads)
        ASSERT_TRUE(t->wait(kGenerousMs));
    EXPECT_EQ(passed.load(), kWaiters);
    EXPECT_FALSE(signal.wait(0));
}

TEST(CZeSignallingEvent, SetsItsSignalWhenDestroyed)
{
    CZeSignal signal(false, false);
    {
        CZeSignallingEvent event(CZeEvent::User + 7, &signal);
        EXPECT_EQ(event.type(), CZeEvent::User + 7);
        EXPECT_FALSE(signal.wait(0));
    }
    EXPECT_TRUE(signal.wait(0));

    // Set early, then forgotten: the destructor does not set it again, and the
    // signal may even be gone by then.
    auto early = std::make_unique<CZeSignal>(false, false);
    auto event = std::make_unique<CZeSignallingEvent>(CZeEvent::User, early.get());
    event->signalNow();
    EXPECT_TRUE(early->wait(0));
    event->signalNow(); // nothing left to set
    EXPECT_FALSE(early->wait(0));
    early.reset();
    event.reset();

    CZeSignallingEvent withoutSignal(CZeEvent::User, nullptr);
    withoutSignal.signalNow();
}

// Events posted from this thread to a thread in its event loop: each poster
// learns of the delivery, and quit() from here ends the loop.
TEST(CZeSignallingEvent, PosterWaitsForDelivery)
{
    std::atomic<Probe*> receiver { nullptr };
    std::atomic<bool> deliveredInWorker { true };
    int result = -5;
    Gate ready;
    FunctionThread worker([&](FunctionThread* self) {
        Probe* probe = new Probe;
        probe->onCustom = [&, self](Probe*, CZeEvent*) {
            if (CZeThread::currentThread() != self)
                deliveredInWorker = false;
        };
        receiver = probe;
        ready.open();
        result = self->exec();
        delete probe;
    });
    worker.start();
    ASSERT_TRUE(ready.waitOpen());

    std::vector<std::unique_ptr<CZeSignal>> signals;
    for (int i = 0; i < 3; ++i) {
        signals.emplace_back(new CZeSignal(true, false));
        CZeObject::postEvent(
            receiver.load(), new CZeSignallingEvent(CZeEvent::User + i, signals.back().get()));
    }
    for (auto& signal : signals)
        EXPECT_TRUE(signal->wait(static_cast<unsigned long>(kGenerousMs)));
    worker.quit();
    ASSERT_TRUE(worker.wait(kGenerousMs));
    EXPECT_TRUE(deliveredInWorker.load());
    EXPECT_EQ(result, 0);
}

TEST(CZeElapsedTimer, MeasuresOnTheMonotonicClock)
{
    CZeElapsedTimer timer;
    EXPECT_FALSE(timer.isValid());
    timer.start();
    CZeThread::msleep(20); // sleeps at least this long
    EXPECT_GE(timer.nsecsElapsed(), 20000000);
    EXPECT_TRUE(timer.hasExpired(10) && !timer.hasExpired(LLONG_MAX));
    CZeElapsedTimer later;
    later.start();
    // Differences are truncated toward zero, so both directions agree.
    EXPECT_EQ(later.msecsTo(timer), -timer.msecsTo(later));
    EXPECT_EQ(later.secsTo(timer), -timer.secsTo(later));
    EXPECT_LE(timer.msecsSinceReference(), later.msecsSinceReference());
    EXPECT_GE(timer.restart(), 20);
}

} // namespace
