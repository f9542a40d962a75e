#include "Os/TavAtomicInteger.h"

#include <atomic>

namespace {

// The record stays a plain C struct; every access goes through an atomic
// view of its one field, with the default (sequentially consistent) order.
std::atomic_ref<TavInt> Atomic(TavAtomicInteger* x) { return std::atomic_ref<TavInt>(x->value); }

static_assert(alignof(TavInt) >= std::atomic_ref<TavInt>::required_alignment,
              "a TavInt field must be usable as an atomic");

}  // namespace

extern "C" {

TavAtomicInteger* TavAtomicIntegerConstruct(TavAtomicInteger* x, TavInt value) {
    Atomic(x).store(value);
    return x;
}

TavInt TavAtomicIntegerGetValue(const TavAtomicInteger* x) {
    // A load does not write; atomic_ref only comes for non-const objects.
    return Atomic(const_cast<TavAtomicInteger*>(x)).load();
}

void TavAtomicIntegerIncrement(TavAtomicInteger* x) { Atomic(x).fetch_add(1); }

TavBool TavAtomicIntegerDecrement(TavAtomicInteger* x) { return Atomic(x).fetch_sub(1) == 1; }

TavBool TavAtomicIntegerCompareAndExchange(TavAtomicInteger* x, TavInt expected, TavInt desired) {
    return Atomic(x).compare_exchange_strong(expected, desired);
}

// Never takes a count that has reached zero, so an expired object is never
// revived; another thread's change between read and exchange means retry.
TavBool TavAtomicIntegerIncrementConditional(TavAtomicInteger* x) {
    for (;;) {
        const TavInt value = TavAtomicIntegerGetValue(x);
        if (value <= 0) return TAV_FALSE;
        if (TavAtomicIntegerCompareAndExchange(x, value, value + 1)) return TAV_TRUE;
    }
}

}  // extern "C"
