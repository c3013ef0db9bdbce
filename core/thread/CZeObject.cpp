/*
 * Objects, posted events, deferred deletes and timers.
 *
 * Lock order: a thread's queue mutex may be taken before its thread mutex
 * (never the other way round); moveToThread takes two queue mutexes, the one
 * at the lower address first. Events are delivered and deleted with no lock
 * held.
 */
#include "CZeObject.h"

#include <algorithm>
#include <functional>
#include <new>

#include "CZeThread.h"
#include "core/log/CZeMessageLogger.h"
#include "core/thread/CZeThreadData.h"
#include "core/thread/CZeTimerIdAllocator.h"
#include "core/thread/CZeTimerInfoList.h"

namespace {

void releaseTimerId(int id)
{
    if (CZeTimerIdAllocator* allocator = CZeTimerIdAllocator::instance())
        allocator->releaseTimerId(id);
}

// Events taken out of a queue under its lock and deleted after unlocking:
// room for 256 on the stack, doubling on the heap beyond.
class TakenEvents {
public:
    ~TakenEvents()
    {
        for (size_t i = 0; i < m_size; ++i)
            delete m_events[i];
        if (m_events != m_local)
            delete[] m_events;
    }
    // False when no room could be made; the event then stays queued.
    bool add(CZeEvent* e)
    {
        if (m_size == m_capacity) {
            CZeEvent** grown = new (std::nothrow) CZeEvent*[m_capacity * 2];
            if (!grown)
                return false;
            std::copy(m_events, m_events + m_size, grown);
            if (m_events != m_local)
                delete[] m_events;
            m_events = grown;
            m_capacity *= 2;
        }
        m_events[m_size++] = e;
        return true;
    }

private:
    CZeEvent* m_local[256];
    CZeEvent** m_events = m_local;
    size_t m_size = 0;
    size_t m_capacity = 256;
};

} // namespace

// ---- CZeEvent --------------------------------------------------------------

CZeEvent::CZeEvent(int type) : m_type(static_cast<uint16_t>(type)), m_flags(0) {}

CZeEvent::~CZeEvent()
{
    if (!(m_flags & PostedFlag))
        return;
    // Only a misuse destroys an event that is still queued (the queue owns
    // it). Take its entry out of the calling thread's queue so that nothing
    // delivers or deletes it later.
    CZeThreadData* data = CZeThreadData::current(false);
    if (!data)
        return;
    std::lock_guard<std::mutex> lock(data->mutex);
    for (CZePostEvent& pe : data->postedEvents) {
        if (pe.event == this) {
            --CZeObjectPrivate::get(pe.receiver)->postedEvents;
            m_flags &= static_cast<uint16_t>(~PostedFlag);
            pe.event = nullptr;
            break;
        }
    }
}

void CZeEvent::setRepost(bool on)
{
    if (on)
        m_flags |= RepostFlag;
    else
        m_flags &= static_cast<uint16_t>(~RepostFlag);
}

// ---- CZeObjectPrivate ------------------------------------------------------

CZeObjectPrivate::~CZeObjectPrivate()
{
    CZeThreadData* data = threadData.load();
    if (extraData && !extraData->runningTimers.empty()) {
        if (data != CZeThreadData::current(true))
            ZE_LOGGER.warning("CZeObject::~CZeObject: Timers cannot be stopped from another thread");
        else
            releaseTimers();
    }
    CZeObject::removePostedEvents(q, 0);
    if (data)
        data->deref();
    delete extraData;
}

CZeObjectExtraData* CZeObjectPrivate::ensureExtraData()
{
    if (!extraData)
        extraData = new CZeObjectExtraData;
    return extraData;
}

void CZeObjectPrivate::releaseTimers()
{
    if (!extraData)
        return;
    if (CZeThreadData* data = threadData.load())
        data->timerList->unregisterTimers(q);
    for (const CZeRunningTimer& t : extraData->runningTimers)
        releaseTimerId(t.id);
    extraData->runningTimers.clear();
}

CZeThreadData* CZeObjectPrivate::lockQueue(const CZeObject* object)
{
    CZeObjectPrivate* d = get(object);
    CZeThreadData* data = d->threadData.load();
    while (data) {
        data->mutex.lock();
        CZeThreadData* now = d->threadData.load();
        if (now == data)
            return data;
        data->mutex.unlock(); // moved meanwhile: follow it
        data = now;
    }
    return nullptr;
}

