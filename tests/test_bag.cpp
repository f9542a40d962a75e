// The bag's by-name operations, life cycle and listener calls: what each
// outcome tells the listeners, in which order, and what a failure leaves.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "CountingAllocator.hpp"

using Lines = std::vector<std::string>;

namespace {

constexpr auto kBefore = TAV_PROPERTYLISTENER_TRIGGER_Before;
constexpr auto kAfter = TAV_PROPERTYLISTENER_TRIGGER_After;

std::string Describe(const TavPropertyValue* v) {
    if (!v) return "-";
    if (const TavInt* i = TavPropertyValueGetInt(v)) return std::to_string(*i);
    if (const TavString* s = TavPropertyValueGetString(v)) return "'" + std::string(s->buf) + "'";
    return "k" + std::to_string(TavPropertyValueGetType(v));
}

// One line per call, "B name old/new" (A for After), with a "*" when the bag
// argument is not `home`; and the value arguments themselves.
struct Log {
    const TavProperties* home = nullptr;
    Lines lines;
    std::vector<std::pair<const TavPropertyValue*, const TavPropertyValue*>> args;
};

void Record(const TavPropertyListener* l, TavProperties* bag, const TavString* name,
            const TavPropertyValue* oldValue, const TavPropertyValue* newValue) {
    // Callbacks get a snapshot's copy of the record, never the bag's own.
    EXPECT_FALSE(std::less_equal<>()(bag->listeners.begin, l) && std::less<>()(l, bag->listeners.end));
    Log* log = static_cast<Log*>(l->data);
    log->lines.push_back(std::string(l->trigger == kBefore ? "B " : "A ") + name->buf + " " +
                         Describe(oldValue) + "/" + Describe(newValue) + (bag == log->home ? "" : " *"));
    log->args.emplace_back(oldValue, newValue);
}

// Adds to the bag (or removes from it) a listener made of these fields.
bool Register(bool add, TavProperties* bag, TavPropertyListenerTrigger t, void* data,
              const char* name = nullptr, TavPropertyListenerCallback cb = Record) {
    TavPropertyListener l;
    TavAllocator* a = TavPropertiesGetAllocator(bag);
    if (!TavPropertyListenerConstructCStr(&l, t, name, cb, data, a)) return false;
    const bool done = add ? TavPropertiesAddListener(bag, &l) : TavPropertiesRemoveListener(bag, &l);
    TavPropertyListenerDestruct(&l);
    return done;
}

// From inside a Before call: an After listener for the same name.
void ListenForTheAfter(const TavPropertyListener* l, TavProperties* bag, const TavString* name,
                       const TavPropertyValue*, const TavPropertyValue*) {
    EXPECT_TRUE(Register(true, bag, kAfter, l->data, name->buf));
}

std::ptrdiff_t ListenerCount(const TavProperties& bag) { return bag.listeners.end - bag.listeners.begin; }

class Bag : public ::testing::Test {
protected:
    void SetUp() override {
        TavPropertyValueConstructInt(&one, 1, TAV_TRUE);
        TavPropertyValueConstructInt(&two, 2, TAV_TRUE);
        ASSERT_TRUE(TavPropertiesConstructDefault(&bag, alloc));
        ASSERT_TRUE(Register(true, &bag, kBefore, &log) && Register(true, &bag, kAfter, &log));
        Restart();
    }
    void TearDown() override { TavPropertiesDestruct(&bag); }
    void Restart() { log = side = Log{&bag, {}, {}}; }

