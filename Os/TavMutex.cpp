#include "Os/TavMutex.h"

#include "Utils/detail/TavAssert.hpp"

extern "C" {

// Recursive, because a bag's listeners may call back into the same bag on
// the thread that holds its lock.
TavMutex* TavMutexConstruct(TavMutex* x) {
    pthread_mutexattr_t attr;
    if (pthread_mutexattr_init(&attr) != 0) return nullptr;
    TavMutex* result = nullptr;
    if (pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE) == 0 &&
        pthread_mutex_init(x, &attr) == 0) {
        result = x;
    }
    pthread_mutexattr_destroy(&attr);
    return result;
}

void TavMutexDestruct(TavMutex* x) { pthread_mutex_destroy(x); }

void TavMutexLock(TavMutex* x) {
    const int failed = pthread_mutex_lock(x);
    TAV_ASSERT(failed == 0, "Lock: a constructed mutex, locked fewer times than the system allows");
    (void)failed;
}

void TavMutexUnlock(TavMutex* x) {
    const int failed = pthread_mutex_unlock(x);
    TAV_ASSERT(failed == 0, "Unlock: only the thread holding the lock, once per Lock");
    (void)failed;
}

}  // extern "C"
