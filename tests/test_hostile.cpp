// Callers that push at the edges: trees far deeper than any stack, sources that live inside
// their target, and listeners that break the rules. None of it may crash, hang or touch
// released memory; each case checks the outcome it is documented to have.
#include <functional>
#include <string>
#include <vector>

#include "text_support.hpp"

namespace {

using texttest::Bag;
using texttest::ChainBag;
using texttest::kAfter;
using texttest::kBefore;
using texttest::kDeep;
using texttest::Listen;

TavProperties* Nested(TavProperties* bag, const char* path) {
    return const_cast<TavProperties*>(TavPropertiesGetPropertiesValueCStr(bag, path));
}

// ---- depth ------------------------------------------------------------------

TEST(Depth, ChainsOfBagsAreCopiedComparedAssignedMergedAndDestroyed) {
    tavtest::CountingAllocator counting;
    Bag bag(counting);
    texttest::PutChain(bag, kDeep);  // "a" in "a" ..., the Int a = 1 at the bottom
    TavProperties copy;
    ASSERT_NE(TavPropertiesConstructCopy(&copy, bag), nullptr);
    EXPECT_TRUE(TavPropertiesEqual(&copy, bag));
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(ChainBag(&copy, kDeep), "a", 8, TAV_TRUE));
    EXPECT_FALSE(TavPropertiesEqual(&copy, bag));  // differs only at the bottom
    ASSERT_NE(TavPropertiesAssign(&copy, bag), nullptr);
    EXPECT_TRUE(TavPropertiesEqual(&copy, bag));
    EXPECT_EQ(*TavPropertiesGetIntValueCStr(ChainBag(&copy, kDeep), "a"), 1);
    TavPropertyValue value, valueCopy;  // the chain as a value, copied and compared
    ASSERT_NE(TavPropertyValueConstructProperties(&value, &copy, TAV_TRUE), nullptr);
    TavPropertiesDestruct(&copy);
    ASSERT_NE(TavPropertyValueConstructCopy(&valueCopy, &value), nullptr);
    EXPECT_TRUE(TavPropertyValueEqual(&valueCopy, &value));
    for (TavPropertyValue* v : {&value, &valueCopy}) TavPropertyValueDestruct(v);
    {
        Bag target(counting);  // Merge refuses sources deeper than 63 levels: cleanly
        EXPECT_EQ(TavPropertiesMerge(target, bag), nullptr);
    }
    EXPECT_TRUE(TavPropertiesRemovePropertyCStr(bag, "a"));
    EXPECT_EQ(counting.liveBlocks(), 0u);
}

