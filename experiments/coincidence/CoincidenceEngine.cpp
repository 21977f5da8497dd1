#include "CoincidenceEngine.h"

#include <algorithm>
#include <numeric>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerSecond = 1e12;

template <std::size_t Size>
void takeCounts(const QList<quint64>& counts, std::array<quint64, Size>& target) {
    const qsizetype known = std::min<qsizetype>(counts.size(), Size);
    std::copy_n(counts.begin(), known, target.begin());
}

} // namespace

void CoincidenceEngine::apply(const CoincidenceSettings& newSettings) {
    current = newSettings;
    std::array<quint64, kPairs> windows{};
    const auto windowsPs = current.pairWindowPs();
    std::transform(windowsPs.begin(), windowsPs.end(), windows.begin(),
                   [](qint64 ps) { return static_cast<quint64>(std::max<qint64>(ps, 0)); });
    counter.setPairWindows(windows);
    sorter.setOffsets(current.offsetPs());
    gate.setLength(current.gateDurationPs());
    if (!gate.isOpen()) {
        dropOpenGate();
    }
    history.trimToAge(current.traceHistorySec);
}

void CoincidenceEngine::reset() {
    counter.reset();
    gate.close();
    dropOpenGate();
    ended.clear();
    latest = {};
    sums = {};
    history.clear();
}

void CoincidenceEngine::resume() {
    gate.close();
    dropOpenGate();
}

// What the open gate has counted is in no gate.
void CoincidenceEngine::dropOpenGate() {
    counted = counter.counts();
}

std::span<const CoincidenceEngine::Gate> CoincidenceEngine::addTags(std::span<const UiTimeTag> tags) {
    ended.clear();
    for (const TagEvent& event : sorter.sort(tags)) {
        const TagGate::Step step = gate.advanceTo(event.timePs);
        for (qint64 n = 0; n < step.endedGates; ++n) {
            closeGate();
        }
        if (step.restarted) {
            dropOpenGate();
        }
        counter.add(event.timePs, event.channel);
    }
    return ended;
}

void CoincidenceEngine::closeGate() {
    Counts difference = counter.counts();
    difference -= counted;
    dropOpenGate();
    publishGate(difference, static_cast<double>(gate.lengthPs()) / kPsPerSecond);
    if (static_cast<qint64>(ended.size()) < TagGate::kMostGatesInARow) {
        ended.push_back(latest);
    }
}

const CoincidenceEngine::Gate& CoincidenceEngine::addSample(const UiCoincidenceSample& sample) {
    Counts counts;
    takeCounts(sample.singles, counts.singles);
    takeCounts(sample.pairs, counts.pairs);
    takeCounts(sample.triples, counts.triples);
    counts.quadruple = sample.quadruple;
    counts.pairSum = std::accumulate(counts.pairs.begin(), counts.pairs.end(), quint64{0});
    publishGate(counts, sample.gateSeconds > 0.0 ? sample.gateSeconds : current.gateSeconds());
    return latest;
}

void CoincidenceEngine::publishGate(const Counts& counts, double seconds) {
    latest = {latest.sample + 1, latest.elapsedSeconds + seconds, seconds, counts};
    sums += counts;
    std::array<double, kPairs> rates{};
    std::transform(counts.pairs.begin(), counts.pairs.end(), rates.begin(),
                   [this](quint64 count) { return rate(count, latest); });
    history.append(latest.elapsedSeconds, rates);
    history.trimToAge(current.traceHistorySec);
}

} // namespace qorn::timetagger::gui
