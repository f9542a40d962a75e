// Throughput of the text forms on a bag of 10,000 entries: 1,000 nested bags
// of ten entries each (numbers, strings, a boolean and a vector).
#include <string>

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include "Os/TavProperties.h"

namespace {

constexpr int kGroups = 1000;

std::string GroupName(int i) {
    std::string name = "group0000";
    for (int p = 8; i > 0; --p, i /= 10) name[p] = static_cast<char>('0' + i % 10);
    return name;
}

// The entries of one group in the one-line syntax; the vector is added apart.
std::string GroupText(int i) {
    const std::string n = std::to_string(i);
    return "id=" + n + ",offset=-" + n + ",gain=" + n + ".25,ratio=0.5,enabled=T,label=\"stream " +
           n + "\",codec=\"h264\",width=1920,height=1080";
}

std::string BagText() {
    std::string text;
    for (int i = 0; i < kGroups; ++i) {
        if (i != 0) text += ',';
        text += GroupName(i) + "{" + GroupText(i) + "}";
    }
    return text;
}

void AddVector(TavProperties* group, int i) {
    TavVector_TavPropertyValue vec;
    TavVector_TavPropertyValueConstructDefault(&vec, TavAllocatorGetDefault());
    for (int k = 0; k < 3; ++k) {
        TavPropertyValue v;
        TavPropertyValueConstructInt64(&v, static_cast<TavInt64>(i) * 1000 + k, TAV_TRUE);
        TavVector_TavPropertyValuePushBack(&vec, &v);
        TavPropertyValueDestruct(&v);
    }
    TavPropertiesAddVectorValueCStr(group, "history", &vec, TAV_TRUE);
    TavVector_TavPropertyValueDestruct(&vec);
}

// Built once: 1,000 groups of nine leaves read from text plus a vector.
class Fixture {
public:
    Fixture() : text_(BagText()) {
        TavPropertiesConstructDefault(&bag_, TavAllocatorGetDefault());
        TavPropertiesReadFromString(&bag_, text_.c_str());
        for (int i = 0; i < kGroups; ++i) {
            AddVector(TavPropertiesGetPropertyAtPathCStr(&bag_, GroupName(i).c_str())->u.p, i);
        }
    }
    ~Fixture() { TavPropertiesDestruct(&bag_); }
    TavProperties* bag() { return &bag_; }
    const std::string& text() const { return text_; }

private:
    std::string text_;
    TavProperties bag_;
};

Fixture& Shared() {
    static Fixture fixture;
    return fixture;
}

void BM_ToJson(benchmark::State& state) {
    TavString json;
    TavStringConstructDefault(&json, TavAllocatorGetDefault());
    for (auto _ : state) {
        benchmark::DoNotOptimize(TavPropertiesToJson(Shared().bag(), &json));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(TavStringSize(&json)));
    TavStringDestruct(&json);
}
BENCHMARK(BM_ToJson)->Unit(benchmark::kMillisecond);

// The standard writer, plain style on one line, on the same bag.
void BM_WriteJson(benchmark::State& state) {
    TavString json;
    TavStringConstructDefault(&json, TavAllocatorGetDefault());
    for (auto _ : state) {
        benchmark::DoNotOptimize(TavPropertiesWriteJson(Shared().bag(), &json, nullptr));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(TavStringSize(&json)));
    TavStringDestruct(&json);
}
BENCHMARK(BM_WriteJson)->Unit(benchmark::kMillisecond);

void BM_ToXml(benchmark::State& state) {
    TavString xml;
    TavStringConstructDefault(&xml, TavAllocatorGetDefault());
    TavSizeT size = 0;
    for (auto _ : state) {
        TavStringClear(&xml);
        benchmark::DoNotOptimize(TavPropertiesToXml(Shared().bag(), &xml));
        size = TavStringSize(&xml);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(size));
    TavStringDestruct(&xml);
}
BENCHMARK(BM_ToXml)->Unit(benchmark::kMillisecond);

TavBool ReadOneLine(TavProperties* bag, const std::string& text) {
    return TavPropertiesReadFromString(bag, text.c_str());
}

// Reading into a fresh bag each time; its destruction is left out of the time.
void ReadEachTime(benchmark::State& state, const std::string& text,
                  TavBool (*read)(TavProperties*, const std::string&) = ReadOneLine) {
    for (auto _ : state) {
        TavProperties bag;
        TavPropertiesConstructDefault(&bag, TavAllocatorGetDefault());
        benchmark::DoNotOptimize(read(&bag, text));
        state.PauseTiming();
        TavPropertiesDestruct(&bag);
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(text.size()));
}

void BM_ReadFromString(benchmark::State& state) { ReadEachTime(state, Shared().text()); }
BENCHMARK(BM_ReadFromString)->Unit(benchmark::kMillisecond);

// The bag's fixed-form JSON (its typed values are valid JSON for this data)
// and its plain standard JSON: the texts the standard reader is timed on.
std::string FixedJson() {
    TavString json;
    TavStringConstructDefault(&json, TavAllocatorGetDefault());
    TavPropertiesToJson(Shared().bag(), &json);
    std::string text(TavStringCStr(&json), TavStringSize(&json));
    TavStringDestruct(&json);
    return text;
}

std::string PlainJson() {
    TavString json;
    TavStringConstructDefault(&json, TavAllocatorGetDefault());
    TavPropertiesWriteJson(Shared().bag(), &json, nullptr);
    std::string text(TavStringCStr(&json), TavStringSize(&json));
    TavStringDestruct(&json);
    return text;
}

template <TavJsonStyle Style>
TavBool ReadJson(TavProperties* bag, const std::string& text) {
    TavJsonOptions options{};
    options.style = Style;
    return TavPropertiesReadJson(bag, text.data(), text.size(), &options, nullptr);
}

void BM_ReadJsonTyped(benchmark::State& state) {
    ReadEachTime(state, FixedJson(), ReadJson<TAV_JSON_TYPED>);
}
BENCHMARK(BM_ReadJsonTyped)->Unit(benchmark::kMillisecond);

void BM_ReadJsonPlain(benchmark::State& state) {
    ReadEachTime(state, PlainJson(), ReadJson<TAV_JSON_PLAIN>);
}
BENCHMARK(BM_ReadJsonPlain)->Unit(benchmark::kMillisecond);

// The same texts parsed into a DOM by the library users reach for most often:
// the yardstick the standard reader is measured against.
void ParseEachTime(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        nlohmann::json parsed = nlohmann::json::parse(text);
        benchmark::DoNotOptimize(parsed);
        state.PauseTiming();
        parsed = nullptr;
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(text.size()));
}

void BM_ParseJsonNlohmannTyped(benchmark::State& state) { ParseEachTime(state, FixedJson()); }
BENCHMARK(BM_ParseJsonNlohmannTyped)->Unit(benchmark::kMillisecond);

void BM_ParseJsonNlohmannPlain(benchmark::State& state) { ParseEachTime(state, PlainJson()); }
BENCHMARK(BM_ParseJsonNlohmannPlain)->Unit(benchmark::kMillisecond);

// "a{a{...a{a=1}...}}" with range(0) levels of braces: the cost of deep input,
// which should grow in proportion to the depth.
std::string DeepText(int levels) {
    std::string text;
    for (int i = 0; i < levels; ++i) text += "a{";
    text += "a=1";
    text.append(static_cast<std::size_t>(levels), '}');
    return text;
}

void BM_ReadDeep(benchmark::State& state) {
    ReadEachTime(state, DeepText(static_cast<int>(state.range(0))));
}
BENCHMARK(BM_ReadDeep)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
