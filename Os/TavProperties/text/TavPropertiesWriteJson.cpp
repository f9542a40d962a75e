// Standard JSON text of a bag (RFC 8259), plain or typed, on one line or
// indented. Unlike TavPropertiesToJson, whose fixed bytes other modules read,
// this writer escapes every string, keeps floats exact and never writes a
// word that is not JSON, so any JSON reader takes its output.
#include <charconv>
#include <cmath>
#include <string_view>

#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/text/TavTextCommon.hpp"
#include "Os/TavProperties/text/TavTextWalk.hpp"

namespace {

using tav::text::Item;
using tav::text::kReplacement;
using tav::text::NextUtf8;
using tav::text::Step;
using tav::text::StringSink;
using tav::text::Utf8Run;

bool NeedsEscape(unsigned char c) { return c < 0x20 || c == '"' || c == '\\'; }

void PutEscape(unsigned char c, StringSink& out) {
    static constexpr char kShort[] = "\0\0\0\0\0\0\0\0btn\0fr";  // \b \t \n \f \r
    static constexpr char kHex[] = "0123456789abcdef";
    out.Put('\\');
    if (c == '"' || c == '\\') return out.Put(static_cast<char>(c));
    if (c < sizeof kShort - 1 && kShort[c] != '\0') return out.Put(kShort[c]);
    out.Put("u00");
    out.Put(kHex[c >> 4]);
    out.Put(kHex[c & 0xF]);
}

// The JSON number of a float or double: the shortest text that reads back to
// the same value, in the value's own width. Not finite: false, nothing put.
template <class Float>
bool PutFloat(Float f, StringSink& out) {
    if (!std::isfinite(f)) return false;
    tav::text::ScalarBuffer buf;
    out.Put(tav::text::ShortestText(f, buf));
    return true;
}

std::string_view NonFiniteWord(double d) {
    if (std::isnan(d)) return "NaN";
    return d < 0 ? "-Infinity" : "Infinity";
}

// Text, separators and indentation of one write: what every value and
// container of the walk is written through.
class JsonOut {
public:
    JsonOut(StringSink& sink, const TavJsonOptions& options)
        : out_(sink),
          indent_(options.indent),
          typed_(options.style == TAV_JSON_TYPED),
          failOnInvalid_(options.invalidUtf8 == TAV_JSON_UTF8_FAIL) {}

    bool typed() const { return typed_; }
    bool ok() const { return out_.ok(); }
    StringSink& sink() { return out_; }

    // The escaped bytes of s without quotes; false on a byte that is not
    // UTF-8 when such bytes fail the write. Runs that need no escape are put
    // whole.
    bool PutStringBody(std::string_view s) {
        auto* p = reinterpret_cast<const unsigned char*>(s.data());
        const auto* end = p + s.size();
        const auto* run = p;
        while (p != end) {
            // Printable ASCII other than '"' and '\\' goes out as it is.
            while (p != end && tav::text::kJsonPlain[*p]) ++p;
            if (p == end) break;
            Utf8Run seq{1, true};
            if (*p >= 0x80) seq = NextUtf8(p, end);
            if (seq.valid && !NeedsEscape(*p)) {
                p += seq.size;
                continue;
            }
            PutBytes(run, p);
            if (!seq.valid && failOnInvalid_) return false;
            if (seq.valid) PutEscape(*p, out_);
            if (!seq.valid) out_.Put(kReplacement);
            p += seq.size;
            run = p;
        }
        PutBytes(run, end);
        return true;
    }
    bool PutString(std::string_view s) {
        out_.Put('"');
        const bool done = PutStringBody(s);
        out_.Put('"');
        return done;
    }

    // Before a member (name not empty) or an element at indentation `level`:
    // the comma after its predecessor, its line, and "name": .
    bool Start(bool first, std::string_view name, bool named, TavSizeT level) {
        if (!first) out_.Put(',');
        if (indent_ != 0) NewLine(level);
        open_ = false;
        if (!named) return true;
        const bool done = PutString(name);
        out_.Put(':');
        if (indent_ != 0) out_.Put(' ');
        return done;
    }
    bool Member(bool first, std::string_view name, TavSizeT level) {
        return Start(first, name, true, level);
    }

    // An object or array whose members sit at one level deeper than its
    // closing bracket (`level`); an empty one closes on the same line.
    void Open(char bracket) {
        out_.Put(bracket);
        open_ = true;
    }
    void Close(char bracket, TavSizeT level) {
        if (!open_ && indent_ != 0) NewLine(level);
        out_.Put(bracket);
        open_ = false;
    }

private:
    void PutBytes(const unsigned char* from, const unsigned char* to) {
        out_.Put(std::string_view(reinterpret_cast<const char*>(from),
                                  static_cast<std::size_t>(to - from)));
    }
    void NewLine(TavSizeT level) {
        static constexpr std::string_view kSpaces = "                                ";
        out_.Put('\n');
        for (TavSizeT n = level * indent_; n != 0;) {
            const TavSizeT part = n < kSpaces.size() ? n : kSpaces.size();
            out_.Put(kSpaces.substr(0, part));
            n -= part;
        }
    }

