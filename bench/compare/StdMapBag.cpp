#include "StdMapBag.hpp"

#include <charconv>
#include <cmath>

namespace cmp {

using Lock = std::lock_guard<std::recursive_mutex>;

StdMapBag::StdMapBag(const StdMapBag& other) {
    Lock lock(other.mutex_);
    root_ = other.root_;
}

void StdMapBag::SetInt(const std::string& name, std::int64_t v) {
    Lock lock(mutex_);
    root_[name].v = v;
}

std::int64_t StdMapBag::GetInt(const std::string& name) const {
    Lock lock(mutex_);
    auto it = root_.find(name);
    if (it == root_.end()) return -1;
    const auto* i = std::get_if<std::int64_t>(&it->second.v);
    return i != nullptr ? *i : -1;
}

// The value under `part` in tree, created empty when missing.
static MapValue& Slot(MapTree& tree, std::string_view part) {
    auto it = tree.lower_bound(part);
    if (it == tree.end() || it->first != part) it = tree.emplace_hint(it, std::string(part), MapValue{});
    return it->second;
}

void StdMapBag::SetPath(const Path& path, std::int64_t v) {
    Lock lock(mutex_);
    std::string_view rest = path.dotted;
    MapTree* tree = &root_;
    for (std::size_t dot; (dot = rest.find('.')) != std::string_view::npos; rest.remove_prefix(dot + 1)) {
        MapValue& slot = Slot(*tree, rest.substr(0, dot));
        if (!std::holds_alternative<MapTree>(slot.v)) slot.v = MapTree{};
        tree = &std::get<MapTree>(slot.v);
    }
    Slot(*tree, rest).v = v;
}

std::int64_t StdMapBag::GetPath(const Path& path) const {
    Lock lock(mutex_);
    std::string_view rest = path.dotted;
    const MapTree* tree = &root_;
    for (std::size_t dot; (dot = rest.find('.')) != std::string_view::npos; rest.remove_prefix(dot + 1)) {
        auto it = tree->find(rest.substr(0, dot));
        if (it == tree->end() || !std::holds_alternative<MapTree>(it->second.v)) return -1;
        tree = &std::get<MapTree>(it->second.v);
    }
    auto it = tree->find(rest);
    if (it == tree->end()) return -1;
    const auto* i = std::get_if<std::int64_t>(&it->second.v);
    return i != nullptr ? *i : -1;
}

bool StdMapBag::Remove(const std::string& name) {
    Lock lock(mutex_);
    return root_.erase(name) != 0;
}

void StdMapBag::Build(const Tree& tree) {
    Lock lock(mutex_);
    for (const Group& g : tree) {
        MapTree& nested = std::get<MapTree>(root_[g.name].v = MapTree{});
        for (const Leaf& leaf : g.leaves)
            std::visit([&](const auto& x) { nested[leaf.name].v = x; }, leaf.value);
    }
}

// ---- JSON out ---------------------------------------------------------

static void WriteString(std::string& out, std::string_view s) {
    out += '"';
    for (char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            static const char kHex[] = "0123456789abcdef";
            out += "\\u00";
            out += kHex[(c >> 4) & 0xf];
            out += kHex[c & 0xf];
        } else {
            out += c;
        }
    }
    out += '"';
}

template <class Number>
static void WriteNumber(std::string& out, Number n) {
    char buf[32];
    auto end = std::to_chars(buf, buf + sizeof buf, n).ptr;
    out.append(buf, end);
}

static void WriteTree(std::string& out, const MapTree& tree);

static void WriteValue(std::string& out, const MapValue& value) {
    if (auto* b = std::get_if<bool>(&value.v)) out += *b ? "true" : "false";
    if (auto* i = std::get_if<std::int64_t>(&value.v)) WriteNumber(out, *i);
    if (auto* d = std::get_if<double>(&value.v)) {
        if (std::isfinite(*d)) WriteNumber(out, *d);
        else out += "null";
    }
    if (auto* s = std::get_if<std::string>(&value.v)) WriteString(out, *s);
    if (auto* t = std::get_if<MapTree>(&value.v)) WriteTree(out, *t);
}

static void WriteTree(std::string& out, const MapTree& tree) {
    out += '{';
    for (const auto& [name, value] : tree) {
        if (out.back() != '{') out += ',';
        WriteString(out, name);
        out += ':';
        WriteValue(out, value);
    }
    out += '}';
}

