// Values that hold a nested bag or a vector of values: deep copies, where
// their storage comes from and goes back to, equality, and the state every
// failure leaves.
#include <gtest/gtest.h>

#include <utility>

#include "CountingAllocator.hpp"

using tavtest::CountingAllocator;
using tavtest::SweepAllocationFailures;

namespace {

void CountCall(const TavPropertyListener* l, TavProperties*, const TavString*,
               const TavPropertyValue*, const TavPropertyValue*) {
    ++*static_cast<int*>(TavPropertyListenerGetData(l));
}

// The nested bag of a value, to change it from a test.
TavProperties* Nested(const TavPropertyValue* v) {
    return const_cast<TavProperties*>(TavPropertyValueGetProperties(v));
}

class CompositeValue : public ::testing::Test {
protected:
    void SetUp() override {
        TavPropertyValue v;
        ASSERT_NE(TavPropertiesConstructDefault(&bag, bagAlloc), nullptr);
        TavPropertyValueConstructStringCStr(&v, "a string that needs a buffer", TAV_TRUE, bagAlloc);
        ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "title", &v));
        TavPropertyValueDestruct(&v);
        TavPropertyValueConstructInt(&v, 640, TAV_TRUE);
        ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "width", &v));
        TavVector_TavPropertyValueConstructDefault(&vec, vecAlloc);
        ASSERT_TRUE(TavVector_TavPropertyValuePushBack(&vec, &v));
        TavPropertyValueConstructInt(&v, 2, TAV_TRUE);
        ASSERT_TRUE(TavVector_TavPropertyValuePushBack(&vec, &v));
        ASSERT_NE(TavPropertyValueConstructProperties(&v, &bag, TAV_TRUE), nullptr);
        ASSERT_TRUE(TavVector_TavPropertyValuePushBack(&vec, &v));
        TavPropertyValueDestruct(&v);
    }
    void TearDown() override {
        TavVector_TavPropertyValueDestruct(&vec);
        TavPropertiesDestruct(&bag);
    }

    CountingAllocator bagAlloc, vecAlloc;
    TavProperties bag;               // {title: String, width: Int 640}
    TavVector_TavPropertyValue vec;  // [640, 2, {title, width}]
};

TEST_F(CompositeValue, NestedBagsAreDeepCopiesAssignedInPlace) {
    TavPropertyValue x, y, extra;
    ASSERT_EQ(TavPropertyValueConstructProperties(&x, &bag, TAV_TRUE), &x);
    ASSERT_EQ(TavPropertyValueConstructCopy(&y, &x), &y);
    EXPECT_TRUE(TavPropertyValueEqual(&x, &y));
    for (auto* v : {&x, &y}) {  // each record from the bag's own allocator
        EXPECT_EQ(bagAlloc.sizeOf(Nested(v)), sizeof(TavProperties));
        EXPECT_EQ(TavPropertiesGetAllocator(Nested(v)), bagAlloc.get());
    }
    TavPropertyValueConstructBool(&extra, TAV_TRUE, TAV_TRUE);
    ASSERT_TRUE(TavPropertiesAddPropertyCStr(Nested(&y), "extra", &extra));
    TavPropertiesRemovePropertyCStr(&bag, "width");
    EXPECT_FALSE(TavPropertyValueEqual(&x, &y));
    EXPECT_EQ(TavPropertiesGetPropertyCStrConst(Nested(&x), "extra"), nullptr);
    EXPECT_NE(TavPropertiesGetPropertyCStrConst(Nested(&x), "width"), nullptr);

    TavProperties* before = Nested(&x);
    ASSERT_EQ(TavPropertyValueAssign(&x, &y), &x);
    EXPECT_EQ(Nested(&x), before);
    EXPECT_TRUE(TavPropertyValueEqual(&x, &y));
    EXPECT_EQ(TavPropertyValueToProperties(&x, &bag), &bag);
    EXPECT_TRUE(TavPropertiesEqual(&bag, Nested(&y)));
    TavPropertyValueDestruct(&x);
    TavPropertyValueDestruct(&y);
}

TEST_F(CompositeValue, NestedBagsKeepListenersButEqualityIgnoresThem) {
    int calls = 0;
    TavPropertyListener l;
    TavPropertyListenerConstructCStr(&l, TAV_PROPERTYLISTENER_TRIGGER_After, nullptr, &CountCall,
                                     &calls, bagAlloc);
    TavPropertyValue plain, heard, v;
    ASSERT_EQ(TavPropertyValueConstructProperties(&plain, &bag, TAV_TRUE), &plain);
    ASSERT_TRUE(TavPropertiesAddListener(&bag, &l));
    ASSERT_EQ(TavPropertyValueConstructProperties(&heard, &bag, TAV_TRUE), &heard);
    EXPECT_TRUE(TavPropertyValueEqual(&plain, &heard));

    TavPropertyValueConstructInt(&v, 480, TAV_TRUE);
    ASSERT_TRUE(TavPropertiesSetPropertyCStr(Nested(&heard), "height", &v));
    ASSERT_TRUE(TavPropertiesSetPropertyCStr(Nested(&plain), "height", &v));
    EXPECT_EQ(calls, 1) << "only the copy of the bag with the listener tells it";
    EXPECT_TRUE(TavPropertyValueEqual(&plain, &heard));
    TavPropertyValueDestruct(&plain);
    TavPropertyValueDestruct(&heard);  // tells of each of its three entries
    EXPECT_EQ(calls, 4);
    TavPropertyListenerDestruct(&l);
}