    StringSink& out_;
    TavSizeT indent_;
    bool typed_;
    bool failOnInvalid_;
    bool open_ = false;  // nothing written since the last opening bracket
};

std::string_view Bytes(const TavString* s) { return {s->buf, static_cast<std::size_t>(s->size)}; }

// The typed form's word: typed pointers add their type name, escaped.
bool PutTypeWord(const TavPropertyValue* v, JsonOut& out) {
    StringSink& sink = out.sink();
    sink.Put('"');
    sink.Put(tav::text::WordsOf(v->type).json);
    bool done = true;
    if (v->type == TAV_PROPERTYVALUE_TYPE_SharedPtr || v->type == TAV_PROPERTYVALUE_TYPE_WeakPtr) {
        sink.Put('(');
        done = out.PutStringBody(Bytes(&v->ptrName));
        sink.Put(')');
    }
    sink.Put('"');
    return done;
}

// A float that JSON has no number for: null when plain (the value is lost),
// its name as a string when typed, so that the typed reader gets it back.
template <class Float>
void PutFloatValue(Float f, JsonOut& out) {
    if (PutFloat(f, out.sink())) return;
    if (out.typed()) out.PutString(NonFiniteWord(f));
    if (!out.typed()) out.sink().Put("null");
}

void PutResolution(const TavResolution& res, JsonOut& out, TavSizeT level) {
    tav::text::ScalarBuffer buf;
    out.Open('{');
    out.Member(true, "width", level + 1);
    out.sink().Put(tav::text::SizeText(res.width, buf));
    out.Member(false, "height", level + 1);
    out.sink().Put(tav::text::SizeText(res.height, buf));
    out.Close('}', level);
}

// The value of a leaf in either style (the typed form's "value"), whose
// closing bracket, if any, goes at `level`. Integers, sizes, times and
// addresses are bare numbers; the format code is a string.
bool PutLeafValue(const TavPropertyValue* v, JsonOut& out, TavSizeT level) {
    switch (v->type) {
        case TAV_PROPERTYVALUE_TYPE_Float32: PutFloatValue(v->u.f32, out); return true;
        case TAV_PROPERTYVALUE_TYPE_Float64: PutFloatValue(v->u.f64, out); return true;
        case TAV_PROPERTYVALUE_TYPE_String: return out.PutString(Bytes(&v->u.s));
        case TAV_PROPERTYVALUE_TYPE_Resolution: PutResolution(v->u.res, out, level); return true;
        default: break;
    }
    tav::text::ScalarBuffer buf;
    const tav::text::Scalar s = tav::text::ScalarText(v, {0, 0}, buf);
    if (v->type == TAV_PROPERTYVALUE_TYPE_MediaFormat) return out.PutString(s.text);
    out.sink().Put(s.text);
    return true;
}

// Indentation level of the members or elements of an open container.
struct JsonDepth {
    TavSizeT level;
};

// Hooks of the shared walk (see TavTextWalk.hpp). A typed value is wrapped
// as {"type":WORD,"value":V}, whose "value" sits one level deeper, so a typed
// container's contents are two levels below its entry. Containers nest
// without limit; only a stack that can't grow stops the walk. A nested-bag
// value that holds no bag has no contents and is written as an empty object.
class WriteJsonHooks {
public:
    using State = JsonDepth;
    static constexpr std::size_t kNestingLimit = ~static_cast<std::size_t>(0);

    explicit WriteJsonHooks(JsonOut& out) : out_(out) {}

    bool Leaf(const Item& item, const JsonDepth& parent) {
        if (!Start(item, parent.level)) return false;
        if (!out_.typed()) return PutLeafValue(item.value, out_, parent.level) && out_.ok();
        if (!PutTypedHead(item.value, parent.level)) return false;
        if (!PutLeafValue(item.value, out_, parent.level + 1)) return false;
        out_.Close('}', parent.level);
        return out_.ok();
    }

    Step Open(const Item& item, const JsonDepth& parent, bool room, JsonDepth* child) {
        if (!room || !Start(item, parent.level)) return Step::Stop;
        const TavSizeT valueLevel = out_.typed() ? parent.level + 1 : parent.level;
        if (out_.typed() && !PutTypedHead(item.value, parent.level)) return Step::Stop;
        out_.Open(IsVector(item) ? '[' : '{');
        child->level = valueLevel + 1;
        return Step::Enter;
    }

    bool Close(const Item& item, const JsonDepth& child, const JsonDepth& parent) {
        out_.Close(IsVector(item) ? ']' : '}', child.level - 1);
        if (out_.typed()) out_.Close('}', parent.level);
        return out_.ok();
    }

    void Abandon(const JsonDepth&) {}

private:
    static bool IsVector(const Item& item) {
        return item.value->type == TAV_PROPERTYVALUE_TYPE_Vector;
    }
    bool Start(const Item& item, TavSizeT level) {
        const bool named = item.name != nullptr;
        return out_.Start(item.first, named ? Bytes(item.name) : std::string_view(), named, level);
    }
    // {"type":WORD,"value":  with the wrapper's members one level deeper.
    bool PutTypedHead(const TavPropertyValue* v, TavSizeT level) {
        out_.Open('{');
        out_.Member(true, "type", level + 1);
        if (!PutTypeWord(v, out_)) return false;
        return out_.Member(false, "value", level + 1);
    }

    JsonOut& out_;
};

// The object of the top bag, locked for the whole walk; the walk's frames
// beyond the first few come from the bag's allocator.
bool WriteBag(const TavProperties* x, JsonOut& out) {
    tav::LockGuard lock(x);
    WriteJsonHooks hooks(out);
    out.Open('{');
    if (!tav::text::Walker<WriteJsonHooks>::Walk(hooks, TavPropertiesGetAllocator(x),
                                                  tav::text::Cursor::OfBag(x), JsonDepth{1})) {
        return false;
    }
    out.Close('}', 0);
    return true;
}

}  // namespace

extern "C" const TavString* TavPropertiesWriteJson(const TavProperties* x, TavString* out,
                                                   const TavJsonOptions* options) {
    const TavJsonOptions defaults{};
    return tav::text::WriteWhole(TavPropertiesGetAllocator(x), out, [&](StringSink& sink) {
        JsonOut json(sink, options != nullptr ? *options : defaults);
        return WriteBag(x, json);
    });
}
