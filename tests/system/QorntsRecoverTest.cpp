// What qornts mends, what it keeps, and what it does not touch.
#include "QorntsPairStage.h"

#include "ScriptedDriver.h"
#include "TagWords.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

namespace qorn::testing {
namespace {

using timing::PartEnd;
using timing::RecordingCompanion;

constexpr std::int64_t kSecond = kPairSecond;

class QorntsRecover : public QorntsPairTest {
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

constexpr const char* kUnvouched =
    "2 records from record 2 on came from a recovery: nothing vouches for them, and "
    "silences among them may be too short by multiples of 14.3 s";

TEST_F(QorntsRecover, MakesTheCompanionAnewAndKeepsTrueTimes) {
    const Tags tags{{0, 100 * kSecond}, {1, 160 * kSecond}, {2, 161 * kSecond}, {3, 162 * kSecond}};
    die(tags, 2);
    const Bytes stream = readBytes(file("run.qornts"));
    expectFault("run.qornts", "it was never ended: its program died");
    expectFault("run.qornts", "2 records from record 2");
    const ToolRun recovered = run({"recover", "run.qornts"});
    EXPECT_EQ(recovered.code, 0) << recovered.errors;
    EXPECT_EQ(recovered.output, "run.qornts: recovered, 4 records; " + std::string(kUnvouched) + '\n');
    EXPECT_EQ(companionOf("run.qornts").end, PartEnd::Recovered);
    EXPECT_EQ(companionOf("run.qornts").unvouched_from, 2U);
    EXPECT_EQ(readBytes(file("run.qornts")), stream);
    expectFine("run.qornts", kUnvouched);
    EXPECT_TRUE(isOneErrorLine(run({"info", "run.qornts"}).errors, kUnvouched));
    EXPECT_EQ(run({"export", "run.qornts", "--csv", "-"}).output, csvOf(tags));
    EXPECT_EQ(filesInFolder(), (Words{"run.qornts", "run.qornts.json"}));
    EXPECT_EQ(run({"recover", "run.qornts"}).output,
              "run.qornts: has its end and its companion; nothing to do\n");
}

TEST_F(QorntsRecover, HasNoReservationWhenTheCompanionToldOfAllRecords) {
    die(some, some.size());
    EXPECT_EQ(run({"recover", "run.qornts"}).output, "run.qornts: recovered, 5 records\n");
    EXPECT_EQ(companionOf("run.qornts").unvouched_from, std::nullopt);
    expectFine("run.qornts");
}

TEST_F(QorntsRecover, StaysUnvouchedWhenItIsRecoveredAgain) {
    die(some, 2);
    ASSERT_EQ(run({"recover", "run.qornts"}).code, 0);
    std::filesystem::resize_file(file("run.qornts"), std::filesystem::file_size(file("run.qornts")) - 8);
    EXPECT_EQ(run({"recover", "run.qornts"}).code, 0);
    EXPECT_EQ(companionOf("run.qornts").records, 4U);
    EXPECT_EQ(companionOf("run.qornts").unvouched_from, 2U);
}

// What a crash of the machine leaves where a file has grown and the bytes had not reached the disk.
TEST_F(QorntsRecover, CutsOffZerosBehindTheLastRecord) {
    for (const std::size_t odd : {0U, 3U}) {
        for (const std::size_t zeros : {2U, 10'000U}) {
            die(some, 2);
            const Bytes stream = readBytes(file("run.qornts"));
            Bytes grown = stream;
            grown.resize(stream.size() + 8 * zeros + odd);
            writeBytes(file("run.qornts"), grown);
            const ToolRun recovered = run({"recover", "run.qornts"});
            EXPECT_EQ(recovered.code, 0) << recovered.errors;
            EXPECT_NE(recovered.errors.find("cut off behind record 5: " + std::to_string(zeros) +
                                            " words of zeros"),
                      std::string::npos)
                << recovered.errors;
            EXPECT_EQ(readBytes(file("run.qornts")), stream);
            EXPECT_EQ(companionOf("run.qornts").records, 5U);
            expectFine("run.qornts", "3 records from record 2 on");
            EXPECT_EQ(std::filesystem::remove(file("run.qornts.cut")), odd > 0);
        }
    }
}

TEST_F(QorntsRecover, CutsOffZerosBehindAnEnd) {
    record("run.qornts", some);
    const Bytes stream = readBytes(file("run.qornts"));
    Bytes grown = stream;
    grown.resize(stream.size() + 16);
    writeBytes(file("run.qornts"), grown);
    expectFault("run.qornts", "tells of an end behind 5 records, but the file has 7");
    EXPECT_EQ(run({"recover", "run.qornts"}).code, 0);
    EXPECT_EQ(readBytes(file("run.qornts")), stream);
    EXPECT_EQ(companionOf("run.qornts").end, PartEnd::Operator);
    expectFine("run.qornts");
}

TEST_F(QorntsRecover, KeepsZerosThatMayBeATagOrThatTheCompanionVouchesFor) {
    die({{0, 5}, {0, 0}, {0, 0}, {1, 7}, {0, 0}}, 3);
    const Bytes stream = readBytes(file("run.qornts"));
    EXPECT_EQ(run({"recover", "run.qornts"}).code, 0);
    EXPECT_EQ(readBytes(file("run.qornts")), stream);
    die({{0, 5}, {0, 0}, {0, 0}}, 3);
    const Bytes vouched = readBytes(file("run.qornts"));
    EXPECT_EQ(run({"recover", "run.qornts"}).code, 0);
    EXPECT_EQ(readBytes(file("run.qornts")), vouched);
}

TEST_F(QorntsRecover, KeepsTheBytesOfACutRecord) {
    die(some, 2, 3);
    const Bytes stream = readBytes(file("run.qornts"));
    const ToolRun recovered = run({"recover", "run.qornts"});
    EXPECT_EQ(recovered.code, 0) << recovered.errors;
    EXPECT_TRUE(isOneErrorLine(recovered.errors, "run.qornts.cut"));
    expectFine("run.qornts", "2 records from record 2 on");
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

TEST_F(QorntsRecover, LeavesNothingOfACutThatFailed) {
    die(some, 2, 3);
    const Bytes stream = readBytes(file("run.qornts"));
    ChildProcess::Options options = here();
    options.largestFile = 2;
    const ToolRun failed = run({"recover", "run.qornts"}, options);
    EXPECT_EQ(failed.code, 1) << "signal " << failed.signal;
    EXPECT_TRUE(isOneErrorLine(failed.errors, "run.qornts.cut: File too large"));
    EXPECT_EQ(filesInFolder(), (Words{"run.qornts", "run.qornts.json"}));
    EXPECT_EQ(readBytes(file("run.qornts")), stream);
    EXPECT_EQ(run({"recover", "run.qornts"}).code, 0) << "the next try";
    expectFine("run.qornts", "2 records from record 2 on");
}

TEST_F(QorntsRecover, RecordsThatAreMissingCountAsLost) {
    for (const auto& [end, left] : {std::pair(PartEnd::Open, 3U), std::pair(PartEnd::Error, 3U),
                                    std::pair(PartEnd::Error, 0U), std::pair(PartEnd::Operator, 0U)}) {
        record("run.qornts", some, end);
        RecordingCompanion told = companionOf("run.qornts");
        told.error = end == PartEnd::Error ? "the cable came off" : "";
        told.losses = {{1, 5 * kSecond, "reader", 7}, {5, 200 * kSecond, "driver", 1}};
        setCompanion("run.qornts", told);
        const Bytes before = readBytes(file("run.qornts.json"));
        const std::size_t missing = some.size() - left;
        std::filesystem::resize_file(file("run.qornts"),
                                     std::filesystem::file_size(file("run.qornts")) - 8 * missing);
        expectFault("run.qornts", "tells of 5 records, but the file has " + std::to_string(left));
        const ToolRun recovered = run({"recover", "run.qornts"});
        EXPECT_EQ(recovered.code, 0);
        const std::string lost = std::to_string(missing + 8) + " tags were lost";
        EXPECT_EQ(recovered.output,
                  "run.qornts: recovered, " + std::to_string(left) + " records; " + lost + "\n");
        EXPECT_NE(recovered.errors.find(std::to_string(missing) + " records that the companion tells of"),
                  std::string::npos)
            << recovered.errors;
        EXPECT_NE(recovered.errors.find("run.qornts.json.old"), std::string::npos) << recovered.errors;
        EXPECT_EQ(readBytes(file("run.qornts.json.old")), before);
        const RecordingCompanion made = companionOf("run.qornts");
        EXPECT_EQ(made.end, end == PartEnd::Open ? PartEnd::Recovered : end);
        EXPECT_EQ(made.error, told.error);
        ASSERT_EQ(made.losses.size(), 3U);
        EXPECT_EQ(made.losses[2],
                  (timing::RecordingLoss{left, left == 0 ? std::nullopt : std::optional(70 * kSecond), "file",
                                         missing}));
        EXPECT_EQ(run({"verify", "run.qornts"}).output, "run.qornts: fine; " + lost + "\n");
        EXPECT_EQ(factsOf(run({"info", "run.qornts"}).output).at("lost"), std::to_string(missing + 8));
        EXPECT_EQ(run({"export", "run.qornts", "--csv", "-"}).output,
                  csvOf(Tags(some.begin(), some.begin() + left)));
        std::filesystem::remove(file("run.qornts.json.old"));
    }
}

TEST_F(QorntsRecover, ReplacesNoEarlierOldCompanion) {
    record("run.qornts", some, PartEnd::Open);
    std::filesystem::resize_file(file("run.qornts"), std::filesystem::file_size(file("run.qornts")) - 16);
    writeBytes(file("run.qornts.json.old"), Bytes(2));
    const Bytes companion = readBytes(file("run.qornts.json"));
    const ToolRun refused = run({"recover", "run.qornts"});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(isOneErrorLine(refused.errors, "run.qornts.json.old: there is such a file already"));
    EXPECT_EQ(readBytes(file("run.qornts.json")), companion);
    EXPECT_EQ(readBytes(file("run.qornts.json.old")), Bytes(2));
}

TEST_F(QorntsRecover, KeepsTheNumberOfSilencesThatAreNotTold) {
    const Tags tags = tagsWithUntoldSilences();
    die(tags, tags.size() - 2);
    const RecordingCompanion told = companionOf("run.qornts");
    ASSERT_GT(told.silences_untold, 0U);
    const ToolRun recovered = run({"recover", "run.qornts"});
    EXPECT_EQ(recovered.code, 0) << recovered.errors;
    const RecordingCompanion made = companionOf("run.qornts");
    EXPECT_EQ(made.records, tags.size());
    EXPECT_EQ(made.silences_untold, told.silences_untold);
    EXPECT_TRUE(made.silences == told.silences);
    EXPECT_EQ(made.last_time_ps, tags.back().timestamp_ps) << "told of the record before";
    EXPECT_EQ(run({"verify", "run.qornts"}).code, 0);
}

TEST_F(QorntsRecover, WithoutACompanionTheRecordsAloneCount) {
    writeRecording(file("run.qornts"), some);
    const ToolRun recovered = run({"recover", "run.qornts"});
    EXPECT_EQ(recovered.code, 0);
    EXPECT_TRUE(isOneErrorLine(recovered.errors, "the records alone"));
    expectFine("run.qornts", "5 records from record 0 on came from a recovery");
}

TEST_F(QorntsRecover, ABrokenCompanionIsKept) {
    writeRecording(file("run.qornts"), some);
    writeBytes(file("run.qornts.json"), Bytes(10, '{'));
    EXPECT_EQ(run({"recover", "run.qornts"}).code, 0);
    expectFine("run.qornts", "5 records from record 0 on came from a recovery");
    EXPECT_EQ(readBytes(file("run.qornts.json.old")), Bytes(10, '{'));
}

TEST_F(QorntsRecover, ABrokenCompanionStaysInItsPlaceWhereRecordsAreBad) {
    writeRecording(file("run.qornts"), some);
    Bytes bytes = readBytes(file("run.qornts"));
    bytes[bytes.size() - 8] |= 0x80;
    writeBytes(file("run.qornts"), bytes);
    writeBytes(file("run.qornts.json"), Bytes(10, '{'));
    for (int attempt = 0; attempt < 2; ++attempt) {
        const ToolRun refused = run({"recover", "run.qornts"});
        EXPECT_EQ(refused.code, 1);
        EXPECT_NE(refused.errors.find("left as it is"), std::string::npos) << refused.errors;
        EXPECT_EQ(filesInFolder(), (Words{"run.qornts", "run.qornts.json"}));
        EXPECT_EQ(readBytes(file("run.qornts.json")), Bytes(10, '{'));
    }
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
    for (const std::uint64_t passes : {1, 50, 90}) {
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
        const std::uint64_t told = companionOf(name).records;
        EXPECT_LE(told, kTagsPerPass * passes);
        const ToolRun recovered = run({"recover", name});
        EXPECT_EQ(recovered.code, 0) << recovered.errors;
        const RecordingCompanion companion = companionOf(name);
        expectFine(name, told < companion.records ? "came from a recovery" : "");
        EXPECT_EQ(companion.end, PartEnd::Recovered);
        EXPECT_EQ(companion.records, kTagsPerPass * passes);
        EXPECT_EQ(companion.last_time_ps, static_cast<std::int64_t>(companion.records - 1) * 10'000'000);
    }
}

} // namespace
} // namespace qorn::testing
