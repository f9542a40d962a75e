// Random paths and operations against a fixed tree of nested bags and
// vectors, every bag with checking listeners. Besides memory safety it checks
// the promises a caller builds on: what Add or Set stored is what Get then
// finds at the same path, the two string forms and the const and non-const
// forms of Get agree, the flag and kind queries agree with Get, and name
// lists come sorted. The byte read first (the last one) may make the allocator refuse every n-th
// allocation; the checks that assume success are then skipped.
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzSupport.hpp"

namespace {

using tavfuzz::Require;

struct Fixture {
    explicit Fixture(unsigned failEvery) : alloc(failEvery), hook(alloc) {}
    tavfuzz::CheckedAllocator alloc;
    tavfuzz::DefaultAllocatorHook hook;
    tavfuzz::ListenerLog log;
    TavProperties top;
};

bool AddInt(TavProperties* bag, const char* name, int i, bool settable) {
    TavPropertyValue v;
    TavPropertyValueConstructInt(&v, i, settable);
    const bool ok = TavPropertiesAddPropertyCStr(bag, name, &v);
    TavPropertyValueDestruct(&v);
    return ok;
}

// Stores a copy of `inner` (with its listeners) under `name`.
bool AddBag(TavProperties* bag, const char* name, const TavProperties* inner, bool settable) {
    TavPropertyValue v;
    if (TavPropertyValueConstructProperties(&v, inner, settable) == nullptr) return false;
    const bool ok = TavPropertiesAddPropertyCStr(bag, name, &v);
    TavPropertyValueDestruct(&v);
    return ok;
}

bool AddVector(TavProperties* bag, const char* name, const TavPropertyValue* elements,
               std::size_t count, bool settable) {
    TavVector_TavPropertyValue vec;
    TavVector_TavPropertyValueConstructDefault(&vec, TavPropertiesGetAllocator(bag));
    bool ok = true;
    for (std::size_t i = 0; i < count; ++i)
        ok = TavVector_TavPropertyValuePushBack(&vec, &elements[i]) && ok;
    TavPropertyValue v;
    ok = ok && TavPropertyValueConstructVector(&v, &vec, settable) != nullptr;
    if (ok) {
        ok = TavPropertiesAddPropertyCStr(bag, name, &v);
        TavPropertyValueDestruct(&v);
    }
    TavVector_TavPropertyValueDestruct(&vec);
    return ok;
}

bool MakeListenedBag(TavProperties* bag, Fixture& f) {
    if (TavPropertiesConstructDefault(bag, f.alloc.get()) == nullptr) return false;
    if (tavfuzz::ListenToAll(bag, &f.log, f.alloc.get())) return true;
    TavPropertiesDestruct(bag);
    return false;
}

// top: n Int, k Int (fixed), s String, "a\.b" Int, a{b{c}, x}, ro{y, z{}} (fixed),
// list [Int, {x}, String], fixed [Int, Int] (fixed).
bool BuildTree(Fixture& f) {
    TavProperties b, a, z, ro, x;
    bool ok = AddInt(&f.top, "n", 5, true) && AddInt(&f.top, "k", 6, false);
    ok = TavPropertiesSetStringCStrValueCStr(&f.top, "s", "text", TAV_TRUE) && ok;
    ok = AddInt(&f.top, "a\\.b", 7, true) && ok;
    if (MakeListenedBag(&b, f)) {
        ok = AddInt(&b, "c", 1, true) && ok;
        if (MakeListenedBag(&a, f)) {
            ok = AddBag(&a, "b", &b, true) && AddInt(&a, "x", 2, false) &&
                 AddBag(&f.top, "a", &a, true) && ok;
            TavPropertiesDestruct(&a);
        }
        TavPropertiesDestruct(&b);
    }
    if (MakeListenedBag(&ro, f)) {
        if (MakeListenedBag(&z, f)) {
            ok = AddInt(&ro, "y", 3, true) && AddBag(&ro, "z", &z, true) &&
                 AddBag(&f.top, "ro", &ro, false) && ok;
            TavPropertiesDestruct(&z);
        }
        TavPropertiesDestruct(&ro);
    }
    TavPropertyValue elements[3];
    TavPropertyValueConstructInt(&elements[0], 10, true);
    TavPropertyValueConstructInt(&elements[1], 11, true);
    ok = AddVector(&f.top, "fixed", elements, 2, false) && ok;
    if (MakeListenedBag(&x, f)) {
        ok = AddInt(&x, "x", 12, true) && ok;
        TavPropertyValueDestruct(&elements[1]);
        if (TavPropertyValueConstructProperties(&elements[1], &x, true) == nullptr)
            TavPropertyValueConstructInt(&elements[1], 11, true);
        TavPropertiesDestruct(&x);
    }
    if (TavPropertyValueConstructStringCStr(&elements[2], "last", true, f.alloc.get()) == nullptr)
        TavPropertyValueConstructInt(&elements[2], 13, true);
    ok = AddVector(&f.top, "list", elements, 3, true) && ok;
    for (auto& e : elements) TavPropertyValueDestruct(&e);
    return ok;
}

// A path of up to eight tokens: names of the tree, separators, index groups
// well and badly formed, escapes, and now and then a raw byte.
std::string PickPath(FuzzedDataProvider& in) {
    static const char* const kTokens[] = {"a",
                                          "b",
                                          "c",
                                          "x",
                                          "y",
                                          "z",
                                          "n",
                                          "k",
                                          "s",
                                          "ro",
                                          "list",
                                          "fixed",
                                          "new",
                                          ".",
                                          ".",
                                          ".",
                                          "[0]",
                                          "[1]",
                                          "[2]",
                                          "[3]",
                                          "[9]",
                                          "[-1]",
                                          "[ 1 ]",
                                          "[]",
                                          "[x]",
                                          "[1",
                                          "]",
                                          "\\.",
                                          "\\",
                                          "[18446744073709551615]",
                                          "[99999999999999999999]"};
    constexpr int kCount = sizeof kTokens / sizeof kTokens[0];
    std::string path;
    const int length = in.ConsumeIntegralInRange<int>(0, 8);
    for (int i = 0; i < length; ++i) {
        const int pick = in.ConsumeIntegralInRange<int>(0, kCount);
        if (pick == kCount)
            path += static_cast<char>(in.ConsumeIntegral<uint8_t>());
        else
            path += kTokens[pick];
    }
    return path;
}

bool HasNul(const std::string& s) {
    return s.find('\0') != std::string::npos;
}

// Get in every form; all must agree, and so must the flag and kind queries.
const TavPropertyValue* CheckedGet(TavProperties* top, const TavString* path,
                                   const std::string& raw) {
    const TavPropertyValue* found = TavPropertiesGetPropertyAtPath(top, path);
    Require(found == TavPropertiesGetPropertyAtPathConst(top, path), "Get and GetConst agree");
    if (!HasNul(raw))
        Require(found == TavPropertiesGetPropertyAtPathCStr(top, raw.c_str()),
                "the string forms of Get agree");
    const TavBool* settable = TavPropertiesIsSettableValue(top, path);
    const TavPropertyValueType* type = TavPropertiesGetTypeValue(top, path);
    Require((found == nullptr) == (settable == nullptr) && (found == nullptr) == (type == nullptr),
            "flag and kind queries find what Get finds");
    if (found != nullptr)
        Require(*settable == TavPropertyValueIsSettable(found) &&
                    *type == TavPropertyValueGetType(found),
                "flag and kind queries read the value Get finds");
    return found;
}

// Add or Set a value the input picks; on success Get at the path finds it.
void StoreValue(FuzzedDataProvider& in, Fixture& f, const TavString* path, const std::string& raw,
                bool set) {
    TavPropertyValue v;
    const bool intoVector = raw.find('[') != std::string::npos;
    if (tavfuzz::MakeValue(in, &v, f.alloc.get(), nullptr, intoVector) == nullptr) return;
    const unsigned refusedBefore = f.alloc.refused();
    const TavBool stored = set ? TavPropertiesSetPropertyAtPath(&f.top, path, &v)
                               : TavPropertiesAddPropertyAtPath(&f.top, path, &v);
    // A vector stored where the path's index was ignored (the old value was
    // no vector) is then indexed by that same path: Get finds an element.
    const bool indexedAfterwards = intoVector && TavPropertyValueGetVector(&v) != nullptr;
    if (stored && f.alloc.refused() == refusedBefore && !indexedAfterwards) {
        const TavPropertyValue* found = CheckedGet(&f.top, path, raw);
        Require(found != nullptr && TavPropertyValueEqual(found, &v), "Get finds what was stored");
    }
    TavPropertyValueDestruct(&v);
}

void StoreTyped(FuzzedDataProvider& in, Fixture& f, const std::string& raw) {
    if (HasNul(raw)) return;
    const char* path = raw.c_str();
    const unsigned refusedBefore = f.alloc.refused();
    const int32_t i = in.ConsumeIntegral<int32_t>();
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
        case 0:
            if (TavPropertiesSetIntValueCStr(&f.top, path, i, in.ConsumeBool()) &&
                f.alloc.refused() == refusedBefore) {
                const TavInt* got = TavPropertiesGetIntValueCStr(&f.top, path);
                Require(got != nullptr && *got == i, "a typed set is read back");
            }
            break;
        case 1:
            if (TavPropertiesAddUintValueCStr(
                    &f.top, path, static_cast<TavUint>(i),
                    in.ConsumeBool() || raw.find('[') != std::string::npos) &&
                f.alloc.refused() == refusedBefore) {
                const TavUint* got = TavPropertiesGetUintValueCStr(&f.top, path);
                Require(got != nullptr && *got == static_cast<TavUint>(i),
                        "a typed add is read back");
            }
            break;
        case 2:
            if (TavPropertiesSetStringCStrValueCStr(&f.top, path, "typed", in.ConsumeBool()) &&
                f.alloc.refused() == refusedBefore) {
                const TavString* got = TavPropertiesGetStringValueCStr(&f.top, path);
                Require(got != nullptr && std::string(TavStringCStr(got)) == "typed",
                        "a typed string set is read back");
            }
            break;
        default: {
            TavResolution res = {static_cast<TavSizeT>(i & 0xffff), 3};
            (void)TavPropertiesAddResolutionValueCStr(&f.top, path, res, TAV_TRUE);
            (void)TavPropertiesGetResolutionValueCStr(&f.top, path);
        }
    }
}

