// A measurement log's snapshots of a whole plot, as the GUI thread pays for them once a second.
#include "BarChartWidget.h"
#include "ExperimentTab.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {

using qorn::timetagger::gui::BarChartWidget;
using qorn::timetagger::gui::ExperimentTab;
using Clock = std::chrono::steady_clock;

constexpr int kSeries = 4;
constexpr int kPoints = 10000;
constexpr int kSnapshots = 300; // some 200 MB

class LoggingTab final : public ExperimentTab {
public:
    LoggingTab() : plot(new BarChartWidget(this)) {
        QList<QList<double>> xs(kSeries);
        QList<QList<double>> ys(kSeries);
        for (int series = 0; series < kSeries; ++series) {
            for (int point = 0; point < kPoints; ++point) {
                xs[series].append(0.01 * point);
                ys[series].append(1e5 * (1.0 + series) + 300.0 * std::sin(0.37 * point));
            }
        }
        plot->setSeries(xs, ys, {}, {}, BarChartWidget::Lines);
    }

    QString experimentType() const override { return QStringLiteral("Bench"); }
    BarChartWidget* plotWidget() const override { return plot; }

private:
    BarChartWidget* plot;
};

double milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

// Milliseconds to hand the same bytes to the file system, as often.
double plainWrites(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        return 0.0;
    }
    const Clock::time_point start = Clock::now();
    for (int number = 0; number < kSnapshots; ++number) {
        if (file.write(bytes) != bytes.size()) {
            return 0.0;
        }
    }
    return milliseconds(Clock::now() - start) / kSnapshots;
}

void logSnapshot(benchmark::State& state) {
    const QTemporaryDir folder;
    LoggingTab tab;
    tab.loadSharedConfig(
        {{QStringLiteral("dataLog"), QJsonObject{{QStringLiteral("format"), QStringLiteral("binary")},
                                                 {QStringLiteral("rotateSeconds"), 0},
                                                 {QStringLiteral("maximumDurationSeconds"), 0}}}});
    const QByteArray bytes = tab.plotWidget()->toBinary();
    const double baseline = plainWrites(folder.filePath(QStringLiteral("plain")), bytes);
    if (baseline <= 0.0 || !tab.startLogInDirectory(folder.filePath(QStringLiteral("log")))) {
        state.SkipWithError("no file could be written");
        return;
    }
    Clock::duration total{};
    Clock::duration longest{};
    for ([[maybe_unused]] auto _ : state) {
        const Clock::time_point start = Clock::now();
        tab.appendPlotSnapshot();
        const Clock::duration one = Clock::now() - start;
        total += one;
        longest = std::max(longest, one);
    }
    if (QFileInfo(tab.currentLogPath()).size() < state.iterations() * bytes.size()) {
        state.SkipWithError("snapshots are missing in the file");
    }
    tab.stopLog();
    const double mean = milliseconds(total) / static_cast<double>(state.iterations());
    state.counters["longest_ms"] = milliseconds(longest);
    state.counters["plain_write_ms"] = baseline;
    state.counters["vs_baseline"] = baseline / mean;
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(logSnapshot)->Name("log/snapshot_4x10000")->Iterations(kSnapshots)->Unit(benchmark::kMillisecond);

} // namespace
