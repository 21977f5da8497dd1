// Configuration files and the exit prompt, as the whole window handles them.
#include "BarChartWidget.h"
#include "ConfigurationFile.h"
#include "ExperimentTab.h"
#include "QtPrinting.h"
#include "WidgetFinder.h"
#include "WindowStage.h"

#include <QAction>
#include <QCheckBox>
#include <QFile>
#include <QFileDialog>
#include <QImage>
#include <QJsonDocument>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QStatusBar>
#include <QTimer>

#include <gtest/gtest.h>

#include <optional>

namespace qorn::testing {
namespace {

QString typesOf(const QJsonObject& file) {
    QStringList types;
    for (const QJsonValue& entry : file.value(QStringLiteral("experiments")).toArray()) {
        types.append(entry[QStringLiteral("type")].toString());
    }
    return types.join(QLatin1Char(','));
}

QJsonObject readFile(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return QJsonDocument::fromJson(file.readAll()).object();
}

void writeFile(const QString& path, const QByteArray& text) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text);
}

// Closes the window and answers the prompt; true when it was asked.
bool exitWith(WindowStage& stage, QMessageBox::StandardButton answer, bool tick = false) {
    bool asked = false;
    answerNextDialog([&](QWidget& dialog) {
        auto& box = dynamic_cast<QMessageBox&>(dialog);
        asked = true;
        box.checkBox()->setChecked(tick);
        QTest::mouseClick(box.button(answer), Qt::LeftButton);
    });
    EXPECT_TRUE(stage.window().close()) << "an exit is never refused";
    QCoreApplication::processEvents();
    stage.destroyWindow();
    return asked;
}

TEST(WindowConfig, WhatIsSavedAtExitIsRestoredAtTheNextStart) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    stage.tab(0).loadConfig({{QStringLiteral("integrationSec"), 0.25}});
    stage.addTab("Time tags")
        .loadConfig(
            {{QStringLiteral("binSeconds"), 0.5}, {QStringLiteral("scale"), QStringLiteral("Integrated")}});
    stage.tab(1).setTimeTagRecordingDirectory(QStringLiteral("/data/recordings"));
    stage.addTab("Time tags");
    stage.tabs().setCurrentIndex(1);
    stage.window().applyTheme(QStringLiteral("Bright"));
    stage.window().resize(1000, 650);
    EXPECT_TRUE(exitWith(stage, QMessageBox::Yes));

    stage.openWindow();
    ASSERT_EQ(stage.tabs().count(), 3);
    EXPECT_EQ(stage.tabs().tabText(0), QStringLiteral("Counter 1"));
    EXPECT_EQ(stage.tabs().tabText(1), QStringLiteral("Time tags 2"));
    EXPECT_EQ(stage.tabs().tabText(2), QStringLiteral("Time tags 3"));
    EXPECT_EQ(stage.tabs().currentIndex(), 1);
    EXPECT_EQ(stage.tab(0).saveConfig().value(QStringLiteral("integrationSec")), QJsonValue(0.25));
    EXPECT_EQ(stage.tab(1).saveConfig().value(QStringLiteral("binSeconds")), QJsonValue(0.5));
    EXPECT_EQ(stage.tab(1).saveConfig().value(QStringLiteral("scale")).toString(),
              QStringLiteral("Integrated"));
    EXPECT_EQ(stage.tab(1).timeTagRecordingDirectory(), QStringLiteral("/data/recordings"));
    EXPECT_EQ(stage.window().size(), QSize(1000, 650));
    EXPECT_TRUE(stage.menuAction("Bright")->isChecked());
    EXPECT_EQ(stage.tab(1).plotWidget()->plotOptions().colorScheme, QStringLiteral("Bright"));
    EXPECT_FALSE(stage.tabs().isVisible()) << "restored tabs stay hidden until a device opens";

    ASSERT_TRUE(stage.clickConnect());
    EXPECT_EQ(stage.tabs().count(), 3) << "no counter is added beside restored tabs";
    EXPECT_EQ(stage.tab(1).logSerial(), QStringLiteral("SIM00001"));
    WindowStage::press(stage.tab(1), "Play");
    EXPECT_TRUE(stage.waitForData(stage.tab(1)));
}

