// Counts singles and coincidences per gate, from the tags of a stream or from the samples of the hardware
// engine, and keeps what is shown of them: the latest gate, the sums of all gates, and the pair rates over
// time. Numbers only: no widget, no text, no clock. Owned and used by its tab on the GUI thread.
#pragma once

#include "CoincidenceCounter.h"
#include "CoincidenceSettings.h"
#include "PairRateHistory.h"
#include "TagEventSorter.h"
#include "TagGate.h"
#include "UiCoincidenceSample.h"
#include "UiTimeTag.h"

#include <array>
#include <span>
#include <vector>

namespace qorn::timetagger::gui {

class CoincidenceEngine {
public:
    using Counts = CoincidenceCounter::Counts;

    // A gate that has ended.
    struct Gate {
        quint64 sample = 0;          // its number, from 1
        double elapsedSeconds = 0.0; // gates up to the end of this one, together
        double seconds = 0.0;
        Counts counts;
    };

    CoincidenceEngine() { apply(CoincidenceSettings()); }

    // Takes windows, offsets, gate and trace history, from the next event on. Another gate gives up the open
    // one with its counts.
    void apply(const CoincidenceSettings& newSettings);
    const CoincidenceSettings& settings() const { return current; }

    // Forgets all counts; the settings stay.
    void reset();
    // Goes on after a pause: what was counted in the open gate is in no gate, and the next event opens one.
    void resume();

    // Takes a batch of a tag stream. Gives the gates that ended with it, oldest first, silent ones too, valid
    // until the next call; of a batch that spans more than TagGate::kMostGatesInARow of them, so many.
    std::span<const Gate> addTags(std::span<const UiTimeTag> tags);
    // Takes a gate of the hardware. One without a length counts as long as the setting.
    const Gate& addSample(const UiCoincidenceSample& sample);

    quint64 sampleCount() const { return latest.sample; } // gates since the last reset
    const Gate& latestGate() const { return latest; }     // all zero before the first
    const Counts& accumulated() const { return sums; }    // of all gates
    const PairRateHistory& trace() const { return history; }

    // Rate of one of the counts of a gate in Hz; 0 before the first gate.
    static double rate(quint64 count, const Gate& gate) {
        return gate.seconds > 0.0 ? static_cast<double>(count) / gate.seconds : 0.0;
    }

private:
    void closeGate();
    void publishGate(const Counts& counts, double seconds);
    void dropOpenGate();

    CoincidenceSettings current;
    TagEventSorter sorter{TagEventSorter::Ties::Arrival};
    TagGate gate;
    CoincidenceCounter counter;
    Counts counted; // of the counter when the last gate ended
    std::vector<Gate> ended;
    Gate latest;
    Counts sums;
    PairRateHistory history;
};

} // namespace qorn::timetagger::gui
