// Every allocating operation on bags, run with each of its allocations failing in turn, must leave
// the state its rules give, every block returned, every lock released and its bags usable. (Text
// forms, values, vectors and merges have sweeps of their own next to their tests.)
#include <array>
#include <cstdio>
#include <cstring>
#include <functional>

#include "text_support.hpp"  // gtest, <thread>, pthread and the counting allocator

namespace {

using tavtest::CountingAllocator;
using Value = TavPropertyValue;
using Kind = TavPropertyValueType;

constexpr Kind kString = TAV_PROPERTYVALUE_TYPE_String, kBag = TAV_PROPERTYVALUE_TYPE_Properties,
               kVector = TAV_PROPERTYVALUE_TYPE_Vector, kShared = TAV_PROPERTYVALUE_TYPE_SharedPtr,
               kWeak = TAV_PROPERTYVALUE_TYPE_WeakPtr, kWrapper = TAV_PROPERTYVALUE_TYPE_Wrapper;
// The kinds that own memory; the plain ones are exercised by the bag's "count" entry.
constexpr Kind kKinds[] = {kString, kBag, kVector, kShared, kWeak, kWrapper};
constexpr const char* kText = "a text too long to be kept inside the string record";

// A wrapped string from the default allocator, so that its callbacks can fail too.
TavString* Text(const void* box) { return static_cast<TavString*>(const_cast<void*>(box)); }
void* BoxCopy(void* dst, const void* src) { return TavStringConstructCopy(Text(dst), Text(src)); }
void BoxDestruct(void* box) { TavStringDestruct(Text(box)); }
void* BoxAssign(void* dst, const void* src) { return TavStringAssign(Text(dst), Text(src)); }
TavBool BoxEqual(const void* a, const void* b) { return TavStringEqual(Text(a), Text(b)); }
const TavPropertyValueCallbacks kBoxCallbacks = {&BoxCopy, &BoxDestruct, &BoxAssign, &BoxEqual};
void DeleteInt(TavVoidPtr p, TavAllocator*) { delete static_cast<int*>(p); }

// Listener calls, counted by trigger: [0] Before, [1] After.
using EventLog = std::array<int, 2>;
void CountEvent(const TavPropertyListener* l, TavProperties*, const TavString*, const Value*,
                const Value*) {
    ++(*static_cast<EventLog*>(TavPropertyListenerGetData(l)))[TavPropertyListenerGetTrigger(l)];
}
void Listen(TavProperties* bag, EventLog* log, const char* name = nullptr) {
    EXPECT_TRUE(texttest::Listen(bag, &CountEvent, log, name));
}

// A value of one of kKinds.
Value* MakeValue(Value* v, Kind kind, TavAllocator* a, const char* text) {
    TavSharedPtr_void sp;
    TavWeakPtr_void wp;
    TavSharedPtr_voidConstruct(&sp, new int(7), &DeleteInt, a);
    TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
    TavString box;
    TavStringConstructCStr(&box, text, TavAllocatorGetDefault());
    texttest::Bag bag(a);
    TavPropertiesSetStringCStrValueCStr(bag, "inner.text", text, TAV_TRUE);
    static EventLog unheeded;  // listeners come with a bag and are copied with it
    Listen(bag, &unheeded, "inner");
    Value bags[2];  // a vector holds two bags, which Vec consumes
    switch (kind) {
        case kString: TavPropertyValueConstructStringCStr(v, text, TAV_TRUE, a); break;
        case kBag: TavPropertyValueConstructProperties(v, bag, TAV_TRUE); break;
        case kShared: TavPropertyValueConstructSharedPtr(v, &sp, text, TAV_TRUE, a); break;
        case kWeak: TavPropertyValueConstructWeakPtr(v, &wp, text, TAV_TRUE, a); break;
        case kVector:
            MakeValue(&bags[0], kBag, a, text);
            *v = texttest::Vec({bags[0], *MakeValue(&bags[1], kBag, a, text)}, a);
            break;
        default:
            TavPropertyValueConstructWrapper(v, &box, sizeof box, &kBoxCallbacks, "Boxed", TAV_TRUE,
                                             a);
    }
    TavStringDestruct(&box);
    TavWeakPtr_voidDestruct(&wp);
    TavSharedPtr_voidDestruct(&sp);
    return v;
}

// What one attempt builds, destroyed in reverse order when the attempt ends.
struct World {
    World(CountingAllocator& counting, std::size_t k) : alloc(counting), point(k) {}
    ~World() {
        for (auto undo = undos.rbegin(); undo != undos.rend(); ++undo) (*undo)();
    }
    // Runs `op` with the k-th allocation failing (only a want of memory may make it fail).
    template <class Op>
    bool Run(Op op) {
        alloc.FailAt(point);
        const bool ok = static_cast<bool>(op());
        hit = alloc.Failed();
        if (!hit) alloc.FailAt(0);  // the checks that follow must not meet the failure
        EXPECT_TRUE(ok || hit);
        return ok;
    }
    template <class T, class Destruct>
    T* Own(T* obj, Destruct destruct) {
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
    // In `bag`, an entry of every owning kind next to a nested bag with listeners of its own,
    // two equal listener lists (for `name` only, when given); and a copy of it all.
    void Rich(const char* name = nullptr) {
        TavPropertiesConstructDefault(Own(&bag), alloc);
        TavPropertiesSetIntValueCStr(&bag, "count", 3, TAV_TRUE);
        TavPropertiesSetStringCStrValueCStr(&bag, "nested.s", "inner text", TAV_TRUE);
        TavPropertiesSetIntValueCStr(&bag, "nested.deep.y", 2, TAV_TRUE);
        Listen(TavPropertiesGetPropertyCStr(&bag, "nested")->u.p, &nestedLog);
        const char* names[] = {"name", "tree", "list", "shared", "weak", "wrapped"};
        for (std::size_t i = 0; i < std::size(names); ++i)
            TavPropertiesAddPropertyCStr(&bag, names[i], Make(&entries[i], kKinds[i], kText));
        for (auto& log : logs) Listen(&bag, &log, name);
        TavPropertiesConstructCopy(Own(&reference), &bag);
        logs[0] = logs[1] = nestedLog = {};
    }

    CountingAllocator& alloc;
    std::size_t point;  // the allocation failing (1-based)
    bool hit = false;   // and it was reached
    EventLog logs[2] = {}, nestedLog = {};
    TavProperties bag, other, reference;
    Value v, entries[6];
    std::vector<TavProperties*> bags;
    std::vector<std::function<void()>> undos;
};

// Whether another thread can lock the bag and every bag in it (this one always could: recursive).
bool Unlocked(TavProperties* bag) {
    bool free = texttest::Unlocked(bag);
    for (auto it = TavMap_TavString__TavPropertyValueBeginConst(&bag->map);
         it != TavMap_TavString__TavPropertyValueEndConst(&bag->map);
         TavMap_TavString__TavPropertyValueConstIteratorIncrement(&it))
        if (const TavProperties* nested = TavPropertyValueGetProperties(&it->value.second))
            free = Unlocked(const_cast<TavProperties*>(nested)) && free;
    return free;
}

// Both listener lists hear the same; nothing when the temporary name or path (the first
// allocation) could not be made; for a change by name one After call if made, none if not.
void ExpectEvents(const World& w, bool ok, bool byName = true) {
    EXPECT_EQ(w.logs[0], w.logs[1]) << "an event reaches a whole copy of the list or nobody";
    EXPECT_TRUE(!byName || (ok && w.hit) || w.logs[0][1] == (ok ? 1 : 0));
    EXPECT_TRUE(w.point != 1 || w.logs[0][0] == 0);
}

// After an assignment: the source's value; after a failure the old one when the kinds match
// (a nested bag or vector may be taken in part but keeps its kind), a false Bool otherwise.
void ExpectAssigned(bool ok, const Value* now, const Value* source, const Value* old) {
    const Kind kind = TavPropertyValueGetType(source);
    const bool kept = TavPropertyValueEqual(now, old) ||
                      ((kind == kBag || kind == kVector) && TavPropertyValueGetType(now) == kind);
    const bool reset = TavPropertyValueGetType(now) == TAV_PROPERTYVALUE_TYPE_Bool &&
                       !*TavPropertyValueGetBool(now);
    EXPECT_TRUE(ok                                     ? TavPropertyValueEqual(now, source)
                : TavPropertyValueGetType(old) == kind ? kept
                                                       : reset);
}

using Scenario = std::function<void(World&)>;

// Removing a nested bag tells its own listeners of its two entries; it is all or nothing.
void RemoveNested(World& w) {
    w.Rich("nested");
    const bool ok = w.Run([&] { return TavPropertiesRemovePropertyCStr(&w.bag, "nested"); });
    EXPECT_TRUE(ok || TavPropertiesEqual(&w.bag, &w.reference));
    EXPECT_TRUE(!ok || w.hit || w.nestedLog[1] == 2) << "told of its entries";
    ExpectEvents(w, ok);
}

// Stores w.v, of `kind`, at `path`: adds a missing name, sets a present one, sets a path (making
// bags on the way). After a failure a new path is still absent, and an entry is left as a failed
// assignment leaves it, or untouched when the temporary name or path (the first allocation)
// could not be made.
Scenario StoreAt(const char* path, Kind kind) {
    return [=](World& w) {
        w.Rich(path);
        w.Make(&w.v, kind, "a different and longer text than before");
        const Value* old = TavPropertiesGetPropertyAtPathCStrConst(&w.reference, path);
        const bool byName = std::strchr(path, '.') == nullptr;
        const auto store = !byName ? &TavPropertiesSetPropertyAtPathCStr
                           : old   ? &TavPropertiesSetPropertyCStr
                                   : &TavPropertiesAddPropertyCStr;
        const bool ok = w.Run([&] { return store(&w.bag, path, &w.v); });
        const Value* now = TavPropertiesGetPropertyAtPathCStrConst(&w.bag, path);
        if (old) ExpectAssigned(ok, now, w.point == 1 ? old : &w.v, old);
        EXPECT_TRUE(old || (ok ? now && TavPropertyValueEqual(now, &w.v) : !now))
            << "a new entry exactly when stored";
        ExpectEvents(w, ok, byName);
    };
}

TavSizeT Listeners(const TavProperties* bag) { return bag->listeners.end - bag->listeners.begin; }

// A copy made has the entries and the listeners; a failure left nothing.
void CopyBag(World& w) {
    w.Rich();
    if (!w.Run([&] { return TavPropertiesConstructCopy(&w.other, &w.bag); })) return;
    EXPECT_TRUE(TavPropertiesEqual(w.Own(&w.other), &w.bag));
    EXPECT_EQ(Listeners(&w.other), Listeners(&w.bag));
}

// The listeners are assigned after the entries, which may thus be taken: a failure leaves the
// old entries or the new ones; an assignment takes the source's listeners too.
void BagAssign(World& w) {
    w.Rich();
    TavPropertiesConstructCopy(w.Own(&w.other), &w.bag);
    TavPropertiesSetIntValueCStr(&w.other, "extra", 1, TAV_TRUE);
    Listen(&w.other, &w.logs[0], "extra");
    const bool ok = w.Run([&] { return TavPropertiesAssign(&w.bag, &w.other) == &w.bag; });
    EXPECT_TRUE(TavPropertiesEqual(&w.bag, &w.other) ||
                (!ok && TavPropertiesEqual(&w.bag, &w.reference)));
    EXPECT_TRUE(!ok || Listeners(&w.bag) == Listeners(&w.other));
}

// A copy-out makes a whole copy or leaves nothing; the bag read is untouched.
void CopyOut(World& w, const char* path) {
    w.Rich();
    const bool ok = w.Run([&] { return TavPropertiesCopyPropertyAtPathCStr(&w.bag, path, &w.v); });
    EXPECT_NE(ok, w.hit) << "a copy is whole or not made";
    const Value* stored = TavPropertiesGetPropertyAtPathCStrConst(&w.bag, path);
    EXPECT_TRUE(!ok || TavPropertyValueEqual(w.Own(&w.v, &TavPropertyValueDestruct), stored));
    EXPECT_TRUE(TavPropertiesEqual(&w.bag, &w.reference));
}

// A snapshot has the entries and no listeners, or is not made.
void Snapshot(World& w) {
    w.Rich();
    if (!w.Run([&] { return TavPropertiesConstructSnapshot(&w.other, &w.bag); })) return;
    EXPECT_TRUE(TavPropertiesEqual(w.Own(&w.other), &w.bag));
    EXPECT_EQ(Listeners(&w.other), 0u);
}

// The names replace a vector's contents, or leave them untouched.
void Names(World& w) {
    w.Rich();
    TavVector_TavString names;
    TavVector_TavStringConstructDefault(&names, w.alloc);
    TavString kept;
    TavStringConstructCStr(&kept, "kept", w.alloc);
    TavVector_TavStringPushBack(&names, &kept);
    TavStringDestruct(&kept);
    const bool ok = w.Run([&] { return TavPropertiesGetAllNames(&w.bag, &names); });
    EXPECT_EQ(TavVector_TavStringSize(&names), ok ? w.bag.map.size : 1u);
    EXPECT_STREQ(TavStringCStr(TavVector_TavStringAtConst(&names, 0)), ok ? "count" : "kept");
    TavVector_TavStringDestruct(&names);
}

TEST(AllocationFailureSweep, EveryAllocatingOperationFailsCleanly) {
    std::vector<std::pair<std::string, Scenario>> table = {
        {"bag copy", &CopyBag},  {"bag assign", &BagAssign}, {"remove a nested bag", &RemoveNested},
        {"snapshot", &Snapshot}, {"names", &Names},
    };
    for (const char* path : {"name", "tree", "list", "shared", "weak", "wrapped", "nested"})
        table.push_back({"copy out " + std::string(path), [=](World& w) { CopyOut(w, path); }});
    // Stored over a missing entry, one of each kind, a nested one and a missing path.
    for (Kind kind : kKinds)
        for (const char* path : {"added", "count", "name", "tree", "list", "shared", "weak",
                                 "wrapped", "nested.s", "p.q.r"})
            table.push_back(
                {"store kind " + std::to_string(kind) + " at " + path, StoreAt(path, kind)});
    CountingAllocator alloc;
    tavtest::DefaultAllocatorHook hook{alloc};
    std::size_t points = 0;
    for (const auto& [name, run] : table) {
        SCOPED_TRACE(name);
        points += tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
            const std::size_t live = alloc.liveBlocks();
            {
                alloc.FailAt(0);  // the sweep armed it for the operation, not the setup
                World w(alloc, k);
                run(w);
                for (TavProperties* bag : w.bags) {
                    EXPECT_TRUE(Unlocked(bag)) << "a lock was left held";
                    EXPECT_TRUE(TavPropertiesSetIntValueCStr(bag, "probe.x", 1, TAV_TRUE)) << k;
                    EXPECT_TRUE(TavPropertiesRemovePropertyCStr(bag, "probe")) << k;
                }
            }
            EXPECT_EQ(alloc.liveBlocks(), live) << "blocks left behind at failure point " << k;
        });
    }
    std::printf("[ reliability ] allocation failure points exercised: %zu\n", points);
}

}  // namespace
