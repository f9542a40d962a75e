// Path addressing: reading a path into components, the read-only walk, and
// the one walk shared by Add, Set and Remove, which creates missing nested
// bags and decides by what it finds at each component.
#include <cstdlib>

#include "Os/TavProperties.h"
#include "Os/TavProperties/bag/TavPropertiesInternal.h"
#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/values/TavPropertyValueInternal.h"

namespace {

// An index that reads as all ones is the same as no index at all.
constexpr TavSizeT kNoIndex = ~TavSizeT{0};

// The text of the component being read. A component is never longer than the
// path it comes from, so short paths (the usual case) are read into a buffer
// on the stack and a walk makes no allocation of its own; a longer path gets
// one block of its own length from the walk's allocator, reused for every
// component. The name is handed on as a string that does not own its text
// (capacity 0), so lookups, listeners and name copies see an ordinary string.
class PathComponent {
public:
    explicit PathComponent(TavAllocator* a) : alloc_(a) {}
    ~PathComponent() {
        if (heap_ != nullptr) TavAllocatorDeallocate(alloc_, heap_, heapSize_);
    }
    PathComponent(const PathComponent&) = delete;
    PathComponent& operator=(const PathComponent&) = delete;

    // Makes room for any component of path; false when that can't be had.
    bool Reserve(const TavString* path) {
        const TavSizeT need = path->size + 1;
        if (need <= sizeof(inline_)) return true;
        heap_ = static_cast<char*>(TavAllocatorAllocate(alloc_, need));
        heapSize_ = need;
        buf_ = heap_;
        return heap_ != nullptr;
    }
    void Clear() {
        size_ = 0;
        tail_ = nullptr;
    }
    void Append(char c) { buf_[size_++] = c; }
    void Append(const char* first, TavSizeT n) {
        char* out = buf_ + size_;
        for (TavSizeT i = 0; i < n; ++i) out[i] = first[i];  // mostly a few characters
        size_ += n;
    }
    // The component is the end of the path, as written: it is used where it
    // stands (it ends where the path's text does), not copied.
    void SetTail(const char* first, TavSizeT n) {
        tail_ = first;
        size_ = n;
    }
    bool Empty() const { return size_ == 0; }
    // The component as a string, valid until the next component is read.
    // A copy of it (the name of a new entry) is made with owner, the
    // allocator of the bag that will hold it.
    const TavString* Name(TavAllocator* owner) {
        if (tail_ == nullptr) buf_[size_] = '\0';
        name_ = TavString{owner, tail_ != nullptr ? const_cast<char*>(tail_) : buf_, size_, 0};
        return &name_;
    }

private:
    TavAllocator* alloc_;
    char inline_[128];
    char* heap_ = nullptr;
    TavSizeT heapSize_ = 0;
    char* buf_ = inline_;
    const char* tail_ = nullptr;
    TavSizeT size_ = 0;
    TavString name_{};
};

// Reads the index group that starts after the '[' at open, the way strtoul
// reads a number (white space, sign and overflow included), then skips
// blanks; the character reached is consumed whether it closes the group or
// not. Returns the position after it: one past the end when the path ends
// inside the group.
TavSizeT ReadIndexGroup(const TavString* path, TavSizeT open, TavSizeT* index) {
    const char* text = TavStringCStr(path);
    const TavSizeT length = TavStringSize(path);
    char* stop = nullptr;
    const unsigned long number = std::strtoul(text + open + 1, &stop, 10);
    TavSizeT pos = static_cast<TavSizeT>(stop - text);
    while (pos < length && (text[pos] == ' ' || text[pos] == '\t')) ++pos;
    if (pos < length && text[pos] == ']') *index = number;
    return pos + 1;
}

// Where the plain run of text from pos ends: at the first '.', '[' or '\\',
// else at length.
TavSizeT PlainRunEnd(const char* text, TavSizeT pos, TavSizeT length) {
    while (pos < length && text[pos] != '.' && text[pos] != '[' && text[pos] != '\\') ++pos;
    return pos;
}

// A path of one component with no index or escape, which is looked up as it
// stands.
bool IsPlainName(const TavString* path) {
    return path->size != 0 && PlainRunEnd(path->buf, 0, path->size) == path->size;
}

// Reads the component that starts at pos into component and index (kNoIndex
// when it has none; the last index of a component wins) and returns the
// position after it, past its dot when one ends it.
TavSizeT GetPathComponent(const TavString* path, TavSizeT pos, PathComponent* component,
                          TavSizeT* index) {
    component->Clear();
    *index = kNoIndex;
    const char* text = path->buf;
    const TavSizeT length = path->size;
    // Most components are plain names: the last one is used where it stands,
    // one followed by a dot is copied at once.
    const TavSizeT run = PlainRunEnd(text, pos, length);
    if (run == length) {
        component->SetTail(text + pos, run - pos);
        return run;
    }
    component->Append(text + pos, run - pos);
    for (pos = run; pos < length;) {
        const char c = text[pos];
        if (c == '.') return pos + 1;
        if (c == '[') {
            pos = ReadIndexGroup(path, pos, index);
            continue;
        }
        component->Append(c);
        ++pos;
        // A backslash keeps itself and the next character, whatever it is.
        if (c == '\\' && pos < length) component->Append(text[pos++]);
    }
    return pos;
}

// What an index selects in a found value: the element of a vector (NULL when
// out of range); any other value ignores the index.
const TavPropertyValue* SelectIndexed(const TavPropertyValue* found, TavSizeT index) {
    if (found == nullptr || index == kNoIndex) return found;
    const TavVector_TavPropertyValue* vec = TavPropertyValueGetVector(found);
    if (vec == nullptr) return found;
    return index < TavVector_TavPropertyValueSize(vec)
               ? TavVector_TavPropertyValueAtConst(vec, index)
               : nullptr;
}

TavPropertyValue* SelectIndexed(TavPropertyValue* found, TavSizeT index) {
    return const_cast<TavPropertyValue*>(
        SelectIndexed(static_cast<const TavPropertyValue*>(found), index));
}

bool IsIndexedVector(const TavPropertyValue* found, TavSizeT index) {
    return index != kNoIndex && TavPropertyValueGetVector(found) != nullptr;
}

// ---- the read-only walk ---------------------------------------------------

// Takes no lock of any bag on the way; the caller holds the top bag's.
const TavPropertyValue* TavPropertiesGetPropertyAtPathConst_(const TavProperties* bag,
                                                             const TavString* path) {
    if (IsPlainName(path)) return TavPropertiesGetPropertyConst_(bag, path);
    PathComponent component(TavPropertiesGetAllocator(bag));
    if (!component.Reserve(path)) return nullptr;
    TavSizeT index = kNoIndex;
    TavSizeT pos = GetPathComponent(path, 0, &component, &index);
    const TavPropertyValue* result = nullptr;
    while (bag != nullptr && !component.Empty()) {
        const TavString* name = component.Name(TavPropertiesGetAllocator(bag));
        result = SelectIndexed(TavPropertiesGetPropertyConst_(bag, name), index);
        bag = result != nullptr ? TavPropertyValueGetProperties(result) : nullptr;
        pos = GetPathComponent(path, pos, &component, &index);
    }
    // A name left over with no bag to look it up in: nothing is there.
    return component.Empty() ? result : nullptr;
}

// ---- the changing walk ----------------------------------------------------

enum class Change { Add, Set, Remove };

struct ChangeWalk {
    TavProperties* top;
    const TavString* path;
    const TavPropertyValue* v;  // NULL for Remove
    TavPropertyValue* taken;    // v when the caller gives it up to a new entry, else NULL
    Change change;
    TavBool addMissingNodes;
    TavProperties* bag;      // the current bag, NULL once there is none
    TavBool parentSettable;  // flag of the value holding the current bag
    TavSizeT depth;          // components descended through to reach bag
};

// Whether the walk's current bag is still the one that reading the path from
// the top again leads to: a listener may have removed it, or a bag above it,
// from its parent. Only asked after listeners ran.
bool CurrentBagReachable(const void* context) {
    const auto* walk = static_cast<const ChangeWalk*>(context);
    PathComponent component(TavPropertiesGetAllocator(walk->top));
    if (!component.Reserve(walk->path)) return false;
    const TavProperties* bag = walk->top;
    TavSizeT pos = 0;
    TavSizeT index = kNoIndex;
    for (TavSizeT level = 0; level < walk->depth && bag != nullptr; ++level) {
        pos = GetPathComponent(walk->path, pos, &component, &index);
        const TavString* name = component.Name(TavPropertiesGetAllocator(bag));
        const TavPropertyValue* found = SelectIndexed(TavPropertiesGetPropertyConst_(bag, name), index);
        bag = found != nullptr ? TavPropertyValueGetProperties(found) : nullptr;
    }
    return bag == walk->bag;
}

tav::BagProbe ProbeOf(const ChangeWalk& walk) {
    return walk.depth == 0 ? tav::BagProbe{} : tav::BagProbe{&CurrentBagReachable, &walk};
}

// ---- changes to a vector entry --------------------------------------------

TavVector_TavPropertyValue* VectorOf(TavPropertyValue* entry) {
    return entry != nullptr ? TavPropertyValueGetVector_(entry) : nullptr;
}

// The position of element index (index at most the size). A vector that
// never grew has no buffer: its only position is the null one.
TavPropertyValue* PositionAt(TavVector_TavPropertyValue* vec, TavSizeT index) {
    TavPropertyValue* begin = TavVector_TavPropertyValueBegin(vec);
    return begin != nullptr ? begin + index : begin;
}

// The vector entry that an element change works on, as Before listeners
// must leave it: the same entry, still a vector long enough for the index.
struct VectorTarget {
    tav::BagProbe probe;
    TavProperties* bag;
    const TavString* name;
    TavSizeT index;
    const TavPropertyValue* entry;
    TavSizeT extra;  // 1 when an element is removed (index must be below the size)
};

bool VectorTargetHolds(const void* context) {
    const auto* t = static_cast<const VectorTarget*>(context);
    if (!t->probe.Holds()) return false;
    TavPropertyValue* entry = TavPropertiesGetProperty_(t->bag, t->name);
    const TavVector_TavPropertyValue* vec = VectorOf(entry);
    return entry == t->entry && vec != nullptr &&
           t->index + t->extra <= TavVector_TavPropertyValueSize(vec);
}

// Before for an element change; false when a listener took the vector away.
bool AnnounceElementChange(const VectorTarget& target, const TavPropertyValue* oldValue,
                           const TavPropertyValue* newValue) {
    const tav::EntryGuard guard{&VectorTargetHolds, &target};
    return !tav::NotifyListeners(target.bag, TAV_PROPERTYLISTENER_TRIGGER_Before, target.name,
                                 oldValue, newValue, guard) ||
           guard.Holds();
}

TavBool TavPropertiesInsertPropertyAtIndex_(TavProperties* x, const TavString* name, TavSizeT index,
                                            const TavPropertyValue* v, const tav::BagProbe& probe) {
    TavPropertyValue* entry = TavPropertiesGetProperty_(x, name);
    TavVector_TavPropertyValue* vec = VectorOf(entry);
    if (vec == nullptr || index > TavVector_TavPropertyValueSize(vec)) return TAV_FALSE;
    if (!AnnounceElementChange(VectorTarget{probe, x, name, index, entry, 0}, nullptr, v)) {
        return TAV_FALSE;
    }
    if (TavVector_TavPropertyValueInsert(vec, PositionAt(vec, index), v) == nullptr) {
        return TAV_FALSE;
    }
    TavPropertiesExecuteListeners(x, TAV_PROPERTYLISTENER_TRIGGER_After, name, nullptr, v);
    return TAV_TRUE;
}

TavBool TavPropertiesRemovePropertyAtIndex_(TavProperties* x, const TavString* name,
                                            TavSizeT index, const tav::BagProbe& probe) {
    TavPropertyValue* entry = TavPropertiesGetProperty_(x, name);
    TavVector_TavPropertyValue* vec = VectorOf(entry);
    if (vec == nullptr || index >= TavVector_TavPropertyValueSize(vec)) return TAV_FALSE;
    if (!AnnounceElementChange(VectorTarget{probe, x, name, index, entry, 1}, entry, nullptr)) {
        return TAV_FALSE;
    }
    if (TavVector_TavPropertyValueErase(vec, PositionAt(vec, index)) == nullptr) return TAV_FALSE;
    TavPropertiesExecuteListeners(x, TAV_PROPERTYLISTENER_TRIGGER_After, name, entry, nullptr);
    return TAV_TRUE;
}

// The outcome of one component: either the walk ends with a result, or it
// goes on with a value (descending when that is a nested bag).
struct Step {
    bool finished;
    TavBool result;
    TavPropertyValue* next;
};

constexpr Step Finish(TavBool result) { return Step{true, result, nullptr}; }
constexpr Step Fail() { return Finish(TAV_FALSE); }
constexpr Step GoOn(TavPropertyValue* next) { return Step{false, TAV_FALSE, next}; }

// Adds an empty settable nested bag under name to the current bag, through
// the ordinary path Add so its listeners hear of it, and returns the stored
// copy (NULL when it could not be made or stored).
TavPropertyValue* CreateNestedBag(const ChangeWalk& walk, const TavString* name) {
    TavPropertyValue holder{};
    holder.type = TAV_PROPERTYVALUE_TYPE_Properties;
    holder.settable = TAV_TRUE;
    holder.u.p = tav::value::NewEmptyBag(TavPropertiesGetAllocator(walk.top));
    if (holder.u.p == nullptr) return nullptr;
    const bool told = !TavVector_TavPropertyListenerEmpty(&walk.bag->listeners);
    tav::AddTakingAtPath(walk.bag, name, &holder);  // built for this entry alone
    TavPropertyValueDestruct(&holder);
    // Its listeners heard of the insertion and may have removed the bag.
    if (told && !ProbeOf(walk).Holds()) return nullptr;
    return TavPropertiesGetProperty(walk.bag, name);
}

// A component that is followed by another one.
Step StepThrough(const ChangeWalk& walk, const TavString* name, TavSizeT index,
                 TavPropertyValue* found) {
    if (found != nullptr) return GoOn(SelectIndexed(found, index));
    const bool mayCreate = walk.change != Change::Remove && index == kNoIndex &&
                           walk.parentSettable && walk.addMissingNodes;
    return mayCreate ? GoOn(CreateNestedBag(walk, name)) : Fail();
}

// A missing entry: inserted when the component has no index, with what the
// lookup that missed it found.
Step InsertMissing(const ChangeWalk& walk, const TavString* name, TavSizeT index,
                   const tav::Miss* miss) {
    if (index != kNoIndex) return Fail();
    return Finish(
        TavPropertiesInsertProperty_(walk.bag, name, walk.v, ProbeOf(walk), walk.taken, miss));
}

Step StepLastAdd(const ChangeWalk& walk, const TavString* name, TavSizeT index,
                 const TavPropertyValue* found, const tav::Miss* miss) {
    if (found == nullptr) return InsertMissing(walk, name, index, miss);
    if (!IsIndexedVector(found, index) || !found->settable) return Fail();
    return Finish(TavPropertiesInsertPropertyAtIndex_(walk.bag, name, index, walk.v, ProbeOf(walk)));
}

// The value or element that a Set assigns into, as Before listeners must
// leave it.
struct SetTarget {
    const ChangeWalk* walk;
    const TavString* name;
    TavSizeT index;
    const TavPropertyValue* target;
};

bool SetTargetHolds(const void* context) {
    const auto* t = static_cast<const SetTarget*>(context);
    if (!ProbeOf(*t->walk).Holds()) return false;
    return SelectIndexed(TavPropertiesGetPropertyConst_(t->walk->bag, t->name), t->index) ==
           t->target;
}

Step StepLastSet(const ChangeWalk& walk, const TavString* name, TavSizeT index,
                 TavPropertyValue* found, const tav::Miss* miss) {
    if (found == nullptr) return InsertMissing(walk, name, index, miss);
    TavPropertyValue* target = SelectIndexed(found, index);
    if (target == nullptr || !target->settable) return Fail();
    const SetTarget set{&walk, name, index, target};
    return Finish(TavPropertiesAssignProperty_(walk.bag, name, target, walk.v,
                                               tav::EntryGuard{&SetTargetHolds, &set}));
}

// The entry's own flag doesn't matter: removing it changes the bag that
// holds it, so that bag's holder must be settable.
Step StepLastRemove(const ChangeWalk& walk, const TavString* name, TavSizeT index,
                    const TavPropertyValue* found) {
    if (found == nullptr) return Fail();
    if (IsIndexedVector(found, index)) {
        return found->settable
                   ? Finish(TavPropertiesRemovePropertyAtIndex_(walk.bag, name, index, ProbeOf(walk)))
                   : Fail();
    }
    return walk.parentSettable ? Finish(TavPropertiesRemoveProperty_(walk.bag, name, ProbeOf(walk)))
                               : Fail();
}

Step StepLast(const ChangeWalk& walk, const TavString* name, TavSizeT index,
              TavPropertyValue* found, const tav::Miss* miss) {
    switch (walk.change) {
        case Change::Add: return StepLastAdd(walk, name, index, found, miss);
        case Change::Set: return StepLastSet(walk, name, index, found, miss);
        case Change::Remove: return StepLastRemove(walk, name, index, found);
    }
    return Fail();
}

void Descend(ChangeWalk* walk, TavPropertyValue* next) {
    walk->bag = next != nullptr ? TavPropertyValueGetProperties_(next) : nullptr;
    if (walk->bag != nullptr) walk->parentSettable = next->settable;
    ++walk->depth;
}

// The top bag is locked already; a nested one is locked for its lookup.
TavPropertyValue* FindInWalk(const ChangeWalk& walk, const TavString* name, tav::Miss* miss) {
    if (walk.depth == 0) return TavPropertiesFindProperty_(walk.bag, name, miss);
    tav::LockGuard lock(walk.bag);
    return TavPropertiesFindProperty_(walk.bag, name, miss);
}

// Each lookup takes the current bag's own lock (briefly); the change at the
// end is made under the top bag's lock, which the caller holds.
TavBool RunChangeWalk(ChangeWalk walk) {
    const TavString* path = walk.path;
    PathComponent component(TavPropertiesGetAllocator(walk.top));
    if (!component.Reserve(path)) return TAV_FALSE;
    const TavSizeT length = TavStringSize(path);
    TavSizeT index = kNoIndex;
    TavSizeT pos = GetPathComponent(path, 0, &component, &index);
    while (walk.bag != nullptr && !component.Empty()) {
        const TavString* name = component.Name(TavPropertiesGetAllocator(walk.bag));
        // A miss tells where a new entry goes and whether the bag has
        // listeners: no callback of this thread runs before the insertion.
        tav::Miss miss;
        TavPropertyValue* found = FindInWalk(walk, name, &miss);
        const Step step = pos == length ? StepLast(walk, name, index, found, &miss)
                                        : StepThrough(walk, name, index, found);
        if (step.finished) return step.result;
        Descend(&walk, step.next);
        pos = GetPathComponent(path, pos, &component, &index);
    }
    return TAV_FALSE;
}

TavBool ChangeAtPath(TavProperties* x, const TavString* path, const TavPropertyValue* v,
                     Change change, TavPropertyValue* taken = nullptr) {
    tav::LockGuard lock(x);
    return RunChangeWalk(ChangeWalk{x, path, v, taken, change, TAV_TRUE, x, TAV_TRUE, 0});
}

TavBool ChangeAtPathCStr(TavProperties* x, const char* path, const TavPropertyValue* v,
                         Change change, TavPropertyValue* taken = nullptr) {
    tav::ScopedString temp(path, TavPropertiesGetAllocator(x));
    return temp.ok() ? ChangeAtPath(x, temp.get(), v, change, taken) : TAV_FALSE;
}

}  // namespace

