#include "RecordTimes.h"

namespace qorn::timing {

std::vector<RecordTime> RecordTimes::of(std::span<const TimeTag> tags) {
    std::vector<RecordTime> times;
    if (tags.empty()) {
        return times;
    }
    if (!latest) {
        latest = tags.front().timestamp_ps;
        times.push_back({0, *latest});
    }
    constexpr auto kNear = static_cast<std::uint64_t>(kHalfCoarseWrapPs) - 1;
    std::int64_t reached = *latest;
    for (std::size_t index = 0; index < tags.size(); ++index) {
        const std::int64_t time = tags[index].timestamp_ps;
        // A step of more than 64 bits comes out wrong, but by more than a near one is wide.
        const std::uint64_t step = static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(reached);
        const bool far =
            step + kNear > 2 * kNear || (time < reached) != (static_cast<std::int64_t>(step) < 0);
        if (far) [[unlikely]] {
            times.push_back({index, time});
            reached = time;
        } else if (time > reached) {
            reached = time;
        }
    }
    latest = reached;
    return times;
}

} // namespace qorn::timing
