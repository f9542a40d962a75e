// Allocation failure sweeps over every public operation that allocates: each
// operation runs once per allocation it makes, with that allocation failing,
// and must then report failure the way its rules say, leave the state they
// give, return every block, release its lock and leave a bag that still
// works. The default allocator is pointed at the same counting allocator, so
// wrapped objects and the reader's temporaries fail as well.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "CountingAllocator.hpp"
#include "Os/TavProperties.h"

namespace {

using tavtest::CountingAllocator;
using tavtest::DefaultAllocatorHook;

// ---- counting the failure points -----------------------------------------

std::size_t gFailurePoints = 0;
std::size_t gPoint = 0;  // the allocation failing in the current attempt (1-based)

class FailurePointReport : public ::testing::Environment {
public:
    void TearDown() override {
        std::printf("[ reliability ] allocation failure points exercised: %zu\n", gFailurePoints);
    }
};
[[maybe_unused]] ::testing::Environment* const kReport =
    ::testing::AddGlobalTestEnvironment(new FailurePointReport);

// Makes CountingAllocator::Failed() true again after the checks of an attempt
// (which run disarmed) so that the sweep goes on to the next point.
void MarkFailureHit(CountingAllocator& alloc) {
    alloc.FailAt(1);
    EXPECT_EQ(TavAllocatorAllocate(alloc.get(), 1), nullptr);
}

// One operation swept over its failure points. `setup` builds the starting
// state with memory to spare; `op` runs with the k-th allocation failing and
// says whether it reported success; `check(ok, hit)` verifies the state the
// rules give for that outcome (it runs with memory to spare again);
// `teardown` releases everything. After each attempt every block must be back.
void SweepOperation(CountingAllocator& alloc, const std::function<void()>& setup,
                    const std::function<bool()>& op,
                    const std::function<void(bool ok, bool hit)>& check,
                    const std::function<void()>& teardown) {
    gFailurePoints += tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        const std::size_t live = alloc.liveBlocks();
        gPoint = k;
        alloc.FailAt(0);
        setup();
        alloc.FailAt(k);
        const bool ok = op();
        const bool hit = alloc.Failed();
        alloc.FailAt(0);
        if (!hit) { EXPECT_TRUE(ok) << "the operation fails only for want of memory"; }
        check(ok, hit);
        teardown();
        EXPECT_EQ(alloc.liveBlocks(), live) << "blocks left behind at failure point " << k;
        if (hit) MarkFailureHit(alloc);
    });
}

// A constructor that fails leaves nothing to destroy: its blocks are back at once.
std::function<bool()> Constructing(CountingAllocator& alloc, const std::function<bool()>& make) {
    return [&alloc, make] {
        const std::size_t live = alloc.liveBlocks();
        const bool ok = make();
        if (!ok) { EXPECT_EQ(alloc.liveBlocks(), live) << "a failed constructor keeps blocks"; }
        return ok;
    };
}

// ---- wrapped objects, shared pointers, listeners -------------------------

// A wrapped object owning a string from the default allocator, so that its
// copy and assign callbacks can fail.
struct Boxed {
    TavString text;
};
void* BoxCopy(void* dst, const void* src) {
    return TavStringConstructCopy(&static_cast<Boxed*>(dst)->text,
                                  &static_cast<const Boxed*>(src)->text);
}
void BoxDestruct(void* obj) {
    TavStringDestruct(&static_cast<Boxed*>(obj)->text);
}
void* BoxAssign(void* dst, const void* src) {
    return TavStringAssign(&static_cast<Boxed*>(dst)->text, &static_cast<const Boxed*>(src)->text);
}
TavBool BoxEqual(const void* a, const void* b) {
    return TavStringEqual(&static_cast<const Boxed*>(a)->text, &static_cast<const Boxed*>(b)->text);
}
const TavPropertyValueCallbacks kBoxCallbacks = {&BoxCopy, &BoxDestruct, &BoxAssign, &BoxEqual};

void DeleteInt(TavVoidPtr p, TavAllocator*) {
    delete static_cast<int*>(p);
}

struct EventLog {
    int before = 0, after = 0;
};
void CountEvent(const TavPropertyListener* l, TavProperties*, const TavString*,
                const TavPropertyValue*, const TavPropertyValue*) {
    auto* log = static_cast<EventLog*>(TavPropertyListenerGetData(l));
    ++(TavPropertyListenerGetTrigger(l) == TAV_PROPERTYLISTENER_TRIGGER_Before ? log->before
                                                                               : log->after);
}

void Listen(TavProperties* bag, EventLog* log, const char* name) {
    for (auto trigger : {TAV_PROPERTYLISTENER_TRIGGER_Before, TAV_PROPERTYLISTENER_TRIGGER_After}) {
        TavPropertyListener l;
        ASSERT_NE(TavPropertyListenerConstructCStr(&l, trigger, name, &CountEvent, log,
                                                   TavPropertiesGetAllocator(bag)),
                  nullptr);
        ASSERT_TRUE(TavPropertiesAddListener(bag, &l));
        TavPropertyListenerDestruct(&l);
    }
}

