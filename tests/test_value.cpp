// Values of every non-composite kind: copy, assignment under the settable
// rule, equality, getters and conversions, and the state every failure leaves.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
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
    return g_log.failAssign ? nullptr : std::memcpy(dst, src, sizeof(Blob));
}
TavBool BlobEqual(const void* a, const void* b) {
    ++g_log.equals;
    return std::memcmp(a, b, sizeof(Blob)) == 0;
}
const TavPropertyValueCallbacks kBlob = {&BlobCopy, &BlobDestruct, &BlobAssign, &BlobEqual};

int BlobValue(const TavPropertyValue* v) { return static_cast<const Blob*>(v->u.vp)->value; }

struct Target {
    int deletes = 0;
};
void CountingDeleter(TavVoidPtr p, TavAllocator*) { ++static_cast<Target*>(p)->deletes; }

int UseCount(const TavSharedPtr_void& sp) { return TavAtomicIntegerGetValue(&sp.ref->useCount); }
int WeakCount(const TavSharedPtr_void& sp) { return TavAtomicIntegerGetValue(&sp.ref->weakCount); }

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
    // One value of each of the 20 non-composite kinds, in kind order; text
    // is the string and the type names.
    std::vector<TavPropertyValue> OneOfEachKind(TavBool settable = TAV_TRUE, const char* text = kLong) {
        std::vector<TavPropertyValue> all(20);
        auto* v = all.data();
        TavPropertyValueConstructBool(v++, TAV_TRUE, settable);
        TavPropertyValueConstructInt(v++, -7, settable);
        TavPropertyValueConstructInt16(v++, -16, settable);
        TavPropertyValueConstructInt64(v++, -(1LL << 40), settable);
        TavPropertyValueConstructUint(v++, 7u, settable);
        TavPropertyValueConstructUint16(v++, 16u, settable);
        TavPropertyValueConstructUint64(v++, 1ULL << 63, settable);
        TavPropertyValueConstructSizeT(v++, 4096u, settable);
        TavPropertyValueConstructFloat32(v++, 0.5f, settable);
        TavPropertyValueConstructFloat64(v++, -2.25, settable);
        TavPropertyValueConstructTime(v++, 90000, settable);
        TavPropertyValueConstructResolution(v++, TavResolution{1920, 1080}, settable);
        TavPropertyValueConstructMediaFormat(v++, 0x3231564E, settable);
        TavPropertyValueConstructVoidPtr(v++, &target, settable);
        EXPECT_NE(TavPropertyValueConstructStringCStr(v++, text, settable, alloc), nullptr);
        TavPropertyValueConstructSharedVoidPtr(v++, &sp, settable);
        TavPropertyValueConstructWeakVoidPtr(v++, &wp, settable);
        EXPECT_NE(TavPropertyValueConstructSharedPtr(v++, &sp, text, settable, alloc), nullptr);
        EXPECT_NE(TavPropertyValueConstructWeakPtr(v++, &wp, text, settable, alloc), nullptr);
        *v = Wrapper(42, text, settable);
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

// Every plain getter and conversion against a value of every kind: only its
// own kind is read (VoidPtr's getter also serves wrappers), a refused
// conversion leaves out untouched, and a changed payload compares unequal.
TEST_F(Value, PlainGettersAndConversionsReadOnlyTheirKind) {
    auto all = OneOfEachKind();
#define CHECK_PLAIN_ACCESS(Kind, Type, member)                                           \
    for (const auto& v : all) {                                                          \
        const TavPropertyValueType kind = TAV_PROPERTYVALUE_TYPE_##Kind;                \
        const bool own = v.type == kind;                                                 \
        const bool shared = kind == TAV_PROPERTYVALUE_TYPE_VoidPtr &&                    \
                            v.type == TAV_PROPERTYVALUE_TYPE_Wrapper;                    \
        Type out{}, untouched{};                                                         \
        EXPECT_EQ(TavPropertyValueGet##Kind(&v), own || shared ? &v.u.member : nullptr); \
        EXPECT_EQ(TavPropertyValueTo##Kind(&v, &out), own ? &out : nullptr);             \
        EXPECT_EQ(std::memcmp(&out, own ? &v.u.member : &untouched, sizeof out), 0);     \
        if (own) {                                                                       \
            TavPropertyValue changed = v;                                                \
            std::memset(&changed.u.member, 0x5A, sizeof out);                            \
            EXPECT_FALSE(TavPropertyValueEqual(&v, &changed));                           \
        }                                                                                \
    }
    TAV_PROPERTYVALUE_PLAIN_KINDS(CHECK_PLAIN_ACCESS)
#undef CHECK_PLAIN_ACCESS
    Destroy(all);
}

TEST(ValuePlain, FloatsCompareAsNumbersAndBoolsAsBytes) {
    TavPropertyValue a, b;
    TavPropertyValueConstructFloat64(&a, std::nan(""), TAV_TRUE);
    EXPECT_FALSE(TavPropertyValueEqual(&a, &a));
    TavPropertyValueConstructFloat32(&a, 0.0f, TAV_TRUE);
    TavPropertyValueConstructFloat32(&b, -0.0f, TAV_TRUE);
    EXPECT_TRUE(TavPropertyValueEqual(&a, &b));
    TavPropertyValueConstructFloat64(&a, 0.0, TAV_TRUE);
    TavPropertyValueConstructFloat64(&b, -0.0, TAV_TRUE);
    EXPECT_TRUE(TavPropertyValueEqual(&a, &b));
    TavPropertyValueConstructBool(&a, 1, TAV_TRUE);
    TavPropertyValueConstructBool(&b, 2, TAV_TRUE);
    EXPECT_FALSE(TavPropertyValueEqual(&a, &b)) << "two true bytes that differ";
}

// ---- every kind against every kind ---------------------------------------

TEST_F(Value, EveryKindCopiesAndAssignsOverEveryOtherKind) {
    auto sources = OneOfEachKind(TAV_FALSE);
    for (const auto& y : sources) {
        SCOPED_TRACE(y.type);
        TavPropertyValue copy;
        ASSERT_EQ(TavPropertyValueConstructCopy(&copy, &y), &copy);
        EXPECT_TRUE(TavPropertyValueEqual(&copy, &y));
        EXPECT_FALSE(TavPropertyValueIsSettable(&copy)) << "a copy takes the source's flag";
        auto targets = OneOfEachKind();
        for (auto& x : targets) {
            EXPECT_EQ(TavPropertyValueEqual(&x, &y), x.type == y.type) << "settable takes no part";
            ASSERT_EQ(TavPropertyValueAssign(&x, &y), &x);
            EXPECT_EQ(TavPropertyValueGetType(&x), y.type);
            EXPECT_TRUE(TavPropertyValueEqual(&x, &copy));
            EXPECT_TRUE(TavPropertyValueIsSettable(&x)) << "assignment keeps the target's flag";
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
    TavPropertyValue str;
    ASSERT_NE(TavPropertyValueConstructStringCStr(&str, kLong, TAV_FALSE, alloc), nullptr);
    const std::size_t attempts = alloc.attempts();
    const char* buf = TavStringCStr(&str.u.s);
    for (const auto& y : sources) EXPECT_EQ(TavPropertyValueAssign(&str, &y), nullptr);
    EXPECT_EQ(alloc.attempts(), attempts);
    EXPECT_EQ(TavStringCStr(&str.u.s), buf);
    EXPECT_STREQ(TavStringCStr(&str.u.s), kLong);
    TavPropertyValueDestruct(&str);
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
    for (auto& construct : constructors) {
        auto attempt = [&](std::size_t) {
            TavPropertyValue x;
            if (construct(&x) != nullptr) return TavPropertyValueDestruct(&x);
            EXPECT_EQ(alloc.liveBlocks(), blocks);
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

// Assignment with every allocation failing in turn, of each kind into an Int
// and into the same kind with a shorter text: a failure leaves a false Bool
// when the kinds differ, else the target as it was; nothing leaks.
TEST_F(Value, FailedAssignmentLeavesTheRuledStateAndNoLeak) {
    auto sources = OneOfEachKind(), shortOnes = OneOfEachKind(TAV_TRUE, "s");
    TavPropertyValue seven;
    TavPropertyValueConstructInt(&seven, 7, TAV_TRUE);
    const std::size_t blocks = alloc.liveBlocks();
    auto attempt = [&](const TavPropertyValue& start, const TavPropertyValue& y) {
        TavPropertyValue x;
        if (TavPropertyValueConstructCopy(&x, &start) == nullptr) return;
        if (TavPropertyValueAssign(&x, &y) != nullptr) {
            EXPECT_TRUE(TavPropertyValueEqual(&x, &y));
        } else if (start.type == y.type) {
            EXPECT_TRUE(TavPropertyValueEqual(&x, &start));
        } else {
            EXPECT_EQ(x.type, TAV_PROPERTYVALUE_TYPE_Bool);
            EXPECT_EQ(x.u.b, TAV_FALSE);
        }
        TavPropertyValueDestruct(&x);
        EXPECT_EQ(alloc.liveBlocks(), blocks);
    };
    for (std::size_t k = 0; k < sources.size(); ++k) {
        SCOPED_TRACE(k);
        SweepAllocationFailures(alloc, [&](std::size_t) { attempt(seven, sources[k]); });
        SweepAllocationFailures(alloc, [&](std::size_t) { attempt(shortOnes[k], sources[k]); });
    }
    g_log.failCopy = true;
    attempt(seven, sources.back());
    g_log.failCopy = false;
    Destroy(sources);
    Destroy(shortOnes);
}

TEST_F(Value, AssignmentReleasesTheOldPayloadFirst) {
    // Typed pointer of the same kind: the name goes first; when it fails x
    // keeps its object.
    Target other;
    TavSharedPtr_void only;
    TavSharedPtr_voidConstruct(&only, &other, &CountingDeleter, alloc);
    TavPropertyValue x, y;
    TavPropertyValueConstructSharedPtr(&x, &only, "T", TAV_TRUE, alloc);
    TavPropertyValueConstructSharedPtr(&y, &sp, kLong, TAV_TRUE, alloc);
    TavSharedPtr_voidDestruct(&only);
    alloc.FailAt(1);
    EXPECT_EQ(TavPropertyValueAssign(&x, &y), nullptr);
    EXPECT_EQ(TavSharedPtr_voidGet(&x.u.sp), &other);
    EXPECT_EQ(UseCount(sp), 2);

    // Another kind: the last owner drops its object before the new payload
    // is copied, even when that copy then fails.
    TavPropertyValueDestruct(&y);
    TavPropertyValueConstructStringCStr(&y, kLong, TAV_TRUE, alloc);
    alloc.FailAt(1);
    EXPECT_EQ(TavPropertyValueAssign(&x, &y), nullptr);
    alloc.FailAt(0);
    EXPECT_EQ(other.deletes, 1);
    TavPropertyValueDestruct(&x);
    TavPropertyValueDestruct(&y);
}

// ---- pointers ------------------------------------------------------------

TEST_F(Value, PointerAndWrapperEqualityCompareWhatEachKindMeans) {
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

    a = Wrapper(1, "A"), b = Wrapper(1, "B"), c = Wrapper(2, "A"), d = Wrapper(1, "A", TAV_FALSE);
    EXPECT_FALSE(TavPropertyValueEqual(&a, &b));
    EXPECT_EQ(g_log.equals, 0) << "a wrapper's callback runs only when the names match";
    EXPECT_FALSE(TavPropertyValueEqual(&a, &c));
    EXPECT_TRUE(TavPropertyValueEqual(&a, &d));
    for (auto* v : {&a, &b, &c, &d}) TavPropertyValueDestruct(v);
}

// Getters also serve the typed kinds; conversions take only their own kind,
// and then hold a count of their own.
TEST_F(Value, PointerGettersAndConversions) {
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

    const int uses = UseCount(sp), weaks = WeakCount(sp);
    EXPECT_EQ(TavPropertyValueToSharedVoidPtr(&all[15], &outSp), &outSp);
    EXPECT_EQ(TavPropertyValueToWeakVoidPtr(&all[16], &outWp), &outWp);
    EXPECT_EQ(UseCount(sp), uses + 1);
    EXPECT_EQ(WeakCount(sp), weaks + 1);
    TavSharedPtr_voidDestruct(&outSp);
    TavWeakPtr_voidDestruct(&outWp);
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
    EXPECT_STREQ(TavStringCStr(&y.ptrName), "Third");
    EXPECT_EQ(BlobValue(&y), 9);
    for (auto* v : {&x, &y, &i, &z, &w}) TavPropertyValueDestruct(v);
    EXPECT_EQ(g_log.destructs, 5);
}

}  // namespace
