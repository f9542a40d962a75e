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

#include "Os/TavProperties/TavPropertyValue.h"

namespace tav::text {

// The text a "%s" conversion gives for a string: up to its first zero byte.
inline std::string_view CText(const TavString* s) {
    const void* nul = std::memchr(s->buf, '\0', s->size);
    return {s->buf, nul ? static_cast<std::size_t>(static_cast<const char*>(nul) - s->buf)
                        : static_cast<std::size_t>(s->size)};
}

// The words each text form gives a kind: the dump's type name, the XML-like
// writer's type word and the JSON writers' type word (which the JSON reader
// reads back). Properties and Vector are written as nested elements by the
// dump and the XML-like writer, so they have no word there. Typed pointers
// (SharedPtr, WeakPtr) add their type name in parentheses in JSON. A new
// kind is one line here.
struct KindWords {
    TavPropertyValueType kind;
    std::string_view dump;
    std::string_view xml;
    std::string_view json;
};

constexpr KindWords kKindWords[] = {
    {TAV_PROPERTYVALUE_TYPE_Bool, "TavBool", "bool", "bool"},
    {TAV_PROPERTYVALUE_TYPE_Int, "TavInt", "int", "int"},
    {TAV_PROPERTYVALUE_TYPE_Int16, "TavInt16", "int16", "int16"},
    {TAV_PROPERTYVALUE_TYPE_Int64, "TavInt64", "int64", "int64"},
    {TAV_PROPERTYVALUE_TYPE_Uint, "TavUint", "uint", "uint"},
    {TAV_PROPERTYVALUE_TYPE_Uint16, "TavUint16", "uint16", "uint16"},
    {TAV_PROPERTYVALUE_TYPE_Uint64, "TavUint64", "uint64", "uint64"},
    {TAV_PROPERTYVALUE_TYPE_SizeT, "TavSizeT", "size_t", "size_t"},
    {TAV_PROPERTYVALUE_TYPE_Float32, "float32", "TavFloat32", "float32"},
    {TAV_PROPERTYVALUE_TYPE_Float64, "float64", "TavFloat64", "float64"},
    {TAV_PROPERTYVALUE_TYPE_Time, "TavTime", "TavTime", "time"},
    {TAV_PROPERTYVALUE_TYPE_Resolution, "TavResolution", "resolution", "resolution"},
    {TAV_PROPERTYVALUE_TYPE_MediaFormat, "TavMediaFormat", "media_format", "media_format"},
    {TAV_PROPERTYVALUE_TYPE_VoidPtr, "TavVoidPtr", "ptr", "ptr"},
    {TAV_PROPERTYVALUE_TYPE_String, "TavString", "string", "string"},
    {TAV_PROPERTYVALUE_TYPE_Properties, "", "", "properties"},
    {TAV_PROPERTYVALUE_TYPE_Vector, "", "", "vector"},
    {TAV_PROPERTYVALUE_TYPE_SharedVoidPtr, "TavSharedVoidPtr", "shared_ptr", "shared_ptr"},
    {TAV_PROPERTYVALUE_TYPE_WeakVoidPtr, "TavWeakVoidPtr", "weak_ptr", "weak_ptr"},
    {TAV_PROPERTYVALUE_TYPE_SharedPtr, "TavSharedPtr", "shared_ptr", "shared_ptr"},
    {TAV_PROPERTYVALUE_TYPE_WeakPtr, "TavWeakPtr", "weak_ptr", "weak_ptr"},
    {TAV_PROPERTYVALUE_TYPE_Wrapper, "Wrapper", "wrapper", "wrapper"},
};

// Every kind has its line, at its own number: the table is looked up by kind.
constexpr bool EachKindAtItsNumber() {
    for (std::size_t i = 0; i < std::size(kKindWords); ++i) {
        if (static_cast<std::size_t>(kKindWords[i].kind) != i) return false;
    }
    return std::size(kKindWords) == TAV_PROPERTYVALUE_TYPE_Wrapper + 1;
}
static_assert(EachKindAtItsNumber(), "kKindWords: one line per kind, in kind order");

constexpr const KindWords& WordsOf(TavPropertyValueType kind) { return kKindWords[kind]; }

// Room for the longest scalar text: "%f" of the largest double has 309
// integer digits, a sign, a point and six decimals.
// The bytes a JSON string holds as they are, in a text read or written, with
// no look at what follows: printable ASCII other than '"' and '\\'. One load
// per byte of a string.
constexpr struct JsonPlainBytes {
    bool is[256] = {};
    constexpr JsonPlainBytes() {
        for (int c = 0x20; c < 0x80; ++c) is[c] = c != '"' && c != '\\';
    }
    constexpr bool operator[](unsigned char c) const { return is[c]; }
} kJsonPlain;

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

// The shortest text that reads back as the same finite value, byte for byte
// as std::to_chars(first, last, f) writes it: fixed notation unless the
// scientific one is shorter.
std::string_view ShortestText(float f, ScalarBuffer& buf);
std::string_view ShortestText(double d, ScalarBuffer& buf);

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
// Copies n bytes (one to two Words) as the first and the last Word, which
// overlap unless n is twice the Word.
template <class Word>
void CopyEnds(char* to, const char* from, std::size_t n) {
    Word head, tail;
    std::memcpy(&head, from, sizeof head);
    std::memcpy(&tail, from + n - sizeof tail, sizeof tail);
    std::memcpy(to, &head, sizeof head);
    std::memcpy(to + n - sizeof tail, &tail, sizeof tail);
}

// Copies n bytes. Writers put mostly short pieces (names, numbers,
// punctuation): those become a few word moves, never reading or writing
// outside either range, instead of a library call each.
inline void CopyBytes(char* to, const char* from, std::size_t n) {
    if (n > 16) {
        std::memcpy(to, from, n);
    } else if (n >= 8) {
        CopyEnds<std::uint64_t>(to, from, n);
    } else if (n >= 4) {
        CopyEnds<std::uint32_t>(to, from, n);
    } else if (n != 0) {  // 1 to 3 bytes: the first, the middle and the last
        to[0] = from[0];
        to[n / 2] = from[n / 2];
        to[n - 1] = from[n - 1];
    }
}

class StringSink {
public:
    explicit StringSink(TavString* out) : out_(out) {}
    StringSink(const StringSink&) = delete;
    StringSink& operator=(const StringSink&) = delete;

    // Inline for the common small piece, so that pieces of known length
    // become plain stores.
    void Put(std::string_view text) {
        if (text.size() > kCapacity - used_) return PutLong(text);
        CopyBytes(buf_ + used_, text.data(), text.size());
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

// What every writer returns: the text written into a fresh string from
// allocator a, moved into out only when it is whole, so that a failed write
// (write(sink) false, or the last flush) leaves out untouched.
template <class Write>
const TavString* WriteWhole(TavAllocator* a, TavString* out, Write write) {
    TavString text;
    TavStringConstructDefault(&text, a);
    const TavString* result = nullptr;
    {
        StringSink sink(&text);
        if (write(sink) && sink.Flush()) result = TavStringMove(out, &text);
    }
    TavStringDestruct(&text);
    return result;
}

}  // namespace tav::text

#endif
