// The program as a process: what it does with its command line, what it shows, and how it ends.
#include "ProgramRun.h"
#include "QtPrinting.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

TEST(Program, HelpExplainsTheCommandLine) {
    for (const char* option : {"--help", "-h"}) {
        Program program;
        EXPECT_EQ(program.run({QString::fromUtf8(option)}), 0);
        const QString help = QString::fromUtf8(program.process.readAllStandardOutput());
        for (const char* part :
             {"QORN Timing GUI", "-p, --port <port>", "Open a specific device port at startup",
              "ftdi://FTAO99YD.", "Optional device port, e.g."}) {
            EXPECT_TRUE(help.contains(QString::fromUtf8(part))) << part << " in\n" << help.toStdString();
        }
        EXPECT_FALSE(help.contains(QStringLiteral("--version")));
        EXPECT_FALSE(help.contains(QStringLiteral("window: "))) << "no window is shown";
    }
}

TEST(Program, HelpNeedsNoDisplay) {
    Program program;
    QProcessEnvironment environment = program.process.processEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment.remove(QStringLiteral("DISPLAY"));
    program.process.setProcessEnvironment(environment);
    EXPECT_EQ(program.run({QStringLiteral("--help")}), 0);
    EXPECT_TRUE(program.process.readAllStandardOutput().contains("--port"));
}

class RefusedArguments : public ::testing::TestWithParam<QStringList> {};

TEST_P(RefusedArguments, EndTheProgramWithAnErrorAndAWord) {
    Program program;
    EXPECT_GT(program.run(GetParam()), 0);
    EXPECT_FALSE(program.process.readAllStandardError().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(CommandLines, RefusedArguments,
                         ::testing::Values(texts({"--nonsense"}), texts({"-x"}), texts({"--version"}),
                                           texts({"ftdi://SIM00001", "--prot", "ftdi://SIM00002"}),
                                           texts({"--port"})));

TEST(Program, StartsOnTheConnectPageAndSaysThatTheUnitsAreSimulated) {
    Program program;
    ASSERT_TRUE(program.start({}));
    EXPECT_TRUE(program.waitForLine(kConnectPage));
    const QString scan = program.waitForLineWith(QStringLiteral("Found 2 customer USB device(s)."));
    EXPECT_TRUE(scan.contains(QStringLiteral("driver library"))) << scan.toStdString();
    EXPECT_TRUE(program.lines.filter(QStringLiteral("SIM0000")).isEmpty()) << "no unit is opened unasked";
}

struct PortRow {
    const char* name;
    QStringList arguments;
    QString window;
};

void PrintTo(const PortRow& row, std::ostream* out) {
    *out << row.name;
}

class StartupPort : public ::testing::TestWithParam<PortRow> {};

TEST_P(StartupPort, IsOpenedFromTheCommandLine) {
    Program program;
    ASSERT_TRUE(program.start(GetParam().arguments));
    EXPECT_TRUE(program.waitForLine(GetParam().window));
    const QString& other = GetParam().window == kUnit1 ? kUnit2 : kUnit1;
    EXPECT_FALSE(program.lines.contains(other));
}

INSTANTIATE_TEST_SUITE_P(
    CommandLines, StartupPort,
    ::testing::Values(
        PortRow{"ByLongOption", texts({"--port", "ftdi://SIM00002"}), kUnit2},
        PortRow{"ByLongOptionWithEqualSign", texts({"--port=ftdi://SIM00001"}), kUnit1},
        PortRow{"ByShortOption", texts({"-p", " ftdi://SIM00002 "}), kUnit2},
        PortRow{"ByPosition", texts({"  ftdi://SIM00002"}), kUnit2},
        PortRow{"TheOptionBeatsThePosition", texts({"ftdi://SIM00001", "--port", "ftdi://SIM00002"}), kUnit2},
        PortRow{"ABlankOptionUsesThePosition", texts({"-p", "   ", "ftdi://SIM00001"}), kUnit1},
        PortRow{"TheFirstPositionCounts", texts({"ftdi://SIM00002", "ftdi://SIM00001"}), kUnit2},
        PortRow{"BlanksAreNoPort", texts({"-p", " ", "  "}), kConnectPage}),
    [](const auto& test) { return test.param.name; });

TEST(Program, APortThatDoesNotOpenIsReportedAndTheProgramGoesOn) {
    Program program;
    ASSERT_TRUE(program.start(texts({"--port", "ftdi://NOBODY"})));
    EXPECT_TRUE(program.waitForLine(kConnectPage));
    const QString beginning = QStringLiteral("box: Open failed: ");
    EXPECT_GT(program.waitForLineWith(beginning).size(), beginning.size());
    EXPECT_EQ(program.process.state(), QProcess::Running);
}

TEST(Program, ClosingTheWindowEndsTheProgramAndKeepsTheSetUp) {
    for (const QStringList& arguments : {QStringList(), texts({"ftdi://SIM00001"})}) {
        Program program;
        program.answerExitPromptInAdvance();
        ASSERT_TRUE(program.start(arguments));
        ASSERT_TRUE(program.waitForLine(arguments.isEmpty() ? kConnectPage : kUnit1));
        EXPECT_EQ(program.close(), 0) << program.process.readAllStandardError().toStdString();
        QFile file(program.home.filePath(QStringLiteral(".config/QORN/Qorn Timing/last_config.json")));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QJsonObject configuration = QJsonDocument::fromJson(file.readAll()).object();
        EXPECT_TRUE(configuration.contains(QStringLiteral("ui")));
        EXPECT_TRUE(configuration.contains(QStringLiteral("experiments")));
    }
}

TEST(Program, AtTheNextStartItTakesUpWhereItEnded) {
    Program program;
    program.answerExitPromptInAdvance();
    for (int run = 0; run < 2; ++run) {
        program.lines.clear();
        ASSERT_TRUE(program.start(texts({"ftdi://SIM00002"})));
        ASSERT_TRUE(program.waitForLine(kUnit2));
        EXPECT_EQ(program.close(), 0) << program.process.readAllStandardError().toStdString();
    }
}

} // namespace
} // namespace qorn::testing
