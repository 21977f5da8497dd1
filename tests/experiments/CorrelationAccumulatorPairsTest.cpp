// Random runs: each pair of the whole run is counted exactly once, at every moment and however the run is cut
// into batches, and what is held is what can still pair.
#include "CorrelationAccumulator.h"

#include "CorrelationAccumulatorReference.h"
#include "LagEstimators.h"

#include <ostream>
#include <string>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::countsOf;
using qorn::testing::cutAnywhere;
using qorn::testing::mixedStream;
using qorn::testing::RandomSource;
using qorn::testing::ReferenceAccumulator;
using qorn::testing::sameCounts;
using qorn::testing::StreamPlan;
using qorn::testing::Times;
using qorn::testing::timesOf;
using Mixing = StreamPlan::Mixing;
using Options = CorrelationAccumulator::Setup;

struct RunRow {
    const char* name;
    quint64 seed;
    Options setup;
    StreamPlan plan;
    std::size_t sources;
    std::size_t targets;
    qint64 sourceGap; // the largest, ps
    qint64 targetGap;
    qint64 grid = 1;
    qint64 targetStart = 0;
};

void PrintTo(const RunRow& row, std::ostream* out) {
    *out << row.name;
}

class CorrelationRuns : public ::testing::TestWithParam<RunRow> {};

