// The one measurement task of a controller: starts, refusals, ends and the order of what it tells.
#include "ControllerTest.h"
#include "SampleBacklog.h"

#include "RelaySupport.h"
#include "StreamBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using test::tagsFrom;
using test::Texts;
using test::wordsOf;

class Measuring : public test::ControllerTest {
protected:
    void SetUp() override {
        openDevice();
        StreamSettings stream;
        stream.format = StreamChoice::Raw64;
        controller->setStreamSettings(stream);
    }
    void capture(int batchSize = 65536, const UiTimeTagRecordingConfig& recording = {}) {
        controller->startCapture(QStringLiteral("external"), 0.0, batchSize, 15, 0, recording);
    }
    void expectOnlyTheTaskUsedTheDevice() {
        for (const auto& call : driver->log()) {
            if (call.function != "tt_status_string") {
                EXPECT_NE(call.thread, std::this_thread::get_id()) << call.text();
            }
        }
    }
};

TEST_F(Measuring, CountingRunsOnAPoolThreadAndDeliversSamples) {
    driver->feedSample({{1, 2, 3, 4}, 10, 30000000});
    driver->feedSample({{5, 6, 7, 8}, 26, 0});
    controller->startCounterMeasurements(0.1, false, 0.0);
    EXPECT_TRUE(controller->isCapturing());
    ASSERT_TRUE(signalled->waitFor("counterSample", 2));
    controller->stopCapture();
    driver->feedSample({});
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_EQ(signalled->samples[0].counts, (QList<quint64>{1, 2, 3, 4}));
    EXPECT_DOUBLE_EQ(signalled->samples[0].gateSeconds, 0.1);
    EXPECT_DOUBLE_EQ(signalled->samples[1].gateSeconds, 0.1);
    EXPECT_EQ(signalled->texts().back(), "captureStopped()");
    EXPECT_EQ(signalled->count("captureError"), 0);
    EXPECT_EQ(driver->calls().back(), "tt_stop_measurement_stream(1)");
    EXPECT_FALSE(signalled->clocks.empty()); // the state that the measurement began with
    expectOnlyTheTaskUsedTheDevice();
}

TEST_F(Measuring, SamplesThatWaitForAStandingWindowAreBoundedAndTheMissingOnesTold) {
    constexpr int kSamples = SampleBacklog::kMostSamples + 1000;
    for (int sample = 0; sample < kSamples; ++sample) {
        driver->feedSample({{1, 1, 1, 1}, 4, 0});
    }
    controller->startCounterMeasurements(0.001, false, 0.0);
    EXPECT_TRUE(driver->waitForCall("tt_read_count_stream_sample", kSamples + 1));
    controller->stopCapture();
    EXPECT_TRUE(test::eventually([this] { return !controller->isCapturing(); })); // and nothing is shown yet
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_EQ(signalled->count("counterSample"), SampleBacklog::kMostSamples);
    EXPECT_EQ(signalled->textsOf("captureError"),
              Texts{"captureError(The window could not follow the instrument: 1000 samples are missing.)"});

    driver->feedSample({{1, 1, 1, 1}, 4, 0}); // and all is shown again
    signalled->clear();
    controller->startCounterMeasurements(0.001, false, 0.0);
    ASSERT_TRUE(signalled->waitFor("counterSample"));
    controller->stopCapture();
    driver->feedSample({});
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_EQ(signalled->count("captureError"), 0);
}

TEST_F(Measuring, CapturingDeliversTagsInOrder) {
    for (int piece = 0; piece < 20; ++piece) {
        driver->feed(wordsOf(tagsFrom(piece * 100, 100)));
    }
    capture(100);
    ASSERT_TRUE(test::runUntil([&] { return signalled->tags.size() == 2000; }));
    stopAndWait();
    EXPECT_EQ(signalled->tags, tagsFrom(0, 2000));
    expectOnlyTheTaskUsedTheDevice();
}

