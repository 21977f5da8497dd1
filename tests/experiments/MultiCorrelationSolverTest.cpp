// The offsets that bring the peaks of pairs to zero: on trees and cycles of pairs, on pairs that contradict
// each other, and on inputs that no pair connects.
#include "OffsetSolver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace qorn::testing {
namespace {

using timetagger::gui::estimateOffsetCorrections;
using timetagger::gui::kPairChannels;
using timetagger::gui::LagBins;
using timetagger::gui::OffsetEquation;
using timetagger::gui::PairChannels;
using timetagger::gui::peakEquation;

using Delays = std::array<double, 4>; // ps

// Of the pairs whose bit is set: what their peaks ask for when the inputs have these delays.
std::vector<OffsetEquation> equationsOf(int pairs, const Delays& delays, std::mt19937_64& random) {
    std::vector<OffsetEquation> equations;
    for (std::size_t pair = 0; pair < 6; ++pair) {
        if (((pairs >> pair) & 1) != 0) {
            const PairChannels channels = kPairChannels[pair];
            const double lag = delays[static_cast<std::size_t>(channels.second)] -
                               delays[static_cast<std::size_t>(channels.first)];
            equations.push_back({channels, -lag, static_cast<double>(1 + random() % 100'000)});
        }
    }
    return equations;
}

struct Inputs {
    std::array<bool, 4> used{};
    std::array<int, 4> island{0, 1, 2, 3}; // inputs that pairs connect have the same
    int lowest = -1;
    int islands = 0;

    explicit Inputs(const std::vector<OffsetEquation>& equations) {
        for (const OffsetEquation& equation : equations) {
            used[static_cast<std::size_t>(equation.channels.first)] = true;
            used[static_cast<std::size_t>(equation.channels.second)] = true;
            const int from = islandOf(equation.channels.second);
            const int to = islandOf(equation.channels.first);
            for (int& number : island) {
                number = number == from ? to : number;
            }
        }
        for (int input = 3; input >= 0; --input) {
            const auto place = static_cast<std::size_t>(input);
            lowest = used[place] ? input : lowest;
            islands += used[place] && island[place] == input ? 1 : 0;
        }
    }
    int islandOf(int input) const { return island[static_cast<std::size_t>(input)]; }
};

TEST(OffsetSolver, KnownDelaysAreTakenAwayOnEveryTreeAndCycle) {
    std::mt19937_64 random(1);
    for (int pairs = 1; pairs < 64; ++pairs) {
        for (int round = 0; round < 20; ++round) {
            Delays delays{};
            for (double& delay : delays) {
                delay = static_cast<double>(random() % 2'000'001) - 1e6;
            }
            const std::vector<OffsetEquation> equations = equationsOf(pairs, delays, random);
            const Inputs inputs(equations);
            if (inputs.islands > 1) {
                continue;
            }
            const auto corrections = estimateOffsetCorrections(equations);
            ASSERT_TRUE(corrections.has_value()) << pairs;
            for (std::size_t input = 0; input < 4; ++input) {
                const double expected =
                    inputs.used[input]
                        ? (delays[static_cast<std::size_t>(inputs.lowest)] - delays[input]) / 1000
                        : 0.0;
                EXPECT_NEAR((*corrections)[input], expected, 1e-5) << pairs << ", input " << input;
            }
        }
    }
}

TEST(OffsetSolver, PairsThatContradictEachOtherAreWeighed) {
    std::mt19937_64 random(2);
    for (int round = 0; round < 500; ++round) {
        std::vector<OffsetEquation> equations = equationsOf(63, {}, random);
        for (OffsetEquation& equation : equations) {
            equation.differencePs = static_cast<double>(random() % 20'001) - 1e4;
        }
        if (round % 2 == 0) {
            equations.erase(equations.begin() + static_cast<std::ptrdiff_t>(random() % equations.size()));
        }
        const auto corrections = estimateOffsetCorrections(equations);
        ASSERT_TRUE(corrections.has_value());
        EXPECT_EQ((*corrections)[0], 0.0);
        // at the least sum of weighted squares the weighted errors at each input cancel
        for (int input = 1; input < 4; ++input) {
            double pull = 0.0;
            double scale = 0.0;
            for (const OffsetEquation& equation : equations) {
                const double error =
                    1000 * ((*corrections)[static_cast<std::size_t>(equation.channels.second)] -
                            (*corrections)[static_cast<std::size_t>(equation.channels.first)]) -
                    equation.differencePs;
                pull += equation.channels.second == input ? equation.weight * error : 0.0;
                pull -= equation.channels.first == input ? equation.weight * error : 0.0;
                scale += equation.weight * 1e4;
            }
            EXPECT_NEAR(pull / scale, 0.0, 1e-9);
        }
    }
}

TEST(OffsetSolver, AWeightBelowOneCountsAsOne) {
    for (const double weight : {0.0, 0.25, 1.0}) {
        const auto corrections = estimateOffsetCorrections(
            std::vector<OffsetEquation>{{{0, 1}, -1000, 1.0}, {{0, 2}, -1000, 1.0}, {{1, 2}, -900, weight}});
        ASSERT_TRUE(corrections.has_value());
        EXPECT_NEAR((*corrections)[1], -0.7, 1e-6);
        EXPECT_NEAR((*corrections)[2], -1.3, 1e-6);
    }
}

TEST(OffsetSolver, TheLowestInputThatIsUsedStays) {
    const auto corrections =
        estimateOffsetCorrections(std::vector<OffsetEquation>{{{1, 3}, 5000, 10}, {{2, 3}, -3000, 20}});
    ASSERT_TRUE(corrections.has_value());
    EXPECT_EQ((*corrections)[0], 0.0);
    EXPECT_EQ((*corrections)[1], 0.0);
    EXPECT_NEAR((*corrections)[3], 5.0, 1e-6);
    EXPECT_NEAR((*corrections)[2], 8.0, 1e-6);
}

TEST(OffsetSolver, WithoutAnEquationThereIsNothingToSolve) {
    EXPECT_FALSE(estimateOffsetCorrections({}).has_value());
}

// The second pair has no way to the reference: the small term that keeps the matrix regular settles it.
TEST(OffsetSolver, AnUnconnectedPairIsCentredOnZero) {
    struct Row {
        PairChannels first;
        PairChannels second;
    };
    for (const Row& row : {Row{{0, 1}, {2, 3}}, Row{{0, 2}, {1, 3}}, Row{{0, 3}, {1, 2}}}) {
        const auto corrections = estimateOffsetCorrections(
            std::vector<OffsetEquation>{{row.first, -1500, 100}, {row.second, -4000, 100}});
        ASSERT_TRUE(corrections.has_value());
        const auto at = [&](int input) { return (*corrections)[static_cast<std::size_t>(input)]; };
        EXPECT_EQ(at(0), 0.0);
        EXPECT_NEAR(at(row.first.second), -1.5, 1e-6);
        EXPECT_NEAR(at(row.second.second) - at(row.second.first), -4.0, 1e-6);
        EXPECT_NEAR(at(row.second.first), 2.0, 0.01);
    }
}

// Beside such a weight the small term is nothing, and the matrix is not regular.
TEST(OffsetSolver, AnUnconnectedPairOfGreatWeightFails) {
    EXPECT_FALSE(
        estimateOffsetCorrections(std::vector<OffsetEquation>{{{0, 1}, -1500, 100}, {{2, 3}, -4000, 1e9}})
            .has_value());
    EXPECT_TRUE(estimateOffsetCorrections(
                    std::vector<OffsetEquation>{{{0, 1}, -1500, 1e9}, {{1, 2}, 7, 1}, {{2, 3}, -4000, 1e9}})
                    .has_value());
}

TEST(OffsetSolver, APeakIsTheFirstOfTheHighestBins) {
    const LagBins bins{500, 8, 126};
    std::vector<quint64> histogram(126, 3);
    histogram[70] = 9;
    histogram[20] = 9;
    histogram[90] = 8;
    const auto equation = peakEquation({1, 3}, histogram, bins);
    ASSERT_TRUE(equation.has_value());
    EXPECT_EQ(equation->channels.first, 1);
    EXPECT_EQ(equation->channels.second, 3);
    EXPECT_EQ(equation->differencePs, -(20 * 8 - 500));
    EXPECT_EQ(equation->weight, 9.0);
}

TEST(OffsetSolver, AHistogramWithoutCountsHasNoPeak) {
    EXPECT_FALSE(peakEquation({0, 1}, {}, LagBins{500, 8, 126}).has_value());
    EXPECT_FALSE(peakEquation({0, 1}, std::vector<quint64>(126, 0), LagBins{500, 8, 126}).has_value());
}

} // namespace
} // namespace qorn::testing
