// The race-free patterns, on several threads: values copied out under the bag's lock while
// other threads change and remove them; merges both ways between two bags through snapshots of
// the source; two bags whose listeners mirror each other, applying the change after the call.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "Os/TavProperties.h"
#include "text_support.hpp"

namespace {

// Runs body(t, round) on 4 threads for 300 ms, then joins them; when they are not all back 20 s
// later (a deadlock), the run aborts instead of hanging.
template <class Body>
void RunThreads(Body body) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
    std::vector<std::thread> pool;
    for (int t = 0; t < 4; ++t)
        pool.emplace_back([&, t] {
            for (int r = 0; std::chrono::steady_clock::now() < end; ++r) body(t, r);
        });
    auto joined = std::async(std::launch::async, [&] {
        for (std::thread& thread : pool) thread.join();
    });
    if (joined.wait_for(std::chrono::seconds(20)) == std::future_status::timeout) {
        std::fputs("threads still running after 20 s: deadlock\n", stderr);
        std::abort();
    }
}

bool SetInt(TavProperties* bag, const std::string& path, TavInt value) {
    return TavPropertiesSetIntValueCStr(bag, path.c_str(), value, TAV_TRUE);
}
bool Remove(TavProperties* bag, const std::string& path) {
    return TavPropertiesRemovePropertyAtPathCStr(bag, path.c_str());
}

// Two bags on the default allocator: the counting one is not made for several threads.
struct CopyOutConcurrency : ::testing::Test {
    texttest::Bag a, b;
    std::atomic<int> wrong{0};
};

// Threads 0 and 1 write and remove; 2 and 3 copy out. Every copy is whole and one of the values
// written, whatever was removed meanwhile (a pointer getter's result could be freed under it).
TEST_F(CopyOutConcurrency, ReadersCopyOutWhatWritersSetAndRemove) {
    const TavInt ints[] = {10, 20, 30};
    const std::string texts[] = {"short", std::string(300, 'L'), "a text of middling length"};
    const auto written = [&](TavInt i) { return std::count(ints, ints + 3, i) == 1; };
    std::atomic<int> copies{0};
    RunThreads([&](int t, int r) {
        const int w = (r + t) % 3;
        if (t < 2) {
            SetInt(a, "i", ints[w]);
            TavPropertiesSetStringCStrValueCStr(a, "s", texts[w].c_str(), TAV_TRUE);
            SetInt(a, "n.v", ints[w]);
            Remove(a, r % 2 ? "n" : t ? "i" : "s");
            return;
        }
        // A copy that found something counts, and counts as wrong when it is not right.
        const auto check = [&](bool right) { copies += 1, wrong += !right; };
        TavInt i = 0;
        if (TavPropertiesCopyIntValueCStr(a, "i", &i)) check(written(i));
        TavString s;
        TavStringConstructDefault(&s, TavAllocatorGetDefault());
        if (TavPropertiesCopyStringValueCStr(a, "s", &s))
            check(std::count(texts, texts + 3, s.buf) == 1);
        TavStringDestruct(&s);
        TavPropertyValue n;
        if (TavPropertiesCopyPropertyAtPathCStr(a, "n", &n)) {  // the bag is copied whole
            const TavInt* v = TavPropertiesGetIntValueCStr(TavPropertyValueGetProperties(&n), "v");
            check(v != nullptr && written(*v));
            TavPropertyValueDestruct(&n);
        }
    });
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_GT(copies.load(), 0);
}

// Counts the entries that break the rule of the merge test: an Int named x<k> holds k.
int Misfits(const TavProperties* bag) {
    int misfits = 0;
    for (auto it = TavMap_TavString__TavPropertyValueBeginConst(&bag->map);
         it != TavMap_TavString__TavPropertyValueEndConst(&bag->map);
         TavMap_TavString__TavPropertyValueConstIteratorIncrement(&it)) {
        const TavPropertyValue* v = &it->value.second;
        const TavProperties* nested = TavPropertyValueGetProperties(v);
        const TavInt* i = TavPropertyValueGetInt(v);
        misfits +=
            nested ? Misfits(nested) : i == nullptr || *i != std::atoi(it->value.first.buf + 1);
    }
    return misfits;
}

