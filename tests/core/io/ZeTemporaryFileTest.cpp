// The shared temporary-file creation: names from the template, the
// per-thread generator, the odometer on a taken name, and what is created.
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

// The letters a thread's generator gives from its start (seed 17), in the
// order the creation places them: from the end of the run towards its start.
std::string firstLetters(int run, int skip = 0)
{
    uint64_t state = 17;
    std::string letters(size_t(run), '?');
    for (int n = 0; n < skip + run; ++n) {
        state = state * 16807 % 2147483647;
        const unsigned v = unsigned(state & 0xffff) % 52;
        if (n >= skip)
            letters[size_t(run - 1 - (n - skip))] = char(v < 26 ? 'A' + v : 'a' + (v - 26));
    }
    return letters;
}

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

TEST(ZeTemporaryFile, LettersStartFromSeventeenPerThreadAndATakenNameAdvances)
{
    TemporaryDirectory dir;
    const std::string fresh = firstLetters(6);
    // The odometer on the letters, first position fastest.
    auto advanced = [](std::string s) {
        for (char& c : s) {
            if (c == 'Z') {
                c = 'a';
                continue;
            }
            c = c == 'z' ? 'A' : char(c + 1);
            break;
        }
        return s;
    };
    EXPECT_EQ(created(dir.file("nXXXXXX")), dir.file("n" + fresh));
    EXPECT_EQ(created(dir.file("nXXXXXX")), dir.file("n" + advanced(fresh)));
    EXPECT_EQ(created(dir.file("nXXXXXX")), dir.file("n" + advanced(advanced(fresh))));

    // One thread goes on through its sequence.
    std::string first, second;
    std::thread([&] {
        first = created(dir.file("gXXXXXX"), false);
        second = created(dir.file("gXXXXXX"), false);
    }).join();
    EXPECT_EQ(first, dir.file("g" + fresh));
    EXPECT_EQ(second, dir.file("g" + firstLetters(6, 6)));
}

TEST(ZeTemporaryFile, CreatesANewPrivateFileOrSaysWhyNot)
{
    TemporaryDirectory dir;
    const mode_t previous = ::umask(022);
    CZeByteArray name;
    int error = 0;
    // Fewer than six X: ".XXXXXX" is appended.
    const int fd = ZeCreateUniqueFile(CZeByteArray(dir.file("pXX").c_str()), 0640, &name, &error);
    ::umask(previous);
    ASSERT_GE(fd, 0);
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
