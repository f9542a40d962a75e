// Compiled, never run: instantiates every template of the C++ face so that
// the header is checked under the strictest flags (C++17 and C++20,
// -Wall -Wextra -Wpedantic -Werror, no exceptions, no RTTI).
#include "Os/TavProperties.hpp"

#include <array>

namespace {

struct Sink {
    template <class T>
    int operator()(const T&) const {
        return 1;
    }
};

// set<V> for each value given and get<T> for each type listed (never run: the names don't matter).
template <class... V>
bool SetEach(tav::Properties& bag, const V&... v) {
    return (bag.set("k", v) && ...);
}
template <class... T>
int GetEach(const tav::Properties& bag) {
    return (bag.get<T>("k").has_value() + ...);
}

[[maybe_unused]] int UseEverything() {
    tav::Properties bag;
    const std::array<double, 2> pair = {0.5, 1.5};
    void* pointer = &bag;
    bool ok =
        SetEach(bag, true, std::int16_t{1}, std::uint16_t{1}, 1, 1u, 1LL, 2ULL, std::size_t{3},
                tav::Size{4}, 1.0f, 1.0, tav::Time{5}, TavResolution{640, 480},
                tav::MediaFormat{TAV_MEDIAFORMAT_FOURCC('a', 'b', 'c', 'd')}, pointer, "text",
                std::string_view("view"), pair, tav::Value(7), tav::Vector()) &&
        bag.set("v", {1, 2, 3}) && bag.add("n", tav::Properties());
    int n = GetEach<bool, std::int16_t, std::uint16_t, int, unsigned, long long, std::uint64_t,
                    tav::Size, float, double, tav::Time, TavResolution, tav::MediaFormat, void*,
                    tav::String, tav::Properties, tav::Vector, tav::Value>(bag);
    for (tav::Entry e : bag.snapshot()) {
        n += static_cast<int>(e.name.size()) + e.value.visit(Sink{});
        n += e.value.as<std::string_view>().has_value() + e.value.as<tav::Properties>().has_value();
    }
    if (std::optional<tav::Names> names = bag.names())
        for (std::string_view name : *names) n += static_cast<int>(name.size());
    if (std::optional<tav::Vector> v = bag.get<tav::Vector>("v"))
        for (tav::ValueRef e : *v) n += e.as<int>().value_or(0) + e.as<tav::Vector>().has_value();
    tav::Subscription after = bag.on_change("i", [&n](std::string_view, tav::ValueRef,
                                                      tav::ValueRef v) { n += bool(v); });
    tav::Subscription before = bag.on_before_change("", [](std::string_view) {});
    TavTextError error;
    tav::Properties other(bag);
    other = bag;
    other = std::move(bag);
    ok = ok && other.merge(other) && other.from_json("{}", TAV_JSON_TYPED, &error) &&
         other.to_json(TAV_JSON_TYPED, 2).has_value() && other == other && other.contains("i") &&
         other.type_at("i").has_value() && other.remove("i") && other.ok() && bool(after);
    tav::Value value(tav::Size{1});
    tav::Value copy = value;
    copy = std::move(value);
    return n + ok + (copy == value) + copy.as<tav::Value>().has_value() +
           (other.native() != nullptr);
}

}  // namespace
