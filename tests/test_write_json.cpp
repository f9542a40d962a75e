// The JSON writers: the standard one (both styles, one line and indented, every text checked
// to be JSON) and the fixed-form one: exact text of each kind, escaping and UTF-8, floats
// against std::to_chars, any depth, allocation failures.
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;
using nlohmann::ordered_json;

const TavJsonOptions kPlain = Options(TAV_JSON_PLAIN);
const TavJsonOptions kTyped = Options(TAV_JSON_TYPED);

// The standard writer's text, or "FAILED" (see Written); a text it writes must be JSON.
std::string Write(TavProperties* bag, const TavJsonOptions* o) {
    const std::string text =
        Written([&](TavString* s) { return TavPropertiesWriteJson(bag, s, o); });
    EXPECT_TRUE(text == "FAILED" || ordered_json::accept(text)) << text;
    return text;
}
std::string Write(TavProperties* bag, const TavJsonOptions& o) { return Write(bag, &o); }

// The fixed-form writer's text, or "FAILED".
std::string Fixed(TavProperties* bag) {
    return Written([&](TavString* s) { return TavPropertiesToJson(bag, s); });
}

std::string Typed(const std::string& word, const std::string& value) {
    return R"({"type":")" + word + R"(","value":)" + value + "}";
}

// What the standard writer makes of v (which it consumes) as a bag's only entry "v".
std::string One(TavPropertyValue v, const TavJsonOptions& o) { return Write(Bag().Put("v", v), o); }

// What the fixed-form writer makes of v (which it consumes) as the value of a bag's only entry.
std::string FixedOne(TavPropertyValue v) {
    const std::string text = Fixed(Bag().Put("v", v));
    return text.substr(5, text.size() - 6);
}

TavPropertyValue Copy(const TavPropertyValue& v) { return Make(TavPropertyValueConstructCopy, &v); }

// Each kind in both styles (no options and zeroed ones: plain on one line). The indented forms
// are the one-line text laid out as a standard pretty printer does (members in the same order).
TEST(WriteJson, WritesEachKindInBothStylesOnOneLineAndIndented) {
    Bag inner, empty, inVector;
    inner.Put("e", Uint(7)).Put("f", Str("y"));
    inVector.Put("a", Int(1));
    // clang-format off
    const struct { TavPropertyValue value; const char* plain; std::string typed; } kinds[] = {
        {Make(TavPropertyValueConstructBool, TavBool{2}, 0), "true", Typed("bool", "true")},
        {Make(TavPropertyValueConstructInt64, INT64_MIN, 0), "-9223372036854775808",
         Typed("int64", "-9223372036854775808")},
        {Make(TavPropertyValueConstructUint64, UINT64_MAX, 0), "18446744073709551615",
         Typed("uint64", "18446744073709551615")},
        {Make(TavPropertyValueConstructResolution, TavResolution{640, 480}, 0),
         R"({"width":640,"height":480})", Typed("resolution", R"({"width":640,"height":480})")},
        {Make(TavPropertyValueConstructMediaFormat, TAV_MEDIAFORMAT_FOURCC('N', 'V', '1', '2'), 0),
         R"("NV12")", Typed("media_format", R"("NV12")")},
        {Str("say \"x\""), R"("say \"x\"")", Typed("string", R"("say \"x\"")")},
        {Nested(inner), R"({"e":7,"f":"y"})",
         Typed("properties",
               "{\"e\":" + Typed("uint", "7") + ",\"f\":" + Typed("string", R"("y")") + "}")},
        {Vec({Int(1), Vec({}), Nested(empty), Nested(inVector)}), R"([1,[],{},{"a":1}])",
         Typed("vector", "[" + Typed("int", "1") + "," + Typed("vector", "[]") + "," +
                             Typed("properties", "{}") + "," +
                             Typed("properties", "{\"a\":" + Typed("int", "1") + "}") + "]")},
    };
    // clang-format on
    for (const auto& k : kinds) {
        const std::string plain = std::string("{\"v\":") + k.plain + "}";
        const std::string typed = "{\"v\":" + k.typed + "}";
        EXPECT_EQ(One(Copy(k.value), kPlain), plain);
        EXPECT_EQ(One(Copy(k.value), kTyped), typed);
        for (TavUint indent : {1u, 4u}) {
            EXPECT_EQ(One(Copy(k.value), Options(TAV_JSON_PLAIN, indent)),
                      ordered_json::parse(plain).dump(static_cast<int>(indent)));
            EXPECT_EQ(One(Copy(k.value), Options(TAV_JSON_TYPED, indent)),
                      ordered_json::parse(typed).dump(static_cast<int>(indent)));
        }
        EXPECT_EQ(One(Copy(k.value), TavJsonOptions{}), plain);
        EXPECT_EQ(Write(Bag().Put("v", Copy(k.value)), nullptr), plain);
        TavPropertyValueDestruct(const_cast<TavPropertyValue*>(&k.value));
    }
    Bag none;
    EXPECT_EQ(Write(none, Options(TAV_JSON_TYPED, 3)), "{}");
}

