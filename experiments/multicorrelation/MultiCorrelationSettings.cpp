#include "MultiCorrelationSettings.h"

#include "SettingsJson.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerSecond = 1e12;
constexpr double kPsPerNs = 1000.0;
constexpr double kHalfPsPerNs = 500.0;
constexpr qint64 kLeastBinPs = 4;

qint64 psOf(double ns) {
    return std::llround(ns * kPsPerNs);
}

LagWindow lagWindow(const TraceWindow& window) {
    return {psOf(window.centerNs), std::max<qint64>(std::llround(window.widthNs * kHalfPsPerNs), 1)};
}

QJsonObject windowJson(const TraceWindow& window) {
    return {{QStringLiteral("centerNs"), window.centerNs}, {QStringLiteral("widthNs"), window.widthNs}};
}

void takeWindow(const QJsonValue& value, TraceWindow& window) {
    using Settings = MultiCorrelationSettings;
    const QJsonObject object = value.toObject();
    takeNumber(object, "centerNs", -Settings::kMostCenterNs, Settings::kMostCenterNs, window.centerNs);
    takeNumber(object, "widthNs", Settings::kLeastWidthNs, Settings::kMostWidthNs, window.widthNs);
}

} // namespace

QList<int> MultiCorrelationSettings::selectedPairs() const {
    QList<int> selected;
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        if (pairs[pair]) {
            selected.append(static_cast<int>(pair));
        }
    }
    return selected;
}

LagBins MultiCorrelationSettings::lagBins() const {
    LagBins bins;
    bins.rangePs = std::max<qint64>(psOf(std::min(rangeNs, kMostRangeNs)), 1);
    bins.binPs = std::max(psOf(std::min(binNs, kMostBinNs)), kLeastBinPs);
    const qint64 wanted = 2 * bins.rangePs / bins.binPs + 1;
    if (wanted > kMostBins) {
        bins.binPs = std::max(2 * bins.rangePs / (kMostBins - 1), kLeastBinPs);
    }
    bins.binCount = static_cast<int>(std::min<qint64>(wanted, kMostBins));
    return bins;
}

std::array<PairLagWindows, kPairs> MultiCorrelationSettings::lagWindows() const {
    std::array<PairLagWindows, kPairs> result{};
    std::transform(windows.begin(), windows.end(), result.begin(), [](const PairWindows& pair) {
        return PairLagWindows{lagWindow(pair.a), lagWindow(pair.b)};
    });
    return result;
}

std::array<qint64, timing::kChannels> MultiCorrelationSettings::offsetsPs() const {
    std::array<qint64, timing::kChannels> offsets{};
    if (offsetsEnabled) {
        std::transform(offsetsNs.begin(), offsetsNs.end(), offsets.begin(), psOf);
    }
    return offsets;
}

qint64 MultiCorrelationSettings::gateDurationPs() const {
    return std::max<qint64>(std::llround(std::max(gateSec, kLeastGateSec) * kPsPerSecond), 1);
}

qint64 MultiCorrelationSettings::traceHistoryPs() const {
    return std::llround(std::max(traceHistorySec, kLeastHistorySec) * kPsPerSecond);
}

QStringList MultiCorrelationSettings::rateModeNames() {
    return {QStringLiteral("Per interval"), QStringLiteral("Per second")};
}

QStringList MultiCorrelationSettings::splitNames() {
    return {QStringLiteral("Vertical split"), QStringLiteral("Horizontal split")};
}

QJsonObject MultiCorrelationSettings::toJson() const {
    QJsonArray windowList;
    for (const PairWindows& pair : windows) {
        windowList.append(QJsonObject{{QStringLiteral("a"), windowJson(pair.a)},
                                      {QStringLiteral("b"), windowJson(pair.b)}});
    }
    return {{QStringLiteral("pairs"), toJsonArray(pairs)},
            {QStringLiteral("rangeNs"), rangeNs},
            {QStringLiteral("binNs"), binNs},
            {QStringLiteral("gateSec"), gateSec},
            {QStringLiteral("traceHistorySec"), traceHistorySec},
            {QStringLiteral("rateMode"), nameOf(rateModeNames(), rateMode)},
            {QStringLiteral("splitMode"), nameOf(splitNames(), splitMode)},
            {QStringLiteral("windows"), windowList},
            {QStringLiteral("offsetsEnabled"), offsetsEnabled},
            {QStringLiteral("offsetsNs"), toJsonArray(offsetsNs)}};
}

void MultiCorrelationSettings::takeJson(const QJsonObject& object) {
    takeFlags(object, "pairs", pairs);
    takeNumber(object, "rangeNs", kLeastRangeNs, kMostRangeNs, rangeNs);
    takeNumber(object, "binNs", kLeastBinNs, kMostBinNs, binNs);
    takeNumber(object, "gateSec", kLeastGateSec, kMostGateSec, gateSec);
    takeNumber(object, "traceHistorySec", kLeastHistorySec, kMostHistorySec, traceHistorySec);
    takeChoice(object, "rateMode", rateModeNames(), rateMode);
    takeChoice(object, "splitMode", splitNames(), splitMode);
    const QJsonArray windowList = object.value(QLatin1String("windows")).toArray();
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        const QJsonObject both = windowList.at(static_cast<qsizetype>(pair)).toObject();
        takeWindow(both.value(QLatin1String("a")), windows[pair].a);
        takeWindow(both.value(QLatin1String("b")), windows[pair].b);
    }
    takeFlag(object, "offsetsEnabled", offsetsEnabled);
    takeNumbers(object, "offsetsNs", -kMostOffsetNs, kMostOffsetNs, offsetsNs);
}

} // namespace qorn::timetagger::gui
