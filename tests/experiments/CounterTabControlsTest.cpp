// The Counter tab as it stands: controls, plots, their lay-out, and the settings in configuration files.
#include "CounterTab.h"
#include "CountingStage.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QVBoxLayout>

namespace qorn::testing {
namespace {

using timetagger::gui::BarChartWidget;
using Stage = CountingStage<timetagger::gui::CounterTab>;

QJsonObject json(const char* text) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << text;
    return document.object();
}

TEST(CounterControls, AnswersWhatTheBaseAsks) {
    const Stage stage;
    EXPECT_EQ(stage.tab.experimentType(), QStringLiteral("Counter"));
    EXPECT_EQ(stage.tab.plotWidget(), &stage.plot("tracePlot"));
    EXPECT_TRUE(stage.tab.supportsLogging());
    EXPECT_EQ(stage.tab.logFileStem(), QStringLiteral("Counter"));
    EXPECT_EQ(stage.tab.logFileExtension(), QStringLiteral("csv"));
    EXPECT_EQ(stage.tab.logCsvHeader(), texts({"sample", "elapsed_s", "gate_s", "ch1_count", "ch2_count",
                                               "ch3_count", "ch4_count", "total_count", "period_cycles"}));
}

TEST(CounterControls, SpinBoxesHaveTheirRangesStepsAndDefaults) {
    const Stage stage;
    for (const SpinRow& row : {
             SpinRow{"integrationSec", 0, "Acquisition", "Integration", 0.001, 60, 3, 0.1, " s", 0.1,
                     nullptr},
             SpinRow{"timeWindowSec", 0, "Histogram", "Time window", 0.1, 3600, 1, 1, " s", 10, nullptr},
             SpinRow{"yMin", 0, "Y axis", "Min", -1e9, 1e9, 2, 0, "", 0, nullptr},
             SpinRow{"yMax", 0, "Y axis", "Max", -1e9, 1e9, 2, 0, "", 1000, nullptr},
             SpinRow{"coincidenceWindowNs", 0, "Coincidences", nullptr, 0, 1e9, 6, 0.1, " ns", 10,
                     "Global value copied to every selected pair window."},
             SpinRow{"coincidenceHistorySec", 0, "Coincidences", "Trace window", 0.1, 3600, 1, 1, " s", 10,
                     nullptr},
         }) {
        expectSpinBox(stage.tab, row);
    }
    const auto& bins = stage.integer("historyBins");
    EXPECT_EQ(bins.minimum(), 10);
    EXPECT_EQ(bins.maximum(), 10000);
    EXPECT_EQ(bins.value(), 100);
    EXPECT_EQ(groupTitleOf(&bins), QStringLiteral("Histogram"));
}

TEST(CounterControls, EachPairHasAWindowAndEachInputAnOffset) {
    const Stage stage;
    const char* const kPairTips[] = {
        "Coincidence full-width window for C 1-2.", "Coincidence full-width window for C 1-3.",
        "Coincidence full-width window for C 1-4.", "Coincidence full-width window for C 2-3.",
        "Coincidence full-width window for C 2-4.", "Coincidence full-width window for C 3-4."};
    for (int pair = 1; pair <= 6; ++pair) {
        expectSpinBox(stage.tab, {"coincidencePairWindowsNs", pair, "Coincidences", nullptr, 0, 1e9, 6, 0.1,
                                  " ns", 10, kPairTips[pair - 1]});
        EXPECT_TRUE(stage.box("coincidencePairs", pair).isChecked());
        EXPECT_EQ(groupTitleOf(&stage.box("coincidencePairs", pair)), QStringLiteral("Coincidences"));
    }
    const char* const kInputs[] = {"Ch 1", "Ch 2", "Ch 3", "Ch 4"};
    for (int input = 1; input <= 4; ++input) {
        expectSpinBox(stage.tab, {"coincidenceOffsetsNs", input, "Coincidences", kInputs[input - 1], -1e9,
                                  1e9, 6, 0.1, " ns", 0, nullptr});
    }
}

TEST(CounterControls, ChoicesOfferTheirTexts) {
    const Stage stage;
    struct Row {
        const char* name;
        const char* group;
        QStringList items;
    };
    for (const Row& row : {
             Row{"rateMode", "Acquisition", texts({"Per interval", "Per second"})},
             Row{"display", "Histogram", texts({"Time (s)", "Bins"})},
             Row{"yAxisMode", "Y axis", texts({"Zero minimum", "Auto", "Custom"})},
             Row{"coincidenceSplit", "Coincidences", texts({"Vertical split", "Horizontal split"})},
         }) {
        EXPECT_EQ(itemsOf(stage.choice(row.name)), row.items) << row.name;
        EXPECT_EQ(stage.choice(row.name).currentIndex(), 0) << row.name;
        EXPECT_EQ(groupTitleOf(&stage.choice(row.name)), QString::fromUtf8(row.group)) << row.name;
    }
}

TEST(CounterControls, BoxesAndButtonsHaveTheirTextsAndToolTips) {
    const Stage stage;
    struct Row {
        const char* name;
        const char* text;
        const char* toolTip;
    };
    for (const Row& row : {
             Row{"showHistogram", "Show count histogram",
                 "Show the count distribution next to the live count traces."},
             Row{"showStats", "Per-channel statistics",
                 "Show running mean, max and standard deviation of the per-interval counts on each channel."},
             Row{"showMaxMarkers", "Show max markers",
                 "Draw a small colored marker on the Y axis at each channel's best value since reset."},
             Row{"coincidenceEnabled", "Enable coincidence traces",
                 "When enabled, this counter view streams time tags and computes counter traces plus "
                 "timestamp-window coincidences from the same data."},
             Row{"coincidenceOffsetsEnabled", "Enable software offsets",
                 "Apply the per-channel timestamp offsets below before coincidence tests."},
         }) {
        EXPECT_EQ(stage.box(row.name).text(), QString::fromUtf8(row.text));
        EXPECT_EQ(stage.box(row.name).toolTip(), QString::fromUtf8(row.toolTip));
        EXPECT_FALSE(stage.box(row.name).isChecked()) << row.name;
    }
    EXPECT_EQ(stage.button("resetMax").text(), QStringLiteral("Reset max"));
    EXPECT_EQ(stage.button("resetMax").toolTip(),
              QStringLiteral("Clear the per-channel max; mean and std keep accumulating."));
    EXPECT_EQ(stage.button("applyToAll").text(), QStringLiteral("Apply to all"));
    for (int input = 1; input <= 4; ++input) {
        EXPECT_EQ(stage.box("channels", input).text(), QStringLiteral("Ch %1").arg(input));
        EXPECT_TRUE(stage.box("channels", input).isChecked());
        EXPECT_EQ(groupTitleOf(&stage.box("channels", input)), QStringLiteral("Channels"));
    }
}

TEST(CounterControls, BeginsIdleInMonospace) {
    const Stage stage;
    EXPECT_EQ(stage.status(), QStringLiteral("idle"));
    const auto& label = control<QLabel>(stage.tab, QStringLiteral("status"));
    EXPECT_EQ(label.font().styleHint(), QFont::Monospace);
}

TEST(CounterControls, YLimitsAreOpenToChangeInTheCustomModeOnly) {
    const Stage stage;
    for (const auto& [mode, open] : {std::pair{"Auto", false}, {"Custom", true}, {"Zero minimum", false}}) {
        stage.choose("yAxisMode", mode);
        EXPECT_EQ(stage.number("yMin").isEnabled(), open) << mode;
        EXPECT_EQ(stage.number("yMax").isEnabled(), open) << mode;
    }
}

TEST(CounterControls, ApplyToAllCopiesTheWindowToThePairs) {
    const Stage stage;
    stage.box("coincidenceEnabled").setChecked(true);
    stage.number("coincidenceWindowNs").setValue(2.5);
    EXPECT_EQ(stage.number("coincidencePairWindowsNs", 1).value(), 10.0) << "not by itself";
    stage.button("applyToAll").click();
    for (int pair = 1; pair <= 6; ++pair) {
        EXPECT_EQ(stage.number("coincidencePairWindowsNs", pair).value(), 2.5) << pair;
    }
}

TEST(CounterControls, PlotsHaveTheirSizesLabelsAndFirstRanges) {
    Stage stage;
    stage.box("showHistogram").setChecked(true);
    auto& trace = stage.plot("tracePlot");
    EXPECT_EQ(trace.minimumSize(), QSize(320, 220));
    EXPECT_EQ(shownBy(trace).xLabel, QStringLiteral("Time (s)"));
    EXPECT_EQ(shownBy(trace).yLabel, QStringLiteral("Counts / interval"));
    expectRange(xRangeOf(trace), 0, 10, "trace x");
    expectRange(yRangeOf(trace), 0, 1, "trace y");
    auto& histogram = stage.plot("histogramPlot");
    EXPECT_EQ(histogram.minimumSize(), QSize(320, 180));
    EXPECT_EQ(shownBy(histogram).xLabel, QStringLiteral("Counts / interval"));
    EXPECT_EQ(shownBy(histogram).yLabel, QStringLiteral("Samples / bin"));
    expectRange(xRangeOf(histogram), 0, 1, "histogram x");
    expectRange(yRangeOf(histogram), 0, 1, "histogram y");
    stage.box("coincidenceEnabled").setChecked(true);
    auto& pairs = stage.plot("coincidenceTracePlot");
    EXPECT_EQ(shownBy(pairs).xLabel, QStringLiteral("Time (s)"));
    EXPECT_EQ(shownBy(pairs).yLabel, QStringLiteral("Coincidence rate (Hz)"));
    expectRange(yRangeOf(pairs), 0, 1, "pairs y");
}

TEST(CounterControls, PlotsStandUnderTheirCaptionsInASplitterThatCannotCollapse) {
    Stage stage;
    struct Row {
        const char* plot;
        const char* caption;
        int stretch;
    };
    for (const Row& row : {Row{"tracePlot", "Counter trace", 2}, Row{"histogramPlot", "Count histogram", 1},
                           Row{"coincidenceTracePlot", "Coincidence trace", 1}}) {
        SCOPED_TRACE(row.plot);
        BarChartWidget& plot = stage.plot(row.plot);
        QWidget* column = plot.parentWidget();
        QLabel* caption = nullptr;
        for (QLabel* label : column->findChildren<QLabel*>(QStringLiteral("Muted"))) {
            caption = label->text() == QString::fromUtf8(row.caption) ? label : caption;
        }
        ASSERT_NE(caption, nullptr);
        ASSERT_NE(column->layout(), nullptr);
        EXPECT_EQ(column->layout()->contentsMargins(), QMargins());
        EXPECT_EQ(column->layout()->spacing(), 4);
        EXPECT_LT(column->layout()->indexOf(caption), column->layout()->indexOf(&plot));
        const QSplitter* splitter = splitterAround(&plot, Qt::Vertical);
        ASSERT_NE(splitter, nullptr);
        EXPECT_FALSE(splitter->childrenCollapsible());
        EXPECT_EQ(column->sizePolicy().verticalStretch(), row.stretch);
    }
}

TEST(CounterControls, TheColumnOfControlsKeepsItsWidthBesideThePlots) {
    Stage stage;
    const QSplitter* splitter = splitterAround(&stage.number("integrationSec"), Qt::Horizontal);
    ASSERT_NE(splitter, nullptr);
    ASSERT_EQ(splitter->count(), 2);
    EXPECT_EQ(splitter->widget(0)->minimumWidth(), 290);
    EXPECT_EQ(splitter->widget(0)->sizePolicy().horizontalStretch(), 0);
    EXPECT_EQ(splitter->widget(1)->sizePolicy().horizontalStretch(), 1);
    EXPECT_TRUE(splitter->widget(0)->isAncestorOf(&stage.number("integrationSec")));
    EXPECT_TRUE(splitter->widget(1)->isAncestorOf(&stage.plot("tracePlot")));
}

TEST(CounterControls, HistogramAndCoincidencesAreShownOnDemand) {
    Stage stage;
    EXPECT_TRUE(stage.plot("tracePlot").isVisible());
    EXPECT_FALSE(stage.plot("histogramPlot").isVisible());
    EXPECT_FALSE(stage.plot("coincidenceTracePlot").isVisible());
    stage.box("showHistogram").setChecked(true);
    EXPECT_TRUE(stage.plot("histogramPlot").isVisible());
    stage.box("showHistogram").setChecked(false);
    EXPECT_FALSE(stage.plot("histogramPlot").isVisible());
    const QList<QWidget*> controls{&stage.number("coincidenceWindowNs"),
                                   &stage.button("applyToAll"),
                                   &stage.number("coincidencePairWindowsNs", 6),
                                   &stage.box("coincidenceOffsetsEnabled"),
                                   &stage.number("coincidenceOffsetsNs", 1),
                                   &stage.box("coincidencePairs", 1),
                                   &stage.choice("coincidenceSplit"),
                                   &stage.number("coincidenceHistorySec"),
                                   &stage.plot("coincidenceTracePlot")};
    for (const bool shown : {false, true, false}) {
        stage.box("coincidenceEnabled").setChecked(shown);
        EXPECT_TRUE(stage.box("coincidenceEnabled").isVisibleTo(&stage.tab));
        for (const QWidget* widget : controls) {
            EXPECT_EQ(widget->isVisibleTo(&stage.tab), shown) << widget->objectName().toStdString();
        }
    }
}

TEST(CounterControls, ThePlotSplitTurnsTheSplitter) {
    Stage stage;
    stage.box("coincidenceEnabled").setChecked(true);
    const QWidget* column = stage.plot("coincidenceTracePlot").parentWidget();
    const auto* splitter = qobject_cast<QSplitter*>(column->parentWidget());
    ASSERT_NE(splitter, nullptr);
    EXPECT_EQ(splitter->orientation(), Qt::Vertical);
    stage.choose("coincidenceSplit", "Horizontal split");
    EXPECT_EQ(splitter->orientation(), Qt::Horizontal);
    stage.choose("coincidenceSplit", "Vertical split");
    EXPECT_EQ(splitter->orientation(), Qt::Vertical);
}

TEST(CounterControls, HasAToolbarWithPlotControlsAndWithoutSplit) {
    const Stage stage;
    const QToolBar* toolbar = measurementToolbar(stage.tab);
    ASSERT_NE(toolbar, nullptr);
    EXPECT_NE(findAction(*toolbar, "Drag zoom"), nullptr);
    EXPECT_NE(findAction(*toolbar, "Start log"), nullptr);
    EXPECT_EQ(findAction(*toolbar, "Split"), nullptr);
}

// --- acquisition -------------------------------------------------------------------------------------------

TEST(CounterControls, TheGateIsTheIntegration) {
    Stage stage;
    EXPECT_DOUBLE_EQ(stage.tab.gateSeconds(), 0.1);
    stage.number("integrationSec").setValue(0.001);
    EXPECT_DOUBLE_EQ(stage.tab.gateSeconds(), 0.001);
    EXPECT_DOUBLE_EQ(stage.tab.acquisitionRequest(false).gateSeconds, 0.001);
}

TEST(CounterControls, CoincidencesNeedTheTagStream) {
    Stage stage;
    EXPECT_FALSE(stage.tab.requiresTagStreaming());
    stage.box("coincidenceEnabled").setChecked(true);
    EXPECT_TRUE(stage.tab.coincidenceEnabled());
    EXPECT_TRUE(stage.tab.requiresTagStreaming());
    stage.box("coincidenceEnabled").setChecked(false);
    EXPECT_FALSE(stage.tab.requiresTagStreaming());
}

TEST(CounterControls, TheMaskCoversTheInputsShownAndThoseOfThePairsCounted) {
    struct Row {
        QList<int> channels; // from 1
        QList<int> pairs;    // from 1
        quint8 mask;
        quint8 maskWithPairs;
    };
    for (const Row& row :
         {Row{{1, 2, 3, 4}, {1, 2, 3, 4, 5, 6}, 15, 15}, Row{{1}, {}, 1, 1}, Row{{2}, {6}, 2, 14},
          Row{{}, {3}, 0, 9}, Row{{1, 3}, {2}, 5, 5}, Row{{4}, {1, 4}, 8, 15}}) {
        Stage stage;
        for (int input = 1; input <= 4; ++input) {
            stage.box("channels", input).setChecked(row.channels.contains(input));
        }
        for (int pair = 1; pair <= 6; ++pair) {
            stage.box("coincidencePairs", pair).setChecked(row.pairs.contains(pair));
        }
        EXPECT_EQ(stage.tab.channelMask(), row.mask);
        stage.box("coincidenceEnabled").setChecked(true);
        EXPECT_EQ(stage.tab.channelMask(), row.maskWithPairs);
        EXPECT_EQ(stage.tab.acquisitionRequest(true).channelMask, row.maskWithPairs);
        QList<int> selected;
        for (const int input : row.channels) {
            selected.append(input - 1);
        }
        EXPECT_EQ(stage.tab.selectedChannels(), selected);
    }
}

// --- configuration -----------------------------------------------------------------------------------------

const char* const kDefaults = R"json({
    "channels": [0, 1, 2, 3], "showHistogram": false, "display": "Time (s)", "historyBins": 100,
    "timeWindowSec": 10.0, "rateMode": "Per interval", "integrationSec": 0.1,
    "yAxisMode": "Zero minimum", "yMin": 0.0, "yMax": 1000.0, "showStats": false, "showMaxMarkers": false,
    "coincidenceEnabled": false, "coincidenceWindowNs": 10.0,
    "coincidencePairWindowsNs": [10.0, 10.0, 10.0, 10.0, 10.0, 10.0], "coincidenceHistorySec": 10.0,
    "coincidenceSplit": "Vertical split", "coincidenceOffsetsEnabled": false,
    "coincidenceOffsetsNs": [0.0, 0.0, 0.0, 0.0],
    "coincidencePairs": [true, true, true, true, true, true]})json";

