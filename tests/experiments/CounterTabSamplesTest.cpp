// The Counter tab on hardware samples: traces, status, log and life cycle.
#include "CounterSampleStage.h"

#include <QSignalSpy>

#include <limits>

namespace qorn::testing {
namespace {

using timetagger::gui::UiCounterSample;
using Stage = CounterSampleStage;

// --- the trace ---------------------------------------------------------------------------------------------

TEST(CounterTrace, ShowsTheCountsOfEachInputOverTime) {
    Stage stage;
    stage.feed({1, 20, 300, 4000});
    stage.feed({5, 60, 700, 8000}, 0.3);
    const ShownPlot shown = stage.trace();
    EXPECT_EQ(shown.mode, 1);
    EXPECT_EQ(shown.labels, texts({"Ch 1", "Ch 2", "Ch 3", "Ch 4"}));
    ASSERT_EQ(shown.ys.size(), 4);
    for (const QList<double>& xs : shown.xs) {
        expectValues(xs, {0.1, 0.4});
    }
    expectValues(shown.ys[0], {1, 5});
    expectValues(shown.ys[1], {20, 60});
    expectValues(shown.ys[2], {300, 700});
    expectValues(shown.ys[3], {4000, 8000});
    EXPECT_EQ(shown.xLabel, QStringLiteral("Time (s)"));
    EXPECT_EQ(shown.yLabel, QStringLiteral("Counts / interval"));
    expectRange(xRangeOf(stage.plot("tracePlot")), 0, 10);
    expectRange(yRangeOf(stage.plot("tracePlot")), 0, 8800);
}

TEST(CounterTrace, PerSecondDividesEachValueByItsOwnGate) {
    Stage stage;
    stage.choose("rateMode", "Per second");
    stage.feed({10, 0, 0, 1}, 0.1);
    stage.feed({10, 0, 0, 1}, 0.5);
    const ShownPlot shown = stage.trace();
    EXPECT_EQ(shown.yLabel, QStringLiteral("Counts / s"));
    expectValues(shown.ys[0], {100, 20});
    expectValues(shown.ys[3], {10, 2});
    expectRange(yRangeOf(stage.plot("tracePlot")), 0, 110);
    stage.choose("rateMode", "Per interval");
    EXPECT_EQ(stage.trace().yLabel, QStringLiteral("Counts / interval"));
    expectValues(stage.trace().ys[0], {10, 10});
}

TEST(CounterTrace, ShowsTheSelectedInputsAlone) {
    Stage stage;
    stage.feed({1, 2, 3, 4});
    stage.showOnly({2, 4});
    ShownPlot shown = stage.trace();
    EXPECT_EQ(shown.labels, texts({"Ch 2", "Ch 4"}));
    ASSERT_EQ(shown.ys.size(), 2);
    expectValues(shown.ys[0], {2});
    expectValues(shown.ys[1], {4});
    stage.showOnly({});
    EXPECT_EQ(stage.trace().points(), 0);
    stage.feed({1, 2, 3, 4});
    stage.showOnly({1});
    expectValues(stage.trace().ys[0], {1, 1}, "what was hidden was kept");
}

TEST(CounterTrace, KeepsTheColourOfAnInputWhateverElseIsShown) {
    Stage stage;
    stage.feed({1, 2, 3, 4});
    QList<QColor> all;
    for (int index = 0; index < 4; ++index) {
        all.append(stage.plot("tracePlot").seriesColor(index));
        for (int earlier = 0; earlier < index; ++earlier) {
            EXPECT_NE(all[earlier], all[index]);
        }
    }
    stage.showOnly({2, 4});
    EXPECT_EQ(stage.plot("tracePlot").seriesColor(0), all[1]);
    EXPECT_EQ(stage.plot("tracePlot").seriesColor(1), all[3]);
}

TEST(CounterTrace, SlidesSoThatTheNewestSampleIsAtTheEndOfTheWindow) {
    Stage stage;
    stage.number("timeWindowSec").setValue(1.0);
    QList<quint64> values;
    for (quint64 value = 1; value <= 25; ++value) {
        values.append(value);
    }
    stage.feedFirst(values.mid(0, 10));
    ShownPlot shown = stage.trace();
    expectValues(shown.xs[0], {0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9, 1.0});
    stage.feedFirst(values.mid(10));
    shown = stage.trace();
    expectValues(shown.xs[0], {0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9, 1.0});
    expectValues(shown.ys[0], {16, 17, 18, 19, 20, 21, 22, 23, 24, 25});
    expectRange(xRangeOf(stage.plot("tracePlot")), 0, 1);
}

TEST(CounterTrace, ANarrowerWindowMovesTheRetainedSamplesToItsBeginAndAWiderLeavesThemThere) {
    Stage stage;
    stage.feedFirst(QList<quint64>(20, 1));
    expectValues(stage.trace().xs[0].mid(15), {1.6, 1.7, 1.8, 1.9, 2.0});
    stage.number("timeWindowSec").setValue(0.5);
    expectValues(stage.trace().xs[0], {0.1, 0.2, 0.3, 0.4, 0.5});
    expectRange(xRangeOf(stage.plot("tracePlot")), 0, 0.5);
    stage.number("timeWindowSec").setValue(60);
    expectValues(stage.trace().xs[0], {0.1, 0.2, 0.3, 0.4, 0.5});
    expectRange(xRangeOf(stage.plot("tracePlot")), 0, 60);
}

// A hardware gate may be longer than the integration: all that is retained is in view.
TEST(CounterTrace, GatesLongerThanTheIntegrationWidenTheAxis) {
    Stage stage;
    stage.number("timeWindowSec").setValue(1.0);
    stage.feedFirst({1, 2, 3, 4, 5, 6}, 0.5);
    expectValues(stage.trace().xs[0], {0.5, 1.0, 1.5, 2.0, 2.5, 3.0});
    expectRange(xRangeOf(stage.plot("tracePlot")), 0, 3);
    stage.feedFirst(QList<quint64>(20, 1), 0.5);
    expectValues(stage.trace().xs[0], {0.5, 1.0, 1.5, 2.0, 2.5, 3.0, 3.5, 4.0, 4.5, 5.0});
    expectRange(xRangeOf(stage.plot("tracePlot")), 0, 5);
}

TEST(CounterTrace, InBinsTheAxisIsTheIndexOfTheRetainedSample) {
    Stage stage;
    stage.choose("display", "Bins");
    stage.integer("historyBins").setValue(12);
    EXPECT_EQ(stage.trace().xLabel, QStringLiteral("Bins"));
    QList<quint64> values;
    for (quint64 value = 1; value <= 20; ++value) {
        values.append(value);
    }
    stage.feedFirst(values);
    const ShownPlot shown = stage.trace();
    expectValues(shown.xs[0], {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    expectValues(shown.ys[0], {9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20});
    expectRange(xRangeOf(stage.plot("tracePlot")), 0, 11);
    stage.choose("display", "Time (s)");
    EXPECT_EQ(stage.trace().xLabel, QStringLiteral("Time (s)"));
}

struct LimitRow {
    const char* name;
    double integration;
    double window;
    int retained;
};

void PrintTo(const LimitRow& row, std::ostream* out) {
    *out << row.name;
}

class CounterHistoryLimit : public ::testing::TestWithParam<LimitRow> {};

TEST_P(CounterHistoryLimit, FollowsFromWindowAndIntegration) {
    Stage stage;
    stage.number("integrationSec").setValue(GetParam().integration);
    stage.number("timeWindowSec").setValue(GetParam().window);
    stage.feedFirst(QList<quint64>(60, 3), GetParam().integration);
    EXPECT_EQ(stage.trace().xs[0].size(), GetParam().retained);
}

INSTANTIATE_TEST_SUITE_P(Windows, CounterHistoryLimit,
                         ::testing::Values(LimitRow{"Even", 0.1, 1.0, 10}, LimitRow{"RoundedUp", 0.3, 1.0, 4},
                                           LimitRow{"AtLeastTwo", 0.1, 0.1, 2},
                                           LimitRow{"WindowBelowTheGate", 10.0, 0.5, 2},
                                           LimitRow{"LongerThanMeasured", 0.001, 3600.0, 60}),
                         [](const auto& test) { return test.param.name; });

TEST(CounterTrace, ALowerLimitDropsTheOldestAtOnceAndAHigherBringsNothingBack) {
    Stage stage;
    stage.choose("display", "Bins");
    stage.feedFirst(QList<quint64>(50, 1));
    stage.feedFirst({7, 8});
    EXPECT_EQ(stage.trace().ys[0].size(), 52);
    stage.integer("historyBins").setValue(10);
    expectValues(stage.trace().ys[0], {1, 1, 1, 1, 1, 1, 1, 1, 7, 8});
    stage.integer("historyBins").setValue(100);
    EXPECT_EQ(stage.trace().ys[0].size(), 10);
}

struct YRow {
    const char* name;
    const char* mode;
    double yMin;
    double yMax;
    QList<quint64> values;
    double lo;
    double hi;
};

void PrintTo(const YRow& row, std::ostream* out) {
    *out << row.name;
}

class CounterYRange : public ::testing::TestWithParam<YRow> {};

TEST_P(CounterYRange, FollowsItsMode) {
    const YRow& row = GetParam();
    Stage stage;
    stage.showOnly({1});
    stage.choose("yAxisMode", row.mode);
    stage.number("yMin").setValue(row.yMin);
    stage.number("yMax").setValue(row.yMax);
    stage.feedFirst(row.values);
    expectRange(yRangeOf(stage.plot("tracePlot")), row.lo, row.hi);
}

INSTANTIATE_TEST_SUITE_P(Modes, CounterYRange,
                         ::testing::Values(YRow{"ZeroMinimum", "Zero minimum", 3, 4, {50, 100}, 0, 110},
                                           YRow{"ZeroMinimumOfNothing", "Zero minimum", 3, 4, {}, 0, 1},
                                           YRow{"ZeroMinimumOfZeros", "Zero minimum", 3, 4, {0, 0}, 0, 1},
                                           YRow{"Auto", "Auto", 3, 4, {50, 100, 75}, 46, 104},
                                           YRow{"AutoOfOneValue", "Auto", 3, 4, {50, 50}, 0, 1},
                                           YRow{"AutoOfNothing", "Auto", 3, 4, {}, 0, 1},
                                           YRow{"Custom", "Custom", -5, 12.5, {50, 100}, -5, 12.5},
                                           YRow{"CustomFiveToFive", "Custom", 5, 5, {50}, 5, 6},
                                           YRow{"CustomUpsideDown", "Custom", 7, 3, {50}, 7, 8},
                                           YRow{"CustomOfNothing", "Custom", 2, 9, {}, 2, 9}),
                         [](const auto& test) { return test.param.name; });

TEST(CounterTrace, TheYRangeIsThatOfTheInputsShown) {
    Stage stage;
    stage.feed({10, 5000, 20, 3});
    stage.showOnly({1, 3});
    expectRange(yRangeOf(stage.plot("tracePlot")), 0, 22);
    stage.choose("yAxisMode", "Auto");
    expectRange(yRangeOf(stage.plot("tracePlot")), 9.2, 20.8);
}

// --- the sample --------------------------------------------------------------------------------------------

TEST(CounterSamples, ASampleWithoutGateCountsAsOneIntegration) {
    for (const double gate : {0.0, -1.0}) {
        Stage stage;
        stage.number("integrationSec").setValue(0.25);
        stage.startLog();
        stage.feed({10, 0, 0, 0}, gate);
        EXPECT_EQ(stage.status(),
                  QStringLiteral("sample 1   gate 0.250 s   last total 10   live sum 40.0 Hz"));
        expectValues(stage.trace().xs[0], {0.25});
        const LogRows rows = stage.loggedRows();
        ASSERT_EQ(rows.size(), 1U);
        EXPECT_EQ(rows[0][1], "0.250000000");
        EXPECT_EQ(rows[0][2], "0.250000000");
    }
}

TEST(CounterSamples, MissingInputsCountAsZeroAndStrangeOnesAreNotSeen) {
    Stage stage;
    stage.startLog();
    stage.feed({7, 8});
    stage.feed({});
    stage.feed({1, 2, 3, 4, 500});
    const ShownPlot shown = stage.trace();
    expectValues(shown.ys[0], {7, 0, 1});
    expectValues(shown.ys[1], {8, 0, 2});
    expectValues(shown.ys[2], {0, 0, 3});
    expectValues(shown.ys[3], {0, 0, 4});
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[0], (LogRow{"1", "0.100000000", "0.100000000", "7", "8", "0", "0", "15", "30000000"}));
    EXPECT_EQ(rows[2][6], "4");
}

TEST(CounterSamples, TheStatusTellsSampleGateTotalAndLiveSum) {
    struct Row {
        QList<quint64> counts;
        double gate;
        const char* text;
    };
    Stage stage;
    for (const Row& row : {
             Row{{1, 2, 3, 4}, 0.1, "sample 1   gate 0.100 s   last total 10   live sum 100.0 Hz"},
             Row{{1, 0, 0, 0}, 0.0125, "sample 2   gate 0.013 s   last total 1   live sum 80.0 Hz"},
             Row{{99, 0, 0, 0}, 0.1, "sample 3   gate 0.100 s   last total 99   live sum 990.0 Hz"},
             Row{{100, 0, 0, 0}, 0.1, "sample 4   gate 0.100 s   last total 100   live sum 1000 Hz"},
             Row{{400000, 100000, 0, 11},
                 1.0,
                 "sample 5   gate 1.000 s   last total 500011   live sum 500011 Hz"},
             Row{{0, 0, 0, 0}, 2.0, "sample 6   gate 2.000 s   last total 0   live sum 0.0 Hz"},
         }) {
        stage.feed(row.counts, row.gate);
        EXPECT_EQ(stage.status(), QString::fromUtf8(row.text));
    }
}

TEST(CounterSamples, TheTotalIsThatOfTheSample) {
    Stage stage;
    UiCounterSample sample = sampleOf({1, 2, 3, 4});
    sample.totalCount = 77;
    stage.tab.onCounterSample(sample);
    EXPECT_EQ(stage.status(), QStringLiteral("sample 1   gate 0.100 s   last total 77   live sum 100.0 Hz"));
}

TEST(CounterSamples, EachIsARowOfTheLog) {
    Stage stage;
    stage.feed({9, 9, 9, 9});
    stage.startLog();
    stage.feed({1, 2, 3, 4}, 0.5);
    UiCounterSample sample = sampleOf({18446744073709551615ULL, 0, 5, 6}, 0.123456789);
    sample.totalCount = 12345678901ULL;
    sample.periodCycles = 4294967295U;
    stage.tab.onCounterSample(sample);
    EXPECT_EQ(stage.loggedRows(),
              (LogRows{{"2", "0.600000000", "0.500000000", "1", "2", "3", "4", "10", "150000000"},
                       {"3", "0.723456789", "0.123456789", "18446744073709551615", "0", "5", "6",
                        "12345678901", "4294967295"}}));
}

TEST(CounterSamples, AreOnTheDiskAtOnce) {
    Stage stage;
    stage.startLog();
    stage.feed({1, 2, 3, 4});
    EXPECT_EQ(readLog(stage.tab.currentLogPath().toStdString()).rows().size(), 1U) << "while it is open";
}

TEST(CounterSamples, TheHugestCountsDoNoHarm) {
    Stage stage;
    stage.box("showHistogram").setChecked(true);
    stage.box("showStats").setChecked(true);
    stage.box("showMaxMarkers").setChecked(true);
    constexpr quint64 kMost = std::numeric_limits<quint64>::max();
    stage.feed({kMost, 0, 1, kMost}, 1e-300);
    stage.feed({0, kMost, 1, kMost}, 1e300);
    stage.feed({kMost, kMost, 1, kMost}, std::numeric_limits<double>::infinity());
    stage.feed({kMost, kMost, 1, kMost}, std::numeric_limits<double>::quiet_NaN());
    stage.choose("rateMode", "Per second");
    stage.feed({1, 2, 3, 4});
    EXPECT_TRUE(stage.status().startsWith(QStringLiteral("sample 5 ")));
    EXPECT_FALSE(pictureOf(stage.tab).isNull());
}

// --- life cycle --------------------------------------------------------------------------------------------

TEST(CounterLifeCycle, AStartForgetsAndTellsWhatItDoes) {
    Stage stage;
    stage.feed({1, 2, 3, 4});
    stage.tab.onStart();
    EXPECT_EQ(stage.status(), QStringLiteral("acquiring tag-count trace..."));
    EXPECT_EQ(stage.trace().points(), 0);
    stage.feed({1, 2, 3, 4});
    stage.feed({1, 2, 3, 4});
    stage.tab.onStop();
    EXPECT_EQ(stage.status(), QStringLiteral("stopped after 2 sample(s)"));
    stage.box("coincidenceEnabled").setChecked(true);
    stage.tab.onStart();
    EXPECT_EQ(stage.status(), QStringLiteral("acquiring counter + coincidence trace..."));
    stage.tab.onStop();
    EXPECT_EQ(stage.status(), QStringLiteral("stopped after 0 sample(s)"));
}

TEST(CounterLifeCycle, AResumeKeepsTheSamples) {
    Stage stage;
    stage.tab.onStart();
    stage.feed({1, 2, 3, 4});
    stage.tab.onStop();
    stage.tab.onResume();
    stage.feed({1, 2, 3, 4});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 2   gate 0.100 s   last total 10   live sum 100.0 Hz"));
    expectValues(stage.trace().xs[0], {0.1, 0.2});
}

TEST(CounterLifeCycle, AResetClearsAll) {
    Stage stage;
    stage.box("showHistogram").setChecked(true);
    stage.box("showStats").setChecked(true);
    stage.box("showMaxMarkers").setChecked(true);
    stage.feed({1, 2, 3, 4});
    stage.startLog();
    stage.tab.resetMeasurement();
    EXPECT_EQ(stage.status(), QStringLiteral("cleared"));
    EXPECT_EQ(stage.trace().points(), 0);
    EXPECT_EQ(stage.histogram().points(), 0);
    EXPECT_EQ(stage.trace().statTexts, texts({"Ch 1   --", "Ch 2   --", "Ch 3   --", "Ch 4   --"}));
    EXPECT_EQ(stage.trace().markerValues, QList<double>());
    expectRange(yRangeOf(stage.plot("tracePlot")), 0, 1);
    stage.feed({5, 5, 5, 5});
    EXPECT_EQ(stage.trace().statTexts[0], QStringLiteral("Ch 1   mean 5.0   max 5   sd 0.0"));
    EXPECT_EQ(stage.loggedRows().at(0).at(0), "1");
}

TEST(CounterLifeCycle, AnotherIntegrationResetsAndSaysSoOnlyOnceCountingContinues) {
    Stage stage;
    stage.number("integrationSec").setValue(0.2);
    EXPECT_EQ(stage.status(), QStringLiteral("integration 0.200 s"));
    stage.feed({1, 2, 3, 4});
    stage.number("timeWindowSec").setValue(20);
    EXPECT_EQ(stage.status(), QStringLiteral("display updated; integration changes apply on the next start"));
    EXPECT_EQ(stage.trace().xs[0].size(), 1) << "only the integration resets";
    stage.number("integrationSec").setValue(0.5);
    EXPECT_EQ(stage.status(), QStringLiteral("integration 0.500 s"));
    EXPECT_EQ(stage.trace().points(), 0);
    stage.feed({1, 2, 3, 4});
    EXPECT_TRUE(stage.status().startsWith(QStringLiteral("sample 1 ")));
    stage.box("showStats").setChecked(true);
    EXPECT_EQ(stage.status(), QStringLiteral("display updated; integration changes apply on the next start"));
}

TEST(CounterLifeCycle, EnablingCoincidencesAsksForARestartOnlyWhileRunning) {
    Stage stage;
    const QSignalSpy restarts(&stage.tab, &timetagger::gui::ExperimentTab::restartRequested);
    stage.box("coincidenceEnabled").setChecked(true);
    EXPECT_EQ(restarts.count(), 0);
    EXPECT_EQ(stage.status(), QStringLiteral("integration 0.100 s"));
    stage.tab.setRunningState(true);
    stage.box("coincidenceEnabled").setChecked(false);
    EXPECT_EQ(restarts.count(), 1);
    stage.number("integrationSec").setValue(0.5);
    EXPECT_EQ(restarts.count(), 1) << "nothing else does";
    stage.tab.setRunningState(false);
}

} // namespace
} // namespace qorn::testing
