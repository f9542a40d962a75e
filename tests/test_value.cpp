// Values of every non-composite kind: copy, assignment under the settable
// rule, equality, getters and conversions, and the state every failure leaves.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "CountingAllocator.hpp"

using tavtest::CountingAllocator;
using tavtest::DefaultAllocatorHook;
using tavtest::SweepAllocationFailures;

namespace {

struct Blob {
    int value;
    char pad[20];  // a block size no string buffer has
};

// What the wrapper callbacks saw, and how they are told to misbehave.
struct WrapperLog {
    int copies = 0, destructs = 0, assigns = 0, equals = 0;
    bool failCopy = false, failAssign = false;
    CountingAllocator* heap = nullptr;
} g_log;

void* BlobCopy(void* dst, const void* src) {
    ++g_log.copies;
    return g_log.failCopy ? nullptr : std::memcpy(dst, src, sizeof(Blob));
}
void BlobDestruct(void* obj) {
    ++g_log.destructs;
    EXPECT_EQ(g_log.heap->sizeOf(obj), sizeof(Blob)) << "destructed after its block was freed";
}
void* BlobAssign(void* dst, const void* src) {
    ++g_log.assigns;
    if (g_log.failAssign) return nullptr;
    static_cast<Blob*>(dst)->value = static_cast<const Blob*>(src)->value;
    return dst;
}
TavBool BlobEqual(const void* a, const void* b) {
    ++g_log.equals;
    return static_cast<const Blob*>(a)->value == static_cast<const Blob*>(b)->value;
}
const TavPropertyValueCallbacks kBlob = {&BlobCopy, &BlobDestruct, &BlobAssign, &BlobEqual};

int BlobValue(const TavPropertyValue* v) { return static_cast<const Blob*>(v->u.vp)->value; }

struct Target {
    int deletes = 0;
};
void CountingDeleter(TavVoidPtr p, TavAllocator*) { ++static_cast<Target*>(p)->deletes; }

int UseCount(const TavSharedPtr_void& sp) { return TavAtomicIntegerGetValue(&sp.ref->useCount); }
int WeakCount(const TavSharedPtr_void& sp) { return TavAtomicIntegerGetValue(&sp.ref->weakCount); }

std::string Text(const TavString* s) { return std::string(TavStringCStr(s), TavStringSize(s)); }

const char* const kLong = "a text long enough to need a buffer of its own";

// The counting allocator also stands in for the default one, so names,
// strings and wrapper blocks are all counted and all swept.
class Value : public ::testing::Test {
protected:
    Value() : hook_(alloc) {
        g_log = WrapperLog{};
        g_log.heap = &alloc;
    }
    void SetUp() override {
        ASSERT_NE(TavSharedPtr_voidConstruct(&sp, &target, &CountingDeleter, alloc), nullptr);
        TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
    }
    void TearDown() override {
        TavWeakPtr_voidDestruct(&wp);
        TavSharedPtr_voidDestruct(&sp);
    }

    TavPropertyValue Wrapper(int value, const char* name = "Blob", TavBool settable = TAV_TRUE) {
        Blob blob{value, {}};
        TavPropertyValue v;
        EXPECT_NE(TavPropertyValueConstructWrapper(&v, &blob, sizeof blob, &kBlob, name, settable,
                                                   alloc), nullptr);
        return v;
    }
    // One settable value of each of the 20 non-composite kinds, in kind order.
    std::vector<TavPropertyValue> OneOfEachKind() {
        std::vector<TavPropertyValue> all(20);
        auto* v = all.data();
        TavPropertyValueConstructBool(v++, TAV_TRUE, TAV_TRUE);
        TavPropertyValueConstructInt(v++, -7, TAV_TRUE);
        TavPropertyValueConstructInt16(v++, -16, TAV_TRUE);
        TavPropertyValueConstructInt64(v++, -(1LL << 40), TAV_TRUE);
        TavPropertyValueConstructUint(v++, 7u, TAV_TRUE);
        TavPropertyValueConstructUint16(v++, 16u, TAV_TRUE);
        TavPropertyValueConstructUint64(v++, 1ULL << 63, TAV_TRUE);
        TavPropertyValueConstructSizeT(v++, 4096u, TAV_TRUE);
        TavPropertyValueConstructFloat32(v++, 0.5f, TAV_TRUE);
        TavPropertyValueConstructFloat64(v++, -2.25, TAV_TRUE);
        TavPropertyValueConstructTime(v++, 90000, TAV_TRUE);
        TavPropertyValueConstructResolution(v++, TavResolution{1920, 1080}, TAV_TRUE);
        TavPropertyValueConstructMediaFormat(v++, 0x3231564E, TAV_TRUE);
        TavPropertyValueConstructVoidPtr(v++, &target, TAV_TRUE);
        EXPECT_NE(TavPropertyValueConstructStringCStr(v++, kLong, TAV_TRUE, alloc), nullptr);
        TavPropertyValueConstructSharedVoidPtr(v++, &sp, TAV_TRUE);
        TavPropertyValueConstructWeakVoidPtr(v++, &wp, TAV_TRUE);
        EXPECT_NE(TavPropertyValueConstructSharedPtr(v++, &sp, kLong, TAV_TRUE, alloc), nullptr);
        EXPECT_NE(TavPropertyValueConstructWeakPtr(v++, &wp, kLong, TAV_TRUE, alloc), nullptr);
        *v = Wrapper(42, kLong);
        return all;
    }
    static void Destroy(std::vector<TavPropertyValue>& all) {
        for (auto& v : all) TavPropertyValueDestruct(&v);
    }

