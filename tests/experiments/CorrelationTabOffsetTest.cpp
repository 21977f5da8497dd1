// The offset of the Correlation tab: automatic, manual, measured; and what waits until it is settled.
#include "CorrelationTabStage.h"

namespace qorn::testing {
namespace {

using Stage = CorrelationStage;

constexpr qint64 kMicrosecondPs = 1'000'000;

QString entries(const Stage& stage) {
    EXPECT_EQ(stage.stat(2).label, QStringLiteral("Histogram entries"));
    return stage.stat(2).value;
}

TEST(CorrelationAutoOffset, NothingIsCountedUntilBothInputsHold128Tags) {
    Stage stage;
    QList<UiTimeTag> tags = pairsOfTags(0, 1, 0, kMicrosecondPs, 12'400, 128);
    stage.show(tags.mid(0, 255)); // 128 sources and 127 targets
    EXPECT_EQ(entries(stage), QStringLiteral("0"));
    EXPECT_EQ(stage.stat(0), statRow("Source tags", QStringLiteral("128")));
    EXPECT_EQ(stage.stat(1), statRow("Target tags", QStringLiteral("127")));
    EXPECT_EQ(stage.stat(5), statRow("Offset", QStringLiteral("estimating...")));
    EXPECT_EQ(stage.appliedOffset(), QStringLiteral("Applied offset: estimating..."));
    EXPECT_TRUE(stage.integrated().statTexts.contains(QStringLiteral("Offset: estimating...")));
    stage.show(tags.mid(255));
    EXPECT_EQ(entries(stage), QStringLiteral("128")) << "all that were held are counted";
    EXPECT_EQ(stage.stat(5), statRow("Offset", QStringLiteral("12.400 ns")));
    EXPECT_EQ(stage.appliedOffset(), QStringLiteral("Applied offset: 12.400 ns"));
    EXPECT_EQ(stage.stat(3), statRow("Peak", QStringLiteral("128 @ 0.000 ns")));
    stage.show(pairsOfTags(0, 1, kSecondPs, kMicrosecondPs, 12'400, 100));
    EXPECT_EQ(entries(stage), QStringLiteral("228"));
}

TEST(CorrelationAutoOffset, IsTheMedianOfTheNearestLags) {
    for (const int count : {300, 9000}) { // fewer and more than are sampled
        Stage stage(R"({"offsetSearchNs": 50})");
        std::mt19937_64 random(41);
        QList<UiTimeTag> tags;
        for (int pair = 0; pair < count; ++pair) {
            const qint64 time = pair * kMicrosecondPs;
            tags.append({0, time});
            tags.append({1, time - 20'000 + static_cast<qint64>(random() % 500)});
            if (random() % 4 == 0) {
                tags.append({1, time + static_cast<qint64>(random() % 100'000)});
            }
        }
        tags = inTimeOrder(tags);
        const auto expected = medianNearestLag(timesOf(tags, 0), timesOf(tags, 1), 50'000, 4000);
        ASSERT_TRUE(expected.has_value());
        stage.show(tags);
        EXPECT_EQ(stage.stat(5).value, fixed3(static_cast<double>(*expected) / 1000) + QStringLiteral(" ns"));
        const LagCounts histogram = integratedCounts(timesOf(tags, 0), timesOf(tags, 1), 1000, 8, *expected);
        QList<double> ys;
        for (const quint64 bin : histogram.counts) {
            ys.append(static_cast<double>(bin));
        }
        expectValues(stage.integrated().ys.value(0), ys);
    }
}

TEST(CorrelationAutoOffset, IsSoughtWithinTheSearchOnlyAndAgainAtEachRefresh) {
    Stage stage(R"({"offsetSearchNs": 12.399})");
    stage.show(pairsOfTags(0, 1, 0, kMicrosecondPs, 12'400, 500));
    EXPECT_EQ(stage.stat(5).value, QStringLiteral("estimating..."));
    stage.refresh();
    EXPECT_EQ(stage.stat(5).value, QStringLiteral("estimating..."));
    EXPECT_EQ(entries(stage), QStringLiteral("0"));
    stage.show(pairsOfTags(0, 1, kSecondPs, kMicrosecondPs, 5000, 1));
    EXPECT_EQ(stage.stat(5).value, QStringLiteral("5.000 ns")) << "one lag is enough";
    EXPECT_EQ(entries(stage), QStringLiteral("1"));
}

TEST(CorrelationAutoOffset, IsNeverEstimatedAgain) {
    Stage stage;
    stage.show(pairsOfTags(0, 1, 0, kMicrosecondPs, 12'400, 200));
    stage.show(pairsOfTags(0, 1, kSecondPs, kMicrosecondPs, 12'000, 5000));
    EXPECT_EQ(stage.stat(5).value, QStringLiteral("12.400 ns"));
    EXPECT_EQ(stage.stat(3), statRow("Peak", QStringLiteral("5000 @ -0.400 ns")));
    stage.tab.resetMeasurement();
    stage.show(pairsOfTags(0, 1, 2 * kSecondPs, kMicrosecondPs, 12'000, 200));
    EXPECT_EQ(stage.stat(5).value, QStringLiteral("12.000 ns")) << "until a reset";
    EXPECT_EQ(entries(stage), QStringLiteral("200"));
}

TEST(CorrelationAutoOffset, TheRunThatFollowsIsCountedAsIfTheOffsetHadBeenKnown) {
    for (const unsigned seed : {1U, 2U, 3U}) {
        Stage stage(R"({"rangeNs": 2, "binNs": 0.017})");
        const QList<UiTimeTag> tags = randomTags(seed, 6000, 2 * kMicrosecondPs, 7000);
        std::mt19937_64 random(seed);
        for (qsizetype first = 0; first < tags.size();) {
            const auto size = static_cast<qsizetype>(random() % 900);
            stage.show(tags.mid(first, size));
            first += size;
        }
        const QList<double> found = numbersIn(stage.stat(5).value);
        ASSERT_EQ(found.size(), 1);
        EXPECT_NEAR(found[0], 7, 0.2);
        const LagCounts histogram =
            integratedCounts(timesOf(tags, 0), timesOf(tags, 1), 2000, 17, std::llround(found[0] * 1000));
        expectValues(stage.integrated().ys.value(0), shownCurve(histogram, 0.0).ys);
    }
}

TEST(CorrelationManualOffset, CountsFromTheFirstTag) {
    Stage stage(R"({"offsetMode": "Manual", "manualOffsetNs": 12.4})");
    stage.show(pairsOfTags(0, 1, 0, kMicrosecondPs, 12'480, 3));
    EXPECT_EQ(stage.stat(3), statRow("Peak", QStringLiteral("3 @ 0.080 ns")));
    EXPECT_EQ(stage.stat(5), statRow("Offset", QStringLiteral("12.400 ns")));
    stage.number("manualOffsetNs").setValue(12.48);
    EXPECT_EQ(entries(stage), QStringLiteral("0")) << "another offset begins anew";
    stage.show(pairsOfTags(0, 1, kSecondPs, kMicrosecondPs, 12'480, 3));
    EXPECT_EQ(stage.stat(3), statRow("Peak", QStringLiteral("3 @ 0.000 ns")));
}

TEST(CorrelationManualOffset, DoesNotCountOutsideThePeakMode) {
    Stage stage(R"({"offsetMode": "Manual", "manualOffsetNs": 12.4, "analysisMode": "None", "rangeNs": 20,
                    "binNs": 0.1})");
    stage.show(pairsOfTags(0, 1, 0, kMicrosecondPs, 12'400, 3));
    const QList<double> ys = stage.integrated().ys.value(0);
    EXPECT_EQ(ys.indexOf(3.0), 200 + 124);
}

// --- measuring ---------------------------------------------------------------------------------------------

class MeasuringStage : public Stage {
public:
    // The instantaneous histogram holds the tags.
    explicit MeasuringStage(const char* config = "{}") : Stage(config) {
        box("viewInstant").setChecked(true);
    }
    QString measure() {
        button("measureOffset").click();
        return appliedOffset();
    }
};

TEST(CorrelationMeasureOffset, FixesTheLagAsTheManualOffset) {
    MeasuringStage stage;
    stage.feed(pairsOfTags(0, 1, 0, kMicrosecondPs, -12'345, 50));
    EXPECT_EQ(stage.measure(), QStringLiteral("Applied offset: -12.345 ns"));
    EXPECT_EQ(stage.choice("offsetMode").currentText(), QStringLiteral("Manual"));
    EXPECT_EQ(stage.number("manualOffsetNs").value(), -12.345);
    EXPECT_TRUE(stage.number("manualOffsetNs").isEnabled());
    EXPECT_FALSE(stage.number("offsetSearchNs").isEnabled());
    stage.box("viewInstant").setChecked(false);
    stage.show(pairsOfTags(0, 1, kSecondPs, kMicrosecondPs, -12'345, 50));
    EXPECT_EQ(stage.stat(3), statRow("Peak", QStringLiteral("50 @ 0.000 ns")));
}

TEST(CorrelationMeasureOffset, RestartsTheAccumulation) {
    MeasuringStage stage(R"({"offsetMode": "Manual", "manualOffsetNs": 5, "rangeNs": 20})");
    stage.show(pairsOfTags(0, 1, 0, kMicrosecondPs, 7000, 50));
    stage.measure();
    stage.box("viewInstant").setChecked(false);
    EXPECT_EQ(entries(stage), QStringLiteral("0"));
}

TEST(CorrelationMeasureOffset, TakesTheTagsOfTheRunWhenThereAreNoOthers) {
    Stage stage(R"({"offsetSearchNs": 20})");
    stage.feed(pairsOfTags(0, 1, 0, kMicrosecondPs, 12'400, 50)); // held until the offset is settled
    stage.button("measureOffset").click();
    EXPECT_EQ(stage.appliedOffset(), QStringLiteral("Applied offset: 12.400 ns"));
}

TEST(CorrelationMeasureOffset, SamplesTwiceAsManyTags) {
    MeasuringStage stage(R"({"instantWindowMs": 60000})");
    QList<UiTimeTag> tags;
    std::mt19937_64 random(12);
    for (int pair = 0; pair < 21'000; ++pair) {
        const qint64 time = pair * kMicrosecondPs;
        tags.append({0, time});
        tags.append({1, time + static_cast<qint64>(random() % 90'000)});
    }
    const std::vector<qint64> sources = timesOf(tags, 0);
    const std::vector<qint64> targets = timesOf(tags, 1);
    // the nearest target of each source is its own
    const auto median = [&](std::size_t samples) {
        std::vector<qint64> lags;
        for (std::size_t index = 0; index < sources.size() && lags.size() < samples;
             index += sources.size() / samples) {
            lags.push_back(targets[index] - sources[index]);
        }
        std::sort(lags.begin(), lags.end());
        return lags[lags.size() / 2];
    };
    ASSERT_NE(median(8000), median(4000));
    stage.feed(tags);
    EXPECT_EQ(stage.measure(),
              QStringLiteral("Applied offset: %1 ns").arg(fixed3(static_cast<double>(median(8000)) / 1000)));
}

TEST(CorrelationMeasureOffset, TellsWhyItCannot) {
    {
        MeasuringStage stage;
        EXPECT_EQ(stage.measure(), QStringLiteral("Applied offset: need running data"));
        stage.feed(pairsOfTags(0, 1, 0, kMicrosecondPs, 100, 7));
        EXPECT_EQ(stage.measure(), QStringLiteral("Applied offset: need running data"));
        stage.feed(pairsOfTags(0, 1, 7 * kMicrosecondPs, kMicrosecondPs, 100, 1));
        EXPECT_EQ(stage.measure(), QStringLiteral("Applied offset: 0.100 ns"));
    }
    {
        MeasuringStage stage(R"({"offsetSearchNs": 10})");
        stage.feed(pairsOfTags(0, 1, 0, kMicrosecondPs, 10'001, 100));
        EXPECT_EQ(stage.measure(), QStringLiteral("Applied offset: no correlation found"));
        EXPECT_EQ(stage.choice("offsetMode").currentText(), QStringLiteral("Auto"));
        EXPECT_EQ(stage.number("manualOffsetNs").value(), 0.0);
    }
    {
        MeasuringStage stage(R"({"targetChannel": 1})");
        EXPECT_EQ(stage.measure(), QStringLiteral("Applied offset: choose two distinct channels"));
    }
}

} // namespace
} // namespace qorn::testing
