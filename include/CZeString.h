/*
 * CZeString - implicitly shared, copy-on-write UTF-16 text.
 *
 *   CZeString name = CZeString::fromUtf8("caf\xc3\xa9");  // 4 units
 *   CZeString copy = name;                               // O(1), same block
 *   copy.append(CZeLatin1String(".txt"));                // copy detaches
 *   CZeByteArray bytes = copy.toUtf8();                  // "caf\xc3\xa9.txt"
 *
 * The units live in an SZeArrayData block (element size 2, alignment 8) and
 * are always followed by a 0 unit, except for raw data wrapped with
 * fromRawData. A null string (default) and an empty one are distinct states;
 * both have size 0. The local 8-bit encoding is UTF-8.
 *
 * Invalid input is repaired, never refused: decoding gives U+FFFD for each
 * rejected byte, encoding gives '?' for each unit that has no form.
 *
 * Also here: CZeChar (one UTF-16 unit), CZeLatin1String (a Latin-1 view of
 * bytes held elsewhere), CZeStringRef (a view of part of a string).
 */
#ifndef CZESTRING_H
#define CZESTRING_H

#include "CZeByteArray.h"

#include <string>
#include <vector>

namespace Ze {
// Tag of the constructor that allocates units without initialising them.
enum Initialization { Uninitialized };
} // namespace Ze

// One UTF-16 code unit, passed by value.
class ZE_EXPORT CZeChar {
public:
    enum SpecialCharacter {
        Null = 0x0000,
        Tabulation = 0x0009,
        LineFeed = 0x000a,
        CarriageReturn = 0x000d,
        Space = 0x0020,
        Nbsp = 0x00a0,
        ByteOrderMark = 0xfeff,
        ReplacementCharacter = 0xfffd
    };

    constexpr CZeChar() noexcept : ucs(0) {}
    constexpr CZeChar(unsigned short unit) noexcept : ucs(unit) {}
    constexpr CZeChar(char16_t unit) noexcept : ucs(static_cast<unsigned short>(unit)) {}
    constexpr CZeChar(SpecialCharacter s) noexcept : ucs(static_cast<unsigned short>(s)) {}
    constexpr CZeChar(unsigned char cell, unsigned char row) noexcept
        : ucs(static_cast<unsigned short>((row << 8) | cell))
    {
    }
    // Integers keep their low 16 bits; a char is read as Latin-1.
    constexpr explicit CZeChar(int unit) noexcept : ucs(static_cast<unsigned short>(unit & 0xffff)) {}
    constexpr explicit CZeChar(unsigned int unit) noexcept
        : ucs(static_cast<unsigned short>(unit & 0xffff))
    {
    }
    constexpr explicit CZeChar(char latin1) noexcept : ucs(static_cast<unsigned char>(latin1)) {}

    static constexpr CZeChar fromLatin1(char c) noexcept { return CZeChar(c); }

    constexpr unsigned short unicode() const noexcept { return ucs; }
    // The Latin-1 byte, or 0 for units above 0xFF.
    constexpr char toLatin1() const noexcept { return ucs > 0xff ? '\0' : static_cast<char>(ucs); }
    constexpr unsigned char cell() const noexcept { return static_cast<unsigned char>(ucs & 0xff); }
    constexpr unsigned char row() const noexcept { return static_cast<unsigned char>(ucs >> 8); }
    constexpr bool isNull() const noexcept { return ucs == 0; }

    constexpr bool isHighSurrogate() const noexcept { return isHighSurrogate(ucs); }
    constexpr bool isLowSurrogate() const noexcept { return isLowSurrogate(ucs); }
    constexpr bool isSurrogate() const noexcept { return isSurrogate(ucs); }

