// What a companion says, against slow ways to find the same out.
#include "RecordingTally.h"

#include "Crc32.h"
#include "RecordTimes.h"
#include "StreamFileReader.h"
#include "StreamFiles.h"
#include "TagGenerator.h"
#include "TagWords.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>

namespace qorn::timing {
namespace {

using testing::Bytes;
using Tags = std::vector<TimeTag>;

constexpr std::int64_t kSecond = 1'000'000'000'000;
constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();
const Bytes kHead{'h', 'e', 'a', 'd'};

Bytes wordsOf(std::span<const TimeTag> tags) {
    Bytes words;
    appendDecodedQorntsTags(words, tags);
    return words;
}

std::uint32_t slowCrc(std::span<const std::uint8_t> bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
        }
    }
    return ~crc;
}

// As a recording does it: passes of tags, and pieces of words that have nothing to do with them.
RecordingTally tallyOf(const Tags& tags, std::size_t passTags = 1000, std::size_t pieceTags = 511) {
    RecordingTally tally(kHead);
    RecordTimes times;
    for (std::size_t first = 0; first < tags.size(); first += passTags) {
        const auto pass = std::span(tags).subspan(first, std::min(passTags, tags.size() - first));
        for (const RecordTime& time : times.of(pass)) {
            tally.expect(RecordTime{first + time.record, time.time_ps});
        }
    }
    const Bytes words = wordsOf(tags);
    const std::size_t piece = pieceTags * kTagWordBytes;
    for (std::size_t at = 0; at < words.size(); at += piece) {
        tally.add(std::span(words).subspan(at, std::min(piece, words.size() - at)));
    }
    return tally;
}

// The times that a reader finds with the companion.
Tags readBack(const Tags& tags, const RecordingCompanion& companion) {
    const testing::TemporaryFolder folder;
    testing::writeRecording(folder.file("a.qornts"), tags);
    StreamFileReader reader;
    reader.open(folder.file("a.qornts"));
    reader.use_times(companion);
    Tags all;
    for (auto more = reader.read(); !more.empty(); more = reader.read()) {
        all.insert(all.end(), more.begin(), more.end());
    }
    EXPECT_FALSE(reader.times_misfit());
    return all;
}

