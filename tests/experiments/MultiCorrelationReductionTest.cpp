// How the tags of the Multi correlation are thinned: strides by rate, batch and buffer, and which tags stay.
#include "MultiCorrelationReference.h"
#include "TagReduction.h"

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

using timetagger::gui::TagReduction;

struct StrideRow {
    const char* name;
    quint64 tags;
    quint64 deepest;
    int rate; // the stride of the rate before it
    int stride;
};

void PrintTo(const StrideRow& row, std::ostream* out) {
    *out << row.name;
}

class ReductionStride : public ::testing::TestWithParam<StrideRow> {};

TEST_P(ReductionStride, IsTheLargestThatIsNeeded) {
    const StrideRow& row = GetParam();
    TagReduction reduction;
    reduction.reset(0);
    if (row.rate > 1) {
        // so many times the target rate for a second
        reduction.reductionStrideForBatch(250'000U * static_cast<quint64>(row.rate), 0, 1000);
    }
    EXPECT_EQ(reduction.reductionStrideForBatch(row.tags, row.deepest, 1001), row.stride);
}

// Without a rate the second call is the first estimate, which is small.
INSTANTIATE_TEST_SUITE_P(
    Batches, ReductionStride,
    ::testing::Values(
        StrideRow{"SmallBatch", 1, 0, 1, 1}, StrideRow{"BatchOfTheTarget", 12'000, 8192, 1, 1},
        StrideRow{"OneTagMore", 12'001, 0, 1, 2}, StrideRow{"TwiceTheTarget", 24'000, 0, 1, 2},
        StrideRow{"MoreThanTwice", 24'001, 0, 1, 3}, StrideRow{"ATransferOfTags", 65'536, 8192, 1, 6},
        StrideRow{"DeepBuffer", 12'000, 8193, 1, 2}, StrideRow{"DeeperBuffer", 100, 81'921, 1, 11},
        StrideRow{"BufferAboveBatch", 12'001, 81'921, 1, 11},
        StrideRow{"BatchAboveBuffer", 65'536, 8193, 1, 6}, StrideRow{"HighRate", 100, 0, 4, 4},
        StrideRow{"RateAboveBatch", 24'001, 0, 7, 7}, StrideRow{"BatchAboveRate", 65'536, 0, 3, 6},
        StrideRow{"RateAboveBuffer", 100, 8193, 5, 5}, StrideRow{"BufferAboveRate", 100, 81'921, 5, 11},
        StrideRow{"RateAboveAll", 24'001, 8193, 9, 9}, StrideRow{"BufferAboveAll", 24'001, 81'921, 9, 11},
        StrideRow{"BatchAboveAll", 240'000, 8193, 9, 20}),
    [](const auto& test) { return test.param.name; });

TEST(ReductionRate, IsMeasuredOverAQuarterOfASecondAtLeast) {
    TagReduction reduction;
    reduction.reset(5000);
    for (int batch = 0; batch < 100; ++batch) { // 1 million tags within 249 ms
        EXPECT_EQ(reduction.reductionStrideForBatch(10'000, 0, 5249), 1);
    }
    EXPECT_EQ(reduction.reductionStrideForBatch(10'000, 0, 5250), 17) << "1 010 000 tags in 250 ms";
    EXPECT_EQ(reduction.reductionStrideForBatch(10'000, 0, 5499), 17) << "until the next estimate";
    EXPECT_EQ(reduction.reductionStrideForBatch(10'000, 0, 5500), 1) << "20 000 tags in 250 ms";
}

TEST(ReductionRate, IsRoundedUpToTheNextStride) {
    for (const auto& [tags, stride] : {std::pair{250'000U, 1}, {250'001U, 2}, {500'000U, 2}, {500'001U, 3}}) {
        TagReduction reduction;
        reduction.reset(0);
        reduction.reductionStrideForBatch(tags, 0, 0);
        EXPECT_EQ(reduction.reductionStrideForBatch(0, 0, 1000), stride) << tags;
    }
}

TEST(ReductionRate, IsForgottenByAReset) {
    TagReduction reduction;
    reduction.reset(0);
    reduction.reductionStrideForBatch(10'000'000, 0, 1000);
    EXPECT_EQ(reduction.reductionStrideForBatch(1, 0, 1001), 40);
    reduction.reset(1002);
    EXPECT_EQ(reduction.reductionStrideForBatch(1, 0, 1003), 1);
}

TEST(ReductionHash, PicksTheTagsThatTheHashSays) {
    for (const int stride : {2, 3, 4, 7, 10, 12'000, 0x7fffffff}) {
        TagReduction reduction;
        reduction.reset(0);
        for (quint64 number = 0; number < 20'000; ++number) {
            for (int input = 0; input < 4; ++input) {
                ASSERT_EQ(reduction.keepReducedTag(input, stride),
                          staysWithStride(input, number, static_cast<quint64>(stride)))
                    << "stride " << stride << ", input " << input << ", tag " << number;
            }
        }
    }
}

TEST(ReductionHash, EveryTagIsNumberedWhetherItIsThinnedOrNot) {
    TagReduction reduction;
    reduction.reset(0);
    std::array<quint64, 4> numbers{};
    for (int round = 0; round < 5000; ++round) {
        const int input = round % 3;
        const int stride = round % 7; // 0 and 1 keep all
        const bool stays = stride < 2 || staysWithStride(input, numbers[static_cast<std::size_t>(input)],
                                                         static_cast<quint64>(stride));
        ASSERT_EQ(reduction.keepReducedTag(input, stride), stays) << round;
        ++numbers[static_cast<std::size_t>(input)];
    }
    reduction.reset(0);
    for (quint64 number = 0; number < 100; ++number) {
        ASSERT_EQ(reduction.keepReducedTag(1, 5), staysWithStride(1, number, 5)) << "a reset begins at 0";
    }
}

TEST(ReductionHash, InputsThatDoNotExistKeepNothing) {
    TagReduction reduction;
    reduction.reset(0);
    for (const int stride : {0, 1, 2, 3}) {
        for (const int input : {-1, 4, 255}) {
            for (int tag = 0; tag < 20; ++tag) {
                EXPECT_FALSE(reduction.keepReducedTag(input, stride));
            }
        }
    }
}

TEST(ReductionHash, AStrideOfThreeKeepsAThirdOfEachInput) {
    TagReduction reduction;
    reduction.reset(0);
    for (int input = 0; input < 4; ++input) {
        int stay = 0;
        for (int tag = 0; tag < 90'000; ++tag) {
            stay += reduction.keepReducedTag(input, 3) ? 1 : 0;
        }
        EXPECT_NEAR(stay, 30'000, 6 * std::sqrt(90'000 * 2.0 / 9)) << input;
    }
}

} // namespace
} // namespace qorn::testing
