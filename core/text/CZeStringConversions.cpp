// CZeString to and from Latin-1, UTF-8 (also the local 8-bit encoding),
// UTF-16 and UTF-32. Decoders allocate the worst case once and truncate to
// what they wrote; the loops themselves are in ZeTextConvert.cpp.
#include "CZeString.h"

#include <cstring>

#include "core/text/ZeTextConvert.h"

namespace {

int byteLength(const char* s)
{
    const size_t n = std::strlen(s);
    return n > 0x7ffffffeu ? 0x7ffffffe : static_cast<int>(n);
}

} // namespace

CZeString CZeString::fromLatin1_helper(const char* str, int size)
{
    if (!str)
        return CZeString();
    if (size < 0)
        size = *str ? byteLength(str) : 0;
    if (size == 0)
        return CZeString(SZeArrayData::sharedEmpty(), Adopt());
    CZeString result(size, Ze::Uninitialized);
    if (result.size() != size)
        return CZeString();
    ZeText::latin1ToUtf16(reinterpret_cast<const unsigned char*>(str), size, result.units(),
                          ZeText::bestPath());
    return result;
}

CZeString CZeString::fromUtf8_helper(const char* str, int size, bool* replaced)
{
    if (replaced)
        *replaced = false;
    if (!str)
        return CZeString();
    if (size < 0)
        size = byteLength(str);
    if (size == 0)
        return CZeString(SZeArrayData::sharedEmpty(), Adopt());
    // UTF-8 never needs more units than bytes.
    CZeString result(size, Ze::Uninitialized);
    if (result.size() != size)
        return CZeString();
    const int written = ZeText::utf8ToUtf16(reinterpret_cast<const unsigned char*>(str), size,
                                            result.units(), replaced, ZeText::bestPath());
    result.resize(written);
    return result;
}

CZeString CZeString::fromLocal8Bit_helper(const char* str, int size)
{
    return fromUtf8_helper(str, size);
}

CZeString CZeString::fromAscii_helper(const char* str, int size)
{
    return fromUtf8_helper(str, size);
}

CZeString CZeString::fromUtf16_helper(const unsigned short* unicode, int size)
{
    return CZeString(reinterpret_cast<const CZeChar*>(unicode), size);
}

CZeString CZeString::fromUcs4_helper(const unsigned int* unicode, int size)
{
    if (!unicode)
        return CZeString();
    if (size < 0) {
        size = 0;
        while (size < 0x7ffffffe && unicode[size])
            ++size;
    }
    if (size == 0)
        return CZeString(SZeArrayData::sharedEmpty(), Adopt());
    if (size > 0x3ffffffe)
        return CZeString();
    // At most two units per code point.
    CZeString result(size * 2, Ze::Uninitialized);
    if (result.size() != size * 2)
        return CZeString();
    unsigned short* out = result.units();
    int written = 0;
    for (int i = 0; i < size; ++i) {
        const unsigned int cp = unicode[i];
        if (cp > 0x10ffff || CZeChar::isSurrogate(cp)) {
            out[written++] = CZeChar::ReplacementCharacter;
        } else if (CZeChar::requiresSurrogates(cp)) {
            out[written++] = CZeChar::highSurrogate(cp);
            out[written++] = CZeChar::lowSurrogate(cp);
        } else {
            out[written++] = static_cast<unsigned short>(cp);
        }
    }
    result.resize(written);
    return result;
}

CZeByteArray CZeString::toLatin1_helper(const CZeChar* unicode, int size)
{
    if (size < 0)
        size = 0;
    CZeByteArray result;
    result.resize(size);
    if (result.size() != size || size == 0)
        return result;
    ZeText::utf16ToLatin1(reinterpret_cast<const unsigned short*>(unicode), size,
                          reinterpret_cast<unsigned char*>(result.data()), ZeText::bestPath());
    return result;
}

CZeByteArray CZeString::toUtf8_helper(const CZeChar* unicode, int size)
{
    if (size < 0)
        size = 0;
    CZeByteArray result;
    // Three bytes per unit is the worst case (a surrogate pair takes four for two).
    if (size > 0x7ffffffe / 3)
        return result;
    result.resize(size * 3);
    if (result.size() != size * 3)
        return CZeByteArray();
    if (size == 0)
        return result;
    const int written = ZeText::utf16ToUtf8(reinterpret_cast<const unsigned short*>(unicode), size,
                                            reinterpret_cast<unsigned char*>(result.data()),
                                            ZeText::bestPath());
    result.resize(written);
    return result;
}

CZeByteArray CZeString::toLocal8Bit_helper(const CZeChar* unicode, int size)
{
    return toUtf8_helper(unicode, size);
}

int CZeString::toUcs4_helper(const unsigned short* unicode, int length, unsigned int* out)
{
    int written = 0;
    for (int i = 0; i < length; ++i) {
        const unsigned int u = unicode[i];
        if (CZeChar::isHighSurrogate(u) && i + 1 < length && CZeChar::isLowSurrogate(unicode[i + 1])) {
            out[written++] = CZeChar::surrogateToUcs4(static_cast<unsigned short>(u), unicode[i + 1]);
            ++i;
        } else if (CZeChar::isSurrogate(u)) {
            out[written++] = CZeChar::ReplacementCharacter;
        } else {
            out[written++] = u;
        }
    }
    return written;
}
