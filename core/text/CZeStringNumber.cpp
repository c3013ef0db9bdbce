// Number formatting of CZeString: the digits come from ZeNumberText as
// Latin-1 bytes and are widened.
#include "CZeString.h"

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