// The safe way to merge a bag that other threads change: merge a snapshot of it.
bool MergeSnapshot(TavProperties* into, const TavProperties* from) {
    TavProperties snapshot;
    if (TavPropertiesConstructSnapshot(&snapshot, from) == nullptr) return false;
    const bool merged = TavPropertiesMerge(into, &snapshot) == into;
    TavPropertiesDestruct(&snapshot);
    return merged;
}

// Threads 0 and 1 merge a into b and b into a; 2 and 3 remove entries (now and then the whole
// nested bag) and put them back. Afterwards one more merge each way makes the bags equal.
TEST_F(CopyOutConcurrency, MergesBothWaysThroughSnapshotsWhileEntriesAreRemoved) {
    for (int k = 0; k < 8; ++k)
        for (TavProperties* bag : {a.get(), b.get()}) {
            const std::string name = (bag == a.get() ? "a" : "b") + std::to_string(k);
            ASSERT_TRUE(SetInt(bag, name, k) && SetInt(bag, "sub." + name, k));
        }
    RunThreads([&](int t, int r) {
        TavProperties* bag = t % 2 ? b : a;
        if (t < 2) {
            wrong += !MergeSnapshot(bag, t ? a : b);
            return;
        }
        const std::string name = std::string(1, "ab"[r % 2]) + std::to_string(r % 8);
        const bool whole = r % 16 == 0, nested = whole || r % 3 == 0;
        Remove(bag, whole ? "sub" : nested ? "sub." + name : name);
        wrong += !SetInt(bag, nested ? "sub." + name : name, r % 8);
    });
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(Misfits(a) + Misfits(b), 0);
    ASSERT_TRUE(MergeSnapshot(b, a) && MergeSnapshot(a, b));
    EXPECT_TRUE(TavPropertiesEqual(a, b));
    EXPECT_EQ(a.get()->map.size, 17u);  // a0..a7, b0..b7 and sub
}

// A change that one bag's listener heard, to be made in the other bag after the call.
struct Pending {
    TavProperties* to;
    std::string name;
    bool removed;
    TavInt value;
};
thread_local std::vector<Pending> t_pending;
thread_local bool t_mirroring = false;

// After listener of each bag, the other bag as data. Writing into that bag from here would lock
// it while this bag's lock is held, against the other thread doing the same the other way round.
void RecordForMirror(const TavPropertyListener* l, TavProperties*, const TavString* name,
                     const TavPropertyValue*, const TavPropertyValue* v) {
    if (t_mirroring) return;  // the echo of a change being mirrored
    const TavInt* i = v != nullptr ? TavPropertyValueGetInt(v) : nullptr;
    t_pending.push_back(
        {static_cast<TavProperties*>(l->data), name->buf, v == nullptr, i != nullptr ? *i : 0});
}

TEST_F(CopyOutConcurrency, MirrorListenersApplyChangesAfterTheCallWithoutDeadlock) {
    ASSERT_TRUE(texttest::Listen(a, &RecordForMirror, b.get(), nullptr, {texttest::kAfter}));
    ASSERT_TRUE(texttest::Listen(b, &RecordForMirror, a.get(), nullptr, {texttest::kAfter}));
    // Each thread owns its names and changes them in the bag of its parity, then applies what
    // was heard, holding no bag's lock.
    RunThreads([&](int t, int r) {
        TavProperties* bag = t % 2 ? b : a;
        const std::string name = "t" + std::to_string(t) + "_" + std::to_string(r % 8);
        r % 3 == 2 ? Remove(bag, name) : SetInt(bag, name, r);
        t_mirroring = true;
        for (const Pending& p : t_pending)
            p.removed ? Remove(p.to, p.name) : SetInt(p.to, p.name, p.value);
        t_pending.clear();
        t_mirroring = false;
    });
    EXPECT_TRUE(TavPropertiesEqual(a, b));
    EXPECT_GT(a.get()->map.size, 0u);
}

}  // namespace
