#include "CZeThread.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <thread>

#include "CZeByteArray.h"
#include "CZeString.h"
#include "CZeThreadStorage.h"
#include "core/log/CZeMessageLogger.h"
#include "core/thread/CZeThreadData.h"

namespace {

// strerror_r comes in two flavours; either way the text ends up in buf or in
// the returned pointer.
[[maybe_unused]] const char* errorTextOf(int result, const char* buf)
{
    return result == 0 ? buf : "Unknown error";
}
[[maybe_unused]] const char* errorTextOf(const char* result, const char*)
{
    return result;
}

struct ErrorText {
    explicit ErrorText(int code) : text(errorTextOf(strerror_r(code, buf, sizeof buf), buf)) {}
    char buf[128] = {};
    const char* text;
};

// The longest wait that the condition variable's deadline arithmetic (now +
// timeout in nanoseconds) cannot overflow: about 31 years.
constexpr long kMaxWaitMs = 1000000000000L;

void sleepFor(long count, int64_t nanosPerUnit)
{
    if (count <= 0)
        return;
    const int64_t maxNanos = std::numeric_limits<int64_t>::max();
    const int64_t nanos = count > maxNanos / nanosPerUnit ? maxNanos : count * nanosPerUnit;
    std::this_thread::sleep_for(std::chrono::nanoseconds(nanos));
}

// The object's name in local 8-bit, or "CZeThread" for an unnamed thread;
// the system cuts names longer than 15 bytes.
void setSystemThreadName(CZeThread* thread)
{
    const CZeString name = thread->objectName();
    if (name.isEmpty()) {
        prctl(PR_SET_NAME, "CZeThread", 0, 0, 0);
        return;
    }
    const CZeByteArray local = name.toLocal8Bit();
    prctl(PR_SET_NAME, local.constData(), 0, 0, 0);
}

} // namespace

// ---- CZeThreadPrivate ------------------------------------------------------

CZeThreadPrivate::CZeThreadPrivate(CZeThreadData* d) : data(d), mutex(d->threadMutex) {}

CZeThreadPrivate::~CZeThreadPrivate()
{
    data->deref();
}

void* CZeThreadPrivate::threadEntry(void* arg)
{
    CZeThread* thread = static_cast<CZeThread*>(arg);
    pthread_cleanup_push(CZeThreadPrivate::finishStarted, thread);
    {
        CZeThreadPrivate* d = get(thread);
        std::lock_guard<std::mutex> lock(d->mutex);
        if (d->priority < 0)
            d->priority &= 0x7FFFFFFF;
        d->data->threadId = pthread_self();
        CZeThreadData::setCurrent(d->data);
        d->data->ref(); // the running thread's reference, dropped by its finish steps
    }
    setSystemThreadName(thread);
    thread->run();
    pthread_cleanup_pop(1);
    return nullptr;
}

void CZeThreadPrivate::finishStarted(void* arg)
{
    finish(static_cast<CZeThread*>(arg), true);
}

void CZeThreadPrivate::finish(CZeThread* thread, bool releaseRunningReference)
{
    CZeThreadPrivate* d = get(thread);
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        d->isInFinish = 1;
        d->priority = CZeThread::InheritPriority;
    }
    CZeThreadData* data = d->data;
    CZeObjectPrivate::sendPostedEvents(nullptr, CZeEvent::DeferredDelete, data, nullptr);
    CZeThreadStorage::finish(data->tls);
    if (releaseRunningReference)
        CZeThreadData::setCurrent(nullptr);

    bool lastReference = false;
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        d->isInFinish = 0;
        d->running = 0;
        d->finished = 1;
        // From here on a waiter may destroy the thread object: nothing of it
        // is touched after this lock is released.
        d->threadDone.notify_all();
        if (releaseRunningReference) {
            // While the lock is held the thread object, and with it the
            // private part's reference, still exists; the count can only
            // reach zero here if the object was destroyed while running.
            lastReference = data->refCount.load() == 1;
            if (!lastReference)
                data->deref();
        }
    }
    if (lastReference)
        data->deref();
}