    static constexpr bool isHighSurrogate(unsigned int ucs4) noexcept
    {
        return (ucs4 & 0xfffffc00u) == 0xd800u;
    }
    static constexpr bool isLowSurrogate(unsigned int ucs4) noexcept
    {
        return (ucs4 & 0xfffffc00u) == 0xdc00u;
    }
    static constexpr bool isSurrogate(unsigned int ucs4) noexcept { return ucs4 - 0xd800u < 2048u; }
    static constexpr bool requiresSurrogates(unsigned int ucs4) noexcept { return ucs4 >= 0x10000u; }
    static constexpr unsigned int surrogateToUcs4(unsigned short high, unsigned short low) noexcept
    {
        return (static_cast<unsigned int>(high) << 10) + low - 0x35fdc00u;
    }
    static constexpr unsigned short highSurrogate(unsigned int ucs4) noexcept
    {
        return static_cast<unsigned short>((ucs4 >> 10) + 0xd7c0u);
    }
    static constexpr unsigned short lowSurrogate(unsigned int ucs4) noexcept
    {
        return static_cast<unsigned short>(0xdc00u | (ucs4 & 0x3ffu));
    }

private:
    unsigned short ucs;
};

constexpr bool operator==(CZeChar a, CZeChar b) noexcept { return a.unicode() == b.unicode(); }
constexpr bool operator!=(CZeChar a, CZeChar b) noexcept { return a.unicode() != b.unicode(); }
constexpr bool operator<(CZeChar a, CZeChar b) noexcept { return a.unicode() < b.unicode(); }
constexpr bool operator<=(CZeChar a, CZeChar b) noexcept { return a.unicode() <= b.unicode(); }
constexpr bool operator>(CZeChar a, CZeChar b) noexcept { return a.unicode() > b.unicode(); }
constexpr bool operator>=(CZeChar a, CZeChar b) noexcept { return a.unicode() >= b.unicode(); }

// A non-owning (length, pointer) view of Latin-1 text: each byte is the code
// point of equal value. A negative length means "up to the first 0 byte"
// wherever the view is read.
class CZeLatin1String {
public:
    constexpr CZeLatin1String() noexcept : m_size(0), m_data(nullptr) {}
    constexpr explicit CZeLatin1String(const char* s) noexcept
        : m_size(s ? static_cast<int>(std::char_traits<char>::length(s)) : 0), m_data(s)
    {
    }
    constexpr CZeLatin1String(const char* s, int size) noexcept : m_size(size), m_data(s) {}
    explicit CZeLatin1String(const CZeByteArray& s) noexcept
        : m_size(s.size()), m_data(s.constData())
    {
    }

    constexpr const char* latin1() const noexcept { return m_data; }
    constexpr const char* data() const noexcept { return m_data; }
    constexpr int size() const noexcept { return m_size; }
    constexpr bool isNull() const noexcept { return !m_data; }
    constexpr bool isEmpty() const noexcept { return m_size == 0; }

private:
    int m_size;
    const char* m_data;
};

class CZeStringRef;

class ZE_EXPORT CZeString {
public:
    // ---- Construction and assignment ----------------------------------
    CZeString() noexcept : d(SZeArrayData::sharedNull()) {}
    // Null `unicode`: null string. Negative `size`: up to the first 0 unit.
    CZeString(const CZeChar* unicode, int size = -1);
    // `size` copies of `ch`; size <= 0 gives an empty string.
    CZeString(int size, CZeChar ch);
    // `size` units left uninitialised (for writers that fill and truncate).
    CZeString(int size, Ze::Initialization);
    CZeString(CZeChar ch);
    CZeString(CZeLatin1String latin1);
    CZeString(const CZeString& other) noexcept : d(other.d) { d->addRef(); }
    CZeString(CZeString&& other) noexcept : d(other.d) { other.d = SZeArrayData::sharedNull(); }
    ~CZeString() { release(d); }

    CZeString& operator=(const CZeString& other) noexcept;
    CZeString& operator=(CZeString&& other) noexcept
    {
        swap(other);
        return *this;
    }
    CZeString& operator=(CZeChar ch);
    CZeString& operator=(CZeLatin1String latin1);
    void swap(CZeString& other) noexcept
    {
        SZeArrayData* t = d;
        d = other.d;
        other.d = t;
    }

