#include "CapturedDebugLog.h"
#include "PackedSession.h"
#include "StreamBuilder.h"
#include "StreamDecoder.h"
#include "StreamHeaders.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace qorn {
namespace {

using testing::asDebugLines;
using testing::Bytes;
using testing::CapturedDebugLog;
using testing::PackedBuilder;
using testing::packedHeader;
using testing::PackedSession;
using timing::StreamDecoder;
using timing::StreamMode;
using Lines = std::vector<std::string>;

Bytes exampleBytes() {
    return PackedBuilder(16).sync(0, 1).data(0, 5).data(0, 7).bytes();
}

// The lines of a decoder that is fed these pieces.
Lines linesOf(const timing::StreamFileHeader& header, const std::vector<Bytes>& pieces) {
    CapturedDebugLog log;
    StreamDecoder decoder(header);
    for (const Bytes& piece : pieces)
        decoder.feed(piece);
    return log.take();
}

TEST(PackedDebugLog, LockSaysWhereItIsAndWhatIsLeft) {
    const auto header = packedHeader(StreamMode::External, 1);
    EXPECT_EQ(linesOf(header, {exampleBytes()}),
              asDebugLines({"locked bits=16 drop_bytes=0 bit_offset=0 raw_bytes=15"}));
    const Bytes shifted = PackedBuilder(16).bits(0, 18).sync(0, 1).data(0, 5).bytes(); // 113 bits
    EXPECT_EQ(linesOf(header, {shifted}),
              asDebugLines({"locked bits=16 drop_bytes=2 bit_offset=2 raw_bytes=13"}));
    const Bytes narrow = PackedBuilder(5).sync(2, 1).repeat(2, 5, 6).bytes();
    EXPECT_EQ(linesOf(packedHeader(StreamMode::External, 4, 5), {narrow}),
              asDebugLines({"locked bits=5 drop_bytes=0 bit_offset=0 raw_bytes=16"}));
}

TEST(PackedDebugLog, MissingAlignmentIsToldFrom4096BytesOn) {
    const auto header = packedHeader(StreamMode::External, 1);
    EXPECT_EQ(linesOf(header, {Bytes(4095, 0)}), Lines{});
    EXPECT_EQ(linesOf(header, {Bytes(4095, 0), Bytes(1, 0)}),
              asDebugLines({"no alignment bits=16 width=19 raw_bytes=4096"}));
    EXPECT_EQ(linesOf(header, {Bytes(65537, 0), {}}),
              asDebugLines({"no alignment bits=16 width=19 raw_bytes=65537",
                            "no alignment bits=16 width=19 raw_bytes=4096"}));
    EXPECT_EQ(linesOf(packedHeader(StreamMode::Internal, 0, 31), {Bytes(5000, 0)}),
              asDebugLines({"no alignment bits=31 width=34 raw_bytes=5000"}));
}

TEST(PackedDebugLog, RejectedAlignmentIsTold) {
    PackedBuilder stream(16);
    stream.sync(0, 0).repeat(0, 0, 2).sync(1, 0).repeat(1, 0, 5);
    const std::string reject =
        "reject internal alignment drop_bytes=0 bit_offset=0 synced=2/2 min=2 max=5 total=7";
    EXPECT_EQ(linesOf(packedHeader(StreamMode::Internal, 3), {stream.bytes()}), asDebugLines({reject}));

    // Behind five records that spoil the first sync, with four channels, and with so many bytes that the
    // missing alignment is told too.
    PackedBuilder longer(16);
    longer.sync(0, 0).syncStart(0);
    for (const int channel : {0, 1, 2, 3})
        longer.sync(channel, 0).repeat(channel, 0, channel == 2 ? 1000 : 400);
    EXPECT_EQ(
        linesOf(packedHeader(StreamMode::Internal, 0), {longer.bytes()}),
        asDebugLines(
            {"reject internal alignment drop_bytes=11 bit_offset=7 synced=4/4 min=400 max=1000 total=2200",
             "no alignment bits=16 width=19 raw_bytes=5275"}));
}

TEST(PackedDebugLog, AlignmentWithTooFewChannelsIsNotTold) {
    PackedBuilder stream(16);
    stream.sync(0, 0).repeat(0, 0, 20);
    EXPECT_EQ(linesOf(packedHeader(StreamMode::Internal, 3), {stream.bytes()}), Lines{});
}

TEST(PackedDebugLog, ProbeTellsTheRejectionToo) {
    CapturedDebugLog log;
    const timing::PackedDeltaDecoder decoder(packedHeader(StreamMode::Internal, 3));
    const Bytes bytes = PackedBuilder(16).sync(0, 0).repeat(0, 0, 2).sync(1, 0).repeat(1, 0, 5).bytes();
    decoder.probe_packed_alignment(bytes, 16, 19);
    EXPECT_EQ(
        log.take(),
        asDebugLines({"reject internal alignment drop_bytes=0 bit_offset=0 synced=2/2 min=2 max=5 total=7"}));
}

// What a locked decoder tells of one more piece.
struct Event {
    const char* name;
    StreamMode mode;
    int mask;
    std::function<void(PackedBuilder&)> records;
    std::string line;
};

void check(const Event& event) {
    CapturedDebugLog log;
    PackedSession session(packedHeader(event.mode, event.mask));
    session.lock(1000);
    ASSERT_TRUE(session.isLocked()) << event.name;
    event.records(session.next());
    session.send();
    EXPECT_FALSE(session.isLocked()) << event.name;
    const Lines lines = log.take();
    ASSERT_EQ(lines.size(), 2u) << event.name;
    EXPECT_EQ(lines[1], "packed-decoder: " + event.line) << event.name;
}

TEST(PackedDebugLog, InactiveChannelIsTold) {
    const StreamMode external = StreamMode::External;
    check({"first record", external, 1, [](PackedBuilder& next) { next.data(2, 0); },
           "drop inactive ch=2 active_mask=0x1 record=0 records=8"});
    check({"later record, hexadecimal mask", external, 0xFB,
           [](PackedBuilder& next) { next.data(3, 0).repeat(0, 1, 9).data(2, 0); },
           "drop inactive ch=2 active_mask=0xb record=10 records=16"});
    check({"overflow", StreamMode::Internal, 14,
           [](PackedBuilder& next) { next.overflow(0, 7).repeat(1, 1, 100); },
           "drop inactive ch=0 active_mask=0xe record=0 records=104"});
    check({"in a sync", external, 1, [](PackedBuilder& next) { next.syncStart(0).data(3, 7); },
           "drop inactive ch=3 active_mask=0x1 record=1 records=8"});
}

TEST(PackedDebugLog, FaultsInsideASyncAreTold) {
    const StreamMode external = StreamMode::External;
    check({"other channel", external, 3, [](PackedBuilder& next) { next.data(1, 0).syncStart(0).data(1, 7); },
           "drop sync channel mismatch ch=1 expected=0 record=2 chunks_left=3"});
    check({"other channel last", external, 15,
           [](PackedBuilder& next) { next.syncStart(2).data(2, 7).data(2, 7).data(3, 0); },
           "drop sync channel mismatch ch=3 expected=2 record=3 chunks_left=1"});
    check({"other channel's overflow", external, 3,
           [](PackedBuilder& next) { next.syncStart(0).overflow(1, 7); },
           "drop sync channel mismatch ch=1 expected=0 record=1 chunks_left=3"});
    check({"overflow", external, 3, [](PackedBuilder& next) { next.syncStart(1).data(1, 0).overflow(1, 7); },
           "drop ovf in sync ch=1 record=2 chunks_left=2"});
    check({"sync start", external, 3, [](PackedBuilder& next) { next.syncStart(1).syncStart(1); },
           "drop ovf in sync ch=1 record=1 chunks_left=3"});
}

TEST(PackedDebugLog, ImpossibleTimesAreTold) {
    // The channels are at 8000 ps.
    const StreamMode internal = StreamMode::Internal;
    const StreamMode external = StreamMode::External;
    const auto ahead = [](PackedBuilder& next) { next.delta(0, 125000); }; // to 1008000 ps
    for (const StreamMode mode : {internal, external}) {
        check({"far back", mode, 1, [&](PackedBuilder& next) { ahead(next), next.sync(0, 999).data(0, 0); },
               "drop nonmonotonic sync ch=0 next=7992 prev=1008000 record=6"});
        check({"repeated", mode, 1, [](PackedBuilder& next) { next.sync(0, 995).data(0, 5); },
               "drop implausible sync delta ch=0 delta=0 next=8000 prev=8000 record=4"});
    }
    check({"back", internal, 1, [&](PackedBuilder& next) { ahead(next), next.sync(0, 1000).data(0, 0); },
           "drop implausible sync delta ch=0 delta=-1000000 next=8000 prev=1008000 record=6"});
    check({"far on by sync", internal, 8, [](PackedBuilder& next) { next.sync(3, 125000001000).data(3, 1); },
           "drop implausible sync delta ch=3 delta=1000000000008 next=1000000008008 prev=8000 record=4"});
    check({"far on", internal, 1,
           [](PackedBuilder& next) {
               for (int i = 0; i < 30; ++i)
                   next.overflow(0, 65534);
               next.data(0, 3);
           },
           "drop implausible delta ch=0 delta=1030760693784 prev=8000 record=30"});
}

TEST(PackedDebugLog, ImbalanceIsTold) {
    check({"nothing on one channel", StreamMode::Internal, 3,
           [](PackedBuilder& next) { next.repeat(0, 1, 4096); },
           "drop internal imbalanced lock min=0 max=4096 total=4096 records=4096"});
    check({"little on one channel", StreamMode::Internal, 14,
           [](PackedBuilder& next) {
               next.overflow(1, 1).repeat(1, 1, 4000).repeat(2, 1, 499).repeat(3, 1, 700);
           },
           "drop internal imbalanced lock min=499 max=4000 total=5199 records=5200"});
}

TEST(PackedDebugLog, NothingIsToldOfAGoodStream) {
    CapturedDebugLog log;
    PackedSession session(packedHeader(StreamMode::External, 15));
    session.lock(1000);
    for (int round = 0; round < 50; ++round) {
        session.next()
            .repeat(0, 1, 50)
            .overflow(1, 5)
            .data(1, 2)
            .sync(2, static_cast<std::uint64_t>(2000 + round))
            .data(2, 1);
        session.send();
    }
    EXPECT_EQ(log.take().size(), 1u) << "the lock alone";
}

TEST(PackedDebugLog, ANewLockIsToldAgain) {
    CapturedDebugLog log;
    PackedSession session(packedHeader(StreamMode::External, 1));
    session.lock();
    session.next().data(1, 0);
    session.send();
    session.lock();
    // Seven empty overflows are left of the faulty piece: 19 bytes less the 2 that hold its first record.
    EXPECT_EQ(log.take(), asDebugLines({"locked bits=16 drop_bytes=0 bit_offset=0 raw_bytes=19",
                                        "drop inactive ch=1 active_mask=0x1 record=0 records=8",
                                        "locked bits=16 drop_bytes=0 bit_offset=3 raw_bytes=36"}));
}

TEST(PackedDebugLog, IsSilentWithoutTheEnvironmentVariable) {
    unsetenv("QORN_PACKED_DEBUG");
    ::testing::internal::CaptureStderr();
    StreamDecoder decoder(packedHeader(StreamMode::Internal, 3));
    decoder.feed(PackedBuilder(16).sync(0, 0).repeat(0, 0, 2).sync(1, 0).repeat(1, 0, 5).bytes());
    decoder.feed(Bytes(70000, 0));
    StreamDecoder other(packedHeader(StreamMode::External, 1));
    other.feed(exampleBytes());
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(PackedDebugLog, AnyValueOfTheEnvironmentVariableSwitchesItOn) {
    for (const char* value : {"", "0", "1", "off"}) {
        CapturedDebugLog log(value);
        StreamDecoder decoder(packedHeader(StreamMode::External, 1));
        decoder.feed(exampleBytes());
        EXPECT_EQ(log.take().size(), 1u) << '"' << value << '"';
    }
}

TEST(PackedDebugLog, EachDecoderStopsAfter200Lines) {
    CapturedDebugLog log;
    Lines expected;
    for (int decoders = 0; decoders < 2; ++decoders) {
        StreamDecoder decoder(packedHeader(StreamMode::External, 1));
        decoder.feed(Bytes(4096, 0));
        for (int pass = 1; pass < 230; ++pass)
            decoder.feed({});
        decoder.feed(exampleBytes());
        EXPECT_TRUE(decoder.packed()->is_locked()) << "it decodes on, only the log ends";
        expected.insert(expected.end(), 200, "packed-decoder: no alignment bits=16 width=19 raw_bytes=4096");
    }
    EXPECT_EQ(log.take(), expected);
}

TEST(PackedDebugLog, RejectionsOfAProbeCountForTheLimit) {
    CapturedDebugLog log;
    timing::PackedDeltaDecoder decoder(packedHeader(StreamMode::Internal, 3));
    const Bytes bytes = PackedBuilder(16).sync(0, 0).repeat(0, 0, 2).sync(1, 0).repeat(1, 0, 5).bytes();
    for (int round = 0; round < 230; ++round)
        decoder.probe_packed_alignment(bytes, 16, 19);
    EXPECT_EQ(log.take().size(), 200u);
}

} // namespace
} // namespace qorn
