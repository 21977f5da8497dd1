// The command line of qornts, what it says of files, and how it refuses them.
#include "QorntsStage.h"

#include "TagGenerator.h"
#include "TagStreamEncoder.h"

#include <cstdlib>

namespace qorn::testing {
namespace {

class Qornts : public QorntsTest {};

constexpr std::int64_t kSecond = 1'000'000'000'000;

double number(const std::map<std::string, std::string>& facts, const std::string& key) {
    const auto found = facts.find(key);
    if (found == facts.end()) {
        ADD_FAILURE() << "nothing about " << key;
        return -1;
    }
    char* end = nullptr;
    const double value = std::strtod(found->second.c_str(), &end);
    EXPECT_EQ(*end, '\0') << key << ": " << found->second;
    return value;
}

// --- command line ------------------------------------------------------------------------------------------

TEST_F(Qornts, HelpTellsTheCommandsAndOptions) {
    for (const Words& arguments : {Words{"--help"}, Words{"-h"}}) {
        const ToolRun help = run(arguments);
        EXPECT_EQ(help.code, 0);
        EXPECT_EQ(help.errors, "");
        for (const char* part :
             {"qornts info FILE", "qornts export FILE", "qornts verify FILE", "qornts recover FILE",
              "--csv OUT", "--npy OUT", "--force", "--help", "--version"}) {
            EXPECT_NE(help.output.find(part), std::string::npos) << part;
        }
    }
}

TEST_F(Qornts, TellsItsVersion) {
    const ToolRun version = run({"--version"});
    EXPECT_EQ(version.code, 0);
    EXPECT_EQ(version.output, "qornts " QORN_VERSION "\n");
    EXPECT_EQ(version.errors, "");
}

TEST_F(Qornts, WrongUsageIsOneLineAndStatusTwo) {
    const std::string& recording = golden[0];
    for (const Words& arguments : {Words{},
                                   Words{"info"},
                                   Words{"export"},
                                   Words{"describe", recording},
                                   Words{recording},
                                   Words{"--info", recording},
                                   Words{"info", "--nonsense", recording},
                                   Words{"info", "-x", recording},
                                   Words{"info", recording, "--force"},
                                   Words{"info", recording, "--csv", "out"},
                                   Words{"export", recording},
                                   Words{"export", recording, "--force"},
                                   Words{"export", recording, "--csv"},
                                   Words{"export", recording, "--npy"},
                                   Words{"export", "--csv", "out"},
                                   Words{"export", recording, "--csv", "a", "--npy", "b"},
                                   Words{"export", recording, "--csv", "a", "--csv", "b"},
                                   Words{"export", recording, "--csv", ""},
                                   Words{"export", recording, "--npy", "-"},
                                   Words{"export", recording, "--xml", "out"}}) {
        const ToolRun refused = run(arguments);
        std::string line = "qornts";
        for (const std::string& argument : arguments) {
            line += ' ' + argument;
        }
        EXPECT_EQ(refused.code, 2) << line;
        EXPECT_EQ(refused.output, "") << line;
        EXPECT_TRUE(isOneErrorLine(refused.errors, "")) << line;
        EXPECT_EQ(filesInFolder(), Words{}) << line;
    }
}

// --- info --------------------------------------------------------------------------------------------------

TEST_F(Qornts, InfoTellsWhatARecordingHolds) {
    const ToolRun info = run({"info", golden[0], golden[1]});
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.errors, "");
    const auto facts = factsOf(info.output);
    const auto text = [&facts](const char* key) {
        const auto found = facts.find(key);
        return found == facts.end() ? std::string("nothing") : found->second;
    };
    EXPECT_EQ(text("file"), golden[0] + '|' + golden[1]);
    EXPECT_EQ(text("created"), "2026-03-04T05:06:07.089Z");
    EXPECT_EQ(text("application"), "Qorn Timing 0.3.0");
    EXPECT_EQ(text("product"), "Scripted TDC");
    EXPECT_EQ(text("serial"), "SN0001");
    EXPECT_EQ(text("port"), "ftdi://SN0001");
    EXPECT_EQ(text("format"), "raw64");
    EXPECT_EQ(text("mode"), "external");
    EXPECT_EQ(text("transport"), "usb");
    EXPECT_EQ(text("channel mask"), "11");
    EXPECT_EQ(text("tags"), "16");
    EXPECT_EQ(text("tags ch1"), "10");
    EXPECT_EQ(text("tags ch2"), "3");
    EXPECT_EQ(text("tags ch3"), "0");
    EXPECT_EQ(text("tags ch4"), "3");
    EXPECT_DOUBLE_EQ(number(facts, "span (s)"), 38.0);
    EXPECT_NEAR(number(facts, "rate (Hz)"), 16 / 38.0, 1e-6);
    EXPECT_NEAR(number(facts, "rate ch1 (Hz)"), 10 / 38.0, 1e-6);
    EXPECT_NEAR(number(facts, "rate ch2 (Hz)"), 3 / 38.0, 1e-6);
    EXPECT_EQ(number(facts, "rate ch3 (Hz)"), 0);
    EXPECT_NEAR(number(facts, "rate ch4 (Hz)"), 3 / 38.0, 1e-6);
}

TEST_F(Qornts, InfoOfOnePartTellsThatPart) {
    const auto facts = factsOf(run({"info", golden[0]}).output);
    EXPECT_EQ(number(facts, "tags"), 6);
    EXPECT_NEAR(number(facts, "span (s)"), 12.315125997575, 1e-12);
}

TEST_F(Qornts, InfoOfARecordingWithoutTagsHasNoRates) {
    writeRecording(file("empty.qornts"), {});
    const ToolRun info = run({"info", "empty.qornts"});
    EXPECT_EQ(info.code, 0);
    const auto facts = factsOf(info.output);
    for (const char* key : {"tags", "tags ch1", "tags ch4", "span (s)", "rate (Hz)", "rate ch1 (Hz)"}) {
        EXPECT_EQ(number(facts, key), 0) << key;
    }
}

TEST_F(Qornts, InfoOfOneTagHasNoInfiniteRate) {
    writeRecording(file("one.qornts"), Tags{{2, 77}});
    const auto facts = factsOf(run({"info", "one.qornts"}).output);
    EXPECT_EQ(number(facts, "tags ch3"), 1);
    EXPECT_EQ(number(facts, "span (s)"), 0);
    EXPECT_EQ(number(facts, "rate ch3 (Hz)"), 0);
}

TEST_F(Qornts, InfoReadsTheOtherFormatsToo) {
    const Tags sent = generateTags({.seed = 3, .count = 5000, .mean_gap_ps = 1e6, .resolution_ps = 8});
    writeStreamFile(file("packed.qornts"), HeaderText().setText("stream_format", "packed_delta").json(),
                    encodePacked(sent, {.sync_every = 500}).bytes);
    const ToolRun info = run({"info", "packed.qornts"});
    EXPECT_EQ(info.code, 0) << info.errors;
    const auto facts = factsOf(info.output);
    EXPECT_EQ(facts.at("format"), "packed_delta");
    EXPECT_EQ(number(facts, "tags"), 5000);
}

TEST_F(Qornts, InfoWarnsOfASilenceThatLeavesDoubt) {
    writeRecording(file("silent.qornts"), Tags{{0, kSecond}, {0, 9 * kSecond}, {1, 9 * kSecond + 5}});
    const ToolRun info = run({"info", "silent.qornts"});
    EXPECT_EQ(info.code, 0);
    EXPECT_TRUE(info.errors.starts_with("qornts: warning: ")) << info.errors;
    EXPECT_EQ(number(factsOf(info.output), "tags"), 3);
}

TEST_F(Qornts, InfoWarnsOfStrangeBytes) {
    Bytes words = raw64Stream({raw64Picoseconds(1, 1000)});
    words.insert(words.end(), 5, 0xFF);
    appendBytes(words, raw64Stream({raw64Picoseconds(1, 2000)}));
    writeStreamFile(file("strange.qornts"), HeaderText().json(), words);
    const ToolRun info = run({"info", "strange.qornts"});
    EXPECT_TRUE(info.errors.starts_with("qornts: warning: ")) << info.errors;
    EXPECT_EQ(number(factsOf(info.output), "tags"), 2);
}

TEST_F(Qornts, InfoOfACutFileTellsWhatIsThereAndFails) {
    Bytes bytes = readBytes(golden[0]);
    bytes.resize(bytes.size() - 3);
    writeBytes(file("cut.qornts"), bytes);
    const ToolRun info = run({"info", "cut.qornts"});
    EXPECT_EQ(info.code, 1);
    EXPECT_TRUE(isOneErrorLine(info.errors, "cut.qornts: the last record is cut off"));
    EXPECT_EQ(number(factsOf(info.output), "tags"), 5);
}

TEST_F(Qornts, TextsOfAHeaderForgeNoLinesAndReachNoTerminal) {
    writeRecording(file("hostile.qornts"), Tags{{0, 1}},
                   HeaderText()
                       .set("application", R"("a\nformat: forged\r\u001b[2J")")
                       .set("device_product", "\"\xC2\x9B"
                                              R"(31m\u0007\u007f")"));
    const ToolRun info = run({"info", "hostile.qornts"});
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(factsOf(info.output).at("format"), "raw64"); // fails for a key that is there twice
    for (const char byte : info.output) {
        EXPECT_TRUE(byte == '\n' || static_cast<unsigned char>(byte) >= 32) << info.output;
        EXPECT_NE(byte, '\x7F');
    }
    EXPECT_EQ(info.output.find("\xC2\x9B"), std::string::npos) << "a control character of eight bits";
}

// --- files that are not what they should be ----------------------------------------------------------------

// Both commands refuse the file with a line that names it, and leave nothing behind.
class BadFile : public Qornts {
protected:
    void expectRefused(const Words& files, const std::string& named) {
        const Words before = filesInFolder();
        for (const Words& tail :
             {Words{}, Words{"--csv", "out"}, Words{"--npy", "out"}, Words{"--csv", "-"}}) {
            Words arguments{tail.empty() ? "info" : "export"};
            arguments.insert(arguments.end(), files.begin(), files.end());
            arguments.insert(arguments.end(), tail.begin(), tail.end());
            const ToolRun refused = run(arguments);
            EXPECT_EQ(refused.code, 1) << named;
            EXPECT_TRUE(isOneErrorLine(refused.errors, named));
            EXPECT_EQ(filesInFolder(), before) << named;
            if (files.size() == 1) {
                EXPECT_EQ(refused.output, "") << named;
            }
        }
    }
};

TEST_F(BadFile, ThatIsMissingIsNamed) {
    expectRefused({"missing.qornts"}, "missing.qornts");
    expectRefused({"no folder/run.qornts"}, "no folder/run.qornts");
    expectRefused({golden[0], "missing.qornts"}, "missing.qornts");
}

TEST_F(BadFile, ThatIsAFolderIsNamed) {
    std::filesystem::create_directory(file("folder"));
    expectRefused({"folder"}, "folder");
    expectRefused({"."}, ".");
}

TEST_F(BadFile, OfAnotherKindIsNamed) {
    writeBytes(file("empty.qornts"), {});
    writeBytes(file("notes.txt"), Bytes(5000, 'x'));
    expectRefused({"empty.qornts"}, "empty.qornts");
    expectRefused({"notes.txt"}, "notes.txt");
    expectRefused({golden[0], "notes.txt"}, "notes.txt");
    expectRefused({"notes.txt", golden[0]}, "notes.txt");
    expectRefused({QORN_QORNTS}, "qornts");
}

TEST_F(BadFile, ThatEndsInItsHeaderIsNamed) {
    const Bytes whole = readBytes(golden[0]);
    for (const std::size_t size : {1U, 8U, 11U, 12U, 13U, 200U}) {
        writeBytes(file("cut.qornts"), std::span(whole).first(size));
        expectRefused({"cut.qornts"}, "cut.qornts");
    }
}

TEST_F(BadFile, WithABrokenHeaderIsNamed) {
    for (const std::string& json : {std::string("{}"), std::string("[1,2]"), std::string(300, '{'),
                                    HeaderText().setText("stream_format", "raw32").json(),
                                    HeaderText().set("schema_version", "2").json(),
                                    HeaderText().setText("stream_format", "x\\nqornts: forged").json()}) {
        writeStreamFile(file("broken.qornts"), json, Bytes(8));
        expectRefused({"broken.qornts"}, "broken.qornts");
    }
}

TEST_F(BadFile, WithAForgedLengthIsRefusedAtOnce) {
    Bytes bytes = readBytes(golden[0]);
    for (std::size_t index = 8; index < 12; ++index) {
        bytes[index] = 0xFF;
    }
    writeBytes(file("forged.qornts"), bytes);
    expectRefused({"forged.qornts"}, "forged.qornts");
    std::filesystem::resize_file(file("forged.qornts"), std::uintmax_t{5} << 30);
    expectRefused({"forged.qornts"}, "forged.qornts");
    EXPECT_LT(run({"info", "forged.qornts"}).peakBytes,
              run({"info", golden[0]}).peakBytes + (std::size_t{64} << 20));
}

TEST_F(BadFile, ThatIsAPartOfAnotherRecordingIsNamed) {
    writeRecording(file("other.qornts"), Tags{{0, 1}}, HeaderText().setText("device_serial", "SN0002"));
    expectRefused({golden[0], "other.qornts"}, "other.qornts");
}

TEST_F(BadFile, WithALineEndInItsNameIsOneLineStill) {
    expectRefused({"two\nlines.qornts"}, "lines.qornts");
}

TEST_F(Qornts, ACutFileIsNotExported) {
    Bytes bytes = readBytes(golden[0]);
    bytes.resize(bytes.size() - 3);
    writeBytes(file("cut.qornts"), bytes);
    for (const char* form : {"--csv", "--npy"}) {
        const ToolRun refused = run({"export", "cut.qornts", form, "out"});
        EXPECT_EQ(refused.code, 1);
        EXPECT_TRUE(isOneErrorLine(refused.errors, "cut.qornts: the last record is cut off"));
        EXPECT_EQ(filesInFolder(), Words{"cut.qornts"});
    }
}

} // namespace
} // namespace qorn::testing
