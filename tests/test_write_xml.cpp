// The well-formed XML writer: exact text of every kind, escaping of names and
// strings (what XML 1.0 can't hold becomes U+FFFD), any depth without
// recursion, allocation failures.
#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<properties>\n";
const std::string kTail = "</properties>\n";
const std::string kFffd = "\xEF\xBF\xBD";

// The writer's text, or "FAILED" (see Written).
std::string Write(TavProperties* bag) {
    return Written([&](TavString* s) { return TavPropertiesWriteXml(bag, s); });
}

// The document around the lines of one bag's entries.
std::string Doc(const std::string& lines) { return kHead + lines + kTail; }

TEST(WriteXml, EachKindHasItsElementTypeAndText) {
    const float inf = std::numeric_limits<float>::infinity();
    struct Case {
        const char* what;
        TavPropertyValue value;
        std::string line;
    } cases[] = {
        {"bool", Bool(false), R"(<value name="x" type="bool">false</value>)"},
        {"int", Int(-3), R"(<value name="x" type="int">-3</value>)"},
        {"uint", Uint(7), R"(<value name="x" type="uint">7</value>)"},
        {"int64", Make(TavPropertyValueConstructInt64, TavInt64{-1} << 62, TAV_TRUE),
         R"(<value name="x" type="int64">-4611686018427387904</value>)"},
        {"shortest double", F64(0.1), R"(<value name="x" type="float64">0.1</value>)"},
        {"float keeps its width", F32(0.1f), R"(<value name="x" type="float32">0.1</value>)"},
        {"NaN", F64(std::nan("")), R"(<value name="x" type="float64">NaN</value>)"},
        {"-INF", F32(-inf), R"(<value name="x" type="float32">-INF</value>)"},
        {"string", Str("a b"), R"(<value name="x" type="string">a b</value>)"},
        {"resolution", Make(TavPropertyValueConstructResolution, TavResolution{640, 480}, TAV_TRUE),
         R"(<value name="x" type="resolution"><width>640</width><height>480</height></value>)"},
        {"vector", Vec({Int(1), Str("s"), Vec({})}),
         "<vector name=\"x\">\n<value type=\"int\">1</value>\n<value type=\"string\">s</value>\n"
         "<vector>\n</vector>\n</vector>"},
    };
    for (Case& c : cases) {
        Bag bag;
        bag.Put("x", c.value);
        EXPECT_EQ(Write(bag), Doc(c.line + "\n")) << c.what;
    }
}

TEST(WriteXml, NestedBagsInNameOrderAndAnEmptyBag) {
    Bag inner, empty, bag;
    bag.Put("b", Nested(inner.Put("z", Uint(1)).Put("a", Bool(true))));
    bag.Put("a", Nested(empty));
    EXPECT_EQ(Write(bag), Doc("<properties name=\"a\">\n</properties>\n"
                              "<properties name=\"b\">\n"
                              "<value name=\"a\" type=\"bool\">true</value>\n"
                              "<value name=\"z\" type=\"uint\">1</value>\n"
                              "</properties>\n"));
    Bag none;
    EXPECT_EQ(Write(none), Doc(""));
}

// The same rule holds for a name in an attribute and for a string in text.
TEST(WriteXml, NamesAndStringsAreEscapedAndUnrepresentableBytesReplaced) {
    const struct {
        std::string raw, written;
    } cases[] = {
        {"a&b<c>d\"e'", "a&amp;b&lt;c&gt;d&quot;e'"},
        {"t\tn\nr\r", "t&#9;n&#10;r&#13;"},
        {std::string("nul\0x\x01\x1F", 7), "nul" + kFffd + "x" + kFffd + kFffd},
        {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x99\x82", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x99\x82"},
        {"bad\xFF\xC3", "bad" + kFffd + kFffd},
        {"\xED\xA0\x80", kFffd + kFffd + kFffd},  // a surrogate: each byte a maximal subpart
        {"\xEF\xBF\xBE\xEF\xBF\xBF\xEF\xBF\xBD", kFffd + kFffd + kFffd},
        {"\x7F", "\x7F"},
    };
    for (const auto& c : cases) {
        Bag bag;
        TavString name;
        TavStringConstructRange(&name, c.raw.data(), c.raw.data() + c.raw.size(), TavAllocatorGetDefault());
        TavPropertyValue v;
        TavPropertyValueConstructString(&v, &name, TAV_TRUE);
        EXPECT_TRUE(TavPropertiesAddProperty(bag, &name, &v));
        TavPropertyValueDestruct(&v);
        TavStringDestruct(&name);
        EXPECT_EQ(Write(bag), Doc("<value name=\"" + c.written + "\" type=\"string\">" + c.written +
                                  "</value>\n"))
            << c.raw;
    }
}

// No nesting limit and no indentation: the text grows linearly; every bag of
// the chain is unlocked afterwards.
TEST(WriteXml, AnyDepthWithoutRecursion) {
    Bag vectors, chain;
    PutVectorChain(vectors, "v", kDeep, Int(1));
    EXPECT_EQ(Write(vectors), Doc("<vector name=\"v\">\n" + Repeat("<vector>\n", kDeep - 1) +
                                  "<value type=\"int\">1</value>\n" + Repeat("</vector>\n", kDeep)));
    PutChain(chain, kDeep);
    EXPECT_EQ(Write(chain), Doc(Repeat("<properties name=\"a\">\n", kDeep) +
                                "<value name=\"a\" type=\"int\">1</value>\n" +
                                Repeat("</properties>\n", kDeep)));
    for (std::size_t depth : {std::size_t{0}, kDeep / 2, kDeep}) {
        EXPECT_TRUE(Unlocked(ChainBag(chain, depth))) << depth;
    }
}

TEST(WriteXml, AllocationFailuresReturnNullKeepingTheCallersStringAndLeakNothing) {
    tavtest::CountingAllocator alloc;
    Bag inner(alloc), bag(alloc);
    PutFailureExample(bag, inner, alloc, '&');
    const std::string expected = Write(bag);
    ASSERT_EQ(expected.compare(0, kHead.size(), kHead), 0);
    EXPECT_GE(SweepWriteFailures(alloc, expected,
                                 [&](TavString* s) {
                                     const TavString* result = TavPropertiesWriteXml(bag, s);
                                     EXPECT_TRUE(Unlocked(bag));
                                     return result;
                                 }),
              4u);
}

}  // namespace
