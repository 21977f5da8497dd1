// What qornts exports, and that a failed or interrupted export leaves everything as it was.
#include "QorntsStage.h"

#include "ComparedDecoder.h"
#include "TagGenerator.h"

#include <csignal>

namespace qorn::testing {
namespace {

class QorntsExport : public QorntsTest {};

constexpr std::size_t kMebibyte = std::size_t{1} << 20;

TEST_F(QorntsExport, GivesTheGoldenRecordingAsText) {
    const ToolRun done = run({"export", golden[0], golden[1], "--csv", "out.csv"});
    EXPECT_EQ(done.code, 0);
    EXPECT_EQ(done.output, "");
    EXPECT_EQ(done.errors, "");
    EXPECT_EQ(textOf(file("out.csv")), goldenCsv);
    EXPECT_EQ(filesInFolder(), Words{"out.csv"});
}

TEST_F(QorntsExport, GivesTextToStandardOutput) {
    const ToolRun done = run({"export", golden[0], golden[1], "--csv", "-"});
    EXPECT_EQ(done.code, 0);
    EXPECT_EQ(done.output, goldenCsv);
    EXPECT_EQ(done.errors, "");
    EXPECT_EQ(filesInFolder(), Words{});
}

TEST_F(QorntsExport, GivesTheGoldenRecordingAsAnArray) {
    const ToolRun done = run({"export", golden[0], golden[1], "--npy", "out.npy"});
    EXPECT_EQ(done.code, 0);
    EXPECT_EQ(done.output, "");
    EXPECT_EQ(done.errors, "");
    EXPECT_EQ(csvOf(tagsOfNpy(file("out.npy"))), goldenCsv);
    EXPECT_EQ(filesInFolder(), Words{"out.npy"});
}

TEST_F(QorntsExport, TakesOptionsInAnyOrder) {
    for (const Words& arguments : {Words{"export", "--csv", "-", golden[0], golden[1]},
                                   Words{"export", golden[0], "--csv", "-", golden[1]},
                                   Words{"export", "--csv", "-", "--", golden[0], golden[1]}}) {
        EXPECT_EQ(run(arguments).output, goldenCsv);
    }
}

TEST_F(QorntsExport, HoldsEveryTagOfALongRecordingInParts) {
    const Tags sent = generateTags({.seed = 8, .count = 300'000, .mean_gap_ps = 8e8, .burst_chance = 0.1});
    writeRecording(file("a.qornts"), std::span(sent).first(1));
    writeRecording(file("b.qornts"), std::span(sent).subspan(1, 200'000));
    writeRecording(file("c.qornts"), std::span(sent).subspan(200'001));
    EXPECT_EQ(run({"export", "a.qornts", "b.qornts", "c.qornts", "--csv", "out.csv"}).code, 0);
    EXPECT_EQ(run({"export", "a.qornts", "b.qornts", "c.qornts", "--npy", "out.npy"}).code, 0);
    EXPECT_TRUE(textOf(file("out.csv")) == csvOf(sent));
    EXPECT_TRUE(sameTags(sent, tagsOfNpy(file("out.npy"))));
}

TEST_F(QorntsExport, OfNoTagsIsAnEmptyTable) {
    writeRecording(file("empty.qornts"), {});
    EXPECT_EQ(run({"export", "empty.qornts", "--csv", "-"}).output, "channel,time_ps\n");
    EXPECT_EQ(run({"export", "empty.qornts", "--npy", "out.npy"}).code, 0);
    EXPECT_TRUE(tagsOfNpy(file("out.npy")).empty());
}

TEST_F(QorntsExport, HasNegativeTimesWhereThereAreSuch) {
    const Tags sent{{0, 5}, {3, -10}, {1, 20}}; // a step back over the first word
    writeRecording(file("run.qornts"), sent);
    EXPECT_EQ(run({"export", "run.qornts", "--csv", "-"}).output, csvOf(sent));
    EXPECT_EQ(run({"export", "run.qornts", "--npy", "out.npy"}).code, 0);
    EXPECT_EQ(tagsOfNpy(file("out.npy")), sent);
}

// --- existing files ----------------------------------------------------------------------------------------

class ExistingFile : public QorntsExport, public ::testing::WithParamInterface<const char*> {
protected:
    ExistingFile() { writeBytes(file("out"), earlier); }
    const Bytes earlier = Bytes(100, 'e');
};

TEST_P(ExistingFile, IsNotReplaced) {
    const ToolRun refused = run({"export", golden[0], GetParam(), "out"});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(isOneErrorLine(refused.errors, "out"));
    EXPECT_NE(refused.errors.find("--force"), std::string::npos) << refused.errors;
    EXPECT_EQ(readBytes(file("out")), earlier);
    EXPECT_EQ(filesInFolder(), Words{"out"});
}

TEST_P(ExistingFile, IsReplacedByForce) {
    EXPECT_EQ(run({"export", golden[0], golden[1], GetParam(), "out", "--force"}).code, 0);
    const bool csv = std::string(GetParam()) == "--csv";
    EXPECT_EQ(csv ? textOf(file("out")) : csvOf(tagsOfNpy(file("out"))), goldenCsv);
    EXPECT_EQ(filesInFolder(), Words{"out"});
}

TEST_P(ExistingFile, SurvivesAFailedExport) {
    writeBytes(file("notes.txt"), Bytes(100, 'x'));
    EXPECT_EQ(run({"export", golden[0], "notes.txt", GetParam(), "out", "--force"}).code, 1);
    EXPECT_EQ(readBytes(file("out")), earlier);
    EXPECT_EQ(filesInFolder(), (Words{"notes.txt", "out"}));
}

TEST_P(ExistingFile, SurvivesADiskThatFillsUp) {
    writeRecording(file("run.qornts"), generateTags({.seed = 8, .count = 500'000, .mean_gap_ps = 1e6}));
    ChildProcess::Options options = here();
    options.largestFile = kMebibyte;
    const ToolRun failed = run({"export", "run.qornts", GetParam(), "out", "--force"}, options);
    EXPECT_EQ(failed.code, 1) << "signal " << failed.signal;
    EXPECT_TRUE(isOneErrorLine(failed.errors, "out"));
    EXPECT_EQ(readBytes(file("out")), earlier);
    EXPECT_EQ(filesInFolder(), (Words{"out", "run.qornts"}));
}

TEST_P(ExistingFile, SurvivesAnInterrupt) {
    const std::string recording = sparseRecording("run.qornts", 4096 * kMebibyte); // some ten seconds' work
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ChildProcess tool(QORN_QORNTS, {"export", recording, GetParam(), "out", "--force"}, here());
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (filesInFolder().size() < 3 && std::chrono::steady_clock::now() < limit) {
            std::this_thread::yield();
        }
        EXPECT_EQ(filesInFolder().size(), 3U) << "it writes to a file of its own";
        tool.send(signal);
        const ChildProcess::Ending ending = tool.wait();
        EXPECT_TRUE(ending.signal == signal || ending.code == 128 + signal)
            << ending.signal << " or " << ending.code << " for " << signal;
        EXPECT_EQ(readBytes(file("out")), earlier);
        EXPECT_EQ(filesInFolder(), (Words{"out", "run.qornts"})) << signal;
    }
}

INSTANTIATE_TEST_SUITE_P(Forms, ExistingFile, ::testing::Values("--csv", "--npy"),
                         [](const auto& test) { return std::string(test.param).substr(2); });

TEST_F(QorntsExport, ARecordingDoesNotReplaceItself) {
    const Bytes recording = readBytes(golden[0]);
    writeBytes(file("run.qornts"), recording);
    std::filesystem::create_hard_link(file("run.qornts"), file("linked.qornts"));
    for (const char* name : {"run.qornts", "./run.qornts", "linked.qornts"}) {
        const ToolRun refused = run({"export", "run.qornts", "--csv", name, "--force"});
        EXPECT_EQ(refused.code, 1) << name;
        EXPECT_TRUE(isOneErrorLine(refused.errors, "run.qornts") || isOneErrorLine(refused.errors, name));
        EXPECT_EQ(readBytes(file("run.qornts")), recording) << name;
    }
}

TEST_F(QorntsExport, AFolderIsNotReplaced) {
    std::filesystem::create_directory(file("folder"));
    for (const Words& options : {Words{}, Words{"--force"}}) {
        Words arguments{"export", golden[0], "--csv", "folder"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const ToolRun refused = run(arguments);
        EXPECT_EQ(refused.code, 1);
        EXPECT_TRUE(isOneErrorLine(refused.errors, "folder"));
        EXPECT_TRUE(std::filesystem::is_directory(file("folder")));
        EXPECT_EQ(filesInFolder(), Words{"folder"});
    }
}

TEST_F(QorntsExport, IntoAMissingFolderIsRefused) {
    const ToolRun refused = run({"export", golden[0], "--csv", "no folder/out"});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(isOneErrorLine(refused.errors, "no folder/out"));
    EXPECT_EQ(filesInFolder(), Words{});
}

TEST_F(QorntsExport, AFullStandardOutputIsAnError) {
    ChildProcess::Options options = here();
    options.standardOutput = "/dev/full";
    for (const Words& arguments : {Words{"export", golden[0], "--csv", "-"}, Words{"info", golden[0]}}) {
        const ToolRun failed = run(arguments, options);
        EXPECT_EQ(failed.code, 1);
        EXPECT_TRUE(isOneErrorLine(failed.errors, ""));
    }
}

TEST_F(QorntsExport, ANewOneIsLeftToNoInterrupt) {
    const std::string recording = sparseRecording("run.qornts", 4096 * kMebibyte);
    ChildProcess tool(QORN_QORNTS, {"export", recording, "--npy", "out"}, here());
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (filesInFolder().size() < 2 && std::chrono::steady_clock::now() < limit) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(std::filesystem::exists(file("out"))) << "not before it is whole";
    tool.send(SIGINT);
    tool.wait();
    EXPECT_EQ(filesInFolder(), Words{"run.qornts"});
}

// --- progress and memory -----------------------------------------------------------------------------------

TEST_F(QorntsExport, ShowsProgressOnATerminalAndNowhereElse) {
    const std::string recording =
        sparseRecording("run.qornts", 16384 * kMebibyte); // nobody waits for its end
    for (const Words& arguments : {Words{"export", recording, "--csv", "-"}, Words{"info", recording}}) {
        ChildProcess::Options silent = here();
        silent.standardOutput = "/dev/null";
        ChildProcess::Options seen = silent;
        seen.terminal = true;
        ChildProcess first(QORN_QORNTS, arguments, silent); // runs the longer of the two
        ChildProcess second(QORN_QORNTS, arguments, seen);
        EXPECT_TRUE(second.waitForErrors("%")) << second.errors();
        EXPECT_TRUE(second.isRunning());
        EXPECT_TRUE(first.isRunning());
        EXPECT_EQ(first.errors(), "");
    }
}

TEST_F(QorntsExport, ThatIsShortShowsNoProgress) {
    ChildProcess::Options options = here();
    options.terminal = true;
    const ToolRun done = run({"export", golden[0], golden[1], "--csv", "out.csv"}, options);
    EXPECT_EQ(done.code, 0);
    EXPECT_EQ(done.errors, "");
}

TEST_F(QorntsExport, TakesTheSameMemoryForAnySize) {
    const std::string small = sparseRecording("small.qornts", 8 * kMebibyte);
    const std::string large = sparseRecording("large.qornts", 256 * kMebibyte);
    ChildProcess::Options options = here();
    options.standardOutput = "/dev/null";
    for (const Words& tail : {Words{"--csv", "-"}, Words{"--npy", "out.npy", "--force"}}) {
        const auto peak = [&](const std::string& recording) {
            Words arguments{"export", recording};
            arguments.insert(arguments.end(), tail.begin(), tail.end());
            const ToolRun done = run(arguments, options);
            EXPECT_EQ(done.code, 0) << done.errors;
            return done.peakBytes;
        };
        EXPECT_LT(peak(large), peak(small) + 16 * kMebibyte) << tail[0];
    }
    EXPECT_LT(run({"info", large}).peakBytes, run({"info", small}).peakBytes + 16 * kMebibyte);
}

} // namespace
} // namespace qorn::testing
