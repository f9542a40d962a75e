// Vectors: exact growth, positions, edits against a model and the state failures leave. Map
// positions always copy, strings need memory to copy, values not settable refuse assignment.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <type_traits>
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

// Assign and Swap across allocators: the k-th allocation of a or b fails; x holds four
// strings from a in four slots, y five from b. A failure leaves both as `left` gives.
// (What a failure leaves for every other operation: Vectors.AFailedOperationLeaves...)
TEST(VectorFailures, AssignAndSwapAcrossAllocatorsKeepWhatWasCopied) {
    tavtest::CountingAllocator a, b;
    const Texts oldX = {"x0", "x1", "x2", "x3"}, oldY = {"y0", "y1", "y2", "y3", "y4"};
    auto head = [](const Texts& v, std::size_t n) { return Texts(v.begin(), v.begin() + n); };
    using State = std::pair<Texts, Texts>;
    using Left = std::function<State(bool byA, std::size_t k)>;
    struct Case { std::function<bool(SV*, SV*)> op; TavSizeT grown; Left left; };
    const Case cases[] = {
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
                    EXPECT_EQ(State(Contents(&x, Text), Contents(&y, Text)), c.left(f == &a, k));
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
    for (VV* x : {&v, &w}) VVF(Destruct)(x);
}

// ---- every exported vector, through the same algorithms -----------------------------------

// The container operations of vector V as static members of a traits struct: VECTOR_OPERATIONS
// makes Vec and ConstructN, ConstructRange, ConstructCopy, Destruct, Assign, Swap, Size, MaxSize,
// Capacity, PushBack, PopBack, Reserve, Resize, Clear, Insert, InsertN, InsertRange, Erase and
// EraseRange, each through VECTOR_OPERATION.
// clang-format off
#define VECTOR_OPERATION(V, op) static constexpr auto op = V##op;
#define VECTOR_OPERATIONS(V)                                                                      \
    using Vec = V;                                                                                \
    VECTOR_OPERATION(V, ConstructN) VECTOR_OPERATION(V, ConstructRange)                           \
    VECTOR_OPERATION(V, ConstructCopy) VECTOR_OPERATION(V, Destruct) VECTOR_OPERATION(V, Assign)  \
    VECTOR_OPERATION(V, Swap) VECTOR_OPERATION(V, Size) VECTOR_OPERATION(V, MaxSize)              \
    VECTOR_OPERATION(V, Capacity) VECTOR_OPERATION(V, PushBack) VECTOR_OPERATION(V, PopBack)      \
    VECTOR_OPERATION(V, Reserve) VECTOR_OPERATION(V, Resize) VECTOR_OPERATION(V, Clear)           \
    VECTOR_OPERATION(V, Insert) VECTOR_OPERATION(V, InsertN) VECTOR_OPERATION(V, InsertRange)     \
    VECTOR_OPERATION(V, Erase) VECTOR_OPERATION(V, EraseRange)
// clang-format on

// Each element stands for a number: Make(e, i, a) constructs the element for i (from a, when
// the type owns memory), Read gives the number back.
std::string Label(int i) { return "element number " + std::to_string(i); }
int Number(const TavString& s) { return std::stoi(Text(s).substr(Label(0).size() - 1)); }

struct Strings {
    VECTOR_OPERATIONS(TavVector_TavString)
    static void Make(TavString* e, int i, TavAllocator* a) {
        TavStringConstructCStr(e, Label(i).c_str(), a);
    }
    static void Unmake(TavString* e) { TavStringDestruct(e); }
    static int Read(const TavString& e) { return Number(e); }
};
struct Values {  // settable strings: shifts assign them
    VECTOR_OPERATIONS(TavVector_TavPropertyValue)
    static void Make(TavPropertyValue* e, int i, TavAllocator* a) {
        TavPropertyValueConstructStringCStr(e, Label(i).c_str(), TAV_TRUE, a);
    }
    static void Unmake(TavPropertyValue* e) { TavPropertyValueDestruct(e); }
    static int Read(const TavPropertyValue& e) { return Number(e.u.s); }
};
struct Listeners {  // each named for its number
    VECTOR_OPERATIONS(TavVector_TavPropertyListener)
    static void Ignore(const TavPropertyListener*, TavProperties*, const TavString*,
                       const TavPropertyValue*, const TavPropertyValue*) {}
    static void Make(TavPropertyListener* e, int i, TavAllocator* a) {
        TavPropertyListenerConstructCStr(e, TAV_PROPERTYLISTENER_TRIGGER_Before, Label(i).c_str(),
                                         &Ignore, nullptr, a);
    }
    static void Unmake(TavPropertyListener* e) { TavPropertyListenerDestruct(e); }
    static int Read(const TavPropertyListener& e) {
        return Number(*TavPropertyListenerGetName(&e));
    }
};
struct Positions {  // own no memory: only the buffer can fail
    VECTOR_OPERATIONS(TavVector_TavMap_TavString__TavPropertyValueIterator)
    static void Make(Pos* e, int i, TavAllocator*) { *e = *P(i); }
    static void Unmake(Pos*) {}
    static int Read(const Pos& e) { return static_cast<int>(e - *P(0)); }
};

template <class Kind>
class Vectors : public ::testing::Test {
protected:
    using V = typename Kind::Vec;
    using T = std::remove_pointer_t<decltype(V{}.begin)>;
    using Items = std::vector<int>;

    // Elements made for numbers, destroyed with the holder.
    struct Made {
        std::vector<T> e;
        Made(const Items& items, TavAllocator* a) : e(items.size()) {
            for (std::size_t i = 0; i < items.size(); ++i) Kind::Make(&e[i], items[i], a);
        }
        ~Made() {
            for (T& x : e) Kind::Unmake(&x);
        }
        const T* begin() const { return e.data(); }
        const T* end() const { return e.data() + e.size(); }
    };

    void Make(V* v, const Items& items, TavSizeT capacity = 0) {
        const Made made(items, alloc);
        ASSERT_EQ(Kind::ConstructRange(v, made.begin(), made.end(), alloc), v);
        ASSERT_TRUE(Kind::Reserve(v, capacity));
    }
    static Items Read(const V* v) { return Contents(v, Kind::Read); }

    tavtest::CountingAllocator alloc;
};
using VectorKinds = ::testing::Types<Strings, Values, Listeners, Positions>;
TYPED_TEST_SUITE(Vectors, VectorKinds);

// Sizes count to 32 bits whatever the platform; copies are exact (capacity == size) and own
// their elements; Assign and Swap with one allocator reuse buffers, Swap exchanging them
// without a copy.
TYPED_TEST(Vectors, ConstructCopyAssignAndSwapHoldTheirOwnElements) {
    using K = TypeParam;
    typename TestFixture::V n, x, copy, shorter;
    {
        const typename TestFixture::Made seven({7}, this->alloc);
        ASSERT_EQ(K::ConstructN(&n, 3, seven.begin(), this->alloc), &n);
    }
    EXPECT_EQ(this->Read(&n), (std::vector<int>{7, 7, 7}));
    EXPECT_EQ(K::MaxSize(&n), 0xFFFFFFFFu / sizeof(*n.begin)) << "sizes count to 32 bits";
    this->Make(&x, {0, 1, 2, 3, 4}, 8);
    ASSERT_EQ(K::ConstructCopy(&copy, &x), &copy);
    EXPECT_EQ(K::Capacity(&copy), 5u);
    K::Destruct(&x);  // the copy does not lean on x's elements
    EXPECT_EQ(this->Read(&copy), (std::vector<int>{0, 1, 2, 3, 4}));

    this->Make(&shorter, {8, 9});
    ASSERT_EQ(K::Assign(&n, &copy), &n);  // grows
    EXPECT_EQ(this->Read(&n), this->Read(&copy));
    ASSERT_EQ(K::Assign(&n, &shorter), &n);  // shrinks in place
    EXPECT_EQ(this->Read(&n), (std::vector<int>{8, 9}));
    EXPECT_EQ(K::Capacity(&n), 5u);
    auto* buffer = n.begin;
    const std::size_t allocations = this->alloc.allocations();
    ASSERT_TRUE(K::Swap(&n, &copy));
    EXPECT_EQ(copy.begin, buffer);
    EXPECT_EQ(this->alloc.allocations(), allocations);
    EXPECT_EQ(this->Read(&n), (std::vector<int>{0, 1, 2, 3, 4}));
    EXPECT_EQ(this->Read(&copy), (std::vector<int>{8, 9}));
    for (auto* v : {&n, &copy, &shorter}) K::Destruct(v);
    EXPECT_EQ(this->alloc.liveBlocks(), 0u);
}

// Random edits against a model: shifts of more or fewer elements than inserted, empty
// ranges, pops, shrinking and growing resizes, and slots copied where they should be
// assigned or the reverse (which the allocator's balance shows).
TYPED_TEST(Vectors, RandomEditsMatchAModel) {
    using K = TypeParam;
    typename TestFixture::V v, source;
    this->Make(&v, {});
    this->Make(&source, {10, 11, 12, 13, 14, 15}, 6);
    const std::vector<int> sourceItems = this->Read(&source);
    const auto from = sourceItems.begin();
    std::vector<int> model;
    std::mt19937 rng(12345);
    for (int step = 0; step < 1500; ++step) {
        const std::size_t size = model.size(), i = rng() % (size + 1), n = rng() % 4;
        const std::size_t l = i + rng() % (size - i + 1) / 2, f = rng() % 3;
        const int mark = step % 10;  // positions have sixteen numbers
        const typename TestFixture::Made one({mark}, this->alloc);
        switch (rng() % 8) {
            case 0:
                ASSERT_TRUE(K::PushBack(&v, one.begin()));
                model.push_back(mark);
                break;
            case 1:
                if (size > 0) K::PopBack(&v), model.pop_back();
                break;
            case 2:
                ASSERT_EQ(K::Insert(&v, v.begin + i, one.begin()), v.begin + i);
                model.insert(model.begin() + i, mark);
                break;
            case 3:
                ASSERT_TRUE(K::InsertN(&v, v.begin + i, n, one.begin()));
                model.insert(model.begin() + i, n, mark);
                break;
            case 4:
                ASSERT_TRUE(K::InsertRange(&v, v.begin + i, source.begin + f, source.begin + f + n))
                    << step;
                model.insert(model.begin() + i, from + f, from + f + n);
                break;
            case 5:
                if (i == size) break;
                ASSERT_EQ(K::Erase(&v, v.begin + i), v.begin + i);
                model.erase(model.begin() + i);
                break;
            case 6:
                ASSERT_EQ(K::EraseRange(&v, v.begin + i, v.begin + l), v.begin + i);
                model.erase(model.begin() + i, model.begin() + l);
                break;
            default:
                ASSERT_TRUE(K::Resize(&v, (i + n) % 12, one.begin()));
                model.resize((i + n) % 12, mark);
        }
        ASSERT_EQ(this->Read(&v), model) << "step " << step;
        ASSERT_LE(K::Size(&v), K::Capacity(&v));
    }
    const TavSizeT capacity = K::Capacity(&v);
    K::Clear(&v);
    EXPECT_EQ(K::Size(&v), 0u);
    EXPECT_EQ(K::Capacity(&v), capacity);
    for (auto* x : {&v, &source}) K::Destruct(x);
    EXPECT_EQ(this->alloc.liveBlocks(), 0u);
}

// The k-th allocation fails, for every k: x holds four elements in four slots. The operation
// reports it, x keeps its elements in order (its capacity may have grown to `grown`) and
// every block comes back. Copies of y's elements come from x's allocator.
TYPED_TEST(Vectors, AFailedOperationLeavesTheElementsAsTheyWere) {
    using K = TypeParam;
    using V = typename TestFixture::V;
    const std::vector<int> old = {0, 1, 2, 3};
    auto& alloc = this->alloc;
    const typename TestFixture::Made t({9}, alloc), y({5, 6, 7, 8, 9}, alloc);
    struct Case {
        std::function<bool(V*)> op;
        TavSizeT grown;
    };
    const Case cases[] = {
        {[](V* x) { return K::Reserve(x, 9) != 0; }, 4},
        {[&](V* x) { return K::PushBack(x, t.begin()) != 0; }, 8},
        {[&](V* x) { return K::Resize(x, 5, t.begin()) != 0; }, 9},
        {[&](V* x) { return K::Insert(x, x->begin + 1, t.begin()) != nullptr; }, 4},
        {[&](V* x) { return K::InsertN(x, x->begin + 2, 3, t.begin()) != 0; }, 4},
        {[&](V* x) { return K::InsertRange(x, x->begin, y.begin(), y.end()) != 0; }, 4},
        {[](V* x) {
             V z;
             return K::ConstructCopy(&z, x) && (K::Destruct(&z), true);
         },
         4},
    };
    for (const Case& c : cases) {
        const std::size_t points = tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
            alloc.FailAt(0);
            const std::size_t live = alloc.liveBlocks();
            V x;
            this->Make(&x, old, 4);
            alloc.FailAt(k);
            const bool ok = c.op(&x);
            EXPECT_EQ(ok, !alloc.Failed()) << k;
            if (!ok) {
                EXPECT_EQ(this->Read(&x), old) << "failing allocation " << k;
                EXPECT_LE(K::Capacity(&x), c.grown) << k;
            }
            K::Destruct(&x);
            EXPECT_EQ(alloc.liveBlocks(), live) << k;
        });
        EXPECT_GE(points, 1u);
    }
}

}  // namespace
