#include <charconv>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

std::string Describe(const TavProperties* bag);

// "Kind=value" for the kinds the reader makes, the same in every locale.
std::string DescribeValue(const TavPropertyValue& v) {
    char f64[32] = "";
    if (v.type == TAV_PROPERTYVALUE_TYPE_Float64) *std::to_chars(f64, f64 + 31, v.u.f64).ptr = 0;
    switch (v.type) {
        case TAV_PROPERTYVALUE_TYPE_Bool: return v.u.b ? "Bool=true" : "Bool=false";
        case TAV_PROPERTYVALUE_TYPE_Int: return "Int=" + std::to_string(v.u.i);
        case TAV_PROPERTYVALUE_TYPE_Uint: return "Uint=" + std::to_string(v.u.ui);
        case TAV_PROPERTYVALUE_TYPE_Float64: return std::string("Float64=") + f64;
        case TAV_PROPERTYVALUE_TYPE_String: return "String=" + Text(&v.u.s);
        case TAV_PROPERTYVALUE_TYPE_Properties: return "Properties={" + Describe(v.u.p) + "}";
        default: return "?";
    }
}

// What a bag holds: "name:Kind=value" in name order, ";" between, "+=" if settable.
std::string Describe(const TavProperties* bag) {
    std::string out;
    for (auto it = TavMap_TavString__TavPropertyValueBeginConst(&bag->map);
         it != TavMap_TavString__TavPropertyValueEndConst(&bag->map);
         TavMap_TavString__TavPropertyValueConstIteratorIncrement(&it)) {
        std::string entry = DescribeValue(it->value.second);
        if (it->value.second.settable) entry.insert(entry.find('='), "+");
        out += (out.empty() ? "" : ";") + Text(&it->value.first) + ":" + entry;
    }
    return out;
}

// Switches the process for its lifetime to a locale whose decimal separator is a
// comma, generated with localedef into a temporary directory.
struct CommaLocale {
    CommaLocale() {
        if (mkdtemp(dir_) == nullptr) return;
        const std::string make = "localedef -i de_DE -f UTF-8 " + (dir_ + std::string("/comma"));
        if (std::system((make + " >/dev/null 2>&1").c_str()) != 0) return;
        if (setenv("LOCPATH", dir_, 1) == 0) std::setlocale(LC_ALL, "comma");
    }
    ~CommaLocale() {
        std::setlocale(LC_ALL, saved_.c_str());
        unsetenv("LOCPATH");
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }
    bool active() const { return *std::localeconv()->decimal_point == ','; }

    const std::string saved_ = std::setlocale(LC_ALL, nullptr);
    char dir_[22] = "/tmp/tav-localeXXXXXX";
};

TEST(Reader, ReadsWhatTheSyntaxAllowsInAnyLocaleKeepingWhatCameBeforeAnError) {
    const struct { const char* text; bool accepted; const char* holds; } examples[] = {
        {"a=T", true, "a:Bool=true"},
        {"a=F,b=12,c=-5,d=+5", true, "a:Bool=false;b:Uint=12;c:Int=-5;d:Int=5"},
        {"x=1.5,y=-0.25,z=2.", true, "x:Float64=1.5;y:Float64=-0.25;z:Float64=2"},
        {"s=\"hello, world\"", true, "s:String=hello, world"},
        {"sub{a=1,b=\"x\"},c=T", true, "c:Bool=true;sub:Properties+={a:Uint=1;b:String=x}"},
        {"a=1,a=2", true, "a:Uint=1"},
        {"1=2", true, "1:Uint=2"},
        {"a=99999999999", true, "a:Uint=1215752191"},
        {"a=+3000000000", true, "a:Int=-1294967296"},
        {"", false, ""},
        {"a = 1", false, ""},
        {"a={b=1}", false, ""},
        {"a{}", false, ""},
        {"a=\"xyz", false, ""},
        {"a=-", false, ""},
        {"a=1,b=2,", false, "a:Uint=1;b:Uint=2"},
        {"a=True", false, "a:Bool=true"},
        {"a=1e5", false, "a:Uint=1"},
        {"x{a=1}y=2", false, "x:Properties+={a:Uint=1}"},
        {"a=T,b", false, "a:Bool=true"},
        {"a=Tx", false, "a:Bool=true"},
        {"a=-0,b=0,c=-0.5", true, "a:Int=0;b:Uint=0;c:Float64=-0.5"},
        {"a=99999999999999999999", true, "a:Uint=4294967295"},
        {"a=-99999999999999999999", true, "a:Int=0"},
        {"_x9=\"{a=1},\\x\",s=\"\"", true, "_x9:String={a=1},\\x;s:String="},
        {"a=1,n{b=2,c=},z=3", false, "a:Uint=1"},
        {"n{b=2,},z=3", false, ""},
        {"n{x=1},n{y=2}", true, "n:Properties+={x:Uint=1}"},
    };
    const auto readAll = [&] {
        for (const auto& e : examples) {
            Bag bag;
            EXPECT_EQ(TavPropertiesReadFromString(bag, e.text), TavBool{e.accepted}) << e.text;
            EXPECT_EQ(Describe(bag), e.holds) << e.text;
        }
    };
    readAll();
    CommaLocale comma;
    if (!comma.active()) GTEST_SKIP() << "no locale with a decimal comma";
    readAll();
}

TEST(Reader, AllocationFailuresAreUnreportedAddsAndLeakNothing) {
    const std::string whole = "a:Int=-2;n:Properties+={m:Properties+={c:Bool=true}};s:String=text";
    tavtest::CountingAllocator alloc;
    tavtest::DefaultAllocatorHook hook(alloc);  // names, strings, bags under construction
    EXPECT_GE(tavtest::SweepAllocationFailures(alloc, [&](std::size_t k) {
        Bag bag(alloc);
        const TavBool read = TavPropertiesReadFromString(bag, "a=-2,s=\"text\",n{m{c=T}}");
        EXPECT_TRUE(alloc.Failed() || (read && Describe(bag) == whole)) << k;
        const TavString* s = TavPropertiesGetStringValueCStr(bag, "s");  // if there, complete
        EXPECT_TRUE(s == nullptr || Text(s) == "text") << k;
    }), 5u);  // the allocator reports any block left when the test ends
}

}  // namespace
