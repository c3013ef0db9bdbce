#include "core/io/CZeGenericFileEngine.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/io/ZeSystemError.h"
#include "core/log/CZeMessageLogger.h"

namespace {

constexpr CZeMessageLogger kLog;

enum : unsigned int { kRead = 1, kWrite = 2, kAppend = 4, kTruncate = 8 };

bool pathExists(const char* path)
{
    struct stat st;
    return ::stat(path, &st) == 0;
}

} // namespace

const char* ZeFopenMode(CZeIODevice::OpenMode mode, bool exists)
{
    const bool read = (mode & kRead) != 0;
    const bool write = (mode & kWrite) != 0;
    const bool append = (mode & kAppend) != 0;
    if (append)
        return read ? "ab+" : "ab";
    if (read && !(mode & kTruncate)) {
        if (write)
            return exists ? "rb+" : "wb+";
        return "rb";
    }
    if (write)
        return read ? "wb+" : "wb";
    return "rb";
}

CZeGenericFileEngine::CZeGenericFileEngine(const CZeString& fileName)
{
    setFileName(fileName);
}

CZeGenericFileEngine::~CZeGenericFileEngine()
{
    unmapAll();
    if (m_stream)
        std::fclose(m_stream);
}

void CZeGenericFileEngine::setFileName(const CZeString& fileName)
{
    m_fileName = fileName;
    m_nativeName = fileName.toLocal8Bit();
}

void CZeGenericFileEngine::setError(CZeFileDevice::FileError error, const CZeString& text)
{
    m_error = error;
    m_errorString = text;
}

void CZeGenericFileEngine::setErrorFromErrno(CZeFileDevice::FileError error, int errorNumber)
{
    setError(error, ZeSystemErrorString(errorNumber == -1 ? errno : errorNumber));
}

bool CZeGenericFileEngine::open(CZeIODevice::OpenMode mode)
{
    if (m_fileName.isEmpty() && m_nativeName.isEmpty()) {
        kLog.warning("CZeGenericFileEngine::open: No file name specified");
        setError(CZeFileDevice::OpenError, CZeString(CZeLatin1String("No file name specified")));
        return false;
    }
    m_openMode = mode;
    if (m_stream) {
        std::fclose(m_stream);
        m_stream = nullptr;
    }
    m_lastTransfer = NoTransfer;
    const char* path = m_nativeName.constData();
    const char* fopenMode = ZeFopenMode(mode, pathExists(path));

    FILE* stream;
    do {
        stream = std::fopen(path, fopenMode);
    } while (!stream && errno == EINTR);
    if (!stream) {
        const int e = errno;
        setErrorFromErrno(e == EMFILE ? CZeFileDevice::ResourceError : CZeFileDevice::OpenError, e);
        return false;
    }

    const int fd = ::fileno(stream);
    if (m_refuseDirectories && (mode & (kRead | kWrite)) == kRead) {
        struct stat st;
        if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
            setError(CZeFileDevice::OpenError,
                     CZeString(CZeLatin1String("file to open is a directory")));
            std::fclose(stream);
            return false;
        }
    }
    // Children started by the host must not inherit the file.
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);

    if (mode & kAppend) {
        int r;
        do {
            r = ::fseeko(stream, 0, SEEK_END);
        } while (r != 0 && errno == EINTR);
    }
    m_stream = stream;
    return true;
}

bool CZeGenericFileEngine::openDescriptor(int fd, CZeIODevice::OpenMode mode)
{
    if (m_stream) {
        std::fclose(m_stream);
        m_stream = nullptr;
    }
    m_openMode = mode;
    m_lastTransfer = NoTransfer;
    // fdopen neither creates nor truncates: the mode string only has to agree
    // with the descriptor's read-write access.
    FILE* stream = ::fdopen(fd, ZeFopenMode(mode, true));
    if (!stream) {
        const int e = errno;
        ::close(fd);
        setErrorFromErrno(e == EMFILE ? CZeFileDevice::ResourceError : CZeFileDevice::OpenError, e);
        return false;
    }
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    m_stream = stream;
    return true;
}

bool CZeGenericFileEngine::close()
{
    unmapAll();
    if (!m_stream)
        return true;
    FILE* stream = m_stream;
    m_stream = nullptr;
    m_openMode = CZeIODevice::NotOpen;
    if (std::fclose(stream) != 0) {
        setErrorFromErrno(CZeFileDevice::UnspecifiedError);
        return false;
    }
    return true;
}

