// The Counter tab from batches of tags to painted plots, with coincidences on.
#include "BarChartWidget.h"
#include "CounterTab.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QJsonObject>

#include <array>
#include <chrono>
#include <random>

namespace {

using namespace qorn::timetagger::gui;

constexpr int kBatchTags = 65536;
constexpr int kBatches = 64;
constexpr double kTagsPerSecond = 16e6;
constexpr double kPairFraction = 0.02; // of the clicks; the partner is another input within some 100 ps

// Poisson clicks of four inputs in order of time, some of them pairs, as a capture hands them out. Each
// input's tags are in order; those of different inputs are so too but for the pairs' jitter.
QList<UiTimeTagBatch> traffic(std::mt19937_64& random) {
    std::exponential_distribution<double> pause(kTagsPerSecond / (1.0 + kPairFraction) / 1e12);
    std::normal_distribution<double> jitter(0.0, 100.0);
    std::bernoulli_distribution isPair(kPairFraction);
    std::array<qint64, 4> latest{};
    UiTimeTagBatch tags;
    const auto append = [&](quint64 channel, double timePs) {
        const qint64 time = std::max(latest[channel], static_cast<qint64>(timePs));
        latest[channel] = time;
        tags.append({static_cast<quint8>(channel), time});
    };
    QList<UiTimeTagBatch> batches;
    double time = 1e6;
    while (batches.size() < kBatches) {
        time += pause(random);
        const quint64 channel = random() % 4;
        append(channel, time);
        if (isPair(random)) {
            append((channel + 1 + random() % 3) % 4, time + jitter(random));
        }
        if (tags.size() >= kBatchTags) {
            batches.append(tags.first(kBatchTags));
            tags.remove(0, kBatchTags);
        }
    }
    return batches;
}

// What is left when nothing is done but to count each input per batch.
double plainLoopTagsPerSecond(const QList<UiTimeTagBatch>& batches) {
    const auto start = std::chrono::steady_clock::now();
    std::array<quint64, 4> counts{};
    for (const UiTimeTagBatch& batch : batches) {
        for (const UiTimeTag& tag : batch) {
            ++counts[tag.channel & 3U];
        }
        benchmark::DoNotOptimize(counts);
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    return static_cast<double>(batches.size()) * kBatchTags / seconds.count();
}

// The batches again and again, each time later by the whole span, so that the stream goes on.
void moveOn(QList<UiTimeTagBatch>& batches, qint64 spanPs) {
    for (UiTimeTagBatch& batch : batches) {
        for (UiTimeTag& tag : batch) {
            tag.timePs += spanPs;
        }
    }
}

void counterTags(benchmark::State& state) {
    std::mt19937_64 random(11);
    QList<UiTimeTagBatch> batches = traffic(random);
    const qint64 span = batches.last().last().timePs - batches.first().first().timePs + 62500;
    CounterTab tab;
    tab.loadConfig({{QStringLiteral("coincidenceEnabled"), true},
                    {QStringLiteral("showStats"), true},
                    {QStringLiteral("showHistogram"), true},
                    {QStringLiteral("integrationSec"), static_cast<double>(state.range(0)) / 1000.0}});
    tab.resize(1100, 700);
    tab.show();
    QApplication::processEvents();
    tab.setRunningState(true);
    tab.onStart();
    std::chrono::steady_clock::duration busy{};
    for ([[maybe_unused]] auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        for (const UiTimeTagBatch& batch : std::as_const(batches)) {
            tab.onTagsBatch(batch);
            QApplication::processEvents(); // paints what changed
        }
        const auto passed = std::chrono::steady_clock::now() - start;
        busy += passed;
        state.SetIterationTime(std::chrono::duration<double>(passed).count());
        moveOn(batches, span);
    }
    tab.onStop();
    const std::int64_t tags = state.iterations() * kBatches * kBatchTags;
    state.SetItemsProcessed(tags);
    const double plain = plainLoopTagsPerSecond(batches);
    state.counters["plain_loop_tags/s"] = plain;
    state.counters["of_plain_loop"] =
        static_cast<double>(tags) / std::chrono::duration<double>(busy).count() / plain;
}
BENCHMARK(counterTags)
    ->Name("tab/counter_tags/gate_ms")
    ->Arg(100)
    ->Arg(10)
    ->Arg(1)
    ->MinTime(2)
    ->UseManualTime();

} // namespace
