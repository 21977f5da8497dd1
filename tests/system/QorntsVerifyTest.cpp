// What qornts finds of recordings and their companions, and which times it gives.
#include "QorntsPairStage.h"

#include "TagGenerator.h"

#include <algorithm>
#include <filesystem>
#include <functional>

#include <sys/stat.h>

namespace qorn::testing {
namespace {

using timing::PartEnd;
using timing::RecordingCompanion;

constexpr std::int64_t kSecond = kPairSecond;

class QorntsVerify : public QorntsPairTest {};

TEST_F(QorntsVerify, APairThatIsWholeIsFine) {
    record("run.qornts", some);
    record("empty.qornts", {});
    record("long.qornts", generateTags({.seed = 4,
                                        .count = 150'000,
                                        .mean_gap_ps = 1e8,
                                        .pause_chance = 1e-3,
                                        .pause_ps = 100 * kSecond}));
    expectFine("run.qornts");
    expectFine("empty.qornts");
    expectFine("long.qornts");
    const ToolRun all = run({"verify", "run.qornts", "empty.qornts", "long.qornts"});
    EXPECT_EQ(all.code, 0);
    EXPECT_EQ(all.output, "run.qornts: fine\nempty.qornts: fine\nlong.qornts: fine\n");
}

TEST_F(QorntsVerify, EachFileIsCheckedByItself) {
    record("run.qornts", some);
    writeRecording(file("alone.qornts"), some);
    const ToolRun both = run({"verify", "missing.qornts", "alone.qornts", "run.qornts"});
    EXPECT_EQ(both.code, 1);
    EXPECT_EQ(both.output, "run.qornts: fine\n");
    EXPECT_NE(both.errors.find("missing.qornts"), std::string::npos);
    EXPECT_NE(both.errors.find("alone.qornts: there is no alone.qornts.json beside it"), std::string::npos)
        << both.errors;
}

TEST_F(QorntsVerify, EachFlippedByteOfTheFileIsFound) {
    record("run.qornts", some);
    const Bytes whole = readBytes(file("run.qornts"));
    for (std::size_t at = 0; at < whole.size(); at += at + 50 < whole.size() ? 7 : 1) {
        Bytes bytes = whole;
        bytes[at] ^= 1;
        writeBytes(file("run.qornts"), bytes);
        const ToolRun verified = run({"verify", "run.qornts"});
        EXPECT_EQ(verified.code, 1) << "byte " << at;
        EXPECT_EQ(verified.output, "") << "byte " << at;
    }
}

TEST_F(QorntsVerify, EachFlippedByteOfTheCompanionIsFound) {
    record("run.qornts", some);
    const Bytes whole = readBytes(file("run.qornts.json"));
    for (std::size_t at = 0; at < whole.size(); at += 5) {
        Bytes bytes = whole;
        bytes[at] ^= 4;
        writeBytes(file("run.qornts.json"), bytes);
        EXPECT_EQ(run({"verify", "run.qornts"}).code, 1) << "byte " << at;
    }
}

TEST_F(QorntsVerify, ADamagedRecordIsNamedWithItsStretch) {
    record("run.qornts", generateTags({.seed = 4, .count = 150'000, .mean_gap_ps = 1e8}));
    Bytes bytes = readBytes(file("run.qornts"));
    const std::size_t head = bytes.size() - 8 * 150'000;
    bytes[head + 8 * 70'000 + 7] ^= 1;
    writeBytes(file("run.qornts"), bytes);
    const ToolRun verified = run({"verify", "run.qornts"});
    EXPECT_EQ(verified.errors, "qornts: run.qornts: records 65536 to 131071 (bytes " +
                                   std::to_string(head + 8 * 65536) + " to " +
                                   std::to_string(head + 8 * 131072 - 1) +
                                   ") are not those that were recorded: their CRC is another\n");
}

TEST_F(QorntsVerify, StretchesBehindTheEighthDamagedOneAreCounted) {
    for (const std::size_t more : {1U, 3U}) {
        Tags tags;
        for (std::size_t number = 0; number < 8 + more; ++number) {
            tags.push_back({0, static_cast<std::int64_t>(number)});
        }
        record("run.qornts", tags);
        RecordingCompanion facts = companionOf("run.qornts");
        ++facts.tail_crc;
        for (std::size_t number = 1; number < tags.size(); ++number) {
            facts.checkpoints.push_back({number, tags[number].timestamp_ps, 1});
        }
        setCompanion("run.qornts", facts);
        const ToolRun verified = run({"verify", "run.qornts"});
        EXPECT_EQ(verified.code, 1);
        EXPECT_EQ(std::count(verified.errors.begin(), verified.errors.end(), '\n'), 9) << verified.errors;
        const std::string rest = more == 1 ? "run.qornts: 1 more stretch of records like this\n"
                                           : "run.qornts: 3 more stretches of records like these\n";
        EXPECT_TRUE(verified.errors.ends_with(rest)) << verified.errors;
    }
}

TEST_F(QorntsVerify, TimesBehindSilencesThatAreNotToldAreNoFaultButAreNamed) {
    const Tags tags = tagsWithUntoldSilences();
    record("run.qornts", tags);
    ASSERT_GT(companionOf("run.qornts").silences_untold, 0U);
    const std::string where = "behind record 262144 times are not known to the wrap";
    const ToolRun verified = run({"verify", "run.qornts"});
    EXPECT_EQ(verified.code, 0) << verified.errors;
    EXPECT_TRUE(verified.output.starts_with("run.qornts: fine; " + where)) << verified.output;
    for (const Words& arguments :
         {Words{"info", "run.qornts"}, Words{"export", "run.qornts", "--npy", "out.npy"}}) {
        const ToolRun done = run(arguments);
        EXPECT_EQ(done.code, 0);
        EXPECT_NE(done.errors.find("warning: run.qornts: " + where), std::string::npos) << done.errors;
    }
    const Tags exported = tagsOfNpy(file("out.npy"));
    ASSERT_EQ(exported.size(), tags.size());
    EXPECT_TRUE(std::equal(tags.begin(), tags.begin() + 262'144, exported.begin()));
    RecordingCompanion facts = companionOf("run.qornts");
    facts.last_time_ps = *facts.last_time_ps + 1;
    setCompanion("run.qornts", facts);
    expectFault("run.qornts", "the last record is at");
}

TEST_F(QorntsVerify, EachRemovedRecordIsFound) {
    record("run.qornts", some);
    const Bytes whole = readBytes(file("run.qornts"));
    const std::size_t head = whole.size() - 8 * some.size();
    for (std::size_t record = 0; record < some.size(); ++record) {
        Bytes bytes = whole;
        const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(head + 8 * record);
        bytes.erase(at, at + 8);
        writeBytes(file("run.qornts"), bytes);
        expectFault("run.qornts", "tells of 5 records, but the file has 4");
    }
    for (std::size_t cut = 1; cut < 8; ++cut) {
        writeBytes(file("run.qornts"), std::span(whole).first(whole.size() - cut));
        expectFault("run.qornts",
                    "the last record, record 4 (byte " + std::to_string(head + 32) + "), is cut off");
    }
    Bytes more = whole;
    more.insert(more.end(), 8, 0);
    writeBytes(file("run.qornts"), more);
    expectFault("run.qornts", "tells of an end behind 5 records, but the file has 6");
}

TEST_F(QorntsVerify, EachEditedFactIsFound) {
    record("run.qornts", some);
    const RecordingCompanion whole = companionOf("run.qornts");
    ASSERT_EQ(whole.silences.size(), 2U);
    const std::pair<const char*, std::function<void(RecordingCompanion&)>> edits[] = {
        {"channel 1 has 2 tags, but by the companion 1",
         [](auto& facts) {
             facts.tags_of_channel = {1, 2, 1, 1};
         }},
        {"tells of an end behind 4 records",
         [](auto& facts) {
             facts.records = 4;
             facts.tags_of_channel[0] = 1;
             facts.silences.pop_back();
         }},
        {"the first record is at 5000000000000 ps by the file, but by the companion at 1",
         [](auto& facts) { facts.first_time_ps = 1; }},
        {"the last record is at", [](auto& facts) { facts.last_time_ps = 201 * kSecond; }},
        {"header is another", [](auto& facts) { ++facts.head_bytes; }},
        {"header is another", [](auto& facts) { ++facts.head_crc; }},
        {"CRC is another", [](auto& facts) { ++facts.tail_crc; }},
        {"by the companion at 5000000000001", [](auto& facts) { ++facts.checkpoints[0].time_ps; }},
        {"the last record is at", [](auto& facts) { ++facts.silences[0].periods; }},
        {"the last record is at", [](auto& facts) { facts.silences.pop_back(); }},
        {"it was never ended", [](auto& facts) { facts.end = PartEnd::Open; }},
    };
    for (const auto& [part, edit] : edits) {
        RecordingCompanion facts = whole;
        edit(facts);
        setCompanion("run.qornts", facts);
        expectFault("run.qornts", part);
    }
    setCompanion("run.qornts", whole);
    expectFine("run.qornts");
}

TEST_F(QorntsVerify, AForeignCompanionIsFound) {
    record("run.qornts", some);
    record("other.qornts", some, PartEnd::Operator, "2024-05-06T07:00:01");
    std::filesystem::rename(file("other.qornts.json"), file("run.qornts.json"));
    expectFault("run.qornts", "run.qornts.json is of another file: its header is another");
}

TEST_F(QorntsVerify, HostileCompanionsAreToldAndHarmNothing) {
    std::string deep;
    deep.resize(10'000'000, '[');
    for (const std::string& text :
         {std::string(), std::string("{"), std::string("{}"), std::string("null"), deep,
          std::string(5000, '\0'), std::string("{\"records\":1e999,\"crc32\":\"00000000\"}\n")}) {
        writeRecording(file("run.qornts"), Tags{{0, 5}, {2, 7}});
        writeBytes(file("run.qornts.json"),
                   {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
        expectFault("run.qornts", "run.qornts.json ");
        const ToolRun info = run({"info", "run.qornts"});
        EXPECT_EQ(info.code, 0);
        EXPECT_TRUE(isOneErrorLine(info.errors, "going on without"));
        const ToolRun exported = run({"export", "run.qornts", "--csv", "-"});
        EXPECT_EQ(exported.output, "channel,time_ps\n1,5\n3,7\n");
        EXPECT_TRUE(isOneErrorLine(exported.errors, "run.qornts.json"));
    }
    std::filesystem::resize_file(file("run.qornts.json"), 50'000'000);
    expectFault("run.qornts", "run.qornts.json is too large");
}

TEST_F(QorntsVerify, OtherFilesAreRefused) {
    writeBytes(file("notes.txt"), Bytes(100, 'x'));
    writeStreamFile(file("delta.qornts"), HeaderText().setText("stream_format", "delta32").json(), {});
    ASSERT_EQ(mkfifo(file("pipe.qornts").c_str(), 0600), 0);
    for (const char* name : {"notes.txt", "delta.qornts", "missing.qornts", ".", "pipe.qornts"}) {
        for (const char* command : {"verify", "recover"}) {
            const ToolRun refused = run({command, name});
            EXPECT_EQ(refused.code, 1);
            EXPECT_TRUE(isOneErrorLine(refused.errors, name));
        }
    }
    EXPECT_EQ(run({"verify"}).code, 2);
    EXPECT_EQ(run({"recover"}).code, 2);
    EXPECT_EQ(run({"recover", "a", "b"}).code, 2);
    EXPECT_EQ(run({"verify", "--force", "a"}).code, 2);
}

TEST_F(QorntsVerify, APipeInThePlaceOfTheCompanionHoldsUpNobody) {
    writeRecording(file("run.qornts"), some);
    ASSERT_EQ(mkfifo(file("run.qornts.json").c_str(), 0600), 0);
    expectFault("run.qornts", "run.qornts.json is not a regular file");
}

// --- times -------------------------------------------------------------------------------------------------

TEST_F(QorntsVerify, ExportsHaveTrueTimesOverASilenceOfAMinuteWithTheCompanionAlone) {
    const Tags tags{{0, 100 * kSecond}, {1, 160 * kSecond}, {2, 161 * kSecond}};
    record("run.qornts", tags);
    EXPECT_EQ(run({"export", "run.qornts", "--csv", "-"}).output, csvOf(tags));
    EXPECT_EQ(run({"export", "run.qornts", "--npy", "out.npy"}).code, 0);
    EXPECT_EQ(tagsOfNpy(file("out.npy")), tags);
    const auto facts = factsOf(run({"info", "run.qornts"}).output);
    EXPECT_EQ(facts.at("span (s)"), "61.000000000000");
    EXPECT_EQ(facts.at("first (ps)"), "100000000000000");
    EXPECT_EQ(facts.at("ended"), "operator");
    EXPECT_EQ(facts.at("lost"), "0");
    std::filesystem::remove(file("run.qornts.json"));
    EXPECT_NE(run({"export", "run.qornts", "--csv", "-"}).output, csvOf(tags));
    EXPECT_EQ(factsOf(run({"info", "run.qornts"}).output).count("ended"), 0U);
}

TEST_F(QorntsVerify, PartsFollowEachOtherInTrueTime) {
    record("a.qornts", {{0, 100 * kSecond}}, PartEnd::Rotation);
    record("b.qornts", {}, PartEnd::Rotation, "2024-05-06T07:00:01");
    record("c.qornts", {{1, 500 * kSecond}, {2, 600 * kSecond}}, PartEnd::Operator, "2024-05-06T07:00:02");
    const Tags all{{0, 100 * kSecond}, {1, 500 * kSecond}, {2, 600 * kSecond}};
    const ToolRun exported = run({"export", "a.qornts", "b.qornts", "c.qornts", "--csv", "-"});
    EXPECT_EQ(exported.output, csvOf(all));
    EXPECT_EQ(exported.errors, "");
    std::filesystem::remove(file("b.qornts.json"));
    const ToolRun without = run({"export", "a.qornts", "b.qornts", "c.qornts", "--csv", "-"});
    EXPECT_NE(without.errors.find("b.qornts has no companion"), std::string::npos) << without.errors;
    EXPECT_EQ(without.output, csvOf(nearestToTheLatest(all)));
}

TEST_F(QorntsVerify, ACompanionThatAgreesOnlyAtFirstIsLeftWhereItDoesNot) {
    record("run.qornts", generateTags({.seed = 4, .count = 100'000, .mean_gap_ps = 1e8}));
    RecordingCompanion facts = companionOf("run.qornts");
    facts.checkpoints[1].time_ps += 1;
    setCompanion("run.qornts", facts);
    const ToolRun exported = run({"export", "run.qornts", "--csv", "-"});
    EXPECT_EQ(exported.code, 0);
    EXPECT_TRUE(isOneErrorLine(exported.errors, "run.qornts.json does not agree with the records"));
}

TEST_F(QorntsVerify, TellsOfUnreadableStretches) {
    record("run.qornts", some);
    RecordingCompanion told = companionOf("run.qornts");
    told.losses = {{2, 6 * kPairSecond, "unreadable", 19}, {4, 71 * kPairSecond, "unreadable", 1}};
    setCompanion("run.qornts", told);
    const std::string reservation =
        "20 bytes of the stream held no tag, the first near record 2: tags of theirs are "
        "missing, and tags near them may be wrong";
    EXPECT_EQ(run({"verify", "run.qornts"}).output, "run.qornts: fine; " + reservation + '\n');
    const ToolRun info = run({"info", "run.qornts"});
    EXPECT_EQ(factsOf(info.output).at("lost"), "0");
    EXPECT_EQ(factsOf(info.output).at("unreadable (bytes)"), "20");
    EXPECT_TRUE(isOneErrorLine(info.errors, reservation));
    EXPECT_TRUE(isOneErrorLine(run({"export", "run.qornts", "--csv", "out.csv"}).errors, reservation));
}

} // namespace
} // namespace qorn::testing
