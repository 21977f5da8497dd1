#include "TagThinner.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using Indices = std::vector<std::size_t>;

constexpr LoopClock::TimePoint kStart{1h};

Indices indicesOf(const TagThinner::Selection& selection) {
    Indices indices;
    for (std::size_t number = 0; number < selection.picked; ++number) {
        indices.push_back(selection.index(number));
    }
    return indices;
}

TEST(TagThinner, WithoutALimitEverythingGoesOn) {
    for (const int limit : {0, -1, std::numeric_limits<int>::min()}) {
        TagThinner thinner(limit, kStart);
        for (int pass = 0; pass < 3; ++pass) {
            const auto selection = thinner.select(5'000'000, kStart);
            EXPECT_EQ(selection.available, 5'000'000U);
            EXPECT_EQ(selection.picked, 5'000'000U);
            EXPECT_EQ(selection.index(4'999'999), 4'999'999U);
        }
    }
}

TEST(TagThinner, TheBudgetIsATenthOfTheLimitAndAtLeastOne) {
    struct Row {
        int limit;
        std::size_t budget;
    };
    for (const Row& row : {Row{1, 1}, Row{9, 1}, Row{10, 1}, Row{19, 1}, Row{20, 2}, Row{29, 2}, Row{30, 3},
                           Row{200000, 20000}, Row{1000000, 100000}, Row{16000000, 1600000},
                           Row{std::numeric_limits<int>::max(), 214748364}}) {
        TagThinner thinner(row.limit, kStart);
        EXPECT_EQ(thinner.select(1'000'000'000, kStart).picked, row.budget) << row.limit;
        EXPECT_EQ(thinner.select(1, kStart).picked, 0U) << row.limit;
    }
}

TEST(TagThinner, AnotherLimitIsInForceFromTheNextPassOn) {
    TagThinner thinner(100, kStart);
    EXPECT_EQ(thinner.select(20, kStart).picked, 10U);
    thinner.setLimit(500);
    EXPECT_EQ(thinner.select(60, kStart).picked, 40U) << "of 50, less what has gone on in this window";
    thinner.setLimit(100);
    EXPECT_EQ(thinner.select(1, kStart).picked, 0U);
    thinner.setLimit(0);
    EXPECT_EQ(thinner.select(1000, kStart).picked, 1000U);
}

TEST(TagThinner, APassWithinTheRoomGoesOnWhole) {
    TagThinner thinner(100, kStart); // 10 per window
    EXPECT_EQ(indicesOf(thinner.select(4, kStart)), (Indices{0, 1, 2, 3}));
    EXPECT_EQ(indicesOf(thinner.select(6, kStart + 10ms)), (Indices{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(thinner.select(1, kStart + 20ms).picked, 0U);
}

TEST(TagThinner, TheRestOfABudgetIsSpreadOverThePass) {
    TagThinner thinner(100, kStart);
    EXPECT_EQ(thinner.select(7, kStart).picked, 7U);
    EXPECT_EQ(indicesOf(thinner.select(10, kStart)), (Indices{0, 3, 6})); // stride 10 / 3
    EXPECT_EQ(thinner.select(10, kStart).picked, 0U);
}

TEST(TagThinner, PicksAreEvenlySpaced) {
    struct Row {
        std::size_t available;
        Indices picked;
    };
    for (const Row& row :
         {Row{11, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}}, Row{15, {0, 1, 3, 4, 6, 7, 9, 10, 12, 13}},
          Row{20, {0, 2, 4, 6, 8, 10, 12, 14, 16, 18}}, Row{25, {0, 2, 5, 7, 10, 12, 15, 17, 20, 22}}}) {
        TagThinner thinner(100, kStart);
        EXPECT_EQ(indicesOf(thinner.select(row.available, kStart)), row.picked) << row.available;
    }
}

TEST(TagThinner, OfTwoMillionTagsABudgetOf1600000Goes) {
    TagThinner thinner(16'000'000, kStart);
    const auto selection = thinner.select(2'000'000, kStart);
    ASSERT_EQ(selection.picked, 1'600'000U);
    EXPECT_EQ(selection.index(0), 0U);
    EXPECT_EQ(selection.index(1'599'999), 1'999'998U); // nearly the last
    std::size_t before = 0;
    for (std::size_t number = 1; number < selection.picked; ++number) {
        const std::size_t index = selection.index(number);
        ASSERT_GT(index, before);
        ASSERT_EQ(index, number * 5 / 4);
        before = index;
    }
}

TEST(TagThinner, NoPickLiesBehindThePass) {
    for (std::size_t available = 8; available < 3000; ++available) {
        TagThinner thinner(70, kStart);
        const auto selection = thinner.select(available, kStart);
        ASSERT_EQ(selection.picked, 7U);
        ASSERT_LT(selection.index(6), available);
    }
}

TEST(TagThinner, AWindowLasts100Milliseconds) {
    TagThinner thinner(100, kStart);
    EXPECT_EQ(thinner.select(10, kStart).picked, 10U);
    EXPECT_EQ(thinner.select(10, kStart + 99ms).picked, 0U);
    EXPECT_EQ(thinner.select(10, kStart + 100ms - 1ns).picked, 0U);
    EXPECT_EQ(thinner.select(10, kStart + 100ms).picked, 10U);
}

TEST(TagThinner, ANewWindowBeginsWhereThePassIsAndNotOnAGrid) {
    TagThinner thinner(100, kStart);
    EXPECT_EQ(thinner.select(3, kStart + 170ms).picked, 3U); // a new window from here
    EXPECT_EQ(thinner.select(10, kStart + 250ms).picked, 7U);
    EXPECT_EQ(thinner.select(10, kStart + 269ms).picked, 0U);
    EXPECT_EQ(thinner.select(10, kStart + 270ms).picked, 10U);
}

TEST(TagThinner, UnspentBudgetIsNotCarriedOver) {
    TagThinner thinner(100, kStart);
    EXPECT_EQ(thinner.select(1, kStart).picked, 1U);
    EXPECT_EQ(thinner.select(50, kStart + 500ms).picked, 10U);
}

TEST(TagThinner, AnEmptyPassPicksNothingButMayBeginAWindow) {
    TagThinner thinner(100, kStart);
    EXPECT_EQ(thinner.select(10, kStart).picked, 10U);
    EXPECT_EQ(thinner.select(0, kStart + 100ms).picked, 0U);
    EXPECT_EQ(thinner.select(20, kStart + 199ms).picked, 10U);
    EXPECT_EQ(thinner.select(20, kStart + 200ms).picked, 10U);
}

} // namespace
} // namespace qorn::timetagger::gui
