// bench_compare: this library and the alternatives a module would pick
// instead, on the same data in one process. Writes compare.md and
// compare.svg; --smoke runs a short version, and --max-ratio R fails the run
// when one of this library's workloads takes more than R times as long as the
// hand-written std::map container measured in the same run.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>

#include "Alternatives.hpp"
#include "HeapCounter.hpp"
#include "Ours.hpp"
#include "Report.hpp"
#include "StdMapBag.hpp"
#include "Workloads.hpp"

namespace cmp {
namespace {

template <class... Bags>
struct BagList {};

// Every contender compiled in, ours first: the columns of the tables.
using Everyone = BagList<Ours, StdMapBag
#ifdef TAV_BENCH_HAVE_NLOHMANN
                         , Nlohmann
#endif
#ifdef TAV_BENCH_HAVE_RAPIDJSON
                         , RapidJson
#endif
#ifdef TAV_BENCH_HAVE_BOOST
                         , BoostTree
#endif
#ifdef TAV_BENCH_HAVE_GST
                         , Gst
#endif
                         >;

template <class F, class... Bags>
void ForEach(BagList<Bags...>, F&& f) {
    (f(std::type_identity<Bags>{}), ...);
}

template <class Bag>
constexpr bool kIsOurs = std::is_same_v<Bag, Ours>;

struct Options {
    bool smoke = false;
    std::string out = ".";
    double maxRatio = 0;  // 0: no guard
};

struct Plan {
    int reps;            // samples of rows 1 to 5
    int contendedReps;   // samples of row 6
    std::size_t contendedOps;  // per thread and sample
    std::vector<std::pair<std::size_t, int>> scaling;  // entries, samples
};

Plan PlanFor(const Options& options) {
    if (options.smoke) return {11, 9, 300000, {{1000, 3}, {10000, 3}}};
    return {21, 9, 500000, {{1000, 15}, {10000, 9}, {100000, 5}, {1000000, 3}}};
}

// The one allocator that counts what this library asks for, block by block.
struct RequestCounter {
    TavAllocator alloc{};
    long long live = 0;
    RequestCounter() {
        alloc.allocate = [](TavAllocator* a, TavSizeT n) -> void* {
            static_cast<RequestCounter*>(a->userData)->live += static_cast<long long>(n);
            return std::malloc(n);
        };
        alloc.deallocate = [](TavAllocator* a, void* p, TavSizeT n) {
            static_cast<RequestCounter*>(a->userData)->live -= static_cast<long long>(n);
            std::free(p);
        };
        alloc.maxSize = ~static_cast<TavSizeT>(0);
        alloc.userData = this;
    }
};

// The tree built a second time while a first copy lives, so that interned
// names and allocator caches the first one set up are not counted.
template <class Bag>
MemoryRow Memory(const Tree& tree) {
    const double leaves = static_cast<double>(LeafCount(tree));
    Bag warm;
    warm.Build(tree);
    MemoryRow row{Bag::kName, -1, -1};
    {
        HeapWindow window;
        auto bag = std::make_unique<Bag>();
        bag->Build(tree);
        if (HeapCountingAvailable()) row.heapPerEntry = static_cast<double>(window.Bytes()) / leaves;
    }
    if constexpr (kIsOurs<Bag>) {
        RequestCounter counter;
        Ours bag(&counter.alloc);
        bag.Build(tree);
        row.requestedPerEntry = static_cast<double>(counter.live) / leaves;
    }
    return row;
}

struct Inputs {
    std::vector<std::string> names = PlainNames(1000);
    std::vector<Path> paths = ThreeLevelPaths();
    Tree tree = MakeTree(100, 50);
    std::string oneLine = OneLineText(tree);
    std::string json;  // this library's plain JSON of the tree: every parser's input
};

Row MakeRow(const char* id, const char* title, const char* unit, double scale) {
    Row row;
    row.id = id;
    row.title = title;
    row.unit = unit;
    row.scale = scale;
    return row;
}

void Lookups(Report& report, const Inputs& in, const Plan& plan) {
    Row byName = MakeRow("1", "set+get 1,000 ints by name", "ns/pair", 1);
    Row byPath = MakeRow("2", "set+get at 1,000 3-level paths", "ns/pair", 1);
    ForEach(Everyone{}, [&]<class Bag>(std::type_identity<Bag>) {
        byName.cells[Bag::kName] = SetGetByName<Bag>(in.names, plan.reps);
        if constexpr (HasPaths<Bag>) byPath.cells[Bag::kName] = SetGetByPath<Bag>(in.paths, plan.reps);
    });
    byPath.note = "GstStructure has no path API (a nested structure is a value: a set below the top "
                  "is a copy out and back in), so it is left out.";
    report.rows.push_back(byName);
    report.rows.push_back(byPath);
}

void Copies(Report& report, const Inputs& in, const Plan& plan) {
    Row row = MakeRow("3", "deep copy, 10,000-entry tree", "ms", 1e6);
    ForEach(Everyone{}, [&]<class Bag>(std::type_identity<Bag>) {
        Bag source;
        source.Build(in.tree);
        row.cells[Bag::kName] = DeepCopy(source, plan.reps);
    });
    report.rows.push_back(row);
}

// Rows 4a and 4b share the alternatives' figures; only ours differs.
void Reads(Report& report, const Inputs& in, const Plan& plan) {
    Row oneLine = MakeRow("4a", "read 10,000 entries (ours: one-line syntax)", "ms", 1e6);
    ForEach(Everyone{}, [&]<class Bag>(std::type_identity<Bag>) {
        if constexpr (HasJson<Bag> && !kIsOurs<Bag>)
            oneLine.cells[Bag::kName] =
                ReadText<Bag>(in.json, plan.reps, [](Bag& b, const std::string& t) { return b.ReadJson(t); });
#ifdef TAV_BENCH_HAVE_GST
        if constexpr (std::is_same_v<Bag, Gst>) {
            Gst source;
            source.Build(in.tree);
            oneLine.cells[Bag::kName] =
                ReadText<Gst>(source.Text(), plan.reps, [](Gst& b, const std::string& t) { return b.ReadText(t); });
        }
#endif
    });
    Row json = oneLine;
    json.id = "4b";
    json.title = "read 10,000 entries (ours: standard JSON reader)";
    oneLine.cells[kOurs] =
        ReadText<Ours>(in.oneLine, plan.reps, [](Ours& b, const std::string& t) { return b.ReadOneLine(t); });
    json.cells[kOurs] = ReadText<Ours>(in.json, plan.reps, [](Ours& b, const std::string& t) { return b.ReadJson(t); });
    oneLine.note = "each reads its own input: the one-line syntax (ours, 4a), the same plain JSON text "
                   "(ours in 4b and every JSON library), GstStructure its own text form; MB/s of that input.";
    report.rows.push_back(oneLine);
    report.rows.push_back(json);
}

void Writes(Report& report, const Inputs& in, const Plan& plan) {
    Row fixed = MakeRow("5a", "write 10,000 entries (ours: fixed-form JSON)", "ms", 1e6);
    ForEach(Everyone{}, [&]<class Bag>(std::type_identity<Bag>) {
        Bag source;
        source.Build(in.tree);
        if constexpr (HasJson<Bag> && !kIsOurs<Bag>)
            fixed.cells[Bag::kName] = WriteText(source, plan.reps, [](const Bag& b) { return b.WriteJson(); });
#ifdef TAV_BENCH_HAVE_GST
        if constexpr (std::is_same_v<Bag, Gst>)
            fixed.cells[Bag::kName] = WriteText(source, plan.reps, [](const Gst& b) { return b.WriteText(); });
#endif
    });
    Row plain = fixed;
    plain.id = "5b";
    plain.title = "write 10,000 entries (ours: standard JSON, plain)";
    Ours ours;
    ours.Build(in.tree);
    fixed.cells[kOurs] = WriteText(ours, plan.reps, [](const Ours& b) { return b.ToJson(); });
    plain.cells[kOurs] = WriteText(ours, plan.reps, [](const Ours& b) { return b.WriteJson(); });
    fixed.note = "MB/s of each one's own output: the fixed form is typed and about three times as long; "
                 "Boost.PropertyTree writes every value as a string, GstStructure its own text form.";
    report.rows.push_back(fixed);
    report.rows.push_back(plain);
}

void Contention(Report& report, const Inputs& in, const Plan& plan) {
    Row row = MakeRow("6", "2 threads, one bag of 1,000 ints, 9 gets : 1 set", "ns/op", 1);
    std::tie(row.cells[kOurs], row.cells[kYardstick]) =
        ContendedPair<Ours, StdMapBag>(in.names, plan.contendedOps, plan.contendedReps);
    row.note = "wall time over both threads' operations; ours reads with TavPropertiesCopyInt64ValueCStr, "
               "the read that is safe beside writers.";
    report.rows.push_back(row);
}

// Flat bags of n ints: set, get and remove per operation, copy, write and
// read per entry. Contenders whose lookups are linear only copy, write, read.
void Scaling(Report& report, const Plan& plan) {
    for (const auto& [n, reps] : plan.scaling) {
        const std::vector<std::string> names = PlainNames(n);
        const std::string json = FilledBag<Ours>(names)->JsonText();
        ScalingRow set{"set", n, {}}, get{"get", n, {}}, remove{"remove", n, {}}, copy{"copy", n, {}},
            write{"JSON write", n, {}}, read{"JSON read", n, {}};
        ForEach(Everyone{}, [&]<class Bag>(std::type_identity<Bag>) {
            if constexpr (HasJson<Bag> && !LinearLookup<Bag>)
                ScaleLookups<Bag>(set.cells, get.cells, remove.cells, names, reps);
            if constexpr (HasJson<Bag>) ScaleWholeBag<Bag>(copy.cells, write.cells, read.cells, names, json, reps);
        });
        for (ScalingRow* row : {&set, &get, &remove, &copy, &write, &read}) report.scaling.push_back(*row);
        std::fprintf(stderr, "  scaling at %zu entries done\n", n);
    }
}

std::string Header(const Options& options, const Plan& plan) {
    char buf[512];
    std::snprintf(buf, sizeof buf,
                  "## TavProperties compared with the alternatives%s\n\n"
                  "Medians of %d samples (CPU time of the measuring thread; row 6: wall time, %d samples), "
                  "%u hardware threads. Ratios are this library's time over the other's.\n\n"
                  "Alternatives: %s.\n",
                  options.smoke ? " (smoke run)" : "", plan.reps, plan.contendedReps,
                  std::thread::hardware_concurrency(), AlternativeVersions().c_str());
    return buf;
}

// Rows allowed past the guard's ratio, with the reason and the ratio measured
// when the exemption was made; nullptr for every other row.
int Guard(const Report& report, double maxRatio) {
    int failures = 0;
    std::printf("\nGuard: ours / std::map at most %.1f (best samples)\n", maxRatio);
    for (const Row& row : report.rows) {
        const double r = row.BestRatio(kYardstick);
        if (r < 0) continue;
        const bool over = r > maxRatio;
        std::printf("  %-4s %6.2f %s\n", row.id.c_str(), r, over ? "TOO SLOW" : "ok");
        if (over) ++failures;
    }
    return failures == 0 ? 0 : 1;
}

bool WriteFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    return static_cast<bool>(file);
}

bool ParseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--smoke") {
            options.smoke = true;
        } else if (arg == "--out" && i + 1 < argc) {
            options.out = argv[++i];
        } else if (arg == "--max-ratio" && i + 1 < argc) {
            options.maxRatio = std::atof(argv[++i]);
        } else {
            std::fprintf(stderr, "usage: %s [--smoke] [--out DIR] [--max-ratio R]\n", argv[0]);
            return false;
        }
    }
    return true;
}

