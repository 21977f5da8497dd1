#include "CorrelationSettings.h"

#include "SettingsJson.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerNs = 1000.0;
constexpr double kPsPerMs = 1e9;
constexpr qint64 kLeastBinPs = 4;
constexpr qint64 kMostBinsPerSide = 10000;

qint64 picoseconds(double value, double unit) {
    return static_cast<qint64>(std::llround(value * unit));
}

} // namespace

EffectiveBins effectiveBins(qint64 windowPs, qint64 binPs) {
    if ((windowPs + binPs - 1) / binPs <= kMostBinsPerSide) {
        return {binPs, false};
    }
    return {std::max(kLeastBinPs, (windowPs + kMostBinsPerSide - 1) / kMostBinsPerSide), true};
}

bool CorrelationSettings::channelsUsable() const {
    const auto exists = [](int input) { return input >= 0 && input < timing::kChannels; };
    return exists(sourceInput()) && exists(targetInput()) && sourceChannel != targetChannel;
}

qint64 CorrelationSettings::windowPs() const {
    return std::max<qint64>(picoseconds(rangeNs, kPsPerNs), 1);
}

qint64 CorrelationSettings::binPs() const {
    return std::max(picoseconds(binNs, kPsPerNs), kLeastBinPs);
}

qint64 CorrelationSettings::manualOffsetPs() const {
    return picoseconds(manualOffsetNs, kPsPerNs);
}

qint64 CorrelationSettings::offsetSearchPs() const {
    return std::max<qint64>(picoseconds(offsetSearchNs, kPsPerNs), 1);
}

qint64 CorrelationSettings::instantWindowPs() const {
    return std::max<qint64>(picoseconds(instantWindowMs, kPsPerMs), 1);
}

void CorrelationSettings::reconcile() {
    switch (analysisMode) {
    case CorrelationAnalysis::None:
        break;
    case CorrelationAnalysis::Peak:
        if (fitMode != FitModel::Lorentzian) {
            fitMode = FitModel::Gaussian;
        }
        break;
    case CorrelationAnalysis::Antibunching:
        fitMode = FitModel::G2Exponential;
        normalize = YAxis::G2;
        break;
    case CorrelationAnalysis::Lifetime:
        fitMode = FitModel::LifetimeExponential;
        normalize = YAxis::Counts;
        break;
    }
    viewIntegrated = viewIntegrated || !(viewInstant || viewParameters);
}

QStringList CorrelationSettings::analysisNames() {
    return {QStringLiteral("None"), QStringLiteral("Peak / alignment"), QStringLiteral("Photon antibunching"),
            QStringLiteral("Lifetime decay fit")};
}

QStringList CorrelationSettings::fitModelNames() {
    return {QStringLiteral("Gaussian peak"), QStringLiteral("Lorentzian peak"),
            QStringLiteral("g2 exponential"), QStringLiteral("Lifetime exponential")};
}

QStringList CorrelationSettings::styleNames() {
    return {QStringLiteral("Line"), QStringLiteral("Dots"), QStringLiteral("Bars")};
}

QStringList CorrelationSettings::yAxisNames() {
    return {QStringLiteral("Counts"), QStringLiteral("g2(tau)")};
}

QStringList CorrelationSettings::metricNames() {
    return {QStringLiteral("Peak center (ns)"),  QStringLiteral("Fit FWHM (ns)"),
            QStringLiteral("Offset (ns)"),       QStringLiteral("g2(0)"),
            QStringLiteral("Histogram entries"), QStringLiteral("Source rate (Hz)"),
            QStringLiteral("Target rate (Hz)")};
}

QStringList CorrelationSettings::offsetModeNames() {
    return {QStringLiteral("None"), QStringLiteral("Auto"), QStringLiteral("Manual")};
}

