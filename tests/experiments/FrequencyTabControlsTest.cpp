// The Frequency tab as it stands: controls, plots, what it asks of an acquisition, and its settings in
// configuration files.
#include "FrequencyTabStage.h"

#include <QSignalSpy>

namespace qorn::testing {
namespace {

using timetagger::gui::AcquisitionRequest;
using Stage = FrequencyStage;

TEST(FrequencyControls, AnswersWhatTheBaseAsks) {
    const Stage stage;
    EXPECT_EQ(stage.tab.experimentType(), QStringLiteral("Frequency"));
    EXPECT_EQ(stage.tab.plotWidget(), &stage.plot("frequencyPlot"));
    EXPECT_TRUE(stage.tab.supportsLogging());
    EXPECT_TRUE(stage.tab.requiresTagStreaming());
    EXPECT_TRUE(stage.tab.sharesTagStream());
    EXPECT_EQ(stage.tab.logFileStem(), QStringLiteral("Frequency"));
    EXPECT_EQ(stage.tab.logFileExtension(), QStringLiteral("csv"));
    EXPECT_EQ(stage.tab.logCsvHeader(),
              texts({"sample", "time_s", "channel", "tags_in_bin", "tag_span_s", "frequency_hz", "base_hz",
                     "drift_ppm", "first_timestamp_ps", "last_timestamp_ps"}));
}

TEST(FrequencyControls, AsksForTheTagStream) {
    const Stage stage;
    const AcquisitionRequest request = stage.tab.acquisitionRequest(true);
    EXPECT_EQ(request.kind, AcquisitionRequest::Kind::TagStream);
    EXPECT_STREQ(request.detailText, "frequency (%1, %2)");
    EXPECT_EQ(request.batchSize, 65536);
    EXPECT_EQ(request.maxUiTagsPerSecond, 16'000'000);
    EXPECT_FALSE(request.fixedRateHz.has_value());
}

TEST(FrequencyControls, TheMaskIsThatOfTheInput) {
    const Stage stage;
    for (int input = 1; input <= 4; ++input) {
        stage.integer("channel").setValue(input);
        EXPECT_EQ(stage.tab.channelMask(), 1 << (input - 1));
    }
}

TEST(FrequencyControls, SpinBoxesHaveTheirRangesStepsAndDefaults) {
    const Stage stage;
    for (const SpinRow& row : {
             SpinRow{"baseHz", 0, nullptr, "Base", 0, 1e9, 6, 100, " Hz", 1000,
                     "Expected/base frequency. Used for ppm drift and period-error histogram."},
             SpinRow{"binSeconds", 0, nullptr, "Bin", 1e-6, 60, 6, 0.001, " s", 0.1,
                     "Integration bin for the frequency trace. Frequency is computed from tag-to-tag span "
                     "inside each bin."},
             SpinRow{"histRangeNs", 0, "Period histogram", "Half-range", 0.001, 1e9, 3, 10, " ns", 5,
                     "Half-range around the expected period. If base is zero, this is the raw period range "
                     "around zero."},
             SpinRow{"histBinPs", 0, "Period histogram", "Bin", 1, 1e9, 1, 10, " ps", 10, nullptr},
             SpinRow{"yMin", 0, "Trace Y axis", "Min", -1e12, 1e12, 6, 0, "", -1, nullptr},
             SpinRow{"yMax", 0, "Trace Y axis", "Max", -1e12, 1e12, 6, 0, "", 1, nullptr},
         }) {
        expectSpinBox(stage.tab, row);
    }
    expectIntegerBox(stage.integer("channel"), 1, 4, 1);
    expectIntegerBox(stage.integer("historyBins"), 10, 100000, 300);
    EXPECT_EQ(labelOf(stage.tab, stage.integer("historyBins")), QStringLiteral("History"));
    EXPECT_EQ(labelOf(stage.tab, control<QLabel>(stage.tab, QStringLiteral("baseStatus"))),
              QStringLiteral("Detected"));
}

TEST(FrequencyControls, BoxesAndTheChoiceHaveTheirTextsAndDefaults) {
    const Stage stage;
    struct Row {
        const char* name;
        const char* text;
        bool checked;
    };
    for (const Row& row :
         {Row{"autoBaseFrequency", "Auto detect base at start", true},
          Row{"showOffsetPlot", "Frequency offset", true}, Row{"showDriftPlot", "Frequency drift", false},
          Row{"showHistogramPlot", "Period histogram", false}}) {
        EXPECT_EQ(stage.box(row.name).text(), QString::fromUtf8(row.text));
        EXPECT_EQ(stage.box(row.name).isChecked(), row.checked) << row.name;
    }
    EXPECT_EQ(stage.box("autoBaseFrequency").toolTip(),
              QStringLiteral("Use the first completed frequency bin as the base for this measurement."));
    EXPECT_EQ(itemsOf(stage.choice("yAxisMode")), texts({"Auto", "Zero minimum", "Custom"}));
    EXPECT_EQ(stage.choice("yAxisMode").currentIndex(), 0);
    EXPECT_EQ(groupTitleOf(&stage.choice("yAxisMode")), QStringLiteral("Trace Y axis"));
    EXPECT_EQ(labelOf(stage.tab, stage.choice("yAxisMode")), QStringLiteral("Mode"));
}

TEST(FrequencyControls, TheBaseIsTheOperatorsOnlyWithoutDetection) {
    const Stage stage;
    EXPECT_FALSE(stage.number("baseHz").isEnabled());
    stage.box("autoBaseFrequency").setChecked(false);
    EXPECT_TRUE(stage.number("baseHz").isEnabled());
    stage.box("autoBaseFrequency").setChecked(true);
    EXPECT_FALSE(stage.number("baseHz").isEnabled());
}

TEST(FrequencyControls, YLimitsAreOpenToChangeInTheCustomModeOnly) {
    const Stage stage;
    EXPECT_FALSE(stage.number("yMin").isEnabled());
    for (const auto& [mode, open] : {std::pair{"Custom", true}, {"Zero minimum", false}, {"Auto", false}}) {
        stage.choose("yAxisMode", mode);
        EXPECT_EQ(stage.number("yMin").isEnabled(), open) << mode;
        EXPECT_EQ(stage.number("yMax").isEnabled(), open) << mode;
    }
}

TEST(FrequencyControls, EachBoxShowsItsPlotUnderItsTitle) {
    const Stage stage;
    struct Row {
        const char* box;
        const char* plot;
        const char* title;
    };
    const Row kRows[] = {{"showOffsetPlot", "frequencyPlot", "Frequency offset from base"},
                         {"showDriftPlot", "driftPlot", "Frequency drift vs. base"},
                         {"showHistogramPlot", "periodPlot", "Time-difference histogram"}};
    for (int shown = 1; shown < 8; ++shown) {
        // check first: no plot at all is not allowed
        for (const bool check : {true, false}) {
            for (int row = 0; row < 3; ++row) {
                if (((shown >> row) & 1) == (check ? 1 : 0)) {
                    stage.box(kRows[row].box).setChecked(check);
                }
            }
        }
        for (int row = 0; row < 3; ++row) {
            const bool expected = ((shown >> row) & 1) != 0;
            EXPECT_EQ(stage.plot(kRows[row].plot).isVisible(), expected) << shown << kRows[row].plot;
            EXPECT_EQ(readsOn(stage.tab, kRows[row].title), expected) << shown << kRows[row].title;
        }
    }
}

TEST(FrequencyControls, UncheckingAllPlotsChecksTheFirstAgain) {
    const Stage stage;
    stage.box("showOffsetPlot").setChecked(false);
    EXPECT_TRUE(stage.box("showOffsetPlot").isChecked());
    stage.box("showDriftPlot").setChecked(true);
    stage.box("showOffsetPlot").setChecked(false);
    EXPECT_FALSE(stage.box("showOffsetPlot").isChecked());
    stage.box("showDriftPlot").setChecked(false);
    EXPECT_TRUE(stage.box("showOffsetPlot").isChecked());
    EXPECT_TRUE(stage.plot("frequencyPlot").isVisible());
    EXPECT_FALSE(stage.plot("driftPlot").isVisible());
}

TEST(FrequencyControls, HasAToolbarWithLogAndWithoutPlotControls) {
    const Stage stage;
    const QToolBar* toolbar = measurementToolbar(stage.tab);
    ASSERT_NE(toolbar, nullptr);
    EXPECT_NE(findAction(*toolbar, "Start log"), nullptr);
    EXPECT_NE(findAction(*toolbar, "Play"), nullptr);
    EXPECT_EQ(findAction(*toolbar, "Drag zoom"), nullptr);
    EXPECT_EQ(findAction(*toolbar, "Split"), nullptr);
}

// --- the base's label --------------------------------------------------------------------------------------

TEST(FrequencyBaseLabel, TellsWhetherTheBaseIsDetectedOrTheOperators) {
    Stage stage;
    EXPECT_EQ(stage.base(), QStringLiteral("Base: detecting at start"));
    stage.start();
    EXPECT_EQ(stage.base(), QStringLiteral("Base: detecting at start"));
    stage.feed(pulses(0, 0, kMillisecondPs, 101));
    EXPECT_EQ(stage.base(), QStringLiteral("Detected: 1.000000 kHz"));
    EXPECT_EQ(stage.number("baseHz").value(), 1000.0);
    stage.box("autoBaseFrequency").setChecked(false);
    EXPECT_EQ(stage.base(), QStringLiteral("Manual: 1.000000 kHz"));
}

TEST(FrequencyBaseLabel, FormatsAFrequencyByItsMagnitude) {
    struct Row {
        double hz;
        const char* text;
    };
    for (const Row& row : {Row{0, "Manual: 0.000000 Hz"}, Row{0.000001, "Manual: 0.000001 Hz"},
                           Row{999.999999, "Manual: 999.999999 Hz"}, Row{1000, "Manual: 1.000000 kHz"},
                           Row{25000.5, "Manual: 25.000500 kHz"}, Row{999999.5, "Manual: 999.999500 kHz"},
                           Row{1e6, "Manual: 1.000000 MHz"}, Row{12345678.9, "Manual: 12.345679 MHz"},
                           Row{1e9, "Manual: 1.000000 GHz"}}) {
        Stage stage;
        stage.setBase(row.hz);
        EXPECT_EQ(stage.base(), QString::fromUtf8(row.text));
    }
}

// --- another input -----------------------------------------------------------------------------------------

TEST(FrequencyInput, AnotherInputAsksForARestartWhileTheTabRuns) {
    Stage stage;
    const QSignalSpy restarts(&stage.tab, &timetagger::gui::ExperimentTab::restartRequested);
    stage.integer("channel").setValue(2);
    EXPECT_EQ(restarts.count(), 0) << "nothing runs";
    stage.start();
    stage.integer("channel").setValue(3);
    EXPECT_EQ(restarts.count(), 1);
    stage.pause();
    stage.integer("channel").setValue(4);
    EXPECT_EQ(restarts.count(), 1);
}

TEST(FrequencyInput, OtherChangesTakeEffectWithoutARestart) {
    Stage stage;
    stage.start();
    const QSignalSpy restarts(&stage.tab, &timetagger::gui::ExperimentTab::restartRequested);
    stage.setBase(500);
    stage.number("binSeconds").setValue(0.2);
    stage.integer("historyBins").setValue(50);
    stage.number("histRangeNs").setValue(7);
    stage.number("histBinPs").setValue(20);
    stage.choose("yAxisMode", "Custom");
    stage.number("yMin").setValue(-5);
    stage.showAllPlots();
    EXPECT_EQ(restarts.count(), 0);
}

TEST(FrequencyInput, AConfigurationWithAnotherInputAsksOnce) {
    Stage stage;
    stage.start();
    const QSignalSpy restarts(&stage.tab, &timetagger::gui::ExperimentTab::restartRequested);
    stage.tab.loadConfig(parsedJson(R"({"historyBins": 20, "channel": 1, "showDriftPlot": true})"));
    EXPECT_EQ(restarts.count(), 0);
    stage.tab.loadConfig(parsedJson(R"({"historyBins": 30, "channel": 3, "showDriftPlot": false})"));
    EXPECT_EQ(restarts.count(), 1);
}

// --- configuration -----------------------------------------------------------------------------------------

const char* const kDefaults = R"({
    "channel": 1, "autoBaseFrequency": true, "baseHz": 1000, "binSeconds": 0.1, "historyBins": 300,
    "histRangeNs": 5, "histBinPs": 10, "showOffsetPlot": true, "showDriftPlot": false,
    "showHistogramPlot": false, "yAxisMode": "Auto", "yMin": -1, "yMax": 1})";
