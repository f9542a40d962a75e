// The vector family, written once. Every exported vector (values, listeners,
// map positions, strings) is this template over a small element-operations
// type, wrapped into C functions by TAV_VECTOR_DEFINE below.
//
// The element operations may fail (a copy needs memory, an assignment onto a
// value that is not settable is refused), so the algorithms never move an
// element bitwise: a relocation is a copy into the new slot followed by the
// destruction of the old element, and a shift inside the buffer is an
// assignment. Where an operation stops after a failure, and what it leaves
// behind, is part of the contract other modules rely on; the comments say
// which state each path leaves.
#ifndef TAV_UTILS_DETAIL_TAVVECTORIMPL_HPP
#define TAV_UTILS_DETAIL_TAVVECTORIMPL_HPP

#include <type_traits>

#include "Utils/TavVector.h"
#include "Utils/detail/TavAssert.hpp"

namespace tav {

// Element operations of a record type with the C lifecycle convention:
// constructors and assignments return their target, or null on failure.
template <class T, T* (*CopyFn)(T*, const T*), void (*DestroyFn)(T*),
          T* (*AssignFn)(T*, const T*), TavBool (*EqualFn)(const T*, const T*) = nullptr>
struct RecordOps {
    static bool Copy(T* dst, const T* src) { return CopyFn(dst, src) != nullptr; }
    static void Destroy(T* x) { DestroyFn(x); }
    static bool Assign(T* dst, const T* src) { return AssignFn(dst, src) != nullptr; }
    static bool Equal(const T* x, const T* y) { return EqualFn(x, y) != 0; }
};

// Element operations of a plain value that is copied as it is and never fails.
template <class T>
struct PlainOps {
    static bool Copy(T* dst, const T* src) {
        *dst = *src;
        return true;
    }
    static void Destroy(T*) {}
    static bool Assign(T* dst, const T* src) {
        *dst = *src;
        return true;
    }
};

// The algorithms over the record V (allocator, begin, end, endBuf) whose
// elements of type T are handled by Ops.
template <class V, class T, class Ops>
class Vector {
public:
    using SizeT = TavSizeT;

    // ---- construction and destruction ---------------------------------

    static V* ConstructDefault(V* x, TavAllocator* a) {
        x->allocator = a;
        x->begin = x->end = x->endBuf = nullptr;
        return x;
    }

    static V* ConstructN(V* x, SizeT n, const T* t, TavAllocator* a) {
        return ConstructFrom(x, a, n, Repeat{t});
    }

    static V* ConstructRange(V* x, const T* first, const T* last, TavAllocator* a) {
        return ConstructFrom(x, a, Count(first, last), Range{first});
    }

    static V* ConstructCopy(V* x, const V* y) {
        return ConstructRange(x, y->begin, y->end, y->allocator);
    }

    static void Destruct(V* x) {
        DestroyBackwards(x->begin, x->end);
        ReleaseBuffer(x->allocator, x->begin, Capacity(x));
    }

    // ---- observers ----------------------------------------------------

    static SizeT Size(const V* x) { return Count(x->begin, x->end); }
    static SizeT Capacity(const V* x) { return Count(x->begin, x->endBuf); }
    static constexpr SizeT MaxSize() { return SizeT{0xFFFFFFFFu} / sizeof(T); }
    static bool Empty(const V* x) { return x->begin == x->end; }

    static bool Equal(const V* x, const V* y) {
        if (Size(x) != Size(y)) return false;
        for (const T *i = x->begin, *j = y->begin; i != x->end; ++i, ++j) {
            if (!Ops::Equal(i, j)) return false;
        }
        return true;
    }

    // ---- capacity -----------------------------------------------------

    static bool Reserve(V* x, SizeT capacity) {
        if (capacity <= Capacity(x)) return true;
        Staging fresh(x->allocator, capacity);
        if (!fresh.ok() || !fresh.AppendRange(x->begin, x->end)) return false;
        fresh.InstallInto(x);
        return true;
    }

