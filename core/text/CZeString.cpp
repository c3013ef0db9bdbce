// CZeString storage: construction, raw data, detaching, and the operations
// that change the length. Units live in an SZeArrayData block with element
// size 2 and alignment 8; every block that is not raw ends with a 0 unit.
//
// Unlike the byte array, a string never gives memory back when it shrinks
// and never falls back to the static empty block on resize.
//
// Allocation failures leave the string as it was (or null for constructors)
// instead of writing through a null block.
#include "CZeString.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/text/ZeArrayBlock.h"
#include "core/text/ZeTextConvert.h"

namespace {

constexpr unsigned long kUnitSize = sizeof(unsigned short);
using Units = ZeArrayBlock<unsigned short>;

static_assert(sizeof(CZeChar) == 2, "CZeChar must be one UTF-16 code unit");

inline unsigned short* unitsOf(SZeArrayData* d)
{
    return Units::elements(d);
}

int unitLength(const unsigned short* s)
{
    int n = 0;
    while (n < 0x7ffffffe && s[n])
        ++n;
    return n;
}

int latin1Length(const char* s)
{
    const size_t n = std::strlen(s);
    return n > 0x7ffffffeu ? 0x7ffffffe : static_cast<int>(n);
}

// A block holding a copy of `size` (> 0) units, or null.
SZeArrayData* copyUnits(const unsigned short* source, int size)
{
    return Units::create(size,
                         [&](unsigned short* p) { std::memcpy(p, source, size_t(size) * kUnitSize); });
}

CZeChar& scratchUnit()
{
    static thread_local CZeChar scratch;
    scratch = CZeChar();
    return scratch;
}

} // namespace

// ---- Construction ---------------------------------------------------------

CZeString::CZeString(const CZeChar* unicode, int size) : d(SZeArrayData::sharedNull())
{
    if (!unicode)
        return;
    const unsigned short* source = reinterpret_cast<const unsigned short*>(unicode);
    if (size < 0)
        size = unitLength(source);
    if (size == 0) {
        d = SZeArrayData::sharedEmpty();
        return;
    }
    if (SZeArrayData* x = copyUnits(source, size))
        d = x;
}

CZeString::CZeString(int size, CZeChar ch) : d(SZeArrayData::sharedEmpty())
{
    if (size <= 0)
        return;
    if (SZeArrayData* x = Units::create(size, [&](unsigned short* p) {
            for (int i = 0; i < size; ++i)
                p[i] = ch.unicode();
        }))
        d = x;
}

CZeString::CZeString(int size, Ze::Initialization) : d(SZeArrayData::sharedEmpty())
{
    if (size <= 0)
        return;
    if (SZeArrayData* x = Units::create(size, [](unsigned short*) {}))
        d = x;
}

CZeString::CZeString(CZeChar ch) : d(SZeArrayData::sharedNull())
{
    const unsigned short unit = ch.unicode();
    if (SZeArrayData* x = copyUnits(&unit, 1))
        d = x;
}

CZeString::CZeString(CZeLatin1String latin1) : d(SZeArrayData::sharedNull())
{
    CZeString converted = fromLatin1_helper(latin1.latin1(), latin1.size());
    swap(converted);
}

CZeString& CZeString::operator=(const CZeString& other) noexcept
{
    other.d->addRef();
    release(d);
    d = other.d;
    return *this;
}

CZeString& CZeString::operator=(CZeChar ch)
{
    if (!d->isShared() && !d->isRawData() && d->alloc >= 2) {
        unitsOf(d)[0] = ch.unicode();
        unitsOf(d)[1] = 0;
        d->size = 1;
        return *this;
    }
    return *this = CZeString(ch);
}

CZeString& CZeString::operator=(CZeLatin1String latin1)
{
    const char* s = latin1.latin1();
    int len = latin1.size();
    if (s && len < 0)
        len = latin1Length(s);
    // An unshared block with room is overwritten in place.
    if (s && len > 0 && !d->isShared() && !d->isRawData() && unsigned(len) + 1u <= d->alloc) {
        ZeText::latin1ToUtf16(reinterpret_cast<const unsigned char*>(s), len, units(),
                              ZeText::bestPath());
        units()[len] = 0;
        d->size = len;
        return *this;
    }
    return *this = fromLatin1_helper(s, len);
}