TEST_F(Measuring, TheFlagIsClearBeforeTheEndIsTold) {
    int ends = 0;
    signalled->onSignal = [&](const std::string& name) {
        if (name == "captureStopped") {
            EXPECT_FALSE(controller->isCapturing());
            ++ends;
        }
    };
    capture();
    ASSERT_TRUE(driver->waitForCall("tt_read_stream_bytes"));
    EXPECT_TRUE(controller->isCapturing());
    stopAndWait();
    EXPECT_EQ(ends, 1);
}

TEST_F(Measuring, AFailureIsToldBeforeTheEnd) {
    driver->fail("tt_start_stream_mode", -1, "bus");
    capture();
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_EQ(signalled->texts(),
              (Texts{"captureError(start_stream(mode): general failure (bus))", "captureStopped()"}));
    signalled->clear();
    driver->fail("tt_start_count_stream", -1, "bus");
    controller->startCounterMeasurements(0.1, false, 0.0);
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_EQ(signalled->texts(),
              (Texts{"captureError(start_count_stream: general failure (bus))", "captureStopped()"}));
    EXPECT_FALSE(controller->isCapturing());
}

TEST_F(Measuring, LostTagsAreToldByTheirNumberBeforeTheEnd) {
    constexpr int kTags = 200000; // 4 bytes each, so that one read brings more than the queue of 131072 takes
    StreamSettings stream;
    stream.format = StreamChoice::Delta32;
    controller->setStreamSettings(stream);
    qorn::testing::Bytes bytes;
    qorn::testing::appendDelta32Sync(bytes, 0);
    for (int tag = 0; tag < kTags; ++tag) {
        qorn::testing::appendDelta32(bytes, qorn::testing::delta32Data(0, 100));
    }
    driver->feed(std::move(bytes));
    capture(8192);
    ASSERT_TRUE(test::runUntil([this] { return signalled->tags.size() >= 131072; }));
    EXPECT_EQ(signalled->count("captureError"), 0);
    stopAndWait();
    EXPECT_EQ(
        signalled->textsOf("captureError"),
        Texts{"captureError(This computer could not follow the instrument: 68928 time tags were lost.)"});
    EXPECT_EQ(signalled->texts().back(), "captureStopped()");
    EXPECT_EQ(signalled->tags.size(), 131072U);
}

TEST_F(Measuring, AnUnpluggedDeviceIsToldAndAfterClosingItMeasuresAgain) {
    driver->feed(wordsOf(tagsFrom(0, 10)));
    capture(10);
    ASSERT_TRUE(signalled->waitFor("tagsBatch"));
    driver->feedFailure(-1, "unplugged");
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_EQ(signalled->texts(),
              (Texts{"tagsBatch(10)", "captureError(read_stream_bytes: general failure (unplugged))",
                     "captureStopped()"}));
    controller->close();
    openDevice();
    driver->feed(wordsOf(tagsFrom(0, 10)));
    capture(10);
    ASSERT_TRUE(signalled->waitFor("tagsBatch"));
    stopAndWait();
}

TEST_F(Measuring, WithoutASourceItIsRefused) {
    controller->close();
    signalled->clear();
    capture();
    controller->startCounterMeasurements(0.1, false, 0.0);
    EXPECT_EQ(signalled->texts(),
              (Texts{"captureError(Device is not open)", "captureError(Device is not open)"}));
    EXPECT_FALSE(controller->isCapturing());
    test::runFor(20ms);
    EXPECT_EQ(signalled->count("captureStopped"), 0); // a refusal has no end
}

TEST_F(Measuring, DuringAnUploadItIsRefused) {
    beginUpload();
    signalled->clear();
    capture();
    controller->startCounterMeasurements(0.1, false, 0.0);
    EXPECT_EQ(
        signalled->texts(),
        (Texts{
            "captureError(Wait for calibration or calibration upload to finish before starting capture)",
            "captureError(Wait for calibration or calibration upload to finish before starting counting)"}));
    EXPECT_FALSE(controller->isCapturing());
    endUpload();
    EXPECT_EQ(signalled->count("captureStopped"), 0);
}