TEST(Crc32, IsTheOneOfTheTextbooks) {
    const Bytes digits{'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(crc32_of(digits), 0xCBF43926U);
    EXPECT_EQ(crc32_of({}), 0U);
    EXPECT_EQ(crc32_of(std::span(digits).subspan(4), crc32_of(std::span(digits).first(4))), 0xCBF43926U);
    EXPECT_EQ(crc32_joined(crc32_of(std::span(digits).first(4)), crc32_of(std::span(digits).subspan(4)), 5),
              0xCBF43926U);
}

TEST(RecordTimes, AreToldOfTheFirstAndOfWhatIsHalfAPeriodAhead) {
    RecordTimes times;
    EXPECT_TRUE(times.of({}).empty());
    EXPECT_EQ(times.latest_time(), std::nullopt);
    EXPECT_EQ(times.of(Tags{{0, 100 * kSecond}, {1, 107 * kSecond}, {0, 100 * kSecond}}),
              (std::vector<RecordTime>{{0, 100 * kSecond}}));
    EXPECT_TRUE(times.of(Tags{{0, 114 * kSecond}}).empty()) << "7 s from the latest";
    EXPECT_EQ(times.of(Tags{{0, 115 * kSecond}, {2, 123 * kSecond}, {2, 122 * kSecond}}),
              (std::vector<RecordTime>{{1, 123 * kSecond}}));
    EXPECT_EQ(times.latest_time(), 123 * kSecond);
    times.restart();
    EXPECT_TRUE(times.of({}).empty());
    EXPECT_EQ(times.of(Tags{{0, 122 * kSecond}, {0, 124 * kSecond}}),
              (std::vector<RecordTime>{{0, 122 * kSecond}}));
}

TEST(RecordTimes, AreToldOfTheUtmostStepsToo) {
    RecordTimes times;
    const Tags tags{{0, kEarliest}, {0, kLatest}, {0, kEarliest}, {0, 0}, {0, kHalfCoarseWrapPs}};
    EXPECT_EQ(times.of(tags).size(), tags.size());
    RecordTimes others;
    EXPECT_EQ(others.of(Tags{{0, 0}, {1, kHalfCoarseWrapPs}, {2, 0}}).size(), 3U)
        << "half a period has no side";
}

TEST(RecordTimes, TakeTheHostsClockForASilenceOfAllInputs) {
    constexpr std::int64_t kSilence = 40 * kSecond;
    constexpr std::int64_t kMissed = 2 * kCoarseWrapPs; // by a decoder of wrapping times
    for (const std::int64_t error : {-kSecond, std::int64_t{0}, kSecond}) {
        RecordTimes times;
        times.of(Tags{{0, 100 * kSecond}, {1, 101 * kSecond}});
        const std::int64_t next = 101 * kSecond + kSilence;
        EXPECT_EQ(times.of(Tags{{0, next - kMissed}, {1, next + 5 - kMissed}, {0, next + 9 - kMissed}},
                           kSilence + error),
                  (std::vector<RecordTime>{{0, next}}))
            << error;
        EXPECT_EQ(times.latest_time(), next + 9);
    }
    RecordTimes known;
    known.of(Tags{{0, 100 * kSecond}});
    EXPECT_EQ(known.of(Tags{{0, 140 * kSecond}}, kSilence), (std::vector<RecordTime>{{0, 140 * kSecond}}))
        << "the decoder knew";
    RecordTimes held;
    held.of(Tags{{0, 100 * kSecond}});
    EXPECT_TRUE(held.of(Tags{{0, 101 * kSecond}}, 10 * kSecond).empty()) << "they only came late";
    RecordTimes begin;
    EXPECT_EQ(begin.of(Tags{{0, 5}}, kSilence), (std::vector<RecordTime>{{0, 5}}));
}

// The host sees a silence begin late: to it, one of half a period is shorter.
TEST(RecordTimes, TakeTheHostsClockForTheShortestSilencesThatADecoderMisses) {
    constexpr std::int64_t kLag = kSecond / 10;
    constexpr std::int64_t kBegin = 100 * kSecond;
    for (const std::int64_t beyondHalf : {-2 * kSecond, -kLag, std::int64_t{-1}, std::int64_t{1}, kLag / 2,
                                          kLag, 2 * kLag, kSecond, 6 * kSecond}) {
        RecordTimes times;
        times.of(Tags{{0, kBegin}});
        const std::int64_t next = kBegin + kHalfCoarseWrapPs + beyondHalf;
        const std::int64_t missed = beyondHalf > 0 ? kCoarseWrapPs : 0;
        times.of(Tags{{0, next - missed}, {0, next - missed + 1}}, next - kBegin - kLag);
        EXPECT_EQ(times.latest_time(), next + 1) << beyondHalf;
    }
}

// Some inputs begin late, all but the first rest for long now and then; the stream as a whole never does.
TEST(RecordTimes, PutRightWhatStandsWholePeriodsTooEarly) {
    Tags sent = testing::generateTags({.seed = 21, .count = 400'000, .mean_gap_ps = 3e9});
    Tags delivered;
    Tags truth;
    std::array<std::int64_t, kChannels> last{};   // true time of an input's latest tag
    std::array<std::int64_t, kChannels> behind{}; // what a decoder makes of it
    const auto active = [](std::uint8_t channel, std::int64_t time) {
        return channel == 0 || time / kSecond % (40 * (channel + 1)) >= 30 * (channel + 1);
    };
    for (const TimeTag& tag : sent) {
        if (!active(tag.channel, tag.timestamp_ps)) {
            continue;
        }
        behind[tag.channel] += (tag.timestamp_ps - last[tag.channel]) / kCoarseWrapPs * kCoarseWrapPs;
        last[tag.channel] = tag.timestamp_ps;
        truth.push_back(tag);
        delivered.push_back({tag.channel, tag.timestamp_ps - behind[tag.channel]});
    }
    ASSERT_GT(truth.back().timestamp_ps, 200 * kSecond);
    ASSERT_GT(*std::max_element(behind.begin(), behind.end()), 5 * kCoarseWrapPs);
    const RecordingCompanion companion = tallyOf(delivered).companion(PartEnd::Operator);
    EXPECT_TRUE(companion.silences.empty());
    EXPECT_EQ(companion.last_time_ps, truth.back().timestamp_ps);
    EXPECT_EQ(readBack(delivered, companion), truth);
}

TEST(RecordingTally, CountsChannelsTimesAndCrcs) {
    const Tags tags = testing::generateTags({.seed = 5, .count = 200'000, .mean_gap_ps = 2e8});
    const RecordingCompanion companion = tallyOf(tags).companion(PartEnd::Operator);
    EXPECT_EQ(companion.records, tags.size());
    EXPECT_EQ(companion.head_bytes, 4U);
    EXPECT_EQ(companion.head_crc, slowCrc(kHead));
    std::array<std::uint64_t, kChannels> counts{};
    for (const TimeTag& tag : tags) {
        ++counts[tag.channel];
    }
    EXPECT_EQ(companion.tags_of_channel, counts);
    EXPECT_EQ(companion.first_time_ps, tags.front().timestamp_ps);
    EXPECT_EQ(companion.last_time_ps, tags.back().timestamp_ps);
    EXPECT_EQ(companion.spacing, RecordingCompanion::kFirstSpacing);
    ASSERT_EQ(companion.checkpoints.size(), 4U);
    const Bytes words = wordsOf(tags);
    for (std::size_t index = 0; index < 4; ++index) {
        const RecordCheckpoint& checkpoint = companion.checkpoints[index];
        EXPECT_EQ(checkpoint.record, index * 65536);
        EXPECT_EQ(checkpoint.time_ps, tags[checkpoint.record].timestamp_ps);
        const std::size_t begin = index == 0 ? 0 : (index - 1) * 65536 * 8;
        EXPECT_EQ(checkpoint.crc, slowCrc(std::span(words).subspan(begin, checkpoint.record * 8 - begin)));
    }
    EXPECT_EQ(companion.tail_crc, slowCrc(std::span(words).subspan(3 * 65536 * 8)));
    EXPECT_TRUE(companion.silences.empty());
}

TEST(RecordingTally, OfNothingHasNoTimes) {
    const RecordingCompanion companion = RecordingTally(kHead).companion(PartEnd::Duration);
    EXPECT_EQ(companion.records, 0U);
    EXPECT_FALSE(companion.first_time_ps.has_value());
    EXPECT_TRUE(companion.checkpoints.empty());
    EXPECT_EQ(companion.tail_crc, 0U);
}

TEST(RecordingTally, IsTheSameInWhateverPiecesTheRecordsCome) {
    const Tags tags = testing::generateTags(
        {.seed = 6, .count = 140'000, .mean_gap_ps = 2e8, .pause_chance = 1e-3, .pause_ps = 90 * kSecond});
    const RecordingCompanion whole = tallyOf(tags, tags.size(), tags.size()).companion(PartEnd::Open);
    EXPECT_GT(whole.silences.size(), 50U);
    EXPECT_EQ(tallyOf(tags, 1, 1).companion(PartEnd::Open), whole);
    EXPECT_EQ(tallyOf(tags, 777, 512).companion(PartEnd::Open), whole);
    EXPECT_EQ(tallyOf(tags, 65536, 4095).companion(PartEnd::Open), whole);
}

class TrueTimes : public ::testing::TestWithParam<std::uint64_t> {};

TEST_P(TrueTimes, OfAnyStreamComeBack) {
    testing::RandomSource random(GetParam());
    Tags tags;
    std::int64_t time = static_cast<std::int64_t>(random.below(1'000'000)) * kSecond;
    for (int number = 0; number < 3000; ++number) {
        const auto kind = random.below(20);
        const auto step = static_cast<std::int64_t>(random.below(200) * static_cast<std::uint64_t>(kSecond));
        const auto small = static_cast<std::int64_t>(random.below(4'000'000'000));
        time += kind == 0 ? step : kind == 1 ? -100 * small : small; // back by 0.4 s at most
        time += kind == 2 ? kHalfCoarseWrapPs : 0;
        tags.push_back({static_cast<std::uint8_t>(random.below(4)), time});
    }
    const RecordingCompanion companion = tallyOf(tags, 1 + random.below(300)).companion(PartEnd::Operator);
    EXPECT_TRUE(readBack(tags, companion) == tags);
    EXPECT_EQ(companion.last_time_ps, tags.back().timestamp_ps);
}

INSTANTIATE_TEST_SUITE_P(Seeds, TrueTimes, ::testing::Range<std::uint64_t>(1, 21));

TEST(RecordingTally, TakesTheUtmostTimes) {
    const Tags tags{{0, 0}, {1, kLatest}, {2, kEarliest}, {3, kLatest - 1}, {0, -1}};
    EXPECT_EQ(readBack(tags, tallyOf(tags).companion(PartEnd::Operator)), tags);
}

TEST(RecordingTally, DoublesTheSpacingWhenTheListIsFull) {
    constexpr std::size_t kRecords = 65536 * 4097 + 100;
    RecordingTally tally(kHead);
    tally.expect(RecordTime{0, 77 * kSecond});
    Tags tags(65536);
    for (std::size_t index = 0; index < tags.size(); ++index) {
        tags[index] = {static_cast<std::uint8_t>(index % 4), static_cast<std::int64_t>(index)};
    }
    // The same words over and over: a period later each time would be a silence, so all stand at one place.
    tags.front().timestamp_ps = 77 * kSecond % kCoarseWrapPs;
    for (std::size_t index = 1; index < tags.size(); ++index) {
        tags[index].timestamp_ps = tags.front().timestamp_ps + static_cast<std::int64_t>(index);
    }
    const Bytes words = wordsOf(tags);
    std::uint32_t twoBlocks = crc32_of(words, crc32_of(words));
    for (std::size_t block = 0; block < 4097; ++block) {
        tally.add(words);
        const RecordingCompanion companion =
            block == 4095 ? tally.companion(PartEnd::Open) : RecordingCompanion{};
        EXPECT_TRUE(block != 4095 || companion.checkpoints.size() == 4096);
    }
    tally.add(std::span(words).first(100 * kTagWordBytes));
    const RecordingCompanion companion = tally.companion(PartEnd::Open);
    EXPECT_EQ(companion.records, kRecords);
    EXPECT_EQ(companion.spacing, 131072U);
    ASSERT_EQ(companion.checkpoints.size(), 2049U);
    for (std::size_t index = 0; index < companion.checkpoints.size(); ++index) {
        EXPECT_EQ(companion.checkpoints[index].record, index * 131072);
        EXPECT_EQ(companion.checkpoints[index].time_ps, 77 * kSecond);
        EXPECT_EQ(companion.checkpoints[index].crc, index == 0 ? 0 : twoBlocks) << index;
    }
    EXPECT_EQ(companion.tail_crc, crc32_of(std::span(words).first(100 * kTagWordBytes), crc32_of(words)));
}

TEST(RecordingTally, KeepsTheFirstSilencesAndTheTimesOfCheckpointsBehindThem) {
    Tags tags;
    for (std::int64_t number = 0; number < 300'000; ++number) {
        tags.push_back({0, number * 10 * kSecond % (kLatest / 2)});
    }
    const RecordingCompanion companion = tallyOf(tags).companion(PartEnd::Operator);
    EXPECT_EQ(companion.silences.size(), RecordingCompanion::kMostSilences);
    EXPECT_EQ(companion.silences_untold, tags.size() - 1 - RecordingCompanion::kMostSilences);
    const Tags found = readBack(tags, companion);
    ASSERT_EQ(found.size(), tags.size());
    EXPECT_TRUE(std::equal(found.begin(), found.begin() + RecordingCompanion::kMostSilences, tags.begin()));
    EXPECT_EQ(companion.last_time_ps, tags.back().timestamp_ps);
    constexpr std::size_t kCheckpoint = 4 * 65536; // the first behind the told silences
    EXPECT_EQ(companion.checkpoints.back(), (RecordCheckpoint{kCheckpoint, tags[kCheckpoint].timestamp_ps,
                                                              companion.checkpoints.back().crc}));
    EXPECT_EQ(found[kCheckpoint], tags[kCheckpoint]);
}

TEST(RecordingTally, AddsUpLossesOfAStageWhenThereAreTooMany) {
    RecordingTally tally(kHead);
    tally.add(wordsOf(Tags(1'000'000, TimeTag{0, 0})));
    for (std::uint64_t number = 0; number < 5000; ++number) {
        tally.add(RecordingLoss{number, std::nullopt, number % 3 == 0 ? "reader" : "driver", number});
    }
    const RecordingCompanion companion = tally.companion(PartEnd::Open);
    EXPECT_LE(companion.losses.size(), RecordingCompanion::kMostLosses);
    EXPECT_EQ(companion.lost(), 5000U * 4999 / 2);
    std::uint64_t reader = 0;
    for (const RecordingLoss& loss : companion.losses) {
        reader += loss.stage == "reader" ? loss.count : 0;
    }
    EXPECT_EQ(reader, 3U * (1666 * 1667 / 2));
    EXPECT_EQ(companion.losses.front().record, 0U);
}

TEST(RecordingTally, PutsLossesBehindRecordsThatNeverReachedTheFileAtItsEnd) {
    RecordingTally tally(kHead);
    tally.expect(RecordTime{0, 5});
    tally.add(wordsOf(Tags{{0, 5}}));
    tally.add(RecordingLoss{1000, 5, "reader", 7});
    EXPECT_EQ(tally.companion(PartEnd::Error, "x").losses, (std::vector<RecordingLoss>{{1, 5, "reader", 7}}));
}

TEST(RecordScan, KnowsWordsThatAreNoTags) {
    Bytes words = wordsOf(Tags{{0, 5}, {1, 6}, {2, 7}});
    words[8] = 0x80;
    RecordScan scan;
    scan.scan(words);
    EXPECT_EQ(scan.records(), 3U);
    EXPECT_EQ(scan.bad_records(), 1U);
    EXPECT_EQ(scan.first_bad_record(), 1U);
    EXPECT_EQ(scan.tags_of_channel(), (std::array<std::uint64_t, kChannels>{1, 0, 1, 0}));
}

} // namespace
} // namespace qorn::timing
