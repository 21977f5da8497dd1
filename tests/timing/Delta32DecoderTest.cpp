#include "ComparedDecoder.h"
#include "StreamBuilder.h"
#include "StreamHeaders.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace qorn {
namespace {

using testing::appendBytes;
using testing::Bytes;
using testing::bytesFromHex;
using testing::ComparedDecoder;
using testing::delta32AbsoluteHigh;
using testing::delta32AbsoluteLow;
using testing::delta32Data;
using testing::delta32Header;
using testing::delta32Overflow;
using testing::delta32Stream;
using testing::delta32Word;
using testing::kDelta32Sync;
using testing::sameTags;
using timing::TimeTag;
using Tags = std::vector<TimeTag>;

constexpr std::int64_t kUnit = 33554432; // of an overflow, 2^25 ps
constexpr std::int64_t kExcess = 1078036791296;
constexpr std::int64_t kPlausible = 10000000000;
constexpr std::int64_t kWrap = 14315125997568;

Tags decode(const Bytes& bytes) {
    ComparedDecoder decoder(delta32Header());
    return decoder.feed(bytes);
}

// A stream that is built step by step.
class Stream {
public:
    Stream& word(std::uint32_t value) {
        testing::appendDelta32(bytes, value);
        return *this;
    }
    Stream& sync(std::int64_t absolute) {
        testing::appendDelta32Sync(bytes, static_cast<std::uint64_t>(absolute));
        return *this;
    }
    Stream& data(int channel, std::uint32_t payload) { return word(delta32Data(channel, payload)); }
    // Overflow words and the data word of a step of any size.
    Stream& step(int channel, std::int64_t delta) {
        testing::appendDelta32Overflow(bytes, static_cast<std::uint64_t>(delta) >> 25);
        return data(channel, static_cast<std::uint32_t>(delta & 0x1FFFFFF));
    }
    Bytes bytes;
};

TEST(Delta32Decoder, ExampleDecodes) {
    const Bytes bytes =
        bytesFromHex("EB 5A 55 AA  AA 00 03 E8  CA 00 00 00  54 00 00 32  8A 00 00 01  54 00 00 07");
    EXPECT_TRUE(sameTags(Tags{{2, 1050}, {2, 33555489}}, decode(bytes)));
}

TEST(Delta32Decoder, WithoutSyncNothingDecodesAndThreeBytesStay) {
    ComparedDecoder decoder(delta32Header());
    std::size_t sent = 0;
    for (std::size_t size = 0; size < 50; ++size) {
        const Bytes bytes = Stream().data(0, 5).data(1, 6).bytes;
        const std::size_t count = std::min(size % 9, bytes.size());
        sent += count;
        EXPECT_TRUE(decoder.feed(std::span(bytes).first(count)).empty());
        EXPECT_EQ(decoder.decoder().raw().size(), std::min<std::size_t>(sent, 3));
    }
}

TEST(Delta32Decoder, SyncIsFoundAtEveryBytePosition) {
    for (std::size_t garbage = 0; garbage < 20; ++garbage) {
        Bytes bytes(garbage, 0xEB);
        appendBytes(bytes, Stream().sync(1000).data(3, 1).bytes);
        EXPECT_TRUE(sameTags(Tags{{3, 1001}}, decode(bytes))) << garbage;
    }
}

TEST(Delta32Decoder, SyncIsFoundOverEveryCutAndByteByByte) {
    Bytes bytes = bytesFromHex("00 EB 5A EB 5A 55");
    appendBytes(bytes, Stream().sync(1000).data(3, 1).data(3, 5).bytes);
    const Tags expected{{3, 1001}, {3, 1006}};
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        ComparedDecoder decoder(delta32Header());
        decoder.feed(std::span(bytes).first(cut));
        decoder.feed(std::span(bytes).subspan(cut));
        EXPECT_TRUE(sameTags(expected, decoder.tags())) << cut;
    }
    ComparedDecoder decoder(delta32Header());
    for (std::size_t at = 0; at < bytes.size(); ++at)
        decoder.feed(std::span(bytes).subspan(at, 1));
    EXPECT_TRUE(sameTags(expected, decoder.tags()));
}

