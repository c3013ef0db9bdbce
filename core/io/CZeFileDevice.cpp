#include "CZeFile.h"

#include <cerrno>

#include "core/io/CZeFileDevicePrivate.h"
#include "core/io/ZeSystemError.h"
#include "core/log/CZeMessageLogger.h"

namespace {

constexpr CZeMessageLogger kLog;

inline CZeFileDevicePrivate* fileD(CZeIODevicePrivate* d)
{
    return static_cast<CZeFileDevicePrivate*>(d);
}

} // namespace

CZeFileDevice::CZeFileDevice(CZeFileDevicePrivate* dd) : CZeIODevice(dd) {}

CZeFileDevice::~CZeFileDevice()
{
    CZeFileDevice::close();
}

bool CZeFileDevice::isSequential() const
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    return d && d->engine && d->engine->isSequential();
}

void CZeFileDevice::close()
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    if (!d || !isOpen())
        return;
    const bool flushed = !d->engine || d->flushEngine();
    CZeIODevice::close();
    d->pendingFlush = false;
    d->cachedSize = -1;
    const bool closed = !d->engine || d->engine->close();
    if (flushed && closed)
        unsetError();
    else if (flushed)
        d->takeEngineError(d->engine->error());
}

bool CZeFileDevice::seek(int64_t pos)
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    if (!isOpen() || !d->engine) {
        kLog.warning("CZeFileDevice::seek: IODevice is not open");
        return false;
    }
    if (!d->flushPending())
        return false;
    if (!d->engine->seek(pos)) {
        d->takeEngineError(PositionError);
        return false;
    }
    if (!CZeIODevice::seek(pos))
        return false;
    unsetError();
    return true;
}

int64_t CZeFileDevice::size() const
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    if (!d)
        return 0;
    CZeGenericFileEngine* const engine = d->engineForUse();
    if (!engine || !d->flushPending())
        return 0;
    d->cachedSize = engine->size();
    return d->cachedSize;
}

bool CZeFileDevice::atEnd() const
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    if (!isOpen() || !d->engine)
        return true;
    d->flushPending();
    // A position short of the size seen last needs no system call.
    if (d->cachedSize >= 0 && pos() < d->cachedSize)
        return false;
    return CZeIODevice::atEnd();
}

int64_t CZeFileDevice::readData(char* data, int64_t maxSize)
{
    if (maxSize == 0)
        return 0;
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    if (!d || !d->engine || !d->engine->isOpen())
        return -1;
    unsetError();
    if (!d->flushPending())
        return -1;
    const int64_t got = d->engine->read(data, maxSize);
    if (got < 0)
        d->takeEngineError(ReadError);
    else if (got < maxSize)
        d->cachedSize = -1; // the end came early: the file may have changed
    return got;
}

int64_t CZeFileDevice::readLineData(char* data, int64_t maxSize)
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    if (!d || !d->engine || !d->engine->isOpen())
        return -1;
    if (!d->flushPending())
        return -1;
    const int64_t got = d->engine->readLine(data, maxSize);
    if (got < 0)
        d->takeEngineError(ReadError);
    else if (got < maxSize)
        d->cachedSize = -1;
    return got;
}

int64_t CZeFileDevice::writeData(const char* data, int64_t size)
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    if (!d || !d->engine || !d->engine->isOpen())
        return -1;
    unsetError();
    d->pendingFlush = true;
    const int64_t written = d->engine->write(data, size);
    if (written < 0)
        d->takeEngineError(WriteError);
    return written;
}

CZeString CZeFileDevice::fileName() const
{
    return CZeString();
}

bool CZeFileDevice::resize(int64_t size)
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    if (!d)
        return false;
    CZeGenericFileEngine* const engine = d->engineForUse();
    if (!engine) {
        setError(ResizeError, ZeSystemErrorString(ENOMEM));
        return false;
    }
    if (!d->flushPending())
        return false;
    if (!engine->resize(size)) {
        d->takeEngineError(ResizeError);
        return false;
    }
    d->cachedSize = -1;
    if (isOpen() && pos() > size)
        seek(size);
    unsetError();
    return true;
}

CZeFileDevice::Permissions CZeFileDevice::permissions() const
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    CZeGenericFileEngine* const engine = d ? d->engineForUse() : nullptr;
    return engine ? engine->permissions() : 0;
}

bool CZeFileDevice::setPermissions(Permissions permissions)
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    if (!d)
        return false;
    CZeGenericFileEngine* const engine = d->engineForUse();
    if (!engine) {
        setError(PermissionsError, ZeSystemErrorString(ENOMEM));
        return false;
    }
    if (!engine->setPermissions(permissions)) {
        d->takeEngineError(PermissionsError);
        return false;
    }
    unsetError();
    return true;
}

CZeFileDevice::FileError CZeFileDevice::error() const
{
    return d_ptr ? fileD(d_ptr)->error : ResourceError;
}

void CZeFileDevice::unsetError()
{
    setError(NoError, CZeString());
}

void CZeFileDevice::setError(FileError error, const CZeString& text)
{
    if (!d_ptr)
        return;
    fileD(d_ptr)->error = error;
    d_ptr->errorString = text;
}

bool CZeFileDevice::flush()
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    if (!d || !d->engine) {
        kLog.warning("CZeFileDevice::flush: No file engine. Is IODevice open?");
        return false;
    }
    return d->flushEngine();
}

uint8_t* CZeFileDevice::map(int64_t offset, int64_t size, MemoryMapFlags flags)
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    CZeGenericFileEngine* const engine = d ? d->engineForUse() : nullptr;
    if (!engine) {
        // Nothing to map: the file cannot be open.
        setError(PermissionsError, ZeSystemErrorString(EACCES));
        return nullptr;
    }
    if (!d->flushPending())
        return nullptr;
    uint8_t* address = engine->map(offset, size, flags);
    if (address)
        unsetError();
    else
        d->takeEngineError(engine->error());
    return address;
}

bool CZeFileDevice::unmap(uint8_t* address)
{
    CZeFileDevicePrivate* const d = fileD(d_ptr);
    if (!d || !d->engine) {
        kLog.warning("No file engine available or engine does not support UnMapExtension");
        return false;
    }
    if (!d->engine->unmap(address)) {
        d->takeEngineError(d->engine->error());
        return false;
    }
    unsetError();
    return true;
}
