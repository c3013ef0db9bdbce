// The UTF-8 rules written out one byte at a time, independent of the
// library's decoders, for the fuzz targets to compare them with.
#ifndef FUZZ_UTF8MODEL_H
#define FUZZ_UTF8MODEL_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "CZeString.h"

namespace utf8model {

using Units = std::vector<unsigned short>;

inline void check(bool condition)
{
    if (!condition)
        __builtin_trap();
}

inline Units unitsOf(const CZeString& s)
{
    const unsigned short* u = reinterpret_cast<const unsigned short*>(s.unicode());
    return Units(u, u + s.size());
}

// Decodes n bytes, one `replacement` unit per rejected byte (counted in
// *invalid), surrogate pairs above U+FFFF. A byte-order mark is data here.
inline Units decode(const uint8_t* s, size_t n, unsigned short replacement, int* invalid)
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

inline bool noLoneSurrogate(const unsigned short* u, size_t n)
{
    for (size_t i = 0; i < n; ++i) {
        const bool high = u[i] >= 0xd800 && u[i] <= 0xdbff;
        const bool low = u[i] >= 0xdc00 && u[i] <= 0xdfff;
        if (low || (high && (i + 1 == n || u[i + 1] < 0xdc00 || u[i + 1] > 0xdfff)))
            return false;
        i += high;
    }
    return true;
}

} // namespace utf8model

#endif
