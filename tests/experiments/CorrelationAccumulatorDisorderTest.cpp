// Times at the ends of the range, and times that step back or jump: what can be counted is counted once, and
// neither memory nor time grows without bound.
#include "CorrelationAccumulator.h"

#include "CorrelationAccumulatorReference.h"

#include <limits>
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
using qorn::testing::totalOf;
using Options = CorrelationAccumulator::Setup;
using Counts = std::vector<std::uint64_t>;

constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();

// --- ends of the range -------------------------------------------------------------------------------------

TEST(CorrelationAccumulatorRange, CountsRightAtTheEndsOfTheRange) {
    const Times times{kEarliest, kEarliest + 1, kEarliest + 500, -1000,       -1,     0,
                      1,         999,           kLatest - 500,   kLatest - 1, kLatest};
    RandomSource random(1);
    quint64 pairs = 0;
    for (const auto& [window, bin] : {std::pair<qint64, qint64>{1, 1},
                                      {600, 7},
                                      {kLatest / 2, kLatest / 100},
                                      {kLatest, kLatest / 7 + 12'345},
                                      {kLatest, kLatest / 5 * 4}}) {
        for (const std::int64_t offset :
             {std::int64_t{0}, std::int64_t{499}, kLatest / 2, kLatest, -kLatest, kEarliest}) {
            const Options setup{0, 1, window, bin, offset};
            for (const auto mixing : {StreamPlan::Mixing::ByTime, StreamPlan::Mixing::Random}) {
                for (const qsizetype most : {0, 1, 4}) {
                    CorrelationAccumulator accumulator;
                    accumulator.reset(setup);
                    ReferenceAccumulator reference(setup);
                    for (const auto& batch :
                         cutAnywhere(mixedStream(times, times, {mixing, 0, 1, 0}, random), most, random)) {
                        accumulator.addBatch(batch);
                        reference.addBatch(batch);
                    }
                    ASSERT_TRUE(sameCounts(accumulator, reference.counts()))
                        << window << " " << bin << " " << offset;
                    ASSERT_EQ(accumulator.tagSpan(), (CorrelationAccumulator::Span{kEarliest, kLatest}));
                    pairs += reference.total();
                }
            }
        }
    }
    EXPECT_GT(pairs, 1000U);
}

TEST(CorrelationAccumulatorRange, AnOffsetIsFoundAmongTagsAtTheEndsOfTheRange) {
    for (const qint64 start : {kEarliest, kLatest - 200 * 100'000}) {
        CorrelationAccumulator accumulator;
        accumulator.reset({0, 1, 1000, 8, std::nullopt});
        QList<UiTimeTag> batch;
        for (qint64 i = 0; i < 200; ++i) {
            batch.append({0, start + i * 100'000});
            batch.append({1, start + i * 100'000 + 30});
        }
        accumulator.addBatch(batch);
        ASSERT_TRUE(accumulator.settleOffset(kLatest));
        EXPECT_EQ(accumulator.offsetPs(), 30);
        EXPECT_EQ(accumulator.counts()[125], 200U);
    }
    CorrelationAccumulator accumulator;
    accumulator.reset({0, 1, 1000, 8, std::nullopt});
    for (int i = 0; i < 128; ++i) {
        accumulator.addBatch({{0, kEarliest}, {1, kLatest}});
    }
    EXPECT_FALSE(accumulator.settleOffset(kLatest - 1)) << "no lag of the range leads from one to the other";
}

// --- restarts ----------------------------------------------------------------------------------------------

struct RestartRow {
    const char* name;
    Options setup;
    qint64 step; // from the end of a run, as both inputs saw it, to the beginning of the next
};

void PrintTo(const RestartRow& row, std::ostream* out) {
    *out << row.name;
}

class CorrelationRestarts : public ::testing::TestWithParam<RestartRow> {};

// Each run overlaps in time with the ones before; only tags of one run are pairs.
TEST_P(CorrelationRestarts, EachRunIsCountedForItself) {
    const RestartRow& row = GetParam();
    for (const qsizetype most : {1, 7, 400, 5000}) {
        RandomSource random(9);
        QList<UiTimeTag> stream;
        Counts expected;
        qint64 start = 4'000'000'000;
        for (int run = 0; run < 12; ++run) {
            const Times sources = qorn::testing::randomTimes(random, 400, start, 4000);
            const Times targets = qorn::testing::randomTimes(random, 400, start, 4000);
            const QList<UiTimeTag> tags =
                mixedStream(sources, targets, {StreamPlan::Mixing::ByTime, 0, 1, 5}, random);
            ReferenceAccumulator reference(row.setup);
            reference.addBatch(tags);
            expected.resize(reference.counts().size());
            for (std::size_t i = 0; i < expected.size(); ++i) {
                expected[i] += reference.counts()[i];
            }
            stream += tags;
            start = row.step < 0 ? std::min(sources.back(), targets.back()) + row.step
                                 : std::max(sources.back(), targets.back()) + row.step;
        }
        CorrelationAccumulator accumulator;
        accumulator.reset(row.setup);
        std::size_t mostHeld = 0;
        for (const QList<UiTimeTag>& batch : cutAnywhere(stream, most, random)) {
            accumulator.addBatch(batch);
            mostHeld = std::max(mostHeld, accumulator.sourceTags().size() + accumulator.targetTags().size());
        }
        EXPECT_TRUE(sameCounts(accumulator, expected)) << most;
        std::uint64_t all = 0;
        for (const std::uint64_t count : expected) {
            all += count;
        }
        EXPECT_EQ(totalOf(accumulator), all) << "pairs";
        EXPECT_GT(all, 500U);
        EXPECT_LE(mostHeld, 800U) << "no more than a run";
        EXPECT_EQ(accumulator.sourceTagCount(), 12 * 400);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Steps, CorrelationRestarts,
    ::testing::Values(RestartRow{"BackByARun", {0, 1, 1000, 8, 0}, -1'000'000},
                      RestartRow{"BackByHalfARun", {0, 1, 1000, 8, 0}, -400'000},
                      RestartRow{"BackByHalfMoreThanTheWindow", {0, 1, 1000, 8, 0}, -1500},
                      RestartRow{"BackByALittleMoreThanTheReach", {0, 1, 1000, 8, 0}, -13'000},
                      RestartRow{"BackFarAndWithOffset", {0, 1, 3000, 8, 20'000}, -900'000},
                      RestartRow{"BackFarAndWithNegativeOffset", {0, 1, 3000, 8, -20'000}, -900'000},
                      RestartRow{"BackToLongBefore", {0, 1, 3000, 16, 50}, -3'000'000'000'000},
                      RestartRow{"ForwardByALittle", {0, 1, 1000, 8, 0}, 10'000},
                      RestartRow{"ForwardFar", {0, 1, 1000, 8, 0}, 3'000'000'000'000}),
    [](const auto& test) { return test.param.name; });

TEST(CorrelationAccumulatorDisorder, TheFirstTagsOfANewRunPairWhicheverInputSeesItFirst) {
    for (const qint64 offset : {-20'000, -900, 0, 900, 20'000}) {
        for (const bool sourceFirst : {false, true}) {
            for (const qsizetype size : {1, 2, 4}) {
                const UiTimeTag source{0, 5000};
                const UiTimeTag target{1, 5000 + offset + 8};
                const QList<UiTimeTag> stream{{0, 1'000'000'000},
                                              {1, 1'000'000'000 + offset},
                                              sourceFirst ? source : target,
                                              sourceFirst ? target : source};
                CorrelationAccumulator accumulator;
                accumulator.reset({0, 1, 1000, 8, offset});
                for (qsizetype at = 0; at < stream.size(); at += size) {
                    accumulator.addBatch(stream.mid(at, size));
                }
                EXPECT_EQ(accumulator.counts()[125], 1U) << offset << " " << sourceFirst << " " << size;
                EXPECT_EQ(accumulator.counts()[126], 1U) << offset << " " << sourceFirst << " " << size;
                EXPECT_EQ(totalOf(accumulator), 2U);
            }
        }
    }
}

TEST(CorrelationAccumulatorDisorder, AllThatAnInputSawOfTheNewRunWaitsForTheOther) {
    for (const bool sourceFirst : {false, true}) {
        const quint8 first = sourceFirst ? 0 : 1;
        const quint8 second = sourceFirst ? 1 : 0;
        const QList<UiTimeTag> stream{{first, 9'000'000}, {second, 9'000'000}, {first, 100},  {2, 150},
                                      {first, 200},       {first, 300},        {second, 250}, {second, 350}};
        for (qsizetype size = 1; size <= stream.size(); ++size) {
            CorrelationAccumulator accumulator;
            accumulator.reset({0, 1, 1000, 8, 0});
            for (qsizetype at = 0; at < stream.size(); at += size) {
                accumulator.addBatch(stream.mid(at, size));
            }
            EXPECT_EQ(totalOf(accumulator), 1U + 6U) << sourceFirst << " " << size;
        }
    }
}

TEST(CorrelationAccumulatorDisorder, TheAxisMayWrapFromItsEndToItsBeginning) {
    CorrelationAccumulator accumulator;
    accumulator.reset({0, 1, 100, 4, 0});
    for (int turn = 0; turn < 3; ++turn) {
        for (qint64 i = 0; i < 100; ++i) {
            const qint64 time = kLatest - 100'000 + i * 1000;
            accumulator.addBatch({{0, time}, {1, time + 8}});
        }
        for (qint64 i = 0; i < 100; ++i) {
            const qint64 time = kEarliest + i * 1000;
            accumulator.addBatch({{0, time}, {1, time + 8}});
        }
        EXPECT_EQ(accumulator.counts()[27], static_cast<quint64>(200 * (turn + 1)));
        EXPECT_EQ(totalOf(accumulator), accumulator.counts()[27]);
        EXPECT_LE(accumulator.sourceTags().size(), 2U);
    }
}

TEST(CorrelationAccumulatorDisorder, ARestartBeforeTheOffsetIsFoundLeavesItRight) {
    CorrelationAccumulator accumulator;
    accumulator.reset({0, 1, 1000, 8, std::nullopt});
    for (const int run : {0, 1}) {
        QList<UiTimeTag> batch;
        for (qint64 i = 0; i < 300; ++i) {
            const qint64 time = 50'000'000 - run * 40'000'000 + i * 20'000;
            batch.append({0, time});
            batch.append({1, time + 500});
        }
        accumulator.addBatch(batch);
    }
    ASSERT_TRUE(accumulator.settleOffset(9000));
    EXPECT_EQ(accumulator.offsetPs(), 500);
    const quint64 before = accumulator.counts()[125];
    EXPECT_GE(before, 300U) << "the new run at least";
    EXPECT_LE(before, 600U);
    EXPECT_EQ(totalOf(accumulator), before);
    for (qint64 i = 0; i < 2500; ++i) { // on beyond the first run
        const qint64 time = 16'100'000 + i * 20'000;
        accumulator.addBatch({{0, time}, {1, time + 500}});
    }
    // Whether what is left of the first run is met again is open; the new tags pair with each other.
    EXPECT_GE(accumulator.counts()[125], before + 2500);
    EXPECT_LE(accumulator.counts()[125], before + 2500 + 600);
    EXPECT_LE(accumulator.sourceTags().size(), 2U);
}

// --- tags a little late ------------------------------------------------------------------------------------

TEST(CorrelationAccumulatorDisorder, ATagLateByLessThanTheWindowMeetsWhatIsHeld) {
    Counts expected(201);
    for (const qint64 lag : {60, 40, 10, -10, 5, -15}) {
        ++expected[static_cast<std::size_t>(100 + lag)];
    }
    const QList<UiTimeTag> stream{{0, 0}, {0, 50}, {1, 60}, {1, 40}, {0, 55}};
    for (const qsizetype size : {1, 2, 3, 4, 5}) {
        CorrelationAccumulator accumulator;
        accumulator.reset({0, 1, 100, 1, 0});
        for (qsizetype at = 0; at < stream.size(); at += size) {
            accumulator.addBatch(stream.mid(at, size));
        }
        EXPECT_EQ(countsOf(accumulator), expected) << size;
        EXPECT_EQ(timesOf(accumulator.sourceTags()), (Times{0, 50, 55}));
        EXPECT_EQ(timesOf(accumulator.targetTags()), (Times{40, 60}));
    }
}

// Tags late by up to a tenth of the window: lags below nine tenths of it are complete.
TEST(CorrelationAccumulatorDisorder, TagsALittleLateLoseNoPairsButAtTheEndsOfTheWindow) {
    RandomSource random(12);
    for (int round = 0; round < 60; ++round) {
        const qint64 window = random.between(100, 20'000);
        const Options setup{0, 1, window, random.between(1, 20), random.between(-30'000, 30'000)};
        const auto jittered = [&] {
            Times times = qorn::testing::randomTimes(random, 600, 0, 1500);
            for (std::int64_t& time : times) {
                time -= static_cast<qint64>(random.below(static_cast<quint64>(window / 10) + 1));
            }
            return times;
        };
        const Times sources = jittered();
        const Times targets = jittered();
        const QList<UiTimeTag> stream =
            mixedStream(sources, targets, {StreamPlan::Mixing::Random, 0, 1, 5}, random);
        CorrelationAccumulator accumulator;
        accumulator.reset(setup);
        for (const QList<UiTimeTag>& batch : cutAnywhere(stream, random.between(1, 200), random)) {
            accumulator.addBatch(batch);
        }
        ReferenceAccumulator reference(setup);
        reference.addBatch(stream); // at once: nothing of it has left when it is counted
        const qint64 half = accumulator.half();
        for (qint64 bin = -half; bin <= half; ++bin) {
            const auto index = static_cast<std::size_t>(half + bin);
            const quint64 count = accumulator.counts()[index];
            ASSERT_LE(count, reference.counts()[index]) << "bin " << bin << " of round " << round;
            if ((std::abs(bin) + 1) * setup.binPs < window - window / 10) {
                ASSERT_EQ(count, reference.counts()[index]) << "bin " << bin << " of round " << round;
            }
        }
    }
}

// --- no order at all ---------------------------------------------------------------------------------------

qint64 anyTime(RandomSource& random) {
    switch (random.below(6)) {
    case 0:
        return static_cast<qint64>(random.bits());
    case 1:
        return random.chance(0.5) ? kEarliest + random.between(0, 50) : kLatest - random.between(0, 50);
    case 2:
        return random.between(-2000, 2000);
    default:
        return random.between(-200'000'000, 200'000'000);
    }
}

TEST(CorrelationAccumulatorDisorder, TimesInNoOrderAreSurvivedAndTimeThatGoesOnIsCountedRight) {
    RandomSource random(13);
    for (int round = 0; round < 40; ++round) {
        const bool automatic = round % 4 == 3;
        const qint64 offset = random.chance(0.2) ? kEarliest : random.between(-500, 500);
        Options setup{0, 1, random.between(1, 5000), random.between(1, 50), offset};
        if (automatic) {
            setup.offsetPs = std::nullopt;
        }
        CorrelationAccumulator accumulator;
        accumulator.reset(setup);
        quint64 sources = 0;
        for (int batch = 0; batch < 60; ++batch) {
            QList<UiTimeTag> tags;
            const int size = random.between(0, 40);
            for (int i = 0; i < size; ++i) {
                tags.append({static_cast<quint8>(random.below(3)), anyTime(random)});
                sources += tags.last().channel == 0 ? 1 : 0;
            }
            accumulator.addBatch(tags);
            if (automatic) {
                accumulator.settleOffset(random.chance(0.3) ? kLatest : 300);
            }
        }
        EXPECT_EQ(accumulator.sourceTagCount(), static_cast<qint64>(sources));
        if (!accumulator.isLive() || std::abs(accumulator.offsetPs() / 2) > 1'000'000'000) {
            continue;
        }
        // Two batches in order make an end of it; what comes then is compared. They lie where no tag was.
        const Options settled{0, 1, setup.windowPs, setup.binPs, accumulator.offsetPs()};
        constexpr qint64 kCalm = 1'000'000'000'000'000;
        accumulator.addBatch({{0, kCalm}, {1, kCalm}});
        accumulator.addBatch({{0, kCalm + 1'000'000'000'000}, {1, kCalm + 1'000'000'000'000}});
        const Counts before = countsOf(accumulator);
        const Times calmSources = qorn::testing::randomTimes(random, 300, 2 * kCalm, 2000);
        const Times calmTargets = qorn::testing::randomTimes(random, 300, 2 * kCalm, 2000);
        const QList<UiTimeTag> calm =
            mixedStream(calmSources, calmTargets, {StreamPlan::Mixing::ByTime, 0, 1, 0}, random);
        ReferenceAccumulator reference(settled);
        for (const QList<UiTimeTag>& batch : cutAnywhere(calm, 30, random)) {
            accumulator.addBatch(batch);
            reference.addBatch(batch);
        }
        Counts gained = countsOf(accumulator);
        for (std::size_t i = 0; i < gained.size(); ++i) {
            gained[i] -= before[i];
        }
        EXPECT_EQ(gained, reference.counts()) << "round " << round;
    }
}

TEST(CorrelationAccumulatorDisorder, TagsThatGoBackOneByOneTakeNoMoreThanTheyShould) {
    constexpr int kTags = 300'000;
    CorrelationAccumulator accumulator;
    accumulator.reset({0, 1, 1'000'000'000, 100'000, 0});
    QList<UiTimeTag> batch;
    for (int i = 0; i < kTags; ++i) { // within the window, each before the last
        batch.append({0, -i});
        if (batch.size() == 5000) {
            accumulator.addBatch(batch);
            batch.clear();
        }
    }
    EXPECT_EQ(accumulator.sourceTagCount(), kTags);
    accumulator.reset({0, 1, 1000, 8, 0});
    for (int i = 0; i < kTags; ++i) { // to and fro, far beyond the window
        batch.append({static_cast<quint8>(i / 2 % 2), i % 4 < 2 ? 0 : 1'000'000'000});
        batch.append({static_cast<quint8>(i % 2), -1'000'000LL * i});
        if (batch.size() >= 5000) {
            accumulator.addBatch(batch);
            batch.clear();
            ASSERT_LE(accumulator.sourceTags().size() + accumulator.targetTags().size(), 10'000U);
        }
    }
}

// --- memory ------------------------------------------------------------------------------------------------

TEST(CorrelationAccumulatorDisorder, WhatIsHeldIsBoundedWhileOneInputIsSilent) {
    for (const bool sourceSpeaks : {false, true}) {
        CorrelationAccumulator accumulator;
        accumulator.reset({0, 1, 1000, 8, 0});
        const quint8 loud = sourceSpeaks ? 0 : 1;
        const quint8 silent = sourceSpeaks ? 1 : 0;
        accumulator.addBatch({{silent, 0}});
        constexpr qint64 kPiece = 1'000'000;
        QList<UiTimeTag> batch(kPiece, UiTimeTag{loud, 0});
        qint64 time = 0;
        for (int piece = 0; piece < 10; ++piece) {
            for (UiTimeTag& tag : batch) {
                tag.timePs = time;
                time += 100;
            }
            accumulator.addBatch(batch);
            const std::size_t held =
                (sourceSpeaks ? accumulator.sourceTags() : accumulator.targetTags()).size();
            ASSERT_LE(held, std::size_t{1} << 23);
        }
        const quint64 before = totalOf(accumulator);
        EXPECT_EQ(before, 11U) << "up to 1000 ps from the silent one";
        const qint64 last = time - 100;
        accumulator.addBatch({{silent, last}});
        EXPECT_EQ(totalOf(accumulator), before + 11) << "the latest ones are held";
        EXPECT_LE(accumulator.sourceTags().size() + accumulator.targetTags().size(), 20U);
    }
}

} // namespace
} // namespace qorn::timetagger::gui
