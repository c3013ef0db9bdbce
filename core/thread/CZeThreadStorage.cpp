/*
 * Per-thread storage: the process-wide destructor table and the per-thread
 * slot vectors kept in CZeThreadData.
 */
#include "CZeThreadStorage.h"

#include <atomic>
#include <mutex>
#include <new>

#include "core/log/CZeMessageLogger.h"
#include "core/thread/CZeThreadData.h"
#include "core/thread/CZeThreadStoragePrivate.h"

namespace {

using Destructor = void (*)(void*);

struct DestructorEntry {
    Destructor function; // null marks a free id
};

struct DestructorTable {
    std::mutex mutex;
    std::vector<DestructorEntry> destructors; // by id
};

// Null before first use, kTableDestroyed after process exit, else the table.
std::atomic<uintptr_t> g_table{0};
constexpr uintptr_t kTableDestroyed = 1;
std::once_flag g_tableCreateOnce;
std::once_flag g_tableDestroyOnce;

DestructorTable* table()
{
    std::call_once(g_tableCreateOnce, [] {
        DestructorTable* t = new (std::nothrow) DestructorTable;
        uintptr_t expected = 0;
        if (!t || !g_table.compare_exchange_strong(expected, reinterpret_cast<uintptr_t>(t)))
            delete t;
    });
    const uintptr_t v = g_table.load(std::memory_order_acquire);
    return v > kTableDestroyed ? reinterpret_cast<DestructorTable*>(v) : nullptr;
}

// Stands in for a null destructor so that the storage's id stays taken.
void keepValue(void*) {}

Destructor destructorOf(DestructorTable* t, size_t id)
{
    std::lock_guard<std::mutex> lock(t->mutex);
    return id < t->destructors.size() ? t->destructors[id].function : nullptr;
}

// Grows the slot vector to cover id; false when that fails.
bool cover(std::vector<CZeStorageSlot>& tls, size_t id)
{
    if (id < tls.size())
        return true;
    try {
        tls.resize(id + 1, CZeStorageSlot{nullptr});
    } catch (...) {
        return false;
    }
    return true;
}

} // namespace

void CZeThreadStorageDestroyTable()
{
    std::call_once(g_tableDestroyOnce, [] {
        const uintptr_t v = g_table.exchange(kTableDestroyed, std::memory_order_acq_rel);
        if (v > kTableDestroyed)
            delete reinterpret_cast<DestructorTable*>(v);
    });
}

CZeThreadStorage::CZeThreadStorage(void (*destructor)(void*)) : m_id(-1)
{
    DestructorTable* t = table();
    if (!t)
        return;
    std::lock_guard<std::mutex> lock(t->mutex);
    std::vector<DestructorEntry>& d = t->destructors;
    size_t id = 0;
    while (id < d.size() && d[id].function)
        ++id;
    try {
        if (id == d.size())
            d.push_back(DestructorEntry{nullptr});
    } catch (...) {
        return;
    }
    d[id].function = destructor ? destructor : keepValue;
    m_id = static_cast<int>(id);
}

CZeThreadStorage::~CZeThreadStorage()
{
    DestructorTable* t = table();
    if (!t || m_id < 0)
        return;
    std::lock_guard<std::mutex> lock(t->mutex);
    if (static_cast<size_t>(m_id) < t->destructors.size())
        t->destructors[static_cast<size_t>(m_id)].function = nullptr;
}

void** CZeThreadStorage::get() const
{
    CZeThreadData* data = CZeThreadData::current(true);
    if (!data) {
        ZE_LOGGER.warning("CZeThreadStorage::get: CZeThreadData is not available!");
        return nullptr;
    }
    if (m_id < 0)
        return nullptr;
    const size_t id = static_cast<size_t>(m_id);
    std::vector<CZeStorageSlot>& tls = data->tls;
    if (id < tls.size())
        return tls[id].value ? &tls[id].value : nullptr;
    cover(tls, id);
    return nullptr;
}

void** CZeThreadStorage::set(void* p)
{
    CZeThreadData* data = CZeThreadData::current(true);
    if (!data) {
        ZE_LOGGER.warning("CZeThreadStorage::set: CZeThreadData is not available!");
        return nullptr;
    }
    if (m_id < 0)
        return nullptr;
    const size_t id = static_cast<size_t>(m_id);
    std::vector<CZeStorageSlot>& tls = data->tls;
    if (!cover(tls, id))
        return nullptr;

    if (tls[id].value) {
        if (DestructorTable* t = table()) {
            const Destructor destructor = destructorOf(t, id);
            void* old = tls[id].value;
            tls[id].value = nullptr;
            // May call set() on other storages and so move the vector.
            if (destructor)
                destructor(old);
        }
    }
    tls[id].value = p;
    return &tls[id].value;
}

void CZeThreadStorage::finish(std::vector<CZeStorageSlot>& tls)
{
    if (!table())
        return;
    while (!tls.empty()) {
        void* value = tls.back().value;
        const size_t id = tls.size() - 1;
        tls.back().value = nullptr;
        tls.pop_back();
        if (!value)
            continue;
        DestructorTable* t = table();
        const Destructor destructor = t ? destructorOf(t, id) : nullptr;
        if (destructor)
            destructor(value); // may set values again; the loop takes them too
        else
            ZE_LOGGER.warning("CZeThreadStorage: Thread exited after CZeThreadStorage %d destroyed",
                              static_cast<int>(id));
    }
    tls.clear();
}
