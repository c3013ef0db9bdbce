// CZeByteArray: copy-on-write bytes in an SZeArrayData block (element size 1,
// alignment 8). Invariant: the byte at index size() of every block that is not
// raw is 0. Writers detach first; growing operations round with Grow.
//
// Allocation failures leave the array as it was (or null for constructors)
// instead of writing through a null block.
#include "CZeByteArray.h"

#include <cstdint>
#include <cstring>

#include "core/text/ZeArrayBlock.h"
#include "core/text/ZeLatin1Case.h"

namespace {

using Bytes = ZeArrayBlock<char>;

inline char* bytesOf(SZeArrayData* d)
{
    return Bytes::elements(d);
}

inline SZeArrayData* allocateBytes(unsigned int capacity, int options)
{
    return Bytes::allocate(capacity, options);
}

// Target of writes through operator[] with an index outside the array.
char& scratchByte()
{
    static thread_local char scratch;
    scratch = '\0';
    return scratch;
}

int clampedLength(const char* str)
{
    const size_t n = std::strlen(str);
    return n > 0x7ffffffeu ? 0x7ffffffe : static_cast<int>(n);
}

int findBytes(const char* hay, int hayLength, int from, const char* needle, int needleLength)
{
    if (from < 0)
        from = from + hayLength < 0 ? 0 : from + hayLength;
    if (needleLength == 0)
        return from <= hayLength ? from : -1;
    if (from > hayLength - needleLength)
        return -1;
    const char first = needle[0];
    const char* const last = hay + hayLength - needleLength;
    for (const char* p = hay + from; p <= last; ++p) {
        p = static_cast<const char*>(std::memchr(p, first, size_t(last - p) + 1));
        if (!p)
            return -1;
        if (std::memcmp(p, needle, size_t(needleLength)) == 0)
            return int(p - hay);
    }
    return -1;
}

int compareBytes(const char* a, int aLength, const char* b, int bLength)
{
    const int common = aLength < bLength ? aLength : bLength;
    if (common > 0) {
        const int r = std::memcmp(a, b, size_t(common));
        if (r != 0)
            return r;
    }
    return aLength - bLength;
}

} // namespace

CZeByteArray::CZeByteArray(const char* data, int size) : d(SZeArrayData::sharedNull())
{
    if (!data)
        return;
    if (size < 0)
        size = clampedLength(data);
    if (size == 0) {
        d = SZeArrayData::sharedEmpty();
        return;
    }
    if (SZeArrayData* x = Bytes::create(size, [&](char* p) { std::memcpy(p, data, size_t(size)); }))
        d = x;
}

CZeByteArray::CZeByteArray(int size, char ch) : d(SZeArrayData::sharedEmpty())
{
    if (size <= 0)
        return;
    if (SZeArrayData* x = Bytes::create(size, [&](char* p) { std::memset(p, ch, size_t(size)); }))
        d = x;
}

CZeByteArray& CZeByteArray::operator=(const CZeByteArray& other) noexcept
{
    other.d->addRef();
    release(d);
    d = other.d;
    return *this;
}

CZeByteArray& CZeByteArray::operator=(const char* str)
{
    if (str && ownsPointer(str)) {
        // The text lives in this very block, which may move or shrink below.
        const CZeByteArray copy(str);
        return *this = copy;
    }
    SZeArrayData* x;
    if (!str) {
        x = SZeArrayData::sharedNull();
    } else if (!*str) {
        x = SZeArrayData::sharedEmpty();
    } else {
        const int len = clampedLength(str);
        const unsigned int fullLength = unsigned(len) + 1u;
        // Reuse the own block unless it is shared, too small, or would stay
        // less than half used after shrinking.
        if (d->isShared() || fullLength > d->alloc
            || (len < d->size && fullLength < (unsigned(d->alloc) >> 1))) {
            if (!reallocData(fullLength, d->detachFlags()))
                return *this;
        }
        x = d;
        std::memcpy(bytesOf(x), str, fullLength);
        x->size = len;
    }
    // Reference the result before releasing the old block: x may be d.
    x->addRef();
    release(d);
    d = x;
    return *this;
}

bool CZeByteArray::ownsPointer(const char* p) const noexcept
{
    const uintptr_t begin = reinterpret_cast<uintptr_t>(d->data());
    const uintptr_t q = reinterpret_cast<uintptr_t>(p);
    return q >= begin && q < begin + d->alloc;
}

