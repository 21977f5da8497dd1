#include "InstantTags.h"

#include "CorrelationAccumulatorReference.h"

#include <deque>
#include <limits>
#include <string>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::cutAnywhere;
using qorn::testing::mixedStream;
using qorn::testing::RandomSource;
using qorn::testing::StreamPlan;
using qorn::testing::Times;
using qorn::testing::timesOf;

constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();
constexpr std::size_t kMost = 1'000'000;

InstantTags instantTags(int source, int target, qint64 windowPs) {
    InstantTags tags;
    tags.reset(source, target, windowPs);
    return tags;
}

// Tag by tag, as it is defined.
class ReferenceTags {
public:
    ReferenceTags(int sourceChannel, int targetChannel, qint64 windowPs)
        : sourceOf(sourceChannel), targetOf(targetChannel), window(windowPs) {}

    void addBatch(const QList<UiTimeTag>& tags) {
        for (const UiTimeTag& tag : tags) {
            if (tag.channel == sourceOf) {
                source.push_back(tag.timePs);
            } else if (tag.channel == targetOf) {
                target.push_back(tag.timePs);
            }
        }
        if (source.empty() && target.empty()) {
            return;
        }
        const std::int64_t latest =
            std::max(source.empty() ? kEarliest : source.back(), target.empty() ? kEarliest : target.back());
        for (std::deque<std::int64_t>* queue : {&source, &target}) {
            while (!queue->empty() && queue->front() < qorn::testing::WideTime{latest} - window) {
                queue->pop_front();
            }
            while (queue->size() > kMost) {
                queue->pop_front();
            }
        }
    }

    Times sourceTags() const { return {source.begin(), source.end()}; }
    Times targetTags() const { return {target.begin(), target.end()}; }

private:
    int sourceOf;
    int targetOf;
    qint64 window;
    std::deque<std::int64_t> source;
    std::deque<std::int64_t> target;
};

TEST(InstantTags, AreNoneBeforeTheFirstOnes) {
    InstantTags tags = instantTags(0, 1, 1000);
    tags.addBatch({});
    EXPECT_TRUE(tags.sourceTags().empty());
    EXPECT_TRUE(tags.targetTags().empty());
    tags.addBatch({{2, 5}, {3, 6}, {4, 7}, {255, 8}});
    EXPECT_TRUE(tags.sourceTags().empty());
    EXPECT_TRUE(tags.targetTags().empty());
    InstantTags unset;
    unset.addBatch({{0, 5}, {1, 6}});
    EXPECT_TRUE(unset.sourceTags().empty());
    EXPECT_TRUE(unset.targetTags().empty());
}

TEST(InstantTags, AreThoseOfTheTwoInputsInTheirOrder) {
    for (int source = 0; source < 4; ++source) {
        for (int target = 0; target < 4; ++target) {
            if (source == target) {
                continue;
            }
            InstantTags tags = instantTags(source, target, 1000);
            QList<UiTimeTag> batch;
            for (int i = 0; i < 12; ++i) {
                batch.append({static_cast<quint8>(i % 5), i * 10});
            }
            tags.addBatch(batch);
            const auto expected = [](int channel) {
                return channel < 2 ? Times{channel * 10, channel * 10 + 50, channel * 10 + 100}
                                   : Times{channel * 10, channel * 10 + 50};
            };
            EXPECT_EQ(timesOf(tags.sourceTags()), expected(source));
            EXPECT_EQ(timesOf(tags.targetTags()), expected(target));
        }
    }
}

TEST(InstantTags, OneExactlyAsOldAsTheTimeConstantStays) {
    InstantTags tags = instantTags(0, 1, 100);
    tags.addBatch({{0, 0}, {0, 1}, {1, 0}, {1, 99}, {1, 100}});
    EXPECT_EQ(timesOf(tags.sourceTags()), (Times{0, 1}));
    EXPECT_EQ(timesOf(tags.targetTags()), (Times{0, 99, 100}));
    tags.addBatch({{1, 101}});
    EXPECT_EQ(timesOf(tags.sourceTags()), Times{1});
    EXPECT_EQ(timesOf(tags.targetTags()), (Times{99, 100, 101}));
}

TEST(InstantTags, TheLaterOfTheTwoInputsSaysWhatIsOld) {
    InstantTags tags = instantTags(0, 1, 100);
    tags.addBatch({{0, 0}, {0, 50}, {1, 60}});
    tags.addBatch({{1, 151}});
    EXPECT_EQ(timesOf(tags.sourceTags()), Times()) << "both are older than 51";
    EXPECT_EQ(timesOf(tags.targetTags()), (Times{60, 151}));
    tags.addBatch({{0, 260}});
    EXPECT_EQ(timesOf(tags.sourceTags()), Times{260});
    EXPECT_EQ(timesOf(tags.targetTags()), Times());
    tags.addBatch({{2, 9000}});
    EXPECT_EQ(timesOf(tags.sourceTags()), Times{260}) << "other inputs do not make them old";
}