int Run(const Options& options) {
    const Plan plan = PlanFor(options);
    Inputs in;
    in.json = [&] { Ours bag; bag.Build(in.tree); return bag.JsonText(); }();
    Report report;
    ForEach(Everyone{}, [&]<class Bag>(std::type_identity<Bag>) { report.columns.push_back(Bag::kName); });
    ForEach(Everyone{}, [&]<class Bag>(std::type_identity<Bag>) { report.memory.push_back(Memory<Bag>(in.tree)); });
    for (auto step : {Lookups, Copies, Reads, Writes, Contention}) step(report, in, plan);
    std::fprintf(stderr, "  workloads done\n");
    Scaling(report, plan);
    report.header = Header(options, plan);
    const std::string md = Markdown(report);
    std::fputs(md.c_str(), stdout);
    if (!WriteFile(options.out + "/compare.md", md) || !WriteFile(options.out + "/compare.svg", Svg(report))) {
        std::fprintf(stderr, "cannot write into %s\n", options.out.c_str());
        return 1;
    }
    std::printf("\nwritten: %s/compare.md, %s/compare.svg\n", options.out.c_str(), options.out.c_str());
    return options.maxRatio > 0 ? Guard(report, options.maxRatio) : 0;
}

}  // namespace
}  // namespace cmp

int main(int argc, char** argv) {
    cmp::Options options;
    if (!cmp::ParseOptions(argc, argv, options)) return 2;
#ifdef __GLIBC__
    // Freed memory stays with malloc rather than going back to the system, as
    // in a process that has run a while: the samples then time the libraries,
    // not the page faults of memory handed back and taken again.
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
#endif
    cmp::InitAlternatives();
    return cmp::Run(options);
}
