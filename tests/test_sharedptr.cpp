// Shared and weak handles: counts, deleter calls and the count block's life.
#include <gtest/gtest.h>

#include <thread>
#include <utility>

#include "CountingAllocator.hpp"

namespace {

// Records its deletions, and a watched block's use count then (to see an assignment's order).
struct Tracked {
    int deletes = 0;
    const TavSharedPtrRefCount* watch = nullptr;
    int watchedUse = -1;
};

void DeleteTracked(TavVoidPtr ptr, TavAllocator*) {
    auto* t = static_cast<Tracked*>(ptr);
    ++t->deletes;
    if (t->watch != nullptr) t->watchedUse = TavAtomicIntegerGetValue(&t->watch->useCount);
}

std::pair<int, int> Counts(const TavSharedPtrRefCount* ref) {  // use, weak
    return {TavAtomicIntegerGetValue(&ref->useCount), TavAtomicIntegerGetValue(&ref->weakCount)};
}

class SharedPtr : public ::testing::Test {
protected:
    TavSharedPtr_void Make(Tracked* object) {
        TavSharedPtr_void sp;
        EXPECT_NE(TavSharedPtr_voidConstruct(&sp, object, &DeleteTracked, alloc), nullptr);
        return sp;
    }
    tavtest::CountingAllocator alloc;
};

using SharedPtrConcurrency = SharedPtr;

}  // namespace

TEST_F(SharedPtr, ObjectGoesWithTheLastSharedHandleAndTheBlockWithTheLastWeakOne) {
    Tracked object;
    TavSharedPtr_void sp, locked;
    TavWeakPtr_void wp;
    alloc.FailAt(1);
    EXPECT_EQ(TavSharedPtr_voidConstruct(&sp, &object, &DeleteTracked, alloc), nullptr);
    sp = Make(&object);  // the failed maker left the object alone: one delete below
    TavSharedPtr_voidConstructFromWeakPtr(&locked, TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp));
    EXPECT_EQ(TavSharedPtr_voidGet(&locked), &object);
    EXPECT_EQ(Counts(sp.ref), std::make_pair(2, 2));
    TavSharedPtr_voidDestruct(&locked);
    TavSharedPtr_voidDestruct(&sp);
    EXPECT_EQ(object.deletes, 1);
    EXPECT_EQ(Counts(wp.ref), std::make_pair(0, 1));
    TavSharedPtr_voidConstructFromWeakPtr(&locked, &wp);  // expired: never revived
    EXPECT_TRUE(locked.ref == nullptr && locked.ptr == nullptr);
    EXPECT_EQ(Counts(wp.ref), std::make_pair(0, 1));
    TavWeakPtr_voidDestruct(&wp);
    EXPECT_EQ(alloc.deallocations(), 1u);  // the allocator checks the size given back
}

TEST_F(SharedPtr, EmptyHandlesAllocateAndCallNothing) {
    TavSharedPtr_void a, b, c;
    TavWeakPtr_void w, v;
    TavSharedPtr_voidConstructEmpty(&a);
    TavSharedPtr_voidAssign(TavSharedPtr_voidConstructCopy(&b, &a), &a);
    TavWeakPtr_voidConstructFromSharedPtr(&w, &a);
    TavWeakPtr_voidAssign(TavWeakPtr_voidConstructCopy(&v, &w), &w);
    EXPECT_EQ(TavSharedPtr_voidConstructFromWeakPtr(&c, &w)->ref, nullptr);
    for (TavSharedPtr_void* h : {&a, &b, &c}) TavSharedPtr_voidDestruct(h);
    for (TavWeakPtr_void* h : {&w, &v}) TavWeakPtr_voidDestruct(h);
    EXPECT_EQ(alloc.attempts(), 0u);
}

TEST_F(SharedPtr, AssignReleasesTheOldObjectFirstAndMovesNoCountWithinOneBlock) {
    Tracked first, second, member;
    TavSharedPtr_void x = Make(&first), y = Make(&second), z;
    TavWeakPtr_void w, v;
    first.watch = y.ref;
    ASSERT_EQ(TavSharedPtr_voidAssign(&x, &y), &x);
    EXPECT_EQ(first.watchedUse, 1);     // the source's count was not yet taken
    EXPECT_EQ(alloc.liveBlocks(), 1u);  // first's block went with its last handle
    TavSharedPtr_voidConstructCopy(&z, &x);
    z.ptr = &member;  // same block, other pointer: the deleter gets whichever goes last
    TavSharedPtr_voidAssign(&x, &x);
    TavSharedPtr_voidAssign(&x, &z);
    TavWeakPtr_voidConstructCopy(&v, TavWeakPtr_voidConstructFromSharedPtr(&w, &x));
    TavWeakPtr_voidAssign(&w, &w);
    TavWeakPtr_voidAssign(&w, &v);
    EXPECT_EQ(Counts(y.ref), std::make_pair(3, 3));
    for (TavWeakPtr_void* h : {&w, &v}) TavWeakPtr_voidDestruct(h);
    // The last weak handle leaves the block to its shared owners.
    EXPECT_EQ(Counts(y.ref), std::make_pair(3, 1));
    for (TavSharedPtr_void* h : {&y, &z, &x}) TavSharedPtr_voidDestruct(h);
    EXPECT_EQ(member.deletes, 1);
}

// Handles sharing one block are locked, copied and destroyed on several threads at once.
TEST_F(SharedPtrConcurrency, CountsStayExactAcrossThreads) {
    Tracked object;
    TavSharedPtr_void root = Make(&object);
    TavWeakPtr_void observer;
    TavWeakPtr_voidConstructFromSharedPtr(&observer, &root);
    auto churn = [&] {
        for (int i = 0; i < 20000; ++i) {
            TavSharedPtr_void locked, copy;
            TavSharedPtr_voidConstructFromWeakPtr(&locked, &observer);
            TavSharedPtr_voidDestruct(TavSharedPtr_voidConstructCopy(&copy, &locked));
            TavSharedPtr_voidDestruct(&locked);
        }
    };
    std::thread t1(churn), t2(churn), t3(churn);
    for (std::thread* t : {&t1, &t2, &t3}) t->join();
    EXPECT_EQ(Counts(root.ref), std::make_pair(1, 2));
    TavSharedPtr_voidDestruct(&root);
    TavWeakPtr_voidDestruct(&observer);
}
