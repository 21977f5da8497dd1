// The way of the tags through a running capture.
#include "CaptureLoop.h"

#include "BlockedFile.h"
#include "Device.h"
#include "LoopTestSupport.h"
#include "RecordingCompanionFile.h"
#include "RelaySupport.h"
#include "ScriptedDriver.h"
#include "StreamBuilder.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using qorn::testing::Bytes;
using qorn::testing::ScopedDriver;
using qorn::testing::TemporaryFolder;
using test::Tags;
using test::tagsFrom;
using test::wordsOf;

class Capture : public ::testing::Test {
protected:
    void SetUp() override {
        request.mode = QStringLiteral("external");
        request.stream.format = StreamChoice::Raw64;
        request.batchSize = 65536;
        driver->clearLog();
    }

    void run(relay::RelayServer* relay = nullptr) {
        captureLoop(device, request, relay, stop, events, clock);
    }

    void stopAtTags(std::size_t count) {
        events.onTags = [this, count](std::size_t total) { stop = total >= count; };
    }

    // Lets the loop pull nothing until all that was fed waits in the reader's queue, then runs `next` once.
    void whenAllIsRead(const std::function<void()>& next = {}) {
        clock.onSleep = [this, next](std::size_t number) {
            if (number == 1) {
                for (Bytes& piece : pieces) {
                    driver->feed(std::move(piece));
                }
                EXPECT_TRUE(driver->waitUntilStreamIdle());
                if (next) {
                    next();
                }
            }
        };
    }

    // So many tags come, and behind them a read fails, before the loop pulls anything.
    void failTheReadBehind(std::size_t tags) {
        clock.onSleep = [this, tags](std::size_t number) {
            if (number == 1) {
                driver->feed(wordsOf(tagsFrom(0, tags)));
                driver->feedFailure(-1, "unplugged");
                EXPECT_TRUE(driver->waitForCall("tt_last_error"));
            }
        };
    }

    ScopedDriver driver;
    timing::Device device = timing::Device::open_serial("A");
    std::atomic<bool> stop{false};
    test::RecordingEvents events;
    test::ManualClock clock;
    CaptureRequest request;
    std::vector<Bytes> pieces;
    TemporaryFolder folder;
};

TEST_F(Capture, TagsReachTheGuiInOrder) {
    request.batchSize = 100;
    for (int piece = 0; piece < 50; ++piece) {
        driver->feed(wordsOf(tagsFrom(piece * 100, 100)));
    }
    stopAtTags(5000);
    run();
    EXPECT_EQ(events.tags(), tagsFrom(0, 5000));
    EXPECT_TRUE(events.losses().empty());
}

TEST_F(Capture, TheReaderReadsAMebibyteAtATime) {
    driver->feed(wordsOf(tagsFrom(0, 10)));
    request.batchSize = 1;
    stopAtTags(10);
    run();
    EXPECT_EQ(driver->callsOf("tt_read_stream_bytes").front(), "tt_read_stream_bytes(1048576,20)");
}

TEST_F(Capture, TheOldestTagsBeyondTheFullQueueAreToldAtTheEndByTheirNumber) {
    constexpr std::int64_t kQueued = 131072;
    constexpr std::int64_t kLost = 4321;
    pieces.push_back(wordsOf(tagsFrom(0, kQueued)));
    pieces.push_back(wordsOf(tagsFrom(kQueued, kLost)));
    request.batchSize = 8192; // sixteen of which are the least queue
    whenAllIsRead();
    stopAtTags(kQueued);
    run();
    EXPECT_EQ(events.losses(), std::vector<quint64>{kLost});
    EXPECT_EQ(events.tags(), tagsFrom(kLost, kQueued));
}

TEST_F(Capture, NoReadIsUnderWayWhenTheStreamIsStopped) {
    driver->feed(wordsOf(tagsFrom(0, 10)));
    request.batchSize = 10;
    stopAtTags(10);
    run();
    const auto log = driver->log();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.back().text(), "tt_stop_stream_mode(0)");
    // That no two threads are in the handle at once is watched by the driver itself.
    EXPECT_TRUE(driver->breaches().empty());
}

