// Filling bags and vectors that only their reader can see yet, by taking
// values as they are instead of copying them: a finished nested bag or vector
// is linked into its parent, so each byte of a text is worked on a fixed
// number of times whatever the depth. Values move bytewise (a nested bag is
// held through a pointer, a vector's elements live in a separate block).
#ifndef TAV_OS_TAVPROPERTIES_DETAIL_TAVTAKENENTRY_HPP
#define TAV_OS_TAVPROPERTIES_DETAIL_TAVTAKENENTRY_HPP

#include <cstring>
#include <utility>

#include "Os/TavProperties.h"
#include "Os/TavProperties/containers/TavMapInternal.hpp"

namespace tav {

using MapNode = TavMap_TavString__TavPropertyValue_Node;

// What a taken entry does to one of the same name already in the map.
enum class OnDuplicate { KeepFirst, KeepLast };

// Whether entries are expected to come in name order (see map::LinkUnlessPresent).
enum class Arrival { Any, InOrder };

// A new node taking v and the text of name (name is left empty); false, with
// v destroyed, only when the node can't be had. Of two entries with one name
// the first or the last keeps its value; the other value is destroyed.
inline bool LinkTaken(TavMap_TavString__TavPropertyValue* map, TavString* name,
                      TavPropertyValue* v, OnDuplicate duplicate, Arrival arrival = Arrival::Any) {
    void* storage = TavAllocatorAllocate(map->alloc, sizeof(MapNode));
    if (storage == nullptr) {
        TavPropertyValueDestruct(v);
        return false;
    }
    auto* node = static_cast<MapNode*>(storage);
    node->value.first = *name;  // takes the buffer as it is
    TavStringConstructDefault(name, name->allocator);
    node->value.second = *v;
    MapNode* present = map::LinkUnlessPresent(map, node, arrival == Arrival::InOrder);
    if (present == nullptr) return true;
    TavPropertyValue* loser = &node->value.second;
    if (duplicate == OnDuplicate::KeepLast) std::swap(*loser, present->value.second);
    TavPropertyValueDestruct(loser);
    TavStringDestruct(&node->value.first);
    map::ReleaseStorage(map, node);
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
