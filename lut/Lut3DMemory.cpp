#include "lut/Lut3DMemory.h"

#include <cstdlib>

void Lut3DAlignedFree(void* block)
{
    std::free(block);
}
