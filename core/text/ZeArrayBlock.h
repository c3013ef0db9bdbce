// Blocks of elements behind an SZeArrayData header, written once for byte
// arrays (char) and strings (UTF-16 units): new terminated blocks, detached
// copies, and headers for elements that live elsewhere (raw data).
//
//   SZeArrayData* x = ZeArrayBlock<char>::create(n, [&](char* p) { std::memset(p, ch, n); });
#ifndef CORE_TEXT_ZEARRAYBLOCK_H
#define CORE_TEXT_ZEARRAYBLOCK_H

#include <cstring>

#include "CZeByteArray.h"

template <typename T>
struct ZeArrayBlock {
    static constexpr unsigned long kAlignment = alignof(SZeArrayData);

    static T* elements(SZeArrayData* d) { return static_cast<T*>(d->data()); }

    static SZeArrayData* allocate(unsigned int capacity, int options)
    {
        return SZeArrayData::allocate(sizeof(T), kAlignment, capacity, options);
    }

    // A block of size (> 0) elements that fill(T*) writes, terminated; null
    // when it cannot be had.
    template <typename Fill>
    static SZeArrayData* create(int size, Fill fill)
    {
        SZeArrayData* x = allocate(unsigned(size) + 1u, SZeArrayData::Default);
        if (!x)
            return nullptr;
        fill(elements(x));
        elements(x)[size] = T();
        x->size = size;
        return x;
    }

    // A new block of `capacity` elements holding the first of d's elements
    // that fit in front of the terminator; null (d untouched) when it cannot
    // be had.
    static SZeArrayData* copy(SZeArrayData* d, unsigned int capacity, int options)
    {
        SZeArrayData* x = allocate(capacity, options);
        if (!x || x->alloc == 0)
            return nullptr;
        const int keep = int(capacity) - 1 < d->size ? int(capacity) - 1 : d->size;
        if (keep > 0)
            std::memcpy(elements(x), d->data(), size_t(keep) * sizeof(T));
        x->size = keep;
        elements(x)[keep] = T();
        return x;
    }

    // A header for size elements at `data` (not copied), or null.
    static SZeArrayData* createRaw(const void* data, int size)
    {
        SZeArrayData* x = SZeArrayData::allocate(sizeof(T), kAlignment, 0, SZeArrayData::RawData);
        if (x)
            repoint(x, data, size);
        return x;
    }

    // An unshared header without capacity is an earlier raw header of the
    // container's own, which setRawData may point elsewhere in place.
    static bool isOwnRaw(const SZeArrayData* d)
    {
        return !d->isShared() && d->alloc == 0 && d != SZeArrayData::unsharableEmpty();
    }

    static void repoint(SZeArrayData* d, const void* data, int size)
    {
        d->offset = static_cast<std::ptrdiff_t>(reinterpret_cast<uintptr_t>(data) -
                                                reinterpret_cast<uintptr_t>(d));
        d->size = size;
    }
};

#endif
