// Reader of standard JSON text (RFC 8259) into a bag, in the plain or the
// typed style.
//
// All or nothing: the whole text is read into a bag of its own first, from
// the target's allocator, with no lock and no listener (nobody else can see
// it), and only when the text is whole are its top-level members set into
// the target, one ordinary Set each. A syntax error, a refused typed value or
// a lack of memory while reading leaves the target as it was.
//
// Nesting does not use the call stack: every object and array being read is
// a frame on an explicit stack, so the depth is bounded by the caller's
// limit and memory only. A finished nested bag or vector is linked into its
// parent as it is (TavTakenEntry.hpp), so the time is linear in the text.
//
// The typed style wraps every value in {"type":WORD,"value":V} whose members
// may come in either order. A scalar V is therefore kept as the place of its
// token and converted once the wrapper closes; a composite V is read by its
// shape ('[' a vector; '{' a bag, or a resolution when its first member is a
// number) and checked against the word at the close.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>

#include "Os/TavProperties.h"
#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/detail/TavTakenEntry.hpp"
#include "Os/TavProperties/detail/TavWalkStack.hpp"
#include "Os/TavProperties/text/TavTextCommon.hpp"
#include "Os/TavProperties/values/TavPropertyValueInternal.h"

namespace {

constexpr TavSizeT kDefaultMaxDepth = 10000;

// ---- lexical pieces ------------------------------------------------------------

bool IsWhite(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

int HexDigit(char c) {
    if (IsDigit(c)) return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The four hex digits at s (all before end) as a number, or -1.
long Hex4(const char* s, const char* end) {
    if (end - s < 4) return -1;
    long value = 0;
    for (int i = 0; i < 4; ++i) {
        const int d = HexDigit(s[i]);
        if (d < 0) return -1;
        value = value * 16 + d;
    }
    return value;
}

bool IsHighSurrogate(long c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(long c) { return c >= 0xDC00 && c <= 0xDFFF; }

// Length of the UTF-8 sequence at s, 0 when it is not one: overlong forms,
// encoded surrogates and code points above U+10FFFF are refused.
TavSizeT Utf8Length(const char* s, const char* end) {
    const auto* u = reinterpret_cast<const unsigned char*>(s);
    const unsigned c = u[0];
    if (c < 0x80) return 1;
    TavSizeT n = 0;
    unsigned lo = 0x80, hi = 0xBF;
    if (c >= 0xC2 && c <= 0xDF) n = 2;
    if (c >= 0xE0 && c <= 0xEF) n = 3, lo = c == 0xE0 ? 0xA0 : lo, hi = c == 0xED ? 0x9F : hi;
    if (c >= 0xF0 && c <= 0xF4) n = 4, lo = c == 0xF0 ? 0x90 : lo, hi = c == 0xF4 ? 0x8F : hi;
    if (n == 0 || static_cast<TavSizeT>(end - s) < n || u[1] < lo || u[1] > hi) return 0;
    for (TavSizeT i = 2; i < n; ++i) {
        if (u[i] < 0x80 || u[i] > 0xBF) return 0;
    }
    return n;
}

char* PutUtf8(char* out, unsigned long c) {
    if (c < 0x80) {
        *out++ = static_cast<char>(c);
    } else if (c < 0x800) {
        *out++ = static_cast<char>(0xC0 | (c >> 6));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        *out++ = static_cast<char>(0xE0 | (c >> 12));
        *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    } else {
        *out++ = static_cast<char>(0xF0 | (c >> 18));
        *out++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    }
    return out;
}

char SimpleEscape(char c) {
    switch (c) {
        case '"':
            return '"';
        case '\\':
            return '\\';
        case '/':
            return '/';
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return 0;
    }
}

// The text of a checked string token (between its quotes) into out. Every
// escape is at least as long as what it stands for, so the raw bytes are
// copied once and decoded in place. `escaped` false: the scan saw none.
bool DecodeString(const char* first, const char* last, TavString* out, bool escaped = true) {
    if (TavStringAssignRange(out, first, last) == nullptr) return false;
    const auto n = static_cast<std::size_t>(last - first);
    // Most strings hold no escape; an empty one may point at static text.
    if (!escaped || n == 0 || std::memchr(first, '\\', n) == nullptr) return true;
    const char* in = out->buf;
    const char* end = out->buf + out->size;
    char* put = out->buf;
    while (in < end) {
        if (*in != '\\') {
            *put++ = *in++;
        } else if (in[1] != 'u') {
            *put++ = SimpleEscape(in[1]);
            in += 2;
        } else {
            unsigned long c = static_cast<unsigned long>(Hex4(in + 2, end));
            in += 6;
            if (IsHighSurrogate(static_cast<long>(c))) {
                c = 0x10000 + ((c - 0xD800) << 10) +
                    (static_cast<unsigned long>(Hex4(in + 2, end)) - 0xDC00);
                in += 6;
            }
            put = PutUtf8(put, c);
        }
    }
    *put = '\0';
    out->size = static_cast<TavSizeT>(put - out->buf);
    return true;
}

// An integer literal as sign and magnitude; overflow when beyond 64 bits.
struct Integer {
    bool negative = false;
    bool overflow = false;
    TavUint64 magnitude = 0;
};

Integer ParseInteger(const char* s, const char* end) {
    Integer n;
    n.negative = *s == '-';
    for (s += n.negative; s < end; ++s) {
        const auto digit = static_cast<TavUint64>(*s - '0');
        n.overflow |= __builtin_mul_overflow(n.magnitude, 10u, &n.magnitude);
        n.overflow |= __builtin_add_overflow(n.magnitude, digit, &n.magnitude);
    }
    return n;
}

TavUint64 Magnitude(TavInt64 min) { return TavUint64{0} - static_cast<TavUint64>(min); }

// The value as a signed number (its magnitude fits, checked before).
TavInt64 Signed(const Integer& n) {
    return static_cast<TavInt64>(n.negative ? TavUint64{0} - n.magnitude : n.magnitude);
}



// ---- the words of the typed style ----------------------------------------------

// The kinds whose written value is an address: they can't be read back.
bool IsPointerKind(TavPropertyValueType kind) {
    switch (kind) {
        case TAV_PROPERTYVALUE_TYPE_VoidPtr:
        case TAV_PROPERTYVALUE_TYPE_SharedVoidPtr:
        case TAV_PROPERTYVALUE_TYPE_WeakVoidPtr:
        case TAV_PROPERTYVALUE_TYPE_SharedPtr:
        case TAV_PROPERTYVALUE_TYPE_WeakPtr:
        case TAV_PROPERTYVALUE_TYPE_Wrapper:
            return true;
        default:
            return false;
    }
}

// The kind a type word names, by the writers' own table; a typed pointer's
// word carries its type name in parentheses ("shared_ptr(Foo)"). False for a
// word no writer writes.
bool KindOfWord(std::string_view word, TavPropertyValueType* kind) {
    const std::size_t open = word.find('(');
    const bool named = open != std::string_view::npos;
    if (named && word.back() != ')') return false;
    if (named) word = word.substr(0, open);
    for (const tav::text::KindWords& w : tav::text::kKindWords) {
        const bool typed = w.kind == TAV_PROPERTYVALUE_TYPE_SharedPtr ||
                           w.kind == TAV_PROPERTYVALUE_TYPE_WeakPtr;
        if (w.json != word || named != typed) continue;
        *kind = w.kind;
        return true;
    }
    return false;
}

// The range of an integer kind: the largest magnitude below zero and the
// largest value; false for the other kinds.
bool IntegerRange(TavPropertyValueType kind, TavUint64* negMax, TavUint64* posMax) {
    switch (kind) {
        case TAV_PROPERTYVALUE_TYPE_Int:
            *negMax = Magnitude(-2147483647 - 1), *posMax = 2147483647;
            return true;
        case TAV_PROPERTYVALUE_TYPE_Int16:
            *negMax = 32768, *posMax = 32767;
            return true;
        case TAV_PROPERTYVALUE_TYPE_Int64:
        case TAV_PROPERTYVALUE_TYPE_Time:
            *negMax = Magnitude(INT64_MIN), *posMax = INT64_MAX;
            return true;
        case TAV_PROPERTYVALUE_TYPE_Uint:
            *negMax = 0, *posMax = 0xFFFFFFFFu;
            return true;
        case TAV_PROPERTYVALUE_TYPE_Uint16:
            *negMax = 0, *posMax = 0xFFFF;
            return true;
        case TAV_PROPERTYVALUE_TYPE_Uint64:
        case TAV_PROPERTYVALUE_TYPE_SizeT:
            *negMax = 0, *posMax = UINT64_MAX;
            return true;
        default:
            return false;
    }
}

TavPropertyValue* ConstructInteger(TavPropertyValue* v, TavPropertyValueType kind, TavInt64 n,
                                   TavBool settable) {
    switch (kind) {
        case TAV_PROPERTYVALUE_TYPE_Int:
            return TavPropertyValueConstructInt(v, static_cast<TavInt>(n), settable);
        case TAV_PROPERTYVALUE_TYPE_Int16:
            return TavPropertyValueConstructInt16(v, static_cast<TavInt16>(n), settable);
        case TAV_PROPERTYVALUE_TYPE_Int64:
            return TavPropertyValueConstructInt64(v, n, settable);
        case TAV_PROPERTYVALUE_TYPE_Time:
            return TavPropertyValueConstructTime(v, n, settable);
        case TAV_PROPERTYVALUE_TYPE_Uint:
            return TavPropertyValueConstructUint(v, static_cast<TavUint>(n), settable);
        case TAV_PROPERTYVALUE_TYPE_Uint16:
            return TavPropertyValueConstructUint16(v, static_cast<TavUint16>(n), settable);
        case TAV_PROPERTYVALUE_TYPE_Uint64:
            return TavPropertyValueConstructUint64(v, static_cast<TavUint64>(n), settable);
        default:
            return TavPropertyValueConstructSizeT(v, static_cast<TavSizeT>(n), settable);
    }
}

// ---- frames --------------------------------------------------------------------

enum class FrameKind : unsigned char { Object, Array, Typed, Resolution };

// Members of a typed wrapper or a resolution, as bits of Frame::seen.
enum Key : unsigned char { kNone = 0, kType = 1, kValue = 2, kWidth = 4, kHeight = 8 };

// One open object or array. Object: value holds the bag, name the member being
// read. Array: value holds the vector. Typed: the wrapper of one typed value;
// value holds its composite V once read (owns). Resolution: value collects
// width and height.
struct Frame {
    FrameKind kind;
    bool owns;             // value must be destroyed with the frame
    unsigned char key;     // Typed, Resolution: the member being read
    unsigned char seen;    // Typed, Resolution: the members read
    const char* memberAt;  // where the member or element held by this frame began
    bool scalarInteger;    // Typed: the scalar V is a number without fraction or exponent
    const char* typeAt;    // Typed: the type word's token, between its quotes
    const char* typeEnd;
    const char* scalarAt;  // Typed: a scalar V's token
    const char* scalarEnd;
    TavString name;
    TavPropertyValue value;
};

class JsonReader {
public:
    JsonReader(const char* text, TavSizeT length, const TavJsonOptions* options, TavAllocator* a)
        : p_(text), end_(text + length), alloc_(a), frames_(a) {
        if (options != nullptr) options_ = *options;
        if (options_.maxDepth == 0) options_.maxDepth = kDefaultMaxDepth;
        TavStringConstructDefault(&scratch_, a);
    }
    ~JsonReader() {
        while (!frames_.Empty()) PopAndDestroy();
        if (haveResult_) TavPropertyValueDestruct(&result_);
        TavStringDestruct(&scratch_);
    }
    JsonReader(const JsonReader&) = delete;
    JsonReader& operator=(const JsonReader&) = delete;

    bool Read();
    TavProperties* Result() { return result_.u.p; }
    const char* failAt() const { return failAt_; }
    const char* message() const { return message_; }
    const char* member() const { return member_; }

private:
    bool Typed() const { return options_.style == TAV_JSON_TYPED; }
    TavBool LeafSettable() const { return options_.readOnly ? TAV_FALSE : TAV_TRUE; }
    bool Fail(const char* at, const char* message) {
        if (message_ == nullptr) failAt_ = at, message_ = message;
        return false;
    }
    bool NoMemory() { return Fail(p_, "out of memory"); }
    // A typed value refused: the error points at the member it is the value
    // of (or at the element), and names that member.
    bool Refuse(const Frame& f, const char* message) {
        if (message_ == nullptr && *f.memberAt == '"') member_ = f.memberAt;
        return Fail(f.memberAt, message);
    }
    bool AtEnd() const { return p_ == end_; }
    void SkipWhite() {
        while (p_ < end_ && IsWhite(*p_)) ++p_;
    }
    bool Expect(char c, const char* message) {
        SkipWhite();
        if (AtEnd() || *p_ != c) return Fail(p_, message);
        ++p_;
        return true;
    }

    // tokens
    const char* ScanEscape(const char* s);
    const char* ScanString(const char* s);
    const char* ScanNumber(const char* s, bool* integer);
    const char* ScanWord(const char* s, const char* word);
    const char* ScanScalar(const char* s, bool* integer);
    bool TextOf(const char* first, const char* last, std::string_view* text);

    // values
    enum class Step { Value, Next, Done };
    bool ReadValue(Step* step);
    bool ReadPlainScalar();
    bool MakeString(const char* first, const char* last, TavPropertyValue* v, bool escaped = true);
    bool ReadTypedScalar();
    bool MakeNumber(const char* first, const char* last, bool integer, TavPropertyValue* v);
    bool ReadKey();
    bool ReadKeyOfWrapper(Frame& f, const char* first, const char* last);
    bool ReadNext(Step* step);

    // frames
    bool Push(FrameKind kind, const char* memberAt);
    bool OpenObject(Step* step);
    bool OpenArray(Step* step);
    FrameKind KindOfObject();
    bool FirstMember(char close, Step* step);
    bool ResolutionAhead() const;
    bool Close();
    bool Deliver(TavPropertyValue* v);
    bool FinishTyped(Frame& f, TavPropertyValue* v);
    bool MakeTypedScalar(const Frame& f, TavPropertyValueType kind, TavPropertyValue* v);
    bool MakeTypedFloat(const Frame& f, TavPropertyValueType kind, TavPropertyValue* v);
    bool MakeTypedInteger(const Frame& f, TavPropertyValueType kind, TavPropertyValue* v);
    void PopAndDestroy();

    const char* p_;
    const char* end_;
    TavAllocator* alloc_;
    TavJsonOptions options_{};
    tav::WalkStack<Frame, 16> frames_;
    TavString scratch_;
    TavPropertyValue result_{};
    bool haveResult_ = false;
    const char* keyAt_ = nullptr;
    bool escaped_ = false;  // the last string scanned held an escape
    const char* failAt_ = nullptr;
    const char* message_ = nullptr;
    const char* member_ = nullptr;  // the opening quote of a refused value's member
};

// ---- tokens --------------------------------------------------------------------

// s at a backslash; past the escape, or null.
const char* JsonReader::ScanEscape(const char* s) {
    if (end_ - s < 2) return Fail(s, "unterminated string"), nullptr;
    if (s[1] != 'u') return SimpleEscape(s[1]) != 0 ? s + 2 : (Fail(s, "bad escape"), nullptr);
    const long c = Hex4(s + 2, end_);
    if (c < 0) return Fail(s, "bad \\u escape"), nullptr;
    if (IsLowSurrogate(c)) return Fail(s, "lone surrogate"), nullptr;
    if (!IsHighSurrogate(c)) return s + 6;
    const bool paired =
        end_ - s >= 12 && s[6] == '\\' && s[7] == 'u' && IsLowSurrogate(Hex4(s + 8, end_));
    return paired ? s + 12 : (Fail(s, "lone surrogate"), nullptr);
}

// s after an opening quote; past the closing quote, or null.
const char* JsonReader::ScanString(const char* s) {
    escaped_ = false;
    while (s < end_) {
        // Printable ASCII other than the quote and the backslash needs no look.
        while (s < end_ && tav::text::kJsonPlain[static_cast<unsigned char>(*s)]) ++s;
        if (s == end_) break;
        const auto c = static_cast<unsigned char>(*s);
        if (c == '"') return s + 1;
        if (c == '\\') {
            escaped_ = true;
            if ((s = ScanEscape(s)) == nullptr) return nullptr;
            continue;
        }
        if (c < 0x20) return Fail(s, "control character in a string"), nullptr;
        const TavSizeT n = Utf8Length(s, end_);
        if (n == 0) return Fail(s, "invalid UTF-8"), nullptr;
        s += n;
    }
    return Fail(s, "unterminated string"), nullptr;
}

// -? (0 | [1-9][0-9]*) (. [0-9]+)? ([eE] [+-]? [0-9]+)?; past it, or null.
const char* JsonReader::ScanNumber(const char* s, bool* integer) {
    const char* q = s + (*s == '-');
    const auto digits = [this](const char* d) {
        while (d < end_ && IsDigit(*d)) ++d;
        return d;
    };
    if (q == end_ || !IsDigit(*q)) return Fail(s, "bad number"), nullptr;
    q = *q == '0' ? q + 1 : digits(q);
    *integer = true;
    if (q < end_ && *q == '.') {
        const char* f = digits(q + 1);
        if (f == q + 1) return Fail(s, "bad number"), nullptr;
        q = f, *integer = false;
    }
    if (q < end_ && (*q == 'e' || *q == 'E')) {
        const char* e = q + 1;
        if (e < end_ && (*e == '+' || *e == '-')) ++e;
        const char* x = digits(e);
        if (x == e) return Fail(s, "bad number"), nullptr;
        q = x, *integer = false;
    }
    if (q < end_ && IsDigit(*q)) return Fail(s, "leading zero"), nullptr;
    return q;
}

const char* JsonReader::ScanWord(const char* s, const char* word) {
    const TavSizeT n = std::strlen(word);
    if (static_cast<TavSizeT>(end_ - s) < n || std::memcmp(s, word, n) != 0)
        return Fail(s, "unexpected character"), nullptr;
    return s + n;
}

// Any scalar token at s; past it, or null. integer tells a number without
// fraction or exponent.
const char* JsonReader::ScanScalar(const char* s, bool* integer) {
    *integer = false;
    switch (*s) {
        case '"':
            return ScanString(s + 1);
        case 't':
            return ScanWord(s, "true");
        case 'f':
            return ScanWord(s, "false");
        case 'n':
            return ScanWord(s, "null");
        default:
            if (*s == '-' || IsDigit(*s)) return ScanNumber(s, integer);
            return Fail(s, "unexpected character"), nullptr;
    }
}

// The text of a checked string token between first and last (its quotes
// left out): the token itself, or its decoded copy in scratch_ when it holds
// an escape.
bool JsonReader::TextOf(const char* first, const char* last, std::string_view* text) {
    const auto n = static_cast<std::size_t>(last - first);
    if (std::memchr(first, '\\', n) == nullptr) {
        *text = std::string_view(first, n);
        return true;
    }
    if (!DecodeString(first, last, &scratch_)) return NoMemory();
    *text = std::string_view(scratch_.buf, scratch_.size);
    return true;
}

// ---- values --------------------------------------------------------------------

// A String value decoded straight from the token [first, last), quotes included.
bool JsonReader::MakeString(const char* first, const char* last, TavPropertyValue* v,
                            bool escaped) {
    v->settable = LeafSettable();
    v->type = TAV_PROPERTYVALUE_TYPE_String;
    TavStringConstructDefault(&v->u.s, alloc_);
    if (DecodeString(first + 1, last - 1, &v->u.s, escaped)) return true;
    TavStringDestruct(&v->u.s);
    return NoMemory();
}

// An integer literal is an Int64 when it fits, else a Uint64, else a Float64;
// any other number is a Float64, the nearest double (infinity beyond range).
bool JsonReader::MakeNumber(const char* first, const char* last, bool integer,
                            TavPropertyValue* v) {
    if (integer) {
        const Integer n = ParseInteger(first, last);
        if (!n.overflow &&
            n.magnitude <= (n.negative ? Magnitude(INT64_MIN) : TavUint64{INT64_MAX}))
            return TavPropertyValueConstructInt64(v, Signed(n), LeafSettable()) != nullptr;
        if (!n.overflow && !n.negative)
            return TavPropertyValueConstructUint64(v, n.magnitude, LeafSettable()) != nullptr;
    }
    // The conversion needs a terminated copy: the text need not end after it.
    if (TavStringAssignRange(&scratch_, first, last) == nullptr) return NoMemory();
    TavBool rangeError = TAV_FALSE;
    const TavFloat64 f = TavStrToFloat64(scratch_.buf, nullptr, &rangeError);
    return TavPropertyValueConstructFloat64(v, f, LeafSettable()) != nullptr;
}

bool JsonReader::ReadPlainScalar() {
    const char* first = p_;
    bool integer = false;
    const char* last = ScanScalar(first, &integer);
    if (last == nullptr) return false;
    p_ = last;
    TavPropertyValue v;
    switch (*first) {
        case 'n':
            if (frames_.Top().kind == FrameKind::Object) return true;  // a null member is left out
            TavPropertyValueConstructVoidPtr(&v, nullptr, LeafSettable());
            break;
        case 't':
        case 'f':
            TavPropertyValueConstructBool(&v, *first == 't', LeafSettable());
            break;
        case '"':
            if (!MakeString(first, last, &v, escaped_)) return false;
            break;
        default:
            if (!MakeNumber(first, last, integer, &v)) return false;
    }
    return Deliver(&v);
}

// In the typed style only a wrapper's members are scalars: the type word (a
// string) and a scalar V, both kept as places and converted at the close.
bool JsonReader::ReadTypedScalar() {
    Frame& f = frames_.Top();
    const char* first = p_;
    if (f.kind == FrameKind::Object || f.kind == FrameKind::Array)
        return Fail(first, "a typed value must be an object");
    bool integer = false;
    const char* last = ScanScalar(first, &integer);
    if (last == nullptr) return false;
    p_ = last;
    if (f.kind == FrameKind::Resolution) {
        const Integer n = ParseInteger(first, last);
        if (!integer || n.overflow || (n.negative && n.magnitude != 0))
            return Refuse(f, "width and height must be sizes");
        (f.key == kWidth ? f.value.u.res.width : f.value.u.res.height) = n.magnitude;
        return true;
    }
    if (f.key == kType) {
        if (*first != '"') return Refuse(f, "the type must be a string");
        f.typeAt = first + 1;
        f.typeEnd = last - 1;
    } else {
        f.scalarAt = first;
        f.scalarEnd = last;
        f.scalarInteger = integer;
    }
    return true;
}

bool JsonReader::ReadValue(Step* step) {
    SkipWhite();
    if (AtEnd()) return Fail(p_, "value expected");
    if (*p_ == '{') return OpenObject(step);
    if (*p_ == '[') return OpenArray(step);
    *step = Step::Next;
    return Typed() ? ReadTypedScalar() : ReadPlainScalar();
}

// The key of the next member of the top frame, and its colon.
bool JsonReader::ReadKey() {
    SkipWhite();
    if (AtEnd() || *p_ != '"') return Fail(p_, "member name expected");
    const char* first = p_;
    const char* last = ScanString(first + 1);
    if (last == nullptr) return false;
    p_ = last;
    Frame& f = frames_.Top();
    if (f.kind != FrameKind::Object) {
        if (!ReadKeyOfWrapper(f, first, last)) return false;
    } else if (!DecodeString(first + 1, last - 1, &f.name, escaped_)) {
        return NoMemory();
    }
    keyAt_ = first;
    return Expect(':', "':' expected");
}

// "type" and "value" of a typed wrapper, "width" and "height" of a
// resolution, each once.
bool JsonReader::ReadKeyOfWrapper(Frame& f, const char* first, const char* last) {
    std::string_view text;
    if (!TextOf(first + 1, last - 1, &text)) return false;
    static constexpr struct {
        std::string_view word;
        Key key;
    } kKeys[] = {{"type", kType}, {"value", kValue}, {"width", kWidth}, {"height", kHeight}};
    const unsigned char allowed = f.kind == FrameKind::Typed ? kType | kValue : kWidth | kHeight;
    for (const auto& k : kKeys) {
        if (text != k.word || (allowed & k.key) == 0) continue;
        if ((f.seen & k.key) != 0) return Refuse(f, "duplicate member in a typed value");
        f.key = k.key;
        f.seen |= k.key;
        return true;
    }
    return Refuse(f, f.kind == FrameKind::Typed
                                ? "a typed value has only \"type\" and \"value\""
                                : "a resolution has only \"width\" and \"height\"");
}

// After a whole value: ',' and the next member or element, or the close of
// the top frame; done when the outermost object has closed.
bool JsonReader::ReadNext(Step* step) {
    SkipWhite();
    if (AtEnd()) return Fail(p_, "unterminated object or array");
    const bool array = frames_.Top().kind == FrameKind::Array;
    if (*p_ == ',') {
        ++p_;
        *step = Step::Value;
        return array || ReadKey();
    }
    if (*p_ != (array ? ']' : '}'))
        return Fail(p_, array ? "',' or ']' expected" : "',' or '}' expected");
    ++p_;
    if (!Close()) return false;
    *step = frames_.Empty() ? Step::Done : Step::Next;
    return true;
}

bool JsonReader::Read() {
    SkipWhite();
    if (AtEnd() || *p_ != '{') return Fail(p_, "the text must be a JSON object");
    Step step = Step::Value;
    while (step != Step::Done) {
        if (!(step == Step::Value ? ReadValue(&step) : ReadNext(&step))) return false;
    }
    SkipWhite();
    return AtEnd() || Fail(p_, "unexpected text after the object");
}

// ---- frames --------------------------------------------------------------------

// A zeroed frame above the top, to be filled and pushed; the depth counts
// every open object and array.
bool JsonReader::Push(FrameKind kind, const char* memberAt) {
    if (frames_.Size() >= options_.maxDepth) return Fail(p_ - 1, "nested too deeply");
    if (!frames_.Reserve()) return NoMemory();
    Frame& f = frames_.Above();
    std::memset(static_cast<void*>(&f), 0, sizeof f);
    f.kind = kind;
    f.memberAt = memberAt;
    TavStringConstructDefault(&f.name, alloc_);
    return true;
}

// What the object just opened is: a bag in the plain style and at the top;
// in the typed style a member or element is a wrapper, and a wrapper's value
// a resolution or a bag by its shape. Where no object may stand, the failure
// is recorded (the kind returned then does not matter).
FrameKind JsonReader::KindOfObject() {
    if (!Typed() || frames_.Empty()) return FrameKind::Object;
    const Frame& top = frames_.Top();
    if (top.kind == FrameKind::Resolution)
        return Refuse(top, "width and height must be sizes"), top.kind;
    if (top.kind != FrameKind::Typed) return FrameKind::Typed;
    if (top.key == kType) return Refuse(top, "the type must be a string"), top.kind;
    return ResolutionAhead() ? FrameKind::Resolution : FrameKind::Object;
}

// Whether the object just opened begins with a member whose value is a
// number: then it is a resolution's {"width":W,"height":H}.
bool JsonReader::ResolutionAhead() const {
    const char* q = p_;
    while (q < end_ && IsWhite(*q)) ++q;
    if (q == end_ || *q != '"') return false;
    for (++q; q < end_ && *q != '"'; ++q) {
        if (*q == '\\' && q + 1 < end_) ++q;
    }
    if (q == end_) return false;
    for (++q; q < end_ && (IsWhite(*q) || *q == ':'); ++q) {
    }
    return q < end_ && (*q == '-' || IsDigit(*q));
}

bool JsonReader::OpenObject(Step* step) {
    const char* at = p_++;
    const FrameKind kind = KindOfObject();
    if (message_ != nullptr) return false;
    // Errors of a typed value point at the member it belongs to.
    const FrameKind below = frames_.Empty() ? FrameKind::Array : frames_.Top().kind;
    const char* memberAt = below == FrameKind::Object ? keyAt_ : at;
    if (!Push(kind, below == FrameKind::Typed ? frames_.Top().memberAt : memberAt)) return false;
    Frame& f = frames_.Above();
    if (kind == FrameKind::Object) {
        // A bag's record comes from the bag's allocator, as a value holds it.
        f.value.u.p = tav::value::NewEmptyBag(alloc_);
        if (f.value.u.p == nullptr) return NoMemory();
        f.value.type = TAV_PROPERTYVALUE_TYPE_Properties;
        f.value.settable = TAV_TRUE;  // nested bags read from text may be changed
    }
    if (kind == FrameKind::Resolution)
        TavPropertyValueConstructResolution(&f.value, TavResolution{}, LeafSettable());
    f.owns = kind != FrameKind::Typed;
    frames_.Push();
    return FirstMember('}', step);
}

bool JsonReader::OpenArray(Step* step) {
    const char* at = p_++;
    const Frame& top = frames_.Top();
    if (Typed() && top.kind == FrameKind::Typed && top.key != kValue)
        return Refuse(top, "the type must be a string");
    if (Typed() && top.kind == FrameKind::Resolution)
        return Refuse(top, "width and height must be sizes");
    if (Typed() && top.kind != FrameKind::Typed)
        return Fail(at, "a typed value must be an object");
    const bool member = frames_.Top().kind == FrameKind::Object;
    if (!Push(FrameKind::Array, member ? keyAt_ : at)) return false;
    Frame& f = frames_.Above();
    f.value.type = TAV_PROPERTYVALUE_TYPE_Vector;
    f.value.settable = LeafSettable();
    TavVector_TavPropertyValueConstructDefault(&f.value.u.vec, alloc_);
    f.owns = true;
    frames_.Push();
    return FirstMember(']', step);
}

// Right after an opening bracket: the empty form closes at once.
bool JsonReader::FirstMember(char close, Step* step) {
    SkipWhite();
    if (!AtEnd() && *p_ == close) {
        ++p_;
        if (!Close()) return false;
        *step = frames_.Empty() ? Step::Done : Step::Next;
        return true;
    }
    *step = Step::Value;
    return close == ']' || ReadKey();
}

void JsonReader::PopAndDestroy() {
    Frame& f = frames_.Top();
    if (f.owns) TavPropertyValueDestruct(&f.value);
    TavStringDestruct(&f.name);
    frames_.Pop();
}

// The top frame is whole: its value goes to the frame below, or becomes the
// result when it was the outermost object.
bool JsonReader::Close() {
    Frame& f = frames_.Top();
    TavPropertyValue v;
    if (f.kind == FrameKind::Typed) {
        if (!FinishTyped(f, &v)) return false;
    } else if (f.kind == FrameKind::Resolution && f.seen != (kWidth | kHeight)) {
        return Refuse(f, "a resolution needs \"width\" and \"height\"");
    } else {
        v = f.value;
        f.owns = false;
    }
    PopAndDestroy();
    if (!frames_.Empty()) return Deliver(&v);
    result_ = v;
    haveResult_ = true;
    return true;
}

// Takes v (destroyed on failure) into the top frame.
bool JsonReader::Deliver(TavPropertyValue* v) {
    Frame& f = frames_.Top();
    if (f.kind == FrameKind::Array) return tav::PushTaken(&f.value.u.vec, v) || NoMemory();
    if (f.kind == FrameKind::Typed) {
        f.value = *v;
        f.owns = true;
        return true;
    }
    // Of duplicate member names the last one wins.
    // Texts written by a program mostly list members in name order.
    return tav::LinkTaken(&f.value.u.p->map, &f.name, v, tav::OnDuplicate::KeepLast,
                          tav::Arrival::InOrder) ||
           NoMemory();
}

// The value of a closed wrapper, by its type word; errors point at the
// member (or element) the wrapper is the value of.
bool JsonReader::FinishTyped(Frame& f, TavPropertyValue* v) {
    if (f.seen != (kType | kValue))
        return Refuse(f, "a typed value needs \"type\" and \"value\"");
    std::string_view word;
    if (!TextOf(f.typeAt, f.typeEnd, &word)) return false;
    TavPropertyValueType kind{};
    if (!KindOfWord(word, &kind)) return Refuse(f, "unknown type word");
    if (IsPointerKind(kind)) return Refuse(f, "pointer kinds can't be read");
    const bool composite = kind == TAV_PROPERTYVALUE_TYPE_Properties ||
                           kind == TAV_PROPERTYVALUE_TYPE_Vector ||
                           kind == TAV_PROPERTYVALUE_TYPE_Resolution;
    if (!composite)
        return f.scalarAt != nullptr ? MakeTypedScalar(f, kind, v)
                                     : Refuse(f, "value does not fit its type");
    if (!f.owns || f.value.type != kind) return Refuse(f, "value does not fit its type");
    *v = f.value;
    f.owns = false;
    return true;
}

bool JsonReader::MakeTypedScalar(const Frame& f, TavPropertyValueType kind, TavPropertyValue* v) {
    const char* s = f.scalarAt;
    const bool isString = *s == '"';
    switch (kind) {
        case TAV_PROPERTYVALUE_TYPE_Bool:
            if (*s != 't' && *s != 'f') break;
            TavPropertyValueConstructBool(v, *s == 't', LeafSettable());
            return true;
        case TAV_PROPERTYVALUE_TYPE_Float32:
        case TAV_PROPERTYVALUE_TYPE_Float64:
            return MakeTypedFloat(f, kind, v);
        case TAV_PROPERTYVALUE_TYPE_String:
        case TAV_PROPERTYVALUE_TYPE_MediaFormat: {
            if (!isString) break;
            if (kind == TAV_PROPERTYVALUE_TYPE_String) return MakeString(s, f.scalarEnd, v);
            std::string_view text;
            if (!TextOf(s + 1, f.scalarEnd - 1, &text)) return false;
            if (text.size() != 4) return Refuse(f, "a media format has 4 characters");
            const char* c = text.data();
            TavPropertyValueConstructMediaFormat(v, TAV_MEDIAFORMAT_FOURCC(c[0], c[1], c[2], c[3]),
                                                 LeafSettable());
            return true;
        }
        default:
            return MakeTypedInteger(f, kind, v);
    }
    return Refuse(f, "value does not fit its type");
}

// A number, or one of the strings "NaN", "Infinity", "-Infinity" that stand
// for what JSON numbers can't hold. A Float32 refuses a finite number beyond
// its range.
bool JsonReader::MakeTypedFloat(const Frame& f, TavPropertyValueType kind, TavPropertyValue* v) {
    const char* s = f.scalarAt;
    TavFloat64 x = 0;
    if (*s == '"') {
        std::string_view text;
        if (!TextOf(s + 1, f.scalarEnd - 1, &text)) return false;
        static constexpr struct {
            std::string_view word;
            TavFloat64 value;
        } kSpecial[] = {{"NaN", std::numeric_limits<TavFloat64>::quiet_NaN()},
                        {"Infinity", std::numeric_limits<TavFloat64>::infinity()},
                        {"-Infinity", -std::numeric_limits<TavFloat64>::infinity()}};
        const auto* found =
            std::find_if(std::begin(kSpecial), std::end(kSpecial),
                         [text](const auto& w) { return text == w.word; });
        if (found == std::end(kSpecial)) return Refuse(f, "value does not fit its type");
        x = found->value;
    } else {
        if (*s != '-' && !IsDigit(*s)) return Refuse(f, "value does not fit its type");
        if (!MakeNumber(s, f.scalarEnd, false, v)) return false;
        x = v->u.f64;
    }
    const bool single = kind == TAV_PROPERTYVALUE_TYPE_Float32;
    // The shortest text of the largest Float32 (3.4028235e+38) reads as a double
    // just above it, so the bound is where rounding to a Float32 gives infinity:
    // halfway from the largest Float32 to 2^128.
    constexpr TavFloat64 kFloat32Overflow = 0x1.ffffffp+127;
    if (single && std::isfinite(x) && std::fabs(x) >= kFloat32Overflow)
        return Refuse(f, "number out of range of its type");
    if (single)
        return TavPropertyValueConstructFloat32(v, static_cast<TavFloat32>(x), LeafSettable()) !=
               nullptr;
    return TavPropertyValueConstructFloat64(v, x, LeafSettable()) != nullptr;
}

// An integer literal in the range of its kind.
bool JsonReader::MakeTypedInteger(const Frame& f, TavPropertyValueType kind, TavPropertyValue* v) {
    const char* s = f.scalarAt;
    TavUint64 negMax = 0, posMax = 0;
    if (!IntegerRange(kind, &negMax, &posMax) || !f.scalarInteger)
        return Refuse(f, "value does not fit its type");
    const Integer n = ParseInteger(s, f.scalarEnd);
    if (n.overflow || n.magnitude > (n.negative ? negMax : posMax))
        return Refuse(f, "number out of range of its type");
    return ConstructInteger(v, kind, Signed(n), LeafSettable()) != nullptr;
}

// Line and column (from 1) of the byte at `at`; the name of the member
// whose key opens at `member` (a string already checked), when there is one.
void LocateError(const char* text, const char* at, const char* message, TavTextError* error,
                 const char* member = nullptr) {
    if (error == nullptr) return;
    error->member = nullptr;
    error->memberSize = 0;
    if (member != nullptr) {
        const char* last = member + 1;
        while (*last != '"') last += *last == '\\' ? 2 : 1;
        error->member = member + 1;
        error->memberSize = static_cast<TavSizeT>(last - (member + 1));
    }
    error->offset = static_cast<TavSizeT>(at - text);
    error->line = 1;
    const char* lineStart = text;
    for (const char* q = text; q < at; ++q) {
        if (*q == '\n') ++error->line, lineStart = q + 1;
    }
    error->column = static_cast<TavSizeT>(at - lineStart) + 1;
    error->message = message;
}

// Sets each member read into x by name, in the order of the names, under x's
// lock so that other threads see the members arrive together. A Set refused
// by an entry that is not settable is no failure; any other failure is a lack
// of memory. With no listener to tell, a member x does not hold yet is moved
// in as it was read instead of being copied: nobody can see the difference.
bool SetMembers(TavProperties* x, TavProperties* read) {
    tav::LockGuard lock(x);
    const bool quiet = TavVector_TavPropertyListenerEmpty(&x->listeners);
    while (read->map.size != 0) {
        tav::MapNode* node = TavMap_TavString__TavPropertyValueBegin(&read->map);
        tav::map::Detach(&read->map, node);
        if (quiet && tav::map::LinkUnlessPresent(&x->map, node, true) == nullptr) continue;
        const TavBool set = TavPropertiesSetProperty(x, &node->value.first, &node->value.second);
        const TavPropertyValue* kept = set ? nullptr : TavPropertiesGetProperty(x, &node->value.first);
        tav::map::DestroyDetached(read->map.alloc, node);
        if (!set && (kept == nullptr || kept->settable)) return false;
    }
    return true;
}

}  // namespace

extern "C" TavBool TavPropertiesReadJson(TavProperties* x, const char* text, TavSizeT length,
                                         const TavJsonOptions* options, TavTextError* error) {
    if (x == nullptr || (text == nullptr && length != 0)) {
        static const char kEmpty[] = "";
        LocateError(kEmpty, kEmpty, "no bag or no text", error);
        return TAV_FALSE;
    }
    JsonReader reader(text, length, options, TavPropertiesGetAllocator(x));
    if (!reader.Read()) {
        LocateError(text, reader.failAt(), reader.message(), error, reader.member());
        return TAV_FALSE;
    }
    if (!SetMembers(x, reader.Result())) {
        LocateError(text, text + length, "out of memory while setting the members", error);
        return TAV_FALSE;
    }
    return TAV_TRUE;
}
