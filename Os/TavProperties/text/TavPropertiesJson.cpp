// One-line JSON text of a bag: every entry becomes a member whose value is
// {"type":<word>,"value":<value>}; nested bags become objects, vectors arrays.
#include <string_view>

#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/text/TavTextCommon.hpp"
#include "Os/TavProperties/text/TavTextWalk.hpp"

namespace {

using tav::text::CText;
using tav::text::Item;
using tav::text::Step;
using tav::text::StringSink;


// The deepest level below the top bag that is written; vectors don't count.
constexpr TavSizeT kMaxDepth = 63;

constexpr tav::text::FloatDigits kFloatDigits = {6, 6};

bool HasPointerName(TavPropertyValueType kind) {
    return kind == TAV_PROPERTYVALUE_TYPE_SharedPtr || kind == TAV_PROPERTYVALUE_TYPE_WeakPtr;
}

// {"type":"<word>","value":  -- typed pointers add their type name: word(name)
void PutHead(const TavPropertyValue* value, StringSink& json) {
    json.Put(R"({"type":")");
    json.Put(tav::text::WordsOf(value->type).json);
    if (HasPointerName(value->type)) {
        json.Put('(');
        json.Put(CText(&value->ptrName));
        json.Put(')');
    }
    json.Put(R"(","value":)");
}

// Only the double quote is escaped, on a copy of the string: backslashes and
// control characters are written as they are.
bool EscapeQuotes(TavString* s) {
    for (TavSizeT at = TavStringFindFirstOfChar(s, 0, '"'); at != TAV_STRING_NPOS;
         at = TavStringFindFirstOfChar(s, at + 2, '"')) {
        if (TavStringInsertChar(s, at, '\\') == nullptr) return false;
    }
    return true;
}

bool PutEscaped(const TavString* s, StringSink& json) {
    TavString copy;
    if (TavStringConstructCopy(&copy, s) == nullptr) return false;
    const bool escaped = EscapeQuotes(&copy);
    if (escaped) {
        json.Put('"');
        json.Put(CText(&copy));
        json.Put('"');
    }
    TavStringDestruct(&copy);
    return escaped;
}

void PutResolution(const TavResolution& res, StringSink& json) {
    tav::text::ScalarBuffer buf;
    json.Put(R"({"width": {"type": "size_t", "value": )");
    json.Put(tav::text::SizeText(res.width, buf));
    json.Put(R"(}, "height":{"type": "size_t", "value": )");
    json.Put(tav::text::SizeText(res.height, buf));
    json.Put("}}");
}

// Numbers and booleans bare, addresses and format codes in quotes.
void PutScalar(const TavPropertyValue* value, StringSink& json) {
    tav::text::ScalarBuffer buf;
    const tav::text::Scalar s = tav::text::ScalarText(value, kFloatDigits, buf);
    const bool quoted = s.form == tav::text::ScalarForm::Quoted;
    if (quoted) json.Put('"');
    json.Put(s.text);
    if (quoted) json.Put('"');
}

bool PutLeafBody(const TavPropertyValue* value, StringSink& json) {
    switch (value->type) {
        case TAV_PROPERTYVALUE_TYPE_String: return PutEscaped(&value->u.s, json);
        case TAV_PROPERTYVALUE_TYPE_Resolution: PutResolution(value->u.res, json); return true;
        default: PutScalar(value, json); return true;
    }
}

// The depth of the bag being written (elemNum): the top bag is at 0, a
// nested bag one below the bag that holds it, the elements of a vector at the
// depth of the bag that holds the vector.
struct JsonLevel {
    TavSizeT elemNum;
};

// Hooks of the shared walk (see TavTextWalk.hpp). Every entry is written as
// "name":{"type":"<word>","value":<value>}, every element as the braced part
// alone, with "," before all but the first; a nested bag's value is an
// object, a vector's an array. Any failure stops the whole write.
class JsonWriter {
public:
    using State = JsonLevel;
    // Vectors may nest without limit; bags are held to kMaxDepth in Open.
    static constexpr std::size_t kNestingLimit = ~static_cast<std::size_t>(0);

    explicit JsonWriter(StringSink& json) : json_(json) {}

    bool Leaf(const Item& item, const JsonLevel&) {
        PutKeyAndHead(item);
        if (!PutLeafBody(item.value, json_)) return false;
        json_.Put('}');
        return json_.ok();
    }

    // A bag too deep (or missing) fails before it is locked.
    Step Open(const Item& item, const JsonLevel& parent, bool room, JsonLevel* child) {
        PutKeyAndHead(item);
        if (item.value->type == TAV_PROPERTYVALUE_TYPE_Vector) {
            json_.Put('[');
            child->elemNum = parent.elemNum;
            return room ? Step::Enter : Step::Stop;
        }
        if (item.value->u.p == nullptr) return Step::Stop;
        json_.Put('{');
        child->elemNum = parent.elemNum + 1;
        return child->elemNum <= kMaxDepth && room ? Step::Enter : Step::Stop;
    }

    bool Close(const Item& item, const JsonLevel&, const JsonLevel&) {
        json_.Put(item.value->type == TAV_PROPERTYVALUE_TYPE_Vector ? ']' : '}');
        json_.Put('}');
        return json_.ok();
    }

    void Abandon(const JsonLevel&) {}

private:
    void PutKeyAndHead(const Item& item) {
        if (!item.first) json_.Put(',');
        if (item.name != nullptr) {
            json_.Put('"');
            json_.Put(CText(item.name));
            json_.Put("\":");
        }
        PutHead(item.value, json_);
    }

    StringSink& json_;
};

// The object text of the top bag, which is locked for the whole walk (the
// trailing underscore marks it internal; unlike the single-entry operations'
// underscore, it takes the lock itself: the name is the one the design gave
// it). The
// walk's frames beyond the first few come from the bag's allocator; when they
// can't, the write fails like any other.
bool TavPropertiesToJson_(const TavProperties* x, StringSink& json) {
    json.Put('{');
    {
        tav::LockGuard lock(x);
        JsonWriter writer(json);
        if (!tav::text::Walker<JsonWriter>::Walk(writer, TavPropertiesGetAllocator(x),
                                                   tav::text::Cursor::OfBag(x), JsonLevel{0})) {
            return false;
        }
    }
    json.Put('}');
    return true;
}

}  // namespace

extern "C" const TavString* TavPropertiesToJson(const TavProperties* x, TavString* json) {
    return tav::text::WriteWhole(TavPropertiesGetAllocator(x), json,
                                 [x](StringSink& sink) { return TavPropertiesToJson_(x, sink); });
}
