// What the Multi correlation tab counts: lag histograms, windows and gates, against every pair looked at.
#include "MultiCorrelationTabStage.h"

namespace qorn::testing {
namespace {

using Stage = MultiCorrelationStage;

constexpr qint64 kGate = kSecondPs / 10; // of the default integration

// Tags of inputs 1 and 2 at these lags, far from each other.
QList<UiTimeTag> lags(const std::vector<qint64>& values) {
    QList<UiTimeTag> tags;
    qint64 time = 0;
    for (const qint64 lag : values) {
        time += 100'000'000;
        tags.append({0, time});
        tags.append({1, time + lag});
    }
    return inTimeOrder(tags);
}

void expectHistograms(const Stage& stage, const MultiCorrelationReference& reference) {
    const ShownPlot shown = stage.histogram();
    ASSERT_EQ(shown.labels, pairLabels());
    QList<double> xs;
    for (qint64 bin = 0; bin < reference.binCount; ++bin) {
        xs.append(static_cast<double>(reference.binPs * bin - reference.rangePs) / 1000);
    }
    for (qsizetype pair = 0; pair < 6; ++pair) {
        expectValues(shown.xs[pair], xs, "lags");
        expectValues(shown.ys[pair], asDoubles(reference.histograms[static_cast<std::size_t>(pair)]),
                     "counts");
    }
}

void expectTraces(const Stage& stage, const MultiCorrelationReference& reference, double factor = 1.0) {
    const ShownPlot shown = stage.trace();
    ASSERT_EQ(shown.ys.size(), 12);
    for (std::size_t series = 0; series < 12; ++series) {
        QList<double> values;
        QList<double> xs;
        for (const auto& gate : reference.gates) {
            values.append(static_cast<double>(gate[series]) * factor);
            xs.append(static_cast<double>(xs.size() + 1) * static_cast<double>(reference.gatePs) / 1e12);
        }
        expectValues(shown.ys[static_cast<qsizetype>(series)], values, "window counts");
        ASSERT_EQ(shown.xs[static_cast<qsizetype>(series)].size(), xs.size());
        if (xs.size() > 1) { // a gate's length apart, from near 0 on
            const QList<double>& shownXs = shown.xs[static_cast<qsizetype>(series)];
            EXPECT_NEAR(shownXs.last() - shownXs.first(), xs.last() - xs.first(), 1e-6);
            EXPECT_GE(shownXs.first(), 0.0);
            EXPECT_LE(shownXs.first(), xs.first() + 1e-9);
        }
    }
}

// --- histograms --------------------------------------------------------------------------------------------

TEST(MultiCorrelationHistogram, CountsEveryPairOfEveryInput) {
    struct Row {
        double rangeNs;
        double binNs;
        qint64 spacingPs;
    };
    for (const Row& row : {Row{0.5, 0.008, 100}, Row{10, 0.013, 2000}, Row{0.1, 0.007, 50}}) {
        Stage stage;
        stage.number("rangeNs").setValue(row.rangeNs);
        stage.number("binNs").setValue(row.binNs);
        MultiCorrelationReference reference;
        reference.setRange(std::llround(row.rangeNs * 1000), std::llround(row.binNs * 1000));
        const QList<UiTimeTag> tags = crowdedTags(4, 10'000, row.spacingPs);
        std::mt19937_64 random(9);
        for (qsizetype first = 0; first < tags.size();) {
            const auto size = static_cast<qsizetype>(random() % 700);
            stage.feed(tags.mid(first, size));
            reference.addBatch(tags.mid(first, size));
            first += size;
        }
        stage.pause();
        expectHistograms(stage, reference);
        EXPECT_GT(stage.total(5), 1000.0);
        EXPECT_EQ(stage.histogram().colors, multiPairColors());
        EXPECT_EQ(stage.histogram().mode, 1) << "lines";
        const ShownRange x = xRangeOf(stage.plot("histogramPlot"));
        EXPECT_NEAR(x.lo, -row.rangeNs, row.binNs);
        EXPECT_NEAR(x.hi, row.rangeNs, row.binNs);
        double highest = 1.0;
        for (int pair = 0; pair < 6; ++pair) {
            const QList<double> counts = stage.counts(pair);
            highest = std::max(highest, *std::max_element(counts.begin(), counts.end()));
        }
        expectRange(yRangeOf(stage.plot("histogramPlot")), 0, 1.15 * highest);
    }
}

TEST(MultiCorrelationHistogram, ALagIsSecondInputMinusFirst) {
    for (int pair = 0; pair < 6; ++pair) {
        Stage stage;
        const auto first = static_cast<quint8>(kPairInputs[pair][0]);
        const auto second = static_cast<quint8>(kPairInputs[pair][1]);
        stage.show({{first, 10'000}, {second, 10'100}, {second, 20'000}, {first, 20'300}});
        for (int other = 0; other < 6; ++other) {
            EXPECT_EQ(stage.total(other), other == pair ? 2.0 : 0.0);
        }
        EXPECT_EQ(stage.counts(pair)[(100 + 500) / 8], 1.0);
        EXPECT_EQ(stage.counts(pair)[(-300 + 500) / 8], 1.0);
    }
}

TEST(MultiCorrelationHistogram, ALagOfTheHalfRangeLandsInTheOutermostBin) {
    for (const double binNs : {0.008, 0.007}) {
        Stage stage;
        stage.number("binNs").setValue(binNs);
        stage.show(lags({500, -500, 501, -501}));
        const QList<double> counts = stage.counts(0);
        EXPECT_EQ(stage.total(0), 2.0);
        EXPECT_EQ(counts.first(), 1.0);
        EXPECT_EQ(counts.last(), 1.0);
    }
}

TEST(MultiCorrelationHistogram, EqualTimesCountAsLagZeroWhicheverComesFirst) {
    Stage stage;
    stage.show({{1, 1000}, {0, 1000}, {0, 1'000'000}, {1, 1'000'000}, {3, 2'000'000}, {2, 2'000'000}});
    EXPECT_EQ(stage.counts(0)[500 / 8], 2.0);
    EXPECT_EQ(stage.counts(5)[500 / 8], 1.0);
    EXPECT_EQ(stage.total(0), 2.0);
}

TEST(MultiCorrelationHistogram, HasFourThousandAndOneBinsAtMost) {
    struct Row {
        double rangeNs;
        double binNs;
        qsizetype bins;
        double effectiveNs;
    };
    for (const Row& row : {Row{1000, 0.004, 4001, 0.5}, Row{8, 0.004, 4001, 0.004},
                           Row{8.002, 0.004, 4001, 0.004}, Row{16.004, 0.004, 4001, 0.008},
                           Row{1e6, 0.004, 4001, 500}, Row{1e6, 500, 4001, 500}, Row{0.01, 1e6, 1, 1e6}}) {
        Stage stage;
        stage.number("rangeNs").setValue(row.rangeNs);
        stage.number("binNs").setValue(row.binNs);
        const auto range = std::llround(row.rangeNs * 1000);
        stage.show(lags({-range, range, 0}));
        const QList<double> xs = stage.histogram().xs.value(0);
        ASSERT_EQ(xs.size(), row.bins) << row.rangeNs;
        EXPECT_NEAR(xs.first(), -row.rangeNs, 1e-9);
        if (xs.size() > 1) {
            EXPECT_NEAR(xs[1] - xs[0], row.effectiveNs, 1e-9);
        }
        EXPECT_EQ(stage.counts(0).first(), row.bins > 1 ? 1.0 : 3.0);
    }
}

TEST(MultiCorrelationHistogram, OnlySelectedPairsAreCountedAndShown) {
    Stage stage(R"({"pairs": [false, true, false, false, true, false]})");
    stage.show(delayedPulses({0, 0, 0, 0}, 0, 1'000'000, 50));
    const ShownPlot shown = stage.histogram();
    EXPECT_EQ(shown.labels, texts({"1-3", "2-4"}));
    EXPECT_EQ(shown.colors, (QList<QColor>{multiPairColors()[1], multiPairColors()[4]}));
    EXPECT_EQ(stage.total(0), 50.0);
    stage.box("pairs", 1).setChecked(true);
    EXPECT_EQ(stage.histogram().labels, texts({"1-2", "1-3", "2-4"}));
    EXPECT_EQ(stage.total(0), 0.0);
}

TEST(MultiCorrelationHistogram, WithoutAPairATagOnlyMovesTheGate) {
    Stage stage(R"({"pairs": [false, false, false, false, false, false]})");
    stage.show({{0, 0}, {1, 1}, {0, 3 * kGate}});
    EXPECT_EQ(stage.histogram().points(), 0);
    EXPECT_EQ(stage.status(), QStringLiteral("stopped after 3 trace sample(s), 3 tag(s)"));
}

TEST(MultiCorrelationHistogram, InputsThatDoNotExistAreIgnored) {
    Stage stage;
    stage.feed({});
    stage.feed({{4, 0}, {255, kSecondPs}});
    stage.show({{7, 0}, {0, 0}, {1, 0}, {9, 50 * kGate}});
    EXPECT_EQ(stage.total(0), 1.0);
    EXPECT_EQ(stage.status(), QStringLiteral("stopped after 0 trace sample(s), 2 tag(s)"));
}

// --- windows and gates -------------------------------------------------------------------------------------

TEST(MultiCorrelationTraces, CountTheWindowsOfEveryPairPerGate) {
    for (const bool perSecond : {false, true}) {
        Stage stage;
        MultiCorrelationReference reference;
        stage.number("rangeNs").setValue(3);
        stage.number("binNs").setValue(0.1);
        reference.setRange(3000, 100);
        stage.number("gateSec").setValue(0.001);
        reference.gatePs = 1'000'000'000;
        stage.choose("rateMode", perSecond ? "Per second" : "Per interval");
        for (int pair = 1; pair <= 6; ++pair) {
            auto& windows = reference.windows[static_cast<std::size_t>(pair - 1)];
            windows = {{{-100 * pair, 150 * pair}, {200 * pair, 50 * pair + 1}}};
            stage.number("centerA", pair).setValue(static_cast<double>(windows[0].first) / 1000);
            stage.number("widthA", pair).setValue(static_cast<double>(windows[0].second) / 500);
            stage.number("centerB", pair).setValue(static_cast<double>(windows[1].first) / 1000);
            stage.number("widthB", pair).setValue(static_cast<double>(windows[1].second) / 500);
        }
        QList<UiTimeTag> tags = crowdedTags(6, 8000, 1500);
        for (qsizetype tag = 0; tag < tags.size(); ++tag) { // bursts, a few in each gate
            tags[tag].timePs += (tag / 100) * 700'000'000;
        }
        stage.feed(tags);
        reference.addBatch(tags);
        stage.pause();
        ASSERT_GT(reference.gates.size(), 50U);
        expectHistograms(stage, reference);
        expectTraces(stage, reference, perSecond ? 1000.0 : 1.0);
        const ShownPlot shown = stage.trace();
        QStringList names;
        QList<QColor> colors;
        for (int pair = 0; pair < 6; ++pair) {
            names += {pairLabels()[pair] + QStringLiteral(" A"), pairLabels()[pair] + QStringLiteral(" B")};
            colors += {multiPairColors()[pair], multiPairColors()[pair]};
        }
        EXPECT_EQ(shown.labels, names);
        EXPECT_EQ(shown.colors, colors);
        EXPECT_EQ(shown.xLabel, QStringLiteral("Time (s)"));
        EXPECT_EQ(shown.yLabel, perSecond ? QStringLiteral("Window events / s")
                                          : QStringLiteral("Window events / interval"));
        double highest = 0.0;
        for (const QList<double>& ys : shown.ys) {
            highest = std::max(highest, *std::max_element(ys.begin(), ys.end()));
        }
        EXPECT_GT(highest, 10.0);
        expectRange(yRangeOf(stage.plot("tracePlot")), 0, 1.15 * highest);
        expectRange(xRangeOf(stage.plot("tracePlot")), 0, 10);
    }
}

TEST(MultiCorrelationTraces, AWindowHoldsItsHalfWidthToThePicosecond) {
    Stage stage;
    stage.number("centerA", 1).setValue(0.1);
    stage.number("widthA", 1).setValue(0.003); // 2 ps either way
    stage.number("centerB", 1).setValue(-0.2);
    stage.number("widthB", 1).setValue(0.001); // 1 ps, the least
    stage.feed(lags({97, 98, 99, 100, 101, 102, 103, -198, -199, -200, -201, -202}));
    stage.show({{2, kSecondPs}});
    EXPECT_EQ(stage.trace().ys[0][0], 5.0);
    EXPECT_EQ(stage.trace().ys[1][0], 3.0);
}

TEST(MultiCorrelationTraces, AWindowOutsideTheHalfRangeNeverCounts) {
    Stage stage; // B is 0.75 to 1.25 ns
    stage.feed(lags({1000, 900, 500, 0}));
    stage.show({{2, kSecondPs}});
    EXPECT_EQ(stage.trace().ys[0][0], 1.0);
    EXPECT_EQ(stage.trace().ys[1][0], 0.0);
}

TEST(MultiCorrelationTraces, AGapClosesEachGateThatItPasses) {
    Stage stage;
    stage.feed({{0, 5000}, {1, 5000}});
    EXPECT_EQ(stage.status(), QStringLiteral("acquiring multi-channel correlations..."));
    stage.feed({{0, kSecondPs + 5000}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 10   gate 0.100 s   processed 3 tag(s)"));
    EXPECT_EQ(stage.trace().ys.value(0), (QList<double>{1, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    stage.feed({{1, kSecondPs + 5000 + kGate - 1}});
    EXPECT_TRUE(stage.status().startsWith(QStringLiteral("sample 10 ")));
    stage.feed({{1, kSecondPs + 5000 + kGate}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 11   gate 0.100 s   processed 5 tag(s)"));
}

TEST(MultiCorrelationTraces, KeepTheGatesOfTheirWindow) {
    Stage stage(R"({"traceHistorySec": 1})");
    stage.feed({{0, 0}});
    stage.show({{0, 25 * kGate}});
    EXPECT_EQ(stage.trace().ys.value(0).size(), 10);
    EXPECT_EQ(stage.status(), QStringLiteral("stopped after 25 trace sample(s), 2 tag(s)"));
    expectRange(xRangeOf(stage.plot("tracePlot")), 0, 1);
}

TEST(MultiCorrelationTraces, KeepTwoGatesHoweverLong) {
    Stage stage(R"({"traceHistorySec": 0.1, "gateSec": 60})");
    stage.feed({{0, 0}, {1, 100}});
    stage.show({{0, 150 * kSecondPs}, {0, 310 * kSecondPs}});
    EXPECT_EQ(stage.trace().ys.value(0).size(), 2);
    const ShownRange x = xRangeOf(stage.plot("tracePlot"));
    EXPECT_GE(x.hi, 60.0);
    EXPECT_LE(x.hi, 120.0 + 1e-6);
}

TEST(MultiCorrelationTraces, ASilenceOfManyGatesIsTold) {
    Stage stage(R"({"gateSec": 0.001, "traceHistorySec": 3600})");
    stage.feed({{0, 0}, {1, 0}});
    stage.feed({{0, 100 * kSecondPs}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 100000   gate 0.001 s   processed 3 tag(s)"));
    stage.pause();
    const ShownPlot shown = stage.trace();
    EXPECT_LT(shown.ys.value(0).size(), 20'000) << "thinned";
    EXPECT_EQ(*std::max_element(shown.ys[0].begin(), shown.ys[0].end()), 1.0) << "but for its peaks";
    expectRange(xRangeOf(stage.plot("tracePlot")), 0, 3600);
}

// --- life cycle --------------------------------------------------------------------------------------------

TEST(MultiCorrelationRun, AStopTellsAndShowsWhatWasCounted) {
    Stage stage;
    stage.feed({{0, 0}, {1, 0}, {0, kGate}, {1, kGate}});
    stage.pause();
    EXPECT_EQ(stage.status(), QStringLiteral("stopped after 1 trace sample(s), 4 tag(s)"));
    EXPECT_EQ(stage.total(0), 2.0);
    EXPECT_EQ(stage.trace().ys.value(0), QList<double>{1}) << "the open gate is not closed";
}

TEST(MultiCorrelationRun, AResumeOpensAGateWithTheNextTagAndKeepsTheData) {
    Stage stage;
    stage.show({{0, 0}, {1, 0}, {0, kGate}, {1, kGate}});
    stage.resume();
    stage.feed({{0, 50 * kGate}, {1, 50 * kGate}, {2, 51 * kGate - 1}});
    stage.pause();
    EXPECT_EQ(stage.total(0), 3.0);
    EXPECT_EQ(stage.status(), QStringLiteral("stopped after 1 trace sample(s), 7 tag(s)"));
    stage.resume();
    stage.feed({{2, 60 * kGate}});
    stage.show({{2, 61 * kGate}});
    EXPECT_EQ(stage.trace().ys.value(0).size(), 2);
}

TEST(MultiCorrelationRun, AStartAndAResetForgetEverything) {
    for (const bool reset : {false, true}) {
        Stage stage;
        stage.show({{0, 0}, {1, 0}, {0, kGate}, {1, kGate}, {0, kGate + 10}});
        if (reset) {
            stage.tab.resetMeasurement();
            EXPECT_EQ(stage.status(), QStringLiteral("cleared"));
        } else {
            stage.start();
            EXPECT_EQ(stage.status(), QStringLiteral("acquiring multi-channel correlations..."));
        }
        EXPECT_EQ(stage.total(0), 0.0);
        EXPECT_LE(stage.trace().points(), 0);
        expectRange(yRangeOf(stage.plot("histogramPlot")), 0, 1.15);
        stage.show({{1, kGate + 20}}); // finds nothing to pair with
        EXPECT_EQ(stage.total(0), 0.0);
        EXPECT_EQ(stage.status(), QStringLiteral("stopped after 0 trace sample(s), 1 tag(s)"));
    }
}

TEST(MultiCorrelationRun, AChangedSettingRestartsTheHistogramsAndKeepsTheTraces) {
    Stage stage;
    stage.feed({{0, 0}, {1, 0}, {0, kGate}, {1, kGate}, {2, 2 * kGate}, {0, 2 * kGate}});
    stage.number("centerA", 3).setValue(0.1);
    EXPECT_EQ(stage.total(0), 0.0);
    EXPECT_EQ(stage.trace().ys.value(0), (QList<double>{1, 1}));
    // buffers and the open gate's counts are gone too: this finds nothing, and opens a gate
    stage.feed({{1, 2 * kGate}, {0, 3 * kGate - 1}, {1, 3 * kGate - 1}});
    EXPECT_EQ(stage.trace().ys.value(0).size(), 2);
    stage.show({{3, 3 * kGate}});
    EXPECT_EQ(stage.trace().ys.value(0), (QList<double>{1, 1, 1}));
    EXPECT_EQ(stage.total(0), 1.0);
}

TEST(MultiCorrelationRun, AfterAJumpOfTheTimeAxisPairsAreCountedAgain) {
    Stage stage;
    stage.feed(delayedPulses({0, 0, 0, 0}, 3'600 * kSecondPs, 1'000'000, 10));
    stage.feed(delayedPulses({0, 0, 0, 0}, 0, 1'000'000, 10));
    stage.show(delayedPulses({0, 200, 0, 0}, 5'000 * kSecondPs, 1'000'000, 10));
    EXPECT_EQ(stage.counts(0)[(200 + 500) / 8], 10.0);
}

TEST(MultiCorrelationRun, StrangeTimesAndTheWidestSettingsDoNoHarm) {
    constexpr qint64 kMost = std::numeric_limits<qint64>::max();
    constexpr qint64 kLeast = std::numeric_limits<qint64>::min();
    Stage stage(R"({"rangeNs": 1e6, "offsetsEnabled": true, "offsetsNs": [1e6, -1e6, 1e6, -1e6]})");
    stage.feed({{0, kMost}, {1, kLeast}, {2, 0}, {3, kMost - 1}});
    stage.feed({{0, kLeast}, {1, kMost}});
    stage.show({{0, 0}, {1, 1}});
    EXPECT_FALSE(pictureOf(stage.tab).isNull());
}

TEST(MultiCorrelationRun, StopBeforeStartAndDeathWhileRunningDoNoHarm) {
    auto tab = std::make_unique<timetagger::gui::MultiCorrelationTab>();
    tab->onStop();
    tab->onStart();
    tab->onTagsBatch({{0, 0}});
    tab.reset();
    QCoreApplication::processEvents();
}

TEST(MultiCorrelationRun, ALogHasAnEmptyHeaderAndItsSnapshots) {
    Stage stage;
    stage.startLog();
    stage.feed({{0, 0}, {1, 0}, {0, kGate}});
    const std::string path = stage.tab.currentLogPath().toStdString();
    stage.tab.stopLog();
    const ReadLog log = readLog(path);
    EXPECT_EQ(log.experiment, "Multi correlation");
    EXPECT_TRUE(log.rows().empty());
    EXPECT_FALSE(log.snapshots().empty());
}

} // namespace
} // namespace qorn::testing
