// Shared and weak handles: counts, deleter calls and the count block's life.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "CountingAllocator.hpp"

using tavtest::CountingAllocator;

namespace {

// The managed object records its own deletion, and what some other count
// block looked like at that moment (to see the order of an assignment).
struct Tracked {
    int deletes = 0;
    TavAllocator* deletedWith = nullptr;
    const TavSharedPtrRefCount* watch = nullptr;
    int watchedUseAtDelete = -1;
};

void DeleteTracked(TavVoidPtr ptr, TavAllocator* a) {
    auto* t = static_cast<Tracked*>(ptr);
    ++t->deletes;
    t->deletedWith = a;
    if (t->watch != nullptr) t->watchedUseAtDelete = TavAtomicIntegerGetValue(&t->watch->useCount);
}

int UseCount(const TavSharedPtrRefCount* ref) { return TavAtomicIntegerGetValue(&ref->useCount); }
int WeakCount(const TavSharedPtrRefCount* ref) { return TavAtomicIntegerGetValue(&ref->weakCount); }

class SharedPtr : public ::testing::Test {
protected:
    TavSharedPtr_void Make(Tracked* object) {
        TavSharedPtr_void sp;
        EXPECT_EQ(TavSharedPtr_voidConstruct(&sp, object, &DeleteTracked, alloc), &sp);
        return sp;
    }
    CountingAllocator alloc;
};

}  // namespace

TEST_F(SharedPtr, FirstHandleOwnsAFreshCountBlock) {
    Tracked object;
    TavSharedPtr_void sp = Make(&object);
    EXPECT_EQ(alloc.lastAllocationSize(), sizeof(TavSharedPtrRefCount));
    EXPECT_EQ(UseCount(sp.ref), 1);
    EXPECT_EQ(WeakCount(sp.ref), 1);
    EXPECT_EQ(TavSharedPtr_voidGet(&sp), &object);
    TavSharedPtr_voidDestruct(&sp);
    EXPECT_EQ(object.deletes, 1);
    EXPECT_EQ(object.deletedWith, alloc.get());
    EXPECT_EQ(alloc.liveBlocks(), 0u);

    alloc.FailAt(1);
    EXPECT_EQ(TavSharedPtr_voidConstruct(&sp, &object, &DeleteTracked, alloc), nullptr);
    EXPECT_EQ(object.deletes, 1);  // a failed maker leaves the object to its owner
}

TEST_F(SharedPtr, EmptyHandlesChangeNothing) {
    TavSharedPtr_void a, b, c;
    TavWeakPtr_void w, v;
    TavSharedPtr_voidConstructEmpty(&a);
    TavSharedPtr_voidConstructCopy(&b, &a);
    TavSharedPtr_voidAssign(&b, &a);
    TavWeakPtr_voidConstructFromSharedPtr(&w, &a);
    TavWeakPtr_voidConstructCopy(&v, &w);
    TavWeakPtr_voidAssign(&v, &w);
    TavSharedPtr_voidConstructFromWeakPtr(&c, &w);
    EXPECT_EQ(c.ref, nullptr);
    EXPECT_EQ(c.ptr, nullptr);
    for (TavSharedPtr_void* s : {&a, &b, &c}) TavSharedPtr_voidDestruct(s);
    for (TavWeakPtr_void* s : {&w, &v}) TavWeakPtr_voidDestruct(s);
    EXPECT_EQ(alloc.attempts(), 0u);
}

TEST_F(SharedPtr, AssignReleasesTheOldTargetBeforeTakingTheSource) {
    Tracked first, second;
    TavSharedPtr_void x = Make(&first), y = Make(&second);
    first.watch = y.ref;
    ASSERT_EQ(TavSharedPtr_voidAssign(&x, &y), &x);
    EXPECT_EQ(first.deletes, 1);
    EXPECT_EQ(first.watchedUseAtDelete, 1);  // the source's count was not yet taken
    EXPECT_EQ(alloc.liveBlocks(), 1u);       // first's block went with its last handle
    EXPECT_EQ(UseCount(y.ref), 2);
    EXPECT_TRUE(TavSharedPtr_voidEqual(&x, &y));
    TavSharedPtr_voidDestruct(&x);
    EXPECT_EQ(second.deletes, 0);
    TavSharedPtr_voidDestruct(&y);
    EXPECT_EQ(second.deletes, 1);
}

