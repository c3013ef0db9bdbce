/*
 * Private state of CZeFileDevice and CZeFile, on top of the device's.
 */
#ifndef CZEFILEDEVICEPRIVATE_H
#define CZEFILEDEVICEPRIVATE_H

#include <cstdint>
#include <new>

#include "CZeFile.h"
#include "core/io/CZeGenericFileEngine.h"
#include "core/io/CZeIODevicePrivate.h"

class CZeFileDevicePrivate : public CZeIODevicePrivate {
public:
    ~CZeFileDevicePrivate() override { delete engine; }

    // The engine, created on first need where the device knows a file name.
    virtual CZeGenericFileEngine* engineForUse() { return engine; }

    // Stores the engine's error, with UnspecifiedError replaced by the
    // operation's own code, and its text.
    void takeEngineError(CZeFileDevice::FileError operationError)
    {
        const CZeFileDevice::FileError e = engine->error();
        error = e == CZeFileDevice::UnspecifiedError ? operationError : e;
        errorString = engine->errorString();
    }

    // Writes out a pending write; false (with WriteError) when that fails.
    bool flushPending()
    {
        if (!pendingFlush)
            return true;
        return flushEngine();
    }

    bool flushEngine()
    {
        if (!engine->flush()) {
            takeEngineError(CZeFileDevice::WriteError);
            return false;
        }
        pendingFlush = false;
        return true;
    }

    CZeGenericFileEngine* engine = nullptr; // owned
    int64_t cachedSize = -1;                // -1: not known
    CZeFileDevice::FileError error = CZeFileDevice::NoError;
    bool pendingFlush = false;              // set by every write
};

class CZeFilePrivate : public CZeFileDevicePrivate {
public:
    CZeGenericFileEngine* engineForUse() override
    {
        if (!engine)
            engine = new (std::nothrow) CZeGenericFileEngine(fileName);
        return engine;
    }

    CZeString fileName;
};

#endif // CZEFILEDEVICEPRIVATE_H
