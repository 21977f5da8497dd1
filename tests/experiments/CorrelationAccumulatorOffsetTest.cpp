// The offset that is found from the tags: when, which, and that nothing is lost or counted twice by it.
#include "CorrelationAccumulator.h"

#include "CorrelationAccumulatorReference.h"
#include "LagEstimators.h"

#include <string>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::countsOf;
using qorn::testing::cutAnywhere;
using qorn::testing::mixedStream;
using qorn::testing::RandomSource;
using qorn::testing::ReferenceAccumulator;
using qorn::testing::sameCounts;
using qorn::testing::StreamPlan;
using qorn::testing::Times;
using qorn::testing::timesOf;
using qorn::testing::totalOf;
using Options = CorrelationAccumulator::Setup;
using Counts = std::vector<std::uint64_t>;

constexpr std::size_t kMostWaiting = 1'000'000;
constexpr qint64 kApart = 100'000; // between pairs

CorrelationAccumulator waitingAccumulator(qint64 window = 1000, qint64 bin = 8) {
    CorrelationAccumulator accumulator;
    accumulator.reset({0, 1, window, bin, std::nullopt});
    return accumulator;
}

// Tags number `first` to `last` - 1 of an input, `lag` after multiples of kApart.
QList<UiTimeTag> tagsOf(quint8 channel, qint64 first, qint64 last, qint64 lag = 0) {
    QList<UiTimeTag> tags;
    for (qint64 i = first; i < last; ++i) {
        tags.append({channel, i * kApart + lag});
    }
    return tags;
}

TEST(CorrelationAccumulatorOffset, NothingIsCountedAndAllIsHeldUntilItIsFound) {
    CorrelationAccumulator accumulator = waitingAccumulator();
    EXPECT_FALSE(accumulator.isLive());
    EXPECT_EQ(accumulator.offsetPs(), 0);
    for (qint64 i = 0; i < 50; ++i) {
        // 1 ps apart, and the next ones far beyond the window.
        accumulator.addBatch({{0, i * kApart}, {2, i * kApart}, {1, i * kApart + 1}});
    }
    EXPECT_EQ(totalOf(accumulator), 0U);
    EXPECT_EQ(accumulator.counts().size(), 251U);
    EXPECT_EQ(accumulator.sourceTags().size(), 50U);
    EXPECT_EQ(accumulator.targetTags().size(), 50U);
    EXPECT_EQ(accumulator.sourceTagCount(), 50);
    EXPECT_EQ(accumulator.targetTagCount(), 50);
    EXPECT_EQ(accumulator.tagSpan(), (CorrelationAccumulator::Span{0, 49 * kApart + 1}));
    EXPECT_FALSE(accumulator.isLive());
}

TEST(CorrelationAccumulatorOffset, ItIsLookedForWith128TagsOfBothInputs) {
    for (const auto& [sources, targets, enough] : {std::tuple{0, 0, false},
                                                   {1000, 0, false},
                                                   {0, 1000, false},
                                                   {127, 127, false},
                                                   {127, 1000, false},
                                                   {1000, 127, false},
                                                   {128, 127, false},
                                                   {127, 128, false},
                                                   {128, 128, true},
                                                   {128, 1000, true},
                                                   {1000, 128, true}}) {
        CorrelationAccumulator accumulator = waitingAccumulator();
        accumulator.addBatch(tagsOf(0, 0, sources));
        accumulator.addBatch(tagsOf(1, 0, targets, 321));
        EXPECT_EQ(accumulator.settleOffset(1000), enough) << sources << " " << targets;
        EXPECT_EQ(accumulator.isLive(), enough);
        EXPECT_EQ(accumulator.offsetPs(), enough ? 321 : 0);
        EXPECT_EQ(totalOf(accumulator), enough ? static_cast<quint64>(std::min(sources, targets)) : 0U);
    }
}

