// CZeString comparison and search.
//
// Case-insensitive matching folds ASCII capitals only, in comparison and in
// search alike, so that a case-insensitive search finds exactly the places
// where a case-insensitive comparison of the same length gives 0. A code
// point above U+FFFF never folds, so matching its surrogates unit by unit is
// the same as matching the code point.
#include "CZeString.h"

#include <cstring>

namespace {

inline unsigned int foldAscii(unsigned int c)
{
    return c - 'A' < 26u ? c + 0x20 : c;
}

inline const unsigned short* unitsOf(const CZeChar* p)
{
    return reinterpret_cast<const unsigned short*>(p);
}

// Unit i of a side, read as a code point: a low surrogate right after a high
// one on the same side stands for the pair's code point.
inline unsigned int codePointAt(const unsigned short* s, int i)
{
    const unsigned int u = s[i];
    if (CZeChar::isLowSurrogate(u) && i > 0 && CZeChar::isHighSurrogate(s[i - 1]))
        return CZeChar::surrogateToUcs4(s[i - 1], static_cast<unsigned short>(u));
    return u;
}

inline int tailResult(int length1, int length2, int common)
{
    if (length1 > common)
        return 1;
    return length2 > common ? -1 : 0;
}

int latin1Length(CZeLatin1String s)
{
    if (!s.data())
        return 0;
    if (s.size() >= 0)
        return s.size();
    const size_t n = std::strlen(s.data());
    return n > 0x7ffffffeu ? 0x7ffffffe : static_cast<int>(n);
}

// True when the `length` units at `a` match those at `b`.
bool unitsMatch(
    const unsigned short* a, const unsigned short* b, int length, Ze::CaseSensitivity cs)
{
    if (cs == Ze::CaseSensitive)
        return std::memcmp(a, b, size_t(length) * sizeof(unsigned short)) == 0;
    for (int i = 0; i < length; ++i)
        if (foldAscii(a[i]) != foldAscii(b[i]))
            return false;
    return true;
}

} // namespace

// ---- Comparison ----------------------------------------------------------------

int CZeString::compare_helper(const CZeChar* data1, int length1, const CZeChar* data2, int length2,
    Ze::CaseSensitivity cs) noexcept
{
    if (length1 < 0)
        length1 = 0;
    if (length2 < 0)
        length2 = 0;
    const unsigned short* a = unitsOf(data1);
    const unsigned short* b = unitsOf(data2);
    const int common = length1 < length2 ? length1 : length2;
    if (cs == Ze::CaseSensitive) {
        if (a == b && length1 == length2)
            return 0;
        for (int i = 0; i < common; ++i)
            if (a[i] != b[i])
                return int(a[i]) - int(b[i]);
        return length1 - length2;
    }
    if (a == b)
        return length1 - length2;
    if (!a)
        return 1;
    if (!b)
        return -1;
    for (int i = 0; i < common; ++i) {
        const unsigned int x = foldAscii(codePointAt(a, i));
        const unsigned int y = foldAscii(codePointAt(b, i));
        if (x != y)
            return int(x) - int(y);
    }
    return tailResult(length1, length2, common);
}

int CZeString::compare_helper(
    const CZeChar* data1, int length1, CZeLatin1String s2, Ze::CaseSensitivity cs) noexcept
{
    if (length1 < 0)
        length1 = 0;
    const unsigned short* a = unitsOf(data1);
    const unsigned char* b = reinterpret_cast<const unsigned char*>(s2.data());
    const int length2 = latin1Length(s2);
    const int common = length1 < length2 ? length1 : length2;
    if (cs == Ze::CaseSensitive) {
        for (int i = 0; i < common; ++i)
            if (a[i] != b[i])
                return int(a[i]) - int(b[i]);
        return length1 - length2;
    }
    if (!a)
        return 1;
    if (!b)
        return -1;
    for (int i = 0; i < common; ++i) {
        const unsigned int x = foldAscii(codePointAt(a, i));
        const unsigned int y = foldAscii(b[i]);
        if (x != y)
            return int(x) - int(y);
    }
    return tailResult(length1, length2, common);
}

int CZeString::compare_helper(const CZeChar* data1, int length1, const char* data2, int length2,
    Ze::CaseSensitivity cs) noexcept
{
    if (cs == Ze::CaseInsensitive && (!data1 || !data2))
        return !data1 ? 1 : -1;
    const CZeString other = fromUtf8_helper(data2, data2 ? length2 : 0);
    return compare_helper(data1, length1, other.unicode(), other.size(), cs);
}

// ---- Search ----------------------------------------------------------------------

int CZeString::findUnits(
    int from, const CZeChar* needle, int length, Ze::CaseSensitivity cs) const noexcept
{
    const int n = d->size;
    if (from < 0 || from > n)
        return -1;
    if (length <= 0)
        return from;
    if (length > n - from)
        return -1;
    const unsigned short* h = static_cast<const unsigned short*>(d->data());
    const unsigned short* w = unitsOf(needle);
    const int last = n - length;
    if (cs == Ze::CaseSensitive) {
        const unsigned short first = w[0];
        for (int i = from; i <= last; ++i)
            if (h[i] == first && unitsMatch(h + i + 1, w + 1, length - 1, cs))
                return i;
        return -1;
    }
    const unsigned int first = foldAscii(w[0]);
    for (int i = from; i <= last; ++i)
        if (foldAscii(h[i]) == first && unitsMatch(h + i + 1, w + 1, length - 1, cs))
            return i;
    return -1;
}

