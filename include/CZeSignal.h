/*
 * CZeSignal - a settable event that threads wait on; CZeSignallingEvent, an
 * event that sets a signal when it is destroyed.
 *
 *   CZeSignal delivered(false, false);                 // automatic reset, not set
 *   CZeObject::postEvent(receiver, new CZeSignallingEvent(CZeEvent::User + 1, &delivered));
 *   delivered.wait(CZeSignal::Infinite);               // until the receiver's thread
 *                                                      // has delivered and deleted it
 *
 * With manual reset a set signal lets every wait through until reset();
 * with automatic reset each set() lets exactly one wait through (the first
 * waiter to run clears it, the others wait on). wait(0) only polls.
 */
#ifndef CZESIGNAL_H
#define CZESIGNAL_H

#include <condition_variable>
#include <mutex>

#include "CZeObject.h"

class ZE_EXPORT CZeSignal {
public:
    // The timeout of wait() that means "no limit".
    static constexpr unsigned long Infinite = ~0ul;

    CZeSignal(bool manualReset, bool initialState);

    // Sets the signal and wakes every waiter; does nothing when already set.
    void set();
    void reset();
    // True when the signal was (or became) set within `timeoutMs` milliseconds
    // (0: poll, Infinite: no limit); with automatic reset it is cleared.
    bool wait(unsigned long timeoutMs);

private:
    bool m_manualReset;
    bool m_signaled;
    std::condition_variable m_condition;
    std::mutex m_mutex;

    CZeSignal(const CZeSignal&) = delete;
    CZeSignal& operator=(const CZeSignal&) = delete;
};

class ZE_EXPORT CZeSignallingEvent : public CZeEvent {
public:
    // `signal` may be null; it must outlive the event or be released first.
    CZeSignallingEvent(int type, CZeSignal* signal);
    // Sets the signal (unless signalNow() already did).
    ~CZeSignallingEvent() override;

    // Sets the signal at once and forgets it: the destructor leaves it alone.
    void signalNow();

protected:
    CZeSignal* m_signal;
};

#endif /* CZESIGNAL_H */
