// Test allocator: the checking allocator (CheckingAllocator.hpp) reporting every broken
// promise, and the blocks still live when it goes, as test failures.
#ifndef TAV_TESTS_SUPPORT_COUNTINGALLOCATOR_HPP
#define TAV_TESTS_SUPPORT_COUNTINGALLOCATOR_HPP

#include "CheckingAllocator.hpp"

namespace tavtest {

class CountingAllocator : public tavcheck::CheckingAllocator {
public:
    CountingAllocator();
    ~CountingAllocator();
};

using tavcheck::DefaultAllocatorHook;

// Runs attempt(k) with the k-th allocation of `alloc` failing, for k = 1, 2, ... until an
// attempt meets no failure; attempt(k) performs the operation and checks the state it leaves.
// Returns the number of failure points exercised.
template <class Attempt>
std::size_t SweepAllocationFailures(CountingAllocator& alloc, Attempt&& attempt,
                                    std::size_t limit = 100000);

}  // namespace tavtest

#include "CountingAllocator.inl"

#endif
