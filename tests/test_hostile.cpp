// Callers that push at the edges: trees far deeper than any stack, sources
// that live inside their target, and listeners that break the rules. None of
// it may crash, hang or touch released memory; each case checks the outcome
// it is documented to have.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using texttest::Bag;
using texttest::Listen;
using texttest::PutVectorChain;

constexpr int kDeep = 100000;
constexpr auto kBefore = TAV_PROPERTYLISTENER_TRIGGER_Before;
constexpr auto kAfter = TAV_PROPERTYLISTENER_TRIGGER_After;

std::string Chain(int levels) {
    std::string path = "a";
    for (int i = 1; i < levels; ++i) path += ".a";
    return path;
}

TavProperties* Nested(TavProperties* bag, const char* path) {
    return const_cast<TavProperties*>(TavPropertiesGetPropertiesValueCStr(bag, path));
}

// A chain of `levels` bags, each the only entry "a" of the one above, with an
// Int 7 "leaf" at the bottom, built one level at a time through nested-bag
// values rather than by one path.
void BuildByValues(TavProperties* top, int levels) {
    TavProperties empty;
    TavPropertiesConstructDefault(&empty, TavPropertiesGetAllocator(top));
    TavProperties* cur = top;
    for (int i = 0; i < levels; ++i) {
        ASSERT_TRUE(TavPropertiesAddPropertiesValueCStr(cur, "a", &empty, TAV_TRUE));
        cur = Nested(cur, "a");
    }
    TavPropertiesDestruct(&empty);
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(cur, "leaf", 7, TAV_TRUE));
}

// ---- depth ------------------------------------------------------------------

TEST(Depth, ChainBuiltByOnePathIsCopiedComparedAssignedAndDestroyed) {
    tavtest::CountingAllocator counting;
    {
        Bag bag(counting);
        const std::string path = Chain(kDeep);
        ASSERT_TRUE(TavPropertiesSetIntValueCStr(bag, (path + ".leaf").c_str(), 7, TAV_TRUE));
        TavProperties copy;
        ASSERT_NE(TavPropertiesConstructCopy(&copy, bag), nullptr);
        EXPECT_TRUE(TavPropertiesEqual(&copy, bag));
        ASSERT_TRUE(TavPropertiesSetIntValueCStr(&copy, (path + ".leaf").c_str(), 8, TAV_TRUE));
        EXPECT_FALSE(TavPropertiesEqual(&copy, bag));  // differs only at the bottom
        ASSERT_NE(TavPropertiesAssign(&copy, bag), nullptr);
        EXPECT_TRUE(TavPropertiesEqual(&copy, bag));
        EXPECT_EQ(*TavPropertiesGetIntValueCStr(&copy, (path + ".leaf").c_str()), 7);
        TavPropertiesDestruct(&copy);
        EXPECT_TRUE(TavPropertiesRemovePropertyCStr(bag, "a"));
        EXPECT_EQ(counting.liveBlocks(), 0u);
    }
    EXPECT_EQ(counting.liveBlocks(), 0u);
}

TEST(Depth, ChainBuiltByNestedValuesIsCopiedAsAValueAndMergedUpToTheLimit) {
    Bag bag;
    BuildByValues(bag, kDeep);
    TavPropertyValue value;
    ASSERT_NE(TavPropertyValueConstructProperties(&value, bag, TAV_TRUE), nullptr);
    TavPropertyValue copy;
    ASSERT_NE(TavPropertyValueConstructCopy(&copy, &value), nullptr);
    EXPECT_TRUE(TavPropertyValueEqual(&copy, &value));
    TavPropertyValueDestruct(&copy);
    // Merge refuses sources deeper than 63 levels: a clean failure, not a crash.
    Bag target;
    EXPECT_EQ(TavPropertiesMerge(target, bag), nullptr);
    TavPropertyValueDestruct(&value);
}