    CountingAllocator alloc;
    DefaultAllocatorHook hook_;
    Target target;
    TavSharedPtr_void sp;
    TavWeakPtr_void wp;
};

// ---- plain kinds ---------------------------------------------------------

template <class T>
void ExpectPlainRoundTrip(TavPropertyValueType kind,
                          TavPropertyValue* (*make)(TavPropertyValue*, T, TavBool),
                          const T* (*get)(const TavPropertyValue*),
                          T* (*to)(const TavPropertyValue*, T*), T a, T b) {
    SCOPED_TRACE(kind);
    TavPropertyValue x, y, other, wrongKind;
    ASSERT_EQ(make(&x, a, TAV_FALSE), &x);
    EXPECT_EQ(TavPropertyValueGetType(&x), kind);
    EXPECT_EQ(std::memcmp(get(&x), &a, sizeof(T)), 0);
    ASSERT_EQ(TavPropertyValueConstructCopy(&y, &x), &y);
    EXPECT_TRUE(TavPropertyValueEqual(&x, &y));
    EXPECT_FALSE(TavPropertyValueIsSettable(&y)) << "a copy takes the source's flag";

    make(&other, b, TAV_TRUE);
    EXPECT_FALSE(TavPropertyValueEqual(&x, &other));
    EXPECT_EQ(TavPropertyValueAssign(&other, &x), &other);
    EXPECT_TRUE(TavPropertyValueEqual(&other, &x));
    EXPECT_TRUE(TavPropertyValueIsSettable(&other)) << "assignment keeps the target's flag";
    T out = b;
    EXPECT_EQ(to(&other, &out), &out);
    EXPECT_EQ(std::memcmp(&out, &a, sizeof(T)), 0);

    // Never read across kinds, not even between kinds of one width.
    if (kind == TAV_PROPERTYVALUE_TYPE_Uint)
        TavPropertyValueConstructMediaFormat(&wrongKind, 1, TAV_TRUE);
    else
        TavPropertyValueConstructUint(&wrongKind, 1, TAV_TRUE);
    EXPECT_EQ(get(&wrongKind), nullptr);
    EXPECT_EQ(to(&wrongKind, &out), nullptr);
    EXPECT_EQ(std::memcmp(&out, &a, sizeof(T)), 0);
}

#define ROUND_TRIP(Kind, a, b)                                                            \
    ExpectPlainRoundTrip(TAV_PROPERTYVALUE_TYPE_##Kind, &TavPropertyValueConstruct##Kind, \
                         &TavPropertyValueGet##Kind, &TavPropertyValueTo##Kind, a, b)

TEST(ValuePlain, EveryKindRoundTripsThroughCopyAssignGetAndTo) {
    int obj1 = 0, obj2 = 0;
    ROUND_TRIP(Bool, TavBool{1}, TavBool{0});
    ROUND_TRIP(Int, TavInt{-5}, TavInt{5});
    ROUND_TRIP(Int16, TavInt16{-300}, TavInt16{300});
    ROUND_TRIP(Int64, TavInt64{-(1LL << 50)}, TavInt64{1});
    ROUND_TRIP(Uint, TavUint{0xFFFFFFFFu}, TavUint{0});
    ROUND_TRIP(Uint16, TavUint16{65535}, TavUint16{1});
    ROUND_TRIP(Uint64, TavUint64{~0ULL}, TavUint64{0});
    ROUND_TRIP(SizeT, TavSizeT{1ULL << 40}, TavSizeT{3});
    ROUND_TRIP(Float32, TavFloat32{1.5f}, TavFloat32{-1.5f});
    ROUND_TRIP(Float64, TavFloat64{1e300}, TavFloat64{-1e-300});
    ROUND_TRIP(Time, TavTime{-90000}, TavTime{90000});
    ROUND_TRIP(Resolution, (TavResolution{1280, 720}), (TavResolution{1280, 721}));
    ROUND_TRIP(MediaFormat, TavMediaFormat{0x3231564E}, TavMediaFormat{0x30323449});
    ROUND_TRIP(VoidPtr, TavVoidPtr{&obj1}, TavVoidPtr{&obj2});
}

TEST(ValuePlain, EqualityFollowsTheKindRules) {
    TavPropertyValue a, b;
    auto eq = [&] { return TavPropertyValueEqual(&a, &b) != 0; };
    TavPropertyValueConstructFloat64(&a, std::nan(""), TAV_TRUE);
    TavPropertyValueConstructCopy(&b, &a);
    EXPECT_FALSE(eq()) << "NaN equals nothing, itself included";
    TavPropertyValueConstructFloat32(&a, 0.0f, TAV_TRUE);
    TavPropertyValueConstructFloat32(&b, -0.0f, TAV_TRUE);
    EXPECT_TRUE(eq());
    TavPropertyValueConstructFloat64(&a, 0.0, TAV_TRUE);
    TavPropertyValueConstructFloat64(&b, -0.0, TAV_TRUE);
    EXPECT_TRUE(eq());
    TavPropertyValueConstructInt(&a, 1, TAV_TRUE);
    TavPropertyValueConstructUint(&b, 1, TAV_TRUE);
    EXPECT_FALSE(eq()) << "kinds differ";
    TavPropertyValueConstructInt(&b, 1, TAV_FALSE);
    EXPECT_TRUE(eq()) << "settable takes no part";
    TavPropertyValueConstructBool(&a, 1, TAV_TRUE);
    TavPropertyValueConstructBool(&b, 2, TAV_TRUE);
    EXPECT_FALSE(eq()) << "two true bytes that differ";
    EXPECT_EQ(*TavPropertyValueGetBool(&b), 2);
}

// ---- every kind against every kind ---------------------------------------

TEST_F(Value, EveryKindCopiesAndAssignsOverEveryOtherKind) {
    auto sources = OneOfEachKind();
    for (const auto& y : sources) {
        SCOPED_TRACE(y.type);
        TavPropertyValue copy;
        ASSERT_EQ(TavPropertyValueConstructCopy(&copy, &y), &copy);
        EXPECT_TRUE(TavPropertyValueEqual(&copy, &y));
        auto targets = OneOfEachKind();
        for (auto& x : targets) {
            ASSERT_EQ(TavPropertyValueAssign(&x, &y), &x);
            EXPECT_TRUE(TavPropertyValueEqual(&x, &copy));
        }
        Destroy(targets);
        TavPropertyValueDestruct(&copy);
    }
    EXPECT_EQ(UseCount(sp), 3);  // the SharedVoidPtr and SharedPtr sources
    Destroy(sources);
    EXPECT_EQ(UseCount(sp), 1);
    EXPECT_EQ(WeakCount(sp), 2);
    EXPECT_EQ(g_log.copies, g_log.destructs);
    EXPECT_EQ(target.deletes, 0);
}  // the allocator checks on destruction that nothing is left

TEST_F(Value, NonSettableTargetRefusesEveryKindUnchanged) {
    auto sources = OneOfEachKind();
    TavPropertyValue str, wrapper = Wrapper(1, "Blob", TAV_FALSE);
    ASSERT_NE(TavPropertyValueConstructStringCStr(&str, kLong, TAV_FALSE, alloc), nullptr);
    const std::size_t attempts = alloc.attempts();
    const char* buf = TavStringCStr(&str.u.s);
    for (const auto& y : sources) {
        EXPECT_EQ(TavPropertyValueAssign(&str, &y), nullptr);
        EXPECT_EQ(TavPropertyValueAssign(&wrapper, &y), nullptr);
    }
    EXPECT_EQ(alloc.attempts(), attempts);
    EXPECT_EQ(TavStringCStr(&str.u.s), buf);
    EXPECT_EQ(Text(&str.u.s), kLong);
    EXPECT_EQ(BlobValue(&wrapper), 1);
    EXPECT_EQ(g_log.assigns, 0);
    TavPropertyValueDestruct(&str);
    TavPropertyValueDestruct(&wrapper);
    Destroy(sources);
}

// ---- failures ------------------------------------------------------------

TEST_F(Value, ConstructorsThatFailLeaveNothing) {
    auto sources = OneOfEachKind();
    Blob blob{4, {}};
    TavString s;
    ASSERT_NE(TavStringConstructCStr(&s, kLong, alloc), nullptr);
    std::vector<std::function<TavPropertyValue*(TavPropertyValue*)>> constructors = {
        [&](auto* x) { return TavPropertyValueConstructString(x, &s, TAV_TRUE); },
        [&](auto* x) { return TavPropertyValueConstructStringCStr(x, kLong, TAV_TRUE, alloc); },
        [&](auto* x) { return TavPropertyValueConstructSharedPtr(x, &sp, kLong, TAV_TRUE, alloc); },
        [&](auto* x) { return TavPropertyValueConstructWeakPtr(x, &wp, kLong, TAV_TRUE, alloc); },
        [&](auto* x) {
            return TavPropertyValueConstructWrapper(x, &blob, sizeof blob, &kBlob, kLong, TAV_TRUE,
                                                    alloc);
        }};
    for (const auto& y : sources) {
        constructors.push_back([&](auto* x) { return TavPropertyValueConstructCopy(x, &y); });
    }
    const std::size_t blocks = alloc.liveBlocks();
    const int uses = UseCount(sp), weaks = WeakCount(sp);
    for (auto& construct : constructors) {
        auto attempt = [&](std::size_t) {
            TavPropertyValue x;
            if (construct(&x) != nullptr) return TavPropertyValueDestruct(&x);
            EXPECT_EQ(alloc.liveBlocks(), blocks);
            EXPECT_EQ(UseCount(sp), uses);
            EXPECT_EQ(WeakCount(sp), weaks);
        };
        SweepAllocationFailures(alloc, attempt);
        g_log.failCopy = true;  // a wrapper's copy callback may fail too
        attempt(0);
        g_log.failCopy = false;
    }
    TavStringDestruct(&s);
    Destroy(sources);
    EXPECT_EQ(g_log.copies, g_log.destructs + 2) << "failed copies are not destructed";
}

TEST_F(Value, FailedCrossKindAssignmentLeavesFalseBoolAndNoLeak) {
    auto sources = OneOfEachKind();
    const std::size_t blocks = alloc.liveBlocks();
    const int uses = UseCount(sp);
    auto attempt = [&](const TavPropertyValue& y) {
        TavPropertyValue x;
        TavPropertyValueConstructInt(&x, 7, TAV_TRUE);
        if (TavPropertyValueAssign(&x, &y) == nullptr) {
            EXPECT_EQ(x.type, TAV_PROPERTYVALUE_TYPE_Bool);
            EXPECT_EQ(x.u.b, TAV_FALSE);
            EXPECT_EQ(alloc.liveBlocks(), blocks);
            EXPECT_EQ(UseCount(sp), uses);
        }
        TavPropertyValueDestruct(&x);
    };
    for (const auto& y : sources) {
        SweepAllocationFailures(alloc, [&](std::size_t) { attempt(y); });
    }
    g_log.failCopy = true;
    attempt(sources.back());
    g_log.failCopy = false;
    Destroy(sources);

    // The last owner drops its object before the new payload is copied,
    // even when that copy then fails.
    TavSharedPtr_void only;
    Target other;
    TavSharedPtr_voidConstruct(&only, &other, &CountingDeleter, alloc);
    TavPropertyValue x, str;
    TavPropertyValueConstructSharedVoidPtr(&x, &only, TAV_TRUE);
    TavSharedPtr_voidDestruct(&only);
    TavPropertyValueConstructStringCStr(&str, kLong, TAV_TRUE, alloc);
    alloc.FailAt(1);
    EXPECT_EQ(TavPropertyValueAssign(&x, &str), nullptr);
    alloc.FailAt(0);
    EXPECT_EQ(other.deletes, 1);
    TavPropertyValueDestruct(&x);
    TavPropertyValueDestruct(&str);
}

TEST_F(Value, FailedSameKindAssignmentKeepsTheTarget) {
    TavPropertyValue x, y;
    TavPropertyValueConstructStringCStr(&x, "short", TAV_TRUE, alloc);
    TavPropertyValueConstructStringCStr(&y, kLong, TAV_TRUE, alloc);
    alloc.FailAt(1);
    EXPECT_EQ(TavPropertyValueAssign(&x, &y), nullptr);
    EXPECT_EQ(Text(&x.u.s), "short");
    TavPropertyValueDestruct(&x);
    TavPropertyValueDestruct(&y);

    // Typed pointer: the name goes first; when it fails x keeps its object.
    Target second;
    TavSharedPtr_void other;
    TavSharedPtr_voidConstruct(&other, &second, &CountingDeleter, alloc);
    TavPropertyValueConstructSharedPtr(&x, &sp, "T", TAV_TRUE, alloc);
    TavPropertyValueConstructSharedPtr(&y, &other, kLong, TAV_TRUE, alloc);
    TavSharedPtr_voidDestruct(&other);
    alloc.FailAt(1);
    EXPECT_EQ(TavPropertyValueAssign(&x, &y), nullptr);
    alloc.FailAt(0);
    EXPECT_EQ(TavSharedPtr_voidGet(&x.u.sp), &target);
    EXPECT_EQ(Text(&x.ptrName), "T");
    EXPECT_EQ(UseCount(sp), 2);
    TavPropertyValueDestruct(&x);
    TavPropertyValueDestruct(&y);
}

// ---- pointers ------------------------------------------------------------

TEST_F(Value, PointerKindsHoldExactlyOneCountAndConversionsTakeTheirOwn) {
    TavPropertyValue s, w, s2;
    TavPropertyValueConstructSharedVoidPtr(&s, &sp, TAV_TRUE);
    TavPropertyValueConstructWeakVoidPtr(&w, &wp, TAV_TRUE);
    TavPropertyValueConstructCopy(&s2, &s);
    EXPECT_EQ(TavPropertyValueAssign(&s2, &s), &s2);  // same block: no change
    EXPECT_EQ(UseCount(sp), 3);
    EXPECT_EQ(WeakCount(sp), 3);
    TavSharedPtr_void outSp{};
    TavWeakPtr_void outWp{};
    EXPECT_EQ(TavPropertyValueToSharedVoidPtr(&s, &outSp), &outSp);
    EXPECT_EQ(TavPropertyValueToWeakVoidPtr(&w, &outWp), &outWp);
    EXPECT_EQ(UseCount(sp), 4);
    EXPECT_EQ(WeakCount(sp), 4);
    TavSharedPtr_voidDestruct(&outSp);
    TavWeakPtr_voidDestruct(&outWp);
    for (auto* v : {&s, &w, &s2}) TavPropertyValueDestruct(v);
    EXPECT_EQ(UseCount(sp), 1);
    EXPECT_EQ(WeakCount(sp), 2);
}

TEST_F(Value, PointerEqualityComparesWhatEachKindMeans) {
    TavSharedPtr_void sameObject;  // another count block on the same object
    TavSharedPtr_voidConstruct(&sameObject, &target, &CountingDeleter, alloc);
    TavWeakPtr_void sameBlock = wp;  // same count block, another pointer
    sameBlock.ptr = &sameBlock;
    TavPropertyValue a, b, c, d;
    TavPropertyValueConstructSharedVoidPtr(&a, &sp, TAV_TRUE);
    TavPropertyValueConstructSharedVoidPtr(&b, &sameObject, TAV_TRUE);
    TavPropertyValueConstructWeakVoidPtr(&c, &wp, TAV_TRUE);
    TavPropertyValueConstructWeakVoidPtr(&d, &sameBlock, TAV_TRUE);
    EXPECT_TRUE(TavPropertyValueEqual(&a, &b));
    EXPECT_TRUE(TavPropertyValueEqual(&c, &d));
    for (auto* v : {&a, &b, &c, &d}) TavPropertyValueDestruct(v);

    TavPropertyValueConstructWeakPtr(&a, &wp, "A", TAV_TRUE, alloc);
    TavPropertyValueConstructWeakPtr(&b, &wp, "B", TAV_TRUE, alloc);
    TavPropertyValueConstructSharedPtr(&c, &sp, "A", TAV_TRUE, alloc);
    TavPropertyValueConstructSharedPtr(&d, &sameObject, "B", TAV_TRUE, alloc);
    EXPECT_FALSE(TavPropertyValueEqual(&a, &b)) << "typed kinds compare their names too";
    EXPECT_FALSE(TavPropertyValueEqual(&c, &d));
    for (auto* v : {&a, &b, &c, &d}) TavPropertyValueDestruct(v);
    TavSharedPtr_voidDestruct(&sameObject);
}

TEST_F(Value, TypedKindsAreReadByGettersButNotByConversions) {
    auto all = OneOfEachKind();
    const TavPropertyValue &shared = all[17], &weak = all[18], &wrapper = all[19];
    EXPECT_EQ(TavPropertyValueGetSharedVoidPtr(&shared), &shared.u.sp);
    EXPECT_EQ(TavPropertyValueGetWeakVoidPtr(&weak), &weak.u.wp);
    EXPECT_EQ(TavPropertyValueGetVoidPtr(&wrapper), &wrapper.u.vp);
    TavSharedPtr_void outSp{};
    TavWeakPtr_void outWp{};
    TavVoidPtr outVp = &outSp;
    EXPECT_EQ(TavPropertyValueToSharedVoidPtr(&shared, &outSp), nullptr);
    EXPECT_EQ(TavPropertyValueToWeakVoidPtr(&weak, &outWp), nullptr);
    EXPECT_EQ(TavPropertyValueToVoidPtr(&wrapper, &outVp), nullptr);
    EXPECT_EQ(outSp.ref, nullptr);
    EXPECT_EQ(outWp.ref, nullptr);
    EXPECT_EQ(outVp, &outSp);
    Destroy(all);
}

// ---- wrappers ------------------------------------------------------------

TEST_F(Value, WrapperOwnsABlockOfExactlyItsSize) {
    TavPropertyValue x = Wrapper(5), y, i;
    TavPropertyValueConstructInt(&i, 1, TAV_TRUE);
    ASSERT_EQ(TavPropertyValueConstructCopy(&y, &x), &y);
    ASSERT_EQ(TavPropertyValueAssign(&i, &x), &i);
    for (auto* v : {&x, &y, &i}) EXPECT_EQ(alloc.sizeOf(v->u.vp), sizeof(Blob));
    EXPECT_NE(y.u.vp, x.u.vp);
    EXPECT_EQ(BlobValue(&i), 5);

    // Same kind: the target keeps its block and takes the state through the
    // assign callback, after the name.
    TavPropertyValue z = Wrapper(9, "Other"), w = Wrapper(11, "Third");
    void* block = y.u.vp;
    ASSERT_EQ(TavPropertyValueAssign(&y, &z), &y);
    EXPECT_EQ(y.u.vp, block);
    EXPECT_EQ(BlobValue(&y), 9);
    g_log.failAssign = true;
    EXPECT_EQ(TavPropertyValueAssign(&y, &w), nullptr);
    EXPECT_EQ(Text(&y.ptrName), "Third");
    EXPECT_EQ(BlobValue(&y), 9);
    for (auto* v : {&x, &y, &i, &z, &w}) TavPropertyValueDestruct(v);
    EXPECT_EQ(g_log.destructs, 5);
}

TEST_F(Value, WrapperEqualityComparesNamesBeforeObjects) {
    TavPropertyValue a = Wrapper(1, "A"), b = Wrapper(1, "B"), c = Wrapper(2, "A"),
                     d = Wrapper(1, "A", TAV_FALSE);
    EXPECT_FALSE(TavPropertyValueEqual(&a, &b));
    EXPECT_EQ(g_log.equals, 0) << "no callback when the names differ";
    EXPECT_FALSE(TavPropertyValueEqual(&a, &c));
    EXPECT_TRUE(TavPropertyValueEqual(&a, &d));
    for (auto* v : {&a, &b, &c, &d}) TavPropertyValueDestruct(v);
}

}  // namespace
