// The Multi correlation engine on six pairs with the settings it starts with, as fast as it is offered tags
// and with a stream of the highest rate that it must thin.
#include "MultiCorrelationEngine.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <deque>
#include <random>
#include <vector>

namespace {

using namespace qorn;
using namespace qorn::timetagger::gui;
using Clock = std::chrono::steady_clock;

constexpr double kTagsPerSecond = 16e6;
constexpr double kPairFraction = 0.02; // of the clicks; the partner is another input within some 100 ps
constexpr std::size_t kBatches = 32;
constexpr int kSettlingRounds = 3;

// Poisson clicks of four inputs, some of them pairs; each input's tags are in order of time.
std::vector<UiTimeTagBatch> traffic(qsizetype batchTags, std::size_t batches) {
    std::mt19937_64 random(11);
    std::exponential_distribution<double> gap(kTagsPerSecond / (1.0 + kPairFraction) / 1e12);
    std::normal_distribution<double> jitter(0.0, 100.0);
    std::bernoulli_distribution isPair(kPairFraction);
    UiTimeTagBatch tags;
    std::array<qint64, timing::kChannels> latest{};
    const auto append = [&](quint64 channel, double timePs) {
        latest[channel] = std::max(latest[channel], static_cast<qint64>(timePs));
        tags.append({static_cast<quint8>(channel), latest[channel]});
    };
    double time = 1e6;
    while (tags.size() < batchTags * static_cast<qsizetype>(batches)) {
        time += gap(random);
        const quint64 channel = random() % timing::kChannels;
        append(channel, time);
        if (isPair(random)) {
            append((channel + 1 + random() % 3) % timing::kChannels, time + jitter(random));
        }
    }
    std::vector<UiTimeTagBatch> result;
    for (std::size_t batch = 0; batch < batches; ++batch) {
        result.push_back(tags.mid(batchTags * static_cast<qsizetype>(batch), batchTags));
    }
    return result;
}

// The batches later by their whole span, so that the stream goes on.
void moveOn(std::vector<UiTimeTagBatch>& batches) {
    const qint64 span = batches.back().last().timePs - batches.front().first().timePs + 62'500;
    for (UiTimeTagBatch& batch : batches) {
        for (UiTimeTag& tag : batch) {
            tag.timePs += span;
        }
    }
}

// The same the plain way: a sort of each batch, a queue per input, each tag against all that is in them.
class PlainCorrelator {
public:
    PlainCorrelator() {
        for (std::vector<quint64>& histogram : histograms) {
            histogram.resize(static_cast<std::size_t>(bins.binCount));
        }
    }

    void add(const UiTimeTagBatch& tags, int stride) {
        std::vector<std::pair<qint64, std::size_t>> kept;
        for (const UiTimeTag& tag : tags) {
            const quint64 index = counts[tag.channel]++;
            if (stride < 2 ||
                TagReduction::selectionHash(tag.channel, index) % static_cast<quint64>(stride) == 0) {
                kept.emplace_back(tag.timePs, tag.channel);
            }
        }
        std::sort(kept.begin(), kept.end());
        for (const auto& [time, channel] : kept) {
            process(time, channel);
        }
    }

    const std::vector<quint64>& histogram(std::size_t pair) const { return histograms[pair]; }

private:
    void process(qint64 time, std::size_t channel) {
        for (std::deque<qint64>& queue : queues) {
            while (!queue.empty() && queue.front() < time - bins.rangePs) {
                queue.pop_front();
            }
        }
        for (std::size_t other = 0; other < queues.size(); ++other) {
            const int pair = pairIndex(static_cast<int>(channel), static_cast<int>(other));
            if (pair < 0) {
                continue;
            }
            const auto index = static_cast<std::size_t>(pair);
            for (const qint64 buffered : queues[other]) {
                const qint64 lag = channel < other ? buffered - time : time - buffered;
                if (std::abs(lag) > bins.rangePs) {
                    continue;
                }
                const qint64 bin = (lag + bins.rangePs) / bins.binPs;
                if (bin < bins.binCount) {
                    ++histograms[index][static_cast<std::size_t>(bin)];
                }
                inA[index] += std::abs(lag - windows[index].a.centerPs) <= windows[index].a.halfWidthPs;
                inB[index] += std::abs(lag - windows[index].b.centerPs) <= windows[index].b.halfWidthPs;
            }
        }
        queues[channel].push_back(time);
        if (queues[channel].size() > RecentTimes::kMostTimes) {
            queues[channel].pop_front();
        }
    }