    static bool Resize(V* x, SizeT n, const T* t) {
        const SizeT size = Size(x);
        if (n <= size) {
            ShrinkTo(x, n);
            return true;
        }
        // Growth goes to the current size plus n, not to n.
        if (!Reserve(x, size + n)) return false;
        return AppendCopies(x, n - size, Repeat{t});
    }

    // ---- whole-vector changes ------------------------------------------

    static void Clear(V* x) { ShrinkTo(x, 0); }

    static bool PushBack(V* x, const T* t) {
        if (x->end == x->endBuf && !Reserve(x, DoubledCapacity(x))) return false;
        return AppendCopies(x, 1, Repeat{t});
    }

    static void PopBack(V* x) {
        TAV_ASSERT(!Empty(x), "PopBack needs an element to remove");
        ShrinkTo(x, Size(x) - 1);
    }

    // ---- element access (no bounds checks in release builds) ------------

    template <class Vec>
    static auto At(Vec* x, SizeT n) {
        TAV_ASSERT(n < Size(x), "At: the index must be below the size");
        return x->begin + n;
    }
    template <class Vec>
    static auto Front(Vec* x) {
        TAV_ASSERT(!Empty(x), "Front needs an element");
        return x->begin;
    }
    template <class Vec>
    static auto Back(Vec* x) {
        TAV_ASSERT(!Empty(x), "Back needs an element");
        return x->end - 1;
    }

    static V* Assign(V* x, const V* y) {
        if (x == y) return x;
        const bool ok = Size(y) > Capacity(x) ? AssignIntoNewBuffer(x, y) : AssignInPlace(x, y);
        return ok ? x : nullptr;
    }

    static bool Swap(V* x, V* y) {
        if (Empty(x) && Empty(y)) return true;
        if (x->allocator == y->allocator) {
            SwapFields(x, y);
            return true;
        }
        return Size(x) >= Size(y) ? SwapByCopies(x, y) : SwapByCopies(y, x);
    }

    // ---- insertion ----------------------------------------------------

    static T* Insert(V* x, T* pos, const T* t) {
        if (x->end != x->endBuf) return InsertInPlace(x, pos, 1, Repeat{t}) ? pos : nullptr;
        const SizeT index = Count(x->begin, pos);
        if (!InsertByRegrowing(x, pos, DoubledCapacity(x), 1, Repeat{t})) return nullptr;
        return x->begin + index;
    }

    static bool InsertN(V* x, T* pos, SizeT n, const T* t) { return InsertMany(x, pos, n, Repeat{t}); }

    static bool InsertRange(V* x, T* pos, const T* first, const T* last) {
        return InsertMany(x, pos, Count(first, last), Range{first});
    }

    // ---- removal ------------------------------------------------------

    static T* Erase(V* x, T* pos) {
        TAV_ASSERT(x->begin <= pos && pos < x->end, "Erase: the position must hold an element");
        return EraseRange(x, pos, pos + 1);
    }

    static T* EraseRange(V* x, T* first, T* last) {
        TAV_ASSERT(x->begin <= first && first <= last && last <= x->end,
                   "EraseRange: [first, last) must lie within the elements");
        if (first == last) return first;
        T* dst = first;
        for (const T* src = last; src != x->end; ++src, ++dst) {
            if (!Ops::Assign(dst, src)) {
                // The target of the failed assignment and everything after it
                // leave the vector undestroyed: their state is unknown.
                x->end = dst;
                return nullptr;
            }
        }
        ShrinkTo(x, Size(x) - Count(first, last));
        return first;
    }

private:
    // Sources of new elements: the j-th value to insert.
    struct Repeat {
        const T* t;
        const T* operator[](SizeT) const { return t; }
    };
    struct Range {
        const T* first;
        const T* operator[](SizeT j) const { return first + j; }
    };

    // A new buffer being filled by copy-construction. Unless installed, its
    // copies are destroyed (last to first) and the buffer returned when it
    // goes out of scope, which is the failure state of every reallocation.
    class Staging {
    public:
        Staging(TavAllocator* a, SizeT capacity)
            : a_(a), buf_(AllocateBuffer(a, capacity)), cur_(buf_), capacity_(capacity) {}
        ~Staging() {
            if (buf_ == nullptr) return;
            DestroyBackwards(buf_, cur_);
            ReleaseBuffer(a_, buf_, capacity_);
        }
        Staging(const Staging&) = delete;
        Staging& operator=(const Staging&) = delete;

