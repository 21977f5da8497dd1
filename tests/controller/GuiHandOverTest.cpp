#include "GuiHandOver.h"

#include "LatestValue.h"

#include <gtest/gtest.h>

#include <thread>

namespace qorn::timetagger::gui {
namespace {

TEST(GuiHandOver, TheRoomIsASecondOfTheBudgetWithinBounds) {
    struct Case {
        int budget;
        quint64 most;
    };
    for (const Case& given : {Case{16'000'000, 16'000'000}, Case{0, 16'000'000}, Case{-1, 16'000'000},
                              Case{100'000'000, 16'000'000}, Case{5'000'000, 5'000'000},
                              Case{1'000'000, 4'194'304}, Case{1, 4'194'304}}) {
        EXPECT_EQ(GuiHandOver::mostTagsFor(given.budget), given.most) << given.budget;
    }
}

TEST(GuiHandOver, ThereIsRoomUpToTheBoundAndAgainWhenABatchWasTaken) {
    GuiHandOver way(3000);
    way.send(1000);
    EXPECT_TRUE(way.hasRoomFor(2000));
    EXPECT_FALSE(way.hasRoomFor(2001));
    way.send(2000);
    EXPECT_FALSE(way.hasRoomFor(1));
    way.arrive(1000, true);
    EXPECT_TRUE(way.hasRoomFor(1000));
    EXPECT_EQ(way.counts(), (UiTagFlow::Window{3000, 1000, 2000, 0}));
    way.arrive(2000, false);
    EXPECT_EQ(way.counts(), (UiTagFlow::Window{3000, 1000, 0, 2000}));
}

TEST(GuiHandOver, ALargerBudgetGivesMoreRoomAndASmallerOneTakesNone) {
    GuiHandOver way(GuiHandOver::mostTagsFor(1'000'000));
    EXPECT_EQ(way.newBudget(), std::nullopt);
    way.send(1);
    EXPECT_FALSE(way.hasRoomFor(4'194'304));
    way.setBudget(16'000'000);
    EXPECT_EQ(way.newBudget(), 16'000'000);
    EXPECT_TRUE(way.hasRoomFor(15'000'000));
    way.setBudget(1'000'000);
    EXPECT_TRUE(way.hasRoomFor(15'000'000));
}

TEST(GuiHandOver, ABatchAboveTheBoundPassesWhenNothingWaits) {
    GuiHandOver way(1000);
    EXPECT_TRUE(way.hasRoomFor(65536));
    way.send(65536);
    EXPECT_FALSE(way.hasRoomFor(1));
    way.arrive(65536, true);
    EXPECT_TRUE(way.hasRoomFor(65536));
}

TEST(GuiHandOver, BatchesOfFewTagsAreBoundedAsWell) {
    GuiHandOver way(4'194'304);
    int batches = 0;
    while (way.hasRoomFor(1) && batches < 1'000'000) {
        way.send(1);
        ++batches;
    }
    EXPECT_EQ(batches, 8192);
    way.arrive(1, true);
    EXPECT_TRUE(way.hasRoomFor(1));
}

TEST(GuiHandOver, ItsCountsAgreeWhileBothSidesWork) {
    GuiHandOver way(1'000'000);
    constexpr quint64 kBatches = 20000;
    std::atomic<quint64> sent{0};
    std::thread taker([&] {
        for (quint64 taken = 0; taken < kBatches; ++taken) {
            while (sent <= taken) {
                std::this_thread::yield();
            }
            way.arrive(taken % 700, taken % 3 != 0);
            EXPECT_TRUE(way.counts().balances());
        }
    });
    for (; sent < kBatches; ++sent) {
        way.send(sent % 700);
        EXPECT_TRUE(way.counts().balances());
    }
    taker.join();
    EXPECT_EQ(way.counts().inFlight, 0U);
    EXPECT_TRUE(way.hasRoomFor(1'000'000));
}

TEST(LatestValue, OnlyTheFirstOfSeveralCallsTheTakerWhoFindsTheLast) {
    LatestValue<int> value;
    EXPECT_TRUE(value.put(1));
    EXPECT_FALSE(value.put(2));
    EXPECT_FALSE(value.put(3));
    EXPECT_EQ(value.take(), 3);
    EXPECT_EQ(value.take(), std::nullopt);
    EXPECT_TRUE(value.put(4));
    EXPECT_EQ(value.take(), 4);
}

} // namespace
} // namespace qorn::timetagger::gui
