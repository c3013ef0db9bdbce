/*
 * The log-file writer: one process-wide instance with one background thread.
 *
 * Producers stamp a line and append it to the queue under the mutex; the
 * writer swaps the whole queue out in one step and writes it with the mutex
 * released, so a producer waits for one append at most. Only the writer
 * thread touches the file.
 *
 * The instance pointer has three states: 0 (not created), 1 (shut down) or
 * the instance. Every entry counts itself as a user while it holds the
 * pointer, and shut-down waits for the users to leave before freeing, so an
 * entry racing with process exit never touches freed memory.
 */
#include "CZeLogger.h"

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <thread>

#include "CZeDir.h"
#include "core/log/ZeLogSinks.h"
#include "core/logfile/ZeLoggerInternal.h"

namespace {

constexpr int64_t kFlushIntervalNs = 10LL * 1000 * 1000 * 1000;
// Lines gathered before they are written in one call.
constexpr int kPendingBytes = 64 * 1024;
// The queue's bound: while storage does not keep up (or does not answer),
// lines beyond it are dropped rather than taking the host's memory.
constexpr size_t kMaxQueuedBytes = 16u << 20;
// How long process exit waits for the writer; storage that never answers
// (a hung network file system, say) must not hold the process.
constexpr auto kShutdownWait = std::chrono::seconds(3);
constexpr int64_t kOpenRetryNs = 30LL * 1000 * 1000 * 1000;
// The folder and file-name tag below the log directory; the host
// application looks for its logs under these very names.
constexpr char kLogFolder[] = "/corvidsdk";
constexpr char kFileTag[] = "corvidsdklog";

time_t systemWallClock()
{
    return ::time(nullptr);
}

int64_t systemSteadyClock()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

struct Timing {
    std::atomic<time_t (*)()> wallClock{systemWallClock};
    std::atomic<int64_t (*)()> steadyClock{systemSteadyClock};
    std::atomic<int64_t> flushIntervalNs{kFlushIntervalNs};
    std::atomic<int64_t> openRetryNs{kOpenRetryNs};
};
Timing g_timing;

struct Counters {
    std::atomic<uint64_t> linesQueued{0};
    std::atomic<uint64_t> linesHandled{0};
    std::atomic<uint64_t> linesWritten{0};
    std::atomic<uint64_t> filesOpened{0};
    std::atomic<uint64_t> filesClosed{0};
    std::atomic<uint64_t> openFailures{0};
};
Counters g_counters;

void count(std::atomic<uint64_t>& counter, uint64_t n = 1)
{
    counter.fetch_add(n, std::memory_order_relaxed);
}

int64_t steadyNow()
{
    return g_timing.steadyClock.load(std::memory_order_relaxed)();
}

// The local time of the (possibly substituted) wall clock; all fields zero
// when the conversion fails.
struct tm localNow()
{
    const time_t now = g_timing.wallClock.load(std::memory_order_relaxed)();
    struct tm local;
    if (!::localtime_r(&now, &local))
        std::memset(&local, 0, sizeof local);
    return local;
}

bool sameDay(const struct tm& a, const struct tm& b)
{
    return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday;
}

// strftime into a 64-byte buffer; a failed format gives an empty text.
CZeByteArray formatTime(const struct tm& t, const char* format)
{
    char buffer[64];
    const size_t n = std::strftime(buffer, sizeof buffer, format, &t);
    return CZeByteArray(buffer, static_cast<int>(n));
}

} // namespace

class CZeLoggerPrivate {
public:
    CZeLoggerPrivate() : tag(CZeLatin1String(kFileTag)) {}

    void run();
    bool openFile();
    void closeFile();
    bool fileStillNamed() const;
    void writeLine(const CZeByteArray& line);
    void flushPending();

    std::thread thread;
    const CZeString tag;
    // The writer thread's own state.
    int file = -1;
    // Whole lines not yet written; they reach the file at the flush interval,
    // when they fill kPendingBytes, or when the file is closed.
    CZeByteArray pending;
    // A line cut short by a failed write could not be taken back: the next
    // write starts on a fresh line.
    bool freshLineNeeded = false;
    // The path `file` was opened under.
    CZeByteArray filePath;
    struct tm fileDate {};
    bool openFailed = false;
    int64_t openFailedAt = 0;
    int64_t lastFlush = 0;
    // The lines taken out of the queue, written with the mutex released.
    std::deque<CZeByteArray> batch;
    // Shared, under the mutex.
    std::condition_variable wake;
    std::condition_variable finishedSignal;
    std::mutex mutex;
    bool stop = false;
    bool finished = false; // the writer has left run()
    CZeString logDir;
    std::deque<CZeByteArray> queue;
    size_t queuedBytes = 0;
};

