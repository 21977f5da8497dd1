// The samples of a Counter run: the retained history, statistics since the reset, and what the plots show of
// them. Numbers only: no widget, no text, no clock. Owned and used by its tab on the GUI thread.
#pragma once

#include "CountHistogram.h"
#include "CounterSettings.h"
#include "CounterTraces.h"
#include "UiCounterSample.h"

#include <array>
#include <deque>

namespace qorn::timetagger::gui {

class CounterEngine {
public:
    // A sample as it was taken.
    struct Taken {
        quint64 number = 0;          // since the reset, from 1
        double elapsedSeconds = 0.0; // sum of all gates up to its end
        double gateSeconds = 0.0;
        std::array<quint64, timing::kChannels> counts{};
        double liveSumHz = 0.0; // of all inputs
    };
    // Of all samples since the reset, retained or not.
    struct Statistics {
        quint64 samples = 0;
        double mean = 0.0;      // counts per sample; 0 without samples
        double deviation = 0.0; // standard deviation of the same
        quint64 maxCounts = 0;
        double maxRate = 0.0; // Hz
    };

    // Takes the settings and trims the history. Another integration forgets all samples, and the result is
    // then true.
    bool apply(const CounterSettings& newSettings);
    const CounterSettings& settings() const { return current; }

    // Forgets all samples; the settings stay.
    void reset();
    // Forgets the maxima; mean and deviation go on.
    void resetMax();

    // Takes a sample. One without gate counts as one integration, missing inputs as 0.
    Taken add(const UiCounterSample& sample);

    quint64 sampleCount() const { return samples; }
    double elapsedSeconds() const { return elapsed; }
    std::size_t retainedSamples() const { return history.size(); }
    Statistics statistics(int channel) const;
    // The best value since the reset, in the rate mode of the settings.
    double bestValue(int channel) const;

    // The retained samples of the selected inputs, in the rate and history mode of the settings. Time in s:
    // a sample stands at the sum of the retained gates up to its own end.
    CounterTraces traces() const;
    // The distribution of these traces.
    CountHistogram histogram(const CounterTraces& shown) const;
    AxisRange xRange(const CounterTraces& shown) const;
    AxisRange yRange(const CounterTraces& shown) const;
    AxisRange histogramYRange(const CountHistogram& shown) const;

private:
    struct Retained {
        double gateSeconds = 0.0;
        std::array<quint64, timing::kChannels> counts{};
    };
    struct Sums {
        double counts = 0.0;
        double squares = 0.0;
        quint64 maxCounts = 0;
        double maxRate = 0.0;
    };

    void resizeHistories();
    QList<double> xValues() const;
    bool perSecond() const { return current.rateMode == CounterSettings::RateMode::PerSecond; }

    CounterSettings current;
    quint64 samples = 0;
    double elapsed = 0.0;
    std::deque<Retained> history;
    std::array<Sums, timing::kChannels> sums{};
};

} // namespace qorn::timetagger::gui
