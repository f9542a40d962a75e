// The XML writers: the well-formed one (exact text of every kind, escaping of names and strings,
// what XML 1.0 can't hold as U+FFFD, any depth) and the XML-like dump that appends to the
// caller's text (nothing escaped, 4,096 levels at most); allocation failures in both.
#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<properties>\n";
const std::string kFffd = "\xEF\xBF\xBD";

// The well-formed writer's text, or "FAILED" (see Written).
std::string Write(TavProperties* bag) {
    return Written([&](TavString* s) { return TavPropertiesWriteXml(bag, s); });
}

// The document around the lines of one bag's entries.
std::string Doc(const std::string& lines) { return kHead + lines + "</properties>\n"; }

// The text the dump leaves in a string that held `before` (it always returns the string).
std::string AppendXml(TavProperties* bag, const std::string& before = "") {
    return Written([&](TavString* s) { return TavPropertiesToXml(bag, s); }, before);
}

TEST(WriteXml, EachKindHasItsElementTypeAndTextBagsInNameOrder) {
    const float inf = std::numeric_limits<float>::infinity();
    Bag inner, empty;
    std::pair<TavPropertyValue, std::string> cases[] = {
        {F32(0.1f), R"(<value name="x" type="float32">0.1</value>)"},
        {F64(std::nan("")), R"(<value name="x" type="float64">NaN</value>)"},
        {F32(-inf), R"(<value name="x" type="float32">-INF</value>)"},
        {Str("a b"), R"(<value name="x" type="string">a b</value>)"},
        {Make(TavPropertyValueConstructResolution, TavResolution{640, 480}, TAV_TRUE),
         R"(<value name="x" type="resolution"><width>640</width><height>480</height></value>)"},
        {Vec({Int(1), Str("s"), Vec({})}),
         "<vector name=\"x\">\n<value type=\"int\">1</value>\n<value type=\"string\">s</value>\n"
         "<vector>\n</vector>\n</vector>"},
        {Nested(inner.Put("z", Uint(1)).Put("a", Bool(true))),
         "<properties name=\"x\">\n<value name=\"a\" type=\"bool\">true</value>\n"
         "<value name=\"z\" type=\"uint\">1</value>\n</properties>"},
        {Nested(empty), "<properties name=\"x\">\n</properties>"},
    };
    for (auto& c : cases) EXPECT_EQ(Write(Bag().Put("x", c.first)), Doc(c.second + "\n"));
    Bag none;
    EXPECT_EQ(Write(none), Doc(""));
}

// The same rule holds for a name in an attribute and for a string in text (the maximal invalid
// subsequences are those of the JSON writer).
TEST(WriteXml, NamesAndStringsAreEscapedAndUnrepresentableBytesReplaced) {
    const std::string valid = "\x7F\xC3\xA9\xF0\x9F\x99\x82";  // DEL and UTF-8 of every length
    const std::pair<std::string, std::string> cases[] = {
        {"a&b<c>d\"e'", "a&amp;b&lt;c&gt;d&quot;e'"},
        {"t\tn\nr\r", "t&#9;n&#10;r&#13;"},
        {std::string("nul\0x\x01\x1F", 7), "nul" + kFffd + "x" + kFffd + kFffd},
        {valid + "\xFF\xC3", valid + kFffd + kFffd},
        {"\xEF\xBF\xBE\xEF\xBF\xBF\xEF\xBF\xBD", kFffd + kFffd + kFffd},
    };
    for (const auto& c : cases) {
        Bag bag;
        TavString name;
        TavStringConstructRange(&name, c.first.data(), c.first.data() + c.first.size(),
                                TavAllocatorGetDefault());
        TavPropertyValue v = Make(TavPropertyValueConstructString, &name, TAV_TRUE);
        EXPECT_TRUE(TavPropertiesAddProperty(bag, &name, &v));
        TavPropertyValueDestruct(&v);
        TavStringDestruct(&name);
        EXPECT_EQ(Write(bag), Doc("<value name=\"" + c.second + "\" type=\"string\">" + c.second +
                                  "</value>\n"))
            << c.first;
    }
}

