// Random streams, whole and damaged, in random pieces: the decoder gives exactly what the slow reference
// gives.
#include "CapturedDebugLog.h"
#include "ComparedDecoder.h"
#include "StreamHeaders.h"
#include "TagGenerator.h"
#include "TagStreamEncoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace qorn {
namespace {

using testing::Bytes;
using testing::ComparedDecoder;
using testing::generateTags;
using testing::PackedBuilder;
using testing::packedHeader;
using testing::RandomSource;
using testing::sameTags;
using timing::StreamDecoder;
using timing::StreamFileHeader;
using timing::StreamMode;
using timing::TimeTag;
using Tags = std::vector<TimeTag>;

// Loses, adds, changes and replaces bytes at random places.
void damage(Bytes& bytes, RandomSource& random, int places) {
    for (int i = 0; i < places && bytes.size() > 50; ++i) {
        const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(random.below(bytes.size() - 20));
        switch (random.below(5)) {
        case 0:
            bytes.erase(at);
            break;
        case 1:
            bytes.erase(at, at + random.between(2, 19));
            break;
        case 2:
            *at = static_cast<std::uint8_t>(*at ^ 1u << random.below(8));
            break;
        case 3:
            bytes.insert(at, random.below(20) + 1, static_cast<std::uint8_t>(random.bits()));
            break;
        default:
            std::generate(at, at + random.between(1, 19),
                          [&random] { return static_cast<std::uint8_t>(random.bits()); });
            break;
        }
    }
}

// Feeds both decoders pieces of 1 to `most` bytes; returns the number of tags.
std::size_t compare(ComparedDecoder& decoder, const Bytes& bytes, RandomSource& random, std::size_t most) {
    for (std::size_t at = 0; at < bytes.size() && decoder.agrees();) {
        const std::size_t size = std::min(1 + random.below(most), bytes.size() - at);
        decoder.feed(std::span(bytes).subspan(at, size));
        at += size;
    }
    EXPECT_TRUE(decoder.agrees());
    return decoder.tags().size();
}

Tags decodeInPieces(const StreamFileHeader& header, const Bytes& bytes, std::size_t first,
                    const std::function<std::size_t()>& next) {
    StreamDecoder decoder(header);
    Tags tags;
    for (std::size_t at = 0, size = first; at < bytes.size(); at += size, size = next()) {
        size = std::min(size, bytes.size() - at);
        const auto decoded = decoder.feed(std::span(bytes).subspan(at, size));
        tags.insert(tags.end(), decoded.begin(), decoded.end());
    }
    return tags;
}

// However the bytes behind the first piece are cut, the tags are the same.
void expectSameTagsForAllCuts(const StreamFileHeader& header, const Bytes& bytes, std::size_t first,
                              std::size_t least, const std::string& name) {
    const Tags whole = decodeInPieces(header, bytes, first, [&bytes] { return bytes.size(); });
    EXPECT_GE(whole.size(), least) << name;
    EXPECT_TRUE(sameTags(whole, decodeInPieces(header, bytes, first, [] { return 1; })))
        << name << ", byte by byte";
    for (const std::size_t most : {7, 100, 3000}) {
        RandomSource random(most);
        EXPECT_TRUE(
            sameTags(whole, decodeInPieces(header, bytes, first, [&] { return 1 + random.below(most); })))
            << name << ", pieces up to " << most;
    }
}

// --- raw64 -------------------------------------------------------------------------------------------------

// Records with any times, among garbage.
Bytes raw64Soup(RandomSource& random, bool picoseconds, int records) {
    Bytes bytes;
    std::uint64_t time = random.bits();
    for (int i = 0; i < records; ++i) {
        time = random.chance(0.1) ? random.bits() : time + random.below(1'000'000);
        const int channel = random.between(0, 3);
        const std::uint64_t word =
            picoseconds ? testing::raw64Picoseconds(channel, time & 0xFFFFFFFFFFF)
                        : testing::raw64CoarseFine(channel, time & 0xFFFFFFFF, random.below(8192));
        testing::appendRaw64(bytes, random.chance(0.02) ? word ^ std::uint64_t{1} << random.below(64) : word);
        while (random.chance(0.02))
            bytes.push_back(static_cast<std::uint8_t>(random.bits()));
    }
    damage(bytes, random, records / 100);
    return bytes;
}

TEST(StreamDecoderProperty, Raw64AgreesWithTheReferenceOnDamagedStreams) {
    RandomSource random(1);
    std::size_t tags = 0;
    for (int round = 0; round < 60; ++round) {
        const bool picoseconds = round % 2 == 0;
        ComparedDecoder decoder(testing::raw64Header(picoseconds ? "ps" : "raw_cf"));
        tags += compare(decoder, raw64Soup(random, picoseconds, 5000), random, round % 3 == 0 ? 20 : 5000);
    }
    EXPECT_GT(tags, 250'000u);
}

TEST(StreamDecoderProperty, Raw64AgreesWithTheReferenceOnPureGarbage) {
    RandomSource random(2);
    for (const char* layout : {"ps", "raw_cf"}) {
        Bytes bytes(200'000);
        for (std::uint8_t& byte : bytes)
            byte = random.chance(0.5) ? 0 : static_cast<std::uint8_t>(random.bits());
        ComparedDecoder decoder(testing::raw64Header(layout));
        compare(decoder, bytes, random, 1000);
    }
}

TEST(StreamDecoderProperty, Raw64TagsDoNotDependOnTheCuts) {
    RandomSource random(3);
    for (const char* layout : {"ps", "raw_cf"})
        expectSameTagsForAllCuts(testing::raw64Header(layout),
                                 raw64Soup(random, std::string(layout) == "ps", 20'000), 1, 15'000, layout);
}

// --- delta32 -----------------------------------------------------------------------------------------------

// Words of all kinds in any order, mostly such as may follow one another.
Bytes delta32Soup(RandomSource& random, int words) {
    Bytes bytes;
    std::uint64_t absolute = random.bits();
    for (int i = 0; i < words; ++i) {
        const int channel = random.between(0, 3);
        const auto any = static_cast<std::uint32_t>(random.bits());
        const double kind = random.unit();
        if (kind < 0.1) {
            absolute = random.chance(0.2) ? random.bits() : absolute + random.below(50'000'000'000);
            testing::appendDelta32Sync(bytes, absolute);
        } else if (kind < 0.25) {
            testing::appendDelta32Overflow(bytes, random.below(random.chance(0.2) ? 500'000 : 1000));
        } else if (kind < 0.27) {
            testing::appendDelta32(bytes, testing::delta32Word(1, random.between(0, 3), 5, any & 0x1FFFFFF));
        } else if (kind < 0.275) {
            testing::appendDelta32(bytes, any);
        } else {
            testing::appendDelta32(bytes, testing::delta32Data(channel, any & 0x1FFFFFF));
        }
    }
    return bytes;
}

TEST(StreamDecoderProperty, Delta32AgreesWithTheReferenceOnAnyWords) {
    RandomSource random(4);
    std::size_t tags = 0;
    for (int round = 0; round < 60; ++round) {
        Bytes bytes = delta32Soup(random, 5000);
        damage(bytes, random, round % 2 == 0 ? 0 : 50);
        ComparedDecoder decoder(testing::delta32Header());
        tags += compare(decoder, bytes, random, round % 3 == 0 ? 20 : 5000);
    }
    EXPECT_GT(tags, 60'000u);
}

TEST(StreamDecoderProperty, Delta32AgreesWithTheReferenceOnDamagedStreams) {
    RandomSource random(5);
    std::size_t tags = 0;
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        const Tags sent = generateTags({.seed = seed,
                                        .mask = random.between(1, 15),
                                        .count = 10'000,
                                        .mean_gap_ps = 1e8,
                                        .start_ps = 1'000'000'000'000,
                                        .burst_chance = 0.1,
                                        .pause_chance = 0.001,
                                        .pause_ps = 900'000'000'000});
        Bytes bytes = testing::encodeDelta32(sent, 50, seed).bytes;
        damage(bytes, random, 20);
        ComparedDecoder decoder(testing::delta32Header());
        tags += compare(decoder, bytes, random, seed % 2 == 0 ? 16 : 20'000);
    }
    EXPECT_GT(tags, 100'000u);
}

TEST(StreamDecoderProperty, Delta32TagsDoNotDependOnTheCuts) {
    // Words are changed, and bytes lost well before the next sync, so that a loss is noticed before it.
    RandomSource random(6);
    expectSameTagsForAllCuts(testing::delta32Header(), delta32Soup(random, 20'000), 1, 5'000, "any words");
    const Tags sent =
        generateTags({.seed = 7, .count = 20'000, .mean_gap_ps = 1e7, .start_ps = 1'000'000'000'000});
    const testing::EncodedStream stream = testing::encodeDelta32(sent, 400, 7);
    Bytes bytes = stream.bytes;
    for (std::size_t i = sent.size(); i-- > 500;) {
        const bool sync_is_far =
            std::none_of(stream.synced.begin() + static_cast<std::ptrdiff_t>(i),
                         stream.synced.begin() + static_cast<std::ptrdiff_t>(std::min(i + 20, sent.size())),
                         [](bool synced) { return synced; });
        if (sync_is_far && random.chance(0.005))
            bytes.erase(bytes.begin() +
                        static_cast<std::ptrdiff_t>(stream.ends[i] / 8 - 1 - random.below(4)));
    }
    expectSameTagsForAllCuts(testing::delta32Header(), bytes, 1, 5'000, "lost bytes");
}

// --- packed ------------------------------------------------------------------------------------------------

StreamFileHeader randomPackedHeader(RandomSource& random, int bits) {
    const int quanta[] = {1, 2, 3, 4, 6, 8, 8, 8, 12, 16, 64, 1000, 4096, 32768};
    const StreamMode mode = random.chance(0.5) ? StreamMode::Internal : StreamMode::External;
    return packedHeader(mode, random.between(0, 15), bits, quanta[random.below(std::size(quanta))]);
}

// A payload of any size, small and extreme ones among them.
std::uint64_t randomPayload(RandomSource& random, const PackedBuilder& stream) {
    const std::uint64_t range = stream.allOnes();
    switch (random.below(4)) {
    case 0:
        return random.below(std::min<std::uint64_t>(range, 4) + 1);
    case 1:
        return range - std::min(range, random.below(3));
    default:
        return random.below(range + 1);
    }
}

// Records of all kinds in any order: steps and syncs of any size, and faults.
Bytes packedSoup(RandomSource& random, const StreamFileHeader& header, int records, double faults) {
    PackedBuilder stream(header.delta_bits);
    const int mask = (header.channel_mask & 15) == 0 ? 15 : header.channel_mask & 15;
    std::uint64_t absolute = random.bits() & 0xFFFFFFFFFFF;
    stream.bits(0, random.between(0, 30));
    for (int i = 0; i < records; ++i) {
        const int channel = random.between(0, 3);
        if ((mask >> channel & 1) == 0 && !random.chance(faults))
            continue;
        const double kind = random.unit();
        if (kind < 0.08) {
            if (random.chance(0.2))
                absolute = random.bits();
            else
                absolute += random.below(200'000);
            stream.sync(channel, absolute);
        } else if (kind < 0.08 + faults) {
            random.chance(0.5) ? stream.syncStart(channel)
                               : stream.bits(random.bits(), random.between(1, 12));
        } else if (kind < 0.2 && stream.allOnes() > 1) {
            stream.overflow(channel, std::min(randomPayload(random, stream), stream.allOnes() - 1));
        } else if (kind < 0.22 && header.delta_bits >= 6) {
            // Near the limits of the wrap rules, at this or another quantum.
            const std::uint64_t limits[] = {1078036791296, 3277060046848, 2199023255552, 1000000000000,
                                            10000000000};
            const std::uint64_t delta = limits[random.below(5)] / 8 * random.below(3) + random.below(4) - 1;
            if (PackedBuilder::deltaRecords(header.delta_bits, delta) < 1000)
                stream.delta(channel, delta);
        } else {
            stream.data(channel, std::min(randomPayload(random, stream), stream.allOnes()));
        }
    }
    return stream.bytes();
}

TEST(StreamDecoderProperty, PackedAgreesWithTheReferenceOnAnyRecords) {
    RandomSource random(8);
    std::size_t tags = 0;
    std::set<std::string> events; // the log's lines up to the first number
    for (int bits = 1; bits <= 31; ++bits) {
        for (int round = 0; round < 8; ++round) {
            const StreamFileHeader header = randomPackedHeader(random, bits);
            const Bytes bytes =
                packedSoup(random, header, 32'000 / (bits + 3), round % 2 == 0 ? 0.0005 : 0.005);
            testing::CapturedDebugLog log;
            ComparedDecoder decoder(header);
            tags += compare(decoder, bytes, random, round < 4 ? 700 : 4000);
            const std::vector<std::string> lines = log.take();
            ASSERT_EQ(lines, testing::asDebugLines(decoder.reference().log()))
                << bits << " bits, round " << round;
            ASSERT_FALSE(HasFailure())
                << bits << " bits, round " << round << ", quantum " << header.quantum_ps
                << ", the reference's last line: " << (lines.empty() ? "" : decoder.reference().log().back());
            for (const std::string& line : lines)
                events.insert(line.substr(0, line.find('=')));
        }
    }
    EXPECT_GT(tags, 35'000u);
    const std::set<std::string> all{"packed-decoder: drop implausible delta ch",
                                    "packed-decoder: drop implausible sync delta ch",
                                    "packed-decoder: drop inactive ch",
                                    "packed-decoder: drop nonmonotonic sync ch",
                                    "packed-decoder: drop ovf in sync ch",
                                    "packed-decoder: drop sync channel mismatch ch",
                                    "packed-decoder: locked bits",
                                    "packed-decoder: no alignment bits",
                                    "packed-decoder: reject internal alignment drop_bytes"};
    for (const std::string& event : all)
        EXPECT_TRUE(events.contains(event)) << event << " did not occur";
}

TEST(StreamDecoderProperty, PackedAgreesWithTheReferenceOnDamagedStreams) {
    RandomSource random(9);
    std::size_t tags = 0;
    for (int bits = 1; bits <= 31; ++bits) {
        for (std::uint64_t round = 0; round < 4; ++round) {
            StreamFileHeader header = randomPackedHeader(random, bits);
            header.quantum_ps = 8;
            const Tags sent = generateTags(
                {.seed = random.bits(),
                 .mask = header.channel_mask == 0 ? 15 : header.channel_mask,
                 .count = 2500,
                 .mean_gap_ps = std::min(2e6, 32.0 * static_cast<double>(1u << std::min(bits, 20))),
                 .start_ps = 14'315'000'000'000,
                 .resolution_ps = 8,
                 .burst_chance = 0.05,
                 .pause_chance = 0.002,
                 .pause_ps = 400'000'000'000});
            Bytes bytes =
                testing::encodePacked(sent, {.delta_bits = bits, .sync_every = 100, .seed = round}).bytes;
            bytes.erase(bytes.begin(), bytes.begin() + random.between(0, 40));
            damage(bytes, random, 4);
            ComparedDecoder decoder(header);
            tags += compare(decoder, bytes, random, round % 2 == 0 ? 1500 : 6000);
            ASSERT_FALSE(HasFailure()) << bits << " bits, round " << round;
        }
    }
    EXPECT_GT(tags, 100'000u);
}

TEST(StreamDecoderProperty, PackedAgreesWithTheReferenceByteByByte) {
    RandomSource random(10);
    std::size_t tags = 0;
    for (int bits = 1; bits <= 31; ++bits) {
        const StreamFileHeader header = randomPackedHeader(random, bits);
        Bytes bytes = packedSoup(random, header, 150, 0.002);
        bytes.resize(std::min<std::size_t>(bytes.size(), 250));
        ComparedDecoder decoder(header);
        tags += compare(decoder, bytes, random, 1);
        ASSERT_FALSE(HasFailure()) << bits << " bits";
    }
    EXPECT_GT(tags, 300u);
}

TEST(StreamDecoderProperty, PackedAgreesWithTheReferenceOnPureGarbage) {
    RandomSource random(11);
    for (const int bits : {1, 2, 3, 5, 8, 16, 31}) {
        Bytes bytes(8'000);
        for (std::uint8_t& byte : bytes)
            byte = random.chance(0.3) ? 0xFF : static_cast<std::uint8_t>(random.bits() & random.bits());
        ComparedDecoder decoder(packedHeader(StreamMode::External, bits % 2 == 0 ? 15 : 3, bits));
        compare(decoder, bytes, random, 4000);
    }
}

TEST(StreamDecoderProperty, PackedTagsDoNotDependOnTheCutsOnceLocked) {
    RandomSource random(12);
    for (int bits = 1; bits <= 31; ++bits) {
        const int mask = random.between(1, 15);
        const Tags sent =
            generateTags({.seed = random.bits(),
                          .mask = mask,
                          .count = 5000,
                          .mean_gap_ps = std::min(2e6, 32.0 * static_cast<double>(1u << std::min(bits, 20))),
                          .resolution_ps = 8,
                          .burst_chance = 0.05});
        const Bytes bytes = testing::encodePacked(sent, {.delta_bits = bits, .sync_every = 100}).bytes;
        const StreamMode mode = random.chance(0.5) ? StreamMode::Internal : StreamMode::External;
        expectSameTagsForAllCuts(packedHeader(mode, mask, bits), bytes, 2500, 5000,
                                 std::to_string(bits) + " bits");
    }
}

// --- many tags ---------------------------------------------------------------------------------------------

constexpr std::size_t kPiece = 1 << 18;

TEST(StreamDecoderProperty, AMillionPackedTagsAgreeWithTheReference) {
    for (const StreamMode mode : {StreamMode::Internal, StreamMode::External}) {
        Tags sent = generateTags({.seed = 13,
                                  .count = 1'000'000,
                                  .mean_gap_ps = 250'000,
                                  .resolution_ps = 8,
                                  .burst_chance = 0.02});
        const Bytes bytes = testing::encodePacked(sent, {.sync_every = 5000}).bytes;
        ComparedDecoder decoder(packedHeader(mode, 15));
        RandomSource random(13);
        compare(decoder, bytes, random, kPiece);
        EXPECT_TRUE(sameTags(sent, decoder.tags()));
    }
}

TEST(StreamDecoderProperty, AMillionDelta32TagsAgreeWithTheReference) {
    const Tags sent =
        generateTags({.seed = 14, .count = 1'000'000, .mean_gap_ps = 2.5e7, .burst_chance = 0.02});
    ComparedDecoder decoder(testing::delta32Header());
    RandomSource random(14);
    compare(decoder, testing::encodeDelta32(sent, 5000, 14).bytes, random, kPiece);
    EXPECT_TRUE(sameTags(sent, decoder.tags()));
}

TEST(StreamDecoderProperty, AMillionRaw64TagsAgreeWithTheReference) {
    const Tags sent =
        generateTags({.seed = 15, .count = 1'000'000, .mean_gap_ps = 2e8, .burst_chance = 0.02});
    ComparedDecoder decoder(testing::raw64Header("ps"));
    RandomSource random(15);
    compare(decoder, testing::encodeRaw64Picoseconds(sent).bytes, random, kPiece);
    EXPECT_TRUE(sameTags(sent, decoder.tags()));
}

} // namespace
} // namespace qorn
