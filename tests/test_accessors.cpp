// Typed accessors, run through the one list of value kinds: every kind's
// Set, Add and Get in both path forms behave alike, and name listing.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "CountingAllocator.hpp"

using tavtest::CountingAllocator;

namespace {

int g_targets[3];
void NoDelete(TavVoidPtr, TavAllocator*) {}

// Two distinct payloads of one kind, held for the length of a test.
template <class T>
struct Samples {
    explicit Samples(TavAllocator*) {}
    static T Make(int n) {
        if constexpr (std::is_same_v<T, TavResolution>) {
            return TavResolution{TavSizeT(n), TavSizeT(n) * 10};
        } else if constexpr (std::is_pointer_v<T>) {
            return &g_targets[n];
        } else {
            return T(n);
        }
    }
    T Arg(int i) const { return i == 0 ? first : second; }
    T first = Make(1), second = Make(2);
};

template <class T, class Construct, class Destruct>
struct OwnedSamples {
    OwnedSamples(TavAllocator* a, Construct make, Destruct destruct) : destruct_(destruct) {
        make(&first, a, 1);
        make(&second, a, 2);
    }
    ~OwnedSamples() {
        destruct_(&first);
        destruct_(&second);
    }
    const T* Arg(int i) const { return i == 0 ? &first : &second; }
    T first, second;
    Destruct destruct_;
};

#define TAV_OWNED_SAMPLES(T, make, destruct)                                              \
    template <>                                                                           \
    struct Samples<T> : OwnedSamples<T, void (*)(T*, TavAllocator*, int), void (*)(T*)> { \
        explicit Samples(TavAllocator* a) : OwnedSamples(a, make, destruct) {}            \
    };
TAV_OWNED_SAMPLES(
    TavString,
    [](TavString* s, TavAllocator* a, int n) {
        TavStringConstructCStr(s, n == 1 ? "one" : "two", a);
    },
    [](TavString* s) { TavStringDestruct(s); })
TAV_OWNED_SAMPLES(
    TavProperties,
    [](TavProperties* p, TavAllocator* a, int n) {
        TavPropertiesConstructDefault(p, a);
        TavPropertiesSetIntValueCStr(p, "n", n, TAV_TRUE);
    },
    [](TavProperties* p) { TavPropertiesDestruct(p); })
TAV_OWNED_SAMPLES(
    TavVector_TavPropertyValue,
    [](TavVector_TavPropertyValue* v, TavAllocator* a, int n) {
        TavPropertyValue e;
        TavPropertyValueConstructInt(&e, n, TAV_TRUE);
        TavVector_TavPropertyValueConstructN(v, TavSizeT(n), &e, a);
    },
    [](TavVector_TavPropertyValue* v) { TavVector_TavPropertyValueDestruct(v); })
TAV_OWNED_SAMPLES(
    TavSharedPtr_void,
    [](TavSharedPtr_void* sp, TavAllocator* a, int n) {
        TavSharedPtr_voidConstruct(sp, &g_targets[n], NoDelete, a);
    },
    [](TavSharedPtr_void* sp) { TavSharedPtr_voidDestruct(sp); })
TAV_OWNED_SAMPLES(
    TavWeakPtr_void,
    [](TavWeakPtr_void* wp, TavAllocator* a, int n) {
        TavSharedPtr_void sp;
        TavSharedPtr_voidConstruct(&sp, &g_targets[n], NoDelete, a);
        TavWeakPtr_voidConstructFromSharedPtr(wp, &sp);
        TavSharedPtr_voidDestruct(&sp);
    },
    [](TavWeakPtr_void* wp) { TavWeakPtr_voidDestruct(wp); })

// The accessors of one kind, with the value constructor that says what they
// should store.
template <class T, class A>
struct Family {
    const char* kind;
    TavPropertyValueType type;
    TavBool (*set)(TavProperties*, const TavString*, A, TavBool);
    TavBool (*setCStr)(TavProperties*, const char*, A, TavBool);
    TavBool (*add)(TavProperties*, const TavString*, A, TavBool);
    TavBool (*addCStr)(TavProperties*, const char*, A, TavBool);
    const T* (*get)(const TavProperties*, const TavString*);
    const T* (*getCStr)(const TavProperties*, const char*);
    TavPropertyValue* (*construct)(TavPropertyValue*, A, TavBool);
};

// The stored value equals what the constructor makes of the payload, and the
// getter points into it.
template <class T, class A>
void ExpectStored(const Family<T, A>& f, const TavProperties* bag, const char* path, A arg) {
    TavPropertyValue expected;
    ASSERT_TRUE(f.construct(&expected, arg, TAV_TRUE));
    const TavPropertyValue* found = TavPropertiesGetPropertyAtPathCStrConst(bag, path);
    ASSERT_NE(found, nullptr);
    EXPECT_TRUE(TavPropertyValueEqual(found, &expected)) << f.kind;
    const void* payload = f.type == TAV_PROPERTYVALUE_TYPE_Properties ? (const void*)found->u.p
                                                                      : (const void*)&found->u;
    EXPECT_EQ((const void*)f.getCStr(bag, path), payload) << f.kind;
    EXPECT_EQ(*TavPropertiesGetTypeValueCStr(bag, path), f.type);
    TavPropertyValueDestruct(&expected);
}

template <class T, class A>
void CheckFamily(const Family<T, A>& f, CountingAllocator& alloc) {
    Samples<T> s(alloc);
    TavProperties bag;
    TavPropertiesConstructDefault(&bag, alloc);
    TavString path;
    TavStringConstructCStr(&path, "k.x", alloc);
    // TavString path form: Add makes a settable entry, Set assigns and keeps
    // the entry's flag.
    EXPECT_TRUE(f.add(&bag, &path, s.Arg(0), TAV_TRUE)) << f.kind;
    ExpectStored(f, &bag, "k.x", s.Arg(0));
    EXPECT_FALSE(f.add(&bag, &path, s.Arg(1), TAV_TRUE)) << f.kind;
    EXPECT_TRUE(f.set(&bag, &path, s.Arg(1), TAV_FALSE)) << f.kind;
    ExpectStored(f, &bag, "k.x", s.Arg(1));
    EXPECT_TRUE(*TavPropertiesIsSettableValue(&bag, &path));
    EXPECT_EQ((const void*)f.get(&bag, &path), (const void*)f.getCStr(&bag, "k.x"));
    // Another kind's getter finds nothing.
    const void* other = f.type == TAV_PROPERTYVALUE_TYPE_Bool
                            ? (const void*)TavPropertiesGetIntValue(&bag, &path)
                            : (const void*)TavPropertiesGetBoolValue(&bag, &path);
    EXPECT_EQ(other, nullptr) << f.kind;
    // Zero-terminated path form: a non-settable entry refuses a later Set.
    EXPECT_TRUE(f.setCStr(&bag, "c.x", s.Arg(0), TAV_FALSE)) << f.kind;
    ExpectStored(f, &bag, "c.x", s.Arg(0));
    EXPECT_FALSE(*TavPropertiesIsSettableValueCStr(&bag, "c.x"));
    EXPECT_FALSE(f.addCStr(&bag, "c.x", s.Arg(1), TAV_TRUE)) << f.kind;
    EXPECT_FALSE(f.setCStr(&bag, "c.x", s.Arg(1), TAV_TRUE)) << f.kind;
    TavStringDestruct(&path);
    TavPropertiesDestruct(&bag);
    // A failed allocation fails the call, unless it comes after the change,
    // and leaves nothing behind.
    const std::size_t live = alloc.liveBlocks();
    tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        TavPropertiesConstructDefault(&bag, alloc);
        const bool ok = f.setCStr(&bag, "f.x", s.Arg(0), TAV_TRUE);
        const bool hit = alloc.Failed();
        if (!hit) alloc.FailAt(0);
        // (Destroying a temporary bag may allocate after the change is made.)
        EXPECT_TRUE(ok || hit) << f.kind << " failing allocation " << k;
        EXPECT_EQ(ok, TavPropertiesGetPropertyAtPathCStrConst(&bag, "f.x") != nullptr) << f.kind;
        TavPropertiesDestruct(&bag);
        EXPECT_EQ(alloc.liveBlocks(), live);
    });
}

