#include "core/text/ZeNumberText.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#if defined(__GLIBC__)
#include <locale.h>
#endif

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

namespace {

bool isFloatingConversion(char format)
{
    switch (format) {
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
        return true;
    default:
        return false;
    }
}

// Skips leading white space; returns the first other byte.
const char* skipSpace(const char* p)
{
    while (isNumberSpace(static_cast<unsigned char>(*p)))
        ++p;
    return p;
}

// True when every byte from `p` to `end` is white space.
bool onlySpaceUntil(const char* p, const char* end)
{
    for (; p < end; ++p)
        if (!isNumberSpace(static_cast<unsigned char>(*p)))
            return false;
    return true;
}

bool validBase(int base)
{
    return base == 0 || (base >= 2 && base <= 36);
}

template <typename T> T fail(bool* ok)
{
    if (ok)
        *ok = false;
    return T(0);
}

template <typename T> T succeed(bool* ok, T value)
{
    if (ok)
        *ok = true;
    return value;
}

// Keeps the caller's errno across a parse that has to clear and read it.
class ErrnoKeeper {
public:
    ErrnoKeeper()
        : m_saved(errno)
    {
        errno = 0;
    }
    ~ErrnoKeeper() { errno = m_saved; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

private:
    int m_saved;
};

double cLocaleStrtod(const char* text, char** end)
{
#if defined(__GLIBC__)
    // A host program may have switched the global locale to one with a decimal
    // comma; numbers in the library's texts always use a point. (Bionic's
    // strtod does not depend on the locale.)
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    if (cLocale)
        return strtod_l(text, end, cLocale);
#endif
    return std::strtod(text, end);
}

} // namespace

bool isNumberSpace(unsigned char c)
{
    return (c >= 9 && c <= 13) || c == ' ' || c == 0x85 || c == 0xa0;
}

long long parseInteger(const char* text, int length, bool* ok, int base)
{
    if (!text || length <= 0 || !validBase(base))
        return fail<long long>(ok);
    const char* const end = text + length;
    const char* start = skipSpace(text);
    char* stop = nullptr;
    long long value;
    int error;
    {
        ErrnoKeeper keeper;
        value = std::strtoll(start, &stop, base);
        error = errno;
    }
    if ((value == LLONG_MIN || value == LLONG_MAX || value == 0) && (error != 0 || stop == start))
        return fail<long long>(ok);
    if (!onlySpaceUntil(stop, end))
        return fail<long long>(ok);
    return succeed(ok, value);
}

unsigned long long parseUnsigned(const char* text, int length, bool* ok, int base)
{
    if (!text || length <= 0 || !validBase(base))
        return fail<unsigned long long>(ok);
    const char* const end = text + length;
    const char* start = skipSpace(text);
    if (*start == '-')
        return fail<unsigned long long>(ok);
    char* stop = nullptr;
    unsigned long long value;
    int error;
    {
        ErrnoKeeper keeper;
        value = std::strtoull(start, &stop, base);
        error = errno;
    }
    if ((value == ULLONG_MAX || value == 0) && (error != 0 || stop == start))
        return fail<unsigned long long>(ok);
    if (!onlySpaceUntil(stop, end))
        return fail<unsigned long long>(ok);
    return succeed(ok, value);
}

double parseDouble(const char* text, int length, bool* ok)
{
    if (!text || length <= 0)
        return fail<double>(ok);
    const char* const end = text + length;
    const char* start = skipSpace(text);
    char* stop = nullptr;
    double value;
    int error;
    {
        ErrnoKeeper keeper;
        value = cLocaleStrtod(start, &stop);
        error = errno;
    }
    if (stop == start)
        return fail<double>(ok);
    if (error == ERANGE && std::isinf(value))
        return fail<double>(ok);
    if (!onlySpaceUntil(stop, end))
        return fail<double>(ok);
    return succeed(ok, value);
}

int formatDouble(char* out, double value, char format, int precision)
{
    if (!isFloatingConversion(format))
        format = 'g';
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
