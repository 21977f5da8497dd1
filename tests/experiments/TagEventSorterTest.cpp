#include "TagEventSorter.h"

#include "ReferenceCoincidences.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::ReferenceCoincidences;
using Ties = TagEventSorter::Ties;
using Pairs = std::vector<std::pair<qint64, std::size_t>>;

constexpr qint64 kEarliest = std::numeric_limits<qint64>::min();
constexpr qint64 kLatest = std::numeric_limits<qint64>::max();

Pairs sorted(TagEventSorter& sorter, const QList<UiTimeTag>& tags) {
    Pairs pairs;
    for (const TagEvent& event : sorter.sort(tags)) {
        pairs.emplace_back(event.timePs, event.channel);
    }
    return pairs;
}

Pairs sortedBy(Ties ties, const QList<UiTimeTag>& tags) {
    TagEventSorter sorter(ties);
    return sorted(sorter, tags);
}

TEST(TagEventSorter, AnEmptyBatchGivesNoEvents) {
    EXPECT_EQ(sortedBy(Ties::Arrival, {}), Pairs());
    EXPECT_EQ(sortedBy(Ties::Channel, {}), Pairs());
}

TEST(TagEventSorter, InputsThatDoNotExistAreDropped) {
    for (const Ties ties : {Ties::Arrival, Ties::Channel}) {
        EXPECT_EQ(sortedBy(ties, {{4, 1}, {200, 2}, {255, 3}}), Pairs());
        EXPECT_EQ(sortedBy(ties, {{4, 1}, {3, 9}, {5, 2}, {0, 8}}), (Pairs{{8, 0}, {9, 3}}));
    }
}

TEST(TagEventSorter, EqualTimesKeepTheirArrivalOrGoByChannel) {
    const QList<UiTimeTag> tags{{3, 5}, {1, 5}, {2, 4}, {0, 5}, {1, 5}, {2, 5}};
    EXPECT_EQ(sortedBy(Ties::Arrival, tags), (Pairs{{4, 2}, {5, 3}, {5, 1}, {5, 0}, {5, 1}, {5, 2}}));
    EXPECT_EQ(sortedBy(Ties::Channel, tags), (Pairs{{4, 2}, {5, 0}, {5, 1}, {5, 1}, {5, 2}, {5, 3}}));
}

TEST(TagEventSorter, OffsetsAreAddedBeforeSorting) {
    TagEventSorter sorter(Ties::Arrival);
    sorter.setOffsets({10, -10, 0, 0});
    EXPECT_EQ(sorted(sorter, {{0, 0}, {2, 1}, {1, 5}}), (Pairs{{-5, 1}, {1, 2}, {10, 0}}));
    // Moved to one time they go by arrival.
    EXPECT_EQ(sorted(sorter, {{2, 20}, {1, 30}, {0, 10}}), (Pairs{{20, 2}, {20, 1}, {20, 0}}));
    sorter.setOffsets({});
    EXPECT_EQ(sorted(sorter, {{0, 0}, {2, 1}, {1, 5}}), (Pairs{{0, 0}, {1, 2}, {5, 1}}));
}

TEST(TagEventSorter, TimesAreHeldAtTheEndsOfTheRange) {
    for (const Ties ties : {Ties::Arrival, Ties::Channel}) {
        TagEventSorter sorter(ties);
        sorter.setOffsets({5, -5, kLatest, kEarliest});
        EXPECT_EQ(sorted(sorter, {{0, kLatest - 2}, {1, kEarliest + 2}, {2, 1}, {3, -1}, {0, 0}}),
                  (Pairs{{kEarliest, 1}, {kEarliest, 3}, {5, 0}, {kLatest, 0}, {kLatest, 2}}));
    }
}

