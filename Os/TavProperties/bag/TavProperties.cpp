// The bag: life cycle, by-name operations and the single-entry operations on
// which paths, accessors, merge and the text forms are built.
#include "Os/TavProperties/bag/TavPropertiesInternal.h"
#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/containers/TavMapInternal.hpp"
#include "Os/TavProperties/values/TavPropertyValueInternal.h"
#include "Os/TavProperties/values/TavPropertyValueTree.hpp"

namespace {

using Node = TavMap_TavString__TavPropertyValue_Node;

constexpr TavPropertyListenerTrigger kBefore = TAV_PROPERTYLISTENER_TRIGGER_Before;
constexpr TavPropertyListenerTrigger kAfter = TAV_PROPERTYLISTENER_TRIGGER_After;

const Node* FindNode(const TavProperties* x, const TavString* name) {
    const Node* root = x->map.end.left;
    return root ? TavMap_TavString__TavPropertyValue_NodeFindConst(root, name) : nullptr;
}

// One lookup for both constnesses: a non-const bag hands out its own nodes.
Node* FindNode(TavProperties* x, const TavString* name) {
    return const_cast<Node*>(FindNode(static_cast<const TavProperties*>(x), name));
}

// An entry that a Before listener must leave in place: name in bag, still
// holding the same value record. Looked up only once a listener has run.
struct SameEntry {
    const TavProperties* bag;
    const TavString* name;
    const TavPropertyValue* value;
    tav::BagProbe probe;
};

bool EntryStillThere(const void* context) {
    const auto* entry = static_cast<const SameEntry*>(context);
    return entry->probe.Holds() &&
           TavPropertiesGetPropertyConst_(entry->bag, entry->name) == entry->value;
}

// Before, erase, After. `name` is what the listeners are told and must
// outlive the erase, which destroys the entry's own key.
TavBool RemoveNode(TavProperties* x, Node* node, const TavString* name, const tav::BagProbe& probe) {
    const SameEntry entry{x, name, &node->value.second, probe};
    const tav::EntryGuard guard{&EntryStillThere, &entry};
    if (tav::NotifyListeners(x, kBefore, name, &node->value.second, nullptr, guard) &&
        !guard.Holds()) {
        return TAV_FALSE;
    }
    TavMap_TavString__TavPropertyValueErase(&x->map, node);
    TavPropertiesExecuteListeners(x, kAfter, name, nullptr, nullptr);
    return TAV_TRUE;
}

// A value that may live inside the entry it is assigned to (a Set from a
// pointer into the bag's own tree): the assignment itself copes, but the
// After listeners are handed the new value, which by then is released. Such
// a value is copied first and the copy stands in for it throughout.
bool MustStandIn(const TavPropertyValue* cur, const TavPropertyValue* v) {
    return tav::tree::IsComposite(cur) && tav::tree::ValueWithin(cur, v);
}

// Every exported by-name operation: lock, run the single-entry operation,
// unlock. A returned pointer reaches the caller after the unlock.
template <auto Op, class Bag, class... Args>
auto Locked(Bag* x, const TavString* name, Args... args) {
    tav::LockGuard lock(x);
    return Op(x, name, args...);
}

// The CStr forms: build the name with the bag's allocator before anything
// else, fail with the empty result (false or null) when that is impossible,
// otherwise run the TavString form, which locks.
template <auto Form, class Bag, class... Args>
auto WithTemporaryName(Bag* x, const char* name, Args... args) {
    tav::ScopedString temporary(name, TavPropertiesGetAllocator(x));
    using Result = decltype(Form(x, temporary.get(), args...));
    return temporary.ok() ? Form(x, temporary.get(), args...) : Result{};
}

}  // namespace

// ---- single-entry operations (caller holds the lock) ----------------------

const TavPropertyValue* TavPropertiesGetPropertyConst_(const TavProperties* x,
                                                       const TavString* name) {
    const Node* node = FindNode(x, name);
    return node ? &node->value.second : nullptr;
}

TavPropertyValue* TavPropertiesGetProperty_(TavProperties* x, const TavString* name) {
    return const_cast<TavPropertyValue*>(
        TavPropertiesGetPropertyConst_(static_cast<const TavProperties*>(x), name));
}

TavPropertyValue* TavPropertiesFindProperty_(TavProperties* x, const TavString* name,
                                             tav::Miss* miss) {
    Node* node = tav::map::FindOrSlot(&x->map, name, &miss->slot);
    if (node != nullptr) return &node->value.second;
    miss->told = !TavVector_TavPropertyListenerEmpty(&x->listeners);
    return nullptr;
}