TEST(WindowConfig, ExitWhileMeasuringSavesAndIsClean) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    gui::ExperimentTab& tab = stage.addTab("Time tags");
    WindowStage::press(tab, "Play");
    ASSERT_TRUE(stage.waitForData(tab));
    EXPECT_TRUE(exitWith(stage, QMessageBox::Yes));
    EXPECT_EQ(typesOf(readFile(gui::defaultConfigPath())), QStringLiteral("Counter,Time tags"));
}

TEST(WindowConfig, AnAnswerOfNoSavesTheUiOnly) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    EXPECT_TRUE(exitWith(stage, QMessageBox::No));
    const QJsonObject file = readFile(gui::defaultConfigPath());
    EXPECT_EQ(file.value(QStringLiteral("version")), QJsonValue(1));
    EXPECT_TRUE(file.contains(QStringLiteral("ui")));
    EXPECT_FALSE(file.contains(QStringLiteral("experiments")));
    stage.openWindow();
    EXPECT_EQ(stage.tabs().count(), 0);
    EXPECT_TRUE(exitWith(stage, QMessageBox::Yes)) << "the next exit asks again";
}

TEST(WindowConfig, ATickedNoHoldsForLaterExitsWithoutAsking) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    EXPECT_TRUE(exitWith(stage, QMessageBox::No, true));
    ASSERT_TRUE(stage.connectUnit());
    stage.window().close();
    stage.destroyWindow();
    const QJsonObject file = readFile(gui::defaultConfigPath());
    EXPECT_TRUE(file.contains(QStringLiteral("ui")));
    EXPECT_FALSE(file.contains(QStringLiteral("experiments")));
}

TEST(WindowConfig, TheUiPartHoldsThemeGeometryAndCurrentTab) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    stage.addTab("Time tags");
    stage.window().applyTheme(QStringLiteral("High contrast"));
    const QString path = stage.folder.filePath(QStringLiteral("ui.json"));
    ASSERT_TRUE(stage.window().saveConfigFile(path, true, false));
    const QJsonObject ui = readFile(path).value(QStringLiteral("ui")).toObject();
    EXPECT_EQ(ui.value(QStringLiteral("theme")).toString(), QStringLiteral("High contrast"));
    EXPECT_EQ(ui.value(QStringLiteral("currentTab")), QJsonValue(1));
    EXPECT_EQ(QByteArray::fromBase64(ui.value(QStringLiteral("geometry")).toString().toLatin1()),
              stage.window().saveGeometry());
    EXPECT_EQ(ui.size(), 3);
}

TEST(WindowConfig, EachExperimentIsSavedWithTypeAndBothSettings) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    stage.addTab("Time tags");
    const QString path = stage.folder.filePath(QStringLiteral("tabs.json"));
    ASSERT_TRUE(stage.window().saveConfigFile(path, false, true));
    const QJsonObject file = readFile(path);
    EXPECT_FALSE(file.contains(QStringLiteral("ui")));
    EXPECT_EQ(typesOf(file), QStringLiteral("Counter,Time tags"));
    const QJsonObject entry = file.value(QStringLiteral("experiments"))[1].toObject();
    EXPECT_EQ(entry.value(QStringLiteral("config")).toObject(), stage.tab(1).saveConfig());
    EXPECT_EQ(entry.value(QStringLiteral("sharedConfig")).toObject(), stage.tab(1).sharedConfig());
    EXPECT_EQ(entry.size(), 3);
}

