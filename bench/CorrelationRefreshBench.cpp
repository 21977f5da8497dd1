// One refresh of the Correlation tab: a histogram of 10000 bins a side analysed, fitted and painted.
#include "BarChartWidget.h"
#include "CorrelationTab.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QJsonObject>
#include <QTableWidget>

#include <algorithm>
#include <random>

namespace {

using namespace qorn::timetagger::gui;

constexpr int kPairs = 200000;
constexpr double kPairsPerSecond = 2e6;
constexpr double kBackgroundPerSecond = 20e6; // of each input, so that most bins hold something
constexpr double kDelayPs = 2500.0;
constexpr double kJitterPs = 300.0;

// Pairs of inputs 1 and 2 with a delay, among clicks that have nothing to do with each other.
QList<UiTimeTag> traffic() {
    std::mt19937_64 random(17);
    std::exponential_distribution<double> pause(kPairsPerSecond / 1e12);
    std::exponential_distribution<double> darkPause(kBackgroundPerSecond / 1e12);
    std::normal_distribution<double> delay(kDelayPs, kJitterPs);
    QList<UiTimeTag> tags;
    double time = 1e6;
    for (int pair = 0; pair < kPairs; ++pair) {
        time += pause(random);
        tags.append({0, static_cast<qint64>(time)});
        tags.append({1, static_cast<qint64>(time + delay(random))});
    }
    const double end = time;
    for (const quint8 input : {quint8{0}, quint8{1}}) {
        for (time = 1e6; time < end; time += darkPause(random)) {
            tags.append({input, static_cast<qint64>(time)});
        }
    }
    std::stable_sort(tags.begin(), tags.end(),
                     [](const UiTimeTag& a, const UiTimeTag& b) { return a.timePs < b.timePs; });
    return tags;
}

class PaintCounter : public QObject {
public:
    int paints = 0;

protected:
    bool eventFilter(QObject* object, QEvent* event) override {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return QObject::eventFilter(object, event);
    }
};

void correlationRefresh(benchmark::State& state, const QString& style) {
    static const QList<UiTimeTag> tags = traffic();
    CorrelationTab tab;
    tab.loadConfig({{QStringLiteral("rangeNs"), 80.0},
                    {QStringLiteral("binNs"), 0.008},
                    {QStringLiteral("fitEnabled"), true},
                    {QStringLiteral("fitTerms"), 3},
                    {QStringLiteral("histogram"), style},
                    {QStringLiteral("offsetMode"), QStringLiteral("None")}});
    tab.resize(1100, 700);
    tab.show();
    QApplication::processEvents();
    tab.onTagsBatch(tags);
    auto* plot = tab.findChild<BarChartWidget*>(QStringLiteral("integratedPlot"));
    auto* statistics = tab.findChild<QTableWidget*>(QStringLiteral("statistics"));
    PaintCounter counter;
    plot->installEventFilter(&counter);
    for ([[maybe_unused]] auto _ : state) {
        tab.refreshPlot();
        plot->repaint();
        statistics->viewport()->repaint();
    }
    if (counter.paints < state.iterations()) {
        state.SkipWithError("the plot was not painted each time");
    }
    state.counters["plot_width"] = plot->width();
    state.counters["plot_height"] = plot->height();
}

BENCHMARK_CAPTURE(correlationRefresh, line, QStringLiteral("Line"))
    ->Name("correlation/refresh")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(correlationRefresh, dots, QStringLiteral("Dots"))
    ->Name("correlation/refresh_dots")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(correlationRefresh, bars, QStringLiteral("Bars"))
    ->Name("correlation/refresh_bars")
    ->Unit(benchmark::kMillisecond);

} // namespace