namespace {

bool HasListeners(TavProperties* x) {
    const tav::LockUnlessHeld lock(x);  // a nested bag's listeners are guarded by its own lock
    return !TavVector_TavPropertyListenerEmpty(&x->listeners);
}

// With no listener to tell, the value the caller built for this insertion
// alone becomes the entry's own, linked where the lookup found name missing:
// only the name is copied.
TavBool InsertTaking(TavProperties* x, const TavString* name, TavPropertyValue* taken,
                     const tav::map::Slot& slot) {
    TavAllocator* a = x->map.alloc;
    auto* node = static_cast<Node*>(TavAllocatorAllocate(a, sizeof(Node)));
    if (node == nullptr) return TAV_FALSE;
    if (TavStringConstructCopy(&node->value.first, name) == nullptr) {
        TavAllocatorDeallocate(a, node, sizeof(Node));
        return TAV_FALSE;
    }
    node->value.second = *taken;
    tav::map::LinkAt(&x->map, node, slot);
    tav::value::MarkTaken(taken);
    return TAV_TRUE;
}

}  // namespace

// The entry is made (a copy of name and v) before anything else: when that
// fails the insertion is never attempted, false, and no listener hears of
// it. Listeners are handed the caller's name and value, which outlive them.
TavBool TavPropertiesInsertProperty_(TavProperties* x, const TavString* name,
                                     const TavPropertyValue* v, const tav::BagProbe& bag,
                                     TavPropertyValue* taken, const tav::Miss* miss) {
    const bool told = miss != nullptr ? miss->told : HasListeners(x);
    if (!told && taken != nullptr && miss != nullptr) {
        return InsertTaking(x, name, taken, miss->slot);
    }
    TavAllocator* a = x->map.alloc;  // x itself may be gone after the Before listeners
    Node* node = tav::map::NewDetached(a, name, v);
    if (node == nullptr) return TAV_FALSE;
    const tav::EntryGuard guard{bag.reachable, bag.context};
    TavBool inserted = TAV_FALSE;
    if (!told || !tav::NotifyListeners(x, kBefore, name, nullptr, v, guard) || guard.Holds()) {
        inserted = tav::map::LinkUnlessPresent(&x->map, node) == nullptr;
    }
    if (!inserted) {
        tav::map::DestroyDetached(a, node);
        return TAV_FALSE;
    }
    if (told) TavPropertiesExecuteListeners(x, kAfter, name, nullptr, v);
    return TAV_TRUE;
}

namespace {

TavBool AssignInPlace(TavProperties* x, const TavString* name, TavPropertyValue* curValue,
                      const TavPropertyValue* newVal, const tav::EntryGuard& target) {
    const SameEntry entry{x, name, curValue, {}};
    const tav::EntryGuard guard =
        target.stillThere != nullptr ? target : tav::EntryGuard{&EntryStillThere, &entry};
    if (tav::NotifyListeners(x, kBefore, name, curValue, newVal, guard) && !guard.Holds()) {
        return TAV_FALSE;
    }
    if (!TavPropertyValueAssign(curValue, newVal)) return TAV_FALSE;
    // The old value is gone: both arguments are the caller's new value.
    TavPropertiesExecuteListeners(x, kAfter, name, newVal, newVal);
    return TAV_TRUE;
}

}  // namespace

TavBool TavPropertiesAssignProperty_(TavProperties* x, const TavString* name,
                                     TavPropertyValue* curValue, const TavPropertyValue* newVal,
                                     const tav::EntryGuard& target) {
    // With nobody to tell, the assignment is all there is (it copes with aliasing).
    if (!HasListeners(x)) return TavPropertyValueAssign(curValue, newVal) != nullptr;
    if (!MustStandIn(curValue, newVal)) return AssignInPlace(x, name, curValue, newVal, target);
    tav::ScopedValue standIn;
    if (!standIn.adopt(TavPropertyValueConstructCopy(standIn.storage(), newVal))) return TAV_FALSE;
    return AssignInPlace(x, name, curValue, standIn.get(), target);
}

TavBool TavPropertiesSetProperty_(TavProperties* x, const TavString* name,
                                  const TavPropertyValue* v) {
    TavPropertyValue* current = TavPropertiesGetProperty_(x, name);
    return current ? TavPropertiesAssignProperty_(x, name, current, v)
                   : TavPropertiesInsertProperty_(x, name, v);
}