TEST(Depth, VectorsNestedInVectorsAreCopiedComparedAndDestroyed) {
    Bag bag;
    PutVectorChain(bag, "v", kDeep, texttest::Int(7));
    PutVectorChain(bag, "shallower", kDeep / 2, texttest::Int(7));
    const TavPropertyValue* v = TavPropertiesGetPropertyCStr(bag, "v");
    TavPropertyValue copy;
    ASSERT_NE(TavPropertyValueConstructCopy(&copy, v), nullptr);
    EXPECT_TRUE(TavPropertyValueEqual(&copy, v));
    // Assigned onto element by element, level by level.
    TavPropertyValue* shallower = TavPropertiesGetPropertyCStr(bag, "shallower");
    ASSERT_NE(TavPropertyValueAssign(shallower, v), nullptr);
    EXPECT_TRUE(TavPropertyValueEqual(shallower, v));
    ASSERT_TRUE(TavPropertiesSetPropertyCStr(bag, "copy", &copy));
    const TavPropertyValue other = texttest::Int(1);
    ASSERT_NE(TavPropertyValueAssign(&copy, &other), nullptr);  // the deep vector goes
    TavPropertyValueDestruct(&copy);
    EXPECT_TRUE(TavPropertyValueEqual(TavPropertiesGetPropertyCStr(bag, "copy"), v));
}

TEST(Depth, FailedDeepCopiesLeaveNothingBehind) {
    tavtest::CountingAllocator counting;
    Bag bag(counting);
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(bag, (Chain(200) + ".leaf").c_str(), 7, TAV_TRUE));
    const std::size_t before = counting.liveBlocks();
    const std::size_t points = tavtest::SweepAllocationFailures(counting, [&](std::size_t k) {
        TavProperties copy;
        if (TavPropertiesConstructCopy(&copy, bag) == nullptr) {
            ASSERT_EQ(counting.liveBlocks(), before) << "k=" << k;
            return;
        }
        EXPECT_FALSE(counting.Failed()) << "made in spite of failing allocation " << k;
        counting.FailAt(0);  // the comparison has memory of its own; the sweep ends here
        EXPECT_TRUE(TavPropertiesEqual(&copy, bag));
        TavPropertiesDestruct(&copy);
    });
    EXPECT_GE(points, 600u);  // three blocks a level: node, name, bag record
}

// ---- destruction and its listeners ----------------------------------------------

struct Events {
    std::vector<std::string> lines;
    TavProperties* readd = nullptr;  // when set, each removed name is added again
};

void Record(const TavPropertyListener* l, TavProperties*, const TavString* name,
            const TavPropertyValue*, const TavPropertyValue* newValue) {
    auto* events = static_cast<Events*>(l->data);
    if (events->readd != nullptr && newValue != nullptr) return;  // only removals count here
    events->lines.push_back((l->trigger == kBefore ? "B " : "A ") + std::string(name->buf));
    if (events->readd != nullptr && l->trigger == kAfter) {
        TavPropertiesSetIntValue(events->readd, name, 1, TAV_TRUE);
    }
}

TEST(Depth, DestructionTellsNestedListenersBetweenTheOuterBeforeAndAfter) {
    Events events;
    TavProperties bag;
    TavPropertiesConstructDefault(&bag, TavAllocatorGetDefault());
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(&bag, "n.m.x", 1, TAV_TRUE));
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(&bag, "z", 1, TAV_TRUE));
    for (TavProperties* b : {&bag, Nested(&bag, "n"), Nested(&bag, "n.m")})
        ASSERT_TRUE(Listen(b, &Record, &events));
    TavPropertiesDestruct(&bag);
    const std::vector<std::string> expected = {"B n", "B m", "B x", "A x", "A m",
                                               "A n", "B z", "A z"};
    EXPECT_EQ(events.lines, expected);
}

TEST(Depth, DestructionEndsWhenAnAfterListenerAddsEveryRemovedEntryAgain) {
    Events events;
    TavProperties bag;
    TavPropertiesConstructDefault(&bag, TavAllocatorGetDefault());
    for (const char* name : {"a", "b", "c"}) TavPropertiesSetIntValueCStr(&bag, name, 1, TAV_TRUE);
    events.readd = &bag;
    ASSERT_TRUE(Listen(&bag, &Record, &events, nullptr, {kAfter}));
    TavPropertiesDestruct(&bag);
    // A bag tells as many removals as it held at the start (here "a" comes
    // back in front each time); what listeners add beyond that goes unheard.
    EXPECT_EQ(events.lines, (std::vector<std::string>{"A a", "A a", "A a"}));
}

