#include "RecordTimes.h"

#include "WideInteger.h"
#include "WrapArithmetic.h"

#include <algorithm>

namespace qorn::timing {
namespace {

constexpr std::int64_t kDelayPs = 1'000'000'000'000; // that tags wait on their way, at most

// True when a time is not within half a period from the latest one. A step of more than 64 bits comes out
// wrong, but by more than a near one is wide.
bool isFar(std::int64_t time, std::int64_t latest) {
    constexpr auto kNear = static_cast<std::uint64_t>(kHalfCoarseWrapPs) - 1;
    const std::uint64_t step = static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(latest);
    return step + kNear > 2 * kNear || (time < latest) != (static_cast<std::int64_t>(step) < 0);
}

// The whole periods by which a time that is far behind comes nearest to the latest one; 0 for one ahead, or
// so far behind that no rest of an input can be the cause.
std::uint64_t periodsToLatest(std::int64_t time, std::int64_t latest) {
    constexpr auto kPeriod = static_cast<std::uint64_t>(kCoarseWrapPs);
    constexpr std::uint64_t kLongestRestPs = std::uint64_t{1} << 62; // 53 days
    const std::uint64_t behind = static_cast<std::uint64_t>(latest) - static_cast<std::uint64_t>(time);
    if (time > latest || behind > kLongestRestPs) {
        return 0;
    }
    const std::uint64_t rest = behind % kPeriod;
    return behind - rest + (rest > kPeriod / 2 ? kPeriod : 0);
}

} // namespace

// The clocks of host and instrument drift, and tags wait a little on their way. What differs by more was no
// silence of the inputs, but most likely one of the transport, and the tags go on where they were.
void RecordTimes::catchUp(const TimeTag& next, std::int64_t silentPs) {
    constexpr std::int64_t kDriftParts = 10'000; // 100 ppm
    const std::int64_t tolerance = std::min(kDelayPs + silentPs / kDriftParts, kCoarseWrapPs / 4);
    const std::int64_t expected = add_wrapping(*latest, static_cast<std::uint64_t>(silentPs));
    std::uint64_t& behind = behindPs[next.channel % kChannels];
    const std::int64_t time = add_wrapping(next.timestamp_ps, behind);
    const std::uint64_t periods = periodsToLatest(time, expected);
    const Wide error = Wide{expected} - add_wrapping(time, periods);
    if (error <= tolerance && error >= -tolerance) {
        behind += periods;
    }
}

std::vector<RecordTime> RecordTimes::of(std::span<const TimeTag> tags, std::int64_t silentPs) {
    std::vector<RecordTime> times;
    if (tags.empty()) {
        return times;
    }
    if (latest && silentPs > kHalfCoarseWrapPs - kDelayPs) { // the host sees a silence begin late
        catchUp(tags.front(), silentPs);
    }
    std::int64_t reached = latest.value_or(tags.front().timestamp_ps);
    for (std::size_t index = 0; index < tags.size(); ++index) {
        std::uint64_t& behind = behindPs[tags[index].channel % kChannels];
        std::int64_t time = add_wrapping(tags[index].timestamp_ps, behind);
        bool isTold = isFirst;
        if (isFar(time, reached)) [[unlikely]] {
            const std::uint64_t periods = periodsToLatest(time, reached);
            behind += periods;
            time = add_wrapping(time, periods);
            isTold = isTold || isFar(time, reached);
        }
        if (isTold) [[unlikely]] {
            times.push_back({index, time});
            reached = time;
            isFirst = false;
        } else if (time > reached) {
            reached = time;
        }
    }
    latest = reached;
    return times;
}

} // namespace qorn::timing
