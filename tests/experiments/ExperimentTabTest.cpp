#include "ExperimentTab.h"

#include "ProbeTab.h"
#include "QtPrinting.h"
#include "StoredSettings.h"
#include "TabControls.h"

#include <QDir>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

#include <memory>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::findAction;
using qorn::testing::ProbeTab;
using qorn::testing::texts;

constexpr const char* kPlay = "Play (resumes after Pause, starts fresh after Stop)";
constexpr const char* kPause = "Pause (keeps data; Play resumes)";
constexpr const char* kStop = "Stop (Play starts a fresh acquisition)";
constexpr const char* kReset = "Reset measurement (clear displayed accumulators without stopping the stream)";
constexpr const char* kRecordOn = "Complete time-tag recording enabled for the next acquisition";
constexpr const char* kRecordOff = "Complete time-tag recording disabled for the next acquisition";
constexpr const char* kDragZoom =
    "On: left-drag zooms the dominant axis (mostly horizontal = X, mostly vertical = "
    "Y). Off: left-drag pans. Right-drag always pans.";
const QString kRecordKey = QStringLiteral("measurement/probe/timeTagsEnabled");

bool isEnabled(const QWidget& toolbar, const char* toolTip) {
    const QAction* action = findAction(toolbar, toolTip);
    EXPECT_NE(action, nullptr) << toolTip;
    return action != nullptr && action->isEnabled();
}

TEST(ExperimentTab, AnswersModestlyWhereATabSaysNothing) {
    ProbeTab tab(QStringLiteral("Multi correlation"));
    EXPECT_TRUE(tab.supportsLogging());
    EXPECT_TRUE(tab.logCsvHeader().isEmpty());
    EXPECT_EQ(tab.logFileStem(), QStringLiteral("Multi correlation"));
    EXPECT_EQ(tab.logFileExtension(), QStringLiteral("csv"));
    EXPECT_TRUE(tab.saveConfig().isEmpty());
    EXPECT_EQ(tab.plotWidget(), nullptr);
    EXPECT_EQ(tab.settingsKey(), QStringLiteral("multi_correlation"));
    tab.onStart();
    tab.onStop();
    tab.onResume();
    tab.resetMeasurement();
    tab.loadConfig({});
    tab.onTagsBatch({{0, 1}});
    EXPECT_FALSE(tab.isRunning());
}

TEST(ExperimentTab, ToolbarStandsStillUnderItsName) {
    ProbeTab tab;
    const QToolBar* toolbar = tab.buildToolbar(false, false, false);
    EXPECT_EQ(toolbar->objectName(), QStringLiteral("MeasurementToolBar"));
    EXPECT_EQ(toolbar->iconSize(), QSize(18, 18));
    EXPECT_FALSE(toolbar->isMovable());
    EXPECT_FALSE(toolbar->isFloatable());
}

TEST(ExperimentTab, ToolbarHasItsActionsInOrder) {
    ProbeTab tab;
    const QToolBar* toolbar = tab.buildToolbar(true, true, true);
    QStringList tips;
    for (const QAction* action : toolbar->actions()) {
        if (action->isSeparator()) {
            tips.append(QStringLiteral("|"));
        } else if (action->text().isEmpty() && action->icon().isNull()) {
            tips.append(QStringLiteral("<>")); // the spacer
        } else {
            tips.append(action->toolTip());
        }
    }
    EXPECT_EQ(tips,
              texts({kPlay, kPause, kStop, kReset, "|", "Save plot image", "Save displayed plot data",
                     "Load saved plot data", kRecordOff,
                     "Start writing a continuous .csv log for this measurement", "Plot settings", "<>", "|",
                     kDragZoom, "Fit all data (or double-click the plot)", "Type in exact axis limits",
                     "Show this plot in the split view (multiple plots side by side)"}));
}

