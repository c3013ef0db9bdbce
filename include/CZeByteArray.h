/*
 * SZeArrayData and CZeByteArray - shared element storage and the byte array.
 *
 *   CZeByteArray a("abc");      // one block: header, 'a' 'b' 'c', terminator
 *   CZeByteArray b = a;         // O(1): both point at the same block
 *   b.append("def");            // b copies first; a still reads "abc"
 *   puts(b.constData());        // always zero-terminated (except raw data)
 *
 * Every byte array and string keeps its elements in one heap block that
 * starts with an SZeArrayData header. Copies share the block and raise its
 * atomic reference count; the first write to a shared block copies it.
 *
 * Reference count (`ref`): -1 static data (never counted, never freed),
 * 0 unsharable (one owner, freed by it), n >= 1 the number of owners.
 * A null container points at `shared_null`; an empty but non-null one at the
 * static empty header or at a block of size 0.
 */
#ifndef CZEBYTEARRAY_H
#define CZEBYTEARRAY_H

#include "ZeGlobal.h"

#include <atomic>
#include <cstddef>

struct ZE_EXPORT SZeArrayData {
    // Options of allocate() and reallocateUnaligned(), combined as an int.
    enum AllocationOption {
        Default = 0,
        CapacityReserved = 1, // the owner asked for this capacity; shrinking keeps it
        Unsharable = 2,       // the new header gets ref 0 instead of 1
        RawData = 4,          // header only, for elements that live elsewhere
        Grow = 8              // round the block up (power of two) and keep all its room
    };

    std::atomic<int> ref;
    int size;                          // elements in use, terminator not counted
    unsigned int alloc : 31;           // capacity in elements, terminator included
    unsigned int capacityReserved : 1; // top bit of the capacity word
    std::ptrdiff_t offset;             // bytes from the header to the first element

    void* data() noexcept { return reinterpret_cast<char*>(this) + offset; }
    const void* data() const noexcept { return reinterpret_cast<const char*>(this) + offset; }

    // Static data counts as shared: nobody may write to it.
    bool isShared() const noexcept
    {
        const int r = ref.load();
        return r != 0 && r != 1;
    }
    bool isStatic() const noexcept { return ref.load() == -1; }
    // Raw data: the elements are not behind the header and need not be terminated.
    bool isRawData() const noexcept
    {
        return offset != static_cast<std::ptrdiff_t>(sizeof(SZeArrayData));
    }
    int detachFlags() const noexcept { return capacityReserved ? CapacityReserved : Default; }

    // Take a reference (no-op for static and unsharable data).
    void addRef() noexcept
    {
        const int r = ref.load();
        if (r != -1 && r != 0)
            ref.fetch_add(1);
    }
    // Drop a reference; false when the block is no longer in use and the
    // caller must deallocate it.
    bool releaseRef() noexcept
    {
        const int r = ref.load();
        if (r == -1)
            return true;
        if (r == 0)
            return false;
        return ref.fetch_sub(1) != 1;
    }

    // A new block for `capacity` elements, or null when the request is too
    // large (32-bit block size) or memory is exhausted. A zero capacity
    // without RawData returns the static empty header (unsharable or not).
    static SZeArrayData* allocate(unsigned long objectSize, unsigned long alignment,
                                  unsigned long capacity, int options = Default) noexcept;
    // Resizes an unshared ordinary block (elements directly behind the
    // header) through realloc; null on failure, the old block untouched.
    static SZeArrayData* reallocateUnaligned(SZeArrayData* data, unsigned long objectSize,
                                             unsigned long capacity, int options = Default) noexcept;
    // Frees a block; the static headers are left alone.
    static void deallocate(SZeArrayData* data, unsigned long objectSize,
                           unsigned long alignment) noexcept;

    // shared_null[0] is the null header; shared_null[1] is a header-sized run
    // of zero bytes behind it, so that its element area reads as "".
    static const SZeArrayData shared_null[2];

    static SZeArrayData* sharedNull() noexcept { return const_cast<SZeArrayData*>(shared_null); }
    static SZeArrayData* sharedEmpty() noexcept;
    static SZeArrayData* unsharableEmpty() noexcept;
};

/*
 * CZeByteArray - implicitly shared, copy-on-write bytes, always followed by a
 * zero byte (raw data excepted). Null (default) and empty ("") are distinct
 * states; both have size 0. Byte counts are int.
 *
 * Out-of-range element access reads 0 and writes to a scratch byte rather than
 * touching memory outside the array.
 */
class ZE_EXPORT CZeByteArray {
public:
    CZeByteArray() noexcept : d(SZeArrayData::sharedNull()) {}
    // Null `data`: null array. Negative `size`: strlen(data). Size 0: empty.
    CZeByteArray(const char* data, int size = -1);
    // `size` copies of `ch`; size <= 0 gives an empty array.
    CZeByteArray(int size, char ch);
    CZeByteArray(const CZeByteArray& other) noexcept : d(other.d) { d->addRef(); }
    CZeByteArray(CZeByteArray&& other) noexcept : d(other.d) { other.d = SZeArrayData::sharedNull(); }
    ~CZeByteArray() { release(d); }

