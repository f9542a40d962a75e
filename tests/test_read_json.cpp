#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

const TavJsonOptions kTyped = Options(TAV_JSON_TYPED);

bool Read(TavProperties* bag, const std::string& text, TavTextError* error = nullptr,
          const TavJsonOptions* options = nullptr) {
    return TavPropertiesReadJson(bag, text.data(), text.size(), options, error);
}

// An accepted text shows its kinds (a number is an Int64, else a Uint64, else a Float64; names
// as written, no paths; a null member left out; the last of a repeated name wins); a refused one
// leaves the bag empty, its error at a place in the text with line and column (from 1).
TEST(ReadJsonPlain, AcceptsExactlyTheGrammarMappingEachValueToAKind) {
    using namespace std::string_literals;
    // clang-format off
    const struct { std::string text; const char* shown; } cases[] = {  // shown null: refused
        // structure and white space
        {" \t\r\n{ } \n", ""}, {"{\"a\":[[],{}]}", "a=[[],{}]"}, {"", nullptr}, {"{", nullptr}, {"[]", nullptr},
        {"{\"a\":1,}", nullptr}, {"{\"a\":[1,]}", nullptr}, {"{\"a\"}", nullptr}, {"{a:1}", nullptr},
        {"{\"a\":1}{}", nullptr}, {"{\"a\":1}\0"s, nullptr}, {"{\"a\":1 \f}", nullptr}, {"{\"a\":[1}", nullptr},
        {"{'a':1}", nullptr}, {"null", nullptr},
        {"{\"v\":[1,\"a\",[true,false],{},null],\"w\":{\"b\":1,\"a\":{\"c\":null}}}",
         "v=[i64:1,s:a,[b:1,b:0],{},null:];w={a={};b=i64:1}"},
        {"{\"a\":tru}", nullptr}, {"{\"a\":True}", nullptr},
        // numbers
        {"{\"a\":0,\"b\":-0,\"c\":-0.0,\"d\":1.5e1,\"e\":-2E-3,\"f\":1e+2,\"g\":1e400,\"h\":1e-400}",
         "a=i64:0;b=i64:0;c=f64:-0;d=f64:15;e=f64:-0.002;f=f64:100;g=f64:inf;h=f64:0"},
        {"{\"a\":9223372036854775807,\"b\":-9223372036854775808,\"c\":9223372036854775808}",
         "a=i64:9223372036854775807;b=i64:-9223372036854775808;c=u64:9223372036854775808"},
        {"{\"a\":18446744073709551615,\"b\":18446744073709551616,\"c\":-9223372036854775809}",
         "a=u64:18446744073709551615;b=f64:18446744073709551616;c=f64:-9223372036854775808"},
        {"{\"a\":01}", nullptr}, {"{\"a\":+1}", nullptr}, {"{\"a\":.5}", nullptr}, {"{\"a\":5.}", nullptr},
        {"{\"a\":1e+}", nullptr}, {"{\"a\":-}", nullptr}, {"{\"a\":NaN}", nullptr},
        // strings and escapes
        {R"({"a":"\" \\ \/ \b \f \n \r \t \u00e9 \uD83D\uDE00"})", "a=s:\" \\ / \b \f \n \r \t \xC3\xA9 \xF0\x9F\x98\x80"},
        {R"({"a":"\x"})", nullptr}, {R"({"a":"\u12"})", nullptr}, {R"({"a":"\u12G4"})", nullptr},
        {R"({"a":"\uD800"})", nullptr}, {R"({"a":"\uDC00"})", nullptr}, {R"({"a":"\uD800\u0041"})", nullptr},
        {R"({"a":"\uDE00\uD83D"})", nullptr}, {"{\"a\":\"abc}", nullptr},
        // raw bytes: UTF-8 only, no control characters
        {"{\"\xC3\xA9\":\"\xE2\x82\xAC\xF0\x9F\x98\x80\x7F\"}", "\xC3\xA9=s:\xE2\x82\xAC\xF0\x9F\x98\x80\x7F"},
        {"{\"a\":\"\xC3\"}", nullptr}, {"{\"a\":\"\xC0\xAF\"}", nullptr}, {"{\"a\":\"\xED\xA0\x80\"}", nullptr},
        {"{\"a\":\"\xF4\x90\x80\x80\"}", nullptr}, {"{\"a\":\"\xFF\"}", nullptr}, {"{\"a\":\"\x80\"}", nullptr},
        {"{\"a\":\"tab\there\"}", nullptr}, {"{\"a\":\"\0\"}"s, nullptr},
    };
    const struct { std::string text; TavSizeT offset, line, column; } places[] = {
        {"{\"a\":01}", 5, 1, 6}, {"{\n  \"a\": 1,\n  \"b\": [1,]\n}", 22, 3, 11},
        {"{\"a\":1}\n\n  x", 11, 3, 3}, {"{\"a\":\"\xC3(\"}", 6, 1, 7}, {"{\"a\":[[[[", 9, 1, 10},
    };
    // clang-format on
    for (const auto& c : cases) {
        Bag bag;
        TavTextError error{};
        EXPECT_EQ(Read(bag, c.text, &error), c.shown != nullptr) << c.text;
        EXPECT_EQ(Show(bag), c.shown ? c.shown : "") << c.text;
        if (!c.shown) {
            EXPECT_NE(error.message, nullptr) << c.text;
            EXPECT_LE(error.offset, c.text.size()) << c.text;
        }
    }
    for (const auto& c : places) {
        Bag bag;
        TavTextError error{};
        ASSERT_FALSE(Read(bag, c.text, &error)) << c.text;
        EXPECT_EQ(error.offset, c.offset) << c.text << ": " << error.message;
        EXPECT_EQ(error.line, c.line) << c.text;
        EXPECT_EQ(error.column, c.column) << c.text;
    }
    Bag bag, ro;
    EXPECT_FALSE(TavPropertiesReadJson(bag, "{}", 1, nullptr, nullptr));  // the length is exact
    EXPECT_TRUE(TavPropertiesReadJson(bag, "{}garbage", 2, nullptr, nullptr));
    ASSERT_TRUE(Read(
        bag, "{\"a.b\":1,\"c[0]\":2,\"\":3,\"n\\u0000m\":4,\"z\":null,\"d\":1,\"d\":\"last\"}"));
    EXPECT_EQ(Show(bag), "=i64:3;a.b=i64:1;c[0]=i64:2;d=s:last;n\0m=i64:4"s);
    const TavJsonOptions options = Options(TAV_JSON_PLAIN, 0, TAV_JSON_UTF8_REPLACE, true);
    ASSERT_TRUE(Read(ro, "{\"a\":1,\"b\":{\"c\":[\"x\",null]}}", nullptr, &options));
    EXPECT_EQ(Show(ro), "a=i64~1;b={c=[s~x,null~]~}");
}

