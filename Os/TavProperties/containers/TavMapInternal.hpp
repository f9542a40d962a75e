// Node-level access to the ordered map for the code that takes a tree apart
// without recursion: an entry can be taken out of its map while its value is
// still being destroyed, and its storage given back afterwards.
#ifndef TAV_OS_TAVPROPERTIES_CONTAINERS_TAVMAPINTERNAL_HPP
#define TAV_OS_TAVPROPERTIES_CONTAINERS_TAVMAPINTERNAL_HPP

#include <cstddef>

#include "Os/TavProperties.h"

namespace tav::map {

using Map = TavMap_TavString__TavPropertyValue;
using Node = TavMap_TavString__TavPropertyValue_Node;

using Link = Node* Node::*;

// The last node reached from node by following `Side` links.
template <Link Side, class N>
N* Outermost(N* node) {
    while (node->*Side != nullptr) node = node->*Side;
    return node;
}

// The in-order neighbour on the `Ahead` side: the nearest node of the Ahead
// subtree, else the first ancestor that node hangs below on its other side.
// The climb stops at `end`, whose parent is null: the successor of the
// largest element is End, and the predecessor of End is the largest element.
template <Link Ahead, Link Behind, class N>
N* Neighbour(N* node) {
    if (node->*Ahead != nullptr) return Outermost<Behind>(node->*Ahead);
    N* parent = node->parent;
    while (parent != nullptr && parent->*Behind != node) {
        node = parent;
        parent = parent->parent;
    }
    return parent != nullptr ? parent : node;
}

// The next node in key order, End after the largest: inline for the walks
// that visit every entry.
inline const Node* Next(const Node* node) { return Neighbour<&Node::right, &Node::left>(node); }

// Unlinks node from bt (rebalancing, size one less) without touching its
// key and value, which the caller now owns together with the node.
void Detach(Map* bt, Node* node);

// Gives a detached node's storage back to bt's allocator; its key and value
// must already be destroyed.
void ReleaseStorage(Map* bt, Node* node);

// A node that no map holds yet, from the map's allocator a, with copies of
// key and value; null, with nothing left allocated, when it can't be made.
Node* NewDetached(TavAllocator* a, const TavString* key, const TavPropertyValue* value);

// Destroys a detached node's key and value and gives its storage back to a.
void DestroyDetached(TavAllocator* a, Node* node);

// Links a detached node whose key and value are filled and returns null; when
// bt already holds its key, returns the node holding it, with node left as it
// was. With inOrder the key is expected to follow every key bt holds (a text
// written in name order): one comparison with the last key finds its place.
Node* LinkUnlessPresent(Map* bt, Node* node, bool inOrder = false);

// Where a search for a missing key ended: the empty link the key would hang
// from, and the size of the map it was found in.
struct Slot {
    Node* parent;
    Node** link;
    TavSizeT size;
};

// The node holding key, or null with slot set to the place key belongs.
Node* FindOrSlot(Map* bt, const TavString* key, Slot* slot);

// Links a detached node holding the key that FindOrSlot missed at its slot,
// with no second search. bt must not have changed since: only
// the allocator's callbacks may have run in between.
void LinkAt(Map* bt, Node* node, const Slot& slot);

// Whether bt is a sound tree: every node linked to its parent, in key order,
// with right heights and balanced, and as many nodes as bt's size. Walks the
// whole tree without recursion (for tests and fuzzers).
bool Verify(const Map* bt);

// The node that holds value as its mapped half.
inline Node* NodeOfValue(TavPropertyValue* value) {
    constexpr auto kOffset = offsetof(Node, value) + offsetof(TavPair_TavString__TavPropertyValue, second);
    return reinterpret_cast<Node*>(reinterpret_cast<char*>(value) - kOffset);
}

}  // namespace tav::map

#endif
