// UTF-8 decoding and encoding of CZeString on arbitrary bytes.
//
// The input is decoded with CZeString::fromUtf8 and checked against a plain
// decoder written here from the rules (replacement of each rejected byte,
// surrogate pairs above U+FFFF, a skipped leading byte-order mark), and each
// of the library's conversion paths must agree with it. Then:
//  - the decoded string holds no lone surrogate;
//  - valid input (nothing replaced) encodes back to the very same bytes,
//    minus a leading byte-order mark;
//  - any decoded string survives an encode and decode round trip (a leading
//    U+FEFF is read back as a byte-order mark and dropped).
// The same bytes are also read as UTF-16 units (little-endian pairs), encoded
// with toUtf8 - which must give valid UTF-8 that every path agrees on - and
// decoded again, giving the units back with each unpaired surrogate as '?'.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "CZeByteArray.h"
#include "CZeString.h"
#include "Utf8Model.h"
#include "core/text/ZeTextConvert.h"

namespace {

using namespace utf8model;

// fromUtf8's rules: the plain decoding, U+FFFD for each rejected byte, a
// leading byte-order mark skipped. `replaced` tells whether any byte was
// rejected.
bool isHigh(unsigned short u) { return u >= 0xd800 && u <= 0xdbff; }
bool isLow(unsigned short u) { return u >= 0xdc00 && u <= 0xdfff; }

Units plainDecode(const uint8_t* s, size_t n, bool* replaced)
{
    const size_t skip = n >= 3 && s[0] == 0xef && s[1] == 0xbb && s[2] == 0xbf ? 3 : 0;
    int invalid = 0;
    Units out = decode(s + skip, n - skip, 0xfffd, &invalid);
    *replaced = invalid != 0;
    return out;
}

bool sameBytes(const CZeByteArray& a, const uint8_t* b, size_t n)
{
    return size_t(a.size()) == n && (n == 0 || std::memcmp(a.constData(), b, n) == 0);
}

// Units decoded by every path of the library, which must agree with `expected`.
void checkPaths(const uint8_t* data, size_t size, const Units& expected, bool replaced)
{
    for (ZeText::Path path : {ZeText::PathUnit, ZeText::PathWord, ZeText::PathSimd}) {
        // The block paths may write scratch units up to the stated room only.
        Units out(size ? size : 1);
        bool pathReplaced = !replaced;
        const int n = ZeText::utf8ToUtf16(data, int(size), out.data(), &pathReplaced, path);
        out.resize(size_t(n));
        check(out == expected);
        check(pathReplaced == replaced);
    }
}

void decodeAndReencode(const uint8_t* data, size_t size)
{
    // Never a null pointer: that would be a null string, not an empty one.
    const char* text = size ? reinterpret_cast<const char*>(data) : "";
    bool replaced = false;
    const Units expected = plainDecode(data, size, &replaced);
    checkPaths(data, size, expected, replaced);

    bool reported = !replaced;
    const CZeString s = CZeString::fromUtf8_helper(text, int(size), &reported);
    check(!s.isNull());
    check(reported == replaced);
    check(unitsOf(s) == expected);
    check(unitsOf(CZeString::fromUtf8(text, int(size))) == expected);
    check(unitsOf(CZeString::fromLocal8Bit(text, int(size))) == expected);

    // A negative size reads up to the first zero byte.
    const std::string terminated(text, size);
    const size_t zero = std::strlen(terminated.c_str());
    bool unused = false;
    check(unitsOf(CZeString::fromUtf8(terminated.c_str())) == plainDecode(data, zero, &unused));
    check(noLoneSurrogate(reinterpret_cast<const unsigned short*>(s.unicode()), size_t(s.size())));

    const CZeByteArray encoded = s.toUtf8();
    if (!replaced) {
        const size_t skip =
            size >= 3 && data[0] == 0xef && data[1] == 0xbb && data[2] == 0xbf ? 3 : 0;
        check(sameBytes(encoded, data + skip, size - skip));
    }
    bool again = true;
    const CZeString back = CZeString::fromUtf8_helper(encoded.constData(), encoded.size(), &again);
    check(!again);
    Units roundTrip = expected;
    if (!roundTrip.empty() && roundTrip[0] == 0xfeff)
        roundTrip.erase(roundTrip.begin());
    check(unitsOf(back) == roundTrip);
}

void encodeUnits(const uint8_t* data, size_t size)
{
    Units units(size / 2);
    for (size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<unsigned short>(data[2 * i] | data[2 * i + 1] << 8);
    const CZeString s = CZeString::fromUtf16(units.data(), int(units.size()));
    const CZeByteArray encoded = s.toUtf8();
    const uint8_t* bytes = reinterpret_cast<const uint8_t*>(encoded.constData());
    check(encoded.size() <= 3 * s.size());
    check(encoded.constData()[encoded.size()] == '\0');

    for (ZeText::Path path : {ZeText::PathUnit, ZeText::PathWord, ZeText::PathSimd}) {
        std::vector<uint8_t> out(3 * units.size() + 1);
        const int n = ZeText::utf16ToUtf8(units.data(), int(units.size()), out.data(), path);
        check(sameBytes(encoded, out.data(), size_t(n)));
    }

    // Valid UTF-8 that decodes to the units, unpaired surrogates as '?'.
    Units expected;
    for (size_t i = 0; i < units.size(); ++i) {
        if (isHigh(units[i]) && i + 1 < units.size() && isLow(units[i + 1])) {
            expected.push_back(units[i]);
            expected.push_back(units[++i]);
        } else {
            expected.push_back(isHigh(units[i]) || isLow(units[i]) ? '?' : units[i]);
        }
    }
    if (!expected.empty() && expected[0] == 0xfeff)
        expected.erase(expected.begin());
    bool replaced = true;
    const Units decoded = plainDecode(bytes, size_t(encoded.size()), &replaced);
    check(!replaced);
    check(decoded == expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > (1u << 20))
        return 0;
    decodeAndReencode(data, size);
    encodeUnits(data, size);
    return 0;
}
