// Values of every kind: copy, settable assignment, equality, and failure states.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "CountingAllocator.hpp"

using namespace tavtest;

namespace {

struct Blob { int value; char pad[20]; };  // a block size no string buffer has

int g_live, g_equals;  // wrapped objects alive, equality callbacks run
bool g_failCopy;

void* BlobCopy(void* dst, const void* src) {
    if (g_failCopy) return nullptr;
    ++g_live;
    return std::memcpy(dst, src, sizeof(Blob));
}
void BlobDestruct(void* obj) {
    --g_live;
    static_cast<Blob*>(obj)->value = -1;  // a use after free, for ASan, if the block went first
}
void* BlobAssign(void* dst, const void* src) { return std::memcpy(dst, src, sizeof(Blob)); }
TavBool BlobEqual(const void* a, const void* b) {
    ++g_equals;
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

// `heap` is the default allocator, which only wrapped objects use; the rest comes from `alloc`.
class Value : public ::testing::Test {
protected:
    Value() : hook_(heap) {
        g_live = g_equals = 0;
        TavSharedPtr_voidConstruct(&sp, &target, &KeepObject, alloc);
        TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
        alias = sp;  // sp's count block for another object
        alias.ptr = &alias;
        for (TavProperties* b : {&full, &empty}) TavPropertiesConstructDefault(b, alloc);
        for (auto* v : {&list, &none}) TavVector_TavPropertyValueConstructDefault(v, alloc);
        TavPropertiesSetStringCStrValueCStr(&full, "title", kLong, TAV_TRUE);
        TavPropertiesSetIntValueCStr(&full, "width", 640, TAV_TRUE);
        TavVector_TavPropertyValuePushBack(&list, TavPropertiesGetPropertyCStr(&full, "width"));
        TavPropertyValue nested;
        TavPropertyValueConstructProperties(&nested, &full, TAV_TRUE);
        TavVector_TavPropertyValuePushBack(&list, &nested);
        TavPropertyValueDestruct(&nested);
    }
    ~Value() override {
        for (auto* v : {&list, &none}) TavVector_TavPropertyValueDestruct(v);
        for (TavProperties* b : {&full, &empty}) TavPropertiesDestruct(b);
        TavWeakPtr_voidDestruct(&wp);
        TavSharedPtr_voidDestruct(&sp);
        EXPECT_EQ(g_live, 0) << "each wrapped object is destructed exactly once";
    }

    // The values that every constructor makes, one per kind in kind order, then a String from
    // a C string: named and filled from kLong, sp and the full bag and vector, or with `other`
    // from "s", alias and the empty ones. A constructor that fails adds nothing.
    std::vector<TavPropertyValue> OneOfEachKind(TavBool settable, bool other = false) {
        const char* text = other ? "s" : kLong;
        const TavSharedPtr_void* shared = other ? &alias : &sp;
        std::vector<TavPropertyValue> all;
        TavPropertyValue v;
        auto keep = [&](TavPropertyValue* made) { if (made == &v) all.push_back(v); };
        const TavString str{alloc, const_cast<char*>(text), std::strlen(text), 0};  // static text
        const Blob b{static_cast<int>(str.size), {}};
#define CONSTRUCT_PLAIN(Kind, Type, member)                          \
    {                                                                \
        Type sample;  /* a byte pattern valid for every type */      \
        std::memset(&sample, 0x21, sizeof sample);                   \
        keep(TavPropertyValueConstruct##Kind(&v, sample, settable)); \
    }
        TAV_PROPERTYVALUE_PLAIN_KINDS(CONSTRUCT_PLAIN)
#undef CONSTRUCT_PLAIN
        keep(TavPropertyValueConstructString(&v, &str, settable));
        keep(TavPropertyValueConstructSharedVoidPtr(&v, shared, settable));
        keep(TavPropertyValueConstructWeakVoidPtr(&v, &wp, settable));
        keep(TavPropertyValueConstructSharedPtr(&v, shared, text, settable, alloc));
        keep(TavPropertyValueConstructWeakPtr(&v, &wp, text, settable, alloc));
        keep(TavPropertyValueConstructWrapper(&v, &b, sizeof b, &kBlob, text, settable, alloc));
        keep(TavPropertyValueConstructProperties(&v, other ? &empty : &full, settable));
        keep(TavPropertyValueConstructVector(&v, other ? &none : &list, settable));
        keep(TavPropertyValueConstructStringCStr(&v, text, settable, alloc));
        return all;
    }
    std::size_t Live() const { return heap.liveBlocks() + alloc.liveBlocks(); }
    // Each allocation of either allocator failing in turn, then a wrapper's copy callback.
    template <class Attempt>
    void SweepFailures(const Attempt& attempt) {
        for (auto* a : {&heap, &alloc}) SweepAllocationFailures(*a, [&](auto) { attempt(); });
        g_failCopy = true;
        attempt();
        g_failCopy = false;
    }

    CountingAllocator heap, alloc;
    DefaultAllocatorHook hook_;
    int target = 0;
    TavSharedPtr_void sp, alias;
    TavWeakPtr_void wp;
    TavProperties full, empty;              // {title: kLong, width: Int 640} and {}
    TavVector_TavPropertyValue list, none;  // [640, {title, width}] and []
};

// Each kind assigned over a copy of each kind under every failure: x ends equal to y, else to a
// false Bool across kinds or within one to its start, or for a nested bag or vector its kind and
// record, taken in part; the non-settable y refuses every kind.
TEST_F(Value, EveryKindAssignsOverEveryKindOrLeavesTheRuledState) {
    auto sources = OneOfEachKind(TAV_FALSE);
    auto starts = OneOfEachKind(TAV_TRUE, true);  // other objects of the same kinds
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
                    const TavProperties* record = TavPropertyValueGetProperties(&x);
                    const bool done = TavPropertyValueAssign(&x, &y) == &x;
                    const bool composite = y.type == TAV_PROPERTYVALUE_TYPE_Properties ||
                                           y.type == TAV_PROPERTYVALUE_TYPE_Vector;
                    if (!done && start.type == y.type && composite) {
                        EXPECT_EQ(x.type, y.type);
                        EXPECT_EQ(TavPropertyValueGetProperties(&x), record);
                    } else {
                        const TavPropertyValue* want = start.type == y.type ? &start : &no;
                        EXPECT_TRUE(TavPropertyValueEqual(&x, done ? &y : want));
                    }
                    EXPECT_TRUE(TavPropertyValueIsSettable(&x));
                    EXPECT_EQ(UseCount(sp), uses + !!TavPropertyValueGetSharedVoidPtr(&x));
                    EXPECT_EQ(WeakCount(sp), weaks + !!TavPropertyValueGetWeakVoidPtr(&x));
                    EXPECT_EQ(heap.liveBytes(), sizeof(Blob) * g_live) << "wrapped objects";
                    TavPropertyValueDestruct(&x);
                }
                EXPECT_EQ(Live(), blocks);
            });
        }
        EXPECT_TRUE(TavPropertyValueEqual(&y, &copy)) << "refusals change nothing";
        EXPECT_FALSE(TavPropertyValueIsSettable(&copy)) << "a copy takes its source's flag";
        TavPropertyValueDestruct(&copy);
    }
    for (auto* all : {&sources, &starts}) for (auto& v : *all) TavPropertyValueDestruct(&v);
}

