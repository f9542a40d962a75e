// Path addressing through real bags: how a path is read, what Get finds, and
// what Add, Set and Remove change and tell the listeners on the way.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CountingAllocator.hpp"

using tavtest::CountingAllocator;

namespace {

std::string Describe(const TavPropertyValue* v) {
    if (!v) return "-";
    if (const TavInt* i = TavPropertyValueGetInt(v)) return std::to_string(*i);
    if (const TavVector_TavPropertyValue* vec = TavPropertyValueGetVector(v)) {
        return "vec" + std::to_string(TavVector_TavPropertyValueSize(vec));
    }
    return TavPropertyValueGetProperties(v) ? "bag" : "?";
}

void Record(const TavPropertyListener* l, TavProperties*, const TavString* name,
            const TavPropertyValue* oldValue, const TavPropertyValue* newValue) {
    static_cast<std::vector<std::string>*>(l->data)->push_back(
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
    void SetUp() override { ASSERT_TRUE(TavPropertiesConstructDefault(&bag, alloc)); }
    void TearDown() override { TavPropertiesDestruct(&bag); }

    void Listen(TavProperties* b) {
        for (auto t : {TAV_PROPERTYLISTENER_TRIGGER_Before, TAV_PROPERTYLISTENER_TRIGGER_After}) {
            TavPropertyListener l;
            TavPropertyListenerConstructCStr(&l, t, nullptr, Record, &log, alloc);
            TavPropertiesAddListener(b, &l);
            TavPropertyListenerDestruct(&l);
        }
    }
    bool Add(const char* path, TavPropertyValue v) {
        const bool ok = TavPropertiesAddPropertyAtPathCStr(&bag, path, &v);
        TavPropertyValueDestruct(&v);
        return ok;
    }
    bool Set(const char* path, TavPropertyValue v) {
        const bool ok = TavPropertiesSetPropertyAtPathCStr(&bag, path, &v);
        TavPropertyValueDestruct(&v);
        return ok;
    }
    TavPropertyValue Bag(bool settable = true) {
        TavProperties empty;
        TavPropertiesConstructDefault(&empty, alloc);
        TavPropertyValue v;
        TavPropertyValueConstructProperties(&v, &empty, settable);
        TavPropertiesDestruct(&empty);
        return v;
    }
    // A vector entry holding Int elements 0, 1, ... n-1 (and a bag at index
    // withBagAt when given).
    void AddVector(const char* name, int n, bool settable = true, int withBagAt = -1) {
        TavVector_TavPropertyValue elems;
        TavVector_TavPropertyValueConstructDefault(&elems, alloc);
        for (int i = 0; i < n; ++i) {
            TavPropertyValue e = i == withBagAt ? Bag() : Int(i);
            TavVector_TavPropertyValuePushBack(&elems, &e);
            TavPropertyValueDestruct(&e);
        }
        TavPropertyValue v;
        TavPropertyValueConstructVector(&v, &elems, settable);
        TavVector_TavPropertyValueDestruct(&elems);
        ASSERT_TRUE(Add(name, v));
    }
    const TavPropertyValue* Get(const char* path) {
        return TavPropertiesGetPropertyAtPathCStrConst(&bag, path);
    }
    const TavPropertyValue* Element(const char* name, TavSizeT i) {
        return TavVector_TavPropertyValueAtConst(
            TavPropertyValueGetVector(TavPropertiesGetPropertyCStr(&bag, name)), i);
    }
    std::string Elements(const char* name) {
        const TavVector_TavPropertyValue* vec =
            TavPropertyValueGetVector(TavPropertiesGetPropertyCStr(&bag, name));
        std::string text;
        for (TavSizeT i = 0; i < TavVector_TavPropertyValueSize(vec); ++i) {
            text += Describe(TavVector_TavPropertyValueAtConst(vec, i)) + " ";
        }
        return text;
    }

    CountingAllocator alloc;
    TavProperties bag;
    std::vector<std::string> log;
};

using Log = std::vector<std::string>;

TEST_F(Paths, GetReadsEveryFormOfComponent) {
    ASSERT_TRUE(Add("a.b.c", Int(3)));
    AddVector("list", 3, true, 2);
    ASSERT_TRUE(Add("list[2].name", Int(12)));
    AddVector("ab", 2);
    const TavPropertyValue five = Int(5);
    ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "a]", &five));
    ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "a\\.b", &five));
    ASSERT_TRUE(Add("n", Int(7)));
    const TavPropertyValue* a = TavPropertiesGetPropertyCStr(&bag, "a");
    const TavPropertyValue* list = TavPropertiesGetPropertyCStr(&bag, "list");
    const struct {
        const char* path;
        const TavPropertyValue* expected;
    } rows[] = {
        {"a", a},
        {"a.b.c",
         TavPropertiesGetPropertyCStr(TavPropertiesGetPropertyCStr(a->u.p, "b")->u.p, "c")},
        {"list[2]", Element("list", 2)},
        {"list[2].name", TavPropertiesGetPropertyCStrConst(Element("list", 2)->u.p, "name")},
        {"list[ 2 ]", Element("list", 2)},
        {"list[]", Element("list", 0)},
        {"list[-1]", list},
        {"a[1]b", Element("ab", 1)},
        {"list[1][2]", Element("list", 2)},
        {"a[x]", TavPropertiesGetPropertyCStr(&bag, "a]")},
        {"a\\.b", TavPropertiesGetPropertyCStr(&bag, "a\\.b")},
        {"a.", a},
        {"a..b", a},
        {"a[1", a},
        {"n[3]", TavPropertiesGetPropertyCStr(&bag, "n")},
        {"", nullptr},
        {".a", nullptr},
        {"list[3]", nullptr},
        {"n.x", nullptr},
        {"missing", nullptr},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Get(row.path), row.expected) << row.path;
        EXPECT_EQ(TavPropertiesGetPropertyAtPathCStr(&bag, row.path), row.expected) << row.path;
    }
}

