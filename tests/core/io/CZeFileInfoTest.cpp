// File information: what exists, types, links, sizes, permission classes and
// identities, and the warning for stat() failures other than a missing file.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "CZeFileInfo.h"
#include "support/TestText.h"
#include "support/MessageCapture.h"
#include "support/TemporaryDirectory.h"

namespace {

TEST(CZeFileInfo, FilesFoldersAndMissingPaths)
{
    TemporaryDirectory dir;
    ASSERT_TRUE(writeFileText(dir.file("data.bin"), "12345"));
    ASSERT_EQ(::chmod(dir.file("data.bin").c_str(), 0640), 0);
    MessageCapture capture;

    const CZeFileInfo file(name(dir.file("data.bin")));
    EXPECT_TRUE(file.exists());
    EXPECT_TRUE(file.isFile());
    EXPECT_FALSE(file.isDir());
    EXPECT_FALSE(file.isSymLink());
    EXPECT_FALSE(file.isRelative());
    EXPECT_EQ(file.size(), 5);
    EXPECT_EQ(file.permissions(), 0640u);

    const CZeFileInfo folder(name(dir.path()));
    EXPECT_TRUE(folder.exists());
    EXPECT_TRUE(folder.isDir());
    EXPECT_FALSE(folder.isFile());

    const CZeFileInfo missing(name(dir.file("missing")));
    EXPECT_FALSE(missing.exists());
    EXPECT_FALSE(missing.isFile());
    EXPECT_FALSE(missing.isDir());
    EXPECT_EQ(missing.size(), 0);
    EXPECT_EQ(missing.permissions(), 0u);
    EXPECT_TRUE(missing.fileId().isEmpty());
    EXPECT_FALSE(CZeFileInfo().exists());
    EXPECT_EQ(capture.count(), 0u); // a missing file is no failure

    EXPECT_TRUE(CZeFileInfo(name("relative/path")).isRelative());
    EXPECT_TRUE(CZeFileInfo(CZeString()).isRelative());

    // The answers are read when asked for again.
    CZeFileInfo later(name(dir.file("later")));
    EXPECT_FALSE(later.exists());
    ASSERT_TRUE(writeFileText(dir.file("later"), "ab"));
    EXPECT_FALSE(later.exists());
    later.refresh();
    EXPECT_TRUE(later.exists());
    EXPECT_EQ(later.size(), 2);
}

TEST(CZeFileInfo, StatFailuresOtherThanMissingAreReported)
{
    TemporaryDirectory dir;
    ASSERT_TRUE(writeFileText(dir.file("plain"), "x"));
    ASSERT_EQ(::symlink("loop-b", dir.file("loop-a").c_str()), 0);
    ASSERT_EQ(::symlink("loop-a", dir.file("loop-b").c_str()), 0);
    MessageCapture capture;

    // A file used as a folder (ENOTDIR).
    const std::string below = dir.file("plain/child");
    EXPECT_FALSE(CZeFileInfo(name(below)).exists());
    auto m = capture.messages();
    ASSERT_EQ(m.size(), 1u);
    EXPECT_EQ(m[0].priority, 5);
    EXPECT_EQ(m[0].text, "stat() failed for '" + below + "'");
    capture.clear();

    // A loop of links (ELOOP): the link itself is there.
    const CZeFileInfo loop(name(dir.file("loop-a")));
    EXPECT_TRUE(loop.isSymLink());
    EXPECT_FALSE(loop.exists());
    m = capture.messages();
    ASSERT_EQ(m.size(), 1u);
    EXPECT_EQ(m[0].text, "stat() failed for '" + dir.file("loop-a") + "'");
}

// Writability is read from the permission bits of the class that applies to
// the process, so a read-only mark holds for root as well.
TEST(CZeFileInfo, PermissionClassesDecideReadableAndWritable)
{
    TemporaryDirectory dir;
    const std::string path = dir.file("f");
    ASSERT_TRUE(writeFileText(path, "x"));
    const struct {
        mode_t mode;
        bool readable;
        bool writable;
    } own[] = {{0644, true, true}, {0444, true, false}, {0200, false, true}, {0077, false, false}};
    for (const auto& c : own) {
        ASSERT_EQ(::chmod(path.c_str(), c.mode), 0);
        const CZeFileInfo info(name(path));
        EXPECT_EQ(info.isReadable(), c.readable) << std::oct << c.mode;
        EXPECT_EQ(info.isWritable(), c.writable) << std::oct << c.mode;
    }
    EXPECT_FALSE(CZeFileInfo(name(dir.file("missing"))).isWritable());

    // Another owner and group: the bits for others apply (only root can
    // hand a file over).
    if (::chown(path.c_str(), 54321, 54321) != 0)
        return;
    ASSERT_EQ(::chmod(path.c_str(), 0662), 0);
    EXPECT_TRUE(CZeFileInfo(name(path)).isWritable());
    EXPECT_FALSE(CZeFileInfo(name(path)).isReadable());
    ASSERT_EQ(::chmod(path.c_str(), 0664), 0);
    EXPECT_FALSE(CZeFileInfo(name(path)).isWritable());
}

} // namespace
