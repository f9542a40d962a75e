// The ordered map: a height-balanced binary search tree of name/value pairs.
//
// Every node knows its parent and the link that points at it (pPtr), so
// relinking never has to ask which side a node hangs on, and iteration walks
// the parent links without a stack. The map embeds an `end` node whose left
// link is the root slot: it is the parent of the root and the past-the-end
// position, and every upward walk stops at it because its parent is null.
// Nodes never move once linked; erasure relinks a neighbour into the erased
// node's place, so positions of the other elements stay valid.
#include <cstdint>
#include <cstring>
#include <utility>

#include "Os/TavProperties/TavPropertiesMap.h"
#include "Os/TavProperties/TavPropertyValue.h"
#include "Os/TavProperties/containers/TavMapInternal.hpp"
#include "Utils/detail/TavAssert.hpp"

namespace {

using Map = TavMap_TavString__TavPropertyValue;
using Node = TavMap_TavString__TavPropertyValue_Node;
using Pair = TavPair_TavString__TavPropertyValue;
using SizeType = TavMap_TavString__TavPropertyValueSizeType;
using InsertResult = TavPair_TavMap_TavString__TavPropertyValueIterator__TavBool;
using Range =
    TavPair_TavMap_TavString__TavPropertyValueIterator__TavMap_TavString__TavPropertyValueIterator;
using ConstRange =
    TavPair_TavMap_TavString__TavPropertyValueConstIterator__TavMap_TavString__TavPropertyValueConstIterator;
using Link = Node* Node::*;

constexpr TavSizeT kNodeSize = sizeof(Node);

// ---- pair ------------------------------------------------------------------

Pair* ConstructPair(Pair* x, const TavString* first, const TavPropertyValue* second) {
    if (TavStringConstructCopy(&x->first, first) == nullptr) return nullptr;
    if (TavPropertyValueConstructCopy(&x->second, second) == nullptr) {
        TavStringDestruct(&x->first);
        return nullptr;
    }
    return x;
}

void DestructPair(Pair* x) {
    TavStringDestruct(&x->first);
    TavPropertyValueDestruct(&x->second);
}

// Both halves are assigned whatever the other's result; a value that refuses
// the assignment (not settable) simply keeps its content.
void AssignPair(Pair* x, const Pair* y) {
    (void)TavStringAssign(&x->first, &y->first);
    (void)TavPropertyValueAssign(&x->second, &y->second);
}

bool PairsEqual(const Pair* x, const Pair* y) {
    return TavStringEqual(&x->first, &y->first) && TavPropertyValueEqual(&x->second, &y->second);
}

// ---- nodes: allocation -----------------------------------------------------

// A node holding copies of value's key and value; nothing is left allocated
// when it cannot be made.
Node* NewNode(TavAllocator* alloc, const TavString* key, const TavPropertyValue* value) {
    auto* node = static_cast<Node*>(TavAllocatorAllocate(alloc, kNodeSize));
    if (node == nullptr) return nullptr;
    if (ConstructPair(&node->value, key, value) == nullptr) {
        TavAllocatorDeallocate(alloc, node, kNodeSize);
        return nullptr;
    }
    return node;
}

void FreeNode(Node* node, TavAllocator* alloc) {
    DestructPair(&node->value);
    TavAllocatorDeallocate(alloc, node, kNodeSize);
}

void DeleteTree(Node* node, TavAllocator* alloc) {
    if (node->left != nullptr) DeleteTree(node->left, alloc);
    if (node->right != nullptr) DeleteTree(node->right, alloc);
    FreeNode(node, alloc);
}

// Copies the subtree at src, same shape and heights. On failure everything
// copied so far has been returned to alloc.
Node* CopyTree(const Node* src, Node* parent, Node** pPtr, TavAllocator* alloc) {
    Node* copy = NewNode(alloc, &src->value.first, &src->value.second);
    if (copy == nullptr) return nullptr;
    copy->left = nullptr;
    copy->right = nullptr;
    if (src->left != nullptr) {
        copy->left = CopyTree(src->left, copy, &copy->left, alloc);
        if (copy->left == nullptr) {
            FreeNode(copy, alloc);
            return nullptr;
        }
    }
    if (src->right != nullptr) {
        copy->right = CopyTree(src->right, copy, &copy->right, alloc);
        if (copy->right == nullptr) {
            if (copy->left != nullptr) DeleteTree(copy->left, alloc);
            FreeNode(copy, alloc);
            return nullptr;
        }
    }
    copy->parent = parent;
    copy->pPtr = pPtr;
    copy->height = src->height;
    return copy;
}

// ---- nodes: search and in-order walks (N is Node or const Node) -------------

// Eight or four bytes as one number that orders as the bytes do.
template <class Word>
Word LoadOrdered(const unsigned char* p) {
    Word w;
    std::memcpy(&w, p, sizeof w);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    if constexpr (sizeof(Word) == 8) w = __builtin_bswap64(w);
    if constexpr (sizeof(Word) == 4) w = __builtin_bswap32(w);
#endif
    return w;
}

int Order(std::uint64_t x, std::uint64_t y) { return x < y ? -1 : (x > y ? 1 : 0); }

// The first n bytes of x and y compared as unsigned bytes, a word at a time.
// Short tails are read as overlapping words (bytes 0-3 and n-4..n-1 when n is
// 4 to 8), which order as the bytes do because both sides have the same n.
int CompareBytes(const unsigned char* x, const unsigned char* y, TavSizeT n) {
    if (n >= 8) {
        TavSizeT i = 0;
        for (; i + 8 <= n; i += 8) {
            const auto a = LoadOrdered<std::uint64_t>(x + i), b = LoadOrdered<std::uint64_t>(y + i);
            if (a != b) return Order(a, b);
        }
        if (i == n) return 0;
        return Order(LoadOrdered<std::uint64_t>(x + n - 8), LoadOrdered<std::uint64_t>(y + n - 8));
    }
    if (n >= 4) {
        const auto wide = [n](const unsigned char* p) {
            return std::uint64_t{LoadOrdered<std::uint32_t>(p)} << 32 |
                   LoadOrdered<std::uint32_t>(p + n - 4);
        };
        return Order(wide(x), wide(y));
    }
    if (n == 0) return 0;
    const auto narrow = [n](const unsigned char* p) {
        return std::uint64_t{p[0]} << 16 | std::uint64_t{p[n / 2]} << 8 | p[n - 1];
    };
    return Order(narrow(x), narrow(y));
}

// TavStringCompare's order (unsigned bytes, then length), inline: a search
// compares once per level, and names are mostly short.
inline int CompareKeys(const TavString* a, const TavString* b) {
    const TavSizeT common = a->size < b->size ? a->size : b->size;
    const int order = CompareBytes(reinterpret_cast<const unsigned char*>(a->buf),
                                   reinterpret_cast<const unsigned char*>(b->buf), common);
    if (order != 0) return order;
    return a->size < b->size ? -1 : (a->size > b->size ? 1 : 0);
}

bool KeyBefore(const TavString* a, const TavString* b) { return CompareKeys(a, b) < 0; }

TavSizeT HeightOf(const Node* node) { return node != nullptr ? node->height : 0; }

using tav::map::Outermost;

template <class N>
N* Minimum(N* node) {
    return Outermost<&Node::left>(node);
}

template <class N>
N* Maximum(N* node) {
    return Outermost<&Node::right>(node);
}

using tav::map::Neighbour;

template <class N>
N* Successor(N* node) {
    return Neighbour<&Node::right, &Node::left>(node);
}

template <class N>
N* Predecessor(N* node) {
    return Neighbour<&Node::left, &Node::right>(node);
}

// The sought key is always the left operand of the first comparison.
template <class N>
N* FindBelow(N* node, const TavString* key) {
    while (node != nullptr) {
        const int order = CompareKeys(key, &node->value.first);
        if (order == 0) return node;
        node = order < 0 ? node->left : node->right;
    }
    return nullptr;
}

// The lowest node for which `pastBound` holds: a node that fails it sends the
// walk right, a node that passes is the best so far and the walk goes left.
template <class N, class Test>
N* FirstPassing(N* node, Test pastBound) {
    N* best = nullptr;
    while (node != nullptr) {
        if (pastBound(&node->value.first)) {
            best = node;
            node = node->left;
        } else {
            node = node->right;
        }
    }
    return best;
}

template <class N>
N* LowerBoundBelow(N* node, const TavString* key) {
    return FirstPassing(node, [key](const TavString* k) { return !KeyBefore(k, key); });
}

template <class N>
N* UpperBoundBelow(N* node, const TavString* key) {
    return FirstPassing(node, [key](const TavString* k) { return KeyBefore(key, k); });
}

// The range record that holds two positions of node type N.
template <class N>
struct RangeOf {
    using Type = Range;
};
template <>
struct RangeOf<const Node> {
    using Type = ConstRange;
};

template <class N>
typename RangeOf<N>::Type EqualRangeBelow(N* node, const TavString* key) {
    N* found = FindBelow(node, key);
    if (found == nullptr) return {nullptr, nullptr};
    return {found, Successor(found)};
}

// ---- balancing ----------------------------------------------------------------

// Lifts n's child on side Up into n's place; n goes down on the other side and
// takes the lifted node's inner subtree. Heights are left to the caller.
template <Link Up, Link Down>
void Rotate(Node* n) {
    Node* lifted = n->*Up;
    Node* inner = lifted->*Down;
    *n->pPtr = lifted;
    lifted->parent = n->parent;
    lifted->pPtr = n->pPtr;
    n->*Up = inner;
    if (inner != nullptr) {
        inner->parent = n;
        inner->pPtr = &(n->*Up);
    }
    lifted->*Down = n;
    n->parent = lifted;
    n->pPtr = &(lifted->*Down);
}

// n's Tall side is two higher than its other side. The heights stored in n
// (and, for a removal, in the lifted child) still describe the tree before
// the change, so they are corrected by fixed amounts in this order. Returns
// the node at which the upward walk goes on, or null when it ends here.
template <Link Tall, Link Short>
Node* RestoreBalance(Node* n, bool removing) {
    Node* tall = n->*Tall;
    const TavSizeT outer = HeightOf(tall->*Tall);
    const TavSizeT inner = HeightOf(tall->*Short);
    if (inner > outer) {
        Node* middle = tall->*Short;
        Rotate<Short, Tall>(tall);
        Rotate<Tall, Short>(n);
        tall->height -= 1;
        middle->height += 1;
        n->height -= removing ? 2 : 1;
        return removing ? middle->parent : nullptr;
    }
    Rotate<Tall, Short>(n);
    if (!removing) {
        n->height -= 1;
        return nullptr;
    }
    n->height = inner + 1;
    tall->height = inner + 2;
    return inner >= outer ? nullptr : tall->parent;
}

// How far an insertion's walk goes: the exported node operations walk to the
// root, as they may be handed a tree whose heights above the change are not
// yet right; the map's own insertions stop where a height stays as it was,
// since every height above is right already and stays so.
enum class Walk { ToRoot, UntilSettled };

// What every node of a sound tree satisfies: its children link back to it,
// sort on its sides, and its height is one more than the taller child's,
// which differ by at most one.
bool NodeHolds(const Node* n) {
    const Node* l = n->left;
    const Node* r = n->right;
    if (l != nullptr && (l->parent != n || l->pPtr != &n->left ||
                         CompareKeys(&l->value.first, &n->value.first) >= 0))
        return false;
    if (r != nullptr && (r->parent != n || r->pPtr != &n->right ||
                         CompareKeys(&r->value.first, &n->value.first) <= 0))
        return false;
    const TavSizeT hl = HeightOf(l), hr = HeightOf(r);
    return n->height == (hl > hr ? hl : hr) + 1 && hl <= hr + 1 && hr <= hl + 1;
}

// Debug builds check every node from where a rebalance began up to the root:
// the nodes it may have changed (a rotation's other nodes are children of
// nodes on that path, whose checks see their links and heights).
void CheckPathToRoot(const Node* from) {
#ifndef NDEBUG
    for (const Node* n = from; n != nullptr && n->parent != nullptr; n = n->parent) {
        TAV_ASSERT(NodeHolds(n), "the tree stays ordered, linked and balanced");
    }
#else
    (void)from;
#endif
}

// Walks from node toward the root, recomputing heights and rotating where a
// side has grown two higher than the other. Stops below `end`.
void Rebalance(Node* node, bool removing, Walk walk = Walk::ToRoot) {
    struct Check {
        const Node* from;
        ~Check() { CheckPathToRoot(from); }
    } check{node};
    while (node != nullptr && node->parent != nullptr) {
        const TavSizeT hl = HeightOf(node->left);
        const TavSizeT hr = HeightOf(node->right);
        if (hl > hr + 1) {
            node = RestoreBalance<&Node::left, &Node::right>(node, removing);
        } else if (hr > hl + 1) {
            node = RestoreBalance<&Node::right, &Node::left>(node, removing);
        } else {
            const TavSizeT height = (hl > hr ? hl : hr) + 1;
            // After an insertion a subtree whose height stays is balanced above.
            if (walk == Walk::UntilSettled && !removing && height == node->height) return;
            node->height = height;
            node = node->parent;
        }
    }
}

// ---- linking ---------------------------------------------------------------------

using tav::map::Slot;

// The one search of every insertion: the node below top (not null) holding
// key, or null with slot's links set to the empty link where key belongs.
// With `ascending`, keys are expected to come in order (a text written by
// name): one comparison with the last key then finds the place.
Node* Seek(Node* top, const TavString* key, bool ascending, Slot* slot) {
    Node* cur = top;
    if (ascending) {
        Node* last = Outermost<&Node::right>(top);
        if (CompareKeys(key, &last->value.first) > 0) cur = last;
    }
    for (;;) {
        const int order = CompareKeys(key, &cur->value.first);
        if (order == 0) return cur;
        Node** link = order < 0 ? &cur->left : &cur->right;
        if (*link == nullptr) {
            slot->parent = cur;
            slot->link = link;
            return nullptr;
        }
        cur = *link;
    }
}

// Hangs node at slot and rebalances above it (nothing to do below `end`).
void Hang(Node* node, const Slot& slot, Walk walk) {
    *slot.link = node;
    node->pPtr = slot.link;
    node->parent = slot.parent;
    Rebalance(slot.parent, false, walk);
}

InsertResult InsertBelow(Node* top, Node* node, Walk walk) {
    Slot slot;
    Node* present = Seek(top, &node->value.first, false, &slot);
    if (present != nullptr) return InsertResult{present, TAV_FALSE};
    Hang(node, slot, walk);
    return InsertResult{node, TAV_TRUE};
}

// Puts child (possibly null) where node hangs.
void Splice(Node* node, Node* child) {
    *node->pPtr = child;
    if (child != nullptr) {
        child->parent = node->parent;
        child->pPtr = node->pPtr;
    }
}

void AdoptChild(Node* node, Link side) {
    Node* child = node->*side;
    if (child != nullptr) {
        child->parent = node;
        child->pPtr = &(node->*side);
    }
}

// r takes over node's links and height, as they are now.
void TakePlace(Node* r, const Node* node) {
    r->left = node->left;
    r->right = node->right;
    r->parent = node->parent;
    r->pPtr = node->pPtr;
    r->height = node->height;
    *r->pPtr = r;
    AdoptChild(r, &Node::left);
    AdoptChild(r, &Node::right);
}

// Takes node out of the tree: its in-order neighbour (predecessor when there
// is a left subtree, else successor) is unlinked from where it stands, the
// tree is rebalanced from there, and the neighbour then replaces node.
void Unlink(Node* node) {
    Node* r = nullptr;
    if (node->left != nullptr) {
        r = Maximum(node->left);
        Splice(r, r->left);
    } else if (node->right != nullptr) {
        r = Minimum(node->right);
        Splice(r, r->right);
    } else {
        *node->pPtr = nullptr;
    }
    Rebalance(r != nullptr ? r->parent : node->parent, true);
    if (r != nullptr) TakePlace(r, node);
}

// ---- the map record ----------------------------------------------------------------

template <class M>
auto EndOf(M* bt) {
    return &bt->end;
}

template <class M>
auto RootOf(M* bt) -> decltype(&bt->end) {
    return bt->end.left;
}

template <class M, class N>
N* OrEnd(M* bt, N* node) {
    return node != nullptr ? node : EndOf(bt);
}

template <class M>
auto EqualRangeIn(M* bt, const TavString* key) {
    auto range = EqualRangeBelow(RootOf(bt), key);
    if (range.first == nullptr) range.first = range.second = EndOf(bt);
    return range;
}

template <class M>
auto BeginOf(M* bt) {
    return RootOf(bt) != nullptr ? Minimum(RootOf(bt)) : EndOf(bt);
}

// Makes the root (if any) know the map it now belongs to.
void AttachRoot(Map* bt) {
    Node* root = bt->end.left;
    if (root != nullptr) {
        root->parent = &bt->end;
        root->pPtr = &bt->end.left;
    }
}

// The node of bt holding key, or null with slot set to where key belongs
// (the root link of an empty map).
Node* Locate(Map* bt, const TavString* key, bool ascending, Slot* slot) {
    slot->size = bt->size;
    if (bt->end.left != nullptr) return Seek(bt->end.left, key, ascending, slot);
    slot->parent = &bt->end;
    slot->link = &bt->end.left;
    return nullptr;
}

// Links a new node holding its key and value: {node, true} with the size one
// more, or {the node that holds that key, false} with node left unlinked.
InsertResult LinkNew(Map* bt, Node* node, bool inOrder) {
    Slot slot;
    Node* present = Locate(bt, &node->value.first, inOrder, &slot);
    if (present != nullptr) return InsertResult{present, TAV_FALSE};
    tav::map::LinkAt(bt, node, slot);
    return InsertResult{node, TAV_TRUE};
}

void DeleteAll(Map* bt) {
    if (bt->end.left != nullptr) DeleteTree(bt->end.left, bt->alloc);
}

// Moves whole trees; only valid between maps sharing an allocator.
void ExchangeTrees(Map* a, Map* b) {
    std::swap(a->end.left, b->end.left);
    std::swap(a->size, b->size);
    AttachRoot(a);
    AttachRoot(b);
}

// ---- positions -----------------------------------------------------------------------
// A position P is a node pointer. Forward positions designate their node;
// reverse positions designate their base's predecessor and step the other way.

template <class P>
P* CopyPosition(P* dst, const P* src) {
    *dst = *src;
    return dst;
}

template <class P>
P* NullPosition(P* p) {
    *p = nullptr;
    return p;
}

template <class P>
TavBool SwapPositions(P* a, P* b) {
    std::swap(*a, *b);
    return TAV_TRUE;
}

template <bool Reverse, class P>
P* StepForward(P* p) {
    TAV_ASSERT(Reverse || (*p)->parent != nullptr, "Increment: End has no successor");
    *p = Reverse ? Predecessor(*p) : Successor(*p);
    return p;
}

template <bool Reverse, class P>
P* StepBackward(P* p) {
    *p = Reverse ? Successor(*p) : Predecessor(*p);
    return p;
}

template <bool Reverse, class N>
auto ContentAt(N* node) {
    return &(Reverse ? Predecessor(node) : node)->value;
}

TavBool LowerAddress(const Node* a, const Node* b) {
    return reinterpret_cast<std::uintptr_t>(a) < reinterpret_cast<std::uintptr_t>(b);
}

}  // namespace

