#include "CoincidenceSettings.h"

#include "CoincidenceGrid.h"
#include "SettingsJson.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kShortestGateSeconds = 0.001;
constexpr double kPsPerSecond = 1e12;
constexpr double kPsPerNs = 1e3;

qint64 psOf(double ns) {
    return std::llround(ns * kPsPerNs);
}

template <std::size_t Size>
std::array<qint64, Size> psOf(const std::array<double, Size>& ns) {
    std::array<qint64, Size> ps{};
    std::transform(ns.begin(), ns.end(), ps.begin(), [](double value) { return psOf(value); });
    return ps;
}

constexpr std::array<const char*, timing::kChannels> kOffsetKeys{"offsetNs1", "offsetNs2", "offsetNs3",
                                                                 "offsetNs4"};

} // namespace

double CoincidenceSettings::gateSeconds() const {
    return std::max(gateSec, kShortestGateSeconds);
}

qint64 CoincidenceSettings::gateDurationPs() const {
    return std::max<qint64>(std::llround(gateSeconds() * kPsPerSecond), 1);
}

std::array<qint64, kPairs> CoincidenceSettings::pairWindowPs() const {
    return psOf(pairWindowsNs);
}

std::array<qint64, timing::kChannels> CoincidenceSettings::offsetPs() const {
    return offsetsEnabled ? psOf(offsetsNs) : std::array<qint64, timing::kChannels>{};
}

bool CoincidenceSettings::hardwareSettingsSupported() const {
    return hardwareCanCount(hardwareConfig());
}

UiCoincidenceConfig CoincidenceSettings::hardwareConfig() const {
    UiCoincidenceConfig config;
    config.gateSeconds = gateSeconds();
    config.pairWindowsPs = pairWindowPs();
    config.offsetsPs = offsetPs();
    return config;
}

QStringList CoincidenceSettings::engineNames() {
    return {QStringLiteral("hardware"), QStringLiteral("software")};
}

QStringList CoincidenceSettings::splitNames() {
    return {QStringLiteral("Stacked plots"), QStringLiteral("Side-by-side plots")};
}

QJsonObject CoincidenceSettings::toJson() const {
    QJsonObject object{{QStringLiteral("gateSec"), gateSec},
                       {QStringLiteral("acquisitionMode"), nameOf(engineNames(), engine)},
                       {QStringLiteral("windowNs"), windowNs},
                       {QStringLiteral("pairWindowsNs"), toJsonArray(pairWindowsNs)},
                       {QStringLiteral("offsetsEnabled"), offsetsEnabled},
                       {QStringLiteral("showTrace"), showTrace},
                       {QStringLiteral("splitMode"), nameOf(splitNames(), split)},
                       {QStringLiteral("traceHistorySec"), traceHistorySec}};
    for (std::size_t input = 0; input < offsetsNs.size(); ++input) {
        object.insert(QLatin1String(kOffsetKeys[input]), offsetsNs[input]);
    }
    return object;
}

void CoincidenceSettings::takeJson(const QJsonObject& object) {
    takeNumber(object, "gateSec", kLeastGateSec, kMostGateSec, gateSec);
    takeChoice(object, "acquisitionMode", engineNames(), engine);
    takeNumber(object, "windowNs", kLeastWindowNs, kMostWindowNs, windowNs);
    takeNumbers(object, "pairWindowsNs", kLeastWindowNs, kMostWindowNs, pairWindowsNs);
    takeFlag(object, "offsetsEnabled", offsetsEnabled);
    for (std::size_t input = 0; input < offsetsNs.size(); ++input) {
        takeNumber(object, kOffsetKeys[input], -kMostOffsetNs, kMostOffsetNs, offsetsNs[input]);
    }
    takeFlag(object, "showTrace", showTrace);
    takeChoice(object, "splitMode", splitNames(), split);
    takeNumber(object, "traceHistorySec", kLeastHistorySec, kMostHistorySec, traceHistorySec);
}

} // namespace qorn::timetagger::gui
