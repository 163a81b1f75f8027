// Leak checking of the test binaries when they are started by hand rather
// than by ctest: the same suppressions, for the binary itself and for every
// program it starts (the batch and end-to-end tests run kestrelwing).
#if defined(__SANITIZE_ADDRESS__) && defined(KW_LSAN_SUPPRESSIONS)
#include <cstdlib>

namespace {
constexpr const char* kLeakOptions = "suppressions=" KW_LSAN_SUPPRESSIONS ":print_suppressions=0";
// Children read LSAN_OPTIONS; one set by ctest or by hand wins.
[[maybe_unused]] const bool gChildOptions = setenv("LSAN_OPTIONS", kLeakOptions, 0) == 0;
} // namespace

// Read by LeakSanitizer at start-up, before LSAN_OPTIONS.
extern "C" const char* __lsan_default_options() { return kLeakOptions; }
#endif
