// What a capture asks of the instrument, in which order, and what it does when a step fails.
#include "CaptureLoop.h"

#include "Device.h"
#include "LoopTestSupport.h"
#include "RecordingCompanionFile.h"
#include "ScriptedDriver.h"
#include "TemporaryFolder.h"

#include <QFile>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::ScopedDriver;
using qorn::testing::TemporaryFolder;
using Texts = std::vector<std::string>;

const char* const kUartRefused =
    "UART-service streaming is a developer-only mode and is not armed. Enable it explicitly in Settings -> "
    "Developer settings, or use a USB transport.";

class CaptureSetup : public ::testing::Test {
protected:
    void SetUp() override {
        driver->clearLog();
        request.mode = QStringLiteral("external");
    }

    // A capture that ends at its first idle pass goes through its whole set-up and its end.
    void run() {
        stop = false;
        clock.onSleep = [this](std::size_t) { stop = true; };
        captureLoop(device, request, nullptr, stop, events, clock);
    }
    std::string failure() {
        return test::failureOf([this] { run(); });
    }

    ScopedDriver driver;
    timing::Device device = timing::Device::open_serial("A");
    std::atomic<bool> stop{false};
    test::RecordingEvents events;
    test::ManualClock clock;
    CaptureRequest request;
};

TEST_F(CaptureSetup, EachFormatAndSourceHasItsCalls) {
    struct Row {
        StreamChoice format;
        const char* mode;
        Texts calls;
    };
    const Row rows[] = {
        {StreamChoice::PackedDelta,
         "external",
         {"tt_set_packed_delta_config(16,8)", "tt_set_stream_interface(1,2)", "tt_set_stream_channel_mask(5)",
          "tt_disable_calibration_source()", "tt_start_stream_mode(1,2)"}},
        {StreamChoice::PackedDelta,
         "internal",
         {"tt_set_packed_delta_config(16,8)", "tt_set_stream_interface(1,2)", "tt_set_stream_channel_mask(5)",
          "tt_set_calibration_freq(123456.5)", "tt_start_stream_mode(0,2)"}},
        {StreamChoice::Delta32,
         "external",
         {"tt_set_stream_interface(1,1)", "tt_set_stream_channel_mask(5)", "tt_disable_calibration_source()",
          "tt_start_stream_mode(1,2)"}},
        {StreamChoice::Delta32,
         "internal",
         {"tt_set_stream_interface(1,1)", "tt_set_stream_channel_mask(5)",
          "tt_set_calibration_freq(123456.5)", "tt_start_stream_mode(0,2)"}},
        {StreamChoice::Raw64,
         "external",
         {"tt_set_stream_interface(1,0)", "tt_set_stream_channel_mask(5)", "tt_disable_calibration_source()",
          "tt_start_stream_mode(1,2)"}},
        {StreamChoice::Raw64,
         "internal",
         {"tt_set_stream_interface(1,0)", "tt_set_stream_channel_mask(5)",
          "tt_set_calibration_freq(123456.5)", "tt_enable_calibration_source()",
          "tt_start_stream_mode(0,2)"}},
    };
    for (const Row& row : rows) {
        driver->clearLog();
        request.mode = QString::fromLatin1(row.mode);
        request.internalRateHz = 123456.5;
        request.channelMask = 5;
        request.stream.format = row.format;
        request.stream.streamTdlIndex = 2;
        run();
        Texts expected{"tt_set_reference_clock(1,0)"};
        expected.insert(expected.end(), row.calls.begin(), row.calls.end());
        expected.emplace_back("tt_stop_stream_mode(0)");
        EXPECT_EQ(driver->calls(), expected);
    }
}

TEST_F(CaptureSetup, AnyOtherModeThanInternalIsExternal) {
    for (const char* mode : {"external", "", "Internal", "INTERNAL", "internal ", "auto"}) {
        driver->clearLog();
        request.mode = QString::fromLatin1(mode);
        run();
        EXPECT_EQ(driver->callsOf("tt_start_stream_mode"), Texts{"tt_start_stream_mode(1,0)"}) << mode;
    }
}

TEST_F(CaptureSetup, AMaskOfZeroStreamsAllFourInputs) {
    for (const auto& [mask, sent] : {std::pair(0, 15), std::pair(1, 1), std::pair(15, 15), std::pair(8, 8)}) {
        driver->clearLog();
        request.channelMask = static_cast<quint8>(mask);
        run();
        EXPECT_EQ(driver->callsOf("tt_set_stream_channel_mask"),
                  Texts{"tt_set_stream_channel_mask(" + std::to_string(sent) + ")"});
    }
}

TEST_F(CaptureSetup, ThePackedSettingsAreSent) {
    request.stream.packedDeltaBits = 21;
    request.stream.packedQuantumPs = 64;
    run();
    EXPECT_EQ(driver->callsOf("tt_set_packed_delta_config"), Texts{"tt_set_packed_delta_config(21,64)"});
}