TEST_F(Measuring, ASecondStartIsIgnoredInSilence) {
    beginCounting();
    driver->clearLog();
    signalled->clear();
    capture();
    controller->startCounterMeasurements(0.2, true, 5.0);
    EXPECT_TRUE(signalled->texts().empty());
    endCounting();
    EXPECT_EQ(signalled->count("captureStopped"), 1);
    EXPECT_EQ(driver->count("tt_start_stream_mode"), 0);
    EXPECT_EQ(driver->count("tt_start_count_stream"), 0);
}

TEST_F(Measuring, AnIgnoredStartDoesNotMakeTheRunningCaptureStale) {
    driver->feed(wordsOf(tagsFrom(0, 10)));
    capture(10);
    ASSERT_TRUE(signalled->waitFor("tagsBatch"));
    capture(10);
    driver->feed(wordsOf(tagsFrom(10, 10)));
    ASSERT_TRUE(signalled->waitFor("tagsBatch", 2));
    stopAndWait();
    EXPECT_EQ(signalled->tags, tagsFrom(0, 20));
}

TEST_F(Measuring, NoBatchOfAnEarlierCaptureComesAfterANewStart) {
    QString message;
    ASSERT_TRUE(controller->setRelayServerEnabled(true, 0, 0, &message));
    const auto ports = controller->relayServerStats();
    test::LoopbackClient witness({"127.0.0.1", ports.stream_port, ports.status_port});
    ASSERT_TRUE(test::eventually([&] { return controller->relayServerStats().stream_clients == 1; }));
    driver->feed(wordsOf(tagsFrom(0, 100)));
    capture(1); // a batch for each tag
    // The events of this thread stand: what was published before has its batch in the queue.
    ASSERT_TRUE(witness.waitForTags(50));
    controller->stopCapture();
    ASSERT_TRUE(test::eventually([&] { return !controller->isCapturing(); }));
    capture(1);
    ASSERT_TRUE(controller->isCapturing());
    ASSERT_TRUE(signalled->waitFor("captureStopped")); // of the first: behind all of its batches
    EXPECT_EQ(signalled->count("tagsBatch"), 0);
    driver->feed(wordsOf(tagsFrom(500, 1)));
    ASSERT_TRUE(signalled->waitFor("tagsBatch"));
    EXPECT_EQ(signalled->tags, tagsFrom(500, 1));
    controller->stopCapture();
    ASSERT_TRUE(signalled->waitFor("captureStopped", 2));
}

TEST_F(Measuring, StoppingReturnsAtOnceAndTheEndIsTold) {
    beginCounting();
    controller->stopCapture();
    EXPECT_TRUE(controller->isCapturing()); // the task stands in a read
    EXPECT_EQ(signalled->count("captureStopped"), 0);
    endCounting();
}

TEST_F(Measuring, AStopOfBeforeDoesNotEndTheNextMeasurement) {
    controller->stopCapture();
    driver->feed(wordsOf(tagsFrom(0, 10)));
    capture(10);
    ASSERT_TRUE(signalled->waitFor("tagsBatch"));
    stopAndWait();
}

TEST_F(Measuring, ClosingWaitsForTheTaskAndItsEndIsToldAfterClosed) {
    capture();
    ASSERT_TRUE(driver->waitForCall("tt_read_stream_bytes"));
    controller->close();
    EXPECT_FALSE(controller->isCapturing());
    EXPECT_EQ(driver->openHandles(), 0);
    const auto calls = driver->calls();
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(calls[calls.size() - 2], "tt_stop_stream_mode(0)");
    EXPECT_EQ(calls[calls.size() - 1], "tt_close()");
    EXPECT_EQ(signalled->texts(), Texts{"closed()"});
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_EQ(signalled->texts(), (Texts{"closed()", "captureStopped()"}));
}

TEST_F(Measuring, DestroyingTheControllerEndsACapture) {
    capture();
    ASSERT_TRUE(driver->waitForCall("tt_read_stream_bytes"));
    controller.reset();
    EXPECT_EQ(driver->openHandles(), 0);
    EXPECT_EQ(driver->callsOf("tt_stop_stream_mode"), Texts{"tt_stop_stream_mode(0)"});
}

