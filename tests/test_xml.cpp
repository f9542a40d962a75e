#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

std::string Xml(TavProperties* bag, const char* before = "") {
    TavString xml;
    TavStringConstructCStr(&xml, before, TavAllocatorGetDefault());
    EXPECT_EQ(TavPropertiesToXml(bag, &xml), &xml);
    std::string text = Text(&xml);
    TavStringDestruct(&xml);
    return text;
}

std::string ValueXml(TavPropertyValue v) {
    Bag bag;
    bag.Put("v", v);
    return Xml(bag);
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

void Deleter(TavVoidPtr, TavAllocator*) {}

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
    b.Put("c", Bool(true));
    e.Put("e", Uint(1));
    bag.Put("a", Int(5)).Put("b", Nested(b)).Put("d", Vec({Str("x", a), Nested(e)}, a));
}

TEST(XmlWriter, WritesTheWorkedExample) {
    Bag bag;
    FillWorkedExample(bag);
    EXPECT_EQ(Xml(bag), kWorkedExample);
}

TEST(XmlWriter, AppendsToWhatTheStringHolds) {
    Bag empty;
    EXPECT_EQ(Xml(empty, "kept"), "kept");
    Bag bag;
    FillWorkedExample(bag);
    TavString xml;
    TavStringConstructDefault(&xml, TavAllocatorGetDefault());
    TavPropertiesToXml(bag, &xml);
    TavPropertiesToXml(bag, &xml);
    EXPECT_EQ(Text(&xml), std::string(kWorkedExample) + kWorkedExample);
    TavStringDestruct(&xml);
}

TEST(XmlWriter, FramesEmptyAndNestedContainers) {
    Bag empty;
    Bag bag;
    bag.Put("n", Nested(empty)).Put("v", Vec({})).Put("w", Vec({Vec({})}));
    EXPECT_EQ(Xml(bag),
              "\t<properties name=\"n\">\n"
              "\t</properties> <!-- n -->\n"
              "\t<vector name=\"v\">\n"
              "\t</vector> <!-- v -->\n"
              "\t<vector name=\"w\">\n"
              "\t\t<vector>\n"
              "\t\t</vector>\n"
              "\t</vector> <!-- w -->\n");
}

TEST(XmlWriter, IndentsOneTabPerLevelAtAnyDepth) {
    Bag bag;
    NestChain(bag, 100);
    const std::vector<std::string> lines = Lines(Xml(bag));
    ASSERT_EQ(lines.size(), 201u);
    EXPECT_EQ(lines[100], std::string(101, '\t') + "<value name=\"x\" type=\"int\">1</value>");
    EXPECT_EQ(lines[200], "\t</properties> <!-- n -->");
}

TEST(XmlWriter, WritesLeafKindsUnescaped) {
    TavPropertyValue v;
    EXPECT_EQ(ValueXml(Str("a<b&\"c\"")), "\t<value name=\"v\" type=\"string\">a<b&\"c\"</value>\n");
    EXPECT_EQ(ValueXml(*TavPropertyValueConstructResolution(&v, {640, 480}, 0)),
              "\t<value name=\"v\" type=\"resolution\"><width>640</width>"
              "<height>480</height></value>\n");
    EXPECT_EQ(ValueXml(F32(0.5f)), "\t<value name=\"v\" type=\"TavFloat32\">0.500000</value>\n");
    EXPECT_EQ(ValueXml(F64(-2)), "\t<value name=\"v\" type=\"TavFloat64\">-2.000000</value>\n");
    EXPECT_EQ(ValueXml(*TavPropertyValueConstructTime(&v, 90, 0)),
              "\t<value name=\"v\" type=\"TavTime\">90</value>\n");
    EXPECT_EQ(ValueXml(*TavPropertyValueConstructInt16(&v, -7, 0)),
              "\t<value name=\"v\" type=\"int16\">-7</value>\n");
    EXPECT_EQ(ValueXml(*TavPropertyValueConstructMediaFormat(&v, 0, 0)),
              "\t<value name=\"v\" type=\"media_format\">....</value>\n");
}

TEST(XmlWriter, TypedPointersWriteTheVoidWordsWithoutTheirNames) {
    int object = 0;
    TavSharedPtr_void sp;
    ASSERT_NE(TavSharedPtr_voidConstruct(&sp, &object, &Deleter, TavAllocatorGetDefault()), nullptr);
    TavPropertyValue v;
    ASSERT_NE(TavPropertyValueConstructSharedPtr(&v, &sp, "Frame", 0, TavAllocatorGetDefault()),
              nullptr);
    EXPECT_EQ(ValueXml(v), "\t<value name=\"v\" type=\"shared_ptr\">" +
                               std::to_string(reinterpret_cast<std::uintptr_t>(&object)) +
                               "</value>\n");
    TavSharedPtr_voidDestruct(&sp);
}

// Lines of `got` must be lines of `all`, in the same order.
bool IsSubsequenceOfLines(const std::string& got, const std::string& all) {
    const std::vector<std::string> g = Lines(got), a = Lines(all);
    std::size_t j = 0;
    for (const std::string& line : g) {
        while (j < a.size() && a[j] != line) ++j;
        if (j++ == a.size()) return false;
    }
    return true;
}

TEST(XmlWriter, AllocationFailuresDropTextButKeepTheRestAndLeakNothing) {
    tavtest::CountingAllocator alloc;
    Bag bag(alloc);
    FillWorkedExample(bag, alloc);
    const std::size_t live = alloc.liveBlocks();
    tavtest::DefaultAllocatorHook hook(alloc);  // the indentation strings use it

    const std::size_t points = tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        {
            TavString xml;
            TavStringConstructDefault(&xml, alloc);
            alloc.FailAt(0);
            TavStringAppendCStr(&xml, "previous\n");
            alloc.FailAt(k);
            EXPECT_EQ(TavPropertiesToXml(bag, &xml), &xml);
            const std::string text = Text(&xml);
            EXPECT_EQ(text.rfind("previous\n", 0), 0u) << k;
            EXPECT_TRUE(IsSubsequenceOfLines(text.substr(9), kWorkedExample)) << k << "\n" << text;
            if (!alloc.Failed()) {
                EXPECT_EQ(text.substr(9), kWorkedExample);
            }
            TavStringDestruct(&xml);
        }
        EXPECT_EQ(alloc.liveBlocks(), live) << "failing allocation " << k;
    });
    EXPECT_GE(points, 3u);
}

}  // namespace
