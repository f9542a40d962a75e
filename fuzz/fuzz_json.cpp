// Feeds arbitrary bytes to the standard JSON reader. Besides memory safety it
// checks what the reader promises whatever the text: a refused text leaves the
// bag as it was and tells no listener, and its error points inside the text;
// every block goes back to the allocator it came from with its size; and a
// bag it accepted writes a typed text that reads back to an equal bag (unless
// it holds a NaN, which equals nothing, or a pointer, which typed text can't
// carry) and writes the same bytes again.
//
// The first byte steers the run: bit 0 the style (typed when set), bit 1
// read-only leaves, bit 2 an indented rewrite (short inputs only, as the
// indentation grows with the square of the depth), and bits 3-7 from 16 up
// refuse every n-th allocation (n from 2 to 17), where only memory safety
// and the return of every block count. The rest is the text.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "FuzzSupport.hpp"

namespace {

using tavfuzz::Require;

struct Run {
    TavJsonOptions options{};
    unsigned failEvery = 0;
    TavUint rewriteIndent = 0;
};

Run Decode(uint8_t first, std::size_t length) {
    Run run;
    run.options.style = (first & 1u) != 0 ? TAV_JSON_TYPED : TAV_JSON_PLAIN;
    run.options.readOnly = (first & 2u) != 0;
    run.rewriteIndent = (first & 4u) != 0 && length < 512 ? 2 : 0;
    const unsigned fail = first >> 3;
    run.failEvery = fail < 16 ? 0 : fail - 14;
    return run;
}

std::string Write(const TavProperties* bag, TavUint indent) {
    TavJsonOptions o{};
    o.style = TAV_JSON_TYPED;
    o.indent = indent;
    TavString out;
    TavStringConstructDefault(&out, TavPropertiesGetAllocator(bag));
    Require(TavPropertiesWriteJson(bag, &out, &o) == &out, "a write with memory to spare");
    std::string text(out.buf, out.size);
    TavStringDestruct(&out);
    return text;
}

// Entries the text may meet: a settable one to assign, one that keeps its
// value, a nested bag and a vector.
bool Prefill(TavProperties* bag, TavAllocator* a) {
    TavProperties inner;
    if (TavPropertiesConstructDefault(&inner, a) == nullptr) return false;
    bool ok = TavPropertiesSetIntValueCStr(&inner, "x", 1, TAV_TRUE) &&
              TavPropertiesSetIntValueCStr(bag, "a", 2, TAV_TRUE) &&
              TavPropertiesSetIntValueCStr(bag, "fixed", 3, TAV_FALSE);
    TavPropertyValue nested, vec;
    if (ok && TavPropertyValueConstructProperties(&nested, &inner, TAV_TRUE) != nullptr) {
        ok = TavPropertiesSetPropertyCStr(bag, "b", &nested);
        TavPropertyValueDestruct(&nested);
    }
    TavVector_TavPropertyValue elements;
    TavVector_TavPropertyValueConstructDefault(&elements, a);
    if (ok && TavPropertyValueConstructVector(&vec, &elements, TAV_TRUE) != nullptr) {
        ok = TavPropertiesSetPropertyCStr(bag, "v", &vec);
        TavPropertyValueDestruct(&vec);
    }
    TavVector_TavPropertyValueDestruct(&elements);
    TavPropertiesDestruct(&inner);
    return ok;
}

// Typed text of an accepted bag reads back to an equal bag writing the same bytes.
void CheckRoundTrip(const TavProperties* bag, TavUint indent, std::size_t length, TavAllocator* a) {
    const tavfuzz::TypedTextLosses losses = tavfuzz::FindTypedTextLosses(bag);
    if (losses.nan || losses.pointer) return;
    const std::string text = Write(bag, indent);
    TavProperties back;
    Require(TavPropertiesConstructDefault(&back, a) == &back, "bag");
    TavJsonOptions o{};
    o.style = TAV_JSON_TYPED;
    o.maxDepth = 2 * length + 8;  // typed text nests twice as deep as a plain one
    TavTextError error{};
    const TavBool read = TavPropertiesReadJson(&back, text.data(), text.size(), &o, &error);
    if (!read) std::fprintf(stderr, "%s at %zu in\n%s\n", error.message,
                            static_cast<std::size_t>(error.offset), text.c_str());
    Require(read, "typed text of a bag reads back");
    Require(TavPropertiesEqual(&back, bag), "typed text reads back to an equal bag");
    Require(Write(&back, indent) == text, "a bag read back writes the same bytes");
    TavPropertiesDestruct(&back);
}

void ReadWithMemory(const char* text, std::size_t length, const Run& run) {
    tavfuzz::CheckedAllocator alloc;
    tavfuzz::DefaultAllocatorHook hook(alloc);
    TavProperties bag, before;
    Require(TavPropertiesConstructDefault(&bag, alloc.get()) == &bag, "bag");
    Require(Prefill(&bag, alloc.get()), "prefill");
    Require(TavPropertiesConstructCopy(&before, &bag) == &before, "copy");
    tavfuzz::ListenerLog log;
    Require(tavfuzz::ListenToAll(&bag, &log, alloc.get()), "listeners");

    TavTextError error{};
    if (TavPropertiesReadJson(&bag, text, length, &run.options, &error)) {
        CheckRoundTrip(&bag, run.rewriteIndent, length, alloc.get());
    } else {
        Require(error.message != nullptr && error.offset <= length, "the error is in the text");
        Require(error.line >= 1 && error.column >= 1, "lines and columns count from 1");
        Require(TavPropertiesEqual(&bag, &before), "a refused text leaves the bag as it was");
        Require(log.calls == 0, "a refused text tells no listener");
    }
    TavPropertiesDestruct(&before);
    TavPropertiesDestruct(&bag);
}

// Short of memory: whatever the reader and the writer give up on, every
// block comes back, and a failed write leaves its string alone.
void ReadShortOfMemory(const char* text, std::size_t length, const Run& run) {
    tavfuzz::CheckedAllocator alloc(run.failEvery);
    tavfuzz::DefaultAllocatorHook hook(alloc);
    TavProperties bag;
    if (TavPropertiesConstructDefault(&bag, alloc.get()) == nullptr) return;
    TavTextError error{};
    (void)TavPropertiesReadJson(&bag, text, length, &run.options, &error);
    TavJsonOptions o{};
    o.style = TAV_JSON_TYPED;
    TavString out;
    TavStringConstructDefault(&out, alloc.get());
    if (TavPropertiesWriteJson(&bag, &out, &o) == nullptr)
        Require(TavStringSize(&out) == 0, "a failed write leaves the string untouched");
    TavStringDestruct(&out);
    TavPropertiesDestruct(&bag);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::size_t length = size - 1;
    // A block of exactly the text's size, so that a read past its end is caught.
    std::unique_ptr<char[]> text(new char[length]);
    std::memcpy(text.get(), data + 1, length);
    const Run run = Decode(data[0], length);
    if (run.failEvery == 0)
        ReadWithMemory(text.get(), length, run);
    else
        ReadShortOfMemory(text.get(), length, run);
    return 0;
}
