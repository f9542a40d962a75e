// Allocation failure sweep across the library: each scenario below runs once
// per allocation its operation makes, with that allocation failing, and must
// then leave the result and state its rules give, every block returned, every
// lock released and its bags usable. The default allocator is counted and
// failed too, for wrapped objects and the reader's temporaries.
#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "CountingAllocator.hpp"
#include "Os/TavProperties.h"

namespace {

using tavtest::CountingAllocator;
using Value = TavPropertyValue;
using Kind = TavPropertyValueType;

constexpr Kind kString = TAV_PROPERTYVALUE_TYPE_String, kBag = TAV_PROPERTYVALUE_TYPE_Properties,
               kVector = TAV_PROPERTYVALUE_TYPE_Vector, kShared = TAV_PROPERTYVALUE_TYPE_SharedPtr,
               kWeak = TAV_PROPERTYVALUE_TYPE_WeakPtr, kWrapper = TAV_PROPERTYVALUE_TYPE_Wrapper;
// The kinds that own memory, and a plain one.
constexpr Kind kKinds[] = {kString, kBag, kVector, kShared, kWeak, kWrapper,
                           TAV_PROPERTYVALUE_TYPE_Int};

constexpr const char* kText = "a text too long to be kept inside the string record";

// A wrapped string from the default allocator, so that copying or assigning
// the wrapper can fail inside its callbacks.
TavString* Text(const void* box) { return static_cast<TavString*>(const_cast<void*>(box)); }
void* BoxCopy(void* dst, const void* src) { return TavStringConstructCopy(Text(dst), Text(src)); }
void BoxDestruct(void* box) { TavStringDestruct(Text(box)); }
void* BoxAssign(void* dst, const void* src) { return TavStringAssign(Text(dst), Text(src)); }
TavBool BoxEqual(const void* a, const void* b) { return TavStringEqual(Text(a), Text(b)); }
const TavPropertyValueCallbacks kBoxCallbacks = {&BoxCopy, &BoxDestruct, &BoxAssign, &BoxEqual};
void DeleteInt(TavVoidPtr p, TavAllocator*) { delete static_cast<int*>(p); }

// A value of `kind` that owns memory (a plain Int for the other kinds).
Value* MakeValue(Value* v, Kind kind, TavAllocator* a, const char* text) {
    if (kind == kString) {
        TavPropertyValueConstructStringCStr(v, text, TAV_TRUE, a);
    } else if (kind == kBag) {
        TavProperties bag;
        TavPropertiesConstructDefault(&bag, a);
        TavPropertiesSetStringCStrValueCStr(&bag, "inner.text", text, TAV_TRUE);
        TavPropertyValueConstructProperties(v, &bag, TAV_TRUE);
        TavPropertiesDestruct(&bag);
    } else if (kind == kVector) {
        TavVector_TavPropertyValue vec;
        TavVector_TavPropertyValueConstructDefault(&vec, a);
        TavVector_TavPropertyValuePushBack(&vec, MakeValue(v, kBag, a, text));
        TavVector_TavPropertyValuePushBack(&vec, v);
        TavPropertyValueDestruct(v);
        TavPropertyValueConstructVector(v, &vec, TAV_TRUE);
        TavVector_TavPropertyValueDestruct(&vec);
    } else if (kind == kShared || kind == kWeak) {
        TavSharedPtr_void sp;
        TavWeakPtr_void wp;
        TavSharedPtr_voidConstruct(&sp, new int(7), &DeleteInt, a);
        TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
        if (kind == kShared) TavPropertyValueConstructSharedPtr(v, &sp, text, TAV_TRUE, a);
        else TavPropertyValueConstructWeakPtr(v, &wp, text, TAV_TRUE, a);
        TavWeakPtr_voidDestruct(&wp);
        TavSharedPtr_voidDestruct(&sp);
    } else if (kind == kWrapper) {
        TavString box;
        TavStringConstructCStr(&box, text, TavAllocatorGetDefault());
        TavPropertyValueConstructWrapper(v, &box, sizeof box, &kBoxCallbacks, "Boxed", TAV_TRUE, a);
        TavStringDestruct(&box);
    } else {
        TavPropertyValueConstructInt(v, 5, TAV_TRUE);
    }
    return v;
}

// Listener calls, counted by trigger.
using EventLog = std::array<int, 2>;
enum : std::size_t { kBefore, kAfter };
void CountEvent(const TavPropertyListener* l, TavProperties*, const TavString*, const Value*,
                const Value*) {
    const bool after = TavPropertyListenerGetTrigger(l) == TAV_PROPERTYLISTENER_TRIGGER_After;
    ++(*static_cast<EventLog*>(TavPropertyListenerGetData(l)))[after ? kAfter : kBefore];
}
void Listen(TavProperties* bag, EventLog* log, const char* name) {
    for (auto trigger : {TAV_PROPERTYLISTENER_TRIGGER_Before, TAV_PROPERTYLISTENER_TRIGGER_After}) {
        TavPropertyListener l;
        TavPropertyListenerConstructCStr(&l, trigger, name, &CountEvent, log,
                                         TavPropertiesGetAllocator(bag));
        EXPECT_TRUE(TavPropertiesAddListener(bag, &l));
        TavPropertyListenerDestruct(&l);
    }
}

std::string Str(const TavString* s) { return std::string(TavStringCStr(s), TavStringSize(s)); }

// What one attempt works on: the scenario builds what it needs, runs its
// operation through Run and checks the outcome; what it built is destroyed
// in reverse order when the attempt ends.
struct World {
    World(CountingAllocator& counting, std::size_t k) : alloc(counting), point(k) {}
    ~World() {
        for (auto undo = undos.rbegin(); undo != undos.rend(); ++undo) (*undo)();
    }
    // Runs `op` with the k-th allocation failing. A failed constructor (given
    // what it makes, for Own) leaves nothing to destroy: its blocks are back.
    template <class Op, class... Made> bool Run(Op op, Made... made) {
        const std::size_t live = alloc.liveBlocks();
        alloc.FailAt(point);
        const bool ok = static_cast<bool>(op());
        // A failure once reached is spent: the checks that follow have memory.
        hit = alloc.Failed();
        if (!hit) alloc.FailAt(0);
        EXPECT_TRUE(ok || hit) << "only a want of memory makes it fail";
        if constexpr (sizeof...(Made) > 0) {
            if (ok) Own(made...);
            else EXPECT_EQ(alloc.liveBlocks(), live) << "a failed constructor kept blocks";
        }
        return ok;
    }
    template <class T, class Destruct> T* Own(T* obj, Destruct destruct) {
        undos.push_back([obj, destruct] { destruct(obj); });
        return obj;
    }
    TavProperties* Own(TavProperties* bag) {
        bags.push_back(bag);
        return Own(bag, &TavPropertiesDestruct);
    }
    Value* Make(Value* value, Kind kind, const char* text) {
        return Own(MakeValue(value, kind, alloc, text), &TavPropertyValueDestruct);
    }
    // An entry of every owning kind next to a nested bag with listeners of its own.
    void Rich(TavProperties* b) {
        TavPropertiesConstructDefault(Own(b), alloc);
        TavPropertiesSetIntValueCStr(b, "count", 3, TAV_TRUE);
        TavPropertiesSetStringCStrValueCStr(b, "nested.s", "inner text", TAV_TRUE);
        TavPropertiesSetIntValueCStr(b, "nested.deep.y", 2, TAV_TRUE);
        Listen(const_cast<TavProperties*>(TavPropertiesGetPropertiesValueCStr(b, "nested")),
               &nestedLog, nullptr);
        const char* names[] = {"name", "tree", "list", "shared", "weak", "wrapped"};
        for (std::size_t i = 0; i < std::size(names); ++i) {
            Value v;
            TavPropertiesAddPropertyCStr(b, names[i], MakeValue(&v, kKinds[i], alloc, kText));
            TavPropertyValueDestruct(&v);
        }
    }
    // The rich bag, told of changes (of `name` only, when given), and a copy of it.
    void Listened(const char* name) {
        Rich(&bag);
        for (auto& log : logs) Listen(&bag, &log, name);
        TavPropertiesConstructCopy(Own(&reference), &bag);
        logs[0] = logs[1] = nestedLog = {};
    }