// Each value is held to its kind's range and form (the writers' words and kinds meet in the
// round-trip fuzzer); shown null, ptr or word: refused, with that message.
TEST(ReadJsonTyped, EveryKindIsHeldToItsWidth) {
    const char *const ptr = "pointer kinds can't be read", *const word = "unknown type word";
    // clang-format off
    struct Case { const char* type; const char* value; const char* shown; } cases[] = {
        {"bool", "1", nullptr}, {"int", "1.0", nullptr}, {"int", "null", nullptr}, {"string", "1", nullptr},
        {"int", "-2147483648", "i:-2147483648"}, {"int", "2147483648", nullptr}, {"uint", "-1", nullptr},
        {"int16", "-32768", "i16:-32768"}, {"int16", "32768", nullptr}, {"uint16", "65536", nullptr},
        {"int64", "9223372036854775808", nullptr}, {"uint64", "18446744073709551616", nullptr},
        {"float32", "-3.4028235e+38", "f32:-3.4028234663852886e+38"}, {"float32", "3.4028236e+38", nullptr},
        {"float32", "\"-Infinity\"", "f32:-inf"}, {"float64", "0.500000", "f64:0.5"}, {"float64", "3", "f64:3"},
        {"float64", "\"NaN\"", "f64:nan"}, {"float64", "\"nan\"", nullptr}, {"media_format", "\"NV1\"", nullptr},
        {"resolution", "{\"height\":2,\"width\":1}", "res:1x2"}, {"resolution", "{\"width\":640}", nullptr},
        {"resolution", "{\"width\":1,\"height\":-1}", nullptr},
        {"resolution", "{\"width\":1,\"height\":2,\"depth\":3}", nullptr},
        {"properties", "{\"x\":{\"type\":\"int16\",\"value\":-1}}", "{x=i16:-1}"}, {"vector", "[1]", nullptr},
        {"vector", "[{\"type\":\"uint16\",\"value\":1},{\"value\":\"s\",\"type\":\"string\"}]", "[u16:1,s:s]"},
        {"ptr", "\"0\"", ptr}, {"shared_ptr()", "\"0\"", ptr}, {"Int", "1", word}, {"int(x)", "\"0\"", word},
        {"wrapper(x)", "\"0\"", word}, {"ptr)", "\"0\"", word},
    };
    // clang-format on
    for (const Case& c : cases) {
        for (bool typeFirst : {true, false}) {
            const std::string type = std::string("\"type\":\"") + c.type + "\"";
            const std::string value = std::string("\"value\":") + c.value;
            const std::string text = "{\"ok\":{\"type\":\"bool\",\"value\":true},\"member\":{" +
                                     (typeFirst ? type + "," + value : value + "," + type) + "}}";
            Bag bag;
            TavTextError error{};
            const bool read = Read(bag, text, &error, &kTyped);
            const bool refused = !c.shown || c.shown == ptr || c.shown == word;
            EXPECT_EQ(read, !refused) << text << " " << (read ? "" : error.message);
            EXPECT_EQ(Show(bag), refused ? "" : "member=" + std::string(c.shown) + ";ok=b:1")
                << text;
            if (refused && c.shown) {
                EXPECT_STREQ(error.message, c.shown) << text;
            }
            // A refused value points at its member and names it.
            if (!read && std::strcmp(error.message, "a typed value must be an object") != 0) {
                EXPECT_EQ(error.offset, text.find("\"member\"")) << text << " " << error.message;
                ASSERT_NE(error.member, nullptr) << text;
                EXPECT_EQ(std::string(error.member, error.memberSize), "member") << text;
            }
        }
    }
}

