/*
 * CZeTextCodec and CZeTextDecoder - bytes in a named encoding to CZeString.
 *
 *   CZeTextDecoder* decoder = CZeTextCodec::createDecoder("UTF-8", 0);
 *   CZeString text = decoder->toUnicode(chunk1, n1);  // a sequence cut at the
 *   text += decoder->toUnicode(chunk2, n2);           // end of chunk1 is finished here
 *   if (decoder->hasFailure()) ...                    // some input was invalid
 *   delete decoder;
 *
 * Two encodings are known, by their IANA MIB numbers: UTF-8 (106) and
 * ISO-8859-1 (4). Names are matched after lower-casing them with the Latin-1
 * table: "utf-8"; "iso-8859-1", "iso8859-1", "cp819", "ibm819", "iso-ir-100",
 * "csisolatin1". Anything else (also "utf8" or "latin1") is unknown.
 *
 * UTF-8 is decoded by the rules of CZeString::fromUtf8 (one U+FFFD per
 * rejected byte, surrogate pairs above U+FFFF, a byte-order mark dropped at
 * the very start of the stream), except that a sequence cut off by the end of
 * an input is kept and finished by the next call instead of being rejected.
 * A decoder belongs to one thread at a time.
 */
#ifndef CZETEXTCODEC_H
#define CZETEXTCODEC_H

#include "CZeString.h"

class CZeTextDecoder;

class ZE_EXPORT CZeTextCodec {
public:
    // Flags of createDecoder, combined with |.
    enum ConversionFlag : unsigned int {
        DefaultConversion = 0,
        // Do not drop a byte-order mark at the start. The decoder also sets
        // this bit itself once the start of the stream is behind it.
        IgnoreHeader = 0x1,
        // Invalid input decodes to U+0000 instead of U+FFFD.
        ConvertInvalidToNull = 0x80000000u
    };

    // 106 for UTF-8, 4 for ISO-8859-1, 0 for a name that is not known.
    static int mibForName(const CZeByteArray& name);
    // A new decoder for the named encoding, owned by the caller (delete it),
    // or null when the name is not known. Nothing is logged.
    static CZeTextDecoder* createDecoder(const CZeByteArray& name, int flags = 0);
};

class ZE_EXPORT CZeTextDecoder {
public:
    // A decoder for `mib` (4 or 106; others decode nothing, see toUnicode).
    explicit CZeTextDecoder(int mib, int flags = 0) noexcept;

    int mib() const noexcept { return m_mib; }
    // Bytes of an unfinished UTF-8 sequence kept from the last input (0 to 3).
    int remainingChars() const noexcept { return m_remainingChars; }
    // Invalid sequences met so far (each gave one U+FFFD or U+0000).
    int invalidChars() const noexcept { return m_invalidChars; }
    bool hasFailure() const noexcept { return m_invalidChars != 0; }

    // Decodes the next `length` bytes of the stream. ISO-8859-1 widens each
    // byte. For an encoding other than the two known ones the warning
    // "Unsupported mib!" is logged and the result is a null string. A null
    // `bytes` or a negative length counts as no input.
    CZeString toUnicode(const char* bytes, int length);
    CZeString toUnicode(const CZeByteArray& bytes)
    {
        return toUnicode(bytes.constData(), bytes.size());
    }

private:
    int m_mib;
    unsigned int m_flags;
    int m_remainingChars;
    int m_invalidChars;
    unsigned char m_stateData[4];

    CZeString utf8ToUnicode(const unsigned char* bytes, int length);
};

#endif /* CZETEXTCODEC_H */