void CZeThreadPrivate::joinFinished(std::unique_lock<std::mutex>& lock)
{
    if (!joinable)
        return;
    joinable = false;
    const pthread_t thread = handle;
    lock.unlock();
    if (pthread_equal(thread, pthread_self()))
        pthread_detach(thread);
    else
        pthread_join(thread, nullptr);
    lock.lock();
}

// ---- CZeAdoptedThread ------------------------------------------------------

namespace {
CZeThreadPrivate& adoptedPrivate(CZeThreadData* data)
{
    data->ref(); // the private part's reference
    return *new CZeThreadPrivate(data);
}
} // namespace

CZeAdoptedThread::CZeAdoptedThread(CZeThreadData* data) : CZeThread(adoptedPrivate(data))
{
    CZeThreadPrivate* d = CZeThreadPrivate::get(this);
    std::lock_guard<std::mutex> lock(d->mutex);
    d->running = 1;
}

CZeAdoptedThread::~CZeAdoptedThread() = default;

void CZeAdoptedThread::run()
{
    ZE_LOGGER.error(
        "CZeAdoptedThread::run(): Internal error, this implementation should never be called.");
}

// ---- CZeThread -------------------------------------------------------------

CZeThread::CZeThread() : CZeThread(*new CZeThreadPrivate(new CZeThreadData(1))) {}

CZeThread::CZeThread(CZeThreadPrivate& dd) : CZeObject(dd)
{
    dd.data->thread.store(this);
}

CZeThread::~CZeThread()
{
    CZeThreadPrivate* d = CZeThreadPrivate::get(this);
    std::unique_lock<std::mutex> lock(d->mutex);
    if (d->isInFinish) {
        lock.unlock();
        wait(-1);
        lock.lock();
    }
    if (d->running && !d->finished && !d->data->isAdopted) {
        ZE_LOGGER.error("CZeThread: Destroyed while thread is still running");
        if (d->joinable) {
            // It goes on without its object; nobody will wait for it.
            pthread_detach(d->handle);
            d->joinable = false;
        }
    }
    // Threads woken from wait() by the end of the thread still read it.
    if (!d->running) {
        d->threadDone.wait(lock, [d] { return d->waiters == 0; });
        d->joinFinished(lock);
    }
    d->data->thread.store(nullptr);
}

void CZeThread::start(int priority)
{
    CZeThreadPrivate* d = CZeThreadPrivate::get(this);
    std::unique_lock<std::mutex> lock(d->mutex);
    if (d->isInFinish)
        d->threadDone.wait(lock);
    if (d->running)
        return;
    d->joinFinished(lock); // the previous run's thread, if not joined yet
    if (d->running)
        return;

    d->returnCode = 0;
    d->running = 1;
    d->finished = 0;
    d->exited = 0;

    pthread_attr_t attr;
    pthread_attr_init(&attr);
    // Joinable: wait() learns of the end through threadDone and then joins
    // the system thread, so that none of it runs on once wait() returns.
    d->priority = priority;

    if (d->stackSize) {
        const int code = pthread_attr_setstacksize(&attr, d->stackSize);
        if (code) {
            ZE_LOGGER.warning("CZeThread::start: Thread stack size error: %s", ErrorText(code).text);
            d->running = 0;
            pthread_attr_destroy(&attr);
            return;
        }
    }

    pthread_t id{};
    int code = pthread_create(&id, &attr, CZeThreadPrivate::threadEntry, this);
    if (code == EPERM) // some systems refuse the first attempt under scheduling policies
        code = pthread_create(&id, &attr, CZeThreadPrivate::threadEntry, this);
    d->data->threadId = id;
    pthread_attr_destroy(&attr);

    if (code) {
        ZE_LOGGER.warning("CZeThread::start: Thread creation error: %s", ErrorText(code).text);
        d->running = 0;
        d->data->threadId = pthread_t{};
        return;
    }
    d->handle = id;
    d->joinable = true;
}

