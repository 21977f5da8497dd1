#include "TagRecording.h"

#include "Error.h"
#include "LoopTestSupport.h"
#include "RecordingCompanionFile.h"
#include "TemporaryFolder.h"

#include <QDateTime>
#include <QDir>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <filesystem>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using qorn::testing::CurrentFolder;
using qorn::testing::TemporaryFolder;
using test::readRecording;
using test::tagsFrom;

constexpr LoopClock::TimePoint kStart{1h};

timing::StreamFileHeader streamHeader() {
    timing::StreamFileHeader header;
    header.format = timing::StreamFormat::PackedDelta;
    header.mode = timing::StreamMode::Internal;
    header.transport = timing::Transport::Usb;
    header.channel_mask = 5;
    header.tdl_index = 2;
    header.delta_bits = 19;
    header.quantum_ps = 16;
    header.raw64_tag_format = "raw_cf";
    header.application = "Qorn Timing 0.3.0";
    header.device_product = "TDC";
    header.device_serial = "SN0001";
    header.device_port = "ftdi://SN0001";
    return header;
}

timing::StreamFileHeader raw64Header() {
    timing::StreamFileHeader header = streamHeader();
    header.format = timing::StreamFormat::Raw64;
    return header;
}

class Recordings : public ::testing::Test {
protected:
    std::unique_ptr<TagRecording> start(int rotateSeconds = 0, int maxDurationSeconds = 0) {
        return TagRecording::start({path, rotateSeconds, maxDurationSeconds}, streamHeader(), kStart);
    }
    QString part(const char* name) const { return QString::fromStdString(folder.file(name)); }
    // Without their companions.
    QStringList files() const {
        return QDir(QString::fromStdString(folder.path().string()))
            .entryList({QStringLiteral("*.qornts")}, QDir::Files, QDir::Name);
    }

    TemporaryFolder folder;
    QString path = part("run.qornts");
};

TEST_F(Recordings, ABlankPathIsNoRecording) {
    for (const char* blank : {"", "   ", "\t\n"}) {
        EXPECT_EQ(TagRecording::start({QString::fromLatin1(blank), 1, 1}, streamHeader(), kStart), nullptr);
    }
}

TEST_F(Recordings, TheHeaderSaysWhatTheFileHolds) {
    const QDateTime before = QDateTime::currentDateTimeUtc().addMSecs(-1);
    start()->close();
    const QDateTime after = QDateTime::currentDateTimeUtc();
    const QJsonObject header = readRecording(path).header;
    const auto text = [&header](const char* key) { return header.value(QLatin1String(key)).toString(); };
    EXPECT_EQ(text("stream_format"), QStringLiteral("raw64")); // whatever the stream's own format
    EXPECT_EQ(text("raw64_tag_format"), QStringLiteral("ps"));
    EXPECT_EQ(text("mode"), QStringLiteral("internal"));
    EXPECT_EQ(text("stream_transport"), QStringLiteral("usb"));
    EXPECT_EQ(text("application"), QStringLiteral("Qorn Timing 0.3.0"));
    EXPECT_EQ(text("device_product"), QStringLiteral("TDC"));
    EXPECT_EQ(text("device_serial"), QStringLiteral("SN0001"));
    EXPECT_EQ(text("device_port"), QStringLiteral("ftdi://SN0001"));
    EXPECT_EQ(header.value(QLatin1String("channel_mask")).toInt(), 5);
    EXPECT_EQ(header.value(QLatin1String("tdl_index")).toInt(), 2);
    const QJsonObject packed = header.value(QLatin1String("packed_delta_config")).toObject();
    EXPECT_EQ(packed.value(QLatin1String("delta_bits")).toInt(), 19);
    EXPECT_EQ(packed.value(QLatin1String("quantum_ps")).toInt(), 16);
    const QString created = text("created_utc");
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z$"))
                    .match(created)
                    .hasMatch())
        << created.toStdString();
    const QDateTime stamp = QDateTime::fromString(created, Qt::ISODateWithMs);
    EXPECT_LE(before, stamp);
    EXPECT_LE(stamp, after);
}

TEST_F(Recordings, EveryTagIsInTheFile) {
    const auto recording = start();
    recording->append(tagsFrom(0, 1000), kStart + 1s);
    recording->append({}, kStart + 2s);
    recording->append(tagsFrom(1000, 500), kStart + 1000h);
    recording->close();
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 1500));
    EXPECT_EQ(files(), QStringList{QStringLiteral("run.qornts")});
}

TEST_F(Recordings, TheFolderIsMade) {
    path = part("new/deep/run.qornts");
    start()->close();
    EXPECT_TRUE(QFile::exists(path));
}

TEST_F(Recordings, BlanksAroundThePathDoNotCount) {
    const QString clean = path;
    path = QStringLiteral("  ") + path + QStringLiteral(" ");
    start()->close();
    EXPECT_TRUE(QFile::exists(clean));
}

TEST_F(Recordings, ARelativePathIsTakenFromTheCurrentFolder) {
    const CurrentFolder current(folder.path());
    path = QStringLiteral("sub/run.qornts");
    start()->close();
    EXPECT_TRUE(QFile::exists(part("sub/run.qornts")));
}

