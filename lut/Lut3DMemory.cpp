#include "lut/Lut3DMemory.h"

#include <cstdlib>
#include <malloc.h>

namespace {

// Successful allocations left before the injected failure; -1: none planned.
// Touched with atomic built-ins so that renders on other threads may
// allocate while a test arms the hook.
long g_allocationsBeforeFailure = -1;
unsigned long g_allocationsAsked = 0;

bool injectedFailure()
{
    if (__atomic_load_n(&g_allocationsBeforeFailure, __ATOMIC_RELAXED) < 0)
        return false;
    return __atomic_fetch_sub(&g_allocationsBeforeFailure, 1, __ATOMIC_RELAXED) == 0;
}

} // namespace

void* Lut3DAlignedAlloc(size_t bytes)
{
    __atomic_fetch_add(&g_allocationsAsked, 1, __ATOMIC_RELAXED);
    if (injectedFailure())
        return nullptr;
    return memalign(kLut3DAlignment, bytes == 0 ? 1 : bytes);
}

void Lut3DAlignedFree(void* block)
{
    std::free(block);
}

void Lut3DFailAllocationAfter(long count)
{
    __atomic_store_n(&g_allocationsBeforeFailure, count < 0 ? -1 : count, __ATOMIC_RELAXED);
}

unsigned long Lut3DAllocationCount()
{
    return __atomic_load_n(&g_allocationsAsked, __ATOMIC_RELAXED);
}
