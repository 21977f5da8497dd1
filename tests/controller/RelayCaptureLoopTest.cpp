#include "RelayCaptureLoop.h"

#include "LoopTestSupport.h"
#include "RecordingPartPath.h"
#include "RelaySupport.h"
#include "ScriptedDriver.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <thread>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using qorn::testing::TemporaryFolder;
using test::Tags;
using test::tagsFrom;

Tags onChannels(const Tags& tags, unsigned mask) {
    Tags kept;
    for (const timing::TimeTag& tag : tags) {
        if ((mask >> tag.channel & 1U) != 0) {
            kept.push_back(tag);
        }
    }
    return kept;
}

class RelayCapture : public ::testing::Test {
protected:
    void SetUp() override {
        request.batchSize = 1 << 20;
        request.channelMask = 15;
    }
    ~RelayCapture() override { finish(); }

    // Runs the loop in a thread; `text` is its failure.
    void begin(const relay::RelayEndpoint& endpoint, relay::RelayServer* server = nullptr) {
        thread = std::thread([this, endpoint, server] {
            text = test::failureOf([&] { relayCaptureLoop(endpoint, request, server, stop, events, clock); });
        });
    }
    // Who follows this host, with one client that sees it all.
    struct Onward {
        test::LoopbackServer server;
        test::LoopbackClient witness{server.endpoint()};
    };
    // True once the source and the witness are connected.
    bool beginWith(Onward& onward) {
        if (!onward.server.waitForClients(1)) {
            return false;
        }
        begin(source.endpoint(), onward.server.get());
        return source.waitForClients(1);
    }
    void finish() {
        stop = true;
        join();
    }
    void join() {
        if (thread.joinable()) {
            thread.join();
        }
    }

    test::LoopbackServer source;
    TemporaryFolder folder;
    QString path = QString::fromStdString(folder.file("run.qornts"));
    std::atomic<bool> stop{false};
    test::RecordingEvents events;
    test::ManualClock clock;
    CaptureRequest request;
    std::string text;
    std::thread thread;
};

TEST_F(RelayCapture, TagsOfTheOtherHostReachTheGui) {
    request.batchSize = 1; // the clock stands, and with it what is less than a batch
    begin(source.endpoint());
    ASSERT_TRUE(source.waitForClients(1));
    source.publish(tagsFrom(0, 1000));
    ASSERT_TRUE(events.waitForTags(1000));
    finish();
    EXPECT_EQ(text, "");
    EXPECT_EQ(events.tags(), tagsFrom(0, 1000));
}

TEST_F(RelayCapture, TheLastPartialBatchIsDelivered) {
    request.recording.path = path;
    Onward onward;
    ASSERT_TRUE(beginWith(onward));
    source.publish(tagsFrom(0, 7));
    ASSERT_TRUE(
        onward.witness.waitForTags(7)); // they have been received; the clock stands, so no batch goes out
    EXPECT_EQ(events.tagCount(), 0U);
    finish();
    EXPECT_EQ(text, "");
    EXPECT_EQ(events.batches(), std::vector<Tags>{tagsFrom(0, 7)});
    EXPECT_EQ(test::readRecording(path).tags, tagsFrom(0, 7));
}

TEST_F(RelayCapture, TheMaskFiltersGuiAndRecordingButNotWhatIsPublishedAgain) {
    request.channelMask = 5;
    request.batchSize = 500;
    request.recording.path = path;
    Onward onward;
    ASSERT_TRUE(beginWith(onward));
    source.publish(tagsFrom(0, 1000));
    ASSERT_TRUE(onward.witness.waitForTags(1000));
    ASSERT_TRUE(events.waitForTags(500));
    finish();
    EXPECT_EQ(onward.witness.tags(), tagsFrom(0, 1000));
    EXPECT_EQ(events.tags(), onChannels(tagsFrom(0, 1000), 5));
    EXPECT_EQ(test::readRecording(path).tags, onChannels(tagsFrom(0, 1000), 5));
}

