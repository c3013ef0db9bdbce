// CZeThread: start, wait, exit and exec, names, priorities, stack sizes,
// adopted threads and the main thread.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <thread>

#include "CZeString.h"
#include "CZeThread.h"
#include "CZeThreadStorage.h"
#include "ThreadTestHelpers.h"

namespace {

TEST(CZeThreadWait, RunningThreadRefusesZeroAndNegativeTimes)
{
    Gate release;
    FunctionThread t([&](FunctionThread*) { release.waitOpen(); });
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
}

TEST(CZeThreadWait, WaitingOnItselfIsRefused)
{
    MessageCapture capture;
    bool result = true;
    FunctionThread t([&](FunctionThread* self) { result = self->wait(-1); });
    t.start();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_FALSE(result);
    EXPECT_EQ(countMessages(capture, "CZeThread::wait: Thread tried to wait on itself", kWarning),
              1u);
}

TEST(CZeThreadStart, FinishedThreadStartsAgain)
{
    std::atomic<int> runs{0};
    FunctionThread t([&](FunctionThread*) { ++runs; });
    t.start();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_TRUE(t.isFinished());
    t.start();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_EQ(runs.load(), 2);
    EXPECT_TRUE(t.isFinished());
    EXPECT_EQ(t.priority(), CZeThread::InheritPriority); // reset by the finish steps
}

TEST(CZeThreadStart, StackSize)
{
    MessageCapture capture;
    std::atomic<int> runs{0};
    FunctionThread t([&](FunctionThread*) { ++runs; });

    t.setStackSize(1); // below the system minimum
    t.start();
    EXPECT_FALSE(t.isRunning());
    EXPECT_TRUE(t.wait(0));
    EXPECT_EQ(runs.load(), 0);
    EXPECT_EQ(countMessages(capture, "CZeThread::start: Thread stack size error: Invalid argument",
                            kWarning),
              1u);

    capture.clear();
    t.setStackSize(512 * 1024);
    EXPECT_EQ(t.stackSize(), 512u * 1024);
    t.start();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_EQ(runs.load(), 1);
    EXPECT_EQ(capture.count(), 0u);

    Gate release;
    FunctionThread u([&](FunctionThread*) { release.waitOpen(); });
    u.start();
    u.setStackSize(256 * 1024);
    EXPECT_EQ(countMessages(capture,
                            "CZeThread: cannot change stack size while the thread is running!",
                            kError),
              1u);
    EXPECT_EQ(u.stackSize(), 256u * 1024); // stored all the same
    EXPECT_EQ(CZeThread::currentThreadId(), pthread_self());
    CZeThread::sleep(0); // zero and negative counts return at once
    CZeThread::msleep(-1);
    CZeThread::usleep(1);
    release.open();
    ASSERT_TRUE(u.wait(kGenerousMs));
}

TEST(CZeThreadExec, QuitFromAnotherThreadEndsTheLoop)
{
    Gate inLoop;
    int result = -5;
    FunctionThread t([&](FunctionThread* self) {
        Probe probe;
        probe.onCustom = [&](Probe*, CZeEvent*) { inLoop.open(); };
        CZeObject::postEvent(&probe, new CZeEvent(CZeEvent::User));
        result = self->exec();
    });
    t.start();
    ASSERT_TRUE(inLoop.waitOpen());
    t.quit();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_EQ(result, 0);
}

TEST(CZeThreadExec, SecondExecOnOneThreadIsRefused)
{
    MessageCapture capture;
    int nested = 0;
    CZeThreadData* data = nullptr;
    FunctionThread t([&](FunctionThread* self) {
        data = self->data();
        Probe probe;
        probe.onCustom = [&](Probe*, CZeEvent*) {
            nested = self->exec();
            self->quit();
        };
        CZeObject::postEvent(&probe, new CZeEvent(CZeEvent::User));
        self->exec();
    });
    t.start();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_EQ(nested, -1);
    char expected[128];
    std::snprintf(expected, sizeof expected,
                  "CZeThreadData::exec: instance %p has already called exec()",
                  static_cast<void*>(data));
    EXPECT_EQ(countMessages(capture, expected, kWarning), 1u);
}

TEST(CZeThreadAdoption, ForeignThreadGetsAdoptedThread)
{
    MessageCapture capture;
    CZeThread* adopted = nullptr;
    bool runningInside = false, sameTwice = false, selfIsThread = false;
    bool refusedTimer = true;
    std::thread foreign([&] {
        EXPECT_EQ(CZeThreadData::current(false), nullptr);
        adopted = CZeThread::currentThread();
        sameTwice = CZeThread::currentThread() == adopted;
        runningInside = adopted && adopted->isRunning();
        selfIsThread = adopted && adopted->thread() == adopted;
        Probe p;
        refusedTimer = p.startTimer(10) == 0;
        // Its run() is never meant to be called.
        static_cast<CZeAdoptedThread*>(adopted)->run();
        // Starting an adopted thread does nothing: it is running already.
        adopted->start();
    });
    foreign.join();
    EXPECT_NE(adopted, nullptr);
    EXPECT_NE(adopted, CZeThreadData::mainThread());
    EXPECT_TRUE(sameTwice);
    EXPECT_TRUE(runningInside);
    EXPECT_TRUE(selfIsThread);
    EXPECT_TRUE(refusedTimer);
    EXPECT_EQ(countMessages(capture,
                            "CZeObject::startTimer: Timers can only be used with threads "
                            "started with CZeThread",
                            kWarning),
              1u);
    EXPECT_EQ(countMessages(capture,
                            "CZeAdoptedThread::run(): Internal error, this implementation should "
                            "never be called.",
                            kError),
              1u);
}

} // namespace
