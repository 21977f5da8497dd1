// The Multi correlation tab as it stands: controls, plots, what it asks of an acquisition, and its settings
// in configuration files.
#include "MultiCorrelationTabStage.h"

#include <QJsonArray>

namespace qorn::testing {
namespace {

using timetagger::gui::AcquisitionRequest;
using Stage = CountingStage<timetagger::gui::MultiCorrelationTab>;

TEST(MultiCorrelationControls, AnswersWhatTheBaseAsks) {
    const Stage stage;
    EXPECT_EQ(stage.tab.experimentType(), QStringLiteral("Multi correlation"));
    EXPECT_TRUE(stage.tab.supportsLogging());
    EXPECT_TRUE(stage.tab.requiresTagStreaming());
    EXPECT_EQ(stage.tab.logFileStem(), QStringLiteral("Multi correlation"));
    EXPECT_EQ(stage.tab.logCsvHeader(), QStringList());
    EXPECT_EQ(stage.tab.settingsKey(), QStringLiteral("multi_correlation"));
    EXPECT_EQ(stage.tab.plotWidget(), &stage.plot("histogramPlot"));
}

TEST(MultiCorrelationControls, AsksForTheTagsOfAllInputs) {
    const Stage stage;
    const AcquisitionRequest request = stage.tab.acquisitionRequest(true);
    EXPECT_EQ(request.kind, AcquisitionRequest::Kind::TagStream);
    EXPECT_STREQ(request.detailText, "multi correlation (%1, %2)");
    EXPECT_EQ(request.channelMask, 15);
    EXPECT_EQ(request.batchSize, 65536);
    EXPECT_EQ(request.maxUiTagsPerSecond, 16'000'000);
    EXPECT_FALSE(request.fixedRateHz.has_value());
}

TEST(MultiCorrelationControls, SpinBoxesHaveTheirRangesStepsAndDefaults) {
    const Stage stage;
    for (const SpinRow& row : {
             SpinRow{"rangeNs", 0, "Correlation histogram", "Half-range", 0.01, 1e6, 3, 1.0, " ns", 0.5,
                     nullptr},
             SpinRow{"binNs", 0, "Correlation histogram", "Bin width", 0.004, 1e6, 3, 0.001, " ns", 0.008,
                     "Histogram bins must be at least 4 ps."},
             SpinRow{"gateSec", 0, "Window traces", "Integration", 0.001, 60, 3, 0.1, " s", 0.1, nullptr},
             SpinRow{"traceHistorySec", 0, "Window traces", "Trace window", 0.1, 3600, 1, 1.0, " s", 10,
                     nullptr},
         }) {
        expectSpinBox(stage.tab, row);
    }
}

TEST(MultiCorrelationControls, EachWindowHasACentreAndAWidth) {
    const Stage stage;
    for (int place = 0; place <= 6; ++place) { // 0: those of all pairs
        struct Row {
            const char* name;
            const char* allName;
            bool width;
            double value;
        };
        for (const Row& row :
             {Row{"centerA", "allCenterA", false, 0}, Row{"widthA", "allWidthA", true, 0.5},
              Row{"centerB", "allCenterB", false, 1}, Row{"widthB", "allWidthB", true, 0.5}}) {
            expectSpinBox(stage.tab, {place == 0 ? row.allName : row.name, place, "Trace windows", nullptr,
                                      row.width ? 0.001 : -1e6, 1e6, 3, 0.1,
                                      row.width ? " ns width" : " ns center", row.value, nullptr});
        }
    }
}

TEST(MultiCorrelationControls, EachInputHasAnOffset) {
    const Stage stage;
    const char* const kLabels[] = {"Ch 1", "Ch 2", "Ch 3", "Ch 4"};
    EXPECT_EQ(stage.box("offsetsEnabled").text(), QStringLiteral("Enable channel offsets"));
    EXPECT_FALSE(stage.box("offsetsEnabled").isChecked());
    EXPECT_EQ(stage.box("offsetsEnabled").toolTip(),
              QStringLiteral("Apply these timestamp offsets before cross-correlation."));
    for (const bool enabled : {false, true, false}) {
        stage.box("offsetsEnabled").setChecked(enabled);
        for (int input = 1; input <= 4; ++input) {
            expectSpinBox(stage.tab, {"offsetsNs", input, "Software offsets", kLabels[input - 1], -1e6, 1e6,
                                      3, 0.1, " ns", 0, nullptr});
            EXPECT_EQ(stage.number("offsetsNs", input).isEnabled(), enabled) << input;
        }
    }
    EXPECT_EQ(stage.button("autoRemoveOffsets").text(), QStringLiteral("Auto remove offsets"));
    EXPECT_EQ(stage.button("autoRemoveOffsets").toolTip(),
              QStringLiteral("Estimate the current pairwise peak positions and apply channel offsets so the "
                             "peaks move to zero."));
}

TEST(MultiCorrelationControls, EachPairHasABoxAndChoicesHaveTheirTexts) {
    const Stage stage;
    for (int pair = 1; pair <= 6; ++pair) {
        EXPECT_EQ(stage.box("pairs", pair).text(), pairLabels()[pair - 1]);
        EXPECT_TRUE(stage.box("pairs", pair).isChecked());
        EXPECT_EQ(groupTitleOf(&stage.box("pairs", pair)), QStringLiteral("Channel pairs"));
    }
    EXPECT_EQ(itemsOf(stage.choice("rateMode")), texts({"Per interval", "Per second"}));
    EXPECT_EQ(labelOf(stage.tab, stage.choice("rateMode")), QStringLiteral("Y value"));
    EXPECT_EQ(itemsOf(stage.choice("splitMode")), texts({"Vertical split", "Horizontal split"}));
    EXPECT_EQ(labelOf(stage.tab, stage.choice("splitMode")), QStringLiteral("Plot split"));
    EXPECT_EQ(stage.choice("rateMode").currentIndex(), 0);
    EXPECT_EQ(stage.choice("splitMode").currentIndex(), 0);
    EXPECT_EQ(stage.button("applyToAll").text(), QStringLiteral("Apply A/B to all pairs"));
}

TEST(MultiCorrelationControls, TwoPairsStandInARow) {
    Stage stage;
    QCoreApplication::processEvents();
    const auto at = [&](int pair) { return stage.box("pairs", pair).mapTo(&stage.tab, QPoint()); };
    for (int pair = 1; pair <= 6; pair += 2) {
        EXPECT_EQ(at(pair).y(), at(pair + 1).y());
        EXPECT_LT(at(pair).x(), at(pair + 1).x());
    }
    EXPECT_LT(at(1).y(), at(3).y());
    EXPECT_LT(at(3).y(), at(5).y());
}

TEST(MultiCorrelationControls, OneButtonCopiesTheWindowsToAllPairs) {
    Stage stage;
    stage.number("allCenterA").setValue(-2.5);
    stage.number("allWidthA").setValue(0.25);
    stage.number("allCenterB").setValue(7.125);
    stage.number("allWidthB").setValue(3);
    EXPECT_EQ(stage.number("centerA", 1).value(), 0.0) << "not by itself";
    stage.button("applyToAll").click();
    for (int pair = 1; pair <= 6; ++pair) {
        EXPECT_EQ(stage.number("centerA", pair).value(), -2.5);
        EXPECT_EQ(stage.number("widthA", pair).value(), 0.25);
        EXPECT_EQ(stage.number("centerB", pair).value(), 7.125);
        EXPECT_EQ(stage.number("widthB", pair).value(), 3.0);
    }
}

TEST(MultiCorrelationControls, TheSplitTurnsThePlots) {
    Stage stage;
    const auto* splitter = splitterAround(&stage.plot("histogramPlot"), Qt::Vertical);
    ASSERT_NE(splitter, nullptr);
    EXPECT_TRUE(splitter->isAncestorOf(&stage.plot("tracePlot")));
    stage.choose("splitMode", "Horizontal split");
    EXPECT_EQ(splitter->orientation(), Qt::Horizontal);
    stage.choose("splitMode", "Vertical split");
    EXPECT_EQ(splitter->orientation(), Qt::Vertical);
}

TEST(MultiCorrelationControls, BeginsIdleWithoutABanner) {
    Stage stage;
    EXPECT_EQ(stage.status(), QStringLiteral("idle"));
    const auto& status = control<QLabel>(stage.tab, QStringLiteral("status"));
    EXPECT_EQ(status.font().styleHint(), QFont::Monospace);
    const auto& banner = control<QLabel>(stage.tab, QStringLiteral("banner"));
    EXPECT_FALSE(banner.isVisible());
    EXPECT_EQ(banner.text(), QStringLiteral("Data reduction active"));
    EXPECT_EQ(banner.styleSheet(),
              QStringLiteral("QLabel { background:#332b12; color:#ffd166; border:1px solid #d09b2c; "
                             "padding:6px 8px; font-weight:600; }"));
    const auto y = [&](const QWidget& widget) { return widget.mapTo(&stage.tab, QPoint()).y(); };
    QCoreApplication::processEvents();
    EXPECT_GT(y(status), y(stage.plot("tracePlot")));
}

TEST(MultiCorrelationControls, HasAToolbarWithLogAndWithoutPlotControls) {
    const Stage stage;
    const QToolBar* toolbar = measurementToolbar(stage.tab);
    ASSERT_NE(toolbar, nullptr);
    EXPECT_NE(findAction(*toolbar, "Start log"), nullptr);
    EXPECT_EQ(findAction(*toolbar, "Drag zoom"), nullptr);
    EXPECT_EQ(findAction(*toolbar, "Split"), nullptr);
}

TEST(MultiCorrelationControls, ThePlotsBeginWithTheirLabels) {
    const Stage stage;
    EXPECT_EQ(shownBy(stage.plot("histogramPlot")).xLabel,
              QStringLiteral("Lag (ns), second input - first input"));
    EXPECT_EQ(shownBy(stage.plot("histogramPlot")).yLabel, QStringLiteral("Pairs / bin"));
    EXPECT_EQ(shownBy(stage.plot("tracePlot")).xLabel, QStringLiteral("Time (s)"));
    EXPECT_EQ(shownBy(stage.plot("tracePlot")).yLabel, QStringLiteral("Window events / interval"));
}

// --- configuration -----------------------------------------------------------------------------------------

const char* const kDefaults = R"({
    "pairs": [true, true, true, true, true, true], "rangeNs": 0.5, "binNs": 0.008, "gateSec": 0.1,
    "traceHistorySec": 10, "rateMode": "Per interval", "splitMode": "Vertical split",
    "windows": [
        {"a": {"centerNs": 0, "widthNs": 0.5}, "b": {"centerNs": 1, "widthNs": 0.5}},
        {"a": {"centerNs": 0, "widthNs": 0.5}, "b": {"centerNs": 1, "widthNs": 0.5}},
        {"a": {"centerNs": 0, "widthNs": 0.5}, "b": {"centerNs": 1, "widthNs": 0.5}},
        {"a": {"centerNs": 0, "widthNs": 0.5}, "b": {"centerNs": 1, "widthNs": 0.5}},
        {"a": {"centerNs": 0, "widthNs": 0.5}, "b": {"centerNs": 1, "widthNs": 0.5}},
        {"a": {"centerNs": 0, "widthNs": 0.5}, "b": {"centerNs": 1, "widthNs": 0.5}}],
    "offsetsEnabled": false, "offsetsNs": [0, 0, 0, 0]})";
