#include "MultiCorrelationPlots.h"

#include "BarChartWidget.h"
#include "CoincidenceCounts.h"
#include "MultiCorrelationEngine.h"
#include "TabLayout.h"
#include "TraceThinning.h"

#include <QEvent>

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerNs = 1000.0;
constexpr double kHeadroom = 1.15; // of the Y ranges above the largest value

// In the order of kPairChannels.
QColor pairColor(int pair) {
    constexpr std::array<QRgb, kPairs> kColors{0xff409cff, 0xff50c8a0, 0xffeba046,
                                               0xffdc78aa, 0xffaa8cff, 0xffe6d264};
    return QColor(kColors[static_cast<std::size_t>(pair)]);
}

// Lines to plot, with the largest of their values.
struct Lines {
    QList<QList<double>> xs;
    QList<QList<double>> ys;
    QStringList labels;
    QList<QColor> colors;
    double highest = 0.0;

    void append(const Trace& line, const QString& label, const QColor& color) {
        xs.append(line.xs);
        ys.append(line.ys);
        labels.append(label);
        colors.append(color);
        for (const double value : line.ys) {
            highest = std::max(highest, value);
        }
    }
};

void showLines(BarChartWidget& plot, const Lines& lines, double xLo, double xHi) {
    plot.setSeries(lines.xs, lines.ys, lines.labels, lines.colors, BarChartWidget::Lines);
    plot.setXRange(xLo, xHi);
    plot.setYRange(0.0, kHeadroom * lines.highest);
}

// A legend that is higher than the plot area would stand over what is above it.
void showLegendIfItFits(BarChartWidget& plot, qsizetype entries) {
    constexpr int kRowSpacing = 4;
    constexpr int kAround = 28; // its frame, and its distance to the area's edges
    QFont font = plot.font();
    font.setPointSize(plot.plotOptions().fontPointSize);
    const qsizetype height = entries * (QFontMetrics(font).height() + kRowSpacing) + kAround;
    plot.setLegendVisible(plot.plotRect().height() >= static_cast<double>(height));
}

} // namespace

MultiCorrelationPlots::MultiCorrelationPlots(QWidget* parent) : QSplitter(Qt::Vertical, parent) {
    setChildrenCollapsible(false);
    histogram = addPlot("histogramPlot");
    histogram->setAxisLabels(tr("Lag (ns), second input - first input"), tr("Pairs / bin"));
    trace = addPlot("tracePlot");
}

BarChartWidget* MultiCorrelationPlots::addPlot(const char* name) {
    BarChartWidget* plot = makePlot(name, {}, this);
    plot->installEventFilter(this);
    addWidget(plot);
    return plot;
}

bool MultiCorrelationPlots::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize && trace != nullptr) {
        fitLegends();
    }
    return QSplitter::eventFilter(watched, event);
}

void MultiCorrelationPlots::fitLegends() {
    showLegendIfItFits(*histogram, shownPairs);
    showLegendIfItFits(*trace, 2 * shownPairs);
}

void MultiCorrelationPlots::arrange(const MultiCorrelationSettings& settings) {
    setOrientation(settings.splitMode == MultiCorrelationSettings::PlotSplit::Horizontal ? Qt::Horizontal
                                                                                         : Qt::Vertical);
    shownPairs = settings.selectedPairs().size();
    fitLegends();
}

void MultiCorrelationPlots::showHistograms(const MultiCorrelationEngine& engine) {
    const LagBins& bins = engine.bins();
    QList<double> lags;
    lags.reserve(bins.binCount);
    for (int bin = 0; bin < bins.binCount; ++bin) {
        lags.append(static_cast<double>(bins.binPs * bin - bins.rangePs) / kPsPerNs);
    }
    const QStringList labels = pairLabels();
    Lines lines;
    lines.highest = 1.0;
    for (const int pair : engine.settings().selectedPairs()) {
        const auto counts = engine.histogram(static_cast<std::size_t>(pair));
        lines.append({lags, QList<double>(counts.begin(), counts.end())}, labels.at(pair), pairColor(pair));
    }
    showLines(*histogram, lines, lags.first(), lags.last());
}

void MultiCorrelationPlots::showTraces(const MultiCorrelationEngine& engine) {
    const MultiCorrelationSettings& settings = engine.settings();
    const QStringList labels = pairLabels();
    Lines lines;
    for (const int pair : settings.selectedPairs()) {
        auto window = 2 * static_cast<std::size_t>(pair);
        for (const QString& name : {tr("A"), tr("B")}) {
            lines.append(engine.traces().trace(window++), tr("%1 %2").arg(labels.at(pair), name),
                         pairColor(pair));
        }
    }
    showLines(*trace, lines, 0.0, std::max(engine.traces().seconds(), settings.traceHistorySec));
    trace->setAxisLabels(tr("Time (s)"), settings.rateMode == MultiCorrelationSettings::RateMode::PerSecond
                                             ? tr("Window events / s")
                                             : tr("Window events / interval"));
}

} // namespace qorn::timetagger::gui
