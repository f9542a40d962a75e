// The ordered map: invariants, stable positions, memory, failure states. (Its
// bounds and ranges serve no bag operation; the bag tests cover lookups.)
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "CountingAllocator.hpp"

#define MAP(op) TavMap_TavString__TavPropertyValue##op

namespace {

using Map = TavMap_TavString__TavPropertyValue;
using Node = MAP(_Node);
using Pair = TavPair_TavString__TavPropertyValue;

// A key and a String value from `a`, passed as the pair or the key.
struct Entry {
    Pair pair;
    explicit Entry(const std::string& key, const std::string& text = "",
                   TavAllocator* a = TavAllocatorGetDefault()) {
        TavStringConstructCStr(&pair.first, key.c_str(), a);
        TavPropertyValueConstructStringCStr(&pair.second, text.c_str(), TAV_TRUE, a);
    }
    ~Entry() { TavPair_TavString__TavPropertyValueDestruct(&pair); }
    operator const Pair*() const { return &pair; }
    operator const TavString*() const { return &pair.first; }
};

std::string KeyOf(const Node* n) { return TavStringCStr(&n->value.first); }
std::string Text(const Pair& p) {
    return TavStringCStr(&p.first) + std::string("=") +
           TavStringCStr(TavPropertyValueGetString(&p.second)) + " ";
}

// Faults of links, heights, balance, key order and size.
struct Checker {
    std::string fault, last;
    std::size_t count = 0;
    explicit Checker(const Map& m) {
        Visit(m.end.left, &m.end, &m.end.left);
        if (m.end.right || m.end.parent || m.end.pPtr || count != m.size) fault += "end/size";
    }
    void Visit(const Node* n, const Node* parent, Node* const* pPtr) {
        if (!n) return;
        Visit(n->left, n, &n->left);
        const std::string key = KeyOf(n);
        const std::size_t hl = n->left ? n->left->height : 0, hr = n->right ? n->right->height : 0;
        if (n->parent != parent || n->pPtr != pPtr || *pPtr != n || (count++ && key <= last) ||
            n->height != (hl > hr ? hl : hr) + 1 || hl > hr + 1 || hr > hl + 1)
            fault += "fault at " + key + ";";
        last = key;
        Visit(n->right, n, &n->right);
    }
};

// The faults found, then every element in iteration order as "key=text ".
std::string State(Map* m) {
    std::string s = Checker(*m).fault;
    for (Node* i = MAP(Begin)(m); i != MAP(End)(m); MAP(IteratorIncrement)(&i)) s += Text(i->value);
    return s;
}

// Inserts one element per character of `keys`, each with the text "v".
void PutAll(Map* m, const char* keys, TavAllocator* texts = TavAllocatorGetDefault()) {
    for (const char* k = keys; *k; ++k) ASSERT_TRUE(MAP(Insert)(m, Entry({*k}, "v", texts)).second);
}

struct MapTest : ::testing::Test {
    tavtest::CountingAllocator alloc;
    Map m;
    void SetUp() override { MAP(Construct)(&m, alloc); }
    void TearDown() override { MAP(Destruct)(&m); }
};

// Ascending insertions stay within the height bound. Erasing an element, a node with two
// children included, relinks nodes: every other position stays valid. (Random inserts and erases
// are the structure fuzzer's, which verifies the tree after each.)
TEST_F(MapTest, InsertionsBalanceAndErasuresKeepEveryOtherPosition) {
    PutAll(&m, "abcdefg");  // a full tree of three levels, d at the root
    EXPECT_EQ(m.end.left->height, 3u);
    std::vector<const Node*> kept;
    for (Node* i = MAP(Begin)(&m); i != MAP(End)(&m); MAP(IteratorIncrement)(&i)) kept.push_back(i);
    EXPECT_EQ(MAP(Erase)(&m, m.end.left), kept[4]);  // d, the root
    EXPECT_EQ(MAP(EraseKey)(&m, Entry("f")) + MAP(EraseKey)(&m, Entry("x")), 1u);
    EXPECT_EQ(State(&m), "a=v b=v c=v e=v g=v ");
    for (int i : {0, 1, 2, 4, 6}) EXPECT_EQ(KeyOf(kept[i]), std::string(1, char('a' + i)));
    const int n = 100000;
    for (int i = 0; i < n; ++i) ASSERT_TRUE(MAP(Insert)(&m, Entry(std::to_string(n + i))).second);
    EXPECT_LE(double(m.end.left->height), 1.44 * std::log2(n + 9.0));
    EXPECT_EQ(Checker(m).fault, "");
}

// Bounds and equal ranges of present and absent keys; reverse traversal from End.
TEST_F(MapTest, BoundsEqualRangesAndReverseTraversal) {
    const auto at = [&](const Node* n) {
        return n == MAP(End)(&m) ? std::string("End") : KeyOf(n);
    };
    auto bounds = [&](const char* k) {  // lower, upper bound | equal range (End, End if absent)
        const auto r = MAP(EqualRangeConst)(&m, Entry(k));
        return at(MAP(LowerBound)(&m, Entry(k))) + at(MAP(UpperBoundConst)(&m, Entry(k))) + "|" +
               at(r.first) + at(r.second);
    };
    PutAll(&m, "dbf");
    const std::pair<const char*, const char*> rows[] = {{"a", "bb|EndEnd"}, {"b", "bd|bd"},
                                                        {"c", "dd|EndEnd"}, {"d", "df|df"},
                                                        {"f", "fEnd|fEnd"}, {"g", "EndEnd|EndEnd"}};
    for (const auto& [k, expected] : rows) EXPECT_EQ(bounds(k), expected) << k;
    std::string keys;  // backward from a reverse position whose base is End: the largest first
    for (MAP(ConstReverseIterator) r = MAP(End)(&m); r != MAP(Begin)(&m);
         MAP(ConstReverseIteratorIncrement)(&r))
        keys += Text(*MAP(ConstReverseIteratorContentOf)(&r));
    EXPECT_EQ(keys, "f=v d=v b=v ");
}

// One node of GetNodeSize bytes per element from the map's allocator; keys, texts from the default.
TEST_F(MapTest, NodesCopiesAssignmentAndSwapUseTheRightAllocators) {
    tavtest::CountingAllocator b;
    Map d, t;
    PutAll(&m, "mca");
    PutAll(MAP(Construct)(&t, b), "o");
    EXPECT_EQ(alloc.liveBytes(), 3 * MAP(GetNodeSize)(&m));
    ASSERT_EQ(MAP(ConstructCopy)(&d, &m), &d);  // with the source's allocator
    ASSERT_EQ(MAP(Assign)(&t, &m), &t);         // with the target's own
    ASSERT_EQ(MAP(Assign)(&t, &t), &t);         // self-assignment keeps the content
    EXPECT_EQ(alloc.liveBlocks(), 6u);
    EXPECT_EQ(b.liveBlocks(), 3u);

    const Node* first = MAP(Begin)(&m);  // one allocator: the tree changes hands, positions follow
    ASSERT_TRUE(MAP(Swap)(&m, &d));
    EXPECT_EQ(MAP(Begin)(&d), first);
    EXPECT_EQ(State(&m) + State(&d) + State(&t), "a=v c=v m=v a=v c=v m=v a=v c=v m=v ");
    for (Map* x : {&d, &t}) MAP(Destruct)(x);
}

// A failed operation leaves the map, both pairs and the allocator as they were (a pair
// whose value copy fails gives its key copy back). A present key keeps its value.
TEST_F(MapTest, FailedInsertCopyAssignAndPairOperationsLeaveTheStateAsItWas) {
    Map s;
    PutAll(&m, "dbfa", alloc);
    PutAll(MAP(Construct)(&s, alloc), "dbfaceg", alloc);
    Entry x("b", "one", alloc), y("h", "two", alloc);
    auto state = [&] { return State(&m) + Text(x.pair) + Text(y.pair); };
    const std::function<bool()> ops[] = {
        [&] { return MAP(Assign)(&m, &s) != nullptr; },
        [&] { return MAP(Insert)(&m, x).first != MAP(End)(&m); },  // present key
        [&] { return MAP(Insert)(&m, y).first != MAP(End)(&m); },  // absent key
        [&] { Map c; return MAP(ConstructCopy)(&c, &s) && (MAP(Destruct)(&c), true); },
        [&] { return TavPair_TavString__TavPropertyValueSwap(&x.pair, &y.pair) == TAV_TRUE; }};
    for (const auto& op : ops) {
        const std::string before = state() + std::to_string(alloc.liveBlocks());
        tavtest::SweepAllocationFailures(alloc, [&](std::size_t) {
            const bool ok = op();
            EXPECT_EQ(ok, !alloc.Failed());
            if (!ok) { EXPECT_EQ(state() + std::to_string(alloc.liveBlocks()), before); }
        });
    }
    EXPECT_EQ(state(), "a=v b=v c=v d=v e=v f=v g=v h=two h=two b=one ");
    MAP(Destruct)(&s);
}

// Across allocators Swap copies b's elements into a (a failure leaves a empty), then a's into b
// (a failure leaves a holding b's, b as it was); alloc then has a's nodes, b's keys and texts.
TEST(MapFailure, SwapAcrossAllocatorsLeavesTheGivenStates) {
    tavtest::CountingAllocator alloc, other;
    tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        alloc.FailAt(0);
        Map a, b;
        PutAll(MAP(Construct)(&a, alloc), "abc", alloc);
        PutAll(MAP(Construct)(&b, other), "de");
        alloc.FailAt(k);
        const bool ok = MAP(Swap)(&a, &b);
        EXPECT_EQ(ok, !alloc.Failed());
        EXPECT_EQ(State(&a), !ok && k <= 2 ? "" : "d=v e=v ");
        EXPECT_EQ(State(&b), ok ? "a=v b=v c=v " : "d=v e=v ");
        EXPECT_EQ(other.liveBlocks(), b.size);
        EXPECT_EQ(alloc.liveBlocks(), a.size + (ok ? 2 * b.size : 0));
        for (Map* m : {&a, &b}) MAP(Destruct)(m);
    });
}

}  // namespace
