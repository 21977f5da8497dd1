#include "TagFanOut.h"

#include "BlockedFile.h"
#include "LoopTestSupport.h"
#include "RelaySupport.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using test::Tags;
using test::tagsFrom;

constexpr LoopClock::TimePoint kStart{1h};

class FanOut : public ::testing::Test {
protected:
    TagFanOut make(int batchSize, int maxUiTagsPerSecond = 0, relay::RelayServer* relay = nullptr,
                   std::unique_ptr<TagRecording> recording = nullptr) {
        return TagFanOut(std::move(recording), relay, events, batchSize, maxUiTagsPerSecond, kStart);
    }
    test::RecordingEvents events;
};

TEST_F(FanOut, ABatchGoesOutWhenItIsFull) {
    TagFanOut fan = make(10);
    fan.show(tagsFrom(0, 9), kStart);
    EXPECT_TRUE(events.batches().empty());
    fan.show(tagsFrom(9, 1), kStart);
    EXPECT_EQ(events.batches(), std::vector<Tags>{tagsFrom(0, 10)});
}

TEST_F(FanOut, APassIsNotSplitOverBatches) {
    TagFanOut fan = make(10);
    fan.show(tagsFrom(0, 9), kStart);
    fan.show(tagsFrom(9, 25), kStart);
    EXPECT_EQ(events.batches(), std::vector<Tags>{tagsFrom(0, 34)});
    fan.show(tagsFrom(34, 9), kStart);
    EXPECT_EQ(events.batches().size(), 1U); // a new list was begun
}

TEST_F(FanOut, ABatchGoesOutFiftyMillisecondsAfterTheOneBefore) {
    TagFanOut fan = make(1000);
    fan.show(tagsFrom(0, 1), kStart + 50ms - 1ns);
    EXPECT_TRUE(events.batches().empty());
    fan.show(tagsFrom(1, 1), kStart + 50ms);
    EXPECT_EQ(events.batches(), std::vector<Tags>{tagsFrom(0, 2)});
    fan.show(tagsFrom(2, 1), kStart + 99ms);
    EXPECT_EQ(events.batches().size(), 1U);
    fan.show({}, kStart + 100ms); // no new tags are needed
    EXPECT_EQ(events.batches(), (std::vector<Tags>{tagsFrom(0, 2), tagsFrom(2, 1)}));
}

TEST_F(FanOut, AFullBatchRestartsTheFiftyMilliseconds) {
    TagFanOut fan = make(10);
    fan.show(tagsFrom(0, 10), kStart + 40ms);
    fan.show(tagsFrom(10, 1), kStart + 60ms);
    EXPECT_EQ(events.batches().size(), 1U);
    fan.show({}, kStart + 90ms);
    EXPECT_EQ(events.batches().size(), 2U);
}

TEST_F(FanOut, NothingIsEmittedWithoutTags) {
    TagFanOut fan = make(10);
    for (int pass = 0; pass < 100; ++pass) {
        fan.show({}, kStart + pass * 100ms);
    }
    fan.flush();
    EXPECT_TRUE(events.batches().empty());
}

TEST_F(FanOut, WhatComesAfterALongSilenceGoesAtOnce) {
    TagFanOut fan = make(1000);
    fan.show({}, kStart + 10s);
    fan.show(tagsFrom(0, 1), kStart + 10s + 1ms);
    EXPECT_EQ(events.batches().size(), 1U);
}

TEST_F(FanOut, FlushingHandsOutWhatIsThereOnce) {
    TagFanOut fan = make(1000);
    fan.show(tagsFrom(0, 7), kStart);
    fan.flush();
    fan.flush();
    EXPECT_EQ(events.batches(), std::vector<Tags>{tagsFrom(0, 7)});
}

TEST_F(FanOut, TheGuiGetsItsBudgetInOrder) {
    TagFanOut fan = make(3, 100); // 10 per 100 ms
    fan.show(tagsFrom(0, 40), kStart);
    EXPECT_EQ(events.tags(),
              (Tags{tagsFrom(0, 1)[0], tagsFrom(4, 1)[0], tagsFrom(8, 1)[0], tagsFrom(12, 1)[0],
                    tagsFrom(16, 1)[0], tagsFrom(20, 1)[0], tagsFrom(24, 1)[0], tagsFrom(28, 1)[0],
                    tagsFrom(32, 1)[0], tagsFrom(36, 1)[0]}));
    fan.show(tagsFrom(40, 40), kStart + 99ms);
    EXPECT_EQ(events.tagCount(), 10U); // no room, nothing of the pass
    fan.show(tagsFrom(80, 4), kStart + 100ms);
    EXPECT_EQ(events.tagCount(), 14U);
}

TEST_F(FanOut, OneNegativeTimeIsShownAsItIs) {
    TagFanOut fan = make(1);
    fan.show(Tags{{3, -5}}, kStart);
    EXPECT_EQ(events.tags(), (Tags{{3, -5}}));
}