namespace {

constexpr uintptr_t kShutDown = 1;
std::atomic<uintptr_t> g_instance{0};
std::atomic<int> g_users{0};
std::once_flag g_createOnce;

void exitHandler()
{
    ZeLoggerShutdown();
}

// A child made by fork() has the instance but not its thread: it gives up
// file logging instead of joining a thread it does not have. Lines the
// parent had not written yet stay in the child's memory and are never
// written by it.
CZeLoggerPrivate* g_leftByFork = nullptr; // kept, not freed: its thread is not here
// A writer that did not finish within kShutdownWait at exit; kept, not
// freed, because its thread may still use it.
CZeLoggerPrivate* g_leftBehind = nullptr;

void forkedChild()
{
    const uintptr_t v = g_instance.exchange(kShutDown);
    g_users.store(0);
    if (v > kShutDown)
        g_leftByFork = reinterpret_cast<CZeLoggerPrivate*>(v);
}

void create()
{
    // Without memory or a thread there is no writer: file logging stays off.
    CZeLoggerPrivate* p = nullptr;
    try {
        p = new CZeLoggerPrivate; // its queue allocates
        p->thread = std::thread([p] {
            try {
                p->run();
            } catch (...) {
                // Out of memory in the writer: it stops, the file is left.
            }
            std::lock_guard<std::mutex> lock(p->mutex);
            p->finished = true;
            p->finishedSignal.notify_all();
        });
    } catch (...) {
        delete p;
        return;
    }
    uintptr_t expected = 0;
    if (!g_instance.compare_exchange_strong(expected, reinterpret_cast<uintptr_t>(p))) {
        // Shut down before it was ever used.
        {
            std::lock_guard<std::mutex> lock(p->mutex);
            p->stop = true;
        }
        p->wake.notify_all();
        p->thread.join();
        delete p;
        return;
    }
    pthread_atfork(nullptr, nullptr, forkedChild);
    std::atexit(exitHandler);
}

// The live instance for the time of one entry, created on first use; null
// after shut-down.
class InstanceUse {
public:
    explicit InstanceUse(bool createIfNeeded)
    {
        if (createIfNeeded && g_instance.load() == 0)
            std::call_once(g_createOnce, create);
        g_users.fetch_add(1);
        const uintptr_t v = g_instance.load();
        if (v > kShutDown)
            m_instance = reinterpret_cast<CZeLoggerPrivate*>(v);
        else
            g_users.fetch_sub(1);
    }
    ~InstanceUse()
    {
        if (m_instance)
            g_users.fetch_sub(1);
    }
    InstanceUse(const InstanceUse&) = delete;
    InstanceUse& operator=(const InstanceUse&) = delete;

    CZeLoggerPrivate* get() const { return m_instance; }

private:
    CZeLoggerPrivate* m_instance = nullptr;
};

} // namespace

void CZeLoggerPrivate::run()
{
    std::unique_lock<std::mutex> lock(mutex);
    while (!stop) {
        bool timedOut = false;
        if (queue.empty()) {
            const int64_t interval = g_timing.flushIntervalNs.load();
            const int64_t start = steadyNow();
            const std::cv_status status = wake.wait_for(lock, std::chrono::nanoseconds(interval));
            timedOut = status == std::cv_status::timeout || steadyNow() - start >= interval;
            if (stop)
                break;
        }
        lock.unlock();

        if (file >= 0 && (timedOut || steadyNow() - lastFlush > g_timing.flushIntervalNs.load())) {
            flushPending();
            if (!sameDay(localNow(), fileDate)) {
                // The next line goes to the new day's file.
                closeFile();
            }
            lastFlush = steadyNow();
        }

        lock.lock();
        batch.swap(queue);
        queuedBytes = 0;
        lock.unlock();

        if (!batch.empty()) {
            // Lines for a file that was removed (or replaced) under its name
            // would be lost: the batch goes to the file the name leads to now.
            if (file >= 0 && !fileStillNamed())
                closeFile();
            if (file < 0 && openFile())
                lastFlush = steadyNow();
            if (file >= 0) {
                for (const CZeByteArray& line : batch)
                    writeLine(line);
                count(g_counters.linesWritten, batch.size());
            }
            count(g_counters.linesHandled, batch.size());
        }

        lock.lock();
        batch.clear();
    }
    lock.unlock();
    if (file >= 0)
        closeFile();
}

