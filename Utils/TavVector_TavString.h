/* The vector family instantiated for strings (see Utils/TavVector.h). */
#ifndef TAV_UTILS_TAVVECTOR_TAVSTRING_H
#define TAV_UTILS_TAVVECTOR_TAVSTRING_H

#include "Utils/TavString.h"
#include "Utils/TavVector.h"

TAV_EXTERN_C_BEGIN

TAV_VECTOR_TYPES(TavVector_TavString, TavString)
TAV_VECTOR_DECLARE(TavVector_TavString, TavString)
TAV_VECTOR_DECLARE_EQUAL(TavVector_TavString)

TAV_EXTERN_C_END

#endif
