// Linked into each program of a build with the address sanitizer: how it looks for leaks.
#include <cstdlib>

#include <sanitizer/lsan_interface.h>

// GCC 12 now and then takes a wrong address for the thread-local data of a plugin, and its check crashes.
extern "C" __attribute__((visibility("default"), no_sanitize_address)) const char*
__asan_default_options() { // NOLINT(bugprone-reserved-identifier): the sanitizer's name
    return "intercept_tls_get_addr=0";
}

namespace {

// At the end of main, ahead of what the libraries do at theirs: Qt lets go of a pool thread before the system
// has ended it, and then of the key by which that thread would free its data. The sanitizer's own check comes
// later and would tell of that data; it checks but once, so this takes its place.
[[maybe_unused]] const int registered = std::atexit(__lsan_do_leak_check);

} // namespace
