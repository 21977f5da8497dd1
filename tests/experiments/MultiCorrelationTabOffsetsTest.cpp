// Thinned tags and the banner that tells of them, and the software offsets of the Multi correlation tab.
#include "MultiCorrelationTabStage.h"

namespace qorn::testing {
namespace {

using Stage = MultiCorrelationStage;

constexpr qint64 kGate = kSecondPs / 10;
const QString kReduced = QStringLiteral(
    "Data reduction active: using a bounded tag sample for multi-correlation (%1 processed, %2 skipped%3).");

void expectAll(const Stage& stage, const MultiCorrelationReference& reference) {
    for (int pair = 0; pair < 6; ++pair) {
        expectValues(stage.counts(pair), asDoubles(reference.histograms[static_cast<std::size_t>(pair)]));
    }
}

// --- reduction ---------------------------------------------------------------------------------------------

TEST(MultiCorrelationReduction, ALargeBatchIsThinnedByTheHash) {
    struct Row {
        int tags;
        quint64 stride;
    };
    for (const Row& row : {Row{12'000, 1}, Row{12'001, 2}, Row{24'001, 3}, Row{48'000, 4}}) {
        Stage stage;
        QList<UiTimeTag> tags = crowdedTags(3, 2 * row.tags, 200);
        tags.removeIf([](const UiTimeTag& tag) { return tag.channel > 3; });
        tags.resize(row.tags);
        tags.append({99, tags.back().timePs}); // counts for nothing
        MultiCorrelationReference reference;
        reference.addBatch(tags, row.stride);
        stage.show(tags);
        expectAll(stage, reference);
        EXPECT_GT(stage.total(0), 100.0);
        if (row.stride == 1) {
            EXPECT_FALSE(stage.banner().isVisible());
            EXPECT_EQ(stage.status(), QStringLiteral("stopped after 0 trace sample(s), 12000 tag(s)"));
            continue;
        }
        EXPECT_EQ(stage.bannerText(), kReduced.arg(reference.processed)
                                          .arg(reference.skipped)
                                          .arg(QStringLiteral(", up to 1/%1 input stride").arg(row.stride)));
        EXPECT_EQ(stage.status(),
                  QStringLiteral("stopped after 0 trace sample(s), %1 tag(s) from %2 source tag(s)")
                      .arg(reference.processed)
                      .arg(row.tags));
    }
}

TEST(MultiCorrelationReduction, AStrideOfThreeLeavesANinthOfThePairs) {
    Stage stage;
    QList<UiTimeTag> tags;
    for (int pulse = 0; pulse < 15'000; ++pulse) {
        tags.append({0, pulse * 10'000});
        tags.append({1, pulse * 10'000 + 100});
    }
    stage.show(tags); // 30 000 tags
    EXPECT_TRUE(stage.bannerText().contains(QStringLiteral("1/3")));
    EXPECT_NEAR(stage.total(0), 15'000.0 / 9, 6 * std::sqrt(15'000.0 * 8 / 81));
}

TEST(MultiCorrelationReduction, TheSelectionGoesOnFromBatchesThatWereNotThinned) {
    Stage stage;
    MultiCorrelationReference reference;
    const QList<UiTimeTag> tags = crowdedTags(8, 60'000, 200);
    for (const auto& [first, size, stride] :
         {std::tuple{0, 501, 1}, {501, 30'000, 3}, {30'501, 7, 1}, {30'508, 29'000, 3}}) {
        QList<UiTimeTag> batch = tags.mid(first, size);
        reference.addBatch(batch, static_cast<quint64>(stride));
        stage.feed(batch);
    }
    stage.pause();
    expectAll(stage, reference);
    EXPECT_GT(reference.skipped, 30'000U);
    EXPECT_TRUE(stage.bannerText().contains(QStringLiteral("(%1 processed, %2 skipped, up to 1/3")
                                                .arg(reference.processed)
                                                .arg(reference.skipped)));
}

TEST(MultiCorrelationReduction, TheStatusTellsTheSourceOnceTagsAreThinned) {
    Stage stage;
    stage.feed({{0, 0}, {0, kGate}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 1   gate 0.100 s   processed 2 tag(s)"));
    const QList<UiTimeTag> tags = pulses(1, kGate + 1, 1'000'000, 20'000);
    MultiCorrelationReference reference;
    reference.addBatch({{0, 0}, {0, kGate}});
    reference.addBatch(tags, 2);
    stage.feed(tags);
    reference.addBatch({{0, 2 * kGate}});
    stage.feed({{0, 2 * kGate}});
    EXPECT_EQ(stage.status(), QStringLiteral("sample 2   gate 0.100 s   processed %1 tag(s) / 20003 source")
                                  .arg(reference.processed));
}

TEST(MultiCorrelationReduction, AFullBufferDropsItsOldest) {
    Stage stage(R"({"rangeNs": 1000000})");
    stage.feed(pulses(0, 0, 100'000, 9000)); // within a millisecond
    EXPECT_EQ(stage.bannerText(),
              kReduced.arg(9000).arg(0).arg(QStringLiteral(", 808 old buffered tag(s) discarded")));
    stage.show({{1, 900'000'000}});
    EXPECT_EQ(stage.total(0), 8192.0);
    EXPECT_EQ(stage.status(), QStringLiteral("stopped after 0 trace sample(s), 9001 tag(s)"));
}

TEST(MultiCorrelationReduction, BothKindsOfLossAreTold) {
    Stage stage(R"({"rangeNs": 1000000})");
    const QList<UiTimeTag> tags = pulses(2, 0, 20'000, 40'000);
    MultiCorrelationReference reference;
    reference.setRange(1'000'000'000, 500'000);
    reference.addBatch(tags, 4);
    stage.feed(tags);
    ASSERT_GT(reference.discarded, 0U);
    EXPECT_EQ(stage.bannerText(),
              kReduced.arg(reference.processed)
                  .arg(reference.skipped)
                  .arg(QStringLiteral(", up to 1/4 input stride, %1 old buffered tag(s) discarded")
                           .arg(reference.discarded)));
}

TEST(MultiCorrelationReduction, TheBannerGoesWithAStartAndAReset) {
    for (const bool reset : {false, true}) {
        Stage stage;
        stage.feed(pulses(0, 0, 1'000'000, 13'000));
        EXPECT_TRUE(stage.banner().isVisible());
        if (reset) {
            stage.tab.resetMeasurement();
        } else {
            stage.pause();
            EXPECT_TRUE(stage.banner().isVisible());
            stage.start();
        }
        EXPECT_FALSE(stage.banner().isVisible());
        stage.feed(pulses(0, kSecondPs, 1'000'000, 100));
        EXPECT_FALSE(stage.banner().isVisible());
    }
}

// --- offsets -----------------------------------------------------------------------------------------------

TEST(MultiCorrelationOffsets, MoveTheTagsWhenTheyAreEnabled) {
    for (const bool enabled : {false, true}) {
        Stage stage(R"({"offsetsNs": [5, 0, -0.002, 1000]})");
        stage.box("offsetsEnabled").setChecked(enabled);
        MultiCorrelationReference reference;
        if (enabled) {
            reference.offsetsPs = {5000, 0, -2, 1'000'000};
        }
        const QList<UiTimeTag> tags = crowdedTags(5, 9000, 150);
        stage.feed(tags.mid(0, 5000));
        reference.addBatch(tags.mid(0, 5000));
        stage.show(tags.mid(5000));
        reference.addBatch(tags.mid(5000));
        expectAll(stage, reference);
    }
}

TEST(MultiCorrelationOffsets, AutoRemovalBringsAllPeaksToZero) {
    // the bins of the histograms begin at multiples of 4 ps
    const std::array<qint64, 4> delays{0, 1200, -2400, 3996};
    Stage stage(R"({"rangeNs": 8, "binNs": 0.004})");
    stage.show(delayedPulses(delays, 1'000'000, 1'000'000, 200));
    EXPECT_EQ(stage.counts(1)[(8000 - 2400) / 4], 200.0);
    stage.button("autoRemoveOffsets").click();
    EXPECT_TRUE(stage.box("offsetsEnabled").isChecked());
    EXPECT_TRUE(stage.number("offsetsNs", 1).isEnabled());
    EXPECT_EQ(stage.number("offsetsNs", 1).value(), 0.0);
    EXPECT_EQ(stage.number("offsetsNs", 2).value(), -1.2);
    EXPECT_EQ(stage.number("offsetsNs", 3).value(), 2.4);
    EXPECT_EQ(stage.number("offsetsNs", 4).value(), -3.996);
    EXPECT_EQ(stage.status(),
              QStringLiteral("applied offsets: Ch1 0.000 ns, Ch2 -1.200 ns, Ch3 2.400 ns, Ch4 -3.996 ns"));
    EXPECT_EQ(stage.total(0), 0.0) << "it counts anew";
    stage.resume();
    stage.show(delayedPulses(delays, kSecondPs, 1'000'000, 100));
    for (int pair = 0; pair < 6; ++pair) {
        EXPECT_EQ(stage.counts(pair)[2000], 100.0) << pair;
    }
}

TEST(MultiCorrelationOffsets, AutoRemovalAddsToOffsetsInForce) {
    Stage stage(R"({"rangeNs": 8, "binNs": 0.004, "offsetsEnabled": true, "offsetsNs": [7, 3, 7, 7]})");
    stage.show(delayedPulses({0, 6000, 0, 0}, 0, 1'000'000, 50)); // 2 ns are left of the delay
    stage.button("autoRemoveOffsets").click();
    EXPECT_EQ(stage.number("offsetsNs", 1).value(), 7.0);
    EXPECT_EQ(stage.number("offsetsNs", 2).value(), 1.0);
    EXPECT_EQ(stage.number("offsetsNs", 3).value(), 7.0);
}

TEST(MultiCorrelationOffsets, AutoRemovalStartsFromZeroWhenOffsetsWereNotInForce) {
    Stage stage(R"({"rangeNs": 8, "binNs": 0.004, "offsetsEnabled": false, "offsetsNs": [7, 3, 7, 7]})");
    stage.show(delayedPulses({0, 6000, 0, 0}, 0, 1'000'000, 50));
    stage.button("autoRemoveOffsets").click();
    EXPECT_TRUE(stage.box("offsetsEnabled").isChecked());
    EXPECT_EQ(stage.number("offsetsNs", 1).value(), 0.0);
    EXPECT_EQ(stage.number("offsetsNs", 2).value(), -6.0);
    EXPECT_EQ(stage.number("offsetsNs", 3).value(), 0.0);
    EXPECT_EQ(stage.number("offsetsNs", 4).value(), 0.0);
}

TEST(MultiCorrelationOffsets, SelectedPairsAreTheOnesThatCount) {
    // inputs 1 and 2 alone are corrected; what the other pairs show does not matter
    Stage stage(R"({"rangeNs": 8, "binNs": 0.004, "pairs": [true, false, false, false, false, false]})");
    stage.show(delayedPulses({0, 400, 1200, -4000}, 0, 1'000'000, 50));
    stage.button("autoRemoveOffsets").click();
    EXPECT_EQ(stage.number("offsetsNs", 2).value(), -0.4);
    EXPECT_EQ(stage.number("offsetsNs", 3).value(), 0.0);
    EXPECT_EQ(stage.number("offsetsNs", 4).value(), 0.0);
}

TEST(MultiCorrelationOffsets, WithoutCountsNothingIsRemoved) {
    Stage stage;
    const QString told = QStringLiteral("run correlation data before auto offset removal");
    stage.button("autoRemoveOffsets").click();
    EXPECT_EQ(stage.status(), told);
    EXPECT_FALSE(stage.box("offsetsEnabled").isChecked());
    stage.show(delayedPulses({0, 100'000, 200'000, 300'000}, 0, 1'000'000, 50)); // beyond the range
    stage.button("autoRemoveOffsets").click();
    EXPECT_EQ(stage.status(), told);
    EXPECT_FALSE(stage.box("offsetsEnabled").isChecked());
    EXPECT_EQ(stage.number("offsetsNs", 2).value(), 0.0);
}

} // namespace
} // namespace qorn::testing
