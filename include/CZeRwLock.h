/*
 * CZeRwLock - a read-write lock, with scoped guards for each side.
 *
 *   CZeRwLock lock;
 *   {
 *       CZeReadGuard reading(&lock);   // readers share the lock
 *       ...
 *   }
 *   {
 *       CZeWriteGuard writing(&lock);  // a writer has it alone
 *       ...
 *   }
 *
 * The semantics are those of the system's read-write lock: no recursion is
 * promised, and a thread that holds the lock must not take it again. A
 * failing system call is logged as an error ("pthread_rwlock_...() failed,
 * errno=<result>") and not retried; nothing is returned or thrown. A guard
 * made with a null lock does nothing.
 */
#ifndef CZERWLOCK_H
#define CZERWLOCK_H

#include <pthread.h>

#include "ZeGlobal.h"

class ZE_EXPORT CZeRwLock {
public:
    CZeRwLock();
    ~CZeRwLock();

    void lockForRead();
    void lockForWrite();
    void unlock();

private:
    pthread_rwlock_t m_lock;

    CZeRwLock(const CZeRwLock&) = delete;
    CZeRwLock& operator=(const CZeRwLock&) = delete;
};

class ZE_EXPORT CZeReadGuard {
public:
    explicit CZeReadGuard(CZeRwLock* lock);
    ~CZeReadGuard();

private:
    CZeRwLock* m_lock;

    CZeReadGuard(const CZeReadGuard&) = delete;
    CZeReadGuard& operator=(const CZeReadGuard&) = delete;
};

class ZE_EXPORT CZeWriteGuard {
public:
    explicit CZeWriteGuard(CZeRwLock* lock);
    ~CZeWriteGuard();

private:
    CZeRwLock* m_lock;

    CZeWriteGuard(const CZeWriteGuard&) = delete;
    CZeWriteGuard& operator=(const CZeWriteGuard&) = delete;
};

#endif /* CZERWLOCK_H */