// Lists the names of the bag at the path (the top bag for an empty path).
void ListNames(Fixture& f, const TavString* path, const std::string& raw) {
    const TavProperties* bag = raw.empty() ? &f.top : TavPropertiesGetPropertiesValue(&f.top, path);
    if (bag == nullptr) return;
    TavVector_TavString names;
    TavVector_TavStringConstructDefault(&names, f.alloc.get());
    if (TavPropertiesGetAllNames(bag, &names)) {
        for (TavSizeT i = 1; i < TavVector_TavStringSize(&names); ++i)
            Require(TavStringCompare(TavVector_TavStringAtConst(&names, i - 1),
                                     TavVector_TavStringAtConst(&names, i)) < 0,
                    "names come in ascending order, each once");
    }
    TavVector_TavStringDestruct(&names);
}

// Registers or drops a listener on the nested bag at the path, the way a
// caller holding a pointer from Get would.
void ToggleListener(FuzzedDataProvider& in, Fixture& f, const TavString* path) {
    const TavProperties* found = TavPropertiesGetPropertiesValue(&f.top, path);
    if (found == nullptr) return;
    auto* bag = const_cast<TavProperties*>(found);
    TavPropertyListener l;
    const auto trigger =
        in.ConsumeBool() ? TAV_PROPERTYLISTENER_TRIGGER_After : TAV_PROPERTYLISTENER_TRIGGER_Before;
    const char* name = in.ConsumeBool() ? nullptr : "c";
    if (TavPropertyListenerConstructCStr(&l, trigger, name, &tavfuzz::CheckingListener, &f.log,
                                         f.alloc.get()) == nullptr)
        return;
    if (in.ConsumeBool())
        (void)TavPropertiesAddListener(bag, &l);
    else
        tavfuzz::RemoveListenerNotingErase(bag, &l, f.alloc);
    TavPropertyListenerDestruct(&l);
}

