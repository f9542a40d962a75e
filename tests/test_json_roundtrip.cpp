// The standard JSON writer and reader against each other on random bags of
// every kind with a text form: with the typed style a bag read back from its
// text is the same bag and writes the same bytes (NaN included, which only
// the bytes can show); with the plain style the same holds for the kinds the
// plain form maps back to themselves. A failure prints the bag's typed text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <type_traits>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

std::string Write(const TavProperties* bag, const TavJsonOptions& o) {
    TavString out;
    TavStringConstructDefault(&out, TavPropertiesGetAllocator(bag));
    const bool ok = TavPropertiesWriteJson(bag, &out, &o) == &out;
    std::string text = ok ? Text(&out) : "WRITE FAILED";
    TavStringDestruct(&out);
    return text;
}

// Reads text into the (empty) bag; the error's message on refusal.
std::string Read(TavProperties* bag, const std::string& text, const TavJsonOptions& o) {
    TavTextError error{};
    if (TavPropertiesReadJson(bag, text.data(), text.size(), &o, &error)) return "";
    return std::string(error.message) + " at " + std::to_string(error.offset);
}

// ---- random bags ---------------------------------------------------------

// Byte pieces strings and names are made of: what needs escaping, dots and
// brackets that a path would split on, and UTF-8 of every length.
const char* const kPieces[] = {"a", "Z", "0", " ", "\"", "\\", "/", ".", "[", "]", "[0]", "a.b",
                               "\x7f", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80",
                               "\xf4\x8f\xbf\xbf", "\xef\xbf\xbf", "\xed\x9f\xbf"};

template <class T>
T Pick(std::mt19937_64& rng, std::initializer_list<T> table) {
    return table.begin()[rng() % table.size()];
}

// A value from the type's limits and a few neighbours, or random bits.
template <class T>
T Integer(std::mt19937_64& rng) {
    using L = std::numeric_limits<T>;
    if (rng() % 2 == 0) return static_cast<T>(rng());
    return Pick<T>(rng, {L::min(), L::max(), T(0), T(1), T(L::min() + 1), T(L::max() - 1),
                         static_cast<T>(-1)});
}

struct Generator {
    std::mt19937_64 rng;
    TavAllocator* alloc;
    bool plainOnly;  // only kinds the plain form gives back as themselves
    bool sawNaN = false;

    explicit Generator(uint64_t seed, TavAllocator* a, bool plain)
        : rng(seed), alloc(a), plainOnly(plain) {}

    std::string Bytes(std::size_t most) {
        std::string s;
        for (std::size_t n = rng() % (most + 1); n > 0; --n) {
            if (rng() % 4 == 0) s += static_cast<char>(rng() % 32);  // control, NUL included
            else s += kPieces[rng() % std::size(kPieces)];
        }
        return s;
    }

    template <class F>
    F Float() {
        using L = std::numeric_limits<F>;
        F x;
        if (rng() % 2 == 0) {
            using Bits = std::conditional_t<sizeof(F) == 4, uint32_t, uint64_t>;
            const Bits bits = static_cast<Bits>(rng());
            std::memcpy(&x, &bits, sizeof x);
        } else {
            x = Pick<F>(rng, {F(-0.0), F(0), L::denorm_min(), -L::denorm_min(), L::min(),
                              L::max(), L::lowest(), L::infinity(), -L::infinity(),
                              L::quiet_NaN(), F(0.1), F(-1e-7), F(1e20), F(0.5)});
        }
        sawNaN = sawNaN || std::isnan(x);
        return x;
    }

    // Plain reads a finite number with a fraction back as a Float64.
    double PlainFloat() {
        double x = Float<double>();
        while (!std::isfinite(x) || x == std::trunc(x))
            x = std::ldexp(double(rng() % 1000) + 0.5, int(rng() % 80) - 60);
        return x;
    }

    TavPropertyValue String() {
        const std::string s = Bytes(6);
        TavString str;
        TavStringConstructRange(&str, s.data(), s.data() + s.size(), alloc);
        TavPropertyValue v = Make(TavPropertyValueConstructString, &str, TAV_TRUE);
        TavStringDestruct(&str);
        return v;
    }