// ---- values of the kinds that own something ------------------------------

TavPropertyValue* MakeValue(TavPropertyValueType kind, TavPropertyValue* v, TavAllocator* a,
                            const char* text, TavBool settable = TAV_TRUE) {
    switch (kind) {
        case TAV_PROPERTYVALUE_TYPE_String:
            return TavPropertyValueConstructStringCStr(v, text, settable, a);
        case TAV_PROPERTYVALUE_TYPE_Properties: {
            TavProperties bag;
            TavPropertiesConstructDefault(&bag, a);
            TavPropertiesSetStringCStrValueCStr(&bag, "text", text, TAV_TRUE);
            TavPropertiesSetIntValueCStr(&bag, "inner.n", 1, TAV_TRUE);
            TavPropertyValue* made = TavPropertyValueConstructProperties(v, &bag, settable);
            TavPropertiesDestruct(&bag);
            return made;
        }
        case TAV_PROPERTYVALUE_TYPE_Vector: {
            TavVector_TavPropertyValue vec;
            TavVector_TavPropertyValueConstructDefault(&vec, a);
            for (auto element :
                 {TAV_PROPERTYVALUE_TYPE_String, TAV_PROPERTYVALUE_TYPE_Properties}) {
                TavPropertyValue e;
                MakeValue(element, &e, a, text);
                TavVector_TavPropertyValuePushBack(&vec, &e);
                TavPropertyValueDestruct(&e);
            }
            TavPropertyValue* made = TavPropertyValueConstructVector(v, &vec, settable);
            TavVector_TavPropertyValueDestruct(&vec);
            return made;
        }
        case TAV_PROPERTYVALUE_TYPE_SharedPtr:
        case TAV_PROPERTYVALUE_TYPE_WeakPtr: {
            TavSharedPtr_void sp;
            TavSharedPtr_voidConstruct(&sp, new int(7), &DeleteInt, a);
            TavWeakPtr_void wp;
            TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
            TavPropertyValue* made =
                kind == TAV_PROPERTYVALUE_TYPE_SharedPtr
                    ? TavPropertyValueConstructSharedPtr(v, &sp, text, settable, a)
                    : TavPropertyValueConstructWeakPtr(v, &wp, text, settable, a);
            TavWeakPtr_voidDestruct(&wp);
            TavSharedPtr_voidDestruct(&sp);
            return made;
        }
        case TAV_PROPERTYVALUE_TYPE_Wrapper: {
            Boxed box;
            TavStringConstructCStr(&box.text, text, TavAllocatorGetDefault());
            TavPropertyValue* made = TavPropertyValueConstructWrapper(
                v, &box, sizeof box, &kBoxCallbacks, "Boxed", settable, a);
            BoxDestruct(&box);
            return made;
        }
        default: return TavPropertyValueConstructInt(v, 5, settable);
    }
}

constexpr TavPropertyValueType kOwningKinds[] = {
    TAV_PROPERTYVALUE_TYPE_String,  TAV_PROPERTYVALUE_TYPE_Properties,
    TAV_PROPERTYVALUE_TYPE_Vector,  TAV_PROPERTYVALUE_TYPE_SharedPtr,
    TAV_PROPERTYVALUE_TYPE_WeakPtr, TAV_PROPERTYVALUE_TYPE_Wrapper};
// The owning kinds and a plain one, between which every assignment is tried.
constexpr TavPropertyValueType kAssignKinds[] = {
    TAV_PROPERTYVALUE_TYPE_String,  TAV_PROPERTYVALUE_TYPE_Properties,
    TAV_PROPERTYVALUE_TYPE_Vector,  TAV_PROPERTYVALUE_TYPE_SharedPtr,
    TAV_PROPERTYVALUE_TYPE_WeakPtr, TAV_PROPERTYVALUE_TYPE_Wrapper,
    TAV_PROPERTYVALUE_TYPE_Int};

// ---- bags ----------------------------------------------------------------

// A bag with an entry of every owning kind, a vector holding a bag, and a
// nested bag with listeners of its own.
void BuildRich(TavProperties* bag, TavAllocator* a, EventLog* nestedLog) {
    ASSERT_NE(TavPropertiesConstructDefault(bag, a), nullptr);
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(bag, "count", 3, TAV_TRUE));
    TavProperties inner;
    ASSERT_NE(TavPropertiesConstructDefault(&inner, a), nullptr);
    Listen(&inner, nestedLog, nullptr);
    ASSERT_TRUE(TavPropertiesSetStringCStrValueCStr(&inner, "s", "inner text", TAV_TRUE));
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(&inner, "deep.y", 2, TAV_TRUE));
    ASSERT_TRUE(TavPropertiesAddPropertiesValueCStr(bag, "nested", &inner, TAV_TRUE));
    TavPropertiesDestruct(&inner);
    const char* names[] = {"name", "tree", "list", "shared", "weak", "wrapped"};
    for (std::size_t i = 0; i < std::size(kOwningKinds); ++i) {
        TavPropertyValue v;
        ASSERT_NE(MakeValue(kOwningKinds[i], &v, a, "some longer text"), nullptr);
        ASSERT_TRUE(TavPropertiesAddPropertyCStr(bag, names[i], &v));
        TavPropertyValueDestruct(&v);
    }
}

