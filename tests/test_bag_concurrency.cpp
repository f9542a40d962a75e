// The bag's lock: callbacks run with it held, may re-enter the bag on their
// own thread, and keep other threads out until the operation returns.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "Os/TavProperties.h"

namespace {

using namespace std::chrono_literals;
constexpr auto kBefore = TAV_PROPERTYLISTENER_TRIGGER_Before;
constexpr auto kAfter = TAV_PROPERTYLISTENER_TRIGGER_After;

TavPropertyListener* Make(TavPropertyListener* l, TavPropertyListenerTrigger t, TavPropertyListenerCallback cb,
                          void* data, const char* name = nullptr) {
    return TavPropertyListenerConstructCStr(l, t, name, cb, data, TavAllocatorGetDefault());
}

void Listen(TavProperties* bag, TavPropertyListenerTrigger t, TavPropertyListenerCallback cb, void* data,
            const char* name = nullptr) {
    TavPropertyListener l;
    ASSERT_TRUE(Make(&l, t, cb, data, name));
    ASSERT_TRUE(TavPropertiesAddListener(bag, &l));
    TavPropertyListenerDestruct(&l);
}

struct Gate {
    std::atomic<bool> entered{false}, release{false}, listenerDone{false};
};

class BagConcurrency : public ::testing::Test {
protected:
    // The default allocator: the counting one is not made for several threads.
    void SetUp() override {
        ASSERT_TRUE(TavPropertiesConstructDefault(&bag, TavAllocatorGetDefault()));
        TavPropertyValueConstructInt(&one, 1, TAV_TRUE);
    }
    void TearDown() override { TavPropertiesDestruct(&bag); }
    TavProperties bag;
    TavPropertyValue one;  // a plain kind: owns nothing to destroy
    // Listener data, alive while TearDown's destruction tells the listeners.
    std::vector<std::string> calls;
    Gate gate;
};

// Once "a" has a value, mirror it into "b" from inside the callback.
void Mirror(const TavPropertyListener* l, TavProperties* bag, const TavString* name, const TavPropertyValue*,
            const TavPropertyValue* v) {
    const bool mirrored = !v || l->name.buf[0] != 'a' || TavPropertiesSetPropertyCStr(bag, "b", v);
    EXPECT_TRUE(mirrored);
    static_cast<std::vector<std::string>*>(l->data)->push_back(name->buf);
}

TEST_F(BagConcurrency, CallbackReentersTheBagOnItsOwnThread) {
    Listen(&bag, kAfter, Mirror, &calls, "a");
    Listen(&bag, kAfter, Mirror, &calls, "b");
    ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "a", &one));
    EXPECT_EQ(*TavPropertyValueGetInt(TavPropertiesGetPropertyCStr(&bag, "b")), 1);
    EXPECT_EQ(calls, (std::vector<std::string>{"b", "a"}));  // "b" is told inside the call for "a"
}

// Keeps the operation (and so the lock) running until released, at most 10 s.
void Hold(const TavPropertyListener* l, TavProperties*, const TavString*, const TavPropertyValue*,
          const TavPropertyValue*) {
    Gate* gate = static_cast<Gate*>(l->data);
    gate->entered = true;
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!gate->release && std::chrono::steady_clock::now() < deadline) std::this_thread::sleep_for(1ms);
    gate->listenerDone = true;
}

TEST_F(BagConcurrency, OtherThreadsWaitWhileACallbackRuns) {
    Listen(&bag, kBefore, Hold, &gate, "slow");
    std::thread holder([&] { TavPropertiesAddPropertyCStr(&bag, "slow", &one); });
    while (!gate.entered) std::this_thread::yield();
    std::atomic<bool> otherDone{false}, sawListenerDone{false};
    std::thread other([&] {
        TavPropertiesSetPropertyCStr(&bag, "other", &one);
        sawListenerDone = gate.listenerDone.load();
        otherDone = true;
    });
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(otherDone);  // never true with a working lock, so never flaky
    gate.release = true;
    holder.join();
    other.join();
    EXPECT_TRUE(sawListenerDone);
}

void Count(const TavPropertyListener* l, TavProperties* bag, const TavString* name, const TavPropertyValue*,
           const TavPropertyValue*) {
    ++*static_cast<std::atomic<int>*>(l->data);
    TavPropertiesGetPropertyConst(bag, name);  // re-entry while others contend
}

TEST_F(BagConcurrency, ThreadsChangeOneBagWhileListenersComeAndGo) {
    std::atomic<int> befores{0}, afters{0}, churned{0}, changes{0};
    Listen(&bag, kBefore, Count, &befores);
    Listen(&bag, kAfter, Count, &afters);
    constexpr int kThreads = 4, kRounds = 300;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            TavPropertyValue mine;
            TavPropertyValueConstructInt(&mine, t, TAV_TRUE);
            const std::string own = "t" + std::to_string(t);
            for (int i = 0; i < kRounds; ++i) {
                changes += TavPropertiesAddPropertyCStr(&bag, own.c_str(), &mine);
                changes += TavPropertiesSetPropertyCStr(&bag, "shared", &mine);
                EXPECT_EQ(*TavPropertyValueGetInt(TavPropertiesGetPropertyCStr(&bag, own.c_str())), t);
                changes += TavPropertiesRemovePropertyCStr(&bag, own.c_str());
            }
        });
    }
    threads.emplace_back([&] {
        TavPropertyListener l;
        Make(&l, kAfter, Count, &churned, "shared");
        for (int i = 0; i < kRounds; ++i) {
            EXPECT_TRUE(TavPropertiesAddListener(&bag, &l));
            EXPECT_TRUE(TavPropertiesRemoveListener(&bag, &l));
        }
        TavPropertyListenerDestruct(&l);
    });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(changes, kThreads * kRounds * 3);
    EXPECT_EQ(befores, changes);
    EXPECT_EQ(afters, changes);
}

}  // namespace