namespace tav::map {

void Detach(Map* bt, Node* node) {
    Unlink(node);
    --bt->size;
}

void ReleaseStorage(Map* bt, Node* node) { TavAllocatorDeallocate(bt->alloc, node, kNodeSize); }

Node* NewDetached(TavAllocator* a, const TavString* key, const TavPropertyValue* value) {
    return NewNode(a, key, value);
}

void DestroyDetached(TavAllocator* a, Node* node) { FreeNode(node, a); }

bool Verify(const Map* bt) {
    const Node* root = bt->end.left;
    if (root == nullptr) return bt->size == 0;
    if (root->parent != &bt->end || root->pPtr != &bt->end.left) return false;
    TavSizeT count = 0;
    const Node* previous = nullptr;
    for (const Node* n = Outermost<&Node::left>(root); n != &bt->end; n = Successor(n), ++count) {
        if (!NodeHolds(n)) return false;
        if (previous != nullptr && CompareKeys(&previous->value.first, &n->value.first) >= 0)
            return false;
        previous = n;
    }
    return count == bt->size;
}

Node* LinkUnlessPresent(Map* bt, Node* node, bool inOrder) {
    const InsertResult result = LinkNew(bt, node, inOrder);
    return result.second ? nullptr : result.first;
}

Node* FindOrSlot(Map* bt, const TavString* key, Slot* slot) { return Locate(bt, key, false, slot); }

void LinkAt(Map* bt, Node* node, const Slot& slot) {
    TAV_ASSERT(bt->size == slot.size && *slot.link == nullptr,
               "LinkAt: the map is as the search that found the slot left it");
    node->left = nullptr;
    node->right = nullptr;
    node->height = 1;
    Hang(node, slot, Walk::UntilSettled);
    ++bt->size;
}

}  // namespace tav::map

