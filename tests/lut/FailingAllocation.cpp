#include "FailingAllocation.h"

#include <malloc.h>

#include <atomic>

#include "lut/Lut3DMemory.h"

namespace {

// Successful allocations left before the injected failure; -1: none armed.
std::atomic<long> g_beforeFailure{-1};
std::atomic<unsigned long> g_asked{0};

} // namespace

void* Lut3DAlignedAlloc(size_t bytes)
{
    ++g_asked;
    long left = g_beforeFailure.load();
    while (left >= 0 && !g_beforeFailure.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 0)
        return nullptr;
    return memalign(kLut3DAlignment, bytes == 0 ? 1 : bytes);
}

unsigned long allocationCount()
{
    return g_asked.load();
}

FailingAllocation::FailingAllocation(unsigned long index)
{
    g_beforeFailure = static_cast<long>(index);
}

FailingAllocation::~FailingAllocation()
{
    g_beforeFailure = -1;
}
