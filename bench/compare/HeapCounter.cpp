#include "HeapCounter.hpp"

#include <cstddef>  // brings __GLIBC__ in

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
#include <atomic>
#include <cerrno>
#include <cstddef>

#include <malloc.h>

// glibc's own entry points, which the definitions below forward to.
extern "C" {
void* __libc_malloc(std::size_t n);
void* __libc_calloc(std::size_t count, std::size_t n);
void* __libc_realloc(void* p, std::size_t n);
void* __libc_memalign(std::size_t alignment, std::size_t n);
void __libc_free(void* p);
}

namespace {
std::atomic<int> g_windows{0};
std::atomic<long long> g_live{0};

bool Counting() { return g_windows.load(std::memory_order_relaxed) != 0; }

void* Counted(void* p) {
    if (p != nullptr && Counting())
        g_live.fetch_add(static_cast<long long>(malloc_usable_size(p)), std::memory_order_relaxed);
    return p;
}

void Uncount(void* p) {
    if (p != nullptr && Counting())
        g_live.fetch_sub(static_cast<long long>(malloc_usable_size(p)), std::memory_order_relaxed);
}
}  // namespace

extern "C" {
void* malloc(std::size_t n) noexcept { return Counted(__libc_malloc(n)); }
void* calloc(std::size_t count, std::size_t n) noexcept {
    return Counted(__libc_calloc(count, n));
}
void* realloc(void* p, std::size_t n) noexcept {
    Uncount(p);
    void* q = __libc_realloc(p, n);
    if (q == nullptr && n != 0) return Counted(p);  // p is still live
    return Counted(q);
}
void free(void* p) noexcept {
    Uncount(p);
    __libc_free(p);
}
void* memalign(std::size_t alignment, std::size_t n) noexcept {
    return Counted(__libc_memalign(alignment, n));
}
void* aligned_alloc(std::size_t alignment, std::size_t n) noexcept {
    return Counted(__libc_memalign(alignment, n));
}
int posix_memalign(void** out, std::size_t alignment, std::size_t n) noexcept {
    void* p = __libc_memalign(alignment, n);
    if (p == nullptr) return ENOMEM;
    *out = Counted(p);
    return 0;
}
}

namespace cmp {
bool HeapCountingAvailable() { return true; }
HeapWindow::HeapWindow() {
    g_windows.fetch_add(1);
    start_ = g_live.load();
}
HeapWindow::~HeapWindow() { g_windows.fetch_sub(1); }
long long HeapWindow::Bytes() const { return g_live.load() - start_; }
}  // namespace cmp

#else

namespace cmp {
bool HeapCountingAvailable() { return false; }
HeapWindow::HeapWindow() : start_(0) {}
HeapWindow::~HeapWindow() = default;
long long HeapWindow::Bytes() const { return -1; }
}  // namespace cmp

#endif
