// The compressed-block format behind ZeCompress and ZeUncompress, with the
// zlib calls passed in so that tests can drive the result paths zlib itself
// never takes on valid input (out of memory, unknown results).
#ifndef CORE_TEXT_ZECOMPRESSION_H
#define CORE_TEXT_ZECOMPRESSION_H

#include "CZeByteArray.h"

namespace ZeText {

// Same shapes as zlib's compress2 and uncompress.
using CompressFunction = int (*)(unsigned char* dest, unsigned long* destLen,
    const unsigned char* source, unsigned long sourceLen, int level);
using UncompressFunction = int (*)(unsigned char* dest, unsigned long* destLen,
    const unsigned char* source, unsigned long sourceLen);

// Largest output size ZeUncompress works with (the byte-array limit).
constexpr unsigned long kMaxUncompressedSize = 0x7fffffe6ul;

// Results other than OK, BUF_ERROR, MEM_ERROR and DATA_ERROR make the
// decompressor call zlib again with the same arguments. A transient condition
// may clear that way, a deterministic one never does, so after this many such
// results in a row the data is given up as corrupted.
constexpr int kUnknownResultRetries = 8;

CZeByteArray compressWith(
    CompressFunction compress, const unsigned char* data, int nbytes, int compressionLevel);
CZeByteArray uncompressWith(UncompressFunction uncompress, const unsigned char* data, int nbytes);

} // namespace ZeText

#endif
