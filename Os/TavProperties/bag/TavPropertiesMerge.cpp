// Merging one bag into another. Every entry goes through the target's
// ordinary set, so the target's settable rules and listeners apply; nested
// bags are merged recursively into a working copy of the target's nested bag,
// which is then set as a whole.
#include "Os/TavProperties.h"
#include "Os/TavProperties/bag/TavPropertiesInternal.h"
#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/values/TavPropertyValueTree.hpp"

namespace {

// The deepest source bag merged lies this many levels below the top one.
constexpr TavSizeT kMaxMergeDepth = 63;

TavProperties* TavPropertiesMerge_(TavProperties* x, const TavProperties* y, TavSizeT elemNum);

using tav::AnyEntry;

// The bag that receives the merge of a nested source bag: a copy of the
// target's nested bag when it has a settable one (so its entries and
// listeners carry over), else a new empty bag with x's allocator.
TavProperties* MakeWorkingBag(TavProperties* merged, TavProperties* x,
                              const TavPropertyValue* target) {
    const TavProperties* existing =
        target != nullptr ? TavPropertyValueGetProperties(target) : nullptr;
    return existing != nullptr
               ? TavPropertiesConstructCopy(merged, existing)
               : TavPropertiesConstructDefault(merged, TavPropertiesGetAllocator(x));
}

// Builds into s a settable nested-bag value holding the merge of source into
// the working bag for target. NULL on failure, with nothing left to destroy.
TavPropertyValue* MergeNested(TavPropertyValue* s, TavProperties* x, const TavPropertyValue* target,
                              const TavProperties* source, TavSizeT elemNum) {
    TavProperties merged;
    if (MakeWorkingBag(&merged, x, target) == nullptr) return nullptr;
    bool ok;
    {
        tav::LockGuard lock(&merged);
        ok = TavPropertiesMerge_(&merged, source, elemNum + 1) != nullptr;
    }
    TavPropertyValue* built =
        ok ? TavPropertyValueConstructProperties(s, &merged, TAV_TRUE) : nullptr;
    TavPropertiesDestruct(&merged);
    return built;
}

// Merges one source entry into x. A refused set is no failure; a target entry
// that is not settable is left alone when the source holds a nested bag.
bool MergeEntry(TavProperties* x, const TavPair_TavString__TavPropertyValue* entry,
                TavSizeT elemNum) {
    const TavProperties* source = TavPropertyValueGetProperties(&entry->second);
    TavPropertyValue s;
    if (source == nullptr) {
        if (TavPropertyValueConstructCopy(&s, &entry->second) == nullptr) return false;
    } else {
        const TavPropertyValue* target = TavPropertiesGetProperty_(x, &entry->first);
        if (target != nullptr && !target->settable) return true;
        if (MergeNested(&s, x, target, source, elemNum) == nullptr) return false;
    }
    TavPropertiesSetProperty_(x, &entry->first, &s);
    TavPropertyValueDestruct(&s);
    return true;
}

// x's lock is held by the caller; y is read without its lock.
TavProperties* TavPropertiesMerge_(TavProperties* x, const TavProperties* y, TavSizeT elemNum) {
    if (elemNum > kMaxMergeDepth) return nullptr;
    const bool failed = AnyEntry(y, [x, elemNum](const TavPair_TavString__TavPropertyValue* entry) {
        return !MergeEntry(x, entry, elemNum);
    });
    return failed ? nullptr : x;
}

// Whether merging y changes y while it is read: y is x itself, or lies below
// one of the entries of x that the merge replaces (those that y names). The
// search stays within what the merge itself copies or releases.
bool SourceInsideTarget(const TavProperties* x, const TavProperties* y) {
    if (x == y) return true;
    return AnyEntry(y, [x, y](const TavPair_TavString__TavPropertyValue* entry) {
        const TavPropertyValue* t = TavPropertiesGetPropertyConst_(x, &entry->first);
        return t != nullptr && tav::tree::IsComposite(t) && tav::tree::BagBelow(t, y);
    });
}

// A source inside the target is merged from a private copy, as if the caller
// had passed an independent one; no listener hears of that copy.
TavProperties* MergeFromCopy(TavProperties* x, const TavProperties* y) {
    TavProperties copy;
    if (TavPropertiesConstructCopy(&copy, y) == nullptr) return nullptr;
    TavProperties* result = TavPropertiesMerge_(x, &copy, 0);
    tav::tree::DestroyBag(&copy, true);
    return result;
}

}  // namespace

extern "C" TavProperties* TavPropertiesMerge(TavProperties* x, const TavProperties* y) {
    tav::LockGuard lock(x);
    return SourceInsideTarget(x, y) ? MergeFromCopy(x, y) : TavPropertiesMerge_(x, y, 0);
}
