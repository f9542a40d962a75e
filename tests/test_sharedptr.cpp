// Shared and weak handles: counts, deleter calls and the count block's life.
#include <gtest/gtest.h>

#include <thread>
#include <utility>

#include "CountingAllocator.hpp"

namespace {

// Objects are ints counting their deletions; each delete notes the watched block's use count.
const TavSharedPtrRefCount* g_watch;
int g_watchedUse = -1;

void CountDelete(TavVoidPtr object, TavAllocator*) {
    ++*static_cast<int*>(object);
    if (g_watch != nullptr) g_watchedUse = TavAtomicIntegerGetValue(&g_watch->useCount);
}

std::pair<int, int> Counts(const TavSharedPtrRefCount* ref) {  // use, weak
    return {TavAtomicIntegerGetValue(&ref->useCount), TavAtomicIntegerGetValue(&ref->weakCount)};
}

}  // namespace

// The object goes with the last shared handle, the block with the last weak one; after that, a
// lock gives an empty handle, and empty handles change and call nothing.
TEST(SharedPtr, ObjectGoesWithTheLastSharedHandleAndTheBlockWithTheLastWeakOne) {
    tavtest::CountingAllocator alloc;
    int object = 0;
    TavSharedPtr_void sp, locked, empty;
    TavWeakPtr_void wp, none;
    alloc.FailAt(1);
    EXPECT_EQ(TavSharedPtr_voidConstruct(&sp, &object, &CountDelete, alloc), nullptr);
    ASSERT_EQ(TavSharedPtr_voidConstruct(&sp, &object, &CountDelete, alloc), &sp);
    TavSharedPtr_voidConstructFromWeakPtr(&locked, TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp));
    EXPECT_EQ(locked.ptr, &object);
    EXPECT_EQ(Counts(sp.ref), std::make_pair(2, 2));
    TavSharedPtr_voidDestruct(&locked);
    TavSharedPtr_voidDestruct(&sp);
    EXPECT_EQ(object, 1) << "deleted once, and not by the failed maker";
    TavSharedPtr_voidConstructFromWeakPtr(&locked, &wp);  // expired: never revived
    EXPECT_EQ(locked.ref, nullptr);
    EXPECT_EQ(locked.ptr, nullptr);
    EXPECT_EQ(Counts(wp.ref), std::make_pair(0, 1));
    TavWeakPtr_voidDestruct(&wp);
    EXPECT_EQ(alloc.deallocations(), 1u);
    TavSharedPtr_voidAssign(TavSharedPtr_voidConstructCopy(&empty, &locked), &locked);
    TavWeakPtr_voidAssign(TavWeakPtr_voidConstructFromSharedPtr(&none, &empty), &none);
    TavSharedPtr_voidDestruct(TavSharedPtr_voidConstructFromWeakPtr(&sp, &none));
    for (TavSharedPtr_void* h : {&locked, &empty}) TavSharedPtr_voidDestruct(h);
    TavWeakPtr_voidDestruct(&none);
}

TEST(SharedPtr, AssignReleasesTheOldObjectFirstAndMovesNoCountWithinOneBlock) {
    tavtest::CountingAllocator alloc;
    int first = 0, second = 0, member = 0;
    TavSharedPtr_void x, y, z;
    TavWeakPtr_void w, v;
    TavSharedPtr_voidConstruct(&x, &first, &CountDelete, alloc);
    TavSharedPtr_voidConstruct(&y, &second, &CountDelete, alloc);
    g_watch = y.ref;
    ASSERT_EQ(TavSharedPtr_voidAssign(&x, &y), &x);
    g_watch = nullptr;
    EXPECT_EQ(g_watchedUse, 1) << "first was deleted before the source's count was taken";
    TavSharedPtr_voidConstructCopy(&z, &x);
    z.ptr = &member;  // same block, other pointer: the deleter gets whichever goes last
    TavSharedPtr_voidAssign(&x, &x);
    TavSharedPtr_voidAssign(&x, &z);
    TavWeakPtr_voidConstructCopy(&v, TavWeakPtr_voidConstructFromSharedPtr(&w, &x));
    TavWeakPtr_voidAssign(&w, &w);
    TavWeakPtr_voidAssign(&w, &v);
    EXPECT_EQ(Counts(y.ref), std::make_pair(3, 3));
    for (TavWeakPtr_void* h : {&w, &v}) TavWeakPtr_voidDestruct(h);  // the block stays
    for (TavSharedPtr_void* h : {&y, &z, &x}) TavSharedPtr_voidDestruct(h);
    EXPECT_EQ(member, 1);
}

// Handles sharing one block are locked, copied and destroyed on several threads at once.
TEST(SharedPtrConcurrency, CountsStayExactAcrossThreads) {
    tavtest::CountingAllocator alloc;
    int object = 0;
    TavSharedPtr_void root;
    TavWeakPtr_void observer;
    TavSharedPtr_voidConstruct(&root, &object, &CountDelete, alloc);
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
