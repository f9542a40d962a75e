// Test allocator: counts every call, checks that each block goes back with
// the byte count it was taken with, and can fail the k-th allocation.
#ifndef TAV_TESTS_SUPPORT_COUNTINGALLOCATOR_HPP
#define TAV_TESTS_SUPPORT_COUNTINGALLOCATOR_HPP

#include <cstddef>
#include <unordered_map>

#include "Os/TavProperties.h"

namespace tavtest {

class CountingAllocator {
public:
    CountingAllocator();
    ~CountingAllocator();  // reports blocks still live as a test failure
    CountingAllocator(const CountingAllocator&) = delete;
    CountingAllocator& operator=(const CountingAllocator&) = delete;

    TavAllocator* get() { return &alloc_; }
    operator TavAllocator*() { return &alloc_; }

    // Fail the k-th allocation from now on (1-based); 0 disarms. With
    // `andAfter`, every allocation from the k-th on fails.
    void FailAt(std::size_t k, bool andAfter = false);
    bool Failed() const { return failed_; }  // an armed failure happened

    std::size_t allocations() const { return allocations_; }      // successful
    std::size_t deallocations() const { return deallocations_; }
    std::size_t attempts() const { return attempts_; }            // incl. failed
    std::size_t liveBlocks() const { return blocks_.size(); }
    std::size_t liveBytes() const { return liveBytes_; }
    std::size_t lastAllocationSize() const { return lastSize_; }
    std::size_t sizeOf(const void* p) const;  // 0 when p is not live
    void ResetCounters();

private:
    static void* Allocate(TavAllocator* a, TavSizeT n);
    static void Deallocate(TavAllocator* a, void* p, TavSizeT n);

    TavAllocator alloc_;
    std::unordered_map<const void*, std::size_t> blocks_;
    std::size_t allocations_ = 0, deallocations_ = 0, attempts_ = 0;
    std::size_t liveBytes_ = 0, lastSize_ = 0;
    std::size_t failAt_ = 0, sinceArmed_ = 0;
    bool failAfter_ = false, failed_ = false;
};

// Points the default allocator (tavAllocator_) at a counting allocator for
// the guard's lifetime, then puts the original callbacks back.
class DefaultAllocatorHook {
public:
    explicit DefaultAllocatorHook(CountingAllocator& counting);
    ~DefaultAllocatorHook();
    DefaultAllocatorHook(const DefaultAllocatorHook&) = delete;
    DefaultAllocatorHook& operator=(const DefaultAllocatorHook&) = delete;

private:
    TavAllocator saved_;
};

// Runs `attempt` with the k-th allocation of `alloc` failing, for k = 1, 2,
// ... until an attempt runs with no armed failure hitting it. `attempt(k)`
// performs the operation and checks the state the rules give, the balance of
// the allocator included. Returns the number of failure points exercised.
template <class Attempt>
std::size_t SweepAllocationFailures(CountingAllocator& alloc, Attempt&& attempt,
                                    std::size_t limit = 100000);

}  // namespace tavtest

#include "CountingAllocator.inl"

#endif
