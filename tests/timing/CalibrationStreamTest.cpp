// The tags of a calibration stream, on a driver whose bytes and failures the test decides.
#include "CalibrationStream.h"

#include "Device.h"
#include "Error.h"
#include "ScriptedDriver.h"
#include "StreamBuilder.h"
#include "TagGenerator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace qorn::timing {
namespace {

using std::chrono::milliseconds;
using testing::appendRaw64;
using testing::Bytes;
using testing::RandomSource;
using testing::raw64CoarseFine;
using testing::raw64Picoseconds;
using testing::raw64Stream;
using testing::ScopedDriver;
using Clock = std::chrono::steady_clock;
using Tags = std::vector<CalibrationTag>;
using Texts = std::vector<std::string>;

constexpr milliseconds kLong{60000};

CalibrationTag tagOf(int channel, std::uint32_t coarse, std::uint16_t fine) {
    return {static_cast<std::uint8_t>(channel), coarse, fine, raw64CoarseFine(channel, coarse, fine)};
}

Bytes bytesOf(const Tags& tags) {
    Bytes bytes;
    for (const CalibrationTag& tag : tags) {
        appendRaw64(bytes, tag.raw);
    }
    return bytes;
}

Tags someTags(std::size_t count, std::uint64_t seed = 1) {
    RandomSource random(seed);
    Tags tags;
    for (std::size_t i = 0; i < count; ++i) {
        tags.push_back(tagOf(random.between(0, 3), static_cast<std::uint32_t>(random.bits()),
                             static_cast<std::uint16_t>(random.below(8192))));
    }
    return tags;
}

// Reads the words of all positions in turn; a position behind a tag's first byte is skipped with the tag.
Tags slowScan(const Bytes& bytes) {
    Tags tags;
    std::size_t at = 0;
    while (at + 8 <= bytes.size()) {
        std::uint64_t word = 0;
        for (std::size_t i = 0; i < 8; ++i) {
            word = word << 8 | bytes[at + i];
        }
        if (word >> 63 == 0 && (word >> 45 & 0xFFFF) == 0xA5C3) {
            tags.push_back({static_cast<std::uint8_t>(word >> 61 & 3), static_cast<std::uint32_t>(word >> 13),
                            static_cast<std::uint16_t>(word & 0x1FFF), word});
            at += 8;
        } else {
            ++at;
        }
    }
    return tags;
}

class CalibrationTags : public ::testing::Test {
protected:
    CalibrationTags() {
        device.emplace(Device::open_serial("ftdi://SN0001"));
        driver->clearLog();
    }

    Tags stream(unsigned long count, milliseconds timeout = kLong) {
        return device->stream_calibration_tags(count, 100000.0, 2, timeout, Transport::Usb, 0, 0);
    }
    // What the stream throws, and that it was stopped once.
    Error failureOf(unsigned long count, milliseconds timeout = kLong) {
        try {
            stream(count, timeout);
        } catch (const Error& error) {
            EXPECT_EQ(driver->callsOf("tt_stop_calibration_stream"), Texts{"tt_stop_calibration_stream(0)"});
            return error;
        }
        ADD_FAILURE() << "nothing was thrown";
        return Error(0, "");
    }
    void feedInPieces(const Bytes& bytes, std::size_t length) {
        for (std::size_t at = 0; at < bytes.size(); at += length) {
            const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
            const auto size = static_cast<std::ptrdiff_t>(std::min(length, bytes.size() - at));
            driver->feed(Bytes(begin, begin + size));
        }
    }

