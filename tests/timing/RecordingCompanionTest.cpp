// Companion files: what is written is read again, and nothing else is believed.
#include "RecordingCompanionFile.h"

#include "Crc32.h"
#include "LargeJson.h"
#include "ProcessorTime.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <limits>

#include <sys/stat.h>

namespace qorn::timing {
namespace {

constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();

RecordingCompanion sample() {
    RecordingCompanion companion;
    companion.end = PartEnd::Error;
    companion.error = "no \"room\" on\tthe disk: \xC3\xA4";
    companion.head_bytes = 400;
    companion.head_crc = 0x01234567;
    companion.records = 200'000;
    companion.tags_of_channel = {100'000, 99'999, 0, 1};
    companion.first_time_ps = kEarliest;
    companion.last_time_ps = kLatest;
    companion.checkpoints = {{0, kEarliest, 0}, {65536, -1, 0xFFFFFFFF}, {131072, kLatest, 0xA}};
    companion.tail_crc = 0x89ABCDEF;
    companion.silences = {{1, 4}, {2, -2}, {70'000, 0}, {199'999, -1'288'000}};
    companion.silences_untold = 3;
    companion.losses = {{0, std::nullopt, "driver", 5}, {200'000, kLatest, "reader \"x\"", 1}};
    companion.unvouched_from = 150'000;
    return companion;
}

std::string faultOf(std::string_view json) {
    try {
        companion_from_json(json);
    } catch (const CompanionFault& fault) {
        return fault.what();
    }
    return {};
}

// The text with its own CRC made right again.
std::string sealed(const std::string& json) {
    const std::string front = json.substr(0, json.rfind(",\n\"crc32\""));
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08x",
                  crc32_of({reinterpret_cast<const std::uint8_t*>(front.data()), front.size()}));
    return front + ",\n\"crc32\":\"" + digits + "\"}\n";
}

std::string replaced(std::string json, const std::string& part, const std::string& other) {
    const std::size_t at = json.find(part);
    EXPECT_NE(at, std::string::npos) << part;
    return at == std::string::npos ? json : sealed(json.replace(at, part.size(), other));
}

TEST(CompanionText, ComesBackAsItWas) {
    EXPECT_EQ(companion_from_json(companion_to_json(sample())), sample());
    EXPECT_EQ(companion_from_json(companion_to_json({})), RecordingCompanion{});
    for (const PartEnd end : {PartEnd::Open, PartEnd::Operator, PartEnd::Duration, PartEnd::Rotation,
                              PartEnd::Error, PartEnd::Recovered}) {
        RecordingCompanion companion = sample();
        companion.end = end;
        EXPECT_EQ(companion_from_json(companion_to_json(companion)).end, end);
    }
}

TEST(CompanionText, IsAsTheFormatSays) {
    const std::string json = companion_to_json(sample());
    for (const char* line :
         {"{\n\"file_type\":\"qorn_timing_recording_companion\",\n", "\"schema_version\":1,\n",
          "\"ended\":\"error\",\n", "\"records\":200000,\n", "\"tags_per_channel\":[100000,99999,0,1],\n",
          "\"first_time_ps\":\"-9223372036854775808\",\n", "\"last_time_ps\":\"9223372036854775807\",\n",
          "\"checkpoints\":[[0,\"-9223372036854775808\",\"00000000\"],[65536,\"-1\",\"ffffffff\"],",
          "\"silences\":[1,4,1,-2,69998,0,129999,-1288000],\n",
          "\"losses\":[[0,null,\"driver\",5],[200000,\"9223372036854775807\",\"reader \\\"x\\\"\",1]],\n",
          "\"unvouched_from\":150000,\n"}) {
        EXPECT_NE(json.find(line), std::string::npos) << line << " is not in\n" << json;
    }
}

TEST(CompanionText, OfAnEarlierVersionVouchesForAllRecords) {
    const std::string json = replaced(companion_to_json(sample()), ",\n\"unvouched_from\":150000", "");
    RecordingCompanion expected = sample();
    expected.unvouched_from.reset();
    EXPECT_EQ(companion_from_json(json), expected);
}

TEST(CompanionText, CountsUnreadableBytesApartFromTags) {
    RecordingCompanion companion = sample();
    companion.losses.push_back({200'000, kLatest, std::string(kUnreadableStage), 1000});
    EXPECT_EQ(companion.lost(), 6U);
    EXPECT_EQ(companion.unreadable_bytes(), 1000U);
    EXPECT_EQ(sample().unreadable_bytes(), 0U);
    EXPECT_NE(companion_to_json(companion).find("[200000,\"9223372036854775807\",\"unreadable\",1000]"),
              std::string::npos);
}

TEST(CompanionText, HoldsTextsOfAnyBytes) {
    RecordingCompanion companion = sample();
    companion.error = "\xFF\xFE bytes of no text \x01";
    const RecordingCompanion back = companion_from_json(companion_to_json(companion));
    EXPECT_NE(back.error.find("bytes of no text"), std::string::npos);
}

TEST(CompanionText, ShowsEveryChangedByte) {
    const std::string json = companion_to_json(sample());
    for (std::size_t at = 0; at < json.size(); ++at) {
        for (const int bit : {0, 5}) {
            std::string changed = json;
            changed[at] = static_cast<char>(changed[at] ^ 1 << bit);
            EXPECT_NE(faultOf(changed), "") << "byte " << at << ", bit " << bit;
        }
    }
}

TEST(CompanionText, ShowsEveryCut) {
    const std::string json = companion_to_json(sample());
    for (std::size_t size = 0; size < json.size(); ++size) {
        EXPECT_NE(faultOf(std::string_view(json).substr(0, size)), "") << size;
    }
    EXPECT_NE(faultOf(json + ' '), "");
}

TEST(CompanionText, ThatSaysWhatCannotBeIsRefused) {
    const std::string json = companion_to_json(sample());
    ASSERT_EQ(sealed(json), json);
    const std::pair<const char*, const char*> changes[] = {
        {"\"qorn_timing_recording_companion\"", "\"notes\""},
        {"\"schema_version\":1", "\"schema_version\":2"},
        {"\"schema_version\":1", "\"schema_version\":\"1\""},
        {"\"ended\":\"error\"", "\"ended\":\"tired\""},
        {"\"ended\":\"error\"", "\"ended\":5"},
        {"\"ended\":\"error\"", "\"Ended\":\"error\""},
        {"\"head_bytes\":400", "\"head_bytes\":-400"},
        {"\"unvouched_from\":150000", "\"unvouched_from\":200001"},
        {"\"unvouched_from\":150000", "\"unvouched_from\":-1"},
        {"\"unvouched_from\":150000", "\"unvouched_from\":\"1\""},
        {"\"head_bytes\":400", "\"head_bytes\":400.5"},
        {"\"head_bytes\":400", "\"head_bytes\":1e300"},
        {"\"head_bytes\":400", "\"head_bytes\":99999999999"},
        {"\"head_crc32\":\"01234567\"", "\"head_crc32\":\"0123456\""},
        {"\"head_crc32\":\"01234567\"", "\"head_crc32\":\"0x234567\""},
        {"\"head_crc32\":\"01234567\"", "\"head_crc32\":19088743"},
        {"\"records\":200000", "\"records\":200001"},
        {"\"records\":200000", "\"records\":18446744073709551615"},
        {"\"records\":200000", "\"records\":99999999999999999999999999"},
        {"\"records\":200000", "\"records\":null"},
        {"[100000,99999,0,1]", "[100000,99999,0,-1]"},
        {"[100000,99999,0,1]", "[100000,100000]"},
        {"[100000,99999,0,1]", "[100000,99999,0,1,0]"},
        {"[100000,99999,0,1]", "{}"},
        {"\"first_time_ps\":\"-9223372036854775808\"", "\"first_time_ps\":\"-9223372036854775809\""},
        {"\"first_time_ps\":\"-9223372036854775808\"", "\"first_time_ps\":-922337203685477580"},
        {"\"first_time_ps\":\"-9223372036854775808\"", "\"first_time_ps\":\"\""},
        {"\"first_time_ps\":\"-9223372036854775808\"", "\"first_time_ps\":\"7 \""},
        {"\"first_time_ps\":\"-9223372036854775808\"", "\"first_time_ps\":null"},
        {"[[0,", "[[1,"},
        {"[65536,", "[131072,"},
        {"[131072,", "[200000,"},
        {"[65536,\"-1\",\"ffffffff\"]", "[65536,\"-1\"]"},
        {"[65536,\"-1\",\"ffffffff\"]", "65536"},
        {"[65536,\"-1\",\"ffffffff\"]", "[65536,-1,\"ffffffff\"]"},
        {"\"silences\":[1,4,", "\"silences\":[0,4,"},
        {"\"silences\":[1,4,", "\"silences\":[1,"},
        {"\"silences\":[1,4,", "\"silences\":[1,-9223372036854775808,"},
        {"\"silences\":[1,4,", "\"silences\":[1,9223372036854775808,"},
        {"\"silences\":[1,4,", "\"silences\":[200000,4,"},
        {"\"silences\":[1,4,", "\"silences\":[[[[1]]],4,"},
        {"\"silences_untold\":3", "\"silences_untold\":true"},
        {"[0,null,\"driver\",5]", "[0,null,\"driver\",-5]"},
        {"[0,null,\"driver\",5]", "[200001,null,\"driver\",5]"},
        {"[0,null,\"driver\",5]", "[0,null,\"driver\"]"},
        {"[0,null,\"driver\",5]", "[0,null,7,5]"},
        {"{\n\"file_type\"", "[\n\"file_type\""},
        {"\"losses\"", "\"loss\""},
    };
    for (const auto& [part, other] : changes) {
        EXPECT_NE(faultOf(replaced(json, part, other)), "") << part << " as " << other;
    }
}

// A companion of records at time 0 but for these silences.
RecordingCompanion withSilences(std::vector<RecordSilence> silences) {
    RecordingCompanion companion;
    companion.records = 100;
    companion.tags_of_channel = {100, 0, 0, 0};
    companion.first_time_ps = 0;
    companion.last_time_ps = 0;
    companion.checkpoints = {{0, 0, 0}, {50, 0, 0}};
    companion.silences = std::move(silences);
    return companion;
}

TEST(CompanionText, HoldsSilencesUpTo64BitsOfTime) {
    constexpr std::int64_t kMost = 644'309; // a half period less may have been left of the time before
    const std::vector<RecordSilence> fine[] = {
        {{1, kMost}},
        {{49, -kMost}},
        {{1, kMost}, {51, kMost}}, // the checkpoint is between them
        {{1, 300'000}, {2, -600'000}, {3, 900'000}},
        {{1, kMost / 2}, {2, kMost / 2}},
        {{1, kMost}, {2, -2 * kMost}, {3, 2 * kMost}},
    };
    for (const auto& silences : fine) {
        const std::string json = companion_to_json(withSilences(silences));
        EXPECT_EQ(faultOf(json), "") << json;
    }
    const std::vector<RecordSilence> beyond[] = {
        {{1, kMost + 2}},
        {{1, -kMost - 30}},
        {{1, kMost / 2 + 2}, {2, kMost / 2 + 2}},
        {{1, 1'300'000}},
        {{51, 600'000}, {52, 600'000}, {53, -1'000'000}},
        {{1, -600'000}, {2, -600'000}, {99, 1'000'000}},
    };
    for (const auto& silences : beyond) {
        const std::string json = companion_to_json(withSilences(silences));
        EXPECT_NE(faultOf(json).find("silences"), std::string::npos) << json;
    }
}

TEST(CompanionText, MayHoldKeysOfLaterVersions) {
    EXPECT_EQ(companion_from_json(replaced(companion_to_json(sample()), "\"schema_version\":1",
                                           "\"schema_version\":1,\"more\":{\"of\":[[[1]]]}")),
              sample());
}

TEST(CompanionText, OfAnyDepthIsRefused) {
    const std::string deep(8'000'000, '[');
    EXPECT_NE(faultOf(deep), "");
    EXPECT_NE(faultOf(sealed("{\"silences\":" + deep)), "");
    EXPECT_NE(faultOf(sealed("{\"x\":" + std::string(1000, '[') + std::string(1000, ']'))), "");
}

TEST(CompanionText, OfManyValuesIsReadOrRefusedAtOnceWithThePlace) {
    constexpr std::size_t kBytes = 1'000'000;
    constexpr double kMostSeconds = 5; // it takes some hundredths of one
    const std::string json = companion_to_json(sample());
    const std::string losses = json.substr(json.find("\"losses\":"));
    const auto withLosses = [&](const std::string& values) {
        return replaced(json, losses.substr(0, losses.rfind(",\n")), "\"losses\":" + values);
    };
    const auto withMore = [&](const std::string& values) {
        return replaced(json, "\"schema_version\":1", "\"schema_version\":1,\"more\":" + values);
    };
    for (const char* element : {"{}", "[]", "[0]", "[0,null,\"reader\",1]"}) {
        const std::string list = testing::jsonListOf(element, kBytes);
        EXPECT_LT(testing::threadSecondsOf([&] {
                      EXPECT_EQ(faultOf(withLosses(list)),
                                "has a \"losses\" that is no list of at most 1024");
                      EXPECT_EQ(faultOf(withMore(list)), "");
                      EXPECT_EQ(faultOf(withMore('[' + list + ']')), "");
                  }),
                  kMostSeconds)
            << element;
    }
}

TEST(CompanionText, OfMoreThanAMillionValuesIsRefusedWithThePlace) {
    const std::string json = companion_to_json(sample());
    constexpr std::size_t kBytes = kMostCompanionBytes - 10'000;
    for (const std::string& values : {testing::jsonListOf("{}", kBytes), testing::jsonListOf("[0]", kBytes),
                                      testing::jsonListOf("0", kBytes), testing::jsonObjectOfKeys(kBytes)}) {
        const std::string fault =
            faultOf(replaced(json, "\"schema_version\":1", "\"schema_version\":1,\"more\":" + values));
        EXPECT_TRUE(fault.starts_with("holds more than 1048576 values, near byte ")) << fault;
    }
}

class CompanionFile : public ::testing::Test {
protected:
    std::string fault() const {
        try {
            return read_companion(stream) ? "" : "none";
        } catch (const CompanionFault& found) {
            return found.what();
        }
    }
    testing::TemporaryFolder folder;
    std::filesystem::path stream = folder.file("run.qornts");
    std::filesystem::path path = folder.file("run.qornts.json");
};

TEST_F(CompanionFile, StandsBesideTheStreamFile) {
    EXPECT_EQ(companion_path(stream), path);
    EXPECT_EQ(fault(), "none");
    EXPECT_EQ(write_companion(stream, {}), std::nullopt);
    EXPECT_EQ(write_companion(stream, sample()), std::nullopt);
    EXPECT_EQ(read_companion(stream), sample());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1)
        << "nothing else is left";
}

TEST_F(CompanionFile, HasRoomKeptForTheNextOneUntilThatIsGivenBack) {
    const std::filesystem::path part = path.string() + ".part";
    ASSERT_EQ(write_companion(stream, sample(), CompanionRoom::Keep), std::nullopt);
    EXPECT_EQ(read_companion(stream), sample());
    struct stat kept {};
    ASSERT_EQ(::stat(part.c_str(), &kept), 0);
    EXPECT_GT(static_cast<std::size_t>(kept.st_blocks) * 512, std::filesystem::file_size(path));
    ASSERT_EQ(write_companion(stream, {}, CompanionRoom::Keep), std::nullopt) << "of another size";
    EXPECT_EQ(read_companion(stream), RecordingCompanion{});
    EXPECT_TRUE(std::filesystem::exists(part));
    ASSERT_EQ(write_companion(stream, sample()), std::nullopt);
    EXPECT_EQ(read_companion(stream), sample());
    EXPECT_FALSE(std::filesystem::exists(part));
    ASSERT_EQ(write_companion(stream, sample(), CompanionRoom::Keep), std::nullopt);
    give_back_companion_room(stream);
    EXPECT_FALSE(std::filesystem::exists(part));
}

TEST_F(CompanionFile, ThatCannotBeWrittenLeavesTheEarlierOne) {
    ASSERT_EQ(write_companion(stream, sample()), std::nullopt);
    std::filesystem::create_directory(path.string() + ".part");
    const auto wrong = write_companion(stream, {});
    ASSERT_TRUE(wrong.has_value());
    EXPECT_TRUE(wrong->starts_with(path.string())) << *wrong;
    EXPECT_EQ(read_companion(stream), sample());
    EXPECT_TRUE(write_companion(folder.file("no folder/run.qornts"), {}).has_value());
}

TEST_F(CompanionFile, ThatIsNoFileIsRefused) {
    std::filesystem::create_directory(path);
    EXPECT_EQ(fault(), "is not a regular file");
    std::filesystem::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(fault(), "is not a regular file");
}

TEST_F(CompanionFile, OfFiftyMegabytesIsRefused) {
    ASSERT_EQ(write_companion(stream, sample()), std::nullopt);
    std::filesystem::resize_file(path, 50'000'000);
    EXPECT_EQ(fault(), "is too large");
}

TEST_F(CompanionFile, AtItsLargestIsReadStill) {
    RecordingCompanion companion = sample();
    companion.records = std::uint64_t{1} << 52;
    companion.tags_of_channel = {companion.records, 0, 0, 0};
    companion.checkpoints.clear();
    for (std::uint64_t number = 0; number < RecordingCompanion::kMostCheckpoints; ++number) {
        companion.checkpoints.push_back({number << 40, kEarliest, 0xFFFFFFFF});
    }
    companion.silences.clear();
    bool late = true;
    for (std::uint64_t number = 1; number <= RecordingCompanion::kMostSilences; ++number) {
        constexpr std::uint64_t kStep = 10'000'000'000;
        const bool isFirst = number * kStep >> 40 != (number - 1) * kStep >> 40; // behind a checkpoint
        late = isFirst || !late;
        companion.silences.push_back({number * kStep, late ? 1'288'000 : -1'288'000});
    }
    companion.losses.assign(RecordingCompanion::kMostLosses,
                            {0, kEarliest, std::string(RecordingCompanion::kMostStageBytes, '"'), 1});
    companion.error = std::string(RecordingCompanion::kMostErrorBytes, '"');
    ASSERT_EQ(write_companion(stream, companion), std::nullopt);
    EXPECT_LT(std::filesystem::file_size(path), kMostCompanionBytes);
    EXPECT_TRUE(read_companion(stream) == companion);
}

} // namespace
} // namespace qorn::timing