bool CZeGenericFileEngine::flush()
{
    if (!m_stream)
        return true; // nothing buffered
    if (std::fflush(m_stream) != 0) {
        setErrorFromErrno(CZeFileDevice::UnspecifiedError);
        return false;
    }
    if (m_lastTransfer == Writing)
        m_lastTransfer = NoTransfer;
    return true;
}

// A C stream must be flushed or positioned between writing and reading in
// either direction; the device may switch at any byte.
bool CZeGenericFileEngine::prepareFor(LastTransfer transfer)
{
    if (!m_stream) {
        setErrorFromErrno(CZeFileDevice::UnspecifiedError, EBADF);
        return false;
    }
    if (m_lastTransfer != NoTransfer && m_lastTransfer != transfer) {
        const int r = m_lastTransfer == Writing ? std::fflush(m_stream)
                                                : ::fseeko(m_stream, 0, SEEK_CUR);
        if (r != 0) {
            setErrorFromErrno(CZeFileDevice::UnspecifiedError);
            return false;
        }
    }
    m_lastTransfer = transfer;
    return true;
}

int64_t CZeGenericFileEngine::size()
{
    struct stat st;
    const int r = m_stream ? ::fstat(::fileno(m_stream), &st) : ::stat(m_nativeName.constData(), &st);
    if (r != 0) {
        setErrorFromErrno(CZeFileDevice::UnspecifiedError);
        return 0;
    }
    return static_cast<int64_t>(st.st_size);
}

bool CZeGenericFileEngine::seek(int64_t pos)
{
    if (!m_stream) {
        setErrorFromErrno(CZeFileDevice::UnspecifiedError, EBADF);
        return false;
    }
    if (pos < 0) {
        setErrorFromErrno(CZeFileDevice::UnspecifiedError, EINVAL);
        return false;
    }
    int r;
    do {
        r = ::fseeko(m_stream, static_cast<off_t>(pos), SEEK_SET);
    } while (r != 0 && errno == EINTR);
    if (r != 0) {
        setErrorFromErrno(CZeFileDevice::UnspecifiedError);
        return false;
    }
    m_lastTransfer = NoTransfer;
    return true;
}

int64_t CZeGenericFileEngine::read(char* data, int64_t maxSize)
{
    if (!prepareFor(Reading))
        return -1;
    int64_t count = 0;
    while (count < maxSize) {
        const size_t got = std::fread(data + count, 1, static_cast<size_t>(maxSize - count), m_stream);
        count += static_cast<int64_t>(got);
        if (count == maxSize || !std::ferror(m_stream))
            break;
        int64_t result;
        if (!resumeAfterError(count, result))
            return result;
    }
    return count;
}

int64_t CZeGenericFileEngine::readLine(char* data, int64_t maxSize)
{
    if (!prepareFor(Reading))
        return -1;
    int64_t count = 0;
    while (count < maxSize) {
        const int c = std::getc(m_stream);
        if (c == EOF) {
            int64_t result;
            if (!std::ferror(m_stream))
                break;
            if (resumeAfterError(count, result))
                continue;
            return result;
        }
        data[count++] = static_cast<char>(c);
        if (c == '\n')
            break;
    }
    return count;
}

int64_t CZeGenericFileEngine::write(const char* data, int64_t size)
{
    if (!prepareFor(Writing))
        return -1;
    int64_t count = 0;
    while (count < size) {
        const size_t put = std::fwrite(data + count, 1, static_cast<size_t>(size - count), m_stream);
        count += static_cast<int64_t>(put);
        if (count == size)
            break;
        int64_t result;
        if (!resumeAfterError(count, result))
            return result;
    }
    return count;
}

bool CZeGenericFileEngine::resumeAfterError(int64_t count, int64_t& result)
{
    // A signal cut the transfer short: it goes on where it stopped.
    const bool interrupted = errno == EINTR;
    if (!interrupted) {
        setErrorFromErrno(CZeFileDevice::UnspecifiedError);
        result = count > 0 ? count : -1;
    }
    std::clearerr(m_stream);
    return interrupted;
}

bool CZeGenericFileEngine::isSequential() const
{
    struct stat st;
    if (!m_stream || ::fstat(::fileno(m_stream), &st) != 0)
        return false;
    return !S_ISREG(st.st_mode) && !S_ISBLK(st.st_mode) && !S_ISDIR(st.st_mode);
}

bool CZeGenericFileEngine::resize(int64_t size)
{
    if (size < 0) {
        setErrorFromErrno(CZeFileDevice::ResizeError, EINVAL);
        return false;
    }
    int r;
    do {
        r = m_stream ? ::ftruncate(::fileno(m_stream), static_cast<off_t>(size))
                     : ::truncate(m_nativeName.constData(), static_cast<off_t>(size));
    } while (r != 0 && errno == EINTR);
    if (r != 0) {
        setErrorFromErrno(CZeFileDevice::ResizeError);
        return false;
    }
    return true;
}