const char* const kOthers = R"json({
    "channels": [1, 3], "showHistogram": true, "display": "Bins", "historyBins": 777,
    "timeWindowSec": 55.5, "rateMode": "Per second", "integrationSec": 2.125,
    "yAxisMode": "Custom", "yMin": -12.25, "yMax": 99.5, "showStats": true, "showMaxMarkers": true,
    "coincidenceEnabled": true, "coincidenceWindowNs": 4.000001,
    "coincidencePairWindowsNs": [1.5, 2.5, 3.5, 4.5, 5.5, 0.0], "coincidenceHistorySec": 3600.0,
    "coincidenceSplit": "Horizontal split", "coincidenceOffsetsEnabled": true,
    "coincidenceOffsetsNs": [-1.25, 0.000001, 7.0, -1e9],
    "coincidencePairs": [true, false, true, false, false, true]})json";

TEST(CounterConfig, HoldsEveryControlUnderItsKey) {
    Stage stage;
    EXPECT_EQ(stage.tab.saveConfig(), json(kDefaults));
    stage.tab.loadConfig(json(kOthers));
    EXPECT_EQ(stage.tab.saveConfig(), json(kOthers));
    EXPECT_FALSE(stage.box("channels", 1).isChecked());
    EXPECT_TRUE(stage.box("channels", 2).isChecked());
    EXPECT_TRUE(stage.box("channels", 4).isChecked());
    EXPECT_EQ(stage.choice("rateMode").currentText(), QStringLiteral("Per second"));
    EXPECT_EQ(stage.number("coincidencePairWindowsNs", 5).value(), 5.5);
    EXPECT_EQ(stage.number("coincidenceOffsetsNs", 4).value(), -1e9);
    EXPECT_FALSE(stage.box("coincidencePairs", 5).isChecked());
    EXPECT_TRUE(stage.number("yMin").isEnabled());
    EXPECT_TRUE(stage.plot("histogramPlot").isVisible());
    EXPECT_TRUE(stage.plot("coincidenceTracePlot").isVisible());
    stage.tab.loadConfig(json(kDefaults));
    EXPECT_EQ(stage.tab.saveConfig(), json(kDefaults));
}