// ---- aliasing ---------------------------------------------------------------------

// The bag as the one-line reader's syntax would not show it, but comparably.
std::string Json(const TavProperties* bag) {
    return texttest::Written([&](TavString* s) { return TavPropertiesToJson(bag, s); });
}

// Runs op on a bag and on a twin, with the source a nested bag of the bag
// itself in the first case and an independent copy of it in the second.
void ExpectSameAsWithACopy(const std::function<void(TavProperties*, const TavProperties*)>& op) {
    Bag bag, twin;
    for (TavProperties* b : {bag.get(), twin.get()}) {
        TavPropertiesSetIntValueCStr(b, "n.n.x", 1, TAV_TRUE);
        TavPropertiesSetStringCStrValueCStr(b, "n.y", "s", TAV_TRUE);
        TavPropertiesSetIntValueCStr(b, "n.n", 5, TAV_TRUE);
        TavPropertiesSetIntValueCStr(b, "z", 2, TAV_TRUE);
    }
    TavProperties copy;
    TavPropertiesConstructCopy(&copy, Nested(twin, "n"));
    op(twin, &copy);
    TavPropertiesDestruct(&copy);
    op(bag, Nested(bag, "n"));
    EXPECT_EQ(Json(bag), Json(twin));
}

TEST(Aliasing, MergeAndAssignFromTheTargetsOwnNestedBagActAsWithACopy) {
    ExpectSameAsWithACopy([](TavProperties* x, const TavProperties* y) {
        EXPECT_EQ(TavPropertiesMerge(x, y), x);
    });
    ExpectSameAsWithACopy([](TavProperties* x, const TavProperties* y) {
        EXPECT_EQ(TavPropertiesAssign(x, y), x);
    });
    ExpectSameAsWithACopy([](TavProperties* x, const TavProperties* y) {
        EXPECT_EQ(TavPropertiesMerge(x, x), x);  // a bag merged into itself
        (void)y;
    });
}

TEST(Aliasing, AValueAssignedFromItsOwnElementTakesItsContent) {
    Bag bag;
    PutVectorChain(bag, "v", 4, texttest::Int(7));  // [[[[7]]]]
    TavPropertyValue* v = TavPropertiesGetPropertyCStr(bag, "v");
    TavPropertyValue expected;
    TavPropertyValueConstructCopy(&expected, v->u.vec.begin);
    // Same kind: a vector from its own first element.
    ASSERT_NE(TavPropertyValueAssign(v, v->u.vec.begin), nullptr);
    EXPECT_TRUE(TavPropertyValueEqual(v, &expected));
    TavPropertyValueDestruct(&expected);
    // Another kind: the vector becomes its deepest element, an Int.
    const TavPropertyValue* inner = v;
    while (TavPropertyValueGetVector(inner) != nullptr) inner = inner->u.vec.begin;
    ASSERT_NE(TavPropertyValueAssign(v, inner), nullptr);
    EXPECT_EQ(*TavPropertyValueGetInt(v), 7);
}

void ReadNewValue(const TavPropertyListener* l, TavProperties*, const TavString*,
                  const TavPropertyValue*, const TavPropertyValue* newValue) {
    if (newValue != nullptr) *static_cast<TavPropertyValueType*>(l->data) = newValue->type;
}

TEST(Aliasing, SettingAnEntryFromAValueInsideItTellsAfterListenersALiveValue) {
    Bag bag;
    TavPropertiesSetIntValueCStr(bag, "n.x", 3, TAV_TRUE);
    TavPropertyValueType seen = TAV_PROPERTYVALUE_TYPE_Bool;
    ASSERT_TRUE(Listen(bag, ReadNewValue, &seen, "n", {kAfter}));
    EXPECT_TRUE(
        TavPropertiesSetPropertyCStr(bag, "n", TavPropertiesGetPropertyAtPathCStr(bag, "n.x")));
    EXPECT_EQ(seen, TAV_PROPERTYVALUE_TYPE_Int);
    EXPECT_EQ(*TavPropertiesGetIntValueCStr(bag, "n"), 3);
}

