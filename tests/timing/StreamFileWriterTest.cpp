#include "StreamFileWriter.h"

#include "Error.h"
#include "FileDescriptor.h"
#include "StreamBuilder.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>

namespace qorn::timing {
namespace {

using testing::appendBytes;
using testing::appendLittle32;
using testing::Bytes;
using testing::readBytes;
using testing::TemporaryFolder;
using testing::writeBytes;

StreamFileHeader sampleHeader(const std::string& application = "app") {
    StreamFileHeader header;
    header.mode = StreamMode::External;
    header.raw64_tag_format = "ps";
    header.created_utc = "2024-05-06T07:08:09.123Z";
    header.application = application;
    return header;
}

Bytes headBytes(const StreamFileHeader& header) {
    const std::string json = detail::stream_header_to_json(header);
    Bytes bytes{0x51, 0x4F, 0x52, 0x4E, 0x54, 0x53, 0x31, 0x0A};
    appendLittle32(bytes, static_cast<std::uint32_t>(json.size()));
    bytes.insert(bytes.end(), json.begin(), json.end());
    return bytes;
}

Bytes withHead(const StreamFileHeader& header, const Bytes& payload) {
    Bytes bytes = headBytes(header);
    appendBytes(bytes, payload);
    return bytes;
}

template <typename Work>
std::optional<Error> errorOf(Work&& work) {
    try {
        work();
    } catch (const Error& error) {
        return error;
    }
    return std::nullopt;
}

void expectError(const std::optional<Error>& error, tt_status status, const std::string& message) {
    ASSERT_TRUE(error.has_value()) << "expected: " << message;
    EXPECT_EQ(error->status(), status);
    EXPECT_EQ(std::string(error->what()), message);
}

class StreamFile : public ::testing::Test {
protected:
    TemporaryFolder folder;
    std::string path = folder.file("a.qornts");
    StreamFileWriter writer;
};

TEST(StreamFileMagic, EndsInALineFeed) {
    EXPECT_EQ(kStreamFileMagic, "QORNTS1\n");
    EXPECT_EQ(kStreamFileMagic.size(), 8U);
}

TEST_F(StreamFile, OpeningWritesMagicLengthAndHeader) {
    writer.open(path, sampleHeader());
    EXPECT_TRUE(writer.is_open());
    EXPECT_EQ(writer.records_written(), 0U);
    EXPECT_EQ(writer.bytes_written(), headBytes(sampleHeader()).size());
    writer.close();
    EXPECT_FALSE(writer.is_open());
    EXPECT_EQ(readBytes(path), headBytes(sampleHeader()));
}

TEST_F(StreamFile, RecordsFollowAndAreCounted) {
    writer.open(path, sampleHeader());
    writer.append(Bytes(16, 1), 2);
    writer.append(Bytes(8, 2), 1);
    EXPECT_EQ(writer.records_written(), 3U);
    EXPECT_EQ(writer.bytes_written(), headBytes(sampleHeader()).size() + 24);
    writer.close();
    Bytes payload(16, 1);
    appendBytes(payload, Bytes(8, 2));
    EXPECT_EQ(readBytes(path), withHead(sampleHeader(), payload));
}

TEST_F(StreamFile, OpeningTruncatesAnEarlierFile) {
    writeBytes(path, Bytes(3'000'000, 9));
    writer.open(path, sampleHeader());
    writer.close();
    EXPECT_EQ(readBytes(path), headBytes(sampleHeader()));
}

TEST_F(StreamFile, ADeviceTakesAnyNumberOfWriters) {
    StreamFileWriter other;
    other.open("/dev/null", sampleHeader("first"));
    EXPECT_NO_THROW(writer.open("/dev/null", sampleHeader("second")));
}

TEST_F(StreamFile, AFileThatAnotherWriterHasIsLeftAlone) {
    writer.open(path, sampleHeader("first"));
    writer.append(Bytes(8, 1), 1);
    writer.flush();
    StreamFileWriter other;
    expectError(errorOf([&] { other.open(path, sampleHeader("second")); }), -2,
                "StreamFileWriter: is being written by another program: " + path);
    EXPECT_FALSE(other.is_open());
    EXPECT_EQ(readBytes(path), withHead(sampleHeader("first"), Bytes(8, 1)));
    writer.close();
    other.open(path, sampleHeader("second"));
    other.close();
    EXPECT_EQ(readBytes(path), headBytes(sampleHeader("second")));
}

TEST_F(StreamFile, OpeningWaitsForAToolThatLooksAtTheLock) {
    writeBytes(path, {});
    FileDescriptor tool(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(tool.get(), LOCK_SH | LOCK_NB), 0);
    std::thread leaving([&tool] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5)); // well within what it waits
        tool.close();
    });
    EXPECT_NO_THROW(writer.open(path, sampleHeader()));
    leaving.join();
}

