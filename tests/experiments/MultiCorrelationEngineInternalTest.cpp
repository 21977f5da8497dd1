// The Multi correlation engine against the same steps done the plain way, part by part and as a whole, and on
// times that no instrument sends.
#include "MultiCorrelationEngine.h"
#include "MultipleTest.h"
#include "RecentTimes.h"
#include "SaturatedTime.h"
#include "TagReduction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

constexpr qint64 kLeast = std::numeric_limits<qint64>::min();
constexpr qint64 kMost = std::numeric_limits<qint64>::max();
constexpr qint64 kSecond = 1'000'000'000'000;

// One queue per input, each tag against all that is in the others', gates one by one.
class PlainEngine {
public:
    explicit PlainEngine(const MultiCorrelationSettings& given)
        : settings(given), bins(given.lagBins()), windows(given.lagWindows()), offsets(given.offsetsPs()) {
        for (std::vector<quint64>& histogram : histograms) {
            histogram.resize(static_cast<std::size_t>(bins.binCount));
        }
    }

    void addBatch(const QList<UiTimeTag>& tags) {
        std::vector<std::pair<qint64, std::size_t>> events;
        for (const UiTimeTag& tag : tags) {
            if (tag.channel < timing::kChannels) {
                events.emplace_back(tag.timePs + offsets[tag.channel], tag.channel);
            }
        }
        std::sort(events.begin(), events.end());
        for (const auto& [time, channel] : events) {
            process(time, channel);
        }
    }

    std::array<std::vector<quint64>, kPairs> histograms;
    std::vector<std::array<quint64, PairCorrelator::kWindows>> gates;
    quint64 discarded = 0;

private:
    void process(qint64 time, std::size_t channel) {
        const qint64 length = settings.gateDurationPs();
        if (!gateEnd) {
            gateEnd = time + length;
        }
        for (; *gateEnd <= time; *gateEnd += length) {
            gates.push_back(counts);
            counts = {};
        }
        for (std::deque<qint64>& queue : queues) {
            while (!queue.empty() && queue.front() < time - bins.rangePs) {
                queue.pop_front();
            }
        }
        for (std::size_t other = 0; other < queues.size(); ++other) {
            const int pair = pairIndex(static_cast<int>(channel), static_cast<int>(other));
            if (pair < 0 || !settings.pairs[static_cast<std::size_t>(pair)]) {
                continue;
            }
            for (const qint64 buffered : queues[other]) {
                const qint64 lag = channel < other ? buffered - time : time - buffered;
                if (std::abs(lag) <= bins.rangePs) {
                    count(static_cast<std::size_t>(pair), lag);
                }
            }
        }
        queues[channel].push_back(time);
        if (queues[channel].size() > RecentTimes::kMostTimes) {
            queues[channel].pop_front();
            ++discarded;
        }
    }

    void count(std::size_t pair, qint64 lag) {
        const qint64 bin = (lag + bins.rangePs) / bins.binPs;
        if (bin < bins.binCount) {
            ++histograms[pair][static_cast<std::size_t>(bin)];
        }
        const PairLagWindows& both = windows[pair];
        counts[2 * pair] += std::abs(lag - both.a.centerPs) <= both.a.halfWidthPs ? 1U : 0U;
        counts[2 * pair + 1] += std::abs(lag - both.b.centerPs) <= both.b.halfWidthPs ? 1U : 0U;
    }

    MultiCorrelationSettings settings;
    LagBins bins;
    std::array<PairLagWindows, kPairs> windows;
    std::array<qint64, timing::kChannels> offsets;
    std::array<std::deque<qint64>, timing::kChannels> queues;
    std::array<quint64, PairCorrelator::kWindows> counts{};
    std::optional<qint64> gateEnd;
};

