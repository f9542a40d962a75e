// Live heap bytes of the whole process, counted by the malloc family this
// binary interposes (glibc only): what the alternatives hold, whether they
// allocate through operator new, malloc or GLib. Counting is off unless a
// HeapWindow is open, so the timed workloads pay one untaken branch.
#ifndef TAV_BENCH_COMPARE_HEAPCOUNTER_HPP
#define TAV_BENCH_COMPARE_HEAPCOUNTER_HPP

namespace cmp {

bool HeapCountingAvailable();

// Net bytes (malloc_usable_size) allocated and not freed while it is open.
class HeapWindow {
public:
    HeapWindow();
    ~HeapWindow();
    HeapWindow(const HeapWindow&) = delete;
    HeapWindow& operator=(const HeapWindow&) = delete;
    long long Bytes() const;

private:
    long long start_;
};

}  // namespace cmp

#endif
