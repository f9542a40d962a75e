/* Allocator-aware byte string. buf is always NUL-terminated; a string with
 * capacity 0 owns no buffer (buf then points at static text). */
#ifndef TAV_UTILS_TAVSTRING_H
#define TAV_UTILS_TAVSTRING_H

#include "Utils/TavAllocator.h"

TAV_EXTERN_C_BEGIN

typedef struct TavString_ {
    TavAllocator* allocator;
    char* buf;
    TavSizeT size;
    TavSizeT capacity;
} TavString;

#define TAV_STRING_NPOS (~(TavSizeT)0)

/* Construct: x gets allocator a (a copy, y's allocator) for life. Default is
 * empty and never fails; CStr, Range ([first, last)) and Copy copy the text
 * and return x, or NULL when the buffer can't be had (x then holds nothing
 * and needs no Destruct). */
TAV_API TavString* TavStringConstructDefault(TavString* x, TavAllocator* a);
TAV_API TavString* TavStringConstructCStr(TavString* x, const char* s, TavAllocator* a);
TAV_API TavString* TavStringConstructRange(TavString* x, const char* first, const char* last,
                                           TavAllocator* a);
TAV_API TavString* TavStringConstructCopy(TavString* x, const TavString* y);
/* x's text becomes a copy of y's (x keeps its allocator); x itself is fine.
 * NULL on failure, x unchanged. */
TAV_API TavString* TavStringAssign(TavString* x, const TavString* y);
/* x (constructed) takes y's text: with one allocator the buffer changes hands
 * and nothing can fail; across allocators the text is copied with x's (NULL,
 * x unchanged, on failure). y is left empty and valid. */
TAV_API TavString* TavStringMove(TavString* x, TavString* y);
/* Gives the buffer back to the allocator with its size; x may be constructed
 * again. */
TAV_API void TavStringDestruct(TavString* x);
/* Empties x, keeping its buffer for later text. */
TAV_API void TavStringClear(TavString* x);
/* Same bytes (embedded NULs included). */
TAV_API TavBool TavStringEqual(const TavString* x, const TavString* y);
/* Bytes compared as unsigned char, a proper prefix first: negative, 0 or
 * positive. The order of the bag's names. */
TAV_API int TavStringCompare(const TavString* x, const TavString* y);
/* TavStringCompare(x, y) < 0. */
TAV_API TavBool TavStringLess(const TavString* x, const TavString* y);
/* x's text becomes [first, last), which may lie inside x's own text. NULL on
 * failure, x unchanged. */
TAV_API TavString* TavStringAssignRange(TavString* x, const char* first, const char* last);
/* Append and insert (before index, at most the size) grow the buffer
 * geometrically; NULL on failure (or an index past the end), x unchanged. s
 * may point into x's own text. */
TAV_API TavString* TavStringAppendChar(TavString* x, char c);
TAV_API TavString* TavStringAppendCStr(TavString* x, const char* s);
TAV_API TavString* TavStringInsertChar(TavString* x, TavSizeT index, char c);
/* Appends printf-style text; NULL on failure (an encoding error or no
 * memory), x's text unchanged. */
TAV_API TavString* TavStringAppendFormatted(TavString* x, const char* fmt, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;
/* The index of the first c at or after start, or TAV_STRING_NPOS. */
TAV_API TavSizeT TavStringFindFirstOfChar(const TavString* x, TavSizeT start, char c);
/* Read access to the record's fields: the NUL-terminated text (valid until x
 * next changes), its length without the NUL, whether it is empty, and a
 * pointer to character i (not checked: i must be at most the size). */
TAV_API const char* TavStringCStr(const TavString* x);
TAV_API TavSizeT TavStringSize(const TavString* x);
TAV_API TavBool TavStringEmpty(const TavString* x);
TAV_API const char* TavStringAtConst(const TavString* x, TavSizeT i);

TAV_EXTERN_C_END

#endif