// The dump's example; each of its lines is shorter than its buffer.
const char* const kDumped =
    "\t<value name=\"a\" type=\"int\">5</value>\n\t<properties name=\"b\">\n"
    "\t\t<value name=\"c\" type=\"bool\">true</value>\n\t</properties> <!-- b -->\n"
    "\t<vector name=\"d\">\n\t\t<value type=\"string\">x</value>\n\t\t<properties>\n"
    "\t\t\t<value name=\"e\" type=\"uint\">1</value>\n\t\t</properties>\n\t</vector> <!-- d -->\n"
    "\t<value name=\"f\" type=\"TavFloat32\">0.500000</value>\n"
    "\t<properties name=\"n\">\n\t</properties> <!-- n -->\n"
    "\t<value name=\"r\" type=\"resolution\"><width>640</width><height>480</height></value>\n"
    "\t<value name=\"s\" type=\"string\">a<b&\"c\"</value>\n"
    "\t<value name=\"t\" type=\"TavTime\">90</value>\n\t<vector name=\"v\">\n\t</vector> <!-- v "
    "-->\n"
    "\t<vector name=\"w\">\n\t\t<vector>\n\t\t</vector>\n\t</vector> <!-- w -->\n";

void FillDumped(Bag& bag, TavAllocator* a = TavAllocatorGetDefault()) {
    Bag b(a), e(a), n(a);
    bag.Put("a", Int(5)).Put("b", Nested(b.Put("c", Bool(true)))).Put("f", F32(0.5f));
    bag.Put("d", Vec({Str("x", a), Nested(e.Put("e", Uint(1)))}, a)).Put("n", Nested(n));
    bag.Put("r", Make(TavPropertyValueConstructResolution, TavResolution{640, 480}, 0));
    bag.Put("s", Str("a<b&\"c\"", a)).Put("t", Make(TavPropertyValueConstructTime, 90, 0));
    bag.Put("v", Vec({}, a)).Put("w", Vec({Vec({}, a)}, a));
}

// The dump appends to what the string holds, one element a line indented by tabs, nothing
// escaped, leaves with their own words and floats as "%f".
TEST(XmlDump, AppendsToWhatTheStringHoldsAndWritesLeavesUnescapedWithTheirOwnWords) {
    Bag bag;
    FillDumped(bag);
    EXPECT_EQ(AppendXml(bag), kDumped);
    EXPECT_EQ(AppendXml(bag, AppendXml(bag)), std::string(kDumped) + kDumped);
}

// How many bags and vectors the dump opens inside one another.
constexpr std::size_t kLimit = 4096;

// The dump's lines of `levels` containers nested from the top bag at k tabs (k = 1 outermost),
// around `inner`; the outermost framed by open[0] and close[0], the others by open[1], close[1].
using Frame = const char* [2];
std::string Nest(std::size_t levels, Frame open, Frame close, const std::string& inner = "") {
    std::string text;
    for (std::size_t k = 1; k <= levels; ++k) text += std::string(k, '\t') + open[k > 1] + "\n";
    text += inner;
    for (std::size_t k = levels; k >= 1; --k) text += std::string(k, '\t') + close[k > 1] + "\n";
    return text;
}

