/* The vector family: one record shape and one set of operations, stamped out
 * per element type by the macros below. The algorithms live once, in the C++
 * template Utils/detail/TavVectorImpl.hpp.
 *
 * TAV_VECTOR_TYPES(V, T) makes:
 *   V (record: allocator, begin, end, endBuf), V##SizeType, V##DifferenceType,
 *   V##Iterator, V##ConstIterator, V##ReverseIterator, V##ConstReverseIterator
 *   and V##<each position type>DifferenceType.
 *
 * TAV_VECTOR_DECLARE(V, T) declares the container operations
 *   V##ConstructDefault, ConstructN, ConstructRange, ConstructCopy, Destruct,
 *   Assign, Swap, GetAllocator, Size, Capacity, MaxSize, Empty, Begin,
 *   BeginConst, End, EndConst, RBegin, RBeginConst, REnd, REndConst, At,
 *   AtConst, Front, FrontConst, Back, BackConst, PushBack, PopBack, Reserve,
 *   Resize, Clear, Insert, InsertN, InsertRange, Erase, EraseRange, Dump
 * and, for each position type P of Iterator, ConstIterator, ReverseIterator
 * and ConstReverseIterator, the seventeen operations
 *   V##P##Destruct, ConstructCopy, Assign, Swap, Equal, Less, ContentOf,
 *   ContentOfConst, ConstructExceptional, IsExceptional, Increment,
 *   Decrement, IncrementN, DecrementN, Add, At, Subtract.
 *
 * TAV_VECTOR_DECLARE_EQUAL(V) declares V##Equal (element types with equality). */
#ifndef TAV_UTILS_TAVVECTOR_H
#define TAV_UTILS_TAVVECTOR_H

#include "Utils/TavAllocator.h"

#define TAV_VECTOR_TYPES(V, T)                                \
    typedef struct V##_ {                                     \
        TavAllocator* allocator;                              \
        T* begin;                                             \
        T* end;                                               \
        T* endBuf;                                            \
    } V;                                                      \
    typedef TavSizeT V##SizeType;                             \
    typedef TavDistanceT V##DifferenceType;                   \
    typedef T* V##Iterator;                                   \
    typedef const T* V##ConstIterator;                        \
    typedef T* V##ReverseIterator;                            \
    typedef const T* V##ConstReverseIterator;                 \
    typedef TavDistanceT V##IteratorDifferenceType;           \
    typedef TavDistanceT V##ConstIteratorDifferenceType;      \
    typedef TavDistanceT V##ReverseIteratorDifferenceType;    \
    typedef TavDistanceT V##ConstReverseIteratorDifferenceType;

/* The seventeen operations of one position type P whose element pointer is
 * ElemPtr (read-only pointer ConstElemPtr). */
#define TAV_VECTOR_POSITION_DECLARE(V, P, ElemPtr, ConstElemPtr)                            \
    TAV_API void V##P##Destruct(V##P* x);                                                  \
    TAV_API V##P* V##P##ConstructCopy(V##P* x, const V##P* y);                             \
    TAV_API V##P* V##P##Assign(V##P* x, const V##P* y);                                    \
    TAV_API TavBool V##P##Swap(V##P* x, V##P* y);                                          \
    TAV_API TavBool V##P##Equal(const V##P* x, const V##P* y);                             \
    TAV_API TavBool V##P##Less(const V##P* x, const V##P* y);                              \
    TAV_API ElemPtr V##P##ContentOf(const V##P* x);                                        \
    TAV_API ConstElemPtr V##P##ContentOfConst(const V##P* x);                              \
    TAV_API V##P* V##P##ConstructExceptional(V##P* x);                                     \
    TAV_API TavBool V##P##IsExceptional(V##P x);                                           \
    TAV_API V##P* V##P##Increment(V##P* x);                                                \
    TAV_API V##P* V##P##Decrement(V##P* x);                                                \
    TAV_API V##P* V##P##IncrementN(V##P* x, V##P##DifferenceType n);                       \
    TAV_API V##P* V##P##DecrementN(V##P* x, V##P##DifferenceType n);                       \
    TAV_API V##P V##P##Add(const V##P* x, V##P##DifferenceType n);                         \
    TAV_API ElemPtr V##P##At(const V##P* x, V##P##DifferenceType n);                       \
    TAV_API V##P##DifferenceType V##P##Subtract(const V##P* x, const V##P* y);

