// The program as a process: what it does with its command line, what it shows, and how it ends.
#include "QtPrinting.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

namespace qorn::testing {
namespace {

constexpr int kWaitLimitMs = 60000;
const QString kConnectPage = QStringLiteral("window: QORN TDC");
const QString kUnit1 = QString::fromUtf8("window: QORN TDC — Simulated four-input TDC, serial SIM00001");
const QString kUnit2 = QString::fromUtf8("window: QORN TDC — Simulated four-input TDC, serial SIM00002");

// A run of the program in a home of its own, without a display.
class Program {
public:
    Program() {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home.path());
        for (const char* name :
             {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "QORN_SIMULATOR_SCENE", "LANGUAGE"}) {
            environment.remove(QString::fromUtf8(name));
        }
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("QT_PLUGIN_PATH"), QStringLiteral(QORN_PROBE_FOLDER));
        environment.insert(QStringLiteral("QT_QPA_GENERIC_PLUGINS"), QStringLiteral("windowprobe"));
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(home.path());
    }
    ~Program() {
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished(kWaitLimitMs);
        }
    }

    // At its end the program does not ask, and keeps the experiments.
    void answerExitPromptInAdvance() const {
        QSettings settings(home.filePath(QStringLiteral(".config/QORN/Qorn Timing.conf")),
                           QSettings::IniFormat);
        settings.setValue(QStringLiteral("exit/askSaveExperiments"), false);
    }

    bool start(const QStringList& arguments) {
        process.start(QStringLiteral(QORN_APPLICATION), arguments);
        return process.waitForStarted(kWaitLimitMs);
    }

    // Waits for a line of the probe that contains `part` and gives it; empty when the program ends or the
    // limit comes first.
    QString waitForLineWith(const QString& part) {
        QElapsedTimer timer;
        timer.start();
        while (lines.filter(part).isEmpty()) {
            if (process.canReadLine()) {
                lines.append(QString::fromUtf8(process.readLine()).trimmed());
            } else if (timer.elapsed() > kWaitLimitMs || !process.waitForReadyRead(kWaitLimitMs)) {
                ADD_FAILURE() << "no line with " << part.toStdString() << " but "
                              << lines.join(QLatin1Char('\n')).toStdString() << " and "
                              << process.readAllStandardError().toStdString();
                return {};
            }
        }
        return lines.filter(part).constFirst();
    }
    bool waitForLine(const QString& line) { return waitForLineWith(line) == line; }

    // Runs to the end and gives the exit code; -1 for a crash.
    int run(const QStringList& arguments) {
        EXPECT_TRUE(start(arguments));
        EXPECT_TRUE(process.waitForFinished(kWaitLimitMs));
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    // Closes the windows and gives the exit code; -1 for a crash.
    int close() {
        process.write("close\n");
        EXPECT_TRUE(process.waitForFinished(kWaitLimitMs));
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    QTemporaryDir home;
    QProcess process;
    QStringList lines; // of the probe, so far
};

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

TEST(Program, ATerminationIsNoCrash) {
    for (const QStringList& arguments : {QStringList(), texts({"ftdi://SIM00001"})}) {
        Program program;
        ASSERT_TRUE(program.start(arguments));
        ASSERT_TRUE(program.waitForLine(arguments.isEmpty() ? kConnectPage : kUnit1));
        program.process.terminate();
        ASSERT_TRUE(program.process.waitForFinished(kWaitLimitMs));
        // either it ends by itself, or by the signal that it was sent; QProcess gives that as the code
        if (program.process.exitStatus() == QProcess::CrashExit) {
            EXPECT_EQ(program.process.exitCode(), SIGTERM);
        } else {
            EXPECT_EQ(program.process.exitCode(), 0);
        }
    }
}

} // namespace
} // namespace qorn::testing
