#include "Utils/TavAllocator.h"

#include <cstdlib>

namespace {

void* MallocAllocate(TavAllocator*, TavSizeT n) { return std::malloc(n); }

void MallocDeallocate(TavAllocator*, void* p, TavSizeT) { std::free(p); }

}  // namespace

extern "C" {

TavAllocator tavAllocator_ = {&MallocAllocate, &MallocDeallocate, ~static_cast<TavSizeT>(0),
                              nullptr};

void* TavAllocatorAllocate(TavAllocator* a, TavSizeT n) { return a->allocate(a, n); }

void TavAllocatorDeallocate(TavAllocator* a, void* p, TavSizeT n) { a->deallocate(a, p, n); }

TavAllocator* TavAllocatorGetDefault(void) { return &tavAllocator_; }

}
