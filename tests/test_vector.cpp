// Vectors: exact growth, positions, edits against a model and the state failures leave. Map
// positions always copy, strings need memory to copy, values not settable refuse assignment.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "CountingAllocator.hpp"

namespace {

using PV = TavVector_TavMap_TavString__TavPropertyValueIterator;
using SV = TavVector_TavString;
using VV = TavVector_TavPropertyValue;
using Pos = TavMap_TavString__TavPropertyValueIterator;
using Texts = std::vector<std::string>;
#define PVF(op) TavVector_TavMap_TavString__TavPropertyValueIterator##op
#define SVF(op) TavVector_TavString##op
#define VVF(op) TavVector_TavPropertyValue##op
#define STF(op) TavStack_TavMap_TavString__TavPropertyValueIterator##op

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
std::string Text(const TavString& s) { return TavStringCStr(&s); }
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

// Position type T over positions 0..3: `first` designates `front`, steps move by `dir`.
#define EXPECT_POSITIONS(T, first, last, front, dir)                                               \
    [](PVF(T) f, PVF(T) l) {                                                                       \
        PVF(T) second = PVF(T##Add)(&f, 1);                                                        \
        EXPECT_EQ(PVF(T##Subtract)(&l, &f), 4);                                                    \
        EXPECT_EQ(*PVF(T##ContentOf)(&f), *P(front));                                              \
        EXPECT_EQ(*PVF(T##ContentOf)(&second), *P(front + dir));                                   \
        EXPECT_EQ(*PVF(T##At)(&f, 3), *P(front + 3 * dir));                                        \
    }(first, last)

// Reverse positions hold a base and designate the element before it. The stack of
// positions grows like PushBack, reuses the slot a Pop frees and keeps it on Clear.
TEST(PositionVector, ArithmeticOfEveryPositionTypeAndTheStack) {
    tavtest::CountingAllocator a;
    TavStack_TavMap_TavString__TavPropertyValueIterator s;
    STF(ConstructDefault)(&s, a);
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(STF(Push)(&s, P(i)));
    EXPECT_EQ(a.allocations(), 2u);  // capacity 2, then 4
    EXPECT_EQ(*STF(Top)(&s), *P(2));
    STF(Pop)(&s);
    for (int i = 2; i < 4; ++i) ASSERT_TRUE(STF(Push)(&s, P(i)));
    EXPECT_EQ(a.allocations(), 2u);

    PV* v = &s.v;  // positions 0..3
    EXPECT_POSITIONS(Iterator, PVF(Begin)(v), PVF(End)(v), 0, 1);
    EXPECT_POSITIONS(ConstIterator, PVF(BeginConst)(v), PVF(EndConst)(v), 0, 1);
    EXPECT_POSITIONS(ReverseIterator, PVF(RBegin)(v), PVF(REnd)(v), 3, -1);
    EXPECT_POSITIONS(ConstReverseIterator, PVF(RBeginConst)(v), PVF(REndConst)(v), 3, -1);
    EXPECT_EQ(PVF(MaxSize)(v), 536870911u);
    STF(Clear)(&s);
    EXPECT_EQ(STF(Size)(&s), 0u);
    EXPECT_EQ(PVF(Capacity)(v), 4u);
    STF(Destruct)(&s);
}

struct Str {
    TavString s;
    Str(const std::string& text, TavAllocator* a) { TavStringConstructCStr(&s, text.c_str(), a); }
    ~Str() { TavStringDestruct(&s); }
    const TavString* get() const { return &s; }
};

// The strings own buffers from `a`, so every copy of them allocates from it.
void MakeSV(SV* v, TavAllocator* a, const Texts& texts, TavSizeT capacity) {
    SVF(ConstructDefault)(v, a);
    ASSERT_TRUE(SVF(Reserve)(v, capacity));
    for (const std::string& text : texts) ASSERT_TRUE(SVF(PushBack)(v, Str(text, a).get()));
}

// Random edits in place against a model: wrong shifts (more or fewer elements after pos than
// inserted, empty ranges), and slots copied where they should be assigned or the reverse.
TEST(VectorModel, RandomEditsMatchModel) {
    tavtest::CountingAllocator a;
    std::mt19937 rng(12345);
    SV v, source;
    MakeSV(&v, a, {}, 0);
    MakeSV(&source, a, {"o0", "o1", "o2", "o3", "o4", "o5"}, 6);
    Texts model, texts = Contents(&source, Text);
    for (int step = 0; step < 3000; ++step) {
        const std::size_t i = rng() % (model.size() + 1), f = rng() % 3, n = rng() % 4;
        const std::size_t l = i + rng() % (model.size() - i + 1) / 2;
        ASSERT_EQ(SVF(EraseRange)(&v, v.begin + i, v.begin + l), v.begin + i);
        model.erase(model.begin() + i, model.begin() + l);
        ASSERT_TRUE(SVF(InsertRange)(&v, v.begin + i, source.begin + f, source.begin + f + n));
        model.insert(model.begin() + i, texts.begin() + f, texts.begin() + f + n);
        ASSERT_EQ(Contents(&v, Text), model) << "step " << step;
    }
    for (SV* x : {&v, &source}) SVF(Destruct)(x);
}

// The k-th allocation of a or b fails: x holds four strings from a in four slots, y five from
// b. A failure leaves both as they were, or as `left` gives; x's capacity may have grown.
TEST(VectorFailures, EachFailureLeavesItsState) {
    tavtest::CountingAllocator a, b;
    Str t("new element", a);
    const Texts oldX = {"x0", "x1", "x2", "x3"}, oldY = {"y0", "y1", "y2", "y3", "y4"};
    auto head = [](const Texts& v, std::size_t n) { return Texts(v.begin(), v.begin() + n); };
    using State = std::pair<Texts, Texts>;
    using Left = std::function<State(bool byA, std::size_t k)>;
    struct Case { std::function<bool(SV*, SV*)> op; TavSizeT grown; Left left; };
    const Case cases[] = {
        {[](SV* x, SV*) { return SVF(Reserve)(x, 9) != 0; }, 4, {}},
        {[&](SV* x, SV*) { return SVF(PushBack)(x, t.get()) != 0; }, 8, {}},
        {[&](SV* x, SV*) { return SVF(Resize)(x, 5, t.get()) != 0; }, 9, {}},
        {[&](SV* x, SV*) { return SVF(Insert)(x, x->begin + 1, t.get()) != nullptr; }, 4, {}},
        {[&](SV* x, SV*) { return SVF(InsertN)(x, x->begin + 2, 3, t.get()) != 0; }, 4, {}},
        {[](SV* x, SV* y) { return SVF(InsertRange)(x, x->begin, y->begin, y->end) != 0; }, 4, {}},
        {[](SV* x, SV*) { SV z; return SVF(ConstructCopy)(&z, x) && (SVF(Destruct)(&z), true); },
         4, {}},
        // Without its new buffer x is left empty with none; else it keeps the copies made.
        {[](SV* x, SV* y) { return SVF(Assign)(x, y) != nullptr; }, 5,
         [&](bool byA, auto k) { return State(byA ? Texts{} : head(oldY, k - 1), oldY); }},
        // y goes to a new buffer from a, then x's strings into y's, which keeps those made.
        {[](SV* x, SV* y) { return SVF(Swap)(x, y) != 0; }, 4,
         [&](bool byA, auto k) { return State(oldX, byA && k > 1 ? head(oldX, k - 2) : oldY); }},
    };
    for (const Case& c : cases) {
        for (tavtest::CountingAllocator* f : {&a, &b}) {
            tavtest::SweepAllocationFailures(*f, [&](std::size_t k) {
                f->FailAt(0);
                SV x, y;
                MakeSV(&x, a, oldX, 4);
                MakeSV(&y, b, oldY, 5);
                f->FailAt(k);
                const bool ok = c.op(&x, &y);
                EXPECT_EQ(ok, !f->Failed());
                if (!ok) {
                    const State want = c.left ? c.left(f == &a, k) : State(oldX, oldY);
                    EXPECT_EQ(State(Contents(&x, Text), Contents(&y, Text)), want);
                    EXPECT_LE(SVF(Capacity)(&x), c.grown);
                }
                for (SV* z : {&x, &y}) SVF(Destruct)(z);
            });
        }
    }
}

// Integer values 0, 1, 2 that are not settable, in `capacity` slots.
void MakeInts(VV* v, TavAllocator* a, TavSizeT capacity) {
    TavPropertyValue ints[3];
    for (int i = 0; i < 3; ++i) TavPropertyValueConstructInt(&ints[i], i, TAV_FALSE);
    ASSERT_TRUE(VVF(ConstructRange)(v, ints, ints + 3, a) && VVF(Reserve)(v, capacity));
    for (TavPropertyValue& value : ints) TavPropertyValueDestruct(&value);
}

// Shifts inside the buffer assign, which values that are not settable refuse; a
// reallocation only copies, so a full vector takes the insertion.
TEST(ValueVector, NonSettableElementsRefuseShifts) {
    tavtest::CountingAllocator a;
    VV v, w;
    MakeInts(&w, a, 3);
    MakeInts(&v, a, 4);
    EXPECT_TRUE(VVF(IteratorIsExceptional)(VVF(Insert)(&v, v.begin, w.begin)));
    EXPECT_EQ(Contents(&v, Int), (std::vector<int>{0, 1, 2, 2}));
    TavPropertyValue* pos = VVF(Insert)(&v, v.begin, w.begin + 2);
    EXPECT_EQ(pos, v.begin);
    EXPECT_EQ(Contents(&v, Int), (std::vector<int>{2, 0, 1, 2, 2}));
    EXPECT_TRUE(VVF(IteratorIsExceptional)(VVF(Erase)(&w, w.begin)));
    EXPECT_EQ(VVF(Size)(&w), 0u);  // the refused element and the rest left the vector

    EXPECT_EQ(VVF(MaxSize)(&v), 48806446u);
    TavVector_TavPropertyListener listeners{};
    EXPECT_EQ(TavVector_TavPropertyListenerMaxSize(&listeners), 67108863u);
    for (VV* x : {&v, &w}) VVF(Destruct)(x);
}

}  // namespace
