// The Coincidence tab as it stands: controls, table, plots, what it asks of an acquisition, and its settings
// in configuration files.
#include "CoincidenceStage.h"
#include "StoredSettings.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>

namespace qorn::testing {
namespace {

using timetagger::gui::AcquisitionRequest;
using Stage = CoincidenceStage;

QJsonObject json(const char* text) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << text;
    return document.object();
}

TEST(CoincidenceControls, AnswersWhatTheBaseAsks) {
    const Stage stage;
    EXPECT_EQ(stage.tab.experimentType(), QStringLiteral("Coincidence"));
    EXPECT_EQ(stage.tab.plotWidget(), &stage.plot("histogramPlot"));
    EXPECT_TRUE(stage.tab.supportsLogging());
    EXPECT_EQ(stage.tab.logFileStem(), QStringLiteral("Coincidence"));
    EXPECT_EQ(stage.tab.logCsvHeader(),
              texts({"sample", "elapsed_s", "gate_s", "window_ns", "ch1", "ch2", "ch3", "ch4", "c12", "c13",
                     "c14", "c23", "c24", "c34", "c123", "c124", "c134", "c234", "c1234"}));
}

TEST(CoincidenceControls, SpinBoxesHaveTheirRangesAndDefaults) {
    const Stage stage;
    expectSpinBox(stage.tab, {"gateSec", 0, nullptr, "Gate", 0.01, 60, 3, 0, " s", 1.0, nullptr});
    expectSpinBox(stage.tab, {"windowNs", 0, nullptr, "Window", 0.001, 3333333, 3, 0, " ns", 3.333,
                              "Coincidence window (full width). Two events on different\nchannels coincide "
                              "when |t_i - t_j| <= window."});
    expectSpinBox(stage.tab, {"traceHistorySec", 0, nullptr, "Trace history", 1, 3600, 1, 0, " s", 30.0,
                              "Visible history for the coincidence trace."});
    for (int pair = 1; pair <= 6; ++pair) {
        expectSpinBox(stage.tab, {"pairWindowsNs", pair, "Pair windows", nullptr, 0.001, 3333333, 3, 0, " ns",
                                  3.333, nullptr});
    }
    const char* const kLabels[] = {"Offset 1", "Offset 2", "Offset 3", "Offset 4"};
    const char* const kTips[] = {"Timing offset for channel 1.", "Timing offset for channel 2.",
                                 "Timing offset for channel 3.", "Timing offset for channel 4."};
    for (int input = 1; input <= 4; ++input) {
        expectSpinBox(stage.tab, {"offsetNs", input, nullptr, kLabels[input - 1], -1e9, 1e9, 3, 0, " ns", 0.0,
                                  kTips[input - 1]});
    }
}

TEST(CoincidenceControls, ChoicesBoxesAndButtonsHaveTheirTextsAndToolTips) {
    const Stage stage;
    EXPECT_EQ(itemsOf(stage.choice("acquisitionMode")), texts({"Hardware", "Software"}));
    EXPECT_EQ(stage.choice("acquisitionMode").currentIndex(), 0);
    EXPECT_EQ(
        stage.choice("acquisitionMode").toolTip(),
        QStringLiteral("Hardware uses the device coincidence engine. Software uses decoded time tags."));
    EXPECT_EQ(labelOf(stage.tab, stage.choice("acquisitionMode")), QStringLiteral("Engine"));
    EXPECT_EQ(itemsOf(stage.choice("splitMode")), texts({"Stacked plots", "Side-by-side plots"}));
    EXPECT_EQ(stage.choice("splitMode").currentIndex(), 0);
    EXPECT_EQ(stage.choice("splitMode").toolTip(),
              QStringLiteral("Choose whether the histogram and trace are split vertically or horizontally."));
    EXPECT_EQ(labelOf(stage.tab, stage.choice("splitMode")), QStringLiteral("Split"));
    EXPECT_EQ(stage.box("offsetsEnabled").text(), QStringLiteral("Enable channel offsets"));
    EXPECT_EQ(stage.box("offsetsEnabled").toolTip(),
              QStringLiteral("Apply per-channel timing offsets before coincidence tests."));
    EXPECT_FALSE(stage.box("offsetsEnabled").isChecked());
    EXPECT_EQ(stage.box("showTrace").text(), QStringLiteral("Show coincidence trace"));
    EXPECT_EQ(stage.box("showTrace").toolTip(),
              QStringLiteral("Show pair coincidence rates over time, using the same gate interval as the "
                             "table."));
    EXPECT_FALSE(stage.box("showTrace").isChecked());
    EXPECT_EQ(stage.button("applyToAll").text(), QStringLiteral("Apply to all"));
}

TEST(CoincidenceControls, ApplyToAllCopiesTheWindowToThePairs) {
    Stage stage;
    stage.number("windowNs").setValue(10.0);
    EXPECT_EQ(stage.number("pairWindowsNs", 3).value(), 3.333) << "not by itself";
    stage.button("applyToAll").click();
    for (int pair = 1; pair <= 6; ++pair) {
        EXPECT_EQ(stage.number("pairWindowsNs", pair).value(), 10.0) << pair;
    }
}

TEST(CoincidenceControls, TheTableHasARowForEachCount) {
    const Stage stage;
    ASSERT_EQ(stage.table().columnCount(), 4);
    QStringList heads;
    for (int column = 0; column < 4; ++column) {
        heads.append(stage.table().headerData(column, Qt::Horizontal).toString());
    }
    EXPECT_EQ(heads, texts({"Measurement", "Last Count", "Accumulated", "Rate (Hz)"}));
    EXPECT_EQ(stage.column(0),
              texts({"Ch 1", "Ch 2", "Ch 3", "Ch 4", "Ch 1-2", "Ch 1-3", "Ch 1-4", "Ch 2-3", "Ch 2-4",
                     "Ch 3-4", "Ch 1-2-3", "Ch 1-2-4", "Ch 1-3-4", "Ch 2-3-4", "Ch 1-2-3-4"}));
    const auto& view = control<QTableView>(stage.tab, QStringLiteral("table"));
    EXPECT_EQ(view.editTriggers(), QAbstractItemView::NoEditTriggers);
    EXPECT_EQ(stage.column(kLastCount), QStringList(15, QStringLiteral("0")));
}

TEST(CoincidenceControls, ThePlotsBeginEmptyWithTheirLabels) {
    Stage stage;
    EXPECT_EQ(stage.histogram().xLabel, QStringLiteral("pair"));
    EXPECT_EQ(stage.histogram().yLabel, QStringLiteral("coincidence rate (Hz)"));
    expectRange(yRangeOf(stage.plot("histogramPlot")), 0, 1);
    for (const double height : stage.histogram().barHeights) {
        EXPECT_EQ(height, 0.0);
    }
    EXPECT_FALSE(stage.plot("coincidenceTracePlot").isVisible());
    stage.box("showTrace").setChecked(true);
    EXPECT_TRUE(stage.plot("coincidenceTracePlot").isVisible());
    EXPECT_EQ(stage.trace().xLabel, QStringLiteral("Time (s)"));
    EXPECT_EQ(stage.trace().yLabel, QStringLiteral("Coincidence rate (Hz)"));
    EXPECT_EQ(stage.trace().points(), 0);
    stage.box("showTrace").setChecked(false);
    EXPECT_FALSE(stage.plot("coincidenceTracePlot").isVisible());
}

TEST(CoincidenceControls, TheSplitTurnsHistogramAndTrace) {
    Stage stage;
    stage.box("showTrace").setChecked(true);
    const auto stacked = [&] {
        const QWidget& histogram = stage.plot("histogramPlot");
        const QWidget& trace = stage.plot("coincidenceTracePlot");
        QCoreApplication::processEvents();
        const QPoint a = histogram.mapTo(&stage.tab, QPoint());
        const QPoint b = trace.mapTo(&stage.tab, QPoint());
        EXPECT_NE(a.x() == b.x(), a.y() == b.y()) << "beside or below each other";
        return b.y() > a.y();
    };
    EXPECT_TRUE(stacked());
    stage.choose("splitMode", "Side-by-side plots");
    EXPECT_FALSE(stacked());
    stage.choose("splitMode", "Stacked plots");
    EXPECT_TRUE(stacked());
}

TEST(CoincidenceControls, HasAToolbarWithLogAndWithoutPlotControls) {
    const Stage stage;
    const QToolBar* toolbar = measurementToolbar(stage.tab);
    ASSERT_NE(toolbar, nullptr);
    EXPECT_NE(findAction(*toolbar, "Start log"), nullptr);
    EXPECT_NE(findAction(*toolbar, "Play"), nullptr);
    EXPECT_EQ(findAction(*toolbar, "Drag zoom"), nullptr);
    EXPECT_EQ(findAction(*toolbar, "Split"), nullptr);
}

TEST(CoincidenceControls, WhatAMeasurementWasStartedWithIsHeldUntilItStops) {
    Stage stage;
    stage.box("offsetsEnabled").setChecked(true);
    stage.box("showTrace").setChecked(true);
    const QList<QWidget*> held{
        &stage.number("gateSec"),     &stage.choice("acquisitionMode"),  &stage.number("windowNs"),
        &stage.button("applyToAll"),  &stage.number("pairWindowsNs", 1), &stage.number("pairWindowsNs", 6),
        &stage.box("offsetsEnabled"), &stage.number("offsetNs", 1),      &stage.number("offsetNs", 4)};
    const QList<QWidget*> free{&stage.box("showTrace"), &stage.choice("splitMode"),
                               &stage.number("traceHistorySec")};
    const auto expectHeld = [&](bool expected, const char* when) {
        for (const QWidget* widget : held) {
            EXPECT_EQ(widget->isEnabled(), !expected) << when << ": " << widget->objectName().toStdString();
        }
        for (const QWidget* widget : free) {
            EXPECT_TRUE(widget->isEnabled()) << when << ": " << widget->objectName().toStdString();
        }
    };
    expectHeld(false, "at first");
    stage.tab.onStart();
    expectHeld(true, "started");
    stage.tab.onStop();
    expectHeld(false, "stopped");
    stage.tab.onResume();
    expectHeld(true, "resumed");
    stage.tab.onStop();
    expectHeld(false, "stopped again");
}

// --- acquisition -------------------------------------------------------------------------------------------

struct EngineRow {
    const char* name;
    const char* config;
    bool streams;
};

void PrintTo(const EngineRow& row, std::ostream* out) {
    *out << row.name;
}

class CoincidenceEngineChoice : public ::testing::TestWithParam<EngineRow> {};

TEST_P(CoincidenceEngineChoice, SendsWhatTheHardwareCannotCountToTheTagStream) {
    Stage stage;
    stage.tab.loadConfig(json(GetParam().config));
    EXPECT_EQ(stage.tab.requiresTagStreaming(), GetParam().streams);
}

INSTANTIATE_TEST_SUITE_P(
    Settings, CoincidenceEngineChoice,
    ::testing::Values(
        EngineRow{"Defaults", "{}", false},
        EngineRow{"SoftwareSelected", R"({"acquisitionMode": "software"})", true},
        EngineRow{"ThreeCycles", R"({"pairWindowsNs": [10, 10, 10, 10, 10, 10]})", false},
        EngineRow{"TwoCyclesRounded", R"({"pairWindowsNs": [6.667, 6.667, 6.667, 6.667, 6.667, 6.667]})",
                  false},
        EngineRow{"ThreeCyclesAndAPicosecond",
                  R"({"pairWindowsNs": [10.001, 10.001, 10.001, 10.001, 10.001, 10.001]})", true},
        EngineRow{"BelowOneCycle", R"({"pairWindowsNs": [0.001, 0.001, 0.001, 0.001, 0.001, 0.001]})", true},
        EngineRow{"LargestWindow",
                  R"({"pairWindowsNs": [3333333, 3333333, 3333333, 3333333, 3333333, 3333333]})", true},
        EngineRow{"LargestWindowOnTheGrid",
                  R"({"pairWindowsNs": [3333330, 3333330, 3333330, 3333330, 3333330, 3333330]})", false},
        EngineRow{"OnePairDiffers", R"({"pairWindowsNs": [10, 10, 10, 10, 10, 6.667]})", true},
        EngineRow{"TheGlobalWindowDoesNotMatter", R"({"windowNs": 10.001})", false},
        EngineRow{"OffsetOnTheGrid", R"({"offsetsEnabled": true, "offsetNs2": 3.333})", false},
        EngineRow{"NegativeOffsetOnTheGrid", R"({"offsetsEnabled": true, "offsetNs4": -6.667})", false},
        EngineRow{"OffsetOffTheGrid", R"({"offsetsEnabled": true, "offsetNs1": 3.0})", true},
        EngineRow{"OffsetOffTheGridButDisabled", R"({"offsetsEnabled": false, "offsetNs1": 3.0})", false},
        EngineRow{"LargestOffsetThatFits", R"({"offsetsEnabled": true, "offsetNs3": 2147483.333})", false},
        EngineRow{"OffsetBeyondTheRegister", R"({"offsetsEnabled": true, "offsetNs3": 10000000})", true},
        EngineRow{"NegativeOffsetBeyondTheRegister", R"({"offsetsEnabled": true, "offsetNs3": -10000000})",
                  true}),
    [](const auto& test) { return test.param.name; });

TEST(CoincidenceAcquisition, ARecordingNeedsTheTagStream) {
    storedSettings().setValue(QStringLiteral("measurement/coincidence/timeTagsEnabled"), true);
    const Stage stage;
    EXPECT_TRUE(stage.tab.requiresTagStreaming());
}

TEST(CoincidenceAcquisition, TheHardwareGetsGateWindowsAndOffsets) {
    Stage stage;
    stage.tab.loadConfig(json(R"({"gateSec": 0.25, "windowNs": 20, "offsetsEnabled": true,
        "pairWindowsNs": [10, 10, 10, 10, 10, 10], "offsetNs1": 3.333, "offsetNs4": -10})"));
    const AcquisitionRequest request = stage.tab.acquisitionRequest(false);
    EXPECT_EQ(request.kind, AcquisitionRequest::Kind::HardwareCoincidence);
    EXPECT_DOUBLE_EQ(request.coincidence.gateSeconds, 0.25);
    EXPECT_EQ(request.coincidence.pairWindowsPs,
              (std::array<qint64, 6>{10000, 10000, 10000, 10000, 10000, 10000}));
    EXPECT_EQ(request.coincidence.offsetsPs, (std::array<qint64, 4>{3333, 0, 0, -10000}));
    EXPECT_EQ(request.coincidence.channelMask, 15);
    stage.box("offsetsEnabled").setChecked(false);
    EXPECT_EQ(stage.tab.acquisitionRequest(false).coincidence.offsetsPs, (std::array<qint64, 4>{}));
}

TEST(CoincidenceAcquisition, TheStreamHasAllInputs) {
    const Stage stage;
    const AcquisitionRequest request = stage.tab.acquisitionRequest(true);
    EXPECT_EQ(request.kind, AcquisitionRequest::Kind::TagStream);
    EXPECT_EQ(request.channelMask, 15);
    EXPECT_EQ(request.batchSize, 65536);
    EXPECT_EQ(request.maxUiTagsPerSecond, 16000000);
    EXPECT_FALSE(request.fixedRateHz.has_value());
}

// --- configuration -----------------------------------------------------------------------------------------

const char* const kOthers = R"({
    "gateSec": 0.125, "acquisitionMode": "software", "windowNs": 12.5,
    "pairWindowsNs": [0.001, 2.5, 3.5, 4.5, 5.5, 3333333], "offsetsEnabled": true, "offsetNs1": -1e9,
    "offsetNs2": 0.001, "offsetNs3": 1e9, "offsetNs4": 7.25, "showTrace": true, "traceHistorySec": 77.5})";

