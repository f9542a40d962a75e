/* The ordered name-to-value map that holds a bag's entries: a height-balanced
 * binary search tree whose nodes never move once linked, with its positions
 * (node pointers; End is the map's embedded `end` node, null is the
 * exceptional position) and its element pair. */
#ifndef TAV_OS_TAVPROPERTIES_TAVPROPERTIESMAP_H
#define TAV_OS_TAVPROPERTIES_TAVPROPERTIESMAP_H

#include "Os/TavProperties/TavPropertiesTypes.h"

TAV_EXTERN_C_BEGIN

/* ---- element pair ----------------------------------------------------- */

/* Construct and ConstructCopy copy the name (with its allocator) and the
 * value; NULL when either copy fails, nothing left to destroy. Destruct
 * destroys the name, then the value. Assign copies both and reports no
 * failure of its own. Swap exchanges both (false when the names' allocators
 * differ and a copy fails). Equal: same name bytes and equal values. */
TAV_API TavPair_TavString__TavPropertyValue* TavPair_TavString__TavPropertyValueConstruct(
    TavPair_TavString__TavPropertyValue* x, const TavString* first, const TavPropertyValue* second);
TAV_API TavPair_TavString__TavPropertyValue* TavPair_TavString__TavPropertyValueConstructCopy(
    TavPair_TavString__TavPropertyValue* x, const TavPair_TavString__TavPropertyValue* y);
TAV_API void TavPair_TavString__TavPropertyValueDestruct(TavPair_TavString__TavPropertyValue* x);
TAV_API TavPair_TavString__TavPropertyValue* TavPair_TavString__TavPropertyValueAssign(
    TavPair_TavString__TavPropertyValue* x, const TavPair_TavString__TavPropertyValue* y);
TAV_API TavBool TavPair_TavString__TavPropertyValueSwap(TavPair_TavString__TavPropertyValue* x,
                                                        TavPair_TavString__TavPropertyValue* y);
TAV_API TavBool TavPair_TavString__TavPropertyValueEqual(
    const TavPair_TavString__TavPropertyValue* x, const TavPair_TavString__TavPropertyValue* y);

/* ---- map ---------------------------------------------------------------- */

/* Short local spellings for the declarations of this header; all of its
 * macros are undefined at its end. */
#define TAV_MAP_ TavMap_TavString__TavPropertyValue
#define TAV_MAP_NODE_ TavMap_TavString__TavPropertyValue_Node
#define TAV_MAP_PAIR_ TavPair_TavString__TavPropertyValue
#define TAV_MAP_SIZE_ TavMap_TavString__TavPropertyValueSizeType
#define TAV_MAP_IT_ TavMap_TavString__TavPropertyValueIterator
#define TAV_MAP_CIT_ TavMap_TavString__TavPropertyValueConstIterator
#define TAV_MAP_IT_BOOL_ TavPair_TavMap_TavString__TavPropertyValueIterator__TavBool
#define TAV_MAP_RANGE_ \
    TavPair_TavMap_TavString__TavPropertyValueIterator__TavMap_TavString__TavPropertyValueIterator
#define TAV_MAP_CRANGE_ \
    TavPair_TavMap_TavString__TavPropertyValueConstIterator__TavMap_TavString__TavPropertyValueConstIterator

/* An operation and its read-only twin, the same but for constness:
 * TAV_MAP_TWINS_DECLARE(Name, Pos, ConstPos, Self, self) declares
 *   Pos Name(Self* self) and ConstPos Name##Const(const Self* self);
 * TAV_MAP_KEY_TWINS_DECLARE(...) the same with a trailing `key`. Used for
 *   Find, LowerBound, UpperBound, EqualRange, Begin, End (+Const) of the map
 *   and _NodeFind, _NodeLowerBound, _NodeUpperBound, _NodeEqualRange,
 *   _NodeGetMinimum, _NodeGetMaximum (+Const) of subtrees. */
#define TAV_MAP_TWINS_DECLARE(Name, Pos, ConstPos, Self, self) \
    TAV_API Pos Name(Self* self);                              \
    TAV_API ConstPos Name##Const(const Self* self);
#define TAV_MAP_KEY_TWINS_DECLARE(Name, Pos, ConstPos, Self, self) \
    TAV_API Pos Name(Self* self, const TavString* key);            \
    TAV_API ConstPos Name##Const(const Self* self, const TavString* key);

