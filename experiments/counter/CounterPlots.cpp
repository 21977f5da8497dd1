#include "CounterPlots.h"

#include "BarChartWidget.h"
#include "ChannelColors.h"
#include "CounterEngine.h"
#include "CounterTagEngine.h"
#include "RateText.h"
#include "TabLayout.h"
#include "TraceThinning.h"

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

// Of one trace. A history in bins is never longer, so plot files and snapshots hold all of it.
constexpr qsizetype kMostPlottedPoints = CounterSettings::kMostHistoryBins;
constexpr double kHeadroom = 1.15; // of the Y range above the largest rate

// One series per trace, thinned for painting.
void showSeries(BarChartWidget& plot, const CounterTraces& traces, const QStringList& labels,
                const QList<QColor>& colors) {
    QList<QList<double>> xs;
    QList<QList<double>> ys;
    for (const QList<double>& values : traces.ys) {
        Trace thinned = thinnedTrace(traces.xs, values, kMostPlottedPoints);
        xs.append(std::move(thinned.xs));
        ys.append(std::move(thinned.ys));
    }
    plot.setSeries(xs, ys, labels, colors, BarChartWidget::Lines);
}

void showRanges(BarChartWidget& plot, const AxisRange& x, const AxisRange& y) {
    plot.setXRange(x.lo, x.hi);
    plot.setYRange(y.lo, y.hi);
}

} // namespace

CounterPlots::CounterPlots(QWidget* parent) : QSplitter(Qt::Vertical, parent) {
    setChildrenCollapsible(false);
    trace = addCaptionedPlot(this, tr("Counter trace"), "tracePlot", {320, 220}, 2);
    trace->setColors(QColor(0x40, 0x96, 0x78), QColor(0x22, 0x69, 0x52));
    histogram = addCaptionedPlot(this, tr("Count histogram"), "histogramPlot", {320, 180});
    histogram->setColors(QColor(0x50, 0xc8, 0xa0), QColor(0x28, 0x78, 0x64));
    constexpr QSize kSixPairs{320, 220}; // the room of their legend
    coincidences = addCaptionedPlot(this, tr("Coincidence trace"), "coincidenceTracePlot", kSixPairs);
}

void CounterPlots::arrange(const CounterSettings& settings) {
    setOrientation(settings.split == CounterSettings::PlotSplit::Horizontal && settings.coincidenceEnabled
                       ? Qt::Horizontal
                       : Qt::Vertical);
    histogram->parentWidget()->setVisible(settings.showHistogram);
    coincidences->parentWidget()->setVisible(settings.coincidenceEnabled);
}

void CounterPlots::showCounts(const CounterEngine& engine) {
    const CounterTraces traces = engine.traces();
    showTrace(engine, traces);
    if (engine.settings().showHistogram) {
        showHistogram(engine, traces);
    }
}

QString CounterPlots::valueLabel(const CounterSettings& settings) {
    return settings.rateMode == CounterSettings::RateMode::PerSecond ? tr("Counts / s")
                                                                     : tr("Counts / interval");
}

QStringList CounterPlots::channelLabels(const CounterSettings& settings) {
    QStringList labels;
    for (const int channel : settings.selectedChannels()) {
        labels.append(tr("Ch %1").arg(channel + 1));
    }
    return labels;
}

QList<QColor> CounterPlots::channelSeriesColors(const CounterSettings& settings) {
    const QList<QColor> all = channelColors();
    QList<QColor> colors;
    for (const int channel : settings.selectedChannels()) {
        colors.append(all.at(channel));
    }
    return colors;
}

void CounterPlots::showTrace(const CounterEngine& engine, const CounterTraces& traces) {
    const CounterSettings& settings = engine.settings();
    showSeries(*trace, traces, channelLabels(settings), channelSeriesColors(settings));
    trace->setAxisLabels(settings.historyMode == CounterSettings::HistoryMode::Bins ? tr("Bins")
                                                                                    : tr("Time (s)"),
                         valueLabel(settings));
    showRanges(*trace, engine.xRange(traces), engine.yRange(traces));
}

void CounterPlots::showHistogram(const CounterEngine& engine, const CounterTraces& traces) {
    const CountHistogram distribution = engine.histogram(traces);
    const QList<QList<double>> xs(distribution.heights.size(), distribution.centres);
    histogram->setSeries(xs, distribution.heights, channelLabels(engine.settings()),
                         channelSeriesColors(engine.settings()), BarChartWidget::Lines);
    histogram->setAxisLabels(valueLabel(engine.settings()), tr("Samples / bin"));
    showRanges(*histogram, distribution.xRange, engine.histogramYRange(distribution));
}

void CounterPlots::showCoincidences(const CounterTagEngine& engine, const CounterSettings& settings) {
    const CounterTraces traces = engine.coincidenceTraces();
    const QList<QColor> colorOfPair = pairColors();
    QStringList labels;
    QList<QColor> colors;
    for (const int pair : settings.selectedCoincidencePairs()) {
        labels.append(CounterSettings::pairLabel(pair));
        colors.append(colorOfPair.at(pair));
    }
    showSeries(*coincidences, traces, labels, colors);
    coincidences->setAxisLabels(tr("Time (s)"), tr("Coincidence rate (Hz)"));
    const double lastTime = traces.xs.isEmpty() ? 0.0 : traces.xs.last();
    showRanges(*coincidences, {0.0, std::max(lastTime, settings.coincidenceHistorySeconds)},
               {0.0, std::max(traces.highest * kHeadroom, 1.0)});
}

void CounterPlots::showStatistics(const CounterEngine& engine) {
    const CounterSettings& settings = engine.settings();
    QStringList lines;
    QList<double> markers;
    QStringList markerLabels;
    QList<QColor> markerColors;
    QList<QColor> lineColors; // of the traces as they are painted
    for (const int channel : settings.selectedChannels()) {
        const CounterEngine::Statistics statistics = engine.statistics(channel);
        const QColor color = trace->seriesColor(static_cast<int>(lineColors.size()));
        lineColors.append(color);
        if (settings.showStats) {
            lines.append(statistics.samples == 0 ? tr("Ch %1   --").arg(channel + 1)
                                                 : tr("Ch %1   mean %2   max %3   sd %4")
                                                       .arg(channel + 1)
                                                       .arg(rateText(statistics.mean))
                                                       .arg(statistics.maxCounts)
                                                       .arg(rateText(statistics.deviation)));
        }
        if (const double best = engine.bestValue(channel); settings.showMaxMarkers && best > 0.0) {
            markers.append(best);
            markerLabels.append(tr("Ch %1 max").arg(channel + 1));
            markerColors.append(color);
        }
    }
    trace->setStatLines(lines, lineColors);
    trace->setYMarkers(markers, markerLabels, markerColors);
}

} // namespace qorn::timetagger::gui
