// The system ends the real program: in peace, which closes the window and finishes a recording, or at once.
#include "Error.h"
#include "ProgramRun.h"
#include "QtPrinting.h"
#include "RecordingCompanionFile.h"
#include "StreamFileReader.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <gtest/gtest.h>

#include <csignal>

#include <sys/resource.h>

namespace qorn::testing {
namespace {

constexpr qint64 kSomeTagsBytes = 200'000;

QString configurationPath(const Program& program) {
    return program.home.filePath(QStringLiteral(".config/QORN/Qorn Timing/last_config.json"));
}

QJsonArray savedExperiments(const Program& program) {
    QFile file(configurationPath(program));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return QJsonDocument::fromJson(file.readAll()).object().value(QLatin1String("experiments")).toArray();
}

// A program whose one tab records as soon as it plays.
class RecordingProgram : public ::testing::Test {
protected:
    RecordingProgram() {
        const QJsonObject recording{{QStringLiteral("directory"), folder()},
                                    {QStringLiteral("enabled"), true}};
        const QJsonObject tab{
            {QStringLiteral("type"), QStringLiteral("Time tags")},
            {QStringLiteral("sharedConfig"), QJsonObject{{QStringLiteral("timeTagRecording"), recording}}}};
        QDir().mkpath(QFileInfo(configurationPath(program)).path());
        QFile file(configurationPath(program));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QJsonDocument(QJsonObject{{QStringLiteral("version"), 1},
                                             {QStringLiteral("experiments"), QJsonArray{tab}}})
                       .toJson());
    }

    QString folder() const { return program.home.filePath(QStringLiteral("recordings")); }
    QFileInfoList recordings() const {
        return QDir(folder()).entryInfoList({QStringLiteral("*.qornts")}, QDir::Files);
    }

    // Until the recording has grown past what is written at its start.
    bool record() {
        if (!program.start({QStringLiteral("ftdi://SIM00001")}) || !program.waitForLine(kUnit1)) {
            return false;
        }
        program.process.write("play\n");
        return QTest::qWaitFor(
            [&] { return !recordings().isEmpty() && recordings().constFirst().size() > kSomeTagsBytes; },
            kWaitLimitMs);
    }

    void send(int signal) {
        ASSERT_EQ(program.process.state(), QProcess::Running) << "0 for its number would mean this program";
        ASSERT_EQ(::kill(static_cast<pid_t>(program.process.processId()), signal), 0);
        ASSERT_TRUE(program.process.waitForFinished(kWaitLimitMs));
    }

    // Tags in the recording; only one of a program that was killed may end in a record.
    std::size_t recordedTags(bool mayBeCut) const {
        std::size_t count = 0;
        timing::StreamFileReader reader;
        try {
            reader.open(recordings().constFirst().filePath().toStdString());
            for (auto tags = reader.read(); !tags.empty(); tags = reader.read()) {
                count += tags.size();
            }
        } catch (const timing::Error& error) {
            EXPECT_TRUE(mayBeCut) << error.what();
        }
        EXPECT_EQ(reader.skipped_bytes(), 0U);
        EXPECT_EQ(count, reader.payload_bytes() / 8);
        return count;
    }

    Program program;
};

class EndedProgram : public RecordingProgram, public ::testing::WithParamInterface<int> {};

TEST_P(EndedProgram, FinishesItsRecordingAndKeepsTheSetUpWithoutAQuestion) {
    ASSERT_TRUE(record());
    QFile::remove(configurationPath(program));
    send(GetParam());
    EXPECT_EQ(program.process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(program.process.exitCode(), 0) << program.process.readAllStandardError().toStdString();
    ASSERT_EQ(recordings().size(), 1);
    EXPECT_GT(recordedTags(false), std::size_t{kSomeTagsBytes} / 8);
    const auto companion = timing::read_companion(recordings().constFirst().filePath().toStdString());
    ASSERT_TRUE(companion.has_value());
    EXPECT_EQ(companion->end, timing::PartEnd::Operator);
    EXPECT_EQ(companion->records, recordedTags(false));
    ASSERT_EQ(savedExperiments(program).size(), 1);
    EXPECT_EQ(savedExperiments(program).at(0).toObject().value(QLatin1String("type")).toString(),
              QStringLiteral("Time tags"));
}

INSTANTIATE_TEST_SUITE_P(
    BySignal, EndedProgram, ::testing::Values(SIGTERM, SIGINT, SIGHUP), [](const auto& test) {
        return std::string(test.param == SIGTERM ? "Term" : test.param == SIGINT ? "Int" : "Hup");
    });

TEST_F(RecordingProgram, ThatIsKilledLeavesWholeRecords) {
    ASSERT_TRUE(record());
    send(SIGKILL);
    EXPECT_EQ(program.process.exitStatus(), QProcess::CrashExit);
    ASSERT_EQ(recordings().size(), 1);
    EXPECT_GE(recordedTags(true), std::size_t{kSomeTagsBytes} / 8 - 100);
}

// The system sends a signal for it, too.
TEST_F(RecordingProgram, OutlivesALimitOnTheSizeOfFiles) {
    static constexpr rlim_t kLimit = 1 << 20;
    program.process.setChildProcessModifier([] {
        const rlimit limit{kLimit, kLimit};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    });
    ASSERT_TRUE(record());
    const std::string recording = recordings().constFirst().filePath().toStdString();
    const auto hasFailed = [&] {
        const auto companion = timing::read_companion(recording);
        return companion && companion->end == timing::PartEnd::Error;
    };
    EXPECT_TRUE(QTest::qWaitFor(hasFailed, kWaitLimitMs));
    send(SIGTERM);
    EXPECT_EQ(program.process.exitStatus(), QProcess::NormalExit);
    EXPECT_GT(recordedTags(false), kLimit / 8 - 1024);
}

TEST(TerminatedProgram, EndsFromEachPage) {
    for (const QStringList& arguments : {QStringList(), texts({"ftdi://SIM00001"})}) {
        Program program;
        ASSERT_TRUE(program.start(arguments));
        ASSERT_TRUE(program.waitForLine(arguments.isEmpty() ? kConnectPage : kUnit1));
        program.process.terminate();
        ASSERT_TRUE(program.process.waitForFinished(kWaitLimitMs));
        EXPECT_EQ(program.process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(program.process.exitCode(), 0);
        EXPECT_EQ(savedExperiments(program).size(), arguments.isEmpty() ? 0 : 1);
    }
}

TEST(TerminatedProgram, KeepsNoExperimentsWhereTheOperatorDoesNotWantThem) {
    Program program;
    program.answerExitPromptInAdvance(false);
    ASSERT_TRUE(program.start(texts({"ftdi://SIM00001"})));
    ASSERT_TRUE(program.waitForLine(kUnit1));
    program.process.terminate();
    ASSERT_TRUE(program.process.waitForFinished(kWaitLimitMs));
    EXPECT_EQ(program.process.exitCode(), 0);
    EXPECT_TRUE(savedExperiments(program).isEmpty());
}

TEST(TerminatedProgram, EndsAlsoWhileABoxWaitsForAnAnswer) {
    Program program;
    ASSERT_TRUE(program.start(texts({"ftdi://NOBODY"})));
    ASSERT_FALSE(program.waitForLineWith(QStringLiteral("box: Open failed: ")).isEmpty());
    program.process.terminate();
    ASSERT_TRUE(program.process.waitForFinished(kWaitLimitMs));
    EXPECT_EQ(program.process.exitStatus(), QProcess::NormalExit);
}

} // namespace
} // namespace qorn::testing