TEST(CounterConfig, FollowsTheControls) {
    Stage stage;
    stage.number("integrationSec").setValue(0.25);
    stage.box("channels", 1).setChecked(false);
    stage.box("coincidencePairs", 2).setChecked(false);
    stage.number("coincidenceOffsetsNs", 3).setValue(-0.5);
    QJsonObject expected = json(kDefaults);
    const QJsonObject changes = json(R"({"integrationSec": 0.25, "channels": [1, 2, 3],
        "coincidencePairs": [true, false, true, true, true, true], "coincidenceOffsetsNs": [0, 0, -0.5, 0]})");
    for (auto change = changes.begin(); change != changes.end(); ++change) {
        expected.insert(change.key(), change.value());
    }
    EXPECT_EQ(stage.tab.saveConfig(), expected);
}

TEST(CounterConfig, MissingKeysAndStrangeValuesLeaveTheControlsAlone) {
    for (const char* const strange : {
             "{}",
             R"({"unknown": 5})",
             R"({"channels": 3, "showHistogram": "yes", "display": "Furlongs", "historyBins": "12"})",
             R"({"timeWindowSec": "5", "rateMode": "per hour", "integrationSec": null, "yAxisMode": 2})",
             R"({"yMin": true, "yMax": [], "showStats": 1, "showMaxMarkers": null})",
             R"({"coincidenceEnabled": 0, "coincidenceWindowNs": {}, "coincidencePairWindowsNs": 4})",
             R"({"coincidenceHistorySec": false, "coincidenceSplit": "", "coincidenceOffsetsEnabled": "x"})",
             R"({"coincidenceOffsetsNs": {}, "coincidencePairs": true})",
             R"({"coincidencePairWindowsNs": [], "coincidenceOffsetsNs": [], "coincidencePairs": []})",
             R"({"coincidencePairWindowsNs": ["a", null], "coincidencePairs": [1, "b"]})",
         }) {
        Stage stage;
        stage.tab.loadConfig(json(kOthers));
        stage.tab.loadConfig(json(strange));
        EXPECT_EQ(stage.tab.saveConfig(), json(kOthers)) << strange;
    }
}