CZeString CZeString::fromRawData(const CZeChar* unicode, int size)
{
    if (!unicode)
        return CZeString();
    if (size < 0)
        size = unitLength(reinterpret_cast<const unsigned short*>(unicode));
    if (size == 0)
        return CZeString(SZeArrayData::sharedEmpty(), Adopt());
    SZeArrayData* x = Units::createRaw(unicode, size);
    return x ? CZeString(x, Adopt()) : CZeString();
}

CZeString& CZeString::setRawData(const CZeChar* unicode, int size)
{
    if (!Units::isOwnRaw(d))
        return *this = fromRawData(unicode, size);
    if (!unicode) {
        // Empty, not null. The bare header has no room for a terminator of its
        // own, so the static empty block stands in for it.
        release(d);
        d = SZeArrayData::sharedEmpty();
        return *this;
    }
    Units::repoint(
        d, unicode, size < 0 ? unitLength(reinterpret_cast<const unsigned short*>(unicode)) : size);
    return *this;
}

CZeString& CZeString::setUnicode(const CZeChar* unicode, int size)
{
    if (size < 0)
        size = 0;
    if (unicode && size > 0 && ownsUnits(unicode)) {
        const CZeString copy(unicode, size);
        return setUnicode(copy.unicode(), size);
    }
    resize(size);
    if (d->size != size)
        return *this;
    if (unicode && size > 0) {
        detach();
        if (d->isShared() || d->isRawData())
            return *this;
        std::memcpy(units(), unicode, size_t(size) * kUnitSize);
    }
    return *this;
}

// ---- Storage -------------------------------------------------------------

bool CZeString::ownsUnits(const void* p) const noexcept
{
    const uintptr_t begin = reinterpret_cast<uintptr_t>(d->data());
    const uintptr_t q = reinterpret_cast<uintptr_t>(p);
    return q >= begin && q < begin + uintptr_t(d->alloc) * kUnitSize;
}

bool CZeString::reallocData(unsigned int alloc, bool grow)
{
    const int options = d->detachFlags() | (grow ? SZeArrayData::Grow : SZeArrayData::Default);
    if (d->isShared() || d->isRawData()) {
        SZeArrayData* x = Units::copy(d, alloc, options);
        if (!x)
            return false;
        release(d);
        d = x;
        return true;
    }
    SZeArrayData* x = SZeArrayData::reallocateUnaligned(d, kUnitSize, alloc, options);
    if (!x)
        return false;
    d = x;
    if (unsigned(d->size) + 1u > d->alloc) {
        d->size = int(d->alloc) - 1;
        units()[d->size] = 0;
    }
    return true;
}

void CZeString::detach()
{
    if (d->isShared() || d->isRawData())
        reallocData(unsigned(d->size) + 1u);
}

CZeChar* CZeString::data()
{
    detach();
    return reinterpret_cast<CZeChar*>(units());
}

const unsigned short* CZeString::utf16() const
{
    if (d->isRawData())
        const_cast<CZeString*>(this)->reallocData(unsigned(d->size) + 1u);
    return static_cast<const unsigned short*>(d->data());
}

CZeChar& CZeString::operator[](int i)
{
    if (unsigned(i) >= unsigned(d->size))
        return scratchUnit();
    detach();
    if (d->isShared() || d->isRawData())
        return scratchUnit(); // detaching failed: never write to shared units
    return reinterpret_cast<CZeChar*>(units())[i];
}

void CZeString::clear() noexcept
{
    release(d);
    d = SZeArrayData::sharedNull();
}

void CZeString::reserve(int size)
{
    if (size < 0)
        size = 0;
    if (d->isShared() || unsigned(size) + 1u > d->alloc) {
        const unsigned int keep = unsigned(size > d->size ? size : d->size);
        if (!reallocData(keep + 1u))
            return;
    }
    if (!d->isStatic())
        d->capacityReserved = 1;
}

