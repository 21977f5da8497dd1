// A recording on a file system without any room left: its companion still says why it ended.
#include "LoopTestSupport.h"
#include "RecordingCompanionFile.h"
#include "RelaySupport.h"
#include "SmallDisk.h"
#include "TagRecording.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using test::tagsFrom;
using timing::PartEnd;
using timing::RecordingCompanion;

constexpr LoopClock::TimePoint kStart{1h};
constexpr const char* kFull = "StreamFileWriter: payload write failed";

class NoRoomLeft : public ::testing::Test {
protected:
    void SetUp() override {
        if (!disk.isThere()) {
            GTEST_SKIP() << disk.whyNot();
        }
    }
    std::unique_ptr<TagRecording> start(int rotateSeconds = 0) const {
        return TagRecording::start({QString::fromStdString(path), rotateSeconds, 0}, {}, kStart);
    }
    // Records until the disk takes no more, and closes.
    static std::string recordUntilFull(TagRecording& recording, LoopClock::TimePoint now) {
        std::string failure = test::failureOf([&] {
            for (int pass = 0; pass < 10'000; ++pass) {
                recording.append(tagsFrom(pass * 4999, 4999), now);
            }
        });
        EXPECT_EQ(test::failureOf([&] { recording.close(); }), kFull);
        return failure;
    }
    // Records some tags, and lets somebody else fill the disk once the companion is there.
    void recordAndFill(TagRecording& recording) {
        recording.append(tagsFrom(0, 4999), kStart);
        ASSERT_TRUE(test::eventually([this] { return timing::read_companion(path).has_value(); }));
        disk.fill();
    }
    static RecordingCompanion of(const std::string& stream) {
        const auto companion = timing::read_companion(stream);
        EXPECT_TRUE(companion.has_value()) << stream;
        return companion.value_or(RecordingCompanion{});
    }

    // And no fault of the companion.
    void expectOnlyTheReasonIsTold(TagRecording& recording) const {
        EXPECT_EQ(recording.takeNotice(),
                  QStringLiteral("The recording %1 has ended: No space left on device.")
                      .arg(QString::fromStdString(path)));
        EXPECT_EQ(recording.takeNotice(), std::nullopt);
    }

    test::SmallDisk disk{3 << 20};
    std::string path = disk.file("run.qornts");
};

TEST_F(NoRoomLeft, IsToldByTheCompanion) {
    const auto recording = start();
    EXPECT_EQ(recordUntilFull(*recording, kStart), kFull);
    const RecordingCompanion companion = of(path);
    EXPECT_EQ(companion.end, PartEnd::Error);
    EXPECT_EQ(companion.error, kFull);
    EXPECT_EQ(companion.head_bytes + 8 * companion.records, std::filesystem::file_size(path));
    EXPECT_EQ(companion.records, recording->written());
    EXPECT_GT(companion.records, 200'000U);
    expectOnlyTheReasonIsTold(*recording);
    EXPECT_FALSE(std::filesystem::exists(path + ".json.part")) << "the room is given back";
}

TEST_F(NoRoomLeft, WhenSomebodyElseTookItIsToldToo) {
    const auto recording = start();
    ASSERT_NO_FATAL_FAILURE(recordAndFill(*recording));
    EXPECT_EQ(recordUntilFull(*recording, kStart), kFull);
    EXPECT_EQ(of(path).end, PartEnd::Error);
    EXPECT_EQ(of(path).error, kFull);
    expectOnlyTheReasonIsTold(*recording);
}

TEST_F(NoRoomLeft, AtARotationIsToldByThePartBefore) {
    const auto recording = start(10);
    ASSERT_NO_FATAL_FAILURE(recordAndFill(*recording));
    const std::string second = disk.file("run_part002.qornts");
    recordUntilFull(*recording, kStart + 10s);
    // The next part came as far as it could: where it has a companion, that tells.
    const bool begun = std::filesystem::exists(second + ".json");
    const RecordingCompanion last = of(begun ? second : path);
    EXPECT_EQ(last.end, PartEnd::Error);
    EXPECT_EQ(last.error, kFull);
    EXPECT_TRUE(!begun || of(path).end == PartEnd::Rotation);
}

} // namespace
} // namespace qorn::timetagger::gui
