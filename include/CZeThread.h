/*
 * CZeThread - one operating-system thread running the virtual run().
 *
 *   class Worker : public CZeThread {
 *   protected:
 *       void run() override { ...; exec(); }   // the default run() is exec()
 *   };
 *
 *   Worker w;
 *   w.start();          // detached system thread; starting a running thread does nothing
 *   w.quit();           // ends exec() with 0
 *   w.wait();           // -1: until run() has returned and the thread has finished
 *
 * The CZeThread object itself belongs to the thread that created it; objects
 * created inside run() belong to the new thread. A thread not started here
 * (the main thread, threads of the host) gets a substitute thread object the
 * first time it uses the object system. Priorities are recorded, never given
 * to the scheduler.
 */
#ifndef CZETHREAD_H
#define CZETHREAD_H

#include <pthread.h>

#include "CZeObject.h"

class CZeThreadPrivate;

class ZE_EXPORT CZeThread : public CZeObject {
public:
    enum Priority {
        IdlePriority = 0,
        LowestPriority = 1,
        LowPriority = 2,
        NormalPriority = 3,
        HighPriority = 4,
        HighestPriority = 5,
        TimeCriticalPriority = 6,
        InheritPriority = 7
    };

    CZeThread();
    ~CZeThread() override;

    void start(int priority = InheritPriority);
    // Milliseconds; -1 waits without limit. True when the thread has finished
    // or was never started; false on timeout, for 0 or another negative value
    // while it runs, and when a thread waits on itself.
    bool wait(long time = -1);
    // Asks exec() to return returnCode; an exit before exec() makes the next
    // exec() return at once.
    void exit(int returnCode = 0);
    void quit();
    // The event loop of this thread: fires timers and delivers posted events
    // until exit(). Call it from the thread itself (run() does).
    int exec();

    bool isRunning() const;
    bool isFinished() const;

    // Bytes; 0 is the system default. Takes effect at the next start.
    void setStackSize(unsigned int size);
    unsigned int stackSize() const;
    void setPriority(int priority);
    int priority() const;

    static CZeThread* currentThread();
    static pthread_t currentThreadId();
    // Online processors, 1 when the system cannot tell.
    static int idealThreadCount();
    static void sleep(long seconds);
    static void msleep(long milliseconds);
    static void usleep(long microseconds);

protected:
    explicit CZeThread(CZeThreadPrivate& dd);
    virtual void run();

private:
    friend class CZeThreadPrivate;
};

#endif // CZETHREAD_H
