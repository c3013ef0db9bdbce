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
// (kDoubleTextSize bytes) and returns the length (0 to 127).
int formatDouble(char* out, double value, char format, int precision);

} // namespace ZeText

#endif
