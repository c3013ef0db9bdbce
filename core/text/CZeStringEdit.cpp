// CZeString editing by content: replacing, removing, sections, sub-strings,
// justification, repetition, trimming and case mapping.
//
// Every operation keeps the copy-on-write rules: a result equal to the input
// is the input itself (shared), and a string is written only after it was
// detached. Units that an operation reads may live in the very block it is
// about to change; such units are copied first.
#include "CZeString.h"

#include <cstdlib>
#include <cstring>

#include "core/text/ZeLatin1Case.h"

namespace {

constexpr long long kMaxUnits = 0x7ffffffe;
constexpr size_t kUnit = sizeof(unsigned short);

inline const unsigned short* unitsOf(const CZeChar* p)
{
    return reinterpret_cast<const unsigned short*>(p);
}

// Owns a heap copy of units that would otherwise alias the block being edited.
class UnitCopy {
public:
    UnitCopy()
        : m_units(nullptr)
    {
    }
    ~UnitCopy() { std::free(m_units); }
    UnitCopy(const UnitCopy&) = delete;
    UnitCopy& operator=(const UnitCopy&) = delete;

    // Null when memory is short.
    const CZeChar* take(const CZeChar* source, int length)
    {
        m_units = std::malloc(size_t(length) * kUnit);
        if (m_units)
            std::memcpy(m_units, source, size_t(length) * kUnit);
        return static_cast<const CZeChar*>(m_units);
    }

private:
    void* m_units;
};

} // namespace

// ---- Replacing -----------------------------------------------------------------------

void CZeString::replace_helper(
    unsigned int* indices, int count, int blen, const CZeChar* after, int alen)
{
    if (count <= 0 || blen < 0 || alen < 0)
        return;
    const int oldSize = d->size;
    const long long delta = static_cast<long long>(alen) - blen;
    const long long newSize = oldSize + delta * count;
    if (newSize < 0 || newSize > kMaxUnits)
        return;
    UnitCopy copy;
    if (alen > 0 && ownsUnits(after)) {
        after = copy.take(after, alen);
        if (!after)
            return;
    }
    const unsigned short* a = unitsOf(after);
    const int step = static_cast<int>(delta);

    if (delta <= 0) {
        detach();
        if (d->isShared() || d->isRawData())
            return;
        unsigned short* p = units();
        if (delta == 0) {
            for (int i = 0; i < count && alen > 0; ++i)
                std::memcpy(p + indices[i], a, size_t(alen) * kUnit);
            return;
        }
        // Moving left: front to back, each write lands before what is still unread.
        int to = static_cast<int>(indices[0]);
        for (int i = 0; i < count; ++i) {
            if (alen > 0)
                std::memcpy(p + to, a, size_t(alen) * kUnit);
            to += alen;
            const int from = static_cast<int>(indices[i]) + blen;
            const int end = i + 1 < count ? static_cast<int>(indices[i + 1]) : oldSize;
            std::memmove(p + to, p + from, size_t(end - from) * kUnit);
            to += end - from;
        }
        resize(static_cast<int>(newSize));
        return;
    }

    // Moving right: grow first, then back to front.
    resize(static_cast<int>(newSize));
    if (d->size != newSize)
        return;
    unsigned short* p = units();
    for (int i = count - 1; i >= 0; --i) {
        const int from = static_cast<int>(indices[i]) + blen;
        const int end = i + 1 < count ? static_cast<int>(indices[i + 1]) : oldSize;
        std::memmove(p + from + (i + 1) * step, p + from, size_t(end - from) * kUnit);
        std::memcpy(p + indices[i] + i * step, a, size_t(alen) * kUnit);
    }
}

CZeString& CZeString::replace(int pos, int len, const CZeChar* unicode, int size)
{
    if (pos < 0 || pos > d->size)
        return *this;
    if (len < 0)
        len = 0;
    if (len > d->size - pos)
        len = d->size - pos;
    if (!unicode || size < 0)
        size = 0;
    if (len == 0 && size == 0)
        return *this;
    unsigned int index = static_cast<unsigned int>(pos);
    replace_helper(&index, 1, len, unicode, size);
    return *this;
}

CZeString& CZeString::replace(int pos, int len, const CZeString& after)
{
    return replace(pos, len, after.unicode(), after.size());
}

CZeString& CZeString::replace(int pos, int len, CZeChar after)
{
    return replace(pos, len, &after, 1);
}