        bool ok() const { return buf_ != nullptr; }
        T* buffer() const { return buf_; }

        bool AppendRange(const T* first, const T* last) {
            return Append(Count(first, last), Range{first});
        }
        template <class Source>
        bool Append(SizeT n, Source src) {
            for (SizeT j = 0; j < n; ++j, ++cur_) {
                if (!Ops::Copy(cur_, src[j])) return false;
            }
            return true;
        }

        // x gives up its elements and buffer and takes this one.
        void InstallInto(V* x) {
            DestroyBackwards(x->begin, x->end);
            ReleaseBuffer(x->allocator, x->begin, Capacity(x));
            x->begin = buf_;
            x->end = cur_;
            x->endBuf = buf_ + capacity_;
            buf_ = nullptr;
        }

    private:
        TavAllocator* a_;
        T* buf_;
        T* cur_;
        SizeT capacity_;
    };

    static SizeT Count(const T* first, const T* last) { return static_cast<SizeT>(last - first); }

    static T* AllocateBuffer(TavAllocator* a, SizeT n) {
        return static_cast<T*>(TavAllocatorAllocate(a, n * sizeof(T)));
    }

    static void ReleaseBuffer(TavAllocator* a, T* buf, SizeT capacity) {
        if (buf != nullptr) TavAllocatorDeallocate(a, buf, capacity * sizeof(T));
    }

    static void DestroyBackwards(T* first, T* last) {
        while (last != first) Ops::Destroy(--last);
    }

    // Removes elements from the back one at a time down to size n.
    static void ShrinkTo(V* x, SizeT n) {
        T* const newEnd = x->begin + n;
        while (x->end != newEnd) Ops::Destroy(--x->end);
    }

    // Growth of PushBack and Insert on a full vector: 2, then twice the size.
    static SizeT DoubledCapacity(const V* x) { return Size(x) == 0 ? 2 : 2 * Size(x); }

    // Copy-constructs n new elements at the end (room must be there); stops
    // at the first failure, keeping what was appended.
    template <class Source>
    static bool AppendCopies(V* x, SizeT n, Source src) {
        for (SizeT j = 0; j < n; ++j, ++x->end) {
            if (!Ops::Copy(x->end, src[j])) return false;
        }
        return true;
    }

    template <class Source>
    static bool AssignEach(T* dst, SizeT n, Source src) {
        for (SizeT j = 0; j < n; ++j, ++dst) {
            if (!Ops::Assign(dst, src[j])) return false;
        }
        return true;
    }

    template <class Source>
    static V* ConstructFrom(V* x, TavAllocator* a, SizeT n, Source src) {
        ConstructDefault(x, a);
        if (n == 0) return x;
        Staging fresh(a, n);
        if (!fresh.ok() || !fresh.Append(n, src)) return nullptr;
        fresh.InstallInto(x);
        return x;
    }

    template <class Source>
    static bool InsertMany(V* x, T* pos, SizeT m, Source src) {
        if (m == 0) return true;
        if (m <= Count(x->end, x->endBuf)) return InsertInPlace(x, pos, m, src);
        // Without a buffer, m stands in for the capacity that is doubled.
        const SizeT c = Capacity(x) == 0 ? m : Capacity(x);
        const SizeT needed = Size(x) + m;
        const SizeT capacity = 2 * c > needed ? 2 * c : needed;
        return InsertByRegrowing(x, pos, capacity, m, src);
    }

    // Builds [begin, pos), the m new elements, [pos, end) in a new buffer.
    template <class Source>
    static bool InsertByRegrowing(V* x, T* pos, SizeT capacity, SizeT m, Source src) {
        Staging fresh(x->allocator, capacity);
        if (!fresh.ok() || !fresh.AppendRange(x->begin, pos) || !fresh.Append(m, src) ||
            !fresh.AppendRange(pos, x->end)) {
            return false;
        }
        fresh.InstallInto(x);
        return true;
    }

