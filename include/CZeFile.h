/*
 * CZeFileDevice and CZeFile - random-access devices on files.
 *
 *   CZeFile file(CZeString::fromUtf8("/sdcard/looks/warm.lut"));
 *   if (!file.open(CZeIODevice::ReadOnly))
 *       return fail(file.error(), file.errorString()); // OpenError, "No such file or directory"
 *   char header[48];
 *   if (!file.seek(0) || file.read(header, 48) != 48)
 *       ...
 *   file.close();                                      // also done by the destructor
 *
 * CZeFileDevice reads and writes through a file engine that hides where the
 * bytes live; CZeFile is the named file built on it (open by name, remove,
 * rename). Writes are buffered: a read, a seek, size() and atEnd() flush a
 * pending write first, so they always see what was written.
 *
 * Every failure stores an error code and a text (errorString() is never
 * empty) and returns false, -1, 0 or null; misuse adds a warning through the
 * debug log. Nothing throws. A file belongs to one thread at a time.
 */
#ifndef CZEFILE_H
#define CZEFILE_H

#include "ZeGlobal.h"

#include <cstdint>

#include "CZeIODevice.h"
#include "CZeString.h"

class CZeFileDevicePrivate;
class CZeFilePrivate;

class ZE_EXPORT CZeFileDevice : public CZeIODevice {
public:
    enum FileError : int {
        NoError = 0,           // cleared by every open, read, write and successful seek
        ReadError = 1,
        WriteError = 2,        // a write or a flush failed
        ResourceError = 4,     // too many open files; no memory for a mapping
        OpenError = 5,
        UnspecifiedError = 8,
        RemoveError = 9,       // remove() failed
        RenameError = 10,      // rename() failed
        PositionError = 11,    // a seek was refused
        ResizeError = 12,      // resize() failed
        PermissionsError = 13  // mapping a file that is not open; setPermissions() failed
    };
    // map() options: MapPrivateOption maps copy-on-write (writes stay in memory).
    enum MemoryMapFlags : int { NoOptions = 0, MapPrivateOption = 1 };
    // POSIX permission bits (07777 mask), e.g. 0644.
    typedef unsigned int Permissions;

    ~CZeFileDevice() override;

    // ---- CZeIODevice ----------------------------------------------------------
    bool isSequential() const override;
    // Flushes, closes the engine; the error is cleared when both succeed.
    void close() override;
    bool seek(int64_t pos) override;
    int64_t size() const override;
    bool atEnd() const override;

protected:
    int64_t readData(char* data, int64_t maxSize) override;
    int64_t readLineData(char* data, int64_t maxSize) override;
    int64_t writeData(const char* data, int64_t size) override;

public:
    // ---- Further virtual operations, in slot order -----------------------------
    virtual CZeString fileName() const;
    // Cuts or extends the file (zero bytes); a position beyond the new end moves to it.
    virtual bool resize(int64_t size);
    virtual Permissions permissions() const;
    virtual bool setPermissions(Permissions permissions);

    FileError error() const;
    void unsetError();
    // Writes out what the engine still buffers.
    bool flush();

    // Maps [offset, offset + size) of the open file; null on failure.
    uint8_t* map(int64_t offset, int64_t size, MemoryMapFlags flags = NoOptions);
    bool unmap(uint8_t* address);

protected:
    explicit CZeFileDevice(CZeFileDevicePrivate* dd);
    void setError(FileError error, const CZeString& text);

    friend class CZeFileDevicePrivate;
};

class ZE_EXPORT CZeFile : public CZeFileDevice {
public:
    CZeFile();
    explicit CZeFile(const CZeString& name);
    // Closes the file and frees its engine.
    ~CZeFile() override;

    CZeString fileName() const override;
    // Refused (with a warning) while the file is open.
    void setFileName(const CZeString& name);

    // Opens by name. Append implies WriteOnly. WriteOnly without ReadOnly
    // empties an existing file; ReadWrite keeps it (or creates it).
    bool open(OpenMode mode) override;
    void close() override;

    bool exists() const;
    static bool exists(const CZeString& name);
    // Closes the file first.
    bool remove();
    // Closes the file first. Refuses an existing destination. Across file
    // systems the file is copied and the source removed.
    bool rename(const CZeString& newName);

private:
    CZeFilePrivate* filePrivate() const;
    bool renameByCopy(const CZeString& newName);
    bool renameInTwoSteps(const CZeString& newName);
};

#endif /* CZEFILE_H */