const char* const kOthers = R"({
    "pairs": [false, true, false, true, true, false], "rangeNs": 1000000, "binNs": 0.25, "gateSec": 0.001,
    "traceHistorySec": 0.1, "rateMode": "Per second", "splitMode": "Horizontal split",
    "windows": [
        {"a": {"centerNs": -1, "widthNs": 0.001}, "b": {"centerNs": 11, "widthNs": 21}},
        {"a": {"centerNs": -2, "widthNs": 0.002}, "b": {"centerNs": 12, "widthNs": 22}},
        {"a": {"centerNs": -3, "widthNs": 0.003}, "b": {"centerNs": 13, "widthNs": 23}},
        {"a": {"centerNs": -4, "widthNs": 0.004}, "b": {"centerNs": 14, "widthNs": 24}},
        {"a": {"centerNs": -5, "widthNs": 0.005}, "b": {"centerNs": 15, "widthNs": 25}},
        {"a": {"centerNs": -6, "widthNs": 0.006}, "b": {"centerNs": 1000000, "widthNs": 1000000}}],
    "offsetsEnabled": true, "offsetsNs": [-1000000, 0.125, 3.5, 1000000]})";

TEST(MultiCorrelationConfig, HoldsEveryControlUnderItsKey) {
    Stage stage;
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kDefaults));
    stage.tab.loadConfig(parsedJson(kOthers));
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kOthers));
    EXPECT_FALSE(stage.box("pairs", 1).isChecked());
    EXPECT_TRUE(stage.box("pairs", 5).isChecked());
    EXPECT_EQ(stage.number("centerA", 3).value(), -3.0);
    EXPECT_EQ(stage.number("widthA", 3).value(), 0.003);
    EXPECT_EQ(stage.number("centerB", 3).value(), 13.0);
    EXPECT_EQ(stage.number("widthB", 6).value(), 1e6);
    EXPECT_EQ(stage.number("offsetsNs", 2).value(), 0.125);
    EXPECT_TRUE(stage.number("offsetsNs", 2).isEnabled());
    EXPECT_EQ(stage.choice("rateMode").currentText(), QStringLiteral("Per second"));
    EXPECT_NE(splitterAround(&stage.plot("histogramPlot"), Qt::Horizontal), nullptr);
    stage.tab.loadConfig(parsedJson(kDefaults));
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kDefaults));
    EXPECT_FALSE(stage.number("offsetsNs", 2).isEnabled());
}

