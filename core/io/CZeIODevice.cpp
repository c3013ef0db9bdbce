#include "CZeIODevice.h"

#include <cstring>
#include <new>

#include "core/io/CZeIODevicePrivate.h"
#include "core/log/CZeMessageLogger.h"

namespace {

// Largest byte array a read may produce, and the step in which arrays grow
// when the final size is not known in advance.
constexpr int64_t kMaxArraySize = 2147483622;
constexpr int64_t kChunk = 16384;

// The device's warnings carry no source position: the text is the whole message.
constexpr CZeMessageLogger kLog;

void warnNotReadable(const CZeIODevice* device)
{
    kLog.warning(device->isOpen() ? "WriteOnly device" : "device not open");
}

// The argument checks of the reading entries, each with its warning.
bool sizeAccepted(int64_t maxSize)
{
    if (maxSize >= 0)
        return true;
    kLog.warning("Called with maxSize < 0");
    return false;
}

bool readable(const CZeIODevice* device)
{
    if (device->isReadable())
        return true;
    warnNotReadable(device);
    return false;
}

// Sizes an array can hold; larger requests are cut, with a warning.
int64_t arraySized(int64_t maxSize)
{
    if (maxSize <= kMaxArraySize)
        return maxSize;
    kLog.warning("maxSize argument exceeds CZeByteArray size limit");
    return kMaxArraySize;
}

// Removes the carriage returns from data[0, count) and closes up the bytes
// behind them. Returns the new count.
int64_t dropCarriageReturns(char* data, int64_t count)
{
    char* out = static_cast<char*>(std::memchr(data, '\r', static_cast<size_t>(count)));
    if (!out)
        return count;
    for (const char* in = out; in != data + count; ++in)
        if (*in != '\r')
            *out++ = *in;
    return out - data;
}

// Resizes an array to n bytes; false when the block could not be had (the
// containers do not report allocation failures themselves).
bool resizeTo(CZeByteArray& array, int64_t n)
{
    array.resize(static_cast<int>(n));
    return array.size() == n;
}

// The array cut to what a read stored; empty when nothing (or an error).
CZeByteArray finish(CZeByteArray& array, int64_t count)
{
    if (count <= 0)
        return CZeByteArray();
    array.resize(static_cast<int>(count));
    return array;
}

} // namespace

// ---- Reading core -----------------------------------------------------------

namespace {

// Brings the underlying device to the logical position before a transfer on
// a random-access device. False when the device refuses the seek.
bool synchronise(CZeIODevicePrivate* d)
{
    if (d->isSequential() || d->pos == d->devicePos)
        return true;
    return d->q_ptr->seek(d->pos);
}

} // namespace

// The core read behind read() and peek(). A peek restores the logical
// position but not the device position, so the next transfer seeks back.
int64_t CZeIODevicePrivate::coreRead(char* data, int64_t maxSize, bool peeking)
{
    const bool sequential = isSequential();
    if (peeking && sequential) {
        kLog.warning("Peeking data for sequential device is not supported!");
        return -1;
    }
    const bool textMode = (openMode & CZeIODevice::Text) != 0;
    const int64_t startPos = pos;
    int64_t readSoFar = 0;
    bool lastWasShort = false;
    while (maxSize > 0 && !lastWasShort) {
        if (!synchronise(this)) {
            if (readSoFar == 0)
                readSoFar = -1;
            break;
        }
        const int64_t got = q_ptr->readData(data, maxSize);
        if (got <= 0) {
            if (readSoFar == 0 && got < 0)
                readSoFar = -1;
            break;
        }
        if (!sequential) {
            pos += got;
            devicePos += got;
        }
        lastWasShort = got < maxSize;
        const int64_t kept = textMode ? dropCarriageReturns(data, got) : got;
        readSoFar += kept;
        data += kept;
        maxSize -= kept;
        // Only text mode reads again, to fill the room of the dropped bytes.
        if (!textMode)
            break;
    }
    if (peeking)
        pos = startPos;
    return readSoFar;
}

// ---- Construction -----------------------------------------------------------

CZeIODevice::CZeIODevice() : CZeIODevice(new (std::nothrow) CZeIODevicePrivate) {}

CZeIODevice::CZeIODevice(CZeIODevicePrivate* dd) : d_ptr(dd)
{
    if (d_ptr)
        d_ptr->q_ptr = this;
}

CZeIODevice::~CZeIODevice()
{
    delete d_ptr;
}

// ---- Virtual operations -------------------------------------------------------

bool CZeIODevice::isSequential() const
{
    return false;
}

bool CZeIODevice::open(OpenMode mode)
{
    CZeIODevicePrivate* const d = d_ptr;
    if (!d)
        return false;
    d->openMode = mode;
    d->sequentialCache = CZeIODevicePrivate::NotAsked;
    d->pos = (mode & Append) ? size() : 0;
    d->devicePos = 0; // a freshly opened device stands at its start
    d->errorString.clear();
    return true;
}