TEST_F(Recordings, AFolderThatCannotBeMadeIsNamed) {
    qorn::testing::writeBytes(folder.path() / "file", {});
    path = part("file/sub/run.qornts");
    EXPECT_EQ(test::failureOf([&] { start(); }),
              "Could not create time-tag output folder: " + folder.file("file/sub"));
}

TEST_F(Recordings, AFileThatCannotBeOpenedIsNamed) {
    path = QString::fromStdString(folder.path().string());
    EXPECT_EQ(test::failureOf([&] { start(); }), "StreamFileWriter: cannot open " + folder.path().string());
}

TEST_F(Recordings, AnEarlierRecordingIsNotReplaced) {
    for (int number = 0; number < 3; ++number) {
        const auto recording = start();
        recording->append(tagsFrom(number * 10, 10), kStart);
        recording->close();
    }
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 10));
    EXPECT_EQ(readRecording(part("run_2.qornts")).tags, tagsFrom(10, 10));
    EXPECT_EQ(readRecording(part("run_3.qornts")).tags, tagsFrom(20, 10));
    EXPECT_EQ(files().size(), 3);
}

TEST_F(Recordings, AMaximumDurationEndsItWhileTheStreamGoesOn) {
    const auto recording = start(0, 10);
    recording->append(tagsFrom(0, 10), kStart + 10s - 1ns);
    recording->append(tagsFrom(10, 10), kStart + 10s); // its time has passed
    recording->append(tagsFrom(20, 10), kStart + 11s);
    EXPECT_NO_THROW(recording->close());
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 10));
    EXPECT_EQ(files(), QStringList{QStringLiteral("run.qornts")});
}

// All inputs rest for 40 s: a decoder of wrapping times misses two periods, which the loop's clock knows of.
TEST_F(Recordings, ASilenceOfAllInputsKeepsItsLength) {
    constexpr std::int64_t kSecondPs = 1'000'000'000'000;
    constexpr std::int64_t kMissed = 2 * timing::kCoarseWrapPs;
    const auto recording = TagRecording::start({path, 0, 0}, raw64Header(), kStart);
    recording->append(test::Tags{{0, 5 * kSecondPs}}, kStart);
    recording->append({}, kStart + 2ms);
    recording->append({}, kStart + 20s);
    recording->append(test::Tags{{0, 45 * kSecondPs - kMissed}}, kStart + 40s);
    recording->append({}, kStart + 41s);
    recording->append(test::Tags{{1, 46 * kSecondPs - kMissed}}, kStart + 41s);
    recording->close();
    const auto companion = timing::read_companion(path.toStdString());
    ASSERT_TRUE(companion.has_value());
    EXPECT_EQ(companion->first_time_ps, 5 * kSecondPs);
    EXPECT_EQ(companion->last_time_ps, 46 * kSecondPs);
}

// A network may have stood while the inputs went on; packed and delta words tell of silences themselves.
TEST_F(Recordings, ASilenceThatMayBeNoneOfTheInputsIsNotTimed) {
    constexpr std::int64_t kSecondPs = 1'000'000'000'000;
    const auto lastTime = [&](const timing::StreamFileHeader& header, TagRecording::Link link) {
        const auto recording = TagRecording::start({path, 0, 0}, header, kStart, link);
        recording->append(test::Tags{{0, 5 * kSecondPs}}, kStart);
        recording->append({}, kStart + 1ms);
        recording->append(test::Tags{{0, 5 * kSecondPs + 1}}, kStart + 14s);
        recording->close();
        const auto companion = timing::read_companion(path.toStdString());
        std::filesystem::remove(path.toStdString());
        std::filesystem::remove(path.toStdString() + ".json");
        return companion ? companion->last_time_ps : std::nullopt;
    };
    EXPECT_EQ(lastTime(raw64Header(), TagRecording::Link::Network), 5 * kSecondPs + 1);
    EXPECT_EQ(lastTime(streamHeader(), TagRecording::Link::Instrument), 5 * kSecondPs + 1);
    EXPECT_EQ(lastTime(raw64Header(), TagRecording::Link::Instrument),
              5 * kSecondPs + 1 + timing::kCoarseWrapPs);
}

// Longer than can be told in picoseconds.
TEST_F(Recordings, ASilenceOfHalfAYearBreaksNothing) {
    const auto recording = TagRecording::start({path, 0, 0}, raw64Header(), kStart);
    recording->append(tagsFrom(0, 10), kStart);
    recording->append({}, kStart);
    recording->append(tagsFrom(10, 10), kStart + 180 * 24h);
    recording->close();
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 20));
}

TEST_F(Recordings, AnEmptyPassEndsItToo) {
    const auto recording = start(0, 10);
    recording->append(tagsFrom(0, 10), kStart);
    recording->append({}, kStart + 10s);
    recording->append(tagsFrom(10, 10), kStart + 10s);
    recording->close();
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 10));
}

