// Test allocator: the checking allocator (CheckingAllocator.hpp) reporting
// every broken promise as a test failure, and blocks still live when it goes.
#ifndef TAV_TESTS_SUPPORT_COUNTINGALLOCATOR_HPP
#define TAV_TESTS_SUPPORT_COUNTINGALLOCATOR_HPP

#include <cstddef>

#include "CheckingAllocator.hpp"

namespace tavtest {

class CountingAllocator : public tavcheck::CheckingAllocator {
public:
    CountingAllocator();
    ~CountingAllocator();  // reports blocks still live as a test failure
};

using tavcheck::DefaultAllocatorHook;

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
