// The Counter tab on hardware samples, for its tests.
#pragma once

#include "CounterTab.h"
#include "CountingStage.h"

#include <cmath>

namespace qorn::testing {

inline timetagger::gui::UiCounterSample sampleOf(const QList<quint64>& counts, double gate = 0.1) {
    timetagger::gui::UiCounterSample sample;
    sample.counts = counts;
    for (const quint64 count : counts) {
        sample.totalCount += count;
    }
    sample.gateSeconds = gate;
    sample.periodCycles = static_cast<quint32>(std::llround(gate * 3e8));
    return sample;
}

class CounterSampleStage : public CountingStage<timetagger::gui::CounterTab> {
public:
    void feed(const QList<quint64>& counts, double gate = 0.1) {
        tab.onCounterSample(sampleOf(counts, gate));
    }
    // One sample for each value, on input 1 alone.
    void feedFirst(const QList<quint64>& values, double gate = 0.1) {
        for (const quint64 value : values) {
            feed({value, 0, 0, 0}, gate);
        }
    }
    void showOnly(const QList<int>& inputs) {
        for (int input = 1; input <= 4; ++input) {
            box("channels", input).setChecked(inputs.contains(input));
        }
    }
    ShownPlot trace() const { return shownBy(plot("tracePlot")); }
    ShownPlot histogram() const { return shownBy(plot("histogramPlot")); }
};

} // namespace qorn::testing
