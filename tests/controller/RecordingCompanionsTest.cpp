// The companions of recordings: why each part ended, what it holds, what was lost, and when they are written.
#include "BlockedFile.h"
#include "FileSizeLimit.h"
#include "LoopTestSupport.h"
#include "RecordingCompanionFile.h"
#include "ScriptedDriver.h"
#include "StreamFileReader.h"
#include "TagRecording.h"
#include "TemporaryFolder.h"

#include <QDir>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <type_traits>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using qorn::testing::FileSizeLimit;
using qorn::testing::TemporaryFolder;
using test::Tags;
using test::tagsFrom;
using timing::PartEnd;
using timing::RecordingCompanion;

constexpr LoopClock::TimePoint kStart{1h};
constexpr std::int64_t kSecond = 1'000'000'000'000;

static_assert(!std::is_copy_constructible_v<CompanionKeeper>, "the file's writer knows its place");

AsyncDecodedQorntsWriter::Entry dataOf(const Tags& tags) {
    AsyncDecodedQorntsWriter::Entry entry;
    entry.payload = test::wordsOf(tags);
    entry.times = timing::RecordTimes().of(tags);
    return entry;
}

class Companions : public ::testing::Test {
protected:
    std::unique_ptr<TagRecording> start(int rotateSeconds = 0, int maxDurationSeconds = 0) {
        return TagRecording::start({QString::fromStdString(path), rotateSeconds, maxDurationSeconds}, {},
                                   kStart);
    }
    std::string file(const char* name) const { return folder.file(name); }
    static RecordingCompanion of(const std::string& stream) {
        const auto companion = timing::read_companion(stream);
        EXPECT_TRUE(companion.has_value()) << stream;
        return companion.value_or(RecordingCompanion{});
    }
    // Waits until the writer has brought the companion to this.
    bool comes(const std::function<bool(const RecordingCompanion&)>& there) const {
        const auto limit = std::chrono::steady_clock::now() + qorn::testing::kEventLimit;
        while (std::chrono::steady_clock::now() < limit) {
            if (const auto companion = timing::read_companion(path); companion && there(*companion)) {
                return true;
            }
            std::this_thread::yield();
        }
        return false;
    }
    Tags readWithCompanion(const std::string& stream) const {
        timing::StreamFileReader reader;
        reader.open(stream);
        reader.use_times(of(stream));
        Tags tags;
        for (auto more = reader.read(); !more.empty(); more = reader.read()) {
            tags.insert(tags.end(), more.begin(), more.end());
        }
        return tags;
    }

    TemporaryFolder folder;
    std::string path = folder.file("run.qornts");
};

TEST_F(Companions, TellThatTheOperatorEndedIt) {
    const auto recording = start();
    recording->append(tagsFrom(0, 1001), kStart);
    recording->append(tagsFrom(1001, 100), kStart);
    recording->close();
    const RecordingCompanion companion = of(path);
    EXPECT_EQ(companion.end, PartEnd::Operator);
    EXPECT_EQ(companion.error, "");
    EXPECT_EQ(companion.records, 1101U);
    EXPECT_EQ(companion.tags_of_channel, (std::array<std::uint64_t, 4>{276, 275, 275, 275}));
    EXPECT_EQ(companion.first_time_ps, 0);
    EXPECT_EQ(companion.last_time_ps, 1'100'000);
    EXPECT_EQ(companion.head_bytes + 8 * companion.records, std::filesystem::file_size(path));
    EXPECT_FALSE(recording->takeNotice().has_value());
}

TEST_F(Companions, TellThatTheDurationEndedIt) {
    const auto recording = start(0, 10);
    recording->append(tagsFrom(0, 10), kStart + 1s);
    recording->append(tagsFrom(10, 10), kStart + 10s);
    recording->noteLoss("reader", 5); // belongs to no part any more
    recording->append(tagsFrom(20, 10), kStart + 20s);
    recording->close();
    EXPECT_EQ(of(path).end, PartEnd::Duration);
    EXPECT_EQ(of(path).records, 10U);
    EXPECT_EQ(of(path).lost(), 0U);
}

