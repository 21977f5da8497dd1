// Linked into each program of a build with the address sanitizer: checks for leaks when main has ended, ahead
// of what the libraries do at their end. Qt lets go of a pool thread before the system has ended it, and at
// its own end of the key by which that thread would free its data; the sanitizer's own check comes later and
// would tell of that data.
#include <cstdlib>

#include <sanitizer/lsan_interface.h>

namespace {

// The sanitizer checks but once, so this takes the place of its own check.
[[maybe_unused]] const int registered = std::atexit(__lsan_do_leak_check);

} // namespace
