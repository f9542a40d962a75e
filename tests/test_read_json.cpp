// The two readers: the standard JSON reader (plain and typed) and the one-line reader.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

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
// leaves the bag empty (as the JSON fuzzer checks with any bag), its error at its place.
TEST(ReadJsonPlain, AcceptsExactlyTheGrammarMappingEachValueToAKind) {
    using namespace std::string_literals;
    // clang-format off
    const struct { std::string text; const char* shown; } cases[] = {  // shown null: refused
        // structure and white space
        {" \t\r\n{ } \n", ""}, {"", nullptr}, {"{", nullptr}, {"[]", nullptr}, {"{\"a\":1,}", nullptr},
        {"{\"a\":[1,]}", nullptr}, {"{\"a\"}", nullptr}, {"{a:1}", nullptr}, {"{\"a\":1}{}", nullptr},
        {"{\"a\":1}\0"s, nullptr}, {"{\"a\":1 \f}", nullptr}, {"{\"a\":[1}", nullptr}, {"{\"a\":tru}", nullptr},
        {"{\"v\":[1,\"a\",[true,false],{},null],\"w\":{\"b\":1,\"a\":{\"c\":null}}}",
         "v=[i64:1,s:a,[b:1,b:0],{},null:];w={a={};b=i64:1}"},
        // numbers
        {"{\"a\":0,\"b\":-0,\"c\":-0.0,\"d\":1.5e1,\"e\":-2E-3,\"f\":1e+2,\"g\":1e400,\"h\":1e-400}",
         "a=i64:0;b=i64:0;c=f64:-0;d=f64:15;e=f64:-0.002;f=f64:100;g=f64:inf;h=f64:0"},
        {"{\"a\":9223372036854775807,\"b\":-9223372036854775808,\"c\":9223372036854775808}",
         "a=i64:9223372036854775807;b=i64:-9223372036854775808;c=u64:9223372036854775808"},
        {"{\"a\":18446744073709551615,\"b\":18446744073709551616,\"c\":-9223372036854775809}",
         "a=u64:18446744073709551615;b=f64:18446744073709551616;c=f64:-9223372036854775808"},
        {"{\"a\":01}", nullptr}, {"{\"a\":+1}", nullptr}, {"{\"a\":5.}", nullptr}, {"{\"a\":1e+}", nullptr},
        {"{\"a\":-}", nullptr}, {"{\"a\":NaN}", nullptr},
        // strings and escapes
        {R"({"a":"\" \\ \/ \b \f \n \r \t \u00e9 \uD83D\uDE00"})", "a=s:\" \\ / \b \f \n \r \t \xC3\xA9 \xF0\x9F\x98\x80"},
        {R"({"a":"\x"})", nullptr}, {R"({"a":"\u12G4"})", nullptr}, {R"({"a":"\uD800"})", nullptr},
        {R"({"a":"\uDC00"})", nullptr}, {R"({"a":"\uD800\u0041"})", nullptr}, {"{\"a\":\"abc}", nullptr},
        // raw bytes: UTF-8 only, no control characters
        {"{\"\xC3\xA9\":\"\xE2\x82\xAC\xF0\x9F\x98\x80\x7F\"}", "\xC3\xA9=s:\xE2\x82\xAC\xF0\x9F\x98\x80\x7F"},
        {"{\"a\":\"\xC3\"}", nullptr}, {"{\"a\":\"\xC0\xAF\"}", nullptr}, {"{\"a\":\"\xED\xA0\x80\"}", nullptr},
        {"{\"a\":\"\xF4\x90\x80\x80\"}", nullptr}, {"{\"a\":\"\xFF\"}", nullptr}, {"{\"a\":\"tab\there\"}", nullptr},
        {"{\"a\":\"\0\"}"s, nullptr},
    };
    const struct { std::string text; TavSizeT offset, line, column; } places[] = {
        {"{\n  \"a\": 1,\n  \"b\": [1,]\n}", 22, 3, 11}, {"{\"a\":1}\n\n  x", 11, 3, 3},
        {"{\"a\":\"\xC3(\"}", 6, 1, 7}, {"{\"a\":[[[[", 9, 1, 10},
    };
    // clang-format on
    for (const auto& c : cases) {
        Bag bag;
        EXPECT_EQ(Read(bag, c.text), c.shown != nullptr) << c.text;
        EXPECT_EQ(Show(bag), c.shown ? c.shown : "") << c.text;
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
// round-trip fuzzer); shown null, ptr or word: refused, with that message. The order of a
// wrapper's members does not matter (the vector's second element and the resolution show it).
TEST(ReadJsonTyped, EveryKindIsHeldToItsWidth) {
    const char *const ptr = "pointer kinds can't be read", *const word = "unknown type word";
    // clang-format off
    struct Case { const char* type; const char* value; const char* shown; } cases[] = {
        {"bool", "1", nullptr}, {"int", "1.0", nullptr}, {"int", "null", nullptr}, {"string", "1", nullptr},
        {"int", "-2147483648", "i:-2147483648"}, {"int", "2147483648", nullptr}, {"uint", "-1", nullptr},
        {"int16", "32768", nullptr}, {"uint16", "65536", nullptr}, {"int64", "9223372036854775808", nullptr},
        {"uint64", "18446744073709551616", nullptr},
        {"float32", "-3.4028235e+38", "f32:-3.4028234663852886e+38"}, {"float32", "3.4028236e+38", nullptr},
        {"float32", "\"-Infinity\"", "f32:-inf"}, {"float64", "0.500000", "f64:0.5"}, {"float64", "3", "f64:3"},
        {"float64", "\"NaN\"", "f64:nan"}, {"float64", "\"nan\"", nullptr}, {"media_format", "\"NV1\"", nullptr},
        {"resolution", "{\"height\":2,\"width\":1}", "res:1x2"}, {"resolution", "{\"width\":640}", nullptr},
        {"resolution", "{\"width\":1,\"height\":-1}", nullptr}, {"resolution", "{\"width\":1,\"height\":2,\"d\":3}", nullptr},
        {"properties", "{\"x\":{\"type\":\"int16\",\"value\":-1}}", "{x=i16:-1}"}, {"vector", "[1]", nullptr},
        {"vector", "[{\"type\":\"uint16\",\"value\":1},{\"value\":\"s\",\"type\":\"string\"}]", "[u16:1,s:s]"},
        {"shared_ptr()", "\"0\"", ptr}, {"Int", "1", word}, {"int(x)", "\"0\"", word}, {"wrapper(x)", "\"0\"", word},
    };
    // clang-format on
    for (const Case& c : cases) {
        const std::string text =
            "{\"ok\":{\"type\":\"bool\",\"value\":true},\"member\":{\"type\":\"" +
            std::string(c.type) + "\",\"value\":" + c.value + "}}";
        Bag bag;
        TavTextError error{};
        const bool read = Read(bag, text, &error, &kTyped);
        const bool refused = !c.shown || c.shown == ptr || c.shown == word;
        EXPECT_EQ(read, !refused) << text << " " << (read ? "" : error.message);
        EXPECT_EQ(Show(bag), refused ? "" : "member=" + std::string(c.shown) + ";ok=b:1") << text;
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

TEST(ReadJsonTyped, RefusesWhatIsNotAWrapper) {
    for (const char* text :
         {"{\"a\":1}", "{\"a\":{\"type\":\"int\"}}", "{\"a\":{\"value\":1}}",
          "{\"a\":{\"type\":\"int\",\"value\":1,\"extra\":2}}",
          "{\"a\":{\"type\":\"int\",\"type\":\"int\",\"value\":1}}",
          "{\"a\":{\"type\":1,\"value\":1}}", "{\"a\":{\"type\":\"vector\",\"value\":[null]}}"}) {
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

// A text read sets present entries (a read-only one stays) and listeners hear each member; a
// refused one changes nothing and tells no listener (as the JSON fuzzer checks).
TEST(ReadJsonTarget, ExistingEntriesAreSetAndListenersHearEachMember) {
    Lines events;
    Bag bag;
    TavPropertyValue fixed;
    TavPropertyValueConstructInt(&fixed, 7, TAV_FALSE);
    bag.Put("a", Int(1)).Put("keep", fixed).Put("n", Str("old"));
    Listen(bag, &Record, &events);
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

TEST(Reader, ReadsWhatTheSyntaxAllowsInAnyLocaleKeepingWhatCameBeforeAnError) {
    // clang-format off
    const struct { const char* text; bool accepted; const char* holds; } examples[] = {
        {"a=T", true, "a=b~1"}, {"a=F,b=12,c=-5,d=+5", true, "a=b~0;b=u~12;c=i~-5;d=i~5"},
        {"x=1.5,y=-0.25,z=2.", true, "x=f64~1.5;y=f64~-0.25;z=f64~2"},
        {"s=\"hello, world\"", true, "s=s~hello, world"}, {"1=2", true, "1=u~2"},
        {"sub{a=1,b=\"x\"},c=T", true, "c=b~1;sub={a=u~1;b=s~x}"}, {"a=1,a=2", true, "a=u~1"},
        {"a=99999999999", true, "a=u~1215752191"}, {"a=+3000000000", true, "a=i~-1294967296"},
        {"a=99999999999999999999", true, "a=u~4294967295"}, {"a=-99999999999999999999", true, "a=i~0"},
        {"a=-0,b=0,c=-0.5", true, "a=i~0;b=u~0;c=f64~-0.5"}, {"", false, ""}, {"a = 1", false, ""},
        {"a={b=1}", false, ""}, {"a{}", false, ""}, {"a=\"xyz", false, ""}, {"a=-", false, ""},
        {"a=1,b=2,", false, "a=u~1;b=u~2"}, {"a=True", false, "a=b~1"}, {"a=1e5", false, "a=u~1"},
        {"x{a=1}y=2", false, "x={a=u~1}"}, {"a=T,b", false, "a=b~1"},
        {"_x9=\"{a=1},\\x\",s=\"\"", true, "_x9=s~{a=1},\\x;s=s~"},
        {"a=1,n{b=2,c=},z=3", false, "a=u~1"}, {"n{b=2,},z=3", false, ""},
        {"n{a=1,a=2,b{x=1},b{y=2},b=T,m{c{d=1,d=\"s\"}}}", true, "n={a=u~1;b={x=u~1};m={c={d=u~1}}}"},
    };
    // clang-format on
    const auto readAll = [&] {
        for (const auto& e : examples) {
            Bag bag;
            EXPECT_EQ(TavPropertiesReadFromString(bag, e.text), TavBool{e.accepted}) << e.text;
            EXPECT_EQ(Show(bag), e.holds) << e.text;
        }
    };
    readAll();
    // Again with a comma for the decimal point, in a locale made with localedef.
    char dir[] = "/tmp/tav-localeXXXXXX";
    const std::string saved = std::setlocale(LC_ALL, nullptr);
    const bool made = mkdtemp(dir) != nullptr;
    const std::string make = "localedef -i de_DE -f UTF-8 " + std::string(dir) + "/comma";
    if (made && std::system((make + " >/dev/null 2>&1").c_str()) == 0 &&
        setenv("LOCPATH", dir, 1) == 0 && std::setlocale(LC_ALL, "comma"))
        readAll();
    const bool comma = *std::localeconv()->decimal_point == ',';
    std::setlocale(LC_ALL, saved.c_str());
    unsetenv("LOCPATH");
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
    if (!comma) GTEST_SKIP() << "no locale with a decimal comma";
}

// "a{a{...a{inner}...}}" with `levels` opening braces and `closing` closing ones.
std::string Deep(std::size_t levels, const std::string& inner, std::size_t closing) {
    return Repeat("a{", levels) + inner + std::string(closing, '}');
}

std::size_t EntryCount(TavProperties* bag) {
    return TavMap_TavString__TavPropertyValueSize(&bag->map);
}

// An error at the deepest level adds nothing of the deep entry, keeping the entries before it
// (what an accepted deep text holds, and that it is one insertion, the reader's fuzzer checks).
TEST(Reader, AnErrorAtAnyDepthAddsNothingOfTheDeepEntry) {
    // clang-format off
    const struct { const char* inner; std::size_t closing; bool ok; const char* holds; } cases[] = {
        {"v=", kDeep, false, "x=u~1"}, {"v=1,u{}", kDeep, false, "x=u~1"},  // no value, empty list
        {"v=1,u=\"", kDeep, false, "x=u~1"}, {"v=1", kDeep - 1, false, "x=u~1"},  // open string, "}" short
        {"v=1", kDeep + 1, false, "a={};x=u~1"},  // one "}" too many: the deep entry was whole
        {"v=1", kDeep, true, "a={};x=u~1;z=b~1"},
    };
    // clang-format on
    for (const auto& c : cases) {
        Bag bag;
        const std::string text = "x=1," + Deep(kDeep, c.inner, c.closing) + ",z=T";
        EXPECT_EQ(TavPropertiesReadFromString(bag, text.c_str()), TavBool{c.ok}) << c.inner;
        TavPropertyValue* a = TavPropertiesGetPropertyCStr(bag, "a");
        if (a != nullptr) TavMap_TavString__TavPropertyValueClear(&a->u.p->map);  // shown as {}
        EXPECT_EQ(Show(bag), c.holds) << c.inner << " " << c.closing;
    }
}

// How many entries of `whole` `part` lacks (a nested bag missing altogether counts once), or
// -1 when part holds an entry that whole lacks or holds differently.
int Lacking(TavProperties* part, const TavProperties* whole) {
    int lacking = 0;
    TavSizeT present = 0;
    for (auto it = TavMap_TavString__TavPropertyValueBeginConst(&whole->map);
         it != TavMap_TavString__TavPropertyValueEndConst(&whole->map);
         TavMap_TavString__TavPropertyValueConstIteratorIncrement(&it)) {
        const TavPropertyValue* want = &it->value.second;
        const TavPropertyValue* got = TavPropertiesGetPropertyConst(part, &it->value.first);
        if (got == nullptr) {
            ++lacking;
            continue;
        }
        ++present;
        if (got->type != want->type || got->settable != want->settable) return -1;
        const int inside = want->type == TAV_PROPERTYVALUE_TYPE_Properties
                               ? Lacking(got->u.p, want->u.p)
                               : (TavPropertyValueEqual(got, want) ? 0 : -1);
        if (inside < 0) return -1;
        lacking += inside;
    }
    return present == EntryCount(part) ? lacking : -1;
}

// A failed add only loses its own entry and the text is still accepted; a name or a nested bag
// that can't be made rejects the text, keeping exactly the whole top-level entries before it.
TEST(Reader, AllocationFailuresLoseOneEntryOrRejectTheRestAndLeakNothing) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"a=-2,s=\"text\",n{m{c=T}}", {"a", "s", "n"}},
        // Deeper than the reader's inline stack. A lost entry may come back from a later one of
        // the same name, so duplicates here repeat the same value.
        {"a=-2,n{x=2.5,x=2.5," + Deep(20, "v=\"deep\",d{z=1},d{z=1},v=\"deep\",w=+3", 20) +
             ",u=T},s=\"z\"",
         {"a", "n", "s"}},
    };
    for (const auto& c : cases) {
        Bag whole;
        ASSERT_TRUE(TavPropertiesReadFromString(whole, c.first.c_str()));
        tavtest::CountingAllocator alloc;
        tavtest::DefaultAllocatorHook hook(alloc);  // names, strings, bags under construction
        const auto attempt = [&](std::size_t k) {
            const std::size_t live = alloc.liveBlocks();
            {
                Bag bag(alloc);
                const TavBool read = TavPropertiesReadFromString(bag, c.first.c_str());
                const int lacking = Lacking(bag, whole);
                ASSERT_GE(lacking, 0) << k;
                EXPECT_TRUE(read || alloc.Failed()) << k;
                EXPECT_LE(lacking, read ? int{alloc.Failed()} : lacking) << k;
                std::size_t kept = 0;  // when rejected: the entries before the failure, no other
                for (const std::string& name : c.second) {  // looked up without allocating
                    const TavString view{nullptr, const_cast<char*>(name.c_str()), name.size(), 0};
                    if (TavPropertiesGetProperty(bag, &view) == nullptr) break;
                    ++kept;
                }
                EXPECT_EQ(EntryCount(bag), read ? EntryCount(bag) : kept) << k;
            }
            EXPECT_EQ(alloc.liveBlocks(), live) << k;
        };
        EXPECT_GE(tavtest::SweepAllocationFailures(alloc, attempt), 10u);
    }
}

}  // namespace
