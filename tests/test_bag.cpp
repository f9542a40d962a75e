// The bag's by-name operations, life cycle and listener calls: what each
// outcome tells the listeners, in which order, and what a failure leaves.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "CountingAllocator.hpp"

using tavtest::CountingAllocator;

namespace {

constexpr auto kBefore = TAV_PROPERTYLISTENER_TRIGGER_Before;
constexpr auto kAfter = TAV_PROPERTYLISTENER_TRIGGER_After;

std::string Describe(const TavPropertyValue* v) {
    if (!v) return "-";
    if (const TavInt* i = TavPropertyValueGetInt(v)) return std::to_string(*i);
    if (const TavString* s = TavPropertyValueGetString(v)) return "'" + std::string(s->buf) + "'";
    return "k" + std::to_string(TavPropertyValueGetType(v));
}

// One line per call: "B name old/new" (A for After), plus the raw arguments.
struct Log {
    std::vector<std::string> lines;
    std::vector<const TavPropertyValue*> olds, news;
    std::vector<TavProperties*> bags;
};

void Record(const TavPropertyListener* l, TavProperties* bag, const TavString* name,
            const TavPropertyValue* oldValue, const TavPropertyValue* newValue) {
    // Callbacks get a snapshot's copy of the record, never the bag's own.
    EXPECT_FALSE(std::less_equal<>()(bag->listeners.begin, l) && std::less<>()(l, bag->listeners.end));
    Log* log = static_cast<Log*>(l->data);
    log->lines.push_back(std::string(l->trigger == kBefore ? "B " : "A ") + name->buf + " " +
                         Describe(oldValue) + "/" + Describe(newValue));
    log->olds.push_back(oldValue);
    log->news.push_back(newValue);
    log->bags.push_back(bag);
}

void Listen(TavProperties* bag, TavPropertyListenerTrigger t, void* data, const char* name = nullptr,
            TavPropertyListenerCallback cb = Record) {
    TavPropertyListener l;
    ASSERT_TRUE(TavPropertyListenerConstructCStr(&l, t, name, cb, data, TavPropertiesGetAllocator(bag)));
    ASSERT_TRUE(TavPropertiesAddListener(bag, &l));
    TavPropertyListenerDestruct(&l);  // the bag keeps its own copy
}

struct Int {
    TavPropertyValue v;
    explicit Int(TavInt i, bool settable = true) { TavPropertyValueConstructInt(&v, i, settable); }
    ~Int() { TavPropertyValueDestruct(&v); }
};

class Bag : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(TavPropertiesConstructDefault(&bag, alloc));
        Listen(&bag, kBefore, &log);
        Listen(&bag, kAfter, &log);
    }
    void TearDown() override { TavPropertiesDestruct(&bag); }
    TavInt IntAt(const char* name) { return *TavPropertyValueGetInt(TavPropertiesGetPropertyCStr(&bag, name)); }

    CountingAllocator alloc;
    TavProperties bag;
    Log log;
};

TEST_F(Bag, EachByNameOutcomeTellsTheListenersWhatTheRulesSay) {
    Int one(1), two(2), fixed(3, false);
    EXPECT_TRUE(TavPropertiesAddPropertyCStr(&bag, "a", &one.v));
    EXPECT_FALSE(TavPropertiesAddPropertyCStr(&bag, "a", &two.v));  // present: Before only
    TavPropertyValue* entry = TavPropertiesGetPropertyCStr(&bag, "a");
    EXPECT_TRUE(TavPropertiesSetPropertyCStr(&bag, "a", &two.v));     // assigned in place
    EXPECT_EQ(TavPropertiesGetPropertyCStr(&bag, "a"), entry);
    EXPECT_TRUE(TavPropertiesSetPropertyCStr(&bag, "f", &fixed.v));   // absent: added
    EXPECT_FALSE(TavPropertiesSetPropertyCStr(&bag, "f", &one.v));    // not settable
    EXPECT_TRUE(TavPropertiesRemovePropertyCStr(&bag, "f"));          // removed all the same
    EXPECT_FALSE(TavPropertiesRemovePropertyCStr(&bag, "f"));         // absent: silent
    EXPECT_EQ(TavPropertiesGetPropertyCStr(&bag, "f"), nullptr);
    EXPECT_EQ(IntAt("a"), 2);
    EXPECT_EQ(log.lines, (std::vector<std::string>{"B a -/1", "A a -/1", "B a -/2", "B a 1/2", "A a 2/2",
                                                   "B f -/3", "A f -/3", "B f 3/1", "B f 3/-", "A f -/-"}));
    // Listeners see the entry and the caller's value, never a copy.
    EXPECT_EQ(log.news[1], &one.v);
    EXPECT_EQ(log.olds[3], entry);
    EXPECT_EQ(log.olds[4], &two.v);
    EXPECT_EQ(log.news[4], &two.v);
}