void ExpectUnlocked(TavProperties* bag) {
    // Another thread must get the lock at once: a lock left held by this
    // thread would not show here, the mutex being recursive.
    int rc = -1;
    std::thread([&] {
        rc = pthread_mutex_trylock(&bag->mutex);
        if (rc == 0) pthread_mutex_unlock(&bag->mutex);
    }).join();
    EXPECT_EQ(rc, 0) << "the bag's lock was released";
}

// The locks of the bag and of every bag nested in it are free.
void ExpectTreeUnlocked(const TavProperties* bag) {
    ExpectUnlocked(const_cast<TavProperties*>(bag));
    TavVector_TavString names;
    TavVector_TavStringConstructDefault(&names, TavPropertiesGetAllocator(bag));
    ASSERT_TRUE(TavPropertiesGetAllNames(bag, &names));
    for (TavSizeT i = 0; i < TavVector_TavStringSize(&names); ++i) {
        const TavPropertyValue* v =
            TavPropertiesGetPropertyConst(bag, TavVector_TavStringAtConst(&names, i));
        if (const TavProperties* nested = TavPropertyValueGetProperties(v))
            ExpectTreeUnlocked(nested);
    }
    TavVector_TavStringDestruct(&names);
}

// The bag's locks are free and it still takes, finds and drops an entry.
void ExpectUsable(TavProperties* bag) {
    ExpectTreeUnlocked(bag);
    EXPECT_TRUE(TavPropertiesSetIntValueCStr(bag, "probe.after", 41, TAV_TRUE));
    const TavInt* got = TavPropertiesGetIntValueCStr(bag, "probe.after");
    ASSERT_NE(got, nullptr);
    EXPECT_EQ(*got, 41);
    EXPECT_TRUE(TavPropertiesRemovePropertyCStr(bag, "probe"));
}

std::string Str(const TavString* s) {
    return std::string(TavStringCStr(s), TavStringSize(s));
}

// Every test runs with the default allocator counted and failing too.
class AllocationFailureSweep : public ::testing::Test {
protected:
    CountingAllocator alloc;
    DefaultAllocatorHook hook{alloc};
    EventLog log, nestedLog;
    TavProperties bag, other, reference;
};

// ---- bag life cycle --------------------------------------------------------

TEST_F(AllocationFailureSweep, BagCopyIsWholeOrNothing) {
    TavProperties copy;
    SweepOperation(
        alloc, [&] { BuildRich(&bag, alloc, &nestedLog); },
        Constructing(alloc, [&] { return TavPropertiesConstructCopy(&copy, &bag) != nullptr; }),
        [&](bool ok, bool) {
            if (!ok) return;
            EXPECT_TRUE(TavPropertiesEqual(&copy, &bag));
            ExpectUsable(&copy);
            TavPropertiesDestruct(&copy);
        },
        [&] { TavPropertiesDestruct(&bag); });
}

TEST_F(AllocationFailureSweep, BagAssignReleasesItsLock) {
    SweepOperation(
        alloc,
        [&] {
            BuildRich(&bag, alloc, &nestedLog);
            TavPropertiesConstructDefault(&other, alloc);
            TavPropertiesSetStringCStrValueCStr(&other, "old", "old text", TAV_TRUE);
            Listen(&other, &log, "old");
            TavPropertiesConstructCopy(&reference, &other);
        },
        [&] { return TavPropertiesAssign(&other, &bag) == &other; },
        [&](bool ok, bool) {
            // A failed map assignment leaves the entries as they were; a failed
            // listener assignment comes after the entries were taken.
            EXPECT_TRUE(TavPropertiesEqual(&other, &bag) ||
                        (!ok && TavPropertiesEqual(&other, &reference)));
            ExpectUsable(&other);
        },
        [&] {
            TavPropertiesDestruct(&reference);
            TavPropertiesDestruct(&other);
            TavPropertiesDestruct(&bag);
        });
}

// ---- by-name and path changes ----------------------------------------------

TEST_F(AllocationFailureSweep, AddByNameStoresAllOrNothing) {
    TavPropertyValue v;
    SweepOperation(
        alloc,
        [&] {
            BuildRich(&bag, alloc, &nestedLog);
            Listen(&bag, &log, nullptr);
            TavPropertiesConstructCopy(&reference, &bag);
            MakeValue(TAV_PROPERTYVALUE_TYPE_Properties, &v, alloc, "added");
            log = {};
        },
        [&] { return TavPropertiesAddPropertyCStr(&bag, "added", &v); },
        [&](bool ok, bool hit) {
            const TavPropertyValue* found = TavPropertiesGetPropertyCStrConst(&bag, "added");
            if (ok) {
                ASSERT_NE(found, nullptr);
                EXPECT_TRUE(TavPropertyValueEqual(found, &v));
                if (!hit) { EXPECT_EQ(log.after, 1); }
            } else {
                EXPECT_EQ(found, nullptr);
                EXPECT_TRUE(TavPropertiesEqual(&bag, &reference));
                EXPECT_EQ(log.after, 0) << "no After call for a failed add";
                if (gPoint == 1) {
                    EXPECT_EQ(log.before, 0) << "no listener when the name can't be copied";
                }
            }
            ExpectUsable(&bag);
        },
        [&] {
            TavPropertyValueDestruct(&v);
            TavPropertiesDestruct(&reference);
            TavPropertiesDestruct(&bag);
        });
}

