#include "CZeFile.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

#include "core/io/CZeFileDevicePrivate.h"
#include "core/io/CZeTemporaryFileEngine.h"
#include "core/io/ZeSystemError.h"
#include "core/io/ZeTemporaryFile.h"
#include "core/log/CZeMessageLogger.h"

namespace {

constexpr CZeMessageLogger kLog;
constexpr int64_t kCopyBlock = 4096;

CZeString text(const char* latin1)
{
    return CZeString(CZeLatin1String(latin1));
}

// Both names are one directory entry of one file: the same inode, which has
// no other name. Different spellings of a path (./a, dir/../a, a path through
// a linked directory, another case on a case-blind file system) pass; a hard
// link or a symbolic link to the file is a file of its own.
bool sameEntry(const CZeByteArray& a, const CZeByteArray& b)
{
    struct stat sa, sb;
    if (::lstat(a.constData(), &sa) != 0 || ::lstat(b.constData(), &sb) != 0)
        return false;
    return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino && S_ISREG(sa.st_mode) &&
           sa.st_nlink == 1;
}

bool isSequentialPath(const CZeByteArray& path)
{
    struct stat st;
    if (::stat(path.constData(), &st) != 0)
        return false;
    return !S_ISREG(st.st_mode) && !S_ISBLK(st.st_mode) && !S_ISDIR(st.st_mode);
}

// The folder part of a path, with its slash ("" for a bare name).
CZeByteArray folderOf(const CZeByteArray& path)
{
    const int slash = path.lastIndexOf('/');
    return slash < 0 ? CZeByteArray("") : path.left(slash + 1);
}

} // namespace

CZeFile::CZeFile() : CZeFileDevice(new (std::nothrow) CZeFilePrivate) {}

CZeFile::CZeFile(const CZeString& name) : CZeFile()
{
    if (CZeFilePrivate* d = filePrivate())
        d->fileName = name;
}

CZeFile::~CZeFile()
{
    CZeFile::close();
}

CZeFilePrivate* CZeFile::filePrivate() const
{
    return static_cast<CZeFilePrivate*>(d_ptr);
}

CZeString CZeFile::fileName() const
{
    CZeFilePrivate* const d = filePrivate();
    return d ? d->fileName : CZeString();
}

void CZeFile::setFileName(const CZeString& name)
{
    CZeFilePrivate* const d = filePrivate();
    if (!d)
        return;
    if (isOpen()) {
        kLog.warning("CZeFile::setFileName: File (%s) is already opened",
                     d->fileName.toLocal8Bit().constData());
        return;
    }
    // The next use creates an engine for the new name.
    delete d->engine;
    d->engine = nullptr;
    d->fileName = name;
}

bool CZeFile::open(OpenMode mode)
{
    CZeFilePrivate* const d = filePrivate();
    if (!d)
        return false;
    if (isOpen()) {
        kLog.warning("CZeFile::open: File (%s) already open", d->fileName.toLocal8Bit().constData());
        return false;
    }
    unsetError();
    if (mode & Append)
        mode |= WriteOnly;
    if ((mode & (ReadOnly | WriteOnly | Append)) == 0) {
        kLog.warning("CZeIODevice::open: File access not specified");
        return false;
    }
    CZeGenericFileEngine* const engine = d->engineForUse();
    if (!engine) {
        setError(ResourceError, ZeSystemErrorString(ENOMEM));
        return false;
    }
    if (!engine->open(mode)) {
        d->takeEngineError(OpenError);
        return false;
    }
    CZeIODevice::open(mode);
    if (mode & Append)
        seek(size());
    return true;
}

void CZeFile::close()
{
    CZeFileDevice::close();
}

bool CZeFile::exists() const
{
    return exists(fileName());
}

bool CZeFile::exists(const CZeString& name)
{
    if (name.isEmpty())
        return false;
    struct stat st;
    return ::stat(name.toLocal8Bit().constData(), &st) == 0;
}

bool CZeFile::remove()
{
    CZeFilePrivate* const d = filePrivate();
    if (!d)
        return false;
    if (d->fileName.isEmpty()) {
        kLog.warning("CZeFile::remove: Empty or null file name");
        return false;
    }
    close();
    CZeGenericFileEngine* const engine = d->engineForUse();
    if (!engine) {
        setError(RemoveError, ZeSystemErrorString(ENOMEM));
        return false;
    }
    if (!engine->remove()) {
        d->takeEngineError(RemoveError);
        return false;
    }
    unsetError();
    return true;
}

