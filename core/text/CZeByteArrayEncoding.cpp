// CZeByteArray as text: hexadecimal output and floating-point numbers.
#include "CZeByteArray.h"

#include "core/text/ZeNumberText.h"

CZeByteArray CZeByteArray::toHex(char separator) const
{
    const int n = d->size;
    if (n == 0)
        return CZeByteArray();
    const long long length = separator ? 3LL * n - 1 : 2LL * n;
    if (length > 0x7ffffffe)
        return CZeByteArray();
    CZeByteArray result;
    result.resize(static_cast<int>(length));
    if (result.size() != length)
        return CZeByteArray();
    static const char digits[] = "0123456789abcdef";
    const unsigned char* in = reinterpret_cast<const unsigned char*>(constData());
    char* out = result.data();
    for (int i = 0; i < n; ++i) {
        if (separator && i > 0)
            *out++ = separator;
        *out++ = digits[in[i] >> 4];
        *out++ = digits[in[i] & 0xf];
    }
    return result;
}

CZeByteArray& CZeByteArray::setNum(double n, char format, int precision)
{
    char text[ZeText::kDoubleTextSize];
    ZeText::formatDouble(text, n, format, precision);
    return *this = text;
}

CZeByteArray CZeByteArray::number(double n, char format, int precision)
{
    CZeByteArray result;
    result.setNum(n, format, precision);
    return result;
}

double CZeByteArray::toDouble(bool* ok) const
{
    const CZeByteArray text = nulTerminated();
    return ZeText::parseDouble(text.constData(), text.size(), ok);
}