void CZeString::squeeze()
{
    if (d->isStatic())
        return;
    if (d->isShared() || unsigned(d->size) + 1u < d->alloc)
        reallocData(unsigned(d->size) + 1u);
    if (!d->isStatic())
        d->capacityReserved = 0;
}

// ---- Length-changing operations --------------------------------------------

void CZeString::resize(int size)
{
    if (size < 0)
        size = 0;
    // Raw data that only shrinks: nothing is written into foreign memory.
    if (d->isRawData() && !d->isShared() && size < d->size) {
        d->size = size;
        return;
    }
    // The block is kept whenever it is ours and large enough, also when shrinking.
    if (!d->isShared() && unsigned(size) < d->alloc) {
        d->size = size;
        units()[size] = 0;
        return;
    }
    if (!reallocData(unsigned(size) + 1u, true))
        return;
    if (d->alloc) {
        d->size = size;
        units()[size] = 0;
    }
}

void CZeString::resize(int size, CZeChar fillChar)
{
    const int old = d->size;
    resize(size);
    if (d->size == size && size > old && !d->isShared() && !d->isRawData()) {
        unsigned short* p = units();
        for (int i = old; i < size; ++i)
            p[i] = fillChar.unicode();
    }
}

void CZeString::truncate(int pos)
{
    if (pos < d->size)
        resize(pos < 0 ? 0 : pos);
}

void CZeString::chop(int n)
{
    if (n >= 1)
        resize(d->size - n < 0 ? 0 : d->size - n);
}

CZeString& CZeString::fill(CZeChar ch, int size)
{
    resize(size < 0 ? d->size : size);
    if (d->size) {
        detach();
        if (d->isShared() || d->isRawData())
            return *this;
        unsigned short* p = units();
        for (int i = 0; i < d->size; ++i)
            p[i] = ch.unicode();
    }
    return *this;
}

// Makes index i writable: the units added up to it are spaces.
void CZeString::expand(int i)
{
    const int old = d->size;
    resize(i + 1 > old ? i + 1 : old);
    if (d->size > old && !d->isShared() && !d->isRawData()) {
        unsigned short* p = units();
        for (int k = old; k < d->size; ++k)
            p[k] = ' ';
    }
}

CZeString& CZeString::append(const CZeString& other)
{
    if (other.isNull())
        return *this;
    if (isNull())
        return *this = other; // a null string takes over the other block
    const unsigned int needed = unsigned(d->size) + unsigned(other.d->size) + 1u;
    if (d->isShared() || d->isRawData() || needed > d->alloc) {
        if (!reallocData(needed, true))
            return *this;
    }
    // `other` may be this string; its block pointer is re-read after reallocating.
    std::memcpy(units() + d->size, other.d->data(), size_t(other.d->size) * kUnitSize);
    d->size += other.d->size;
    units()[d->size] = 0;
    return *this;
}

bool CZeString::appendUnits(const unsigned short* source, int size)
{
    if (!source || size <= 0)
        return false;
    if (ownsUnits(source)) {
        const CZeString copy(reinterpret_cast<const CZeChar*>(source), size);
        return appendUnits(static_cast<const unsigned short*>(copy.d->data()), size);
    }
    const unsigned int needed = unsigned(d->size) + unsigned(size) + 1u;
    if (d->isShared() || d->isRawData() || needed > d->alloc) {
        if (!reallocData(needed, true))
            return false;
    }
    std::memcpy(units() + d->size, source, size_t(size) * kUnitSize);
    d->size += size;
    units()[d->size] = 0;
    return true;
}

CZeString& CZeString::append(const CZeChar* unicode, int size)
{
    appendUnits(reinterpret_cast<const unsigned short*>(unicode), size);
    return *this;
}

CZeString& CZeString::append(CZeLatin1String latin1)
{
    const char* s = latin1.latin1();
    if (!s)
        return *this;
    const int len = latin1.size() < 0 ? latin1Length(s) : latin1.size();
    if (len == 0)
        return *this;
    const unsigned int needed = unsigned(d->size) + unsigned(len) + 1u;
    if (d->isShared() || d->isRawData() || needed > d->alloc) {
        if (!reallocData(needed, true))
            return *this;
    }
    ZeText::latin1ToUtf16(reinterpret_cast<const unsigned char*>(s), len, units() + d->size,
                          ZeText::bestPath());
    d->size += len;
    units()[d->size] = 0;
    return *this;
}

