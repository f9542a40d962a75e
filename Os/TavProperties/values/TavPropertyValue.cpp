// Lifecycle of values: copy, assignment, destruction and equality, each one
// dispatch on the kind. The plain kinds (Bool to VoidPtr) own nothing, so they
// share one branch that copies the payload union in place.
#include "Os/TavProperties/values/TavPropertyValuePayload.hpp"
#include "Os/TavProperties/values/TavPropertyValueInternal.h"
#include "Os/TavProperties/values/TavPropertyValueTree.hpp"

namespace tav::value {

TavProperties* NewEmptyBag(TavAllocator* a) {
    void* storage = TavAllocatorAllocate(a, sizeof(TavProperties));
    if (storage == nullptr) return nullptr;
    TavProperties* bag = TavPropertiesConstructDefault(static_cast<TavProperties*>(storage), a);
    if (bag == nullptr) TavAllocatorDeallocate(a, storage, sizeof(TavProperties));
    return bag;
}

bool BuildNestedBag(TavPropertyValue* x, const TavProperties* from) {
    TavAllocator* a = TavPropertiesGetAllocator(from);
    void* storage = TavAllocatorAllocate(a, sizeof(TavProperties));
    if (storage == nullptr) return false;
    TavProperties* bag = TavPropertiesConstructCopy(static_cast<TavProperties*>(storage), from);
    if (bag == nullptr) {
        TavAllocatorDeallocate(a, storage, sizeof(TavProperties));
        return false;
    }
    x->u.p = bag;
    return true;
}

bool BuildWrapperObject(TavPropertyValue* x, const void* obj, TavSizeT size,
                        const TavPropertyValueCallbacks* callbacks) {
    TavAllocator* a = TavAllocatorGetDefault();
    void* block = TavAllocatorAllocate(a, size);
    if (block == nullptr) {
        TavStringDestruct(&x->ptrName);
        return false;
    }
    x->u.vp = block;
    x->callbacks = callbacks;
    x->size = size;
    const tav::tree::CopySuspension wholeCopies;  // the callback may copy values itself
    if (callbacks->copy(block, obj) == nullptr) {
        TavStringDestruct(&x->ptrName);
        TavAllocatorDeallocate(a, block, size);
        return false;
    }
    return true;
}

}  // namespace tav::value

namespace {

using tav::value::BuildNestedBag;
using tav::value::BuildWrapperObject;

constexpr bool HasPtrName(TavPropertyValueType t) {
    return t == TAV_PROPERTYVALUE_TYPE_SharedPtr || t == TAV_PROPERTYVALUE_TYPE_WeakPtr ||
           t == TAV_PROPERTYVALUE_TYPE_Wrapper;
}

// Builds x's payload as a copy of y's, for y's kind (x's type is the caller's
// business). On failure nothing of the new payload is left.
bool ConstructPayload(TavPropertyValue* x, const TavPropertyValue* y) {
    switch (y->type) {
        case TAV_PROPERTYVALUE_TYPE_String:
            return TavStringConstructCopy(&x->u.s, &y->u.s) != nullptr;
        case TAV_PROPERTYVALUE_TYPE_Properties:
        case TAV_PROPERTYVALUE_TYPE_Vector:
            return tav::tree::CopyComposite(x, y);
        case TAV_PROPERTYVALUE_TYPE_SharedPtr:
            if (TavStringConstructCopy(&x->ptrName, &y->ptrName) == nullptr) return false;
            [[fallthrough]];
        case TAV_PROPERTYVALUE_TYPE_SharedVoidPtr:
            TavSharedPtr_voidConstructCopy(&x->u.sp, &y->u.sp);
            return true;
        case TAV_PROPERTYVALUE_TYPE_WeakPtr:
            if (TavStringConstructCopy(&x->ptrName, &y->ptrName) == nullptr) return false;
            [[fallthrough]];
        case TAV_PROPERTYVALUE_TYPE_WeakVoidPtr:
            TavWeakPtr_voidConstructCopy(&x->u.wp, &y->u.wp);
            return true;
        case TAV_PROPERTYVALUE_TYPE_Wrapper:
            if (TavStringConstructCopy(&x->ptrName, &y->ptrName) == nullptr) return false;
            return BuildWrapperObject(x, y->u.vp, y->size, y->callbacks);
        default:
            // Plain data: the union is trivially copyable and owns nothing.
            x->u = y->u;
            return true;
    }
}

void DestructPayload(TavPropertyValue* x) {
    if (tav::tree::IsComposite(x)) {
        tav::tree::DestroyComposite(x);
    } else {
        tav::value::DestructLeafPayload(x);
    }
}

}  // namespace

