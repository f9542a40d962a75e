// RapidJSON as a property bag: a Document (its pool allocator) of objects.
// Its objects keep members in an array, so a lookup by name is a linear scan:
// that is the library as users get it.
#ifndef TAV_BENCH_COMPARE_RAPIDJSON_HPP
#define TAV_BENCH_COMPARE_RAPIDJSON_HPP

#include <rapidjson/document.h>
#include <rapidjson/pointer.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "Data.hpp"

namespace cmp {

class RapidJson {
public:
    static constexpr const char* kName = "RapidJSON";
    static constexpr bool kLinearLookup = true;
    RapidJson() { doc_.SetObject(); }
    RapidJson(const RapidJson& other) { doc_.CopyFrom(other.doc_, doc_.GetAllocator()); }
    RapidJson& operator=(const RapidJson&) = delete;

    void SetInt(const std::string& name, std::int64_t v) {
        auto it = doc_.FindMember(Ref(name));
        if (it != doc_.MemberEnd()) {
            it->value.SetInt64(v);
            return;
        }
        doc_.AddMember(Copy(name), rapidjson::Value(v), doc_.GetAllocator());
    }
    std::int64_t GetInt(const std::string& name) const {
        auto it = doc_.FindMember(Ref(name));
        return it != doc_.MemberEnd() ? it->value.GetInt64() : -1;
    }
    void SetPath(const Path& path, std::int64_t v) {
        rapidjson::Pointer(path.pointer.c_str()).Set(doc_, static_cast<int64_t>(v));
    }
    std::int64_t GetPath(const Path& path) const {
        const rapidjson::Value* v = rapidjson::Pointer(path.pointer.c_str()).Get(doc_);
        return v != nullptr ? v->GetInt64() : -1;
    }
    void Build(const Tree& tree) {
        auto& alloc = doc_.GetAllocator();
        for (const Group& g : tree) {
            rapidjson::Value nested(rapidjson::kObjectType);
            for (const Leaf& leaf : g.leaves)
                nested.AddMember(Copy(leaf.name), std::visit([&](const auto& x) { return Of(x); }, leaf.value),
                                 alloc);
            doc_.AddMember(Copy(g.name), nested, alloc);
        }
    }
    std::size_t WriteJson() const {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        doc_.Accept(writer);
        return buffer.GetSize();
    }
    bool ReadJson(const std::string& text) {
        doc_.Parse(text.data(), text.size());
        return !doc_.HasParseError() && doc_.IsObject();
    }

private:
    static rapidjson::Value::StringRefType Ref(const std::string& s) {
        return rapidjson::StringRef(s.data(), static_cast<rapidjson::SizeType>(s.size()));
    }
    rapidjson::Value Copy(const std::string& s) {
        return rapidjson::Value(s.data(), static_cast<rapidjson::SizeType>(s.size()), doc_.GetAllocator());
    }
    rapidjson::Value Of(std::int64_t v) { return rapidjson::Value(static_cast<int64_t>(v)); }
    rapidjson::Value Of(double v) { return rapidjson::Value(v); }
    rapidjson::Value Of(const std::string& v) { return Copy(v); }

    rapidjson::Document doc_;
};

}  // namespace cmp

#endif
