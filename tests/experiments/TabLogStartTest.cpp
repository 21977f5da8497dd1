// Starting and ending a tab's log: folders, names, settings, failures, and the action on the toolbar.
#include "FileSizeLimit.h"
#include "QtPrinting.h"
#include "StoredSettings.h"
#include "TabControls.h"
#include "TabLogStage.h"
#include "TimeTagTab.h"

#include <QDir>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::FileSizeLimit;
using qorn::testing::findAction;
using qorn::testing::LoggingTab;
using qorn::testing::ReadLog;
using qorn::testing::ShownWarning;
using qorn::testing::TabLogStage;
using qorn::testing::texts;
using Rows = std::vector<std::vector<std::string>>;

const QString kDirectoryKey = QStringLiteral("measurement/probe/dataLogDirectory");

::testing::AssertionResult warns(TabLogStage& stage, const QString& text) {
    const std::optional<ShownWarning> shown = stage.takeWarning();
    if (!shown.has_value()) {
        return ::testing::AssertionFailure() << "shows no warning";
    }
    if (shown->title != QStringLiteral("Log failed") || shown->text != text) {
        return ::testing::AssertionFailure()
               << "shows \"" << shown->title.toStdString() << "\": \"" << shown->text.toStdString() << "\"";
    }
    return ::testing::AssertionSuccess();
}

// --- folders and names -------------------------------------------------------------------------------------

TEST(TabLogStart, ABlankFolderIsNoneAndSaysNothing) {
    TabLogStage stage;
    for (const char* blank : {"", "  ", "\t\n"}) {
        EXPECT_FALSE(stage.tab->startLogInDirectory(QString::fromUtf8(blank)));
        EXPECT_FALSE(stage.tab->isLogOpen());
        EXPECT_FALSE(stage.takeWarning().has_value());
    }
    ASSERT_TRUE(stage.starts());
    EXPECT_FALSE(stage.tab->startLogInDirectory(QStringLiteral("  ")));
    EXPECT_TRUE(stage.tab->isLogOpen()) << "an open log goes on";
}

TEST(TabLogStart, MakesTheFolderAndTrimsItsName) {
    TabLogStage stage;
    const QString deep = stage.folderPath() + QStringLiteral("/a/b c");
    ASSERT_TRUE(stage.tab->startLogInDirectory(QStringLiteral("  ") + deep + QStringLiteral(" \n")));
    EXPECT_TRUE(stage.tab->currentLogPath().startsWith(deep + QStringLiteral("/probe_")));
    EXPECT_TRUE(QFile::exists(stage.tab->currentLogPath()));
    EXPECT_EQ(testing::storedSettings().value(kDirectoryKey).toString(), deep);
}

TEST(TabLogStart, UsesTheStoredFolder) {
    TabLogStage stage;
    const QString stored = stage.folderPath() + QStringLiteral("/stored");
    TabLogStage::store("dataLogDirectory", stored);
    ASSERT_TRUE(stage.tab->startLog());
    EXPECT_TRUE(stage.tab->currentLogPath().startsWith(stored + QLatin1Char('/')));
}

TEST(TabLogStart, RemembersTheFolderForTheNextStart) {
    TabLogStage stage;
    ASSERT_TRUE(stage.tab->startLogInDirectory(stage.folderPath() + QStringLiteral("/first")));
    stage.tab->stopLog();
    ASSERT_TRUE(stage.tab->startLog());
    EXPECT_TRUE(stage.tab->currentLogPath().startsWith(stage.folderPath() + QStringLiteral("/first/")));
    LoggingTab other;
    ASSERT_TRUE(other.startLog());
    EXPECT_TRUE(other.currentLogPath().startsWith(stage.folderPath() + QStringLiteral("/first/")));
    other.stopLog();
}

