#include <pthread.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

std::string Json(TavProperties* bag) {
    TavString json;
    TavStringConstructDefault(&json, TavAllocatorGetDefault());
    EXPECT_EQ(TavPropertiesToJson(bag, &json), &json);
    std::string text = Text(&json);
    TavStringDestruct(&json);
    return text;
}

std::string ValueJson(TavPropertyValue v) {
    Bag bag;
    bag.Put("v", v);
    const std::string text = Json(bag);
    const std::string head = "{\"v\":";
    EXPECT_EQ(text.substr(0, head.size()), head);
    return text.substr(head.size(), text.size() - head.size() - 1);
}

// Runs the writer on a string holding "kept": true when the write failed
// and left that text alone.
bool FailsKeepingText(TavProperties* bag) {
    TavString json;
    TavStringConstructCStr(&json, "kept", TavAllocatorGetDefault());
    const bool failed = TavPropertiesToJson(bag, &json) == nullptr && Text(&json) == "kept";
    TavStringDestruct(&json);
    return failed;
}

void Deleter(TavVoidPtr, TavAllocator*) {}

TEST(JsonWriter, WritesTheWorkedExample) {
    Bag d;
    d.Put("e", Uint(7));
    Bag bag;
    bag.Put("a", Bool(true)).Put("b", Int(-3)).Put("c", Str("say \"x\"")).Put("d", Nested(d));
    bag.Put("f", Vec({Int(1), F64(0.5)}));
    EXPECT_EQ(Json(bag),
              R"({"a":{"type":"bool","value":true},"b":{"type":"int","value":-3},)"
              R"("c":{"type":"string","value":"say \"x\""},)"
              R"("d":{"type":"properties","value":{"e":{"type":"uint","value":7}}},)"
              R"("f":{"type":"vector","value":[{"type":"int","value":1},)"
              R"({"type":"float64","value":0.500000}]}})");
}

TEST(JsonWriter, WritesEmptyContainers) {
    Bag empty;
    EXPECT_EQ(Json(empty), "{}");
    EXPECT_EQ(ValueJson(Vec({})), R"({"type":"vector","value":[]})");
    EXPECT_EQ(ValueJson(Nested(empty)), R"({"type":"properties","value":{}})");
}

TEST(JsonWriter, WritesEveryScalarKindWithItsWord) {
    TavPropertyValue v;
    EXPECT_EQ(ValueJson(*TavPropertyValueConstructInt16(&v, -1, 0)),
              R"({"type":"int16","value":-1})");
    EXPECT_EQ(ValueJson(*TavPropertyValueConstructUint16(&v, 65535, 0)),
              R"({"type":"uint16","value":65535})");
    EXPECT_EQ(ValueJson(*TavPropertyValueConstructInt64(&v, INT64_MIN, 0)),
              R"({"type":"int64","value":-9223372036854775808})");
    EXPECT_EQ(ValueJson(*TavPropertyValueConstructUint64(&v, UINT64_MAX, 0)),
              R"({"type":"uint64","value":18446744073709551615})");
    EXPECT_EQ(ValueJson(*TavPropertyValueConstructSizeT(&v, 42, 0)),
              R"({"type":"size_t","value":42})");
    EXPECT_EQ(ValueJson(*TavPropertyValueConstructTime(&v, -5, 0)),
              R"({"type":"time","value":-5})");
    EXPECT_EQ(ValueJson(F32(1.25f)), R"({"type":"float32","value":1.250000})");
    EXPECT_EQ(ValueJson(*TavPropertyValueConstructResolution(&v, {640, 480}, 0)),
              R"({"type":"resolution","value":{"width": {"type": "size_t", "value": 640}, )"
              R"("height":{"type": "size_t", "value": 480}}})");
    EXPECT_EQ(ValueJson(*TavPropertyValueConstructMediaFormat(
                  &v, TAV_MEDIAFORMAT_FOURCC('N', 'V', '1', '2'), 0)),
              R"({"type":"media_format","value":"NV12"})");
    EXPECT_EQ(ValueJson(*TavPropertyValueConstructVoidPtr(&v, reinterpret_cast<void*>(1234), 0)),
              R"({"type":"ptr","value":"1234"})");
}

