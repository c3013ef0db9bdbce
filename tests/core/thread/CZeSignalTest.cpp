// CZeSignal (manual and automatic reset, polling, unlimited and timed waits,
// one and several waiters), CZeSignallingEvent and CZeElapsedTimer.
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "CZeElapsedTimer.h"
#include "CZeSignal.h"
#include "ThreadTestHelpers.h"

namespace {

// Counts waiters that got through, and lets the test wait for a count.
class PassCounter {
public:
    void pass()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_passed;
        m_cond.notify_all();
    }
    bool waitFor(int count)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cond.wait_for(
            lock, std::chrono::milliseconds(kGenerousMs), [&] { return m_passed >= count; });
    }
    int passed()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_passed;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    int m_passed = 0;
};

std::vector<std::unique_ptr<FunctionThread>> waiters(int n, CZeSignal& signal,
    unsigned long timeout, PassCounter& counter, std::atomic<int>& refused)
{
    std::vector<std::unique_ptr<FunctionThread>> threads;
    for (int i = 0; i < n; ++i) {
        threads.emplace_back(
            new FunctionThread([&signal, timeout, &counter, &refused](FunctionThread*) {
                if (signal.wait(timeout))
                    counter.pass();
                else
                    ++refused;
            }));
        threads.back()->start();
    }
    return threads;
}

TEST(CZeSignal, ManualResetReleasesEveryWaiter)
{
    for (unsigned long timeout : { CZeSignal::Infinite, static_cast<unsigned long>(kGenerousMs) }) {
        CZeSignal signal(true, false);
        PassCounter counter;
        std::atomic<int> refused { 0 };
        auto threads = waiters(5, signal, timeout, counter, refused);
        signal.set();
        EXPECT_TRUE(counter.waitFor(5));
        for (auto& t : threads)
            ASSERT_TRUE(t->wait(kGenerousMs));
        EXPECT_EQ(refused.load(), 0);
        EXPECT_TRUE(signal.wait(0)); // still set
    }
}

TEST(CZeSignal, AutomaticResetReleasesOneWaiterPerSet)
{
    CZeSignal signal(false, false);
    PassCounter counter;
    std::atomic<int> refused { 0 };
    constexpr int kWaiters = 4;
    auto threads = waiters(kWaiters, signal, CZeSignal::Infinite, counter, refused);
    for (int k = 1; k <= kWaiters; ++k) {
        signal.set();
        ASSERT_TRUE(counter.waitFor(k)) << k;
        EXPECT_EQ(counter.passed(), k); // one set, one waiter
    }
    for (auto& t : threads)
        ASSERT_TRUE(t->wait(kGenerousMs));
    EXPECT_EQ(counter.passed(), kWaiters);
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

TEST(CZeSignallingEvent, PosterWaitsForDelivery)
{
    std::atomic<Probe*> receiver { nullptr };
    std::atomic<bool> deliveredInWorker { true };
    Gate ready;
    FunctionThread worker([&](FunctionThread* self) {
        Probe* probe = new Probe;
        probe->onCustom = [&, self](Probe*, CZeEvent*) {
            if (CZeThread::currentThread() != self)
                deliveredInWorker = false;
        };
        receiver = probe;
        ready.open();
        self->exec();
        delete probe;
    });
    worker.start();
    ASSERT_TRUE(ready.waitOpen());

    constexpr int kEvents = 3;
    std::vector<std::unique_ptr<CZeSignal>> signals;
    for (int i = 0; i < kEvents; ++i) {
        signals.emplace_back(new CZeSignal(true, false));
        CZeObject::postEvent(
            receiver.load(), new CZeSignallingEvent(CZeEvent::User + i, signals.back().get()));
    }
    for (int i = 0; i < kEvents; ++i)
        EXPECT_TRUE(signals[size_t(i)]->wait(static_cast<unsigned long>(kGenerousMs))) << i;
    worker.quit();
    ASSERT_TRUE(worker.wait(kGenerousMs));
    EXPECT_TRUE(deliveredInWorker.load());
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
