#include "Report.hpp"

#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <string_view>

namespace cmp {

double Row::Ratio(const std::string& other) const {
    auto ours = cells.find(kOurs), them = cells.find(other);
    if (ours == cells.end() || them == cells.end() || them->second.ns <= 0) return -1;
    return ours->second.PerUnit() / them->second.PerUnit();
}

double Row::BestRatio(const std::string& other) const {
    auto ours = cells.find(kOurs), them = cells.find(other);
    if (ours == cells.end() || them == cells.end() || them->second.bestNs <= 0) return -1;
    return ours->second.bestNs / ours->second.units / (them->second.bestNs / them->second.units);
}

// Concatenation by appends (GCC 12 misreads chains of operator+ as overlapping copies).
static std::string Cat(std::initializer_list<std::string_view> parts) {
    std::string out;
    for (std::string_view p : parts) out += p;
    return out;
}

static std::string Format(const char* format, double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, format, v);
    return buf;
}

// "1.23 ms (185 MB/s)", or "n/a" for a contender the row leaves out.
static std::string CellText(const Row& row, const std::string& column) {
    auto it = row.cells.find(column);
    if (it == row.cells.end() || it->second.ns < 0) return "n/a";
    const double shown = it->second.PerUnit() / row.scale;
    std::string text = Format(shown < 10 ? "%.3g" : "%.0f", shown);
    if (it->second.bytes > 0)
        text += Format(" (%.0f MB/s)", it->second.bytes / it->second.ns * 1e3);
    return text;
}

static std::string HeaderLine(const std::vector<std::string>& columns, const std::string& first,
                              const std::string& prefix) {
    std::string line = Cat({"| ", first, " |"}), rule = "|---|";
    for (const std::string& c : columns) {
        line += Cat({" ", prefix, c, " |"});
        rule += "---:|";
    }
    return line + "\n" + rule + "\n";
}

static std::string MediansTable(const Report& report) {
    std::string out = HeaderLine(report.columns, "workload (unit)", "");
    for (const Row& row : report.rows) {
        out += Cat({"| ", row.id, ". ", row.title, " (", row.unit, ") |"});
        for (const std::string& c : report.columns) out += Cat({" ", CellText(row, c), " |"});
        out += "\n";
    }
    return out;
}

static std::vector<std::string> Others(const Report& report) {
    return {report.columns.begin() + 1, report.columns.end()};
}

static std::string RatiosTable(const Report& report) {
    std::string out = HeaderLine(Others(report), "workload", "ours / ");
    for (const Row& row : report.rows) {
        out += Cat({"| ", row.id, ". ", row.title, " |"});
        for (const std::string& c : Others(report)) {
            const double r = row.Ratio(c);
            out += r < 0 ? " n/a |" : Format(" %.2f |", r);
        }
        out += "\n";
    }
    return out;
}

static std::string Notes(const Report& report) {
    std::string out;
    for (const Row& row : report.rows)
        if (!row.note.empty()) out += Cat({"- ", row.id, ": ", row.note, "\n"});
    return out;
}

static std::vector<std::string> ScalingColumns(const Report& report) {
    std::vector<std::string> columns;
    for (const std::string& c : report.columns)
        for (const ScalingRow& row : report.scaling)
            if (row.cells.count(c) != 0) {
                columns.push_back(c);
                break;
            }
    return columns;
}

static std::string ScalingTable(const Report& report) {
    const std::vector<std::string> columns = ScalingColumns(report);
    std::string out = HeaderLine(columns, "operation, n (ns)", "");
    for (const ScalingRow& row : report.scaling) {
        out += "| ";
        out += row.op;
        out += Format(", 10^%.0f |", std::log10(static_cast<double>(row.n)));
        for (const std::string& c : columns) {
            auto it = row.cells.find(c);
            out += it == row.cells.end() ? " n/a |" : Format(" %.1f |", it->second.PerUnit());
        }
        out += "\n";
    }
    return out;
}

static std::string MemoryTable(const Report& report) {
    std::string out =
        "| contender | heap bytes per entry (malloc_usable_size) | requested through TavAllocator |\n"
        "|---|---:|---:|\n";
    for (const MemoryRow& m : report.memory) {
        out += Cat({"| ", m.contender, " |"});
        out += m.heapPerEntry < 0 ? " n/a |" : Format(" %.0f |", m.heapPerEntry);
        out += m.requestedPerEntry < 0 ? " |\n" : Format(" %.0f |\n", m.requestedPerEntry);
    }
    return out;
}

