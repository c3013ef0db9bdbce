// Save files: commit by one rename, abandoned saves, symbolic links, refused
// targets and modes, failed writes, and the temporary name.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CZeSaveFile.h"
#include "support/TestText.h"
#include "support/MessageCapture.h"
#include "support/TemporaryDirectory.h"

namespace {

// The entries of the folder other than `except`.
std::vector<std::string> othersIn(const TemporaryDirectory& dir, const std::string& except)
{
    std::vector<std::string> names;
    for (const std::string& n : dir.entries())
        if (n != except)
            names.push_back(n);
    return names;
}

bool allLetters(const std::string& s)
{
    for (char c : s)
        if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')))
            return false;
    return !s.empty();
}

class ScopedUmask {
public:
    explicit ScopedUmask(mode_t mask) : m_previous(::umask(mask)) {}
    ~ScopedUmask() { ::umask(m_previous); }

private:
    mode_t m_previous;
};

TEST(CZeSaveFile, CommitReplacesTheTargetInOneRename)
{
    TemporaryDirectory dir;
    const std::string target = dir.file("settings.json");
    ASSERT_TRUE(writeFileText(target, "old"));
    ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
    const ino_t oldInode = statOf(target).st_ino;

    CZeSaveFile file(name(target));
    ASSERT_TRUE(file.open(CZeIODevice::WriteOnly));
    EXPECT_EQ(file.write("new content"), 11);
    EXPECT_EQ(utf8(file.fileName()), target);

    // Until commit the target is the old file; the bytes sit in a new file
    // beside it, named after it.
    EXPECT_EQ(readFileText(target), "old");
    const std::vector<std::string> temporary = othersIn(dir, "settings.json");
    ASSERT_EQ(temporary.size(), 1u);
    const std::string prefix = "settings.json.";
    ASSERT_EQ(temporary[0].size(), prefix.size() + 6);
    EXPECT_EQ(temporary[0].compare(0, prefix.size(), prefix), 0);
    EXPECT_TRUE(allLetters(temporary[0].substr(prefix.size())));
    const ino_t newInode = statOf(dir.file(temporary[0])).st_ino;
    EXPECT_NE(newInode, oldInode);

    EXPECT_TRUE(file.commit());
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.error(), CZeFileDevice::NoError);
    EXPECT_EQ(readFileText(target), "new content");
    // Renamed, not copied: the target is the very file that was written.
    EXPECT_EQ(statOf(target).st_ino, newInode);
    EXPECT_EQ(statOf(target).st_mode & 07777, 0640u);
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"settings.json"});

    // A second commit has nothing to commit.
    EXPECT_FALSE(file.commit());
}

TEST(CZeSaveFile, AnAbandonedSaveLeavesNothingBehind)
{
    TemporaryDirectory dir;
    const std::string target = dir.file("keep.txt");
    ASSERT_TRUE(writeFileText(target, "original"));
    {
        CZeSaveFile file(name(target));
        ASSERT_TRUE(file.open(CZeIODevice::WriteOnly));
        EXPECT_EQ(file.write("half-written"), 12);
        EXPECT_TRUE(file.flush());
        EXPECT_EQ(dir.entries().size(), 2u);
    }
    EXPECT_EQ(readFileText(target), "original");
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"keep.txt"});

    // Without a target to begin with, none appears.
    {
        CZeSaveFile file(name(dir.file("never.txt")));
        ASSERT_TRUE(file.open(CZeIODevice::WriteOnly));
        file.write("x");
    }
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"keep.txt"});
}

TEST(CZeSaveFile, ASymbolicLinksTargetIsReplacedThroughTheLink)
{
    TemporaryDirectory dir;
    ASSERT_EQ(::mkdir(dir.file("real").c_str(), 0755), 0);
    ASSERT_TRUE(writeFileText(dir.file("real/data.txt"), "old"));
    // A chain of two links, the first relative to its own folder.
    ASSERT_EQ(::symlink("real/data.txt", dir.file("first").c_str()), 0);
    ASSERT_EQ(::symlink(dir.file("first").c_str(), dir.file("second").c_str()), 0);

    CZeSaveFile file(name(dir.file("second")));
    ASSERT_TRUE(file.open(CZeIODevice::WriteOnly));
    file.write("through the links");
    // The temporary file sits beside the real target.
    EXPECT_EQ(namesIn(dir.file("real")).size(), 2u);
    ASSERT_TRUE(file.commit());

    EXPECT_EQ(readFileText(dir.file("real/data.txt")), "through the links");
    EXPECT_TRUE(S_ISLNK(statOf(dir.file("first")).st_mode));
    EXPECT_TRUE(S_ISLNK(statOf(dir.file("second")).st_mode));
    EXPECT_EQ(namesIn(dir.file("real")),
              std::vector<std::string>{"data.txt"});

    // A link to a file that does not exist yet: the file is created.
    ASSERT_EQ(::symlink("real/later.txt", dir.file("to-later").c_str()), 0);
    CZeSaveFile later(name(dir.file("to-later")));
    ASSERT_TRUE(later.open(CZeIODevice::WriteOnly));
    later.write("made");
    ASSERT_TRUE(later.commit());
    EXPECT_EQ(readFileText(dir.file("real/later.txt")), "made");
    EXPECT_TRUE(S_ISLNK(statOf(dir.file("to-later")).st_mode));
}

