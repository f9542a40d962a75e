#include "CountingAllocator.hpp"

#include <gtest/gtest.h>

namespace tavtest {

namespace {
void ReportAsFailure(const char* what, std::size_t bytes) {
    ADD_FAILURE() << what << " (" << bytes << " bytes)";
}
}  // namespace

CountingAllocator::CountingAllocator() : CheckingAllocator(&ReportAsFailure) {}

CountingAllocator::~CountingAllocator() {
    EXPECT_EQ(liveBlocks(), 0u) << "blocks still live: " << liveBytes() << " bytes";
}

}  // namespace tavtest
