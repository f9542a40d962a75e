// Callbacks run under the bag's lock: they may re-enter the bag on their thread; others wait.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "Os/TavProperties.h"
#include "text_support.hpp"

namespace {

using texttest::kAfter;
using texttest::kBefore;
using texttest::Listen;

// A bag on the default allocator: the counting one is not made for several threads.
struct BagConcurrency : ::testing::Test {
    BagConcurrency() { TavPropertiesConstructDefault(&bag, TavAllocatorGetDefault()); }
    ~BagConcurrency() override { TavPropertiesDestruct(&bag); }

    std::atomic<int> befores{0}, afters{0}, stage{0};
    TavProperties bag;
};

// Counts the call and reads the entry, re-entering the bag.
void CountAndRead(const TavPropertyListener* l, TavProperties* bag, const TavString* name,
                  const TavPropertyValue*, const TavPropertyValue*) {
    ++*static_cast<std::atomic<int>*>(l->data);
    TavPropertiesGetPropertyConst(bag, name);
}

// Copies the new value to "inside", then holds the bag's lock for 50 ms between stages 1 and 2.
void CopyAndHold(const TavPropertyListener* l, TavProperties* bag, const TavString*,
                 const TavPropertyValue*, const TavPropertyValue* v) {
    if (v == nullptr) return;  // the entry goes with the bag
    auto& stage = *static_cast<std::atomic<int>*>(l->data);
    stage = 1;
    EXPECT_TRUE(TavPropertiesSetPropertyCStr(bag, "inside", v));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    stage = 2;
}

TEST_F(BagConcurrency, ACallbackReentersTheBagWhileOtherThreadsWait) {
    ASSERT_TRUE(Listen(&bag, CopyAndHold, &stage, "slow", {kBefore}));
    ASSERT_TRUE(Listen(&bag, CountAndRead, &afters, nullptr, {kAfter}));
    std::thread holder([&] { TavPropertiesAddIntValueCStr(&bag, "slow", 1, TAV_TRUE); });
    while (stage == 0) std::this_thread::yield();
    EXPECT_TRUE(TavPropertiesRemovePropertyCStr(&bag, "slow"));  // by then added
    EXPECT_EQ(stage, 2);  // never 1 with a working lock, so never flaky
    holder.join();
    EXPECT_EQ(afters, 3);  // "inside" within the call for "slow", then its removal
}

TEST_F(BagConcurrency, ThreadsAddSetReadAndRemoveInOneBagWithListeners) {
    ASSERT_TRUE(Listen(&bag, CountAndRead, &befores, nullptr, {kBefore}));
    ASSERT_TRUE(Listen(&bag, CountAndRead, &afters, nullptr, {kAfter}));
    constexpr int kThreads = 4, kRounds = 300;
    std::atomic<int> changes{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            TavPropertyValue mine;  // an Int: a plain kind, which owns nothing to destroy
            TavPropertyValueConstructInt(&mine, t, TAV_TRUE);
            const std::string own = "t" + std::to_string(t);
            for (int i = 0; i < kRounds; ++i) {
                changes += TavPropertiesAddPropertyCStr(&bag, own.c_str(), &mine);
                changes += TavPropertiesSetPropertyCStr(&bag, "shared", &mine);
                const TavInt* read = TavPropertiesGetIntValueCStr(&bag, own.c_str());
                ASSERT_NE(read, nullptr);
                EXPECT_EQ(*read, t);
                changes += TavPropertiesRemovePropertyCStr(&bag, own.c_str());
            }
        });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(changes, kThreads * kRounds * 3);
    EXPECT_EQ(befores, changes);
    EXPECT_EQ(afters, changes);
}

}  // namespace
