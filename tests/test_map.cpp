// The ordered map: shapes after balancing, tree invariants under random
// changes, position stability, lookups, memory discipline and the state left
// by every allocation failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "CountingAllocator.hpp"

namespace {

using tavtest::CountingAllocator;
using tavtest::SweepAllocationFailures;
using Map = TavMap_TavString__TavPropertyValue;
using Node = TavMap_TavString__TavPropertyValue_Node;
using Pair = TavPair_TavString__TavPropertyValue;
using It = TavMap_TavString__TavPropertyValueIterator;

// A key and an Int or String value, built with `a`; the pair itself is the
// caller's source record for Insert and the pair operations.
struct Entry {
    Pair pair;
    Entry(const char* key, int i, TavAllocator* a = TavAllocatorGetDefault()) {
        EXPECT_NE(TavStringConstructCStr(&pair.first, key, a), nullptr);
        TavPropertyValueConstructInt(&pair.second, i, TAV_TRUE);
    }
    Entry(const char* key, const char* s, TavAllocator* a = TavAllocatorGetDefault()) {
        EXPECT_NE(TavStringConstructCStr(&pair.first, key, a), nullptr);
        EXPECT_NE(TavPropertyValueConstructStringCStr(&pair.second, s, TAV_TRUE, a), nullptr);
    }
    ~Entry() { TavPair_TavString__TavPropertyValueDestruct(&pair); }
};

struct Key {
    TavString s;
    explicit Key(const std::string& k) {
        TavStringConstructCStr(&s, k.c_str(), TavAllocatorGetDefault());
    }
    ~Key() { TavStringDestruct(&s); }
};

TavPair_TavMap_TavString__TavPropertyValueIterator__TavBool Put(Map* m, const char* key, int i) {
    Entry e(key, i);
    return TavMap_TavString__TavPropertyValueInsert(m, &e.pair);
}

std::string KeyOf(const Node* n) { return TavStringCStr(&n->value.first); }
int IntOf(const Node* n) { return *TavPropertyValueGetInt(&n->value.second); }

// Checks heights, balance, parent and pPtr links and key order of the
// subtree; returns its height and appends a description of every fault.
std::size_t CheckSubtree(const Node* n, const Node* parent, Node* const* pPtr,
                         std::vector<std::string>& keys, std::string& fault) {
    if (n->parent != parent || n->pPtr != pPtr || *pPtr != n)
        fault += "bad links at " + KeyOf(n) + ";";
    std::size_t hl = n->left ? CheckSubtree(n->left, n, &n->left, keys, fault) : 0;
    keys.push_back(KeyOf(n));
    std::size_t hr = n->right ? CheckSubtree(n->right, n, &n->right, keys, fault) : 0;
    if (n->height != std::max(hl, hr) + 1) fault += "bad height at " + KeyOf(n) + ";";
    if (hl > hr + 1 || hr > hl + 1) fault += "unbalanced at " + KeyOf(n) + ";";
    return n->height;
}

// Empty string when the whole map is consistent; returns its keys in order.
std::string CheckMap(const Map& m, std::vector<std::string>* keysOut = nullptr) {
    std::string fault;
    std::vector<std::string> keys;
    if (m.end.right || m.end.parent || m.end.pPtr) fault += "end has links;";
    if (m.end.left) CheckSubtree(m.end.left, &m.end, &m.end.left, keys, fault);
    if (!std::is_sorted(keys.begin(), keys.end()) ||
        std::adjacent_find(keys.begin(), keys.end()) != keys.end())
        fault += "keys not ascending;";
    if (keys.size() != m.size) fault += "size differs from node count;";
    if (keysOut) *keysOut = keys;
    return fault;
}

std::vector<std::string> Walk(Map* m) {
    std::vector<std::string> keys;
    for (It it = TavMap_TavString__TavPropertyValueBegin(m);
         it != TavMap_TavString__TavPropertyValueEnd(m);
         TavMap_TavString__TavPropertyValueIteratorIncrement(&it))
        keys.push_back(
            TavStringCStr(&TavMap_TavString__TavPropertyValueIteratorContentOf(&it)->first));
    return keys;
}

struct MapTest : ::testing::Test {
    CountingAllocator alloc;
    Map m;
    void SetUp() override { TavMap_TavString__TavPropertyValueConstruct(&m, alloc); }
    void TearDown() override { TavMap_TavString__TavPropertyValueDestruct(&m); }
    void PutAll(const char* keys) {
        for (const char* k = keys; *k; ++k) Put(&m, std::string(1, *k).c_str(), *k);
    }
};

// ---- shapes and invariants -------------------------------------------------

TEST_F(MapTest, AscendingInsertionsBalanceIntoTheExpectedShapes) {
    PutAll("abc");
    ASSERT_EQ(KeyOf(m.end.left), "b");
    EXPECT_EQ(m.end.left->height, 2u);
    EXPECT_EQ(KeyOf(m.end.left->left), "a");
    EXPECT_EQ(KeyOf(m.end.left->right), "c");

    PutAll("defg");
    const Node* root = m.end.left;
    EXPECT_EQ(KeyOf(root), "d");
    EXPECT_EQ(root->height, 3u);
    EXPECT_EQ(KeyOf(root->left), "b");
    EXPECT_EQ(root->left->height, 2u);
    EXPECT_EQ(KeyOf(root->right), "f");
    EXPECT_EQ(root->right->height, 2u);
    EXPECT_EQ(CheckMap(m), "");
}

TEST_F(MapTest, RandomInsertsAndErasesKeepEveryInvariantAndEveryPosition) {
    std::mt19937 rng(12345);
    std::map<std::string, int> model;
    std::map<std::string, It> positions;  // taken at insertion, must stay valid
    int twoChildErasures = 0;
    for (int step = 0; step < 4000; ++step) {
        std::string k = "k" + std::to_string(rng() % 90);
        Key key(k);
        if (rng() % 3 != 0) {
            auto r = Put(&m, k.c_str(), step);
            bool fresh = model.emplace(k, step).second;
            ASSERT_EQ(r.second, fresh);
            ASSERT_EQ(KeyOf(r.first), k);
            if (fresh) positions[k] = r.first;
            ASSERT_EQ(r.first, positions[k]);
            ASSERT_EQ(IntOf(r.first), model[k]);  // a present key keeps its value
        } else if (rng() % 2 == 0) {
            ASSERT_EQ(TavMap_TavString__TavPropertyValueEraseKey(&m, &key.s), model.erase(k));
            positions.erase(k);
        } else {
            It pos = TavMap_TavString__TavPropertyValueFind(&m, &key.s);
            if (pos == TavMap_TavString__TavPropertyValueEnd(&m)) continue;
            twoChildErasures += pos->left && pos->right;
            auto next = std::next(model.find(k));
            It after = TavMap_TavString__TavPropertyValueErase(&m, pos);
            ASSERT_EQ(after, next == model.end() ? TavMap_TavString__TavPropertyValueEnd(&m)
                                                 : positions[next->first]);
            model.erase(k);
            positions.erase(k);
        }
        std::vector<std::string> keys;
        ASSERT_EQ(CheckMap(m, &keys), "") << "step " << step;
        ASSERT_EQ(keys.size(), model.size());
        for (auto& [name, pos] : positions) ASSERT_EQ(KeyOf(pos), name);
    }
    EXPECT_GT(twoChildErasures, 50);
    EXPECT_EQ(Walk(&m).size(), model.size());
}

TEST(MapLarge, HundredThousandKeysStayWithinTheHeightBound) {
    Map m;
    TavMap_TavString__TavPropertyValueConstruct(&m, TavAllocatorGetDefault());
    const int n = 100000;
    char key[16];
    for (int i = 0; i < n; ++i) {
        std::snprintf(key, sizeof key, "%06d", i);
        ASSERT_TRUE(Put(&m, key, i).second);
    }
    EXPECT_LE(double(m.end.left->height), 1.44 * std::log2(n + 2.0));
    for (int i = 0; i < n; i += 2) {
        std::snprintf(key, sizeof key, "%06d", i);
        Key k(key);
        ASSERT_EQ(TavMap_TavString__TavPropertyValueEraseKey(&m, &k.s), 1u);
    }
    EXPECT_LE(double(m.end.left->height), 1.44 * std::log2(n / 2 + 2.0));
    EXPECT_EQ(CheckMap(m), "");
    TavMap_TavString__TavPropertyValueDestruct(&m);
}

// ---- lookups and positions ---------------------------------------------------

TEST_F(MapTest, EmptyMapLookupsGiveEnd) {
    It end = TavMap_TavString__TavPropertyValueEnd(&m);
    Key a("a");
    EXPECT_EQ(TavMap_TavString__TavPropertyValueBegin(&m), end);
    EXPECT_EQ(TavMap_TavString__TavPropertyValueFind(&m, &a.s), end);
    EXPECT_EQ(TavMap_TavString__TavPropertyValueCount(&m, &a.s), 0u);
    auto range = TavMap_TavString__TavPropertyValueEqualRange(&m, &a.s);
    EXPECT_EQ(range.first, end);
    EXPECT_EQ(range.second, end);
    EXPECT_EQ(TavMap_TavString__TavPropertyValueFront(&m), nullptr);
    EXPECT_EQ(TavMap_TavString__TavPropertyValueBack(&m), nullptr);
    EXPECT_EQ(TavMap_TavString__TavPropertyValueEraseKey(&m, &a.s), 0u);
    TavMap_TavString__TavPropertyValueClear(&m);
    EXPECT_TRUE(TavMap_TavString__TavPropertyValueEmpty(&m));
    EXPECT_EQ(TavMap_TavString__TavPropertyValueMaxSize(&m), 18446744073709551615ull);
    EXPECT_EQ(TavMap_TavString__TavPropertyValueGetNodeSize(&m), sizeof(Node));
}

TEST_F(MapTest, BoundsAndRangesOnPresentAndAbsentKeys) {
    PutAll("bdf");
    const Map* cm = &m;
    auto lower = [&](const char* k) {
        Key key(k);
        return TavMap_TavString__TavPropertyValueLowerBound(&m, &key.s);
    };
    auto upper = [&](const char* k) {
        Key key(k);
        return TavMap_TavString__TavPropertyValueUpperBoundConst(cm, &key.s);
    };
    It end = TavMap_TavString__TavPropertyValueEnd(&m);
    EXPECT_EQ(lower("a"), TavMap_TavString__TavPropertyValueBegin(&m));
    EXPECT_EQ(upper("a"), TavMap_TavString__TavPropertyValueBeginConst(cm));
    EXPECT_EQ(KeyOf(lower("c")), "d");
    EXPECT_EQ(KeyOf(lower("d")), "d");
    EXPECT_EQ(KeyOf(upper("d")), "f");
    EXPECT_EQ(lower("g"), end);
    EXPECT_EQ(upper("f"), end);

    Key c("c"), d("d"), f("f");
    auto absent = TavMap_TavString__TavPropertyValueEqualRangeConst(cm, &c.s);
    EXPECT_EQ(absent.first, end);  // not where "c" would go
    EXPECT_EQ(absent.second, end);
    auto present = TavMap_TavString__TavPropertyValueEqualRange(&m, &d.s);
    EXPECT_EQ(KeyOf(present.first), "d");
    EXPECT_EQ(KeyOf(present.second), "f");
    EXPECT_EQ(TavMap_TavString__TavPropertyValueEqualRange(&m, &f.s).second, end);
    EXPECT_EQ(TavMap_TavString__TavPropertyValue_NodeEqualRange(m.end.left, &c.s).first, nullptr);
    EXPECT_EQ(TavMap_TavString__TavPropertyValue_NodeFind(m.end.left, &c.s), nullptr);
}

TEST_F(MapTest, ForwardAndReversePositionsWalkInKeyOrder) {
    PutAll("bac");
    EXPECT_EQ(Walk(&m), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(std::string(TavStringCStr(&TavMap_TavString__TavPropertyValueBack(&m)->first)), "c");

    It it = TavMap_TavString__TavPropertyValueEnd(&m);
    EXPECT_EQ(KeyOf(*TavMap_TavString__TavPropertyValueIteratorDecrement(&it)), "c");

    TavMap_TavString__TavPropertyValueConstReverseIterator r =
        TavMap_TavString__TavPropertyValueEnd(&m);
    EXPECT_EQ(std::string(TavStringCStr(
                  &TavMap_TavString__TavPropertyValueConstReverseIteratorContentOf(&r)->first)),
              "c");
    TavMap_TavString__TavPropertyValueConstReverseIteratorIncrement(&r);
    EXPECT_EQ(
        std::string(TavStringCStr(
            &TavMap_TavString__TavPropertyValueConstReverseIteratorContentOfConst(&r)->first)),
        "b");
    TavMap_TavString__TavPropertyValueConstReverseIteratorDecrement(&r);
    EXPECT_EQ(r, TavMap_TavString__TavPropertyValueEndConst(&m));

    It x, y = TavMap_TavString__TavPropertyValueBegin(&m);
    TavMap_TavString__TavPropertyValueIteratorConstruct(&x);
    EXPECT_TRUE(TavMap_TavString__TavPropertyValueIteratorIsExceptional(x));
    EXPECT_TRUE(TavMap_TavString__TavPropertyValueIteratorSwap(&x, &y));
    EXPECT_EQ(KeyOf(x), "a");
    EXPECT_EQ(bool(TavMap_TavString__TavPropertyValueIteratorLess(&x, &it)),
              std::less<const Node*>()(x, it));
    TavMap_TavString__TavPropertyValueReverseIterator rev;
    TavMap_TavString__TavPropertyValueReverseIteratorConstructExceptional(&rev);
    EXPECT_TRUE(TavMap_TavString__TavPropertyValueReverseIteratorIsExceptional(rev));
}

TEST_F(MapTest, ErasingReturnsTheFollowingPosition) {
    PutAll("abcdefg");
    Key g("g"), c("c");
    It last = TavMap_TavString__TavPropertyValueFind(&m, &g.s);
    EXPECT_EQ(TavMap_TavString__TavPropertyValueErase(&m, last),
              TavMap_TavString__TavPropertyValueEnd(&m));
    It root = m.end.left;  // "d", two children
    It cPos = TavMap_TavString__TavPropertyValueFind(&m, &c.s);
    EXPECT_EQ(KeyOf(TavMap_TavString__TavPropertyValueErase(&m, root)), "e");
    EXPECT_EQ(KeyOf(cPos), "c");
    EXPECT_EQ(Walk(&m), (std::vector<std::string>{"a", "b", "c", "e", "f"}));
    EXPECT_EQ(TavMap_TavString__TavPropertyValueEraseRange(
                  &m, TavMap_TavString__TavPropertyValueBegin(&m),
                  TavMap_TavString__TavPropertyValueEnd(&m)),
              TavMap_TavString__TavPropertyValueEnd(&m));
    EXPECT_EQ(m.size, 0u);
    EXPECT_EQ(m.end.left, nullptr);
    EXPECT_EQ(alloc.liveBlocks(), 0u);
}

// ---- memory ---------------------------------------------------------------------

TEST_F(MapTest, EachElementIsOneNodeFromTheMapsAllocator) {
    PutAll("qwertyuiop");  // keys come from the default allocator
    EXPECT_EQ(alloc.liveBlocks(), 10u);
    EXPECT_EQ(alloc.liveBytes(), 10 * TavMap_TavString__TavPropertyValueGetNodeSize(&m));

    alloc.ResetCounters();
    auto again = Put(&m, "q", 99);  // present: a node is made and given back
    EXPECT_FALSE(again.second);
    EXPECT_EQ(IntOf(again.first), 'q');
    EXPECT_EQ(alloc.allocations(), 1u);
    EXPECT_EQ(alloc.deallocations(), 1u);
    EXPECT_EQ(m.size, 10u);
    // Node sizes are checked on release by the allocator itself.
}

TEST(MapCopy, CopyUsesTheSourceAllocatorAndAssignKeepsTheTargets) {
    CountingAllocator a, b;
    Map s, d, t;
    TavMap_TavString__TavPropertyValueConstruct(&s, a);
    for (const char* k : {"m", "c", "x", "a"}) Put(&s, k, 1);
    ASSERT_EQ(TavMap_TavString__TavPropertyValueConstructCopy(&d, &s), &d);
    EXPECT_EQ(TavMap_TavString__TavPropertyValueGetAllocator(&d), a.get());
    EXPECT_EQ(a.liveBlocks(), 8u);
    EXPECT_EQ(CheckMap(d), "");

    TavMap_TavString__TavPropertyValueConstruct(&t, b);
    Put(&t, "old", 0);
    ASSERT_EQ(TavMap_TavString__TavPropertyValueAssign(&t, &s), &t);
    EXPECT_EQ(TavMap_TavString__TavPropertyValueGetAllocator(&t), b.get());
    EXPECT_EQ(b.liveBlocks(), 4u);
    EXPECT_TRUE(TavMap_TavString__TavPropertyValueEqual(&t, &s));
    ASSERT_EQ(TavMap_TavString__TavPropertyValueAssign(&t, &t), &t);  // self: content kept
    EXPECT_TRUE(TavMap_TavString__TavPropertyValueEqual(&t, &s));
    EXPECT_EQ(CheckMap(t), "");

    Put(&t, "new", 0);
    EXPECT_FALSE(TavMap_TavString__TavPropertyValueEqual(&t, &s));
    for (Map* x : {&s, &d, &t}) TavMap_TavString__TavPropertyValueDestruct(x);
}

TEST(MapSwap, OneAllocatorMovesTreesAndPositionsFollow) {
    Map a, b;
    TavMap_TavString__TavPropertyValueConstruct(&a, TavAllocatorGetDefault());
    TavMap_TavString__TavPropertyValueConstruct(&b, TavAllocatorGetDefault());
    It x = Put(&a, "x", 1).first;
    Put(&a, "y", 2);
    ASSERT_TRUE(TavMap_TavString__TavPropertyValueSwap(&a, &b));
    EXPECT_EQ(a.size, 0u);
    EXPECT_EQ(b.size, 2u);
    EXPECT_EQ(TavMap_TavString__TavPropertyValueBegin(&b), x);
    EXPECT_EQ(CheckMap(a) + CheckMap(b), "");
    TavMap_TavString__TavPropertyValueDestruct(&a);
    TavMap_TavString__TavPropertyValueDestruct(&b);
}

// ---- allocation failures -----------------------------------------------------------

// A map built with `alloc` from keys and String values taken from `alloc`
// too, so that node, key and value copies can all be made to fail.
void Fill(Map* m, TavAllocator* alloc, std::initializer_list<const char*> keys) {
    TavMap_TavString__TavPropertyValueConstruct(m, alloc);
    for (const char* k : keys) {
        Entry e(k, "text value", alloc);
        ASSERT_TRUE(TavMap_TavString__TavPropertyValueInsert(m, &e.pair).second);
    }
}

TEST(MapFailure, InsertLeavesTheMapUnchanged) {
    CountingAllocator alloc;
    Map m, snapshot;
    Fill(&m, alloc, {"d", "b", "f", "a"});
    ASSERT_TRUE(TavMap_TavString__TavPropertyValueConstructCopy(&snapshot, &m));
    for (const char* key : {"e", "b"}) {  // absent, then present
        ASSERT_TRUE(TavMap_TavString__TavPropertyValueAssign(&snapshot, &m));
        Entry e(key, "another text value", alloc);
        const std::size_t live = alloc.liveBlocks();
        SweepAllocationFailures(alloc, [&](std::size_t) {
            auto r = TavMap_TavString__TavPropertyValueInsert(&m, &e.pair);
            if (alloc.Failed()) {
                EXPECT_EQ(r.first, TavMap_TavString__TavPropertyValueEnd(&m));
                EXPECT_FALSE(r.second);
                EXPECT_TRUE(TavMap_TavString__TavPropertyValueEqual(&m, &snapshot));
                EXPECT_EQ(alloc.liveBlocks(), live);
                EXPECT_EQ(CheckMap(m), "");
            } else {
                EXPECT_EQ(KeyOf(r.first), key);
            }
        });
    }
    EXPECT_EQ(m.size, 5u);
    TavMap_TavString__TavPropertyValueDestruct(&m);
    TavMap_TavString__TavPropertyValueDestruct(&snapshot);
}

TEST(MapFailure, ConstructCopyAndAssignLeaveNothingOrTheTargetAsItWas) {
    CountingAllocator alloc;
    Map s, d, target;
    Fill(&s, alloc, {"d", "b", "f", "a", "c", "e", "g"});
    Fill(&target, alloc, {"old"});
    ASSERT_TRUE(TavMap_TavString__TavPropertyValueConstructCopy(&d, &target));  // snapshot
    const std::size_t live = alloc.liveBlocks();
    SweepAllocationFailures(alloc, [&](std::size_t) {
        Map copy;
        if (TavMap_TavString__TavPropertyValueConstructCopy(&copy, &s) == nullptr) {
            EXPECT_EQ(alloc.liveBlocks(), live);
            return;
        }
        EXPECT_TRUE(TavMap_TavString__TavPropertyValueEqual(&copy, &s));
        TavMap_TavString__TavPropertyValueDestruct(&copy);
    });
    SweepAllocationFailures(alloc, [&](std::size_t) {
        if (TavMap_TavString__TavPropertyValueAssign(&target, &s) == nullptr) {
            EXPECT_TRUE(TavMap_TavString__TavPropertyValueEqual(&target, &d));
            EXPECT_EQ(alloc.liveBlocks(), live);
            EXPECT_EQ(CheckMap(target), "");
        } else {
            EXPECT_TRUE(TavMap_TavString__TavPropertyValueEqual(&target, &s));
        }
    });
    for (Map* x : {&s, &d, &target}) TavMap_TavString__TavPropertyValueDestruct(x);
}

// a's nodes come from nodesA, b's from nodesB; failing nodesA breaks the copy
// of b into a, failing nodesB the copy of a's former content into b.
TEST(MapFailure, SwapAcrossAllocatorsLeavesTheGivenStates) {
    CountingAllocator nodesA, nodesB;
    TavAllocator* plain = TavAllocatorGetDefault();
    for (CountingAllocator* victim : {&nodesA, &nodesB}) {
        SweepAllocationFailures(*victim, [&](std::size_t k) {
            victim->FailAt(0);
            Map a, b, aBefore, bBefore;
            for (auto [m, al] : {std::pair{&a, nodesA.get()},
                                 {&b, nodesB.get()},
                                 {&aBefore, plain},
                                 {&bBefore, plain}})
                TavMap_TavString__TavPropertyValueConstruct(m, al);
            for (const char* key : {"a1", "a2", "a3"}) Put(&a, key, 1);
            for (const char* key : {"b1", "b2"}) Put(&b, key, 2);
            TavMap_TavString__TavPropertyValueAssign(&aBefore, &a);
            TavMap_TavString__TavPropertyValueAssign(&bBefore, &b);
            victim->FailAt(k);

            const bool ok = TavMap_TavString__TavPropertyValueSwap(&a, &b);
            EXPECT_EQ(ok, !victim->Failed());
            EXPECT_EQ(TavMap_TavString__TavPropertyValueGetAllocator(&a), nodesA.get());
            EXPECT_EQ(TavMap_TavString__TavPropertyValueGetAllocator(&b), nodesB.get());
            EXPECT_EQ(CheckMap(a) + CheckMap(b), "");
            if (ok || victim == &nodesB) {  // a got b's content in both cases
                EXPECT_TRUE(TavMap_TavString__TavPropertyValueEqual(&a, &bBefore));
                EXPECT_EQ(nodesA.liveBlocks(), 2u);
            } else {
                EXPECT_EQ(a.size, 0u);
                EXPECT_EQ(nodesA.liveBlocks(), 0u);
            }
            EXPECT_TRUE(TavMap_TavString__TavPropertyValueEqual(&b, ok ? &aBefore : &bBefore));
            EXPECT_EQ(nodesB.liveBlocks(), b.size);
            for (Map* m : {&a, &b, &aBefore, &bBefore})
                TavMap_TavString__TavPropertyValueDestruct(m);
        });
    }
}

// ---- pair ---------------------------------------------------------------------------

TEST(MapPair, ConstructLeavesNothingWhenACopyFails) {
    CountingAllocator alloc;
    Entry src("key", "a string value", alloc);
    const std::size_t live = alloc.liveBlocks();
    std::size_t points = SweepAllocationFailures(alloc, [&](std::size_t) {
        Pair p;
        if (TavPair_TavString__TavPropertyValueConstruct(&p, &src.pair.first, &src.pair.second) ==
            nullptr) {
            EXPECT_EQ(alloc.liveBlocks(), live);  // the key copy was given back
            return;
        }
        EXPECT_TRUE(TavPair_TavString__TavPropertyValueEqual(&p, &src.pair));
        TavPair_TavString__TavPropertyValueDestruct(&p);
    });
    EXPECT_EQ(points, 2u);  // key, then value
}

TEST(MapPair, SwapExchangesBothHalvesOrNothing) {
    CountingAllocator alloc;
    Entry x("x", 1, alloc), y("y", "text", alloc), xAgain("x", 1), xOther("x", 2);
    ASSERT_TRUE(TavPair_TavString__TavPropertyValueEqual(&x.pair, &xAgain.pair));
    EXPECT_FALSE(TavPair_TavString__TavPropertyValueEqual(&x.pair, &xOther.pair));

    alloc.FailAt(1);  // the temporary cannot be made
    EXPECT_FALSE(TavPair_TavString__TavPropertyValueSwap(&x.pair, &y.pair));
    EXPECT_TRUE(TavPair_TavString__TavPropertyValueEqual(&x.pair, &xAgain.pair));
    alloc.FailAt(0);

    ASSERT_TRUE(TavPair_TavString__TavPropertyValueSwap(&x.pair, &y.pair));
    EXPECT_TRUE(TavPair_TavString__TavPropertyValueEqual(&y.pair, &xAgain.pair));
    EXPECT_STREQ(TavStringCStr(&x.pair.first), "y");
    EXPECT_EQ(x.pair.second.type, TAV_PROPERTYVALUE_TYPE_String);
}

}  // namespace
