// Callbacks run under the bag's lock: they may re-enter the bag on their thread; others wait.
// (Many threads changing one bag with listeners: test_stress_concurrency.)
#include <atomic>
#include <chrono>

#include "text_support.hpp"

namespace {

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

TEST(BagConcurrency, ACallbackReentersTheBagWhileOtherThreadsWait) {
    std::atomic<int> afters{0}, stage{0};
    texttest::Bag bag;  // the default allocator: the counting one is not made for several threads
    ASSERT_TRUE(texttest::Listen(bag, CopyAndHold, &stage, "slow", {texttest::kBefore}));
    ASSERT_TRUE(texttest::Listen(bag, CountAndRead, &afters, nullptr, {texttest::kAfter}));
    std::thread holder([&] { TavPropertiesAddIntValueCStr(bag, "slow", 1, TAV_TRUE); });
    while (stage == 0) std::this_thread::yield();
    EXPECT_TRUE(TavPropertiesRemovePropertyCStr(bag, "slow"));  // by then added
    EXPECT_EQ(stage, 2);  // never 1 with a working lock, so never flaky
    holder.join();
    EXPECT_EQ(afters, 3);  // "inside" within the call for "slow", then its removal
}

}  // namespace
