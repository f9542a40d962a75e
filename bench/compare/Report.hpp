// What the comparison measured and how it is shown: Markdown tables (medians,
// then this library's time over each other's) and an SVG chart of the ratios.
#ifndef TAV_BENCH_COMPARE_REPORT_HPP
#define TAV_BENCH_COMPARE_REPORT_HPP

#include <map>
#include <string>
#include <vector>

#include "Harness.hpp"

namespace cmp {

constexpr const char* kOurs = "TavProperties";
constexpr const char* kYardstick = "std::map";

// One contender on one row: the median and best ns of a sample of `units`
// operations (or entries) that read or wrote `bytes` of text.
struct Cell {
    double ns = -1;
    double units = 1;
    double bytes = 0;
    double bestNs = -1;
    Cell() = default;
    Cell(Timing t, double unitsPerSample = 1, double bytesPerSample = 0)
        : ns(t.median), units(unitsPerSample), bytes(bytesPerSample), bestNs(t.best) {}
    double PerUnit() const { return ns / units; }
};

struct Row {
    std::string id;     // "1", "4a", ...
    std::string title;
    std::string unit;   // what a cell shows: "ns/pair", "ms", ...
    double scale = 1;   // ns per shown unit
    std::map<std::string, Cell> cells;  // by contender name
    std::string note;   // why a contender is missing, how the row is exempt...
    double Ratio(const std::string& other) const;      // ours / other, medians, or -1
    double BestRatio(const std::string& other) const;  // the same of the best samples
};

struct ScalingRow {
    std::string op;  // "set", "get", ...
    std::size_t n = 0;
    std::map<std::string, Cell> cells;
};

struct MemoryRow {
    std::string contender;
    double heapPerEntry = -1;       // malloc_usable_size, -1 when not counted
    double requestedPerEntry = -1;  // through a counting TavAllocator (ours only)
};

struct Report {
    std::vector<std::string> columns;  // contenders in table order, ours first
    std::vector<Row> rows;
    std::vector<ScalingRow> scaling;
    std::vector<MemoryRow> memory;
    std::string header;  // what was run, on what
};

std::string Markdown(const Report& report);
std::string Svg(const Report& report);

}  // namespace cmp

#endif