    // Room for m more elements is there. Slots past the old end are
    // copy-constructed, slots inside it are assigned; a failure stops at
    // once and keeps what was appended.
    template <class Source>
    static bool InsertInPlace(V* x, T* pos, SizeT m, Source src) {
        T* const oldEnd = x->end;
        const SizeT k = Count(pos, oldEnd);
        if (k > m) {
            if (!AppendCopies(x, m, Range{oldEnd - m})) return false;
            for (T* i = oldEnd - 1; i >= pos + m; --i) {
                if (!Ops::Assign(i, i - m)) return false;
            }
            return AssignEach(pos, m, src);
        }
        return AppendCopies(x, m - k, Shifted<Source>{src, k}) && AppendCopies(x, k, Range{pos}) &&
               AssignEach(pos, k, src);
    }

    // The source seen from its k-th value on.
    template <class Source>
    struct Shifted {
        Source src;
        SizeT k;
        const T* operator[](SizeT j) const { return src[j + k]; }
    };

    static bool AssignIntoNewBuffer(V* x, const V* y) {
        Destruct(x);
        ConstructDefault(x, x->allocator);
        const SizeT n = Size(y);
        x->begin = x->end = AllocateBuffer(x->allocator, n);
        if (x->begin == nullptr) return false;
        x->endBuf = x->begin + n;
        return AppendCopies(x, n, Range{y->begin});
    }

    static bool AssignInPlace(V* x, const V* y) {
        const SizeT xs = Size(x);
        const SizeT ys = Size(y);
        if (!AssignEach(x->begin, xs < ys ? xs : ys, Range{y->begin})) return false;
        if (xs >= ys) {
            ShrinkTo(x, ys);
            return true;
        }
        return AppendCopies(x, ys - xs, Range{y->begin + xs});
    }

    static void SwapFields(V* x, V* y) {
        const V t = *x;
        *x = *y;
        *y = t;
    }

    // Exchanges contents across allocators: L (the larger) is copied into a
    // buffer of exactly its size from S's allocator, then S's elements are
    // copied into L's own buffer, and S takes the new buffer.
    static bool SwapByCopies(V* large, V* small) {
        Staging fresh(small->allocator, Size(large));
        if (!fresh.ok() || !fresh.AppendRange(large->begin, large->end)) return false;
        ShrinkTo(large, 0);
        if (!AppendCopies(large, Size(small), Range{small->begin})) return false;
        fresh.InstallInto(small);
        return true;
    }
};

// Positions are element pointers. Dir is +1 for forward positions and -1
// for reverse ones, which hold a base and designate the element before it.
template <class P, int Dir>
struct Position {
    static P ContentOf(P p) { return Dir > 0 ? p : p - 1; }
    static P Add(P p, TavDistanceT n) { return p + Dir * n; }
    static P At(P p, TavDistanceT n) { return Dir > 0 ? p + n : p - 1 - n; }
    static bool Less(P x, P y) { return Dir > 0 ? x < y : y < x; }
    static TavDistanceT Subtract(P x, P y) { return Dir * (x - y); }
};

}  // namespace tav

