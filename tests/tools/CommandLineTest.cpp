#include "CommandLine.h"

#include <gtest/gtest.h>

namespace qorn::qornts {
namespace {

using Arguments = std::vector<const char*>;

Command parse(const Arguments& arguments) {
    return parseCommandLine(arguments);
}

std::string complaint(const Arguments& arguments) {
    try {
        parseCommandLine(arguments);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "";
}

TEST(CommandLine, InfoTakesFiles) {
    const Command command = parse({"info", "a", "b c", "-"});
    EXPECT_EQ(command.action, Action::Info);
    EXPECT_EQ(command.files, (std::vector<std::filesystem::path>{"a", "b c", "-"}));
}

TEST(CommandLine, ExportTakesFilesAndAnOutputInAnyOrder) {
    for (const Arguments& arguments : {Arguments{"export", "a", "b", "--npy", "out", "--force"},
                                       Arguments{"export", "--force", "--npy", "out", "a", "b"},
                                       Arguments{"export", "a", "--npy", "out", "b", "--force"}}) {
        const Command command = parse(arguments);
        EXPECT_EQ(command.action, Action::Export);
        EXPECT_EQ(command.files, (std::vector<std::filesystem::path>{"a", "b"}));
        EXPECT_EQ(command.format, ExportFormat::Npy);
        EXPECT_EQ(command.output, "out");
        EXPECT_TRUE(command.force);
    }
    const Command text = parse({"export", "a", "--csv", "-"});
    EXPECT_EQ(text.format, ExportFormat::Csv);
    EXPECT_EQ(text.output, "-");
    EXPECT_FALSE(text.force);
}

TEST(CommandLine, TwoDashesEndTheOptions) {
    const Command command = parse({"export", "--csv", "-out", "--", "--force", "-h"});
    EXPECT_EQ(command.output, "-out");
    EXPECT_EQ(command.files, (std::vector<std::filesystem::path>{"--force", "-h"}));
    EXPECT_FALSE(command.force);
}

TEST(CommandLine, HelpAndVersionGoBeforeAllElse) {
    EXPECT_EQ(parse({"-h"}).action, Action::Help);
    EXPECT_EQ(parse({"--help"}).action, Action::Help);
    EXPECT_EQ(parse({"--version"}).action, Action::Version);
    EXPECT_EQ(parse({"info", "--help"}).action, Action::Help);
    EXPECT_EQ(parse({"export", "a", "-h", "--nonsense"}).action, Action::Help);
}

TEST(CommandLine, WrongUsageIsNamed) {
    const std::pair<Arguments, const char*> cases[] = {
        {{}, "a command is missing: info, export, verify or recover"},
        {{"print"}, "unknown command \"print\""},
        {{"info"}, "the name of a recording is missing"},
        {{"info", ""}, "the name of a file is empty"},
        {{"info", "a", "--csv", "b"}, "unknown option \"--csv\""},
        {{"info", "-x"}, "unknown option \"-x\""},
        {{"export", "a"}, "export needs --csv or --npy"},
        {{"export", "--csv", "b"}, "the name of a recording is missing"},
        {{"export", "a", "--csv"}, "--csv needs the name of a file"},
        {{"export", "a", "--npy", ""}, "--npy needs the name of a file"},
        {{"export", "a", "--csv", "b", "--npy", "c"}, "only one of --csv and --npy can be written"},
        {{"export", "a", "--npy", "-"}, "--npy cannot go to the standard output"},
    };
    for (const auto& [arguments, text] : cases) {
        EXPECT_EQ(complaint(arguments), text);
    }
}

} // namespace
} // namespace qorn::qornts
