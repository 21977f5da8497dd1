#include "TimeTagEngine.h"

#include "ReferenceTagBins.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <random>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::ReferenceTagBins;
using Quantity = TimeTagSettings::Quantity;
using Scaling = TimeTagSettings::Scaling;

constexpr qint64 kSecond = 1'000'000'000'000;
constexpr qint64 kMillisecond = kSecond / 1000;

TimeTagSettings settingsOf(double binSeconds, int historyBins = 300, Scaling scaling = Scaling::PerBin,
                           Quantity quantity = Quantity::Tags) {
    TimeTagSettings settings;
    settings.binSeconds = binSeconds;
    settings.historyBins = historyBins;
    settings.scaling = scaling;
    settings.quantity = quantity;
    return settings;
}

TimeTagEngine engineWith(const TimeTagSettings& settings, const std::vector<UiTimeTag>& tags = {}) {
    TimeTagEngine engine;
    engine.apply(settings);
    engine.addBatch(tags);
    return engine;
}

TEST(TimeTagEngine, HasNothingAtFirst) {
    const TimeTagEngine engine;
    for (const bool partial : {false, true}) {
        EXPECT_TRUE(engine.xValues(partial).isEmpty());
        EXPECT_TRUE(engine.seriesForChannel(0, partial).isEmpty());
        EXPECT_TRUE(engine.totalSeries(partial).isEmpty());
    }
    EXPECT_EQ(engine.totalTags(), 0U);
    EXPECT_EQ(engine.elapsedSeconds(), 0.0);
}

TEST(TimeTagEngine, TheFirstTagOpensTheFirstBinAtItsOwnTime) {
    const qint64 start = 987 * kSecond + 123;
    TimeTagEngine engine = engineWith(settingsOf(0.1), {{2, start}});
    EXPECT_TRUE(engine.xValues(false).isEmpty());
    EXPECT_EQ(engine.xValues(true), QList<double>({0.0}));
    EXPECT_EQ(engine.seriesForChannel(2, true), QList<double>({1.0}));
    engine.addBatch(std::vector<UiTimeTag>{{0, start + kSecond / 10}});
    EXPECT_EQ(engine.xValues(false), QList<double>({0.1}));
}

TEST(TimeTagEngine, ARunGoesOnWhereItWasWhenAResumedStreamBeginsAnew) {
    TimeTagEngine engine =
        engineWith(settingsOf(1.0), {{0, 50 * kSecond}, {0, 51 * kSecond}, {0, 52 * kSecond + kSecond / 2}});
    engine.breakOff();
    engine.addBatch(
        std::vector<UiTimeTag>{{1, 3 * kSecond}, {1, 3 * kSecond + kSecond / 2}, {1, 5 * kSecond}});
    EXPECT_EQ(engine.xValues(false), QList<double>({1.0, 2.0, 3.0, 4.0}));
    EXPECT_EQ(engine.seriesForChannel(0, true), QList<double>({1, 1, 1, 0, 0}));
    EXPECT_EQ(engine.seriesForChannel(1, true), QList<double>({0, 0, 1, 1, 1}));
    EXPECT_DOUBLE_EQ(engine.elapsedSeconds(), 4.5);
    EXPECT_EQ(engine.totalTags(), 6U);
}

TEST(TimeTagEngine, APauseInAStreamThatGoesOnIsAGap) {
    TimeTagEngine engine = engineWith(settingsOf(1.0), {{0, 0}});
    engine.breakOff();
    engine.addBatch(std::vector<UiTimeTag>{{0, 3 * kSecond}});
    EXPECT_EQ(engine.seriesForChannel(0, true), QList<double>({1, 0, 0, 1}));
    EXPECT_DOUBLE_EQ(engine.elapsedSeconds(), 3.0);
    engine.breakOff(); // and a reset ends it
    engine.reset();
    engine.addBatch(std::vector<UiTimeTag>{{0, kSecond}, {0, 2 * kSecond}});
    EXPECT_EQ(engine.xValues(true), QList<double>({1.0, 1.0}));
}

