// Values of every non-composite kind: copy, assignment under the settable
// rule, equality, getters and conversions, and the state every failure leaves.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "CountingAllocator.hpp"

using namespace tavtest;

namespace {

struct Blob { int value; char pad[20]; };  // a block size no string buffer has

// Wrapped objects alive, equality callbacks run, and whether copies fail.
struct WrapperLog {
    int live = 0, equals = 0;
    bool failCopy = false;
} g_log;

void* BlobCopy(void* dst, const void* src) {
    if (g_log.failCopy) return nullptr;
    ++g_log.live;
    return std::memcpy(dst, src, sizeof(Blob));
}
void BlobDestruct(void* obj) {
    --g_log.live;
    static_cast<Blob*>(obj)->value = -1;  // a use after free, for ASan, if the block went first
}
void* BlobAssign(void* dst, const void* src) { return std::memcpy(dst, src, sizeof(Blob)); }
TavBool BlobEqual(const void* a, const void* b) {
    ++g_log.equals;
    return std::memcmp(a, b, sizeof(Blob)) == 0;
}
const TavPropertyValueCallbacks kBlob = {&BlobCopy, &BlobDestruct, &BlobAssign, &BlobEqual};

void KeepObject(TavVoidPtr, TavAllocator*) {}
int UseCount(const TavSharedPtr_void& sp) { return TavAtomicIntegerGetValue(&sp.ref->useCount); }
int WeakCount(const TavSharedPtr_void& sp) { return TavAtomicIntegerGetValue(&sp.ref->weakCount); }

template <class Construct, class... Args>
TavPropertyValue Make(Construct construct, Args... args) {
    TavPropertyValue v;
    EXPECT_EQ(construct(&v, args...), &v);
    return v;
}

const char* const kLong = "a text long enough to need a buffer of its own";

// `heap` stands in for the default allocator, which only wrapped objects
// use; strings, names and count blocks come from `alloc`. Both are swept.
class Value : public ::testing::Test {
protected:
    Value() : hook_(heap) {
        g_log = WrapperLog{};
        TavSharedPtr_voidConstruct(&sp, &target, &KeepObject, alloc);
        TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
        alias = sp;  // sp's count block for another object
        alias.ptr = &alias;
    }
    ~Value() override {
        TavWeakPtr_voidDestruct(&wp);
        TavSharedPtr_voidDestruct(&sp);
        EXPECT_EQ(g_log.live, 0) << "each wrapped object is destructed exactly once";
    }

    TavPropertyValue Wrapper(int value, const char* name, TavBool settable = TAV_TRUE) {
        const Blob blob{value, {}};
        return Make(TavPropertyValueConstructWrapper, &blob, sizeof blob, &kBlob, name, settable,
                    alloc.get());
    }
    // One value of each non-composite kind in kind order (0-14, then 17-21 at
    // indices 15-19); text is the string and the type names, and its length
    // the wrapped value.
    std::vector<TavPropertyValue> OneOfEachKind(TavBool settable, const char* text,
                                                const TavSharedPtr_void* shared) {
        std::vector<TavPropertyValue> all(20);
        auto* v = all.data();
#define CONSTRUCT_PLAIN(Kind, Type, member)                     \
    {                                                           \
        Type sample;  /* a byte pattern valid for every type */ \
        std::memset(&sample, 0x21, sizeof sample);              \
        TavPropertyValueConstruct##Kind(v++, sample, settable); \
    }
        TAV_PROPERTYVALUE_PLAIN_KINDS(CONSTRUCT_PLAIN)
#undef CONSTRUCT_PLAIN
        EXPECT_NE(TavPropertyValueConstructStringCStr(v++, text, settable, alloc), nullptr);
        TavPropertyValueConstructSharedVoidPtr(v++, shared, settable);
        TavPropertyValueConstructWeakVoidPtr(v++, &wp, settable);
        EXPECT_NE(TavPropertyValueConstructSharedPtr(v++, shared, text, settable, alloc), nullptr);
        EXPECT_NE(TavPropertyValueConstructWeakPtr(v++, &wp, text, settable, alloc), nullptr);
        *v = Wrapper(static_cast<int>(std::strlen(text)), text, settable);
        return all;
    }
    static void Destroy(std::vector<TavPropertyValue>& all) {
        for (auto& v : all) TavPropertyValueDestruct(&v);
    }
    std::size_t Live() const { return heap.liveBlocks() + alloc.liveBlocks(); }
    // Each allocation of either allocator failing in turn, then a wrapper's copy callback.
    template <class Attempt>
    void SweepFailures(const Attempt& attempt) {
        for (auto* a : {&heap, &alloc}) SweepAllocationFailures(*a, [&](auto) { attempt(); });
        g_log.failCopy = true;
        attempt();
        g_log.failCopy = false;
    }