bool CZeByteArray::reallocData(unsigned int alloc, int options)
{
    if (d->isShared() || d->isRawData()) {
        SZeArrayData* x = Bytes::copy(d, alloc, options);
        if (!x)
            return false;
        release(d);
        d = x;
        return true;
    }
    SZeArrayData* x = SZeArrayData::reallocateUnaligned(d, 1, alloc, options);
    if (!x)
        return false;
    d = x;
    return true;
}

void CZeByteArray::detach()
{
    if (d->isShared() || d->isRawData())
        reallocData(unsigned(d->size) + 1u, d->detachFlags());
}

char* CZeByteArray::data()
{
    detach();
    return bytesOf(d);
}

char& CZeByteArray::operator[](int i)
{
    if (unsigned(i) >= unsigned(d->size))
        return scratchByte();
    detach();
    if (d->isShared() || d->isRawData())
        return scratchByte(); // detaching failed: never write to shared bytes
    return bytesOf(d)[i];
}

void CZeByteArray::clear() noexcept
{
    release(d);
    d = SZeArrayData::sharedNull();
}

void CZeByteArray::resize(int n)
{
    if (n < 0)
        n = 0;
    // Raw data that only shrinks: nothing is written into foreign memory.
    if (d->isRawData() && !d->isShared() && n < d->size) {
        d->size = n;
        return;
    }
    if (n == 0 && !d->capacityReserved) {
        release(d);
        d = SZeArrayData::sharedEmpty();
        return;
    }
    if (d->size == 0 && d->isStatic()) {
        // First allocation of an empty array: exactly what was asked for.
        SZeArrayData* x = allocateBytes(unsigned(n) + 1u, SZeArrayData::Default);
        if (!x)
            return;
        x->size = n;
        bytesOf(x)[n] = '\0';
        d = x;
        return;
    }
    const unsigned int needed = unsigned(n) + 1u;
    if (d->isShared() || needed > d->alloc
        || (!d->capacityReserved && n < d->size && needed < (unsigned(d->alloc) >> 1))) {
        if (!reallocData(needed, d->detachFlags() | SZeArrayData::Grow))
            return;
    }
    if (d->alloc) {
        d->size = n;
        bytesOf(d)[n] = '\0';
    }
}

void CZeByteArray::truncate(int pos)
{
    if (pos < d->size)
        resize(pos);
}

void CZeByteArray::chop(int n)
{
    if (n > 0)
        resize(d->size - n);
}

void CZeByteArray::reserve(int n)
{
    if (n < 0)
        n = 0;
    if (d->isShared() || unsigned(n) + 1u > d->alloc) {
        const unsigned int keep = unsigned(n > d->size ? n : d->size);
        reallocData(keep + 1u, d->detachFlags() | SZeArrayData::CapacityReserved);
    } else {
        d->capacityReserved = 1;
    }
}

void CZeByteArray::squeeze()
{
    if (d->isStatic())
        return;
    if (d->isShared() || unsigned(d->size) + 1u < d->alloc)
        reallocData(unsigned(d->size) + 1u, d->detachFlags() & ~SZeArrayData::CapacityReserved);
    else
        d->capacityReserved = 0;
}

CZeByteArray& CZeByteArray::append(const CZeByteArray& ba)
{
    if (d->size == 0 && d->isStatic() && !ba.d->isRawData())
        return *this = ba;
    if (ba.d->size == 0)
        return *this;
    // Holding a reference keeps the source alive even when it is this array.
    const CZeByteArray source(ba);
    const unsigned int needed = unsigned(d->size) + unsigned(source.d->size) + 1u;
    if (d->isShared() || needed > d->alloc) {
        if (!reallocData(needed, d->detachFlags() | SZeArrayData::Grow))
            return *this;
    }
    std::memcpy(bytesOf(d) + d->size, source.constData(), size_t(source.d->size));
    d->size += source.d->size;
    bytesOf(d)[d->size] = '\0';
    return *this;
}

CZeByteArray& CZeByteArray::append(const char* str)
{
    return str ? append(str, clampedLength(str)) : *this;
}

CZeByteArray& CZeByteArray::append(const char* str, int len)
{
    if (!str)
        return *this;
    if (len < 0)
        len = clampedLength(str);
    if (len == 0)
        return *this;
    if (ownsPointer(str))
        return append(CZeByteArray(str, len));
    const unsigned int needed = unsigned(d->size) + unsigned(len) + 1u;
    if (d->isShared() || needed > d->alloc) {
        if (!reallocData(needed, d->detachFlags() | SZeArrayData::Grow))
            return *this;
    }
    std::memcpy(bytesOf(d) + d->size, str, size_t(len));
    d->size += len;
    bytesOf(d)[d->size] = '\0';
    return *this;
}

