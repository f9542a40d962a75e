// Builds bags of every kind from the input, writes the outermost as typed
// JSON and reads it back. The reader must refuse exactly the texts that hold
// a pointer, leaving the bag it reads into empty; otherwise the text reads
// back to a bag that writes the same bytes, and that equals the original
// unless it held what the text can't carry as it was (see TypedTextLosses)
// or bytes that are not UTF-8 (written as U+FFFD; the text read back then
// settles after one more round). Every block goes back to its allocator.
//
// The first byte chooses the layout (bit 0: indented); the rest drives up to
// 48 steps, each setting a value of a kind the input picks, a float from any
// bits or a name of any bytes among them, into one of three bags; a bag may
// take a copy of the bag after it, which nests them.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "FuzzSupport.hpp"

namespace {

using tavfuzz::Require;

constexpr int kBags = 3;

// A float of any bits, NaN and the infinities included.
TavPropertyValue* MakeAnyFloat(FuzzedDataProvider& in, TavPropertyValue* v) {
    if (in.ConsumeBool()) {
        const uint32_t bits = in.ConsumeIntegral<uint32_t>();
        TavFloat32 f;
        std::memcpy(&f, &bits, sizeof f);
        return TavPropertyValueConstructFloat32(v, f, TAV_TRUE);
    }
    const uint64_t bits = in.ConsumeIntegral<uint64_t>();
    TavFloat64 f;
    std::memcpy(&f, &bits, sizeof f);
    return TavPropertyValueConstructFloat64(v, f, TAV_TRUE);
}

void SetOne(FuzzedDataProvider& in, TavProperties* bags, TavAllocator* a) {
    const int target = in.ConsumeIntegralInRange<int>(0, kBags - 1);
    const std::string name =
        in.ConsumeBool() ? tavfuzz::PickName(in) : in.ConsumeRandomLengthString(8);
    const TavProperties* nested = target + 1 < kBags ? &bags[target + 1] : nullptr;
    TavPropertyValue v;
    const bool made = in.ConsumeIntegralInRange<int>(0, 3) == 0
                          ? MakeAnyFloat(in, &v) != nullptr
                          : tavfuzz::MakeValue(in, &v, a, nested) != nullptr;
    Require(made, "a value with memory to spare");
    TavString key;
    Require(TavStringConstructRange(&key, name.data(), name.data() + name.size(), a) == &key,
            "name");
    (void)TavPropertiesSetProperty(&bags[target], &key, &v);  // a fixed entry keeps its value
    TavStringDestruct(&key);
    TavPropertyValueDestruct(&v);
}

std::string Write(const TavProperties* bag, const TavJsonOptions& o) {
    TavString out;
    TavStringConstructDefault(&out, TavPropertiesGetAllocator(bag));
    const bool written = TavPropertiesWriteJson(bag, &out, &o) == &out;
    std::string text = written ? std::string(out.buf, out.size) : std::string();
    TavStringDestruct(&out);
    Require(written || o.invalidUtf8 == TAV_JSON_UTF8_FAIL, "a write with memory to spare");
    return text;
}

// Reads typed text into `back` (constructed here); false when the text was
// refused, which must leave the bag empty. With `sameBytes` the bag read
// must write the text again.
bool ReadBack(const std::string& text, const TavJsonOptions& o, bool sameBytes,
              TavProperties* back, TavAllocator* a) {
    Require(TavPropertiesConstructDefault(back, a) == back, "bag");
    TavTextError error{};
    if (!TavPropertiesReadJson(back, text.data(), text.size(), &o, &error)) {
        Require(back->map.size == 0, "a refused text leaves the bag empty");
        return false;
    }
    if (!sameBytes) return true;
    const std::string again = Write(back, o);
    if (again != text)
        std::fprintf(stderr, "%s\nwritten again:\n%s\n", text.c_str(), again.c_str());
    Require(again == text, "a bag read back writes the same bytes");
    return true;
}

void CheckRoundTrip(const TavProperties* bag, TavUint indent, TavAllocator* a) {
    TavJsonOptions o{};
    o.style = TAV_JSON_TYPED;
    o.indent = indent;
    TavJsonOptions strict = o;
    strict.invalidUtf8 = TAV_JSON_UTF8_FAIL;  // writes nothing when a byte is not UTF-8
    const bool utf8 = !Write(bag, strict).empty();
    const tavfuzz::TypedTextLosses losses = tavfuzz::FindTypedTextLosses(bag);
    TavProperties back;
    const bool read = ReadBack(Write(bag, o), o, utf8, &back, a);
    Require(read == !losses.pointer, "typed text is refused exactly when it holds a pointer");
    if (read && utf8 && !losses.nan && !losses.reshaped)
        Require(TavPropertiesEqual(&back, bag), "typed text reads back to an equal bag");
    if (read && !utf8) {
        // Replacement characters may merge names and reorder them: the text
        // settles once read, and from then on comes back byte for byte.
        TavProperties settled;
        Require(ReadBack(Write(&back, o), o, true, &settled, a), "settled text reads back");
        TavPropertiesDestruct(&settled);
    }
    TavPropertiesDestruct(&back);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    FuzzedDataProvider in(data + 1, size - 1);
    tavfuzz::CheckedAllocator alloc;
    tavfuzz::DefaultAllocatorHook hook(alloc);
    TavProperties bags[kBags];
    for (TavProperties& bag : bags)
        Require(TavPropertiesConstructDefault(&bag, alloc.get()) == &bag, "bag");
    for (int step = 0; step < 48 && in.remaining_bytes() > 0; ++step) SetOne(in, bags, alloc.get());
    CheckRoundTrip(&bags[0], (data[0] & 1u) != 0 ? 2 : 0, alloc.get());
    for (TavProperties& bag : bags) TavPropertiesDestruct(&bag);
    return 0;
}
