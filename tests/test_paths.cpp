// Path addressing through real bags: how a path is read, what Get finds, and
// what Add, Set and Remove change and tell the listeners on the way.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "CountingAllocator.hpp"

namespace {

using Log = std::vector<std::string>;
using PathOp = TavBool (*)(TavProperties*, const char*, const TavPropertyValue*);
constexpr PathOp kAdd = TavPropertiesAddPropertyAtPathCStr;
constexpr PathOp kSet = TavPropertiesSetPropertyAtPathCStr;

// An Int as its number, a vector as its elements in brackets, a bag as "bag" and its size,
// nothing as "-".
std::string Describe(const TavPropertyValue* v) {
    if (!v) return "-";
    if (const TavInt* i = TavPropertyValueGetInt(v)) return std::to_string(*i);
    if (const TavVector_TavPropertyValue* vec = TavPropertyValueGetVector(v)) {
        std::string text;
        for (TavSizeT i = 0; i < TavVector_TavPropertyValueSize(vec); ++i) {
            text += (i ? " " : "") + Describe(TavVector_TavPropertyValueAtConst(vec, i));
        }
        return "[" + text + "]";
    }
    const TavProperties* p = TavPropertyValueGetProperties(v);
    return p ? "bag" + std::to_string(p->map.size) : "?";
}

void Record(const TavPropertyListener* l, TavProperties*, const TavString* name,
            const TavPropertyValue* oldValue, const TavPropertyValue* newValue) {
    static_cast<Log*>(l->data)->push_back(
        std::string(l->trigger == TAV_PROPERTYLISTENER_TRIGGER_Before ? "B " : "A ") + name->buf +
        " " + Describe(oldValue) + "/" + Describe(newValue));
}

TavPropertyValue Int(TavInt i, bool settable = true) {
    TavPropertyValue v;
    TavPropertyValueConstructInt(&v, i, settable);
    return v;
}

class Paths : public ::testing::Test {
protected:
    // The bag logs every change it is told of, Before and After.
    void SetUp() override {
        ASSERT_TRUE(TavPropertiesConstructDefault(&bag, alloc));
        for (auto t : {TAV_PROPERTYLISTENER_TRIGGER_Before, TAV_PROPERTYLISTENER_TRIGGER_After}) {
            TavPropertyListener l;
            TavPropertyListenerConstructCStr(&l, t, nullptr, Record, &log, alloc);
            TavPropertiesAddListener(&bag, &l);
            TavPropertyListenerDestruct(&l);
        }
    }
    void TearDown() override { TavPropertiesDestruct(&bag); }

    // The values stored here are Ints, which own nothing, so they need no destruction.
    bool Add(const char* path, TavPropertyValue v) { return kAdd(&bag, path, &v); }
    bool Set(const char* path, TavPropertyValue v) { return kSet(&bag, path, &v); }
    bool Remove(const char* path) { return TavPropertiesRemovePropertyAtPathCStr(&bag, path); }
    void AddVector(const char* name, std::initializer_list<TavInt> ints, bool settable = true) {
        TavVector_TavPropertyValue elems;
        TavVector_TavPropertyValueConstructDefault(&elems, alloc);
        for (TavInt i : ints) {
            const TavPropertyValue e = Int(i);
            TavVector_TavPropertyValuePushBack(&elems, &e);
        }
        EXPECT_TRUE(TavPropertiesAddVectorValueCStr(&bag, name, &elems, settable)) << name;
        TavVector_TavPropertyValueDestruct(&elems);
    }
    auto* Get(const char* path) { return TavPropertiesGetPropertyAtPathCStrConst(&bag, path); }
    TavPropertyValue* Top(const char* name) { return TavPropertiesGetPropertyCStr(&bag, name); }

    tavtest::CountingAllocator alloc;
    TavProperties bag;
    Log log;
};

// Each row: the path, what Get finds in the bag built below, and what Add and Set of an Int at
// that path do to an empty bag (their result, and the one top-level name left there, if any).
TEST_F(Paths, EveryFormOfPathFindsAndStoresWhereItsComponentsSay) {
    ASSERT_TRUE(Add("a.b.c", Int(3)));
    AddVector("list", {0, 1, 2});
    ASSERT_TRUE(kSet(&bag, "list[2]", Top("a")) && Add("list[2].name", Int(12)));  // a bag copy
    AddVector("ab", {20, 21});
    const TavPropertyValue five = Int(5), six = Int(6);
    ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "a]", &five));
    ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "a\\.b", &six));
    struct Row { const char* path; const char* found; bool stored; const char* made; };
    const Row rows[] = {
        {"a", "bag1", true, "a"},
        {"a.b.c", "3", true, "a"},
        {"list[2]", "bag2", false, ""},
        {"list[2].name", "12", false, ""},
        {"list[ 2 ]", "bag2", false, ""},
        {"list[]", "0", false, ""},
        {"list[-1]", "[0 1 bag2]", true, "list"},
        {"a[1]b", "21", false, ""},
        {"a[1][2]", "bag1", false, ""},      // an index on a bag is ignored
        {"list[1][2]", "bag2", false, ""},  // the last index read wins
        {"a[x]", "5", true, "a]"},
        {"a\\.b", "6", true, "a\\.b"},
        {"a.", "bag1", true, "a"},
        {"", "-", false, ""},
        {".a", "-", false, ""},
        {"a..b", "bag1", false, "a"},  // a is made on the way and stays
        {"a[1", "bag1", false, "a"},
        {"list[3]", "-", false, ""},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Describe(Get(row.path)), row.found) << row.path;
        for (PathOp op : {kAdd, kSet}) {
            TavProperties empty;
            TavPropertiesConstructDefault(&empty, alloc);
            const TavPropertyValue one = Int(1);
            EXPECT_EQ(op(&empty, row.path, &one), row.stored) << row.path;
            EXPECT_EQ(empty.map.size, *row.made ? 1u : 0u) << row.path;
            EXPECT_TRUE(!*row.made || TavPropertiesGetPropertyCStr(&empty, row.made)) << row.path;
            TavPropertiesDestruct(&empty);
        }
    }
}

