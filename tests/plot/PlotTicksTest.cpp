#include "PlotTestSupport.h"

#include <cmath>
#include <limits>
#include <vector>

namespace {

using plottest::BarChartWidget;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// What the walk yields for a given first tick, step and count: a running sum, not multiples of the step.
std::vector<double> walk(double first, double step, int count) {
    std::vector<double> ticks;
    double value = first;
    for (int i = 0; i < count; ++i) {
        ticks.push_back(std::abs(value) < step * 1e-6 ? 0.0 : value);
        value += step;
    }
    return ticks;
}

std::vector<double> ticksOf(double min, double max, int target, int& decimals) {
    const QList<double> ticks = BarChartWidget::niceTicks(min, max, target, decimals);
    return {ticks.begin(), ticks.end()};
}

struct TickCase {
    const char* name;
    double min;
    double max;
    int target;
    double first;
    double step;
    int count;
    int decimals;
};

void PrintTo(const TickCase& tickCase, std::ostream* stream) {
    *stream << tickCase.min << " to " << tickCase.max << " with target " << tickCase.target;
}

class NiceTicksTable : public ::testing::TestWithParam<TickCase> {};

TEST_P(NiceTicksTable, AreTheExpectedWalkAndDecimals) {
    const TickCase& expected = GetParam();
    int decimals = -1;
    const std::vector<double> ticks = ticksOf(expected.min, expected.max, expected.target, decimals);
    const std::vector<double> wanted = walk(expected.first, expected.step, expected.count);
    ASSERT_EQ(ticks.size(), wanted.size());
    for (std::size_t i = 0; i < ticks.size(); ++i) {
        EXPECT_DOUBLE_EQ(ticks[i], wanted[i]) << "tick " << i;
    }
    EXPECT_EQ(decimals, expected.decimals);
}

INSTANTIATE_TEST_SUITE_P(Ranges, NiceTicksTable,
                         ::testing::Values(TickCase{"UnitRange", 0, 1, 5, 0, 0.2, 6, 1},
                                           TickCase{"TenAtSix", 0, 10, 6, 0, 2, 6, 0},
                                           TickCase{"JustBelowOneAndAHalf", 0, 7.4, 5, 0, 1, 8, 0},
                                           TickCase{"ExactlyOneAndAHalf", 0, 7.5, 5, 0, 2, 4, 0},
                                           TickCase{"JustBelowThree", 0, 14.9, 5, 0, 2, 8, 0},
                                           TickCase{"ExactlyThree", 0, 15, 5, 0, 5, 4, 0},
                                           TickCase{"BetweenThreeAndThreeAndAHalf", 0, 16.5, 5, 0, 5, 4, 0},
                                           TickCase{"JustBelowSeven", 0, 34.9, 5, 0, 5, 7, 0},
                                           TickCase{"ExactlySeven", 0, 35, 5, 0, 10, 4, 0},
                                           TickCase{"BetweenSevenAndSevenAndAHalf", 0, 36.5, 5, 0, 10, 4, 0},
                                           TickCase{"BothSidesOfZero", -1, 1, 5, -1, 0.5, 5, 1},
                                           TickCase{"BelowZero", -10, -1, 5, -10, 2, 5, 0},
                                           TickCase{"FirstTickInsideTheRange", 0.5, 9.5, 6, 2, 2, 4, 0},
                                           TickCase{"SmallSteps", 0, 0.05, 5, 0, 0.01, 6, 2},
                                           TickCase{"StepOfOneTenth", 0, 0.5, 5, 0, 0.1, 6, 1},
                                           TickCase{"LargeStepsHaveNoDecimals", 0, 5e12, 5, 0, 1e12, 6, 0},
                                           TickCase{"StepOfAMillionth", 0, 5e-6, 5, 0, 1e-6, 6, 6},
                                           TickCase{"DecimalsEndAtNine", 0, 5e-12, 5, 0, 1e-12, 6, 9},
                                           TickCase{"LeastTarget", 0, 10, 2, 0, 5, 3, 0},
                                           TickCase{"EndsAfterTwoHundredAndOne", 0, 1, 500, 0, 0.002, 201, 3},
                                           TickCase{"ExactlyTwoHundredAndOne", 0, 200, 200, 0, 1, 201, 0},
                                           TickCase{"FarFromZero", 1e6, 1e6 + 10, 5, 1e6, 2, 6, 0}),
                         [](const auto& entry) { return std::string(entry.param.name); });

TEST(NiceTicks, FollowTheRunningSumAndNotTheMultiplesOfTheStep) {
    int decimals = 0;
    const std::vector<double> ticks = ticksOf(0.0, 1.0, 10, decimals);
    double running = 0.0;
    for (int i = 0; i < 8; ++i) {
        running += 0.1;
    }
    ASSERT_NE(running, 8 * 0.1);
    ASSERT_EQ(ticks.size(), 11u);
    EXPECT_EQ(ticks[8], running);
}

TEST(NiceTicks, InvertedOrEmptyRangeYieldsNoTicksAndNoDecimals) {
    for (const auto& [min, max] :
         {std::pair{1.0, 1.0}, {2.0, 1.0}, {kNan, 1.0}, {0.0, kNan}, {kInfinity, kInfinity}}) {
        int decimals = 7;
        EXPECT_TRUE(BarChartWidget::niceTicks(min, max, 5, decimals).isEmpty()) << min << " to " << max;
        EXPECT_EQ(decimals, 0);
    }
}

TEST(NiceTicks, TargetOfOneOrLessYieldsNoTicksAndNoDecimals) {
    for (const int target : {1, 0, -1, std::numeric_limits<int>::min()}) {
        int decimals = 7;
        EXPECT_TRUE(BarChartWidget::niceTicks(0.0, 1.0, target, decimals).isEmpty()) << target;
        EXPECT_EQ(decimals, 0);
    }
}

TEST(NiceTicks, ResidueNearZeroIsExactlyZero) {
    // The running sum from -0.3 in steps of 0.1 misses zero by a few 1e-17.
    for (const auto& [min, max] : {std::pair{-0.3, 0.3}, {-0.7, 0.3}, {-0.6, 0.6}, {-0.05, 1.0}}) {
        int decimals = 0;
        int zeros = 0;
        for (const double tick : ticksOf(min, max, 6, decimals)) {
            if (std::abs(tick) < 1e-9) {
                ++zeros;
                EXPECT_EQ(tick, 0.0);
                EXPECT_FALSE(std::signbit(tick)) << min << " to " << max;
                EXPECT_EQ(BarChartWidget::formatTick(tick, decimals), QStringLiteral("0"));
            }
        }
        EXPECT_EQ(zeros, 1) << min << " to " << max;
    }
}

TEST(NiceTicks, StepBelowTheResolutionOfTheRangeEndsAfterTwoHundredAndOne) {
    // At 1e17 neighbouring doubles are 16 apart, so adding 5 changes nothing.
    int decimals = -1;
    const std::vector<double> ticks = ticksOf(1e17, 1e17 + 16.0, 5, decimals);
    EXPECT_EQ(ticks.size(), 201u);
    EXPECT_EQ(decimals, 0);
}

TEST(NiceTicks, HopelessRangesEndWithAtMostTwoHundredAndOneTicks) {
    for (const auto& [min, max] : {std::pair{0.0, kInfinity},
                                   {-kInfinity, 0.0},
                                   {-kInfinity, kInfinity},
                                   {-1e308, 1e308},
                                   {0.0, 1e300},
                                   {0.0, std::numeric_limits<double>::denorm_min()}}) {
        for (const int target : {2, 5, 6, std::numeric_limits<int>::max()}) {
            int decimals = -1;
            EXPECT_LE(ticksOf(min, max, target, decimals).size(), 201u) << min << " to " << max;
            EXPECT_GE(decimals, 0);
            EXPECT_LE(decimals, 9);
        }
    }
}

TEST(NiceTicks, StayInsideTheRangeAndEvenlySpacedForManyRanges) {
    for (double span = 1e-6; span < 1e12; span *= 3.7) {
        for (const double offset : {-0.73, -0.5, 0.0, 0.4}) {
            const double min = offset * span;
            const double max = min + span;
            int decimals = 0;
            const std::vector<double> ticks = ticksOf(min, max, 5, decimals);
            ASSERT_GE(ticks.size(), 2u) << min << " to " << max;
            const double step = ticks[1] - ticks[0];
            const double mantissa = step / std::pow(10.0, std::floor(std::log10(step) + 1e-9));
            EXPECT_TRUE(std::abs(mantissa - 1) < 1e-6 || std::abs(mantissa - 2) < 1e-6 ||
                        std::abs(mantissa - 5) < 1e-6)
                << mantissa;
            EXPECT_GE(ticks.front(), min - step * 1e-6);
            EXPECT_LE(ticks.back(), max + step * 1e-5);
            EXPECT_LT(ticks.front() - min, step * (1 + 1e-6));
            EXPECT_LT(max - ticks.back(), step * (1 + 1e-6));
            EXPECT_EQ(decimals, int(std::clamp(std::ceil(-std::log10(step) - 1e-9), 0.0, 9.0)));
        }
    }
}

struct FormatCase {
    double value;
    int decimals;
    const char* text;
};

void PrintTo(const FormatCase& formatCase, std::ostream* stream) {
    *stream << formatCase.value << " with " << formatCase.decimals << " decimals";
}

class FormatTickTable : public ::testing::TestWithParam<FormatCase> {};

TEST_P(FormatTickTable, WritesTheExpectedText) {
    EXPECT_EQ(BarChartWidget::formatTick(GetParam().value, GetParam().decimals).toStdString(),
              GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Plain, FormatTickTable,
    ::testing::Values(FormatCase{0, 0, "0"}, FormatCase{0, 3, "0"}, FormatCase{-0.0, 0, "0"},
                      FormatCase{-0.0, 2, "0"}, FormatCase{-0.4, 0, "0"}, FormatCase{-0.04, 1, "0"},
                      FormatCase{-0.6, 0, "-1"}, FormatCase{2.5, 2, "2.5"}, FormatCase{10.1, 2, "10.1"},
                      FormatCase{100, 0, "100"}, FormatCase{100, 2, "100"}, FormatCase{-2.25, 2, "-2.25"},
                      FormatCase{0.2, 1, "0.2"}, FormatCase{0.05, 4, "0.05"}, FormatCase{999.5, 0, "1000"},
                      FormatCase{-999.5, 0, "-1000"}, FormatCase{999.99, 1, "1000"},
                      FormatCase{0.1234567894, 12, "0.123456789"}, FormatCase{1e-9, 9, "0.000000001"},
                      FormatCase{1e-12, 9, "0"}, FormatCase{3.7, -2, "4"}));

INSTANTIATE_TEST_SUITE_P(
    Suffixed, FormatTickTable,
    ::testing::Values(
        FormatCase{1000, 0, "1k"}, FormatCase{1500, 0, "1.5k"}, FormatCase{-1500, 0, "-1.5k"},
        FormatCase{1234, 0, "1.234k"}, FormatCase{12345.25, 2, "12.34525k"}, FormatCase{20000, 0, "20k"},
        FormatCase{999999, 0, "999.999k"}, FormatCase{999999.9, 0, "1000k"}, FormatCase{1e6, 0, "1M"},
        FormatCase{1234567, 0, "1.234567M"}, FormatCase{-2.5e6, 0, "-2.5M"}, FormatCase{1e9, 0, "1G"},
        FormatCase{1.25e9, 0, "1.25G"}, FormatCase{1.000000001e9, 0, "1.000000001G"},
        FormatCase{1.0000000001e9, 3, "1G"}, FormatCase{1e12, 0, "1T"}, FormatCase{1e12 + 1, 0, "1T"},
        FormatCase{-3.5e12, 0, "-3.5T"}, FormatCase{2.5e15, 0, "2500T"}, FormatCase{1540, -2, "1.5k"},
        FormatCase{1234567, -1, "1.23457M"}, FormatCase{1234567891, -1, "1.23456789G"},
        FormatCase{1.2345678912345e12, -4, "1.23456789T"}, FormatCase{1234, -3, "1k"},
        FormatCase{1234, -9, "1k"}));

TEST(FormatTick, TakesValuesThatAreNoNumbersAndHugeOnes) {
    for (const double value : {kNan, kInfinity, -kInfinity}) {
        EXPECT_FALSE(BarChartWidget::formatTick(value, 0).isEmpty());
    }
    EXPECT_TRUE(BarChartWidget::formatTick(1e300, 9).endsWith(QLatin1Char('T')));
}

} // namespace