/* Life cycle. Construct: empty, with alloc for every node; never fails.
 * ConstructCopy: a copy using s's allocator; NULL when a node or copy can't
 * be had (the partial copy is deleted, d holds nothing). Destruct and Clear
 * delete every node (Clear leaves an empty map). Assign: d becomes a copy of
 * s with d's allocator, or NULL with d unchanged. Swap: with one allocator the
 * trees change hands (positions follow their elements); across allocators the
 * elements are copied, and a failure (false) can leave a empty. Equal: same
 * size and, in order, equal names and values (allocators not compared). */
TAV_API TAV_MAP_* TavMap_TavString__TavPropertyValueConstruct(TAV_MAP_* bt, TavAllocator* alloc);
TAV_API TAV_MAP_* TavMap_TavString__TavPropertyValueConstructCopy(TAV_MAP_* d, const TAV_MAP_* s);
TAV_API void TavMap_TavString__TavPropertyValueDestruct(TAV_MAP_* bt);
TAV_API void TavMap_TavString__TavPropertyValueClear(TAV_MAP_* bt);
TAV_API TAV_MAP_* TavMap_TavString__TavPropertyValueAssign(TAV_MAP_* d, const TAV_MAP_* s);
TAV_API TavBool TavMap_TavString__TavPropertyValueSwap(TAV_MAP_* a, TAV_MAP_* b);
TAV_API TavBool TavMap_TavString__TavPropertyValueEqual(const TAV_MAP_* a, const TAV_MAP_* b);

/* Insert copies value into a new node made before the search: {the new node,
 * true}; {the present node, false} when the name is there (the copies are
 * given back, the stored value untouched); {End, false} when the node or a
 * copy can't be had, the map unchanged. Erase removes one element (not End)
 * and returns the position after it; EraseRange [first, last) returns last;
 * EraseKey returns how many it erased (0 or 1). Other positions stay valid. */
TAV_API TAV_MAP_IT_BOOL_ TavMap_TavString__TavPropertyValueInsert(TAV_MAP_* bt,
                                                                  const TAV_MAP_PAIR_* value);
TAV_API TAV_MAP_IT_ TavMap_TavString__TavPropertyValueErase(TAV_MAP_* bt, TAV_MAP_IT_ node);
TAV_API TAV_MAP_IT_ TavMap_TavString__TavPropertyValueEraseRange(TAV_MAP_* bt, TAV_MAP_IT_ first,
                                                                 TAV_MAP_IT_ last);
TAV_API TAV_MAP_SIZE_ TavMap_TavString__TavPropertyValueEraseKey(TAV_MAP_* bt,
                                                                 const TavString* key);

/* Searches by name order: Find the element with that name, LowerBound the
 * first not before it, UpperBound the first after it (End when none);
 * EqualRange {the element, the next} or {End, End}. */

TAV_MAP_KEY_TWINS_DECLARE(TavMap_TavString__TavPropertyValueFind, TAV_MAP_IT_, TAV_MAP_CIT_,
                          TAV_MAP_, bt)
TAV_MAP_KEY_TWINS_DECLARE(TavMap_TavString__TavPropertyValueLowerBound, TAV_MAP_IT_, TAV_MAP_CIT_,
                          TAV_MAP_, bt)
TAV_MAP_KEY_TWINS_DECLARE(TavMap_TavString__TavPropertyValueUpperBound, TAV_MAP_IT_, TAV_MAP_CIT_,
                          TAV_MAP_, bt)
TAV_MAP_KEY_TWINS_DECLARE(TavMap_TavString__TavPropertyValueEqualRange, TAV_MAP_RANGE_,
                          TAV_MAP_CRANGE_, TAV_MAP_, bt)
/* 1 when the name is present, else 0. */
TAV_API TAV_MAP_SIZE_ TavMap_TavString__TavPropertyValueCount(const TAV_MAP_* bt,
                                                              const TavString* key);

/* Begin: the smallest element (End when empty); End: the map's own `end`
 * node, never null. Front and Back: the smallest and largest pair, NULL when
 * empty. */
TAV_MAP_TWINS_DECLARE(TavMap_TavString__TavPropertyValueBegin, TAV_MAP_IT_, TAV_MAP_CIT_, TAV_MAP_,
                      bt)
TAV_MAP_TWINS_DECLARE(TavMap_TavString__TavPropertyValueEnd, TAV_MAP_IT_, TAV_MAP_CIT_, TAV_MAP_,
                      bt)
TAV_API TAV_MAP_PAIR_* TavMap_TavString__TavPropertyValueFront(TAV_MAP_* bt);
TAV_API TAV_MAP_PAIR_* TavMap_TavString__TavPropertyValueBack(TAV_MAP_* bt);

