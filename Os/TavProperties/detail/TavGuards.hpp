// Small RAII guards so that "released on every path" holds on early returns.
#ifndef TAV_OS_TAVPROPERTIES_DETAIL_TAVGUARDS_HPP
#define TAV_OS_TAVPROPERTIES_DETAIL_TAVGUARDS_HPP

#include <optional>

#include "Os/TavProperties/TavPropertyValue.h"

namespace tav {

// The mutex guards the bag's contents, not its identity: read-only operations
// lock it too, so constness is cast away here and only here.
inline TavMutex* MutexOf(const TavProperties* bag) {
    return const_cast<TavMutex*>(&bag->mutex);
}

// The bag whose LockGuard this thread took last and still holds (null when
// none): what a nested operation on the same bag may rely on without taking
// the lock again. Initial-exec: one load, no call, on every lock.
inline const TavProperties*& InnermostLocked() {
    static thread_local const TavProperties* held __attribute__((tls_model("initial-exec"))) =
        nullptr;
    return held;
}

// Whether this thread holds bag's lock through its innermost LockGuard. False
// does not mean it doesn't: only the innermost guard is known.
inline bool HeldHere(const TavProperties* bag) { return InnermostLocked() == bag; }

class LockGuard {
public:
    explicit LockGuard(const TavProperties* bag)
        : mutex_(MutexOf(bag)), outer_(InnermostLocked()) {
        TavMutexLock(mutex_);
        InnermostLocked() = bag;
    }
    ~LockGuard() {
        InnermostLocked() = outer_;
        TavMutexUnlock(mutex_);
    }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    TavMutex* mutex_;
    const TavProperties* outer_;
};

// Holds bag's lock for its lifetime, taking it only when the innermost lock
// this thread holds is not bag's already.
class LockUnlessHeld {
public:
    explicit LockUnlessHeld(const TavProperties* bag) {
        if (!HeldHere(bag)) lock_.emplace(bag);
    }

private:
    std::optional<LockGuard> lock_;
};

// A temporary string built from a zero-terminated text; ok() tells whether
// it could be built. Destroyed with the guard when it was.
class ScopedString {
public:
    ScopedString(const char* text, TavAllocator* a)
        : ok_(TavStringConstructCStr(&str_, text, a) != nullptr) {}
    ~ScopedString() {
        if (ok_) TavStringDestruct(&str_);
    }
    ScopedString(const ScopedString&) = delete;
    ScopedString& operator=(const ScopedString&) = delete;
    bool ok() const { return ok_; }
    const TavString* get() const { return &str_; }
    TavString* get() { return &str_; }

private:
    TavString str_;
    bool ok_;
};

// Owns a value record once a constructor has succeeded on it.
class ScopedValue {
public:
    ScopedValue() = default;
    ~ScopedValue() {
        if (ok_) TavPropertyValueDestruct(&value_);
    }
    ScopedValue(const ScopedValue&) = delete;
    ScopedValue& operator=(const ScopedValue&) = delete;
    TavPropertyValue* storage() { return &value_; }
    // Pass the constructor's result: the guard owns the value when it is set.
    bool adopt(const TavPropertyValue* constructed) {
        ok_ = constructed != nullptr;
        return ok_;
    }
    bool ok() const { return ok_; }
    const TavPropertyValue* get() const { return &value_; }

private:
    TavPropertyValue value_;
    bool ok_ = false;
};

}  // namespace tav

#endif
