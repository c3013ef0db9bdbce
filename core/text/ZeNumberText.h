// Number text shared by strings and byte arrays. The digits are produced as
// Latin-1 bytes; callers widen them.
#ifndef CORE_TEXT_ZENUMBERTEXT_H
#define CORE_TEXT_ZENUMBERTEXT_H

namespace ZeText {

// Room for 64 binary digits, a sign and the terminator.
constexpr int kIntegerTextSize = 66;
// Room for any double printed by formatDouble, terminator included.
constexpr int kDoubleTextSize = 128;

// Only a negative value in base 10 gets a '-'; in every other base a negative
// value is written as its unsigned 64-bit two's complement. Digits above 9 are
// lower-case letters, no prefix. Bases outside 2..36 act as 10.
// Writes into `out` (kIntegerTextSize bytes) and returns the length.
int formatInteger(char* out, long long value, int base);
int formatUnsigned(char* out, unsigned long long value, int base);

// printf-style: "%<format>" for a negative precision (the C library's
// default), "%.<precision><format>" otherwise. Writes into `out`
// (kDoubleTextSize bytes) and returns the length (0 to 127). Only the
// floating conversions e E f F g G a A reach the C library; any other format
// character acts as 'g' (printf would read a double as something else).
int formatDouble(char* out, double value, char format, int precision);

// White space around numbers: bytes 9 to 13, space, 0x85 and 0xA0, which are
// the only Latin-1 code points that Unicode classifies as spaces.
bool isNumberSpace(unsigned char c);

// Parsers over Latin-1 text of `length` bytes whose byte at `length` is 0.
// White space may surround the number; anything else (an embedded 0 byte
// included) makes the text invalid. On failure the result is 0 and `*ok`
// (when given) false. `base` is 0 (prefix decides: 0x hex, 0 octal) or 2..36;
// any other base fails. The caller's errno is preserved.
//
// parseInteger fails on overflow (the C library's clamped result with ERANGE).
// parseUnsigned also refuses a leading '-' rather than wrapping it around.
// parseDouble accepts what strtod accepts in the C locale (inf, nan and hex
// floats included); it fails when the value overflows to infinity, while a
// result that underflows to a subnormal or zero is accepted as it is.
long long parseInteger(const char* text, int length, bool* ok, int base);
unsigned long long parseUnsigned(const char* text, int length, bool* ok, int base);
double parseDouble(const char* text, int length, bool* ok);

} // namespace ZeText

#endif
