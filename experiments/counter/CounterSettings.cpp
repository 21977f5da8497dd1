#include "CounterSettings.h"

#include "SettingsJson.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerSecond = 1e12;
constexpr double kPsPerNs = 1000.0;
constexpr int kLeastHistory = 2;

int samplesIn(double windowSeconds, double gateSeconds) {
    return std::max(static_cast<int>(std::ceil(windowSeconds / gateSeconds)), kLeastHistory);
}

template <std::size_t Size>
QList<int> selectedOf(const std::array<bool, Size>& flags) {
    QList<int> selected;
    for (std::size_t i = 0; i < Size; ++i) {
        if (flags[i]) {
            selected.append(static_cast<int>(i));
        }
    }
    return selected;
}

} // namespace

double CounterSettings::gateSeconds() const {
    return std::max(integrationSeconds, kLeastIntegrationSeconds);
}

qint64 CounterSettings::tagGateDurationPs() const {
    return std::max<qint64>(std::llround(gateSeconds() * kPsPerSecond), 1);
}

int CounterSettings::historyLimit() const {
    return historyMode == HistoryMode::Bins ? std::max(historyBins, kLeastHistory)
                                            : samplesIn(timeWindowSeconds, gateSeconds());
}

int CounterSettings::coincidenceHistoryLimit() const {
    return historyMode == HistoryMode::Bins ? std::max(historyBins, kLeastHistory)
                                            : samplesIn(coincidenceHistorySeconds, gateSeconds());
}

QList<int> CounterSettings::selectedChannels() const {
    return selectedOf(channels);
}

QList<int> CounterSettings::selectedCoincidencePairs() const {
    return selectedOf(pairs);
}

quint8 CounterSettings::channelMask() const {
    unsigned mask = 0;
    for (const int channel : selectedChannels()) {
        mask |= 1U << channel;
    }
    if (coincidenceEnabled) {
        for (const int pair : selectedCoincidencePairs()) {
            const PairChannels both = kPairChannels[static_cast<std::size_t>(pair)];
            mask |= (1U << both.first) | (1U << both.second);
        }
    }
    return static_cast<quint8>(mask);
}

std::array<quint64, kPairs> CounterSettings::pairWindowsPs() const {
    std::array<quint64, kPairs> windows{};
    std::transform(pairWindowsNs.begin(), pairWindowsNs.end(), windows.begin(), [](double ns) {
        return static_cast<quint64>(std::max(std::llround(ns * kPsPerNs), 0LL));
    });
    return windows;
}

std::array<qint64, timing::kChannels> CounterSettings::offsetsPs() const {
    std::array<qint64, timing::kChannels> offsets{};
    if (offsetsEnabled) {
        std::transform(offsetsNs.begin(), offsetsNs.end(), offsets.begin(),
                       [](double ns) { return static_cast<qint64>(std::llround(ns * kPsPerNs)); });
    }
    return offsets;
}

QString CounterSettings::pairLabel(int index) {
    const PairChannels pair = kPairChannels[static_cast<std::size_t>(index)];
    return QStringLiteral("C %1-%2").arg(pair.first + 1).arg(pair.second + 1);
}

QStringList CounterSettings::rateModeNames() {
    return {QStringLiteral("Per interval"), QStringLiteral("Per second")};
}

QStringList CounterSettings::historyModeNames() {
    return {QStringLiteral("Time (s)"), QStringLiteral("Bins")};
}

QStringList CounterSettings::yAxisModeNames() {
    return {QStringLiteral("Zero minimum"), QStringLiteral("Auto"), QStringLiteral("Custom")};
}

QStringList CounterSettings::splitNames() {
    return {QStringLiteral("Vertical split"), QStringLiteral("Horizontal split")};
}

QJsonObject CounterSettings::toJson() const {
    QJsonArray selected;
    for (const int channel : selectedChannels()) {
        selected.append(channel);
    }
    return {{QStringLiteral("channels"), selected},
            {QStringLiteral("showHistogram"), showHistogram},
            {QStringLiteral("display"), nameOf(historyModeNames(), historyMode)},
            {QStringLiteral("historyBins"), historyBins},
            {QStringLiteral("timeWindowSec"), timeWindowSeconds},
            {QStringLiteral("rateMode"), nameOf(rateModeNames(), rateMode)},
            {QStringLiteral("integrationSec"), integrationSeconds},
            {QStringLiteral("yAxisMode"), nameOf(yAxisModeNames(), yAxisMode)},
            {QStringLiteral("yMin"), yMin},
            {QStringLiteral("yMax"), yMax},
            {QStringLiteral("showStats"), showStats},
            {QStringLiteral("showMaxMarkers"), showMaxMarkers},
            {QStringLiteral("coincidenceEnabled"), coincidenceEnabled},
            {QStringLiteral("coincidenceWindowNs"), coincidenceWindowNs},
            {QStringLiteral("coincidencePairWindowsNs"), toJsonArray(pairWindowsNs)},
            {QStringLiteral("coincidenceHistorySec"), coincidenceHistorySeconds},
            {QStringLiteral("coincidenceSplit"), nameOf(splitNames(), split)},
            {QStringLiteral("coincidenceOffsetsEnabled"), offsetsEnabled},
            {QStringLiteral("coincidenceOffsetsNs"), toJsonArray(offsetsNs)},
            {QStringLiteral("coincidencePairs"), toJsonArray(pairs)}};
}

void CounterSettings::takeJson(const QJsonObject& object) {
    if (const QJsonValue selected = object.value(QLatin1String("channels")); selected.isArray()) {
        const QJsonArray numbers = selected.toArray();
        for (std::size_t channel = 0; channel < channels.size(); ++channel) {
            channels[channel] = numbers.contains(QJsonValue(static_cast<int>(channel)));
        }
    }
    takeFlag(object, "showHistogram", showHistogram);
    takeChoice(object, "display", historyModeNames(), historyMode);
    takeNumber(object, "historyBins", kLeastHistoryBins, kMostHistoryBins, historyBins);
    takeNumber(object, "timeWindowSec", kLeastWindowSeconds, kMostWindowSeconds, timeWindowSeconds);
    takeChoice(object, "rateMode", rateModeNames(), rateMode);
    takeNumber(object, "integrationSec", kLeastIntegrationSeconds, kMostIntegrationSeconds,
               integrationSeconds);
    takeChoice(object, "yAxisMode", yAxisModeNames(), yAxisMode);
    takeNumber(object, "yMin", -kMostYLimit, kMostYLimit, yMin);
    takeNumber(object, "yMax", -kMostYLimit, kMostYLimit, yMax);
    takeFlag(object, "showStats", showStats);
    takeFlag(object, "showMaxMarkers", showMaxMarkers);
    takeFlag(object, "coincidenceEnabled", coincidenceEnabled);
    takeNumber(object, "coincidenceWindowNs", 0.0, kMostWindowNs, coincidenceWindowNs);
    takeNumbers(object, "coincidencePairWindowsNs", 0.0, kMostWindowNs, pairWindowsNs);
    takeNumber(object, "coincidenceHistorySec", kLeastWindowSeconds, kMostWindowSeconds,
               coincidenceHistorySeconds);
    takeChoice(object, "coincidenceSplit", splitNames(), split);
    takeFlag(object, "coincidenceOffsetsEnabled", offsetsEnabled);
    takeNumbers(object, "coincidenceOffsetsNs", -kMostOffsetNs, kMostOffsetNs, offsetsNs);
    takeFlags(object, "coincidencePairs", pairs);
}

} // namespace qorn::timetagger::gui
