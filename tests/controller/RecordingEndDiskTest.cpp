// A recording on a disk that fills up: the capture ends with the text, the file holds whole records.
#include "BlockedFile.h"
#include "CaptureLoop.h"
#include "ComparedDecoder.h"
#include "ControllerTest.h"
#include "Device.h"
#include "FileSizeLimit.h"
#include "LoopTestSupport.h"
#include "StreamFileReader.h"
#include "TagRecording.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::FileSizeLimit;
using qorn::testing::sameTags;
using qorn::testing::TemporaryFolder;
using test::readRecording;
using test::Tags;
using test::tagsFrom;

constexpr LoopClock::TimePoint kStart{std::chrono::hours(1)};
constexpr const char* kFull = "StreamFileWriter: payload write failed";

// The file is whole and its tags are the first of those that were sent. `room` is what the disk had for it,
// `kept` what a writer may have had in hand, in bytes.
void expectFirstTags(const QString& path, std::size_t room, std::size_t kept) {
    const std::size_t size = std::filesystem::file_size(path.toStdString());
    EXPECT_LE(size, room);
    EXPECT_GE(size + kept, room);
    const Tags tags = readRecording(path).tags; // fails for a record that is cut
    EXPECT_TRUE(sameTags(tagsFrom(0, tags.size()), tags));
    timing::StreamFileReader reader;
    reader.open(path.toStdString());
    std::size_t count = 0;
    for (auto more = reader.read(); !more.empty(); more = reader.read()) {
        count += more.size();
    }
    EXPECT_EQ(count, tags.size());
}

// The room ends at each place of a record in turn.
class FillingDisk : public ::testing::TestWithParam<std::size_t> {
protected:
    TemporaryFolder folder;
    QString path = QString::fromStdString(folder.file("run.qornts"));
};

TEST_P(FillingDisk, EndsACaptureWithItsTextAndLeavesWholeRecords) {
    const std::size_t room = (5 << 20) + GetParam();
    const FileSizeLimit limit(room);
    qorn::testing::ScopedDriver driver;
    timing::Device device = timing::Device::open_serial("A");
    CaptureRequest request;
    request.mode = QStringLiteral("external");
    request.stream.format = StreamChoice::Raw64;
    request.recording.path = path;
    test::RecordingEvents events;
    test::ManualClock clock;
    std::int64_t fed = 0;
    clock.onSleep = [&](std::size_t) {
        constexpr std::int64_t kPiece = 130'001;
        driver->feed(test::wordsOf(tagsFrom(fed, kPiece)));
        fed += kPiece;
    };
    const std::atomic<bool> never{false};
    EXPECT_EQ(test::failureOf([&] { captureLoop(device, request, nullptr, never, events, clock); }), kFull);
    EXPECT_EQ(driver->calls().back(), "tt_stop_stream_mode(0)");
    expectFirstTags(path, room, 2 << 20);
}

TEST_P(FillingDisk, LeavesWholeRecordsAlsoWhenThereIsRoomAgain) {
    const std::size_t room = (3 << 20) + GetParam();
    const auto recording = [&] {
        auto started = TagRecording::start({path, 0, 0}, {}, kStart);
        const FileSizeLimit limit(room);
        EXPECT_EQ(test::failureOf([&] {
                      for (int pass = 0; pass < 100'000; ++pass) {
                          started->append(tagsFrom(pass * 999, 999), kStart);
                      }
                      started->close();
                  }),
                  kFull);
        return started;
    }();
    // What was in hand at the failure must not be written behind a gap.
    EXPECT_EQ(test::failureOf([&] { recording->append(tagsFrom(0, 999), kStart); }), kFull);
    EXPECT_EQ(test::failureOf([&] { recording->close(); }), kFull);
    expectFirstTags(path, room, 2 << 20);
}

