#include "LagEstimators.h"

#include "LagEstimatorsReference.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace qorn::timing {
namespace {

using testing::RandomSource;
using testing::referenceOffset;
using testing::Times;
using Lag = std::optional<std::int64_t>;

constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();
constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();

TEST(XcorrOffset, OfNoTagsOnOneSideIsNoValue) {
    EXPECT_EQ(estimate_xcorr_offset_ps({}, {}, std::nullopt, 100), std::nullopt);
    EXPECT_EQ(estimate_xcorr_offset_ps(Times{1}, {}, std::nullopt, 100), std::nullopt);
    EXPECT_EQ(estimate_xcorr_offset_ps({}, Times{1}, std::nullopt, 100), std::nullopt);
}

TEST(XcorrOffset, OfNoSamplesIsNoValue) {
    EXPECT_EQ(estimate_xcorr_offset_ps(Times{1, 2, 3}, Times{1, 2, 3}, std::nullopt, 0), std::nullopt);
}

struct NeighbourRow {
    const char* what;
    std::int64_t time;
    Times others;
    std::int64_t lag;
};

TEST(XcorrOffset, OfOneTagIsTheWayToItsNearestNeighbour) {
    const NeighbourRow rows[] = {
        {"the only one, later", 100, {130}, 30},
        {"the only one, earlier", 100, {70}, -30},
        {"all later", 100, {101, 102, 900}, 1},
        {"all earlier: the last", 100, {-900, 50, 98}, -2},
        {"equal", 100, {99, 100, 101}, 0},
        {"the nearer is earlier", 100, {10, 96, 105, 200}, -4},
        {"the nearer is later", 100, {10, 95, 104, 200}, 4},
        {"equally far: the later", 100, {95, 105}, 5},
        {"equally far by one: the later", 100, {99, 101}, 1},
        {"one less than equally far", 100, {96, 105}, -4},
        {"across zero", -3, {-10, 3}, 6},
        {"in any order", 100, {500, 97, -4, 110}, -3},
    };
    for (const NeighbourRow& row : rows) {
        EXPECT_EQ(estimate_xcorr_offset_ps(Times{row.time}, row.others, std::nullopt, 10), row.lag)
            << row.what;
        EXPECT_EQ(estimate_xcorr_offset_ps(Times{row.time}, row.others, std::nullopt, kAll), row.lag)
            << row.what;
    }
}

// Tags far apart, each with one partner at the lag of the list.
struct Pairs {
    Times a;
    Times b;
};

Pairs pairsWithLags(const Times& lags) {
    Pairs pairs;
    for (const std::int64_t lag : lags) {
        const auto time = static_cast<std::int64_t>(pairs.a.size()) * 1'000'000;
        pairs.a.push_back(time);
        pairs.b.push_back(time + lag);
    }
    return pairs;
}

TEST(XcorrOffset, IsTheMedianAndOfTwoInTheMiddleTheUpper) {
    const std::pair<Times, std::int64_t> rows[] = {
        {{7}, 7},
        {{1, 9}, 9},
        {{9, 1}, 9},
        {{1, 5, 9}, 5},
        {{9, 5, 1}, 5},
        {{1, 2, 8, 9}, 8},
        {{-9, -8, -2, -1}, -2},
        {{-3, 4}, 4},
        {{50, 3, 3, 3, -70}, 3},
        {{100, 200, 300, 400, 500, 600}, 400},
    };
    for (const auto& [lags, median] : rows) {
        const Pairs pairs = pairsWithLags(lags);
        EXPECT_EQ(estimate_xcorr_offset_ps(pairs.a, pairs.b, std::nullopt, 1000), median)
            << ::testing::PrintToString(lags);
    }
}

TEST(XcorrOffset, TheBoundKeepsALagExactlyAtItAndSkipsOnesBeyond) {
    const Pairs pairs = pairsWithLags({-51, -50, 50, 51, 52});
    EXPECT_EQ(estimate_xcorr_offset_ps(pairs.a, pairs.b, std::nullopt, 1000), 50);
    EXPECT_EQ(estimate_xcorr_offset_ps(pairs.a, pairs.b, 52, 1000), 50);
    EXPECT_EQ(estimate_xcorr_offset_ps(pairs.a, pairs.b, 51, 1000), 50);
    EXPECT_EQ(estimate_xcorr_offset_ps(pairs.a, pairs.b, 50, 1000), 50);
    EXPECT_EQ(estimate_xcorr_offset_ps(pairs.a, pairs.b, 49, 1000), std::nullopt);
    const Pairs low = pairsWithLags({-51, -50, -50, 51});
    EXPECT_EQ(estimate_xcorr_offset_ps(low.a, low.b, 50, 1000), -50);
    const Pairs exact = pairsWithLags({0, 1, -1});
    EXPECT_EQ(estimate_xcorr_offset_ps(exact.a, exact.b, 0, 1000), 0);
}

TEST(XcorrOffset, ABoundThatAllLagsExceedGivesNoValue) {
    const Pairs pairs = pairsWithLags({60, -60, 70, 80});
    for (const std::int64_t bound : {std::int64_t{59}, std::int64_t{0}, std::int64_t{-1}, kEarliest}) {
        EXPECT_EQ(estimate_xcorr_offset_ps(pairs.a, pairs.b, bound, 1000), std::nullopt) << bound;
    }
    EXPECT_EQ(estimate_xcorr_offset_ps(Times{5}, Times{5}, -1, 1000), std::nullopt)
        << "not even a lag of 0 is within less than 0";
}

// The lag is the number of its pair, so that the median tells which pairs were taken.
TEST(XcorrOffset, TheSamplesAreTakenAtEvenStridesOverTheWholeRun) {
    Times numbers(1000);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        numbers[i] = static_cast<std::int64_t>(i);
    }
    const Pairs pairs = pairsWithLags(numbers);
    struct Row {
        std::size_t samples;
        std::int64_t lag;
    };
    const Row rows[] = {
        {1, 0},      // stride 1000: pair 0
        {2, 500},    // 0, 500
        {3, 333},    // stride 333: 0, 333, 666; 999 is one too many
        {4, 500},    // 0, 250, 500, 750
        {7, 426},    // stride 142: 0, 142, ... 852, and no eighth
        {300, 450},  // stride 3: 0, 3, ... 897
        {334, 334},  // stride 2: 0, 2, ... 666
        {499, 498},  // stride 2: 0, 2, ... 996
        {500, 500},  // stride 2: 0, 2, ... 998
        {501, 250},  // stride 1: the first 501
        {999, 499},  // stride 1: the first 999
        {1000, 500}, // all
        {5000, 500}, {kAll, 500},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(estimate_xcorr_offset_ps(pairs.a, pairs.b, std::nullopt, row.samples), row.lag)
            << row.samples;
        EXPECT_EQ(referenceOffset(pairs.a, pairs.b, std::nullopt, row.samples), row.lag) << row.samples;
    }
}

