/*
 * 64-byte aligned blocks for the effect's large buffers (grid, index table,
 * raw entries, level values, constants block) and for its records. Every
 * such block is released with Lut3DAlignedFree, never with delete.
 *
 *   Lut3DTable* t = Lut3DCreateRecord<Lut3DTable>();   // value-initialised, or null
 *   Lut3DDestroyRecord(t);
 *
 * Lut3DAlignedAlloc is the one allocation point of loading and building a
 * table and sits alone in its own source file: a test program that defines
 * it links its own version in place of the library's (from the static form
 * of the library) and can then fail any allocation it likes, while the
 * shipped library pays nothing for that.
 */
#ifndef LUT3DMEMORY_H
#define LUT3DMEMORY_H

#include <cstddef>
#include <new>

constexpr size_t kLut3DAlignment = 64;

// Returns null when the block cannot be had (never throws).
void* Lut3DAlignedAlloc(size_t bytes);
void Lut3DAlignedFree(void* block);

// A value-initialised record in a block of the allocation point; null when
// the block cannot be had.
template <typename T>
T* Lut3DCreateRecord() noexcept
{
    void* block = Lut3DAlignedAlloc(sizeof(T));
    return block ? new (block) T{} : nullptr;
}

template <typename T>
void Lut3DDestroyRecord(T* record) noexcept
{
    if (!record)
        return;
    record->~T();
    Lut3DAlignedFree(record);
}

#endif // LUT3DMEMORY_H
