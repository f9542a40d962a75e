#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

// What a bag holds, entries in name order separated by ";": name:Kind=value,
// a "+" after the kind marking a settable value, nested bags in braces.
std::string Describe(const TavProperties* bag);

std::string DescribeValue(const TavPropertyValue* v) {
    char number[64];
    switch (v->type) {
        case TAV_PROPERTYVALUE_TYPE_Bool: return v->u.b ? "true" : "false";
        case TAV_PROPERTYVALUE_TYPE_Int: return std::to_string(v->u.i);
        case TAV_PROPERTYVALUE_TYPE_Uint: return std::to_string(v->u.ui);
        case TAV_PROPERTYVALUE_TYPE_Float64:
            std::snprintf(number, sizeof number, "%g", v->u.f64);
            return number;
        case TAV_PROPERTYVALUE_TYPE_String: return Text(&v->u.s);
        case TAV_PROPERTYVALUE_TYPE_Properties: return "{" + Describe(v->u.p) + "}";
        default: return "?";
    }
}

std::string Describe(const TavProperties* bag) {
    static const char* const kKind[] = {"Bool", "Int", "", "", "Uint", "", "", "", "", "Float64",
                                        "", "", "", "", "String", "Properties"};
    std::string out;
    auto it = TavMap_TavString__TavPropertyValueBeginConst(&bag->map);
    for (; it != TavMap_TavString__TavPropertyValueEndConst(&bag->map);
         TavMap_TavString__TavPropertyValueConstIteratorIncrement(&it)) {
        const TavPropertyValue* v = &it->value.second;
        if (!out.empty()) out += ";";
        out += Text(&it->value.first) + ":" + (v->type < 16 ? kKind[v->type] : "?") +
               (v->settable ? "+" : "") + "=" + DescribeValue(v);
    }
    return out;
}

struct Example {
    const char* text;
    bool accepted;
    const char* holds;
};

class ReaderExamples : public ::testing::TestWithParam<Example> {};

TEST_P(ReaderExamples, ReadsWhatTheSyntaxAllowsAndKeepsWhatCameBeforeAnError) {
    const Example& e = GetParam();
    Bag bag;
    EXPECT_EQ(TavPropertiesReadFromString(bag, e.text), e.accepted ? TAV_TRUE : TAV_FALSE);
    EXPECT_EQ(Describe(bag), e.holds);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ReaderExamples,
    ::testing::Values(
        Example{"a=T", true, "a:Bool=true"},
        Example{"a=F,b=12,c=-5,d=+5", true, "a:Bool=false;b:Uint=12;c:Int=-5;d:Int=5"},
        Example{"x=1.5,y=-0.25,z=2.", true, "x:Float64=1.5;y:Float64=-0.25;z:Float64=2"},
        Example{"s=\"hello, world\"", true, "s:String=hello, world"},
        Example{"sub{a=1,b=\"x\"},c=T", true, "c:Bool=true;sub:Properties+={a:Uint=1;b:String=x}"},
        Example{"a=1,a=2", true, "a:Uint=1"},
        Example{"1=2", true, "1:Uint=2"},
        Example{"a=99999999999", true, "a:Uint=1215752191"},
        Example{"a=+3000000000", true, "a:Int=-1294967296"},
        Example{"", false, ""},
        Example{"a = 1", false, ""},
        Example{"a={b=1}", false, ""},
        Example{"a{}", false, ""},
        Example{"a=\"xyz", false, ""},
        Example{"a=-", false, ""},
        Example{"a=1,b=2,", false, "a:Uint=1;b:Uint=2"},
        Example{"a=True", false, "a:Bool=true"},
        Example{"a=1e5", false, "a:Uint=1"},
        Example{"x{a=1}y=2", false, "x:Properties+={a:Uint=1}"},
        Example{"a=T,b", false, "a:Bool=true"}));

