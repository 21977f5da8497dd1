#include "CoincidenceCounter.h"

#include "CoincidencePrinting.h"
#include "ReferenceCoincidences.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::ReferenceCoincidences;
using Counts = CoincidenceCounter::Counts;
using Event = ReferenceCoincidences::Event;
using Events = std::vector<Event>;

constexpr qint64 kEarliest = std::numeric_limits<qint64>::min();
constexpr qint64 kLatest = std::numeric_limits<qint64>::max();
constexpr quint64 kEverything = std::numeric_limits<quint64>::max();

std::array<quint64, kPairs> sameWindow(quint64 ps) {
    return {ps, ps, ps, ps, ps, ps};
}

Counts countOf(const Events& events, const std::array<quint64, kPairs>& windows) {
    CoincidenceCounter counter;
    counter.setPairWindows(windows);
    for (const Event& event : events) {
        counter.add(event.timePs, event.channel);
    }
    return counter.counts();
}

TEST(CoincidenceCounter, StartsAtZeroAndWithoutEvents) {
    EXPECT_EQ(CoincidenceCounter().counts(), Counts());
    EXPECT_EQ(countOf({{5, 2}}, sameWindow(kEverything)).pairSum, 0U) << "inputs that were never seen";
}

TEST(CoincidenceCounter, TwoTagsOnTheSameChannelNeverPair) {
    const Counts counts = countOf({{0, 1}, {0, 1}, {1, 1}, {2, 1}}, sameWindow(1000));
    Counts expected;
    expected.singles[1] = 4;
    EXPECT_EQ(counts, expected);
}

TEST(CoincidenceCounter, EachPairCountsAtItsOwnWindowAndNotOnePicosecondMore) {
    const std::array<quint64, kPairs> windows{10, 20, 30, 40, 50, 60};
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        const auto first = static_cast<std::size_t>(kPairChannels[pair].first);
        const auto second = static_cast<std::size_t>(kPairChannels[pair].second);
        const auto window = static_cast<qint64>(windows[pair]);
        for (const bool swapped : {false, true}) {
            const std::size_t a = swapped ? second : first;
            const std::size_t b = swapped ? first : second;
            Counts expected;
            expected.singles[a] = expected.singles[b] = 1;
            EXPECT_EQ(countOf({{100, a}, {100 + window + 1, b}}, windows), expected) << a << " " << b;
            expected.pairs[pair] = expected.pairSum = 1;
            EXPECT_EQ(countOf({{100, a}, {100 + window, b}}, windows), expected) << a << " " << b;
            EXPECT_EQ(countOf({{100, a}, {100, b}}, windows), expected) << a << " " << b;
        }
    }
}

TEST(CoincidenceCounter, AWindowOfZeroMatchesOnlyEqualTimes) {
    EXPECT_EQ(countOf({{7, 0}, {7, 3}}, sameWindow(0)).pairs[2], 1U);
    EXPECT_EQ(countOf({{7, 0}, {8, 3}}, sameWindow(0)).pairSum, 0U);
}

TEST(CoincidenceCounter, TwoEventsWithinTheWindowOfAnotherCountOnceForOnlyTheLatestIsKept) {
    EXPECT_EQ(countOf({{0, 0}, {1, 0}, {2, 1}}, sameWindow(10)).pairs[0], 1U);
    // The later one looks back at the latest, and the next one at the same latest again.
    EXPECT_EQ(countOf({{0, 0}, {1, 0}, {2, 1}, {3, 1}}, sameWindow(10)).pairs[0], 2U);
    // An earlier event within the window is forgotten even when the latest is outside of it.
    EXPECT_EQ(countOf({{0, 0}, {-20, 0}, {1, 1}}, sameWindow(10)).pairs[0], 0U);
}

TEST(CoincidenceCounter, AnEventIsTestedAgainstThePastOnly) {
    EXPECT_EQ(countOf({{0, 0}, {5, 1}}, sameWindow(10)).pairs[0], 1U) << "once for two events";
    EXPECT_EQ(countOf({{0, 0}, {5, 1}, {8, 0}}, sameWindow(10)).pairs[0], 2U);
}

TEST(CoincidenceCounter, AnOlderEventPairsByItsDistanceAndBecomesTheLatest) {
    EXPECT_EQ(countOf({{100, 0}, {95, 1}}, sameWindow(5)).pairs[0], 1U);
    EXPECT_EQ(countOf({{100, 0}, {94, 1}}, sameWindow(5)).pairs[0], 0U);
    EXPECT_EQ(countOf({{100, 0}, {50, 0}, {101, 1}}, sameWindow(5)).pairs[0], 0U);
    EXPECT_EQ(countOf({{100, 0}, {50, 0}, {51, 1}}, sameWindow(5)).pairs[0], 1U);
}

