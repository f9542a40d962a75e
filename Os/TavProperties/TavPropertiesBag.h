/* The property bag: life cycle, by-name access to single entries and the
 * registration of listeners. Every operation that changes an entry tells the
 * bag's listeners before and after the change, on the changing thread. */
#ifndef TAV_OS_TAVPROPERTIES_TAVPROPERTIESBAG_H
#define TAV_OS_TAVPROPERTIES_TAVPROPERTIESBAG_H

#include "Os/TavProperties/TavPropertiesTypes.h"

/* Threading. Each bag has a recursive mutex (its `mutex` field). Every
 * exported operation on a bag holds that bag's mutex for its whole run,
 * listener calls included, so a callback may re-enter its own bag while other
 * threads wait. Exceptions: getters unlock before returning their pointer,
 * which another thread's Remove, Assign or Destruct may then free (use the
 * Copy getters, TavPropertiesCopy<Kind>Value and TavPropertiesCopyPropertyAtPath,
 * instead); ConstructCopy and Assign don't lock the source, Equal locks
 * neither bag, Destruct takes no lock; path operations lock the top bag (nested
 * bags only briefly), so a nested bag changed through a pointer bypasses it;
 * Merge locks only its target and reads its source unlocked (merge a
 * TavPropertiesConstructSnapshot of a shared source). A listener that writes
 * into another bag can deadlock against a listener of that bag writing back
 * on another thread: record the change in the callback and apply it after the
 * call has returned. The default allocator (tavAllocator_) is a writable
 * global shared by every thread: change its callbacks only while no other
 * thread can allocate through it. README.md, "Threading", has the details. */

TAV_EXTERN_C_BEGIN

/* Life cycle. The constructors return x, or NULL (x then holds nothing). A
 * copy takes its source's allocator, entries and listeners and does not lock
 * the source. Destruct removes the entries one by one in name order, telling
 * the listeners, and takes no lock; it needs neither memory nor stack in
 * proportion to the depth, and a bag tells at most as many removals as it
 * held when destruction began (entries its listeners add meanwhile are
 * removed untold). Assign locks only x and tells no listener; afterwards x
 * has y's entries and y's listeners; y may be x or lie inside it. Copy,
 * Assign and Equal work at any depth (Equal answers false when it can't get
 * memory to walk a tree more than 32 levels deep). */
TAV_API TavProperties* TavPropertiesConstructDefault(TavProperties* x, TavAllocator* a);
TAV_API TavProperties* TavPropertiesConstructCopy(TavProperties* x, const TavProperties* y);
TAV_API void TavPropertiesDestruct(TavProperties* x);
TAV_API TavProperties* TavPropertiesAssign(TavProperties* x, const TavProperties* y);
/* Same names with equal values; listeners and allocators are not compared
 * and neither bag is locked. Trees more than 32 levels deep take memory for
 * the walk from x's allocator: without it the answer is false. */
TAV_API TavBool TavPropertiesEqual(const TavProperties* x, const TavProperties* y);
/* A copy of y's entries taken while y is locked, safe to read or merge while
 * other threads change y; x has no listeners (its nested bags keep theirs, as
 * in any copy). Returns x, or NULL (x then holds nothing). */
TAV_API TavProperties* TavPropertiesConstructSnapshot(TavProperties* x, const TavProperties* y);
TAV_API TavAllocator* TavPropertiesGetAllocator(const TavProperties* x);

/* By-name operations. Add fails on a present name; Set assigns into a present
 * entry (subject to its settable flag) or adds an absent one; Remove ignores
 * the settable flag. The CStr forms build the name with the bag's allocator
 * and fail at once, calling no listener, when they can't. */
TAV_API TavBool TavPropertiesAddProperty(TavProperties* x, const TavString* name,
                                         const TavPropertyValue* v);
TAV_API TavBool TavPropertiesAddPropertyCStr(TavProperties* x, const char* name,
                                             const TavPropertyValue* v);
TAV_API TavBool TavPropertiesSetProperty(TavProperties* x, const TavString* name,
                                         const TavPropertyValue* v);
TAV_API TavBool TavPropertiesSetPropertyCStr(TavProperties* x, const char* name,
                                             const TavPropertyValue* v);
/* The returned pointer points into the bag and stays valid until the entry is
 * removed or the bag is assigned to or destructed; the lock is released
 * before it is returned. */
TAV_API TavPropertyValue* TavPropertiesGetProperty(TavProperties* x, const TavString* name);
TAV_API const TavPropertyValue* TavPropertiesGetPropertyConst(const TavProperties* x,
                                                              const TavString* name);
TAV_API TavPropertyValue* TavPropertiesGetPropertyCStr(TavProperties* x, const char* name);
TAV_API const TavPropertyValue* TavPropertiesGetPropertyCStrConst(const TavProperties* x,
                                                                  const char* name);
TAV_API TavBool TavPropertiesRemoveProperty(TavProperties* x, const TavString* name);
TAV_API TavBool TavPropertiesRemovePropertyCStr(TavProperties* x, const char* name);

/* Listeners. The bag stores a copy of l; Remove erases the first stored
 * listener equal to l (same trigger, callback, data, all flag and name).
 * A Before listener must not remove or replace the entry it is told about,
 * nor the bag that holds it. One that does is caught: the event goes to no
 * further listener, and the operation returns false with no After call
 * (destruction goes on with whatever stands first). A value that lives inside
 * the entry it is set into is copied first, so After listeners are handed a
 * live value. */
TAV_API TavBool TavPropertiesAddListener(TavProperties* x, TavPropertyListener* l);
TAV_API TavBool TavPropertiesRemoveListener(TavProperties* x, TavPropertyListener* l);

TAV_EXTERN_C_END

#endif