void CZeObjectPrivate::sendPostedEvents(CZeObject* receiver, int eventType, CZeThreadData* data,
                                        bool* outReposted)
{
    if (!data)
        return;
    if (receiver && get(receiver)->threadData.load() != data) {
        ZE_LOGGER.warning(
            "CZeObject::sendPostedEvents: Cannot send posted events for objects in another thread");
        return;
    }
    const bool generalFlush = !receiver && !eventType;

    std::unique_lock<std::mutex> lock(data->mutex);
    std::deque<CZePostEvent>& queue = data->postedEvents;
    ++data->recursion;
    if (queue.empty() || (receiver && get(receiver)->postedEvents == 0)) {
        --data->recursion;
        return;
    }

    size_t i = 0;
    size_t sizeAtEntry = queue.size();
    uint64_t shift = data->queueShift;
    // A nested general flush erases entries from the front while this one is
    // delivering; move the walk back by as many. False when the entry at the
    // walk's position was among them.
    auto followShift = [&]() -> bool {
        const uint64_t erased = data->queueShift - shift;
        shift = data->queueShift;
        const bool kept = erased <= i;
        i = kept ? i - static_cast<size_t>(erased) : 0;
        sizeAtEntry = sizeAtEntry > erased ? sizeAtEntry - static_cast<size_t>(erased) : 0;
        return kept;
    };

    while (i < sizeAtEntry && i < queue.size()) {
        const CZePostEvent pe = queue[i];
        if (!pe.event || (receiver && pe.receiver != receiver)
            || (eventType && pe.event->type() != eventType)) {
            ++i;
            continue;
        }

        if (pe.event->type() == CZeEvent::DeferredDelete) {
            // Due only once the delivery level it was posted from has been
            // left, or when deferred deletes are asked for at the same level.
            const int level = static_cast<CZeDeferredDeleteEvent*>(pe.event)->loopLevel();
            const bool due = level > data->loopLevel || (level == 0 && data->loopLevel > 0)
                || (eventType == CZeEvent::DeferredDelete && level == data->loopLevel);
            if (!due) {
                if (generalFlush) {
                    queue.push_back(pe);
                    queue[i].event = nullptr;
                }
                ++i;
                continue;
            }
        }

        pe.event->m_flags &= static_cast<uint16_t>(~CZeEvent::PostedFlag);
        --get(pe.receiver)->postedEvents;
        queue[i].event = nullptr;
        lock.unlock();

        CZeObject::notify(pe.receiver, pe.event);

        if (generalFlush && pe.event->repost()) {
            lock.lock();
            const bool slotKept = followShift();
            pe.event->m_flags = CZeEvent::PostedFlag;
            ++get(pe.receiver)->postedEvents;
            if (slotKept) {
                queue[i] = pe;
            } else {
                queue.push_back(pe); // its slot was erased by a nested flush
            }
            if (outReposted)
                *outReposted = true;
            break; // the reposted entry is not counted as processed
        }
        delete pe.event;
        lock.lock();
        if (followShift())
            ++i; // otherwise the walk's next entry is now the front one
    }

    --data->recursion;
    if (generalFlush) {
        // Erase the processed front entries; all of them have been nulled.
        size_t n = 0;
        while (n < i && n < queue.size() && !queue[n].event)
            ++n;
        queue.erase(queue.begin(), queue.begin() + static_cast<std::ptrdiff_t>(n));
        data->queueShift += n;
    }
}

// ---- CZeObject -------------------------------------------------------------

CZeObject::CZeObject() : CZeObject(*new CZeObjectPrivate) {}

CZeObject::CZeObject(CZeObjectPrivate& dd) : d_ptr(&dd)
{
    dd.q = this;
    CZeThreadData* data = CZeThreadData::current(true);
    if (data)
        data->ref();
    dd.threadData.store(data);
}

CZeObject::~CZeObject()
{
    d_ptr->flags |= CZeObjectPrivate::WasDeleted;
    delete d_ptr;
    d_ptr = nullptr;
}

CZeThread* CZeObject::thread() const
{
    CZeThreadData* data = d_ptr->threadData.load();
    return data ? data->thread.load() : nullptr;
}

