// The container a module would write for itself instead of using a library:
// nested std::maps of std::variant values under one std::recursive_mutex,
// with a small JSON writer and reader of its own. The yardstick of the
// regression guard, so it is kept plain and fair rather than tuned.
#ifndef TAV_BENCH_COMPARE_STDMAPBAG_HPP
#define TAV_BENCH_COMPARE_STDMAPBAG_HPP

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <variant>

#include "Data.hpp"

namespace cmp {

struct MapValue;
using MapTree = std::map<std::string, MapValue, std::less<>>;
struct MapValue {
    std::variant<bool, std::int64_t, double, std::string, MapTree> v;
};

class StdMapBag {
public:
    static constexpr const char* kName = "std::map";
    StdMapBag() = default;
    StdMapBag(const StdMapBag& other);  // deep copy, under other's lock
    StdMapBag& operator=(const StdMapBag&) = delete;

    void SetInt(const std::string& name, std::int64_t v);
    std::int64_t GetInt(const std::string& name) const;  // -1 when absent
    std::int64_t CopyInt(const std::string& name) const { return GetInt(name); }
    void SetPath(const Path& path, std::int64_t v);
    std::int64_t GetPath(const Path& path) const;
    bool Remove(const std::string& name);
    void Build(const Tree& tree);
    std::size_t WriteJson() const;  // bytes written
    std::string JsonText() const;
    bool ReadJson(const std::string& text);  // objects, strings, numbers, booleans; no arrays

private:
    mutable std::recursive_mutex mutex_;
    MapTree root_;
};

}  // namespace cmp

#endif