    TavPropertyValue Vector(int depth) {
        TavVector_TavPropertyValue vec;
        TavVector_TavPropertyValueConstructDefault(&vec, alloc);
        for (int n = int(rng() % 4); n > 0; --n) {
            TavPropertyValue e = Value(depth + 1);
            EXPECT_TRUE(TavVector_TavPropertyValuePushBack(&vec, &e));
            TavPropertyValueDestruct(&e);
        }
        TavPropertyValue v = Make(TavPropertyValueConstructVector, &vec, TAV_TRUE);
        TavVector_TavPropertyValueDestruct(&vec);
        return v;
    }

    TavPropertyValue Nested(int depth) {
        TavProperties bag;
        TavPropertiesConstructDefault(&bag, alloc);
        Fill(&bag, depth + 1);
        TavPropertyValue v = Make(TavPropertyValueConstructProperties, &bag, TAV_TRUE);
        TavPropertiesDestruct(&bag);
        return v;
    }

    TavPropertyValue Composite(int depth, bool vector) {
        return vector ? Vector(depth) : Nested(depth);
    }

    TavPropertyValue PlainValue(int depth) {
        switch (rng() % (depth < 3 ? 7 : 5)) {
            case 0: return Make(TavPropertyValueConstructBool, TavBool(rng() % 2), TAV_TRUE);
            case 1: return Make(TavPropertyValueConstructInt64, Integer<int64_t>(rng), TAV_TRUE);
            case 2:
                return Make(TavPropertyValueConstructUint64,
                            uint64_t(INT64_MAX) + 1 + rng() % uint64_t(INT64_MAX), TAV_TRUE);
            case 3: return Make(TavPropertyValueConstructFloat64, PlainFloat(), TAV_TRUE);
            case 4: return String();
            default: return Composite(depth, rng() % 2 == 0);
        }
    }

    TavPropertyValue Value(int depth) {
        if (plainOnly) return PlainValue(depth);
        constexpr TavBool s = TAV_TRUE;
        switch (rng() % (depth < 3 ? 16 : 14)) {
            case 0: return Make(TavPropertyValueConstructBool, TavBool(rng() % 2), s);
            case 1: return Make(TavPropertyValueConstructInt, Integer<TavInt>(rng), s);
            case 2: return Make(TavPropertyValueConstructInt16, Integer<TavInt16>(rng), s);
            case 3: return Make(TavPropertyValueConstructInt64, Integer<TavInt64>(rng), s);
            case 4: return Make(TavPropertyValueConstructUint, Integer<TavUint>(rng), s);
            case 5: return Make(TavPropertyValueConstructUint16, Integer<TavUint16>(rng), s);
            case 6: return Make(TavPropertyValueConstructUint64, Integer<TavUint64>(rng), s);
            case 7: return Make(TavPropertyValueConstructSizeT, Integer<TavSizeT>(rng), s);
            case 8: return Make(TavPropertyValueConstructFloat32, Float<TavFloat32>(), s);
            case 9: return Make(TavPropertyValueConstructFloat64, Float<TavFloat64>(), s);
            case 10: return Make(TavPropertyValueConstructTime, Integer<TavTime>(rng), s);
            case 11: {
                const TavResolution r = {Integer<uint16_t>(rng), Integer<uint16_t>(rng)};
                return Make(TavPropertyValueConstructResolution, r, s);
            }
            case 12: {
                // A format code is written as text, so only printable bytes come back.
                const auto c = [&] { return char(' ' + rng() % 95); };
                return Make(TavPropertyValueConstructMediaFormat,
                            TavMediaFormat(TAV_MEDIAFORMAT_FOURCC(c(), c(), c(), c())), s);
            }
            case 13: return String();
            default: return Composite(depth, rng() % 2 == 0);
        }
    }

    void Fill(TavProperties* bag, int depth) {
        for (int n = int(rng() % (depth == 0 ? 8 : 4)); n > 0; --n) {
            const std::string name = Bytes(3);
            TavString key;
            TavStringConstructRange(&key, name.data(), name.data() + name.size(), alloc);
            TavPropertyValue v = Value(depth);
            TavPropertiesSetProperty(bag, &key, &v);  // a repeated name replaces
            TavPropertyValueDestruct(&v);
            TavStringDestruct(&key);
        }
    }
};

