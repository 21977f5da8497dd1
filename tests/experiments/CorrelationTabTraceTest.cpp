// The analysis trace: a sample of the chosen value at each refresh that has new tags.
#include "CorrelationTabStage.h"

namespace qorn::testing {
namespace {

constexpr qint64 kMicrosecondPs = 1'000'000;

class Stage : public CorrelationStage {
public:
    explicit Stage(const char* config = R"({"analysisMode": "None"})") : CorrelationStage(config) {
        box("viewParameters").setChecked(true);
    }
    double latest() const {
        const QList<double> ys = trace().ys.value(0);
        return ys.isEmpty() ? std::nan("") : ys.last();
    }
};

struct MetricRow {
    const char* name;
    const char* config;
    const char* metric;
    double value;
};

void PrintTo(const MetricRow& row, std::ostream* out) {
    *out << row.name;
}

class CorrelationMetric : public ::testing::TestWithParam<MetricRow> {};

// 1001 pairs in a millisecond, at 0.4 ns but for one at 0.2 ns.
QList<UiTimeTag> someTags() {
    QList<UiTimeTag> tags = pairsOfTags(0, 1, 0, kMicrosecondPs, 400, 1000);
    tags += pairsOfTags(0, 1, 1000 * kMicrosecondPs - 200, kMicrosecondPs, 200, 1);
    return tags;
}

TEST_P(CorrelationMetric, IsWhatTheTraceShows) {
    Stage stage(GetParam().config);
    stage.choose("parameterMetric", GetParam().metric);
    stage.show(someTags());
    const ShownPlot shown = stage.trace();
    ASSERT_EQ(shown.points(), 1);
    EXPECT_NEAR(shown.ys[0][0], GetParam().value, 1e-9 * std::max(1.0, std::abs(GetParam().value)));
    EXPECT_NEAR(shown.xs[0][0], 1e-3, 1e-9) << "seconds since the first tag";
    EXPECT_EQ(shown.labels, texts({GetParam().metric}));
    EXPECT_EQ(shown.colors, QList<QColor>{kBlue});
    EXPECT_EQ(shown.mode, 1) << "lines";
    EXPECT_EQ(shown.xLabel, QStringLiteral("Time (s)"));
    EXPECT_EQ(shown.yLabel, QString::fromUtf8(GetParam().metric));
    EXPECT_EQ(shown.statTexts,
              QStringList(QStringLiteral("%1: %2").arg(QString::fromUtf8(GetParam().metric),
                                                       QString::number(shown.ys[0][0], 'g', 9))));
}

// The variance of 1000 entries at 0.4 ns and one at 0.2 ns.
const double kVariance = 1000.0 / 1001.0 * (1.0 / 1001.0) * 0.04;

INSTANTIATE_TEST_SUITE_P(
    Metrics, CorrelationMetric,
    ::testing::Values(
        MetricRow{"PeakCenter", R"({"analysisMode": "None"})", "Peak center (ns)", 0.4},
        MetricRow{"PeakCenterFromTheOffset", R"({"offsetMode": "Manual", "manualOffsetNs": 0.16})",
                  "Peak center (ns)", 0.24},
        MetricRow{"WidthWithoutAFit", R"({"analysisMode": "None"})", "Fit FWHM (ns)",
                  std::sqrt(kVariance) * 2.354820045},
        MetricRow{"OffsetOutsideThePeakMode",
                  R"({"analysisMode": "None", "offsetMode": "Manual", "manualOffsetNs": 0.16})",
                  "Offset (ns)", 0},
        MetricRow{"ManualOffset", R"({"offsetMode": "Manual", "manualOffsetNs": 0.16})", "Offset (ns)", 0.16},
        MetricRow{"AutomaticOffset", R"({"offsetMode": "Auto"})", "Offset (ns)", 0.4},
        MetricRow{"OffsetThatIsNotSettled", R"({"offsetMode": "Auto", "offsetSearchNs": 0.1})", "Offset (ns)",
                  0},
        MetricRow{"CentreBin", R"({"offsetMode": "Manual", "manualOffsetNs": 0.4})", "g2(0)", 1000},
        MetricRow{"CentreBinInUnitsOfAccidentals",
                  R"json({"offsetMode": "Manual", "manualOffsetNs": 0.4, "normalize": "g2(tau)"})json",
                  "g2(0)", 1000.0 / (1001.0 * 1001.0 * 8 / 1e9)},
        MetricRow{"Entries", R"({"analysisMode": "None"})", "Histogram entries", 1001},
        MetricRow{"SourceRate", R"({"analysisMode": "None"})", "Source rate (Hz)", 1'001'000},
        MetricRow{"TargetRate", R"({"analysisMode": "None", "sourceChannel": 4})", "Target rate (Hz)",
                  1001 / 0.9999996e-3}),
    [](const auto& test) { return test.param.name; });

TEST(CorrelationTrace, TheWidthIsThatOfTheFitWhenThereIsOne) {
    Stage stage(R"({"offsetMode": "None", "fitEnabled": true})");
    stage.choose("parameterMetric", "Fit FWHM (ns)");
    stage.show(randomTags(9, 3000, 2000));
    const QList<double> told = numbersIn(stage.stat(4).value); // width, FWHM
    ASSERT_EQ(told.size(), 2);
    EXPECT_NEAR(stage.latest(), told[1], 5.1e-4);
    EXPECT_GT(stage.latest(), 0.0);
}

TEST(CorrelationTrace, GetsASampleOnlyWhenTagsHaveArrived) {
    Stage stage;
    stage.choose("parameterMetric", "Histogram entries");
    stage.refresh();
    EXPECT_EQ(stage.trace().points(), 0);
    for (int round = 1; round <= 5; ++round) {
        stage.show(pairsOfTags(0, 1, round * kSecondPs, kMicrosecondPs, 100, 10));
        EXPECT_EQ(stage.trace().points(), round);
        stage.refresh();
        stage.show({});
        stage.show({{2, round * kSecondPs + kSecondPs / 2}}); // of neither input
        EXPECT_EQ(stage.trace().points(), round);
    }
    expectValues(stage.trace().ys.value(0), {10, 20, 30, 40, 50});
    const double length = 9 * 1e-6 + 100e-12;
    expectValues(stage.trace().xs.value(0), {length, 1 + length, 2 + length, 3 + length, 4 + length});
}

TEST(CorrelationTrace, SlidesThroughItsHistory) {
    Stage stage;
    stage.number("parameterHistoryS").setValue(10);
    stage.choose("parameterMetric", "Histogram entries");
    stage.feed({{0, 0}});
    for (int second = 1; second <= 25; ++second) {
        stage.show(pairsOfTags(0, 1, second * kSecondPs, kMicrosecondPs, 0, 1));
        expectRange(xRangeOf(stage.plot("tracePlot")), 0, 10);
    }
    const ShownPlot shown = stage.trace();
    ASSERT_EQ(shown.points(), 11);
    for (int sample = 0; sample <= 10; ++sample) {
        EXPECT_NEAR(shown.xs[0][sample], sample, 1e-9);
        EXPECT_EQ(shown.ys[0][sample], 15 + sample);
    }
}

TEST(CorrelationTrace, ItsYRangeFollowsTheValues) {
    Stage stage;
    stage.choose("parameterMetric", "Histogram entries");
    stage.refresh();
    expectRange(yRangeOf(stage.plot("tracePlot")), -0.5, 0.5, "nothing");
    expectRange(xRangeOf(stage.plot("tracePlot")), 0, 60, "nothing");
    stage.show(pairsOfTags(0, 1, 0, kMicrosecondPs, 0, 30));
    expectRange(yRangeOf(stage.plot("tracePlot")), 29.5, 30.5, "one value");
    stage.show(pairsOfTags(0, 1, kSecondPs, kMicrosecondPs, 0, 70));
    expectRange(yRangeOf(stage.plot("tracePlot")), 23, 107, "two values");
    expectRange(xRangeOf(stage.plot("tracePlot")), 0, 60);
}

TEST(CorrelationTrace, AnotherValueBeginsAnew) {
    Stage stage;
    stage.choose("parameterMetric", "Histogram entries");
    for (int round = 0; round < 3; ++round) {
        stage.show(pairsOfTags(0, 1, round * kSecondPs, kMicrosecondPs, 400, 10));
    }
    ASSERT_EQ(stage.trace().points(), 3);
    stage.choose("parameterMetric", "Peak center (ns)");
    EXPECT_LE(stage.trace().points(), 1);
    EXPECT_EQ(stage.trace().statTexts, texts({"Peak center (ns): 0.4"}));
    EXPECT_EQ(stage.trace().yLabel, QStringLiteral("Peak center (ns)"));
    EXPECT_EQ(stage.stat(2), statRow("Histogram entries", QStringLiteral("30"))) << "the histogram stays";
    stage.show(pairsOfTags(0, 1, 4 * kSecondPs, kMicrosecondPs, 400, 10));
    EXPECT_EQ(stage.latest(), 0.4);
    EXPECT_GE(stage.trace().points(), 1);
    EXPECT_LE(stage.trace().points(), 2);
}

TEST(CorrelationTrace, AnotherHistoryLeavesTheHistogram) {
    Stage stage;
    stage.show(pairsOfTags(0, 1, 0, kMicrosecondPs, 400, 10));
    stage.number("parameterHistoryS").setValue(5);
    EXPECT_EQ(stage.stat(2), statRow("Histogram entries", QStringLiteral("10")));
    expectRange(xRangeOf(stage.plot("tracePlot")), 0, 5);
}

TEST(CorrelationTrace, TheInstantaneousHistogramFeedsItToo) {
    Stage stage(R"({"analysisMode": "None", "instantWindowMs": 0.01})");
    stage.box("viewInstant").setChecked(true);
    stage.choose("parameterMetric", "Histogram entries");
    for (const bool both : {true, false}) {
        stage.box("viewIntegrated").setChecked(both);
        stage.feed(pairsOfTags(0, 1, 0, kMicrosecondPs, 400, 100));
        stage.show(pairsOfTags(0, 1, kSecondPs, kMicrosecondPs, 400, 5));
        EXPECT_EQ(stage.latest(), 5.0) << "the last render counts";
    }
}

TEST(CorrelationTrace, AloneItHasNothingToShow) {
    Stage stage;
    stage.box("viewIntegrated").setChecked(false);
    stage.show(pairsOfTags(0, 1, 0, kMicrosecondPs, 400, 100));
    EXPECT_EQ(stage.trace().points(), 0) << "no histogram is rendered";
    expectRange(yRangeOf(stage.plot("tracePlot")), -0.5, 0.5);
}

} // namespace
} // namespace qorn::testing
