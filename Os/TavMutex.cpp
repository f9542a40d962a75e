#include "Os/TavMutex.h"

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

void TavMutexLock(TavMutex* x) { pthread_mutex_lock(x); }

void TavMutexUnlock(TavMutex* x) { pthread_mutex_unlock(x); }

}  // extern "C"
