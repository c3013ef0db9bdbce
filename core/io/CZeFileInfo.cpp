#include "CZeFileInfo.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

#include "core/log/CZeMessageLogger.h"

namespace {

constexpr CZeMessageLogger kLog;

// A missing file is an answer, not a failure.
bool statFailed(int result, const CZeByteArray& native)
{
    if (result == 0)
        return false;
    if (errno != ENOENT)
        kLog.warning("stat() failed for '%s'", native.constData());
    return true;
}

bool inSupplementaryGroups(gid_t group)
{
    gid_t groups[64];
    const int n = ::getgroups(64, groups);
    for (int i = 0; i < n; ++i)
        if (groups[i] == group)
            return true;
    return false;
}

} // namespace

CZeFileInfo::CZeFileInfo()
    : m_flags(0), m_mode(0), m_owner(0), m_group(0), m_size(0), m_device(0), m_inode(0)
{
}

CZeFileInfo::CZeFileInfo(const CZeString& path) : CZeFileInfo()
{
    setFile(path);
}

void CZeFileInfo::setFile(const CZeString& path)
{
    m_path = path;
    refresh();
}

void CZeFileInfo::refresh()
{
    m_flags = 0;
    m_mode = 0;
    m_owner = 0;
    m_group = 0;
    m_size = 0;
    m_device = 0;
    m_inode = 0;
    if (m_path.isEmpty())
        return;
    const CZeByteArray native = m_path.toLocal8Bit();
    struct stat st;
    if (statFailed(::lstat(native.constData(), &st), native))
        return;
    if (S_ISLNK(st.st_mode)) {
        m_flags |= IsLink;
        // A dangling link is a link to nothing: no warning.
        if (statFailed(::stat(native.constData(), &st), native))
            return;
    }
    m_flags |= Exists;
    if (S_ISDIR(st.st_mode))
        m_flags |= IsDir;
    else if (S_ISREG(st.st_mode))
        m_flags |= IsFile;
    m_mode = static_cast<unsigned int>(st.st_mode);
    m_owner = static_cast<unsigned int>(st.st_uid);
    m_group = static_cast<unsigned int>(st.st_gid);
    m_size = static_cast<int64_t>(st.st_size);
    m_device = static_cast<uint64_t>(st.st_dev);
    m_inode = static_cast<uint64_t>(st.st_ino);
}

bool CZeFileInfo::exists() const
{
    return (m_flags & Exists) != 0;
}

bool CZeFileInfo::isFile() const
{
    return (m_flags & IsFile) != 0;
}

bool CZeFileInfo::isDir() const
{
    return (m_flags & IsDir) != 0;
}

bool CZeFileInfo::isSymLink() const
{
    return (m_flags & IsLink) != 0;
}

bool CZeFileInfo::isRelative() const
{
    return m_path.isEmpty() || m_path.at(0) != CZeChar('/');
}

CZeFileInfo::Permissions CZeFileInfo::permissions() const
{
    return m_mode & 07777;
}

int64_t CZeFileInfo::size() const
{
    return m_size;
}

// The class of the permission bits that applies to this process: owner when
// it owns the file, else group when it is in the file's group, else others.
bool CZeFileInfo::grants(unsigned int ownerBit) const
{
    if (!exists())
        return false;
    if (static_cast<unsigned int>(::geteuid()) == m_owner)
        return (m_mode & ownerBit) != 0;
    if (static_cast<unsigned int>(::getegid()) == m_group || inSupplementaryGroups(m_group))
        return (m_mode & (ownerBit >> 3)) != 0;
    return (m_mode & (ownerBit >> 6)) != 0;
}

bool CZeFileInfo::isReadable() const
{
    return grants(S_IRUSR);
}

bool CZeFileInfo::isWritable() const
{
    return grants(S_IWUSR);
}

CZeByteArray CZeFileInfo::fileId() const
{
    if (!exists())
        return CZeByteArray();
    char text[48];
    const int n = std::snprintf(text, sizeof text, "%" PRIx64 ":%" PRIu64, m_device, m_inode);
    return CZeByteArray(text, n);
}

bool CZeFileInfo::exists(const CZeString& path)
{
    return CZeFileInfo(path).exists();
}
