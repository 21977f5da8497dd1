#include "Info.h"

#include "StreamFiles.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <limits>

namespace qorn::qornts {
namespace {

using testing::HeaderText;
using testing::TemporaryFolder;
using Tags = std::vector<timing::TimeTag>;

TEST(TagStatistics, CountChannelsAndSpanFromEarliestToLatest) {
    TagStatistics statistics;
    EXPECT_EQ(statistics.tags(), 0U);
    EXPECT_EQ(statistics.spanPs(), 0U);
    statistics.add({});
    statistics.add(Tags{{2, 500}});
    EXPECT_EQ(statistics.spanPs(), 0U);
    statistics.add(Tags{{3, 700}, {2, 400}, {0, 600}}); // slightly out of order
    EXPECT_EQ(statistics.spanPs(), 300U);
    EXPECT_EQ(statistics.tags(), 4U);
    EXPECT_EQ(statistics.tagsOf(0), 1U);
    EXPECT_EQ(statistics.tagsOf(1), 0U);
    EXPECT_EQ(statistics.tagsOf(2), 2U);
    EXPECT_EQ(statistics.tagsOf(3), 1U);
}

TEST(TagStatistics, SpanTheWholeRangeOfTimes) {
    TagStatistics statistics;
    statistics.add(
        Tags{{0, std::numeric_limits<std::int64_t>::min()}, {0, std::numeric_limits<std::int64_t>::max()}});
    EXPECT_EQ(statistics.spanPs(), std::numeric_limits<std::uint64_t>::max());
}

TEST(Description, HasALineForEachProperty) {
    const TemporaryFolder folder;
    const std::string path = folder.file("run.qornts");
    testing::writeRecording(path, Tags{{0, 0}, {3, 1}, {0, 2'500'000'000'000}},
                            HeaderText().set("application", R"("a\u001b[2J")"));
    RecordingParts recording({path});
    TagStatistics statistics;
    statistics.add(recording.read());
    EXPECT_EQ(describe(recording, statistics), "file: " + path +
                                                   "\n"
                                                   "created: 2024-05-06T07:08:09.123Z\n"
                                                   "application: a?[2J\n"
                                                   "product: Scripted\n"
                                                   "serial: SN0001\n"
                                                   "port: ftdi://SN0001\n"
                                                   "format: raw64\n"
                                                   "tag format: ps\n"
                                                   "mode: external\n"
                                                   "transport: usb\n"
                                                   "channel mask: 15\n"
                                                   "tags: 3\n"
                                                   "tags ch1: 2\n"
                                                   "tags ch2: 0\n"
                                                   "tags ch3: 0\n"
                                                   "tags ch4: 1\n"
                                                   "span (s): 2.500000000000\n"
                                                   "rate (Hz): 1.2\n"
                                                   "rate ch1 (Hz): 0.8\n"
                                                   "rate ch2 (Hz): 0\n"
                                                   "rate ch3 (Hz): 0\n"
                                                   "rate ch4 (Hz): 0.4\n");
}

TEST(Description, TellsHowPackedStreamsArePacked) {
    const TemporaryFolder folder;
    const std::string path = folder.file("run.qornts");
    testing::writeStreamFile(path, HeaderText().setText("stream_format", "packed_delta").json(), {});
    const RecordingParts recording({path});
    const std::string text = describe(recording, TagStatistics());
    EXPECT_NE(text.find("\nformat: packed_delta\ndelta bits: 16\nquantum (ps): 8\nmode: "), std::string::npos)
        << text;
    EXPECT_NE(text.find("\nrate (Hz): 0\n"), std::string::npos) << text;
}

} // namespace
} // namespace qorn::qornts