TEST(TimeTagEngine, ATagOneBinAfterTheStartBelongsToTheNextBin) {
    const TimeTagEngine before = engineWith(settingsOf(0.001), {{0, 0}, {0, kMillisecond - 1}});
    EXPECT_TRUE(before.xValues(false).isEmpty());
    EXPECT_EQ(before.seriesForChannel(0, true), QList<double>({2.0}));
    const TimeTagEngine at = engineWith(settingsOf(0.001), {{0, 0}, {0, kMillisecond}});
    EXPECT_EQ(at.seriesForChannel(0, true), QList<double>({1.0, 1.0}));
}

TEST(TimeTagEngine, AGapOfBinsLeavesAsManyRowsOfZeros) {
    const TimeTagEngine engine = engineWith(settingsOf(0.001), {{1, 0}, {1, 10}, {3, 5 * kMillisecond + 7}});
    EXPECT_EQ(engine.xValues(false), QList<double>({0.001, 0.002, 0.003, 0.004, 0.005}));
    EXPECT_EQ(engine.seriesForChannel(1, false), QList<double>({2, 0, 0, 0, 0}));
    EXPECT_EQ(engine.seriesForChannel(3, true), QList<double>({0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(engine.xValues(true).constLast(), 0.005);
}

TEST(TimeTagEngine, ATagOlderThanTheOpenBinFallsIntoIt) {
    const TimeTagEngine engine =
        engineWith(settingsOf(0.001), {{0, 10 * kMillisecond}, {0, 12 * kMillisecond}, {1, 0}});
    EXPECT_EQ(engine.seriesForChannel(0, true), QList<double>({1, 0, 1}));
    EXPECT_EQ(engine.seriesForChannel(1, true), QList<double>({0, 0, 1}));
    EXPECT_EQ(engine.totalTags(), 3U);
}

TEST(TimeTagEngine, ElapsedTimeFollowsTheNewestTagAndIsNeverNegative) {
    TimeTagEngine engine = engineWith(settingsOf(0.001), {{0, kSecond}, {0, 3 * kSecond}});
    EXPECT_EQ(engine.elapsedSeconds(), 2.0);
    engine.addBatch(std::vector<UiTimeTag>{{0, 0}});
    EXPECT_EQ(engine.elapsedSeconds(), 0.0);
}

TEST(TimeTagEngine, TagsOfOtherChannelsAreIgnored) {
    const TimeTagEngine engine =
        engineWith(settingsOf(0.001), {{4, 0}, {255, kSecond}, {0, 2 * kSecond}, {7, 3 * kSecond}});
    EXPECT_EQ(engine.totalTags(), 1U);
    EXPECT_TRUE(engine.xValues(false).isEmpty());
    EXPECT_EQ(engine.elapsedSeconds(), 0.0);
}

TEST(TimeTagEngine, AnEmptyBatchChangesNothing) {
    TimeTagEngine engine = engineWith(settingsOf(0.001), {{0, 0}});
    engine.addBatch({});
    EXPECT_EQ(engine.totalTags(), 1U);
    EXPECT_EQ(engine.xValues(true).size(), 1);
}

struct ScaleRow {
    const char* name;
    Quantity quantity;
    Scaling scaling;
    QList<double> channel; // input 0, bins of 3, 0 and 2 tags, and the open bin of 1
    QList<double> total;   // with one tag of input 3 in each closed bin that has any
};

void PrintTo(const ScaleRow& row, std::ostream* out) {
    *out << row.name;
}

class TimeTagScaling : public ::testing::TestWithParam<ScaleRow> {};

TEST_P(TimeTagScaling, RecastsAllStoredBins) {
    TimeTagEngine engine = engineWith(settingsOf(0.5), {{0, 0},
                                                        {0, 1},
                                                        {0, 2},
                                                        {3, 3},
                                                        {0, kSecond},
                                                        {3, kSecond + 1},
                                                        {0, kSecond + 2},
                                                        {0, kSecond + kSecond / 2}});
    engine.apply(settingsOf(0.5, 300, GetParam().scaling, GetParam().quantity));
    const QList<double> channel = engine.seriesForChannel(0, true);
    const QList<double> total = engine.totalSeries(true);
    ASSERT_EQ(channel.size(), 4);
    ASSERT_EQ(total.size(), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_DOUBLE_EQ(channel[i], GetParam().channel[i]) << i;
        EXPECT_DOUBLE_EQ(total[i], GetParam().total[i]) << i;
    }
    EXPECT_EQ(engine.seriesForChannel(0, false), channel.first(3));
    EXPECT_EQ(engine.totalSeries(false), total.first(3));
}

INSTANTIATE_TEST_SUITE_P(
    Choices, TimeTagScaling,
    ::testing::Values(
        ScaleRow{"TagsPerBin", Quantity::Tags, Scaling::PerBin, {3, 0, 2, 1}, {4, 0, 3, 1}},
        ScaleRow{"TagsPerSecond", Quantity::Tags, Scaling::PerSecond, {6, 0, 4, 2}, {8, 0, 6, 2}},
        ScaleRow{"TagsIntegrated", Quantity::Tags, Scaling::Integrated, {3, 3, 5, 6}, {4, 4, 7, 8}},
        ScaleRow{
            "DataPerBin", Quantity::Data, Scaling::PerBin, {24e-6, 0, 16e-6, 8e-6}, {32e-6, 0, 24e-6, 8e-6}},
        ScaleRow{"DataPerSecond",
                 Quantity::Data,
                 Scaling::PerSecond,
                 {48e-6, 0, 32e-6, 16e-6},
                 {64e-6, 0, 48e-6, 16e-6}},
        ScaleRow{"DataIntegrated",
                 Quantity::Data,
                 Scaling::Integrated,
                 {24e-6, 24e-6, 40e-6, 48e-6},
                 {32e-6, 32e-6, 56e-6, 64e-6}}),
    [](const auto& test) { return test.param.name; });

TEST(TimeTagEngine, PerSecondUsesThePresentBinForOlderBinsToo) {
    TimeTagEngine engine = engineWith(settingsOf(0.5, 300, Scaling::PerSecond), {{0, 0}, {0, kSecond / 2}});
    EXPECT_EQ(engine.seriesForChannel(0, false), QList<double>({2.0}));
    engine.apply(settingsOf(0.25, 300, Scaling::PerSecond));
    EXPECT_EQ(engine.seriesForChannel(0, false), QList<double>({4.0}));
}

TEST(TimeTagEngine, ANewBinWidthChangesOnlyTheLengthOfTheOpenBin) {
    TimeTagEngine engine = engineWith(settingsOf(0.001), {{0, 0}, {0, kMillisecond}});
    engine.apply(settingsOf(0.003));
    EXPECT_EQ(engine.xValues(true), QList<double>({0.001, 0.001}));
    engine.addBatch(std::vector<UiTimeTag>{{0, 4 * kMillisecond - 1}});
    EXPECT_EQ(engine.seriesForChannel(0, true), QList<double>({1, 2}));
    engine.addBatch(std::vector<UiTimeTag>{{0, 4 * kMillisecond}});
    EXPECT_EQ(engine.xValues(false), QList<double>({0.001, 0.004}));
    engine.apply(settingsOf(0.001));
    engine.addBatch(std::vector<UiTimeTag>{{0, 6 * kMillisecond}});
    EXPECT_EQ(engine.xValues(false), QList<double>({0.001, 0.004, 0.005, 0.006}));
}

TEST(TimeTagEngine, TrimmingKeepsTheNewestBinsTheAxisAndTheTotals) {
    std::vector<UiTimeTag> tags;
    for (int i = 0; i <= 25; ++i) {
        tags.push_back({0, i * kMillisecond});
    }
    TimeTagEngine engine = engineWith(settingsOf(0.001, 10, Scaling::Integrated), tags);
    const QList<double> xs = engine.xValues(false);
    ASSERT_EQ(xs.size(), 10);
    EXPECT_DOUBLE_EQ(xs.constFirst(), 0.016);
    EXPECT_DOUBLE_EQ(xs.constLast(), 0.025);
    EXPECT_EQ(engine.seriesForChannel(0, false).constFirst(), 16.0);
    EXPECT_EQ(engine.seriesForChannel(0, true).constLast(), 26.0);
    EXPECT_EQ(engine.totalTags(), 26U);
}

TEST(TimeTagEngine, ALowerLimitDropsTheOldestBinsAtOnceAndAHigherOneDoesNotBringThemBack) {
    TimeTagEngine engine = engineWith(settingsOf(0.001, 300), {{0, 0}, {0, 100 * kMillisecond}});
    EXPECT_EQ(engine.xValues(false).size(), 100);
    engine.apply(settingsOf(0.001, 20));
    EXPECT_EQ(engine.xValues(false).size(), 20);
    EXPECT_DOUBLE_EQ(engine.xValues(false).constFirst(), 0.081);
    engine.apply(settingsOf(0.001, 300));
    EXPECT_EQ(engine.xValues(false).size(), 20);
    engine.apply(settingsOf(0.001, 1));
    EXPECT_EQ(engine.xValues(false).size(), 10) << "never below ten";
}

TEST(TimeTagEngine, AResetForgetsAllTagsButNotTheSettings) {
    TimeTagEngine engine = engineWith(settingsOf(0.002, 20), {{0, kSecond}, {1, 2 * kSecond}});
    engine.reset();
    EXPECT_EQ(engine.totalTags(), 0U);
    EXPECT_EQ(engine.elapsedSeconds(), 0.0);
    EXPECT_TRUE(engine.xValues(true).isEmpty());
    EXPECT_EQ(engine.settings().binSeconds, 0.002);
    engine.addBatch(std::vector<UiTimeTag>{{3, 50 * kSecond}, {3, 50 * kSecond + 2 * kMillisecond}});
    EXPECT_EQ(engine.xValues(false), QList<double>({0.002}));
    engine.apply(settingsOf(0.002, 20, Scaling::Integrated));
    EXPECT_EQ(engine.seriesForChannel(3, true), QList<double>({1, 2}));
    EXPECT_EQ(engine.seriesForChannel(0, true), QList<double>({0, 0}));
}

struct GapRow {
    const char* name;
    double binSeconds;
    int historyBins;
    qint64 from;
    qint64 to;
};

void PrintTo(const GapRow& row, std::ostream* out) {
    *out << row.name;
}

class TimeTagGap : public ::testing::TestWithParam<GapRow> {};

// The gap holds far more bins than are kept; what remains is worked out from the end.
TEST_P(TimeTagGap, EndsAtOnceWithTheRightLastRows) {
    const GapRow& row = GetParam();
    TimeTagEngine engine = engineWith(settingsOf(row.binSeconds, row.historyBins, Scaling::Integrated),
                                      {{1, row.from}, {1, row.from}});
    const auto begin = std::chrono::steady_clock::now();
    engine.addBatch(std::vector<UiTimeTag>{{2, row.to}});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));

    const qint64 binPs = engine.settings().binPs();
    const auto gap = static_cast<quint64>(row.to) - static_cast<quint64>(row.from);
    const quint64 closed = gap / static_cast<quint64>(binPs);
    const auto kept =
        static_cast<qsizetype>(std::min<quint64>(closed, static_cast<quint64>(row.historyBins)));
    const QList<double> xs = engine.xValues(true);
    ASSERT_EQ(xs.size(), kept + 1);
    const QList<double> ones = engine.seriesForChannel(1, true);
    const QList<double> twos = engine.seriesForChannel(2, true);
    for (qsizetype i = 0; i < kept; ++i) {
        const quint64 bin = closed - static_cast<quint64>(kept - 1 - i);
        EXPECT_DOUBLE_EQ(xs[i], static_cast<double>(bin * static_cast<quint64>(binPs)) / 1e12);
        EXPECT_EQ(ones[i], 2.0);
        EXPECT_EQ(twos[i], 0.0);
    }
    EXPECT_DOUBLE_EQ(xs.constLast(), static_cast<double>(closed * static_cast<quint64>(binPs)) / 1e12);
    EXPECT_EQ(twos.constLast(), 1.0);
    EXPECT_EQ(ones.constLast(), 2.0);
    engine.apply(settingsOf(row.binSeconds, row.historyBins));
    EXPECT_EQ(engine.seriesForChannel(1, false), QList<double>(kept, 0.0)) << "no gap bin has counts";
    EXPECT_EQ(engine.totalTags(), 3U);
    // the grid goes on from there
    const qint64 next = row.from + static_cast<qint64>(closed + 1) * binPs;
    engine.addBatch(std::vector<UiTimeTag>{{0, next - 1}});
    EXPECT_EQ(engine.xValues(true).constLast(), xs.constLast());
    engine.addBatch(std::vector<UiTimeTag>{{0, next}});
    EXPECT_DOUBLE_EQ(engine.xValues(false).constLast(),
                     static_cast<double>((closed + 1) * static_cast<quint64>(binPs)) / 1e12);
}

INSTANTIATE_TEST_SUITE_P(
    Gaps, TimeTagGap,
    ::testing::Values(GapRow{"LongestWithTheFinestBin", 0.001, 10, 0, qint64{1} << 62},
                      GapRow{"LongestWithFullHistory", 0.001, 100000, 0, qint64{1} << 62},
                      GapRow{"FromFarBelowZero", 0.001, 300, -(qint64{1} << 61), qint64{1} << 61},
                      GapRow{"ExactlyOnTheGrid", 0.001, 20, 5, 5 + 1000 * kMillisecond},
                      GapRow{"OneMoreThanTheHistory", 0.001, 10, 0, 11 * kMillisecond},
                      GapRow{"AYear", 0.1, 300, 77, 31'557'600 * (kSecond / 1000)}),
    [](const auto& test) { return test.param.name; });

// Times that no instrument sends must not hang or break anything.
TEST(TimeTagEngine, TheEndsOfTheTimeAxisDoNoHarm) {
    constexpr qint64 kLeast = std::numeric_limits<qint64>::min();
    constexpr qint64 kMost = std::numeric_limits<qint64>::max();
    for (const double bin : {0.001, 60.0}) {
        for (const std::vector<UiTimeTag>& tags : {std::vector<UiTimeTag>{{0, 0}, {0, kMost}, {0, kMost}},
                                                   {{0, kLeast}, {0, kMost}, {0, kLeast}},
                                                   {{0, kMost}, {0, kLeast}, {0, kMost}},
                                                   {{0, kLeast}, {0, 0}, {0, kMost}}}) {
            const TimeTagEngine engine = engineWith(settingsOf(bin, 50), tags);
            EXPECT_EQ(engine.totalTags(), 3U);
            EXPECT_LE(engine.xValues(false).size(), 50);
            EXPECT_EQ(engine.seriesForChannel(0, true).size(), engine.xValues(true).size());
            EXPECT_GE(engine.elapsedSeconds(), 0.0);
        }
    }
}

// --- against the slow reference ----------------------------------------------------------------------------

void expectSame(const TimeTagEngine& engine, const ReferenceTagBins& reference) {
    ASSERT_EQ(engine.totalTags(), reference.totalTags());
    ASSERT_DOUBLE_EQ(engine.elapsedSeconds(), reference.elapsedSeconds());
    const auto expectList = [](const QList<double>& actual, const QList<double>& expected, const char* what) {
        ASSERT_EQ(actual.size(), expected.size()) << what;
        for (qsizetype i = 0; i < actual.size(); ++i) {
            ASSERT_DOUBLE_EQ(actual[i], expected[i]) << what << " " << i;
        }
    };
    for (const bool partial : {false, true}) {
        expectList(engine.xValues(partial), reference.xValues(partial), "x");
        expectList(engine.totalSeries(partial), reference.totalSeries(partial), "total");
        for (int channel = 0; channel < 4; ++channel) {
            expectList(engine.seriesForChannel(channel, partial), reference.series(channel, partial),
                       "channel");
        }
    }
}

class RandomTagStreams : public ::testing::TestWithParam<unsigned> {};

TEST_P(RandomTagStreams, FallIntoTheBinsOfTheReference) {
    std::mt19937_64 random(GetParam());
    const auto below = [&random](qint64 limit) {
        return static_cast<qint64>(random() % static_cast<quint64>(limit));
    };
    TimeTagEngine engine;
    ReferenceTagBins reference;
    TimeTagSettings settings =
        settingsOf(0.001 * static_cast<double>(1 + below(20)), 10 + static_cast<int>(below(40)));
    engine.apply(settings);
    reference.apply(settings);
    qint64 now = below(kSecond) - kSecond / 2;
    for (int batch = 0; batch < 60; ++batch) {
        QList<UiTimeTag> tags;
        for (qint64 i = below(200); i > 0; --i) {
            const qint64 kind = below(100);
            if (kind < 90) {
                now += below(kMillisecond);
            } else if (kind < 94) {
                now += settings.binPs() * below(60); // a gap, onto the grid's edge now and then
            } else if (kind < 97) {
                now -= below(3 * settings.binPs());
            } else {
                now = reference.openBinStart() + settings.binPs() - below(2); // the very edge of a bin
            }
            tags.append({static_cast<quint8>(below(5)), now});
        }
        engine.addBatch(tags);
        for (const UiTimeTag& tag : tags) {
            reference.add(tag);
        }
        if (below(4) == 0) {
            settings.binSeconds = 0.001 * static_cast<double>(1 + below(30));
            settings.historyBins = static_cast<int>(below(80));
            settings.quantity = below(2) == 0 ? Quantity::Tags : Quantity::Data;
            settings.scaling = static_cast<Scaling>(below(3));
            engine.apply(settings);
            reference.apply(settings);
        }
        ASSERT_NO_FATAL_FAILURE(expectSame(engine, reference)) << "batch " << batch;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomTagStreams, ::testing::Range(1U, 41U));

TEST(TimeTagEngine, TheBinsDoNotDependOnHowTheStreamIsCutIntoBatches) {
    std::mt19937_64 random(7);
    std::vector<UiTimeTag> tags;
    qint64 now = 0;
    for (int i = 0; i < 20000; ++i) {
        now += static_cast<qint64>(random() % static_cast<quint64>(kMillisecond / 2));
        tags.push_back({static_cast<quint8>(random() % 4), now});
    }
    const TimeTagEngine whole = engineWith(settingsOf(0.005, 1000), tags);
    TimeTagEngine pieces = engineWith(settingsOf(0.005, 1000));
    for (std::span<const UiTimeTag> rest(tags); !rest.empty();) {
        const std::size_t size = std::min<std::size_t>(rest.size(), random() % 100);
        pieces.addBatch(rest.first(size));
        rest = rest.subspan(size);
    }
    EXPECT_EQ(pieces.xValues(true), whole.xValues(true));
    for (int channel = 0; channel < 4; ++channel) {
        EXPECT_EQ(pieces.seriesForChannel(channel, true), whole.seriesForChannel(channel, true));
    }
    EXPECT_EQ(pieces.totalTags(), 20000U);
}

} // namespace
} // namespace qorn::timetagger::gui
