#include "Data.hpp"

#include <cstdio>

namespace cmp {

std::vector<std::string> PlainNames(std::size_t n) {
    std::vector<std::string> names(n);
    char buf[32];
    for (std::size_t i = 0; i < n; ++i) {
        std::snprintf(buf, sizeof buf, "k%07zu", i);
        names[i] = buf;
    }
    return names;
}

std::vector<Path> ThreeLevelPaths() {
    std::vector<Path> paths;
    char dotted[32], pointer[32];
    for (int a = 0; a < 10; ++a)
        for (int b = 0; b < 10; ++b)
            for (int c = 0; c < 10; ++c) {
                std::snprintf(dotted, sizeof dotted, "g%d.s%d.k%d", a, b, c * 7 + 3);
                std::snprintf(pointer, sizeof pointer, "/g%d/s%d/k%d", a, b, c * 7 + 3);
                paths.push_back({dotted, pointer});
            }
    return paths;
}

// Entry j of a group is an int, a double (exact in binary, so every writer
// prints it the same) or a short string, in turn.
static LeafValue LeafAt(int group, int j) {
    const int v = group * 1000 + j;
    switch (j % 3) {
        case 0: return std::int64_t{v} * 7;
        case 1: return v + 0.5;
        default: {
            char text[16];
            std::snprintf(text, sizeof text, "s%d", v);
            return std::string(text);
        }
    }
}

Tree MakeTree(int groups, int leavesPerGroup) {
    static const char kKinds[] = {'i', 'd', 's'};
    Tree tree(static_cast<std::size_t>(groups));
    char name[16];
    for (int g = 0; g < groups; ++g) {
        std::snprintf(name, sizeof name, "g%02d", g);
        tree[static_cast<std::size_t>(g)].name = name;
        for (int j = 0; j < leavesPerGroup; ++j) {
            std::snprintf(name, sizeof name, "%c%d", kKinds[j % 3], j);
            tree[static_cast<std::size_t>(g)].leaves.push_back({name, LeafAt(g, j)});
        }
    }
    return tree;
}

std::size_t LeafCount(const Tree& tree) {
    std::size_t n = 0;
    for (const Group& g : tree) n += g.leaves.size();
    return n;
}

static void AppendOneLine(std::string& out, const Leaf& leaf) {
    out += leaf.name;
    out += '=';
    if (auto* i = std::get_if<std::int64_t>(&leaf.value)) out += std::to_string(*i);
    if (auto* d = std::get_if<double>(&leaf.value)) {
        char buf[32];
        std::snprintf(buf, sizeof buf, "%.1f", *d);
        out += buf;
    }
    if (auto* s = std::get_if<std::string>(&leaf.value)) {
        out += '"';
        out += *s;
        out += '"';
    }
}

std::string OneLineText(const Tree& tree) {
    std::string out;
    for (const Group& g : tree) {
        if (!out.empty()) out += ',';
        out += g.name;
        out += '{';
        for (std::size_t j = 0; j < g.leaves.size(); ++j) {
            if (j != 0) out += ',';
            AppendOneLine(out, g.leaves[j]);
        }
        out += '}';
    }
    return out;
}

}  // namespace cmp
