// The listener record: named and all-names listeners, assignment between them, and equality.
#include <gtest/gtest.h>

#include <cstring>

#include "CountingAllocator.hpp"

namespace {

template <int> void On(const TavPropertyListener*, TavProperties*, const TavString*,
                       const TavPropertyValue*, const TavPropertyValue*) {}

int data1, data2;

// Built over garbage, so that an all-names listener that touched its name would crash.
TavPropertyListener* Make(TavPropertyListener* x, const char* name, void* data, TavAllocator* a) {
    std::memset(static_cast<void*>(x), 0xA5, sizeof *x);
    return TavPropertyListenerConstructCStr(x, TAV_PROPERTYLISTENER_TRIGGER_After, name, &On<0>,
                                            data, a);
}

// Each kind assigned over each, under every allocation failure, ends equal to its source or, when
// it fails, as it was. Equal compares kind, trigger, callback, data and a named one's name.
TEST(Listener, AssignsEachKindOverEachAndEqualsByEveryField) {
    tavtest::CountingAllocator a;
    TavPropertyListener x, l[4];  // named and all-names starts, then sources of other data
    const char* const names[] = {"name held by x", nullptr, "a long listener name to copy",
                                 nullptr};
    for (int i = 0; i < 4; ++i) Make(&l[i], names[i], i < 2 ? &data1 : &data2, a);
    for (const TavPropertyListener* start : {&l[0], &l[1]}) {
        for (const TavPropertyListener* source : {&l[2], &l[3]}) {
            tavtest::SweepAllocationFailures(a, [&](std::size_t k) {
                a.FailAt(0);
                std::memset(static_cast<void*>(&x), 0x5A, sizeof x);
                TavPropertyListenerConstructCopy(&x, start);
                a.FailAt(k);
                const bool ok = TavPropertyListenerAssign(&x, source) != nullptr;
                EXPECT_TRUE(TavPropertyListenerEqual(&x, ok ? source : start));
                TavPropertyListenerDestruct(&x);
            });
        }
    }
    void (*const changes[])(TavPropertyListener*) = {
        [](TavPropertyListener*) {},  // the only one left equal
        [](TavPropertyListener* l) { l->trigger = TAV_PROPERTYLISTENER_TRIGGER_Before; },
        [](TavPropertyListener* l) { l->cb = &On<1>; },
        [](TavPropertyListener* l) { l->data = &data2; },
        [](TavPropertyListener* l) { l->name.buf[0] = 'm'; },
        [](TavPropertyListener* l) { TavStringDestruct(&l->name), l->all = TAV_TRUE; },
    };
    for (const auto& change : changes) {
        change(TavPropertyListenerConstructCopy(&x, &l[0]));
        EXPECT_EQ(TavPropertyListenerEqual(&x, &l[0]), &change == changes) << &change - changes;
        TavPropertyListenerDestruct(&x);
    }
    std::memset(static_cast<void*>(&Make(&x, nullptr, &data1, a)->name), 0x5A, sizeof x.name);
    EXPECT_TRUE(TavPropertyListenerEqual(&x, &l[1])) << "whatever their name fields hold";
    TavPropertyListenerDestruct(&x);
    for (TavPropertyListener& y : l) TavPropertyListenerDestruct(&y);
}

}  // namespace
