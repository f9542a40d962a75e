// What the printer and the XML and JSON writers share besides their walk
// (TavTextWalk.hpp): the text of scalar values, and a buffered appender that
// turns many small pieces into few appends to the output string.
#ifndef TAV_OS_TAVPROPERTIES_TEXT_TAVTEXTCOMMON_HPP
#define TAV_OS_TAVPROPERTIES_TEXT_TAVTEXTCOMMON_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>

#include "Os/TavProperties.h"

namespace tav::text {

// The text a "%s" conversion gives for a string: up to its first zero byte.
inline std::string_view CText(const TavString* s) {
    const void* nul = std::memchr(s->buf, '\0', s->size);
    return {s->buf, nul ? static_cast<std::size_t>(static_cast<const char*>(nul) - s->buf)
                        : static_cast<std::size_t>(s->size)};
}

// The written kinds that have no number of their own, Properties (15) and
// Vector (16), are left out of the printer's and the XML writer's tables of
// twenty names: kinds 0 to 14 index them directly, kinds 17 to 21 two lower.
constexpr std::size_t CompactKindIndex(TavPropertyValueType kind) {
    return kind < TAV_PROPERTYVALUE_TYPE_Properties ? static_cast<std::size_t>(kind)
                                                    : static_cast<std::size_t>(kind) - 2;
}

// The JSON writers' type word of each kind, all twenty-two, indexed by kind.
// Typed pointers (SharedPtr, WeakPtr) add their type name in parentheses.
constexpr std::string_view kJsonTypeWord[] = {
    "bool",       "int",        "int16",    "int64",        "uint",         "uint16",
    "uint64",     "size_t",     "float32",  "float64",      "time",         "resolution",
    "media_format", "ptr",      "string",   "properties",   "vector",       "shared_ptr",
    "weak_ptr",   "shared_ptr", "weak_ptr", "wrapper"};
static_assert(std::size(kJsonTypeWord) == TAV_PROPERTYVALUE_TYPE_Wrapper + 1);

// Room for the longest scalar text: "%f" of the largest double has 309
// integer digits, a sign, a point and six decimals.
struct ScalarBuffer {
    char chars[336];
};

enum class ScalarForm : std::uint8_t {
    None,    // not a scalar: Resolution, String, Properties, Vector
    Bare,    // booleans and numbers
    Quoted,  // addresses and format codes, which JSON writes in quotes
};

struct Scalar {
    ScalarForm form;
    std::string_view text;
};

// Digits after the point for Float32 and Float64 values.
struct FloatDigits {
    int f32;
    int f64;
};

// The text of a scalar value: booleans as true/false, integers in decimal,
// floats fixed-point with the given digits (as "%.Nf" writes them), media
// formats as their four characters, and pointers, wrapped objects and shared
// pointers as the decimal address they hold. Weak pointers are locked for the
// read and give 0 when their object is gone.
Scalar ScalarText(const TavPropertyValue* v, FloatDigits digits, ScalarBuffer& buf);

// A size in decimal, as "%zu" writes it (for the two fields of a resolution).
std::string_view SizeText(TavSizeT n, ScalarBuffer& buf);

// The length of the UTF-8 sequence that starts at p, and whether it is
// valid. An invalid one is its maximal subpart: the lead byte and the
// continuation bytes that could still have completed it (at least one byte),
// so that each such run becomes one U+FFFD. Overlong forms, surrogates and
// code points past U+10FFFF are ruled out by the range of the second byte.
struct Utf8Run {
    std::size_t size;
    bool valid;
};

inline Utf8Run NextUtf8(const unsigned char* p, const unsigned char* end) {
    const unsigned lead = *p;
    std::size_t size = 0;
    unsigned lo = 0x80, hi = 0xBF;  // the range of the second byte
    if (lead < 0x80) return {1, true};
    if (lead >= 0xC2 && lead <= 0xDF) size = 2;
    if (lead >= 0xE0 && lead <= 0xEF) size = 3;
    if (lead >= 0xF0 && lead <= 0xF4) size = 4;
    if (size == 0) return {1, false};
    if (lead == 0xE0) lo = 0xA0;  // overlong below U+0800
    if (lead == 0xED) hi = 0x9F;  // surrogates
    if (lead == 0xF0) lo = 0x90;  // overlong below U+10000
    if (lead == 0xF4) hi = 0x8F;  // past U+10FFFF
    for (std::size_t k = 1; k < size; ++k, lo = 0x80, hi = 0xBF) {
        if (p + k == end || p[k] < lo || p[k] > hi) return {k, false};
    }
    return {size, true};
}

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD, in UTF-8

// Collects text in a fixed buffer and appends it to a TavString when full or
// flushed. After a failed append nothing more is appended: the string then
// holds the text up to the last successful flush.
class StringSink {
public:
    explicit StringSink(TavString* out) : out_(out) {}
    StringSink(const StringSink&) = delete;
    StringSink& operator=(const StringSink&) = delete;

    // Inline for the common small piece, so that pieces of known length
    // become plain stores.
    void Put(std::string_view text) {
        if (text.size() > kCapacity - used_) return PutLong(text);
        std::memcpy(buf_ + used_, text.data(), text.size());
        used_ += text.size();
    }
    void Put(char c) {
        if (used_ == kCapacity) Flush();
        buf_[used_++] = c;
    }
    // Appends what is buffered; false when this or an earlier append failed.
    bool Flush();
    bool ok() const { return !failed_; }

private:
    void PutLong(std::string_view text);

    static constexpr std::size_t kCapacity = 4096;
    TavString* out_;
    std::size_t used_ = 0;
    bool failed_ = false;
    char buf_[kCapacity + 1];
};

}  // namespace tav::text

#endif