std::string Markdown(const Report& report) {
    return report.header + "\n### Medians\n\n" + MediansTable(report) +
           "\n### This library's time over each other's (below 1: this library is faster)\n\n" +
           RatiosTable(report) + "\n" + Notes(report) + "\n### Scaling (flat bags of n ints; set, get, remove per operation, the rest per entry)\n\n" + ScalingTable(report) +
           "\n### Memory (the 10,000-entry tree)\n\n" + MemoryTable(report);
}

// ---- the chart: one group of bars per workload, log2 axis centred on 1 -----

namespace {

constexpr double kLeft = 330, kAxisHalf = 260, kBar = 13, kMaxLog2 = 6;
const char* const kColours[] = {"#4477aa", "#ee6677", "#228833", "#ccbb44", "#66ccee", "#aa3377"};

struct Canvas {
    std::string body;
    double y = 60;
    void Text(double x, double ty, const std::string& s, const char* anchor = "start") {
        body += Format("<text x=\"%.1f\"", x) + Format(" y=\"%.1f\" text-anchor=\"", ty) + anchor +
                "\">" + s + "</text>\n";
    }
    void Rect(double x, double ry, double w, const char* colour) {
        body += Format("<rect x=\"%.1f\"", x) + Format(" y=\"%.1f\"", ry) + Format(" width=\"%.1f\"", w) +
                Format(" height=\"%.1f\" fill=\"", kBar - 2) + colour + "\"/>\n";
    }
};

std::string Escape(const std::string& s) {
    std::string out;
    for (char c : s) out += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : std::string(1, c);
    return out;
}

void Bar(Canvas& canvas, double ratio, const char* colour) {
    const double centre = kLeft + kAxisHalf;
    const double x = std::fmax(-kMaxLog2, std::fmin(kMaxLog2, std::log2(ratio))) / kMaxLog2 * kAxisHalf;
    canvas.Rect(x < 0 ? centre + x : centre, canvas.y, std::fabs(x) + 1, colour);
    canvas.Text(x < 0 ? centre + x - 4 : centre + x + 4, canvas.y + kBar - 3, Format("%.2f", ratio),
                x < 0 ? "end" : "start");
}

void Legend(Canvas& canvas, const std::vector<std::string>& others) {
    double x = 10;
    for (std::size_t i = 0; i < others.size(); ++i, x += 180) {
        canvas.Rect(x, 30, 12, kColours[i % 6]);
        canvas.Text(x + 16, 40, "ours / " + Escape(others[i]));
    }
}

}  // namespace

std::string Svg(const Report& report) {
    const std::vector<std::string> others = Others(report);
    Canvas canvas;
    Legend(canvas, others);
    for (const Row& row : report.rows) {
        canvas.Text(kLeft - 10, canvas.y + kBar, Escape(Cat({row.id, ". ", row.title})), "end");
        for (std::size_t i = 0; i < others.size(); ++i) {
            const double r = row.Ratio(others[i]);
            if (r > 0) Bar(canvas, r, kColours[i % 6]), canvas.y += kBar;
        }
        canvas.y += 10;
    }
    const double centre = kLeft + kAxisHalf, bottom = canvas.y;
    std::string axis = Format("<line x1=\"%.1f\" y1=\"50\"", centre) +
                       Format(" x2=\"%.1f\"", centre) + Format(" y2=\"%.1f\" stroke=\"black\"/>\n", bottom);
    for (int e = -(int)kMaxLog2; e <= (int)kMaxLog2; e += 2) {
        const double x = centre + e / kMaxLog2 * kAxisHalf;
        axis += Format("<text x=\"%.1f\"", x) + Format(" y=\"%.1f\" text-anchor=\"middle\">", bottom + 16) +
                (e < 0 ? Format("1/%.0f", std::exp2(-e)) : Format("%.0f", std::exp2(e))) + "</text>\n";
    }
    const double width = std::fmax(kLeft + 2 * kAxisHalf + 60, 10 + 180 * others.size()), height = bottom + 50;
    return Format("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\"", width) +
           Format(" height=\"%.0f\" font-family=\"sans-serif\" font-size=\"11\">\n", height) +
           "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n" +
           "<text x=\"10\" y=\"18\" font-size=\"14\">TavProperties time / each alternative's "
           "(log scale; left of 1: TavProperties faster)</text>\n" +
           canvas.body + axis + Format("<text x=\"%.1f\"", centre) +
           Format(" y=\"%.1f\" text-anchor=\"middle\">ratio</text>\n</svg>\n", bottom + 34);
}

}  // namespace cmp