TEST(CoincidenceCounter, ATripleIsCountedAtItsLastEventInItsPlace) {
    struct Row {
        std::array<std::size_t, 3> channels;
        std::size_t place;
    };
    for (const Row& row : {Row{{0, 1, 2}, 0}, Row{{0, 1, 3}, 1}, Row{{0, 2, 3}, 2}, Row{{1, 2, 3}, 3}}) {
        std::array<std::size_t, 3> order = row.channels;
        do {
            const Counts counts = countOf({{10, order[0]}, {11, order[1]}, {12, order[2]}}, sameWindow(5));
            Counts expected;
            expected.pairSum = 3;
            for (std::size_t i = 0; i < 3; ++i) {
                expected.singles[order[i]] = 1;
                const auto pair = pairIndex(static_cast<int>(order[i]), static_cast<int>(order[(i + 1) % 3]));
                expected.pairs[static_cast<std::size_t>(pair)] = 1;
            }
            expected.triples[row.place] = 1;
            EXPECT_EQ(counts, expected) << order[0] << order[1] << order[2];
        } while (std::next_permutation(order.begin(), order.end()));
    }
}

TEST(CoincidenceCounter, ATripleNeedsTheWindowOfTheTwoEarlierOnesToo) {
    // 1 and 3, 2 and 3 are close, 1 and 2 are not.
    const std::array<quint64, kPairs> windows{5, 100, 100, 100, 100, 100};
    const Counts counts = countOf({{0, 0}, {6, 1}, {8, 2}}, windows);
    EXPECT_EQ(counts.pairs, (std::array<quint64, kPairs>{0, 1, 0, 1, 0, 0}));
    EXPECT_EQ(counts.triples, (std::array<quint64, 4>{}));
    EXPECT_EQ(countOf({{1, 0}, {6, 1}, {8, 2}}, windows).triples[0], 1U);
}

TEST(CoincidenceCounter, ATripleNeedsNoCommonWindowBeyondItsPairs) {
    // 4 ps from the first to the last, more than two of the windows.
    const std::array<quint64, kPairs> windows{2, 4, 0, 2, 0, 0};
    EXPECT_EQ(countOf({{0, 0}, {2, 1}, {4, 2}}, windows).triples[0], 1U);
}

TEST(CoincidenceCounter, EveryTripleAndTheQuadrupleAreCountedAtTheLastOfFour) {
    const Counts counts = countOf({{0, 3}, {1, 0}, {2, 2}, {3, 1}}, sameWindow(3));
    Counts expected;
    expected.singles = {1, 1, 1, 1};
    expected.pairs = {1, 1, 1, 1, 1, 1};
    expected.triples = {1, 1, 1, 1};
    expected.quadruple = 1;
    expected.pairSum = 6;
    EXPECT_EQ(counts, expected);
}

TEST(CoincidenceCounter, OnePairApartMakesNoQuadruple) {
    const Events four{{0, 0}, {1, 1}, {2, 2}, {3, 3}};
    for (std::size_t narrow = 0; narrow < kPairs; ++narrow) {
        auto windows = sameWindow(3);
        windows[narrow] = 0;
        const Counts counts = countOf(four, windows);
        EXPECT_EQ(counts.quadruple, 0U) << narrow;
        EXPECT_EQ(counts.pairSum, 5U) << narrow;
        quint64 triples = 0;
        for (const quint64 triple : counts.triples) {
            triples += triple;
        }
        EXPECT_EQ(triples, 2U) << narrow;
    }
}

TEST(CoincidenceCounter, TheDistanceOfTheWholeRangeIsMeasuredRight) {
    for (const bool swapped : {false, true}) {
        const Events events =
            swapped ? Events{{kLatest, 0}, {kEarliest, 1}} : Events{{kEarliest, 0}, {kLatest, 1}};
        EXPECT_EQ(countOf(events, sameWindow(kEverything)).pairs[0], 1U);
        EXPECT_EQ(countOf(events, sameWindow(kEverything - 1)).pairs[0], 0U);
        EXPECT_EQ(countOf(events, sameWindow(0)).pairs[0], 0U);
    }
    EXPECT_EQ(countOf({{kEarliest, 0}, {0, 1}}, sameWindow(quint64{1} << 63)).pairs[0], 1U);
    EXPECT_EQ(countOf({{kEarliest, 0}, {0, 1}}, sameWindow((quint64{1} << 63) - 1)).pairs[0], 0U);
}

