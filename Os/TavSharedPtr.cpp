#include "Os/TavSharedPtr.h"

namespace {

void FreeCountBlock(TavSharedPtrRefCount* ref, TavAllocator* a) {
    TavAllocatorDeallocate(a, ref, sizeof(TavSharedPtrRefCount));
}

// The last shared owner deletes the object and gives up the one weak count
// that all shared owners hold together.
void ReleaseShared(const TavSharedPtr_void* x) {
    if (x->ref == nullptr || !TavSharedPtrRefCountDecUseCount(x->ref)) return;
    x->d(x->ptr, x->a);
    if (TavSharedPtrRefCountDecWeakCount(x->ref)) FreeCountBlock(x->ref, x->a);
}

void ReleaseWeak(const TavWeakPtr_void* x) {
    if (x->ref != nullptr && TavSharedPtrRefCountDecWeakCount(x->ref)) FreeCountBlock(x->ref, x->a);
}

// What tells the two handle kinds apart: which count a handle holds, and how
// it gives that count back.
struct SharedCounts {
    static void Take(TavSharedPtrRefCount* ref) { TavSharedPtrRefCountIncUseCount(ref); }
    static void Release(const TavSharedPtr_void* x) { ReleaseShared(x); }
};

struct WeakCounts {
    static void Take(TavSharedPtrRefCount* ref) { TavSharedPtrRefCountIncWeakCount(ref); }
    static void Release(const TavWeakPtr_void* x) { ReleaseWeak(x); }
};

template <class Counts, class Handle>
Handle* CopyHandle(Handle* x, const Handle* y) {
    *x = *y;
    if (x->ref != nullptr) Counts::Take(x->ref);
    return x;
}

// Within one count block (self-assignment, two empty handles) no count
// moves. Otherwise the old target goes first, then the source's count is
// taken.
template <class Counts, class Handle>
Handle* AssignHandle(Handle* x, const Handle* y) {
    if (x->ref == y->ref) {
        x->ptr = y->ptr;
        x->d = y->d;
        x->a = y->a;
        return x;
    }
    Counts::Release(x);
    return CopyHandle<Counts>(x, y);
}

template <class Handle>
Handle* EmptyHandle(Handle* x) {
    *x = Handle{nullptr, nullptr, nullptr, nullptr};
    return x;
}

}  // namespace

extern "C" {

void TavSharedPtrRefCountIncUseCount(TavSharedPtrRefCount* ref) {
    TavAtomicIntegerIncrement(&ref->useCount);
}

void TavSharedPtrRefCountIncWeakCount(TavSharedPtrRefCount* ref) {
    TavAtomicIntegerIncrement(&ref->weakCount);
}

TavBool TavSharedPtrRefCountDecUseCount(TavSharedPtrRefCount* ref) {
    return TavAtomicIntegerDecrement(&ref->useCount);
}

TavBool TavSharedPtrRefCountDecWeakCount(TavSharedPtrRefCount* ref) {
    return TavAtomicIntegerDecrement(&ref->weakCount);
}

TavBool TavSharedPtrRefCountIncUseCountConditional(TavSharedPtrRefCount* ref) {
    return TavAtomicIntegerIncrementConditional(&ref->useCount);
}

TavSharedPtr_void* TavSharedPtr_voidConstruct(TavSharedPtr_void* x, TavVoidPtr ptr,
                                              TavSharedPtrDeleterCallback d, TavAllocator* a) {
    void* block = TavAllocatorAllocate(a, sizeof(TavSharedPtrRefCount));
    if (block == nullptr) return nullptr;
    auto* ref = static_cast<TavSharedPtrRefCount*>(block);
    TavAtomicIntegerConstruct(&ref->useCount, 1);
    TavAtomicIntegerConstruct(&ref->weakCount, 1);
    *x = TavSharedPtr_void{ref, ptr, a, d};
    return x;
}

TavSharedPtr_void* TavSharedPtr_voidConstructEmpty(TavSharedPtr_void* x) { return EmptyHandle(x); }

TavSharedPtr_void* TavSharedPtr_voidConstructCopy(TavSharedPtr_void* x,
                                                  const TavSharedPtr_void* y) {
    return CopyHandle<SharedCounts>(x, y);
}

TavSharedPtr_void* TavSharedPtr_voidAssign(TavSharedPtr_void* x, const TavSharedPtr_void* y) {
    return AssignHandle<SharedCounts>(x, y);
}

void TavSharedPtr_voidDestruct(TavSharedPtr_void* x) { ReleaseShared(x); }

TavBool TavSharedPtr_voidEqual(const TavSharedPtr_void* x, const TavSharedPtr_void* y) {
    return x->ptr == y->ptr;
}

TavVoidPtr TavSharedPtr_voidGet(const TavSharedPtr_void* x) { return x->ptr; }

// Locking takes a use count only while the object is still alive.
TavSharedPtr_void* TavSharedPtr_voidConstructFromWeakPtr(TavSharedPtr_void* x,
                                                         const TavWeakPtr_void* y) {
    if (y->ref == nullptr || !TavSharedPtrRefCountIncUseCountConditional(y->ref)) {
        return EmptyHandle(x);
    }
    *x = TavSharedPtr_void{y->ref, y->ptr, y->a, y->d};
    return x;
}

TavWeakPtr_void* TavWeakPtr_voidConstructEmpty(TavWeakPtr_void* x) { return EmptyHandle(x); }

TavWeakPtr_void* TavWeakPtr_voidConstructFromSharedPtr(TavWeakPtr_void* x,
                                                       const TavSharedPtr_void* sp) {
    const TavWeakPtr_void observer{sp->ref, sp->ptr, sp->a, sp->d};
    return CopyHandle<WeakCounts>(x, &observer);
}

TavWeakPtr_void* TavWeakPtr_voidConstructCopy(TavWeakPtr_void* x, const TavWeakPtr_void* y) {
    return CopyHandle<WeakCounts>(x, y);
}

TavWeakPtr_void* TavWeakPtr_voidAssign(TavWeakPtr_void* x, const TavWeakPtr_void* y) {
    return AssignHandle<WeakCounts>(x, y);
}

void TavWeakPtr_voidDestruct(TavWeakPtr_void* x) { ReleaseWeak(x); }

TavBool TavWeakPtr_voidEqual(const TavWeakPtr_void* x, const TavWeakPtr_void* y) {
    return x->ref == y->ref;
}

}  // extern "C"
