#include "Pacer.h"

#include "TimeBase.h"

#include <algorithm>

namespace qorn::simulator {

namespace {

using std::chrono::nanoseconds;

constexpr std::int64_t kPsPerNs = 1000;
constexpr std::int64_t kMostBehindPs = 5 * kPsPerSecond;
constexpr std::chrono::hours kNever{24};

} // namespace

std::int64_t Pacer::reachedPs(Time now) const {
    if (unpaced()) {
        return endPs;
    }
    return std::min(std::chrono::duration_cast<nanoseconds>(now - start).count() * kPsPerNs, endPs);
}

bool Pacer::mustGoOn(std::int64_t positionPs) const {
    return unpaced() && endPs != std::numeric_limits<std::int64_t>::max() && positionPs + kSlicePs <= endPs;
}

Pacer::Time Pacer::reachedAt(std::int64_t ps) const {
    if (unpaced() || ps > endPs) {
        return start + std::max<Time::duration>(std::chrono::steady_clock::now() - start, {}) + kNever;
    }
    return start + nanoseconds((ps + kPsPerNs - 1) / kPsPerNs);
}

void Pacer::slip(Time now, std::int64_t positionPs) {
    const std::int64_t behind = reachedPs(now) - positionPs;
    if (!unpaced() && behind > kMostBehindPs) {
        start += nanoseconds(behind / kPsPerNs);
    }
}

} // namespace qorn::simulator