TEST(CoincidenceCounter, AResetForgetsCountsAndEventsAndKeepsTheWindows) {
    CoincidenceCounter counter;
    counter.setPairWindows(sameWindow(10));
    counter.add(0, 0);
    counter.add(1, 1);
    counter.reset();
    EXPECT_EQ(counter.counts(), Counts());
    counter.add(2, 2);
    EXPECT_EQ(counter.counts().pairSum, 0U) << "what came before the reset is not seen";
    counter.add(12, 3);
    EXPECT_EQ(counter.counts().pairs[5], 1U);
    counter.add(23, 2);
    EXPECT_EQ(counter.counts().pairs[5], 1U);
}

TEST(CoincidenceCounter, NewWindowsAreInForceForTheNextEvent) {
    CoincidenceCounter counter;
    counter.add(0, 0);
    counter.setPairWindows(sameWindow(3));
    counter.add(3, 1);
    EXPECT_EQ(counter.counts().pairs[0], 1U) << "the event of before is still the latest";
    counter.setPairWindows(sameWindow(2));
    counter.add(6, 0);
    EXPECT_EQ(counter.counts().pairs[0], 1U);
}

TEST(CoincidenceCounts, AreAddedAndSubtractedFieldByFieldModuloTheRange) {
    Counts a;
    Counts b;
    quint64 number = 1;
    const auto fill = [&number](Counts& counts) {
        for (auto* list : {&counts.singles, &counts.triples}) {
            for (quint64& value : *list) {
                value = number++;
            }
        }
        for (quint64& value : counts.pairs) {
            value = number++;
        }
        counts.quadruple = number++;
        counts.pairSum = number++;
    };
    fill(a); // 1 to 16
    fill(b); // 17 to 32
    const auto values = [](const Counts& counts) {
        std::vector<quint64> list(counts.singles.begin(), counts.singles.end());
        list.insert(list.end(), counts.triples.begin(), counts.triples.end());
        list.insert(list.end(), counts.pairs.begin(), counts.pairs.end());
        list.insert(list.end(), {counts.quadruple, counts.pairSum});
        return list;
    };
    Counts sum = a;
    sum += b;
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(values(sum)[i], 2 * i + 18) << i;
    }
    Counts difference = b;
    difference -= a;
    EXPECT_EQ(values(difference), std::vector<quint64>(16, 16));
    Counts below = a;
    below -= b;
    EXPECT_EQ(values(below), std::vector<quint64>(16, quint64(0) - 16));
    below += b;
    EXPECT_EQ(below, a);
    b = a;
    ++b.pairSum;
    EXPECT_FALSE(a == b);
}

// --- against the reference ---------------------------------------------------------------------------------

struct StreamCase {
    const char* name;
    quint64 seed;
    qint64 largestStep; // ps between events
    qint64 grid;        // times are multiples of it, so that some are equal
    bool backwards;     // now and then events step back
    std::array<quint64, kPairs> windows;
};

void PrintTo(const StreamCase& row, std::ostream* out) {
    *out << row.name;
}

class CoincidenceStreams : public ::testing::TestWithParam<StreamCase> {};

