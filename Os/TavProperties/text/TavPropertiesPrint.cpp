// Human-readable dump of a bag or a value to a file, for logs and debugging:
// one line per entry, "name(type): value,". Not meant to be read back.
#include <string_view>

#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/text/TavTextCommon.hpp"
#include "Os/TavProperties/text/TavTextWalk.hpp"

namespace {

using tav::text::Item;
using tav::text::Step;

constexpr tav::text::FloatDigits kFloatDigits = {2, 5};

// A prefix one tab longer than another, made with the allocator of what is
// being walked; ok is false when it could not be made, and then there is
// nothing to release.
struct Prefix {
    TavString str;
    bool ok;
};

void ReleasePrefix(Prefix* p) {
    if (p->ok) TavStringDestruct(&p->str);
    p->ok = false;
}

Prefix MakePrefix(const char* tabs, TavAllocator* a) {
    Prefix p;
    p.ok = TavStringConstructCStr(&p.str, tabs, a) != nullptr;
    if (p.ok && TavStringAppendChar(&p.str, '\t') == nullptr) ReleasePrefix(&p);
    return p;
}

// The text of a value of any kind but Properties and Vector.
void PrintLeaf(const TavPropertyValue* x, TavFile* file) {
    switch (x->type) {
        case TAV_PROPERTYVALUE_TYPE_Resolution:
            TavFilePrintf(file, "%zux%zu", static_cast<size_t>(x->u.res.width),
                          static_cast<size_t>(x->u.res.height));
            break;
        case TAV_PROPERTYVALUE_TYPE_VoidPtr: TavFilePrintf(file, "%p", x->u.vp); break;
        case TAV_PROPERTYVALUE_TYPE_String: TavFilePrintf(file, "\"%s\"", x->u.s.buf); break;
        // Kinds without a printable value: only their name and type are shown.
        case TAV_PROPERTYVALUE_TYPE_MediaFormat:
        case TAV_PROPERTYVALUE_TYPE_SharedVoidPtr:
        case TAV_PROPERTYVALUE_TYPE_WeakVoidPtr:
        case TAV_PROPERTYVALUE_TYPE_SharedPtr:
        case TAV_PROPERTYVALUE_TYPE_WeakPtr:
        case TAV_PROPERTYVALUE_TYPE_Wrapper: break;
        default: {
            tav::text::ScalarBuffer buf;
            const std::string_view text = tav::text::ScalarText(x, kFloatDigits, buf).text;
            TavFilePrintf(file, "%.*s", static_cast<int>(text.size()), text.data());
            break;
        }
    }
}

// An open bag or vector: the prefix of its lines and its allocator (which
// makes the prefixes of a bag's entries). A nested container owns the prefix
// of its lines and, when it is a bag's entry, the prefix made for that entry.
struct PrintLevel {
    const char* tabs;
    TavAllocator* allocator;
    Prefix lines;
    Prefix entry;
};

// The prefix of the lines of a nested bag or vector value: tabs and one tab,
// made with that bag's or vector's allocator. False for a missing bag and
// when the prefix can't be made: the contents are then left out.
bool MakeLevel(const TavPropertyValue* container, const char* tabs, PrintLevel* level) {
    const bool isBag = container->type == TAV_PROPERTYVALUE_TYPE_Properties;
    if (isBag && container->u.p == nullptr) return false;
    TavAllocator* a = isBag ? TavPropertiesGetAllocator(container->u.p)
                            : TavVector_TavPropertyValueGetAllocator(&container->u.vec);
    level->lines = MakePrefix(tabs, a);
    level->tabs = level->lines.str.buf;
    level->allocator = a;
    return level->lines.ok;
}

// A vector is framed by braces and a nested bag by square brackets.
char Opening(const TavPropertyValue* v) {
    return v->type == TAV_PROPERTYVALUE_TYPE_Vector ? '{' : '[';
}
char Closing(const TavPropertyValue* v) {
    return v->type == TAV_PROPERTYVALUE_TYPE_Vector ? '}' : ']';
}

// Hooks of the shared walk (see TavTextWalk.hpp). A bag's entry is a line
// "name(type): value," or the frame "name: [" ... "]," (a vector: "{" ...
// "},") around the contents, which get a prefix one tab deeper made for the
// entry and one more made for the contents. A vector's element is the
// vector's prefix, the value (or the contents of a nested container) and
// ",\n". Contents whose prefix can't be made, or that lie beyond the nesting
// limit or the walk's memory, are left out; their frame is still printed.
class Printer {
public:
    using State = PrintLevel;
    static constexpr std::size_t kNestingLimit = tav::text::kIndentedNestingLimit;

