// Reader of the one-line property syntax, "a=T,b=12,c=-3,d=0.5,e="x",f{g=1}":
// recursive descent with one character of look-ahead. Entries are added as
// they are read, so a syntax error keeps what came before it.
#include <cctype>

#include "Os/TavProperties.h"

namespace {

TavAllocator* ReaderAllocator() { return TavAllocatorGetDefault(); }

bool IsNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }
bool IsStringChar(char c) { return c != '"' && std::isprint(static_cast<unsigned char>(c)); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

const char* SkipDigits(const char* s) {
    while (IsDigit(*s)) ++s;
    return s;
}

TavBool MatchChar(const char** p, char c) {
    if (**p != c) return TAV_FALSE;
    ++*p;
    return TAV_TRUE;
}

TavBool ReadProperties(const char** p, TavProperties* props);

// The longest run of name characters, into name.
TavBool ReadPropertyName(const char** p, TavString* name) {
    const char* end = *p;
    while (IsNameChar(*end)) ++end;
    if (end == *p || TavStringAssignRange(name, *p, end) == nullptr) return TAV_FALSE;
    *p = end;
    return TAV_TRUE;
}

TavBool ReadBool(const char** p, TavProperties* props, const TavString* name) {
    if (!MatchChar(p, '=') || (**p != 'T' && **p != 'F')) return TAV_FALSE;
    TavPropertiesAddBoolValue(props, name, **p == 'T', TAV_FALSE);
    ++*p;
    return TAV_TRUE;
}

// [+-]digits[.digits]: where it ends (the start when it is no number), and
// whether it has a point.
const char* ScanNumber(const char* s, bool* hasPoint) {
    const char* digits = s + (*s == '+' || *s == '-');
    const char* end = SkipDigits(digits);
    if (end == digits) return s;
    *hasPoint = *end == '.';
    return *hasPoint ? SkipDigits(end + 1) : end;
}

// A number with a point is a Float64; without, its low 32 bits make an Int
// when it was signed and a Uint otherwise. The conversion must stop exactly
// where the scan did.
bool AddNumber(const char* start, const char* end, bool hasPoint, TavProperties* props,
               const TavString* name) {
    const char* stop = nullptr;
    if (hasPoint) {
        TavBool error = TAV_FALSE;
        const TavFloat64 f = TavStrToFloat64(start, &stop, &error);
        if (stop != end || error) return false;
        TavPropertiesAddFloat64Value(props, name, f, TAV_FALSE);
        return true;
    }
    const TavInt i = TavStrToInt32(start, &stop, 10);
    if (stop != end) return false;
    if (*start == '+' || *start == '-') {
        TavPropertiesAddIntValue(props, name, i, TAV_FALSE);
    } else {
        TavPropertiesAddUintValue(props, name, static_cast<TavUint>(i), TAV_FALSE);
    }
    return true;
}

TavBool ReadNumber(const char** p, TavProperties* props, const TavString* name) {
    if (!MatchChar(p, '=')) return TAV_FALSE;
    bool hasPoint = false;
    const char* end = ScanNumber(*p, &hasPoint);
    if (end == *p || !AddNumber(*p, end, hasPoint, props, name)) return TAV_FALSE;
    *p = end;
    return TAV_TRUE;
}

// A quoted run of printable characters; there are no escapes.
TavBool ReadString(const char** p, TavProperties* props, const TavString* name) {
    if (!MatchChar(p, '=') || !MatchChar(p, '"')) return TAV_FALSE;
    const char* end = *p;
    while (IsStringChar(*end)) ++end;
    if (*end != '"') return TAV_FALSE;
    TavString s;
    if (TavStringConstructRange(&s, *p, end, ReaderAllocator()) != nullptr) {
        TavPropertiesAddStringValue(props, name, &s, TAV_FALSE);
        TavStringDestruct(&s);
    }
    *p = end + 1;
    return TAV_TRUE;
}

// "{" list "}": the nested bag is added only once its whole list was read.
TavBool ReadSubproperties(const char** p, TavProperties* props, const TavString* name) {
    if (!MatchChar(p, '{')) return TAV_FALSE;
    TavProperties sub;
    if (TavPropertiesConstructDefault(&sub, ReaderAllocator()) == nullptr) return TAV_FALSE;
    const TavBool whole = ReadProperties(p, &sub) && MatchChar(p, '}');
    if (whole) TavPropertiesAddPropertiesValue(props, name, &sub, TAV_TRUE);
    TavPropertiesDestruct(&sub);
    return whole;
}

// Tries each form of value on its own copy of the position.
TavBool ReadPropertyValue(const char** p, TavProperties* props, const TavString* name) {
    using ReadForm = TavBool (*)(const char**, TavProperties*, const TavString*);
    static constexpr ReadForm kForms[] = {ReadBool, ReadNumber, ReadString, ReadSubproperties};
    for (ReadForm read : kForms) {
        const char* q = *p;
        if (read(&q, props, name)) {
            *p = q;
            return TAV_TRUE;
        }
    }
    return TAV_FALSE;
}

TavBool ReadProperty(const char** p, TavProperties* props, TavString* name) {
    const char* q = *p;
    if (!ReadPropertyName(&q, name) || !ReadPropertyValue(&q, props, name)) return TAV_FALSE;
    *p = q;
    return TAV_TRUE;
}

// entry ("," entry)*: a "," not followed by a whole entry is left unread.
TavBool ReadEntries(const char** p, TavProperties* props, TavString* name) {
    if (!ReadProperty(p, props, name)) return TAV_FALSE;
    while (**p == ',') {
        const char* q = *p + 1;
        if (!ReadProperty(&q, props, name)) break;
        *p = q;
    }
    return TAV_TRUE;
}

TavBool ReadProperties(const char** p, TavProperties* props) {
    TavString name;
    TavStringConstructDefault(&name, ReaderAllocator());
    const TavBool read = ReadEntries(p, props, &name);
    TavStringDestruct(&name);
    return read;
}

}  // namespace

extern "C" TavBool TavPropertiesReadFromString(TavProperties* props, const char* s) {
    const char* p = s;
    return ReadProperties(&p, props) && *p == '\0';
}