    CountingAllocator heap, alloc;
    DefaultAllocatorHook hook_;
    int target = 0;
    TavSharedPtr_void sp, alias;
    TavWeakPtr_void wp;
};

// Each kind assigned over a copy of each kind, as every allocation and wrapper
// copy fails in turn: x ends equal to y, else to a false Bool across kinds or
// to its start within a kind; it keeps its settable flag and holds a count of
// the object only while its kind does. The non-settable y refuses every kind.
TEST_F(Value, EveryKindAssignsOverEveryKindOrLeavesTheRuledState) {
    auto sources = OneOfEachKind(TAV_FALSE, kLong, &sp);
    auto starts = OneOfEachKind(TAV_TRUE, "s", &alias);  // other objects of the same kinds
    const TavPropertyValue no = Make(TavPropertyValueConstructBool, TAV_FALSE, TAV_TRUE);
    for (auto& y : sources) {
        TavPropertyValue copy;
        ASSERT_EQ(TavPropertyValueConstructCopy(&copy, &y), &copy);
        const int uses = UseCount(sp), weaks = WeakCount(sp);
        const std::size_t blocks = Live();
        for (const auto& start : starts) {
            SCOPED_TRACE(::testing::Message() << y.type << " over " << start.type);
            EXPECT_EQ(TavPropertyValueAssign(&y, &start), nullptr);
            SweepFailures([&] {
                TavPropertyValue x;
                if (TavPropertyValueConstructCopy(&x, &start) == &x) {
                    const TavPropertyValue* failed = start.type == y.type ? &start : &no;
                    const bool done = TavPropertyValueAssign(&x, &y) == &x;
                    EXPECT_TRUE(TavPropertyValueEqual(&x, done ? &y : failed));
                    EXPECT_TRUE(TavPropertyValueIsSettable(&x));
                    EXPECT_EQ(UseCount(sp), uses + !!TavPropertyValueGetSharedVoidPtr(&x));
                    EXPECT_EQ(WeakCount(sp), weaks + !!TavPropertyValueGetWeakVoidPtr(&x));
                    EXPECT_EQ(heap.liveBytes(), sizeof(Blob) * g_log.live) << "wrapped objects";
                    TavPropertyValueDestruct(&x);
                }
                EXPECT_EQ(Live(), blocks);
            });
        }
        EXPECT_TRUE(TavPropertyValueEqual(&y, &copy)) << "refusals change nothing";
        EXPECT_FALSE(TavPropertyValueIsSettable(&copy)) << "a copy takes its source's flag";
        TavPropertyValueDestruct(&copy);
    }
    for (auto* all : {&sources, &starts}) Destroy(*all);
    EXPECT_EQ(UseCount(sp), 1);
    EXPECT_EQ(WeakCount(sp), 2);
}

// Numbers compare as numbers, Bool as bytes, SharedVoidPtr by object,
// WeakVoidPtr by count block, and the typed kinds by name and object, the
// name first so that a wrapper's callback never sees objects of another type.
// A getter also serves the kinds built on its own (VoidPtr's a Wrapper,
// SharedVoidPtr's a SharedPtr); a conversion takes only its own kind.
TEST_F(Value, EqualityGettersAndConversionsReadWhatEachKindMeans) {
    TavSharedPtr_void sameObject;  // another count block for sp's object
    ASSERT_NE(TavSharedPtr_voidConstruct(&sameObject, &target, &KeepObject, alloc), nullptr);
    TavWeakPtr_void sameBlock = wp, otherBlock;
    sameBlock.ptr = &sameBlock;
    TavWeakPtr_voidConstructFromSharedPtr(&otherBlock, &sameObject);
    const auto F64 = TavPropertyValueConstructFloat64;
    const auto Bool = TavPropertyValueConstructBool;
    const auto Int = TavPropertyValueConstructInt;
    const auto SV = TavPropertyValueConstructSharedVoidPtr;
    const auto WV = TavPropertyValueConstructWeakVoidPtr;
    const auto SP = TavPropertyValueConstructSharedPtr;
    const auto WP = TavPropertyValueConstructWeakPtr;
    const TavBool T = TAV_TRUE;
    TavAllocator* a = alloc;
    struct Case { TavPropertyValue x, y; bool equal; } cases[] = {
        {Make(F64, NAN, T), Make(F64, NAN, T), false},
        {Make(F64, 0.0, T), Make(F64, -0.0, T), true},
        {Make(Bool, 1, T), Make(Bool, 2, T), false},
        {Make(Int, 1, T), Make(TavPropertyValueConstructUint, 1u, T), false},
        {Make(SV, &sp, T), Make(SV, &sameObject, T), true},
        {Make(SV, &sp, T), Make(SV, &alias, T), false},
        {Make(WV, &wp, T), Make(WV, &sameBlock, T), true},
        {Make(WV, &wp, T), Make(WV, &otherBlock, T), false},
        {Make(SP, &sp, "A", T, a), Make(SP, &alias, "A", T, a), false},
        {Make(SP, &sp, "A", T, a), Make(SP, &sp, "B", T, a), false},
        {Make(WP, &wp, "A", T, a), Make(WP, &otherBlock, "A", T, a), false},
        {Make(WP, &wp, "A", T, a), Make(WP, &wp, "B", T, a), false},
        {Wrapper(1, "A"), Wrapper(2, "A"), false},
        {Wrapper(1, "A"), Wrapper(1, "B"), false},
    };
    const TavPropertyValue &anInt = cases[3].x, &shared = cases[8].x, &wrapper = cases[12].x;
    TavSharedPtr_void out{};
    TavVoidPtr vp = &out;
    EXPECT_EQ(TavPropertyValueGetUint(&anInt), nullptr) << "an Int is not read as a Uint";
    EXPECT_EQ(TavPropertyValueGetVoidPtr(&wrapper), &wrapper.u.vp);
    EXPECT_EQ(TavPropertyValueToVoidPtr(&wrapper, &vp), nullptr);
    EXPECT_EQ(TavPropertyValueGetSharedVoidPtr(&shared), &shared.u.sp);
    EXPECT_EQ(TavPropertyValueToSharedVoidPtr(&shared, &out), nullptr);
    EXPECT_EQ(vp, &out);
    EXPECT_EQ(out.ref, nullptr);
    for (auto& c : cases) {
        EXPECT_EQ(TavPropertyValueEqual(&c.x, &c.y), c.equal) << "case " << &c - cases;
        TavPropertyValueDestruct(&c.x);
        TavPropertyValueDestruct(&c.y);
    }
    EXPECT_EQ(g_log.equals, 1) << "called only for the wrapper pair whose names match";
    TavWeakPtr_voidDestruct(&otherBlock);
    TavSharedPtr_voidDestruct(&sameObject);
}

// A constructor that fails, on memory or in a wrapper's copy callback, leaves
// nothing behind. (Copies of every kind are swept with assignment above.)
TEST_F(Value, FailedConstructorsLeaveNothing) {
    const Blob blob{4, {}};
    TavString s;
    ASSERT_NE(TavStringConstructCStr(&s, kLong, alloc), nullptr);
    const std::size_t blocks = Live();
    auto sweep = [&](auto construct, auto... args) {
        SweepFailures([&] {
            TavPropertyValue x;
            if (construct(&x, args...) == &x) TavPropertyValueDestruct(&x);
            EXPECT_EQ(Live(), blocks);
        });
    };
    TavAllocator* a = alloc;
    sweep(TavPropertyValueConstructString, &s, TAV_TRUE);
    sweep(TavPropertyValueConstructStringCStr, kLong, TAV_TRUE, a);
    sweep(TavPropertyValueConstructSharedPtr, &sp, kLong, TAV_TRUE, a);
    sweep(TavPropertyValueConstructWeakPtr, &wp, kLong, TAV_TRUE, a);
    sweep(TavPropertyValueConstructWrapper, &blob, sizeof blob, &kBlob, kLong, TAV_TRUE, a);
    TavStringDestruct(&s);
}

}  // namespace
