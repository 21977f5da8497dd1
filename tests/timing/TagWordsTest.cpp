#include "TagWords.h"

#include "StreamBuilder.h"
#include "StreamDecoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

namespace qorn::timing {
namespace {

using testing::Bytes;
using testing::bytesFromHex;

constexpr std::int64_t kModulus = 14315125997568;

Bytes wordOf(int channel, std::int64_t timePs) {
    std::vector<unsigned char> out;
    appendDecodedQorntsTag(out, channel, timePs);
    return out;
}

std::uint64_t numberOf(const Bytes& word) {
    std::uint64_t number = 0;
    for (const std::uint8_t byte : word) {
        number = number << 8 | byte;
    }
    return number;
}

TEST(TagWords, AreEightBytesMostSignificantFirst) {
    EXPECT_EQ(wordOf(0, 0), bytesFromHex("00 00 00 00 00 00 00 00"));
    EXPECT_EQ(wordOf(3, 0), bytesFromHex("60 00 00 00 00 00 00 00"));
    EXPECT_EQ(wordOf(1, 0x123456789AB), bytesFromHex("20 00 01 23 45 67 89 AB"));
    EXPECT_EQ(wordOf(2, 1), bytesFromHex("40 00 00 00 00 00 00 01"));
}

TEST(TagWords, TheChannelIsCutToItsLowTwoBits) {
    for (int channel = -9; channel <= 300; ++channel) {
        ASSERT_EQ(numberOf(wordOf(channel, 5)) >> 61, static_cast<unsigned>(channel) & 3U) << channel;
    }
}

TEST(TagWords, TheTimeIsReducedAndNeverNegative) {
    struct Row {
        std::int64_t time;
        std::int64_t reduced;
    };
    for (const Row& row : {Row{0, 0}, Row{kModulus - 1, kModulus - 1}, Row{kModulus, 0}, Row{kModulus + 7, 7},
                           Row{5 * kModulus + 123, 123}, Row{-1, kModulus - 1}, Row{-kModulus, 0},
                           Row{-kModulus - 1, kModulus - 1}, Row{-3 * kModulus + 42, 42}}) {
        EXPECT_EQ(numberOf(wordOf(0, row.time)), static_cast<std::uint64_t>(row.reduced)) << row.time;
    }
}

TEST(TagWords, TheEndsOfTheTimeRangeGiveWordsInRange) {
    for (const std::int64_t time :
         {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
        const std::uint64_t word = numberOf(wordOf(3, time));
        EXPECT_EQ(word >> 63, 0U);
        const auto reduced = static_cast<std::int64_t>(word & ((std::uint64_t{1} << 61) - 1));
        EXPECT_LT(reduced, kModulus);
        EXPECT_EQ(((time % kModulus) + kModulus) % kModulus, reduced);
    }
}

TEST(TagWords, AppendBehindWhatIsThere) {
    std::vector<unsigned char> out{9};
    const std::vector<TimeTag> tags{{1, 2}, {3, -1}};
    appendDecodedQorntsTags(out, tags);
    Bytes expected{9};
    testing::appendBytes(expected, wordOf(1, 2));
    testing::appendBytes(expected, wordOf(3, -1));
    EXPECT_EQ(out, expected);
    appendDecodedQorntsTags(out, {});
    EXPECT_EQ(out, expected);
}

TEST(TagWords, OfTimesThatGoAnywhereAreThoseOfEachTimeAlone) {
    constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    std::mt19937_64 random(5);
    std::vector<TimeTag> tags;
    for (int index = 0; index < 3000; ++index) {
        const auto near = static_cast<std::int64_t>(random() % 5) - 2;
        const std::int64_t periods = static_cast<std::int64_t>(random() % 7) - 3;
        const auto anywhere = static_cast<std::int64_t>(random());
        for (const std::int64_t time : {periods * kModulus + near, kLeast + (near & 3), kMost - (near & 3),
                                        kLeast + kModulus + near, kMost - kModulus + near, anywhere}) {
            tags.push_back({static_cast<std::uint8_t>(random() % 4), time});
        }
    }
    std::shuffle(tags.begin(), tags.end(), random);
    std::vector<unsigned char> words;
    appendDecodedQorntsTags(words, tags);
    Bytes expected;
    for (const TimeTag& tag : tags) {
        const std::int64_t remainder = tag.timestamp_ps % kModulus;
        const auto reduced = static_cast<std::uint64_t>((remainder + kModulus) % kModulus);
        const std::uint64_t word = std::uint64_t{tag.channel} << 61 | reduced;
        for (int shift = 56; shift >= 0; shift -= 8) {
            expected.push_back(static_cast<std::uint8_t>(word >> shift));
        }
    }
    EXPECT_TRUE(words == expected);
}

TEST(TagWords, AreReadLikeTheInstrumentsRaw64) {
    std::mt19937_64 random(3);
    std::vector<TimeTag> tags;
    std::int64_t time = 0;
    for (int index = 0; index < 20000; ++index) {
        time += static_cast<std::int64_t>(random() % 4'000'000'000); // over several wraps in all
        tags.push_back({static_cast<std::uint8_t>(random() % 4), time});
    }
    std::vector<unsigned char> words;
    appendDecodedQorntsTags(words, tags);
    StreamFileHeader header;
    header.mode = StreamMode::External;
    header.channel_mask = 15;
    header.raw64_tag_format = "ps";
    StreamDecoder decoder(header);
    const auto decoded = decoder.feed(words);
    EXPECT_EQ(std::vector<TimeTag>(decoded.begin(), decoded.end()), tags);
}

} // namespace
} // namespace qorn::timing