TEST(CorrelationAccumulatorOffset, AllHeldTagsAreCountedAtOnceWithTheLagThatIsFoundAtZero) {
    CorrelationAccumulator accumulator = waitingAccumulator();
    accumulator.addBatch(tagsOf(0, 0, 200));
    QList<UiTimeTag> targets = tagsOf(1, 0, 200, -40'000);
    for (qsizetype i = 0; i < targets.size(); ++i) {
        targets[i].timePs += 8 * (i % 5 - 2);
    }
    accumulator.addBatch(targets);
    EXPECT_EQ(totalOf(accumulator), 0U);
    ASSERT_TRUE(accumulator.settleOffset(50'000));
    EXPECT_EQ(accumulator.offsetPs(), -40'000);
    Counts expected(251);
    for (const std::size_t bin : {123U, 124U, 125U, 126U, 127U}) {
        expected[bin] = 40;
    }
    EXPECT_EQ(countsOf(accumulator), expected);
    EXPECT_EQ(accumulator.sourceTagCount(), 200) << "the statistics stay";
    EXPECT_EQ(accumulator.tagSpan(), (CorrelationAccumulator::Span{-40'016, 199 * kApart}));
}

TEST(CorrelationAccumulatorOffset, TagsAfterItPairWithHeldOnesAndNoneTwice) {
    CorrelationAccumulator accumulator = waitingAccumulator();
    accumulator.addBatch(tagsOf(0, 0, 150));
    accumulator.addBatch(tagsOf(1, 0, 140, 500)); // the last ten are yet to come
    ASSERT_TRUE(accumulator.settleOffset(1000));
    EXPECT_EQ(accumulator.counts()[125], 140U);
    accumulator.addBatch(tagsOf(1, 140, 145, 500));
    EXPECT_EQ(accumulator.counts()[125], 145U);
    accumulator.addBatch(tagsOf(1, 145, 160, 500));
    EXPECT_EQ(accumulator.counts()[125], 150U);
    accumulator.addBatch(tagsOf(0, 150, 160));
    EXPECT_EQ(accumulator.counts()[125], 160U);
    EXPECT_EQ(totalOf(accumulator), 160U);
}

TEST(CorrelationAccumulatorOffset, ItIsFoundOnceAndStaysUntilTheNextReset) {
    CorrelationAccumulator accumulator = waitingAccumulator();
    accumulator.addBatch(tagsOf(0, 0, 128));
    accumulator.addBatch(tagsOf(1, 0, 128, 500));
    ASSERT_TRUE(accumulator.settleOffset(1000));
    const Counts before = countsOf(accumulator);
    EXPECT_FALSE(accumulator.settleOffset(1000)) << "it has not just become live";
    EXPECT_EQ(countsOf(accumulator), before) << "nothing is counted twice";
    accumulator.addBatch(tagsOf(0, 1000, 3000));
    accumulator.addBatch(tagsOf(1, 1000, 3000, -200));
    EXPECT_FALSE(accumulator.settleOffset(1000));
    EXPECT_TRUE(accumulator.isLive());
    EXPECT_EQ(accumulator.offsetPs(), 500);
    accumulator.reset({0, 1, 1000, 8, std::nullopt});
    EXPECT_FALSE(accumulator.isLive());
    EXPECT_EQ(accumulator.offsetPs(), 0);
    EXPECT_FALSE(accumulator.settleOffset(1000)) << "no tags are left";
    accumulator.addBatch(tagsOf(0, 0, 128));
    accumulator.addBatch(tagsOf(1, 0, 128, -200));
    EXPECT_TRUE(accumulator.settleOffset(1000));
    EXPECT_EQ(accumulator.offsetPs(), -200);
}

TEST(CorrelationAccumulatorOffset, WithoutALagWithinTheSearchItIsTriedAgainWithTheTagsThenHeld) {
    CorrelationAccumulator accumulator = waitingAccumulator();
    accumulator.addBatch(tagsOf(0, 0, 300));
    accumulator.addBatch(tagsOf(1, 0, 300, 20'000));
    EXPECT_FALSE(accumulator.settleOffset(19'999));
    EXPECT_FALSE(accumulator.isLive());
    EXPECT_EQ(accumulator.offsetPs(), 0);
    EXPECT_EQ(totalOf(accumulator), 0U);
    EXPECT_EQ(accumulator.sourceTags().size(), 300U);
    EXPECT_FALSE(accumulator.settleOffset(19'999));
    accumulator.addBatch(tagsOf(0, 300, 301));
    accumulator.addBatch(tagsOf(1, 300, 301, 40));
    ASSERT_TRUE(accumulator.settleOffset(19'999));
    EXPECT_EQ(accumulator.offsetPs(), 40);
    EXPECT_EQ(totalOf(accumulator), 1U);
    EXPECT_EQ(accumulator.counts()[125], 1U);
}

TEST(CorrelationAccumulatorOffset, TheSearchIncludesItsEnd) {
    for (const qint64 lag : {-20'000, 20'000}) {
        CorrelationAccumulator accumulator = waitingAccumulator();
        accumulator.addBatch(tagsOf(0, 0, 128));
        accumulator.addBatch(tagsOf(1, 0, 128, lag));
        EXPECT_FALSE(accumulator.settleOffset(19'999));
        EXPECT_TRUE(accumulator.settleOffset(20'000));
        EXPECT_EQ(accumulator.offsetPs(), lag);
    }
}

// The lag of a pair is its number: the median tells which pairs were asked.
TEST(CorrelationAccumulatorOffset, FourThousandSamplesOfTheSourceAreAsked) {
    for (const qint64 count : {3999, 4000, 5000, 7999, 8000, 12'500}) {
        CorrelationAccumulator accumulator = waitingAccumulator();
        QList<UiTimeTag> targets = tagsOf(1, 0, count);
        for (qsizetype i = 0; i < targets.size(); ++i) {
            targets[i].timePs += i;
        }
        accumulator.addBatch(tagsOf(0, 0, count));
        accumulator.addBatch(targets);
        ASSERT_TRUE(accumulator.settleOffset(50'000));
        const qint64 stride = std::max<qint64>(count / 4000, 1);
        const qint64 samples = std::min<qint64>((count + stride - 1) / stride, 4000);
        EXPECT_EQ(accumulator.offsetPs(), samples / 2 * stride) << count;
    }
}

TEST(CorrelationAccumulatorOffset, ItIsTheEstimateOfTheHeldTags) {
    RandomSource random(5);
    for (int round = 0; round < 20; ++round) {
        const Times sources = qorn::testing::randomTimes(random, 130 + random.below(3000), 0, 4000);
        const Times targets = qorn::testing::randomTimes(random, 130 + random.below(3000), 500, 4000);
        CorrelationAccumulator accumulator = waitingAccumulator();
        accumulator.addBatch(mixedStream(sources, targets, {StreamPlan::Mixing::Random, 0, 1, 3}, random));
        ASSERT_TRUE(accumulator.settleOffset(3000));
        EXPECT_EQ(accumulator.offsetPs(), timing::estimate_xcorr_offset_ps(sources, targets, 3000, 4000));
        EXPECT_EQ(accumulator.offsetPs(), qorn::testing::referenceOffset(sources, targets, 3000, 4000));
    }
}

TEST(CorrelationAccumulatorOffset, EachPairOfTheRunIsCountedOnceWheneverItIsFound) {
    RandomSource random(6);
    int settled = 0;
    for (int round = 0; round < 150; ++round) {
        const Options setup{random.between(0, 1), random.between(2, 3), random.between(1, 4000),
                            random.between(1, 90), std::nullopt};
        const int lag = random.between(-5000, 5000);
        const Times sources = qorn::testing::randomTimes(random, 400, 0, 8000);
        Times targets = qorn::testing::randomTimes(random, 100, 0, 30'000);
        for (const qint64 time : sources) {
            if (random.chance(0.8)) {
                targets.push_back(time + lag + random.between(-60, 60));
            }
        }
        targets = qorn::testing::sortedTimes(targets);
        const StreamPlan plan{static_cast<StreamPlan::Mixing>(random.between(0, 3)), setup.source,
                              setup.target, 5};
        const QList<UiTimeTag> stream = mixedStream(sources, targets, plan, random);
        const qint64 searchPs = random.between(1, 20'000);
        CorrelationAccumulator accumulator;
        accumulator.reset(setup);
        ReferenceAccumulator reference(setup);
        const double eagerness = random.unit();
        for (const QList<UiTimeTag>& batch : cutAnywhere(stream, random.between(1, 100), random)) {
            accumulator.addBatch(batch);
            reference.addBatch(batch);
            if (random.chance(eagerness)) {
                ASSERT_EQ(accumulator.settleOffset(searchPs), reference.settleOffset(searchPs)) << round;
            }
            ASSERT_EQ(accumulator.isLive(), reference.isLive()) << round;
            ASSERT_EQ(accumulator.offsetPs(), reference.offsetPs()) << round;
            ASSERT_TRUE(sameCounts(accumulator, reference.counts())) << round;
            ASSERT_EQ(timesOf(accumulator.sourceTags()).size(), reference.sourceTags().size()) << round;
            ASSERT_EQ(timesOf(accumulator.targetTags()).size(), reference.targetTags().size()) << round;
        }
        EXPECT_EQ(timesOf(accumulator.sourceTags()), reference.sourceTags()) << round;
        EXPECT_EQ(timesOf(accumulator.targetTags()), reference.targetTags()) << round;
        settled += reference.isLive() && reference.total() > 0 ? 1 : 0;
    }
    EXPECT_GT(settled, 75);
}

// --- a million ---------------------------------------------------------------------------------------------

TEST(CorrelationAccumulatorOffset, OfEachInputTheLatestMillionTagsAreHeldUntilItIsFound) {
    CorrelationAccumulator accumulator = waitingAccumulator(400);
    constexpr qint64 kTags = 1'200'000;
    constexpr qint64 kPiece = 70'000; // no divisor of the limit
    for (qint64 first = 0; first < kTags; first += kPiece) {
        const qint64 last = std::min(first + kPiece, kTags);
        accumulator.addBatch(tagsOf(0, first, last));
        if (first < 900'000) {
            accumulator.addBatch(tagsOf(1, first, std::min<qint64>(last, 900'000), 250));
        }
        ASSERT_EQ(accumulator.sourceTags().size(),
                  std::min<std::size_t>(static_cast<std::size_t>(last), kMostWaiting));
    }
    EXPECT_EQ(accumulator.sourceTags().front(), 200'000 * kApart);
    EXPECT_EQ(accumulator.sourceTags().back(), (kTags - 1) * kApart);
    EXPECT_EQ(accumulator.targetTags().size(), 900'000U);
    EXPECT_EQ(accumulator.targetTags().front(), 250);
    EXPECT_EQ(accumulator.sourceTagCount(), kTags);
    EXPECT_EQ(accumulator.targetTagCount(), 900'000);
    EXPECT_EQ(accumulator.tagSpan(), (CorrelationAccumulator::Span{0, (kTags - 1) * kApart}));
    ASSERT_TRUE(accumulator.settleOffset(10'000));
    EXPECT_EQ(accumulator.offsetPs(), 250);
    EXPECT_EQ(totalOf(accumulator), 700'000U) << "pairs of held tags, number 200000 to 899999";
    EXPECT_EQ(accumulator.counts()[50], 700'000U);
}

TEST(CorrelationAccumulatorOffset, ABatchOfMoreThanAMillionLeavesItsLatestMillion) {
    CorrelationAccumulator accumulator = waitingAccumulator();
    QList<UiTimeTag> batch = tagsOf(1, 0, 1'000'003);
    batch.append(tagsOf(0, 0, 1'000'000));
    accumulator.addBatch(batch);
    EXPECT_EQ(accumulator.sourceTags().size(), kMostWaiting);
    EXPECT_EQ(accumulator.sourceTags().front(), 0);
    EXPECT_EQ(accumulator.targetTags().size(), kMostWaiting);
    EXPECT_EQ(accumulator.targetTags().front(), 3 * kApart);
    EXPECT_EQ(accumulator.targetTags().back(), 1'000'002 * kApart);
    EXPECT_EQ(accumulator.targetTagCount(), 1'000'003);
}

TEST(CorrelationAccumulatorOffset, AMillionIsNoLimitForTagsThatCanStillPairOnceItIsFound) {
    for (const quint8 few : {quint8{0}, quint8{1}}) {
        const auto many = static_cast<quint8>(1 - few);
        CorrelationAccumulator accumulator;
        constexpr qint64 kTags = 1'300'000;
        accumulator.reset({0, 1, kTags * kApart, kApart, 0});
        accumulator.addBatch({{few, 0}});
        for (qint64 first = 0; first < kTags; first += 100'000) {
            accumulator.addBatch(tagsOf(many, first, first + 100'000));
        }
        EXPECT_EQ(totalOf(accumulator), static_cast<quint64>(kTags));
        EXPECT_EQ((many == 1 ? accumulator.targetTags() : accumulator.sourceTags()).size(),
                  static_cast<std::size_t>(kTags));
        accumulator.addBatch({{few, kTags * kApart}});
        EXPECT_EQ(totalOf(accumulator), static_cast<quint64>(2 * kTags)) << "the last one meets all of them";
    }
}

} // namespace
} // namespace qorn::timetagger::gui
