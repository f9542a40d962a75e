// Line-oriented XML-like text of a bag: one <value> element per leaf, a pair
// of lines around every nested bag and vector, tab-indented by depth. Meant
// for people and simple tools: nothing is escaped and there is no root.
#include <string_view>

#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/text/TavTextCommon.hpp"

namespace {

using tav::text::CText;
using tav::text::StringSink;

// Type words of the leaf kinds, indexed by CompactKindIndex.
constexpr std::string_view kTypeWord[] = {
    "bool",       "int",        "int16",        "int64",      "uint",
    "uint16",     "uint64",     "size_t",       "TavFloat32", "TavFloat64",
    "TavTime",    "resolution", "media_format", "ptr",        "string",
    "shared_ptr", "weak_ptr",   "shared_ptr",   "weak_ptr",   "wrapper"};
static_assert(std::size(kTypeWord) == TAV_PROPERTYVALUE_TYPE_Wrapper - 1);

constexpr tav::text::FloatDigits kFloatDigits = {6, 6};

// The indentation of the top bag's entries: one tab in a record that owns no
// buffer (capacity 0), so copies of it may be used freely and never freed.
const TavString kTopTabs = {&tavAllocator_, const_cast<char*>("\t"), 1, 0};

void TavPropertiesToXml_(const TavProperties* x, const TavString* tabs, StringSink& xml);

// The indentation of a container's contents: its own plus one tab.
bool MakeDeeper(const TavString* tabs, TavString* deeper) {
    if (TavStringConstructCopy(deeper, tabs) == nullptr) return false;
    if (TavStringAppendChar(deeper, '\t') != nullptr) return true;
    TavStringDestruct(deeper);
    return false;
}

void PutNameAttribute(const TavString* name, StringSink& xml) {
    xml.Put(" name=\"");
    xml.Put(CText(name));
    xml.Put('"');
}

// <element name="n"> ... </element> <!-- n -->, or without name and comment
// for an element of a vector. A container whose deeper indentation can't be
// made is left out entirely.
template <class Contents>
void PutContainer(const TavString* name, std::string_view element, const TavString* tabs,
                  StringSink& xml, Contents&& contents) {
    TavString deeper;
    if (!MakeDeeper(tabs, &deeper)) return;
    xml.Put(CText(tabs));
    xml.Put('<');
    xml.Put(element);
    if (name != nullptr) PutNameAttribute(name, xml);
    xml.Put(">\n");
    contents(&deeper);
    xml.Put(CText(tabs));
    xml.Put("</");
    xml.Put(element);
    xml.Put('>');
    if (name != nullptr) {
        xml.Put(" <!-- ");
        xml.Put(CText(name));
        xml.Put(" -->");
    }
    xml.Put('\n');
    TavStringDestruct(&deeper);
}

void PutLeafBody(const TavPropertyValue* value, StringSink& xml) {
    tav::text::ScalarBuffer buf;
    switch (value->type) {
        case TAV_PROPERTYVALUE_TYPE_String: xml.Put(CText(&value->u.s)); break;
        case TAV_PROPERTYVALUE_TYPE_Resolution:
            xml.Put("<width>");
            xml.Put(tav::text::SizeText(value->u.res.width, buf));
            xml.Put("</width><height>");
            xml.Put(tav::text::SizeText(value->u.res.height, buf));
            xml.Put("</height>");
            break;
        default: xml.Put(tav::text::ScalarText(value, kFloatDigits, buf).text); break;
    }
}

void PutLeaf(const TavString* name, const TavPropertyValue* value, const TavString* tabs,
             StringSink& xml) {
    xml.Put(CText(tabs));
    xml.Put("<value");
    if (name != nullptr) PutNameAttribute(name, xml);
    xml.Put(" type=\"");
    xml.Put(kTypeWord[tav::text::CompactKindIndex(value->type)]);
    xml.Put("\">");
    PutLeafBody(value, xml);
    xml.Put("</value>\n");
}

void TavPropertyValueToXml_(const TavString* name, const TavPropertyValue* value,
                            const TavString* tabs, StringSink& xml) {
    switch (value->type) {
        case TAV_PROPERTYVALUE_TYPE_Properties:
            PutContainer(name, "properties", tabs, xml, [&](const TavString* deeper) {
                if (value->u.p != nullptr) TavPropertiesToXml_(value->u.p, deeper, xml);
            });
            break;
        case TAV_PROPERTYVALUE_TYPE_Vector:
            PutContainer(name, "vector", tabs, xml, [&](const TavString* deeper) {
                const TavVector_TavPropertyValue& vec = value->u.vec;
                for (const TavPropertyValue* e = vec.begin; e != vec.end && xml.ok(); ++e) {
                    TavPropertyValueToXml_(nullptr, e, deeper, xml);
                }
            });
            break;
        default: PutLeaf(name, value, tabs, xml); break;
    }
}

// The entries of x, each with tabs before it, under x's lock.
void TavPropertiesToXml_(const TavProperties* x, const TavString* tabs, StringSink& xml) {
    tav::LockGuard lock(x);
    tav::text::ForEachEntry(x, [&](const TavString* name, const TavPropertyValue* v) {
        TavPropertyValueToXml_(name, v, tabs, xml);
        return xml.ok();
    });
}

}  // namespace

extern "C" const TavString* TavPropertiesToXml(const TavProperties* x, TavString* xml) {
    const TavString tabs = kTopTabs;
    StringSink sink(xml);
    TavPropertiesToXml_(x, &tabs, sink);
    sink.Flush();
    return xml;
}
