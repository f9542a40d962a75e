// Values copied out under the bag's lock, and snapshots of the bag merged into another (the safe
// way to merge a bag that others change), while other threads change, remove and merge entries.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>

#include "text_support.hpp"

namespace {

// Runs body(t, round) on 4 threads for 300 ms; a deadlock aborts the run rather than hang it.
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
    if (joined.wait_for(std::chrono::seconds(20)) == std::future_status::timeout) std::abort();
}

bool SetInt(TavProperties* bag, const std::string& path, TavInt value) {
    return TavPropertiesSetIntValueCStr(bag, path.c_str(), value, TAV_TRUE);
}

// Thread 0 writes into a and removes, 1 merges pairs x = y into a; 2 copies out of a; 3 merges a
// snapshot of a into b and copies out of b. Every copy is whole and one of the values written,
// whatever was removed meanwhile (a pointer getter's result could be freed under it), and every
// snapshot sees a merge whole or not at all (it holds the lock for its whole run).
TEST(CopyOutConcurrency, ReadersCopyOutWhatWritersSetRemoveAndMerge) {
    texttest::Bag a, b;  // the default allocator: the counting one is not made for several threads
    const TavInt ints[] = {10, 20, 30};
    const std::string texts[] = {"short", std::string(300, 'L'), "a text of middling length"};
    const auto written = [&](TavInt i) { return std::count(ints, ints + 3, i) == 1; };
    std::atomic<int> copies{0}, wrong{0};
    RunThreads([&](int t, int r) {
        const int w = (r + t) % 3;
        if (t == 0) {
            SetInt(a, "i", ints[w]);
            TavPropertiesSetStringCStrValueCStr(a, "s", texts[w].c_str(), TAV_TRUE);
            SetInt(a, "n.v", ints[w]);
            TavPropertiesRemovePropertyCStr(a, r % 2 ? "n" : r % 4 ? "i" : "s");
            return;
        }
        if (t == 1) {
            texttest::Bag pair;
            wrong += !SetInt(pair, "x", r) || !SetInt(pair, "y", r) || !TavPropertiesMerge(a, pair);
            return;
        }
        TavProperties snapshot;
        if (t == 3 && TavPropertiesConstructSnapshot(&snapshot, a) != nullptr) {
            const TavInt* x = TavPropertiesGetIntValueCStr(&snapshot, "x");
            const TavInt* y = TavPropertiesGetIntValueCStr(&snapshot, "y");
            wrong += !x != !y || (x && *x != *y) || TavPropertiesMerge(b, &snapshot) != b;
            TavPropertiesDestruct(&snapshot);
        }
        TavProperties* from = t == 2 ? a : b;
        // A copy that found something counts, and counts as wrong when it is not right.
        const auto check = [&](bool right) { copies += 1, wrong += !right; };
        TavInt i = 0;
        if (TavPropertiesCopyIntValueCStr(from, "i", &i)) check(written(i));
        TavString s;
        TavStringConstructDefault(&s, TavAllocatorGetDefault());
        if (TavPropertiesCopyStringValueCStr(from, "s", &s))
            check(std::count(texts, texts + 3, s.buf) == 1);
        TavStringDestruct(&s);
        TavPropertyValue n;
        if (TavPropertiesCopyPropertyAtPathCStr(from, "n", &n)) {  // the bag is copied whole
            const TavInt* v = TavPropertiesGetIntValueCStr(TavPropertyValueGetProperties(&n), "v");
            check(v != nullptr && written(*v));
            TavPropertyValueDestruct(&n);
        }
    });
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_GT(copies.load(), 0);
}

}  // namespace