    CZeByteArray& operator=(const CZeByteArray& other) noexcept;
    CZeByteArray& operator=(CZeByteArray&& other) noexcept
    {
        swap(other);
        return *this;
    }
    // Null pointer: null array; "": empty array; otherwise a copy that reuses
    // this array's own block when it is unshared and fits well.
    CZeByteArray& operator=(const char* str);
    void swap(CZeByteArray& other) noexcept
    {
        SZeArrayData* t = d;
        d = other.d;
        other.d = t;
    }

    int size() const noexcept { return d->size; }
    int length() const noexcept { return d->size; }
    bool isEmpty() const noexcept { return d->size == 0; }
    bool isNull() const noexcept { return d == SZeArrayData::sharedNull(); }
    int capacity() const noexcept { return d->alloc ? int(d->alloc) - 1 : 0; }

    // Writable bytes; detaches (copies a shared or raw block) first.
    char* data();
    const char* data() const noexcept { return constData(); }
    const char* constData() const noexcept { return static_cast<const char*>(d->data()); }
    char at(int i) const noexcept { return unsigned(i) < unsigned(d->size) ? constData()[i] : '\0'; }
    char operator[](int i) const noexcept { return at(i); }
    char& operator[](int i);
    char front() const noexcept { return at(0); }
    char back() const noexcept { return at(d->size - 1); }

    const char* begin() const noexcept { return constData(); }
    const char* end() const noexcept { return constData() + d->size; }

    void detach();
    bool isDetached() const noexcept { return !d->isShared(); }
    bool isSharedWith(const CZeByteArray& other) const noexcept { return d == other.d; }

    // Null again; the block is released.
    void clear() noexcept;
    // Size n (negative counts as 0); new bytes are uninitialised. Shrinking
    // keeps the block unless less than half of it would remain in use.
    void resize(int n);
    void truncate(int pos);
    void chop(int n);
    // Room for n bytes, kept by later shrinking operations until squeeze().
    void reserve(int n);
    void squeeze();

    CZeByteArray& append(const CZeByteArray& ba);
    CZeByteArray& append(const char* str);
    CZeByteArray& append(const char* str, int len);
    CZeByteArray& append(char ch);
    CZeByteArray& prepend(const char* str);
    CZeByteArray& prepend(const CZeByteArray& ba);
    // Inserting past the end pads the gap with spaces.
    CZeByteArray& insert(int i, const CZeByteArray& ba);
    CZeByteArray& insert(int i, const char* str);
    CZeByteArray& insert(int i, const char* str, int len);
    CZeByteArray& insert(int i, char ch);
    // Removes `len` bytes at `pos`; a range past the end stops at the end.
    CZeByteArray& remove(int pos, int len);
    CZeByteArray& operator+=(const CZeByteArray& ba) { return append(ba); }
    CZeByteArray& operator+=(const char* str) { return append(str); }
    CZeByteArray& operator+=(char ch) { return append(ch); }

    // Searches return -1 when nothing is found; a negative `from` counts from the end.
    int indexOf(char ch, int from = 0) const noexcept;
    int indexOf(const char* str, int from = 0) const noexcept;
    int indexOf(const CZeByteArray& ba, int from = 0) const noexcept;
    int lastIndexOf(char ch, int from = -1) const noexcept;
    bool contains(char ch) const noexcept { return indexOf(ch) >= 0; }
    bool contains(const char* str) const noexcept { return indexOf(str) >= 0; }
    bool contains(const CZeByteArray& ba) const noexcept { return indexOf(ba) >= 0; }
    bool startsWith(const CZeByteArray& ba) const noexcept;
    bool startsWith(const char* str) const noexcept;
    bool endsWith(const CZeByteArray& ba) const noexcept;
    bool endsWith(const char* str) const noexcept;

    // Sub-arrays; a request covering everything shares this block.
    CZeByteArray left(int len) const;
    CZeByteArray right(int len) const;
    CZeByteArray mid(int pos, int len = -1) const;

    // Copies mapped through the Latin-1 case table (0xD7, 0xDF, 0xF7, 0xFF stay).
    CZeByteArray toLower() const;
    CZeByteArray toUpper() const;
    // This array when it is terminated; a terminated copy of raw data.
    CZeByteArray nulTerminated() const;

    // Wraps `size` bytes that the caller keeps alive, without copying. Such an
    // array is not zero-terminated; writing to it copies it first.
    static CZeByteArray fromRawData(const char* data, int size);
    CZeByteArray& setRawData(const char* data, int size);

    // Three-way comparison as unsigned bytes, then by length.
    int compare(const CZeByteArray& other) const noexcept;
    int compare(const char* str) const noexcept;

