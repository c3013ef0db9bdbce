#include "CZeDir.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
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

// Creates one directory; an existing directory (made by someone else in the
// meantime, too) counts as success.
bool makeOne(const CZeByteArray& native)
{
    if (::mkdir(native.constData(), 0777) == 0)
        return true;
    return errno == EEXIST && isDirectory(native.constData());
}

// Removes one entry that is not a directory to descend into. A file that
// resists and has no owner-write bit gets it and one more try.
bool removeEntry(const CZeByteArray& path, const struct stat& st)
{
    if (::unlink(path.constData()) == 0)
        return true;
    if (S_ISLNK(st.st_mode) || (st.st_mode & S_IWUSR))
        return false;
    if (::chmod(path.constData(), (st.st_mode & 07777) | S_IWUSR) != 0)
        return false;
    return ::unlink(path.constData()) == 0;
}

// The tree below `path` (a directory, not a link) and then `path` itself.
bool removeTree(const CZeByteArray& path)
{
    DIR* dir = ::opendir(path.constData());
    if (!dir)
        return false;
    bool ok = true;
    while (const dirent* e = ::readdir(dir)) {
        if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0)
            continue;
        CZeByteArray child = path;
        child.append('/');
        child.append(e->d_name);
        struct stat st;
        if (::lstat(child.constData(), &st) != 0) {
            ok = ok && errno == ENOENT; // gone already is as good as removed
            continue;
        }
        const bool removed = S_ISDIR(st.st_mode) ? removeTree(child) : removeEntry(child, st);
        ok = ok && removed;
    }
    ::closedir(dir);
    return ok && ::rmdir(path.constData()) == 0;
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
    if (isDirectory(native.constData()))
        return true;
    // Every prefix that ends before a separator, then the whole path.
    for (int i = 1; i < native.size(); ++i) {
        if (native.at(i) != '/')
            continue;
        const CZeByteArray parent = native.left(i);
        if (!isDirectory(parent.constData()) && !makeOne(parent))
            return false;
    }
    return makeOne(native);
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
    return removeTree(cleanPath(path).toLocal8Bit());
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
