// The mouse over a shown plot of 4 traces of 4000 points: from the move of the mouse to the picture with the
// readout at its new place.
#include "BarChartWidget.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QMouseEvent>

#include <cmath>
#include <numbers>
#include <random>

namespace {

using qorn::timetagger::gui::BarChartWidget;

constexpr int kSeries = 4;
constexpr int kPoints = 4000;

class PaintCounter : public QObject {
public:
    bool eventFilter(QObject* object, QEvent* event) override {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return QObject::eventFilter(object, event);
    }
    int paints = 0;
};

void showTraces(BarChartWidget& plot) {
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0.0, 0.01);
    QList<QList<double>> xs(kSeries);
    QList<QList<double>> ys(kSeries);
    for (int series = 0; series < kSeries; ++series) {
        for (int i = 0; i < kPoints; ++i) {
            const double x = static_cast<double>(i) / (kPoints - 1);
            xs[series].append(x);
            ys[series].append(0.5 + 0.4 * std::sin(2.0 * std::numbers::pi * (3.0 * x + 0.2 * series)) +
                              noise(random));
        }
    }
    plot.setSeries(xs, ys,
                   {QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3"), QStringLiteral("4")}, {},
                   BarChartWidget::Lines);
    plot.setXRange(0.0, 1.0);
    plot.setYRange(0.0, 1.0);
    plot.setAxisLabels(QStringLiteral("Time (s)"), QStringLiteral("Rate"));
}

void hover(benchmark::State& state) {
    BarChartWidget plot;
    plot.resize(1000, 600);
    plot.setPlotOptions(QStringLiteral("Qorn"), 10, 1.8, Qt::SolidLine);
    showTraces(plot);
    plot.show();
    QCoreApplication::processEvents();
    PaintCounter counter;
    plot.installEventFilter(&counter);

    const QRectF area = plot.plotRect();
    int step = 0;
    for ([[maybe_unused]] auto _ : state) {
        const double along = static_cast<double>(step++ * 37 % 1000) / 1000.0;
        const QPointF position(area.left() + along * area.width(),
                               area.top() + (1.0 - along) * area.height());
        QMouseEvent move(QEvent::MouseMove, position, plot.mapToGlobal(position), Qt::NoButton, Qt::NoButton,
                         Qt::NoModifier);
        QCoreApplication::sendEvent(&plot, &move);
        QCoreApplication::processEvents();
    }
    if (counter.paints < state.iterations()) {
        state.SkipWithError("a move of the mouse was not painted");
    }
}

BENCHMARK(hover)->Name("plot/hover_4x4000")->Unit(benchmark::kMillisecond);

} // namespace