    // Lower-case hexadecimal, two digits per byte, `separator` (when not 0)
    // between the pairs but not after the last: {01 AB} gives "01:ab" with ':'
    // and "01ab" without. A null or empty array gives a null array.
    CZeByteArray toHex(char separator = '\0') const;

    // The text printf writes for "%<format>" (negative precision: the C
    // library's default) or "%.<precision><format>", at most 127 bytes.
    // Only the floating conversions e E f F g G a A are used; any other
    // format character acts as 'g'.
    CZeByteArray& setNum(double n, char format = 'g', int precision = 6);
    static CZeByteArray number(double n, char format = 'g', int precision = 6);

    // The bytes as a floating-point number, '.' as decimal point whatever the
    // process locale; white space (9 to 13, space, 0x85, 0xA0) may surround
    // it. Failure (no number, trailing text, overflow) gives 0 and *ok false.
    double toDouble(bool* ok = nullptr) const;

private:
    SZeArrayData* d;

    struct Adopt {};
    CZeByteArray(SZeArrayData* data, Adopt) noexcept : d(data) {} // takes over one reference
    static void release(SZeArrayData* data) noexcept
    {
        if (!data->releaseRef())
            SZeArrayData::deallocate(data, 1, alignof(SZeArrayData));
    }
    bool reallocData(unsigned int alloc, int options);
    // Library code that builds a block itself hands it over through this.
    friend class ZeByteArrayBlock;
    bool insertBytes(int i, const char* str, int len);
    bool ownsPointer(const char* p) const noexcept;
};

ZE_EXPORT bool operator==(const CZeByteArray& a, const CZeByteArray& b) noexcept;
ZE_EXPORT bool operator==(const CZeByteArray& a, const char* b) noexcept;
inline bool operator==(const char* a, const CZeByteArray& b) noexcept { return b == a; }
inline bool operator!=(const CZeByteArray& a, const CZeByteArray& b) noexcept { return !(a == b); }
inline bool operator!=(const CZeByteArray& a, const char* b) noexcept { return !(a == b); }
inline bool operator!=(const char* a, const CZeByteArray& b) noexcept { return !(b == a); }
inline bool operator<(const CZeByteArray& a, const CZeByteArray& b) noexcept { return a.compare(b) < 0; }
inline bool operator<=(const CZeByteArray& a, const CZeByteArray& b) noexcept { return a.compare(b) <= 0; }
inline bool operator>(const CZeByteArray& a, const CZeByteArray& b) noexcept { return a.compare(b) > 0; }
inline bool operator>=(const CZeByteArray& a, const CZeByteArray& b) noexcept { return a.compare(b) >= 0; }
inline bool operator<(const CZeByteArray& a, const char* b) noexcept { return a.compare(b) < 0; }
inline bool operator>(const CZeByteArray& a, const char* b) noexcept { return a.compare(b) > 0; }
inline bool operator<(const char* a, const CZeByteArray& b) noexcept { return b.compare(a) > 0; }
inline bool operator>(const char* a, const CZeByteArray& b) noexcept { return b.compare(a) < 0; }

inline const CZeByteArray operator+(const CZeByteArray& a, const CZeByteArray& b)
{
    return CZeByteArray(a) += b;
}
inline const CZeByteArray operator+(const CZeByteArray& a, const char* b)
{
    return CZeByteArray(a) += b;
}

/*
 * Compressed blocks: a 4-byte big-endian length of the original data, then a
 * zlib stream. Zero bytes compress to 00 00 00 00 and nothing else.
 *
 *   CZeByteArray packed = ZeCompress(raw);      // level -1: zlib's default
 *   CZeByteArray back = ZeUncompress(packed);   // == raw
 *   if (back.isEmpty()) ...                     // failed (or nothing stored)
 *
 * Failures are logged as warnings. ZeCompress gives a null array for null
 * data (or a negative size) and an empty one when zlib runs out of memory;
 * ZeUncompress gives a null array for anything it cannot restore. The stored
 * length is only a first estimate of the output size: a stream that turns out
 * larger or smaller is still restored.
 */
// `compressionLevel`: 0 to 9, or -1 for zlib's default; other values act as -1.
ZE_EXPORT CZeByteArray ZeCompress(const unsigned char* data, int nbytes, int compressionLevel = -1);
ZE_EXPORT CZeByteArray ZeUncompress(const unsigned char* data, int nbytes);
inline CZeByteArray ZeCompress(const CZeByteArray& data, int compressionLevel = -1)
{
    return ZeCompress(reinterpret_cast<const unsigned char*>(data.constData()), data.size(),
                      compressionLevel);
}
inline CZeByteArray ZeUncompress(const CZeByteArray& data)
{
    return ZeUncompress(reinterpret_cast<const unsigned char*>(data.constData()), data.size());
}

#endif /* CZEBYTEARRAY_H */
