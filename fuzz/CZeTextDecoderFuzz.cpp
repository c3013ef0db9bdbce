// The stateful text decoder fed a stream in random pieces, compared with the
// same stream decoded in one call and with the plain UTF-8 rules.
//
// Input: byte 0 holds the options (bit 0 IgnoreHeader, bit 1
// ConvertInvalidToNull, bit 2 ISO-8859-1 instead of UTF-8), byte 1 seeds the
// piece lengths (0 to 7 bytes mostly, now and then up to 63, empty pieces
// included); the rest is the stream.
//
// Whatever the split, the pieces' results joined must equal the one-call
// result, the two decoders must end with the same kept bytes and count of
// invalid sequences, and the joined result must be the plain decoding of the
// stream without its kept tail: one replacement (U+FFFD, or U+0000 when so
// asked) per rejected byte, and a leading U+FEFF dropped unless IgnoreHeader
// is set. It never holds a lone surrogate.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "CZeByteArray.h"
#include "CZeString.h"
#include "CZeTextCodec.h"

namespace {

using Units = std::vector<unsigned short>;

void check(bool condition)
{
    if (!condition)
        __builtin_trap();
}

Units unitsOf(const CZeString& s)
{
    const unsigned short* u = reinterpret_cast<const unsigned short*>(s.unicode());
    return Units(u, u + s.size());
}

// The UTF-8 rules one byte at a time, without the byte-order mark handling.
// Returns the units and counts the rejected bytes in *invalid.
Units plainDecode(const uint8_t* s, size_t n, unsigned short replacement, int* invalid)
{
    Units out;
    *invalid = 0;
    size_t i = 0;
    while (i < n) {
        const uint8_t b = s[i];
        if (b < 0x80) {
            out.push_back(b);
            ++i;
            continue;
        }
        size_t more = 0;
        uint32_t cp = 0, least = 0;
        if (b >= 0xc2 && b <= 0xdf)
            more = 1, cp = b & 0x1fu, least = 0x80;
        else if (b >= 0xe0 && b <= 0xef)
            more = 2, cp = b & 0x0fu, least = 0x800;
        else if (b >= 0xf0 && b <= 0xf4)
            more = 3, cp = b & 0x07u, least = 0x10000;
        bool ok = more > 0 && i + more < n;
        for (size_t k = 1; ok && k <= more; ++k) {
            ok = (s[i + k] & 0xc0) == 0x80;
            cp = cp << 6 | (s[i + k] & 0x3fu);
        }
        ok = ok && cp >= least && cp < 0x110000 && (cp < 0xd800 || cp > 0xdfff);
        if (!ok) {
            out.push_back(replacement);
            ++*invalid;
            ++i;
            continue;
        }
        if (cp > 0xffff) {
            out.push_back(static_cast<unsigned short>(0xd800 + ((cp - 0x10000) >> 10)));
            out.push_back(static_cast<unsigned short>(0xdc00 + (cp & 0x3ff)));
        } else {
            out.push_back(static_cast<unsigned short>(cp));
        }
        i += more + 1;
    }
    return out;
}

bool noLoneSurrogate(const Units& u)
{
    for (size_t i = 0; i < u.size(); ++i) {
        const bool high = u[i] >= 0xd800 && u[i] <= 0xdbff;
        const bool low = u[i] >= 0xdc00 && u[i] <= 0xdfff;
        if (low || (high && (i + 1 == u.size() || u[i + 1] < 0xdc00 || u[i + 1] > 0xdfff)))
            return false;
        i += high;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2 || size > (1u << 20))
        return 0;
    const bool ignoreHeader = data[0] & 1;
    const bool invalidToNull = data[0] & 2;
    const bool latin1 = data[0] & 4;
    uint32_t random = data[1] * 2654435761u + 1;
    const uint8_t* stream = data + 2;
    const size_t length = size - 2;
    const char* text = reinterpret_cast<const char*>(stream);

    const int flags = (ignoreHeader ? CZeTextCodec::IgnoreHeader : 0) |
                      int(invalidToNull ? CZeTextCodec::ConvertInvalidToNull : 0u);
    const CZeByteArray name(latin1 ? "ISO-8859-1" : "UTF-8");
    std::unique_ptr<CZeTextDecoder> pieces(CZeTextCodec::createDecoder(name, flags));
    std::unique_ptr<CZeTextDecoder> whole(CZeTextCodec::createDecoder(name, flags));
    check(pieces && whole);

    Units joined;
    size_t at = 0;
    while (at < length) {
        random = random * 1103515245u + 12345u;
        size_t piece = (random >> 16) % 8;
        if ((random >> 8) % 16 == 0)
            piece = (random >> 20) % 64;
        if (piece > length - at)
            piece = length - at;
        const CZeString part = pieces->toUnicode(piece ? text + at : nullptr, int(piece));
        const Units units = unitsOf(part);
        joined.insert(joined.end(), units.begin(), units.end());
        check(pieces->remainingChars() >= 0 && pieces->remainingChars() <= 3);
        at += piece;
    }
    const Units once = unitsOf(whole->toUnicode(text, int(length)));
    check(joined == once);
    check(pieces->remainingChars() == whole->remainingChars());
    check(pieces->invalidChars() == whole->invalidChars());
    check(pieces->hasFailure() == (pieces->invalidChars() != 0));

    if (latin1) {
        check(pieces->remainingChars() == 0 && !pieces->hasFailure());
        check(joined == Units(stream, stream + length));
        return 0;
    }
    const size_t decoded = length - size_t(pieces->remainingChars());
    int invalid = 0;
    Units expected = plainDecode(stream, decoded, invalidToNull ? 0x0000 : 0xfffd, &invalid);
    if (!ignoreHeader && !expected.empty() && expected[0] == 0xfeff)
        expected.erase(expected.begin());
    check(joined == expected);
    check(pieces->invalidChars() == invalid);
    check(noLoneSurrogate(joined));
    return 0;
}
