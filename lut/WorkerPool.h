/*
 * WorkerPool - a small fork-join pool: a fixed set of threads that sleep until
 * a batch is posted, each run the batch's job once with its own index, and
 * report completion; the poster waits until all have finished.
 *
 *   WorkerPool pool;
 *   pool.start(4, CZeThread::InheritPriority);
 *   pool.runBatch(job, argument);   // job(argument, i, 4) for i = 0..3, returns when all are done
 *   pool.stop();                    // workers leave their loop and are joined in index order
 *
 * One mutex guards all shared state; the job runs outside it. A pool is
 * started once: after stop() it stays stopped and start() refuses.
 */
#ifndef WORKERPOOL_H
#define WORKERPOOL_H

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "CZeThread.h"

class WorkerPool;

class WorkerThread : public CZeThread {
public:
    WorkerThread(WorkerPool* pool, uint32_t index, uint32_t count)
        : m_pool(pool), m_index(index), m_count(count)
    {
    }

protected:
    void run() override;

private:
    WorkerPool* m_pool;
    uint32_t m_index;
    uint32_t m_count;
};

struct WorkerSlot {
    WorkerThread* thread;
    bool hasWork;
};

class WorkerPool {
public:
    using Job = void (*)(void* argument, uint32_t index, uint32_t count);

    WorkerPool() = default;
    ~WorkerPool(); // stops the pool first

    // threadCount workers (1 when below 2). False when started before (even if
    // stopped since) or when a worker could not be created or started; the
    // pool is then stopped.
    bool start(uint32_t threadCount, int priority);
    // Runs job(argument, i, n) once on every worker i and blocks until all n
    // calls have returned. With no workers it returns at once.
    void runBatch(Job job, void* argument);
    // Wakes the workers, lets them finish their current job and joins them.
    void stop();

    uint32_t workerCount() const { return static_cast<uint32_t>(m_workers.size()); }
    bool isStarted() const { return m_started; }

private:
    friend class WorkerThread;
    void workerLoop(uint32_t index, uint32_t count);

    bool m_started = false;
    std::vector<WorkerSlot*> m_workers;
    std::condition_variable m_workSignal;
    std::condition_variable m_doneSignal;
    uint32_t m_pending = 0;
    bool m_stopping = false;
    std::mutex m_lock;
    Job m_job = nullptr;
    void* m_jobArgument = nullptr;

    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;
};

#endif // WORKERPOOL_H
