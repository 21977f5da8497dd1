// The time axis of what is read: over counter wraps, silences, steps and parts.
#include "StreamFileReader.h"

#include "ComparedDecoder.h"
#include "Error.h"
#include "StreamDecoder.h"
#include "StreamFileReading.h"
#include "StreamFiles.h"
#include "StreamHeaders.h"
#include "TagGenerator.h"
#include "TagStreamEncoder.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace qorn::timing {
namespace {

using testing::Bytes;
using testing::generateTags;
using testing::HeaderText;
using testing::RandomSource;
using testing::readParts;
using testing::sameTags;
using testing::TagTraffic;
using testing::TemporaryFolder;
using Tags = std::vector<TimeTag>;

constexpr std::int64_t kWrap = 14315125997568;
constexpr std::int64_t kSecond = 1'000'000'000'000;

// Writes tags as parts of the given lengths (the last takes the rest) and reads them back.
class ReadTimes : public ::testing::Test {
protected:
    Tags readBack(const Tags& tags, const std::vector<std::size_t>& lengths = {}) {
        std::vector<std::string> parts;
        std::size_t at = 0;
        for (std::size_t number = 0; number <= lengths.size(); ++number) {
            const std::size_t length = number < lengths.size() ? lengths[number] : tags.size() - at;
            parts.push_back(folder.file("part" + std::to_string(number)));
            testing::writeRecording(parts.back(), std::span(tags).subspan(at, length));
            at += length;
        }
        StreamFileReader reader;
        const Tags all = readParts(reader, parts);
        doubts = reader.doubtful_gaps();
        return all;
    }

