#ifndef TAV_OS_TAVFILE_H
#define TAV_OS_TAVFILE_H

#include <stdio.h>

#include "Utils/TavTypes.h"

TAV_EXTERN_C_BEGIN

typedef struct TavFile_ {
    FILE* stream;
} TavFile;

/* Wraps a stream without owning it; Destruct does not close it. */
TAV_API TavFile* TavFileConstructStream(TavFile* x, FILE* stream);
TAV_API void TavFileDestruct(TavFile* x);
TAV_API int TavFilePrintf(TavFile* x, const char* fmt, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

TAV_EXTERN_C_END

#endif
