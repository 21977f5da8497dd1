#include "LagEstimators.h"

#include "LagEstimatorsReference.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace qorn::timing {
namespace {

using testing::RandomSource;
using testing::referencePhaseOffset;
using testing::Times;
using Lag = std::optional<std::int64_t>;

constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();

// `count` pulses at start, start + period, ...
Times train(std::int64_t start, std::int64_t period, std::size_t count) {
    Times times;
    for (std::size_t i = 0; i < count; ++i) {
        times.push_back(start + static_cast<std::int64_t>(i) * period);
    }
    return times;
}

TEST(PeriodicPhase, OfTwoIdenticalTrainsIsZero) {
    for (const std::int64_t start : {-123'456'789, -1, 0, 1, 999}) {
        const Times pulses = train(start, 100'000, 500);
        EXPECT_EQ(estimate_periodic_phase_offset_ps(pulses, pulses, 3333, 128), 0) << start;
    }
}

TEST(PeriodicPhase, OfTrainsWithALagIsTheLagAlsoWhenTheyAreManyPeriodsApart) {
    for (const std::int64_t lag : {-3333, -1500, -1, 1, 250, 3333}) {
        for (const std::int64_t periods : {0, 1, -1, 1'000'000, -70'000}) {
            const Times a = train(50'000, 100'000, 300);
            const Times b = train(50'000 + lag + periods * 100'000, 100'000, 200);
            EXPECT_EQ(estimate_periodic_phase_offset_ps(a, b, 3333, 128), lag) << periods;
        }
    }
}

TEST(PeriodicPhase, TheBoundKeepsALagExactlyAtItAndSkipsOnesBeyond) {
    const Times a = train(50'000, 100'000, 200);
    for (const std::int64_t sign : {-1, 1}) {
        const Times b = train(50'000 + sign * 400, 100'000, 200);
        EXPECT_EQ(estimate_periodic_phase_offset_ps(a, b, 400, 128), sign * 400);
        EXPECT_EQ(estimate_periodic_phase_offset_ps(a, b, 399, 128), std::nullopt);
        EXPECT_EQ(estimate_periodic_phase_offset_ps(a, b, 0, 128), std::nullopt);
        EXPECT_EQ(estimate_periodic_phase_offset_ps(a, b, -1, 128), std::nullopt);
        EXPECT_EQ(estimate_periodic_phase_offset_ps(a, b, kEarliest, 128), std::nullopt);
    }
    EXPECT_EQ(estimate_periodic_phase_offset_ps(a, a, 0, 128), 0);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(a, a, -1, 128), std::nullopt);
}

TEST(PeriodicPhase, EachListNeedsTheLeastNumberOfSamples) {
    const Times many = train(0, 1000, 128);
    const Times few = train(0, 1000, 127);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(many, many, 3333, 128), 0);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(few, many, 3333, 128), std::nullopt);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(many, few, 3333, 128), std::nullopt);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(few, few, 3333, 127), 0);
}

TEST(PeriodicPhase, NeedsADifferenceAndAPartnerHoweverFewSamplesAreAskedFor) {
    EXPECT_EQ(estimate_periodic_phase_offset_ps({}, {}, 3333, 0), std::nullopt);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{5}, Times{5}, 3333, 0), std::nullopt);
    EXPECT_EQ(estimate_periodic_phase_offset_ps({}, Times{5, 6}, 3333, 0), std::nullopt);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{5, 105}, {}, 3333, 0), std::nullopt);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{5, 105}, Times{17}, 3333, 0), 12);
}

TEST(PeriodicPhase, EqualTimesMakeNoPeriod) {
    const Times equal(200, 77);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(equal, equal, 3333, 128), std::nullopt);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{5, 5}, Times{5}, 3333, 1), std::nullopt);
    // Two of the three differences are 0.
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{5, 5, 5, 105}, Times{5}, 3333, 1), std::nullopt);
    // Of two differences, 0 and 100, the upper counts.
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{5, 5, 105}, Times{8}, 3333, 1), 3);
}

