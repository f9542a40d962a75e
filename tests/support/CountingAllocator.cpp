#include "CountingAllocator.hpp"

#include <gtest/gtest.h>

tavtest::CountingAllocator::CountingAllocator()
    : CheckingAllocator([](const char* what, std::size_t bytes) {
          ADD_FAILURE() << what << " (" << bytes << " bytes)";
      }) {}

tavtest::CountingAllocator::~CountingAllocator() {
    EXPECT_EQ(liveBlocks(), 0u) << "blocks still live: " << liveBytes() << " bytes";
}
