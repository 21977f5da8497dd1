#include "CorrelationAccumulator.h"

#include "CorrelationAccumulatorReference.h"

#include <string>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::countsOf;
using qorn::testing::Times;
using qorn::testing::timesOf;
using qorn::testing::totalOf;
using Options = CorrelationAccumulator::Setup;
using Span = CorrelationAccumulator::Span;
using Counts = std::vector<std::uint64_t>;

CorrelationAccumulator accumulatorOf(const Options& setup) {
    CorrelationAccumulator accumulator;
    accumulator.reset(setup);
    return accumulator;
}

// Sources at 0 alone, and the targets, in one batch.
Counts countsOfLags(qint64 window, qint64 bin, qint64 offset, const Times& lags) {
    CorrelationAccumulator accumulator = accumulatorOf({0, 1, window, bin, offset});
    QList<UiTimeTag> batch{{0, 0}};
    for (const qint64 lag : lags) {
        batch.append({1, lag});
    }
    accumulator.addBatch(batch);
    return countsOf(accumulator);
}

// --- geometry ----------------------------------------------------------------------------------------------

TEST(CorrelationAccumulator, HasABinForEachWholeBinOfTheHalfRangeOnEachSide) {
    struct Row {
        qint64 window;
        qint64 bin;
        qint64 half;
    };
    for (const Row& row :
         {Row{1000, 8, 125}, Row{1000, 16, 62}, Row{1, 8, 0}, Row{7, 8, 0}, Row{8, 8, 1}, Row{15, 8, 1},
          Row{16, 8, 2}, Row{10, 4, 2}, Row{10, 3, 3}, Row{1, 1, 1}, Row{100'000'000, 10'000, 10'000},
          Row{40'000, 4, 10'000}, Row{40'001, 4, 10'000}}) {
        const CorrelationAccumulator accumulator = accumulatorOf({0, 1, row.window, row.bin, 0});
        EXPECT_EQ(accumulator.windowPs(), row.window);
        EXPECT_EQ(accumulator.binPs(), row.bin);
        EXPECT_EQ(accumulator.half(), row.half);
        EXPECT_EQ(countsOf(accumulator), Counts(static_cast<std::size_t>(2 * row.half + 1)));
    }
}

TEST(CorrelationAccumulator, ABinIsOnePicosecondAtLeast) {
    for (const qint64 bin : {qint64{0}, qint64{-1}, std::numeric_limits<qint64>::min()}) {
        const CorrelationAccumulator accumulator = accumulatorOf({0, 1, 50, bin, 0});
        EXPECT_EQ(accumulator.binPs(), 1);
        EXPECT_EQ(accumulator.half(), 50);
        EXPECT_EQ(accumulator.counts().size(), 101U);
    }
}

// --- where a pair goes -------------------------------------------------------------------------------------

TEST(CorrelationAccumulator, APositiveLagMeansThatTheTargetComesLater) {
    Counts expected(21);
    expected[10 + 7] = 1;
    EXPECT_EQ(countsOfLags(10, 1, 0, {7}), expected);
    expected = Counts(21);
    expected[10 - 7] = 1;
    EXPECT_EQ(countsOfLags(10, 1, 0, {-7}), expected);
}

TEST(CorrelationAccumulator, APairExactlyAtTheEndOfTheWindowCountsAndOnePicosecondFurtherDoesNot) {
    EXPECT_EQ(countsOfLags(16, 8, 0, {-17, -16, 16, 17}), (Counts{1, 0, 0, 0, 1}));
    EXPECT_EQ(countsOfLags(16, 8, 1000, {983, 984, 1016, 1017}), (Counts{1, 0, 0, 0, 1}));
    EXPECT_EQ(countsOfLags(16, 8, -1000, {-1017, -1016, -984, -983}), (Counts{1, 0, 0, 0, 1}));
}

