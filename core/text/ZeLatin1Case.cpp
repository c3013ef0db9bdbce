#include "core/text/ZeLatin1Case.h"

namespace {

// The byte `from` letters of one case become by adding `shift`: ASCII
// letters and the Latin-1 letters 0x20 above or below them, the
// multiplication and division signs (0xD7, 0xF7) excepted.
struct CaseTable {
    unsigned char map[256];
    constexpr CaseTable(unsigned char asciiFirst, unsigned char latinFirst, int shift) : map()
    {
        for (int c = 0; c < 256; ++c) {
            const bool ascii = c >= asciiFirst && c < asciiFirst + 26;
            const bool latin = c >= latinFirst && c < latinFirst + 31 && c != latinFirst + 0x17;
            map[c] = static_cast<unsigned char>(ascii || latin ? c + shift : c);
        }
    }
};

constexpr CaseTable kLower('A', 0xC0, 0x20);
constexpr CaseTable kUpper('a', 0xE0, -0x20);

} // namespace

const unsigned char* const zeLatin1Lowercased = kLower.map;
const unsigned char* const zeLatin1Uppercased = kUpper.map;
