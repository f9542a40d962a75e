// The C++ face (Os/TavProperties.hpp): C++ types to kinds and back, paths, visits, listener
// lifetimes, copy and move, JSON both ways, and every allocation failing on the way.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "CountingAllocator.hpp"
#include "Os/TavProperties.hpp"

// Resolutions compare by their fields (found by argument lookup in the global namespace).
bool operator==(const TavResolution& a, const TavResolution& b) {
    return TavResolutionEqual(&a, &b) != 0;
}

namespace {

std::string Json(const tav::Properties& bag) { return std::string(bag.to_json().value().view()); }

// Sets v at path, reads it back as T and as a Value, and checks the kind stored.
template <class T>
void RoundTrip(tav::Properties& bag, const char* path, const T& v, TavPropertyValueType kind) {
    SCOPED_TRACE(path);
    ASSERT_TRUE(bag.set(path, v));
    EXPECT_EQ(bag.type_at(path), kind);
    EXPECT_EQ(bag.get<T>(path), v);
    const tav::Value value = bag.get<tav::Value>(path).value();
    EXPECT_EQ(value.as<T>(), v);
    EXPECT_EQ(tav::Value(v), value);
}

TEST(CxxFace, EveryKindRoundTripsThroughSetGetAndValue) {
    tav::Properties bag;
    RoundTrip(bag, "b", true, TAV_PROPERTYVALUE_TYPE_Bool);
    RoundTrip(bag, "i", -2147483647 - 1, TAV_PROPERTYVALUE_TYPE_Int);
    RoundTrip(bag, "ll", -5LL, TAV_PROPERTYVALUE_TYPE_Int64);
    RoundTrip(bag, "u64", ~std::uint64_t{0}, TAV_PROPERTYVALUE_TYPE_Uint64);
    RoundTrip(bag, "size_t", std::size_t{9}, TAV_PROPERTYVALUE_TYPE_Uint64);  // one type on LP64
    RoundTrip(bag, "sz", tav::Size{9}, TAV_PROPERTYVALUE_TYPE_SizeT);
    RoundTrip(bag, "f", 0.1f, TAV_PROPERTYVALUE_TYPE_Float32);
    RoundTrip(bag, "t", tav::Time{-40}, TAV_PROPERTYVALUE_TYPE_Time);
    RoundTrip(bag, "r", TavResolution{1920, 1080}, TAV_PROPERTYVALUE_TYPE_Resolution);
    RoundTrip(bag, "m", tav::MediaFormat{TAV_MEDIAFORMAT_FOURCC('N', 'V', '1', '2')},
              TAV_PROPERTYVALUE_TYPE_MediaFormat);
    RoundTrip(bag, "p", static_cast<void*>(&bag), TAV_PROPERTYVALUE_TYPE_VoidPtr);
    // Kinds are exact, as the C getters: no conversion between widths or signs.
    EXPECT_FALSE(bag.get<std::int64_t>("i") || bag.get<tav::Size>("size_t") ||
                 bag.get<double>("f") || bag.get<tav::String>("i"));
    // Text: from a literal, a string_view with a NUL inside, a std::string; read as a copy.
    const std::string_view withNul("a\0b", 3);
    ASSERT_TRUE(bag.set("s", "text") && bag.set("nul", withNul) &&
                bag.set("std", std::string("x")));
    EXPECT_EQ(bag.get<tav::String>("s"), std::optional<std::string_view>("text"));
    EXPECT_EQ(bag.get<tav::String>("nul")->view(), withNul);
    EXPECT_EQ(bag.get<tav::Value>("std")->as<std::string_view>(), "x");
    // Vectors from braces, any range and a tav::Vector; nested bags by value.
    ASSERT_TRUE(bag.set("v", {1, 2, 3}) && bag.set("dv", std::vector<double>{0.5}));
    tav::Vector mixed;
    ASSERT_TRUE(mixed.push_back("one") && mixed.push_back(tav::Size{2}) && bag.set("mixed", mixed));
    const tav::Vector v = bag.get<tav::Vector>("v").value();
    int sum = 0;
    for (tav::ValueRef e : v) sum += e.as<int>().value_or(100);
    EXPECT_TRUE(v.size() == 3 && sum == 6);
    EXPECT_EQ(bag.get<int>("v[2]"), 3);
    EXPECT_EQ(bag.get<tav::String>("mixed[0]"), std::optional<std::string_view>("one"));
    EXPECT_EQ(bag.get<tav::Vector>("mixed")->operator[](1).as<tav::Size>(), tav::Size{2});
    tav::Properties inner;
    ASSERT_TRUE(inner.set("x", 1) && bag.set("inner", inner) && inner.set("y", 2));
    EXPECT_EQ(Json(bag.get<tav::Properties>("inner").value()), R"({"x":1})");  // a copy
    EXPECT_FALSE(bag.get<tav::Properties>("inner.x"));
}

// The quick start; paths are the C API's (tested there): each call takes one, reports its result.
TEST(CxxFace, PathsAddSetRemoveAndNames) {
    tav::Properties bag;
    EXPECT_TRUE(bag.set("video.width", 640) && bag.add("video.height", 480));
    EXPECT_EQ(Json(bag), R"({"video":{"height":480,"width":640}})");
    EXPECT_FALSE(bag.add("video.height", 1));  // present: add refuses, value kept
    EXPECT_TRUE(bag.set("list", {1, 2}) && bag.add("list[1]", 9) && bag.remove("list[0]"));
    EXPECT_EQ(Json(bag), R"({"list":[9,2],"video":{"height":480,"width":640}})");
    EXPECT_TRUE(bag.type_at("video") == TAV_PROPERTYVALUE_TYPE_Properties && !bag.type_at("nope"));
    EXPECT_TRUE(bag.contains("video.width") && bag.remove("video.width"));
    EXPECT_FALSE(bag.contains("video.width") || bag.remove("video.width"));
    const tav::Names names = bag.names().value();
    std::string all;
    for (std::string_view n : names) all += std::string(n) + ";";
    for (const auto& [name, value] : bag.snapshot()) all += std::string(name) + (value ? ";" : "");
    EXPECT_EQ(all, "list;video;list;video;");
    EXPECT_EQ(bag.size(), 2u);
}

// Whether visit hands v over as a T.
template <class T>
bool VisitsAs(const tav::Value& v) {
    return v.visit([](const auto& x) { return std::is_same_v<std::decay_t<decltype(x)>, T>; });
}

TEST(CxxFace, ValuesVisitAsTheirCxxTypeAndCopiesCompareEqual) {
    TavSharedPtr_void none;
    TavSharedPtr_voidConstructEmpty(&none);
    TavPropertyValue shared;  // a kind with no C++ type of its own
    ASSERT_TRUE(TavPropertyValueConstructSharedVoidPtr(&shared, &none, TAV_TRUE));
    const tav::Value text("hi"), bag{tav::Properties()}, list(std::vector<int>{1, 2}),
        other(tav::ValueRef{&shared});
    TavPropertyValueDestruct(&shared);
    TavSharedPtr_voidDestruct(&none);
    for (const tav::Value* v : {&text, &bag, &list, &other})
        EXPECT_TRUE(v->ok() && tav::Value(*v) == *v);
    EXPECT_TRUE(VisitsAs<bool>(tav::Value(true)) && VisitsAs<std::int32_t>(tav::Value(3)) &&
                VisitsAs<tav::Size>(tav::Value(tav::Size{1})) && VisitsAs<std::string_view>(text) &&
                VisitsAs<TavProperties>(bag) && VisitsAs<tav::VectorRef>(list) &&
                VisitsAs<tav::ValueRef>(other));
    EXPECT_FALSE(tav::Value(3).as<bool>() || tav::ValueRef().as<int>());
}

// A listener recording its calls: tag, name, "o" when told an old value, "=new" a new one.
using Heard = std::vector<std::string>;
auto Recorder(Heard& heard, const char* tag = "") {
    return [&heard, tag](std::string_view name, tav::ValueRef old, tav::ValueRef now) {
        heard.push_back(std::string(tag) + std::string(name) + (old ? "o" : "") +
                        (now ? "=" + std::to_string(now.as<int>().value_or(-1)) : ""));
    };
}

TEST(CxxFace, SubscriptionsHearChangesUntilTheyEnd) {
    tav::Properties bag;
    Heard heard;
    {
        tav::Subscription before = bag.on_before_change("a", Recorder(heard, "B:"));
        tav::Subscription after = bag.on_change("a", Recorder(heard, "A:"));
        tav::Subscription every =
            bag.on_change("", [&](std::string_view n) { heard.push_back("*" + std::string(n)); });
        ASSERT_TRUE(before && after && every);
        EXPECT_TRUE(bag.set("a", 1) && bag.set("a", 2) && bag.set("b", 3) && bag.remove("a"));
        tav::Subscription moved = std::move(after);  // still registered, once
        EXPECT_FALSE(after);
        bag.set("a", 4);
    }
    bag.set("a", 5);  // every subscription has ended: nobody hears this
    EXPECT_EQ(TavVector_TavPropertyListenerSize(&bag.native()->listeners), 0u);
    EXPECT_EQ(heard, (Heard{"B:a=1", "A:a=1", "*a", "B:ao=2", "A:ao=2", "*a", "*b", "B:ao", "A:a",
                            "*a", "B:a=4", "A:a=4", "*a"}));
    // A listener follows its bag when moved and goes quiet with it; its Subscription may outlive
    // it.
    tav::Subscription survivor;
    heard.clear();
    {
        tav::Properties owner;
        survivor = owner.on_change("", Recorder(heard));
        tav::Properties taken(std::move(owner));
        EXPECT_FALSE(owner.ok() || owner.set("x", 1));
        taken.set("x", 1);
    }  // the bag's destruction removes x: its listeners hear that
    EXPECT_FALSE(survivor);
    survivor.reset();
    EXPECT_EQ(heard, (Heard{"x=1", "x"}));
}

TEST(CxxFace, CopiesAreIndependentAndAssignmentKeepsListeners) {
    tav::Properties a, b, c;
    Heard heard;
    tav::Subscription sub = a.on_change("", Recorder(heard));
    a.set("k", 1);
    tav::Properties copy(a);
    EXPECT_EQ(copy, a);
    copy.set("k", 2);  // the copy has no listeners and its own entries
    EXPECT_EQ(a.get<int>("k"), 1);
    EXPECT_NE(copy, a);
    ASSERT_TRUE(b.set("other", 7) && c.set("c", 1));
    a = b;  // entries replaced, listeners kept and told nothing
    EXPECT_EQ(Json(a), R"({"other":7})");
    a.set("k", 3);
    a = std::move(c);  // entries exchanged
    EXPECT_EQ(Json(a), R"({"c":1})");
    EXPECT_EQ(Json(c), R"({"k":3,"other":7})");
    a.set("k", 4);
    EXPECT_EQ(heard, (Heard{"k=1", "k=3", "k=4"}));
    tav::Properties empty(std::move(b));  // b is left !ok(); assigning revives it
    EXPECT_FALSE(b.ok() || b.get<int>("other") || b.to_json() || b.names());
    EXPECT_EQ(b, tav::Properties(std::move(b)));
    EXPECT_FALSE(a.assign(b));
    b = empty;
    EXPECT_TRUE(b.ok() && b == empty);
}

TEST(CxxFace, JsonRoundTripsAndRefusalsSayWhere) {
    tav::Properties bag, back;
    ASSERT_TRUE(bag.set("video.width", 640) && bag.set("name", "cam\n1") &&
                bag.set("rate", 29.97f));
    ASSERT_TRUE(back.from_json(bag.to_json(TAV_JSON_TYPED).value(), TAV_JSON_TYPED));
    EXPECT_EQ(back, bag);
    EXPECT_EQ(
        bag.to_json(TAV_JSON_PLAIN, 1).value(),
        "{\n \"name\": \"cam\\n1\",\n \"rate\": 29.97,\n \"video\": {\n  \"width\": 640\n }\n}");
    Heard heard;
    tav::Subscription sub = back.on_change("", Recorder(heard));
    TavTextError error{};
    EXPECT_FALSE(back.from_json("{\"a\": 1,\n \"b\": tru}", TAV_JSON_PLAIN, &error));
    EXPECT_TRUE(error.line == 2 && error.offset == 15 && error.message);  // the "t" of tru
    EXPECT_EQ(back, bag);  // refused: untouched, nobody told
    EXPECT_TRUE(heard.empty());
    EXPECT_FALSE(back.from_json(""));
}

// Runs op on a fresh bag with its k-th allocation failing, for every k until op runs through:
// `path` is stored exactly when op succeeds, the bag stays usable and every byte comes back.
template <class Op>
void SweepOnFreshBag(Op op, const char* path = nullptr) {
    tavtest::CountingAllocator alloc;
    const std::size_t points = tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        alloc.FailAt(0);
        tav::Properties bag(alloc);
        ASSERT_TRUE(bag.set("n.x", 1) && bag.set("s", "some text") && bag.set("v", {1, 2}));
        alloc.FailAt(k);
        const bool ok = op(bag);
        EXPECT_EQ(ok, !alloc.Failed()) << k;
        if (!alloc.Failed()) alloc.FailAt(0);  // disarmed for the checks: the sweep ends
        EXPECT_TRUE(!path || bag.contains(path) == ok) << k;
        EXPECT_TRUE(bag.set("after", 1) && bag.set("s", "t")) << k;  // unlocked and usable
    });
    EXPECT_GT(points, 0u);
}

