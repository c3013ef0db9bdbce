// CZeString::arg - numbered placeholders (%0 to %99) filled with text.
//
// Two passes over the template. The first finds the lowest placeholder number
// and how many placeholders carry it, with their total length, so that the
// result is allocated once. The second copies the template and replaces the
// first `count` placeholders that carry that number.
//
// The passes differ on purpose in one point: only the second one skips an 'L'
// after the '%'. A template "%L1 %1" therefore counts one placeholder (the
// %1) but replaces the %L1, whose count is then used up, and keeps the %1.
// Such a replacement consumes one template unit more than the first pass
// budgeted, so the result can come out shorter than allocated; it is
// truncated to what was written. It can never come out longer: every
// placeholder the second pass replaces is at least as long as the one the
// first pass counted in its place. The copy is bounded all the same.
#include "CZeString.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "core/text/ZeTextWarning.h"
#include "core/text/ZeNumberText.h"

namespace {

// "CZeString::arg: Argument missing:<text>,<argument>", uncut.
void warnArgumentMissing(const CZeString& text, const CZeString& argument)
{
    if (!ZeTextWarningsEnabled())
        return;
    CZeString message(CZeLatin1String("CZeString::arg: Argument missing:"));
    message.append(text);
    message.append(CZeChar(','));
    message.append(argument);
    ZeTextWarningLong(message);
}

// The longest string a block can hold (the 32-bit block-size limit of the
// storage comes first; this only keeps the arithmetic below in range).
constexpr long long kMaxUnits = 0x7ffffffe;

struct ArgEscapes {
    int lowest = 100; // above every two-digit number: nothing found yet
    int count = 0; // placeholders that carry `lowest`
    int totalLength = 0; // their units: '%' and one or two digits each
};

inline int digitAt(const unsigned short* s, int n, int i)
{
    return i < n && s[i] >= '0' && s[i] <= '9' ? s[i] - '0' : -1;
}

ArgEscapes findArgEscapes(const unsigned short* s, int n)
{
    ArgEscapes e;
    int i = 0;
    while (i < n) {
        if (s[i] != '%') {
            ++i;
            continue;
        }
        const int first = digitAt(s, n, i + 1);
        if (first < 0) { // not a placeholder ('%' at the end included): go on after the '%'
            ++i;
            continue;
        }
        int number = first;
        int length = 2;
        const int second = digitAt(s, n, i + 2);
        if (second >= 0) {
            number = number * 10 + second;
            length = 3;
        }
        i += length;
        if (number < e.lowest) {
            e.lowest = number;
            e.count = 1;
            e.totalLength = length;
        } else if (number == e.lowest) {
            ++e.count;
            e.totalLength += length;
        }
    }
    return e;
}

// Writes into a result of fixed size; anything beyond it is dropped.
class BoundedWriter {
public:
    BoundedWriter(unsigned short* out, int room)
        : m_out(out)
        , m_room(room)
        , m_written(0)
    {
    }

    void copy(const unsigned short* from, int n)
    {
        if (n > m_room - m_written)
            n = m_room - m_written;
        if (n <= 0)
            return;
        std::memcpy(m_out + m_written, from, size_t(n) * sizeof(unsigned short));
        m_written += n;
    }
    void fill(unsigned short unit, long long n)
    {
        while (n-- > 0 && m_written < m_room)
            m_out[m_written++] = unit;
    }
    int written() const { return m_written; }

private:
    unsigned short* m_out;
    int m_room;
    int m_written;
};

CZeString replaceArgEscapes(const CZeString& templ, const ArgEscapes& e, const CZeString& arg,
    int fieldWidth, CZeChar fillChar)
{
    const unsigned short* s = reinterpret_cast<const unsigned short*>(templ.unicode());
    const int n = templ.size();
    const long long width = fieldWidth < 0 ? -static_cast<long long>(fieldWidth) : fieldWidth;
    const long long slot = width > arg.size() ? width : arg.size();
    const long long padding = slot - arg.size();
    const long long total = static_cast<long long>(n) - e.totalLength + slot * e.count;
    if (total > kMaxUnits)
        return CZeString();
    CZeString result(static_cast<int>(total), Ze::Uninitialized);
    if (result.size() != total)
        return CZeString();

    BoundedWriter out(reinterpret_cast<unsigned short*>(result.data()), result.size());
    const unsigned short* a = reinterpret_cast<const unsigned short*>(arg.unicode());
    int replaced = 0;
    int i = 0;
    while (i < n && replaced < e.count) {
        int p = i;
        while (p < n && s[p] != '%')
            ++p;
        out.copy(s + i, p - i);
        if (p == n) {
            i = n;
            break;
        }
        int j = p + 1;
        if (j < n && s[j] == 'L')
            ++j;
        const int first = digitAt(s, n, j);
        if (first < 0) { // not a placeholder: keep the '%' (and the 'L')
            out.copy(s + p, j - p);
            i = j;
            continue;
        }
        int number = first;
        int end = j + 1;
        const int second = digitAt(s, n, end);
        if (second >= 0) {
            number = number * 10 + second;
            ++end;
        }
        if (number != e.lowest) {
            out.copy(s + p, end - p);
            i = end;
            continue;
        }
        if (fieldWidth > 0)
            out.fill(fillChar.unicode(), padding);
        out.copy(a, arg.size());
        if (fieldWidth < 0)
            out.fill(fillChar.unicode(), padding);
        ++replaced;
        i = end;
    }
    out.copy(s + i, n - i);
    result.resize(out.written());
    return result;
}

// The text of a number in `base`, with the zeros of a '0' fill put after the
// first unit when the number is negative.
CZeString integerText(
    const char* digits, int length, bool negative, int fieldWidth, CZeChar fillChar)
{
    CZeString text = CZeString::fromLatin1(digits, length);
    if (negative && fillChar == CZeChar('0') && fieldWidth > length)
        text.insert(1, CZeString(fieldWidth - length, CZeChar('0')));
    return text;
}

} // namespace

