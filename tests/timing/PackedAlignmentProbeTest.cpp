#include "CapturedDebugLog.h"
#include "ComparedDecoder.h"
#include "StreamBuilder.h"
#include "StreamHeaders.h"
#include "TagGenerator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <string>

namespace qorn {

namespace {

using testing::Bytes;
using testing::CapturedDebugLog;
using testing::ComparedDecoder;
using testing::PackedBuilder;
using testing::packedHeader;
using testing::RandomSource;
using testing::ReferenceDecoder;
using timing::PackedAlignment;
using timing::PackedDeltaDecoder;
using timing::StreamMode;

// A probe's result that can be compared and printed.
struct Found {
    std::uint64_t drop_bytes = 0;
    std::uint64_t bit_offset = 0;
    bool ok = false;

    bool operator==(const Found&) const = default;
};

Found toFound(const PackedAlignment& alignment) {
    return {alignment.drop_bytes, alignment.bit_offset, alignment.ok};
}

void PrintTo(const Found& place, std::ostream* out) {
    *out << (place.ok ? "byte " : "none, byte ") << place.drop_bytes << " bit " << place.bit_offset;
}

const Found kNone{};

// What the probe finds; the reference must find the same.
Found probe(const timing::StreamFileHeader& header, const Bytes& bytes, int bits, int width) {
    const PackedDeltaDecoder decoder(header);
    const Found found = toFound(decoder.probe_packed_alignment(bytes, bits, width));
    EXPECT_EQ(found, toFound(ReferenceDecoder(header).probe(bytes, bits, width)));
    EXPECT_EQ(found, toFound(decoder.probe_packed_alignment(bytes, bits, width)))
        << "the probe changes nothing";
    return found;
}

Found probe(StreamMode mode, int mask, const PackedBuilder& stream) {
    return probe(packedHeader(mode, mask, stream.deltaBits()), stream.bytes(), stream.deltaBits(),
                 stream.recordBits());
}

TEST(PackedAlignmentProbe, NothingIsFoundInNoBytesOrWithoutWidth) {
    const auto header = packedHeader(StreamMode::External, 1);
    const Bytes stream = PackedBuilder(16).sync(0, 1).data(0, 5).bytes();
    EXPECT_EQ(probe(header, {}, 16, 19), kNone);
    EXPECT_EQ(probe(header, stream, 0, 19), kNone);
    EXPECT_EQ(probe(header, stream, -1, 19), kNone);
    EXPECT_EQ(probe(header, stream, 16, 0), kNone);
    EXPECT_EQ(probe(header, stream, 16, -5), kNone);
    EXPECT_EQ(probe(header, stream, 16, 19), (Found{0, 0, true}));
}

TEST(PackedAlignmentProbe, LessThanARecordIsNothing) {
    for (std::size_t size = 1; size <= 3; ++size)
        EXPECT_EQ(probe(packedHeader(StreamMode::External, 1), Bytes(size, 0x3F), 16, 19), kNone);
}

TEST(PackedAlignmentProbe, OnlyASyncWithItsDataRecordCounts) {
    const auto found = [](const PackedBuilder& stream) { return probe(StreamMode::External, 1, stream).ok; };
    EXPECT_FALSE(found(PackedBuilder(16).repeat(0, 1, 50)));
    EXPECT_FALSE(found(PackedBuilder(16).sync(0, 0)));
    EXPECT_FALSE(found(PackedBuilder(16).sync(0, 0).overflow(0, 1)));
    EXPECT_TRUE(found(PackedBuilder(16).sync(0, 0).overflow(0, 1).data(0, 0)));
    EXPECT_TRUE(found(PackedBuilder(16).sync(0, 0).data(0, 0)));
    EXPECT_FALSE(
        probe(StreamMode::External, 6, PackedBuilder(16).sync(1, 0).data(2, 0).sync(2, 0).data(2, 0)).ok);
    EXPECT_TRUE(
        probe(StreamMode::External, 6, PackedBuilder(16).sync(1, 0).data(1, 0).sync(2, 0).data(2, 0)).ok);
    EXPECT_FALSE(
        probe(StreamMode::External, 6, PackedBuilder(16).sync(1, 0).sync(2, 0).data(1, 0).data(2, 0)).ok)
        << "the second sync takes the first one's place";
}

TEST(PackedAlignmentProbe, RecordsBeforeTheFirstSyncAreNotDropped) {
    EXPECT_EQ(probe(StreamMode::External, 1, PackedBuilder(16).repeat(0, 1, 7).sync(0, 0).data(0, 0)),
              (Found{0, 0, true}));
}

TEST(PackedAlignmentProbe, StreamMayBeginAtAnyBitOfAnyRecord) {
    for (int cut = 0; cut < 19; ++cut) {
        PackedBuilder stream(16);
        stream.bits(0, cut).sync(0, 0).repeat(0, 1, 5);
        EXPECT_EQ(probe(StreamMode::External, 1, stream),
                  (Found{static_cast<std::uint64_t>(cut / 8), static_cast<std::uint64_t>(cut % 8), true}))
            << cut;
    }
}

TEST(PackedAlignmentProbe, RecordsBeginBehindTheLastFault) {
    struct Fault {
        const char* name;
        int mask;
        PackedBuilder stream;
        std::uint64_t records; // up to and with the fault
    };
    const PackedBuilder lead = PackedBuilder(16).sync(0, 0).data(0, 0);
    for (const Fault& fault : {
             Fault{"inactive data", 1, PackedBuilder(lead).data(1, 0), 6},
             Fault{"inactive overflow", 1, PackedBuilder(lead).overflow(2, 1), 6},
             Fault{"inactive sync start", 1, PackedBuilder(lead).syncStart(3), 6},
             Fault{"inactive in a sync", 1, PackedBuilder(lead).syncStart(0).data(0, 0).data(2, 0), 8},
             Fault{"overflow in a sync", 1, PackedBuilder(lead).syncStart(0).data(0, 0).overflow(0, 3), 8},
             Fault{"sync in a sync", 1, PackedBuilder(lead).syncStart(0).data(0, 0).data(0, 0).syncStart(0),
                   9},
             Fault{"two faults", 1, PackedBuilder(lead).data(3, 0).data(0, 0).data(2, 0), 8},
         }) {
        PackedBuilder stream = fault.stream;
        stream.sync(0, 0).repeat(0, 1, 4);
        const std::uint64_t bit = fault.records * 19;
        EXPECT_EQ(probe(StreamMode::External, fault.mask, stream), (Found{bit / 8, bit % 8, true}))
            << fault.name;
    }
    // Another active channel inside a sync.
    PackedBuilder stream(16);
    stream.sync(0, 0)
        .data(0, 0)
        .sync(1, 0)
        .data(1, 0)
        .syncStart(0)
        .data(1, 0)
        .sync(0, 0)
        .data(0, 1)
        .sync(1, 0)
        .data(1, 1);
    EXPECT_EQ(probe(StreamMode::External, 3, stream), (Found{12 * 19 / 8, 12 * 19 % 8, true}));
}

TEST(PackedAlignmentProbe, AFaultForgetsWhatWasCounted) {
    // Channel 0 has its sync before the fault and channel 1 behind it.
    PackedBuilder stream(16);
    stream.sync(0, 0).data(0, 0).data(2, 0).sync(1, 0).data(1, 0).data(0, 0);
    EXPECT_FALSE(probe(StreamMode::External, 3, stream).ok);
    // A sync before the fault has no data record behind it.
    EXPECT_FALSE(probe(StreamMode::External, 1, PackedBuilder(16).sync(0, 0).data(2, 0).data(0, 0)).ok);
}

// Leading bits, then a false sync start that makes the true one behind it a fault: only a probe that begins
// between the two finds the records.
Found probeBehind(int mask, int lead, int channels) {
    PackedBuilder stream(16);
    stream.bits(0, lead - 19).syncStart(0);
    for (int channel = 0; channel < channels; ++channel)
        stream.sync(channel, 0).data(channel, 0);
    return probe(StreamMode::External, mask, stream);
}

TEST(PackedAlignmentProbe, ReachIs16BytesForOneChannelAnd64ForMore) {
    EXPECT_EQ(probeBehind(1, 16 * 8 + 18, 1), (Found{18, 2, true}));
    EXPECT_FALSE(probeBehind(1, 16 * 8 + 19, 1).ok);
    EXPECT_EQ(probeBehind(3, 64 * 8 + 18, 2), (Found{66, 2, true}));
    EXPECT_FALSE(probeBehind(3, 64 * 8 + 19, 2).ok);
}

TEST(PackedAlignmentProbe, SampleIs65536Bytes) {
    const int records = 65536 * 8 / 19;
    for (const int fault : {records - 1, records}) {
        PackedBuilder stream(16);
        stream.sync(0, 0).repeat(0, 0, fault - 4).data(1, 0).repeat(0, 0, 500);
        EXPECT_EQ(probe(StreamMode::External, 1, stream).ok, fault == records) << fault;
    }
}

struct Required {
    StreamMode mode;
    int mask;
    std::initializer_list<int> synced;
    bool found;
};

TEST(PackedAlignmentProbe, InternalModeNeedsAllChannelsAndExternalModeTwo) {
    const StreamMode internal = StreamMode::Internal;
    const StreamMode external = StreamMode::External;
    for (const Required& test : {
             Required{internal, 1, {0}, true},           Required{internal, 4, {2}, true},
             Required{internal, 3, {0}, false},          Required{internal, 3, {0, 1}, true},
             Required{internal, 7, {0, 2}, false},       Required{internal, 7, {0, 1, 2}, true},
             Required{internal, 15, {0, 1, 2}, false},   Required{internal, 15, {3, 2, 1, 0}, true},
             Required{internal, 0, {0, 1, 2}, false},    Required{internal, 0, {0, 1, 2, 3}, true},
             Required{internal, 0xF0, {0, 1, 2}, false}, Required{internal, 0xF1, {0}, true},
             Required{external, 1, {0}, true},           Required{external, 8, {3}, true},
             Required{external, 3, {0}, false},          Required{external, 3, {1, 0}, true},
             Required{external, 15, {2}, false},         Required{external, 15, {0, 3}, true},
             Required{external, 0, {1}, false},          Required{external, 0, {1, 2}, true},
             Required{external, 0xF0, {1}, false},       Required{external, 0xF0, {1, 2}, true},
         }) {
        PackedBuilder stream(16);
        for (const int channel : test.synced)
            stream.sync(channel, 0).repeat(channel, 0, 3);
        EXPECT_EQ(probe(test.mode, test.mask, stream).ok, test.found)
            << (test.mode == internal ? "internal" : "external") << " mask " << test.mask << ", "
            << test.synced.size() << " synced";
    }
}

TEST(PackedAlignmentProbe, InternalModeRejectsCountsApartByMoreThanAFactorOfTwo) {
    struct Counts {
        int mask;
        std::vector<int> counts;
        bool found;
    };
    for (const Counts& test : {Counts{3, {2, 4}, true}, Counts{3, {2, 5}, false}, Counts{3, {4, 2}, true},
                               Counts{3, {5, 2}, false}, Counts{15, {10, 15, 20, 10}, true},
                               Counts{15, {10, 15, 21, 10}, false}, Counts{1, {50}, true}}) {
        for (const StreamMode mode : {StreamMode::Internal, StreamMode::External}) {
            PackedBuilder stream(16);
            for (std::size_t channel = 0; channel < test.counts.size(); ++channel)
                stream.sync(static_cast<int>(channel), 0)
                    .repeat(static_cast<int>(channel), 0, test.counts[channel]);
            EXPECT_EQ(probe(mode, test.mask, stream).ok, test.found || mode == StreamMode::External)
                << test.counts.front() << (mode == StreamMode::Internal ? " internal" : " external");
        }
    }
}

// --- which of several wins ---------------------------------------------------------------------------------

TEST(PackedAlignmentProbe, TheGreaterTotalWins) {
    // A probe from the first bit on reads a sync start that spoils the first sync, and finds the second.
    for (const int mask : {1, 3}) {
        PackedBuilder stream(16);
        stream.syncStart(0);
        for (const int count : {10, 3}) {
            for (int channel = 0; channel < (mask == 3 ? 2 : 1); ++channel)
                stream.sync(channel, 0).repeat(channel, 0, count);
        }
        EXPECT_EQ(probe(StreamMode::External, mask, stream), (Found{2, 3, true})) << mask;
    }
}

TEST(PackedAlignmentProbe, MoreSyncedChannelsWin) {
    // The spoilt sync is the only one of its channel.
    PackedBuilder stream(16);
    stream.syncStart(0).sync(0, 0).data(0, 0).sync(1, 0).repeat(1, 0, 5).sync(2, 0).repeat(2, 0, 5);
    EXPECT_EQ(probe(StreamMode::External, 15, stream), (Found{2, 3, true}));
}

// Syncs at random bits among zeros, which are data of channel 0 at every alignment, so that alignments rival.
PackedBuilder rivalStream(RandomSource& random, int bits, int mask) {
    PackedBuilder stream(bits);
    if (random.chance(0.4)) {
        for (int channel = 0; channel < 4; ++channel) {
            if ((mask >> channel & 1) != 0)
                stream.sync(channel, 0).repeat(channel, 0, random.between(1, 9));
        }
    }
    for (int i = random.between(0, 12); i > 0; --i) {
        int channel = random.between(0, 3);
        while ((mask >> channel & 1) == 0 && random.chance(0.98))
            channel = random.between(0, 3);
        stream.bits(0, random.between(0, 3 * (bits + 3)));
        stream.sync(channel, random.chance(0.5) ? 0 : random.bits());
        if (random.chance(0.8))
            stream.repeat(channel, 0, random.between(1, 8));
        if (random.chance(0.2))
            stream.bits(random.bits(), random.between(1, 60));
    }
    return stream;
}

TEST(PackedAlignmentProbe, AmongRivalsTheSameAlignmentWinsAsInTheReference) {
    RandomSource random(20240611);
    int found = 0;
    int moved = 0;
    int rejected = 0;
    for (int round = 0; round < 3000; ++round) {
        const int bits = random.between(1, random.chance(0.5) ? 6 : 31);
        const int mask = random.chance(0.3) ? 15 : random.between(1, 15);
        const Bytes bytes = rivalStream(random, bits, mask).bytes();
        const auto mode = random.chance(0.5) ? StreamMode::Internal : StreamMode::External;
        const auto header = packedHeader(mode, mask, bits);
        CapturedDebugLog log;
        const PackedDeltaDecoder decoder(header);
        ReferenceDecoder reference(header);
        const Found expected = toFound(reference.probe(bytes, bits, bits + 3));
        ASSERT_EQ(toFound(decoder.probe_packed_alignment(bytes, bits, bits + 3)), expected)
            << "round " << round;
        ASSERT_EQ(log.take(), testing::asDebugLines(reference.log())) << "round " << round;
        found += expected.ok ? 1 : 0;
        moved += expected.drop_bytes + expected.bit_offset > 0 ? 1 : 0;
        rejected += reference.log().empty() ? 0 : 1;
    }
    EXPECT_GT(found, 500);
    EXPECT_GT(moved, 300);
    EXPECT_GT(rejected, 100);
}

TEST(PackedAlignmentProbe, OnDamagedStreamsTheSameAlignmentWinsAsInTheReference) {
    RandomSource random(77);
    int found = 0;
    for (int round = 0; round < 300; ++round) {
        const int bits = random.between(1, 31);
        const int mask = random.between(1, 15);
        PackedBuilder stream(bits);
        stream.bits(random.bits(), random.between(0, 40));
        const int records = random.between(10, 400);
        for (int i = 0; i < records; ++i) {
            const int channel = random.between(0, 3);
            if ((mask >> channel & 1) == 0 && !random.chance(0.002))
                continue;
            if (random.chance(0.05))
                stream.sync(channel, random.bits());
            else if (random.chance(0.01))
                stream.bits(random.bits(), random.between(1, 8)); // a slip
            else
                stream.record(channel, random.chance(0.1) ? 1 : 0, random.below(stream.allOnes()));
        }
        const auto header =
            packedHeader(random.chance(0.5) ? StreamMode::Internal : StreamMode::External, mask, bits);
        found += probe(header, stream.bytes(), bits, bits + 3).ok ? 1 : 0;
    }
    EXPECT_GT(found, 100);
}

// --- waiting for an alignment ------------------------------------------------------------------------------

// Bytes without the ones of a sync start.
Bytes dullBytes(std::size_t count) {
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 7 % 16);
    return bytes;
}

TEST(PackedAlignmentProbe, UnalignedBytesWaitUpTo65536AndThenTheLast4096Stay) {
    struct Waiting {
        std::size_t bytes;
        std::size_t left;
    };
    for (const Waiting& test : {Waiting{1, 1}, Waiting{4095, 4095}, Waiting{4096, 4096},
                                Waiting{65536, 65536}, Waiting{65537, 4096}, Waiting{70000, 4096}}) {
        ComparedDecoder decoder(packedHeader(StreamMode::External, 1));
        const Bytes bytes = dullBytes(test.bytes);
        EXPECT_TRUE(decoder.feed(bytes).empty());
        ASSERT_EQ(decoder.decoder().raw().size(), test.left) << test.bytes;
        EXPECT_TRUE(std::equal(decoder.decoder().raw().begin(), decoder.decoder().raw().end(),
                               bytes.end() - static_cast<std::ptrdiff_t>(test.left)));
    }
}

TEST(PackedAlignmentProbe, ADecoderThatWaitedLongLocksOnTheFirstSync) {
    ComparedDecoder decoder(packedHeader(StreamMode::External, 1));
    decoder.feed(dullBytes(65536));
    decoder.feed(Bytes(2, 0x01));
    EXPECT_EQ(decoder.decoder().raw().size(), 4096u);
    const Bytes stream = PackedBuilder(16).sync(0, 50).data(0, 1).data(0, 1).bytes();
    const std::vector<timing::TimeTag> tags = decoder.feed(stream);
    ASSERT_EQ(tags.size(), 2u);
    EXPECT_EQ(tags[0], (timing::TimeTag{0, 408}));
}

} // namespace
} // namespace qorn