    TemporaryFolder folder;
    std::uint64_t doubts = 0;
};

struct Row {
    const char* name;
    Tags tags; // true times
    std::uint64_t doubts = 0;
};

void PrintTo(const Row& value, std::ostream* out) {
    *out << value.name;
}

class RightTimes : public ReadTimes, public ::testing::WithParamInterface<Row> {};

TEST_P(RightTimes, ComeBackInOneFileAndInParts) {
    const Row& row = GetParam();
    EXPECT_EQ(readBack(row.tags), row.tags);
    EXPECT_EQ(doubts, row.doubts);
    for (std::size_t first = 0; first <= row.tags.size(); ++first) {
        EXPECT_EQ(readBack(row.tags, {first}), row.tags) << "first part of " << first;
        EXPECT_EQ(doubts, row.doubts) << "first part of " << first;
    }
    EXPECT_EQ(readBack(row.tags, std::vector<std::size_t>(row.tags.size(), 1)), row.tags);
}

// A tick of input 1 every 5 s from `first` on, so that the stream as a whole is never silent for long.
Tags ticks(std::int64_t first, int count, Tags others) {
    for (int tick = 0; tick < count; ++tick) {
        others.push_back({0, first + tick * 5 * kSecond});
    }
    std::stable_sort(others.begin(), others.end(), [](const TimeTag& left, const TimeTag& right) {
        return left.timestamp_ps < right.timestamp_ps;
    });
    return others;
}

INSTANTIATE_TEST_SUITE_P(
    Streams, RightTimes,
    ::testing::Values(
        Row{"OneTag", {{2, kWrap - 1}}}, Row{"TheFirstAtZero", {{0, 0}, {1, 0}, {2, 1}}},
        Row{"OverTheWrap", {{0, kWrap - 1}, {0, kWrap}, {0, kWrap + 1}}},
        Row{"OverTheWrapOnAnotherInput", {{0, kWrap - 5}, {1, kWrap + 5}, {2, kWrap + 5}, {3, kWrap + 6}}},
        Row{"OverManyWraps", ticks(3 * kSecond, 40, {})},
        Row{"AnInputSilentOverAWrap", ticks(0, 9, {{1, kSecond}, {1, 17 * kSecond}, {1, 31 * kSecond}})},
        Row{"AnInputSilentForAMinute", ticks(0, 20, {{3, 7}, {3, 70 * kSecond}, {3, 70 * kSecond + 1}})},
        Row{"AnInputThatBeginsLate", ticks(0, 20, {{2, 61 * kSecond}, {2, 62 * kSecond}})},
        Row{"AllInputsTakeTurns",
            ticks(0, 30, {{1, 20 * kSecond}, {2, 50 * kSecond}, {3, 90 * kSecond}, {1, 130 * kSecond}})},
        Row{"SmallStepsBack", {{0, 1000}, {1, 400}, {0, 1000}, {2, 999}, {3, 5}, {0, 1001}}},
        Row{"SmallStepsBackOverTheWrap", {{0, kWrap - 9}, {0, kWrap + 4}, {1, kWrap - 3}, {2, kWrap + 3}}},
        Row{"AStepBackOverTheFirstWord", {{0, 5}, {1, -10}, {1, 20}, {0, 30}}},
        Row{"ASilenceOfAlmostHalfAWrap",
            {{0, kWrap - 3 * kSecond}, {0, kWrap + 4 * kSecond}, {1, kWrap + 11 * kSecond}}},
        Row{"AStepBackOfASecond", {{0, 20 * kSecond % kWrap}, {1, 20 * kSecond % kWrap - kSecond}}},
        Row{"AStepBackOfMoreThanASecond", {{0, 9 * kSecond}, {1, 8 * kSecond - 1}, {0, 9 * kSecond + 1}}, 1},
        Row{"ALargeStepBackAndBoundToGoOn",
            {{0, 9 * kSecond}, {1, 4 * kSecond}, {2, 5 * kSecond}, {0, 6 * kSecond}, {0, 10 * kSecond}},
            1},
        Row{"TwoSteps",
            {{0, 9 * kSecond}, {1, 4 * kSecond}, {0, 9 * kSecond + 1}, {1, 5 * kSecond}, {0, 10 * kSecond}},
            2}),
    [](const auto& test) { return test.param.name; });

TEST_F(ReadTimes, ASilenceOfTheWholeStreamBeyondHalfAWrapLeavesDoubt) {
    // 8 s of silence look like a step back by the rest of the wrap.
    const Tags sent{{0, kSecond}, {1, 9 * kSecond}, {2, 9 * kSecond + 5}, {0, 10 * kSecond}};
    const Tags read = readBack(sent);
    EXPECT_EQ(doubts, 1U);
    ASSERT_EQ(read.size(), sent.size());
    EXPECT_EQ(read[0], sent[0]);
    for (std::size_t index = 1; index < sent.size(); ++index) {
        EXPECT_EQ(read[index].timestamp_ps, sent[index].timestamp_ps - kWrap); // goes on evenly
    }
    EXPECT_EQ(readBack(sent, {1}), read) << "also between parts";
    EXPECT_EQ(doubts, 1U);
}

TEST_F(ReadTimes, BitsAboveTheWrapAreReduced) {
    // The field has room for more than a period of the counter.
    const std::string path = folder.file("a.qornts");
    testing::writeStreamFile(path, HeaderText().json(),
                             testing::raw64Stream({testing::raw64Picoseconds(0, kWrap + 7),
                                                   testing::raw64Picoseconds(1, (std::uint64_t{1} << 44) - 1),
                                                   testing::raw64Picoseconds(2, 8)}));
    StreamFileReader reader;
    const std::int64_t largest = (std::int64_t{1} << 44) - 1 - kWrap;
    EXPECT_EQ(readParts(reader, {path}), (Tags{{0, 7}, {1, largest}, {2, 8}}));
}

// --- random streams ----------------------------------------------------------------------------------------

// Whether each input starts in the first wrap and is never silent for half a period.
bool decoderIsRight(const Tags& tags) {
    std::array<std::int64_t, 4> last{-1, -1, -1, -1};
    for (const TimeTag& tag : tags) {
        std::int64_t& before = last[tag.channel];
        if (before < 0 ? tag.timestamp_ps >= kWrap : tag.timestamp_ps - before >= kWrap / 2) {
            return false;
        }
        before = tag.timestamp_ps;
    }
    return true;
}

// Tags that come a little late against those of other inputs, as the instrument's banks may do it.
void disorder(Tags& tags, RandomSource& random) {
    for (std::size_t index = 1; index < tags.size(); ++index) {
        if (tags[index - 1].channel != tags[index].channel && random.chance(0.2)) {
            std::swap(tags[index - 1], tags[index]);
        }
    }
}

Tags decodedBy(const StreamFileHeader& header, const Bytes& bytes) {
    StreamDecoder decoder(header);
    const auto tags = decoder.feed(bytes);
    return {tags.begin(), tags.end()};
}

TEST_F(ReadTimes, RandomStreamsComeBackAndEqualTheDecoderWhereThatIsRight) {
    int equal = 0;
    int better = 0;
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        RandomSource random(seed);
        TagTraffic traffic;
        traffic.seed = seed;
        traffic.mask = random.between(1, 15);
        traffic.count = 3000;
        traffic.mean_gap_ps = random.chance(0.5) ? 4e10 : 4e8;
        traffic.start_ps = static_cast<std::int64_t>(random.below(kWrap / 2));
        traffic.burst_chance = 0.1;
        traffic.pause_chance = 0.003;
        traffic.pause_ps = 5 * kSecond;
        Tags sent = generateTags(traffic);
        if (seed % 3 == 0) { // one input is seen a few times only
            const auto rare = static_cast<std::uint8_t>(random.below(4));
            std::size_t number = 0;
            std::erase_if(sent, [&](const TimeTag& tag) {
                return tag.channel == rare && traffic.mask != 1 << rare && number++ % 200 != 0;
            });
        }
        std::int64_t silence = 0;
        for (std::size_t index = 1; index < sent.size(); ++index) {
            silence = std::max(silence, sent[index].timestamp_ps - sent[index - 1].timestamp_ps);
        }
        if (silence > 7 * kSecond || sent.front().timestamp_ps >= kWrap) {
            continue;
        }
        if (traffic.mean_gap_ps < 1e9) {
            disorder(sent, random);
        }
        EXPECT_TRUE(sameTags(sent, testing::nearestToTheLatest(sent)))
            << "the test's own rule, seed " << seed;
        const Tags decoded =
            decodedBy(testing::raw64Header("ps"), testing::encodeRaw64Picoseconds(sent).bytes);
        const std::size_t cut = random.below(sent.size());
        EXPECT_TRUE(sameTags(sent, readBack(sent, {cut, (sent.size() - cut) / 2}))) << "seed " << seed;
        if (decoderIsRight(sent)) {
            ++equal;
            EXPECT_TRUE(sameTags(decoded, readBack(sent))) << "seed " << seed;
        } else {
            better += sameTags(sent, decoded) ? 0 : 1;
        }
    }
    EXPECT_GE(equal, 10);
    EXPECT_GE(better, 5);
}

