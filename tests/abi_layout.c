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
/* TAV_LAYOUT(T, size, align, field, offset, ...): the record and one to six of its fields, each
 * asserted through TAV_FIELDS1 to TAV_FIELDS6 as TAV_PAIRS counts them. */
#define TAV_FIELDS1(T, f, o) TAV_FIELD(T, f, o)
/* clang-format off */
#define TAV_FIELDS2(T, f, o, ...) TAV_FIELD(T, f, o); TAV_FIELDS1(T, __VA_ARGS__)
#define TAV_FIELDS3(T, f, o, ...) TAV_FIELD(T, f, o); TAV_FIELDS2(T, __VA_ARGS__)
#define TAV_FIELDS4(T, f, o, ...) TAV_FIELD(T, f, o); TAV_FIELDS3(T, __VA_ARGS__)
#define TAV_FIELDS5(T, f, o, ...) TAV_FIELD(T, f, o); TAV_FIELDS4(T, __VA_ARGS__)
#define TAV_FIELDS6(T, f, o, ...) TAV_FIELD(T, f, o); TAV_FIELDS5(T, __VA_ARGS__)
/* clang-format on */
#define TAV_PICK(a, b, c, d, e, f, g, h, i, j, k, l, n, ...) n
#define TAV_PAIRS(...) TAV_PICK(__VA_ARGS__, 6, 6, 5, 5, 4, 4, 3, 3, 2, 2, 1, 1)
#define TAV_CAT(a, b) a##b
#define TAV_FIELDS(n) TAV_CAT(TAV_FIELDS, n)
#define TAV_LAYOUT(T, size, align, ...) \
    TAV_RECORD(T, size, align);         \
    TAV_FIELDS(TAV_PAIRS(__VA_ARGS__))(T, __VA_ARGS__)
/* The shapes several records share: the shared and weak handles, the vectors, the word pairs. */
#define TAV_HANDLE(T) TAV_LAYOUT(T, 32, 8, ref, 0, ptr, 8, a, 16, d, 24)
#define TAV_VECTOR(T) TAV_LAYOUT(T, 32, 8, allocator, 0, begin, 8, end, 16, endBuf, 24)
#define TAV_PAIR_OF_WORDS(T) TAV_LAYOUT(T, 16, 8, first, 0, second, 8)

#if defined(__x86_64__) && defined(__LP64__)
TAV_LAYOUT(TavResolution, 16, 8, width, 0, height, 8);
TAV_LAYOUT(TavAllocator, 32, 8, allocate, 0, deallocate, 8, maxSize, 16, userData, 24);
TAV_LAYOUT(TavString, 32, 8, allocator, 0, buf, 8, size, 16, capacity, 24);
TAV_LAYOUT(TavAtomicInteger, 4, 4, value, 0);
TAV_LAYOUT(TavSharedPtrRefCount, 8, 4, useCount, 0, weakCount, 4);
TAV_HANDLE(TavSharedPtr_void);
TAV_HANDLE(TavWeakPtr_void);
TAV_LAYOUT(TavFile, 8, 8, stream, 0);
TAV_RECORD(TavMutex, 40, 8);
TAV_LAYOUT(TavPropertyValueCallbacks, 32, 8, copy, 0, destruct, 8, assign, 16, equal, 24);
TAV_LAYOUT(TavPropertyValue, 88, 8, settable, 0, type, 4, u, 8, ptrName, 40, callbacks, 72, size,
           80);
TAV_LAYOUT(TavPropertyListener, 64, 8, all, 0, name, 8, trigger, 40, cb, 48, data, 56);
TAV_VECTOR(TavVector_TavPropertyValue);
TAV_VECTOR(TavVector_TavPropertyListener);
TAV_VECTOR(TavVector_TavString);
TAV_VECTOR(TavVector_TavMap_TavString__TavPropertyValueIterator);
TAV_LAYOUT(TavPair_TavString__TavPropertyValue, 120, 8, first, 0, second, 32);
TAV_LAYOUT(TavMap_TavString__TavPropertyValue_Node, 160, 8, value, 0, left, 120, right, 128, parent,
           136, pPtr, 144, height, 152);
TAV_LAYOUT(TavMap_TavString__TavPropertyValue, 176, 8, end, 0, size, 160, alloc, 168);
TAV_PAIR_OF_WORDS(TavPair_TavMap_TavString__TavPropertyValueIterator__TavBool);
TAV_PAIR_OF_WORDS(
    TavPair_TavMap_TavString__TavPropertyValueIterator__TavMap_TavString__TavPropertyValueIterator);
TAV_PAIR_OF_WORDS(
    TavPair_TavMap_TavString__TavPropertyValueConstIterator__TavMap_TavString__TavPropertyValueConstIterator);
TAV_LAYOUT(TavStack_TavMap_TavString__TavPropertyValueIterator, 32, 8, v, 0);
TAV_LAYOUT(TavProperties, 248, 8, mutex, 0, map, 40, listeners, 216);
TAV_LAYOUT(TavJsonOptions, 24, 8, style, 0, indent, 4, invalidUtf8, 8, readOnly, 12, maxDepth, 16);
TAV_LAYOUT(TavTextError, 48, 8, offset, 0, line, 8, column, 16, message, 24, member, 32, memberSize,
           40);
TAV_RECORD(TavPropertyValueType, 4, 4);
TAV_RECORD(TavPropertyListenerTrigger, 4, 4);
TAV_RECORD(TavJsonStyle, 4, 4);
TAV_RECORD(TavJsonInvalidUtf8, 4, 4);
TAV_RECORD(TavBool, 1, 1);
#endif

int main(void) { return 0; }
