// ZeCompress and ZeUncompress: a 4-byte big-endian length followed by the
// zlib stream that compress2 writes.
#include "core/text/ZeCompression.h"

#include <zlib.h>

#include "core/text/ZeTextWarning.h"
#include "core/text/ZeByteArrayBlock.h"

namespace ZeText {

namespace {

constexpr unsigned long kMaxByteArraySize = 0x7ffffffeul;

void warn(const char* text)
{
    ZeTextWarning(text);
}

} // namespace

CZeByteArray compressWith(
    CompressFunction compress, const unsigned char* data, int nbytes, int compressionLevel)
{
    if (nbytes == 0)
        return CZeByteArray(4, '\0');
    if (!data) {
        warn("ZeCompress: Data is null");
        return CZeByteArray();
    }
    if (nbytes < 0)
        return CZeByteArray();
    if (compressionLevel < -1 || compressionLevel > 9)
        compressionLevel = -1;

    // Room for any input zlib cannot shrink; a retry doubles it.
    const unsigned long sourceLength = static_cast<unsigned long>(nbytes);
    unsigned long len = sourceLength + sourceLength / 100 + 13;
    CZeByteArray result;
    bool headerCleared = false;
    for (;;) {
        const int wanted = len > kMaxByteArraySize - 4 ? -1 : static_cast<int>(len + 4);
        if (wanted > 0)
            result.resize(wanted);
        if (wanted < 0 || result.size() != wanted) {
            // No array can hold the output: the same outcome as zlib running dry.
            warn("ZeCompress: Z_MEM_ERROR: Not enough memory");
            result.resize(0);
            return result;
        }
        unsigned char* out = reinterpret_cast<unsigned char*>(result.data());
        if (!headerCleared) {
            // Only a successful call stores the length; until then the
            // header reads 0 rather than whatever the heap held.
            out[0] = out[1] = out[2] = out[3] = 0;
            headerCleared = true;
        }
        unsigned long written = len;
        const int status = compress(out + 4, &written, data, sourceLength, compressionLevel);
        switch (status) {
        case Z_BUF_ERROR:
            len *= 2;
            continue;
        case Z_MEM_ERROR:
            warn("ZeCompress: Z_MEM_ERROR: Not enough memory");
            result.resize(0);
            return result;
        case Z_OK:
            result.resize(static_cast<int>((written < len ? written : len) + 4));
            out = reinterpret_cast<unsigned char*>(result.data());
            out[0] = static_cast<unsigned char>((sourceLength >> 24) & 0xff);
            out[1] = static_cast<unsigned char>((sourceLength >> 16) & 0xff);
            out[2] = static_cast<unsigned char>((sourceLength >> 8) & 0xff);
            out[3] = static_cast<unsigned char>(sourceLength & 0xff);
            return result;
        default:
            // zlib reports nothing else for a valid level; whatever it is,
            // the buffer goes back as it stands, length not stored.
            return result;
        }
    }
}

CZeByteArray uncompressWith(UncompressFunction uncompress, const unsigned char* data, int nbytes)
{
    if (!data) {
        warn("ZeUncompress: Data is null");
        return CZeByteArray();
    }
    if (nbytes <= 4) {
        if (nbytes == 4 && data[0] == 0 && data[1] == 0 && data[2] == 0 && data[3] == 0)
            return CZeByteArray(); // the compressed form of nothing
        warn("ZeUncompress: Input data is corrupted");
        return CZeByteArray();
    }

    const unsigned long expected = (static_cast<unsigned long>(data[0]) << 24)
        | (static_cast<unsigned long>(data[1]) << 16) | (static_cast<unsigned long>(data[2]) << 8)
        | static_cast<unsigned long>(data[3]);
    unsigned long len = expected ? expected : 1;
    if (len > kMaxUncompressedSize) {
        warn("ZeUncompress: Input data is corrupted");
        return CZeByteArray();
    }

    // `len` output bytes plus the terminator. (With a stored length of 0 the
    // one byte of room still needs a terminator behind it.)
    SZeArrayData* block = SZeArrayData::allocate(1, alignof(SZeArrayData), len + 1);
    if (!block) {
        warn("ZeUncompress: Z_MEM_ERROR: Not enough memory");
        return CZeByteArray();
    }
    block->size = static_cast<int>(expected < len ? expected : len);

    const unsigned char* const source = data + 4;
    const unsigned long sourceLength = static_cast<unsigned long>(nbytes - 4);
    int unknownInARow = 0;
    for (;;) {
        unsigned long written = len;
        const int status = uncompress(
            static_cast<unsigned char*>(block->data()), &written, source, sourceLength);
        switch (status) {
        case Z_OK: {
            if (written > len)
                written = len;
            block->size = static_cast<int>(written);
            static_cast<unsigned char*>(block->data())[written] = 0;
            return ZeByteArrayBlock::adopt(block);
        }
        case Z_BUF_ERROR: {
            // The stored length was only an estimate: double the room.
            len *= 2;
            SZeArrayData* grown = len > kMaxUncompressedSize
                ? nullptr
                : SZeArrayData::reallocateUnaligned(block, 1, len + 1);
            if (!grown) {
                warn("ZeUncompress: Input data is corrupted");
                SZeArrayData::deallocate(block, 1, alignof(SZeArrayData));
                return CZeByteArray();
            }
            block = grown;
            unknownInARow = 0;
            continue;
        }
        case Z_MEM_ERROR:
            warn("ZeUncompress: Z_MEM_ERROR: Not enough memory");
            SZeArrayData::deallocate(block, 1, alignof(SZeArrayData));
            return CZeByteArray();
        case Z_DATA_ERROR:
            warn("ZeUncompress: Z_DATA_ERROR: Input data is corrupted");
            SZeArrayData::deallocate(block, 1, alignof(SZeArrayData));
            return CZeByteArray();
        default:
            // Any other result: call again with the same arguments, as long
            // as that stays plausible (see kUnknownResultRetries).
            if (++unknownInARow > kUnknownResultRetries) {
                warn("ZeUncompress: Input data is corrupted");
                SZeArrayData::deallocate(block, 1, alignof(SZeArrayData));
                return CZeByteArray();
            }
            continue;
        }
    }
}

} // namespace ZeText

CZeByteArray ZeCompress(const unsigned char* data, int nbytes, int compressionLevel)
{
    return ZeText::compressWith(compress2, data, nbytes, compressionLevel);
}

CZeByteArray ZeUncompress(const unsigned char* data, int nbytes)
{
    return ZeText::uncompressWith(uncompress, data, nbytes);
}
