// What the instantaneous histogram shows: the latest tags of the two inputs, counted anew at each refresh.
#include "CorrelationTabStage.h"
#include "FitOverlays.h"

#include <numeric>

namespace qorn::testing {
namespace {

constexpr qint64 kMicrosecondPs = 1'000'000;

// A tab that shows the instantaneous histogram alone.
class Stage : public CorrelationStage {
public:
    explicit Stage(const char* config = "{}") : CorrelationStage(config) {
        box("viewInstant").setChecked(true);
        box("viewIntegrated").setChecked(false);
    }
};

// The tags of an input that are not older than the window behind the latest of both.
struct Latest {
    std::vector<qint64> sources;
    std::vector<qint64> targets;

    Latest(const QList<UiTimeTag>& tags, int source, int target, qint64 windowPs)
        : sources(timesOf(tags, source)), targets(timesOf(tags, target)) {
        const qint64 cutoff =
            std::max(sources.empty() ? 0 : sources.back(), targets.empty() ? 0 : targets.back()) - windowPs;
        std::erase_if(sources, [&](qint64 time) { return time < cutoff; });
        std::erase_if(targets, [&](qint64 time) { return time < cutoff; });
    }
    double spanPs() const {
        return static_cast<double>(std::max(sources.back(), targets.back()) -
                                   std::min(sources.front(), targets.front()));
    }
};

QString rateOf(const std::vector<qint64>& times) {
    const double rate =
        static_cast<double>(times.size()) / (static_cast<double>(times.back() - times.front()) / 1e12);
    if (rate >= 1e6) {
        return QString::number(rate / 1e6, 'f', 3) + QStringLiteral(" MHz");
    }
    if (rate >= 1000.0) {
        return QString::number(rate / 1000.0, 'f', 3) + QStringLiteral(" kHz");
    }
    return QString::number(rate, 'f', 1) + QStringLiteral(" Hz");
}

void expectCurve(const Stage& stage, const LagCounts& histogram, double expected) {
    const ShownPlot shown = stage.instant();
    const ShownCurve curve = shownCurve(histogram, expected);
    ASSERT_EQ(shown.xs.size(), 1);
    expectValues(shown.xs[0], curve.xs, "lags");
    expectValues(shown.ys[0], curve.ys, "values");
    EXPECT_EQ(shown.colors, QList<QColor>{kBlue});
    EXPECT_EQ(shown.xLabel, QStringLiteral("Lag (ns), target - source"));
    expectRange(xRangeOf(stage.plot("instantPlot")), curve.xs.front(), curve.xs.back(), "x");
    const double highest = *std::max_element(curve.ys.begin(), curve.ys.end());
    expectRange(yRangeOf(stage.plot("instantPlot")), 0, std::max(highest * 1.2, expected > 0.0 ? 1.5 : 1.0),
                "y");
}

bool tells(const Stage& stage, const QString& text) {
    if (stage.instant().statTexts.contains(text)) {
        return true;
    }
    for (int row = 0; row < 9; ++row) {
        if (stage.stat(row).value == text || stage.stat(row).label == text) {
            return true;
        }
    }
    return false;
}

TEST(CorrelationInstant, WaitsForBothInputs) {
    const QString waiting = QStringLiteral("Waiting for both selected channels");
    for (const int input : {0, 1}) {
        Stage stage(R"({"rangeNs": 3})");
        stage.refresh();
        EXPECT_TRUE(tells(stage, waiting));
        stage.show(pulses(input, 0, kMicrosecondPs, 50));
        EXPECT_TRUE(tells(stage, waiting));
        expectRange(xRangeOf(stage.plot("instantPlot")), -3, 3);
        stage.show(pulses(1 - input, 50 * kMicrosecondPs, kMicrosecondPs, 1));
        EXPECT_FALSE(tells(stage, waiting));
    }
}

TEST(CorrelationInstant, CountsThePairsOfTheWindow) {
    for (const char* axis : {"Counts", "g2(tau)"}) {
        Stage stage(R"({"analysisMode": "None", "rangeNs": 3, "binNs": 0.013, "instantWindowMs": 0.01})");
        stage.choose("normalize", axis);
        const bool g2 = QString::fromUtf8(axis) == QStringLiteral("g2(tau)");
        const QList<UiTimeTag> tags = randomTags(31, 20'000, 2000);
        QList<UiTimeTag> soFar;
        for (qsizetype first = 0; first < tags.size(); first += 7000) {
            soFar += tags.mid(first, 7000);
            stage.show(tags.mid(first, 7000));
            const Latest latest(soFar, 0, 1, 10 * kMicrosecondPs);
            ASSERT_GT(latest.sources.size(), 1000U);
            const LagCounts histogram = instantCounts(latest.sources, latest.targets, 3000, 13, 0);
            const double expected = static_cast<double>(latest.sources.size()) *
                                    static_cast<double>(latest.targets.size()) * 13 / latest.spanPs();
            expectCurve(stage, histogram, g2 ? expected : 0.0);
            EXPECT_EQ(stage.instant().labels.value(0), g2 ? QStringLiteral("g2") : QStringLiteral("entries"));
            EXPECT_EQ(stage.stat(2), statRow("Entries (window)", QString::number(histogram.total())));
            EXPECT_EQ(stage.stat(6), statRow("Mode", QStringLiteral("instantaneous universal (0.01 ms)")));
            const QStringList lines = stage.instant().statTexts;
            EXPECT_EQ(lines.value(0), QStringLiteral("Source ch 1: %1   %2")
                                          .arg(latest.sources.size())
                                          .arg(rateOf(latest.sources)));
            EXPECT_EQ(lines.value(1), QStringLiteral("Target ch 2: %1   %2")
                                          .arg(latest.targets.size())
                                          .arg(rateOf(latest.targets)));
        }
    }
}

TEST(CorrelationInstant, ATagAsOldAsTheTimeConstantStays) {
    Stage stage(R"({"analysisMode": "None", "instantWindowMs": 0.01})");
    const qint64 window = 10 * kMicrosecondPs;
    stage.show({{0, 0}, {0, 1}, {1, 100}, {0, window}});
    EXPECT_TRUE(stage.instant().statTexts.value(0).startsWith(QStringLiteral("Source ch 1: 3 ")));
    stage.show({{1, window + 1}});
    EXPECT_TRUE(stage.instant().statTexts.value(0).startsWith(QStringLiteral("Source ch 1: 2 ")));
    stage.show({{1, window + 101}});
    EXPECT_TRUE(stage.instant().statTexts.value(0).startsWith(QStringLiteral("Source ch 1: 1 ")));
    EXPECT_TRUE(stage.instant().statTexts.value(1).startsWith(QStringLiteral("Target ch 2: 2 ")));
}

TEST(CorrelationInstant, RatesAreWrittenByTheirMagnitude) {
    struct Row {
        qint64 periodPs;
        int count;
        const char* text;
    };
    // n tags over n - 1 periods
    for (const Row& row :
         {Row{kSecondPs / 2, 3, "3   3.0 Hz"}, Row{kSecondPs / 500, 501, "501   501.0 Hz"},
          Row{kSecondPs / 1000, 1001, "1001   1.001 kHz"}, Row{kSecondPs / 1000, 1000, "1000   1.001 kHz"},
          Row{kSecondPs / 1'000'000, 1001, "1001   1.001 MHz"},
          Row{kSecondPs / 999'000, 100'000, "100000   999.010 kHz"}}) {
        Stage stage(R"({"analysisMode": "None", "instantWindowMs": 60000})");
        QList<UiTimeTag> tags = pulses(0, 0, row.periodPs, row.count);
        tags += pulses(1, 5'000'000, row.periodPs, row.count);
        stage.show(inTimeOrder(tags));
        EXPECT_EQ(stage.instant().statTexts.value(0),
                  QStringLiteral("Source ch 1: ") + QString::fromUtf8(row.text));
        EXPECT_EQ(stage.instant().statTexts.value(1),
                  QStringLiteral("Target ch 2: ") + QString::fromUtf8(row.text));
    }
}

TEST(CorrelationInstant, AWindowThatIsNoMultipleOfTheBinHasItsOwnBins) {
    Stage stage(R"({"analysisMode": "None", "rangeNs": 0.01, "binNs": 0.004})");
    QList<UiTimeTag> tags;
    for (const qint64 lag : {-10, -9, -6, -5, -2, -1, 0, 1, 2, 5, 6, 9, 10, 11}) {
        const qint64 time = kMicrosecondPs * (tags.size() + 1);
        tags.append({0, time});
        tags.append({1, time + lag});
    }
    stage.show(inTimeOrder(tags));
    const LagCounts histogram = instantCounts(timesOf(tags, 0), timesOf(tags, 1), 10, 4, 0);
    EXPECT_EQ(histogram.counts.size(), 5U);
    EXPECT_EQ(histogram.total(), 11U) << "ten is out on both sides";
    expectCurve(stage, histogram, 0.0);
}

TEST(CorrelationInstant, ShowsAtMostFourThousandPoints) {
    Stage stage(R"json({"analysisMode": "None", "rangeNs": 40, "binNs": 0.004, "normalize": "g2(tau)"})json");
    const QList<UiTimeTag> tags = randomTags(17, 2000, 3000);
    stage.show(tags);
    const Latest latest(tags, 0, 1, kSecondPs);
    const LagCounts histogram = instantCounts(latest.sources, latest.targets, 40'000, 4, 0);
    ASSERT_EQ(histogram.counts.size(), 20'001U);
    const double expected = static_cast<double>(latest.sources.size()) *
                            static_cast<double>(latest.targets.size()) * 4 / latest.spanPs();
    expectCurve(stage, histogram, expected);
    EXPECT_EQ(stage.instant().points(), 3334);
    stage.choose("normalize", "Counts");
    expectCurve(stage, histogram, 0.0);
}

TEST(CorrelationInstant, BarsAndDotsAreDrawnAsSuch) {
    Stage stage(R"({"analysisMode": "None", "histogram": "Bars", "rangeNs": 40, "binNs": 0.004})");
    const QList<UiTimeTag> tags = randomTags(17, 500, 3000);
    stage.show(tags);
    const ShownCurve curve = shownCurve(instantCounts(timesOf(tags, 0), timesOf(tags, 1), 40'000, 4, 0), 0.0);
    expectValues(stage.instant().barXs, curve.xs);
    expectValues(stage.instant().barHeights, curve.ys);
    EXPECT_NEAR(stage.instant().barWidth, 4 * 6 / 1000.0 * 0.92, 1e-12);
    stage.choose("histogram", "Dots");
    EXPECT_EQ(stage.instant().mode, 2);
    expectValues(stage.instant().ys.value(0), curve.ys);
}

struct OffsetRow {
    const char* name;
    const char* config;
    qint64 offsetPs;
    const char* text;
    const char* mode;
};

void PrintTo(const OffsetRow& row, std::ostream* out) {
    *out << row.name;
}

class CorrelationInstantOffset : public ::testing::TestWithParam<OffsetRow> {};

TEST_P(CorrelationInstantOffset, FollowsAnalysisAndMode) {
    const OffsetRow& row = GetParam();
    Stage stage(row.config);
    const QList<UiTimeTag> tags = pairsOfTags(0, 1, 1'000'000, kMicrosecondPs, 12'400, 20);
    stage.show(tags);
    const LagCounts histogram =
        instantCounts(timesOf(tags, 0), timesOf(tags, 1), stage.number("rangeNs").value() > 5 ? 20'000 : 1000,
                      8, row.offsetPs);
    const ShownCurve curve = shownCurve(histogram, 0.0);
    const double expected = static_cast<double>(timesOf(tags, 0).size() * timesOf(tags, 1).size()) * 8 /
                            static_cast<double>(tags.back().timePs - tags.front().timePs);
    const bool g2 = stage.choice("normalize").currentText() == QStringLiteral("g2(tau)");
    expectValues(stage.instant().ys.value(0), g2 ? shownCurve(histogram, expected).ys : curve.ys);
    EXPECT_EQ(stage.stat(5), statRow("Offset", QString::fromUtf8(row.text)));
    EXPECT_EQ(stage.stat(6), statRow("Mode", QString::fromUtf8(row.mode)));
}

INSTANTIATE_TEST_SUITE_P(
    Modes, CorrelationInstantOffset,
    ::testing::Values(OffsetRow{"Manual", R"({"offsetMode": "Manual", "manualOffsetNs": 12.1})", 12'100,
                                "12.100 ns manual", "instantaneous peak/alignment (100 ms)"},
                      OffsetRow{"Auto", R"({"offsetMode": "Auto"})", 12'400, "12.400 ns auto",
                                "instantaneous peak/alignment (100 ms)"},
                      OffsetRow{"AutoWithoutAnEstimate",
                                R"({"offsetMode": "Auto", "offsetSearchNs": 5, "rangeNs": 20})", 0,
                                "estimating...", "instantaneous peak/alignment (100 ms)"},
                      OffsetRow{"NoOffset", R"({"offsetMode": "None", "rangeNs": 20})", 0, "0.000 ns",
                                "instantaneous peak/alignment (100 ms)"},
                      OffsetRow{"NoAnalysis",
                                R"({"analysisMode": "None", "offsetMode": "Manual", "manualOffsetNs": 12.1,
                  "rangeNs": 20})",
                                0, "disabled", "instantaneous universal (100 ms)"},
                      OffsetRow{"Antibunching", R"({"analysisMode": "Photon antibunching", "rangeNs": 20})",
                                0, "disabled", "instantaneous antibunching (100 ms)"},
                      OffsetRow{"Lifetime", R"({"analysisMode": "Lifetime decay fit", "rangeNs": 20})", 0,
                                "disabled", "instantaneous lifetime decay fit (100 ms)"}),
    [](const auto& test) { return test.param.name; });

TEST(CorrelationInstant, TheAutomaticOffsetFollowsTheSignal) {
    Stage stage(R"({"instantWindowMs": 0.1})");
    qint64 begin = 0;
    for (const qint64 lag : {12'400, -3000, 50'000}) {
        stage.show(pairsOfTags(0, 1, begin, kMicrosecondPs, lag, 150));
        begin += 1000 * kMicrosecondPs;
        EXPECT_EQ(stage.stat(5).value, fixed3(static_cast<double>(lag) / 1000) + QStringLiteral(" ns auto"));
        EXPECT_EQ(stage.instant().ys.value(0).value(125), 100.0) << "all pairs of the window, at zero";
    }
}

TEST(CorrelationInstant, HasItsFitToo) {
    Stage stage(R"({"offsetMode": "None", "fitEnabled": true, "fitMode": "Lorentzian peak", "fitTerms": 2})");
    const QList<UiTimeTag> tags = randomTags(3, 2000, 3000, 100);
    stage.show(tags);
    const ShownCurve curve = shownCurve(instantCounts(timesOf(tags, 0), timesOf(tags, 1), 1000, 8, 0), 0.0);
    const auto fit = timetagger::gui::makePeakFitOverlay(curve.xs, curve.ys, true, 2);
    ASSERT_TRUE(fit.valid);
    ASSERT_EQ(stage.instant().overlayYs.size(), 1);
    expectValues(stage.instant().overlayYs[0], fit.y);
    EXPECT_EQ(stage.instant().overlayLabels, QStringList(fit.label));
    EXPECT_EQ(stage.instant().overlayColors, QList<QColor>{kOrange});
    EXPECT_EQ(stage.stat(4).label, fit.label);
}

TEST(CorrelationInstant, BothHistogramsAreIndependent) {
    Stage stage(R"({"analysisMode": "None", "instantWindowMs": 0.01})");
    stage.box("viewIntegrated").setChecked(true);
    stage.feed(pairsOfTags(0, 1, 0, kMicrosecondPs, 100, 100));
    stage.show(pairsOfTags(0, 1, kSecondPs, kMicrosecondPs, 200, 5));
    const QList<double> run = stage.integrated().ys.value(0);
    const QList<double> latest = stage.instant().ys.value(0);
    EXPECT_EQ(std::accumulate(run.begin(), run.end(), 0.0), 105.0);
    EXPECT_EQ(std::accumulate(latest.begin(), latest.end(), 0.0), 5.0);
    EXPECT_EQ(stage.stat(6).value, QStringLiteral("instantaneous universal (0.01 ms)"))
        << "the table is of what is rendered last";
}

TEST(CorrelationInstant, TagsOfTheOtherInputsDoNotMoveTheWindow) {
    Stage stage(R"({"analysisMode": "None", "instantWindowMs": 0.01})");
    stage.feed({{0, 0}, {1, 100}});
    stage.show({{2, kSecondPs}, {3, kSecondPs}, {200, kSecondPs}});
    EXPECT_EQ(stage.stat(2), statRow("Entries (window)", QStringLiteral("1")));
}

} // namespace
} // namespace qorn::testing
