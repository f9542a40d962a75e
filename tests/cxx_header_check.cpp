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

[[maybe_unused]] int UseEverything() {
    tav::Properties bag;
    const std::array<double, 2> pair = {0.5, 1.5};
    long long wide = 1;
    unsigned long long uwide = 2;
    std::size_t size = 3;
    bool ok = bag.set("b", true) && bag.set("i16", std::int16_t{1}) &&
              bag.set("u16", std::uint16_t{1}) && bag.set("i", 1) && bag.set("u", 1u) &&
              bag.set("i64", wide) && bag.set("u64", uwide) && bag.set("size_t", size) &&
              bag.set("sz", tav::Size{4}) && bag.set("f", 1.0f) && bag.set("d", 1.0) &&
              bag.set("t", tav::Time{5}) && bag.set("r", TavResolution{640, 480}) &&
              bag.set("m", tav::MediaFormat{TAV_MEDIAFORMAT_FOURCC('a', 'b', 'c', 'd')}) &&
              bag.set("p", static_cast<void*>(&bag)) && bag.set("s", "text") &&
              bag.set("sv", std::string_view("view")) && bag.set("v", {1, 2, 3}) &&
              bag.set("a", pair) && bag.add("n", tav::Properties()) &&
              bag.set("val", tav::Value(7)) && bag.set("vec", tav::Vector());
    int n = 0;
    n += bag.get<bool>("b").has_value() + bag.get<std::int16_t>("i16").has_value() +
         bag.get<std::uint16_t>("u16").has_value() + bag.get<int>("i").has_value() +
         bag.get<unsigned>("u").has_value() + bag.get<long long>("i64").has_value() +
         bag.get<std::uint64_t>("u64").has_value() + bag.get<tav::Size>("sz").has_value() +
         bag.get<float>("f").has_value() + bag.get<double>("d").has_value() +
         bag.get<tav::Time>("t").has_value() + bag.get<TavResolution>("r").has_value() +
         bag.get<tav::MediaFormat>("m").has_value() + bag.get<void*>("p").has_value() +
         bag.get<tav::String>("s").has_value() + bag.get<tav::Properties>("n").has_value() +
         bag.get<tav::Vector>("v").has_value() + bag.get<tav::Value>("val").has_value();
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
