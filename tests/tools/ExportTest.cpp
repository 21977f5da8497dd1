#include "Export.h"

#include "StreamFiles.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

namespace qorn::qornts {
namespace {

using testing::Bytes;
using testing::readBytes;
using testing::TemporaryFolder;
using Tags = std::vector<timing::TimeTag>;

const Tags kTags{{0, 0}, {3, 9}, {1, 1234567890123}, {2, 7000000000000}};

class Exports : public ::testing::Test {
protected:
    Exports() { testing::writeRecording(run, kTags); }

    void exportTo(const std::string& output, ExportFormat format, bool force = false) const {
        Command command;
        command.action = Action::Export;
        command.files = {run};
        command.format = format;
        command.output = output;
        command.force = force;
        exportRecording(command);
    }
    std::string failureOf(const std::string& output, bool force = false) const {
        try {
            exportTo(output, ExportFormat::Csv, force);
        } catch (const std::exception& error) {
            return error.what();
        }
        return "";
    }
    std::size_t fileCount() const {
        const std::filesystem::directory_iterator files(folder.path());
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }
    static std::string textOf(const std::string& path) {
        const Bytes bytes = readBytes(path);
        return {bytes.begin(), bytes.end()};
    }

    TemporaryFolder folder;
    std::string run = folder.file("run.qornts");
    std::string out = folder.file("out");
};

constexpr const char* kRows = "channel,time_ps\n1,0\n4,9\n2,1234567890123\n3,7000000000000\n";

TEST_F(Exports, TextHasARowForEachTag) {
    exportTo(out, ExportFormat::Csv);
    EXPECT_EQ(textOf(out), kRows);
    EXPECT_EQ(fileCount(), 2U);
}

TEST_F(Exports, NegativeTimesAreWritten) {
    testing::writeRecording(run, Tags{{0, 5}, {1, -7}}); // just before the first
    exportTo(out, ExportFormat::Csv);
    EXPECT_EQ(textOf(out), "channel,time_ps\n1,5\n2,-7\n");
}

TEST_F(Exports, AnArrayHasAFrontOfFixedSizeAndPackedRecords) {
    exportTo(out, ExportFormat::Npy);
    const Bytes bytes = readBytes(out);
    ASSERT_EQ(bytes.size(), 128 + 9 * kTags.size());
    const std::string front(bytes.begin(), bytes.begin() + 128);
    EXPECT_EQ(front.substr(0, 10), std::string("\x93NUMPY\x01\x00\x76\x00", 10));
    EXPECT_TRUE(front.substr(10).starts_with(
        "{'descr': [('channel', 'u1'), ('time_ps', '<i8')], 'fortran_order': False, 'shape': (4,), } "))
        << front;
    EXPECT_EQ(front.back(), '\n');
    for (std::size_t index = 0; index < kTags.size(); ++index) {
        const std::uint8_t* const record = bytes.data() + 128 + 9 * index;
        std::int64_t time = 0;
        std::memcpy(&time, record + 1, sizeof time);
        EXPECT_EQ(record[0], kTags[index].channel + 1);
        EXPECT_EQ(time, kTags[index].timestamp_ps);
    }
}

TEST_F(Exports, ARecordingWithoutTagsGivesAnEmptyTable) {
    testing::writeRecording(run, {});
    exportTo(out, ExportFormat::Csv);
    EXPECT_EQ(textOf(out), "channel,time_ps\n");
    exportTo(out, ExportFormat::Npy, true);
    EXPECT_NE(textOf(out).find("'shape': (0,)"), std::string::npos);
    EXPECT_EQ(readBytes(out).size(), 128U);
}

TEST_F(Exports, WhatIsThereAlreadyIsReplacedOnlyOnDemand) {
    testing::writeBytes(out, Bytes{1, 2, 3});
    EXPECT_EQ(failureOf(out), out + ": there is such a file already; --force replaces it");
    EXPECT_EQ(readBytes(out), (Bytes{1, 2, 3}));
    EXPECT_EQ(fileCount(), 2U);
    EXPECT_EQ(failureOf(out, true), "");
    EXPECT_EQ(textOf(out), kRows);
    EXPECT_EQ(fileCount(), 2U);
}

TEST_F(Exports, OnlyFilesAreReplaced) {
    std::filesystem::create_directory(out);
    EXPECT_EQ(failureOf(out, true), out + ": not a regular file");
    const std::string link = folder.file("link");
    std::filesystem::create_symlink(run, link);
    EXPECT_EQ(failureOf(link, true), run + ": the output would replace it");
    EXPECT_TRUE(std::filesystem::is_directory(out));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(fileCount(), 3U);
}

TEST_F(Exports, ARecordingIsNeverItsOwnOutput) {
    const Bytes before = readBytes(run);
    EXPECT_EQ(failureOf(run, true), run + ": the output would replace it");
    const std::string part = out + ".part";
    std::filesystem::rename(run, part);
    run = part;
    EXPECT_EQ(failureOf(out, true), run + ": the output would replace it");
    EXPECT_EQ(readBytes(run), before);
}

TEST_F(Exports, ACompanionIsNeverTheOutput) {
    const std::string companion = run + ".json";
    const std::string link = folder.file("link.json");
    std::filesystem::create_symlink(companion, link);
    for (const bool there : {false, true}) {
        if (there) {
            testing::writeBytes(companion, Bytes{1, 2, 3});
            testing::writeBytes(companion + ".part", Bytes{4});
        }
        EXPECT_EQ(failureOf(companion, true), companion + ": the output would replace it");
        EXPECT_EQ(failureOf(companion + ".part", true), companion + ".part: the output would replace it");
        EXPECT_EQ(failureOf(folder.file("./run.qornts.json"), true),
                  companion + ": the output would replace it");
    }
    EXPECT_EQ(failureOf(link, true), companion + ": the output would replace it");
    EXPECT_EQ(readBytes(companion), (Bytes{1, 2, 3}));
    EXPECT_EQ(readBytes(companion + ".part"), Bytes{4});
}

TEST_F(Exports, AnotherExportsPartIsLeftAlone) {
    testing::writeBytes(out + ".part", Bytes{1, 2, 3});
    EXPECT_EQ(failureOf(out), out + ".part: File exists");
    EXPECT_EQ(readBytes(out + ".part"), (Bytes{1, 2, 3}));
    EXPECT_FALSE(std::filesystem::exists(out));
}

TEST_F(Exports, AFailureLeavesNothingAndDamagesNothing) {
    std::ofstream(run, std::ios::app | std::ios::binary) << "cut";
    EXPECT_EQ(failureOf(out), "StreamFileReader: " + run + ": the last record is cut off");
    EXPECT_EQ(fileCount(), 1U);
    testing::writeBytes(out, Bytes{1, 2, 3});
    EXPECT_NE(failureOf(out, true), "");
    EXPECT_EQ(readBytes(out), (Bytes{1, 2, 3}));
    EXPECT_EQ(fileCount(), 2U);
}

TEST_F(Exports, AFolderThatIsMissingIsNamed) {
    const std::string missing = folder.file("no folder/out");
    EXPECT_EQ(failureOf(missing), missing + ".part: No such file or directory");
}

} // namespace
} // namespace qorn::qornts
