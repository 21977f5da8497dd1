// The settings of the Frequency measurement, and what follows from them. A plain record.
#pragma once

#include <QJsonObject>
#include <QStringList>
#include <QtGlobal>

namespace qorn::timetagger::gui {

struct FrequencySettings {
    enum class YAxisMode { Auto, ZeroMinimum, Custom };

    static constexpr double kMostBaseHz = 1e9;
    static constexpr int kBaseDecimals = 6;
    static constexpr double kLeastBinSeconds = 1e-6;
    static constexpr double kMostBinSeconds = 60.0;
    static constexpr int kLeastHistoryBins = 10;
    static constexpr int kMostHistoryBins = 100000;
    static constexpr double kLeastHistRangeNs = 0.001;
    static constexpr double kMostHistRangeNs = 1e9;
    static constexpr double kLeastHistBinPs = 1.0;
    static constexpr double kMostHistBinPs = 1e9;
    static constexpr double kMostYLimit = 1e12;

    int channel = 1; // as on the front panel, 1 to 4
    bool autoBaseFrequency = true;
    double baseHz = 1000.0; // may have more digits than its control shows
    double binSeconds = 0.1;
    int historyBins = 300;
    double histRangeNs = 5.0; // half of the period histogram's range
    double histBinPs = 10.0;
    bool showOffsetPlot = true;
    bool showDriftPlot = false;
    bool showHistogramPlot = false;
    YAxisMode yAxisMode = YAxisMode::Auto;
    double yMin = -1.0;
    double yMax = 1.0;

    int channelIndex() const;      // 0 to 3
    quint8 channelMask() const;    // bit of the input alone
    qint64 binPs() const;          // at least 1
    int historyLimit() const;      // bins kept, at least 10
    qint64 histRangePs() const;    // at least 1
    qint64 histBinWidthPs() const; // at least 1
    double plotWindowSeconds() const;

    // Names of the choices in files, in the order of their values.
    static QStringList yAxisModeNames();

    // The base is written as its control shows it.
    QJsonObject toJson() const;
    // Takes the keys that are present and of the right type, numbers held within their limits; an unknown
    // name leaves the choice as it is.
    void takeJson(const QJsonObject& object);
};

} // namespace qorn::timetagger::gui
