// The Correlation tab through its life: start, stop, resume, reset, changed settings, and its log.
#include "CorrelationTabStage.h"

namespace qorn::testing {
namespace {

using Stage = CorrelationStage;

constexpr qint64 kMicrosecondPs = 1'000'000;
const char* const kPlain = R"({"analysisMode": "None"})";

QList<UiTimeTag> tenPairs(qint64 beginPs) {
    return pairsOfTags(0, 1, beginPs, kMicrosecondPs, 100, 10);
}

QString entries(const Stage& stage) {
    EXPECT_EQ(stage.stat(2).label, QStringLiteral("Histogram entries"));
    return stage.stat(2).value;
}

TEST(CorrelationRun, RefreshesTenTimesASecondWhileItRuns) {
    Stage stage(kPlain);
    EXPECT_EQ(stage.timers(100).size(), 1);
    stage.feed(tenPairs(0));
    EXPECT_NE(stage.stat(0).value, QStringLiteral("10")) << "not per batch";
    stage.refresh();
    EXPECT_EQ(entries(stage), QStringLiteral("10"));
    stage.feed(tenPairs(kSecondPs));
    stage.pause();
    EXPECT_TRUE(stage.timers(100).isEmpty());
    EXPECT_EQ(entries(stage), QStringLiteral("10")) << "a stop renders nothing";
}

TEST(CorrelationRun, AResumeKeepsWhatWasCounted) {
    Stage stage(kPlain);
    stage.show(tenPairs(0));
    stage.pause();
    stage.resume();
    EXPECT_EQ(stage.timers(100).size(), 1);
    stage.show(tenPairs(kSecondPs));
    EXPECT_EQ(entries(stage), QStringLiteral("20"));
    EXPECT_EQ(stage.stat(0), statRow("Source tags", QStringLiteral("20")));
}

// Ten pairs in each run, whose time begins where it likes.
TEST(CorrelationRun, RatesAreOfTheTimeThatWasMeasured) {
    Stage stage(kPlain);
    stage.box("viewParameters").setChecked(true);
    stage.choose("parameterMetric", "Source rate (Hz)");
    const auto latestRate = [&] { return stage.trace().ys.value(0).value(stage.trace().points() - 1); };
    constexpr double kRate = 10 / 9.0001e-6; // to the last target
    stage.show(tenPairs(0));
    EXPECT_NEAR(latestRate(), kRate, 1.0);
    for (const qint64 begin : {kSecondPs, qint64{0}}) {
        stage.pause();
        stage.resume();
        stage.show(tenPairs(begin));
        EXPECT_NEAR(latestRate(), kRate, 1.0);
    }
    EXPECT_EQ(stage.trace().points(), 3) << "the trace goes on";
    EXPECT_EQ(stage.stat(0), statRow("Source tags", QStringLiteral("30")));
}

TEST(CorrelationRun, AStartAndAResetForgetEverything) {
    for (const bool reset : {false, true}) {
        Stage stage(kPlain);
        stage.box("viewInstant").setChecked(true);
        stage.box("viewParameters").setChecked(true);
        stage.feed({{0, 0}}); // waits for its target
        stage.show(tenPairs(kSecondPs));
        ASSERT_EQ(stage.trace().points(), 1);
        if (reset) {
            stage.tab.resetMeasurement();
        } else {
            stage.pause();
            stage.start();
        }
        EXPECT_EQ(stage.trace().points(), 0);
        for (const double y : stage.integrated().ys.value(0)) {
            EXPECT_EQ(y, 0.0);
        }
        EXPECT_LE(stage.instant().points(), 0);
        expectRange(yRangeOf(stage.plot("instantPlot")), 0, 1);
        stage.box("viewInstant").setChecked(false);
        stage.show({{1, 0}});
        EXPECT_EQ(entries(stage), QStringLiteral("0"));
        EXPECT_EQ(stage.stat(0), statRow("Source tags", QStringLiteral("0")));
        EXPECT_EQ(stage.stat(1), statRow("Target tags", QStringLiteral("1")));
    }
}

struct ChangeRow {
    const char* name;
    bool discards;
    void (*change)(Stage& stage);
};

void PrintTo(const ChangeRow& row, std::ostream* out) {
    *out << row.name;
}

class CorrelationChange : public ::testing::TestWithParam<ChangeRow> {};

TEST_P(CorrelationChange, DiscardsTheDataOrLeavesIt) {
    Stage stage(R"({"offsetMode": "None", "fitEnabled": true})");
    stage.show(tenPairs(0));
    GetParam().change(stage);
    stage.refresh();
    EXPECT_EQ(entries(stage), GetParam().discards ? QStringLiteral("0") : QStringLiteral("10"));
    EXPECT_EQ(stage.timers(100).size(), 1) << "the run goes on";
}

INSTANTIATE_TEST_SUITE_P(
    Controls, CorrelationChange,
    ::testing::Values(
        ChangeRow{"Source", true, [](Stage& stage) { stage.integer("sourceChannel").setValue(3); }},
        ChangeRow{"Target", true, [](Stage& stage) { stage.integer("targetChannel").setValue(3); }},
        ChangeRow{"HalfRange", true, [](Stage& stage) { stage.number("rangeNs").setValue(2); }},
        ChangeRow{"BinWidth", true, [](Stage& stage) { stage.number("binNs").setValue(0.02); }},
        ChangeRow{"Analysis", true, [](Stage& stage) { stage.choose("analysisMode", "None"); }},
        ChangeRow{"FitModel", true, [](Stage& stage) { stage.choose("fitMode", "Lorentzian peak"); }},
        ChangeRow{"FitTerms", true, [](Stage& stage) { stage.integer("fitTerms").setValue(2); }},
        ChangeRow{"TimeConstant", true, [](Stage& stage) { stage.number("instantWindowMs").setValue(5); }},
        ChangeRow{"OffsetMode", true, [](Stage& stage) { stage.choose("offsetMode", "Manual"); }},
        ChangeRow{"View", true, [](Stage& stage) { stage.box("viewParameters").setChecked(true); }},
        ChangeRow{"Style", false, [](Stage& stage) { stage.choose("histogram", "Bars"); }},
        ChangeRow{"YAxis", false, [](Stage& stage) { stage.choose("normalize", "g2(tau)"); }},
        ChangeRow{"ShowFit", false, [](Stage& stage) { stage.box("fitEnabled").setChecked(false); }},
        ChangeRow{"Trace", false, [](Stage& stage) { stage.choose("parameterMetric", "g2(0)"); }},
        ChangeRow{"TraceHistory", false,
                  [](Stage& stage) { stage.number("parameterHistoryS").setValue(5); }}),
    [](const auto& test) { return test.param.name; });

TEST(CorrelationRun, StyleAndAxisShowAtOnce) {
    Stage stage(kPlain);
    stage.show(tenPairs(0));
    stage.choose("normalize", "g2(tau)");
    EXPECT_EQ(stage.integrated().yLabel, QStringLiteral("g2(tau)"));
    stage.choose("histogram", "Dots");
    EXPECT_EQ(stage.integrated().mode, 2);
    stage.choose("histogram", "Bars");
    EXPECT_EQ(stage.integrated().barXs.size(), 251);
}

TEST(CorrelationRun, InputsThatDoNotExistAreIgnored) {
    Stage stage(kPlain);
    stage.feed({});
    stage.feed({{4, 0}, {255, 100}});
    stage.show(tenPairs(0));
    EXPECT_EQ(entries(stage), QStringLiteral("10"));
}

TEST(CorrelationRun, StopBeforeStartAndDeathWhileRunningDoNoHarm) {
    auto tab = std::make_unique<timetagger::gui::CorrelationTab>();
    tab->onStop();
    tab->onStart();
    tab->onTagsBatch(tenPairs(0));
    tab.reset();
    QCoreApplication::processEvents();
}

TEST(CorrelationRun, TheWidestRangeAndStrangeTimesDoNoHarm) {
    constexpr qint64 kMost = std::numeric_limits<qint64>::max();
    constexpr qint64 kLeast = std::numeric_limits<qint64>::min();
    for (
        const char* config :
        {R"({"analysisMode": "None", "rangeNs": 1e9, "binNs": 0.004})",
         R"json({"offsetMode": "Manual", "manualOffsetNs": 1e9, "rangeNs": 1e9, "normalize": "g2(tau)"})json"}) {
        Stage stage(config);
        stage.box("viewInstant").setChecked(true);
        stage.box("viewParameters").setChecked(true);
        stage.box("fitEnabled").setChecked(true);
        stage.show({{0, kMost}, {1, kMost}, {0, kLeast}, {1, kLeast}, {0, 0}, {1, 1}, {1, kMost - 5}});
        stage.show(tenPairs(0));
        EXPECT_FALSE(pictureOf(stage.tab).isNull());
    }
}

TEST(CorrelationRun, AfterATimeThatStepsBackPairsAreCountedAgain) {
    Stage stage(kPlain);
    stage.show(tenPairs(3'600 * kSecondPs));
    stage.feed(tenPairs(0));
    stage.feed(pairsOfTags(0, 1, 5'000 * kSecondPs, kMicrosecondPs, -200, 1000));
    stage.refresh();
    const QList<double> ys = stage.integrated().ys.value(0);
    ASSERT_EQ(ys.size(), 251);
    EXPECT_EQ(ys[125 - 25], 1000.0);
    EXPECT_GE(ys[125 + 13], 10.0);
    EXPECT_LE(ys[125 + 13], 20.0);
}

// --- the log -----------------------------------------------------------------------------------------------

TEST(CorrelationLog, HasARowForEachRefresh) {
    Stage stage(R"({"sourceChannel": 2, "targetChannel": 4, "rangeNs": 100000, "offsetMode": "Manual",
                    "manualOffsetNs": -1.5})");
    stage.startLog();
    stage.refresh();
    stage.show(pairsOfTags(1, 3, 0, kMicrosecondPs, 100, 10));
    stage.refresh();
    stage.choose("histogram", "Dots"); // refreshes too
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 4U);
    EXPECT_EQ(rows[0], (LogRow{"1", "0.000000000", "2", "4", "0", "0", "0", "-1500", "10000", "100000000",
                               "Peak / alignment"}));
    EXPECT_EQ(rows[1], (LogRow{"2", "0.000009000", "2", "4", "10", "10", "100", "-1500", "10000", "100000000",
                               "Peak / alignment"}));
    EXPECT_EQ(rows[3][0], "4");
}

TEST(CorrelationLog, TellsTheOffsetOnceItIsSettled) {
    Stage stage;
    stage.startLog();
    stage.show(pairsOfTags(0, 1, 0, kMicrosecondPs, 12'400, 100));
    stage.show(pairsOfTags(0, 1, kSecondPs, kMicrosecondPs, 12'400, 100));
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0], (LogRow{"1", "0.000099012", "1", "2", "100", "100", "0", "0", "8", "1000",
                               "Peak / alignment"}));
    EXPECT_EQ(rows[1], (LogRow{"2", "1.000099012", "1", "2", "200", "200", "200", "12400", "8", "1000",
                               "Peak / alignment"}));
}

TEST(CorrelationLog, ATabThatDoesNotRunWritesNothing) {
    Stage stage(kPlain);
    stage.show(tenPairs(0));
    stage.pause();
    stage.startLog();
    stage.choose("histogram", "Dots");
    stage.choose("histogram", "Line");
    stage.resume();
    stage.refresh();
    EXPECT_EQ(stage.loggedRows().size(), 1U);
}

TEST(CorrelationLog, EqualInputsWriteNothing) {
    Stage stage(R"({"targetChannel": 1})");
    stage.startLog();
    stage.refresh();
    EXPECT_TRUE(stage.loggedRows().empty());
}

TEST(CorrelationLog, AStartCountsItsSamplesFromOne) {
    Stage stage(kPlain);
    stage.startLog();
    stage.show(tenPairs(0));
    stage.show(tenPairs(kSecondPs));
    stage.pause();
    stage.start();
    stage.show(tenPairs(0));
    const LogRows rows = stage.loggedRows();
    ASSERT_GE(rows.size(), 3U);
    EXPECT_EQ(rows[0][0], "1");
    EXPECT_EQ(rows[1][0], "2");
    EXPECT_EQ(rows.back()[4], "10");
    EXPECT_LE(std::stoi(rows.back()[0]), 2) << "the rows of a run are numbered from 1";
}

TEST(CorrelationLog, NamesTheAnalysis) {
    for (const char* analysis : {"None", "Photon antibunching", "Lifetime decay fit"}) {
        Stage stage;
        stage.choose("analysisMode", analysis);
        stage.startLog();
        stage.refresh();
        const LogRows rows = stage.loggedRows();
        ASSERT_EQ(rows.size(), 1U);
        EXPECT_EQ(rows[0][10], analysis);
        EXPECT_EQ(rows[0][7], "0");
    }
}

} // namespace
} // namespace qorn::testing