const char* const kOthers = R"({
    "channel": 4, "autoBaseFrequency": false, "baseHz": 123.456789, "binSeconds": 0.000001,
    "historyBins": 100000, "histRangeNs": 0.001, "histBinPs": 12.5, "showOffsetPlot": false,
    "showDriftPlot": true, "showHistogramPlot": true, "yAxisMode": "Custom", "yMin": -7.5, "yMax": 8.25})";

TEST(FrequencyConfig, HoldsEveryControlUnderItsKey) {
    Stage stage;
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kDefaults));
    stage.tab.loadConfig(parsedJson(kOthers));
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kOthers));
    EXPECT_EQ(stage.integer("channel").value(), 4);
    EXPECT_FALSE(stage.box("autoBaseFrequency").isChecked());
    EXPECT_TRUE(stage.number("baseHz").isEnabled());
    EXPECT_EQ(stage.number("baseHz").value(), 123.456789);
    EXPECT_EQ(stage.number("binSeconds").value(), 1e-6);
    EXPECT_EQ(stage.integer("historyBins").value(), 100000);
    EXPECT_EQ(stage.number("histBinPs").value(), 12.5);
    EXPECT_EQ(stage.choice("yAxisMode").currentText(), QStringLiteral("Custom"));
    EXPECT_TRUE(stage.number("yMax").isEnabled());
    EXPECT_EQ(stage.base(), QStringLiteral("Manual: 123.456789 Hz"));
    EXPECT_FALSE(stage.plot("frequencyPlot").isVisible());
    EXPECT_TRUE(stage.plot("driftPlot").isVisible());
    EXPECT_TRUE(stage.plot("periodPlot").isVisible());
    stage.tab.loadConfig(parsedJson(kDefaults));
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kDefaults));
}

