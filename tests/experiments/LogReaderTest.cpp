// The reader that the tests of logs rely on, on files that were laid down by hand.
#include "GoldenBytes.h"
#include "MeasurementLogReader.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace qorn::testing {
namespace {

using Fields = std::vector<std::string>;

Bytes goldenText() {
    const std::string text = testing::goldenText(QORN_TEST_DATA "/measurement_log.csv");
    return {text.begin(), text.end()};
}

Bytes goldenBinary() {
    return goldenBytes(QORN_TEST_DATA "/measurement_log.hex");
}

void expectHeader(const ReadLog& log, const std::string& none) {
    EXPECT_EQ(log.experiment, "Counter");
    EXPECT_EQ(log.started, "2026-03-04T05:06:07.089");
    EXPECT_EQ(log.device, none);
    EXPECT_EQ(log.serial, "SIM00001");
    EXPECT_EQ(log.source, "Eingänge µ");
    EXPECT_EQ(log.streamTransport, none);
    EXPECT_EQ(log.settings, R"({"gate":1.5,"name":"Größe"})");
    EXPECT_EQ(log.columns, (Fields{"time_s", "count 1", "rate, Hz", "note"}));
}

TEST(LogReader, ReadsEveryFieldOfABinaryLog) {
    const ReadLog log = readBinaryLog(goldenBinary());
    expectHeader(log, "");
    EXPECT_TRUE(log.ended);
    EXPECT_EQ(log.leftOver, 0u);
    const std::vector<LogEntry> expected{
        {LogEntry::Kind::Row, {"0.5", "12", "24", "plain"}, {}, {}},
        {LogEntry::Kind::Row, {"1", "a,b", "say \"x\"", "two\nlines"}, {}, {}},
        {LogEntry::Kind::Row, {"# free text\n"}, {}, {}},
        {LogEntry::Kind::Snapshot, {}, "2026-03-04T05:06:08.100", "QORNPLT and more"},
        {LogEntry::Kind::Row, {"2"}, {}, {}},
        {LogEntry::Kind::Row, {}, {}, {}}};
    EXPECT_EQ(log.entries, expected);
}

TEST(LogReader, ReadsEveryFieldOfATextLog) {
    const ReadLog log = readTextLog(goldenText());
    expectHeader(log, "(unknown)");
    EXPECT_TRUE(log.ended);
    EXPECT_EQ(log.stopped, "2026-03-04T05:06:09.000");
    EXPECT_EQ(log.leftOver, 0u);
    const std::vector<LogEntry> expected{
        {LogEntry::Kind::Row, {"0.5", "12", "24", "plain"}, {}, {}},
        {LogEntry::Kind::Row, {"1", "a,b", "say \"x\"", "two\nlines"}, {}, {}},
        {LogEntry::Kind::Row, {"# free text"}, {}, {}},
        {LogEntry::Kind::Snapshot, {}, "2026-03-04T05:06:08.100", "series,x,y\nbars,1,10\n"},
        {LogEntry::Kind::Row, {"2"}, {}, {}},
        {LogEntry::Kind::Row, {""}, {}, {}}};
    EXPECT_EQ(log.entries, expected);
}

// A log that is cut off anywhere behind its header: a beginning of the entries, and every byte accounted for.
template <typename Read>
void expectBeginningsOf(const Bytes& whole, Read read) {
    const ReadLog all = read(whole);
    std::size_t most = 0;
    int inHeader = 0;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        ReadLog part;
        try {
            part = read(std::span(whole).first(length));
        } catch (const std::runtime_error&) {
            ++inHeader;
            ASSERT_EQ(most, 0u) << length;
            continue;
        }
        ASSERT_FALSE(part.ended) << length;
        ASSERT_LE(part.entries.size(), all.entries.size()) << length;
        ASSERT_GE(part.entries.size(), most) << length;
        most = part.entries.size();
        for (std::size_t i = 0; i < most; ++i) {
            const LogEntry& entry = part.entries[i];
            // of the text's last plot some lines may be missing
            if (entry.kind == LogEntry::Kind::Row) {
                ASSERT_EQ(entry, all.entries[i]) << length;
            } else {
                ASSERT_TRUE(all.entries[i].plot.starts_with(entry.plot)) << length;
            }
        }
    }
    EXPECT_EQ(most, all.entries.size());
    EXPECT_GT(inHeader, 100);
}

TEST(LogReader, ReadsTheBeginningOfABinaryLog) {
    Bytes whole = goldenBinary();
    whole.erase(whole.end() - 12, whole.end() - 4); // a row of no fields that is cut off looks like the end
    expectBeginningsOf(whole, [](std::span<const std::uint8_t> bytes) { return readBinaryLog(bytes); });
}

TEST(LogReader, RefusesWhatIsNoLog) {
    EXPECT_THROW(readBinaryLog(bytesFromHex("51 4F 52 4E 50 4C 54 01 00 00 00")), std::runtime_error);
    Bytes otherVersion = goldenBinary();
    otherVersion[7] = 2;
    EXPECT_THROW(readBinaryLog(otherVersion), std::runtime_error);
    Bytes otherLine = goldenText();
    otherLine[2] = 'q';
    EXPECT_THROW(readTextLog(otherLine), std::runtime_error);
    EXPECT_THROW(readLog("/no/such/log.csv"), std::runtime_error);
}

TEST(LogReader, RefusesRecordsThatBreakTheFormat) {
    Bytes whole = goldenBinary();
    whole.resize(whole.size() - 12);                                  // without the last row and the end
    for (const char* record : {"FE FF FF FF 00 00 00 00",             // an unknown tag
                               "01 00 00 00 00 00 00 00",             // fewer fields than the tag says
                               "00 00 00 00 01 00 00 00 00 00 00 00", // more than none
                               "01 00 00 00 01 00 00 00 01 00 00 00 41"}) { // half a character
        Bytes broken = whole;
        appendBytes(broken, bytesFromHex(record));
        EXPECT_THROW(readBinaryLog(broken), std::runtime_error) << record;
    }
}

TEST(LogReader, TheEndIsOnlyAtTheEnd) {
    Bytes whole = goldenBinary();
    EXPECT_TRUE(readBinaryLog(whole).ended);
    whole.resize(whole.size() - 4);
    const ReadLog cut = readBinaryLog(whole);
    EXPECT_FALSE(cut.ended);
    EXPECT_EQ(cut.entries.back().fields, Fields{});
    EXPECT_EQ(cut.leftOver, 0u);
}

TEST(LogReader, NullTextsReadAsEmptyOnes) {
    Bytes log = bytesFromHex("51 4F 52 4E 4C 4F 47 01 00 00 00");
    for (int field = 0; field < 7; ++field) {
        appendLittle32(log, 0xFFFFFFFF);
    }
    appendLittle32(log, 0);
    const ReadLog read = readBinaryLog(log);
    EXPECT_EQ(read.experiment + read.serial + read.settings, "");
    EXPECT_TRUE(read.columns.empty());
    EXPECT_FALSE(read.ended);
}

} // namespace
} // namespace qorn::testing
