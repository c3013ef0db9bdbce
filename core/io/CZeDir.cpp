#include "CZeDir.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CZeFileInfo.h"
#include "core/log/CZeMessageLogger.h"

namespace {

constexpr CZeMessageLogger kLog;

bool isAbsolute(const CZeString& path)
{
    return !path.isEmpty() && path.at(0) == CZeChar('/');
}

bool isDirectory(const char* native)
{
    struct stat st;
    return ::stat(native, &st) == 0 && S_ISDIR(st.st_mode);
}

// Every walk below works on the descriptor of the folder it stands in, so
// that a name swapped for a symbolic link between two steps is never
// followed: each entry is looked at and acted on relative to its parent.

int openFolderAt(int parent, const char* name, bool followLink)
{
    int fd;
    do {
        fd = ::openat(parent, name,
                      O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followLink ? 0 : O_NOFOLLOW));
    } while (fd < 0 && errno == EINTR);
    return fd;
}

bool removeAt(int parent, const char* name);

// Everything inside the folder open as `folder` (which is closed here).
bool removeContents(int folder)
{
    DIR* dir = ::fdopendir(folder);
    if (!dir) {
        ::close(folder);
        return false;
    }
    bool ok = true;
    while (const dirent* e = ::readdir(dir)) {
        if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0)
            ok = removeAt(::dirfd(dir), e->d_name) && ok;
    }
    ::closedir(dir);
    return ok;
}

// A file that resists removal and has no owner-write bit gets that bit and
// one more try; a link is never given it (nor its target).
bool removeStubborn(int parent, const char* name)
{
    const int fd = ::openat(parent, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat st;
    const bool retry = ::fstat(fd, &st) == 0 && !S_ISDIR(st.st_mode) && !(st.st_mode & S_IWUSR) &&
                       ::fchmod(fd, (st.st_mode & 07777) | S_IWUSR) == 0;
    ::close(fd);
    return retry && ::unlinkat(parent, name, 0) == 0;
}

// Removes the entry `name` of the folder `parent`: a folder with everything
// in it, anything else (a link included) as the entry itself.
bool removeAt(int parent, const char* name)
{
    const int folder = openFolderAt(parent, name, false);
    if (folder >= 0) {
        const bool emptied = removeContents(folder);
        return ::unlinkat(parent, name, AT_REMOVEDIR) == 0 && emptied;
    }
    if (errno == ENOENT)
        return true; // gone already is as good as removed
    if (errno != ENOTDIR && errno != ELOOP)
        return false;
    if (::unlinkat(parent, name, 0) == 0 || errno == ENOENT)
        return true;
    return removeStubborn(parent, name);
}

// Creates each missing folder of the absolute `native` path, one step at a
// time from the held parent. Links among the folders are followed, as a
// path to create through them (such as a linked storage folder) asks.
bool makePath(const CZeByteArray& native)
{
    int folder = ::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    bool ok = folder >= 0;
    int start = 1;
    while (ok && start < native.size()) {
        int end = native.indexOf('/', start);
        if (end < 0)
            end = native.size();
        const CZeByteArray name = native.mid(start, end - start);
        start = end + 1;
        if (name.isEmpty())
            continue;
        if (::mkdirat(folder, name.constData(), 0777) != 0 && errno != EEXIST)
            ok = false;
        const int next = ok ? openFolderAt(folder, name.constData(), true) : -1;
        ::close(folder);
        folder = next;
        ok = folder >= 0;
    }
    if (folder >= 0)
        ::close(folder);
    return ok;
}

} // namespace

bool CZeDir::mkpath(const CZeString& path)
{
    if (path.isEmpty()) {
        kLog.warning("CZeDir::mkpath: Empty or null path name");
        return false;
    }
    if (!isAbsolute(path)) {
        kLog.warning("CZeDir::mkpath: only accept absolute dir path!");
        return false;
    }
    const CZeByteArray native = cleanPath(path).toLocal8Bit();
    return isDirectory(native.constData()) || makePath(native);
}

bool CZeDir::rmdir(const CZeString& path)
{
    if (path.isEmpty()) {
        kLog.warning("CZeDir::rmdir: Empty or null path name");
        return false;
    }
    if (!isAbsolute(path)) {
        kLog.warning("CZeDir::rmdir: only accept absolute dir path!");
        return false;
    }
    return ::rmdir(path.toLocal8Bit().constData()) == 0;
}

bool CZeDir::removeRecursively(const CZeString& path)
{
    if (!isAbsolute(path)) {
        kLog.warning("CZeDir::removeRecursively: only accept absolute dir path!");
        return false;
    }
    const CZeFileInfo info(path);
    if (!info.exists() || !info.isDir() || info.isSymLink())
        return true;
    const CZeByteArray native = cleanPath(path).toLocal8Bit();
    const int slash = native.lastIndexOf('/');
    if (slash == 0 && native.size() == 1)
        return false; // the root is not taken apart
    const int parent = ::open(slash == 0 ? "/" : native.left(slash).constData(),
                              O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (parent < 0)
        return false;
    // Swapped for a link (or a file) since the check: nothing is removed.
    const CZeByteArray name = native.mid(slash + 1);
    const int folder = openFolderAt(parent, name.constData(), false);
    bool removed = folder < 0 && (errno == ENOTDIR || errno == ELOOP || errno == ENOENT);
    if (folder >= 0) {
        const bool emptied = removeContents(folder);
        removed = ::unlinkat(parent, name.constData(), AT_REMOVEDIR) == 0 && emptied;
    }
    ::close(parent);
    return removed;
}

CZeString CZeDir::tempPath()
{
    const char* value = std::getenv("TMPDIR");
    CZeString path = value && *value ? CZeString::fromLocal8Bit(value)
                                     : CZeString(CZeLatin1String("/tmp"));
    return cleanPath(path);
}

CZeString CZeDir::cleanPath(const CZeString& path)
{
    const int n = path.size();
    if (n == 0)
        return path;
    const CZeChar* s = path.unicode();
    const CZeChar slash('/');
    const CZeChar dot('.');
    CZeString result(n, Ze::Uninitialized);
    if (result.size() != n)
        return path; // no memory: the path as it came
    CZeChar* out = result.data();
    int w = 0;
    const bool absolute = s[0] == slash;
    if (absolute)
        out[w++] = slash;
    const int base = w; // the root stays whatever ".." asks

    int i = 0;
    while (i < n) {
        while (i < n && s[i] == slash)
            ++i;
        const int start = i;
        while (i < n && s[i] != slash)
            ++i;
        const int length = i - start;
        if (length == 0 || (length == 1 && s[start] == dot))
            continue;
        if (length == 2 && s[start] == dot && s[start + 1] == dot) {
            // Start of the last written part.
            int last = w;
            while (last > base && out[last - 1] != slash)
                --last;
            const bool lastIsUp = w - last == 2 && out[last] == dot && out[last + 1] == dot;
            if (w > base && !lastIsUp) {
                w = last > base ? last - 1 : base;
                continue;
            }
            if (absolute)
                continue; // nothing above the root
        }
        if (w > base)
            out[w++] = slash;
        for (int k = 0; k < length; ++k)
            out[w++] = s[start + k];
    }
    if (w == 0) {
        out[w++] = dot;
    }
    result.truncate(w);
    return result;
}