/* The number of elements and whether it is 0; MaxSize all bits set; the
 * allocator every node comes from; the byte size of one node, what each
 * element takes from that allocator. */
TAV_API TAV_MAP_SIZE_ TavMap_TavString__TavPropertyValueSize(const TAV_MAP_* bt);
TAV_API TavBool TavMap_TavString__TavPropertyValueEmpty(const TAV_MAP_* bt);
TAV_API TAV_MAP_SIZE_ TavMap_TavString__TavPropertyValueMaxSize(const TAV_MAP_* bt);
TAV_API TavAllocator* TavMap_TavString__TavPropertyValueGetAllocator(const TAV_MAP_* bt);
TAV_API TavSizeT TavMap_TavString__TavPropertyValueGetNodeSize(const TAV_MAP_* bt);

/* ---- subtrees, given by their top node; null where the map gives End ---- */

/* The searches above within one subtree; GetMinimum and GetMaximum its
 * leftmost and rightmost node (node not null). */

TAV_MAP_KEY_TWINS_DECLARE(TavMap_TavString__TavPropertyValue_NodeFind, TAV_MAP_NODE_*,
                          const TAV_MAP_NODE_*, TAV_MAP_NODE_, node)
TAV_MAP_KEY_TWINS_DECLARE(TavMap_TavString__TavPropertyValue_NodeLowerBound, TAV_MAP_NODE_*,
                          const TAV_MAP_NODE_*, TAV_MAP_NODE_, node)
TAV_MAP_KEY_TWINS_DECLARE(TavMap_TavString__TavPropertyValue_NodeUpperBound, TAV_MAP_NODE_*,
                          const TAV_MAP_NODE_*, TAV_MAP_NODE_, node)
TAV_MAP_KEY_TWINS_DECLARE(TavMap_TavString__TavPropertyValue_NodeEqualRange, TAV_MAP_RANGE_,
                          TAV_MAP_CRANGE_, TAV_MAP_NODE_, node)
TAV_MAP_TWINS_DECLARE(TavMap_TavString__TavPropertyValue_NodeGetMinimum, TAV_MAP_NODE_*,
                      const TAV_MAP_NODE_*, TAV_MAP_NODE_, node)
TAV_MAP_TWINS_DECLARE(TavMap_TavString__TavPropertyValue_NodeGetMaximum, TAV_MAP_NODE_*,
                      const TAV_MAP_NODE_*, TAV_MAP_NODE_, node)
/* 1 when the name is in the subtree, else 0. */
TAV_API TAV_MAP_SIZE_ TavMap_TavString__TavPropertyValue_NodeCount(const TAV_MAP_NODE_* node,
                                                                   const TavString* key);
/* The building blocks of Insert, Destruct and ConstructCopy, for code that
 * works on nodes directly. NodeInsert links newNode (filled, unlinked) below
 * curNode and rebalances up to the root: {newNode, true}, or {the node with
 * that name, false} with newNode untouched; the map's size is not changed.
 * NodeDelete deletes a subtree, giving every node back to alloc. NodeCopy
 * copies a subtree under parent (linked at pPtr) with alloc; NULL, nothing
 * left, on failure. NodeBalance recomputes heights and rotates from node up
 * to the root (removing: after an unlink). The rotations relink only; they
 * leave every height as it was. */
TAV_API TAV_MAP_IT_BOOL_ TavMap_TavString__TavPropertyValue_NodeInsert(TAV_MAP_NODE_* curNode,
                                                                       TAV_MAP_NODE_* newNode);
TAV_API void TavMap_TavString__TavPropertyValue_NodeDelete(TAV_MAP_NODE_* node,
                                                           TavAllocator* alloc);
TAV_API TAV_MAP_NODE_* TavMap_TavString__TavPropertyValue_NodeCopy(const TAV_MAP_NODE_* node,
                                                                   TAV_MAP_NODE_* parent,
                                                                   TAV_MAP_NODE_** pPtr,
                                                                   TavAllocator* alloc);
TAV_API void TavMap_TavString__TavPropertyValue_NodeBalance(TAV_MAP_NODE_* node, TavBool removing);
TAV_API void TavMap_TavString__TavPropertyValue_NodeRotateLeft(TAV_MAP_NODE_* node);
TAV_API void TavMap_TavString__TavPropertyValue_NodeRotateRight(TAV_MAP_NODE_* node);