TEST_F(SharedPtr, AssignWithinOneBlockMovesNoCount) {
    Tracked object, member;
    TavSharedPtr_void x = Make(&object), y;
    TavSharedPtr_voidConstructCopy(&y, &x);
    y.ptr = &member;  // the deleter then gets this pointer from whichever handle goes last
    TavSharedPtr_voidAssign(&x, &x);
    TavSharedPtr_voidAssign(&x, &y);
    EXPECT_EQ(x.ptr, &member);
    EXPECT_EQ(UseCount(x.ref), 2);
    EXPECT_EQ(WeakCount(x.ref), 1);

    TavWeakPtr_void w, v;
    TavWeakPtr_voidConstructFromSharedPtr(&w, &x);
    TavWeakPtr_voidConstructFromSharedPtr(&v, &x);
    TavWeakPtr_voidAssign(&w, &w);
    TavWeakPtr_voidAssign(&w, &v);
    EXPECT_EQ(WeakCount(x.ref), 3);
    TavWeakPtr_voidDestruct(&w);
    TavWeakPtr_voidDestruct(&v);
    TavSharedPtr_voidDestruct(&x);
    TavSharedPtr_voidDestruct(&y);
    EXPECT_EQ(member.deletes, 1);
    EXPECT_EQ(alloc.liveBlocks(), 0u);
}

TEST_F(SharedPtr, WeakHandleOutlivesTheObjectAndFreesTheBlockOnce) {
    Tracked object;
    TavSharedPtr_void sp = Make(&object), locked;
    TavWeakPtr_void wp;
    TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
    EXPECT_EQ(WeakCount(sp.ref), 2);
    TavSharedPtr_voidConstructFromWeakPtr(&locked, &wp);
    EXPECT_EQ(locked.ptr, &object);
    EXPECT_EQ(UseCount(sp.ref), 2);
    TavSharedPtr_voidDestruct(&locked);
    TavSharedPtr_voidDestruct(&sp);
    EXPECT_EQ(object.deletes, 1);
    EXPECT_EQ(WeakCount(wp.ref), 1);
    EXPECT_EQ(alloc.liveBlocks(), 1u);

    TavSharedPtr_voidConstructFromWeakPtr(&locked, &wp);  // expired: never revived
    EXPECT_EQ(locked.ref, nullptr);
    EXPECT_EQ(locked.ptr, nullptr);
    EXPECT_EQ(UseCount(wp.ref), 0);
    TavWeakPtr_voidDestruct(&wp);
    EXPECT_EQ(object.deletes, 1);
    EXPECT_EQ(alloc.deallocations(), 1u);  // size checked by the allocator
    EXPECT_EQ(alloc.liveBlocks(), 0u);
}

TEST_F(SharedPtr, WeakHandlesComeAndGoWithoutTouchingTheObject) {
    Tracked object;
    TavSharedPtr_void sp = Make(&object), twin = Make(&object);  // two blocks, one object
    TavWeakPtr_void wp, other, twinWeak;
    TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
    TavWeakPtr_voidConstructFromSharedPtr(&twinWeak, &twin);
    TavWeakPtr_voidAssign(TavWeakPtr_voidConstructEmpty(&other), &wp);
    EXPECT_TRUE(TavWeakPtr_voidEqual(&other, &wp));
    EXPECT_FALSE(TavWeakPtr_voidEqual(&wp, &twinWeak));  // weak handles compare blocks,
    EXPECT_TRUE(TavSharedPtr_voidEqual(&sp, &twin));     // shared ones objects
    for (TavWeakPtr_void* w : {&wp, &other, &twinWeak}) TavWeakPtr_voidDestruct(w);
    EXPECT_EQ(WeakCount(sp.ref), 1);
    EXPECT_EQ(alloc.liveBlocks(), 2u);
    EXPECT_EQ(object.deletes, 0);
    TavSharedPtr_voidDestruct(&sp);
    TavSharedPtr_voidDestruct(&twin);
    EXPECT_EQ(alloc.liveBlocks(), 0u);
}

// Handles sharing one block are copied, assigned, locked and destroyed on
// several threads at once; the deleter still runs once and the block goes
// back once.
TEST(SharedPtrConcurrency, CountsStayExactAcrossThreads) {
    CountingAllocator alloc;
    Tracked object;
    TavSharedPtr_void root;
    ASSERT_NE(TavSharedPtr_voidConstruct(&root, &object, &DeleteTracked, alloc), nullptr);
    TavWeakPtr_void observer;
    TavWeakPtr_voidConstructFromSharedPtr(&observer, &root);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            TavSharedPtr_void mine, other, empty;
            TavSharedPtr_voidConstructEmpty(&mine);
            TavSharedPtr_voidConstructEmpty(&empty);
            for (int i = 0; i < 20000; ++i) {
                TavSharedPtr_voidConstructCopy(&other, &root);
                TavSharedPtr_voidAssign(&mine, &other);
                TavSharedPtr_voidDestruct(&other);
                TavSharedPtr_voidConstructFromWeakPtr(&other, &observer);
                TavSharedPtr_voidDestruct(&other);
                if (i % 3 == 0) TavSharedPtr_voidAssign(&mine, &empty);
            }
            TavSharedPtr_voidDestruct(&mine);
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(UseCount(root.ref), 1);
    EXPECT_EQ(WeakCount(root.ref), 2);
    TavSharedPtr_voidDestruct(&root);
    TavWeakPtr_voidDestruct(&observer);
    EXPECT_EQ(object.deletes, 1);
    EXPECT_EQ(alloc.liveBlocks(), 0u);
}
