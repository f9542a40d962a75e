// The data every contender gets, built once: names, three-level paths and the
// 10,000-entry tree (100 nested bags of 50 ints, doubles and short strings).
#ifndef TAV_BENCH_COMPARE_DATA_HPP
#define TAV_BENCH_COMPARE_DATA_HPP

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace cmp {

// A path in the two spellings the contenders take: "g3.s5.k17" and the JSON
// pointer "/g3/s5/k17".
struct Path {
    std::string dotted;
    std::string pointer;
};

using LeafValue = std::variant<std::int64_t, double, std::string>;

struct Leaf {
    std::string name;
    LeafValue value;
};

struct Group {
    std::string name;
    std::vector<Leaf> leaves;
};

using Tree = std::vector<Group>;

// "k0000000", "k0000001", ...: n distinct plain names.
std::vector<std::string> PlainNames(std::size_t n);
// Every "g<a>.s<b>.k<c>" for a, b < 10 and c < 10: 1,000 paths.
std::vector<Path> ThreeLevelPaths();
Tree MakeTree(int groups, int leavesPerGroup);
std::size_t LeafCount(const Tree& tree);
// The tree in the one-line syntax: g00{i0=0,d1=1.5,s2="s2",...},...
std::string OneLineText(const Tree& tree);

}  // namespace cmp

#endif