CZeString& CZeString::replace(
    const CZeChar* before, int blen, const CZeChar* after, int alen, Ze::CaseSensitivity cs)
{
    if (blen < 0 || alen < 0 || (!before && blen > 0) || (!after && alen > 0))
        return *this;
    if (blen > d->size)
        return *this;
    // Both texts must stay put while the block changes under them.
    UnitCopy beforeCopy;
    UnitCopy afterCopy;
    if (blen > 0 && ownsUnits(before) && !(before = beforeCopy.take(before, blen)))
        return *this;
    if (alen > 0 && ownsUnits(after) && !(after = afterCopy.take(after, alen)))
        return *this;

    // Matches are rewritten in batches; each batch is one pass over the string.
    constexpr int kBatch = 256;
    unsigned int indices[kBatch];
    int from = 0;
    for (;;) {
        int found = 0;
        int searchFrom = from;
        int i;
        while (found < kBatch && (i = findUnits(searchFrom, before, blen, cs)) != -1) {
            indices[found++] = static_cast<unsigned int>(i);
            searchFrom = i + (blen > 0 ? blen : 1);
        }
        if (found == 0)
            break;
        const long long expected = d->size + (static_cast<long long>(alen) - blen) * found;
        replace_helper(indices, found, blen, after, alen);
        if (d->size != expected || found < kBatch)
            break; // done, or the string could not grow
        // Continue behind the last replacement (an empty `before` one unit further).
        const long long last = indices[found - 1]
            + (static_cast<long long>(alen) - blen) * (found - 1) + alen + (blen > 0 ? 0 : 1);
        if (last > d->size)
            break;
        from = static_cast<int>(last);
    }
    return *this;
}

CZeString& CZeString::remove(const CZeString& str, Ze::CaseSensitivity cs)
{
    if (str.isEmpty())
        return *this;
    return replace(str.unicode(), str.size(), nullptr, 0, cs);
}

CZeString& CZeString::remove(CZeChar ch, Ze::CaseSensitivity cs)
{
    const int first = indexOf(ch, 0, cs);
    if (first == -1)
        return *this;
    detach();
    if (d->isShared() || d->isRawData())
        return *this;
    unsigned short* p = units();
    const auto matches = [&](unsigned short u) {
        if (cs == Ze::CaseSensitive)
            return u == ch.unicode();
        const auto fold = [](unsigned int c) { return c - 'A' < 26u ? c + 0x20 : c; };
        return fold(u) == fold(ch.unicode());
    };
    int to = first;
    for (int i = first; i < d->size; ++i)
        if (!matches(p[i]))
            p[to++] = p[i];
    resize(to);
    return *this;
}

// ---- Sections -----------------------------------------------------------------------

CZeString CZeString::section(const CZeString& sep, int start, int end, int flags) const
{
    const Ze::CaseSensitivity cs
        = (flags & SectionCaseInsensitiveSeps) ? Ze::CaseInsensitive : Ze::CaseSensitive;
    const bool skipEmpty = (flags & SectionSkipEmpty) != 0;

    // First walk: how many parts there are, and how many of them count.
    int parts = 0;
    int counted = 0;
    splitParts(sep.unicode(), sep.size(), KeepEmptyParts, cs, [&](int, int len) {
        ++parts;
        if (len > 0 || !skipEmpty)
            ++counted;
    });
    if (start < 0)
        start += counted;
    if (end < 0)
        end += counted;
    if (start < 0)
        start = 0;
    if (end >= counted)
        end = counted - 1;
    if (start > end)
        return CZeString();

    // Second walk: where the first and the last chosen sections lie.
    int part = 0;
    int x = 0;
    int firstPart = -1, lastPart = -1;
    int begin = 0, finish = 0;
    splitParts(sep.unicode(), sep.size(), KeepEmptyParts, cs, [&](int pos, int len) {
        if (len > 0 || !skipEmpty) {
            if (x == start) {
                firstPart = part;
                begin = pos;
            }
            if (x == end) {
                lastPart = part;
                finish = pos + len;
            }
            ++x;
        }
        ++part;
    });
    if (firstPart < 0 || lastPart < 0)
        return CZeString();
    // The separators next to the chosen text are the ones actually in the
    // string (with case-insensitive separators they may differ in case).
    if ((flags & SectionIncludeLeadingSep) && firstPart > 0)
        begin -= sep.size();
    if ((flags & SectionIncludeTrailingSep) && lastPart < parts - 1)
        finish += sep.size();
    return mid(begin, finish - begin);
}

// ---- Sub-strings --------------------------------------------------------------------

CZeString CZeString::left(int n) const
{
    if (n < 0 || n >= d->size)
        return *this;
    return CZeString(unicode(), n);
}

