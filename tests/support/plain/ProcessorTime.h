// What work takes of a core, whatever else runs on the machine.
#pragma once

#include <ctime>

namespace qorn::testing {

// Processor time of the calling thread so far.
inline double threadSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <typename Work>
double threadSecondsOf(Work&& work) {
    const double begin = threadSeconds();
    work();
    return threadSeconds() - begin;
}

} // namespace qorn::testing
