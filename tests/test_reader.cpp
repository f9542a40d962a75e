#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CountingAllocator.hpp"
#include "text_support.hpp"

namespace {

using namespace texttest;

// Switches the process for its lifetime to a locale whose decimal separator is a comma,
// generated with localedef into a temporary directory.
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
    // clang-format off
    const struct { const char* text; bool accepted; const char* holds; } examples[] = {
        {"a=T", true, "a=b~1"}, {"a=F,b=12,c=-5,d=+5", true, "a=b~0;b=u~12;c=i~-5;d=i~5"},
        {"x=1.5,y=-0.25,z=2.", true, "x=f64~1.5;y=f64~-0.25;z=f64~2"},
        {"s=\"hello, world\"", true, "s=s~hello, world"}, {"1=2", true, "1=u~2"},
        {"sub{a=1,b=\"x\"},c=T", true, "c=b~1;sub={a=u~1;b=s~x}"}, {"a=1,a=2", true, "a=u~1"},
        {"a=99999999999", true, "a=u~1215752191"}, {"a=+3000000000", true, "a=i~-1294967296"},
        {"a=99999999999999999999", true, "a=u~4294967295"}, {"a=-99999999999999999999", true, "a=i~0"},
        {"a=-0,b=0,c=-0.5", true, "a=i~0;b=u~0;c=f64~-0.5"}, {"", false, ""}, {"a = 1", false, ""},
        {"a={b=1}", false, ""}, {"a{}", false, ""}, {"a=\"xyz", false, ""}, {"a=-", false, ""},
        {"a=1,b=2,", false, "a=u~1;b=u~2"}, {"a=True", false, "a=b~1"}, {"a=1e5", false, "a=u~1"},
        {"x{a=1}y=2", false, "x={a=u~1}"}, {"a=T,b", false, "a=b~1"},
        {"_x9=\"{a=1},\\x\",s=\"\"", true, "_x9=s~{a=1},\\x;s=s~"},
        {"a=1,n{b=2,c=},z=3", false, "a=u~1"}, {"n{b=2,},z=3", false, ""},
        {"n{a=1,a=2,b{x=1},b{y=2},b=T,m{c{d=1,d=\"s\"}}}", true, "n={a=u~1;b={x=u~1};m={c={d=u~1}}}"},
    };
    // clang-format on
    const auto readAll = [&] {
        for (const auto& e : examples) {
            Bag bag;
            EXPECT_EQ(TavPropertiesReadFromString(bag, e.text), TavBool{e.accepted}) << e.text;
            EXPECT_EQ(Show(bag), e.holds) << e.text;
        }
    };
    readAll();
    CommaLocale comma;
    if (!comma.active()) GTEST_SKIP() << "no locale with a decimal comma";
    readAll();
}

// "a{a{...a{inner}...}}" with `levels` opening braces and `closing` closing ones.
std::string Deep(std::size_t levels, const std::string& inner, std::size_t closing) {
    return Repeat("a{", levels) + inner + std::string(closing, '}');
}

std::size_t EntryCount(TavProperties* bag) {
    return TavMap_TavString__TavPropertyValueSize(&bag->map);
}

// Counts the calls of a listener.
void Count(const TavPropertyListener* l, TavProperties*, const TavString*, const TavPropertyValue*,
           const TavPropertyValue*) {
    ++*static_cast<std::size_t*>(TavPropertyListenerGetData(l));
}

// An entry nested at any depth is one insertion into the caller's bag; an error at the deepest
// level adds nothing of it, keeping the entries before it.
TEST(Reader, ReadsAnyDepthAsOneInsertionOrAddsNothingOfItOnAnError) {
    const struct { const char* inner; std::size_t closing; bool accepted; const char* holds; } cases[] = {
        {"v=", kDeep, false, "x=u~1"},         // no value
        {"v=1,u{}", kDeep, false, "x=u~1"},    // empty nested list
        {"v=1,u=\"", kDeep, false, "x=u~1"},   // open string
        {"v=1", kDeep - 1, false, "x=u~1"},    // one "}" short
        {"v=1", kDeep + 1, false, "a={};x=u~1"},  // one "}" too many: the deep entry was whole
        {"v=1", kDeep, true, "a={};x=u~1;z=b~1"},
    };
    for (const auto& c : cases) {
        Bag bag;
        std::size_t calls = 0;
        ASSERT_TRUE(Listen(bag, &Count, &calls));
        const std::string text = "x=1," + Deep(kDeep, c.inner, c.closing) + ",z=T";
        EXPECT_EQ(TavPropertiesReadFromString(bag, text.c_str()), TavBool{c.accepted}) << c.inner;
        TavPropertyValue* a = TavPropertiesGetPropertyCStr(bag, "a");
        if (a != nullptr) TavMap_TavString__TavPropertyValueClear(&a->u.p->map);  // shown as {}
        EXPECT_EQ(Show(bag), c.holds) << c.inner << " " << c.closing;
        EXPECT_EQ(calls, 2 * EntryCount(bag)) << c.inner;  // Before and After of each entry
    }
}

