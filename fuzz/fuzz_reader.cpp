// Feeds arbitrary bytes to the one-line property reader, then writes the bag
// in every text form. Besides memory safety it checks what the reader
// promises whatever the text: reading is deterministic, a second read of the
// same text into the filled bag changes nothing (an add never replaces), and
// every block goes back to the allocator it came from. A last read runs with
// an allocator that refuses every n-th allocation, the default allocator
// included, where only memory safety and the return of every block count.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzSupport.hpp"

namespace {

using tavfuzz::Require;

// Deepest brace nesting in the text: the deepest bag the reader can make.
std::size_t BraceDepth(const std::string& text) {
    std::size_t depth = 0, deepest = 0;
    for (char c : text) {
        if (c == '{') deepest = std::max(deepest, ++depth);
        if (c == '}' && depth > 0) --depth;
    }
    return deepest;
}

void ReadTwiceAndWrite(const std::string& text) {
    tavfuzz::CheckedAllocator alloc;
    tavfuzz::DefaultAllocatorHook hook(alloc);
    TavProperties bag, again;
    Require(TavPropertiesConstructDefault(&bag, alloc.get()) == &bag, "bag");
    Require(TavPropertiesConstructDefault(&again, alloc.get()) == &again, "bag");
    tavfuzz::ListenerLog log;
    Require(tavfuzz::ListenToAll(&bag, &log, alloc.get()), "listeners");

    const TavBool accepted = TavPropertiesReadFromString(&bag, text.c_str());
    Require(TavPropertiesReadFromString(&again, text.c_str()) == accepted,
            "the same text gives the same verdict");
    Require(TavPropertiesEqual(&bag, &again), "the same text gives the same bag");
    if (accepted) Require(log.calls > 0, "an accepted text adds at least one entry");

    Require(TavPropertiesReadFromString(&again, text.c_str()) == accepted,
            "reading into a filled bag gives the same verdict");
    Require(TavPropertiesEqual(&bag, &again), "a second read replaces nothing");

    tavfuzz::WriteAll(&bag, alloc.get(), BraceDepth(text) <= 63);
    TavPropertiesDestruct(&again);
    TavPropertiesDestruct(&bag);
}

void ReadShortOfMemory(const std::string& text, unsigned failEvery) {
    tavfuzz::CheckedAllocator alloc(failEvery);
    tavfuzz::DefaultAllocatorHook hook(alloc);
    TavProperties bag;
    if (TavPropertiesConstructDefault(&bag, alloc.get()) == nullptr) return;
    (void)TavPropertiesReadFromString(&bag, text.c_str());
    tavfuzz::WriteAll(&bag, alloc.get(), false);
    TavPropertiesDestruct(&bag);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);  // adds the terminator
    ReadTwiceAndWrite(text);
    if (size > 0) ReadShortOfMemory(text, 2 + data[size - 1] % 23);
    return 0;
}
