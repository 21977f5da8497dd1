// Tags into the correlation's accumulator, beside the same counts made with a search per tag.
#include "CorrelationAccumulator.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <deque>
#include <numeric>
#include <random>
#include <vector>

namespace {

using namespace qorn::timetagger::gui;

constexpr int kBatchTags = 65536;
constexpr int kBatches = 32;
constexpr int kInputs = 4;

// Of this program, so that what else the machine does is left out.
double cpuSeconds() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

// Poisson traffic on four inputs in order of time; one tag in fifty has a partner on the next input within
// some 100 ps, as a pair of photons has.
QList<UiTimeTagBatch> traffic(double tagsPerSecond) {
    std::mt19937_64 random(11);
    std::exponential_distribution<double> gap(tagsPerSecond / 1e12);
    std::normal_distribution<double> jitter(0.0, 100.0);
    std::bernoulli_distribution isPair(0.02);
    std::vector<UiTimeTag> tags;
    double time = 1e6;
    while (tags.size() < std::size_t{kBatches} * kBatchTags) {
        time += gap(random);
        const auto channel = static_cast<quint8>(random() % kInputs);
        tags.push_back({channel, static_cast<qint64>(time)});
        if (isPair(random)) {
            const auto partner = static_cast<quint8>((channel + 1) % kInputs);
            tags.push_back({partner, static_cast<qint64>(time + jitter(random))});
        }
    }
    std::stable_sort(tags.begin(), tags.end(),
                     [](const UiTimeTag& a, const UiTimeTag& b) { return a.timePs < b.timePs; });
    QList<UiTimeTagBatch> batches;
    for (auto from = tags.begin(); batches.size() < kBatches; from += kBatchTags) {
        batches.append(UiTimeTagBatch(from, from + kBatchTags));
    }
    return batches;
}

// The same histogram, where each tag searches its partners among all held ones of the other input.
class SearchingAccumulator {
public:
    explicit SearchingAccumulator(const CorrelationAccumulator::Setup& newSetup)
        : setup(newSetup), half(setup.windowPs / setup.binPs),
          counts(static_cast<std::size_t>(2 * half + 1)) {}

    void addBatch(const UiTimeTagBatch& tags) {
        std::vector<qint64> newSources;
        std::vector<qint64> newTargets;
        for (const UiTimeTag& tag : tags) {
            if (tag.channel == setup.source) {
                newSources.push_back(tag.timePs);
            } else if (tag.channel == setup.target) {
                newTargets.push_back(tag.timePs);
            }
        }
        for (const qint64 target : newTargets) {
            for (auto near = firstFrom(sources, target - setup.windowPs);
                 near != sources.end() && *near <= target + setup.windowPs; ++near) {
                countLag(target - *near);
            }
        }
        targets.insert(targets.end(), newTargets.begin(), newTargets.end());
        for (const qint64 source : newSources) {
            for (auto near = firstFrom(targets, source - setup.windowPs);
                 near != targets.end() && *near <= source + setup.windowPs; ++near) {
                countLag(*near - source);
            }
        }
        sources.insert(sources.end(), newSources.begin(), newSources.end());
        trim();
    }

    const std::vector<quint64>& histogram() const { return counts; }

private:
    static std::deque<qint64>::const_iterator firstFrom(const std::deque<qint64>& times, qint64 time) {
        return std::lower_bound(times.begin(), times.end(), time);
    }

    void countLag(qint64 lag) {
        const auto index = std::llround(static_cast<double>(lag) / static_cast<double>(setup.binPs)) + half;
        if (index >= 0 && index <= 2 * half) {
            ++counts[static_cast<std::size_t>(index)];
        }
    }

    void trim() {
        if (sources.empty() || targets.empty()) {
            return;
        }
        const qint64 lastTarget = targets.back();
        for (const qint64 least = sources.back() - setup.windowPs;
             !targets.empty() && targets.front() < least;) {
            targets.pop_front();
        }
        while (!sources.empty() && sources.front() < lastTarget - setup.windowPs) {
            sources.pop_front();
        }
    }

    CorrelationAccumulator::Setup setup;
    qint64 half;
    std::vector<quint64> counts;
    std::deque<qint64> sources;
    std::deque<qint64> targets;
};

void accumulate(benchmark::State& state, qint64 windowPs, qint64 binPs, double tagsPerSecond) {
    const QList<UiTimeTagBatch> batches = traffic(tagsPerSecond);
    const CorrelationAccumulator::Setup setup{0, 1, windowPs, binPs, 0};
    CorrelationAccumulator accumulator;
    double seconds = 0.0;
    for ([[maybe_unused]] auto _ : state) {
        accumulator.reset(setup);
        const double start = cpuSeconds();
        for (const UiTimeTagBatch& batch : batches) {
            accumulator.addBatch(batch);
        }
        const double took = cpuSeconds() - start;
        seconds += took;
        state.SetIterationTime(took);
    }
    SearchingAccumulator plain(setup);
    const double start = cpuSeconds();
    for (const UiTimeTagBatch& batch : batches) {
        plain.addBatch(batch);
    }
    const double plainSeconds = cpuSeconds() - start;
    const auto counts = accumulator.counts();
    if (!std::equal(counts.begin(), counts.end(), plain.histogram().begin(), plain.histogram().end())) {
        state.SkipWithError("the counts differ from those of the searches");
        return;
    }
    constexpr double kTags = double{kBatches} * kBatchTags;
    const auto pairs = static_cast<double>(std::accumulate(counts.begin(), counts.end(), std::uint64_t{0}));
    const double tagsPerRun = static_cast<double>(state.iterations()) * kTags;
    state.SetItemsProcessed(static_cast<std::int64_t>(tagsPerRun));
    state.counters["pairs_per_tag"] = pairs / kTags;
    state.counters["pairs_per_source_tag"] = pairs / static_cast<double>(accumulator.sourceTagCount());
    state.counters["search_per_tag_tags/s"] = kTags / plainSeconds;
    state.counters["vs_baseline"] = tagsPerRun / seconds / (kTags / plainSeconds);
}

void narrow(benchmark::State& state) {
    accumulate(state, 1000, 8, 16e6);
}
// Denser than the instrument can be, so that all the tags of the stream make about four pairs each.
void wide(benchmark::State& state) {
    accumulate(state, 100'000, 10, 315e6);
}
// About four pairs for each tag of the source.
void widePerSource(benchmark::State& state) {
    accumulate(state, 100'000, 10, 78e6);
}
BENCHMARK(narrow)->Name("correlation/accumulate_narrow")->UseManualTime();
BENCHMARK(wide)->Name("correlation/accumulate_wide")->UseManualTime();
BENCHMARK(widePerSource)->Name("correlation/accumulate_wide_per_source")->UseManualTime();

} // namespace
