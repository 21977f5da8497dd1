// What qornts finds of recordings and their companions, what it mends, and which times it gives.
#include "QorntsStage.h"

#include "Crc32.h"
#include "RecordTimes.h"
#include "RecordingCompanionFile.h"
#include "RecordingTally.h"
#include "ScriptedDriver.h"
#include "TagGenerator.h"
#include "TagWords.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <thread>

namespace qorn::testing {
namespace {

using timing::PartEnd;
using timing::RecordingCompanion;

constexpr std::int64_t kSecond = 1'000'000'000'000;

class QorntsVerify : public QorntsTest {
protected:
    // A recording with its companion, as the application makes them.
    void record(const std::string& name, const Tags& tags, PartEnd end = PartEnd::Operator,
                const std::string& created = "2024-05-06T07:00:00") {
        writeRecording(file(name), tags, HeaderText().setText("created_utc", created));
        const Bytes bytes = readBytes(file(name));
        const std::size_t head = bytes.size() - 8 * tags.size();
        timing::RecordingTally tally(std::span<const std::uint8_t>(bytes).first(head));
        for (const timing::RecordTime& time : timing::RecordTimes().of(tags)) {
            tally.expect(time);
        }
        tally.add(std::span(bytes).subspan(head));
        ASSERT_EQ(timing::write_companion(file(name), tally.companion(end)), std::nullopt);
    }
    void expectFine(const std::string& name) {
        const ToolRun verified = run({"verify", name});
        EXPECT_EQ(verified.code, 0) << verified.errors;
        EXPECT_EQ(verified.output, name + ": fine\n");
        EXPECT_EQ(verified.errors, "");
    }
    // One fault at least, each in a line of its own that names the file, with `part` in one of them.
    void expectFault(const std::string& name, const std::string& part) {
        const ToolRun verified = run({"verify", name});
        EXPECT_EQ(verified.code, 1) << part;
        EXPECT_EQ(verified.output, "") << part;
        EXPECT_NE(verified.errors.find(part), std::string::npos) << part << " is not in " << verified.errors;
        EXPECT_TRUE(verified.errors.starts_with("qornts: ")) << verified.errors;
        EXPECT_NE(verified.errors.find(name), std::string::npos) << verified.errors;
    }
    RecordingCompanion companionOf(const std::string& name) const {
        return timing::read_companion(file(name)).value_or(RecordingCompanion{});
    }
    void setCompanion(const std::string& name, const RecordingCompanion& companion) const {
        ASSERT_EQ(timing::write_companion(file(name), companion), std::nullopt);
    }