CZeFileDevice::Permissions CZeGenericFileEngine::permissions() const
{
    struct stat st;
    const int r = m_stream ? ::fstat(::fileno(m_stream), &st) : ::stat(m_nativeName.constData(), &st);
    return r == 0 ? static_cast<CZeFileDevice::Permissions>(st.st_mode & 07777) : 0;
}

bool CZeGenericFileEngine::setPermissions(CZeFileDevice::Permissions permissions)
{
    const mode_t mode = static_cast<mode_t>(permissions & 07777);
    const int r = m_stream ? ::fchmod(::fileno(m_stream), mode) : ::chmod(m_nativeName.constData(), mode);
    if (r != 0) {
        setErrorFromErrno(CZeFileDevice::PermissionsError);
        return false;
    }
    return true;
}

bool CZeGenericFileEngine::exists() const
{
    return !m_nativeName.isEmpty() && pathExists(m_nativeName.constData());
}

bool CZeGenericFileEngine::remove()
{
    if (::unlink(m_nativeName.constData()) != 0) {
        setErrorFromErrno(CZeFileDevice::RemoveError);
        return false;
    }
    return true;
}

bool CZeGenericFileEngine::rename(const CZeString& newName)
{
    const CZeByteArray target = newName.toLocal8Bit();
    if (::rename(m_nativeName.constData(), target.constData()) != 0) {
        setErrorFromErrno(CZeFileDevice::RenameError);
        return false;
    }
    m_fileName = newName;
    m_nativeName = target;
    return true;
}

uint8_t* CZeGenericFileEngine::map(int64_t offset, int64_t size, CZeFileDevice::MemoryMapFlags flags)
{
    if (!m_stream) {
        setErrorFromErrno(CZeFileDevice::PermissionsError, EACCES);
        return nullptr;
    }
    if (offset < 0 || size < 0) {
        setErrorFromErrno(CZeFileDevice::UnspecifiedError, EINVAL);
        return nullptr;
    }
    const int fd = ::fileno(m_stream);
    struct stat st;
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && offset + size > st.st_size)
        kLog.warning("CZeGenericFileEngine::map: Mapping a file beyond its size is not portable");

    const int64_t pageSize = ::getpagesize();
    const int64_t head = offset % pageSize;
    // The open mode's read and write bits are PROT_READ and PROT_WRITE.
    int protection = static_cast<int>(m_openMode & (kRead | kWrite));
    int sharing = MAP_SHARED;
    if (flags & CZeFileDevice::MapPrivateOption) {
        protection |= PROT_WRITE;
        sharing = MAP_PRIVATE;
    }
    const size_t length = static_cast<size_t>(head + size);
    void* start = ::mmap(nullptr, length, protection, sharing, fd, static_cast<off_t>(offset - head));
    if (start == MAP_FAILED) {
        const int e = errno;
        if (e == ENOMEM || e == ENFILE)
            setErrorFromErrno(CZeFileDevice::ResourceError, e);
        else if (e == EBADF)
            setError(CZeFileDevice::PermissionsError, ZeSystemErrorString(EACCES));
        else
            setErrorFromErrno(CZeFileDevice::UnspecifiedError, e);
        return nullptr;
    }
    Mapping* record = new (std::nothrow)
        Mapping{static_cast<uint8_t*>(start), static_cast<size_t>(head), length, m_mappings};
    if (!record) {
        ::munmap(start, length);
        setErrorFromErrno(CZeFileDevice::ResourceError, ENOMEM);
        return nullptr;
    }
    m_mappings = record;
    return record->start + record->head;
}

bool CZeGenericFileEngine::unmap(uint8_t* address)
{
    for (Mapping** link = &m_mappings; *link; link = &(*link)->next) {
        Mapping* m = *link;
        if (m->start + m->head != address)
            continue;
        if (::munmap(m->start, m->length) != 0) {
            setErrorFromErrno(CZeFileDevice::UnspecifiedError);
            return false;
        }
        *link = m->next;
        delete m;
        return true;
    }
    setErrorFromErrno(CZeFileDevice::UnspecifiedError, EINVAL);
    return false;
}

void CZeGenericFileEngine::unmapAll()
{
    while (m_mappings) {
        Mapping* m = m_mappings;
        m_mappings = m->next;
        ::munmap(m->start, m->length);
        delete m;
    }
}
