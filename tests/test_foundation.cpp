// Strings, number parsing, media formats, the atomic integer and the mutex.
#include <gtest/gtest.h>
#include <pthread.h>

#include <clocale>
#include <cmath>
#include <functional>
#include <string>
#include <thread>

#include "CountingAllocator.hpp"

using tavtest::CountingAllocator;
using tavtest::SweepAllocationFailures;

namespace {

std::string Text(const TavString& s) { return std::string(s.buf, s.size); }

using StringOp = std::function<TavString*(TavString*)>;
using ConstructOp = std::function<TavString*(TavString*, TavAllocator*)>;

// Runs `op` on a string holding `start` (allocated from the swept allocator)
// with each allocation failing in turn: a failed op returns NULL and leaves
// the text as it was, the op that goes through returns x holding `expected`,
// and nothing leaks either way.
void SweepStringOp(const char* start, const StringOp& op, const std::string& expected) {
    CountingAllocator alloc;
    const std::size_t points = SweepAllocationFailures(alloc, [&](std::size_t k) {
        alloc.FailAt(0);
        TavString x;
        ASSERT_NE(TavStringConstructCStr(&x, start, alloc), nullptr);
        alloc.FailAt(k);
        TavString* result = op(&x);
        const bool failed = alloc.Failed();
        EXPECT_EQ(result, failed ? nullptr : &x);
        EXPECT_EQ(Text(x), failed ? std::string(start) : expected);
        EXPECT_EQ(x.buf[x.size], '\0');
        TavStringDestruct(&x);
        EXPECT_EQ(alloc.liveBlocks(), 0u);
    });
    EXPECT_GE(points, 1u) << "the operation was expected to allocate";
}

// A constructor that fails returns NULL and leaves nothing to destroy; one
// that succeeds takes exactly the text and its NUL.
void SweepConstructor(const ConstructOp& construct, const std::string& expected) {
    CountingAllocator alloc;
    SweepAllocationFailures(alloc, [&](std::size_t) {
        TavString x;
        TavString* result = construct(&x, alloc);
        EXPECT_EQ(result, alloc.Failed() ? nullptr : &x);
        if (result == nullptr) {
            EXPECT_EQ(alloc.liveBlocks(), 0u);
            return;
        }
        EXPECT_EQ(Text(x), expected);
        EXPECT_EQ(x.allocator, alloc.get());
        EXPECT_EQ(alloc.lastAllocationSize(), expected.size() + 1);
        TavStringDestruct(&x);
    });
}

}  // namespace

TEST(String, EmptyStringsNeverAllocate) {
    CountingAllocator alloc;
    TavString a, b, c, d;
    const char* text = "xyz";
    TavStringConstructDefault(&a, alloc);
    ASSERT_NE(TavStringConstructCStr(&b, "", alloc), nullptr);
    ASSERT_NE(TavStringConstructRange(&c, text, text, alloc), nullptr);
    ASSERT_NE(TavStringConstructCopy(&d, &a), nullptr);
    EXPECT_NE(TavStringAssign(&b, &c), nullptr);
    EXPECT_NE(TavStringAppendCStr(&a, ""), nullptr);
    EXPECT_NE(TavStringAppendFormatted(&a, "%s", ""), nullptr);
    TavStringClear(&d);
    EXPECT_STREQ(TavStringCStr(&a), "");
    EXPECT_TRUE(TavStringEmpty(&a));
    for (TavString* s : {&a, &b, &c, &d}) TavStringDestruct(s);
    EXPECT_EQ(alloc.attempts(), 0u);
}

TEST(String, ConstructorsAndMutatorsFailCleanly) {
    const char* range = "0123456789abcdefghij";
    const struct {
        ConstructOp op;
        const char* expected;
    } constructors[] = {
        {[](TavString* x, TavAllocator* a) { return TavStringConstructCStr(x, "hello", a); },
         "hello"},
        {[&](TavString* x, TavAllocator* a) {
             return TavStringConstructRange(x, range, range + 5, a);
         },
         "01234"},
        {[](TavString* x, TavAllocator* a) {  // a copy allocates from its source's allocator
             const TavString y{a, const_cast<char*>("copied"), 6, 0};
             return TavStringConstructCopy(x, &y);
         },
         "copied"},
    };
    for (const auto& c : constructors) SweepConstructor(c.op, c.expected);

    TavString src;
    TavStringConstructCStr(&src, "replacement text", TavAllocatorGetDefault());
    const struct {
        const char* start;
        StringOp op;
        const char* expected;
    } mutators[] = {
        {"abc", [&](TavString* x) { return TavStringAssign(x, &src); }, "replacement text"},
        {"abc", [&](TavString* x) { return TavStringAssignRange(x, range, range + 20); }, range},
        {"abc", [](TavString* x) { return TavStringAppendChar(x, 'd'); }, "abcd"},
        {"abc", [](TavString* x) { return TavStringAppendCStr(x, "def"); }, "abcdef"},
        {"abc", [](TavString* x) { return TavStringInsertChar(x, 1, '-'); }, "a-bc"},
        {"abc", [](TavString* x) { return TavStringAppendFormatted(x, "%d|%s", 4, "s"); },
         "abc4|s"},
        {"", [](TavString* x) { return TavStringAppendFormatted(x, "%05.1f", 2.25); }, "002.2"},
    };
    for (const auto& c : mutators) SweepStringOp(c.start, c.op, c.expected);
    TavStringDestruct(&src);
}

