#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

// What print writes to a file, on a small stack for the deep trees.
template <class Print>
std::string Captured(Print&& print) {
    char* buf = nullptr;
    std::size_t size = 0;
    TavFile file;
    TavFileConstructStream(&file, open_memstream(&buf, &size));
    OnSmallStack([&] { print(&file); });
    std::fclose(file.stream);
    TavFileDestruct(&file);
    const std::string text(buf, size);
    std::free(buf);
    return text;
}

std::string Dump(TavProperties* bag, const char* tabs = "") {
    return Captured([&](TavFile* f) { TavPropertiesPrint(bag, f, tabs); });
}

std::string Dump(const TavPropertyValue* v, const char* tabs = "") {
    return Captured([&](TavFile* f) { TavPropertyValuePrint(v, f, tabs); });
}

void FillWorkedExample(Bag& bag, TavAllocator* a = TavAllocatorGetDefault()) {
    Bag b(a);
    bag.Put("a", Int(5)).Put("b", Nested(b.Put("c", Bool(true))));
    bag.Put("d", Vec({Str("x", a), F32(1.5f)}, a));
    bag.Put("e", Make(TavPropertyValueConstructMediaFormat, TavMediaFormat{0}, 1));
}

// A leaf prints without prefix, name or line end; every line of a bag carries the prefix;
// empty containers and pointers print no text.
TEST(Printer, PrintsTheWorkedExampleALeafEmptyContainersAndPointers) {
    Bag bag;
    FillWorkedExample(bag);
    EXPECT_EQ(Dump(bag),
              "a(TavInt): 5,\nb: [\n\t\tc(TavBool): true,\n],\nd: {\n\t\t\"x\",\n"
              "\t\t1.50,\n},\ne(TavMediaFormat): ,\n");
    const TavPropertyValue leaf = Int(-42);
    EXPECT_EQ(Dump(&leaf, ">"), "-42");
    TavSharedPtr_void sp;
    TavSharedPtr_voidConstructEmpty(&sp);
    Bag other;
    other.Put("n", Nested(Bag())).Put("v", Vec({}));
    other.Put("p", Make(TavPropertyValueConstructSharedPtr, &sp, "F", 0, TavAllocatorGetDefault()));
    EXPECT_EQ(Dump(other, ">"), ">n: [\n>],\n>p(TavSharedPtr): ,\n>v: {\n>},\n");
}

constexpr std::size_t kLimit = 4096;  // bags and vectors the printer opens inside one another

// The dump of a chain of bags each held as "a": the frame of the k-th bag at 2(k - 1) tabs for
// k = 1 ... frames, around `inner`.
std::string ChainDump(std::size_t frames, const std::string& inner) {
    std::string text;
    for (std::size_t k = 1; k <= frames; ++k) text += std::string(2 * (k - 1), '\t') + "a: [\n";
    text += inner;
    for (std::size_t k = frames; k >= 1; --k) text += std::string(2 * (k - 1), '\t') + "],\n";
    return text;
}

// Beyond the limit a nested bag keeps its frame and a vector element its prefix, but their
// contents are not printed. A vector's elements carry its prefix, and an element that is a vector
// that prefix and its own contents: a chain prints its prefixes (k tabs at level k) one after the
// other, then a "," line per level.
TEST(Printer, PrintsUpToTheNestingLimitAndLeavesDeeperContentsOut) {
    Bag atLimit, chain, vectors, shallow;
    PutChain(atLimit, kLimit);
    EXPECT_EQ(Dump(atLimit), ChainDump(kLimit, std::string(2 * kLimit, '\t') + "a(TavInt): 1,\n"));
    PutChain(chain, kDeep);
    EXPECT_EQ(Dump(chain), ChainDump(kLimit + 1, ""));
    EXPECT_TRUE(Unlocked(ChainBag(chain, kLimit)));
    PutVectorChain(vectors, "v", kDeep, Int(1));
    EXPECT_EQ(Dump(TavPropertiesGetPropertyAtPathCStr(vectors, "v")),
              std::string((kLimit + 1) * (kLimit + 2) / 2, '\t') + Repeat(",\n", kLimit + 1));
    PutVectorChain(shallow, "v", 3, Int(7));
    EXPECT_EQ(Dump(TavPropertiesGetPropertyAtPathCStr(shallow, "v")), "\t\t\t\t\t\t7,\n,\n,\n");
}

// The frames "name: [" ... "]," and "name: {" ... "}," nest properly.
bool FramesNest(const std::string& text) {
    std::string open;  // the closing bracket and indentation expected, innermost last
    std::size_t at = 0;
    for (std::size_t end; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
        const std::string line = text.substr(at, end - at);
        const std::size_t tabs = line.find_first_not_of('\t');
        if (tabs == std::string::npos) continue;
        const std::string rest = line.substr(tabs);
        if (rest.size() > 3 && (rest.ends_with(": [") || rest.ends_with(": {"))) {
            open += std::string(tabs, '\t') + (rest.back() == '[' ? ']' : '}') + '\n';
        } else if (rest == "]," || rest == "},") {
            const std::string expect = line.substr(0, line.size() - 1) + "\n";
            if (open.size() < expect.size() || !open.ends_with(expect)) return false;
            open.resize(open.size() - expect.size());
        }
    }
    return open.empty() && at == text.size();
}

// The example nests vectors deeper than the walk keeps in place, so that its own memory (from
// the bag's allocator) can fail too: every entry keeps its line, whatever was left out below.
TEST(Printer, FailedPrefixesLeaveContentsOutAndLeakNothing) {
    tavtest::CountingAllocator alloc;
    Bag bag(alloc);
    FillWorkedExample(bag, alloc);
    PutVectorChain(bag, "w", 40, Str("deep", alloc), alloc);
    const std::string full = Dump(bag);
    const std::size_t live = alloc.liveBlocks();
    tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        const std::string text = Dump(bag);
        EXPECT_EQ(alloc.liveBlocks(), live) << "failing allocation " << k;
        EXPECT_NE(text.find("e(TavMediaFormat): ,\n"), std::string::npos) << k;
        EXPECT_TRUE(text.starts_with("a(TavInt): 5,\nb: [\n")) << k << ":\n" << text;
        EXPECT_TRUE(text.ends_with("},\n")) << k << ":\n" << text;
        EXPECT_TRUE(FramesNest(text)) << k << ":\n" << text;
        if (!alloc.Failed()) {
            EXPECT_EQ(text, full) << k;
        }
    });
}

}  // namespace
