// Floats in the standard JSON and XML writers: the shortest text that
// reads back as the same value, byte for byte as std::to_chars writes it.
// Values with a short decimal form take a quicker way than the others; both
// ways and the border between them are checked against to_chars itself.
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "text_support.hpp"

namespace {

using namespace texttest;

std::string ToChars(double d) {
    char buf[64];
    return std::string(buf, std::to_chars(buf, buf + sizeof buf, d).ptr);
}

// The plain JSON text of {"v": [values...]} as the writer makes it.
std::string WriteAsVector(const std::vector<double>& values) {
    TavVector_TavPropertyValue vec;
    TavVector_TavPropertyValueConstructDefault(&vec, TavAllocatorGetDefault());
    for (double d : values) {
        TavPropertyValue v = F64(d);
        EXPECT_TRUE(TavVector_TavPropertyValuePushBack(&vec, &v));
        TavPropertyValueDestruct(&v);
    }
    TavPropertyValue holder;
    EXPECT_NE(TavPropertyValueConstructVector(&holder, &vec, TAV_TRUE), nullptr);
    TavVector_TavPropertyValueDestruct(&vec);
    Bag bag;
    bag.Put("v", holder);
    TavString out;
    TavStringConstructDefault(&out, TavAllocatorGetDefault());
    EXPECT_NE(TavPropertiesWriteJson(bag, &out, nullptr), nullptr);
    const std::string text = Text(&out);
    TavStringDestruct(&out);
    return text;
}

void ExpectSameAsToChars(const std::vector<double>& values) {
    std::string expected = "{\"v\":[";
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i != 0) expected += ',';
        expected += ToChars(values[i]);
    }
    expected += "]}";
    const std::string written = WriteAsVector(values);
    if (written == expected) return;
    // Name the first value written differently.
    for (double d : values) {
        const std::string one = WriteAsVector({d});
        ASSERT_EQ(one, "{\"v\":[" + ToChars(d) + "]}") << std::hexfloat << d;
    }
    FAIL() << "the texts differ but no single value does";
}

// m / 10^k and its negation, for the k that make short decimal forms and a
// few past them.
void AddScaled(std::vector<double>& values, double m) {
    for (int k = 0; k <= 12; ++k) {
        const double d = m / std::pow(10.0, k);
        values.push_back(d);
        values.push_back(-d);
    }
}

TEST(FloatText, ShortDecimalsAndTheirBordersAreWrittenAsToCharsWritesThem) {
    std::vector<double> values;
    // clang-format off
    const double edges[] = {1, 5, 9, 10, 11, 99, 100, 101, 12345, 99999, 100000, 100001,
                            1000000, 1234500000, 999999999999, 1e15, 1125899906842623.0,
                            1125899906842624.0, 1125899906842625.0, 9007199254740991.0,
                            9007199254740992.0, 1e17, 1e21, 1e22, 1e23};
    // clang-format on
    for (double m : edges) AddScaled(values, m);
    for (int e = -12; e <= 24; ++e) values.push_back(std::pow(10.0, e));
    for (int n = 0; n < 2000; ++n) {
        values.push_back(n + 0.5);
        values.push_back(n / 8.0);
        values.push_back(n * 0.001);
    }
    ExpectSameAsToChars(values);
}

TEST(FloatText, RandomValuesAreWrittenAsToCharsWritesThem) {
    std::mt19937_64 random(20261125);
    std::vector<double> values;
    for (int batch = 0; batch < 40; ++batch) {
        values.clear();
        for (int i = 0; i < 500; ++i) {
            // Any finite bit pattern, then decimals of every length.
            std::uint64_t bits = random();
            double d;
            std::memcpy(&d, &bits, sizeof d);
            if (std::isfinite(d)) values.push_back(d);
            AddScaled(values, static_cast<double>(random() >> (random() % 64)));
        }
        ExpectSameAsToChars(values);
    }
}

TEST(FloatText, TheStandardXmlWriterUsesTheSameForm) {
    for (double d : {1234.5, -0.001, 0.0001, 100000.0, 123456.0, 0.1, 1e-7, -0.0}) {
        Bag bag;
        bag.Put("v", F64(d));
        TavString xml;
        TavStringConstructDefault(&xml, TavAllocatorGetDefault());
        ASSERT_NE(TavPropertiesWriteXml(bag, &xml), nullptr);
        EXPECT_NE(Text(&xml).find(">" + ToChars(d) + "<"), std::string::npos) << Text(&xml);
        TavStringDestruct(&xml);
    }
}

}  // namespace
