// The bag: life cycle, by-name operations and the single-entry operations on
// which paths, accessors, merge and the text forms are built.
#include "Os/TavProperties/bag/TavPropertiesInternal.h"
#include "Os/TavProperties/detail/TavGuards.hpp"

namespace {

using Node = TavMap_TavString__TavPropertyValue_Node;
using Pair = TavPair_TavString__TavPropertyValue;

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

// Before, erase, After. `name` is what the listeners are told and must
// outlive the erase, which destroys the entry's own key. Destruction calls
// this with the node it already holds rather than looking the name up again.
void RemoveNode(TavProperties* x, Node* node, const TavString* name) {
    TavPropertiesExecuteListeners(x, kBefore, name, &node->value.second, nullptr);
    TavMap_TavString__TavPropertyValueErase(&x->map, node);
    TavPropertiesExecuteListeners(x, kAfter, name, nullptr, nullptr);
}

// Destruction must not fail, so when the temporary copy of the smallest name
// can't be made the entry is still removed and reported: the listeners hear
// Before with the entry's own key, then the key's text is taken out of the
// node (leaving an empty key that owns nothing, which erasing never compares)
// so that it survives the erase for the After call.
void RemoveFirstEntryWithoutCopy(TavProperties* x, Node* node) {
    TavPropertiesExecuteListeners(x, kBefore, &node->value.first, &node->value.second, nullptr);
    TavString name = node->value.first;
    TavStringConstructDefault(&node->value.first, name.allocator);
    TavMap_TavString__TavPropertyValueErase(&x->map, node);
    TavPropertiesExecuteListeners(x, kAfter, &name, nullptr, nullptr);
    TavStringDestruct(&name);
}

void RemoveFirstEntry(TavProperties* x) {
    Node* first = TavMap_TavString__TavPropertyValueBegin(&x->map);
    TavString name;
    if (!TavStringConstructCopy(&name, &first->value.first)) {
        RemoveFirstEntryWithoutCopy(x, first);
        return;
    }
    RemoveNode(x, first, &name);
    TavStringDestruct(&name);
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

// When the temporary pair can't be built the insertion is never attempted:
// false, and no listener hears of it.
TavBool TavPropertiesInsertProperty_(TavProperties* x, const TavString* name,
                                     const TavPropertyValue* v) {
    Pair pair;
    if (!TavPair_TavString__TavPropertyValueConstruct(&pair, name, v)) return TAV_FALSE;
    TavPropertiesExecuteListeners(x, kBefore, name, nullptr, v);
    const TavBool inserted = TavMap_TavString__TavPropertyValueInsert(&x->map, &pair).second;
    if (inserted) TavPropertiesExecuteListeners(x, kAfter, name, nullptr, v);
    TavPair_TavString__TavPropertyValueDestruct(&pair);
    return inserted;
}

TavBool TavPropertiesAssignProperty_(TavProperties* x, const TavString* name,
                                     TavPropertyValue* curValue, const TavPropertyValue* newVal) {
    TavPropertiesExecuteListeners(x, kBefore, name, curValue, newVal);
    if (!TavPropertyValueAssign(curValue, newVal)) return TAV_FALSE;
    // The old value is gone: both arguments are the caller's new value.
    TavPropertiesExecuteListeners(x, kAfter, name, newVal, newVal);
    return TAV_TRUE;
}

TavBool TavPropertiesSetProperty_(TavProperties* x, const TavString* name,
                                  const TavPropertyValue* v) {
    TavPropertyValue* current = TavPropertiesGetProperty_(x, name);
    return current ? TavPropertiesAssignProperty_(x, name, current, v)
                   : TavPropertiesInsertProperty_(x, name, v);
}

TavBool TavPropertiesRemoveProperty_(TavProperties* x, const TavString* name) {
    Node* node = FindNode(x, name);
    if (!node) return TAV_FALSE;
    RemoveNode(x, node, name);
    return TAV_TRUE;
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

void TavPropertiesDestruct(TavProperties* x) {
    while (!TavMap_TavString__TavPropertyValueEmpty(&x->map)) RemoveFirstEntry(x);
    TavMap_TavString__TavPropertyValueDestruct(&x->map);
    TavVector_TavPropertyListenerDestruct(&x->listeners);
    TavMutexDestruct(&x->mutex);
}

TavProperties* TavPropertiesAssign(TavProperties* x, const TavProperties* y) {
    tav::LockGuard lock(x);
    if (!TavMap_TavString__TavPropertyValueAssign(&x->map, &y->map)) return nullptr;
    if (!TavVector_TavPropertyListenerAssign(&x->listeners, &y->listeners)) return nullptr;
    return x;
}

TavBool TavPropertiesEqual(const TavProperties* x, const TavProperties* y) {
    return TavMap_TavString__TavPropertyValueEqual(&x->map, &y->map);
}

TavAllocator* TavPropertiesGetAllocator(const TavProperties* x) {
    return x->map.alloc;
}

// ---- by name --------------------------------------------------------------

TavBool TavPropertiesAddProperty(TavProperties* x, const TavString* name,
                                 const TavPropertyValue* v) {
    return Locked<TavPropertiesInsertProperty_>(x, name, v);
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
    return Locked<TavPropertiesRemoveProperty_>(x, name);
}

TavBool TavPropertiesRemovePropertyCStr(TavProperties* x, const char* name) {
    return WithTemporaryName<TavPropertiesRemoveProperty>(x, name);
}

}  // extern "C"
