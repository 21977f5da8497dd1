#include "PackedSession.h"
#include "StreamBuilder.h"
#include "StreamHeaders.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace qorn {
namespace {

using testing::Bytes;
using testing::ComparedDecoder;
using testing::PackedBuilder;
using testing::packedHeader;
using testing::PackedSession;
using testing::sameTags;
using timing::StreamMode;
using timing::TimeTag;
using Tags = std::vector<TimeTag>;

constexpr StreamMode kModes[] = {StreamMode::Internal, StreamMode::External};

Bytes exampleBytes() {
    return testing::bytesFromHex("3F FF E0 00 04 00 00 00 00 00 00 0A 00 01 C0");
}

TEST(PackedDeltaDecoder, ExampleDecodes) {
    for (const StreamMode mode : kModes) {
        ComparedDecoder decoder(packedHeader(mode, 1));
        EXPECT_TRUE(sameTags(Tags{{0, 48}, {0, 104}}, decoder.feed(exampleBytes())));
        EXPECT_TRUE(decoder.decoder().packed()->is_locked());
        EXPECT_EQ(decoder.decoder().raw().size(), 1u) << "six padding bits stay";
        EXPECT_EQ(decoder.decoder().raw()[0], 0xC0);
    }
}

TEST(PackedDeltaDecoder, ExampleIsWhatTheBuilderWrites) {
    EXPECT_EQ(PackedBuilder(16).sync(0, 1).data(0, 5).data(0, 7).bytes(), exampleBytes());
}

TEST(PackedDeltaDecoder, ZeroWidthMeans16BitsAndZeroQuantumEightPicoseconds) {
    ComparedDecoder decoder(packedHeader(StreamMode::External, 1, 0, 0));
    EXPECT_TRUE(sameTags(Tags{{0, 48}, {0, 104}}, decoder.feed(exampleBytes())));
}

TEST(PackedDeltaDecoder, QuantumCountsByItsPowerOfTwo) {
    struct Quantum {
        int header;
        std::int64_t ps;
    };
    for (const Quantum& quantum :
         {Quantum{0, 8}, Quantum{1, 1}, Quantum{2, 2}, Quantum{3, 1}, Quantum{4, 4}, Quantum{5, 1},
          Quantum{6, 2}, Quantum{8, 8}, Quantum{10, 2}, Quantum{12, 4}, Quantum{16, 16}, Quantum{48, 16},
          Quantum{1000, 8}, Quantum{32768, 32768}, Quantum{65535, 1}, Quantum{65534, 2}}) {
        ComparedDecoder decoder(packedHeader(StreamMode::External, 1, 16, quantum.header));
        EXPECT_TRUE(sameTags(Tags{{0, 6 * quantum.ps}, {0, 13 * quantum.ps}}, decoder.feed(exampleBytes())))
            << quantum.header;
    }
}

TEST(PackedDeltaDecoder, WidthsAbove31DoNothingAndTheBytesStay) {
    for (const int bits : {32, 33, 64, 255}) {
        ComparedDecoder decoder(packedHeader(StreamMode::External, 1, bits));
        for (std::size_t round = 1; round < 100; ++round) {
            EXPECT_TRUE(decoder.feed(Bytes(1000, 0)).empty());
            EXPECT_EQ(decoder.decoder().raw().size(), round * 1000) << bits;
        }
        EXPECT_FALSE(decoder.decoder().packed()->is_locked());
    }
}

TEST(PackedDeltaDecoder, EveryWidthReadsTheAbsoluteTimeLeastSignificantChunkFirst) {
    for (int bits = 1; bits <= 31; ++bits) {
        for (const std::uint64_t absolute : {0x15A5A5A5A5AULL, 0x0F00FF00F0FULL, 1ULL, 0x10000000000ULL}) {
            PackedSession session(packedHeader(StreamMode::External, 1, bits, 1));
            session.next().sync(0, absolute).repeat(0, 1, 64);
            Tags expected;
            for (std::int64_t i = 1; i <= 64; ++i)
                expected.push_back({0, static_cast<std::int64_t>(absolute) + i});
            EXPECT_TRUE(sameTags(expected, session.send())) << bits << " bits, absolute time " << absolute;
        }
    }
}

TEST(PackedDeltaDecoder, ChunkBitsAboveThe41stAreNotPartOfTheTime) {
    for (int bits = 2; bits <= 31; ++bits) {
        PackedSession session(packedHeader(StreamMode::External, 1, bits, 1));
        const std::uint64_t all = 0x7FFFFFFFFFFFFFFF;
        session.next().sync(0, all).repeat(0, 1, 64);
        const Tags tags = session.send();
        ASSERT_EQ(tags.size(), 64u) << bits;
        EXPECT_EQ(tags[0].timestamp_ps, 0x20000000000) << bits;
    }
}

TEST(PackedDeltaDecoder, FirstSyncTakesTheAbsoluteTimeModuloTheCounterPeriod) {
    struct First {
        int quantum;
        std::uint64_t absolute;
        std::int64_t time;
    };
    for (const First& first : {First{1, 0x1FFFFFFFFFF, 2199023255551}, First{2, 0x1FFFFFFFFFF, 4398046511102},
                               First{4, 0x1FFFFFFFFFF, 8796093022204}, First{8, 0x1FFFFFFFFFF, 3277060046840},
                               First{8, 1789390749696, 0}, First{8, 1789390749695, 14315125997560},
                               First{16, 894695374848 + 3, 48}, First{32768, 436862976 + 2, 65536}}) {
        PackedSession session(packedHeader(StreamMode::Internal, 2, 16, first.quantum));
        session.next().sync(1, first.absolute).data(1, 0);
        EXPECT_TRUE(sameTags(Tags{{1, first.time}}, session.send()))
            << first.quantum << ' ' << first.absolute;
    }
}

TEST(PackedDeltaDecoder, RecordsOfEveryChannelDecode) {
    for (const StreamMode mode : kModes) {
        PackedSession session(packedHeader(mode, 15));
        for (int channel = 0; channel < 4; ++channel)
            session.next().sync(channel, static_cast<std::uint64_t>(100 * channel)).data(channel, 1);
        session.next().data(3, 65535).data(1, 2).data(0, 3).data(2, 0);
        const Tags expected{{0, 8},        {1, 808}, {2, 1608}, {3, 2408}, {3, 2408 + 65535 * 8},
                            {1, 808 + 16}, {0, 32},  {2, 1608}};
        EXPECT_TRUE(sameTags(expected, session.send()));
    }
}

TEST(PackedDeltaDecoder, ZeroMaskMeansAllChannelsAndHighMaskBitsDoNotCount) {
    for (const int mask : {0, 0x10, 0xF0, 0xFF}) {
        PackedSession session(packedHeader(StreamMode::Internal, mask));
        EXPECT_EQ(session.lock().size(), 4u) << mask;
        session.next().data(3, 1);
        EXPECT_EQ(session.send().size(), 1u) << mask;
    }
    PackedSession session(packedHeader(StreamMode::Internal, 0xF1));
    EXPECT_EQ(session.lock().size(), 1u);
    session.next().data(3, 1);
    EXPECT_TRUE(session.send().empty());
    EXPECT_FALSE(session.isLocked());
}

TEST(PackedDeltaDecoder, DataBeforeTheFirstSyncIsDroppedAndItsOverflowsAreCleared) {
    PackedSession session(packedHeader(StreamMode::External, 1));
    session.next().data(0, 9).overflow(0, 3).data(0, 1).overflow(0, 4).sync(0, 100).data(0, 1);
    EXPECT_TRUE(sameTags(Tags{{0, 808}}, session.send()));
}

TEST(PackedDeltaDecoder, AChannelWithoutSyncStaysSilent) {
    PackedSession session(packedHeader(StreamMode::External, 7));
    session.next().sync(0, 5).data(0, 0).sync(1, 5).data(1, 0).data(2, 7).data(0, 1).overflow(2, 1).data(2,
                                                                                                         7);
    EXPECT_TRUE(sameTags(Tags{{0, 40}, {1, 40}, {0, 48}}, session.send()));
    session.next().sync(2, 50).data(2, 1);
    EXPECT_TRUE(sameTags(Tags{{2, 408}}, session.send()));
}

TEST(PackedDeltaDecoder, OverflowsAddUpInUnitsOfThePayloadRange) {
    for (const int bits : {2, 5, 16, 31}) {
        PackedSession session(packedHeader(StreamMode::External, 1, bits, 1));
        session.lock(10);
        const std::uint64_t most = session.next().allOnes() - 1;
        session.next().overflow(0, most).overflow(0, 0).overflow(0, 1).data(0, 1).data(0, 1);
        const std::int64_t delta = static_cast<std::int64_t>((most + 1) << bits) + 1;
        // With 31 bits the time goes far beyond every rule of a wrap.
        const std::int64_t time = 10 + (bits == 31 ? delta - 1078036791296 : delta);
        EXPECT_TRUE(sameTags(Tags{{0, time}, {0, time + 1}}, session.send())) << bits;
    }
}

TEST(PackedDeltaDecoder, OverflowsBelongToTheirChannel) {
    PackedSession session(packedHeader(StreamMode::External, 3));
    session.lock();
    session.next().overflow(1, 1).data(0, 1).data(0, 1).data(1, 1).data(1, 1);
    EXPECT_TRUE(sameTags(Tags{{0, 8}, {0, 16}, {1, 65537 * 8}, {1, 65538 * 8}}, session.send()));
}

TEST(PackedDeltaDecoder, SyncStartClearsTheOverflowsOfItsChannelAlone) {
    PackedSession session(packedHeader(StreamMode::External, 3));
    session.lock();
    session.next().overflow(0, 1).overflow(1, 1).sync(0, 1000).data(0, 1).data(1, 1);
    EXPECT_TRUE(sameTags(Tags{{0, 8008}, {1, 65537 * 8}}, session.send()));
}

TEST(PackedDeltaDecoder, SyncStartBehindOverflowsIsASyncAtAnyWidthAndQuantum) {
    // Were it taken for an overflow, the sum would leave 64 bits at the widest records and look harmless.
    for (int bits = 2; bits <= 31; ++bits) {
        for (const int quantum : {1, 8, 4096, 32768}) {
            for (const std::uint64_t overflow : {0, 1, 2}) {
                PackedSession session(packedHeader(StreamMode::External, 1, bits, quantum));
                session.lock(10);
                session.next().overflow(0, overflow).sync(0, 20).data(0, 1).data(0, 0);
                const std::int64_t time = 21 * quantum;
                EXPECT_TRUE(sameTags(Tags{{0, time}, {0, time}}, session.send()))
                    << bits << " bits, quantum " << quantum << ", overflow " << overflow;
            }
        }
    }
}

TEST(PackedDeltaDecoder, OverflowBehindASyncCountsForItsDataRecord) {
    PackedSession session(packedHeader(StreamMode::External, 1));
    session.next().sync(0, 100).overflow(0, 2).overflow(0, 1).data(0, 1);
    EXPECT_TRUE(sameTags(Tags{{0, (100 + 3 * 65536 + 1) * 8}}, session.send()));
}

TEST(PackedDeltaDecoder, SyncAloneEmitsNothingAndWaitsForItsChannel) {
    PackedSession session(packedHeader(StreamMode::External, 3));
    session.lock();
    session.next().sync(0, 1000);
    EXPECT_TRUE(session.send().empty());
    session.next().data(1, 5).data(1, 6).data(0, 2).data(0, 2);
    EXPECT_TRUE(sameTags(Tags{{1, 40}, {1, 88}, {0, 8016}, {0, 8032}}, session.send()));
}

TEST(PackedDeltaDecoder, OnlyTheLastOfTwoSyncsIsPending) {
    PackedSession session(packedHeader(StreamMode::External, 3));
    session.lock();
    session.next().sync(0, 1000).sync(1, 2000).data(0, 5).data(1, 5);
    EXPECT_TRUE(sameTags(Tags{{0, 40}, {1, 16040}}, session.send()));
    session.next().sync(0, 3000).sync(0, 4000).data(0, 5);
    EXPECT_TRUE(sameTags(Tags{{0, 32040}}, session.send()));
}

TEST(PackedDeltaDecoder, AnUnusedFirstSyncLeavesItsChannelWithoutTime) {
    PackedSession session(packedHeader(StreamMode::External, 7));
    session.next().sync(0, 5).data(0, 0).sync(2, 7).sync(1, 5).data(1, 0).data(2, 7).data(2, 7);
    EXPECT_TRUE(sameTags(Tags{{0, 40}, {1, 40}}, session.send()));
}

TEST(PackedDeltaDecoder, StateIsKeptFromPieceToPiece) {
    // Locked by the first bytes; then one byte at a time through a sync, overflows and data.
    ComparedDecoder decoder(packedHeader(StreamMode::External, 1));
    const Bytes lead = exampleBytes();
    decoder.feed(std::span(lead).first(14));
    PackedBuilder builder(16);
    builder.sync(0, 1).data(0, 5).data(0, 7).overflow(0, 3).data(0, 1).sync(0, 400000).overflow(0, 1).data(0,
                                                                                                           2);
    const Bytes all = builder.bytes();
    for (std::size_t at = 14; at < all.size(); ++at)
        decoder.feed(std::span(all).subspan(at, 1));
    const std::int64_t third = 104 + (3 * 65536 + 1) * 8;
    EXPECT_TRUE(sameTags(Tags{{0, 48}, {0, 104}, {0, third}, {0, (400000 + 65536 + 2) * 8}}, decoder.tags()));
}

TEST(PackedDeltaDecoder, RecordsMayBeginAtAnyBit) {
    for (int bits = 1; bits <= 31; ++bits) {
        for (int lead = 0; lead < bits + 3; ++lead) {
            // The leading bits are zeros: of a channel that has no time yet.
            PackedBuilder builder(bits);
            builder.bits(0, lead).sync(0, 3).repeat(0, 1, 40);
            ComparedDecoder decoder(packedHeader(StreamMode::External, 1, bits, 1));
            const Tags tags = decoder.feed(builder.bytes());
            ASSERT_GE(tags.size(), 40u) << bits << " bits behind " << lead;
            for (std::size_t i = 0; i < 40; ++i)
                ASSERT_EQ(tags[i], (TimeTag{0, 4 + static_cast<std::int64_t>(i)}))
                    << bits << " bits behind " << lead;
        }
    }
}

// --- losing the lock ---------------------------------------------------------------------------------------

TEST(PackedDeltaDecoder, InactiveChannelUnlocksAndTheTagsBeforeAreKept) {
    for (const StreamMode mode : kModes) {
        for (const int inactive : {1, 2, 3}) {
            for (const int flag : {0, 1}) {
                PackedSession session(packedHeader(mode, 1));
                session.lock();
                session.next().data(0, 1).data(0, 2).record(inactive, flag, 7).data(0, 3);
                EXPECT_TRUE(sameTags(Tags{{0, 8}, {0, 24}}, session.send()));
                EXPECT_FALSE(session.isLocked());
            }
        }
    }
}

TEST(PackedDeltaDecoder, AnotherChannelInsideASyncUnlocks) {
    for (int chunks = 0; chunks < 3; ++chunks) {
        PackedSession session(packedHeader(StreamMode::External, 3));
        session.lock();
        session.next().data(0, 1).syncStart(0);
        for (int i = 0; i < chunks; ++i)
            session.next().data(0, 0);
        session.next().data(1, 0).data(0, 3);
        EXPECT_TRUE(sameTags(Tags{{0, 8}}, session.send())) << chunks;
        EXPECT_FALSE(session.isLocked()) << chunks;
    }
}

TEST(PackedDeltaDecoder, OverflowFlagInsideASyncUnlocks) {
    for (int chunks = 0; chunks < 3; ++chunks) {
        for (const std::uint64_t payload : {0, 1, 65535}) {
            PackedSession session(packedHeader(StreamMode::External, 3));
            session.lock();
            session.next().data(0, 1).syncStart(0);
            for (int i = 0; i < chunks; ++i)
                session.next().data(0, 0);
            session.next().overflow(0, payload).data(0, 3);
            EXPECT_TRUE(sameTags(Tags{{0, 8}}, session.send())) << chunks;
            EXPECT_FALSE(session.isLocked()) << chunks;
        }
    }
}

TEST(PackedDeltaDecoder, AFailConsumesTheRecordsUpToTheFaultyOne) {
    for (int before = 0; before < 9; ++before) {
        PackedSession session(packedHeader(StreamMode::External, 1));
        session.lock();
        session.next().repeat(0, 1, before).data(2, 0).repeat(0, 1, 15 - before);
        EXPECT_EQ(session.send().size(), static_cast<std::size_t>(before));
        EXPECT_EQ(session.pendingBytes(), static_cast<std::size_t>(38 - 19 * (before + 1) / 8)) << before;
    }
}

TEST(PackedDeltaDecoder, TheRestOfAFailedPieceDecodesInTheNextPass) {
    PackedSession session(packedHeader(StreamMode::External, 1));
    session.lock();
    session.next().data(0, 1).data(2, 0).sync(0, 77).data(0, 1).data(0, 2);
    EXPECT_TRUE(sameTags(Tags{{0, 8}}, session.send()));
    EXPECT_FALSE(session.isLocked());
    EXPECT_TRUE(sameTags(Tags{{0, 624}, {0, 640}}, session.passAgain()));
    EXPECT_TRUE(session.isLocked());
}

TEST(PackedDeltaDecoder, AFailForgetsTimesOverflowsAndSyncs) {
    const auto fail = [](PackedSession& session) {
        session.next().data(3, 0);
        session.send();
        EXPECT_FALSE(session.isLocked());
    };
    {
        // Times: the next sync may lie far behind, and data before it is dropped.
        PackedSession session(packedHeader(StreamMode::Internal, 1));
        session.lock(0x10000000000);
        fail(session);
        session.next().data(0, 9).sync(0, 5).data(0, 1);
        EXPECT_TRUE(sameTags(Tags{{0, 48}}, session.send()));
    }
    {
        // Overflows.
        PackedSession session(packedHeader(StreamMode::External, 3));
        session.lock();
        session.next().overflow(0, 1).overflow(1, 1);
        fail(session);
        session.next().sync(0, 5).data(0, 1).sync(1, 5).data(1, 1);
        EXPECT_TRUE(sameTags(Tags{{0, 48}, {1, 48}}, session.send()));
    }
    {
        // A sync that waits for its data record.
        PackedSession session(packedHeader(StreamMode::External, 3));
        session.lock();
        session.next().sync(1, 1000);
        fail(session);
        session.next().data(1, 7).sync(0, 5).data(0, 1).data(1, 7).sync(1, 5).data(1, 1);
        EXPECT_TRUE(sameTags(Tags{{0, 48}, {1, 48}}, session.send()));
    }
    {
        // A sync that has begun.
        PackedSession session(packedHeader(StreamMode::External, 3));
        session.lock();
        session.next().syncStart(0).data(0, 0xFFFF);
        fail(session);
        session.next().sync(0, 5).data(0, 1).sync(1, 5).data(1, 1);
        EXPECT_TRUE(sameTags(Tags{{0, 48}, {1, 48}}, session.send()));
    }
}

TEST(PackedDeltaDecoder, AnyModeButZeroIsExternal) {
    for (const int mode : {1, 2, -1, 77}) {
        PackedSession session(packedHeader(static_cast<StreamMode>(mode), 1, 31));
        session.lock();
        session.next().delta(0, 125000000001);
        EXPECT_TRUE(sameTags(Tags{{0, 1000000000008}}, session.send())) << mode;
    }
}

// --- the imbalance test ------------------------------------------------------------------------------------

// How many tags of channels 0 to 3 come in one piece, on a locked decoder.
struct Balance {
    StreamMode mode;
    int mask;
    int counts[4];
    bool kept;
};

TEST(PackedDeltaDecoder, UnevenBatchesOfInternalModeAreDiscarded) {
    const StreamMode internal = StreamMode::Internal;
    for (const Balance& test : {
             Balance{internal, 3, {4096, 0, 0, 0}, false},
             Balance{internal, 3, {0, 4096, 0, 0}, false},
             Balance{internal, 3, {4095, 0, 0, 0}, true},
             Balance{internal, 3, {3640, 455, 0, 0}, true}, // 4095 tags are too few for a verdict
             Balance{internal, 3, {3641, 455, 0, 0}, false},
             Balance{internal, 3, {3648, 456, 0, 0}, true}, // eight times is still even
             Balance{internal, 3, {3649, 456, 0, 0}, false},
             Balance{internal, 3, {456, 3649, 0, 0}, false},
             Balance{internal, 10, {0, 3648, 0, 456}, true},
             Balance{internal, 10, {0, 3649, 0, 456}, false},
             Balance{internal, 15, {1400, 1400, 1400, 175}, true},
             Balance{internal, 15, {1400, 1401, 1400, 175}, false},
             Balance{internal, 15, {1400, 1400, 1400, 0}, false},
             Balance{internal, 0, {1400, 1400, 1400, 0}, false},
             Balance{internal, 1, {9000, 0, 0, 0}, true}, // one channel is always even
             Balance{StreamMode::External, 3, {4096, 0, 0, 0}, true},
             Balance{StreamMode::External, 15, {9000, 1, 0, 0}, true},
         }) {
        PackedSession session(packedHeader(test.mode, test.mask));
        ASSERT_FALSE(session.lock().empty());
        std::size_t sent = 0;
        for (int channel = 0; channel < 4; ++channel) {
            session.next().repeat(channel, 1, test.counts[channel]);
            sent += static_cast<std::size_t>(test.counts[channel]);
        }
        const std::string name = std::to_string(test.counts[0]) + ' ' + std::to_string(test.counts[1]);
        EXPECT_EQ(session.send().size(), test.kept ? sent : 0) << name;
        EXPECT_EQ(session.isLocked(), test.kept) << name;
        EXPECT_EQ(session.pendingBytes(), 0u) << name << ": all records are consumed";
    }
}

TEST(PackedDeltaDecoder, StreamIsProbedAgainBehindADiscardedBatch) {
    PackedSession session(packedHeader(StreamMode::Internal, 3));
    session.lock();
    session.next().repeat(0, 1, 4096);
    EXPECT_TRUE(session.send().empty());
    session.next().data(0, 1).data(1, 1);
    EXPECT_TRUE(session.send().empty()) << "times are forgotten";
    EXPECT_FALSE(session.isLocked());
    EXPECT_EQ(session.lock(50).size(), 2u);
}

TEST(PackedDeltaDecoder, TagsBeforeAFaultAreKeptHoweverUnevenTheyAre) {
    PackedSession session(packedHeader(StreamMode::Internal, 3));
    session.lock();
    session.next().repeat(0, 1, 5000).data(2, 0);
    EXPECT_EQ(session.send().size(), 5000u);
    EXPECT_FALSE(session.isLocked());
}

TEST(PackedDeltaDecoder, BalanceIsJudgedByTheTagsOfOnePass) {
    PackedSession session(packedHeader(StreamMode::Internal, 3));
    session.lock();
    for (int round = 0; round < 3; ++round) {
        session.next().repeat(0, 1, 4095);
        EXPECT_EQ(session.send().size(), 4095u);
    }
    EXPECT_TRUE(session.isLocked());
}

TEST(PackedDeltaDecoder, BatchThatLocksIsJudgedToo) {
    // The probe looks at 65536 bytes, which are even; what follows them is not.
    PackedSession session(packedHeader(StreamMode::Internal, 3));
    session.next().sync(0, 0).data(0, 0).sync(1, 0).data(1, 0);
    for (int i = 0; i < 14000; ++i)
        session.next().data(0, 1).data(1, 1);
    session.next().repeat(0, 1, 100000);
    EXPECT_EQ(session.send().size(), 0u) << "114001 tags against 14001 are more than eight times";
    EXPECT_FALSE(session.isLocked());
}

} // namespace
} // namespace qorn
