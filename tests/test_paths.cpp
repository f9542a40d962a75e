// Paths through real bags: what each form reaches, and what changes through it tell listeners.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;
constexpr auto kAdd = TavPropertiesAddPropertyAtPathCStr;
constexpr auto kSet = TavPropertiesSetPropertyAtPathCStr;

// An Int as its number, a bag as "bag" and its size, a vector as its elements in brackets.
std::string Describe(const TavPropertyValue* v) {
    if (!v) return "-";
    if (const TavInt* i = TavPropertyValueGetInt(v)) return std::to_string(*i);
    const TavProperties* p = TavPropertyValueGetProperties(v);
    if (p) return "bag" + std::to_string(p->map.size);
    const TavVector_TavPropertyValue* vec = TavPropertyValueGetVector(v);
    std::string text;
    for (TavSizeT i = 0; i < TavVector_TavPropertyValueSize(vec); ++i)
        text += (i ? " " : "") + Describe(TavVector_TavPropertyValueAtConst(vec, i));
    return "[" + text + "]";
}

// A bag that logs every change it is told of, Before and After.
class Paths : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(TavPropertiesConstructDefault(&bag, alloc) && Listen(&bag, &Record, &log));
    }
    void TearDown() override { TavPropertiesDestruct(&bag); }

    // The values passed here (Ints, or a borrowed bag) are not the caller's to destroy.
    bool Add(const char* path, TavPropertyValue v) { return kAdd(&bag, path, &v); }
    bool Set(const char* path, TavPropertyValue v) { return kSet(&bag, path, &v); }
    bool Remove(const char* path) { return TavPropertiesRemovePropertyAtPathCStr(&bag, path); }
    auto* Get(const char* path) { return TavPropertiesGetPropertyAtPathCStrConst(&bag, path); }
    void AddVector(const char* name, std::initializer_list<TavPropertyValue> e) {
        TavVector_TavPropertyValue elems;
        TavVector_TavPropertyValueConstructRange(&elems, e.begin(), e.end(), alloc);
        EXPECT_TRUE(TavPropertiesAddVectorValueCStr(&bag, name, &elems, TAV_TRUE)) << name;
        TavVector_TavPropertyValueDestruct(&elems);
    }

    tavtest::CountingAllocator alloc;
    TavProperties bag;
    Lines log;
};

// Each row: the path, what Get finds in the bag built below (a copy-out takes the same, telling
// nobody), and what Add and Set of an Int at that path do to an empty bag (their result, and the
// one top-level name left there, if any). Plain paths are the paths fuzzer's; these are the edges.
TEST_F(Paths, EveryFormOfPathFindsAndStoresWhereItsComponentsSay) {
    ASSERT_TRUE(Add("a.b.c", Int(3)));
    AddVector("list", {Int(0), Int(1), Int(2)});
    ASSERT_TRUE(Set("list[2]", *Get("a")) && Add("list[2].name", Int(12)));  // a bag copy
    AddVector("ab", {Int(20), Int(21)});
    ASSERT_TRUE(Add("a[x]", Int(5)) && Add("a\\.b", Int(6)));  // stored as "a]" and "a\\.b"
    log.clear();
    // clang-format off
    const struct { const char* path; const char* found; bool stored; const char* made; } rows[] = {
        {"list[2].name", "12", false, ""},  {"list[ 2 ]", "bag2", false, ""},
        {"list[]", "0", false, ""},         {"list[-1]", "[0 1 bag2]", true, "list"},
        {"a[1]b", "21", false, ""},         {"a[1][2]", "bag1", false, ""},  // no index on a bag
        {"list[1][2]", "bag2", false, ""},  // the last index read wins
        {"a[x]", "5", true, "a]"},          {"a\\.b", "6", true, "a\\.b"},
        {"a.", "bag1", true, "a"},          {"", "-", false, ""},
        {".a", "-", false, ""},             {"a..b", "bag1", false, "a"},  // a made on the way stays
        {"a[1", "bag1", false, "a"},        {"list[3]", "-", false, ""}};
    // clang-format on
    const TavPropertyValue one = Int(1);
    for (const auto& row : rows) {
        const TavPropertyValue* found = Get(row.path);
        EXPECT_EQ(Describe(found), row.found) << row.path;
        TavPropertyValue copy;
        ASSERT_EQ(TavPropertiesCopyPropertyAtPathCStr(&bag, row.path, &copy), found != nullptr);
        if (found) {
            EXPECT_TRUE(TavPropertyValueEqual(&copy, found)) << row.path;
            TavPropertyValueDestruct(&copy);
        }
        for (auto op : {kAdd, kSet}) {
            TavProperties empty;
            TavPropertiesConstructDefault(&empty, alloc);
            EXPECT_EQ(op(&empty, row.path, &one), row.stored) << row.path;
            EXPECT_EQ(empty.map.size, *row.made ? 1u : 0u) << row.path;
            if (*row.made) {
                EXPECT_NE(TavPropertiesGetPropertyCStr(&empty, row.made), nullptr) << row.path;
            }
            TavPropertiesDestruct(&empty);
        }
    }
    EXPECT_TRUE(log.empty());
}

