/* Counted handles over one count block shared by every handle to an object:
 * shared handles keep the object alive, weak handles only observe it. */
#ifndef TAV_OS_TAVSHAREDPTR_H
#define TAV_OS_TAVSHAREDPTR_H

#include "Os/TavAtomicInteger.h"
#include "Utils/TavAllocator.h"

TAV_EXTERN_C_BEGIN

typedef struct TavSharedPtrRefCount_ {
    TavAtomicInteger useCount;
    /* weak handles, plus one held by all shared owners together */
    TavAtomicInteger weakCount;
} TavSharedPtrRefCount;

typedef void (*TavSharedPtrDeleterCallback)(TavVoidPtr ptr, TavAllocator* a);

typedef struct TavSharedPtr_void_ {
    TavSharedPtrRefCount* ref;
    TavVoidPtr ptr;
    TavAllocator* a;
    TavSharedPtrDeleterCallback d;
} TavSharedPtr_void;

typedef struct TavWeakPtr_void_ {
    TavSharedPtrRefCount* ref;
    TavVoidPtr ptr;
    TavAllocator* a;
    TavSharedPtrDeleterCallback d;
} TavWeakPtr_void;

/* The count block's atomic steps, for handles: Inc adds one use (weak)
 * count; Dec takes one and is true when that was the last (the caller then
 * deletes the object, or frees the block); IncUseCountConditional takes a use
 * count only while the object is alive (some use count left) and says
 * whether it did. None of them fails or locks. */
TAV_API void TavSharedPtrRefCountIncUseCount(TavSharedPtrRefCount* ref);
TAV_API void TavSharedPtrRefCountIncWeakCount(TavSharedPtrRefCount* ref);
TAV_API TavBool TavSharedPtrRefCountDecUseCount(TavSharedPtrRefCount* ref);
TAV_API TavBool TavSharedPtrRefCountDecWeakCount(TavSharedPtrRefCount* ref);
TAV_API TavBool TavSharedPtrRefCountIncUseCountConditional(TavSharedPtrRefCount* ref);

/* Makes the first shared handle: a count block (use 1, weak 1) from a.
 * NULL when that fails; ptr is then not deleted. */
TAV_API TavSharedPtr_void* TavSharedPtr_voidConstruct(TavSharedPtr_void* x, TavVoidPtr ptr,
                                                      TavSharedPtrDeleterCallback d,
                                                      TavAllocator* a);
TAV_API TavSharedPtr_void* TavSharedPtr_voidConstructEmpty(TavSharedPtr_void* x);
TAV_API TavSharedPtr_void* TavSharedPtr_voidConstructCopy(TavSharedPtr_void* x,
                                                          const TavSharedPtr_void* y);
TAV_API TavSharedPtr_void* TavSharedPtr_voidAssign(TavSharedPtr_void* x,
                                                   const TavSharedPtr_void* y);
TAV_API void TavSharedPtr_voidDestruct(TavSharedPtr_void* x);
TAV_API TavBool TavSharedPtr_voidEqual(const TavSharedPtr_void* x, const TavSharedPtr_void* y);
TAV_API TavVoidPtr TavSharedPtr_voidGet(const TavSharedPtr_void* x);
/* Locks a weak handle: empty when the object is gone. */
TAV_API TavSharedPtr_void* TavSharedPtr_voidConstructFromWeakPtr(TavSharedPtr_void* x,
                                                                 const TavWeakPtr_void* y);

/* Weak handles: Empty observes nothing; FromSharedPtr and Copy observe what
 * the source does, one weak count more; Assign gives x's count back first
 * (x and y may share a block); Destruct gives the count back and frees the
 * block after the last handle of either kind. None allocates or fails; all
 * return x. Equal: the same count block (the same object, alive or gone). */
TAV_API TavWeakPtr_void* TavWeakPtr_voidConstructEmpty(TavWeakPtr_void* x);
TAV_API TavWeakPtr_void* TavWeakPtr_voidConstructFromSharedPtr(TavWeakPtr_void* x,
                                                               const TavSharedPtr_void* sp);
TAV_API TavWeakPtr_void* TavWeakPtr_voidConstructCopy(TavWeakPtr_void* x,
                                                      const TavWeakPtr_void* y);
TAV_API TavWeakPtr_void* TavWeakPtr_voidAssign(TavWeakPtr_void* x, const TavWeakPtr_void* y);
TAV_API void TavWeakPtr_voidDestruct(TavWeakPtr_void* x);
TAV_API TavBool TavWeakPtr_voidEqual(const TavWeakPtr_void* x, const TavWeakPtr_void* y);

TAV_EXTERN_C_END

#endif