TEST(PeriodicPhase, ThePeriodIsTheMedianDifferenceOfTheFirstListAlone) {
    // Differences 100, 100, 130, 100: the period is 100, and the phases are 0, 0, 0, 30, 30.
    const Times a{0, 100, 200, 330, 430};
    EXPECT_EQ(estimate_periodic_phase_offset_ps(a, Times{1004, 5004}, 50, 1), 4);
    // Periods 7 and 13: by the first it is 7.
    const Times b = train(3, 13, 20);
    const Times sevens = train(0, 7, 20);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(sevens, b, 50, 1), referencePhaseOffset(sevens, b, 50, 1));
    // Differences 50 and 90: the upper of the two is the period.
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{0, 50, 140}, Times{50}, 3333, 1), 0);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{0, 50, 140}, Times{144}, 3333, 1), 4);
}

TEST(PeriodicPhase, ThePhasesOfNegativeTimesAreWithinThePeriod) {
    // Phases 97 of the first, 99 of the second.
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{-203, -103, -3}, Times{-1}, 50, 1), 2);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{-203, -103, -3}, Times{99}, 50, 1), 2);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{-200, -100, 0}, Times{-300}, 50, 1), 0);
}

TEST(PeriodicPhase, DoesNotGoRoundFromTheEndOfThePeriodToItsBeginning) {
    const Times late = train(99'990, 100'000, 200); // phase 99990
    const Times early = train(10, 100'000, 200);    // phase 10, 20 ps later in truth
    EXPECT_EQ(estimate_periodic_phase_offset_ps(late, early, 3333, 128), std::nullopt);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(late, early, 99'980, 128), -99'980);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(early, late, 99'980, 128), 99'980);
}

TEST(PeriodicPhase, AnEquallyFarNeighbourIsTheLaterAndTheMedianTheUpper) {
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{50, 150, 250}, Times{45, 55}, 3333, 1), 5);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{50, 150, 250}, Times{46, 55}, 3333, 1), -4);
    // Phases 10, 10, 50, 50 with neighbours at 12 and 47: lags 2 and -3.
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{10, 110, 150, 250}, Times{12, 47}, 3333, 1), 2);
}

TEST(PeriodicPhase, TheListsMayHaveAnyOrderAndStayAsTheyAre) {
    RandomSource random(5);
    Times a = train(40'000, 100'000, 300);
    Times b = train(40'700, 100'000, 300);
    for (Times* times : {&a, &b}) {
        for (std::int64_t& time : *times) {
            time += random.between(-300, 300);
        }
        testing::shuffle(*times, random);
    }
    const Times firstBefore = a;
    const Times secondBefore = b;
    const Lag expected = referencePhaseOffset(a, b, 3333, 128);
    ASSERT_TRUE(expected.has_value());
    EXPECT_EQ(estimate_periodic_phase_offset_ps(a, b, 3333, 128), expected);
    EXPECT_EQ(a, firstBefore);
    EXPECT_EQ(b, secondBefore);
    a = testing::sortedTimes(a);
    b = testing::sortedTimes(b);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(a, b, 3333, 128), expected);
}

struct StrideRow {
    std::size_t count;
    std::int64_t bound;
};

