/*
 * Per-thread record of the object system, the private part of CZeThread and
 * the substitute thread object of threads not started by CZeThread.
 *
 *   CZeThreadData* data = CZeThreadData::current();  // adopts the thread if needed
 *
 * Reference counts: a CZeThread's private part holds one reference to its
 * thread's data, every object living in the thread one more, and the running
 * system thread one from its start (or adoption) until it exits. The data is
 * deleted when the last reference goes.
 */
#ifndef CZETHREADDATA_H
#define CZETHREADDATA_H

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

#include "CZeThread.h"
#include "core/thread/CZeObjectPrivate.h"

class CZeTimerInfoList;

// The element types of the private containers are the library's own (and so
// hidden) types: the containers' template code then stays out of the shared
// library's exports.
struct CZeStorageSlot {
    void* value;
};

struct CZePostEvent {
    CZeObject* receiver;
    CZeEvent* event; // null: removed entry, skipped and compacted later
};

class CZeThreadData {
public:
    explicit CZeThreadData(uint32_t initialRef = 1);
    ~CZeThreadData();

    // The calling thread's data; created with a CZeAdoptedThread when the
    // thread has none and create is set. Null once process exit has deleted
    // the thread key.
    static CZeThreadData* current(bool create = true);
    // Installs data as the calling thread's (thread entry).
    static void setCurrent(CZeThreadData* data);
    // The thread adopted when the library was loaded; null before that and
    // after process exit released it.
    static CZeThread* mainThread();

    void ref() { refCount.fetch_add(1, std::memory_order_relaxed); }
    void deref();

    int exec();
    void wakeUp();

    std::atomic<uint32_t> refCount;
    int32_t loopLevel = 0;
    std::deque<CZePostEvent> postedEvents;
    uint32_t recursion = 0;
    std::mutex mutex;               // the queue's: postedEvents, recursion, counters
    std::atomic<CZeThread*> thread{nullptr};
    pthread_t threadId{};
    std::vector<CZeStorageSlot> tls;
    uint8_t isAdopted = 0;
    CZeTimerInfoList* timerList;
    uint8_t inExec = 0;
    uint8_t wakeUpPending = 0;
    std::condition_variable waitCondition;

    // The mutex of this thread's CZeThreadPrivate. It lives here, beside the
    // condition variable that the event loop waits on with it, so that a
    // wake-up posted while the thread object is being destroyed never
    // touches freed memory: the data outlives its thread object.
    std::mutex threadMutex;
    // Entries ever erased from the front of postedEvents; lets a flush that
    // was interrupted by a nested one find its place again.
    uint64_t queueShift = 0;

private:
    CZeThreadData(const CZeThreadData&) = delete;
    CZeThreadData& operator=(const CZeThreadData&) = delete;
};

class CZeThreadPrivate : public CZeObjectPrivate {
public:
    // Takes over one reference to data.
    explicit CZeThreadPrivate(CZeThreadData* data);
    ~CZeThreadPrivate() override;

    static CZeThreadPrivate* get(const CZeThread* thread)
    {
        return static_cast<CZeThreadPrivate*>(CZeObjectPrivate::get(thread));
    }

    // Entry of the system thread (argument: the CZeThread).
    static void* threadEntry(void* arg);
    // The finish steps of an adopted thread, or of a CZeThread thread when
    // releaseRunningReference is set: that thread also gives up its own
    // reference to its data and leaves its key empty, so that the data is
    // released by the time wait() returns (its system thread may still be
    // winding down then).
    static void finish(CZeThread* thread, bool releaseRunningReference);
    // Clean-up handler of a CZeThread thread (argument: the CZeThread).
    static void finishStarted(void* arg);

    CZeThreadData* data;
    std::mutex& mutex;              // guards everything below
    uint8_t running = 0;
    uint8_t finished = 0;
    uint8_t isInFinish = 0;
    uint8_t exited = 0;
    int32_t returnCode = -1;
    uint32_t stackSize = 0;
    int32_t priority = CZeThread::InheritPriority;
    std::condition_variable threadDone;
    // Threads inside wait(); the object is not destroyed under them.
    uint32_t waiters = 0;
    // The system thread of the last start, until someone joins it. A thread
    // that has finished its run still executes library code on its way out
    // (clean-up, per-thread destructors); joining it is the only way to know
    // that it no longer does, which a host that unloads the library needs.
    pthread_t handle{};
    bool joinable = false;

    // Joins the last started thread once it has finished, unless someone
    // else already has; from that thread itself it is detached instead.
    // Called with `lock` held on `mutex`; may release and retake it.
    void joinFinished(std::unique_lock<std::mutex>& lock);
};

// The thread object of a thread that CZeThread did not start. It is running
// from its creation and deleted when its system thread exits.
class CZeAdoptedThread : public CZeThread {
public:
    explicit CZeAdoptedThread(CZeThreadData* data);
    ~CZeAdoptedThread() override;

    void run() override;
};

#endif // CZETHREADDATA_H
