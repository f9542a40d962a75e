/* The tagged value stored in a bag and in vectors of values: construction,
 * copy, assignment under the settable rule, destruction, equality, getters
 * and conversions. Constructors and assignment return their first argument,
 * or NULL on failure; a constructor that fails leaves nothing to destroy. */
#ifndef TAV_OS_TAVPROPERTIES_TAVPROPERTYVALUE_H
#define TAV_OS_TAVPROPERTIES_TAVPROPERTYVALUE_H

#include "Os/TavProperties/TavPropertiesTypes.h"

TAV_EXTERN_C_BEGIN

/* Constructors of the plain kinds; they cannot fail:
 *   TavPropertyValueConstructBool, ConstructInt, ConstructInt16,
 *   ConstructInt64, ConstructUint, ConstructUint16, ConstructUint64,
 *   ConstructSizeT, ConstructFloat32, ConstructFloat64, ConstructTime,
 *   ConstructResolution, ConstructMediaFormat, ConstructVoidPtr
 * each (x, payload, settable). */
#define TAV_PROPERTYVALUE_DECLARE_PLAIN_CONSTRUCT(Kind, Type, member) \
    TAV_API TavPropertyValue* TavPropertyValueConstruct##Kind(TavPropertyValue* x, Type member, \
                                                              TavBool settable);
TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_PROPERTYVALUE_DECLARE_PLAIN_CONSTRUCT)
#undef TAV_PROPERTYVALUE_DECLARE_PLAIN_CONSTRUCT

/* Constructors of the owning kinds: x holds a copy of the payload. */
TAV_API TavPropertyValue* TavPropertyValueConstructString(TavPropertyValue* x, const TavString* s,
                                                          TavBool settable);
/* The string is built from str with allocator a. */
TAV_API TavPropertyValue* TavPropertyValueConstructStringCStr(TavPropertyValue* x, const char* str,
                                                              TavBool settable, TavAllocator* a);
/* A deep copy of p, stored in a record taken from p's own allocator. */
TAV_API TavPropertyValue* TavPropertyValueConstructProperties(TavPropertyValue* x,
                                                              const TavProperties* p,
                                                              TavBool settable);
TAV_API TavPropertyValue* TavPropertyValueConstructVector(TavPropertyValue* x,
                                                          const TavVector_TavPropertyValue* vec,
                                                          TavBool settable);
/* The value holds one more use (weak) count of sp's (wp's) object. */
TAV_API TavPropertyValue* TavPropertyValueConstructSharedVoidPtr(TavPropertyValue* x,
                                                                 const TavSharedPtr_void* sp,
                                                                 TavBool settable);
TAV_API TavPropertyValue* TavPropertyValueConstructWeakVoidPtr(TavPropertyValue* x,
                                                               const TavWeakPtr_void* wp,
                                                               TavBool settable);

/* Typed pointer kinds: as the void-pointer kinds, plus the pointee's type
 * name, built from name with allocator a. */
TAV_API TavPropertyValue* TavPropertyValueConstructSharedPtr(TavPropertyValue* x,
                                                             const TavSharedPtr_void* sp,
                                                             const char* name, TavBool settable,
                                                             TavAllocator* a);
TAV_API TavPropertyValue* TavPropertyValueConstructWeakPtr(TavPropertyValue* x,
                                                           const TavWeakPtr_void* wp,
                                                           const char* name, TavBool settable,
                                                           TavAllocator* a);
/* A copy of the size-byte object at obj, made by callbacks->copy into a block
 * of exactly size bytes from the default allocator; type name from name with
 * allocator a. callbacks must outlive every value made from this one. */
TAV_API TavPropertyValue* TavPropertyValueConstructWrapper(TavPropertyValue* x, const void* obj,
                                                           TavSizeT size,
                                                           const TavPropertyValueCallbacks* callbacks,
                                                           const char* name, TavBool settable,
                                                           TavAllocator* a);

/* Lifecycle. Assign refuses (NULL, x unchanged) when x is not settable; when
 * building a payload of another kind fails, x is left a false Bool. */
TAV_API TavPropertyValue* TavPropertyValueConstructCopy(TavPropertyValue* x,
                                                        const TavPropertyValue* y);
TAV_API TavPropertyValue* TavPropertyValueAssign(TavPropertyValue* x, const TavPropertyValue* y);
TAV_API void TavPropertyValueDestruct(TavPropertyValue* x);
/* Same kind and equal payloads; the settable flag takes no part. */
TAV_API TavBool TavPropertyValueEqual(const TavPropertyValue* x, const TavPropertyValue* y);
TAV_API TavBool TavPropertyValueIsSettable(const TavPropertyValue* x);
TAV_API TavPropertyValueType TavPropertyValueGetType(const TavPropertyValue* x);

/* Getters: a pointer into x's payload, or NULL when x holds another kind.
 * GetVoidPtr also serves Wrapper values, GetSharedVoidPtr SharedPtr values
 * and GetWeakVoidPtr WeakPtr values; GetProperties returns the nested bag.
 * Conversions: copy the payload into out and return out, exact kind only,
 * else NULL with out untouched. The owning kinds assign into a constructed
 * out and return NULL when that assignment fails.
 *   TavPropertyValueGet<Kind>(x) and TavPropertyValueTo<Kind>(x, out) for
 *   Bool, Int, Int16, Int64, Uint, Uint16, Uint64, SizeT, Float32, Float64,
 *   Time, Resolution, MediaFormat, VoidPtr, String, Properties, Vector,
 *   SharedVoidPtr, WeakVoidPtr. */
#define TAV_PROPERTYVALUE_DECLARE_ACCESS(Kind, Type)                                \
    TAV_API const Type* TavPropertyValueGet##Kind(const TavPropertyValue* x);       \
    TAV_API Type* TavPropertyValueTo##Kind(const TavPropertyValue* x, Type* out);
#define TAV_PROPERTYVALUE_DECLARE_PLAIN_ACCESS(Kind, Type, member) \
    TAV_PROPERTYVALUE_DECLARE_ACCESS(Kind, Type)
TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_PROPERTYVALUE_DECLARE_PLAIN_ACCESS)
TAV_PROPERTYVALUE_OWNING_KINDS(TAV_PROPERTYVALUE_DECLARE_ACCESS)
#undef TAV_PROPERTYVALUE_DECLARE_PLAIN_ACCESS
#undef TAV_PROPERTYVALUE_DECLARE_ACCESS

TAV_EXTERN_C_END

#endif
