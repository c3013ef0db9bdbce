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

#include <deque>
#include <string>
#include <vector>

namespace Ze {
// Tag of the constructor that allocates units without initialising them.
enum Initialization { Uninitialized };
// How comparisons and searches treat letter case. Case-insensitive matching
// folds ASCII letters only (A-Z to a-z); every other unit, é and É among
// them, still has to match exactly.
enum CaseSensitivity : int { CaseInsensitive = 0, CaseSensitive = 1 };
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

    // White space: 9 to 13, U+0085 and the Unicode space separators (U+0020,
    // U+00A0, U+1680, U+2000 to U+200A, U+2028, U+2029, U+202F, U+205F, U+3000).
    constexpr bool isSpace() const noexcept
    {
        return ucs == 0x20 || (ucs >= 9 && ucs <= 13) || ucs == 0x85 || ucs == 0xa0
            || (ucs >= 0x1680 && (ucs == 0x1680 || (ucs >= 0x2000 && ucs <= 0x200a)
                                  || ucs == 0x2028 || ucs == 0x2029 || ucs == 0x202f
                                  || ucs == 0x205f || ucs == 0x3000));
    }

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
    // What split() does with empty parts; any non-zero value skips them.
    enum SplitBehavior : int { KeepEmptyParts = 0, SkipEmptyParts = 1 };
    // Flags of section(), combined with |.
    enum SectionFlag : int {
        SectionDefault = 0x00,
        SectionSkipEmpty = 0x01,          // empty sections are not counted or returned
        SectionIncludeLeadingSep = 0x02,  // keep the separator before the first section
        SectionIncludeTrailingSep = 0x04, // keep the separator after the last section
        SectionCaseInsensitiveSeps = 0x08 // match the separator without (ASCII) case
    };

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

    // ---- Parsing ---------------------------------------------------------
    // The units are read as Latin-1 (a unit above 0xFF makes the text invalid).
    // White space (9 to 13, space, 0x85, 0xA0) may surround the number; any
    // other unit, an embedded 0 included, is a failure. `base` 0 takes the base
    // from a 0x (hex) or 0 (octal) prefix; 2 to 36 are allowed; other bases fail.
    // A failure returns 0 and sets `*ok` to false; success sets it to true
    // (`ok` may be null). A value that does not fit the result type is a
    // failure, also for the narrow types, which parse 64 bits first.
    long long toLongLong(bool* ok = nullptr, int base = 10) const;
    long toLong(bool* ok = nullptr, int base = 10) const;
    int toInt(bool* ok = nullptr, int base = 10) const;
    short toShort(bool* ok = nullptr, int base = 10) const;
    // The unsigned forms refuse a leading '-' instead of wrapping it around.
    unsigned long long toULongLong(bool* ok = nullptr, int base = 10) const;
    unsigned long toULong(bool* ok = nullptr, int base = 10) const;
    unsigned int toUInt(bool* ok = nullptr, int base = 10) const;
    unsigned short toUShort(bool* ok = nullptr, int base = 10) const;
    // Decimal point always '.', whatever the process locale; inf, nan and hex
    // floats are accepted. Overflow to infinity fails; an underflowing value
    // is kept as the subnormal or zero it rounds to. toFloat also fails for a
    // finite value beyond the float range.
    double toDouble(bool* ok = nullptr) const;
    float toFloat(bool* ok = nullptr) const;

    // The parsers behind the integer conversions; the overload is chosen by
    // the type of `len` (int: signed 64-bit, unsigned int: unsigned 64-bit).
    static long long toIntegral_helper(const CZeChar* data, int len, bool* ok, int base);
    static unsigned long long toIntegral_helper(const CZeChar* data, unsigned int len, bool* ok,
                                                int base);

