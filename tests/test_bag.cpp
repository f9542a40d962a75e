// By-name operations and the bag's life: what each outcome tells which listeners, in which order.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CountingAllocator.hpp"

namespace {

using Lines = std::vector<std::string>;
constexpr auto kBefore = TAV_PROPERTYLISTENER_TRIGGER_Before;
constexpr auto kAfter = TAV_PROPERTYLISTENER_TRIGGER_After;
constexpr auto Add = TavPropertiesAddPropertyCStr;
constexpr auto Set = TavPropertiesSetPropertyCStr;
constexpr auto Remove = TavPropertiesRemovePropertyCStr;

std::string Describe(const TavPropertyValue* v) {
    if (!v) return "-";
    if (const TavInt* i = TavPropertyValueGetInt(v)) return std::to_string(*i);
    return "k" + std::to_string(TavPropertyValueGetType(v));
}

// One line per call: "B name old/new" (A for After), "*" if the bag argument is not `home`.
struct Log {
    const TavProperties* home = nullptr;
    Lines lines;
};

void Record(const TavPropertyListener* l, TavProperties* bag, const TavString* name,
            const TavPropertyValue* oldValue, const TavPropertyValue* newValue) {
    Log* log = static_cast<Log*>(l->data);
    const std::string change = Describe(oldValue) + "/" + Describe(newValue);
    log->lines.push_back((l->trigger == kBefore ? "B " : "A ") + std::string(name->buf) + " " +
                         change + (bag == log->home ? "" : " *"));
}

// Adds to the bag (or removes from it) a listener made of these fields.
bool Register(bool add, TavProperties* bag, TavPropertyListenerTrigger t, void* data,
              const char* name = nullptr, TavPropertyListenerCallback cb = Record) {
    TavPropertyListener l;
    if (!TavPropertyListenerConstructCStr(&l, t, name, cb, data, TavPropertiesGetAllocator(bag)))
        return false;
    const bool ok = add ? TavPropertiesAddListener(bag, &l) : TavPropertiesRemoveListener(bag, &l);
    TavPropertyListenerDestruct(&l);
    return ok;
}

// From inside a Before call: an After listener for the same name.
void ListenForTheAfter(const TavPropertyListener* l, TavProperties* bag, const TavString* name,
                       const TavPropertyValue*, const TavPropertyValue*) {
    EXPECT_TRUE(Register(true, bag, kAfter, l->data, name->buf));
}

std::ptrdiff_t Listeners(const TavProperties& b) { return b.listeners.end - b.listeners.begin; }

class Bag : public ::testing::Test {
protected:
    void SetUp() override {
        TavPropertyValueConstructInt(&one, 1, TAV_TRUE);
        ASSERT_TRUE(TavPropertiesConstructDefault(&bag, alloc));
        ASSERT_TRUE(Register(true, &bag, kBefore, &log) && Register(true, &bag, kAfter, &log));
        Restart(&bag);
    }
    void TearDown() override { TavPropertiesDestruct(&bag); }
    void Restart(const TavProperties* home) { log = side = Log{home, {}}; }

