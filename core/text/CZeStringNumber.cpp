// Numbers of CZeString: formatting (the digits come from ZeNumberText as
// Latin-1 bytes and are widened) and parsing.
#include "CZeString.h"

#include <cfloat>
#include <cmath>
#include <limits>

#include "core/text/ZeNumberText.h"

CZeString CZeString::number(int n, int base)
{
    return number(static_cast<long long>(n), base);
}

CZeString CZeString::number(unsigned int n, int base)
{
    return number(static_cast<unsigned long long>(n), base);
}

CZeString CZeString::number(long n, int base)
{
    return number(static_cast<long long>(n), base);
}

CZeString CZeString::number(unsigned long n, int base)
{
    return number(static_cast<unsigned long long>(n), base);
}

CZeString CZeString::number(long long n, int base)
{
    char text[ZeText::kIntegerTextSize];
    const int length = ZeText::formatInteger(text, n, base);
    return fromLatin1_helper(text, length);
}

CZeString CZeString::number(unsigned long long n, int base)
{
    char text[ZeText::kIntegerTextSize];
    const int length = ZeText::formatUnsigned(text, n, base);
    return fromLatin1_helper(text, length);
}

CZeString CZeString::number(double n, char format, int precision)
{
    char text[ZeText::kDoubleTextSize];
    const int length = ZeText::formatDouble(text, n, format, precision);
    return fromLatin1_helper(text, length);
}

CZeString& CZeString::setNum(long n, int base)
{
    return *this = number(n, base);
}

CZeString& CZeString::setNum(unsigned long n, int base)
{
    return *this = number(n, base);
}

CZeString& CZeString::setNum(double n, char format, int precision)
{
    return *this = number(n, format, precision);
}

// ---- Parsing -----------------------------------------------------------------
// The units are narrowed to Latin-1 (units above 0xFF become '?', which no
// parser accepts) and parsed as zero-terminated bytes by ZeNumberText.

namespace {

// Latin-1 bytes of `len` units, zero-terminated; null when memory is short.
CZeByteArray latin1Text(const CZeChar* data, int len)
{
    if (!data || len <= 0)
        return CZeByteArray();
    return CZeString::toLatin1_helper(data, len);
}

// Parses 64 bits, then refuses a value that the narrower type cannot hold.
template <typename Narrow> Narrow narrowed(long long value, bool parsed, bool* ok)
{
    const bool fits = parsed && value >= static_cast<long long>(std::numeric_limits<Narrow>::min())
        && value <= static_cast<long long>(std::numeric_limits<Narrow>::max());
    if (ok)
        *ok = fits;
    return fits ? static_cast<Narrow>(value) : Narrow(0);
}

template <typename Narrow> Narrow narrowedUnsigned(unsigned long long value, bool parsed, bool* ok)
{
    const bool fits
        = parsed && value <= static_cast<unsigned long long>(std::numeric_limits<Narrow>::max());
    if (ok)
        *ok = fits;
    return fits ? static_cast<Narrow>(value) : Narrow(0);
}

} // namespace

long long CZeString::toIntegral_helper(const CZeChar* data, int len, bool* ok, int base)
{
    const CZeByteArray text = latin1Text(data, len);
    return ZeText::parseInteger(text.constData(), text.size(), ok, base);
}

unsigned long long CZeString::toIntegral_helper(
    const CZeChar* data, unsigned int len, bool* ok, int base)
{
    const int length = len > 0x7ffffffeu ? 0 : static_cast<int>(len);
    const CZeByteArray text = latin1Text(data, length);
    return ZeText::parseUnsigned(text.constData(), text.size(), ok, base);
}

long long CZeString::toLongLong(bool* ok, int base) const
{
    return toIntegral_helper(unicode(), size(), ok, base);
}

long CZeString::toLong(bool* ok, int base) const
{
    bool parsed = false;
    const long long value = toLongLong(&parsed, base);
    return narrowed<long>(value, parsed, ok);
}

int CZeString::toInt(bool* ok, int base) const
{
    bool parsed = false;
    const long long value = toLongLong(&parsed, base);
    return narrowed<int>(value, parsed, ok);
}

short CZeString::toShort(bool* ok, int base) const
{
    bool parsed = false;
    const long long value = toLongLong(&parsed, base);
    return narrowed<short>(value, parsed, ok);
}

unsigned long long CZeString::toULongLong(bool* ok, int base) const
{
    return toIntegral_helper(unicode(), static_cast<unsigned int>(size()), ok, base);
}

unsigned long CZeString::toULong(bool* ok, int base) const
{
    bool parsed = false;
    const unsigned long long value = toULongLong(&parsed, base);
    return narrowedUnsigned<unsigned long>(value, parsed, ok);
}

unsigned int CZeString::toUInt(bool* ok, int base) const
{
    bool parsed = false;
    const unsigned long long value = toULongLong(&parsed, base);
    return narrowedUnsigned<unsigned int>(value, parsed, ok);
}

unsigned short CZeString::toUShort(bool* ok, int base) const
{
    bool parsed = false;
    const unsigned long long value = toULongLong(&parsed, base);
    return narrowedUnsigned<unsigned short>(value, parsed, ok);
}

double CZeString::toDouble(bool* ok) const
{
    return latin1Text(unicode(), size()).toDouble(ok);
}

float CZeString::toFloat(bool* ok) const
{
    bool parsed = false;
    const double value = toDouble(&parsed);
    // Checked before converting: a double beyond the float range has no float value.
    if (!parsed || (std::isfinite(value) && std::fabs(value) > double(FLT_MAX))) {
        if (ok)
            *ok = false;
        return 0.0f;
    }
    if (ok)
        *ok = true;
    return static_cast<float>(value);
}
