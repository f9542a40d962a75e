// Helpers shared by the tests of the text forms: owning bag wrapper, value
// makers and conversions of library strings to std::string.
#ifndef TAV_TESTS_TEXT_SUPPORT_HPP
#define TAV_TESTS_TEXT_SUPPORT_HPP

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <string>

#include <gtest/gtest.h>

#include "Os/TavProperties.h"

namespace texttest {

inline std::string Text(const TavString* s) { return std::string(s->buf, s->size); }

// A bag that lives for a scope.
class Bag {
public:
    explicit Bag(TavAllocator* a = TavAllocatorGetDefault()) {
        EXPECT_NE(TavPropertiesConstructDefault(&bag_, a), nullptr);
    }
    ~Bag() { TavPropertiesDestruct(&bag_); }
    Bag(const Bag&) = delete;
    Bag& operator=(const Bag&) = delete;
    TavProperties* get() { return &bag_; }
    operator TavProperties*() { return &bag_; }

    // Stores v under name (by name, not by path) and destroys v.
    Bag& Put(const char* name, TavPropertyValue v) {
        EXPECT_TRUE(TavPropertiesAddPropertyCStr(&bag_, name, &v)) << name;
        TavPropertyValueDestruct(&v);
        return *this;
    }

private:
    TavProperties bag_;
};

// Value makers, all settable; the caller owns (and Bag::Put consumes) the
// result.
template <class T>
TavPropertyValue Plain(TavPropertyValue* (*construct)(TavPropertyValue*, T, TavBool), T payload) {
    TavPropertyValue v;
    construct(&v, payload, TAV_TRUE);
    return v;
}
inline TavPropertyValue Bool(bool b) { return Plain<TavBool>(TavPropertyValueConstructBool, b); }
inline TavPropertyValue Int(TavInt i) { return Plain(TavPropertyValueConstructInt, i); }
inline TavPropertyValue Uint(TavUint u) { return Plain(TavPropertyValueConstructUint, u); }
inline TavPropertyValue F32(TavFloat32 f) { return Plain(TavPropertyValueConstructFloat32, f); }
inline TavPropertyValue F64(TavFloat64 f) { return Plain(TavPropertyValueConstructFloat64, f); }
inline TavPropertyValue Str(const char* s, TavAllocator* a = TavAllocatorGetDefault()) {
    TavPropertyValue v;
    EXPECT_NE(TavPropertyValueConstructStringCStr(&v, s, TAV_TRUE, a), nullptr);
    return v;
}
inline TavPropertyValue Nested(TavProperties* bag) {
    TavPropertyValue v;
    EXPECT_NE(TavPropertyValueConstructProperties(&v, bag, TAV_TRUE), nullptr);
    return v;
}
// A vector value holding copies of the elements; the elements are destroyed.
inline TavPropertyValue Vec(std::initializer_list<TavPropertyValue> elements,
                            TavAllocator* a = TavAllocatorGetDefault()) {
    TavVector_TavPropertyValue vec;
    TavVector_TavPropertyValueConstructDefault(&vec, a);
    for (const TavPropertyValue& e : elements) {
        EXPECT_TRUE(TavVector_TavPropertyValuePushBack(&vec, &e));
        TavPropertyValueDestruct(const_cast<TavPropertyValue*>(&e));
    }
    TavPropertyValue v;
    EXPECT_NE(TavPropertyValueConstructVector(&v, &vec, TAV_TRUE), nullptr);
    TavVector_TavPropertyValueDestruct(&vec);
    return v;
}

// Makes top hold a chain of `levels` nested bags, each named "n", the
// deepest holding the Int leaf "x".
inline void NestChain(TavProperties* top, int levels) {
    Bag inner;
    inner.Put("x", Int(1));
    for (int i = 1; i < levels; ++i) {
        Bag outer;
        outer.Put("n", Nested(inner));
        TavPropertiesAssign(inner, outer);
    }
    TavPropertyValue v = Nested(inner);
    EXPECT_TRUE(TavPropertiesAddPropertyCStr(top, "n", &v));
    TavPropertyValueDestruct(&v);
}

// Switches the process to a locale whose decimal separator is a comma for
// its lifetime, building one with localedef when none is installed.
class CommaLocale {
public:
    CommaLocale() : saved_(std::setlocale(LC_ALL, nullptr)) {
        if (std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr) return;
        char dir[] = "/tmp/tav-localeXXXXXX";
        if (mkdtemp(dir) == nullptr) return;
        built_ = dir;
        const std::string make = "localedef -i de_DE -f UTF-8 " + built_ + "/de_DE.UTF-8 >/dev/null 2>&1";
        if (std::system(make.c_str()) != 0) return;
        setenv("LOCPATH", dir, 1);
        std::setlocale(LC_ALL, "de_DE.UTF-8");
    }
    ~CommaLocale() {
        std::setlocale(LC_ALL, saved_.c_str());
        if (!built_.empty()) {
            unsetenv("LOCPATH");
            std::error_code ignored;
            std::filesystem::remove_all(built_, ignored);
        }
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;
    // False when no such locale could be had.
    bool active() const { return *std::localeconv()->decimal_point == ','; }

private:
    std::string saved_;
    std::string built_;
};

}  // namespace texttest

#endif
