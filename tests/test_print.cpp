#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

template <class Print>
std::string Captured(Print&& print) {
    char* buf = nullptr;
    std::size_t size = 0;
    TavFile file;
    print(TavFileConstructStream(&file, open_memstream(&buf, &size)));
    std::fclose(file.stream);
    TavFileDestruct(&file);
    const std::string text(buf, size);
    std::free(buf);
    return text;
}

std::string Dump(TavProperties* bag, const char* tabs = "") {
    return Captured([&](TavFile* f) { TavPropertiesPrint(bag, f, tabs); });
}

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
    bag.Put("a", Int(5)).Put("b", Nested(b.Put("c", Bool(true))));
    bag.Put("d", Vec({Str("x", a), F32(1.5f)}, a));
    bag.Put("e", Make(TavPropertyValueConstructMediaFormat, TavMediaFormat{0}, 1));
}

TEST(Printer, PrintsTheWorkedExampleAndASingleLeafWithoutPrefixNameOrLineEnd) {
    Bag bag;
    FillWorkedExample(bag);
    EXPECT_EQ(Dump(bag), kWorkedExample);
    const TavPropertyValue leaf = Int(-42);
    EXPECT_EQ(Captured([&](TavFile* f) { TavPropertyValuePrint(&leaf, f, ">"); }), "-42");
}

TEST(Printer, PrefixesEveryLineAndPrintsNoTextForEmptyContainersOrPointers) {
    TavSharedPtr_void sp;
    TavSharedPtr_voidConstructEmpty(&sp);
    Bag bag;
    bag.Put("n", Nested(Bag())).Put("v", Vec({}));
    bag.Put("p", Make(TavPropertyValueConstructSharedPtr, &sp, "F", 0, TavAllocatorGetDefault()));
    EXPECT_EQ(Dump(bag, ">"), ">n: [\n>],\n>p(TavSharedPtr): ,\n>v: {\n>},\n");
}

TEST(Printer, FailedPrefixesLeaveContentsOutAndLeakNothing) {
    tavtest::CountingAllocator alloc;
    Bag bag(alloc);
    FillWorkedExample(bag, alloc);
    const std::size_t live = alloc.liveBlocks();
    tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        const std::string text = Dump(bag);
        EXPECT_EQ(alloc.liveBlocks(), live) << "failing allocation " << k;
        // Every entry keeps its line, whatever was left out below it.
        EXPECT_NE(text.find("e(TavMediaFormat): ,\n"), std::string::npos) << k;
        EXPECT_TRUE(alloc.Failed() || text == kWorkedExample) << k;
    });
}

}  // namespace