TEST(ExperimentTab, ActionsShowStandardIconsAndTheViewActionsTheirTexts) {
    ProbeTab tab;
    const QToolBar* toolbar = tab.buildToolbar(true, true, true);
    for (const char* tip : {kPlay, kPause, kStop, kReset, "Save plot image", "Save displayed plot data",
                            "Load saved plot data", kRecordOff, "Plot settings"}) {
        const QAction* action = findAction(*toolbar, tip);
        ASSERT_NE(action, nullptr) << tip;
        EXPECT_FALSE(action->icon().isNull()) << tip;
    }
    for (const char* text : {"Drag zoom", "Reset view", "Axis...", "Split"}) {
        const QAction* action = findAction(*toolbar, text);
        ASSERT_NE(action, nullptr) << text;
        EXPECT_EQ(action->text(), QString::fromUtf8(text));
    }
}

struct ViewRow {
    const char* name;
    bool plot;
    bool controls;
    bool split;
    bool showsControls;
    bool showsSplit;
};

void PrintTo(const ViewRow& row, std::ostream* out) {
    *out << row.name;
}

class ToolbarViews : public ::testing::TestWithParam<ViewRow> {};

TEST_P(ToolbarViews, AreThereOnlyWithAPlotAndWhenAskedFor) {
    ProbeTab tab;
    const ViewRow& row = GetParam();
    const QToolBar* toolbar = tab.buildToolbar(row.plot, row.controls, row.split);
    for (const char* text : {"Drag zoom", "Reset view", "Axis..."}) {
        EXPECT_EQ(findAction(*toolbar, text) != nullptr, row.showsControls) << text;
    }
    EXPECT_EQ(findAction(*toolbar, "Split") != nullptr, row.showsSplit);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ToolbarViews,
                         ::testing::Values(ViewRow{"All", true, true, true, true, true},
                                           ViewRow{"NoSplit", true, true, false, true, false},
                                           ViewRow{"SplitOnly", true, false, true, false, true},
                                           ViewRow{"PlotOnly", true, false, false, false, false},
                                           ViewRow{"NoPlot", false, true, true, false, false}),
                         [](const auto& test) { return test.param.name; });

TEST(ExperimentTab, ActionsAskForWhatTheySay) {
    ProbeTab tab;
    const QToolBar* toolbar = tab.buildToolbar(true, true, true);
    tab.setRunningState(true); // for pause
    struct Row {
        const char* tip;
        void (ExperimentTab::*signal)();
    };
    for (const Row& row :
         {Row{kPause, &ExperimentTab::pauseRequested}, Row{kStop, &ExperimentTab::cancelRequested},
          Row{kReset, &ExperimentTab::restartRequested}, Row{"Split", &ExperimentTab::splitRequested}}) {
        QSignalSpy spy(&tab, row.signal);
        findAction(*toolbar, row.tip)->trigger();
        EXPECT_EQ(spy.count(), 1) << row.tip;
    }
    tab.setRunningState(false);
    QSignalSpy starts(&tab, &ExperimentTab::startRequested);
    findAction(*toolbar, kPlay)->trigger();
    EXPECT_EQ(starts.count(), 1);
}

TEST(ExperimentTab, ActionsFollowTheRunningState) {
    ProbeTab tab;
    const QToolBar* toolbar = tab.buildToolbar(true, true, true);
    for (const bool running : {false, true, true, false}) {
        if (running || tab.isRunning()) {
            tab.setRunningState(running);
        }
        EXPECT_EQ(tab.isRunning(), running);
        EXPECT_EQ(isEnabled(*toolbar, kPlay), !running);
        EXPECT_EQ(isEnabled(*toolbar, kPause), running);
        EXPECT_TRUE(isEnabled(*toolbar, kStop));
        EXPECT_TRUE(isEnabled(*toolbar, kReset));
        EXPECT_EQ(isEnabled(*toolbar, kRecordOff), !running);
        EXPECT_TRUE(isEnabled(*toolbar, "Save plot image"));
    }
}

TEST(ExperimentTab, TheRunningStateBeforeAToolbarExistsIsOnlyStored) {
    ProbeTab tab;
    tab.setRunningState(true);
    EXPECT_TRUE(tab.isRunning());
    const QToolBar* toolbar = tab.buildToolbar(false, false, false);
    EXPECT_FALSE(tab.isRunning()) << "a new toolbar begins as when not running";
    EXPECT_TRUE(isEnabled(*toolbar, kPlay));
    EXPECT_FALSE(isEnabled(*toolbar, kPause));
}

