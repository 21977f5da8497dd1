#include "CorrelationPlots.h"

#include "BarChartWidget.h"
#include "TabLayout.h"
#include "TraceThinning.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerNs = 1000.0;
constexpr QSize kLeastHistogramSize{320, 270}; // room for the box of lines above the legend
constexpr QSize kLeastTraceSize{320, 160};
constexpr qsizetype kMostPlottedPoints = 8000; // of the trace; a plot is rarely wider than half of that
constexpr double kTracePadding = 0.1;          // of the trace's height, above and below
constexpr double kLeastTracePadding = 1e-12;
constexpr double kFlatTracePadding = 0.5;

const QColor kDataColor(0x40, 0x9c, 0xff);
const QColor kBarBorder(0x00, 0x00, 0x00, 0x60); // a darker edge whatever colour the scheme gives bars
const QColor kSecondColor(0x50, 0xc8, 0xa0);
const QColor kFitColor(0xeb, 0xa0, 0x46);

const QList<QColor>& lineColors() {
    static const QList<QColor> colors{kDataColor, kSecondColor, kFitColor};
    return colors;
}

void prepare(BarChartWidget& plot, const QString& xLabel, const QString& yLabel) {
    plot.setAxisLabels(xLabel, yLabel);
    plot.setColors(kDataColor, kBarBorder);
}

// Around all finite values, with room above and below.
void showTraceRange(BarChartWidget& plot, const QList<double>& values) {
    bool any = false;
    double lowest = 0.0;
    double highest = 0.0;
    for (const double value : values) {
        if (std::isfinite(value)) {
            lowest = any ? std::min(lowest, value) : value;
            highest = any ? std::max(highest, value) : value;
            any = true;
        }
    }
    const double padding = highest > lowest ? std::max((highest - lowest) * kTracePadding, kLeastTracePadding)
                                            : kFlatTracePadding;
    plot.setYRange(lowest - padding, highest + padding);
}

} // namespace

CorrelationPlots::CorrelationPlots(QWidget* parent) : QSplitter(Qt::Vertical, parent) {
    setChildrenCollapsible(false);
    integrated = addCaptionedPlot(this, tr("Integrated histogram"), "integratedPlot", kLeastHistogramSize);
    instant = addCaptionedPlot(this, tr("Instantaneous histogram"), "instantPlot", kLeastHistogramSize);
    counts = addCaptionedPlot(this, tr("Count traces"), "countPlot", kLeastTraceSize);
    trace = addCaptionedPlot(this, tr("Analysis trace"), "tracePlot", kLeastTraceSize);
    const QString lag = tr("Lag (ns), target - source");
    prepare(*integrated, lag, tr("Pairs"));
    prepare(*instant, lag, tr("Pairs (window)"));
    prepare(*counts, tr("Time (s)"), tr("Rate (Hz)"));
    prepare(*trace, tr("Time (s)"), tr("Analysis value"));
    counts->parentWidget()->hide();
}

void CorrelationPlots::arrange(const CorrelationSettings& settings) {
    integrated->parentWidget()->setVisible(settings.viewIntegrated);
    instant->parentWidget()->setVisible(settings.viewInstant);
    trace->parentWidget()->setVisible(settings.viewParameters);
}

BarChartWidget* CorrelationPlots::primaryPlot(const CorrelationSettings& settings) const {
    if (settings.viewIntegrated) {
        return integrated;
    }
    if (settings.viewInstant) {
        return instant;
    }
    return settings.viewParameters ? trace : integrated;
}

BarChartWidget* CorrelationPlots::histogramOf(HistogramView view) const {
    return view == HistogramView::Integrated ? integrated : instant;
}

void CorrelationPlots::clear() {
    for (BarChartWidget* plot : {integrated, instant, counts, trace}) {
        plot->clearSeries();
        plot->setStatLines({}, {});
        plot->setYRange(0.0, 1.0);
    }
}

void CorrelationPlots::showLagRange(qint64 windowPs) {
    const double windowNs = static_cast<double>(windowPs) / kPsPerNs;
    integrated->setXRange(-windowNs, windowNs);
    instant->setXRange(-windowNs, windowNs);
}

void CorrelationPlots::showHistogram(HistogramView view, const CorrelationResult& result,
                                     const CorrelationSettings& settings) {
    BarChartWidget& plot = *histogramOf(view);
    const HistogramAnalysis& histogram = result.histogram;
    if (settings.histogram == CorrelationSettings::Style::Bars) {
        plot.setBars(histogram.xs, histogram.ys, histogram.barWidthNs);
    } else {
        plot.setSeries({histogram.xs}, {histogram.ys}, {histogram.g2Scaled ? tr("g2") : tr("entries")},
                       {kDataColor},
                       settings.histogram == CorrelationSettings::Style::Dots ? BarChartWidget::Points
                                                                              : BarChartWidget::Lines);
    }
    if (histogram.overlay.valid) {
        plot.setOverlaySeries({histogram.xs}, {histogram.overlay.y}, {histogram.overlay.label}, {kFitColor},
                              BarChartWidget::Lines);
    } else {
        plot.clearOverlaySeries();
    }
    plot.setAxisLabels(tr("Lag (ns), target - source"), histogram.g2Scaled ? tr("g2(tau)") : tr("Entries"));
    if (histogram.xs.isEmpty()) {
        showLagRange(settings.windowPs());
    } else {
        plot.setXRange(histogram.xs.first(), histogram.xs.last());
    }
    plot.setYRange(0.0, histogram.yLimit);
    plot.setStatLines(CorrelationTexts::plotLines(view, result, settings), lineColors());
}

void CorrelationPlots::showNoHistogram(HistogramView view, const QString& text) {
    BarChartWidget& plot = *histogramOf(view);
    plot.clearSeries();
    plot.setStatLines({text}, lineColors());
}

void CorrelationPlots::showTrace(const AnalysisTrace& values, const QString& name, double current,
                                 double windowSeconds) {
    const QList<double> xs = values.xValues();
    const QList<double> ys = values.yValues();
    const Trace thinned = thinnedTrace(xs, ys, kMostPlottedPoints);
    trace->setSeries({thinned.xs}, {thinned.ys}, {name}, {kDataColor}, BarChartWidget::Lines);
    trace->setAxisLabels(tr("Time (s)"), name);
    trace->setXRange(0.0, std::max(xs.isEmpty() ? 1.0 : xs.last(), windowSeconds));
    showTraceRange(*trace, ys);
    const double newest = ys.isEmpty() ? current : ys.last();
    trace->setStatLines({tr("%1: %2").arg(name).arg(newest, 0, 'g', 9)}, lineColors());
}

} // namespace qorn::timetagger::gui