TEST_P(FillingDisk, AShortRecordingThatFindsNoRoomAtItsEndIsWholeToo) {
    const std::size_t room = (1 << 16) + GetParam();
    const FileSizeLimit limit(room);
    const auto recording = TagRecording::start({path, 0, 0}, {}, kStart);
    EXPECT_TRUE(test::failureOf([&] {
                    recording->append(tagsFrom(0, 10'000), kStart); // 80000 bytes
                    recording->close();
                }).starts_with("StreamFileWriter: "));
    expectFirstTags(path, room, 1 << 16);
}

TEST_P(FillingDisk, EarlierPartsAreCompleteAndTheLastHasWholeRecords) {
    const std::size_t room = (2 << 20) + GetParam();
    const FileSizeLimit limit(room); // of each file
    const auto recording = TagRecording::start({path, 10, 0}, {}, kStart);
    recording->append(tagsFrom(0, 200'000), kStart);
    const auto later = kStart + std::chrono::seconds(10);
    EXPECT_EQ(test::failureOf([&] {
                  for (int pass = 0; pass < 1000; ++pass) {
                      recording->append(tagsFrom(pass * 65'536, 65'536), later);
                  }
                  recording->close();
              }),
              kFull);
    EXPECT_TRUE(sameTags(tagsFrom(0, 200'000), readRecording(path).tags));
    expectFirstTags(QString::fromStdString(folder.file("run_part002.qornts")), room, 2 << 20);
}

INSTANTIATE_TEST_SUITE_P(AtEachByteOfARecord, FillingDisk, ::testing::Range<std::size_t>(0, 8));

// A disk that takes nothing for a while: the queue of the writer fills up, then the capture stands, and the
// tags wait in the reader's queue.
TEST(SlowDisk, HoldsUpTheCaptureAndLosesNothing) {
    constexpr std::size_t kTags = 600'000;
    test::BlockedFile file;
    qorn::testing::ScopedDriver driver;
    timing::Device device = timing::Device::open_serial("A");
    CaptureRequest request;
    request.mode = QStringLiteral("external");
    request.stream.format = StreamChoice::Raw64;
    request.batchSize = 100;
    request.recording.path = file.path();
    std::atomic<bool> stop{false};
    test::RecordingEvents events;
    events.onTags = [&stop](std::size_t total) { stop = total >= kTags; };
    driver->feed(test::wordsOf(tagsFrom(0, kTags)));
    std::string failure;
    std::thread capture([&] {
        test::ManualClock clock;
        failure = test::failureOf([&] { captureLoop(device, request, nullptr, stop, events, clock); });
    });
    EXPECT_TRUE(file.waitUntilWritten());
    EXPECT_TRUE(driver->waitUntilStreamIdle()); // the reader goes on
    // A pipe of 64 KiB, the file's buffer of 1 MiB and 512 passes of 100 tags, with something to spare.
    EXPECT_LT(events.tagCount(), std::size_t{250'000});
    file.drain();
    capture.join();
    EXPECT_EQ(failure, "");
    const qorn::testing::Bytes bytes = file.finish();
    qorn::testing::writeBytes(std::filesystem::path(file.path().toStdString() + ".copy"), bytes);
    EXPECT_TRUE(sameTags(tagsFrom(0, kTags), readRecording(file.path() + QStringLiteral(".copy")).tags));
    EXPECT_TRUE(sameTags(tagsFrom(0, kTags), events.tags()));
    EXPECT_TRUE(events.losses().empty());
}

// A capture of a controller that records raw tags to a file.
class RecordingController : public ::testing::Test {
protected:
    void start(int batchSize) {
        controller.openPort(QStringLiteral("ftdi://SN0001"));
        ASSERT_TRUE(signalled.waitFor("clockStatusChanged"));
        StreamSettings stream;
        stream.format = StreamChoice::Raw64;
        controller.setStreamSettings(stream);
        signalled.clear();
        controller.startCapture(QStringLiteral("external"), 0.0, batchSize, 15, 0, {path, 0, 0});
    }

    TemporaryFolder folder;
    QString path = QString::fromStdString(folder.file("run.qornts"));
    qorn::testing::ScopedDriver driver;
    DeviceController controller;
    test::SignalRecorder signalled{&controller};
};

TEST_F(RecordingController, ShowsThatACompanionCannotBeWrittenAndGoesOn) {
    std::filesystem::create_directory(path.toStdString() + ".json.part");
    ASSERT_NO_FATAL_FAILURE(start(100));
    ASSERT_TRUE(signalled.waitFor("captureError"));
    EXPECT_TRUE(controller.isCapturing());
    driver->feed(test::wordsOf(tagsFrom(0, 100)));
    ASSERT_TRUE(signalled.waitFor("tagsBatch"));
    controller.stopCapture();
    ASSERT_TRUE(signalled.waitFor("captureStopped"));
    const test::Texts errors = signalled.textsOf("captureError");
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_TRUE(errors[0].starts_with("captureError(The recording goes on without its companion file: "))
        << errors[0];
    EXPECT_EQ(signalled.texts().back(), "captureStopped()");
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 100));
}

TEST_F(RecordingController, ShowsAFullDiskAndEndsTheCapture) {
    {
        const FileSizeLimit limit(4 << 20);
        ASSERT_NO_FATAL_FAILURE(start(65536));
        std::int64_t fed = 0;
        while (signalled.count("captureStopped") == 0 && fed < 100'000'000) {
            driver->feed(test::wordsOf(tagsFrom(fed, 100'000)));
            fed += 100'000;
            EXPECT_TRUE(test::runUntil(
                [&] { return signalled.count("captureStopped") > 0 || !signalled.tags.empty(); }));
            signalled.tags.clear();
        }
    }
    EXPECT_EQ(
        signalled.textsOf("captureError"),
        (test::Texts{"captureError(The recording " + path.toStdString() + " has ended: File too large.)",
                     std::string("captureError(") + kFull + ")"}));
    EXPECT_EQ(signalled.texts().back(), "captureStopped()");
    EXPECT_FALSE(controller.isCapturing());
    const Tags tags = readRecording(path).tags;
    EXPECT_GT(tags.size(), 100'000U);
    EXPECT_TRUE(sameTags(tagsFrom(0, tags.size()), tags));
}

} // namespace
} // namespace qorn::timetagger::gui
