// Recordings that go on while they are verified or recovered.
#include "Recover.h"
#include "Verify.h"

#include "FileDescriptor.h"
#include "RecordingCompanionFile.h"
#include "RecordingTally.h"
#include "StreamFiles.h"
#include "TagWords.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>

namespace qorn::qornts {
namespace {

using testing::Bytes;

class LiveRecording : public ::testing::Test {
protected:
    LiveRecording() { testing::writeRecording(path, {}); }

    timing::FileDescriptor openToAppend() const {
        return timing::FileDescriptor(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    }
    static Bytes wordAt(std::int64_t time) {
        Bytes word;
        timing::appendDecodedQorntsTag(word, 1, time);
        return word;
    }
    // As a reader may see a write that goes on.
    static void appendInPieces(const timing::FileDescriptor& file, const Bytes& word) {
        EXPECT_EQ(file.write(std::span(word).first(3)), 3U);
        std::this_thread::yield();
        EXPECT_EQ(file.write(std::span(word).subspan(3)), 5U);
    }

    static constexpr int kRounds = 2000;
    testing::TemporaryFolder folder;
    std::filesystem::path path = folder.file("run.qornts");
};

TEST_F(LiveRecording, HasNoFaultButThatItGoesOn) {
    const timing::FileDescriptor file = openToAppend();
    ASSERT_EQ(::flock(file.get(), LOCK_EX), 0);
    timing::RecordingTally tally(testing::readBytes(path));
    tally.expect(timing::RecordTime{0, 0});
    ASSERT_EQ(timing::write_companion(path, tally.companion(timing::PartEnd::Open)), std::nullopt);
    std::atomic<bool> ended = false;
    std::atomic<int> looks = 0;
    std::thread recorder([&] {
        const std::filesystem::path next = folder.file("next");
        for (std::int64_t number = 0; number < kRounds / 4 || looks == 0; ++number) {
            const Bytes word = wordAt(number);
            tally.add(word);
            const std::string text = timing::companion_to_json(tally.companion(timing::PartEnd::Open));
            testing::writeBytes(next, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
            if (number % 2 == 0) {
                appendInPieces(file, word);
            } else {
                EXPECT_EQ(file.write(word), word.size());
            }
            std::filesystem::rename(next, timing::companion_path(path));
        }
        ended = true;
    });
    std::vector<std::string> seen;
    for (; !ended && seen.size() < 5; ++looks) {
        const std::vector<std::string> faults = verificationOf(path).faults;
        if (faults != std::vector<std::string>{"it is being recorded still"}) {
            seen.insert(seen.end(), faults.begin(), faults.end());
        }
    }
    recorder.join();
    EXPECT_EQ(seen, std::vector<std::string>{});
}

TEST_F(LiveRecording, IsNeverCutByARecovery) {
    const std::uintmax_t head = std::filesystem::file_size(path);
    std::atomic<bool> ended = false;
    std::thread recorder([&] {
        const timing::FileDescriptor file = openToAppend();
        for (int round = 0; round < kRounds; ++round) {
            EXPECT_EQ(::flock(file.get(), LOCK_EX), 0);
            appendInPieces(file, wordAt(round));
            EXPECT_EQ(::flock(file.get(), LOCK_UN), 0);
            std::this_thread::yield();
        }
        ended = true;
    });
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    int recovered = 0;
    while (!ended || recovered == 0) {
        try {
            recovered += recoverRecording(path) ? 1 : 0;
        } catch (const std::runtime_error& error) {
            EXPECT_TRUE(std::string(error.what()).ends_with("just now")) << error.what();
        }
        std::filesystem::remove(timing::companion_path(path));
    }
    ::testing::internal::GetCapturedStdout();
    ::testing::internal::GetCapturedStderr();
    recorder.join();
    EXPECT_EQ(std::filesystem::file_size(path), head + 8 * kRounds);
    EXPECT_FALSE(std::filesystem::exists(path.string() + ".cut"));
}

TEST_F(LiveRecording, ThatCannotBeToldIsNotRecovered) {
    const timing::FileDescriptor noLocks(::open(path.c_str(), O_PATH | O_CLOEXEC));
    try {
        lockForRecovery(noLocks.get(), path);
        ADD_FAILURE() << "it went on";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("cannot be told here (Bad file descriptor)"),
                  std::string::npos)
            << error.what();
    }
}

} // namespace
} // namespace qorn::qornts