TEST(ReadJsonTyped, RefusesWhatIsNotAWrapper) {
    for (const char* text :
         {"{\"a\":1}", "{\"a\":{\"type\":\"int\"}}", "{\"a\":{\"value\":1}}",
          "{\"a\":{\"type\":\"int\",\"value\":1,\"extra\":2}}",
          "{\"a\":{\"type\":\"int\",\"type\":\"int\",\"value\":1}}",
          "{\"a\":{\"type\":1,\"value\":1}}", "{\"a\":[]}",
          "{\"a\":{\"type\":\"vector\",\"value\":[null]}}"}) {
        Bag bag;
        TavTextError error{};
        EXPECT_FALSE(Read(bag, text, &error, &kTyped)) << text;
        EXPECT_EQ(Show(bag), "") << text;
    }
    // A pointer kind is refused with the place and the name of its member, as written (escapes
    // kept); an element has a place but no name.
    Bag bag;
    TavTextError error{};
    const std::string text = "{\"a\":{\"type\":\"int\",\"value\":1},\n \"p\\\"q\":{\"type\":"
                             "\"ptr\",\"value\":\"0\"}}";
    ASSERT_FALSE(Read(bag, text, &error, &kTyped));
    EXPECT_EQ(error.offset, text.find("\"p"));
    EXPECT_EQ(error.line, 2u);
    EXPECT_EQ(error.column, 2u);
    EXPECT_STREQ(error.message, "pointer kinds can't be read");
    EXPECT_EQ(std::string(error.member, error.memberSize), "p\\\"q");
    const std::string element =
        "{\"v\":{\"type\":\"vector\",\"value\":[{\"type\":\"wrapper\",\"value\":\"0\"}]}}";
    ASSERT_FALSE(Read(bag, element, &error, &kTyped));
    EXPECT_EQ(error.offset, element.find("[{") + 1);
    EXPECT_EQ(error.member, nullptr);
    EXPECT_EQ(error.memberSize, 0u);
}

