// Shared pieces of the fuzz targets: a checking allocator that can refuse
// allocations on the input's command, makers of values of every kind, and a
// listener that checks the arguments of every event it hears.
//
// A fuzz target has no test framework to report to, so every broken promise
// aborts (Require), which libFuzzer records as a crash with its input.
#ifndef TAV_FUZZ_FUZZSUPPORT_HPP
#define TAV_FUZZ_FUZZSUPPORT_HPP

#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "CheckingAllocator.hpp"
#include "Os/TavProperties.h"

namespace tavfuzz {

// Set TAV_FUZZ_TRACE to have the targets print each operation they run, to
// read a crash input back.
inline bool Tracing() {
    static const bool tracing = std::getenv("TAV_FUZZ_TRACE") != nullptr;
    return tracing;
}

inline void Require(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "broken promise: %s\n", what);
        std::abort();
    }
}

inline void AbortOnComplaint(const char* what, std::size_t bytes) {
    std::fprintf(stderr, "broken promise: %s (%zu bytes)\n", what, bytes);
    std::abort();
}

// The checking allocator shared with the tests (tests/support), aborting on
// any broken promise and on blocks left when it goes. With failEvery n > 0,
// every n-th allocation is refused, which drives the library through its
// failure paths.
class CheckedAllocator : public tavcheck::CheckingAllocator {
public:
    explicit CheckedAllocator(unsigned failEvery = 0) : CheckingAllocator(&AbortOnComplaint) {
        FailEvery(failEvery);
    }
    ~CheckedAllocator() {
        if (forgiven_) return;
        ForEachLive([](const void*, std::size_t n) {
            std::fprintf(stderr, "live block of %zu bytes\n", n);
        });
        Require(liveBlocks() == 0, "every block returned to its allocator");
    }
    // A vector whose erase fails part-way lets the elements from the failed
    // one on go without destroying them; that is the erase's contract, so a
    // run in which it happened is not held to the balance.
    void ForgiveLeaks() { forgiven_ = true; }
    void StopFailing() { FailEvery(0); }

private:
    bool forgiven_ = false;
};

// Removes a listener; when a matching one was registered but the removal
// failed, the listener vector's erase gave up part-way (see ForgiveLeaks).
inline void RemoveListenerNotingErase(TavProperties* bag, TavPropertyListener* l,
                                      CheckedAllocator& alloc) {
    bool registered = false;
    for (const TavPropertyListener* e = bag->listeners.begin; e != bag->listeners.end; ++e)
        registered = registered || TavPropertyListenerEqual(l, e);
    if (!TavPropertiesRemoveListener(bag, l) && registered) alloc.ForgiveLeaks();
}

// Points the foundation's default allocator (used by the reader's temporaries,
// the bags it builds and wrapped objects) at a checked allocator while alive.
using tavcheck::DefaultAllocatorHook;

// ---- wrapped objects and shared pointers ---------------------------------

struct Boxed {
    int value;
};

inline void* BoxCopy(void* dst, const void* src) {
    static_cast<Boxed*>(dst)->value = static_cast<const Boxed*>(src)->value;
    return dst;
}
inline void BoxDestruct(void*) {}
inline void* BoxAssign(void* dst, const void* src) {
    return BoxCopy(dst, src);
}
inline TavBool BoxEqual(const void* a, const void* b) {
    return static_cast<const Boxed*>(a)->value == static_cast<const Boxed*>(b)->value;
}
inline const TavPropertyValueCallbacks kBoxCallbacks = {&BoxCopy, &BoxDestruct, &BoxAssign,
                                                        &BoxEqual};

inline void DeleteBoxed(TavVoidPtr p, TavAllocator*) {
    delete static_cast<Boxed*>(p);
}

// ---- values --------------------------------------------------------------

// Short names from a small alphabet, so that operations on random names meet
// each other's entries often.
inline std::string PickName(FuzzedDataProvider& in) {
    static const char kAlphabet[] = "abcxyz_01";
    std::string name;
    const std::size_t length = in.ConsumeIntegralInRange<std::size_t>(0, 3);
    for (std::size_t i = 0; i < length; ++i)
        name += kAlphabet[in.ConsumeIntegralInRange<std::size_t>(0, sizeof kAlphabet - 2)];
    return name;
}

