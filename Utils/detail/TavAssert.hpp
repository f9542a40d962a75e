// Checks of what a caller must ensure (a precondition) or what the code keeps
// true (an invariant). Active in Debug builds, which the sanitizer and fuzz
// builds are: a broken check prints where it failed and the rule it names,
// then aborts. Release builds compile them away, so the rules cost nothing
// where they are kept.
#ifndef TAV_UTILS_DETAIL_TAVASSERT_HPP
#define TAV_UTILS_DETAIL_TAVASSERT_HPP

#include <cstdio>
#include <cstdlib>

namespace tav {

[[noreturn]] inline void AssertFailed(const char* check, const char* rule, const char* file,
                                      int line) {
    std::fprintf(stderr, "%s:%d: broken rule: %s (%s)\n", file, line, rule, check);
    std::abort();
}

}  // namespace tav

#ifdef NDEBUG
#define TAV_ASSERT(check, rule) ((void)0)
#else
#define TAV_ASSERT(check, rule) \
    ((check) ? (void)0 : ::tav::AssertFailed(#check, rule, __FILE__, __LINE__))
#endif

#endif
