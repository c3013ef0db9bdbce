// Files on disk: open modes, errors, flushing, maps, remove and rename.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CZeFile.h"
#include "support/TemporaryDirectory.h"
#include "support/TestText.h"

namespace {

// The descriptor that the process has open on `path`, or -1.
int descriptorOf(const std::string& path)
{
    const struct stat file = statOf(path);
    struct stat st;
    for (int fd = 3; fd < 1024; ++fd)
        if (::fstat(fd, &st) == 0 && st.st_ino == file.st_ino && st.st_dev == file.st_dev)
            return fd;
    return -1;
}

// Whatever the mode, an open file refuses a second open and a new name, and
// its stream is not handed to child processes.
TEST(CZeFile, OpenModesKeepOrReplaceTheContent)
{
    const CZeIODevice::OpenMode append = CZeIODevice::Append, rw = CZeIODevice::ReadWrite;
    const struct {
        const char *name, *before; // before: null when there is no file yet
        CZeIODevice::OpenMode mode;
        int pos, readFirst; // where the open leaves the file, bytes read before writing
        const char *write, *after;
    } rows[] = {
        { "append adds at the end", "abc", append, 3, 0, "de", "abcde" },
        { "read-write writes after a read", "abcde", rw, 0, 2, "XY", "abXYe" },
        { "read-write creates", nullptr, rw, 0, 0, "new", "new" },
        { "read-write-truncate empties", "abc", rw | CZeIODevice::Truncate, 0, 0, "x", "x" },
        { "write-only empties", "abc", CZeIODevice::WriteOnly, 0, 0, "", "" },
    };
    TemporaryDirectory dir;
    MessageCapture capture;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = dir.file(row.name);
        ASSERT_TRUE(!row.before || writeFileText(path, row.before));
        CZeFile file(name(path));
        ASSERT_TRUE(file.open(row.mode)) << utf8(file.errorString());
        EXPECT_EQ(file.error(), CZeFileDevice::NoError);
        EXPECT_EQ(utf8(file.errorString()), "Unknown error");
        EXPECT_EQ(::fcntl(descriptorOf(path), F_GETFD), FD_CLOEXEC); // not inherited by children
        EXPECT_FALSE(file.open(CZeIODevice::ReadOnly));
        EXPECT_EQ(onlyWarning(capture), "CZeFile::open: File (" + path + ") already open");
        file.setFileName(name(path + "2"));
        EXPECT_EQ(
            onlyWarning(capture), "CZeFile::setFileName: File (" + path + ") is already opened");
        EXPECT_EQ(utf8(file.fileName()), path);
        EXPECT_EQ(file.pos(), row.pos);
        EXPECT_EQ(row.readFirst ? text(file.read(row.readFirst)) : "",
            std::string(row.before ? row.before : "", size_t(row.readFirst)));
        EXPECT_EQ(file.write(row.write), int64_t(std::strlen(row.write)));
        file.close();
        EXPECT_EQ(readFileText(path), row.after);
    }
}

TEST(CZeFile, OpenRefusalsAndTheirTexts)
{
    TemporaryDirectory dir;
    const struct {
        const char* name;
        std::string path;
        CZeIODevice::OpenMode mode;
        CZeFileDevice::FileError error;
        std::string text, warning; // warning: empty when none
    } rows[] = {
        { "missing", dir.file("missing"), CZeIODevice::ReadOnly, CZeFileDevice::OpenError,
            "No such file or directory", "" },
        { "folder to read", dir.path(), CZeIODevice::ReadOnly, CZeFileDevice::OpenError,
            "file to open is a directory", "" },
        { "folder to write", dir.path(), CZeIODevice::WriteOnly, CZeFileDevice::OpenError,
            std::strerror(EISDIR), "" },
        { "no name", "", CZeIODevice::ReadOnly, CZeFileDevice::OpenError, "No file name specified",
            "CZeGenericFileEngine::open: No file name specified" },
        { "no access", dir.file("f"), CZeIODevice::NotOpen, CZeFileDevice::NoError, "Unknown error",
            "CZeIODevice::open: File access not specified" },
        { "text only", dir.file("f"), CZeIODevice::Text, CZeFileDevice::NoError, "Unknown error",
            "CZeIODevice::open: File access not specified" },
    };
    MessageCapture capture;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CZeFile file(name(row.path));
        EXPECT_FALSE(file.open(row.mode));
        EXPECT_FALSE(file.isOpen());
        EXPECT_EQ(file.error(), row.error);
        EXPECT_EQ(utf8(file.errorString()), row.text);
        EXPECT_EQ(capture.count() ? onlyWarning(capture) : "", row.warning);
    }
    EXPECT_EQ(dir.entries(), std::vector<std::string> {});
}

TEST(CZeFile, AReadRightAfterAWriteFlushesFirstAndResizeCuts)
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

    // Cutting the file moves a position past its new end back to the end.
    EXPECT_TRUE(file.resize(4));
    EXPECT_EQ(file.pos(), 4);
    EXPECT_TRUE(file.setPermissions(0640));
    EXPECT_EQ(file.permissions(), 0640u);
    file.close();
    EXPECT_EQ(readFileText(path), "hell");
}