TEST(TabLogStart, EndsTheLogThatIsOpen) {
    TabLogStage stage;
    ASSERT_TRUE(stage.starts());
    stage.tab->appendLogRow(texts({"1", "2"}), false);
    ASSERT_TRUE(stage.tab->startLogInDirectory(stage.folderPath() + QStringLiteral("/second")));
    stage.tab->appendLogRow(texts({"3", "4"}), true);
    EXPECT_TRUE(stage.read(0).ended);
    EXPECT_EQ(stage.read(0).rows(), (Rows{{"1", "2"}}));
    const ReadLog second = qorn::testing::readLog(stage.tab->currentLogPath().toStdString());
    EXPECT_FALSE(second.ended);
    EXPECT_EQ(second.rows(), (Rows{{"3", "4"}}));
}

TEST(TabLogStart, BeginsAgainWithThePlainNameAfterRotations) {
    TabLogStage::store("dataLogRotateSeconds", 1);
    TabLogStage stage;
    ASSERT_TRUE(stage.starts());
    ASSERT_TRUE(stage.appendUntil([&] { return stage.files().size() == 2; }));
    EXPECT_TRUE(stage.tab->currentLogPath().contains(QStringLiteral("_part001_")));
    ASSERT_TRUE(stage.starts());
    EXPECT_FALSE(stage.tab->currentLogPath().contains(QStringLiteral("_part")));
}

TEST(TabLogStart, NamesFilesAfterStemSerialPartAndFormat) {
    LoggingTab tab;
    const auto form = [&tab](const QString& extension, int part) {
        QString name = tab.makeLogFilePath(QStringLiteral("/data"), extension, part);
        return name.replace(QRegularExpression(QStringLiteral("_\\d{8}_\\d{6}")), QStringLiteral("_STAMP"));
    };
    EXPECT_EQ(form(QStringLiteral("csv"), 0), QStringLiteral("/data/probe_STAMP.csv"));
    tab.setLogContext({}, QStringLiteral(" A B/1 "), {}, {});
    EXPECT_EQ(form(QStringLiteral("qornlog"), 2), QStringLiteral("/data/probe_A_B_1_part002_STAMP.qornlog"));
    tab.stem = QStringLiteral(" Multi / Correlation_");
    EXPECT_EQ(form(QStringLiteral(" .CSV"), 1),
              QStringLiteral("/data/multi_correlation_A_B_1_part001_STAMP.csv"));
    EXPECT_EQ(form({}, 0), QStringLiteral("/data/multi_correlation_A_B_1_STAMP.csv"));
    EXPECT_EQ(LoggingTab::csvLine(texts({"a,b", "c"})), QStringLiteral("\"a,b\",c"));
}

TEST(TabLogStart, TheFormatDecidesOnTheExtension) {
    for (const bool binary : {false, true}) {
        TabLogStage stage(binary);
        const QString extension = binary ? QStringLiteral("qornlog") : QStringLiteral("csv");
        EXPECT_EQ(stage.tab->measurementLogExtension(), extension);
        ASSERT_TRUE(stage.starts());
        EXPECT_TRUE(stage.files().value(0).endsWith(QLatin1Char('.') + extension));
    }
}

// --- failures ----------------------------------------------------------------------------------------------

TEST(TabLogStart, WarnsWhenTheFolderCannotBeMade) {
    TabLogStage stage;
    qorn::testing::writeBytes(stage.folder.file("file"), qorn::testing::Bytes(1));
    const QString folder = stage.folderPath() + QStringLiteral("/file/logs");
    EXPECT_FALSE(stage.tab->startLogInDirectory(QLatin1Char(' ') + folder));
    EXPECT_TRUE(warns(stage, QStringLiteral("Could not create log folder:\n") + folder));
    EXPECT_FALSE(stage.tab->isLogOpen());
    EXPECT_NE(testing::storedSettings().value(kDirectoryKey).toString(), folder);
    EXPECT_FALSE(stage.takeWarning().has_value()) << "once";
}

