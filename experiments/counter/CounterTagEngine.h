// Makes Counter samples from tags: gates that walk on the time axis of the tags, with or without
// coincidences, and the history of pair rates. Numbers only: no widget, no text, no clock. Owned and used by
// its tab on the GUI thread.
#pragma once

#include "CoincidenceCounter.h"
#include "CounterSettings.h"
#include "CounterTraces.h"
#include "PairRateHistory.h"
#include "TagEventSorter.h"
#include "TagGate.h"
#include "UiCounterSample.h"

#include <array>
#include <functional>
#include <span>

namespace qorn::timetagger::gui {

class CounterTagEngine {
public:
    // A gate that ended.
    struct Gate {
        UiCounterSample sample;
        quint64 coincidences = 0; // of the selected pairs; 0 without coincidences
    };
    using GateSink = std::function<void(const Gate&)>;

    CounterTagEngine();

    // Takes gate length, inputs, windows, offsets and history limit. Another gate length gives up the open
    // gate.
    void apply(const CounterSettings& newSettings);

    // Forgets all: the open gate, the events and the rates. The settings stay.
    void reset();
    // Forgets the open gate and the events; the next tag opens a gate. The rates stay.
    void restartAccumulators();

    // Counts tags in stream order and gives each gate that ends to `sink`, also those without tags. With
    // coincidences all inputs count; without them only the selected ones.
    void addBatch(std::span<const UiTimeTag> tags, const GateSink& sink);

    const PairRateHistory& coincidenceHistory() const { return pairRates; }
    // Rates in Hz of the selected pairs over time in s: a gate stands at the end of its length, the oldest
    // one that is kept at one gate length.
    CounterTraces coincidenceTraces() const;

private:
    void addWithCoincidences(std::span<const UiTimeTag> tags, const GateSink& sink);
    void addSelected(std::span<const UiTimeTag> tags, const GateSink& sink);
    void endGates(const TagGate::Step& step, const GateSink& sink);
    void closeTagGate(const GateSink& sink);
    void dropOpenGate();

    CounterSettings current;
    TagGate gate;
    std::array<quint64, timing::kChannels> tagGateCounts{}; // of the open gate
    TagEventSorter sorter{TagEventSorter::Ties::Channel};
    CoincidenceCounter counter;
    CoincidenceCounter::Counts lastCounts; // at the end of the gate before
    quint64 endedGates = 0;                // since the reset
    PairRateHistory pairRates;
};

} // namespace qorn::timetagger::gui