TEST(WindowConfig, AFileWithTheUiOnlyLeavesTheTabs) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    const QPointer<gui::ExperimentTab> tab = &stage.tab(0);
    const QString path = stage.folder.filePath(QStringLiteral("ui.json"));
    writeFile(path, R"({"version": 7, "ui": {"theme": "Classic", "currentTab": 5}})");
    EXPECT_TRUE(stage.window().loadConfigFile(path));
    EXPECT_FALSE(tab.isNull());
    EXPECT_TRUE(stage.menuAction("Classic")->isChecked());
    EXPECT_EQ(stage.tabs().currentIndex(), 0);
}

TEST(WindowConfig, AFileWithExperimentsReplacesTheTabsAndDropsUnknownTypes) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    const QPointer<gui::ExperimentTab> before = &stage.tab(0);
    const QString path = stage.folder.filePath(QStringLiteral("tabs.json"));
    writeFile(path, R"({"experiments": [{"type": "Time tags", "config": {"historyBins": 77}},
                        {"type": "Oscilloscope"}, 5, {"type": "time tags"}, {"type": "Counter"}],
                        "ui": {"currentTab": 0}})");
    EXPECT_TRUE(stage.window().loadConfigFile(path));
    EXPECT_TRUE(before.isNull());
    ASSERT_EQ(stage.tabs().count(), 2);
    EXPECT_EQ(stage.tabs().tabText(0), QStringLiteral("Time tags 2"));
    EXPECT_EQ(stage.tabs().tabText(1), QStringLiteral("Counter 3"));
    EXPECT_EQ(stage.tabs().currentIndex(), 0);
    EXPECT_EQ(stage.tab(0).saveConfig().value(QStringLiteral("historyBins")), QJsonValue(77));
}

struct CurrentRow {
    const char* value;
    int current;
};

void PrintTo(const CurrentRow& row, std::ostream* out) {
    *out << row.value;
}

class CurrentTab : public ::testing::TestWithParam<CurrentRow> {};

TEST_P(CurrentTab, IsTakenOnlyWithinTheTabs) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    stage.addTab("Time tags"); // current: 1
    const QString path = stage.folder.filePath(QStringLiteral("ui.json"));
    writeFile(path, QByteArray(R"({"ui": {"currentTab": )") + GetParam().value + "}}");
    EXPECT_TRUE(stage.window().loadConfigFile(path));
    EXPECT_EQ(stage.tabs().currentIndex(), GetParam().current);
}

INSTANTIATE_TEST_SUITE_P(Values, CurrentTab,
                         ::testing::Values(CurrentRow{"0", 0}, CurrentRow{"1", 1}, CurrentRow{"2", 1},
                                           CurrentRow{"-1", 1}, CurrentRow{"1e9", 1},
                                           CurrentRow{"\"0\"", 1}));

TEST(WindowConfig, AnUnknownThemeShowsTheDefaultOne) {
    WindowStage stage;
    stage.openWindow();
    stage.window().applyTheme(QStringLiteral("Sepia"));
    EXPECT_TRUE(stage.menuAction("qorn")->isChecked());
}

constexpr const char* kTypes[] = {"Counter",           "Coincidence", "Correlation",
                                  "Multi correlation", "Frequency",   "Time tags"};

// Of the current tab.
QImage pictureIn(WindowStage& stage, const QString& theme) {
    stage.window().applyTheme(theme);
    QCoreApplication::processEvents();
    return stage.tabs().currentWidget()->grab().toImage();
}

TEST(WindowConfig, AThemeLooksTheSameHoweverItWasReached) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    stage.addTab("Correlation");
    const QImage bright = pictureIn(stage, QStringLiteral("Bright"));
    const QImage contrast = pictureIn(stage, QStringLiteral("High contrast"));
    EXPECT_NE(bright, contrast);
    EXPECT_EQ(pictureIn(stage, QStringLiteral("High contrast")), contrast) << "chosen once more";
    EXPECT_EQ(pictureIn(stage, QStringLiteral("Bright")), bright) << "and back";
}