TEST_F(FanOut, TheRecordingIsCompleteWhateverTheBudget) {
    const qorn::testing::TemporaryFolder folder;
    const QString path = QString::fromStdString(folder.file("run.qornts"));
    TagFanOut fan = make(10, 1, nullptr, TagRecording::start({path, 0, 0}, {}, kStart));
    for (int pass = 0; pass < 20; ++pass) {
        const Tags tags = tagsFrom(pass * 50, 50);
        fan.record(tags, kStart);
        fan.show(tags, kStart);
    }
    EXPECT_EQ(fan.closeRecording(), nullptr);
    EXPECT_EQ(test::readRecording(path).tags, tagsFrom(0, 1000));
    fan.flush();
    EXPECT_EQ(events.tagCount(), 1U);
}

TEST_F(FanOut, WithoutReceiversNothingHappens) {
    TagFanOut fan = make(10);
    fan.record(tagsFrom(0, 10), kStart);
    fan.publish(tagsFrom(0, 10));
    EXPECT_EQ(fan.closeRecording(), nullptr);
    EXPECT_TRUE(events.batches().empty());
}

TEST_F(FanOut, NoticesOfTheRecordingArePassedOnAlsoWhenTheCaptureFails) {
    for (const bool fails : {false, true}) {
        const qorn::testing::TemporaryFolder folder;
        std::filesystem::create_directory(folder.file("run.qornts.json.part"));
        const QString path = QString::fromStdString(folder.file("run.qornts"));
        TagFanOut fan = make(10, 0, nullptr, TagRecording::start({path, 0, 0}, {}, kStart));
        const auto failure = fails ? std::make_exception_ptr(std::runtime_error("gone")) : nullptr;
        EXPECT_EQ(fan.closeRecording(failure), failure);
        const QStringList notices = std::exchange(events.notices, {});
        ASSERT_EQ(notices.size(), 1) << fails;
        EXPECT_TRUE(
            notices[0].startsWith(QStringLiteral("The recording goes on without its companion file: ")))
            << notices[0].toStdString();
    }
}

TEST_F(FanOut, WhatIsRecordedIsInTheFileAndTheRestOnItsWay) {
    test::BlockedFile file;
    TagFanOut fan = make(10, 0, nullptr, TagRecording::start({file.path(), 0, 0}, {}, kStart));
    constexpr std::size_t kTags = 65536;
    for (std::int64_t pass = 0; pass < 8; ++pass) {
        fan.record(tagsFrom(pass * 65536, kTags), kStart);
        EXPECT_TRUE(fan.flow().balances());
    }
    EXPECT_EQ(fan.flow().recording.offered, 8 * kTags);
    EXPECT_GT(fan.flow().recording.waiting, 6 * kTags) << "a pipe takes no more than 64 KiB";
    file.drain();
    EXPECT_EQ(fan.closeRecording(), nullptr);
    EXPECT_EQ(fan.flow().recording.recorded, 8 * kTags);
    EXPECT_EQ(fan.flow().recording.waiting, 0U);
    file.finish();
}

TEST_F(FanOut, AFailureOfTheRecordingIsTheCapturesWhenItHasNone) {
    TagFanOut fan =
        make(10, 0, nullptr, TagRecording::start({QStringLiteral("/dev/full"), 0, 0}, {}, kStart));
    const std::exception_ptr failure = fan.closeRecording();
    ASSERT_NE(failure, nullptr);
    EXPECT_EQ(test::failureOf([&] { std::rethrow_exception(failure); }),
              "StreamFileWriter: payload write failed");
    const auto earlier = std::make_exception_ptr(std::runtime_error("gone"));
    EXPECT_EQ(fan.closeRecording(earlier), earlier);
}

TEST_F(FanOut, WhatAnErrorLeavesBehindIsCutAndWhatAStopDoesIsDiscarded) {
    for (const bool failed : {true, false}) {
        TagFanOut fan = make(1000, 0);
        fan.show(tagsFrom(0, 10), kStart);
        fan.end(25, 5, failed); // of 20 that were pulled and are not masked, 10 wait in a batch
        EXPECT_TRUE(fan.flow().balances());
        EXPECT_EQ(fan.flow().gui.offered, 20U);
        EXPECT_EQ(fan.flow().gui.cut, failed ? 10U : 0U);
        EXPECT_EQ(fan.flow().gui.discarded, failed ? 10U : 20U);
    }
}

TEST_F(FanOut, PublishingWaitsForAClient) {
    test::LoopbackServer server;
    TagFanOut fan = make(10, 1, server.get());
    fan.publish(tagsFrom(0, 100));
    EXPECT_EQ(server->stats().tags_published, 0U);
    test::LoopbackClient client(server.endpoint());
    ASSERT_TRUE(server.waitForClients(1));
    fan.publish(tagsFrom(100, 1000));
    fan.publish({});
    fan.publish(tagsFrom(1100, 10));
    ASSERT_TRUE(client.waitForTags(1010));
    EXPECT_EQ(client.tags(), tagsFrom(100, 1010));
    EXPECT_EQ(server->stats().tags_published, 1010U);
    EXPECT_EQ(server->stats().bytes_published, 8080U);
}

} // namespace
} // namespace qorn::timetagger::gui