// Floats keep their width; what JSON has no number for is null when plain and a named string
// when typed.
TEST(WriteJson, WritesFloatsInTheirWidthAndNonFiniteOnesByStyle) {
    using F = std::numeric_limits<float>;
    using D = std::numeric_limits<double>;
    // clang-format off
    const struct { TavPropertyValue value; const char* text; const char* typed; } cases[] = {
        {F64(-0.0), "-0", nullptr}, {F32(0.1f), "0.1", nullptr}, {F32(F::max()), "3.4028235e+38", nullptr},
        {F32(F::denorm_min()), "1e-45", nullptr}, {F64(D::quiet_NaN()), "null", R"("NaN")"},
        {F64(D::infinity()), "null", R"("Infinity")"}, {F32(-F::infinity()), "null", R"("-Infinity")"},
    };
    // clang-format on
    for (const auto& c : cases) {
        const bool f32 = c.value.type == TAV_PROPERTYVALUE_TYPE_Float32;
        EXPECT_EQ(One(Copy(c.value), kPlain), std::string("{\"v\":") + c.text + "}");
        EXPECT_EQ(One(c.value, kTyped),
                  "{\"v\":" + Typed(f32 ? "float32" : "float64", c.typed ? c.typed : c.text) + "}");
    }
}

// The fixed form: the caller's text replaced, only the quotes of string values escaped (a
// backslash and the names left as they are), floats as printf "%f", resolutions wrapped. The
// typed reader gives back every other kind but the pointers, at the extremes of every width.
TEST(WriteJson, FixedFormWritesEachKindWithItsWordForTheTypedReader) {
    Bag d, bag;
    bag.Put("a", Bool(true)).Put("b", Int(-3)).Put("c", Str("say \"x\""));
    bag.Put("d", Nested(d.Put("e", Uint(7)))).Put("f", Vec({Int(1), F64(0.5)}));
    EXPECT_EQ(Fixed(bag), R"({"a":{"type":"bool","value":true},"b":{"type":"int","value":-3},)"
                          R"("c":{"type":"string","value":"say \"x\""},)"
                          R"("d":{"type":"properties","value":{"e":{"type":"uint","value":7}}},)"
                          R"("f":{"type":"vector","value":[{"type":"int","value":1},)"
                          R"({"type":"float64","value":0.500000}]}})");
    EXPECT_EQ(FixedOne(Str("a\\\"b")), Typed("string", R"("a\\"b")"));
    EXPECT_EQ(FixedOne(Make(TavPropertyValueConstructResolution, TavResolution{640, 480}, 0)),
              Typed("resolution", R"({"width": {"type": "size_t", "value": 640}, )"
                                  R"("height":{"type": "size_t", "value": 480}})"));
    EXPECT_EQ(Fixed(Bag().Put("q\"n", Int(1))), "{\"q\"n\":" + Typed("int", "1") + "}");
    for (double d : {-0.0, 5e-7, 2.5e-7, -1e22, 9.9999995, 1e308, std::nan("")}) {
        char expected[400];
        std::snprintf(expected, sizeof expected, "%f", d);
        EXPECT_EQ(FixedOne(F64(d)), Typed("float64", expected)) << d;
    }
    bag.Put("i", Int(INT32_MIN)).Put("f32", F32(1.25f)).Put("f64", F64(-0.5));
    bag.Put("i16", Make(TavPropertyValueConstructInt16, TavInt16{INT16_MIN}, TAV_TRUE));
    bag.Put("u16", Make(TavPropertyValueConstructUint16, TavUint16{65535}, TAV_TRUE));
    bag.Put("i64", Make(TavPropertyValueConstructInt64, TavInt64{INT64_MIN}, TAV_TRUE));
    bag.Put("u64", Make(TavPropertyValueConstructUint64, TavUint64{UINT64_MAX}, TAV_TRUE));
    bag.Put("sz", Make(TavPropertyValueConstructSizeT, TavSizeT{SIZE_MAX}, TAV_TRUE));
    bag.Put("t", Make(TavPropertyValueConstructTime, TavTime{INT64_MAX}, TAV_TRUE));
    bag.Put("fmt", Make(TavPropertyValueConstructMediaFormat,
                        TavMediaFormat{TAV_MEDIAFORMAT_FOURCC('N', 'V', '1', '2')}, TAV_TRUE));
    const std::string text = Fixed(bag);
    Bag back;
    EXPECT_TRUE(TavPropertiesReadJson(back, text.data(), text.size(), &kTyped, nullptr)) << text;
    EXPECT_TRUE(TavPropertiesEqual(bag, back)) << text;
}