TEST(ExperimentTab, DragZoomFollowsAndSetsThePlotsMode) {
    ProbeTab tab;
    const QToolBar* toolbar = tab.buildToolbar(true, true, false);
    QAction* zoom = findAction(*toolbar, "Drag zoom");
    ASSERT_TRUE(zoom->isCheckable());
    EXPECT_EQ(zoom->isChecked(), tab.plotWidget()->boxZoomMode());
    zoom->toggle();
    EXPECT_EQ(zoom->isChecked(), tab.plotWidget()->boxZoomMode());
    zoom->toggle();
    EXPECT_EQ(zoom->isChecked(), tab.plotWidget()->boxZoomMode());
}

TEST(ExperimentTab, ResetViewFitsThePlotAgain) {
    ProbeTab tab;
    const QToolBar* toolbar = tab.buildToolbar(true, true, false);
    BarChartWidget& plot = *tab.plotWidget();
    plot.resize(400, 300);
    plot.setXRange(0, 10);
    plot.setManualRange(3, 4, 0, 1);
    const QRectF rect = plot.plotRect();
    EXPECT_NEAR(plot.valueFromPixelX(rect.left(), rect), 3.0, 1e-9);
    findAction(*toolbar, "Reset view")->trigger();
    EXPECT_NEAR(plot.valueFromPixelX(rect.left(), rect), 0.0, 1e-9);
    EXPECT_NEAR(plot.valueFromPixelX(rect.right(), rect), 10.0, 1e-9);
}

TEST(ExperimentTab, RecordingIsOffAtFirstAndItsActionStoresTheChoice) {
    ProbeTab tab;
    const QToolBar* toolbar = tab.buildToolbar(false, false, false);
    QAction* record = findAction(*toolbar, "Complete time-tag recording");
    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(record->isCheckable());
    EXPECT_FALSE(record->isChecked());
    EXPECT_EQ(record->toolTip(), QString::fromUtf8(kRecordOff));
    EXPECT_FALSE(tab.timeTagRecordingEnabled());
    record->trigger();
    EXPECT_TRUE(tab.timeTagRecordingEnabled());
    EXPECT_EQ(record->toolTip(), QString::fromUtf8(kRecordOn));
    EXPECT_TRUE(testing::storedSettings().value(kRecordKey).toBool());
    record->trigger();
    EXPECT_FALSE(tab.timeTagRecordingEnabled());
    EXPECT_EQ(record->toolTip(), QString::fromUtf8(kRecordOff));
    EXPECT_FALSE(testing::storedSettings().value(kRecordKey).toBool());
}

TEST(ExperimentTab, TheStoredChoiceStandsInANewToolbar) {
    testing::storedSettings().setValue(kRecordKey, true);
    ProbeTab tab;
    const QToolBar* toolbar = tab.buildToolbar(false, false, false);
    const QAction* record = findAction(*toolbar, kRecordOn);
    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(record->isChecked());
    EXPECT_TRUE(tab.requiresTagStreaming());
}

TEST(ExperimentTab, AConfigurationThatSwitchesRecordingShowsOnTheAction) {
    ProbeTab tab;
    const QToolBar* toolbar = tab.buildToolbar(false, false, false);
    tab.loadSharedConfig(
        {{QStringLiteral("timeTagRecording"), QJsonObject{{QStringLiteral("enabled"), true}}}});
    const QAction* record = findAction(*toolbar, kRecordOn);
    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(record->isChecked());
    EXPECT_TRUE(testing::storedSettings().value(kRecordKey).toBool());
}

TEST(ExperimentTab, WithoutRecordingTheConfigIsEmpty) {
    testing::storedSettings().setValue(QStringLiteral("measurement/probe/timeTagsRotateSeconds"), 60);
    const ProbeTab tab;
    const UiTimeTagRecordingConfig config = tab.timeTagRecordingConfig();
    EXPECT_TRUE(config.path.isEmpty());
    EXPECT_EQ(config.rotateSeconds, 0);
    EXPECT_EQ(config.maxDurationSeconds, 0);
}

