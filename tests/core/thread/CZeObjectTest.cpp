// CZeObject: notify, posting and flushing, deferred deletes, reposting,
// removal, and moving objects between threads.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "CZeString.h"
#include "ThreadTestHelpers.h"

namespace {

constexpr int kTypeA = CZeEvent::User + 1;
constexpr int kTypeB = CZeEvent::User + 2;

TEST(CZeObjectEvents, PostedEventsAreDeliveredInOrderAndDeleted)
{
    int destroyed = 0;
    Probe a, b;
    CZeEvent* first = new CountedEvent<>(&destroyed, kTypeA);
    CZeObject::postEvent(&a, first);
    EXPECT_TRUE(first->isPosted());
    CZeObject::postEvent(&b, new CountedEvent<>(&destroyed, kTypeB));
    CZeObject::postEvent(&a, new CountedEvent<>(&destroyed, kTypeB));
    EXPECT_EQ(a.d()->postedEvents, 2);

    // Only one receiver's, then only one type, then the rest.
    CZeObject::sendPostedEvents(&b);
    EXPECT_EQ(b.customTypes, std::vector<int>{kTypeB});
    EXPECT_TRUE(a.customTypes.empty());
    CZeObject::sendPostedEvents(nullptr, kTypeB);
    EXPECT_EQ(a.customTypes, std::vector<int>{kTypeB});
    CZeObject::sendPostedEvents();
    EXPECT_EQ(a.customTypes, (std::vector<int>{kTypeB, kTypeA}));
    EXPECT_EQ(destroyed, 3);
    EXPECT_EQ(a.d()->postedEvents, 0);
    EXPECT_TRUE(CZeThreadData::current(false)->postedEvents.empty());
}

TEST(CZeObjectEvents, RemovedEventsAreDeletedUndelivered)
{
    int destroyed = 0;
    Probe a, b;
    CZeObject::postEvent(&a, new CountedEvent<>(&destroyed, kTypeA));
    CZeObject::postEvent(&a, new CountedEvent<>(&destroyed, kTypeB));
    CZeObject::postEvent(&b, new CountedEvent<>(&destroyed, kTypeA));
    CZeObject::postEvent(&a, new CountedEvent<>(&destroyed, kTypeA));

    CZeObject::removePostedEvents(&a, kTypeA);
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(a.d()->postedEvents, 1);
    EXPECT_EQ(CZeThreadData::current(false)->postedEvents.size(), 2u); // compacted

    CZeObject::removePostedEvents(nullptr, 0); // everything of this thread
    EXPECT_EQ(destroyed, 4);
    CZeObject::sendPostedEvents();
    EXPECT_TRUE(a.customTypes.empty());
    EXPECT_TRUE(b.customTypes.empty());

    // Destroying a receiver removes its events.
    auto c = std::make_unique<Probe>();
    CZeObject::postEvent(c.get(), new CountedEvent<>(&destroyed, kTypeA));
    c.reset();
    EXPECT_EQ(destroyed, 5);
    EXPECT_TRUE(CZeThreadData::current(false)->postedEvents.empty());
}

TEST(CZeObjectEvents, RepostKeepsTheEventQueuedOnceAndStopsTheFlush)
{
    int destroyed = 0;
    Probe p;
    CZeEvent* a = new CountedEvent<>(&destroyed, kTypeA);
    a->setRepost(true);
    CZeObject::postEvent(&p, a);
    CZeObject::postEvent(&p, new CountedEvent<>(&destroyed, kTypeB));

    CZeObject::sendPostedEvents();
    EXPECT_EQ(p.customTypes, std::vector<int>{kTypeA}); // B waits behind the reposted A
    EXPECT_TRUE(a->isPosted());
    EXPECT_FALSE(a->repost()); // put back with the posted flag only
    EXPECT_EQ(p.d()->postedEvents, 2);
    EXPECT_EQ(destroyed, 0);

    CZeObject::sendPostedEvents();
    EXPECT_EQ(p.customTypes, (std::vector<int>{kTypeA, kTypeA, kTypeB}));
    EXPECT_EQ(destroyed, 2);

    // A handler that sets the flag again keeps the event going.
    int rounds = 0;
    p.onCustom = [&](Probe*, CZeEvent* e) { e->setRepost(++rounds < 3); };
    CZeObject::postEvent(&p, new CountedEvent<>(&destroyed, kTypeA));
    for (int i = 0; i < 5; ++i)
        CZeObject::sendPostedEvents();
    EXPECT_EQ(rounds, 3);
    EXPECT_EQ(destroyed, 3);

    // Only a general flush reposts.
    CZeEvent* c = new CountedEvent<>(&destroyed, kTypeA);
    c->setRepost(true);
    p.onCustom = nullptr;
    CZeObject::postEvent(&p, c);
    CZeObject::sendPostedEvents(&p);
    EXPECT_EQ(destroyed, 4);
    EXPECT_EQ(p.d()->postedEvents, 0);
}

TEST(CZeObjectDeferredDelete, PostedInsideAHandlerRunsAfterItsLevelIsLeft)
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
}

