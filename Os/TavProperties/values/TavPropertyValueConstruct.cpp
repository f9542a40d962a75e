// Per-kind constructors of values and the makers of the typed pointer and
// Wrapper kinds. Each stores the settable flag, the kind and the payload; a
// failed payload build leaves nothing to destroy.
#include "Os/TavProperties/TavPropertiesVectors.h"
#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/values/TavPropertyValuePayload.hpp"

namespace {

TavPropertyValue* Begin(TavPropertyValue* x, TavPropertyValueType type, TavBool settable) {
    x->settable = settable;
    x->type = type;
    return x;
}

// The pointer kinds: one more count on the handle, taken into slot.
template <class Handle>
TavPropertyValue* ConstructHandle(TavPropertyValue* x, TavPropertyValueType type,
                                  Handle* (*copyHandle)(Handle*, const Handle*), Handle* slot,
                                  const Handle* h, TavBool settable) {
    copyHandle(slot, h);
    return Begin(x, type, settable);
}

// The typed pointer kinds: the name first, then the count.
template <class Handle>
TavPropertyValue* ConstructNamedHandle(TavPropertyValue* x, TavPropertyValueType type,
                                       Handle* (*copyHandle)(Handle*, const Handle*),
                                       Handle* slot, const Handle* h, const char* name,
                                       TavBool settable, TavAllocator* a) {
    if (TavStringConstructCStr(&x->ptrName, name, a) == nullptr) return nullptr;
    return ConstructHandle(x, type, copyHandle, slot, h, settable);
}

}  // namespace

extern "C" {

/* Defines TavPropertyValueConstructBool, ConstructInt, ConstructInt16,
 * ConstructInt64, ConstructUint, ConstructUint16, ConstructUint64,
 * ConstructSizeT, ConstructFloat32, ConstructFloat64, ConstructTime,
 * ConstructResolution, ConstructMediaFormat and ConstructVoidPtr. */
#define TAV_DEFINE_PLAIN_CONSTRUCT(Kind, Type, member)                                     \
    TavPropertyValue* TavPropertyValueConstruct##Kind(TavPropertyValue* x, Type member,    \
                                                      TavBool settable) {                  \
        Begin(x, TAV_PROPERTYVALUE_TYPE_##Kind, settable)->u.member = member;              \
        return x;                                                                          \
    }
TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_DEFINE_PLAIN_CONSTRUCT)
#undef TAV_DEFINE_PLAIN_CONSTRUCT

TavPropertyValue* TavPropertyValueConstructString(TavPropertyValue* x, const TavString* s,
                                                  TavBool settable) {
    Begin(x, TAV_PROPERTYVALUE_TYPE_String, settable);
    return TavStringConstructCopy(&x->u.s, s) != nullptr ? x : nullptr;
}

TavPropertyValue* TavPropertyValueConstructStringCStr(TavPropertyValue* x, const char* str,
                                                      TavBool settable, TavAllocator* a) {
    tav::ScopedString temp(str, a);
    if (!temp.ok()) return nullptr;
    return TavPropertyValueConstructString(x, temp.get(), settable);
}

TavPropertyValue* TavPropertyValueConstructProperties(TavPropertyValue* x, const TavProperties* p,
                                                      TavBool settable) {
    Begin(x, TAV_PROPERTYVALUE_TYPE_Properties, settable);
    return tav::value::BuildNestedBag(x, p) ? x : nullptr;
}

TavPropertyValue* TavPropertyValueConstructVector(TavPropertyValue* x,
                                                  const TavVector_TavPropertyValue* vec,
                                                  TavBool settable) {
    Begin(x, TAV_PROPERTYVALUE_TYPE_Vector, settable);
    return TavVector_TavPropertyValueConstructCopy(&x->u.vec, vec) != nullptr ? x : nullptr;
}

TavPropertyValue* TavPropertyValueConstructSharedVoidPtr(TavPropertyValue* x,
                                                         const TavSharedPtr_void* sp,
                                                         TavBool settable) {
    return ConstructHandle(x, TAV_PROPERTYVALUE_TYPE_SharedVoidPtr,
                           &TavSharedPtr_voidConstructCopy, &x->u.sp, sp, settable);
}

TavPropertyValue* TavPropertyValueConstructWeakVoidPtr(TavPropertyValue* x,
                                                       const TavWeakPtr_void* wp,
                                                       TavBool settable) {
    return ConstructHandle(x, TAV_PROPERTYVALUE_TYPE_WeakVoidPtr, &TavWeakPtr_voidConstructCopy,
                           &x->u.wp, wp, settable);
}

TavPropertyValue* TavPropertyValueConstructSharedPtr(TavPropertyValue* x,
                                                     const TavSharedPtr_void* sp,
                                                     const char* name, TavBool settable,
                                                     TavAllocator* a) {
    return ConstructNamedHandle(x, TAV_PROPERTYVALUE_TYPE_SharedPtr, &TavSharedPtr_voidConstructCopy,
                                &x->u.sp, sp, name, settable, a);
}

TavPropertyValue* TavPropertyValueConstructWeakPtr(TavPropertyValue* x, const TavWeakPtr_void* wp,
                                                   const char* name, TavBool settable,
                                                   TavAllocator* a) {
    return ConstructNamedHandle(x, TAV_PROPERTYVALUE_TYPE_WeakPtr, &TavWeakPtr_voidConstructCopy,
                                &x->u.wp, wp, name, settable, a);
}

TavPropertyValue* TavPropertyValueConstructWrapper(TavPropertyValue* x, const void* obj,
                                                   TavSizeT size,
                                                   const TavPropertyValueCallbacks* callbacks,
                                                   const char* name, TavBool settable,
                                                   TavAllocator* a) {
    Begin(x, TAV_PROPERTYVALUE_TYPE_Wrapper, settable);
    if (TavStringConstructCStr(&x->ptrName, name, a) == nullptr) return nullptr;
    return tav::value::BuildWrapperObject(x, obj, size, callbacks) ? x : nullptr;
}

}  // extern "C"