TEST_F(Recordings, RotatingNeverSplitsAPass) {
    const auto recording = start(10);
    recording->append(tagsFrom(0, 10), kStart + 9s);
    recording->append(tagsFrom(10, 10), kStart + 10s); // the whole pass goes to the second part
    recording->append(tagsFrom(20, 10), kStart + 20s - 1ns);
    recording->append(tagsFrom(30, 10), kStart + 20s);
    recording->close();
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 10));
    EXPECT_EQ(readRecording(part("run_part002.qornts")).tags, tagsFrom(10, 20));
    EXPECT_EQ(readRecording(part("run_part003.qornts")).tags, tagsFrom(30, 10));
    EXPECT_EQ(files().size(), 3);
}

TEST_F(Recordings, ThePartClockRestartsAtTheRotation) {
    const auto recording = start(10);
    recording->append(tagsFrom(0, 1), kStart + 15s); // late: part 002 begins here
    recording->append(tagsFrom(1, 1), kStart + 24s);
    recording->append(tagsFrom(2, 1), kStart + 25s);
    recording->close();
    EXPECT_TRUE(readRecording(path).tags.empty());
    EXPECT_EQ(readRecording(part("run_part002.qornts")).tags, tagsFrom(0, 2));
    EXPECT_EQ(readRecording(part("run_part003.qornts")).tags, tagsFrom(2, 1));
}

TEST_F(Recordings, ALongPauseGivesOneRotation) {
    const auto recording = start(10);
    recording->append(tagsFrom(0, 1), kStart + 1000s);
    recording->close();
    EXPECT_EQ(files(), (QStringList{QStringLiteral("run.qornts"), QStringLiteral("run_part002.qornts")}));
}

TEST_F(Recordings, PartsHaveWholeHeadersWithTimesOfTheirOwn) {
    const auto recording = start(10);
    recording->append({}, kStart + 10s);
    recording->close();
    const QJsonObject first = readRecording(path).header;
    QJsonObject next = readRecording(part("run_part002.qornts")).header;
    const auto created = [](const QJsonObject& header) {
        return QDateTime::fromString(header.value(QLatin1String("created_utc")).toString(),
                                     Qt::ISODateWithMs);
    };
    EXPECT_LE(created(first), created(next));
    next.insert(QLatin1String("created_utc"), first.value(QLatin1String("created_utc")));
    EXPECT_EQ(first, next);
}

TEST_F(Recordings, TheMaximumDurationGoesBeforeARotation) {
    const auto recording = start(10, 10);
    recording->append(tagsFrom(0, 1), kStart + 10s);
    recording->append(tagsFrom(1, 1), kStart + 30s);
    recording->close();
    EXPECT_EQ(files(), QStringList{QStringLiteral("run.qornts")});
}

TEST_F(Recordings, TheMaximumDurationCountsOverAllParts) {
    const auto recording = start(10, 25);
    recording->append(tagsFrom(0, 1), kStart + 10s);
    recording->append(tagsFrom(1, 1), kStart + 20s);
    recording->append(tagsFrom(2, 1), kStart + 25s);
    recording->append(tagsFrom(3, 1), kStart + 40s);
    recording->close();
    EXPECT_EQ(files().size(), 3);
    EXPECT_EQ(readRecording(part("run_part003.qornts")).tags, tagsFrom(1, 1));
}

TEST_F(Recordings, DurationsOfZeroOrLessNeverCome) {
    for (const int never : {0, -1, -1000}) {
        path = part(("run" + std::to_string(-never) + ".qornts").c_str());
        const auto recording = start(never, never);
        recording->append(tagsFrom(0, 3), kStart + 100000h);
        recording->close();
        EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 3));
    }
    EXPECT_EQ(files().size(), 3);
}

TEST_F(Recordings, AFileThatIsThereAlreadyIsLeftAlone) {
    const auto first = start();
    first->append(tagsFrom(0, 3), kStart);
    first->close();
    const auto second = start();
    second->append(tagsFrom(100, 2), kStart);
    second->close();
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 3));
    EXPECT_EQ(readRecording(part("run_2.qornts")).tags, tagsFrom(100, 2));
}

TEST_F(Recordings, AFullDiskIsToldAlsoByAPassWithoutTags) {
    path = QStringLiteral("/dev/full");
    const auto recording = start();
    EXPECT_TRUE(test::eventually([&] {
        return test::failureOf([&] { recording->append({}, kStart); }) ==
               "StreamFileWriter: payload write failed";
    }));
}

TEST_F(Recordings, ARotationThatFailsEndsTheCapture) {
    const auto recording = start(10);
    recording->append(tagsFrom(0, 1), kStart);
    QDir().mkpath(part("run_part002.qornts")); // a folder of that name
    EXPECT_EQ(test::failureOf([&] {            // of the append already, when the writer was quick
                  recording->append(tagsFrom(1, 1), kStart + 10s);
                  recording->close();
              }),
              "StreamFileWriter: cannot open " + part("run_part002.qornts").toStdString());
    EXPECT_EQ(test::failureOf([&] { recording->close(); }),
              "StreamFileWriter: cannot open " + part("run_part002.qornts").toStdString());
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 1));
}

} // namespace
} // namespace qorn::timetagger::gui