TEST(Delta32Decoder, IncompleteWordStays) {
    Bytes bytes = Stream().sync(1000).data(3, 1).bytes;
    for (std::size_t rest = 0; rest < 4; ++rest) {
        ComparedDecoder decoder(delta32Header());
        decoder.feed(bytes);
        EXPECT_EQ(decoder.decoder().raw().size(), rest);
        bytes.push_back(0x40);
    }
}

TEST(Delta32Decoder, FirstSyncSetsOnlyTheChannelWhoseWordComesNext) {
    const Bytes bytes = Stream().sync(1000).data(1, 5).data(0, 6).data(2, 7).data(3, 8).data(1, 9).bytes;
    EXPECT_TRUE(sameTags(Tags{{1, 1005}, {1, 1014}}, decode(bytes)));
}

TEST(Delta32Decoder, EachChannelKeepsItsOwnTime) {
    const Bytes bytes =
        Stream().sync(1000).data(0, 5).sync(2000).data(3, 6).data(0, 10).data(3, 20).data(0, 30).bytes;
    EXPECT_TRUE(sameTags(Tags{{0, 1005}, {3, 2006}, {0, 1015}, {3, 2026}, {0, 1045}}, decode(bytes)));
}

TEST(Delta32Decoder, OverflowsAddUp) {
    const Bytes bytes = Stream()
                            .sync(0)
                            .data(0, 0)
                            .word(delta32Overflow(65535))
                            .word(delta32Overflow(65535))
                            .word(delta32Overflow(0))
                            .word(delta32Overflow(2))
                            .data(0, 0x1FFFFFF)
                            .data(0, 1)
                            .bytes;
    // Above the excess, but 3.3 s on is nothing that a wrap of the counter explains.
    const std::int64_t delta = 131072 * kUnit + 0x1FFFFFF;
    EXPECT_TRUE(sameTags(Tags{{0, 0}, {0, delta}, {0, delta + 1}}, decode(bytes)));
}

TEST(Delta32Decoder, OverflowServesTheNextDataWordOfAnyChannel) {
    const Bytes bytes = Stream().sync(0).data(0, 0).word(delta32Overflow(3)).data(1, 5).data(0, 6).bytes;
    EXPECT_TRUE(sameTags(Tags{{0, 0}, {0, 6}}, decode(bytes))) << "the dropped word of channel 1 takes it";
}

TEST(Delta32Decoder, SyncClearsOverflows) {
    const Bytes bytes =
        Stream().sync(0).data(0, 0).word(delta32Overflow(3)).sync(500).data(0, 6).data(0, 7).bytes;
    EXPECT_TRUE(sameTags(Tags{{0, 0}, {0, 506}, {0, 513}}, decode(bytes)));
}

TEST(Delta32Decoder, AbsoluteTimeHas41Bits) {
    const std::int64_t all = 0x1FFFFFFFFFF;
    EXPECT_TRUE(sameTags(Tags{{0, all + 3}}, decode(Stream().sync(all).data(0, 3).bytes)));
    EXPECT_TRUE(sameTags(Tags{{0, (std::int64_t{0x8001} << 25) + 0x1000001 + 3}},
                         decode(Stream()
                                    .word(kDelta32Sync)
                                    .word(delta32AbsoluteLow(0x1000001))
                                    .word(delta32AbsoluteHigh(0x8001))
                                    .data(0, 3)
                                    .bytes)));
}

// Words of which the stream is to keep its alignment or to lose it.
struct WordCase {
    const char* name;
    std::vector<std::uint32_t> words;
    bool keeps_alignment;
};

// On a stream where channel 0 has a time, sends `lead` and the words, and then a data word of channel 0: it
// decodes when alignment was kept.
void checkWords(const WordCase& test, const std::vector<std::uint32_t>& lead) {
    Stream stream;
    stream.sync(1000).data(0, 0);
    for (const std::uint32_t word : lead)
        stream.word(word);
    for (const std::uint32_t word : test.words)
        stream.word(word);
    Stream rest;
    rest.data(0, 7);
    ComparedDecoder decoder(delta32Header());
    decoder.feed(stream.bytes);
    const bool decodes = !decoder.feed(rest.bytes).empty();
    EXPECT_EQ(decodes, test.keeps_alignment) << test.name;
    // In any case a new sync brings the times back.
    const Tags back = decoder.feed(Stream().sync(900000).data(3, 1).bytes);
    EXPECT_TRUE(sameTags(Tags{{3, 900001}}, back)) << test.name;
}

