// Boost.PropertyTree: every value is held as text and converted through a
// stream on put and get; paths are its own dotted form.
#ifndef TAV_BENCH_COMPARE_BOOSTTREE_HPP
#define TAV_BENCH_COMPARE_BOOSTTREE_HPP

#include <sstream>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include "Data.hpp"

namespace cmp {

class BoostTree {
public:
    static constexpr const char* kName = "Boost.PropertyTree";
    BoostTree() = default;
    BoostTree(const BoostTree& other) : pt_(other.pt_) {}
    BoostTree& operator=(const BoostTree&) = delete;

    void SetInt(const std::string& name, std::int64_t v) { pt_.put(name, v); }
    std::int64_t GetInt(const std::string& name) const { return pt_.get<std::int64_t>(name); }
    void SetPath(const Path& path, std::int64_t v) { pt_.put(path.dotted, v); }
    std::int64_t GetPath(const Path& path) const { return pt_.get<std::int64_t>(path.dotted); }
    bool Remove(const std::string& name) { return pt_.erase(name) != 0; }
    void Build(const Tree& tree) {
        for (const Group& g : tree) {
            auto& nested = pt_.put_child(g.name, boost::property_tree::ptree());
            for (const Leaf& leaf : g.leaves)
                std::visit([&](const auto& x) { nested.put(leaf.name, x); }, leaf.value);
        }
    }
    std::size_t WriteJson() const {
        std::ostringstream out;
        boost::property_tree::write_json(out, pt_, false);
        return out.str().size();
    }
    bool ReadJson(const std::string& text) {
        std::istringstream in(text);
        boost::property_tree::read_json(in, pt_);
        return true;
    }

private:
    boost::property_tree::ptree pt_;
};

}  // namespace cmp

#endif
