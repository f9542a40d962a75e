// Typed accessors, run through the one list of value kinds. (Copy-outs of every kind: the C++
// face's tests; name lists: the reliability sweep and the fuzzers.)
#include <gtest/gtest.h>

#include <tuple>
#include <type_traits>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

int g_target;
int g_heard;  // changes told to the listener of a listened bag

// A bag, and one payload of every kind: Arg<T>() is what the accessors of payload type T take.
class Accessors : public ::testing::Test {
protected:
    void SetUp() override {
        TavPropertiesConstructDefault(&bag, alloc);
        TavStringConstructCStr(&s, "text", alloc);
        TavPropertiesConstructDefault(&p, alloc);
        TavPropertiesSetIntValueCStr(&p, "n", 1, TAV_TRUE);
        TavVector_TavPropertyValueConstructN(&v, 2, TavPropertiesGetPropertyCStr(&p, "n"), alloc);
        TavSharedPtr_voidConstruct(&sp, &g_target, [](TavVoidPtr, TavAllocator*) {}, alloc);
        TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
    }
    void TearDown() override {
        TavPropertiesDestruct(&bag);
        TavStringDestruct(&s);
        TavPropertiesDestruct(&p);
        TavVector_TavPropertyValueDestruct(&v);
        TavWeakPtr_voidDestruct(&wp);
        TavSharedPtr_voidDestruct(&sp);
    }
    template <class T>
    auto Arg() const {
        if constexpr (std::is_same_v<T, TavResolution>) return T{640, 480};
        else if constexpr (std::is_pointer_v<T>) return T(&g_target);
        else if constexpr (!std::is_class_v<T>) return T(2);
        else return std::get<const T*>(std::make_tuple(&s, &p, &v, &sp, &wp));
    }
    // A fresh bag; with `listened`, one that tells a listener of every change, so that
    // the accessors copy their value into it instead of handing it over.
    void Reset() {
        TavPropertiesDestruct(&bag);
        TavPropertiesConstructDefault(&bag, alloc);
        const TavPropertyListenerCallback count = [](const TavPropertyListener*, TavProperties*,
                                                     const TavString*, const TavPropertyValue*,
                                                     const TavPropertyValue*) { ++g_heard; };
        if (listened) texttest::Listen(&bag, count, nullptr, nullptr, {texttest::kAfter});
    }
    bool listened = false;

    // The accessors of one kind, and the value's constructor and getter that say what they store.
    template <class T, auto set, auto setCStr, auto add, auto addCStr, auto get, auto getCStr,
              auto construct, auto valueGet>
    void CheckFamily(const char* kind, TavPropertyValueType type) {
        SCOPED_TRACE(kind);
        const auto arg = Arg<T>();
        // A new entry (in a nested bag made on the way) takes the given flag; Set refuses it.
        ASSERT_TRUE(addCStr(&bag, "k.x", arg, TAV_FALSE));
        EXPECT_FALSE(setCStr(&bag, "k.x", arg, TAV_TRUE));
        // Over an Int entry (named s): other getters find nothing, Add refuses, Set keeps the flag.
        ASSERT_TRUE(TavPropertiesAddIntValue(&bag, &s, 7, TAV_TRUE));
        EXPECT_EQ(*TavPropertiesGetTypeValue(&bag, &s), TAV_PROPERTYVALUE_TYPE_Int);
        EXPECT_EQ(get(&bag, &s) == nullptr, type != TAV_PROPERTYVALUE_TYPE_Int);
        EXPECT_FALSE(add(&bag, &s, arg, TAV_TRUE));
        EXPECT_FALSE(addCStr(&bag, "text", arg, TAV_TRUE));
        EXPECT_TRUE(set(&bag, &s, arg, TAV_FALSE));
        EXPECT_TRUE(setCStr(&bag, "text", arg, TAV_FALSE));
        EXPECT_TRUE(*TavPropertiesIsSettableValue(&bag, &s));
        // It equals the constructor's value; both getters point into it (at the bag itself).
        TavPropertyValue expected;
        construct(&expected, arg, TAV_TRUE);
        const TavPropertyValue* found = TavPropertiesGetPropertyAtPathConst(&bag, &s);
        EXPECT_TRUE(TavPropertyValueEqual(found, &expected));
        TavPropertyValueDestruct(&expected);
        EXPECT_EQ(get(&bag, &s), valueGet(found));
        EXPECT_EQ(getCStr(&bag, "text"), valueGet(found));
        // The shared payload holds one use per stored copy: the temporaries gave theirs back.
        const bool shared = type == TAV_PROPERTYVALUE_TYPE_SharedVoidPtr;
        EXPECT_EQ(TavAtomicIntegerGetValue(&sp.ref->useCount), shared ? 3 : 1);
        // Whichever allocation fails, the result tells whether the value was stored, no leak.
        tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
            const bool ok = setCStr(&bag, "f.x", arg, TAV_TRUE);
            if (!alloc.Failed()) alloc.FailAt(0);
            EXPECT_EQ(ok, TavPropertiesGetPropertyAtPathCStrConst(&bag, "f.x") != nullptr) << k;
            Reset();
        });
    }

    tavtest::CountingAllocator alloc;
    TavProperties bag, p;
    TavString s;
    TavVector_TavPropertyValue v;
    TavSharedPtr_void sp;
    TavWeakPtr_void wp;
};

// For each kind: TavPropertiesSet<Kind>Value(CStr), TavPropertiesAdd<Kind>Value(CStr),
// TavPropertiesGet<Kind>Value(CStr), TavPropertyValueConstruct<Kind> and TavPropertyValueGet<Kind>.
#define TAV_CHECK_FAMILY(Kind, Type, ...)                                                          \
    CheckFamily<Type, TavPropertiesSet##Kind##Value, TavPropertiesSet##Kind##ValueCStr,            \
                TavPropertiesAdd##Kind##Value, TavPropertiesAdd##Kind##ValueCStr,                  \
                TavPropertiesGet##Kind##Value, TavPropertiesGet##Kind##ValueCStr,                  \
                TavPropertyValueConstruct##Kind, TavPropertyValueGet##Kind>(                       \
        #Kind, TAV_PROPERTYVALUE_TYPE_##Kind);

TEST_F(Accessors, EveryKindStoresAddsAndReadsAlikeInBothPathForms) {
    for (const bool told : {false, true}) {
        listened = told;
        Reset();
        g_heard = 0;
        TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_CHECK_FAMILY)
        TAV_PROPERTYVALUE_OWNING_KINDS(TAV_CHECK_FAMILY)
        EXPECT_EQ(g_heard > 0, told);
    }
    // Text becomes a string before anything changes; a missing path has no kind and no flag,
    // and copying a string out of it leaves the caller's string alone.
    EXPECT_TRUE(TavPropertiesAddStringCStrValueCStr(&bag, "a.s", "text", TAV_TRUE));
    alloc.FailAt(1);
    EXPECT_FALSE(TavPropertiesSetStringCStrValueCStr(&bag, "a.s", "other", TAV_TRUE));
    EXPECT_STREQ(TavPropertiesGetStringValueCStr(&bag, "a.s")->buf, "text");
    EXPECT_EQ(TavPropertiesGetTypeValueCStr(&bag, "none"), nullptr);
    EXPECT_EQ(TavPropertiesIsSettableValueCStr(&bag, "none"), nullptr);
    TavString out;
    TavStringConstructCStr(&out, "kept", alloc);
    EXPECT_FALSE(TavPropertiesCopyStringValueCStr(&bag, "a", &out));
    EXPECT_STREQ(out.buf, "kept");
    TavStringDestruct(&out);
}

}  // namespace
