// What a tab writes into its log, in both formats.
#include "QtPrinting.h"
#include "TabLogStage.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::LogEntry;
using qorn::testing::LoggingTab;
using qorn::testing::ReadLog;
using qorn::testing::TabLogStage;
using qorn::testing::texts;
using Rows = std::vector<std::vector<std::string>>;

// A local time in milliseconds as it stands in logs, or an invalid one.
QDateTime loggedTime(const std::string& text) {
    static const QRegularExpression kForm(
        QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}$"));
    const QString time = QString::fromStdString(text);
    return kForm.match(time).hasMatch() ? QDateTime::fromString(time, Qt::ISODateWithMs) : QDateTime();
}

QDateTime nowInMilliseconds() {
    return QDateTime::currentDateTime();
}

class TabLogs : public ::testing::TestWithParam<bool> {
protected:
    bool binary() const { return GetParam(); }
    // A context or serial that nobody has set.
    std::string unknown() const { return binary() ? "" : "(unknown)"; }
    // What a snapshot of the plot must hold.
    std::string plotData() const {
        const BarChartWidget* plot = stage.tab->plotWidget();
        return binary() ? plot->toBinary().toStdString() : plot->toCsv().toStdString();
    }

    TabLogStage stage{GetParam()};
};

TEST_P(TabLogs, SayWhatWasMeasured) {
    LoggingTab& tab = *stage.tab;
    tab.config = {{QStringLiteral("gate"), 0.5},
                  {QStringLiteral("name"), QString::fromUtf8("Größe \"1\"")},
                  {QStringLiteral("on"), true}};
    tab.columns = texts({"time_s", "rate, Hz"});
    tab.setLogContext(QStringLiteral("Four-input TDC"), QStringLiteral("SIM00001"),
                      QString::fromUtf8("Eingänge µ"), QStringLiteral("raw64"));
    const QDateTime before = nowInMilliseconds();
    ASSERT_TRUE(stage.starts());
    const QDateTime after = nowInMilliseconds();
    const ReadLog log = stage.read(0);
    EXPECT_EQ(log.experiment, "Probe");
    EXPECT_EQ(log.device, "Four-input TDC");
    EXPECT_EQ(log.serial, "SIM00001");
    EXPECT_EQ(log.source, "Eingänge µ");
    EXPECT_EQ(log.streamTransport, "raw64");
    EXPECT_EQ(log.settings, QJsonDocument(tab.config).toJson(QJsonDocument::Compact).toStdString());
    EXPECT_EQ(log.columns, (std::vector<std::string>{"time_s", "rate, Hz"}));
    EXPECT_GE(loggedTime(log.started), before);
    EXPECT_LE(loggedTime(log.started), after);
    EXPECT_FALSE(log.ended);
}

TEST_P(TabLogs, SayWhatIsUnknown) {
    stage.tab->columns.clear();
    ASSERT_TRUE(stage.starts());
    const ReadLog log = stage.read(0);
    EXPECT_EQ(log.device, unknown());
    EXPECT_EQ(log.serial, unknown());
    EXPECT_EQ(log.source, unknown());
    EXPECT_EQ(log.streamTransport, unknown());
    EXPECT_EQ(log.settings, "{}");
    EXPECT_TRUE(log.columns.empty());
}

TEST_P(TabLogs, HoldRowsAndTextsAsTheTabHandsThemIn) {
    ASSERT_TRUE(stage.starts());
    LoggingTab& tab = *stage.tab;
    tab.appendLogRow(texts({"1", "a,b"}), false);
    tab.appendLogRows({texts({"2", "say \"x\""}), texts({"3", "two\nlines"}), texts({"only"})}, false);
    tab.appendLogText(QStringLiteral("# note\n"), false);
    tab.appendLogRow({QString::fromUtf8("Größe \U0001f74c"), QString()}, false);
    tab.appendLogRows({}, false);
    tab.stopLog();
    const std::string note = binary() ? "# note\n" : "# note";
    EXPECT_EQ(stage.read(0).rows(), (Rows{{"1", "a,b"},
                                          {"2", "say \"x\""},
                                          {"3", "two\nlines"},
                                          {"only"},
                                          {note},
                                          {"Größe \U0001f74c", ""}}));
}