TEST(CZeFile, SeeksAndMaps)
{
    TemporaryDirectory dir;
    const std::string data(10000, 'm');
    ASSERT_TRUE(writeFileText(dir.file("f"), data));
    MessageCapture capture;
    CZeFile file(name(dir.file("f")));
    EXPECT_FALSE(file.flush()); // not open yet
    EXPECT_EQ(onlyWarning(capture), "CZeFileDevice::flush: No file engine. Is IODevice open?");
    EXPECT_FALSE(file.seek(0));
    EXPECT_EQ(onlyWarning(capture), "CZeFileDevice::seek: IODevice is not open");
    uint8_t byte = 0;
    EXPECT_FALSE(file.unmap(&byte));
    EXPECT_EQ(
        onlyWarning(capture), "No file engine available or engine does not support UnMapExtension");
    EXPECT_EQ(file.map(0, 10), nullptr);
    EXPECT_EQ(file.error(), CZeFileDevice::PermissionsError);
    EXPECT_EQ(utf8(file.errorString()), "Permission denied");

    ASSERT_TRUE(file.open(CZeIODevice::ReadOnly));
    ASSERT_TRUE(file.seek(4));
    EXPECT_FALSE(file.seek(-1));
    EXPECT_EQ(file.error(), CZeFileDevice::PositionError);
    EXPECT_EQ(utf8(file.errorString()), std::strerror(EINVAL));
    EXPECT_EQ(file.pos(), 4);
    EXPECT_EQ(text(file.read(2)), "mm");
    EXPECT_EQ(file.error(), CZeFileDevice::NoError);
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
    EXPECT_EQ(warning(capture),
        "CZeGenericFileEngine::map: Mapping a file beyond its size is not portable");
    EXPECT_TRUE(file.unmap(p));
    EXPECT_FALSE(file.unmap(p)); // not mapped any more
    EXPECT_TRUE(file.unmap(q));
    EXPECT_TRUE(file.unmap(beyond));
    file.close();
    EXPECT_EQ(readFileText(dir.file("f")), data);
}

TEST(CZeFile, RemoveAndRenameRefusals)
{
    TemporaryDirectory dir;
    ASSERT_TRUE(writeFileText(dir.file("a"), "A"));
    ASSERT_TRUE(writeFileText(dir.file("b"), "B"));
    // A hard link is a file of its own: the destination exists.
    ASSERT_EQ(::link(dir.file("a").c_str(), dir.file("hard").c_str()), 0);
    MessageCapture capture;
    EXPECT_FALSE(CZeFile().remove());
    EXPECT_EQ(onlyWarning(capture), "CZeFile::remove: Empty or null file name");
    EXPECT_FALSE(CZeFile(name(dir.file("a"))).rename(CZeString()));
    EXPECT_EQ(onlyWarning(capture), "CZeFile::rename: Empty or null file name");

    const struct {
        const char *from, *to, *text;
    } rows[] = { { "a", "a", "Destination file is the same file." },
        { "a", "b", "Destination file exists" }, { "a", "hard", "Destination file exists" },
        { "missing", "c", "Source file does not exist." } };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.from) + " to " + row.to);
        CZeFile file(name(dir.file(row.from)));
        EXPECT_FALSE(file.rename(name(dir.file(row.to))));
        EXPECT_EQ(file.error(), CZeFileDevice::RenameError);
        EXPECT_EQ(utf8(file.errorString()), row.text);
    }
    EXPECT_EQ(readFileText(dir.file("a")), "A");
    EXPECT_EQ(readFileText(dir.file("b")), "B");
    EXPECT_EQ(dir.entries(), (std::vector<std::string> { "a", "b", "hard" }));

    CZeFile file(name(dir.file("b")));
    ASSERT_TRUE(file.open(CZeIODevice::ReadOnly));
    EXPECT_TRUE(file.remove());
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(fileSizeOf(dir.file("b")), -1);
    EXPECT_FALSE(file.remove());
    EXPECT_EQ(file.error(), CZeFileDevice::RemoveError);
    EXPECT_EQ(utf8(file.errorString()), "No such file or directory");
    EXPECT_EQ(capture.count(), 0u);
}

// A file moves to a new name in its folder, to another spelling of its own
// name (through a temporary name) and to another file system when there is
// one (by copying, /dev/shm on Linux), keeping its bytes and permissions and
// leaving no temporary file behind.
TEST(CZeFile, RenameMovesTheFile)
{
    TemporaryDirectory dir, other("/dev/shm");
    ASSERT_EQ(::mkdir(dir.file("sub").c_str(), 0755), 0);
    const bool otherFileSystem
        = other.isValid() && statOf(dir.path()).st_dev != statOf(other.path()).st_dev;
    std::string data;
    for (int i = 0; i < 10000; ++i)
        data += char('a' + i % 26);
    const struct {
        std::string from, to;
    } rows[] = {
        { dir.file("a"), dir.file("b") },
        { dir.file("sub/x"), dir.file("sub/./x") },
        { dir.file("c"), otherFileSystem ? other.file("d") : dir.file("d") },
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.to);
        ASSERT_TRUE(writeFileText(row.from, data));
        ASSERT_EQ(::chmod(row.from.c_str(), 0604), 0);
        CZeFile file(name(row.from));
        ASSERT_TRUE(file.open(CZeIODevice::ReadOnly));
        EXPECT_TRUE(file.rename(name(row.to))) << utf8(file.errorString());
        EXPECT_FALSE(file.isOpen());
        EXPECT_EQ(utf8(file.fileName()), row.to);
        ASSERT_TRUE(file.open(CZeIODevice::ReadOnly));
        EXPECT_EQ(text(file.readAll()), data);
        EXPECT_EQ(statOf(row.to).st_mode & 07777, 0604u);
    }
    const std::vector<std::string> there { "d" };
    EXPECT_EQ(dir.entries(), (std::vector<std::string> { "b", "sub" }));
    EXPECT_EQ(otherFileSystem ? other.entries() : dir.entries(), there);
    EXPECT_EQ(namesIn(dir.file("sub")), std::vector<std::string> { "x" });
}

} // namespace