TEST_F(Bag, SetChangesKindButKeepsTheEntrysSettableFlag) {
    Int one(1);
    TavPropertyValue text;
    ASSERT_TRUE(TavPropertyValueConstructStringCStr(&text, "x", TAV_FALSE, alloc));
    ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "a", &one.v));
    EXPECT_TRUE(TavPropertiesSetPropertyCStr(&bag, "a", &text));
    EXPECT_TRUE(TavPropertyValueIsSettable(TavPropertiesGetPropertyCStrConst(&bag, "a")));
    EXPECT_EQ(log.lines.back(), "A a 'x'/'x'");
    TavPropertyValueDestruct(&text);
}

TEST_F(Bag, TheEmptyNameIsOrdinaryAndCStrFormsFailBeforeTouchingTheBag) {
    Int one(1);
    TavString empty;
    TavStringConstructDefault(&empty, alloc);
    EXPECT_TRUE(TavPropertiesAddProperty(&bag, &empty, &one.v));
    EXPECT_EQ(TavPropertiesGetPropertyConst(&bag, &empty), TavPropertiesGetProperty(&bag, &empty));
    EXPECT_TRUE(TavPropertiesSetProperty(&bag, &empty, &one.v));
    ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "a", &one.v));
    log.lines.clear();
    alloc.FailAt(1, true);  // no temporary name can be made
    EXPECT_FALSE(TavPropertiesAddPropertyCStr(&bag, "b", &one.v));
    EXPECT_FALSE(TavPropertiesSetPropertyCStr(&bag, "a", &one.v));
    EXPECT_FALSE(TavPropertiesRemovePropertyCStr(&bag, "a"));
    EXPECT_EQ(TavPropertiesGetPropertyCStrConst(&bag, "a"), nullptr);
    alloc.FailAt(0);
    EXPECT_TRUE(log.lines.empty());
    EXPECT_NE(TavPropertiesGetPropertyCStr(&bag, "a"), nullptr);
    EXPECT_EQ(TavPropertiesGetPropertyCStr(&bag, "b"), nullptr);
    EXPECT_TRUE(TavPropertiesRemoveProperty(&bag, &empty));
    EXPECT_EQ(log.lines, (std::vector<std::string>{"B  1/-", "A  -/-"}));
    TavStringDestruct(&empty);
}

TEST_F(Bag, ListenersMatchTheirNameOnlyAndAreCalledOncePerRegistration) {
    Log named;
    Listen(&bag, kAfter, &named, "a");
    Listen(&bag, kAfter, &named, "a");
    Int one(1);
    TavPropertiesAddPropertyCStr(&bag, "ab", &one.v);
    TavPropertiesAddPropertyCStr(&bag, "a", &one.v);
    EXPECT_EQ(named.lines, (std::vector<std::string>{"A a -/1", "A a -/1"}));

    TavPropertyListener pattern;
    TavPropertyListenerConstructCStr(&pattern, kAfter, "a", Record, &log, alloc);
    EXPECT_FALSE(TavPropertiesRemoveListener(&bag, &pattern));  // differs in data only
    pattern.data = &named;
    EXPECT_TRUE(TavPropertiesRemoveListener(&bag, &pattern));
    TavPropertyListenerDestruct(&pattern);
    TavPropertiesRemovePropertyCStr(&bag, "a");
    EXPECT_EQ(named.lines.size(), 3u);
}

// Adds an After listener for the same name from inside a Before call, and
// removes the fixture's Before listener, which still hears the current event.
void AddAndRemoveDuringBefore(const TavPropertyListener* l, TavProperties* bag, const TavString* name,
                              const TavPropertyValue*, const TavPropertyValue*) {
    Listen(bag, kAfter, l->data, name->buf);
    TavPropertyListener before;
    TavPropertyListenerConstructCStr(&before, kBefore, nullptr, Record, l->data, TavPropertiesGetAllocator(bag));
    TavPropertiesRemoveListener(bag, &before);
    TavPropertyListenerDestruct(&before);
}

TEST_F(Bag, ListenerChangesMadeDuringACallCountFromTheNextEvent) {
    Listen(&bag, kBefore, &log, nullptr, AddAndRemoveDuringBefore);
    Int one(1);
    TavPropertiesAddPropertyCStr(&bag, "a", &one.v);
    TavPropertiesRemovePropertyCStr(&bag, "a");
    EXPECT_EQ(log.lines, (std::vector<std::string>{"B a -/1", "A a -/1", "A a -/1",  //
                                                   "A a -/-", "A a -/-", "A a -/-"}));
}

