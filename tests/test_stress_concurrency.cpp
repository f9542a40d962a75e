// Threads on one bag: each round a worker sets, reads and removes paths of its
// own, adds and removes a listener around a change, makes a change a listener
// answers by re-entering the bag and merges a source in, while one more thread
// writes the tree as text. After a bounded run the contents must be what the
// round counts say.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "Os/TavProperties.h"

namespace {

constexpr int kWorkers = 4;
// Long enough for the threads to interleave often, short enough for sanitizers.
constexpr auto kRunTime = std::chrono::milliseconds(2000);
constexpr int kMaxRounds = 50000;

std::string Path(const char* p, int t, const char* s = "") { return p + std::to_string(t) + s; }
const TavInt* GetInt(const TavProperties* bag, const std::string& path) {
    return TavPropertiesGetIntValueCStr(bag, path.c_str());
}
bool SetInt(TavProperties* bag, const std::string& path, TavInt value) {
    return TavPropertiesSetIntValueCStr(bag, path.c_str(), value, TAV_TRUE);
}

// After every change of "hits", bumps "echo" from inside the callback: the
// recursive lock lets it in, and since the changing thread holds the lock, no
// two of these read-modify-writes interleave.
void Echo(const TavPropertyListener*, TavProperties* bag, const TavString*,
          const TavPropertyValue*, const TavPropertyValue*) {
    const TavInt* echo = GetInt(bag, "echo");
    SetInt(bag, "echo", echo == nullptr ? 1 : *echo + 1);
}
void CountCall(const TavPropertyListener* l, TavProperties*, const TavString*,
               const TavPropertyValue*, const TavPropertyValue*) {
    static_cast<std::atomic<int>*>(TavPropertyListenerGetData(l))->fetch_add(1);
}

class StressConcurrency : public ::testing::Test {
protected:
    void SetUp() override {
        TavPropertiesConstructDefault(&bag, TavAllocatorGetDefault());
        TavPropertyListener echo;
        TavPropertyListenerConstructCStr(&echo, TAV_PROPERTYLISTENER_TRIGGER_After, "hits", &Echo,
                                         nullptr, TavAllocatorGetDefault());
        ASSERT_TRUE(TavPropertiesAddListener(&bag, &echo));
        TavPropertyListenerDestruct(&echo);
    }
    void TearDown() override { TavPropertiesDestruct(&bag); }

    // One round of worker t; returns the number of steps that went wrong.
    int Round(int t, int r) {
        int wrong = 0;
        SetInt(&bag, Path("t", t, ".value"), r);
        const TavInt* got = GetInt(&bag, Path("t", t, ".value"));
        wrong += got == nullptr || *got != r;
        SetInt(&bag, Path("t", t, ".tmp.leaf"), r);
        wrong += !TavPropertiesRemovePropertyAtPathCStr(&bag, Path("t", t, ".tmp").c_str());
        TavPropertyListener mine;
        TavPropertyListenerConstructCStr(&mine, TAV_PROPERTYLISTENER_TRIGGER_Before, nullptr,
                                         &CountCall, &heard[t], TavAllocatorGetDefault());
        wrong += !TavPropertiesAddListener(&bag, &mine);
        SetInt(&bag, Path("own", t), r);
        wrong += !TavPropertiesRemoveListener(&bag, &mine);
        TavPropertyListenerDestruct(&mine);
        SetInt(&bag, "hits", r);
        TavProperties source;
        TavPropertiesConstructDefault(&source, TavAllocatorGetDefault());
        SetInt(&source, Path("m", t, ".round"), r);
        SetInt(&source, Path("shared.from", t), r);
        wrong += TavPropertiesMerge(&bag, &source) != &bag;
        TavPropertiesDestruct(&source);
        return wrong;
    }
    // Whole-tree writes succeed while the workers change the tree.
    int Write() {
        TavString text;
        TavStringConstructDefault(&text, TavAllocatorGetDefault());
        const bool ok = TavPropertiesToJson(&bag, &text) && TavPropertiesToXml(&bag, &text);
        TavStringDestruct(&text);
        return !ok;
    }

    TavProperties bag;
    std::atomic<int> heard[kWorkers] = {};
};

TEST_F(StressConcurrency, PathsListenersMergesAndWritesOnOneBag) {
    std::vector<int> rounds(kWorkers + 1, 0);
    std::atomic<int> wrong{0};
    std::vector<std::thread> pool;
    for (int t = 0; t <= kWorkers; ++t) {
        pool.emplace_back([&, t] {
            const auto end = std::chrono::steady_clock::now() + kRunTime;
            for (; rounds[t] < kMaxRounds && std::chrono::steady_clock::now() < end; ++rounds[t])
                wrong += t == kWorkers ? Write() : Round(t, rounds[t]);
        });
    }
    for (auto& thread : pool) thread.join();
    EXPECT_EQ(wrong.load(), 0);
    int total = 0;
    for (int t = 0; t < kWorkers; ++t) {
        const int last = rounds[t] - 1;
        total += rounds[t];
        for (const std::string& path : {Path("t", t, ".value"), Path("m", t, ".round"),
                                        Path("shared.from", t), Path("own", t)}) {
            const TavInt* value = GetInt(&bag, path);
            EXPECT_TRUE(value != nullptr && *value == last) << path << " after " << rounds[t];
        }
        EXPECT_EQ(TavPropertiesGetPropertyAtPathCStr(&bag, Path("t", t, ".tmp").c_str()), nullptr);
        EXPECT_GE(heard[t].load(), rounds[t]) << "a listener hears the change made meanwhile";
    }
    const TavInt* echo = GetInt(&bag, "echo");
    EXPECT_TRUE(echo != nullptr && *echo == total) << "each change of hits echoed exactly once";
    EXPECT_EQ(TavVector_TavPropertyListenerSize(&bag.listeners), 1u) << "only the echo is left";
}

}  // namespace