TEST(CorrelationAccumulator, AWindowThatIsNoMultipleOfTheBinDropsWhatRoundsBeyondTheLastBin) {
    EXPECT_EQ(countsOfLags(10, 4, 0, {-10, -9, 9, 10}), (Counts{1, 0, 0, 0, 1}));
    EXPECT_EQ(countsOfLags(10, 3, 0, {-11, -10, 10, 11}), (Counts{1, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(countsOfLags(7, 8, 0, {-5, -4, -3, 0, 3, 4, 5}), (Counts{3}));
    EXPECT_EQ(countsOfLags(1, 8, 0, {-2, -1, 0, 1, 2}), (Counts{3}));
}

TEST(CorrelationAccumulator, HalfABinRoundsAwayFromZeroOnBothSides) {
    EXPECT_EQ(countsOfLags(8, 4, 0, {-6, -5, -3, -2, -1, 1, 2, 3, 5, 6}), (Counts{1, 3, 2, 3, 1}));
    EXPECT_EQ(countsOfLags(3, 3, 0, {-2, -1, 1, 2}), (Counts{1, 2, 1}));
}

TEST(CorrelationAccumulator, EachLagFallsIntoItsBinForAllSmallWindowsAndBins) {
    for (const qint64 offset : {0, 3, -2}) {
        for (qint64 window = 1; window <= 30; ++window) {
            Times lags;
            for (qint64 lag = offset - window - 3; lag <= offset + window + 3; ++lag) {
                lags.push_back(lag);
            }
            for (qint64 bin = 1; bin <= window + 2; ++bin) {
                qorn::testing::ReferenceAccumulator reference({0, 1, window, bin, offset});
                QList<UiTimeTag> batch{{0, 0}};
                for (const qint64 lag : lags) {
                    batch.append({1, lag});
                }
                reference.addBatch(batch);
                ASSERT_EQ(countsOfLags(window, bin, offset, lags), reference.counts())
                    << window << " " << bin;
            }
        }
    }
}

// Where a quotient that is not computed exactly would give way: one off each border of the bins.
TEST(CorrelationAccumulator, EachBorderOfBinsIsExactAlsoFarFromZero) {
    for (const qint64 bin : {1LL,
                             2LL,
                             3LL,
                             4LL,
                             5LL,
                             6LL,
                             7LL,
                             8LL,
                             9LL,
                             11LL,
                             13LL,
                             81LL,
                             100LL,
                             127LL,
                             128LL,
                             255LL,
                             1000LL,
                             4095LL,
                             4096LL,
                             4097LL,
                             9999LL,
                             10'000LL,
                             65'537LL,
                             999'983LL,
                             1'000'000LL,
                             4'294'967'291LL,
                             4'294'967'296LL,
                             10'000'000'019LL}) {
        constexpr qint64 kHalf = 5000;
        Times lags;
        for (const qint64 number : {1, 2, 3, 7, 10, 99, 1000, 1023, 1024, 4095, 4999, 5000}) {
            for (const qint64 one : {-1, 0, 1}) {
                lags.insert(lags.end(), {number * bin + one, number * bin - bin / 2 + one,
                                         -number * bin + one, -number * bin + bin / 2 + one});
            }
        }
        lags = qorn::testing::sortedTimes(lags);
        qorn::testing::ReferenceAccumulator reference({0, 1, kHalf * bin, bin, 0});
        QList<UiTimeTag> batch{{0, 0}};
        for (const qint64 lag : lags) {
            batch.append({1, lag});
        }
        reference.addBatch(batch);
        ASSERT_EQ(countsOfLags(kHalf * bin, bin, 0, lags), reference.counts()) << bin;
    }
}

// --- batches -----------------------------------------------------------------------------------------------

TEST(CorrelationAccumulator, APairCountsWhicheverOfItsTagsComesFirstAndInWhicheverBatch) {
    for (const qint64 targetPs : {95, 100, 105}) {
        Counts expected(21);
        expected[static_cast<std::size_t>(targetPs - 100 + 10)] = 1;
        const UiTimeTag source{0, 100};
        const UiTimeTag target{1, targetPs};
        for (const bool sourceFirst : {false, true}) {
            for (const bool apart : {false, true}) {
                CorrelationAccumulator accumulator = accumulatorOf({0, 1, 10, 1, 0});
                const UiTimeTag& first = sourceFirst ? source : target;
                const UiTimeTag& second = sourceFirst ? target : source;
                if (apart) {
                    accumulator.addBatch({first});
                    EXPECT_EQ(totalOf(accumulator), 0U);
                    accumulator.addBatch({second});
                } else {
                    accumulator.addBatch({first, second});
                }
                EXPECT_EQ(countsOf(accumulator), expected) << targetPs << sourceFirst << apart;
                accumulator.addBatch({});
                EXPECT_EQ(countsOf(accumulator), expected) << "nothing new";
            }
        }
    }
}

TEST(CorrelationAccumulator, EqualTimesPairEachWithEach) {
    CorrelationAccumulator accumulator = accumulatorOf({0, 1, 10, 1, 0});
    for (int i = 0; i < 5; ++i) {
        accumulator.addBatch({{0, 100}, {1, 100}, {1, 100}});
    }
    EXPECT_EQ(accumulator.counts()[10], 50U);
    EXPECT_EQ(totalOf(accumulator), 50U);
}

TEST(CorrelationAccumulator, TagsOfOneInputMakeNoPairs) {
    CorrelationAccumulator accumulator = accumulatorOf({0, 1, 1000, 1, 0});
    accumulator.addBatch({{0, 1}, {0, 2}, {0, 3}});
    EXPECT_EQ(totalOf(accumulator), 0U);
    accumulator = accumulatorOf({1, 0, 1000, 1, 0});
    accumulator.addBatch({{0, 1}, {0, 2}, {0, 3}});
    EXPECT_EQ(totalOf(accumulator), 0U);
}

TEST(CorrelationAccumulator, TakesTheTagsOfItsTwoInputsAlone) {
    for (int source = 0; source < 4; ++source) {
        for (int target = 0; target < 4; ++target) {
            if (source == target) {
                continue;
            }
            CorrelationAccumulator accumulator = accumulatorOf({source, target, 10, 1, 0});
            QList<UiTimeTag> batch;
            for (int channel = 0; channel < 256; ++channel) {
                batch.append({static_cast<quint8>(channel), channel});
            }
            accumulator.addBatch(batch);
            Counts expected(21);
            expected[static_cast<std::size_t>(10 + target - source)] = 1;
            EXPECT_EQ(countsOf(accumulator), expected) << source << target;
            EXPECT_EQ(accumulator.sourceTagCount(), 1);
            EXPECT_EQ(accumulator.targetTagCount(), 1);
            EXPECT_EQ(timesOf(accumulator.sourceTags()), Times{source});
            EXPECT_EQ(timesOf(accumulator.targetTags()), Times{target});
            EXPECT_EQ(accumulator.tagSpan(), (Span{std::min(source, target), std::max(source, target)}));
        }
    }
}

TEST(CorrelationAccumulator, EqualOrUnknownInputsTakeNoTags) {
    for (const auto& [source, target] :
         {std::pair{0, 0}, {3, 3}, {0, 4}, {4, 0}, {0, 255}, {-1, 0}, {1, -1}, {4, 4}}) {
        for (const bool automatic : {false, true}) {
            CorrelationAccumulator accumulator =
                accumulatorOf({source, target, 10, 1, automatic ? std::nullopt : std::optional<qint64>(0)});
            for (int round = 0; round < 200; ++round) {
                accumulator.addBatch({{0, round}, {1, round}, {3, round}, {4, round}, {255, round}});
            }
            EXPECT_FALSE(accumulator.settleOffset(1000)) << source << target;
            EXPECT_EQ(totalOf(accumulator), 0U) << source << target;
            EXPECT_EQ(accumulator.sourceTagCount(), 0);
            EXPECT_EQ(accumulator.targetTagCount(), 0);
            EXPECT_EQ(accumulator.tagSpan(), std::nullopt);
            EXPECT_TRUE(accumulator.sourceTags().empty());
            EXPECT_TRUE(accumulator.targetTags().empty());
        }
    }
}

TEST(CorrelationAccumulator, TagsBeyondTheReachOfTheWindowLeaveWithoutCounting) {
    CorrelationAccumulator accumulator = accumulatorOf({0, 1, 10, 1, 100});
    // At an offset of 100, targets from 90 to 110 after a source pair with it.
    accumulator.addBatch({{0, 0}, {0, 50}, {1, 89}});
    EXPECT_EQ(timesOf(accumulator.sourceTags()), (Times{0, 50})) << "a target at 89 can come again";
    EXPECT_EQ(timesOf(accumulator.targetTags()), Times()) << "the last source has gone beyond";
    accumulator.addBatch({{1, 110}});
    EXPECT_EQ(timesOf(accumulator.sourceTags()), (Times{0, 50}));
    EXPECT_EQ(totalOf(accumulator), 1U);
    accumulator.addBatch({{1, 111}});
    EXPECT_EQ(timesOf(accumulator.sourceTags()), Times{50});
    EXPECT_EQ(timesOf(accumulator.targetTags()), Times()) << "140 is the first that 50 can pair with";
    accumulator.addBatch({{1, 140}, {1, 160}, {1, 161}});
    EXPECT_EQ(timesOf(accumulator.sourceTags()), Times());
    EXPECT_EQ(timesOf(accumulator.targetTags()), (Times{140, 160, 161})) << "for sources that come";
    EXPECT_EQ(totalOf(accumulator), 3U);
}

// --- statistics and reset ----------------------------------------------------------------------------------

TEST(CorrelationAccumulator, CountsAllTagsAndSpansTheirTimes) {
    CorrelationAccumulator accumulator = accumulatorOf({2, 0, 10, 1, 0});
    EXPECT_EQ(accumulator.tagSpan(), std::nullopt);
    accumulator.addBatch({{1, 5}, {3, 6}});
    EXPECT_EQ(accumulator.tagSpan(), std::nullopt) << "tags of other inputs";
    accumulator.addBatch({{2, 500}});
    EXPECT_EQ(accumulator.tagSpan(), (Span{500, 500}));
    accumulator.addBatch({{0, 300}, {0, 400}, {1, 1}, {2, 700}, {2, 800}, {3, 9000}});
    EXPECT_EQ(accumulator.tagSpan(), (Span{300, 800}));
    accumulator.addBatch({});
    EXPECT_EQ(accumulator.tagSpan(), (Span{300, 800}));
    accumulator.addBatch({{0, 600}});
    EXPECT_EQ(accumulator.tagSpan(), (Span{300, 800}));
    accumulator.addBatch({{0, 1'000'000'000'000'000}});
    EXPECT_EQ(accumulator.tagSpan(), (Span{300, 1'000'000'000'000'000}));
    EXPECT_EQ(accumulator.sourceTagCount(), 3);
    EXPECT_EQ(accumulator.targetTagCount(), 4);
}

TEST(CorrelationAccumulator, WhatLiesBetweenRunsWasNotMeasured) {
    CorrelationAccumulator accumulator = accumulatorOf({0, 1, 10, 1, 0});
    EXPECT_EQ(accumulator.measuredPs(), 0);
    accumulator.breakOff(); // ahead of all tags
    accumulator.addBatch({{0, 1000}, {1, 1001}, {0, 1400}});
    EXPECT_EQ(accumulator.measuredPs(), 400);
    accumulator.breakOff();
    EXPECT_EQ(accumulator.measuredPs(), 400);
    accumulator.addBatch({{0, 9000}}); // the same stream goes on
    EXPECT_EQ(accumulator.measuredPs(), 400);
    accumulator.addBatch({{1, 9050}});
    EXPECT_EQ(accumulator.measuredPs(), 450);
    accumulator.breakOff();
    accumulator.breakOff();
    accumulator.addBatch({{0, 100}, {0, 300}, {1, 9900}}); // a new one, whose time begins anew
    EXPECT_EQ(accumulator.measuredPs(), 450 + 9800);
    EXPECT_EQ(accumulator.tagSpan(), (Span{100, 9900}));
    accumulator.reset({0, 1, 10, 1, 0});
    EXPECT_EQ(accumulator.measuredPs(), 0);
    accumulator.addBatch({{0, 5}, {1, 8}});
    EXPECT_EQ(accumulator.measuredPs(), 3);
}

TEST(CorrelationAccumulator, TheSpanMayBeginBelowZero) {
    CorrelationAccumulator accumulator = accumulatorOf({0, 1, 10, 1, 0});
    accumulator.addBatch({{1, -700}, {0, -900}, {0, -800}});
    EXPECT_EQ(accumulator.tagSpan(), (Span{-900, -700}));
}

TEST(CorrelationAccumulator, StartsWithItsDefaultsAndLive) {
    const CorrelationAccumulator accumulator;
    EXPECT_TRUE(accumulator.isLive());
    EXPECT_EQ(accumulator.windowPs(), 1000);
    EXPECT_EQ(accumulator.binPs(), 8);
    EXPECT_EQ(accumulator.counts().size(), 251U);
    EXPECT_EQ(accumulator.offsetPs(), 0);
}

TEST(CorrelationAccumulator, AResetForgetsTagsCountsAndStatistics) {
    for (const std::optional<qint64> offset :
         {std::optional<qint64>(0), std::optional<qint64>(-3), std::optional<qint64>()}) {
        CorrelationAccumulator accumulator = accumulatorOf({0, 1, 10, 1, 0});
        accumulator.addBatch({{0, 100}, {1, 104}, {0, 105}});
        ASSERT_EQ(totalOf(accumulator), 2U);
        accumulator.reset({1, 0, 24, 2, offset});
        EXPECT_EQ(countsOf(accumulator), Counts(25));
        EXPECT_EQ(accumulator.sourceTagCount(), 0);
        EXPECT_EQ(accumulator.targetTagCount(), 0);
        EXPECT_EQ(accumulator.tagSpan(), std::nullopt);
        EXPECT_TRUE(accumulator.sourceTags().empty());
        EXPECT_TRUE(accumulator.targetTags().empty());
        EXPECT_EQ(accumulator.isLive(), offset.has_value());
        EXPECT_EQ(accumulator.offsetPs(), offset.value_or(0));
        accumulator.addBatch({{0, 106}});
        EXPECT_EQ(totalOf(accumulator), 0U) << "its partners came before the reset";
        EXPECT_EQ(accumulator.targetTagCount(), 1) << "the roles are exchanged";
        EXPECT_EQ(accumulator.tagSpan(), (Span{106, 106}));
    }
}

TEST(CorrelationAccumulator, ARunAfterAResetMayLieBeforeTheOneThatIsForgotten) {
    CorrelationAccumulator accumulator = accumulatorOf({0, 1, 1000, 8, 0});
    accumulator.addBatch({{0, 1'000'000'000}, {1, 1'000'000'000}});
    accumulator.reset({0, 1, 1000, 8, 0});
    accumulator.addBatch({{1, 5000}});
    accumulator.addBatch({{0, 100}});
    accumulator.addBatch({{0, 5000}});
    EXPECT_EQ(accumulator.counts()[125], 1U) << "the target is ahead, and no run has ended";
    EXPECT_EQ(totalOf(accumulator), 1U);
}

TEST(CorrelationAccumulator, AGivenOffsetIsInForceAtOnceAndIsNotLookedFor) {
    for (const qint64 offset : {qint64{0}, qint64{250}, qint64{-4'000'000'000'000}}) {
        CorrelationAccumulator accumulator = accumulatorOf({0, 1, 10, 1, offset});
        EXPECT_TRUE(accumulator.isLive());
        EXPECT_EQ(accumulator.offsetPs(), offset);
        for (int i = 0; i < 200; ++i) {
            accumulator.addBatch({{0, i * 1000}, {1, i * 1000 + 123}});
        }
        EXPECT_FALSE(accumulator.settleOffset(1000));
        EXPECT_EQ(accumulator.offsetPs(), offset);
        EXPECT_EQ(totalOf(accumulator), 0U);
        accumulator.addBatch({{0, 10'000'000}, {1, 10'000'000 + offset + 2}});
        EXPECT_EQ(accumulator.counts()[12], 1U);
    }
}

} // namespace
} // namespace qorn::timetagger::gui
