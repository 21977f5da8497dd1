#include "SceneRun.h"
#include "SlowReader.h"
#include "StreamEncoder.h"
#include "TimeBase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

namespace qorn::simulator {

bool operator==(const Tag& a, const Tag& b) {
    return a.timePs == b.timePs && a.input == b.input;
}

std::ostream& operator<<(std::ostream& out, const Tag& tag) {
    return out << "input " << int{tag.input} << " at " << tag.timePs;
}

} // namespace qorn::simulator

namespace qorn::simulator::test {

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes encode(const EncoderSettings& settings, const std::vector<Tag>& tags,
             std::vector<Tag>* sent = nullptr) {
    ByteBuffer out;
    makeEncoder(settings)->encode(tags, out, sent);
    return {out.bytes().begin(), out.bytes().end()};
}

EncoderSettings packedSettings(int bits, int quantum, std::uint8_t mask = 15) {
    EncoderSettings settings;
    settings.deltaBits = static_cast<std::uint8_t>(bits);
    settings.quantumPs = static_cast<std::uint16_t>(quantum);
    settings.mask = mask;
    settings.syncPs = 10 * kPsPerMillisecond;
    settings.beaconPs = kPsPerSecond;
    return settings;
}

std::vector<Tag> everyPs(std::uint8_t input, std::int64_t from, std::int64_t step, int count) {
    std::vector<Tag> tags;
    for (int i = 0; i < count; ++i) {
        tags.push_back({from + i * step, input});
    }
    return tags;
}

std::size_t tagsOf(const std::vector<Tag>& tags, int input) {
    return static_cast<std::size_t>(
        std::count_if(tags.begin(), tags.end(), [&](const Tag& tag) { return tag.input == input; }));
}

std::size_t find(const std::vector<Tag>& tags, int input, std::int64_t fromPs) {
    const auto at = std::find_if(tags.begin(), tags.end(),
                                 [&](const Tag& tag) { return tag.input == input && tag.timePs >= fromPs; });
    return static_cast<std::size_t>(at - tags.begin());
}

TEST(PackedEncoder, StartsEachInputWithItsSyncAndARecordOfNoDelta) {
    // sync start, chunks 6, 0, 0, a record of 0 and one of 7 quanta, all of input 0
    const Bytes expected{0x3F, 0xFF, 0xE0, 0x00, 0x18, 0x00, 0x00, 0x00,
                         0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0xC0, 0x00};
    const Bytes bytes = encode(packedSettings(16, 8, 1), {{48, 0}, {104, 0}, {104, 0}});
    EXPECT_EQ(bytes, expected);
}

TEST(PackedEncoder, SendsDeltasBeyondItsBitsAsOverflowRecords) {
    // 10000 quanta: with 12 bits two overflow units of 4096 and 1808 on top
    std::vector<Tag> tags{{0, 2}, {80000, 2}};
    const Bytes bytes = encode(packedSettings(12, 8, 4), tags);
    const std::size_t bit = (1 + 4 + 1) * 15; // behind sync start, chunks and the first record
    const auto bitAt = [&](std::size_t n) { return bytes[n / 8] >> (7 - n % 8) & 1; };
    std::uint32_t record = 0;
    for (std::size_t n = bit; n < bit + 15; ++n) {
        record = record * 2 + static_cast<std::uint32_t>(bitAt(n));
    }
    EXPECT_EQ(record, 5u << 12 | 2u);
    EXPECT_EQ(readPacked(bytes, 12, 8), tags);
}

TEST(PackedEncoder, DoesNotSyncATagThatDoesNotMoveOn) {
    EncoderSettings settings = packedSettings(16, 8, 1);
    settings.syncRecords = 1; // due at every tag
    const std::vector<Tag> tags{{800, 0}, {807, 0}, {808, 0}, {809, 0}};
    const Bytes bytes = encode(settings, tags);
    // 5 records for the first tag, 1 for the second, which lies in the same quantum, 5 for the third, 1 again
    EXPECT_EQ(bytes.size(), 12u * 19 / 8);
    EXPECT_EQ(readPacked(bytes, 16, 8), (std::vector<Tag>{{800, 0}, {800, 0}, {808, 0}}));
}

TEST(PackedEncoder, RepeatsTheSyncOfEachInputAfterItsRecordsAndItsTime) {
    EncoderSettings settings = packedSettings(16, 8, 1);
    settings.syncRecords = 100;
    const Bytes byRecords = encode(settings, everyPs(0, 0, 80, 1001));
    EXPECT_EQ(byRecords.size(), (1001 + 11 * 4) * 19 / 8u);
    settings.syncRecords = 1000000;
    settings.syncPs = 8000;
    const Bytes byTime = encode(settings, everyPs(0, 0, 80, 1001));
    EXPECT_EQ(byTime.size(), (1001 + 11 * 4) * 19 / 8u);
}

TEST(PackedEncoder, SyncsOnceOnlyForQuantaBelowEightUnlessAsked) {
    EncoderSettings settings = packedSettings(16, 4, 1);
    settings.syncRecords = 10;
    EXPECT_EQ(encode(settings, everyPs(0, 0, 80, 1001)).size(), (1001 + 4) * 19 / 8u);
    settings.fineSyncPs = 8000;
    EXPECT_EQ(encode(settings, everyPs(0, 0, 80, 1001)).size(), (1001 + 101 * 4) * 19 / 8u);
}

TEST(PackedEncoder, TakesTheCounterWrapInADeltaAgainstTheFieldsSpan) {
    const std::int64_t before = kCounterWrapPs - 80000;
    const std::vector<Tag> tags{{before, 1}, {before + 400000, 1}, {before + 480000, 1}};
    const Bytes bytes = encode(packedSettings(31, 8, 2), {tags[0], tags[1], tags[2], tags[2]});
    // with 31 bits the chunks are two; the second tag has an overflow record for the span's excess
    const std::int64_t wire = (400000 + (kAbsoluteFieldSpan * 8 - kCounterWrapPs)) / 8;
    const std::vector<std::uint64_t> expected{3ull << 31 | 0x7FFFFFFF, // sync start
                                              2ull << 31 | ((before / 8) & 0x7FFFFFFF),
                                              2ull << 31 | before / 8 >> 31,
                                              2ull << 31, // the first tag
                                              3ull << 31 | wire >> 31,
                                              2ull << 31 | (wire & 0x7FFFFFFF),
                                              2ull << 31 | 10000};
    std::size_t bit = 0;
    for (const std::uint64_t record : expected) {
        std::uint64_t read = 0;
        for (int i = 0; i < 34; ++i, ++bit) {
            read = read * 2 + (bytes[bit / 8] >> (7 - bit % 8) & 1);
        }
        EXPECT_EQ(read, record);
    }
    EXPECT_EQ(readPacked(bytes, 31, 8), (std::vector<Tag>{tags[0], tags[1], tags[2], tags[2]}));
}

TEST(PackedEncoder, ShowsASyncStartAtEveryWrongBitPositionOncePerRound) {
    constexpr std::size_t kTags = 4000;
    EncoderSettings settings = packedSettings(16, 8);
    settings.syncRecords = 500;
    std::vector<Tag> tags;
    for (std::size_t i = 0; i < kTags; ++i) {
        tags.push_back({static_cast<std::int64_t>(i) * 90000 + static_cast<std::int64_t>(i * i % 7919),
                        static_cast<std::uint8_t>(i % 3)});
    }
    const auto startsSeen = [](const Bytes& bytes, std::size_t firstBit) {
        std::size_t starts = 0;
        for (std::size_t bit = firstBit; bit + 19 <= bytes.size() * 8; bit += 19) {
            std::uint32_t record = 0;
            for (std::size_t n = bit; n < bit + 19; ++n) {
                record = record * 2 + (bytes[n / 8] >> (7 - n % 8) & 1);
            }
            starts += (record & 0x1FFFF) == 0x1FFFF ? 1 : 0;
        }
        return starts;
    };
    const Bytes marked = encode(settings, tags);
    for (std::size_t wrong = 1; wrong < 19; ++wrong) {
        EXPECT_GE(startsSeen(marked, wrong), kTags / 500 - 1) << "bit " << wrong;
    }
    settings.marker = false;
    const Bytes plain = encode(settings, tags);
    EXPECT_EQ(startsSeen(plain, 8), 0u);
    const std::vector<Tag> fromMarked = readPacked(marked, 16, 8);
    const std::vector<Tag> fromPlain = readPacked(plain, 16, 8);
    EXPECT_GE(fromMarked.size() + 1, kTags);
    EXPECT_TRUE(std::equal(fromMarked.begin(), fromMarked.begin() + kTags - 1, fromPlain.begin()))
        << "a reader that is in place sees no difference";
}

TEST(PackedEncoder, TellsOfASilentInputWhenOneIsAloneAndOfNoneOtherwise) {
    constexpr std::int64_t kStep = 1000 * 1000; // 1 MHz
    const auto alone = [&](EncoderSettings settings) {
        std::vector<Tag> sent;
        encode(settings, everyPs(1, 0, kStep, 2500000), &sent);
        return sent;
    };
    const std::vector<Tag> sent = alone(packedSettings(16, 8));
    // at the start, and then every second
    EXPECT_EQ(tagsOf(sent, 0), 3u);
    EXPECT_EQ(tagsOf(sent, 2) + tagsOf(sent, 3), 0u);
    EXPECT_LE(find(sent, 0, 0), 20000u);
    EXPECT_EQ(tagsOf(alone(packedSettings(16, 8, 2)), 0), 0u) << "an input alone in its mask needs no other";
    EncoderSettings internal = packedSettings(16, 8);
    internal.internal = true;
    EXPECT_EQ(tagsOf(alone(internal), 0), 0u);
    EXPECT_EQ(tagsOf(alone(packedSettings(16, 1)), 0), 1u) << "without repeated syncs once is all";

    std::vector<Tag> both = everyPs(1, 0, kStep, 2500000);
    const std::vector<Tag> other = everyPs(3, 500, 40 * kStep, 62500);
    both.insert(both.end(), other.begin(), other.end());
    std::stable_sort(both.begin(), both.end(),
                     [](const Tag& a, const Tag& b) { return a.timePs < b.timePs; });
    std::vector<Tag> sentByBoth;
    encode(packedSettings(16, 8), both, &sentByBoth);
    EXPECT_EQ(sentByBoth.size(), both.size());
}

TEST(Delta32Encoder, WritesTheWordsOfTheFormat) {
    const Bytes expected{0xEB, 0x5A, 0x55, 0xAA, 0xAA, 0x00, 0x04, 0x1A, 0xCA, 0x00, 0x00, 0x00,
                         0x54, 0x00, 0x00, 0x00, 0x8A, 0x00, 0x00, 0x01, 0x54, 0x00, 0x00, 0x07};
    EncoderSettings settings;
    settings.format = StreamFormat::Delta32;
    EXPECT_EQ(encode(settings, {{1050, 2}, {1050 + 33554432 + 7, 2}}), expected);
}

TEST(Delta32Encoder, TakesTheCounterWrapAgainstTheNextMultipleOfTheField) {
    EncoderSettings settings;
    settings.format = StreamFormat::Delta32;
    const std::vector<Tag> tags{{kCounterWrapPs - 1000, 0}, {kCounterWrapPs + 500, 0}};
    const Bytes bytes = encode(settings, tags);
    constexpr std::int64_t kWire = 1500 + 1078036791296;
    const Bytes expected{0x8A,
                         0x00,
                         kWire >> 33 & 0xFF,
                         kWire >> 25 & 0xFF,
                         0x14 | (kWire >> 24 & 1),
                         kWire >> 16 & 0xFF,
                         kWire >> 8 & 0xFF,
                         kWire & 0xFF};
    ASSERT_EQ(bytes.size(), 24u);
    EXPECT_EQ(Bytes(bytes.begin() + 16, bytes.end()), expected);
}

TEST(Raw64Encoder, WritesPicosecondsModuloTheCounterWrap) {
    EncoderSettings settings;
    settings.format = StreamFormat::Raw64;
    const Bytes expected{0x60, 0x00, 0x00, 0x00, 0x07, 0x5B, 0xCD, 0x15, 0x20, 0x00, 0, 0, 0, 0, 0, 0x02};
    EXPECT_EQ(encode(settings, {{123456789, 3}, {kCounterWrapPs + 2, 1}}), expected);
}

TEST(Raw64Encoder, WritesTheTickBehindATagAndTheFineCodeOfItsPhase) {
    const DelayLines lines("SIM00001");
    ByteBuffer out;
    makeRawCodeEncoder(lines, 1)->encode(std::vector<Tag>{{1000 * 3333 - 37, 1}, {999 * 3333, 1}}, out,
                                         nullptr);
    const std::vector<RawWord> words = readRaw64Codes({out.bytes().begin(), out.bytes().end()});
    ASSERT_EQ(words.size(), 2u);
    EXPECT_EQ(words[0].input, 1);
    EXPECT_EQ(words[0].coarse, 1000u);
    EXPECT_EQ(words[0].fine, lines.fineCode(1, 1, 37));
    EXPECT_EQ(words[1].coarse, 999u);
    EXPECT_EQ(words[1].fine, lines.fineCode(1, 1, 0));
    EXPECT_GT(lines.fineCode(1, 1, 3332), lines.fineCode(1, 1, 37));
}

struct Format {
    const char* name;
    StreamFormat format;
    int bits;
    int quantum;
    int mask;
};

class WholeStreams : public testing::TestWithParam<Format> {};

std::vector<Tag> readAny(const Format& what, const Bytes& bytes) {
    switch (what.format) {
    case StreamFormat::Packed:
        return readPacked(bytes, what.bits, what.quantum);
    case StreamFormat::Delta32:
        return readDelta32(bytes);
    case StreamFormat::Raw64:
        break;
    }
    return readRaw64Ps(bytes);
}

StreamSetup setupOf(const Format& what) {
    StreamSetup setup;
    setup.format = what.format;
    setup.deltaBits = what.bits;
    setup.quantumPs = what.quantum;
    setup.mask = what.mask;
    return setup;
}

const std::string kBusyScene =
    poisson(1, 1e6) + "," + poisson(2, 2e5) + "," + poisson(3, 1e5) + "," + poisson(4, 5e5);

TEST_P(WholeStreams, AreReadBackTagByTagAsTheyWereSent) {
    const StreamResult result = runStream(kBusyScene, 0.2, setupOf(GetParam()));
    const std::vector<Tag> read = readAny(GetParam(), result.bytes);
    ASSERT_GT(read.size(), 10000u);
    // a packed stream may end inside the byte that holds the last record
    ASSERT_LE(result.truth.size() - read.size(), 1u);
    EXPECT_TRUE(std::equal(read.begin(), read.end(), result.truth.begin()));
}

TEST_P(WholeStreams, AreReadBackOverACounterWrap) {
    // the wrap comes 10 ms behind the start
    const Format& what = GetParam();
    const std::string start = R"("start_coarse": 4291966796)";
    const StreamResult result = runStream(kBusyScene, 0.05, setupOf(what), start);
    const std::vector<Tag> read = readAny(what, result.bytes);
    ASSERT_GT(read.size(), 5000u);
    ASSERT_LT(result.truth.front().timePs, kCounterWrapPs);
    ASSERT_GT(result.truth.back().timePs, kCounterWrapPs);
    ASSERT_LE(result.truth.size() - read.size(), 1u);
    // a field shorter than the counter tells only part of the time at which a stream begins
    const std::int64_t span =
        what.format == StreamFormat::Packed
            ? std::min(kAbsoluteFieldSpan * what.quantum, kCounterWrapPs)
            : (what.format == StreamFormat::Delta32 ? kAbsoluteFieldSpan : kCounterWrapPs);
    const std::int64_t shift = result.truth.front().timePs / span * span;
    for (std::size_t i = 0; i < read.size(); ++i) {
        ASSERT_EQ(read[i].timePs, result.truth[i].timePs - shift) << "tag " << i;
        ASSERT_EQ(read[i].input, result.truth[i].input) << "tag " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, WholeStreams,
                         testing::Values(Format{"Raw64", StreamFormat::Raw64, 16, 8, 15},
                                         Format{"Delta32", StreamFormat::Delta32, 16, 8, 15},
                                         Format{"Packed16", StreamFormat::Packed, 16, 8, 15},
                                         Format{"Packed16TwoInputs", StreamFormat::Packed, 16, 8, 10},
                                         Format{"Packed10", StreamFormat::Packed, 10, 8, 15},
                                         Format{"Packed12Of1024ps", StreamFormat::Packed, 12, 1024, 15},
                                         Format{"Packed31", StreamFormat::Packed, 31, 8, 15},
                                         Format{"Packed20Of1ps", StreamFormat::Packed, 20, 1, 15},
                                         Format{"Packed24Of4ps", StreamFormat::Packed, 24, 4, 15},
                                         Format{"Packed3Of32768ps", StreamFormat::Packed, 3, 32768, 15},
                                         Format{"Packed1Of32768ps", StreamFormat::Packed, 1, 32768, 15},
                                         Format{"Packed2Of16ps", StreamFormat::Packed, 2, 16, 15}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(PackedStream, KeepsItsTimeOverGapsOfManySeconds) {
    const std::string slow = R"({"kind": "periodic", "input": 1, "frequency_hz": 0.15, "phase_ps": 1e9},
                                {"kind": "periodic", "input": 2, "frequency_hz": 0.03, "phase_ps": 2e9},
                                {"kind": "periodic", "input": 3, "frequency_hz": 10})";
    const StreamResult result = runStream(slow, 70, {});
    const std::vector<Tag> read = readPacked(result.bytes, 16, 8);
    ASSERT_LE(result.truth.size() - read.size(), 1u);
    ASSERT_GT(tagsOf(read, 1), 1u);
    for (std::size_t i = 0; i < read.size(); ++i) {
        ASSERT_EQ(read[i], result.truth[i]) << "tag " << i;
    }
}

TEST(StreamEncoder, StartsWithTheEndOfAnOlderRecordOnRequest) {
    const std::string faulty = R"("faults": {"start_mid_record": true})";
    StreamSetup setup;
    const StreamResult clean = runStream(poisson(1, 1e5) + "," + poisson(2, 1e5), 0.1, setup);
    const StreamResult packed = runStream(poisson(1, 1e5) + "," + poisson(2, 1e5), 0.1, setup, faulty);
    EXPECT_NE(packed.bytes.front(), clean.bytes.front());
    EXPECT_EQ(readPacked(packed.bytes, 16, 8, 9).size() / 10, clean.truth.size() / 10);
    setup.format = StreamFormat::Raw64;
    const StreamResult raw = runStream(poisson(1, 1e5), 0.1, setup, faulty);
    EXPECT_EQ(raw.bytes.size() % 8, 5u);
    setup.format = StreamFormat::Delta32;
    const StreamResult delta = runStream(poisson(1, 1e5), 0.1, setup, faulty);
    EXPECT_EQ(delta.bytes.size() % 4, 3u);
    EXPECT_EQ(delta.bytes[3], 0xEB);
}

} // namespace

} // namespace qorn::simulator::test