TEST_P(TabLogs, StandOnTheDiskWhenFlushed) {
    ASSERT_TRUE(stage.starts());
    LoggingTab& tab = *stage.tab;
    const auto rows = [this] { return stage.read(0).rows().size(); };
    tab.appendLogRow(texts({"1", "2"}), true);
    EXPECT_EQ(rows(), 1u);
    tab.appendLogRows(QList<QStringList>(1000, texts({"3", "4"})), true);
    EXPECT_EQ(rows(), 1001u);
    tab.appendLogText(QStringLiteral("text\n"), true);
    EXPECT_EQ(rows(), 1002u);
    tab.appendLogRow(texts({"5", "6"}), false);
    tab.flushLog();
    EXPECT_EQ(rows(), 1003u);
    EXPECT_EQ(stage.read(0).leftOver, 0u);
}

TEST_P(TabLogs, EndWithTheTimeOfTheStop) {
    ASSERT_TRUE(stage.starts());
    EXPECT_TRUE(stage.tab->isLogOpen());
    EXPECT_EQ(stage.tab->currentLogPath(), stage.folderPath() + QLatin1Char('/') + stage.files().value(0));
    const QDateTime before = nowInMilliseconds();
    stage.tab->stopLog();
    EXPECT_FALSE(stage.tab->isLogOpen());
    EXPECT_TRUE(stage.tab->currentLogPath().isEmpty());
    const ReadLog log = stage.read(0);
    EXPECT_TRUE(log.ended);
    if (!binary()) {
        EXPECT_GE(loggedTime(log.stopped.value()), before);
        EXPECT_LE(loggedTime(log.stopped.value()), nowInMilliseconds());
    }
    stage.tab->stopLog();
    EXPECT_EQ(stage.files().size(), 1);
}

TEST_P(TabLogs, AreFinishedByTheTabsDestructor) {
    ASSERT_TRUE(stage.starts());
    stage.tab->appendLogRow(texts({"1", "2"}), false);
    stage.tab.reset();
    EXPECT_TRUE(stage.read(0).ended);
    EXPECT_EQ(stage.read(0).rows(), (Rows{{"1", "2"}}));
}

TEST_P(TabLogs, TakeNothingWhileClosed) {
    stage.tab->buildToolbar(true, true, true);
    stage.tab->appendLogRow(texts({"1", "2"}), true);
    stage.tab->appendLogRows({texts({"1", "2"})}, true);
    stage.tab->appendLogText(QStringLiteral("text\n"), true);
    stage.tab->appendPlotSnapshot();
    stage.tab->flushLog();
    stage.tab->closeLogFile();
    EXPECT_FALSE(stage.tab->rolloverLogIfNeeded());
    EXPECT_TRUE(stage.files().isEmpty());
    ASSERT_TRUE(stage.starts());
    EXPECT_TRUE(stage.tab->rolloverLogIfNeeded());
    stage.tab->stopLog();
    EXPECT_FALSE(stage.tab->rolloverLogIfNeeded());
    stage.tab->appendLogRow(texts({"1", "2"}), true);
    EXPECT_TRUE(stage.read(0).rows().empty());
}

// --- snapshots ---------------------------------------------------------------------------------------------

TEST_P(TabLogs, BeginWithASnapshotOfThePlot) {
    stage.tab->buildToolbar(true, true, true);
    stage.tab->plotWidget()->setBars({1, 2, 3}, {10, 20, 30}, 0.5);
    stage.tab->plotWidget()->setOverlaySeries({{1, 3}}, {{5, 6}}, {QStringLiteral("fit, \"a\"")}, {},
                                              BarChartWidget::Lines);
    const QDateTime before = nowInMilliseconds();
    ASSERT_TRUE(stage.starts());
    const std::vector<LogEntry> snapshots = stage.read(0).snapshots();
    ASSERT_EQ(snapshots.size(), 1u);
    EXPECT_EQ(snapshots[0].plot, plotData());
    EXPECT_GE(loggedTime(snapshots[0].time), before);
    EXPECT_LE(loggedTime(snapshots[0].time), nowInMilliseconds());
}