#define TAV_FAMILY(Kind, T, A)                                                 \
    Family<T, A> {                                                             \
#Kind, TAV_PROPERTYVALUE_TYPE_##Kind, TavPropertiesSet##Kind##Value,   \
            TavPropertiesSet##Kind##ValueCStr, TavPropertiesAdd##Kind##Value,  \
            TavPropertiesAdd##Kind##ValueCStr, TavPropertiesGet##Kind##Value,  \
            TavPropertiesGet##Kind##ValueCStr, TavPropertyValueConstruct##Kind \
    }
#define TAV_CHECK_PLAIN(Kind, T, member) CheckFamily(TAV_FAMILY(Kind, T, T), alloc);
#define TAV_CHECK_OWNING(Kind, T) CheckFamily(TAV_FAMILY(Kind, T, const T*), alloc);

TEST(Accessors, EveryKindStoresAddsAndReadsAlikeInBothPathForms) {
    CountingAllocator alloc;
    TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_CHECK_PLAIN)
    TAV_PROPERTYVALUE_OWNING_KINDS(TAV_CHECK_OWNING)
}

TEST(Accessors, StringCStrBuildsItsStringWithTheBagsAllocator) {
    CountingAllocator alloc;
    TavProperties bag;
    TavPropertiesConstructDefault(&bag, alloc);
    EXPECT_TRUE(TavPropertiesAddStringCStrValueCStr(&bag, "a.s", "text", TAV_TRUE));
    EXPECT_FALSE(TavPropertiesAddStringCStrValueCStr(&bag, "a.s", "other", TAV_TRUE));
    EXPECT_TRUE(TavPropertiesSetStringCStrValueCStr(&bag, "a.s", "other", TAV_TRUE));
    EXPECT_STREQ(TavPropertiesGetStringValueCStr(&bag, "a.s")->buf, "other");
    EXPECT_EQ(TavPropertiesGetStringValueCStr(&bag, "a.s")->allocator, alloc.get());
    alloc.FailAt(1);  // the temporary string: nothing happens
    EXPECT_FALSE(TavPropertiesSetStringCStrValueCStr(&bag, "a.s", "again", TAV_TRUE));
    EXPECT_STREQ(TavPropertiesGetStringValueCStr(&bag, "a.s")->buf, "other");
    TavPropertiesDestruct(&bag);
}