CZeByteArray& CZeByteArray::append(char ch)
{
    const unsigned int needed = unsigned(d->size) + 2u;
    if (d->isShared() || needed > d->alloc) {
        if (!reallocData(needed, d->detachFlags() | SZeArrayData::Grow))
            return *this;
    }
    bytesOf(d)[d->size++] = ch;
    bytesOf(d)[d->size] = '\0';
    return *this;
}

CZeByteArray& CZeByteArray::prepend(const char* str)
{
    if (!str)
        return *this;
    if (ownsPointer(str)) {
        const CZeByteArray copy(str);
        return prepend(copy.constData());
    }
    const int len = clampedLength(str);
    const unsigned int needed = unsigned(d->size) + unsigned(len) + 1u;
    if (d->isShared() || needed > d->alloc) {
        if (!reallocData(needed, d->detachFlags() | SZeArrayData::Grow))
            return *this;
    }
    char* p = bytesOf(d);
    std::memmove(p + len, p, size_t(d->size));
    std::memcpy(p, str, size_t(len));
    d->size += len;
    p[d->size] = '\0';
    return *this;
}

CZeByteArray& CZeByteArray::prepend(const CZeByteArray& ba)
{
    if (d->size == 0 && d->isStatic() && !ba.d->isRawData())
        return *this = ba;
    if (ba.d->size == 0)
        return *this;
    const CZeByteArray former(*this);
    *this = ba;
    return append(former);
}

bool CZeByteArray::insertBytes(int i, const char* str, int len)
{
    if (i < 0 || !str || len <= 0)
        return false;
    const int old = d->size;
    const int base = i > old ? i : old;
    if (base > 0x7ffffffe - len)
        return false;
    resize(base + len);
    if (d->size != base + len || d->isShared() || d->isRawData())
        return false;
    char* p = bytesOf(d);
    if (i > old)
        std::memset(p + old, ' ', size_t(i - old)); // past the end: pad, don't refuse
    else
        std::memmove(p + i + len, p + i, size_t(old - i));
    std::memcpy(p + i, str, size_t(len));
    return true;
}

CZeByteArray& CZeByteArray::insert(int i, const CZeByteArray& ba)
{
    const CZeByteArray source(ba); // keeps the bytes alive when ba is this array
    insertBytes(i, source.constData(), source.size());
    return *this;
}

CZeByteArray& CZeByteArray::insert(int i, const char* str)
{
    return str ? insert(i, str, clampedLength(str)) : *this;
}

CZeByteArray& CZeByteArray::insert(int i, const char* str, int len)
{
    if (!str || len <= 0)
        return *this;
    if (ownsPointer(str))
        return insert(i, CZeByteArray(str, len));
    insertBytes(i, str, len);
    return *this;
}

CZeByteArray& CZeByteArray::insert(int i, char ch)
{
    insertBytes(i, &ch, 1);
    return *this;
}

CZeByteArray& CZeByteArray::remove(int pos, int len)
{
    if (len <= 0 || pos < 0 || pos >= d->size)
        return *this;
    if (len >= d->size - pos) {
        resize(pos);
        return *this;
    }
    detach();
    if (d->isShared() || d->isRawData())
        return *this;
    char* p = bytesOf(d);
    std::memmove(p + pos, p + pos + len, size_t(d->size - pos - len));
    d->size -= len;
    p[d->size] = '\0';
    return *this;
}

int CZeByteArray::indexOf(char ch, int from) const noexcept
{
    if (from < 0)
        from = from + d->size < 0 ? 0 : from + d->size;
    if (from >= d->size)
        return -1;
    const char* p = constData();
    const void* hit = std::memchr(p + from, ch, size_t(d->size - from));
    return hit ? int(static_cast<const char*>(hit) - p) : -1;
}

int CZeByteArray::indexOf(const char* str, int from) const noexcept
{
    if (!str)
        str = "";
    return findBytes(constData(), d->size, from, str, clampedLength(str));
}

int CZeByteArray::indexOf(const CZeByteArray& ba, int from) const noexcept
{
    return findBytes(constData(), d->size, from, ba.constData(), ba.size());
}

int CZeByteArray::lastIndexOf(char ch, int from) const noexcept
{
    if (from < 0)
        from += d->size;
    else if (from >= d->size)
        from = d->size - 1;
    const char* p = constData();
    for (int i = from; i >= 0; --i)
        if (p[i] == ch)
            return i;
    return -1;
}

