// Directories: making and removing paths, the recursive removal with links,
// read-only files and failures inside the tree, the temporary folder and path
// cleaning.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <thread>
#include <atomic>
#include <chrono>
#include <sys/stat.h>
#include <unistd.h>

#include "CZeDir.h"
#include "support/TestText.h"
#include "support/MessageCapture.h"
#include "support/TemporaryDirectory.h"

namespace {

// Runs the body with the working directory set to `dir`.
class InDirectory {
public:
    explicit InDirectory(const std::string& dir)
    {
        char here[PATH_MAX];
        if (::getcwd(here, sizeof here))
            m_previous = here;
        EXPECT_EQ(::chdir(dir.c_str()), 0);
    }
    ~InDirectory() { EXPECT_EQ(::chdir(m_previous.c_str()), 0); }

private:
    std::string m_previous = "/";
};

// Keeps an environment variable for the test and restores it afterwards.
class SavedVariable {
public:
    explicit SavedVariable(const char* variable) : m_variable(variable)
    {
        const char* value = std::getenv(variable);
        m_wasSet = value != nullptr;
        if (value)
            m_value = value;
    }
    ~SavedVariable()
    {
        if (m_wasSet)
            ::setenv(m_variable, m_value.c_str(), 1);
        else
            ::unsetenv(m_variable);
    }

private:
    const char* m_variable;
    bool m_wasSet = false;
    std::string m_value;
};

// Removes a tree through descriptors, whatever the length of its paths.
void removeAt(int parent, const char* entry)
{
    struct stat st;
    if (::fstatat(parent, entry, &st, AT_SYMLINK_NOFOLLOW) != 0)
        return;
    if (S_ISDIR(st.st_mode)) {
        const int fd = ::openat(parent, entry, O_RDONLY | O_DIRECTORY);
        if (fd >= 0) {
            if (DIR* dir = ::fdopendir(::dup(fd))) {
                while (const dirent* e = ::readdir(dir))
                    if (std::strcmp(e->d_name, ".") && std::strcmp(e->d_name, ".."))
                        removeAt(fd, e->d_name);
                ::closedir(dir);
            }
            ::close(fd);
        }
        ::unlinkat(parent, entry, AT_REMOVEDIR);
    } else {
        ::unlinkat(parent, entry, 0);
    }
}

TEST(CZeDir, RelativeAndEmptyPathsAreRefusedWithoutTouchingTheDisk)
{
    TemporaryDirectory dir;
    ASSERT_EQ(::mkdir(dir.file("existing").c_str(), 0755), 0);
    MessageCapture capture;
    InDirectory cwd(dir.path());

    EXPECT_FALSE(CZeDir::mkpath(name("made/below")));
    EXPECT_EQ(onlyWarning(capture), "CZeDir::mkpath: only accept absolute dir path!");
    EXPECT_FALSE(CZeDir::mkpath(name("./made")));
    EXPECT_EQ(onlyWarning(capture), "CZeDir::mkpath: only accept absolute dir path!");
    EXPECT_FALSE(present(dir.file("made")));
    EXPECT_FALSE(CZeDir::mkpath(CZeString()));
    EXPECT_EQ(onlyWarning(capture), "CZeDir::mkpath: Empty or null path name");
    EXPECT_FALSE(CZeDir::mkpath(name("")));
    EXPECT_EQ(onlyWarning(capture), "CZeDir::mkpath: Empty or null path name");

    EXPECT_FALSE(CZeDir::rmdir(name("existing")));
    EXPECT_EQ(onlyWarning(capture), "CZeDir::rmdir: only accept absolute dir path!");
    EXPECT_FALSE(CZeDir::rmdir(CZeString()));
    EXPECT_EQ(onlyWarning(capture), "CZeDir::rmdir: Empty or null path name");

    EXPECT_FALSE(CZeDir::removeRecursively(name("existing")));
    EXPECT_EQ(onlyWarning(capture), "CZeDir::removeRecursively: only accept absolute dir path!");
    EXPECT_FALSE(CZeDir::removeRecursively(CZeString()));
    EXPECT_EQ(onlyWarning(capture), "CZeDir::removeRecursively: only accept absolute dir path!");

    EXPECT_TRUE(isDir(dir.file("existing")));
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"existing"});
}

TEST(CZeDir, MkpathMakesEveryMissingParent)
{
    TemporaryDirectory dir;
    MessageCapture capture;
    EXPECT_TRUE(CZeDir::mkpath(name(dir.file("a/b/c"))));
    EXPECT_TRUE(isDir(dir.file("a/b/c")));
    // An existing directory is success; separators and dots are cleaned first.
    EXPECT_TRUE(CZeDir::mkpath(name(dir.path() + "//a/./b/../b/c/")));
    EXPECT_TRUE(CZeDir::mkpath(name(dir.file("a/x//y/"))));
    EXPECT_TRUE(isDir(dir.file("a/x/y")));
    // Through a link to a directory.
    ASSERT_EQ(::symlink("a/b", dir.file("to-b").c_str()), 0);
    EXPECT_TRUE(CZeDir::mkpath(name(dir.file("to-b/d"))));
    EXPECT_TRUE(isDir(dir.file("a/b/d")));
    EXPECT_EQ(capture.count(), 0u);

    // A file in the way cannot become a directory, also for root.
    ASSERT_TRUE(writeFileText(dir.file("plain"), "x"));
    EXPECT_FALSE(CZeDir::mkpath(name(dir.file("plain"))));
    EXPECT_FALSE(CZeDir::mkpath(name(dir.file("plain/sub"))));
    EXPECT_EQ(readFileText(dir.file("plain")), "x");
}

