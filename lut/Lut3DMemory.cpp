#include "lut/Lut3DMemory.h"

#include <cstdlib>
#include <malloc.h>

void* Lut3DAlignedAlloc(size_t bytes)
{
    return memalign(kLut3DAlignment, bytes == 0 ? 1 : bytes);
}

void Lut3DAlignedFree(void* block)
{
    std::free(block);
}
