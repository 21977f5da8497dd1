// Repaints of the plot, 1000 by 600 pixels, line width 1.8, each with every point mapped and painted.
#include "BarChartWidget.h"

#include <benchmark/benchmark.h>

#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>
#include <optional>
#include <random>

namespace {

using qorn::timetagger::gui::BarChartWidget;

constexpr QSize kSize{1000, 600};
constexpr int kSeries = 4;
constexpr int kPoints = 4000;
constexpr double kLineWidth = 1.8;

struct Traces {
    QList<QList<double>> xs;
    QList<QList<double>> ys;
};

template <typename Value>
Traces tracesOf(Value&& value) {
    Traces traces;
    for (int series = 0; series < kSeries; ++series) {
        QList<double> xs;
        QList<double> ys;
        for (int i = 0; i < kPoints; ++i) {
            const double x = static_cast<double>(i) / (kPoints - 1);
            xs.append(x);
            ys.append(value(series, x));
        }
        traces.xs.append(xs);
        traces.ys.append(ys);
    }
    return traces;
}

// Three periods in the view, with noise of one percent of its height.
Traces sineTraces() {
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0.0, 0.01);
    return tracesOf([&](int series, double x) {
        return 0.5 + 0.4 * std::sin(2.0 * std::numbers::pi * (3.0 * x + 0.2 * series)) + noise(random);
    });
}

// Over half the height of the view.
Traces whiteNoiseTraces() {
    std::mt19937 random(2);
    std::uniform_real_distribution<double> noise(0.25, 0.75);
    return tracesOf([&](int, double) { return noise(random); });
}

void setUp(BarChartWidget& plot) {
    plot.resize(kSize);
    plot.setPlotOptions(QStringLiteral("Bright"), 10, kLineWidth, Qt::SolidLine);
    plot.setAxisLabels(QStringLiteral("Time (s)"), QStringLiteral("Rate"));
    plot.setXRange(0.0, 1.0);
    plot.setYRange(0.0, 1.0);
}

void repaint(BarChartWidget& plot, QImage& image) {
    plot.render(&image, QPoint(), QRegion(), QWidget::RenderFlags{});
    benchmark::DoNotOptimize(image.constBits());
}

// Milliseconds to stroke each trace as one path over an empty ground, with nothing else painted.
double onePathPerSeries(const BarChartWidget& plot, const Traces& traces) {
    QImage image(kSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    const QRectF rect = plot.plotRect();
    const auto start = std::chrono::steady_clock::now();
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setClipRect(rect.adjusted(1.0, 1.0, -1.0, -1.0));
    for (int series = 0; series < kSeries; ++series) {
        QPainterPath path;
        for (int i = 0; i < kPoints; ++i) {
            const QPointF point(plot.pixelFromValueX(traces.xs[series][i], rect),
                                plot.pixelFromValueY(std::clamp(traces.ys[series][i], 0.0, 1.0), rect));
            if (i == 0)
                path.moveTo(point);
            else
                path.lineTo(point);
        }
        painter.setPen(QPen(plot.seriesColor(series), kLineWidth));
        painter.drawPath(path);
    }
    painter.end();
    benchmark::DoNotOptimize(image.constBits());
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// The one path takes seconds for noise, and a benchmark function is entered several times: `baseline` keeps
// its time once measured.
void repaintTraces(benchmark::State& state, const Traces& traces, std::optional<double>& baseline) {
    BarChartWidget plot;
    setUp(plot);
    plot.setSeries(traces.xs, traces.ys,
                   {QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3"), QStringLiteral("4")}, {},
                   BarChartWidget::Lines);
    QImage image(kSize, QImage::Format_ARGB32_Premultiplied);
    repaint(plot, image);
    if (!baseline)
        baseline = onePathPerSeries(plot, traces);

    std::chrono::steady_clock::duration ours{};
    for ([[maybe_unused]] auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        repaint(plot, image);
        ours += std::chrono::steady_clock::now() - start;
    }
    const double mean = std::chrono::duration<double, std::milli>(ours).count() /
                        static_cast<double>(std::max<benchmark::IterationCount>(state.iterations(), 1));
    state.counters["vs_baseline"] = *baseline / mean;
}

void linesRepaint(benchmark::State& state) {
    static std::optional<double> baseline;
    repaintTraces(state, sineTraces(), baseline);
}

void noiseRepaint(benchmark::State& state) {
    static std::optional<double> baseline;
    repaintTraces(state, whiteNoiseTraces(), baseline);
}

// A thousand bars side by side, of random heights up to the whole view.
void barsRepaint(benchmark::State& state) {
    constexpr int kBars = 1000;
    std::mt19937 random(3);
    std::uniform_real_distribution<double> height(0.0, 1.0);
    QList<double> xs;
    QList<double> heights;
    for (int i = 0; i < kBars; ++i) {
        xs.append(i + 0.5);
        heights.append(height(random));
    }
    BarChartWidget plot;
    setUp(plot);
    plot.setXRange(0.0, kBars);
    plot.setBars(xs, heights, 1.0);
    QImage image(kSize, QImage::Format_ARGB32_Premultiplied);
    repaint(plot, image);
    for ([[maybe_unused]] auto _ : state)
        repaint(plot, image);
}

BENCHMARK(linesRepaint)->Name("plot/lines_4x4000")->Unit(benchmark::kMillisecond);
BENCHMARK(noiseRepaint)->Name("plot/noise_4x4000")->Unit(benchmark::kMillisecond);
BENCHMARK(barsRepaint)->Name("plot/bars_1000")->Unit(benchmark::kMillisecond);

} // namespace
