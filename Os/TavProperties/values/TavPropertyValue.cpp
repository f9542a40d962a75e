// Lifecycle of values: copy, assignment, destruction and equality, each one
// dispatch on the kind. The plain kinds (Bool to VoidPtr) own nothing, so they
// share one branch that copies the payload union in place.
#include "Os/TavProperties/values/TavPropertyValuePayload.hpp"

namespace tav::value {

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

void DestructNestedBag(TavProperties* bag) {
    // The bag holds its allocator: read it before the bag is gone.
    TavAllocator* a = TavPropertiesGetAllocator(bag);
    TavPropertiesDestruct(bag);
    TavAllocatorDeallocate(a, bag, sizeof(TavProperties));
}

// Builds x's payload as a copy of y's, for y's kind (x's type is the caller's
// business). On failure nothing of the new payload is left.
bool ConstructPayload(TavPropertyValue* x, const TavPropertyValue* y) {
    switch (y->type) {
        case TAV_PROPERTYVALUE_TYPE_String:
            return TavStringConstructCopy(&x->u.s, &y->u.s) != nullptr;
        case TAV_PROPERTYVALUE_TYPE_Properties:
            return BuildNestedBag(x, y->u.p);
        case TAV_PROPERTYVALUE_TYPE_Vector:
            return TavVector_TavPropertyValueConstructCopy(&x->u.vec, &y->u.vec) != nullptr;
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
    switch (x->type) {
        case TAV_PROPERTYVALUE_TYPE_String:
            TavStringDestruct(&x->u.s);
            return;
        case TAV_PROPERTYVALUE_TYPE_Properties:
            DestructNestedBag(x->u.p);
            return;
        case TAV_PROPERTYVALUE_TYPE_Vector:
            TavVector_TavPropertyValueDestruct(&x->u.vec);
            return;
        case TAV_PROPERTYVALUE_TYPE_SharedVoidPtr:
        case TAV_PROPERTYVALUE_TYPE_SharedPtr:
            TavSharedPtr_voidDestruct(&x->u.sp);
            break;
        case TAV_PROPERTYVALUE_TYPE_WeakVoidPtr:
        case TAV_PROPERTYVALUE_TYPE_WeakPtr:
            TavWeakPtr_voidDestruct(&x->u.wp);
            break;
        case TAV_PROPERTYVALUE_TYPE_Wrapper:
            x->callbacks->destruct(x->u.vp);
            break;
        default:
            return;
    }
    if (HasPtrName(x->type)) TavStringDestruct(&x->ptrName);
    if (x->type == TAV_PROPERTYVALUE_TYPE_Wrapper) {
        TavAllocatorDeallocate(TavAllocatorGetDefault(), x->u.vp, x->size);
    }
}

// Same-kind Wrapper assignment: x keeps its block and size. The name is
// assigned first, so a failing `assign` callback leaves y's name in place.
bool AssignWrapper(TavPropertyValue* x, const TavPropertyValue* y) {
    if (TavStringAssign(&x->ptrName, &y->ptrName) == nullptr) return false;
    return x->callbacks->assign(x->u.vp, y->u.vp) != nullptr;
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
            return TavVector_TavPropertyValueAssign(&x->u.vec, &y->u.vec) != nullptr;
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

// Assignment between different kinds: x's old payload goes first, then y's
// is copied in. A failed copy leaves x a false Bool so that it stays
// destructible.
bool ReplacePayload(TavPropertyValue* x, const TavPropertyValue* y) {
    DestructPayload(x);
    if (ConstructPayload(x, y)) return true;
    x->type = TAV_PROPERTYVALUE_TYPE_Bool;
    x->u.b = TAV_FALSE;
    return false;
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
            return TavPropertiesEqual(x->u.p, y->u.p);
        case TAV_PROPERTYVALUE_TYPE_Vector:
            return TavVector_TavPropertyValueEqual(&x->u.vec, &y->u.vec);
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
    const bool ok = x->type == y->type ? AssignPayload(x, y) : ReplacePayload(x, y);
    if (!ok) return nullptr;
    x->type = y->type;
    return x;
}

void TavPropertyValueDestruct(TavPropertyValue* x) { DestructPayload(x); }

TavBool TavPropertyValueEqual(const TavPropertyValue* x, const TavPropertyValue* y) {
    return x->type == y->type && PayloadEqual(x, y);
}

TavBool TavPropertyValueIsSettable(const TavPropertyValue* x) { return x->settable; }

TavPropertyValueType TavPropertyValueGetType(const TavPropertyValue* x) { return x->type; }

}  // extern "C"
