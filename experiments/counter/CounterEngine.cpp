#include "CounterEngine.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kSameIntegration = 1e-12;   // s
constexpr double kLeastSampleSeconds = 1e-9; // as a divisor
constexpr double kTraceHeadroom = 1.1;       // of the Y range above the largest value
constexpr double kAutoMargin = 0.08;         // of the values' range, on either side
constexpr double kHistogramHeadroom = 1.1;
constexpr double kAutoHistogramHeadroom = 1.15;

AxisRange customRange(const CounterSettings& settings) {
    return {settings.yMin, settings.yMin < settings.yMax ? settings.yMax : settings.yMin + 1.0};
}

} // namespace

bool CounterEngine::apply(const CounterSettings& newSettings) {
    const bool otherIntegration =
        std::abs(newSettings.gateSeconds() - current.gateSeconds()) > kSameIntegration;
    current = newSettings;
    if (otherIntegration) {
        reset();
    }
    resizeHistories();
    return otherIntegration;
}

void CounterEngine::reset() {
    samples = 0;
    elapsed = 0.0;
    history.clear();
    sums = {};
}

void CounterEngine::resetMax() {
    for (Sums& sum : sums) {
        sum.maxCounts = 0;
        sum.maxRate = 0.0;
    }
}

CounterEngine::Taken CounterEngine::add(const UiCounterSample& sample) {
    const double asked = sample.gateSeconds > 0.0 ? sample.gateSeconds : current.gateSeconds();
    Taken taken;
    taken.gateSeconds = std::max(asked, kLeastSampleSeconds);
    taken.number = ++samples;
    elapsed += taken.gateSeconds;
    taken.elapsedSeconds = elapsed;
    for (std::size_t channel = 0; channel < sums.size(); ++channel) {
        const quint64 count = sample.counts.value(static_cast<qsizetype>(channel), 0);
        const auto asDouble = static_cast<double>(count);
        const double rate = asDouble / taken.gateSeconds;
        taken.counts[channel] = count;
        taken.liveSumHz += rate;
        Sums& sum = sums[channel];
        sum.counts += asDouble;
        sum.squares += asDouble * asDouble;
        sum.maxCounts = std::max(sum.maxCounts, count);
        sum.maxRate = std::max(sum.maxRate, rate);
    }
    history.push_back({taken.gateSeconds, taken.counts});
    resizeHistories();
    return taken;
}

void CounterEngine::resizeHistories() {
    const auto limit = static_cast<std::size_t>(current.historyLimit());
    while (history.size() > limit) {
        history.pop_front();
    }
}

CounterEngine::Statistics CounterEngine::statistics(int channel) const {
    const Sums& sum = sums[static_cast<std::size_t>(channel)];
    Statistics result{samples, 0.0, 0.0, sum.maxCounts, sum.maxRate};
    if (samples > 0) {
        const auto divisor = static_cast<double>(samples);
        result.mean = sum.counts / divisor;
        result.deviation = std::sqrt(std::max(sum.squares / divisor - result.mean * result.mean, 0.0));
    }
    return result;
}

double CounterEngine::bestValue(int channel) const {
    const Sums& sum = sums[static_cast<std::size_t>(channel)];
    return perSecond() ? sum.maxRate : static_cast<double>(sum.maxCounts);
}

QList<double> CounterEngine::xValues() const {
    QList<double> xs;
    xs.reserve(static_cast<qsizetype>(history.size()));
    if (current.historyMode == CounterSettings::HistoryMode::Bins) {
        for (std::size_t index = 0; index < history.size(); ++index) {
            xs.append(static_cast<double>(index));
        }
        return xs;
    }
    double time = 0.0;
    for (const Retained& sample : history) {
        time += sample.gateSeconds;
        xs.append(time);
    }
    return xs;
}

CounterTraces CounterEngine::traces() const {
    CounterTraces result;
    result.xs = xValues();
    const auto points = static_cast<qsizetype>(history.size());
    bool first = true;
    for (const int channel : current.selectedChannels()) {
        const auto index = static_cast<std::size_t>(channel);
        QList<double> ys(points);
        auto target = ys.begin();
        for (const Retained& sample : history) {
            const auto count = static_cast<double>(sample.counts[index]);
            *target++ = perSecond() ? count / sample.gateSeconds : count;
        }
        if (points > 0) {
            const auto [low, high] = std::minmax_element(ys.cbegin(), ys.cend());
            result.lowest = first ? *low : std::min(result.lowest, *low);
            result.highest = first ? *high : std::max(result.highest, *high);
            first = false;
        }
        result.ys.append(std::move(ys));
    }
    return result;
}

CountHistogram CounterEngine::histogram(const CounterTraces& shown) const {
    return countHistogram(shown, !perSecond());
}

AxisRange CounterEngine::xRange(const CounterTraces& shown) const {
    if (current.historyMode == CounterSettings::HistoryMode::Bins) {
        return {0.0, static_cast<double>(std::max(current.historyBins - 1, 1))};
    }
    return {0.0, std::max(shown.xs.isEmpty() ? 0.0 : shown.xs.last(), current.timeWindowSeconds)};
}

AxisRange CounterEngine::yRange(const CounterTraces& shown) const {
    switch (current.yAxisMode) {
    case CounterSettings::YAxisMode::Custom:
        return customRange(current);
    case CounterSettings::YAxisMode::Auto:
        if (const double margin = kAutoMargin * (shown.highest - shown.lowest); margin > 0.0) {
            return {shown.lowest - margin, shown.highest + margin};
        }
        return {0.0, 1.0};
    case CounterSettings::YAxisMode::ZeroMinimum:
        break;
    }
    return {0.0, std::max(shown.highest * kTraceHeadroom, 1.0)};
}

AxisRange CounterEngine::histogramYRange(const CountHistogram& shown) const {
    switch (current.yAxisMode) {
    case CounterSettings::YAxisMode::Custom:
        return customRange(current);
    case CounterSettings::YAxisMode::Auto:
        return {0.0, std::max(shown.highest * kAutoHistogramHeadroom, 1.0)};
    case CounterSettings::YAxisMode::ZeroMinimum:
        break;
    }
    return {0.0, std::max(shown.highest * kHistogramHeadroom, 1.0)};
}

} // namespace qorn::timetagger::gui
