// Timing for the comparison. Each sample builds its state (untimed), runs the
// body once between two clock reads and drops the state (untimed); a row
// shows the median of the samples, which shrugs off the odd sample that a
// busy neighbour on the machine stretched.
#ifndef TAV_BENCH_COMPARE_HARNESS_HPP
#define TAV_BENCH_COMPARE_HARNESS_HPP

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <vector>

namespace cmp {

// CPU time of the calling thread: what the other core's load can't inflate.
inline double ThreadCpuNs() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) * 1e9 + static_cast<double>(ts.tv_nsec);
}

inline double WallNs() {
    return static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                   std::chrono::steady_clock::now().time_since_epoch())
                                   .count());
}

inline double Median(std::vector<double> v) {
    if (v.empty()) return -1;
    std::sort(v.begin(), v.end());
    const std::size_t m = v.size() / 2;
    return v.size() % 2 != 0 ? v[m] : (v[m - 1] + v[m]) / 2;
}

// Keeps a result alive so that the optimiser can't drop the work behind it.
template <class T>
inline void Keep(const T& value) {
    asm volatile("" : : "r,m"(value) : "memory");
}

// The median of the samples, and the best: the cost undisturbed by the rest
// of the machine, which the regression guard compares.
struct Timing {
    double median = -1;
    double best = -1;
};

inline Timing Summarise(const std::vector<double>& samples) {
    if (samples.empty()) return {};
    return {Median(samples), *std::min_element(samples.begin(), samples.end())};
}

// CPU time of `reps` samples of body(state), state = setup() each time.
template <class Setup, class Body>
Timing SampleCpuNs(int reps, Setup&& setup, Body&& body) {
    std::vector<double> samples;
    for (int r = 0; r < reps; ++r) {
        auto state = setup();
        const double t0 = ThreadCpuNs();
        body(state);
        samples.push_back(ThreadCpuNs() - t0);
    }
    return Summarise(samples);
}

}  // namespace cmp

#endif