TEST(InstantTags, ABatchThatIsLongerThanTheTimeConstantLeavesItsEnd) {
    InstantTags tags = instantTags(0, 1, 100);
    QList<UiTimeTag> batch;
    for (int i = 0; i < 1000; ++i) {
        batch.append({static_cast<quint8>(i % 2), i});
    }
    tags.addBatch(batch);
    ASSERT_EQ(tags.sourceTags().size(), 50U);
    ASSERT_EQ(tags.targetTags().size(), 51U);
    EXPECT_EQ(tags.sourceTags().front(), 900);
    EXPECT_EQ(tags.targetTags().front(), 899);
}

TEST(InstantTags, AreForgottenByAReset) {
    InstantTags tags = instantTags(0, 1, 100);
    tags.addBatch({{0, 1}, {1, 2}});
    tags.reset(1, 0, 10);
    EXPECT_TRUE(tags.sourceTags().empty());
    EXPECT_TRUE(tags.targetTags().empty());
    tags.addBatch({{0, 1}, {1, 2}, {1, 12}});
    EXPECT_EQ(timesOf(tags.sourceTags()), (Times{2, 12})) << "the roles are exchanged";
    EXPECT_EQ(timesOf(tags.targetTags()), Times()) << "and the window is that of the reset";
}

TEST(InstantTags, OfEqualOrUnknownInputsAreNone) {
    for (const auto& [source, target] : {std::pair{0, 0}, {3, 3}, {0, 4}, {4, 0}, {255, 1}, {7, 7}}) {
        InstantTags tags = instantTags(source, target, 100);
        tags.addBatch({{0, 1}, {1, 1}, {3, 1}, {4, 1}, {7, 1}, {255, 1}});
        EXPECT_TRUE(tags.sourceTags().empty()) << source << " " << target;
        EXPECT_TRUE(tags.targetTags().empty()) << source << " " << target;
    }
}

