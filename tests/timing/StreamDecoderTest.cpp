#include "StreamDecoder.h"

#include "ComparedDecoder.h"
#include "StreamBuilder.h"
#include "StreamHeaders.h"

#include <gtest/gtest.h>

#include <vector>

namespace qorn {
namespace {

using testing::Bytes;
using timing::StreamDecoder;
using timing::StreamFormat;
using timing::TimeTag;

TEST(StreamDecoder, UnknownFormatsGiveNoTagsAndKeepAllBytes) {
    for (const int format : {-1, 3, 77}) {
        timing::StreamFileHeader header;
        header.format = static_cast<StreamFormat>(format);
        StreamDecoder decoder(header);
        Bytes sent;
        for (int round = 0; round < 50; ++round) {
            const Bytes piece =
                testing::raw64Stream({testing::raw64Picoseconds(round % 4, 5), 0xEB5A55AA00112233});
            testing::appendBytes(sent, piece);
            EXPECT_TRUE(decoder.feed(piece).empty()) << format;
        }
        EXPECT_EQ(Bytes(decoder.raw().begin(), decoder.raw().end()), sent) << format;
        EXPECT_EQ(decoder.packed(), nullptr);
    }
}

TEST(StreamDecoder, OnlyThePackedFormatHasAPackedDecoder) {
    EXPECT_EQ(StreamDecoder(testing::raw64Header("ps")).packed(), nullptr);
    EXPECT_EQ(StreamDecoder(testing::delta32Header()).packed(), nullptr);
    const StreamDecoder packed(testing::packedHeader(timing::StreamMode::External, 1));
    ASSERT_NE(packed.packed(), nullptr);
    EXPECT_FALSE(packed.packed()->is_locked());
}

TEST(StreamDecoder, EmptyPiecesChangeNothing) {
    const Bytes half = testing::bytesFromHex("3F FF E0 00 04 00 00");
    for (const auto& header :
         {testing::raw64Header("ps"), testing::raw64Header("raw_cf"), testing::delta32Header(),
          testing::packedHeader(timing::StreamMode::External, 1)}) {
        testing::ComparedDecoder decoder(header);
        EXPECT_TRUE(decoder.feed({}).empty());
        decoder.feed(std::span(half).first(3));
        const std::size_t left = decoder.decoder().raw().size();
        EXPECT_TRUE(decoder.feed({}).empty());
        EXPECT_EQ(decoder.decoder().raw().size(), left);
    }
}

TEST(StreamDecoder, TagsOfOnePieceDoNotReturnWithTheNext) {
    StreamDecoder decoder(testing::raw64Header("ps"));
    EXPECT_EQ(decoder.feed(testing::raw64Stream({1, 2, 3})).size(), 3u);
    EXPECT_EQ(decoder.feed({}).size(), 0u);
    EXPECT_EQ(decoder.feed(testing::raw64Stream({4})).size(), 1u);
}

TEST(StreamDecoder, EachDecoderBeginsItsTimesAnew) {
    const Bytes high = testing::raw64Stream({testing::raw64Picoseconds(0, 14315125997560)});
    const Bytes low = testing::raw64Stream({testing::raw64Picoseconds(0, 8)});
    StreamDecoder first(testing::raw64Header("ps"));
    first.feed(high);
    EXPECT_EQ(first.feed(low)[0].timestamp_ps, 14315125997568 + 8);
    StreamDecoder second(testing::raw64Header("ps"));
    EXPECT_EQ(second.feed(low)[0].timestamp_ps, 8);
}

// The reference is held against the written examples by itself: the tests that compare rely on it.
TEST(ReferenceDecoder, DecodesTheExamples) {
    using Tags = std::vector<TimeTag>;
    testing::ReferenceDecoder packed(testing::packedHeader(timing::StreamMode::External, 1));
    EXPECT_EQ(packed.feed(testing::bytesFromHex("3F FF E0 00 04 00 00 00 00 00 00 0A 00 01 C0")),
              (Tags{{0, 48}, {0, 104}}));
    EXPECT_EQ(packed.raw().size(), 1u);
    EXPECT_TRUE(packed.isLocked());
    EXPECT_EQ(packed.log(),
              std::vector<std::string>{"locked bits=16 drop_bytes=0 bit_offset=0 raw_bytes=15"});

    testing::ReferenceDecoder delta32(testing::delta32Header());
    EXPECT_EQ(delta32.feed(testing::bytesFromHex(
                  "EB 5A 55 AA AA 00 03 E8 CA 00 00 00 54 00 00 32 8A 00 00 01 54 00 00 07")),
              (Tags{{2, 1050}, {2, 33555489}}));
    testing::ReferenceDecoder coarse(testing::raw64Header("raw_cf"));
    EXPECT_EQ(coarse.feed(testing::bytesFromHex("34 B8 60 00 00 7D 00 02")), (Tags{{1, 3332963}}));
    testing::ReferenceDecoder picoseconds(testing::raw64Header("ps"));
    EXPECT_EQ(picoseconds.feed(testing::bytesFromHex("60 00 00 00 07 5B CD 15")), (Tags{{3, 123456789}}));
}

} // namespace
} // namespace qorn