TEST(TabLogStart, WarnsWhenTheFileCannotBeOpened) {
    for (const bool binary : {false, true}) {
        TabLogStage stage(binary);
        stage.tab->stem = QString(300, QLatin1Char('x'));
        stage.tab->buildToolbar(true, true, true);
        EXPECT_FALSE(stage.starts());
        EXPECT_TRUE(warns(stage, QStringLiteral("Could not open log file:\nFile name too long")));
        EXPECT_FALSE(stage.tab->isLogOpen());
        EXPECT_TRUE(stage.tab->currentLogPath().isEmpty());
        EXPECT_NE(findAction(*qorn::testing::measurementToolbar(*stage.tab), "Start log"), nullptr);
        stage.tab->appendLogRow(texts({"1", "2"}), true);
        EXPECT_TRUE(stage.files().isEmpty());
        stage.tab->stem.clear();
        EXPECT_TRUE(stage.starts()) << "the next start is as good as any";
    }
}

// A tab whose files open with an answer that says nothing.
class SilentTab : public LoggingTab {
public:
    bool openLogFile(const QString& path, QString* error) override {
        return opensLeft-- > 0 && LoggingTab::openLogFile(path, error);
    }
    int opensLeft = 0;
};

TEST(TabLogStart, WarnsWithAGeneralTextWhenThereIsNoReason) {
    TabLogStage stage;
    stage.tab = std::make_unique<SilentTab>();
    EXPECT_FALSE(stage.starts());
    EXPECT_TRUE(warns(stage, QStringLiteral("Could not open measurement log file.")));
    EXPECT_FALSE(stage.tab->isLogOpen());
}

TEST(TabLogStart, WarnsWithAGeneralTextWhenTheNextPartHasNoReason) {
    TabLogStage::store("dataLogRotateSeconds", 1);
    TabLogStage stage;
    auto silent = std::make_unique<SilentTab>();
    silent->opensLeft = 1;
    stage.tab = std::move(silent);
    ASSERT_TRUE(stage.starts());
    ASSERT_TRUE(stage.appendUntil([&] { return !stage.tab->isLogOpen(); }));
    EXPECT_TRUE(warns(stage, QStringLiteral("Could not create the next log file.")));
}

TEST(TabLogStart, WarnsWhenTheNextPartCannotBeOpenedAndEndsTheLog) {
    for (const bool binary : {false, true}) {
        TabLogStage::store("dataLogRotateSeconds", 1);
        TabLogStage stage(binary);
        QToolBar* toolbar = stage.tab->buildToolbar(false, false, false);
        const QString folder = stage.folderPath() + QStringLiteral("/logs");
        ASSERT_TRUE(stage.tab->startLogInDirectory(folder));
        EXPECT_NE(findAction(*toolbar, "Stop log"), nullptr);
        stage.tab->appendLogRow(texts({"first", "part"}), false);
        const QString moved = stage.folderPath() + QStringLiteral("/moved");
        const QString first = moved + stage.tab->currentLogPath().mid(folder.size());
        ASSERT_TRUE(QDir().rename(folder, moved));
        ASSERT_TRUE(stage.appendUntil([&] { return !stage.tab->isLogOpen(); }));
        EXPECT_TRUE(warns(stage, QStringLiteral("Could not open log file:\nNo such file or directory")));
        EXPECT_TRUE(stage.tab->currentLogPath().isEmpty());
        EXPECT_NE(findAction(*toolbar, "Start log"), nullptr);
        const ReadLog log = qorn::testing::readLog(first.toStdString());
        EXPECT_TRUE(log.ended) << "the part before is closed";
        EXPECT_EQ(log.rows().at(0), (std::vector<std::string>{"first", "part"}));
        stage.tab->appendLogRow(texts({"1", "2"}), true);
        EXPECT_FALSE(stage.takeWarning().has_value()) << "once";
        EXPECT_FALSE(QDir(folder).exists());
    }
}