bool CZeThread::wait(long time)
{
    CZeThreadPrivate* d = CZeThreadPrivate::get(this);
    std::unique_lock<std::mutex> lock(d->mutex);
    if (pthread_equal(d->data->threadId, pthread_self())) {
        ZE_LOGGER.warning("CZeThread::wait: Thread tried to wait on itself");
        return false;
    }
    if (d->finished || !d->running) {
        if (!d->isInFinish)
            d->joinFinished(lock);
        return true;
    }
    if (time != -1 && time < 1)
        return false;

    bool result = true;
    ++d->waiters;
    if (time == -1) {
        d->threadDone.wait(lock, [d] { return !d->running; });
    } else {
        // Every wake-up starts a fresh full interval.
        const std::chrono::milliseconds interval(time > kMaxWaitMs ? kMaxWaitMs : time);
        while (d->running) {
            if (d->threadDone.wait_for(lock, interval) == std::cv_status::timeout) {
                result = false;
                break;
            }
        }
    }
    if (result)
        d->joinFinished(lock);
    if (--d->waiters == 0 && !d->running)
        d->threadDone.notify_all(); // a destructor may be waiting for the last waiter
    return result;
}

void CZeThread::exit(int returnCode)
{
    CZeThreadPrivate* d = CZeThreadPrivate::get(this);
    std::lock_guard<std::mutex> lock(d->mutex);
    d->exited = 1;
    d->returnCode = returnCode;
    d->data->waitCondition.notify_one();
}

void CZeThread::quit()
{
    exit(0);
}

int CZeThread::exec()
{
    return CZeThreadPrivate::get(this)->data->exec();
}

void CZeThread::run()
{
    exec();
}

bool CZeThread::isRunning() const
{
    CZeThreadPrivate* d = CZeThreadPrivate::get(this);
    std::lock_guard<std::mutex> lock(d->mutex);
    return d->running && !d->isInFinish;
}

bool CZeThread::isFinished() const
{
    CZeThreadPrivate* d = CZeThreadPrivate::get(this);
    std::lock_guard<std::mutex> lock(d->mutex);
    return d->finished || d->isInFinish;
}

void CZeThread::setStackSize(unsigned int size)
{
    CZeThreadPrivate* d = CZeThreadPrivate::get(this);
    std::lock_guard<std::mutex> lock(d->mutex);
    if (d->running)
        ZE_LOGGER.error("CZeThread: cannot change stack size while the thread is running!");
    d->stackSize = size;
}

unsigned int CZeThread::stackSize() const
{
    CZeThreadPrivate* d = CZeThreadPrivate::get(this);
    std::lock_guard<std::mutex> lock(d->mutex);
    return d->stackSize;
}

void CZeThread::setPriority(int priority)
{
    CZeThreadPrivate* d = CZeThreadPrivate::get(this);
    std::lock_guard<std::mutex> lock(d->mutex);
    if (!d->running) {
        ZE_LOGGER.warning("CZeThread::setPriority: Cannot set priority, thread is not running");
        return;
    }
    d->priority = priority;
}

int CZeThread::priority() const
{
    CZeThreadPrivate* d = CZeThreadPrivate::get(this);
    std::lock_guard<std::mutex> lock(d->mutex);
    return d->priority;
}

CZeThread* CZeThread::currentThread()
{
    CZeThreadData* data = CZeThreadData::current(true);
    return data ? data->thread.load() : nullptr;
}

pthread_t CZeThread::currentThreadId()
{
    return pthread_self();
}

int CZeThread::idealThreadCount()
{
    const long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n < 1 ? 1 : static_cast<int>(n);
}

void CZeThread::sleep(long seconds)
{
    sleepFor(seconds, 1000000000);
}

void CZeThread::msleep(long milliseconds)
{
    sleepFor(milliseconds, 1000000);
}

void CZeThread::usleep(long microseconds)
{
    sleepFor(microseconds, 1000);
}