TEST_F(Capture, APullIsLimitedToTheBatchSize) {
    request.batchSize = 100;
    pieces.push_back(wordsOf(tagsFrom(0, 1000)));
    whenAllIsRead();
    stopAtTags(1000);
    run();
    const auto batches = events.batches();
    ASSERT_EQ(batches.size(), 10U);
    for (std::size_t index = 0; index < 10; ++index) {
        EXPECT_EQ(batches[index], tagsFrom(static_cast<std::int64_t>(index * 100), 100));
    }
}

TEST_F(Capture, WithoutTagsItWakesEveryTwoMillisecondsAndEmitsNothing) {
    clock.onSleep = [this](std::size_t number) { stop = number == 500; };
    run();
    EXPECT_EQ(clock.sleeps(), std::vector<std::chrono::milliseconds>(500, 2ms));
    EXPECT_TRUE(events.batches().empty());
}

TEST_F(Capture, ASmallBatchGoesOutAfterFiftyMilliseconds) {
    pieces.push_back(wordsOf(tagsFrom(0, 3)));
    whenAllIsRead();
    stopAtTags(3);
    run();
    EXPECT_EQ(events.tags(), tagsFrom(0, 3));
    EXPECT_GE(clock.sleeps().size(), 24U); // at 2 ms each, the first pass included
    EXPECT_LE(clock.sleeps().size(), 26U);
}

TEST_F(Capture, APartlyFilledBatchIsDiscardedAtTheEnd) {
    pieces.push_back(wordsOf(tagsFrom(0, 3)));
    whenAllIsRead();
    const auto base = clock.onSleep;
    clock.onSleep = [this, base](std::size_t number) {
        base(number);
        stop = number == 5; // 10 ms
    };
    run();
    EXPECT_TRUE(events.batches().empty());
}

TEST_F(Capture, TheGuiGetsItsRateAndNoMore) {
    request.batchSize = 1000;
    request.maxUiTagsPerSecond = 1000; // 100 per 100 ms
    pieces.push_back(wordsOf(tagsFrom(0, 1000)));
    whenAllIsRead();
    events.onTags = [this](std::size_t) { stop = true; };
    run();
    ASSERT_EQ(events.tagCount(), 100U);
    const Tags tags = events.tags();
    for (std::size_t index = 0; index < 100; ++index) {
        EXPECT_EQ(tags[index], tagsFrom(static_cast<std::int64_t>(index * 10), 1)[0]);
    }
}

TEST_F(Capture, ALaggingLoopLosesTheOldestBeyond131072) {
    request.batchSize = 1000;
    constexpr std::size_t kTotal = 3 * 131072;
    for (int piece = 0; piece < 3; ++piece) {
        pieces.push_back(wordsOf(tagsFrom(piece * 131072, 131072)));
    }
    whenAllIsRead();
    stopAtTags(131000); // whole batches of a thousand
    run();
    EXPECT_TRUE(events.tags() == tagsFrom(kTotal - 131072, 131000));
    EXPECT_EQ(events.losses(), std::vector<quint64>{kTotal - 131072}); // told at the end
}

TEST_F(Capture, ALargeBatchSizeRaisesTheQueueLimitSixteenfold) {
    request.batchSize = 10000; // 160000 tags
    constexpr std::size_t kTotal = 2 * 131072;
    for (int piece = 0; piece < 2; ++piece) {
        pieces.push_back(wordsOf(tagsFrom(piece * 131072, 131072)));
    }
    whenAllIsRead();
    stopAtTags(160000);
    run();
    EXPECT_TRUE(events.tags() == tagsFrom(kTotal - 160000, 160000));
}