TEST(WindowConfig, ANewTabLooksAsAfterAChangeOfTheTheme) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    for (const char* type : kTypes) {
        stage.window().applyTheme(QStringLiteral("Bright"));
        stage.addTab(type);
        QCoreApplication::processEvents();
        const QImage fresh = stage.tabs().currentWidget()->grab().toImage();
        stage.window().applyTheme(QStringLiteral("Dark"));
        QCoreApplication::processEvents();
        EXPECT_EQ(pictureIn(stage, QStringLiteral("Bright")), fresh) << type;
    }
}

TEST(WindowConfig, LoadedTabsAreDressedLikeAddedOnes) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    stage.addTab("Correlation");
    const QString path = stage.folder.filePath(QStringLiteral("tabs.json"));
    const QImage before = pictureIn(stage, QStringLiteral("Bright"));
    ASSERT_TRUE(stage.window().saveConfigFile(path, false, true));
    ASSERT_TRUE(stage.window().loadConfigFile(path));
    QCoreApplication::processEvents();
    EXPECT_EQ(pictureIn(stage, QStringLiteral("Bright")), before);
}

TEST(WindowConfig, ABrokenDefaultFileMeansDefaults) {
    WindowStage stage;
    writeFile(gui::defaultConfigPath(), "{\"experiments\": [{\"type\": ");
    ASSERT_TRUE(stage.connectUnit());
    EXPECT_EQ(stage.tabs().count(), 1);
    EXPECT_TRUE(stage.boxes().isEmpty());
    const QString missing = stage.folder.filePath(QStringLiteral("missing.json"));
    EXPECT_FALSE(stage.window().loadConfigFile(missing));
    EXPECT_FALSE(stage.window().saveConfigFile(stage.folder.path(), true, true));
}

// --- the menu entries --------------------------------------------------------------------------------------

// Answers the file dialog that comes next, and remembers what it was.
class FileDialogAnswer {
public:
    // No path: the dialog is cancelled.
    explicit FileDialogAnswer(std::optional<QString> chosenPath = std::nullopt)
        : path(std::move(chosenPath)) {
        // Again and again: a dialog may still be reading its folder when it is first told.
        QObject::connect(&timer, &QTimer::timeout, [this] {
            if (auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
                answer(*dialog);
            }
        });
        timer.start(0);
    }

    QString title;
    QStringList filters;
    QString startFile;

private:
    void answer(QFileDialog& dialog) {
        if (title.isEmpty()) {
            title = dialog.windowTitle();
            filters = dialog.nameFilters();
            startFile = QFileInfo(dialog.selectedFiles().value(0)).fileName();
        }
        if (path) {
            dialog.selectFile(*path);
            QMetaObject::invokeMethod(&dialog, "accept");
        } else {
            dialog.reject();
        }
    }

    std::optional<QString> path;
    QTimer timer;
};

struct SaveRow {
    const char* entry;
    const char* title;
    const char* done;
    bool ui;
    bool experiments;
};

void PrintTo(const SaveRow& row, std::ostream* out) {
    *out << row.entry;
}

class SaveEntries : public ::testing::TestWithParam<SaveRow> {};

TEST_P(SaveEntries, WriteTheirPartsToTheChosenFile) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    const QString path = stage.folder.filePath(QStringLiteral("chosen.json"));
    const FileDialogAnswer answer(path);
    stage.menuAction(GetParam().entry)->trigger();
    EXPECT_EQ(answer.title, QString::fromUtf8(GetParam().title));
    EXPECT_EQ(answer.filters, texts({"Configuration (*.json)"}));
    EXPECT_EQ(answer.startFile, QStringLiteral("last_config.json"));
    EXPECT_EQ(stage.window().statusBar()->currentMessage(), QString::fromUtf8(GetParam().done).arg(path));
    const QJsonObject file = readFile(path);
    EXPECT_EQ(file.contains(QStringLiteral("ui")), GetParam().ui);
    EXPECT_EQ(file.contains(QStringLiteral("experiments")), GetParam().experiments);
}