// The seventeen operations of position type V##P, moving in direction Dir.
#define TAV_VECTOR_POSITION_DEFINE_(V, P, Dir)                                                    \
    void V##P##Destruct(V##P*) {}                                                                 \
    V##P* V##P##ConstructCopy(V##P* x, const V##P* y) { return &(*x = *y); }                      \
    V##P* V##P##Assign(V##P* x, const V##P* y) { return &(*x = *y); }                             \
    TavBool V##P##Swap(V##P* x, V##P* y) {                                                        \
        V##P t = *x;                                                                              \
        *x = *y;                                                                                  \
        *y = t;                                                                                   \
        return TAV_TRUE;                                                                          \
    }                                                                                             \
    TavBool V##P##Equal(const V##P* x, const V##P* y) { return *x == *y; }                        \
    TavBool V##P##Less(const V##P* x, const V##P* y) {                                            \
        return tav::Position<V##P, Dir>::Less(*x, *y);                                            \
    }                                                                                             \
    V##P V##P##ContentOf(const V##P* x) { return tav::Position<V##P, Dir>::ContentOf(*x); }       \
    const std::remove_pointer_t<V##P>* V##P##ContentOfConst(const V##P* x) {                      \
        return tav::Position<V##P, Dir>::ContentOf(*x);                                           \
    }                                                                                             \
    V##P* V##P##ConstructExceptional(V##P* x) { return &(*x = nullptr); }                         \
    TavBool V##P##IsExceptional(V##P x) { return x == nullptr; }                                  \
    V##P* V##P##Increment(V##P* x) { return &(*x = tav::Position<V##P, Dir>::Add(*x, 1)); }       \
    V##P* V##P##Decrement(V##P* x) { return &(*x = tav::Position<V##P, Dir>::Add(*x, -1)); }      \
    V##P* V##P##IncrementN(V##P* x, V##P##DifferenceType n) {                                     \
        return &(*x = tav::Position<V##P, Dir>::Add(*x, n));                                      \
    }                                                                                             \
    V##P* V##P##DecrementN(V##P* x, V##P##DifferenceType n) {                                     \
        return &(*x = tav::Position<V##P, Dir>::Add(*x, -n));                                     \
    }                                                                                             \
    V##P V##P##Add(const V##P* x, V##P##DifferenceType n) {                                       \
        return tav::Position<V##P, Dir>::Add(*x, n);                                              \
    }                                                                                             \
    V##P V##P##At(const V##P* x, V##P##DifferenceType n) {                                        \
        return tav::Position<V##P, Dir>::At(*x, n);                                               \
    }                                                                                             \
    V##P##DifferenceType V##P##Subtract(const V##P* x, const V##P* y) {                           \
        return tav::Position<V##P, Dir>::Subtract(*x, *y);                                        \
    }

/* TAV_VECTOR_DEFINE(V, T, Ops) defines, with C linkage, every function that
 * TAV_VECTOR_DECLARE(V, T) declares, over the element operations Ops:
 *   V##ConstructDefault, ConstructN, ConstructRange, ConstructCopy, Destruct,
 *   Assign, Swap, GetAllocator, Size, Capacity, MaxSize, Empty, Begin,
 *   BeginConst, End, EndConst, RBegin, RBeginConst, REnd, REndConst, At,
 *   AtConst, Front, FrontConst, Back, BackConst, PushBack, PopBack, Reserve,
 *   Resize, Clear, Insert, InsertN, InsertRange, Erase, EraseRange, Dump,
 * and for P in Iterator, ConstIterator, ReverseIterator, ConstReverseIterator
 *   V##P##Destruct, ConstructCopy, Assign, Swap, Equal, Less, ContentOf,
 *   ContentOfConst, ConstructExceptional, IsExceptional, Increment,
 *   Decrement, IncrementN, DecrementN, Add, At, Subtract.
 * It also makes the file-local alias V##Impl_ for the algorithms. */
