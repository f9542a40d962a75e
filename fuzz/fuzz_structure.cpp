// The input drives a sequence of operations over four bags: entries of every
// kind added, set and removed by name, bags nested into bags (themselves
// included), vectors holding bags, merges, copies, assignments, listeners,
// chains nested far past the depth limits, merges and assignments from a
// bag's own nested bags and elements, and listeners that break the rules
// (removing the entry in progress, re-adding what destruction removes).
// Then every bag is written in every text form. Besides memory safety it
// checks, while the allocator has memory to spare: a copy equals its source,
// an assignment leaves the target equal to its source, a merge into an empty
// bag reproduces its source exactly when the source is within the depth
// limit, the JSON writer succeeds exactly when the bag is within the depth
// limit, and name lists match the entry count. The byte read first (the last one) may make the
// allocator refuse every n-th allocation; only safety and balance count then.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzSupport.hpp"
#include "Os/TavProperties/containers/TavMapInternal.hpp"

namespace {

using tavfuzz::Require;

constexpr int kBags = 4;
constexpr std::size_t kMaxWeight = 1500;  // keeps self-nesting from doubling without end
constexpr std::size_t kDepthLimit = 63;

// A listener that does what listeners must not: on a Before event it removes
// the entry in progress, on an After removal it adds the name again. It
// strikes a few times per operation so that it cannot recurse without end.
struct Hostility {
    int strikes = 0;
};

void HostileListener(const TavPropertyListener* l, TavProperties* bag, const TavString* name,
                     const TavPropertyValue* oldValue, const TavPropertyValue* newValue) {
    auto* h = static_cast<Hostility*>(TavPropertyListenerGetData(l));
    if (h->strikes <= 0) return;
    --h->strikes;
    if (TavPropertyListenerGetTrigger(l) == TAV_PROPERTYLISTENER_TRIGGER_Before) {
        (void)TavPropertiesRemoveProperty(bag, name);
    } else if (oldValue == nullptr && newValue == nullptr) {
        (void)TavPropertiesSetIntValue(bag, name, 1, TAV_TRUE);
    }
}

struct World {
    explicit World(unsigned failEvery) : alloc(failEvery), hook(alloc), strict(failEvery == 0) {}
    tavfuzz::CheckedAllocator alloc;
    Hostility hostility;
    bool deepChainAdded = false;
    tavfuzz::DefaultAllocatorHook hook;
    tavfuzz::ListenerLog log;
    const bool strict;  // no refusals: results must be exact
    TavProperties bags[kBags];
    bool live[kBags] = {};
    std::size_t weight[kBags] = {};  // upper bound of the entries below a bag
};

// Depth of the deepest bag below `bag`; with `throughVectors`, bags held in
// vector elements count one level below the bag holding the vector.
std::size_t DepthBelow(const TavProperties* bag, bool throughVectors, TavAllocator* a);

std::size_t DepthOfValue(const TavPropertyValue* v, bool throughVectors, TavAllocator* a) {
    if (const TavProperties* nested = TavPropertyValueGetProperties(v))
        return 1 + DepthBelow(nested, throughVectors, a);
    const TavVector_TavPropertyValue* vec = TavPropertyValueGetVector(v);
    std::size_t deepest = 0;
    for (TavSizeT i = 0;
         throughVectors && vec != nullptr && i < TavVector_TavPropertyValueSize(vec); ++i)
        deepest =
            std::max(deepest, DepthOfValue(TavVector_TavPropertyValueAtConst(vec, i), true, a));
    return deepest;
}

std::size_t DepthBelow(const TavProperties* bag, bool throughVectors, TavAllocator* a) {
    TavVector_TavString names;
    TavVector_TavStringConstructDefault(&names, a);
    Require(TavPropertiesGetAllNames(bag, &names), "names listed with memory to spare");
    std::size_t deepest = 0;
    for (TavSizeT i = 0; i < TavVector_TavStringSize(&names); ++i) {
        const TavPropertyValue* v =
            TavPropertiesGetPropertyConst(bag, TavVector_TavStringAtConst(&names, i));
        Require(v != nullptr, "every listed name is found");
        deepest = std::max(deepest, DepthOfValue(v, throughVectors, a));
    }
    TavVector_TavStringDestruct(&names);
    return deepest;
}

bool Fits(const World& w, int i, int j) {
    return w.weight[i] + w.weight[j] + 1 <= kMaxWeight;
}

void AddOrSet(FuzzedDataProvider& in, World& w, int i, int j, bool set) {
    TavPropertyValue v;
    const TavProperties* nested = w.live[j] && Fits(w, i, j) ? &w.bags[j] : nullptr;
    if (tavfuzz::MakeValue(in, &v, w.alloc.get(), nested) == nullptr) return;
    const std::string name = tavfuzz::PickName(in);
    if (set)
        (void)TavPropertiesSetPropertyCStr(&w.bags[i], name.c_str(), &v);
    else
        (void)TavPropertiesAddPropertyCStr(&w.bags[i], name.c_str(), &v);
    if (nested != nullptr) w.weight[i] += w.weight[j] + 1;
    ++w.weight[i];
    TavPropertyValueDestruct(&v);
}

void Nest(FuzzedDataProvider& in, World& w, int i, int j) {
    if (!w.live[j] || !Fits(w, i, j)) return;
    const std::string name = tavfuzz::PickName(in);
    (void)TavPropertiesAddPropertiesValueCStr(&w.bags[i], name.c_str(), &w.bags[j],
                                              in.ConsumeBool());
    w.weight[i] += w.weight[j] + 1;
}

// A vector whose elements are copies of bag j and values the input picks.
void AddVectorOfBags(FuzzedDataProvider& in, World& w, int i, int j) {
    if (!w.live[j] || 3 * (w.weight[j] + 1) + w.weight[i] > kMaxWeight) return;
    TavVector_TavPropertyValue vec;
    TavVector_TavPropertyValueConstructDefault(&vec, w.alloc.get());
    const int count = in.ConsumeIntegralInRange<int>(0, 3);
    for (int k = 0; k < count; ++k) {
        TavPropertyValue element;
        if (tavfuzz::MakeValue(in, &element, w.alloc.get(), &w.bags[j]) == nullptr) continue;
        (void)TavVector_TavPropertyValuePushBack(&vec, &element);
        TavPropertyValueDestruct(&element);
    }
    const std::string name = tavfuzz::PickName(in);
    (void)TavPropertiesSetVectorValueCStr(&w.bags[i], name.c_str(), &vec, in.ConsumeBool());
    TavVector_TavPropertyValueDestruct(&vec);
    w.weight[i] += 3 * (w.weight[j] + 1);
}

// Puts bag i one level down: i becomes { "w": old i }.
void Wrap(World& w, int i) {
    TavProperties outer;
    if (TavPropertiesConstructDefault(&outer, w.alloc.get()) == nullptr) return;
    if (TavPropertiesAddPropertiesValueCStr(&outer, "w", &w.bags[i], TAV_TRUE))
        (void)TavPropertiesAssign(&w.bags[i], &outer);
    TavPropertiesDestruct(&outer);
    ++w.weight[i];
}

void Merge(World& w, int i, int j) {
    if (i == j || !w.live[j] || !Fits(w, i, j)) return;
    const TavProperties* merged = TavPropertiesMerge(&w.bags[i], &w.bags[j]);
    Require(merged == nullptr || merged == &w.bags[i], "merge returns its target");
    w.weight[i] += w.weight[j];
}

void CopyOver(World& w, int i, int j) {
    if (i == j || !w.live[j]) return;
    TavPropertiesDestruct(&w.bags[i]);
    w.live[i] = TavPropertiesConstructCopy(&w.bags[i], &w.bags[j]) != nullptr;
    Require(w.live[i] || !w.strict, "a copy is made with memory to spare");
    if (w.live[i]) Require(TavPropertiesEqual(&w.bags[i], &w.bags[j]), "a copy equals its source");
    w.weight[i] = w.weight[j];
}

void AssignOver(World& w, int i, int j) {
    if (i == j || !w.live[j]) return;
    const bool assigned = TavPropertiesAssign(&w.bags[i], &w.bags[j]) == &w.bags[i];
    Require(assigned || !w.strict, "an assignment succeeds with memory to spare");
    if (assigned)
        Require(TavPropertiesEqual(&w.bags[i], &w.bags[j]), "an assigned bag equals its source");
    w.weight[i] = std::max(w.weight[i], w.weight[j]);
}

void ToggleListener(FuzzedDataProvider& in, World& w, int i) {
    TavPropertyListener l;
    const auto trigger =
        in.ConsumeBool() ? TAV_PROPERTYLISTENER_TRIGGER_After : TAV_PROPERTYLISTENER_TRIGGER_Before;
    const std::string name = tavfuzz::PickName(in);
    if (TavPropertyListenerConstructCStr(&l, trigger, in.ConsumeBool() ? nullptr : name.c_str(),
                                         &tavfuzz::CheckingListener, &w.log,
                                         w.alloc.get()) == nullptr)
        return;
    if (in.ConsumeBool())
        (void)TavPropertiesAddListener(&w.bags[i], &l);
    else
        tavfuzz::RemoveListenerNotingErase(&w.bags[i], &l, w.alloc);
    TavPropertyListenerDestruct(&l);
}

void AddHostileListener(FuzzedDataProvider& in, World& w, int i) {
    TavPropertyListener l;
    const auto trigger =
        in.ConsumeBool() ? TAV_PROPERTYLISTENER_TRIGGER_After : TAV_PROPERTYLISTENER_TRIGGER_Before;
    if (TavPropertyListenerConstructCStr(&l, trigger, nullptr, &HostileListener, &w.hostility,
                                         w.alloc.get()) == nullptr)
        return;
    (void)TavPropertiesAddListener(&w.bags[i], &l);
    TavPropertyListenerDestruct(&l);
}

// Bag i gets a chain of nested bags far past the depth limits of merge and
// JSON (vectors of vectors do not count there, so a chain of those too).
// Merging, copying and checking such a chain cost the square of its depth,
// so an input gets at most one, and only when it asks with a magic byte.
void AddDeepChain(FuzzedDataProvider& in, World& w, int i) {
    if (w.deepChainAdded || in.ConsumeIntegral<uint8_t>() != 0xD7) return;
    w.deepChainAdded = true;
    const int levels = in.ConsumeIntegralInRange<int>(62, 65);  // either side of 63
    if (w.weight[i] + levels > kMaxWeight) return;
    std::string path = tavfuzz::PickName(in);
    for (int k = 1; k < levels; ++k) path += ".d";
    (void)TavPropertiesSetIntValueCStr(&w.bags[i], path.c_str(), levels, TAV_TRUE);
    w.weight[i] += levels;
}

// The first nested bag among the entries of bag i, or null.
const TavPropertyValue* FirstComposite(World& w, int i) {
    using Position = TavMap_TavString__TavPropertyValueConstIterator;
    const auto* map = &w.bags[i].map;
    for (Position it = TavMap_TavString__TavPropertyValueBeginConst(map);
         it != TavMap_TavString__TavPropertyValueEndConst(map);
         TavMap_TavString__TavPropertyValueConstIteratorIncrement(&it)) {
        const TavPropertyValue* v = &it->value.second;
        if (TavPropertyValueGetProperties(v) != nullptr || TavPropertyValueGetVector(v) != nullptr)
            return v;
    }
    return nullptr;
}

// Merge, assignment, Set and value assignment whose source lives inside
// their own target. Each must act as with an independent copy of the source.
void FromOwnChild(FuzzedDataProvider& in, World& w, int i) {
    const TavPropertyValue* child = FirstComposite(w, i);
    if (child == nullptr || 2 * w.weight[i] + 1 > kMaxWeight) return;
    w.weight[i] = 2 * w.weight[i] + 1;  // a merge or a Set may add a copy of the child
    const TavProperties* nested = TavPropertyValueGetProperties(child);
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
        case 0:
            if (nested != nullptr) (void)TavPropertiesMerge(&w.bags[i], nested);
            break;
        case 1:
            if (nested != nullptr) (void)TavPropertiesAssign(&w.bags[i], nested);
            break;
        case 2:
            (void)TavPropertiesSetPropertyCStr(&w.bags[i], tavfuzz::PickName(in).c_str(), child);
            break;
        default: {
            const TavVector_TavPropertyValue* vec = TavPropertyValueGetVector(child);
            if (vec != nullptr && TavVector_TavPropertyValueSize(vec) > 0)
                (void)TavPropertyValueAssign(const_cast<TavPropertyValue*>(child),
                                             TavVector_TavPropertyValueAtConst(vec, 0));
        }
    }
}

