// Workers on one bag add and remove a listener around a change of their own entry, change an entry
// whose listener re-enters the bag, merge into it and write it as text; the round counts must show.
#include <atomic>
#include <chrono>

#include "text_support.hpp"

namespace {

constexpr int kWorkers = 4;

bool HasInt(const TavProperties* bag, const std::string& path, TavInt value) {
    const TavInt* got = TavPropertiesGetIntValueCStr(bag, path.c_str());
    return got != nullptr && *got == value;
}
bool SetInt(TavProperties* bag, const std::string& path, TavInt value) {
    return TavPropertiesSetIntValueCStr(bag, path.c_str(), value, TAV_TRUE);
}

// Bumps "echo" after every change of "hits": the recursive lock lets the callback in, and the
// changing thread holding it keeps these read-modify-writes from interleaving.
void Echo(const TavPropertyListener*, TavProperties* bag, const TavString*, const TavPropertyValue*,
          const TavPropertyValue*) {
    const TavInt* echo = TavPropertiesGetIntValueCStr(bag, "echo");
    SetInt(bag, "echo", echo == nullptr ? 1 : *echo + 1);
}
void CountCall(const TavPropertyListener* l, TavProperties*, const TavString*,
               const TavPropertyValue*, const TavPropertyValue*) {
    ++*static_cast<std::atomic<int>*>(TavPropertyListenerGetData(l));
}

// One round r of worker t on the bag; returns the number of steps that went wrong.
int Round(TavProperties* bag, std::atomic<int>* heard, const std::string& t, int r) {
    TavPropertyListener mine;
    TavPropertyListenerConstructCStr(&mine, TAV_PROPERTYLISTENER_TRIGGER_Before, nullptr,
                                     &CountCall, heard, TavAllocatorGetDefault());
    int wrong = !TavPropertiesAddListener(bag, &mine);
    // A top-level entry: changes inside nested bags are told to their own listeners.
    wrong += !SetInt(bag, "own" + t, r) || !HasInt(bag, "own" + t, r);
    wrong += !TavPropertiesRemoveListener(bag, &mine) + !SetInt(bag, "hits", r);
    TavPropertyListenerDestruct(&mine);
    texttest::Bag source;
    wrong += !SetInt(source, "m" + t + ".round", r) || !SetInt(source, "shared.from" + t, r) ||
             TavPropertiesMerge(bag, source) != bag;
    TavString text;
    TavStringConstructDefault(&text, TavAllocatorGetDefault());
    wrong += !TavPropertiesToJson(bag, &text) || !TavPropertiesToXml(bag, &text);
    TavStringDestruct(&text);
    return wrong;
}

TEST(StressConcurrency, ListenersMergesAndWritesOnOneBag) {
    texttest::Bag bag;  // the default allocator: the counting one is not made for several threads
    ASSERT_TRUE(texttest::Listen(bag, &Echo, nullptr, "hits", {texttest::kAfter}));
    int rounds[kWorkers] = {}, total = 0;
    std::atomic<int> wrong{0}, heard[kWorkers] = {};
    std::vector<std::thread> pool;
    // Long enough for the threads to interleave often, short enough for sanitizers.
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(2000);
    for (int t = 0; t < kWorkers; ++t)
        pool.emplace_back([&, t] {
            for (; rounds[t] < 50000 && std::chrono::steady_clock::now() < end; ++rounds[t])
                wrong += Round(bag, &heard[t], std::to_string(t), rounds[t]);
        });
    for (auto& thread : pool) thread.join();
    EXPECT_EQ(wrong.load(), 0);
    for (int t = 0; t < kWorkers; ++t) {
        const std::string n = std::to_string(t);
        total += rounds[t];
        for (const std::string& path : {"own" + n, "m" + n + ".round", "shared.from" + n})
            EXPECT_TRUE(HasInt(bag, path, rounds[t] - 1)) << path;
        EXPECT_GE(heard[t].load(), rounds[t]) << "a listener hears the change made meanwhile";
    }
    EXPECT_TRUE(HasInt(bag, "echo", total)) << "each change of hits echoed exactly once";
    EXPECT_EQ(TavVector_TavPropertyListenerSize(&bag.get()->listeners), 1u) << "only the echo";
}

}  // namespace