    LagBins bins = MultiCorrelationSettings().lagBins();
    std::array<PairLagWindows, kPairs> windows = MultiCorrelationSettings().lagWindows();
    std::array<quint64, timing::kChannels> counts{};
    std::array<std::deque<qint64>, timing::kChannels> queues;
    std::array<std::vector<quint64>, kPairs> histograms;
    std::array<quint64, kPairs> inA{};
    std::array<quint64, kPairs> inB{};
};

// A round of batches, again and again, each time later, through the engine or the plain way. Time passes as
// the batches come.
class Rounds {
public:
    Rounds(qsizetype batchTags, qint64 msPerBatch)
        : batches(traffic(batchTags, kBatches)), batchMs(msPerBatch) {}

    template <typename AddBatch>
    double run(const AddBatch& addBatch) {
        const auto start = Clock::now();
        for (const UiTimeTagBatch& batch : batches) {
            now += batchMs;
            addBatch(batch, now);
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        moveOn(batches);
        return seconds;
    }

private:
    std::vector<UiTimeTagBatch> batches;
    qint64 batchMs;
    qint64 now = 0;
};

bool isSame(const MultiCorrelationEngine& engine, const PlainCorrelator& plain) {
    quint64 highest = 0;
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        const auto counted = engine.histogram(pair);
        const std::vector<quint64>& wanted = plain.histogram(pair);
        if (!std::equal(counted.begin(), counted.end(), wanted.begin(), wanted.end())) {
            return false;
        }
        highest = std::max(highest, *std::max_element(counted.begin(), counted.end()));
    }
    return highest > 0;
}

void process(benchmark::State& state, qsizetype batchTags, qint64 batchMs) {
    PlainCorrelator plain;
    TagReduction strides;
    strides.reset(0);
    Rounds plainRounds(batchTags, batchMs);
    double plainSeconds = 0.0;
    MultiCorrelationEngine engine;
    engine.reset(0);
    Rounds rounds(batchTags, batchMs);
    const auto addToEngine = [&](const UiTimeTagBatch& batch, qint64 now) { engine.addBatch(batch, now); };
    for (int round = 0; round < kSettlingRounds; ++round) { // in which the rate becomes known
        plainSeconds = plainRounds.run([&](const UiTimeTagBatch& batch, qint64 now) {
            plain.add(batch, strides.reductionStrideForBatch(static_cast<quint64>(batch.size()), 0, now));
        });
        rounds.run(addToEngine);
    }
    if (!isSame(engine, plain)) {
        state.SkipWithError("the pairs are not those of the plain way");
        return;
    }
    const quint64 processedBefore = engine.processedTags();
    const quint64 sourceBefore = engine.sourceTags();
    double busy = 0.0;
    for ([[maybe_unused]] auto _ : state) {
        const double seconds = rounds.run(addToEngine);
        busy += seconds;
        state.SetIterationTime(seconds);
    }
    const auto processed = static_cast<std::int64_t>(engine.processedTags() - processedBefore);
    state.SetItemsProcessed(processed);
    state.counters["source_tags/s"] = static_cast<double>(engine.sourceTags() - sourceBefore) / busy;
    const double plainRoundsInBusy = busy / plainSeconds;
    state.counters["plain_processed/s"] =
        static_cast<double>(processed) / static_cast<double>(state.iterations()) / plainSeconds;
    state.counters["vs_plain"] = static_cast<double>(state.iterations()) / plainRoundsInBusy;
}

// Every tag stays.
void whole(benchmark::State& state) {
    process(state, 12'000, 48);
}
// At the highest rate one in 66 stays, and the choice is the work.
void thinned(benchmark::State& state) {
    process(state, 65'536, 4);
}
BENCHMARK(whole)->Name("multicorrelation/process")->MinTime(1)->UseManualTime();
BENCHMARK(thinned)->Name("multicorrelation/process_thinned")->MinTime(1)->UseManualTime();

} // namespace
