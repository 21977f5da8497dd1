#include "FrequencyPlots.h"

#include "BarChartWidget.h"
#include "CounterTraces.h"
#include "FrequencyEngine.h"
#include "TabLayout.h"
#include "TraceThinning.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qorn::timetagger::gui {
namespace {

constexpr qsizetype kMostPlottedPoints = 8000; // of one trace; a plot is rarely wider than half of that
constexpr double kHeadroom = 1.15;             // of the histogram's Y range above the highest count
constexpr double kBarFraction = 0.92;          // of a bin's width
constexpr double kPsPerNs = 1000.0;
constexpr AxisRange kFallbackRange{-1.0, 1.0}; // of values that span nothing
constexpr QSize kLeastPlotSize{320, 230};      // for the longest of the Y labels

AxisRange rangeOf(const QList<double>& values) {
    AxisRange range{std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
    for (const double value : values) {
        if (std::isfinite(value)) {
            range.lo = std::min(range.lo, value);
            range.hi = std::max(range.hi, value);
        }
    }
    return range.lo < range.hi ? range : kFallbackRange;
}

AxisRange traceYRange(const FrequencySettings& settings, const QList<double>& values) {
    if (settings.yAxisMode == FrequencySettings::YAxisMode::Custom) {
        return {settings.yMin, settings.yMin < settings.yMax ? settings.yMax : settings.yMin + 1.0};
    }
    const AxisRange range = rangeOf(values);
    if (settings.yAxisMode == FrequencySettings::YAxisMode::ZeroMinimum) {
        return {0.0, std::max(range.hi * 1.1, 1.0)};
    }
    const double margin = std::max((range.hi - range.lo) * 0.1, 1e-12);
    return {range.lo - margin, range.hi + margin};
}

void showTrace(BarChartWidget& plot, const FrequencySettings& settings, const QList<double>& xs,
               const QList<double>& values, const QString& label, const QColor& color) {
    const Trace trace = thinnedTrace(xs, values, kMostPlottedPoints);
    plot.setSeries({trace.xs}, {trace.ys}, {label}, {color}, BarChartWidget::Lines);
    plot.setXRange(0.0, settings.plotWindowSeconds());
    const AxisRange y = traceYRange(settings, values);
    plot.setYRange(y.lo, y.hi);
}

} // namespace

QString frequencyText(double hz) {
    struct Unit {
        double hz;
        const char* text;
    };
    static constexpr Unit kUnits[] = {
        {1e9, QT_TRANSLATE_NOOP("qorn::timetagger::gui::FrequencyPlots", "%1 GHz")},
        {1e6, QT_TRANSLATE_NOOP("qorn::timetagger::gui::FrequencyPlots", "%1 MHz")},
        {1e3, QT_TRANSLATE_NOOP("qorn::timetagger::gui::FrequencyPlots", "%1 kHz")}};
    for (const Unit& unit : kUnits) {
        if (hz >= unit.hz) {
            return FrequencyPlots::tr(unit.text).arg(hz / unit.hz, 0, 'f', 6);
        }
    }
    return FrequencyPlots::tr("%1 Hz").arg(hz, 0, 'f', 6);
}

FrequencyPlots::FrequencyPlots(QWidget* parent) : QSplitter(Qt::Vertical, parent) {
    setChildrenCollapsible(false);
    frequency = addCaptionedPlot(this, tr("Frequency offset from base"), "frequencyPlot", kLeastPlotSize);
    drift = addCaptionedPlot(this, tr("Frequency drift vs. base"), "driftPlot", kLeastPlotSize);
    period = addCaptionedPlot(this, tr("Time-difference histogram"), "periodPlot", kLeastPlotSize);
    frequency->setColors(QColor(0x40, 0x96, 0x78), QColor(0x22, 0x69, 0x52));
    drift->setColors(QColor(0xd5, 0x7b, 0x1d), QColor(0x96, 0x55, 0x12));
    period->setColors(QColor(0x50, 0xc8, 0xa0), QColor(0x28, 0x78, 0x64));
}

void FrequencyPlots::arrange(const FrequencySettings& settings) {
    frequency->parentWidget()->setVisible(settings.showOffsetPlot);
    drift->parentWidget()->setVisible(settings.showDriftPlot);
    period->parentWidget()->setVisible(settings.showHistogramPlot);
}

void FrequencyPlots::clearStatLines() {
    for (BarChartWidget* plot : {frequency, drift, period}) {
        plot->setStatLines({}, {});
    }
}

void FrequencyPlots::show(const FrequencyEngine& engine) {
    const QList<double> xs = engine.rollingXValues();
    renderFrequencyTrace(engine, xs);
    renderDriftTrace(engine, xs);
    renderPeriodHistogram(engine);
}

void FrequencyPlots::renderFrequencyTrace(const FrequencyEngine& engine, const QList<double>& xs) {
    const bool hasBase = engine.baseHz() > 0.0;
    showTrace(*frequency, engine.settings(), xs, engine.frequencyOffsets(), tr("frequency"),
              QColor(0x9c, 0xdc, 0xfe));
    frequency->setAxisLabels(tr("Time (s)"), hasBase ? tr("Frequency offset (Hz)") : tr("Frequency (Hz)"));
    QStringList lines;
    if (hasBase) {
        lines.append(tr("Base: %1").arg(frequencyText(engine.baseHz())));
    } else {
        lines.append(engine.isBasePending() ? tr("Base: detecting at start") : tr("Set Base to show offset"));
    }
    const std::optional<double> latest = engine.latestFrequencyHz();
    if (latest) {
        lines.append(
            tr("Ch %1 frequency: %2").arg(engine.settings().channelIndex() + 1).arg(frequencyText(*latest)));
    }
    lines.append(latest && hasBase ? tr("Offset: %1 Hz").arg(*latest - engine.baseHz(), 0, 'f', 6)
                                   : tr("Offset: pending"));
    frequency->setStatLines(lines, {});
}

void FrequencyPlots::renderDriftTrace(const FrequencyEngine& engine, const QList<double>& xs) {
    showTrace(*drift, engine.settings(), xs, engine.drifts(), tr("drift"), QColor(0xce, 0x91, 0x78));
    drift->setAxisLabels(tr("Time (s)"), tr("Drift (ppm)"));
    QStringList lines;
    if (engine.isBasePending()) {
        lines.append(tr("Base: detecting at start"));
    } else if (engine.baseHz() <= 0.0) {
        lines.append(tr("Set Base to show ppm drift"));
    } else if (const std::optional<double> latest = engine.latestDriftPpm()) {
        lines.append(tr("Latest drift: %1 ppm").arg(*latest, 0, 'f', 6));
    }
    drift->setStatLines(lines, {});
}

void FrequencyPlots::renderPeriodHistogram(const FrequencyEngine& engine) {
    const FrequencySettings& settings = engine.settings();
    const PeriodHistogram histogram = engine.histogram();
    const double binPs = static_cast<double>(settings.histBinWidthPs());
    const double rangeNs = static_cast<double>(settings.histRangePs()) / kPsPerNs;
    period->setBars(histogram.centresNs, histogram.counts, binPs / kPsPerNs * kBarFraction);
    period->setAxisLabels(engine.baseHz() > 0.0 ? tr("Period error vs base (ns)") : tr("Period (ns)"),
                          tr("Counts"));
    period->setXRange(-rangeNs, rangeNs);
    period->setYRange(0.0, std::max(histogram.highest * kHeadroom, 1.0));
    period->setStatLines(
        {tr("Periods: %1").arg(engine.periodCount()), tr("Bin: %1 ps").arg(settings.histBinWidthPs())}, {});
}

} // namespace qorn::timetagger::gui
