// The Correlation tab as it stands: controls, which of them are open to change, and the plots.
#include "CorrelationTabStage.h"

namespace qorn::testing {
namespace {

using timetagger::gui::AcquisitionRequest;
using timetagger::gui::CorrelationTab;
using Stage = CountingStage<CorrelationTab>;

TEST(CorrelationControls, AnswersWhatTheBaseAsks) {
    const Stage stage;
    EXPECT_EQ(stage.tab.experimentType(), QStringLiteral("Correlation"));
    EXPECT_TRUE(stage.tab.supportsLogging());
    EXPECT_TRUE(stage.tab.requiresTagStreaming());
    EXPECT_EQ(stage.tab.logFileStem(), QStringLiteral("Correlation"));
    EXPECT_EQ(stage.tab.logFileExtension(), QStringLiteral("csv"));
    EXPECT_EQ(stage.tab.logCsvHeader(),
              texts({"sample", "tag_span_s", "source_channel", "target_channel", "source_tags", "target_tags",
                     "integrated_histogram_entries", "offset_ps", "bin_ps", "range_ps", "analysis_mode"}));
}

TEST(CorrelationControls, AsksForTheTagsOfAllInputs) {
    const Stage stage;
    const AcquisitionRequest request = stage.tab.acquisitionRequest(true);
    EXPECT_EQ(request.kind, AcquisitionRequest::Kind::TagStream);
    EXPECT_STREQ(request.detailText, "correlation (%1, %2)");
    EXPECT_EQ(request.channelMask, 15);
    EXPECT_EQ(request.batchSize, 65536);
    EXPECT_EQ(request.maxUiTagsPerSecond, 16'000'000);
    EXPECT_FALSE(request.fixedRateHz.has_value());
}

TEST(CorrelationControls, SpinBoxesHaveTheirRangesStepsAndDefaults) {
    const Stage stage;
    for (const SpinRow& row : {
             SpinRow{"rangeNs", 0, "Histogram", "Half-range", 0.01, 1e9, 3, 0.001, " ns", 1.0, nullptr},
             SpinRow{"binNs", 0, "Histogram", "Bin width", 0.004, 1000, 3, 0.001, " ns", 0.008,
                     "Histogram bins must be at least 4 ps."},
             SpinRow{"instantWindowMs", 0, nullptr, "Time constant", 0.01, 60000, 2, 1.0, " ms", 100,
                     "Time constant: instantaneous histogram window length."},
             SpinRow{"parameterHistoryS", 0, nullptr, "Trace history", 1, 3600, 1, 1.0, " s", 60,
                     "Time window shown for the selected analysis trace."},
             SpinRow{"manualOffsetNs", 0, "Offset", "Manual", -1e9, 1e9, 3, 0.001, " ns", 0, nullptr},
             SpinRow{"offsetSearchNs", 0, "Offset", "Search", 0.001, 1e9, 3, 10.0, " ns", 100,
                     "Auto-offset search window. Keep this below the signal period for periodic sources, "
                     "otherwise auto-centering may lock to a repeated side peak."},
             SpinRow{"traceHistoryS", 0, nullptr, "", 1, 3600, 1, 1.0, " s", 10,
                     "Count-trace history window shown on screen."},
         }) {
        expectSpinBox(stage.tab, row);
    }
    expectIntegerBox(stage.integer("sourceChannel"), 1, 4, 1);
    expectIntegerBox(stage.integer("targetChannel"), 1, 4, 2);
    expectIntegerBox(stage.integer("fitTerms"), 1, 3, 1);
    EXPECT_EQ(stage.integer("fitTerms").toolTip(),
              QStringLiteral("Number of peak or exponential terms used by the fit overlay."));
    EXPECT_EQ(labelOf(stage.tab, stage.integer("sourceChannel")), QStringLiteral("Source"));
    EXPECT_EQ(labelOf(stage.tab, stage.integer("targetChannel")), QStringLiteral("Target"));
    EXPECT_EQ(labelOf(stage.tab, stage.integer("fitTerms")), QStringLiteral("Fit terms"));
    EXPECT_EQ(groupTitleOf(&stage.integer("sourceChannel")), QStringLiteral("Channels"));
    EXPECT_EQ(groupTitleOf(&stage.box("viewIntegrated")), QStringLiteral("Views"));
}

TEST(CorrelationControls, ChoicesOfferTheirTexts) {
    const Stage stage;
    struct Row {
        const char* name;
        const char* label;
        QStringList items;
        int index;
    };
    for (const Row& row : {
             Row{"analysisMode", "Analysis",
                 texts({"None", "Peak / alignment", "Photon antibunching", "Lifetime decay fit"}), 1},
             Row{"fitMode", "Fit model",
                 texts({"Gaussian peak", "Lorentzian peak", "g2 exponential", "Lifetime exponential"}), 0},
             Row{"histogram", "Style", texts({"Line", "Dots", "Bars"}), 0},
             Row{"normalize", "Y axis", texts({"Counts", "g2(tau)"}), 0},
             Row{"parameterMetric", "Trace",
                 texts({"Peak center (ns)", "Fit FWHM (ns)", "Offset (ns)", "g2(0)", "Histogram entries",
                        "Source rate (Hz)", "Target rate (Hz)"}),
                 0},
             Row{"offsetMode", "Mode", texts({"None", "Auto", "Manual"}), 1},
         }) {
        EXPECT_EQ(itemsOf(stage.choice(row.name)), row.items) << row.name;
        EXPECT_EQ(stage.choice(row.name).currentIndex(), row.index) << row.name;
        EXPECT_EQ(labelOf(stage.tab, stage.choice(row.name)), QString::fromUtf8(row.label));
    }
    EXPECT_EQ(groupTitleOf(&stage.choice("offsetMode")), QStringLiteral("Offset"));
    EXPECT_EQ(stage.choice("normalize").toolTip(),
              QStringLiteral("Counts: raw lag-histogram entries per bin.\n"
                             "g2(tau): normalized by the accidental-coincidence rate\n"
                             "(N_src * N_tgt * bin / T), so the uncorrelated baseline is 1."));
}

TEST(CorrelationControls, BoxesAndTheButtonHaveTheirTextsAndToolTips) {
    const Stage stage;
    struct Row {
        const char* name;
        const char* text;
        bool checked;
        const char* toolTip;
    };
    for (const Row& row : {
             Row{"fitEnabled", "Show peak fit", false,
                 "Overlay a Gaussian/Lorentzian fit and report fit width. Disabled by default so the "
                 "universal "
                 "histogram remains raw."},
             Row{"viewIntegrated", "Integrated histogram", true,
                 "Accumulate cross-correlation statistics across the whole run."},
             Row{"viewInstant", "Instantaneous histogram", false, nullptr},
             Row{"viewParameters", "Analysis trace", false,
                 "Plot a selected analysis or fit parameter over time."},
         }) {
        EXPECT_EQ(stage.box(row.name).text(), QString::fromUtf8(row.text));
        EXPECT_EQ(stage.box(row.name).isChecked(), row.checked) << row.name;
        if (row.toolTip != nullptr) {
            EXPECT_EQ(stage.box(row.name).toolTip(), QString::fromUtf8(row.toolTip));
        }
    }
    EXPECT_EQ(stage.button("measureOffset").text(), QStringLiteral("Measure offset now"));
    EXPECT_EQ(
        stage.button("measureOffset").toolTip(),
        QStringLiteral("Cross-correlate the current source/target tags, then fix that lag as the Manual "
                       "offset so the peak sits at zero."));
}

TEST(CorrelationControls, HasAToolbarWithLogAndWithoutPlotControls) {
    const Stage stage;
    const QToolBar* toolbar = measurementToolbar(stage.tab);
    ASSERT_NE(toolbar, nullptr);
    EXPECT_NE(findAction(*toolbar, "Start log"), nullptr);
    EXPECT_EQ(findAction(*toolbar, "Drag zoom"), nullptr);
    EXPECT_EQ(findAction(*toolbar, "Split"), nullptr);
}

TEST(CorrelationControls, TheStatisticsHaveTwoColumnsAndNineRows) {
    const Stage stage;
    const QAbstractItemModel& table = *control<QTableView>(stage.tab, QStringLiteral("statistics")).model();
    EXPECT_EQ(table.columnCount(), 2);
    EXPECT_GE(table.rowCount(), 9);
}

// --- forced combinations -----------------------------------------------------------------------------------

struct AnalysisRow {
    const char* name;
    const char* analysis;
    bool showFitOpen;
    bool axisOpen;
    const char* forcedAxis;  // null: left
    const char* forcedModel; // null: left
    bool modelFollowsFit;
};

void PrintTo(const AnalysisRow& row, std::ostream* out) {
    *out << row.name;
}

class CorrelationAnalysisChoice : public ::testing::TestWithParam<AnalysisRow> {};

TEST_P(CorrelationAnalysisChoice, ForcesWhatDoesNotFitIt) {
    const AnalysisRow& row = GetParam();
    for (const char* axis : {"Counts", "g2(tau)"}) {
        for (const char* model : {"Gaussian peak", "Lorentzian peak"}) {
            for (const bool fit : {false, true}) {
                Stage stage;
                stage.choose("normalize", axis);
                stage.choose("fitMode", model);
                stage.box("fitEnabled").setChecked(fit);
                stage.choose("analysisMode", row.analysis);
                SCOPED_TRACE(std::string(axis) + ", " + model + (fit ? ", fit" : ""));
                const bool fits = fit && row.showFitOpen;
                EXPECT_EQ(stage.box("fitEnabled").isEnabled(), row.showFitOpen);
                EXPECT_EQ(stage.choice("normalize").isEnabled(), row.axisOpen);
                EXPECT_EQ(stage.choice("normalize").currentText(),
                          QString::fromUtf8(row.forcedAxis != nullptr ? row.forcedAxis : axis));
                EXPECT_EQ(stage.choice("fitMode").currentText(),
                          QString::fromUtf8(row.forcedModel != nullptr ? row.forcedModel : model));
                EXPECT_EQ(stage.choice("fitMode").isEnabled(), row.modelFollowsFit && fits);
                EXPECT_EQ(stage.integer("fitTerms").isEnabled(), fits);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, CorrelationAnalysisChoice,
                         ::testing::Values(AnalysisRow{"None", "None", false, true, nullptr, nullptr, false},
                                           AnalysisRow{"Peak", "Peak / alignment", true, true, nullptr,
                                                       nullptr, true},
                                           AnalysisRow{"Antibunching", "Photon antibunching", true, false,
                                                       "g2(tau)", "g2 exponential", false},
                                           AnalysisRow{"Lifetime", "Lifetime decay fit", true, false,
                                                       "Counts", "Lifetime exponential", false}),
                         [](const auto& test) { return test.param.name; });

TEST(CorrelationCombinations, ThePeakModeKnowsNoExponential) {
    Stage stage;
    for (const char* other : {"Photon antibunching", "Lifetime decay fit"}) {
        stage.choose("fitMode", "Lorentzian peak");
        stage.choose("analysisMode", other);
        stage.choose("analysisMode", "Peak / alignment");
        EXPECT_EQ(stage.choice("fitMode").currentText(), QStringLiteral("Gaussian peak"));
    }
    stage.box("fitEnabled").setChecked(true);
    stage.choose("fitMode", "g2 exponential");
    EXPECT_EQ(stage.choice("fitMode").currentText(), QStringLiteral("Gaussian peak"));
    stage.choose("fitMode", "Lorentzian peak");
    EXPECT_EQ(stage.choice("fitMode").currentText(), QStringLiteral("Lorentzian peak"));
}

TEST(CorrelationCombinations, ShowPeakFitOpensModelAndTerms) {
    Stage stage;
    EXPECT_FALSE(stage.choice("fitMode").isEnabled());
    EXPECT_FALSE(stage.integer("fitTerms").isEnabled());
    stage.box("fitEnabled").setChecked(true);
    EXPECT_TRUE(stage.choice("fitMode").isEnabled());
    EXPECT_TRUE(stage.integer("fitTerms").isEnabled());
    stage.box("fitEnabled").setChecked(false);
    EXPECT_FALSE(stage.choice("fitMode").isEnabled());
    EXPECT_FALSE(stage.integer("fitTerms").isEnabled());
}

TEST(CorrelationCombinations, TheOffsetIsOpenInThePeakModeOnly) {
    Stage stage;
    for (const char* analysis :
         {"Peak / alignment", "None", "Photon antibunching", "Lifetime decay fit", "Peak / alignment"}) {
        stage.choose("analysisMode", analysis);
        const bool peak = QString::fromUtf8(analysis) == QStringLiteral("Peak / alignment");
        for (const char* mode : {"None", "Auto", "Manual"}) {
            stage.choose("offsetMode", mode);
            const QString text = QString::fromUtf8(mode);
            SCOPED_TRACE(std::string(analysis) + ", " + mode);
            EXPECT_EQ(stage.choice("offsetMode").isEnabled(), peak);
            EXPECT_EQ(stage.button("measureOffset").isEnabled(), peak);
            EXPECT_EQ(stage.number("manualOffsetNs").isEnabled(), peak && text == QStringLiteral("Manual"));
            EXPECT_EQ(stage.number("offsetSearchNs").isEnabled(), peak && text == QStringLiteral("Auto"));
        }
    }
}

// --- views -------------------------------------------------------------------------------------------------

TEST(CorrelationViews, EachBoxShowsItsPlotUnderItsTitleAndOpensItsControls) {
    Stage stage;
    for (int shown = 1; shown < 8; ++shown) {
        const char* const kBoxes[] = {"viewIntegrated", "viewInstant", "viewParameters"};
        for (const bool check : {true, false}) { // check first: no view at all is not allowed
            for (int view = 0; view < 3; ++view) {
                if (((shown >> view) & 1) == (check ? 1 : 0)) {
                    stage.box(kBoxes[view]).setChecked(check);
                }
            }
        }
        SCOPED_TRACE(shown);
        const bool integrated = (shown & 1) != 0;
        const bool instant = (shown & 2) != 0;
        const bool trace = (shown & 4) != 0;
        EXPECT_EQ(stage.plot("integratedPlot").isVisible(), integrated);
        EXPECT_EQ(stage.plot("instantPlot").isVisible(), instant);
        EXPECT_EQ(stage.plot("tracePlot").isVisible(), trace);
        EXPECT_FALSE(stage.plot("countPlot").isVisible());
        EXPECT_EQ(readsOn(stage.tab, "Integrated histogram"), integrated);
        EXPECT_EQ(readsOn(stage.tab, "Instantaneous histogram"), instant);
        EXPECT_EQ(readsOn(stage.tab, "Analysis trace"), trace);
        EXPECT_FALSE(readsOn(stage.tab, "Count traces"));
        EXPECT_EQ(stage.number("instantWindowMs").isEnabled(), instant);
        EXPECT_EQ(stage.choice("parameterMetric").isEnabled(), trace);
        EXPECT_EQ(stage.number("parameterHistoryS").isEnabled(), trace);
        EXPECT_FALSE(stage.number("traceHistoryS").isEnabled());
        const char* primary = integrated ? "integratedPlot" : instant ? "instantPlot" : "tracePlot";
        EXPECT_EQ(stage.tab.plotWidget(), &stage.plot(primary));
    }
}

TEST(CorrelationViews, UncheckingAllChecksTheIntegratedHistogramAgain) {
    Stage stage;
    stage.box("viewIntegrated").setChecked(false);
    EXPECT_TRUE(stage.box("viewIntegrated").isChecked());
    stage.box("viewInstant").setChecked(true);
    stage.box("viewIntegrated").setChecked(false);
    EXPECT_FALSE(stage.box("viewIntegrated").isChecked());
    stage.box("viewInstant").setChecked(false);
    EXPECT_TRUE(stage.box("viewIntegrated").isChecked());
    EXPECT_TRUE(stage.plot("integratedPlot").isVisible());
    EXPECT_FALSE(stage.plot("instantPlot").isVisible());
}

TEST(CorrelationViews, ThePlotsStandBelowEachOther) {
    Stage stage;
    stage.box("viewInstant").setChecked(true);
    stage.box("viewParameters").setChecked(true);
    QCoreApplication::processEvents();
    const auto top = [&](const char* plot) { return stage.plot(plot).mapTo(&stage.tab, QPoint()).y(); };
    EXPECT_LT(top("integratedPlot"), top("instantPlot"));
    EXPECT_LT(top("instantPlot"), top("tracePlot"));
    EXPECT_NE(splitterAround(&stage.plot("instantPlot"), Qt::Vertical), nullptr);
    EXPECT_GT(control<QTableView>(stage.tab, QStringLiteral("statistics")).mapTo(&stage.tab, QPoint()).y(),
              top("tracePlot"));
}

TEST(CorrelationViews, ThePlotsBeginWithTheirLabelsAndRanges) {
    Stage stage;
    EXPECT_EQ(shownBy(stage.plot("integratedPlot")).xLabel, QStringLiteral("Lag (ns), target - source"));
    EXPECT_EQ(shownBy(stage.plot("instantPlot")).xLabel, QStringLiteral("Lag (ns), target - source"));
    EXPECT_EQ(shownBy(stage.plot("instantPlot")).yLabel, QStringLiteral("Pairs (window)"));
    EXPECT_EQ(shownBy(stage.plot("countPlot")).xLabel, QStringLiteral("Time (s)"));
    EXPECT_EQ(shownBy(stage.plot("countPlot")).yLabel, QStringLiteral("Rate (Hz)"));
    EXPECT_EQ(shownBy(stage.plot("tracePlot")).xLabel, QStringLiteral("Time (s)"));
    EXPECT_EQ(shownBy(stage.plot("tracePlot")).yLabel, QStringLiteral("Analysis value"));
    expectRange(xRangeOf(stage.plot("integratedPlot")), -1, 1);
    stage.box("viewInstant").setChecked(true);
    stage.number("binNs").setValue(0.1);
    stage.number("rangeNs").setValue(25.5);
    expectRange(xRangeOf(stage.plot("integratedPlot")), -25.5, 25.5);
    expectRange(xRangeOf(stage.plot("instantPlot")), -25.5, 25.5);
}

// --- the label of the offset -------------------------------------------------------------------------------

TEST(CorrelationOffsetLabel, TellsWhatTheSettingsSay) {
    Stage stage;
    stage.box("viewInstant").setChecked(true);
    stage.box("viewIntegrated").setChecked(false); // whose rendering would tell of its own offset
    const auto text = [&] { return control<QLabel>(stage.tab, QStringLiteral("appliedOffset")).text(); };
    stage.choose("offsetMode", "Manual");
    stage.number("manualOffsetNs").setValue(-12.3456);
    EXPECT_EQ(text(), QStringLiteral("Applied offset: -12.346 ns"));
    stage.choose("offsetMode", "None");
    EXPECT_EQ(text(), QStringLiteral("Applied offset: 0.000 ns"));
    stage.choose("analysisMode", "None");
    EXPECT_EQ(text(), QStringLiteral("Applied offset: disabled"));
}

} // namespace
} // namespace qorn::testing