    ScopedDriver driver;
    std::optional<Device> device;
};

TEST_F(CalibrationTags, SetsRateInputsAndPathThenStartsReadsAndStops) {
    driver->feed(bytesOf(someTags(3)));
    EXPECT_EQ(stream(3), someTags(3));
    EXPECT_EQ(driver->calls(), (Texts{"tt_set_calibration_freq(100000)", "tt_set_stream_channel_mask(15)",
                                      "tt_set_stream_interface(1,0)", "tt_start_calibration_stream(2)",
                                      "tt_stop_calibration_stream(0)"}));
    EXPECT_EQ(driver->callsOf("tt_read_stream_bytes"), Texts{"tt_read_stream_bytes(65536,5)"});
}

TEST_F(CalibrationTags, TakeEachTransportAndAlwaysRawCodes) {
    const std::pair<Transport, const char*> rows[] = {{Transport::Uart, "tt_set_stream_interface(0,0)"},
                                                      {Transport::Usb, "tt_set_stream_interface(1,0)"},
                                                      {Transport::UsbAsync, "tt_set_stream_interface(2,0)"}};
    for (const auto& [transport, call] : rows) {
        driver->clearLog();
        driver->feed(bytesOf(someTags(1)));
        device->stream_calibration_tags(1, 5000.5, 0, kLong, transport, 0, 0);
        EXPECT_EQ(driver->callsOf("tt_set_stream_interface"), Texts{call});
        EXPECT_EQ(driver->callsOf("tt_set_calibration_freq"), Texts{"tt_set_calibration_freq(5000.5)"});
    }
}

TEST_F(CalibrationTags, FewerThanTwoSweepStepsKeepTheFrequency) {
    struct Row {
        int steps;
        int dwell;
        const char* start;
    };
    for (const Row& row :
         {Row{0, 0, "tt_start_calibration_stream(1)"}, Row{0, 100, "tt_start_calibration_stream(1)"},
          Row{1, 100, "tt_start_calibration_stream(1)"},
          Row{2, 100, "tt_start_calibration_sweep_stream(1,2,100)"},
          Row{72, 0, "tt_start_calibration_sweep_stream(1,72,0)"},
          Row{255, 65535, "tt_start_calibration_sweep_stream(1,255,65535)"}}) {
        driver->clearLog();
        driver->feed(bytesOf(someTags(1)));
        device->stream_calibration_tags(1, 100000.0, 1, kLong, Transport::Usb,
                                        static_cast<unsigned char>(row.steps),
                                        static_cast<unsigned short>(row.dwell));
        ASSERT_EQ(driver->calls().size(), 5U);
        EXPECT_EQ(driver->calls()[3], row.start);
        EXPECT_EQ(driver->calls()[4], "tt_stop_calibration_stream(0)");
    }
}

TEST_F(CalibrationTags, ARefusedCommandIsNamedAndNothingIsReadAfterIt) {
    struct Row {
        const char* function;
        int steps;
        const char* message;
    };
    for (const Row& row :
         {Row{"tt_set_calibration_freq", 0, "set_calibration_freq: rejected (not now)"},
          Row{"tt_set_stream_channel_mask", 0, "set_stream_channels: rejected (not now)"},
          Row{"tt_set_stream_interface", 0, "set_stream_interface: rejected (not now)"},
          Row{"tt_start_calibration_stream", 1, "start_calibration_stream: rejected (not now)"},
          Row{"tt_start_calibration_sweep_stream", 2,
              "start_calibration_sweep_stream: rejected (not now)"}}) {
        driver->clearLog();
        driver->clearFailures();
        driver->fail(row.function, TT_REJECTED, "not now");
        try {
            device->stream_calibration_tags(1, 100000.0, 0, kLong, Transport::Usb,
                                            static_cast<unsigned char>(row.steps), 1);
            ADD_FAILURE() << row.function;
        } catch (const Error& error) {
            EXPECT_EQ(error.status(), TT_REJECTED);
            EXPECT_EQ(std::string(error.what()), row.message);
        }
        EXPECT_EQ(driver->count("tt_read_stream_bytes"), 0) << row.function;
    }
}

TEST_F(CalibrationTags, KeepAllFieldsAndTheWholeWord) {
    const Tags tags{tagOf(0, 0, 0), tagOf(1, 1000, 2), tagOf(2, 0xFFFFFFFF, 8191),
                    tagOf(3, 0x80000001, 4096)};
    EXPECT_EQ(tags[1].raw, 0x34B86000007D0002U); // as it stands on the wire
    driver->feed(bytesOf(tags));
    EXPECT_EQ(stream(4), tags);
}

TEST_F(CalibrationTags, NoneWantedNeedsNoRead) {
    EXPECT_TRUE(stream(0, milliseconds(0)).empty());
    EXPECT_EQ(driver->count("tt_read_stream_bytes"), 0);
    EXPECT_EQ(driver->count("tt_start_calibration_stream"), 1);
    EXPECT_EQ(driver->count("tt_stop_calibration_stream"), 1);
}

TEST_F(CalibrationTags, EndAtTheCountWhateverElseWasRead) {
    const Tags tags = someTags(50);
    driver->feed(bytesOf(tags));
    EXPECT_EQ(stream(20), Tags(tags.begin(), tags.begin() + 20));
    EXPECT_EQ(driver->count("tt_read_stream_bytes"), 1);
}

TEST_F(CalibrationTags, ALaterStreamBeginsWithoutTheBytesOfTheEarlier) {
    Bytes first = bytesOf(someTags(2));
    const Bytes half = bytesOf({tagOf(1, 77, 7)});
    first.insert(first.end(), half.begin(), half.begin() + 4);
    driver->feed(first);
    stream(2);
    Bytes second(half.begin() + 4, half.end());
    testing::appendBytes(second, bytesOf({tagOf(2, 88, 8)}));
    driver->feed(second);
    EXPECT_EQ(stream(1), Tags{tagOf(2, 88, 8)});
}

TEST_F(CalibrationTags, MayComeInPiecesOfAnyLength) {
    const Tags tags = someTags(300);
    for (const std::size_t length : {1, 3, 7, 8, 9, 1000}) {
        feedInPieces(bytesOf(tags), length);
        EXPECT_EQ(stream(300), tags) << "pieces of " << length;
    }
}

TEST_F(CalibrationTags, MoreThanOneReadBufferIsTakenWhole) {
    const Tags tags = someTags(20000); // 160000 bytes
    driver->feed(bytesOf(tags));
    EXPECT_EQ(stream(20000), tags);
    EXPECT_EQ(driver->count("tt_read_stream_bytes"), 3);
}

TEST_F(CalibrationTags, WhatIsNoTagIsSkippedByteByByte) {
    const CalibrationTag tag = tagOf(2, 123456, 99);
    const std::pair<const char*, Bytes> rows[] = {
        {"one byte", {0x34}},
        {"seven bytes", {1, 2, 3, 4, 5, 6, 7}},
        {"a word of picoseconds", raw64Stream({raw64Picoseconds(1, 123456789)})},
        {"the highest bit set", raw64Stream({tag.raw | std::uint64_t{1} << 63})},
        {"another marker", raw64Stream({tag.raw ^ std::uint64_t{1} << 45, tag.raw ^ std::uint64_t{1} << 60})},
        {"the begin of a tag", {0x54, 0xB8}},
        {"zeros", Bytes(1000)},
        {"ones", Bytes(1000, 0xFF)},
    };
    for (const auto& [what, garbage] : rows) {
        Bytes bytes = garbage;
        testing::appendBytes(bytes, bytesOf({tag}));
        testing::appendBytes(bytes, garbage);
        testing::appendBytes(bytes, bytesOf({tagOf(1, 5, 6)}));
        driver->feed(bytes);
        EXPECT_EQ(stream(2), (Tags{tag, tagOf(1, 5, 6)})) << what;
    }
}

TEST_F(CalibrationTags, AreThoseOfASlowScanInGarbage) {
    RandomSource random(5);
    for (int round = 0; round < 30; ++round) {
        Bytes bytes;
        for (int piece = 0; piece < 200; ++piece) {
            const Bytes tag = bytesOf(someTags(1, random.bits()));
            if (random.chance(0.5)) {
                testing::appendBytes(bytes, tag);
            } else if (random.chance(0.5)) {
                bytes.insert(bytes.end(), tag.begin(), tag.begin() + random.between(1, 7));
            } else {
                bytes.push_back(static_cast<std::uint8_t>(random.bits()));
            }
        }
        testing::appendBytes(bytes, Bytes(8, 0xFF));
        testing::appendBytes(bytes, bytesOf(someTags(1, random.bits()))); // so that nothing stays behind
        const Tags expected = slowScan(bytes);
        ASSERT_GT(expected.size(), 20U);
        feedInPieces(bytes, static_cast<std::size_t>(random.between(1, 500)));
        ASSERT_EQ(stream(expected.size()), expected) << "round " << round;
    }
}

TEST_F(CalibrationTags, ReadsWithoutDataAreNoFailure) {
    driver->feedEmpty();
    driver->feedFailure(TT_TIMED_OUT, "late");
    driver->feed(bytesOf(someTags(1)));
    driver->feedEmpty();
    driver->feedFailure(TT_TIMED_OUT, "late");
    driver->feed(bytesOf({tagOf(1, 5, 6)}));
    EXPECT_EQ(stream(2).size(), 2U);
}

TEST_F(CalibrationTags, AFailedReadIsNamedAndTheStreamStopped) {
    driver->feed(bytesOf(someTags(2)));
    driver->feedFailure(TT_FAILED, "cable gone");
    const Error error = failureOf(3);
    EXPECT_EQ(error.status(), TT_FAILED);
    EXPECT_EQ(std::string(error.what()), "read_stream_bytes: general failure (cable gone)");
    driver->clearLog();
    driver->feedFailure(TT_NO_DEVICE, "");
    EXPECT_EQ(std::string(failureOf(1).what()), "read_stream_bytes: no device");
}

TEST_F(CalibrationTags, NoTagInTimeIsATimeOut) {
    const auto begin = Clock::now();
    const Error error = failureOf(1, milliseconds(60));
    EXPECT_GE(Clock::now() - begin, milliseconds(60));
    EXPECT_EQ(error.status(), TT_TIMED_OUT);
    EXPECT_EQ(std::string(error.what()), "stream_calibration_tags: raw64 tag timeout");
}

TEST_F(CalibrationTags, TooFewTagsAreATimeOutToo) {
    driver->feed(bytesOf(someTags(9)));
    EXPECT_EQ(std::string(failureOf(10, milliseconds(30)).what()),
              "stream_calibration_tags: raw64 tag timeout");
}

TEST_F(CalibrationTags, GarbageDoesNotPutTheTimeOutOff) {
    driver->onCall("tt_read_stream_bytes", [&](int) { driver->feed(Bytes(16, 0xFF)); });
    EXPECT_EQ(failureOf(1, milliseconds(40)).status(), TT_TIMED_OUT);
}

TEST_F(CalibrationTags, EachNewTagPutsTheTimeOutOff) {
    constexpr milliseconds kTimeout{800};
    auto last = Clock::now();
    int sent = 0;
    driver->onCall("tt_read_stream_bytes", [&](int) {
        if (Clock::now() - last > kTimeout * 6 / 10 && sent < 3) {
            last = Clock::now();
            driver->feed(bytesOf({tagOf(sent++, 1, 1)}));
        }
    });
    EXPECT_EQ(stream(3, kTimeout).size(), 3U); // takes longer than the time-out
}

TEST_F(CalibrationTags, WithoutTimeAReadThatBringsATagIsStillFollowedByAnother) {
    driver->feed(bytesOf({tagOf(0, 1, 1)}));
    driver->feed(bytesOf({tagOf(1, 2, 2)}));
    EXPECT_EQ(stream(2, milliseconds(0)).size(), 2U);
    driver->clearLog();
    EXPECT_EQ(failureOf(1, milliseconds(0)).status(), TT_TIMED_OUT);
    EXPECT_EQ(driver->count("tt_read_stream_bytes"), 1);
}

TEST_F(CalibrationTags, AFailedStopIsAFailure) {
    driver->feed(bytesOf(someTags(1)));
    driver->fail("tt_stop_calibration_stream", TT_FAILED, "stuck");
    try {
        stream(1);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), TT_FAILED);
        EXPECT_EQ(std::string(error.what()), "stop_calibration_stream: general failure (stuck)");
    }
}