TEST_P(TabLogs, SnapshotsComeOncePerSecondWithThePlotAsItStands) {
    stage.tab->buildToolbar(true, true, true);
    stage.tab->plotWidget()->setBars({1}, {10}, 1.0);
    const std::string first = plotData();
    ASSERT_TRUE(stage.starts());
    stage.tab->plotWidget()->setSeries({{1, 2}}, {{3, 4}}, {QStringLiteral("A")}, {}, BarChartWidget::Lines);
    const std::string later = plotData();
    ASSERT_TRUE(TabLogStage::waitFor([this] { return stage.read(0).snapshots().size() >= 3; }));
    stage.tab->stopLog();
    const std::vector<LogEntry> snapshots = stage.read(0).snapshots();
    EXPECT_EQ(snapshots[0].plot, first);
    for (std::size_t i = 1; i < snapshots.size(); ++i) {
        EXPECT_EQ(snapshots[i].plot, later);
        // The timer's own exactness is a twentieth, and the first snapshot may itself be late.
        EXPECT_GE(loggedTime(snapshots[0].time).msecsTo(loggedTime(snapshots[i].time)), 900 * qint64(i));
    }
}

TEST_P(TabLogs, SnapshotsReadBackAsPlots) {
    stage.tab->buildToolbar(true, true, true);
    stage.tab->plotWidget()->setSeries({{1, 2, 3}, {4}}, {{0.1, -5, 1e9}, {7}},
                                       {QStringLiteral("a, b"), QStringLiteral("c")}, {},
                                       BarChartWidget::Points);
    ASSERT_TRUE(stage.starts());
    const std::string data = stage.read(0).snapshots().at(0).plot;
    BarChartWidget again;
    if (binary()) {
        ASSERT_TRUE(again.loadBinary(QByteArray::fromStdString(data), nullptr));
        EXPECT_EQ(again.toBinary(), stage.tab->plotWidget()->toBinary());
    } else {
        ASSERT_TRUE(again.loadCsv(QString::fromStdString(data), nullptr));
    }
    EXPECT_EQ(again.toCsv(), stage.tab->plotWidget()->toCsv());
}

TEST_P(TabLogs, WithoutAPlotHaveNoSnapshots) {
    stage.tab->buildToolbar(false, false, false);
    ASSERT_TRUE(stage.starts());
    stage.tab->appendPlotSnapshot();
    stage.tab->stopLog();
    EXPECT_TRUE(stage.read(0).entries.empty());
}

TEST_P(TabLogs, GoOnWhenTheMeasurementStops) {
    stage.tab->buildToolbar(true, true, true);
    ASSERT_TRUE(stage.starts());
    stage.tab->setRunningState(true);
    stage.tab->setRunningState(false);
    stage.tab->onStop();
    EXPECT_TRUE(stage.tab->isLogOpen());
    EXPECT_TRUE(TabLogStage::waitFor([this] { return stage.read(0).snapshots().size() >= 2; }));
    stage.tab->appendLogRow(texts({"1", "2"}), true);
    EXPECT_EQ(stage.read(0).rows().size(), 1u);
}

TEST_P(TabLogs, NoSnapshotFollowsTheStop) {
    stage.tab->buildToolbar(true, true, true);
    ASSERT_TRUE(stage.starts());
    stage.tab->stopLog();
    // a second log's snapshots are a sign that the time of the first one's has passed
    qorn::testing::LoggingTab other;
    other.buildToolbar(true, true, true);
    const qorn::testing::TemporaryFolder otherFolder;
    ASSERT_TRUE(other.startLogInDirectory(QString::fromStdString(otherFolder.path().string())));
    ASSERT_TRUE(TabLogStage::waitFor([&other] {
        return qorn::testing::readLog(other.currentLogPath().toStdString()).snapshots().size() >= 3;
    }));
    EXPECT_EQ(stage.files().size(), 1);
    EXPECT_EQ(stage.read(0).snapshots().size(), 1u);
    EXPECT_TRUE(stage.read(0).ended);
}

// --- parts and duration ------------------------------------------------------------------------------------

