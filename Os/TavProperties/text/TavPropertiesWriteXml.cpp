// Well-formed XML 1.0 text of a bag, beside the line-oriented XML-like text
// of TavPropertiesToXml (whose bytes stay as they are). Element names are
// fixed (properties, vector, value), so an entry's name only ever lands in an
// attribute value; every name and string is escaped, and what XML 1.0 can't
// hold becomes U+FFFD, so any XML parser takes the output.
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

// The entity or character reference of an ASCII byte that can't stand for
// itself in an attribute value or in text, or empty. Tab, line feed and
// carriage return are written as references so that attribute normalisation
// and line-end handling give them back as they were.
std::string_view ReferenceOf(unsigned char c) {
    switch (c) {
        case '&': return "&amp;";
        case '<': return "&lt;";
        case '>': return "&gt;";
        case '"': return "&quot;";
        case '\t': return "&#9;";
        case '\n': return "&#10;";
        case '\r': return "&#13;";
        default: return {};
    }
}

// A sequence XML 1.0 has no character for: the other C0 controls, bytes that
// are not UTF-8, and the noncharacters U+FFFE and U+FFFF.
bool Unrepresentable(const unsigned char* p, Utf8Run seq) {
    if (!seq.valid) return true;
    if (seq.size == 1) return *p < 0x20;
    return seq.size == 3 && p[0] == 0xEF && p[1] == 0xBF && p[2] >= 0xBE;
}

// The bytes of s escaped for an attribute value or text; runs that need
// nothing are put whole.
void PutEscaped(std::string_view s, StringSink& out) {
    auto* p = reinterpret_cast<const unsigned char*>(s.data());
    const auto* end = p + s.size();
    const auto* run = p;
    const auto putRun = [&](const unsigned char* to) {
        out.Put(std::string_view(reinterpret_cast<const char*>(run), static_cast<std::size_t>(to - run)));
    };
    while (p != end) {
        const Utf8Run seq = *p < 0x80 ? Utf8Run{1, true} : NextUtf8(p, end);
        const std::string_view ref = seq.size == 1 ? ReferenceOf(*p) : std::string_view();
        if (ref.empty() && !Unrepresentable(p, seq)) {
            p += seq.size;
            continue;
        }
        putRun(p);
        out.Put(ref.empty() ? kReplacement : ref);
        p += seq.size;
        run = p;
    }
    putRun(end);
}

std::string_view Bytes(const TavString* s) { return {s->buf, static_cast<std::size_t>(s->size)}; }

// The shortest text that reads back to the same value in its own width; the
// non-finite values as XML Schema writes them (NaN, INF, -INF).
template <class Float>
void PutFloat(Float f, StringSink& out) {
    if (std::isnan(f)) return out.Put("NaN");
    if (std::isinf(f)) return out.Put(f < 0 ? "-INF" : "INF");
    tav::text::ScalarBuffer buf;
    out.Put(tav::text::ShortestText(f, buf));
}

void PutLeafText(const TavPropertyValue* v, StringSink& out) {
    tav::text::ScalarBuffer buf;
    switch (v->type) {
        case TAV_PROPERTYVALUE_TYPE_Float32: return PutFloat(v->u.f32, out);
        case TAV_PROPERTYVALUE_TYPE_Float64: return PutFloat(v->u.f64, out);
        case TAV_PROPERTYVALUE_TYPE_String: return PutEscaped(Bytes(&v->u.s), out);
        case TAV_PROPERTYVALUE_TYPE_Resolution:
            out.Put("<width>");
            out.Put(tav::text::SizeText(v->u.res.width, buf));
            out.Put("</width><height>");
            out.Put(tav::text::SizeText(v->u.res.height, buf));
            return out.Put("</height>");
        default: return PutEscaped(tav::text::ScalarText(v, {0, 0}, buf).text, out);
    }
}

std::string_view ElementOf(const TavPropertyValue* v) {
    if (v->type == TAV_PROPERTYVALUE_TYPE_Properties) return "properties";
    return v->type == TAV_PROPERTYVALUE_TYPE_Vector ? "vector" : "value";
}

// <element name="n" type="word" ptrType="t"  (still open): the name for an
// entry of a bag, the type for a leaf, the pointer's type for typed pointers.
void PutOpeningHead(const Item& item, StringSink& out) {
    const TavPropertyValue* v = item.value;
    out.Put('<');
    out.Put(ElementOf(v));
    if (item.name != nullptr) {
        out.Put(" name=\"");
        PutEscaped(Bytes(item.name), out);
        out.Put('"');
    }
    if (tav::text::IsContainer(v)) return;
    out.Put(" type=\"");
    out.Put(tav::text::WordsOf(v->type).json);
    out.Put('"');
    if (v->type == TAV_PROPERTYVALUE_TYPE_SharedPtr || v->type == TAV_PROPERTYVALUE_TYPE_WeakPtr) {
        out.Put(" ptrType=\"");
        PutEscaped(Bytes(&v->ptrName), out);
        out.Put('"');
    }
}

void PutClosing(const TavPropertyValue* v, StringSink& out) {
    out.Put("</");
    out.Put(ElementOf(v));
    out.Put(">\n");
}

// No state per container: one element a line without indentation, so the
// text grows linearly with the tree however deep it is.
struct XmlNoState {};

// Hooks of the shared walk (see TavTextWalk.hpp). Containers nest without
// limit; only a stack that can't grow, or a failed append, stops the walk.
class WriteXmlHooks {
public:
    using State = XmlNoState;
    static constexpr std::size_t kNestingLimit = ~static_cast<std::size_t>(0);

    explicit WriteXmlHooks(StringSink& out) : out_(out) {}

    bool Leaf(const Item& item, const XmlNoState&) {
        PutOpeningHead(item, out_);
        out_.Put('>');
        PutLeafText(item.value, out_);
        PutClosing(item.value, out_);
        return out_.ok();
    }
    Step Open(const Item& item, const XmlNoState&, bool room, XmlNoState*) {
        if (!room) return Step::Stop;
        PutOpeningHead(item, out_);
        out_.Put(">\n");
        return out_.ok() ? Step::Enter : Step::Stop;
    }
    bool Close(const Item& item, XmlNoState&, const XmlNoState&) {
        PutClosing(item.value, out_);
        return out_.ok();
    }
    void Abandon(XmlNoState&) {}

private:
    StringSink& out_;
};

// The declaration and the root element around the top bag's entries, the
// bag locked for the whole walk.
bool WriteDocument(const TavProperties* x, StringSink& out) {
    tav::LockGuard lock(x);
    out.Put("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<properties>\n");
    WriteXmlHooks hooks(out);
    if (!tav::text::Walker<WriteXmlHooks>::Walk(hooks, TavPropertiesGetAllocator(x),
                                                 tav::text::Cursor::OfBag(x), XmlNoState{})) {
        return false;
    }
    out.Put("</properties>\n");
    return true;
}

}  // namespace

extern "C" const TavString* TavPropertiesWriteXml(const TavProperties* x, TavString* out) {
    return tav::text::WriteWhole(TavPropertiesGetAllocator(x), out,
                                 [x](StringSink& sink) { return WriteDocument(x, sink); });
}