std::string StdMapBag::JsonText() const {
    Lock lock(mutex_);
    std::string out;
    WriteTree(out, root_);
    return out;
}

std::size_t StdMapBag::WriteJson() const { return JsonText().size(); }

// ---- JSON in: recursive descent over the text ----------------------------

namespace {

class JsonToMap {
public:
    JsonToMap(const char* p, const char* end) : p_(p), end_(end) {}
    bool Document(MapTree& root) { return Object(root) && (Space(), p_ == end_); }

private:
    void Space() {
        while (p_ != end_ && (*p_ == ' ' || *p_ == '\n' || *p_ == '\r' || *p_ == '\t')) ++p_;
    }
    bool Eat(char c) {
        Space();
        if (p_ == end_ || *p_ != c) return false;
        ++p_;
        return true;
    }
    bool Literal(std::string_view word) {
        if (static_cast<std::size_t>(end_ - p_) < word.size() || std::string_view(p_, word.size()) != word)
            return false;
        p_ += word.size();
        return true;
    }
    bool Object(MapTree& tree);
    bool Value(MapValue& value);
    bool String(std::string& s);
    bool Escape(std::string& s);
    bool Number(MapValue& value);

    const char* p_;
    const char* end_;
};

bool JsonToMap::Object(MapTree& tree) {
    if (!Eat('{')) return false;
    if (Eat('}')) return true;
    do {
        std::string name;
        Space();
        if (!String(name) || !Eat(':')) return false;
        if (!Value(tree[std::move(name)])) return false;
    } while (Eat(','));
    return Eat('}');
}

bool JsonToMap::Value(MapValue& value) {
    Space();
    if (p_ == end_) return false;
    switch (*p_) {
        case '{': return Object(std::get<MapTree>(value.v = MapTree{}));
        case '"': return String(std::get<std::string>(value.v = std::string{}));
        case 't': return Literal("true") && (value.v = true, true);
        case 'f': return Literal("false") && (value.v = false, true);
        default: return Number(value);
    }
}

bool JsonToMap::String(std::string& s) {
    if (p_ == end_ || *p_++ != '"') return false;
    while (p_ != end_ && *p_ != '"') {
        const char* run = p_;
        while (p_ != end_ && *p_ != '"' && *p_ != '\\') ++p_;
        s.append(run, p_);
        if (p_ != end_ && *p_ == '\\' && !Escape(s)) return false;
    }
    return p_ != end_ && *p_++ == '"';
}

// One escape after its backslash; \u of the Basic Multilingual Plane only.
bool JsonToMap::Escape(std::string& s) {
    if (++p_ == end_) return false;
    static const std::string_view kFrom = "\"\\/bfnrt", kTo = "\"\\/\b\f\n\r\t";
    if (std::size_t k = kFrom.find(*p_); k != std::string_view::npos) {
        s += kTo[k];
        ++p_;
        return true;
    }
    unsigned code = 0;
    if (*p_ != 'u' || end_ - p_ < 5 || std::from_chars(p_ + 1, p_ + 5, code, 16).ptr != p_ + 5) return false;
    p_ += 5;
    if (code < 0x80) {
        s += static_cast<char>(code);
    } else if (code < 0x800) {
        s += static_cast<char>(0xc0 | (code >> 6));
        s += static_cast<char>(0x80 | (code & 0x3f));
    } else {
        s += static_cast<char>(0xe0 | (code >> 12));
        s += static_cast<char>(0x80 | ((code >> 6) & 0x3f));
        s += static_cast<char>(0x80 | (code & 0x3f));
    }
    return true;
}

bool JsonToMap::Number(MapValue& value) {
    std::int64_t i = 0;
    auto r = std::from_chars(p_, end_, i);
    if (r.ec == std::errc() && (r.ptr == end_ || (*r.ptr != '.' && *r.ptr != 'e' && *r.ptr != 'E'))) {
        value.v = i;
        p_ = r.ptr;
        return true;
    }
    double d = 0;
    auto rd = std::from_chars(p_, end_, d);
    if (rd.ec != std::errc()) return false;
    value.v = d;
    p_ = rd.ptr;
    return true;
}

}  // namespace

bool StdMapBag::ReadJson(const std::string& text) {
    MapTree read;
    if (!JsonToMap(text.data(), text.data() + text.size()).Document(read)) return false;
    Lock lock(mutex_);
    root_ = std::move(read);
    return true;
}

}  // namespace cmp
