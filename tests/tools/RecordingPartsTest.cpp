#include "RecordingParts.h"

#include "Companions.h"
#include "Error.h"
#include "RecordingCompanionFile.h"
#include "RecordingTally.h"
#include "StreamFiles.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>

namespace qorn::qornts {
namespace {

using testing::HeaderText;
using testing::TemporaryFolder;
using Tags = std::vector<timing::TimeTag>;

constexpr std::int64_t kSecond = 1'000'000'000'000;

class Parts : public ::testing::Test {
protected:
    std::string write(const std::string& name, const Tags& tags,
                      const char* created = "2024-05-06T07:00:00") {
        const std::string path = folder.file(name);
        testing::writeRecording(path, tags, HeaderText().setText("created_utc", created));
        return path;
    }
    // Gives the file a companion with these times.
    static void tellTimes(const std::string& path, std::optional<std::int64_t> first,
                          std::optional<std::int64_t> last) {
        const testing::Bytes bytes = testing::readBytes(path);
        const StreamFileFacts facts = streamFileFacts(path);
        timing::RecordingTally tally(facts.head);
        if (first) {
            tally.expect(timing::RecordTime{0, *first});
        }
        tally.add(std::span(bytes).subspan(facts.head.size()));
        const timing::RecordingCompanion companion = tally.companion(timing::PartEnd::Operator);
        EXPECT_EQ(companion.last_time_ps, last);
        EXPECT_EQ(timing::write_companion(path, companion), std::nullopt);
    }
    static Tags all(RecordingParts& parts) {
        Tags tags;
        for (auto more = parts.read(); !more.empty(); more = parts.read()) {
            tags.insert(tags.end(), more.begin(), more.end());
        }
        return tags;
    }

    TemporaryFolder folder;
};

TEST_F(Parts, AreReadAsOneStreamOverEmptyOnes) {
    RecordingParts parts({write("a", {}), write("b", {{1, kSecond}}), write("c", {}),
                          write("d", {{2, 8 * kSecond}, {1, 15 * kSecond}}), write("e", {})});
    EXPECT_EQ(parts.payloadBytes(), 24U);
    EXPECT_EQ(parts.bytesRead(), 0U);
    EXPECT_EQ(all(parts), (Tags{{1, kSecond}, {2, 8 * kSecond}, {1, 15 * kSecond}}));
    EXPECT_EQ(parts.bytesRead(), 24U);
    EXPECT_TRUE(parts.read().empty());
    EXPECT_TRUE(parts.warnings().empty());
}

TEST_F(Parts, AreAllCheckedBeforeTheFirstTag) {
    const std::string first = write("a", {{1, 5}});
    const std::string other = folder.file("b");
    testing::writeRecording(other, Tags{{1, 6}}, HeaderText().setText("device_serial", "SN2"));
    EXPECT_THROW(RecordingParts({first, other}), timing::Error);
    EXPECT_THROW(RecordingParts({first, folder.file("missing")}), timing::Error);
}

TEST_F(Parts, OfWhichOneIsCutGoOnWithTheNext) {
    const std::string first = write("a", {{1, 5}});
    std::ofstream(first, std::ios::app | std::ios::binary) << "cut";
    RecordingParts parts({first, write("b", {{2, 6}})});
    EXPECT_EQ(parts.read().size(), 1U);
    EXPECT_THROW(parts.read(), timing::Error);
    EXPECT_EQ(all(parts), (Tags{{2, 6}}));
}

TEST_F(Parts, InTheWrongOrderAreAWarning) {
    const std::string late = write("a", {{1, 5}}, "2024-05-06T08:00:00");
    const std::string early = write("b", {{1, 6}});
    RecordingParts parts({late, early});
    ASSERT_EQ(parts.warnings().size(), 1U);
    EXPECT_EQ(parts.warnings()[0], early + " was created before " + late + ": are the parts in order?");
}

TEST_F(Parts, OfWhichOneIsGivenTwiceAreAWarning) {
    const std::string first = write("a", {{1, 5}});
    const std::string second = write("b", {{1, 6}});
    std::filesystem::create_hard_link(first, folder.file("linked"));
    for (const std::string& again : {first, folder.file("linked")}) {
        RecordingParts parts({first, second, again});
        ASSERT_EQ(parts.warnings().size(), 1U);
        EXPECT_EQ(parts.warnings()[0],
                  again + " is the same file as " + first + ": its tags are there twice");
    }
}

TEST_F(Parts, WhoseTimesGoBackAreAWarning) {
    const std::string late = write("a", {{1, 100 * kSecond}, {2, 101 * kSecond}});
    const std::string early = write("b", {{1, 99 * kSecond}, {1, 100 * kSecond}});
    tellTimes(late, 100 * kSecond, 101 * kSecond);
    tellTimes(early, 99 * kSecond, 100 * kSecond);
    const std::string empty = write("c", {});
    tellTimes(empty, std::nullopt, std::nullopt);
    EXPECT_TRUE(RecordingParts({early, empty, late}).warnings().empty());
    const RecordingParts parts({late, empty, early});
    ASSERT_EQ(parts.warnings().size(), 1U);
    EXPECT_EQ(parts.warnings()[0], early + " begins before the end of " + late + ": are the parts in order?");
}

TEST_F(Parts, WhoseInputsOvertakeEachOtherALittleAreInOrder) {
    const std::string first = write("a", {{1, 100 * kSecond}});
    const std::string second = write("b", {{2, 100 * kSecond - 5}});
    tellTimes(first, 100 * kSecond, 100 * kSecond);
    tellTimes(second, 100 * kSecond - 5, 100 * kSecond - 5);
    EXPECT_TRUE(RecordingParts({first, second}).warnings().empty());
}

TEST_F(Parts, WithALongSilenceBetweenThemAreAWarning) {
    RecordingParts parts({write("a", {{1, 0}}), write("b", {{1, 10 * kSecond}})});
    all(parts);
    ASSERT_EQ(parts.warnings().size(), 1U);
    EXPECT_NE(parts.warnings()[0].find(" at 1 place:"), std::string::npos) << parts.warnings()[0];
}

} // namespace
} // namespace qorn::qornts