INSTANTIATE_TEST_SUITE_P(
    EdgeCases, ReaderExamples,
    ::testing::Values(
        Example{"a=true", false, ""},
        Example{"a=Tx", false, "a:Bool=true"},
        Example{"a=-0,b=0,c=-0.5", true, "a:Int=0;b:Uint=0;c:Float64=-0.5"},
        Example{"a=99999999999999999999", true, "a:Uint=4294967295"},
        Example{"a=-99999999999999999999", true, "a:Int=0"},
        Example{"a=.5", false, ""},
        Example{"a=1.5e3", false, ""},
        Example{"s=\"{a=1},\\x\"", true, "s:String={a=1},\\x"},
        Example{"s=\"\"", true, "s:String="},
        Example{"s=\"tab\there\"", false, ""},
        Example{"s=\"a\"b\"", false, "s:String=a"},
        Example{"_x9=1", true, "_x9:Uint=1"},
        Example{"\xc3\xa9=1", false, ""},
        Example{"a{b{c=1}}", true, "a:Properties+={b:Properties+={c:Uint=1}}"},
        Example{"a=1,n{b=2,c=},z=3", false, "a:Uint=1"},
        Example{"n{b=2,},z=3", false, ""},
        Example{"n{b=2}}", false, "n:Properties+={b:Uint=2}"}));

TEST(Reader, AddsToWhatTheBagHoldsWithoutReplacing) {
    Bag bag;
    ASSERT_TRUE(TavPropertiesSetIntValueCStr(bag, "a", 7, TAV_TRUE));
    EXPECT_TRUE(TavPropertiesReadFromString(bag, "a=5,b=6"));
    EXPECT_EQ(Describe(bag), "a:Int+=7;b:Uint=6");
    EXPECT_TRUE(TavPropertiesReadFromString(bag, "n{x=1}"));
    EXPECT_TRUE(TavPropertiesReadFromString(bag, "n{y=2}")) << "an existing name is not an error";
    EXPECT_EQ(Describe(bag), "a:Int+=7;b:Uint=6;n:Properties+={x:Uint=1}");
}

TEST(Reader, NumbersDoNotDependOnTheLocale) {
    Bag bag;
    {
        CommaLocale comma;
        if (!comma.active()) GTEST_SKIP() << "no locale with a decimal comma";
        EXPECT_TRUE(TavPropertiesReadFromString(bag, "x=1.5,y=-0.25"));
        EXPECT_FALSE(TavPropertiesReadFromString(bag, "z=1,5"));
    }
    EXPECT_EQ(Describe(bag), "x:Float64=1.5;y:Float64=-0.25;z:Uint=1");
}

TEST(Reader, AllocationFailuresAreUnreportedAddsAndLeakNothing) {
    tavtest::CountingAllocator alloc;
    tavtest::DefaultAllocatorHook hook(alloc);  // names, strings, bags under construction
    const char* const text = "a=1,s=\"text\",n{b=-2,m{c=T}},f=0.5";
    const std::string whole =
        "a:Uint=1;f:Float64=0.5;n:Properties+={b:Int=-2;m:Properties+={c:Bool=true}};s:String=text";
    const std::size_t points = tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        {
            Bag bag(alloc);
            const TavBool read = TavPropertiesReadFromString(bag, text);
            if (!alloc.Failed()) {
                EXPECT_TRUE(read);
                EXPECT_EQ(Describe(bag), whole);
            }
            // Whatever was added holds the value the text gives.
            const TavUint* a = TavPropertiesGetUintValueCStr(bag, "a");
            EXPECT_TRUE(a == nullptr || *a == 1u) << k;
            const TavInt* b = TavPropertiesGetIntValueCStr(bag, "n.b");
            EXPECT_TRUE(b == nullptr || *b == -2) << k;
            const TavString* s = TavPropertiesGetStringValueCStr(bag, "s");
            EXPECT_TRUE(s == nullptr || Text(s) == "text") << k;
        }
        EXPECT_EQ(alloc.liveBlocks(), 0u) << "failing allocation " << k;
    });
    EXPECT_GE(points, 5u);
}

}  // namespace