// Floating values come from small integers: never NaN, so that every value
// equals its own copy and the targets can check copies by equality.
inline double PickFloat(FuzzedDataProvider& in) {
    return in.ConsumeIntegral<int16_t>() / 8.0;
}

// A shared pointer value owns one use of a new object; the temporary handle
// that made it is released here.
inline TavPropertyValue* MakeSharedValue(TavPropertyValue* v, bool settable, bool typed,
                                         TavAllocator* a) {
    TavSharedPtr_void sp;
    auto* object = new Boxed{7};
    if (TavSharedPtr_voidConstruct(&sp, object, &DeleteBoxed, a) == nullptr) {
        delete object;
        return nullptr;
    }
    TavPropertyValue* made = typed
                                 ? TavPropertyValueConstructSharedPtr(v, &sp, "Boxed", settable, a)
                                 : TavPropertyValueConstructSharedVoidPtr(v, &sp, settable);
    TavSharedPtr_voidDestruct(&sp);
    return made;
}

inline TavPropertyValue* MakeWeakValue(TavPropertyValue* v, bool settable, TavAllocator* a) {
    TavSharedPtr_void sp;
    auto* object = new Boxed{9};
    if (TavSharedPtr_voidConstruct(&sp, object, &DeleteBoxed, a) == nullptr) {
        delete object;
        return nullptr;
    }
    TavWeakPtr_void wp;
    TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
    TavPropertyValue* made = TavPropertyValueConstructWeakVoidPtr(v, &wp, settable);
    TavWeakPtr_voidDestruct(&wp);
    TavSharedPtr_voidDestruct(&sp);  // the value keeps a weak count on a gone object
    return made;
}

inline TavPropertyValue* MakePlainValue(FuzzedDataProvider& in, TavPropertyValue* v,
                                        bool settable) {
    switch (in.ConsumeIntegralInRange<int>(0, 13)) {
        case 0: return TavPropertyValueConstructBool(v, in.ConsumeIntegral<uint8_t>(), settable);
        case 1: return TavPropertyValueConstructInt(v, in.ConsumeIntegral<int32_t>(), settable);
        case 2: return TavPropertyValueConstructInt16(v, in.ConsumeIntegral<int16_t>(), settable);
        case 3: return TavPropertyValueConstructInt64(v, in.ConsumeIntegral<int64_t>(), settable);
        case 4: return TavPropertyValueConstructUint(v, in.ConsumeIntegral<uint32_t>(), settable);
        case 5: return TavPropertyValueConstructUint16(v, in.ConsumeIntegral<uint16_t>(), settable);
        case 6: return TavPropertyValueConstructUint64(v, in.ConsumeIntegral<uint64_t>(), settable);
        case 7: return TavPropertyValueConstructSizeT(v, in.ConsumeIntegral<uint64_t>(), settable);
        case 8:
            return TavPropertyValueConstructFloat32(v, static_cast<float>(PickFloat(in)), settable);
        case 9: return TavPropertyValueConstructFloat64(v, PickFloat(in), settable);
        case 10: return TavPropertyValueConstructTime(v, in.ConsumeIntegral<int64_t>(), settable);
        case 11: {
            TavResolution res = {in.ConsumeIntegral<uint16_t>(), in.ConsumeIntegral<uint16_t>()};
            return TavPropertyValueConstructResolution(v, res, settable);
        }
        case 12:
            return TavPropertyValueConstructMediaFormat(v, in.ConsumeIntegral<uint32_t>(),
                                                        settable);
        default: return TavPropertyValueConstructVoidPtr(v, nullptr, settable);
    }
}