TEST(Depth, VectorsNestedInVectorsAreCopiedComparedAssignedAndDestroyed) {
    Bag bag;
    texttest::PutVectorChain(bag, "v", kDeep, texttest::Int(7));
    texttest::PutVectorChain(bag, "shallower", kDeep / 2, texttest::Int(7));
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
    texttest::PutChain(bag, 200);
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

// An After listener adding every removed name again, with the names it heard removed.
void AddAgain(const TavPropertyListener* l, TavProperties* bag, const TavString* name,
              const TavPropertyValue*, const TavPropertyValue* newValue) {
    if (newValue != nullptr) return;
    static_cast<std::vector<std::string>*>(l->data)->push_back(name->buf);
    TavPropertiesSetIntValue(bag, name, 1, TAV_TRUE);
}

TEST(Depth, DestructionEndsWhenAnAfterListenerAddsEveryRemovedEntryAgain) {
    std::vector<std::string> removed;
    TavProperties bag;
    TavPropertiesConstructDefault(&bag, TavAllocatorGetDefault());
    for (const char* name : {"a", "b", "c"}) TavPropertiesSetIntValueCStr(&bag, name, 1, TAV_TRUE);
    ASSERT_TRUE(Listen(&bag, &AddAgain, &removed, nullptr, {kAfter}));
    TavPropertiesDestruct(&bag);
    // A bag tells as many removals as it held at the start (here "a" comes back in front each
    // time); what listeners add beyond that goes unheard.
    EXPECT_EQ(removed, (std::vector<std::string>{"a", "a", "a"}));
}

// ---- aliasing ---------------------------------------------------------------------

// Runs op on a bag and on a twin, with the source a nested bag of the bag (or, `whole`, the bag
// itself) in the first case and an independent copy of it in the second.
using BagOp = TavProperties* (*)(TavProperties*, const TavProperties*);
void ExpectSameAsWithACopy(BagOp op, bool whole = false) {
    Bag bag, twin;
    for (TavProperties* b : {bag.get(), twin.get()}) {
        TavPropertiesSetIntValueCStr(b, "n.n.x", 1, TAV_TRUE);
        TavPropertiesSetStringCStrValueCStr(b, "n.y", "s", TAV_TRUE);
        TavPropertiesSetIntValueCStr(b, "n.n", 5, TAV_TRUE);
        TavPropertiesSetIntValueCStr(b, "z", 2, TAV_TRUE);
    }
    TavProperties copy;
    TavPropertiesConstructCopy(&copy, whole ? twin.get() : Nested(twin, "n"));
    EXPECT_EQ(op(twin, &copy), twin.get());
    TavPropertiesDestruct(&copy);
    EXPECT_EQ(op(bag, whole ? bag.get() : Nested(bag, "n")), bag.get());
    EXPECT_EQ(texttest::Show(bag), texttest::Show(twin));
}

TEST(Aliasing, MergeAndAssignFromTheTargetOrItsOwnNestedBagActAsWithACopy) {
    for (BagOp op : {&TavPropertiesMerge, &TavPropertiesAssign}) {
        ExpectSameAsWithACopy(op);
        ExpectSameAsWithACopy(op, true);
    }
}

TEST(Aliasing, AValueAssignedFromItsOwnElementTakesItsContent) {
    Bag bag;
    texttest::PutVectorChain(bag, "v", 4, texttest::Int(7));  // [[[[7]]]]
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
    h->struck = true;  // before the removal, which may tell this listener again
    TavPropertiesRemovePropertyAtPathCStr(h->bag, h->path);
}

// "set P" or "add P" the Int 9 at path P, "remove P" at a path, "drop N" by name.
TavBool Apply(TavProperties* bag, const std::string& op) {
    const char* path = op.c_str() + op.find(' ') + 1;
    if (op[0] == 's') return TavPropertiesSetIntValueCStr(bag, path, 9, TAV_TRUE);
    if (op[0] == 'a') return TavPropertiesAddIntValueCStr(bag, path, 9, TAV_TRUE);
    if (op[0] == 'r') return TavPropertiesRemovePropertyAtPathCStr(bag, path);
    return TavPropertiesRemovePropertyCStr(bag, path);
}

// A Before listener on the bag at `listenOn` removes `removes` (the entry in progress or a bag
// or vector that holds it) while `op` runs: the operation fails and tells no After; the bag
// stays usable and nothing leaks.
TEST(Reentrancy, BeforeListenersThatRemoveTheEntryInProgressMakeTheOperationFail) {
    struct Case {
        const char *listenOn, *removes, *op;
    };
    for (const Case& c :
         {Case{"", "a", "set a"}, Case{"", "a", "drop a"}, Case{"n", "n.x", "set n.x"},
          Case{"n", "n", "set n.x"}, Case{"n", "n", "add n.new"}, Case{"n", "n", "remove n.x"},
          Case{"", "v", "add v[0]"}, Case{"", "v", "remove v[0]"}, Case{"", "v", "set v[0]"}}) {
        SCOPED_TRACE(std::string(c.op) + " removing " + c.removes);
        tavtest::CountingAllocator counting;
        {
            Bag bag(counting);
            TavPropertiesSetIntValueCStr(bag, "a", 1, TAV_TRUE);
            TavPropertiesSetIntValueCStr(bag, "n.x", 1, TAV_TRUE);
            bag.Put("v", texttest::Vec({texttest::Int(1)}, counting));
            Hostile hostile{bag, c.removes};
            TavProperties* target = *c.listenOn ? Nested(bag, c.listenOn) : bag;
            ASSERT_TRUE(Listen(target, RemoveInBefore, &hostile, nullptr, {kBefore}));
            EXPECT_FALSE(Apply(bag, c.op));
            EXPECT_TRUE(hostile.struck);
            EXPECT_EQ(TavPropertiesGetPropertyAtPathCStr(bag, c.removes), nullptr);
            EXPECT_TRUE(TavPropertiesSetIntValueCStr(bag, "still", 1, TAV_TRUE));
        }
        EXPECT_EQ(counting.liveBlocks(), 0u);
    }
}

}  // namespace
