// Merging a source bag into a target: what replaces what, what is merged
// recursively, what the target refuses, the depth limit and failures.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "CountingAllocator.hpp"

using tavtest::CountingAllocator;

namespace {

std::string Show(const TavProperties* bag);

std::string Show(const TavPropertyValue* v) {
    if (!v) return "-";
    if (const TavInt* i = TavPropertyValueGetInt(v)) return std::to_string(*i);
    if (const TavString* s = TavPropertyValueGetString(v)) return std::string("'") + s->buf + "'";
    if (const TavProperties* p = TavPropertyValueGetProperties(v)) return Show(p);
    std::string text = "[";
    const TavVector_TavPropertyValue* vec = TavPropertyValueGetVector(v);
    for (TavSizeT i = 0; vec && i < TavVector_TavPropertyValueSize(vec); ++i) {
        text += Show(TavVector_TavPropertyValueAtConst(vec, i)) + ",";
    }
    return text + "]";
}

// "{name=value,...}" in name order; values of other kinds show as "[]".
std::string Show(const TavProperties* bag) {
    std::string text = "{";
    auto end = TavMap_TavString__TavPropertyValueEndConst(&bag->map);
    for (auto it = TavMap_TavString__TavPropertyValueBeginConst(&bag->map); it != end;
         TavMap_TavString__TavPropertyValueConstIteratorIncrement(&it)) {
        const auto* entry = TavMap_TavString__TavPropertyValueConstIteratorContentOfConst(&it);
        text += std::string(entry->first.buf) + "=" + Show(&entry->second) + ",";
    }
    return text + "}";
}

class Merge : public ::testing::Test {
protected:
    void SetUp() override {
        TavPropertiesConstructDefault(&x, alloc);
        TavPropertiesConstructDefault(&y, alloc);
    }
    void TearDown() override {
        TavPropertiesDestruct(&x);
        TavPropertiesDestruct(&y);
    }
    void Int(TavProperties* bag, const char* path, TavInt i, bool settable = true) {
        ASSERT_TRUE(TavPropertiesSetIntValueCStr(bag, path, i, settable));
    }
    void Vector(TavProperties* bag, const char* path, TavSizeT n) {
        TavPropertyValue one;
        TavPropertyValueConstructInt(&one, 1, TAV_TRUE);
        TavVector_TavPropertyValue vec;
        TavVector_TavPropertyValueConstructN(&vec, n, &one, alloc);
        ASSERT_TRUE(TavPropertiesSetVectorValueCStr(bag, path, &vec, TAV_TRUE));
        TavVector_TavPropertyValueDestruct(&vec);
    }
    void EmptyBag(TavProperties* bag, const char* path, bool settable) {
        TavProperties empty;
        TavPropertiesConstructDefault(&empty, alloc);
        ASSERT_TRUE(TavPropertiesAddPropertiesValueCStr(bag, path, &empty, settable));
        TavPropertiesDestruct(&empty);
    }
    bool MergeYIntoX() { return TavPropertiesMerge(&x, &y) == &x; }