// ---- listeners that break the rules ---------------------------------------------------

struct Hostile {
    TavProperties* bag;  // where the listener strikes, once
    const char* path;    // what it removes
    bool struck = false;
};

void RemoveInBefore(const TavPropertyListener* l, TavProperties*, const TavString*,
                    const TavPropertyValue*, const TavPropertyValue*) {
    auto* h = static_cast<Hostile*>(l->data);
    if (h->struck) return;
    h->struck = true;
    TavPropertiesRemovePropertyAtPathCStr(h->bag, h->path);
}

// Each case: a Before listener on `listenOn` removes `removes` (the entry in
// progress or a bag that holds it) while the operation runs. The operation
// fails and tells no After; the bag stays usable and nothing leaks.
struct ForbiddenCase {
    const char* what;
    const char* listenOn;  // path of the bag that gets the listener ("" for the top)
    const char* removes;
    std::function<TavBool(TavProperties*)> op;
};

TEST(Reentrancy, BeforeListenersThatRemoveTheEntryInProgressMakeTheOperationFail) {
    const std::vector<ForbiddenCase> cases = {
        {"set by name", "", "a", [](TavProperties* b) { return TavPropertiesSetIntValueCStr(b, "a", 9, TAV_TRUE); }},
        {"remove by name", "", "a", [](TavProperties* b) { return TavPropertiesRemovePropertyCStr(b, "a"); }},
        {"set by path", "n", "n.x", [](TavProperties* b) { return TavPropertiesSetIntValueCStr(b, "n.x", 9, TAV_TRUE); }},
        {"nested bag removed during a set", "n", "n", [](TavProperties* b) { return TavPropertiesSetIntValueCStr(b, "n.x", 9, TAV_TRUE); }},
        {"nested bag removed during an add", "n", "n", [](TavProperties* b) { return TavPropertiesAddIntValueCStr(b, "n.new", 9, TAV_TRUE); }},
        {"nested bag removed during a remove", "n", "n", [](TavProperties* b) { return TavPropertiesRemovePropertyAtPathCStr(b, "n.x"); }},
        {"vector removed during an indexed insert", "", "v", [](TavProperties* b) { return TavPropertiesAddIntValueCStr(b, "v[0]", 9, TAV_TRUE); }},
        {"vector removed during an indexed remove", "", "v", [](TavProperties* b) { return TavPropertiesRemovePropertyAtPathCStr(b, "v[0]"); }},
        {"element's vector removed during a set", "", "v", [](TavProperties* b) { return TavPropertiesSetIntValueCStr(b, "v[0]", 9, TAV_TRUE); }},
    };
    for (const ForbiddenCase& c : cases) {
        SCOPED_TRACE(c.what);
        tavtest::CountingAllocator counting;
        {
            Bag bag(counting);
            TavPropertiesSetIntValueCStr(bag, "a", 1, TAV_TRUE);
            TavPropertiesSetIntValueCStr(bag, "n.x", 1, TAV_TRUE);
            bag.Put("v", texttest::Vec({texttest::Int(1)}, counting));
            Hostile hostile{bag, c.removes};
            TavProperties* target = *c.listenOn ? Nested(bag, c.listenOn) : bag;
            ASSERT_TRUE(Listen(target, RemoveInBefore, &hostile, nullptr, {kBefore}));
            EXPECT_FALSE(c.op(bag));
            EXPECT_TRUE(hostile.struck);
            EXPECT_EQ(TavPropertiesGetPropertyAtPathCStr(bag, c.removes), nullptr);
            EXPECT_TRUE(TavPropertiesSetIntValueCStr(bag, "still", 1, TAV_TRUE));
        }
        EXPECT_EQ(counting.liveBlocks(), 0u);
    }
}

}  // namespace
