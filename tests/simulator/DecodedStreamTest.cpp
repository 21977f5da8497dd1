// What a client decodes from the simulated instrument's streams, compared with what was sent: here the rules
// matter by which a reader locks, and comes back after a loss.
#include "SceneRun.h"
#include "TimeBase.h"

#include <StreamDecoder.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace qorn::simulator::test {

namespace {

using timing::TimeTag;

std::vector<TimeTag> decode(const std::vector<std::uint8_t>& bytes, const StreamSetup& setup,
                            std::size_t pieceBytes = 60000) {
    timing::StreamFileHeader header;
    header.format = static_cast<timing::StreamFormat>(setup.format);
    header.mode = setup.external ? timing::StreamMode::External : timing::StreamMode::Internal;
    header.channel_mask = static_cast<std::uint8_t>(setup.mask);
    header.delta_bits = static_cast<std::uint8_t>(setup.deltaBits);
    header.quantum_ps = static_cast<std::uint16_t>(setup.quantumPs);
    header.raw64_tag_format = setup.external ? "ps" : "raw_cf";
    timing::StreamDecoder decoder(header);
    std::vector<TimeTag> tags;
    for (std::size_t at = 0; at < bytes.size(); at += pieceBytes) {
        const auto piece = std::span(bytes).subspan(at, std::min(pieceBytes, bytes.size() - at));
        const auto some = decoder.feed(piece);
        tags.insert(tags.end(), some.begin(), some.end());
    }
    return tags;
}

// Whether the decoded tags are the sent ones, but for at most `missing` of them at the end.
void expectSame(const std::vector<TimeTag>& decoded, const std::vector<Tag>& sent, std::size_t missing) {
    ASSERT_LE(decoded.size(), sent.size());
    EXPECT_GE(decoded.size() + missing, sent.size());
    for (std::size_t i = 0; i < decoded.size(); ++i) {
        ASSERT_EQ(decoded[i].timestamp_ps, sent[i].timePs) << "tag " << i;
        ASSERT_EQ(decoded[i].channel, sent[i].input) << "tag " << i;
    }
}

const std::string kScene =
    poisson(1, 4e5) + "," + poisson(2, 2e5) + "," + poisson(3, 1e5) + "," + poisson(4, 3e5);

struct Row {
    const char* name;
    StreamSetup setup;
};

class DecodedStream : public testing::TestWithParam<Row> {};

TEST_P(DecodedStream, HoldsEveryTagThatWasSent) {
    const StreamResult result = runStream(kScene, 0.3, GetParam().setup);
    ASSERT_GT(result.truth.size(), 10000u);
    expectSame(decode(result.bytes, GetParam().setup), result.truth, 1);
}

TEST_P(DecodedStream, GoesOnOverACounterWrap) {
    const StreamSetup& setup = GetParam().setup;
    StreamResult result = runStream(kScene, 0.1, setup, R"("start_coarse": 4294960000)");
    ASSERT_LT(result.truth.front().timePs, kCounterWrapPs);
    ASSERT_GT(result.truth.back().timePs, kCounterWrapPs);
    // where the absolute field is shorter than the counter, it tells only a part of the time of the start
    const std::int64_t span = setup.format == StreamFormat::Raw64     ? kCounterWrapPs
                              : setup.format == StreamFormat::Delta32 ? kAbsoluteFieldSpan
                                                                      : kAbsoluteFieldSpan * setup.quantumPs;
    const std::int64_t shift = span < kCounterWrapPs ? result.truth.front().timePs / span * span : 0;
    for (Tag& tag : result.truth) {
        tag.timePs -= shift;
    }
    expectSame(decode(result.bytes, setup), result.truth, 1);
}

INSTANTIATE_TEST_SUITE_P(Formats, DecodedStream,
                         testing::Values(Row{"Raw64", {.format = StreamFormat::Raw64}},
                                         Row{"Delta32", {.format = StreamFormat::Delta32}}, Row{"Packed", {}},
                                         Row{"PackedInputs2And4", {.mask = 10}},
                                         Row{"PackedInput3", {.mask = 4}}, Row{"Packed8", {.deltaBits = 8}},
                                         Row{"Packed25", {.deltaBits = 25, .quantumPs = 16}},
                                         Row{"PackedFine", {.deltaBits = 18, .quantumPs = 2}}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DecodedStreamOfTheGenerator, HasAllInputsInThePackedFormat) {
    const StreamSetup setup{.external = false, .generatorHz = 250000};
    const StreamResult result = runStream("", 0.2, setup);
    EXPECT_NEAR(static_cast<double>(result.truth.size()), 200000, 2000);
    expectSame(decode(result.bytes, setup), result.truth, 1);
}

TEST(DecodedStreamOfTheGenerator, HasRawCodesInRaw64) {
    const StreamSetup setup{.format = StreamFormat::Raw64, .external = false, .generatorHz = 100000};
    const StreamResult result = runStream("", 0.1, setup);
    const std::vector<TimeTag> decoded = decode(result.bytes, setup);
    ASSERT_EQ(decoded.size(), result.truth.size());
    ASSERT_GT(decoded.size(), 30000u);
    for (std::size_t i = 0; i < decoded.size(); ++i) {
        ASSERT_EQ(decoded[i].channel, result.truth[i].input);
        // uncalibrated, so off by the unevenness of the taps, but never by a tick
        ASSERT_NEAR(static_cast<double>(decoded[i].timestamp_ps - result.truth[i].timePs), 0, 500);
    }
}

TEST(DecodedStreamOfOneInput, LocksThoughAllFourAreInTheMask) {
    for (const double rate : {200.0, 20000.0, 5e6}) {
        const StreamSetup setup{.readBytes = 4000};
        const StreamResult result = runStream(poisson(2, rate), rate > 1e6 ? 0.2 : 2.0, setup);
        const std::vector<TimeTag> decoded = decode(result.bytes, setup, 4000);
        EXPECT_GE(decoded.size() + 1, result.truth.size()) << rate;
        const auto others = std::count_if(decoded.begin(), decoded.end(),
                                          [](const TimeTag& tag) { return tag.channel != 1; });
        EXPECT_GE(others, 1) << rate;
        EXPECT_LE(others, 2) << rate;
    }
}

// Both tags of a twin are often in the same quantum, and a round of syncs falls due at many of them.
TEST(DecodedStreamOfTwins, HoldsEveryTagAtEachRoundOfSyncs) {
    const std::string clock = R"({"kind": "periodic", "input": 4, "frequency_hz": 1e6})";
    const std::string twins = clock + "," + clock + "," + poisson(1, 1e5) + "," + poisson(2, 1e5);
    const StreamSetup setup;
    const StreamResult result = runStream(twins, 0.1, setup, R"("sync_records": 10)");
    std::size_t equal = 0;
    for (std::size_t i = 1; i < result.truth.size(); ++i) {
        equal += result.truth[i].timePs == result.truth[i - 1].timePs ? 1 : 0;
    }
    ASSERT_GT(equal, 10000u);
    expectSame(decode(result.bytes, setup), result.truth, 1);
}

TEST(DamagedStream, ComesBackWithinARoundOfSyncsAfterALostByte) {
    // 1 million tags/s, a round of syncs each 4096 tags; pieces as a reader gets them each millisecond
    const StreamSetup setup;
    const StreamResult clean = runStream(kScene, 2, setup);
    std::set<std::pair<int, std::int64_t>> sent;
    for (const Tag& tag : clean.truth) {
        sent.insert({tag.input, tag.timePs});
    }
    std::string places;
    constexpr std::size_t kPlaces = 40; // coprime to the record's bits, so that each is hit elsewhere
    for (std::size_t i = 1; i <= kPlaces; ++i) {
        places += (i > 1 ? ", " : "") + std::to_string(i * (clean.bytes.size() / (kPlaces + 1)) + i);
    }
    const StreamResult damaged =
        runStream(kScene, 2, setup, R"("faults": {"lost_bytes_at": [)" + places + "]}");
    ASSERT_EQ(damaged.bytes.size() + kPlaces, clean.bytes.size());
    const std::vector<TimeTag> decoded = decode(damaged.bytes, setup, 4400);
    const auto right =
        static_cast<std::size_t>(std::count_if(decoded.begin(), decoded.end(), [&](const TimeTag& t) {
            return sent.contains({t.channel, t.timestamp_ps});
        }));
    EXPECT_LT(clean.truth.size() - right, kPlaces * 4096);
    EXPECT_LT(decoded.size() - right, kPlaces * 4096);
    EXPECT_GT(right, 0u);
}

TEST(DamagedStream, LosesOnlyTheScriptedBytes) {
    StreamSetup setup{.format = StreamFormat::Raw64};
    const StreamResult clean = runStream(kScene, 0.05, setup);
    const StreamResult damaged =
        runStream(kScene, 0.05, setup, R"("faults": {"lost_bytes_at": [803, 16000]})");
    ASSERT_EQ(damaged.bytes.size() + 2, clean.bytes.size());
    std::vector<std::uint8_t> expected = clean.bytes;
    expected.erase(expected.begin() + 16000);
    expected.erase(expected.begin() + 803);
    EXPECT_EQ(damaged.bytes, expected);
}

TEST(DamagedStream, HasGarbageBetweenItsBytes) {
    StreamSetup setup{.format = StreamFormat::Raw64};
    const StreamResult result = runStream(kScene, 1, setup, R"("faults": {"garbage_byte_rate": 1e-4})");
    const auto garbage = static_cast<double>(result.bytes.size() - result.truth.size() * 8);
    EXPECT_NEAR(garbage, 800, 150);
    // a word with a strange byte in it is passed over or decoded wrong, all others are right
    const std::vector<TimeTag> decoded = decode(result.bytes, setup);
    EXPECT_GT(decoded.size() + 4 * static_cast<std::size_t>(garbage), result.truth.size());
}

TEST(DamagedStream, IsDecodedWholeWhenItStartsInMidRecord) {
    for (const StreamFormat format : {StreamFormat::Raw64, StreamFormat::Delta32, StreamFormat::Packed}) {
        const StreamSetup setup{.format = format};
        const StreamResult result = runStream(kScene, 0.05, setup, R"("faults": {"start_mid_record": true})");
        const std::vector<TimeTag> decoded = decode(result.bytes, setup);
        expectSame(decoded, result.truth, 1);
    }
}

} // namespace

} // namespace qorn::simulator::test
