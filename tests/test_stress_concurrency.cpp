// Several threads on shared bags at once: path sets, gets and removes,
// listeners added and removed while events fly, listeners that re-enter the
// bag they are told about, merges into one shared target and text writes of
// the whole tree. Each test runs for a bounded time and then checks that the
// final contents are exactly what the threads' own counts say they must be.
// Built in every configuration; the thread sanitizer build runs the suites
// named *Concurrency*.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Os/TavProperties.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kThreads = 4;
// Long enough for the threads to interleave often, short enough to keep the
// sanitizer builds quick.
constexpr auto kRunTime = std::chrono::milliseconds(2000);
constexpr int kMaxRounds = 50000;

// Runs `body(thread, round)` on kThreads threads until kRunTime has passed or
// kMaxRounds rounds are done; returns the rounds each thread completed.
std::vector<int> RunThreads(int threads, const std::function<void(int, int)>& body) {
    std::vector<int> rounds(threads, 0);
    std::atomic<bool> go{false};
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) {
        pool.emplace_back([&, t] {
            while (!go.load()) std::this_thread::yield();
            const auto end = Clock::now() + kRunTime;
            int r = 0;
            for (; r < kMaxRounds && Clock::now() < end; ++r) body(t, r);
            rounds[t] = r;
        });
    }
    go = true;
    for (auto& th : pool) th.join();
    int total = 0;
    for (int r : rounds) total += r;
    ::testing::Test::RecordProperty("rounds", total);
    return rounds;
}

std::string Path(const char* prefix, int t, const char* rest) {
    return std::string(prefix) + std::to_string(t) + rest;
}

class BagFixture : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(TavPropertiesConstructDefault(&bag, TavAllocatorGetDefault()), nullptr);
    }
    void TearDown() override { TavPropertiesDestruct(&bag); }

    void AddListener(TavPropertyListenerTrigger trigger, const char* name,
                     TavPropertyListenerCallback cb, void* data) {
        TavPropertyListener l;
        ASSERT_NE(
            TavPropertyListenerConstructCStr(&l, trigger, name, cb, data, TavAllocatorGetDefault()),
            nullptr);
        ASSERT_TRUE(TavPropertiesAddListener(&bag, &l));
        TavPropertyListenerDestruct(&l);
    }

    // Every Json write of the whole tree succeeds while the others change it.
    void WriteText(std::atomic<int>& failures) {
        TavString json, xml;
        TavStringConstructDefault(&json, TavAllocatorGetDefault());
        TavStringConstructDefault(&xml, TavAllocatorGetDefault());
        if (TavPropertiesToJson(&bag, &json) == nullptr || TavStringSize(&json) < 2) ++failures;
        TavPropertiesToXml(&bag, &xml);
        TavStringDestruct(&xml);
        TavStringDestruct(&json);
    }

    TavProperties bag;
};

// ---- paths -------------------------------------------------------------------

using PathConcurrency = BagFixture;

// Each thread owns a subtree "t<n>" (set, read back, remove) and bumps its own
// counter in the common subtree; one more thread writes the tree as text.
TEST_F(PathConcurrency, SetsGetsAndRemovesOnSharedTree) {
    std::atomic<int> mismatches{0}, writeFailures{0};
    const auto rounds = RunThreads(kThreads + 1, [&](int t, int r) {
        if (t == kThreads) return WriteText(writeFailures);
        const std::string own = Path("t", t, ".value"), tmp = Path("t", t, ".tmp.leaf");
        const std::string counter = Path("common.c", t, "");
        TavPropertiesSetIntValueCStr(&bag, own.c_str(), r, TAV_TRUE);
        const TavInt* got = TavPropertiesGetIntValueCStr(&bag, own.c_str());
        if (got == nullptr || *got != r) ++mismatches;
        TavPropertiesSetStringCStrValueCStr(&bag, tmp.c_str(), "temporary", TAV_TRUE);
        if (!TavPropertiesRemovePropertyAtPathCStr(&bag, Path("t", t, ".tmp").c_str()))
            ++mismatches;
        TavPropertiesSetIntValueCStr(&bag, counter.c_str(), r + 1, TAV_TRUE);
    });
    EXPECT_EQ(mismatches.load(), 0);
    EXPECT_EQ(writeFailures.load(), 0);
    for (int t = 0; t < kThreads; ++t) {
        const TavInt* value = TavPropertiesGetIntValueCStr(&bag, Path("t", t, ".value").c_str());
        const TavInt* counter = TavPropertiesGetIntValueCStr(&bag, Path("common.c", t, "").c_str());
        ASSERT_NE(value, nullptr);
        ASSERT_NE(counter, nullptr);
        EXPECT_EQ(*value, rounds[t] - 1);
        EXPECT_EQ(*counter, rounds[t]);
        EXPECT_EQ(TavPropertiesGetPropertyAtPathCStr(&bag, Path("t", t, ".tmp").c_str()), nullptr);
    }
}