    // ---- Argument substitution -------------------------------------------
    //   CZeString::fromLatin1("%1(%2).log").arg(day).arg(n)   // "2024-05-01(3).log"
    //
    // Each call replaces every placeholder %0 to %99 that carries the lowest
    // number in the template (at most two digits are read: %100 is %10 then
    // '0') and leaves the others for the next call; the template itself is
    // not changed. With a positive `fieldWidth` the text is right-aligned
    // in that many units of `fillChar`, with a negative one left-aligned.
    // A template without placeholders is returned unchanged and a warning is
    // logged. The form %L1 is only recognised while replacing, not while
    // counting: a template holding %L1 before %1 has the %L1 replaced.
    // A result too large to allocate is a null string.
    CZeString arg(const CZeString& a, int fieldWidth = 0, CZeChar fillChar = CZeChar(' ')) const;
    // Integers in `base` (digits above 9 lower case; a negative number only
    // has a sign in base 10, other bases write its two's complement). With
    // fill '0' a negative number gets its zeros inserted after the first
    // unit, so -5 in width 4 reads -005.
    CZeString arg(long a, int fieldWidth = 0, int base = 10, CZeChar fillChar = CZeChar(' ')) const;
    CZeString arg(unsigned long a, int fieldWidth = 0, int base = 10,
                  CZeChar fillChar = CZeChar(' ')) const;
    CZeString arg(long long a, int fieldWidth = 0, int base = 10,
                  CZeChar fillChar = CZeChar(' ')) const;
    CZeString arg(unsigned long long a, int fieldWidth = 0, int base = 10,
                  CZeChar fillChar = CZeChar(' ')) const;
    CZeString arg(int a, int fieldWidth = 0, int base = 10, CZeChar fillChar = CZeChar(' ')) const
    {
        return arg(static_cast<long>(a), fieldWidth, base, fillChar);
    }
    CZeString arg(unsigned int a, int fieldWidth = 0, int base = 10,
                  CZeChar fillChar = CZeChar(' ')) const
    {
        return arg(static_cast<unsigned long>(a), fieldWidth, base, fillChar);
    }
    CZeString arg(CZeChar a, int fieldWidth = 0, CZeChar fillChar = CZeChar(' ')) const;
    // The byte is read as Latin-1.
    CZeString arg(char a, int fieldWidth = 0, CZeChar fillChar = CZeChar(' ')) const;
    // Formatted as number(a, format, precision); a negative precision is the
    // C library's default. With fill '0' a negative finite number gets its
    // zeros after the '-' sign, as the integers do.
    CZeString arg(double a, int fieldWidth = 0, char format = 'g', int precision = -1,
                  CZeChar fillChar = CZeChar(' ')) const;

