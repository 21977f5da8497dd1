#include "PairRateHistory.h"

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

// Samples at these times; the rate of pair p in the sample at time t is 10 t + p.
PairRateHistory historyAt(const QList<double>& times) {
    PairRateHistory history;
    for (const double time : times) {
        const double base = 10.0 * time;
        history.append(time, {base, base + 1, base + 2, base + 3, base + 4, base + 5});
    }
    return history;
}

void expectTimes(const PairRateHistory& history, const QList<double>& times) {
    EXPECT_EQ(history.size(), static_cast<std::size_t>(times.size()));
    EXPECT_EQ(history.times(), times);
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        QList<double> rates;
        for (const double time : times) {
            rates.append(10.0 * time + static_cast<double>(pair));
        }
        EXPECT_EQ(history.rates(pair), rates) << pair;
    }
}

TEST(PairRateHistory, BeginsEmptyAndBearsEveryTrim) {
    PairRateHistory history;
    expectTimes(history, {});
    history.trimToCount(0);
    history.trimToCount(5);
    history.trimToAge(0.0);
    history.trimToAge(30.0);
    expectTimes(history, {});
}

TEST(PairRateHistory, GivesTheSixRatesOfEachTimeOldestFirst) {
    expectTimes(historyAt({1.0, 2.5, 3.0}), {1.0, 2.5, 3.0});
}

TEST(PairRateHistory, IsTrimmedToACountFromTheOldest) {
    PairRateHistory history = historyAt({1.0, 2.0, 3.0, 4.0});
    history.trimToCount(4);
    expectTimes(history, {1.0, 2.0, 3.0, 4.0});
    history.trimToCount(2);
    expectTimes(history, {3.0, 4.0});
    history.trimToCount(0);
    expectTimes(history, {});
}

TEST(PairRateHistory, IsTrimmedToAnAgeBeforeTheNewest) {
    struct Row {
        double seconds;
        QList<double> left;
    };
    for (const Row& row : {Row{100.0, {1.0, 2.0, 3.0, 4.0}}, Row{3.0, {1.0, 2.0, 3.0, 4.0}},
                           Row{2.0, {2.0, 3.0, 4.0}}, Row{1.5, {3.0, 4.0}}, Row{0.0, {4.0}}}) {
        PairRateHistory history = historyAt({1.0, 2.0, 3.0, 4.0});
        history.trimToAge(row.seconds);
        expectTimes(history, row.left);
    }
}

TEST(PairRateHistory, GoesOnAfterATrimAndAClear) {
    PairRateHistory history = historyAt({1.0, 2.0});
    history.trimToCount(1);
    history.append(3.0, {30, 31, 32, 33, 34, 35});
    expectTimes(history, {2.0, 3.0});
    history.clear();
    expectTimes(history, {});
    history.append(0.0, {0, 1, 2, 3, 4, 5});
    expectTimes(history, {0.0});
}

} // namespace
} // namespace qorn::timetagger::gui
