// Merging a source bag into a target: what replaces what, what is refused, depth and failures.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

// The allocator reports any block still live when the test ends.
struct Merge : ::testing::Test {
    Merge() {
        for (TavProperties* bag : {&x, &y}) TavPropertiesConstructDefault(bag, alloc);
        TavPropertyValueConstructInt(&one, 1, TAV_TRUE);  // a plain kind: owns nothing to destroy
    }
    ~Merge() override { for (TavProperties* bag : {&x, &y}) TavPropertiesDestruct(bag); }
    void Int(TavProperties* bag, const char* path, TavInt i, bool settable = true) {
        ASSERT_TRUE(TavPropertiesSetIntValueCStr(bag, path, i, settable));
    }
    void Ones(TavProperties* bag, const char* path, TavSizeT n) {  // [1, 1, ...], n long
        TavVector_TavPropertyValue vec;
        TavVector_TavPropertyValueConstructN(&vec, n, &one, alloc);
        ASSERT_TRUE(TavPropertiesSetVectorValueCStr(bag, path, &vec, TAV_TRUE));
        TavVector_TavPropertyValueDestruct(&vec);
    }
    void FillX() {  // {a='x', n={p=0, q=2}}, all settable
        ASSERT_TRUE(TavPropertiesSetStringCStrValueCStr(&x, "a", "x", TAV_TRUE));
        Int(&x, "n.p", 0);
        Int(&x, "n.q", 2);
    }

    tavtest::CountingAllocator alloc;
    TavProperties x, y;  // target, source
    TavPropertyValue one;
};

TEST_F(Merge, SourceEntriesReplaceWhatTheTargetLetsGoAndNestedBagsMergeEntryByEntry) {
    FillX();
    EXPECT_EQ(TavPropertiesMerge(&x, &y), &x);
    EXPECT_EQ(Show(&x), "a=s:x;n={p=i:0;q=i:2}");
    ASSERT_TRUE(TavPropertiesSetStringCStrValueCStr(&x, "b", "x", TAV_FALSE));
    ASSERT_TRUE(TavPropertiesAddPropertiesValueCStr(&x, "frozen", &y, TAV_FALSE));  // empty
    Int(&x, "m.p", 0, false);
    Ones(&x, "v", 3);
    for (const char* path : {"a", "b", "n.p", "m.p", "frozen.p", "new.deep.p"}) Int(&y, path, 1);
    Ones(&y, "v", 1);
    EXPECT_EQ(TavPropertiesMerge(&x, &y), &x);  // a refused set is no failure
    EXPECT_EQ(Show(&x),
              "a=i:1;b=s~x;frozen={}~;m={p=i~0};n={p=i:1;q=i:2};new={deep={p=i:1}};v=[i:1]");
}

TEST_F(Merge, SixtyThreeLevelsMergeAndOneMoreFailsKeepingEarlierEntries) {
    std::string path;
    for (int level = 0; level < 63; ++level) path += "l.";
    Int(&y, (path + "x").c_str(), 1);
    EXPECT_EQ(TavPropertiesMerge(&x, &y), &x);
    EXPECT_TRUE(TavPropertiesEqual(&x, &y));
    Int(&y, "a", 2);
    Int(&y, (path + "l.x").c_str(), 1);
    EXPECT_EQ(TavPropertiesMerge(&x, &y), nullptr);
    EXPECT_EQ(*TavPropertiesGetIntValueCStr(&x, "a"), 2);  // merged before the failure
}

// A set that fails for want of memory is passed over like a refused one; merged entries stay.
TEST_F(Merge, FailedAllocationsKeepWhatWasMergedAndLeakNothing) {
    for (const char* path : {"a", "n.p", "n.r"}) Int(&y, path, 1);
    Ones(&y, "v", 1);
    // Each entry old or new; n also merged without r.
    const std::regex partlyMerged(
        R"(a=(s:x|i:1);n=\{(p=i:0;q=i:2|p=i:1;q=i:2(;r=i:1)?)\}(;v=\[i:1\])?)");
    FillX();
    EXPECT_GT(tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        const bool merged = TavPropertiesMerge(&x, &y) == &x, hit = alloc.Failed();
        if (!hit) alloc.FailAt(0);  // after a hit, later allocations succeed
        if (!hit) {
            EXPECT_TRUE(merged) << k;
        }
        EXPECT_TRUE(std::regex_match(Show(&x), partlyMerged)) << Show(&x) << " at " << k;
        if (!hit) {
            EXPECT_EQ(Show(&x), "a=i:1;n={p=i:1;q=i:2;r=i:1};v=[i:1]");
        }
        TavPropertiesDestruct(&x);  // the failing allocation, if any, is spent by now
        TavPropertiesConstructDefault(&x, alloc);
        FillX();
    }), 5u);
}

}  // namespace