inline TavPropertyValue* MakeVectorValue(FuzzedDataProvider& in, TavPropertyValue* v, bool settable,
                                         TavAllocator* a) {
    TavVector_TavPropertyValue vec;
    TavVector_TavPropertyValueConstructDefault(&vec, a);
    const int count = in.ConsumeIntegralInRange<int>(0, 4);
    for (int i = 0; i < count; ++i) {
        TavPropertyValue element;
        MakePlainValue(in, &element, true);
        TavVector_TavPropertyValuePushBack(&vec, &element);  // a refusal just makes it shorter
        TavPropertyValueDestruct(&element);
    }
    TavPropertyValue* made = TavPropertyValueConstructVector(v, &vec, settable);
    TavVector_TavPropertyValueDestruct(&vec);
    return made;
}

// Builds a value of a kind the input picks; `nested` is copied for the
// nested-bag kind (an empty bag when null). Null when the allocator refused.
//
// A vector that fails to erase an element (an element after it refuses the
// assignment that moves it down) drops the elements from the refusing one on
// without destroying them, by design; values meant for vectors are therefore
// made settable (`forVector`), and vectors hold only settable elements, so
// that every block still comes back.
inline TavPropertyValue* MakeValue(FuzzedDataProvider& in, TavPropertyValue* v, TavAllocator* a,
                                   const TavProperties* nested = nullptr, bool forVector = false) {
    const bool settable = forVector || in.ConsumeProbability<float>() < 0.8f;
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
        case 0: {
            const std::string text = in.ConsumeRandomLengthString(12);
            return TavPropertyValueConstructStringCStr(v, text.c_str(), settable, a);
        }
        case 1: {
            if (nested != nullptr) return TavPropertyValueConstructProperties(v, nested, settable);
            TavProperties empty;
            if (TavPropertiesConstructDefault(&empty, a) == nullptr) return nullptr;
            TavPropertyValue* made = TavPropertyValueConstructProperties(v, &empty, settable);
            TavPropertiesDestruct(&empty);
            return made;
        }
        case 2: return MakeVectorValue(in, v, settable, a);
        case 3: return MakeSharedValue(v, settable, in.ConsumeBool(), a);
        case 4: return MakeWeakValue(v, settable, a);
        case 5: {
            const Boxed box{in.ConsumeIntegral<int8_t>()};
            return TavPropertyValueConstructWrapper(v, &box, sizeof box, &kBoxCallbacks, "Boxed",
                                                    settable, a);
        }
        default: return MakePlainValue(in, v, settable);
    }
}

// ---- listeners -----------------------------------------------------------

// Checks what a listener is told: a name always, and the old and new values
// the event table allows for its trigger. Reads the bag back on the same
// thread, which the recursive lock must allow.
struct ListenerLog {
    unsigned calls = 0;
};

inline void CheckingListener(const TavPropertyListener* l, TavProperties* bag,
                             const TavString* name, const TavPropertyValue* oldValue,
                             const TavPropertyValue* newValue) {
    Require(name != nullptr && bag != nullptr, "a listener is told the bag and the name");
    if (TavPropertyListenerGetTrigger(l) == TAV_PROPERTYLISTENER_TRIGGER_After &&
        newValue == nullptr)
        Require(oldValue == nullptr || TavPropertyValueGetVector(oldValue) != nullptr,
                "after a removal only a vector entry is passed as old value");
    if (newValue != nullptr) (void)TavPropertyValueGetType(newValue);
    if (oldValue != nullptr) (void)TavPropertyValueGetType(oldValue);
    (void)TavPropertiesGetPropertyConst(bag, name);
    ++static_cast<ListenerLog*>(TavPropertyListenerGetData(l))->calls;
}

// Registers an all-names listener for each trigger; false when refused.
inline bool ListenToAll(TavProperties* bag, ListenerLog* log, TavAllocator* a) {
    bool ok = true;
    for (auto trigger : {TAV_PROPERTYLISTENER_TRIGGER_Before, TAV_PROPERTYLISTENER_TRIGGER_After}) {
        TavPropertyListener l;
        if (TavPropertyListenerConstructCStr(&l, trigger, nullptr, &CheckingListener, log, a) ==
            nullptr)
            return false;
        ok = TavPropertiesAddListener(bag, &l) && ok;
        TavPropertyListenerDestruct(&l);
    }
    return ok;
}

// ---- text forms ----------------------------------------------------------

