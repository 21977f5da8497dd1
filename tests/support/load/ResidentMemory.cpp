#include "ResidentMemory.h"

#include <fstream>

#include <malloc.h>
#include <unistd.h>

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
    const auto heap = mallinfo2();
    return static_cast<double>(heap.uordblks + heap.hblkhd) / kMebibyte;
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
