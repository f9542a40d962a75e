// The vector instantiations of the property module: values, listeners and
// map positions. The algorithms are in TavVectorImpl.hpp.
#include "Os/TavProperties/TavPropertiesVectors.h"
#include "Os/TavProperties/TavPropertyListener.h"
#include "Os/TavProperties/TavPropertyValue.h"
#include "Os/TavProperties/TavPropertiesMap.h"
#include "Utils/detail/TavVectorImpl.hpp"

namespace {

using ValueOps = tav::RecordOps<TavPropertyValue, &TavPropertyValueConstructCopy,
                                &TavPropertyValueDestruct, &TavPropertyValueAssign,
                                &TavPropertyValueEqual>;

using ListenerOps =
    tav::RecordOps<TavPropertyListener, &TavPropertyListenerConstructCopy,
                   &TavPropertyListenerDestruct, &TavPropertyListenerAssign>;

using MapPositionOps = tav::PlainOps<TavMap_TavString__TavPropertyValueIterator>;

}  // namespace

TAV_VECTOR_DEFINE(TavVector_TavPropertyValue, TavPropertyValue, ValueOps)
TAV_VECTOR_DEFINE_EQUAL(TavVector_TavPropertyValue)

TAV_VECTOR_DEFINE(TavVector_TavPropertyListener, TavPropertyListener, ListenerOps)

TAV_VECTOR_DEFINE(TavVector_TavMap_TavString__TavPropertyValueIterator,
                  TavMap_TavString__TavPropertyValueIterator, MapPositionOps)
