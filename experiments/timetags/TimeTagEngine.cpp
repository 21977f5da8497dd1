#include "TimeTagEngine.h"

#include "SaturatedTime.h"

#include <algorithm>
#include <numeric>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerSecond = 1e12;

} // namespace

void TimeTagEngine::apply(const TimeTagSettings& newSettings) {
    current = newSettings;
    binPs = current.binPs();
    trimHistory();
}

void TimeTagEngine::reset() {
    const TimeTagSettings kept = current;
    *this = TimeTagEngine();
    apply(kept);
}

void TimeTagEngine::breakOff() {
    brokenOff = haveOrigin;
}

void TimeTagEngine::addBatch(std::span<const UiTimeTag> tags) {
    auto counts = currentBinCounts;
    for (const UiTimeTag& tag : tags) {
        if (tag.channel >= timing::kChannels) {
            continue;
        }
        if (!haveOrigin) {
            haveOrigin = true;
            originPs = tag.timePs;
            binStartPs = tag.timePs;
        }
        if (brokenOff) [[unlikely]] {
            goOnAt(tag.timePs);
        }
        lastTagPs = tag.timePs;
        if (saturatedDifference(tag.timePs, binStartPs) >= binPs) [[unlikely]] {
            currentBinCounts = counts;
            moveToBinOf(tag.timePs);
            counts = currentBinCounts;
        }
        ++counts[tag.channel];
        ++tagTotal;
    }
    currentBinCounts = counts;
}

void TimeTagEngine::goOnAt(qint64 timestampPs) {
    brokenOff = false;
    if (timestampPs < lastTagPs) {
        originPs = originGoingOn(originPs, lastTagPs, timestampPs);
        binStartPs = originGoingOn(binStartPs, lastTagPs, timestampPs);
    }
}

// Closes bins until the open one holds the time. Of empty bins no more are stored than the history keeps.
void TimeTagEngine::moveToBinOf(qint64 timestampPs) {
    finishCurrentBin();
    const qint64 empty = saturatedDifference(timestampPs, binStartPs) / binPs;
    const qint64 kept = std::min<qint64>(empty, current.historyLimit());
    binStartPs += (empty - kept) * binPs;
    for (qint64 bin = 0; bin < kept; ++bin) {
        finishCurrentBin();
    }
}

void TimeTagEngine::finishCurrentBin() {
    ClosedBin bin;
    binStartPs += binPs;
    bin.time = static_cast<double>(saturatedDifference(binStartPs, originPs)) / kPsPerSecond;
    for (std::size_t channel = 0; channel < bin.counts.size(); ++channel) {
        bin.counts[channel] = static_cast<double>(currentBinCounts[channel]);
        integratedTotals[channel] += bin.counts[channel];
    }
    bin.integrated = integratedTotals;
    bins.push_back(bin);
    currentBinCounts = {};
    trimHistory();
}

void TimeTagEngine::trimHistory() {
    const auto limit = static_cast<std::size_t>(current.historyLimit());
    while (bins.size() > limit) {
        bins.pop_front();
    }
}

double TimeTagEngine::elapsedSeconds() const {
    return haveOrigin
               ? std::max(0.0, static_cast<double>(saturatedDifference(lastTagPs, originPs)) / kPsPerSecond)
               : 0.0;
}

double TimeTagEngine::scaleValue(double value) const {
    if (current.quantity == TimeTagSettings::Quantity::Data) {
        value *= kMegabytesPerTag;
    }
    if (current.scaling == TimeTagSettings::Scaling::PerSecond) {
        value /= std::max(current.binSeconds, 1e-12);
    }
    return value;
}

QList<double> TimeTagEngine::xValues(bool includePartial) const {
    QList<double> xs;
    xs.reserve(static_cast<qsizetype>(bins.size()) + 1);
    for (const ClosedBin& bin : bins) {
        xs.append(bin.time);
    }
    if (includePartial && haveOrigin) {
        xs.append(static_cast<double>(saturatedDifference(binStartPs, originPs)) / kPsPerSecond);
    }
    return xs;
}

// What the open bin would add to a series, before scaling.
double TimeTagEngine::openValue(std::size_t channel) const {
    const auto count = static_cast<double>(currentBinCounts[channel]);
    return integrates() ? count + integratedTotals[channel] : count;
}

QList<double> TimeTagEngine::seriesForChannel(int channel, bool includePartial) const {
    const auto index = static_cast<std::size_t>(channel);
    QList<double> values;
    values.reserve(static_cast<qsizetype>(bins.size()) + 1);
    for (const ClosedBin& bin : bins) {
        values.append(scaleValue(integrates() ? bin.integrated[index] : bin.counts[index]));
    }
    if (includePartial && haveOrigin) {
        values.append(scaleValue(openValue(index)));
    }
    return values;
}

QList<double> TimeTagEngine::totalSeries(bool includePartial) const {
    QList<double> values;
    values.reserve(static_cast<qsizetype>(bins.size()) + 1);
    for (const ClosedBin& bin : bins) {
        const auto& counts = integrates() ? bin.integrated : bin.counts;
        values.append(scaleValue(std::accumulate(counts.begin(), counts.end(), 0.0)));
    }
    if (includePartial && haveOrigin) {
        double open = 0.0;
        for (std::size_t channel = 0; channel < currentBinCounts.size(); ++channel) {
            open += openValue(channel);
        }
        values.append(scaleValue(open));
    }
    return values;
}

} // namespace qorn::timetagger::gui
