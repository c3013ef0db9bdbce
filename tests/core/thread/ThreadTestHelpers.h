/*
 * Helpers for the thread, object and storage tests.
 *
 *   FunctionThread t([](FunctionThread* self) { ...; self->exec(); });
 *   t.start();
 *   ASSERT_TRUE(t.wait(kGenerousMs));
 *
 *   Gate gate;            // one-shot signal between threads
 *   gate.open();          // on one thread
 *   ASSERT_TRUE(gate.waitOpen());  // on another, bounded by kGenerousMs
 */
#ifndef TESTS_CORE_THREAD_THREADTESTHELPERS_H
#define TESTS_CORE_THREAD_THREADTESTHELPERS_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
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
    explicit FunctionThread(std::function<void(FunctionThread*)> body) : m_body(std::move(body)) {}
    ~FunctionThread() override { wait(kGenerousMs); }

    CZeThreadPrivate* d() const { return CZeThreadPrivate::get(this); }
    CZeThreadData* data() const { return d()->data; }
    int returnCode() const
    {
        std::lock_guard<std::mutex> lock(d()->mutex);
        return d()->returnCode;
    }

protected:
    void run() override { m_body(this); }

private:
    std::function<void(FunctionThread*)> m_body;
};

class Gate {
public:
    void open()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_cond.notify_all();
    }
    bool waitOpen()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cond.wait_for(lock, std::chrono::milliseconds(kGenerousMs), [this] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    bool m_open = false;
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
template <class Base = CZeEvent>
class CountedEvent : public Base {
public:
    template <class... Args>
    explicit CountedEvent(int* destroyed, Args&&... args)
        : Base(std::forward<Args>(args)...), m_destroyed(destroyed)
    {
    }
    ~CountedEvent() override { ++*m_destroyed; }

private:
    int* m_destroyed;
};

// Messages whose text ends with `text` (the text follows the
// "file(line), function: " prefix), at the given Android priority.
inline size_t countMessages(const MessageCapture& capture, const std::string& text, int priority)
{
    size_t n = 0;
    for (const CapturedMessage& m : capture.messages())
        if (m.priority == priority && m.text.size() >= text.size()
            && m.text.compare(m.text.size() - text.size(), text.size(), text) == 0)
            ++n;
    return n;
}

constexpr int kWarning = 5;
constexpr int kError = 6;

#endif // TESTS_CORE_THREAD_THREADTESTHELPERS_H
