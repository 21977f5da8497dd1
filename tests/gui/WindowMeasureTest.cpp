// The measurement scheduling of the whole window with real tabs on the simulated instrument.
#include "BarChartWidget.h"
#include "ExperimentTab.h"
#include "QtPrinting.h"
#include "WindowStage.h"

#include <QAction>
#include <QLabel>
#include <QPointer>
#include <QSignalSpy>
#include <QStatusBar>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

const QString kShared = QStringLiteral("shared stream (USB / Packed delta (16 bit / 8 ps), external)");
const QString kTimeTags = QStringLiteral("time tags (USB / Packed delta (16 bit / 8 ps), external)");
const QString kStopped = QStringLiteral("stopped after ");

// A connected window with the counter tab that comes with it.
struct MeasureStage : WindowStage {
    MeasureStage() { connected = connectUnit(); }
    gui::ExperimentTab& counter() { return tab(0); }

    // A Time tags tab whose stream arrives.
    gui::ExperimentTab& streamingTab() {
        gui::ExperimentTab& added = addTab("Time tags");
        press(added, "Play");
        EXPECT_TRUE(waitForData(added));
        return added;
    }

    bool connected = false;
};

quint64 tagsIn(const QString& status) {
    return status.section(QLatin1Char(' '), 1, 1).toULongLong();
}

TEST(WindowMeasure, TheCounterRunsOnTheHardware) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    EXPECT_TRUE(WindowStage::canPress(stage.counter(), "Play"));
    EXPECT_FALSE(WindowStage::canPress(stage.counter(), "Pause"));
    WindowStage::press(stage.counter(), "Play");
    EXPECT_EQ(stage.flag("Acquisition"), QStringLiteral("Acquisition: hardware counter"));
    EXPECT_EQ(stage.flagState("Acquisition"), QStringLiteral("good"));
    EXPECT_EQ(stage.detail(), QStringLiteral("counter (external, hardware)"));
    EXPECT_FALSE(WindowStage::canPress(stage.counter(), "Play"));
    EXPECT_TRUE(WindowStage::canPress(stage.counter(), "Pause"));
    EXPECT_FALSE(WindowStage::canPress(stage.counter(), "Complete time-tag recording"));
    EXPECT_FALSE(stage.menuAction("&Close device")->isEnabled());
    EXPECT_TRUE(stage.menuAction("&New experiment...")->isEnabled());
    EXPECT_TRUE(stage.waitForData(stage.counter()));
    WindowStage::press(stage.counter(), "Stop");
    EXPECT_EQ(stage.detail(), QStringLiteral("stopping"));
    EXPECT_TRUE(stage.waitForIdle());
    EXPECT_EQ(stage.flagState("Acquisition"), QStringLiteral("muted"));
    EXPECT_EQ(stage.detail(), QStringLiteral("idle"));
    EXPECT_TRUE(WindowStage::statusOf(stage.counter()).startsWith(kStopped));
    EXPECT_TRUE(WindowStage::canPress(stage.counter(), "Play"));
    EXPECT_TRUE(stage.menuAction("&Close device")->isEnabled());
    EXPECT_TRUE(stage.boxes().isEmpty());
}