CZeString CZeString::right(int n) const
{
    if (n < 0 || n >= d->size)
        return *this;
    return CZeString(unicode() + d->size - n, n);
}

namespace {

// Clamps (position, n) as mid() describes; false when position is past the end.
bool midRange(int size, int& position, int& n)
{
    if (position > size)
        return false;
    if (position < 0) {
        if (n >= 0) {
            n += position;
            if (n < 0)
                n = 0;
        }
        position = 0;
    }
    if (n < 0 || n > size - position)
        n = size - position;
    return true;
}

} // namespace

CZeString CZeString::mid(int position, int n) const
{
    if (!midRange(d->size, position, n))
        return CZeString();
    if (position == 0 && n == d->size)
        return *this;
    return CZeString(unicode() + position, n);
}

CZeStringRef CZeString::leftRef(int n) const
{
    if (n < 0 || n > d->size)
        n = d->size;
    return CZeStringRef(this, 0, n);
}

CZeStringRef CZeString::rightRef(int n) const
{
    if (n < 0 || n > d->size)
        n = d->size;
    return CZeStringRef(this, d->size - n, n);
}

CZeStringRef CZeString::midRef(int position, int n) const
{
    if (!midRange(d->size, position, n))
        return CZeStringRef();
    return CZeStringRef(this, position, n);
}

// ---- Justification and repetition ------------------------------------------------------

namespace {

// The first `width` units of `s`; a negative width means the units before the
// first 0 unit (all of them when there is none).
CZeString truncatedTo(const CZeString& s, int width)
{
    if (width < 0) {
        width = 0;
        while (width < s.size() && !s.at(width).isNull())
            ++width;
    }
    return CZeString(s.unicode(), width);
}

CZeString padded(const CZeString& s, int width, CZeChar fill, bool fillFirst)
{
    CZeString result(width, Ze::Uninitialized);
    if (result.size() != width)
        return CZeString();
    CZeChar* out = result.data();
    const int pad = width - s.size();
    CZeChar* text = fillFirst ? out + pad : out;
    CZeChar* padding = fillFirst ? out : out + s.size();
    if (s.size() > 0)
        std::memcpy(text, s.unicode(), size_t(s.size()) * kUnit);
    for (int i = 0; i < pad; ++i)
        padding[i] = fill;
    return result;
}

} // namespace

CZeString CZeString::leftJustified(int width, CZeChar fill, bool truncate) const
{
    if (static_cast<long long>(width) - d->size >= 1)
        return padded(*this, width, fill, false);
    if (!truncate || d->size <= width)
        return *this;
    return truncatedTo(*this, width);
}

CZeString CZeString::rightJustified(int width, CZeChar fill, bool truncate) const
{
    if (static_cast<long long>(width) - d->size >= 1)
        return padded(*this, width, fill, true);
    if (!truncate || d->size <= width)
        return *this;
    return truncatedTo(*this, width);
}

CZeString CZeString::repeated(int times) const
{
    if (d->size == 0 || times == 1)
        return *this;
    if (times < 1)
        return CZeString(SZeArrayData::sharedEmpty(), Adopt());
    const long long total = static_cast<long long>(d->size) * times;
    if (total > kMaxUnits)
        return CZeString();
    CZeString result(static_cast<int>(total), Ze::Uninitialized);
    if (result.size() != total)
        return CZeString();
    unsigned short* out = result.units();
    std::memcpy(out, d->data(), size_t(d->size) * kUnit);
    // Double the filled part until the whole is written.
    long long filled = d->size;
    while (filled < total) {
        const long long chunk = filled < total - filled ? filled : total - filled;
        std::memcpy(out + filled, out, size_t(chunk) * kUnit);
        filled += chunk;
    }
    return result;
}

// ---- White space --------------------------------------------------------------------

namespace {

inline bool spaceUnit(unsigned short u)
{
    return CZeChar(u).isSpace();
}

// The range of `s` without white space at either end.
void trimmedRange(const CZeString& s, int& begin, int& end)
{
    const unsigned short* p = unitsOf(s.unicode());
    begin = 0;
    end = s.size();
    while (begin < end && spaceUnit(p[begin]))
        ++begin;
    while (end > begin && spaceUnit(p[end - 1]))
        --end;
}

bool canEditInPlace(const CZeString& s)
{
    return s.isDetached() && !s.isNull() && s.capacity() > 0;
}

// Writes the simplified units of p[0, n) to out (which may be p) and returns
// their number: no white space at the ends, each inner run one space.
int simplifyUnits(const unsigned short* p, int n, unsigned short* out)
{
    int written = 0;
    bool pendingSpace = false;
    for (int i = 0; i < n; ++i) {
        if (spaceUnit(p[i])) {
            pendingSpace = written > 0;
            continue;
        }
        if (pendingSpace) {
            out[written++] = ' ';
            pendingSpace = false;
        }
        out[written++] = p[i];
    }
    return written;
}

bool isSimplified(const CZeString& s)
{
    const unsigned short* p = unitsOf(s.unicode());
    const int n = s.size();
    if (n == 0)
        return true;
    if (spaceUnit(p[0]) || spaceUnit(p[n - 1]))
        return false;
    for (int i = 1; i < n - 1; ++i)
        if (spaceUnit(p[i]) && (p[i] != ' ' || spaceUnit(p[i + 1])))
            return false;
    return true;
}

} // namespace

