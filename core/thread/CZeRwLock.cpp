// CZeRwLock and its guards: thin wrappers of the POSIX read-write lock that
// log a failing call (with the value it returned) instead of reporting it.
#include "CZeRwLock.h"

#include "core/log/CZeMessageLogger.h"

CZeRwLock::CZeRwLock()
{
    if (const int r = pthread_rwlock_init(&m_lock, nullptr))
        ZE_LOGGER.error("pthread_rwlock_init() failed, errno=%d", r);
}

CZeRwLock::~CZeRwLock()
{
    if (const int r = pthread_rwlock_destroy(&m_lock))
        ZE_LOGGER.error("pthread_rwlock_destroy() failed, errno=%d", r);
}

void CZeRwLock::lockForRead()
{
    if (const int r = pthread_rwlock_rdlock(&m_lock))
        ZE_LOGGER.error("pthread_rwlock_rdlock() failed, errno=%d", r);
}

void CZeRwLock::lockForWrite()
{
    if (const int r = pthread_rwlock_wrlock(&m_lock))
        ZE_LOGGER.error("pthread_rwlock_wrlock() failed, errno=%d", r);
}

void CZeRwLock::unlock()
{
    if (const int r = pthread_rwlock_unlock(&m_lock))
        ZE_LOGGER.error("pthread_rwlock_unlock() failed, errno=%d", r);
}

// The guards unlock in their destructors whether or not locking succeeded.
CZeReadGuard::CZeReadGuard(CZeRwLock* lock)
    : m_lock(lock)
{
    if (m_lock)
        m_lock->lockForRead();
}

CZeReadGuard::~CZeReadGuard()
{
    if (m_lock)
        m_lock->unlock();
}

CZeWriteGuard::CZeWriteGuard(CZeRwLock* lock)
    : m_lock(lock)
{
    if (m_lock)
        m_lock->lockForWrite();
}

CZeWriteGuard::~CZeWriteGuard()
{
    if (m_lock)
        m_lock->unlock();
}
