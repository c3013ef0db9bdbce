#include "core/thread/CZeTimerIdAllocator.h"

#include <cstdlib>
#include <mutex>
#include <new>

namespace {

constexpr uint32_t kIndexMask = 0x00FFFFFF;
constexpr uint32_t kSerialMask = 0x7F000000;
constexpr uint32_t kSerialStep = 0x01000000;

// Block k covers ids kBlockStart[k] .. kBlockStart[k] + kBlockSize[k] - 1; the
// last block stops at 16777214 so that every id fits the 24 index bits with
// one value (16777215) left to mean "none free".
constexpr uint32_t kBlockStart[CZeTimerIdAllocator::kBlockCount] = {0, 64, 256, 4096, 65536,
                                                                    1048576};
constexpr uint32_t kBlockSize[CZeTimerIdAllocator::kBlockCount] = {64,    192,    3840,
                                                                   61440, 983040, 15728639};

int blockOf(uint32_t id)
{
    for (int k = 0; k < CZeTimerIdAllocator::kBlockCount; ++k)
        if (id < kBlockStart[k] + kBlockSize[k])
            return k;
    return -1;
}

// The process's allocator: null before first use, the value 1 once destroyed.
std::atomic<uintptr_t> g_instance{0};
std::once_flag g_instanceOnce;

void destroyInstance()
{
    const uintptr_t old = g_instance.exchange(1, std::memory_order_acq_rel);
    if (old > 1)
        delete reinterpret_cast<CZeTimerIdAllocator*>(old);
}

} // namespace

CZeTimerIdAllocator::CZeTimerIdAllocator() : m_next(1)
{
    for (auto& block : m_blocks)
        block.store(nullptr, std::memory_order_relaxed);
}

CZeTimerIdAllocator::~CZeTimerIdAllocator()
{
    for (auto& block : m_blocks)
        delete[] block.load(std::memory_order_acquire);
}

std::atomic<uint32_t>* CZeTimerIdAllocator::entry(uint32_t id)
{
    const int k = blockOf(id);
    if (k < 0)
        return nullptr;
    std::atomic<uint32_t>* block = m_blocks[k].load(std::memory_order_acquire);
    if (!block) {
        std::atomic<uint32_t>* fresh = new (std::nothrow) std::atomic<uint32_t>[kBlockSize[k]];
        if (!fresh)
            return nullptr;
        // Until released, every id's successor in the free list is id + 1.
        for (uint32_t i = 0; i < kBlockSize[k]; ++i)
            fresh[i].store(kBlockStart[k] + i + 1, std::memory_order_relaxed);
        if (m_blocks[k].compare_exchange_strong(block, fresh, std::memory_order_acq_rel,
                                                std::memory_order_acquire))
            block = fresh;
        else
            delete[] fresh; // another thread installed the block first
    }
    return block + (id - kBlockStart[k]);
}

int CZeTimerIdAllocator::allocateTimerId()
{
    uint32_t head = m_next.load(std::memory_order_acquire);
    for (;;) {
        const uint32_t id = head & kIndexMask;
        if (id == 0 || id > kMaxId)
            return 0;
        std::atomic<uint32_t>* e = entry(id);
        if (!e)
            return 0;
        const uint32_t following = e->load(std::memory_order_relaxed) & kIndexMask;
        if (m_next.compare_exchange_weak(head, (head & kSerialMask) | following,
                                         std::memory_order_acq_rel, std::memory_order_acquire))
            return static_cast<int>(id);
    }
}

void CZeTimerIdAllocator::releaseTimerId(int id)
{
    if (id <= 0 || static_cast<uint32_t>(id) > kMaxId)
        return;
    std::atomic<uint32_t>* e = entry(static_cast<uint32_t>(id));
    if (!e)
        return;
    uint32_t head = m_next.load(std::memory_order_acquire);
    for (;;) {
        e->store(head & kIndexMask, std::memory_order_relaxed);
        const uint32_t next = static_cast<uint32_t>(id) | ((head + kSerialStep) & kSerialMask);
        if (m_next.compare_exchange_weak(head, next, std::memory_order_acq_rel,
                                         std::memory_order_acquire))
            return;
    }
}

CZeTimerIdAllocator* CZeTimerIdAllocator::instance()
{
    std::call_once(g_instanceOnce, [] {
        CZeTimerIdAllocator* a = new (std::nothrow) CZeTimerIdAllocator;
        uintptr_t expected = 0;
        if (a && g_instance.compare_exchange_strong(expected, reinterpret_cast<uintptr_t>(a)))
            std::atexit(destroyInstance);
        else
            delete a;
    });
    const uintptr_t v = g_instance.load(std::memory_order_acquire);
    return v > 1 ? reinterpret_cast<CZeTimerIdAllocator*>(v) : nullptr;
}
