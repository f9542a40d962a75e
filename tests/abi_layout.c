/* The layout of every public record as programs built against this library
 * see it (x86-64, LP64): size and alignment of each record and the offset of
 * each field. A program compiled against one release passes these records to
 * the shared object of another with the same SONAME major, so none of these
 * may change without a new major version. Compiled as C11 (abi_layout.c) and
 * as C++11 (abi_layout.cpp): both languages must agree. Fails to compile
 * rather than to run. */
#include "Os/TavProperties.h"

#include <stddef.h>

#ifdef __cplusplus
#define TAV_ASSERT(c, m) static_assert(c, m)
#define TAV_ALIGNOF(T) alignof(T)
#else
#define TAV_ASSERT(c, m) _Static_assert(c, m)
#define TAV_ALIGNOF(T) _Alignof(T)
#endif
#define TAV_RECORD(T, size, align) \
    TAV_ASSERT(sizeof(T) == (size) && TAV_ALIGNOF(T) == (align), #T " size and alignment")
#define TAV_FIELD(T, field, offset) TAV_ASSERT(offsetof(T, field) == (offset), #T "." #field)
/* The records that share one layout: the shared and weak handles, the vectors, and the pairs of
 * two pointer-sized members. */
#define TAV_FOUR_WORDS(T, w0, w1, w2, w3) \
    TAV_RECORD(T, 32, 8);                 \
    TAV_FIELD(T, w0, 0);                  \
    TAV_FIELD(T, w1, 8);                  \
    TAV_FIELD(T, w2, 16);                 \
    TAV_FIELD(T, w3, 24)
#define TAV_HANDLE(T) TAV_FOUR_WORDS(T, ref, ptr, a, d)
#define TAV_VECTOR(T) TAV_FOUR_WORDS(T, allocator, begin, end, endBuf)
#define TAV_PAIR_OF_WORDS(T) \
    TAV_RECORD(T, 16, 8);    \
    TAV_FIELD(T, first, 0);  \
    TAV_FIELD(T, second, 8)

#if defined(__x86_64__) && defined(__LP64__)
TAV_RECORD(TavResolution, 16, 8);
TAV_FIELD(TavResolution, width, 0);
TAV_FIELD(TavResolution, height, 8);
TAV_RECORD(TavAllocator, 32, 8);
TAV_FIELD(TavAllocator, allocate, 0);
TAV_FIELD(TavAllocator, deallocate, 8);
TAV_FIELD(TavAllocator, maxSize, 16);
TAV_FIELD(TavAllocator, userData, 24);
TAV_RECORD(TavString, 32, 8);
TAV_FIELD(TavString, allocator, 0);
TAV_FIELD(TavString, buf, 8);
TAV_FIELD(TavString, size, 16);
TAV_FIELD(TavString, capacity, 24);
TAV_RECORD(TavAtomicInteger, 4, 4);
TAV_FIELD(TavAtomicInteger, value, 0);
TAV_RECORD(TavSharedPtrRefCount, 8, 4);
TAV_FIELD(TavSharedPtrRefCount, useCount, 0);
TAV_FIELD(TavSharedPtrRefCount, weakCount, 4);
TAV_HANDLE(TavSharedPtr_void);
TAV_HANDLE(TavWeakPtr_void);
TAV_RECORD(TavFile, 8, 8);
TAV_FIELD(TavFile, stream, 0);
TAV_RECORD(TavMutex, 40, 8);
TAV_RECORD(TavPropertyValueCallbacks, 32, 8);
TAV_FIELD(TavPropertyValueCallbacks, copy, 0);
TAV_FIELD(TavPropertyValueCallbacks, destruct, 8);
TAV_FIELD(TavPropertyValueCallbacks, assign, 16);
TAV_FIELD(TavPropertyValueCallbacks, equal, 24);
TAV_RECORD(TavPropertyValue, 88, 8);
TAV_FIELD(TavPropertyValue, settable, 0);
TAV_FIELD(TavPropertyValue, type, 4);
TAV_FIELD(TavPropertyValue, u, 8);
TAV_FIELD(TavPropertyValue, ptrName, 40);
TAV_FIELD(TavPropertyValue, callbacks, 72);
TAV_FIELD(TavPropertyValue, size, 80);
TAV_RECORD(TavPropertyListener, 64, 8);
TAV_FIELD(TavPropertyListener, all, 0);
TAV_FIELD(TavPropertyListener, name, 8);
TAV_FIELD(TavPropertyListener, trigger, 40);
TAV_FIELD(TavPropertyListener, cb, 48);
TAV_FIELD(TavPropertyListener, data, 56);
TAV_VECTOR(TavVector_TavPropertyValue);
TAV_VECTOR(TavVector_TavPropertyListener);
TAV_VECTOR(TavVector_TavString);
TAV_VECTOR(TavVector_TavMap_TavString__TavPropertyValueIterator);
TAV_RECORD(TavPair_TavString__TavPropertyValue, 120, 8);
TAV_FIELD(TavPair_TavString__TavPropertyValue, first, 0);
TAV_FIELD(TavPair_TavString__TavPropertyValue, second, 32);
TAV_RECORD(TavMap_TavString__TavPropertyValue_Node, 160, 8);
TAV_FIELD(TavMap_TavString__TavPropertyValue_Node, value, 0);
TAV_FIELD(TavMap_TavString__TavPropertyValue_Node, left, 120);
TAV_FIELD(TavMap_TavString__TavPropertyValue_Node, right, 128);
TAV_FIELD(TavMap_TavString__TavPropertyValue_Node, parent, 136);
TAV_FIELD(TavMap_TavString__TavPropertyValue_Node, pPtr, 144);
TAV_FIELD(TavMap_TavString__TavPropertyValue_Node, height, 152);
TAV_RECORD(TavMap_TavString__TavPropertyValue, 176, 8);
TAV_FIELD(TavMap_TavString__TavPropertyValue, end, 0);
TAV_FIELD(TavMap_TavString__TavPropertyValue, size, 160);
TAV_FIELD(TavMap_TavString__TavPropertyValue, alloc, 168);
TAV_PAIR_OF_WORDS(TavPair_TavMap_TavString__TavPropertyValueIterator__TavBool);
TAV_PAIR_OF_WORDS(
    TavPair_TavMap_TavString__TavPropertyValueIterator__TavMap_TavString__TavPropertyValueIterator);
TAV_PAIR_OF_WORDS(
    TavPair_TavMap_TavString__TavPropertyValueConstIterator__TavMap_TavString__TavPropertyValueConstIterator);
TAV_RECORD(TavStack_TavMap_TavString__TavPropertyValueIterator, 32, 8);
TAV_FIELD(TavStack_TavMap_TavString__TavPropertyValueIterator, v, 0);
TAV_RECORD(TavProperties, 248, 8);
TAV_FIELD(TavProperties, mutex, 0);
TAV_FIELD(TavProperties, map, 40);
TAV_FIELD(TavProperties, listeners, 216);
TAV_RECORD(TavJsonOptions, 24, 8);
TAV_FIELD(TavJsonOptions, style, 0);
TAV_FIELD(TavJsonOptions, indent, 4);
TAV_FIELD(TavJsonOptions, invalidUtf8, 8);
TAV_FIELD(TavJsonOptions, readOnly, 12);
TAV_FIELD(TavJsonOptions, maxDepth, 16);
TAV_RECORD(TavTextError, 48, 8);
TAV_FIELD(TavTextError, offset, 0);
TAV_FIELD(TavTextError, line, 8);
TAV_FIELD(TavTextError, column, 16);
TAV_FIELD(TavTextError, message, 24);
TAV_FIELD(TavTextError, member, 32);
TAV_FIELD(TavTextError, memberSize, 40);
TAV_RECORD(TavPropertyValueType, 4, 4);
TAV_RECORD(TavPropertyListenerTrigger, 4, 4);
TAV_RECORD(TavJsonStyle, 4, 4);
TAV_RECORD(TavJsonInvalidUtf8, 4, 4);
TAV_RECORD(TavBool, 1, 1);
#endif

int main(void) {
    return 0;
}