// Addresses are bare numbers (in quotes in the fixed form); weak pointers are read through a
// lock and give 0 once their object is gone; typed pointer names are escaped.
TEST(WriteJson, PointerKindsWriteTheAddressTheyReach) {
    int object = 0;
    const std::string address = std::to_string(reinterpret_cast<uintptr_t>(&object));
    const auto a = TavAllocatorGetDefault();
    TavSharedPtr_void sp;
    TavSharedPtr_voidConstruct(
        &sp, &object, [](TavVoidPtr, TavAllocator*) {}, a);
    TavWeakPtr_void wp;
    TavWeakPtr_voidConstructFromSharedPtr(&wp, &sp);
    TavPropertyValue kinds[] = {
        Make(TavPropertyValueConstructVoidPtr, static_cast<TavVoidPtr>(&object), 0),
        Make(TavPropertyValueConstructSharedPtr, &sp, "F<\"q\\\">", 0, a),
        Make(TavPropertyValueConstructWeakVoidPtr, &wp, 0)};
    const char* words[] = {"ptr", R"(shared_ptr(F<\"q\\\">))", "weak_ptr"};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(One(Copy(kinds[i]), kPlain), "{\"v\":" + address + "}");
        EXPECT_EQ(One(Copy(kinds[i]), kTyped), "{\"v\":" + Typed(words[i], address) + "}");
    }
    EXPECT_EQ(FixedOne(Copy(kinds[2])), Typed(words[2], '"' + address + '"'));
    TavPropertyValueDestruct(&kinds[1]);  // the object expires only if writing gave back its uses
    TavSharedPtr_voidDestruct(&sp);
    EXPECT_EQ(One(Copy(kinds[2]), kTyped), "{\"v\":" + Typed(words[2], "0") + "}");
    EXPECT_EQ(One(Copy(kinds[2]), kPlain), R"({"v":0})");
    EXPECT_EQ(FixedOne(Copy(kinds[2])), Typed(words[2], "\"0\""));
    TavPropertyValueDestruct(&kinds[0]);
    TavPropertyValueDestruct(&kinds[2]);
    TavWeakPtr_voidDestruct(&wp);
}

// Every control character, the quote and the backslash are escaped (in names and typed pointer
// names too); '/', DEL and valid UTF-8 are not. A JSON reader gets the bytes back.
TEST(WriteJson, EscapesControlCharactersQuotesAndBackslashes) {
    const char* kEscaped[32] = {
        "\\u0000", "\\u0001", "\\u0002", "\\u0003", "\\u0004", "\\u0005", "\\u0006", "\\u0007",
        "\\b",     "\\t",     "\\n",     "\\u000b", "\\f",     "\\r",     "\\u000e", "\\u000f",
        "\\u0010", "\\u0011", "\\u0012", "\\u0013", "\\u0014", "\\u0015", "\\u0016", "\\u0017",
        "\\u0018", "\\u0019", "\\u001a", "\\u001b", "\\u001c", "\\u001d", "\\u001e", "\\u001f"};
    for (int c = 0; c < 32; ++c) {
        const std::string raw = std::string("a") + static_cast<char>(c) + "b";
        TavString s;
        TavStringConstructRange(&s, raw.data(), raw.data() + raw.size(), TavAllocatorGetDefault());
        const std::string text = One(Make(TavPropertyValueConstructString, &s, 0), kPlain);
        TavStringDestruct(&s);
        EXPECT_EQ(text, std::string("{\"v\":\"a") + kEscaped[c] + "b\"}") << c;
        EXPECT_EQ(ordered_json::parse(text)["v"].get<std::string>(), raw) << c;
    }
    Bag bag;
    bag.Put("a\"b\\c.d", Str("\"\\/\x7f\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"));
    EXPECT_EQ(Write(bag, kPlain),
              "{\"a\\\"b\\\\c.d\":\"\\\"\\\\/\x7f\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\"}");
}

