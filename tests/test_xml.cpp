#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

std::string AppendXml(TavProperties* bag, const std::string& before = "") {
    TavString xml;
    TavStringConstructCStr(&xml, before.c_str(), TavAllocatorGetDefault());
    EXPECT_EQ(TavPropertiesToXml(bag, &xml), &xml);
    const std::string text = Text(&xml);
    TavStringDestruct(&xml);
    return text;
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

TEST(XmlWriter, AllocationFailuresDropTextButKeepTheRestAndLeakNothing) {
    tavtest::CountingAllocator alloc;
    Bag bag(alloc);
    FillWorkedExample(bag, alloc);
    TavString xml;
    TavStringConstructCStr(&xml, "before", alloc);
    const std::size_t live = alloc.liveBlocks();
    tavtest::DefaultAllocatorHook hook(alloc);  // the indentation strings use it
    tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        const std::string before = Text(&xml);
        EXPECT_EQ(TavPropertiesToXml(bag, &xml), &xml);
        const std::string text = Text(&xml), added = text.substr(before.size());
        EXPECT_EQ(text.substr(0, before.size()), before) << k;
        EXPECT_TRUE(alloc.Failed() ? LinesWithin(added, kWorkedExample) : added == kWorkedExample)
            << "failing allocation " << k << ":\n" << added;
        EXPECT_EQ(alloc.liveBlocks(), live) << k;
    });
    TavStringDestruct(&xml);
}

}  // namespace