void RunOne(FuzzedDataProvider& in, Fixture& f) {
    const int op = in.ConsumeIntegralInRange<int>(0, 7);
    const std::string raw = PickPath(in);
    TavString path;
    if (TavStringConstructRange(&path, raw.data(), raw.data() + raw.size(), f.alloc.get()) ==
        nullptr)
        return;
    if (tavfuzz::Tracing())
        std::fprintf(stderr, "op %d path \"%s\" (%zu bytes)\n", op, raw.c_str(), raw.size());
    switch (op) {
        case 0: (void)CheckedGet(&f.top, &path, raw); break;
        case 1: StoreValue(in, f, &path, raw, false); break;
        case 2: StoreValue(in, f, &path, raw, true); break;
        case 3: (void)TavPropertiesRemovePropertyAtPath(&f.top, &path); break;
        case 4: StoreTyped(in, f, raw); break;
        case 5: ListNames(f, &path, raw); break;
        case 6: ToggleListener(in, f, &path); break;
        default:
            if (!HasNul(raw)) (void)TavPropertiesRemovePropertyAtPathCStr(&f.top, raw.c_str());
    }
    TavStringDestruct(&path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const uint8_t mode = in.ConsumeIntegral<uint8_t>();
    Fixture f(mode < 224 ? 0 : 2 + mode % 17);
    if (!MakeListenedBag(&f.top, f)) {
        Require(f.alloc.refused() > 0, "a bag is made with memory to spare");
        return 0;
    }
    const bool built = BuildTree(f);
    Require(built || f.alloc.refused() > 0, "the fixed tree builds with memory to spare");
    for (int ops = 0; built && ops < 64 && in.remaining_bytes() > 0; ++ops) RunOne(in, f);
    tavfuzz::WriteAll(&f.top, f.alloc.get(), f.alloc.refused() == 0);
    TavPropertiesDestruct(&f.top);
    return 0;
}
