/*
 * 64-byte aligned blocks for the effect's large buffers (grid, index table,
 * raw entries, constants block). Every such block is released with
 * Lut3DAlignedFree, never with delete.
 *
 * Lut3DAlignedAlloc is also the one allocation point of the table loader:
 * its records and its level array come from here too, so a test can count
 * the allocations of one load (Lut3DAllocationCount), then make each of
 * them fail in turn (Lut3DFailAllocationAfter) and check that nothing leaks.
 *
 *   Lut3DTable* t = Lut3DNewRecord<Lut3DTable>();   // value-initialised, or null
 *   Lut3DDeleteRecord(t);
 */
#ifndef LUT3DMEMORY_H
#define LUT3DMEMORY_H

#include <cstddef>
#include <new>

constexpr size_t kLut3DAlignment = 64;

// Returns null when the block cannot be had (never throws).
void* Lut3DAlignedAlloc(size_t bytes);
void Lut3DAlignedFree(void* block);

// Test hook: the allocation after `count` more successful ones fails, once;
// a negative count turns the hook off (the default). Not thread-aware beyond
// the counter itself; meant for single-threaded tests.
void Lut3DFailAllocationAfter(long count);

// Test hook: allocations asked of Lut3DAlignedAlloc since the process
// started, failed ones included. The difference across a call is the number
// of allocations that call made.
unsigned long Lut3DAllocationCount();

// A value-initialised record in a block of the allocation point; null when
// the block cannot be had.
template <typename T>
T* Lut3DNewRecord() noexcept
{
    void* block = Lut3DAlignedAlloc(sizeof(T));
    return block ? new (block) T{} : nullptr;
}

template <typename T>
void Lut3DDeleteRecord(T* record) noexcept
{
    if (!record)
        return;
    record->~T();
    Lut3DAlignedFree(record);
}

#endif // LUT3DMEMORY_H