extern "C" {

// ---- pair ------------------------------------------------------------------

Pair* TavPair_TavString__TavPropertyValueConstruct(Pair* x, const TavString* first,
                                                   const TavPropertyValue* second) {
    return ConstructPair(x, first, second);
}

Pair* TavPair_TavString__TavPropertyValueConstructCopy(Pair* x, const Pair* y) {
    return ConstructPair(x, &y->first, &y->second);
}

void TavPair_TavString__TavPropertyValueDestruct(Pair* x) { DestructPair(x); }

Pair* TavPair_TavString__TavPropertyValueAssign(Pair* x, const Pair* y) {
    AssignPair(x, y);
    return x;
}

TavBool TavPair_TavString__TavPropertyValueSwap(Pair* x, Pair* y) {
    Pair temporary;
    if (ConstructPair(&temporary, &x->first, &x->second) == nullptr) return TAV_FALSE;
    AssignPair(x, y);
    AssignPair(y, &temporary);
    DestructPair(&temporary);
    return TAV_TRUE;
}

TavBool TavPair_TavString__TavPropertyValueEqual(const Pair* x, const Pair* y) {
    return PairsEqual(x, y) ? TAV_TRUE : TAV_FALSE;
}

// ---- map: life cycle -------------------------------------------------------------

Map* TavMap_TavString__TavPropertyValueConstruct(Map* bt, TavAllocator* alloc) {
    bt->end.left = nullptr;
    bt->end.right = nullptr;
    bt->end.parent = nullptr;
    bt->end.pPtr = nullptr;
    bt->size = 0;
    bt->alloc = alloc;
    return bt;
}

// The copy shares the source's allocator.
Map* TavMap_TavString__TavPropertyValueConstructCopy(Map* d, const Map* s) {
    Node* root = nullptr;
    if (s->end.left != nullptr) {
        root = CopyTree(s->end.left, &d->end, &d->end.left, s->alloc);
        if (root == nullptr) return nullptr;
    }
    TavMap_TavString__TavPropertyValueConstruct(d, s->alloc);
    d->end.left = root;
    d->size = s->size;
    return d;
}

void TavMap_TavString__TavPropertyValueDestruct(Map* bt) { DeleteAll(bt); }

void TavMap_TavString__TavPropertyValueClear(Map* bt) {
    DeleteAll(bt);
    bt->end.left = nullptr;
    bt->size = 0;
}

// The copy is made (with d's own allocator) before the old tree goes, so a
// failure leaves d as it was and self-assignment keeps the content.
Map* TavMap_TavString__TavPropertyValueAssign(Map* d, const Map* s) {
    Node* copy = nullptr;
    if (s->end.left != nullptr) {
        copy = CopyTree(s->end.left, &d->end, &d->end.left, d->alloc);
        if (copy == nullptr) return nullptr;
    }
    DeleteAll(d);
    d->end.left = copy;
    d->size = s->size;
    return d;
}

// With one allocator the trees change hands. Otherwise each map keeps its
// allocator and the contents are copied across through a temporary holding
// a's former tree; if the first copy fails a is left empty, if the second
// fails a holds b's content and b is unchanged.
TavBool TavMap_TavString__TavPropertyValueSwap(Map* a, Map* b) {
    if (a->alloc == b->alloc) {
        ExchangeTrees(a, b);
        return TAV_TRUE;
    }
    Map formerA;
    TavMap_TavString__TavPropertyValueConstruct(&formerA, a->alloc);
    ExchangeTrees(a, &formerA);
    TavBool ok = TAV_FALSE;
    if (TavMap_TavString__TavPropertyValueAssign(a, b) != nullptr) {
        ok =
            TavMap_TavString__TavPropertyValueAssign(b, &formerA) != nullptr ? TAV_TRUE : TAV_FALSE;
    }
    DeleteAll(&formerA);
    return ok;
}

TavBool TavMap_TavString__TavPropertyValueEqual(const Map* a, const Map* b) {
    if (a->size != b->size) return TAV_FALSE;
    const Node* y = BeginOf(b);
    for (const Node* x = BeginOf(a); x != EndOf(a); x = Successor(x), y = Successor(y)) {
        if (!PairsEqual(&x->value, &y->value)) return TAV_FALSE;
    }
    return TAV_TRUE;
}

// ---- map: changes ---------------------------------------------------------------------

// The node and its copies are made before the search: inserting a present
// key costs one node and two copies, which are given back at once.
InsertResult TavMap_TavString__TavPropertyValueInsert(Map* bt, const Pair* value) {
    Node* node = NewNode(bt->alloc, &value->first, &value->second);
    if (node == nullptr) return InsertResult{&bt->end, TAV_FALSE};
    const InsertResult result = LinkNew(bt, node, false);
    if (!result.second) FreeNode(node, bt->alloc);
    return result;
}

Node* TavMap_TavString__TavPropertyValueErase(Map* bt, Node* node) {
    TAV_ASSERT(node != nullptr && node != &bt->end, "Erase: the position must hold an element");
    Node* next = Successor(node);
    Unlink(node);
    FreeNode(node, bt->alloc);
    --bt->size;
    return next;
}

Node* TavMap_TavString__TavPropertyValueEraseRange(Map* bt, Node* first, Node* last) {
    while (first != last) first = TavMap_TavString__TavPropertyValueErase(bt, first);
    return last;
}

SizeType TavMap_TavString__TavPropertyValueEraseKey(Map* bt, const TavString* key) {
    Range range = EqualRangeIn(bt, key);
    SizeType erased = 0;
    for (Node* node = range.first; node != range.second; ++erased) {
        node = TavMap_TavString__TavPropertyValueErase(bt, node);
    }
    return erased;
}

// ---- map and subtrees: lookups ---------------------------------------------------------
// TAV_MAP_DEFINE_TWINS(Name, Pos, ConstPos, Self, self, expr) defines Name(self)
// and Name##Const(self) on a mutable and a read-only Self, both returning expr;
// TAV_MAP_DEFINE_KEY_TWINS does the same with a trailing `key`. They make
//   Find, LowerBound, UpperBound, EqualRange, Begin, End (+Const) of the map,
//   _NodeFind, _NodeLowerBound, _NodeUpperBound, _NodeEqualRange,
//   _NodeGetMinimum, _NodeGetMaximum (+Const) of subtrees.

#define TAV_MAP_DEFINE_TWINS(Name, Pos, ConstPos, Self, self, expr) \
    Pos Name(Self* self) { return expr; }                           \
    ConstPos Name##Const(const Self* self) { return expr; }
#define TAV_MAP_DEFINE_KEY_TWINS(Name, Pos, ConstPos, Self, self, expr) \
    Pos Name(Self* self, const TavString* key) { return expr; }         \
    ConstPos Name##Const(const Self* self, const TavString* key) { return expr; }

TAV_MAP_DEFINE_KEY_TWINS(TavMap_TavString__TavPropertyValueFind, Node*, const Node*, Map, bt,
                         OrEnd(bt, FindBelow(RootOf(bt), key)))
TAV_MAP_DEFINE_KEY_TWINS(TavMap_TavString__TavPropertyValueLowerBound, Node*, const Node*, Map, bt,
                         OrEnd(bt, LowerBoundBelow(RootOf(bt), key)))
TAV_MAP_DEFINE_KEY_TWINS(TavMap_TavString__TavPropertyValueUpperBound, Node*, const Node*, Map, bt,
                         OrEnd(bt, UpperBoundBelow(RootOf(bt), key)))
TAV_MAP_DEFINE_KEY_TWINS(TavMap_TavString__TavPropertyValueEqualRange, Range, ConstRange, Map, bt,
                         EqualRangeIn(bt, key))
TAV_MAP_DEFINE_TWINS(TavMap_TavString__TavPropertyValueBegin, Node*, const Node*, Map, bt,
                     BeginOf(bt))
TAV_MAP_DEFINE_TWINS(TavMap_TavString__TavPropertyValueEnd, Node*, const Node*, Map, bt, EndOf(bt))

TAV_MAP_DEFINE_KEY_TWINS(TavMap_TavString__TavPropertyValue_NodeFind, Node*, const Node*, Node,
                         node, FindBelow(node, key))
TAV_MAP_DEFINE_KEY_TWINS(TavMap_TavString__TavPropertyValue_NodeLowerBound, Node*, const Node*,
                         Node, node, LowerBoundBelow(node, key))
TAV_MAP_DEFINE_KEY_TWINS(TavMap_TavString__TavPropertyValue_NodeUpperBound, Node*, const Node*,
                         Node, node, UpperBoundBelow(node, key))
TAV_MAP_DEFINE_KEY_TWINS(TavMap_TavString__TavPropertyValue_NodeEqualRange, Range, ConstRange, Node,
                         node, EqualRangeBelow(node, key))
TAV_MAP_DEFINE_TWINS(TavMap_TavString__TavPropertyValue_NodeGetMinimum, Node*, const Node*, Node,
                     node, Minimum(node))
TAV_MAP_DEFINE_TWINS(TavMap_TavString__TavPropertyValue_NodeGetMaximum, Node*, const Node*, Node,
                     node, Maximum(node))

#undef TAV_MAP_DEFINE_KEY_TWINS
#undef TAV_MAP_DEFINE_TWINS

SizeType TavMap_TavString__TavPropertyValueCount(const Map* bt, const TavString* key) {
    return FindBelow(RootOf(bt), key) != nullptr ? 1 : 0;
}

Pair* TavMap_TavString__TavPropertyValueFront(Map* bt) {
    return bt->end.left != nullptr ? &Minimum(bt->end.left)->value : nullptr;
}

Pair* TavMap_TavString__TavPropertyValueBack(Map* bt) {
    return bt->end.left != nullptr ? &Maximum(bt->end.left)->value : nullptr;
}

SizeType TavMap_TavString__TavPropertyValueSize(const Map* bt) { return bt->size; }

TavBool TavMap_TavString__TavPropertyValueEmpty(const Map* bt) {
    return bt->size == 0 ? TAV_TRUE : TAV_FALSE;
}

SizeType TavMap_TavString__TavPropertyValueMaxSize(const Map*) { return ~static_cast<SizeType>(0); }

TavAllocator* TavMap_TavString__TavPropertyValueGetAllocator(const Map* bt) { return bt->alloc; }

TavSizeT TavMap_TavString__TavPropertyValueGetNodeSize(const Map*) { return kNodeSize; }

// ---- subtrees ------------------------------------------------------------------------------

SizeType TavMap_TavString__TavPropertyValue_NodeCount(const Node* node, const TavString* key) {
    return FindBelow(node, key) != nullptr ? 1 : 0;
}

InsertResult TavMap_TavString__TavPropertyValue_NodeInsert(Node* curNode, Node* newNode) {
    return InsertBelow(curNode, newNode, Walk::ToRoot);
}

void TavMap_TavString__TavPropertyValue_NodeDelete(Node* node, TavAllocator* alloc) {
    if (node != nullptr) DeleteTree(node, alloc);
}

Node* TavMap_TavString__TavPropertyValue_NodeCopy(const Node* node, Node* parent, Node** pPtr,
                                                  TavAllocator* alloc) {
    return CopyTree(node, parent, pPtr, alloc);
}

void TavMap_TavString__TavPropertyValue_NodeBalance(Node* node, TavBool removing) {
    Rebalance(node, removing != 0);
}

void TavMap_TavString__TavPropertyValue_NodeRotateLeft(Node* node) {
    Rotate<&Node::right, &Node::left>(node);
}

void TavMap_TavString__TavPropertyValue_NodeRotateRight(Node* node) {
    Rotate<&Node::left, &Node::right>(node);
}

// ---- positions -------------------------------------------------------------------------------
// TAV_MAP_DEFINE_POSITION(P, Reverse) defines, for position type P,
//   TavMap_TavString__TavPropertyValue##P##Destruct, ConstructCopy, Assign,
//   Swap, Equal, Increment, Decrement, ContentOf, ContentOfConst,
//   ConstructExceptional, IsExceptional;
// TAV_MAP_DEFINE_FORWARD_POSITION(P) adds P##Construct and P##Less.
// Used for Iterator, ConstIterator (forward) and ReverseIterator,
// ConstReverseIterator (reverse).

#define TAV_MAP_NAME_(op) TavMap_TavString__TavPropertyValue##op
#define TAV_MAP_DEFINE_POSITION(P, Reverse)                                                       \
    void TAV_MAP_NAME_(P##Destruct)(TAV_MAP_NAME_(P)*) {}                                         \
    TAV_MAP_NAME_(P) *                                                                            \
        TAV_MAP_NAME_(P##ConstructCopy)(TAV_MAP_NAME_(P) * dst_, const TAV_MAP_NAME_(P) * src_) { \
        return CopyPosition(dst_, src_);                                                          \
    }                                                                                             \
    TAV_MAP_NAME_(P) *                                                                            \
        TAV_MAP_NAME_(P##Assign)(TAV_MAP_NAME_(P) * dst_, const TAV_MAP_NAME_(P) * src_) {        \
        return CopyPosition(dst_, src_);                                                          \
    }                                                                                             \
    TavBool TAV_MAP_NAME_(P##Swap)(TAV_MAP_NAME_(P) * a_, TAV_MAP_NAME_(P) * b_) {                \
        return SwapPositions(a_, b_);                                                             \
    }                                                                                             \
    TavBool TAV_MAP_NAME_(P##Equal)(const TAV_MAP_NAME_(P) * a_, const TAV_MAP_NAME_(P) * b_) {   \
        return *a_ == *b_ ? TAV_TRUE : TAV_FALSE;                                                 \
    }                                                                                             \
    TAV_MAP_NAME_(P) * TAV_MAP_NAME_(P##Increment)(TAV_MAP_NAME_(P) * iter) {                     \
        return StepForward<Reverse>(iter);                                                        \
    }                                                                                             \
    TAV_MAP_NAME_(P) * TAV_MAP_NAME_(P##Decrement)(TAV_MAP_NAME_(P) * iter) {                     \
        return StepBackward<Reverse>(iter);                                                       \
    }                                                                                             \
    auto TAV_MAP_NAME_(P##ContentOf)(const TAV_MAP_NAME_(P) * iter)->decltype(&(*iter)->value) {  \
        return ContentAt<Reverse>(*iter);                                                         \
    }                                                                                             \
    const Pair* TAV_MAP_NAME_(P##ContentOfConst)(const TAV_MAP_NAME_(P) * iter) {                 \
        return ContentAt<Reverse>(*iter);                                                         \
    }                                                                                             \
    TAV_MAP_NAME_(P) * TAV_MAP_NAME_(P##ConstructExceptional)(TAV_MAP_NAME_(P) * iter) {          \
        return NullPosition(iter);                                                                \
    }                                                                                             \
    TavBool TAV_MAP_NAME_(P##IsExceptional)(TAV_MAP_NAME_(P) iter) {                              \
        return iter == nullptr ? TAV_TRUE : TAV_FALSE;                                            \
    }

#define TAV_MAP_DEFINE_FORWARD_POSITION(P)                                                     \
    TAV_MAP_DEFINE_POSITION(P, false)                                                          \
    TAV_MAP_NAME_(P) * TAV_MAP_NAME_(P##Construct)(TAV_MAP_NAME_(P) * obj_) {                  \
        return NullPosition(obj_);                                                             \
    }                                                                                          \
    TavBool TAV_MAP_NAME_(P##Less)(const TAV_MAP_NAME_(P) * a_, const TAV_MAP_NAME_(P) * b_) { \
        return LowerAddress(*a_, *b_);                                                         \
    }

TAV_MAP_DEFINE_FORWARD_POSITION(Iterator)
TAV_MAP_DEFINE_FORWARD_POSITION(ConstIterator)
TAV_MAP_DEFINE_POSITION(ReverseIterator, true)
TAV_MAP_DEFINE_POSITION(ConstReverseIterator, true)

#undef TAV_MAP_DEFINE_FORWARD_POSITION
#undef TAV_MAP_DEFINE_POSITION
#undef TAV_MAP_NAME_

}  // extern "C"