TEST(CounterConfig, NumbersAreClampedByTheirControls) {
    Stage stage;
    stage.tab.loadConfig(json(R"({"historyBins": 1, "timeWindowSec": 1e7, "integrationSec": 0,
        "yMin": -1e12, "yMax": 1e300, "coincidenceWindowNs": -4, "coincidenceHistorySec": -1,
        "coincidencePairWindowsNs": [-1, 2e9], "coincidenceOffsetsNs": [-2e9, 2e9]})"));
    EXPECT_EQ(stage.integer("historyBins").value(), 10);
    EXPECT_EQ(stage.number("timeWindowSec").value(), 3600.0);
    EXPECT_EQ(stage.number("integrationSec").value(), 0.001);
    EXPECT_EQ(stage.number("yMin").value(), -1e9);
    EXPECT_EQ(stage.number("yMax").value(), 1e9);
    EXPECT_EQ(stage.number("coincidenceWindowNs").value(), 0.0);
    EXPECT_EQ(stage.number("coincidenceHistorySec").value(), 0.1);
    EXPECT_EQ(stage.number("coincidencePairWindowsNs", 1).value(), 0.0);
    EXPECT_EQ(stage.number("coincidencePairWindowsNs", 2).value(), 1e9);
    EXPECT_EQ(stage.number("coincidenceOffsetsNs", 1).value(), -1e9);
    EXPECT_EQ(stage.number("coincidenceOffsetsNs", 2).value(), 1e9);
    EXPECT_DOUBLE_EQ(stage.tab.gateSeconds(), 0.001);
    EXPECT_EQ(stage.tab.saveConfig().value(QStringLiteral("historyBins")), QJsonValue(10));
}