TEST(Delta32Decoder, OnlyDataSyncAndOverflowAreAllowedInANormalStream) {
    const std::uint32_t low = delta32AbsoluteLow(2000);
    const std::uint32_t high = delta32AbsoluteHigh(0);
    for (const WordCase& test :
         {WordCase{"data", {delta32Data(0, 1)}, true},
          WordCase{"data of an unseen channel", {delta32Data(2, 1)}, true},
          WordCase{"overflow", {delta32Overflow(1)}, true},
          WordCase{"largest overflow", {delta32Overflow(65535)}, true},
          WordCase{"a whole sync", {kDelta32Sync, low, high}, true}, WordCase{"absolute low", {low}, false},
          WordCase{"absolute high", {high}, false},
          WordCase{"sub 3 with another payload", {delta32Word(1, 3, 5, 0)}, true},
          WordCase{"sub 3 with all payload bits", {delta32Word(1, 3, 5, 0x1FFFFFF)}, true}})
        checkWords(test, {});
}

TEST(Delta32Decoder, OnlyAbsoluteLowFollowsASync) {
    for (const WordCase& test :
         {WordCase{"data", {delta32Data(0, 1)}, false}, WordCase{"overflow", {delta32Overflow(1)}, false},
          WordCase{"absolute high", {delta32AbsoluteHigh(1)}, false},
          WordCase{"low and high", {delta32AbsoluteLow(2000), delta32AbsoluteHigh(0)}, true},
          WordCase{"another sync", {kDelta32Sync, delta32AbsoluteLow(2000), delta32AbsoluteHigh(0)}, true},
          WordCase{"sub 3 with another payload",
                   {delta32Word(1, 3, 5, 1), delta32AbsoluteLow(2000), delta32AbsoluteHigh(0)},
                   true}})
        checkWords(test, {kDelta32Sync});
}

TEST(Delta32Decoder, OnlyAbsoluteHighFollowsAbsoluteLow) {
    for (const WordCase& test :
         {WordCase{"data", {delta32Data(0, 1)}, false}, WordCase{"overflow", {delta32Overflow(1)}, false},
          WordCase{"absolute low", {delta32AbsoluteLow(1)}, false},
          WordCase{"high", {delta32AbsoluteHigh(1)}, true},
          WordCase{"another sync", {kDelta32Sync, delta32AbsoluteLow(2000), delta32AbsoluteHigh(0)}, true},
          WordCase{"sub 3 with another payload", {delta32Word(1, 3, 5, 1), delta32AbsoluteHigh(1)}, true}})
        checkWords(test, {kDelta32Sync, delta32AbsoluteLow(2000)});
}

TEST(Delta32Decoder, OverflowBetweenSyncAndItsDataWordLosesAlignment) {
    checkWords({"overflow", {delta32Overflow(1)}, false},
               {kDelta32Sync, delta32AbsoluteLow(2000), delta32AbsoluteHigh(0)});
    checkWords({"empty overflow", {delta32Overflow(0)}, false},
               {kDelta32Sync, delta32AbsoluteLow(2000), delta32AbsoluteHigh(0)});
    checkWords({"sync", {kDelta32Sync, delta32AbsoluteLow(3000), delta32AbsoluteHigh(0)}, true},
               {kDelta32Sync, delta32AbsoluteLow(2000), delta32AbsoluteHigh(0)});
}

TEST(Delta32Decoder, OtherKindsLoseAlignment) {
    for (int control = 0; control < 2; ++control) {
        for (int sub = 0; sub < 4; ++sub) {
            for (int kind = 0; kind < 16; ++kind) {
                const std::uint32_t word = delta32Word(control, sub, kind, 0);
                const bool allowed = control == 0 ? kind == 10 : kind == 5 && (sub == 0 || sub == 3);
                const std::string name =
                    std::to_string(control) + ' ' + std::to_string(sub) + ' ' + std::to_string(kind);
                checkWords({name.c_str(), {word}, allowed}, {});
            }
        }
    }
}