extern "C" {

const TavPropertyValue* TavPropertiesGetPropertyAtPathConst(const TavProperties* x,
                                                            const TavString* path) {
    tav::LockGuard lock(x);
    return TavPropertiesGetPropertyAtPathConst_(x, path);
}

TavPropertyValue* TavPropertiesGetPropertyAtPath(TavProperties* x, const TavString* path) {
    return const_cast<TavPropertyValue*>(TavPropertiesGetPropertyAtPathConst(x, path));
}

const TavPropertyValue* TavPropertiesGetPropertyAtPathCStrConst(const TavProperties* x,
                                                                const char* path) {
    tav::ScopedString temp(path, TavPropertiesGetAllocator(x));
    return temp.ok() ? TavPropertiesGetPropertyAtPathConst(x, temp.get()) : nullptr;
}

TavPropertyValue* TavPropertiesGetPropertyAtPathCStr(TavProperties* x, const char* path) {
    return const_cast<TavPropertyValue*>(TavPropertiesGetPropertyAtPathCStrConst(x, path));
}

}  // extern "C"

TavBool tav::AddTakingAtPath(TavProperties* x, const TavString* path, TavPropertyValue* v) {
    return ChangeAtPath(x, path, v, Change::Add, v);
}

TavBool tav::AddTakingAtPath(TavProperties* x, const char* path, TavPropertyValue* v) {
    return ChangeAtPathCStr(x, path, v, Change::Add, v);
}