TEST_F(StreamFile, AFileThatIsThereIsRefusedWhenItIsToBeNew) {
    constexpr auto kNew = StreamFileWriter::Existing::Refuse;
    for (const Bytes& content : {Bytes{}, Bytes(1000, 9)}) {
        writeBytes(path, content);
        expectError(errorOf([&] { writer.open(path, sampleHeader(), kNew); }), -2,
                    "StreamFileWriter: there is such a file already: " + path);
        EXPECT_EQ(readBytes(path), content);
    }
    const std::string fresh = folder.file("b.qornts");
    writer.open(fresh, sampleHeader(), kNew);
    writer.close();
    EXPECT_EQ(readBytes(fresh), headBytes(sampleHeader()));
    EXPECT_NO_THROW(writer.open("/dev/null", sampleHeader(), kNew)) << "is none of a file system";
}

TEST_F(StreamFile, KnowsWhetherItIsInItsPlace) {
    EXPECT_TRUE(writer.is_in_place()) << "nothing is open";
    writer.open(path, sampleHeader());
    EXPECT_TRUE(writer.is_in_place());
    std::filesystem::rename(path, path + ".moved");
    EXPECT_FALSE(writer.is_in_place());
    writeBytes(path, {});
    EXPECT_FALSE(writer.is_in_place()) << "another file has its name";
    std::filesystem::rename(path + ".moved", path);
    EXPECT_TRUE(writer.is_in_place());
    std::filesystem::remove(path);
    EXPECT_FALSE(writer.is_in_place());
    writer.open(path, sampleHeader());
    std::filesystem::remove_all(folder.path());
    EXPECT_FALSE(writer.is_in_place());
}

TEST_F(StreamFile, OpeningAnOpenWriterClosesTheEarlierFileFirst) {
    const std::string second = folder.file("b.qornts");
    writer.open(path, sampleHeader("first"));
    writer.append(Bytes(8, 1), 1);
    writer.open(second, sampleHeader("second one"));
    EXPECT_EQ(readBytes(path), withHead(sampleHeader("first"), Bytes(8, 1)));
    EXPECT_EQ(writer.records_written(), 0U);
    EXPECT_EQ(writer.bytes_written(), headBytes(sampleHeader("second one")).size());
    writer.append(Bytes(8, 2), 1);
    writer.close();
    EXPECT_EQ(readBytes(second), withHead(sampleHeader("second one"), Bytes(8, 2)));
}

TEST_F(StreamFile, TheDestructorClosesTheFile) {
    {
        StreamFileWriter scoped;
        scoped.open(path, sampleHeader());
        scoped.append(Bytes(8, 3), 1);
    }
    EXPECT_EQ(readBytes(path), withHead(sampleHeader(), Bytes(8, 3)));
}