CZeString CZeObject::objectName() const
{
    return d_ptr->extraData ? d_ptr->extraData->objectName : CZeString();
}

void CZeObject::setObjectName(const CZeString& name)
{
    CZeObjectExtraData* extra = d_ptr->ensureExtraData();
    if (extra->objectName != name)
        extra->objectName = name;
}

bool CZeObject::event(CZeEvent* e)
{
    switch (e->type()) {
    case CZeEvent::DeferredDelete:
        delete this;
        return true;
    case CZeEvent::ThreadChange:
        if (d_ptr->extraData && !d_ptr->extraData->runningTimers.empty()) {
            ZE_LOGGER.warning("Stop all object's timers while moving object to another thread!");
            d_ptr->releaseTimers();
        }
        return true;
    case CZeEvent::Timer:
        timerEvent(static_cast<CZeTimerEvent*>(e));
        return true;
    default:
        if (e->type() >= CZeEvent::User) {
            customEvent(e);
            return true;
        }
        return false;
    }
}

void CZeObject::timerEvent(CZeTimerEvent*) {}

void CZeObject::customEvent(CZeEvent*) {}

void CZeObject::deleteLater()
{
    postEvent(this, new CZeDeferredDeleteEvent);
}

bool CZeObject::notify(CZeObject* receiver, CZeEvent* event)
{
    if (!receiver) {
        ZE_LOGGER.warning("CZeObject::notify: Unexpected null receiver");
        return true;
    }
    // The receiver may delete itself while handling the event (and with it
    // the last reference to its data), so the data is held meanwhile.
    CZeThreadData* data = receiver->d_ptr->threadData.load();
    if (data) {
        data->ref();
        ++data->loopLevel;
    }
    const bool result = receiver->event(event);
    if (data) {
        --data->loopLevel;
        data->deref();
    }
    return result;
}

void CZeObject::postEvent(CZeObject* receiver, CZeEvent* event)
{
    if (!receiver) {
        ZE_LOGGER.warning("CZeObject::postEvent: Unexpected null receiver");
        delete event;
        return;
    }
    if (!event)
        return;
    CZeThreadData* data = CZeObjectPrivate::lockQueue(receiver);
    if (!data) {
        delete event;
        return;
    }
    CZeObjectPrivate* d = receiver->d_ptr;
    if (event->type() == CZeEvent::DeferredDelete) {
        if (d->flags & CZeObjectPrivate::DeferredDeletePending) {
            data->mutex.unlock();
            delete event; // one deferred delete per object
            return;
        }
        d->flags |= CZeObjectPrivate::DeferredDeletePending;
        if (data == CZeThreadData::current(false))
            static_cast<CZeDeferredDeleteEvent*>(event)->m_loopLevel = data->loopLevel;
    }
    data->postedEvents.push_back(CZePostEvent{receiver, event});
    event->m_flags |= CZeEvent::PostedFlag;
    ++d->postedEvents;
    data->mutex.unlock();
    data->wakeUp();
}

void CZeObject::sendPostedEvents(CZeObject* receiver, int eventType)
{
    CZeObjectPrivate::sendPostedEvents(receiver, eventType, CZeThreadData::current(true), nullptr);
}

void CZeObject::removePostedEvents(CZeObject* receiver, int eventType)
{
    CZeThreadData* data;
    if (receiver) {
        data = CZeObjectPrivate::lockQueue(receiver);
        if (!data)
            return;
        if (receiver->d_ptr->postedEvents == 0) {
            data->mutex.unlock();
            return;
        }
    } else {
        data = CZeThreadData::current(true);
        if (!data)
            return;
        data->mutex.lock();
    }

    // Declared before the lock is released so the events die after it.
    TakenEvents taken;
    {
        std::lock_guard<std::mutex> lock(data->mutex, std::adopt_lock);
        std::deque<CZePostEvent>& queue = data->postedEvents;
        for (CZePostEvent& pe : queue) {
            if ((receiver && pe.receiver != receiver) || !pe.event
                || (eventType && pe.event->type() != eventType))
                continue;
            if (!taken.add(pe.event))
                break;
            --pe.receiver->d_ptr->postedEvents;
            pe.event->m_flags &= static_cast<uint16_t>(~CZeEvent::PostedFlag);
            pe.event = nullptr;
        }
        // While a flush is walking the queue its indices must stay valid.
        if (data->recursion == 0)
            queue.erase(std::remove_if(queue.begin(), queue.end(),
                                       [](const CZePostEvent& pe) { return !pe.event; }),
                        queue.end());
    }
}

