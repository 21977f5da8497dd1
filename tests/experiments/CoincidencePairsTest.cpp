#include "CoincidencePairs.h"

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

TEST(CoincidencePairs, StandInTheOrderOfTheTables) {
    constexpr int kExpected[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};
    ASSERT_EQ(kPairs, 6U);
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        EXPECT_EQ(kPairChannels[pair].first, kExpected[pair][0]) << pair;
        EXPECT_EQ(kPairChannels[pair].second, kExpected[pair][1]) << pair;
    }
}

TEST(CoincidencePairs, TwoInputsHaveOneIndexInEitherOrder) {
    constexpr int kExpected[4][4] = {{-1, 0, 1, 2}, {0, -1, 3, 4}, {1, 3, -1, 5}, {2, 4, 5, -1}};
    for (int a = 0; a < 4; ++a) {
        for (int b = 0; b < 4; ++b) {
            EXPECT_EQ(pairIndex(a, b), kExpected[a][b]) << a << " " << b;
        }
    }
}

TEST(CoincidencePairs, InputsThatDoNotExistHaveNone) {
    for (const int strange : {-1, 4, 200}) {
        for (int input = 0; input < 4; ++input) {
            EXPECT_EQ(pairIndex(strange, input), -1);
            EXPECT_EQ(pairIndex(input, strange), -1);
        }
        EXPECT_EQ(pairIndex(strange, strange), -1);
    }
}

} // namespace
} // namespace qorn::timetagger::gui
