/*
 * Helpers for the thread, object and storage tests.
 *
 *   ASSERT_TRUE(runThread([&](FunctionThread* self) { ...; self->exec(); }));
 *   Gate gate;  // gate.open() on one thread, ASSERT_TRUE(gate.waitOpen()) on another
 *   EXPECT_EQ(logged(capture), Lines{"W CZeThread::wait: Thread tried to wait on itself"});
 */
#ifndef TESTS_CORE_THREAD_THREADTESTHELPERS_H
#define TESTS_CORE_THREAD_THREADTESTHELPERS_H

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "CZeObject.h"
#include "CZeThread.h"
#include "core/thread/CZeThreadData.h"
#include "core/thread/CZeTimerInfoList.h"
#include "support/MessageCapture.h"

// Limits that only stop a broken test from hanging; they never decide a pass.
constexpr long kGenerousMs = 60000;

class FunctionThread : public CZeThread {
public:
    using Body = std::function<void(FunctionThread*)>;
    explicit FunctionThread(Body body)
        : m_body(std::move(body))
    {
    }
    ~FunctionThread() override { wait(kGenerousMs); }
    CZeThreadData* data() const { return CZeThreadPrivate::get(this)->data; }

protected:
    void run() override { m_body(this); }

private:
    Body m_body;
};

// Runs the body on a thread of its own; true once that thread has finished.
inline bool runThread(FunctionThread::Body body)
{
    FunctionThread t(std::move(body));
    t.start();
    return t.wait(kGenerousMs);
}

// Polls the condition; false if it still fails after the generous limit.
template <class Condition> bool waitUntil(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kGenerousMs);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// A one-shot signal between threads.
struct Gate {
    std::atomic<bool> isOpen { false };
    void open() { isOpen = true; }
    bool waitOpen()
    {
        return waitUntil([this] { return isOpen.load(); });
    }
};

// An object that hands its events to functions (all optional).
class Probe : public CZeObject {
public:
    std::function<void(Probe*, CZeEvent*)> onCustom;
    std::function<void(Probe*, CZeTimerEvent*)> onTimer;
    std::function<void()> onDestroyed;
    std::vector<int> customTypes;
    std::vector<int> timerIds;

    ~Probe() override
    {
        if (onDestroyed)
            onDestroyed();
    }
    CZeObjectPrivate* d() const { return CZeObjectPrivate::get(this); }
    std::vector<int32_t> runningTimers() const
    {
        std::vector<int32_t> ids;
        if (d()->extraData)
            for (const CZeRunningTimer& t : d()->extraData->runningTimers)
                ids.push_back(t.id);
        return ids;
    }

protected:
    void customEvent(CZeEvent* e) override
    {
        customTypes.push_back(e->type());
        if (onCustom)
            onCustom(this, e);
    }
    void timerEvent(CZeTimerEvent* e) override
    {
        timerIds.push_back(e->timerId());
        if (onTimer)
            onTimer(this, e);
    }
};

// An event that counts its destruction.
class CountedEvent : public CZeEvent {
public:
    CountedEvent(int* destroyed, int type)
        : CZeEvent(type)
        , m_destroyed(destroyed)
    {
    }
    ~CountedEvent() override { ++*m_destroyed; }

private:
    int* m_destroyed;
};

using Lines = std::vector<std::string>;

// The captured messages in order as "W text" (warning) or "E text" (error),
// without the "file(line), function: " prefix of positioned messages.
inline Lines logged(const MessageCapture& capture)
{
    Lines lines;
    for (const CapturedMessage& m : capture.messages()) {
        const size_t position = m.text.find("), ");
        const size_t start = position == std::string::npos ? 0 : m.text.find(": ", position) + 2;
        const char* kind = m.priority == 5 ? "W " : m.priority == 6 ? "E " : "? ";
        lines.push_back(kind + m.text.substr(start));
    }
    return lines;
}

// printf into a string, for messages that carry addresses or numbers.
template <class... Args> std::string format(const char* pattern, Args... args)
{
    char text[512];
    std::snprintf(text, sizeof text, pattern, args...);
    return text;
}

#endif // TESTS_CORE_THREAD_THREADTESTHELPERS_H