TEST(String, AssignKeepsItsAllocatorAndReusesItsBuffer) {
    CountingAllocator mine, theirs;
    TavString x, y;
    TavStringConstructCStr(&x, "a long enough original", mine);
    TavStringConstructCStr(&y, "short", theirs);
    const char* buffer = x.buf;
    ASSERT_EQ(TavStringAssign(&x, &y), &x);
    EXPECT_EQ(x.allocator, mine.get());
    EXPECT_EQ(x.buf, buffer);
    EXPECT_EQ(Text(x), "short");
    EXPECT_EQ(mine.allocations(), 1u);
    EXPECT_EQ(TavStringAssign(&x, &x), &x);
    EXPECT_EQ(Text(x), "short");
    TavStringDestruct(&x);
    TavStringDestruct(&y);
}

TEST(String, MoveStealsWithinOneAllocatorAndCopiesAcross) {
    CountingAllocator one, other;
    TavString x, y, z;
    TavStringConstructCStr(&x, "old", one);
    TavStringConstructCStr(&y, "moved text", one);
    const char* stolen = y.buf;
    ASSERT_EQ(TavStringMove(&x, &y), &x);
    EXPECT_EQ(x.buf, stolen);
    EXPECT_EQ(Text(x), "moved text");
    EXPECT_TRUE(TavStringEmpty(&y));
    EXPECT_EQ(one.allocations(), 2u);
    EXPECT_EQ(one.liveBlocks(), 1u);  // x's old buffer went back

    TavStringConstructDefault(&z, other);
    other.FailAt(1);
    EXPECT_EQ(TavStringMove(&z, &x), nullptr);
    EXPECT_TRUE(TavStringEmpty(&z));
    EXPECT_EQ(Text(x), "moved text");
    other.FailAt(0);
    ASSERT_EQ(TavStringMove(&z, &x), &z);
    EXPECT_EQ(z.allocator, other.get());
    EXPECT_EQ(Text(z), "moved text");
    EXPECT_NE(TavStringAppendCStr(&x, "still usable"), nullptr);
    for (TavString* s : {&x, &y, &z}) TavStringDestruct(s);
}

TEST(String, StaticTextWithoutCapacityIsNeverWrittenOrFreed) {
    CountingAllocator alloc;
    static const char kTab[] = "\t";  // read-only: a write through buf would fault
    const TavString tab{alloc, const_cast<char*>(kTab), 1, 0};
    TavString kept = tab, copy, grown = tab, cleared = tab, assigned = tab, empty;
    ASSERT_NE(TavStringConstructCopy(&copy, &tab), nullptr);
    ASSERT_NE(TavStringAppendChar(&grown, 'x'), nullptr);
    TavStringClear(&cleared);
    TavStringAssign(&assigned, TavStringConstructDefault(&empty, alloc));
    EXPECT_EQ(Text(copy), "\t");
    EXPECT_EQ(Text(grown), "\tx");
    EXPECT_TRUE(TavStringEmpty(&cleared));
    EXPECT_TRUE(TavStringEmpty(&assigned));
    for (TavString* s : {&kept, &copy, &grown, &cleared, &assigned, &empty}) {
        TavStringDestruct(s);
    }
    EXPECT_EQ(alloc.liveBlocks(), 0u);
}

TEST(String, AppendsGrowGeometrically) {
    CountingAllocator alloc;
    TavString x;
    TavStringConstructDefault(&x, alloc);
    for (int i = 0; i < 5000; ++i) {
        ASSERT_NE(TavStringAppendChar(&x, static_cast<char>('a' + i % 26)), nullptr);
    }
    EXPECT_EQ(x.size, 5000u);
    EXPECT_EQ(std::string(x.buf + 4990), "yzabcdefgh");
    EXPECT_LE(alloc.allocations(), 16u);
    EXPECT_EQ(alloc.liveBlocks(), 1u);
    TavStringDestruct(&x);
}