// Set into a present entry: a failed same-kind assignment keeps the old value,
// a failed kind change leaves a false Bool; either way no After call.
TEST_F(AllocationFailureSweep, SetByNameKeepsOrResetsTheEntry) {
    for (const char* target : {"name", "count", "tree", "wrapped"}) {
        for (TavPropertyValueType kind : kOwningKinds) {
            TavPropertyValue v, old;
            SweepOperation(
                alloc,
                [&] {
                    BuildRich(&bag, alloc, &nestedLog);
                    Listen(&bag, &log, target);
                    TavPropertyValueConstructCopy(&old,
                                                  TavPropertiesGetPropertyCStrConst(&bag, target));
                    MakeValue(kind, &v, alloc, "a different and longer text than before");
                    log = {};
                },
                [&] { return TavPropertiesSetPropertyCStr(&bag, target, &v); },
                [&](bool ok, bool hit) {
                    const TavPropertyValue* now = TavPropertiesGetPropertyCStrConst(&bag, target);
                    ASSERT_NE(now, nullptr);
                    if (ok) {
                        EXPECT_TRUE(TavPropertyValueEqual(now, &v));
                        if (!hit) { EXPECT_EQ(log.after, 1); }
                    } else {
                        const bool reset =
                            TavPropertyValueGetType(now) == TAV_PROPERTYVALUE_TYPE_Bool &&
                            *TavPropertyValueGetBool(now) == 0;
                        const bool sameKind = TavPropertyValueGetType(&old) == kind;
                        EXPECT_TRUE(TavPropertyValueEqual(now, &old) || (!sameKind && reset) ||
                                    (sameKind && (kind == TAV_PROPERTYVALUE_TYPE_Properties ||
                                                  kind == TAV_PROPERTYVALUE_TYPE_Vector)))
                            << "entry " << target << " set to kind " << kind;
                        EXPECT_EQ(log.after, 0);
                    }
                    ExpectUsable(&bag);
                },
                [&] {
                    TavPropertyValueDestruct(&old);
                    TavPropertyValueDestruct(&v);
                    TavPropertiesDestruct(&bag);
                });
        }
    }
}

TEST_F(AllocationFailureSweep, RemoveOfNestedBagWithListeners) {
    SweepOperation(
        alloc,
        [&] {
            BuildRich(&bag, alloc, &nestedLog);
            Listen(&bag, &log, "nested");
            TavPropertiesConstructCopy(&reference, &bag);
            log = nestedLog = {};
        },
        [&] { return TavPropertiesRemovePropertyCStr(&bag, "nested"); },
        [&](bool ok, bool hit) {
            if (ok) {
                EXPECT_EQ(TavPropertiesGetPropertyCStrConst(&bag, "nested"), nullptr);
                if (!hit) {
                    EXPECT_EQ(nestedLog.after, 2) << "the nested bag told of its two entries";
                }
            } else {
                EXPECT_TRUE(TavPropertiesEqual(&bag, &reference));
            }
            ExpectUsable(&bag);
        },
        [&] {
            TavPropertiesDestruct(&reference);
            TavPropertiesDestruct(&bag);
        });
}

TEST_F(AllocationFailureSweep, PathSetCreatesNestedBags) {
    SweepOperation(
        alloc,
        [&] {
            BuildRich(&bag, alloc, &nestedLog);
            Listen(&bag, &log, nullptr);
            log = {};
        },
        [&] { return TavPropertiesSetIntValueCStr(&bag, "p.q.r", 9, TAV_TRUE); },
        [&](bool ok, bool) {
            if (gPoint == 1) {
                EXPECT_EQ(log.before, 0) << "no listener when the path can't be copied";
            }
            const TavInt* got = TavPropertiesGetIntValueCStr(&bag, "p.q.r");
            if (ok) {
                ASSERT_NE(got, nullptr);
                EXPECT_EQ(*got, 9);
            } else {
                EXPECT_EQ(got, nullptr);
            }
            EXPECT_TRUE(TavPropertiesSetIntValueCStr(&bag, "p.q.r", 10, TAV_TRUE))
                << "the same path works once memory is back";
            ExpectUsable(&bag);
        },
        [&] { TavPropertiesDestruct(&bag); });
}

