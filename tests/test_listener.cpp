// The listener record: named and all-names listeners, their copies and
// assignments (including the name copy failing), equality, and the listener
// vector whose element copies can fail.
#include <gtest/gtest.h>

#include <cstring>

#include "CountingAllocator.hpp"

using tavtest::CountingAllocator;
using tavtest::SweepAllocationFailures;

namespace {

void OnChange(const TavPropertyListener*, TavProperties*, const TavString*, const TavPropertyValue*,
              const TavPropertyValue*) {}
void OnOther(const TavPropertyListener*, TavProperties*, const TavString*, const TavPropertyValue*,
             const TavPropertyValue*) {}

int data1, data2;

TavPropertyListener* Named(TavPropertyListener* x, const char* name, TavAllocator* a,
                           void* data = &data1) {
    return TavPropertyListenerConstructCStr(x, TAV_PROPERTYLISTENER_TRIGGER_After, name, &OnChange,
                                            data, a);
}

TEST(Listener, ConstructCopyAndGetters) {
    CountingAllocator a;
    TavPropertyListener all, named, copy;
    ASSERT_EQ(Named(&all, nullptr, a), &all);
    EXPECT_EQ(TavPropertyListenerGetName(&all), nullptr);
    EXPECT_EQ(a.attempts(), 0u);
    ASSERT_EQ(Named(&named, "width of the video frame", a), &named);
    EXPECT_STREQ(TavStringCStr(TavPropertyListenerGetName(&named)), "width of the video frame");
    EXPECT_EQ(TavPropertyListenerGetTrigger(&named), TAV_PROPERTYLISTENER_TRIGGER_After);
    EXPECT_EQ(TavPropertyListenerGetData(&named), &data1);
    // A failed name copy leaves nothing behind (the allocator checks it).
    SweepAllocationFailures(a, [&](std::size_t) {
        if (TavPropertyListenerConstructCopy(&copy, &named) == nullptr) return;
        EXPECT_TRUE(TavPropertyListenerEqual(&copy, &named));
        TavPropertyListenerDestruct(&copy);
    });
    SweepAllocationFailures(a, [&](std::size_t) {
        if (TavPropertyListenerConstruct(&copy, TAV_PROPERTYLISTENER_TRIGGER_Before,
                                         TavPropertyListenerGetName(&named), &OnChange,
                                         nullptr) != nullptr)
            TavPropertyListenerDestruct(&copy);
    });
    EXPECT_EQ(a.liveBlocks(), 1u);
    TavPropertyListenerDestruct(&named);
    TavPropertyListenerDestruct(&all);
}

TEST(Listener, AssignAcrossNamedAndAll) {
    CountingAllocator a;
    TavPropertyListener x, named, all;
    Named(&named, "a long listener name to copy", a, &data2);
    Named(&all, nullptr, a);

    Named(&x, "another name held by x", a);
    ASSERT_EQ(TavPropertyListenerAssign(&x, &all), &x);  // named <- all: name destroyed
    EXPECT_EQ(TavPropertyListenerGetName(&x), nullptr);
    EXPECT_EQ(a.liveBlocks(), 1u);
    TavPropertyListenerDestruct(&x);
    // all <- named copies the name; named <- named assigns it. A failure
    // leaves x as it was.
    for (const char* start : {static_cast<const char*>(nullptr), "x"}) {
        SweepAllocationFailures(a, [&](std::size_t k) {
            a.FailAt(0);
            Named(&x, start, a);
            a.FailAt(k);
            if (TavPropertyListenerAssign(&x, &named) == nullptr) {
                const TavString* name = TavPropertyListenerGetName(&x);
                EXPECT_STREQ(name == nullptr ? nullptr : TavStringCStr(name), start);
                EXPECT_EQ(TavPropertyListenerGetData(&x), &data1);
            } else {
                EXPECT_TRUE(TavPropertyListenerEqual(&x, &named));
            }
            TavPropertyListenerDestruct(&x);
        });
    }
    TavPropertyListenerDestruct(&named);
    TavPropertyListenerDestruct(&all);
}

TEST(Listener, Equality) {
    CountingAllocator a;
    TavPropertyListener x, y;
    Named(&x, "n", a, &data1);
    Named(&y, "n", a, &data2);
    EXPECT_FALSE(TavPropertyListenerEqual(&x, &y));  // only the data differs
    TavPropertyListenerDestruct(&y);
    EXPECT_FALSE(TavPropertyListenerEqual(&x, Named(&y, "m", a, &data1)));
    TavPropertyListenerDestruct(&y);
    TavPropertyListenerDestruct(&x);

    // All-names listeners never look at their name field.
    Named(&x, nullptr, a);
    Named(&y, nullptr, a);
    std::memset(&x.name, 0xA5, sizeof x.name);
    EXPECT_TRUE(TavPropertyListenerEqual(&x, &y));
    y.cb = &OnOther;
    EXPECT_FALSE(TavPropertyListenerEqual(&x, &y));
    TavPropertyListenerDestruct(&x);
    TavPropertyListenerDestruct(&y);
}

TEST(Listener, VectorGrowthCopiesNames) {
    CountingAllocator a;
    TavPropertyListener named, all;
    Named(&named, "a name long enough to own a buffer", a);
    Named(&all, nullptr, a);
    TavVector_TavPropertyListener v;
    TavVector_TavPropertyListenerConstructDefault(&v, a);
    ASSERT_TRUE(TavVector_TavPropertyListenerPushBack(&v, &named));
    ASSERT_TRUE(TavVector_TavPropertyListenerPushBack(&v, &all));
    const std::size_t live = a.liveBytes();
    SweepAllocationFailures(a, [&](std::size_t) {
        if (TavVector_TavPropertyListenerReserve(&v, 3)) return;
        EXPECT_EQ(a.liveBytes(), live);
        EXPECT_TRUE(TavPropertyListenerEqual(v.begin, &named));
    });
    EXPECT_TRUE(TavPropertyListenerEqual(v.begin + 1, &all));
    TavVector_TavPropertyListenerDestruct(&v);
    TavPropertyListenerDestruct(&named);
    TavPropertyListenerDestruct(&all);
}

}  // namespace
