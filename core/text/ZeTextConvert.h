// Conversions between UTF-16 units and 8-bit text, behind CZeString.
//
// Each conversion exists in up to three forms with identical results:
//   PathUnit  one unit or byte at a time: the plain statement of the rules,
//             kept as the oracle the faster forms are tested against;
//   PathWord  ASCII and Latin-1 runs in portable 8-unit blocks;
//   PathSimd  the same runs in 16-unit vector blocks (SSE2 on x86-64, NEON
//             on arm64); on other targets it is PathWord.
// CZeString uses bestPath(). Buffers: see each function; the block forms may
// write scratch units past the ones they report, but never past the stated
// room of the output buffer.
#ifndef CORE_TEXT_ZETEXTCONVERT_H
#define CORE_TEXT_ZETEXTCONVERT_H

namespace ZeText {

enum Path { PathUnit = 0, PathWord = 1, PathSimd = 2 };

// True when PathSimd has real vector code on this target.
bool simdAvailable();
Path bestPath();

// UTF-8 to UTF-16. `out` has room for `length` units (UTF-8 never needs more
// units than bytes). A byte-order mark at the very start is skipped; every
// rejected lead or stray byte gives one U+FFFD and only that byte is consumed.
// `*replaced` (when given) tells whether any U+FFFD was produced.
// Returns the number of units written.
int utf8ToUtf16(const unsigned char* in, int length, unsigned short* out, bool* replaced,
                Path path);

// The same decoder with its options and results spelled out, for decoders
// that carry state from one input to the next.
struct Utf8Decoding {
    unsigned short replacement = 0xfffd; // written for each rejected byte
    bool skipByteOrderMark = true;       // drop EF BB BF at the very start of `in`
    // Stop in front of a sequence that the end of the input cuts off while its
    // bytes are fine so far, instead of rejecting its lead byte.
    bool keepIncompleteTail = false;

    int invalid = 0;  // out: rejected bytes (one replacement unit each)
    int consumed = 0; // out: bytes decoded; less than `length` only for a kept tail
};
int utf8ToUtf16(const unsigned char* in, int length, unsigned short* out, Utf8Decoding& how,
                Path path);

// UTF-16 to UTF-8. `out` has room for 3 * `length` bytes. Unpaired surrogates
// become '?'. Returns the number of bytes written.
int utf16ToUtf8(const unsigned short* in, int length, unsigned char* out, Path path);

// Latin-1 bytes to units of equal value; `out` has room for `length` units.
void latin1ToUtf16(const unsigned char* in, int length, unsigned short* out, Path path);

// Units to Latin-1; units above 0xFF become '?'. `out` has room for `length` bytes.
void utf16ToLatin1(const unsigned short* in, int length, unsigned char* out, Path path);

} // namespace ZeText

#endif
