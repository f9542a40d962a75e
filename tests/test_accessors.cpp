// Typed accessors, run through the one list of value kinds: every kind's
// Set, Add and Get in both path forms behave alike, and name listing.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "CountingAllocator.hpp"

using tavtest::CountingAllocator;

namespace {

int g_targets[2];
void NoDelete(TavVoidPtr, TavAllocator*) {}

// Two distinct payloads of every kind: Arg<T>(i) is what the accessors of
// the kind with payload type T take.
struct Payloads {
    explicit Payloads(TavAllocator* a) {
        TavPropertyValue one;
        TavPropertyValueConstructInt(&one, 1, TAV_TRUE);
        for (int i = 0; i < 2; ++i) {
            TavStringConstructCStr(&s[i], i ? "two" : "one", a);
            TavPropertiesConstructDefault(&p[i], a);
            TavPropertiesSetIntValueCStr(&p[i], "n", i, TAV_TRUE);
            TavVector_TavPropertyValueConstructN(&v[i], TavSizeT(i + 1), &one, a);
            TavSharedPtr_voidConstruct(&sp[i], &g_targets[i], NoDelete, a);
            TavWeakPtr_voidConstructFromSharedPtr(&wp[i], &sp[i]);
        }
    }
    ~Payloads() {
        for (int i = 0; i < 2; ++i) {
            TavStringDestruct(&s[i]);
            TavPropertiesDestruct(&p[i]);
            TavVector_TavPropertyValueDestruct(&v[i]);
            TavWeakPtr_voidDestruct(&wp[i]);
            TavSharedPtr_voidDestruct(&sp[i]);
        }
    }
    template <class T>
    auto Arg(int i) const {
        if constexpr (std::is_same_v<T, TavString>)
            return &s[i];
        else if constexpr (std::is_same_v<T, TavProperties>)
            return &p[i];
        else if constexpr (std::is_same_v<T, TavVector_TavPropertyValue>)
            return &v[i];
        else if constexpr (std::is_same_v<T, TavSharedPtr_void>)
            return &sp[i];
        else if constexpr (std::is_same_v<T, TavWeakPtr_void>)
            return &wp[i];
        else if constexpr (std::is_same_v<T, TavResolution>)
            return T{TavSizeT(i), 10};
        else if constexpr (std::is_pointer_v<T>)
            return T(&g_targets[i]);
        else
            return T(i + 1);
    }
    TavString s[2];
    TavProperties p[2];
    TavVector_TavPropertyValue v[2];
    TavSharedPtr_void sp[2];
    TavWeakPtr_void wp[2];
};

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
    const Payloads payloads(alloc);
    auto arg = [&](int i) -> A { return payloads.Arg<T>(i); };
    TavProperties bag;
    TavPropertiesConstructDefault(&bag, alloc);
    TavString path;
    TavStringConstructCStr(&path, "k.x", alloc);
    // TavString path form: Add makes a settable entry, Set assigns and keeps
    // the entry's flag.
    EXPECT_TRUE(f.add(&bag, &path, arg(0), TAV_TRUE)) << f.kind;
    ExpectStored(f, &bag, "k.x", arg(0));
    EXPECT_FALSE(f.add(&bag, &path, arg(1), TAV_TRUE)) << f.kind;
    EXPECT_TRUE(f.set(&bag, &path, arg(1), TAV_FALSE)) << f.kind;
    ExpectStored(f, &bag, "k.x", arg(1));
    EXPECT_TRUE(*TavPropertiesIsSettableValue(&bag, &path));
    EXPECT_EQ((const void*)f.get(&bag, &path), (const void*)f.getCStr(&bag, "k.x"));
    // Another kind's getter finds nothing.
    const void* other = f.type == TAV_PROPERTYVALUE_TYPE_Bool
                            ? (const void*)TavPropertiesGetIntValue(&bag, &path)
                            : (const void*)TavPropertiesGetBoolValue(&bag, &path);
    EXPECT_EQ(other, nullptr) << f.kind;
    // Zero-terminated path form: a non-settable entry refuses a later Set.
    EXPECT_TRUE(f.setCStr(&bag, "c.x", arg(0), TAV_FALSE)) << f.kind;
    ExpectStored(f, &bag, "c.x", arg(0));
    EXPECT_FALSE(*TavPropertiesIsSettableValueCStr(&bag, "c.x"));
    EXPECT_FALSE(f.addCStr(&bag, "c.x", arg(1), TAV_TRUE)) << f.kind;
    EXPECT_FALSE(f.setCStr(&bag, "c.x", arg(1), TAV_TRUE)) << f.kind;
    TavStringDestruct(&path);
    TavPropertiesDestruct(&bag);
    // A failed allocation fails the call, unless it comes after the change,
    // and leaves nothing behind.
    const std::size_t live = alloc.liveBlocks();
    tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        TavPropertiesConstructDefault(&bag, alloc);
        const bool ok = f.setCStr(&bag, "f.x", arg(0), TAV_TRUE);
        const bool hit = alloc.Failed();
        if (!hit) alloc.FailAt(0);
        // (Destroying a temporary bag may allocate after the change is made.)
        EXPECT_TRUE(ok || hit) << f.kind << " failing allocation " << k;
        EXPECT_EQ(ok, TavPropertiesGetPropertyAtPathCStrConst(&bag, "f.x") != nullptr) << f.kind;
        TavPropertiesDestruct(&bag);
        EXPECT_EQ(alloc.liveBlocks(), live);
    });
}

// clang-format off
#define TAV_FAMILY(Kind, T, A)                                                              \
    Family<T, A>{#Kind, TAV_PROPERTYVALUE_TYPE_##Kind,                                      \
                 TavPropertiesSet##Kind##Value, TavPropertiesSet##Kind##ValueCStr,          \
                 TavPropertiesAdd##Kind##Value, TavPropertiesAdd##Kind##ValueCStr,          \
                 TavPropertiesGet##Kind##Value, TavPropertiesGet##Kind##ValueCStr,          \
                 TavPropertyValueConstruct##Kind}
// clang-format on
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
    const Payloads payloads(alloc);
    const TavSharedPtr_void* sp = payloads.Arg<TavSharedPtr_void>(0);
    const TavInt before = TavAtomicIntegerGetValue(&sp->ref->useCount);
    ASSERT_TRUE(TavPropertiesAddSharedVoidPtrValueCStr(&bag, "sp", sp, TAV_TRUE));
    EXPECT_EQ(TavAtomicIntegerGetValue(&sp->ref->useCount), before + 1);
    TavPropertyValue typed;
    TavPropertyValueConstructSharedPtr(&typed, sp, "Thing", TAV_TRUE, alloc);
    TavPropertiesAddPropertyAtPathCStr(&bag, "typed", &typed);
    TavPropertyValueDestruct(&typed);
    EXPECT_EQ(TavPropertiesGetSharedVoidPtrValueCStr(&bag, "typed"),
              &TavPropertiesGetPropertyCStr(&bag, "typed")->u.sp);
    EXPECT_EQ(*TavPropertiesGetTypeValueCStr(&bag, "typed"), TAV_PROPERTYVALUE_TYPE_SharedPtr);
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
