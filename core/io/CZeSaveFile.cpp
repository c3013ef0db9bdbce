#include "CZeSaveFile.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

#include "CZeFileInfo.h"
#include "core/io/CZeFileDevicePrivate.h"
#include "core/io/CZeTemporaryFileEngine.h"
#include "core/io/ZeSystemError.h"
#include "core/log/CZeMessageLogger.h"

namespace {

constexpr CZeMessageLogger kLog;
constexpr int kMaxLinkSteps = 128;

CZeString text(const char* latin1)
{
    return CZeString(CZeLatin1String(latin1));
}

CZeByteArray folderOf(const CZeByteArray& path)
{
    const int slash = path.lastIndexOf('/');
    return slash < 0 ? CZeByteArray("") : path.left(slash + 1);
}

// The file a chain of symbolic links leads to, or `name` itself when it is no
// link or the chain does not end within kMaxLinkSteps links. The folder of the
// file found is made canonical where it exists, so that the name does not
// depend on how relative link targets climb through linked folders.
CZeString resolveLinks(const CZeString& name)
{
    CZeByteArray current = name.toLocal8Bit();
    for (int step = 0;; ++step) {
        // readlink is the test itself: no separate look at the entry that a
        // swap could make stale. Not a link, or nothing there: the chain ends.
        char target[PATH_MAX];
        const ssize_t n = ::readlink(current.constData(), target, sizeof target);
        if (n < 0) {
            if (step == 0)
                return name;
            break;
        }
        if (n <= 0 || n >= static_cast<ssize_t>(sizeof target) || step == kMaxLinkSteps)
            return name;
        const CZeByteArray next(target, static_cast<int>(n));
        current = next.startsWith("/") ? next : folderOf(current) + next;
    }
    const int slash = current.lastIndexOf('/');
    if (slash < 0)
        return CZeString::fromLocal8Bit(current);
    const CZeByteArray folder = slash == 0 ? CZeByteArray("/") : current.left(slash);
    char canonical[PATH_MAX];
    if (!::realpath(folder.constData(), canonical))
        return CZeString::fromLocal8Bit(current);
    CZeByteArray resolved(canonical);
    if (!resolved.endsWith("/"))
        resolved.append('/');
    resolved.append(current.mid(slash + 1));
    return CZeString::fromLocal8Bit(resolved);
}

} // namespace

class CZeSaveFilePrivate : public CZeFileDevicePrivate {
public:
    CZeString fileName;      // the target as given
    CZeString finalFileName; // the target after symbolic links
    // 0 while the save may be committed; else the error that discards it,
    // kept with its text so that later successful calls do not hide it.
    CZeFileDevice::FileError writeError = CZeFileDevice::NoError;
    CZeString writeErrorString;

    void setWriteError(CZeFileDevice::FileError code, const CZeString& text)
    {
        writeError = code;
        writeErrorString = text;
    }
};

CZeSaveFile::CZeSaveFile() : CZeFileDevice(new (std::nothrow) CZeSaveFilePrivate) {}

CZeSaveFile::CZeSaveFile(const CZeString& name) : CZeSaveFile()
{
    if (CZeSaveFilePrivate* d = savePrivate())
        d->fileName = name;
}

CZeSaveFile::~CZeSaveFile()
{
    discard();
}

CZeSaveFilePrivate* CZeSaveFile::savePrivate() const
{
    return static_cast<CZeSaveFilePrivate*>(d_ptr);
}

// Closes and removes the temporary file, if there is one.
void CZeSaveFile::discard()
{
    CZeSaveFilePrivate* const d = savePrivate();
    if (!d || !d->engine)
        return;
    CZeFileDevice::close();
    d->engine->remove();
    delete d->engine;
    d->engine = nullptr;
    d->setWriteError(NoError, CZeString());
}

CZeString CZeSaveFile::fileName() const
{
    CZeSaveFilePrivate* const d = savePrivate();
    return d ? d->fileName : CZeString();
}

