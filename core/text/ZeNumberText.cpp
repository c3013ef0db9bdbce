#include "core/text/ZeNumberText.h"

#include <cstdio>

namespace ZeText {

int formatUnsigned(char* out, unsigned long long value, int base)
{
    if (base < 2 || base > 36)
        base = 10;
    char reversed[kIntegerTextSize];
    int n = 0;
    do {
        const int digit = static_cast<int>(value % static_cast<unsigned>(base));
        reversed[n++] = static_cast<char>(digit < 10 ? '0' + digit : 'a' + digit - 10);
        value /= static_cast<unsigned>(base);
    } while (value);
    for (int i = 0; i < n; ++i)
        out[i] = reversed[n - 1 - i];
    out[n] = '\0';
    return n;
}

int formatInteger(char* out, long long value, int base)
{
    if ((base < 2 || base > 36 || base == 10) && value < 0) {
        // Magnitude through unsigned arithmetic: also right for the minimum value.
        out[0] = '-';
        return 1 + formatUnsigned(out + 1, 0ull - static_cast<unsigned long long>(value), 10);
    }
    return formatUnsigned(out, static_cast<unsigned long long>(value), base);
}

int formatDouble(char* out, double value, char format, int precision)
{
    char printfFormat[32];
    if (precision < 0)
        std::snprintf(printfFormat, sizeof printfFormat, "%%%c", format);
    else
        std::snprintf(printfFormat, sizeof printfFormat, "%%.%d%c", precision, format);
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#endif
    int n = std::snprintf(out, kDoubleTextSize, printfFormat, value);
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
    if (n < 0)
        n = 0;
    if (n > kDoubleTextSize - 1)
        n = kDoubleTextSize - 1;
    out[n] = '\0';
    return n;
}

} // namespace ZeText
