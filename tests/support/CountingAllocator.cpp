#include "CountingAllocator.hpp"

#include <cstdlib>

#include <gtest/gtest.h>

namespace tavtest {

CountingAllocator::CountingAllocator() {
    alloc_.allocate = &CountingAllocator::Allocate;
    alloc_.deallocate = &CountingAllocator::Deallocate;
    alloc_.maxSize = ~static_cast<TavSizeT>(0);
    alloc_.userData = this;
}

CountingAllocator::~CountingAllocator() {
    EXPECT_EQ(blocks_.size(), 0u) << "blocks still live: " << liveBytes_ << " bytes";
    for (auto& block : blocks_) std::free(const_cast<void*>(block.first));
}

void CountingAllocator::FailAt(std::size_t k, bool andAfter) {
    failAt_ = k;
    failAfter_ = andAfter;
    sinceArmed_ = 0;
    failed_ = false;
}

std::size_t CountingAllocator::sizeOf(const void* p) const {
    auto it = blocks_.find(p);
    return it == blocks_.end() ? 0 : it->second;
}

void CountingAllocator::ResetCounters() {
    allocations_ = deallocations_ = attempts_ = 0;
}

void* CountingAllocator::Allocate(TavAllocator* a, TavSizeT n) {
    auto* self = static_cast<CountingAllocator*>(a->userData);
    ++self->attempts_;
    if (self->failAt_ != 0) {
        ++self->sinceArmed_;
        if (self->sinceArmed_ == self->failAt_ ||
            (self->failAfter_ && self->sinceArmed_ > self->failAt_)) {
            self->failed_ = true;
            return nullptr;
        }
    }
    EXPECT_GT(n, 0u) << "zero-byte allocation";
    void* p = std::malloc(n == 0 ? 1 : n);
    if (p == nullptr) return nullptr;
    self->blocks_.emplace(p, n);
    ++self->allocations_;
    self->liveBytes_ += n;
    self->lastSize_ = n;
    return p;
}

void CountingAllocator::Deallocate(TavAllocator* a, void* p, TavSizeT n) {
    auto* self = static_cast<CountingAllocator*>(a->userData);
    if (p == nullptr) {
        ADD_FAILURE() << "deallocation of a null block";
        return;
    }
    auto it = self->blocks_.find(p);
    if (it == self->blocks_.end()) {
        ADD_FAILURE() << "deallocation of a block this allocator did not hand out";
        return;
    }
    EXPECT_EQ(it->second, n) << "block returned with another byte count than it was taken with";
    self->liveBytes_ -= it->second;
    self->blocks_.erase(it);
    ++self->deallocations_;
    std::free(p);
}

DefaultAllocatorHook::DefaultAllocatorHook(CountingAllocator& counting) : saved_(tavAllocator_) {
    TavAllocator* c = counting.get();
    tavAllocator_.allocate = c->allocate;
    tavAllocator_.deallocate = c->deallocate;
    tavAllocator_.userData = c->userData;
}

DefaultAllocatorHook::~DefaultAllocatorHook() { tavAllocator_ = saved_; }

}  // namespace tavtest