void expectSame(const MultiCorrelationEngine& engine, const PlainEngine& plain) {
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        const auto counted = engine.histogram(pair);
        EXPECT_EQ(std::vector<quint64>(counted.begin(), counted.end()), plain.histograms[pair])
            << "pair " << pair;
    }
    EXPECT_EQ(engine.reduction().discardedTags, plain.discarded);
    ASSERT_EQ(engine.traceSamples(), plain.gates.size());
    const std::size_t held = engine.traces().blocksHeld();
    ASSERT_LE(held, plain.gates.size());
    for (std::size_t window = 0; window < PairCorrelator::kWindows; ++window) {
        const QList<double> values = engine.traces().trace(window).ys;
        ASSERT_EQ(values.size(), static_cast<qsizetype>(held));
        for (std::size_t i = 0; i < held; ++i) {
            EXPECT_EQ(values.at(static_cast<qsizetype>(i)),
                      static_cast<double>(plain.gates[plain.gates.size() - held + i][window]))
                << "window " << window << ", gate " << i << " of " << held;
        }
    }
}

MultiCorrelationSettings randomSettings(std::mt19937_64& random) {
    const auto between = [&](double least, double most) {
        return std::uniform_real_distribution<double>(least, most)(random);
    };
    MultiCorrelationSettings settings;
    for (bool& pair : settings.pairs) {
        pair = random() % 4 != 0;
    }
    settings.rangeNs = std::pow(10.0, between(-2.0, 4.0));
    settings.binNs = settings.rangeNs * between(0.0003, 0.7);
    settings.gateSec = 0.001 * static_cast<double>(1 + random() % 20);
    settings.traceHistorySec = settings.gateSec * between(1.0, 100.0);
    for (PairWindows& pair : settings.windows) {
        pair.a = {between(-1.0, 1.0) * settings.rangeNs, between(0.0, 1.0) * settings.rangeNs};
        pair.b = {between(-1.0, 1.0) * settings.rangeNs, between(0.0, 1.0) * settings.rangeNs};
    }
    settings.offsetsEnabled = random() % 2 == 0;
    for (double& offset : settings.offsetsNs) {
        offset = between(-2.0, 2.0) * settings.rangeNs;
    }
    return settings;
}