TEST(WindowMeasure, TimeTagsPlayPauseResumeAndStop) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    gui::ExperimentTab& tab = stage.addTab("Time tags");
    WindowStage::press(tab, "Play");
    EXPECT_EQ(stage.flag("Acquisition"), QStringLiteral("Acquisition: tag stream"));
    EXPECT_EQ(stage.flagState("Acquisition"), QStringLiteral("active"));
    EXPECT_EQ(stage.detail(), kTimeTags);
    EXPECT_FALSE(stage.menuAction("&Close device")->isEnabled());
    ASSERT_TRUE(stage.waitForData(tab));

    WindowStage::press(tab, "Pause");
    EXPECT_TRUE(WindowStage::canPress(tab, "Play"));
    ASSERT_TRUE(stage.waitForIdle());
    EXPECT_EQ(stage.scheduler().pausedExperiment(), &tab);
    const quint64 paused = WindowStage::statusOf(tab).section(QLatin1Char(' '), 2, 2).toULongLong();
    EXPECT_GT(paused, 0U);
    EXPECT_EQ(WindowStage::statusOf(tab), kStopped + QStringLiteral("%1 plotted tag(s)").arg(paused));

    WindowStage::press(tab, "Play");
    ASSERT_TRUE(stage.waitForData(tab));
    EXPECT_GE(tagsIn(WindowStage::statusOf(tab)), paused) << "a resume keeps what was counted";
    WindowStage::press(tab, "Stop");
    ASSERT_TRUE(stage.waitForIdle());

    const QSignalSpy batches(&stage.controller(), &gui::DeviceController::tagsBatch);
    WindowStage::press(tab, "Play");
    ASSERT_TRUE(stage.waitForData(tab));
    quint64 arrived = 0;
    for (const QList<QVariant>& arguments : batches) {
        arrived += static_cast<quint64>(arguments[0].value<QList<gui::UiTimeTag>>().size());
    }
    EXPECT_LE(tagsIn(WindowStage::statusOf(tab)), arrived) << "a start after a stop is fresh";
}

TEST(WindowMeasure, TwoTabsShareAStreamAndThePrimaryMayPause) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    gui::ExperimentTab& first = stage.streamingTab();
    gui::ExperimentTab& second = stage.addTab("Time tags");
    const QSignalSpy stopped(&stage.controller(), &gui::DeviceController::captureStopped);
    WindowStage::press(second, "Play");
    EXPECT_EQ(stage.detail(), kShared);
    ASSERT_TRUE(stage.waitForData(second));
    EXPECT_EQ(stage.scheduler().runningConsumerCount(), 2);
    EXPECT_EQ(stage.scheduler().runningExperiment(), &first);

    WindowStage::press(first, "Pause");
    EXPECT_EQ(stage.scheduler().runningExperiment(), &second);
    EXPECT_TRUE(WindowStage::statusOf(first).startsWith(kStopped));
    EXPECT_FALSE(first.isRunning());
    const quint64 before = tagsIn(WindowStage::statusOf(second));
    EXPECT_TRUE(waitUntil([&] { return tagsIn(WindowStage::statusOf(second)) > before; }));

    WindowStage::press(first, "Play"); // resumes
    ASSERT_TRUE(stage.waitForData(first));
    EXPECT_EQ(stage.scheduler().runningConsumerCount(), 2);
    EXPECT_EQ(stopped.count(), 0) << "the stream was never interrupted";
    WindowStage::press(second, "Stop");
    EXPECT_EQ(stage.scheduler().runningExperiment(), &first);
    WindowStage::press(first, "Stop");
    EXPECT_TRUE(stage.waitForIdle());
    EXPECT_EQ(stopped.count(), 1);
}

TEST(WindowMeasure, TheCounterJoinsARunningStream) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    stage.streamingTab();
    WindowStage::press(stage.counter(), "Play");
    EXPECT_EQ(stage.detail(), kShared);
    EXPECT_EQ(stage.flag("Acquisition"), QStringLiteral("Acquisition: tag stream"));
    EXPECT_TRUE(stage.waitForData(stage.counter())) << "it counts from the tags";
    EXPECT_EQ(stage.scheduler().runningConsumerCount(), 2);
}

