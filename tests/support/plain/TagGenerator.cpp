#include "TagGenerator.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace qorn::testing {

double RandomSource::exponential(double mean) {
    return -mean * std::log(1.0 - unit());
}

std::vector<timing::TimeTag> generateTags(const TagTraffic& traffic) {
    RandomSource random(traffic.seed);
    const auto gap = [&random, &traffic] {
        if (random.chance(traffic.burst_chance))
            return traffic.resolution_ps;
        const double ticks =
            random.exponential(traffic.mean_gap_ps) / static_cast<double>(traffic.resolution_ps);
        return (1 + static_cast<std::int64_t>(ticks)) * traffic.resolution_ps;
    };
    const std::int64_t first = (traffic.start_ps + traffic.resolution_ps - 1) / traffic.resolution_ps;
    std::array<std::int64_t, timing::kChannels> next{};
    for (std::int64_t& time : next)
        time = first * traffic.resolution_ps + gap();

    std::vector<timing::TimeTag> tags;
    tags.reserve(traffic.count);
    while (tags.size() < traffic.count) {
        std::size_t earliest = next.size();
        for (std::size_t channel = 0; channel < next.size(); ++channel) {
            const bool active = (traffic.mask >> channel & 1) != 0;
            if (active && (earliest == next.size() || next[channel] < next[earliest]))
                earliest = channel;
        }
        tags.push_back({static_cast<std::uint8_t>(earliest), next[earliest]});
        next[earliest] += gap();
        if (traffic.pause_ps > 0 && random.chance(traffic.pause_chance)) {
            const std::uint64_t most = static_cast<std::uint64_t>(traffic.pause_ps / traffic.resolution_ps);
            const auto silence = static_cast<std::int64_t>(random.below(most + 1)) * traffic.resolution_ps;
            for (std::int64_t& time : next)
                time += silence;
        }
    }
    return tags;
}

} // namespace qorn::testing