// The insertion reallocates (a stored vector has no spare room), so it is all
// or nothing; the removal takes the last element, since a failed move of later
// elements drops them undestroyed by the vector's own rules.
TEST_F(AllocationFailureSweep, PathRemoveAndInsertOnVectorEntries) {
    for (bool insert : {true, false}) {
        TavPropertyValue v;
        TavSizeT sizeBefore = 0;
        auto listSize = [&] {
            return TavVector_TavPropertyValueSize(TavPropertiesGetVectorValueCStr(&bag, "list"));
        };
        SweepOperation(
            alloc,
            [&] {
                BuildRich(&bag, alloc, &nestedLog);
                MakeValue(TAV_PROPERTYVALUE_TYPE_String, &v, alloc, "inserted element");
                sizeBefore = listSize();
            },
            [&] {
                return insert ? TavPropertiesAddPropertyAtPathCStr(&bag, "list[0]", &v)
                              : TavPropertiesRemovePropertyAtPathCStr(&bag, "list[1]");
            },
            [&](bool ok, bool) {
                if (ok) { EXPECT_EQ(listSize(), insert ? sizeBefore + 1 : sizeBefore - 1); }
                ExpectUsable(&bag);
            },
            [&] {
                TavPropertyValueDestruct(&v);
                TavPropertiesDestruct(&bag);
            });
    }
}

// ---- typed setters -----------------------------------------------------------

// The setters of the kinds that copy their payload: after a success the path
// holds a value of the setter's kind; after a failure the bag still works.
TEST_F(AllocationFailureSweep, TypedSettersOfOwningKinds) {
    TavProperties source;
    TavVector_TavPropertyValue vec;
    struct Setter {
        const char* path;
        TavPropertyValueType kind;
        std::function<bool(const char*)> set;
    };
    const Setter setters[] = {
        {"nested.s", TAV_PROPERTYVALUE_TYPE_String,
         [&](const char* p) {
             return TavPropertiesSetStringCStrValueCStr(&bag, p, "replacement text!", TAV_TRUE) !=
                    0;
         }},
        {"fresh.s", TAV_PROPERTYVALUE_TYPE_String,
         [&](const char* p) {
             return TavPropertiesSetStringCStrValueCStr(&bag, p, "new text", TAV_TRUE) != 0;
         }},
        {"nested", TAV_PROPERTYVALUE_TYPE_Properties,
         [&](const char* p) {
             return TavPropertiesSetPropertiesValueCStr(&bag, p, &source, TAV_TRUE) != 0;
         }},
        {"fresh.bag", TAV_PROPERTYVALUE_TYPE_Properties,
         [&](const char* p) {
             return TavPropertiesAddPropertiesValueCStr(&bag, p, &source, TAV_TRUE) != 0;
         }},
        {"list", TAV_PROPERTYVALUE_TYPE_Vector,
         [&](const char* p) {
             return TavPropertiesSetVectorValueCStr(&bag, p, &vec, TAV_TRUE) != 0;
         }},
        {"count", TAV_PROPERTYVALUE_TYPE_Vector,
         [&](const char* p) {
             return TavPropertiesSetVectorValueCStr(&bag, p, &vec, TAV_TRUE) != 0;
         }},
    };
    for (const auto& setter : setters) {
        SweepOperation(
            alloc,
            [&] {
                BuildRich(&bag, alloc, &nestedLog);
                BuildRich(&source, alloc, &nestedLog);
                TavVector_TavPropertyValueConstructDefault(&vec, alloc);
                TavPropertyValue e;
                MakeValue(TAV_PROPERTYVALUE_TYPE_Properties, &e, alloc, "element");
                TavVector_TavPropertyValuePushBack(&vec, &e);
                TavPropertyValueDestruct(&e);
            },
            [&] { return setter.set(setter.path); },
            [&](bool ok, bool hit) {
                const TavPropertyValueType* kind = TavPropertiesGetTypeValueCStr(&bag, setter.path);
                if (ok && !hit) {
                    ASSERT_NE(kind, nullptr);
                    EXPECT_EQ(*kind, setter.kind) << setter.path;
                }
                ExpectUsable(&bag);
            },
            [&] {
                TavVector_TavPropertyValueDestruct(&vec);
                TavPropertiesDestruct(&source);
                TavPropertiesDestruct(&bag);
            });
    }
}

// ---- names, merge, writers, reader -------------------------------------------

TEST_F(AllocationFailureSweep, GetAllNamesIsWholeOrUntouched) {
    TavVector_TavString names;
    SweepOperation(
        alloc,
        [&] {
            BuildRich(&bag, alloc, &nestedLog);
            TavVector_TavStringConstructDefault(&names, alloc);
            TavString old;
            TavStringConstructCStr(&old, "previous", alloc);
            TavVector_TavStringPushBack(&names, &old);
            TavStringDestruct(&old);
        },
        [&] { return TavPropertiesGetAllNames(&bag, &names) != 0; },
        [&](bool ok, bool) {
            if (ok) {
                ASSERT_EQ(TavVector_TavStringSize(&names), 8u);
                EXPECT_EQ(Str(TavVector_TavStringAtConst(&names, 0)), "count");
            } else {
                ASSERT_EQ(TavVector_TavStringSize(&names), 1u);
                EXPECT_EQ(Str(TavVector_TavStringAtConst(&names, 0)), "previous");
            }
            ExpectUsable(&bag);
        },
        [&] {
            TavVector_TavStringDestruct(&names);
            TavPropertiesDestruct(&bag);
        });
}

