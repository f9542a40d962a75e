// Template part of CountingAllocator.hpp.
#include <gtest/gtest.h>

namespace tavtest {

template <class Attempt>
std::size_t SweepAllocationFailures(CountingAllocator& alloc, Attempt&& attempt,
                                    std::size_t limit) {
    for (std::size_t k = 1; k <= limit; ++k) {
        alloc.FailAt(k);
        attempt(k);
        const bool hit = alloc.Failed(), fatal = ::testing::Test::HasFatalFailure();
        alloc.FailAt(0);
        if (fatal || !hit) return fatal ? k : k - 1;
    }
    ADD_FAILURE() << "allocation failure sweep did not finish within " << limit << " points";
    return limit;
}

}  // namespace tavtest
