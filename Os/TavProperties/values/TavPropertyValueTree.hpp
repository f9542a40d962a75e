// Operations that walk a whole tree of nested bags and vectors: destruction,
// deep copy, equality and the search for a value or bag inside a tree. None of
// them recurses in proportion to the depth of the data, so a tree of any
// depth that the API can build can also be copied, compared and destroyed.
#ifndef TAV_OS_TAVPROPERTIES_VALUES_TAVPROPERTYVALUETREE_HPP
#define TAV_OS_TAVPROPERTIES_VALUES_TAVPROPERTYVALUETREE_HPP

#include "Os/TavProperties.h"

namespace tav::tree {

inline bool IsComposite(const TavPropertyValue* v) {
    return v->type == TAV_PROPERTYVALUE_TYPE_Properties || v->type == TAV_PROPERTYVALUE_TYPE_Vector;
}

// Destroys the payload of v, a nested bag or a vector, and everything below
// it: every entry of every nested bag is removed one by one in name order
// with its Before and After events, as the bag's own destruction does. Needs
// no memory and no stack in proportion to the depth.
void DestroyComposite(TavPropertyValue* v);

// Destroys bag x in place (the record itself stays the caller's). With
// `silent`, no listener of x or of any bag below it is told.
void DestroyBag(TavProperties* x, bool silent);

// x's payload becomes a deep copy of y's (y a nested bag or a vector); x's
// type is set to y's. False when memory runs out, and then x holds nothing.
bool CopyComposite(TavPropertyValue* x, const TavPropertyValue* y);

// The vector's own Assign of y onto x (element by element in place when y
// fits x's capacity), except that an element of x that is a settable vector
// meeting a vector in y is assigned by the same loop one level down rather
// than by recursion. Same result and same state after a failure.
bool AssignVectorElements(TavVector_TavPropertyValue* x, const TavVector_TavPropertyValue* y);

// Equality of two composite values of the same kind, or of two bags: the
// same comparisons in the same order as a recursive walk. When the walk
// can't get memory for trees deeper than it keeps on the stack, the answer
// is false.
bool CompositeEqual(const TavPropertyValue* x, const TavPropertyValue* y);
bool BagsEqual(const TavProperties* x, const TavProperties* y);

// Whether bag `inner` is the nested bag of the composite value v or lies
// anywhere below it. Answers true when the search can't get memory (callers
// then take the careful path).
bool BagBelow(const TavPropertyValue* v, const TavProperties* inner);

// Whether `address` is the address of a value record anywhere below the
// composite value v (an entry of a nested bag or an element of a vector).
// True when the search can't get memory.
bool ValueWithin(const TavPropertyValue* v, const TavPropertyValue* address);

// While a deep copy is under way on this thread, copies of nested bags and
// vectors are queued rather than made at once. Code that hands control to
// callers' callbacks (wrapper copies, listeners) holds one of these so that
// a copy the callback makes is a whole one.
class CopySuspension {
public:
    CopySuspension();
    ~CopySuspension();
    CopySuspension(const CopySuspension&) = delete;
    CopySuspension& operator=(const CopySuspension&) = delete;

private:
    void* saved_;
};

}  // namespace tav::tree

#endif