TEST(CZeObjectDeferredDelete, FromAnotherThreadIsStampedLevelZero)
{
    Probe* p = new Probe;
    bool deleted = false;
    p->onDestroyed = [&] { deleted = true; };
    Probe host;
    // Posted from a foreign thread while this thread is at level 1.
    host.onCustom = [&](Probe*, CZeEvent*) { std::thread([p] { p->deleteLater(); }).join(); };
    CZeEvent e(kTypeA);
    CZeObject::notify(&host, &e);
    auto& queue = CZeThreadData::current(false)->postedEvents;
    ASSERT_EQ(queue.size(), 1u);
    EXPECT_EQ(static_cast<CZeDeferredDeleteEvent*>(queue.front().event)->loopLevel(), 0);
    CZeObject::sendPostedEvents();
    EXPECT_FALSE(deleted);
    CZeObject::sendPostedEvents(p, CZeEvent::DeferredDelete);
    EXPECT_TRUE(deleted);
}

TEST(CZeObjectMove, OnlyTheObjectsThreadMayMoveIt)
{
    MessageCapture capture;
    Probe p;
    CZeThread* main = CZeThread::currentThread();
    CZeThread* foreignThread = nullptr;
    std::thread foreign([&] {
        foreignThread = CZeThread::currentThread();
        p.moveToThread(nullptr);
    });
    foreign.join();
    EXPECT_EQ(p.thread(), main);
    char expected[256];
    std::snprintf(expected, sizeof expected,
                  "CZeObject::moveToThread: Current thread (%p) is not the object's thread "
                  "(%p).\nCannot move to target thread (%p)\n",
                  static_cast<void*>(foreignThread), static_cast<void*>(main), nullptr);
    EXPECT_EQ(countMessages(capture, expected, kWarning), 1u);

    // Null receivers are refused; the posted event is deleted.
    int destroyed = 0;
    CZeObject::postEvent(nullptr, new CountedEvent<>(&destroyed, kTypeA));
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(countMessages(capture, "CZeObject::postEvent: Unexpected null receiver", kWarning), 1u);
    CountedEvent<> event(&destroyed, kTypeA);
    EXPECT_TRUE(CZeObject::notify(nullptr, &event)); // as handled: nobody is left to handle it
    EXPECT_EQ(countMessages(capture, "CZeObject::notify: Unexpected null receiver", kWarning), 1u);
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
    FunctionThread source([&](FunctionThread* self) {
        object = new Probe;
        object->startTimer(10);
        object->startTimer(20);
        CZeObject::postEvent(object, new CZeEvent(kTypeA));
        CZeObject::postEvent(object, new CZeEvent(kTypeB));
        object->moveToThread(&target);
        timersGone = object->runningTimers().empty();
        listEmpty = self->data()->timerList->timers.empty();
        moved.open();
    });
    source.start();
    ASSERT_TRUE(source.wait(kGenerousMs));
    ASSERT_TRUE(target.wait(kGenerousMs));
    EXPECT_TRUE(timersGone);
    EXPECT_TRUE(listEmpty);
    EXPECT_EQ(object->thread(), &target);
    EXPECT_EQ(object->customTypes, (std::vector<int>{kTypeA, kTypeB}));
    EXPECT_EQ(deliveredIn, (std::vector<CZeThread*>{&target, &target}));
    EXPECT_TRUE(object->timerIds.empty());
    EXPECT_EQ(countMessages(capture,
                            "Stop all object's timers while moving object to another thread!",
                            kWarning),
              1u);
    delete object;
}

TEST(CZeObjectMove, ThreadsMovingObjectsTowardsEachOtherDoNotDeadlock)
{
    constexpr int kObjects = 300;
    std::vector<Probe*> fromA(kObjects), fromB(kObjects);
    std::atomic<int> ready{0};
    FunctionThread* threads[2] = {};
    auto body = [&](int side) {
        return [&, side](FunctionThread*) {
            std::vector<Probe*>& mine = side == 0 ? fromA : fromB;
            std::vector<Probe*>& theirs = side == 0 ? fromB : fromA;
            for (Probe*& p : mine)
                p = new Probe;
            ++ready;
            while (ready.load() < 2)
                std::this_thread::yield();
            for (int i = 0; i < kObjects; ++i) {
                CZeObject::postEvent(mine[i], new CZeEvent(kTypeA));
                CZeObject::postEvent(theirs[i], new CZeEvent(kTypeB));
                mine[i]->moveToThread(threads[1 - side]);
            }
        };
    };
    FunctionThread a(body(0)), b(body(1));
    threads[0] = &a;
    threads[1] = &b;
    a.start();
    b.start();
    ASSERT_TRUE(a.wait(kGenerousMs));
    ASSERT_TRUE(b.wait(kGenerousMs));
    for (int i = 0; i < kObjects; ++i) {
        EXPECT_EQ(fromA[i]->thread(), &b);
        EXPECT_EQ(fromB[i]->thread(), &a);
        EXPECT_EQ(fromA[i]->d()->postedEvents, 2);
        delete fromA[i];
        delete fromB[i];
    }
}

} // namespace