TEST(String, AppendFormattedUsesSpareRoomFirst) {
    CountingAllocator alloc;
    TavString x;
    TavStringConstructDefault(&x, alloc);
    TavStringAppendChar(&x, 'a');  // leaves spare capacity behind the text
    const std::size_t before = alloc.allocations();
    ASSERT_NE(TavStringAppendFormatted(&x, "%d", 7), nullptr);
    EXPECT_EQ(alloc.allocations(), before);
    const std::string big(300, 'z');
    ASSERT_NE(TavStringAppendFormatted(&x, "[%s]%lu", big.c_str(), 18446744073709551615ul),
              nullptr);
    EXPECT_EQ(Text(x), "a7[" + big + "]18446744073709551615");
    TavStringDestruct(&x);
    TavStringConstructDefault(&x, alloc);
    TavStringAppendChar(&x, 'a');  // 'a' and a little spare room
    // A first pass truncated in the spare room must not show when growing fails.
    alloc.FailAt(1);
    EXPECT_EQ(TavStringAppendFormatted(&x, "%s", big.c_str()), nullptr);
    EXPECT_STREQ(TavStringCStr(&x), "a");
    EXPECT_EQ(x.size, 1u);
    TavStringDestruct(&x);
}

TEST(String, AppendingItselfAndInsertingAnywhere) {
    TavString x;
    TavStringConstructCStr(&x, "abc", TavAllocatorGetDefault());
    ASSERT_NE(TavStringAppendCStr(&x, x.buf), nullptr);  // grows while reading itself
    EXPECT_EQ(Text(x), "abcabc");
    TavStringInsertChar(&x, 0, '<');
    TavStringInsertChar(&x, x.size, '>');
    TavStringInsertChar(&x, 4, '|');
    EXPECT_EQ(Text(x), "<abc|abc>");
    EXPECT_EQ(TavStringInsertChar(&x, x.size + 1, '!'), nullptr);
    EXPECT_EQ(Text(x), "<abc|abc>");
    EXPECT_EQ(*TavStringAtConst(&x, 4), '|');
    TavStringDestruct(&x);
}

TEST(String, CompareOrdersBytesUnsignedWithPrefixesFirst) {
    auto cmp = [](const char* a, const char* b) {
        TavString x, y;
        TavStringConstructCStr(&x, a, TavAllocatorGetDefault());
        TavStringConstructCStr(&y, b, TavAllocatorGetDefault());
        const int order = TavStringCompare(&x, &y);
        EXPECT_EQ(TavStringLess(&x, &y), order < 0);
        EXPECT_EQ(TavStringEqual(&x, &y), order == 0);
        TavStringDestruct(&x);
        TavStringDestruct(&y);
        return order;
    };
    EXPECT_LT(cmp("", "a"), 0);
    EXPECT_LT(cmp("ab", "abc"), 0);
    EXPECT_GT(cmp("abc", "ab"), 0);
    EXPECT_LT(cmp("abc", "abd"), 0);
    EXPECT_LT(cmp("Z", "a"), 0);
    EXPECT_GT(cmp("\xc3\xa9", "z"), 0);  // bytes above 0x7f sort after ASCII
    EXPECT_EQ(cmp("same", "same"), 0);
}

TEST(String, FindFirstOfChar) {
    TavString x;
    TavStringConstructCStr(&x, "a\"b\"c", TavAllocatorGetDefault());
    EXPECT_EQ(TavStringFindFirstOfChar(&x, 0, '"'), 1u);
    EXPECT_EQ(TavStringFindFirstOfChar(&x, 1, '"'), 1u);
    EXPECT_EQ(TavStringFindFirstOfChar(&x, 2, '"'), 3u);
    EXPECT_EQ(TavStringFindFirstOfChar(&x, 4, '"'), TAV_STRING_NPOS);
    EXPECT_EQ(TavStringFindFirstOfChar(&x, 99, 'a'), TAV_STRING_NPOS);
    EXPECT_EQ(TavStringFindFirstOfChar(&x, 0, '\0'), TAV_STRING_NPOS);
    TavStringDestruct(&x);
}

namespace {

struct FloatCase {
    const char* text;
    double value;
    std::ptrdiff_t consumed;
    bool error;
};

void ExpectFloat(const FloatCase& c) {
    const char* end = nullptr;
    TavBool error = 2;
    const double value = TavStrToFloat64(c.text, &end, &error);
    EXPECT_EQ(error != 0, c.error) << c.text;
    EXPECT_EQ(end - c.text, c.consumed) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
    EXPECT_EQ(std::signbit(value), std::signbit(c.value)) << c.text;
}

}  // namespace

TEST(Numbers, Float64ReadsTheFormsStrtodReads) {
    const double inf = HUGE_VAL;
    const FloatCase cases[] = {
        {"2.", 2.0, 2, false},     {"-0.25,x", -0.25, 5, false},
        {".5", 0.5, 2, false},     {"+3.25e2", 325.0, 7, false},
        {" \t\n7", 7.0, 4, false}, {"1e", 1.0, 1, false},
        {"12abc", 12.0, 2, false}, {"", 0.0, 0, true},
        {"+-1", 0.0, 0, true},     {"- 1", 0.0, 0, true},
        {"1e400", inf, 5, true},   {"-1e400", -inf, 6, true},
        {"1e-400", 0.0, 6, true},  {"-0.0000e-999", -0.0, 12, false},
    };
    for (const FloatCase& c : cases) ExpectFloat(c);
}