// How many entries of `whole` `part` lacks (a nested bag missing altogether counts once), or
// -1 when part holds an entry that whole lacks or holds differently.
int Lacking(TavProperties* part, const TavProperties* whole) {
    int lacking = 0;
    TavSizeT present = 0;
    for (auto it = TavMap_TavString__TavPropertyValueBeginConst(&whole->map);
         it != TavMap_TavString__TavPropertyValueEndConst(&whole->map);
         TavMap_TavString__TavPropertyValueConstIteratorIncrement(&it)) {
        const TavPropertyValue* want = &it->value.second;
        const TavPropertyValue* got = TavPropertiesGetPropertyConst(part, &it->value.first);
        if (got == nullptr) {
            ++lacking;
            continue;
        }
        ++present;
        if (got->type != want->type || got->settable != want->settable) return -1;
        const int inside = want->type == TAV_PROPERTYVALUE_TYPE_Properties
                               ? Lacking(got->u.p, want->u.p)
                               : (TavPropertyValueEqual(got, want) ? 0 : -1);
        if (inside < 0) return -1;
        lacking += inside;
    }
    return present == EntryCount(part) ? lacking : -1;
}

// A failed add only loses its own entry and the text is still accepted; a name or a nested bag
// that can't be made rejects the text, keeping exactly the whole top-level entries before it.
TEST(Reader, AllocationFailuresLoseOneEntryOrRejectTheRestAndLeakNothing) {
    const struct { std::string text; std::vector<std::string> top; } cases[] = {
        {"a=-2,s=\"text\",n{m{c=T}}", {"a", "s", "n"}},
        // Deeper than the reader's inline stack. A lost entry may come back from a later one of
        // the same name, so duplicates here repeat the same value.
        {"a=-2,n{x=2.5,x=2.5," + Deep(20, "v=\"deep\",d{z=1},d{z=1},v=\"deep\",w=+3", 20) +
             ",u=T},s=\"z\"",
         {"a", "n", "s"}},
    };
    for (const auto& c : cases) {
        Bag whole;
        ASSERT_TRUE(TavPropertiesReadFromString(whole, c.text.c_str()));
        tavtest::CountingAllocator alloc;
        tavtest::DefaultAllocatorHook hook(alloc);  // names, strings, bags under construction
        const auto attempt = [&](std::size_t k) {
            const std::size_t live = alloc.liveBlocks();
            {
                Bag bag(alloc);
                const TavBool read = TavPropertiesReadFromString(bag, c.text.c_str());
                const int lacking = Lacking(bag, whole);
                ASSERT_GE(lacking, 0) << k;
                EXPECT_TRUE(read || alloc.Failed()) << k;
                EXPECT_LE(lacking, read ? int{alloc.Failed()} : lacking) << k;
                std::size_t kept = 0;  // when rejected: the entries before the failure, no other
                // (looked up without allocating, so as not to meet the armed failure)
                while (kept < c.top.size()) {
                    const std::string& name = c.top[kept];
                    const TavString view{nullptr, const_cast<char*>(name.c_str()), name.size(), 0};
                    if (TavPropertiesGetProperty(bag, &view) == nullptr) break;
                    ++kept;
                }
                EXPECT_EQ(EntryCount(bag), read ? EntryCount(bag) : kept) << k;
            }
            EXPECT_EQ(alloc.liveBlocks(), live) << k;
        };
        EXPECT_GE(tavtest::SweepAllocationFailures(alloc, attempt), 10u);
    }
}

}  // namespace
