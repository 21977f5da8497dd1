// The bytes of a relay's stream without a connection: whatever comes in whatever pieces.
#include "RelayDecoder.h"
#include "RelayTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <stdexcept>

namespace qorn::relay {
namespace {

using namespace test;

constexpr std::int64_t kWrapPs = 14315125997568;

// Gives the piece to the decoder; null when it is refused.
std::optional<Tags> take(RelayDecoder& decoder, std::span<const std::uint8_t> piece) {
    std::copy(piece.begin(), piece.end(), decoder.room().begin());
    try {
        const auto tags = decoder.take(piece.size());
        return Tags(tags.begin(), tags.end());
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "relay stream contains an invalid raw64-ps record");
        return std::nullopt;
    }
}

// The records read bit by bit, with the time axis of each channel as its records come.
class SlowReader {
public:
    // Null for a record that is none.
    std::optional<timing::TimeTag> read(std::span<const std::uint8_t> record) {
        std::uint64_t word = 0;
        for (const std::uint8_t byte : record)
            word = word << 8 | byte;
        if (word >> 63 != 0 || (word >> 44 & 0x1FFFF) != 0)
            return std::nullopt;
        const auto channel = static_cast<std::uint8_t>(word >> 61);
        const std::int64_t time = static_cast<std::int64_t>(word & 0xFFFFFFFFFFF) % kWrapPs;
        if (last[channel] - time > kWrapPs / 2)
            axis[channel] += kWrapPs;
        last[channel] = time;
        return timing::TimeTag{channel, axis[channel] + time};
    }

private:
    std::int64_t last[4] = {};
    std::int64_t axis[4] = {};
};

// The tags of a whole piece behind `pending`; null when one of its records is none.
std::optional<Tags> slowly(SlowReader& reader, Bytes& pending) {
    Tags tags;
    while (pending.size() >= 8) {
        const auto tag = reader.read(std::span(pending).first(8));
        if (!tag)
            return std::nullopt;
        tags.push_back(*tag);
        pending.erase(pending.begin(), pending.begin() + 8);
    }
    return tags;
}

TEST(RelayDecoder, HasRoomForAPieceBehindAnyHalfRecord) {
    RelayDecoder decoder;
    const Bytes zeros(RelayDecoder::kPieceBytes);
    for (std::size_t held = 0; held < 8; ++held) {
        EXPECT_EQ(decoder.room().size(), RelayDecoder::kPieceBytes);
        EXPECT_EQ(take(decoder, std::span(zeros).first(RelayDecoder::kPieceBytes - 7))->size(),
                  (RelayDecoder::kPieceBytes - 7 + held) / 8);
    }
}

TEST(RelayDecoder, NoBytesAreNoTags) {
    RelayDecoder decoder;
    EXPECT_EQ(take(decoder, {}), Tags());
}

TEST(RelayDecoder, AHalfRecordIsNotLookedAt) {
    RelayDecoder decoder;
    EXPECT_EQ(take(decoder, Bytes(7, 0xFF)), Tags());
    EXPECT_EQ(take(decoder, Bytes(1, 0xFF)), std::nullopt);
}

TEST(RelayDecoder, ATimeAboveTheRangeIsReduced) {
    RelayDecoder decoder;
    EXPECT_EQ(take(decoder, Bytes{0x20, 0, 0x0F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
              (Tags{{1, 0xFFFFFFFFFFF - kWrapPs}}));
}

// Records of any time, mostly valid, in pieces of any length: what comes out, or that nothing does, is what a
// slow reader makes of them.
TEST(RelayDecoder, ReadsAnyBytesAsASlowReaderDoes) {
    int refused = 0;
    for (unsigned seed = 1; seed <= 300; ++seed) {
        std::mt19937_64 random(seed);
        RelayDecoder decoder;
        SlowReader reader;
        Bytes pending;
        for (int piece = 0; piece < 30; ++piece) {
            Bytes bytes(random() % 200);
            for (std::size_t i = 0; i < bytes.size(); ++i) {
                // The place in its record; a wrong bit once in 1500 bytes.
                const std::size_t place = (pending.size() + i) % 8;
                const std::uint64_t mask = place == 0 ? 0x60 : place == 1 ? 0 : place == 2 ? 0x0F : 0xFF;
                const std::uint64_t wrong = random() % 1500 == 0 ? 1U << random() % 8 : 0;
                bytes[i] = static_cast<std::uint8_t>((random() & mask) ^ wrong);
            }
            pending.insert(pending.end(), bytes.begin(), bytes.end());
            const std::optional<Tags> expected = slowly(reader, pending);
            ASSERT_EQ(take(decoder, bytes), expected) << "seed " << seed << " piece " << piece;
            if (!expected) {
                ++refused;
                break;
            }
        }
    }
    EXPECT_GT(refused, 50);
    EXPECT_LT(refused, 250);
}

} // namespace
} // namespace qorn::relay
