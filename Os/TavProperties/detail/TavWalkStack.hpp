// The explicit stack of the walks that must not recurse in proportion to the
// depth of the data. The first few frames live inside the object (on the
// caller's stack), so shallow trees, the usual case, cost no allocation;
// deeper ones grow a block from the walk's allocator, doubling.
#ifndef TAV_OS_TAVPROPERTIES_DETAIL_TAVWALKSTACK_HPP
#define TAV_OS_TAVPROPERTIES_DETAIL_TAVWALKSTACK_HPP

#include <cstring>
#include <type_traits>

#include "Os/TavProperties.h"

namespace tav {

template <class T, TavSizeT InlineCount = 32>
class WalkStack {
    static_assert(std::is_trivially_copyable_v<T>, "frames are moved bytewise");

public:
    explicit WalkStack(TavAllocator* a) : alloc_(a) {}
    ~WalkStack() {
        if (data_ != inline_) TavAllocatorDeallocate(alloc_, data_, capacity_ * sizeof(T));
    }
    WalkStack(const WalkStack&) = delete;
    WalkStack& operator=(const WalkStack&) = delete;

    // False, with the stack unchanged, when it can't grow.
    bool Push(const T& frame) {
        if (!Reserve()) return false;
        data_[size_++] = frame;
        return true;
    }
    // Room for one more frame (false when the stack can't grow); the frame is
    // then filled in place through Above() and pushed with Push().
    bool Reserve() { return size_ < capacity_ || Grow(); }
    T& Above() { return data_[size_]; }
    void Push() { ++size_; }
    // The popped frame's bytes stay in place until the next push.
    void Pop() { --size_; }
    bool Empty() const { return size_ == 0; }
    TavSizeT Size() const { return size_; }
    T& Top() { return data_[size_ - 1]; }
    T& operator[](TavSizeT i) { return data_[i]; }

private:
    bool Grow() {
        const TavSizeT capacity = capacity_ * 2;
        auto* grown = static_cast<T*>(TavAllocatorAllocate(alloc_, capacity * sizeof(T)));
        if (grown == nullptr) return false;
        std::memcpy(static_cast<void*>(grown), data_, size_ * sizeof(T));
        if (data_ != inline_) TavAllocatorDeallocate(alloc_, data_, capacity_ * sizeof(T));
        data_ = grown;
        capacity_ = capacity;
        return true;
    }

    TavAllocator* alloc_;
    T inline_[InlineCount];
    T* data_ = inline_;
    TavSizeT size_ = 0;
    TavSizeT capacity_ = InlineCount;
};

}  // namespace tav

#endif