    // Wraps `size` units that the caller keeps alive, without copying. Such a
    // string is not zero-terminated (utf16() copies it); writing copies it.
    static CZeString fromRawData(const CZeChar* unicode, int size);
    CZeString& setRawData(const CZeChar* unicode, int size);
    // Resizes to max(size, 0) and copies the units in.
    CZeString& setUnicode(const CZeChar* unicode, int size);
    CZeString& setUtf16(const unsigned short* utf16, int size)
    {
        return setUnicode(reinterpret_cast<const CZeChar*>(utf16), size);
    }

    // ---- Size and element access --------------------------------------
    int size() const noexcept { return d->size; }
    int length() const noexcept { return d->size; }
    bool isNull() const noexcept { return d == SZeArrayData::sharedNull(); }
    bool isEmpty() const noexcept { return d->size == 0; }
    int capacity() const noexcept { return d->alloc ? int(d->alloc) - 1 : 0; }
    void reserve(int size);
    void squeeze();

    const CZeChar* unicode() const noexcept { return static_cast<const CZeChar*>(d->data()); }
    const CZeChar* constData() const noexcept { return unicode(); }
    const CZeChar* data() const noexcept { return unicode(); }
    // Writable units; detaches first.
    CZeChar* data();
    // Zero-terminated units; raw data is copied into an own block first.
    const unsigned short* utf16() const;

    // Out-of-range reads give U+0000; out-of-range writes go to a scratch unit.
    CZeChar at(int i) const noexcept { return unsigned(i) < unsigned(d->size) ? unicode()[i] : CZeChar(); }
    CZeChar operator[](int i) const noexcept { return at(i); }
    CZeChar& operator[](int i);
    CZeChar front() const noexcept { return at(0); }
    CZeChar back() const noexcept { return at(d->size - 1); }
    const CZeChar* begin() const noexcept { return unicode(); }
    const CZeChar* end() const noexcept { return unicode() + d->size; }

    void detach();
    bool isDetached() const noexcept { return !d->isShared(); }
    bool isSharedWith(const CZeString& other) const noexcept { return d == other.d; }
    // Null again; the block is released.
    void clear() noexcept;

    // ---- Length-changing operations -----------------------------------
    // A string never gives memory back when it shrinks (squeeze() does).
    void resize(int size);
    void resize(int size, CZeChar fillChar);
    void truncate(int pos);
    void chop(int n);
    // Resizes to `size` (negative: keeps the length) and sets every unit to `ch`.
    CZeString& fill(CZeChar ch, int size = -1);

    // Appending to a null string shares the other string's block.
    CZeString& append(const CZeString& other);
    CZeString& append(const CZeChar* unicode, int size);
    CZeString& append(CZeLatin1String latin1);
    CZeString& append(CZeChar ch);
    CZeString& append(const CZeStringRef& ref);
    CZeString& prepend(const CZeString& other) { return insert(0, other); }
    CZeString& prepend(CZeLatin1String latin1) { return insert(0, latin1); }
    CZeString& prepend(CZeChar ch) { return insert(0, ch); }
    CZeString& operator+=(const CZeString& other) { return append(other); }
    CZeString& operator+=(CZeLatin1String latin1) { return append(latin1); }
    CZeString& operator+=(CZeChar ch) { return append(ch); }
    CZeString& operator+=(const CZeStringRef& ref) { return append(ref); }

    // A negative position or an empty source changes nothing; a position past
    // the end is reached by padding with spaces. The source may be this string.
    CZeString& insert(int i, CZeLatin1String latin1);
    CZeString& insert(int i, const CZeChar* unicode, int size);
    CZeString& insert(int i, CZeChar ch);
    CZeString& insert(int i, const CZeString& other);
    // Removes `len` units at `pos`; a range past the end stops at the end.
    CZeString& remove(int pos, int len);

