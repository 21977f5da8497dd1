#include "LagEstimators.h"

#include "LagEstimatorsReference.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <string>

namespace qorn::timing {
namespace {

using testing::RandomSource;
using testing::referenceHistogram;
using testing::ReferenceHistogram;
using testing::Times;
using Counts = std::vector<std::uint64_t>;

constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();

std::uint64_t total(const Counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

// How many of the pairs are at this lag, by the histogram; none when there is no such bin.
std::uint64_t countAt(const XcorrHistogram& histogram, std::int64_t lag) {
    for (std::size_t i = 0; i < histogram.lags_ps.size(); ++i) {
        if (histogram.lags_ps[i] == lag) {
            return histogram.counts[i];
        }
    }
    return 0;
}

::testing::AssertionResult same(const XcorrHistogram& actual, const ReferenceHistogram& expected) {
    if (actual.lags_ps != expected.lags) {
        return ::testing::AssertionFailure()
               << "other lags, " << actual.lags_ps.size() << " instead of " << expected.lags.size();
    }
    if (actual.counts.size() != expected.counts.size()) {
        return ::testing::AssertionFailure() << actual.counts.size() << " counts";
    }
    for (std::size_t i = 0; i < expected.counts.size(); ++i) {
        if (actual.counts[i] != expected.counts[i]) {
            return ::testing::AssertionFailure() << actual.counts[i] << " instead of " << expected.counts[i]
                                                 << " at lag " << expected.lags[i];
        }
    }
    return ::testing::AssertionSuccess();
}

// --- bins --------------------------------------------------------------------------------------------------

struct BinRow {
    std::int64_t window;
    std::int64_t bin;
    std::size_t bins;
    std::int64_t lastLag;
};

TEST(XcorrHistogram, HasAnOddNumberOfBinsWithLagZeroInTheMiddle) {
    const BinRow rows[] = {
        {10, 3, 7, 9},
        {10, 4, 5, 8},
        {10, 5, 5, 10},
        {10, 1, 21, 10},
        {10, 2, 11, 10},
        {10, 6, 5, 12},
        {10, 7, 3, 7},
        {10, 19, 3, 19},
        {10, 20, 1, 0},
        {10, 21, 1, 0},
        {10, 1000, 1, 0},
        {1, 1, 3, 1},
        {1, 2, 1, 0},
        {1, 3, 1, 0},
        {1000, 8, 251, 1000},
        {1000, 16, 125, 992},
        {1'000'000, 37, 54055, 999'999},
    };
    for (const BinRow& row : rows) {
        const XcorrHistogram histogram = xcorr_histogram({}, {}, row.window, row.bin, 0);
        SCOPED_TRACE(std::to_string(row.window) + " in bins of " + std::to_string(row.bin));
        ASSERT_EQ(histogram.lags_ps.size(), row.bins);
        EXPECT_EQ(histogram.counts, Counts(row.bins));
        EXPECT_EQ(histogram.lags_ps.front(), -row.lastLag);
        EXPECT_EQ(histogram.lags_ps[row.bins / 2], 0);
        EXPECT_EQ(histogram.lags_ps.back(), row.lastLag);
        EXPECT_TRUE(same(histogram, referenceHistogram({}, {}, row.window, row.bin, 0)));
    }
}

TEST(XcorrHistogram, WithoutWindowOrBinIsOneEmptyBinHoweverManyTagsThereAre) {
    const Times tags(1000, 5);
    for (const auto& [window, bin] : {std::pair<std::int64_t, std::int64_t>{0, 1},
                                      {-1, 1},
                                      {kEarliest, 1},
                                      {10, 0},
                                      {10, -3},
                                      {10, kEarliest},
                                      {0, 0},
                                      {kEarliest, kEarliest}}) {
        const XcorrHistogram histogram = xcorr_histogram(tags, tags, window, bin, 0);
        EXPECT_EQ(histogram.lags_ps, Times{0}) << window << " " << bin;
        EXPECT_EQ(histogram.counts, Counts{0}) << window << " " << bin;
    }
}

TEST(XcorrHistogram, OfNoTagsOnOneSideIsZero) {
    const Times tags{-5, 0, 5};
    const Counts zeros(21);
    EXPECT_EQ(xcorr_histogram(tags, {}, 10, 1, 0).counts, zeros);
    EXPECT_EQ(xcorr_histogram({}, tags, 10, 1, 0).counts, zeros);
    EXPECT_EQ(xcorr_histogram({}, {}, 10, 1, 0).counts, zeros);
}

TEST(XcorrHistogram, OfMoreBinsThanAListTakesIsALengthError) {
    const Times tag{0};
    for (const std::int64_t window : {kLatest, kLatest / 2, kLatest / 4}) {
        EXPECT_THROW(xcorr_histogram(tag, tag, window, 1, 0), std::length_error) << window;
        EXPECT_THROW(xcorr_histogram({}, {}, window, 1, 0), std::length_error) << window;
    }
    EXPECT_THROW(xcorr_histogram(tag, tag, kLatest, 3, 0), std::length_error);
    EXPECT_NO_THROW(xcorr_histogram(tag, tag, kLatest, kLatest / 1000, 0));
}

// --- single pairs ------------------------------------------------------------------------------------------

TEST(XcorrHistogram, APositiveLagMeansThatTheSecondListComesLater) {
    const XcorrHistogram histogram = xcorr_histogram(Times{100}, Times{107}, 10, 1, 0);
    EXPECT_EQ(countAt(histogram, 7), 1U);
    EXPECT_EQ(total(histogram.counts), 1U);
}

TEST(XcorrHistogram, TheWindowIncludesBothOfItsEnds) {
    const Times b{89, 90, 110, 111};
    const XcorrHistogram histogram = xcorr_histogram(Times{100}, b, 10, 1, 0);
    EXPECT_EQ(countAt(histogram, -10), 1U);
    EXPECT_EQ(countAt(histogram, 10), 1U);
    EXPECT_EQ(total(histogram.counts), 2U);
}

TEST(XcorrHistogram, AWindowThatIsNoMultipleOfTheBinKeepsItsEndInTheLastBin) {
    const XcorrHistogram histogram = xcorr_histogram(Times{0}, Times{-10, 10}, 10, 3, 0);
    EXPECT_EQ(histogram.lags_ps, (Times{-9, -6, -3, 0, 3, 6, 9}));
    EXPECT_EQ(histogram.counts, (Counts{1, 0, 0, 0, 0, 0, 1}));
}

TEST(XcorrHistogram, APairThatRoundsBeyondTheLastBinIsDropped) {
    const XcorrHistogram histogram = xcorr_histogram(Times{0}, Times{-10, -9, 9, 10}, 10, 4, 0);
    EXPECT_EQ(histogram.lags_ps, (Times{-8, -4, 0, 4, 8}));
    EXPECT_EQ(histogram.counts, (Counts{1, 0, 0, 0, 1}));
}

TEST(XcorrHistogram, HalfABinRoundsAwayFromZeroOnBothSides) {
    const Times b{-6, -5, -3, -2, -1, 1, 2, 3, 5, 6};
    const XcorrHistogram histogram = xcorr_histogram(Times{0}, b, 8, 4, 0);
    EXPECT_EQ(histogram.lags_ps, (Times{-8, -4, 0, 4, 8}));
    EXPECT_EQ(histogram.counts, (Counts{1, 3, 2, 3, 1}));
    // Half of an odd bin is truncated, and no lag is a tie.
    EXPECT_EQ(xcorr_histogram(Times{0}, Times{-2, -1, 1, 2}, 4, 3, 0).counts, (Counts{1, 2, 1}));
}

TEST(XcorrHistogram, TheOffsetMovesThePairsAndNotTheLags) {
    for (const std::int64_t offset :
         {std::int64_t{-1'000'000}, std::int64_t{-7}, std::int64_t{7}, std::int64_t{5'000'000'000'000}}) {
        const XcorrHistogram histogram = xcorr_histogram(
            Times{50}, Times{50 + offset - 10, 50 + offset + 3, 50 + offset + 11}, 10, 1, offset);
        ASSERT_EQ(histogram.lags_ps.size(), 21U);
        EXPECT_EQ(histogram.lags_ps.front(), -10);
        EXPECT_EQ(countAt(histogram, -10), 1U) << offset;
        EXPECT_EQ(countAt(histogram, 3), 1U) << offset;
        EXPECT_EQ(total(histogram.counts), 2U) << offset;
    }
}

TEST(XcorrHistogram, EveryPairCountsAndNotTheNearestAlone) {
    const Times a(30, 1000);
    const Times b(40, 1002);
    EXPECT_EQ(countAt(xcorr_histogram(a, b, 10, 1, 0), 2), 1200U);
    Times comb(200);
    for (std::size_t i = 0; i < comb.size(); ++i) {
        comb[i] = static_cast<std::int64_t>(i) * 10;
    }
    const XcorrHistogram histogram = xcorr_histogram(comb, comb, 50, 10, 0);
    EXPECT_EQ(histogram.counts, (Counts{195, 196, 197, 198, 199, 200, 199, 198, 197, 196, 195}));
}

TEST(XcorrHistogram, TheListsMayHaveAnyOrderAndStayAsTheyAre) {
    RandomSource random(1);
    Times a = testing::randomTimes(random, 500, -20'000, 100);
    Times b = testing::randomTimes(random, 700, -20'000, 70);
    const ReferenceHistogram expected = referenceHistogram(a, b, 300, 7, 20);
    for (const bool shuffleA : {false, true}) {
        for (const bool shuffleB : {false, true}) {
            Times first = a;
            Times second = b;
            if (shuffleA) {
                testing::shuffle(first, random);
            }
            if (shuffleB) {
                testing::shuffle(second, random);
            }
            const Times firstBefore = first;
            const Times secondBefore = second;
            EXPECT_TRUE(same(xcorr_histogram(first, second, 300, 7, 20), expected)) << shuffleA << shuffleB;
            EXPECT_EQ(first, firstBefore);
            EXPECT_EQ(second, secondBefore);
        }
    }
    std::reverse(a.begin(), a.end());
    EXPECT_TRUE(same(xcorr_histogram(a, b, 300, 7, 20), expected));
    // Only the last one, or only the first one, is out of place.
    std::reverse(a.begin(), a.end());
    a.push_back(a.front());
    b.insert(b.begin(), b.back());
    EXPECT_TRUE(same(xcorr_histogram(a, b, 300, 7, 20), referenceHistogram(a, b, 300, 7, 20)));
}

// --- every lag and bin -------------------------------------------------------------------------------------

TEST(XcorrHistogram, EachLagFallsIntoItsBinForAllSmallWindowsAndBins) {
    Times everyLag;
    for (std::int64_t lag = -45; lag <= 45; ++lag) {
        everyLag.push_back(lag + 1000);
    }
    for (std::int64_t window = 1; window <= 40; ++window) {
        for (std::int64_t bin = 1; bin <= 2 * window + 2; ++bin) {
            for (const std::int64_t offset : {0, 3, -2}) {
                ASSERT_TRUE(same(xcorr_histogram(Times{1000}, everyLag, window, bin, offset),
                                 referenceHistogram({1000}, everyLag, window, bin, offset)))
                    << window << " " << bin << " " << offset;
            }
        }
    }
}

// Where a quotient that is not computed exactly would give way: one off each border of the bins.
TEST(XcorrHistogram, EachBorderOfBinsIsExactAlsoFarFromZero) {
    std::vector<std::int64_t> bins;
    for (std::int64_t bin = 1; bin < 70; ++bin) {
        bins.push_back(bin);
    }
    bins.insert(bins.end(), {97,
                             100,
                             127,
                             128,
                             255,
                             1000,
                             4095,
                             4096,
                             4097,
                             65'535,
                             65'536,
                             65'537,
                             999'983,
                             1'000'000,
                             (1LL << 31) - 1,
                             1LL << 31,
                             (1LL << 31) + 1,
                             4'294'967'291,
                             1LL << 32,
                             10'000'000'019,
                             1LL << 40,
                             1'000'000'000'039,
                             (1LL << 45) - 1});
    for (const std::int64_t bin : bins) {
        constexpr std::int64_t kHalf = 5000;
        Times b;
        for (const std::int64_t number : {1, 2, 3, 7, 10, 99, 1000, 1023, 1024, 4095, 4999, 5000}) {
            for (const std::int64_t one : {-1, 0, 1}) {
                b.push_back(number * bin + one);
                b.push_back(number * bin - bin / 2 + one);
                b.push_back(-number * bin + one);
                b.push_back(-number * bin + bin / 2 + one);
            }
        }
        ASSERT_TRUE(same(xcorr_histogram(Times{0}, b, kHalf * bin, bin, 0),
                         referenceHistogram({0}, b, kHalf * bin, bin, 0)))
            << bin;
    }
}

// Times, bins and their number drawn over all magnitudes: the borders of the middle, of some and of the last
// bin.
TEST(XcorrHistogram, EachBorderOfRandomBinsIsExactAtAnyTime) {
    RandomSource random(8);
    const auto magnitude = [&random](int most) {
        const int bits = random.between(0, most);
        return static_cast<std::int64_t>((std::uint64_t{1} << bits) +
                                         (random.bits() >> 1) % (std::uint64_t{1} << bits));
    };
    for (int round = 0; round < 1500; ++round) {
        const std::int64_t half = magnitude(15);
        // Half of them where the product of window and bin is about 2^47.
        const std::int64_t bin =
            round % 2 == 0 ? magnitude(41)
                           : static_cast<std::int64_t>(std::sqrt(0x1p47 / static_cast<double>(half))) +
                                 random.between(-4, 4);
        const std::int64_t window =
            half * bin + static_cast<std::int64_t>(random.below(static_cast<std::uint64_t>(bin)));
        const std::int64_t start = (random.chance(0.5) ? 1 : -1) * magnitude(61);
        const std::int64_t offset = (random.chance(0.5) ? 1 : -1) * magnitude(60);
        Times b;
        for (const std::int64_t number :
             {std::int64_t{0}, half / 2, half - 1, half, half + 1, magnitude(15) % (half + 1)}) {
            for (const std::int64_t sign : {-1, 1}) {
                for (const std::int64_t one : {-1, 0, 1}) {
                    b.push_back(start + offset + sign * (number * bin + one));
                    b.push_back(start + offset + sign * (number * bin + bin / 2 + one));
                    b.push_back(start + offset + sign * (window + one));
                }
            }
        }
        ASSERT_TRUE(same(xcorr_histogram(Times{start}, b, window, bin, offset),
                         referenceHistogram({start}, b, window, bin, offset)))
            << "round " << round << ": " << half << " bins of " << bin << " at " << start << " and "
            << offset;
    }
}

// --- random lists ------------------------------------------------------------------------------------------

struct ListRow {
    const char* name;
    std::uint64_t seed;
    std::size_t a;
    std::size_t b;
    std::int64_t startA;
    std::int64_t startB;
    std::int64_t gapA;
    std::int64_t gapB;
    std::int64_t grid;
    std::int64_t window;
    std::int64_t bin;
    std::int64_t offset;
};

void PrintTo(const ListRow& row, std::ostream* out) {
    *out << row.name;
}

class XcorrLists : public ::testing::TestWithParam<ListRow> {};

TEST_P(XcorrLists, AreCountedPairByPair) {
    const ListRow& row = GetParam();
    RandomSource random(row.seed);
    Times a = testing::randomTimes(random, row.a, row.startA, row.gapA, row.grid);
    Times b = testing::randomTimes(random, row.b, row.startB, row.gapB, row.grid);
    const ReferenceHistogram expected = referenceHistogram(a, b, row.window, row.bin, row.offset);
    EXPECT_TRUE(same(xcorr_histogram(a, b, row.window, row.bin, row.offset), expected)) << "in order";
    testing::shuffle(a, random);
    testing::shuffle(b, random);
    EXPECT_TRUE(same(xcorr_histogram(a, b, row.window, row.bin, row.offset), expected)) << "in any order";
    EXPECT_GT(total(expected.counts), 50U) << "the lists are worth the comparison";
    EXPECT_LT(total(expected.counts), row.a * row.b);
}

INSTANTIATE_TEST_SUITE_P(
    Random, XcorrLists,
    ::testing::Values(
        ListRow{"FewPairs", 1, 2000, 2000, 0, 0, 10'000, 10'000, 1, 1000, 8, 0},
        ListRow{"ManyPairs", 2, 1500, 1500, 0, 0, 100, 100, 1, 1000, 8, 0},
        ListRow{"NegativeTimes", 3, 1000, 1000, -500'000, -510'000, 1000, 1000, 1, 5000, 13, -77},
        ListRow{"EqualTimes", 4, 1000, 1000, 0, 0, 60, 60, 25, 100, 50, 0},
        ListRow{"EqualTimesOnTies", 5, 1000, 1000, 0, 0, 90, 60, 5, 200, 10, 5},
        ListRow{"WindowNoMultiple", 6, 1000, 1000, 0, 0, 40, 40, 1, 101, 4, 0},
        ListRow{"BinWiderThanWindow", 7, 1000, 1000, 0, 0, 40, 40, 1, 10, 15, 2},
        ListRow{"SparseStarts", 8, 50, 3000, 0, 0, 6000, 100, 1, 2000, 100, 300},
        ListRow{"SparseStops", 9, 3000, 50, 0, 0, 100, 6000, 1, 2000, 100, -300},
        ListRow{"StopsMuchLater", 10, 1500, 1500, 0, 30'000, 50, 50, 1, 3000, 9, 0},
        ListRow{"StopsMuchEarlier", 11, 1500, 1500, 30'000, 0, 50, 50, 1, 3000, 9, 0},
        ListRow{"FarOffset", 12, 1500, 1500, 0, 8'000'000'000'000, 500, 500, 1, 3000, 9, 8'000'000'000'000},
        ListRow{"FarNegativeOffset", 13, 1500, 1500, 0, -8'000'000'000'000, 500, 500, 1, 3000, 9,
                -8'000'000'000'000},
        ListRow{"WindowBeyondAllTags", 14, 300, 300, 0, 20'000, 100, 100, 1, 15'000, 1001, 0},
        ListRow{"WideBins", 15, 800, 800, 0, 0, 2'000'000'000, 2'000'000'000, 1, 9'000'000'000, 1'000'000'000,
                123}),
    [](const auto& test) { return test.param.name; });

// --- ends of the range -------------------------------------------------------------------------------------

TEST(XcorrHistogram, IsRightAtTheEndsOfTheRange) {
    const Times times{kEarliest, kEarliest + 1, kEarliest + 500, -1000,       -1,     0,
                      1,         999,           kLatest - 500,   kLatest - 1, kLatest};
    struct Row {
        std::int64_t window;
        std::int64_t bin;
    };
    for (const Row& row : {Row{1, 1}, Row{600, 7}, Row{kLatest / 2, kLatest / 100}, Row{kLatest, kLatest / 7},
                           Row{kLatest, kLatest}}) {
        for (const std::int64_t offset :
             {std::int64_t{0}, std::int64_t{499}, kLatest / 2, kLatest, -kLatest, kEarliest, kEarliest + 1}) {
            EXPECT_TRUE(same(xcorr_histogram(times, times, row.window, row.bin, offset),
                             referenceHistogram(times, times, row.window, row.bin, offset)))
                << row.window << " " << row.bin << " " << offset;
        }
    }
}

TEST(XcorrHistogram, AnOffsetBeyondAllTimesLeavesNoPairs) {
    const Times times{-1'000'000, -3, 0, 1, 5'000'000'000'000};
    for (const std::int64_t window : {std::int64_t{1}, std::int64_t{1'000'000'000}}) {
        for (const std::int64_t offset : {kEarliest, kEarliest + 1, -kLatest / 2, kLatest / 2, kLatest}) {
            EXPECT_EQ(total(xcorr_histogram(times, times, window, window, offset).counts), 0U)
                << window << " " << offset;
        }
    }
}

} // namespace
} // namespace qorn::timing