TEST_P(CoincidenceStreams, AreCountedAsTheDefinitionSays) {
    const StreamCase& row = GetParam();
    std::mt19937_64 random(row.seed);
    ReferenceCoincidences reference;
    reference.windowsPs = row.windows;
    CoincidenceCounter counter;
    counter.setPairWindows(row.windows);
    qint64 time = -50'000;
    for (int number = 0; number < 4000; ++number) {
        time +=
            static_cast<qint64>(random() % static_cast<quint64>(row.largestStep + 1)) / row.grid * row.grid;
        if (row.backwards && random() % 50 == 0) {
            time -= 20 * row.largestStep;
        }
        // Unequal rates, so that some inputs stay silent for long.
        const std::size_t channel = std::array<std::size_t, 8>{0, 0, 0, 1, 1, 2, 2, 3}[random() % 8];
        counter.add(time, channel);
        reference.add({time, channel});
        if (number % 997 == 0) {
            ASSERT_EQ(counter.counts(), reference.counts()) << "after event " << number;
        }
    }
    const Counts expected = reference.counts();
    EXPECT_EQ(counter.counts(), expected);
    // The stream is worth the comparison: something of everything, and not all of it.
    if (row.windows[0] > 0) {
        EXPECT_GT(expected.quadruple, 0U);
        EXPECT_GT(expected.triples[3], 0U);
        EXPECT_LT(expected.pairSum, 3U * 4000U);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Windows, CoincidenceStreams,
    ::testing::Values(StreamCase{"OneWindow", 1, 100, 1, false, sameWindow(150)},
                      StreamCase{"NarrowWindow", 2, 100, 1, false, sameWindow(60)},
                      StreamCase{"SixWindows", 3, 100, 1, false, {50, 100, 150, 200, 250, 300}},
                      StreamCase{"SixWindowsFalling", 4, 100, 1, false, {400, 300, 200, 100, 50, 25}},
                      StreamCase{"EqualTimes", 5, 40, 20, false, {20, 40, 40, 20, 60, 40}},
                      StreamCase{"EqualTimesAndNoWindow", 6, 40, 20, false, sameWindow(0)},
                      StreamCase{"StepsBack", 7, 100, 10, true, {50, 100, 150, 200, 250, 300}},
                      StreamCase{"SomePairsClosed", 8, 20, 1, false, {200, 0, 150, 120, 90, 200}}),
    [](const auto& test) { return test.param.name; });

// Sorter and counter together, batch by batch: offsets, order of equal times, tags that come late.
struct BatchCase {
    const char* name;
    quint64 seed;
    TagEventSorter::Ties ties;
    std::array<qint64, 4> offsets;
    int batchSize;
    bool disordered; // tags of one input out of order too
    qint64 grid;
};

void PrintTo(const BatchCase& row, std::ostream* out) {
    *out << row.name;
}

class CoincidenceBatches : public ::testing::TestWithParam<BatchCase> {};

QList<UiTimeTag> randomBatch(std::mt19937_64& random, const BatchCase& row, qint64& time) {
    QList<UiTimeTag> batch;
    for (int number = 0; number < row.batchSize; ++number) {
        time += static_cast<qint64>(random() % 120) / row.grid * row.grid;
        qint64 tagTime = time;
        if (row.disordered && random() % 3 == 0) {
            tagTime -= static_cast<qint64>(random() % 500) / row.grid * row.grid;
        }
        batch.append({static_cast<quint8>(random() % 6), tagTime}); // two of six are no inputs
    }
    return batch;
}

TEST_P(CoincidenceBatches, AreCountedAsTheDefinitionSays) {
    const BatchCase& row = GetParam();
    const std::array<quint64, kPairs> windows{80, 120, 160, 200, 160, 120};
    std::mt19937_64 random(row.seed);
    ReferenceCoincidences reference;
    reference.windowsPs = windows;
    reference.offsetsPs = row.offsets;
    reference.ties = row.ties;
    TagEventSorter sorter(row.ties);
    sorter.setOffsets(row.offsets);
    CoincidenceCounter counter;
    counter.setPairWindows(windows);
    qint64 time = 1'000'000;
    for (int tags = 0; tags < 5000; tags += row.batchSize) {
        const QList<UiTimeTag> batch = randomBatch(random, row, time);
        reference.addBatch(batch);
        for (const TagEvent& event : sorter.sort(batch)) {
            counter.add(event.timePs, event.channel);
        }
    }
    const Counts expected = reference.counts();
    EXPECT_EQ(counter.counts(), expected);
    EXPECT_GT(expected.quadruple, 0U);
    EXPECT_LT(expected.pairSum, 3 * reference.events().size());
}

using Ties = TagEventSorter::Ties;
INSTANTIATE_TEST_SUITE_P(
    Offsets, CoincidenceBatches,
    ::testing::Values(BatchCase{"Plain", 11, Ties::Arrival, {}, 250, false, 1},
                      BatchCase{"Offsets", 12, Ties::Arrival, {300, -450, 0, 77}, 250, false, 1},
                      BatchCase{"OffsetsByChannel", 13, Ties::Channel, {-5000, 4000, 3, -1}, 500, false, 1},
                      BatchCase{"EqualTimesByArrival", 14, Ties::Arrival, {40, 0, -40, 80}, 100, false, 40},
                      BatchCase{"EqualTimesByChannel", 15, Ties::Channel, {40, 0, -40, 80}, 100, false, 40},
                      BatchCase{"DisorderByArrival", 16, Ties::Arrival, {0, 20, 0, -60}, 333, true, 20},
                      BatchCase{"DisorderByChannel", 17, Ties::Channel, {0, 20, 0, -60}, 333, true, 20},
                      BatchCase{"SingleTags", 18, Ties::Arrival, {100, 0, -100, 50}, 1, false, 10},
                      BatchCase{"OneBatch", 19, Ties::Channel, {12, 0, -7, 5}, 5000, true, 10}),
    [](const auto& test) { return test.param.name; });

} // namespace
} // namespace qorn::timetagger::gui
