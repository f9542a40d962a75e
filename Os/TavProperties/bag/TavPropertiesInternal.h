/* Single-entry operations of the bag shared by the bag, paths, accessors,
 * merge and the text forms. Those ending in an underscore expect the caller
 * to hold the bag's lock. Not exported. */
#ifndef TAV_OS_TAVPROPERTIES_BAG_TAVPROPERTIESINTERNAL_H
#define TAV_OS_TAVPROPERTIES_BAG_TAVPROPERTIESINTERNAL_H

#include "Os/TavProperties.h"
#include "Os/TavProperties/containers/TavMapInternal.hpp"

/* Calls the listeners of x matching trigger and name on a fresh snapshot of
 * the listener list; takes x's lock only while making the snapshot. */
void TavPropertiesExecuteListeners(TavProperties* x, TavPropertyListenerTrigger trigger,
                                   const TavString* name, const TavPropertyValue* oldValue,
                                   const TavPropertyValue* newValue);

namespace tav {

/* Listeners must not remove or replace the entry whose change they are told
 * about, nor the bag that holds it. A guard lets a dispatch notice when one
 * did: it is asked after every callback, and the dispatch stops as soon as
 * it says the entry is gone, so that no later callback is handed released
 * memory. */
struct EntryGuard {
    bool (*stillThere)(const void* context);
    const void* context;
    bool Holds() const { return stillThere == nullptr || stillThere(context); }
};

/* The dispatch above with a guard; true when at least one callback ran (so
 * the caller must look its entry up again before touching it). */
bool NotifyListeners(TavProperties* x, TavPropertyListenerTrigger trigger, const TavString* name,
                     const TavPropertyValue* oldValue, const TavPropertyValue* newValue,
                     const EntryGuard& guard);

/* Whether the bag an operation works in is still there after listeners ran.
 * The bag an exported operation was called on always is (destroying it from
 * a callback is outside any contract); a nested bag reached by a path may
 * have been removed from its parent. The default stands for the first case. */
struct BagProbe {
    bool (*reachable)(const void* context) = nullptr;
    const void* context = nullptr;
    bool Holds() const { return reachable == nullptr || reachable(context); }
};

/* The path Add and Set for a value the caller built for this call alone (the
 * typed accessors): a new entry in a bag with no listener to tell takes v
 * instead of a copy of it, and v is left holding nothing. */
TavBool AddTakingAtPath(TavProperties* x, const TavString* path, TavPropertyValue* v);
TavBool AddTakingAtPath(TavProperties* x, const char* path, TavPropertyValue* v);
TavBool SetTakingAtPath(TavProperties* x, const TavString* path, TavPropertyValue* v);
TavBool SetTakingAtPath(TavProperties* x, const char* path, TavPropertyValue* v);

/* The one walk over a bag's entries: visits them in name order (as the
 * caller's lock keeps them) until visit(const pair*) answers true, and says
 * whether it did. */
template <class Visit>
bool AnyEntry(const TavProperties* bag, Visit visit) {
    using Position = TavMap_TavString__TavPropertyValueConstIterator;
    const Position end = TavMap_TavString__TavPropertyValueEndConst(&bag->map);
    for (Position it = TavMap_TavString__TavPropertyValueBeginConst(&bag->map); it != end;
         it = tav::map::Next(it)) {
        if (visit(&it->value)) return true;
    }
    return false;
}

}  // namespace tav

/* Single-entry operations; the caller holds the lock of the top bag. After a
 * Before call each of them makes sure that its bag (through the probe) and its
 * entry are still there; when a listener has removed either, the operation
 * returns false without going on and without an After call. */
TavPropertyValue* TavPropertiesGetProperty_(TavProperties* x, const TavString* name);
const TavPropertyValue* TavPropertiesGetPropertyConst_(const TavProperties* x,
                                                       const TavString* name);
namespace tav {

/* What a lookup that found no entry learnt under the bag's lock: where the
 * name would be linked, and whether the bag had listeners to tell. */
struct Miss {
    map::Slot slot;
    bool told;
};

}  // namespace tav

/* The entry name, or null with miss filled in. */
TavPropertyValue* TavPropertiesFindProperty_(TavProperties* x, const TavString* name,
                                             tav::Miss* miss);
/* Insert: `miss`, when not null, is what FindProperty_ found for name with no
 * callback run since: its answer on listeners stands. `taken`, when not null
 * with a miss, is v itself, built by the caller for this insertion alone; a
 * bag with no listener to tell takes it as its entry's value, linked at the
 * miss's slot, instead of copying it (it is then left holding nothing). */
TavBool TavPropertiesInsertProperty_(TavProperties* x, const TavString* name,
                                     const TavPropertyValue* v, const tav::BagProbe& bag = {},
                                     TavPropertyValue* taken = nullptr,
                                     const tav::Miss* miss = nullptr);
/* The target is found again by `target` (x's entry `name` when it is null)
 * once the Before listeners have run. */
TavBool TavPropertiesAssignProperty_(TavProperties* x, const TavString* name,
                                     TavPropertyValue* curValue, const TavPropertyValue* newVal,
                                     const tav::EntryGuard& target = {nullptr, nullptr});
TavBool TavPropertiesSetProperty_(TavProperties* x, const TavString* name,
                                  const TavPropertyValue* v);
TavBool TavPropertiesRemoveProperty_(TavProperties* x, const TavString* name,
                                     const tav::BagProbe& bag = {});

#endif