TEST_F(Capture, ARecordingRaisesTheQueueLimitTo8388608) {
    request.recording.path = QString::fromStdString(folder.file("run.qornts"));
    request.maxUiTagsPerSecond = 1; // the GUI is not what is looked at
    constexpr std::int64_t kPieces = 65;
    constexpr std::int64_t kPiece = 131072;
    whenAllIsRead([this] {
        for (std::int64_t piece = 0; piece < kPieces; ++piece) {
            driver->feed(wordsOf(tagsFrom(piece * kPiece, kPiece)));
            if (piece % 8 == 7) {
                EXPECT_TRUE(driver->waitUntilStreamIdle());
            }
        }
        EXPECT_TRUE(driver->waitUntilStreamIdle());
    });
    const auto feed = clock.onSleep;
    clock.onSleep = [this, feed](std::size_t number) {
        feed(number);
        stop = number > 1; // the queue has run dry
    };
    run();
    const Tags recorded = test::readRecording(request.recording.path).tags;
    ASSERT_EQ(recorded.size(), 8388608U);
    EXPECT_EQ(recorded.front(), tagsFrom(kPieces * kPiece - 8388608, 1)[0]);
    EXPECT_EQ(recorded.back(), tagsFrom(kPieces * kPiece - 1, 1)[0]);
    const auto companion = timing::read_companion(request.recording.path.toStdString());
    ASSERT_TRUE(companion.has_value());
    ASSERT_EQ(companion->losses.size(), 1U);
    EXPECT_EQ(companion->losses[0].record, 0U); // what was lost came before all that is recorded
    EXPECT_EQ(companion->losses[0].count, static_cast<quint64>(kPieces * kPiece) - 8388608U);
    EXPECT_EQ(companion->losses[0].stage, "reader");
}

TEST_F(Capture, TheRecordingIsCompleteAndTheGuiThinned) {
    request.recording.path = QString::fromStdString(folder.file("run.qornts"));
    request.batchSize = 50;
    request.maxUiTagsPerSecond = 10;
    pieces.push_back(wordsOf(tagsFrom(0, 2000)));
    whenAllIsRead();
    const auto feed = clock.onSleep;
    clock.onSleep = [this, feed](std::size_t number) {
        feed(number);
        stop = number > 1;
    };
    run();
    EXPECT_EQ(test::readRecording(request.recording.path).tags, tagsFrom(0, 2000));
    EXPECT_LE(events.tagCount(), 2U);
}

TEST_F(Capture, AMaximumDurationEndsTheRecordingWhileTheTabsGoOn) {
    request.recording = {QString::fromStdString(folder.file("run.qornts")), 0, 10};
    clock.frozen = true;
    request.batchSize = 10;
    events.onTags = [this](std::size_t total) {
        if (total == 10) {
            clock.advance(10s);
            driver->feed(wordsOf(tagsFrom(10, 10)));
        }
        stop = total >= 20;
    };
    driver->feed(wordsOf(tagsFrom(0, 10)));
    run();
    EXPECT_EQ(events.tags(), tagsFrom(0, 20));
    EXPECT_EQ(test::readRecording(request.recording.path).tags, tagsFrom(0, 10));
}

TEST_F(Capture, RotationStartsAPartBetweenPasses) {
    request.recording = {QString::fromStdString(folder.file("run.qornts")), 60, 0};
    clock.frozen = true;
    request.batchSize = 10;
    events.onTags = [this](std::size_t total) {
        if (total == 10 || total == 20) {
            clock.advance(60s);
            driver->feed(wordsOf(tagsFrom(static_cast<std::int64_t>(total), 10)));
        }
        stop = total >= 30;
    };
    driver->feed(wordsOf(tagsFrom(0, 10)));
    run();
    EXPECT_EQ(test::readRecording(request.recording.path).tags, tagsFrom(0, 10));
    EXPECT_EQ(test::readRecording(QString::fromStdString(folder.file("run_part002.qornts"))).tags,
              tagsFrom(10, 10));
    EXPECT_EQ(test::readRecording(QString::fromStdString(folder.file("run_part003.qornts"))).tags,
              tagsFrom(20, 10));
}

