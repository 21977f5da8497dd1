// Whole streams of an instrument, over wraps of its counter, decode to the times of the pulses.
#include "ComparedDecoder.h"
#include "StreamDecoder.h"
#include "StreamHeaders.h"
#include "TagGenerator.h"
#include "TagStreamEncoder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qorn {
namespace {

using testing::EncodedStream;
using testing::generateTags;
using testing::packedHeader;
using testing::PackedWire;
using testing::RandomSource;
using testing::sameTags;
using testing::TagTraffic;
using timing::StreamDecoder;
using timing::StreamMode;
using timing::TimeTag;
using Tags = std::vector<TimeTag>;

constexpr std::int64_t kWrap = 14315125997568;

// Feeds the stream in pieces of random sizes up to `most`, the first of them of at least `first` bytes.
Tags decode(const timing::StreamFileHeader& header, const testing::Bytes& bytes, std::size_t first,
            std::size_t most, std::uint64_t seed) {
    StreamDecoder decoder(header);
    RandomSource random(seed);
    Tags tags;
    std::size_t size = first;
    for (std::size_t at = 0; at < bytes.size(); at += size, size = 1 + random.below(most)) {
        size = std::min(size, bytes.size() - at);
        const auto decoded = decoder.feed(std::span(bytes).subspan(at, size));
        tags.insert(tags.end(), decoded.begin(), decoded.end());
    }
    return tags;
}

// Some 20 s of traffic with silences: it crosses the end of the counter more than once.
TagTraffic longTraffic(std::uint64_t seed, std::size_t count, std::int64_t resolution) {
    TagTraffic traffic;
    traffic.seed = seed;
    traffic.count = count;
    traffic.mean_gap_ps = 2e6;
    traffic.start_ps = 100'000'000'000;
    traffic.resolution_ps = resolution;
    traffic.burst_chance = 0.05;
    traffic.pause_ps = 400'000'000'000;
    traffic.pause_chance = 350.0 / static_cast<double>(count);
    return traffic;
}

void expectWraps(const Tags& tags, std::int64_t least) {
    ASSERT_FALSE(tags.empty());
    EXPECT_GE(tags.back().timestamp_ps / kWrap - tags.front().timestamp_ps / kWrap, least);
}

TEST(StreamDecoderWrap, Raw64PicosecondsComeBackOverSeveralWraps) {
    const Tags tags = generateTags(longTraffic(1, 400'000, 1));
    expectWraps(tags, 3);
    const EncodedStream stream = testing::encodeRaw64Picoseconds(tags);
    EXPECT_TRUE(sameTags(tags, decode(testing::raw64Header("ps"), stream.bytes, 1, 100'000, 1)));
}

TEST(StreamDecoderWrap, Raw64CoarseFineComesBackOverSeveralWraps) {
    Tags tags = generateTags(longTraffic(2, 400'000, 1));
    const EncodedStream stream = testing::encodeRaw64CoarseFine(tags);
    expectWraps(tags, 3);
    EXPECT_TRUE(sameTags(tags, decode(testing::raw64Header("raw_cf"), stream.bytes, 1, 100'000, 1)));
}

TEST(StreamDecoderWrap, Delta32ComesBackOverSeveralWraps) {
    const Tags tags = generateTags(longTraffic(3, 400'000, 1));
    expectWraps(tags, 3);
    const EncodedStream stream = testing::encodeDelta32(tags, 0, 3);
    EXPECT_TRUE(sameTags(tags, decode(testing::delta32Header(), stream.bytes, 1, 100'000, 1)));
}

TEST(StreamDecoderWrap, Delta32WithManySyncsComesBackInsideOneCounterPeriod) {
    TagTraffic traffic = longTraffic(4, 400'000, 1);
    traffic.pause_chance = 50.0 / 400'000;
    const Tags tags = generateTags(traffic);
    ASSERT_GT(tags.back().timestamp_ps, std::int64_t{2} << 41) << "over several turns of the absolute time";
    ASSERT_LT(tags.back().timestamp_ps, kWrap);
    const EncodedStream stream = testing::encodeDelta32(tags, 20, 4);
    EXPECT_TRUE(sameTags(tags, decode(testing::delta32Header(), stream.bytes, 1, 100'000, 1)));
}

// Both modes; internal mode wants evenly busy channels, which this traffic has.
void checkPacked(StreamMode mode, int bits, int shift, std::size_t sync_every, std::size_t count,
                 std::int64_t least_wraps) {
    TagTraffic traffic = longTraffic(static_cast<std::uint64_t>(bits), count, std::int64_t{1} << shift);
    // Narrow deltas take a record for every other quantum.
    traffic.mean_gap_ps = std::min(2e6, static_cast<double>(std::int64_t{1} << (bits + shift)) * 4);
    if (least_wraps == 0)
        traffic.pause_ps = 0;
    const Tags tags = generateTags(traffic);
    expectWraps(tags, least_wraps);
    const EncodedStream stream = testing::encodePacked(tags, {.delta_bits = bits,
                                                              .quantum_shift = shift,
                                                              .sync_every = sync_every,
                                                              .max_overflows = 200,
                                                              .seed = 5});
    const auto header = packedHeader(mode, 15, bits, 1 << shift);
    // The first piece shows all channels at their rates.
    EXPECT_TRUE(sameTags(tags, decode(header, stream.bytes, 6000, 20'000, 1)))
        << bits << " bits, quantum " << (1 << shift)
        << (mode == StreamMode::Internal ? ", internal" : ", external");
}

TEST(StreamDecoderWrap, PackedStreamsOfTheDefaultComeBackOverSeveralWraps) {
    for (const StreamMode mode : {StreamMode::Internal, StreamMode::External}) {
        checkPacked(mode, 16, 3, 1000, 400'000, 3);
        checkPacked(mode, 16, 3, 0, 400'000, 3);
    }
}

TEST(StreamDecoderWrap, PackedStreamsOfAllWidthsComeBackOverSeveralWraps) {
    for (int bits = 1; bits <= 31; ++bits) {
        checkPacked(StreamMode::External, bits, 3, 500, 20'000, 3);
        checkPacked(StreamMode::Internal, bits, 5, 100, 20'000, 3);
    }
}

TEST(StreamDecoderWrap, PackedStreamsOfFineQuantaComeBackOverSeveralWrapsFromTheFirstSyncs) {
    for (const int shift : {0, 1, 2}) {
        for (const int bits : {14, 16, 24, 31}) {
            TagTraffic traffic = longTraffic(9, 20'000, std::int64_t{1} << shift);
            traffic.pause_ps = 350'000'000'000;
            const Tags tags = generateTags(traffic);
            expectWraps(tags, 3);
            const EncodedStream stream = testing::encodePacked(tags, {.delta_bits = bits,
                                                                      .quantum_shift = shift,
                                                                      .sync_every = 0,
                                                                      .max_overflows = UINT32_MAX,
                                                                      .seed = 5});
            EXPECT_TRUE(sameTags(tags, decode(packedHeader(StreamMode::External, 15, bits, 1 << shift),
                                              stream.bytes, 20'000, 20'000, 1)))
                << bits << ' ' << shift;
        }
    }
}

TEST(StreamDecoderWrap, PackedStreamsOfFineQuantaTakeManySyncsInsideOneCounterPeriod) {
    for (const int shift : {0, 1, 2}) {
        for (const int bits : {3, 8, 16, 31})
            checkPacked(StreamMode::External, bits, shift, 50, 20'000, 0);
    }
}

TEST(StreamDecoderWrap, CoarseQuantaComeBackOverSeveralWraps) {
    for (const int shift : {4, 6, 10, 15})
        checkPacked(StreamMode::External, 12, shift, 300, 20'000, 3);
}

TEST(StreamDecoderWrap, SilencesOfSecondsComeBackInExternalMode) {
    // Above the excess of a step over a wrap, which is 3.28 s at this quantum, a silence shows in no record.
    TagTraffic traffic = longTraffic(12, 5000, 8);
    traffic.pause_ps = 3'200'000'000'000;
    traffic.pause_chance = 0.01;
    const Tags tags = generateTags(traffic);
    expectWraps(tags, 4);
    const EncodedStream stream = testing::encodePacked(tags, {.max_overflows = 100'000});
    EXPECT_TRUE(
        sameTags(tags, decode(packedHeader(StreamMode::External, 15), stream.bytes, 8000, 50'000, 1)));
}

} // namespace
} // namespace qorn