// Kinds other than a nested bag or a vector: what they own goes at once.
void tav::value::DestructLeafPayload(TavPropertyValue* x) {
    switch (x->type) {
        case TAV_PROPERTYVALUE_TYPE_String:
            TavStringDestruct(&x->u.s);
            return;
        case TAV_PROPERTYVALUE_TYPE_SharedVoidPtr:
        case TAV_PROPERTYVALUE_TYPE_SharedPtr:
            TavSharedPtr_voidDestruct(&x->u.sp);
            break;
        case TAV_PROPERTYVALUE_TYPE_WeakVoidPtr:
        case TAV_PROPERTYVALUE_TYPE_WeakPtr:
            TavWeakPtr_voidDestruct(&x->u.wp);
            break;
        case TAV_PROPERTYVALUE_TYPE_Wrapper: {
            const tav::tree::CopySuspension wholeCopies;  // the callback may copy values
            x->callbacks->destruct(x->u.vp);
            break;
        }
        default:
            return;
    }
    if (HasPtrName(x->type)) TavStringDestruct(&x->ptrName);
    if (x->type == TAV_PROPERTYVALUE_TYPE_Wrapper) {
        TavAllocatorDeallocate(TavAllocatorGetDefault(), x->u.vp, x->size);
    }
}

namespace {

// Same-kind Wrapper assignment: x keeps its block and size. The name is
// assigned first, so a failing `assign` callback leaves y's name in place.
bool AssignWrapper(TavPropertyValue* x, const TavPropertyValue* y) {
    if (TavStringAssign(&x->ptrName, &y->ptrName) == nullptr) return false;
    return x->callbacks->assign(x->u.vp, y->u.vp) != nullptr;
}

// Element by element, from a copy of y: y may be one of x's own elements or
// lie anywhere below them, and assigning over x's elements would release it
// while it is still being read. The copy costs what the assignment costs.
bool AssignVector(TavPropertyValue* x, const TavPropertyValue* y) {
    TavPropertyValue source;
    if (!tav::tree::CopyComposite(&source, y)) return false;
    const bool ok = tav::tree::AssignVectorElements(&x->u.vec, &source.u.vec);
    tav::tree::DestroyComposite(&source);
    return ok;
}

// Assigns y's payload into x's payload of the same kind, reusing what x
// holds. On failure x keeps a payload of its kind.
bool AssignPayload(TavPropertyValue* x, const TavPropertyValue* y) {
    switch (y->type) {
        case TAV_PROPERTYVALUE_TYPE_String:
            return TavStringAssign(&x->u.s, &y->u.s) != nullptr;
        case TAV_PROPERTYVALUE_TYPE_Properties:
            return TavPropertiesAssign(x->u.p, y->u.p) != nullptr;
        case TAV_PROPERTYVALUE_TYPE_Vector:
            return AssignVector(x, y);
        case TAV_PROPERTYVALUE_TYPE_SharedPtr:
            if (TavStringAssign(&x->ptrName, &y->ptrName) == nullptr) return false;
            [[fallthrough]];
        case TAV_PROPERTYVALUE_TYPE_SharedVoidPtr:
            TavSharedPtr_voidAssign(&x->u.sp, &y->u.sp);
            return true;
        case TAV_PROPERTYVALUE_TYPE_WeakPtr:
            if (TavStringAssign(&x->ptrName, &y->ptrName) == nullptr) return false;
            [[fallthrough]];
        case TAV_PROPERTYVALUE_TYPE_WeakVoidPtr:
            TavWeakPtr_voidAssign(&x->u.wp, &y->u.wp);
            return true;
        case TAV_PROPERTYVALUE_TYPE_Wrapper:
            return AssignWrapper(x, y);
        default:
            x->u = y->u;
            return true;
    }
}

void ResetToFalse(TavPropertyValue* x) {
    x->type = TAV_PROPERTYVALUE_TYPE_Bool;
    x->u.b = TAV_FALSE;
}

// Assignment between different kinds: x's old payload goes first, then y's
// is copied in. A failed copy leaves x a false Bool so that it stays
// destructible. When either side is a nested bag or a vector, y may live
// inside x's old payload or x inside y's: the new payload is then built
// first, in a record of its own, and x's old one released after.
bool ReplacePayload(TavPropertyValue* x, const TavPropertyValue* y) {
    if (!tav::tree::IsComposite(x) && !tav::tree::IsComposite(y)) {
        DestructPayload(x);
        if (ConstructPayload(x, y)) return true;
        ResetToFalse(x);
        return false;
    }
    TavPropertyValue built;
    built.type = y->type;  // y may be gone once x's old payload is: nothing is read from it later
    const bool ok = ConstructPayload(&built, y);
    DestructPayload(x);
    ResetToFalse(x);
    if (!ok) return false;
    x->u = built.u;
    if (HasPtrName(built.type)) {  // a composite's teardown used the tail: restore all of it
        x->ptrName = built.ptrName;
        x->callbacks = built.callbacks;
        x->size = built.size;
    }
    return true;
}

template <TavPropertyValueType K, class T>
bool PlainEqual(const T* a, const T* b) {
    if constexpr (K == TAV_PROPERTYVALUE_TYPE_Resolution) {
        return TavResolutionEqual(a, b);
    } else if constexpr (K == TAV_PROPERTYVALUE_TYPE_MediaFormat) {
        return TavMediaFormatEqual(a, b);
    } else {
        // Floating kinds compare as numbers: NaN unequal, +0 equal to -0.
        return *a == *b;
    }
}

bool PayloadEqual(const TavPropertyValue* x, const TavPropertyValue* y) {
    switch (x->type) {
#define TAV_PLAIN_EQUAL_CASE(Kind, Type, member) \
    case TAV_PROPERTYVALUE_TYPE_##Kind:          \
        return PlainEqual<TAV_PROPERTYVALUE_TYPE_##Kind>(&x->u.member, &y->u.member);
        TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_PLAIN_EQUAL_CASE)
#undef TAV_PLAIN_EQUAL_CASE
        case TAV_PROPERTYVALUE_TYPE_String:
            return TavStringEqual(&x->u.s, &y->u.s);
        case TAV_PROPERTYVALUE_TYPE_Properties:
        case TAV_PROPERTYVALUE_TYPE_Vector:
            return tav::tree::CompositeEqual(x, y);
        case TAV_PROPERTYVALUE_TYPE_SharedVoidPtr:
            return TavSharedPtr_voidEqual(&x->u.sp, &y->u.sp);
        case TAV_PROPERTYVALUE_TYPE_WeakVoidPtr:
            return TavWeakPtr_voidEqual(&x->u.wp, &y->u.wp);
        case TAV_PROPERTYVALUE_TYPE_SharedPtr:
            return TavSharedPtr_voidEqual(&x->u.sp, &y->u.sp) &&
                   TavStringEqual(&x->ptrName, &y->ptrName);
        case TAV_PROPERTYVALUE_TYPE_WeakPtr:
            return TavStringEqual(&x->ptrName, &y->ptrName) &&
                   TavWeakPtr_voidEqual(&x->u.wp, &y->u.wp);
        case TAV_PROPERTYVALUE_TYPE_Wrapper:
            return TavStringEqual(&x->ptrName, &y->ptrName) &&
                   x->callbacks->equal(x->u.vp, y->u.vp);
    }
    return false;
}

}  // namespace