bool CZeByteArray::startsWith(const CZeByteArray& ba) const noexcept
{
    return ba.size() <= d->size && std::memcmp(constData(), ba.constData(), size_t(ba.size())) == 0;
}

bool CZeByteArray::startsWith(const char* str) const noexcept
{
    if (!str)
        return true;
    const int n = clampedLength(str);
    return n <= d->size && std::memcmp(constData(), str, size_t(n)) == 0;
}

bool CZeByteArray::endsWith(const CZeByteArray& ba) const noexcept
{
    return ba.size() <= d->size
        && std::memcmp(constData() + d->size - ba.size(), ba.constData(), size_t(ba.size())) == 0;
}

bool CZeByteArray::endsWith(const char* str) const noexcept
{
    if (!str)
        return true;
    const int n = clampedLength(str);
    return n <= d->size && std::memcmp(constData() + d->size - n, str, size_t(n)) == 0;
}

CZeByteArray CZeByteArray::left(int len) const
{
    if (len >= d->size)
        return *this;
    if (len < 0)
        len = 0;
    return CZeByteArray(constData(), len);
}

CZeByteArray CZeByteArray::right(int len) const
{
    if (len >= d->size)
        return *this;
    if (len < 0)
        len = 0;
    return CZeByteArray(constData() + d->size - len, len);
}

CZeByteArray CZeByteArray::mid(int pos, int len) const
{
    const int size = d->size;
    if (pos > size)
        return CZeByteArray();
    if (pos < 0) {
        if (len < 0 || len + pos >= size)
            return *this;
        if (len + pos <= 0)
            return CZeByteArray();
        len += pos;
        pos = 0;
    } else if (unsigned(len) > unsigned(size - pos)) {
        len = size - pos;
    }
    if (pos == 0 && len == size)
        return *this;
    return CZeByteArray(constData() + pos, len);
}

namespace {

CZeByteArray mapThrough(const CZeByteArray& source, const unsigned char* table)
{
    if (source.isEmpty())
        return source;
    CZeByteArray result;
    result.resize(source.size());
    if (result.size() != source.size())
        return CZeByteArray();
    const unsigned char* in = reinterpret_cast<const unsigned char*>(source.constData());
    char* out = result.data();
    for (int i = 0; i < source.size(); ++i)
        out[i] = static_cast<char>(table[in[i]]);
    return result;
}

} // namespace

CZeByteArray CZeByteArray::toLower() const
{
    return mapThrough(*this, zeLatin1Lowercased);
}

CZeByteArray CZeByteArray::toUpper() const
{
    return mapThrough(*this, zeLatin1Uppercased);
}

CZeByteArray CZeByteArray::nulTerminated() const
{
    if (!d->isRawData())
        return *this;
    return CZeByteArray(constData(), d->size);
}

CZeByteArray CZeByteArray::fromRawData(const char* data, int size)
{
    if (!data)
        return CZeByteArray();
    if (size < 0)
        size = clampedLength(data);
    if (size == 0)
        return CZeByteArray(SZeArrayData::sharedEmpty(), Adopt());
    SZeArrayData* x = Bytes::createRaw(data, size);
    return x ? CZeByteArray(x, Adopt()) : CZeByteArray();
}

CZeByteArray& CZeByteArray::setRawData(const char* data, int size)
{
    const bool ownRawHeader = Bytes::isOwnRaw(d);
    if (ownRawHeader && !data) {
        release(d);
        d = SZeArrayData::sharedEmpty();
        return *this;
    }
    if (!ownRawHeader)
        return *this = fromRawData(data, size);
    Bytes::repoint(d, data, size < 0 ? clampedLength(data) : size);
    return *this;
}

int CZeByteArray::compare(const CZeByteArray& other) const noexcept
{
    return compareBytes(constData(), d->size, other.constData(), other.size());
}

int CZeByteArray::compare(const char* str) const noexcept
{
    if (!str)
        str = "";
    return compareBytes(constData(), d->size, str, clampedLength(str));
}

bool operator==(const CZeByteArray& a, const CZeByteArray& b) noexcept
{
    if (a.isSharedWith(b))
        return true;
    return a.size() == b.size() && std::memcmp(a.constData(), b.constData(), size_t(a.size())) == 0;
}

bool operator==(const CZeByteArray& a, const char* b) noexcept
{
    if (!b)
        return a.isEmpty();
    const size_t n = std::strlen(b);
    return n == size_t(a.size()) && std::memcmp(a.constData(), b, n) == 0;
}