TEST(ExperimentTab, ARecordingIsNamedAfterTypeSerialAndTime) {
    QSettings settings = testing::storedSettings();
    settings.setValue(kRecordKey, true);
    settings.setValue(QStringLiteral("measurement/probe/timeTagsDirectory"), QStringLiteral("/data/tags"));
    settings.setValue(QStringLiteral("measurement/probe/timeTagsRotateSeconds"), 60);
    settings.setValue(QStringLiteral("measurement/probe/timeTagsMaximumDurationSeconds"), 7200);
    ProbeTab tab;
    tab.setLogContext(QStringLiteral("Device"), QStringLiteral(" A B/1 "), QStringLiteral("external"),
                      QStringLiteral("USB"));
    const UiTimeTagRecordingConfig config = tab.timeTagRecordingConfig();
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^/data/tags/probe_A_B_1_\\d{8}_\\d{6}\\.qornts$"))
                    .match(config.path)
                    .hasMatch())
        << config.path.toStdString();
    EXPECT_EQ(config.rotateSeconds, 60);
    EXPECT_EQ(config.maxDurationSeconds, 7200);
}

TEST(ExperimentTab, WithoutARecordingFolderTheLogFolderIsUsed) {
    testing::storedSettings().setValue(kRecordKey, true);
    ProbeTab tab;
    tab.setTimeTagRecordingDirectory(QStringLiteral("   "));
    const QString path = tab.timeTagRecordingConfig().path;
    EXPECT_TRUE(path.startsWith(QCoreApplication::applicationDirPath() + QStringLiteral("/logs/probe_")))
        << path.toStdString();
}

TEST(ExperimentTab, TheRecordingFolderIsTrimmedAndStored) {
    ProbeTab tab;
    tab.setTimeTagRecordingDirectory(QStringLiteral("  /data/some where "));
    EXPECT_EQ(tab.timeTagRecordingDirectory(), QStringLiteral("/data/some where"));
    EXPECT_EQ(
        testing::storedSettings().value(QStringLiteral("measurement/probe/timeTagsDirectory")).toString(),
        QStringLiteral("/data/some where"));
}

TEST(ExperimentTab, KeepsTheSerialOfItsLogContext) {
    ProbeTab tab;
    EXPECT_TRUE(tab.logSerial().isEmpty());
    tab.setLogContext(QStringLiteral("d"), QStringLiteral("SIM00001"), QStringLiteral("s"),
                      QStringLiteral("t"));
    EXPECT_EQ(tab.logSerial(), QStringLiteral("SIM00001"));
}

TEST(ExperimentTab, SharedSettingsComeBackFromAConfiguration) {
    testing::storedSettings().setValue(QStringLiteral("measurement/probe/dataLogFormat"),
                                       QStringLiteral("binary"));
    const ProbeTab first;
    ProbeTab second(QStringLiteral("Other"));
    second.loadSharedConfig(first.sharedConfig());
    EXPECT_EQ(second.sharedConfig(), first.sharedConfig());
    EXPECT_EQ(testing::storedSettings().value(QStringLiteral("measurement/other/dataLogFormat")).toString(),
              QStringLiteral("binary"));
}

// --- the plot's lending ------------------------------------------------------------------------------------

QLabel* placeholderOf(const QWidget& tab) {
    for (QLabel* label : tab.findChildren<QLabel*>(QStringLiteral("Muted"))) {
        if (label->text() == QStringLiteral("Plot shown in split view")) {
            return label;
        }
    }
    return nullptr;
}

struct LendingStage {
    LendingStage() {
        column = tab.buildColumn();
        tab.resize(600, 500);
        tab.show();
    }
    ~LendingStage() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

    ProbeTab tab;
    QWidget* column = nullptr;
};

