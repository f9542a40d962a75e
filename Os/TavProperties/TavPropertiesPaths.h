/* Addressing a bag's entries by path ("a.b[2].c"), the typed accessors built
 * on it, the listing of a bag's names and the merge of one bag into another.
 *
 * A path is a sequence of components separated by dots; each component is a
 * name, optionally followed by an index in brackets that picks an element of
 * a vector entry. A backslash keeps the next character in the name (and stays
 * in it itself), so "a\.b" names one entry of four characters. */
#ifndef TAV_OS_TAVPROPERTIES_TAVPROPERTIESPATHS_H
#define TAV_OS_TAVPROPERTIES_TAVPROPERTIESPATHS_H

#include "Os/TavProperties/TavPropertiesTypes.h"
#include "Utils/TavVector_TavString.h"

TAV_EXTERN_C_BEGIN

/* ---- by path --------------------------------------------------------- */

/* The value at the path, or NULL. The pointer stays valid until its entry is
 * removed or its bag is assigned to or destructed. */
TAV_API const TavPropertyValue* TavPropertiesGetPropertyAtPathConst(const TavProperties* x,
                                                                    const TavString* path);
TAV_API TavPropertyValue* TavPropertiesGetPropertyAtPath(TavProperties* x, const TavString* path);
TAV_API const TavPropertyValue* TavPropertiesGetPropertyAtPathCStrConst(const TavProperties* x,
                                                                        const char* path);
TAV_API TavPropertyValue* TavPropertiesGetPropertyAtPathCStr(TavProperties* x, const char* path);

/* Race-free read: out is constructed as a copy of the value at the path, made
 * while x is locked (the caller destroys it). False when nothing is there or
 * the copy fails, and out then holds nothing. */
TAV_API TavBool TavPropertiesCopyPropertyAtPath(const TavProperties* x, const TavString* path,
                                                TavPropertyValue* out);
TAV_API TavBool TavPropertiesCopyPropertyAtPathCStr(const TavProperties* x, const char* path,
                                                    TavPropertyValue* out);

/* Add and Set create missing intermediate nested bags (settable ones) on the
 * way; Add fails on a name that exists, Set assigns into it when the value
 * there is settable. An index on the last component inserts into (Add),
 * assigns an element of (Set) or erases from (Remove) a vector entry. */
TAV_API TavBool TavPropertiesAddPropertyAtPath(TavProperties* x, const TavString* path,
                                               const TavPropertyValue* v);
TAV_API TavBool TavPropertiesAddPropertyAtPathCStr(TavProperties* x, const char* path,
                                                   const TavPropertyValue* v);
TAV_API TavBool TavPropertiesSetPropertyAtPath(TavProperties* x, const TavString* path,
                                               const TavPropertyValue* v);
TAV_API TavBool TavPropertiesSetPropertyAtPathCStr(TavProperties* x, const char* path,
                                                   const TavPropertyValue* v);
TAV_API TavBool TavPropertiesRemovePropertyAtPath(TavProperties* x, const TavString* path);
TAV_API TavBool TavPropertiesRemovePropertyAtPathCStr(TavProperties* x, const char* path);

/* ---- typed accessors ------------------------------------------------- */

/* Setters and adders of one kind, storing a value of that kind built from
 * the payload `arg` with the given settable flag:
 *   TavPropertiesSet<Kind>Value, TavPropertiesSet<Kind>ValueCStr,
 *   TavPropertiesAdd<Kind>Value, TavPropertiesAdd<Kind>ValueCStr. */
#define TAV_PROPERTIES_DECLARE_STORE(Op, Kind, ArgType)                                     \
    TAV_API TavBool TavProperties##Op##Kind##Value(TavProperties* x, const TavString* path, \
                                                   ArgType arg, TavBool settable);          \
    TAV_API TavBool TavProperties##Op##Kind##ValueCStr(TavProperties* x, const char* path,  \
                                                       ArgType arg, TavBool settable);

/* Getters: TavPropertiesGet<Kind>Value and TavPropertiesGet<Kind>ValueCStr,
 * a pointer to the payload of the value at the path when it is of a kind
 * that TavPropertyValueGet<Kind> accepts, else NULL. */
#define TAV_PROPERTIES_DECLARE_GET(Kind, Type)                                \
    TAV_API const Type* TavPropertiesGet##Kind##Value(const TavProperties* x, \
                                                      const TavString* path); \
    TAV_API const Type* TavPropertiesGet##Kind##ValueCStr(const TavProperties* x, const char* path);

/* Copy-out getters: TavPropertiesCopy<Kind>Value and
 * TavPropertiesCopy<Kind>ValueCStr copy, under x's lock, what
 * TavPropertiesGet<Kind>Value would point at into *out; false, *out
 * untouched, when it would find nothing. */