TEST(JsonWriter, FloatsMatchPrintfFixedNotation) {
    const double samples[] = {0.0,    -0.0,    0.125,  0.0000005, 0.0000015,  2.5e-7,
                              1e300,  -1e22,   123456.7890125, 1.0 / 3, 9.9999995,
                              std::numeric_limits<double>::max(),
                              std::numeric_limits<double>::denorm_min(),
                              std::numeric_limits<double>::infinity(),
                              -std::numeric_limits<double>::infinity(),
                              std::numeric_limits<double>::quiet_NaN()};
    for (double d : samples) {
        char expected[400];
        std::snprintf(expected, sizeof expected, R"({"type":"float64","value":%f})", d);
        EXPECT_EQ(ValueJson(F64(d)), expected) << d;
    }
}

TEST(JsonWriter, FloatsKeepTheirPointInAnyLocale) {
    CommaLocale comma;
    if (!comma.active()) GTEST_SKIP() << "no locale with a decimal comma";
    EXPECT_EQ(ValueJson(F64(-0.5)), R"({"type":"float64","value":-0.500000})");
}

TEST(JsonWriter, PointerKindsWriteAddressesInQuotes) {
    int object = 0;
    TavSharedPtr_void sp;
    ASSERT_NE(TavSharedPtr_voidConstruct(&sp, &object, &Deleter, TavAllocatorGetDefault()), nullptr);
    TavWeakPtr_void wp;
    TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
    const std::string address = std::to_string(reinterpret_cast<std::uintptr_t>(&object));
    TavPropertyValue v;

    ASSERT_NE(TavPropertyValueConstructSharedPtr(&v, &sp, "Frame", 0, TavAllocatorGetDefault()),
              nullptr);
    EXPECT_EQ(ValueJson(v), R"j({"type":"shared_ptr(Frame)","value":")j" + address + "\"}");
    ASSERT_NE(TavPropertyValueConstructWeakVoidPtr(&v, &wp, 0), nullptr);
    EXPECT_EQ(ValueJson(v), R"({"type":"weak_ptr","value":")" + address + "\"}");
    EXPECT_EQ(TavAtomicIntegerGetValue(&sp.ref->useCount), 1) << "the read gave its use back";

    TavSharedPtr_voidDestruct(&sp);
    ASSERT_NE(TavPropertyValueConstructWeakPtr(&v, &wp, "Frame", 0, TavAllocatorGetDefault()),
              nullptr);
    EXPECT_EQ(ValueJson(v), R"j({"type":"weak_ptr(Frame)","value":"0"})j");
    ASSERT_NE(TavPropertyValueConstructWeakVoidPtr(&v, &wp, 0), nullptr);
    EXPECT_EQ(ValueJson(v), R"({"type":"weak_ptr","value":"0"})");
    TavWeakPtr_voidDestruct(&wp);
}

TEST(JsonWriter, EscapesOnlyDoubleQuotesInStringValues) {
    EXPECT_EQ(ValueJson(Str("a\\\"b")), R"({"type":"string","value":"a\\"b"})");
    EXPECT_EQ(ValueJson(Str("\"\"")), R"({"type":"string","value":"\"\""})");
    EXPECT_EQ(ValueJson(Str("tab\there")), "{\"type\":\"string\",\"value\":\"tab\there\"}");
    Bag bag;
    bag.Put("q\"n", Int(1));
    EXPECT_EQ(Json(bag), R"({"q"n":{"type":"int","value":1}})");
}

TEST(JsonWriter, ReplacesTheCallersText) {
    Bag bag;
    bag.Put("a", Int(1));
    TavString json;
    TavStringConstructCStr(&json, "old text", TavAllocatorGetDefault());
    EXPECT_EQ(TavPropertiesToJson(bag, &json), &json);
    EXPECT_EQ(Text(&json), R"({"a":{"type":"int","value":1}})");
    TavStringDestruct(&json);
}