TEST(CxxFace, EveryAllocationFailureLeavesAFalseResultAndNoLeak) {
    SweepOnFreshBag([](tav::Properties& b) { return b.set("n.y", "text"); }, "n.y");
    SweepOnFreshBag([](tav::Properties& b) { return b.set("w", {1, 2, 3}); }, "w");
    SweepOnFreshBag([](tav::Properties& b) { return b.from_json(R"({"j":[1,{"k":2}]})"); }, "j");
    SweepOnFreshBag([](tav::Properties& b) { return b.get<tav::String>("s").has_value(); });
    SweepOnFreshBag([](tav::Properties& b) { return b.get<tav::Properties>("n").has_value(); });
    SweepOnFreshBag([](tav::Properties& b) { return b.get<tav::Vector>("v").has_value(); });
    SweepOnFreshBag([](tav::Properties& b) { return b.get<tav::Value>("n").has_value(); });
    SweepOnFreshBag([](tav::Properties& b) { return b.names().has_value(); });
    SweepOnFreshBag([](tav::Properties& b) { return b.to_json().has_value(); });
    SweepOnFreshBag([](tav::Properties& b) { return b.snapshot().ok(); });
    SweepOnFreshBag([](tav::Properties& b) {
        tav::Properties c(b);
        return b.assign(c) && b == c;
    });
    int calls = 0;  // registered or not, the listener is gone when on_change returns
    SweepOnFreshBag([&](tav::Properties& b) {
        return bool(b.on_change("s", [&](std::string_view) { ++calls; }));
    });
    EXPECT_EQ(calls, 0);
}

}  // namespace
