#include "CounterTagEngine.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerSecond = 1e12;

// Cycles of the instrument's clock in a gate, as a hardware sample of that length would carry.
quint32 periodCycles(double seconds) {
    constexpr double kMost = std::numeric_limits<quint32>::max();
    return static_cast<quint32>(std::min(std::round(timing::kClockHz * seconds), kMost));
}

} // namespace

CounterTagEngine::CounterTagEngine() {
    apply(CounterSettings());
}

void CounterTagEngine::apply(const CounterSettings& newSettings) {
    const bool otherSource = newSettings.coincidenceEnabled != current.coincidenceEnabled;
    current = newSettings;
    gate.setLength(current.tagGateDurationPs());
    counter.setPairWindows(current.pairWindowsPs());
    sorter.setOffsets(current.offsetsPs());
    pairRates.trimToCount(static_cast<std::size_t>(current.coincidenceHistoryLimit()));
    if (otherSource || !gate.isOpen()) {
        restartAccumulators();
    }
}

void CounterTagEngine::reset() {
    restartAccumulators();
    endedGates = 0;
    pairRates.clear();
}

void CounterTagEngine::restartAccumulators() {
    gate.close();
    counter.reset();
    dropOpenGate();
}

void CounterTagEngine::dropOpenGate() {
    tagGateCounts = {};
    lastCounts = counter.counts();
}

void CounterTagEngine::addBatch(std::span<const UiTimeTag> tags, const GateSink& sink) {
    if (current.coincidenceEnabled) {
        addWithCoincidences(tags, sink);
    } else {
        addSelected(tags, sink);
    }
}

void CounterTagEngine::addWithCoincidences(std::span<const UiTimeTag> tags, const GateSink& sink) {
    for (const TagEvent& event : sorter.sort(tags)) {
        if (const TagGate::Step step = gate.advanceTo(event.timePs); step.endedGates > 0 || step.restarted)
            [[unlikely]] {
            endGates(step, sink);
        }
        ++tagGateCounts[event.channel];
        counter.add(event.timePs, event.channel);
    }
}

void CounterTagEngine::addSelected(std::span<const UiTimeTag> tags, const GateSink& sink) {
    for (const UiTimeTag& tag : tags) {
        if (tag.channel >= timing::kChannels || !current.channels[tag.channel]) {
            continue;
        }
        if (const TagGate::Step step = gate.advanceTo(tag.timePs); step.endedGates > 0 || step.restarted)
            [[unlikely]] {
            endGates(step, sink);
        }
        ++tagGateCounts[tag.channel];
    }
}

void CounterTagEngine::endGates(const TagGate::Step& step, const GateSink& sink) {
    for (qint64 ended = 0; ended < step.endedGates; ++ended) {
        closeTagGate(sink);
    }
    if (step.restarted) {
        dropOpenGate();
    }
}

void CounterTagEngine::closeTagGate(const GateSink& sink) {
    const double seconds = static_cast<double>(gate.lengthPs()) / kPsPerSecond;
    Gate ended;
    ended.sample.counts = QList<quint64>(tagGateCounts.begin(), tagGateCounts.end());
    for (const quint64 count : tagGateCounts) {
        ended.sample.totalCount += count;
    }
    ended.sample.gateSeconds = seconds;
    ended.sample.periodCycles = periodCycles(seconds);
    ++endedGates;
    if (current.coincidenceEnabled) {
        CoincidenceCounter::Counts counted = counter.counts();
        counted -= lastCounts;
        std::array<double, kPairs> rates{};
        for (std::size_t pair = 0; pair < kPairs; ++pair) {
            rates[pair] = static_cast<double>(counted.pairs[pair]) / seconds;
            ended.coincidences += current.pairs[pair] ? counted.pairs[pair] : 0;
        }
        pairRates.append(static_cast<double>(endedGates) * seconds, rates);
        pairRates.trimToCount(static_cast<std::size_t>(current.coincidenceHistoryLimit()));
    }
    dropOpenGate();
    sink(ended);
}

CounterTraces CounterTagEngine::coincidenceTraces() const {
    CounterTraces result;
    result.xs = pairRates.times();
    if (!result.xs.isEmpty()) {
        const double start = result.xs.first() - static_cast<double>(gate.lengthPs()) / kPsPerSecond;
        for (double& time : result.xs) {
            time -= start;
        }
    }
    for (const int pair : current.selectedCoincidencePairs()) {
        result.ys.append(pairRates.rates(static_cast<std::size_t>(pair)));
        for (const double rate : result.ys.last()) {
            result.highest = std::max(result.highest, rate);
        }
    }
    return result;
}

} // namespace qorn::timetagger::gui
