// What a lost, added or damaged byte costs: the record it hits, or the tags up to the next sync.
#include "ComparedDecoder.h"
#include "StreamHeaders.h"
#include "TagGenerator.h"
#include "TagStreamEncoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace qorn {
namespace {

using testing::Bytes;
using testing::ComparedDecoder;
using testing::EncodedStream;
using testing::generateTags;
using testing::packedHeader;
using testing::sameTags;
using timing::StreamMode;
using timing::TimeTag;
using Tags = std::vector<TimeTag>;

Tags decode(const timing::StreamFileHeader& header, const Bytes& bytes, std::size_t piece) {
    ComparedDecoder decoder(header);
    for (std::size_t at = 0; at < bytes.size() && decoder.agrees(); at += piece)
        decoder.feed(std::span(bytes).subspan(at, std::min(piece, bytes.size() - at)));
    return decoder.tags();
}

Bytes without(const Bytes& bytes, std::size_t at, std::size_t count) {
    Bytes rest = bytes;
    const auto first = rest.begin() + static_cast<std::ptrdiff_t>(at);
    rest.erase(first, first + static_cast<std::ptrdiff_t>(count));
    return rest;
}

Tags ofChannel(std::span<const TimeTag> tags, int channel) {
    Tags some;
    std::ranges::copy_if(tags, std::back_inserter(some),
                         [=](const TimeTag& tag) { return tag.channel == channel; });
    return some;
}

Tags inPeriod(std::span<const TimeTag> tags) {
    Tags some(tags.begin(), tags.end());
    for (TimeTag& tag : some)
        tag.timestamp_ps %= timing::kCoarseWrapPs;
    return some;
}

// --- raw64: only the records that are hit are lost --------------------------------------------------------

class Raw64Loss : public ::testing::TestWithParam<const char*> {
protected:
    Raw64Loss() {
        tags = generateTags({.seed = 5, .count = 60, .mean_gap_ps = 3e9, .start_ps = 2'000'000'000'000});
        // The last byte of a time never looks like the first of a record.
        for (TimeTag& tag : tags)
            tag.timestamp_ps |= 0x81;
        const bool picoseconds = std::string(GetParam()) == "ps";
        stream = picoseconds ? testing::encodeRaw64Picoseconds(tags) : testing::encodeRaw64CoarseFine(tags);
    }

    // All tags but those from `first` to before `last` must be there; what is left of those may make one
    // more.
    void expectAllBut(std::size_t first, std::size_t last, std::size_t most, const Tags& decoded,
                      const std::string& name) const {
        const std::size_t behind = tags.size() - last;
        ASSERT_GE(decoded.size(), first + behind) << name;
        EXPECT_LE(decoded.size(), std::min(most, tags.size())) << name;
        EXPECT_TRUE(sameTags(std::span(tags).first(first), std::span(decoded).first(first))) << name;
        // A word that two halves made may look like a wrap: the rest counts by its place in the period.
        EXPECT_TRUE(
            sameTags(inPeriod(std::span(tags).last(behind)), inPeriod(std::span(decoded).last(behind))))
            << name;
    }

    Tags tags;
    EncodedStream stream;
};

TEST_P(Raw64Loss, LostBytesCostTheRecordsTheyBelongToAndAtMostOneMore) {
    for (std::size_t at = 80; at < 96; ++at) {
        for (std::size_t count = 1; count <= 12; ++count) {
            const Bytes bytes = without(stream.bytes, at, count);
            for (const std::size_t piece : {std::size_t{1000}, std::size_t{13}, std::size_t{1}}) {
                const std::string name = std::to_string(count) + " bytes lost at " + std::to_string(at);
                // A record whose head is left takes its missing bytes from the next one.
                const std::size_t taken = at % 8 == 0 ? 0 : 1;
                expectAllBut(at / 8, (at + count + 7) / 8 + taken, bytes.size() / 8,
                             decode(testing::raw64Header(GetParam()), bytes, piece), name);
            }
        }
    }
}

TEST_P(Raw64Loss, AddedBytesCostTheRecordTheySplit) {
    for (std::size_t at = 80; at < 96; ++at) {
        for (std::size_t count = 1; count <= 12; ++count) {
            Bytes bytes = stream.bytes;
            bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at), count, 0xFF);
            const std::string name = std::to_string(count) + " bytes added at " + std::to_string(at);
            expectAllBut(at / 8, (at + 7) / 8, bytes.size() / 8,
                         decode(testing::raw64Header(GetParam()), bytes, 1000), name);
        }
    }
}