// Writes a bag in every text form. The JSON writer may refuse (depth, memory);
// when it succeeds its text is one object. The XML writer appends.
inline void WriteAll(const TavProperties* bag, TavAllocator* a, bool expectJson) {
    TavString json, xml;
    TavStringConstructDefault(&json, a);
    TavStringConstructDefault(&xml, a);
    const TavString* written = TavPropertiesToJson(bag, &json);
    Require(!expectJson || written == &json, "JSON of a shallow bag with memory to spare");
    if (written != nullptr) {
        Require(TavStringSize(&json) >= 2 && TavStringCStr(&json)[0] == '{' &&
                    TavStringCStr(&json)[TavStringSize(&json) - 1] == '}',
                "JSON text is one object");
    } else {
        Require(TavStringSize(&json) == 0, "a failed JSON write leaves the string untouched");
    }
    Require(TavPropertiesToXml(bag, &xml) == &xml, "the XML writer returns its string");
    static FILE* devNull = std::fopen("/dev/null", "w");
    if (devNull != nullptr) {
        TavFile file;
        TavFileConstructStream(&file, devNull);
        TavPropertiesPrint(bag, &file, "");
        TavFileDestruct(&file);
    }
    TavStringDestruct(&xml);
    TavStringDestruct(&json);
}

// ---- JSON ----------------------------------------------------------------

// What typed JSON of the bag can't give back as it was: a NaN (equal to
// nothing), a pointer (refused by the reader), a Bool other than 0 and 1
// (written true) or a format code with a byte that does not print (written
// as a dot). Walked with a stack, as bags nest deeply.
struct TypedTextLosses {
    bool nan = false;
    bool pointer = false;
    bool reshaped = false;
};

inline bool PrintsAsItself(TavMediaFormat code) {
    for (int i = 0; i < 4; ++i, code >>= 8)
        if ((code & 0xFFu) < ' ' || (code & 0xFFu) > '~') return false;
    return true;
}

inline TypedTextLosses FindTypedTextLosses(const TavProperties* bag) {
    TypedTextLosses found;
    std::vector<const TavProperties*> bags{bag};
    std::vector<const TavPropertyValue*> values;
    while (!bags.empty() || !values.empty()) {
        if (!bags.empty()) {
            const TavMap_TavString__TavPropertyValue* map = &bags.back()->map;
            bags.pop_back();
            for (auto it = TavMap_TavString__TavPropertyValueBeginConst(map);
                 it != TavMap_TavString__TavPropertyValueEndConst(map);
                 TavMap_TavString__TavPropertyValueConstIteratorIncrement(&it))
                values.push_back(&it->value.second);
            continue;
        }
        const TavPropertyValue* v = values.back();
        values.pop_back();
        switch (v->type) {
            case TAV_PROPERTYVALUE_TYPE_Float32: found.nan |= std::isnan(v->u.f32); break;
            case TAV_PROPERTYVALUE_TYPE_Float64: found.nan |= std::isnan(v->u.f64); break;
            case TAV_PROPERTYVALUE_TYPE_Bool: found.reshaped |= v->u.b > 1; break;
            case TAV_PROPERTYVALUE_TYPE_MediaFormat:
                found.reshaped |= !PrintsAsItself(v->u.fmt);
                break;
            case TAV_PROPERTYVALUE_TYPE_VoidPtr:
            case TAV_PROPERTYVALUE_TYPE_SharedVoidPtr:
            case TAV_PROPERTYVALUE_TYPE_WeakVoidPtr:
            case TAV_PROPERTYVALUE_TYPE_SharedPtr:
            case TAV_PROPERTYVALUE_TYPE_WeakPtr:
            case TAV_PROPERTYVALUE_TYPE_Wrapper: found.pointer = true; break;
            case TAV_PROPERTYVALUE_TYPE_Properties:
                if (v->u.p != nullptr) bags.push_back(v->u.p);
                break;
            case TAV_PROPERTYVALUE_TYPE_Vector:
                for (const TavPropertyValue* e = v->u.vec.begin; e != v->u.vec.end; ++e)
                    values.push_back(e);
                break;
            default: break;
        }
    }
    return found;
}

}  // namespace tavfuzz

#endif
