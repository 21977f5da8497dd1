// The settings of the Multi correlation measurement, in the units of their controls, and what they mean in
// ps. A plain record.
#pragma once

#include "CoincidencePairs.h"
#include "TimeTag.h"

#include <QJsonObject>
#include <QList>
#include <QStringList>
#include <QtGlobal>

#include <array>

namespace qorn::timetagger::gui {

// A window of lags as the operator sets it: its centre and its full width in ns.
struct TraceWindow {
    double centerNs = 0.0;
    double widthNs = 0.5;
    bool operator==(const TraceWindow&) const = default;
};

// The two windows of a pair.
struct PairWindows {
    TraceWindow a;
    TraceWindow b{1.0, 0.5};
    bool operator==(const PairWindows&) const = default;
};

// The bins of a lag histogram: bin i begins at i * binPs - rangePs.
struct LagBins {
    qint64 rangePs = 1; // lags count up to this, either way
    qint64 binPs = 4;
    int binCount = 1;
    bool operator==(const LagBins&) const = default;
};

// A lag is in the window up to halfWidthPs from the centre, inclusive.
struct LagWindow {
    qint64 centerPs = 0;
    qint64 halfWidthPs = 1;
    bool operator==(const LagWindow&) const = default;
};

struct PairLagWindows {
    LagWindow a;
    LagWindow b;
    bool operator==(const PairLagWindows&) const = default;
};

struct MultiCorrelationSettings {
    enum class RateMode { PerInterval, PerSecond };
    enum class PlotSplit { Vertical, Horizontal };

    static constexpr double kLeastRangeNs = 0.01;
    static constexpr double kMostRangeNs = 1e6;
    static constexpr double kLeastBinNs = 0.004;
    static constexpr double kMostBinNs = 1e6;
    static constexpr double kLeastGateSec = 0.001;
    static constexpr double kMostGateSec = 60.0;
    static constexpr double kLeastHistorySec = 0.1;
    static constexpr double kMostHistorySec = 3600.0;
    static constexpr double kMostCenterNs = 1e6; // either way
    static constexpr double kLeastWidthNs = 0.001;
    static constexpr double kMostWidthNs = 1e6;
    static constexpr double kMostOffsetNs = 1e6; // either way
    static constexpr int kMostBins = 4001;       // of a histogram; finer bins are widened

    std::array<bool, kPairs> pairs{true, true, true, true, true, true};
    double rangeNs = 0.5; // half of the span of lags
    double binNs = 0.008;
    double gateSec = 0.1;
    double traceHistorySec = 10.0;
    RateMode rateMode = RateMode::PerInterval;
    PlotSplit splitMode = PlotSplit::Vertical;
    std::array<PairWindows, kPairs> windows{};
    bool offsetsEnabled = false;
    std::array<double, timing::kChannels> offsetsNs{};

    QList<int> selectedPairs() const; // indices of kPairChannels, ascending
    LagBins lagBins() const;
    std::array<PairLagWindows, kPairs> lagWindows() const;
    std::array<qint64, timing::kChannels> offsetsPs() const; // zeros unless enabled
    qint64 gateDurationPs() const;                           // at least 1
    qint64 traceHistoryPs() const;                           // at least 0.1 s

    // Names of the choices in files, in the order of their values.
    static QStringList rateModeNames();
    static QStringList splitNames();

    QJsonObject toJson() const;
    // Takes the keys that are present and of the right type, numbers held within their limits; an unknown
    // name leaves the choice as it is, a short array the values that it does not reach.
    void takeJson(const QJsonObject& object);
};

} // namespace qorn::timetagger::gui
