#include "TagStreamReader.h"

#include "Device.h"
#include "Error.h"
#include "ScriptedDriver.h"
#include "StreamHeaders.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

namespace qorn::timing {
namespace {

using testing::Bytes;
using testing::raw64Header;
using testing::ScopedDriver;

std::vector<TimeTag> tagsFrom(std::int64_t first, std::size_t count) {
    std::vector<TimeTag> tags(count);
    for (std::size_t index = 0; index < count; ++index) {
        const std::int64_t number = first + static_cast<std::int64_t>(index);
        tags[index] = {static_cast<std::uint8_t>(number % 4), number * 1000};
    }
    return tags;
}

// A "ps" word per tag.
Bytes bytesOf(const std::vector<TimeTag>& tags) {
    Bytes bytes;
    for (const TimeTag& tag : tags) {
        testing::appendRaw64(
            bytes, testing::raw64Picoseconds(tag.channel, static_cast<std::uint64_t>(tag.timestamp_ps)));
    }
    return bytes;
}

class TagStreamReaderTest : public ::testing::Test {
protected:
    ScopedDriver driver; // outlives the device
    Device device = Device::open_serial("A");
    TagStreamReader reader{device};

    void start(std::size_t read_bytes = TagStreamReader::kReadBytes, std::size_t max_queue = 1 << 20) {
        reader.start(raw64Header("ps"), read_bytes, max_queue);
    }

    std::vector<TimeTag> take(std::size_t limit = 1 << 24) {
        std::vector<TimeTag> tags{{1, 1}};
        EXPECT_EQ(reader.take(tags, limit), nullptr);
        return tags;
    }

