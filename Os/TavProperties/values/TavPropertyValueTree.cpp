// Whole-tree operations on nested bags and vectors without recursion.
//
// Destruction can't fail, so it can't ask for memory to go deep either: it
// keeps its way back up inside the records it is taking apart (see Frame).
// Copy, equality and search may fail or answer conservatively, so they keep
// an explicit stack (WalkStack) that grows from the tree's own allocator.
#include "Os/TavProperties/values/TavPropertyValueTree.hpp"

#include <cstddef>
#include <cstring>

// Upward, on purpose: destroying a nested bag tells its listeners of each
// removal (the bag's dispatch) and takes entries out of its map node by node.
#include "Os/TavProperties/bag/TavPropertiesInternal.h"
#include "Os/TavProperties/containers/TavMapInternal.hpp"
#include "Os/TavProperties/detail/TavWalkStack.hpp"
#include "Os/TavProperties/values/TavPropertyValueInternal.h"
#include "Os/TavProperties/values/TavPropertyValuePayload.hpp"

namespace tav::tree {
namespace {

using Node = TavMap_TavString__TavPropertyValue_Node;
using Position = TavMap_TavString__TavPropertyValueConstIterator;
constexpr TavPropertyValueType kBag = TAV_PROPERTYVALUE_TYPE_Properties;

TavAllocator* PayloadAllocator(const TavPropertyValue* v) {
    return v->type == kBag ? TavPropertiesGetAllocator(v->u.p) : v->u.vec.allocator;
}

// A stand-in value holding bag x, so that a bag and a nested-bag value are
// walked by the same code. It owns nothing.
TavPropertyValue Holding(const TavProperties* x) {
    TavPropertyValue holder{};
    holder.type = kBag;
    holder.u.p = const_cast<TavProperties*>(x);
    return holder;
}

// ---- deep copy: queue -----------------------------------------------------
// The first copy of a nested bag or vector on a thread drains a queue of
// jobs; every composite met while filling one is built as an empty shell and
// queued instead of being copied at once.

struct CopyJob {
    TavPropertyValue* dst;
    const TavPropertyValue* src;
};
using CopyQueue = WalkStack<CopyJob, 16>;
thread_local CopyQueue* tQueue = nullptr;

// ---- destruction ------------------------------------------------------------
// A composite value being taken apart keeps its frame in its record's unused
// tail (a nested bag or a vector never uses ptrName, callbacks or size).
// Every record on the way down belongs to the teardown alone: the root, the
// value of an entry already taken out of its map, or the last element of a
// vector being emptied, so no callback can reach and reuse it.

struct Frame {
    TavPropertyValue* parent;  // one level up; null at the root
    TavSizeT budget;           // Before events this bag may still send
    bool silent;               // no listener is told, here or below
    bool ownsRecord;           // the bag record goes back to its allocator
    bool untold;               // the entry holding this value gets no After
};
constexpr std::size_t kFrameOffset = offsetof(TavPropertyValue, ptrName);
static_assert(sizeof(TavPropertyValue) - kFrameOffset >= sizeof(Frame), "frame fits the tail");

Frame LoadFrame(const TavPropertyValue* v) {
    Frame f;
    std::memcpy(&f, reinterpret_cast<const char*>(v) + kFrameOffset, sizeof f);
    return f;
}

void StoreFrame(TavPropertyValue* v, const Frame& f) {
    std::memcpy(reinterpret_cast<char*>(v) + kFrameOffset, &f, sizeof f);
}

// A bag tells at most as many removals as it held when its destruction
// began. Listeners that add entries meanwhile (an After listener re-adding
// each removed entry would otherwise never let it end) see those removed
// silently, with everything below them.
Frame ChildFrame(TavPropertyValue* parent, const TavPropertyValue* child, bool silent,
                 bool untold = false) {
    const TavSizeT budget = child->type == kBag ? child->u.p->map.size : 0;
    return Frame{parent, budget, silent, true, untold};
}

struct Front {
    TavProperties* bag;
    const Node* node;
};

bool StillInFront(const void* context) {
    const auto* front = static_cast<const Front*>(context);
    return TavMap_TavString__TavPropertyValueBegin(&front->bag->map) == front->node;
}

enum class Announced { Told, FrontChanged, Untold };

// Before for the smallest entry. Listeners are told a copy of its name: one
// that removes the entry (which it must not) may pass the name on to the
// removal, and the name must outlive that. When the copy can't be made the
// entry goes untold (no Before, no After), as an event whose listener list
// can't be copied does. FrontChanged when a listener changed what stands in
// front (it removed the entry or added a smaller one), which is then looked
// at anew.
Announced AnnounceFront(TavProperties* bag, Node* first) {
    if (TavVector_TavPropertyListenerEmpty(&bag->listeners)) return Announced::Told;
    TavString copy;
    if (TavStringConstructCopy(&copy, &first->value.first) == nullptr) return Announced::Untold;
    const Front front{bag, first};
    const bool called = NotifyListeners(bag, TAV_PROPERTYLISTENER_TRIGGER_Before, &copy,
                                        &first->value.second, nullptr,
                                        EntryGuard{&StillInFront, &front});
    TavStringDestruct(&copy);
    return called && !StillInFront(&front) ? Announced::FrontChanged : Announced::Told;
}

// After for an entry whose value is gone, then its name and node go. The
// entry is out of its map by now, so its own key is safe to tell.
void CloseEntry(TavProperties* bag, Node* node, bool untold) {
    if (!untold) {
        TavPropertiesExecuteListeners(bag, TAV_PROPERTYLISTENER_TRIGGER_After, &node->value.first,
                                      nullptr, nullptr);
    }
    TavStringDestruct(&node->value.first);
    map::ReleaseStorage(&bag->map, node);
}

// One entry of the bag held by cur: returns the entry's composite value to
// descend into, cur to go on with it, or null when it is empty.
TavPropertyValue* StepBag(TavPropertyValue* cur) {
    TavProperties* bag = cur->u.p;
    if (bag->map.size == 0) return nullptr;
    Node* first = TavMap_TavString__TavPropertyValueBegin(&bag->map);
    Frame f = LoadFrame(cur);
    f.silent = f.silent || f.budget == 0;
    if (!f.silent) --f.budget;
    StoreFrame(cur, f);
    const Announced announced = f.silent ? Announced::Untold : AnnounceFront(bag, first);
    if (announced == Announced::FrontChanged) return cur;
    const bool untold = announced == Announced::Untold;
    map::Detach(&bag->map, first);
    TavPropertyValue* value = &first->value.second;
    if (IsComposite(value)) {
        StoreFrame(value, ChildFrame(cur, value, f.silent, untold));
        return value;
    }
    value::DestructLeafPayload(value);
    CloseEntry(bag, first, untold);
    return cur;
}

// The last element of the vector held by cur, as StepBag.
TavPropertyValue* StepVector(TavPropertyValue* cur) {
    TavVector_TavPropertyValue* vec = &cur->u.vec;
    if (vec->begin == vec->end) return nullptr;
    TavPropertyValue* last = vec->end - 1;
    if (IsComposite(last)) {
        StoreFrame(last, ChildFrame(cur, last, LoadFrame(cur).silent));
        return last;
    }
    value::DestructLeafPayload(last);
    vec->end = last;
    return cur;
}

void ReleaseEmptyBag(TavProperties* bag, bool ownsRecord) {
    TavAllocator* a = TavPropertiesGetAllocator(bag);  // the bag holds it: read it first
    TavMap_TavString__TavPropertyValueDestruct(&bag->map);
    TavVector_TavPropertyListenerDestruct(&bag->listeners);
    TavMutexDestruct(&bag->mutex);
    if (ownsRecord) TavAllocatorDeallocate(a, bag, sizeof(TavProperties));
}

// cur is empty: release it, finish the entry or element it was, and go on
// with its parent.
TavPropertyValue* Finish(TavPropertyValue* cur) {
    const Frame f = LoadFrame(cur);
    if (cur->type == kBag) {
        ReleaseEmptyBag(cur->u.p, f.ownsRecord);
    } else {
        TavVector_TavPropertyValueDestruct(&cur->u.vec);
    }
    TavPropertyValue* parent = f.parent;
    if (parent == nullptr) return nullptr;
    if (parent->type == kBag) {
        CloseEntry(parent->u.p, map::NodeOfValue(cur), f.untold);
    } else {
        parent->u.vec.end = cur;
    }
    return parent;
}

void TakeApart(TavPropertyValue* root, const Frame& rootFrame) {
    const CopySuspension wholeCopies;  // listeners and wrappers may copy
    StoreFrame(root, rootFrame);
    for (TavPropertyValue* cur = root; cur != nullptr;) {
        TavPropertyValue* next = cur->type == kBag ? StepBag(cur) : StepVector(cur);
        cur = next != nullptr ? next : Finish(cur);
    }
}

// ---- deep copy: shells and jobs ----------------------------------------------

// x becomes an empty bag or vector of y's kind with y's allocator.
bool BuildShell(TavPropertyValue* x, const TavPropertyValue* y) {
    x->type = y->type;
    if (y->type != kBag) {
        TavVector_TavPropertyValueConstructDefault(&x->u.vec, y->u.vec.allocator);
        return true;
    }
    x->u.p = tav::value::NewEmptyBag(TavPropertiesGetAllocator(y->u.p));
    return x->u.p != nullptr;
}

// Copies y's entries (or elements) into x's shell, one level: the nested
// bags and vectors met are queued. On failure the shell stays empty.
bool FillShell(TavPropertyValue* x, const TavPropertyValue* y) {
    if (y->type != kBag) {
        if (TavVector_TavPropertyValueConstructCopy(&x->u.vec, &y->u.vec) != nullptr) return true;
        TavVector_TavPropertyValueConstructDefault(&x->u.vec, y->u.vec.allocator);
        return false;
    }
    TavProperties* bag = x->u.p;
    const TavProperties* source = y->u.p;
    if (TavMap_TavString__TavPropertyValueConstructCopy(&bag->map, &source->map) == nullptr) {
        return false;
    }
    if (TavVector_TavPropertyListenerConstructCopy(&bag->listeners, &source->listeners) != nullptr) {
        return true;
    }
    TavVector_TavPropertyListenerConstructDefault(&bag->listeners, TavPropertiesGetAllocator(source));
    return false;
}

bool DrainCopies(TavPropertyValue* x, const TavPropertyValue* y) {
    CopyQueue queue(PayloadAllocator(y));
    bool ok = queue.Push(CopyJob{x, y});
    tQueue = &queue;
    while (ok && !queue.Empty()) {
        const CopyJob job = queue.Top();
        queue.Pop();
        ok = FillShell(job.dst, job.src);
    }
    tQueue = nullptr;
    if (!ok) DestroyComposite(x);
    return ok;
}

// ---- element-wise vector assignment -------------------------------------------

using Vec = TavVector_TavPropertyValue;

struct AssignFrame {
    Vec* x;
    const Vec* y;
    TavSizeT next;  // the element assigned next
    TavSizeT xs;    // sizes when this level began
    TavSizeT ys;
};

bool NestedVectors(const TavPropertyValue* a, const TavPropertyValue* b) {
    return a->settable && a->type == TAV_PROPERTYVALUE_TYPE_Vector &&
           b->type == TAV_PROPERTYVALUE_TYPE_Vector;
}

// After the common elements: the surplus of x goes from the back, or the
// rest of y is copied on at the end (the capacity holds it).
bool FinishInPlace(const AssignFrame& f) {
    if (f.xs >= f.ys) return TavVector_TavPropertyValueResize(f.x, f.ys, nullptr) != 0;
    for (TavSizeT i = f.xs; i < f.ys; ++i) {
        if (!TavVector_TavPropertyValuePushBack(f.x, f.y->begin + i)) return false;
    }
    return true;
}

enum class Level { Done, Descend, Failed };

// Goes on with the level on top: assigns elements until one needs a level
// of its own (pushed), the level is done, or an assignment fails.
Level StepAssign(WalkStack<AssignFrame>* stack) {
    AssignFrame& f = stack->Top();
    const TavSizeT common = f.xs < f.ys ? f.xs : f.ys;
    while (f.next < common) {
        TavPropertyValue* a = f.x->begin + f.next;
        const TavPropertyValue* b = f.y->begin + f.next;
        ++f.next;
        if (NestedVectors(a, b)) {
            const AssignFrame child{&a->u.vec, &b->u.vec, 0, TavVector_TavPropertyValueSize(&a->u.vec),
                                    TavVector_TavPropertyValueSize(&b->u.vec)};
            return stack->Push(child) ? Level::Descend : Level::Failed;
        }
        if (TavPropertyValueAssign(a, b) == nullptr) return Level::Failed;
    }
    return FinishInPlace(f) ? Level::Done : Level::Failed;
}

// A level that starts: the cases that assign no element need no walk.
bool NeedsWalk(const AssignFrame& f, bool* result) {
    if (f.x == f.y) return !(*result = true);
    if (f.ys > TavVector_TavPropertyValueCapacity(f.x)) {
        *result = TavVector_TavPropertyValueAssign(f.x, f.y) != nullptr;
        return false;
    }
    return true;
}

// ---- side-by-side walk of two trees -------------------------------------------

struct Cursor {
    const Node* node;  // bags: in-order position, and its end
    const Node* nodeEnd;
    const TavPropertyValue* element;  // vectors: element position, and its end
    const TavPropertyValue* elementEnd;
};

Cursor Open(const TavPropertyValue* v) {
    if (v->type == kBag) {
        const TavMap_TavString__TavPropertyValue* m = &v->u.p->map;
        return Cursor{TavMap_TavString__TavPropertyValueBeginConst(m),
                      TavMap_TavString__TavPropertyValueEndConst(m), nullptr, nullptr};
    }
    return Cursor{nullptr, nullptr, v->u.vec.begin, v->u.vec.end};
}

// The entry or element under the cursor (null when it is at its end); the
// cursor moves on.
const TavPropertyValue* Take(Cursor* c, const TavString** name) {
    if (c->nodeEnd != nullptr) {
        if (c->node == c->nodeEnd) return nullptr;
        const Node* node = c->node;
        c->node = tav::map::Next(c->node);
        *name = &node->value.first;
        return &node->value.second;
    }
    if (c->element == c->elementEnd) return nullptr;
    *name = nullptr;
    return c->element++;
}

TavSizeT CountOf(const TavPropertyValue* v) {
    return v->type == kBag ? v->u.p->map.size : TavVector_TavPropertyValueSize(&v->u.vec);
}

struct PairCursor {
    Cursor x;
    Cursor y;
};

// One step of the comparison: false when the trees differ (or the walk
// can't go deeper), true to go on.
bool CompareNext(WalkStack<PairCursor>* stack, bool* done) {
    PairCursor& top = stack->Top();
    const TavString* xName = nullptr;
    const TavString* yName = nullptr;
    const TavPropertyValue* a = Take(&top.x, &xName);
    const TavPropertyValue* b = Take(&top.y, &yName);
    if (a == nullptr) {
        stack->Pop();
        *done = stack->Empty();
        return true;
    }
    if (xName != nullptr && !TavStringEqual(xName, yName)) return false;
    if (a->type != b->type) return false;
    if (!IsComposite(a)) return value::LeafPayloadEqual(a, b);
    return CountOf(a) == CountOf(b) && stack->Push(PairCursor{Open(a), Open(b)});
}

// ---- walk of one tree --------------------------------------------------------------

// Whether `found` holds for a value anywhere below root; true as well when
// the walk can't get memory to go deeper.
template <class Found>
bool AnyBelow(const TavPropertyValue* root, Found found) {
    WalkStack<Cursor> stack(PayloadAllocator(root));
    stack.Push(Open(root));
    while (!stack.Empty()) {
        const TavString* name = nullptr;
        const TavPropertyValue* v = Take(&stack.Top(), &name);
        if (v == nullptr) {
            stack.Pop();
        } else if (found(v) || (IsComposite(v) && !stack.Push(Open(v)))) {
            return true;
        }
    }
    return false;
}

}  // namespace

CopySuspension::CopySuspension() : saved_(tQueue) { tQueue = nullptr; }
CopySuspension::~CopySuspension() { tQueue = static_cast<CopyQueue*>(saved_); }

void DestroyComposite(TavPropertyValue* v) {
    TakeApart(v, ChildFrame(nullptr, v, false));
}

void DestroyBag(TavProperties* x, bool silent) {
    TavPropertyValue holder = Holding(x);
    TakeApart(&holder, Frame{nullptr, x->map.size, silent, false, false});
}

bool CopyComposite(TavPropertyValue* x, const TavPropertyValue* y) {
    if (!BuildShell(x, y)) return false;
    if (tQueue == nullptr) return DrainCopies(x, y);
    if (tQueue->Push(CopyJob{x, y})) return true;
    DestroyComposite(x);
    return false;
}

bool AssignVectorElements(TavVector_TavPropertyValue* x, const TavVector_TavPropertyValue* y) {
    WalkStack<AssignFrame> stack(x->allocator);
    stack.Push(AssignFrame{x, y, 0, TavVector_TavPropertyValueSize(x),
                           TavVector_TavPropertyValueSize(y)});
    while (!stack.Empty()) {
        bool result = true;
        if (stack.Top().next == 0 && !NeedsWalk(stack.Top(), &result)) {
            if (!result) return false;
            stack.Pop();
            continue;
        }
        const Level level = StepAssign(&stack);
        if (level == Level::Failed) return false;
        if (level == Level::Done) stack.Pop();
    }
    return true;
}

bool CompositeEqual(const TavPropertyValue* x, const TavPropertyValue* y) {
    if (CountOf(x) != CountOf(y)) return false;
    WalkStack<PairCursor> stack(PayloadAllocator(x));
    stack.Push(PairCursor{Open(x), Open(y)});
    bool done = false;
    while (!done) {
        if (!CompareNext(&stack, &done)) return false;
    }
    return true;
}

bool BagsEqual(const TavProperties* x, const TavProperties* y) {
    const TavPropertyValue a = Holding(x);
    const TavPropertyValue b = Holding(y);
    return CompositeEqual(&a, &b);
}

bool BagBelow(const TavPropertyValue* v, const TavProperties* inner) {
    const auto holdsInner = [inner](const TavPropertyValue* w) {
        return w->type == kBag && w->u.p == inner;
    };
    return holdsInner(v) || AnyBelow(v, holdsInner);
}

bool ValueWithin(const TavPropertyValue* v, const TavPropertyValue* address) {
    return AnyBelow(v, [address](const TavPropertyValue* w) { return w == address; });
}

}  // namespace tav::tree
