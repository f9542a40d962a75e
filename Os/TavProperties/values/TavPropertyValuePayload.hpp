// Payload builders shared by the per-kind constructors and the lifecycle
// operations of values. Each one either builds the whole payload or leaves
// nothing behind, so callers only decide what the record looks like after a
// failure.
#ifndef TAV_OS_TAVPROPERTIES_VALUES_TAVPROPERTYVALUEPAYLOAD_HPP
#define TAV_OS_TAVPROPERTIES_VALUES_TAVPROPERTYVALUEPAYLOAD_HPP

#include "Os/TavProperties/TavPropertyValue.h"

namespace tav::value {

// x's nested bag becomes a deep copy of `from`, in a record taken from the
// allocator `from` uses.
bool BuildNestedBag(TavPropertyValue* x, const TavProperties* from);

// With x's ptrName already built: x's object becomes a copy of the `size`
// bytes object at obj, in a block from the default allocator. On failure
// ptrName is destroyed too.
bool BuildWrapperObject(TavPropertyValue* x, const void* obj, TavSizeT size,
                        const TavPropertyValueCallbacks* callbacks);

// Releases what x owns when it is neither a nested bag nor a vector.
void DestructLeafPayload(TavPropertyValue* x);

// Equality of the payloads of two values of one kind that is neither a
// nested bag nor a vector.
bool LeafPayloadEqual(const TavPropertyValue* x, const TavPropertyValue* y);

}  // namespace tav::value

#endif