// Root may write a 0444 file, but a save file goes by the permission bits, so
// the refusal holds for every user.
TEST(CZeSaveFile, ARefusedTargetIsLeftAlone)
{
    TemporaryDirectory dir;
    const std::string target = dir.file("locked.txt");
    ASSERT_TRUE(writeFileText(target, "locked"));
    ASSERT_EQ(::chmod(target.c_str(), 0444), 0);
    MessageCapture capture;

    CZeSaveFile file(name(target));
    EXPECT_FALSE(file.open(CZeIODevice::WriteOnly));
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.error(), CZeFileDevice::WriteError);
    EXPECT_EQ(utf8(file.errorString()), "Existing file is not writable");
    EXPECT_FALSE(file.commit());
    EXPECT_EQ(readFileText(target), "locked");
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"locked.txt"});

    CZeSaveFile folder(name(dir.path()));
    EXPECT_FALSE(folder.open(CZeIODevice::WriteOnly));
    EXPECT_EQ(folder.error(), CZeFileDevice::WriteError);
    EXPECT_EQ(utf8(folder.errorString()), "Filename refers to a directory");

    CZeSaveFile unnamed;
    EXPECT_FALSE(unnamed.open(CZeIODevice::WriteOnly));
    EXPECT_EQ(unnamed.error(), CZeFileDevice::OpenError);

    CZeSaveFile noFolder(name(dir.file("missing/file.txt")));
    EXPECT_FALSE(noFolder.open(CZeIODevice::WriteOnly));
    EXPECT_EQ(noFolder.error(), CZeFileDevice::OpenError);
    EXPECT_EQ(utf8(noFolder.errorString()), "No such file or directory");
    EXPECT_EQ(capture.count(), 0u);
}

TEST(CZeSaveFile, OnlyWriteOnlyModesAreAccepted)
{
    TemporaryDirectory dir;
    MessageCapture capture;
    CZeSaveFile file(name(dir.file("out")));
    const struct {
        CZeIODevice::OpenMode mode;
        const char* warning;
    } refused[] = {
        {CZeIODevice::ReadWrite, "CZeSaveFile::open: Unsupported open mode 0x3"},
        {CZeIODevice::ReadOnly, "CZeSaveFile::open: Unsupported open mode 0x1"},
        {CZeIODevice::WriteOnly | CZeIODevice::Append, "CZeSaveFile::open: Unsupported open mode 0x6"},
        {CZeIODevice::ReadOnly | CZeIODevice::Text, "CZeSaveFile::open: Unsupported open mode 0x11"},
        {CZeIODevice::NotOpen, "CZeSaveFile::open: Open mode not specified"},
        {CZeIODevice::Append, "CZeSaveFile::open: Open mode not specified"},
    };
    for (const auto& r : refused) {
        capture.clear();
        EXPECT_FALSE(file.open(r.mode));
        const auto m = capture.messages();
        ASSERT_EQ(m.size(), 1u);
        EXPECT_EQ(m[0].priority, 5);
        EXPECT_EQ(m[0].text, r.warning);
    }
    EXPECT_TRUE(dir.entries().empty());

    ASSERT_TRUE(file.open(CZeIODevice::WriteOnly));
    capture.clear();
    EXPECT_FALSE(file.open(CZeIODevice::WriteOnly));
    ASSERT_EQ(capture.count(), 1u);
    EXPECT_EQ(capture.messages()[0].text,
              "CZeSaveFile::open: File (" + dir.file("out") + ") already open");
    capture.clear();
    file.setFileName(name(dir.file("elsewhere")));
    ASSERT_EQ(capture.count(), 1u);
    EXPECT_EQ(capture.messages()[0].text,
              "CZeSaveFile::setFileName: File (" + dir.file("out") + ") is already opened");
    EXPECT_EQ(utf8(file.fileName()), dir.file("out"));
}

TEST(CZeSaveFile, CloseIsAnErrorAndChangesNothing)
{
    TemporaryDirectory dir;
    MessageCapture capture;
    CZeSaveFile file(name(dir.file("out")));
    ASSERT_TRUE(file.open(CZeIODevice::WriteOnly));
    file.write("a");
    file.close();
    const auto m = capture.messages();
    ASSERT_EQ(m.size(), 1u);
    EXPECT_EQ(m[0].priority, 6);
    EXPECT_EQ(m[0].text, "CZeSaveFile::close called");
    EXPECT_TRUE(file.isOpen());
    file.write("b");
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(readFileText(dir.file("out")), "ab");
}

// A write that the system refuses (here: beyond the file-size limit, which
// binds root too) makes the save fail as a whole.
TEST(CZeSaveFile, AFailedWriteDiscardsTheSave)
{
    TemporaryDirectory dir;
    const std::string target = dir.file("big.bin");
    ASSERT_TRUE(writeFileText(target, "small"));
    const std::string block(64 * 1024, 'b');

    CZeSaveFile file(name(target));
    ASSERT_TRUE(file.open(CZeIODevice::WriteOnly));
    struct rlimit previous;
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &previous), 0);
    void (*previousHandler)(int) = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = previous;
    small.rlim_cur = 4096;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const int64_t written = file.write(block.data(), static_cast<int64_t>(block.size()));
    const bool committed = file.commit();
    ::setrlimit(RLIMIT_FSIZE, &previous);
    std::signal(SIGXFSZ, previousHandler);

    EXPECT_LE(written, 4096);
    EXPECT_FALSE(committed);
    EXPECT_EQ(file.error(), CZeFileDevice::WriteError);
    EXPECT_EQ(utf8(file.errorString()), std::strerror(EFBIG));
    EXPECT_EQ(readFileText(target), "small");
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"big.bin"});
}

} // namespace