TEST(WindowMeasure, HardwareGivesWayToAStreamAndBack) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    WindowStage::press(stage.counter(), "Play");
    ASSERT_TRUE(stage.waitForData(stage.counter()));
    gui::ExperimentTab& tags = stage.addTab("Time tags");
    WindowStage::press(tags, "Play");
    EXPECT_EQ(stage.flag("Acquisition"), QStringLiteral("Acquisition: switching"));
    EXPECT_EQ(stage.detail(), QStringLiteral("switching acquisition"));
    ASSERT_TRUE(stage.waitForData(tags));
    EXPECT_EQ(stage.flag("Acquisition"), QStringLiteral("Acquisition: tag stream"));
    EXPECT_TRUE(WindowStage::statusOf(stage.counter()).startsWith(kStopped));
    EXPECT_FALSE(stage.counter().isRunning());

    WindowStage::press(tags, "Stop");
    WindowStage::press(stage.counter(), "Play"); // while the stream is stopping
    EXPECT_EQ(stage.detail(), QStringLiteral("stopping, queued start"));
    ASSERT_TRUE(stage.waitForFlag("Acquisition: hardware counter"));
    ASSERT_TRUE(stage.waitForData(stage.counter()));
    EXPECT_EQ(stage.scheduler().runningConsumerCount(), 1);
    EXPECT_FALSE(tags.isRunning());
}

TEST(WindowMeasure, OfThreeQuickStartsOnlyTheLastRuns) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    gui::ExperimentTab& second = stage.addTab("Counter");
    gui::ExperimentTab& third = stage.addTab("Counter");
    WindowStage::press(stage.counter(), "Play");
    WindowStage::press(second, "Play");
    WindowStage::press(third, "Play");
    ASSERT_TRUE(stage.waitForData(third));
    EXPECT_EQ(stage.scheduler().runningExperiment(), &third);
    EXPECT_EQ(stage.scheduler().runningConsumerCount(), 1);
    EXPECT_FALSE(stage.counter().isRunning());
    EXPECT_FALSE(second.isRunning());
    EXPECT_EQ(WindowStage::statusOf(second), QStringLiteral("idle")) << "it never began";
}

TEST(WindowMeasure, ClosingATabOfASharedStreamLeavesTheOtherRunning) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    stage.streamingTab();
    gui::ExperimentTab& second = stage.streamingTab();
    Q_EMIT stage.tabs().tabCloseRequested(1); // the primary
    EXPECT_EQ(stage.scheduler().runningExperiment(), &second);
    const quint64 before = tagsIn(WindowStage::statusOf(second));
    EXPECT_TRUE(waitUntil([&] { return tagsIn(WindowStage::statusOf(second)) > before; }));
    EXPECT_TRUE(stage.controller().isCapturing());
}

TEST(WindowMeasure, ClosingTheLastRunningTabStopsTheAcquisition) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    stage.streamingTab();
    Q_EMIT stage.tabs().tabCloseRequested(1);
    EXPECT_TRUE(stage.waitForIdle());
    EXPECT_FALSE(stage.controller().isCapturing());
    EXPECT_TRUE(stage.menuAction("&Close device")->isEnabled());
    WindowStage::press(stage.counter(), "Play");
    EXPECT_TRUE(stage.waitForData(stage.counter()));
}

TEST(WindowMeasure, ClosingATabWhileItStopsDoesNoHarm) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    gui::ExperimentTab& tags = stage.streamingTab();
    gui::ExperimentTab& other = stage.addTab("Counter");
    WindowStage::press(tags, "Stop");
    WindowStage::press(other, "Play");
    Q_EMIT stage.tabs().tabCloseRequested(2); // the one that waits for its turn
    Q_EMIT stage.tabs().tabCloseRequested(1); // the one that stops
    EXPECT_EQ(stage.tabs().count(), 1);
    ASSERT_TRUE(stage.waitForIdle());
    EXPECT_EQ(stage.scheduler().runningExperiment(), nullptr);
    WindowStage::press(stage.counter(), "Play");
    EXPECT_TRUE(stage.waitForData(stage.counter()));
}