TEST(InstantTags, AreAMillionOfAnInputAtMost) {
    InstantTags tags = instantTags(0, 1, 1'000'000'000);
    constexpr qint64 kTags = 1'300'000;
    constexpr qint64 kPiece = 70'000;
    qint64 first = 0;
    while (first < kTags) {
        const qint64 last = std::min(first + kPiece, kTags);
        QList<UiTimeTag> batch;
        for (qint64 i = first; i < last; ++i) {
            batch.append({0, i});
            if (i % 2 == 0) {
                batch.append({1, i});
            }
        }
        tags.addBatch(batch);
        first = last;
        ASSERT_EQ(tags.sourceTags().size(), std::min(static_cast<std::size_t>(last), kMost));
    }
    EXPECT_EQ(tags.sourceTags().front(), 300'000);
    EXPECT_EQ(tags.sourceTags().back(), kTags - 1);
    EXPECT_EQ(tags.targetTags().size(), 650'000U);
    EXPECT_EQ(tags.targetTags().front(), 0);
    QList<UiTimeTag> batch;
    for (qint64 i = 0; i < 1'000'007; ++i) {
        batch.append({1, kTags + i});
    }
    tags.addBatch(batch);
    EXPECT_EQ(tags.targetTags().size(), kMost) << "also of one batch";
    EXPECT_EQ(tags.targetTags().front(), kTags + 7);
    EXPECT_EQ(tags.sourceTags().size(), kMost);
}

TEST(InstantTags, AgreeWithTheDefinitionAfterEachBatchOfRandomRuns) {
    RandomSource random(3);
    for (int round = 0; round < 400; ++round) {
        const int source = random.between(0, 3);
        const int target = (source + random.between(1, 3)) % 4;
        const int gap = random.between(0, 200);
        const int grid = random.between(1, 4);
        const Times sources =
            qorn::testing::randomTimes(random, random.below(400), random.between(-500, 500), gap, grid);
        const Times targets = qorn::testing::randomTimes(random, random.below(400), random.between(-500, 500),
                                                         random.between(0, 200), grid);
        const qint64 window = random.between(1, random.chance(0.5) ? 300 : 20'000);
        InstantTags tags = instantTags(source, target, window);
        ReferenceTags reference(source, target, window);
        // Inputs apart by less than the window, and by their times.
        const StreamPlan plan{StreamPlan::Mixing::ByTime, source, target, random.between(0, 5)};
        for (const QList<UiTimeTag>& batch :
             cutAnywhere(mixedStream(sources, targets, plan, random), random.between(0, 90), random)) {
            tags.addBatch(batch);
            reference.addBatch(batch);
            ASSERT_EQ(timesOf(tags.sourceTags()), reference.sourceTags()) << "round " << round;
            ASSERT_EQ(timesOf(tags.targetTags()), reference.targetTags()) << "round " << round;
        }
    }
}

TEST(InstantTags, OfInputsFarApartInTimeAreThoseOfTheLaterOne) {
    RandomSource random(4);
    for (const auto mixing :
         {StreamPlan::Mixing::Random, StreamPlan::Mixing::SourceAhead, StreamPlan::Mixing::TargetAhead}) {
        const Times sources = qorn::testing::randomTimes(random, 500, 0, 100);
        const Times targets = qorn::testing::randomTimes(random, 500, 0, 100);
        InstantTags tags = instantTags(0, 1, 2000);
        ReferenceTags reference(0, 1, 2000);
        for (const QList<UiTimeTag>& batch :
             cutAnywhere(mixedStream(sources, targets, {mixing, 0, 1, 3}, random), 20, random)) {
            tags.addBatch(batch);
            reference.addBatch(batch);
            ASSERT_EQ(timesOf(tags.sourceTags()), reference.sourceTags());
            ASSERT_EQ(timesOf(tags.targetTags()), reference.targetTags());
        }
    }
}

TEST(InstantTags, AreRightAtTheEndsOfTheRange) {
    for (const std::int64_t window : {std::int64_t{1}, std::int64_t{1000}, kLatest}) {
        for (const Times& times :
             {Times{kEarliest, kEarliest + 1, kEarliest + 1000}, Times{kLatest - 1000, kLatest - 1, kLatest},
              Times{kEarliest, -1, 0, 1, kLatest}}) {
            InstantTags tags = instantTags(0, 1, window);
            ReferenceTags reference(0, 1, window);
            for (const qint64 time : times) {
                const QList<UiTimeTag> batch{{0, time}, {1, time}};
                tags.addBatch(batch);
                reference.addBatch(batch);
                EXPECT_EQ(timesOf(tags.sourceTags()), reference.sourceTags()) << window << " " << time;
                EXPECT_EQ(timesOf(tags.targetTags()), reference.targetTags()) << window << " " << time;
            }
        }
    }
}

TEST(InstantTags, OfARunThatIsOverAreGoneSoonAfterTimeHasSteppedBack) {
    for (const qint64 step : {qint64{5000}, qint64{1'000'000}, qint64{4'000'000'000'000}}) {
        for (const qsizetype size : {1, 7, 1000}) {
            RandomSource random(5);
            InstantTags tags = instantTags(0, 1, 1000);
            ReferenceTags reference(0, 1, 1000);
            qint64 start = 0;
            for (int run = 0; run < 4; ++run) {
                const Times sources = qorn::testing::randomTimes(random, 200, start, 100);
                const Times targets = qorn::testing::randomTimes(random, 200, start, 100);
                const QList<UiTimeTag> stream =
                    mixedStream(sources, targets, {StreamPlan::Mixing::ByTime, 0, 1, 3}, random);
                reference = ReferenceTags(0, 1, 1000);
                for (qsizetype at = 0; at < stream.size(); at += size) {
                    tags.addBatch(stream.mid(at, size));
                    reference.addBatch(stream.mid(at, size));
                    if (at > 100) { // both inputs have stepped, and time has gone on by more than the window
                        ASSERT_EQ(timesOf(tags.sourceTags()), reference.sourceTags()) << step << " " << at;
                        ASSERT_EQ(timesOf(tags.targetTags()), reference.targetTags()) << step << " " << at;
                    }
                }
                EXPECT_EQ(timesOf(tags.sourceTags()), reference.sourceTags()) << step;
                start = std::max(sources.back(), targets.back()) - step;
            }
        }
    }
}

TEST(InstantTags, TimesInNoOrderAreSurvivedWithinTheLimit) {
    RandomSource random(6);
    InstantTags tags = instantTags(0, 1, 1000);
    for (int batchNumber = 0; batchNumber < 300; ++batchNumber) {
        QList<UiTimeTag> batch;
        for (int i = 0; i < 1000; ++i) {
            const qint64 time =
                random.chance(0.3) ? static_cast<qint64>(random.bits()) : random.between(-5000, 5000);
            batch.append({static_cast<quint8>(random.below(3)), time});
        }
        tags.addBatch(batch);
        ASSERT_LE(tags.sourceTags().size(), kMost);
        ASSERT_LE(tags.targetTags().size(), kMost);
    }
    for (qint64 i = 0; i < 5; ++i) {
        tags.addBatch({{0, 1'000'000 + 1000 * i}, {1, 1'000'000 + 1000 * i}});
    }
    for (const Times& held : {timesOf(tags.sourceTags()), timesOf(tags.targetTags())}) {
        EXPECT_EQ(held, (Times{1'003'000, 1'004'000}));
    }
}

} // namespace
} // namespace qorn::timetagger::gui
