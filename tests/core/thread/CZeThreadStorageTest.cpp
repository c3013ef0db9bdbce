// CZeThreadStorage: ids, get and set, destruction at thread end and the
// message for values that outlive their storage.
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "CZeThreadStorage.h"
#include "ThreadTestHelpers.h"

namespace {

std::mutex g_logMutex;
std::vector<std::string> g_destroyed;

// Values are heap strings; destroying one logs it.
void destroyTagged(void* p)
{
    std::string* s = static_cast<std::string*>(p);
    std::lock_guard<std::mutex> lock(g_logMutex);
    g_destroyed.push_back(*s);
    delete s;
}

std::vector<std::string> takeDestroyed()
{
    std::lock_guard<std::mutex> lock(g_logMutex);
    std::vector<std::string> out;
    out.swap(g_destroyed);
    return out;
}

TEST(CZeThreadStorage, SetReplacesAndDestroysThePreviousValue)
{
    takeDestroyed();
    CZeThreadStorage s(destroyTagged);
    std::string* first = new std::string("first");
    void** slot = s.set(first);
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(*slot, first);
    EXPECT_EQ(s.get(), slot);
    s.set(new std::string("second"));
    EXPECT_EQ(takeDestroyed(), std::vector<std::string>{"first"});
    EXPECT_EQ(*static_cast<std::string*>(*s.get()), "second");
    s.set(nullptr); // this thread never ends within the test: clean up
    EXPECT_EQ(takeDestroyed(), std::vector<std::string>{"second"});
    EXPECT_EQ(s.get(), nullptr);
}

TEST(CZeThreadStorage, ValuesDieWithTheirThreadHighestIdFirst)
{
    CZeThreadStorage s1(destroyTagged), s2(destroyTagged), s3(destroyTagged);
    ASSERT_LT(s1.id(), s2.id());
    ASSERT_LT(s2.id(), s3.id());
    auto fill = [&](const std::string& who) {
        s2.set(new std::string(who + "2"));
        s1.set(new std::string(who + "1"));
        s3.set(new std::string(who + "3"));
    };
    takeDestroyed();
    FunctionThread t([&](FunctionThread*) { fill("t"); });
    t.start();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_EQ(takeDestroyed(), (std::vector<std::string>{"t3", "t2", "t1"}));

    std::thread foreign([&] { fill("f"); }); // adopted: the same at its exit
    foreign.join();
    EXPECT_EQ(takeDestroyed(), (std::vector<std::string>{"f3", "f2", "f1"}));
}

TEST(CZeThreadStorage, DestructorMaySetOtherStorages)
{
    static CZeThreadStorage* low = nullptr;
    CZeThreadStorage lowStorage(destroyTagged);
    low = &lowStorage;
    CZeThreadStorage high([](void* p) {
        destroyTagged(p);
        low->set(new std::string("set while finishing"));
    });
    takeDestroyed();
    FunctionThread t([&](FunctionThread*) { high.set(new std::string("high")); });
    t.start();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_EQ(takeDestroyed(), (std::vector<std::string>{"high", "set while finishing"}));
}

TEST(CZeThreadStorage, ValueOutlivingItsStorageIsReportedAtThreadEnd)
{
    MessageCapture capture;
    static int value = 5; // never destroyed: its storage is gone
    auto s = std::make_unique<CZeThreadStorage>(destroyTagged);
    const int id = s->id();
    Gate stored, release;
    FunctionThread t([&](FunctionThread*) {
        s->set(&value);
        stored.open();
        release.waitOpen();
    });
    t.start();
    ASSERT_TRUE(stored.waitOpen());
    s.reset();
    release.open();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_EQ(countMessages(capture,
                            "CZeThreadStorage: Thread exited after CZeThreadStorage "
                                + std::to_string(id) + " destroyed",
                            kWarning),
              1u);
    EXPECT_EQ(value, 5);
}

} // namespace