TEST(MultiCorrelationConfig, MissingKeysAndStrangeValuesLeaveTheControlsAlone) {
    Stage stage;
    stage.tab.loadConfig(parsedJson(kOthers));
    stage.tab.loadConfig({});
    stage.tab.loadConfig(parsedJson(R"({
        "pairs": [1, "false"], "rangeNs": "5", "binNs": null, "gateSec": [], "traceHistorySec": {},
        "rateMode": "Per hour", "splitMode": 1, "offsetsEnabled": 0, "offsetsNs": [null, "1"],
        "windows": [5, {"a": 3, "b": {"centerNs": "1", "widthNs": null}}, {}], "unknown": 1})"));
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kOthers));
    stage.tab.loadConfig(parsedJson(R"({"pairs": true, "windows": {"a": 1}, "offsetsNs": 3})"));
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kOthers));
}

TEST(MultiCorrelationConfig, ShortArraysSetWhatTheyReach) {
    Stage stage;
    stage.tab.loadConfig(parsedJson(R"({"pairs": [true, false], "offsetsNs": [1, 2],
        "windows": [{"b": {"widthNs": 7}}, {"a": {"centerNs": 3}}]})"));
    EXPECT_FALSE(stage.box("pairs", 2).isChecked());
    EXPECT_TRUE(stage.box("pairs", 3).isChecked());
    EXPECT_EQ(stage.number("offsetsNs", 2).value(), 2.0);
    EXPECT_EQ(stage.number("offsetsNs", 3).value(), 0.0);
    EXPECT_EQ(stage.number("widthB", 1).value(), 7.0);
    EXPECT_EQ(stage.number("centerB", 1).value(), 1.0);
    EXPECT_EQ(stage.number("centerA", 2).value(), 3.0);
    EXPECT_EQ(stage.number("widthA", 2).value(), 0.5);
}

