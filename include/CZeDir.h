/*
 * CZeDir - the directory operations of the core.
 *
 *   CZeString logs = CZeString::fromUtf8("/data/user/0/app/files/corvidsdk/log");
 *   if (!CZeDir::mkpath(logs))                  // with every missing parent
 *       ...;
 *   CZeDir::removeRecursively(logs);            // the tree, links not followed
 *   CZeString tmp = CZeDir::tempPath();         // $TMPDIR, else "/tmp"
 *
 * Only absolute paths are accepted: a relative or empty path is refused with
 * a warning and false, and nothing on disk is touched. The process's working
 * directory never matters. Nothing throws.
 */
#ifndef CZEDIR_H
#define CZEDIR_H

#include "ZeGlobal.h"

#include "CZeString.h"

class ZE_EXPORT CZeDir {
public:
    // Creates the directory and every missing parent (permissions 0777 less
    // the process's umask). True when the path is a directory afterwards, also
    // when it already was one.
    static bool mkpath(const CZeString& path);
    // Removes the one directory, which must be empty; its parents stay.
    static bool rmdir(const CZeString& path);
    // Removes the directory with everything in it. Symbolic links inside it
    // are removed as links and never followed; a read-only file that resists
    // is made owner-writable and tried once more. A failure does not stop the
    // walk: everything removable is removed, and the result is false with the
    // directory left in place. A path that does not exist, is not a directory
    // or is itself a symbolic link gives true and is left as it is.
    static bool removeRecursively(const CZeString& path);

    // The directory for temporary files: TMPDIR when set and not empty, else
    // "/tmp"; cleaned (see cleanPath).
    static CZeString tempPath();
    // Drops repeated and trailing separators and "." parts, and resolves ".."
    // parts against the part before them ("/a//b/./../c/" gives "/a/c").
    // ".." above the root is dropped; above the start of a relative path it
    // is kept. A relative path that cleans away completely gives ".".
    static CZeString cleanPath(const CZeString& path);

private:
    CZeDir() = delete;
};

#endif /* CZEDIR_H */
