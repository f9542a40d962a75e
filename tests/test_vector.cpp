// Vectors: exact growth, reverse positions, edits and the state failures leave. Every
// vector runs one algorithm: vectors of values stand for all (copies need memory, values not
// settable refuse assignment).
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "CountingAllocator.hpp"

namespace {

using PV = TavVector_TavMap_TavString__TavPropertyValueIterator;
using VV = TavVector_TavPropertyValue;
using Pos = TavMap_TavString__TavPropertyValueIterator;
using Items = std::vector<int>;
#define PVF(op) TavVector_TavMap_TavString__TavPropertyValueIterator##op
#define VVF(op) TavVector_TavPropertyValue##op

// Position i, at a fixed address in one array, so that P(i)..P(j) is a range; never followed.
const Pos* P(int i) {
    static TavMap_TavString__TavPropertyValue_Node nodes[16];
    static Pos positions[16];
    for (int j = 0; j < 16; ++j) positions[j] = &nodes[j];
    return &positions[i];
}

template <class V, class Read>
auto Contents(const V* v, Read read) {
    std::vector<decltype(read(*v->begin))> out;
    for (auto* p = v->begin; p != v->end; ++p) out.push_back(read(*p));
    return out;
}
int Int(const TavPropertyValue& v) { return static_cast<int>(*TavPropertyValueGetInt(&v)); }

// Each growth rule, read from a's bytes: the old buffer went back and the
// new one holds exactly the capacity the rule gives, taken from x's allocator.
TEST(VectorGrowth, EachRuleAllocatesItsExactCapacity) {
    tavtest::CountingAllocator a, b;
    PV five;
    ASSERT_TRUE(PVF(ConstructRange)(&five, P(0), P(5), b));
    auto push = [](PV* x) { return PVF(PushBack)(x, P(9)) != 0; };
    auto resize5 = [](PV* x) { return PVF(Resize)(x, 5, P(9)) != 0; };  // to size plus n
    struct Case { int size; TavSizeT capacity; std::function<bool(PV*)> op; TavSizeT grown; };
    const Case cases[] = {
        {0, 0, push, 2}, {2, 2, push, 4}, {4, 4, push, 8}, {8, 8, push, 16},
        {3, 4, resize5, 8}, {0, 0, resize5, 5},
        {3, 4, [](PV* x) { return PVF(Reserve)(x, 9) != 0; }, 9},
        {4, 4, [](PV* x) { return PVF(Insert)(x, x->begin + 1, P(9)) != nullptr; }, 8},
        {4, 4, [](PV* x) { return PVF(InsertN)(x, x->begin + 2, 1, P(9)) != 0; }, 8},
        {4, 4, [](PV* x) { return PVF(InsertN)(x, x->begin + 2, 10, P(9)) != 0; }, 14},
        {0, 0, [](PV* x) { return PVF(InsertN)(x, x->begin, 3, P(9)) != 0; }, 6},
        {3, 4, [](PV* x) { return PVF(Reserve)(x, 4) && PVF(Resize)(x, 1, P(9)); }, 4},
        {3, 8, [&](PV* x) { return PVF(Assign)(x, &five) != nullptr; }, 8},
        {3, 4, [&](PV* x) { return PVF(Assign)(x, &five) && PVF(Size)(x) == 5; }, 5},
        // Across allocators the smaller side gets a buffer of the larger's size.
        {3, 8, [&](PV* x) { return PVF(Swap)(x, &five) && PVF(Size)(&five) == 3; }, 5},
        // A copy is exact, from x's allocator; with one allocator Swap exchanges the buffers.
        {3, 8, [](PV* x) {
             PV c;
             return PVF(ConstructCopy)(&c, x) && PVF(Swap)(x, &c) && (PVF(Destruct)(&c), true);
         }, 3},
    };
    for (const Case& c : cases) {
        PV v;  // positions 0..size-1 in `capacity` slots
        ASSERT_TRUE(PVF(ConstructRange)(&v, P(0), P(c.size), a) && PVF(Reserve)(&v, c.capacity));
        a.ResetCounters();
        ASSERT_TRUE(c.op(&v));
        EXPECT_EQ(PVF(Capacity)(&v), c.grown);
        EXPECT_EQ(a.allocations(), c.grown == c.capacity ? 0u : 1u);
        EXPECT_EQ(a.liveBytes(), c.grown * sizeof(Pos));
        PVF(Destruct)(&v);
    }
    PVF(Destruct)(&five);
}

// Reverse positions hold a base and designate the element before it.
TEST(PositionVector, ReversePositionsDesignateTheElementBeforeTheirBase) {
    tavtest::CountingAllocator a;
    PV v;
    ASSERT_TRUE(PVF(ConstructRange)(&v, P(0), P(4), a));
    PVF(ConstReverseIterator) f = PVF(RBeginConst)(&v), l = PVF(REndConst)(&v);
    EXPECT_EQ(PVF(ConstReverseIteratorSubtract)(&l, &f), 4);
    EXPECT_EQ(*PVF(ConstReverseIteratorContentOf)(&f), *P(3));
    EXPECT_EQ(*PVF(ConstReverseIteratorAt)(&f, 3), *P(0));
    PVF(Destruct)(&v);
}

// Shifts inside the buffer assign, which values that are not settable refuse; a
// reallocation only copies, so a full vector takes the insertion.
TEST(ValueVector, NonSettableElementsRefuseShifts) {
    tavtest::CountingAllocator a;
    TavPropertyValue ints[3];
    for (int i = 0; i < 3; ++i) TavPropertyValueConstructInt(&ints[i], i, TAV_FALSE);
    VV v, w;
    ASSERT_TRUE(VVF(ConstructRange)(&w, ints, ints + 3, a));
    ASSERT_TRUE(VVF(ConstructRange)(&v, ints, ints + 3, a) && VVF(Reserve)(&v, 4));
    EXPECT_TRUE(VVF(IteratorIsExceptional)(VVF(Insert)(&v, v.begin, w.begin)));
    EXPECT_EQ(Contents(&v, Int), (Items{0, 1, 2, 2}));
    TavPropertyValue* pos = VVF(Insert)(&v, v.begin, w.begin + 2);
    EXPECT_EQ(pos, v.begin);
    EXPECT_EQ(Contents(&v, Int), (Items{2, 0, 1, 2, 2}));
    EXPECT_TRUE(VVF(IteratorIsExceptional)(VVF(Erase)(&w, w.begin)));
    EXPECT_EQ(VVF(Size)(&w), 0u);  // the refused element and the rest left the vector
    for (VV* x : {&v, &w}) VVF(Destruct)(x);
}

// Settable string values standing for numbers, destroyed with the holder.
std::string Label(int i) { return "element number " + std::to_string(i); }
int Number(const TavPropertyValue& e) {
    return std::stoi(TavStringCStr(&e.u.s) + Label(0).size() - 1);
}
struct Made {
    std::vector<TavPropertyValue> e;
    Made(const Items& items, TavAllocator* a) : e(items.size()) {
        for (std::size_t i = 0; i < items.size(); ++i)
            TavPropertyValueConstructStringCStr(&e[i], Label(items[i]).c_str(), TAV_TRUE, a);
    }
    ~Made() {
        for (TavPropertyValue& x : e) TavPropertyValueDestruct(&x);
    }
    const TavPropertyValue* begin() const { return e.data(); }
    const TavPropertyValue* end() const { return e.data() + e.size(); }
};
void MakeVV(VV* v, const Items& items, TavSizeT capacity, TavAllocator* a) {
    const Made made(items, a);
    ASSERT_EQ(VVF(ConstructRange)(v, made.begin(), made.end(), a), v);
    ASSERT_TRUE(VVF(Reserve)(v, capacity));
}

// Each edit gives the same elements in place (spare room) and by regrowing (none), shifting
// more or fewer elements than it inserts; a copy is exact and owns its elements.
TEST(ValueVector, EditsInPlaceAndByRegrowingGiveTheSameElements) {
    tavtest::CountingAllocator alloc;
    const Made nine({9}, alloc), more({7, 8}, alloc);
    const TavPropertyValue *e = nine.begin(), *m = more.begin();
    // clang-format off
    const std::tuple<std::function<TavPropertyValue*(VV*)>, int, Items> cases[] = {  // at, elements
        {[&](VV* x) { return VVF(Insert)(x, x->begin + 1, e); }, 1, {0, 9, 1, 2, 3}},
        {[&](VV* x) { return VVF(InsertN)(x, x->begin + 1, 4, e) ? x->begin : nullptr; }, 0,
         {0, 9, 9, 9, 9, 1, 2, 3}},
        {[&](VV* x) { return VVF(InsertN)(x, x->begin + 3, 1, e) ? x->begin : nullptr; }, 0,
         {0, 1, 2, 9, 3}},
        {[&](VV* x) { return VVF(InsertRange)(x, x->begin + 2, m, m + 2) ? x->begin : nullptr; }, 0,
         {0, 1, 7, 8, 2, 3}},
        {[](VV* x) { return VVF(EraseRange)(x, x->begin + 1, x->begin + 3); }, 1, {0, 3}},
        {[](VV* x) { return VVF(Erase)(x, x->begin + 3); }, 3, {0, 1, 2}},
        {[&](VV* x) { return VVF(Resize)(x, 6, e) ? x->begin : nullptr; }, 0, {0, 1, 2, 3, 9, 9}},
        {[&](VV* x) { return VVF(Resize)(x, 1, e) ? x->begin : nullptr; }, 0, {0}}};
    // clang-format on
    for (const auto& [op, at, expected] : cases) {
        for (const TavSizeT capacity : {4, 16}) {
            VV x, copy;
            MakeVV(&x, {0, 1, 2, 3}, capacity, alloc);
            const TavPropertyValue* position = op(&x);
            EXPECT_EQ(position - x.begin, at) << "the position returned";
            ASSERT_EQ(VVF(ConstructCopy)(&copy, &x), &copy);
            EXPECT_EQ(VVF(Capacity)(&copy), expected.size()) << "a copy is exact";
            VVF(Destruct)(&x);
            EXPECT_EQ(Contents(&copy, Number), expected) << capacity;
            VVF(Destruct)(&copy);
        }
    }
}

// The k-th allocation of a or b fails, for every k: x holds four values from a in four slots,
// y five from b. The operation reports it; x and y are left as `left` gives (mostly x's
// elements as they were, its capacity grown at most to `grown`) and every block comes back.
TEST(ValueVector, AFailedOperationLeavesTheStateItsRuleGives) {
    tavtest::CountingAllocator a, b;
    const Items oldX = {0, 1, 2, 3}, oldY = {10, 11, 12, 13, 14};
    const Made t({9}, a);
    const TavPropertyValue* e = t.begin();
    using State = std::pair<Items, Items>;
    using Left = std::function<State(bool byA, std::size_t k)>;
    auto head = [](const Items& v, std::size_t n) { return Items(v.begin(), v.begin() + n); };
    const Left same = [&](bool, std::size_t) { return State(oldX, oldY); };
    const std::tuple<std::function<bool(VV*, VV*)>, TavSizeT, Left> cases[] = {
        {[](VV* x, VV*) { return VVF(Reserve)(x, 9) != 0; }, 4, same},
        {[&](VV* x, VV*) { return VVF(PushBack)(x, e) != 0; }, 8, same},
        {[&](VV* x, VV*) { return VVF(Resize)(x, 5, e) != 0; }, 9, same},
        {[&](VV* x, VV*) { return VVF(Insert)(x, x->begin + 1, e) != nullptr; }, 4, same},
        {[&](VV* x, VV*) { return VVF(InsertN)(x, x->begin + 2, 3, e) != 0; }, 4, same},
        {[](VV* x, VV* y) { return VVF(InsertRange)(x, x->begin, y->begin, y->end) != 0; }, 4,
         same},
        {[](VV* x, VV*) {
             VV z;
             return VVF(ConstructCopy)(&z, x) && (VVF(Destruct)(&z), true);
         },
         4, same},
        // Across allocators, without its new buffer x is left empty with none; else it keeps
        // the copies made.
        {[](VV* x, VV* y) { return VVF(Assign)(x, y) != nullptr; }, 5,
         [&](bool byA, auto k) { return State(byA ? Items{} : head(oldY, k - 1), oldY); }},
        // y goes to a new buffer from a, then x's values into y's, which keeps those made.
        {[](VV* x, VV* y) { return VVF(Swap)(x, y) != 0; }, 4,
         [&](bool byA, auto k) { return State(oldX, byA && k > 1 ? head(oldX, k - 2) : oldY); }},
    };
    for (const auto& [op, grown, left] : cases) {
        std::size_t points = 0;
        for (tavtest::CountingAllocator* f : {&a, &b}) {
            points += tavtest::SweepAllocationFailures(*f, [&](std::size_t k) {
                f->FailAt(0);
                const std::size_t live = a.liveBlocks() + b.liveBlocks();
                VV x, y;
                MakeVV(&x, oldX, 4, a);
                MakeVV(&y, oldY, 5, b);
                f->FailAt(k);
                const bool ok = op(&x, &y);
                EXPECT_EQ(ok, !f->Failed()) << k;
                if (!ok) {
                    EXPECT_EQ(State(Contents(&x, Number), Contents(&y, Number)), left(f == &a, k))
                        << k;
                    EXPECT_LE(VVF(Capacity)(&x), grown) << k;
                }
                for (VV* z : {&x, &y}) VVF(Destruct)(z);
                EXPECT_EQ(a.liveBlocks() + b.liveBlocks(), live) << k;
            });
        }
        EXPECT_GE(points, 1u);
    }
}

}  // namespace