    const Tags some{
        {0, 5 * kSecond}, {1, 6 * kSecond}, {3, 70 * kSecond}, {0, 71 * kSecond}, {2, 200 * kSecond}};
};

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
    const std::string deep(10'000'000, '[');
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
    for (const char* name : {"notes.txt", "delta.qornts", "missing.qornts", "."}) {
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

// --- recovery ----------------------------------------------------------------------------------------------

class QorntsRecover : public QorntsVerify {
protected:
    // The pair of a program that died: some records came behind the companion's last refresh.
    void die(const Tags& tags, std::size_t told, std::size_t cutBytes = 0) {
        record("run.qornts", Tags(tags.begin(), tags.begin() + static_cast<std::ptrdiff_t>(told)),
               PartEnd::Open);
        Bytes bytes = readBytes(file("run.qornts"));
        timing::appendDecodedQorntsTags(bytes, std::span(tags).subspan(told));
        bytes.resize(bytes.size() - cutBytes);
        writeBytes(file("run.qornts"), bytes);
    }
};

TEST_F(QorntsRecover, MakesTheCompanionAnewAndKeepsTrueTimes) {
    const Tags tags{{0, 100 * kSecond}, {1, 160 * kSecond}, {2, 161 * kSecond}, {3, 162 * kSecond}};
    die(tags, 2);
    const Bytes stream = readBytes(file("run.qornts"));
    expectFault("run.qornts", "it was never ended: its program died");
    expectFault("run.qornts", "2 records from record 2");
    const ToolRun recovered = run({"recover", "run.qornts"});
    EXPECT_EQ(recovered.code, 0) << recovered.errors;
    EXPECT_EQ(recovered.output, "run.qornts: recovered, 4 records\n");
    EXPECT_EQ(companionOf("run.qornts").end, PartEnd::Recovered);
    EXPECT_EQ(readBytes(file("run.qornts")), stream);
    expectFine("run.qornts");
    EXPECT_EQ(run({"export", "run.qornts", "--csv", "-"}).output, csvOf(tags));
    EXPECT_EQ(filesInFolder(), (Words{"run.qornts", "run.qornts.json"}));
    EXPECT_EQ(run({"recover", "run.qornts"}).output,
              "run.qornts: has its end and its companion; nothing to do\n");
}

TEST_F(QorntsRecover, KeepsTheBytesOfACutRecord) {
    die(some, 2, 3);
    const Bytes stream = readBytes(file("run.qornts"));
    const ToolRun recovered = run({"recover", "run.qornts"});
    EXPECT_EQ(recovered.code, 0) << recovered.errors;
    EXPECT_TRUE(isOneErrorLine(recovered.errors, "run.qornts.cut"));
    expectFine("run.qornts");
    Bytes together = readBytes(file("run.qornts"));
    EXPECT_EQ(together.size(), stream.size() - 5);
    appendBytes(together, readBytes(file("run.qornts.cut")));
    EXPECT_EQ(together, stream);
}

TEST_F(QorntsRecover, ReplacesNoEarlierCut) {
    die(some, 2, 3);
    writeBytes(file("run.qornts.cut"), Bytes(2));
    const Bytes stream = readBytes(file("run.qornts"));
    EXPECT_EQ(run({"recover", "run.qornts"}).code, 1);
    EXPECT_EQ(readBytes(file("run.qornts")), stream);
    EXPECT_EQ(readBytes(file("run.qornts.cut")), Bytes(2));
    EXPECT_EQ(companionOf("run.qornts").end, PartEnd::Open);
}

TEST_F(QorntsRecover, AFileThatIsShorterThanToldIsMadeWhole) {
    record("run.qornts", some, PartEnd::Open);
    std::filesystem::resize_file(file("run.qornts"), std::filesystem::file_size(file("run.qornts")) - 16);
    expectFault("run.qornts", "tells of 5 records, but the file has 3");
    EXPECT_EQ(run({"recover", "run.qornts"}).code, 0);
    expectFine("run.qornts");
    EXPECT_EQ(run({"export", "run.qornts", "--csv", "-"}).output,
              csvOf(Tags(some.begin(), some.begin() + 3)));
}

TEST_F(QorntsRecover, WithoutACompanionTheRecordsAloneCount) {
    writeRecording(file("run.qornts"), some);
    const ToolRun recovered = run({"recover", "run.qornts"});
    EXPECT_EQ(recovered.code, 0);
    EXPECT_TRUE(isOneErrorLine(recovered.errors, "the records alone"));
    expectFine("run.qornts");
}

TEST_F(QorntsRecover, ABrokenCompanionIsKept) {
    writeRecording(file("run.qornts"), some);
    writeBytes(file("run.qornts.json"), Bytes(10, '{'));
    EXPECT_EQ(run({"recover", "run.qornts"}).code, 0);
    expectFine("run.qornts");
    EXPECT_EQ(readBytes(file("run.qornts.json.old")), Bytes(10, '{'));
}

TEST_F(QorntsRecover, DamageIsNotCoveredUp) {
    die(some, 4);
    Bytes bytes = readBytes(file("run.qornts"));
    bytes[bytes.size() - 8 * 3 - 1] ^= 1;
    writeBytes(file("run.qornts"), bytes);
    const ToolRun refused = run({"recover", "run.qornts"});
    EXPECT_EQ(refused.code, 1);
    EXPECT_NE(refused.errors.find("records 0 to 3"), std::string::npos) << refused.errors;
    EXPECT_EQ(companionOf("run.qornts").end, PartEnd::Open);
    EXPECT_EQ(readBytes(file("run.qornts")), bytes);
}

TEST_F(QorntsRecover, AForeignCompanionIsNotUsed) {
    record("run.qornts", some, PartEnd::Open);
    record("other.qornts", some, PartEnd::Open, "2024-05-06T07:00:01");
    std::filesystem::rename(file("other.qornts.json"), file("run.qornts.json"));
    EXPECT_EQ(run({"recover", "run.qornts"}).code, 1);
}

TEST_F(QorntsRecover, MakesARecordingWholeWhoseProgramWasKilled) {
    constexpr std::uint64_t kTagsPerPass = 5000;
    for (const std::uint64_t passes : {1, 50, 90}) { // refreshed never, once and twice
        const std::string name = "run" + std::to_string(passes) + ".qornts";
        ChildProcess::Options options;
        options.inputOpen = true;
        ChildProcess child(QORN_RECORDING_CHILD,
                           {file(name), std::to_string(kTagsPerPass), std::to_string(passes)}, options);
        ASSERT_TRUE(child.waitForOutput("idle\n")) << child.errors();
        const auto limit = std::chrono::steady_clock::now() + kEventLimit;
        while (std::filesystem::file_size(file(name)) < 8 * kTagsPerPass * passes &&
               std::chrono::steady_clock::now() < limit) {
            std::this_thread::yield();
        }
        expectFault(name, "it is being recorded still");
        EXPECT_EQ(run({"recover", name}).code, 1) << "not while it is recorded";
        child.send(SIGKILL);
        EXPECT_EQ(child.wait().signal, SIGKILL);
        expectFault(name, "it was never ended");
        EXPECT_LT(companionOf(name).records, kTagsPerPass * passes);
        EXPECT_EQ(companionOf(name).records > 0, passes > 1);
        const ToolRun recovered = run({"recover", name});
        EXPECT_EQ(recovered.code, 0) << recovered.errors;
        expectFine(name);
        const RecordingCompanion companion = companionOf(name);
        EXPECT_EQ(companion.end, PartEnd::Recovered);
        EXPECT_EQ(companion.records, kTagsPerPass * passes);
        EXPECT_EQ(companion.last_time_ps, static_cast<std::int64_t>(companion.records - 1) * 10'000'000);
    }
}

} // namespace
} // namespace qorn::testing