TEST(CoincidenceConfig, HoldsEveryControlUnderItsKey) {
    Stage stage;
    QJsonObject expected = json(R"({"gateSec": 1.0, "acquisitionMode": "hardware", "windowNs": 3.333,
        "pairWindowsNs": [3.333, 3.333, 3.333, 3.333, 3.333, 3.333], "offsetsEnabled": false,
        "offsetNs1": 0, "offsetNs2": 0, "offsetNs3": 0, "offsetNs4": 0, "showTrace": false,
        "traceHistorySec": 30.0})");
    QJsonObject saved = stage.tab.saveConfig();
    const QJsonValue stacked = saved.take(QStringLiteral("splitMode"));
    EXPECT_TRUE(stacked.isString());
    EXPECT_EQ(saved, expected);
    stage.tab.loadConfig(json(kOthers));
    saved = stage.tab.saveConfig();
    EXPECT_EQ(saved.take(QStringLiteral("splitMode")), stacked);
    EXPECT_EQ(saved, json(kOthers));
    EXPECT_EQ(stage.choice("acquisitionMode").currentText(), QStringLiteral("Software"));
    EXPECT_EQ(stage.number("pairWindowsNs", 2).value(), 2.5);
    EXPECT_EQ(stage.number("offsetNs", 4).value(), 7.25);
    EXPECT_TRUE(stage.plot("coincidenceTracePlot").isVisible());
}

