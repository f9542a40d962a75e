#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

// The text ToXml leaves in a string that held `before` (it always returns the string).
std::string AppendXml(TavProperties* bag, const std::string& before = "") {
    return Written([&](TavString* s) { return TavPropertiesToXml(bag, s); }, before);
}

const char* const kWorkedExample =
    "\t<value name=\"a\" type=\"int\">5</value>\n"
    "\t<properties name=\"b\">\n"
    "\t\t<value name=\"c\" type=\"bool\">true</value>\n"
    "\t</properties> <!-- b -->\n"
    "\t<vector name=\"d\">\n"
    "\t\t<value type=\"string\">x</value>\n"
    "\t\t<properties>\n"
    "\t\t\t<value name=\"e\" type=\"uint\">1</value>\n"
    "\t\t</properties>\n"
    "\t</vector> <!-- d -->\n";

void FillWorkedExample(Bag& bag, TavAllocator* a = TavAllocatorGetDefault()) {
    Bag b(a), e(a);
    bag.Put("a", Int(5)).Put("b", Nested(b.Put("c", Bool(true))));
    bag.Put("d", Vec({Str("x", a), Nested(e.Put("e", Uint(1)))}, a));
}

TEST(XmlWriter, AppendsTheWorkedExampleToWhatTheStringHolds) {
    Bag bag;
    FillWorkedExample(bag);
    EXPECT_EQ(AppendXml(bag), kWorkedExample);
    EXPECT_EQ(AppendXml(bag, AppendXml(bag)), std::string(kWorkedExample) + kWorkedExample);
}

TEST(XmlWriter, FramesEmptyContainersAndWritesLeavesUnescapedWithTheirOwnWords) {
    Bag bag;
    bag.Put("f", F32(0.5f)).Put("n", Nested(Bag())).Put("s", Str("a<b&\"c\"")).Put("v", Vec({}));
    bag.Put("r", Make(TavPropertyValueConstructResolution, TavResolution{640, 480}, 0));
    bag.Put("t", Make(TavPropertyValueConstructTime, 90, 0)).Put("w", Vec({Vec({})}));
    EXPECT_EQ(AppendXml(bag), "\t<value name=\"f\" type=\"TavFloat32\">0.500000</value>\n"
                        "\t<properties name=\"n\">\n\t</properties> <!-- n -->\n"
                        "\t<value name=\"r\" type=\"resolution\">"
                        "<width>640</width><height>480</height></value>\n"
                        "\t<value name=\"s\" type=\"string\">a<b&\"c\"</value>\n"
                        "\t<value name=\"t\" type=\"TavTime\">90</value>\n"
                        "\t<vector name=\"v\">\n\t</vector> <!-- v -->\n"
                        "\t<vector name=\"w\">\n\t\t<vector>\n\t\t</vector>\n"
                        "\t</vector> <!-- w -->\n");
}

// True when the lines of part are lines of whole, in the same order.
bool LinesWithin(const std::string& part, const std::string& whole) {
    std::size_t matched = 0;
    for (std::size_t at = 0, end; (end = whole.find('\n', at)) != std::string::npos; at = end + 1) {
        const std::size_t n = end + 1 - at;
        if (part.compare(matched, n, whole, at, n) == 0) matched += n;
    }
    return matched == part.size();
}

// How many bags and vectors the writer opens inside one another.
constexpr std::size_t kLimit = 4096;

// The lines of `levels` containers nested from the top bag, each opened by
// open(k) and closed by close(k) at k tabs (k = 1 outermost), around `inner`.
using Line = std::string (*)(std::size_t k);
std::string Nest(std::size_t levels, Line open, Line close, const std::string& inner = "") {
    std::string text;
    for (std::size_t k = 1; k <= levels; ++k) text += std::string(k, '\t') + open(k) + "\n";
    text += inner;
    for (std::size_t k = levels; k >= 1; --k) text += std::string(k, '\t') + close(k) + "\n";
    return text;
}

TEST(XmlWriter, WritesUpToTheNestingLimitAndLeavesDeeperContainersOut) {
    const auto bagOpen = [](std::size_t) -> std::string { return "<properties name=\"a\">"; };
    const auto bagClose = [](std::size_t) -> std::string { return "</properties> <!-- a -->"; };
    const auto vecOpen = [](std::size_t k) -> std::string {
        return k == 1 ? "<vector name=\"v\">" : "<vector>";
    };
    const auto vecClose = [](std::size_t k) -> std::string {
        return k == 1 ? "</vector> <!-- v -->" : "</vector>";
    };
    Bag atLimit, chain, vectors;
    PutChain(atLimit, kLimit);
    EXPECT_EQ(AppendXml(atLimit),
              Nest(kLimit, bagOpen, bagClose,
                   std::string(kLimit + 1, '\t') + "<value name=\"a\" type=\"int\">1</value>\n"));
    PutChain(chain, kDeep);
    EXPECT_EQ(AppendXml(chain, "x"), "x" + Nest(kLimit, bagOpen, bagClose));
    EXPECT_TRUE(Unlocked(ChainBag(chain, kLimit)));
    PutVectorChain(vectors, "v", kDeep, Int(1));
    EXPECT_EQ(AppendXml(vectors), Nest(kLimit, vecOpen, vecClose));
}

// Every opening line of the text has its closing line.
bool Balanced(const std::string& text) {
    const auto count = [&](const char* s) {
        std::size_t n = 0;
        for (std::size_t at = text.find(s); at != std::string::npos; at = text.find(s, at + 1)) ++n;
        return n;
    };
    return count("<properties") == count("</properties>") && count("<vector") == count("</vector>");
}

// The example nests vectors deeper than the walk keeps in place, so that its
// own memory (from the bag's allocator) can fail too; the indentation strings
// come from the default allocator.
TEST(XmlWriter, AllocationFailuresDropTextButKeepTheRestAndLeakNothing) {
    tavtest::CountingAllocator alloc;
    Bag bag(alloc);
    FillWorkedExample(bag, alloc);
    PutVectorChain(bag, "w", 40, Str("deep", alloc), alloc);
    const std::string full = AppendXml(bag);
    TavString xml;
    TavStringConstructCStr(&xml, "before", alloc);
    const std::size_t live = alloc.liveBlocks();
    tavtest::DefaultAllocatorHook hook(alloc);
    tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        const std::string before = Text(&xml);
        EXPECT_EQ(TavPropertiesToXml(bag, &xml), &xml);
        const std::string text = Text(&xml), added = text.substr(before.size());
        EXPECT_EQ(text.substr(0, before.size()), before) << k;
        if (alloc.Failed()) {
            EXPECT_TRUE(LinesWithin(added, full)) << "failing allocation " << k << ":\n" << added;
            EXPECT_TRUE(Balanced(added)) << "failing allocation " << k << ":\n" << added;
        } else {
            EXPECT_EQ(added, full) << "failing allocation " << k;
        }
        EXPECT_EQ(alloc.liveBlocks(), live) << k;
    });
    TavStringDestruct(&xml);
}

}  // namespace
