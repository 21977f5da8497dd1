// What the files of a recording ask of the system, call by call: things that a look at the finished files
// does not tell. This program stands in the way of the calls and passes them on.
#include "RecordingCompanionFile.h"
#include "StreamFileWriter.h"
#include "StreamHeaders.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

struct Call {
    std::string name;
    std::uint64_t bytes = 0;
};

std::vector<Call>* noted = nullptr; // while somebody listens

void note(const char* name, std::uint64_t bytes = 0) {
    if (noted != nullptr) {
        noted->push_back({name, bytes});
    }
}

} // namespace

extern "C" {

ssize_t write(int file, const void* data, std::size_t size) {
    note("write", size);
    return ::syscall(SYS_write, file, data, size);
}

int ftruncate(int file, off_t size) noexcept {
    note("ftruncate", static_cast<std::uint64_t>(size));
    return static_cast<int>(::syscall(SYS_ftruncate, file, size));
}

int fdatasync(int file) {
    note("fdatasync");
    return static_cast<int>(::syscall(SYS_fdatasync, file));
}

int rename(const char* from, const char* to) noexcept {
    note("rename");
    return static_cast<int>(::syscall(SYS_rename, from, to));
}
}

namespace qorn::timing {
namespace {

constexpr std::uint64_t kPageBytes = 4096;
constexpr std::uint64_t kRecordBytes = 8;

class FileCalls : public ::testing::Test {
protected:
    template <typename Work>
    std::vector<Call> during(Work work) {
        std::vector<Call> calls;
        noted = &calls;
        work();
        noted = nullptr;
        return calls;
    }
    static std::ptrdiff_t count(const std::vector<Call>& calls, const std::string& name) {
        return std::count_if(calls.begin(), calls.end(), [&](const Call& call) { return call.name == name; });
    }

    testing::TemporaryFolder folder;
    std::string path = folder.file("run.qornts");
    StreamFileHeader header = testing::raw64Header("ps");
};

// A kill ends a write at the end of a page.
TEST_F(FileCalls, NoWriteOfSeveralRecordsGoesBeyondAPage) {
    for (std::size_t more = 0; more < kRecordBytes; ++more) { // heads of all sizes that matter
        header.application = std::string(1 + more, 'x');
        StreamFileWriter writer;
        writer.open(path, header);
        writer.flush();
        const std::uint64_t head = std::filesystem::file_size(path);
        const std::vector<std::uint8_t> large(30 * kPageBytes, 1);
        const std::vector<std::uint8_t> small(3 * kRecordBytes, 2);
        const std::vector<Call> calls = during([&] {
            for (int round = 0; round < 3; ++round) {
                writer.append(small, small.size() / kRecordBytes);
                writer.append(large, large.size() / kRecordBytes);
            }
            writer.close();
        });
        std::uint64_t at = head;
        for (const Call& call : calls) {
            ASSERT_EQ(call.name, "write");
            ASSERT_EQ(call.bytes % kRecordBytes, 0U) << "at " << at;
            ASSERT_TRUE(call.bytes == kRecordBytes || at / kPageBytes == (at + call.bytes - 1) / kPageBytes)
                << call.bytes << " bytes at " << at << " behind a head of " << head;
            at += call.bytes;
        }
        EXPECT_EQ(at - head, 3 * (small.size() + large.size()));
    }
}

// Else ext4 writes the whole file out while it is closed.
TEST_F(FileCalls, ANewFileIsNotTruncated) {
    StreamFileWriter writer;
    const auto record = [&] {
        writer.open(path, header);
        writer.close();
    };
    EXPECT_EQ(count(during(record), "ftruncate"), 0);
    EXPECT_EQ(count(during(record), "ftruncate"), 1) << "an earlier file is";
}

// Else a power cut could leave an empty companion in the place of the last one.
TEST_F(FileCalls, ACompanionIsOnTheDiskBeforeItTakesItsPlace) {
    const std::vector<Call> calls = during([&] {
        EXPECT_EQ(write_companion(path, RecordingCompanion(), CompanionRoom::GiveBack), std::nullopt);
    });
    std::vector<std::string> names(calls.size());
    std::transform(calls.begin(), calls.end(), names.begin(), [](const Call& call) { return call.name; });
    EXPECT_EQ(names, (std::vector<std::string>{"write", "ftruncate", "fdatasync", "rename"}));
}

} // namespace
} // namespace qorn::timing