TEST_F(RelayCapture, WithoutClientsNothingIsPublishedAgain) {
    test::LoopbackServer onward;
    request.batchSize = 10;
    begin(source.endpoint(), onward.get());
    ASSERT_TRUE(source.waitForClients(1));
    source.publish(tagsFrom(0, 10));
    ASSERT_TRUE(events.waitForTags(10));
    finish();
    EXPECT_EQ(onward->stats().tags_published, 0U);
}

TEST_F(RelayCapture, TheRecordingsHeaderIsThatOfARelay) {
    request.recording.path = path;
    begin(source.endpoint());
    ASSERT_TRUE(source.waitForClients(1));
    finish();
    const QJsonObject header = test::readRecording(path).header;
    const auto value = [&header](const char* key) {
        return header.value(QLatin1String(key)).toString().toStdString();
    };
    EXPECT_EQ(value("stream_format"), "raw64");
    EXPECT_EQ(value("raw64_tag_format"), "ps");
    EXPECT_EQ(value("mode"), "external");
    EXPECT_EQ(value("stream_transport"), "usb");
    EXPECT_EQ(header.value(QLatin1String("channel_mask")).toInt(), 15);
    const QJsonObject packed = header.value(QLatin1String("packed_delta_config")).toObject();
    EXPECT_EQ(packed.value(QLatin1String("delta_bits")).toInt(), 16);
    EXPECT_EQ(packed.value(QLatin1String("quantum_ps")).toInt(), 8);
}

TEST_F(RelayCapture, TheGuiIsThinnedAndTheRecordingComplete) {
    request.recording.path = path;
    request.maxUiTagsPerSecond = 100; // 10 per window, and the clock stands
    Onward onward;
    ASSERT_TRUE(beginWith(onward));
    source.publish(tagsFrom(0, 5000));
    ASSERT_TRUE(onward.witness.waitForTags(5000));
    finish();
    EXPECT_EQ(events.tagCount(), 10U);
    EXPECT_EQ(test::readRecording(path).tags, tagsFrom(0, 5000));
}

TEST_F(RelayCapture, AnUnreachableHostEndsItWithItsText) {
    relay::RelayEndpoint endpoint;
    { endpoint = test::RawPublisher().endpoint(); } // nobody listens there any more
    begin(endpoint);
    join();
    EXPECT_EQ(text, "could not connect to relay 127.0.0.1:" + std::to_string(endpoint.stream_port));
}

TEST_F(RelayCapture, APeerThatClosesEndsItAndTheRecordingIsWhole) {
    test::RawPublisher publisher;
    request.recording.path = path;
    begin(publisher.endpoint());
    ASSERT_TRUE(publisher.accept());
    ASSERT_TRUE(publisher.send(test::wordsOf(tagsFrom(0, 100))));
    publisher.closeClient();
    join();
    EXPECT_EQ(text, "relay stream closed by peer");
    EXPECT_EQ(test::readRecording(path).tags, tagsFrom(0, 100));
}

TEST_F(RelayCapture, WhatCameBeforeAFailureIsShown) {
    test::RawPublisher publisher;
    begin(publisher.endpoint());
    ASSERT_TRUE(publisher.accept());
    ASSERT_TRUE(publisher.send(test::wordsOf(tagsFrom(0, 100)))); // the clock stands, so no batch goes out
    publisher.closeClient();
    join();
    EXPECT_EQ(text, "relay stream closed by peer");
    EXPECT_EQ(events.tags(), tagsFrom(0, 100));
}

TEST_F(RelayCapture, APartialBatchGoesOutAlthoughNothingFollows) {
    Onward onward;
    ASSERT_TRUE(beginWith(onward));
    source.publish(tagsFrom(0, 7));
    ASSERT_TRUE(onward.witness.waitForTags(7));
    EXPECT_EQ(events.tagCount(), 0U);
    clock.advance(50ms);
    EXPECT_TRUE(events.waitForTags(7));
    EXPECT_EQ(events.batches(), std::vector<Tags>{tagsFrom(0, 7)});
}

