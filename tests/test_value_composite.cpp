// Values that hold a nested bag or a vector of values: deep copies, their
// storage, equality, and the state every failure leaves.
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
        TavPropertiesConstructDefault(&bag, alloc);
        TavPropertiesConstructDefault(&empty, alloc);
        TavVector_TavPropertyValueConstructDefault(&vec, alloc);
        TavVector_TavPropertyValueConstructDefault(&none, alloc);
        TavPropertyValue v;
        TavPropertyValueConstructStringCStr(&v, "a string that needs a buffer", TAV_TRUE, alloc);
        ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "title", &v));
        TavPropertyValueDestruct(&v);
        TavPropertyValueConstructInt(&v, 640, TAV_TRUE);
        ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "width", &v));
        ASSERT_TRUE(TavVector_TavPropertyValuePushBack(&vec, &v));
        ASSERT_NE(TavPropertyValueConstructProperties(&v, &bag, TAV_TRUE), nullptr);
        ASSERT_TRUE(TavVector_TavPropertyValuePushBack(&vec, &v));
        TavPropertyValueDestruct(&v);
    }
    void TearDown() override {
        TavVector_TavPropertyValueDestruct(&vec);
        TavVector_TavPropertyValueDestruct(&none);
        TavPropertiesDestruct(&bag);
        TavPropertiesDestruct(&empty);
    }

    CountingAllocator alloc;               // for bags and vectors: one sweep fails them all
    TavProperties bag, empty;              // {title: String, width: Int 640} and {}
    TavVector_TavPropertyValue vec, none;  // [640, {title, width}] and []
};

// A nested bag lives in a record from its own allocator and is a full copy,
// listeners included; equality compares entries only.
TEST_F(CompositeValue, NestedBagsAreDeepCopiesWhoseListenersEqualityIgnores) {
    int calls = 0;
    TavPropertyListener l;
    TavPropertyListenerConstructCStr(&l, TAV_PROPERTYLISTENER_TRIGGER_After, nullptr, &CountCall,
                                     &calls, alloc);
    TavPropertyValue heard, copy, plain, v;
    ASSERT_TRUE(TavPropertiesAddListener(&bag, &l));
    const TavPropertyValue* made = TavPropertyValueConstructProperties(&heard, &bag, TAV_TRUE);
    ASSERT_TRUE(TavPropertiesRemoveListener(&bag, &l));  // first: the bag outlives `calls`
    ASSERT_EQ(made, &heard);
    TavPropertyListenerDestruct(&l);
    ASSERT_EQ(TavPropertyValueConstructCopy(&copy, &heard), &copy);
    ASSERT_EQ(TavPropertyValueConstructProperties(&plain, &bag, TAV_TRUE), &plain);
    for (auto* x : {&heard, &copy, &plain}) EXPECT_EQ(alloc.sizeOf(Nested(x)), sizeof bag);
    EXPECT_TRUE(TavPropertyValueEqual(&plain, &heard));

    TavPropertyValueConstructInt(&v, 480, TAV_TRUE);
    ASSERT_TRUE(TavPropertiesSetPropertyCStr(Nested(&copy), "height", &v));
    EXPECT_EQ(calls, 1) << "the copy kept the listener";
    EXPECT_TRUE(TavPropertyValueEqual(&plain, &heard)) << "the source did not change";
    for (auto* x : {&heard, &copy, &plain}) TavPropertyValueDestruct(x);
    EXPECT_EQ(calls, 6) << "each listening bag tells of its entries as it goes";
}

// Vectors compare element by element in order. Assigned over an Int a
// Vector is an independent copy; a Bool assigned over it releases it all.
TEST_F(CompositeValue, VectorsCompareInOrderAndOwnTheirElements) {
    const std::size_t base = alloc.liveBlocks();
    TavPropertyValue x, i, no, e1, e2;
    ASSERT_EQ(TavPropertyValueConstructVector(&x, &vec, TAV_TRUE), &x);
    TavPropertyValueConstructInt(&i, 1, TAV_TRUE);
    ASSERT_EQ(TavPropertyValueAssign(&i, &x), &i);
    EXPECT_TRUE(TavPropertyValueEqual(&i, &x));
    TavPropertyValue* elements = TavVector_TavPropertyValueAt(&i.u.vec, 0);
    std::swap(elements[0], elements[1]);
    EXPECT_FALSE(TavPropertyValueEqual(&i, &x)) << "the same elements in another order";
    TavPropertyValueDestruct(&i);
    TavPropertyValueConstructBool(&no, TAV_FALSE, TAV_TRUE);
    ASSERT_EQ(TavPropertyValueAssign(&x, &no), &x);
    EXPECT_EQ(alloc.liveBlocks(), base);

    TavPropertyValueConstructVector(&e1, &none, TAV_TRUE);
    TavPropertyValueConstructVector(&e2, &none, TAV_FALSE);
    EXPECT_TRUE(TavPropertyValueEqual(&e1, &e2));
    for (auto* v : {&x, &no, &e1, &e2}) TavPropertyValueDestruct(v);
}

// Construction, and assignment over an empty value of either composite kind,
// with every allocation failing in turn: a failed constructor leaves nothing;
// a failed assignment leaves a false Bool across kinds, else the target's
// kind and nested bag record.
TEST_F(CompositeValue, FailuresLeaveTheRuledStateAndNoLeak) {
    TavPropertyValue full[2], emptyOnes[2], no;
    TavPropertyValueConstructBool(&no, TAV_FALSE, TAV_TRUE);
    TavPropertyValueConstructProperties(&full[0], &bag, TAV_TRUE);
    TavPropertyValueConstructVector(&full[1], &vec, TAV_TRUE);
    TavPropertyValueConstructProperties(&emptyOnes[0], &empty, TAV_TRUE);
    TavPropertyValueConstructVector(&emptyOnes[1], &none, TAV_TRUE);
    const std::size_t base = alloc.liveBlocks();
    auto attempt = [&](const TavPropertyValue* start, const TavPropertyValue* y) {
        TavPropertyValue x;
        TavPropertyValue* made =
            start != nullptr ? TavPropertyValueConstructCopy(&x, start)
            : y->type == TAV_PROPERTYVALUE_TYPE_Vector
                ? TavPropertyValueConstructVector(&x, &y->u.vec, TAV_TRUE)
                : TavPropertyValueConstructProperties(&x, y->u.p, TAV_TRUE);
        if (made != nullptr) {
            const TavProperties* record = TavPropertyValueGetProperties(&x);
            if (start == nullptr || TavPropertyValueAssign(&x, y) == &x) {
                EXPECT_TRUE(TavPropertyValueEqual(&x, y));
            } else if (start->type == y->type) {
                EXPECT_TRUE(x.type == y->type && Nested(&x) == record) << "kept its own record";
            } else {
                EXPECT_TRUE(TavPropertyValueEqual(&x, &no));
            }
            TavPropertyValueDestruct(&x);  // releases every element and nested record
        }
        EXPECT_EQ(alloc.liveBlocks(), base);
    };
    const TavPropertyValue* starts[] = {nullptr, &emptyOnes[0], &emptyOnes[1]};
    for (const TavPropertyValue& y : full) {
        for (const TavPropertyValue* start : starts) {
            SweepAllocationFailures(alloc, [&](std::size_t) { attempt(start, &y); });
        }
    }
    for (auto* v : {&full[0], &full[1], &emptyOnes[0], &emptyOnes[1]}) TavPropertyValueDestruct(v);
}

}  // namespace
