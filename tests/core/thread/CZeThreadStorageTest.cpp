// CZeThreadStorage: values set, destroyed at thread end, or outliving storage.
#include <gtest/gtest.h>

#include <memory>

#include "CZeThreadStorage.h"
#include "ThreadTestHelpers.h"

namespace {

std::mutex g_logMutex;
Lines g_destroyed;

// Values are heap strings; destroying one logs it.
void destroyTagged(void* p)
{
    const std::unique_ptr<std::string> s(static_cast<std::string*>(p));
    std::lock_guard<std::mutex> lock(g_logMutex);
    g_destroyed.push_back(*s);
}

Lines takeDestroyed()
{
    std::lock_guard<std::mutex> lock(g_logMutex);
    return std::exchange(g_destroyed, Lines());
}

TEST(CZeThreadStorage, SetReplacesTheValueAndAValueWithoutItsStorageIsReported)
{
    takeDestroyed();
    CZeThreadStorage s(destroyTagged);
    std::string* first = new std::string("first");
    void** slot = s.set(first);
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(*slot, first);
    EXPECT_EQ(s.get(), slot);
    s.set(new std::string("second"));
    EXPECT_EQ(takeDestroyed(), Lines { "first" });
    EXPECT_EQ(*static_cast<std::string*>(*s.get()), "second");
    s.set(nullptr); // this thread never ends within the test: clean up
    EXPECT_EQ(takeDestroyed(), Lines { "second" });
    EXPECT_EQ(s.get(), nullptr);

    // A value whose storage is gone when its thread ends is reported, not
    // destroyed.
    MessageCapture capture;
    static int value = 5;
    auto gone = std::make_unique<CZeThreadStorage>(destroyTagged);
    const int id = gone->id();
    Gate stored, release;
    FunctionThread t([&](FunctionThread*) {
        gone->set(&value);
        stored.open();
        release.waitOpen();
    });
    t.start();
    ASSERT_TRUE(stored.waitOpen());
    gone.reset();
    release.open();
    ASSERT_TRUE(t.wait(kGenerousMs));
    EXPECT_EQ(logged(capture),
        Lines {
            format("W CZeThreadStorage: Thread exited after CZeThreadStorage %d destroyed", id) });
    EXPECT_EQ(value, 5);
    EXPECT_TRUE(takeDestroyed().empty());
}

// At a thread's end its values are destroyed from the highest storage id
// down; a destructor may set a storage of lower id, whose value then dies too.
TEST(CZeThreadStorage, ValuesDieWithTheirThreadHighestIdFirst)
{
    static CZeThreadStorage* late = nullptr;
    CZeThreadStorage s1(destroyTagged), s2(destroyTagged), s3(destroyTagged);
    CZeThreadStorage s4([](void* p) {
        destroyTagged(p);
        late->set(new std::string("late"));
    });
    late = &s2;
    ASSERT_TRUE(s1.id() < s2.id() && s2.id() < s3.id() && s3.id() < s4.id());
    auto fill = [&](const std::string& who) {
        s3.set(new std::string(who + "3"));
        s1.set(new std::string(who + "1"));
        s4.set(new std::string(who + "4"));
    };
    takeDestroyed();
    ASSERT_TRUE(runThread([&](FunctionThread*) { fill("t"); }));
    EXPECT_EQ(takeDestroyed(), (Lines { "t4", "t3", "late", "t1" }));
    std::thread([&] { fill("f"); }).join(); // adopted: the same at its exit
    EXPECT_EQ(takeDestroyed(), (Lines { "f4", "f3", "late", "f1" }));
}

} // namespace
