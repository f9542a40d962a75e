// Copy-out reads: what a path holds, copied into the caller's storage while
// the bag is locked. The pointer getters hand out memory inside the bag and
// let go of the lock first, so another thread's Remove can free it under the
// caller; a copy made under the lock is the caller's alone.
#include "Os/TavProperties.h"
#include "Os/TavProperties/detail/TavGuards.hpp"

namespace {

// Runs read(found) on the value at the path while x is locked; false when
// nothing is there or read fails. The walk is the pointer getter's, which
// locks x again: the lock is recursive, and holding it here keeps the found
// value in place until read is done with it.
template <class Read>
TavBool ReadAtPath(const TavProperties* x, const TavString* path, Read read) {
    tav::LockGuard lock(x);
    const TavPropertyValue* found = TavPropertiesGetPropertyAtPathConst(x, path);
    return found != nullptr && read(found) ? TAV_TRUE : TAV_FALSE;
}

// The same from a zero-terminated path, built with x's allocator before
// anything is locked.
template <class Read>
TavBool ReadAtPathCStr(const TavProperties* x, const char* path, Read read) {
    tav::ScopedString temp(path, TavPropertiesGetAllocator(x));
    return temp.ok() ? ReadAtPath(x, temp.get(), read) : TAV_FALSE;
}

// The readers, one per kind of destination. Each leaves out as it was when
// the found value is not of a kind it takes.

// A whole value: out is constructed as a copy of it.
auto CopyValueTo(TavPropertyValue* out) {
    return [out](const TavPropertyValue* found) {
        return TavPropertyValueConstructCopy(out, found) != nullptr;
    };
}

// A plain payload, taken when get (a TavPropertyValueGet<Kind>) accepts the
// value, so the copy-out accepts exactly what the pointer getter does.
template <auto get, class Type>
auto CopyPayloadTo(Type* out) {
    return [out](const TavPropertyValue* found) {
        const Type* payload = get(found);
        if (payload != nullptr) *out = *payload;
        return payload != nullptr;
    };
}

// A string's text, assigned into the caller's constructed string (which
// keeps its allocator).
auto AssignStringTo(TavString* out) {
    return [out](const TavPropertyValue* found) {
        const TavString* text = TavPropertyValueGetString(found);
        return text != nullptr && TavStringAssign(out, text) != nullptr;
    };
}

}  // namespace

extern "C" {

// TavProperties<Name> and TavProperties<Name>CStr: read the value at the path
// into out with the reader that reader(out) makes, under x's lock.
#define TAV_DEFINE_COPY_OUT(Name, OutType, reader)                                          \
    TavBool TavProperties##Name(const TavProperties* x, const TavString* path,              \
                                OutType* out) {                                             \
        return ReadAtPath(x, path, reader(out));                                            \
    }                                                                                       \
    TavBool TavProperties##Name##CStr(const TavProperties* x, const char* path,             \
                                      OutType* out) {                                       \
        return ReadAtPathCStr(x, path, reader(out));                                        \
    }

#define TAV_DEFINE_COPY_PLAIN(Kind, Type, member) \
    TAV_DEFINE_COPY_OUT(Copy##Kind##Value, Type, CopyPayloadTo<TavPropertyValueGet##Kind>)

// TavPropertiesCopyPropertyAtPath[CStr] and TavPropertiesCopyStringValue[CStr].
TAV_DEFINE_COPY_OUT(CopyPropertyAtPath, TavPropertyValue, CopyValueTo)
TAV_DEFINE_COPY_OUT(CopyStringValue, TavString, AssignStringTo)

// Defines, for Kind in Bool, Int, Int16, Int64, Uint, Uint16, Uint64, SizeT,
// Float32, Float64, Time, Resolution, MediaFormat and VoidPtr:
//   TavPropertiesCopy<Kind>Value, TavPropertiesCopy<Kind>ValueCStr.
TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_DEFINE_COPY_PLAIN)

#undef TAV_DEFINE_COPY_PLAIN
#undef TAV_DEFINE_COPY_OUT

// The entries are copied by the map's assignment, which leaves x's map empty
// when it fails; x has no listeners yet, so taking it down again tells none.
TavProperties* TavPropertiesConstructSnapshot(TavProperties* x, const TavProperties* y) {
    if (TavPropertiesConstructDefault(x, TavPropertiesGetAllocator(y)) == nullptr) return nullptr;
    bool copied;
    {
        tav::LockGuard lock(y);
        copied = TavMap_TavString__TavPropertyValueAssign(&x->map, &y->map) != nullptr;
    }
    if (copied) return x;
    TavPropertiesDestruct(x);
    return nullptr;
}

}  // extern "C"
