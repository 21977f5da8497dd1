// From what an instrument sends to what is read back from the recording's parts: no tag lost, none doubled.
#include "CaptureLoop.h"

#include "ComparedDecoder.h"
#include "ControllerTest.h"
#include "Device.h"
#include "LoopTestSupport.h"
#include "RecordingCompanionFile.h"
#include "ScriptedDriver.h"
#include "StreamDecoder.h"
#include "StreamFileReader.h"
#include "StreamFiles.h"
#include "StreamHeaders.h"
#include "TagGenerator.h"
#include "TagStreamEncoder.h"
#include "TemporaryFolder.h"

#include <QDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <fstream>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using qorn::testing::Bytes;
using qorn::testing::sameTags;
using qorn::testing::TagTraffic;
using qorn::testing::TemporaryFolder;
using test::Tags;

constexpr std::int64_t kWrapPs = 14315125997568;
constexpr std::int64_t kSecondPs = 1'000'000'000'000;

// The parts of the one recording in a folder, in order.
std::vector<std::filesystem::path> partsIn(const TemporaryFolder& folder) {
    std::vector<std::filesystem::path> parts;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        if (entry.path().extension() == ".qornts") {
            parts.push_back(entry.path());
        }
    }
    std::sort(parts.begin(), parts.end()); // "run.qornts" goes before "run_part002.qornts"
    return parts;
}

// What the live decoder makes of the parts' records, fed one after the other.
Tags decoded(const std::vector<std::filesystem::path>& parts) {
    timing::StreamFileHeader header = qorn::testing::raw64Header("ps");
    timing::StreamDecoder decoder(header);
    Tags all;
    for (const auto& part : parts) {
        const Bytes payload = qorn::testing::payloadOf(part);
        EXPECT_EQ(payload.size() % 8, 0U) << part;
        constexpr std::size_t kPiece = 99'999; // cuts records
        for (std::size_t at = 0; at < payload.size(); at += kPiece) {
            const auto tags =
                decoder.feed(std::span(payload).subspan(at, std::min(kPiece, payload.size() - at)));
            all.insert(all.end(), tags.begin(), tags.end());
        }
    }
    return all;
}

Tags readBack(const std::vector<std::filesystem::path>& parts, bool withCompanions = true) {
    timing::StreamFileReader reader;
    Tags all;
    for (const auto& part : parts) {
        reader.open(part);
        if (withCompanions) {
            reader.use_times(timing::read_companion(part).value());
        }
        for (auto tags = reader.read(); !tags.empty(); tags = reader.read()) {
            all.insert(all.end(), tags.begin(), tags.end());
        }
    }
    EXPECT_EQ(reader.doubtful_gaps(), 0U);
    EXPECT_EQ(reader.skipped_bytes(), 0U);
    return all;
}

std::size_t tagsInFile(const std::filesystem::path& part) {
    return qorn::testing::payloadOf(part).size() / 8;
}

// --- scripted instrument -----------------------------------------------------------------------------------

struct Stream {
    const char* name;
    StreamChoice choice;
    TagTraffic traffic;
    bool decoderRight = true; // false: only a reader that looks at the whole stream gets the times right
};

void PrintTo(const Stream& stream, std::ostream* out) {
    *out << stream.name;
}

Bytes wireBytes(const Stream& stream, const Tags& tags) {
    switch (stream.choice) {
    case StreamChoice::Raw64:
        return qorn::testing::encodeRaw64Picoseconds(tags).bytes;
    case StreamChoice::Delta32:
        return qorn::testing::encodeDelta32(tags, 0, 5).bytes;
    case StreamChoice::PackedDelta:
        break;
    }
    return qorn::testing::encodePacked(tags, {.sync_every = 3000, .seed = 5}).bytes;
}