// ---- listeners ---------------------------------------------------------------

using ListenerConcurrency = BagFixture;

// After every change of "hits", bumps "echo" in the same bag from inside the
// callback: the recursive lock lets it in, and since the changing thread holds
// the lock, the read-modify-write of "echo" cannot interleave with another.
void Echo(const TavPropertyListener*, TavProperties* bag, const TavString*, const TavPropertyValue*,
          const TavPropertyValue*) {
    const TavInt* echo = TavPropertiesGetIntValueCStr(bag, "echo");
    TavPropertiesSetIntValueCStr(bag, "echo", echo == nullptr ? 1 : *echo + 1, TAV_TRUE);
}

void CountCall(const TavPropertyListener* l, TavProperties*, const TavString*,
               const TavPropertyValue*, const TavPropertyValue*) {
    static_cast<std::atomic<int>*>(TavPropertyListenerGetData(l))->fetch_add(1);
}

TEST_F(ListenerConcurrency, ReentrantListenersAndListenerChurn) {
    AddListener(TAV_PROPERTYLISTENER_TRIGGER_After, "hits", &Echo, nullptr);
    std::atomic<int> heard[kThreads] = {};
    std::atomic<int> refused{0};
    const auto rounds = RunThreads(kThreads, [&](int t, int r) {
        // Every thread adds a listener of its own, makes one change, drops it.
        TavPropertyListener mine;
        TavPropertyListenerConstructCStr(&mine, TAV_PROPERTYLISTENER_TRIGGER_Before, nullptr,
                                         &CountCall, &heard[t], TavAllocatorGetDefault());
        if (!TavPropertiesAddListener(&bag, &mine)) ++refused;
        TavPropertiesSetIntValueCStr(&bag, Path("own", t, "").c_str(), r, TAV_TRUE);
        if (!TavPropertiesRemoveListener(&bag, &mine)) ++refused;
        TavPropertyListenerDestruct(&mine);
        // And one change that the echo listener answers, under the bag's lock.
        TavPropertiesSetIntValueCStr(&bag, "hits", r, TAV_TRUE);
    });
    EXPECT_EQ(refused.load(), 0);
    int total = 0;
    for (int t = 0; t < kThreads; ++t) {
        total += rounds[t];
        EXPECT_GE(heard[t].load(), rounds[t])
            << "a listener hears the change made while it is registered";
    }
    const TavInt* echo = TavPropertiesGetIntValueCStr(&bag, "echo");
    ASSERT_NE(echo, nullptr);
    EXPECT_EQ(*echo, total) << "each change of hits was echoed exactly once";
    EXPECT_EQ(TavVector_TavPropertyListenerSize(&bag.listeners), 1u)
        << "only the echo listener is left";
}

// ---- merge -------------------------------------------------------------------

using MergeConcurrency = BagFixture;

// Each thread merges a private source into the shared target again and again,
// the source holding the round number in its own subtree and in a shared one.
TEST_F(MergeConcurrency, MergesIntoOneTargetWhileWriting) {
    std::atomic<int> failures{0}, writeFailures{0};
    std::vector<int> lastRound(kThreads, -1);
    const auto rounds = RunThreads(kThreads + 1, [&](int t, int r) {
        if (t == kThreads) return WriteText(writeFailures);
        TavProperties source;
        TavPropertiesConstructDefault(&source, TavAllocatorGetDefault());
        TavPropertiesSetIntValueCStr(&source, Path("m", t, ".round").c_str(), r, TAV_TRUE);
        TavPropertiesSetIntValueCStr(&source, Path("shared.from", t, "").c_str(), r, TAV_TRUE);
        TavPropertiesSetStringCStrValueCStr(&source, Path("shared.deep.s", t, "").c_str(), "text",
                                            TAV_TRUE);
        if (TavPropertiesMerge(&bag, &source) != &bag) ++failures;
        TavPropertiesDestruct(&source);
        lastRound[t] = r;
    });
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(writeFailures.load(), 0);
    for (int t = 0; t < kThreads; ++t) {
        ASSERT_EQ(lastRound[t], rounds[t] - 1);
        const TavInt* own = TavPropertiesGetIntValueCStr(&bag, Path("m", t, ".round").c_str());
        const TavInt* shared =
            TavPropertiesGetIntValueCStr(&bag, Path("shared.from", t, "").c_str());
        ASSERT_NE(own, nullptr);
        ASSERT_NE(shared, nullptr);
        EXPECT_EQ(*own, lastRound[t]);
        EXPECT_EQ(*shared, lastRound[t]) << "no merge lost another thread's entry";
        EXPECT_NE(TavPropertiesGetStringValueCStr(&bag, Path("shared.deep.s", t, "").c_str()),
                  nullptr);
    }
}

}  // namespace
