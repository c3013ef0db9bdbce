// CZeObject: posted events, deferred deletes and moves between threads.
#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <memory>

#include "CZeString.h"
#include "ThreadTestHelpers.h"

namespace {

constexpr int kTypeA = CZeEvent::User + 1;
constexpr int kTypeB = CZeEvent::User + 2;

std::deque<CZePostEvent>& queue()
{
    return CZeThreadData::current(false)->postedEvents;
}

TEST(CZeObjectEvents, PostedEventsAreDeliveredInOrderOrRemovedAndDeleted)
{
    int destroyed = 0;
    Probe a, b;
    auto post = [&](Probe* receiver, int type) {
        CZeObject::postEvent(receiver, new CountedEvent(&destroyed, type));
    };
    post(&a, kTypeA);
    post(&b, kTypeB);
    post(&a, kTypeB);
    EXPECT_EQ(a.d()->postedEvents, 2);
    // Only one receiver's, then only one type, then the rest.
    CZeObject::sendPostedEvents(&b);
    EXPECT_EQ(b.customTypes, std::vector<int> { kTypeB });
    EXPECT_TRUE(a.customTypes.empty());
    CZeObject::sendPostedEvents(nullptr, kTypeB);
    EXPECT_EQ(a.customTypes, std::vector<int> { kTypeB });
    CZeObject::sendPostedEvents();
    EXPECT_EQ(a.customTypes, (std::vector<int> { kTypeB, kTypeA }));
    EXPECT_EQ(destroyed, 3);
    EXPECT_EQ(a.d()->postedEvents, 0);
    EXPECT_TRUE(queue().empty());

    // Removed events are deleted undelivered.
    post(&a, kTypeA);
    post(&a, kTypeB);
    post(&b, kTypeA);
    post(&a, kTypeA);
    CZeObject::removePostedEvents(&a, kTypeA);
    EXPECT_EQ(destroyed, 5);
    EXPECT_EQ(a.d()->postedEvents, 1);
    EXPECT_EQ(queue().size(), 2u); // compacted
    CZeObject::removePostedEvents(nullptr, 0); // everything of this thread
    EXPECT_EQ(destroyed, 7);
    CZeObject::sendPostedEvents();
    EXPECT_EQ(a.customTypes.size() + b.customTypes.size(), 3u);
    auto c = std::make_unique<Probe>();
    post(c.get(), kTypeA);
    c.reset(); // removes its events
    EXPECT_EQ(destroyed, 8);
    EXPECT_TRUE(queue().empty());
}

TEST(CZeObjectEvents, RepostKeepsTheEventQueuedOnceAndStopsTheFlush)
{
    int destroyed = 0;
    Probe p;
    CZeEvent* a = new CountedEvent(&destroyed, kTypeA);
    a->setRepost(true);
    CZeObject::postEvent(&p, a);
    CZeObject::postEvent(&p, new CountedEvent(&destroyed, kTypeB));

    CZeObject::sendPostedEvents();
    EXPECT_EQ(p.customTypes, std::vector<int> { kTypeA }); // B waits behind the reposted A
    EXPECT_TRUE(a->isPosted());
    EXPECT_FALSE(a->repost()); // put back with the posted flag only
    EXPECT_EQ(p.d()->postedEvents, 2);
    EXPECT_EQ(destroyed, 0);
    CZeObject::sendPostedEvents();
    EXPECT_EQ(p.customTypes, (std::vector<int> { kTypeA, kTypeA, kTypeB }));
    EXPECT_EQ(destroyed, 2);

    // A handler that sets the flag again keeps the event going.
    int rounds = 0;
    p.onCustom = [&](Probe*, CZeEvent* e) { e->setRepost(++rounds < 3); };
    CZeObject::postEvent(&p, new CountedEvent(&destroyed, kTypeA));
    for (int i = 0; i < 5; ++i)
        CZeObject::sendPostedEvents();
    EXPECT_EQ(rounds, 3);
    EXPECT_EQ(destroyed, 3);

    // Only a general flush reposts.
    CZeEvent* c = new CountedEvent(&destroyed, kTypeA);
    c->setRepost(true);
    p.onCustom = nullptr;
    CZeObject::postEvent(&p, c);
    CZeObject::sendPostedEvents(&p);
    EXPECT_EQ(destroyed, 4);
    EXPECT_EQ(p.d()->postedEvents, 0);
}

// A deferred delete runs in a flush below the loop level it was posted at;
// one posted from another thread counts as level 0.
TEST(CZeObjectDeferredDelete, RunsOnceItsLevelIsLeft)
{
    bool deleted = false, aliveAfterNestedFlush = false;
    Probe host;
    Probe* victim = new Probe;
    victim->onDestroyed = [&] { deleted = true; };
    host.onCustom = [&](Probe*, CZeEvent*) {
        victim->deleteLater();
        CZeObject::sendPostedEvents(); // same level: not due
        aliveAfterNestedFlush = !deleted;
    };
    CZeObject::postEvent(&host, new CZeEvent(kTypeA));
    CZeObject::sendPostedEvents();
    EXPECT_TRUE(aliveAfterNestedFlush);
    EXPECT_FALSE(deleted); // posted during this flush: left for the next one
    CZeObject::sendPostedEvents();
    EXPECT_TRUE(deleted);

    deleted = false;
    victim = new Probe;
    victim->onDestroyed = [&] { deleted = true; };
    host.onCustom = [&](Probe*, CZeEvent*) { std::thread([&] { victim->deleteLater(); }).join(); };
    CZeEvent e(kTypeA);
    CZeObject::notify(&host, &e); // at level 1
    ASSERT_EQ(queue().size(), 1u);
    EXPECT_EQ(static_cast<CZeDeferredDeleteEvent*>(queue().front().event)->loopLevel(), 0);
    CZeObject::sendPostedEvents();
    EXPECT_FALSE(deleted);
    CZeObject::sendPostedEvents(victim, CZeEvent::DeferredDelete);
    EXPECT_TRUE(deleted);
}

TEST(CZeObjectMove, OnlyTheObjectsThreadMayMoveItAndNullReceiversAreRefused)
{
    MessageCapture capture;
    Probe p;
    CZeThread* main = CZeThread::currentThread();
    CZeThread* foreignThread = nullptr;
    std::thread([&] {
        foreignThread = CZeThread::currentThread();
        p.moveToThread(nullptr);
    }).join();
    EXPECT_EQ(p.thread(), main);

    // The posted event is deleted; notify counts as handled (nobody else can).
    int destroyed = 0;
    CZeObject::postEvent(nullptr, new CountedEvent(&destroyed, kTypeA));
    EXPECT_EQ(destroyed, 1);
    CountedEvent event(&destroyed, kTypeA);
    EXPECT_TRUE(CZeObject::notify(nullptr, &event));
    EXPECT_EQ(logged(capture),
        (Lines { format("W CZeObject::moveToThread: Current thread (%p) is not the object's thread "
                        "(%p).\nCannot move to target thread (%p)\n",
                     (void*)foreignThread, (void*)main, nullptr),
            "W CZeObject::postEvent: Unexpected null receiver",
            "W CZeObject::notify: Unexpected null receiver" }));
    p.setObjectName(CZeString::fromUtf8("probe"));
    EXPECT_EQ(p.objectName(), CZeString::fromUtf8("probe"));
}

TEST(CZeObjectMove, StopsTimersAndCarriesPostedEvents)
{
    MessageCapture capture;
    Gate moved;
    Probe* object = nullptr;
    bool timersGone = false, listEmpty = false;
    std::vector<CZeThread*> deliveredIn;
    FunctionThread target([&](FunctionThread* self) {
        ASSERT_TRUE(moved.waitOpen());
        object->onCustom = [&](Probe* p, CZeEvent*) {
            deliveredIn.push_back(CZeThread::currentThread());
            if (p->customTypes.size() == 2)
                self->quit();
        };
        self->exec();
    });
    target.start();
    ASSERT_TRUE(runThread([&](FunctionThread* self) {
        object = new Probe;
        object->startTimer(10);
        object->startTimer(20);
        CZeObject::postEvent(object, new CZeEvent(kTypeA));
        CZeObject::postEvent(object, new CZeEvent(kTypeB));
        object->moveToThread(&target);
        timersGone = object->runningTimers().empty();
        listEmpty = self->data()->timerList->timers.empty();
        moved.open();
    }));
    ASSERT_TRUE(target.wait(kGenerousMs));
    EXPECT_TRUE(timersGone);
    EXPECT_TRUE(listEmpty);
    EXPECT_EQ(object->thread(), &target);
    EXPECT_EQ(object->customTypes, (std::vector<int> { kTypeA, kTypeB }));
    EXPECT_EQ(deliveredIn, (std::vector<CZeThread*> { &target, &target }));
    EXPECT_TRUE(object->timerIds.empty());
    EXPECT_EQ(logged(capture),
        Lines { "W Stop all object's timers while moving object to another thread!" });
    delete object;
}

// Each thread moves its objects to the other while posting to the other's
// objects: the two posted-event locks are taken in one order only.
TEST(CZeObjectMove, ThreadsMovingObjectsTowardsEachOtherDoNotDeadlock)
{
    constexpr int kObjects = 300;
    std::vector<Probe*> objects[2]
        = { std::vector<Probe*>(kObjects), std::vector<Probe*>(kObjects) };
    std::atomic<int> ready { 0 };
    FunctionThread* threads[2] = {};
    auto body = [&](int side) {
        return [&, side](FunctionThread*) {
            for (Probe*& p : objects[side])
                p = new Probe;
            for (++ready; ready.load() < 2;)
                std::this_thread::yield();
            for (int i = 0; i < kObjects; ++i) {
                CZeObject::postEvent(objects[side][i], new CZeEvent(kTypeA));
                CZeObject::postEvent(objects[1 - side][i], new CZeEvent(kTypeB));
                objects[side][i]->moveToThread(threads[1 - side]);
            }
        };
    };
    FunctionThread a(body(0)), b(body(1));
    threads[0] = &a;
    threads[1] = &b;
    a.start();
    b.start();
    ASSERT_TRUE(a.wait(kGenerousMs) && b.wait(kGenerousMs));
    for (int i = 0; i < kObjects; ++i) {
        EXPECT_EQ(objects[0][i]->thread(), &b);
        EXPECT_EQ(objects[1][i]->thread(), &a);
        EXPECT_EQ(objects[0][i]->d()->postedEvents, 2);
        delete objects[0][i];
        delete objects[1][i];
    }
}

} // namespace
