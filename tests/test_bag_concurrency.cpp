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

// Adds to the bag a listener for `name` (for every name when null).
void Listen(TavProperties* bag, TavPropertyListenerTrigger t, TavPropertyListenerCallback cb, void* data,
            const char* name = nullptr) {
    TavPropertyListener l;
    ASSERT_TRUE(TavPropertyListenerConstructCStr(&l, t, name, cb, data, TavAllocatorGetDefault()));
    EXPECT_TRUE(TavPropertiesAddListener(bag, &l));
    TavPropertyListenerDestruct(&l);
}

// A bag on the default allocator (the counting one is not made for several
// threads), and the data of its listeners, which outlives the bag's destruction.
struct BagConcurrency : ::testing::Test {
    BagConcurrency() {
        EXPECT_TRUE(TavPropertiesConstructDefault(&bag, TavAllocatorGetDefault()));
        TavPropertyValueConstructInt(&one, 1, TAV_TRUE);  // a plain kind: owns nothing to destroy
    }
    ~BagConcurrency() override { TavPropertiesDestruct(&bag); }

    std::atomic<int> befores{0}, afters{0}, stage{0};
    TavPropertyValue one;
    TavProperties bag;
};

// Counts the call and re-enters the bag on the calling thread: reads the
// entry, and copies a new value of "a" into "b".
void CountAndReenter(const TavPropertyListener* l, TavProperties* bag, const TavString* name,
                     const TavPropertyValue*, const TavPropertyValue* v) {
    ++*static_cast<std::atomic<int>*>(l->data);
    TavPropertiesGetPropertyConst(bag, name);
    EXPECT_TRUE(!v || name->buf[0] != 'a' || TavPropertiesSetPropertyCStr(bag, "b", v));
}

TEST_F(BagConcurrency, CallbackReentersTheBagOnItsOwnThread) {
    Listen(&bag, TAV_PROPERTYLISTENER_TRIGGER_After, CountAndReenter, &afters);
    ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "a", &one));
    EXPECT_EQ(*TavPropertyValueGetInt(TavPropertiesGetPropertyCStr(&bag, "b")), 1);
    EXPECT_EQ(afters, 2);  // "a", and inside its call "b"
}

// Holds the operation, and so the bag's lock, for 50 ms between stages 1 and 2.
void Hold(const TavPropertyListener* l, TavProperties*, const TavString*, const TavPropertyValue*,
          const TavPropertyValue*) {
    auto& stage = *static_cast<std::atomic<int>*>(l->data);
    stage = 1;
    std::this_thread::sleep_for(50ms);
    stage = 2;
}

TEST_F(BagConcurrency, OtherThreadsWaitWhileACallbackRuns) {
    Listen(&bag, TAV_PROPERTYLISTENER_TRIGGER_Before, Hold, &stage, "slow");
    std::thread holder([&] { TavPropertiesAddPropertyCStr(&bag, "slow", &one); });
    while (stage == 0) std::this_thread::yield();
    TavPropertiesSetPropertyCStr(&bag, "other", &one);
    EXPECT_EQ(stage, 2);  // never 1 with a working lock, so never flaky
    holder.join();
}

TEST_F(BagConcurrency, ThreadsAddSetReadAndRemoveInOneBagWithListeners) {
    Listen(&bag, TAV_PROPERTYLISTENER_TRIGGER_Before, CountAndReenter, &befores);
    Listen(&bag, TAV_PROPERTYLISTENER_TRIGGER_After, CountAndReenter, &afters);
    constexpr int kThreads = 4, kRounds = 300;
    std::atomic<int> changes{0};
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
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(changes, kThreads * kRounds * 3);
    EXPECT_TRUE(befores == changes && afters == changes);
}

}  // namespace