TEST(TagEventSorter, ABatchLeavesNothingBehindForTheNext) {
    TagEventSorter sorter(Ties::Channel);
    QList<UiTimeTag> many;
    for (int number = 0; number < 1000; ++number) {
        many.append({static_cast<quint8>(number % 4), 1000 - number});
    }
    EXPECT_EQ(sorted(sorter, many).size(), 1000U);
    EXPECT_EQ(sorted(sorter, {{1, 3}}), (Pairs{{3, 1}}));
    EXPECT_EQ(sorted(sorter, {{9, 3}}), Pairs());
    EXPECT_EQ(sorted(sorter, many).size(), 1000U);
}

struct BatchCase {
    const char* name;
    bool lanesInOrder;
    qint64 grid;
    std::array<qint64, 4> offsets;
    unsigned inputs; // whose tags come
};

void PrintTo(const BatchCase& row, std::ostream* out) {
    *out << row.name;
}

class SortedBatches : public ::testing::TestWithParam<BatchCase> {};

QList<UiTimeTag> randomBatch(std::mt19937_64& random, const BatchCase& row) {
    QList<UiTimeTag> tags;
    std::array<qint64, 8> last{};
    const auto count = random() % 400;
    for (quint64 number = 0; number < count; ++number) {
        const std::size_t channel = random() % 8;
        if (channel < 4 && (row.inputs >> channel & 1U) == 0) {
            continue;
        }
        last[channel] += static_cast<qint64>(random() % 200) / row.grid * row.grid;
        const qint64 back = row.lanesInOrder ? 0 : static_cast<qint64>(random() % 300) / row.grid * row.grid;
        tags.append({static_cast<quint8>(channel), last[channel] - back});
    }
    return tags;
}

TEST_P(SortedBatches, EqualAStableSort) {
    const BatchCase& row = GetParam();
    std::mt19937_64 random(31);
    for (const Ties ties : {Ties::Arrival, Ties::Channel}) {
        TagEventSorter sorter(ties);
        sorter.setOffsets(row.offsets);
        ReferenceCoincidences reference;
        reference.ties = ties;
        reference.offsetsPs = row.offsets;
        for (int round = 0; round < 200; ++round) {
            const QList<UiTimeTag> tags = randomBatch(random, row);
            Pairs expected;
            for (const auto& event : reference.ordered(tags)) {
                expected.emplace_back(event.timePs, event.channel);
            }
            ASSERT_EQ(sorted(sorter, tags), expected) << round;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, SortedBatches,
                         ::testing::Values(BatchCase{"InOrder", true, 1, {}, 15},
                                           BatchCase{"InOrderEqualTimes", true, 50, {}, 15},
                                           BatchCase{"InOrderOffsets", true, 50, {100, -50, 0, 25}, 15},
                                           BatchCase{"AllAtOneTime", true, 200, {}, 15},
                                           BatchCase{"OneInput", true, 10, {7, 0, 0, 0}, 1},
                                           BatchCase{"TwoInputs", true, 40, {}, 9},
                                           BatchCase{"NoInput", true, 40, {}, 0},
                                           BatchCase{"Disorder", false, 1, {}, 15},
                                           BatchCase{"DisorderEqualTimes", false, 50, {50, 0, -50, 0}, 15},
                                           BatchCase{"DisorderOneInput", false, 20, {}, 4}),
                         [](const auto& test) { return test.param.name; });

TEST(TagEventSorter, OneDisorderedInputAmongOrderedOnesIsSortedToo) {
    QList<UiTimeTag> tags;
    for (qint64 number = 0; number < 300; ++number) {
        tags.append({static_cast<quint8>(number % 4), number % 4 == 2 ? 300 - number : number});
    }
    for (const Ties ties : {Ties::Arrival, Ties::Channel}) {
        ReferenceCoincidences reference;
        reference.ties = ties;
        Pairs expected;
        for (const auto& event : reference.ordered(tags)) {
            expected.emplace_back(event.timePs, event.channel);
        }
        EXPECT_EQ(sortedBy(ties, tags), expected);
    }
}

} // namespace
} // namespace qorn::timetagger::gui
