// Helpers shared by the tests: scoped bags, value makers, bags shown as text, recording
// listeners, deep trees and the writers' common checks.
#ifndef TAV_TESTS_TEXT_SUPPORT_HPP
#define TAV_TESTS_TEXT_SUPPORT_HPP

#include <charconv>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <pthread.h>

#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "Os/TavProperties.h"

namespace texttest {

inline std::string Text(const TavString* s) { return std::string(s->buf, s->size); }

inline std::string Repeat(const std::string& s, std::size_t n) {
    std::string r;
    while (n-- != 0) r += s;
    return r;
}

inline TavJsonOptions Options(TavJsonStyle style, TavUint indent = 0,
                              TavJsonInvalidUtf8 utf8 = TAV_JSON_UTF8_REPLACE,
                              TavBool readOnly = TAV_FALSE, TavSizeT maxDepth = 0) {
    return TavJsonOptions{style, indent, utf8, readOnly, maxDepth};
}

std::string Show(const TavProperties* bag);

inline std::string Num(double f) {
    char buf[40];
    *std::to_chars(buf, buf + 39, f).ptr = 0;
    return buf;
}

// A value as "kind:payload", "~" after the kind when it is not settable.
inline std::string Show(const TavPropertyValue& v) {
    std::string ro = v.settable ? ":" : "~";
    switch (v.type) {
        case TAV_PROPERTYVALUE_TYPE_Bool: return "b" + ro + (v.u.b ? "1" : "0");
        case TAV_PROPERTYVALUE_TYPE_Int: return "i" + ro + std::to_string(v.u.i);
        case TAV_PROPERTYVALUE_TYPE_Int16: return "i16" + ro + std::to_string(v.u.i16);
        case TAV_PROPERTYVALUE_TYPE_Int64: return "i64" + ro + std::to_string(v.u.i64);
        case TAV_PROPERTYVALUE_TYPE_Uint: return "u" + ro + std::to_string(v.u.ui);
        case TAV_PROPERTYVALUE_TYPE_Uint16: return "u16" + ro + std::to_string(v.u.ui16);
        case TAV_PROPERTYVALUE_TYPE_Uint64: return "u64" + ro + std::to_string(v.u.ui64);
        case TAV_PROPERTYVALUE_TYPE_SizeT: return "sz" + ro + std::to_string(v.u.sz);
        case TAV_PROPERTYVALUE_TYPE_Float32: return "f32" + ro + Num(v.u.f32);
        case TAV_PROPERTYVALUE_TYPE_Float64: return "f64" + ro + Num(v.u.f64);
        case TAV_PROPERTYVALUE_TYPE_Time: return "t" + ro + std::to_string(v.u.t);
        case TAV_PROPERTYVALUE_TYPE_Resolution:
            return "res" + ro + std::to_string(v.u.res.width) + "x" +
                   std::to_string(v.u.res.height);
        case TAV_PROPERTYVALUE_TYPE_MediaFormat:
            return "fmt" + ro + std::string(reinterpret_cast<const char*>(&v.u.fmt), 4);
        case TAV_PROPERTYVALUE_TYPE_VoidPtr: return v.u.vp == nullptr ? "null" + ro : "ptr?";
        case TAV_PROPERTYVALUE_TYPE_String: return "s" + ro + Text(&v.u.s);
        case TAV_PROPERTYVALUE_TYPE_Properties:
            return "{" + Show(v.u.p) + "}" + (v.settable ? "" : "~");
        case TAV_PROPERTYVALUE_TYPE_Vector: {
            std::string out = "[";
            for (const TavPropertyValue* e = v.u.vec.begin; e != v.u.vec.end; ++e)
                out += (e == v.u.vec.begin ? "" : ",") + Show(*e);
            return out + "]" + (v.settable ? "" : "~");
        }
        default: return "?";
    }
}

// "name=value;..." in name order.
inline std::string Show(const TavProperties* bag) {
    std::string out;
    for (auto it = TavMap_TavString__TavPropertyValueBeginConst(&bag->map);
         it != TavMap_TavString__TavPropertyValueEndConst(&bag->map);
         TavMap_TavString__TavPropertyValueConstIteratorIncrement(&it))
        out += (out.empty() ? "" : ";") + Text(&it->value.first) + "=" + Show(it->value.second);
    return out;
}

constexpr TavPropertyListenerTrigger kBefore = TAV_PROPERTYLISTENER_TRIGGER_Before;
constexpr TavPropertyListenerTrigger kAfter = TAV_PROPERTYLISTENER_TRIGGER_After;

// Adds to bag a listener calling cb with data for each trigger given, for `name` (all if NULL).
inline bool Listen(TavProperties* bag, TavPropertyListenerCallback cb, void* data,
                   const char* name = nullptr,
                   std::initializer_list<TavPropertyListenerTrigger> triggers = {kBefore, kAfter}) {
    bool ok = true;
    for (const TavPropertyListenerTrigger trigger : triggers) {
        TavPropertyListener l;
        if (!TavPropertyListenerConstructCStr(&l, trigger, name, cb, data,
                                              TavPropertiesGetAllocator(bag)))
            return false;
        ok = TavPropertiesAddListener(bag, &l) && ok;
        TavPropertyListenerDestruct(&l);
    }
    return ok;
}

// A listener whose data is Lines: "B name old/new" a call ("A" for After), values as Show
// writes them, "-" for none.
using Lines = std::vector<std::string>;
inline void Record(const TavPropertyListener* l, TavProperties*, const TavString* name,
                   const TavPropertyValue* oldValue, const TavPropertyValue* newValue) {
    const auto show = [](const TavPropertyValue* v) { return v ? Show(*v) : std::string("-"); };
    static_cast<Lines*>(TavPropertyListenerGetData(l))
        ->push_back((TavPropertyListenerGetTrigger(l) == kBefore ? "B " : "A ") + Text(name) + " " +
                    show(oldValue) + "/" + show(newValue));
}

class Bag {
public:
    explicit Bag(TavAllocator* a = TavAllocatorGetDefault()) {
        EXPECT_NE(TavPropertiesConstructDefault(&bag_, a), nullptr);
    }
    ~Bag() { TavPropertiesDestruct(&bag_); }
    Bag(const Bag&) = delete;
    Bag& operator=(const Bag&) = delete;
    operator TavProperties*() { return &bag_; }
    TavProperties* get() { return &bag_; }

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

// A nested-bag value: `levels` bags each holding the next as "n", the deepest the Int "x".
inline TavPropertyValue Chain(int levels) {
    Bag bag;
    return Nested(levels == 1 ? bag.Put("x", Int(1)) : bag.Put("n", Chain(levels - 1)));
}

// How deep the deep-tree tests go: far past any call stack.
constexpr std::size_t kDeep = 100000;

// Below `bag`, `levels` bags each holding the next as "a", the deepest the Int "a" = 1.
inline void PutChain(TavProperties* bag, std::size_t levels) {
    EXPECT_TRUE(
        TavPropertiesSetIntValueCStr(bag, ("a" + Repeat(".a", levels)).c_str(), 1, TAV_TRUE));
}

// The bag `depth` levels below `bag` in a chain made by PutChain.
inline TavProperties* ChainBag(TavProperties* bag, std::size_t depth) {
    if (depth == 0) return bag;
    return TavPropertiesGetPropertyAtPathCStr(bag, ("a" + Repeat(".a", depth - 1)).c_str())->u.p;
}

// Adds under `name` `levels` vectors each holding the next as its only element, the innermost
// `inner` (which it consumes); built by swapping contents, so nothing nested is copied.
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

// The standard writers' failure example: a nested bag with a string to escape, a string of
// `fill` longer than the writers' buffer, vectors deeper than a walk keeps in place.
inline void PutFailureExample(Bag& bag, Bag& inner, TavAllocator* a, char fill) {
    bag.Put("n", Nested(inner.Put("s", Str("a\"\x01\xFF", a))));
    bag.Put("l", Str(std::string(9000, fill).c_str(), a));
    PutVectorChain(bag, "w", 40, Str("deep", a), a);
}

// Runs f on a thread with a 256 KiB stack, which a walk recursing per level would overflow.
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

// What write(&out) leaves in a string that held `start`, run on a small stack; "FAILED" when
// it returned NULL leaving the string alone.
template <class Write>
std::string Written(Write&& write, const std::string& start = "kept") {
    TavString out;
    TavStringConstructCStr(&out, start.c_str(), TavAllocatorGetDefault());
    const TavString* result = nullptr;
    OnSmallStack([&] { result = write(&out); });
    const std::string text = Text(&out);
    TavStringDestruct(&out);
    if (result != &out) {
        EXPECT_EQ(result, nullptr);
        EXPECT_EQ(text, start);
    }
    return result ? text : "FAILED";
}

// Runs write(&out) failing each allocation of alloc in turn, out holding "kept": a failure
// returns NULL leaving "kept", the write that meets none gives `expected`. Returns the points.
template <class Write>
std::size_t SweepWriteFailures(tavtest::CountingAllocator& alloc, const std::string& expected,
                               Write&& write) {
    TavString out;
    TavStringConstructCStr(&out, "kept", alloc);
    const std::size_t points = tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        const TavString* result = write(&out);
        EXPECT_EQ(result == nullptr, alloc.Failed()) << "failing allocation " << k;
        EXPECT_EQ(Text(&out), result ? expected : "kept") << k;
    });
    TavStringDestruct(&out);
    return points;
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