TEST_F(CompositeValue, VectorsAreDeepCopiesComparedInOrder) {
    TavPropertyValue x, y, p;
    ASSERT_EQ(TavPropertyValueConstructVector(&x, &vec, TAV_TRUE), &x);
    ASSERT_EQ(TavPropertyValueConstructCopy(&y, &x), &y);
    ASSERT_EQ(TavPropertyValueConstructProperties(&p, &bag, TAV_TRUE), &p);
    EXPECT_TRUE(TavPropertyValueEqual(&x, &y));
    EXPECT_EQ(TavPropertyValueGetVector(&x), &x.u.vec);
    EXPECT_EQ(TavPropertyValueGetVector(&p), nullptr);
    EXPECT_EQ(TavPropertyValueGetProperties(&x), nullptr);
    EXPECT_EQ(TavPropertyValueToVector(&p, &vec), nullptr);
    EXPECT_EQ(TavPropertyValueToProperties(&x, &bag), nullptr);
    std::swap(*TavVector_TavPropertyValueAt(&y.u.vec, 0), *TavVector_TavPropertyValueAt(&y.u.vec, 1));
    EXPECT_FALSE(TavPropertyValueEqual(&x, &y));

    TavVector_TavPropertyValueClear(&vec);
    EXPECT_EQ(TavVector_TavPropertyValueSize(&x.u.vec), 3u);
    TavPropertyValue e1, e2;
    TavPropertyValueConstructVector(&e1, &vec, TAV_TRUE);
    TavPropertyValueConstructVector(&e2, &vec, TAV_FALSE);
    EXPECT_TRUE(TavPropertyValueEqual(&e1, &e2));
    EXPECT_EQ(TavPropertyValueToVector(&x, &vec), &vec);
    EXPECT_TRUE(TavVector_TavPropertyValueEqual(&vec, &x.u.vec));
    for (auto* v : {&x, &y, &p, &e1, &e2}) TavPropertyValueDestruct(v);
}

// Construction (no start), and assignment into a copy of the source, an Int,
// an empty bag and an empty vector, with every allocation failing in turn. A
// failed constructor leaves nothing; a failed assignment leaves a false Bool
// when the kinds differ, else the target's kind and nested bag record.
TEST_F(CompositeValue, FailuresLeaveTheRuledStateAndNoLeak) {
    TavProperties empty;
    TavVector_TavPropertyValue none;
    TavPropertiesConstructDefault(&empty, bagAlloc);
    TavVector_TavPropertyValueConstructDefault(&none, vecAlloc);
    TavPropertyValue bagValue, vecValue, emptyBag, emptyVec, i, locked;
    TavPropertyValueConstructProperties(&bagValue, &bag, TAV_TRUE);
    TavPropertyValueConstructVector(&vecValue, &vec, TAV_TRUE);
    TavPropertyValueConstructProperties(&emptyBag, &empty, TAV_TRUE);
    TavPropertyValueConstructVector(&emptyVec, &none, TAV_TRUE);
    TavPropertyValueConstructInt(&i, 1, TAV_TRUE);
    TavPropertyValueConstructInt(&locked, 1, TAV_FALSE);
    const std::size_t bagBase = bagAlloc.liveBlocks(), vecBase = vecAlloc.liveBlocks();
    auto attempt = [&](const TavPropertyValue* start, const TavPropertyValue* y) {
        TavPropertyValue x;
        TavPropertyValue* made =
            start != nullptr ? TavPropertyValueConstructCopy(&x, start)
            : y->type == TAV_PROPERTYVALUE_TYPE_Vector
                ? TavPropertyValueConstructVector(&x, &y->u.vec, TAV_TRUE)
                : TavPropertyValueConstructProperties(&x, y->u.p, TAV_TRUE);
        if (made == nullptr) {
            EXPECT_EQ(bagAlloc.liveBlocks(), bagBase);
            EXPECT_EQ(vecAlloc.liveBlocks(), vecBase);
            return;
        }
        const TavProperties* record = TavPropertyValueGetProperties(&x);
        if (start == nullptr || TavPropertyValueAssign(&x, y) != nullptr) {
            EXPECT_TRUE(TavPropertyValueEqual(&x, y));
        } else if (start->type == y->type) {
            EXPECT_EQ(x.type, y->type);
            EXPECT_EQ(TavPropertyValueGetProperties(&x), record);
        } else {
            EXPECT_EQ(x.type, TAV_PROPERTYVALUE_TYPE_Bool);
            EXPECT_EQ(x.u.b, TAV_FALSE);
        }
        TavPropertyValueDestruct(&x);  // releases every element and nested record
        EXPECT_EQ(bagAlloc.liveBlocks(), bagBase);
        EXPECT_EQ(vecAlloc.liveBlocks(), vecBase);
    };
    for (const TavPropertyValue* y : {&bagValue, &vecValue}) {
        const TavPropertyValue* starts[] = {nullptr, y, &i, &emptyBag, &emptyVec};
        for (const TavPropertyValue* start : starts) {
            for (auto* a : {&bagAlloc, &vecAlloc}) {
                SweepAllocationFailures(*a, [&](std::size_t) { attempt(start, y); });
            }
        }
        EXPECT_EQ(TavPropertyValueAssign(&locked, y), nullptr);
    }
    EXPECT_EQ(locked.type, TAV_PROPERTYVALUE_TYPE_Int);
    for (auto* v : {&bagValue, &vecValue, &emptyBag, &emptyVec, &i, &locked}) {
        TavPropertyValueDestruct(v);
    }
    TavPropertiesDestruct(&empty);
    TavVector_TavPropertyValueDestruct(&none);
}

}  // namespace
