// The ordered map: balanced shapes, tree invariants, stable positions, lookups,
// memory discipline and the state left by every allocation failure.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <map>
#include <random>
#include <string>

#include "CountingAllocator.hpp"

// Every map and pair operation carries one of these prefixes.
#define MAP(op) TavMap_TavString__TavPropertyValue##op
#define PAIR(op) TavPair_TavString__TavPropertyValue##op

namespace {

using namespace tavtest;
using Map = TavMap_TavString__TavPropertyValue;
using Node = MAP(_Node);
using Pair = TavPair_TavString__TavPropertyValue;

// A key and a String value from `a`, passed as the pair, the key or the value.
struct Entry {
    Pair pair;
    explicit Entry(const std::string& key, const std::string& text = "",
                   TavAllocator* a = TavAllocatorGetDefault()) {
        TavStringConstructCStr(&pair.first, key.c_str(), a);
        TavPropertyValueConstructStringCStr(&pair.second, text.c_str(), TAV_TRUE, a);
    }
    ~Entry() { PAIR(Destruct)(&pair); }
    operator const Pair*() const { return &pair; }
    operator const TavString*() const { return &pair.first; }
    operator const TavPropertyValue*() const { return &pair.second; }
};
using Key = Entry;

std::string KeyOf(const Node* n) { return TavStringCStr(&n->value.first); }
std::string Text(const Pair& p) {
    const std::string text = TavStringCStr(TavPropertyValueGetString(&p.second));
    return TavStringCStr(&p.first) + ("=" + text + " ");
}

// Every element in iteration order, as "key=text ".
std::string Contents(Map* m) {
    std::string s;
    for (Node* i = MAP(Begin)(m); i != MAP(End)(m); MAP(IteratorIncrement)(&i)) s += Text(i->value);
    return s;
}

// Walks the whole tree checking links, heights, balance, key order and size
// into `fault`; `shape` shows the tree in order, a subtree as (left key height right).
struct Checker {
    std::string fault, last, shape;
    std::size_t count = 0;
    explicit Checker(const Map& m) {
        shape = Visit(m.end.left, &m.end, &m.end.left);
        if (m.end.right || m.end.parent || m.end.pPtr || count != m.size) fault += "end/size";
    }
    std::string Visit(const Node* n, const Node* parent, Node* const* pPtr) {
        if (!n) return "";
        const std::string key = KeyOf(n), left = Visit(n->left, n, &n->left);
        const std::size_t hl = n->left ? n->left->height : 0, hr = n->right ? n->right->height : 0;
        if (n->parent != parent || n->pPtr != pPtr || *pPtr != n || (count++ && key <= last) ||
            n->height != (hl > hr ? hl : hr) + 1 || hl > hr + 1 || hr > hl + 1)
            fault += "fault at " + key + ";";
        last = key;
        const std::string right = Visit(n->right, n, &n->right);
        return "(" + left + key + std::to_string(n->height) + right + ")";
    }
};
std::string CheckMap(const Map& m) { return Checker(m).fault; }

// Inserts one element per character of `keys`, each with the text "v".
void PutAll(Map* m, const char* keys, TavAllocator* texts = TavAllocatorGetDefault()) {
    for (const char* k = keys; *k; ++k) ASSERT_TRUE(MAP(Insert)(m, Entry({*k}, "v", texts)).second);
}

struct MapTest : ::testing::Test {
    CountingAllocator alloc;
    Map m;
    void SetUp() override { MAP(Construct)(&m, alloc); }
    void TearDown() override { MAP(Destruct)(&m); }
    std::string At(const Node* n) const { return n == &m.end ? "End" : KeyOf(n); }
};

TEST_F(MapTest, AscendingInsertionsBalanceIntoExactShapesAndWithinTheHeightBound) {
    PutAll(&m, "abc");  // one single rotation
    EXPECT_EQ(Checker(m).fault + Checker(m).shape, "((a1)b2(c1))");
    PutAll(&m, "defg");
    EXPECT_EQ(Checker(m).fault + Checker(m).shape, "(((a1)b2(c1))d3((e1)f2(g1)))");
    const int n = 100000;
    for (int i = 0; i < n; ++i) ASSERT_TRUE(MAP(Insert)(&m, Key(std::to_string(n + i))).second);
    EXPECT_LE(double(m.end.left->height), 1.44 * std::log2(n + 9.0));
    EXPECT_EQ(CheckMap(m), "");
}

TEST_F(MapTest, RandomInsertsAndErasesKeepEveryInvariantAndEveryPosition) {
    std::mt19937 rng(12345);
    std::map<std::string, Node*> model;  // each key's position from its insertion: must stay valid
    int twoChildErasures = 0;
    for (int step = 0; step < 4000; ++step) {
        const std::string k = "k" + std::to_string(rng() % 90);
        const auto found = model.find(k);
        if (rng() % 3 != 0) {
            const auto r = MAP(Insert)(&m, Entry(k, std::to_string(step)));
            ASSERT_EQ(r.second, found == model.end());
            ASSERT_EQ(r.first, model.emplace(k, r.first).first->second);
        } else if (rng() % 2 == 0 || found == model.end()) {
            ASSERT_EQ(MAP(EraseKey)(&m, Key(k)), model.erase(k));
        } else {
            twoChildErasures += found->second->left && found->second->right;
            const auto next = std::next(found);
            ASSERT_EQ(MAP(Erase)(&m, MAP(Find)(&m, Key(k))),
                      next == model.end() ? MAP(End)(&m) : next->second);
            model.erase(found);
        }
        ASSERT_EQ(CheckMap(m), "") << "step " << step;
        ASSERT_EQ(m.size, model.size());
        for (const auto& [key, pos] : model) ASSERT_EQ(KeyOf(pos), key);
    }
    EXPECT_GT(twoChildErasures, 50);
}

TEST_F(MapTest, LookupsOnAnEmptyMapThenOnPresentAndAbsentKeys) {
    // Lower bound, upper bound | equal range (of an absent key: not where it would go).
    auto bounds = [&](const char* k) {
        const auto r = MAP(EqualRangeConst)(&m, Key(k));
        return At(MAP(LowerBound)(&m, Key(k))) + At(MAP(UpperBoundConst)(&m, Key(k))) + "|" +
               At(r.first) + At(r.second);
    };
    EXPECT_EQ(At(MAP(Begin)(&m)) + At(MAP(Find)(&m, Key("a"))), "EndEnd");
    EXPECT_EQ(bounds("a"), "EndEnd|EndEnd");
    EXPECT_TRUE(!MAP(Front)(&m) && !MAP(Back)(&m) && MAP(EraseKey)(&m, Key("a")) == 0);

    PutAll(&m, "dbf");
    const std::pair<const char*, const char*> rows[] = {{"a", "bb|EndEnd"}, {"b", "bd|bd"},
        {"c", "dd|EndEnd"}, {"d", "df|df"}, {"f", "fEnd|fEnd"}, {"g", "EndEnd|EndEnd"}};
    for (const auto& [k, expected] : rows) EXPECT_EQ(bounds(k), expected) << k;
    // Backward from a reverse position whose base is End.
    std::string keys = Contents(&m);
    for (MAP(ConstReverseIterator) r = MAP(End)(&m); r != MAP(Begin)(&m);
         MAP(ConstReverseIteratorIncrement)(&r))
        keys += Text(*MAP(ConstReverseIteratorContentOf)(&r));
    EXPECT_EQ(keys, "b=v d=v f=v f=v d=v b=v ");
}

// Each element is one node of GetNodeSize bytes from its map's allocator (which
// checks each release's byte count); keys and texts come from the default one.
TEST(MapMemory, NodesCopiesAssignmentAndSwapUseTheRightAllocators) {
    CountingAllocator a, b;
    Map s, d, t;
    PutAll(MAP(Construct)(&s, a), "mcxa");
    PutAll(MAP(Construct)(&t, b), "o");
    EXPECT_EQ(a.liveBytes(), 4 * MAP(GetNodeSize)(&s));
    a.ResetCounters();  // a present key keeps its value; a node is made and given back
    EXPECT_EQ(Text(MAP(Insert)(&s, Entry("m", "other")).first->value), "m=v ");
    EXPECT_EQ(a.allocations() + a.deallocations(), 2u);

    ASSERT_EQ(MAP(ConstructCopy)(&d, &s), &d);  // with the source's allocator
    ASSERT_EQ(MAP(Assign)(&t, &s), &t);         // with the target's own
    ASSERT_EQ(MAP(Assign)(&t, &t), &t);         // self-assignment keeps the content
    EXPECT_EQ(a.liveBlocks(), 8u);
    EXPECT_EQ(b.liveBlocks(), 4u);
    EXPECT_TRUE(MAP(Equal)(&t, &s) && MAP(Equal)(&d, &s));  // allocators take no part
    TavPropertyValueAssign(&MAP(Front)(&t)->second, Entry("a", "w"));  // one value differs
    EXPECT_FALSE(MAP(Equal)(&t, &s));

    const Node* first = MAP(Begin)(&s);  // one allocator: the tree changes hands, positions follow
    ASSERT_TRUE(MAP(Swap)(&s, &d));
    EXPECT_EQ(MAP(Begin)(&d), first);
    EXPECT_EQ(CheckMap(s) + CheckMap(d) + CheckMap(t), "");
    for (Map* x : {&s, &d, &t}) MAP(Destruct)(x);
}

// Each operation returns whether it succeeded; a failed one must leave the map,
// both pairs and the allocator as they were (a pair whose value copy fails gives
// its key copy back).
TEST(MapFailure, InsertCopiesAssignAndPairOperationsLeaveTheStateAsItWas) {
    CountingAllocator alloc;
    Map t, s;
    PutAll(MAP(Construct)(&t, alloc), "dbfa", alloc);
    PutAll(MAP(Construct)(&s, alloc), "dbfaceg", alloc);
    Entry x("b", "one", alloc), y("e", "two", alloc);
    auto state = [&] { return CheckMap(t) + Contents(&t) + Text(x.pair) + Text(y.pair); };
    const std::function<bool()> ops[] = {
        [&] { return MAP(Insert)(&t, x).first != MAP(End)(&t); },  // present key
        [&] { return MAP(Insert)(&t, y).first != MAP(End)(&t); },  // absent key
        [&] { Map c; return MAP(ConstructCopy)(&c, &s) && (MAP(Destruct)(&c), true); },
        [&] { Pair p; return PAIR(Construct)(&p, x, x) && (PAIR(Destruct)(&p), true); },
        [&] { return PAIR(Swap)(&x.pair, &y.pair) == TAV_TRUE; },
        [&] { return MAP(Assign)(&t, &s) != nullptr; }};
    for (const auto& op : ops) {
        const std::string before = state() + std::to_string(alloc.liveBlocks());
        SweepAllocationFailures(alloc, [&](std::size_t) {
            const bool ok = op();
            EXPECT_EQ(ok, !alloc.Failed());
            if (!ok) { EXPECT_EQ(state() + std::to_string(alloc.liveBlocks()), before); }
        });
    }
    EXPECT_EQ(state(), Contents(&s) + "e=two b=one ");
    for (Map* m : {&t, &s}) MAP(Destruct)(m);
}

// Swap first copies b's two elements into a with `alloc` (failing there leaves a
// empty), then a's former ones into b (failing there leaves a holding b's and b
// unchanged); `alloc` then holds a's nodes and, after success, b's keys and texts.
TEST(MapFailure, SwapAcrossAllocatorsLeavesTheGivenStates) {
    CountingAllocator alloc, other;
    SweepAllocationFailures(alloc, [&](std::size_t k) {
        alloc.FailAt(0);
        Map a, b;
        PutAll(MAP(Construct)(&a, alloc), "abc", alloc);
        PutAll(MAP(Construct)(&b, other), "de");
        alloc.FailAt(k);
        const bool ok = MAP(Swap)(&a, &b);
        EXPECT_EQ(ok, !alloc.Failed());
        EXPECT_EQ(CheckMap(a) + Contents(&a), !ok && k <= 2 ? "" : "d=v e=v ");
        EXPECT_EQ(CheckMap(b) + Contents(&b), ok ? "a=v b=v c=v " : "d=v e=v ");
        EXPECT_EQ(other.liveBlocks(), b.size);
        EXPECT_EQ(alloc.liveBlocks(), a.size + (ok ? 2 * b.size : 0));
        for (Map* m : {&a, &b}) MAP(Destruct)(m);
    });
}

}  // namespace
