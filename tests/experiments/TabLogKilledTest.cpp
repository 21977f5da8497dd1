// A real process that logs and is killed: what it had flushed can be read.
#include "MeasurementLogReader.h"
#include "TemporaryFolder.h"

#include "BarChartWidget.h"

#include <QDir>
#include <QProcess>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

constexpr int kWaitLimitMs = 60'000;

struct Flushed {
    std::size_t rows = 0;
    std::size_t snapshots = 0;
};

// What the process said last; a line without its end does not count.
Flushed lastFlush(const QByteArray& output) {
    const QList<QByteArray> lines = output.left(output.lastIndexOf('\n')).split('\n');
    const QList<QByteArray> numbers = lines.last().split(' ');
    return {numbers.value(0).toULong(), numbers.value(1).toULong()};
}

// Runs the process until it has flushed `rows` rows, kills it, and returns what it had flushed for sure.
Flushed killAfter(int rows, const TemporaryFolder& folder, const QString& format) {
    QProcess process;
    process.start(QStringLiteral(QORN_LOG_CHILD), {QString::fromStdString(folder.path().string()), format});
    EXPECT_TRUE(process.waitForStarted(kWaitLimitMs));
    QByteArray output;
    while (lastFlush(output).rows < std::size_t(rows)) {
        if (!process.waitForReadyRead(kWaitLimitMs)) {
            ADD_FAILURE() << "the process says nothing: " << process.readAllStandardError().toStdString();
            break;
        }
        output += process.readAllStandardOutput();
    }
    process.kill();
    EXPECT_TRUE(process.waitForFinished(kWaitLimitMs));
    EXPECT_EQ(process.exitStatus(), QProcess::CrashExit) << "it ended by itself";
    output += process.readAllStandardOutput();
    return lastFlush(output);
}

class KilledLog : public ::testing::TestWithParam<const char*> {
protected:
    bool binary() const { return GetParam() == std::string("binary"); }

    void expectPlot(const std::string& plot) const {
        timetagger::gui::BarChartWidget again;
        QString error;
        EXPECT_TRUE(binary() ? again.loadBinary(QByteArray::fromStdString(plot), &error)
                             : again.loadCsv(QString::fromStdString(plot), &error))
            << error.toStdString();
    }
};

TEST_P(KilledLog, CanBeReadUpToTheLastFlush) {
    for (const int rows : {10, 1000, 5000}) {
        const TemporaryFolder folder;
        const Flushed flushed = killAfter(rows, folder, QString::fromUtf8(GetParam()));
        ASSERT_GE(flushed.rows, std::size_t(rows));
        const QStringList files = QDir(QString::fromStdString(folder.path().string())).entryList(QDir::Files);
        ASSERT_EQ(files.size(), 1);
        const ReadLog log = readLog(folder.file(files[0].toStdString()));
        EXPECT_EQ(log.experiment, "Probe");
        EXPECT_EQ(log.columns, (std::vector<std::string>{"row", "text"}));
        EXPECT_FALSE(log.ended);
        const auto read = log.rows();
        ASSERT_GE(read.size(), flushed.rows);
        for (std::size_t row = 0; row < read.size(); ++row) {
            const std::string number = std::to_string(row);
            ASSERT_EQ(read[row], (std::vector<std::string>{number, "a, \"quoted\"\nfield of row " + number}));
        }
        const auto snapshots = log.snapshots();
        ASSERT_GE(snapshots.size(), flushed.snapshots);
        for (std::size_t i = 1; i < flushed.snapshots; ++i) { // the first is of an empty plot
            expectPlot(snapshots[i].plot);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, KilledLog, ::testing::Values("csv", "binary"),
                         [](const auto& test) { return std::string(test.param); });

} // namespace
} // namespace qorn::testing
