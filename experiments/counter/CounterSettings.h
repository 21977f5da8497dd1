// The settings of the Counter measurement, and what follows from them. A plain record.
#pragma once

#include "CoincidencePairs.h"
#include "TimeTag.h"

#include <QJsonObject>
#include <QList>
#include <QStringList>
#include <QtGlobal>

#include <array>

namespace qorn::timetagger::gui {

struct CounterSettings {
    enum class RateMode { PerInterval, PerSecond };
    enum class HistoryMode { Time, Bins };
    enum class YAxisMode { ZeroMinimum, Auto, Custom };
    enum class PlotSplit { Vertical, Horizontal };

    static constexpr double kLeastIntegrationSeconds = 0.001;
    static constexpr double kMostIntegrationSeconds = 60.0;
    static constexpr int kLeastHistoryBins = 10;
    static constexpr int kMostHistoryBins = 10000;
    static constexpr double kLeastWindowSeconds = 0.1; // of both time windows
    static constexpr double kMostWindowSeconds = 3600.0;
    static constexpr double kMostYLimit = 1e9;
    static constexpr double kMostWindowNs = 1e9;
    static constexpr double kMostOffsetNs = 1e9;

    std::array<bool, timing::kChannels> channels{true, true, true, true};
    double integrationSeconds = 0.1;
    RateMode rateMode = RateMode::PerInterval;
    bool showHistogram = false;
    HistoryMode historyMode = HistoryMode::Time;
    int historyBins = 100;
    double timeWindowSeconds = 10.0;
    YAxisMode yAxisMode = YAxisMode::ZeroMinimum;
    double yMin = 0.0;
    double yMax = 1000.0;
    bool showStats = false;
    bool showMaxMarkers = false;

    bool coincidenceEnabled = false;
    double coincidenceWindowNs = 10.0; // to be copied to the pairs on demand
    std::array<double, kPairs> pairWindowsNs{10.0, 10.0, 10.0, 10.0, 10.0, 10.0};
    bool offsetsEnabled = false;
    std::array<double, timing::kChannels> offsetsNs{};
    std::array<bool, kPairs> pairs{true, true, true, true, true, true};
    PlotSplit split = PlotSplit::Vertical;
    double coincidenceHistorySeconds = 10.0;

    double gateSeconds() const;       // at least 0.001
    qint64 tagGateDurationPs() const; // the same gate on the time axis of the tags, at least 1
    int historyLimit() const;         // samples kept, at least 2
    int coincidenceHistoryLimit() const;
    QList<int> selectedChannels() const; // 0 to 3, ascending
    QList<int> selectedCoincidencePairs() const;
    // Bit n is input n: the selected inputs and, with coincidences, those of the selected pairs.
    quint8 channelMask() const;
    // In ps; the offsets are 0 unless enabled.
    std::array<quint64, kPairs> pairWindowsPs() const;
    std::array<qint64, timing::kChannels> offsetsPs() const;

    static QString pairLabel(int index); // "C 1-2"

    // Names of the choices in files, in the order of their values.
    static QStringList rateModeNames();
    static QStringList historyModeNames();
    static QStringList yAxisModeNames();
    static QStringList splitNames();

    // "channels" holds the numbers of the selected inputs, 0 to 3.
    QJsonObject toJson() const;
    // Takes the keys that are present and of the right type, numbers held within their limits; an unknown
    // name leaves the choice as it is, a short array the values that it does not reach.
    void takeJson(const QJsonObject& object);
};

} // namespace qorn::timetagger::gui