TEST(MultiCorrelationConfig, NumbersBeyondTheControlsAreClamped) {
    Stage stage;
    stage.tab.loadConfig(parsedJson(R"({"rangeNs": 1e300, "binNs": 1e300, "gateSec": 1e300,
        "traceHistorySec": 1e300, "offsetsNs": [1e300, -1e300],
        "windows": [{"a": {"centerNs": 1e300, "widthNs": 1e300}, "b": {"centerNs": -1e300, "widthNs": -1}}]})"));
    EXPECT_EQ(stage.number("rangeNs").value(), 1e6);
    EXPECT_EQ(stage.number("binNs").value(), 1e6);
    EXPECT_EQ(stage.number("gateSec").value(), 60.0);
    EXPECT_EQ(stage.number("traceHistorySec").value(), 3600.0);
    EXPECT_EQ(stage.number("offsetsNs", 1).value(), 1e6);
    EXPECT_EQ(stage.number("offsetsNs", 2).value(), -1e6);
    EXPECT_EQ(stage.number("centerA", 1).value(), 1e6);
    EXPECT_EQ(stage.number("widthA", 1).value(), 1e6);
    EXPECT_EQ(stage.number("centerB", 1).value(), -1e6);
    EXPECT_EQ(stage.number("widthB", 1).value(), 0.001);
    stage.tab.loadConfig(parsedJson(R"({"rangeNs": 0, "binNs": 0, "gateSec": 0, "traceHistorySec": -1})"));
    EXPECT_EQ(stage.number("rangeNs").value(), 0.01);
    EXPECT_EQ(stage.number("binNs").value(), 0.004);
    EXPECT_EQ(stage.number("gateSec").value(), 0.001);
    EXPECT_EQ(stage.number("traceHistorySec").value(), 0.1);
}

} // namespace
} // namespace qorn::testing