TEST(Delta32Decoder, SyncPayloadUnderAnotherKindIsNoSync) {
    for (int kind = 0; kind < 16; ++kind) {
        if (kind != 5)
            checkWords({"kind", {delta32Word(1, 3, kind, 0x15A55AA)}, false}, {});
    }
}

TEST(Delta32Decoder, UpperPayloadBitsOfOverflowAndAbsoluteHighMustBeZero) {
    for (int bit = 16; bit < 25; ++bit) {
        const std::uint32_t payload = std::uint32_t{1} << bit;
        checkWords({"overflow", {delta32Word(1, 0, 5, payload)}, false}, {});
        checkWords({"absolute high", {delta32Word(1, 2, 5, payload)}, false},
                   {kDelta32Sync, delta32AbsoluteLow(2000)});
        checkWords({"absolute low", {delta32AbsoluteLow(payload + 2000), delta32AbsoluteHigh(0)}, true},
                   {kDelta32Sync});
    }
}

TEST(Delta32Decoder, ARepeatedSyncTakesTheLastAbsoluteTime) {
    EXPECT_TRUE(sameTags(Tags{{0, 2001}}, decode(Stream().sync(0x3FFFFFFFFF).sync(2000).data(0, 1).bytes)));
    EXPECT_TRUE(sameTags(Tags{{0, 2001}}, decode(Stream().word(kDelta32Sync).sync(2000).data(0, 1).bytes)));
    EXPECT_TRUE(sameTags(
        Tags{{0, 2001}},
        decode(Stream().word(kDelta32Sync).word(delta32AbsoluteLow(0x1FFFFFF)).sync(2000).data(0, 1).bytes)));
}

TEST(Delta32Decoder, IgnoredControlWordKeepsOverflowsAndAbsoluteTime) {
    const std::uint32_t ignored = delta32Word(1, 3, 5, 0x15A55AB);
    EXPECT_TRUE(sameTags(
        Tags{{0, 0}, {0, kUnit + 4}},
        decode(Stream().sync(0).data(0, 0).word(delta32Overflow(1)).word(ignored).data(0, 4).bytes)));
    EXPECT_TRUE(sameTags(Tags{{0, 504}}, decode(Stream().sync(500).word(ignored).data(0, 4).bytes)));
}

TEST(Delta32Decoder, TimesSurviveALossOfAlignment) {
    const std::uint32_t bad = 0;
    const Bytes bytes = Stream()
                            .sync(1000)
                            .data(0, 5)
                            .sync(1000)
                            .data(1, 0)
                            .word(delta32Overflow(9))
                            .word(bad)
                            .data(0, 100)
                            .sync(3000)
                            .data(1, 1)
                            .data(0, 20)
                            .bytes;
    EXPECT_TRUE(sameTags(Tags{{0, 1005}, {1, 1000}, {1, 3001}, {0, 1025}}, decode(bytes)));
}

TEST(Delta32Decoder, ALossForgetsThePendingAbsoluteTime) {
    const Bytes bytes =
        Stream().sync(1000).word(0).word(kDelta32Sync).word(0).sync(3000).data(1, 1).data(2, 1).bytes;
    EXPECT_TRUE(sameTags(Tags{{1, 3001}}, decode(bytes)));
}

TEST(Delta32Decoder, SearchGoesOnBehindTheWordThatLostAlignment) {
    // Directly behind it.
    EXPECT_TRUE(sameTags(Tags{{0, 1000}, {0, 2001}},
                         decode(Stream().sync(1000).data(0, 0).word(0).sync(2000).data(0, 1).bytes)));
    // A sync that begins inside that word is not found, the next one is.
    Bytes bytes = Stream().sync(1000).data(0, 0).word(0xEB).bytes;
    appendBytes(bytes, bytesFromHex("5A 55 AA"));
    appendBytes(bytes, Stream()
                           .word(delta32AbsoluteLow(2000))
                           .word(delta32AbsoluteHigh(0))
                           .data(0, 1)
                           .sync(3000)
                           .data(0, 1)
                           .bytes);
    EXPECT_TRUE(sameTags(Tags{{0, 1000}, {0, 3001}}, decode(bytes)));
}