TEST(XcorrOffset, ASkippedLagIsNoSampleSoThatTheWalkGoesOn) {
    Times lags;
    for (std::int64_t i = 0; i < 100; ++i) {
        lags.push_back(i % 2 == 0 ? 400'000 : i);
    }
    const Pairs pairs = pairsWithLags(lags);
    // 51 samples at stride 1: of all 100 pairs the 50 odd ones are kept.
    EXPECT_EQ(estimate_xcorr_offset_ps(pairs.a, pairs.b, 1000, 51), 51);
    // 60 samples, 50 kept; 40 of 60 would be other ones.
    EXPECT_EQ(estimate_xcorr_offset_ps(pairs.a, pairs.b, 1000, 60), 51);
    // Stride 2 meets the even ones alone.
    EXPECT_EQ(estimate_xcorr_offset_ps(pairs.a, pairs.b, 1000, 50), std::nullopt);
}

TEST(XcorrOffset, TheListsMayHaveAnyOrderAndStayAsTheyAre) {
    RandomSource random(2);
    Times a = testing::randomTimes(random, 900, 0, 5000);
    Times b = testing::randomTimes(random, 800, 0, 5000);
    const Lag expected = referenceOffset(a, b, std::nullopt, 200);
    testing::shuffle(a, random);
    testing::shuffle(b, random);
    const Times firstBefore = a;
    const Times secondBefore = b;
    EXPECT_EQ(estimate_xcorr_offset_ps(a, b, std::nullopt, 200), expected);
    EXPECT_EQ(a, firstBefore);
    EXPECT_EQ(b, secondBefore);
    a = testing::sortedTimes(a);
    EXPECT_EQ(estimate_xcorr_offset_ps(a, b, std::nullopt, 200), expected);
    b = testing::sortedTimes(b);
    EXPECT_EQ(estimate_xcorr_offset_ps(a, b, std::nullopt, 200), expected);
    std::reverse(a.begin(), a.end());
    EXPECT_EQ(estimate_xcorr_offset_ps(a, b, std::nullopt, 200), expected);
}

TEST(XcorrOffset, FindsTheDelayOfPairsAmongOtherTags) {
    RandomSource random(3);
    Times a = testing::randomTimes(random, 3000, 0, 2'000'000);
    Times b;
    for (const std::int64_t time : a) {
        b.push_back(time + 12'345);
    }
    for (int i = 0; i < 300; ++i) {
        b.push_back(static_cast<std::int64_t>(random.below(3'000'000'000)));
    }
    EXPECT_EQ(estimate_xcorr_offset_ps(a, b, 200'000, 4000), 12'345);
    EXPECT_EQ(estimate_xcorr_offset_ps(b, a, 200'000, 4000), -12'345);
}

TEST(XcorrOffset, AgreesWithTheReferenceOnRandomLists) {
    RandomSource random(4);
    int values = 0;
    for (int round = 0; round < 400; ++round) {
        const std::size_t sizeA = 1 + random.below(round % 10 == 0 ? 3000 : 60);
        const std::size_t sizeB = 1 + random.below(round % 10 == 0 ? 1000 : 60);
        const auto gap = static_cast<std::int64_t>(1 + random.below(round % 2 == 0 ? 8 : 3000));
        Times a = testing::randomTimes(random, sizeA, random.between(-2000, 2000), gap);
        Times b = testing::randomTimes(random, sizeB, random.between(-2000, 2000), gap);
        if (round % 3 == 0) {
            testing::shuffle(a, random);
            testing::shuffle(b, random);
        }
        const Lag bound = random.chance(0.5) ? Lag(random.between(0, static_cast<int>(gap) + 2)) : Lag();
        const std::size_t samples = random.below(random.chance(0.5) ? 2 * sizeA + 2 : 20);
        const Lag expected = referenceOffset(a, b, bound, samples);
        ASSERT_EQ(estimate_xcorr_offset_ps(a, b, bound, samples), expected) << "round " << round;
        values += expected ? 1 : 0;
    }
    EXPECT_GT(values, 200);
    EXPECT_LT(values, 400);
}

TEST(XcorrOffset, LagsBeyondTheRangeAreBeyondEveryBound) {
    for (const std::int64_t bound : {std::int64_t{0}, std::int64_t{1000}, kLatest - 1}) {
        EXPECT_EQ(estimate_xcorr_offset_ps(Times{kEarliest}, Times{kLatest}, bound, 10), std::nullopt)
            << bound;
        EXPECT_EQ(estimate_xcorr_offset_ps(Times{kLatest}, Times{kEarliest}, bound, 10), std::nullopt)
            << bound;
        EXPECT_EQ(estimate_xcorr_offset_ps(Times{0}, Times{kEarliest}, bound, 10), std::nullopt) << bound;
    }
    EXPECT_EQ(estimate_xcorr_offset_ps(Times{0}, Times{kLatest}, kLatest, 10), kLatest);
    EXPECT_EQ(estimate_xcorr_offset_ps(Times{0}, Times{-kLatest}, kLatest, 10), -kLatest);
    EXPECT_EQ(estimate_xcorr_offset_ps(Times{0}, Times{-kLatest}, kLatest - 1, 10), std::nullopt);
}

TEST(XcorrOffset, TheNearestIsFoundAtTheEndsOfTheRange) {
    const Times b{kEarliest, kEarliest + 10, kLatest - 10, kLatest};
    EXPECT_EQ(estimate_xcorr_offset_ps(Times{kEarliest + 4}, b, std::nullopt, 10), -4);
    EXPECT_EQ(estimate_xcorr_offset_ps(Times{kLatest - 4}, b, std::nullopt, 10), 4);
    EXPECT_EQ(estimate_xcorr_offset_ps(Times{kLatest - 6}, b, std::nullopt, 10), -4);
    // The earlier neighbour is near, and the way to the later one is beyond the range.
    EXPECT_EQ(estimate_xcorr_offset_ps(Times{kEarliest + 50}, Times{kEarliest, kLatest}, std::nullopt, 10),
              -50);
    EXPECT_TRUE(estimate_xcorr_offset_ps(Times{kEarliest}, Times{kLatest}, std::nullopt, 10).has_value());
    EXPECT_TRUE(estimate_xcorr_offset_ps(Times{kLatest}, Times{kEarliest}, std::nullopt, 10).has_value());
}

} // namespace
} // namespace qorn::timing
