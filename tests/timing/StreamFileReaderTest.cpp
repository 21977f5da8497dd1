// Which files are opened, what is said of the others, and where reading ends.
#include "StreamFileReader.h"

#include "ComparedDecoder.h"
#include "Error.h"
#include "StreamFileReading.h"
#include "StreamFileWriter.h"
#include "StreamFiles.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>

#include <unistd.h>

namespace qorn::timing {
namespace {

using testing::Bytes;
using testing::HeaderText;
using testing::readOn;
using testing::sameTags;
using testing::streamFileHead;
using testing::TemporaryFolder;
using testing::writeBytes;
using testing::writeRecording;
using testing::writeStreamFile;
using Tags = std::vector<TimeTag>;

template <typename Work>
std::optional<Error> errorOf(Work&& work) {
    try {
        work();
    } catch (const Error& error) {
        return error;
    }
    return std::nullopt;
}

// The reader's own error, naming the path.
void expectError(const std::optional<Error>& error, tt_status status, const std::string& path) {
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->status(), status) << error->what();
    const std::string text = error->what();
    EXPECT_TRUE(text.starts_with("StreamFileReader: ")) << text;
    EXPECT_NE(text.find(path), std::string::npos) << text;
    EXPECT_GT(text.size(), path.size() + 25) << "it says what is wrong: " << text;
    EXPECT_EQ(text.find('\n'), std::string::npos) << text;
}

const Tags kThree{{0, 1000}, {3, 2000}, {1, 2500}};

class ReadFile : public ::testing::Test {
protected:
    TemporaryFolder folder;
    std::string path = folder.file("run.qornts");
    StreamFileReader reader;
};

TEST_F(ReadFile, GivesHeaderSizesAndTags) {
    writeRecording(path, kThree);
    reader.open(path);
    const StreamFileHeader& header = reader.header();
    EXPECT_EQ(header.format, StreamFormat::Raw64);
    EXPECT_EQ(header.mode, StreamMode::External);
    EXPECT_EQ(header.transport, Transport::Usb);
    EXPECT_EQ(header.channel_mask, 15);
    EXPECT_EQ(header.tdl_index, 0);
    EXPECT_EQ(header.delta_bits, 16);
    EXPECT_EQ(header.quantum_ps, 8);
    EXPECT_EQ(header.raw64_tag_format, "ps");
    EXPECT_EQ(header.created_utc, "2024-05-06T07:08:09.123Z");
    EXPECT_EQ(header.application, "Qorn Timing 0.3.0");
    EXPECT_EQ(header.device_product, "Scripted");
    EXPECT_EQ(header.device_serial, "SN0001");
    EXPECT_EQ(header.device_port, "ftdi://SN0001");
    EXPECT_EQ(reader.payload_bytes(), 24U);
    EXPECT_EQ(reader.bytes_read(), 0U);
    EXPECT_EQ(readOn(reader), kThree);
    EXPECT_EQ(reader.bytes_read(), 24U);
    EXPECT_EQ(reader.doubtful_gaps(), 0U);
    EXPECT_EQ(reader.skipped_bytes(), 0U);
}

TEST_F(ReadFile, WithoutTagsIsAtItsEnd) {
    writeRecording(path, {});
    reader.open(path);
    EXPECT_EQ(reader.payload_bytes(), 0U);
    EXPECT_TRUE(reader.read().empty());
    EXPECT_TRUE(reader.read().empty());
}

TEST_F(ReadFile, AtItsEndStaysThere) {
    writeRecording(path, kThree);
    reader.open(path);
    EXPECT_EQ(readOn(reader), kThree);
    for (int more = 0; more < 3; ++more) {
        EXPECT_TRUE(reader.read().empty());
    }
    EXPECT_EQ(reader.bytes_read(), 24U);
}

TEST_F(ReadFile, BeforeAnyIsOpenThereAreNoTags) {
    EXPECT_TRUE(reader.read().empty());
    EXPECT_EQ(reader.payload_bytes(), 0U);
    EXPECT_EQ(reader.bytes_read(), 0U);
}

TEST_F(ReadFile, OfManyBlocksIsReadWhole) {
    Tags sent;
    for (std::int64_t number = 0; number < 1'500'000; ++number) {
        sent.push_back({static_cast<std::uint8_t>(number * 7 % 4), number * 12'345});
    }
    writeRecording(path, sent);
    reader.open(path);
    Tags all;
    std::uint64_t before = 0;
    for (auto tags = reader.read(); !tags.empty(); tags = reader.read()) {
        all.insert(all.end(), tags.begin(), tags.end());
        EXPECT_GT(reader.bytes_read(), before); // a progress bar moves
        before = reader.bytes_read();
    }
    EXPECT_TRUE(sameTags(sent, all));
    EXPECT_EQ(reader.bytes_read(), reader.payload_bytes());
}

TEST_F(ReadFile, OfTheWriterHasTheHeaderThatWasWritten) {
    StreamFileHeader header;
    header.format = StreamFormat::PackedDelta;
    header.mode = StreamMode::Internal;
    header.transport = Transport::UsbAsync;
    header.channel_mask = 5;
    header.tdl_index = 255;
    header.delta_bits = 31;
    header.quantum_ps = 65535;
    header.raw64_tag_format = "raw_cf";
    header.created_utc = "2024-05-06T07:08:09.123456Z";
    header.application = "a \"quoted\" name, with \\, {braces} and [more]";
    header.device_product = "Zähler µ\t€ 😀";
    header.device_serial = "line\nend\r";
    header.device_port = "";
    for (const auto format : {StreamFormat::Raw64, StreamFormat::Delta32, StreamFormat::PackedDelta}) {
        header.format = format;
        StreamFileWriter writer;
        writer.open(path, header);
        writer.close();
        StreamFileReader fresh;
        fresh.open(path);
        const StreamFileHeader& back = fresh.header();
        EXPECT_EQ(back.format, format);
        EXPECT_EQ(back.mode, header.mode);
        EXPECT_EQ(back.transport, header.transport);
        EXPECT_EQ(back.channel_mask, header.channel_mask);
        EXPECT_EQ(back.tdl_index, header.tdl_index);
        EXPECT_EQ(back.delta_bits, header.delta_bits);
        EXPECT_EQ(back.quantum_ps, header.quantum_ps);
        EXPECT_EQ(back.raw64_tag_format, header.raw64_tag_format);
        EXPECT_EQ(back.created_utc, header.created_utc);
        EXPECT_EQ(back.application, header.application);
        EXPECT_EQ(back.device_product, header.device_product);
        EXPECT_EQ(back.device_serial, header.device_serial);
        EXPECT_EQ(back.device_port, header.device_port);
    }
}

TEST_F(ReadFile, ThatIsMissingOrAFolderCannotBeRead) {
    for (const std::string& name :
         {folder.file("no such file"), folder.file("no folder/run.qornts"), folder.path().string()}) {
        expectError(errorOf([&] { reader.open(name); }), -2, name);
    }
}

TEST_F(ReadFile, ThatMayNotBeReadCannotBeRead) {
    writeRecording(path, kThree);
    std::filesystem::permissions(path, std::filesystem::perms::none);
    constexpr uid_t kNobody = 65534; // the superuser may read everything
    const bool superuser = geteuid() == 0;
    ASSERT_TRUE(!superuser || seteuid(kNobody) == 0);
    const auto error = errorOf([&] { reader.open(path); });
    ASSERT_TRUE(!superuser || seteuid(0) == 0);
    expectError(error, -2, path);
}

TEST_F(ReadFile, WithANameBeyondAsciiIsRead) {
    const std::string named = folder.file("Messung äöü 10 %.qornts");
    writeRecording(named, kThree);
    reader.open(named);
    EXPECT_EQ(readOn(reader), kThree);
}

TEST_F(ReadFile, ARefusedOneLeavesTheReaderWhereItWas) {
    Tags sent;
    for (std::int64_t number = 0; number < 700'000; ++number) {
        sent.push_back({static_cast<std::uint8_t>(number % 4), number * 1000});
    }
    writeRecording(path, sent);
    const std::string foreign = folder.file("foreign.txt");
    writeBytes(foreign, Bytes(1000, 'x'));
    reader.open(path);
    const auto first = reader.read();
    Tags all(first.begin(), first.end());
    expectError(errorOf([&] { reader.open(foreign); }), -1, foreign);
    expectError(errorOf([&] { reader.open(folder.file("missing")); }), -2, folder.file("missing"));
    EXPECT_EQ(reader.header().device_serial, "SN0001");
    EXPECT_EQ(reader.payload_bytes(), sent.size() * 8);
    const Tags rest = readOn(reader);
    all.insert(all.end(), rest.begin(), rest.end());
    EXPECT_TRUE(sameTags(sent, all));
}

// --- what is cut off ---------------------------------------------------------------------------------------

TEST_F(ReadFile, ThatIsCutInARecordGivesTheWholeOnesAndSaysSoOnce) {
    for (std::size_t extra = 1; extra < 8; ++extra) {
        writeRecording(path, kThree);
        Bytes bytes = testing::readBytes(path);
        bytes.insert(bytes.end(), extra, 0);
        writeBytes(path, bytes);
        StreamFileReader fresh;
        fresh.open(path);
        EXPECT_EQ(fresh.payload_bytes(), 24 + extra);
        Tags all;
        const auto error = errorOf([&] {
            for (auto tags = fresh.read(); !tags.empty(); tags = fresh.read()) {
                all.insert(all.end(), tags.begin(), tags.end());
            }
        });
        EXPECT_EQ(all, kThree);
        expectError(error, -1, path);
        EXPECT_EQ(std::string(error->what()), "StreamFileReader: " + path + ": the last record is cut off");
        EXPECT_TRUE(fresh.read().empty());
        EXPECT_TRUE(fresh.read().empty());
    }
}

TEST_F(ReadFile, ThatIsCutAtAnyByteOfItsHeadIsRefused) {
    writeRecording(path, kThree);
    const Bytes whole = testing::readBytes(path);
    const std::size_t head = whole.size() - 24;
    const std::string cut = folder.file("cut.qornts");
    for (std::size_t size = 0; size < head; ++size) {
        std::filesystem::remove(cut); // to write over it is slow on some file systems
        writeBytes(cut, std::span(whole).first(size));
        expectError(errorOf([&] { reader.open(cut); }), -1, cut);
    }
    writeBytes(cut, std::span(whole).first(head));
    EXPECT_NO_THROW(reader.open(cut));
}

TEST_F(ReadFile, AfterACutPartTheNextPartIsRead) {
    writeStreamFile(path, HeaderText().json(), testing::bytesFromHex("00 00 00 00 00 00 03 E8 60 00 00"));
    const std::string next = folder.file("next.qornts");
    writeRecording(next, Tags{{3, 2000}});
    reader.open(path);
    Tags all;
    EXPECT_TRUE(errorOf([&] { all = readOn(reader); }).has_value());
    reader.open(next);
    EXPECT_EQ(readOn(reader), (Tags{{3, 2000}})); // the half record is not glued to it
}

TEST_F(ReadFile, WithStrangeBytesBetweenItsWordsIsSearchedForTheNextWord) {
    Bytes words = testing::raw64Stream({testing::raw64Picoseconds(1, 1000)});
    words.push_back(0xFF);
    testing::appendBytes(words, testing::raw64Stream({testing::raw64Picoseconds(2, 2000)}));
    words.insert(words.end(), 3, 0xFF);
    testing::appendBytes(words, testing::raw64Stream({testing::raw64Picoseconds(3, 3000)}));
    writeStreamFile(path, HeaderText().json(), words);
    reader.open(path);
    EXPECT_EQ(readOn(reader), (Tags{{1, 1000}, {2, 2000}, {3, 3000}}));
    EXPECT_EQ(reader.skipped_bytes(), 4U);
}

// --- parts -------------------------------------------------------------------------------------------------

TEST_F(ReadFile, PartsOfOtherStreamsAreRefused) {
    writeRecording(path, kThree);
    const std::string other = folder.file("other.qornts");
    for (const auto& [key, value] : {std::pair<std::string, std::string>{"stream_format", R"("delta32")"},
                                     {"stream_format", R"("packed_delta")"},
                                     {"mode", R"("internal")"},
                                     {"raw64_tag_format", R"("raw_cf")"},
                                     {"packed_delta_config", R"({"delta_bits":17,"quantum_ps":8})"},
                                     {"packed_delta_config", R"({"delta_bits":16,"quantum_ps":16})"},
                                     {"device_serial", R"("SN0002")"},
                                     {"device_serial", R"("")"}}) {
        writeStreamFile(other, HeaderText().set(key, value).json(), Bytes(8));
        StreamFileReader parts;
        parts.open(path);
        expectError(errorOf([&] { parts.open(other); }), -1, other);
        EXPECT_EQ(readOn(parts), kThree) << key; // as before
    }
}

TEST_F(ReadFile, PartsMayDifferInWhatSaysNothingOfTheStream) {
    writeRecording(path, kThree);
    const std::string other = folder.file("other.qornts");
    writeRecording(other, Tags{{0, 3000}}, HeaderText().setText("created_utc", "2024-05-06T08:08:09.123Z"));
    reader.open(path);
    EXPECT_EQ(readOn(reader), kThree);
    reader.open(other);
    EXPECT_EQ(reader.header().created_utc, "2024-05-06T08:08:09.123Z");
    EXPECT_EQ(reader.payload_bytes(), 8U);
    EXPECT_EQ(reader.bytes_read(), 0U);
    EXPECT_EQ(readOn(reader), (Tags{{0, 3000}}));
}

TEST_F(ReadFile, APartMayBeEmpty) {
    writeRecording(path, {});
    const std::string second = folder.file("second.qornts");
    writeRecording(second, kThree);
    EXPECT_EQ(testing::readParts(reader, {path, second, path}), kThree);
}

// --- memory ------------------------------------------------------------------------------------------------

std::size_t residentBytes() {
    std::ifstream file("/proc/self/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    file >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

TEST_F(ReadFile, TakesTheSameMemoryForAnySize) {
    constexpr std::size_t kPayload = std::size_t{512} << 20;
    writeStreamFile(path, HeaderText().json(), {});
    std::filesystem::resize_file(path, std::filesystem::file_size(path) + kPayload); // zeros are tags too
    const std::size_t before = residentBytes();
    std::size_t most = before;
    std::size_t count = 0;
    reader.open(path);
    for (auto tags = reader.read(); !tags.empty(); tags = reader.read()) {
        count += tags.size();
        most = std::max(most, residentBytes());
    }
    EXPECT_EQ(count, kPayload / 8);
    EXPECT_LT(most - before, std::size_t{32} << 20);
}

} // namespace
} // namespace qorn::timing
