// Human-readable dump of a bag or a value to a file, for logs and debugging:
// one line per entry, "name(type): value,". Not meant to be read back.
#include <string_view>

#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/text/TavTextCommon.hpp"

namespace {

// Type names of the leaf kinds, indexed by CompactKindIndex.
constexpr const char* kTypeName[] = {
    "TavBool",       "TavInt",         "TavInt16",        "TavInt64",     "TavUint",
    "TavUint16",     "TavUint64",      "TavSizeT",        "float32",      "float64",
    "TavTime",       "TavResolution",  "TavMediaFormat",  "TavVoidPtr",   "TavString",
    "TavSharedVoidPtr", "TavWeakVoidPtr", "TavSharedPtr", "TavWeakPtr",   "Wrapper"};
static_assert(std::size(kTypeName) == TAV_PROPERTYVALUE_TYPE_Wrapper - 1);

constexpr tav::text::FloatDigits kFloatDigits = {2, 5};

// The prefix of the level below: the caller's prefix and one more tab, made
// with the allocator of what is being walked. ok() is false when it could
// not be made; that level's contents are then left out.
class DeeperPrefix {
public:
    DeeperPrefix(const char* tabs, TavAllocator* a)
        : ok_(TavStringConstructCStr(&str_, tabs, a) != nullptr) {
        if (ok_ && TavStringAppendChar(&str_, '\t') == nullptr) Release();
    }
    ~DeeperPrefix() { Release(); }
    DeeperPrefix(const DeeperPrefix&) = delete;
    DeeperPrefix& operator=(const DeeperPrefix&) = delete;
    bool ok() const { return ok_; }
    const char* c_str() const { return str_.buf; }

private:
    void Release() {
        if (ok_) TavStringDestruct(&str_);
        ok_ = false;
    }
    TavString str_;
    bool ok_;
};

// "name: {" ... "}," around a vector, "name: [" ... "]," around a nested bag.
void PrintFramed(const TavString* name, const TavPropertyValue* v, TavFile* file,
                 const char* tabs, const DeeperPrefix& deeper, char open, char close) {
    TavFilePrintf(file, "%s%s: %c\n", tabs, name->buf, open);
    if (deeper.ok()) TavPropertyValuePrint(v, file, deeper.c_str());
    TavFilePrintf(file, "%s%c,\n", tabs, close);
}

void PrintEntry(const TavString* name, const TavPropertyValue* v, TavFile* file,
                const char* tabs, TavAllocator* a) {
    const DeeperPrefix deeper(tabs, a);
    switch (v->type) {
        case TAV_PROPERTYVALUE_TYPE_Vector: PrintFramed(name, v, file, tabs, deeper, '{', '}'); break;
        case TAV_PROPERTYVALUE_TYPE_Properties:
            PrintFramed(name, v, file, tabs, deeper, '[', ']');
            break;
        default:
            TavFilePrintf(file, "%s%s(%s): ", tabs, name->buf,
                          kTypeName[tav::text::CompactKindIndex(v->type)]);
            TavPropertyValuePrint(v, file, deeper.ok() ? deeper.c_str() : tabs);
            TavFilePrintf(file, ",\n");
            break;
    }
}

void PrintElements(const TavVector_TavPropertyValue* vec, TavFile* file, const char* tabs) {
    const DeeperPrefix deeper(tabs, TavVector_TavPropertyValueGetAllocator(vec));
    if (!deeper.ok()) return;
    for (const TavPropertyValue* e = vec->begin; e != vec->end; ++e) {
        TavFilePrintf(file, "%s", deeper.c_str());
        TavPropertyValuePrint(e, file, deeper.c_str());
        TavFilePrintf(file, ",\n");
    }
}

void PrintNestedBag(const TavProperties* bag, TavFile* file, const char* tabs) {
    if (bag == nullptr) return;
    const DeeperPrefix deeper(tabs, TavPropertiesGetAllocator(bag));
    if (deeper.ok()) TavPropertiesPrint(bag, file, deeper.c_str());
}

void PrintScalar(const TavPropertyValue* v, TavFile* file) {
    tav::text::ScalarBuffer buf;
    const std::string_view text = tav::text::ScalarText(v, kFloatDigits, buf).text;
    TavFilePrintf(file, "%.*s", static_cast<int>(text.size()), text.data());
}

}  // namespace

extern "C" {

void TavPropertiesPrint(const TavProperties* x, TavFile* file, const char* tabs) {
    tav::LockGuard lock(x);
    TavAllocator* a = TavPropertiesGetAllocator(x);
    tav::text::ForEachEntry(x, [&](const TavString* name, const TavPropertyValue* v) {
        PrintEntry(name, v, file, tabs, a);
        return true;
    });
}

void TavPropertyValuePrint(const TavPropertyValue* x, TavFile* file, const char* tabs) {
    switch (x->type) {
        case TAV_PROPERTYVALUE_TYPE_Vector: PrintElements(&x->u.vec, file, tabs); break;
        case TAV_PROPERTYVALUE_TYPE_Properties: PrintNestedBag(x->u.p, file, tabs); break;
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
        default: PrintScalar(x, file); break;
    }
}

}  // extern "C"
