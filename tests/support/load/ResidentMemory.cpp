#include "ResidentMemory.h"

#include <cstddef>
#include <fstream>

#include <malloc.h>
#include <unistd.h>
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// Of the sanitizers' common interface; the compiler comes without its header.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes(); // NOLINT(bugprone-reserved-identifier)
#endif

namespace qorn::bench {
namespace {

constexpr double kMebibyte = 1048576.0;
constexpr double kSecondsPerHour = 3600.0;

} // namespace

double residentMebibytes() {
    std::ifstream status("/proc/self/statm");
    double total = 0.0;
    double resident = 0.0;
    status >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / kMebibyte;
}

double allocatedMebibytes() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return static_cast<double>(__sanitizer_get_current_allocated_bytes()) / kMebibyte;
#else
    const auto heap = mallinfo2();
    return static_cast<double>(heap.uordblks + heap.hblkhd) / kMebibyte;
#endif
}

double growthPerHour(const std::vector<MemorySample>& samples) {
    double meanTime = 0.0;
    double meanSize = 0.0;
    for (const MemorySample& sample : samples) {
        meanTime += sample.seconds / static_cast<double>(samples.size());
        meanSize += sample.mebibytes / static_cast<double>(samples.size());
    }
    double covariance = 0.0;
    double variance = 0.0;
    for (const MemorySample& sample : samples) {
        covariance += (sample.seconds - meanTime) * (sample.mebibytes - meanSize);
        variance += (sample.seconds - meanTime) * (sample.seconds - meanTime);
    }
    return variance > 0.0 ? covariance / variance * kSecondsPerHour : 0.0;
}

} // namespace qorn::bench