// A failed text leaves the bag and its listeners alone; a read text sets present entries (a
// read-only one stays) and listeners hear each member.
TEST(ReadJsonTarget, ExistingEntriesAreSetAndListenersHearEachMemberUnlessTheTextFails) {
    Lines events;
    Bag bag;
    TavPropertyValue fixed;
    TavPropertyValueConstructInt(&fixed, 7, TAV_FALSE);
    bag.Put("a", Int(1)).Put("keep", fixed).Put("n", Str("old"));
    Listen(bag, &Record, &events);
    for (const char* text : {"{\"a\":2,\"b\":{\"c\":[1,2,3]},\"z\":01}", "{\"a\":2,\"b\":3} x"}) {
        EXPECT_FALSE(Read(bag, text));
        EXPECT_FALSE(Read(bag, text, nullptr, &kTyped));
    }
    EXPECT_FALSE(
        Read(bag, "{\"a\":{\"type\":\"int\",\"value\":2},\"z\":{\"type\":\"int16\",\"value\":1e9}}",
             nullptr, &kTyped));
    EXPECT_EQ(Show(bag), "a=i:1;keep=i~7;n=s:old");
    EXPECT_TRUE(events.empty());
    ASSERT_TRUE(Read(bag, "{\"n\":2,\"keep\":8,\"a\":\"s\",\"new\":[true]}"));
    EXPECT_EQ(Show(bag), "a=s:s;keep=i~7;n=i64:2;new=[b:1]");
    EXPECT_EQ(events, (Lines{"B a i:1/s:s", "A a s:s/s:s", "B keep i~7/i64:8", "B n s:old/i64:2",
                             "A n i64:2/i64:2", "B new -/[b:1]", "A new -/[b:1]"}));
}

std::string NestedArrays(std::size_t depth) {
    return "{\"a\":" + std::string(depth, '[') + std::string(depth, ']') + "}";
}

TEST(ReadJsonTarget, DeepNestingStopsAtTheLimitWithoutRecursion) {
    const std::string deep = NestedArrays(100000);
    Bag bag;
    TavTextError error{};
    ASSERT_FALSE(Read(bag, deep, &error));
    EXPECT_STREQ(error.message, "nested too deeply");
    EXPECT_EQ(error.offset, 5u + 9999u);  // the top object is the first level
    EXPECT_TRUE(Read(bag, NestedArrays(9999)));
    Bag fresh;  // an empty target: only the read itself is measured here
    const TavJsonOptions high = Options(TAV_JSON_PLAIN, 0, TAV_JSON_UTF8_REPLACE, false, 200000);
    ASSERT_TRUE(Read(fresh, deep, nullptr, &high));
    std::size_t levels = 0;
    for (const TavPropertyValue* v = TavPropertiesGetPropertyCStr(fresh, "a");
         v->type == TAV_PROPERTYVALUE_TYPE_Vector && v->u.vec.begin != v->u.vec.end;
         v = v->u.vec.begin)
        ++levels;
    EXPECT_EQ(levels, 99999u);
    const TavJsonOptions two = Options(TAV_JSON_PLAIN, 0, TAV_JSON_UTF8_REPLACE, false, 2);
    EXPECT_TRUE(Read(bag, "{\"a\":[]}", nullptr, &two));
    EXPECT_FALSE(Read(bag, "{\"a\":[[]]}", nullptr, &two));
}

