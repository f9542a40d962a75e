// Filling bags and vectors that only their reader can see yet, by taking
// values as they are instead of copying them: a finished nested bag or vector
// is linked into its parent, so each byte of a text is worked on a fixed
// number of times whatever the depth. Values move bytewise (a nested bag is
// held through a pointer, a vector's elements live in a separate block).
#ifndef TAV_OS_TAVPROPERTIES_DETAIL_TAVTAKENENTRY_HPP
#define TAV_OS_TAVPROPERTIES_DETAIL_TAVTAKENENTRY_HPP

#include <cstring>

#include "Os/TavProperties.h"

namespace tav {

using MapNode = TavMap_TavString__TavPropertyValue_Node;

// The entry of that name, or null. The map's end node holds the root in its
// left link.
inline MapNode* FindNode(TavMap_TavString__TavPropertyValue* map, const TavString* name) {
    MapNode* root = map->end.left;
    return root == nullptr ? nullptr : TavMap_TavString__TavPropertyValue_NodeFind(root, name);
}

// Links a filled node whose name the map does not hold.
inline void LinkNode(TavMap_TavString__TavPropertyValue* map, MapNode* node) {
    node->left = node->right = nullptr;
    node->height = 1;
    if (map->end.left == nullptr) {
        map->end.left = node;
        node->parent = &map->end;
        node->pPtr = &map->end.left;
    } else {
        TavMap_TavString__TavPropertyValue_NodeInsert(map->end.left, node);
    }
    ++map->size;
}

// A new node for an absent name, taking v and the text of name (name is left
// empty); false, with v destroyed, when the node can't be had.
inline bool LinkTaken(TavMap_TavString__TavPropertyValue* map, TavString* name,
                      TavPropertyValue* v) {
    void* storage = TavAllocatorAllocate(map->alloc, sizeof(MapNode));
    if (storage == nullptr) {
        TavPropertyValueDestruct(v);
        return false;
    }
    auto* node = static_cast<MapNode*>(storage);
    TavStringConstructDefault(&node->value.first, name->allocator);
    TavStringMove(&node->value.first, name);  // one allocator: takes the buffer, can't fail
    node->value.second = *v;
    LinkNode(map, node);
    return true;
}

// Appends v, taken as it is; false, with v destroyed, when the vector can't
// grow. Growth doubles and moves the elements bytewise.
inline bool PushTaken(TavVector_TavPropertyValue* vec, TavPropertyValue* v) {
    if (vec->end == vec->endBuf) {
        const TavSizeT size = static_cast<TavSizeT>(vec->end - vec->begin);
        const TavSizeT capacity = size == 0 ? 4 : 2 * size;
        void* grown = TavAllocatorAllocate(vec->allocator, capacity * sizeof(TavPropertyValue));
        if (grown == nullptr) {
            TavPropertyValueDestruct(v);
            return false;
        }
        if (size != 0) std::memcpy(grown, vec->begin, size * sizeof(TavPropertyValue));
        if (vec->begin != nullptr)
            TavAllocatorDeallocate(vec->allocator, vec->begin, size * sizeof(TavPropertyValue));
        vec->begin = static_cast<TavPropertyValue*>(grown);
        vec->end = vec->begin + size;
        vec->endBuf = vec->begin + capacity;
    }
    *vec->end++ = *v;
    return true;
}

}  // namespace tav

#endif