TEST_F(Measuring, TheRecordingNamesApplicationAndDevice) {
    const QString path = QString::fromStdString(folder.file("run.qornts"));
    StreamSettings stream;
    stream.format = StreamChoice::Raw64;
    stream.streamTdlIndex = 2;
    controller->setStreamSettings(stream);
    driver->feed(wordsOf(tagsFrom(0, 10)));
    capture(10, {path, 0, 0});
    ASSERT_TRUE(signalled->waitFor("tagsBatch"));
    stopAndWait();
    const auto recording = test::readRecording(path);
    const auto value = [&](const char* key) {
        return recording.header.value(QLatin1String(key)).toString().toStdString();
    };
    EXPECT_EQ(value("application"), "Qorn Timing 0.3.0");
    EXPECT_EQ(value("device_product"), "Scripted");
    EXPECT_EQ(value("device_serial"), "SN0001");
    EXPECT_EQ(value("device_port"), "ftdi://SN0001");
    EXPECT_EQ(recording.header.value(QLatin1String("tdl_index")).toInt(), 2);
    EXPECT_EQ(recording.tags, tagsFrom(0, 10));
    EXPECT_EQ(driver->callsOf("tt_start_stream_mode"), Texts{"tt_start_stream_mode(1,2)"});
}

TEST_F(Measuring, TheExternalReferenceMustLockWithinTwoAndAHalfSeconds) {
    driver->change([](auto& script) { script.clock = {2, 1, 0, 0, 0, 0, 1, 0, 0}; });
    controller->setReferenceClockWish(timing::ReferenceClockSource::External,
                                      timing::ReferenceSignal::TenMegahertz);
    const auto begin = std::chrono::steady_clock::now();
    capture();
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 2500ms);
    EXPECT_EQ(
        signalled->texts(),
        (Texts{"captureError(External 10 MHz reference is selected, but the device is not locked to CLKIN.)",
               "captureStopped()"}));
    EXPECT_EQ(driver->count("tt_start_stream_mode"), 0);
    EXPECT_GT(signalled->clocks.size(), 10U); // each state on the way
}

TEST_F(Measuring, StoppingEndsTheWaitForTheReference) {
    driver->change([](auto& script) { script.clock = {2, 1, 0, 0, 0, 0, 1, 0, 0}; });
    controller->setReferenceClockWish(timing::ReferenceClockSource::External,
                                      timing::ReferenceSignal::TenMegahertz);
    controller->startCounterMeasurements(0.1, false, 0.0);
    ASSERT_TRUE(driver->waitForCall("tt_get_reference_clock_status"));
    stopAndWait();
    EXPECT_EQ(signalled->count("captureError"), 0);
    EXPECT_EQ(driver->count("tt_start_count_stream"), 0); // not on the wrong timebase
}

TEST_F(Measuring, WithoutClockControlTheClockIsLeftAlone) {
    driver->fail("tt_set_reference_clock", -4);
    EXPECT_FALSE(controller->applyReferenceClockConfig(timing::ReferenceClockSource::Internal,
                                                       timing::ReferenceSignal::TenMegahertz, nullptr));
    driver->clearLog();
    capture();
    ASSERT_TRUE(driver->waitForCall("tt_read_stream_bytes"));
    stopAndWait();
    EXPECT_EQ(driver->count("tt_set_reference_clock"), 0);
    EXPECT_EQ(signalled->count("captureError"), 0);
}

TEST_F(Measuring, ManyStartsAndStopsEndEachOnce) {
    for (int round = 1; round <= 30; ++round) {
        if (round % 2 == 0) {
            capture();
        } else {
            driver->feedSample({});
            controller->startCounterMeasurements(0.0, false, 0.0);
        }
        stopAndWait();
        EXPECT_EQ(signalled->count("captureStopped"), 1);
        EXPECT_EQ(signalled->count("captureError"), 0);
        signalled->clear();
    }
}

} // namespace
} // namespace qorn::timetagger::gui