    explicit Printer(TavFile* file) : file_(file) {}

    bool Leaf(const Item& item, const PrintLevel& parent) {
        if (item.name == nullptr) {
            TavFilePrintf(file_, "%s", parent.tabs);
            PrintLeaf(item.value, file_);
            TavFilePrintf(file_, ",\n");
            return true;
        }
        // Every entry gets the deeper prefix its value is printed with, though
        // a leaf's text never uses it.
        Prefix deeper = MakePrefix(parent.tabs, parent.allocator);
        const std::string_view type = tav::text::WordsOf(item.value->type).dump;
        TavFilePrintf(file_, "%s%s(%.*s): ", parent.tabs, item.name->buf,
                      static_cast<int>(type.size()), type.data());
        PrintLeaf(item.value, file_);
        TavFilePrintf(file_, ",\n");
        ReleasePrefix(&deeper);
        return true;
    }

    Step Open(const Item& item, const PrintLevel& parent, bool room, PrintLevel* child) {
        if (item.name == nullptr) {
            TavFilePrintf(file_, "%s", parent.tabs);
            if (room && MakeLevel(item.value, parent.tabs, child)) return Step::Enter;
            TavFilePrintf(file_, ",\n");
            return Step::Skip;
        }
        child->entry = MakePrefix(parent.tabs, parent.allocator);
        TavFilePrintf(file_, "%s%s: %c\n", parent.tabs, item.name->buf, Opening(item.value));
        if (child->entry.ok && room && MakeLevel(item.value, child->entry.str.buf, child)) {
            return Step::Enter;
        }
        Close(item, *child, parent);
        return Step::Skip;
    }

    bool Close(const Item& item, PrintLevel& child, const PrintLevel& parent) {
        ReleasePrefix(&child.lines);
        if (item.name == nullptr) {
            TavFilePrintf(file_, ",\n");
        } else {
            TavFilePrintf(file_, "%s%c,\n", parent.tabs, Closing(item.value));
        }
        ReleasePrefix(&child.entry);
        return true;
    }

    void Abandon(PrintLevel& child) {
        ReleasePrefix(&child.lines);
        ReleasePrefix(&child.entry);
    }

private:
    TavFile* file_;
};

void PrintContents(const tav::text::Cursor& first, const PrintLevel& level, TavFile* file,
                   TavAllocator* a) {
    Printer printer(file);
    tav::text::Walker<Printer>::Walk(printer, a, first, level);
}

}  // namespace

extern "C" {

// The whole dump holds the bag's lock. The contents of bags and vectors
// nested more than kIndentedNestingLimit (4,096) deep are left out; the
// walk's frames beyond the first few come from the bag's allocator.
void TavPropertiesPrint(const TavProperties* x, TavFile* file, const char* tabs) {
    tav::LockGuard lock(x);
    TavAllocator* a = TavPropertiesGetAllocator(x);
    PrintContents(tav::text::Cursor::OfBag(x), PrintLevel{tabs, a, {}, {}}, file, a);
}

// A nested bag is locked for its dump and a vector takes no lock; the walk
// starts from that bag or vector, and its frames come from its allocator.
void TavPropertyValuePrint(const TavPropertyValue* x, TavFile* file, const char* tabs) {
    if (!tav::text::IsContainer(x)) {
        PrintLeaf(x, file);
        return;
    }
    PrintLevel level{};
    if (MakeLevel(x, tabs, &level)) {
        if (x->type == TAV_PROPERTYVALUE_TYPE_Vector) {
            PrintContents(tav::text::Cursor::OfVector(&x->u.vec), level, file, level.allocator);
        } else {
            tav::LockGuard lock(x->u.p);
            PrintContents(tav::text::Cursor::OfBag(x->u.p), level, file, level.allocator);
        }
    }
    ReleasePrefix(&level.lines);
}

}  // extern "C"
