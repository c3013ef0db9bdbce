/*
 * CZeGenericFileEngine - a file on the file system, through the C library's
 * buffered streams and the POSIX calls.
 *
 *   CZeGenericFileEngine engine(name);
 *   if (!engine.open(CZeIODevice::ReadOnly))
 *       report(engine.error(), engine.errorString());
 *   int64_t n = engine.read(buffer, sizeof buffer);
 *
 * Every failure sets the error code and its text together; a code of
 * UnspecifiedError is for the device to replace by its operation's own code.
 * The engine keeps its stream and its memory mappings; close() releases both.
 */
#ifndef CZEGENERICFILEENGINE_H
#define CZEGENERICFILEENGINE_H

#include <cstdint>
#include <cstdio>

#include "CZeByteArray.h"
#include "CZeFile.h"
#include "CZeString.h"

// The fopen mode string for open-mode flags (1 read, 2 write, 4 append,
// 8 truncate); `exists` tells whether the file is already there.
const char* ZeFopenMode(CZeIODevice::OpenMode mode, bool exists);

class CZeGenericFileEngine {
public:
    explicit CZeGenericFileEngine(const CZeString& fileName);
    virtual ~CZeGenericFileEngine();
    CZeGenericFileEngine(const CZeGenericFileEngine&) = delete;
    CZeGenericFileEngine& operator=(const CZeGenericFileEngine&) = delete;

    const CZeString& fileName() const { return m_fileName; }
    const CZeByteArray& nativeFileName() const { return m_nativeName; }
    void setFileName(const CZeString& fileName);

    // A read-only open of a directory fails when set (the default).
    void setRefuseDirectories(bool refuse) { m_refuseDirectories = refuse; }

    bool open(CZeIODevice::OpenMode mode);
    // Opens the engine on a descriptor that the caller has just opened on the
    // engine's file (read-write), instead of opening the file by name; the
    // engine owns the descriptor from then on, also when this fails.
    bool openDescriptor(int fd, CZeIODevice::OpenMode mode);
    bool close();
    bool isOpen() const { return m_stream != nullptr; }
    bool flush();
    // The size of the open stream, else of the named file; 0 on failure.
    int64_t size();
    bool seek(int64_t pos);
    // -1 on error with nothing read.
    int64_t read(char* data, int64_t maxSize);
    // Up to maxSize bytes, stopping after a line feed; 0 at the end, -1 on error.
    int64_t readLine(char* data, int64_t maxSize);
    int64_t write(const char* data, int64_t size);
    // Whether the stream itself tells the end of the file (not for named files,
    // whose size is known).
    bool canTellEndOfFile() const { return false; }
    // Pipes, sockets, character devices: no positions.
    bool isSequential() const;

    bool resize(int64_t size);
    CZeFileDevice::Permissions permissions() const;
    bool setPermissions(CZeFileDevice::Permissions permissions);
    bool exists() const;
    bool remove();
    bool rename(const CZeString& newName);

    uint8_t* map(int64_t offset, int64_t size, CZeFileDevice::MemoryMapFlags flags);
    bool unmap(uint8_t* address);

    CZeFileDevice::FileError error() const { return m_error; }
    const CZeString& errorString() const { return m_errorString; }
    void setError(CZeFileDevice::FileError error, const CZeString& text);
    // Sets the code with the text of an errno value (-1: the current errno).
    // After a stream error during a transfer of `count` bytes so far: true
    // when a signal interrupted it (go on); otherwise the error is stored and
    // `result` is what the transfer returns.
    bool resumeAfterError(int64_t count, int64_t& result);
    void setErrorFromErrno(CZeFileDevice::FileError error, int errorNumber = -1);

private:
    struct Mapping {
        uint8_t* start;  // what mmap returned
        size_t head;     // bytes in front of the caller's offset (page alignment)
        size_t length;   // everything mapped, head included
        Mapping* next;
    };
    enum LastTransfer { NoTransfer, Reading, Writing };

    // Refuses a closed stream (EBADF) and flushes or repositions when the
    // stream switches between reading and writing.
    bool prepareFor(LastTransfer transfer);
    void unmapAll();

    CZeString m_fileName;
    CZeByteArray m_nativeName;   // the name in the local 8-bit encoding
    FILE* m_stream = nullptr;
    CZeIODevice::OpenMode m_openMode = CZeIODevice::NotOpen;
    LastTransfer m_lastTransfer = NoTransfer;
    bool m_refuseDirectories = true;
    Mapping* m_mappings = nullptr;
    CZeFileDevice::FileError m_error = CZeFileDevice::NoError;
    CZeString m_errorString;
};

#endif // CZEGENERICFILEENGINE_H
