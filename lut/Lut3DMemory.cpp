#include "lut/Lut3DMemory.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>

namespace {

// Successful allocations left before the injected failure; -1: none planned.
std::atomic<long> g_allocationsBeforeFailure{-1};

bool injectedFailure()
{
    long left = g_allocationsBeforeFailure.load(std::memory_order_relaxed);
    while (left >= 0) {
        if (g_allocationsBeforeFailure.compare_exchange_weak(left, left - 1,
                                                             std::memory_order_relaxed))
            return left == 0;
    }
    return false;
}

} // namespace

void* Lut3DAlignedAlloc(size_t bytes)
{
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
    g_allocationsBeforeFailure.store(count < 0 ? -1 : count, std::memory_order_relaxed);
}