// An element change reports the vector's name; a removal the vector before and after, not the
// element. A Set through a missing bag is heard once, as the insertion of that bag.
TEST_F(Paths, ElementChangesAndBagsMadeOnTheWayAreHeardOnceUnderTheTopName) {
    AddVector("list", {Int(0), Int(1), Int(2)});
    log.clear();
    EXPECT_FALSE(Add("list[4]", Int(40)));
    EXPECT_TRUE(Add("list[3]", Int(30)));
    EXPECT_TRUE(Add("list[0]", Int(-1)));
    EXPECT_FALSE(Set("list[5]", Int(0)));
    EXPECT_TRUE(Set("list[4]", Int(3)));
    EXPECT_TRUE(Remove("list[0]"));
    EXPECT_FALSE(Remove("list[4]"));
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(&bag, "video.width", 640, TAV_TRUE));
    EXPECT_EQ(log, (Lines{"B list -/i:30", "A list -/i:30", "B list -/i:-1", "A list -/i:-1",
                          "B list i:30/i:3", "A list i:3/i:3", "B list [i:-1,i:0,i:1,i:2,i:3]/-",
                          "A list [i:0,i:1,i:2,i:3]/-", "B video -/{}", "A video -/{}"}));
    EXPECT_TRUE(Get("video")->settable);
    EXPECT_EQ(Describe(Get("video.width")), "640");
}

TEST_F(Paths, RefusedChangesTellNoListenerAndLeaveEverythingInPlace) {
    AddVector("fixed", {Int(0), Int(1)});
    ASSERT_TRUE(Add("s", Int(1)) && Add("a.x", Int(1)));
    for (const char* name : {"fixed", "s", "a"})  // fixing a fixes what a holds
        TavPropertiesGetPropertyCStr(&bag, name)->settable = TAV_FALSE;
    ASSERT_TRUE(Add("a.w", Int(1)));  // a last name is added even inside a fixed bag
    log.clear();
    // A fixed vector, a present name, an Int to descend into, a bag to make inside a fixed one.
    for (const char* path : {"fixed[0]", "s", "s.x", "a.y.z"}) EXPECT_FALSE(Add(path, Int(9)));
    // The holding bag decides whether a.x goes, not x's own flag.
    for (const char* path : {"fixed[0]", "a.x", "a[1"}) EXPECT_FALSE(Remove(path)) << path;
    EXPECT_FALSE(Set("s", Int(2)));
    EXPECT_EQ(Describe(Get("fixed")) + Describe(Get("s")) + Describe(Get("a")), "[0 1]1bag2");
    EXPECT_TRUE(Remove("s"));  // in the top bag, whatever the entry's own flag
    EXPECT_EQ(log, (Lines{"B s i~1/-", "A s -/-"}));  // and nothing before
}

TEST_F(Paths, FailedSetKeepsTheBagsMadeOnTheWayAndLeaksNothing) {
    const std::string path = "a.b." + std::string(200, 'x');  // past the reader's own buffer
    tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        const bool ok = Set(path.c_str(), Int(1)), hit = alloc.Failed();
        if (!hit) alloc.FailAt(0);
        EXPECT_EQ(ok, !hit) << k;
        EXPECT_EQ(Get(path.c_str()) != nullptr, ok) << k;
        if (const TavPropertyValue* a = Get("a")) {  // made on the way, it stays
            EXPECT_TRUE(a->settable) << k;
            EXPECT_NE(TavPropertyValueGetProperties(a), nullptr) << k;
        }
        TavPropertiesDestruct(&bag);  // the next attempt starts from an empty bag again
        TavPropertiesConstructDefault(&bag, alloc);
    });
}

}  // namespace
