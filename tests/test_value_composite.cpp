// Values that hold a nested bag or a vector of values: deep copies, storage, equality, failures.
#include <gtest/gtest.h>

#include <utility>

#include "CountingAllocator.hpp"

using namespace tavtest;

namespace {

void CountCall(const TavPropertyListener* l, TavProperties*, const TavString*,
               const TavPropertyValue*, const TavPropertyValue*) {
    ++*static_cast<int*>(TavPropertyListenerGetData(l));
}

TavProperties* Nested(const TavPropertyValue* v) {
    return const_cast<TavProperties*>(TavPropertyValueGetProperties(v));
}

class CompositeValue : public ::testing::Test {
protected:
    void SetUp() override {
        for (TavProperties* b : {&bag, &empty}) TavPropertiesConstructDefault(b, alloc);
        for (auto* v : {&vec, &none}) TavVector_TavPropertyValueConstructDefault(v, alloc);
        ASSERT_TRUE(TavPropertiesAddStringCStrValueCStr(&bag, "title", "Dune", TAV_TRUE));
        ASSERT_TRUE(TavPropertiesAddIntValueCStr(&bag, "width", 640, TAV_TRUE));
        TavPropertyValue v;
        TavPropertyValueConstructInt(&v, 640, TAV_TRUE);
        ASSERT_TRUE(TavVector_TavPropertyValuePushBack(&vec, &v));
        ASSERT_NE(TavPropertyValueConstructProperties(&v, &bag, TAV_TRUE), nullptr);
        ASSERT_TRUE(TavVector_TavPropertyValuePushBack(&vec, &v));
        TavPropertyValueDestruct(&v);
    }
    void TearDown() override {
        for (auto* v : {&vec, &none}) TavVector_TavPropertyValueDestruct(v);
        for (TavProperties* b : {&bag, &empty}) TavPropertiesDestruct(b);
    }

    int calls = 0;                         // listener calls; outlives the bags
    CountingAllocator alloc;               // for bags and vectors: one sweep fails them all
    TavProperties bag, empty;              // {title: String, width: Int 640} and {}
    TavVector_TavPropertyValue vec, none;  // [640, {title, width}] and []
};

// A nested bag is a full copy, listeners included, in a record from its own allocator; equality
// compares entries only.
TEST_F(CompositeValue, NestedBagsAreDeepCopiesWhoseListenersEqualityIgnores) {
    TavPropertyValue plain, heard, copy;
    ASSERT_EQ(TavPropertyValueConstructProperties(&plain, &bag, TAV_TRUE), &plain);
    TavPropertyListener l;
    TavPropertyListenerConstructCStr(&l, TAV_PROPERTYLISTENER_TRIGGER_After, nullptr, &CountCall,
                                     &calls, alloc);
    ASSERT_TRUE(TavPropertiesAddListener(&bag, &l));
    TavPropertyListenerDestruct(&l);
    ASSERT_EQ(TavPropertyValueConstructProperties(&heard, &bag, TAV_TRUE), &heard);
    ASSERT_EQ(TavPropertyValueConstructCopy(&copy, &heard), &copy);
    for (auto* x : {&heard, &copy, &plain}) EXPECT_EQ(alloc.sizeOf(Nested(x)), sizeof bag);
    EXPECT_TRUE(TavPropertyValueEqual(&plain, &heard));
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(Nested(&copy), "height", 480, TAV_TRUE));
    EXPECT_EQ(calls, 1) << "the copy kept the listener";
    EXPECT_TRUE(TavPropertyValueEqual(&plain, &heard)) << "the source did not change";
    for (auto* x : {&heard, &copy, &plain}) TavPropertyValueDestruct(x);
    EXPECT_EQ(calls, 6) << "each listening bag tells of its entries as it goes";
}

// Each composite built, and each value assigned over each, under every allocation failure: a
// failed assignment leaves a false Bool across kinds, else the target's kind and nested record;
// nothing leaks, so a Bool assigned over a composite released it all. An assigned Vector owns its
// elements, which compare in order.
TEST_F(CompositeValue, AssignmentsCopyEverythingOrLeaveTheRuledStateAndNoLeak) {
    TavPropertyValue v[6];  // a full bag and vector, an empty bag and vector, a false Bool, an Int
    TavPropertyValueConstructProperties(&v[0], &bag, TAV_TRUE);
    TavPropertyValueConstructVector(&v[1], &vec, TAV_TRUE);
    TavPropertyValueConstructProperties(&v[2], &empty, TAV_TRUE);
    TavPropertyValueConstructVector(&v[3], &none, TAV_TRUE);
    TavPropertyValueConstructBool(&v[4], TAV_FALSE, TAV_TRUE);
    TavPropertyValueConstructInt(&v[5], 1, TAV_TRUE);
    const std::size_t base = alloc.liveBlocks();
    SweepAllocationFailures(alloc, [&](std::size_t) {
        TavPropertyValue x, y;
        if (TavPropertyValueConstructProperties(&x, &bag, TAV_TRUE)) TavPropertyValueDestruct(&x);
        if (TavPropertyValueConstructVector(&y, &vec, TAV_TRUE)) TavPropertyValueDestruct(&y);
        EXPECT_EQ(alloc.liveBlocks(), base);
    });
    for (const TavPropertyValue& y : v) {
        for (const TavPropertyValue& start : v) {
            SweepAllocationFailures(alloc, [&](std::size_t) {
                TavPropertyValue x;
                if (TavPropertyValueConstructCopy(&x, &start) == &x) {
                    const TavProperties* record = TavPropertyValueGetProperties(&x);
                    if (TavPropertyValueAssign(&x, &y) == &x) {
                        EXPECT_TRUE(TavPropertyValueEqual(&x, &y));
                    } else if (start.type == y.type) {  // assigned in place: x keeps its record
                        EXPECT_EQ(x.type, y.type);
                        EXPECT_EQ(Nested(&x), record);
                    } else {
                        EXPECT_TRUE(TavPropertyValueEqual(&x, &v[4]));
                    }
                    TavPropertyValueDestruct(&x);
                }
                EXPECT_EQ(alloc.liveBlocks(), base);
            });
        }
    }
    ASSERT_EQ(TavPropertyValueAssign(&v[5], &v[1]), &v[5]);
    TavPropertyValue* elements = TavVector_TavPropertyValueAt(&v[5].u.vec, 0);
    std::swap(elements[0], elements[1]);
    EXPECT_FALSE(TavPropertyValueEqual(&v[5], &v[1])) << "the same elements in another order";
    for (TavPropertyValue& x : v) TavPropertyValueDestruct(&x);
}

}  // namespace