    CountingAllocator alloc;
    TavProperties x, y;
};

TEST_F(Merge, SourceEntriesReplaceTargetEntriesTheTargetLetsGo) {
    Int(&x, "keep", 5);
    EXPECT_TRUE(MergeYIntoX());  // an empty source changes nothing
    EXPECT_EQ(Show(&x), "{keep=5,}");
    ASSERT_TRUE(TavPropertiesSetStringCStrValueCStr(&x, "a", "x", TAV_TRUE));
    ASSERT_TRUE(TavPropertiesSetStringCStrValueCStr(&x, "b", "x", TAV_FALSE));
    Vector(&x, "v", 3);
    Int(&x, "other", 0);
    Int(&y, "a", 1);
    Int(&y, "b", 1);
    Vector(&y, "v", 1);
    Int(&y, "other.p", 1);       // a nested bag meets an Int: it takes its place
    EXPECT_TRUE(MergeYIntoX());  // a refused set is no failure
    EXPECT_EQ(Show(&x), "{a=1,b='x',keep=5,other={p=1,},v=[1,],}");
    EXPECT_TRUE(*TavPropertiesIsSettableValueCStr(&x, "other"));
}

TEST_F(Merge, NestedBagsMergeEntryByEntryUnderTheTargetsFlags) {
    Int(&x, "n.p", 0);
    Int(&x, "n.q", 2);
    Int(&x, "m.p", 0, false);
    EmptyBag(&x, "frozen", false);
    Int(&y, "n.p", 1);
    Int(&y, "m.p", 1);
    Int(&y, "frozen.p", 1);
    Int(&y, "new.deep.p", 1);
    std::vector<std::string> names;
    TavPropertyListener l;
    TavPropertyListenerConstructCStr(
        &l, TAV_PROPERTYLISTENER_TRIGGER_After, nullptr,
        [](const TavPropertyListener* self, TavProperties*, const TavString* name,
           const TavPropertyValue*, const TavPropertyValue*) {
            static_cast<std::vector<std::string>*>(self->data)->push_back(name->buf);
        },
        &names, alloc);
    TavPropertiesAddListener(&x, &l);
    TavPropertyListenerDestruct(&l);
    EXPECT_TRUE(MergeYIntoX());
    EXPECT_EQ(Show(&x), "{frozen={},m={p=0,},n={p=1,q=2,},new={deep={p=1,},},}");
    EXPECT_EQ(names, (std::vector<std::string>{"m", "n", "new"}));  // one set per nested name
    TavPropertiesDestruct(&x);  // its listener still writes to `names`
    TavPropertiesConstructDefault(&x, alloc);
}

TEST_F(Merge, SixtyThreeLevelsMergeAndOneMoreFailsKeepingEarlierEntries) {
    std::string path;
    for (int level = 0; level < 63; ++level) path += "l.";
    Int(&y, "a", 1);
    Int(&y, (path + "x").c_str(), 1);
    EXPECT_TRUE(MergeYIntoX());
    EXPECT_TRUE(TavPropertiesEqual(&x, &y));
    TavPropertiesDestruct(&x);
    TavPropertiesConstructDefault(&x, alloc);
    Int(&y, (path + "l.x").c_str(), 1);
    EXPECT_EQ(TavPropertiesMerge(&x, &y), nullptr);
    EXPECT_EQ(Show(&x), "{a=1,}");
}

TEST_F(Merge, FailedAllocationsKeepWhatWasMergedAndLeakNothing) {
    Int(&y, "a", 1);
    Int(&y, "n.p", 1);
    Int(&y, "n.r", 3);
    Vector(&y, "v", 1);
    const std::size_t live = alloc.liveBlocks();
    std::size_t points = tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        alloc.FailAt(0);
        TavPropertiesDestruct(&x);
        TavPropertiesConstructDefault(&x, alloc);
        TavPropertiesSetStringCStrValueCStr(&x, "a", "x", TAV_TRUE);
        Int(&x, "n.p", 0);
        Int(&x, "n.q", 2);
        alloc.FailAt(k);
        const bool merged = MergeYIntoX();
        const bool hit = alloc.Failed();
        if (!hit) alloc.FailAt(0);
        EXPECT_TRUE(merged || hit);
        // A set that fails for want of memory is ignored like a refused one,
        // inside a nested merge too.
        const std::set<std::string> allowed[] = {
            {"'x'", "1"}, {"{p=0,q=2,}", "{p=1,q=2,}", "{p=1,q=2,r=3,}"}, {"-", "[1,]"}};
        const char* names[] = {"a", "n", "v"};
        for (int i = 0; i < 3; ++i) {
            const std::string got = Show(TavPropertiesGetPropertyCStr(&x, names[i]));
            EXPECT_TRUE(allowed[i].count(got)) << names[i] << " " << got << " at " << k;
        }
        if (!hit) {
            EXPECT_EQ(Show(&x), "{a=1,n={p=1,q=2,r=3,},v=[1,],}");
        }
    });
    EXPECT_GT(points, 5u);
    TavPropertiesDestruct(&x);
    EXPECT_EQ(alloc.liveBlocks(), live);
    TavPropertiesConstructDefault(&x, alloc);
}

}  // namespace
