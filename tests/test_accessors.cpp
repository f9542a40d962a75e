// Typed accessors, run through the one list of value kinds. (Name lists: the reliability sweep
// and the fuzzers.)
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <type_traits>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

int g_target;
int g_heard;  // changes told to the listener of a listened bag

// A wrapped int, for a Wrapper entry.
void* CopyInt(void* dst, const void* src) { return std::memcpy(dst, src, sizeof(int)); }
void KeepInt(void*) {}
TavBool SameInt(const void* a, const void* b) { return std::memcmp(a, b, sizeof(int)) == 0; }
const TavPropertyValueCallbacks kIntBox = {&CopyInt, &KeepInt, &CopyInt, &SameInt};

// What the copy-out getters are tried on: an entry of each plain kind (named by the kind), a
// String, a Wrapper, nothing, and a name below an Int.
const char* const kCopyPaths[] = {"Bool", "Int", "Int16", "Int64", "Uint", "Uint16", "Uint64",
                                  "SizeT", "Float32", "Float64", "Time", "Resolution",
                                  "MediaFormat", "VoidPtr", "Wrapper", "none", "Int.x", "String"};

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

    // Tries one copy-out getter, in both path forms, on every entry of kCopyPaths: it copies
    // exactly when the pointer getter finds something, and then what that points at; otherwise
    // out keeps its bytes. Returns how many entries it copied.
    template <class T, auto getCStr, auto copy, auto copyCStr>
    int CheckCopyOut(const char* kind) {
        int copied = 0;
        for (const char* name : kCopyPaths) {
            SCOPED_TRACE(std::string(kind) + " at " + name);
            TavString path;
            TavStringConstructCStr(&path, name, alloc);
            const T* expected = getCStr(&bag, name);
            unsigned char kept[sizeof(T)];
            T outs[2];
            std::memset(kept, 0xA5, sizeof kept);
            std::memset(outs, 0xA5, sizeof outs);
            EXPECT_EQ(copy(&bag, &path, &outs[0]), expected != nullptr);
            EXPECT_EQ(copyCStr(&bag, name, &outs[1]), expected != nullptr);
            for (const T& out : outs)
                EXPECT_EQ(std::memcmp(&out, expected ? static_cast<const void*>(expected) : kept,
                                      sizeof(T)), 0);
            copied += expected != nullptr;
            TavStringDestruct(&path);
        }
        return copied;
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
    // Text becomes a string before anything changes; a missing path has no kind and no flag.
    EXPECT_TRUE(TavPropertiesAddStringCStrValueCStr(&bag, "a.s", "text", TAV_TRUE));
    alloc.FailAt(1);
    EXPECT_FALSE(TavPropertiesSetStringCStrValueCStr(&bag, "a.s", "other", TAV_TRUE));
    EXPECT_STREQ(TavPropertiesGetStringValueCStr(&bag, "a.s")->buf, "text");
    EXPECT_EQ(TavPropertiesGetTypeValueCStr(&bag, "none"), nullptr);
    EXPECT_EQ(TavPropertiesIsSettableValueCStr(&bag, "none"), nullptr);
}

// Each plain kind's copy-out finds its own entry, VoidPtr a Wrapper's object too.
#define TAV_STORE_PLAIN(Kind, Type, member) \
    ASSERT_TRUE(TavPropertiesSet##Kind##ValueCStr(&bag, #Kind, Arg<Type>(), TAV_TRUE));
#define TAV_CHECK_COPY_OUT(Kind, Type, member)                                              \
    EXPECT_EQ((CheckCopyOut<Type, TavPropertiesGet##Kind##ValueCStr,                        \
                            TavPropertiesCopy##Kind##Value, TavPropertiesCopy##Kind##ValueCStr>( \
                  #Kind)),                                                                  \
              std::string(#Kind) == "VoidPtr" ? 2 : 1);

TEST_F(Accessors, CopyOutGettersTakeWhatTheirPointerGettersFindAndLeaveOutAloneOtherwise) {
    TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_STORE_PLAIN)
    TavPropertyValue boxed;
    ASSERT_TRUE(TavPropertyValueConstructWrapper(&boxed, &g_target, sizeof(int), &kIntBox, "int",
                                                 TAV_TRUE, alloc));
    ASSERT_TRUE(TavPropertiesSetPropertyCStr(&bag, "Wrapper", &boxed));
    TavPropertyValueDestruct(&boxed);
    ASSERT_TRUE(TavPropertiesSetStringValueCStr(&bag, "String", &s, TAV_TRUE));
    TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_CHECK_COPY_OUT)
    // The String one assigns into the caller's string, which keeps its text on a miss ("String"
    // comes last).
    TavString out;
    TavStringConstructCStr(&out, "kept", alloc);
    for (const char* name : kCopyPaths) {
        const bool isString = std::strcmp(name, "String") == 0;
        EXPECT_EQ(TavPropertiesCopyStringValueCStr(&bag, name, &out), isString) << name;
        EXPECT_STREQ(out.buf, isString ? "text" : "kept") << name;
    }
    TavStringDestruct(&out);
}

}  // namespace
