// Files on disk: open modes, error codes and texts, flushing, text-mode
// lines, maps, remove and rename with its fallbacks.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <vector>
#include <sys/stat.h>
#include <unistd.h>

#include "CZeFile.h"
#include "core/io/CZeGenericFileEngine.h"
#include "core/io/ZeSystemError.h"
#include "support/TestText.h"
#include "support/MessageCapture.h"
#include "support/TemporaryDirectory.h"

namespace {

// The descriptor that the process has open on `path`, or -1.
int descriptorOf(const std::string& path)
{
    DIR* dir = ::opendir("/proc/self/fd");
    if (!dir)
        return -1;
    int found = -1;
    while (const dirent* e = ::readdir(dir)) {
        char target[4096];
        const std::string link = std::string("/proc/self/fd/") + e->d_name;
        const ssize_t n = ::readlink(link.c_str(), target, sizeof target - 1);
        if (n > 0 && std::string(target, static_cast<size_t>(n)) == path)
            found = std::atoi(e->d_name);
    }
    ::closedir(dir);
    return found;
}

TEST(CZeFile, OpenFailuresAndTheirTexts)
{
    TemporaryDirectory dir;
    MessageCapture capture;

    CZeFile missing(name(dir.file("missing")));
    EXPECT_FALSE(missing.open(CZeIODevice::ReadOnly));
    EXPECT_EQ(missing.error(), CZeFileDevice::OpenError);
    EXPECT_EQ(utf8(missing.errorString()), "No such file or directory");
    EXPECT_EQ(capture.count(), 0u);

    CZeFile folder(name(dir.path()));
    EXPECT_FALSE(folder.open(CZeIODevice::ReadOnly));
    EXPECT_EQ(folder.error(), CZeFileDevice::OpenError);
    EXPECT_EQ(utf8(folder.errorString()), "file to open is a directory");
    EXPECT_FALSE(folder.open(CZeIODevice::WriteOnly));
    EXPECT_EQ(folder.error(), CZeFileDevice::OpenError);
    EXPECT_EQ(utf8(folder.errorString()), std::strerror(EISDIR));

    CZeFile unnamed;
    EXPECT_FALSE(unnamed.open(CZeIODevice::ReadOnly));
    EXPECT_EQ(warning(capture), "CZeGenericFileEngine::open: No file name specified");
    EXPECT_EQ(unnamed.error(), CZeFileDevice::OpenError);
    EXPECT_EQ(utf8(unnamed.errorString()), "No file name specified");

    capture.clear();
    CZeFile file(name(dir.file("f")));
    EXPECT_FALSE(file.open(CZeIODevice::NotOpen));
    EXPECT_FALSE(file.open(CZeIODevice::Text));
    EXPECT_EQ(capture.count(), 2u);
    EXPECT_EQ(capture.messages()[0].text, "CZeIODevice::open: File access not specified");

    ASSERT_TRUE(file.open(CZeIODevice::WriteOnly));
    EXPECT_EQ(file.error(), CZeFileDevice::NoError);
    EXPECT_EQ(utf8(file.errorString()), "Unknown error");
    capture.clear();
    EXPECT_FALSE(file.open(CZeIODevice::ReadOnly));
    EXPECT_EQ(warning(capture), "CZeFile::open: File (" + dir.file("f") + ") already open");
    capture.clear();
    file.setFileName(name(dir.file("other")));
    EXPECT_EQ(warning(capture), "CZeFile::setFileName: File (" + dir.file("f") + ") is already opened");
    EXPECT_EQ(utf8(file.fileName()), dir.file("f"));

    // The stream is not handed to child processes.
    const int fd = descriptorOf(dir.file("f"));
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(::fcntl(fd, F_GETFD) & FD_CLOEXEC);
}

TEST(CZeFile, ModesKeepOrReplaceTheContent)
{
    TemporaryDirectory dir;
    const std::string path = dir.file("f");
    CZeFile file(name(path));

    ASSERT_TRUE(writeFileText(path, "abc"));
    ASSERT_TRUE(file.open(CZeIODevice::Append));
    EXPECT_EQ(file.openMode(), CZeIODevice::Append | CZeIODevice::WriteOnly);
    EXPECT_EQ(file.pos(), 3);
    EXPECT_EQ(file.write("de"), 2);
    file.close();
    EXPECT_EQ(readFileText(path), "abcde");

    ASSERT_TRUE(file.open(CZeIODevice::ReadWrite));
    EXPECT_EQ(text(file.read(2)), "ab");
    EXPECT_EQ(file.write("XY"), 2); // right after a read, at the position
    file.close();
    EXPECT_EQ(readFileText(path), "abXYe");

    ASSERT_TRUE(file.open(CZeIODevice::WriteOnly)); // write-only empties the file
    file.close();
    EXPECT_EQ(fileSizeOf(path), 0);

    CZeFile fresh(name(dir.file("new")));
    ASSERT_TRUE(fresh.open(CZeIODevice::ReadWrite));
    EXPECT_TRUE(fresh.exists());
}

TEST(CZeFile, AReadRightAfterAWriteFlushesFirst)
{
    TemporaryDirectory dir;
    const std::string path = dir.file("f");
    CZeFile file(name(path));
    ASSERT_TRUE(file.open(CZeIODevice::ReadWrite | CZeIODevice::Truncate));
    EXPECT_EQ(file.write("hello"), 5);
    EXPECT_EQ(fileSizeOf(path), 0); // still in the stream's buffer
    char buf[8];
    EXPECT_EQ(file.read(buf, sizeof buf), 0);
    EXPECT_EQ(fileSizeOf(path), 5);
    EXPECT_TRUE(file.atEnd());

    EXPECT_EQ(file.write(" you"), 4);
    EXPECT_EQ(file.size(), 9); // size() flushes too
    EXPECT_FALSE((file.seek(0), file.atEnd()));
    EXPECT_EQ(text(file.readAll()), "hello you");
    EXPECT_TRUE(file.atEnd());
    EXPECT_TRUE(file.flush());
}

TEST(CZeFile, SeekFlushAndUnmapWithoutAStream)
{
    TemporaryDirectory dir;
    MessageCapture capture;
    CZeFile file(name(dir.file("f")));
    EXPECT_FALSE(file.flush());
    EXPECT_EQ(warning(capture), "CZeFileDevice::flush: No file engine. Is IODevice open?");
    capture.clear();
    EXPECT_FALSE(file.seek(0));
    EXPECT_EQ(warning(capture), "CZeFileDevice::seek: IODevice is not open");
    capture.clear();
    uint8_t byte = 0;
    EXPECT_FALSE(file.unmap(&byte));
    EXPECT_EQ(warning(capture), "No file engine available or engine does not support UnMapExtension");

    ASSERT_TRUE(writeFileText(dir.file("f"), "0123456789"));
    ASSERT_TRUE(file.open(CZeIODevice::ReadOnly));
    ASSERT_TRUE(file.seek(4));
    capture.clear();
    EXPECT_FALSE(file.seek(-1));
    EXPECT_EQ(file.error(), CZeFileDevice::PositionError);
    EXPECT_EQ(utf8(file.errorString()), std::strerror(EINVAL));
    EXPECT_EQ(file.pos(), 4);
    EXPECT_EQ(text(file.read(2)), "45");
    EXPECT_EQ(file.error(), CZeFileDevice::NoError);
    EXPECT_EQ(capture.count(), 0u);
}

TEST(CZeFile, Maps)
{
    TemporaryDirectory dir;
    const std::string data(10000, 'm');
    ASSERT_TRUE(writeFileText(dir.file("f"), data));
    MessageCapture capture;
    CZeFile file(name(dir.file("f")));
    EXPECT_EQ(file.map(0, 10), nullptr);
    EXPECT_EQ(file.error(), CZeFileDevice::PermissionsError);
    EXPECT_EQ(utf8(file.errorString()), "Permission denied");

    ASSERT_TRUE(file.open(CZeIODevice::ReadOnly));
    EXPECT_EQ(file.map(-1, 10), nullptr);
    EXPECT_EQ(file.error(), CZeFileDevice::UnspecifiedError);
    EXPECT_EQ(utf8(file.errorString()), std::strerror(EINVAL));

    // An offset inside a page: the engine maps from the page start.
    uint8_t* p = file.map(4097, 100);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(p), 100), data.substr(4097, 100));
    // Copy-on-write: writable, the file is untouched.
    uint8_t* q = file.map(0, 16, CZeFileDevice::MapPrivateOption);
    ASSERT_NE(q, nullptr);
    q[0] = 'W';
    EXPECT_EQ(capture.count(), 0u);

    uint8_t* beyond = file.map(9000, 2000);
    EXPECT_NE(beyond, nullptr);
    EXPECT_EQ(warning(capture), "CZeGenericFileEngine::map: Mapping a file beyond its size is not portable");

    EXPECT_TRUE(file.unmap(p));
    EXPECT_FALSE(file.unmap(p)); // not mapped any more
    EXPECT_TRUE(file.unmap(q));
    EXPECT_TRUE(file.unmap(beyond));
    file.close();
    EXPECT_EQ(readFileText(dir.file("f")), data);
}