// The nested bag is destructed with its entry, between the outer calls.
TEST_F(Bag, DestructionRemovesEntriesInNameOrderNestedBagsIncluded) {
    TavProperties inner;
    ASSERT_TRUE(TavPropertiesConstructDefault(&inner, alloc));
    Listen(&inner, kBefore, &log);  // one log, to see the interleaving
    Listen(&inner, kAfter, &log);
    Int one(1), two(2);
    TavPropertiesAddPropertyCStr(&inner, "y", &one.v);
    TavPropertiesAddPropertyCStr(&inner, "x", &one.v);
    TavPropertyValue nested;
    ASSERT_TRUE(TavPropertyValueConstructProperties(&nested, &inner, TAV_TRUE));
    TavPropertiesAddPropertyCStr(&bag, "n", &nested);
    TavPropertiesAddPropertyCStr(&bag, "a", &two.v);
    log.lines.clear();
    log.bags.clear();
    TavPropertiesDestruct(&bag);
    EXPECT_EQ(log.lines, (std::vector<std::string>{"B a 2/-", "A a -/-", "B n k15/-", "B x 1/-", "A x -/-",
                                                   "B y 1/-", "A y -/-", "A n -/-"}));
    EXPECT_NE(log.bags[3], &inner);  // the stored copy, not the bag it was made from
    TavPropertyValueDestruct(&nested);
    TavPropertiesDestruct(&inner);
    ASSERT_TRUE(TavPropertiesConstructDefault(&bag, alloc));  // for TearDown
}

TEST_F(Bag, CopiesAndAssignmentsCarryListenersWhichEqualityIgnores) {
    Int one(1), two(2);
    TavPropertiesAddPropertyCStr(&bag, "a", &one.v);
    TavProperties copy;
    ASSERT_TRUE(TavPropertiesConstructCopy(&copy, &bag));
    EXPECT_EQ(TavPropertiesGetAllocator(&copy), alloc.get());
    Log copyLog;
    Listen(&copy, kAfter, &copyLog);
    EXPECT_TRUE(TavPropertiesEqual(&copy, &bag));
    log.bags.clear();
    TavPropertiesAddPropertyCStr(&copy, "b", &two.v);
    EXPECT_EQ(log.bags, (std::vector<TavProperties*>{&copy, &copy}));  // the source's listeners
    EXPECT_FALSE(TavPropertiesEqual(&copy, &bag));

    // Assigning replaces entries and listeners without telling the old ones.
    CountingAllocator other;
    TavProperties target;
    ASSERT_TRUE(TavPropertiesConstructDefault(&target, other));
    Log targetLog;
    Listen(&target, kBefore, &targetLog);
    TavPropertiesAddPropertyCStr(&target, "t", &one.v);
    log.lines.clear();
    copyLog.lines.clear();
    ASSERT_EQ(TavPropertiesAssign(&target, &copy), &target);
    EXPECT_TRUE(TavPropertiesEqual(&target, &copy));
    EXPECT_EQ(TavPropertiesGetAllocator(&target), other.get());
    EXPECT_EQ(targetLog.lines.size(), 1u);
    TavPropertiesRemovePropertyCStr(&target, "b");
    EXPECT_EQ(targetLog.lines.size(), 1u);
    EXPECT_EQ(copyLog.lines, (std::vector<std::string>{"A b -/-"}));
    EXPECT_EQ(log.lines.size(), 2u);
    TavPropertiesDestruct(&target);
    TavPropertiesDestruct(&copy);
}

// ---- allocation failures ----------------------------------------------------

// A nested bag with a named listener, a vector and a string, in `bag`.
void Fill(TavProperties* bag, CountingAllocator& alloc, Log* log) {
    TavProperties inner;
    TavPropertiesConstructDefault(&inner, alloc);
    Listen(&inner, kAfter, log, "deep");
    TavPropertyValue text, vector, nested;
    TavPropertyValueConstructStringCStr(&text, "text", TAV_TRUE, alloc);
    TavPropertiesAddPropertyCStr(&inner, "deep", &text);
    TavVector_TavPropertyValue elements;
    TavVector_TavPropertyValueConstructN(&elements, 3, &text, alloc);
    TavPropertyValueConstructVector(&vector, &elements, TAV_TRUE);
    TavPropertyValueConstructProperties(&nested, &inner, TAV_TRUE);
    TavPropertiesAddPropertyCStr(bag, "nested", &nested);
    TavPropertiesAddPropertyCStr(bag, "vector", &vector);
    for (TavPropertyValue* v : {&text, &vector, &nested}) TavPropertyValueDestruct(v);
    TavVector_TavPropertyValueDestruct(&elements);
    TavPropertiesDestruct(&inner);
}

