// File information: types, links, sizes, identities, permissions, stat() failures.
#include <gtest/gtest.h>

#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

#include "CZeFileInfo.h"
#include "support/TemporaryDirectory.h"
#include "support/TestText.h"

namespace {

// What a path names after links are followed. A missing path is an answer;
// other stat() failures are reported.
TEST(CZeFileInfo, FilesFoldersLinksFailuresAndPermissions)
{
    TemporaryDirectory dir;
    ASSERT_TRUE(writeFileText(dir.file("data.bin"), "12345"));
    ASSERT_EQ(::chmod(dir.file("data.bin").c_str(), 0640), 0);
    ASSERT_EQ(::mkdir(dir.file("sub").c_str(), 0700), 0);
    ASSERT_EQ(::symlink("data.bin", dir.file("link").c_str()), 0);
    ASSERT_EQ(::symlink("nothing", dir.file("dangling").c_str()), 0);
    ASSERT_EQ(::symlink("loop-b", dir.file("loop-a").c_str()), 0);
    ASSERT_EQ(::symlink("loop-a", dir.file("loop-b").c_str()), 0);
    const struct {
        const char* path;
        bool exists, isFile, isDir, isSymLink, warns;
        int64_t size; // -1: not checked
        unsigned permissions;
    } rows[] = {
        { "data.bin", true, true, false, false, false, 5, 0640 },
        { "sub", true, false, true, false, false, -1, 0700 },
        { "link", true, true, false, true, false, 5, 0640 },
        { "dangling", false, false, false, true, false, 0, 0 },
        { "missing", false, false, false, false, false, 0, 0 },
        { "data.bin/child", false, false, false, false, true, 0, 0 }, // ENOTDIR
        { "loop-a", false, false, false, true, true, 0, 0 }, // ELOOP
    };
    MessageCapture capture;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        const std::string path = dir.file(row.path);
        const CZeFileInfo info(name(path));
        EXPECT_EQ(info.exists(), row.exists);
        EXPECT_EQ(info.isFile(), row.isFile);
        EXPECT_EQ(info.isDir(), row.isDir);
        EXPECT_EQ(info.isSymLink(), row.isSymLink);
        EXPECT_FALSE(info.isRelative());
        EXPECT_EQ(row.size < 0 ? -1 : info.size(), row.size);
        EXPECT_EQ(info.permissions(), row.permissions);
        // The identity is the device in hexadecimal and the inode in decimal.
        struct stat st;
        char id[64] = "";
        if (::stat(path.c_str(), &st) == 0)
            std::snprintf(id, sizeof id, "%llx:%llu", (unsigned long long)st.st_dev,
                (unsigned long long)st.st_ino);
        EXPECT_EQ(text(info.fileId()), id);
        EXPECT_EQ(capture.count() ? onlyWarning(capture) : "",
            row.warns ? "stat() failed for '" + path + "'" : "");
    }
    EXPECT_FALSE(CZeFileInfo().exists());
    EXPECT_TRUE(CZeFileInfo(name("relative/path")).isRelative());
    EXPECT_TRUE(CZeFileInfo(CZeString()).isRelative());

    // The answers are read when asked for again.
    CZeFileInfo later(name(dir.file("later")));
    ASSERT_TRUE(writeFileText(dir.file("later"), "ab"));
    EXPECT_FALSE(later.exists());
    later.refresh();
    EXPECT_TRUE(later.exists());
    EXPECT_EQ(later.size(), 2);

    // Readable and writable come from the permission bits of the class that
    // applies to the process, so a read-only mark holds for root as well.
    const std::string path = dir.file("later");
    const struct {
        mode_t mode;
        bool readable, writable;
    } own[] = { { 0644, true, true }, { 0444, true, false }, { 0200, false, true },
        { 0077, false, false } };
    for (const auto& c : own) {
        ASSERT_EQ(::chmod(path.c_str(), c.mode), 0);
        const CZeFileInfo info(name(path));
        EXPECT_EQ(info.isReadable(), c.readable) << std::oct << c.mode;
        EXPECT_EQ(info.isWritable(), c.writable) << std::oct << c.mode;
    }
    EXPECT_FALSE(CZeFileInfo(name(dir.file("missing"))).isWritable());
    // Another owner and group (only root can hand a file over): others' bits.
    if (::chown(path.c_str(), 54321, 54321) != 0)
        return;
    ASSERT_EQ(::chmod(path.c_str(), 0662), 0);
    EXPECT_TRUE(CZeFileInfo(name(path)).isWritable());
    EXPECT_FALSE(CZeFileInfo(name(path)).isReadable());
    ASSERT_EQ(::chmod(path.c_str(), 0664), 0);
    EXPECT_FALSE(CZeFileInfo(name(path)).isWritable());
}

} // namespace
