// The Correlation tab's settings in configuration files, of this version and of older ones.
#include "CorrelationTabStage.h"

namespace qorn::testing {
namespace {

using Stage = CountingStage<timetagger::gui::CorrelationTab>;

const char* const kDefaults = R"json({
    "sourceChannel": 1, "targetChannel": 2, "rangeNs": 1, "binNs": 0.008,
    "analysisMode": "Peak / alignment", "fitEnabled": false, "fitMode": "Gaussian peak", "fitTerms": 1,
    "histogram": "Line", "normalize": "Counts", "viewIntegrated": true, "viewInstant": false,
    "instantWindowMs": 100, "viewParameters": false, "parameterMetric": "Peak center (ns)",
                  "parameterHistoryS" : 60, "offsetMode" : "Auto",
                  "manualOffsetNs" : 0,
                  "offsetSearchNs" : 100,
                  "traceHistoryS" : 10,
                  "viewCounts" : false
})json";
const char* const kOthers = R"json({
    "sourceChannel": 4, "targetChannel": 3, "rangeNs": 12.345, "binNs": 0.01,
    "analysisMode": "None", "fitEnabled": true, "fitMode": "Lorentzian peak", "fitTerms": 3,
    "histogram": "Bars", "normalize": "g2(tau)", "viewIntegrated": false, "viewInstant": true,
    "instantWindowMs": 12.25, "viewParameters": true, "parameterMetric": "g2(0)",
    "parameterHistoryS": 33.5, "offsetMode": "Manual", "manualOffsetNs": -5.5, "offsetSearchNs": 77.125,
    "traceHistoryS": 44.5, "viewCounts": false
})json";

TEST(CorrelationConfig, HoldsEveryControlUnderItsKey) {
    Stage stage;
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kDefaults));
    stage.tab.loadConfig(parsedJson(kOthers));
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kOthers));
    EXPECT_EQ(stage.integer("sourceChannel").value(), 4);
    EXPECT_EQ(stage.number("rangeNs").value(), 12.345);
    EXPECT_EQ(stage.choice("analysisMode").currentText(), QStringLiteral("None"));
    EXPECT_EQ(stage.choice("histogram").currentText(), QStringLiteral("Bars"));
    EXPECT_EQ(stage.number("manualOffsetNs").value(), -5.5);
    EXPECT_EQ(stage.number("traceHistoryS").value(), 44.5);
    EXPECT_FALSE(stage.plot("integratedPlot").isVisible());
    EXPECT_TRUE(stage.plot("instantPlot").isVisible());
    EXPECT_TRUE(stage.plot("tracePlot").isVisible());
    EXPECT_TRUE(stage.choice("parameterMetric").isEnabled());
    stage.tab.loadConfig(parsedJson(kDefaults));
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kDefaults));
    EXPECT_TRUE(stage.plot("integratedPlot").isVisible());
    EXPECT_FALSE(stage.plot("instantPlot").isVisible());
}

TEST(CorrelationConfig, WhatIsLoadedIsInForce) {
    CorrelationStage stage(R"({"sourceChannel": 4, "targetChannel": 3, "rangeNs": 2, "binNs": 0.1,
                               "analysisMode": "None", "histogram": "Bars"})");
    stage.show({{3, 0}, {2, 1500}});
    const ShownPlot shown = stage.integrated();
    ASSERT_EQ(shown.barHeights.size(), 41);
    EXPECT_EQ(shown.barHeights[35], 1.0);
    EXPECT_EQ(stage.stat(6), statRow("Mode", QStringLiteral("integrated universal")));
}

