// GstStructure as a property bag: fields by quark, nested bags as
// GST_TYPE_STRUCTURE values (copied in and out), its own text form instead
// of JSON. It has no path API: a nested structure inside a GValue is a value,
// so a set below the top level means taking the level out and putting it back.
#ifndef TAV_BENCH_COMPARE_GST_HPP
#define TAV_BENCH_COMPARE_GST_HPP

#include <cstring>

#include <gst/gst.h>

#include "Data.hpp"

namespace cmp {

class Gst {
public:
    static constexpr const char* kName = "GstStructure";
    static constexpr bool kLinearLookup = true;
    Gst() : s_(gst_structure_new_empty("bag")) {}
    Gst(const Gst& other) : s_(gst_structure_copy(other.s_)) {}
    Gst& operator=(const Gst&) = delete;
    ~Gst() { gst_structure_free(s_); }

    void SetInt(const std::string& name, std::int64_t v) {
        gst_structure_set(s_, name.c_str(), G_TYPE_INT64, static_cast<gint64>(v), nullptr);
    }
    std::int64_t GetInt(const std::string& name) const {
        gint64 v = -1;
        gst_structure_get_int64(s_, name.c_str(), &v);
        return v;
    }
    bool Remove(const std::string& name) {
        const bool had = gst_structure_has_field(s_, name.c_str());
        gst_structure_remove_field(s_, name.c_str());
        return had;
    }
    void Build(const Tree& tree) {
        for (const Group& g : tree) {
            GstStructure* nested = gst_structure_new_empty(g.name.c_str());
            for (const Leaf& leaf : g.leaves)
                std::visit([&](const auto& x) { Store(nested, leaf.name.c_str(), x); }, leaf.value);
            gst_structure_set(s_, g.name.c_str(), GST_TYPE_STRUCTURE, nested, nullptr);
            gst_structure_free(nested);
        }
    }
    // Its own text form (not JSON), written and read back.
    std::size_t WriteText() const {
        gchar* text = gst_structure_to_string(s_);
        const std::size_t size = std::strlen(text);
        g_free(text);
        return size;
    }
    std::string Text() const {
        gchar* text = gst_structure_to_string(s_);
        std::string copy(text);
        g_free(text);
        return copy;
    }
    bool ReadText(const std::string& text) {
        GstStructure* read = gst_structure_from_string(text.c_str(), nullptr);
        if (read == nullptr) return false;
        gst_structure_free(s_);
        s_ = read;
        return true;
    }

private:
    static void Store(GstStructure* s, const char* name, std::int64_t v) {
        gst_structure_set(s, name, G_TYPE_INT64, static_cast<gint64>(v), nullptr);
    }
    static void Store(GstStructure* s, const char* name, double v) {
        gst_structure_set(s, name, G_TYPE_DOUBLE, v, nullptr);
    }
    static void Store(GstStructure* s, const char* name, const std::string& v) {
        gst_structure_set(s, name, G_TYPE_STRING, v.c_str(), nullptr);
    }

    GstStructure* s_;
};

}  // namespace cmp

#endif