    // ---- Conversions ---------------------------------------------------
    static CZeString fromLatin1(const char* str, int size = -1) { return fromLatin1_helper(str, size); }
    static CZeString fromLatin1(const CZeByteArray& str)
    {
        return str.isNull() ? CZeString() : fromLatin1_helper(str.constData(), str.size());
    }
    static CZeString fromUtf8(const char* str, int size = -1) { return fromUtf8_helper(str, size); }
    static CZeString fromUtf8(const CZeByteArray& str)
    {
        return str.isNull() ? CZeString() : fromUtf8_helper(str.constData(), str.size());
    }
    static CZeString fromLocal8Bit(const char* str, int size = -1)
    {
        return fromLocal8Bit_helper(str, size);
    }
    static CZeString fromLocal8Bit(const CZeByteArray& str)
    {
        return str.isNull() ? CZeString() : fromLocal8Bit_helper(str.constData(), str.size());
    }
    // Bytes above 0x7F are read as UTF-8, not as Latin-1.
    static CZeString fromAscii(const char* str, int size = -1) { return fromAscii_helper(str, size); }
    static CZeString fromUtf16(const unsigned short* unicode, int size = -1)
    {
        return fromUtf16_helper(unicode, size);
    }
    static CZeString fromUtf16(const char16_t* unicode, int size = -1)
    {
        return fromUtf16_helper(reinterpret_cast<const unsigned short*>(unicode), size);
    }
    // Code points above 0x10FFFF and in the surrogate range become U+FFFD.
    static CZeString fromUcs4(const unsigned int* unicode, int size = -1)
    {
        return fromUcs4_helper(unicode, size);
    }

    CZeByteArray toLatin1() const { return isNull() ? CZeByteArray() : toLatin1_helper(unicode(), size()); }
    CZeByteArray toUtf8() const { return isNull() ? CZeByteArray() : toUtf8_helper(unicode(), size()); }
    CZeByteArray toLocal8Bit() const
    {
        return isNull() ? CZeByteArray() : toLocal8Bit_helper(unicode(), size());
    }
    // Code points; unpaired surrogates give U+FFFD. Inline so that the vector
    // is built (and may throw) in the caller's code, not inside the library.
    std::vector<unsigned int> toUcs4() const
    {
        std::vector<unsigned int> result(static_cast<size_t>(size()));
        const int n = toUcs4_helper(static_cast<const unsigned short*>(d->data()), size(),
                                    result.data());
        result.resize(static_cast<size_t>(n));
        return result;
    }

    // The helpers behind the conversions: a pointer and a length each.
    // fromUtf8_helper reports through `replaced` whether any U+FFFD was produced.
    static CZeString fromLatin1_helper(const char* str, int size);
    static CZeString fromUtf8_helper(const char* str, int size, bool* replaced = nullptr);
    static CZeString fromLocal8Bit_helper(const char* str, int size);
    static CZeString fromAscii_helper(const char* str, int size);
    static CZeString fromUtf16_helper(const unsigned short* unicode, int size);
    static CZeString fromUcs4_helper(const unsigned int* unicode, int size);
    static CZeByteArray toLatin1_helper(const CZeChar* unicode, int size);
    static CZeByteArray toUtf8_helper(const CZeChar* unicode, int size);
    static CZeByteArray toLocal8Bit_helper(const CZeChar* unicode, int size);
    // Writes the code points of `length` units to `out`, which holds at least
    // `length` entries; unpaired surrogates give U+FFFD. Returns the count.
    static int toUcs4_helper(const unsigned short* unicode, int length, unsigned int* out);

    // ---- Numbers ---------------------------------------------------------
    // Integers: digits above 9 are lower-case letters; only base 10 writes a
    // sign, other bases write the two's complement. Bases outside 2..36 act as 10.
    static CZeString number(int n, int base = 10);
    static CZeString number(unsigned int n, int base = 10);
    static CZeString number(long n, int base = 10);
    static CZeString number(unsigned long n, int base = 10);
    static CZeString number(long long n, int base = 10);
    static CZeString number(unsigned long long n, int base = 10);
    // printf-style `format` ('g', 'e', 'f', ...) with `precision` digits; a
    // negative precision uses the C library's default.
    static CZeString number(double n, char format = 'g', int precision = 6);
    CZeString& setNum(int n, int base = 10) { return setNum(static_cast<long>(n), base); }
    CZeString& setNum(unsigned int n, int base = 10)
    {
        return setNum(static_cast<unsigned long>(n), base);
    }
    CZeString& setNum(long n, int base = 10);
    CZeString& setNum(unsigned long n, int base = 10);
    CZeString& setNum(double n, char format = 'g', int precision = 6);