TEST_F(ReadTimes, RandomWordsFollowTheRule) {
    // Whatever stands in the words: steps of any size.
    RandomSource random(3);
    Tags words;
    for (int index = 0; index < 300'000; ++index) {
        words.push_back({static_cast<std::uint8_t>(random.below(4)),
                         static_cast<std::int64_t>(random.below(static_cast<std::uint64_t>(kWrap)))});
    }
    EXPECT_TRUE(sameTags(testing::nearestToTheLatest(words), readBack(words, {100'000})));
    EXPECT_GT(doubts, 1000U);
}

// --- the other formats -------------------------------------------------------------------------------------

struct Format {
    const char* name;
    StreamFileHeader header;
    HeaderText text;
};

void PrintTo(const Format& value, std::ostream* out) {
    *out << value.name;
}

class ReadFormat : public ::testing::TestWithParam<Format> {
protected:
    Bytes encode(Tags& tags) const {
        switch (GetParam().header.format) {
        case StreamFormat::Raw64:
            return testing::encodeRaw64CoarseFine(tags).bytes;
        case StreamFormat::Delta32:
            return testing::encodeDelta32(tags, 0, 5).bytes;
        case StreamFormat::PackedDelta:
            break;
        }
        return testing::encodePacked(tags, {.sync_every = 1000, .seed = 5}).bytes;
    }

    TemporaryFolder folder;
    StreamFileReader reader;
};

TEST_P(ReadFormat, GoesThroughTheDecoder) {
    Tags sent = generateTags({.seed = 4, .count = 400'000, .mean_gap_ps = 1.6e8, .resolution_ps = 8});
    ASSERT_GT(sent.back().timestamp_ps, kWrap);
    const Bytes bytes = encode(sent);
    const std::string path = folder.file("whole.qornts");
    testing::writeStreamFile(path, GetParam().text.json(), bytes);
    const Tags read = readParts(reader, {path});
    EXPECT_TRUE(sameTags(sent, read));
    EXPECT_TRUE(sameTags(decodedBy(GetParam().header, bytes), read));
}

TEST_P(ReadFormat, GoesOnInTheNextPart) {
    Tags sent = generateTags({.seed = 6, .count = 30'000, .mean_gap_ps = 1e7, .resolution_ps = 8});
    const Bytes bytes = encode(sent);
    const std::size_t cut = bytes.size() / 16 * 8; // between records, but for packed ones
    const std::string first = folder.file("first.qornts");
    const std::string second = folder.file("second.qornts");
    testing::writeStreamFile(first, GetParam().text.json(), std::span(bytes).first(cut));
    testing::writeStreamFile(second, GetParam().text.json(), std::span(bytes).subspan(cut));
    EXPECT_TRUE(sameTags(sent, readParts(reader, {first, second})));
}

// Of whole bytes, as the packed one is not.
class ReadFormatOfBytes : public ReadFormat {};

TEST_P(ReadFormatOfBytes, GoesOnBehindAPartThatIsCutInARecord) {
    Tags sent = generateTags({.seed = 6, .count = 3000, .mean_gap_ps = 1e7, .resolution_ps = 8});
    const Bytes bytes = encode(sent);
    const std::size_t whole = bytes.size() / 16 * 8;
    const std::string first = folder.file("first.qornts");
    const std::string second = folder.file("second.qornts");
    testing::writeStreamFile(first, GetParam().text.json(), std::span(bytes).first(whole + 3));
    testing::writeStreamFile(second, GetParam().text.json(), std::span(bytes).subspan(whole));
    Tags all;
    const auto readOn = [&] {
        for (auto tags = reader.read(); !tags.empty(); tags = reader.read()) {
            all.insert(all.end(), tags.begin(), tags.end());
        }
    };
    reader.open(first);
    EXPECT_THROW(readOn(), Error);
    reader.open(second);
    readOn();
    EXPECT_TRUE(sameTags(sent, all)) << "the half record is not glued to the next part";
}

const Format kCoarseAndFine{"CoarseAndFine", testing::raw64Header("raw_cf"),
                            HeaderText().setText("raw64_tag_format", "raw_cf")};
const Format kDelta32{"Delta32", testing::delta32Header(), HeaderText().setText("stream_format", "delta32")};
const Format kPackedDelta{"PackedDelta", testing::packedHeader(StreamMode::External, 15),
                          HeaderText().setText("stream_format", "packed_delta")};

INSTANTIATE_TEST_SUITE_P(Formats, ReadFormat, ::testing::Values(kCoarseAndFine, kDelta32, kPackedDelta),
                         [](const auto& test) { return test.param.name; });
INSTANTIATE_TEST_SUITE_P(Formats, ReadFormatOfBytes, ::testing::Values(kCoarseAndFine, kDelta32),
                         [](const auto& test) { return test.param.name; });

TEST_F(ReadTimes, ACutWordOfDelta32IsToldToo) {
    const std::string path = folder.file("cut.qornts");
    Tags sent = generateTags({.seed = 6, .count = 500, .mean_gap_ps = 1e6});
    Bytes bytes = testing::encodeDelta32(sent, 0, 5).bytes;
    bytes.insert(bytes.end(), 3, 0);
    testing::writeStreamFile(path, HeaderText().setText("stream_format", "delta32").json(), bytes);
    StreamFileReader reader;
    reader.open(path);
    Tags all;
    try {
        for (auto tags = reader.read(); !tags.empty(); tags = reader.read()) {
            all.insert(all.end(), tags.begin(), tags.end());
        }
        ADD_FAILURE() << "nothing was told";
    } catch (const std::exception& error) {
        EXPECT_EQ(std::string(error.what()), "StreamFileReader: " + path + ": the last record is cut off");
    }
    EXPECT_TRUE(sameTags(sent, all));
    EXPECT_TRUE(reader.read().empty());
}

} // namespace
} // namespace qorn::timing