// The well-formed writer has no nesting limit and no indentation, so its text grows linearly;
// the dump leaves out what is deeper than its limit. Either leaves every bag unlocked.
TEST(WriteXml, BothWritersWalkAnyDepthWithoutRecursion) {
    Frame bagOpen = {"<properties name=\"a\">", "<properties name=\"a\">"};
    Frame bagClose = {"</properties> <!-- a -->", "</properties> <!-- a -->"};
    Frame vecOpen = {"<vector name=\"v\">", "<vector>"},
          vecClose = {"</vector> <!-- v -->", "</vector>"};
    Bag atLimit, chain, vectors;
    PutChain(atLimit, kLimit);
    EXPECT_EQ(AppendXml(atLimit),
              Nest(kLimit, bagOpen, bagClose,
                   std::string(kLimit + 1, '\t') + "<value name=\"a\" type=\"int\">1</value>\n"));
    PutVectorChain(vectors, "v", kDeep, Int(1));
    EXPECT_EQ(Write(vectors), Doc("<vector name=\"v\">\n" + Repeat("<vector>\n", kDeep - 1) +
                                  "<value type=\"int\">1</value>\n" + Repeat("</vector>\n", kDeep)));
    EXPECT_EQ(AppendXml(vectors), Nest(kLimit, vecOpen, vecClose));
    PutChain(chain, kDeep);
    EXPECT_EQ(Write(chain), Doc(Repeat("<properties name=\"a\">\n", kDeep) +
                                "<value name=\"a\" type=\"int\">1</value>\n" +
                                Repeat("</properties>\n", kDeep)));
    for (std::size_t depth : {std::size_t{0}, kDeep / 2, kDeep}) {
        EXPECT_TRUE(Unlocked(ChainBag(chain, depth))) << depth;
    }
    EXPECT_EQ(AppendXml(chain, "x"), "x" + Nest(kLimit, bagOpen, bagClose));
    EXPECT_TRUE(Unlocked(ChainBag(chain, kLimit)));
}

// True when the lines of part are lines of whole in the same order, and each opening line has
// its closing line.
bool WithinAndBalanced(const std::string& part, const std::string& whole) {
    std::size_t matched = 0;
    for (std::size_t at = 0, end; (end = whole.find('\n', at)) != std::string::npos; at = end + 1) {
        const std::size_t n = end + 1 - at;
        if (part.compare(matched, n, whole, at, n) == 0) matched += n;
    }
    const auto count = [&](const char* s) {
        std::size_t n = 0;
        for (std::size_t at = part.find(s); at != std::string::npos; at = part.find(s, at + 1)) ++n;
        return n;
    };
    return matched == part.size() && count("<properties") == count("</properties>") &&
           count("<vector") == count("</vector>");
}

// Under every allocation failure (the default allocator's too: the dump takes its indentation
// from it) the well-formed writer returns NULL keeping the caller's string; the dump keeps the
// caller's text and appends lines of the whole text (its lines are shorter than its buffer), in
// order, each frame closed. The examples nest vectors deeper than a walk keeps in place, so that
// its own memory can fail too.
TEST(WriteXml, AllocationFailuresKeepTheCallersTextAndLeakNothing) {
    tavtest::CountingAllocator alloc;
    Bag inner(alloc), bag(alloc), dumped(alloc);
    PutFailureExample(bag, inner, alloc, '&');
    FillDumped(dumped, alloc);
    PutVectorChain(dumped, "z", 40, Str("deep", alloc), alloc);
    const std::string expected = Write(bag), full = AppendXml(dumped);
    ASSERT_EQ(expected.compare(0, kHead.size(), kHead), 0);
    tavtest::DefaultAllocatorHook hook(alloc);
    const auto write = [&](TavString* s) {
        const TavString* result = TavPropertiesWriteXml(bag, s);
        EXPECT_TRUE(Unlocked(bag));
        return result;
    };
    EXPECT_GE(SweepWriteFailures(alloc, expected, write), 4u);
    TavString xml;
    TavStringConstructCStr(&xml, "before", alloc);
    const std::size_t live = alloc.liveBlocks();
    tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        const std::string before = Text(&xml);
        EXPECT_EQ(TavPropertiesToXml(dumped, &xml), &xml);
        const std::string text = Text(&xml), added = text.substr(before.size());
        EXPECT_EQ(text.substr(0, before.size()), before) << k;
        EXPECT_TRUE(alloc.Failed() ? WithinAndBalanced(added, full) : added == full)
            << "failing allocation " << k << ":\n"
            << added;
        EXPECT_EQ(alloc.liveBlocks(), live) << k;
    });
    TavStringDestruct(&xml);
}

}  // namespace