#define TAV_VECTOR_DECLARE(V, T)                                                           \
    TAV_API V* V##ConstructDefault(V* x, TavAllocator* a);                                 \
    TAV_API V* V##ConstructN(V* x, V##SizeType n, const T* t, TavAllocator* a);            \
    TAV_API V* V##ConstructRange(V* x, V##ConstIterator first, V##ConstIterator last,      \
                                 TavAllocator* a);                                         \
    TAV_API V* V##ConstructCopy(V* x, const V* y);                                         \
    TAV_API void V##Destruct(V* x);                                                        \
    TAV_API V* V##Assign(V* x, const V* y);                                                \
    TAV_API TavBool V##Swap(V* x, V* y);                                                   \
    TAV_API TavAllocator* V##GetAllocator(const V* x);                                     \
    TAV_API V##SizeType V##Size(const V* x);                                               \
    TAV_API V##SizeType V##Capacity(const V* x);                                           \
    TAV_API V##SizeType V##MaxSize(const V* x);                                            \
    TAV_API TavBool V##Empty(const V* x);                                                  \
    TAV_API V##Iterator V##Begin(V* x);                                                    \
    TAV_API V##ConstIterator V##BeginConst(const V* x);                                    \
    TAV_API V##Iterator V##End(V* x);                                                      \
    TAV_API V##ConstIterator V##EndConst(const V* x);                                      \
    TAV_API V##ReverseIterator V##RBegin(V* x);                                            \
    TAV_API V##ConstReverseIterator V##RBeginConst(const V* x);                            \
    TAV_API V##ReverseIterator V##REnd(V* x);                                              \
    TAV_API V##ConstReverseIterator V##REndConst(const V* x);                              \
    TAV_API T* V##At(V* x, V##SizeType n);                                                 \
    TAV_API const T* V##AtConst(const V* x, V##SizeType n);                                \
    TAV_API T* V##Front(V* x);                                                             \
    TAV_API const T* V##FrontConst(const V* x);                                            \
    TAV_API T* V##Back(V* x);                                                              \
    TAV_API const T* V##BackConst(const V* x);                                             \
    TAV_API TavBool V##PushBack(V* x, const T* t);                                         \
    TAV_API void V##PopBack(V* x);                                                         \
    TAV_API TavBool V##Reserve(V* x, V##SizeType capacity);                                \
    TAV_API TavBool V##Resize(V* x, V##SizeType n, const T* t);                            \
    TAV_API void V##Clear(V* x);                                                           \
    TAV_API V##Iterator V##Insert(V* x, V##Iterator pos, const T* t);                      \
    TAV_API TavBool V##InsertN(V* x, V##Iterator pos, V##SizeType n, const T* t);          \
    TAV_API TavBool V##InsertRange(V* x, V##Iterator pos, V##ConstIterator first,          \
                                   V##ConstIterator last);                                 \
    TAV_API V##Iterator V##Erase(V* x, V##Iterator pos);                                   \
    TAV_API V##Iterator V##EraseRange(V* x, V##Iterator first, V##Iterator last);          \
    TAV_API void V##Dump(const V* x, const char* name, unsigned int tabStop);              \
    TAV_VECTOR_POSITION_DECLARE(V, Iterator, T*, const T*)                                 \
    TAV_VECTOR_POSITION_DECLARE(V, ConstIterator, const T*, const T*)                      \
    TAV_VECTOR_POSITION_DECLARE(V, ReverseIterator, T*, const T*)                          \
    TAV_VECTOR_POSITION_DECLARE(V, ConstReverseIterator, const T*, const T*)

#define TAV_VECTOR_DECLARE_EQUAL(V) TAV_API TavBool V##Equal(const V* x, const V* y);

#endif