TEST(TabLogStart, WarnsWhenTheHeaderCannotBeWritten) {
    TabLogStage stage(true);
    stage.tab->config = {{QStringLiteral("long"), QString(200'000, QLatin1Char('x'))}};
    {
        const FileSizeLimit limit(0);
        EXPECT_FALSE(stage.starts());
    }
    EXPECT_TRUE(warns(stage, QStringLiteral("Could not write log header:\nFile too large")));
    EXPECT_FALSE(stage.tab->isLogOpen());
    {
        const FileSizeLimit limit(20'000); // fails in the middle of a write
        EXPECT_FALSE(stage.starts());
    }
    const std::optional<ShownWarning> shown = stage.takeWarning();
    ASSERT_TRUE(shown.has_value());
    EXPECT_TRUE(shown->text.startsWith(QStringLiteral("Could not write log header:\n")));
    EXPECT_FALSE(stage.tab->isLogOpen());
    EXPECT_TRUE(stage.starts());
}

TEST(TabLogStart, WriteErrorsBehindTheHeaderAreNotTold) {
    for (const bool binary : {false, true}) {
        TabLogStage stage(binary);
        ASSERT_TRUE(stage.starts());
        {
            const FileSizeLimit limit(50'000);
            for (int row = 0; row < 5000; ++row) {
                stage.tab->appendLogRow({QString::number(row), QStringLiteral("twenty characters or")},
                                        row % 7 == 0);
            }
            stage.tab->flushLog();
            EXPECT_TRUE(stage.tab->isLogOpen());
        }
        stage.tab->appendLogRow(texts({"after", "wards"}), true);
        stage.tab->stopLog();
        EXPECT_FALSE(stage.takeWarning().has_value());
        const ReadLog log = stage.read(0);
        ASSERT_GT(log.rows().size(), 500u);
        for (std::size_t row = 0; row < 500; ++row) {
            ASSERT_EQ(log.rows()[row].at(0), std::to_string(row));
        }
    }
}

// --- files of their own ------------------------------------------------------------------------------------

TEST(TabLogFile, OpensAndClosesWithoutARun) {
    TabLogStage stage(true);
    const QString path = QString::fromStdString(stage.folder.file("own.qornlog"));
    ASSERT_TRUE(stage.tab->openLogFile(path, nullptr));
    stage.tab->closeLogFile();
    EXPECT_TRUE(stage.read(0).ended);
    EXPECT_EQ(stage.read(0).experiment, "Probe");
    stage.tab->closeLogFile();
    EXPECT_TRUE(stage.read(0).ended) << "closing twice writes nothing";
    EXPECT_FALSE(stage.tab->openLogFile(QStringLiteral("/no/such/folder/a.qornlog"), nullptr));
    QString error;
    EXPECT_FALSE(stage.tab->openLogFile(QStringLiteral("/no/such/folder/a.qornlog"), &error));
    EXPECT_EQ(error, QStringLiteral("Could not open log file:\nNo such file or directory"));
}

// --- the action --------------------------------------------------------------------------------------------

class TabLogAction : public ::testing::TestWithParam<bool> {
protected:
    QAction* action() const {
        for (const char* text : {"Start log", "Stop log"}) {
            if (QAction* found = findAction(*qorn::testing::measurementToolbar(*stage.tab), text)) {
                return found;
            }
        }
        return nullptr;
    }
    void expectClosed() const {
        ASSERT_NE(action(), nullptr);
        EXPECT_EQ(action()->text(), QStringLiteral("Start log"));
        EXPECT_EQ(action()->toolTip(),
                  QStringLiteral("Start writing a continuous .%1 log for this measurement").arg(extension));
    }
    void expectOpen() const {
        ASSERT_NE(action(), nullptr);
        EXPECT_EQ(action()->text(), QStringLiteral("Stop log"));
        EXPECT_EQ(action()->toolTip(), QStringLiteral("Stop writing the current .%1 log").arg(extension));
    }

    TabLogStage stage{GetParam()};
    const QString extension = GetParam() ? QStringLiteral("qornlog") : QStringLiteral("csv");
};

TEST_P(TabLogAction, SaysWhetherALogIsOpen) {
    stage.tab->buildToolbar(true, true, true);
    expectClosed();
    ASSERT_TRUE(stage.starts());
    expectOpen();
    stage.tab->stopLog();
    expectClosed();
}

TEST_P(TabLogAction, StartsAndStopsTheLogInTheStoredFolder) {
    TabLogStage::store("dataLogDirectory", stage.folderPath());
    stage.tab->buildToolbar(true, true, true);
    action()->trigger();
    EXPECT_TRUE(stage.tab->isLogOpen());
    expectOpen();
    ASSERT_EQ(stage.files().size(), 1);
    action()->trigger();
    EXPECT_FALSE(stage.tab->isLogOpen());
    expectClosed();
    EXPECT_TRUE(stage.read(0).ended);
}

TEST_P(TabLogAction, GoesBackWhenTheDurationIsOver) {
    TabLogStage::store("dataLogMaximumDurationSeconds", 1);
    stage.tab->buildToolbar(false, false, false);
    ASSERT_TRUE(stage.starts());
    expectOpen();
    ASSERT_TRUE(stage.appendUntil([this] { return !stage.tab->isLogOpen(); }));
    expectClosed();
}

TEST_P(TabLogAction, StaysWhenTheNextPartBegins) {
    TabLogStage::store("dataLogRotateSeconds", 1);
    stage.tab->buildToolbar(false, false, false);
    ASSERT_TRUE(stage.starts());
    ASSERT_TRUE(stage.appendUntil([this] { return stage.files().size() == 2; }));
    expectOpen();
}

TEST_P(TabLogAction, IsNotTouchedByTheRunningState) {
    stage.tab->buildToolbar(true, true, true);
    for (const bool running : {true, false}) {
        stage.tab->setRunningState(running);
        EXPECT_TRUE(action()->isEnabled());
        expectClosed();
    }
    ASSERT_TRUE(stage.starts());
    for (const bool running : {true, false}) {
        stage.tab->setRunningState(running);
        EXPECT_TRUE(action()->isEnabled());
        expectOpen();
    }
}

TEST_P(TabLogAction, ShowsALogThatBeganBeforeTheToolbar) {
    ASSERT_TRUE(stage.starts());
    stage.tab->buildToolbar(false, false, false);
    expectOpen();
}

TEST_P(TabLogAction, StandsBehindTheRecordAction) {
    const QToolBar* toolbar = stage.tab->buildToolbar(true, true, true);
    const QList<QAction*> actions = toolbar->actions();
    const QAction* record = findAction(*toolbar, "Complete time-tag recording");
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(actions.value(actions.indexOf(record) + 1), action());
}

TEST_P(TabLogAction, FollowsTheFormatOfAConfiguration) {
    stage.tab->buildToolbar(false, false, false);
    const bool other = !GetParam();
    stage.tab->loadSharedConfig({{QStringLiteral("dataLog"),
                                  QJsonObject{{QStringLiteral("format"),
                                               other ? QStringLiteral("binary") : QStringLiteral("csv")}}}});
    EXPECT_EQ(action()->toolTip(), QStringLiteral("Start writing a continuous .%1 log for this measurement")
                                       .arg(other ? QStringLiteral("qornlog") : QStringLiteral("csv")));
}

INSTANTIATE_TEST_SUITE_P(Formats, TabLogAction, ::testing::Bool(),
                         [](const auto& test) { return std::string(test.param ? "Binary" : "Text"); });

TEST(TabLogActions, AreOnlyThereWhereThereAreLogs) {
    LoggingTab tab;
    tab.logging = false;
    const QToolBar* toolbar = tab.buildToolbar(true, true, true);
    EXPECT_EQ(findAction(*toolbar, "Start log"), nullptr);
    EXPECT_NE(findAction(*toolbar, "Complete time-tag recording"), nullptr);
}

TEST(TabLogActions, TimeTagsHaveNoLogButARecording) {
    const TimeTagTab tab;
    const QToolBar* toolbar = qorn::testing::measurementToolbar(tab);
    ASSERT_NE(toolbar, nullptr);
    EXPECT_EQ(findAction(*toolbar, "Start log"), nullptr);
    EXPECT_NE(findAction(*toolbar, "Complete time-tag recording"), nullptr);
}

} // namespace
} // namespace qorn::timetagger::gui
