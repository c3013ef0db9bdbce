/*
 * The loader's allocation point, replaced at link time in the fault-injection
 * program: FailingAllocation.cpp defines Lut3DAlignedAlloc itself, so the
 * library's own definition (alone in its object file) is never linked in.
 *
 *   FailingAllocation failing(2);   // the third allocation from now fails, once
 *   unsigned long n = allocationsOf([&] { ... });
 */
#ifndef TESTS_LUT_FAILINGALLOCATION_H
#define TESTS_LUT_FAILINGALLOCATION_H

// Allocations asked for since the program started, failed ones included.
unsigned long allocationCount();

// Arms the failure of the allocation after `index` successful ones for its
// lifetime; disarmed whatever happens.
struct FailingAllocation {
    explicit FailingAllocation(unsigned long index);
    ~FailingAllocation();
};

// Allocations made by one call of f.
template <typename F>
unsigned long allocationsOf(F f)
{
    const unsigned long before = allocationCount();
    f();
    return allocationCount() - before;
}

#endif
