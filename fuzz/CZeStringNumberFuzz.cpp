// Integer and floating-point parsing of CZeString, and arg() with texts,
// integers and doubles, on arbitrary input.
//
// Input: byte 0 flags (bit 0: the rest is UTF-16 little-endian units rather
// than Latin-1), byte 1 the base (value % 40 - 1: -1 to 38, so invalid bases
// come up too), byte 2 the field width (signed), byte 3 the fill unit; the
// rest is the template, then '|' and the number text (the template doubles
// as number text when there is no '|').
#include <climits>
#include <cstddef>
#include <cstdint>

#include "CZeDebugLog.h"
#include "CZeString.h"

namespace {

CZeString textOf(const uint8_t* data, size_t size, bool utf16)
{
    if (!utf16)
        return CZeString::fromLatin1(reinterpret_cast<const char*>(data), int(size));
    CZeString s(int(size / 2), Ze::Uninitialized);
    CZeChar* units = s.data();
    for (size_t i = 0; i + 1 < size; i += 2)
        units[i / 2] = CZeChar(static_cast<unsigned short>(data[i] | (data[i + 1] << 8)));
    return s;
}

void check(bool condition)
{
    if (!condition)
        __builtin_trap();
}

bool hasPlaceholder(const CZeString& s)
{
    for (int i = 0; i + 1 < s.size(); ++i)
        if (s.at(i) == CZeChar('%') && s.at(i + 1).unicode() >= '0' && s.at(i + 1).unicode() <= '9')
            return true;
    return false;
}

void parse(const CZeString& text, int base)
{
    bool okLong = false;
    const long long value = text.toLongLong(&okLong, base);
    check(okLong || value == 0);
    bool okInt = false;
    const int narrow = text.toInt(&okInt, base);
    check(okInt == (okLong && value >= INT_MIN && value <= INT_MAX));
    check(!okInt || narrow == value);
    bool okShort = false;
    const short shortValue = text.toShort(&okShort, base);
    check(okShort == (okLong && value >= SHRT_MIN && value <= SHRT_MAX));
    check(!okShort || shortValue == value);

    bool okUnsigned = false;
    const unsigned long long uvalue = text.toULongLong(&okUnsigned, base);
    check(okUnsigned || uvalue == 0);
    bool okUInt = false;
    const unsigned int unarrow = text.toUInt(&okUInt, base);
    check(okUInt == (okUnsigned && uvalue <= UINT_MAX));
    check(!okUInt || unarrow == uvalue);
    bool okUShort = false;
    text.toUShort(&okUShort, base);
    check(okUShort == (okUnsigned && uvalue <= USHRT_MAX));
    // Whatever parses both ways is the same number.
    if (okLong && okUnsigned)
        check(value >= 0 && static_cast<unsigned long long>(value) == uvalue);

    // The text of a parsed number parses back to it.
    if (base >= 2 && base <= 36) {
        if (okLong && (value >= 0 || base == 10)) {
            bool ok = false;
            check(CZeString::number(value, base).toLongLong(&ok, base) == value && ok);
        }
        if (okUnsigned) {
            bool ok = false;
            check(CZeString::number(uvalue, base).toULongLong(&ok, base) == uvalue && ok);
        }
    }

    bool okDouble = false;
    const double d = text.toDouble(&okDouble);
    check(okDouble || d == 0.0);
    bool okFloat = false;
    text.toFloat(&okFloat);
    check(!okFloat || okDouble);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    CZeDebugLog::SetDebugLevel(CZeDebugLog::DebugLevelVerbose);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 4 || size > 4096)
        return 0;
    const bool utf16 = data[0] & 1;
    const int base = data[1] % 40 - 1;
    const int fieldWidth = static_cast<int8_t>(data[2]);
    const CZeChar fill = CZeChar(static_cast<unsigned short>(data[3]));
    const uint8_t* rest = data + 4;
    const size_t restSize = size - 4;
    size_t bar = 0;
    while (bar < restSize && rest[bar] != '|')
        ++bar;
    const CZeString templ = textOf(rest, bar, utf16);
    const CZeString number
        = bar < restSize ? textOf(rest + bar + 1, restSize - bar - 1, utf16) : templ;

    parse(number, base);

    const CZeString withText = templ.arg(number, fieldWidth, fill);
    check(hasPlaceholder(templ) || withText == templ);
    const CZeString withInteger
        = templ.arg(number.toLongLong(nullptr, base), fieldWidth, base, fill);
    check(hasPlaceholder(templ) || withInteger == templ);
    templ.arg(number.toULongLong(nullptr, base), fieldWidth, base, fill);
    templ.arg(number.toDouble(), fieldWidth, static_cast<char>(data[0] >> 1), base, fill);
    templ.arg(fill, fieldWidth, fill);
    // Chained calls use up the placeholders one number at a time.
    CZeString chained = templ;
    for (int i = 0; i < 3 && hasPlaceholder(chained); ++i)
        chained = chained.arg(number, fieldWidth, fill);
    return 0;
}
