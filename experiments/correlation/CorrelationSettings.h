// The settings of the Correlation measurement, and what follows from them. A plain record.
#pragma once

#include "TimeTag.h"

#include <QJsonObject>
#include <QStringList>
#include <QtGlobal>

namespace qorn::timetagger::gui {

enum class CorrelationAnalysis { None, Peak, Antibunching, Lifetime };
enum class OffsetMode { None, Auto, Manual };

// The bin that a histogram gets, in ps.
struct EffectiveBins {
    qint64 binPs = 1;
    bool coarsened = false; // wider than what was asked for
    bool operator==(const EffectiveBins&) const = default;
};

// The bin asked for, or the least one that cuts a half-range into no more than about 10000 bins. Both in ps,
// at least 1.
EffectiveBins effectiveBins(qint64 windowPs, qint64 binPs);

struct CorrelationSettings {
    enum class FitModel { Gaussian, Lorentzian, G2Exponential, LifetimeExponential };
    enum class Style { Line, Dots, Bars };
    enum class YAxis { Counts, G2 };
    // What the analysis trace shows.
    enum class Metric { PeakCenter, FitFwhm, Offset, G2AtZero, Entries, SourceRate, TargetRate };

    static constexpr double kLeastRangeNs = 0.01;
    static constexpr double kMostRangeNs = 1e9;
    static constexpr double kLeastBinNs = 0.004;
    static constexpr double kMostBinNs = 1000.0;
    static constexpr int kLeastFitTerms = 1;
    static constexpr int kMostFitTerms = 3;
    static constexpr double kLeastInstantMs = 0.01;
    static constexpr double kMostInstantMs = 60000.0;
    static constexpr double kLeastHistorySeconds = 1.0; // of both traces
    static constexpr double kMostHistorySeconds = 3600.0;
    static constexpr double kMostOffsetNs = 1e9;
    static constexpr double kLeastSearchNs = 0.001;
    static constexpr double kMostSearchNs = 1e9;

    int sourceChannel = 1; // 1 to 4
    int targetChannel = 2;
    double rangeNs = 1.0; // half of the histogram's range
    double binNs = 0.008;
    CorrelationAnalysis analysisMode = CorrelationAnalysis::Peak;
    bool fitEnabled = false;
    FitModel fitMode = FitModel::Gaussian;
    int fitTerms = 1;
    Style histogram = Style::Line;
    YAxis normalize = YAxis::Counts;
    bool viewIntegrated = true;
    bool viewInstant = false;
    double instantWindowMs = 100.0;
    bool viewParameters = false;
    Metric parameterMetric = Metric::PeakCenter;
    double parameterHistoryS = 60.0;
    OffsetMode offsetMode = OffsetMode::Auto;
    double manualOffsetNs = 0.0;
    double offsetSearchNs = 100.0;
    double traceHistoryS = 10.0; // of the count traces, which are not shown

    bool operator==(const CorrelationSettings&) const = default;

    int sourceInput() const { return sourceChannel - 1; } // 0 to 3
    int targetInput() const { return targetChannel - 1; }
    bool channelsUsable() const; // two different ones that exist

    // In ps, each at least 1, the bin at least 4; the offset of any sign.
    qint64 windowPs() const;
    qint64 binPs() const;
    qint64 manualOffsetPs() const;
    qint64 offsetSearchPs() const;
    qint64 instantWindowPs() const;
    EffectiveBins bins() const { return effectiveBins(windowPs(), binPs()); }

    bool peakAnalysisMode() const { return analysisMode == CorrelationAnalysis::Peak; }
    bool antibunchingMode() const { return analysisMode == CorrelationAnalysis::Antibunching; }
    bool lifetimeMode() const { return analysisMode == CorrelationAnalysis::Lifetime; }
    bool offsetCorrectionEnabled() const { return peakAnalysisMode(); }
    bool normalizeG2() const { return antibunchingMode() || normalize == YAxis::G2; }
    bool peakFitEnabled() const { return analysisMode != CorrelationAnalysis::None && fitEnabled; }

    // Makes the settings agree with each other: Y axis and fit model as the analysis needs them, and at least
    // one view.
    void reconcile();

    // Names of the choices in files, in the order of their values.
    static QStringList analysisNames();
    static QStringList fitModelNames();
    static QStringList styleNames();
    static QStringList yAxisNames();
    static QStringList metricNames();
    static QStringList offsetModeNames();

    QJsonObject toJson() const;
    // Takes the keys that are present and of the right type, numbers held within their limits; an unknown
    // name leaves the choice as it is. The views are taken together: those without a key get their defaults,
    // and files from before there were three views name one in "acquire". Settings agree afterwards.
    void takeJson(const QJsonObject& object);

private:
    void takeViews(const QJsonObject& object);
};

} // namespace qorn::timetagger::gui