TEST_P(SaveEntries, ReportAFileThatCannotBeWritten) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    const FileDialogAnswer answer(QStringLiteral("/proc/sys/no.json"));
    stage.menuAction(GetParam().entry)->trigger();
    ASSERT_TRUE(stage.waitForBox("Save configuration"));
    EXPECT_EQ(stage.takeBox(), QStringLiteral("Could not write /proc/sys/no.json"));
}

INSTANTIATE_TEST_SUITE_P(Entries, SaveEntries,
                         ::testing::Values(SaveRow{"Save &all...", "Save configuration (all)",
                                                   "Saved configuration to %1", true, true},
                                           SaveRow{"Save &UI config...", "Save UI configuration",
                                                   "Saved UI configuration to %1", true, false},
                                           SaveRow{"Save &experiment config...",
                                                   "Save experiment configuration",
                                                   "Saved experiment configuration to %1", false, true}));

TEST(WindowConfig, TheLoadEntryTakesTheChosenFile) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    const QString path = stage.folder.filePath(QStringLiteral("chosen.json"));
    writeFile(path, R"({"experiments": [{"type": "Time tags"}]})");
    const FileDialogAnswer answer(path);
    stage.menuAction("&Load configuration...")->trigger();
    EXPECT_EQ(answer.title, QStringLiteral("Load configuration"));
    EXPECT_EQ(answer.filters, texts({"Configuration (*.json)"}));
    EXPECT_EQ(stage.window().statusBar()->currentMessage(),
              QStringLiteral("Loaded configuration from %1").arg(path));
    EXPECT_EQ(stage.tabs().tabText(0), QStringLiteral("Time tags 2"));
}

TEST(WindowConfig, TheLoadEntryReportsAFileThatIsNoConfiguration) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    const QString path = stage.folder.filePath(QStringLiteral("chosen.json"));
    writeFile(path, "no json");
    const FileDialogAnswer answer(path);
    stage.menuAction("&Load configuration...")->trigger();
    ASSERT_TRUE(stage.waitForBox("Load configuration"));
    EXPECT_EQ(stage.takeBox(), QStringLiteral("Could not load %1").arg(path));
    EXPECT_EQ(stage.tabs().tabText(0), QStringLiteral("Counter 1"));
}

TEST(WindowConfig, ACancelledFileDialogEndsInSilence) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    stage.window().statusBar()->clearMessage();
    for (const char* entry :
         {"&Load configuration...", "Save &all...", "Save &UI config...", "Save &experiment config..."}) {
        const FileDialogAnswer answer;
        stage.menuAction(entry)->trigger();
        EXPECT_FALSE(answer.title.isEmpty()) << entry;
        EXPECT_TRUE(stage.window().statusBar()->currentMessage().isEmpty()) << entry;
        EXPECT_TRUE(stage.boxes().isEmpty()) << entry;
    }
}

TEST(WindowConfig, LoadingWhileMeasuringEndsTheMeasurement) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    gui::ExperimentTab& tab = stage.addTab("Time tags");
    WindowStage::press(tab, "Play");
    ASSERT_TRUE(stage.waitForData(tab));
    const QString path = stage.folder.filePath(QStringLiteral("tabs.json"));
    writeFile(path, R"({"experiments": [{"type": "Time tags"}]})");
    EXPECT_TRUE(stage.window().loadConfigFile(path));
    ASSERT_EQ(stage.tabs().count(), 1);
    // whatever still ran for the tabs that are gone, the new one can be measured with
    WindowStage::press(stage.tab(0), "Play");
    EXPECT_TRUE(stage.waitForData(stage.tab(0)));
    WindowStage::press(stage.tab(0), "Stop");
    EXPECT_TRUE(stage.waitForIdle());
    EXPECT_TRUE(waitUntil([&] { return !stage.controller().isCapturing(); }));
}

} // namespace
} // namespace qorn::testing