TEST_F(RelayCapture, AMaskOfZeroKeepsAllInputs) {
    request.channelMask = 0;
    request.batchSize = 1000;
    begin(source.endpoint());
    ASSERT_TRUE(source.waitForClients(1));
    source.publish(tagsFrom(0, 1000));
    ASSERT_TRUE(events.waitForTags(1000));
    EXPECT_EQ(events.tags(), tagsFrom(0, 1000));
}

TEST_F(RelayCapture, ARecordingEndsAtItsMaximumDurationAndTheTagsGoOn) {
    request.recording = {path, 0, 10};
    request.batchSize = 100;
    begin(source.endpoint());
    ASSERT_TRUE(source.waitForClients(1));
    source.publish(tagsFrom(0, 100));
    ASSERT_TRUE(events.waitForTags(100));
    clock.advance(10s);
    source.publish(tagsFrom(100, 100));
    ASSERT_TRUE(events.waitForTags(200));
    finish();
    EXPECT_EQ(text, "");
    EXPECT_EQ(events.tags(), tagsFrom(0, 200));
    EXPECT_EQ(test::readRecording(path).tags, tagsFrom(0, 100));
}

TEST_F(RelayCapture, ARecordingGoesOnToItsNextPart) {
    request.recording = {path, 10, 0};
    request.batchSize = 100;
    begin(source.endpoint());
    ASSERT_TRUE(source.waitForClients(1));
    source.publish(tagsFrom(0, 100));
    ASSERT_TRUE(events.waitForTags(100));
    clock.advance(10s);
    source.publish(tagsFrom(100, 100));
    ASSERT_TRUE(events.waitForTags(200));
    finish();
    EXPECT_EQ(test::readRecording(path).tags, tagsFrom(0, 100));
    EXPECT_EQ(test::readRecording(recordingPartPath(path, 1)).tags, tagsFrom(100, 100));
}

TEST_F(RelayCapture, AChainOfThreeCarriesEveryTagAndEachHasItsOwnInputs) {
    test::LoopbackServer onward;
    test::RecordingEvents lastEvents;
    CaptureRequest lastRequest = request;
    lastRequest.batchSize = 1;
    std::thread last([&] {
        test::ManualClock standing;
        relayCaptureLoop(onward.endpoint(), lastRequest, nullptr, stop, lastEvents, standing);
    });
    EXPECT_TRUE(onward.waitForClients(1));
    request.channelMask = 2;
    begin(source.endpoint(), onward.get());
    EXPECT_TRUE(source.waitForClients(1));
    for (std::int64_t first = 0; first < 20000; first += 500) {
        source.publish(tagsFrom(first, 500));
    }
    EXPECT_TRUE(lastEvents.waitForTags(20000));
    finish();
    last.join();
    EXPECT_EQ(text, "");
    EXPECT_EQ(lastEvents.tags(), tagsFrom(0, 20000));
    EXPECT_EQ(events.tags(), onChannels(tagsFrom(0, 20000), 2));
}

TEST_F(RelayCapture, AResetEndsItAndTheRecordingIsWhole) {
    test::RawPublisher publisher;
    request.recording.path = path;
    request.batchSize = 100;
    begin(publisher.endpoint());
    ASSERT_TRUE(publisher.accept());
    ASSERT_TRUE(publisher.send(test::wordsOf(tagsFrom(0, 100))));
    ASSERT_TRUE(events.waitForTags(100)); // a reset takes away what was not read
    publisher.resetClient();
    join();
    EXPECT_EQ(text, "relay receive failed: Connection reset by peer (socket error 104)");
    EXPECT_EQ(test::readRecording(path).tags, tagsFrom(0, 100));
}

