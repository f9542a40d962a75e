/* The allocator interface: every block goes back with the byte count it was
 * taken with, so allocators may be size-segregated or counting. The callbacks
 * run in the middle of a container's changes: they must not call into a
 * container or bag that uses the allocator. */
#ifndef TAV_UTILS_TAVALLOCATOR_H
#define TAV_UTILS_TAVALLOCATOR_H

#include "Utils/TavTypes.h"

TAV_EXTERN_C_BEGIN

typedef struct TavAllocator_ TavAllocator;

struct TavAllocator_ {
    void* (*allocate)(TavAllocator* a, TavSizeT n); /* block or NULL */
    void (*deallocate)(TavAllocator* a, void* p, TavSizeT n);
    TavSizeT maxSize;
    void* userData;
};

/* A block of n bytes from a, or NULL. Deallocate gives p back to the
 * allocator it came from with the same n. */
TAV_API void* TavAllocatorAllocate(TavAllocator* a, TavSizeT n);
TAV_API void TavAllocatorDeallocate(TavAllocator* a, void* p, TavSizeT n);
TAV_API TavAllocator* TavAllocatorGetDefault(void); /* returns &tavAllocator_ */
TAV_API extern TavAllocator tavAllocator_;          /* malloc/free based */

TAV_EXTERN_C_END

#endif