// Each maximal invalid subsequence of a string (or name) becomes one U+FFFD (its three UTF-8
// bytes), or fails the write; valid sequences at the edges of the ranges pass.
TEST(WriteJson, ReplacesOrRefusesBytesThatAreNotUtf8) {
    const std::string R = "\xEF\xBF\xBD";
    const std::pair<const char*, std::string> cases[] = {
        {"\xF0\x80\x80\xAF", R + R + R + R},               // overlong '/'
        {"\xED\xA0\x80", R + R + R},                       // surrogate U+D800
        {"\xF4\x90\x80\x80", R + R + R + R},               // past U+10FFFF
        {"\xF5\x80", R + R},                               // no such lead, lone continuation
        {"a\xE2\x82", "a" + R},                            // truncated at the end
        {"\xF0\x9F\x98\xE2\x82\xAC", R + "\xE2\x82\xAC"},  // truncated before a valid one
        {"\xC3\xA9\xEF\xBF\xBF\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF",  // all valid
         "\xC3\xA9\xEF\xBF\xBF\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF"},
    };
    const TavJsonOptions fail = Options(TAV_JSON_PLAIN, 0, TAV_JSON_UTF8_FAIL);
    for (const auto& c : cases) {
        const bool valid = c.second == c.first;
        const std::string expected = "{\"v\":\"" + c.second + "\"}";
        EXPECT_EQ(One(Str(c.first), kPlain), expected) << c.first;
        EXPECT_EQ(One(Str(c.first), fail), valid ? expected : "FAILED") << c.first;
    }
}

std::string ToChars(double d) {
    char buf[64];
    return std::string(buf, std::to_chars(buf, buf + sizeof buf, d).ptr);
}

// The plain text of the values as one vector is what std::to_chars writes; else names the
// first value written differently.
void ExpectSameAsToChars(const std::vector<double>& values) {
    TavVector_TavPropertyValue vec;
    TavVector_TavPropertyValueConstructDefault(&vec, TavAllocatorGetDefault());
    std::string expected;
    for (double d : values) {
        const TavPropertyValue v = F64(d);  // a scalar: nothing to destroy
        EXPECT_TRUE(TavVector_TavPropertyValuePushBack(&vec, &v));
        expected += (expected.empty() ? "" : ",") + ToChars(d);
    }
    const std::string written = One(Make(TavPropertyValueConstructVector, &vec, 0), kPlain);
    TavVector_TavPropertyValueDestruct(&vec);
    const std::string whole = "{\"v\":[" + expected + "]}";
    for (std::size_t i = 0; written != whole && i < values.size(); ++i) {
        const double d = values[i];
        ASSERT_EQ(One(F64(d), kPlain), "{\"v\":" + ToChars(d) + "}") << std::hexfloat << d;
    }
    EXPECT_TRUE(written == whole) << "the texts differ but no single value does";
}

// m / 10^k and its negation, for the k that make short decimal forms and a few past them.
void AddScaled(std::vector<double>& values, double m) {
    for (int k = 0; k <= 12; ++k) {
        values.push_back(m / std::pow(10.0, k));
        values.push_back(-values.back());
    }
}

// Doubles are the shortest text that reads back the same, byte for byte as std::to_chars
// writes it: values with a short decimal form take a quicker way than the others, so both, the
// border between them and random values are compared.
TEST(WriteJson, WritesDoublesAsToCharsDoes) {
    std::vector<double> values;
    // clang-format off
    const double edges[] = {1, 5, 9, 10, 11, 99, 100, 101, 12345, 99999, 100000, 100001, 1000000,
                            1234500000, 999999999999, 1e15, 1125899906842623.0, 1125899906842624.0,
                            1125899906842625.0, 9007199254740991.0, 9007199254740992.0, 1e17,
                            1e21, 1e22, 1e23};
    // clang-format on
    for (double m : edges) AddScaled(values, m);
    for (int e = -12; e <= 24; ++e) values.push_back(std::pow(10.0, e));
    for (int n = 0; n < 2000; ++n) {
        values.insert(values.end(), {n + 0.5, n / 8.0, n * 0.001});
    }
    ExpectSameAsToChars(values);
    std::mt19937_64 random(20261125);
    for (int batch = 0; batch < 40; ++batch) {
        values.clear();
        for (int i = 0; i < 500; ++i) {  // any finite bit pattern, then decimals of every length
            const std::uint64_t bits = random();
            double d;
            std::memcpy(&d, &bits, sizeof d);
            if (std::isfinite(d)) values.push_back(d);
            AddScaled(values, static_cast<double>(random() >> (random() % 64)));
        }
        ExpectSameAsToChars(values);
    }
}