TEST_P(Raw64Loss, AStartInMidRecordCostsThatRecord) {
    for (std::size_t at = 1; at < 24; ++at) {
        const Tags expected(tags.begin() + static_cast<std::ptrdiff_t>((at + 7) / 8), tags.end());
        EXPECT_TRUE(
            sameTags(expected, decode(testing::raw64Header(GetParam()), without(stream.bytes, 0, at), 1000)))
            << at;
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, Raw64Loss, ::testing::Values("ps", "raw_cf"),
                         [](const auto& layout) { return std::string(layout.param); });

// --- formats with syncs: after a loss each channel is back with its next sync
// --------------------------------

// Bits on the wire after a loss until it must have been noticed.
constexpr std::size_t kNoticedBits = 1200;

// Each channel's tags from its first sync that lies wholly behind `bit` on.
void expectTailOfEachChannel(const Tags& tags, const EncodedStream& stream, std::size_t bit,
                             const Tags& decoded, const std::string& name) {
    for (int channel = 0; channel < timing::kChannels; ++channel) {
        Tags tail;
        for (std::size_t i = 1; i < tags.size(); ++i) {
            if (tags[i].channel == channel &&
                (!tail.empty() || (stream.synced[i] && stream.ends[i - 1] >= bit)))
                tail.push_back(tags[i]);
        }
        const Tags all = ofChannel(tags, channel);
        if (all.empty())
            continue;
        ASSERT_GT(tail.size(), 20u) << name;
        const Tags got = ofChannel(decoded, channel);
        ASSERT_GE(got.size(), tail.size()) << name << ", channel " << channel;
        EXPECT_TRUE(sameTags(tail, std::span(got).last(tail.size()))) << name << ", channel " << channel;
    }
}

// Silences longer than a data word can tell: what shifted words say by chance does not outrun the next sync.
TEST(StreamDecoderLoss, Delta32IsBackWithTheNextSyncAfterBytesLostAtAnyPosition) {
    const Tags tags =
        generateTags({.seed = 9, .mask = 15, .count = 600, .mean_gap_ps = 1e9, .start_ps = 1'000'000'000});
    const EncodedStream stream = testing::encodeDelta32(tags, 15, 3);
    for (std::size_t at = 400; at < 500; ++at) {
        for (const std::size_t count : {1, 2, 3, 5}) {
            const Tags decoded = decode(testing::delta32Header(), without(stream.bytes, at, count), 64);
            expectTailOfEachChannel(tags, stream, at * 8 + kNoticedBits, decoded,
                                    std::to_string(count) + " bytes lost at " + std::to_string(at));
        }
    }
}

struct PackedLoss {
    StreamMode mode;
    int mask;
    int bits;
};

void PrintTo(const PackedLoss& loss, std::ostream* out) {
    *out << (loss.mode == StreamMode::Internal ? "internal" : "external") << ", mask " << loss.mask << ", "
         << loss.bits << " bits";
}

class PackedLossTest : public ::testing::TestWithParam<PackedLoss> {
protected:
    PackedLossTest() {
        tags = generateTags({.seed = 8,
                             .mask = GetParam().mask,
                             .count = 1600,
                             .mean_gap_ps = 3e6,
                             .start_ps = 80'000'000,
                             .resolution_ps = 8});
        stream = testing::encodePacked(tags, {.delta_bits = GetParam().bits, .sync_every = 30});
        header = packedHeader(GetParam().mode, GetParam().mask, GetParam().bits);
    }

    // A place where the decoder has been locked for long.
    static constexpr std::size_t kPlace = 1000;

    Tags tags;
    EncodedStream stream;
    timing::StreamFileHeader header;
};

TEST_P(PackedLossTest, IsBackWithTheNextSyncAfterBytesLostAtAnyPositionOfARecord) {
    const auto width =
        static_cast<std::size_t>(GetParam().bits) + 3; // bytes that hold all phases of a record
    for (std::size_t at = kPlace; at < kPlace + width; ++at) {
        for (const std::size_t count : {std::size_t{1}, std::size_t{2} + at % 5}) {
            // Whole records lost cost no alignment, and the halves of two syncs may make a wrong one.
            if (count * 8 % width == 0)
                continue;
            const Tags decoded = decode(header, without(stream.bytes, at, count), 100);
            expectTailOfEachChannel(tags, stream, at * 8 + kNoticedBits, decoded,
                                    std::to_string(count) + " bytes lost at " + std::to_string(at));
        }
    }
}

TEST_P(PackedLossTest, IsBackWithTheNextSyncAfterAddedBytes) {
    for (std::size_t at = kPlace; at < kPlace + 8; ++at) {
        Bytes bytes = stream.bytes;
        bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at), 1 + at % 3, 0xA7);
        const Tags decoded = decode(header, bytes, 100);
        expectTailOfEachChannel(tags, stream, at * 8 + kNoticedBits, decoded,
                                "added at " + std::to_string(at));
    }
}

TEST_P(PackedLossTest, AStartInMidRecordCostsTheTagsUpToTheFirstSync) {
    for (std::size_t at = 300; at < 310; ++at) {
        const Tags decoded = decode(header, without(stream.bytes, 0, at), 3000);
        expectTailOfEachChannel(tags, stream, at * 8 + kNoticedBits, decoded,
                                "from byte " + std::to_string(at));
    }
}

// Masks with silent inputs: where all four are active, garbage is hard to tell from records.
INSTANTIATE_TEST_SUITE_P(
    Streams, PackedLossTest,
    ::testing::Values(PackedLoss{StreamMode::External, 1, 16}, PackedLoss{StreamMode::External, 8, 16},
                      PackedLoss{StreamMode::External, 3, 16}, PackedLoss{StreamMode::External, 6, 12},
                      PackedLoss{StreamMode::External, 1, 9}, PackedLoss{StreamMode::External, 5, 31},
                      PackedLoss{StreamMode::Internal, 1, 16}, PackedLoss{StreamMode::Internal, 12, 16},
                      PackedLoss{StreamMode::Internal, 10, 21}));

} // namespace
} // namespace qorn