CZeString& CZeString::append(CZeChar ch)
{
    const unsigned int needed = unsigned(d->size) + 2u;
    if (d->isShared() || d->isRawData() || needed > d->alloc) {
        if (!reallocData(needed, true))
            return *this;
    }
    units()[d->size++] = ch.unicode();
    units()[d->size] = 0;
    return *this;
}

CZeString& CZeString::append(const CZeStringRef& ref)
{
    appendUnits(reinterpret_cast<const unsigned short*>(ref.unicode()), ref.size());
    return *this;
}

CZeString& CZeString::insert(int i, const CZeChar* unicode, int size)
{
    if (i < 0 || !unicode || size <= 0)
        return *this;
    if (ownsUnits(unicode)) {
        // Part of this very block, which moves below: insert from a copy.
        void* copy = std::malloc(size_t(size) * kUnitSize);
        if (!copy)
            return *this;
        std::memcpy(copy, unicode, size_t(size) * kUnitSize);
        insert(i, static_cast<const CZeChar*>(copy), size);
        std::free(copy);
        return *this;
    }
    const int old = d->size;
    const int base = i > old ? i : old;
    if (base > 0x7ffffffe - size)
        return *this;
    expand(base + size - 1);
    if (d->size != base + size || d->isShared() || d->isRawData())
        return *this;
    unsigned short* p = units();
    std::memmove(p + i + size, p + i, size_t(d->size - i - size) * kUnitSize);
    std::memcpy(p + i, unicode, size_t(size) * kUnitSize);
    return *this;
}

CZeString& CZeString::insert(int i, CZeLatin1String latin1)
{
    const char* s = latin1.latin1();
    if (i < 0 || !s)
        return *this;
    const int len = latin1.size() < 0 ? latin1Length(s) : latin1.size();
    if (len == 0)
        return *this;
    const int old = d->size;
    const int base = i > old ? i : old;
    if (base > 0x7ffffffe - len)
        return *this;
    expand(base + len - 1);
    if (d->size != base + len || d->isShared() || d->isRawData())
        return *this;
    unsigned short* p = units();
    std::memmove(p + i + len, p + i, size_t(d->size - i - len) * kUnitSize);
    ZeText::latin1ToUtf16(reinterpret_cast<const unsigned char*>(s), len, p + i, ZeText::bestPath());
    return *this;
}

CZeString& CZeString::insert(int i, CZeChar ch)
{
    if (i < 0)
        return *this;
    const int old = d->size;
    const int base = i > old ? i : old;
    if (base > 0x7ffffffd)
        return *this;
    expand(base);
    if (d->size != base + 1 || d->isShared() || d->isRawData())
        return *this;
    unsigned short* p = units();
    std::memmove(p + i + 1, p + i, size_t(d->size - i - 1) * kUnitSize);
    p[i] = ch.unicode();
    return *this;
}

CZeString& CZeString::insert(int i, const CZeString& other)
{
    return insert(i, other.unicode(), other.size());
}

CZeString& CZeString::remove(int pos, int len)
{
    if (pos < 0 || len <= 0 || pos >= d->size)
        return *this;
    if (len >= d->size - pos) {
        resize(pos);
        return *this;
    }
    detach();
    if (d->isShared() || d->isRawData())
        return *this;
    unsigned short* p = units();
    std::memmove(p + pos, p + pos + len, size_t(d->size - pos - len) * kUnitSize);
    d->size -= len;
    p[d->size] = 0;
    return *this;
}

// ---- Views and equality ------------------------------------------------------

CZeString CZeStringRef::toString() const
{
    if (!m_string)
        return CZeString();
    if (m_position == 0 && m_size == m_string->size())
        return *m_string;
    return CZeString(unicode(), m_size);
}

bool operator==(const CZeString& a, const CZeString& b) noexcept
{
    if (a.isSharedWith(b))
        return true;
    return a.size() == b.size()
        && std::memcmp(a.unicode(), b.unicode(), size_t(a.size()) * sizeof(CZeChar)) == 0;
}