TEST_F(StreamFile, MoreThanItsBufferGoesThrough) {
    Bytes payload(5'000'000);
    for (std::size_t index = 0; index < payload.size(); ++index) {
        payload[index] = static_cast<std::uint8_t>(index * 31 + index / 977);
    }
    writer.open(path, sampleHeader());
    for (std::size_t at = 0; at < payload.size(); at += 50'000) {
        writer.append(std::span(payload).subspan(at, 50'000), 6250);
    }
    writer.close();
    EXPECT_TRUE(readBytes(path) == withHead(sampleHeader(), payload));
}

TEST_F(StreamFile, AFileThatCannotBeOpenedIsNamed) {
    const std::string missing = folder.file("no folder/a.qornts");
    expectError(errorOf([&] { writer.open(missing, sampleHeader()); }), -2,
                "StreamFileWriter: cannot open " + missing);
    EXPECT_FALSE(writer.is_open());
    // The writer stays usable.
    writer.open(path, sampleHeader());
    writer.append(Bytes(8, 1), 1);
    writer.close();
    EXPECT_EQ(readBytes(path), withHead(sampleHeader(), Bytes(8, 1)));
}

TEST_F(StreamFile, AHeaderThatDoesNotFitTheDiskIsAFailedHeader) {
    expectError(errorOf([&] { writer.open("/dev/full", sampleHeader(std::string(2'000'000, 'x'))); }), -2,
                "StreamFileWriter: failed to write header");
}

TEST_F(StreamFile, AFullDiskFailsAtTheLatestAtClose) {
    const auto error = errorOf([&] {
        writer.open("/dev/full", sampleHeader());
        writer.append(Bytes(4096, 1), 512);
        writer.close();
    });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->status(), -2);
}

TEST_F(StreamFile, AFullDiskFailsTheWriteThatOverflowsTheBuffer) {
    writer.open("/dev/full", sampleHeader());
    const Bytes block(4'000'000, 1);
    expectError(errorOf([&] { writer.append(block, 500'000); }), -2,
                "StreamFileWriter: payload write failed");
    expectError(errorOf([&] { writer.append(block, 500'000); }), -6, "StreamFileWriter: not open");
    EXPECT_EQ(writer.failure_reason(), "No space left on device");
    EXPECT_EQ(writer.path(), "/dev/full");
    writer.open(path, sampleHeader());
    EXPECT_EQ(writer.failure_reason(), "");
}

TEST_F(StreamFile, StaysLockedAsLongAsItIsHeld) {
    writer.open(path, sampleHeader());
    const FileDescriptor other(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    {
        const FileDescriptor held = writer.hold_lock();
        writer.close();
        EXPECT_NE(::flock(other.get(), LOCK_SH | LOCK_NB), 0);
    }
    EXPECT_EQ(::flock(other.get(), LOCK_SH | LOCK_NB), 0);
    EXPECT_FALSE(writer.hold_lock().is_open()) << "there is none";
}

TEST_F(StreamFile, AppendingWithoutAFileIsRefused) {
    expectError(errorOf([&] { writer.append(Bytes(8, 1), 1); }), -6, "StreamFileWriter: not open");
    writer.open(path, sampleHeader());
    writer.close();
    expectError(errorOf([&] { writer.append(Bytes(8, 1), 1); }), -6, "StreamFileWriter: not open");
}

TEST_F(StreamFile, ANullPayloadWithASizeIsRefused) {
    writer.open(path, sampleHeader());
    expectError(errorOf([&] {
                    writer.append(std::span<const std::uint8_t>(static_cast<const std::uint8_t*>(nullptr), 8),
                                  1);
                }),
                -1, "StreamFileWriter: null data");
    EXPECT_NO_THROW(writer.append({}, 0));
    EXPECT_EQ(writer.records_written(), 0U);
}

TEST_F(StreamFile, ClosingTwiceIsHarmless) {
    EXPECT_NO_THROW(writer.close());
    writer.open(path, sampleHeader());
    writer.close();
    EXPECT_NO_THROW(writer.close());
}

TEST_F(StreamFile, APathBeyondAsciiWorks) {
    const std::string named = folder.file("Messung äöü.qornts");
    writer.open(named, sampleHeader());
    writer.close();
    EXPECT_EQ(readBytes(named), headBytes(sampleHeader()));
}

TEST_F(StreamFile, HeaderDefaultsAreFilledInTheFile) {
    StreamFileHeader header = sampleHeader("");
    header.raw64_tag_format.clear();
    writer.open(path, header);
    writer.close();
    EXPECT_EQ(readBytes(path), headBytes(sampleHeader("")));
}

} // namespace
} // namespace qorn::timing
