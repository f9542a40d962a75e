// Callers that push at the edges: trees far deeper than any stack, sources that live inside their
// target, listeners that break the rules. Each case checks the outcome it is documented to have.
#include <string>
#include <utility>
#include <vector>

#include "text_support.hpp"

namespace {

using namespace texttest;

TavProperties* Nested(TavProperties* bag, const char* path) {
    return const_cast<TavProperties*>(TavPropertiesGetPropertiesValueCStr(bag, path));
}

TEST(Depth, ChainsOfBagsAndOfVectorsAreCopiedComparedAssignedMergedAndDestroyed) {
    tavtest::CountingAllocator counting;
    Bag bag(counting);
    PutChain(bag, kDeep);  // "a" in "a" ..., the Int a = 1 at the bottom
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

    PutVectorChain(bag, "v", kDeep, Int(7), counting);
    PutVectorChain(bag, "shallower", kDeep / 2, Int(7), counting);
    const TavPropertyValue* v = TavPropertiesGetPropertyCStr(bag, "v");
    ASSERT_NE(TavPropertyValueConstructCopy(&valueCopy, v), nullptr);
    EXPECT_TRUE(TavPropertyValueEqual(&valueCopy, v));
    TavPropertyValue* shallower = TavPropertiesGetPropertyCStr(bag, "shallower");
    ASSERT_NE(TavPropertyValueAssign(shallower, v), nullptr);  // element by element
    EXPECT_TRUE(TavPropertyValueEqual(shallower, v));
    ASSERT_TRUE(TavPropertiesSetPropertyCStr(bag, "copy", &valueCopy));
    const TavPropertyValue one = Int(1);
    ASSERT_NE(TavPropertyValueAssign(&valueCopy, &one), nullptr);  // the deep vector goes
    TavPropertyValueDestruct(&valueCopy);
    EXPECT_TRUE(TavPropertyValueEqual(TavPropertiesGetPropertyCStr(bag, "copy"), v));
}

// An After listener adding every removed name again, with the names it heard removed.
void AddAgain(const TavPropertyListener* l, TavProperties* bag, const TavString* name,
              const TavPropertyValue*, const TavPropertyValue* newValue) {
    if (newValue != nullptr) return;
    static_cast<Lines*>(l->data)->push_back(name->buf);
    TavPropertiesSetIntValue(bag, name, 1, TAV_TRUE);
}

TEST(Reentrancy, DestructionEndsWhenAnAfterListenerAddsEveryRemovedEntryAgain) {
    Lines removed;
    {
        Bag bag;
        for (const char* name : {"a", "b", "c"}) bag.Put(name, Int(1));
        ASSERT_TRUE(Listen(bag, &AddAgain, &removed, nullptr, {kAfter}));
    }
    EXPECT_EQ(removed, (Lines{"a", "a", "a"}));  // as many as it held; "a" came back each time
}

// The op with the source a nested bag of the bag (or, `whole`, the bag itself) does what it does
// with an independent copy of that source.
using BagOp = TavProperties* (*)(TavProperties*, const TavProperties*);
void ExpectSameAsWithACopy(BagOp op, bool whole) {
    Bag bag, twin;
    for (TavProperties* b : {bag.get(), twin.get()})
        ASSERT_TRUE(TavPropertiesReadFromString(b, "n{n=5,y=\"s\"},z=2"));
    TavProperties copy;
    TavPropertiesConstructCopy(&copy, whole ? twin.get() : Nested(twin, "n"));
    EXPECT_EQ(op(twin, &copy), twin.get());
    TavPropertiesDestruct(&copy);
    EXPECT_EQ(op(bag, whole ? bag.get() : Nested(bag, "n")), bag.get());
    EXPECT_EQ(Show(bag), Show(twin));
}

void ReadNewValue(const TavPropertyListener* l, TavProperties*, const TavString*,
                  const TavPropertyValue*, const TavPropertyValue* newValue) {
    if (newValue != nullptr) *static_cast<TavPropertyValueType*>(l->data) = newValue->type;
}

TEST(Aliasing, SourcesInsideTheirTargetActAsCopies) {
    for (BagOp op : {&TavPropertiesMerge, &TavPropertiesAssign}) {
        ExpectSameAsWithACopy(op, false);
        ExpectSameAsWithACopy(op, true);
    }
    // A vector assigned its own first element (same kind), then its deepest element (an Int).
    Bag bag;
    PutVectorChain(bag, "v", 4, Int(7));
    TavPropertyValue* v = TavPropertiesGetPropertyCStr(bag, "v");
    ASSERT_NE(TavPropertyValueAssign(v, v->u.vec.begin), nullptr);
    EXPECT_EQ(Show(bag), "v=[[[i:7]]]");
    ASSERT_NE(TavPropertyValueAssign(v, v->u.vec.begin->u.vec.begin->u.vec.begin), nullptr);
    EXPECT_EQ(Show(bag), "v=i:7");
    // An entry set from a value inside it: After listeners are told a live value.
    TavPropertyValueType seen = TAV_PROPERTYVALUE_TYPE_Bool;
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(bag, "n.x", 3, TAV_TRUE));
    ASSERT_TRUE(Listen(bag, ReadNewValue, &seen, "n", {kAfter}));
    EXPECT_TRUE(
        TavPropertiesSetPropertyCStr(bag, "n", TavPropertiesGetPropertyAtPathCStr(bag, "n.x")));
    EXPECT_EQ(seen, TAV_PROPERTYVALUE_TYPE_Int);
    EXPECT_EQ(*TavPropertiesGetIntValueCStr(bag, "n"), 3);
}

