/* Recursive mutex: a bag's callbacks may re-enter the bag on the same thread. */
#ifndef TAV_OS_TAVMUTEX_H
#define TAV_OS_TAVMUTEX_H

#include <pthread.h>

#include "Utils/TavTypes.h"

TAV_EXTERN_C_BEGIN

typedef pthread_mutex_t TavMutex;

/* Makes x a recursive mutex; NULL when the system refuses (x then needs no
 * Destruct). Destruct requires it unlocked. */
TAV_API TavMutex* TavMutexConstruct(TavMutex* x);
TAV_API void TavMutexDestruct(TavMutex* x);
/* Lock blocks until this thread holds x, one more level each call; Unlock
 * releases one level and must come from the holding thread. */
TAV_API void TavMutexLock(TavMutex* x);
TAV_API void TavMutexUnlock(TavMutex* x);

TAV_EXTERN_C_END

#endif