TEST_F(Paths, AddCreatesSettableNestedBagsAndTellsOnlyTheBagThatChanges) {
    Listen(&bag);
    ASSERT_TRUE(Add("a.b.c", Int(1)));
    EXPECT_EQ(log, (Log{"B a -/bag", "A a -/bag"}));
    EXPECT_TRUE(*TavPropertiesIsSettableValueCStr(&bag, "a"));
    EXPECT_TRUE(*TavPropertiesIsSettableValueCStr(&bag, "a.b"));
    EXPECT_EQ(Describe(Get("a.b.c")), "1");
    log.clear();
    EXPECT_FALSE(Add("a", Int(2)));  // present: unlike the by-name Add, no Before call
    EXPECT_TRUE(log.empty());
    ASSERT_TRUE(Add("n", Int(0)));
    EXPECT_FALSE(Add("n.x", Int(1)));      // an Int is no bag to descend into
    EXPECT_FALSE(Add("list[0]", Int(1)));  // no index on a missing name
    ASSERT_TRUE(Add("frozen", Bag(false)));
    EXPECT_FALSE(Add("frozen.x.y", Int(1)));  // nothing is created inside it
    EXPECT_TRUE(Add("frozen.x", Int(1)));     // but a last name is still added
}

TEST_F(Paths, OddPathsAddWhereTheirComponentsSay) {
    EXPECT_TRUE(Add("a[x]", Int(1)));
    EXPECT_TRUE(Add("a\\.b", Int(2)));
    EXPECT_TRUE(Add("c.", Int(3)));
    EXPECT_TRUE(Set("d.", Int(4)));
    EXPECT_FALSE(Add("", Int(0)));
    EXPECT_FALSE(Add(".e", Int(0)));
    EXPECT_FALSE(Add("f..g", Int(0)));
    EXPECT_FALSE(Add("h[1", Int(0)));
    EXPECT_FALSE(TavPropertiesRemovePropertyAtPathCStr(&bag, "i[1"));
    EXPECT_EQ(bag.map.size, 6u);  // f and h, made on the way, stay
    for (const char* name : {"a]", "a\\.b", "c", "d", "f", "h"}) {
        EXPECT_NE(TavPropertiesGetPropertyCStr(&bag, name), nullptr) << name;
    }
}