TEST(WindowMeasure, AResetClearsOneTabAndTouchesNothingElse) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    gui::ExperimentTab& first = stage.streamingTab();
    gui::ExperimentTab& second = stage.streamingTab();
    const QSignalSpy stopped(&stage.controller(), &gui::DeviceController::captureStopped);
    WindowStage::press(second, "Reset");
    EXPECT_EQ(WindowStage::statusOf(second), QStringLiteral("cleared"));
    EXPECT_EQ(stage.window().statusBar()->currentMessage(), QStringLiteral("Measurement reset."));
    EXPECT_FALSE(WindowStage::statusOf(first).startsWith(QStringLiteral("cleared")));
    EXPECT_TRUE(stage.waitForData(second)) << "the stream goes on";
    EXPECT_LT(tagsIn(WindowStage::statusOf(second)), tagsIn(WindowStage::statusOf(first)));
    EXPECT_EQ(stopped.count(), 0);
}

TEST(WindowMeasure, AResetOfAStoppedTabStartsIt) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    WindowStage::press(stage.counter(), "Reset");
    EXPECT_TRUE(stage.counter().isRunning());
    EXPECT_TRUE(stage.waitForData(stage.counter()));
}

TEST(WindowMeasure, SwitchingTheRecordingOnMovesTheCounterToTheStream) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    stage.counter().setTimeTagRecordingDirectory(stage.folder.path());
    WindowStage::press(stage.counter(), "Complete time-tag recording");
    WindowStage::press(stage.counter(), "Play");
    EXPECT_EQ(stage.flag("Acquisition"), QStringLiteral("Acquisition: tag stream"));
    EXPECT_EQ(stage.detail(),
              QStringLiteral("counter + coincidence (USB / Packed delta (16 bit / 8 ps), external)"));
    EXPECT_TRUE(stage.waitForData(stage.counter()));
    WindowStage::press(stage.counter(), "Stop");
    EXPECT_TRUE(stage.waitForIdle());
    EXPECT_EQ(QDir(stage.folder.path()).entryList({QStringLiteral("counter_SIM00001_*.qornts")}).size(), 1);
}

TEST(WindowMeasure, ARecordingHoldsTheCompleteStream) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    gui::ExperimentTab& tab = stage.addTab("Time tags");
    tab.setTimeTagRecordingDirectory(stage.folder.path());
    WindowStage::press(tab, "Complete time-tag recording");
    WindowStage::press(tab, "Play");
    EXPECT_EQ(WindowStage::statusOf(tab), QStringLiteral("streaming and recording complete time tags"));
    ASSERT_TRUE(stage.waitForData(tab));
    WindowStage::press(tab, "Stop");
    ASSERT_TRUE(stage.waitForIdle());
    const quint64 tags = WindowStage::statusOf(tab).section(QLatin1Char(' '), 2, 2).toULongLong();
    const QFileInfoList files =
        QDir(stage.folder.path()).entryInfoList({QStringLiteral("time_tags_SIM00001_*.qornts")});
    ASSERT_EQ(files.size(), 1);
    EXPECT_GE(files.constFirst().size(), static_cast<qint64>(8 * tags)) << "eight bytes a tag at least";
    EXPECT_TRUE(stage.boxes().isEmpty());
}

TEST(WindowMeasure, AThemeSwitchDoesNotDisturbAMeasurement) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    gui::ExperimentTab& tab = stage.streamingTab();
    tab.plotWidget()->setPlotOptions(QStringLiteral("Default"), 13, 3.0, Qt::DashLine);
    const QSignalSpy stopped(&stage.controller(), &gui::DeviceController::captureStopped);
    for (const char* theme : {"Bright", "High contrast", "Dark", "Classic", "qorn", "Bright"}) {
        const quint64 before = tagsIn(WindowStage::statusOf(tab));
        QAction* action = stage.menuAction(theme);
        ASSERT_NE(action, nullptr) << theme;
        action->trigger();
        EXPECT_TRUE(action->isChecked());
        EXPECT_TRUE(waitUntil([&] { return tagsIn(WindowStage::statusOf(tab)) > before; })) << theme;
    }
    EXPECT_EQ(stopped.count(), 0);
    const gui::PlotOptions options = tab.plotWidget()->plotOptions();
    EXPECT_EQ(options.colorScheme, QStringLiteral("Bright"));
    EXPECT_EQ(options.fontPointSize, 13);
    EXPECT_EQ(options.lineWidth, 3.0);
    EXPECT_EQ(options.penStyle, Qt::DashLine);
    EXPECT_EQ(stage.flag("Acquisition"), QStringLiteral("Acquisition: tag stream"));
}

