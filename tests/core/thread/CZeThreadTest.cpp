// CZeThread: start, wait, exec, stack sizes, adopted threads.
#include <gtest/gtest.h>

#include <atomic>

#include "ThreadTestHelpers.h"

namespace {

// A thread can neither wait on itself nor run a second event loop inside its
// first; others wait for it with a limit of at least 1 ms, or none (-1).
TEST(CZeThread, WaitAndExecRefusals)
{
    MessageCapture capture;
    Gate release;
    bool selfWait = true;
    int nested = 0;
    CZeThreadData* data = nullptr;
    FunctionThread t([&](FunctionThread* self) {
        selfWait = self->wait(-1);
        data = self->data();
        Probe probe;
        probe.onCustom = [&](Probe*, CZeEvent*) {
            nested = self->exec();
            self->quit();
        };
        CZeObject::postEvent(&probe, new CZeEvent(CZeEvent::User));
        self->exec();
        release.waitOpen();
    });
    t.start();
    EXPECT_TRUE(t.isRunning());
    EXPECT_FALSE(t.isFinished());
    EXPECT_FALSE(t.wait(0));
    EXPECT_FALSE(t.wait(-2));
    EXPECT_FALSE(t.wait(1)); // cannot end while the gate is closed
    release.open();
    EXPECT_TRUE(t.wait(kGenerousMs));
    EXPECT_FALSE(t.isRunning());
    EXPECT_TRUE(t.isFinished());
    EXPECT_TRUE(t.wait(0)); // finished: no waiting needed
    EXPECT_FALSE(selfWait);
    EXPECT_EQ(nested, -1);
    EXPECT_EQ(logged(capture),
        (Lines { "W CZeThread::wait: Thread tried to wait on itself",
            format("W CZeThreadData::exec: instance %p has already called exec()", (void*)data) }));
}

TEST(CZeThread, StackSizesAndRestarts)
{
    MessageCapture capture;
    std::atomic<int> runs { 0 };
    FunctionThread t([&](FunctionThread*) { ++runs; });
    t.setStackSize(1); // below the system minimum: nothing starts
    t.start();
    EXPECT_FALSE(t.isRunning());
    EXPECT_TRUE(t.wait(0));
    EXPECT_EQ(runs.load(), 0);
    EXPECT_EQ(
        logged(capture), Lines { "W CZeThread::start: Thread stack size error: Invalid argument" });

    capture.clear();
    t.setStackSize(512 * 1024);
    EXPECT_EQ(t.stackSize(), 512u * 1024);
    for (int run = 1; run <= 2; ++run) { // a finished thread starts again
        t.start(CZeThread::LowPriority);
        ASSERT_TRUE(t.wait(kGenerousMs));
        EXPECT_TRUE(t.isFinished());
        EXPECT_EQ(runs.load(), run);
        EXPECT_EQ(t.priority(), CZeThread::InheritPriority); // reset by the finish steps
    }

    Gate release;
    FunctionThread u([&](FunctionThread*) { release.waitOpen(); });
    u.start();
    u.setStackSize(256 * 1024);
    EXPECT_EQ(u.stackSize(), 256u * 1024); // stored all the same
    EXPECT_EQ(logged(capture),
        Lines { "E CZeThread: cannot change stack size while the thread is running!" });
    EXPECT_EQ(CZeThread::currentThreadId(), pthread_self());
    CZeThread::sleep(0); // zero and negative counts return at once
    CZeThread::msleep(-1);
    CZeThread::usleep(1);
    release.open();
    ASSERT_TRUE(u.wait(kGenerousMs));
}

TEST(CZeThread, AForeignThreadIsAdopted)
{
    MessageCapture capture;
    CZeThread* adopted = nullptr;
    bool runningInside = false, sameTwice = false, selfIsThread = false;
    std::thread foreign([&] {
        EXPECT_EQ(CZeThreadData::current(false), nullptr);
        adopted = CZeThread::currentThread();
        sameTwice = CZeThread::currentThread() == adopted;
        runningInside = adopted && adopted->isRunning();
        selfIsThread = adopted && adopted->thread() == adopted;
        // Its run() is never meant to be called.
        static_cast<CZeAdoptedThread*>(adopted)->run();
        adopted->start(); // does nothing: it is running already
    });
    foreign.join();
    EXPECT_NE(adopted, nullptr);
    EXPECT_NE(adopted, CZeThreadData::mainThread());
    EXPECT_TRUE(sameTwice && runningInside && selfIsThread);
    EXPECT_EQ(logged(capture),
        Lines { "E CZeAdoptedThread::run(): Internal error, this implementation should never be "
                "called." });
}

} // namespace