void CZeLoggerPrivate::writeLine(const CZeByteArray& line)
{
    pending.append(line);
    pending.append('\n');
    if (pending.size() >= kPendingBytes)
        flushPending();
}

// Writes the pending lines. A write cut short (a full disk, a file-size
// limit) would leave a line torn in the middle: what was written of it is
// taken back, so that every line kept is whole. The lines not written are
// dropped.
void CZeLoggerPrivate::flushPending()
{
    if (pending.isEmpty())
        return;
    if (freshLineNeeded)
        pending.prepend("\n");
    struct stat st;
    const off_t before = ::fstat(file, &st) == 0 ? st.st_size : -1;
    const size_t total = static_cast<size_t>(pending.size());
    size_t done = 0;
    while (done < total) {
        const ssize_t n = ::write(file, pending.constData() + done, total - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
    freshLineNeeded = false;
    size_t whole = done;
    while (whole > 0 && pending.at(static_cast<int>(whole - 1)) != '\n')
        --whole;
    if (whole < done)
        freshLineNeeded = before < 0 || ::ftruncate(file, before + static_cast<off_t>(whole)) != 0;
    pending.clear();
}

void CZeLoggerPrivate::closeFile()
{
    flushPending();
    ::close(file);
    file = -1;
    count(g_counters.filesClosed);
}

// False when the open file is no longer the one its path names: removed,
// say with its folder by a user clearing the app's files, or replaced.
bool CZeLoggerPrivate::fileStillNamed() const
{
    struct stat held, named;
    if (::fstat(file, &held) != 0)
        return true; // nothing known better: keep it
    if (held.st_nlink == 0 || ::stat(filePath.constData(), &named) != 0)
        return false;
    return held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

bool CZeLoggerPrivate::openFile()
{
    if (openFailed && steadyNow() - openFailedAt < g_timing.openRetryNs.load())
        return false;
    const struct tm local = localNow();

    CZeString folder;
    {
        std::lock_guard<std::mutex> lock(mutex);
        folder = logDir;
    }
    CZeString path;
    if (!folder.isEmpty()) {
        path = folder;
        path.append(CZeLatin1String(kLogFolder));
        path.append(CZeLatin1String("/log/"));
        CZeDir::mkpath(path); // a failure shows as a failed opening
        const CZeString day = CZeString::fromLatin1(formatTime(local, "%Y-%m-%d"));
        path.append(CZeString(CZeLatin1String("%1(%2).log"))
                        .arg(tag, 0, CZeChar(' '))
                        .arg(day, 0, CZeChar(' ')));
    }
    const CZeByteArray native = path.toLocal8Bit();
    // Appending, created if missing, never inherited by programs the host
    // starts. Only a regular file is taken: opening does not wait (a named
    // pipe under the name would block it until a reader came), and anything
    // else is refused like a failed opening.
    int opened;
    do {
        opened = ::open(native.constData(),
                        O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
    } while (opened < 0 && errno == EINTR);
    struct stat st;
    if (opened >= 0 && (::fstat(opened, &st) != 0 || !S_ISREG(st.st_mode))) {
        ::close(opened);
        opened = -1;
    }
    if (opened >= 0) {
        ::fcntl(opened, F_SETFL, ::fcntl(opened, F_GETFL) & ~O_NONBLOCK);
        file = opened;
        filePath = native;
        freshLineNeeded = false;
        fileDate = local;
        openFailed = false;
        count(g_counters.filesOpened);
        return true;
    }
    openFailed = true;
    openFailedAt = steadyNow();
    count(g_counters.openFailures);
    CZeByteArray message("Failed to create log file: ");
    message.append(native);
    ZeLogToSystem(kZeLogPriorityWarn, message.constData(), false);
    return false;
}

namespace {

// Saved messages of the emitter come here from the moment the library is
// loaded; the emitter itself knows nothing of files.
__attribute__((constructor)) void plugIntoTheEmitter()
{
    ZeLogSetFileSink([](const char* message) { CZeLogger::WriteMessage(message); });
}

} // namespace

void CZeLogger::WriteMessage(const char* message)
{
    if (!message)
        return;
    WriteMessage(CZeByteArray(message));
}

void CZeLogger::WriteMessage(const CZeString& message)
{
    WriteMessage(message.toLocal8Bit());
}

void CZeLogger::WriteMessage(const CZeByteArray& message)
{
    if (message.isEmpty())
        return;
    InstanceUse use(true);
    CZeLoggerPrivate* const p = use.get();
    if (!p)
        return;

    const CZeByteArray stamp = formatTime(localNow(), "%Y-%m-%d %H:%M:%S");
    CZeByteArray line;
    line.reserve(stamp.size() + 3 + message.size());
    line.append('[');
    line.append(stamp);
    line.append("] ");
    line.append(message);

    bool wasEmpty;
    {
        std::lock_guard<std::mutex> lock(p->mutex);
        if (p->queuedBytes + static_cast<size_t>(line.size()) > kMaxQueuedBytes)
            return; // the writer is far behind: the line is lost
        wasEmpty = p->queue.empty();
        try {
            p->queue.push_back(std::move(line));
        } catch (...) {
            return; // no memory for the queue: the line is lost
        }
        p->queuedBytes += static_cast<size_t>(p->queue.back().size());
        count(g_counters.linesQueued);
    }
    if (wasEmpty)
        p->wake.notify_one();
}

void CZeLogger::SetLogDirPath(const char* path)
{
    if (!path)
        return;
    const CZeString folder = CZeString::fromLocal8Bit(path);
    InstanceUse use(true);
    CZeLoggerPrivate* const p = use.get();
    if (!p)
        return;
    std::lock_guard<std::mutex> lock(p->mutex);
    p->logDir = folder;
}

ZeLoggerTiming ZeLoggerDefaultTiming()
{
    return ZeLoggerTiming{systemWallClock, systemSteadyClock, kFlushIntervalNs, kOpenRetryNs};
}

void ZeLoggerSetTiming(const ZeLoggerTiming& timing)
{
    g_timing.wallClock.store(timing.wallClock ? timing.wallClock : systemWallClock);
    g_timing.steadyClock.store(timing.steadyClock ? timing.steadyClock : systemSteadyClock);
    g_timing.flushIntervalNs.store(timing.flushIntervalNs > 0 ? timing.flushIntervalNs
                                                              : kFlushIntervalNs);
    g_timing.openRetryNs.store(timing.openRetryNs >= 0 ? timing.openRetryNs : kOpenRetryNs);
    InstanceUse use(false);
    if (CZeLoggerPrivate* p = use.get()) {
        // Taking the mutex first means the writer is either waiting (and
        // woken) or has yet to read the new interval.
        { std::lock_guard<std::mutex> lock(p->mutex); }
        p->wake.notify_all();
    }
}

ZeLoggerCounters ZeLoggerCountersNow()
{
    return ZeLoggerCounters{g_counters.linesQueued.load(), g_counters.linesHandled.load(),
                            g_counters.linesWritten.load(), g_counters.filesOpened.load(),
                            g_counters.filesClosed.load(), g_counters.openFailures.load()};
}

ZeLoggerState ZeLoggerCurrentState()
{
    const uintptr_t v = g_instance.load();
    return v == 0 ? ZeLoggerNotCreated : v == kShutDown ? ZeLoggerShutDown : ZeLoggerLive;
}

void ZeLoggerShutdown()
{
    const uintptr_t v = g_instance.exchange(kShutDown);
    if (v <= kShutDown)
        return;
    while (g_users.load() != 0)
        std::this_thread::yield();
    CZeLoggerPrivate* p = reinterpret_cast<CZeLoggerPrivate*>(v);
    {
        std::lock_guard<std::mutex> lock(p->mutex);
        p->stop = true;
    }
    p->wake.notify_all();
    bool finished;
    {
        std::unique_lock<std::mutex> lock(p->mutex);
        finished = p->finishedSignal.wait_for(lock, kShutdownWait, [p] { return p->finished; });
    }
    if (!finished) {
        // Stuck in storage that does not answer: the process goes on
        // without it, and its record stays for as long as it might run.
        p->thread.detach();
        g_leftBehind = p;
        return;
    }
    if (p->thread.joinable())
        p->thread.join();
    delete p; // with any lines still queued
}
