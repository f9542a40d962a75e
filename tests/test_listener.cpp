// The listener record: named and all-names listeners, assignment between them, and equality.
#include <gtest/gtest.h>

#include <cstring>

#include "CountingAllocator.hpp"

namespace {

template <int>
void On(const TavPropertyListener*, TavProperties*, const TavString*, const TavPropertyValue*,
        const TavPropertyValue*) {}

int data1, data2;

// Built over garbage, so that an all-names listener that touched its name would crash.
TavPropertyListener* Make(TavPropertyListener* x, const char* name, TavAllocator* a,
                          void* data = &data1) {
    std::memset(static_cast<void*>(x), 0xA5, sizeof *x);
    return TavPropertyListenerConstructCStr(x, TAV_PROPERTYLISTENER_TRIGGER_After, name, &On<0>,
                                            data, a);
}

const char* NameOf(const TavPropertyListener& x) {
    const TavString* name = TavPropertyListenerGetName(&x);
    return name == nullptr ? nullptr : TavStringCStr(name);
}

// Every target kind from every source kind, under every allocation failure: a failed assignment
// leaves x as it was, and the allocator reports anything leaked.
TEST(Listener, AssignAcrossNamedAndAllNames) {
    tavtest::CountingAllocator a;
    TavPropertyListener x, named, all;
    Make(&named, "a long listener name to copy", a, &data2);
    Make(&all, nullptr, a, &data2);
    for (const char* start : {static_cast<const char*>(nullptr), "name held by x"}) {
        for (const TavPropertyListener* source : {&named, &all}) {
            tavtest::SweepAllocationFailures(a, [&](std::size_t k) {
                a.FailAt(0);
                Make(&x, start, a);
                a.FailAt(k);
                const bool ok = TavPropertyListenerAssign(&x, source) != nullptr;
                EXPECT_STREQ(NameOf(x), ok ? NameOf(*source) : start);
                EXPECT_EQ(TavPropertyListenerGetData(&x), ok ? &data2 : &data1);
                TavPropertyListenerDestruct(&x);
            });
        }
    }
    for (TavPropertyListener* l : {&named, &all}) TavPropertyListenerDestruct(l);
}

TEST(Listener, EqualComparesKindTriggerCallbackDataAndName) {
    tavtest::CountingAllocator a;
    TavPropertyListener base, x, y;
    Make(&base, "n", a);
    void (*const changes[])(TavPropertyListener*) = {
        [](TavPropertyListener*) {},  // the only one left equal
        [](TavPropertyListener* l) { l->trigger = TAV_PROPERTYLISTENER_TRIGGER_Before; },
        [](TavPropertyListener* l) { l->cb = &On<1>; },
        [](TavPropertyListener* l) { l->data = &data2; },
        [](TavPropertyListener* l) { l->name.buf[0] = 'm'; },
        [](TavPropertyListener* l) { TavStringDestruct(&l->name), l->all = TAV_TRUE; },
    };
    for (const auto& change : changes) {
        change(TavPropertyListenerConstructCopy(&x, &base));
        EXPECT_EQ(TavPropertyListenerEqual(&x, &base), &change == changes) << &change - changes;
        TavPropertyListenerDestruct(&x);
    }
    Make(&x, nullptr, a);
    std::memset(static_cast<void*>(&Make(&y, nullptr, a)->name), 0x5A, sizeof y.name);
    EXPECT_TRUE(TavPropertyListenerEqual(&x, &y));  // whatever their name fields hold
    for (TavPropertyListener* l : {&base, &x, &y}) TavPropertyListenerDestruct(l);
}

}  // namespace