// Fails the k-th allocation of `op` alone, for k = 1, 2, ... . `prepare` runs
// unarmed; once the failure has hit, later allocations succeed, so `check`
// may allocate; in the last round, which nothing failed, it runs unarmed.
// Every round must give back all it took.
template <class Prepare, class Op, class Check>
void SweepOp(CountingAllocator& alloc, Prepare prepare, Op op, Check check) {
    const std::size_t live = alloc.liveBlocks();
    const std::size_t points = tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        alloc.FailAt(0);
        prepare();
        alloc.FailAt(k);
        const bool ok = op();
        if (!alloc.Failed()) alloc.FailAt(0);
        check(ok);
        EXPECT_EQ(alloc.liveBlocks(), live) << "failing allocation " << k;
    });
    EXPECT_GT(points, 0u);
}

std::ptrdiff_t ListenerCount(const TavProperties& bag) { return bag.listeners.end - bag.listeners.begin; }

TEST_F(Bag, FailedCopyAssignOrDestructLeavesNothingHalfBuilt) {
    Fill(&bag, alloc, &log);
    Listen(&bag, kBefore, &log, "named");
    TavProperties other;
    SweepOp(alloc, [] {}, [&] { return TavPropertiesConstructCopy(&other, &bag) != nullptr; },
            [&](bool made) {
                if (!made) return;
                EXPECT_TRUE(TavPropertiesEqual(&other, &bag));
                EXPECT_EQ(ListenerCount(other), 3);
                TavPropertiesDestruct(&other);
            });
    Int old(7);
    SweepOp(alloc,
            [&] {
                TavPropertiesConstructDefault(&other, alloc);
                TavPropertiesAddPropertyCStr(&other, "old", &old.v);
            },
            [&] { return TavPropertiesAssign(&other, &bag) != nullptr; },
            [&](bool assigned) {
                // A failed map copy leaves the old entries; a failed listener
                // copy comes after the entries were taken.
                const bool taken = TavPropertiesEqual(&other, &bag);
                EXPECT_TRUE(assigned ? taken && ListenerCount(other) == 3
                                     : taken || TavPropertiesGetPropertyCStr(&other, "old"));
                TavPropertiesDestruct(&other);
            });
    SweepOp(alloc, [&] { TavPropertiesConstructCopy(&other, &bag); },
            [&] { return TavPropertiesDestruct(&other), true; }, [](bool) {});
}

TEST_F(Bag, FailedAddSetOrAddListenerLeavesWhatTheRulesSay) {
    Fill(&bag, alloc, &log);
    Listen(&bag, kBefore, &log, "x");
    TavString x;
    TavStringConstructCStr(&x, "x", alloc);
    const TavPropertyValue* nested = TavPropertiesGetPropertyCStr(&bag, "nested");
    const TavPropertyValue* vector = TavPropertiesGetPropertyCStr(&bag, "vector");
    const auto holds = [&](const TavPropertyValue* v) {
        const TavPropertyValue* entry = TavPropertiesGetPropertyConst(&bag, &x);
        return entry && TavPropertyValueEqual(entry, v);
    };
    const auto removeX = [&] { TavPropertiesRemoveProperty(&bag, &x); };
    SweepOp(alloc, [] {}, [&] { return TavPropertiesAddProperty(&bag, &x, nested); },
            [&](bool added) {
                EXPECT_EQ(added, holds(nested));
                EXPECT_EQ(added, TavPropertiesGetProperty(&bag, &x) != nullptr);
                removeX();
            });
    Int one(1);
    TavPropertyValue falseBool;
    TavPropertyValueConstructBool(&falseBool, TAV_FALSE, TAV_TRUE);
    // A kind change that fails leaves a false Bool.
    SweepOp(alloc, [&] { TavPropertiesAddProperty(&bag, &x, &one.v); },
            [&] { return TavPropertiesSetProperty(&bag, &x, vector); },
            [&](bool set) {
                EXPECT_TRUE(holds(set ? vector : &falseBool));
                removeX();
            });
    TavStringDestruct(&x);
    TavPropertyListener named;
    ASSERT_TRUE(TavPropertyListenerConstructCStr(&named, kAfter, "n", Record, &log, alloc));
    SweepOp(alloc, [] {}, [&] { return TavPropertiesAddListener(&bag, &named); }, [&](bool added) {
        EXPECT_EQ(ListenerCount(bag), added ? 4 : 3);
        EXPECT_TRUE(!added || TavPropertiesRemoveListener(&bag, &named));
    });
    TavPropertyListenerDestruct(&named);
}

}  // namespace