TEST(CounterConfig, ShortArraysLeaveTheRestAndAnEmptyChannelListIsTaken) {
    Stage stage;
    stage.tab.loadConfig(json(R"({"coincidencePairWindowsNs": [1, 2], "coincidenceOffsetsNs": [3],
        "coincidencePairs": [false, false, false], "channels": []})"));
    const QJsonObject saved = stage.tab.saveConfig();
    EXPECT_EQ(saved.value(QStringLiteral("coincidencePairWindowsNs")),
              QJsonValue(QJsonArray{1.0, 2.0, 10.0, 10.0, 10.0, 10.0}));
    EXPECT_EQ(saved.value(QStringLiteral("coincidenceOffsetsNs")),
              QJsonValue(QJsonArray{3.0, 0.0, 0.0, 0.0}));
    EXPECT_EQ(saved.value(QStringLiteral("coincidencePairs")),
              QJsonValue(QJsonArray{false, false, false, true, true, true}));
    EXPECT_EQ(saved.value(QStringLiteral("channels")), QJsonValue(QJsonArray()));
    EXPECT_EQ(stage.tab.selectedChannels(), QList<int>());
}

TEST(CounterConfig, ALoadedIntegrationIsANewOne) {
    Stage stage;
    stage.tab.onCounterSample({});
    stage.tab.loadConfig(json(R"({"integrationSec": 0.5})"));
    EXPECT_EQ(stage.status(), QStringLiteral("integration 0.500 s"));
    EXPECT_EQ(shownBy(stage.plot("tracePlot")).points(), 0);
}

} // namespace
} // namespace qorn::testing
