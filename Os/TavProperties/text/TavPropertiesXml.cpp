// Line-oriented XML-like text of a bag: one <value> element per leaf, a pair
// of lines around every nested bag and vector, tab-indented by depth. Meant
// for people and simple tools: nothing is escaped and there is no root.
#include <string_view>

#include "Os/TavProperties/detail/TavGuards.hpp"
#include "Os/TavProperties/text/TavTextCommon.hpp"
#include "Os/TavProperties/text/TavTextWalk.hpp"

namespace {

using tav::text::CText;
using tav::text::Item;
using tav::text::Step;
using tav::text::StringSink;

constexpr tav::text::FloatDigits kFloatDigits = {6, 6};

// The indentation of the top bag's entries: one tab in a record that owns no
// buffer (capacity 0), so copies of it may be used freely and never freed.
const TavString kTopTabs = {&tavAllocator_, const_cast<char*>("\t"), 1, 0};

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

std::string_view ElementOf(const TavPropertyValue* container) {
    return container->type == TAV_PROPERTYVALUE_TYPE_Vector ? "vector" : "properties";
}

// <element name="n">, or without the name for an element of a vector.
void PutOpening(const Item& item, const TavString* tabs, StringSink& xml) {
    xml.Put(CText(tabs));
    xml.Put('<');
    xml.Put(ElementOf(item.value));
    if (item.name != nullptr) PutNameAttribute(item.name, xml);
    xml.Put(">\n");
}

// </element> <!-- n -->, or without the comment for an element of a vector.
void PutClosing(const Item& item, const TavString* tabs, StringSink& xml) {
    xml.Put(CText(tabs));
    xml.Put("</");
    xml.Put(ElementOf(item.value));
    xml.Put('>');
    if (item.name != nullptr) {
        xml.Put(" <!-- ");
        xml.Put(CText(item.name));
        xml.Put(" -->");
    }
    xml.Put('\n');
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
    xml.Put(tav::text::WordsOf(value->type).xml);
    xml.Put("\">");
    PutLeafBody(value, xml);
    xml.Put("</value>\n");
}

// The indentation of an open container's contents.
struct XmlLevel {
    TavString tabs;
};

// Hooks of the shared walk (see TavTextWalk.hpp). A container whose deeper
// indentation can't be made, or that lies beyond the nesting limit or the
// walk's memory, is left out entirely (no opening or closing line). The walk
// stops once an append to the output has failed.
class XmlWriter {
public:
    using State = XmlLevel;
    static constexpr std::size_t kNestingLimit = tav::text::kIndentedNestingLimit;

    explicit XmlWriter(StringSink& xml) : xml_(xml) {}

    bool Leaf(const Item& item, const XmlLevel& parent) {
        PutLeaf(item.name, item.value, &parent.tabs, xml_);
        return xml_.ok();
    }

    Step Open(const Item& item, const XmlLevel& parent, bool room, XmlLevel* child) {
        if (!room || !MakeDeeper(&parent.tabs, &child->tabs)) return Step::Skip;
        PutOpening(item, &parent.tabs, xml_);
        return Step::Enter;
    }

    bool Close(const Item& item, XmlLevel& child, const XmlLevel& parent) {
        PutClosing(item, &parent.tabs, xml_);
        TavStringDestruct(&child.tabs);
        return xml_.ok();
    }

    void Abandon(XmlLevel& child) { TavStringDestruct(&child.tabs); }

private:
    StringSink& xml_;
};

}  // namespace

// The entries of the top bag, under its lock for the whole walk, each with
// one tab before it; nothing encloses them. Bags and vectors nested more than
// kIndentedNestingLimit (4,096) deep are left out; the walk's frames beyond
// the first few come from the bag's allocator.
extern "C" const TavString* TavPropertiesToXml(const TavProperties* x, TavString* xml) {
    StringSink sink(xml);
    {
        tav::LockGuard lock(x);
        XmlWriter writer(sink);
        tav::text::Walker<XmlWriter>::Walk(writer, TavPropertiesGetAllocator(x),
                                           tav::text::Cursor::OfBag(x), XmlLevel{kTopTabs});
    }
    sink.Flush();
    return xml;
}
