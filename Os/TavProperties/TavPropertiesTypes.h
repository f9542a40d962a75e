/* Every record of the property module, fields in their fixed order. The
 * operations on them are declared in the headers beside this one; user code
 * includes only "Os/TavProperties.h". */
#ifndef TAV_OS_TAVPROPERTIES_TAVPROPERTIESTYPES_H
#define TAV_OS_TAVPROPERTIES_TAVPROPERTIESTYPES_H

#include "Os/TavMutex.h"
#include "Os/TavSharedPtr.h"
#include "Utils/TavString.h"
#include "Utils/TavVector.h"

TAV_EXTERN_C_BEGIN

typedef struct TavProperties_ TavProperties;
typedef struct TavPropertyValue_ TavPropertyValue;
typedef struct TavPropertyListener_ TavPropertyListener;

/* ---- values ---------------------------------------------------------- */

typedef enum {
    TAV_PROPERTYVALUE_TYPE_Bool = 0,
    TAV_PROPERTYVALUE_TYPE_Int = 1,
    TAV_PROPERTYVALUE_TYPE_Int16 = 2,
    TAV_PROPERTYVALUE_TYPE_Int64 = 3,
    TAV_PROPERTYVALUE_TYPE_Uint = 4,
    TAV_PROPERTYVALUE_TYPE_Uint16 = 5,
    TAV_PROPERTYVALUE_TYPE_Uint64 = 6,
    TAV_PROPERTYVALUE_TYPE_SizeT = 7,
    TAV_PROPERTYVALUE_TYPE_Float32 = 8,
    TAV_PROPERTYVALUE_TYPE_Float64 = 9,
    TAV_PROPERTYVALUE_TYPE_Time = 10,
    TAV_PROPERTYVALUE_TYPE_Resolution = 11,
    TAV_PROPERTYVALUE_TYPE_MediaFormat = 12,
    TAV_PROPERTYVALUE_TYPE_VoidPtr = 13,
    TAV_PROPERTYVALUE_TYPE_String = 14,
    TAV_PROPERTYVALUE_TYPE_Properties = 15,
    TAV_PROPERTYVALUE_TYPE_Vector = 16,
    TAV_PROPERTYVALUE_TYPE_SharedVoidPtr = 17,
    TAV_PROPERTYVALUE_TYPE_WeakVoidPtr = 18,
    TAV_PROPERTYVALUE_TYPE_SharedPtr = 19,
    TAV_PROPERTYVALUE_TYPE_WeakPtr = 20,
    TAV_PROPERTYVALUE_TYPE_Wrapper = 21
} TavPropertyValueType;

/* The plain-data kinds, whose payload is held in place and owns nothing:
 * X(KindName, PayloadType, unionMember). Families of per-kind functions are
 * generated from this list (and from TAV_PROPERTYVALUE_OWNING_KINDS below). */
#define TAV_PROPERTYVALUE_PLAIN_KINDS(X) \
    X(Bool, TavBool, b)                  \
    X(Int, TavInt, i)                    \
    X(Int16, TavInt16, i16)              \
    X(Int64, TavInt64, i64)              \
    X(Uint, TavUint, ui)                 \
    X(Uint16, TavUint16, ui16)           \
    X(Uint64, TavUint64, ui64)           \
    X(SizeT, TavSizeT, sz)               \
    X(Float32, TavFloat32, f32)          \
    X(Float64, TavFloat64, f64)          \
    X(Time, TavTime, t)                  \
    X(Resolution, TavResolution, res)    \
    X(MediaFormat, TavMediaFormat, fmt)  \
    X(VoidPtr, TavVoidPtr, vp)

/* The kinds that own their payload and take it by const pointer:
 * X(KindName, PayloadType). */
#define TAV_PROPERTYVALUE_OWNING_KINDS(X) \
    X(String, TavString)                  \
    X(Properties, TavProperties)          \
    X(Vector, TavVector_TavPropertyValue) \
    X(SharedVoidPtr, TavSharedPtr_void)   \
    X(WeakVoidPtr, TavWeakPtr_void)

typedef void* (*TavPropertyValueWrapperConstructCopy)(void* dst, const void* src);
typedef void (*TavPropertyValueWrapperDestruct)(void* obj);
typedef void* (*TavPropertyValueWrapperAssign)(void* dst, const void* src);
typedef TavBool (*TavPropertyValueWrapperEqual)(const void* a, const void* b);

typedef struct TavPropertyValueCallbacks_ {
    TavPropertyValueWrapperConstructCopy copy;
    TavPropertyValueWrapperDestruct destruct;
    TavPropertyValueWrapperAssign assign;
    TavPropertyValueWrapperEqual equal;
} TavPropertyValueCallbacks;

TAV_VECTOR_TYPES(TavVector_TavPropertyValue, TavPropertyValue)

struct TavPropertyValue_ {
    TavBool settable;
    TavPropertyValueType type;
    union {
        TavBool b;
        TavInt i;
        TavInt16 i16;
        TavInt64 i64;
        TavUint ui;
        TavUint16 ui16;
        TavUint64 ui64;
        TavSizeT sz;
        TavFloat32 f32;
        TavFloat64 f64;
        TavTime t;
        TavResolution res;
        TavMediaFormat fmt;
        TavVoidPtr vp;
        TavString s;
        TavProperties* p;
        TavVector_TavPropertyValue vec;
        TavSharedPtr_void sp;
        TavWeakPtr_void wp;
    } u;
    TavString ptrName;                        /* kinds 19, 20, 21 only */
    const TavPropertyValueCallbacks* callbacks; /* kind 21 only */
    TavSizeT size;                            /* kind 21 only */
};