#define TAV_VECTOR_DEFINE(V, T, Ops)                                                              \
    namespace {                                                                                   \
    using V##Impl_ = tav::Vector<V, T, Ops>;                                                      \
    }                                                                                             \
    extern "C" {                                                                                  \
    V* V##ConstructDefault(V* x, TavAllocator* a) { return V##Impl_::ConstructDefault(x, a); }    \
    V* V##ConstructN(V* x, V##SizeType n, const T* t, TavAllocator* a) {                          \
        return V##Impl_::ConstructN(x, n, t, a);                                                  \
    }                                                                                             \
    V* V##ConstructRange(V* x, V##ConstIterator first, V##ConstIterator last, TavAllocator* a) {  \
        return V##Impl_::ConstructRange(x, first, last, a);                                       \
    }                                                                                             \
    V* V##ConstructCopy(V* x, const V* y) { return V##Impl_::ConstructCopy(x, y); }               \
    void V##Destruct(V* x) { V##Impl_::Destruct(x); }                                             \
    V* V##Assign(V* x, const V* y) { return V##Impl_::Assign(x, y); }                             \
    TavBool V##Swap(V* x, V* y) { return V##Impl_::Swap(x, y); }                                  \
    TavAllocator* V##GetAllocator(const V* x) { return x->allocator; }                            \
    V##SizeType V##Size(const V* x) { return V##Impl_::Size(x); }                                 \
    V##SizeType V##Capacity(const V* x) { return V##Impl_::Capacity(x); }                         \
    V##SizeType V##MaxSize(const V*) { return V##Impl_::MaxSize(); }                              \
    TavBool V##Empty(const V* x) { return V##Impl_::Empty(x); }                                   \
    V##Iterator V##Begin(V* x) { return x->begin; }                                               \
    V##ConstIterator V##BeginConst(const V* x) { return x->begin; }                               \
    V##Iterator V##End(V* x) { return x->end; }                                                   \
    V##ConstIterator V##EndConst(const V* x) { return x->end; }                                   \
    V##ReverseIterator V##RBegin(V* x) { return x->end; }                                        \
    V##ConstReverseIterator V##RBeginConst(const V* x) { return x->end; }                         \
    V##ReverseIterator V##REnd(V* x) { return x->begin; }                                         \
    V##ConstReverseIterator V##REndConst(const V* x) { return x->begin; }                         \
    T* V##At(V* x, V##SizeType n) { return V##Impl_::At(x, n); }                                 \
    const T* V##AtConst(const V* x, V##SizeType n) { return V##Impl_::At(x, n); }                 \
    T* V##Front(V* x) { return V##Impl_::Front(x); }                                              \
    const T* V##FrontConst(const V* x) { return V##Impl_::Front(x); }                             \
    T* V##Back(V* x) { return V##Impl_::Back(x); }                                                \
    const T* V##BackConst(const V* x) { return V##Impl_::Back(x); }                               \
    TavBool V##PushBack(V* x, const T* t) { return V##Impl_::PushBack(x, t); }                    \
    void V##PopBack(V* x) { V##Impl_::PopBack(x); }                                               \
    TavBool V##Reserve(V* x, V##SizeType capacity) { return V##Impl_::Reserve(x, capacity); }     \
    TavBool V##Resize(V* x, V##SizeType n, const T* t) { return V##Impl_::Resize(x, n, t); }      \
    void V##Clear(V* x) { V##Impl_::Clear(x); }                                                   \
    V##Iterator V##Insert(V* x, V##Iterator pos, const T* t) {                                    \
        return V##Impl_::Insert(x, pos, t);                                                       \
    }                                                                                             \
    TavBool V##InsertN(V* x, V##Iterator pos, V##SizeType n, const T* t) {                        \
        return V##Impl_::InsertN(x, pos, n, t);                                                   \
    }                                                                                             \
    TavBool V##InsertRange(V* x, V##Iterator pos, V##ConstIterator first,                         \
                           V##ConstIterator last) {                                               \
        return V##Impl_::InsertRange(x, pos, first, last);                                        \
    }                                                                                             \
    V##Iterator V##Erase(V* x, V##Iterator pos) { return V##Impl_::Erase(x, pos); }               \
    V##Iterator V##EraseRange(V* x, V##Iterator first, V##Iterator last) {                        \
        return V##Impl_::EraseRange(x, first, last);                                              \
    }                                                                                             \
    void V##Dump(const V*, const char*, unsigned int) {}                                          \
    TAV_VECTOR_POSITION_DEFINE_(V, Iterator, 1)                                                   \
    TAV_VECTOR_POSITION_DEFINE_(V, ConstIterator, 1)                                              \
    TAV_VECTOR_POSITION_DEFINE_(V, ReverseIterator, -1)                                           \
    TAV_VECTOR_POSITION_DEFINE_(V, ConstReverseIterator, -1)                                      \
    }

/* TAV_VECTOR_DEFINE_EQUAL(V) defines V##Equal; use after TAV_VECTOR_DEFINE(V, ...). */
#define TAV_VECTOR_DEFINE_EQUAL(V) \
    extern "C" TavBool V##Equal(const V* x, const V* y) { return V##Impl_::Equal(x, y); }

#endif