TEST_F(RelayCapture, AnInvalidRecordEndsIt) {
    test::RawPublisher publisher;
    request.recording.path = path;
    begin(publisher.endpoint());
    ASSERT_TRUE(publisher.accept());
    ASSERT_TRUE(publisher.send(qorn::testing::bytesFromHex("80 00 00 00 00 00 00 00")));
    join();
    EXPECT_EQ(text, "relay stream contains an invalid raw64-ps record");
    EXPECT_EQ(events.flows().back().source.skippedBytes, 8U) << "told, as nobody knows what they were";
    EXPECT_TRUE(test::readRecording(path).tags.empty());
}

TEST_F(RelayCapture, AFullDiskEndsItWithItsText) {
    request.recording.path = QStringLiteral("/dev/full");
    begin(source.endpoint());
    ASSERT_TRUE(source.waitForClients(1));
    std::int64_t sent = 0;
    ASSERT_TRUE(test::eventually([&] {
        source.publish(tagsFrom(sent, 65536));
        sent += 65536;
        return source->stats().stream_clients == 0;
    }));
    join();
    EXPECT_EQ(text, "StreamFileWriter: payload write failed");
}

TEST_F(RelayCapture, AFolderThatCannotBeMadeEndsIt) {
    qorn::testing::writeBytes(folder.path() / "file", {});
    request.recording.path = QString::fromStdString(folder.file("file/run.qornts"));
    begin(source.endpoint());
    join();
    EXPECT_EQ(text, "Could not create time-tag output folder: " + folder.file("file"));
}

TEST_F(RelayCapture, ItsEndTellsWhereEveryTagWent) {
    request.channelMask = 5;
    request.maxUiTagsPerSecond = 1000; // 100 in a window, and the clock stands
    request.recording.path = path;
    Onward onward;
    ASSERT_TRUE(beginWith(onward));
    source.publish(tagsFrom(0, 1000));
    ASSERT_TRUE(onward.witness.waitForTags(1000));
    finish();
    const std::vector<UiTagFlow> flows = events.flows();
    ASSERT_EQ(flows.size(), 2U);
    EXPECT_FALSE(flows.front().ended) << "the window does not wait for the disk";
    EXPECT_EQ(flows.front().gui.sent, 100U);
    UiTagFlow expected;
    expected.ended = true;
    expected.masked = 500;
    expected.source = {1000, 1000, 0, 0, 0};
    expected.recording = {500, 500, 0, 0};
    expected.relay = {1000, 1000, 0, 0, 0};
    expected.gui = {500, 100, 400, 0, 0, 0, 0};
    EXPECT_EQ(flows.back(), expected);
    EXPECT_TRUE(flows.front().balances());
    EXPECT_TRUE(flows.back().balances());
}

TEST_F(RelayCapture, AnErrorOfTheRecordingCutsOffWhatCameThen) {
    test::RawPublisher publisher;
    request.recording.path = QStringLiteral("/dev/full");
    begin(publisher.endpoint());
    ASSERT_TRUE(publisher.accept());
    ASSERT_TRUE(test::eventually([&] {
        publisher.send(test::wordsOf(tagsFrom(0, 8192)));
        return !events.flows().empty() && events.flows().back().ended;
    }));
    join();
    const UiTagFlow flow = events.flows().back();
    EXPECT_TRUE(flow.balances());
    EXPECT_EQ(flow.recording.recorded, 0U) << "the file took nothing";
    EXPECT_EQ(flow.recording.cut, flow.source.received);
    EXPECT_EQ(flow.gui.offered, flow.source.received);
}

TEST_F(RelayCapture, AStopWithoutTrafficEndsQuietly) {
    begin(source.endpoint());
    ASSERT_TRUE(source.waitForClients(1));
    finish();
    EXPECT_EQ(text, "");
    EXPECT_TRUE(events.batches().empty());
}

} // namespace
} // namespace qorn::timetagger::gui