TEST_F(CalibrationTags, AFailedStopDoesNotHideTheFirstFailure) {
    driver->fail("tt_stop_calibration_stream", TT_REJECTED, "stuck");
    driver->feedFailure(TT_FAILED, "cable gone");
    EXPECT_EQ(std::string(failureOf(1).what()), "read_stream_bytes: general failure (cable gone)");
}

TEST_F(CalibrationTags, TheDeviceServesAnotherStreamAfterAFailure) {
    driver->feedFailure(TT_FAILED, "cable gone");
    failureOf(1);
    driver->feed(bytesOf(someTags(5)));
    EXPECT_EQ(stream(5), someTags(5));
}

TEST(CalibrationStream, IsStoppedByItsDestructorAndOnlyOnce) {
    ScopedDriver driver;
    const Device device = Device::open_serial("ftdi://SN0001");
    { const CalibrationStream stream(device.handle, 0, 0, 0); }
    EXPECT_EQ(driver->count("tt_stop_calibration_stream"), 1);
    {
        CalibrationStream stream(device.handle, 0, 0, 0);
        stream.stop();
    }
    EXPECT_EQ(driver->count("tt_stop_calibration_stream"), 2);
}

TEST(CalibrationStream, AFailedStartIsFollowedByAStopBecauseItMayHaveComeThrough) {
    ScopedDriver driver;
    const Device device = Device::open_serial("ftdi://SN0001");
    driver->fail("tt_start_calibration_stream", TT_FAILED, "answer lost");
    EXPECT_THROW(CalibrationStream(device.handle, 0, 0, 0), Error);
    EXPECT_EQ(driver->count("tt_stop_calibration_stream"), 1);
    driver->fail("tt_start_calibration_sweep_stream", TT_FAILED, "answer lost");
    EXPECT_THROW(CalibrationStream(device.handle, 0, 5, 100), Error);
    EXPECT_EQ(driver->count("tt_stop_calibration_stream"), 2);
}

TEST(CalibrationStream, AFailedStopIsToldAndTriedOnceMore) {
    ScopedDriver driver;
    const Device device = Device::open_serial("ftdi://SN0001");
    driver->fail("tt_stop_calibration_stream", TT_FAILED, "bus");
    {
        CalibrationStream stream(device.handle, 0, 0, 0);
        EXPECT_THROW(stream.stop(), Error);
    }
    EXPECT_EQ(driver->count("tt_stop_calibration_stream"), 2);
}

TEST(CalibrationStream, ReadsOnWhereItEnded) {
    ScopedDriver driver;
    const Device device = Device::open_serial("ftdi://SN0001");
    const Tags tags = someTags(30);
    driver->feed(bytesOf(tags));
    CalibrationStream stream(device.handle, 0, 0, 0);
    EXPECT_EQ(stream.read(10, kLong), Tags(tags.begin(), tags.begin() + 10));
    EXPECT_EQ(stream.read(20, kLong), Tags(tags.begin() + 10, tags.end()));
}

} // namespace
} // namespace qorn::timing
