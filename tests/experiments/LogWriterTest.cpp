// What of a log reaches the file when the file takes no more, and what a change of plan does to a running
// log.
#include "BinaryLogWriter.h"
#include "CsvLogWriter.h"

#include "QtPrinting.h"
#include "ScriptedLog.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::ScriptedLog;

QByteArray contentOf(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

TEST(LogWriter, AChangedFormatReachesTheNextPart) {
    ScriptedLog stage(LogFormat::Csv);
    ASSERT_TRUE(stage.starts());
    const std::string first = stage.pathOf(0);
    stage.clock.advance(std::chrono::seconds(60));
    stage.plan.rotateSeconds = 60;
    stage.plan.format = LogFormat::PackedBinary;
    EXPECT_EQ(stage.append(qorn::testing::texts({"a"})), MeasurementLog::State::Ready);
    EXPECT_EQ(stage.log->path().toStdString(), stage.pathOf(1));
    EXPECT_TRUE(contentOf(QString::fromStdString(first)).endsWith("# Stopped: 2026-03-04T05:07:07.089\n"));
    EXPECT_TRUE(contentOf(stage.log->path()).startsWith("QORNLOG"));
}

class LogWriters : public ::testing::TestWithParam<LogFormat> {};

TEST_P(LogWriters, AHeaderThatTheDiskDoesNotTakeIsAnError) {
    QString error;
    EXPECT_EQ(openLogWriter(GetParam(), QStringLiteral("/dev/full"), {}, QDateTime(), error), nullptr);
    EXPECT_TRUE(error.startsWith(QStringLiteral("Could not write log header:\n"))) << error.toStdString();
    EXPECT_GT(error.size(), QStringLiteral("Could not write log header:\n").size());
}

// A file on a disk with so many bytes left; what does not fit is taken in part.
class FillingFile final : public QFile {
public:
    FillingFile(const QString& path, qint64& bytesLeft) : QFile(path), left(bytesLeft) {}

protected:
    qint64 writeData(const char* data, qint64 size) override {
        const qint64 taken = std::min(size, left);
        left -= taken;
        return QFile::writeData(data, taken) == taken && taken > 0 ? taken : -1;
    }

private:
    qint64& left;
};

std::unique_ptr<LogWriter> writerOf(LogFormat format, std::unique_ptr<QFile> file) {
    if (format == LogFormat::PackedBinary) {
        return std::make_unique<BinaryLogWriter>(std::move(file));
    }
    return std::make_unique<CsvLogWriter>(std::move(file));
}

// Rows and a snapshot with `space` bytes for them, after which there is room again for more rows.
QByteArray writtenWith(LogFormat format, qint64 space, bool& faultless) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("log"));
    qint64 left = space;
    auto file = std::make_unique<FillingFile>(path, left);
    EXPECT_TRUE(file->open(QIODevice::WriteOnly | QIODevice::Truncate));
    const std::unique_ptr<LogWriter> writer = writerOf(format, std::move(file));
    const QDateTime time(QDate(2026, 3, 4), QTime(5, 6));
    writer->writeHeader({QStringLiteral("Probe"), {}, "{}", {}}, time);
    writer->writeRow({QStringLiteral("1"), QStringLiteral("two")});
    writer->writeText(QStringLiteral("a text\n"));
    writer->writeSnapshot(
        {[] { return QByteArray(100, 'x'); }, [] { return QString(100, QLatin1Char('x')); }}, time);
    left = std::numeric_limits<qint64>::max() / 2;
    writer->writeRow({QStringLiteral("3")});
    writer->writeTrailer(time);
    faultless = writer->flush();
    return contentOf(path);
}

TEST_P(LogWriters, AfterAFaultTheFileHoldsABeginningAndNothingMore) {
    bool faultless = false;
    const QByteArray whole = writtenWith(GetParam(), 1'000'000, faultless);
    EXPECT_TRUE(faultless);
    const qsizetype lateRow = GetParam() == LogFormat::Csv ? 2 : 14;
    const qsizetype trailer = GetParam() == LogFormat::Csv ? 35 : 4;
    const qsizetype needed = whole.size() - lateRow - trailer;
    ASSERT_GT(needed, 200);
    for (qsizetype space = 0; space <= needed; ++space) {
        const QByteArray written = writtenWith(GetParam(), space, faultless);
        EXPECT_EQ(faultless, space == needed) << space;
        ASSERT_EQ(written, space == needed ? whole : whole.left(space)) << space;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, LogWriters, ::testing::Values(LogFormat::Csv, LogFormat::PackedBinary),
                         [](const auto& test) { return test.param == LogFormat::Csv ? "Text" : "Binary"; });

} // namespace
} // namespace qorn::timetagger::gui