TEST(Accessors, GettersServeTheKindsTheirValueGetterAccepts) {
    CountingAllocator alloc;
    TavProperties bag;
    TavPropertiesConstructDefault(&bag, alloc);
    Samples<TavSharedPtr_void> sp(alloc);
    const TavInt before = TavAtomicIntegerGetValue(&sp.first.ref->useCount);
    ASSERT_TRUE(TavPropertiesAddSharedVoidPtrValueCStr(&bag, "sp", &sp.first, TAV_TRUE));
    EXPECT_EQ(TavAtomicIntegerGetValue(&sp.first.ref->useCount), before + 1);
    TavPropertyValue typed;
    TavPropertyValueConstructSharedPtr(&typed, &sp.first, "Thing", TAV_TRUE, alloc);
    TavPropertiesAddPropertyAtPathCStr(&bag, "typed", &typed);
    TavPropertyValueDestruct(&typed);
    EXPECT_EQ(TavPropertiesGetSharedVoidPtrValueCStr(&bag, "typed"),
              &TavPropertiesGetPropertyCStr(&bag, "typed")->u.sp);
    EXPECT_EQ(*TavPropertiesGetTypeValueCStr(&bag, "typed"), TAV_PROPERTYVALUE_TYPE_SharedPtr);
    TavPropertiesSetIntValueCStr(&bag, "i", 1, TAV_TRUE);
    EXPECT_EQ(TavPropertiesGetUintValueCStr(&bag, "i"), nullptr);
    EXPECT_EQ(*TavPropertiesGetTypeValueCStr(&bag, "i"), TAV_PROPERTYVALUE_TYPE_Int);
    EXPECT_EQ(TavPropertiesGetTypeValueCStr(&bag, "none"), nullptr);
    EXPECT_EQ(TavPropertiesIsSettableValueCStr(&bag, "none"), nullptr);
    TavPropertiesDestruct(&bag);
}

std::vector<std::string> Names(const TavVector_TavString& names) {
    std::vector<std::string> out;
    for (TavSizeT i = 0; i < TavVector_TavStringSize(&names); ++i) {
        out.push_back(TavVector_TavStringAtConst(&names, i)->buf);
    }
    return out;
}

TEST(Accessors, GetAllNamesListsOneBagInOrderOrLeavesTheListAlone) {
    CountingAllocator alloc;
    TavProperties bag;
    TavPropertiesConstructDefault(&bag, alloc);
    for (const char* name : {"b", "a.inner", "c"})
        TavPropertiesSetIntValueCStr(&bag, name, 1, TAV_TRUE);
    TavVector_TavString names;
    TavVector_TavStringConstructDefault(&names, alloc);
    TavString old;
    TavStringConstructCStr(&old, "old", alloc);
    TavVector_TavStringPushBack(&names, &old);
    TavStringDestruct(&old);
    const std::size_t sweeps = tavtest::SweepAllocationFailures(alloc, [&](std::size_t) {
        const bool ok = TavPropertiesGetAllNames(&bag, &names);
        if (!alloc.Failed()) alloc.FailAt(0);
        using List = std::vector<std::string>;
        const List expected = ok ? List{"a", "b", "c"} : List{"old"};
        EXPECT_EQ(Names(names), expected);
    });
    EXPECT_GE(sweeps, 3u);
    ASSERT_TRUE(TavPropertiesGetAllNames(TavPropertiesGetPropertiesValueCStr(&bag, "a"), &names));
    EXPECT_EQ(Names(names), std::vector<std::string>{"inner"});
    TavProperties empty;
    TavPropertiesConstructDefault(&empty, alloc);
    EXPECT_TRUE(TavPropertiesGetAllNames(&empty, &names));
    EXPECT_TRUE(Names(names).empty());
    TavPropertiesDestruct(&empty);
    TavVector_TavStringDestruct(&names);
    TavPropertiesDestruct(&bag);
}

}  // namespace
