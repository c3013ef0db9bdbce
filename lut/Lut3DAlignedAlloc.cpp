// Alone in this file on purpose: see Lut3DMemory.h.
#include <malloc.h>

#include "lut/Lut3DMemory.h"

void* Lut3DAlignedAlloc(size_t bytes)
{
    return memalign(kLut3DAlignment, bytes == 0 ? 1 : bytes);
}
