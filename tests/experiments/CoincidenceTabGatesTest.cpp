// The Coincidence tab at work: gates of the hardware and gates counted from tags, in table, plots, log and
// status.
#include "CoincidenceStage.h"
#include "ReferenceCoincidences.h"

#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace qorn::testing {
namespace {

using timetagger::gui::BarChartWidget;
using timetagger::gui::UiCoincidenceSample;
using timetagger::gui::UiTimeTag;

constexpr qint64 kGate = kSecondPs; // of the default setting

class Stage : public CoincidenceStage {
public:
    Stage() {
        tab.onStart();
        startLog();
    }
    // What the status tells: sample, gate, window, total. Fails the test when it tells something else.
    QList<double> told() const {
        static const QRegularExpression form(
            QStringLiteral("^sample (\\d+)   gate ([0-9.]+) s   window ([0-9.]+) ns   total (\\d+)$"));
        const auto match = form.match(status());
        EXPECT_TRUE(match.hasMatch()) << status().toStdString();
        return {match.captured(1).toDouble(), match.captured(2).toDouble(), match.captured(3).toDouble(),
                match.captured(4).toDouble()};
    }
};

UiCoincidenceSample someSample(double gate = 0.5) {
    UiCoincidenceSample sample;
    sample.singles = {1000, 2000, 3000, 500};
    sample.pairs = {61, 62, 63, 64, 65, 66};
    sample.triples = {71, 72, 73, 74};
    sample.quadruple = 8;
    sample.totalCount = 61 + 62 + 63 + 64 + 65 + 66;
    sample.gateSeconds = gate;
    return sample;
}

// The fifteen counts of a row of the log.
LogRow countsOf(const LogRow& row) {
    return {row.begin() + 4, row.end()};
}

LogRow textsOf(const std::vector<quint64>& counts) {
    LogRow row;
    for (const quint64 count : counts) {
        row.push_back(std::to_string(count));
    }
    return row;
}

// --- gates of the hardware ---------------------------------------------------------------------------------

TEST(CoincidenceSamples, FillTheTable) {
    Stage stage;
    stage.tab.onCoincidenceSample(someSample());
    const QStringList counts = texts(
        {"1000", "2000", "3000", "500", "61", "62", "63", "64", "65", "66", "71", "72", "73", "74", "8"});
    EXPECT_EQ(stage.column(kLastCount), counts);
    EXPECT_EQ(stage.column(kAccumulated), counts);
    EXPECT_EQ(stage.column(kRate), texts({"2000", "4000", "6000", "1000", "122.0", "124.0", "126.0", "128.0",
                                          "130.0", "132.0", "142.0", "144.0", "146.0", "148.0", "16.0"}));
    UiCoincidenceSample next;
    next.singles = {1, 0, 0, 499};
    next.gateSeconds = 0.5;
    stage.tab.onCoincidenceSample(next);
    EXPECT_EQ(stage.column(kLastCount),
              texts({"1", "0", "0", "499", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0"}));
    EXPECT_EQ(stage.cell(0, kAccumulated), QStringLiteral("1001"));
    EXPECT_EQ(stage.cell(3, kAccumulated), QStringLiteral("999"));
    EXPECT_EQ(stage.cell(14, kAccumulated), QStringLiteral("8"));
    EXPECT_EQ(stage.cell(0, kRate), QStringLiteral("2.0"));
    EXPECT_EQ(stage.cell(3, kRate), QStringLiteral("998.0"));
}

TEST(CoincidenceSamples, AreRowsOfTheLogAndTellTheWindowControl) {
    Stage stage;
    stage.number("windowNs").setValue(12.5); // the pairs' own stay at 3.333
    stage.tab.onCoincidenceSample(someSample());
    EXPECT_EQ(stage.told(), (QList<double>{1, 0.5, 12.5, 381}));
    stage.tab.onCoincidenceSample(someSample(0.25));
    EXPECT_EQ(stage.told(), (QList<double>{2, 0.25, 12.5, 381}));
    const LogRow counts = textsOf({1000, 2000, 3000, 500, 61, 62, 63, 64, 65, 66, 71, 72, 73, 74, 8});
    LogRow first{"1", "0.500000000", "0.500000000", "12.500000"};
    LogRow second{"2", "0.750000000", "0.250000000", "12.500000"};
    first.insert(first.end(), counts.begin(), counts.end());
    second.insert(second.end(), counts.begin(), counts.end());
    EXPECT_EQ(stage.loggedRows(), (LogRows{first, second}));
}

TEST(CoincidenceSamples, TheTotalIsTheSumOfThePairs) {
    Stage stage;
    UiCoincidenceSample sample = someSample();
    sample.totalCount = 6500; // of the singles, say
    stage.tab.onCoincidenceSample(sample);
    EXPECT_EQ(stage.told().value(3), 381);
}

TEST(CoincidenceSamples, WithoutALengthLastAsLongAsTheGateOfTheSettings) {
    for (const double gate : {0.0, -1.0}) {
        Stage stage;
        stage.number("gateSec").setValue(2.0);
        stage.tab.onCoincidenceSample(someSample(gate));
        EXPECT_EQ(stage.told().value(1), 2.0);
        EXPECT_EQ(stage.cell(4, kRate), QStringLiteral("30.5"));
        EXPECT_EQ(stage.loggedRows().at(0).at(2), "2.000000000");
    }
}

TEST(CoincidenceSamples, ShortListsAreFilledWithZerosAndLongOnesCut) {
    Stage stage;
    UiCoincidenceSample sample;
    sample.singles = {1, 2};
    sample.pairs = {3};
    sample.triples = {};
    sample.quadruple = 4;
    sample.gateSeconds = 1.0;
    stage.tab.onCoincidenceSample(sample);
    sample.singles = {1, 2, 3, 4, 99};
    sample.pairs = {1, 2, 3, 4, 5, 6, 99};
    sample.triples = {1, 2, 3, 4, 99};
    stage.tab.onCoincidenceSample(sample);
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(countsOf(rows[0]), textsOf({1, 2, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4}));
    EXPECT_EQ(countsOf(rows[1]), textsOf({1, 2, 3, 4, 1, 2, 3, 4, 5, 6, 1, 2, 3, 4, 4}));
}

TEST(CoincidenceSamples, AreOnTheDiskAtOnce) {
    Stage stage;
    stage.tab.onCoincidenceSample(someSample());
    EXPECT_EQ(readLog(stage.tab.currentLogPath().toStdString()).rows().size(), 1U) << "while it is open";
}

// --- plots -------------------------------------------------------------------------------------------------

TEST(CoincidenceHistogram, HasABarForEachPairAtItsRate) {
    Stage stage;
    stage.tab.onCoincidenceSample(someSample());
    const ShownPlot shown = stage.histogram();
    EXPECT_EQ(shown.mode, 0);
    EXPECT_DOUBLE_EQ(shown.barWidth, 0.55);
    expectValues(shown.barXs, {0, 1, 2, 3, 4, 5});
    expectValues(shown.barHeights, {122, 124, 126, 128, 130, 132});
    expectRange(yRangeOf(stage.plot("histogramPlot")), 0, 132 * 1.15);
    const ShownRange range = xRangeOf(stage.plot("histogramPlot"));
    EXPECT_LE(range.lo, -0.275) << "whole bars";
    EXPECT_GE(range.hi, 5.275);
    stage.tab.onCoincidenceSample({});
    expectRange(yRangeOf(stage.plot("histogramPlot")), 0, 1, "nothing");
}

TEST(CoincidenceHistogram, NamesThePairsBelowTheirBars) {
    Stage stage;
    stage.tab.onCoincidenceSample(someSample());
    auto& plot = stage.plot("histogramPlot");
    BarChartWidget expected;
    expected.setStyleSheet(plot.styleSheet());
    expected.resize(plot.size());
    const ShownRange range = xRangeOf(plot);
    expected.setXRange(std::round(range.lo * 1e6) / 1e6, std::round(range.hi * 1e6) / 1e6);
    expected.setXTickLabels({0, 1, 2, 3, 4, 5}, texts({"1-2", "1-3", "1-4", "2-3", "2-4", "3-4"}));
    expected.setAxisLabels(QStringLiteral("pair"), QStringLiteral("coincidence rate (Hz)"));
    // The strip below the axis shows the same texts at the same places.
    const QRect strip(static_cast<int>(plot.plotRect().left()),
                      static_cast<int>(plot.plotRect().bottom()) + 2,
                      static_cast<int>(plot.plotRect().width()),
                      plot.height() - static_cast<int>(plot.plotRect().bottom()) - 3);
    ASSERT_GT(strip.height(), 10);
    EXPECT_TRUE(pictureOf(plot).copy(strip) == pictureOf(expected).copy(strip));
    expected.setXTickLabels({0, 1, 2, 3, 4, 5}, texts({"1-2", "1-3", "1-4", "2-3", "2-4", "3-3"}));
    EXPECT_FALSE(pictureOf(plot).copy(strip) == pictureOf(expected).copy(strip));
}

TEST(CoincidenceTrace, ShowsThePairRatesOverTime) {
    Stage stage;
    stage.box("showTrace").setChecked(true);
    stage.tab.onCoincidenceSample(someSample());
    stage.tab.onCoincidenceSample(someSample(1.0));
    stage.tab.onCoincidenceSample({});
    const ShownPlot shown = stage.trace();
    EXPECT_EQ(shown.mode, 1);
    EXPECT_EQ(shown.labels, texts({"1-2", "1-3", "1-4", "2-3", "2-4", "3-4"}));
    ASSERT_EQ(shown.ys.size(), 6);
    for (int pair = 0; pair < 6; ++pair) {
        expectValues(shown.ys[pair], {2.0 * (61 + pair), 1.0 * (61 + pair), 0.0});
        EXPECT_EQ(shown.xs[pair], shown.xs[0]);
    }
    EXPECT_NEAR(shown.xs[0][1] - shown.xs[0][0], 1.0, 1e-9);
    EXPECT_NEAR(shown.xs[0][2] - shown.xs[0][1], 1.0, 1e-9) << "a gate of the settings";
    EXPECT_GE(yRangeOf(stage.plot("coincidenceTracePlot")).hi, 132.0);
}

TEST(CoincidenceTrace, HoldsTheLastSecondsOfTheTraceHistory) {
    Stage stage;
    stage.box("showTrace").setChecked(true);
    stage.number("traceHistorySec").setValue(5.0);
    UiCoincidenceSample sample;
    sample.gateSeconds = 1.0;
    for (quint64 number = 1; number <= 20; ++number) {
        sample.pairs = {number, 0, 0, 0, 0, 0};
        stage.tab.onCoincidenceSample(sample);
    }
    const ShownPlot shown = stage.trace();
    EXPECT_EQ(shown.ys[0].last(), 20);
    EXPECT_GE(shown.ys[0].size(), 5);
    EXPECT_LE(shown.ys[0].size(), 6) << "the ends of five seconds";
    const ShownRange range = xRangeOf(stage.plot("coincidenceTracePlot"));
    EXPECT_GE(range.hi, shown.xs[0].last() - 1e-6);
    EXPECT_NEAR(range.hi - range.lo, 5.0, 1e-6);
    stage.number("traceHistorySec").setValue(2.0);
    EXPECT_LE(stage.trace().ys[0].size(), 3) << "at once";
}

TEST(CoincidenceTrace, KeepsItsHistoryWhileALongerOneIsTyped) {
    Stage stage;
    stage.box("showTrace").setChecked(true);
    for (int sample = 0; sample < 20; ++sample) {
        stage.tab.onCoincidenceSample(someSample(1.0));
    }
    QDoubleSpinBox& history = stage.number("traceHistorySec");
    history.selectAll();
    QTest::keyClicks(&history, QStringLiteral("120"));
    QTest::keyClick(&history, Qt::Key_Return);
    EXPECT_EQ(history.value(), 120.0);
    EXPECT_EQ(stage.trace().xs.value(0).size(), 20) << "1 and 12 s were on the way";
}

TEST(CoincidenceTrace, HasWhatWasMeasuredWhileItWasHidden) {
    Stage stage;
    stage.tab.onCoincidenceSample(someSample());
    stage.tab.onCoincidenceSample(someSample());
    stage.box("showTrace").setChecked(true);
    EXPECT_EQ(stage.trace().ys.value(0).size(), 2);
}

// --- gates counted from tags -------------------------------------------------------------------------------

TEST(CoincidenceTags, AGateOpensWithTheFirstTagAndATagOnItsEndBelongsToTheNext) {
    Stage stage;
    const qint64 begin = 123'456'789;
    stage.tab.onTagsBatch({{0, begin}, {1, begin + 5}, {0, begin + kGate - 1}});
    EXPECT_FALSE(stage.status().startsWith(QStringLiteral("sample"))) << "no gate has ended";
    stage.tab.onTagsBatch({{2, begin + kGate}});
    EXPECT_EQ(stage.told(), (QList<double>{1, 1.0, 3.333, 1}));
    stage.tab.onTagsBatch({{3, begin + 2 * kGate}});
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(countsOf(rows[0]), textsOf({2, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(countsOf(rows[1]), textsOf({0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(rows[1][1], "2.000000000");
}

TEST(CoincidenceTags, AGapOfThreeAndAHalfGatesPublishesThreeOfWhichTheLastTwoAreEmpty) {
    Stage stage;
    stage.tab.onTagsBatch({{0, 0}, {0, 1}});
    stage.tab.onTagsBatch({{1, 3 * kGate + kGate / 2}});
    EXPECT_EQ(stage.told().value(0), 3);
    EXPECT_EQ(stage.cell(0, kLastCount), QStringLiteral("0")) << "the table shows the latest gate";
    EXPECT_EQ(stage.cell(0, kAccumulated), QStringLiteral("2"));
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(countsOf(rows[0])[0], "2");
    EXPECT_EQ(countsOf(rows[1]), LogRow(15, "0"));
    EXPECT_EQ(countsOf(rows[2]), LogRow(15, "0"));
}

TEST(CoincidenceTags, TagsOfAFifthInputAreIgnoredAlsoForTheGateClock) {
    Stage stage;
    stage.tab.onTagsBatch({});
    stage.tab.onTagsBatch({{4, 0}});
    stage.tab.onTagsBatch({{0, kGate / 2}, {4, 2 * kGate}, {200, 3 * kGate}, {0, kGate}});
    EXPECT_TRUE(stage.loggedRows().empty());
}

struct CountRow {
    const char* name;
    double windowNs;
    QList<UiTimeTag> tags;
    std::vector<quint64> counts;
};

void PrintTo(const CountRow& row, std::ostream* out) {
    *out << row.name;
}

class CoincidenceCountRows : public ::testing::TestWithParam<CountRow> {};

TEST_P(CoincidenceCountRows, AreCountedInOneGate) {
    Stage stage;
    stage.setPairWindows(GetParam().windowNs);
    stage.tab.onTagsBatch(GetParam().tags);
    const qint64 begin =
        std::min_element(GetParam().tags.begin(), GetParam().tags.end(), [](const auto& a, const auto& b) {
            return a.timePs < b.timePs;
        })->timePs;
    stage.tab.onTagsBatch({{0, begin + kGate}});
    EXPECT_EQ(countsOf(stage.loggedRows().at(0)), textsOf(GetParam().counts));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, CoincidenceCountRows,
    ::testing::Values(
        CountRow{"OneInputNeverPairs",
                 10,
                 {{1, 0}, {1, 0}, {1, 5}},
                 {0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        CountRow{"AtTheWindow", 10, {{0, 0}, {2, 10000}}, {1, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        CountRow{
            "OnePicosecondMore", 10, {{0, 0}, {2, 10001}}, {1, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        CountRow{"OnlyTheLatestOfAnInput",
                 10,
                 {{0, 0}, {0, 1000}, {1, 5000}},
                 {2, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        CountRow{
            "AllFour", 10, {{3, 0}, {2, 1}, {1, 2}, {0, 3}}, {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}},
        CountRow{"ATripleInAChain", // 1 and 3 are too far apart
                 10,
                 {{0, 0}, {1, 6000}, {2, 12000}},
                 {1, 1, 1, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0}},
        CountRow{"EqualTimesInOrderOfArrival", // the second event of input 1 finds input 2 as well
                 0.001,
                 {{0, 7}, {1, 7}, {0, 7}},
                 {2, 1, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        CountRow{"ABatchOutOfOrder",
                 0.001,
                 {{1, 20000}, {0, 50000}, {2, 20001}, {3, 49999}},
                 {1, 1, 1, 1, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0}}),
    [](const auto& test) { return test.param.name; });

TEST(CoincidenceTags, APairAcrossBatchesAndGatesCountsWithItsLaterTag) {
    Stage stage;
    stage.tab.onTagsBatch({{0, 0}, {0, kGate - 1}});
    stage.tab.onTagsBatch({{1, kGate}});
    stage.tab.onTagsBatch({{1, 2 * kGate}});
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(countsOf(rows[0])[4], "0");
    EXPECT_EQ(countsOf(rows[1])[4], "1");
}

TEST(CoincidenceTags, OffsetsMoveTagsWhenTheyAreEnabled) {
    for (const bool enabled : {false, true}) {
        Stage stage;
        stage.setPairWindows(0.001);
        stage.number("offsetNs", 1).setValue(5.0);
        stage.number("offsetNs", 3).setValue(-0.002);
        stage.box("offsetsEnabled").setChecked(enabled);
        stage.tab.onTagsBatch({{0, 0}, {1, 5000}, {2, 5002}});
        stage.tab.onTagsBatch({{3, 2 * kGate}});
        EXPECT_EQ(stage.told().value(0), enabled ? 1 : 2) << "the gate begins at the moved tag";
        EXPECT_EQ(stage.cell(10, kAccumulated), enabled ? QStringLiteral("1") : QStringLiteral("0"));
    }
}

TEST(CoincidenceTags, EachPairHasAWindowOfItsOwn) {
    Stage stage;
    const int kInputs[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};
    QList<UiTimeTag> tags;
    qint64 time = 0;
    for (int pair = 0; pair < 6; ++pair) {
        stage.number("pairWindowsNs", pair + 1).setValue(pair + 1);
        for (const qint64 distance : {1000 * (pair + 1), 1000 * (pair + 1) + 1}) {
            tags.append({static_cast<quint8>(kInputs[pair][0]), time});
            tags.append({static_cast<quint8>(kInputs[pair][1]), time + distance});
            time += 1'000'000;
        }
    }
    tags.append({0, kGate});
    stage.tab.onTagsBatch(tags);
    EXPECT_EQ(stage.column(kLastCount).mid(4, 6), texts({"1", "1", "1", "1", "1", "1"}));
}

TEST(CoincidenceTags, AResumedGateStartsEmpty) {
    Stage stage;
    stage.tab.onTagsBatch({{0, 0}, {0, 1}, {1, 2}});
    stage.tab.onStop();
    stage.tab.onResume();
    stage.tab.onTagsBatch({{1, kGate / 2}, {1, kGate}, {2, kGate + kGate / 2}});
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 1U) << "its gate begins with the first tag after the pause";
    EXPECT_EQ(countsOf(rows[0]), textsOf({0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(CoincidenceTags, AStopDoesNotPublishAPartialGate) {
    Stage stage;
    stage.tab.onTagsBatch({{0, 0}, {1, 1}});
    stage.tab.onStop();
    EXPECT_EQ(stage.status(), QStringLiteral("stopped after 0 sample(s)"));
    EXPECT_TRUE(stage.loggedRows().empty());
}

TEST(CoincidenceTags, AJumpOfTheTimeAxisIsNoRunOfEmptyGates) {
    Stage stage;
    stage.number("gateSec").setValue(0.1);
    constexpr qint64 kShort = kSecondPs / 10;
    stage.tab.onTagsBatch({{0, 0}, {0, 1}});
    const qint64 far = 400'000 * kShort;
    stage.tab.onTagsBatch({{1, far}, {1, far + 1}, {1, far + kShort}});
    stage.tab.onTagsBatch({{2, 0}, {2, 1}, {2, 2}, {2, kShort}}); // back: the open gate is lost
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(countsOf(rows[0])[0], "2");
    EXPECT_EQ(countsOf(rows[1])[1], "2");
    EXPECT_EQ(countsOf(rows[2])[2], "3");
    EXPECT_EQ(countsOf(rows[2])[1], "0");
}

TEST(CoincidenceTags, ASilenceOfManyGatesIsShownAndLoggedInFull) {
    Stage stage;
    stage.box("showTrace").setChecked(true);
    stage.number("gateSec").setValue(0.01);
    stage.tab.onTagsBatch({{0, 0}});
    stage.tab.onTagsBatch({{0, 1000 * kSecondPs}});
    EXPECT_EQ(stage.told().value(0), 100000);
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 100000U);
    EXPECT_NEAR(std::stod(rows.back()[1]), 1000.0, 1e-6);
}

// --- life cycle --------------------------------------------------------------------------------------------

TEST(CoincidenceLifeCycle, AStartForgetsAndTellsWhatItDoes) {
    Stage stage;
    for (const bool hardware : {true, false}) {
        stage.tab.onCoincidenceSample(someSample());
        stage.tab.setHardwareMode(hardware);
        stage.tab.onStart();
        EXPECT_EQ(stage.status(), hardware ? QStringLiteral("acquiring hardware coincidences...")
                                           : QStringLiteral("acquiring coincidences from the tag stream..."));
        EXPECT_EQ(stage.cell(0, kAccumulated), QStringLiteral("0"));
        EXPECT_EQ(stage.trace().points(), 0);
        stage.tab.onCoincidenceSample(someSample());
        EXPECT_EQ(stage.told().value(0), 1);
        stage.tab.onCoincidenceSample(someSample());
        stage.tab.onStop();
        EXPECT_EQ(stage.status(), QStringLiteral("stopped after 2 sample(s)"));
    }
}

TEST(CoincidenceLifeCycle, AResumeKeepsTheSums) {
    Stage stage;
    stage.tab.onCoincidenceSample(someSample());
    stage.tab.onStop();
    stage.tab.onResume();
    stage.tab.onCoincidenceSample(someSample());
    EXPECT_EQ(stage.told().value(0), 2);
    EXPECT_EQ(stage.cell(0, kAccumulated), QStringLiteral("2000"));
}

TEST(CoincidenceLifeCycle, AResetClearsWithoutStopping) {
    Stage stage;
    stage.box("showTrace").setChecked(true);
    stage.tab.onTagsBatch({{0, 0}, {1, 1}, {0, kGate}, {1, kGate + 1}});
    stage.tab.resetMeasurement();
    EXPECT_EQ(stage.column(kAccumulated), QStringList(15, QStringLiteral("0")));
    EXPECT_EQ(stage.column(kLastCount), QStringList(15, QStringLiteral("0")));
    EXPECT_EQ(stage.trace().points(), 0);
    expectRange(yRangeOf(stage.plot("histogramPlot")), 0, 1);
    EXPECT_FALSE(stage.number("gateSec").isEnabled()) << "it runs on";
    stage.tab.onTagsBatch({{2, kGate + kGate / 2}, {2, 2 * kGate + kGate / 2}});
    EXPECT_EQ(stage.told(), (QList<double>{1, 1.0, 3.333, 0}));
    EXPECT_EQ(stage.cell(0, kAccumulated), QStringLiteral("0"));
    EXPECT_EQ(stage.cell(2, kAccumulated), QStringLiteral("1"));
}

TEST(CoincidenceLifeCycle, TheHugestCountsDoNoHarm) {
    Stage stage;
    stage.box("showTrace").setChecked(true);
    constexpr quint64 kMost = std::numeric_limits<quint64>::max();
    UiCoincidenceSample sample;
    sample.singles = {kMost, kMost, kMost, kMost};
    sample.pairs = {kMost, kMost, kMost, kMost, kMost, kMost};
    for (const double gate :
         {1e-300, 1e300, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        sample.gateSeconds = gate;
        stage.tab.onCoincidenceSample(sample);
    }
    EXPECT_EQ(stage.cell(0, kLastCount), QStringLiteral("18446744073709551615"));
    EXPECT_FALSE(pictureOf(stage.tab).isNull());
}

// --- against the definition --------------------------------------------------------------------------------

// A random stream in batches; every count of every gate as the slow reference gives it.
TEST(CoincidenceTags, ARandomStreamIsCountedAsTheDefinitionSays) {
    ReferenceCoincidences reference;
    reference.windowsPs = {5000, 10000, 9000, 20000, 7000, 3000};
    reference.offsetsPs = {0, 12000, -4000, 500};
    Stage stage;
    stage.number("gateSec").setValue(0.01);
    stage.box("offsetsEnabled").setChecked(true);
    for (int pair = 1; pair <= 6; ++pair) {
        const auto window = static_cast<double>(reference.windowsPs[static_cast<std::size_t>(pair - 1)]);
        stage.number("pairWindowsNs", pair).setValue(window / 1000);
    }
    for (int input = 1; input <= 4; ++input) {
        const auto offset = static_cast<double>(reference.offsetsPs[static_cast<std::size_t>(input - 1)]);
        stage.number("offsetNs", input).setValue(offset / 1000);
    }
    std::mt19937_64 random(77);
    constexpr qint64 kShort = kSecondPs / 100;
    qint64 time = 5'000'000;
    for (int batch = 0; batch < 40; ++batch) {
        QList<UiTimeTag> tags;
        for (int number = 0; number < 200; ++number) {
            time += random() % 4 == 0 ? static_cast<qint64>(random() % 100'000'000)
                                      : static_cast<qint64>(random() % 8) * 1000;
            time += random() % 400 == 0 ? 2 * kShort : 0;
            tags.append({static_cast<quint8>(random() % 5), time});
        }
        stage.tab.onTagsBatch(tags);
        reference.addBatch(tags);
    }
    const auto& events = reference.events();
    const LogRows rows = stage.loggedRows();
    ASSERT_GT(rows.size(), 20U);
    std::size_t first = 0;
    quint64 quadruples = 0;
    for (std::size_t gate = 0; gate < rows.size(); ++gate) {
        const qint64 end = events[0].timePs + static_cast<qint64>(gate + 1) * kShort;
        std::size_t last = first;
        while (last < events.size() && events[last].timePs < end) {
            ++last;
        }
        const auto counts = reference.counts(first, last);
        std::vector<quint64> expected(counts.singles.begin(), counts.singles.end());
        expected.insert(expected.end(), counts.pairs.begin(), counts.pairs.end());
        expected.insert(expected.end(), counts.triples.begin(), counts.triples.end());
        expected.push_back(counts.quadruple);
        ASSERT_EQ(countsOf(rows[gate]), textsOf(expected)) << "gate " << gate;
        quadruples += counts.quadruple;
        first = last;
    }
    EXPECT_GT(quadruples, 10U);
}

} // namespace
} // namespace qorn::testing
