#include "LagEstimators.h"

#include "LagCounter.h"
#include "WideInteger.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace qorn::timing {
namespace {

using Times = std::span<const std::int64_t>;
using Storage = std::vector<std::int64_t>;

constexpr std::size_t kMostPhaseLags = 4000;

std::int64_t saturated(Wide value) {
    return static_cast<std::int64_t>(std::clamp<Wide>(value, std::numeric_limits<std::int64_t>::min(),
                                                      std::numeric_limits<std::int64_t>::max()));
}

// The list itself when it is ascending, else a sorted copy that lives in `copy`.
Times ascending(Times times, Storage& copy) {
    if (std::is_sorted(times.begin(), times.end())) {
        return times;
    }
    copy.assign(times.begin(), times.end());
    std::sort(copy.begin(), copy.end());
    return copy;
}

// The upper one of two middle values.
std::int64_t median(Storage& values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Finds the nearest of ascending times for one time after the other, which ascend too.
class NearestTime {
public:
    explicit NearestTime(Times list) : times(list) {}

    // The difference to the nearest time, the later one of two equally near ones. The list is not empty.
    Wide lag_of(std::int64_t time) {
        advance_to(time);
        if (next == times.size()) {
            return Wide{times.back()} - time;
        }
        const Wide after = Wide{times[next]} - time;
        if (next == 0) {
            return after;
        }
        const Wide before = Wide{times[next - 1]} - time;
        return -before < after ? before : after;
    }

private:
    // To the first one not below `time`: in steps that double, so that near ones cost little and far ones
    // are not walked to.
    void advance_to(std::int64_t time) {
        std::size_t step = 1;
        std::size_t low = next; // all before it are below `time`
        while (step < times.size() - low && times[low + step - 1] < time) {
            low += step;
            step *= 2;
        }
        const auto end = times.begin() + static_cast<std::ptrdiff_t>(std::min(low + step, times.size()));
        const auto begin = times.begin() + static_cast<std::ptrdiff_t>(low);
        next = static_cast<std::size_t>(std::lower_bound(begin, end, time) - times.begin());
    }

    Times times;
    std::size_t next = 0;
};

// The lags of every `stride`th time of `a` to the nearest of `b`, up to `most` of those within the bound.
Storage nearest_lags(Times a, Times b, std::optional<std::int64_t> max_abs_ps, std::size_t stride,
                     std::size_t most) {
    Storage lags;
    lags.reserve(std::min(most, a.size() / stride + 1));
    NearestTime nearest(b);
    for (std::size_t i = 0; i < a.size() && lags.size() < most; i += stride) {
        const Wide lag = nearest.lag_of(a[i]);
        if (!max_abs_ps || (lag < 0 ? -lag : lag) <= *max_abs_ps) {
            lags.push_back(saturated(lag));
        }
    }
    return lags;
}

// Median distance of ascending times; below 1 when there is none.
std::int64_t median_period(Times times) {
    Storage distances;
    for (std::size_t i = 1; i < times.size(); ++i) {
        distances.push_back(saturated(Wide{times[i]} - times[i - 1]));
    }
    return distances.empty() ? 0 : median(distances);
}

Storage sorted_phases(Times times, std::int64_t period) {
    Storage phases;
    phases.reserve(times.size());
    for (const std::int64_t time : times) {
        const std::int64_t rest = time % period;
        phases.push_back(rest < 0 ? rest + period : rest);
    }
    std::sort(phases.begin(), phases.end());
    return phases;
}

} // namespace

XcorrHistogram xcorr_histogram(std::span<const std::int64_t> a, std::span<const std::int64_t> b,
                               std::int64_t window_ps, std::int64_t bin_ps, std::int64_t offset_ps) {
    if (window_ps < 1 || bin_ps < 1) {
        return {{0}, {0}};
    }
    XcorrHistogram result;
    const Wide bins = (Wide{bin_ps} + 2 * Wide{window_ps} - 1) / bin_ps | 1;
    if (bins > static_cast<Wide>(result.lags_ps.max_size())) {
        throw std::length_error("xcorr_histogram: too many bins");
    }
    const auto half = static_cast<std::int64_t>(bins / 2);
    result.lags_ps.reserve(static_cast<std::size_t>(bins));
    for (std::int64_t i = -half; i <= half; ++i) {
        result.lags_ps.push_back(saturated(Wide{bin_ps} * i));
    }
    LagCounter counter(window_ps, bin_ps, static_cast<std::uint64_t>(half));
    Storage sorted_a;
    Storage sorted_b;
    counter.add(ascending(a, sorted_a), ascending(b, sorted_b), offset_ps);
    result.counts.assign(counter.counts().begin(), counter.counts().end());
    return result;
}

std::optional<std::int64_t> estimate_xcorr_offset_ps(std::span<const std::int64_t> a,
                                                     std::span<const std::int64_t> b,
                                                     std::optional<std::int64_t> max_abs_ps,
                                                     std::size_t max_samples) {
    if (a.empty() || b.empty()) {
        return std::nullopt;
    }
    Storage sorted_a;
    Storage sorted_b;
    const std::size_t stride = std::max<std::size_t>(a.size() / std::max<std::size_t>(max_samples, 1), 1);
    Storage lags =
        nearest_lags(ascending(a, sorted_a), ascending(b, sorted_b), max_abs_ps, stride, max_samples);
    return lags.empty() ? std::nullopt : std::optional(median(lags));
}

std::optional<std::int64_t> estimate_periodic_phase_offset_ps(std::span<const std::int64_t> a,
                                                              std::span<const std::int64_t> b,
                                                              std::int64_t max_abs_ps,
                                                              std::size_t min_samples) {
    if (a.size() < min_samples || b.size() < min_samples || b.empty()) {
        return std::nullopt;
    }
    Storage sorted_a;
    const std::int64_t period = median_period(ascending(a, sorted_a));
    if (period < 1) {
        return std::nullopt;
    }
    const Storage phases_a = sorted_phases(a, period);
    const Storage phases_b = sorted_phases(b, period);
    const std::size_t stride = std::max<std::size_t>(phases_a.size() / kMostPhaseLags, 1);
    Storage lags = nearest_lags(phases_a, phases_b, max_abs_ps, stride, kMostPhaseLags);
    return lags.empty() ? std::nullopt : std::optional(median(lags));
}

} // namespace qorn::timing
