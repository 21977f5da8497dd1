// Parts of the Counter measurement that its tab does not show one by one: the bins of the histogram, the
// settings' numbers, the gates that the tag engine gives out.
#include "CountHistogram.h"
#include "CounterEngine.h"
#include "CounterSettings.h"
#include "CounterTagEngine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

CounterTraces tracesOf(const QList<QList<double>>& ys) {
    CounterTraces traces;
    traces.ys = ys;
    traces.xs = QList<double>(ys.constFirst().size(), 0.0);
    traces.lowest = traces.highest = ys.constFirst().constFirst();
    for (const QList<double>& values : ys) {
        for (const double value : values) {
            traces.lowest = std::min(traces.lowest, value);
            traces.highest = std::max(traces.highest, value);
        }
    }
    return traces;
}

TEST(CounterInternalHistogram, WithoutValuesHasNoBinsAndAnUsableAxis) {
    CounterTraces traces;
    traces.ys = {{}, {}};
    const CountHistogram result = countHistogram(traces, true);
    EXPECT_TRUE(result.centres.isEmpty());
    EXPECT_EQ(result.heights.size(), 2);
    EXPECT_EQ(result.xRange, (AxisRange{0.0, 1.0}));
    EXPECT_EQ(result.highest, 0.0);
    EXPECT_TRUE(countHistogram({}, false).heights.isEmpty());
}

// Whatever the values, each is in one bin, and within half a width of its centre.
TEST(CounterInternalHistogram, CountsEachValueOnce) {
    std::mt19937 random(5);
    for (const bool wholeNumbers : {true, false}) {
        for (const double spread : {0.0, 1.0, 9.0, 10.0, 123.0, 1e6, 1e15}) {
            for (const int samples : {1, 2, 50, 1000, 20000}) {
                SCOPED_TRACE(std::to_string(spread) + " " + std::to_string(samples));
                QList<QList<double>> ys(3);
                for (QList<double>& values : ys) {
                    for (int i = 0; i < samples; ++i) {
                        const double value = 7.0 + spread * std::generate_canonical<double, 53>(random);
                        values.append(wholeNumbers ? std::floor(value) : value);
                    }
                }
                const CounterTraces traces = tracesOf(ys);
                const CountHistogram result = countHistogram(traces, wholeNumbers);
                ASSERT_FALSE(result.centres.isEmpty());
                EXPECT_LE(result.centres.size(), 100);
                EXPECT_LE(result.centres.first() - 0.51 * result.binWidth, traces.lowest);
                EXPECT_GE(result.centres.last() + 0.51 * result.binWidth, traces.highest);
                EXPECT_LT(result.xRange.lo, traces.lowest);
                EXPECT_GT(result.xRange.hi, traces.highest);
                double highest = 0.0;
                for (const QList<double>& heights : result.heights) {
                    ASSERT_EQ(heights.size(), result.centres.size());
                    EXPECT_EQ(std::accumulate(heights.begin(), heights.end(), 0.0), samples);
                    highest = std::max(highest, *std::max_element(heights.begin(), heights.end()));
                }
                EXPECT_EQ(result.highest, highest);
            }
        }
    }
}

TEST(CounterInternalHistogram, LeavesOutWholeBinsBeyondTheHighestValue) {
    const CountHistogram result = countHistogram(tracesOf({{3, 5, 5, 4, 3}}), true);
    EXPECT_EQ(result.centres, (QList<double>{3, 4, 5}));
    EXPECT_EQ(result.heights, (QList<QList<double>>{{2, 1, 2}}));
    EXPECT_EQ(result.xRange, (AxisRange{2.0, 6.0}));
}