TEST(FrequencyConfig, ASavedKeyIsInForceInAnotherTab) {
    Stage stage;
    stage.tab.loadConfig(parsedJson(R"({"channel": 2, "binSeconds": 1, "baseHz": 10,
        "autoBaseFrequency": false})"));
    stage.start();
    stage.startLog();
    stage.feed(pulses(1, 0, 50 * kMillisecondPs, 21));
    const LogRows rows = stage.loggedRows();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0][2], "2");
    EXPECT_EQ(rows[0][5], "20.000000000");
    EXPECT_EQ(rows[0][6], "10.000000000");
}

TEST(FrequencyConfig, MissingKeysAndStrangeValuesLeaveTheControlsAlone) {
    Stage stage;
    stage.tab.loadConfig(parsedJson(kOthers));
    stage.tab.loadConfig({});
    stage.tab.loadConfig(parsedJson(R"({
        "channel": "2", "autoBaseFrequency": 1, "baseHz": "12", "binSeconds": null, "historyBins": [20],
        "histRangeNs": true, "histBinPs": {}, "showOffsetPlot": "true", "showDriftPlot": 0,
        "showHistogramPlot": null, "yAxisMode": "Logarithmic", "yMin": "low", "yMax": [], "unknown": 1})"));
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kOthers));
}

