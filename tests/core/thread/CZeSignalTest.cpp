// CZeSignal, CZeSignallingEvent and CZeElapsedTimer.
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <memory>

#include "CZeElapsedTimer.h"
#include "CZeSignal.h"
#include "ThreadTestHelpers.h"

namespace {

// A manual-reset signal lets every waiter through and stays set; an
// automatic one lets one waiter through per set() and is clear afterwards.
TEST(CZeSignal, ManualResetReleasesEveryWaiterAutomaticOnePerSet)
{
    const struct {
        const char* name;
        bool manual;
        unsigned long timeout;
    } rows[] = { { "manual", true, CZeSignal::Infinite },
        { "manual, timed", true, static_cast<unsigned long>(kGenerousMs) },
        { "automatic", false, CZeSignal::Infinite } };
    constexpr int kWaiters = 4;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CZeSignal signal(row.manual, false);
        std::atomic<int> passed { 0 }, refused { 0 };
        std::vector<std::unique_ptr<FunctionThread>> threads;
        for (int i = 0; i < kWaiters; ++i) {
            threads.emplace_back(new FunctionThread(
                [&](FunctionThread*) { ++(signal.wait(row.timeout) ? passed : refused); }));
            threads.back()->start();
        }
        // Lets the waiters block first, so a set() that wakes too few shows.
        CZeThread::msleep(50);
        for (int k = 1; k <= (row.manual ? 1 : kWaiters); ++k) {
            signal.set();
            const int through = row.manual ? kWaiters : k;
            ASSERT_TRUE(waitUntil([&] { return passed.load() >= through; })) << k;
            EXPECT_EQ(passed.load(), through);
        }
        for (auto& t : threads)
            ASSERT_TRUE(t->wait(kGenerousMs));
        EXPECT_EQ(refused.load(), 0);
        EXPECT_EQ(signal.wait(0), row.manual);
    }
}

TEST(CZeSignallingEvent, SetsItsSignalWhenDeliveredAndDestroyed)
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

    // Events posted from here to a thread in its event loop: each poster
    // learns of the delivery, and quit() from here ends the loop.
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