TEST_P(TabLogs, RotateToNumberedParts) {
    TabLogStage::store("dataLogRotateSeconds", 1);
    stage.tab->setLogContext({}, QStringLiteral("A B/1"), {}, {});
    ASSERT_TRUE(stage.starts());
    ASSERT_TRUE(stage.appendUntil([this] { return stage.files().size() == 3; }));
    const QString open = stage.tab->currentLogPath();
    stage.tab->stopLog();
    const QStringList files = stage.files();
    ASSERT_EQ(files.size(), 3);
    EXPECT_EQ(open, stage.folderPath() + QLatin1Char('/') + files[2]);
    const QString extension = binary() ? QStringLiteral("qornlog") : QStringLiteral("csv");
    const char* const parts[] = {"", "_part001", "_part002"};
    for (qsizetype part = 0; part < 3; ++part) {
        const QString form =
            QStringLiteral("^probe_A_B_1%1_\\d{8}_\\d{6}\\.%2$").arg(QLatin1String(parts[part]), extension);
        EXPECT_TRUE(QRegularExpression(form).match(files[part]).hasMatch()) << files[part].toStdString();
        const ReadLog log = stage.read(part);
        EXPECT_TRUE(log.ended);
        EXPECT_EQ(log.experiment, "Probe");
        EXPECT_EQ(log.serial, "A B/1");
        EXPECT_EQ(log.columns.size(), 2u);
        EXPECT_GE(log.rows().size(), 1u);
    }
    EXPECT_GE(loggedTime(stage.read(0).started).msecsTo(loggedTime(stage.read(1).started)), 1000);
    EXPECT_GE(loggedTime(stage.read(1).started).msecsTo(loggedTime(stage.read(2).started)), 1000);
}

TEST_P(TabLogs, RotateWithTheirSnapshotsToo) {
    TabLogStage::store("dataLogRotateSeconds", 1);
    stage.tab->buildToolbar(true, true, true);
    ASSERT_TRUE(stage.starts());
    ASSERT_TRUE(TabLogStage::waitFor([this] { return stage.files().size() == 2; }));
    stage.tab->stopLog();
    EXPECT_TRUE(stage.read(0).ended);
    EXPECT_GE(stage.read(1).snapshots().size(), 1u);
}

TEST_P(TabLogs, DoNotRotateByThemselves) {
    TabLogStage::store("dataLogRotateSeconds", 1);
    ASSERT_TRUE(stage.starts()); // without a plot there are no snapshots
    const QString first = stage.tab->currentLogPath();
    QTest::qWait(1500);
    EXPECT_EQ(stage.tab->currentLogPath(), first);
    EXPECT_EQ(stage.files().size(), 1);
    stage.tab->appendLogRow(texts({"1", "2"}), true);
    EXPECT_EQ(stage.files().size(), 2);
    EXPECT_TRUE(stage.read(0).rows().empty());
    EXPECT_EQ(stage.read(1).rows().size(), 1u);
}

TEST_P(TabLogs, EndSilentlyAfterTheirMaximumDuration) {
    TabLogStage::store("dataLogMaximumDurationSeconds", 1);
    ASSERT_TRUE(stage.starts());
    ASSERT_TRUE(stage.appendUntil([this] { return !stage.tab->isLogOpen(); }));
    EXPECT_FALSE(stage.takeWarning().has_value());
    EXPECT_TRUE(stage.tab->currentLogPath().isEmpty());
    ASSERT_EQ(stage.files().size(), 1);
    const ReadLog log = stage.read(0);
    EXPECT_TRUE(log.ended);
    EXPECT_GE(log.rows().size(), 1u);
    if (!binary()) {
        EXPECT_GE(loggedTime(log.started).msecsTo(loggedTime(log.stopped.value())), 1000);
    }
}

TEST_P(TabLogs, EndWithASnapshotsTimeToo) {
    TabLogStage::store("dataLogMaximumDurationSeconds", 1);
    stage.tab->buildToolbar(true, true, true);
    ASSERT_TRUE(stage.starts());
    ASSERT_TRUE(TabLogStage::waitFor([this] { return !stage.tab->isLogOpen(); }));
    EXPECT_TRUE(stage.read(0).ended);
}

INSTANTIATE_TEST_SUITE_P(Formats, TabLogs, ::testing::Bool(),
                         [](const auto& test) { return std::string(test.param ? "Binary" : "Text"); });

} // namespace
} // namespace qorn::timetagger::gui
