/* Mutable access to the composite payloads, for the path operations. The
 * trailing underscore marks these module-internal functions (names the design
 * fixed); it says nothing about locks: the caller holds whichever lock guards
 * the value. */
#ifndef TAV_OS_TAVPROPERTIES_VALUES_TAVPROPERTYVALUEINTERNAL_H
#define TAV_OS_TAVPROPERTIES_VALUES_TAVPROPERTYVALUEINTERNAL_H

#include "Os/TavProperties.h"

/* The nested bag when x is of kind Properties, else NULL. */
TavProperties* TavPropertyValueGetProperties_(TavPropertyValue* x);
/* x's element vector when x is of kind Vector, else NULL. */
TavVector_TavPropertyValue* TavPropertyValueGetVector_(TavPropertyValue* x);

namespace tav::value {

/* Leaves x holding nothing once its payload has been moved elsewhere
 * bytewise: destroying it afterwards releases nothing. */
inline void MarkTaken(TavPropertyValue* x) {
    x->type = TAV_PROPERTYVALUE_TYPE_Bool;
    x->u.b = TAV_FALSE;
}

/* A bag record of its own from a, constructed empty, as a Properties value
 * holds it; NULL, with nothing left allocated, when it can't be had. */
TavProperties* NewEmptyBag(TavAllocator* a);

}  // namespace tav::value

#endif