TEST(ExperimentTab, PlotColumnHoldsThePlotOverItsToolbar) {
    LendingStage stage;
    auto* layout = qobject_cast<QVBoxLayout*>(stage.column->layout());
    ASSERT_NE(layout, nullptr);
    EXPECT_EQ(layout->contentsMargins(), QMargins());
    EXPECT_EQ(layout->spacing(), 4);
    ASSERT_EQ(layout->count(), 2);
    EXPECT_EQ(layout->itemAt(0)->widget(), stage.tab.plotWidget());
    EXPECT_EQ(layout->stretch(0), 1);
    EXPECT_EQ(layout->itemAt(1)->widget(), qorn::testing::measurementToolbar(stage.tab));
    EXPECT_EQ(layout->stretch(1), 0);
    EXPECT_NE(findAction(*qorn::testing::measurementToolbar(stage.tab), "Split"), nullptr);
    EXPECT_NE(findAction(*qorn::testing::measurementToolbar(stage.tab), "Axis..."), nullptr);
}

TEST(ExperimentTab, ALentPlotLeavesALabelInItsPlace) {
    LendingStage stage;
    BarChartWidget* plot = stage.tab.borrowPlot();
    ASSERT_EQ(plot, stage.tab.plotWidget());
    const std::unique_ptr<QWidget> elsewhere = std::make_unique<QWidget>();
    plot->setParent(elsewhere.get());
    const QLabel* label = placeholderOf(stage.tab);
    ASSERT_NE(label, nullptr);
    EXPECT_TRUE(label->alignment().testFlag(Qt::AlignCenter));
    auto* layout = qobject_cast<QVBoxLayout*>(stage.column->layout());
    EXPECT_EQ(layout->itemAt(0)->widget(), label);
    EXPECT_EQ(layout->stretch(0), 1);
    EXPECT_TRUE(QTest::qWaitFor([label] { return label->isVisible(); }, 10000));
    stage.tab.returnPlot();
    EXPECT_EQ(plot->parentWidget(), stage.column);
    EXPECT_EQ(layout->count(), 2);
    EXPECT_EQ(layout->itemAt(0)->widget(), plot);
    EXPECT_EQ(layout->stretch(0), 1);
    EXPECT_TRUE(plot->isVisible());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(placeholderOf(stage.tab), nullptr);
}

TEST(ExperimentTab, ASecondLoanGivesNothingAndLeavesTheFirstLabel) {
    LendingStage stage;
    BarChartWidget* plot = stage.tab.borrowPlot();
    const QLabel* label = placeholderOf(stage.tab);
    EXPECT_EQ(stage.tab.borrowPlot(), nullptr);
    EXPECT_EQ(placeholderOf(stage.tab), label);
    EXPECT_EQ(stage.column->layout()->count(), 2);
    EXPECT_NE(plot, nullptr);
    stage.tab.returnPlot();
}

TEST(ExperimentTab, AReturnWithoutALoanChangesNothing) {
    LendingStage stage;
    stage.tab.returnPlot();
    EXPECT_EQ(stage.column->layout()->itemAt(0)->widget(), stage.tab.plotWidget());
    EXPECT_EQ(stage.column->layout()->count(), 2);
    stage.tab.borrowPlot();
    stage.tab.returnPlot();
    stage.tab.returnPlot();
    EXPECT_EQ(stage.column->layout()->count(), 2);
}

TEST(ExperimentTab, APlotCanBeLentAgainAndAgain) {
    LendingStage stage;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(stage.tab.borrowPlot(), stage.tab.plotWidget());
        stage.tab.returnPlot();
        EXPECT_EQ(stage.column->layout()->itemAt(0)->widget(), stage.tab.plotWidget());
    }
}

TEST(ExperimentTab, ATabWithoutAPlotColumnLendsNothing) {
    ProbeTab bare;
    EXPECT_EQ(bare.borrowPlot(), nullptr);
    bare.returnPlot();
    ProbeTab withPlot;
    withPlot.buildToolbar(true, true, true);
    EXPECT_EQ(withPlot.borrowPlot(), nullptr);
    EXPECT_EQ(withPlot.plotWidget()->parentWidget(), &withPlot);
}

} // namespace
} // namespace qorn::timetagger::gui
