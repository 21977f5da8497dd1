// The count of bytes that gave no tag: what stands ahead of the first tag is the usual start of a stream,
// what is passed over later is a loss.
#include "StreamDecoder.h"
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
using testing::EncodedStream;
using Tags = std::vector<timing::TimeTag>;

constexpr std::size_t kTagsInStream = 3000;
constexpr std::size_t kSyncEvery = 200;
constexpr std::size_t kPieces[] = {100'000, 13, 1};

struct Format {
    const char* name;
    timing::StreamFileHeader header;
    EncodedStream stream;
};

Format formatOf(const std::string& name) {
    Tags tags = testing::generateTags(
        {.seed = 3, .mask = 3, .count = kTagsInStream, .mean_gap_ps = 1e5, .resolution_ps = 8});
    if (name == "raw64") {
        return {"raw64", testing::raw64Header("ps"), testing::encodeRaw64Picoseconds(tags)};
    }
    if (name == "delta32") {
        return {"delta32", testing::delta32Header(), testing::encodeDelta32(tags, kSyncEvery, 1)};
    }
    return {"packed", testing::packedHeader(timing::StreamMode::External, 3),
            testing::encodePacked(tags, {.sync_every = kSyncEvery})};
}

struct Outcome {
    std::uint64_t skipped = 0;
    std::size_t tags = 0;
    std::size_t pending = 0;
};

Outcome decode(const timing::StreamFileHeader& header, const Bytes& bytes, std::size_t piece) {
    timing::StreamDecoder decoder(header);
    Outcome outcome;
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        const std::uint64_t before = decoder.skipped_bytes();
        outcome.tags += decoder.feed(std::span(bytes).subspan(at, std::min(piece, bytes.size() - at))).size();
        EXPECT_GE(decoder.skipped_bytes(), before);
    }
    outcome.skipped = decoder.skipped_bytes();
    outcome.pending = decoder.raw().size();
    return outcome;
}

class SkippedBytes : public ::testing::TestWithParam<const char*> {
protected:
    const Format format = formatOf(GetParam());
};

TEST_P(SkippedBytes, AreNoneInAWholeStreamHoweverItBegins) {
    for (const std::size_t piece : kPieces) {
        EXPECT_EQ(decode(format.header, format.stream.bytes, piece).skipped, 0U) << piece;
        Bytes late = format.stream.bytes;
        late.insert(late.begin(), 7, std::uint8_t{0xFF});
        const Outcome outcome = decode(format.header, late, piece);
        EXPECT_EQ(outcome.skipped, 0U) << piece;
        EXPECT_GT(outcome.tags, 0U);
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, SkippedBytes, ::testing::Values("raw64", "delta32", "packed"),
                         [](const auto& test) { return std::string(test.param); });

TEST(SkippedBytesOfRaw64, AreAllThatIsNoRecord) {
    const Format format = formatOf("raw64");
    for (std::size_t count = 1; count < 12; ++count) {
        Bytes bytes = format.stream.bytes;
        bytes.insert(bytes.begin() + 4000, count, 0xFF);
        for (const std::size_t piece : kPieces) {
            const Outcome outcome = decode(format.header, bytes, piece);
            EXPECT_EQ(outcome.skipped, count) << piece;
            EXPECT_EQ(outcome.tags, kTagsInStream);
        }
    }
}

TEST(SkippedBytesOfDelta32, ReachFromTheWordThatDoesNotBelongToTheNextSync) {
    const Format format = formatOf("delta32");
    constexpr std::size_t kDamaged = 1000;
    const std::size_t begin = format.stream.ends[kDamaged] / 8 - 4;
    Bytes bytes = format.stream.bytes;
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(begin), 4, std::uint8_t{0xFF});
    const auto& synced = format.stream.synced;
    const auto next = static_cast<std::size_t>(std::find(synced.begin() + kDamaged + 1, synced.end(), true) -
                                               synced.begin());
    ASSERT_LT(next, synced.size());
    const std::size_t end = format.stream.ends[next - 1] / 8;
    for (const std::size_t piece : kPieces) {
        const Outcome outcome = decode(format.header, bytes, piece);
        EXPECT_EQ(outcome.skipped, end - begin) << piece;
        EXPECT_EQ(outcome.tags, kTagsInStream - (next - kDamaged)) << piece;
    }
}

// Without a further sync nothing is found again; all but what a sync may begin with has been passed over.
TEST(SkippedBytesOfDelta32, ReachToTheEndWhenNoSyncFollows) {
    const Format format = formatOf("delta32");
    Bytes bytes(format.stream.bytes.begin(), format.stream.bytes.begin() + 400);
    const std::size_t whole = decode(format.header, bytes, 400).tags;
    ASSERT_GT(whole, 0U);
    bytes.insert(bytes.end(), 5000, std::uint8_t{0xFF});
    for (const std::size_t piece : kPieces) {
        const Outcome outcome = decode(format.header, bytes, piece);
        EXPECT_EQ(outcome.skipped, 5000U - outcome.pending) << piece;
        EXPECT_LT(outcome.pending, 4U);
        EXPECT_EQ(outcome.tags, whole);
    }
}

// A lost byte shifts the records: soon one is of an input that has none. The search begins with the next
// piece.
TEST(SkippedBytesOfPacked, HoldTheTagsThatAreMissing) {
    const Format format = formatOf("packed");
    Bytes bytes = format.stream.bytes;
    bytes.erase(bytes.begin() + 2000);
    for (const std::size_t piece : {std::size_t{500}, std::size_t{13}}) {
        const Outcome whole = decode(format.header, format.stream.bytes, piece);
        const Outcome outcome = decode(format.header, bytes, piece);
        ASSERT_LT(outcome.tags, whole.tags) << piece;
        constexpr std::size_t kRecordBits = 19;
        EXPECT_GE(outcome.skipped + 16, (whole.tags - outcome.tags) * kRecordBits / 8) << piece;
        EXPECT_LT(outcome.skipped, bytes.size() - 2000) << piece;
    }
}

} // namespace
} // namespace qorn