TEST(CorrelationConfig, MissingKeysAndStrangeValuesLeaveTheControlsAlone) {
    Stage stage;
    stage.tab.loadConfig(parsedJson(kOthers));
    stage.tab.loadConfig(parsedJson(R"({
        "viewIntegrated": false, "viewInstant": true, "viewParameters": true,
        "sourceChannel": "2", "targetChannel": null, "rangeNs": "5", "binNs": [1], "analysisMode": "Nothing",
        "fitEnabled": 0, "fitMode": 2, "fitTerms": true, "histogram": "line", "normalize": "",
        "instantWindowMs": {}, "parameterMetric": "Peak", "parameterHistoryS": "7",
        "offsetMode": "auto", "manualOffsetNs": null, "offsetSearchNs": "x", "traceHistoryS": [],
        "unknown": 3})"));
    EXPECT_EQ(stage.tab.saveConfig(), parsedJson(kOthers));
}

TEST(CorrelationConfig, NumbersBeyondTheControlsAreClamped) {
    Stage stage;
    stage.tab.loadConfig(parsedJson(R"({"sourceChannel": 7, "targetChannel": -3, "rangeNs": 1e300,
        "binNs": 1e300, "fitTerms": 9, "instantWindowMs": 1e300, "parameterHistoryS": 1e300,
        "manualOffsetNs": 1e300, "offsetSearchNs": 1e300, "traceHistoryS": 1e300})"));
    QJsonObject saved = stage.tab.saveConfig();
    for (const auto& [key, value] : {std::pair{"sourceChannel", 4.0},
                                     {"targetChannel", 1.0},
                                     {"rangeNs", 1e9},
                                     {"binNs", 1000.0},
                                     {"fitTerms", 3.0},
                                     {"instantWindowMs", 60000.0},
                                     {"parameterHistoryS", 3600.0},
                                     {"manualOffsetNs", 1e9},
                                     {"offsetSearchNs", 1e9},
                                     {"traceHistoryS", 3600.0}}) {
        EXPECT_EQ(saved.value(QLatin1String(key)).toDouble(), value) << key;
    }
    stage.tab.loadConfig(parsedJson(R"({"rangeNs": 0, "binNs": 0.001, "fitTerms": 0, "instantWindowMs": -1,
        "parameterHistoryS": 0, "manualOffsetNs": -1e300, "offsetSearchNs": 0, "traceHistoryS": 0})"));
    saved = stage.tab.saveConfig();
    for (const auto& [key, value] : {std::pair{"rangeNs", 0.01},
                                     {"binNs", 0.004},
                                     {"fitTerms", 1.0},
                                     {"instantWindowMs", 0.01},
                                     {"parameterHistoryS", 1.0},
                                     {"manualOffsetNs", -1e9},
                                     {"offsetSearchNs", 0.001},
                                     {"traceHistoryS", 1.0}}) {
        EXPECT_EQ(saved.value(QLatin1String(key)).toDouble(), value) << key;
    }
}

TEST(CorrelationConfig, CombinationsAreForcedOnWhatIsLoadedToo) {
    Stage stage;
    stage.tab.loadConfig(parsedJson(
        R"({"analysisMode": "Photon antibunching", "normalize": "Counts", "fitMode": "Gaussian peak"})"));
    EXPECT_EQ(stage.choice("normalize").currentText(), QStringLiteral("g2(tau)"));
    EXPECT_EQ(stage.choice("fitMode").currentText(), QStringLiteral("g2 exponential"));
    EXPECT_FALSE(stage.choice("offsetMode").isEnabled());
    stage.tab.loadConfig(parsedJson(
        R"({"analysisMode": "Peak / alignment", "normalize": "Counts", "fitMode": "Lifetime exponential"})"));
    EXPECT_EQ(stage.choice("normalize").currentText(), QStringLiteral("Counts"));
    EXPECT_EQ(stage.choice("fitMode").currentText(), QStringLiteral("Gaussian peak"));
    EXPECT_TRUE(stage.choice("offsetMode").isEnabled());
}

TEST(CorrelationConfig, CountTracesAreNeverSavedAsShown) {
    Stage stage;
    stage.tab.loadConfig(parsedJson(R"({"viewCounts": true})"));
    EXPECT_EQ(stage.tab.saveConfig().value(QStringLiteral("viewCounts")), QJsonValue(false));
    EXPECT_FALSE(stage.plot("countPlot").isVisible());
}