    CountingAllocator& alloc;
    std::size_t point;  // the allocation failing (1-based)
    bool hit = false;   // and it was reached
    EventLog logs[2] = {}, nestedLog = {};
    TavProperties bag, other, reference;
    Value v, target, old;
    TavString text;
    TavVector_TavString names;
    TavVector_TavPropertyValue vec, vecRef;
    TavMap_TavString__TavPropertyValue map;
    std::vector<TavProperties*> bags;
    std::vector<std::function<void()>> undos;
};

// Run on another thread: the mutex being recursive, the sweeping thread would
// get again a lock it had left held.
bool TreeUnlocked(const TavProperties* bag);
bool NodesUnlocked(const TavMap_TavString__TavPropertyValue_Node* node) {
    if (node == nullptr) return true;
    const TavProperties* nested = TavPropertyValueGetProperties(&node->value.second);
    return (!nested || TreeUnlocked(nested)) && NodesUnlocked(node->left) &&
           NodesUnlocked(node->right);
}
bool TreeUnlocked(const TavProperties* bag) {
    auto* mutex = &const_cast<TavProperties*>(bag)->mutex;
    if (pthread_mutex_trylock(mutex) != 0) return false;
    const bool free = NodesUnlocked(bag->map.end.left);
    pthread_mutex_unlock(mutex);
    return free;
}

// Every lock in the bag's tree is free and the bag still takes and drops an entry.
void ExpectUsable(TavProperties* bag) {
    bool free = false;
    std::thread([&] { free = TreeUnlocked(bag); }).join();
    EXPECT_TRUE(free) << "a lock was left held";
    EXPECT_TRUE(TavPropertiesSetIntValueCStr(bag, "probe.after", 41, TAV_TRUE) &&
                TavPropertiesGetIntValueCStr(bag, "probe.after") &&
                TavPropertiesRemovePropertyCStr(bag, "probe"));
}

// What the bag's listeners heard of a change: all of them the same, nothing
// when the temporary name or path (the first allocation) could not be made,
// and for a change by name one After call if it was made, none if it failed.
void ExpectEvents(const World& w, bool ok, bool byName = true) {
    EXPECT_EQ(w.logs[0], w.logs[1]) << "an event reaches a whole copy of the list or nobody";
    if (byName && (!ok || !w.hit)) { EXPECT_EQ(w.logs[0][kAfter], ok ? 1 : 0); }
    if (w.point == 1) { EXPECT_EQ(w.logs[0][kBefore], 0); }
}

// What an assignment leaves: the source's value, or after a failure the old
// one when the kinds match (a nested bag or vector may be taken in part but
// keeps its kind) and a false Bool when the kind was to change.
void ExpectAssigned(bool ok, const Value* now, const Value* source, const Value* old) {
    const Kind kind = TavPropertyValueGetType(source);
    const bool kept = TavPropertyValueEqual(now, old) ||
                      ((kind == kBag || kind == kVector) && TavPropertyValueGetType(now) == kind);
    const bool reset = TavPropertyValueGetType(now) == TAV_PROPERTYVALUE_TYPE_Bool &&
                       !*TavPropertyValueGetBool(now);
    EXPECT_TRUE(ok ? TavPropertyValueEqual(now, source)
                   : TavPropertyValueGetType(old) == kind ? kept : reset);
}

void BagCopy(World& w) {
    w.Rich(&w.bag);
    const bool made =
        w.Run([&] { return TavPropertiesConstructCopy(&w.other, &w.bag); }, &w.other);
    EXPECT_TRUE(!made || TavPropertiesEqual(&w.other, &w.bag));
}

void BagAssign(World& w) {
    w.Listened(nullptr);
    w.Rich(&w.other);
    TavPropertiesSetIntValueCStr(&w.other, "extra", 1, TAV_TRUE);
    const bool ok = w.Run([&] { return TavPropertiesAssign(&w.bag, &w.other) == &w.bag; });
    // The listeners are assigned after the entries, which may thus be taken.
    EXPECT_TRUE(TavPropertiesEqual(&w.bag, &w.other) ||
                (!ok && TavPropertiesEqual(&w.bag, &w.reference)));
}

// Adding a nested bag, or removing one (which tells its own listeners of its
// entries), is all or nothing.
void AddOrRemoveNested(World& w, bool add) {
    w.Listened(add ? "added" : "nested");
    w.Make(&w.v, kBag, "added");
    const bool ok = w.Run([&] {
        return add ? TavPropertiesAddPropertyCStr(&w.bag, "added", &w.v)
                   : TavPropertiesRemovePropertyCStr(&w.bag, "nested");
    });
    EXPECT_TRUE(ok || TavPropertiesEqual(&w.bag, &w.reference));
    EXPECT_TRUE(add || !ok || w.hit || w.nestedLog[kAfter] == 2) << "told of its two entries";
    ExpectEvents(w, ok);
}

void SetEntry(World& w, const char* name, Kind kind) {
    w.Listened(name);
    TavPropertyValueConstructCopy(w.Own(&w.old, &TavPropertyValueDestruct),
                                  TavPropertiesGetPropertyCStrConst(&w.bag, name));
    w.Make(&w.v, kind, "a different and longer text than before");
    const bool ok = w.Run([&] { return TavPropertiesSetPropertyCStr(&w.bag, name, &w.v); });
    // A name that can't be copied (the first allocation) leaves the entry as it was.
    ExpectAssigned(ok, TavPropertiesGetPropertyCStrConst(&w.bag, name),
                   w.point == 1 ? &w.old : &w.v, &w.old);
    ExpectEvents(w, ok);
}

// Typed setters and path changes, each leaving a value of `kind` at `path`
// (making bags on the way); a path that was not there stays absent on failure.
template <class Op> void StoreAtPath(World& w, const char* path, Kind kind, Op op) {
    w.Listened(nullptr);
    w.Rich(&w.other);
    w.Make(&w.v, kVector, "stored");
    const bool fresh = !TavPropertiesGetTypeValueCStr(&w.bag, path);
    const bool ok = w.Run(op);
    const Kind* now = TavPropertiesGetTypeValueCStr(&w.bag, path);
    EXPECT_TRUE(ok ? now && *now == kind : !fresh || now == nullptr);
    ExpectEvents(w, ok, false);
}

void AllNames(World& w) {
    w.Rich(&w.bag);
    TavVector_TavStringConstructDefault(w.Own(&w.names, &TavVector_TavStringDestruct), w.alloc);
    TavStringConstructCStr(w.Own(&w.text, &TavStringDestruct), "previous", w.alloc);
    TavVector_TavStringPushBack(&w.names, &w.text);
    const bool ok = w.Run([&] { return TavPropertiesGetAllNames(&w.bag, &w.names); });
    ASSERT_EQ(TavVector_TavStringSize(&w.names), ok ? 8u : 1u);
    EXPECT_EQ(Str(TavVector_TavStringAtConst(&w.names, 0)), ok ? "count" : "previous");
}

// A set that fails inside the merge is passed over like a refused one.
void Merge(World& w) {
    w.Rich(&w.bag);
    TavPropertiesConstructDefault(w.Own(&w.other), w.alloc);
    TavPropertiesSetIntValueCStr(&w.other, "nested.kept", 1, TAV_TRUE);
    Listen(&w.other, &w.logs[0], nullptr);
    w.Run([&] { return TavPropertiesMerge(&w.other, &w.bag) == &w.other; });
    EXPECT_TRUE(TavPropertiesGetIntValueCStr(&w.other, "nested.kept"));
}

// ToJson fails as a whole and leaves the caller's string as it was; ToXml
// appends what it can behind the former text.
using Writer = const TavString* (*)(const TavProperties*, TavString*);
void Write(World& w, Writer write, bool whole) {
    const std::string former = "previous\n";
    w.Rich(&w.bag);
    TavStringConstructCStr(w.Own(&w.text, &TavStringDestruct), former.c_str(), w.alloc);
    const bool ok = w.Run([&] { return write(&w.bag, &w.text) == &w.text; });
    const std::string now = Str(&w.text);
    if (whole) { EXPECT_EQ(now == former, !ok) << "a failed write leaves the string as it was"; }
    else { EXPECT_EQ(now.compare(0, former.size(), former), 0) << "the former text stays"; }
}

void Read(World& w) {
    TavPropertiesConstructDefault(w.Own(&w.bag), w.alloc);
    const char* text = "a=T,b=12,c=-5,d=0.5,e=\"some text\",f{g=1,h{i=\"deep\"}},j=F";
    const bool ok = w.Run([&] { return TavPropertiesReadFromString(&w.bag, text); });
    EXPECT_TRUE(!ok || w.hit || TavMap_TavString__TavPropertyValueSize(&w.bag.map) == 7u);
}

void CopyValue(World& w, Kind kind) {
    w.Make(&w.old, kind, "copied text");
    const bool made = w.Run([&] { return TavPropertyValueConstructCopy(&w.v, &w.old); }, &w.v,
                            &TavPropertyValueDestruct);
    EXPECT_TRUE(!made || TavPropertyValueEqual(&w.v, &w.old));
}

void AssignValue(World& w, Kind from, Kind to) {
    w.Make(&w.v, from, "the source text, longer than the target's");
    w.Make(&w.target, to, "target");
    TavPropertyValueConstructCopy(w.Own(&w.old, &TavPropertyValueDestruct), &w.target);
    const bool ok = w.Run([&] { return TavPropertyValueAssign(&w.target, &w.v); });
    ExpectAssigned(ok, &w.target, &w.v, &w.old);
}

// Growing a full vector (a copy has no spare room), or a map, is whole or nothing.
void GrowVector(World& w) {
    const auto* elements = TavPropertyValueGetVector(w.Make(&w.v, kVector, "element text"));
    for (auto* vec : {&w.vec, &w.vecRef})
        TavVector_TavPropertyValueConstructCopy(
            w.Own(vec, &TavVector_TavPropertyValueDestruct), elements);
    const bool ok = w.Run([&] { return TavVector_TavPropertyValuePushBack(&w.vec, &w.v); });
    EXPECT_TRUE(ok ? TavVector_TavPropertyValueSize(&w.vec) == 3
                   : TavVector_TavPropertyValueEqual(&w.vec, &w.vecRef));
}

void GrowMap(World& w) {
    w.Rich(&w.bag);
    TavMap_TavString__TavPropertyValueConstruct(
        w.Own(&w.map, &TavMap_TavString__TavPropertyValueDestruct), w.alloc);
    const auto* wrapped = TavMap_TavString__TavPropertyValueBack(&w.bag.map);
    const bool ok =
        w.Run([&] { return TavMap_TavString__TavPropertyValueInsert(&w.map, wrapped).second; });
    EXPECT_EQ(TavMap_TavString__TavPropertyValueSize(&w.map), ok ? 1u : 0u);
}

TEST(AllocationFailureSweep, EveryAllocatingOperationFailsCleanly) {
    std::vector<std::pair<std::string, std::function<void(World&)>>> table = {
        {"bag copy", &BagCopy},
        {"bag assign", &BagAssign},
        {"add a nested bag", [](World& w) { AddOrRemoveNested(w, true); }},
        {"remove a nested bag", [](World& w) { AddOrRemoveNested(w, false); }},
        {"path set making bags",
         [](World& w) {
             StoreAtPath(w, "p.q.r", TAV_PROPERTYVALUE_TYPE_Int, [&] {
                 return TavPropertiesSetIntValueCStr(&w.bag, "p.q.r", 9, TAV_TRUE);
             });
         }},
        {"typed string set",
         [](World& w) {
             StoreAtPath(w, "nested.s", kString, [&] {
                 return TavPropertiesSetStringCStrValueCStr(&w.bag, "nested.s", kText, TAV_TRUE);
             });
         }},
        {"typed bag add",
         [](World& w) {
             StoreAtPath(w, "new.bag", kBag, [&] {
                 return TavPropertiesAddPropertiesValueCStr(&w.bag, "new.bag", &w.other, TAV_TRUE);
             });
         }},
        {"typed vector set",
         [](World& w) {
             StoreAtPath(w, "count", kVector, [&] {
                 const auto* list = TavPropertyValueGetVector(&w.v);
                 return TavPropertiesSetVectorValueCStr(&w.bag, "count", list, TAV_TRUE);
             });
         }},
        {"all names", &AllNames},
        {"merge", &Merge},
        {"json", [](World& w) { Write(w, &TavPropertiesToJson, true); }},
        {"xml", [](World& w) { Write(w, &TavPropertiesToXml, false); }},
        {"read from string", &Read},
        {"vector push back", &GrowVector},
        {"map insert", &GrowMap},
    };
    for (Kind from : kKinds) {
        const std::string of = " kind " + std::to_string(from);
        table.push_back({"copy of" + of, [=](World& w) { CopyValue(w, from); }});
        for (Kind to : kKinds)
            table.push_back({"assign to " + std::to_string(to) + " of" + of,
                             [=](World& w) { AssignValue(w, from, to); }});
        for (const char* name : {"name", "count", "tree", "wrapped"})
            table.push_back({"set " + std::string(name) + " to" + of,
                             [=](World& w) { SetEntry(w, name, from); }});
    }
    CountingAllocator alloc;
    tavtest::DefaultAllocatorHook hook{alloc};
    std::size_t points = 0;
    for (const auto& [name, run] : table) {
        SCOPED_TRACE(name);
        points += tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
            const std::size_t live = alloc.liveBlocks();
            {
                alloc.FailAt(0);
                World w(alloc, k);
                run(w);
                for (TavProperties* bag : w.bags) ExpectUsable(bag);
            }
            EXPECT_EQ(alloc.liveBlocks(), live) << "blocks left behind at failure point " << k;
        });
    }
    std::printf("[ reliability ] allocation failure points exercised: %zu\n", points);
}

}  // namespace