TEST_F(CaptureSetup, AnAnswerThatCannotBeDecodedIsRefused) {
    for (const auto& [bits, refused] : {std::pair(32, true), std::pair(255, true), std::pair(31, false),
                                        std::pair(1, false), std::pair(0, false)}) {
        driver->clearLog();
        driver->change([applied = static_cast<std::uint8_t>(bits)](auto& script) {
            script.appliedPacked = std::pair(applied, std::uint16_t{8});
        });
        EXPECT_EQ(failure(), refused ? "The instrument cannot stream: it offers packed deltas of " +
                                           std::to_string(bits) + " bits, and 31 are the most."
                                     : "");
        EXPECT_EQ(driver->callsOf("tt_start_stream_mode").empty(), refused);
    }
}

TEST_F(CaptureSetup, UartIsRefusedUnlessArmed) {
    for (const StreamChoice format :
         {StreamChoice::PackedDelta, StreamChoice::Delta32, StreamChoice::Raw64}) {
        driver->clearLog();
        request.stream.format = format;
        request.stream.interface = StreamInterface::UartService;
        request.stream.uartArmed = false;
        EXPECT_EQ(failure(), kUartRefused);
        EXPECT_EQ(driver->count("tt_set_stream_interface"), 0);
        EXPECT_EQ(driver->count("tt_start_stream_mode"), 0);
        EXPECT_EQ(driver->count("tt_stop_stream_mode"), 0);
    }
}

TEST_F(CaptureSetup, AnArmedUartIsTransportZero) {
    request.stream.interface = StreamInterface::UartService;
    request.stream.uartArmed = true;
    run();
    EXPECT_EQ(driver->callsOf("tt_set_stream_interface"), Texts{"tt_set_stream_interface(0,2)"});
}

TEST_F(CaptureSetup, ArmingAloneLeavesTheUsbTransport) {
    request.stream.uartArmed = true;
    run();
    EXPECT_EQ(driver->callsOf("tt_set_stream_interface"), Texts{"tt_set_stream_interface(1,2)"});
}

TEST_F(CaptureSetup, EachFailedStepIsNamedAndNoStreamIsStartedOrStopped) {
    struct Row {
        const char* function;
        const char* operation;
        const char* mode;
        StreamChoice format;
    };
    for (const Row& row : {
             Row{"tt_set_reference_clock", "set_reference_clock", "external", StreamChoice::PackedDelta},
             Row{"tt_set_packed_delta_config", "set_packed_delta_config", "external",
                 StreamChoice::PackedDelta},
             Row{"tt_set_stream_interface", "set_stream_interface", "external", StreamChoice::PackedDelta},
             Row{"tt_set_stream_channel_mask", "set_stream_channels", "external", StreamChoice::PackedDelta},
             Row{"tt_disable_calibration_source", "disable_calibration_source", "external",
                 StreamChoice::Delta32},
             Row{"tt_set_calibration_freq", "set_calibration_freq", "internal", StreamChoice::Delta32},
             Row{"tt_enable_calibration_source", "enable_calibration_source", "internal",
                 StreamChoice::Raw64},
         }) {
        driver->clearLog();
        driver->clearFailures();
        driver->fail(row.function, -1, "bus");
        request.mode = QString::fromLatin1(row.mode);
        request.stream.format = row.format;
        EXPECT_EQ(failure(), std::string(row.operation) + ": general failure (bus)");
        EXPECT_EQ(driver->count("tt_stop_stream_mode"), 0) << row.function;
        EXPECT_EQ(driver->count("tt_read_stream_bytes"), 0) << row.function;
        EXPECT_EQ(driver->calls().back().rfind(row.function, 0), 0U) << driver->calls().back();
    }
}

TEST_F(CaptureSetup, AStopDuringTheWaitForTheReferenceStartsNothing) {
    const TemporaryFolder folder;
    driver->change([](auto& script) { script.clock = {2, 1, 0, 0, 0, 0, 1, 0, 0}; });
    request.clock = {timing::ReferenceClockSource::External, {}, true};
    request.recording.path = QString::fromStdString(folder.file("run.qornts"));
    EXPECT_NO_THROW(run()); // its first sleep is that of the wait
    EXPECT_EQ(driver->count("tt_start_stream_mode"), 0);
    EXPECT_FALSE(QFile::exists(request.recording.path));
}

TEST_F(CaptureSetup, AFailedStartIsFollowedByAStopBecauseItMayHaveComeThrough) {
    driver->fail("tt_start_stream_mode", -1, "bus");
    EXPECT_EQ(failure(), "start_stream(mode): general failure (bus)");
    EXPECT_EQ(driver->callsOf("tt_stop_stream_mode"), Texts{"tt_stop_stream_mode(0)"});
    EXPECT_EQ(driver->count("tt_read_stream_bytes"), 0);
}

TEST_F(CaptureSetup, AFailedStopOfTheStreamIsToldAndTriedOnceMore) {
    driver->fail("tt_stop_stream_mode", -1, "bus");
    EXPECT_EQ(failure(), "stop_stream_any: general failure (bus)");
    EXPECT_EQ(driver->count("tt_stop_stream_mode"), 2);
}