TEST(CZeFile, Remove)
{
    TemporaryDirectory dir;
    MessageCapture capture;
    CZeFile unnamed;
    EXPECT_FALSE(unnamed.remove());
    EXPECT_EQ(warning(capture), "CZeFile::remove: Empty or null file name");

    ASSERT_TRUE(writeFileText(dir.file("f"), "x"));
    CZeFile file(name(dir.file("f")));
    ASSERT_TRUE(file.open(CZeIODevice::ReadOnly));
    EXPECT_TRUE(file.remove());
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(fileSizeOf(dir.file("f")), -1);
    EXPECT_FALSE(file.remove());
    EXPECT_EQ(file.error(), CZeFileDevice::RemoveError);
    EXPECT_EQ(utf8(file.errorString()), "No such file or directory");
}

TEST(CZeFile, RenameRefusals)
{
    TemporaryDirectory dir;
    MessageCapture capture;
    ASSERT_TRUE(writeFileText(dir.file("a"), "A"));
    ASSERT_TRUE(writeFileText(dir.file("b"), "B"));
    CZeFile file(name(dir.file("a")));

    EXPECT_FALSE(file.rename(CZeString()));
    EXPECT_EQ(warning(capture), "CZeFile::rename: Empty or null file name");
    EXPECT_FALSE(file.rename(name(dir.file("a"))));
    EXPECT_EQ(utf8(file.errorString()), "Destination file is the same file.");
    EXPECT_FALSE(file.rename(name(dir.file("b"))));
    EXPECT_EQ(utf8(file.errorString()), "Destination file exists");
    EXPECT_EQ(file.error(), CZeFileDevice::RenameError);
    EXPECT_EQ(readFileText(dir.file("a")), "A");
    EXPECT_EQ(readFileText(dir.file("b")), "B");

    CZeFile missing(name(dir.file("missing")));
    EXPECT_FALSE(missing.rename(name(dir.file("c"))));
    EXPECT_EQ(utf8(missing.errorString()), "Source file does not exist.");

    // A hard link is a file of its own: the destination exists.
    ASSERT_EQ(::link(dir.file("a").c_str(), dir.file("hard").c_str()), 0);
    EXPECT_FALSE(file.rename(name(dir.file("hard"))));
    EXPECT_EQ(utf8(file.errorString()), "Destination file exists");
    EXPECT_EQ(capture.count(), 1u);
}

