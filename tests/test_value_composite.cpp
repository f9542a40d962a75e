// Values that hold a nested bag or a vector of values: deep copies with their listeners, and
// equality. (Assignment between them and every other kind, and its failures: test_value.cpp.)
#include <gtest/gtest.h>

#include <utility>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

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
        TavVector_TavPropertyValueConstructDefault(&vec, alloc);
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
        TavVector_TavPropertyValueDestruct(&vec);
        TavPropertiesDestruct(&bag);
    }

    int calls = 0;                   // listener calls; outlives the bags
    CountingAllocator alloc;         // the allocator reports any block left
    TavProperties bag;               // {title: String, width: Int 640}
    TavVector_TavPropertyValue vec;  // [640, {title, width}]
};

// A nested bag is a full copy, listeners included, in a record from its own allocator; equality
// compares entries only.
TEST_F(CompositeValue, NestedBagsAreDeepCopiesWhoseListenersEqualityIgnores) {
    TavPropertyValue plain, heard, copy;
    ASSERT_EQ(TavPropertyValueConstructProperties(&plain, &bag, TAV_TRUE), &plain);
    ASSERT_TRUE(texttest::Listen(&bag, &CountCall, &calls, nullptr, {texttest::kAfter}));
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

// Vectors compare element by element, in order.
TEST_F(CompositeValue, VectorsOfTheSameElementsInAnotherOrderDiffer) {
    TavPropertyValue ordered, swapped;
    ASSERT_EQ(TavPropertyValueConstructVector(&ordered, &vec, TAV_TRUE), &ordered);
    ASSERT_EQ(TavPropertyValueConstructVector(&swapped, &vec, TAV_TRUE), &swapped);
    EXPECT_TRUE(TavPropertyValueEqual(&ordered, &swapped));
    TavPropertyValue* elements = TavVector_TavPropertyValueAt(&swapped.u.vec, 0);
    std::swap(elements[0], elements[1]);
    EXPECT_FALSE(TavPropertyValueEqual(&ordered, &swapped));
    for (auto* x : {&ordered, &swapped}) TavPropertyValueDestruct(x);
}

}  // namespace
