// The Frequency tab from batches of tags to painted plots, and what shows its period errors.
#include "FrequencyTab.h"
#include "PeriodErrors.h"
#include "PeriodHistogram.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QJsonObject>

#include <chrono>
#include <cmath>
#include <deque>
#include <random>
#include <vector>

namespace {

using namespace qorn::timetagger::gui;

constexpr int kBatchTags = 65536;
constexpr int kBatches = 64;
constexpr qint64 kPeriodPs = 250'000; // 4 MHz, as much as an input of four may bring
constexpr double kJitterPs = 30.0;

// A clock with jitter on input 1, alone or among three other inputs that are as fast.
QList<UiTimeTagBatch> clockBatches(std::mt19937_64& random, bool alone) {
    std::normal_distribution<double> jitter(0.0, kJitterPs);
    QList<UiTimeTagBatch> batches;
    qint64 tick = 0;
    for (int batch = 0; batch < kBatches; ++batch) {
        UiTimeTagBatch tags;
        tags.reserve(kBatchTags);
        while (tags.size() < kBatchTags) {
            const auto channel = static_cast<quint8>(alone ? 0 : random() % 4);
            tick += channel == 0 ? 1 : 0;
            tags.append({channel, tick * kPeriodPs + static_cast<qint64>(jitter(random))});
        }
        batches.append(tags);
    }
    return batches;
}

// The batches again, later by the whole span, so that the clock goes on.
void moveOn(QList<UiTimeTagBatch>& batches) {
    const qint64 ticks = std::llround(static_cast<double>(batches.last().last().timePs) / kPeriodPs) -
                         std::llround(static_cast<double>(batches.first().first().timePs) / kPeriodPs) + 1;
    for (UiTimeTagBatch& batch : batches) {
        for (UiTimeTag& tag : batch) {
            tag.timePs += ticks * kPeriodPs;
        }
    }
}

// The same measurement tag by tag: bins, and the errors of the period in a double-ended queue.
double plainLoopTagsPerSecond(const QList<UiTimeTagBatch>& batches) {
    constexpr qint64 kBinPs = 100'000'000'000;
    std::deque<qint64> errors;
    std::deque<double> frequencies;
    qint64 last = 0;
    qint64 first = 0;
    qint64 count = 0;
    const auto start = std::chrono::steady_clock::now();
    for (const UiTimeTagBatch& batch : batches) {
        for (const UiTimeTag& tag : batch) {
            if (tag.channel != 0) {
                continue;
            }
            if (tag.timePs > last) {
                errors.push_back(tag.timePs - last - kPeriodPs);
                if (errors.size() > PeriodErrors::kMost) {
                    errors.pop_front();
                }
            }
            if (tag.timePs - first >= kBinPs) {
                frequencies.push_back(static_cast<double>(count - 1) * 1e12 /
                                      static_cast<double>(last - first));
                first = tag.timePs;
                count = 0;
            }
            ++count;
            last = tag.timePs;
        }
    }
    benchmark::DoNotOptimize(errors);
    benchmark::DoNotOptimize(frequencies);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    return static_cast<double>(batches.size()) * kBatchTags / seconds.count();
}

void runTab(benchmark::State& state, const QJsonObject& config, bool alone) {
    std::mt19937_64 random(5);
    QList<UiTimeTagBatch> batches = clockBatches(random, alone);
    FrequencyTab tab;
    tab.loadConfig(config);
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
            QApplication::processEvents(); // the timer's pictures too
        }
        const auto passed = std::chrono::steady_clock::now() - start;
        busy += passed;
        state.SetIterationTime(std::chrono::duration<double>(passed).count());
        moveOn(batches);
    }
    tab.onStop();
    const std::int64_t tags = state.iterations() * kBatches * kBatchTags;
    state.SetItemsProcessed(tags);
    const double plain = plainLoopTagsPerSecond(batches);
    state.counters["plain_loop_tags/s"] = plain;
    state.counters["of_plain_loop"] =
        static_cast<double>(tags) / std::chrono::duration<double>(busy).count() / plain;
}

const QJsonObject kAllPlots{{QStringLiteral("showDriftPlot"), true},
                            {QStringLiteral("showHistogramPlot"), true}};

void frequencyTags(benchmark::State& state) {
    runTab(state, {}, true);
}
BENCHMARK(frequencyTags)->Name("frequency/tags")->MinTime(2)->UseManualTime();

void frequencyTagsAllPlots(benchmark::State& state) {
    runTab(state, kAllPlots, true);
}
BENCHMARK(frequencyTagsAllPlots)->Name("frequency/tags_all_plots")->MinTime(2)->UseManualTime();

void frequencyOneOfFour(benchmark::State& state) {
    runTab(state, {}, false);
}
BENCHMARK(frequencyOneOfFour)->Name("frequency/tags_of_all_inputs")->MinTime(2)->UseManualTime();

// What one picture of a full million of errors costs.
void frequencyHistogram(benchmark::State& state) {
    std::mt19937_64 random(6);
    std::normal_distribution<double> jitter(0.0, kJitterPs);
    std::vector<qint64> errors(PeriodErrors::kMost);
    for (qint64& error : errors) {
        error = static_cast<qint64>(jitter(random));
    }
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(periodHistogram(errors, 5000, 10));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(errors.size()));
}
BENCHMARK(frequencyHistogram)->Name("frequency/period_histogram")->Unit(benchmark::kMillisecond);

} // namespace
