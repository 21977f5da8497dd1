// Correlates up to six pairs of inputs online, from as many tags as can be handled, and keeps per gate what
// falls into the pairs' windows. Numbers only: no widget, no text, no clock. Owned and used by its tab on the
// GUI thread.
#pragma once

#include "GateWalk.h"
#include "MultiCorrelationSettings.h"
#include "PairCorrelator.h"
#include "TagEventSorter.h"
#include "TagReduction.h"
#include "UiTimeTag.h"
#include "WindowTraces.h"

#include <optional>
#include <span>
#include <vector>

namespace qorn::timetagger::gui {

class MultiCorrelationEngine {
public:
    // What came of a batch.
    struct Taken {
        quint64 tags = 0;  // correlated
        quint64 gates = 0; // ended
    };

    // How the tags were thinned since the last reset.
    struct Reduction {
        quint64 skippedTags = 0;   // never correlated
        quint64 discardedTags = 0; // dropped from full buffers
        int maxStride = 1;         // of the batches that lost tags
        bool isActive() const { return skippedTags > 0 || discardedTags > 0; }
    };

    MultiCorrelationEngine() { apply(MultiCorrelationSettings()); }

    // Takes settings: the histograms begin anew, the traces and the counts of the open gate stay.
    void apply(const MultiCorrelationSettings& newSettings);
    const MultiCorrelationSettings& settings() const { return current; }

    // Forgets all; the settings stay. `nowMs` is a clock that only goes forward, here and below.
    void reset(qint64 nowMs);
    // Gives up the open gate: the next tag opens one.
    void closeGate() { gate.close(); }
    void clearWindowCounts() { correlator.clearWindowCounts(); }

    // Takes tags in stream order. Ends the gates that they pass, silent ones too.
    Taken addBatch(std::span<const UiTimeTag> tags, qint64 nowMs);

    quint64 traceSamples() const { return endedGates; }
    quint64 processedTags() const { return processed; }
    quint64 sourceTags() const { return source; } // all that came of inputs 0 to 3
    Reduction reduction() const;
    double gateSeconds() const;

    const LagBins& bins() const { return correlator.bins(); }
    std::span<const quint64> histogram(std::size_t pair) const { return correlator.histogram(pair); }
    const WindowTraces& traces() const { return history; }

    // The corrections of the inputs' offsets in ns by the peaks of the selected pairs; absent when the
    // histograms do not settle them.
    std::optional<std::array<double, timing::kChannels>> offsetCorrections() const;

private:
    std::span<const UiTimeTag> reduce(std::span<const UiTimeTag> tags, quint64 count, int stride);
    void followTimeAxis(qint64 firstPs, qint64 lastPs);
    void endGates(quint64 gates);

    MultiCorrelationSettings current;
    TagReduction thinner;
    std::vector<UiTimeTag> kept;
    TagEventSorter sorter{TagEventSorter::Ties::Channel};
    PairCorrelator correlator;
    GateWalk gate;
    WindowTraces history;
    qint64 latestPs = 0; // the last time of the batch before
    quint64 endedGates = 0;
    quint64 processed = 0;
    quint64 source = 0;
    quint64 skipped = 0;
    int maxStride = 1;
};

} // namespace qorn::timetagger::gui