// The walks keep their place in memory of their own, not on the thread's stack. The standard
// writer has no nesting limit; the fixed form lets vectors nest without limit and stops bags at
// 63 levels below the top one. A failure deep down unlocks every bag.
TEST(WriteJson, WritesBagsAndVectorsNestedAtAnyDepth) {
    Bag vectors, chain, deep, fits, tooDeep;
    PutVectorChain(vectors, "v", kDeep, Int(1));
    EXPECT_EQ(Write(vectors, kPlain),
              "{\"v\":" + Repeat("[", kDeep) + "1" + Repeat("]", kDeep) + "}");
    const std::string typedVectors = "{\"v\":" + Repeat(R"({"type":"vector","value":[)", kDeep) +
                                     Typed("int", "1") + Repeat("]}", kDeep) + "}";
    EXPECT_EQ(Write(vectors, kTyped), typedVectors);
    EXPECT_EQ(Fixed(vectors), typedVectors);
    PutChain(chain, kDeep);
    EXPECT_EQ(Write(chain, kPlain),
              "{" + Repeat("\"a\":{", kDeep) + "\"a\":1" + Repeat("}", kDeep) + "}");
    EXPECT_EQ(Write(chain, kTyped), "{" + Repeat(R"("a":{"type":"properties","value":{)", kDeep) +
                                        "\"a\":" + Typed("int", "1") + Repeat("}}", kDeep) + "}");
    EXPECT_EQ(Fixed(chain), "FAILED");
    for (std::size_t depth : {std::size_t{0}, std::size_t{63}}) {
        EXPECT_TRUE(Unlocked(ChainBag(chain, depth))) << depth;
    }
    EXPECT_EQ(Fixed(deep.Put("a", Int(1)).Put("n", Chain(64))), "FAILED");
    PutVectorChain(fits, "v", kDeep, Chain(63));
    EXPECT_NE(Fixed(fits).find(R"("x":{"type":"int","value":1})"), std::string::npos);
    PutVectorChain(tooDeep, "v", kDeep, Chain(64));
    EXPECT_EQ(Fixed(tooDeep), "FAILED");
    TavPropertyValue bad = Str("\xFF");
    EXPECT_TRUE(TavPropertiesAddPropertyCStr(ChainBag(chain, kDeep), "z", &bad));
    TavPropertyValueDestruct(&bad);
    EXPECT_EQ(Write(chain, Options(TAV_JSON_PLAIN, 0, TAV_JSON_UTF8_FAIL)), "FAILED");
    for (std::size_t depth : {std::size_t{0}, std::size_t{1}, kDeep / 2, kDeep}) {
        EXPECT_TRUE(Unlocked(ChainBag(chain, depth))) << depth;
    }
}

// Both writers (the standard one in both styles) under every allocation failure.
TEST(WriteJson, AllocationFailuresReturnNullKeepingTheCallersStringAndLeakNothing) {
    tavtest::CountingAllocator alloc;
    Bag inner(alloc), empty(alloc), bag(alloc);
    PutFailureExample(bag, inner, alloc, 'x');
    bag.Put("r", Make(TavPropertyValueConstructResolution, TavResolution{3, 4}, 0));
    bag.Put("v", Vec({Str("\"q", alloc), Nested(empty)}, alloc));
    const TavJsonOptions indented = Options(TAV_JSON_TYPED, 2);
    for (const TavJsonOptions* o :
         {&kPlain, &indented, static_cast<const TavJsonOptions*>(nullptr)}) {
        const auto write = [&](TavString* s) {
            return o ? TavPropertiesWriteJson(bag, s, o) : TavPropertiesToJson(bag, s);
        };
        EXPECT_GE(SweepWriteFailures(alloc, Written(write), write), o ? 4u : 5u);
    }
}

}  // namespace