// Typed kinds compare by name first, so that a wrapper's callback never sees another type;
// vectors compare in order. A getter also serves the kinds built on its own kind; a conversion
// takes only its own kind. (Nested bags compare and copy as bags do: test_bag.cpp.)
TEST_F(Value, EqualityGettersAndConversionsReadWhatEachKindMeans) {
    TavSharedPtr_void sameObject;  // another count block for sp's object
    TavSharedPtr_voidConstruct(&sameObject, &target, &KeepObject, alloc);
    TavWeakPtr_void sameBlock = wp, otherBlock;
    sameBlock.ptr = &sameBlock;
    TavWeakPtr_voidConstructFromSharedPtr(&otherBlock, &sameObject);
    const TavBool T = TAV_TRUE;
    const Blob one{1, {}}, two{2, {}};
    TavAllocator* a = alloc;
    TavVector_TavPropertyValue reversed;
    TavVector_TavPropertyValueConstructCopy(&reversed, &list);
    std::swap(reversed.begin[0], reversed.begin[1]);
#define VALUE(Kind, ...) Make(TavPropertyValueConstruct##Kind, __VA_ARGS__)
    struct Case {
        TavPropertyValue x, y;
        bool equal;
    } cases[] = {
        {VALUE(Float64, NAN, T), VALUE(Float64, NAN, T), false},
        {VALUE(Float64, 0.0, T), VALUE(Float64, -0.0, TAV_FALSE), true},
        {VALUE(Bool, 1, T), VALUE(Bool, 2, T), false},
        {VALUE(Int, 1, T), VALUE(Uint, 1u, T), false},
        {VALUE(SharedVoidPtr, &sp, T), VALUE(SharedVoidPtr, &sameObject, T), true},
        {VALUE(SharedVoidPtr, &sp, T), VALUE(SharedVoidPtr, &alias, T), false},
        {VALUE(WeakVoidPtr, &wp, T), VALUE(WeakVoidPtr, &sameBlock, T), true},
        {VALUE(WeakVoidPtr, &wp, T), VALUE(WeakVoidPtr, &otherBlock, T), false},
        {VALUE(SharedPtr, &sp, "A", T, a), VALUE(SharedPtr, &sp, "B", T, a), false},
        {VALUE(Wrapper, &one, sizeof one, &kBlob, "A", T, a),
         VALUE(Wrapper, &two, sizeof two, &kBlob, "A", T, a), false},
        {VALUE(Wrapper, &one, sizeof one, &kBlob, "A", T, a),
         VALUE(Wrapper, &one, sizeof one, &kBlob, "B", T, a), false},
        {VALUE(Vector, &list, T), VALUE(Vector, &reversed, T), false},  // element by element
    };
#undef VALUE
    TavSharedPtr_void out{};
    TavVoidPtr vp = nullptr;
    EXPECT_EQ(TavPropertyValueGetVoidPtr(&cases[9].x), &cases[9].x.u.vp) << "of a Wrapper";
    EXPECT_EQ(TavPropertyValueToVoidPtr(&cases[9].x, &vp), nullptr);
    EXPECT_EQ(TavPropertyValueGetSharedVoidPtr(&cases[8].x), &cases[8].x.u.sp) << "of a SharedPtr";
    EXPECT_EQ(TavPropertyValueToSharedVoidPtr(&cases[8].x, &out), nullptr);
    for (auto& c : cases) {
        EXPECT_EQ(TavPropertyValueEqual(&c.x, &c.y), c.equal) << "case " << &c - cases;
        TavPropertyValueDestruct(&c.x);
        TavPropertyValueDestruct(&c.y);
    }
    EXPECT_EQ(g_equals, 1) << "called only for the wrapper pair whose names match";
    TavVector_TavPropertyValueDestruct(&reversed);
    TavWeakPtr_voidDestruct(&otherBlock);
    TavSharedPtr_voidDestruct(&sameObject);
}

// A constructor that fails, on memory or in a wrapper's copy callback, adds and leaves nothing.
TEST_F(Value, FailedConstructorsLeaveNothing) {
    const std::size_t blocks = Live();
    SweepFailures([&] {
        auto all = OneOfEachKind(TAV_TRUE);
        EXPECT_EQ(all.size(), heap.Failed() || alloc.Failed() || g_failCopy ? 22u : 23u);
        for (auto& v : all) TavPropertyValueDestruct(&v);
        EXPECT_EQ(Live(), blocks);
    });
}

}  // namespace