TEST(Numbers, Float64IgnoresTheProcessLocale) {
    bool commaLocale = false;
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "ru_RU.UTF-8"}) {
        if ((commaLocale = std::setlocale(LC_NUMERIC, name) != nullptr)) break;
    }
    if (!commaLocale) GTEST_SKIP() << "no comma-decimal locale installed";
    const char* end = nullptr;
    TavBool error = TAV_TRUE;
    const double value = TavStrToFloat64("1.5", &end, &error);
    std::setlocale(LC_NUMERIC, "C");
    EXPECT_EQ(value, 1.5);
    EXPECT_FALSE(error);
    EXPECT_EQ(*end, '\0');
}

TEST(Numbers, IntegersReadLikeStrtolAndStrtoul) {
    const struct {
        const char* text;
        TavInt value;
        std::ptrdiff_t consumed;
    } cases[] = {
        {"99999999999", 1215752191, 11},
        {"+3000000000", -1294967296, 11},
        {"-99999999999999999999", 0, 21},
        {"99999999999999999999", -1, 20},
        {"-5,", -5, 2},
        {"12abc", 12, 2},
        {"x", 0, 0},
    };
    for (const auto& c : cases) {
        const char* end = nullptr;
        EXPECT_EQ(TavStrToInt32(c.text, &end, 10), c.value) << c.text;
        EXPECT_EQ(end - c.text, c.consumed) << c.text;
    }
    EXPECT_EQ(TavStrToUint64("18446744073709551615", nullptr, 10), 18446744073709551615ull);
}

TEST(MediaFormat, NamesPrintableBytesFromTheLowest) {
    char buf[5];
    const TavMediaFormat nv12 = TAV_MEDIAFORMAT_FOURCC('N', 'V', '1', '2');
    EXPECT_STREQ(TavMediaFormatToCStr(&nv12, buf), "NV12");
    const TavMediaFormat zero = 0;
    EXPECT_STREQ(TavMediaFormatToCStr(&zero, buf), "....");
    const TavMediaFormat edges = TAV_MEDIAFORMAT_FOURCC(' ', '~', 0x7f, 0x80);
    EXPECT_STREQ(TavMediaFormatToCStr(&edges, buf), " ~..");
    const TavMediaFormat same = TAV_MEDIAFORMAT_FOURCC('N', 'V', '1', '2');
    EXPECT_TRUE(TavMediaFormatEqual(&nv12, &same));
    EXPECT_FALSE(TavMediaFormatEqual(&nv12, &zero));
    const TavResolution r{640, 480}, s{640, 480}, t{480, 640};
    EXPECT_TRUE(TavResolutionEqual(&r, &s));
    EXPECT_FALSE(TavResolutionEqual(&r, &t));
}

TEST(AtomicInteger, ConditionalIncrementOnlyAboveZero) {
    TavAtomicInteger n;
    TavAtomicIntegerConstruct(&n, 1);
    EXPECT_TRUE(TavAtomicIntegerIncrementConditional(&n));
    EXPECT_FALSE(TavAtomicIntegerDecrement(&n));
    EXPECT_TRUE(TavAtomicIntegerDecrement(&n));  // reports reaching zero
    EXPECT_FALSE(TavAtomicIntegerIncrementConditional(&n));
    EXPECT_TRUE(TavAtomicIntegerCompareAndExchange(&n, 0, -1));
    EXPECT_FALSE(TavAtomicIntegerCompareAndExchange(&n, 0, 5));
    EXPECT_FALSE(TavAtomicIntegerIncrementConditional(&n));  // a signed test
    EXPECT_EQ(TavAtomicIntegerGetValue(&n), -1);
}

TEST(Mutex, IsRecursiveAndExcludesOtherThreads) {
    TavMutex m;
    ASSERT_EQ(TavMutexConstruct(&m), &m);
    auto otherThreadCanLock = [&m] {
        bool locked = false;
        std::thread([&] {
            locked = pthread_mutex_trylock(&m) == 0;
            if (locked) pthread_mutex_unlock(&m);
        }).join();
        return locked;
    };
    TavMutexLock(&m);
    TavMutexLock(&m);  // the same thread enters again
    EXPECT_FALSE(otherThreadCanLock());
    TavMutexUnlock(&m);
    EXPECT_FALSE(otherThreadCanLock());
    TavMutexUnlock(&m);
    EXPECT_TRUE(otherThreadCanLock());
    TavMutexDestruct(&m);
}
