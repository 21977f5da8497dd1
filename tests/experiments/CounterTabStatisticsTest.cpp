// The Counter tab on hardware samples: statistics, markers of the best values, and the histogram.
#include "CounterSampleStage.h"

#include <algorithm>
#include <cmath>

namespace qorn::testing {
namespace {

using Stage = CounterSampleStage;

// --- statistics and markers --------------------------------------------------------------------------------

TEST(CounterStatistics, AreShownOnDemandWithALineForEachInput) {
    Stage stage;
    stage.feed({10, 0, 999, 100000});
    stage.feed({20, 0, 1000, 100002});
    EXPECT_EQ(stage.trace().statTexts, QStringList());
    stage.box("showStats").setChecked(true);
    EXPECT_EQ(stage.trace().statTexts,
              texts({"Ch 1   mean 15.0   max 20   sd 5.0", "Ch 2   mean 0.0   max 0   sd 0.0",
                     "Ch 3   mean 999.5   max 1000   sd 0.5", "Ch 4   mean 100001   max 100002   sd 1.0"}));
    EXPECT_EQ(stage.trace().statColors, (QList<QColor>{QColor(0xd7, 0xba, 0x7d), QColor(0x9c, 0xdc, 0xfe),
                                                       QColor(0xce, 0x91, 0x78), QColor(0xb5, 0xce, 0xa8)}));
    stage.feed({3000, 0, 0, 0});
    EXPECT_EQ(stage.trace().statTexts[0], QStringLiteral("Ch 1   mean 1010   max 3000   sd 1407"));
    stage.box("showStats").setChecked(false);
    EXPECT_EQ(stage.trace().statTexts, QStringList());
}

TEST(CounterStatistics, WithoutSamplesAreDashes) {
    Stage stage;
    stage.showOnly({2, 3});
    stage.box("showStats").setChecked(true);
    EXPECT_EQ(stage.trace().statTexts, texts({"Ch 2   --", "Ch 3   --"}));
}

TEST(CounterStatistics, AreThoseOfTheSelectedInputs) {
    Stage stage;
    stage.box("showStats").setChecked(true);
    stage.feed({1, 2, 3, 4});
    stage.showOnly({4});
    EXPECT_EQ(stage.trace().statTexts, texts({"Ch 4   mean 4.0   max 4   sd 0.0"}));
    EXPECT_EQ(stage.trace().statColors.size(), 1);
}

TEST(CounterStatistics, GoOverAllSamplesNotOnlyTheRetained) {
    Stage stage;
    stage.box("showStats").setChecked(true);
    stage.showOnly({1});
    stage.choose("display", "Bins");
    stage.integer("historyBins").setValue(10);
    stage.feedFirst({1000});
    stage.feedFirst(QList<quint64>(99, 0));
    EXPECT_EQ(stage.trace().ys[0].size(), 10);
    EXPECT_EQ(stage.trace().statTexts, texts({"Ch 1   mean 10.0   max 1000   sd 99.5"}));
}

TEST(CounterStatistics, AreOfCountsInEitherRateMode) {
    Stage stage;
    stage.box("showStats").setChecked(true);
    stage.showOnly({1});
    stage.choose("rateMode", "Per second");
    stage.feedFirst({30, 50}, 0.5);
    EXPECT_EQ(stage.trace().statTexts, texts({"Ch 1   mean 40.0   max 50   sd 10.0"}));
}

TEST(CounterMarkers, StandAtTheBestValueOfEachInputThatHasOne) {
    Stage stage;
    stage.feed({10, 0, 30, 5}, 0.1);
    stage.feed({8, 0, 40, 5}, 0.05);
    EXPECT_EQ(stage.trace().markerValues, QList<double>());
    stage.box("showMaxMarkers").setChecked(true);
    EXPECT_EQ(stage.trace().markerLabels, texts({"Ch 1 max", "Ch 3 max", "Ch 4 max"}));
    expectValues(stage.trace().markerValues, {10, 40, 5});
    stage.choose("rateMode", "Per second");
    expectValues(stage.trace().markerValues, {160, 800, 100}, "the best rate is another sample's");
    stage.showOnly({1, 2});
    EXPECT_EQ(stage.trace().markerLabels, texts({"Ch 1 max"}));
    expectValues(stage.trace().markerValues, {160});
    stage.box("showMaxMarkers").setChecked(false);
    EXPECT_EQ(stage.trace().markerValues, QList<double>());
    EXPECT_EQ(stage.trace().markerLabels, QStringList());
}

TEST(CounterMarkers, ResetMaxClearsTheBestValuesAndLeavesMeanAndDeviation) {
    Stage stage;
    stage.box("showMaxMarkers").setChecked(true);
    stage.box("showStats").setChecked(true);
    stage.showOnly({1});
    stage.feedFirst({10, 20});
    stage.button("resetMax").click();
    EXPECT_EQ(stage.trace().statTexts, texts({"Ch 1   mean 15.0   max 0   sd 5.0"}));
    EXPECT_EQ(stage.trace().markerValues, QList<double>());
    EXPECT_EQ(stage.trace().ys[0].size(), 2) << "the trace stays";
    stage.feedFirst({15});
    EXPECT_EQ(stage.trace().statTexts, texts({"Ch 1   mean 15.0   max 15   sd 4.1"}));
    expectValues(stage.trace().markerValues, {15});
}

// --- the histogram -----------------------------------------------------------------------------------------

// The bins of a shown histogram: evenly spaced, the same for each series.
struct Bins {
    QList<double> centres;
    double width = 1.0;
};

Bins binsOf(const ShownPlot& shown) {
    Bins bins;
    EXPECT_FALSE(shown.xs.isEmpty());
    for (const QList<double>& xs : shown.xs) {
        EXPECT_EQ(xs, shown.xs.constFirst()) << "inputs share their bins";
    }
    bins.centres = shown.xs.value(0);
    if (bins.centres.size() > 1) {
        bins.width = bins.centres[1] - bins.centres[0];
    }
    for (qsizetype bin = 1; bin < bins.centres.size(); ++bin) {
        EXPECT_NEAR(bins.centres[bin] - bins.centres[bin - 1], bins.width, 1e-6 * bins.width);
    }
    return bins;
}

// How many of the values lie in each bin; the last one holds its upper end.
QList<double> heightsOf(const QList<double>& values, const Bins& bins) {
    QList<double> heights(bins.centres.size(), 0.0);
    for (const double value : values) {
        const double place = std::floor((value - bins.centres[0]) / bins.width + 0.5 + 1e-9);
        const auto bin = std::clamp<qsizetype>(static_cast<qsizetype>(place), 0, heights.size() - 1);
        heights[bin] += 1.0;
    }
    return heights;
}

TEST(CounterHistogram, HidesAndShowsWhatTheTraceShows) {
    Stage stage;
    stage.box("showHistogram").setChecked(true);
    stage.feed({1, 2, 3, 4});
    ShownPlot shown = stage.histogram();
    EXPECT_EQ(shown.mode, 1);
    EXPECT_EQ(shown.labels, texts({"Ch 1", "Ch 2", "Ch 3", "Ch 4"}));
    stage.showOnly({3});
    shown = stage.histogram();
    EXPECT_EQ(shown.labels, texts({"Ch 3"}));
    expectValues(shown.xs[0], {3});
    expectValues(shown.ys[0], {1});
}

TEST(CounterHistogram, OneValueIsOneBinOfWidthOneAroundIt) {
    Stage stage;
    stage.box("showHistogram").setChecked(true);
    stage.showOnly({1});
    stage.feedFirst(QList<quint64>(7, 42));
    const ShownPlot shown = stage.histogram();
    expectValues(shown.xs[0], {42});
    expectValues(shown.ys[0], {7});
    expectRange(xRangeOf(stage.plot("histogramPlot")), 41, 43);
    expectRange(yRangeOf(stage.plot("histogramPlot")), 0, 7.7);
}

TEST(CounterHistogram, CountsHaveBinsOfAWholeWidthThatHoldEveryValue) {
    struct Row {
        int samples;
        quint64 spread;
        int mostBins;
    };
    for (const Row& row : {Row{5, 3, 10}, Row{50, 9, 10}, Row{50, 10, 10}, Row{50, 1000, 10}, Row{99, 12, 10},
                           Row{100, 5000, 10}, Row{101, 5000, 11}, Row{400, 19, 20}, Row{400, 12345, 20},
                           Row{3000, 100000, 55}}) {
        SCOPED_TRACE(std::to_string(row.samples) + " samples over " + std::to_string(row.spread));
        Stage stage;
        stage.box("showHistogram").setChecked(true);
        stage.choose("display", "Bins");
        stage.integer("historyBins").setValue(10000);
        stage.showOnly({1, 2});
        QList<double> first;
        QList<double> second;
        for (int number = 0; number < row.samples - 2; ++number) {
            const auto value = static_cast<quint64>(number) * 7919 % (row.spread + 1);
            stage.feed({100 + value, 100 + value * value % (row.spread + 1), 1, 999999});
            first.append(static_cast<double>(100 + value));
            second.append(static_cast<double>(100 + value * value % (row.spread + 1)));
        }
        for (const quint64 end : {quint64{100}, 100 + row.spread}) { // both ends occur
            stage.feed({end, end, 0, 0});
            first.append(static_cast<double>(end));
            second.append(static_cast<double>(end));
        }
        stage.tab.onStop(); // long histories may be shown a little later
        const ShownPlot shown = stage.histogram();
        const Bins bins = binsOf(shown);
        EXPECT_EQ(bins.width, std::round(bins.width));
        EXPECT_LE(bins.centres.size(), row.mostBins);
        // No wider than it takes to hold all whole numbers from the lowest to the highest.
        EXPECT_EQ(bins.width, std::ceil(static_cast<double>(row.spread + 1) / row.mostBins));
        EXPECT_LE(bins.centres.first() - bins.width / 2, 100.0);
        EXPECT_GE(bins.centres.last() + bins.width / 2, 100.0 + static_cast<double>(row.spread));
        expectValues(shown.ys[0], heightsOf(first, bins), "input 1");
        expectValues(shown.ys[1], heightsOf(second, bins), "input 2");
        expectRange(xRangeOf(stage.plot("histogramPlot")), bins.centres.first() - bins.width,
                    bins.centres.last() + bins.width, "half a bin around all bins");
    }
}

TEST(CounterHistogram, RatesHavePlainBinsFromTheLowestToTheHighest) {
    Stage stage;
    stage.box("showHistogram").setChecked(true);
    stage.choose("rateMode", "Per second");
    stage.showOnly({1});
    QList<double> values;
    for (int number = 0; number < 60; ++number) {
        const auto count = static_cast<quint64>(100 + number * 37 % 24);
        stage.feedFirst({count}, 0.3);
        values.append(static_cast<double>(count) / 0.3);
    }
    stage.number("timeWindowSec").setValue(100);
    const ShownPlot shown = stage.histogram();
    const Bins bins = binsOf(shown);
    const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
    EXPECT_EQ(bins.centres.size(), 10);
    EXPECT_NEAR(bins.width, (*highest - *lowest) / 10, 1e-9);
    EXPECT_NEAR(bins.centres.first() - bins.width / 2, *lowest, 1e-9);
    expectValues(shown.ys[0], heightsOf(values, bins));
    expectRange(xRangeOf(stage.plot("histogramPlot")), bins.centres.first() - bins.width,
                bins.centres.last() + bins.width);
}

TEST(CounterHistogram, ItsYRangeFollowsTheModeOfTheYAxis) {
    Stage stage;
    stage.box("showHistogram").setChecked(true);
    stage.showOnly({1});
    stage.feedFirst(QList<quint64>(20, 5));
    auto& plot = stage.plot("histogramPlot");
    expectRange(yRangeOf(plot), 0, 22, "zero minimum");
    stage.choose("yAxisMode", "Auto");
    expectRange(yRangeOf(plot), 0, 23, "auto");
    stage.choose("yAxisMode", "Custom");
    stage.number("yMin").setValue(5);
    stage.number("yMax").setValue(5);
    expectRange(yRangeOf(plot), 5, 6, "custom");
    stage.choose("yAxisMode", "Zero minimum");
    stage.tab.resetMeasurement();
    expectRange(yRangeOf(plot), 0, 1, "nothing");
    EXPECT_EQ(stage.histogram().points(), 0);
}

} // namespace
} // namespace qorn::testing
