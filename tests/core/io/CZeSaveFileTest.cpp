// Save files: commit by one rename, abandoned saves, symbolic links, refused
// targets and modes, and the temporary name. Failed writes under a file-size
// limit are tested by the save-file stress test.
#include <gtest/gtest.h>

#include <regex>
#include <sys/stat.h>
#include <unistd.h>

#include "CZeSaveFile.h"
#include "support/TemporaryDirectory.h"
#include "support/TestText.h"

namespace {

TEST(CZeSaveFile, CommitReplacesTheTargetInOneRenameAndAbandoningChangesNothing)
{
    TemporaryDirectory dir;
    const std::string target = dir.file("settings.json");
    ASSERT_TRUE(writeFileText(target, "old"));
    ASSERT_EQ(::chmod(target.c_str(), 0640), 0);

    CZeSaveFile file(name(target));
    ASSERT_TRUE(file.open(CZeIODevice::WriteOnly));
    EXPECT_EQ(file.write("new content"), 11);
    EXPECT_EQ(utf8(file.fileName()), target);
    // Until commit the target is the old file; the bytes sit in a new file
    // beside it, named after it with six letters.
    EXPECT_EQ(readFileText(target), "old");
    const std::vector<std::string> names = dir.entries();
    ASSERT_EQ(names.size(), 2u);
    EXPECT_TRUE(std::regex_match(names[1], std::regex(R"(settings\.json\.[A-Za-z]{6})")))
        << names[1];
    const ino_t written = statOf(dir.file(names[1])).st_ino;

    EXPECT_TRUE(file.commit());
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.error(), CZeFileDevice::NoError);
    EXPECT_EQ(readFileText(target), "new content");
    // Renamed, not copied: the target is the very file that was written.
    EXPECT_EQ(statOf(target).st_ino, written);
    EXPECT_EQ(statOf(target).st_mode & 07777, 0640u);
    EXPECT_EQ(dir.entries(), std::vector<std::string> { "settings.json" });
    EXPECT_FALSE(file.commit()); // nothing left to commit

    // An abandoned save leaves nothing behind, with and without a target.
    for (const char* abandoned : { "settings.json", "never.json" }) {
        CZeSaveFile again(name(dir.file(abandoned)));
        ASSERT_TRUE(again.open(CZeIODevice::WriteOnly));
        EXPECT_EQ(again.write("half-written"), 12);
        EXPECT_TRUE(again.flush());
        EXPECT_EQ(dir.entries().size(), 2u) << abandoned;
    }
    EXPECT_EQ(readFileText(target), "new content");
    EXPECT_EQ(dir.entries(), std::vector<std::string> { "settings.json" });
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
    EXPECT_EQ(namesIn(dir.file("real")).size(), 2u); // the temporary file beside the target
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(readFileText(dir.file("real/data.txt")), "through the links");
    EXPECT_TRUE(S_ISLNK(statOf(dir.file("first")).st_mode));
    EXPECT_TRUE(S_ISLNK(statOf(dir.file("second")).st_mode));
    EXPECT_EQ(namesIn(dir.file("real")), std::vector<std::string> { "data.txt" });

    ASSERT_EQ(::symlink("real/later.txt", dir.file("to-later").c_str()), 0); // nothing there yet
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
    ASSERT_TRUE(writeFileText(dir.file("locked.txt"), "locked"));
    ASSERT_EQ(::chmod(dir.file("locked.txt").c_str(), 0444), 0);
    const struct {
        const char* name;
        CZeString path;
        CZeFileDevice::FileError error;
        const char* text;
    } rows[] = {
        { "read-only file", name(dir.file("locked.txt")), CZeFileDevice::WriteError,
            "Existing file is not writable" },
        { "folder", name(dir.path()), CZeFileDevice::WriteError, "Filename refers to a directory" },
        { "no name", CZeString(), CZeFileDevice::OpenError, "No file name specified" },
        { "no folder", name(dir.file("missing/file.txt")), CZeFileDevice::OpenError,
            "No such file or directory" },
    };
    MessageCapture capture;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CZeSaveFile file(row.path);
        EXPECT_FALSE(file.open(CZeIODevice::WriteOnly));
        EXPECT_FALSE(file.isOpen());
        EXPECT_EQ(file.error(), row.error);
        EXPECT_EQ(utf8(file.errorString()), row.text);
        EXPECT_FALSE(file.commit());
    }
    EXPECT_EQ(readFileText(dir.file("locked.txt")), "locked");
    EXPECT_EQ(dir.entries(), std::vector<std::string> { "locked.txt" });
    EXPECT_EQ(capture.count(), 0u);
}

// A save file is write-only. Once open, it is only ended by commit or by the
// object's end: close is an error, and opening again or renaming is refused.
TEST(CZeSaveFile, OnlyWriteOnlyModesAndNoCloseReopenOrRename)
{
    TemporaryDirectory dir;
    MessageCapture capture;
    const std::string out = dir.file("out");
    CZeSaveFile file(name(out));
    const char* const unsupported = "CZeSaveFile::open: Unsupported open mode 0x";
    const char* const unspecified = "CZeSaveFile::open: Open mode not specified";
    const struct {
        CZeIODevice::OpenMode mode;
        std::string warning;
    } refused[] = { { CZeIODevice::ReadWrite, unsupported + std::string("3") },
        { CZeIODevice::ReadOnly, unsupported + std::string("1") },
        { CZeIODevice::WriteOnly | CZeIODevice::Append, unsupported + std::string("6") },
        { CZeIODevice::ReadOnly | CZeIODevice::Text, unsupported + std::string("11") },
        { CZeIODevice::NotOpen, unspecified }, { CZeIODevice::Append, unspecified } };
    for (const auto& r : refused) {
        EXPECT_FALSE(file.open(r.mode));
        EXPECT_EQ(onlyWarning(capture), r.warning) << "mode " << r.mode;
    }
    EXPECT_TRUE(dir.entries().empty());

    ASSERT_TRUE(file.open(CZeIODevice::WriteOnly));
    file.write("a");
    file.close();
    const auto m = capture.messages();
    ASSERT_EQ(m.size(), 1u);
    EXPECT_EQ(m[0].priority, 6);
    EXPECT_EQ(m[0].text, "CZeSaveFile::close called");
    EXPECT_TRUE(file.isOpen());
    capture.clear();
    EXPECT_FALSE(file.open(CZeIODevice::WriteOnly));
    EXPECT_EQ(onlyWarning(capture), "CZeSaveFile::open: File (" + out + ") already open");
    file.setFileName(name(dir.file("elsewhere")));
    EXPECT_EQ(warning(capture), "CZeSaveFile::setFileName: File (" + out + ") is already opened");
    EXPECT_EQ(utf8(file.fileName()), out);
    file.write("b");
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(readFileText(out), "ab");
    EXPECT_EQ(dir.entries(), std::vector<std::string> { "out" });
}

} // namespace