void CZeObject::moveToThread(CZeThread* target)
{
    CZeObjectPrivate* d = d_ptr;
    CZeThreadData* old = d->threadData.load();
    if (thread() == target)
        return;

    CZeThreadData* cur = CZeThreadData::current(true);
    CZeThreadData* tgt = target ? CZeThreadPrivate::get(target)->data : nullptr;
    // Only the object's own thread may move it, except that an object in no
    // thread may be pulled into the calling thread.
    if (old != cur && !(cur == tgt && thread() == nullptr)) {
        ZE_LOGGER.warning("CZeObject::moveToThread: Current thread (%p) is not the object's "
                          "thread (%p).\nCannot move to target thread (%p)\n",
                          static_cast<void*>(cur ? cur->thread.load() : nullptr),
                          static_cast<void*>(thread()), static_cast<void*>(target));
        return;
    }

    CZeEvent change(CZeEvent::ThreadChange);
    notify(this, &change);

    if (!tgt)
        tgt = new CZeThreadData(0); // a record bound to no thread
    if (!old || old == tgt) {
        if (!old) {
            tgt->ref();
            d->threadData.store(tgt);
        }
        return;
    }

    // Both queues, lower address first, so that two threads moving objects
    // towards each other cannot deadlock.
    std::mutex* first = &old->mutex;
    std::mutex* second = &tgt->mutex;
    if (std::less<std::mutex*>()(second, first))
        std::swap(first, second);
    std::unique_lock<std::mutex> lock1(*first);
    std::unique_lock<std::mutex> lock2(*second);

    old->ref(); // keeps the old queue alive until both locks are released
    bool moved = false;
    for (CZePostEvent& pe : old->postedEvents) {
        if (pe.receiver == this && pe.event) {
            tgt->postedEvents.push_back(pe);
            pe.event = nullptr;
            moved = true;
        }
    }
    tgt->ref();
    old->deref();
    d->threadData.store(tgt);
    lock2.unlock();
    lock1.unlock();
    old->deref();
    if (moved)
        tgt->wakeUp();
}

int CZeObject::startTimer(int interval)
{
    if (interval < 1) {
        ZE_LOGGER.warning("CZeObject::startTimer: Timers cannot have negative or zero intervals");
        return 0;
    }
    CZeThreadData* data = d_ptr->threadData.load();
    if (!data || data->isAdopted) {
        ZE_LOGGER.warning(
            "CZeObject::startTimer: Timers can only be used with threads started with CZeThread");
        return 0;
    }
    if (data != CZeThreadData::current(true)) {
        ZE_LOGGER.warning("CZeObject::startTimer: Timers cannot be started from another thread");
        return 0;
    }
    CZeTimerIdAllocator* allocator = CZeTimerIdAllocator::instance();
    const int id = allocator ? allocator->allocateTimerId() : 0;
    if (!id)
        return 0;
    data->timerList->registerTimer(id, interval, this);
    d_ptr->ensureExtraData()->runningTimers.push_back(CZeRunningTimer{id});
    return id;
}

void CZeObject::killTimer(int id)
{
    CZeThreadData* data = d_ptr->threadData.load();
    if (data != CZeThreadData::current(true)) {
        ZE_LOGGER.warning("CZeObject::killTimer: Timers cannot be stopped from another thread");
        return;
    }
    if (id == 0 || !d_ptr->extraData)
        return;
    std::vector<CZeRunningTimer>& running = d_ptr->extraData->runningTimers;
    auto it = std::find_if(running.begin(), running.end(),
                           [id](const CZeRunningTimer& t) { return t.id == id; });
    if (it == running.end()) {
        ZE_LOGGER.warning("CZeObject::killTimer(): Error: timer id %d is not valid for object %p "
                          "(%s), timer has not been killed",
                          id, static_cast<void*>(this), objectName().toLocal8Bit().constData());
        return;
    }
    data->timerList->unregisterTimer(id);
    running.erase(it);
    releaseTimerId(id);
}