#define TAV_PROPERTIES_DECLARE_COPY(Kind, Type, member)                                  \
    TAV_API TavBool TavPropertiesCopy##Kind##Value(const TavProperties* x,               \
                                                   const TavString* path, Type* out);    \
    TAV_API TavBool TavPropertiesCopy##Kind##ValueCStr(const TavProperties* x,           \
                                                       const char* path, Type* out);

#define TAV_PROPERTIES_DECLARE_ACCESSORS(Kind, ArgType, Type) \
    TAV_PROPERTIES_DECLARE_STORE(Set, Kind, ArgType)          \
    TAV_PROPERTIES_DECLARE_STORE(Add, Kind, ArgType)          \
    TAV_PROPERTIES_DECLARE_GET(Kind, Type)
#define TAV_PROPERTIES_DECLARE_PLAIN_ACCESSORS(Kind, Type, member) \
    TAV_PROPERTIES_DECLARE_ACCESSORS(Kind, Type, Type)
#define TAV_PROPERTIES_DECLARE_OWNING_ACCESSORS(Kind, Type) \
    TAV_PROPERTIES_DECLARE_ACCESSORS(Kind, const Type*, Type)

/* Declares, for Kind in Bool, Int, Int16, Int64, Uint, Uint16, Uint64, SizeT,
 * Float32, Float64, Time, Resolution, MediaFormat, VoidPtr (payload by value)
 * and String, Properties, Vector, SharedVoidPtr, WeakVoidPtr (payload by
 * const pointer):
 *   TavPropertiesSet<Kind>Value, TavPropertiesSet<Kind>ValueCStr,
 *   TavPropertiesAdd<Kind>Value, TavPropertiesAdd<Kind>ValueCStr,
 *   TavPropertiesGet<Kind>Value, TavPropertiesGet<Kind>ValueCStr. */
TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_PROPERTIES_DECLARE_PLAIN_ACCESSORS)
TAV_PROPERTYVALUE_OWNING_KINDS(TAV_PROPERTIES_DECLARE_OWNING_ACCESSORS)

/* Declares TavPropertiesCopy<Kind>Value and TavPropertiesCopy<Kind>ValueCStr
 * for the plain kinds Bool, Int, Int16, Int64, Uint, Uint16, Uint64, SizeT,
 * Float32, Float64, Time, Resolution, MediaFormat and VoidPtr (which also
 * takes a Wrapper's object pointer, as its getter does). */
TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_PROPERTIES_DECLARE_COPY)
/* TavPropertiesCopyStringValue[CStr]: the text of the String value at the
 * path, assigned into the constructed string out under x's lock; false on
 * nothing there, another kind, or a failed TavStringAssign (out as it leaves). */
TAV_PROPERTIES_DECLARE_COPY(String, TavString, s)

/* A String value built from a zero-terminated text (with x's allocator):
 *   TavPropertiesSetStringCStrValue, TavPropertiesSetStringCStrValueCStr,
 *   TavPropertiesAddStringCStrValue, TavPropertiesAddStringCStrValueCStr. */
TAV_PROPERTIES_DECLARE_STORE(Set, StringCStr, const char*)
TAV_PROPERTIES_DECLARE_STORE(Add, StringCStr, const char*)

#undef TAV_PROPERTIES_DECLARE_OWNING_ACCESSORS
#undef TAV_PROPERTIES_DECLARE_PLAIN_ACCESSORS
#undef TAV_PROPERTIES_DECLARE_ACCESSORS
#undef TAV_PROPERTIES_DECLARE_COPY
#undef TAV_PROPERTIES_DECLARE_GET
#undef TAV_PROPERTIES_DECLARE_STORE

/* The settable flag and the kind of the value at the path, or NULL when
 * there is none. */
TAV_API const TavBool* TavPropertiesIsSettableValue(const TavProperties* x, const TavString* path);
TAV_API const TavBool* TavPropertiesIsSettableValueCStr(const TavProperties* x, const char* path);
TAV_API const TavPropertyValueType* TavPropertiesGetTypeValue(const TavProperties* x,
                                                              const TavString* path);
TAV_API const TavPropertyValueType* TavPropertiesGetTypeValueCStr(const TavProperties* x,
                                                                  const char* path);

/* ---- names and merge ------------------------------------------------- */

/* Replaces names' contents with copies of x's own names in ascending order.
 * On failure names is left untouched and the result is false. */
TAV_API TavBool TavPropertiesGetAllNames(const TavProperties* x, TavVector_TavString* names);

/* Copies every entry of y into x through x's set (so x's settable rules and
 * listeners apply); nested bags are merged recursively, up to 63 levels
 * below y. Returns x, or NULL on failure, keeping the entries already
 * merged. y may be x itself or a bag inside x: it is then merged from a
 * private copy (which no listener hears of), as an independent source
 * would be. */
TAV_API TavProperties* TavPropertiesMerge(TavProperties* x, const TavProperties* y);

TAV_EXTERN_C_END

#endif