TEST(ReadJsonMemory, EveryFailedAllocationLeavesTheBagUntouched) {
    // clang-format off
    struct Case {
        std::string text;
        const TavJsonOptions* options;
    } cases[] = {
        {"{\"m\":{\"s\":\"a longer string value\",\"v\":[1,2.5,\"x\",[[{\"k\":null}]]," +
             std::string(40, '[') + std::string(40, ']') + "],\"d\":1,\"d\":{\"e\":true}}}",
         nullptr},
        {"{\"m\":{\"type\":\"properties\",\"value\":{\"v\":{\"type\":\"vector\",\"value\":[{\"type\":"
         "\"string\",\"value\":\"long enough to allocate\"},{\"value\":{\"width\":1,\"height\":2},"
         "\"type\":\"resolution\"}]},\"f\":{\"type\":\"float64\",\"value\":1.5}}}}",
         &kTyped},
    };
    // clang-format on
    for (const Case& c : cases) {
        tavtest::CountingAllocator alloc, fallback;
        tavtest::DefaultAllocatorHook hook(fallback);  // nothing may come from the default one
        Bag whole(alloc);
        ASSERT_TRUE(Read(whole, c.text, nullptr, c.options));
        const std::string expected = Show(whole);
        const auto attempt = [&](std::size_t k) {
            const std::size_t live = alloc.liveBlocks();
            {
                alloc.FailAt(0);
                Bag bag(alloc);
                bag.Put("m", Int(1));
                alloc.FailAt(k);  // counted from the read on
                TavTextError error{};
                const bool read = Read(bag, c.text, &error, c.options);
                // Reading fails cleanly; the Set of a present entry that runs out of memory
                // leaves it a false Bool, as any Set does.
                const bool reading = !read && std::strcmp(error.message, "out of memory") == 0;
                EXPECT_EQ(Show(bag), read ? expected : reading ? "m=i:1" : "m=b:0") << k;
                EXPECT_TRUE(read || alloc.Failed()) << k;
            }
            EXPECT_EQ(alloc.liveBlocks(), live) << k;
        };
        EXPECT_GE(tavtest::SweepAllocationFailures(alloc, attempt), 15u);
        EXPECT_EQ(fallback.attempts(), 0u);
    }
}

// A target with listeners gets a copy of each member: a failure there keeps
// the members set before it (in name order), and only there. Without
// listeners the members are moved in, so once the text is read nothing fails.
TEST(ReadJsonMemory, ALackOfMemoryWhileSettingKeepsTheMembersBeforeIt) {
    const std::string text = "{\"c\":[3],\"a\":1,\"b\":\"a string long enough\"}";
    const std::string prefixes[] = {"", "a=i64:1", "a=i64:1;b=s:a string long enough"};
    Lines events;
    for (const bool listened : {true, false}) {
        tavtest::CountingAllocator alloc;
        std::size_t partial = 0;
        tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
            alloc.FailAt(0);
            Bag bag(alloc);
            if (listened) Listen(bag, &Record, &events);
            alloc.FailAt(k);  // counted from the read on
            TavTextError error{};
            if (Read(bag, text, &error)) return;
            const bool setting =
                std::strcmp(error.message, "out of memory while setting the members") == 0;
            if (!setting) {
                EXPECT_STREQ(error.message, "out of memory") << k;
            }
            const std::string shown = Show(bag);
            EXPECT_TRUE(shown == prefixes[0] ||
                        (setting && (shown == prefixes[1] || shown == prefixes[2])))
                << k << " " << shown;
            partial += shown != prefixes[0];
        });
        EXPECT_EQ(partial > 0, listened);
    }
}

}  // namespace