TavBool tav::SetTakingAtPath(TavProperties* x, const TavString* path, TavPropertyValue* v) {
    return ChangeAtPath(x, path, v, Change::Set, v);
}

TavBool tav::SetTakingAtPath(TavProperties* x, const char* path, TavPropertyValue* v) {
    return ChangeAtPathCStr(x, path, v, Change::Set, v);
}

extern "C" {

TavBool TavPropertiesAddPropertyAtPath(TavProperties* x, const TavString* path,
                                       const TavPropertyValue* v) {
    return ChangeAtPath(x, path, v, Change::Add);
}

TavBool TavPropertiesAddPropertyAtPathCStr(TavProperties* x, const char* path,
                                           const TavPropertyValue* v) {
    return ChangeAtPathCStr(x, path, v, Change::Add);
}

TavBool TavPropertiesSetPropertyAtPath(TavProperties* x, const TavString* path,
                                       const TavPropertyValue* v) {
    return ChangeAtPath(x, path, v, Change::Set);
}

TavBool TavPropertiesSetPropertyAtPathCStr(TavProperties* x, const char* path,
                                           const TavPropertyValue* v) {
    return ChangeAtPathCStr(x, path, v, Change::Set);
}

TavBool TavPropertiesRemovePropertyAtPath(TavProperties* x, const TavString* path) {
    return ChangeAtPath(x, path, nullptr, Change::Remove);
}

TavBool TavPropertiesRemovePropertyAtPathCStr(TavProperties* x, const char* path) {
    return ChangeAtPathCStr(x, path, nullptr, Change::Remove);
}

}  // extern "C"