// --- older files -------------------------------------------------------------------------------------------

struct ViewsRow {
    const char* name;
    const char* file;
    bool integrated;
    bool instant;
    bool trace;
};

void PrintTo(const ViewsRow& row, std::ostream* out) {
    *out << row.name;
}

class CorrelationOlderViews : public ::testing::TestWithParam<ViewsRow> {};

TEST_P(CorrelationOlderViews, AreReadFromTheKeysThatAFileHas) {
    const ViewsRow& row = GetParam();
    Stage stage;
    stage.tab.loadConfig(parsedJson(row.file));
    EXPECT_EQ(stage.box("viewIntegrated").isChecked(), row.integrated);
    EXPECT_EQ(stage.box("viewInstant").isChecked(), row.instant);
    EXPECT_EQ(stage.box("viewParameters").isChecked(), row.trace);
    EXPECT_EQ(stage.plot("integratedPlot").isVisible(), row.integrated);
    EXPECT_EQ(stage.plot("instantPlot").isVisible(), row.instant);
    EXPECT_EQ(stage.plot("tracePlot").isVisible(), row.trace);
    EXPECT_EQ(stage.number("instantWindowMs").isEnabled(), row.instant);
    EXPECT_EQ(stage.choice("parameterMetric").isEnabled(), row.trace);
}

INSTANTIATE_TEST_SUITE_P(
    Files, CorrelationOlderViews,
    ::testing::Values(
        ViewsRow{"Nothing", "{}", true, false, false},
        ViewsRow{"RealTime", R"({"acquire": "Real-time"})", false, true, false},
        ViewsRow{"OtherText", R"({"acquire": "Integrated"})", true, false, false},
        ViewsRow{"TextInAnotherCase", R"({"acquire": "real-time"})", true, false, false},
        ViewsRow{"ViewKeysWin", R"({"acquire": "Real-time", "viewIntegrated": true})", true, false, false},
        ViewsRow{"CountTracesAreASignOfViewKeys", R"({"acquire": "Real-time", "viewCounts": true})", true,
                 false, false},
        ViewsRow{"CountTracesOffAreASignToo", R"({"acquire": "Real-time", "viewCounts": false})", true, false,
                 false},
        ViewsRow{"MissingViewKeys", R"({"acquire": "Real-time", "viewParameters": true})", true, false, true},
        ViewsRow{"AllViewKeys", R"({"viewIntegrated": false, "viewInstant": true, "viewParameters": true})",
                 false, true, true}),
    [](const auto& test) { return test.param.name; });

TEST(CorrelationOlderFiles, AcquireTurnsTheTraceOff) {
    Stage stage;
    for (const char* file : {R"({"acquire": "Real-time"})", R"({"acquire": "Integrated"})"}) {
        stage.box("viewParameters").setChecked(true);
        stage.box("viewInstant").setChecked(true);
        stage.box("viewIntegrated").setChecked(true);
        stage.tab.loadConfig(parsedJson(file));
        EXPECT_FALSE(stage.box("viewParameters").isChecked());
        EXPECT_NE(stage.box("viewInstant").isChecked(), stage.box("viewIntegrated").isChecked());
    }
}

TEST(CorrelationOlderFiles, TheFluorescenceLifetimeIsTheLifetimeDecayFit) {
    Stage stage;
    stage.tab.loadConfig(parsedJson(R"({"analysisMode": "Fluorescence lifetime"})"));
    EXPECT_EQ(stage.choice("analysisMode").currentText(), QStringLiteral("Lifetime decay fit"));
    EXPECT_EQ(stage.choice("fitMode").currentText(), QStringLiteral("Lifetime exponential"));
    EXPECT_EQ(stage.tab.saveConfig().value(QStringLiteral("analysisMode")).toString(),
              QStringLiteral("Lifetime decay fit"));
}

} // namespace
} // namespace qorn::testing