    tavtest::CountingAllocator alloc;
    // All listener data lives here, past the destruction (which tells them) in TearDown.
    Log log, side;
    TavProperties bag;
    TavPropertyValue one, two;  // plain kinds: they own nothing to destroy
};

TEST_F(Bag, EachByNameOutcomeAndTheDestructionTellTheListenersInOrder) {
    TavPropertyValue fixed, text;
    TavPropertyValueConstructInt(&fixed, 3, TAV_FALSE);
    ASSERT_TRUE(TavPropertyValueConstructStringCStr(&text, "x", TAV_FALSE, alloc));
    // "n": a copy of the bag, listeners included, that gets "y" and "x".
    ASSERT_TRUE(TavPropertiesAddPropertiesValueCStr(&bag, "n", &bag, TAV_TRUE));
    for (const char* path : {"n.y", "n.x"}) ASSERT_TRUE(TavPropertiesAddIntValueCStr(&bag, path, 1, TAV_TRUE));
    Restart();

    EXPECT_TRUE(TavPropertiesAddPropertyCStr(&bag, "m", &one) && !TavPropertiesAddPropertyCStr(&bag, "m", &two));
    TavPropertyValue* entry = TavPropertiesGetPropertyCStr(&bag, "m");
    EXPECT_TRUE(TavPropertiesSetPropertyCStr(&bag, "m", &text));  // in place, same flag, new kind
    EXPECT_TRUE(TavPropertiesGetPropertyCStr(&bag, "m") == entry && TavPropertyValueIsSettable(entry));
    EXPECT_TRUE(TavPropertiesSetPropertyCStr(&bag, "f", &fixed));
    EXPECT_FALSE(TavPropertiesSetPropertyCStr(&bag, "f", &one));
    EXPECT_TRUE(TavPropertiesRemovePropertyCStr(&bag, "f") && !TavPropertiesRemovePropertyCStr(&bag, "f"));
    alloc.FailAt(1, true);  // no temporary name: the CStr forms fail, telling nobody
    EXPECT_FALSE(TavPropertiesAddPropertyCStr(&bag, "z", &one) || TavPropertiesGetPropertyCStr(&bag, "m") ||
                 TavPropertiesSetPropertyCStr(&bag, "m", &one) || TavPropertiesRemovePropertyCStr(&bag, "m"));
    alloc.FailAt(0);
    ASSERT_TRUE(Register(true, &bag, kBefore, &log, "b", ListenForTheAfter));
    EXPECT_TRUE(TavPropertiesAddPropertyCStr(&bag, "b", &two));
    TavPropertiesDestruct(&bag);
    EXPECT_EQ(log.lines, (Lines{"B m -/1", "A m -/1", "B m -/2", "B m 1/'x'", "A m 'x'/'x'",          //
                                "B f -/3", "A f -/3", "B f 3/1", "B f 3/-", "A f -/-",                //
                                "B b -/2", "A b -/2", "A b -/2",                                      //
                                "B b 2/-", "A b -/-", "A b -/-", "A b -/-", "B m 'x'/-", "A m -/-",  //
                                "B n k15/-", "B x 1/- *", "A x -/- *", "B y 1/- *", "A y -/- *",     //
                                "A n -/-"}));
    // The caller's value and the entry itself, never copies.
    EXPECT_TRUE(log.args[0].second == &one && log.args[3].first == entry);
    EXPECT_TRUE(log.args[4].first == &text && log.args[4].second == &text);
    TavPropertyValueDestruct(&text);
    ASSERT_TRUE(TavPropertiesConstructDefault(&bag, alloc));  // for TearDown
}

TEST_F(Bag, CopiesCarryTheListenersAssignTakesThemAndEqualIgnoresThem) {
    ASSERT_TRUE(TavPropertiesAddPropertyCStr(&bag, "a", &one));
    tavtest::CountingAllocator other;
    TavProperties copy, target;
    ASSERT_TRUE(TavPropertiesConstructCopy(&copy, &bag) && TavPropertiesConstructDefault(&target, other));
    ASSERT_TRUE(TavPropertiesAddPropertyCStr(&target, "t", &one));
    ASSERT_TRUE(Register(true, &copy, kAfter, &side) && Register(true, &target, kBefore, &side));
    EXPECT_TRUE(TavPropertiesEqual(&copy, &bag));
    Restart();
    ASSERT_TRUE(TavPropertiesAddPropertyCStr(&copy, "b", &one));
    ASSERT_EQ(TavPropertiesAssign(&target, &copy), &target);
    EXPECT_TRUE(TavPropertiesEqual(&target, &copy));
    log.home = side.home = &target;
    ASSERT_TRUE(TavPropertiesRemovePropertyCStr(&target, "a"));
    // Nobody heard of "t" going; the target now tells the copy's listeners.
    EXPECT_EQ(log.lines, (Lines{"B b -/1 *", "A b -/1 *", "B a 1/-", "A a -/-"}));
    EXPECT_EQ(side.lines, (Lines{"A b -/1 *", "A a -/-"}));
    for (TavProperties* b : {&target, &copy}) TavPropertiesDestruct(b);
}

TEST_F(Bag, ListenersMatchTheirNameAndAreRemovedOneCopyAtATime) {
    ASSERT_TRUE(Register(true, &bag, kAfter, &side, "a") && Register(true, &bag, kAfter, &side, "a"));
    for (const char* name : {"ab", "a"}) TavPropertiesAddPropertyCStr(&bag, name, &one);
    EXPECT_FALSE(Register(false, &bag, kAfter, &log, "a"));  // differs in data only
    EXPECT_TRUE(Register(false, &bag, kAfter, &side, "a"));
    TavPropertiesRemovePropertyCStr(&bag, "a");
    EXPECT_EQ(side.lines, (Lines{"A a -/1", "A a -/1", "A a -/-"}));
}

TEST_F(Bag, FailedCopyAssignAddSetOrAddListenerLeavesWhatTheRulesSay) {
    // The source: a nested bag, a vector of two such and three listeners.
    ASSERT_TRUE(TavPropertiesSetStringCStrValueCStr(&bag, "nested.deep", "text", TAV_TRUE));
    const TavPropertyValue* nested = TavPropertiesGetPropertyCStr(&bag, "nested");
    TavVector_TavPropertyValue elements;
    ASSERT_TRUE(TavVector_TavPropertyValueConstructN(&elements, 2, nested, alloc));
    ASSERT_TRUE(TavPropertiesAddVectorValueCStr(&bag, "vector", &elements, TAV_TRUE));
    TavVector_TavPropertyValueDestruct(&elements);
    ASSERT_TRUE(Register(true, &bag, kBefore, &log, "x"));
    const TavPropertyValue* vector = TavPropertiesGetPropertyCStr(&bag, "vector");
    TavPropertyValue falseBool;  // what a failed change of kind leaves
    TavPropertyValueConstructBool(&falseBool, TAV_FALSE, TAV_TRUE);
    TavString x;
    TavStringConstructCStr(&x, "x", alloc);
    TavProperties copy, other;  // each round, other starts as {x: 1} with a listener for "x"
    const auto holds = [&](const char* name, const TavPropertyValue* v) {
        const TavPropertyValue* entry = TavPropertiesGetPropertyCStrConst(&other, name);
        return entry ? v && TavPropertyValueEqual(entry, v) : !v;
    };
    const auto sameAsBag = [&](const TavProperties& b) {
        return TavPropertiesEqual(&b, &bag) && ListenerCount(b) == ListenerCount(bag);
    };
    using Case = std::pair<std::function<bool()>, std::function<bool(bool)>>;  // operation, check
    const Case cases[] = {
        {[&] { return TavPropertiesConstructCopy(&copy, &bag) != nullptr; },
         [&](bool made) {
             const bool same = !made || sameAsBag(copy);
             if (made) TavPropertiesDestruct(&copy);
             return same;
         }},
        // A failed entry copy keeps the old entries, a failed listener copy the new.
        {[&] { return TavPropertiesAssign(&other, &bag) != nullptr; },
         [&](bool assigned) {
             return assigned ? sameAsBag(other) : TavPropertiesEqual(&other, &bag) != holds("x", &one);
         }},
        {[&] { return TavPropertiesAddPropertyCStr(&other, "y", nested); },
         [&](bool added) { return holds("y", added ? nested : nullptr); }},
        {[&] { return TavPropertiesSetProperty(&other, &x, vector); },  // past the temporary name
         [&](bool set) { return holds("x", set ? vector : &falseBool); }},
        {[&] { return Register(true, &other, kAfter, &log, "n"); },
         [&](bool added) { return ListenerCount(other) == (added ? 2 : 1); }},
    };
    // Each operation fails its k-th allocation, k = 1, 2, ... until it succeeds, leaking nothing.
    const std::size_t live = alloc.liveBlocks();
    for (const Case& c : cases) {
        EXPECT_GT(tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
            alloc.FailAt(0);
            ASSERT_TRUE(TavPropertiesConstructDefault(&other, alloc));
            ASSERT_TRUE(Register(true, &other, kBefore, &log, "x") && TavPropertiesAddPropertyCStr(&other, "x", &one));
            alloc.FailAt(k);
            const bool ok = c.first();
            if (!alloc.Failed()) alloc.FailAt(0);  // the check may allocate
            EXPECT_TRUE(c.second(ok)) << "failing allocation " << k;
            TavPropertiesDestruct(&other);
            EXPECT_EQ(alloc.liveBlocks(), live) << "failing allocation " << k;
        }), 0u);
    }
    TavStringDestruct(&x);
}

}  // namespace