/* ---- listeners ------------------------------------------------------- */

typedef enum {
    TAV_PROPERTYLISTENER_TRIGGER_Before = 0,
    TAV_PROPERTYLISTENER_TRIGGER_After = 1
} TavPropertyListenerTrigger;

typedef void (*TavPropertyListenerCallback)(const TavPropertyListener* listener,
                                            TavProperties* properties, const TavString* name,
                                            const TavPropertyValue* oldValue,
                                            const TavPropertyValue* newValue);

struct TavPropertyListener_ {
    TavBool all;      /* hears every entry; name is then never constructed */
    TavString name;
    TavPropertyListenerTrigger trigger;
    TavPropertyListenerCallback cb;
    TavVoidPtr data;
};

TAV_VECTOR_TYPES(TavVector_TavPropertyListener, TavPropertyListener)

/* ---- ordered map ----------------------------------------------------- */

typedef struct TavPair_TavString__TavPropertyValue_ {
    TavString first;
    TavPropertyValue second;
} TavPair_TavString__TavPropertyValue;

typedef struct TavMap_TavString__TavPropertyValue_Node_ TavMap_TavString__TavPropertyValue_Node;
struct TavMap_TavString__TavPropertyValue_Node_ {
    TavPair_TavString__TavPropertyValue value;
    TavMap_TavString__TavPropertyValue_Node* left;
    TavMap_TavString__TavPropertyValue_Node* right;
    TavMap_TavString__TavPropertyValue_Node* parent;
    TavMap_TavString__TavPropertyValue_Node** pPtr; /* the link that points here */
    TavSizeT height;
};

typedef struct TavMap_TavString__TavPropertyValue_ {
    TavMap_TavString__TavPropertyValue_Node end; /* end.left is the root slot */
    TavSizeT size;
    TavAllocator* alloc;
} TavMap_TavString__TavPropertyValue;

typedef TavSizeT TavMap_TavString__TavPropertyValueSizeType;
typedef TavMap_TavString__TavPropertyValue_Node* TavMap_TavString__TavPropertyValueIterator;
typedef const TavMap_TavString__TavPropertyValue_Node*
    TavMap_TavString__TavPropertyValueConstIterator;
typedef TavMap_TavString__TavPropertyValue_Node* TavMap_TavString__TavPropertyValueReverseIterator;
typedef const TavMap_TavString__TavPropertyValue_Node*
    TavMap_TavString__TavPropertyValueConstReverseIterator;

typedef struct TavPair_TavMap_TavString__TavPropertyValueIterator__TavBool_ {
    TavMap_TavString__TavPropertyValueIterator first;
    TavBool second;
} TavPair_TavMap_TavString__TavPropertyValueIterator__TavBool;

typedef struct
    TavPair_TavMap_TavString__TavPropertyValueIterator__TavMap_TavString__TavPropertyValueIterator_ {
    TavMap_TavString__TavPropertyValueIterator first;
    TavMap_TavString__TavPropertyValueIterator second;
} TavPair_TavMap_TavString__TavPropertyValueIterator__TavMap_TavString__TavPropertyValueIterator;

typedef struct
    TavPair_TavMap_TavString__TavPropertyValueConstIterator__TavMap_TavString__TavPropertyValueConstIterator_ {
    TavMap_TavString__TavPropertyValueConstIterator first;
    TavMap_TavString__TavPropertyValueConstIterator second;
} TavPair_TavMap_TavString__TavPropertyValueConstIterator__TavMap_TavString__TavPropertyValueConstIterator;

/* ---- vector and stack of map positions ------------------------------- */

TAV_VECTOR_TYPES(TavVector_TavMap_TavString__TavPropertyValueIterator,
                 TavMap_TavString__TavPropertyValueIterator)

typedef struct TavStack_TavMap_TavString__TavPropertyValueIterator_ {
    TavVector_TavMap_TavString__TavPropertyValueIterator v; /* top is the last element */
} TavStack_TavMap_TavString__TavPropertyValueIterator;

/* ---- the bag --------------------------------------------------------- */

struct TavProperties_ {
    TavMutex mutex; /* recursive; guards map and listeners */
    TavMap_TavString__TavPropertyValue map;
    TavVector_TavPropertyListener listeners;
};

/* The record layouts other modules are built against (x86-64). */
#if defined(__x86_64__)
#ifdef __cplusplus
#define TAV_STATIC_ASSERT static_assert
#else
#define TAV_STATIC_ASSERT _Static_assert
#endif
TAV_STATIC_ASSERT(sizeof(TavPropertyValue) == 88, "TavPropertyValue layout");
TAV_STATIC_ASSERT(sizeof(TavPropertyListener) == 64, "TavPropertyListener layout");
TAV_STATIC_ASSERT(sizeof(TavMap_TavString__TavPropertyValue_Node) == 160, "map node layout");
TAV_STATIC_ASSERT(sizeof(TavMap_TavString__TavPropertyValueIterator) == 8, "map position");
#undef TAV_STATIC_ASSERT
#endif

TAV_EXTERN_C_END

#endif
