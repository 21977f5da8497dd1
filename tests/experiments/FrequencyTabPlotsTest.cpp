// What the Frequency tab's three plots show, against numbers computed here.
#include "FrequencyTabStage.h"

#include <numeric>
#include <random>

namespace qorn::testing {
namespace {

constexpr qint64 kBin = kSecondPs / 10;
// Of three bins: 998 Hz, 1 kHz and 1006 Hz, to the picosecond.
const std::vector<qint64> kPeriods{1'002'004'008, 1'000'000'000, 994'035'785};

class Stage : public FrequencyStage {
public:
    Stage() { showAllPlots(); }
    explicit Stage(double baseHz) : Stage() {
        setBase(baseHz);
        start();
    }
    void show(const QList<UiTimeTag>& tags) {
        feed(tags);
        refresh();
    }
};

QList<double> frequencies() {
    QList<double> values;
    for (const qint64 period : kPeriods) {
        values.append(1e12 / static_cast<double>(period));
    }
    return values;
}

QList<double> less(const QList<double>& values, double base) {
    QList<double> result;
    for (const double value : values) {
        result.append(value - base);
    }
    return result;
}

TEST(FrequencyPlots, ATickShowsWhatHasArrivedAndABatchDoesNot) {
    Stage stage(1000.0);
    stage.feed(pulses(0, 0, kMillisecondPs, 101));
    EXPECT_EQ(stage.frequency().points(), 0);
    stage.refresh();
    EXPECT_EQ(stage.frequency().points(), 1);
}

TEST(FrequencyPlots, TheFrequencyPlotShowsTheOffsetFromTheBase) {
    Stage stage(1000.0);
    stage.show(changingPeriods(kPeriods, kBin));
    const ShownPlot shown = stage.frequency();
    EXPECT_EQ(shown.xLabel, QStringLiteral("Time (s)"));
    EXPECT_EQ(shown.yLabel, QStringLiteral("Frequency offset (Hz)"));
    EXPECT_EQ(shown.mode, 1) << "lines";
    ASSERT_EQ(shown.labels, texts({"frequency"}));
    expectValues(shown.ys[0], less(frequencies(), 1000.0));
    // each bin's time is its own beginning and the bin's length
    const double second = 100 * 1.002004008e-3;
    expectValues(shown.xs[0], {0.1, second + 0.1, second + 0.2});
    EXPECT_EQ(shown.statTexts,
              texts({"Base: 1.000000 kHz", "Ch 1 frequency: 1.006000 kHz", "Offset: 6.000000 Hz"}));
    expectRange(xRangeOf(stage.plot("frequencyPlot")), 0, 30);
}

TEST(FrequencyPlots, WithoutABaseTheFrequencyItselfIsShown) {
    Stage stage(0.0);
    stage.show(changingPeriods(kPeriods, kBin));
    const ShownPlot shown = stage.frequency();
    EXPECT_EQ(shown.yLabel, QStringLiteral("Frequency (Hz)"));
    expectValues(shown.ys.value(0), frequencies());
    EXPECT_TRUE(shown.statTexts.contains(QStringLiteral("Set Base to show offset")));
    EXPECT_TRUE(shown.statTexts.contains(QStringLiteral("Ch 1 frequency: 1.006000 kHz")));
    EXPECT_EQ(stage.drift().statTexts, texts({"Set Base to show ppm drift"}));
    EXPECT_EQ(stage.histogram().xLabel, QStringLiteral("Period (ns)"));
}

TEST(FrequencyPlots, TheDriftPlotShowsPartsPerMillion) {
    Stage stage(1000.0);
    stage.show(changingPeriods(kPeriods, kBin));
    const ShownPlot shown = stage.drift();
    EXPECT_EQ(shown.xLabel, QStringLiteral("Time (s)"));
    EXPECT_EQ(shown.yLabel, QStringLiteral("Drift (ppm)"));
    EXPECT_EQ(shown.mode, 1);
    ASSERT_EQ(shown.labels, texts({"drift"}));
    const QList<double> offsets = less(frequencies(), 1000.0);
    ASSERT_EQ(shown.points(), 3);
    for (int bin = 0; bin < 3; ++bin) {
        EXPECT_NEAR(shown.ys[0][bin], offsets[bin] * 1000, 1e-6);
    }
    EXPECT_EQ(shown.xs, stage.frequency().xs);
    ASSERT_EQ(shown.statTexts.size(), 1);
    EXPECT_TRUE(shown.statTexts[0].startsWith(QStringLiteral("Latest drift: ")));
    EXPECT_TRUE(shown.statTexts[0].endsWith(QStringLiteral(" ppm")));
    ASSERT_EQ(numbersIn(shown.statTexts[0]).size(), 1);
    EXPECT_NEAR(numbersIn(shown.statTexts[0])[0], offsets[2] * 1000, 0.01);
}

TEST(FrequencyPlots, WhileTheBaseIsDetectedTheySaySo) {
    Stage stage;
    stage.start();
    stage.show(pulses(0, 0, kMillisecondPs, 50));
    const QString detecting = QStringLiteral("Base: detecting at start");
    EXPECT_TRUE(stage.frequency().statTexts.contains(detecting));
    EXPECT_TRUE(stage.frequency().statTexts.contains(QStringLiteral("Offset: pending")));
    EXPECT_EQ(stage.drift().statTexts, QStringList(detecting));
    stage.show(pulses(0, 50 * kMillisecondPs, kMillisecondPs, 51));
    EXPECT_EQ(stage.frequency().statTexts,
              texts({"Base: 1.000000 kHz", "Ch 1 frequency: 1.000000 kHz", "Offset: 0.000000 Hz"}));
    expectValues(stage.frequency().ys.value(0), {0.0});
    ASSERT_EQ(stage.drift().statTexts.size(), 1);
    EXPECT_EQ(numbersIn(stage.drift().statTexts[0]), QList<double>{0.0});
}

TEST(FrequencyPlots, TheInputIsNamed) {
    Stage stage;
    stage.integer("channel").setValue(4);
    stage.setBase(1e6);
    stage.start();
    stage.number("binSeconds").setValue(0.0001);
    stage.show(pulses(3, 0, 1'000'000, 101));
    EXPECT_EQ(stage.frequency().statTexts,
              texts({"Base: 1.000000 MHz", "Ch 4 frequency: 1.000000 MHz", "Offset: 0.000000 Hz"}));
}

TEST(FrequencyPlots, TheTraceSlidesThroughItsWindow) {
    Stage stage(1000.0);
    stage.integer("historyBins").setValue(10);
    stage.show(pulses(0, 0, kMillisecondPs, 301));
    expectValues(stage.frequency().xs.value(0), {0.1, 0.2, 0.3});
    expectRange(xRangeOf(stage.plot("frequencyPlot")), 0, 1);
    stage.show(pulses(0, 301 * kMillisecondPs, kMillisecondPs, 2200));
    const QList<double> expected{0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9, 1.0};
    expectValues(stage.frequency().xs.value(0), expected);
    expectValues(stage.drift().xs.value(0), expected);
    expectRange(xRangeOf(stage.plot("frequencyPlot")), 0, 1);
    expectRange(xRangeOf(stage.plot("driftPlot")), 0, 1);
}

TEST(FrequencyPlots, AShorterHistoryDropsBinsAtOnce) {
    Stage stage(1000.0);
    stage.show(pulses(0, 0, kMillisecondPs, 2501));
    EXPECT_EQ(stage.frequency().points(), 25);
    expectRange(xRangeOf(stage.plot("frequencyPlot")), 0, 30);
    stage.integer("historyBins").setValue(10);
    EXPECT_EQ(stage.frequency().points(), 10);
    EXPECT_EQ(stage.drift().points(), 10);
    stage.integer("historyBins").setValue(300);
    EXPECT_EQ(stage.frequency().points(), 10);
    expectRange(xRangeOf(stage.plot("frequencyPlot")), 0, 30);
}

TEST(FrequencyPlots, AResetEmptiesThem) {
    Stage stage(1000.0);
    stage.show(pulses(0, 0, kMillisecondPs, 500));
    EXPECT_GT(stage.frequency().points(), 0);
    stage.tab.resetMeasurement();
    EXPECT_EQ(stage.frequency().points(), 0);
    EXPECT_EQ(stage.drift().points(), 0);
    for (const double height : stage.histogram().barHeights) {
        EXPECT_EQ(height, 0.0);
    }
}

// A day of bins of a millisecond; the plot need not have each of them, but the highest and the lowest.
TEST(FrequencyPlots, ALongHistoryKeepsItsPeaks) {
    Stage stage(10'000.0);
    stage.integer("historyBins").setValue(100'000);
    stage.number("binSeconds").setValue(0.001);
    std::vector<qint64> periods(60'000, 100'000'000);
    periods[12'345] = 99'000'000;
    periods[44'444] = 101'000'000;
    stage.show(changingPeriods(periods, kMillisecondPs));
    const ShownPlot shown = stage.frequency();
    ASSERT_GT(shown.points(), 1000);
    const auto [lowest, highest] = std::minmax_element(shown.ys[0].begin(), shown.ys[0].end());
    EXPECT_NEAR(*highest, 1e12 / 99'000'000 - 10'000, 1e-6);
    EXPECT_NEAR(*lowest, 1e12 / 101'000'000 - 10'000, 1e-6);
    EXPECT_TRUE(std::is_sorted(shown.xs[0].begin(), shown.xs[0].end()));
    expectRange(xRangeOf(stage.plot("frequencyPlot")), 0, 100);
}

// --- the Y range -------------------------------------------------------------------------------------------

TEST(FrequencyYRange, FollowsItsMode) {
    Stage stage(1000.0);
    stage.show(changingPeriods(kPeriods, kBin));
    const QList<double> values = less(frequencies(), 1000.0);
    const double lowest = values[0];
    const double highest = values[2];
    const double margin = (highest - lowest) * 0.1;
    const auto& frequency = stage.plot("frequencyPlot");
    const auto& drift = stage.plot("driftPlot");
    expectRange(yRangeOf(frequency), lowest - margin, highest + margin, "auto");
    expectRange(yRangeOf(drift), (lowest - margin) * 1000, (highest + margin) * 1000, "auto drift");
    stage.choose("yAxisMode", "Zero minimum");
    expectRange(yRangeOf(frequency), 0, highest * 1.1, "zero");
    expectRange(yRangeOf(drift), 0, highest * 1100, "zero drift");
    stage.choose("yAxisMode", "Custom");
    expectRange(yRangeOf(frequency), -1, 1, "custom");
    stage.number("yMin").setValue(-3);
    stage.number("yMax").setValue(7);
    expectRange(yRangeOf(frequency), -3, 7, "custom");
    expectRange(yRangeOf(drift), -3, 7, "custom drift");
    stage.number("yMin").setValue(7);
    expectRange(yRangeOf(frequency), 7, 8, "equal limits");
    stage.number("yMin").setValue(9);
    expectRange(yRangeOf(frequency), 9, 10, "limits in the wrong order");
}

TEST(FrequencyYRange, ZeroMinimumReachesOneAtLeast) {
    Stage stage(1006.5);
    stage.choose("yAxisMode", "Zero minimum");
    stage.show(changingPeriods(kPeriods, kBin));
    expectRange(yRangeOf(stage.plot("frequencyPlot")), 0, 1, "all values are negative");
}

TEST(FrequencyYRange, ValuesThatDoNotDifferShowARangeAroundZero) {
    for (const int tags : {0, 501}) {
        Stage stage(1000.0);
        stage.show(pulses(0, 0, kMillisecondPs, tags));
        const ShownRange range = yRangeOf(stage.plot("frequencyPlot"));
        EXPECT_NEAR(range.lo, -range.hi, 1e-9);
        EXPECT_GE(range.hi, 1.0 - 1e-9);
        EXPECT_LE(range.hi, 1.2 + 1e-9);
    }
}

// --- the period histogram ----------------------------------------------------------------------------------

struct HistogramRow {
    const char* name;
    double rangeNs;
    double binPs;
    qint64 halfBins;
};

void PrintTo(const HistogramRow& row, std::ostream* out) {
    *out << row.name;
}

class PeriodHistogram : public ::testing::TestWithParam<HistogramRow> {};

// Errors of many sizes and both signs, on the edges of bins and of the range too.
std::vector<qint64> someErrors(qint64 rangePs, qint64 binPs) {
    std::vector<qint64> errors{0,       1,           -1,          binPs / 2, -binPs / 2,  (binPs + 1) / 2,
                               rangePs, rangePs + 1, rangePs - 1, -rangePs,  -rangePs - 1};
    std::mt19937_64 random(5);
    const auto span = static_cast<std::uint64_t>(std::min<qint64>(rangePs + rangePs / 5, 400'000'000));
    for (int number = 0; number < 3000; ++number) {
        const auto size = static_cast<qint64>(random() % (span + 1));
        errors.push_back(random() % 2 == 0 ? size : -size);
    }
    for (qint64& error : errors) {
        error = std::clamp<qint64>(error, -900'000'000, 900'000'000);
    }
    return errors;
}

TEST_P(PeriodHistogram, CountsEachErrorInItsBin) {
    const HistogramRow& row = GetParam();
    Stage stage(1000.0);
    stage.number("histRangeNs").setValue(row.rangeNs);
    stage.number("histBinPs").setValue(row.binPs);
    const qint64 rangePs = std::llround(row.rangeNs * 1000);
    const qint64 binPs = std::llround(row.binPs);
    const std::vector<qint64> errors = someErrors(rangePs, binPs);
    QList<UiTimeTag> tags{{0, 0}};
    QList<double> expected(2 * row.halfBins + 1, 0.0);
    for (const qint64 error : errors) {
        tags.append({0, tags.back().timePs + kMillisecondPs + error});
        const qint64 index =
            std::llround(static_cast<double>(error) / static_cast<double>(binPs)) + row.halfBins;
        if (error >= -rangePs && error <= rangePs && index >= 0 && index < expected.size()) {
            ++expected[index];
        }
    }
    stage.show(tags);
    const ShownPlot shown = stage.histogram();
    ASSERT_EQ(shown.barHeights.size(), expected.size());
    EXPECT_EQ(shown.barHeights, expected);
    QList<double> xs;
    for (qint64 index = -row.halfBins; index <= row.halfBins; ++index) {
        xs.append(static_cast<double>(index * binPs) / 1000);
    }
    expectValues(shown.barXs, xs, "x");
    EXPECT_NEAR(shown.barWidth, static_cast<double>(binPs) / 1000 * 0.92, 1e-12);
    EXPECT_EQ(shown.xLabel, QStringLiteral("Period error vs base (ns)"));
    EXPECT_EQ(shown.yLabel, QStringLiteral("Counts"));
    EXPECT_EQ(shown.statTexts, (QStringList{QStringLiteral("Periods: %1").arg(errors.size()),
                                            QStringLiteral("Bin: %1 ps").arg(binPs)}));
    expectRange(xRangeOf(stage.plot("periodPlot")), -row.rangeNs, row.rangeNs, "x range");
    const ShownRange y = yRangeOf(stage.plot("periodPlot"));
    const double highest = *std::max_element(expected.begin(), expected.end());
    EXPECT_NEAR(y.lo, 0.0, 1e-9 * y.hi);
    EXPECT_GT(y.hi, highest);
    EXPECT_LT(y.hi, highest * 1.5 + 1);
}

INSTANTIATE_TEST_SUITE_P(
    Settings, PeriodHistogram,
    ::testing::Values(HistogramRow{"Defaults", 5, 10, 500}, HistogramRow{"OddBins", 1.003, 7, 143},
                      HistogramRow{"FewerThanTwoBins", 0.001, 10, 1},
                      HistogramRow{"OneBinASide", 0.015, 10, 1}, HistogramRow{"TwoBinsASide", 0.020, 10, 2},
                      HistogramRow{"JustBelowTheMost", 49.99, 10, 4999},
                      HistogramRow{"TheMost", 50, 10, 5000}, HistogramRow{"MoreThanTheMost", 500, 10, 5000},
                      HistogramRow{"TheWidestRange", 1e9, 1e9, 1000}),
    [](const auto& test) { return test.param.name; });

TEST(FrequencyPeriodPlot, AnotherRangeCountsTheErrorsThatAreHeldAnew) {
    Stage stage(1000.0);
    stage.show({{0, 0}, {0, kMillisecondPs + 4000}, {0, 2 * kMillisecondPs + 12'000}});
    stage.number("histRangeNs").setValue(10);
    stage.number("histBinPs").setValue(1000);
    const ShownPlot shown = stage.histogram();
    ASSERT_EQ(shown.barHeights.size(), 21);
    EXPECT_EQ(shown.barHeights[14], 1.0);
    EXPECT_EQ(shown.barHeights[18], 1.0);
}

TEST(FrequencyPeriodPlot, ErrorsAreTakenFromTheDetectedPeriod) {
    Stage stage;
    stage.number("histRangeNs").setValue(1);
    stage.number("histBinPs").setValue(100);
    stage.start();
    stage.feed(pulses(0, 0, kMillisecondPs, 101));
    qint64 time = 100 * kMillisecondPs;
    QList<UiTimeTag> tags;
    for (const qint64 error : {300, 300, -500, 0}) {
        time += kMillisecondPs + error;
        tags.append({0, time});
    }
    stage.show(tags);
    const ShownPlot shown = stage.histogram();
    ASSERT_EQ(shown.barHeights.size(), 21);
    EXPECT_EQ(shown.barHeights[13], 2.0);
    EXPECT_EQ(shown.barHeights[5], 1.0);
    EXPECT_EQ(shown.barHeights[10], 1.0);
    EXPECT_EQ(std::accumulate(shown.barHeights.begin(), shown.barHeights.end(), 0.0), 4.0);
}

} // namespace
} // namespace qorn::testing
