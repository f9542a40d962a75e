// Strings, the mutex and the checking allocator every other test relies on. (Number parsing:
// the reader's and the JSON reader's tests.)
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <tuple>

#include "CountingAllocator.hpp"

namespace {

std::string Text(const TavString& s) { return std::string(s.buf, s.size); }

// Static text (no buffer of its own) in a string record.
TavString View(const char* text, TavAllocator* a = nullptr) {
    return TavString{a, const_cast<char*>(text), std::strlen(text), 0};
}

}  // namespace

// Each allocation of each operation fails in turn: a failed constructor leaves nothing to destroy,
// a failed mutator the text as it was; the one that goes through holds the expected text, in the
// string's own allocator. Empty results allocate nothing. The allocator reports any leak.
TEST(String, EveryAllocatingOperationFailsCleanly) {
    static const char range[] = "0123456789abcdefghij";
    static const TavString kForeign = View("foreign", TavAllocatorGetDefault());  // other allocator
    const struct {
        const char* start;  // NULL: op constructs the string, from the allocator preset in it
        TavString* (*op)(TavString*);
        const char* expected;
    } cases[] = {
        {nullptr, [](TavString* x) { return TavStringConstructCStr(x, "hi", x->allocator); }, "hi"},
        {nullptr,
         [](TavString* x) {  // a copy allocates from its source's allocator
             const TavString y = View("copied", x->allocator);
             return TavStringConstructCopy(x, &y);
         },
         "copied"},
        {"abc", [](TavString* x) { return TavStringAssign(x, &kForeign); }, "foreign"},
        {"abc", [](TavString* x) { return TavStringAssignRange(x, range, range + 20); }, range},
        {"abc", [](TavString* x) { return TavStringAppendCStr(x, x->buf); }, "abcabc"},
        {"abc", [](TavString* x) { return TavStringAppendFormatted(x, "%d|%s", 4, "s"); },
         "abc4|s"},
        {"", [](TavString* x) { return TavStringAppendFormatted(x, "%s", ""); }, ""},
        {"abc",
         [](TavString* x) {  // across allocators a move copies; y keeps its text on failure
             TavString y = kForeign;
             TavString* moved = TavStringMove(x, &y);
             if (moved == nullptr) {
                 EXPECT_EQ(Text(y), "foreign");
             }
             return moved;
         },
         "foreign"},
    };
    tavtest::CountingAllocator alloc;
    for (const auto& c : cases) {
        const std::size_t points = tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
            alloc.FailAt(0);
            TavString x{alloc.get(), nullptr, 0, 0};
            ASSERT_TRUE(c.start == nullptr || TavStringConstructCStr(&x, c.start, alloc));
            alloc.FailAt(k);
            const TavString* result = c.op(&x);
            const bool failed = alloc.Failed();
            EXPECT_EQ(result, failed ? nullptr : &x) << c.expected;
            if (c.start == nullptr && failed) return;
            EXPECT_EQ(Text(x), failed ? c.start : c.expected);
            EXPECT_EQ(x.buf[x.size], '\0');
            EXPECT_EQ(x.allocator, alloc.get());
            TavStringDestruct(&x);
        });
        EXPECT_EQ(points == 0, *c.expected == '\0') << c.expected << ": allocations";
    }
}

// A format that fits the spare room costs no allocation, and a failed growth after a first pass
// into the spare room hides what that pass wrote. A move within one allocator takes the buffer.
// Comparison orders unsigned bytes, proper prefixes first.
TEST(String, AppendFormattedUsesSpareRoomMovesTakeTheBufferAndCompareOrdersBytes) {
    tavtest::CountingAllocator alloc;
    TavString x, y;
    TavStringAppendChar(TavStringConstructDefault(&x, alloc), 'a');  // leaves spare room
    ASSERT_NE(TavStringAppendFormatted(&x, "%d", 7), nullptr);
    alloc.FailAt(1);
    EXPECT_EQ(TavStringAppendFormatted(&x, "%s", std::string(99, 'z').c_str()), nullptr);
    EXPECT_STREQ(TavStringCStr(&x), "a7");
    const char* buffer = x.buf;
    ASSERT_EQ(TavStringMove(TavStringConstructDefault(&y, alloc), &x), &y);
    EXPECT_EQ(y.buf, buffer);
    EXPECT_EQ(alloc.attempts(), 2u) << "the first append and the failed growth";
    for (TavString* s : {&x, &y}) TavStringDestruct(s);
    const char* const ascending[] = {"", "Z", "a", "ab", "abd", "\xc3\xa9"};
    for (std::size_t i = 0; i < std::size(ascending); ++i) {
        for (std::size_t j = 0; j < std::size(ascending); ++j) {
            const TavString l = View(ascending[i]), r = View(ascending[j]);
            const int order = TavStringCompare(&l, &r);
            EXPECT_EQ((order > 0) - (order < 0), (i > j) - (i < j)) << i << " vs " << j;
        }
    }
}