TEST(Delta32Decoder, APassThatEndsUnalignedKeepsTheLastThreeBytesForTheNextSearch) {
    // Here a pass matters: the three bytes belong to the word that lost alignment.
    ComparedDecoder decoder(delta32Header());
    decoder.feed(Stream().sync(1000).data(0, 0).word(0x00EB5A55).bytes);
    EXPECT_EQ(decoder.decoder().raw().size(), 3u);
    Bytes rest{0xAA};
    appendBytes(rest, Stream().word(delta32AbsoluteLow(2000)).word(delta32AbsoluteHigh(0)).data(0, 1).bytes);
    EXPECT_TRUE(sameTags(Tags{{0, 2001}}, decoder.feed(rest)));
}

TEST(Delta32Decoder, ALostByteComesBackWithTheNextSync) {
    // Every byte of the records in front of the second sync is lost in turn.
    const std::size_t first = Stream().sync(1000).data(0, 0).bytes.size();
    const Bytes lead = Stream().sync(1000).data(0, 0).step(0, kUnit + 77).data(0, 5).data(0, 9).bytes;
    for (std::size_t lost = first; lost < lead.size(); ++lost) {
        Bytes bytes = lead;
        bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(lost));
        const std::int64_t later = std::int64_t{1} << 39;
        appendBytes(bytes, Stream().sync(later).data(0, 1).sync(later + 1000).data(0, 1).data(0, 2).bytes);
        const Tags tags = decode(bytes);
        ASSERT_GE(tags.size(), 2u) << lost;
        EXPECT_TRUE(sameTags(Tags{{0, later + 1001}, {0, later + 1003}}, std::span(tags).last(2))) << lost;
    }
}

// A step on the wire of a channel with the time `p`.
struct StepCase {
    std::int64_t p;
    std::int64_t step;
    std::int64_t moved; // how far the time goes
};

// Channel 0 brought to time `p`, beyond the 41 bits of a sync too.
Stream at(std::int64_t p) {
    const std::int64_t limit = std::int64_t{1} << 41;
    Stream stream;
    stream.sync(p < limit ? p : 0).data(0, 0);
    if (p < limit)
        return stream;
    // One second at a time: no step looks like one over a wrap.
    for (std::int64_t time = 0; time < p;) {
        const std::int64_t step = std::min<std::int64_t>(p - time, 1000000000000);
        stream.step(0, step);
        time += step;
    }
    return stream;
}

TEST(Delta32Decoder, StepsAboveTheExcessAreCorrectedWhenTheySpanAWrap) {
    for (const StepCase& test : {
             StepCase{0, kExcess, kExcess},
             StepCase{0, kExcess + 1, 1},
             StepCase{0, kExcess + kPlausible, kPlausible},
             StepCase{0, kExcess + kPlausible + 1, kExcess + kPlausible + 1},
             StepCase{kWrap - 20000000000, kExcess + 20000000000, 20000000000},
             StepCase{kWrap - 20000000000, kExcess + 19999999999, kExcess + 19999999999},
             StepCase{kWrap - 20000000000, kExcess + 20000000001, 20000000001},
             StepCase{2 * kWrap - 20000000000, kExcess + 20000000000, 20000000000},
             StepCase{2 * kWrap - 20000000000, kExcess + 19999999999, kExcess + 19999999999},
             StepCase{kWrap - 1, kExcess + kPlausible + 1, kPlausible + 1},
             StepCase{kWrap, kExcess + kPlausible + 1, kExcess + kPlausible + 1},
             StepCase{0, kExcess + kWrap, kWrap},
             StepCase{0, kExcess + kWrap - 1, kExcess + kWrap - 1},
         }) {
        ComparedDecoder decoder(delta32Header());
        decoder.feed(at(test.p).bytes);
        ASSERT_FALSE(decoder.tags().empty());
        ASSERT_EQ(decoder.tags().back(), (TimeTag{0, test.p}));
        EXPECT_TRUE(sameTags(Tags{{0, test.p + test.moved}}, decoder.feed(Stream().step(0, test.step).bytes)))
            << test.p << " + " << test.step;
    }
}