// Checks both properties for one bag in one style and layout; `equal` asks
// for the bag read back to equal the original.
void CheckRoundTrip(const TavProperties* bag, const TavJsonOptions& o, bool equal,
                    TavAllocator* a) {
    const std::string text = Write(bag, o);
    const std::string shown = Write(bag, Options(TAV_JSON_TYPED, 2));
    Bag back(a);
    ASSERT_EQ(Read(back, text, o), "") << shown;
    if (equal) {
        EXPECT_TRUE(TavPropertiesEqual(back, bag))
            << shown << "\nread back:\n" << Write(back, Options(TAV_JSON_TYPED, 2));
    }
    EXPECT_EQ(Write(back, o), text) << shown;
}

constexpr int kBags = 300;

TEST(JsonRoundTrip, TypedTextGivesBackTheBagAndItsBytes) {
    tavtest::CountingAllocator counting;
    int withNaN = 0;
    for (int i = 0; i < kBags; ++i) {
        Generator gen(1000 + i, counting, false);
        Bag bag(counting);
        gen.Fill(bag, 0);
        withNaN += gen.sawNaN;
        for (TavUint indent : {0u, 2u})
            CheckRoundTrip(bag, Options(TAV_JSON_TYPED, indent), !gen.sawNaN, counting);
        if (HasFailure()) break;
    }
    EXPECT_GT(withNaN, 0);
    EXPECT_LT(withNaN, kBags / 2);  // most bags are held to equality
}

TEST(JsonRoundTrip, PlainTextGivesBackTheKindsItMapsToThemselves) {
    tavtest::CountingAllocator counting;
    for (int i = 0; i < kBags; ++i) {
        Generator gen(5000 + i, counting, true);
        Bag bag(counting);
        gen.Fill(bag, 0);
        for (TavUint indent : {0u, 3u})
            CheckRoundTrip(bag, Options(TAV_JSON_PLAIN, indent), true, counting);
        if (HasFailure()) break;
    }
}

// The hand-picked extremes in one bag, so that each is met for sure.
TEST(JsonRoundTrip, ExtremesOfEveryWidthEveryControlCharacterAndAnEmptyName) {
    Bag bag, empty;
    bag.Put("", Make(TavPropertyValueConstructInt64, INT64_MIN, TAV_TRUE));
    bag.Put("i", Make(TavPropertyValueConstructInt, INT32_MIN, TAV_TRUE));
    bag.Put("i16", Make(TavPropertyValueConstructInt16, TavInt16(INT16_MIN), TAV_TRUE));
    bag.Put("u64", Make(TavPropertyValueConstructUint64, UINT64_MAX, TAV_TRUE));
    bag.Put("sz", Make(TavPropertyValueConstructSizeT, SIZE_MAX, TAV_TRUE));
    bag.Put("t", Make(TavPropertyValueConstructTime, INT64_MAX, TAV_TRUE));
    bag.Put("r", Make(TavPropertyValueConstructResolution, TavResolution{65535, 0}, TAV_TRUE));
    bag.Put("a.b[0]", Vec({F32(-0.0f), F32(std::numeric_limits<float>::denorm_min()),
                           F32(std::numeric_limits<float>::max()), Vec({Vec({}), Nested(empty)}),
                           F64(std::numeric_limits<double>::lowest()),
                           F64(-std::numeric_limits<double>::denorm_min())}));
    std::string controls(1, '\0');
    for (char c = 1; c < ' '; ++c) controls += c;
    controls += "\"\\\xf4\x8f\xbf\xbf";
    TavString text;
    TavStringConstructRange(&text, controls.data(), controls.data() + controls.size(),
                            TavAllocatorGetDefault());
    TavPropertyValue s = Make(TavPropertyValueConstructString, &text, TAV_TRUE);
    EXPECT_TRUE(TavPropertiesSetProperty(bag, &text, &s));  // the same bytes as its name
    TavPropertyValueDestruct(&s);
    TavStringDestruct(&text);
    for (TavUint indent : {0u, 1u})
        CheckRoundTrip(bag, Options(TAV_JSON_TYPED, indent), true, TavAllocatorGetDefault());
}

}  // namespace