void CZeSaveFile::setFileName(const CZeString& name)
{
    CZeSaveFilePrivate* const d = savePrivate();
    if (!d)
        return;
    if (isOpen()) {
        kLog.warning("CZeSaveFile::setFileName: File (%s) is already opened",
                     d->fileName.toLocal8Bit().constData());
        return;
    }
    d->fileName = name;
}

bool CZeSaveFile::open(OpenMode mode)
{
    CZeSaveFilePrivate* const d = savePrivate();
    if (!d)
        return false;
    if (isOpen()) {
        kLog.warning("CZeSaveFile::open: File (%s) already open",
                     d->fileName.toLocal8Bit().constData());
        return false;
    }
    unsetError();
    if ((mode & ReadWrite) == 0) {
        kLog.warning("CZeSaveFile::open: Open mode not specified");
        return false;
    }
    if (mode & (ReadOnly | Append)) {
        kLog.warning("CZeSaveFile::open: Unsupported open mode 0x%x", mode);
        return false;
    }
    if (d->fileName.isEmpty()) {
        setError(OpenError, text("No file name specified"));
        return false;
    }
    // An earlier save that was abandoned without commit() leaves nothing.
    discard();

    const CZeFileInfo target(d->fileName);
    if (target.exists() && !target.isWritable()) {
        setError(WriteError, text("Existing file is not writable"));
        d->setWriteError(WriteError, errorString());
        return false;
    }
    if (target.isDir()) {
        setError(WriteError, text("Filename refers to a directory"));
        d->setWriteError(WriteError, errorString());
        return false;
    }
    d->setWriteError(NoError, CZeString());
    d->finalFileName = resolveLinks(d->fileName);

    const bool existing = target.exists();
    CZeTemporaryFileEngine* engine =
        new (std::nothrow) CZeTemporaryFileEngine(d->finalFileName, existing ? 0600 : 0666);
    if (!engine) {
        setError(ResourceError, ZeSystemErrorString(ENOMEM));
        return false;
    }
    d->engine = engine;
    if (!engine->open(mode)) {
        d->takeEngineError(OpenError);
        delete engine;
        d->engine = nullptr;
        return false;
    }
    CZeIODevice::open(mode);
    if (existing)
        engine->setPermissions(target.permissions());
    return true;
}

void CZeSaveFile::close()
{
    kLog.error("CZeSaveFile::close called");
}

bool CZeSaveFile::commit()
{
    CZeSaveFilePrivate* const d = savePrivate();
    if (!d || !d->engine)
        return false;
    if (!isOpen()) {
        kLog.warning("CZeSaveFile::commit: File (%s) is not open",
                     d->fileName.toLocal8Bit().constData());
        return false;
    }
    CZeFileDevice::close();
    // A final flush that failed lost bytes as surely as a failed write.
    if (d->writeError == NoError && error() != NoError)
        d->setWriteError(error(), errorString());
    if (d->writeError != NoError) {
        setError(d->writeError, d->writeErrorString);
        d->engine->remove();
        d->setWriteError(NoError, CZeString());
        delete d->engine;
        d->engine = nullptr;
        return false;
    }
    if (!d->engine->rename(d->finalFileName)) {
        d->takeEngineError(RenameError);
        d->engine->remove();
        delete d->engine;
        d->engine = nullptr;
        return false;
    }
    delete d->engine;
    d->engine = nullptr;
    unsetError();
    return true;
}

int64_t CZeSaveFile::writeData(const char* data, int64_t size)
{
    const int64_t written = CZeFileDevice::writeData(data, size);
    CZeSaveFilePrivate* const d = savePrivate();
    if (d && written != size && d->writeError == NoError) {
        // A short write leaves its reason with the engine only.
        if (error() == NoError && d->engine && d->engine->error() != NoError)
            d->takeEngineError(WriteError);
        if (error() == NoError)
            setError(WriteError, ZeSystemErrorString(EIO));
        d->setWriteError(error(), errorString());
    }
    return written;
}
