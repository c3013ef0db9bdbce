// The shared temporary-file creation: names, per-thread letters, the file.
#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <regex>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "core/io/ZeTemporaryFile.h"
#include "support/TemporaryDirectory.h"
#include "support/TestText.h"

namespace {

// The name made from the template, on a thread of its own unless told
// otherwise (a new thread starts its generator afresh); the file is closed.
std::string created(const std::string& nameTemplate, bool newThread = true)
{
    auto create = [&] {
        CZeByteArray name;
        int error = 0;
        const int fd = ZeCreateUniqueFile(CZeByteArray(nameTemplate.c_str()), 0600, &name, &error);
        if (fd >= 0)
            ::close(fd);
        return fd >= 0 ? text(name) : "error " + std::to_string(error);
    };
    if (!newThread)
        return create();
    std::string result;
    std::thread([&] { result = create(); }).join();
    return result;
}

// Each thread's generator starts at 17: the first six letters it gives are
// "DjJtDT" (placed from the end of the run), the next six "NyMmZI". A name
// that is taken advances like an odometer, first position fastest.
TEST(ZeTemporaryFile, NamesFromEachThreadsLettersAndTheFileMade)
{
    TemporaryDirectory dir;
    EXPECT_EQ(created(dir.file("nXXXXXX")), dir.file("nDjJtDT"));
    EXPECT_EQ(created(dir.file("nXXXXXX")), dir.file("nEjJtDT"));
    EXPECT_EQ(created(dir.file("nXXXXXX")), dir.file("nFjJtDT"));
    std::string first, second;
    std::thread([&] {
        first = created(dir.file("gXXXXXX"), false);
        second = created(dir.file("gXXXXXX"), false);
    }).join();
    EXPECT_EQ(first, dir.file("gDjJtDT"));
    EXPECT_EQ(second, dir.file("gNyMmZI"));

    // The file is new, empty, read-write and has the permissions asked for.
    const mode_t previous = ::umask(022);
    CZeByteArray name;
    int error = 0;
    const int fd = ZeCreateUniqueFile(CZeByteArray(dir.file("pXX").c_str()), 0640, &name, &error);
    ::umask(previous);
    ASSERT_GE(fd, 0);
    // Fewer than six X: ".XXXXXX" is appended.
    EXPECT_TRUE(std::regex_match(text(name), std::regex(".*/pXX\\.[A-Za-z]{6}"))) << text(name);
    EXPECT_EQ(::fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_TRUE(::fcntl(fd, F_GETFD) & FD_CLOEXEC);
    struct stat st;
    ASSERT_EQ(::fstat(fd, &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_EQ(st.st_size, 0);
    ::close(fd);

    EXPECT_EQ(created(dir.file("no/such/folder/t")), "error " + std::to_string(ENOENT));
}

} // namespace