TEST(CZeDir, RmdirRemovesOneEmptyDirectory)
{
    TemporaryDirectory dir;
    ASSERT_TRUE(CZeDir::mkpath(name(dir.file("a/b"))));
    EXPECT_FALSE(CZeDir::rmdir(name(dir.file("a")))); // not empty
    EXPECT_TRUE(CZeDir::rmdir(name(dir.file("a/b"))));
    EXPECT_FALSE(present(dir.file("a/b")));
    EXPECT_TRUE(isDir(dir.file("a")));
    EXPECT_FALSE(CZeDir::rmdir(name(dir.file("a/b")))); // gone already
}

TEST(CZeDir, RemoveRecursivelyLeavesWhatIsNoDirectory)
{
    TemporaryDirectory dir;
    EXPECT_TRUE(CZeDir::removeRecursively(name(dir.file("missing"))));
    ASSERT_TRUE(writeFileText(dir.file("file"), "x"));
    EXPECT_TRUE(CZeDir::removeRecursively(name(dir.file("file"))));
    EXPECT_EQ(readFileText(dir.file("file")), "x");
    // The path itself is a link: neither the link nor its target is touched.
    ASSERT_TRUE(CZeDir::mkpath(name(dir.file("target"))));
    ASSERT_TRUE(writeFileText(dir.file("target/in"), "y"));
    ASSERT_EQ(::symlink("target", dir.file("link").c_str()), 0);
    EXPECT_TRUE(CZeDir::removeRecursively(name(dir.file("link"))));
    EXPECT_TRUE(present(dir.file("link")));
    EXPECT_EQ(readFileText(dir.file("target/in")), "y");
}

// While the tree is being removed, another thread swaps a folder of it for
// a link to a victim folder whose files have the same names. The walk must
// neither follow the link nor reach the victim through the swapped name.
TEST(CZeDir, RemoveRecursivelyNeverFollowsALinkSwappedIn)
{
    TemporaryDirectory dir;
    const std::string victim = dir.file("victim"), tree = dir.file("tree");
    const std::string sub = tree + "/sub", held = dir.file("held");
    constexpr int kFiles = 300;
    ASSERT_TRUE(CZeDir::mkpath(name(victim)));
    for (int i = 0; i < kFiles; ++i)
        ASSERT_TRUE(writeFileText(victim + "/f" + std::to_string(i), "k"));
    for (int round = 0; round < 20; ++round) {
        ASSERT_TRUE(CZeDir::mkpath(name(sub)));
        for (int i = 0; i < kFiles; ++i)
            ASSERT_TRUE(writeFileText(sub + "/f" + std::to_string(i), "x"));
        std::atomic<bool> started{false};
        std::thread swapper([&] {
            while (!started.load()) {
            }
            // Somewhere in the middle of the removal, at a different moment
            // each round.
            const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(50 * round);
            while (std::chrono::steady_clock::now() < until) {
            }
            if (::rename(sub.c_str(), held.c_str()) == 0)
                ::symlink(victim.c_str(), sub.c_str());
        });
        started = true;
        CZeDir::removeRecursively(name(tree));
        swapper.join();
        const int root = ::open(dir.path().c_str(), O_RDONLY | O_DIRECTORY);
        removeAt(root, "tree");
        removeAt(root, "held");
        ::close(root);
        for (int i = 0; i < kFiles; ++i)
            ASSERT_TRUE(present(victim + "/f" + std::to_string(i))) << "round " << round;
    }
}

TEST(CZeDir, TempPathComesFromTmpdirOrIsTmp)
{
    SavedVariable saved("TMPDIR");
    ::unsetenv("TMPDIR");
    EXPECT_EQ(utf8(CZeDir::tempPath()), "/tmp");
    ::setenv("TMPDIR", "", 1);
    EXPECT_EQ(utf8(CZeDir::tempPath()), "/tmp");
    ::setenv("TMPDIR", "/var//scratch/./files/", 1);
    EXPECT_EQ(utf8(CZeDir::tempPath()), "/var/scratch/files");
    ::setenv("TMPDIR", "/data/caf\xc3\xa9", 1);
    EXPECT_EQ(utf8(CZeDir::tempPath()), "/data/caf\xc3\xa9");
}

TEST(CZeDir, CleanPath)
{
    const struct {
        const char* in;
        const char* out;
    } cases[] = {
        {"", ""},
        {"/", "/"},
        {"//", "/"},
        {"/a//b///c/", "/a/b/c"},
        {"/a/./b/.", "/a/b"},
        {"/a/b/../c", "/a/c"},
        {"/a/b/../../..", "/"},
        {"/../a", "/a"},
        {"/a/..b/.c/", "/a/..b/.c"},
        {"a/../..", ".."},
        {"../../a/../b", "../../b"},
        {"a/b/../..", "."},
        {"./", "."},
        {"a", "a"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(utf8(CZeDir::cleanPath(name(c.in))), c.out) << "for \"" << c.in << '"';
}

} // namespace