TEST_F(Companions, TellOfEachPartByItself) {
    const auto recording = start(10);
    recording->append(tagsFrom(0, 10), kStart);
    recording->append(tagsFrom(10, 7), kStart + 10s);
    recording->noteLoss("reader", 3);
    recording->append({}, kStart + 20s);
    recording->close();
    EXPECT_EQ(of(path).end, PartEnd::Rotation);
    EXPECT_EQ(of(path).records, 10U);
    const RecordingCompanion second = of(file("run_part002.qornts"));
    EXPECT_EQ(second.end, PartEnd::Rotation);
    EXPECT_EQ(second.records, 7U);
    EXPECT_EQ(second.first_time_ps, 10'000);
    EXPECT_EQ(second.lost(), 3U);
    const RecordingCompanion third = of(file("run_part003.qornts"));
    EXPECT_EQ(third.end, PartEnd::Operator);
    EXPECT_EQ(third.records, 0U);
    EXPECT_FALSE(third.first_time_ps.has_value());
    EXPECT_EQ(third.lost(), 0U);
}

TEST_F(Companions, TellTheTextOfACapturesFailure) {
    const auto recording = start();
    recording->append(tagsFrom(0, 10), kStart);
    recording->closeAfter("read_stream: device gone");
    EXPECT_EQ(of(path).end, PartEnd::Error);
    EXPECT_EQ(of(path).error, "read_stream: device gone");
    EXPECT_EQ(of(path).records, 10U);
    EXPECT_NO_THROW(recording->append(tagsFrom(10, 10), kStart)) << "nothing is recorded any more";
    EXPECT_EQ(of(path).records, 10U);
}

TEST_F(Companions, TellThatACaptureWasBrokenOff) {
    start()->append(tagsFrom(0, 10), kStart);
    EXPECT_EQ(of(path).end, PartEnd::Error);
    EXPECT_EQ(of(path).error, "the capture was broken off");
    EXPECT_EQ(of(path).records, 10U);
}

TEST_F(Companions, TellOfAFullDiskExactlyWhatIsInTheFile) {
    for (std::size_t odd = 0; odd < 8; ++odd) {
        path = file(("run" + std::to_string(odd) + ".qornts").c_str());
        const FileSizeLimit limit((3 << 20) + odd);
        const auto recording = start();
        EXPECT_EQ(test::failureOf([&] {
                      for (int pass = 0; pass < 10'000; ++pass) {
                          recording->append(tagsFrom(pass * 4999, 4999), kStart);
                      }
                      recording->close();
                  }),
                  "StreamFileWriter: payload write failed");
        const RecordingCompanion companion = of(path);
        EXPECT_EQ(companion.end, PartEnd::Error);
        EXPECT_EQ(companion.error, "StreamFileWriter: payload write failed");
        EXPECT_EQ(companion.head_bytes + 8 * companion.records, std::filesystem::file_size(path));
        EXPECT_EQ(companion.last_time_ps, static_cast<std::int64_t>(companion.records - 1) * 1000);
    }
}

TEST_F(Companions, ARotationThatCannotOpenTheNextPartTellsWhyTheRecordingEnded) {
    const auto recording = start(10);
    recording->append(tagsFrom(0, 10), kStart);
    std::filesystem::create_directory(file("run_part002.qornts"));
    const std::string failure = test::failureOf([&] {
        recording->append(tagsFrom(10, 1), kStart + 10s);
        recording->close();
    });
    test::failureOf([&] { recording->close(); });
    EXPECT_EQ(failure, "StreamFileWriter: cannot open " + file("run_part002.qornts"));
    EXPECT_EQ(of(path).end, PartEnd::Error);
    EXPECT_EQ(of(path).error, failure);
    EXPECT_EQ(of(path).records, 10U);
    EXPECT_EQ(of(path).losses, (std::vector<timing::RecordingLoss>{{10, 9000, "writer", 1}}));
    EXPECT_FALSE(std::filesystem::exists(path + ".json.part"));
    EXPECT_FALSE(std::filesystem::exists(file("run_part002.qornts.json")));
}

TEST_F(Companions, AreThereFromTheBeginningOn) {
    const auto recording = start();
    EXPECT_TRUE(comes([](const RecordingCompanion& companion) {
        return companion.end == PartEnd::Open && companion.records == 0;
    }));
}

TEST_F(Companions, AreRefreshedByTheWriterItselfWhateverTheCaptureDoes) {
    static_assert(AsyncDecodedQorntsWriter::kRefreshInterval < 5s);
    AsyncDecodedQorntsWriter writer(QString::fromStdString(path), {}, 1ms);
    for (const std::int64_t tags : {10, 20, 30}) { // nothing follows that could make it
        writer.enqueue(dataOf(tagsFrom(tags - 10, 10)));
        EXPECT_TRUE(comes([tags](const RecordingCompanion& companion) {
            return companion.end == PartEnd::Open && companion.records == static_cast<std::uint64_t>(tags);
        }));
    }
    EXPECT_FALSE(writer.takeNotice().has_value());
}

TEST_F(Companions, AreRefreshedAmidWhatIsQueuedForASlowDisk) {
    constexpr std::size_t kTags = 4 << 20; // one order of 32 MiB
    AsyncDecodedQorntsWriter writer(QString::fromStdString(path), {}, 0ms);
    writer.enqueue(dataOf(tagsFrom(0, kTags)));
    EXPECT_TRUE(comes([](const RecordingCompanion& companion) {
        return companion.records > 0 && companion.records < kTags;
    }));
    writer.close();
    EXPECT_EQ(of(path).records, kTags);
}

TEST_F(Companions, AreNotRewrittenForNothing) {
    AsyncDecodedQorntsWriter writer(QString::fromStdString(path), {}, 1ms);
    writer.enqueue(dataOf(tagsFrom(0, 10)));
    ASSERT_TRUE(comes([](const RecordingCompanion& companion) { return companion.records == 10; }));
    ASSERT_TRUE(std::filesystem::remove(path + ".json"));
    const auto watched = std::chrono::steady_clock::now() + 50ms;
    while (std::chrono::steady_clock::now() < watched) {
        ASSERT_FALSE(std::filesystem::exists(path + ".json"));
    }
    writer.enqueue(dataOf(tagsFrom(10, 1)));
    EXPECT_TRUE(comes([](const RecordingCompanion& companion) { return companion.records == 11; }));
}

// Somebody takes the file away while it is recorded.
struct Displacement {
    const char* name;
    std::function<void(const std::string& path)> act;
    bool folderStays = true;
};
class DisplacedFile : public Companions, public ::testing::WithParamInterface<Displacement> {};

TEST_P(DisplacedFile, IsToldOnceByNoticeAndCompanionAndEndsNothing) {
    std::filesystem::create_directory(file("sub"));
    path = file("sub/run.qornts");
    AsyncDecodedQorntsWriter writer(QString::fromStdString(path), {}, 1ms);
    writer.enqueue(dataOf(tagsFrom(0, 10)));
    ASSERT_TRUE(comes([](const RecordingCompanion& companion) { return companion.records == 10; }));
    EXPECT_EQ(of(path).error, "");
    GetParam().act(path);
    std::optional<QString> notice;
    const auto limit = std::chrono::steady_clock::now() + qorn::testing::kEventLimit;
    while (!notice && std::chrono::steady_clock::now() < limit) {
        notice = writer.takeNotice();
    }
    ASSERT_TRUE(notice.has_value()) << "also while no tags come";
    EXPECT_EQ(notice->toStdString(), "The file of the recording was removed, moved or replaced: " + path);
    writer.enqueue(dataOf(tagsFrom(10, 10)));
    EXPECT_NO_THROW(writer.close());
    EXPECT_FALSE(writer.takeNotice().has_value());
    EXPECT_EQ(writer.written(), 20U) << "the open file takes them still";
    if (GetParam().folderStays) {
        EXPECT_EQ(of(path).end, PartEnd::Operator);
        EXPECT_EQ(of(path).error, "the file was removed, moved or replaced while it was recorded");
        EXPECT_EQ(of(path).records, 20U);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, DisplacedFile,
    ::testing::Values(
        Displacement{"Removed", [](const std::string& path) { std::filesystem::remove(path); }},
        Displacement{"Moved",
                     [](const std::string& path) { std::filesystem::rename(path, path + ".moved"); }},
        Displacement{"Replaced",
                     [](const std::string& path) {
                         qorn::testing::writeBytes(path + ".new", qorn::testing::Bytes{1, 2, 3});
                         std::filesystem::rename(path + ".new", path);
                     }},
        Displacement{"FolderMoved",
                     [](const std::string& path) {
                         const std::filesystem::path sub = std::filesystem::path(path).parent_path();
                         std::filesystem::rename(sub, sub.string() + ".moved");
                     },
                     false}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(Companions, TellAtTheLatestAtTheEndThatTheFileIsGone) {
    const auto recording = start();
    recording->append(tagsFrom(0, 10), kStart);
    ASSERT_TRUE(comes([](const RecordingCompanion&) { return true; }));
    std::filesystem::remove(path);
    recording->close();
    EXPECT_TRUE(recording->takeNotice().has_value());
    EXPECT_NE(of(path).error, "");
    EXPECT_EQ(of(path).records, 10U);
}

TEST_F(Companions, KnowTrueTimesOverSilencesAndTheParts) {
    Tags tags{{0, 5}, {1, 60 * kSecond}, {2, 60 * kSecond + 7}, {0, 67 * kSecond}, {3, 1'000'000 * kSecond}};
    const auto recording = start(10);
    recording->append(std::span(tags).first(2), kStart);
    recording->append(std::span(tags).subspan(2, 1), kStart + 1s);
    recording->append(std::span(tags).subspan(3, 1), kStart + 10s);
    recording->append(std::span(tags).subspan(4), kStart + 11s);
    recording->close();
    EXPECT_EQ(readWithCompanion(path), Tags(tags.begin(), tags.begin() + 3));
    EXPECT_EQ(readWithCompanion(file("run_part002.qornts")), Tags(tags.begin() + 3, tags.end()));
    EXPECT_EQ(of(path).silences.size(), 1U);
    EXPECT_EQ(of(file("run_part002.qornts")).first_time_ps, 67 * kSecond);
}

TEST_F(Companions, TellWhatWasLostWhen) {
    const auto recording = start();
    recording->noteLoss("driver", 2);
    recording->append(tagsFrom(0, 10), kStart);
    recording->noteLoss("reader", 70);
    recording->noteLoss("reader", 0);
    recording->append(tagsFrom(10, 5), kStart);
    recording->noteLoss("reader", 1);
    recording->close();
    EXPECT_EQ(of(path).losses,
              (std::vector<timing::RecordingLoss>{
                  {0, std::nullopt, "driver", 2}, {10, 9000, "reader", 70}, {15, 14'000, "reader", 1}}));
}

TEST_F(Companions, ThatCannotBeWrittenAreToldOnceAndHarmNothing) {
    std::filesystem::create_directories(file("run.qornts.json.part"));
    const auto recording = start(10);
    std::optional<QString> notice;
    const auto limit = std::chrono::steady_clock::now() + qorn::testing::kEventLimit;
    while (!notice && std::chrono::steady_clock::now() < limit) {
        notice = recording->takeNotice();
    }
    ASSERT_TRUE(notice.has_value());
    EXPECT_TRUE(notice->startsWith(QStringLiteral("The recording goes on without its companion file: ")))
        << notice->toStdString();
    EXPECT_TRUE(notice->contains(QStringLiteral("run.qornts.json"))) << notice->toStdString();
    recording->append(tagsFrom(0, 10), kStart + 5s);
    recording->append(tagsFrom(10, 10), kStart + 10s);
    recording->close();
    EXPECT_FALSE(recording->takeNotice().has_value());
    EXPECT_EQ(test::readRecording(QString::fromStdString(path)).tags, tagsFrom(0, 10));
    EXPECT_FALSE(std::filesystem::exists(path + ".json"));
    EXPECT_EQ(of(file("run_part002.qornts")).records, 10U) << "the next part has one again";
}

// A box for each part of days of rotation would help nobody.
TEST_F(Companions, ThatCannotBeWrittenAreToldAgainOnlyBehindAPartThatHasOne) {
    for (const char* part : {"run", "run_part002", "run_part003", "run_part005"}) {
        std::filesystem::create_directory(file((part + std::string(".qornts.json.part")).c_str()));
    }
    const auto recording = start(10);
    for (int part = 0; part < 5; ++part) {
        recording->append(tagsFrom(part * 10, 10), kStart + part * 10s);
    }
    recording->close();
    EXPECT_TRUE(recording->takeNotice().value_or(QString()).contains(QStringLiteral("run.qornts.json")));
    EXPECT_TRUE(
        recording->takeNotice().value_or(QString()).contains(QStringLiteral("run_part005.qornts.json")));
    EXPECT_FALSE(recording->takeNotice().has_value());
}

TEST_F(Companions, OfAFailedWriterTellAllThatWasLost) {
    const auto recording = start(10);
    recording->append(tagsFrom(0, 10), kStart);
    std::filesystem::create_directory(file("run_part002.qornts")); // where the next part is to go
    std::string failure;
    std::uint64_t lost = 0;
    for (int pass = 0; failure.empty(); ++pass) { // until the writer has noticed
        recording->noteLoss("reader", 1000);
        lost += 1000;
        failure = test::failureOf([&] { recording->append(tagsFrom(10, 7), kStart + 10s); });
        lost += 7;
    }
    recording->noteLoss("reader", 500); // once it is known to have failed
    // That pass would have gone to a part of its own.
    EXPECT_EQ(test::failureOf([&] { recording->append(tagsFrom(20, 3), kStart + 20s); }), failure);
    recording->closeAfter(failure);
    EXPECT_EQ(of(path).error, failure);
    EXPECT_EQ(of(path).records, 10U);
    EXPECT_EQ(of(path).lost(), lost + 503);
}

TEST_F(Companions, OfOtherRecordingsAreNotReplaced) {
    qorn::testing::writeBytes(path + ".json", qorn::testing::Bytes{'{', '}'});
    start()->close();
    EXPECT_EQ(qorn::testing::readBytes(path + ".json").size(), 2U);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(of(file("run_2.qornts")).end, PartEnd::Operator);
}

TEST_F(Companions, StandBesideFilesOnly) {
    test::BlockedFile pipe;
    pipe.drain();
    AsyncDecodedQorntsWriter writer(pipe.path(), {});
    writer.close();
    EXPECT_FALSE(std::filesystem::exists(pipe.path().toStdString() + ".json"));
    EXPECT_FALSE(writer.takeNotice().has_value());
}

} // namespace
} // namespace qorn::timetagger::gui
