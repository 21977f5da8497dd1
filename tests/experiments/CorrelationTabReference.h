// What a correlation must come to, straight from its definition: every pair of tags is looked at.
#pragma once

#include "UiTimeTag.h"

#include <QList>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <vector>

namespace qorn::testing {

// Times of the tags of one input, 0-based, in order.
inline std::vector<qint64> timesOf(const QList<timetagger::gui::UiTimeTag>& tags, int input) {
    std::vector<qint64> times;
    for (const auto& tag : tags) {
        if (tag.channel == input) {
            times.push_back(tag.timePs);
        }
    }
    return times;
}

// Counts of bins at lags (i - half) * binPs.
struct LagCounts {
    std::vector<quint64> counts;
    qint64 half = 0;
    qint64 binPs = 1;

    qint64 lagPs(std::size_t bin) const { return (static_cast<qint64>(bin) - half) * binPs; }
    quint64 total() const {
        quint64 sum = 0;
        for (const quint64 count : counts) {
            sum += count;
        }
        return sum;
    }
    std::size_t tallestBin() const {
        return static_cast<std::size_t>(std::max_element(counts.begin(), counts.end()) - counts.begin());
    }
    double mean() const {
        double sum = 0.0;
        for (std::size_t bin = 0; bin < counts.size(); ++bin) {
            sum += static_cast<double>(counts[bin]) * static_cast<double>(lagPs(bin));
        }
        return total() > 0 ? sum / static_cast<double>(total()) : 0.0;
    }
    double rms() const {
        double sum = 0.0;
        const double centre = mean();
        for (std::size_t bin = 0; bin < counts.size(); ++bin) {
            const double distance = static_cast<double>(lagPs(bin)) - centre;
            sum += static_cast<double>(counts[bin]) * distance * distance;
        }
        return total() > 0 ? std::sqrt(sum / static_cast<double>(total())) : 0.0;
    }
};

// As the histogram of a whole run counts.
inline LagCounts integratedCounts(const std::vector<qint64>& sources, const std::vector<qint64>& targets,
                                  qint64 windowPs, qint64 binPs, qint64 offsetPs) {
    LagCounts result;
    result.half = windowPs / binPs;
    result.binPs = binPs;
    result.counts.assign(static_cast<std::size_t>(2 * result.half + 1), 0);
    for (const qint64 source : sources) {
        for (const qint64 target : targets) {
            const qint64 lag = target - source - offsetPs;
            if (std::abs(lag) > windowPs) {
                continue;
            }
            const qint64 index =
                std::llround(static_cast<double>(lag) / static_cast<double>(binPs)) + result.half;
            if (index >= 0 && index < static_cast<qint64>(result.counts.size())) {
                ++result.counts[static_cast<std::size_t>(index)];
            }
        }
    }
    return result;
}

// As the histogram of the latest tags counts.
inline LagCounts instantCounts(const std::vector<qint64>& sources, const std::vector<qint64>& targets,
                               qint64 windowPs, qint64 binPs, qint64 offsetPs) {
    qint64 bins = (binPs + 2 * windowPs - 1) / binPs;
    bins += bins % 2 == 0 ? 1 : 0;
    LagCounts result;
    result.half = bins / 2;
    result.binPs = binPs;
    result.counts.assign(static_cast<std::size_t>(bins), 0);
    for (const qint64 source : sources) {
        for (const qint64 target : targets) {
            const qint64 lag = target - source - offsetPs;
            if (std::abs(lag) > windowPs) {
                continue;
            }
            const qint64 size = (std::abs(lag) + binPs / 2) / binPs;
            const qint64 index = result.half + (lag < 0 ? -size : size);
            if (index >= 0 && index < bins) {
                ++result.counts[static_cast<std::size_t>(index)];
            }
        }
    }
    return result;
}

// The points that are shown of a histogram; with a positive `expected` they are in units of it.
struct ShownCurve {
    QList<double> xs;
    QList<double> ys;
};
inline ShownCurve shownCurve(const LagCounts& histogram, double expected) {
    const std::size_t bins = histogram.counts.size();
    const std::size_t stride = (bins + 3999) / 4000;
    ShownCurve curve;
    for (std::size_t first = 0; first < bins; first += stride) {
        const std::size_t end = std::min(first + stride, bins);
        double sum = 0.0;
        for (std::size_t bin = first; bin < end; ++bin) {
            sum += static_cast<double>(histogram.counts[bin]);
        }
        curve.ys.append(expected > 0.0 ? sum / (static_cast<double>(end - first) * expected) : sum);
        curve.xs.append(static_cast<double>(histogram.lagPs(first) + histogram.lagPs(end - 1)) * 0.5 / 1000);
    }
    return curve;
}

// The median of the lags to the nearest target, of sources spread evenly.
inline std::optional<qint64> medianNearestLag(const std::vector<qint64>& sources,
                                              const std::vector<qint64>& targets, qint64 searchPs,
                                              std::size_t samples) {
    std::vector<qint64> lags;
    const std::size_t stride = std::max<std::size_t>(sources.size() / samples, 1);
    for (std::size_t source = 0; source < sources.size() && lags.size() < samples; source += stride) {
        std::optional<qint64> nearest;
        for (const qint64 target : targets) {
            const qint64 lag = target - sources[source];
            if (!nearest || std::abs(lag) <= std::abs(*nearest)) {
                nearest = lag;
            }
        }
        if (nearest && std::abs(*nearest) <= searchPs) {
            lags.push_back(*nearest);
        }
    }
    if (lags.empty()) {
        return std::nullopt;
    }
    std::sort(lags.begin(), lags.end());
    return lags[lags.size() / 2];
}

} // namespace qorn::testing