void CZeIODevice::close()
{
    CZeIODevicePrivate* const d = d_ptr;
    if (!d || d->openMode == NotOpen)
        return;
    d->openMode = NotOpen;
    d->pos = 0;
    d->devicePos = 0;
}

int64_t CZeIODevice::pos() const
{
    return d_ptr ? d_ptr->pos : 0;
}

int64_t CZeIODevice::size() const
{
    if (d_ptr && d_ptr->isSequential())
        return bytesAvailable();
    return 0;
}

bool CZeIODevice::seek(int64_t pos)
{
    CZeIODevicePrivate* const d = d_ptr;
    if (!d)
        return false;
    if (d->isSequential()) {
        kLog.warning("Cannot call seek on a sequential device");
        return false;
    }
    if (d->openMode == NotOpen) {
        kLog.warning("The device is not open");
        return false;
    }
    if (pos < 0) {
        kLog.warning("CZeIODevice::seek: Invalid pos: %ld", static_cast<long>(pos));
        return false;
    }
    d->pos = pos;
    d->devicePos = pos;
    return true;
}

bool CZeIODevice::atEnd() const
{
    return !isOpen() || bytesAvailable() == 0;
}

bool CZeIODevice::reset()
{
    return seek(0);
}

int64_t CZeIODevice::bytesAvailable() const
{
    if (!d_ptr || d_ptr->isSequential())
        return 0;
    const int64_t left = size() - pos();
    return left > 0 ? left : 0;
}

int64_t CZeIODevice::readLineData(char* data, int64_t maxSize)
{
    CZeIODevicePrivate* const d = d_ptr;
    if (!d)
        return -1;
    d->baseReadLineDataCalled = true;
    const bool sequential = d->isSequential();
    if (maxSize < 1)
        return sequential ? 0 : -1;
    int64_t count = 0;
    while (count < maxSize) {
        char c;
        const int64_t got = read(&c, 1);
        if (got != 1) {
            if (count > 0)
                return count;
            return sequential ? got : -1;
        }
        data[count++] = c;
        if (c == '\n')
            break;
    }
    return count;
}

// ---- Mode ---------------------------------------------------------------------

CZeIODevice::OpenMode CZeIODevice::openMode() const
{
    return d_ptr ? d_ptr->openMode : NotOpen;
}

bool CZeIODevice::isOpen() const
{
    return openMode() != NotOpen;
}

bool CZeIODevice::isReadable() const
{
    return (openMode() & ReadOnly) != 0;
}

bool CZeIODevice::isWritable() const
{
    return (openMode() & WriteOnly) != 0;
}

bool CZeIODevice::isTextModeEnabled() const
{
    return (openMode() & Text) != 0;
}

void CZeIODevice::setTextModeEnabled(bool enabled)
{
    if (!isOpen()) {
        kLog.warning("The device is not open");
        return;
    }
    if (enabled)
        d_ptr->openMode |= Text;
    else
        d_ptr->openMode &= ~static_cast<OpenMode>(Text);
}

void CZeIODevice::setOpenMode(OpenMode mode)
{
    if (d_ptr) {
        d_ptr->openMode = mode;
        d_ptr->sequentialCache = CZeIODevicePrivate::NotAsked;
    }
}

CZeString CZeIODevice::errorString() const
{
    if (!d_ptr || d_ptr->errorString.isEmpty())
        return CZeString(CZeLatin1String("Unknown error"));
    return d_ptr->errorString;
}

void CZeIODevice::setErrorString(const CZeString& text)
{
    if (d_ptr)
        d_ptr->errorString = text;
}

// ---- Reading --------------------------------------------------------------------

int64_t CZeIODevice::read(char* data, int64_t maxSize)
{
    CZeIODevicePrivate* const d = d_ptr;
    if (!d)
        return -1;
    // One byte, before any test of the mode: the common getChar() case.
    if (maxSize == 1) {
        const bool sequential = d->isSequential();
        const bool textMode = (d->openMode & Text) != 0;
        if (!sequential && d->openMode != NotOpen && !synchronise(d))
            return -1;
        while (readData(data, 1) == 1) {
            if (!sequential) {
                ++d->pos;
                ++d->devicePos;
            }
            if (!(textMode && *data == '\r'))
                return 1;
        }
    }
    if (!sizeAccepted(maxSize) || !readable(this))
        return -1;
    return d->coreRead(data, maxSize, false);
}

CZeByteArray CZeIODevice::read(int64_t maxSize)
{
    if (!sizeAccepted(maxSize))
        return CZeByteArray();
    maxSize = arraySized(maxSize);
    CZeByteArray result;
    if (!resizeTo(result, maxSize))
        return CZeByteArray();
    const int64_t got = read(result.data(), maxSize);
    return finish(result, got);
}

