// nlohmann::json as a property bag: an object of objects, paths as JSON pointers.
#ifndef TAV_BENCH_COMPARE_NLOHMANN_HPP
#define TAV_BENCH_COMPARE_NLOHMANN_HPP

#include <nlohmann/json.hpp>

#include "Data.hpp"

namespace cmp {

class Nlohmann {
public:
    static constexpr const char* kName = "nlohmann::json";
    Nlohmann() = default;
    Nlohmann(const Nlohmann& other) : j_(other.j_) {}
    Nlohmann& operator=(const Nlohmann&) = delete;

    void SetInt(const std::string& name, std::int64_t v) { j_[name] = v; }
    std::int64_t GetInt(const std::string& name) const { return j_.at(name).get<std::int64_t>(); }
    void SetPath(const Path& path, std::int64_t v) { j_[nlohmann::json::json_pointer(path.pointer)] = v; }
    std::int64_t GetPath(const Path& path) const {
        return j_.at(nlohmann::json::json_pointer(path.pointer)).get<std::int64_t>();
    }
    bool Remove(const std::string& name) { return j_.erase(name) != 0; }
    void Build(const Tree& tree) {
        for (const Group& g : tree) {
            nlohmann::json& nested = j_[g.name];
            for (const Leaf& leaf : g.leaves)
                std::visit([&](const auto& x) { nested[leaf.name] = x; }, leaf.value);
        }
    }
    std::size_t WriteJson() const { return j_.dump().size(); }
    bool ReadJson(const std::string& text) {
        j_ = nlohmann::json::parse(text);
        return j_.is_object();
    }

private:
    nlohmann::json j_ = nlohmann::json::object();
};

}  // namespace cmp

#endif