TEST_F(Capture, AFailedReadEndsItWithItsTextAndCleansUp) {
    driver->feedFailure(-1, "unplugged");
    EXPECT_EQ(test::failureOf([this] { run(); }), "read_stream_bytes: general failure (unplugged)");
    EXPECT_EQ(driver->calls().back(), "tt_stop_stream_mode(0)");
    EXPECT_EQ(driver->count("tt_stop_stream_mode"), 1);
}

TEST_F(Capture, WhatWasDecodedBeforeAFailureIsInTheFile) {
    request.recording.path = QString::fromStdString(folder.file("run.qornts"));
    request.batchSize = 10;
    failTheReadBehind(1234);
    EXPECT_EQ(test::failureOf([this] { run(); }), "read_stream_bytes: general failure (unplugged)");
    EXPECT_EQ(test::readRecording(request.recording.path).tags, tagsFrom(0, 1234));
}

TEST_F(Capture, AStopLosesNothingThatWasReceivedForTheRecordingAndThoseWhoFollow) {
    request.recording.path = QString::fromStdString(folder.file("run.qornts"));
    request.batchSize = 100;
    pieces.push_back(wordsOf(tagsFrom(0, 12'345)));
    whenAllIsRead([this] { stop = true; });
    test::LoopbackServer server;
    test::LoopbackClient follower(server.endpoint());
    ASSERT_TRUE(server.waitForClients(1));
    run(server.get());
    EXPECT_EQ(test::readRecording(request.recording.path).tags, tagsFrom(0, 12'345));
    ASSERT_TRUE(follower.waitForTags(12'345));
    EXPECT_EQ(follower.tags(), tagsFrom(0, 12'345));
    EXPECT_TRUE(events.batches().empty());
    const UiTagFlow flow = events.flows().back();
    EXPECT_TRUE(flow.balances());
    EXPECT_EQ(flow.source.discarded, 0U);
    EXPECT_EQ(flow.recording.recorded, 12'345U);
    EXPECT_EQ(flow.gui.discarded, 12'345U);
    EXPECT_EQ(flow.relay.published, 12'345U);
    EXPECT_EQ(timing::read_companion(request.recording.path.toStdString())->end, timing::PartEnd::Operator);
}

TEST_F(Capture, AFailedReadLeavesNoHoleInWhatThoseWhoFollowGet) {
    request.recording.path = QString::fromStdString(folder.file("run.qornts"));
    request.batchSize = 10;
    failTheReadBehind(1234);
    test::LoopbackServer server;
    test::LoopbackClient follower(server.endpoint());
    ASSERT_TRUE(server.waitForClients(1));
    EXPECT_EQ(test::failureOf([&] { run(server.get()); }), "read_stream_bytes: general failure (unplugged)");
    ASSERT_TRUE(follower.waitForTags(1234));
    EXPECT_EQ(follower.tags(), tagsFrom(0, 1234));
    EXPECT_EQ(events.flows().back().relay.cut, 0U);
}

TEST_F(Capture, AStopBehindTheMaximumDurationRecordsNothingMore) {
    request.recording = {QString::fromStdString(folder.file("run.qornts")), 0, 10};
    request.batchSize = 100;
    pieces.push_back(wordsOf(tagsFrom(0, 12'345)));
    whenAllIsRead([this] {
        clock.advance(10s);
        stop = true;
    });
    run();
    EXPECT_TRUE(test::readRecording(request.recording.path).tags.empty());
    const UiTagFlow flow = events.flows().back();
    EXPECT_TRUE(flow.balances());
    EXPECT_EQ(flow.recording.recorded, 0U);
    EXPECT_EQ(flow.recording.afterEnd, 100U);
    EXPECT_EQ(flow.source.discarded, 12'245U);
    EXPECT_EQ(timing::read_companion(request.recording.path.toStdString())->end, timing::PartEnd::Duration);
}

TEST_F(Capture, AStopWithoutARecordingLeavesTheRestToTheReader) {
    request.batchSize = 100;
    pieces.push_back(wordsOf(tagsFrom(0, 12'345)));
    whenAllIsRead([this] { stop = true; });
    run();
    EXPECT_TRUE(events.batches().empty());
    EXPECT_EQ(events.flows().back().source.discarded, 12'345U);
    EXPECT_EQ(events.flows().back().source.pulled, 0U);
}

TEST_F(Capture, TheLastReportWaitsForTheFileAndAnotherDoesNot) {
    test::BlockedFile file;
    request.recording.path = file.path();
    request.batchSize = 1 << 20; // 8 MiB of which no pipe takes all
    pieces.push_back(wordsOf(tagsFrom(0, 1 << 20)));
    whenAllIsRead([this] { stop = true; });
    std::thread capture([this] { run(); });
    const auto limit = std::chrono::steady_clock::now() + qorn::testing::kEventLimit;
    while (events.flows().empty() && std::chrono::steady_clock::now() < limit) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(std::ranges::none_of(events.flows(), &UiTagFlow::ended));
    file.drain();
    capture.join();
    ASSERT_GE(events.flows().size(), 2U);
    EXPECT_TRUE(events.flows().back().ended);
    EXPECT_EQ(events.flows().back().recording.recorded, std::size_t{1} << 20);
    file.finish();
}

TEST_F(Capture, FailuresOfTheCleanUpDoNotHideTheFirst) {
    request.recording.path = QString::fromStdString(folder.file("run.qornts"));
    driver->feedFailure(-1, "unplugged");
    driver->fail("tt_stop_stream_mode", -1, "gone too");
    EXPECT_EQ(test::failureOf([this] { run(); }), "read_stream_bytes: general failure (unplugged)");
    EXPECT_EQ(driver->count("tt_stop_stream_mode"), 1);
    EXPECT_TRUE(test::readRecording(request.recording.path).tags.empty());
    const auto companion = timing::read_companion(request.recording.path.toStdString());
    ASSERT_TRUE(companion.has_value());
    EXPECT_EQ(companion->end, timing::PartEnd::Error);
    EXPECT_EQ(companion->error, "read_stream_bytes: general failure (unplugged)");
}

TEST_F(Capture, AFailureStopsTheInstrumentBeforeASlowDiskIsWaitedFor) {
    test::BlockedFile file;
    request.recording.path = file.path();
    failTheReadBehind(500'000); // more than fits the pipe
    std::thread disk([&] {
        EXPECT_TRUE(driver->waitForCall("tt_stop_stream_mode"));
        file.drain(); // only now
    });
    EXPECT_EQ(test::failureOf([this] { run(); }), "read_stream_bytes: general failure (unplugged)");
    disk.join();
    file.finish();
}

TEST_F(Capture, AFullDiskEndsItWithItsText) {
    request.recording.path = QStringLiteral("/dev/full");
    std::int64_t fed = 0;
    clock.onSleep = [this, &fed](std::size_t) {
        driver->feed(wordsOf(tagsFrom(fed, 131072)));
        fed += 131072;
    };
    EXPECT_EQ(test::failureOf([this] { run(); }), "StreamFileWriter: payload write failed");
    EXPECT_EQ(driver->calls().back(), "tt_stop_stream_mode(0)");
}

TEST_F(Capture, AFullDiskIsToldAtTheLatestAtTheEnd) {
    request.recording.path = QStringLiteral("/dev/full");
    request.batchSize = 10;
    driver->feed(wordsOf(tagsFrom(0, 10))); // fits the file's own buffer
    stopAtTags(10);
    EXPECT_TRUE(test::failureOf([this] { run(); }).starts_with("StreamFileWriter: "));
    EXPECT_EQ(driver->callsOf("tt_stop_stream_mode"), std::vector<std::string>{"tt_stop_stream_mode(0)"});
}

TEST_F(Capture, AFailedStopStillWritesTheRecording) {
    request.recording.path = QString::fromStdString(folder.file("run.qornts"));
    request.batchSize = 10;
    driver->feed(wordsOf(tagsFrom(0, 10)));
    stopAtTags(10);
    driver->fail("tt_stop_stream_mode", -1, "bus");
    EXPECT_EQ(test::failureOf([this] { run(); }), "stop_stream_any: general failure (bus)");
    EXPECT_EQ(test::readRecording(request.recording.path).tags, tagsFrom(0, 10));
}

TEST_F(Capture, EveryTagIsPublishedToTheRelay) {
    test::LoopbackServer server;
    test::LoopbackClient client(server.endpoint());
    ASSERT_TRUE(server.waitForClients(1));
    request.batchSize = 100;
    request.maxUiTagsPerSecond = 1; // the relay is not thinned
    clock.onSleep = [&](std::size_t number) {
        if (number == 1) {
            driver->feed(wordsOf(tagsFrom(0, 5000)));
            EXPECT_TRUE(driver->waitUntilStreamIdle());
        } else {
            stop = true;
        }
    };
    run(server.get());
    ASSERT_TRUE(client.waitForTags(5000));
    EXPECT_EQ(client.tags(), tagsFrom(0, 5000));
    EXPECT_EQ(server->stats().tags_published, 5000U);
}

TEST_F(Capture, TheRawFormatOfTheInternalSourceIsCoarseAndFine) {
    request.mode = QStringLiteral("internal");
    request.batchSize = 2;
    Bytes bytes;
    qorn::testing::appendRaw64(bytes, qorn::testing::raw64CoarseFine(1, 1000, 0));
    qorn::testing::appendRaw64(bytes, qorn::testing::raw64CoarseFine(2, 2000, 1));
    driver->feed(bytes);
    stopAtTags(2);
    run();
    EXPECT_EQ(events.tags(), (Tags{{1, 3333000}, {2, 6666000 - 19}}));
}

TEST_F(Capture, PackedTagsAreReadWithTheConfigurationThatCameBack) {
    driver->change(
        [](auto& script) { script.appliedPacked = std::pair<std::uint8_t, std::uint16_t>(19, 32); });
    request.stream.format = StreamChoice::PackedDelta;
    request.channelMask = 1;
    request.batchSize = 3;
    qorn::testing::PackedBuilder records(19);
    records.sync(0, 1000).data(0, 0).data(0, 10).data(0, 100).repeat(0, 1, 61);
    driver->feed(records.bytes());
    stopAtTags(3);
    run();
    const Tags tags = events.tags();
    ASSERT_GE(tags.size(), 3U);
    EXPECT_EQ(tags[0], (timing::TimeTag{0, 32000}));
    EXPECT_EQ(tags[1], (timing::TimeTag{0, 32320}));
    EXPECT_EQ(tags[2], (timing::TimeTag{0, 35520}));
}

TEST_F(Capture, AnyPointOfStoppingEndsInOrder) {
    // Stopped at its first, second, ... sleep or batch: always the same end, and no exception.
    for (std::size_t point = 1; point < 12; ++point) {
        driver->clearLog();
        stop = false;
        request.batchSize = 5;
        driver->feed(wordsOf(tagsFrom(0, 30)));
        std::atomic<std::size_t> steps{0};
        clock.onSleep = [&](std::size_t) { stop = ++steps >= point; };
        events.onTags = [&](std::size_t) { stop = ++steps >= point; };
        EXPECT_NO_THROW(run());
        EXPECT_EQ(driver->log().back().text(), "tt_stop_stream_mode(0)");
        // What was left in the stream belongs to nobody.
        timing::Device& same = device;
        std::array<std::uint8_t, 4096> rest{};
        std::size_t count = 1;
        while (count > 0 &&
               driver->table().tt_read_stream_bytes(same.handle, rest.data(), rest.size(), &count, 0) == 0) {
        }
    }
}

} // namespace
} // namespace qorn::timetagger::gui
