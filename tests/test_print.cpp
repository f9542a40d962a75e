#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

// Runs print with a TavFile over a temporary file and returns what it wrote.
template <class Print>
std::string Captured(Print&& print) {
    FILE* stream = std::tmpfile();
    EXPECT_NE(stream, nullptr);
    TavFile file;
    TavFileConstructStream(&file, stream);
    print(&file);
    TavFileDestruct(&file);
    std::fflush(stream);
    std::rewind(stream);
    std::string text;
    for (int c; (c = std::fgetc(stream)) != EOF;) text.push_back(static_cast<char>(c));
    std::fclose(stream);
    return text;
}

std::string Dump(TavProperties* bag, const char* tabs = "") {
    return Captured([&](TavFile* f) { TavPropertiesPrint(bag, f, tabs); });
}

std::string ValueText(TavPropertyValue v) {
    const std::string text = Captured([&](TavFile* f) { TavPropertyValuePrint(&v, f, ""); });
    TavPropertyValueDestruct(&v);
    return text;
}

void Deleter(TavVoidPtr, TavAllocator*) {}

const char* const kWorkedExample =
    "a(TavInt): 5,\n"
    "b: [\n"
    "\t\tc(TavBool): true,\n"
    "],\n"
    "d: {\n"
    "\t\t\"x\",\n"
    "\t\t1.50,\n"
    "},\n"
    "e(TavMediaFormat): ,\n";

void FillWorkedExample(Bag& bag, TavAllocator* a = TavAllocatorGetDefault()) {
    Bag b(a);
    b.Put("c", Bool(true));
    TavPropertyValue fmt;
    TavPropertyValueConstructMediaFormat(&fmt, TAV_MEDIAFORMAT_FOURCC('N', 'V', '1', '2'), 1);
    bag.Put("a", Int(5)).Put("b", Nested(b)).Put("d", Vec({Str("x", a), F32(1.5f)}, a));
    bag.Put("e", fmt);
}

TEST(Printer, PrintsTheWorkedExample) {
    Bag bag;
    FillWorkedExample(bag);
    EXPECT_EQ(Dump(bag), kWorkedExample);
}

TEST(Printer, PrefixesEveryLineOfTheBagAndNestsTwoTabsDeeper) {
    Bag inner;
    inner.Put("c", Int(1));
    Bag middle;
    middle.Put("m", Nested(inner));
    Bag bag;
    bag.Put("t", Nested(middle)).Put("v", Vec({Vec({Int(3)}), Int(4)}));
    EXPECT_EQ(Dump(bag, ">"),
              ">t: [\n"
              ">\t\tm: [\n"
              ">\t\t\t\tc(TavInt): 1,\n"
              ">\t\t],\n"
              ">],\n"
              ">v: {\n"
              ">\t\t>\t\t\t3,\n"
              ",\n"
              ">\t\t4,\n"
              ">},\n");
}

TEST(Printer, PrintsEmptyContainersAsFramesOnly) {
    Bag empty;
    EXPECT_EQ(Dump(empty), "");
    Bag bag;
    bag.Put("n", Nested(empty)).Put("v", Vec({}));
    EXPECT_EQ(Dump(bag), "n: [\n],\nv: {\n},\n");
}

TEST(Printer, PrintsLeafValuesWithTheirOwnFormats) {
    TavPropertyValue v;
    EXPECT_EQ(ValueText(Int(-42)), "-42");
    EXPECT_EQ(ValueText(F32(2.5f)), "2.50");
    EXPECT_EQ(ValueText(F64(0.1)), "0.10000");
    EXPECT_EQ(ValueText(*TavPropertyValueConstructInt16(&v, -2, 0)), "-2");
    EXPECT_EQ(ValueText(*TavPropertyValueConstructUint64(&v, UINT64_MAX, 0)),
              "18446744073709551615");
    EXPECT_EQ(ValueText(*TavPropertyValueConstructResolution(&v, {640, 480}, 0)), "640x480");
    EXPECT_EQ(ValueText(Str("say \"hi\"")), "\"say \"hi\"\"");
    char pointer[32];
    std::snprintf(pointer, sizeof pointer, "%p", static_cast<void*>(&v));
    EXPECT_EQ(ValueText(*TavPropertyValueConstructVoidPtr(&v, &v, 0)), pointer);
}

TEST(Printer, PointerKindsShowOnlyNameAndType) {
    int object = 0;
    TavSharedPtr_void sp;
    ASSERT_NE(TavSharedPtr_voidConstruct(&sp, &object, &Deleter, TavAllocatorGetDefault()), nullptr);
    const TavPropertyValueCallbacks callbacks = {
        [](void* dst, const void*) { return dst; }, [](void*) {},
        [](void* dst, const void*) { return dst; }, [](const void*, const void*) -> TavBool { return 1; }};
    TavPropertyValue p, w;
    ASSERT_NE(TavPropertyValueConstructSharedPtr(&p, &sp, "Frame", 0, TavAllocatorGetDefault()),
              nullptr);
    ASSERT_NE(TavPropertyValueConstructWrapper(&w, &object, sizeof object, &callbacks, "int", 0,
                                               TavAllocatorGetDefault()),
              nullptr);
    Bag bag;
    bag.Put("p", p).Put("w", w);
    EXPECT_EQ(Dump(bag), "p(TavSharedPtr): ,\nw(Wrapper): ,\n");
    TavSharedPtr_voidDestruct(&sp);
}

TEST(Printer, FailedPrefixesLeaveContentsOutAndLeakNothing) {
    tavtest::CountingAllocator alloc;
    Bag bag(alloc);
    FillWorkedExample(bag, alloc);
    const std::size_t live = alloc.liveBlocks();
    const std::size_t points = tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        const std::string text = Dump(bag);
        EXPECT_EQ(alloc.liveBlocks(), live) << "failing allocation " << k;
        if (!alloc.Failed()) {
            EXPECT_EQ(text, kWorkedExample) << k;
        }
        // Every entry keeps its own line, whatever was left out below it.
        EXPECT_NE(text.find("a(TavInt): 5,\n"), std::string::npos) << k;
        EXPECT_NE(text.find("e(TavMediaFormat): ,\n"), std::string::npos) << k;
    });
    EXPECT_GE(points, 4u);
}

}  // namespace
