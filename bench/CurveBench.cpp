// How the cost of a picture grows with what is in it: histograms of more bins, traces of more points. The
// numbers for the curves of the documentation.
#include "BarChartWidget.h"
#include "CorrelationSettings.h"
#include "CorrelationTab.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QJsonObject>

#include <cmath>
#include <numbers>
#include <random>

namespace {

using namespace qorn::timetagger::gui;

constexpr QSize kPlotSize{1000, 600};
constexpr double kBinNs = 0.008;
constexpr int kTags = 100'000; // of each of two inputs
constexpr double kMeanPausePs = 50'000.0;

QList<UiTimeTag> randomTags() {
    std::mt19937_64 random(23);
    std::exponential_distribution<double> pause(2.0 / kMeanPausePs);
    QList<UiTimeTag> tags;
    double time = 0.0;
    for (int i = 0; i < 2 * kTags; ++i) {
        time += pause(random);
        tags.append({static_cast<quint8>(random() % 2), static_cast<qint64>(time)});
    }
    return tags;
}

// One refresh of the Correlation tab, analysis and picture, with so many bins in its histogram.
void refreshOfBins(benchmark::State& state) {
    static const QList<UiTimeTag> tags = randomTags();
    CorrelationSettings settings;
    settings.binNs = kBinNs;
    settings.rangeNs = kBinNs * static_cast<double>(state.range(0)) / 2.0;
    if (effectiveBins(settings.windowPs(), settings.binPs()).coarsened) {
        state.SkipWithError("the tab has no so many bins");
        return;
    }
    CorrelationTab tab;
    tab.loadConfig({{QStringLiteral("binNs"), settings.binNs},
                    {QStringLiteral("rangeNs"), settings.rangeNs},
                    {QStringLiteral("offsetMode"), QStringLiteral("None")}});
    tab.resize(1100, 700);
    tab.show();
    QApplication::processEvents();
    tab.onTagsBatch(tags);
    auto* plot = tab.findChild<BarChartWidget*>(QStringLiteral("integratedPlot"));
    for ([[maybe_unused]] auto _ : state) {
        tab.refreshPlot();
        plot->repaint();
    }
}

// One repaint of four traces of so many points each.
void repaintOfPoints(benchmark::State& state) {
    const auto points = static_cast<int>(state.range(0));
    std::mt19937 random(29);
    std::normal_distribution<double> noise(0.0, 0.01);
    QList<QList<double>> xs;
    QList<QList<double>> ys;
    for (int series = 0; series < 4; ++series) {
        QList<double> x;
        QList<double> y;
        for (int i = 0; i < points; ++i) {
            x.append(static_cast<double>(i) / points);
            y.append(0.5 + 0.4 * std::sin(2.0 * std::numbers::pi * (3.0 * x.back() + 0.2 * series)) +
                     noise(random));
        }
        xs.append(x);
        ys.append(y);
    }
    BarChartWidget plot;
    plot.resize(kPlotSize);
    plot.setXRange(0.0, 1.0);
    plot.setYRange(0.0, 1.0);
    plot.setSeries(xs, ys, {}, {}, BarChartWidget::Lines);
    QImage image(kPlotSize, QImage::Format_ARGB32_Premultiplied);
    for ([[maybe_unused]] auto _ : state) {
        plot.render(&image, QPoint(), QRegion(), QWidget::RenderFlags{});
        benchmark::DoNotOptimize(image.constBits());
    }
}

BENCHMARK(refreshOfBins)
    ->Name("curve/refresh_of_bins")
    ->Arg(250)
    ->Arg(500)
    ->Arg(1000)
    ->Arg(2000)
    ->Arg(5000)
    ->Arg(10000)
    ->Arg(20000) // the tab's most
    ->Unit(benchmark::kMillisecond);
BENCHMARK(repaintOfPoints)
    ->Name("curve/repaint_of_points")
    ->RangeMultiplier(4)
    ->Range(256, 1 << 18)
    ->Unit(benchmark::kMillisecond);

} // namespace