// A sync to `base` and a data word of payload `payload` on a channel at `p`; `time` is the tag's, or -1 when
// alignment is lost.
struct SyncCase {
    std::int64_t p;
    std::int64_t base;
    std::uint32_t payload;
    std::int64_t time;
};

void checkSync(const SyncCase& test) {
    const auto name =
        std::to_string(test.p) + " sync " + std::to_string(test.base) + " + " + std::to_string(test.payload);
    ComparedDecoder decoder(delta32Header());
    decoder.feed(at(test.p).bytes);
    ASSERT_EQ(decoder.tags().back(), (TimeTag{0, test.p})) << name;
    const Tags tags = decoder.feed(Stream().sync(test.base & 0x1FFFFFFFFFF).data(0, test.payload).bytes);
    if (test.time >= 0) {
        EXPECT_TRUE(sameTags(Tags{{0, test.time}}, tags)) << name;
        EXPECT_TRUE(sameTags(Tags{{0, test.time + 3}}, decoder.feed(Stream().data(0, 3).bytes))) << name;
    } else {
        EXPECT_TRUE(tags.empty()) << name;
        EXPECT_TRUE(decoder.feed(Stream().data(0, 3).bytes).empty()) << name;
    }
}

TEST(Delta32Decoder, SyncedTimeMustRise) {
    for (const SyncCase& test :
         {SyncCase{1000, 1000, 0, -1}, SyncCase{1000, 1000, 1, 1001}, SyncCase{1000, 990, 10, -1},
          SyncCase{1000, 990, 11, 1001}, SyncCase{1000, 1001, 0, 1001}, SyncCase{1000, 0, 0, -1}})
        checkSync(test);
}

TEST(Delta32Decoder, SyncIsTakenNearTheChannelsTime) {
    const std::int64_t turn = std::int64_t{1} << 41;
    const std::int64_t half = turn / 2;
    const std::int64_t x = 5000000000000; // two turns and a bit
    for (const SyncCase& test : {
             SyncCase{x, x + 1, 0, x + 1},
             SyncCase{3 * turn - 100, 3 * turn + 50, 0, 3 * turn + 50},
             SyncCase{half + 500, 500, 0, -1},            // exactly half a turn below: stays below
             SyncCase{half + 500, 499, 0, turn + 499},    // one more: the next turn
             SyncCase{3 * turn + half + 500, 500, 0, -1}, //
             SyncCase{3 * turn + half + 500, 499, 0, 4 * turn + 499},
         })
        checkSync(test);
}

TEST(Delta32Decoder, SyncAboveTheExcessIsCorrectedWhenItSpansAWrap) {
    const std::int64_t near = kWrap - 20000000000;
    for (const SyncCase& test : {
             SyncCase{0, kExcess, 0, kExcess},
             SyncCase{0, kExcess + 1, 0, 1},
             SyncCase{0, kExcess + kPlausible, 2, kPlausible + 2},
             SyncCase{0, kExcess + kPlausible + 1, 2, kExcess + kPlausible + 3},
             SyncCase{near, near + kExcess + 20000000000, 5, kWrap + 5},
             SyncCase{near, near + kExcess + 19999999999, 5, near + kExcess + 19999999999 + 5},
         })
        checkSync(test);
}

TEST(Delta32Decoder, ASyncForAnUnseenChannelTakesTheAbsoluteTimeAsItStands) {
    // Channel 0 is turns ahead; channel 1 has no time of its own yet.
    Stream stream = at(5000000000000);
    ComparedDecoder decoder(delta32Header());
    decoder.feed(stream.bytes);
    EXPECT_TRUE(sameTags(Tags{{1, 777}}, decoder.feed(Stream().sync(770).data(1, 7).bytes)));
}

} // namespace
} // namespace qorn
