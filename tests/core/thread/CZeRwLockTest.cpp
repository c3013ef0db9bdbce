// CZeRwLock and its guards: shared reading, exclusive writing, null guards
// and the texts of failing calls.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

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

TEST(CZeRwLock, WritersExcludeEveryone)
{
    // Two plain fields that writers change together; a reader that ever saw
    // them differ, or a lost update, means the lock let someone in too early.
    CZeRwLock lock;
    long first = 0, second = 0;
    std::atomic<int> torn { 0 };
    constexpr int kThreads = 4, kRounds = 3000;
    std::vector<std::unique_ptr<FunctionThread>> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back(new FunctionThread([&, t](FunctionThread*) {
            for (int i = 0; i < kRounds; ++i) {
                if ((i + t) % 3 == 0) {
                    CZeReadGuard reading(&lock);
                    if (first != second)
                        ++torn;
                } else {
                    lock.lockForWrite();
                    ++first;
                    ++second;
                    lock.unlock();
                }
            }
        }));
    }
    for (auto& t : threads)
        t->start();
    for (auto& t : threads)
        ASSERT_TRUE(t->wait(kGenerousMs));
    int writes = 0;
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kRounds; ++i)
            writes += (i + t) % 3 != 0;
    EXPECT_EQ(torn.load(), 0);
    EXPECT_EQ(first, writes);
    EXPECT_EQ(second, writes);
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
    const std::string deadlock = std::to_string(EDEADLK);
    EXPECT_EQ(
        countMessages(capture, "pthread_rwlock_wrlock() failed, errno=" + deadlock, kError), 1u);
    {
        CZeReadGuard reading(&lock); // refused as well; its destructor still unlocks
    }
    EXPECT_EQ(
        countMessages(capture, "pthread_rwlock_rdlock() failed, errno=" + deadlock, kError), 1u);
    EXPECT_EQ(capture.count(), 2u);
    const std::string text = capture.messages()[0].text;
    EXPECT_EQ(text.rfind("CZeRwLock.cpp(", 0), 0u) << text;
    // The guard's unlock released the write lock: another thread can write.
    Gate written;
    FunctionThread writer([&](FunctionThread*) {
        CZeWriteGuard writing(&lock);
        written.open();
    });
    writer.start();
    EXPECT_TRUE(written.waitOpen());
    EXPECT_TRUE(writer.wait(kGenerousMs));
    EXPECT_EQ(capture.count(), 2u);
}
#endif

} // namespace
