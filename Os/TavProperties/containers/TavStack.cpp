// Last-in, first-out stack of map positions: a thin layer over the vector of
// map positions, whose last element is the top.
#include "Os/TavProperties/TavPropertiesVectors.h"

// The full names are long; these spell them from the operation.
#define TAV_STACK_(op) TavStack_TavMap_TavString__TavPropertyValueIterator##op
#define TAV_STACK_VECTOR_(op) TavVector_TavMap_TavString__TavPropertyValueIterator##op

extern "C" {

TavStack_TavMap_TavString__TavPropertyValueIterator* TAV_STACK_(ConstructDefault)(
    TavStack_TavMap_TavString__TavPropertyValueIterator* x, TavAllocator* a) {
    TAV_STACK_VECTOR_(ConstructDefault)(&x->v, a);
    return x;
}

void TAV_STACK_(Destruct)(TavStack_TavMap_TavString__TavPropertyValueIterator* x) {
    TAV_STACK_VECTOR_(Destruct)(&x->v);
}

TavSizeT TAV_STACK_(Size)(const TavStack_TavMap_TavString__TavPropertyValueIterator* x) {
    return TAV_STACK_VECTOR_(Size)(&x->v);
}

TavBool TAV_STACK_(Reserve)(TavStack_TavMap_TavString__TavPropertyValueIterator* x, TavSizeT n) {
    return TAV_STACK_VECTOR_(Reserve)(&x->v, n);
}

TavBool TAV_STACK_(Push)(TavStack_TavMap_TavString__TavPropertyValueIterator* x,
                         const TavMap_TavString__TavPropertyValueIterator* t) {
    return TAV_STACK_VECTOR_(PushBack)(&x->v, t);
}

void TAV_STACK_(Pop)(TavStack_TavMap_TavString__TavPropertyValueIterator* x) {
    TAV_STACK_VECTOR_(PopBack)(&x->v);
}

TavMap_TavString__TavPropertyValueIterator* TAV_STACK_(Top)(
    TavStack_TavMap_TavString__TavPropertyValueIterator* x) {
    return TAV_STACK_VECTOR_(Back)(&x->v);
}

void TAV_STACK_(Clear)(TavStack_TavMap_TavString__TavPropertyValueIterator* x) {
    TAV_STACK_VECTOR_(Clear)(&x->v);
}

}  // extern "C"