// Tags with a mean distance of `gapPs`, cut into batches anywhere; now and then the times step back.
QList<QList<UiTimeTag>> randomBatches(std::mt19937_64& random, double gapPs, int tags) {
    QList<QList<UiTimeTag>> batches(1);
    std::exponential_distribution<double> gap(1.0 / gapPs);
    qint64 time = static_cast<qint64>(random() % 1'000'000'000);
    for (int tag = 0; tag < tags; ++tag) {
        time += static_cast<qint64>(gap(random));
        if (random() % 300 == 0) {
            batches.append(QList<UiTimeTag>());
        }
        if (random() % 1000 == 0) {
            time -= static_cast<qint64>(gap(random) * static_cast<double>(random() % 100));
        }
        batches.last().append({static_cast<quint8>(random() % 5), time}); // the fifth input is none
    }
    return batches;
}

TEST(MultiCorrelationEngineInternal, CountsWhatThePlainWayCounts) {
    for (quint64 seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        const MultiCorrelationSettings settings = randomSettings(random);
        const double gapPs = settings.rangeNs * 1000.0 * std::pow(10.0, -static_cast<double>(random() % 3));
        MultiCorrelationEngine engine;
        engine.apply(settings);
        engine.reset(0);
        PlainEngine plain(settings);
        for (const QList<UiTimeTag>& batch : randomBatches(random, gapPs, 4000)) {
            engine.addBatch(batch, 0);
            plain.addBatch(batch);
        }
        expectSame(engine, plain);
    }
}

TEST(MultiCorrelationEngineInternal, EndsAndTrimsGatesAsThePlainWayDoes) {
    for (quint64 seed = 0; seed < 20; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        MultiCorrelationSettings settings = randomSettings(random);
        MultiCorrelationEngine engine;
        settings.rangeNs = 1e6;
        engine.apply(settings);
        engine.reset(0);
        PlainEngine plain(settings);
        for (const QList<UiTimeTag>& batch : randomBatches(random, 1e9, 3000)) {
            engine.addBatch(batch, 0);
            plain.addBatch(batch);
        }
        EXPECT_GT(plain.gates.size(), 100U);
        expectSame(engine, plain);
        EXPECT_TRUE(engine.traces().seconds() <= std::max(settings.traceHistorySec, 0.1) + 1e-9 ||
                    engine.traces().blocksHeld() == 2);
    }
}

TEST(MultiCorrelationEngineInternal, FullBuffersDiscardTheOldest) {
    MultiCorrelationSettings settings;
    settings.rangeNs = 1e6;
    settings.binNs = 1e3;
    MultiCorrelationEngine engine;
    engine.apply(settings);
    engine.reset(0);
    PlainEngine plain(settings);
    qint64 time = 0;
    for (int batch = 0; batch < 3; ++batch) {
        QList<UiTimeTag> tags;
        for (int tag = 0; tag < 6000; ++tag) {
            time += 100; // 10 000 of them in the range
            tags.append({static_cast<quint8>(tag % 100 == 0 ? 1 : 0), time});
        }
        engine.addBatch(tags, 0);
        plain.addBatch(tags);
    }
    EXPECT_GT(plain.discarded, 0U);
    expectSame(engine, plain);
    EXPECT_TRUE(engine.reduction().isActive());
    EXPECT_EQ(engine.reduction().maxStride, 1);
}

TEST(MultiCorrelationEngineInternal, AJumpOfMonthsEndsAllItsGatesAtOnce) {
    MultiCorrelationEngine engine;
    engine.reset(0);
    const qint64 months = 8'000'000 * kSecond; // eighty million gates
    engine.addBatch(QList<UiTimeTag>{{0, 1000}, {1, 1010}}, 0);
    const auto taken = engine.addBatch(QList<UiTimeTag>{{0, 1000 + months}, {1, 1100 + months}}, 0);
    EXPECT_EQ(taken.gates, 80'000'000U);
    EXPECT_EQ(engine.traceSamples(), 80'000'000U);
    EXPECT_EQ(engine.traces().trace(0).ys, QList<double>(100, 0.0));
    EXPECT_DOUBLE_EQ(engine.traces().trace(0).xs.constLast(), 10.0);
    EXPECT_DOUBLE_EQ(engine.traces().seconds(), 10.0);
    const auto histogram = engine.histogram(0);
    EXPECT_EQ(std::accumulate(histogram.begin(), histogram.end(), quint64{0}), 2U);
}

TEST(MultiCorrelationEngineInternal, ALongTraceKeepsTheExtremesOfItsGates) {
    constexpr int kGates = 7000;
    MultiCorrelationSettings settings;
    settings.gateSec = 0.001;
    settings.traceHistorySec = 5.0;
    MultiCorrelationEngine engine;
    engine.apply(settings);
    engine.reset(0);
    const qint64 gatePs = kSecond / 1000;
    std::vector<double> wanted;
    std::mt19937_64 random(4);
    for (int gate = 0; gate < kGates; ++gate) {
        QList<UiTimeTag> tags{{0, gate * gatePs}};
        const auto pairs = static_cast<int>(random() % 4);
        for (int pair = 0; pair < pairs; ++pair) {
            tags.append({1, gate * gatePs + pair});
        }
        wanted.push_back(pairs);
        engine.addBatch(tags, gate);
    }
    EXPECT_EQ(engine.traceSamples(), static_cast<quint64>(kGates) - 1);
    const Trace trace = engine.traces().trace(0);
    EXPECT_LE(engine.traces().seconds(), 5.0);
    EXPECT_GT(engine.traces().seconds(), 4.98);
    EXPECT_LE(engine.traces().blocksHeld(), WindowTraces::kMostBlocks);
    EXPECT_TRUE(std::is_sorted(trace.xs.begin(), trace.xs.end()));
    // Every point is a gate's, and beside every gate, in its block of four, are points as high and as low.
    const auto firstGate = kGates - 1 - std::lround(engine.traces().seconds() * 1000.0);
    std::vector<double> highest(kGates, -1.0);
    std::vector<double> lowest(kGates, 10.0);
    for (qsizetype point = 0; point < trace.xs.size(); ++point) {
        const auto gate = firstGate + std::lround(trace.xs[point] * 1000.0) - 1;
        ASSERT_EQ(trace.ys[point], wanted[static_cast<std::size_t>(gate)]);
        for (auto beside = std::max(gate - 3, 0L); beside < std::min<long>(gate + 4, kGates); ++beside) {
            const auto place = static_cast<std::size_t>(beside);
            highest[place] = std::max(highest[place], trace.ys[point]);
            lowest[place] = std::min(lowest[place], trace.ys[point]);
        }
    }
    for (auto gate = static_cast<std::size_t>(firstGate); gate < kGates - 1; ++gate) {
        ASSERT_GE(highest[gate], wanted[gate]) << gate;
        ASSERT_LE(lowest[gate], wanted[gate]) << gate;
    }
}

TEST(MultiCorrelationEngineInternal, ATraceThatMayBeLongShowsItsFirstGatesOneByOne) {
    MultiCorrelationSettings settings;
    settings.gateSec = 0.001;
    settings.traceHistorySec = 3600.0;
    MultiCorrelationEngine engine;
    engine.apply(settings);
    engine.reset(0);
    engine.addBatch(QList<UiTimeTag>{{0, 0}, {0, 2 * kSecond}}, 0);
    EXPECT_EQ(engine.traces().trace(0).ys, QList<double>(2000, 0.0));
    engine.addBatch(QList<UiTimeTag>{{0, 2 * kSecond + kSecond / 1000}}, 0);
    EXPECT_EQ(engine.traces().blocksHeld(), 1001U);
    EXPECT_DOUBLE_EQ(engine.traces().seconds(), 2.001);
}

TEST(MultiCorrelationEngineInternal, ASilenceOfALongTraceLeavesNothingOfBefore) {
    MultiCorrelationSettings settings;
    settings.gateSec = 0.001;
    settings.traceHistorySec = 3600.0;
    MultiCorrelationEngine engine;
    engine.apply(settings);
    engine.reset(0);
    engine.addBatch(QList<UiTimeTag>{{0, 0}, {1, 0}, {0, kSecond}}, 0);
    EXPECT_EQ(engine.traces().trace(0).ys.constFirst(), 1.0);
    engine.addBatch(QList<UiTimeTag>{{0, 3602 * kSecond}}, 0);
    EXPECT_EQ(engine.traceSamples(), 3'602'000U);
    const QList<double> values = engine.traces().trace(0).ys;
    EXPECT_EQ(std::count(values.begin(), values.end(), 0.0), values.size());
    EXPECT_NEAR(engine.traces().seconds(), 3600.0, 4.1);
    EXPECT_LE(engine.traces().blocksHeld(), WindowTraces::kMostBlocks);
}

TEST(MultiCorrelationEngineInternal, ASilenceKeepsTheGateBeforeItWhereTheTraceReachesBackSoFar) {
    MultiCorrelationEngine engine;
    engine.reset(0);
    engine.addBatch(QList<UiTimeTag>{{0, 1000}, {1, 1010}, {0, 1000 + kSecond}}, 0);
    EXPECT_EQ(engine.traceSamples(), 10U);
    const QList<double> values = engine.traces().trace(0).ys;
    ASSERT_EQ(values.size(), 10);
    EXPECT_EQ(values.constFirst(), 1.0);
    EXPECT_EQ(std::accumulate(values.begin(), values.end(), 0.0), 1.0);
}

TEST(MultiCorrelationEngineInternal, TimesAtTheEndsOfTheRangeAreCounted) {
    MultiCorrelationSettings settings;
    settings.offsetsEnabled = true;
    settings.gateSec = 0.001;
    for (const double offset : {0.0, 1e6}) {
        SCOPED_TRACE(offset);
        settings.offsetsNs = {offset, -offset, 0.0, 0.0};
        MultiCorrelationEngine engine;
        engine.apply(settings);
        engine.reset(0);
        std::mt19937_64 random(3);
        const std::vector<qint64> extremes{kLeast, kLeast + 1, -1, 0, 1, kMost - 1, kMost};
        for (int round = 0; round < 300; ++round) {
            QList<UiTimeTag> tags;
            for (int tag = 0; tag < 12; ++tag) {
                tags.append({static_cast<quint8>(random() % 4), extremes[random() % extremes.size()]});
            }
            engine.addBatch(tags, 0);
        }
        EXPECT_EQ(engine.processedTags(), 3600U);
        const auto histogram = engine.histogram(5);
        EXPECT_GT(std::accumulate(histogram.begin(), histogram.end(), quint64{0}), 500U);
    }
}

TEST(MultiCorrelationEngineInternal, AfterAStepBackBeyondAllOffsetsCountingGoesOn) {
    MultiCorrelationEngine engine;
    engine.reset(0);
    engine.addBatch(QList<UiTimeTag>{{0, 100 * kSecond}, {1, 100 * kSecond + 5}}, 0);
    engine.addBatch(QList<UiTimeTag>{{0, 7}, {1, 7}, {1, kSecond / 5 + 7}}, 0);
    EXPECT_EQ(engine.traceSamples(), 2U);
    EXPECT_EQ(engine.traces().trace(0).ys,
              (QList<double>{1.0, 0.0})); // what was counted before is in no gate
    const auto histogram = engine.histogram(0);
    EXPECT_EQ(std::accumulate(histogram.begin(), histogram.end(), quint64{0}), 2U);
}

// A range full of tags, and every batch earlier than the one before it: a search per batch, no walk.
TEST(MultiCorrelationEngineInternal, BatchesThatRunBackwardsStayCheap) {
    MultiCorrelationEngine engine;
    engine.reset(0);
    for (qint64 batch = 0; batch < 60; ++batch) {
        QList<UiTimeTag> tags;
        for (qint64 tag = 0; tag < 10'000; ++tag) {
            tags.append({static_cast<quint8>(tag % 4), -batch * kSecond + tag * 1000});
        }
        engine.addBatch(tags, batch * 50);
    }
    EXPECT_EQ(engine.processedTags(), 600'000U);
    EXPECT_EQ(engine.traceSamples(), 0U);
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        const auto histogram = engine.histogram(pair);
        EXPECT_EQ(std::accumulate(histogram.begin(), histogram.end(), quint64{0}), 0U);
    }
}

TEST(MultiCorrelationEngineInternal, NewSettingsKeepTracesAndCounters) {
    MultiCorrelationEngine engine;
    engine.reset(0);
    engine.addBatch(QList<UiTimeTag>{{0, 0}, {1, 10}, {2, kSecond / 4}}, 0);
    MultiCorrelationSettings settings;
    settings.rangeNs = 2.0;
    engine.apply(settings);
    EXPECT_EQ(engine.bins().rangePs, 2000);
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        const auto histogram = engine.histogram(pair);
        EXPECT_EQ(histogram.size(), 501U);
        EXPECT_EQ(std::count(histogram.begin(), histogram.end(), 0U), 501);
    }
    EXPECT_EQ(engine.traces().blocksHeld(), 2U);
    EXPECT_EQ(engine.traceSamples(), 2U);
    EXPECT_EQ(engine.processedTags(), 3U);
}

