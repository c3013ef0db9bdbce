#include "lut/WorkerPool.h"

#include <memory>
#include <new>

void WorkerThread::run()
{
    m_pool->workerLoop(m_index, m_count);
}

void WorkerPool::workerLoop(uint32_t index, uint32_t count)
{
    for (;;) {
        std::unique_lock<std::mutex> lock(m_lock);
        WorkerSlot* slot = m_workers[index];
        m_workSignal.wait(lock, [&] { return slot->hasWork || m_stopping; });
        if (m_stopping)
            return; // stopping wins over a pending batch
        slot->hasWork = false;
        const Job job = m_job;
        void* argument = m_jobArgument;
        lock.unlock();

        if (job)
            job(argument, index, count);

        lock.lock();
        if (m_pending != 0 && --m_pending == 0) {
            lock.unlock();
            m_doneSignal.notify_all();
        }
    }
}

bool WorkerPool::start(uint32_t threadCount, int priority)
{
    // Once stopping is set it is never cleared, so a restarted pool's workers
    // would leave at once and its first batch would wait forever.
    if (m_started || m_stopping)
        return false;
    const uint32_t count = threadCount >= 2 ? threadCount : 1;
    m_started = true;
    // Workers are created and started one at a time, and the first one that
    // cannot be started ends the attempt: under a thread or memory limit the
    // rest would only fail the same way, each with its own warning. A pool
    // short of a worker would leave every batch waiting for it, so it is
    // stopped and not used.
    bool complete = true;
    try {
        m_workers.reserve(count); // no reallocation while started workers index it
        for (uint32_t i = 0; i < count && complete; ++i) {
            std::unique_ptr<WorkerSlot> slot(new WorkerSlot{nullptr, false});
            slot->thread = new WorkerThread(this, i, count);
            WorkerThread* thread = slot->thread;
            {
                std::lock_guard<std::mutex> lock(m_lock);
                m_workers.push_back(slot.release());
            }
            thread->start(priority);
            complete = thread->isRunning();
        }
    } catch (...) {
        complete = false;
    }
    if (!complete)
        stop();
    return complete;
}

void WorkerPool::runBatch(Job job, void* argument)
{
    std::unique_lock<std::mutex> lock(m_lock);
    m_job = job;
    m_jobArgument = argument;
    m_pending = static_cast<uint32_t>(m_workers.size());
    for (WorkerSlot* slot : m_workers)
        slot->hasWork = true;
    m_workSignal.notify_all();
    m_doneSignal.wait(lock, [this] { return m_pending == 0; });
    m_job = nullptr;
    m_jobArgument = nullptr;
}

void WorkerPool::stop()
{
    if (!m_started)
        return;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_stopping = true;
        m_workSignal.notify_all();
    }
    for (WorkerSlot* slot : m_workers) {
        if (slot->thread) {
            slot->thread->wait(-1);
            delete slot->thread;
        }
        delete slot;
    }
    m_workers.clear();
    m_started = false;
}

WorkerPool::~WorkerPool()
{
    stop();
}