// The exact checks that need memory to spare: copy, merge into an empty bag,
// JSON against the depth limit, names against the entry count.
void CheckBag(World& w, int i) {
    Require(tav::map::Verify(&w.bags[i].map), "the entries' tree stays sound");
    if (!w.strict) return;
    const TavProperties* bag = &w.bags[i];
    TavAllocator* a = w.alloc.get();
    TavProperties copy, merged;
    Require(TavPropertiesConstructCopy(&copy, bag) == &copy, "copy");
    Require(TavPropertiesEqual(&copy, bag), "a copy equals its source");
    Require(TavPropertiesConstructDefault(&merged, a) == &merged, "bag");
    const bool mergeable = DepthBelow(bag, false, a) <= kDepthLimit;
    const TavProperties* result = TavPropertiesMerge(&merged, bag);
    Require((result != nullptr) == mergeable, "merge fails exactly beyond the depth limit");
    if (mergeable) Require(TavPropertiesEqual(&merged, bag), "a merge into an empty bag copies it");
    TavPropertiesDestruct(&merged);
    TavPropertiesDestruct(&copy);

    TavString json;
    TavStringConstructDefault(&json, a);
    const bool writable = DepthBelow(bag, true, a) <= kDepthLimit;
    Require((TavPropertiesToJson(bag, &json) != nullptr) == writable,
            "JSON fails exactly beyond the depth limit");
    TavStringDestruct(&json);

    TavVector_TavString names;
    TavVector_TavStringConstructDefault(&names, a);
    Require(
        TavPropertiesGetAllNames(bag, &names) &&
            TavVector_TavStringSize(&names) == TavMap_TavString__TavPropertyValueSize(&bag->map),
        "one name per entry");
    TavVector_TavStringDestruct(&names);
}

