// Typed getters and conversions of values. Getters hand out a pointer into
// the payload and, for the untyped pointer kinds, also serve the typed kinds
// that share their payload; conversions copy out their exact kind only.
#include "Os/TavProperties/values/TavPropertyValueInternal.h"

namespace {

// Which kinds a getter of kind K accepts besides K itself.
constexpr bool GetterAccepts(TavPropertyValueType k, TavPropertyValueType t) {
    if (t == k) return true;
    switch (k) {
        case TAV_PROPERTYVALUE_TYPE_VoidPtr:
            return t == TAV_PROPERTYVALUE_TYPE_Wrapper;
        case TAV_PROPERTYVALUE_TYPE_SharedVoidPtr:
            return t == TAV_PROPERTYVALUE_TYPE_SharedPtr;
        case TAV_PROPERTYVALUE_TYPE_WeakVoidPtr:
            return t == TAV_PROPERTYVALUE_TYPE_WeakPtr;
        default:
            return false;
    }
}

// The owning kinds: X(Kind, PayloadType, address of v's payload, assignment
// into a constructed out). The nested bag is held through a pointer.
#define TAV_VALUE_OWNING_ACCESS(X)                                                        \
    X(String, TavString, &v->u.s, TavStringAssign)                                        \
    X(Properties, TavProperties, v->u.p, TavPropertiesAssign)                             \
    X(Vector, TavVector_TavPropertyValue, &v->u.vec, TavVector_TavPropertyValueAssign)    \
    X(SharedVoidPtr, TavSharedPtr_void, &v->u.sp, TavSharedPtr_voidAssign)                \
    X(WeakVoidPtr, TavWeakPtr_void, &v->u.wp, TavWeakPtr_voidAssign)

}  // namespace

extern "C" {

/* Defines TavPropertyValueGet<Kind> and TavPropertyValueTo<Kind> for Bool,
 * Int, Int16, Int64, Uint, Uint16, Uint64, SizeT, Float32, Float64, Time,
 * Resolution, MediaFormat and VoidPtr. */
#define TAV_DEFINE_PLAIN_ACCESS(Kind, Type, member)                                         \
    const Type* TavPropertyValueGet##Kind(const TavPropertyValue* v) {                      \
        return GetterAccepts(TAV_PROPERTYVALUE_TYPE_##Kind, v->type) ? &v->u.member         \
                                                                     : nullptr;             \
    }                                                                                       \
    Type* TavPropertyValueTo##Kind(const TavPropertyValue* v, Type* out) {                  \
        if (v->type != TAV_PROPERTYVALUE_TYPE_##Kind) return nullptr;                       \
        *out = v->u.member;                                                                 \
        return out;                                                                         \
    }
TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_DEFINE_PLAIN_ACCESS)
#undef TAV_DEFINE_PLAIN_ACCESS

/* Defines TavPropertyValueGet<Kind> and TavPropertyValueTo<Kind> for String,
 * Properties, Vector, SharedVoidPtr and WeakVoidPtr. */
#define TAV_DEFINE_OWNING_ACCESS(Kind, Type, payload, assign)                         \
    const Type* TavPropertyValueGet##Kind(const TavPropertyValue* v) {                \
        return GetterAccepts(TAV_PROPERTYVALUE_TYPE_##Kind, v->type) ? payload        \
                                                                     : nullptr;       \
    }                                                                                 \
    Type* TavPropertyValueTo##Kind(const TavPropertyValue* v, Type* out) {            \
        return v->type == TAV_PROPERTYVALUE_TYPE_##Kind ? assign(out, payload)        \
                                                        : nullptr;                    \
    }
TAV_VALUE_OWNING_ACCESS(TAV_DEFINE_OWNING_ACCESS)
#undef TAV_DEFINE_OWNING_ACCESS

}  // extern "C"

TavProperties* TavPropertyValueGetProperties_(TavPropertyValue* x) {
    return x->type == TAV_PROPERTYVALUE_TYPE_Properties ? x->u.p : nullptr;
}

TavVector_TavPropertyValue* TavPropertyValueGetVector_(TavPropertyValue* x) {
    return x->type == TAV_PROPERTYVALUE_TYPE_Vector ? &x->u.vec : nullptr;
}