class RecordedStream : public ::testing::TestWithParam<Stream> {
protected:
    // Sends all bytes in pieces that cut records, and runs the capture until all tags came through.
    void capture(const Bytes& bytes, std::size_t count, int rotateSeconds) {
        qorn::testing::RandomSource random(11);
        for (std::size_t at = 0; at < bytes.size();) {
            const std::size_t piece = std::min<std::size_t>(1 + random.below(40'000), bytes.size() - at);
            driver->feed(Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                               bytes.begin() + static_cast<std::ptrdiff_t>(at + piece)));
            at += piece;
        }
        timing::Device device = timing::Device::open_serial("A");
        CaptureRequest request;
        request.mode = QStringLiteral("external");
        request.stream.format = GetParam().choice;
        request.batchSize = 4000;
        request.recording = {QString::fromStdString(folder.file("run.qornts")), rotateSeconds, 0};
        test::ManualClock clock;
        test::RecordingEvents events;
        std::atomic<bool> stop{false};
        events.onTags = [&](std::size_t total) {
            clock.advance(7s);
            stop = total >= count;
        };
        captureLoop(device, request, nullptr, stop, events, clock);
        EXPECT_EQ(events.tagCount(), count);
        EXPECT_TRUE(events.losses().empty());
    }

    TemporaryFolder folder;
    qorn::testing::ScopedDriver driver;
};

TEST_P(RecordedStream, HoldsEveryTagOnceOverWrapsAndRotations) {
    const Stream& stream = GetParam();
    const Tags sent = qorn::testing::generateTags(stream.traffic);
    ASSERT_GT(sent.back().timestamp_ps, kWrapPs + kSecondPs);
    capture(wireBytes(stream, sent), sent.size(), 20);
    const auto parts = partsIn(folder);
    const auto filled =
        std::count_if(parts.begin(), parts.end(), [](const auto& part) { return tagsInFile(part) > 0; });
    ASSERT_GE(filled, 4); // one may be empty: the time of the loop goes on while no tags come
    EXPECT_TRUE(sameTags(sent, readBack(parts)));
    EXPECT_TRUE(sameTags(sent, readBack(parts, false)));
    if (stream.decoderRight) {
        EXPECT_TRUE(sameTags(sent, decoded(parts)));
    }
}

TEST_P(RecordedStream, IsTheSameInOneFile) {
    const Stream& stream = GetParam();
    const Tags sent = qorn::testing::generateTags(stream.traffic);
    capture(wireBytes(stream, sent), sent.size(), 0);
    const auto parts = partsIn(folder);
    ASSERT_EQ(parts.size(), 1U);
    EXPECT_EQ(tagsInFile(parts[0]), sent.size());
    EXPECT_TRUE(sameTags(sent, readBack(parts)));
}

INSTANTIATE_TEST_SUITE_P(
    Formats, RecordedStream,
    ::testing::Values(
        Stream{"Raw64",
               StreamChoice::Raw64,
               {.seed = 1, .count = 150'000, .mean_gap_ps = 1.2e9, .start_ps = 14 * kSecondPs}},
        Stream{"Raw64WithSilences",
               StreamChoice::Raw64,
               {.seed = 2,
                .count = 60'000,
                .mean_gap_ps = 1e9,
                .burst_chance = 0.2,
                .pause_chance = 0.0005,
                .pause_ps = 5 * kSecondPs}},
        Stream{"Delta32", StreamChoice::Delta32, {.seed = 3, .count = 320'000, .mean_gap_ps = 2e8}},
        Stream{"PackedDelta",
               StreamChoice::PackedDelta,
               {.seed = 4, .count = 160'000, .mean_gap_ps = 8e8, .resolution_ps = 8}}),
    [](const auto& test) { return test.param.name; });

using RecordedSilence = RecordedStream;

// The words of a recording are modulo the wrap: input 4, silent for 40 s, and input 3, which begins at 20 s,
// are off in what the live decoder says of them, and right in what is read back.
TEST_P(RecordedSilence, AnInputThatWasSilentForLongComesBackRight) {
    Tags sent = qorn::testing::generateTags({.seed = 9, .mask = 7, .count = 60'000, .mean_gap_ps = 2.5e9});
    ASSERT_GT(sent.back().timestamp_ps, 45 * kSecondPs);
    std::erase_if(sent, [](const timing::TimeTag& tag) {
        return tag.channel == 2 && tag.timestamp_ps < 20 * kSecondPs;
    });
    for (const std::int64_t time : {kSecondPs, 41 * kSecondPs, 41 * kSecondPs + 5000}) {
        const auto place = std::lower_bound(
            sent.begin(), sent.end(), time,
            [](const timing::TimeTag& tag, std::int64_t value) { return tag.timestamp_ps < value; });
        sent.insert(place, {3, time});
    }
    capture(wireBytes(GetParam(), sent), sent.size(), 20);
    const auto parts = partsIn(folder);
    EXPECT_TRUE(sameTags(sent, readBack(parts)));
    EXPECT_TRUE(sameTags(sent, readBack(parts, false)));
    EXPECT_FALSE(sameTags(sent, decoded(parts)));
}

INSTANTIATE_TEST_SUITE_P(Raw64, RecordedSilence, ::testing::Values(Stream{"Raw64", StreamChoice::Raw64, {}}),
                         [](const auto& test) { return test.param.name; });

// --- simulated instrument ----------------------------------------------------------------------------------

const timing::DriverTable& simulator() {
    static const timing::DriverTable table = timing::load_driver(QORN_SIMULATOR);
    return table;
}

// Reads of the stream that brought nothing since the last reset: at the end of an unpaced scene. A driver's
// functions have no place of their own for it.
std::atomic<int> emptyReads{0};

tt_status watchedRead(tt_device* device, void* buffer, std::size_t size, std::size_t* count, int timeout_ms) {
    const tt_status status = simulator().tt_read_stream_bytes(device, buffer, size, count, timeout_ms);
    emptyReads += *count == 0 ? 1 : 0;
    return status;
}

const timing::DriverTable& watchedSimulator() {
    static const timing::DriverTable table = [] {
        timing::DriverTable watched = simulator();
        watched.tt_read_stream_bytes = watchedRead;
        return watched;
    }();
    return table;
}

class RecordedInstrument : public ::testing::TestWithParam<StreamChoice> {
protected:
    RecordedInstrument() : earlier(timing::exchange_driver(&watchedSimulator())) { emptyReads = 0; }
    ~RecordedInstrument() override {
        signalled.reset();
        controller.reset();
        timing::exchange_driver(earlier);
        qunsetenv("QORN_SIMULATOR_SCENE");
    }

    // The counter stands 0.4 s before its wrap when the stream starts; at its begin for delta32, which tells
    // the time of the start modulo 2.2 s alone.
    void useScene(const std::string& pace, const std::string& sources) {
        startPs = GetParam() == StreamChoice::Delta32 ? 0 : kWrapPs - 4 * kSecondPs / 10;
        const std::string startCoarse = std::to_string(startPs / 3333);
        std::ofstream(folder.file("scene.json"))
            << R"({)" << pace << R"(, "units": [{"serial": "SIM00001", "seed": 7, "start_coarse": )"
            << startCoarse << R"(, "truth_file": ")" << folder.file("truth.bin") << R"(", "sources": [)"
            << sources << "]}]}";
        qputenv("QORN_SIMULATOR_SCENE", QByteArray::fromStdString(folder.file("scene.json")));
    }

    void begin(int rotateSeconds) {
        controller = std::make_unique<DeviceController>();
        signalled = std::make_unique<test::SignalRecorder>(controller.get());
        controller->openPort(QStringLiteral("ftdi://SIM00001"));
        ASSERT_TRUE(controller->hasDevice());
        ASSERT_TRUE(signalled->waitFor("clockStatusChanged"));
        ASSERT_TRUE(controller->setThresholds({0.3, 0.3, 0.3, 0.3}, nullptr));
        StreamSettings stream;
        stream.format = GetParam();
        controller->setStreamSettings(stream);
        controller->startCapture(QStringLiteral("external"), 0.0, 65536, 15, 0,
                                 {QString::fromStdString(folder.file("run.qornts")), rotateSeconds, 0});
    }

    void end() {
        controller->stopCapture();
        ASSERT_TRUE(signalled->waitFor("captureStopped"));
        EXPECT_EQ(signalled->count("captureError"), 0);
    }

    // What the instrument says it has sent.
    Tags truth() const {
        const Bytes bytes = qorn::testing::readBytes(folder.file("truth.bin"));
        const auto number = [&bytes](std::size_t at) {
            std::uint64_t value = 0;
            for (std::size_t index = 8; index-- > 0;) {
                value = value << 8 | bytes[at + index];
            }
            return value;
        };
        Tags tags;
        for (std::size_t at = 0; at + 16 <= bytes.size(); at += 16) {
            tags.push_back(
                {static_cast<std::uint8_t>(number(at)), static_cast<std::int64_t>(number(at + 8))});
        }
        return tags;
    }

    TemporaryFolder folder;
    const timing::DriverTable* earlier;
    std::unique_ptr<DeviceController> controller;
    std::unique_ptr<test::SignalRecorder> signalled;
    std::int64_t startPs = 0;
};

TEST_P(RecordedInstrument, ItsWholeStreamOverWrapsIsInTheFile) {
    useScene(R"("pace": "unpaced", "duration_s": 32)", R"(
        {"kind": "poisson", "input": 1, "rate_hz": 6000},
        {"kind": "periodic", "input": 2, "frequency_hz": 2000, "jitter_ps": 40},
        {"kind": "poisson", "input": 3, "rate_hz": 900},
        {"kind": "bursts", "input": 4, "frequency_hz": 200, "pulses": 3, "spacing_ps": 40000})");
    begin(0);
    ASSERT_TRUE(test::runUntil([] { return emptyReads > 0; }));
    const Tags sent = truth();
    ASSERT_GT(sent.size(), 200'000U);
    ASSERT_LT(sent.front().timestamp_ps, kWrapPs);
    ASSERT_GT(sent.back().timestamp_ps, startPs + 2 * kWrapPs + kSecondPs);
    // Bits that do not fill a byte stay in the instrument: of the packed format the last tag.
    const std::size_t missing = GetParam() == StreamChoice::PackedDelta ? 1 : 0;
    ASSERT_TRUE(test::runUntil([&] { return signalled->tags.size() + missing >= sent.size(); }));
    end();
    const auto parts = partsIn(folder);
    const Tags recorded = readBack(parts);
    ASSERT_GE(recorded.size() + missing, sent.size());
    EXPECT_TRUE(sameTags(std::span(sent).first(std::min(recorded.size(), sent.size())), recorded));
    EXPECT_TRUE(sameTags(recorded, decoded(parts)));
}

using RotatedRecording = RecordedInstrument;

TEST_P(RotatedRecording, OfAnInstrumentOverAWrapIsCompleteInItsParts) {
    useScene(R"("pace": "realtime")", R"(
        {"kind": "poisson", "input": 1, "rate_hz": 150000},
        {"kind": "poisson", "input": 2, "rate_hz": 40000},
        {"kind": "periodic", "input": 3, "frequency_hz": 20000},
        {"kind": "poisson", "input": 4, "rate_hz": 3000})");
    begin(1);
    const QString third = QString::fromStdString(folder.file("run_part003.qornts"));
    ASSERT_TRUE(test::runUntil([&] { return QFile::exists(third); }));
    const std::size_t shown = signalled->tags.size();
    ASSERT_TRUE(test::runUntil([&] { // goes to part 3
        return signalled->tags.size() > shown && signalled->tags.back().timestamp_ps > kWrapPs;
    }));
    end();
    const Tags sent = truth();
    const auto parts = partsIn(folder);
    ASSERT_GE(parts.size(), 3U);
    const Tags recorded = readBack(parts);
    ASSERT_GE(recorded.size(), signalled->tags.size());
    ASSERT_LE(recorded.size(), sent.size()); // what the unit had buffered at the stop belongs to nobody
    EXPECT_GT(recorded.back().timestamp_ps, kWrapPs);
    EXPECT_TRUE(sameTags(std::span(sent).first(recorded.size()), recorded));
    EXPECT_TRUE(sameTags(recorded, decoded(parts)));
    EXPECT_TRUE(sameTags(std::span(recorded).first(signalled->tags.size()), signalled->tags));
}

std::string nameOf(const ::testing::TestParamInfo<StreamChoice>& test) {
    switch (test.param) {
    case StreamChoice::Raw64:
        return "Raw64";
    case StreamChoice::Delta32:
        return "Delta32";
    case StreamChoice::PackedDelta:
        break;
    }
    return "PackedDelta";
}

INSTANTIATE_TEST_SUITE_P(Formats, RecordedInstrument,
                         ::testing::Values(StreamChoice::Raw64, StreamChoice::Delta32,
                                           StreamChoice::PackedDelta),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Formats, RotatedRecording,
                         ::testing::Values(StreamChoice::Raw64, StreamChoice::PackedDelta), nameOf);

} // namespace
} // namespace qorn::timetagger::gui