void RunOne(FuzzedDataProvider& in, World& w) {
    const int op = in.ConsumeIntegralInRange<int>(0, 14);
    w.hostility.strikes = 2;
    const int i = in.ConsumeIntegralInRange<int>(0, kBags - 1);
    const int j = in.ConsumeIntegralInRange<int>(0, kBags - 1);
    if (!w.live[i]) {
        w.live[i] = TavPropertiesConstructDefault(&w.bags[i], w.alloc.get()) != nullptr;
        w.weight[i] = 0;
        if (!w.live[i]) return;
    }
    switch (op) {
        case 0: AddOrSet(in, w, i, j, false); break;
        case 1: AddOrSet(in, w, i, j, true); break;
        case 2:
            (void)TavPropertiesRemovePropertyCStr(&w.bags[i], tavfuzz::PickName(in).c_str());
            break;
        case 3: Nest(in, w, i, j); break;
        case 4: AddVectorOfBags(in, w, i, j); break;
        case 5: Wrap(w, i); break;
        case 6: Merge(w, i, j); break;
        case 7: CopyOver(w, i, j); break;
        case 8: AssignOver(w, i, j); break;
        case 9: ToggleListener(in, w, i); break;
        case 10: CheckBag(w, i); break;
        case 12: AddHostileListener(in, w, i); break;
        case 13: AddDeepChain(in, w, i); break;
        case 14: FromOwnChild(in, w, i); break;
        default: tavfuzz::WriteAll(&w.bags[i], w.alloc.get(), false);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const uint8_t mode = in.ConsumeIntegral<uint8_t>();
    World w(mode < 224 ? 0 : 2 + mode % 29);
    for (int k = 0; k < kBags; ++k) {
        w.live[k] = TavPropertiesConstructDefault(&w.bags[k], w.alloc.get()) != nullptr;
        if (w.live[k] && k % 2 == 0) (void)tavfuzz::ListenToAll(&w.bags[k], &w.log, w.alloc.get());
    }
    for (int ops = 0; ops < 200 && in.remaining_bytes() > 0; ++ops) RunOne(in, w);
    for (int k = 0; k < kBags; ++k) {
        if (!w.live[k]) continue;
        w.hostility.strikes = 2;
        CheckBag(w, k);
        tavfuzz::WriteAll(&w.bags[k], w.alloc.get(), false);
        TavPropertiesDestruct(&w.bags[k]);
    }
    return 0;
}
