// The vector family: growth and exact allocations, positions, the in-place
// and reallocating insert/erase paths against a model, and the state every
// failure leaves. Map positions exercise the never-failing element, strings
// the element whose copies need memory, values the element whose assignment
// can be refused.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "CountingAllocator.hpp"

using tavtest::CountingAllocator;
using tavtest::SweepAllocationFailures;

namespace {

// ---- vector of map positions --------------------------------------------

using PV = TavVector_TavMap_TavString__TavPropertyValueIterator;
using Pos = TavMap_TavString__TavPropertyValueIterator;
#define PVF(op) TavVector_TavMap_TavString__TavPropertyValueIterator##op
constexpr std::size_t kPosBytes = sizeof(Pos);

// Stored positions are never followed, so any node address will do.
Pos P(int i) {
    static TavMap_TavString__TavPropertyValue_Node nodes[64];
    return &nodes[i];
}

std::vector<int> Ids(const PV* v) {
    std::vector<int> ids;
    for (const Pos* p = PVF(BeginConst)(v); p != PVF(EndConst)(v); ++p)
        ids.push_back(static_cast<int>(*p - P(0)));
    return ids;
}

// A vector of positions 0..n-1 with the given capacity.
void MakePV(PV* v, TavAllocator* a, int n, TavSizeT capacity) {
    PVF(ConstructDefault)(v, a);
    ASSERT_TRUE(PVF(Reserve)(v, capacity));
    for (int i = 0; i < n; ++i) {
        Pos p = P(i);
        ASSERT_TRUE(PVF(PushBack)(v, &p));
    }
}

TEST(VectorGrowth, PushBackDoublesFromTwo) {
    CountingAllocator a;
    PV v;
    PVF(ConstructDefault)(&v, a);
    EXPECT_EQ(PVF(Capacity)(&v), 0u);
    EXPECT_EQ(PVF(Begin)(&v), PVF(End)(&v));
    std::vector<TavSizeT> capacities;
    for (int i = 0; i < 9; ++i) {
        Pos p = P(i);
        ASSERT_TRUE(PVF(PushBack)(&v, &p));
        if (capacities.empty() || capacities.back() != PVF(Capacity)(&v)) {
            capacities.push_back(PVF(Capacity)(&v));
            EXPECT_EQ(a.lastAllocationSize(), capacities.back() * kPosBytes);
        }
    }
    EXPECT_EQ(capacities, (std::vector<TavSizeT>{2, 4, 8, 16}));
    EXPECT_EQ(Ids(&v), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
    PVF(Destruct)(&v);
}

TEST(VectorGrowth, ReserveAndResize) {
    CountingAllocator a;
    PV v;
    MakePV(&v, a, 3, 4);
    EXPECT_EQ(a.lastAllocationSize(), 4 * kPosBytes);
    a.ResetCounters();
    EXPECT_TRUE(PVF(Reserve)(&v, 4));
    EXPECT_TRUE(PVF(Reserve)(&v, 1));
    EXPECT_EQ(a.attempts(), 0u);
    Pos fill = P(9);
    ASSERT_TRUE(PVF(Resize)(&v, 5, &fill));  // grows to size + n
    EXPECT_EQ(PVF(Capacity)(&v), 8u);
    EXPECT_EQ(Ids(&v), (std::vector<int>{0, 1, 2, 9, 9}));
    ASSERT_TRUE(PVF(Resize)(&v, 1, &fill));
    EXPECT_EQ(Ids(&v), (std::vector<int>{0}));
    EXPECT_EQ(PVF(Capacity)(&v), 8u);
    PVF(Destruct)(&v);

    PVF(ConstructDefault)(&v, a);
    ASSERT_TRUE(PVF(Resize)(&v, 5, &fill));
    EXPECT_EQ(PVF(Capacity)(&v), 5u);
    PVF(Destruct)(&v);
}

TEST(VectorGrowth, InsertNCapacities) {
    CountingAllocator a;
    Pos t = P(7);
    struct Case {
        int size;
        TavSizeT capacity, n, grown;
    };
    for (Case c : {Case{4, 4, 1, 8}, Case{4, 4, 10, 14}, Case{0, 0, 3, 6}}) {
        PV v;
        MakePV(&v, a, c.size, c.capacity);
        ASSERT_TRUE(PVF(InsertN)(&v, PVF(Begin)(&v) + c.size / 2, c.n, &t));
        EXPECT_EQ(PVF(Capacity)(&v), c.grown);
        EXPECT_EQ(PVF(Size)(&v), c.size + c.n);
        PVF(Destruct)(&v);
    }
}

TEST(VectorGrowth, ConstructorsAndAssignAllocateExactly) {
    CountingAllocator a, b;
    PV src, x, y;
    MakePV(&src, a, 3, 8);
    ASSERT_EQ(PVF(ConstructCopy)(&x, &src), &x);
    EXPECT_EQ(PVF(Capacity)(&x), 3u);
    EXPECT_EQ(PVF(GetAllocator)(&x), a.get());
    ASSERT_EQ(PVF(ConstructRange)(&y, PVF(BeginConst)(&src) + 1, PVF(EndConst)(&src), b), &y);
    EXPECT_EQ(PVF(Capacity)(&y), 2u);
    EXPECT_EQ(Ids(&y), (std::vector<int>{1, 2}));
    EXPECT_EQ(PVF(Assign)(&y, &y), &y);
    EXPECT_EQ(Ids(&y), (std::vector<int>{1, 2}));
    ASSERT_EQ(PVF(Assign)(&y, &src), &y);  // does not fit: exactly 3 from y's allocator
    EXPECT_EQ(PVF(Capacity)(&y), 3u);
    EXPECT_EQ(b.liveBytes(), 3 * kPosBytes);
    PVF(Destruct)(&x);
    Pos t = P(4);
    ASSERT_EQ(PVF(ConstructN)(&x, 2, &t, a), &x);
    ASSERT_EQ(PVF(Assign)(&y, &x), &y);  // fits: capacity kept
    EXPECT_EQ(Ids(&y), (std::vector<int>{4, 4}));
    EXPECT_EQ(PVF(Capacity)(&y), 3u);
    PVF(Destruct)(&x);
    a.ResetCounters();
    ASSERT_EQ(PVF(ConstructN)(&x, 0, &t, a), &x);
    EXPECT_EQ(a.attempts(), 0u);
    for (PV* v : {&src, &x, &y}) PVF(Destruct)(v);
}

// Across allocators: VectorFailures.SwapAcrossAllocators.
TEST(VectorGrowth, SwapRules) {
    CountingAllocator a;
    PV x, y;
    MakePV(&x, a, 0, 4);
    MakePV(&y, a, 0, 2);
    EXPECT_TRUE(PVF(Swap)(&x, &y));  // both empty: nothing moves
    EXPECT_EQ(PVF(Capacity)(&x), 4u);
    Pos t = P(1);
    ASSERT_TRUE(PVF(PushBack)(&y, &t));
    EXPECT_TRUE(PVF(Swap)(&x, &y));  // same allocator: buffers exchanged
    EXPECT_EQ(PVF(Capacity)(&x), 2u);
    EXPECT_EQ(Ids(&x), (std::vector<int>{1}));
    PVF(Destruct)(&x);
    PVF(Destruct)(&y);
}

TEST(VectorGrowth, MaxSizeAndDump) {
    PV v;
    MakePV(&v, TavAllocatorGetDefault(), 1, 1);
    PVF(Dump)(&v, "v", 2);
    EXPECT_EQ(Ids(&v), (std::vector<int>{0}));
    EXPECT_EQ(PVF(MaxSize)(&v), 536870911u);
    // A constant from the element size alone: the record is not consulted.
    EXPECT_EQ(TavVector_TavPropertyValueMaxSize(nullptr), 48806446u);
    EXPECT_EQ(TavVector_TavPropertyListenerMaxSize(nullptr), 67108863u);
    EXPECT_EQ(TavVector_TavStringMaxSize(nullptr), 0xFFFFFFFFu / sizeof(TavString));
    PVF(Destruct)(&v);
}

// ---- positions ----------------------------------------------------------

// Reverse positions hold a base and designate the element before it.
TEST(VectorPositions, ForwardAndReverseArithmetic) {
    CountingAllocator a;
    PV v;
    MakePV(&v, a, 4, 4);
    PVF(Iterator) b = PVF(Begin)(&v), e = PVF(End)(&v);
    PVF(ConstIterator) cb = PVF(BeginConst)(&v), ce = PVF(EndConst)(&v);
    PVF(ReverseIterator) rb = PVF(RBegin)(&v), re = PVF(REnd)(&v);
    PVF(ConstReverseIterator) crb = PVF(RBeginConst)(&v), cre = PVF(REndConst)(&v);
    EXPECT_EQ(PVF(IteratorSubtract)(&e, &b), 4);
    EXPECT_EQ(PVF(ConstIteratorSubtract)(&ce, &cb), 4);
    EXPECT_EQ(PVF(ReverseIteratorSubtract)(&re, &rb), 4);
    EXPECT_EQ(PVF(ConstReverseIteratorSubtract)(&cre, &crb), 4);

    EXPECT_EQ(*PVF(ReverseIteratorContentOf)(&rb), P(3));
    PVF(ReverseIterator) r1 = PVF(ReverseIteratorAdd)(&rb, 1);
    EXPECT_EQ(*PVF(ReverseIteratorContentOfConst)(&r1), P(2));
    EXPECT_TRUE(PVF(ReverseIteratorLess)(&rb, &r1));
    EXPECT_EQ(*PVF(ConstReverseIteratorAt)(&crb, 3), P(0));
    EXPECT_EQ(*PVF(IteratorAt)(&b, 3), P(3));
    PVF(ConstIterator) c2 = PVF(ConstIteratorAdd)(&cb, 2);
    EXPECT_EQ(*PVF(ConstIteratorContentOf)(&c2), P(2));
    EXPECT_FALSE(PVF(IteratorLess)(&e, &b));

    PVF(ReverseIteratorDecrement)(PVF(ReverseIteratorIncrementN)(&r1, 2));
    PVF(IteratorDecrementN)(PVF(IteratorIncrement)(&b), -1);
    EXPECT_EQ(*PVF(ReverseIteratorContentOf)(&r1), P(1));
    EXPECT_EQ(*PVF(IteratorContentOf)(&b), P(2));

    PVF(ConstReverseIterator) copy;
    PVF(ConstReverseIteratorConstructCopy)(&copy, &crb);
    EXPECT_TRUE(PVF(ConstReverseIteratorEqual)(&copy, &crb));
    EXPECT_FALSE(PVF(ConstReverseIteratorIsExceptional)(copy));
    EXPECT_TRUE(PVF(ConstReverseIteratorIsExceptional)(
        *PVF(ConstReverseIteratorConstructExceptional)(&copy)));
    PVF(Destruct)(&v);
}

// ---- strings: element copies that need memory ---------------------------

using SV = TavVector_TavString;

std::vector<std::string> Texts(const SV* v) {
    std::vector<std::string> out;
    for (const TavString* s = TavVector_TavStringBeginConst(v); s != TavVector_TavStringEndConst(v);
         ++s)
        out.emplace_back(TavStringCStr(s));
    return out;
}

struct Str {
    TavString s;
    Str(const std::string& text, TavAllocator* a) { TavStringConstructCStr(&s, text.c_str(), a); }
    ~Str() { TavStringDestruct(&s); }
};

// n strings "w0".."w{n-1}" (long enough to own a buffer) in capacity slots.
void MakeSV(SV* v, TavAllocator* a, int n, TavSizeT capacity, const char* prefix = "w") {
    TavVector_TavStringConstructDefault(v, a);
    ASSERT_TRUE(TavVector_TavStringReserve(v, capacity));
    for (int i = 0; i < n; ++i) {
        Str s(prefix + std::to_string(i), a);
        ASSERT_TRUE(TavVector_TavStringPushBack(v, &s.s));
    }
}

// Random operations against a model: catches wrong shifts in every in-place
// and reallocating path (k > m, k <= m, at the ends, empty ranges).
TEST(VectorModel, RandomOperationsMatchModel) {
    CountingAllocator a;
    std::mt19937 rng(12345);
    SV v, other;
    MakeSV(&v, a, 0, 0);
    MakeSV(&other, a, 6, 6, "o");
    std::vector<std::string> model, otherModel = Texts(&other);
    auto pick = [&](std::size_t n) { return static_cast<std::size_t>(rng() % (n + 1)); };
    for (int step = 0; step < 3000; ++step) {
        Str t("t" + std::to_string(step), a);
        const std::size_t i = pick(model.size());
        TavString* pos = TavVector_TavStringBegin(&v) + i;
        switch (rng() % 7) {
            case 0:
                ASSERT_TRUE(TavVector_TavStringPushBack(&v, &t.s));
                model.push_back(TavStringCStr(&t.s));
                break;
            case 1:
                pos = TavVector_TavStringInsert(&v, pos, &t.s);
                ASSERT_EQ(pos, TavVector_TavStringBegin(&v) + i);
                model.insert(model.begin() + i, TavStringCStr(&t.s));
                break;
            case 2: {
                const std::size_t n = pick(5);
                ASSERT_TRUE(TavVector_TavStringInsertN(&v, pos, n, &t.s));
                model.insert(model.begin() + i, n, TavStringCStr(&t.s));
                break;
            }
            case 3: {
                const std::size_t f = pick(6), l = f + pick(6 - f);
                ASSERT_TRUE(
                    TavVector_TavStringInsertRange(&v, pos, other.begin + f, other.begin + l));
                model.insert(model.begin() + i, otherModel.begin() + f, otherModel.begin() + l);
                break;
            }
            case 4: {
                const std::size_t l = i + pick(model.size() - i) / 2;
                ASSERT_EQ(TavVector_TavStringEraseRange(&v, pos, TavVector_TavStringBegin(&v) + l),
                          pos);
                model.erase(model.begin() + i, model.begin() + l);
                break;
            }
            case 5:
                if (i < model.size()) {
                    ASSERT_EQ(TavVector_TavStringErase(&v, pos), pos);
                    model.erase(model.begin() + i);
                }
                break;
            case 6: {
                const std::size_t n = pick(model.size() + 3);
                ASSERT_TRUE(TavVector_TavStringResize(&v, n, &t.s));
                model.resize(n, TavStringCStr(&t.s));
                break;
            }
        }
        ASSERT_EQ(Texts(&v), model) << "step " << step;
        ASSERT_LE(TavVector_TavStringSize(&v), TavVector_TavStringCapacity(&v));
        if (model.size() > 40) {
            TavVector_TavStringClear(&v);
            model.clear();
        }
    }
    ASSERT_EQ(TavVector_TavStringAssign(&other, &v), &other);
    EXPECT_TRUE(TavVector_TavStringEqual(&other, &v));
    EXPECT_EQ(TavVector_TavStringEraseRange(&v, v.begin, v.end), v.begin);
    EXPECT_TRUE(TavVector_TavStringEmpty(&v));
    TavVector_TavStringDestruct(&v);
    TavVector_TavStringDestruct(&other);
}

// Every reallocating operation either succeeds or leaves the elements as they
// were and returns every byte it took. The buffer stays too, except where
// growth comes before the copy of the new element (PushBack, Resize): the
// grown buffer is then kept.
TEST(VectorFailures, ReallocationsLeaveVectorUnchanged) {
    CountingAllocator a;
    Str t("new element", a);
    SV v;
    MakeSV(&v, a, 4, 4);
    const std::vector<std::string> before = Texts(&v);
    struct Case {
        std::function<bool(SV*)> op;
        TavSizeT keptCapacity;
    };
    const Case cases[] = {
        {[](SV* x) { return TavVector_TavStringReserve(x, 9) != 0; }, 4},
        {[&](SV* x) { return TavVector_TavStringPushBack(x, &t.s) != 0; }, 8},
        {[&](SV* x) { return TavVector_TavStringResize(x, 5, &t.s) != 0; }, 9},
        {[&](SV* x) { return TavVector_TavStringInsert(x, x->begin + 1, &t.s) != nullptr; }, 4},
        {[&](SV* x) { return TavVector_TavStringInsertN(x, x->begin + 2, 3, &t.s) != 0; }, 4},
        {[&](SV* x) { return TavVector_TavStringInsertRange(x, x->begin, &t.s, &t.s + 1) != 0; },
         4},
    };
    for (const Case& c : cases) {
        SV x;
        ASSERT_EQ(TavVector_TavStringConstructCopy(&x, &v), &x);
        const TavString* buffer = x.begin;
        const std::size_t live = a.liveBytes();
        std::size_t points = SweepAllocationFailures(a, [&](std::size_t) {
            if (c.op(&x)) return;
            EXPECT_EQ(Texts(&x), before);
            if (x.begin == buffer) {
                EXPECT_EQ(a.liveBytes(), live);
            } else {
                EXPECT_EQ(TavVector_TavStringCapacity(&x), c.keptCapacity);
            }
        });
        EXPECT_GE(points, 2u);
        TavVector_TavStringDestruct(&x);
    }
    TavVector_TavStringDestruct(&v);
}

TEST(VectorFailures, ConstructorsHoldNothingAfterFailure) {
    CountingAllocator a;
    SV src;
    MakeSV(&src, a, 3, 5);
    Str t("fill text", a);
    const std::size_t live = a.liveBlocks();
    auto sweep = [&](auto construct) {
        SweepAllocationFailures(a, [&](std::size_t) {
            SV x;
            if (construct(&x) == nullptr) {
                EXPECT_EQ(a.liveBlocks(), live);
                return;
            }
            EXPECT_EQ(TavVector_TavStringCapacity(&x), 3u);
            TavVector_TavStringDestruct(&x);
        });
    };
    sweep([&](SV* x) { return TavVector_TavStringConstructCopy(x, &src); });
    sweep([&](SV* x) { return TavVector_TavStringConstructN(x, 3, &t.s, a); });
    sweep([&](SV* x) { return TavVector_TavStringConstructRange(x, src.begin, src.end, a); });
    TavVector_TavStringDestruct(&src);
}

// Setup inside a sweep attempt runs disarmed; the k-th failure is armed
// again just before the operation under test.
TEST(VectorFailures, AssignThatMustGrow) {
    CountingAllocator a;
    SV y;
    MakeSV(&y, a, 3, 3, "y");
    const std::vector<std::string> want = Texts(&y);
    SweepAllocationFailures(a, [&](std::size_t k) {
        a.FailAt(0);
        SV x;
        MakeSV(&x, a, 2, 2);
        a.FailAt(k);
        const bool ok = TavVector_TavStringAssign(&x, &y) != nullptr;
        const std::vector<std::string> got = Texts(&x);
        if (ok) {
            EXPECT_EQ(got, want);
        } else if (k == 1) {  // the new buffer: x is left empty with none
            EXPECT_EQ(x.begin, nullptr);
            EXPECT_EQ(TavVector_TavStringCapacity(&x), 0u);
        } else {  // an element copy: x keeps the copies made
            EXPECT_EQ(TavVector_TavStringCapacity(&x), 3u);
            EXPECT_EQ(got, std::vector<std::string>(want.begin(), want.begin() + (k - 2)));
        }
        TavVector_TavStringDestruct(&x);
        EXPECT_EQ(a.liveBlocks(), 4u);  // y's buffer and strings
    });
    TavVector_TavStringDestruct(&y);
}

// L (x, three strings) is copied into a buffer from S's allocator, then S's
// one element into x's own buffer; strings are copied with their own
// allocator, which is a.
TEST(VectorFailures, SwapAcrossAllocators) {
    CountingAllocator a, b;
    for (CountingAllocator* failing : {&a, &b}) {
        SweepAllocationFailures(*failing, [&](std::size_t k) {
            failing->FailAt(0);
            SV x, y;
            MakeSV(&x, a, 3, 4, "x");
            MakeSV(&y, b, 0, 0);
            Str s("y0", a);
            ASSERT_TRUE(TavVector_TavStringPushBack(&y, &s.s));
            const std::vector<std::string> oldX = Texts(&x), oldY = Texts(&y);
            failing->FailAt(k);
            if (TavVector_TavStringSwap(&x, &y)) {
                EXPECT_EQ(Texts(&x), oldY);
                EXPECT_EQ(Texts(&y), oldX);
                EXPECT_EQ(TavVector_TavStringCapacity(&x), 4u);
                EXPECT_EQ(TavVector_TavStringCapacity(&y), 3u);
            } else {
                // Either nothing moved, or x gave up its elements for the
                // copies of y's made before the failure (none here).
                EXPECT_EQ(Texts(&y), oldY);
                EXPECT_TRUE(Texts(&x) == oldX || Texts(&x).empty());
            }
            TavVector_TavStringDestruct(&x);
            TavVector_TavStringDestruct(&y);
        });
        EXPECT_EQ(a.liveBlocks(), 0u);
        EXPECT_EQ(b.liveBlocks(), 0u);
    }
}

// ---- values: assignments that are refused --------------------------------

using VV = TavVector_TavPropertyValue;

void MakeInts(VV* v, TavAllocator* a, int n, TavSizeT capacity, TavBool settable) {
    TavVector_TavPropertyValueConstructDefault(v, a);
    ASSERT_TRUE(TavVector_TavPropertyValueReserve(v, capacity));
    for (int i = 0; i < n; ++i) {
        TavPropertyValue value;
        TavPropertyValueConstructInt(&value, i, settable);
        ASSERT_TRUE(TavVector_TavPropertyValuePushBack(v, &value));
        TavPropertyValueDestruct(&value);
    }
}

std::vector<int> Ints(const VV* v) {
    std::vector<int> out;
    for (const TavPropertyValue* p = v->begin; p != v->end; ++p)
        out.push_back(*TavPropertyValueGetInt(p));
    return out;
}

// In place, a non-settable element refuses the shift; a reallocation only
// copies, so the same insertion into a full vector succeeds.
TEST(ValueVector, InsertBeforeNonSettableElements) {
    CountingAllocator a;
    TavPropertyValue nine;
    TavPropertyValueConstructInt(&nine, 9, TAV_FALSE);
    VV v;
    MakeInts(&v, a, 3, 4, TAV_FALSE);
    EXPECT_EQ(TavVector_TavPropertyValueInsert(&v, v.begin, &nine), nullptr);
    EXPECT_EQ(Ints(&v), (std::vector<int>{0, 1, 2, 2}));
    EXPECT_TRUE(TavVector_TavPropertyValueInsertN(&v, v.begin, 0, &nine));  // nothing to shift
    TavPropertyValue* pos = TavVector_TavPropertyValueInsert(&v, v.begin, &nine);  // full
    EXPECT_EQ(pos, v.begin);
    EXPECT_EQ(TavVector_TavPropertyValueCapacity(&v), 8u);
    EXPECT_EQ(Ints(&v), (std::vector<int>{9, 0, 1, 2, 2}));
    TavVector_TavPropertyValueDestruct(&v);
    MakeInts(&v, a, 2, 3, TAV_FALSE);
    EXPECT_FALSE(TavVector_TavPropertyValueInsertRange(&v, v.begin, &nine, &nine + 1));
    EXPECT_EQ(Ints(&v), (std::vector<int>{0, 1, 1}));
    TavVector_TavPropertyValueDestruct(&v);
    TavPropertyValueDestruct(&nine);
}

TEST(ValueVector, EraseOfNonSettableElements) {
    CountingAllocator a;
    VV v;
    MakeInts(&v, a, 3, 3, TAV_FALSE);
    TavPropertyValue* next = TavVector_TavPropertyValueErase(&v, v.end - 1);
    EXPECT_EQ(next, v.end);
    EXPECT_EQ(Ints(&v), (std::vector<int>{0, 1}));
    EXPECT_EQ(TavVector_TavPropertyValueErase(&v, v.begin), nullptr);
    EXPECT_EQ(TavVector_TavPropertyValueSize(&v), 0u);  // the refused element left the vector
    TavVector_TavPropertyValueDestruct(&v);
    MakeInts(&v, a, 4, 4, TAV_FALSE);
    EXPECT_EQ(TavVector_TavPropertyValueEraseRange(&v, v.begin + 1, v.begin + 2), nullptr);
    EXPECT_EQ(Ints(&v), (std::vector<int>{0}));
    TavVector_TavPropertyValueDestruct(&v);
}

TEST(ValueVector, EqualAndAssign) {
    CountingAllocator a;
    VV x, y, fixed;
    MakeInts(&x, a, 3, 3, TAV_TRUE);
    MakeInts(&y, a, 2, 2, TAV_FALSE);  // settable takes no part in equality
    EXPECT_FALSE(TavVector_TavPropertyValueEqual(&x, &y));
    ASSERT_TRUE(TavVector_TavPropertyValueResize(&y, 3, TavVector_TavPropertyValueAtConst(&x, 2)));
    EXPECT_TRUE(TavVector_TavPropertyValueEqual(&x, &y));
    *const_cast<TavInt*>(TavPropertyValueGetInt(x.begin)) = 7;
    EXPECT_FALSE(TavVector_TavPropertyValueEqual(&x, &y));
    MakeInts(&fixed, a, 3, 3, TAV_FALSE);
    EXPECT_EQ(TavVector_TavPropertyValueAssign(&fixed, &x), nullptr);  // fits: assignments refused
    EXPECT_EQ(Ints(&fixed), (std::vector<int>{0, 1, 2}));
    TavVector_TavPropertyValueClear(&x);
    TavVector_TavPropertyValueClear(&y);
    EXPECT_TRUE(TavVector_TavPropertyValueEqual(&x, &y));
    EXPECT_EQ(TavVector_TavPropertyValueAssign(&x, &fixed), &x);  // copies only
    EXPECT_EQ(Ints(&x), (std::vector<int>{0, 1, 2}));
    for (VV* v : {&x, &y, &fixed}) TavVector_TavPropertyValueDestruct(v);
}

// Wrapped objects log their copies and destructions, which shows the order
// in which a reallocation copies and destroys elements.
std::string wrapLog;
void* LogCopy(void* dst, const void* src) {
    wrapLog += "c" + std::to_string(*static_cast<const int*>(src)) + " ";
    return std::memcpy(dst, src, sizeof(int));
}
void LogDestruct(void* obj) { wrapLog += "d" + std::to_string(*static_cast<int*>(obj)) + " "; }
void* PlainAssign(void* dst, const void* src) { return std::memcpy(dst, src, sizeof(int)); }
TavBool SameInt(const void* x, const void* y) { return std::memcmp(x, y, sizeof(int)) == 0; }
const TavPropertyValueCallbacks kLogging = {&LogCopy, &LogDestruct, &PlainAssign, &SameInt};

TEST(ValueVector, ReallocationCopiesInOrderAndDestroysBackwards) {
    TavAllocator* a = TavAllocatorGetDefault();
    TavPropertyValue w[4];
    const int ids[4] = {0, 1, 2, 9};
    for (int i = 0; i < 4; ++i)
        ASSERT_TRUE(TavPropertyValueConstructWrapper(&w[i], &ids[i], sizeof(int), &kLogging, "int",
                                                     TAV_TRUE, a));
    VV v;
    TavVector_TavPropertyValueConstructRange(&v, w, w + 3, a);  // full: capacity 3
    wrapLog.clear();
    ASSERT_NE(TavVector_TavPropertyValueInsert(&v, v.begin + 1, &w[3]), nullptr);
    EXPECT_EQ(wrapLog, "c0 c9 c1 c2 d2 d1 d0 ");
    wrapLog.clear();
    TavVector_TavPropertyValueDestruct(&v);
    EXPECT_EQ(wrapLog, "d2 d1 d9 d0 ");
    for (TavPropertyValue& value : w) TavPropertyValueDestruct(&value);
}

// ---- stack of map positions ----------------------------------------------

using Stack = TavStack_TavMap_TavString__TavPropertyValueIterator;
#define STF(op) TavStack_TavMap_TavString__TavPropertyValueIterator##op

TEST(PositionStack, PushPopTopClear) {
    CountingAllocator a;
    Stack s;
    STF(ConstructDefault)(&s, a);
    EXPECT_EQ(STF(Size)(&s), 0u);
    EXPECT_EQ(s.v.begin, nullptr);
    for (int i = 0; i < 3; ++i) {
        Pos p = P(i);
        ASSERT_TRUE(STF(Push)(&s, &p));
        EXPECT_EQ(PVF(Capacity)(&s.v), i == 0 ? 2u : (i == 1 ? 2u : 4u));
    }
    EXPECT_EQ(*STF(Top)(&s), P(2));
    STF(Pop)(&s);
    EXPECT_EQ(*STF(Top)(&s), P(1));
    a.ResetCounters();
    Pos p = P(5);
    ASSERT_TRUE(STF(Push)(&s, &p));
    ASSERT_TRUE(STF(Push)(&s, &p));
    EXPECT_EQ(a.attempts(), 0u);  // the freed slot is reused
    a.FailAt(1);                  // a full stack that cannot grow stays as it was
    EXPECT_FALSE(STF(Push)(&s, &p));
    a.FailAt(0);
    EXPECT_EQ(Ids(&s.v), (std::vector<int>{0, 1, 5, 5}));
    STF(Clear)(&s);
    EXPECT_EQ(STF(Size)(&s), 0u);
    EXPECT_EQ(PVF(Capacity)(&s.v), 4u);
    EXPECT_TRUE(STF(Reserve)(&s, 6));
    EXPECT_EQ(PVF(Capacity)(&s.v), 6u);
    STF(Destruct)(&s);
}

}  // namespace
