// Directories: making and removing paths (also under a swapped-in link), paths.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "CZeDir.h"
#include "support/TemporaryDirectory.h"
#include "support/TestText.h"

namespace {

TEST(CZeDir, RelativeAndEmptyPathsAreRefusedWithoutTouchingTheDisk)
{
    const char* const relative = "only accept absolute dir path!";
    const struct {
        const char* name;
        bool (*call)(const CZeString&);
        CZeString path;
        std::string warning;
    } rows[] = {
        { "mkpath relative", CZeDir::mkpath, name("made/below"),
            std::string("CZeDir::mkpath: ") + relative },
        { "mkpath null", CZeDir::mkpath, CZeString(), "CZeDir::mkpath: Empty or null path name" },
        { "mkpath empty", CZeDir::mkpath, name(""), "CZeDir::mkpath: Empty or null path name" },
        { "rmdir relative", CZeDir::rmdir, name("existing"),
            std::string("CZeDir::rmdir: ") + relative },
        { "rmdir null", CZeDir::rmdir, CZeString(), "CZeDir::rmdir: Empty or null path name" },
        { "removeRecursively relative", CZeDir::removeRecursively, name("existing"),
            std::string("CZeDir::removeRecursively: ") + relative },
        { "removeRecursively null", CZeDir::removeRecursively, CZeString(),
            std::string("CZeDir::removeRecursively: ") + relative },
    };
    TemporaryDirectory dir;
    ASSERT_EQ(::mkdir(dir.file("existing").c_str(), 0755), 0);
    // Relative paths would land in the scratch folder if they got through.
    char here[PATH_MAX];
    ASSERT_TRUE(::getcwd(here, sizeof here));
    ASSERT_EQ(::chdir(dir.path().c_str()), 0);
    MessageCapture capture;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_FALSE(row.call(row.path));
        EXPECT_EQ(onlyWarning(capture), row.warning);
    }
    EXPECT_EQ(::chdir(here), 0);
    EXPECT_EQ(dir.entries(), std::vector<std::string> { "existing" });
}

TEST(CZeDir, MkpathRmdirAndRemoveRecursively)
{
    TemporaryDirectory dir;
    MessageCapture capture;
    EXPECT_TRUE(CZeDir::mkpath(name(dir.file("a/b/c"))));
    EXPECT_TRUE(isDir(dir.file("a/b/c")));
    // An existing directory is success; separators and dots are cleaned first.
    EXPECT_TRUE(CZeDir::mkpath(name(dir.path() + "//a/./b/../b/c/")));
    EXPECT_TRUE(CZeDir::mkpath(name(dir.file("a/x//y/"))));
    EXPECT_TRUE(isDir(dir.file("a/x/y")));
    ASSERT_EQ(::symlink("a/b", dir.file("to-b").c_str()), 0);
    EXPECT_TRUE(CZeDir::mkpath(name(dir.file("to-b/d")))); // through a link
    EXPECT_TRUE(isDir(dir.file("a/b/d")));
    // A file in the way cannot become a directory, also for root.
    ASSERT_TRUE(writeFileText(dir.file("plain"), "x"));
    EXPECT_FALSE(CZeDir::mkpath(name(dir.file("plain"))));
    EXPECT_FALSE(CZeDir::mkpath(name(dir.file("plain/sub"))));

    // rmdir takes one empty directory, not its parents.
    EXPECT_FALSE(CZeDir::rmdir(name(dir.file("a/b"))));
    EXPECT_TRUE(CZeDir::rmdir(name(dir.file("a/x/y"))));
    EXPECT_FALSE(present(dir.file("a/x/y")));
    EXPECT_TRUE(isDir(dir.file("a/x")));
    EXPECT_FALSE(CZeDir::rmdir(name(dir.file("a/x/y"))));

    // What is no directory is left as it is: a file, a link to a directory,
    // nothing at all.
    EXPECT_TRUE(CZeDir::removeRecursively(name(dir.file("plain"))));
    EXPECT_TRUE(CZeDir::removeRecursively(name(dir.file("to-b"))));
    EXPECT_TRUE(CZeDir::removeRecursively(name(dir.file("missing"))));
    EXPECT_EQ(readFileText(dir.file("plain")), "x");
    EXPECT_TRUE(present(dir.file("to-b")));
    EXPECT_TRUE(isDir(dir.file("a/b/d")));
    EXPECT_EQ(capture.count(), 0u);
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
        std::atomic<bool> started { false };
        std::thread swapper([&] {
            while (!started.load()) { }
            // Somewhere in the middle of the removal, each round elsewhere.
            const auto until
                = std::chrono::steady_clock::now() + std::chrono::microseconds(50 * round);
            while (std::chrono::steady_clock::now() < until) { }
            if (::rename(sub.c_str(), held.c_str()) == 0)
                ::symlink(victim.c_str(), sub.c_str());
        });
        started = true;
        CZeDir::removeRecursively(name(tree));
        swapper.join();
        std::error_code ignored; // removes links, never follows them
        std::filesystem::remove_all(tree, ignored);
        std::filesystem::remove_all(held, ignored);
        for (int i = 0; i < kFiles; ++i)
            ASSERT_TRUE(present(victim + "/f" + std::to_string(i))) << "round " << round;
    }
}

// The temporary folder is TMPDIR or /tmp, cleaned like every path.
TEST(CZeDir, TempPathAndCleanPath)
{
    const char* const saved = std::getenv("TMPDIR");
    const std::string previous = saved ? saved : "";
    const struct {
        const char *tmpdir, *path; // tmpdir null: unset
    } temporary[]
        = { { nullptr, "/tmp" }, { "", "/tmp" }, { "/var//scratch/./files/", "/var/scratch/files" },
              { "/data/caf\xc3\xa9", "/data/caf\xc3\xa9" } };
    for (const auto& row : temporary) {
        row.tmpdir ? ::setenv("TMPDIR", row.tmpdir, 1) : ::unsetenv("TMPDIR");
        EXPECT_EQ(utf8(CZeDir::tempPath()), row.path)
            << "TMPDIR " << (row.tmpdir ? row.tmpdir : "unset");
    }
    saved ? ::setenv("TMPDIR", previous.c_str(), 1) : ::unsetenv("TMPDIR");

    const struct {
        const char *in, *out;
    } clean[] = { { "", "" }, { "/", "/" }, { "//", "/" }, { "/a//b///c/", "/a/b/c" },
        { "/a/./b/.", "/a/b" }, { "/a/b/../c", "/a/c" }, { "/a/b/../../..", "/" },
        { "/../a", "/a" }, { "/a/..b/.c/", "/a/..b/.c" }, { "a/../..", ".." },
        { "../../a/../b", "../../b" }, { "a/b/../..", "." }, { "./", "." }, { "a", "a" } };
    for (const auto& row : clean)
        EXPECT_EQ(utf8(CZeDir::cleanPath(name(row.in))), row.out) << "for \"" << row.in << '"';
}

} // namespace
