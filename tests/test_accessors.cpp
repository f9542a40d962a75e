// Typed accessors, run through the one list of value kinds: every kind's
// Set, Add and Get in both path forms behave alike, and name listing.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "CountingAllocator.hpp"

namespace {

int g_target;
void NoDelete(TavVoidPtr, TavAllocator*) {}

// A bag, and one payload of every kind: Arg<T>() is what the accessors of payload type T take.
class Accessors : public ::testing::Test {
protected:
    void SetUp() override {
        TavPropertiesConstructDefault(&bag, alloc);
        TavStringConstructCStr(&s, "text", alloc);
        TavPropertiesConstructDefault(&p, alloc);
        TavPropertiesSetIntValueCStr(&p, "n", 1, TAV_TRUE);
        TavVector_TavPropertyValueConstructN(&v, 2, TavPropertiesGetPropertyCStr(&p, "n"), alloc);
        TavSharedPtr_voidConstruct(&sp, &g_target, NoDelete, alloc);
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
    void Reset() {
        TavPropertiesDestruct(&bag);
        TavPropertiesConstructDefault(&bag, alloc);
    }

    // The accessors of one kind, which take A and read T, with the value constructor that says
    // what they should store.
    template <class A, class T>
    void CheckFamily(const char* kind, TavPropertyValueType type,
                     TavBool (*set)(TavProperties*, const TavString*, A, TavBool),
                     TavBool (*setCStr)(TavProperties*, const char*, A, TavBool),
                     TavBool (*add)(TavProperties*, const TavString*, A, TavBool),
                     TavBool (*addCStr)(TavProperties*, const char*, A, TavBool),
                     const T* (*get)(const TavProperties*, const TavString*),
                     const T* (*getCStr)(const TavProperties*, const char*),
                     TavPropertyValue* (*construct)(TavPropertyValue*, A, TavBool)) {
        const A arg = Arg<T>();
        // A new entry (in a nested bag made on the way) takes the given flag; Set refuses it.
        ASSERT_TRUE(addCStr(&bag, "k.x", arg, TAV_FALSE)) << kind;
        EXPECT_EQ(*TavPropertiesGetTypeValueCStr(&bag, "k.x"), type);
        EXPECT_FALSE(*TavPropertiesIsSettableValueCStr(&bag, "k.x"));
        EXPECT_FALSE(setCStr(&bag, "k.x", arg, TAV_TRUE)) << kind;
        // Over an Int entry: another kind's getter finds nothing, Add refuses, Set assigns in
        // both path forms and the entry keeps its own flag.
        TavString cx;
        TavStringConstructCStr(&cx, "c.x", alloc);
        ASSERT_TRUE(TavPropertiesAddIntValue(&bag, &cx, 7, TAV_TRUE));
        EXPECT_EQ(*TavPropertiesGetTypeValue(&bag, &cx), TAV_PROPERTYVALUE_TYPE_Int);
        EXPECT_EQ(get(&bag, &cx) == nullptr, type != TAV_PROPERTYVALUE_TYPE_Int) << kind;
        EXPECT_FALSE(add(&bag, &cx, arg, TAV_TRUE) || addCStr(&bag, "c.x", arg, TAV_TRUE));
        EXPECT_TRUE(set(&bag, &cx, arg, TAV_FALSE) && setCStr(&bag, "c.x", arg, TAV_FALSE));
        EXPECT_TRUE(*TavPropertiesIsSettableValue(&bag, &cx));
        // It equals the constructor's value; both getters point into it (at the bag itself).
        TavPropertyValue expected;
        construct(&expected, arg, TAV_TRUE);
        const TavPropertyValue* found = TavPropertiesGetPropertyAtPathConst(&bag, &cx);
        EXPECT_TRUE(TavPropertyValueEqual(found, &expected)) << kind;
        const bool nested = type == TAV_PROPERTYVALUE_TYPE_Properties;
        const void* payload = nested ? (const void*)found->u.p : &found->u;
        EXPECT_TRUE(get(&bag, &cx) == payload && getCStr(&bag, "c.x") == payload) << kind;
        TavPropertyValueDestruct(&expected);
        TavStringDestruct(&cx);
        // The shared payload holds one use per stored copy: the temporaries gave theirs back.
        const bool shared = type == TAV_PROPERTYVALUE_TYPE_SharedVoidPtr;
        EXPECT_EQ(TavAtomicIntegerGetValue(&sp.ref->useCount), shared ? 3 : 1) << kind;
        // Whichever allocation fails, the result tells whether the value was stored (a failure
        // after the change, in destroying a temporary bag, is no failure), and nothing leaks.
        Reset();
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
// TavPropertiesGet<Kind>Value(CStr) and TavPropertyValueConstruct<Kind>.
#define TAV_CHECK_FAMILY(Kind, ...)                                                                \
    CheckFamily(#Kind, TAV_PROPERTYVALUE_TYPE_##Kind, TavPropertiesSet##Kind##Value,               \
                TavPropertiesSet##Kind##ValueCStr, TavPropertiesAdd##Kind##Value,                  \
                TavPropertiesAdd##Kind##ValueCStr, TavPropertiesGet##Kind##Value,                  \
                TavPropertiesGet##Kind##ValueCStr, TavPropertyValueConstruct##Kind);

TEST_F(Accessors, EveryKindStoresAddsAndReadsAlikeInBothPathForms) {
    TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_CHECK_FAMILY)
    TAV_PROPERTYVALUE_OWNING_KINDS(TAV_CHECK_FAMILY)
}

// A string given as text is built before anything is locked; a path with nothing there has no
// kind and no flag.
TEST_F(Accessors, TextStringsAreBuiltFirstAndMissingPathsTellNothing) {
    EXPECT_TRUE(TavPropertiesAddStringCStrValueCStr(&bag, "a.s", "text", TAV_TRUE));
    alloc.FailAt(1);  // the temporary string: nothing changes
    EXPECT_FALSE(TavPropertiesSetStringCStrValueCStr(&bag, "a.s", "other", TAV_TRUE));
    EXPECT_STREQ(TavPropertiesGetStringValueCStr(&bag, "a.s")->buf, "text");
    EXPECT_EQ(TavPropertiesGetTypeValueCStr(&bag, "none"), nullptr);
    EXPECT_EQ(TavPropertiesIsSettableValueCStr(&bag, "none"), nullptr);
}

std::vector<std::string> Names(const TavVector_TavString& names) {
    std::vector<std::string> out;
    for (TavSizeT i = 0; i < TavVector_TavStringSize(&names); ++i) {
        out.push_back(TavVector_TavStringAtConst(&names, i)->buf);
    }
    return out;
}

TEST_F(Accessors, GetAllNamesListsOneBagInOrderOrLeavesTheListAlone) {
    using List = std::vector<std::string>;
    for (const char* path : {"b", "a.inner", "c"})
        ASSERT_TRUE(TavPropertiesSetIntValueCStr(&bag, path, 1, TAV_TRUE));
    TavVector_TavString names;
    TavVector_TavStringConstructDefault(&names, alloc);
    ASSERT_TRUE(TavPropertiesGetAllNames(TavPropertiesGetPropertiesValueCStr(&bag, "a"), &names));
    EXPECT_EQ(Names(names), List{"inner"});  // a bag's own names, not those nested in it
    const std::size_t points = tavtest::SweepAllocationFailures(alloc, [&](std::size_t) {
        const bool ok = TavPropertiesGetAllNames(&bag, &names);
        EXPECT_EQ(Names(names), ok ? List({"a", "b", "c"}) : List({"inner"}));
    });
    EXPECT_GE(points, 3u);
    Reset();
    EXPECT_TRUE(TavPropertiesGetAllNames(&bag, &names));
    EXPECT_EQ(Names(names), List{});
    TavVector_TavStringDestruct(&names);
}

}  // namespace