// Another thread can take the lock exactly when no bag was left locked.
bool LockIsFree(const TavProperties* bag) {
    bool free = false;
    std::thread([&] {
        auto* m = const_cast<pthread_mutex_t*>(&bag->mutex);
        free = pthread_mutex_trylock(m) == 0;
        if (free) pthread_mutex_unlock(m);
    }).join();
    return free;
}

TEST(JsonWriter, DepthLimitIsSixtyThreeNestedBags) {
    Bag ok;
    NestChain(ok, 63);
    const std::string text = Json(ok);
    EXPECT_NE(text.find(R"("x":{"type":"int","value":1})"), std::string::npos);
    EXPECT_EQ(text.back(), '}');

    Bag deep;
    deep.Put("a", Int(1));
    NestChain(deep, 64);
    EXPECT_TRUE(FailsKeepingText(deep));

    EXPECT_TRUE(LockIsFree(deep));
    const TavProperties* level = deep;
    for (int i = 0; i < 64; ++i) {
        level = TavPropertyValueGetProperties(TavPropertiesGetPropertyCStrConst(level, "n"));
        ASSERT_NE(level, nullptr);
        EXPECT_TRUE(LockIsFree(level)) << "level " << i + 1;
    }
}

TEST(JsonWriter, VectorsDoNotAddDepth) {
    // A bag inside vectors counts one level below the bag holding the
    // vector, however deeply the vectors nest: 1 + 62 levels are written...
    Bag chain;
    NestChain(chain, 62);
    Bag top;
    top.Put("v", Vec({Vec({Vec({Nested(chain)})})}));
    EXPECT_NE(Json(top).find(R"("x":{"type":"int","value":1})"), std::string::npos);

    // ...and 1 + 63 are not.
    Bag longer;
    NestChain(longer, 63);
    Bag tooDeep;
    tooDeep.Put("v", Vec({Vec({Nested(longer)})}));
    EXPECT_TRUE(FailsKeepingText(tooDeep));
}

TEST(JsonWriter, AllocationFailuresLeaveTheCallersStringAndLeakNothing) {
    tavtest::CountingAllocator alloc;
    const std::string expected =
        R"({"n":{"type":"properties","value":{"s":{"type":"string","value":"a\"b\""}}},)"
        R"("v":{"type":"vector","value":[{"type":"string","value":"\"q"},)"
        R"({"type":"properties","value":{}}]}})";
    Bag empty(alloc);
    Bag inner(alloc);
    inner.Put("s", Str("a\"b\"", alloc));
    Bag bag(alloc);
    bag.Put("n", Nested(inner)).Put("v", Vec({Str("\"q", alloc), Nested(empty)}, alloc));
    const std::size_t live = alloc.liveBlocks();

    const std::size_t points = tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        {
            TavString json;
            TavStringConstructDefault(&json, alloc);
            alloc.FailAt(0);
            TavStringAppendCStr(&json, "previous");
            alloc.FailAt(k);
            const TavString* result = TavPropertiesToJson(bag, &json);
            EXPECT_EQ(Text(&json), result ? expected : "previous") << "failing allocation " << k;
            EXPECT_EQ(result == nullptr, alloc.Failed()) << k;
            TavStringDestruct(&json);
        }
        EXPECT_EQ(alloc.liveBlocks(), live) << "failing allocation " << k;
    });
    EXPECT_GE(points, 4u);
}

TEST(JsonWriterConcurrency, WritesConsistentTextWhileAnotherThreadChangesTheBag) {
    Bag bag;
    TavPropertiesSetIntValueCStr(bag, "n.count", 0, TAV_TRUE);
    std::thread writer([&] {
        for (int i = 1; i <= 500; ++i) TavPropertiesSetIntValueCStr(bag, "n.count", i, TAV_TRUE);
    });
    for (int i = 0; i < 200; ++i) {
        const std::string text = Json(bag);
        EXPECT_EQ(text.rfind(R"({"n":{"type":"properties","value":{"count":{"type":"int","value":)", 0),
                  0u);
        EXPECT_EQ(text.substr(text.size() - 4), "}}}}");
    }
    writer.join();
    EXPECT_EQ(Json(bag),
              R"({"n":{"type":"properties","value":{"count":{"type":"int","value":500}}}})");
}

}  // namespace
