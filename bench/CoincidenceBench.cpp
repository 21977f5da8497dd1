// Coincidences from tags: offsets, sort and counter, in batches as the capture makes them.
#include "CoincidenceCounter.h"
#include "TagEventSorter.h"
#include "UiTimeTag.h"

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <random>
#include <span>

namespace {

using namespace qorn;
using namespace qorn::timetagger::gui;
using Clock = std::chrono::steady_clock;
using Offsets = std::array<qint64, timing::kChannels>;

constexpr int kBatchTags = 65536;
constexpr int kBatches = 16;
constexpr int kMostRateHz = 16'000'000;
constexpr quint64 kWindowPs = 10'000;

// Poisson traffic of the highest rate on four channels, in the order of time.
const QList<UiTimeTagBatch>& batches() {
    static const QList<UiTimeTagBatch> made = [] {
        std::mt19937_64 random(11);
        std::exponential_distribution<double> gap(kMostRateHz / 1e12);
        QList<UiTimeTagBatch> result;
        double time = 0.0;
        for (int number = 0; number < kBatches; ++number) {
            UiTimeTagBatch batch;
            for (int tag = 0; tag < kBatchTags; ++tag) {
                time += gap(random);
                batch.append({static_cast<quint8>(random() % timing::kChannels), static_cast<qint64>(time)});
            }
            result.append(batch);
        }
        return result;
    }();
    return made;
}

// What a plain loop over the tags does in the same time: their singles, nothing else.
double plainSecondsPerTag() {
    std::array<quint64, timing::kChannels> singles{};
    const auto start = Clock::now();
    for (const UiTimeTagBatch& batch : batches()) {
        for (const UiTimeTag& tag : batch) {
            ++singles[tag.channel];
        }
        benchmark::DoNotOptimize(singles);
    }
    return std::chrono::duration<double>(Clock::now() - start).count() / (kBatches * kBatchTags);
}

void sortAndCount(benchmark::State& state, const Offsets& offsets) {
    TagEventSorter sorter(TagEventSorter::Ties::Arrival);
    sorter.setOffsets(offsets);
    CoincidenceCounter counter;
    std::array<quint64, kPairs> windows{};
    windows.fill(kWindowPs);
    counter.setPairWindows(windows);
    const double plain = plainSecondsPerTag();
    double seconds = 0.0;
    qsizetype next = 0;
    for ([[maybe_unused]] auto _ : state) {
        const UiTimeTagBatch& batch = batches().at(next++ % kBatches);
        const auto start = Clock::now();
        for (const TagEvent& event : sorter.sort(batch)) {
            counter.add(event.timePs, event.channel);
        }
        const double took = std::chrono::duration<double>(Clock::now() - start).count();
        seconds += took;
        state.SetIterationTime(took);
    }
    quint64 events = 0;
    for (const quint64 count : counter.counts().singles) {
        events += count;
    }
    if (events != static_cast<quint64>(state.iterations()) * kBatchTags || counter.counts().pairSum == 0) {
        state.SkipWithError("events are missing");
        return;
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(events));
    state.counters["pairs_per_event"] =
        static_cast<double>(counter.counts().pairSum) / static_cast<double>(events);
    state.counters["vs_baseline"] = plain / (seconds / static_cast<double>(events));
}

void ordered(benchmark::State& state) {
    sortAndCount(state, {});
}
// Delays of many mean gaps, so that the channels must be merged anew.
void disordered(benchmark::State& state) {
    sortAndCount(state, {0, 1'500'000, -2'750'000, 12'345'678});
}
BENCHMARK(ordered)->Name("coincidence/counter")->UseManualTime();
BENCHMARK(disordered)->Name("coincidence/counter_offsets")->UseManualTime();

} // namespace