TEST_F(AllocationFailureSweep, MergeReleasesTheTargetLock) {
    SweepOperation(
        alloc,
        [&] {
            BuildRich(&bag, alloc, &nestedLog);
            TavPropertiesConstructDefault(&other, alloc);
            TavPropertiesSetIntValueCStr(&other, "nested.kept", 1, TAV_TRUE);
            TavPropertiesSetStringCStrValueCStr(&other, "name", "to be replaced", TAV_TRUE);
            Listen(&other, &log, nullptr);
        },
        [&] { return TavPropertiesMerge(&other, &bag) == &other; },
        [&](bool ok, bool hit) {
            // A failed set inside the merge is ignored like a refused one, so
            // only a merge that met no failure must have copied everything.
            if (ok && !hit) {
                EXPECT_NE(TavPropertiesGetIntValueCStr(&other, "nested.kept"), nullptr);
                EXPECT_NE(TavPropertiesGetIntValueCStr(&other, "nested.deep.y"), nullptr);
                EXPECT_TRUE(
                    TavPropertyValueEqual(TavPropertiesGetPropertyCStrConst(&other, "wrapped"),
                                          TavPropertiesGetPropertyCStrConst(&bag, "wrapped")));
            }
            ExpectUsable(&other);
        },
        [&] {
            TavPropertiesDestruct(&other);
            TavPropertiesDestruct(&bag);
        });
}

TEST_F(AllocationFailureSweep, JsonFailsWithTheStringUntouched) {
    BuildRich(&bag, alloc, &nestedLog);
    TavString json;
    TavStringConstructCStr(&json, "previous", alloc);
    ASSERT_NE(TavPropertiesToJson(&bag, &json), nullptr);
    const std::string expected = Str(&json);
    SweepOperation(
        alloc,
        [&] {
            TavStringClear(&json);
            TavStringAppendCStr(&json, "previous");
        },
        [&] { return TavPropertiesToJson(&bag, &json) != nullptr; },
        [&](bool ok, bool) {
            EXPECT_EQ(Str(&json), ok ? expected : "previous");
            ExpectUsable(&bag);
        },
        [] {});
    TavStringDestruct(&json);
    TavPropertiesDestruct(&bag);
}

TEST_F(AllocationFailureSweep, XmlAppendsWhatItCan) {
    BuildRich(&bag, alloc, &nestedLog);
    TavString xml;
    TavStringConstructCStr(&xml, "previous\n", alloc);
    TavPropertiesToXml(&bag, &xml);
    const std::string expected = Str(&xml);
    SweepOperation(
        alloc,
        [&] {
            TavStringClear(&xml);
            TavStringAppendCStr(&xml, "previous\n");
        },
        [&] { return TavPropertiesToXml(&bag, &xml) == &xml; },
        [&](bool, bool hit) {
            EXPECT_EQ(Str(&xml).rfind("previous\n", 0), 0u) << "the former text stays in front";
            if (!hit) { EXPECT_EQ(Str(&xml), expected); }
            ExpectUsable(&bag);
        },
        [] {});
    TavStringDestruct(&xml);
    TavPropertiesDestruct(&bag);
}

TEST_F(AllocationFailureSweep, ReaderKeepsWhatItAdded) {
    const char* text = "a=T,b=12,c=-5,d=0.5,e=\"some text\",f{g=1,h{i=\"deep\"}},j=F";
    SweepOperation(
        alloc,
        [&] {
            TavPropertiesConstructDefault(&bag, alloc);
            Listen(&bag, &log, nullptr);
        },
        [&] { return TavPropertiesReadFromString(&bag, text) != 0; },
        [&](bool, bool) {
            TavVector_TavString names;
            TavVector_TavStringConstructDefault(&names, alloc);
            ASSERT_TRUE(TavPropertiesGetAllNames(&bag, &names));
            for (TavSizeT i = 0; i < TavVector_TavStringSize(&names); ++i)
                EXPECT_NE(std::string("abcdefj").find(Str(TavVector_TavStringAtConst(&names, i))),
                          std::string::npos);
            TavVector_TavStringDestruct(&names);
            ExpectUsable(&bag);
        },
        [&] { TavPropertiesDestruct(&bag); });
}

// ---- values --------------------------------------------------------------------

TEST_F(AllocationFailureSweep, ValueCopyOfEveryOwningKind) {
    for (TavPropertyValueType kind : kOwningKinds) {
        TavPropertyValue source, copy;
        SweepOperation(
            alloc, [&] { MakeValue(kind, &source, alloc, "copied text"); },
            Constructing(alloc,
                         [&] { return TavPropertyValueConstructCopy(&copy, &source) != nullptr; }),
            [&](bool ok, bool) {
                if (!ok) return;
                EXPECT_TRUE(TavPropertyValueEqual(&copy, &source)) << "kind " << kind;
                TavPropertyValueDestruct(&copy);
            },
            [&] { TavPropertyValueDestruct(&source); });
    }
}