    // ---- Comparison ------------------------------------------------------
    // Three-way results: negative, 0 or positive.
    //
    // Case-sensitive: the first differing units decide (their difference as
    // unsigned 16-bit values), else the lengths (their difference).
    // Case-insensitive: the same storage compares by length alone; a null
    // first array gives 1, a null second one -1; then each side is read as
    // code points (a low surrogate after a high one stands for the pair's
    // code point), ASCII capitals are folded to small letters, and the first
    // difference decides (folded first minus folded second), else -1, 0 or 1
    // by which side still has units. So "ABC" vs "abc" is 0 and "É" vs "é" -32.
    int compare(const CZeString& other, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept
    {
        return compare_helper(unicode(), size(), other.unicode(), other.size(), cs);
    }
    int compare(CZeLatin1String other, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept
    {
        return compare_helper(unicode(), size(), other, cs);
    }
    static int compare_helper(const CZeChar* data1, int length1, const CZeChar* data2,
                              int length2, Ze::CaseSensitivity cs = Ze::CaseSensitive) noexcept;
    // `data2` is UTF-8 (as fromUtf8 reads it); a negative length means up to
    // its terminating 0. Invalid bytes compare as U+FFFD.
    static int compare_helper(const CZeChar* data1, int length1, const char* data2, int length2,
                              Ze::CaseSensitivity cs = Ze::CaseSensitive) noexcept;
    static int compare_helper(const CZeChar* data1, int length1, CZeLatin1String s2,
                              Ze::CaseSensitivity cs = Ze::CaseSensitive) noexcept;

    // ---- Search ----------------------------------------------------------
    // indexOf: the first match starting at or after `from`; a negative `from`
    // counts from the end (-1 is the last unit). lastIndexOf: the last match
    // starting at or before `from`, same counting. Both give -1 when nothing
    // matches. An empty needle matches at every position from 0 to size().
    int indexOf(const CZeString& str, int from = 0,
                Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    int indexOf(CZeLatin1String str, int from = 0,
                Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    int indexOf(CZeChar ch, int from = 0, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    int indexOf(const CZeStringRef& str, int from = 0,
                Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    int lastIndexOf(const CZeString& str, int from = -1,
                    Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    int lastIndexOf(CZeLatin1String str, int from = -1,
                    Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    int lastIndexOf(CZeChar ch, int from = -1,
                    Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    int lastIndexOf(const CZeStringRef& str, int from = -1,
                    Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    bool contains(const CZeString& str, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept
    {
        return indexOf(str, 0, cs) != -1;
    }
    bool contains(CZeLatin1String str, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept
    {
        return indexOf(str, 0, cs) != -1;
    }
    bool contains(CZeChar ch, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept
    {
        return indexOf(ch, 0, cs) != -1;
    }
    // Every position where the needle starts, overlapping matches included
    // ("aaaa" holds "aa" three times); an empty needle counts size() + 1.
    int count(const CZeString& str, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    int count(CZeChar ch, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    int count(const CZeStringRef& str, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    // Every string starts and ends with the empty string.
    bool startsWith(const CZeString& s, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    bool startsWith(CZeLatin1String s, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    bool startsWith(CZeChar c, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    bool startsWith(const CZeStringRef& s,
                    Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    bool endsWith(const CZeString& s, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    bool endsWith(CZeLatin1String s, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    bool endsWith(CZeChar c, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;
    bool endsWith(const CZeStringRef& s, Ze::CaseSensitivity cs = Ze::CaseSensitive) const noexcept;

    // ---- Replacing and removing -------------------------------------------
    // Replaces `len` units at `pos`. A `pos` outside 0..size() changes
    // nothing; `len` is clamped to the units that exist (negative: 0, so the
    // call inserts). The replacement may be part of this string.
    CZeString& replace(int pos, int len, const CZeString& after);
    CZeString& replace(int pos, int len, const CZeChar* unicode, int size);
    CZeString& replace(int pos, int len, CZeChar after);

    // Replaces every match of `before`, left to right, matches not
    // overlapping; the text put in is not searched again. An empty `before`
    // matches before every unit and at the end ("ab" with "" -> "-" gives
    // "-a-b-"). Either side may be part of this string.
    CZeString& replace(const CZeChar* before, int blen, const CZeChar* after, int alen,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive);
    CZeString& replace(const CZeString& before, const CZeString& after,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(before.unicode(), before.size(), after.unicode(), after.size(), cs);
    }
    CZeString& replace(const CZeString& before, CZeLatin1String after,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(before, CZeString(after), cs);
    }
    CZeString& replace(const CZeString& before, CZeChar after,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(before.unicode(), before.size(), &after, 1, cs);
    }
    CZeString& replace(const CZeString& before, const CZeChar* after, int alen,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(before.unicode(), before.size(), after, alen, cs);
    }
    CZeString& replace(CZeLatin1String before, const CZeString& after,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(CZeString(before), after, cs);
    }
    CZeString& replace(CZeLatin1String before, CZeLatin1String after,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(CZeString(before), CZeString(after), cs);
    }
    CZeString& replace(CZeLatin1String before, CZeChar after,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(CZeString(before), after, cs);
    }
    CZeString& replace(CZeLatin1String before, const CZeChar* after, int alen,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(CZeString(before), after, alen, cs);
    }
    CZeString& replace(CZeChar before, const CZeString& after,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(&before, 1, after.unicode(), after.size(), cs);
    }
    CZeString& replace(CZeChar before, CZeLatin1String after,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(before, CZeString(after), cs);
    }
    CZeString& replace(CZeChar before, CZeChar after, Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(&before, 1, &after, 1, cs);
    }
    CZeString& replace(CZeChar before, const CZeChar* after, int alen,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(&before, 1, after, alen, cs);
    }
    CZeString& replace(const CZeChar* before, int blen, const CZeString& after,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(before, blen, after.unicode(), after.size(), cs);
    }
    CZeString& replace(const CZeChar* before, int blen, CZeLatin1String after,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(before, blen, CZeString(after), cs);
    }
    CZeString& replace(const CZeChar* before, int blen, CZeChar after,
                       Ze::CaseSensitivity cs = Ze::CaseSensitive)
    {
        return replace(before, blen, &after, 1, cs);
    }
    // Removes every match (an empty `str` removes nothing).
    CZeString& remove(const CZeString& str, Ze::CaseSensitivity cs = Ze::CaseSensitive);
    CZeString& remove(CZeChar ch, Ze::CaseSensitivity cs = Ze::CaseSensitive);

    // ---- Parts -----------------------------------------------------------
    // The parts between the matches of `sep` (see split()), numbered from 0;
    // negative numbers count from the end (-1 is the last part). Sections
    // `start` to `end` are returned with their separators between them:
    //   "a/b/c/d".section("/", 1, 2) == "b/c"   section("/", -1) == "d"
    // A range that selects no section gives a null string; an empty section
    // gives an empty one.
    CZeString section(const CZeString& sep, int start, int end = -1,
                      int flags = SectionDefault) const;
    CZeString section(CZeChar sep, int start, int end = -1, int flags = SectionDefault) const
    {
        return section(CZeString(sep), start, end, flags);
    }

    // Splits at every match of `sep`: "a,,b" gives a, "", b (a, b when
    // skipping empty parts); "" gives one empty part (none when skipping);
    // an empty separator splits between all units, with an empty part at
    // each end. Built in the caller's code, like toUcs4.
    std::deque<CZeString> split(const CZeString& sep, SplitBehavior behavior = KeepEmptyParts,
                                Ze::CaseSensitivity cs = Ze::CaseSensitive) const
    {
        std::deque<CZeString> parts;
        splitParts(sep.unicode(), sep.size(), behavior, cs, [&](int pos, int len) {
            parts.push_back(pos == 0 && len == size() && !isNull() ? *this
                                                                   : CZeString(unicode() + pos, len));
        });
        return parts;
    }
    std::deque<CZeString> split(CZeChar sep, SplitBehavior behavior = KeepEmptyParts,
                                Ze::CaseSensitivity cs = Ze::CaseSensitive) const
    {
        std::deque<CZeString> parts;
        splitParts(&sep, 1, behavior, cs, [&](int pos, int len) {
            parts.push_back(pos == 0 && len == size() && !isNull() ? *this
                                                                   : CZeString(unicode() + pos, len));
        });
        return parts;
    }
    // The same parts as views of this string (which must outlive them).
    std::deque<CZeStringRef> splitRef(const CZeString& sep, SplitBehavior behavior = KeepEmptyParts,
                                      Ze::CaseSensitivity cs = Ze::CaseSensitive) const;
    std::deque<CZeStringRef> splitRef(CZeChar sep, SplitBehavior behavior = KeepEmptyParts,
                                      Ze::CaseSensitivity cs = Ze::CaseSensitive) const;

    // left(n): the first n units, right(n): the last n units; n < 0 or
    // n >= size() gives the whole string (shared), n == 0 an empty one.
    // mid(pos, n): n units from pos; a negative pos shortens n by as much and
    // starts at 0, n < 0 or past the end means "to the end", pos > size() gives
    // a null string. The Ref forms give views with the same ranges.
    CZeString left(int n) const;
    CZeString right(int n) const;
    CZeString mid(int position, int n = -1) const;
    CZeStringRef leftRef(int n) const;
    CZeStringRef rightRef(int n) const;
    CZeStringRef midRef(int position, int n = -1) const;

    // Pads to `width` units with `fill` (after the text for leftJustified,
    // before it for rightJustified). A longer text is kept whole, or with
    // `truncate` cut to its first `width` units (also by rightJustified).
    CZeString leftJustified(int width, CZeChar fill = CZeChar(' '), bool truncate = false) const;
    CZeString rightJustified(int width, CZeChar fill = CZeChar(' '), bool truncate = false) const;

    // The text `times` times over; times < 1 gives an empty string, a result
    // too large to allocate a null one.
    CZeString repeated(int times) const;

    // Without white space (CZeChar::isSpace) at either end; simplified() also
    // turns every inner run of white space into one space. A string that
    // needs no change is returned shared. The && forms work in place when the
    // string is not shared.
    CZeString trimmed() const& { return trimmed_helper(*this); }
    CZeString trimmed() && { return trimmed_helper_inplace(*this); }
    CZeString simplified() const& { return simplified_helper(*this); }
    CZeString simplified() && { return simplified_helper_inplace(*this); }
    // Case mapping within Latin-1 (A-Z and À-Þ except × to lower case, a-z
    // and à-þ except ÷ to upper case); other units are left as they are.
    CZeString toLower() const& { return toLower_helper(*this); }
    CZeString toLower() && { return toLower_helper_inplace(*this); }
    CZeString toUpper() const& { return toUpper_helper(*this); }
    CZeString toUpper() && { return toUpper_helper_inplace(*this); }
    static CZeString trimmed_helper(const CZeString& str);
    static CZeString trimmed_helper_inplace(CZeString& str);
    static CZeString simplified_helper(const CZeString& str);
    static CZeString simplified_helper_inplace(CZeString& str);
    static CZeString toLower_helper(const CZeString& str);
    static CZeString toLower_helper_inplace(CZeString& str);
    static CZeString toUpper_helper(const CZeString& str);
    static CZeString toUpper_helper_inplace(CZeString& str);

    // True when no unit belongs to a script that needs bidirectional layout
    // or complex shaping: nothing in U+0590..U+10FF (Hebrew to Georgian) and
    // nothing from U+FB10 on (presentation forms and specials).
    bool isSimpleText() const noexcept;

private:
    SZeArrayData* d;

    struct Adopt {};
    CZeString(SZeArrayData* data, Adopt) noexcept : d(data) {} // takes over one reference

    // The first match of the needle at or after `from` (already counted from
    // the start), or -1; an empty needle matches at `from` while from <= size.
    int findUnits(int from, const CZeChar* needle, int length, Ze::CaseSensitivity cs) const noexcept;
    // Rewrites the `count` matches at `indices` (ascending, not overlapping,
    // each `blen` units long) with the `alen` units of `after`, in one pass.
    void replace_helper(unsigned int* indices, int count, int blen, const CZeChar* after, int alen);

    template <typename Add>
    void splitParts(const CZeChar* sep, int sepLength, SplitBehavior behavior,
                    Ze::CaseSensitivity cs, Add add) const
    {
        const int total = size();
        int start = 0;
        int searchFrom = 0;
        int i;
        while ((i = findUnits(searchFrom, sep, sepLength, cs)) != -1) {
            if (i > start || behavior == KeepEmptyParts)
                add(start, i - start);
            start = i + sepLength;
            searchFrom = sepLength == 0 ? i + 1 : start;
        }
        if (total > start || behavior == KeepEmptyParts)
            add(start, total - start);
    }
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

inline std::deque<CZeStringRef> CZeString::splitRef(const CZeString& sep, SplitBehavior behavior,
                                                   Ze::CaseSensitivity cs) const
{
    std::deque<CZeStringRef> parts;
    splitParts(sep.unicode(), sep.size(), behavior, cs,
               [&](int pos, int len) { parts.push_back(CZeStringRef(this, pos, len)); });
    return parts;
}

inline std::deque<CZeStringRef> CZeString::splitRef(CZeChar sep, SplitBehavior behavior,
                                                   Ze::CaseSensitivity cs) const
{
    std::deque<CZeStringRef> parts;
    splitParts(&sep, 1, behavior, cs,
               [&](int pos, int len) { parts.push_back(CZeStringRef(this, pos, len)); });
    return parts;
}

// Unit-by-unit equality (ordering and case rules belong to compare()).
ZE_EXPORT bool operator==(const CZeString& a, const CZeString& b) noexcept;
inline bool operator!=(const CZeString& a, const CZeString& b) noexcept { return !(a == b); }
// Case-sensitive order, as compare().
inline bool operator<(const CZeString& a, const CZeString& b) noexcept { return a.compare(b) < 0; }
inline bool operator>(const CZeString& a, const CZeString& b) noexcept { return a.compare(b) > 0; }
inline bool operator<=(const CZeString& a, const CZeString& b) noexcept { return a.compare(b) <= 0; }
inline bool operator>=(const CZeString& a, const CZeString& b) noexcept { return a.compare(b) >= 0; }

inline bool operator==(const CZeString& a, CZeLatin1String b) noexcept { return a.compare(b) == 0; }
inline bool operator!=(const CZeString& a, CZeLatin1String b) noexcept { return a.compare(b) != 0; }
inline bool operator<(const CZeString& a, CZeLatin1String b) noexcept { return a.compare(b) < 0; }
inline bool operator>(const CZeString& a, CZeLatin1String b) noexcept { return a.compare(b) > 0; }
inline bool operator==(CZeLatin1String a, const CZeString& b) noexcept { return b.compare(a) == 0; }
inline bool operator!=(CZeLatin1String a, const CZeString& b) noexcept { return b.compare(a) != 0; }
inline bool operator<(CZeLatin1String a, const CZeString& b) noexcept { return b.compare(a) > 0; }
inline bool operator>(CZeLatin1String a, const CZeString& b) noexcept { return b.compare(a) < 0; }

inline const CZeString operator+(const CZeString& a, const CZeString& b)
{
    CZeString r(a);
    r += b;
    return r;
}

#endif /* CZESTRING_H */
