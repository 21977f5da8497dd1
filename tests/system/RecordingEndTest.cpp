// A recording whose program is killed: what was written is there, and whole.
#include "ChildProcess.h"
#include "ComparedDecoder.h"
#include "Error.h"
#include "ScriptedDriver.h"
#include "StreamFileReader.h"
#include "StreamFiles.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

namespace qorn::testing {
namespace {

using Tags = std::vector<timing::TimeTag>;

class KilledRecording : public ::testing::Test {
protected:
    std::vector<std::string> parts() const {
        std::vector<std::string> all;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            if (entry.path().extension() == ".qornts") { // others are their companions
                all.push_back(entry.path().string());
            }
        }
        std::sort(all.begin(), all.end()); // "run.qornts" goes before "run_part002.qornts"
        return all;
    }

    // Bytes of tags in the file; 0 before its header is whole.
    static std::size_t payloadSize(const std::string& path) {
        const Bytes bytes = readBytes(path);
        const std::size_t head = bytes.size() < 12 ? 12 : 12 + (bytes[8] | std::size_t{bytes[9]} << 8);
        return bytes.size() < head ? 0 : bytes.size() - head;
    }

    bool waitForPayload(std::size_t least) const {
        const auto limit = std::chrono::steady_clock::now() + kEventLimit;
        while (std::chrono::steady_clock::now() < limit) {
            if (std::filesystem::exists(path) && payloadSize(path) >= least) {
                return true;
            }
            std::this_thread::yield();
        }
        return false;
    }

    // The parts' tags are the first that were recorded; gives their number. Only the last part may be cut,
    // and only when the program was killed in the middle of a write.
    std::size_t expectFirstTags(bool mayBeCut) const {
        timing::StreamFileReader reader;
        std::int64_t number = 0;
        const std::vector<std::string> all = parts();
        for (const std::string& part : all) {
            const bool last = part == all.back();
            try {
                reader.open(part);
                for (auto tags = reader.read(); !tags.empty(); tags = reader.read()) {
                    for (const timing::TimeTag& tag : tags) {
                        const timing::TimeTag expected{static_cast<std::uint8_t>(number % 4),
                                                       number * 10'000'000};
                        if (tag != expected) {
                            ADD_FAILURE() << part << ": tag " << number << " is " << tag.timestamp_ps;
                            return 0;
                        }
                        ++number;
                    }
                }
            } catch (const timing::Error& error) {
                EXPECT_TRUE(last && mayBeCut) << error.what();
            }
            if (!last) {
                EXPECT_EQ(number % static_cast<std::int64_t>(100 * kTagsPerPass), 0) << part;
            }
        }
        EXPECT_EQ(reader.doubtful_gaps(), 0U);
        EXPECT_EQ(reader.skipped_bytes(), 0U);
        return static_cast<std::size_t>(number);
    }

    static constexpr std::size_t kTagsPerPass = 5000;
    TemporaryFolder folder;
    std::string path = folder.file("run.qornts");
};

TEST_F(KilledRecording, HoldsTheFirstTagsAtWhateverMomentItWas) {
    std::size_t most = 0;
    // Told when a pass is handed over: the writer is up to its whole queue behind, and a megabyte in its
    // buffer.
    for (const int passes : {10, 50, 100, 150, 260, 330, 410, 750}) {
        std::filesystem::remove_all(folder.path());
        std::filesystem::create_directory(folder.path());
        ChildProcess child(QORN_RECORDING_CHILD, {path, std::to_string(kTagsPerPass), "0"});
        ASSERT_TRUE(child.waitForOutput("pass " + std::to_string(passes) + '\n')) << child.errors();
        child.send(SIGKILL);
        EXPECT_EQ(child.wait().signal, SIGKILL);
        most = std::max(most, expectFirstTags(true));
    }
    EXPECT_GT(most, 100 * kTagsPerPass) << "no run got as far as the second part";
}

TEST_F(KilledRecording, HoldsAllTagsOnceTheWriterIsIdle) {
    ChildProcess::Options options;
    options.inputOpen = true;
    ChildProcess child(QORN_RECORDING_CHILD, {path, std::to_string(kTagsPerPass), "99"}, options);
    ASSERT_TRUE(child.waitForOutput("idle\n")) << child.errors();
    EXPECT_TRUE(waitForPayload(99 * kTagsPerPass * 8));
    child.send(SIGKILL);
    EXPECT_EQ(child.wait().signal, SIGKILL);
    EXPECT_EQ(expectFirstTags(false), 99 * kTagsPerPass);
}

// At low rates the writer's buffer takes minutes to fill: what came reaches the file before that.
TEST_F(KilledRecording, HoldsTheFewTagsThatCameAWhileAgo) {
    ChildProcess::Options options;
    options.inputOpen = true;
    ChildProcess child(QORN_RECORDING_CHILD, {path, "10", "1"}, options);
    ASSERT_TRUE(child.waitForOutput("idle\n")) << child.errors();
    EXPECT_TRUE(waitForPayload(10 * 8));
    child.send(SIGKILL);
    EXPECT_EQ(child.wait().signal, SIGKILL);
    EXPECT_EQ(expectFirstTags(false), 10U);
}

TEST_F(KilledRecording, ThatEndsInPeaceIsComplete) {
    ChildProcess::Options options;
    options.inputOpen = true;
    ChildProcess child(QORN_RECORDING_CHILD, {path, std::to_string(kTagsPerPass), "230"}, options);
    ASSERT_TRUE(child.waitForOutput("idle\n")) << child.errors();
    child.closeInput();
    EXPECT_EQ(child.wait().code, 0) << child.errors();
    EXPECT_EQ(parts().size(), 3U);
    EXPECT_EQ(expectFirstTags(false), 230 * kTagsPerPass);
}

} // namespace
} // namespace qorn::testing