TEST(FrequencyConfig, NumbersBeyondTheControlsAreClamped) {
    Stage stage;
    stage.tab.loadConfig(parsedJson(R"({"channel": 9, "baseHz": 1e300, "binSeconds": 1e9,
        "historyBins": 1e300, "histRangeNs": 1e30, "histBinPs": 1e30, "yMin": -1e300, "yMax": 1e300})"));
    EXPECT_EQ(stage.tab.saveConfig(),
              parsedJson(R"({"channel": 4, "autoBaseFrequency": true, "baseHz": 1e9, "binSeconds": 60,
        "historyBins": 100000, "histRangeNs": 1e9, "histBinPs": 1e9, "showOffsetPlot": true,
        "showDriftPlot": false, "showHistogramPlot": false, "yAxisMode": "Auto", "yMin": -1e12,
        "yMax": 1e12})"));
    stage.tab.loadConfig(parsedJson(R"({"channel": -1e300, "baseHz": -5, "binSeconds": 0,
        "historyBins": -3, "histRangeNs": 0, "histBinPs": 0})"));
    EXPECT_EQ(stage.integer("channel").value(), 1);
    EXPECT_EQ(stage.number("baseHz").value(), 0.0);
    EXPECT_EQ(stage.number("binSeconds").value(), 1e-6);
    EXPECT_EQ(stage.integer("historyBins").value(), 10);
    EXPECT_EQ(stage.number("histRangeNs").value(), 0.001);
    EXPECT_EQ(stage.number("histBinPs").value(), 1.0);
}

TEST(FrequencyConfig, AFileWithoutAnyPlotShowsTheFirst) {
    Stage stage;
    stage.box("showDriftPlot").setChecked(true);
    stage.tab.loadConfig(
        parsedJson(R"({"showOffsetPlot": false, "showDriftPlot": false, "showHistogramPlot": false})"));
    EXPECT_TRUE(stage.box("showOffsetPlot").isChecked());
    EXPECT_TRUE(stage.plot("frequencyPlot").isVisible());
    EXPECT_FALSE(stage.plot("driftPlot").isVisible());
}

} // namespace
} // namespace qorn::testing
