/*
 * Private part of CZeObject and the posted-event machinery shared with the
 * thread code. Nothing here is exported.
 */
#ifndef CZEOBJECTPRIVATE_H
#define CZEOBJECTPRIVATE_H

#include <atomic>
#include <cstdint>
#include <vector>

#include "CZeObject.h"
#include "CZeString.h"

class CZeThreadData;

// A timer id in an object's list (a type of the library's own, so that the
// list's template code is not exported).
struct CZeRunningTimer {
    int32_t id;
};

struct CZeObjectExtraData {
    std::vector<CZeRunningTimer> runningTimers; // in start order
    CZeString objectName;
};

class CZeObjectPrivate {
public:
    enum : uint32_t { WasDeleted = 1, DeferredDeletePending = 2 };

    CZeObjectPrivate() = default;
    // Stops the object's timers (from its own thread only), drops its posted
    // events and its reference to its thread data.
    virtual ~CZeObjectPrivate();

    static CZeObjectPrivate* get(const CZeObject* object) { return object->d_ptr; }

    CZeObject* q = nullptr;
    uint32_t flags = 0;
    int32_t postedEvents = 0;   // entries in the thread's queue; guarded by its mutex
    CZeObjectExtraData* extraData = nullptr;
    // Changed only by moveToThread with both queue mutexes held, read by
    // posters on any thread.
    std::atomic<CZeThreadData*> threadData{nullptr};

    CZeObjectExtraData* ensureExtraData();
    // Unregisters every running timer and gives the ids back.
    void releaseTimers();

    // The object's thread data with its queue mutex held, following a
    // concurrent move; null (nothing locked) when the object has no data.
    static CZeThreadData* lockQueue(const CZeObject* object);

    // sendPostedEvents on an explicit queue. A general flush (no receiver, no
    // type) sets *outReposted when it put a reposted event back.
    static void sendPostedEvents(CZeObject* receiver, int eventType, CZeThreadData* data,
                                 bool* outReposted);

    static void setEventFlags(CZeEvent* e, uint16_t flags) { e->m_flags = flags; }
    static uint16_t eventFlags(const CZeEvent* e) { return e->m_flags; }
};

#endif // CZEOBJECTPRIVATE_H