CZeString CZeString::trimmed_helper(const CZeString& str)
{
    int begin, end;
    trimmedRange(str, begin, end);
    if (begin == 0 && end == str.size())
        return str;
    return CZeString(str.unicode() + begin, end - begin);
}

CZeString CZeString::trimmed_helper_inplace(CZeString& str)
{
    int begin, end;
    trimmedRange(str, begin, end);
    if ((begin == 0 && end == str.size()) || !canEditInPlace(str))
        return trimmed_helper(str);
    unsigned short* p = str.units();
    if (begin > 0)
        std::memmove(p, p + begin, size_t(end - begin) * kUnit);
    str.resize(end - begin);
    return static_cast<CZeString&&>(str);
}

CZeString CZeString::simplified_helper(const CZeString& str)
{
    if (isSimplified(str))
        return str;
    CZeString result(str.size(), Ze::Uninitialized);
    if (result.size() != str.size())
        return CZeString();
    result.resize(simplifyUnits(unitsOf(str.unicode()), str.size(), result.units()));
    return result;
}

CZeString CZeString::simplified_helper_inplace(CZeString& str)
{
    if (isSimplified(str) || !canEditInPlace(str))
        return simplified_helper(str);
    unsigned short* p = str.units();
    str.resize(simplifyUnits(p, str.size(), p));
    return static_cast<CZeString&&>(str);
}

// ---- Case ------------------------------------------------------------------------------

namespace {

inline unsigned short mapUnit(unsigned short u, const unsigned char* table)
{
    return u <= 0xff ? table[u] : u;
}

int firstChange(const CZeString& s, const unsigned char* table)
{
    const unsigned short* p = unitsOf(s.unicode());
    for (int i = 0; i < s.size(); ++i)
        if (mapUnit(p[i], table) != p[i])
            return i;
    return -1;
}

void mapUnits(unsigned short* p, int from, int n, const unsigned char* table)
{
    for (int i = from; i < n; ++i)
        p[i] = mapUnit(p[i], table);
}

} // namespace

CZeString CZeString::toLower_helper(const CZeString& str)
{
    const int first = firstChange(str, zeLatin1Lowercased);
    if (first < 0)
        return str;
    CZeString result(str.unicode(), str.size());
    if (result.size() == str.size())
        mapUnits(result.units(), first, result.size(), zeLatin1Lowercased);
    return result;
}

CZeString CZeString::toLower_helper_inplace(CZeString& str)
{
    const int first = firstChange(str, zeLatin1Lowercased);
    if (first < 0 || !canEditInPlace(str))
        return toLower_helper(str);
    mapUnits(str.units(), first, str.size(), zeLatin1Lowercased);
    return static_cast<CZeString&&>(str);
}

CZeString CZeString::toUpper_helper(const CZeString& str)
{
    const int first = firstChange(str, zeLatin1Uppercased);
    if (first < 0)
        return str;
    CZeString result(str.unicode(), str.size());
    if (result.size() == str.size())
        mapUnits(result.units(), first, result.size(), zeLatin1Uppercased);
    return result;
}

CZeString CZeString::toUpper_helper_inplace(CZeString& str)
{
    const int first = firstChange(str, zeLatin1Uppercased);
    if (first < 0 || !canEditInPlace(str))
        return toUpper_helper(str);
    mapUnits(str.units(), first, str.size(), zeLatin1Uppercased);
    return static_cast<CZeString&&>(str);
}

bool CZeString::isSimpleText() const noexcept
{
    const unsigned short* p = static_cast<const unsigned short*>(d->data());
    for (int i = 0; i < d->size; ++i) {
        const unsigned short u = p[i];
        if ((u >= 0x0590 && u <= 0x10ff) || u >= 0xfb10)
            return false;
    }
    return true;
}
