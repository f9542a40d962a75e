// Feeds arbitrary bytes to the one-line property reader, then writes the bag
// in every text form. Besides memory safety it checks what the reader
// promises whatever the text: reading is deterministic, a second read of the
// same text into the filled bag changes nothing (an add never replaces), and
// every block goes back to the allocator it came from. A last read runs with
// an allocator that refuses every n-th allocation, the default allocator
// included, where only memory safety and the return of every block count.
//
// Deep input: a first byte of 0x80 or more, which no valid text holds, asks
// for the rest of the input (up to a zero byte) to be wrapped in "a{" ... "}"
// levels, as many as that byte says, up to 100,000. Such an input checks what
// nesting must not change: when the rest alone is accepted, so is the wrapped
// text, the caller's bag hears one insertion, and the innermost bag holds
// what the rest alone gives.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
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

// The depth a wrapping first byte asks for. Most values give 1 to 48 levels,
// past the reader's inline stack and two of its growths; the last sixteen
// climb to 100,000, rarely enough that the fuzzer keeps its pace.
std::size_t WrapLevels(uint8_t first) {
    static constexpr std::size_t kDeep[] = {64,   96,   128,  200,   300,   500,   800,   1200,
                                            2000, 3000, 5000, 10000, 20000, 40000, 70000, 100000};
    const std::size_t k = first & 0x7fu;
    const std::size_t shallow = 128 - std::size(kDeep);
    return k < shallow ? k % 48 + 1 : kDeep[k - shallow];
}

std::string Wrap(const std::string& inner, std::size_t levels) {
    std::string text;
    text.reserve(levels * 3 + inner.size());
    for (std::size_t i = 0; i < levels; ++i) text += "a{";
    return (text + inner).append(levels, '}');
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

// A text accepted alone is accepted inside any number of braces; the
// caller's bag then hears one insertion, and the innermost bag holds what the
// text gives alone.
void CheckWrappedWith(const std::string& inner, std::size_t levels, const std::string& text,
                      TavAllocator* a) {
    TavProperties alone, wrapped;
    Require(TavPropertiesConstructDefault(&alone, a) == &alone, "bag");
    Require(TavPropertiesConstructDefault(&wrapped, a) == &wrapped, "bag");
    tavfuzz::ListenerLog log;
    Require(tavfuzz::ListenToAll(&wrapped, &log, a), "listeners");
    const bool accepted = TavPropertiesReadFromString(&wrapped, text.c_str());
    if (TavPropertiesReadFromString(&alone, inner.c_str())) {
        Require(accepted, "an accepted text is accepted inside braces");
        Require(log.calls == 2, "one insertion into the caller's bag");
        std::string path(levels * 2 - 1, '.');  // "a.a. ... .a"
        for (std::size_t i = 0; i < levels; ++i) path[i * 2] = 'a';
        const TavProperties* innermost =
            TavPropertiesGetPropertiesValueCStr(&wrapped, path.c_str());
        Require(innermost != nullptr && TavPropertiesEqual(innermost, &alone),
                "the innermost bag holds what the text gives alone");
    }
    TavPropertiesDestruct(&wrapped);
    TavPropertiesDestruct(&alone);
}

// Up to this depth the checking allocator watches every block; deeper, only
// ASan's leak check does, as the allocator's bookkeeping would cost seconds.
constexpr std::size_t kCheckedLevels = 128;

void CheckWrapped(const std::string& inner, std::size_t levels) {
    const std::string text = Wrap(inner, levels);
    if (levels > kCheckedLevels) {
        CheckWrappedWith(inner, levels, text, TavAllocatorGetDefault());
        return;
    }
    tavfuzz::CheckedAllocator alloc;
    tavfuzz::DefaultAllocatorHook hook(alloc);
    CheckWrappedWith(inner, levels, text, alloc.get());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 0 && data[0] >= 0x80) {
        std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
        rest.resize(std::strlen(rest.c_str()));  // the text ends at a zero byte
        CheckWrapped(rest, WrapLevels(data[0]));
        return 0;
    }
    const std::string text(reinterpret_cast<const char*>(data), size);  // adds the terminator
    ReadTwiceAndWrite(text);
    if (size > 0) ReadShortOfMemory(text, 2 + data[size - 1] % 23);
    return 0;
}