// strtod's forms and ranges in the C locale; strtol saturating, then the low 32 bits.
TEST(Numbers, ReadAsTheCLibraryReadsThem) {
    const std::tuple<const char*, double, std::ptrdiff_t, bool> floats[] = {
        {"2.", 2.0, 2, false},        {"-0.25,x", -0.25, 5, false},
        {".5", 0.5, 2, false},        {"+3.25e2", 325.0, 7, false},
        {" \t\n7", 7.0, 4, false},    {"1e", 1.0, 1, false},
        {"", 0.0, 0, true},           {"+-1", 0.0, 0, true},
        {"1e400", HUGE_VAL, 5, true}, {"-1e400", -HUGE_VAL, 6, true},
        {"1e-400", 0.0, 6, true},     {"-0.0000e-999", -0.0, 12, false},
    };
    for (const auto& [text, expected, consumed, expectError] : floats) {
        const char* end = nullptr;
        TavBool error = 2;
        const double value = TavStrToFloat64(text, &end, &error);
        EXPECT_EQ(error != 0, expectError) << text;
        EXPECT_EQ(end - text, consumed) << text;
        EXPECT_TRUE(value == expected && std::signbit(value) == std::signbit(expected)) << text;
    }
    const std::tuple<const char*, TavInt, std::ptrdiff_t> ints[] = {
        {"99999999999", 1215752191, 11},
        {"+3000000000", -1294967296, 11},
        {"-99999999999999999999", 0, 21},
        {"99999999999999999999", -1, 20},
        {"-5,", -5, 2},
        {"x", 0, 0},
    };
    for (const auto& [text, value, consumed] : ints) {
        const char* end = nullptr;
        EXPECT_EQ(TavStrToInt32(text, &end, 10), value) << text;
        EXPECT_EQ(end - text, consumed) << text;
    }
    char buf[5];
    const TavMediaFormat nv12 = TAV_MEDIAFORMAT_FOURCC('N', 'V', '1', '2'), zero = 0;
    EXPECT_STREQ(TavMediaFormatToCStr(&nv12, buf), "NV12");
    EXPECT_STREQ(TavMediaFormatToCStr(&zero, buf), "....");
}

TEST(Mutex, IsRecursive) {
    TavMutex m;
    TavMutexConstruct(&m);
    TavMutexLock(&m);
    TavMutexLock(&m);  // the same thread enters again
    TavMutexUnlock(&m);
    bool otherThreadLocked = true;  // still held once: another thread must not get in
    std::thread([&] { otherThreadLocked = pthread_mutex_trylock(&m) == 0; }).join();
    EXPECT_FALSE(otherThreadLocked);
    TavMutexUnlock(&m);
    TavMutexDestruct(&m);
}

// Each broken promise is one test failure naming it; the blocks are freed all the same.
void WithTwo(void (*f)(tavtest::CountingAllocator&, tavtest::CountingAllocator&)) {
    tavtest::CountingAllocator a, b;
    f(a, b);
}
TEST(CheckingAllocator, ReportsWrongSizesForeignBlocksAndLeaks) {
    using A = tavtest::CountingAllocator;
    const std::pair<void (*)(A&, A&), const char*> broken[] = {
        {[](A& a, A&) { TavAllocatorDeallocate(a, TavAllocatorAllocate(a, 8), 7); }, "byte count"},
        {[](A& a, A& b) {
             void* p = TavAllocatorAllocate(a, 8);
             TavAllocatorDeallocate(b, p, 8);
             TavAllocatorDeallocate(a, p, 8);
         },
         "did not hand out"},
        {[](A& a, A&) { TavAllocatorAllocate(a, 3); }, "blocks still live: 3 bytes"},
    };
    for (const auto& [f, what] : broken) EXPECT_NONFATAL_FAILURE(WithTwo(f), what);
}