TEST(CoincidenceConfig, TheSplitComesBack) {
    Stage stage;
    stage.choose("splitMode", "Side-by-side plots");
    const QJsonObject saved = stage.tab.saveConfig();
    stage.choose("splitMode", "Stacked plots");
    EXPECT_NE(stage.tab.saveConfig().value(QStringLiteral("splitMode")),
              saved.value(QStringLiteral("splitMode")));
    stage.tab.loadConfig(saved);
    EXPECT_EQ(stage.choice("splitMode").currentText(), QStringLiteral("Side-by-side plots"));
    EXPECT_EQ(stage.tab.saveConfig(), saved);
}

TEST(CoincidenceConfig, MissingKeysAndStrangeValuesLeaveTheControlsAlone) {
    for (const char* const strange : {
             "{}",
             R"({"unknown": 5})",
             R"({"gateSec": "1", "acquisitionMode": "firmware", "windowNs": null, "pairWindowsNs": 5})",
             R"({"offsetsEnabled": 0, "offsetNs1": "4", "offsetNs2": true, "offsetNs3": [], "offsetNs5": 6})",
             R"({"showTrace": "no", "splitMode": "diagonal", "traceHistorySec": {}})",
             R"({"acquisitionMode": 0, "splitMode": 1, "pairWindowsNs": []})",
             R"({"pairWindowsNs": ["a", null, true]})",
         }) {
        Stage stage;
        stage.tab.loadConfig(json(kOthers));
        const QJsonObject before = stage.tab.saveConfig();
        stage.tab.loadConfig(json(strange));
        EXPECT_EQ(stage.tab.saveConfig(), before) << strange;
    }
}

TEST(CoincidenceConfig, NumbersAreClampedAndShortArraysLeaveTheRest) {
    Stage stage;
    stage.tab.loadConfig(json(R"({"gateSec": 0, "windowNs": 1e9, "pairWindowsNs": [0, 1e12],
        "offsetNs1": -1e12, "offsetNs2": 1e300, "traceHistorySec": 0})"));
    EXPECT_EQ(stage.number("gateSec").value(), 0.01);
    EXPECT_EQ(stage.number("windowNs").value(), 3333333.0);
    EXPECT_EQ(stage.number("pairWindowsNs", 1).value(), 0.001);
    EXPECT_EQ(stage.number("pairWindowsNs", 2).value(), 3333333.0);
    EXPECT_EQ(stage.number("pairWindowsNs", 3).value(), 3.333);
    EXPECT_EQ(stage.number("offsetNs", 1).value(), -1e9);
    EXPECT_EQ(stage.number("offsetNs", 2).value(), 1e9);
    EXPECT_EQ(stage.number("traceHistorySec").value(), 1.0);
    EXPECT_EQ(stage.tab.saveConfig().value(QStringLiteral("gateSec")), QJsonValue(0.01));
}

} // namespace
} // namespace qorn::testing
