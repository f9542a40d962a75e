// Typed accessors: store, add or read a value of one kind at a path in one
// call. They are thin on purpose: every rule about paths, settable flags,
// missing nested bags, locking and listeners is that of the path operations.
#include "Os/TavProperties.h"
#include "Os/TavProperties/bag/TavPropertiesInternal.h"
#include "Os/TavProperties/detail/TavGuards.hpp"

namespace {

// Hands the temporary value (NULL when it could not be built) to the path
// operation, which may take it for a new entry, then destroys what is left.
// The temporary lives on the caller's stack, built outside the bag's lock.
template <class Path, class Store>
TavBool StoreTemporary(TavPropertyValue* built, TavProperties* x, Path path, Store store) {
    if (built == nullptr) return TAV_FALSE;
    const TavBool result = store(x, path, built);
    TavPropertyValueDestruct(built);
    return result;
}

template <class Result, class Getter>
const Result* ReadFound(const TavPropertyValue* found, Getter getter) {
    return found != nullptr ? getter(found) : nullptr;
}

const TavBool* SettableOf(const TavPropertyValue* v) { return &v->settable; }
const TavPropertyValueType* TypeOf(const TavPropertyValue* v) { return &v->type; }

// Appends a copy of each of x's names, in map order, to all. A copy that
// fails is noted and the walk goes on; the result tells whether all were made.
TavBool CopyNames(const TavProperties* x, TavVector_TavString* all) {
    TavBool complete = TAV_TRUE;
    tav::AnyEntry(x, [&](const TavPair_TavString__TavPropertyValue* entry) {
        if (!TavVector_TavStringPushBack(all, &entry->first)) complete = TAV_FALSE;
        return false;  // every name is tried
    });
    return complete;
}

}  // namespace

extern "C" {

// Stamps Define(Op, Form, PathType, Kind, ...) for the four setter and adder
// forms of one kind: Op is Set or Add, Form is empty (TavString path) or CStr
// (zero-terminated path).
#define TAV_STORE_FORMS(Define, ...)                                                         \
    Define(Set, , const TavString*, __VA_ARGS__) Define(Set, CStr, const char*, __VA_ARGS__) \
        Define(Add, , const TavString*, __VA_ARGS__) Define(Add, CStr, const char*, __VA_ARGS__)

// A setter or adder that builds its temporary with the kind's constructor.
#define TAV_DEFINE_STORE(Op, Form, PathType, Kind, ArgType)                                    \
    TavBool TavProperties##Op##Kind##Value##Form(TavProperties* x, PathType path, ArgType arg, \
                                                 TavBool settable) {                           \
        TavPropertyValue temp;                                                                 \
        return StoreTemporary(TavPropertyValueConstruct##Kind(&temp, arg, settable), x, path,  \
                              [](TavProperties* b, PathType p, TavPropertyValue* v) {          \
                                  return tav::Op##TakingAtPath(b, p, v);                       \
                              });                                                              \
    }

// A String member fed from a zero-terminated text, turned into a string with
// x's allocator first.
#define TAV_DEFINE_STORE_STRINGCSTR(Op, Form, PathType, Kind)                                      \
    TavBool TavProperties##Op##Kind##Value##Form(TavProperties* x, PathType path, const char* str, \
                                                 TavBool settable) {                               \
        tav::ScopedString text(str, TavPropertiesGetAllocator(x));                                 \
        return text.ok() ? TavProperties##Op##StringValue##Form(x, path, text.get(), settable)     \
                         : TAV_FALSE;                                                              \
    }

// One getter in its two path forms: TavProperties<Name> and
// TavProperties<Name>CStr, reading the found value with getter.
#define TAV_DEFINE_LOOKUP(Name, Result, getter)                                             \
    const Result* TavProperties##Name(const TavProperties* x, const TavString* path) {      \
        return ReadFound<Result>(TavPropertiesGetPropertyAtPathConst(x, path), getter);     \
    }                                                                                       \
    const Result* TavProperties##Name##CStr(const TavProperties* x, const char* path) {     \
        return ReadFound<Result>(TavPropertiesGetPropertyAtPathCStrConst(x, path), getter); \
    }

#define TAV_DEFINE_ACCESSORS(Kind, ArgType, Type)    \
    TAV_STORE_FORMS(TAV_DEFINE_STORE, Kind, ArgType) \
    TAV_DEFINE_LOOKUP(Get##Kind##Value, Type, TavPropertyValueGet##Kind)
#define TAV_DEFINE_PLAIN_ACCESSORS(Kind, Type, member) TAV_DEFINE_ACCESSORS(Kind, Type, Type)
#define TAV_DEFINE_OWNING_ACCESSORS(Kind, Type) TAV_DEFINE_ACCESSORS(Kind, const Type*, Type)

// Defines, for Kind in Bool, Int, Int16, Int64, Uint, Uint16, Uint64, SizeT,
// Float32, Float64, Time, Resolution, MediaFormat, VoidPtr, String,
// Properties, Vector, SharedVoidPtr and WeakVoidPtr:
//   TavPropertiesSet<Kind>Value, TavPropertiesSet<Kind>ValueCStr,
//   TavPropertiesAdd<Kind>Value, TavPropertiesAdd<Kind>ValueCStr,
//   TavPropertiesGet<Kind>Value, TavPropertiesGet<Kind>ValueCStr.
TAV_PROPERTYVALUE_PLAIN_KINDS(TAV_DEFINE_PLAIN_ACCESSORS)
TAV_PROPERTYVALUE_OWNING_KINDS(TAV_DEFINE_OWNING_ACCESSORS)

// TavPropertiesSetStringCStrValue, TavPropertiesSetStringCStrValueCStr,
// TavPropertiesAddStringCStrValue, TavPropertiesAddStringCStrValueCStr.
TAV_STORE_FORMS(TAV_DEFINE_STORE_STRINGCSTR, StringCStr)

// TavPropertiesIsSettableValue[CStr] and TavPropertiesGetTypeValue[CStr].
TAV_DEFINE_LOOKUP(IsSettableValue, TavBool, SettableOf)
TAV_DEFINE_LOOKUP(GetTypeValue, TavPropertyValueType, TypeOf)

#undef TAV_DEFINE_STORE_STRINGCSTR
#undef TAV_DEFINE_OWNING_ACCESSORS
#undef TAV_DEFINE_PLAIN_ACCESSORS
#undef TAV_DEFINE_ACCESSORS
#undef TAV_DEFINE_LOOKUP
#undef TAV_DEFINE_STORE
#undef TAV_STORE_FORMS

// Copies the names into a list of names' allocator first and swaps it in
// only when every copy was made, so a failure leaves names untouched.
TavBool TavPropertiesGetAllNames(const TavProperties* x, TavVector_TavString* names) {
    TavVector_TavString all;
    TavVector_TavStringConstructDefault(&all, TavVector_TavStringGetAllocator(names));
    TavBool complete;
    {
        tav::LockGuard lock(x);
        complete = CopyNames(x, &all) && TavVector_TavStringSwap(names, &all);
    }
    TavVector_TavStringDestruct(&all);
    return complete;
}

}  // extern "C"