TEST_F(Paths, VectorElementsAreInsertedAssignedAndRemovedByIndex) {
    AddVector("list", 3);
    Listen(&bag);
    EXPECT_TRUE(Add("list[3]", Int(30)));
    EXPECT_FALSE(Add("list[5]", Int(50)));
    EXPECT_TRUE(Add("list[0]", Int(-1)));
    EXPECT_TRUE(Add("list[1]", Int(-2)));
    EXPECT_EQ(Elements("list"), "-1 -2 0 1 2 30 ");
    EXPECT_EQ(log, (Log{"B list -/30", "A list -/30", "B list -/-1", "A list -/-1", "B list -/-2",
                        "A list -/-2"}));
    log.clear();
    EXPECT_FALSE(Set("list[6]", Int(0)));
    EXPECT_TRUE(Set("list[5]", Int(3)));
    EXPECT_EQ(log, (Log{"B list 30/3", "A list 3/3"}));
    log.clear();
    EXPECT_TRUE(TavPropertiesRemovePropertyAtPathCStr(&bag, "list[0]"));
    EXPECT_FALSE(TavPropertiesRemovePropertyAtPathCStr(&bag, "list[5]"));
    EXPECT_EQ(Elements("list"), "-2 0 1 2 3 ");
    EXPECT_EQ(log, (Log{"B list vec6/-", "A list vec5/-"}));  // the vector's value, not the element
}

TEST_F(Paths, SettableFlagsDecideWhatAPathMayChange) {
    AddVector("fixed", 2, false);
    Listen(&bag);
    EXPECT_FALSE(Add("fixed[0]", Int(9)));
    EXPECT_FALSE(TavPropertiesRemovePropertyAtPathCStr(&bag, "fixed[0]"));
    ASSERT_TRUE(Add("s", Int(1, false)));
    log.clear();
    EXPECT_FALSE(Set("s", Int(2)));  // refused before any listener is told
    EXPECT_TRUE(log.empty());
    ASSERT_TRUE(Add("a", Bag(false)));
    ASSERT_TRUE(Add("a.x", Int(1)));
    EXPECT_FALSE(TavPropertiesRemovePropertyAtPathCStr(&bag, "a.x"));
    EXPECT_NE(Get("a.x"), nullptr);
    EXPECT_TRUE(TavPropertiesRemovePropertyAtPathCStr(&bag, "s"));  // its own flag doesn't matter
    EXPECT_FALSE(TavPropertiesRemovePropertyAtPathCStr(&bag, "s"));
}

TEST_F(Paths, OneSetThroughAMissingBagHearsOneInsertion) {
    Listen(&bag);
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(&bag, "video.width", 640, TAV_TRUE));
    EXPECT_EQ(log, (Log{"B video -/bag", "A video -/bag"}));
    EXPECT_EQ(*TavPropertiesGetTypeValueCStr(&bag, "video"), TAV_PROPERTYVALUE_TYPE_Properties);
    EXPECT_TRUE(*TavPropertiesIsSettableValueCStr(&bag, "video"));
    EXPECT_EQ(*TavPropertiesGetIntValueCStr(&bag, "video.width"), 640);
}

TEST_F(Paths, FailedSetKeepsTheBagsMadeOnTheWayAndLeaksNothing) {
    const std::string longName(200, 'x');  // past the reader's own buffer
    for (const std::string& path : {std::string("a.b.c"), "a.b." + longName}) {
        tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
            alloc.FailAt(0);
            TavPropertiesDestruct(&bag);
            TavPropertiesConstructDefault(&bag, alloc);
            TavPropertyValue v = Int(1);
            alloc.FailAt(k);
            const bool ok = TavPropertiesSetPropertyAtPathCStr(&bag, path.c_str(), &v);
            const bool hit = alloc.Failed();
            if (!hit) alloc.FailAt(0);
            EXPECT_EQ(ok, !hit) << k;
            EXPECT_EQ(ok, Get(path.c_str()) != nullptr) << k;
            if (const TavPropertyValue* a = Get("a")) {
                EXPECT_TRUE(a->settable && a->type == 15);
            }
        });
    }
}

}  // namespace
