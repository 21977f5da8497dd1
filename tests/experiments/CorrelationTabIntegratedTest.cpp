// What the integrated histogram shows: bins, scaling, ranges and statistics against all pairs of the run.
#include "CorrelationTabStage.h"
#include "FitOverlays.h"

namespace qorn::testing {
namespace {

using Stage = CorrelationStage;

// The tags of a run and the settings that count.
struct TagRun {
    std::vector<qint64> sources;
    std::vector<qint64> targets;
    LagCounts histogram;
    bool g2 = false;

    TagRun(const QList<UiTimeTag>& tags, int source, int target, qint64 windowPs, qint64 binPs,
           qint64 offsetPs)
        : sources(timesOf(tags, source)), targets(timesOf(tags, target)),
          histogram(integratedCounts(sources, targets, windowPs, binPs, offsetPs)) {}

    double spanPs() const {
        return static_cast<double>(std::max(sources.back(), targets.back()) -
                                   std::min(sources.front(), targets.front()));
    }
    // Accidental pairs per bin.
    double expected() const {
        return static_cast<double>(sources.size()) * static_cast<double>(targets.size()) *
               static_cast<double>(histogram.binPs) / spanPs();
    }
    ShownCurve curve() const { return shownCurve(histogram, g2 ? expected() : 0.0); }
    double centre() const {
        const auto count = static_cast<double>(histogram.counts[static_cast<std::size_t>(histogram.half)]);
        return g2 ? count / expected() : count;
    }
    QString peak() const {
        return QStringLiteral("%1 @ %2 ns")
            .arg(histogram.counts[histogram.tallestBin()])
            .arg(static_cast<double>(histogram.lagPs(histogram.tallestBin())) / 1000, 0, 'f', 3);
    }
};

void expectCurve(const Stage& stage, const TagRun& run) {
    const ShownPlot shown = stage.integrated();
    const ShownCurve curve = run.curve();
    ASSERT_EQ(shown.xs.size(), 1);
    expectValues(shown.xs[0], curve.xs, "lags");
    expectValues(shown.ys[0], curve.ys, "values");
    EXPECT_EQ(shown.labels, run.g2 ? texts({"g2"}) : texts({"entries"}));
    EXPECT_EQ(shown.colors, QList<QColor>{kBlue});
    EXPECT_EQ(shown.xLabel, QStringLiteral("Lag (ns), target - source"));
    EXPECT_EQ(shown.yLabel, run.g2 ? QStringLiteral("g2(tau)") : QStringLiteral("Entries"));
    if (curve.xs.size() > 1) {
        expectRange(xRangeOf(stage.plot("integratedPlot")), curve.xs.front(), curve.xs.back(), "x");
    }
    const double highest = *std::max_element(curve.ys.begin(), curve.ys.end());
    expectRange(yRangeOf(stage.plot("integratedPlot")), 0, std::max(highest * 1.2, run.g2 ? 1.5 : 1.0), "y");
}

QStringList firstStatLines(const TagRun& run, int source, int target) {
    const quint64 total = run.histogram.total();
    return {QStringLiteral("Source ch %1: %2 tags").arg(source).arg(run.sources.size()),
            QStringLiteral("Target ch %1: %2 tags").arg(target).arg(run.targets.size()),
            run.g2 ? QStringLiteral("Histogram entries: %1, g2(0): %2").arg(total).arg(fixed3(run.centre()))
                   : QStringLiteral("Histogram entries: %1").arg(total)};
}

void expectCommonRows(const Stage& stage, const TagRun& run, const char* mode) {
    EXPECT_EQ(stage.stat(0), statRow("Source tags", QString::number(run.sources.size())));
    EXPECT_EQ(stage.stat(1), statRow("Target tags", QString::number(run.targets.size())));
    EXPECT_EQ(stage.stat(2), statRow("Histogram entries", QString::number(run.histogram.total())));
    EXPECT_EQ(stage.stat(6), statRow("Mode", QString::fromUtf8(mode)));
    EXPECT_EQ(stage.stat(7), run.g2 ? statRow("g2(0)", fixed3(run.centre())) : kNoStat);
    EXPECT_EQ(stage.stat(8), kNoStat);
}

// --- without an analysis -----------------------------------------------------------------------------------

TEST(CorrelationIntegrated, CountsEachPairOfTheRunOnce) {
    for (const char* axis : {"Counts", "g2(tau)"}) {
        Stage stage(R"({"analysisMode": "None", "rangeNs": 3, "binNs": 0.013})");
        stage.choose("normalize", axis);
        const QList<UiTimeTag> tags = randomTags(7, 3000, 2000);
        std::mt19937_64 random(8);
        for (qsizetype first = 0; first < tags.size();) { // cut anywhere
            const auto size = static_cast<qsizetype>(random() % 200);
            stage.feed(tags.mid(first, size));
            first += size;
        }
        stage.refresh();
        TagRun run(tags, 0, 1, 3000, 13, 0);
        run.g2 = QString::fromUtf8(axis) == QStringLiteral("g2(tau)");
        EXPECT_GT(run.histogram.total(), 5000U);
        expectCurve(stage, run);
        expectCommonRows(stage, run, "integrated universal");
        EXPECT_EQ(stage.stat(3), statRow("Center bin", QString::number(run.centre(), 'f', run.g2 ? 3 : 0)));
        EXPECT_EQ(stage.stat(4), kNoStat);
        EXPECT_EQ(stage.stat(5), statRow("Offset", QStringLiteral("disabled")));
        EXPECT_EQ(stage.integrated().statTexts,
                  firstStatLines(run, 1, 2) + texts({"No analysis: no peak fit or offset correction"}));
        EXPECT_EQ(stage.integrated().statColors.mid(0, 3), (QList<QColor>{kBlue, kGreen, kOrange}));
        EXPECT_EQ(stage.appliedOffset(), QStringLiteral("Applied offset: disabled"));
        EXPECT_TRUE(stage.integrated().overlayXs.isEmpty());
    }
}

TEST(CorrelationIntegrated, ALagIsTargetMinusSource) {
    Stage stage(R"({"analysisMode": "None", "sourceChannel": 3, "targetChannel": 1})");
    stage.show({{2, 5000}, {0, 5400}});
    expectCurve(stage, TagRun({{2, 5000}, {0, 5400}}, 2, 0, 1000, 8, 0));
    EXPECT_EQ(stage.integrated().ys.value(0).indexOf(1.0), 125 + 50);
}

TEST(CorrelationIntegrated, APairExactlyAtTheWindowIsCounted) {
    Stage stage(R"({"analysisMode": "None"})");
    QList<UiTimeTag> tags;
    for (const qint64 lag : {1000, -1000, 1001, -1001}) {
        const qint64 time = 1'000'000 + 50'000 * tags.size();
        tags.append({0, time});
        tags.append({1, time + lag});
    }
    stage.show(inTimeOrder(tags));
    EXPECT_EQ(stage.stat(2), statRow("Histogram entries", QStringLiteral("2")));
    const QList<double> ys = stage.integrated().ys.value(0);
    ASSERT_EQ(ys.size(), 251);
    EXPECT_EQ(ys.front(), 1.0);
    EXPECT_EQ(ys.back(), 1.0);
}

TEST(CorrelationIntegrated, TagsOutOfReachAreDroppedWithoutCounting) {
    Stage stage(R"({"analysisMode": "None"})");
    stage.feed(pulses(0, 0, 10'000, 1000));
    stage.feed(pulses(1, 100'000'000, 10'000, 1000));
    stage.show({{0, 200'000'000}, {1, 200'000'001}});
    EXPECT_EQ(stage.stat(0), statRow("Source tags", QStringLiteral("1001")));
    EXPECT_EQ(stage.stat(2), statRow("Histogram entries", QStringLiteral("1")));
}

TEST(CorrelationIntegrated, EqualInputsStopAllProcessing) {
    Stage stage(R"({"analysisMode": "None", "targetChannel": 1})");
    stage.show(pulses(0, 0, 500, 1000));
    EXPECT_EQ(stage.stat(0), statRow("Status", QStringLiteral("Choose two distinct channels")));
    stage.integer("targetChannel").setValue(2);
    stage.refresh();
    EXPECT_EQ(stage.stat(0), statRow("Source tags", QStringLiteral("0")));
    EXPECT_EQ(stage.stat(2), statRow("Histogram entries", QStringLiteral("0")));
}

TEST(CorrelationIntegrated, AnEmptyHistogramKeepsTheWindowAndTheLeastRange) {
    Stage stage(R"({"analysisMode": "None", "rangeNs": 2})");
    stage.refresh();
    expectRange(xRangeOf(stage.plot("integratedPlot")), -2, 2);
    expectRange(yRangeOf(stage.plot("integratedPlot")), 0, 1);
    EXPECT_EQ(stage.stat(2), statRow("Histogram entries", QStringLiteral("0")));
    EXPECT_EQ(stage.stat(3), statRow("Center bin", QStringLiteral("0")));
}

TEST(CorrelationIntegrated, AG2BelowOneKeepsARangeOfOneAndAHalf) {
    Stage stage(R"json({"analysisMode": "None", "normalize": "g2(tau)", "rangeNs": 100, "binNs": 1})json");
    // each target half a microsecond behind its source
    stage.show(inTimeOrder(pulses(0, 0, 1'000'000, 100) + pulses(1, 500'000, 1'000'000, 100)));
    EXPECT_EQ(stage.stat(2), statRow("Histogram entries", QStringLiteral("0")));
    EXPECT_EQ(stage.integrated().yLabel, QStringLiteral("g2(tau)"));
    expectRange(yRangeOf(stage.plot("integratedPlot")), 0, 1.5);
    EXPECT_EQ(stage.stat(7), statRow("g2(0)", QStringLiteral("0.000")));
}

TEST(CorrelationIntegrated, WithoutAnExpectationG2FallsBackToEntries) {
    Stage stage(R"json({"analysisMode": "None", "normalize": "g2(tau)"})json");
    stage.show({{0, 5000}, {1, 5000}}); // no span
    EXPECT_EQ(stage.integrated().yLabel, QStringLiteral("Entries"));
    EXPECT_EQ(stage.integrated().labels, texts({"entries"}));
    EXPECT_EQ(stage.stat(3), statRow("Center bin", QStringLiteral("1")));
    EXPECT_EQ(stage.stat(7), kNoStat);
    expectRange(yRangeOf(stage.plot("integratedPlot")), 0, 1.2);
    stage.show({{0, 6000}});
    EXPECT_EQ(stage.integrated().yLabel, QStringLiteral("g2(tau)"));
}

// --- decimation and bins -----------------------------------------------------------------------------------

struct BinsRow {
    const char* name;
    double rangeNs;
    double binNs;
    qint64 effectivePs;
    qsizetype points;
};

void PrintTo(const BinsRow& row, std::ostream* out) {
    *out << row.name;
}

class CorrelationBins : public ::testing::TestWithParam<BinsRow> {};

TEST_P(CorrelationBins, AreShownAsFourThousandPointsAtMost) {
    const BinsRow& row = GetParam();
    for (const char* axis : {"Counts", "g2(tau)"}) {
        for (const char* style : {"Line", "Dots", "Bars"}) {
            Stage stage(R"({"analysisMode": "None"})");
            stage.number("rangeNs").setValue(row.rangeNs);
            stage.number("binNs").setValue(row.binNs);
            stage.choose("normalize", axis);
            stage.choose("histogram", style);
            const auto windowPs = std::llround(row.rangeNs * 1000);
            QList<UiTimeTag> tags = randomTags(11, 400, std::max<qint64>(windowPs / 10, 300));
            tags.append({0, tags.back().timePs + 10 * windowPs});
            for (const qint64 lag : {-windowPs, windowPs}) { // the outermost bins are not empty
                tags.append({0, tags.back().timePs + 10 * windowPs});
                tags.append({1, tags.back().timePs + lag});
            }
            tags = inTimeOrder(tags);
            stage.show(tags);
            TagRun run(tags, 0, 1, windowPs, row.effectivePs, 0);
            run.g2 = QString::fromUtf8(axis) == QStringLiteral("g2(tau)");
            const ShownCurve curve = run.curve();
            EXPECT_EQ(curve.xs.size(), row.points);
            SCOPED_TRACE(std::string(axis) + ", " + style);
            if (QString::fromUtf8(style) != QStringLiteral("Bars")) {
                expectCurve(stage, run);
                EXPECT_EQ(stage.integrated().mode,
                          QString::fromUtf8(style) == QStringLiteral("Dots") ? 2 : 1);
                continue;
            }
            const ShownPlot shown = stage.integrated();
            expectValues(shown.barXs, curve.xs, "lags");
            expectValues(shown.barHeights, curve.ys, "values");
            const auto stride = static_cast<double>((run.histogram.counts.size() + 3999) / 4000);
            EXPECT_NEAR(shown.barWidth, static_cast<double>(row.effectivePs) * stride / 1000.0 * 0.92, 1e-9);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Settings, CorrelationBins,
                         ::testing::Values(BinsRow{"Defaults", 1, 0.008, 8, 251},
                                           BinsRow{"OneBin", 0.01, 0.02, 20, 1},
                                           BinsRow{"JustFewEnough", 7.996, 0.004, 4, 3999},
                                           BinsRow{"TheLastPointHoldsOneBin", 8, 0.004, 4, 2001},
                                           BinsRow{"AsManyBinsAsThereMayBe", 40, 0.004, 4, 3334},
                                           BinsRow{"Coarsened", 100, 0.004, 10, 3334},
                                           BinsRow{"CoarsenedByFar", 100'000, 0.008, 10'000, 3334}),
                         [](const auto& test) { return test.param.name; });

// --- peak, dip and decay -----------------------------------------------------------------------------------

struct AnalysisRow {
    const char* name;
    const char* analysis;
    const char* model;
    int terms;
    const char* mode;
    const char* line; // null in peak mode
};

void PrintTo(const AnalysisRow& row, std::ostream* out) {
    *out << row.name;
}

class CorrelationAnalysis : public ::testing::TestWithParam<AnalysisRow> {
protected:
    static constexpr qint64 kOffset = 4321;

    CorrelationAnalysis() {
        stage.choose("analysisMode", GetParam().analysis);
        stage.choose("offsetMode", "Manual");
        stage.number("manualOffsetNs").setValue(kOffset / 1000.0);
        stage.number("rangeNs").setValue(2);
        stage.number("binNs").setValue(0.02);
        if (GetParam().line == nullptr) {
            stage.choose("fitMode", GetParam().model);
        }
        stage.integer("fitTerms").setValue(GetParam().terms);
        const bool peak = GetParam().line == nullptr;
        tags = randomTags(21, 3000, 2000, peak ? kOffset : 0);
        if (QString::fromUtf8(GetParam().analysis) == QStringLiteral("Photon antibunching")) {
            tags = dippedTags();
        }
        run = TagRun(tags, 0, 1, 2000, 20, peak ? kOffset : 0);
        run.g2 = QString::fromUtf8(GetParam().analysis) == QStringLiteral("Photon antibunching");
    }
    static QStringList peakStatLines(const TagRun& run) {
        return firstStatLines(run, 1, 2) + texts({"Offset: 4.321 ns"}) +
               QStringList(QStringLiteral("Peak: ") + run.peak());
    }
    // Never two tags of inputs 1 and 2 closer than half a nanosecond.
    static QList<UiTimeTag> dippedTags() {
        std::mt19937_64 random(3);
        QList<UiTimeTag> result;
        qint64 time = 0;
        for (int number = 0; number < 6000; ++number) {
            time += 500 + static_cast<qint64>(random() % 1500);
            result.append({static_cast<quint8>(random() % 2), time});
        }
        return result;
    }
    timetagger::gui::PeakFitOverlay overlay() const {
        const ShownCurve curve = run.curve();
        const QString model = QString::fromUtf8(GetParam().model);
        return GetParam().line == nullptr
                   ? timetagger::gui::makePeakFitOverlay(
                         curve.xs, curve.ys, model == QStringLiteral("Lorentzian peak"), GetParam().terms)
                   : timetagger::gui::makeExponentialFitOverlay(
                         curve.xs, curve.ys, model == QStringLiteral("g2 exponential"), GetParam().terms);
    }

    Stage stage;
    QList<UiTimeTag> tags;
    TagRun run{{{0, 0}, {1, 1}}, 0, 1, 1, 1, 0};
};

TEST_P(CorrelationAnalysis, IsShownWithoutAFit) {
    stage.show(tags);
    expectCurve(stage, run);
    expectCommonRows(stage, run, GetParam().mode);
    EXPECT_TRUE(stage.integrated().overlayXs.isEmpty());
    if (GetParam().line != nullptr) {
        EXPECT_EQ(stage.stat(3), statRow("Center bin", QString::number(run.centre(), 'f', run.g2 ? 3 : 0)));
        EXPECT_EQ(stage.stat(4), kNoStat);
        EXPECT_EQ(stage.stat(5), statRow("Offset", QStringLiteral("disabled")));
        EXPECT_EQ(stage.appliedOffset(), QStringLiteral("Applied offset: disabled"));
        EXPECT_EQ(stage.integrated().statTexts,
                  firstStatLines(run, 1, 2) + QStringList(QString::fromUtf8(GetParam().line)));
        return;
    }
    EXPECT_EQ(stage.stat(3), statRow("Peak", run.peak()));
    EXPECT_EQ(stage.stat(4).label, QStringLiteral("Mean / RMS"));
    EXPECT_TRUE(stage.stat(4).value.endsWith(QStringLiteral(" ns")));
    const QList<double> meanAndRms = numbersIn(stage.stat(4).value);
    ASSERT_EQ(meanAndRms.size(), 2) << stage.stat(4).value.toStdString();
    EXPECT_NEAR(meanAndRms[0], run.histogram.mean() / 1000, 5.1e-4);
    EXPECT_NEAR(meanAndRms[1], run.histogram.rms() / 1000, 5.1e-4);
    EXPECT_EQ(stage.stat(5), statRow("Offset", QStringLiteral("4.321 ns")));
    EXPECT_EQ(stage.appliedOffset(), QStringLiteral("Applied offset: 4.321 ns"));
    EXPECT_EQ(stage.integrated().statTexts, peakStatLines(run));
}

TEST_P(CorrelationAnalysis, IsShownWithItsFit) {
    stage.box("fitEnabled").setChecked(true);
    for (const char* style : {"Line", "Dots", "Bars"}) {
        stage.choose("histogram", style);
        stage.tab.resetMeasurement();
        stage.show(tags);
        const auto expected = overlay();
        ASSERT_TRUE(expected.valid);
        const ShownPlot shown = stage.integrated();
        ASSERT_EQ(shown.overlayXs.size(), 1) << style;
        EXPECT_EQ(shown.overlayMode, 1) << "lines";
        expectValues(shown.overlayXs[0], run.curve().xs, "lags of the fit");
        expectValues(shown.overlayYs[0], expected.y, "fit");
        EXPECT_EQ(shown.overlayLabels, QStringList(expected.label));
        EXPECT_EQ(shown.overlayColors, QList<QColor>{kOrange});
    }
}

TEST_P(CorrelationAnalysis, TellsWhatTheFitSays) {
    stage.box("fitEnabled").setChecked(true);
    stage.show(tags);
    const auto fit = overlay();
    ASSERT_TRUE(fit.valid);
    EXPECT_EQ(stage.stat(4).label, fit.label);
    const QStringList lines = stage.integrated().statTexts;
    if (GetParam().line == nullptr) {
        EXPECT_EQ(stage.stat(4).value,
                  QStringLiteral("%1 ns / FWHM %2 ns").arg(fixed3(fit.center), fixed3(fit.fwhm)));
        const QString kind = QString::fromUtf8(GetParam().model).startsWith(QStringLiteral("Lorentzian"))
                                 ? QStringLiteral("gamma")
                                 : QStringLiteral("sigma");
        const QString line =
            QStringLiteral("%1: center %2 ns, %3 %4 ns, FWHM %5 ns")
                .arg(fit.label, fixed3(fit.center), kind, fixed3(fit.width), fixed3(fit.fwhm));
        EXPECT_EQ(lines, peakStatLines(run) + QStringList(line));
        return;
    }
    EXPECT_EQ(stage.stat(4).value, QStringLiteral("tau %1 ns").arg(fixed3(fit.width)));
    EXPECT_EQ(lines, firstStatLines(run, 1, 2) + QStringList(QString::fromUtf8(GetParam().line)) +
                         QStringList(QStringLiteral("%1: tau %2 ns").arg(fit.label, fixed3(fit.width))) +
                         fit.details);
}

INSTANTIATE_TEST_SUITE_P(
    Modes, CorrelationAnalysis,
    ::testing::Values(
        AnalysisRow{"Gaussian", "Peak / alignment", "Gaussian peak", 1, "integrated peak/alignment", nullptr},
        AnalysisRow{"Lorentzian", "Peak / alignment", "Lorentzian peak", 1, "integrated peak/alignment",
                    nullptr},
        AnalysisRow{"ThreePeaks", "Peak / alignment", "Gaussian peak", 3, "integrated peak/alignment",
                    nullptr},
        AnalysisRow{"Antibunching", "Photon antibunching", "g2 exponential", 2, "integrated antibunching",
                    "Antibunching view: zero lag is not peak-centered"},
        AnalysisRow{"Lifetime", "Lifetime decay fit", "Lifetime exponential", 1,
                    "integrated lifetime decay fit", "Lifetime decay fit: positive lag is fit"}),
    [](const auto& test) { return test.param.name; });

TEST(CorrelationFit, AFitThatFailsDrawsNothing) {
    Stage stage(R"({"analysisMode": "Lifetime decay fit", "fitEnabled": true})");
    stage.show({{0, 0}, {1, 900'000}});
    EXPECT_TRUE(stage.integrated().overlayXs.isEmpty());
    EXPECT_EQ(stage.stat(4), kNoStat);
}

TEST(CorrelationFit, ItGoesAwayAtOnce) {
    Stage stage(R"({"offsetMode": "None", "fitEnabled": true})");
    stage.show(randomTags(5, 500, 2000));
    ASSERT_EQ(stage.integrated().overlayXs.size(), 1);
    const quint64 before = stage.stat(2).value.toULongLong();
    stage.box("fitEnabled").setChecked(false);
    EXPECT_TRUE(stage.integrated().overlayXs.isEmpty());
    EXPECT_EQ(stage.stat(2).value.toULongLong(), before) << "and nothing else does";
    stage.box("fitEnabled").setChecked(true);
    EXPECT_EQ(stage.integrated().overlayXs.size(), 1);
}

} // namespace
} // namespace qorn::testing
