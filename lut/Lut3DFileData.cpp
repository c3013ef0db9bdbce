#include "lut/Lut3DFileData.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "CZeFile.h"
#include "core/log/CZeMessageLogger.h"
#include "lut/Lut3DMemory.h"
#include "lut/format/Lut3DFormat.h"

namespace {

// A LUT file opened read-only. Only regular files (or links to one) are
// taken: the descriptor is opened without blocking and checked before the
// first read, so a named pipe or a device under the name can neither stall
// the loader in open nor feed it endless bytes. The check is on the opened
// descriptor, so nothing can be swapped in between check and use.
class FileSource final : public Lut3DByteSource {
public:
    explicit FileSource(const CZeString& path)
    {
        const CZeByteArray native = path.toLocal8Bit();
        if (native.isEmpty()) {
            // Refused, and reported, the way every file open without a name is.
            CZeFile(path).open(CZeIODevice::ReadOnly);
            return;
        }
        do {
            m_fd = ::open(native.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        } while (m_fd < 0 && errno == EINTR);
        struct stat st;
        if (m_fd >= 0 && (::fstat(m_fd, &st) != 0 || !S_ISREG(st.st_mode))) {
            ::close(m_fd);
            m_fd = -1;
        }
        // Regular files never block; the flag is cleared for the record.
        if (m_fd >= 0)
            ::fcntl(m_fd, F_SETFL, ::fcntl(m_fd, F_GETFL) & ~O_NONBLOCK);
    }
    ~FileSource() override
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    bool isOpen() const { return m_fd >= 0; }

    bool readExactly(void* data, uint64_t size) override
    {
        uint8_t* out = static_cast<uint8_t*>(data);
        while (size > 0) {
            const ssize_t got = ::read(m_fd, out, size);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                return false;
            out += got;
            size -= static_cast<uint64_t>(got);
        }
        return true;
    }

    bool seek(uint64_t position) override
    {
        // Positions beyond the signed 64-bit range cannot be sought to.
        return position <= static_cast<uint64_t>(INT64_MAX) &&
               ::lseek(m_fd, static_cast<off_t>(position), SEEK_SET) >= 0;
    }

private:
    int m_fd = -1;
};

const Lut3DAllocator kAllocator = {Lut3DAlignedAlloc, Lut3DAlignedFree};

} // namespace

Lut3DFileData::Lut3DFileData(const CZeString& filePath) : path(filePath)
{
    load();
}

void Lut3DFileData::load()
{
    FileSource file(path);
    if (!file.isOpen()) {
        ZE_LOGGER.error() << "Failed to open lut file " << path;
        return;
    }
    load(file);
}

Lut3DFileData::Lut3DFileData(const void* data, size_t size)
{
    Lut3DMemorySource memory(data, size);
    load(memory);
}

Lut3DFileData::~Lut3DFileData()
{
    Lut3DAlignedFree(entries);
    entries = nullptr;
    Lut3DAlignedFree(levels);
    levels = nullptr;
}

// The messages the host sees for each failed step; the other steps fail
// silently.
void Lut3DFileData::load(Lut3DByteSource& source)
{
    Lut3DParsed parsed;
    switch (Lut3DParse(source, kAllocator, parsed)) {
    case Lut3DParseResult::Ok:
        break;
    case Lut3DParseResult::BadSignature:
        ZE_LOGGER.error("Invalid lut file signature!");
        return;
    case Lut3DParseResult::ShortHeader:
        ZE_LOGGER.error("Failed to read lut file header!");
        return;
    case Lut3DParseResult::ShortLevels:
        ZE_LOGGER.error("Failed to read lut level values!");
        return;
    case Lut3DParseResult::ShortEntries:
        ZE_LOGGER.error("Failed to read lut data!");
        return;
    default:
        return;
    }
    version = parsed.header.version;
    threeDimensional = parsed.header.dimensions != 0;
    levels = parsed.levels;
    levelCount = parsed.header.levelCount;
    entryType = parsed.header.entryType;
    entries = parsed.entries;
}

Lut3DFileData* Lut3DFileDataCreate(const CZeString& path)
{
    void* block = Lut3DAlignedAlloc(sizeof(Lut3DFileData));
    return block ? new (block) Lut3DFileData(path) : nullptr;
}

Lut3DFileData* Lut3DFileDataCreateFromMemory(const void* data, size_t size)
{
    void* block = Lut3DAlignedAlloc(sizeof(Lut3DFileData));
    return block ? new (block) Lut3DFileData(data, size) : nullptr;
}

void Lut3DFileDataDestroy(Lut3DFileData* file)
{
    Lut3DDestroyRecord(file);
}