    // ---- Argument substitution -------------------------------------------
    //   CZeString::fromLatin1("%1(%2).log").arg(tag).arg(day)   // "tag(2024-05-01).log"
    //
    // Replaces every placeholder %0 to %99 that carries the lowest number in
    // the template (two digits at most: %100 is %10 followed by '0') and
    // leaves the others for the next call; the template is not changed. A
    // positive `fieldWidth` right-aligns the text in that many units of
    // `fillChar`, a negative one left-aligns it. A template without
    // placeholders is returned unchanged and a warning is logged. The form
    // %L1 is only recognised while replacing, not while counting.
    CZeString arg(const CZeString& a, int fieldWidth = 0, CZeChar fillChar = CZeChar(' ')) const;

private:
    SZeArrayData* d;

    struct Adopt {};
    CZeString(SZeArrayData* data, Adopt) noexcept : d(data) {} // takes over one reference
    static void release(SZeArrayData* data) noexcept
    {
        if (!data->releaseRef())
            SZeArrayData::deallocate(data, sizeof(CZeChar), alignof(SZeArrayData));
    }
    unsigned short* units() noexcept { return static_cast<unsigned short*>(d->data()); }
    bool reallocData(unsigned int alloc, bool grow = false);
    void expand(int i);
    bool ownsUnits(const void* p) const noexcept;
    bool appendUnits(const unsigned short* source, int size);

    friend class CZeStringRef;
};

// A non-owning view of units [position, position + size) of a string. The
// view is clamped to the string when it is made and must not outlive it.
class ZE_EXPORT CZeStringRef {
public:
    CZeStringRef() noexcept : m_string(nullptr), m_position(0), m_size(0) {}
    CZeStringRef(const CZeString* string, int position, int size) noexcept
        : m_string(string), m_position(0), m_size(0)
    {
        if (!string)
            return;
        const int total = string->size();
        m_position = position < 0 ? 0 : (position > total ? total : position);
        m_size = size < 0 ? 0 : (size > total - m_position ? total - m_position : size);
    }
    CZeStringRef(const CZeString* string) noexcept
        : m_string(string), m_position(0), m_size(string ? string->size() : 0)
    {
    }

    const CZeString* string() const noexcept { return m_string; }
    int position() const noexcept { return m_position; }
    int size() const noexcept { return m_size; }
    int length() const noexcept { return m_size; }
    bool isNull() const noexcept { return !m_string || m_string->isNull(); }
    bool isEmpty() const noexcept { return m_size == 0; }
    const CZeChar* unicode() const noexcept
    {
        return m_string ? m_string->unicode() + m_position
                        : static_cast<const CZeChar*>(SZeArrayData::sharedNull()->data());
    }
    const CZeChar* data() const noexcept { return unicode(); }
    const CZeChar* constData() const noexcept { return unicode(); }
    CZeChar at(int i) const noexcept { return unsigned(i) < unsigned(m_size) ? unicode()[i] : CZeChar(); }
    CZeChar operator[](int i) const noexcept { return at(i); }
    CZeString toString() const;

private:
    const CZeString* m_string;
    int m_position;
    int m_size;
};

// Unit-by-unit equality (ordering and case rules belong to compare()).
ZE_EXPORT bool operator==(const CZeString& a, const CZeString& b) noexcept;
inline bool operator!=(const CZeString& a, const CZeString& b) noexcept { return !(a == b); }

inline const CZeString operator+(const CZeString& a, const CZeString& b)
{
    CZeString r(a);
    r += b;
    return r;
}

#endif /* CZESTRING_H */
