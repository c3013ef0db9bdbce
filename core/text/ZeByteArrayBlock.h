// Hands a block built by library code to a CZeByteArray without copying it.
// The block must be an ordinary one (elements behind the header, element size
// 1, alignment of SZeArrayData) holding one reference, with its terminator
// written; the array takes that reference over.
#ifndef CORE_TEXT_ZEBYTEARRAYBLOCK_H
#define CORE_TEXT_ZEBYTEARRAYBLOCK_H

#include "CZeByteArray.h"

class ZeByteArrayBlock {
public:
    static CZeByteArray adopt(SZeArrayData* block) noexcept
    {
        return CZeByteArray(block, CZeByteArray::Adopt());
    }
};

#endif
