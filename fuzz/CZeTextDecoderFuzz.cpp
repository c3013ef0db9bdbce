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
#include "Utf8Model.h"

namespace {

using namespace utf8model;

bool noLoneSurrogate(const Units& u)
{
    return utf8model::noLoneSurrogate(u.data(), u.size());
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
    Units expected = decode(stream, decoded, invalidToNull ? 0x0000 : 0xfffd, &invalid);
    if (!ignoreHeader && !expected.empty() && expected[0] == 0xfeff)
        expected.erase(expected.begin());
    check(joined == expected);
    check(pieces->invalidChars() == invalid);
    check(noLoneSurrogate(joined));
    return 0;
}
