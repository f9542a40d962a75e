// The allocator behind the tests' CountingAllocator and the fuzzers' CheckedAllocator: counts
// every call, checks that each block comes back to its allocator with the byte count it was
// taken with, refuses allocations on a plan (the k-th, the k-th and all after, every n-th).
// Each block's header links it into the list of live blocks (no search, no allocation of its
// own) and is poisoned under AddressSanitizer, so a write just before a block is still caught.
#ifndef TAV_TESTS_SUPPORT_CHECKINGALLOCATOR_HPP
#define TAV_TESTS_SUPPORT_CHECKINGALLOCATOR_HPP

#include <sanitizer/asan_interface.h>  // its poisoning macros do nothing without ASan

#include <cstddef>
#include <cstdlib>

#include "Os/TavProperties.h"

// The fuzzers steer by coverage; the allocator's branches would only add noise.
#if defined(__clang__)
#define TAV_CHECK_NO_COVERAGE __attribute__((no_sanitize("coverage")))
#else
#define TAV_CHECK_NO_COVERAGE
#endif

namespace tavcheck {

// Told of every broken promise and its byte count: the tests record a failure, the fuzzers abort.
using Complaint = void (*)(const char* what, std::size_t bytes);

class CheckingAllocator {
public:
    explicit CheckingAllocator(Complaint complain)
        : alloc_{&Allocate, &Deallocate, ~static_cast<TavSizeT>(0), this}, complain_(complain) {
        live_.prev = live_.next = &live_;
    }
    // Frees the blocks still live; the owner reports them first (ForEachLive).
    ~CheckingAllocator() {
        while (live_.next != &live_) Free(live_.next);
    }
    CheckingAllocator(const CheckingAllocator&) = delete;
    CheckingAllocator& operator=(const CheckingAllocator&) = delete;

    TavAllocator* get() { return &alloc_; }
    operator TavAllocator*() { return &alloc_; }

    // Refuse the k-th allocation from now on (and all after it with andAfter); 0 disarms.
    void FailAt(std::size_t k, bool andAfter = false) {
        failAt_ = k, failAfter_ = andAfter, sinceArmed_ = 0, failed_ = false;
    }
    // Refuse every n-th allocation (counted while this plan is on); 0 stops.
    void FailEvery(unsigned n) { failEvery_ = n; }

    bool Failed() const { return failed_; }  // a refusal since the last FailAt
    std::size_t refused() const { return refused_; }
    std::size_t allocations() const { return allocations_; }  // successful
    std::size_t deallocations() const { return deallocations_; }
    std::size_t attempts() const { return attempts_; }  // refused ones included
    std::size_t liveBlocks() const { return liveBlocks_; }
    std::size_t liveBytes() const { return liveBytes_; }
    std::size_t lastAllocationSize() const { return lastSize_; }
    void ResetCounters() { allocations_ = deallocations_ = attempts_ = 0; }

    // The byte count p was taken with; 0 when p is not a live block of this one.
    std::size_t sizeOf(const void* p) const {
        std::size_t size = 0;
        ForEachLive([&](const void* block, std::size_t n) { size = block == p ? n : size; });
        return size;
    }
    // Calls f(block, bytes) for every live block, newest first.
    template <class F>
    void ForEachLive(F&& f) const {
        for (Header* h = live_.next; h != &live_;) {
            Open(h);
            f(static_cast<const void*>(h + 1), static_cast<std::size_t>(h->size));
            Header* next = h->next;
            Close(h);
            h = next;
        }
    }

private:
    struct alignas(16) Header {
        Header *prev, *next;
        TavSizeT size;
        const CheckingAllocator* owner;
    };

    // Headers are readable only between Open and Close (the sentinel is never poisoned).
    TAV_CHECK_NO_COVERAGE Header* Open(Header* h, bool open = true) const {
        if (h != &live_ && open) ASAN_UNPOISON_MEMORY_REGION(h, sizeof(Header));
        if (h != &live_ && !open) ASAN_POISON_MEMORY_REGION(h, sizeof(Header));
        return h;
    }
    TAV_CHECK_NO_COVERAGE Header* Close(Header* h) const { return Open(h, false); }

    TAV_CHECK_NO_COVERAGE bool Refuses() {
        ++attempts_;
        bool refuse = failEvery_ != 0 && ++everyCount_ % failEvery_ == 0;
        if (failAt_ != 0 && ++sinceArmed_ >= failAt_)
            refuse = refuse || sinceArmed_ == failAt_ || failAfter_;
        refused_ += refuse;
        failed_ = failed_ || refuse;
        return refuse;
    }

    TAV_CHECK_NO_COVERAGE void Link(Header* h, TavSizeT n) {
        Header* next = Open(live_.next);
        *h = Header{&live_, next, n, this};
        next->prev = live_.next = h;
        Close(next), Close(h);
        ++allocations_, ++liveBlocks_;
        liveBytes_ += n;
        lastSize_ = n;
    }

    TAV_CHECK_NO_COVERAGE void Free(Header* h) {
        Header *prev = Open(Open(h)->prev), *next = Open(h->next);
        prev->next = next;
        next->prev = prev;
        Close(prev), Close(next);
        liveBytes_ -= h->size;
        --liveBlocks_, ++deallocations_;
        std::free(h);
    }

    TAV_CHECK_NO_COVERAGE static void* Allocate(TavAllocator* a, TavSizeT n) {
        auto* self = static_cast<CheckingAllocator*>(a->userData);
        if (n == 0) self->complain_("zero-byte allocation", 0);
        if (self->Refuses()) return nullptr;
        auto* h = static_cast<Header*>(std::malloc(sizeof(Header) + n));
        if (h == nullptr) return nullptr;
        self->Link(h, n);
        return h + 1;
    }

    TAV_CHECK_NO_COVERAGE static void Deallocate(TavAllocator* a, void* p, TavSizeT n) {
        auto* self = static_cast<CheckingAllocator*>(a->userData);
        if (p == nullptr) return self->complain_("deallocation of a null block", n);
        Header* h = self->Open(static_cast<Header*>(p) - 1);
        if (h->owner != self)
            return self->complain_("deallocation of a block this allocator did not hand out", n);
        if (h->size != n)
            self->complain_("block returned with another byte count than it was taken with", n);
        self->Free(h);
    }

    TavAllocator alloc_;
    Complaint complain_;
    mutable Header live_{};
    std::size_t allocations_ = 0, deallocations_ = 0, attempts_ = 0, refused_ = 0;
    std::size_t liveBlocks_ = 0, liveBytes_ = 0, lastSize_ = 0;
    std::size_t failAt_ = 0, sinceArmed_ = 0;
    unsigned failEvery_ = 0, everyCount_ = 0;
    bool failAfter_ = false, failed_ = false;
};

// Points the default allocator (tavAllocator_) at a checking one while alive; then restores it.
class DefaultAllocatorHook {
public:
    explicit DefaultAllocatorHook(CheckingAllocator& checking) : saved_(tavAllocator_) {
        const TavAllocator* c = checking.get();
        tavAllocator_ = {c->allocate, c->deallocate, saved_.maxSize, c->userData};
    }
    ~DefaultAllocatorHook() { tavAllocator_ = saved_; }
    DefaultAllocatorHook(const DefaultAllocatorHook&) = delete;
    DefaultAllocatorHook& operator=(const DefaultAllocatorHook&) = delete;

private:
    TavAllocator saved_;
};

}  // namespace tavcheck

#endif
