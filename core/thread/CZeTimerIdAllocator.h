/*
 * CZeTimerIdAllocator - lock-free allocation of timer ids for the process.
 *
 *   CZeTimerIdAllocator* a = CZeTimerIdAllocator::instance(); // null after exit
 *   int id = a->allocateTimerId();                           // 1, 2, 3, ...
 *   a->releaseTimerId(id);                                   // id is handed out next
 *
 * Free ids form a list threaded through blocks of entries (entry of id = the
 * next free id). The head word `next` holds the first free id in bits 0-23 and
 * a serial in bits 24-30 that changes on every release, so a compare-and-swap
 * based on a stale head fails after an id was taken and given back.
 */
#ifndef CZETIMERIDALLOCATOR_H
#define CZETIMERIDALLOCATOR_H

#include <atomic>
#include <cstdint>

class CZeTimerIdAllocator {
public:
    CZeTimerIdAllocator();
    ~CZeTimerIdAllocator();

    // 0 when every id up to 16777214 is taken or a block cannot be allocated.
    int allocateTimerId();
    void releaseTimerId(int id);

    // The process's allocator, created on first use; null once process exit
    // has destroyed it.
    static CZeTimerIdAllocator* instance();

    static constexpr int kBlockCount = 6;
    static constexpr uint32_t kMaxId = 16777214;

private:
    std::atomic<uint32_t>* entry(uint32_t id);

    std::atomic<std::atomic<uint32_t>*> m_blocks[kBlockCount];
    std::atomic<uint32_t> m_next;

    CZeTimerIdAllocator(const CZeTimerIdAllocator&) = delete;
    CZeTimerIdAllocator& operator=(const CZeTimerIdAllocator&) = delete;
};

#endif // CZETIMERIDALLOCATOR_H