namespace {

// Start of a forward search: a negative `from` counts from the end.
inline int forwardStart(int from, int size)
{
    if (from < 0) {
        from += size;
        if (from < 0)
            from = 0;
    }
    return from;
}

int findLast(const unsigned short* h, int n, int from, const unsigned short* w, int length,
    Ze::CaseSensitivity cs)
{
    if (from < 0)
        from += n;
    if (from < 0 || length < 0)
        return -1;
    if (from > n - length)
        from = n - length;
    for (int i = from; i >= 0; --i)
        if (unitsMatch(h + i, w, length, cs))
            return i;
    return -1;
}

} // namespace

int CZeString::indexOf(const CZeString& str, int from, Ze::CaseSensitivity cs) const noexcept
{
    return findUnits(forwardStart(from, size()), str.unicode(), str.size(), cs);
}

int CZeString::indexOf(CZeLatin1String str, int from, Ze::CaseSensitivity cs) const noexcept
{
    const CZeString units(str);
    return findUnits(forwardStart(from, size()), units.unicode(), units.size(), cs);
}

int CZeString::indexOf(CZeChar ch, int from, Ze::CaseSensitivity cs) const noexcept
{
    return findUnits(forwardStart(from, size()), &ch, 1, cs);
}

int CZeString::indexOf(const CZeStringRef& str, int from, Ze::CaseSensitivity cs) const noexcept
{
    return findUnits(forwardStart(from, size()), str.unicode(), str.size(), cs);
}

int CZeString::lastIndexOf(const CZeString& str, int from, Ze::CaseSensitivity cs) const noexcept
{
    return findLast(unitsOf(unicode()), size(), from, unitsOf(str.unicode()), str.size(), cs);
}

int CZeString::lastIndexOf(CZeLatin1String str, int from, Ze::CaseSensitivity cs) const noexcept
{
    const CZeString units(str);
    return lastIndexOf(units, from, cs);
}

int CZeString::lastIndexOf(CZeChar ch, int from, Ze::CaseSensitivity cs) const noexcept
{
    return findLast(unitsOf(unicode()), size(), from, unitsOf(&ch), 1, cs);
}

int CZeString::lastIndexOf(const CZeStringRef& str, int from, Ze::CaseSensitivity cs) const noexcept
{
    return findLast(unitsOf(unicode()), size(), from, unitsOf(str.unicode()), str.size(), cs);
}

namespace {

template <typename Find> int countMatches(Find find)
{
    int total = 0;
    for (int i = find(0); i != -1; i = find(i + 1))
        ++total;
    return total;
}

} // namespace

int CZeString::count(const CZeString& str, Ze::CaseSensitivity cs) const noexcept
{
    return countMatches([&](int from) { return findUnits(from, str.unicode(), str.size(), cs); });
}

int CZeString::count(CZeChar ch, Ze::CaseSensitivity cs) const noexcept
{
    return countMatches([&](int from) { return findUnits(from, &ch, 1, cs); });
}

int CZeString::count(const CZeStringRef& str, Ze::CaseSensitivity cs) const noexcept
{
    return countMatches([&](int from) { return findUnits(from, str.unicode(), str.size(), cs); });
}

namespace {

bool startsWithUnits(const CZeString& s, const CZeChar* w, int length, Ze::CaseSensitivity cs)
{
    if (length > s.size())
        return false;
    return length <= 0 || unitsMatch(unitsOf(s.unicode()), unitsOf(w), length, cs);
}

bool endsWithUnits(const CZeString& s, const CZeChar* w, int length, Ze::CaseSensitivity cs)
{
    if (length > s.size())
        return false;
    return length <= 0
        || unitsMatch(unitsOf(s.unicode()) + s.size() - length, unitsOf(w), length, cs);
}

} // namespace

bool CZeString::startsWith(const CZeString& s, Ze::CaseSensitivity cs) const noexcept
{
    return startsWithUnits(*this, s.unicode(), s.size(), cs);
}

bool CZeString::startsWith(CZeLatin1String s, Ze::CaseSensitivity cs) const noexcept
{
    const CZeString units(s);
    return startsWithUnits(*this, units.unicode(), units.size(), cs);
}

bool CZeString::startsWith(CZeChar c, Ze::CaseSensitivity cs) const noexcept
{
    return startsWithUnits(*this, &c, 1, cs);
}

bool CZeString::startsWith(const CZeStringRef& s, Ze::CaseSensitivity cs) const noexcept
{
    return startsWithUnits(*this, s.unicode(), s.size(), cs);
}

bool CZeString::endsWith(const CZeString& s, Ze::CaseSensitivity cs) const noexcept
{
    return endsWithUnits(*this, s.unicode(), s.size(), cs);
}

bool CZeString::endsWith(CZeLatin1String s, Ze::CaseSensitivity cs) const noexcept
{
    const CZeString units(s);
    return endsWithUnits(*this, units.unicode(), units.size(), cs);
}

bool CZeString::endsWith(CZeChar c, Ze::CaseSensitivity cs) const noexcept
{
    return endsWithUnits(*this, &c, 1, cs);
}

bool CZeString::endsWith(const CZeStringRef& s, Ze::CaseSensitivity cs) const noexcept
{
    return endsWithUnits(*this, s.unicode(), s.size(), cs);
}
