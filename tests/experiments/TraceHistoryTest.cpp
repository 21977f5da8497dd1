#include "TraceHistory.h"

#include <gtest/gtest.h>

#include <random>

namespace qorn::timetagger::gui {
namespace {

using Values = QList<double>;

TraceHistory historyOf(double seconds, int points, const Values& times) {
    TraceHistory history;
    history.setLimits(seconds, points);
    for (const double time : times) {
        history.append(time, {time, -time});
    }
    return history;
}

TEST(TraceHistory, IsEmptyAtFirst) {
    const TraceHistory history;
    EXPECT_TRUE(history.latestValues().isEmpty());
    EXPECT_TRUE(history.xValues().isEmpty());
    EXPECT_TRUE(history.ySeries(0).isEmpty());
}

TEST(TraceHistory, GivesOneSeriesAtATime) {
    TraceHistory history;
    history.setLimits(10, 100);
    history.append(1, {10, 20, 30});
    history.append(2, {11, 21, 31});
    EXPECT_EQ(history.ySeries(0), (Values{10, 11}));
    EXPECT_EQ(history.ySeries(1), (Values{20, 21}));
    EXPECT_EQ(history.ySeries(2), (Values{30, 31}));
    EXPECT_EQ(history.latestValues(), (Values{11, 21, 31}));
    EXPECT_EQ(history.xValues(), (Values{1, 2}));
}

TEST(TraceHistory, WithTwoPointsHoldsTheNewestTwo) {
    const TraceHistory history = historyOf(100, 2, {1, 2, 3, 4});
    EXPECT_EQ(history.ySeries(0), (Values{3, 4}));
    EXPECT_EQ(history.ySeries(1), (Values{-3, -4}));
}

TEST(TraceHistory, HoldsAsManySamplesAsItMay) {
    EXPECT_EQ(historyOf(100, 3, {1, 2, 3}).ySeries(0), (Values{1, 2, 3}));
    EXPECT_EQ(historyOf(100, 3, {1, 2, 3, 4}).ySeries(0), (Values{2, 3, 4}));
}

TEST(TraceHistory, DropsWhatIsOlderThanItsAge) {
    EXPECT_EQ(historyOf(2, 100, {1, 2, 3, 4, 5}).ySeries(0), (Values{3, 4, 5})) << "exactly as old stays";
    EXPECT_EQ(historyOf(2, 100, {1, 2, 3, 4, 5.5}).ySeries(0), (Values{4, 5.5}));
}

TEST(TraceHistory, AfterALongGapTwoSamplesStayAndOneLiesOutsideTheWindow) {
    const TraceHistory history = historyOf(2, 100, {1, 2, 3, 50});
    EXPECT_EQ(history.ySeries(0), (Values{3, 50}));
    EXPECT_EQ(history.xValues(), (Values{-45, 2}));
}

TEST(TraceHistory, TheWindowSlidesOnceItIsFull) {
    TraceHistory history = historyOf(4, 100, {1, 3});
    EXPECT_EQ(history.xValues(), (Values{1, 3}));
    history.append(4, {0, 0});
    EXPECT_EQ(history.xValues(), (Values{1, 3, 4})) << "exactly full does not slide";
    history.append(5, {0, 0});
    EXPECT_EQ(history.xValues(), (Values{0, 2, 3, 4}));
    history.append(6.5, {0, 0});
    EXPECT_EQ(history.xValues(), (Values{0.5, 1.5, 2.5, 4}));
}

TEST(TraceHistory, NewLimitsTrimAtOnce) {
    TraceHistory history = historyOf(100, 100, {1, 2, 3, 4, 5, 6});
    history.setLimits(100, 4);
    EXPECT_EQ(history.ySeries(0), (Values{3, 4, 5, 6}));
    history.setLimits(2, 100);
    EXPECT_EQ(history.ySeries(0), (Values{4, 5, 6}));
    EXPECT_EQ(history.xValues(), (Values{0, 1, 2}));
}

TEST(TraceHistory, LimitsOfZeroAreAThousandthSecondAndTwoPoints) {
    for (const auto& [seconds, points] : {std::pair{0.0, 0}, {-5.0, -5}, {0.0005, 1}}) {
        TraceHistory history;
        history.setLimits(seconds, points);
        history.append(1, {1});
        EXPECT_EQ(history.ySeries(0), (Values{1}));
        history.append(1.0001, {2});
        history.append(1.0002, {3});
        EXPECT_EQ(history.ySeries(0), (Values{2, 3}));
        const Values xs = history.xValues();
        ASSERT_EQ(xs.size(), 2);
        EXPECT_NEAR(xs[0], 0.0009, 1e-12);
        EXPECT_NEAR(xs[1], 0.001, 1e-12);
    }
}

TEST(TraceHistory, TheAgeIsClampedApartFromThePoints) {
    TraceHistory history;
    history.setLimits(0, 100);
    for (const double time : {1.0, 1.0004, 1.0008, 1.0012, 1.0016}) {
        history.append(time, {time});
    }
    EXPECT_EQ(history.ySeries(0), (Values{1.0008, 1.0012, 1.0016}));
}

TEST(TraceHistory, ClearingLeavesTheLimits) {
    TraceHistory history = historyOf(2, 3, {1, 2, 3});
    history.clear();
    EXPECT_TRUE(history.xValues().isEmpty());
    EXPECT_TRUE(history.latestValues().isEmpty());
    for (const double time : {10.0, 11.0, 11.5, 12.0, 12.5}) {
        history.append(time, {time});
    }
    EXPECT_EQ(history.ySeries(0), (Values{11.5, 12, 12.5}));
}

TEST(TraceHistory, IsAPlainValue) {
    TraceHistory history = historyOf(10, 10, {1, 2});
    const TraceHistory copy = history;
    history.append(3, {3, -3});
    EXPECT_EQ(copy.ySeries(0), (Values{1, 2}));
    EXPECT_EQ(history.ySeries(0), (Values{1, 2, 3}));
}

// Against the rules applied to all samples there ever were.
TEST(TraceHistory, KeepsWhatTheRulesSayOnRandomSamples) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> step(0.0, 2.0);
    for (const auto& [seconds, points] : {std::pair{3.0, 1000}, {1000.0, 7}, {5.0, 6}, {0.5, 4}}) {
        TraceHistory history;
        history.setLimits(seconds, points);
        Values all;
        double time = 0.0;
        for (int sample = 0; sample < 500; ++sample) {
            time += step(random);
            history.append(time, {time, 2 * time});
            all.append(time);
            qsizetype first = qMax(all.size() - points, qsizetype{0});
            while (all.size() - first >= 3 && all[first] < time - seconds) {
                ++first;
            }
            ASSERT_EQ(history.ySeries(0), all.mid(first)) << sample;
            ASSERT_EQ(history.ySeries(1).size(), all.size() - first);
            const Values xs = history.xValues();
            for (qsizetype i = 0; i < xs.size(); ++i) {
                ASSERT_DOUBLE_EQ(xs[i], all[first + i] - (time > seconds ? time - seconds : 0.0));
            }
        }
    }
}

} // namespace
} // namespace qorn::timetagger::gui
