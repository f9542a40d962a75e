// Reader of the one-line property syntax, "a=T,b=12,c=-3,d=0.5,e="x",f{g=1}",
// with one character of look-ahead. Entries are added as they are read, so a
// syntax error keeps what came before it.
//
// Nesting does not use the call stack: the nested bags being read are kept on
// an explicit stack (OpenBags), so any depth reads. A nested bag is built in
// a record of its own and, once its "}" is read, handed to the bag it belongs
// to. While both are still being read nobody else can see them (the default
// allocator, no listeners), so the finished bag is linked in as it is rather
// than copied: each byte of the text is then worked on a fixed number of
// times whatever the depth. Only the caller's bag, which may have listeners
// and an allocator of its own, receives its entries through the typed adds.
#include <cctype>
#include <cstring>

#include "Os/TavProperties.h"
#include "Os/TavProperties/bag/TavPropertiesInternal.h"
#include "Os/TavProperties/detail/TavTakenEntry.hpp"
#include "Os/TavProperties/detail/TavWalkStack.hpp"
#include "Os/TavProperties/values/TavPropertyValueInternal.h"

namespace {

TavAllocator* ReaderAllocator() { return TavAllocatorGetDefault(); }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The classes are those of the C library in the current locale; every locale
// classes ASCII letters, digits and printable characters alike, so only the
// other bytes ask the library.
bool IsNameChar(char c) {
    const auto u = static_cast<unsigned char>(c);
    if (u >= 0x80) return std::isalnum(u) != 0;
    return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool IsStringChar(char c) {
    const auto u = static_cast<unsigned char>(c);
    if (u >= 0x80) return std::isprint(u) != 0;
    return u >= 0x20 && u < 0x7f && c != '"';
}

const char* SkipDigits(const char* s) {
    while (IsDigit(*s)) ++s;
    return s;
}

TavBool MatchChar(const char** p, char c) {
    if (**p != c) return TAV_FALSE;
    ++*p;
    return TAV_TRUE;
}

// ---- bags under construction -------------------------------------------------

// A nested bag in a record of its own, from the reader's allocator, as a
// Properties value holds it; null when either can't be had.
TavProperties* NewBag() { return tav::value::NewEmptyBag(ReaderAllocator()); }

void DeleteBag(TavProperties* bag) {
    TavPropertiesDestruct(bag);
    TavAllocatorDeallocate(ReaderAllocator(), bag, sizeof(TavProperties));
}

// Adds an entry to a bag that only the reader sees, without copying: the node
// takes v as it is and the text of name (name is left empty). A name already
// present keeps its value and v is destroyed, as an add would leave it; so is
// v when the node can't be had.
void InsertTaken(TavProperties* bag, TavString* name, TavPropertyValue* v) {
    tav::LinkTaken(&bag->map, name, v, tav::OnDuplicate::KeepFirst);
}

// The caller's bag gets each entry as the typed add of its kind gives it:
// under the bag's lock, its listeners told, added at the name as a path. The
// typed add would first build a copy of the value read; the value read is
// that copy already, so it is handed over as it is. A bag with no listener
// to tell takes it as its entry (a nested bag is then never copied); one
// with listeners gets a copy.
void AddToCallersBag(TavProperties* bag, const TavString* name, TavPropertyValue* v) {
    tav::AddTakingAtPath(bag, name, v);
}

// One bag being read and the name of the entry being read into it.
struct OpenBag {
    TavProperties* bag;
    TavString name;
};

// The bags being read, from the caller's bag (the first, never owned) to the
// innermost open nested bag. The stack lives in a small inline array and, for
// deeper text, in a block from the reader's allocator that doubles as needed.
// Whatever is still open when the reader stops (a syntax error, no memory) is
// destroyed with the stack: a nested bag is only ever added whole.
class OpenBags {
public:
    explicit OpenBags(TavProperties* callers) : items_(ReaderAllocator()) {
        items_.Reserve();  // in place: never fails
        Push(callers);
    }
    ~OpenBags() {
        while (items_.Size() > 1) DeleteBag(Pop());
        TavStringDestruct(&items_.Top().name);
    }
    OpenBags(const OpenBags&) = delete;
    OpenBags& operator=(const OpenBags&) = delete;

    OpenBag& Top() { return items_.Top(); }
    bool AtCallers() const { return items_.Size() == 1; }

    // A new empty nested bag, to be read into; false when there is no memory
    // for it or for its place on the stack.
    bool Open() {
        if (!items_.Reserve()) return false;
        TavProperties* bag = NewBag();
        if (bag == nullptr) return false;
        Push(bag);
        return true;
    }

    // The innermost bag is whole: it becomes the value of the entry being read
    // in the bag below it.
    void Close() {
        TavPropertyValue v{};
        v.settable = TAV_TRUE;  // nested bags read from text may be changed
        v.type = TAV_PROPERTYVALUE_TYPE_Properties;
        v.u.p = Pop();
        AddEntry(&v);
    }

    // Adds v (which this consumes) under the name just read in the top bag.
    void AddEntry(TavPropertyValue* v) {
        OpenBag& top = Top();
        if (AtCallers()) {
            AddToCallersBag(top.bag, &top.name, v);
            TavPropertyValueDestruct(v);
        } else {
            InsertTaken(top.bag, &top.name, v);
        }
    }

private:
    // After Reserve.
    void Push(TavProperties* bag) {
        OpenBag& item = items_.Above();
        item.bag = bag;
        TavStringConstructDefault(&item.name, ReaderAllocator());
        items_.Push();
    }

    TavProperties* Pop() {
        OpenBag& item = items_.Top();
        TavStringDestruct(&item.name);
        items_.Pop();
        return item.bag;
    }

    // The records hold no pointer into themselves, so they move bytewise.
    tav::WalkStack<OpenBag, 16> items_;
};

// ---- entries -------------------------------------------------------------------

// The longest run of name characters, into name.
TavBool ReadPropertyName(const char** p, TavString* name) {
    const char* end = *p;
    while (IsNameChar(*end)) ++end;
    if (end == *p || TavStringAssignRange(name, *p, end) == nullptr) return TAV_FALSE;
    *p = end;
    return TAV_TRUE;
}

// Leaf values read from text are never settable.
TavBool ReadBool(const char** p, OpenBags* open) {
    if (!MatchChar(p, '=') || (**p != 'T' && **p != 'F')) return TAV_FALSE;
    TavPropertyValue v;
    open->AddEntry(TavPropertyValueConstructBool(&v, **p == 'T', TAV_FALSE));
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

// The low 32 bits of what TavStrToInt32 gives for [+-]digits: worked out
// here when the digits can't overflow 64 bits (the usual case, without a
// call), else by TavStrToInt32 itself, whose 64-bit conversion saturates.
TavInt LowBitsOf(const char* start, const char* end) {
    const char* digits = start + (*start == '+' || *start == '-');
    if (end - digits > 18) return TavStrToInt32(start, nullptr, 10);
    TavUint64 magnitude = 0;
    for (const char* d = digits; d < end; ++d) magnitude = magnitude * 10 + TavUint64(*d - '0');
    const TavUint64 value = *start == '-' ? TavUint64{0} - magnitude : magnitude;
    return static_cast<TavInt>(static_cast<TavUint32>(value));
}

// A number with a point is a Float64; without, its low 32 bits make an Int
// when it was signed and a Uint otherwise. The conversion must stop exactly
// where the scan did; null when it doesn't.
TavPropertyValue* MakeNumber(TavPropertyValue* v, const char* start, const char* end,
                             bool hasPoint) {
    if (hasPoint) {
        const char* stop = nullptr;
        TavBool error = TAV_FALSE;
        const TavFloat64 f = TavStrToFloat64(start, &stop, &error);
        return stop == end && !error ? TavPropertyValueConstructFloat64(v, f, TAV_FALSE) : nullptr;
    }
    const TavInt i = LowBitsOf(start, end);
    if (*start == '+' || *start == '-') return TavPropertyValueConstructInt(v, i, TAV_FALSE);
    return TavPropertyValueConstructUint(v, static_cast<TavUint>(i), TAV_FALSE);
}

TavBool ReadNumber(const char** p, OpenBags* open) {
    if (!MatchChar(p, '=')) return TAV_FALSE;
    bool hasPoint = false;
    const char* end = ScanNumber(*p, &hasPoint);
    TavPropertyValue v;
    if (end == *p || MakeNumber(&v, *p, end, hasPoint) == nullptr) return TAV_FALSE;
    open->AddEntry(&v);
    *p = end;
    return TAV_TRUE;
}

// A quoted run of printable characters; there are no escapes. When the text
// can't be copied the entry is left out and reading goes on.
TavBool ReadString(const char** p, OpenBags* open) {
    if (!MatchChar(p, '=') || !MatchChar(p, '"')) return TAV_FALSE;
    const char* end = *p;
    while (IsStringChar(*end)) ++end;
    if (*end != '"') return TAV_FALSE;
    TavPropertyValue v;
    v.settable = TAV_FALSE;
    v.type = TAV_PROPERTYVALUE_TYPE_String;
    if (TavStringConstructRange(&v.u.s, *p, end, ReaderAllocator()) != nullptr) open->AddEntry(&v);
    *p = end + 1;
    return TAV_TRUE;
}

// "=" and a leaf value. The character after the "=" tells which form alone
// can match (a boolean starts with T or F, a string with a quote, anything
// else can only be a number), which reads it on its own copy of the position.
TavBool ReadPropertyValue(const char** p, OpenBags* open) {
    using ReadForm = TavBool (*)(const char**, OpenBags*);
    const char first = **p == '=' ? (*p)[1] : '\0';
    const ReadForm read = first == 'T' || first == 'F' ? ReadBool
                          : first == '"'               ? ReadString
                                                       : ReadNumber;
    const char* q = *p;
    if (!read(&q, open)) return TAV_FALSE;
    *p = q;
    return TAV_TRUE;
}

enum class Entry { Failed, Added, Opened };

// One entry of the innermost open bag: a name, then either a leaf value, added
// at once, or "{", which opens a nested bag whose entries come next.
Entry ReadProperty(const char** p, OpenBags* open) {
    if (!ReadPropertyName(p, &open->Top().name)) return Entry::Failed;
    if (MatchChar(p, '{')) return open->Open() ? Entry::Opened : Entry::Failed;
    return ReadPropertyValue(p, open) ? Entry::Added : Entry::Failed;
}

enum class Next { Entry, End, Failed };

// What follows a whole entry: "," and another entry of the same bag, or "}"
// closing the innermost bag (which is then whole and goes to the bag below),
// or, in the caller's bag, the end of the list.
Next ReadClosings(const char** p, OpenBags* open) {
    for (;;) {
        if (MatchChar(p, ',')) return Next::Entry;
        if (open->AtCallers()) return Next::End;
        if (!MatchChar(p, '}')) return Next::Failed;
        open->Close();
    }
}

// entry ("," entry)*, where an entry may open a nested list in braces. The
// grammar needs one character of look-ahead, so the first failure rejects
// the text: what was added to the caller's bag stays, the open bags go.
TavBool ReadProperties(const char** p, TavProperties* props) {
    OpenBags open(props);
    for (;;) {
        const Entry entry = ReadProperty(p, &open);
        if (entry == Entry::Failed) return TAV_FALSE;
        if (entry == Entry::Opened) continue;
        const Next next = ReadClosings(p, &open);
        if (next != Next::Entry) return next == Next::End;
    }
}

}  // namespace

extern "C" TavBool TavPropertiesReadFromString(TavProperties* props, const char* s) {
    const char* p = s;
    return ReadProperties(&p, props) && *p == '\0';
}
