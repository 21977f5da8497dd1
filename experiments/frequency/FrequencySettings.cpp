#include "FrequencySettings.h"

#include "SettingsJson.h"
#include "TimeTag.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerSecond = 1e12;
constexpr double kPsPerNs = 1000.0;

} // namespace

int FrequencySettings::channelIndex() const {
    return std::clamp(channel - 1, 0, timing::kChannels - 1);
}

quint8 FrequencySettings::channelMask() const {
    return static_cast<quint8>(1U << channelIndex());
}

qint64 FrequencySettings::binPs() const {
    return std::max<qint64>(std::llround(binSeconds * kPsPerSecond), 1);
}

int FrequencySettings::historyLimit() const {
    return std::max(historyBins, kLeastHistoryBins);
}

qint64 FrequencySettings::histRangePs() const {
    return std::max<qint64>(std::llround(histRangeNs * kPsPerNs), 1);
}

qint64 FrequencySettings::histBinWidthPs() const {
    return std::max<qint64>(std::llround(histBinPs), 1);
}

double FrequencySettings::plotWindowSeconds() const {
    return std::max(historyLimit() * binSeconds, binSeconds);
}

QStringList FrequencySettings::yAxisModeNames() {
    return {QStringLiteral("Auto"), QStringLiteral("Zero minimum"), QStringLiteral("Custom")};
}

QJsonObject FrequencySettings::toJson() const {
    return {{QStringLiteral("channel"), channel},
            {QStringLiteral("autoBaseFrequency"), autoBaseFrequency},
            {QStringLiteral("baseHz"), QString::number(baseHz, 'f', kBaseDecimals).toDouble()},
            {QStringLiteral("binSeconds"), binSeconds},
            {QStringLiteral("historyBins"), historyBins},
            {QStringLiteral("histRangeNs"), histRangeNs},
            {QStringLiteral("histBinPs"), histBinPs},
            {QStringLiteral("showOffsetPlot"), showOffsetPlot},
            {QStringLiteral("showDriftPlot"), showDriftPlot},
            {QStringLiteral("showHistogramPlot"), showHistogramPlot},
            {QStringLiteral("yAxisMode"), nameOf(yAxisModeNames(), yAxisMode)},
            {QStringLiteral("yMin"), yMin},
            {QStringLiteral("yMax"), yMax}};
}

void FrequencySettings::takeJson(const QJsonObject& object) {
    takeNumber(object, "channel", 1, timing::kChannels, channel);
    takeFlag(object, "autoBaseFrequency", autoBaseFrequency);
    takeNumber(object, "baseHz", 0.0, kMostBaseHz, baseHz);
    takeNumber(object, "binSeconds", kLeastBinSeconds, kMostBinSeconds, binSeconds);
    takeNumber(object, "historyBins", kLeastHistoryBins, kMostHistoryBins, historyBins);
    takeNumber(object, "histRangeNs", kLeastHistRangeNs, kMostHistRangeNs, histRangeNs);
    takeNumber(object, "histBinPs", kLeastHistBinPs, kMostHistBinPs, histBinPs);
    takeFlag(object, "showOffsetPlot", showOffsetPlot);
    takeFlag(object, "showDriftPlot", showDriftPlot);
    takeFlag(object, "showHistogramPlot", showHistogramPlot);
    takeChoice(object, "yAxisMode", yAxisModeNames(), yAxisMode);
    takeNumber(object, "yMin", -kMostYLimit, kMostYLimit, yMin);
    takeNumber(object, "yMax", -kMostYLimit, kMostYLimit, yMax);
}

} // namespace qorn::timetagger::gui