/* ---- positions ------------------------------------------------------------
 * TAV_MAP_POSITION_DECLARE(P, PairPtr) declares the eleven operations every
 * position type P has:
 *   TavMap_TavString__TavPropertyValue##P##Destruct, ConstructCopy, Assign,
 *   Swap, Equal, Increment, Decrement, ContentOf, ContentOfConst,
 *   ConstructExceptional, IsExceptional.
 * TAV_MAP_FORWARD_POSITION_DECLARE(P, PairPtr) adds the two that only the
 * forward types have: Construct and Less (thirteen in all).
 * A reverse position designates the in-order predecessor of its base. */
#define TAV_MAP_NAME_(op) TavMap_TavString__TavPropertyValue##op
#define TAV_MAP_POSITION_DECLARE(P, PairPtr)                                                     \
    TAV_API void TAV_MAP_NAME_(P##Destruct)(TAV_MAP_NAME_(P) * obj_);                            \
    TAV_API TAV_MAP_NAME_(P) *                                                                   \
        TAV_MAP_NAME_(P##ConstructCopy)(TAV_MAP_NAME_(P) * dst_, const TAV_MAP_NAME_(P) * src_); \
    TAV_API TAV_MAP_NAME_(P) *                                                                   \
        TAV_MAP_NAME_(P##Assign)(TAV_MAP_NAME_(P) * dst_, const TAV_MAP_NAME_(P) * src_);        \
    TAV_API TavBool TAV_MAP_NAME_(P##Swap)(TAV_MAP_NAME_(P) * a_, TAV_MAP_NAME_(P) * b_);        \
    TAV_API TavBool TAV_MAP_NAME_(P##Equal)(const TAV_MAP_NAME_(P) * a_,                         \
                                            const TAV_MAP_NAME_(P) * b_);                        \
    TAV_API TAV_MAP_NAME_(P) * TAV_MAP_NAME_(P##Increment)(TAV_MAP_NAME_(P) * iter);             \
    TAV_API TAV_MAP_NAME_(P) * TAV_MAP_NAME_(P##Decrement)(TAV_MAP_NAME_(P) * iter);             \
    TAV_API PairPtr TAV_MAP_NAME_(P##ContentOf)(const TAV_MAP_NAME_(P) * iter);                  \
    TAV_API const TavPair_TavString__TavPropertyValue* TAV_MAP_NAME_(P##ContentOfConst)(         \
        const TAV_MAP_NAME_(P) * iter);                                                          \
    TAV_API TAV_MAP_NAME_(P) * TAV_MAP_NAME_(P##ConstructExceptional)(TAV_MAP_NAME_(P) * iter);  \
    TAV_API TavBool TAV_MAP_NAME_(P##IsExceptional)(TAV_MAP_NAME_(P) iter);

#define TAV_MAP_FORWARD_POSITION_DECLARE(P, PairPtr)                                 \
    TAV_MAP_POSITION_DECLARE(P, PairPtr)                                             \
    TAV_API TAV_MAP_NAME_(P) * TAV_MAP_NAME_(P##Construct)(TAV_MAP_NAME_(P) * obj_); \
    TAV_API TavBool TAV_MAP_NAME_(P##Less)(const TAV_MAP_NAME_(P) * a_,              \
                                           const TAV_MAP_NAME_(P) * b_);

TAV_MAP_FORWARD_POSITION_DECLARE(Iterator, TavPair_TavString__TavPropertyValue*)
TAV_MAP_FORWARD_POSITION_DECLARE(ConstIterator, const TavPair_TavString__TavPropertyValue*)
TAV_MAP_POSITION_DECLARE(ReverseIterator, TavPair_TavString__TavPropertyValue*)
TAV_MAP_POSITION_DECLARE(ConstReverseIterator, const TavPair_TavString__TavPropertyValue*)

#undef TAV_MAP_
#undef TAV_MAP_NODE_
#undef TAV_MAP_PAIR_
#undef TAV_MAP_SIZE_
#undef TAV_MAP_IT_
#undef TAV_MAP_CIT_
#undef TAV_MAP_IT_BOOL_
#undef TAV_MAP_RANGE_
#undef TAV_MAP_CRANGE_
#undef TAV_MAP_NAME_
#undef TAV_MAP_TWINS_DECLARE
#undef TAV_MAP_KEY_TWINS_DECLARE
#undef TAV_MAP_POSITION_DECLARE
#undef TAV_MAP_FORWARD_POSITION_DECLARE

TAV_EXTERN_C_END

#endif
