/*
 * CZeThreadStorage - one pointer per thread for one storage variable.
 *
 *   static void freeSeed(void* p) { delete static_cast<uint32_t*>(p); }
 *   static CZeThreadStorage seedStorage(freeSeed);
 *
 *   void** slot = seedStorage.get();              // null until this thread sets one
 *   if (!slot)
 *       slot = seedStorage.set(new uint32_t(42)); // freeSeed runs when the thread ends
 *
 * A value is destroyed with the storage's function when its thread ends or
 * when set() replaces it. Values still held when the storage itself is
 * destroyed are not destroyed; their thread reports them when it ends. Ids of
 * destroyed storages are reused.
 */
#ifndef CZETHREADSTORAGE_H
#define CZETHREADSTORAGE_H

#include <vector>

#include "ZeGlobal.h"

// One thread's value for one storage; defined inside the library.
struct CZeStorageSlot;

class ZE_EXPORT CZeThreadStorage {
public:
    explicit CZeThreadStorage(void (*destructor)(void*));
    ~CZeThreadStorage();

    // The calling thread's slot when it holds a value, else null.
    void** get() const;
    // Destroys the calling thread's previous value (never set the same
    // pointer twice), stores p and returns the slot.
    void** set(void* p);

    // Index of this storage's slot in every thread; -1 when created after
    // process exit began.
    int id() const { return m_id; }

    // Destroys one thread's values, highest id first; run when a thread ends.
    static void finish(std::vector<CZeStorageSlot>& tls);

private:
    int m_id;

    CZeThreadStorage(const CZeThreadStorage&) = delete;
    CZeThreadStorage& operator=(const CZeThreadStorage&) = delete;
};

#endif // CZETHREADSTORAGE_H