TEST(MultiCorrelationReductionInternal, MultiplesAreThoseOfADivision) {
    std::mt19937_64 random(5);
    std::vector<quint64> divisors{1, 2, 3, 4, 5, 6, 7, 8, 64, 66, 1000, 0x7fffffff, 0x7ffffffe, 1U << 30U};
    for (int i = 0; i < 200; ++i) {
        divisors.push_back(random() % 100'000 + 1);
    }
    for (const quint64 divisor : divisors) {
        const MultipleTest isMultiple(divisor);
        for (int i = 0; i < 500; ++i) {
            const quint64 number = random();
            const quint64 multiple = number / divisor * divisor;
            ASSERT_EQ(isMultiple(number), number % divisor == 0) << number << " / " << divisor;
            ASSERT_TRUE(isMultiple(multiple)) << multiple << " / " << divisor;
            ASSERT_EQ(isMultiple(multiple - 1), divisor == 1 || multiple == 0)
                << multiple - 1 << " / " << divisor;
        }
        EXPECT_TRUE(isMultiple(0));
    }
}

// By the limits one by one.
int plainStride(quint64 tags, quint64 deepest, int rateStride) {
    const int bufferStride = static_cast<int>((deepest + 8191) / 8192);
    const int batchStride = static_cast<int>((tags + 11'999) / 12'000);
    int stride = 1;
    if (tags > 12'000) {
        stride = std::max(stride, batchStride);
    }
    if (deepest > 8192) {
        stride = std::max(stride, bufferStride);
    }
    return rateStride >= 2 ? std::max(stride, rateStride) : stride;
}

TEST(MultiCorrelationReductionInternal, TheStrideMeetsAllLimits) {
    for (const quint64 perSecond : {1'000U, 250'000U, 250'001U, 16'000'000U}) {
        const int rateStride = static_cast<int>((perSecond + 249'999) / 250'000);
        for (const quint64 tags : {1U, 11'999U, 12'000U, 12'001U, 24'000U, 24'001U, 65'536U, 2'000'000U}) {
            for (const quint64 deepest : {0U, 8191U, 8192U, 8193U, 16'385U, 100'000U}) {
                TagReduction reduction;
                reduction.reset(0);
                reduction.reductionStrideForBatch(perSecond, 0, 1000);
                EXPECT_EQ(reduction.reductionStrideForBatch(tags, deepest, 1100),
                          plainStride(tags, deepest, rateStride))
                    << perSecond << "/s, " << tags << " tags, " << deepest << " held";
            }
        }
    }
}

TEST(MultiCorrelationReductionInternal, TheRateIsEstimatedAnewEveryQuarterSecond) {
    TagReduction reduction;
    EXPECT_EQ(reduction.reductionStrideForBatch(12'000, 0, 5000), 1); // begins the estimate
    EXPECT_EQ(reduction.reductionStrideForBatch(12'000, 0, 5249), 1);
    EXPECT_EQ(reduction.reductionStrideForBatch(101'000, 0, 5250), 9); // the batch; 500 000 tags/s
    EXPECT_EQ(reduction.reductionStrideForBatch(1, 0, 5499), 2);
    EXPECT_EQ(reduction.reductionStrideForBatch(1, 0, 5500), 1);
    EXPECT_EQ(reduction.reductionStrideForBatch(1, 0, 1), 1); // a clock that goes back
}

// Random appends and drops, with times that mostly ascend, against a queue.
TEST(RecentTimesInternal, HoldsAndFindsWhatAQueueHolds) {
    for (quint64 seed = 0; seed < 8; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        RecentTimes times;
        std::deque<qint64> queue;
        qint64 now = 0;
        const qint64 keep = seed % 2 == 0 ? 300 : 100'000; // the latter overflows
        for (int step = 0; step < 60'000; ++step) {
            now += static_cast<qint64>(random() % 5);
            if (random() % 500 == 0) {
                now -= static_cast<qint64>(random() % 1000);
            }
            times.dropOlderThan(now - keep);
            while (!queue.empty() && queue.front() < now - keep) {
                queue.pop_front();
            }
            const bool overflows = queue.size() == RecentTimes::kMostTimes;
            queue.push_back(now);
            if (overflows) {
                queue.pop_front();
            }
            ASSERT_EQ(times.append(now), overflows);
            ASSERT_EQ(times.size(), queue.size());
            if (step % 97 != 0) {
                continue;
            }
            const qint64 least = now - static_cast<qint64>(random() % 2000);
            const qint64 most = least + static_cast<qint64>(random() % 1000);
            std::vector<qint64> wanted;
            std::copy_if(queue.begin(), queue.end(), std::back_inserter(wanted),
                         [&](qint64 time) { return time >= least && time <= most; });
            std::vector<qint64> found;
            times.visitBetween(least, most, [&](std::span<const qint64> part) {
                found.insert(found.end(), part.begin(), part.end());
            });
            ASSERT_EQ(found, wanted);
        }
    }
}

} // namespace
} // namespace qorn::timetagger::gui
