// The lag estimators by their definition: every pair is looked at, every neighbour is searched from the
// start, every median is taken from a sorted list, and no number is too large. The measure for the quick
// ones.
#pragma once

#include "TagGenerator.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace qorn::testing {

using Times = std::vector<std::int64_t>;
__extension__ typedef __int128 WideTime; // holds every difference of times

struct ReferenceHistogram {
    Times lags;
    std::vector<std::uint64_t> counts;
};

inline WideTime wideMagnitude(WideTime value) {
    return value < 0 ? -value : value;
}

// To the nearest multiple of the bin, ties away from zero; how many bins that is.
inline WideTime nearestBin(WideTime delta, std::int64_t bin) {
    const WideTime k = (wideMagnitude(delta) + bin / 2) / bin;
    return delta < 0 ? -k : k;
}

inline ReferenceHistogram referenceHistogram(const Times& a, const Times& b, std::int64_t window,
                                             std::int64_t bin, std::int64_t offset) {
    if (window < 1 || bin < 1) {
        return {{0}, {0}};
    }
    WideTime bins = (bin + 2 * WideTime{window} - 1) / bin;
    bins += bins % 2 == 0 ? 1 : 0;
    const WideTime half = bins / 2;
    ReferenceHistogram histogram;
    for (WideTime i = 0; i < bins; ++i) {
        histogram.lags.push_back(static_cast<std::int64_t>(bin * (i - half)));
        histogram.counts.push_back(0);
    }
    for (const std::int64_t start : a) {
        for (const std::int64_t stop : b) {
            const WideTime delta = WideTime{stop} - start - offset;
            const WideTime index = nearestBin(delta, bin) + half;
            if (wideMagnitude(delta) <= window && index >= 0 && index < bins) {
                ++histogram.counts[static_cast<std::size_t>(index)];
            }
        }
    }
    return histogram;
}

inline Times sortedTimes(Times times) {
    std::sort(times.begin(), times.end());
    return times;
}

// From `time` to its nearest neighbour in the sorted `others`, of two equally near ones to the later.
inline WideTime lagToNearest(const Times& others, std::int64_t time) {
    const auto later =
        std::find_if(others.begin(), others.end(), [time](std::int64_t other) { return other >= time; });
    if (later == others.end()) {
        return WideTime{others.back()} - time;
    }
    const WideTime after = WideTime{*later} - time;
    if (later == others.begin()) {
        return after;
    }
    const WideTime before = WideTime{*(later - 1)} - time;
    return -before < after ? before : after;
}

// The upper one of two in the middle.
inline std::optional<std::int64_t> upperMedian(std::vector<WideTime> values) {
    if (values.empty()) {
        return std::nullopt;
    }
    std::sort(values.begin(), values.end());
    return static_cast<std::int64_t>(values[values.size() / 2]);
}

inline std::optional<std::int64_t> referenceOffset(const Times& a, const Times& b,
                                                   std::optional<std::int64_t> bound, std::size_t samples) {
    if (a.empty() || b.empty()) {
        return std::nullopt;
    }
    const Times starts = sortedTimes(a);
    const Times stops = sortedTimes(b);
    const std::size_t stride = std::max<std::size_t>(a.size() / std::max<std::size_t>(samples, 1), 1);
    std::vector<WideTime> lags;
    for (std::size_t i = 0; i < starts.size() && lags.size() < samples; i += stride) {
        const WideTime lag = lagToNearest(stops, starts[i]);
        if (!bound || wideMagnitude(lag) <= *bound) {
            lags.push_back(lag);
        }
    }
    return upperMedian(lags);
}

inline Times sortedPhases(const Times& times, WideTime period) {
    Times phases;
    for (const std::int64_t time : times) {
        phases.push_back(static_cast<std::int64_t>((time % period + period) % period));
    }
    return sortedTimes(phases);
}

inline std::optional<std::int64_t> referencePhaseOffset(const Times& a, const Times& b, std::int64_t bound,
                                                        std::size_t least) {
    if (a.size() < least || b.size() < least || a.size() < 2 || b.empty()) {
        return std::nullopt;
    }
    const Times starts = sortedTimes(a);
    std::vector<WideTime> gaps;
    for (std::size_t i = 1; i < starts.size(); ++i) {
        gaps.push_back(WideTime{starts[i]} - starts[i - 1]);
    }
    std::sort(gaps.begin(), gaps.end());
    const WideTime period = gaps[gaps.size() / 2];
    if (period < 1) {
        return std::nullopt;
    }
    const Times phases = sortedPhases(a, period);
    const Times others = sortedPhases(b, period);
    const std::size_t stride = std::max<std::size_t>(phases.size() / 4000, 1);
    std::vector<WideTime> lags;
    for (std::size_t i = 0; i < phases.size() && lags.size() < 4000; i += stride) {
        const WideTime lag = lagToNearest(others, phases[i]);
        if (wideMagnitude(lag) <= bound) {
            lags.push_back(lag);
        }
    }
    return upperMedian(lags);
}

// `count` times in order with gaps of 0 to `largestGap`, all multiples of `grid`.
inline Times randomTimes(RandomSource& random, std::size_t count, std::int64_t start, std::int64_t largestGap,
                         std::int64_t grid = 1) {
    Times times;
    std::int64_t time = start;
    for (std::size_t i = 0; i < count; ++i) {
        times.push_back(time / grid * grid);
        time += static_cast<std::int64_t>(random.below(static_cast<std::uint64_t>(largestGap) + 1));
    }
    return times;
}

inline void shuffle(Times& times, RandomSource& random) {
    for (std::size_t i = times.size(); i > 1; --i) {
        std::swap(times[i - 1], times[random.below(i)]);
    }
}

} // namespace qorn::testing
