// Helpers of the text-form tests: a bag that lives for a scope, makers of values.
#ifndef TAV_TESTS_TEXT_SUPPORT_HPP
#define TAV_TESTS_TEXT_SUPPORT_HPP

#include <cstddef>
#include <initializer_list>
#include <string>
#include <thread>
#include <type_traits>

#include <pthread.h>

#include <gtest/gtest.h>

#include "Os/TavProperties.h"

namespace texttest {

inline std::string Text(const TavString* s) { return std::string(s->buf, s->size); }

class Bag {
public:
    explicit Bag(TavAllocator* a = TavAllocatorGetDefault()) {
        EXPECT_NE(TavPropertiesConstructDefault(&bag_, a), nullptr);
    }
    ~Bag() { TavPropertiesDestruct(&bag_); }
    Bag(const Bag&) = delete;
    Bag& operator=(const Bag&) = delete;
    operator TavProperties*() { return &bag_; }

    // Adds v under name (not a path) and destroys v.
    Bag& Put(const char* name, TavPropertyValue v) {
        EXPECT_TRUE(TavPropertiesAddPropertyCStr(&bag_, name, &v)) << name;
        TavPropertyValueDestruct(&v);
        return *this;
    }

private:
    TavProperties bag_;
};

// The value that construct(&v, args...) makes; Bag::Put consumes it.
template <class... Params, class... Args>
TavPropertyValue Make(TavPropertyValue* (*construct)(TavPropertyValue*, Params...), Args... args) {
    TavPropertyValue v;
    EXPECT_NE(construct(&v, args...), nullptr);
    return v;
}
inline TavPropertyValue Bool(bool b) { return Make(TavPropertyValueConstructBool, b, TAV_TRUE); }
inline TavPropertyValue Int(TavInt i) { return Make(TavPropertyValueConstructInt, i, TAV_TRUE); }
inline TavPropertyValue Uint(TavUint u) { return Make(TavPropertyValueConstructUint, u, TAV_TRUE); }
inline TavPropertyValue F32(float f) { return Make(TavPropertyValueConstructFloat32, f, TAV_TRUE); }
inline TavPropertyValue F64(double f) { return Make(TavPropertyValueConstructFloat64, f, TAV_TRUE); }
inline TavPropertyValue Str(const char* s, TavAllocator* a = TavAllocatorGetDefault()) {
    return Make(TavPropertyValueConstructStringCStr, s, TAV_TRUE, a);
}
inline TavPropertyValue Nested(TavProperties* bag) {
    return Make(TavPropertyValueConstructProperties, bag, TAV_TRUE);
}

// A vector value of the elements, which it consumes.
inline TavPropertyValue Vec(std::initializer_list<TavPropertyValue> elements,
                            TavAllocator* a = TavAllocatorGetDefault()) {
    TavVector_TavPropertyValue vec;
    TavVector_TavPropertyValueConstructDefault(&vec, a);
    for (const TavPropertyValue& e : elements) {
        EXPECT_TRUE(TavVector_TavPropertyValuePushBack(&vec, &e));
        TavPropertyValueDestruct(const_cast<TavPropertyValue*>(&e));
    }
    const TavPropertyValue v = Make(TavPropertyValueConstructVector, &vec, TAV_TRUE);
    TavVector_TavPropertyValueDestruct(&vec);
    return v;
}

// A nested-bag value holding a chain of `levels` bags, each holding the next
// as "n", the deepest holding the Int "x".
inline TavPropertyValue Chain(int levels) {
    Bag bag;
    return Nested(levels == 1 ? bag.Put("x", Int(1)) : bag.Put("n", Chain(levels - 1)));
}

// How deep the deep-tree tests go: far past any call stack.
constexpr std::size_t kDeep = 100000;

// Below `bag`, `levels` bags each holding the next as "a", the deepest
// holding the Int "a" = 1: one path set "a.a. ... .a".
inline void PutChain(TavProperties* bag, std::size_t levels) {
    std::string path = "a";
    for (std::size_t i = 0; i < levels; ++i) path += ".a";
    EXPECT_TRUE(TavPropertiesSetIntValueCStr(bag, path.c_str(), 1, TAV_TRUE));
}

// The bag `depth` levels below `bag` in a chain made by PutChain.
inline TavProperties* ChainBag(TavProperties* bag, std::size_t depth) {
    std::string path = "a";
    for (std::size_t i = 1; i < depth; ++i) path += ".a";
    return depth == 0 ? bag : TavPropertiesGetPropertyAtPathCStr(bag, path.c_str())->u.p;
}

// Adds under `name` `levels` vectors each holding the next as its only
// element, the innermost holding `inner` (which it consumes). Built by
// swapping contents, so no nested value is ever copied.
inline void PutVectorChain(TavProperties* bag, const char* name, std::size_t levels,
                           TavPropertyValue inner, TavAllocator* a = TavAllocatorGetDefault()) {
    TavPropertyValue chain = Vec({inner}, a);
    for (std::size_t i = 1; i < levels; ++i) {
        TavPropertyValue outer = Vec({Vec({}, a)}, a);
        EXPECT_TRUE(TavVector_TavPropertyValueSwap(&outer.u.vec.begin->u.vec, &chain.u.vec));
        TavPropertyValueDestruct(&chain);
        chain = outer;
    }
    TavPropertyValue empty = Vec({}, a);
    EXPECT_TRUE(TavPropertiesAddPropertyCStr(bag, name, &empty));
    TavPropertyValueDestruct(&empty);
    TavPropertyValue* added = TavPropertiesGetPropertyAtPathCStr(bag, name);
    EXPECT_TRUE(TavVector_TavPropertyValueSwap(&added->u.vec, &chain.u.vec));
    TavPropertyValueDestruct(&chain);
}

// Runs f on a thread with a small stack (256 KiB): a walk that went one call
// deeper per level of the tree would overflow it at the depths used here.
// The example of the standard writers' allocation-failure sweeps: a nested
// bag with a string to escape, a string of `fill` longer than the writers
// buffer, and vectors nested deeper than a walk keeps in place, so that every
// kind of memory a write takes can fail.
inline void PutFailureExample(Bag& bag, Bag& inner, TavAllocator* a, char fill) {
    const std::string longText(9000, fill);
    bag.Put("n", Nested(inner.Put("s", Str("a\"\x01\xFF", a))));
    bag.Put("l", Str(longText.c_str(), a));
    PutVectorChain(bag, "w", 40, Str("deep", a), a);
}

template <class F>
void OnSmallStack(F&& f) {
    using Fn = std::remove_reference_t<F>;
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, 256 * 1024);
    pthread_t thread;
    const auto run = [](void* fn) -> void* {
        (*static_cast<Fn*>(fn))();
        return nullptr;
    };
    EXPECT_EQ(pthread_create(&thread, &attr, run, &f), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attr);
}

// True when another thread can take the bag's lock: no walk left it held.
inline bool Unlocked(TavProperties* bag) {
    bool free = false;
    std::thread([&] {
        free = pthread_mutex_trylock(&bag->mutex) == 0;
        if (free) TavMutexUnlock(&bag->mutex);
    }).join();
    return free;
}

}  // namespace texttest

#endif
