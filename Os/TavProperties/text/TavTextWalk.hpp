// The walk that the printer and the XML and JSON writers share. It descends
// into nested bags and vectors with a loop over an explicit stack of frames
// instead of recursion, so a tree of any depth costs memory from the walk's
// allocator rather than the thread's stack. Each writer supplies hooks for
// what it writes at a leaf, at the opening and at the closing of a container.
#ifndef TAV_OS_TAVPROPERTIES_TEXT_TAVTEXTWALK_HPP
#define TAV_OS_TAVPROPERTIES_TEXT_TAVTEXTWALK_HPP

#include <cstddef>
#include <type_traits>

#include "Os/TavProperties.h"
#include "Os/TavProperties/containers/TavMapInternal.hpp"
#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/detail/TavWalkStack.hpp"

namespace tav::text {

// How many bags and vectors the indented forms (the printer and the XML
// writer) open inside one another below the container they start from. Their
// text grows with the square of the depth (one more tab per level on every
// line), so a deeper container is left out, as one whose indentation can't be
// made is.
constexpr std::size_t kIndentedNestingLimit = 4096;

// An entry of a bag (with its name) or an element of a vector (name null).
struct Item {
    const TavString* name;
    const TavPropertyValue* value;
    bool first;  // the first entry or element of its container
};

inline bool IsContainer(const TavPropertyValue* v) {
    return v->type == TAV_PROPERTYVALUE_TYPE_Properties || v->type == TAV_PROPERTYVALUE_TYPE_Vector;
}

// Where a walk is inside one bag (its entries in name order) or one vector
// (its elements in index order). Trivially copyable, so frames can be moved
// with their stack.
class Cursor {
public:
    // The entries of a bag whose lock the caller holds.
    static Cursor OfBag(const TavProperties* bag) {
        Cursor c = Empty();
        c.bag_ = bag;
        c.node_ = TavMap_TavString__TavPropertyValueBeginConst(&bag->map);
        c.nodeEnd_ = TavMap_TavString__TavPropertyValueEndConst(&bag->map);
        return c;
    }
    static Cursor OfVector(const TavVector_TavPropertyValue* vec) {
        Cursor c = Empty();
        c.elem_ = vec->begin;
        c.elemEnd_ = vec->end;
        return c;
    }
    // The contents of a nested bag or vector value. A nested bag is locked
    // here and stays locked until Leave; a missing bag has no contents.
    static Cursor Enter(const TavPropertyValue* container) {
        if (container->type == TAV_PROPERTYVALUE_TYPE_Vector) return OfVector(&container->u.vec);
        const TavProperties* bag = container->u.p;
        if (bag == nullptr) return Empty();
        TavMutexLock(MutexOf(bag));
        return OfBag(bag);
    }
    void Leave() const {
        if (bag_ != nullptr) TavMutexUnlock(MutexOf(bag_));
    }

    // The next entry or element; false at the end.
    bool Next(Item* item) {
        if (bag_ != nullptr) {
            if (node_ == nodeEnd_) return false;
            *item = {&node_->value.first, &node_->value.second, !started_};
            node_ = tav::map::Next(node_);
        } else {
            if (elem_ == elemEnd_) return false;
            *item = {nullptr, elem_++, !started_};
        }
        started_ = true;
        return true;
    }

private:
    static Cursor Empty() {
        Cursor c;
        c.bag_ = nullptr;
        c.node_ = c.nodeEnd_ = nullptr;
        c.elem_ = c.elemEnd_ = nullptr;
        c.started_ = false;
        return c;
    }

    const TavProperties* bag_;  // null for a vector
    TavMap_TavString__TavPropertyValueConstIterator node_, nodeEnd_;
    const TavPropertyValue* elem_;
    const TavPropertyValue* elemEnd_;
    bool started_;
};

// One open container: its own entry or element (name and value null for the
// container the walk starts from), where the walk is in it, and the writer's
// state for it (indentation, depth...).
template <class State>
struct Frame {
    Item item;
    Cursor cursor;
    State state;
};

// The walk's frames: the first 32 in place (most trees are shallow, and then
// the walk takes no memory), the rest in one block from the allocator.
template <class F>
using FrameStack = WalkStack<F, 32>;

// What a writer's Open hook decides for a nested bag or vector.
enum class Step : unsigned char {
    Enter,  // walk its contents; Close follows
    Skip,   // go on with the next item; the hook wrote and released all it had to
    Stop,   // end the walk as failed; the hook released what it took
};

// The hooks of a writer W, called in the order of the text:
//   W::State                  the writer's state of one open container
//   W::kNestingLimit          how many containers may be open below the first
//   bool W::Leaf(item, parent)              false stops the walk
//   Step W::Open(item, parent, room, child) room: the limit and the stack
//                                           allow one more level; Enter
//                                           only when they do
//   bool W::Close(item, child, parent)      after the container's lock is
//                                           released; releases child; false
//                                           stops the walk
//   void W::Abandon(child)                  releases child when the walk stops
// Walk goes through the contents of `first` (whose lock, for a bag, the
// caller holds) with first state `state`, taking frames from `a`; nested bags
// are locked outside in and released inside out, on every path. True when
// the walk went to the end.
template <class W>
class Walker {
    using State = typename W::State;
    using F = Frame<State>;

public:
    static bool Walk(W& writer, TavAllocator* a, const Cursor& first, const State& state) {
        FrameStack<F> stack(a);
        stack.Above() = F{Item{nullptr, nullptr, true}, first, state};
        stack.Push();
        for (;;) {
            // The leaves of the open container, up to its next nested one.
            F& top = stack.Top();
            Item item;
            bool more;
            while ((more = top.cursor.Next(&item)) && !IsContainer(item.value)) {
                if (!writer.Leaf(item, top.state)) return Abandon(writer, stack);
            }
            if (more) {
                if (!Open(writer, stack, item)) return Abandon(writer, stack);
            } else {
                if (stack.Size() == 1) return true;
                if (!CloseTop(writer, stack)) return Abandon(writer, stack);
            }
        }
    }

private:
    // The child's state is made in the frame it will live in when there is
    // room, so that entering copies nothing.
    static bool Open(W& writer, FrameStack<F>& stack, const Item& item) {
        const bool room = stack.Size() <= W::kNestingLimit && stack.Reserve();
        State outside;
        State* child = room ? &stack.Above().state : &outside;
        *child = State{};
        switch (writer.Open(item, stack.Top().state, room, child)) {
            case Step::Skip: return true;
            case Step::Stop: return false;
            case Step::Enter: break;
        }
        stack.Above().item = item;
        stack.Above().cursor = Cursor::Enter(item.value);
        stack.Push();
        return true;
    }

    static bool CloseTop(W& writer, FrameStack<F>& stack) {
        F& done = stack.Top();
        stack.Pop();
        done.cursor.Leave();
        return writer.Close(done.item, done.state, stack.Top().state);
    }

    static bool Abandon(W& writer, FrameStack<F>& stack) {
        while (stack.Size() > 1) {
            F& done = stack.Top();
            stack.Pop();
            done.cursor.Leave();
            writer.Abandon(done.state);
        }
        return false;
    }
};

}  // namespace tav::text

#endif