TEST(CZeFile, RenameMovesTheFile)
{
    TemporaryDirectory dir;
    ASSERT_TRUE(writeFileText(dir.file("a"), "content"));
    CZeFile file(name(dir.file("a")));
    ASSERT_TRUE(file.open(CZeIODevice::ReadOnly));
    EXPECT_TRUE(file.rename(name(dir.file("b"))));
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(utf8(file.fileName()), dir.file("b"));
    EXPECT_EQ(readFileText(dir.file("b")), "content");
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"b"});
    // The file works under its new name.
    ASSERT_TRUE(file.open(CZeIODevice::ReadOnly));
    EXPECT_EQ(text(file.readAll()), "content");

    // Another spelling of the same name goes through a temporary name.
    ::mkdir(dir.file("sub").c_str(), 0755);
    CZeFile inner(name(dir.file("sub/x")));
    ASSERT_TRUE(inner.open(CZeIODevice::WriteOnly));
    inner.write("x");
    EXPECT_TRUE(inner.rename(name(dir.file("sub/./x"))));
    EXPECT_EQ(utf8(inner.fileName()), dir.file("sub/./x"));
    EXPECT_EQ(readFileText(dir.file("sub/x")), "x");
    EXPECT_EQ(namesIn(dir.file("sub")), std::vector<std::string>{"x"}); // no temporary left
}

// Across file systems rename() fails and the file is copied. Needs a second
// file system for scratch files (/dev/shm on Linux).
TEST(CZeFile, RenameAcrossFileSystemsCopies)
{
    TemporaryDirectory here, there("/dev/shm");
    struct stat a, b;
    if (!there.isValid() || ::stat(here.path().c_str(), &a) != 0 ||
        ::stat(there.path().c_str(), &b) != 0 || a.st_dev == b.st_dev)
        GTEST_SKIP() << "no second file system for scratch files";
    std::string data;
    for (int i = 0; i < 10000; ++i)
        data += static_cast<char>('a' + i % 26);
    ASSERT_TRUE(writeFileText(here.file("src"), data));
    ::chmod(here.file("src").c_str(), 0604);
    CZeFile file(name(here.file("src")));
    EXPECT_TRUE(file.rename(name(there.file("dst")))) << utf8(file.errorString());
    EXPECT_EQ(utf8(file.fileName()), there.file("dst"));
    EXPECT_EQ(readFileText(there.file("dst")), data);
    EXPECT_EQ(fileSizeOf(here.file("src")), -1);
    EXPECT_EQ(there.entries(), std::vector<std::string>{"dst"});
    struct stat st;
    ASSERT_EQ(::stat(there.file("dst").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0604u);
}

TEST(CZeFile, ResizeAndPermissions)
{
    TemporaryDirectory dir;
    ASSERT_TRUE(writeFileText(dir.file("f"), "0123456789"));
    CZeFile file(name(dir.file("f")));
    ASSERT_TRUE(file.open(CZeIODevice::ReadWrite));
    ASSERT_TRUE(file.seek(8));
    EXPECT_TRUE(file.resize(4));
    EXPECT_EQ(file.pos(), 4);
    EXPECT_TRUE(file.setPermissions(0640));
    EXPECT_EQ(file.permissions(), 0640u);
    file.close();
    EXPECT_EQ(readFileText(dir.file("f")), "0123");
}

} // namespace