TavBool TavPropertiesRemoveProperty_(TavProperties* x, const TavString* name,
                                     const tav::BagProbe& bag) {
    Node* node = FindNode(x, name);
    return node != nullptr ? RemoveNode(x, node, name, bag) : TAV_FALSE;
}

extern "C" {

// ---- life cycle -----------------------------------------------------------

TavProperties* TavPropertiesConstructDefault(TavProperties* x, TavAllocator* a) {
    if (!TavMutexConstruct(&x->mutex)) return nullptr;
    TavMap_TavString__TavPropertyValueConstruct(&x->map, a);
    TavVector_TavPropertyListenerConstructDefault(&x->listeners, a);
    return x;
}

TavProperties* TavPropertiesConstructCopy(TavProperties* x, const TavProperties* y) {
    if (!TavMutexConstruct(&x->mutex)) return nullptr;
    if (!TavMap_TavString__TavPropertyValueConstructCopy(&x->map, &y->map)) {
        TavMutexDestruct(&x->mutex);
        return nullptr;
    }
    if (!TavVector_TavPropertyListenerConstructCopy(&x->listeners, &y->listeners)) {
        TavMap_TavString__TavPropertyValueDestruct(&x->map);
        TavMutexDestruct(&x->mutex);
        return nullptr;
    }
    return x;
}

void TavPropertiesDestruct(TavProperties* x) { tav::tree::DestroyBag(x, false); }

// y may be x itself or lie anywhere inside x (or x inside y): everything is
// read from y before x's former entries are released.
TavProperties* TavPropertiesAssign(TavProperties* x, const TavProperties* y) {
    tav::LockGuard lock(x);
    TavMap_TavString__TavPropertyValue entries;
    TavMap_TavString__TavPropertyValueConstruct(&entries, x->map.alloc);
    if (!TavMap_TavString__TavPropertyValueAssign(&entries, &y->map)) return nullptr;
    const bool listenersTaken =
        TavVector_TavPropertyListenerAssign(&x->listeners, &y->listeners) != nullptr;
    TavMap_TavString__TavPropertyValueSwap(&x->map, &entries);  // one allocator: no copy
    TavMap_TavString__TavPropertyValueDestruct(&entries);
    return listenersTaken ? x : nullptr;
}

TavBool TavPropertiesEqual(const TavProperties* x, const TavProperties* y) {
    return tav::tree::BagsEqual(x, y) ? TAV_TRUE : TAV_FALSE;
}

TavAllocator* TavPropertiesGetAllocator(const TavProperties* x) {
    return x->map.alloc;
}

// ---- by name --------------------------------------------------------------

TavBool TavPropertiesAddProperty(TavProperties* x, const TavString* name,
                                 const TavPropertyValue* v) {
    tav::LockGuard lock(x);
    return TavPropertiesInsertProperty_(x, name, v);
}

TavBool TavPropertiesAddPropertyCStr(TavProperties* x, const char* name,
                                     const TavPropertyValue* v) {
    return WithTemporaryName<TavPropertiesAddProperty>(x, name, v);
}

TavBool TavPropertiesSetProperty(TavProperties* x, const TavString* name,
                                 const TavPropertyValue* v) {
    return Locked<TavPropertiesSetProperty_>(x, name, v);
}

TavBool TavPropertiesSetPropertyCStr(TavProperties* x, const char* name,
                                     const TavPropertyValue* v) {
    return WithTemporaryName<TavPropertiesSetProperty>(x, name, v);
}

TavPropertyValue* TavPropertiesGetProperty(TavProperties* x, const TavString* name) {
    return Locked<TavPropertiesGetProperty_>(x, name);
}

const TavPropertyValue* TavPropertiesGetPropertyConst(const TavProperties* x,
                                                      const TavString* name) {
    return Locked<TavPropertiesGetPropertyConst_>(x, name);
}

TavPropertyValue* TavPropertiesGetPropertyCStr(TavProperties* x, const char* name) {
    return WithTemporaryName<TavPropertiesGetProperty>(x, name);
}

const TavPropertyValue* TavPropertiesGetPropertyCStrConst(const TavProperties* x,
                                                          const char* name) {
    return WithTemporaryName<TavPropertiesGetPropertyConst>(x, name);
}

TavBool TavPropertiesRemoveProperty(TavProperties* x, const TavString* name) {
    tav::LockGuard lock(x);
    return TavPropertiesRemoveProperty_(x, name);
}

TavBool TavPropertiesRemovePropertyCStr(TavProperties* x, const char* name) {
    return WithTemporaryName<TavPropertiesRemoveProperty>(x, name);
}

}  // extern "C"
