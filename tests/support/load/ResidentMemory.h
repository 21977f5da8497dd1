// How much memory the process holds, and by how much that grows. Any thread.
#pragma once

#include <vector>

namespace qorn::bench {

struct MemorySample {
    double seconds = 0.0;
    double mebibytes = 0.0;
};

// Resident memory of this process in MiB, by /proc/self/statm.
double residentMebibytes();

// What the C++ heap has given out and not got back, in MiB; what the allocator keeps beside that is resident
// memory too. 0 where the allocator does not tell.
double allocatedMebibytes();

// Slope of the straight line through the samples by least squares, in MiB per hour; 0 for fewer than two.
double growthPerHour(const std::vector<MemorySample>& samples);

} // namespace qorn::bench