TEST(WindowMeasure, ATabInTheSplitViewKeepsMeasuringAndMayBeClosed) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    gui::ExperimentTab& tab = stage.streamingTab();
    WindowStage::press(tab, "Show this plot in the split view");
    EXPECT_FALSE(tab.isAncestorOf(tab.plotWidget()));
    const quint64 before = tagsIn(WindowStage::statusOf(tab));
    EXPECT_TRUE(waitUntil([&] { return tagsIn(WindowStage::statusOf(tab)) > before; }));
    const QPointer<gui::BarChartWidget> plot = tab.plotWidget();
    ASSERT_FALSE(plot.isNull());
    Q_EMIT stage.tabs().tabCloseRequested(1);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(plot.isNull());
    EXPECT_TRUE(stage.waitForIdle());
}

// A style that still knew of a cell that is gone would touch freed memory here.
TEST(WindowMeasure, AThemeSwitchAfterTabsHaveLeftTheSplitViewIsSafe) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    for (int round = 0; round < 15; ++round) {
        gui::ExperimentTab& tab = stage.addTab("Time tags");
        WindowStage::press(tab, "Show this plot in the split view");
        QCoreApplication::processEvents(); // the cell is dressed
        Q_EMIT stage.tabs().tabCloseRequested(1);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        stage.window().applyTheme(round % 2 == 0 ? QStringLiteral("Bright") : QStringLiteral("qorn"));
    }
    EXPECT_EQ(stage.tabs().count(), 1);
}

TEST(WindowMeasure, ADetachedTabKeepsMeasuring) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    gui::ExperimentTab& tab = stage.streamingTab();
    stage.tabs().detachTab(1);
    EXPECT_EQ(stage.tabs().count(), 1);
    const quint64 before = tagsIn(WindowStage::statusOf(tab));
    EXPECT_TRUE(waitUntil([&] { return tagsIn(WindowStage::statusOf(tab)) > before; }));
    WindowStage::press(tab, "Stop");
    EXPECT_TRUE(stage.waitForIdle());
}

TEST(WindowMeasure, ClosingTheSourceDuringAMeasurementEndsItAndANewOneWorks) {
    MeasureStage stage;
    ASSERT_TRUE(stage.connected);
    stage.streamingTab();
    Q_EMIT stage.window().setupPage().connectRequested(QStringLiteral("ftdi://SIM00002"));
    ASSERT_TRUE(waitUntil([&] { return stage.controller().hasDevice(); }));
    EXPECT_EQ(stage.tabs().count(), 1);
    EXPECT_TRUE(stage.waitForIdle());
    WindowStage::press(stage.counter(), "Play");
    EXPECT_TRUE(stage.waitForData(stage.counter()));
    EXPECT_TRUE(stage.boxes().isEmpty());
}

TEST(WindowMeasure, DestroyingTheWindowWhileMeasuringIsClean) {
    for (const char* type : {"Counter", "Time tags"}) {
        for (const bool stopping : {false, true}) {
            MeasureStage stage;
            ASSERT_TRUE(stage.connected);
            gui::ExperimentTab& tab = stage.addTab(type);
            WindowStage::press(tab, "Play");
            ASSERT_TRUE(stage.waitForData(tab));
            if (stopping) {
                WindowStage::press(tab, "Stop");
                WindowStage::press(stage.counter(), "Play");
            }
            stage.destroyWindow();
            QCoreApplication::processEvents();
        }
    }
}

} // namespace
} // namespace qorn::testing