    std::optional<Error> errorOfStop() {
        try {
            reader.stop();
        } catch (const Error& error) {
            return error;
        }
        return std::nullopt;
    }
};

TEST_F(TagStreamReaderTest, DecodedTagsWaitInOrder) {
    start();
    EXPECT_TRUE(reader.is_running());
    driver->feed(bytesOf(tagsFrom(1, 10)));
    driver->feed(bytesOf(tagsFrom(11, 5)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(take(), tagsFrom(1, 15));
    EXPECT_TRUE(take().empty());
    EXPECT_EQ(reader.dropped(), 0U);
    reader.stop();
    EXPECT_FALSE(reader.is_running());
}

TEST_F(TagStreamReaderTest, TakesNoMoreThanTheLimitAndKeepsTheRest) {
    start();
    driver->feed(bytesOf(tagsFrom(1, 10)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(take(4), tagsFrom(1, 4));
    EXPECT_EQ(take(4), tagsFrom(5, 4));
    EXPECT_EQ(take(4), tagsFrom(9, 2));
}

TEST_F(TagStreamReaderTest, ReadsWithTheGivenSizeAndATimeOutOf20Milliseconds) {
    start(1048576);
    ASSERT_TRUE(driver->waitForCall("tt_read_stream_bytes"));
    reader.stop();
    EXPECT_EQ(driver->callsOf("tt_read_stream_bytes").front(), "tt_read_stream_bytes(1048576,20)");
}

TEST_F(TagStreamReaderTest, SmallReadSizesAreRaised) {
    for (const auto& [asked, read] : {std::pair<std::size_t, const char*>(0, "4096,20"),
                                      {4095, "4096,20"},
                                      {4096, "4096,20"},
                                      {4097, "4097,20"}}) {
        driver->clearLog();
        start(asked);
        ASSERT_TRUE(driver->waitForCall("tt_read_stream_bytes"));
        reader.stop();
        EXPECT_EQ(driver->callsOf("tt_read_stream_bytes").front(),
                  "tt_read_stream_bytes(" + std::string(read) + ")");
    }
}

TEST_F(TagStreamReaderTest, AFullQueueLosesTheOldestAndCountsThem) {
    start(1048576, 1024);
    driver->feed(bytesOf(tagsFrom(1, 5000)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(reader.dropped(), 3976U);
    EXPECT_EQ(take(), tagsFrom(3977, 1024));
}

TEST_F(TagStreamReaderTest, AQueueLimitOfZeroIsRaisedTo1024) {
    start(1048576, 0);
    driver->feed(bytesOf(tagsFrom(1, 1025)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(reader.dropped(), 1U);
    EXPECT_EQ(take(), tagsFrom(2, 1024));
}

TEST_F(TagStreamReaderTest, LossesAddUpOverReads) {
    start(1048576, 1024);
    driver->feed(bytesOf(tagsFrom(1, 1000)));
    driver->feed(bytesOf(tagsFrom(1001, 100)));
    driver->feed(bytesOf(tagsFrom(1101, 100)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(reader.dropped(), 176U);
    EXPECT_EQ(take(), tagsFrom(177, 1024));
    driver->feed(bytesOf(tagsFrom(1201, 1024)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(reader.dropped(), 176U);
}

TEST_F(TagStreamReaderTest, StoppingWhatNeverRanReturnsAtOnce) {
    EXPECT_NO_THROW(reader.stop());
    EXPECT_FALSE(reader.is_running());
    EXPECT_EQ(driver->count("tt_read_stream_bytes"), 0);
}

TEST_F(TagStreamReaderTest, TimeOutsAndEmptyReadsAreNoEnd) {
    driver->fail("tt_read_stream_bytes", -3, "no data", 1);
    driver->fail("tt_read_stream_bytes", -3, "no data", 2);
    driver->feedEmpty();
    driver->feedFailure(-3, "no data");
    driver->feedEmpty();
    driver->feed(bytesOf(tagsFrom(1, 3)));
    start();
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(take(), tagsFrom(1, 3));
    EXPECT_NO_THROW(reader.stop());
}

TEST_F(TagStreamReaderTest, ADriverThatAlwaysTimesOutKeepsTheThreadUntilStop) {
    driver->fail("tt_read_stream_bytes", -3);
    start();
    ASSERT_TRUE(driver->waitForCall("tt_read_stream_bytes", 1000));
    EXPECT_TRUE(reader.is_running());
    EXPECT_NO_THROW(reader.stop());
    EXPECT_FALSE(reader.is_running());
}

TEST_F(TagStreamReaderTest, AFailedReadEndsTheThreadAndIsToldToConsumerAndStop) {
    driver->feed(bytesOf(tagsFrom(1, 7)));
    driver->feedFailure(-1, "unplugged");
    start();
    std::exception_ptr error;
    std::vector<TimeTag> tags;
    std::vector<TimeTag> all;
    const auto limit = std::chrono::steady_clock::now() + testing::kEventLimit;
    while (error == nullptr && std::chrono::steady_clock::now() < limit) {
        error = reader.take(tags, 3);
        all.insert(all.end(), tags.begin(), tags.end());
        std::this_thread::yield();
    }
    ASSERT_NE(error, nullptr);
    // What was decoded before the failure can still be taken.
    while (!tags.empty()) {
        EXPECT_EQ(reader.take(tags, 3), error);
        all.insert(all.end(), tags.begin(), tags.end());
    }
    EXPECT_EQ(all, tagsFrom(1, 7));
    try {
        std::rethrow_exception(error);
    } catch (const Error& failure) {
        EXPECT_EQ(failure.status(), -1);
        EXPECT_STREQ(failure.what(), "read_stream_bytes: general failure (unplugged)");
    }
    for (int repeat = 0; repeat < 2; ++repeat) { // the error stays
        const std::optional<Error> stopped = errorOfStop();
        ASSERT_TRUE(stopped.has_value());
        EXPECT_STREQ(stopped->what(), "read_stream_bytes: general failure (unplugged)");
    }
    EXPECT_FALSE(reader.is_running());
}

TEST_F(TagStreamReaderTest, CountsTheBytesBehindTheFirstTagThatWereSkipped) {
    start();
    driver->feed({0xFF, 0xFF, 0xFF});
    driver->feed(bytesOf(tagsFrom(1, 10)));
    driver->feed({0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    driver->feed(bytesOf(tagsFrom(11, 5)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(reader.counts().skipped_bytes, 5U);
    EXPECT_EQ(reader.counts().decoded, 15U);
    EXPECT_EQ(take(), tagsFrom(1, 15));
    start();
    EXPECT_EQ(reader.counts().skipped_bytes, 0U);
}

TEST_F(TagStreamReaderTest, TheNextStartForgetsErrorQueueAndLosses) {
    start(1048576, 1024);
    driver->feed(bytesOf(tagsFrom(1, 1030)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(reader.dropped(), 6U);
    reader.stop();
    EXPECT_EQ(reader.dropped(), 6U);
    start();
    EXPECT_EQ(reader.dropped(), 0U);
    EXPECT_TRUE(take().empty());
    driver->feed(bytesOf(tagsFrom(5000, 2)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(take(), tagsFrom(5000, 2));
}

TEST_F(TagStreamReaderTest, TheNextStartClearsTheErrorThatEndedTheEarlierRun) {
    driver->feedFailure(-1, "unplugged");
    start();
    ASSERT_TRUE(driver->waitForCall("tt_last_error"));
    ASSERT_TRUE(errorOfStop().has_value());
    start();
    driver->feed(bytesOf(tagsFrom(1, 2)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(take(), tagsFrom(1, 2));
    EXPECT_FALSE(errorOfStop().has_value());
}

TEST_F(TagStreamReaderTest, StartingAgainWhileRunningBeginsANewStream) {
    start();
    driver->feed(bytesOf(tagsFrom(1, 5)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    start();
    EXPECT_TRUE(reader.is_running());
    EXPECT_TRUE(take().empty());
    driver->feed(bytesOf(tagsFrom(100, 5)));
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(take(), tagsFrom(100, 5));
}

TEST_F(TagStreamReaderTest, TheDestructorSwallowsTheError) {
    driver->feedFailure(-1, "unplugged");
    {
        TagStreamReader scoped(device);
        scoped.start(raw64Header("ps"), 4096, 1024);
        ASSERT_TRUE(driver->waitForCall("tt_last_error"));
    }
    EXPECT_TRUE(driver->breaches().empty());
}

TEST_F(TagStreamReaderTest, ARecordCutBetweenReadsIsWhole) {
    const Bytes bytes = bytesOf(tagsFrom(1, 100));
    for (std::size_t at = 0; at < bytes.size(); at += 13) {
        const auto piece = std::span(bytes).subspan(at, std::min<std::size_t>(13, bytes.size() - at));
        driver->feed(Bytes(piece.begin(), piece.end()));
    }
    start();
    ASSERT_TRUE(driver->waitUntilStreamIdle());
    EXPECT_EQ(take(), tagsFrom(1, 100));
}

TEST_F(TagStreamReaderTest, NoReadIsUnderWayAfterStop) {
    driver->hold("tt_read_stream_bytes");
    start();
    ASSERT_TRUE(driver->waitUntilHeld("tt_read_stream_bytes"));
    std::atomic<bool> stopped{false};
    std::thread stopper([&] {
        reader.stop();
        stopped = true;
    });
    EXPECT_FALSE(stopped);
    driver->release("tt_read_stream_bytes");
    stopper.join();
    const int reads = driver->count("tt_read_stream_bytes");
    EXPECT_FALSE(reader.is_running());
    EXPECT_EQ(driver->count("tt_read_stream_bytes"), reads);
}

TEST_F(TagStreamReaderTest, ASlowConsumerAndAReaderShareOneQueueWithoutLossOrDoubles) {
    constexpr std::size_t kPieces = 200;
    constexpr std::size_t kPerPiece = 500;
    start(4096, kPieces * kPerPiece);
    std::thread feeder([&] {
        for (std::size_t piece = 0; piece < kPieces; ++piece) {
            driver->feed(bytesOf(tagsFrom(static_cast<std::int64_t>(piece * kPerPiece), kPerPiece)));
        }
    });
    std::vector<TimeTag> all;
    std::vector<TimeTag> tags;
    const auto limit = std::chrono::steady_clock::now() + testing::kEventLimit;
    while (all.size() < kPieces * kPerPiece && std::chrono::steady_clock::now() < limit) {
        ASSERT_EQ(reader.take(tags, 333), nullptr);
        ASSERT_LE(tags.size(), 333U);
        all.insert(all.end(), tags.begin(), tags.end());
        std::this_thread::yield();
    }
    feeder.join();
    EXPECT_EQ(reader.dropped(), 0U);
    EXPECT_TRUE(all == tagsFrom(0, kPieces * kPerPiece));
}

TEST_F(TagStreamReaderTest, ReadsOnAThreadOfItsOwn) {
    start();
    ASSERT_TRUE(driver->waitForCall("tt_read_stream_bytes"));
    reader.stop();
    for (const auto& call : driver->log()) {
        if (call.function == "tt_read_stream_bytes") {
            EXPECT_NE(call.thread, std::this_thread::get_id());
        }
    }
}

} // namespace
} // namespace qorn::timing
