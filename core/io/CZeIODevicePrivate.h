/*
 * Private state of a CZeIODevice (one object per device, owned by it).
 * Subclasses with more state derive from it and hand their object to the
 * protected CZeIODevice constructor.
 */
#ifndef CZEIODEVICEPRIVATE_H
#define CZEIODEVICEPRIVATE_H

#include <cstdint>

#include "CZeIODevice.h"
#include "CZeString.h"

class CZeIODevicePrivate {
public:
    enum SequentialCache { NotAsked = 0, Sequential = 1, RandomAccess = 2 };

    CZeIODevicePrivate() = default;
    virtual ~CZeIODevicePrivate() = default;
    CZeIODevicePrivate(const CZeIODevicePrivate&) = delete;
    CZeIODevicePrivate& operator=(const CZeIODevicePrivate&) = delete;

    CZeIODevice::OpenMode openMode = CZeIODevice::NotOpen;
    CZeString errorString;       // cleared on every successful open
    int64_t pos = 0;             // logical position of the next read or write
    int64_t devicePos = 0;       // where the underlying device stands; -1 unknown
    bool baseReadLineDataCalled = false; // the base line reader advanced the positions itself
    int sequentialCache = NotAsked;      // reset by every open
    CZeIODevice* q_ptr = nullptr;

    // isSequential(), asked once per open.
    bool isSequential()
    {
        if (sequentialCache == NotAsked)
            sequentialCache = q_ptr->isSequential() ? Sequential : RandomAccess;
        return sequentialCache == Sequential;
    }

    // Reads up to maxSize bytes through readData(), dropping carriage returns
    // in text mode; a peek leaves the logical position where it was.
    int64_t coreRead(char* data, int64_t maxSize, bool peeking);
};

#endif // CZEIODEVICEPRIVATE_H