QList<UiTimeTag> streamOf(const RunRow& row) {
    RandomSource random(row.seed);
    const Times sources = qorn::testing::randomTimes(random, row.sources, -40'000, row.sourceGap, row.grid);
    const Times targets =
        qorn::testing::randomTimes(random, row.targets, -40'000 + row.targetStart, row.targetGap, row.grid);
    return mixedStream(sources, targets, row.plan, random);
}

TEST_P(CorrelationRuns, CountEachPairOnceHoweverTheyAreCut) {
    const RunRow& row = GetParam();
    const QList<UiTimeTag> stream = streamOf(row);
    RandomSource random(row.seed + 1000);
    for (const qsizetype most : {0, 1, 3, 40, 700}) {
        SCOPED_TRACE("batches up to " + std::to_string(most));
        CorrelationAccumulator accumulator;
        accumulator.reset(row.setup);
        ReferenceAccumulator reference(row.setup);
        std::size_t number = 0;
        for (const QList<UiTimeTag>& batch : cutAnywhere(stream, most, random)) {
            accumulator.addBatch(batch);
            reference.addBatch(batch);
            if (++number % 50 == 0 || most > 100) {
                ASSERT_TRUE(sameCounts(accumulator, reference.counts())) << "after batch " << number;
            }
            ASSERT_EQ(accumulator.sourceTags().size(), reference.sourceTags().size())
                << "after batch " << number;
            ASSERT_EQ(accumulator.targetTags().size(), reference.targetTags().size())
                << "after batch " << number;
        }
        EXPECT_TRUE(sameCounts(accumulator, reference.counts()));
        EXPECT_EQ(timesOf(accumulator.sourceTags()), reference.sourceTags());
        EXPECT_EQ(timesOf(accumulator.targetTags()), reference.targetTags());
        EXPECT_EQ(accumulator.sourceTagCount(), static_cast<qint64>(row.sources));
        EXPECT_EQ(accumulator.targetTagCount(), static_cast<qint64>(row.targets));
        EXPECT_GT(reference.total(), 50U) << "the run is worth the comparison";
    }
}

TEST_P(CorrelationRuns, GiveTheSameHistogramAsTheEstimatorOfTheWholeRun) {
    const RunRow& row = GetParam();
    const QList<UiTimeTag> stream = streamOf(row);
    CorrelationAccumulator accumulator;
    accumulator.reset(row.setup);
    RandomSource random(row.seed + 2000);
    Times sources;
    Times targets;
    for (const QList<UiTimeTag>& batch : cutAnywhere(stream, 90, random)) {
        accumulator.addBatch(batch);
    }
    for (const UiTimeTag& tag : stream) {
        if (tag.channel == row.setup.source) {
            sources.push_back(tag.timePs);
        } else if (tag.channel == row.setup.target) {
            targets.push_back(tag.timePs);
        }
    }
    std::vector<std::uint64_t> whole =
        timing::xcorr_histogram(sources, targets, row.setup.windowPs, row.setup.binPs, *row.setup.offsetPs)
            .counts;
    // Where the window is no multiple of the bin, that one may have a bin more on each side.
    const std::size_t more = (whole.size() - accumulator.counts().size()) / 2;
    ASSERT_LE(more, 1U);
    whole = {whole.begin() + static_cast<std::ptrdiff_t>(more),
             whole.end() - static_cast<std::ptrdiff_t>(more)};
    EXPECT_TRUE(sameCounts(accumulator, whole));
}

INSTANTIATE_TEST_SUITE_P(
    Random, CorrelationRuns,
    ::testing::Values(
        RunRow{"NarrowWindow", 1, {0, 1, 1000, 8, 0}, {Mixing::ByTime, 0, 1, 5}, 1500, 1500, 4000, 4000},
        RunRow{"WideWindow", 2, {2, 3, 20'000, 100, 0}, {Mixing::ByTime, 2, 3, 3}, 1000, 1000, 2000, 2000},
        RunRow{"ExchangedInputs", 3, {3, 0, 3000, 24, 0}, {Mixing::ByTime, 3, 0, 4}, 1000, 1000, 2000, 2000},
        RunRow{
            "WindowOfAllTags", 4, {0, 1, 900'000, 1000, 0}, {Mixing::ByTime, 0, 1, 0}, 600, 600, 1000, 1000},
        RunRow{"Offset", 5, {0, 1, 3000, 8, 12'000}, {Mixing::ByTime, 0, 1, 7}, 1200, 1200, 2000, 2000},
        RunRow{
            "NegativeOffset", 6, {0, 1, 3000, 8, -12'000}, {Mixing::ByTime, 0, 1, 7}, 1200, 1200, 2000, 2000},
        RunRow{
            "WindowNoMultiple", 7, {1, 2, 1001, 14, 33}, {Mixing::ByTime, 1, 2, 9}, 1500, 1500, 1000, 1000},
        RunRow{
            "WindowNoMultipleUp", 8, {1, 2, 1009, 12, 33}, {Mixing::ByTime, 1, 2, 9}, 1500, 1500, 1000, 1000},
        RunRow{"OneBin", 9, {0, 3, 500, 501, 0}, {Mixing::ByTime, 0, 3, 0}, 1500, 1500, 1000, 1000},
        RunRow{"WindowOfOnePicosecond", 10, {0, 1, 1, 1, 0}, {Mixing::ByTime, 0, 1, 0}, 2000, 2000, 20, 20},
        RunRow{"EqualTimes", 11, {0, 1, 300, 50, 0}, {Mixing::ByTime, 0, 1, 6}, 1200, 1200, 60, 60, 25},
        RunRow{
            "EqualTimesOnTies", 12, {0, 1, 300, 20, 10}, {Mixing::Random, 0, 1, 6}, 1200, 1200, 60, 60, 10},
        RunRow{"FewSources", 13, {0, 1, 5000, 50, 700}, {Mixing::ByTime, 0, 1, 0}, 60, 2500, 40'000, 1000},
        RunRow{"FewTargets", 14, {0, 1, 5000, 50, 700}, {Mixing::ByTime, 0, 1, 0}, 2500, 60, 1000, 40'000},
        RunRow{"Interleaved", 15, {0, 1, 2000, 16, 0}, {Mixing::Random, 0, 1, 5}, 1500, 1500, 3000, 3000},
        RunRow{"SourceFarAhead",
               16,
               {0, 1, 2000, 16, 5},
               {Mixing::SourceAhead, 0, 1, 5},
               1500,
               1500,
               3000,
               3000},
        RunRow{"TargetFarAhead",
               17,
               {0, 1, 2000, 16, -5},
               {Mixing::TargetAhead, 0, 1, 5},
               1500,
               1500,
               3000,
               3000},
        RunRow{"TargetLateByItsOffset",
               18,
               {0, 1, 2000, 16, 700'000},
               {Mixing::Random, 0, 1, 5},
               1500,
               1500,
               3000,
               3000,
               1,
               700'000},
        RunRow{"TargetEarlyByItsOffset",
               19,
               {0, 1, 2000, 16, -700'000},
               {Mixing::TargetAhead, 0, 1, 5},
               1500,
               1500,
               3000,
               3000,
               1,
               -700'000},
        RunRow{"AllSourcesBeforeAllTargets",
               20,
               {0, 1, 100'000, 1000, 0},
               {Mixing::ByTime, 0, 1, 0},
               800,
               800,
               200,
               200,
               1,
               90'000}),
    [](const auto& test) { return test.param.name; });

// Setups and streams drawn at random, small enough that a wrong pair is found by eye.
TEST(CorrelationAccumulatorProperty, EachPairOfARandomRunIsCountedOnce) {
    RandomSource random(77);
    quint64 pairs = 0;
    for (int round = 0; round < 1500; ++round) {
        Options setup;
        setup.source = random.between(0, 3);
        setup.target = (setup.source + random.between(1, 3)) % 4;
        setup.windowPs = random.between(1, round % 2 == 0 ? 60 : 3000);
        setup.binPs = random.between(1, random.chance(0.5) ? 12 : static_cast<int>(setup.windowPs) + 3);
        setup.offsetPs = random.chance(0.3) ? 0 : random.between(-3000, 3000);
        const auto grid = random.between(1, 6);
        const auto gapOf = [&random] { return random.between(1, random.chance(0.5) ? 30 : 900); };
        const Times sources =
            qorn::testing::randomTimes(random, random.below(120), random.between(-900, 900), gapOf(), grid);
        const Times targets =
            qorn::testing::randomTimes(random, random.below(120), random.between(-900, 900), gapOf(), grid);
        const StreamPlan plan{static_cast<Mixing>(random.between(0, 3)), setup.source, setup.target,
                              random.between(0, 4)};
        const QList<UiTimeTag> stream = mixedStream(sources, targets, plan, random);
        CorrelationAccumulator accumulator;
        accumulator.reset(setup);
        ReferenceAccumulator reference(setup);
        for (const QList<UiTimeTag>& batch : cutAnywhere(stream, random.between(0, 60), random)) {
            accumulator.addBatch(batch);
            reference.addBatch(batch);
            ASSERT_TRUE(sameCounts(accumulator, reference.counts())) << "round " << round;
            ASSERT_EQ(timesOf(accumulator.sourceTags()), reference.sourceTags()) << "round " << round;
            ASSERT_EQ(timesOf(accumulator.targetTags()), reference.targetTags()) << "round " << round;
        }
        pairs += reference.total();
    }
    EXPECT_GT(pairs, 100'000U);
}

TEST(CorrelationAccumulatorProperty, ALongRunInLargeBatchesIsThatOfItsSmallOnes) {
    RandomSource random(78);
    const Times sources = qorn::testing::randomTimes(random, 200'000, 0, 20'000);
    Times targets = sources;
    for (std::int64_t& time : targets) {
        time += 5000 + random.between(-150, 150);
    }
    targets = qorn::testing::sortedTimes(targets);
    const QList<UiTimeTag> stream = mixedStream(sources, targets, {Mixing::ByTime, 0, 1, 11}, random);
    const Options setup{0, 1, 40'000, 16, 5000};
    const timing::XcorrHistogram whole = timing::xcorr_histogram(sources, targets, 40'000, 16, 5000);
    for (const qsizetype size : {stream.size(), qsizetype{50'000}, qsizetype{4096}, qsizetype{37}}) {
        CorrelationAccumulator accumulator;
        accumulator.reset(setup);
        for (qsizetype at = 0; at < stream.size(); at += size) {
            accumulator.addBatch(stream.mid(at, size));
            ASSERT_LE(accumulator.sourceTags().size() + accumulator.targetTags().size(), 400U)
                << "only what is within reach is held";
        }
        EXPECT_TRUE(sameCounts(accumulator, whole.counts)) << size;
    }
}

} // namespace
} // namespace qorn::timetagger::gui