QJsonObject CorrelationSettings::toJson() const {
    return {{QStringLiteral("sourceChannel"), sourceChannel},
            {QStringLiteral("targetChannel"), targetChannel},
            {QStringLiteral("rangeNs"), rangeNs},
            {QStringLiteral("binNs"), binNs},
            {QStringLiteral("analysisMode"), nameOf(analysisNames(), analysisMode)},
            {QStringLiteral("fitEnabled"), fitEnabled},
            {QStringLiteral("fitMode"), nameOf(fitModelNames(), fitMode)},
            {QStringLiteral("fitTerms"), fitTerms},
            {QStringLiteral("histogram"), nameOf(styleNames(), histogram)},
            {QStringLiteral("normalize"), nameOf(yAxisNames(), normalize)},
            {QStringLiteral("viewIntegrated"), viewIntegrated},
            {QStringLiteral("viewInstant"), viewInstant},
            {QStringLiteral("viewCounts"), false},
            {QStringLiteral("instantWindowMs"), instantWindowMs},
            {QStringLiteral("viewParameters"), viewParameters},
            {QStringLiteral("parameterMetric"), nameOf(metricNames(), parameterMetric)},
            {QStringLiteral("parameterHistoryS"), parameterHistoryS},
            {QStringLiteral("offsetMode"), nameOf(offsetModeNames(), offsetMode)},
            {QStringLiteral("manualOffsetNs"), manualOffsetNs},
            {QStringLiteral("offsetSearchNs"), offsetSearchNs},
            {QStringLiteral("traceHistoryS"), traceHistoryS}};
}

void CorrelationSettings::takeJson(const QJsonObject& object) {
    takeNumber(object, "sourceChannel", 1, timing::kChannels, sourceChannel);
    takeNumber(object, "targetChannel", 1, timing::kChannels, targetChannel);
    takeNumber(object, "rangeNs", kLeastRangeNs, kMostRangeNs, rangeNs);
    takeNumber(object, "binNs", kLeastBinNs, kMostBinNs, binNs);
    takeChoice(object, "analysisMode", analysisNames(), analysisMode);
    if (object.value(QLatin1String("analysisMode")).toString() == QLatin1String("Fluorescence lifetime")) {
        analysisMode = CorrelationAnalysis::Lifetime; // its name in older files
    }
    takeFlag(object, "fitEnabled", fitEnabled);
    takeChoice(object, "fitMode", fitModelNames(), fitMode);
    takeNumber(object, "fitTerms", kLeastFitTerms, kMostFitTerms, fitTerms);
    takeChoice(object, "histogram", styleNames(), histogram);
    takeChoice(object, "normalize", yAxisNames(), normalize);
    takeNumber(object, "instantWindowMs", kLeastInstantMs, kMostInstantMs, instantWindowMs);
    takeChoice(object, "parameterMetric", metricNames(), parameterMetric);
    takeNumber(object, "parameterHistoryS", kLeastHistorySeconds, kMostHistorySeconds, parameterHistoryS);
    takeChoice(object, "offsetMode", offsetModeNames(), offsetMode);
    takeNumber(object, "manualOffsetNs", -kMostOffsetNs, kMostOffsetNs, manualOffsetNs);
    takeNumber(object, "offsetSearchNs", kLeastSearchNs, kMostSearchNs, offsetSearchNs);
    takeNumber(object, "traceHistoryS", kLeastHistorySeconds, kMostHistorySeconds, traceHistoryS);
    takeViews(object);
    reconcile();
}

void CorrelationSettings::takeViews(const QJsonObject& object) {
    constexpr const char* kViewKeys[] = {"viewIntegrated", "viewInstant", "viewParameters", "viewCounts"};
    const bool hasViews = std::any_of(std::begin(kViewKeys), std::end(kViewKeys),
                                      [&](const char* key) { return object.contains(QLatin1String(key)); });
    if (const QJsonValue acquire = object.value(QLatin1String("acquire"));
        !hasViews && !acquire.isUndefined()) {
        viewInstant = acquire.toString() == QLatin1String("Real-time");
        viewIntegrated = !viewInstant;
        viewParameters = false;
        return;
    }
    viewIntegrated = object.value(QLatin1String("viewIntegrated")).toBool(true);
    viewInstant = object.value(QLatin1String("viewInstant")).toBool(false);
    viewParameters = object.value(QLatin1String("viewParameters")).toBool(false);
}

} // namespace qorn::timetagger::gui