bool CZeFile::rename(const CZeString& newName)
{
    CZeFilePrivate* const d = filePrivate();
    if (!d)
        return false;
    if (newName.isEmpty()) {
        kLog.warning("CZeFile::rename: Empty or null file name");
        return false;
    }
    if (d->fileName == newName) {
        setError(RenameError, text("Destination file is the same file."));
        return false;
    }
    const CZeByteArray source = d->fileName.toLocal8Bit();
    const CZeByteArray target = newName.toLocal8Bit();
    if (sameEntry(source, target))
        return renameInTwoSteps(newName);
    if (exists(newName)) {
        setError(RenameError, text("Destination file exists"));
        return false;
    }
    if (!exists()) {
        setError(RenameError, text("Source file does not exist."));
        return false;
    }
    close();
    CZeGenericFileEngine* const engine = d->engineForUse();
    if (!engine) {
        setError(RenameError, ZeSystemErrorString(ENOMEM));
        return false;
    }
    if (engine->rename(newName)) {
        d->fileName = newName;
        unsetError();
        return true;
    }
    if (isSequentialPath(source)) {
        setError(RenameError, text("Will not rename sequential file using block copy"));
        return false;
    }
    return renameByCopy(newName);
}

// The target is the source under another spelling: a direct rename could be
// a no-op (or refused), so the file goes through a temporary name beside the
// target and from there to the target.
bool CZeFile::renameInTwoSteps(const CZeString& newName)
{
    CZeFilePrivate* const d = filePrivate();
    close();
    const CZeByteArray source = d->fileName.toLocal8Bit();
    const CZeByteArray target = newName.toLocal8Bit();
    CZeByteArray temporary;
    int errorNumber = 0;
    const int fd = ZeCreateUniqueFile(target + ".XXXXXX", 0600, &temporary, &errorNumber);
    if (fd < 0) {
        setError(RenameError, text("Error while renaming."));
        return false;
    }
    ::close(fd);
    // rename() replaces the placeholder, which only reserved the name.
    if (::rename(source.constData(), temporary.constData()) != 0) {
        ::unlink(temporary.constData());
        setError(RenameError, text("Error while renaming."));
        return false;
    }
    if (::rename(temporary.constData(), target.constData()) != 0) {
        if (::rename(temporary.constData(), source.constData()) != 0) {
            CZeString message = text("Unable to restore from ");
            message.append(CZeString::fromLocal8Bit(temporary));
            message.append(CZeLatin1String(": "));
            message.append(ZeSystemErrorString(errno));
            setError(RenameError, message);
        } else {
            setError(RenameError, text("Error while renaming."));
        }
        return false;
    }
    if (d->engine)
        d->engine->setFileName(newName);
    d->fileName = newName;
    unsetError();
    return true;
}

// The engine could not rename (another file system): copy the bytes to a new
// file beside the target, remove the source, and give the copy the target's
// name and the source's permissions.
bool CZeFile::renameByCopy(const CZeString& newName)
{
    CZeFilePrivate* const d = filePrivate();
    const Permissions sourcePermissions = permissions();
    if (!open(ReadOnly)) {
        setError(RenameError, errorString());
        return false;
    }
    const CZeByteArray target = newName.toLocal8Bit();
    CZeTemporaryFileEngine out(CZeString::fromLocal8Bit(folderOf(target) + "ze_temp.XXXXXX"), 0600);
    if (!out.open(WriteOnly | Truncate)) {
        close();
        setError(RenameError, out.errorString());
        return false;
    }
    CZeString failure;
    char block[kCopyBlock];
    for (;;) {
        const int64_t got = read(block, kCopyBlock);
        if (got < 0) {
            failure = errorString();
            break;
        }
        if (got == 0)
            break;
        if (out.write(block, got) != got) {
            failure = out.errorString();
            break;
        }
    }
    if (!out.close() && failure.isNull())
        failure = out.errorString();
    close();
    const CZeByteArray temporary = out.nativeFileName();
    if (!failure.isNull()) {
        ::unlink(temporary.constData());
        setError(RenameError, failure);
        return false;
    }
    if (!d->engine->remove()) {
        ::unlink(temporary.constData());
        setError(RenameError, text("Cannot remove source file"));
        return false;
    }
    // The source is gone: from here on the copy is kept whatever happens.
    // Its permissions are set while it still has its own unguessable name,
    // so that no entry swapped in under the target's name is changed.
    ::chmod(temporary.constData(), static_cast<mode_t>(sourcePermissions));
    if (::rename(temporary.constData(), target.constData()) != 0) {
        setError(RenameError, ZeSystemErrorString(errno));
        return false;
    }
    d->engine->setFileName(newName);
    d->fileName = newName;
    unsetError();
    return true;
}