    tavtest::CountingAllocator alloc;
    // All listener data lives here, past the destruction (which tells them) in TearDown.
    Log log, side;
    TavProperties bag;
    TavPropertyValue one;  // a plain kind: it owns nothing to destroy
};

TEST_F(Bag, EachByNameOutcomeAndTheDestructionTellTheListenersInOrder) {
    TavPropertyValue fixed;
    TavPropertyValueConstructInt(&fixed, 3, TAV_FALSE);
    // "n": a copy of the bag, listeners included, that gets "y" and "x".
    ASSERT_TRUE(TavPropertiesAddPropertiesValueCStr(&bag, "n", &bag, TAV_TRUE));
    for (const char* path : {"n.y", "n.x"})
        ASSERT_TRUE(TavPropertiesAddIntValueCStr(&bag, path, 1, TAV_TRUE));
    Restart(&bag);

    EXPECT_TRUE(Add(&bag, "m", &one));
    EXPECT_FALSE(Add(&bag, "m", &fixed));
    const TavPropertyValue* entry = TavPropertiesGetPropertyCStr(&bag, "m");
    EXPECT_TRUE(Set(&bag, "m", &fixed));
    EXPECT_TRUE(entry->settable);  // in place, keeping its flag
    EXPECT_TRUE(Set(&bag, "f", &fixed));
    EXPECT_FALSE(Set(&bag, "f", &one));
    EXPECT_TRUE(Remove(&bag, "f"));
    EXPECT_FALSE(Remove(&bag, "f"));
    alloc.FailAt(1, true);  // no temporary name: the CStr forms fail, telling nobody
    EXPECT_FALSE(Add(&bag, "z", &one));
    EXPECT_EQ(TavPropertiesGetPropertyCStr(&bag, "m"), nullptr);
    EXPECT_FALSE(Set(&bag, "m", &one));
    EXPECT_FALSE(Remove(&bag, "m"));
    alloc.FailAt(0);
    ASSERT_TRUE(Register(true, &bag, kBefore, &log, "b", ListenForTheAfter));
    EXPECT_TRUE(Add(&bag, "b", &one));
    TavPropertiesDestruct(&bag);
    EXPECT_EQ(log.lines, (Lines{"B m -/1", "A m -/1", "B m -/3", "B m 1/3", "A m 3/3",
                                "B f -/3", "A f -/3", "B f 3/1", "B f 3/-", "A f -/-",
                                "B b -/1", "A b -/1", "A b -/1", "B b 1/-", "A b -/-", "A b -/-",
                                "A b -/-", "B m 3/-", "A m -/-", "B n k15/-", "B x 1/- *",
                                "A x -/- *", "B y 1/- *", "A y -/- *", "A n -/-"}));
    ASSERT_TRUE(TavPropertiesConstructDefault(&bag, alloc));  // for TearDown
}

TEST_F(Bag, CopiesCarryTheListenersAssignTakesThemAndEqualIgnoresThem) {
    ASSERT_TRUE(Add(&bag, "a", &one));
    tavtest::CountingAllocator other;
    TavProperties copy, target;
    ASSERT_TRUE(TavPropertiesConstructCopy(&copy, &bag));
    ASSERT_TRUE(TavPropertiesConstructDefault(&target, other) && Add(&target, "t", &one));
    ASSERT_TRUE(Register(true, &copy, kAfter, &side) && Register(true, &target, kBefore, &side));
    EXPECT_TRUE(TavPropertiesEqual(&copy, &bag));
    Restart(&target);
    ASSERT_TRUE(Add(&copy, "b", &one));
    ASSERT_TRUE(TavPropertiesAssign(&target, &copy) && TavPropertiesEqual(&target, &copy));
    ASSERT_TRUE(Remove(&target, "a"));
    // Nobody heard of "t" going; the target now tells the copy's listeners.
    EXPECT_EQ(log.lines, (Lines{"B b -/1 *", "A b -/1 *", "B a 1/-", "A a -/-"}));
    EXPECT_EQ(side.lines, (Lines{"A b -/1 *", "A a -/-"}));
    for (TavProperties* b : {&target, &copy}) TavPropertiesDestruct(b);
}

TEST_F(Bag, ListenersMatchTheirNameAndAreRemovedOneCopyAtATime) {
    for (int twice = 0; twice < 2; ++twice) ASSERT_TRUE(Register(true, &bag, kAfter, &side, "a"));
    for (const char* name : {"ab", "a"}) Add(&bag, name, &one);
    EXPECT_FALSE(Register(false, &bag, kAfter, &log, "a"));  // differs in data only
    EXPECT_TRUE(Register(false, &bag, kAfter, &side, "a"));
    Remove(&bag, "a");
    EXPECT_EQ(side.lines, (Lines{"A a -/1", "A a -/1", "A a -/-"}));
}

// A failed AddListener adds none. (Add, Set, Copy and Assign under failing allocations: the
// reliability sweep.)
TEST_F(Bag, FailedAddListenerAddsNone) {
    EXPECT_GT(tavtest::SweepAllocationFailures(
                  alloc,
                  [&](std::size_t k) {
                      const bool ok = Register(true, &bag, kAfter, &log, "n");
                      if (!alloc.Failed()) alloc.FailAt(0);
                      EXPECT_EQ(Listeners(bag), ok ? 3 : 2) << k;
                      EXPECT_TRUE(!ok || Register(false, &bag, kAfter, &log, "n")) << k;
                  }),
              1u);
}

}  // namespace