TEST(CounterInternalSettings, LimitsFollowFromWindowBinsAndIntegration) {
    CounterSettings settings;
    EXPECT_EQ(settings.historyLimit(), 100);
    EXPECT_EQ(settings.coincidenceHistoryLimit(), 100);
    settings.coincidenceHistorySeconds = 3600.0;
    settings.integrationSeconds = 60.0;
    EXPECT_EQ(settings.historyLimit(), 2);
    EXPECT_EQ(settings.coincidenceHistoryLimit(), 60);
    settings.integrationSeconds = 0.0; // below what the control allows
    EXPECT_EQ(settings.gateSeconds(), 0.001);
    EXPECT_EQ(settings.tagGateDurationPs(), 1'000'000'000);
    EXPECT_EQ(settings.coincidenceHistoryLimit(), 3'600'000);
    settings.historyMode = CounterSettings::HistoryMode::Bins;
    settings.historyBins = 1;
    EXPECT_EQ(settings.historyLimit(), 2);
    EXPECT_EQ(settings.coincidenceHistoryLimit(), 2);
}

TEST(CounterInternalSettings, ComeBackFromTheirJsonAsWhatTheyWere) {
    CounterSettings settings;
    settings.channels = {false, true, false, true};
    settings.pairs = {false, true, true, false, false, true};
    settings.offsetsNs = {1.5, -2.5, 0.0, 1e9};
    settings.split = CounterSettings::PlotSplit::Horizontal;
    settings.yAxisMode = CounterSettings::YAxisMode::Auto;
    CounterSettings other;
    other.takeJson(settings.toJson());
    EXPECT_EQ(other.toJson(), settings.toJson());
    EXPECT_EQ(other.channels, settings.channels);
    EXPECT_EQ(other.pairs, settings.pairs);
    EXPECT_EQ(other.offsetsNs, settings.offsetsNs);
    EXPECT_EQ(other.offsetsPs(), (std::array<qint64, 4>{})) << "not enabled";
    other.offsetsEnabled = true;
    EXPECT_EQ(other.offsetsPs(), (std::array<qint64, 4>{1500, -2500, 0, 1'000'000'000'000}));
}

CounterSettings withCoincidences() {
    CounterSettings settings;
    settings.coincidenceEnabled = true;
    settings.integrationSeconds = 0.001;
    return settings;
}

constexpr qint64 kGate = 1'000'000'000; // 1 ms

TEST(CounterInternalTagEngine, GivesOutEachGateOfASilence) {
    CounterTagEngine engine;
    engine.apply(withCoincidences());
    quint64 gates = 0;
    quint64 tags = 0;
    const auto count = [&](const CounterTagEngine::Gate& gate) {
        ++gates;
        tags += gate.sample.totalCount;
    };
    engine.addBatch(std::vector<UiTimeTag>{{0, 0}, {1, 5}, {2, 50'000 * kGate}}, count);
    EXPECT_EQ(gates, 50'000U);
    EXPECT_EQ(tags, 2U);
    EXPECT_EQ(engine.coincidenceHistory().size(), 10'000U) << "no more than the window holds";
    EXPECT_EQ(engine.coincidenceTraces().xs.size(), 10'000);
    EXPECT_NEAR(engine.coincidenceTraces().xs.first(), 0.001, 1e-9);
    EXPECT_NEAR(engine.coincidenceTraces().xs.last(), 10.0, 1e-9);
}

TEST(CounterInternalTagEngine, DropsWhatWasCountedBeforeAJumpBack) {
    CounterTagEngine engine;
    CounterSettings settings = withCoincidences();
    settings.coincidenceHistorySeconds = 1.0;
    engine.apply(settings);
    std::vector<CounterTagEngine::Gate> gates;
    const auto keep = [&](const CounterTagEngine::Gate& gate) { gates.push_back(gate); };
    constexpr qint64 kFar = 100'000'000'000'000;
    engine.addBatch(std::vector<UiTimeTag>{{0, kFar}, {1, kFar + 1}}, keep);
    engine.addBatch(std::vector<UiTimeTag>{{2, 0}}, keep);
    engine.addBatch(std::vector<UiTimeTag>{{3, kGate}}, keep);
    ASSERT_EQ(gates.size(), 1U);
    EXPECT_EQ(gates[0].sample.counts, (QList<quint64>{0, 0, 1, 0}));
    EXPECT_EQ(gates[0].coincidences, 0U) << "nor is the pair of the dropped gate in it";
}

TEST(CounterInternalTagEngine, AnotherGateLengthOrSourceGivesUpTheOpenGateAndOtherSettingsDoNot) {
    const auto countAfter = [](auto change) {
        CounterTagEngine engine;
        CounterSettings settings = withCoincidences();
        engine.apply(settings);
        quint64 tags = 0;
        const auto count = [&](const CounterTagEngine::Gate& gate) { tags += gate.sample.totalCount; };
        engine.addBatch(std::vector<UiTimeTag>{{0, 0}}, count);
        change(settings);
        engine.apply(settings);
        engine.addBatch(std::vector<UiTimeTag>{{1, 1000}, {1, 10 * kGate}}, count);
        return tags;
    };
    EXPECT_EQ(countAfter([](CounterSettings& settings) { settings.showStats = true; }), 2U);
    EXPECT_EQ(countAfter([](CounterSettings& settings) { settings.integrationSeconds = 0.002; }), 1U);
    EXPECT_EQ(countAfter([](CounterSettings& settings) { settings.coincidenceEnabled = false; }), 1U);
}

TEST(CounterInternalEngine, ForgetsItsSamplesOnlyForAnotherIntegration) {
    CounterEngine engine;
    UiCounterSample sample;
    sample.counts = {1, 2, 3, 4};
    sample.gateSeconds = 0.1;
    engine.add(sample);
    CounterSettings settings;
    settings.yMax = 5.0;
    EXPECT_FALSE(engine.apply(settings));
    EXPECT_EQ(engine.sampleCount(), 1U);
    settings.integrationSeconds = 0.2;
    EXPECT_TRUE(engine.apply(settings));
    EXPECT_EQ(engine.sampleCount(), 0U);
    EXPECT_EQ(engine.retainedSamples(), 0U);
    EXPECT_EQ(engine.elapsedSeconds(), 0.0);
    EXPECT_EQ(engine.statistics(3).maxCounts, 0U);
}

TEST(CounterInternalEngine, TakesAGateThatIsNoNumberAsOneIntegration) {
    CounterEngine engine;
    UiCounterSample sample;
    for (const double gate : {std::nan(""), -1.0, 0.0}) {
        sample.gateSeconds = gate;
        EXPECT_EQ(engine.add(sample).gateSeconds, 0.1);
    }
    EXPECT_NEAR(engine.elapsedSeconds(), 0.3, 1e-12);
}

} // namespace
} // namespace qorn::timetagger::gui