// Removes the path from the bag of its data, once (the removal may tell it again).
using Hostile = std::pair<TavProperties*, const char*>;
void RemoveInBefore(const TavPropertyListener* l, TavProperties*, const TavString*,
                    const TavPropertyValue*, const TavPropertyValue*) {
    auto* h = static_cast<Hostile*>(l->data);
    if (const char* path = std::exchange(h->second, nullptr))
        TavPropertiesRemovePropertyAtPathCStr(h->first, path);
}

// "set P" or "add P" the Int 9 at path P, "remove P" at a path, "drop N" by name.
TavBool Apply(TavProperties* bag, const std::string& op) {
    const char* path = op.c_str() + op.find(' ') + 1;
    if (op[0] == 's') return TavPropertiesSetIntValueCStr(bag, path, 9, TAV_TRUE);
    if (op[0] == 'a') return TavPropertiesAddIntValueCStr(bag, path, 9, TAV_TRUE);
    if (op[0] == 'r') return TavPropertiesRemovePropertyAtPathCStr(bag, path);
    return TavPropertiesRemovePropertyCStr(bag, path);
}

// A Before listener on the bag at `listenOn` removes `removes` (the entry in progress or what holds
// it) while `op` runs: the operation fails and tells no After; the bag stays usable, nothing leaks.
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
        Bag bag(counting);
        ASSERT_TRUE(TavPropertiesSetIntValueCStr(bag, "a", 1, TAV_TRUE) &&
                    TavPropertiesSetIntValueCStr(bag, "n.x", 1, TAV_TRUE));
        bag.Put("v", Vec({Int(1)}, counting));
        Hostile hostile{bag, c.removes};
        TavProperties* target = *c.listenOn ? Nested(bag, c.listenOn) : bag;
        ASSERT_TRUE(Listen(target, RemoveInBefore, &hostile, nullptr, {kBefore}));
        EXPECT_FALSE(Apply(bag, c.op));
        EXPECT_EQ(hostile.second, nullptr) << "struck";
        EXPECT_EQ(TavPropertiesGetPropertyAtPathCStr(bag, c.removes), nullptr);
        EXPECT_TRUE(TavPropertiesSetIntValueCStr(bag, "still", 1, TAV_TRUE));
    }
}

}  // namespace