CZeByteArray CZeIODevice::readAll()
{
    CZeIODevicePrivate* const d = d_ptr;
    if (!d)
        return CZeByteArray();
    CZeByteArray result;
    const int64_t total = d->isSequential() ? 0 : size();
    if (total != 0) {
        const int64_t left = total - pos();
        if (left > kMaxArraySize || left <= 0)
            return CZeByteArray();
        if (!resizeTo(result, left))
            return CZeByteArray();
        return finish(result, read(result.data(), left));
    }
    // Unknown length: grow in steps until the device has nothing more.
    int64_t readSoFar = 0;
    for (;;) {
        if (!readable(this))
            break;
        if (!resizeTo(result, readSoFar + kChunk))
            break;
        const int64_t got =
            d->coreRead(result.data() + readSoFar, kChunk, false);
        if (got <= 0)
            break;
        readSoFar += got;
        if (readSoFar > kMaxArraySize - kChunk)
            break;
    }
    return finish(result, readSoFar);
}

int64_t CZeIODevice::peek(char* data, int64_t maxSize)
{
    if (!d_ptr)
        return -1;
    if (!sizeAccepted(maxSize) || !readable(this))
        return -1;
    return d_ptr->coreRead(data, maxSize, true);
}

CZeByteArray CZeIODevice::peek(int64_t maxSize)
{
    if (!d_ptr)
        return CZeByteArray();
    if (!sizeAccepted(maxSize) || !readable(this))
        return CZeByteArray();
    maxSize = arraySized(maxSize);
    CZeByteArray result;
    if (!resizeTo(result, maxSize))
        return CZeByteArray();
    return finish(result, d_ptr->coreRead(result.data(), maxSize, true));
}

int64_t CZeIODevice::readLine(char* data, int64_t maxSize)
{
    CZeIODevicePrivate* const d = d_ptr;
    if (!d)
        return -1;
    if (maxSize < 2) {
        kLog.warning("Called with maxSize < 2");
        return -1;
    }
    if (!synchronise(d))
        return -1;
    d->baseReadLineDataCalled = false;
    const int64_t got = readLineData(data, maxSize - 1);
    if (got < 0) {
        data[0] = '\0';
        return -1;
    }
    // A subclass's own line reader moved the device without telling the base.
    if (!d->isSequential() && !d->baseReadLineDataCalled) {
        d->pos += got;
        d->devicePos = -1;
    }
    data[got] = '\0';
    if ((d->openMode & Text) && got >= 2 && data[got - 2] == '\r' && data[got - 1] == '\n') {
        data[got - 2] = '\n';
        data[got - 1] = '\0';
        return got - 1;
    }
    return got;
}

CZeByteArray CZeIODevice::readLine(int64_t maxSize)
{
    if (!d_ptr)
        return CZeByteArray();
    if (!sizeAccepted(maxSize))
        return CZeByteArray();
    maxSize = arraySized(maxSize);
    CZeByteArray result;
    if (maxSize > 0) {
        // The array's hidden terminator byte takes readLine's zero.
        if (!resizeTo(result, maxSize))
            return CZeByteArray();
        return finish(result, readLine(result.data(), maxSize));
    }
    // No limit: each round offers kChunk bytes (plus the zero) until a round
    // comes back short or ends with a line feed.
    int64_t total = 0;
    bool first = true;
    for (;;) {
        const int64_t room = kMaxArraySize - total < kChunk ? kMaxArraySize - total : kChunk;
        if (room <= 0 || !resizeTo(result, total + room + 1))
            break;
        const int64_t got = readLine(result.data() + total, room + 1);
        if (got > 0 || first)
            total += got;
        first = false;
        if (got != room || result.at(static_cast<int>(total - 1)) == '\n')
            break;
    }
    return finish(result, total);
}

bool CZeIODevice::getChar(char* c)
{
    char scratch;
    return read(c ? c : &scratch, 1) == 1;
}

// ---- Writing --------------------------------------------------------------------

int64_t CZeIODevice::write(const char* data, int64_t size)
{
    CZeIODevicePrivate* const d = d_ptr;
    if (!d)
        return -1;
    if (!isWritable()) {
        kLog.warning(isOpen() ? "ReadOnly device" : "device not open");
        return -1;
    }
    if (!sizeAccepted(size) || !synchronise(d))
        return -1;
    const int64_t written = writeData(data, size);
    if (written > 0 && !d->isSequential()) {
        d->pos += written;
        d->devicePos += written;
    }
    return written;
}

int64_t CZeIODevice::write(const char* text)
{
    if (!text)
        return 0;
    return write(text, static_cast<int64_t>(std::strlen(text)));
}

int64_t CZeIODevice::write(const CZeByteArray& data)
{
    return write(data.constData(), data.size());
}

bool CZeIODevice::putChar(char c)
{
    return write(&c, 1) == 1;
}
