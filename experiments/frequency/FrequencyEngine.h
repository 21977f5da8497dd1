// Frequency, offset and drift of one periodic input in bins, and the errors of its period tag by tag. Numbers
// only: no widget, no text, no clock. Owned and used by its tab on the GUI thread.
#pragma once

#include "FrequencySettings.h"
#include "PeriodErrors.h"
#include "PeriodHistogram.h"
#include "UiTimeTag.h"

#include <QList>

#include <deque>
#include <functional>
#include <optional>
#include <span>

namespace qorn::timetagger::gui {

class FrequencyEngine {
public:
    // A bin that has ended with two tags or more.
    struct Bin {
        quint64 number = 0;       // since the reset, from 1
        double timeSeconds = 0.0; // of its end, since the run's first tag
        quint64 tags = 0;
        double spanSeconds = 0.0; // from its first to its last tag
        double frequencyHz = 0.0;
        double baseHz = 0.0;
        double driftPpm = 0.0; // 0 without a base
        qint64 firstPs = 0;
        qint64 lastPs = 0;
    };
    using BinSink = std::function<void(const Bin&)>;

    FrequencyEngine();

    // Takes the settings. Bin length, base and history limit are in force from now on; another input forgets
    // all tags. Detection that is switched off, or on before the first bin has ended, is so at once, else
    // from the next reset on.
    void apply(const FrequencySettings& newSettings);
    const FrequencySettings& settings() const { return current; }

    // Forgets all tags and begins to detect the base, or takes that of the settings.
    void reset();
    // The tags that follow do not go on where the last ones ended: forgets the last tag and the open bin. If
    // they are earlier, their time began anew, and the run goes on from where it was.
    void breakOff();

    // Takes tags in stream order, ignores those of other inputs, and gives each bin that ends to `sink`. The
    // base that is detected goes into the settings too.
    void addBatch(std::span<const UiTimeTag> tags, const BinSink& sink);

    bool isBasePending() const { return basePending; }
    double baseHz() const { return base; } // 0 without a base, and while it is pending

    quint64 binCount() const { return binsEnded; } // of the run
    std::optional<double> latestFrequencyHz() const;
    std::optional<double> latestDriftPpm() const;

    // Of the bins kept, oldest first: times in s on an axis from 0 to the plot window, which slides once a
    // run is longer; frequencies in Hz, less the base if there is one; drifts in ppm.
    QList<double> rollingXValues() const;
    QList<double> frequencyOffsets() const;
    QList<double> drifts() const;

    std::size_t periodCount() const { return periodErrors.size(); }
    PeriodHistogram histogram() const;

private:
    struct KeptBin {
        double timeSeconds = 0.0;
        double frequencyHz = 0.0;
        double driftPpm = 0.0;
    };
    struct OpenBin {
        qint64 firstPs = 0;
        qint64 lastPs = 0;
        quint64 tags = 0;
    };

    void addTimes(std::span<const qint64> timesPs, const BinSink& sink);
    std::size_t countInOpenBin(std::span<const qint64> timesPs) const;
    void recordErrors(std::span<const qint64> timesPs);
    void openBinAt(qint64 timePs, const BinSink& sink);
    void finishCurrentBin(const BinSink& sink);
    void captureAutoBase(double frequencyHz);
    void trimHistory();

    FrequencySettings current;
    qint64 binPs = 1;
    std::optional<qint64> lastTagPs;
    std::optional<qint64> originPs; // the run's first tag
    std::optional<qint64> brokenPs; // the last tag before breakOff(), if none has come since
    std::optional<OpenBin> open;
    bool basePending = false;
    double base = 0.0;
    std::deque<KeptBin> bins;
    quint64 binsEnded = 0;
    PeriodErrors periodErrors;
};

} // namespace qorn::timetagger::gui