TEST_F(Paths, VectorElementsAreInsertedAssignedAndRemovedByIndex) {
    AddVector("list", {0, 1, 2});
    log.clear();
    EXPECT_FALSE(Add("list[4]", Int(40)));
    EXPECT_TRUE(Add("list[3]", Int(30)));
    EXPECT_TRUE(Add("list[0]", Int(-1)));
    EXPECT_FALSE(Set("list[5]", Int(0)));
    EXPECT_TRUE(Set("list[4]", Int(3)));
    EXPECT_TRUE(Remove("list[0]"));
    EXPECT_FALSE(Remove("list[4]"));
    EXPECT_EQ(Describe(Top("list")), "[0 1 2 3]");
    // A removal reports the vector's value (before and after), not the element.
    EXPECT_EQ(log, (Log{"B list -/30", "A list -/30", "B list -/-1", "A list -/-1", "B list 30/3",
                        "A list 3/3", "B list [-1 0 1 2 3]/-", "A list [0 1 2 3]/-"}));
}

TEST_F(Paths, RefusedChangesTellNoListenerAndLeaveEverythingInPlace) {
    AddVector("fixed", {0, 1}, false);
    ASSERT_TRUE(Add("s", Int(1, false)) && Add("a.x", Int(1)));
    Top("a")->settable = TAV_FALSE;  // a's holder is fixed from now on
    ASSERT_TRUE(Add("a.w", Int(1)));  // a last name is added even inside a fixed bag
    log.clear();
    EXPECT_FALSE(Add("fixed[0]", Int(9)));
    EXPECT_FALSE(Remove("fixed[0]"));
    EXPECT_FALSE(Set("s", Int(2)));
    EXPECT_FALSE(Add("s", Int(2)));        // present
    EXPECT_FALSE(Add("s.x", Int(1)));      // an Int is no bag to descend into
    EXPECT_FALSE(Add("a.y.z", Int(1)));    // nothing is created inside a fixed bag
    EXPECT_FALSE(Remove("a.x"));           // the holding bag decides, not x's own flag
    EXPECT_FALSE(Remove("a[1"));
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(Describe(Top("fixed")) + Describe(Get("s")) + Describe(Get("a.x")), "[0 1]11");
    EXPECT_EQ(Get("a.y"), nullptr);
    const TavPropertyValue two = Int(2);
    EXPECT_FALSE(TavPropertiesAddPropertyCStr(&bag, "s", &two));  // by name, Before is called
    EXPECT_TRUE(Remove("s"));  // in the top bag, whatever the entry's own flag
    EXPECT_EQ(log, (Log{"B s -/2", "B s 1/-", "A s -/-"}));
}

TEST_F(Paths, OneSetThroughAMissingBagHearsOneInsertion) {
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(&bag, "video.width", 640, TAV_TRUE));
    EXPECT_EQ(log, (Log{"B video -/bag0", "A video -/bag0"}));
    EXPECT_EQ(*TavPropertiesGetTypeValueCStr(&bag, "video"), TAV_PROPERTYVALUE_TYPE_Properties);
    EXPECT_TRUE(*TavPropertiesIsSettableValueCStr(&bag, "video"));
    EXPECT_EQ(*TavPropertiesGetIntValueCStr(&bag, "video.width"), 640);
}

TEST_F(Paths, FailedSetKeepsTheBagsMadeOnTheWayAndLeaksNothing) {
    const std::string path = "a.b." + std::string(200, 'x');  // past the reader's own buffer
    tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        const bool ok = Set(path.c_str(), Int(1)), hit = alloc.Failed();
        if (!hit) alloc.FailAt(0);
        EXPECT_EQ(ok, !hit) << k;
        EXPECT_EQ(ok, Get(path.c_str()) != nullptr) << k;
        const TavPropertyValue* a = Get("a");
        EXPECT_TRUE(!a || (a->settable && a->type == TAV_PROPERTYVALUE_TYPE_Properties)) << k;
        TavPropertiesDestruct(&bag);  // the next attempt starts from an empty bag again
        TavPropertiesConstructDefault(&bag, alloc);
    });
}

}  // namespace