// Long lists of random phases: which of them are taken decides the median.
TEST(PeriodicPhase, TakesFourThousandPhasesAtEvenStrides) {
    for (const StrideRow& row :
         {StrideRow{3999, 1'000'000}, StrideRow{4000, 1'000'000}, StrideRow{4001, 1'000'000},
          StrideRow{6500, 1'000'000}, StrideRow{7999, 1'000'000}, StrideRow{8000, 1'000'000},
          StrideRow{8001, 1'000'000}, StrideRow{12'100, 1'000'000}, StrideRow{6500, 9000},
          StrideRow{12'100, 9000}}) {
        RandomSource random(row.count);
        // Half of the differences are the period exactly, so that it is known; the rest is in disorder.
        Times a;
        std::int64_t time = 0;
        for (std::size_t i = 0; i < row.count; ++i) {
            a.push_back(time);
            const bool regular = i % 5 < 3;
            time += regular ? 1'000'000 : static_cast<std::int64_t>(random.below(2'000'000));
        }
        // The lag grows with the phase.
        const Times b = [] {
            Times phases;
            for (std::int64_t i = 0; i < 50; ++i) {
                phases.push_back(i * 20'000 + i * i * 7);
            }
            return phases;
        }();
        const Lag expected = referencePhaseOffset(a, b, row.bound, 10);
        ASSERT_TRUE(expected.has_value());
        EXPECT_EQ(estimate_periodic_phase_offset_ps(a, b, row.bound, 10), expected) << row.count;
    }
}

// Phases 0, 0, 1, 1, ... 3499, 3499: the median tells which 4000 of them were taken.
TEST(PeriodicPhase, StopsAfterFourThousandDifferencesAndSkippedOnesAreNone) {
    constexpr std::int64_t kPeriod = 1'000'000;
    Times a;
    for (std::int64_t i = 0; i < 7000; ++i) {
        a.push_back(i * kPeriod + i / 2);
    }
    constexpr std::int64_t kPartner = 10'000;
    for (const std::int64_t first : {0, 500, 1400}) {
        const std::int64_t bound = kPartner - first; // the phases before the first are too far away
        const std::int64_t middle = first + 999;     // of the phases from the first to 1999 more
        EXPECT_EQ(referencePhaseOffset(a, Times{kPartner}, bound, 1), kPartner - middle);
        EXPECT_EQ(estimate_periodic_phase_offset_ps(a, Times{kPartner}, bound, 1), kPartner - middle);
    }
}

TEST(PeriodicPhase, AgreesWithTheReferenceOnRandomTrains) {
    RandomSource random(6);
    int values = 0;
    for (int round = 0; round < 500; ++round) {
        const auto period = static_cast<std::int64_t>(1 + random.below(round % 2 == 0 ? 50 : 100'000));
        const std::size_t count = 1 + random.below(round % 20 == 0 ? 6000 : 100);
        const auto jitter = static_cast<std::int64_t>(random.below(static_cast<std::uint64_t>(period) + 1));
        const auto pulses = [&](std::size_t size) {
            Times times = train(random.between(-1'000'000, 1'000'000), period, size);
            for (std::int64_t& time : times) {
                time += static_cast<std::int64_t>(random.below(static_cast<std::uint64_t>(jitter) + 1));
            }
            return times;
        };
        Times a = pulses(count);
        Times b = pulses(1 + random.below(80));
        if (round % 3 == 0) {
            testing::shuffle(a, random);
            testing::shuffle(b, random);
        }
        const auto bound = static_cast<std::int64_t>(random.below(static_cast<std::uint64_t>(period)));
        const std::size_t least = random.below(12);
        const Lag expected = referencePhaseOffset(a, b, bound, least);
        ASSERT_EQ(estimate_periodic_phase_offset_ps(a, b, bound, least), expected) << "round " << round;
        values += expected ? 1 : 0;
    }
    EXPECT_GT(values, 250);
    EXPECT_LT(values, 500);
}

TEST(PeriodicPhase, TimesAtTheEndsOfTheRangeAreTakenAsTheyAre) {
    // A period of 100 from times at the end, whose phases are 7 and 92.
    const Times high{kLatest - 200, kLatest - 100, kLatest};
    EXPECT_EQ(estimate_periodic_phase_offset_ps(high, Times{10}, 3333, 1), 3);
    const Times low{kEarliest, kEarliest + 100, kEarliest + 200};
    EXPECT_EQ(estimate_periodic_phase_offset_ps(low, Times{95}, 3333, 1), 3);
    EXPECT_EQ(estimate_periodic_phase_offset_ps(low, high, 3333, 1), -85);
    // One difference that the range does not hold is far from the middle.
    EXPECT_EQ(estimate_periodic_phase_offset_ps(Times{kEarliest, kLatest - 200, kLatest - 100, kLatest},
                                                Times{10}, 3333, 1),
              3);
}

} // namespace
} // namespace qorn::timing
