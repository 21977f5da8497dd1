#include "ComparedDecoder.h"
#include "StreamBuilder.h"
#include "StreamHeaders.h"

#include <gtest/gtest.h>

#include <string>

namespace qorn {
namespace {

using testing::Bytes;
using testing::ComparedDecoder;
using testing::raw64CoarseFine;
using testing::raw64Header;
using testing::raw64Picoseconds;
using testing::raw64Stream;
using testing::sameTags;
using timing::TimeTag;
using Tags = std::vector<TimeTag>;

constexpr std::int64_t kWrap = 14315125997568;
constexpr std::int64_t kCoarseTicks = 0x100000000;

Tags decode(const std::string& layout, const Bytes& bytes) {
    ComparedDecoder decoder(raw64Header(layout));
    return decoder.feed(bytes);
}

std::uint64_t byLayout(const std::string& layout, int channel, std::uint64_t value) {
    return layout == "ps" ? raw64Picoseconds(channel, value) : raw64CoarseFine(channel, value, 0);
}

// The time of a word of byLayout() without wraps.
std::int64_t timeByLayout(const std::string& layout, std::uint64_t value) {
    return static_cast<std::int64_t>(layout == "ps" ? value : value * 3333);
}

TEST(Raw64Decoder, CoarseFineExampleDecodes) {
    EXPECT_TRUE(
        sameTags(Tags{{1, 3332963}}, decode("raw_cf", testing::bytesFromHex("34 B8 60 00 00 7D 00 02"))));
}

TEST(Raw64Decoder, PicosecondExampleDecodes) {
    EXPECT_TRUE(
        sameTags(Tags{{3, 123456789}}, decode("ps", testing::bytesFromHex("60 00 00 00 07 5B CD 15"))));
}

TEST(Raw64Decoder, LayoutNameIsComparedWithoutRegardToCase) {
    const Bytes coarse_fine = raw64Stream({raw64CoarseFine(2, 10, 0)});
    for (const char* layout : {"raw_cf", "RAW_CF", "Raw_Cf", "rAW_cF"})
        EXPECT_TRUE(sameTags(Tags{{2, 33330}}, decode(layout, coarse_fine))) << layout;
}

TEST(Raw64Decoder, AnyOtherLayoutNameMeansPicoseconds) {
    const Bytes picoseconds = raw64Stream({raw64Picoseconds(2, 10)});
    const Bytes coarse_fine = raw64Stream({raw64CoarseFine(2, 10, 0)});
    for (const char* layout : {"ps", "", "PS", "raw", "raw_cf ", " raw_cf", "raw-cf"}) {
        EXPECT_TRUE(sameTags(Tags{{2, 10}}, decode(layout, picoseconds))) << '"' << layout << '"';
        EXPECT_TRUE(sameTags(Tags{}, decode(layout, coarse_fine))) << '"' << layout << '"';
    }
}

TEST(Raw64Decoder, EveryChannelAndTheWholeFieldDecode) {
    for (int channel = 0; channel < 4; ++channel) {
        const auto c = static_cast<std::uint8_t>(channel);
        EXPECT_TRUE(sameTags(Tags{{c, 0xFFFFFFFFLL * 3333 - 3332}},
                             decode("raw_cf", raw64Stream({raw64CoarseFine(channel, 0xFFFFFFFF, 8191)}))));
        EXPECT_TRUE(sameTags(Tags{{c, kWrap - 1}},
                             decode("ps", raw64Stream({raw64Picoseconds(channel, kWrap - 1)}))));
        EXPECT_TRUE(sameTags(Tags{{c, 0}}, decode("ps", raw64Stream({raw64Picoseconds(channel, 0)}))));
    }
}

TEST(Raw64Decoder, LeadingGarbageByteIsLostAndAllOthersDecode) {
    for (const std::string layout : {"raw_cf", "ps"}) {
        Bytes bytes{0xFF};
        Tags expected;
        for (std::uint64_t i = 0; i < 20; ++i) {
            testing::appendRaw64(bytes, byLayout(layout, static_cast<int>(i % 4), 1000000 + i));
            expected.push_back({static_cast<std::uint8_t>(i % 4), timeByLayout(layout, 1000000 + i)});
        }
        EXPECT_TRUE(sameTags(expected, decode(layout, bytes))) << layout;
    }
}

TEST(Raw64Decoder, LeadingZeroBeforeAPicosecondRecordOfChannelZeroIsTakenIntoTheRecord) {
    Bytes bytes{0x00};
    testing::appendRaw64(bytes, raw64Picoseconds(0, 0x12345));
    testing::appendRaw64(bytes, raw64Picoseconds(3, 0x777));
    ComparedDecoder decoder(raw64Header("ps"));
    // The record loses its last byte, 45, which is no valid start: from there on the records are found again.
    EXPECT_TRUE(sameTags(Tags{{0, 0x123}, {3, 0x777}}, decoder.feed(bytes)));
}

TEST(Raw64Decoder, FewerThanEightBytesWaitUntouched) {
    for (const std::string layout : {"raw_cf", "ps"}) {
        for (std::size_t size = 0; size < 8; ++size) {
            const Bytes bytes(size, 0xFF);
            ComparedDecoder decoder(raw64Header(layout));
            EXPECT_TRUE(decoder.feed(bytes).empty());
            EXPECT_EQ(decoder.decoder().raw().size(), size);
        }
    }
}

TEST(Raw64Decoder, IncompleteRecordStaysForTheNextPieces) {
    for (const std::string layout : {"raw_cf", "ps"}) {
        const Bytes bytes = raw64Stream({byLayout(layout, 1, 5), byLayout(layout, 2, 6)});
        for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
            ComparedDecoder decoder(raw64Header(layout));
            decoder.feed(std::span(bytes).first(cut));
            EXPECT_EQ(decoder.decoder().raw().size(), cut % 8);
            decoder.feed(std::span(bytes).subspan(cut));
            EXPECT_TRUE(
                sameTags(Tags{{1, timeByLayout(layout, 5)}, {2, timeByLayout(layout, 6)}}, decoder.tags()));
        }
    }
}

TEST(Raw64Decoder, GarbageWithoutAnyRecordLeavesSevenBytes) {
    for (const std::string layout : {"raw_cf", "ps"}) {
        for (std::size_t size = 8; size < 40; ++size) {
            const Bytes bytes(size, 0xFF);
            ComparedDecoder decoder(raw64Header(layout));
            EXPECT_TRUE(decoder.feed(bytes).empty());
            EXPECT_EQ(decoder.decoder().raw().size(), 7u) << size;
        }
    }
}

TEST(Raw64Decoder, RecordsAreFoundBehindGarbageOfAnyLength) {
    for (const std::string layout : {"raw_cf", "ps"}) {
        for (std::size_t garbage = 0; garbage < 20; ++garbage) {
            Bytes bytes = raw64Stream({byLayout(layout, 0, 9)});
            bytes.insert(bytes.end(), garbage, 0xEE);
            testing::appendBytes(bytes, raw64Stream({byLayout(layout, 1, 10), byLayout(layout, 0, 11)}));
            const Tags expected{
                {0, timeByLayout(layout, 9)}, {1, timeByLayout(layout, 10)}, {0, timeByLayout(layout, 11)}};
            EXPECT_TRUE(sameTags(expected, decode(layout, bytes))) << layout << ' ' << garbage;
        }
    }
}

// Bits that have one value in every valid word.
struct FixedBits {
    const char* layout;
    int first;
    int last;
};

TEST(Raw64Decoder, AWordWithAnyWrongFixedBitIsSkippedByteByByte) {
    for (const FixedBits& fixed : {FixedBits{"raw_cf", 45, 60}, FixedBits{"ps", 44, 60},
                                   FixedBits{"raw_cf", 63, 63}, FixedBits{"ps", 63, 63}}) {
        for (int bit = fixed.first; bit <= fixed.last; ++bit) {
            const std::string layout = fixed.layout;
            // Payload bytes of FF: no valid word starts inside.
            const std::uint64_t all = layout == "ps" ? 0xFFFFFFFFFFF : 0xFFFFFFFF;
            const std::uint64_t wrong = byLayout(layout, 3, all) ^ std::uint64_t{1} << bit;
            ComparedDecoder decoder(raw64Header(layout));
            EXPECT_TRUE(decoder.feed(raw64Stream({wrong})).empty()) << layout << " bit " << bit;
            EXPECT_EQ(decoder.decoder().raw().size(), 7u) << layout << " bit " << bit;
            EXPECT_TRUE(sameTags(Tags{{1, timeByLayout(layout, 77)}},
                                 decoder.feed(raw64Stream({byLayout(layout, 1, 77)}))))
                << layout << " bit " << bit;
        }
    }
}

TEST(Raw64Decoder, ChannelBitsArePartOfNoMarker) {
    for (const std::string layout : {"raw_cf", "ps"}) {
        for (int channel = 0; channel < 4; ++channel)
            EXPECT_EQ(decode(layout, raw64Stream({byLayout(layout, channel, 1)})).size(), 1u);
    }
}

TEST(Raw64Decoder, FineCodeSubtractsTheUncalibratedTable) {
    struct Entry {
        std::uint64_t fine;
        std::int64_t subtracted;
    };
    for (const Entry& entry :
         {Entry{0, 0}, Entry{1, 19}, Entry{2, 37}, Entry{3, 56}, Entry{100, 1850}, Entry{179, 3312},
          Entry{180, 3330}, Entry{181, 3332}, Entry{182, 3332}, Entry{4096, 3332}, Entry{8191, 3332}})
        EXPECT_TRUE(sameTags(Tags{{0, 50 * 3333 - entry.subtracted}},
                             decode("raw_cf", raw64Stream({raw64CoarseFine(0, 50, entry.fine)}))))
            << entry.fine;
}

TEST(Raw64Decoder, TimeMayBeNegativeAtTheStart) {
    EXPECT_TRUE(sameTags(Tags{{0, -37}}, decode("raw_cf", raw64Stream({raw64CoarseFine(0, 0, 2)}))));
}

struct Fall {
    const char* layout;
    std::uint64_t before;
    std::uint64_t after;
    bool is_wrap;
};

TEST(Raw64Decoder, OnlyAFallOfMoreThanHalfTheCounterIsAWrap) {
    const std::uint64_t half = 7157562998784;
    for (const Fall& fall :
         {Fall{"raw_cf", 0xFFFFFFF0, 0x10, true}, Fall{"raw_cf", 0x80000000, 0, false},
          Fall{"raw_cf", 0x80000001, 0, true}, Fall{"raw_cf", 0x90000000, 0x10000000, false},
          Fall{"raw_cf", 0x90000000, 0x0FFFFFFF, true}, Fall{"raw_cf", 1000, 999, false},
          Fall{"raw_cf", 1000, 1000, false}, Fall{"raw_cf", 0, 0xFFFFFFFF, false},
          Fall{"ps", kWrap - 1, 0, true}, Fall{"ps", half, 0, false}, Fall{"ps", half + 1, 0, true},
          Fall{"ps", half + 500, 500, false}, Fall{"ps", half + 500, 499, true}, Fall{"ps", 1000, 999, false},
          Fall{"ps", 1000, 1000, false}, Fall{"ps", 0, kWrap - 1, false}}) {
        const std::string layout = fall.layout;
        const Tags expected{{2, timeByLayout(layout, fall.before)},
                            {2, timeByLayout(layout, fall.after) + (fall.is_wrap ? kWrap : 0)}};
        EXPECT_TRUE(sameTags(expected, decode(layout, raw64Stream({byLayout(layout, 2, fall.before),
                                                                   byLayout(layout, 2, fall.after)}))))
            << layout << ' ' << fall.before << " to " << fall.after;
    }
}

TEST(Raw64Decoder, AWrapAddsTheCounterPeriodOnThatChannelAlone) {
    for (const std::string layout : {"raw_cf", "ps"}) {
        const std::uint64_t high = layout == "ps" ? kWrap - 16 : 0xFFFFFFF0;
        Bytes bytes;
        for (int channel = 0; channel < 4; ++channel)
            testing::appendRaw64(bytes, byLayout(layout, channel, high));
        testing::appendRaw64(bytes, byLayout(layout, 1, 0x10));
        for (const int channel : {0, 2, 3})
            testing::appendRaw64(bytes, byLayout(layout, channel, high + 1));
        testing::appendRaw64(bytes, byLayout(layout, 1, 0x11));
        const std::int64_t h = timeByLayout(layout, high);
        const std::int64_t later = timeByLayout(layout, high + 1);
        const Tags expected{{0, h},
                            {1, h},
                            {2, h},
                            {3, h},
                            {1, timeByLayout(layout, 0x10) + kWrap},
                            {0, later},
                            {2, later},
                            {3, later},
                            {1, timeByLayout(layout, 0x11) + kWrap}};
        EXPECT_TRUE(sameTags(expected, decode(layout, bytes))) << layout;
    }
}

TEST(Raw64Decoder, FineCodeIsSubtractedBehindAWrapToo) {
    EXPECT_TRUE(sameTags(
        Tags{{1, 0xFFFFFFF0LL * 3333}, {1, (0x10 + kCoarseTicks) * 3333 - 37}},
        decode("raw_cf", raw64Stream({raw64CoarseFine(1, 0xFFFFFFF0, 0), raw64CoarseFine(1, 0x10, 2)}))));
}

TEST(Raw64Decoder, ManyWrapsAddUp) {
    for (const std::string layout : {"raw_cf", "ps"}) {
        const std::uint64_t high = layout == "ps" ? kWrap - 16 : 0xFFFFFFF0;
        Bytes bytes;
        Tags expected;
        for (int wrap = 0; wrap < 50; ++wrap) {
            for (const std::uint64_t value : {std::uint64_t{3}, high / 2, high}) {
                testing::appendRaw64(bytes, byLayout(layout, 0, value));
                expected.push_back({0, timeByLayout(layout, value) + wrap * kWrap});
            }
        }
        EXPECT_TRUE(sameTags(expected, decode(layout, bytes))) << layout;
    }
}

TEST(Raw64Decoder, SmallReorderingPassesThroughAsAStepBack) {
    const Tags expected{{0, 5000}, {0, 4000}, {0, 6000}, {0, 5999}};
    EXPECT_TRUE(sameTags(expected,
                         decode("ps", raw64Stream({raw64Picoseconds(0, 5000), raw64Picoseconds(0, 4000),
                                                   raw64Picoseconds(0, 6000), raw64Picoseconds(0, 5999)}))));
}

TEST(Raw64Decoder, ALateRecordAcrossAWrapIsPutBehindTheWrap) {
    // The late record is above its predecessor, which is no fall: the period stays added, and the next low
    // value is a fall again.
    const Tags expected{{0, kWrap - 8}, {0, 8 + kWrap}, {0, kWrap - 4 + kWrap}, {0, 9 + 2 * kWrap}};
    EXPECT_TRUE(sameTags(
        expected, decode("ps", raw64Stream({raw64Picoseconds(0, kWrap - 8), raw64Picoseconds(0, 8),
                                            raw64Picoseconds(0, kWrap - 4), raw64Picoseconds(0, 9)}))));
}

TEST(Raw64Decoder, PicosecondsAreTakenModuloTheCounterPeriod) {
    const std::uint64_t all = 0xFFFFFFFFFFF;
    EXPECT_TRUE(sameTags(Tags{{0, 0}}, decode("ps", raw64Stream({raw64Picoseconds(0, kWrap)}))));
    EXPECT_TRUE(sameTags(Tags{{0, 5}}, decode("ps", raw64Stream({raw64Picoseconds(0, kWrap + 5)}))));
    EXPECT_TRUE(sameTags(Tags{{0, static_cast<std::int64_t>(all) - kWrap}},
                         decode("ps", raw64Stream({raw64Picoseconds(0, all)}))));
    // The fall is judged on the remainder.
    EXPECT_TRUE(sameTags(
        Tags{{0, kWrap - 1}, {0, kWrap + 5}},
        decode("ps", raw64Stream({raw64Picoseconds(0, kWrap - 1), raw64Picoseconds(0, kWrap + 5)}))));
}

TEST(Raw64Decoder, WrapsAreCountedOverGarbageAndPieces) {
    ComparedDecoder decoder(raw64Header("ps"));
    decoder.feed(raw64Stream({raw64Picoseconds(0, kWrap - 1)}));
    decoder.feed(Bytes(13, 0xFF));
    decoder.feed(raw64Stream({raw64Picoseconds(0, 1)}));
    EXPECT_TRUE(sameTags(Tags{{0, kWrap - 1}, {0, kWrap + 1}}, decoder.tags()));
}

} // namespace
} // namespace qorn
