// Helpers of the text-form tests: a bag that lives for a scope, makers of values.
#ifndef TAV_TESTS_TEXT_SUPPORT_HPP
#define TAV_TESTS_TEXT_SUPPORT_HPP

#include <initializer_list>
#include <string>

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

}  // namespace texttest

#endif
