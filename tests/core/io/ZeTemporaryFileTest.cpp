// The shared temporary-file creation: names from the template, the
// per-thread generator, the odometer on a taken name, and what is created.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "core/io/ZeTemporaryFile.h"
#include "support/TestText.h"
#include "support/TemporaryDirectory.h"

namespace {

// The letters a thread's generator gives from its start (seed 17), in the
// order the creation places them: from the end of the run towards its start.
std::string firstLetters(int run, int skip = 0)
{
    uint64_t state = 17;
    std::string letters(static_cast<size_t>(run), '?');
    for (int n = 0; n < skip + run; ++n) {
        state = state * 16807 % 2147483647;
        const unsigned v = static_cast<unsigned>(state & 0xffff) % 52;
        if (n >= skip)
            letters[static_cast<size_t>(run - 1 - (n - skip))] =
                static_cast<char>(v < 26 ? 'A' + v : 'a' + (v - 26));
    }
    return letters;
}

struct Created {
    int fd = -1;
    int error = 0;
    std::string name;
};

Created create(const std::string& nameTemplate, unsigned permissions = 0600)
{
    Created c;
    CZeByteArray name;
    c.fd = ZeCreateUniqueFile(CZeByteArray(nameTemplate.c_str()), permissions, &name, &c.error);
    if (c.fd >= 0) {
        c.name = text(name);
        ::close(c.fd);
    }
    return c;
}

// Runs the creation on a thread of its own, which starts its generator afresh.
Created createOnNewThread(const std::string& nameTemplate)
{
    Created c;
    std::thread t([&] { c = create(nameTemplate); });
    t.join();
    return c;
}

TEST(ZeTemporaryFile, EveryThreadStartsItsLettersFromSeventeen)
{
    TemporaryDirectory dir;
    const Created first = createOnNewThread(dir.file("fXXXXXX"));
    ASSERT_GE(first.fd, 0);
    EXPECT_EQ(first.name, dir.file("f" + firstLetters(6)));

    // One thread goes on through its sequence.
    std::string second, third;
    std::thread t([&] {
        second = create(dir.file("gXXXXXX")).name;
        third = create(dir.file("gXXXXXX")).name;
    });
    t.join();
    EXPECT_EQ(second, dir.file("g" + firstLetters(6)));
    EXPECT_EQ(third, dir.file("g" + firstLetters(6, 6)));
}

TEST(ZeTemporaryFile, ATakenNameAdvancesLikeAnOdometer)
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
            c = c == 'z' ? 'A' : static_cast<char>(c + 1);
            break;
        }
        return s;
    };
    const Created a = createOnNewThread(dir.file("nXXXXXX"));
    const Created b = createOnNewThread(dir.file("nXXXXXX"));
    const Created c = createOnNewThread(dir.file("nXXXXXX"));
    ASSERT_GE(c.fd, 0);
    EXPECT_EQ(a.name, dir.file("n" + fresh));
    EXPECT_EQ(b.name, dir.file("n" + advanced(fresh)));
    EXPECT_EQ(c.name, dir.file("n" + advanced(advanced(fresh))));
}

TEST(ZeTemporaryFile, CreatesANewPrivateFileOrSaysWhyNot)
{
    TemporaryDirectory dir;
    const mode_t previous = ::umask(022);
    CZeByteArray name;
    int error = 0;
    const int fd = ZeCreateUniqueFile(CZeByteArray(dir.file("p").c_str()), 0640, &name, &error);
    ::umask(previous);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(::fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_TRUE(::fcntl(fd, F_GETFD) & FD_CLOEXEC);
    struct stat st;
    ASSERT_EQ(::fstat(fd, &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_EQ(st.st_size, 0);
    ::close(fd);

    const Created missing = create(dir.file("no/such/folder/t"));
    EXPECT_EQ(missing.fd, -1);
    EXPECT_EQ(missing.error, ENOENT);

    EXPECT_EQ(kZeUniqueFileOpenFlags & (O_ACCMODE | O_CREAT | O_EXCL | O_CLOEXEC),
              O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC);
#if defined(__aarch64__)
    EXPECT_EQ(kZeUniqueFileOpenFlags, 655554);
#endif
}

} // namespace
