// The Counter tab on a tag stream: gates on tag time, with and without coincidences, and the pair rates.
#include "CounterTab.h"
#include "CountingStage.h"
#include "ReferenceCoincidences.h"

#include <QTest>

#include <cmath>
#include <random>

namespace qorn::testing {
namespace {

using timetagger::gui::UiTimeTag;

constexpr qint64 kGate = kSecondPs / 10; // of the default integration
const char* const kPairNames[] = {"C 1-2", "C 1-3", "C 1-4", "C 2-3", "C 2-4", "C 3-4"};

class Stage : public CountingStage<timetagger::gui::CounterTab> {
public:
    explicit Stage(bool coincidences = false) {
        box("coincidenceEnabled").setChecked(coincidences);
        tab.onStart();
        startLog();
    }
    void setWindows(double ns) {
        number("coincidenceWindowNs").setValue(ns);
        button("applyToAll").click();
    }
    void showOnly(const QList<int>& inputs) {
        for (int input = 1; input <= 4; ++input) {
            box("channels", input).setChecked(inputs.contains(input));
        }
    }
    ShownPlot pairs() const { return shownBy(plot("coincidenceTracePlot")); }
};

// The four counts of a row of the log.
LogRow countsOf(const LogRow& row) {
    return {row.begin() + 3, row.begin() + 7};
}

// --- without coincidences ----------------------------------------------------------------------------------

TEST(CounterTags, AGateOpensWithTheFirstTagAndATagOnItsEndBelongsToTheNext) {
    Stage stage;
    const qint64 begin = 123'456'789;
    stage.tab.onTagsBatch({{0, begin}, {1, begin + 5}, {0, begin + kGate - 1}});
    EXPECT_EQ(stage.status(), QStringLiteral("acquiring tag-count trace...")) << "no gate has ended";
    stage.tab.onTagsBatch({{2, begin + kGate}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 1   gate 0.100 s   tags 3"));
    stage.tab.onTagsBatch({{3, begin + 2 * kGate}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 2   gate 0.100 s   tags 1"));
    EXPECT_EQ(stage.loggedRows(),
              (LogRows{{"1", "0.100000000", "0.100000000", "2", "1", "0", "0", "3", "30000000"},
                       {"2", "0.200000000", "0.100000000", "0", "0", "1", "0", "1", "30000000"}}));
}

TEST(CounterTags, EmptyGatesArePublishedOnceTheNextTagArrives) {
    for (const bool coincidences : {false, true}) {
        Stage stage(coincidences);
        stage.tab.onTagsBatch({{0, 0}, {0, 1}});
        stage.tab.onTagsBatch({{1, 5 * kGate + 7}});
        const LogRows rows = stage.loggedRows();
        ASSERT_EQ(rows.size(), 5U) << coincidences;
        EXPECT_EQ(countsOf(rows[0]), (LogRow{"2", "0", "0", "0"}));
        for (std::size_t empty = 1; empty < 5; ++empty) {
            EXPECT_EQ(countsOf(rows[empty]), (LogRow{"0", "0", "0", "0"}));
            EXPECT_EQ(rows[empty][0], std::to_string(empty + 1));
        }
        expectValues(shownBy(stage.plot("tracePlot")).ys[0], {2, 0, 0, 0, 0});
    }
}

TEST(CounterTags, OnlySelectedInputsCountAndMoveTheGate) {
    Stage stage;
    stage.showOnly({2});
    stage.tab.onTagsBatch({{0, 0}, {1, kGate / 2}, {0, kGate / 2 + 1}, {0, kGate + kGate / 4}});
    stage.tab.onTagsBatch({{3, 20 * kGate}});
    EXPECT_FALSE(stage.status().startsWith(QStringLiteral("sample")));
    stage.tab.onTagsBatch({{1, kGate + kGate / 2}});
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(countsOf(rows[0]), (LogRow{"0", "1", "0", "0"}));
}

TEST(CounterTags, InputsThatDoNotExistAreDropped) {
    for (const bool coincidences : {false, true}) {
        Stage stage(coincidences);
        stage.tab.onTagsBatch({});
        stage.tab.onTagsBatch({{4, 0}, {200, 1}});
        stage.tab.onTagsBatch({{0, kGate / 2}, {4, 5 * kGate}, {0, kGate}});
        EXPECT_TRUE(stage.loggedRows().empty()) << "not even as time";
    }
}

TEST(CounterTags, WithoutCoincidencesNoOffsetIsApplied) {
    Stage stage;
    stage.box("coincidenceOffsetsEnabled").setChecked(true);
    stage.number("coincidenceOffsetsNs", 1).setValue(1e9);
    stage.tab.onTagsBatch({{0, 0}, {1, 10}, {0, kGate}});
    ASSERT_EQ(stage.loggedRows().size(), 1U);
}

TEST(CounterTags, ALongGateSaturatesItsPeriodAndKeepsItsSeconds) {
    Stage stage;
    stage.number("integrationSec").setValue(60);
    stage.tab.onTagsBatch({{0, 0}, {0, 60 * kSecondPs}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 1   gate 60.000 s   tags 1"));
    EXPECT_EQ(stage.loggedRows(),
              (LogRows{{"1", "60.000000000", "60.000000000", "1", "0", "0", "0", "1", "4294967295"}}));
}

TEST(CounterTags, ThePeriodIsThatOfAHardwareSampleOfTheSameLength) {
    Stage stage;
    stage.number("integrationSec").setValue(0.033);
    stage.tab.onTagsBatch({{0, 0}, {0, kSecondPs}});
    EXPECT_EQ(stage.loggedRows().at(0).back(), "9900000");
}

TEST(CounterTags, AResumedGateStartsEmpty) {
    for (const bool coincidences : {false, true}) {
        Stage stage(coincidences);
        stage.tab.onTagsBatch({{0, 0}, {0, 1}, {0, 2}});
        stage.tab.onStop();
        stage.tab.onResume();
        stage.tab.onTagsBatch({{1, kGate / 2}, {1, kGate}, {2, kGate + kGate / 2}});
        const LogRows rows = stage.loggedRows();
        ASSERT_EQ(rows.size(), 1U) << coincidences;
        EXPECT_EQ(countsOf(rows[0]), (LogRow{"0", "2", "0", "0"})) << coincidences;
    }
}

TEST(CounterTags, AStartForgetsTheOpenGate) {
    for (const bool coincidences : {false, true}) {
        Stage stage(coincidences);
        stage.tab.onTagsBatch({{0, 0}, {0, 1}});
        stage.tab.onStart();
        stage.tab.onTagsBatch({{1, kGate / 2}, {1, kGate + 1}});
        EXPECT_TRUE(stage.loggedRows().empty());
        stage.startLog();
        stage.tab.onTagsBatch({{1, 2 * kGate}});
        EXPECT_EQ(countsOf(stage.loggedRows().at(0)), (LogRow{"0", "2", "0", "0"}));
    }
}

TEST(CounterTags, AnotherIntegrationGivesUpTheOpenGate) {
    for (const bool coincidences : {false, true}) {
        Stage stage(coincidences);
        stage.tab.onTagsBatch({{0, 0}, {0, 1}});
        stage.number("integrationSec").setValue(0.2);
        stage.tab.onTagsBatch({{1, kGate}, {1, 3 * kGate - 1}, {1, 3 * kGate}});
        const LogRows rows = stage.loggedRows();
        ASSERT_EQ(rows.size(), 1U);
        EXPECT_EQ(countsOf(rows[0]), (LogRow{"0", "2", "0", "0"}));
    }
}

TEST(CounterTags, AJumpOfTheTimeAxisIsNoRunOfEmptyGates) {
    for (const bool coincidences : {false, true}) {
        Stage stage(coincidences);
        stage.tab.onTagsBatch({{0, 0}, {0, 1}});
        // Behind the jump a new gate begins; the one before has ended.
        const qint64 far = 400'000 * kGate;
        stage.tab.onTagsBatch({{1, far}, {1, far + 1}, {1, far + kGate}});
        // What was counted in a gate before a jump back is in no gate.
        stage.tab.onTagsBatch({{2, 0}, {2, 1}, {2, 2}, {2, kGate}});
        const LogRows rows = stage.loggedRows();
        ASSERT_EQ(rows.size(), 3U) << coincidences;
        EXPECT_EQ(countsOf(rows[0]), (LogRow{"2", "0", "0", "0"}));
        EXPECT_EQ(countsOf(rows[1]), (LogRow{"0", "2", "0", "0"}));
        EXPECT_EQ(countsOf(rows[2]), (LogRow{"0", "0", "3", "0"}));
    }
}

TEST(CounterTags, ASilenceOfManyGatesIsShownAndLoggedInFull) {
    for (const bool coincidences : {false, true}) {
        Stage stage(coincidences);
        stage.box("showHistogram").setChecked(true);
        stage.number("integrationSec").setValue(0.001);
        stage.tab.onTagsBatch({{0, 0}});
        stage.tab.onTagsBatch({{0, 100 * kSecondPs}});
        EXPECT_TRUE(stage.status().startsWith(QStringLiteral("sample 100000   gate 0.001 s   tags 0")));
        EXPECT_EQ(stage.loggedRows().size(), 100000U);
    }
}

TEST(CounterTags, HardwareSamplesAndTagsTakeOnePath) {
    Stage stage;
    stage.box("showStats").setChecked(true);
    stage.box("showMaxMarkers").setChecked(true);
    stage.tab.onTagsBatch({{0, 0}, {0, 1}, {0, 2}, {2, 3}, {0, kGate}});
    EXPECT_EQ(shownBy(stage.plot("tracePlot")).statTexts[0],
              QStringLiteral("Ch 1   mean 3.0   max 3   sd 0.0"));
    expectValues(shownBy(stage.plot("tracePlot")).markerValues, {3, 1});
}

// --- with coincidences -------------------------------------------------------------------------------------

TEST(CounterCoincidences, TheStatusCountsThePairsOfTheGate) {
    Stage stage(true);
    stage.tab.onTagsBatch({{0, 0}, {1, 9999}, {2, 1'000'000}, {3, 1'010'000}, {3, kGate}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 1   gate 0.100 s   tags 4   coincidences 2"));
    stage.tab.onTagsBatch({{0, 2 * kGate}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 2   gate 0.100 s   tags 1   coincidences 0"));
}

TEST(CounterCoincidences, TheStatusSumsTheSelectedPairsAlone) {
    Stage stage(true);
    for (int pair = 2; pair <= 6; ++pair) {
        stage.box("coincidencePairs", pair).setChecked(false);
    }
    stage.tab.onTagsBatch({{0, 0}, {1, 1}, {2, 2}, {3, 3}, {0, kGate}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 1   gate 0.100 s   tags 4   coincidences 1"));
}

TEST(CounterCoincidences, TagsOfInputsThatAreNotShownCountInTheSampleAndInThePairs) {
    Stage stage(true);
    stage.showOnly({1});
    stage.tab.onTagsBatch({{0, 0}, {3, 1}, {2, kGate}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 1   gate 0.100 s   tags 2   coincidences 1"));
    EXPECT_EQ(countsOf(stage.loggedRows().at(0)), (LogRow{"1", "0", "0", "1"}));
}

TEST(CounterCoincidences, AWindowOfZeroMatchesOnlyEqualTimes) {
    Stage stage(true);
    stage.setWindows(0.0);
    stage.tab.onTagsBatch({{0, 100}, {1, 100}, {2, 1000}, {3, 1001}, {3, 100 + kGate}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 1   gate 0.100 s   tags 4   coincidences 1"));
    expectValues(stage.pairs().ys[0], {10});
    expectValues(stage.pairs().ys[5], {0});
}

TEST(CounterCoincidences, AWindowHoldsItsOwnLengthToThePicosecond) {
    struct Row {
        double ns;
        qint64 matches; // the longest distance that does
    };
    for (const Row& row : {Row{10.0, 10000}, Row{0.001, 1}, Row{0.0004, 0}, Row{0.0005, 1},
                           Row{2.499999, 2500}, Row{1e9, kSecondPs}}) {
        Stage stage(true);
        stage.number("integrationSec").setValue(60);
        stage.setWindows(row.ns);
        stage.tab.onTagsBatch(
            {{0, 0}, {1, row.matches}, {0, 10 * kSecondPs}, {1, 10 * kSecondPs + row.matches + 1}});
        stage.tab.onTagsBatch({{2, 60 * kSecondPs}});
        EXPECT_TRUE(stage.status().endsWith(QStringLiteral("   coincidences 1")))
            << row.ns << ": " << stage.status().toStdString();
    }
}

TEST(CounterCoincidences, EachPairHasAWindowOfItsOwn) {
    Stage stage(true);
    for (int pair = 1; pair <= 6; ++pair) {
        stage.number("coincidencePairWindowsNs", pair).setValue(pair);
    }
    const int kInputs[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};
    QList<UiTimeTag> tags;
    qint64 time = 0;
    for (int pair = 0; pair < 6; ++pair) {
        for (const qint64 distance : {1000 * (pair + 1), 1000 * (pair + 1) + 1}) {
            tags.append({static_cast<quint8>(kInputs[pair][0]), time});
            tags.append({static_cast<quint8>(kInputs[pair][1]), time + distance});
            time += 1'000'000;
        }
    }
    tags.append({0, kGate});
    stage.tab.onTagsBatch(tags);
    for (int pair = 0; pair < 6; ++pair) {
        expectValues(stage.pairs().ys[pair], {10}, kPairNames[pair]);
    }
}

TEST(CounterCoincidences, OffsetsMoveTagsWhenTheyAreEnabled) {
    Stage stage(true);
    stage.setWindows(0.0);
    stage.number("coincidenceOffsetsNs", 1).setValue(5.0);
    stage.number("coincidenceOffsetsNs", 3).setValue(-0.001);
    const QList<UiTimeTag> tags{{0, 0}, {1, 5000}, {2, 5001}};
    stage.tab.onTagsBatch(tags);
    stage.tab.onTagsBatch({{3, kGate}});
    EXPECT_TRUE(stage.status().endsWith(QStringLiteral("   coincidences 0")));
    stage.tab.onStart();
    stage.box("coincidenceOffsetsEnabled").setChecked(true);
    stage.tab.onTagsBatch(tags);
    stage.tab.onTagsBatch({{3, 5000 + kGate}});
    EXPECT_TRUE(stage.status().endsWith(QStringLiteral("   coincidences 3"))) << stage.status().toStdString();
}

TEST(CounterCoincidences, TheGateWalksOnTimesWithOffsets) {
    Stage stage(true);
    stage.box("coincidenceOffsetsEnabled").setChecked(true);
    stage.number("coincidenceOffsetsNs", 2).setValue(50e6); // half a gate
    stage.tab.onTagsBatch({{0, 0}, {1, kGate / 2 - 1}, {1, kGate / 2}});
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(countsOf(rows[0]), (LogRow{"1", "1", "0", "0"}));
}

TEST(CounterCoincidences, APairCountsInTheGateOfItsLaterTag) {
    Stage stage(true);
    stage.tab.onTagsBatch({{0, 0}, {0, kGate - 1}});
    stage.tab.onTagsBatch({{1, kGate}, {2, 2 * kGate}});
    EXPECT_TRUE(stage.status().endsWith(QStringLiteral("   coincidences 1")));
    expectValues(stage.pairs().ys[0], {0, 10});
}

TEST(CounterCoincidences, BatchesAreSortedAndContinueEachOther) {
    Stage stage(true);
    stage.tab.onTagsBatch({{1, 30000}, {0, 0}, {0, 25000}}); // in order 0, 25000 and 30000
    stage.tab.onTagsBatch({{2, 33000}, {3, kGate}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 1   gate 0.100 s   tags 4   coincidences 3"));
}

// --- the trace of rates ------------------------------------------------------------------------------------

TEST(CounterPairTrace, ShowsTheRateOfEachSelectedPair) {
    Stage stage(true);
    EXPECT_EQ(stage.pairs().points(), 0);
    expectRange(yRangeOf(stage.plot("coincidenceTracePlot")), 0, 1);
    stage.tab.onTagsBatch({{0, 0}, {1, 1}, {2, 2}, {0, kGate}, {1, kGate + 1}, {3, 2 * kGate}});
    const ShownPlot shown = stage.pairs();
    EXPECT_EQ(shown.mode, 1);
    EXPECT_EQ(shown.labels, texts({"C 1-2", "C 1-3", "C 1-4", "C 2-3", "C 2-4", "C 3-4"}));
    const QList<QList<double>> rates{{10, 10}, {10, 0}, {0, 0}, {10, 0}, {0, 0}, {0, 0}};
    ASSERT_EQ(shown.ys.size(), 6);
    for (int pair = 0; pair < 6; ++pair) {
        expectValues(shown.ys[pair], rates[pair], kPairNames[pair]);
        expectValues(shown.xs[pair], {0.1, 0.2}, kPairNames[pair]);
    }
    EXPECT_EQ(shown.xLabel, QStringLiteral("Time (s)"));
    EXPECT_EQ(shown.yLabel, QStringLiteral("Coincidence rate (Hz)"));
    const ShownRange range = yRangeOf(stage.plot("coincidenceTracePlot"));
    EXPECT_NEAR(range.lo, 0.0, 1e-6);
    EXPECT_GE(range.hi, 10.0);
}

TEST(CounterPairTrace, KeepsTheColourOfAPairWhateverElseIsShown) {
    Stage stage(true);
    stage.tab.onTagsBatch({{0, 0}, {0, kGate}});
    QList<QColor> all;
    for (int pair = 0; pair < 6; ++pair) {
        all.append(stage.plot("coincidenceTracePlot").seriesColor(pair));
        for (int earlier = 0; earlier < pair; ++earlier) {
            EXPECT_NE(all[earlier], all[pair]);
        }
    }
    stage.box("coincidencePairs", 1).setChecked(false);
    stage.box("coincidencePairs", 4).setChecked(false);
    EXPECT_EQ(stage.pairs().labels, texts({"C 1-3", "C 1-4", "C 2-4", "C 3-4"}));
    EXPECT_EQ(stage.plot("coincidenceTracePlot").seriesColor(0), all[1]);
    EXPECT_EQ(stage.plot("coincidenceTracePlot").seriesColor(3), all[5]);
}

TEST(CounterPairTrace, KeepsAsManySamplesAsItsWindowHolds) {
    Stage stage(true);
    stage.number("coincidenceHistorySec").setValue(1.0);
    QList<UiTimeTag> tags;
    for (qint64 gate = 0; gate <= 30; ++gate) {
        tags.append({0, gate * kGate});
        if (gate < 30 && gate >= 25) {
            tags.append({1, gate * kGate + 1});
        }
    }
    stage.tab.onTagsBatch(tags);
    expectValues(stage.pairs().ys[0], {0, 0, 0, 0, 0, 10, 10, 10, 10, 10});
    const QList<double> xs = stage.pairs().xs[0];
    for (qsizetype index = 1; index < xs.size(); ++index) {
        EXPECT_NEAR(xs[index] - xs[index - 1], 0.1, 1e-9);
    }
    const ShownRange range = xRangeOf(stage.plot("coincidenceTracePlot"));
    EXPECT_GE(range.hi, xs.last() - 1e-6) << "the newest is in view";
    EXPECT_LE(range.lo, xs.first() + 1e-6);
    stage.choose("display", "Bins");
    stage.integer("historyBins").setValue(10);
    stage.number("coincidenceHistorySec").setValue(3600);
    tags.clear();
    for (qint64 gate = 31; gate <= 60; ++gate) {
        tags.append({0, gate * kGate});
    }
    stage.tab.onTagsBatch(tags);
    EXPECT_EQ(stage.pairs().ys[0].size(), 10) << "in bins the number of bins";
}

TEST(CounterPairTrace, IsEmptiedByAResetAndAStart) {
    Stage stage(true);
    stage.tab.onTagsBatch({{0, 0}, {1, 1}, {0, kGate}});
    EXPECT_EQ(stage.pairs().points(), 6);
    stage.tab.resetMeasurement();
    EXPECT_EQ(stage.status(), QStringLiteral("cleared"));
    EXPECT_EQ(stage.pairs().points(), 0);
    expectRange(yRangeOf(stage.plot("coincidenceTracePlot")), 0, 1);
    stage.tab.onTagsBatch({{0, 10 * kGate}, {1, 10 * kGate + 1}, {0, 11 * kGate}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 1   gate 0.100 s   tags 2   coincidences 1"));
    stage.tab.onStart();
    EXPECT_EQ(stage.pairs().points(), 0);
}

TEST(CounterPairTrace, SettingsChangedWhileRunningRestartTheOpenGate) {
    Stage stage(true);
    stage.tab.setRunningState(true);
    stage.tab.onTagsBatch({{0, 0}, {1, 1}, {0, kGate}, {1, kGate + 1}});
    EXPECT_EQ(stage.pairs().ys[0].size(), 1);
    stage.number("coincidencePairWindowsNs", 1).setValue(1.0);
    stage.tab.onTagsBatch({{2, kGate + kGate / 2}, {3, 2 * kGate + kGate / 2}});
    EXPECT_EQ(countsOf(stage.loggedRows().at(1)), (LogRow{"0", "0", "1", "0"})) << "of the new gate alone";
    EXPECT_TRUE(stage.status().endsWith(QStringLiteral("   coincidences 0")));
    stage.tab.setRunningState(false);
}

// --- against the definition --------------------------------------------------------------------------------

// A random stream in batches; every row of the log and every rate as the slow reference gives them.
TEST(CounterCoincidences, ARandomStreamIsCountedAsTheDefinitionSays) {
    ReferenceCoincidences reference;
    reference.ties = ReferenceCoincidences::Ties::Channel;
    reference.windowsPs = {5000, 10000, 0, 20000, 7000, 3000};
    reference.offsetsPs = {0, 12000, -4000, 500};
    Stage stage(true);
    stage.number("integrationSec").setValue(0.001);
    for (int pair = 1; pair <= 6; ++pair) {
        const auto window = static_cast<double>(reference.windowsPs[static_cast<std::size_t>(pair - 1)]);
        stage.number("coincidencePairWindowsNs", pair).setValue(window / 1000);
    }
    stage.box("coincidenceOffsetsEnabled").setChecked(true);
    for (int input = 1; input <= 4; ++input) {
        const auto offset = static_cast<double>(reference.offsetsPs[static_cast<std::size_t>(input - 1)]);
        stage.number("coincidenceOffsetsNs", input).setValue(offset / 1000);
    }
    std::mt19937_64 random(99);
    constexpr qint64 kShortGate = kSecondPs / 1000;
    qint64 time = 0;
    for (int batch = 0; batch < 40; ++batch) {
        QList<UiTimeTag> tags;
        for (int number = 0; number < 200; ++number) {
            // Mostly close neighbours, now and then a gap; one in fifty gaps is longer than a gate.
            time += random() % 4 == 0 ? static_cast<qint64>(random() % 10'000'000)
                                      : static_cast<qint64>(random() % 8) * 1000;
            time += random() % 400 == 0 ? 2 * kShortGate : 0;
            tags.append({static_cast<quint8>(random() % 4), time});
        }
        stage.tab.onTagsBatch(tags);
        reference.addBatch(tags);
    }
    const auto& events = reference.events();
    const LogRows rows = stage.loggedRows();
    const ShownPlot shown = stage.pairs();
    ASSERT_GT(rows.size(), 20U);
    const auto plotted = static_cast<std::size_t>(shown.ys[0].size());
    ASSERT_EQ(plotted, rows.size()) << "the trace window holds all";
    std::size_t first = 0;
    quint64 pairs = 0;
    for (std::size_t gate = 0; gate < rows.size(); ++gate) {
        const qint64 end = events[0].timePs + static_cast<qint64>(gate + 1) * kShortGate;
        std::size_t last = first;
        while (last < events.size() && events[last].timePs < end) {
            ++last;
        }
        const auto counts = reference.counts(first, last);
        for (std::size_t input = 0; input < 4; ++input) {
            ASSERT_EQ(rows[gate][3 + input], std::to_string(counts.singles[input])) << "gate " << gate;
        }
        for (std::size_t pair = 0; pair < 6; ++pair) {
            ASSERT_NEAR(shown.ys[static_cast<qsizetype>(pair)][static_cast<qsizetype>(gate)],
                        static_cast<double>(counts.pairs[pair]) * 1000, 1e-6)
                << "gate " << gate << ", pair " << pair;
        }
        pairs += counts.pairSum;
        first = last;
    }
    EXPECT_GT(pairs, 500U);
}

} // namespace
} // namespace qorn::testing
