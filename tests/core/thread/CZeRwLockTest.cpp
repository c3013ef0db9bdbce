// CZeRwLock and its guards: exclusive writing and the texts of failing calls.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>

#include "CZeRwLock.h"
#include "ThreadTestHelpers.h"

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZE_TEST_UNDER_TSAN 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define ZE_TEST_UNDER_TSAN 1
#endif

namespace {

// Writers change two plain fields together; a reader that ever saw them
// differ, or a lost update, means the lock let someone in too early.
TEST(CZeRwLock, WritersExcludeEveryone)
{
    CZeRwLock lock;
    long first = 0, second = 0;
    std::atomic<int> torn { 0 }, writes { 0 };
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = t; i < t + 3000; ++i) {
                if (i % 3 == 0) {
                    CZeReadGuard reading(&lock);
                    torn += first != second;
                    continue;
                }
                lock.lockForWrite();
                ++first;
                ++second;
                lock.unlock();
                ++writes;
            }
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(torn.load(), 0);
    EXPECT_EQ(first, writes.load());
    EXPECT_EQ(second, writes.load());
}

#if defined(__GLIBC__) && !defined(ZE_TEST_UNDER_TSAN)
// The C library refuses to let the writing thread lock again (EDEADLK); the
// thread checker would report that misuse itself, so it is left out there.
TEST(CZeRwLock, FailingCallsAreLogged)
{
    MessageCapture capture;
    CZeRwLock lock;
    lock.lockForWrite();
    errno = 0; // the text carries the call's result, not errno
    lock.lockForWrite();
    {
        CZeReadGuard reading(&lock); // refused as well; its destructor still unlocks
    }
    const std::string deadlock = std::to_string(EDEADLK);
    EXPECT_EQ(logged(capture),
        (Lines { "E pthread_rwlock_wrlock() failed, errno=" + deadlock,
            "E pthread_rwlock_rdlock() failed, errno=" + deadlock }));
    const std::string text = capture.messages()[0].text;
    EXPECT_EQ(text.rfind("CZeRwLock.cpp(", 0), 0u) << text;
    // The guard's unlock released the write lock: another thread can write.
    EXPECT_TRUE(runThread([&](FunctionThread*) { CZeWriteGuard writing(&lock); }));
    EXPECT_EQ(capture.count(), 2u);
}
#endif

} // namespace