bool tav::value::LeafPayloadEqual(const TavPropertyValue* x, const TavPropertyValue* y) {
    return PayloadEqual(x, y);
}

extern "C" {

TavPropertyValue* TavPropertyValueConstructCopy(TavPropertyValue* x, const TavPropertyValue* y) {
    x->settable = y->settable;
    x->type = y->type;
    return ConstructPayload(x, y) ? x : nullptr;
}

TavPropertyValue* TavPropertyValueAssign(TavPropertyValue* x, const TavPropertyValue* y) {
    if (!x->settable) return nullptr;
    // A Wrapper target takes the source's callbacks before anything else.
    if (y->type == TAV_PROPERTYVALUE_TYPE_Wrapper) x->callbacks = y->callbacks;
    const TavPropertyValueType kind = y->type;  // y may live inside x's old payload
    const bool ok = x->type == kind ? AssignPayload(x, y) : ReplacePayload(x, y);
    if (!ok) return nullptr;
    x->type = kind;
    return x;
}

void TavPropertyValueDestruct(TavPropertyValue* x) { DestructPayload(x); }

TavBool TavPropertyValueEqual(const TavPropertyValue* x, const TavPropertyValue* y) {
    return x->type == y->type && PayloadEqual(x, y);
}

TavBool TavPropertyValueIsSettable(const TavPropertyValue* x) { return x->settable; }

TavPropertyValueType TavPropertyValueGetType(const TavPropertyValue* x) { return x->type; }

}  // extern "C"
