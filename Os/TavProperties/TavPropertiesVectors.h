/* The three vector instantiations of this module and the stack of map
 * positions. Every name comes from the macros of Utils/TavVector.h. */
#ifndef TAV_OS_TAVPROPERTIES_TAVPROPERTIESVECTORS_H
#define TAV_OS_TAVPROPERTIES_TAVPROPERTIESVECTORS_H

#include "Os/TavProperties/TavPropertiesTypes.h"

TAV_EXTERN_C_BEGIN

TAV_VECTOR_DECLARE(TavVector_TavPropertyValue, TavPropertyValue)
TAV_VECTOR_DECLARE_EQUAL(TavVector_TavPropertyValue)
TAV_VECTOR_DECLARE(TavVector_TavPropertyListener, TavPropertyListener)
TAV_VECTOR_DECLARE(TavVector_TavMap_TavString__TavPropertyValueIterator,
                   TavMap_TavString__TavPropertyValueIterator)

/* Last-in, first-out stack of map positions over the vector above. */
TAV_API TavStack_TavMap_TavString__TavPropertyValueIterator*
TavStack_TavMap_TavString__TavPropertyValueIteratorConstructDefault(
    TavStack_TavMap_TavString__TavPropertyValueIterator* x, TavAllocator* a);
TAV_API void TavStack_TavMap_TavString__TavPropertyValueIteratorDestruct(
    TavStack_TavMap_TavString__TavPropertyValueIterator* x);
TAV_API TavSizeT TavStack_TavMap_TavString__TavPropertyValueIteratorSize(
    const TavStack_TavMap_TavString__TavPropertyValueIterator* x);
TAV_API TavBool TavStack_TavMap_TavString__TavPropertyValueIteratorReserve(
    TavStack_TavMap_TavString__TavPropertyValueIterator* x, TavSizeT n);
TAV_API TavBool TavStack_TavMap_TavString__TavPropertyValueIteratorPush(
    TavStack_TavMap_TavString__TavPropertyValueIterator* x,
    const TavMap_TavString__TavPropertyValueIterator* t);
TAV_API void TavStack_TavMap_TavString__TavPropertyValueIteratorPop(
    TavStack_TavMap_TavString__TavPropertyValueIterator* x);
TAV_API TavMap_TavString__TavPropertyValueIterator*
TavStack_TavMap_TavString__TavPropertyValueIteratorTop(
    TavStack_TavMap_TavString__TavPropertyValueIterator* x);
TAV_API void TavStack_TavMap_TavString__TavPropertyValueIteratorClear(
    TavStack_TavMap_TavString__TavPropertyValueIterator* x);

TAV_EXTERN_C_END

#endif