TEST_F(CaptureSetup, TheFolderIsMadeBeforeTheStreamIsStarted) {
    const TemporaryFolder folder;
    qorn::testing::writeBytes(folder.path() / "file", {});
    request.recording.path = QString::fromStdString(folder.file("file/run.qornts"));
    EXPECT_EQ(failure(), "Could not create time-tag output folder: " + folder.file("file"));
    EXPECT_EQ(driver->count("tt_start_stream_mode"), 0);
    EXPECT_EQ(driver->count("tt_stop_stream_mode"), 0);
}

TEST_F(CaptureSetup, AFileThatCannotBeOpenedEndsItBeforeTheStream) {
    const TemporaryFolder folder;
    request.recording.path = QString::fromStdString(folder.path().string());
    EXPECT_EQ(failure(), "StreamFileWriter: cannot open " + folder.path().string());
    EXPECT_EQ(driver->count("tt_start_stream_mode"), 0);
}

TEST_F(CaptureSetup, AFailedStartLeavesAWholeButEmptyRecording) {
    const TemporaryFolder folder;
    request.recording.path = QString::fromStdString(folder.file("run.qornts"));
    driver->fail("tt_start_stream_mode", -1);
    EXPECT_EQ(failure(), "start_stream(mode): general failure");
    EXPECT_TRUE(test::readRecording(request.recording.path).tags.empty());
    const auto companion = timing::read_companion(request.recording.path.toStdString());
    ASSERT_TRUE(companion.has_value());
    EXPECT_EQ(companion->end, timing::PartEnd::Error);
    EXPECT_EQ(companion->error, "start_stream(mode): general failure");
    ASSERT_FALSE(events.flows().empty());
    EXPECT_TRUE(events.flows().back().ended);
}

TEST_F(CaptureSetup, TheRecordingsHeaderDescribesSourceAndStream) {
    const TemporaryFolder folder;
    struct Row {
        StreamChoice format;
        const char* mode;
        StreamInterface interface;
        int mask;
        const char* transport;
        int deltaBits;
        int quantum;
    };
    driver->change(
        [](auto& script) { script.appliedPacked = std::pair<std::uint8_t, std::uint16_t>(20, 32); });
    int number = 0;
    for (const Row& row : {
             Row{StreamChoice::PackedDelta, "external", StreamInterface::Usb, 0, "usb", 20,
                 32}, // what came back
             Row{StreamChoice::PackedDelta, "internal", StreamInterface::UartService, 6, "uart", 20, 32},
             Row{StreamChoice::Delta32, "external", StreamInterface::Usb, 15, "usb", 17, 4}, // as they are
             Row{StreamChoice::Raw64, "internal", StreamInterface::Usb, 9, "usb", 17, 4},
         }) {
        request.mode = QString::fromLatin1(row.mode);
        request.channelMask = static_cast<quint8>(row.mask);
        request.stream = {row.format, row.interface, true, 17, 4, 3};
        request.source = {"Qorn Timing 0.3.0", "TDC", "SN0001", "ftdi://SN0001"};
        request.recording.path = QString::fromStdString(folder.file("run" + std::to_string(++number)));
        run();
        const QJsonObject header = test::readRecording(request.recording.path).header;
        const auto text = [&header](const char* key) {
            return header.value(QLatin1String(key)).toString().toStdString();
        };
        EXPECT_EQ(text("stream_format"), "raw64");
        EXPECT_EQ(text("raw64_tag_format"), "ps");
        EXPECT_EQ(text("mode"), row.mode);
        EXPECT_EQ(text("stream_transport"), row.transport);
        EXPECT_EQ(text("application"), "Qorn Timing 0.3.0");
        EXPECT_EQ(text("device_product"), "TDC");
        EXPECT_EQ(text("device_serial"), "SN0001");
        EXPECT_EQ(text("device_port"), "ftdi://SN0001");
        EXPECT_EQ(header.value(QLatin1String("channel_mask")).toInt(), row.mask == 0 ? 15 : row.mask);
        EXPECT_EQ(header.value(QLatin1String("tdl_index")).toInt(), 3);
        const QJsonObject packed = header.value(QLatin1String("packed_delta_config")).toObject();
        EXPECT_EQ(packed.value(QLatin1String("delta_bits")).toInt(), row.deltaBits);
        EXPECT_EQ(packed.value(QLatin1String("quantum_ps")).toInt(), row.quantum);
    }
}

TEST_F(CaptureSetup, APackedConfigurationThatWritesNothingCountsAs16And8) {
    const TemporaryFolder folder;
    driver->change([](auto& script) { script.writesPackedResult = false; });
    request.stream.packedDeltaBits = 25;
    request.stream.packedQuantumPs = 2;
    request.recording.path = QString::fromStdString(folder.file("run"));
    run();
    const QJsonObject packed = test::readRecording(request.recording.path)
                                   .header.value(QLatin1String("packed_delta_config"))
                                   .toObject();
    EXPECT_EQ(packed.value(QLatin1String("delta_bits")).toInt(), 16);
    EXPECT_EQ(packed.value(QLatin1String("quantum_ps")).toInt(), 8);
}

} // namespace
} // namespace qorn::timetagger::gui
