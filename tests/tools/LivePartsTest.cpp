// Parts of a recording that begin and end while they are verified.
#include "AsyncDecodedQorntsWriter.h"
#include "Recover.h"
#include "ScriptedDriver.h"
#include "TagWords.h"
#include "TemporaryFolder.h"
#include "Verify.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>

namespace qorn::qornts {
namespace {

namespace fs = std::filesystem;
using timetagger::gui::AsyncDecodedQorntsWriter;
using Entry = AsyncDecodedQorntsWriter::Entry;

constexpr int kParts = 150;

timing::StreamFileHeader header() {
    timing::StreamFileHeader words;
    words.format = timing::StreamFormat::Raw64;
    words.raw64_tag_format = "ps";
    return words;
}

Entry someTags(int part) {
    Entry entry;
    for (int tag = 0; tag < 20; ++tag) {
        timing::appendDecodedQorntsTag(entry.payload, 1, 1000 * part + tag);
    }
    return entry;
}

class LiveParts : public ::testing::Test {
protected:
    fs::path part(int number) const { return folder.file("run" + std::to_string(number) + ".qornts"); }

    // Writes all parts, and does `look` with the latest two again and again meanwhile.
    template <typename Look>
    void recordWhile(Look look) {
        std::atomic<int> latest = 0;
        std::jthread looker([&](const std::stop_token& ended) {
            while (!ended.stop_requested()) {
                const int now = latest;
                for (int number = std::max(now - 1, 0); number <= now + 1; ++number) {
                    if (fs::exists(part(number))) {
                        look(part(number));
                    }
                }
            }
        });
        {
            AsyncDecodedQorntsWriter writer(QString::fromStdString(part(0).string()), header());
            for (; latest < kParts; ++latest) {
                writer.enqueue(someTags(latest));
                Entry entry;
                entry.kind = Entry::Kind::Rotate;
                entry.path = QString::fromStdString(part(latest + 1).string());
                entry.header = header();
                writer.enqueue(std::move(entry));
                const auto limit = std::chrono::steady_clock::now() + testing::kEventLimit;
                while (!fs::exists(part(latest + 1))) { // so that those who look keep up
                    ASSERT_LT(std::chrono::steady_clock::now(), limit);
                    std::this_thread::yield();
                }
            }
            writer.close();
        }
        looker.request_stop();
        looker.join();
        for (int number = 0; number <= kParts; ++number) {
            EXPECT_EQ(verificationOf(part(number)).faults, std::vector<std::string>{}) << number;
            EXPECT_EQ(timing::read_companion(part(number))->end,
                      number == kParts ? timing::PartEnd::Operator : timing::PartEnd::Rotation);
        }
    }

    testing::TemporaryFolder folder;
};

TEST_F(LiveParts, HaveNoFaultAtTheirBeginNorAtTheirEnd) {
    std::set<std::string> seen;
    recordWhile([&](const fs::path& file) {
        try {
            const auto faults = verificationOf(file).faults;
            seen.insert(faults.begin(), faults.end());
        } catch (const std::exception& error) {
            seen.insert(error.what());
        }
    });
    seen.erase("it is being recorded still");
    EXPECT_EQ(seen, std::set<std::string>{});
}

// The moment between the file and its lock and head, held on.
TEST_F(LiveParts, AreWaitedForWhenTheyHaveNoHeadYet) {
    {
        AsyncDecodedQorntsWriter writer(QString::fromStdString(part(0).string()), header());
        writer.enqueue(someTags(0));
        writer.close();
    }
    const auto companionOf = [](const fs::path& file) { return fs::path(file.string() + ".json"); };
    std::ofstream(part(1)).close();
    ASSERT_TRUE(fs::exists(part(1)));
    const std::jthread recorder([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        fs::copy_file(companionOf(part(0)), companionOf(part(1)));
        fs::copy_file(part(0), part(2)); // whole at once, as a head is that is one write
        fs::rename(part(2), part(1));
    });
    EXPECT_EQ(verificationOf(part(1)).faults, std::vector<std::string>{});
}

TEST_F(LiveParts, AreNotWaitedForWhenTheyAreOld) {
    std::ofstream(part(0)).close();
    fs::last_write_time(part(0), fs::file_time_type::clock::now() - std::chrono::hours(1));
    const std::jthread recorder([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        const AsyncDecodedQorntsWriter writer(QString::fromStdString(part(1).string()), header());
        fs::rename(part(1), part(0));
    });
    EXPECT_THROW(static_cast<void>(verificationOf(part(0))), std::exception);
}

TEST_F(LiveParts, AreNotTouchedByARecovery) {
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    recordWhile([](const fs::path& file) {
        try {
            recoverRecording(file);
        } catch (const std::exception&) { // it is being recorded, or has hardly begun
        }
    });
    ::testing::internal::GetCapturedStdout();
    ::testing::internal::GetCapturedStderr();
}

} // namespace
} // namespace qorn::qornts