// Assignment between every pair of those kinds. On failure the target is
// unchanged (same kind, string or name assignment failed), a false Bool
// (kind change), or for the composite kinds still of its kind.
TEST_F(AllocationFailureSweep, ValueAssignBetweenEveryOwningKind) {
    for (TavPropertyValueType from : kAssignKinds) {
        for (TavPropertyValueType to : kAssignKinds) {
            TavPropertyValue source, target, old;
            SweepOperation(
                alloc,
                [&] {
                    MakeValue(from, &source, alloc, "the source text, longer than the target's");
                    MakeValue(to, &target, alloc, "target");
                    TavPropertyValueConstructCopy(&old, &target);
                },
                [&] { return TavPropertyValueAssign(&target, &source) != nullptr; },
                [&](bool ok, bool) {
                    if (ok) {
                        EXPECT_TRUE(TavPropertyValueEqual(&target, &source));
                        return;
                    }
                    const bool composite = to == TAV_PROPERTYVALUE_TYPE_Properties ||
                                           to == TAV_PROPERTYVALUE_TYPE_Vector;
                    if (from == to)
                        EXPECT_TRUE(TavPropertyValueEqual(&target, &old) ||
                                    (composite && TavPropertyValueGetType(&target) == to))
                            << "kind " << to;
                    else
                        EXPECT_TRUE(TavPropertyValueGetType(&target) ==
                                        TAV_PROPERTYVALUE_TYPE_Bool &&
                                    *TavPropertyValueGetBool(&target) == 0)
                            << from << " into " << to;
                },
                [&] {
                    TavPropertyValueDestruct(&old);
                    TavPropertyValueDestruct(&target);
                    TavPropertyValueDestruct(&source);
                });
        }
    }
}

// ---- containers ------------------------------------------------------------------

class ContainerSweep : public AllocationFailureSweep {
protected:
    // A full vector (capacity == size) of three owning values.
    void MakeFullVector(TavVector_TavPropertyValue* vec, TavAllocator* a) {
        TavVector_TavPropertyValueConstructDefault(vec, a);
        TavVector_TavPropertyValueReserve(vec, 3);
        for (auto kind : {TAV_PROPERTYVALUE_TYPE_String, TAV_PROPERTYVALUE_TYPE_Properties,
                          TAV_PROPERTYVALUE_TYPE_Wrapper}) {
            TavPropertyValue e;
            MakeValue(kind, &e, alloc, "element text");
            TavVector_TavPropertyValuePushBack(vec, &e);
            TavPropertyValueDestruct(&e);
        }
    }
    TavVector_TavPropertyValue vec, ref, second;
    TavPropertyValue v;
};

// Growing operations on a full vector either succeed or leave it as it was.
TEST_F(ContainerSweep, VectorGrowthIsWholeOrNothing) {
    const std::function<bool()> ops[] = {
        [&] { return TavVector_TavPropertyValuePushBack(&vec, &v) != 0; },
        [&] {
            return TavVector_TavPropertyValueInsert(&vec, TavVector_TavPropertyValueBegin(&vec),
                                                    &v) != nullptr;
        },
        [&] { return TavVector_TavPropertyValueReserve(&vec, 10) != 0; },
    };
    for (const auto& op : ops) {
        SweepOperation(
            alloc,
            [&] {
                MakeFullVector(&vec, alloc);
                TavVector_TavPropertyValueConstructCopy(&ref, &vec);
                MakeValue(TAV_PROPERTYVALUE_TYPE_Vector, &v, alloc, "pushed");
            },
            op,
            [&](bool ok, bool) {
                if (!ok) { EXPECT_TRUE(TavVector_TavPropertyValueEqual(&vec, &ref)); }
            },
            [&] {
                TavPropertyValueDestruct(&v);
                TavVector_TavPropertyValueDestruct(&ref);
                TavVector_TavPropertyValueDestruct(&vec);
            });
    }
}

TEST_F(ContainerSweep, VectorCopyAssignAndSwapAcrossAllocators) {
    TavAllocator twin = *alloc.get();  // same counter, another allocator
    const std::function<bool()> ops[] = {
        Constructing(
            alloc, [&] { return TavVector_TavPropertyValueConstructCopy(&ref, &vec) != nullptr; }),
        [&] { return TavVector_TavPropertyValueAssign(&second, &vec) != nullptr; },
        [&] { return TavVector_TavPropertyValueSwap(&vec, &second) != 0; },
    };
    for (std::size_t i = 0; i < std::size(ops); ++i) {
        SweepOperation(
            alloc,
            [&] {
                MakeFullVector(&vec, alloc);
                TavVector_TavPropertyValueConstructDefault(&second, &twin);
                TavPropertyValue e;
                MakeValue(TAV_PROPERTYVALUE_TYPE_String, &e, alloc, "one element");
                TavVector_TavPropertyValuePushBack(&second, &e);
                TavPropertyValueDestruct(&e);
            },
            ops[i],
            [&](bool ok, bool) {
                if (i == 0 && ok) {
                    EXPECT_TRUE(TavVector_TavPropertyValueEqual(&ref, &vec));
                    TavVector_TavPropertyValueDestruct(&ref);
                }
                if (i == 2 && ok) { EXPECT_EQ(TavVector_TavPropertyValueSize(&second), 3u); }
            },
            [&] {
                TavVector_TavPropertyValueDestruct(&second);
                TavVector_TavPropertyValueDestruct(&vec);
            });
    }
}

