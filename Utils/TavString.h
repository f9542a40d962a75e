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

TAV_API TavString* TavStringConstructDefault(TavString* x, TavAllocator* a);
TAV_API TavString* TavStringConstructCStr(TavString* x, const char* s, TavAllocator* a);
TAV_API TavString* TavStringConstructRange(TavString* x, const char* first, const char* last,
                                           TavAllocator* a);
TAV_API TavString* TavStringConstructCopy(TavString* x, const TavString* y);
TAV_API TavString* TavStringAssign(TavString* x, const TavString* y);
TAV_API TavString* TavStringMove(TavString* x, TavString* y);
TAV_API void TavStringDestruct(TavString* x);
TAV_API void TavStringClear(TavString* x);
TAV_API TavBool TavStringEqual(const TavString* x, const TavString* y);
TAV_API int TavStringCompare(const TavString* x, const TavString* y);
TAV_API TavBool TavStringLess(const TavString* x, const TavString* y);
TAV_API TavString* TavStringAssignRange(TavString* x, const char* first, const char* last);
TAV_API TavString* TavStringAppendChar(TavString* x, char c);
TAV_API TavString* TavStringAppendCStr(TavString* x, const char* s);
TAV_API TavString* TavStringInsertChar(TavString* x, TavSizeT index, char c);
TAV_API TavString* TavStringAppendFormatted(TavString* x, const char* fmt, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;
TAV_API TavSizeT TavStringFindFirstOfChar(const TavString* x, TavSizeT start, char c);
TAV_API const char* TavStringCStr(const TavString* x);
TAV_API TavSizeT TavStringSize(const TavString* x);
TAV_API TavBool TavStringEmpty(const TavString* x);
TAV_API const char* TavStringAtConst(const TavString* x, TavSizeT i);

TAV_EXTERN_C_END

#endif
