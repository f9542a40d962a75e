#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

// The writer's text, or "FAILED" (see Written).
std::string Json(TavProperties* bag) {
    return Written([&](TavString* s) { return TavPropertiesToJson(bag, s); });
}

std::string Member(const std::string& word, const std::string& value) {
    return R"({"type":")" + word + R"(","value":)" + value + "}";
}

// The text of v as the value of a bag's only entry.
std::string ValueJson(TavPropertyValue v) {
    const std::string text = Json(Bag().Put("v", v));
    return text.substr(5, text.size() - 6);
}

TEST(JsonWriter, WritesTheWorkedExampleReplacingTheCallersText) {
    Bag d, bag;
    bag.Put("a", Bool(true)).Put("b", Int(-3)).Put("c", Str("say \"x\""));
    bag.Put("d", Nested(d.Put("e", Uint(7)))).Put("f", Vec({Int(1), F64(0.5)}));
    EXPECT_EQ(Json(bag),
              R"({"a":{"type":"bool","value":true},"b":{"type":"int","value":-3},)"
              R"("c":{"type":"string","value":"say \"x\""},)"
              R"("d":{"type":"properties","value":{"e":{"type":"uint","value":7}}},)"
              R"("f":{"type":"vector","value":[{"type":"int","value":1},)"
              R"({"type":"float64","value":0.500000}]}})");
}

// Only the quotes of string values are escaped, a backslash left as is; floats as printf "%f".
TEST(JsonWriter, WritesEachKindWithItsWord) {
    const struct { TavPropertyValue value; const char* word; const char* text; } kinds[] = {
        {Str("a\\\"b"), "string", R"("a\\"b")"},
        {Vec({}), "vector", "[]"},
        {Nested(Bag()), "properties", "{}"},
        {Make(TavPropertyValueConstructInt16, -1, 0), "int16", "-1"},
        {Make(TavPropertyValueConstructUint16, 65535, 0), "uint16", "65535"},
        {Make(TavPropertyValueConstructInt64, INT64_MIN, 0), "int64", "-9223372036854775808"},
        {Make(TavPropertyValueConstructUint64, UINT64_MAX, 0), "uint64", "18446744073709551615"},
        {Make(TavPropertyValueConstructTime, -5, 0), "time", "-5"},
        {F32(1.25f), "float32", "1.250000"},
        {Make(TavPropertyValueConstructMediaFormat, TAV_MEDIAFORMAT_FOURCC('N', 'V', '1', '2'), 0),
         "media_format", "\"NV12\""},
        {Make(TavPropertyValueConstructResolution, TavResolution{640, 480}, 0), "resolution",
         R"({"width": {"type": "size_t", "value": 640}, )"
         R"("height":{"type": "size_t", "value": 480}})"},
    };
    for (const auto& k : kinds) EXPECT_EQ(ValueJson(k.value), Member(k.word, k.text));
    EXPECT_EQ(Json(Bag().Put("q\"n", Int(1))), "{\"q\"n\":" + Member("int", "1") + "}");
    using L = std::numeric_limits<double>;
    const double samples[] = {-0.0, 5e-7, 1.5e-6, 2.5e-7, 1e300, -1e22, 123456.7890125, 1.0 / 3,
                              9.9999995, L::max(), L::denorm_min(), L::infinity(), L::quiet_NaN()};
    for (double d : samples) {
        char expected[400];
        std::snprintf(expected, sizeof expected, "%f", d);
        EXPECT_EQ(ValueJson(F64(d)), Member("float64", expected)) << d;
    }
}

TEST(JsonWriter, PointerKindsWriteTheAddressTheyReachInQuotes) {
    int object = 0;
    const std::string address = '"' + std::to_string(reinterpret_cast<uintptr_t>(&object)) + '"';
    TavSharedPtr_void sp;
    TavSharedPtr_voidConstruct(&sp, &object, [](TavVoidPtr, TavAllocator*) {},
                               TavAllocatorGetDefault());
    TavWeakPtr_void wp;
    TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
    const auto weak = [&] { return ValueJson(Make(TavPropertyValueConstructWeakVoidPtr, &wp, 0)); };
    EXPECT_EQ(ValueJson(Make(TavPropertyValueConstructSharedPtr, &sp, "Frame", 0, sp.a)),
              Member("shared_ptr(Frame)", address));
    EXPECT_EQ(weak(), Member("weak_ptr", address));
    TavSharedPtr_voidDestruct(&sp);  // expires only if writing gave back the use it took
    EXPECT_EQ(weak(), Member("weak_ptr", "\"0\""));
    TavWeakPtr_voidDestruct(&wp);
}

// The walk keeps its place in memory of its own, not on the thread's stack:
// vectors nest as deep as that memory goes and do not count as levels, bags
// stop at 63 below the top one; a failure unlocks every bag on its way out.
TEST(JsonWriter, WritesVectorsNestedAtAnyDepthAndSixtyThreeLevelsOfBags) {
    Bag vectors, chain, deep, fits, tooDeep;
    PutVectorChain(vectors, "v", kDeep, Int(1));
    EXPECT_EQ(Json(vectors), "{\"v\":" + Repeat(R"({"type":"vector","value":[)", kDeep) +
                                 Member("int", "1") + Repeat("]}", kDeep) + "}");
    EXPECT_EQ(Json(deep.Put("a", Int(1)).Put("n", Chain(64))), "FAILED");
    PutChain(chain, kDeep);
    EXPECT_EQ(Json(chain), "FAILED");
    for (std::size_t depth : {std::size_t{0}, std::size_t{63}}) {
        EXPECT_TRUE(Unlocked(ChainBag(chain, depth))) << depth;
    }
    PutVectorChain(fits, "v", kDeep, Chain(63));
    EXPECT_NE(Json(fits).find(R"("x":{"type":"int","value":1})"), std::string::npos);
    PutVectorChain(tooDeep, "v", kDeep, Chain(64));
    EXPECT_EQ(Json(tooDeep), "FAILED");
}

// The example nests vectors deeper than the walk keeps in place, so that its
// own memory can fail too.
TEST(JsonWriter, AllocationFailuresReturnNullKeepingTheCallersStringAndLeakNothing) {
    tavtest::CountingAllocator alloc;
    Bag inner(alloc), empty(alloc), bag(alloc);
    bag.Put("n", Nested(inner.Put("s", Str("a\"b\"", alloc))));
    bag.Put("v", Vec({Str("\"q", alloc), Nested(empty)}, alloc));
    PutVectorChain(bag, "w", 40, Str("\"deep\"", alloc), alloc);
    EXPECT_GE(SweepWriteFailures(alloc, Json(bag),
                                 [&](TavString* s) { return TavPropertiesToJson(bag, s); }),
              5u);
}

}  // namespace
