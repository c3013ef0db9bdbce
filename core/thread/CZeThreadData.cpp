/*
 * Finding the current thread's data, adoption of foreign threads, the main
 * thread, the thread-exit clean-up and the per-thread event loop.
 */
#include "core/thread/CZeThreadData.h"

#include <chrono>
#include <cstdlib>

#include "core/log/CZeMessageLogger.h"
#include "core/thread/CZeThreadStoragePrivate.h"
#include "core/thread/CZeTimerInfoList.h"

namespace {

pthread_once_t g_keyOnce = PTHREAD_ONCE_INIT;
pthread_key_t g_key;
// Cleared by the exit handler that deletes the key; no lookup happens after.
std::atomic<bool> g_keyValid{false};

// The main thread: null until recorded, kMainThreadDestroyed after exit.
std::atomic<uintptr_t> g_mainThread{0};
constexpr uintptr_t kMainThreadDestroyed = 1;

void deleteKey()
{
    if (g_keyValid.exchange(false))
        pthread_key_delete(g_key);
}

// Runs for every thread that has data when it exits: adopted threads (threads
// started by CZeThread release their data in their finish steps and leave the
// key empty). The system has already cleared the key; it is put back so that
// the finish steps and destructors that run now still find the thread's data.
void destroyCurrentThreadData(void* p)
{
    CZeThreadData* data = static_cast<CZeThreadData*>(p);
    CZeThread* thread = data->thread.load();
    if (thread && reinterpret_cast<uintptr_t>(thread) == g_mainThread.load())
        return;
    pthread_setspecific(g_key, data);
    if (data->isAdopted && thread) {
        CZeThreadPrivate::finish(thread, false);
        delete thread; // drops the references of its private part and object base
    }
    pthread_setspecific(g_key, nullptr);
    data->deref();
}

void createKey()
{
    if (pthread_key_create(&g_key, destroyCurrentThreadData) == 0) {
        g_keyValid.store(true);
        std::atexit(deleteKey);
    }
}

// Exit handler: release the main thread's data (only when exit runs on the
// main thread; another thread's key cannot be reached), tear down the storage
// destructor table and mark the main thread as gone.
void releaseMainThread()
{
    const uintptr_t recorded = g_mainThread.exchange(kMainThreadDestroyed);
    CZeThreadStorageDestroyTable();
    if (recorded <= kMainThreadDestroyed || !g_keyValid.load())
        return;
    CZeThread* main = reinterpret_cast<CZeThread*>(recorded);
    CZeThreadData* data = CZeThreadPrivate::get(main)->data;
    if (pthread_getspecific(g_key) != data)
        return;
    delete main;
    pthread_setspecific(g_key, nullptr);
    data->deref();
}

// Loading the library adopts the loading thread as the main thread.
struct MainThreadRecorder {
    MainThreadRecorder()
    {
        CZeThreadData::current(true);
        std::atexit(releaseMainThread);
    }
};
MainThreadRecorder g_mainThreadRecorder;

} // namespace

CZeThreadData::CZeThreadData(uint32_t initialRef)
    : refCount(initialRef), timerList(new CZeTimerInfoList)
{
}

CZeThreadData::~CZeThreadData()
{
    // Receivers of events still queued here are gone (each living object
    // holds a reference to its data), so only the events are released.
    for (CZePostEvent& pe : postedEvents) {
        if (pe.event) {
            CZeObjectPrivate::setEventFlags(pe.event, 0);
            delete pe.event;
        }
    }
    postedEvents.clear();
    delete timerList;
}

void CZeThreadData::deref()
{
    if (refCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

CZeThreadData* CZeThreadData::current(bool create)
{
    pthread_once(&g_keyOnce, createKey);
    if (!g_keyValid.load())
        return nullptr;
    CZeThreadData* data = static_cast<CZeThreadData*>(pthread_getspecific(g_key));
    if (data || !create)
        return data;

    // Adopt this thread. The count of 1 is the running thread's reference,
    // dropped by the thread-exit clean-up.
    data = new CZeThreadData(1);
    data->isAdopted = 1;
    data->threadId = pthread_self();
    pthread_setspecific(g_key, data);
    CZeAdoptedThread* adopted = new CZeAdoptedThread(data);
    uintptr_t none = 0;
    g_mainThread.compare_exchange_strong(none, reinterpret_cast<uintptr_t>(adopted));
    return data;
}

void CZeThreadData::setCurrent(CZeThreadData* data)
{
    pthread_once(&g_keyOnce, createKey);
    if (g_keyValid.load())
        pthread_setspecific(g_key, data);
}

CZeThread* CZeThreadData::mainThread()
{
    const uintptr_t v = g_mainThread.load();
    return v > kMainThreadDestroyed ? reinterpret_cast<CZeThread*>(v) : nullptr;
}

int CZeThreadData::exec()
{
    if (inExec) {
        ZE_LOGGER.warning("CZeThreadData::exec: instance %p has already called exec()",
                          static_cast<void*>(this));
        return -1;
    }
    CZeThread* t = thread.load();
    if (!t)
        return -1;
    CZeThreadPrivate* d = CZeThreadPrivate::get(t);
    {
        std::lock_guard<std::mutex> lock(threadMutex);
        if (d->exited) {
            d->exited = 0;
            return d->returnCode;
        }
    }

    inExec = 1;
    for (;;) {
        int64_t waitMs = 0;
        const bool haveTimer = timerList->timerWait(waitMs);
        std::unique_lock<std::mutex> lock(threadMutex);
        if (d->exited)
            break;
        if (!wakeUpPending) {
            if (!haveTimer)
                waitCondition.wait(lock);
            else if (static_cast<int32_t>(waitMs) >= 1)
                waitCondition.wait_for(lock, std::chrono::milliseconds(static_cast<int32_t>(waitMs)));
        }
        wakeUpPending = 0;
        const bool exited = d->exited;
        lock.unlock();
        if (exited)
            break;
        timerList->activateTimers();
        CZeObjectPrivate::sendPostedEvents(nullptr, 0, this, nullptr);
    }
    inExec = 0;

    std::lock_guard<std::mutex> lock(threadMutex);
    const int returnCode = d->returnCode;
    d->exited = 0;
    d->returnCode = -1;
    return returnCode;
}

void CZeThreadData::wakeUp()
{
    std::lock_guard<std::mutex> lock(threadMutex);
    wakeUpPending = 1;
    // The thread itself is awake; it sees the flag before it next waits.
    if (!pthread_equal(threadId, pthread_self()))
        waitCondition.notify_one();
}
