// One-line JSON text of a bag: every entry becomes a member whose value is
// {"type":<word>,"value":<value>}; nested bags become objects, vectors arrays.
#include <string_view>

#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/text/TavTextCommon.hpp"

namespace {

using tav::text::CText;
using tav::text::StringSink;

// Type words by kind, all twenty-two.
constexpr std::string_view kTypeWord[] = {
    "bool",       "int",        "int16",    "int64",        "uint",         "uint16",
    "uint64",     "size_t",     "float32",  "float64",      "time",         "resolution",
    "media_format", "ptr",      "string",   "properties",   "vector",       "shared_ptr",
    "weak_ptr",   "shared_ptr", "weak_ptr", "wrapper"};
static_assert(std::size(kTypeWord) == TAV_PROPERTYVALUE_TYPE_Wrapper + 1);

// The deepest level below the top bag that is written; vectors don't count.
constexpr TavSizeT kMaxDepth = 63;

constexpr tav::text::FloatDigits kFloatDigits = {6, 6};

bool TavPropertiesToJson_(const TavProperties* x, StringSink& json, TavSizeT elemNum);

bool HasPointerName(TavPropertyValueType kind) {
    return kind == TAV_PROPERTYVALUE_TYPE_SharedPtr || kind == TAV_PROPERTYVALUE_TYPE_WeakPtr;
}

// {"type":"<word>","value":  -- typed pointers add their type name: word(name)
void PutHead(const TavPropertyValue* value, StringSink& json) {
    json.Put(R"({"type":")");
    json.Put(kTypeWord[value->type]);
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

bool TavPropertyValueToJson_(const TavPropertyValue* value, StringSink& json, TavSizeT elemNum);

bool PutElements(const TavVector_TavPropertyValue* vec, StringSink& json, TavSizeT elemNum) {
    json.Put('[');
    for (const TavPropertyValue* e = vec->begin; e != vec->end; ++e) {
        if (e != vec->begin) json.Put(',');
        if (!TavPropertyValueToJson_(e, json, elemNum)) return false;
    }
    json.Put(']');
    return true;
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

bool PutBody(const TavPropertyValue* value, StringSink& json, TavSizeT elemNum) {
    switch (value->type) {
        case TAV_PROPERTYVALUE_TYPE_String: return PutEscaped(&value->u.s, json);
        case TAV_PROPERTYVALUE_TYPE_Resolution: PutResolution(value->u.res, json); return true;
        case TAV_PROPERTYVALUE_TYPE_Properties:
            return value->u.p != nullptr && TavPropertiesToJson_(value->u.p, json, elemNum + 1);
        case TAV_PROPERTYVALUE_TYPE_Vector: return PutElements(&value->u.vec, json, elemNum);
        default: PutScalar(value, json); return true;
    }
}

bool TavPropertyValueToJson_(const TavPropertyValue* value, StringSink& json, TavSizeT elemNum) {
    PutHead(value, json);
    if (!PutBody(value, json, elemNum)) return false;
    json.Put('}');
    return json.ok();
}

bool PutEntries(const TavProperties* x, StringSink& json, TavSizeT elemNum) {
    bool first = true;
    return tav::text::ForEachEntry(x, [&](const TavString* name, const TavPropertyValue* v) {
        if (!first) json.Put(',');
        first = false;
        json.Put('"');
        json.Put(CText(name));
        json.Put("\":");
        return TavPropertyValueToJson_(v, json, elemNum);
    });
}

// Locks x for its walk, after the depth test: a bag too deep is never locked.
bool TavPropertiesToJson_(const TavProperties* x, StringSink& json, TavSizeT elemNum) {
    json.Put('{');
    if (elemNum > kMaxDepth) return false;
    {
        tav::LockGuard lock(x);
        if (!PutEntries(x, json, elemNum)) return false;
    }
    json.Put('}');
    return true;
}

}  // namespace

extern "C" const TavString* TavPropertiesToJson(const TavProperties* x, TavString* json) {
    TavString text;
    if (TavStringConstructDefault(&text, TavPropertiesGetAllocator(x)) == nullptr) return nullptr;
    const TavString* result = nullptr;
    {
        StringSink sink(&text);
        if (TavPropertiesToJson_(x, sink, 0) && sink.Flush()) result = TavStringMove(json, &text);
    }
    TavStringDestruct(&text);
    return result;
}
