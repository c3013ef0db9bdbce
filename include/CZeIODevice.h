/*
 * CZeIODevice - abstract base of every byte device of the core.
 *
 *   class MemoryDevice : public CZeIODevice {
 *   protected:
 *       int64_t readData(char* data, int64_t maxSize) override;   // raw bytes, 0 at end, -1 error
 *       int64_t writeData(const char* data, int64_t size) override;
 *   };
 *
 *   dev.open(CZeIODevice::ReadOnly | CZeIODevice::Text);
 *   CZeByteArray line = dev.readLine();   // CR LF at the end becomes LF
 *   CZeByteArray rest = dev.readAll();
 *
 * The base keeps the open mode, the logical position (pos()) and the position
 * the underlying device stands at; before every read, peek, line read or write
 * on a random-access device the two are brought together with seek(). There is
 * no read-ahead buffer: every read goes to readData(). A sequential device
 * (isSequential() true) has no positions and cannot seek or peek.
 *
 * Misuse (a closed device, a negative size, the wrong direction) is answered
 * with -1, false or an empty array and a warning through the debug log; a
 * rejected call leaves the device as it was. Nothing throws. A device belongs
 * to one thread at a time.
 */
#ifndef CZEIODEVICE_H
#define CZEIODEVICE_H

#include "ZeGlobal.h"

#include <cstdint>

#include "CZeByteArray.h"
#include "CZeString.h"

class CZeIODevicePrivate;

class ZE_EXPORT CZeIODevice {
public:
    // Open-mode flags, combined into an OpenMode.
    enum OpenModeFlag : unsigned int {
        NotOpen = 0,
        ReadOnly = 1,
        WriteOnly = 2,
        ReadWrite = 3,
        Append = 4,   // the position starts at the end; a file adds WriteOnly
        Truncate = 8, // a file is emptied when it is opened
        Text = 16     // reading drops carriage returns; a line's CR LF becomes LF
    };
    typedef unsigned int OpenMode;

    CZeIODevice();
    virtual ~CZeIODevice();
    CZeIODevice(const CZeIODevice&) = delete;
    CZeIODevice& operator=(const CZeIODevice&) = delete;

    // ---- Virtual operations, in slot order --------------------------------
    // True for devices without positions (pipes, sockets); false here.
    virtual bool isSequential() const;
    // Stores the mode and starts at 0, or at size() with Append. Checks nothing.
    virtual bool open(OpenMode mode);
    virtual void close();
    virtual int64_t pos() const;
    // bytesAvailable() for a sequential device, otherwise 0 unless overridden.
    virtual int64_t size() const;
    // Random-access devices only; a negative position is refused.
    virtual bool seek(int64_t pos);
    virtual bool atEnd() const;
    virtual bool reset();
    virtual int64_t bytesAvailable() const;

protected:
    // The subclass's primitives. readData returns the bytes read, 0 at the
    // end and -1 on error; writeData the bytes written or -1.
    virtual int64_t readData(char* data, int64_t maxSize) = 0;
    // Reads up to maxSize bytes, stopping after a line feed. The base reads
    // one byte at a time through read().
    virtual int64_t readLineData(char* data, int64_t maxSize);
    virtual int64_t writeData(const char* data, int64_t size) = 0;

public:
    // ---- Mode ---------------------------------------------------------------
    OpenMode openMode() const;
    bool isOpen() const;
    bool isReadable() const;
    bool isWritable() const;
    bool isTextModeEnabled() const;
    // Only on an open device.
    void setTextModeEnabled(bool enabled);
    // The last error's text, or "Unknown error" when there is none.
    CZeString errorString() const;

    // ---- Reading --------------------------------------------------------------
    // Up to maxSize bytes; -1 on error.
    int64_t read(char* data, int64_t maxSize);
    // Up to maxSize bytes (at most 2,147,483,622); empty on error.
    CZeByteArray read(int64_t maxSize);
    // Everything up to the end.
    CZeByteArray readAll();
    // Like read(), but the position stays where it was. Random access only.
    int64_t peek(char* data, int64_t maxSize);
    CZeByteArray peek(int64_t maxSize);
    // At most maxSize - 1 bytes up to and including a line feed, then a zero
    // byte; returns the bytes stored (without the zero) or -1.
    int64_t readLine(char* data, int64_t maxSize);
    // One line as an array; 0 means no limit, otherwise as readLine(data, maxSize).
    CZeByteArray readLine(int64_t maxSize = 0);
    // One byte; a null c reads into a scratch byte.
    bool getChar(char* c);

    // ---- Writing --------------------------------------------------------------
    int64_t write(const char* data, int64_t size);
    // The bytes up to the terminating zero; a null text writes nothing.
    int64_t write(const char* text);
    int64_t write(const CZeByteArray& data);
    bool putChar(char c);

protected:
    // For subclasses that extend the private state; takes ownership (null is
    // tolerated: every operation then fails).
    explicit CZeIODevice(CZeIODevicePrivate* dd);
    void setOpenMode(OpenMode mode);
    void setErrorString(const CZeString& text);

    CZeIODevicePrivate* const d_ptr;

private:
    friend class CZeIODevicePrivate;
};

#endif /* CZEIODEVICE_H */
