/*
 * CZeObject - base of objects that belong to one thread, and the events they
 * receive.
 *
 *   class Counter : public CZeObject {
 *   protected:
 *       void timerEvent(CZeTimerEvent* e) override { ++ticks; }
 *       void customEvent(CZeEvent* e) override { ... }
 *   };
 *
 *   Counter* c = new Counter;                      // lives in the creating thread
 *   int id = c->startTimer(100);                   // fires in that thread's event loop
 *   CZeObject::postEvent(c, new CZeEvent(CZeEvent::User + 1)); // from any thread
 *   c->deleteLater();                              // deleted by its own thread later
 *
 * An object's thread delivers its posted events and fires its timers; posting
 * and moving work from any thread, timers only from the object's own thread.
 * A posted event belongs to the queue from postEvent until it is delivered or
 * removed; the queue deletes it.
 */
#ifndef CZEOBJECT_H
#define CZEOBJECT_H

#include <cstdint>

#include "ZeGlobal.h"

class CZeObject;
class CZeObjectPrivate;
class CZeString;
class CZeThread;
class CZeThreadData;

class ZE_EXPORT CZeEvent {
public:
    enum Type { None = 0, Timer = 1, ThreadChange = 2, DeferredDelete = 3, User = 1000 };

    explicit CZeEvent(int type);
    virtual ~CZeEvent();

    int type() const { return m_type; }
    bool isPosted() const { return (m_flags & PostedFlag) != 0; }
    // A general flush that delivers an event with this flag keeps it queued
    // (and stops there), so it is delivered again by the next flush.
    bool repost() const { return (m_flags & RepostFlag) != 0; }
    void setRepost(bool on);

protected:
    enum : uint16_t { PostedFlag = 1, RepostFlag = 2 };

    uint16_t m_type;
    uint16_t m_flags;

private:
    friend class CZeObject;
    friend class CZeObjectPrivate;
    friend class CZeThreadData;

    CZeEvent(const CZeEvent&) = delete;
    CZeEvent& operator=(const CZeEvent&) = delete;
};

class ZE_EXPORT CZeTimerEvent : public CZeEvent {
public:
    explicit CZeTimerEvent(int timerId) : CZeEvent(Timer), m_id(timerId) {}
    int timerId() const { return m_id; }

protected:
    int32_t m_id;
};

class ZE_EXPORT CZeDeferredDeleteEvent : public CZeEvent {
public:
    CZeDeferredDeleteEvent() : CZeEvent(DeferredDelete), m_loopLevel(0) {}
    // The receiver thread's delivery level when posted from that thread, else 0.
    int loopLevel() const { return m_loopLevel; }

protected:
    friend class CZeObject;
    int32_t m_loopLevel;
};

class ZE_EXPORT CZeObject {
public:
    CZeObject();
    virtual ~CZeObject();

    // Timer -> timerEvent, User and above -> customEvent, DeferredDelete ->
    // delete this, ThreadChange -> stop every timer. False for other types.
    virtual bool event(CZeEvent* e);

    // The thread the object belongs to; null once that thread object is gone.
    CZeThread* thread() const;

    // Empty unless set. A CZeThread's name is given to the system thread
    // when it starts (the system keeps the first 15 bytes).
    CZeString objectName() const;
    void setObjectName(const CZeString& name);

    // Called from the object's own thread. Timers are stopped, not carried;
    // events already posted to the object follow it to the target's queue. A
    // null target leaves the object in no thread.
    void moveToThread(CZeThread* target);

    // Repeating timer of interval milliseconds, fired by the object's thread's
    // event loop. Returns its id, or 0 when refused.
    int startTimer(int interval);
    void killTimer(int id);

    // Posts a deferred delete to the object itself (one at most is kept).
    void deleteLater();

    // Delivers synchronously on the calling thread. A null receiver is
    // reported and answered with true.
    static bool notify(CZeObject* receiver, CZeEvent* event);
    // Queues the event for the receiver's thread and wakes it; takes the
    // event in all cases (it is deleted when refused).
    static void postEvent(CZeObject* receiver, CZeEvent* event);
    // Delivers the calling thread's posted events: all of them, or those of
    // one receiver (which must live in this thread) and/or one type.
    static void sendPostedEvents(CZeObject* receiver = nullptr, int eventType = 0);
    // Removes and deletes posted events without delivering them: those of one
    // receiver (any thread), or all of the calling thread's; type 0 is any.
    static void removePostedEvents(CZeObject* receiver, int eventType = 0);

protected:
    explicit CZeObject(CZeObjectPrivate& dd);

    virtual void timerEvent(CZeTimerEvent* e);
    virtual void customEvent(CZeEvent* e);

    CZeObjectPrivate* d_ptr;

private:
    friend class CZeObjectPrivate;

    CZeObject(const CZeObject&) = delete;
    CZeObject& operator=(const CZeObject&) = delete;
};

#endif // CZEOBJECT_H
