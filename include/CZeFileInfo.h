/*
 * CZeFileInfo - what the file system says about one path.
 *
 *   CZeFileInfo info(CZeString::fromUtf8("/sdcard/looks/warm.lut"));
 *   if (info.exists() && !info.isDir())
 *       total += info.size();
 *
 * The answers are read once, when the path is given (refresh() reads them
 * again). exists(), isFile(), isDir(), permissions(), size() and fileId()
 * describe what the path names after symbolic links are followed;
 * isSymLink() describes the path itself, so a dangling link is a symbolic
 * link that does not exist. A missing file is an ordinary answer; any other
 * failure of stat() is reported with the warning "stat() failed for '<path>'"
 * and the path then counts as missing. Nothing throws.
 */
#ifndef CZEFILEINFO_H
#define CZEFILEINFO_H

#include "ZeGlobal.h"

#include <cstdint>

#include "CZeByteArray.h"
#include "CZeString.h"

class ZE_EXPORT CZeFileInfo {
public:
    // POSIX permission bits (07777 mask), as CZeFileDevice::Permissions.
    typedef unsigned int Permissions;

    CZeFileInfo();
    explicit CZeFileInfo(const CZeString& path);

    // Reads the answers for another path.
    void setFile(const CZeString& path);
    // Reads the answers again (the file may have changed).
    void refresh();

    CZeString filePath() const { return m_path; }

    bool exists() const;
    bool isFile() const;      // a regular file
    bool isDir() const;
    bool isSymLink() const;   // the path itself is a symbolic link
    // A path not starting with '/' (the empty path included).
    bool isRelative() const;
    bool isAbsolute() const { return !isRelative(); }

    Permissions permissions() const; // 0 when missing
    int64_t size() const;            // bytes; 0 when missing
    // The permission class that applies to this process (owner, group or
    // others, by its effective ids) grants reading or writing. The bits
    // decide, also for a privileged process: a file marked read-only stays
    // read-only here even where the system would let root write it.
    bool isReadable() const;
    bool isWritable() const;
    // Identity of the file: the device number in hexadecimal and the inode
    // number in decimal, as "<device>:<inode>" (for example "fd01:131075").
    // Two paths with the same identity name the same file. Empty when missing.
    CZeByteArray fileId() const;

    static bool exists(const CZeString& path);

private:
    enum Flag : unsigned int { Exists = 1, IsLink = 2, IsDir = 4, IsFile = 8 };

    CZeString m_path;
    unsigned int m_flags;
    unsigned int m_mode;     // st_mode of the target
    unsigned int m_owner;
    unsigned int m_group;
    int64_t m_size;
    uint64_t m_device;
    uint64_t m_inode;

    bool grants(unsigned int ownerBit) const;
};

#endif /* CZEFILEINFO_H */
