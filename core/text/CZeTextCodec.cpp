// Encoding names and the stateful decoder. The UTF-8 rules are those of the
// string decoder in ZeTextConvert; this file only carries what one input
// leaves unfinished over to the next.
#include "CZeTextCodec.h"

#include <cstring>
#include <new>

#include "core/text/ZeTextWarning.h"
#include "core/text/ZeLatin1Case.h"
#include "core/text/ZeTextConvert.h"

namespace {

constexpr int kMibLatin1 = 4;
constexpr int kMibUtf8 = 106;

struct NamedMib {
    const char* name;
    int mib;
};

const NamedMib kNames[] = {
    { "utf-8", kMibUtf8 },
    { "iso-8859-1", kMibLatin1 },
    { "iso8859-1", kMibLatin1 },
    { "cp819", kMibLatin1 },
    { "ibm819", kMibLatin1 },
    { "iso-ir-100", kMibLatin1 },
    { "csisolatin1", kMibLatin1 },
};

} // namespace

int CZeTextCodec::mibForName(const CZeByteArray& name)
{
    const int n = name.size();
    for (const NamedMib& entry : kNames) {
        if (std::strlen(entry.name) != size_t(n))
            continue;
        int i = 0;
        while (i < n
            && zeLatin1Lowercased[static_cast<unsigned char>(name.at(i))]
                == static_cast<unsigned char>(entry.name[i]))
            ++i;
        if (i == n)
            return entry.mib;
    }
    return 0;
}

CZeTextDecoder* CZeTextCodec::createDecoder(const CZeByteArray& name, int flags)
{
    const int mib = mibForName(name);
    if (mib == 0)
        return nullptr;
    return new (std::nothrow) CZeTextDecoder(mib, flags);
}

CZeTextDecoder::CZeTextDecoder(int mib, int flags) noexcept
    : m_mib(mib)
    , m_flags(static_cast<unsigned int>(flags))
    , m_remainingChars(0)
    , m_invalidChars(0)
    , m_stateData { 0, 0, 0, 0 }
{
}

CZeString CZeTextDecoder::toUnicode(const char* bytes, int length)
{
    if (!bytes || length < 0)
        length = 0;
    if (m_mib == kMibLatin1)
        return CZeString::fromLatin1(bytes ? bytes : "", length);
    if (m_mib == kMibUtf8)
        return utf8ToUnicode(reinterpret_cast<const unsigned char*>(bytes), length);
    ZE_TEXT_WARNING_HERE("Unsupported mib!");
    return CZeString();
}

// Decoding a chunk in three steps:
//  1. the bytes kept from the last call, completed with up to 4 - kept bytes
//     of this input, are decoded in a small buffer (when they still do not
//     form a whole sequence, this input was too short and everything is kept);
//  2. the rest of the input is decoded in place, stopping in front of a
//     sequence that its end cuts off;
//  3. that cut-off tail is kept for the next call.
// The byte-order mark can only be recognised once its three bytes are
// decoded, so it is dropped from the output: the first unit of the stream,
// when it is U+FEFF.
CZeString CZeTextDecoder::utf8ToUnicode(const unsigned char* bytes, int length)
{
    const unsigned short replacement
        = (m_flags & CZeTextCodec::ConvertInvalidToNull) ? 0x0000 : 0xfffd;
    // Every kept byte may come out as a replacement of its own, and a
    // finished four-byte sequence gives two units for its last byte.
    const long long room = static_cast<long long>(length) + m_remainingChars + 1;
    if (room > 0x7ffffffe)
        return CZeString();
    CZeString result(static_cast<int>(room), Ze::Uninitialized);
    if (result.size() != room)
        return CZeString();
    unsigned short* out = reinterpret_cast<unsigned short*>(result.data());
    int written = 0;
    int position = 0;

    if (m_remainingChars > 0) {
        unsigned char head[4];
        const int kept = m_remainingChars;
        int taken = 4 - kept;
        if (taken > length)
            taken = length;
        std::memcpy(head, m_stateData, size_t(kept));
        if (taken > 0)
            std::memcpy(head + kept, bytes, size_t(taken));
        ZeText::Utf8Decoding how;
        how.replacement = replacement;
        how.skipByteOrderMark = false;
        how.keepIncompleteTail = true;
        written += ZeText::utf8ToUtf16(head, kept + taken, out, how, ZeText::PathUnit);
        m_invalidChars += how.invalid;
        if (how.consumed < kept) {
            // Still unfinished: this input was shorter than the sequence.
            std::memcpy(m_stateData, head + how.consumed, size_t(kept + taken - how.consumed));
            m_remainingChars = kept + taken - how.consumed;
            position = length;
        } else {
            m_remainingChars = 0;
            position = how.consumed - kept;
        }
    }

    if (position < length) {
        ZeText::Utf8Decoding how;
        how.replacement = replacement;
        how.skipByteOrderMark = false;
        how.keepIncompleteTail = true;
        written += ZeText::utf8ToUtf16(
            bytes + position, length - position, out + written, how, ZeText::bestPath());
        m_invalidChars += how.invalid;
        const int tail = length - position - how.consumed;
        std::memcpy(m_stateData, bytes + position + how.consumed, size_t(tail));
        m_remainingChars = tail;
    }

    if (!(m_flags & CZeTextCodec::IgnoreHeader) && written > 0) {
        if (out[0] == 0xfeff) {
            std::memmove(out, out + 1, size_t(written - 1) * sizeof(unsigned short));
            --written;
        }
        m_flags |= CZeTextCodec::IgnoreHeader;
    }
    result.resize(written);
    return result;
}
