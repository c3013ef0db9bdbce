// CZeString::arg for a text argument: numbered placeholders filled in two
// passes. The first pass finds the lowest placeholder number, how many
// placeholders carry it and their total length, so that the result is
// allocated once. The second pass copies the template and replaces the first
// `count` placeholders that carry that number.
//
// Only the second pass skips an 'L' after the '%', so "%L1 %1" counts one
// placeholder (the %1) but replaces the %L1 and keeps the %1. The result is
// then one unit shorter than allocated and is truncated to what was written.
#include "CZeString.h"

#include "core/log/CZeMessageLogger.h"

namespace {

constexpr CZeMessageLogger kLog;

struct Placeholders {
    int lowest = 100; // above every two-digit number: none found yet
    int count = 0;
    int totalLength = 0; // '%' and its digits, over all counted placeholders
};

int digitAt(const CZeChar* s, int n, int i)
{
    if (i >= n)
        return -1;
    const unsigned short u = s[i].unicode();
    return u >= '0' && u <= '9' ? u - '0' : -1;
}

// Reads the one or two digits at i; returns the number (or -1) and sets *end.
int numberAt(const CZeChar* s, int n, int i, int* end)
{
    const int first = digitAt(s, n, i);
    if (first < 0) {
        *end = i;
        return -1;
    }
    const int second = digitAt(s, n, i + 1);
    if (second < 0) {
        *end = i + 1;
        return first;
    }
    *end = i + 2;
    return first * 10 + second;
}

Placeholders findPlaceholders(const CZeChar* s, int n)
{
    Placeholders p;
    int i = 0;
    while (i < n) {
        if (s[i] != CZeChar('%')) {
            ++i;
            continue;
        }
        int end;
        const int number = numberAt(s, n, i + 1, &end);
        if (number < 0) {
            ++i;
            continue;
        }
        const int length = end - i;
        if (number < p.lowest) {
            p.lowest = number;
            p.count = 1;
            p.totalLength = length;
        } else if (number == p.lowest) {
            ++p.count;
            p.totalLength += length;
        }
        i = end;
    }
    return p;
}

} // namespace

CZeString CZeString::arg(const CZeString& a, int fieldWidth, CZeChar fillChar) const
{
    const CZeChar* s = unicode();
    const int n = size();
    const Placeholders p = findPlaceholders(s, n);
    if (p.count == 0) {
        kLog.warning("CZeString::arg: Argument missing: %s, %s", toUtf8().constData(),
                     a.toUtf8().constData());
        return *this;
    }

    const long long width = fieldWidth < 0 ? -static_cast<long long>(fieldWidth) : fieldWidth;
    const long long slot = width > a.size() ? width : a.size();
    const long long total = static_cast<long long>(n) - p.totalLength + slot * p.count;
    if (total > 0x7ffffff0LL)
        return CZeString();
    CZeString result(static_cast<int>(total), Ze::Uninitialized);
    if (result.size() != total)
        return CZeString(); // no memory

    CZeChar* out = result.data();
    int written = 0;
    auto put = [&](CZeChar c) {
        if (written < total)
            out[written++] = c;
    };
    const long long padding = slot - a.size();
    int replaced = 0;
    int i = 0;
    while (i < n && replaced < p.count) {
        if (s[i] != CZeChar('%')) {
            put(s[i++]);
            continue;
        }
        int j = i + 1;
        if (j < n && s[j] == CZeChar('L'))
            ++j;
        int end;
        const int number = numberAt(s, n, j, &end);
        if (number != p.lowest) {
            // Not a placeholder, or not the lowest: copied as it is.
            const int stop = number < 0 ? j : end;
            while (i < stop)
                put(s[i++]);
            continue;
        }
        if (fieldWidth > 0)
            for (long long k = 0; k < padding; ++k)
                put(fillChar);
        for (int k = 0; k < a.size(); ++k)
            put(a.at(k));
        if (fieldWidth < 0)
            for (long long k = 0; k < padding; ++k)
                put(fillChar);
        ++replaced;
        i = end;
    }
    while (i < n)
        put(s[i++]);
    if (written < total)
        result.truncate(written);
    return result;
}
