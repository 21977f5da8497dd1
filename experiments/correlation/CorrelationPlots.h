// The plots of the Correlation measurement, one below the other: both histograms and the analysis trace, each
// as far as it is wanted. Shows what it is given; owned by its tab, GUI thread only.
#pragma once

#include "CorrelationTexts.h"

#include <QSplitter>

namespace qorn::timetagger::gui {

class BarChartWidget;

class CorrelationPlots : public QSplitter {
    Q_OBJECT
public:
    explicit CorrelationPlots(QWidget* parent = nullptr);

    // Which plots there are.
    void arrange(const CorrelationSettings& settings);
    // The uppermost of the plots that are wanted.
    BarChartWidget* primaryPlot(const CorrelationSettings& settings) const;

    // Empties all plots.
    void clear();
    // The histograms' range before there is data, in ps to both sides.
    void showLagRange(qint64 windowPs);
    void showHistogram(HistogramView view, const CorrelationResult& result,
                       const CorrelationSettings& settings);
    // Only a line of text instead of a histogram.
    void showNoHistogram(HistogramView view, const QString& text);
    // `name` is that of the values, `current` is said while there are none, and the trace has room for
    // `windowSeconds`.
    void showTrace(const AnalysisTrace& values, const QString& name, double current, double windowSeconds);

private:
    BarChartWidget* histogramOf(HistogramView view) const;

    BarChartWidget* integrated = nullptr;
    BarChartWidget* instant = nullptr;
    BarChartWidget* counts = nullptr; // never shown
    BarChartWidget* trace = nullptr;
};

} // namespace qorn::timetagger::gui