TEST_F(ContainerSweep, MapInsertCopyAndAssignLeaveTheTargetUnchanged) {
    TavMap_TavString__TavPropertyValue map, ref, copy, target;
    TavPair_TavString__TavPropertyValue pair;
    const std::function<bool()> ops[] = {
        [&] { return TavMap_TavString__TavPropertyValueInsert(&map, &pair).second != 0; },
        Constructing(alloc,
                     [&] {
                         return TavMap_TavString__TavPropertyValueConstructCopy(&copy, &map) !=
                                nullptr;
                     }),
        [&] { return TavMap_TavString__TavPropertyValueAssign(&target, &map) != nullptr; },
    };
    for (std::size_t i = 0; i < std::size(ops); ++i) {
        SweepOperation(
            alloc,
            [&] {
                BuildRich(&bag, alloc, &nestedLog);
                TavMap_TavString__TavPropertyValueConstructCopy(&map, &bag.map);
                TavMap_TavString__TavPropertyValueConstructCopy(&ref, &bag.map);
                TavMap_TavString__TavPropertyValueConstruct(&target, alloc);
                TavMap_TavString__TavPropertyValueInsert(
                    &target, TavMap_TavString__TavPropertyValueFront(&map));
                TavPropertyValue value;
                MakeValue(TAV_PROPERTYVALUE_TYPE_Wrapper, &value, alloc, "paired");
                TavString key;
                TavStringConstructCStr(&key, "a new key", alloc);
                TavPair_TavString__TavPropertyValueConstruct(&pair, &key, &value);
                TavStringDestruct(&key);
                TavPropertyValueDestruct(&value);
            },
            ops[i],
            [&](bool ok, bool) {
                if (i == 0) {
                    EXPECT_EQ(TavMap_TavString__TavPropertyValueSize(&map), ok ? 9u : 8u);
                }
                if (i == 0 && !ok) {
                    EXPECT_TRUE(TavMap_TavString__TavPropertyValueEqual(&map, &ref));
                }
                if (i == 1 && ok) {
                    EXPECT_TRUE(TavMap_TavString__TavPropertyValueEqual(&copy, &map));
                    TavMap_TavString__TavPropertyValueDestruct(&copy);
                }
                if (i == 2) {
                    EXPECT_EQ(TavMap_TavString__TavPropertyValueSize(&target), ok ? 8u : 1u);
                    if (ok) { EXPECT_TRUE(TavMap_TavString__TavPropertyValueEqual(&target, &map)); }
                }
            },
            [&] {
                TavPair_TavString__TavPropertyValueDestruct(&pair);
                TavMap_TavString__TavPropertyValueDestruct(&target);
                TavMap_TavString__TavPropertyValueDestruct(&ref);
                TavMap_TavString__TavPropertyValueDestruct(&map);
                TavPropertiesDestruct(&bag);
            });
    }
}

// Each event calls the listeners from a copy of the list; a copy that could
// only be made in part must not be used, so every event reaches all three
// listeners or none.
TEST_F(AllocationFailureSweep, ListenersHearAnEventAllOrNone) {
    EventLog logs[3];
    SweepOperation(
        alloc,
        [&] {
            BuildRich(&bag, alloc, &nestedLog);
            for (auto& l : logs) Listen(&bag, &l, "name");
            for (auto& l : logs) l = {};
        },
        [&] {
            return TavPropertiesSetStringCStrValueCStr(&bag, "name", "a replacement text",
                                                       TAV_TRUE) != 0;
        },
        [&](bool, bool) {
            for (const auto& l : logs) {
                EXPECT_EQ(l.before, logs[0].before) << "at failure point " << gPoint;
                EXPECT_EQ(l.after, logs[0].after) << "at failure point " << gPoint;
            }
            ExpectUsable(&bag);
        },
        [&] { TavPropertiesDestruct(&bag); });
}

TEST_F(AllocationFailureSweep, AddListenerLeavesTheListUnchanged) {
    TavSizeT before = 0;
    SweepOperation(
        alloc,
        [&] {
            BuildRich(&bag, alloc, &nestedLog);
            Listen(&bag, &log, "count");
            before = TavVector_TavPropertyListenerSize(&bag.listeners);
        },
        [&] {
            TavPropertyListener l;
            if (TavPropertyListenerConstructCStr(&l, TAV_PROPERTYLISTENER_TRIGGER_After, "name",
                                                 &CountEvent, &log, alloc) == nullptr)
                return false;
            const bool ok = TavPropertiesAddListener(&bag, &l);
            TavPropertyListenerDestruct(&l);
            return ok;
        },
        [&](bool ok, bool) {
            EXPECT_EQ(TavVector_TavPropertyListenerSize(&bag.listeners), before + (ok ? 1 : 0));
            ExpectUsable(&bag);
        },
        [&] { TavPropertiesDestruct(&bag); });
}

}  // namespace
