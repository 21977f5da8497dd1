#include "MultiCorrelationEngine.h"

#include "OffsetSolver.h"
#include "SaturatedTime.h"
#include "TagGate.h"

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerSecond = 1e12;

} // namespace

void MultiCorrelationEngine::apply(const MultiCorrelationSettings& newSettings) {
    current = newSettings;
    correlator.apply(current);
    sorter.setOffsets(current.offsetsPs());
    if (gate.lengthPs() != current.gateDurationPs()) {
        gate.setLength(current.gateDurationPs());
    }
}

void MultiCorrelationEngine::reset(qint64 nowMs) {
    thinner.reset(nowMs);
    correlator.reset();
    gate.close();
    history.clear();
    endedGates = 0;
    processed = 0;
    source = 0;
    skipped = 0;
    maxStride = 1;
}

MultiCorrelationEngine::Taken MultiCorrelationEngine::addBatch(std::span<const UiTimeTag> tags,
                                                               qint64 nowMs) {
    const auto count = static_cast<quint64>(std::count_if(
        tags.begin(), tags.end(), [](const UiTimeTag& tag) { return tag.channel < timing::kChannels; }));
    if (count == 0) {
        return {};
    }
    source += count;
    const int stride = thinner.reductionStrideForBatch(count, correlator.deepestBuffer(), nowMs);
    const std::span<const TagEvent> events = sorter.sort(reduce(tags, count, stride));
    processed += events.size();
    const quint64 gatesBefore = endedGates;
    if (!events.empty()) {
        followTimeAxis(events.front().timePs, events.back().timePs);
    }
    for (const TagEvent& event : events) {
        if (const quint64 ended = gate.advanceTo(event.timePs); ended > 0) [[unlikely]] {
            endGates(ended);
        }
        correlator.add(event.timePs, event.channel);
    }
    return {events.size(), endedGates - gatesBefore};
}

// A batch that begins much before the end of the last one is behind a jump of the time axis, and nothing of
// it lies in a common gate or range with what was before.
void MultiCorrelationEngine::followTimeAxis(qint64 firstPs, qint64 lastPs) {
    if (saturatedDifference(latestPs, firstPs) > TagGate::kLongestStepBackPs) {
        correlator.forgetTimes();
        correlator.clearWindowCounts();
        gate.close();
    }
    latestPs = lastPs;
}

// The tags that stay; `count` of them all are of inputs that exist.
std::span<const UiTimeTag> MultiCorrelationEngine::reduce(std::span<const UiTimeTag> tags, quint64 count,
                                                          int stride) {
    kept.clear();
    kept.reserve(std::min(count, count / static_cast<quint64>(stride) + 4));
    for (const UiTimeTag& tag : tags) {
        if (thinner.keepReducedTag(tag.channel, stride)) {
            kept.push_back(tag);
        }
    }
    if (kept.size() < count) {
        skipped += count - kept.size();
        maxStride = std::max(maxStride, stride);
    }
    return kept;
}

void MultiCorrelationEngine::endGates(quint64 gates) {
    const bool perSecond = current.rateMode == MultiCorrelationSettings::RateMode::PerSecond;
    const double unit = perSecond ? gateSeconds() : 1.0;
    WindowTraces::Values values{};
    const PairCorrelator::WindowCounts& counts = correlator.windowCounts();
    std::transform(counts.begin(), counts.end(), values.begin(),
                   [unit](quint64 windowCount) { return static_cast<double>(windowCount) / unit; });
    correlator.clearWindowCounts();
    const qint64 windowPs = current.traceHistoryPs();
    history.append(values, gate.lengthPs(), windowPs);
    history.appendSilence(gates - 1, gate.lengthPs(), windowPs);
    endedGates += gates;
}

MultiCorrelationEngine::Reduction MultiCorrelationEngine::reduction() const {
    return {skipped, correlator.discardedTags(), maxStride};
}

double MultiCorrelationEngine::gateSeconds() const {
    return static_cast<double>(gate.lengthPs()) / kPsPerSecond;
}

std::optional<std::array<double, timing::kChannels>> MultiCorrelationEngine::offsetCorrections() const {
    std::vector<OffsetEquation> equations;
    for (const int pair : current.selectedPairs()) {
        const auto index = static_cast<std::size_t>(pair);
        if (const auto equation = peakEquation(kPairChannels[index], histogram(index), bins())) {
            equations.push_back(*equation);
        }
    }
    return estimateOffsetCorrections(equations);
}

} // namespace qorn::timetagger::gui