CZeString CZeString::arg(const CZeString& a, int fieldWidth, CZeChar fillChar) const
{
    const ArgEscapes e = findArgEscapes(reinterpret_cast<const unsigned short*>(unicode()), size());
    if (e.count == 0) {
        if (ZeTextWarningsEnabled()) {
            char text[1024];
            std::snprintf(text, sizeof text, "CZeString::arg: Argument missing: %s, %s",
                          toUtf8().constData(), a.toUtf8().constData());
            ZeTextWarning(text);
        }
        return *this;
    }
    return replaceArgEscapes(*this, e, a, fieldWidth, fillChar);
}

CZeString CZeString::arg(long long a, int fieldWidth, int base, CZeChar fillChar) const
{
    const ArgEscapes e = findArgEscapes(reinterpret_cast<const unsigned short*>(unicode()), size());
    if (e.count == 0) {
        warnArgumentMissing(*this, CZeString::number(a));
        return *this;
    }
    char digits[ZeText::kIntegerTextSize];
    const int length = ZeText::formatInteger(digits, a, base);
    const CZeString text = integerText(digits, length, a < 0, fieldWidth, fillChar);
    return replaceArgEscapes(*this, e, text, fieldWidth, fillChar);
}

CZeString CZeString::arg(unsigned long long a, int fieldWidth, int base, CZeChar fillChar) const
{
    const ArgEscapes e = findArgEscapes(reinterpret_cast<const unsigned short*>(unicode()), size());
    if (e.count == 0) {
        warnArgumentMissing(*this, CZeString::number(a));
        return *this;
    }
    char digits[ZeText::kIntegerTextSize];
    const int length = ZeText::formatUnsigned(digits, a, base);
    const CZeString text = integerText(digits, length, false, fieldWidth, fillChar);
    return replaceArgEscapes(*this, e, text, fieldWidth, fillChar);
}

CZeString CZeString::arg(long a, int fieldWidth, int base, CZeChar fillChar) const
{
    return arg(static_cast<long long>(a), fieldWidth, base, fillChar);
}

CZeString CZeString::arg(unsigned long a, int fieldWidth, int base, CZeChar fillChar) const
{
    return arg(static_cast<unsigned long long>(a), fieldWidth, base, fillChar);
}

CZeString CZeString::arg(CZeChar a, int fieldWidth, CZeChar fillChar) const
{
    return arg(CZeString(a), fieldWidth, fillChar);
}

CZeString CZeString::arg(char a, int fieldWidth, CZeChar fillChar) const
{
    return arg(CZeString(CZeChar(a)), fieldWidth, fillChar);
}

CZeString CZeString::arg(
    double a, int fieldWidth, char format, int precision, CZeChar fillChar) const
{
    char digits[ZeText::kDoubleTextSize];
    const int length = ZeText::formatDouble(digits, a, format, precision);
    const bool signedText = length > 0 && digits[0] == '-' && std::isfinite(a);
    return arg(integerText(digits, length, signedText, fieldWidth, fillChar), fieldWidth, fillChar);
}
