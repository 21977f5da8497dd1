// What the operator meets when the instrument fails.
#include "QtPrinting.h"
#include "WidgetFinder.h"
#include "WindowStage.h"

#include <QAction>
#include <QComboBox>
#include <QMessageBox>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

struct FaultRow {
    const char* name;
    const char* tab;
    const char* faults;
};

void PrintTo(const FaultRow& row, std::ostream* out) {
    *out << row.name;
}

class Unplugged : public ::testing::TestWithParam<FaultRow> {};

// The unit goes while it measures and comes back on the bus soon after.
TEST_P(Unplugged, IsToldStopsTheTabsAndMeasuresAgainAfterCloseAndConnect) {
    WindowStage stage(standardScene(QByteArray(R"("faults": {)") + GetParam().faults + "},"));
    ASSERT_TRUE(stage.connectUnit());
    gui::ExperimentTab& tab = stage.addTab(GetParam().tab);
    gui::ExperimentTab& other = stage.addTab(GetParam().tab);
    const bool shares = QLatin1String(GetParam().tab) == QLatin1String("Time tags");
    QString errorText;
    QObject::connect(&stage.controller(), &gui::DeviceController::captureError,
                     [&errorText](const QString& text) { errorText = text; });
    WindowStage::press(tab, "Play");
    if (shares) {
        WindowStage::press(other, "Play");
    }
    ASSERT_TRUE(stage.waitForBox("Capture error"));
    ASSERT_TRUE(stage.waitForIdle());
    EXPECT_EQ(stage.boxes().size(), 1);
    const QMessageBox* box = stage.boxes().constFirst();
    EXPECT_EQ(box->icon(), QMessageBox::Warning);
    EXPECT_FALSE(box->text().isEmpty());
    EXPECT_EQ(box->text(), errorText);
    EXPECT_FALSE(tab.isRunning());
    EXPECT_FALSE(other.isRunning());
    EXPECT_TRUE(WindowStage::statusOf(tab).startsWith(QStringLiteral("stopped after ")));
    EXPECT_EQ(stage.detail(), QStringLiteral("idle"));
    stage.takeBox();
    EXPECT_TRUE(WindowStage::canPress(tab, "Play"));

    QAction* close = stage.menuAction("&Close device");
    ASSERT_TRUE(close->isEnabled());
    close->trigger();
    const auto* list = stage.window().setupPage().findChild<QComboBox*>();
    QAbstractButton* refresh = findButton(stage.window().setupPage(), QStringLiteral("Refresh"));
    QSignalSpy scans(&stage.controller(), &gui::DeviceController::devicesDiscovered);
    ASSERT_TRUE(
        waitUntil([&] { // the operator scans until the unit is back; the list of before does not count
            if (!scans.isEmpty() && list->findText(QStringLiteral("SIM00001"), Qt::MatchStartsWith) >= 0) {
                return true;
            }
            refresh->click();
            return false;
        }));
    ASSERT_TRUE(stage.clickConnect());
    gui::ExperimentTab& again = stage.addTab(GetParam().tab);
    WindowStage::press(again, "Play");
    EXPECT_TRUE(stage.waitForData(again));
    EXPECT_TRUE(stage.boxes().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Measurements, Unplugged,
    ::testing::Values(FaultRow{"Stream", "Time tags", R"("unplug_at_read": 30, "replug_after_s": 0.2)"},
                      FaultRow{"Hardware", "Counter", R"("unplug_after_s": 0.8, "replug_after_s": 0.5)"}),
    [](const auto& test) { return test.param.name; });

TEST(WindowFault, AReadThatFailsStopsTheTabsAndThenItMeasuresAgain) {
    WindowStage stage(standardScene(
        R"("faults": {"calls": [{"call": "tt_read_stream_bytes", "at": 20, "count": 1, "status": -1}]},)"));
    ASSERT_TRUE(stage.connectUnit());
    gui::ExperimentTab& tab = stage.addTab("Time tags");
    WindowStage::press(tab, "Play");
    ASSERT_TRUE(stage.waitForBox("Capture error"));
    EXPECT_FALSE(stage.takeBox().isEmpty());
    ASSERT_TRUE(stage.waitForIdle());
    EXPECT_FALSE(tab.isRunning());
    WindowStage::press(tab, "Play");
    EXPECT_TRUE(stage.waitForData(tab));
    EXPECT_TRUE(stage.boxes().isEmpty());
}

TEST(WindowFault, ACounterWithoutFramesSaysSo) {
    WindowStage stage(standardScene(
        R"("faults": {"calls": [{"call": "tt_read_count_stream_sample", "at": 1, "count": 3, "status": -3}]},)"));
    ASSERT_TRUE(stage.connectUnit());
    WindowStage::press(stage.tab(0), "Play");
    ASSERT_TRUE(stage.waitForBox("Capture error"));
    EXPECT_EQ(stage.takeBox(),
              QStringLiteral("autonomous counter stream timed out; firmware did not emit count frames"));
    EXPECT_TRUE(stage.waitForIdle());
    EXPECT_FALSE(stage.tab(0).isRunning());
}

TEST(WindowFault, AStartQueuedBehindASlowStopStillRuns) {
    WindowStage stage(standardScene(
        R"("faults": {"calls": [{"call": "tt_stop_stream_mode", "count": 0, "status": 0, "delay_ms": 400}]},)"));
    ASSERT_TRUE(stage.connectUnit());
    gui::ExperimentTab& tags = stage.addTab("Time tags");
    gui::ExperimentTab& late = stage.addTab("Time tags");
    WindowStage::press(tags, "Play");
    ASSERT_TRUE(stage.waitForData(tags));
    WindowStage::press(tags, "Stop");
    WindowStage::press(stage.tab(0), "Play");
    EXPECT_FALSE(stage.tab(0).isRunning());
    WindowStage::press(late, "Play"); // no more of the ending stream for anybody
    EXPECT_EQ(stage.detail(), QStringLiteral("stopping, queued start"));
    EXPECT_FALSE(late.isRunning());
    EXPECT_TRUE(stage.waitForData(late));
    EXPECT_EQ(stage.scheduler().runningConsumerCount(), 1);
    EXPECT_FALSE(stage.tab(0).isRunning());
    EXPECT_TRUE(stage.boxes().isEmpty());
}

TEST(WindowFault, AStopThatFailsIsToldAndLeavesNoTabRunning) {
    WindowStage stage(standardScene(
        R"("faults": {"calls": [{"call": "tt_stop_stream_mode", "at": 1, "count": 0, "status": -1}]},)"));
    ASSERT_TRUE(stage.connectUnit());
    gui::ExperimentTab& tags = stage.addTab("Time tags");
    WindowStage::press(tags, "Play");
    ASSERT_TRUE(stage.waitForData(tags));
    WindowStage::press(tags, "Stop");
    ASSERT_TRUE(stage.waitForBox("Capture error"));
    stage.takeBox();
    ASSERT_TRUE(stage.waitForIdle());
    EXPECT_FALSE(tags.isRunning());
    stage.menuAction("&Close device")->trigger();
    EXPECT_FALSE(stage.controller().hasSource());
    ASSERT_TRUE(stage.clickConnect());
    WindowStage::press(stage.tab(0), "Play");
    EXPECT_TRUE(stage.waitForData(stage.tab(0)));
}

TEST(WindowFault, AUnitThatWentWhileNothingRanIsToldAtTheNextStart) {
    WindowStage stage(standardScene(R"("faults": {"unplug_after_s": 0.1},)"));
    ASSERT_TRUE(stage.connectUnit());
    ASSERT_TRUE(stage.waitForFlag("Clock lock: unavailable")) << "the clock's poll notices";
    EXPECT_TRUE(stage.boxes().isEmpty()) << "a poll is no reason for a box";
    WindowStage::press(stage.tab(0), "Play");
    ASSERT_TRUE(stage.waitForBox("Capture error"));
    stage.takeBox();
    EXPECT_TRUE(stage.waitForIdle());
    EXPECT_FALSE(stage.tab(0).isRunning());
    stage.menuAction("&Close device")->trigger();
    EXPECT_FALSE(stage.controller().hasSource());
}

TEST(WindowFault, ASceneThatIsRefusedIsToldOnConnect) {
    WindowStage stage(R"({"units": [{"seed": "x"}]})");
    stage.openWindow();
    const auto* list = stage.window().setupPage().findChild<QComboBox*>();
    QAbstractButton* button = findButton(stage.window().setupPage(), QStringLiteral("Connect"));
    ASSERT_TRUE(waitUntil([&] { return list->count() > 0 && button->isEnabled(); }));
    QTest::mouseClick(button, Qt::LeftButton);
    ASSERT_TRUE(stage.waitForBox("Open failed"));
    EXPECT_TRUE(stage.takeBox().contains(QStringLiteral("seed")));
}

} // namespace
} // namespace qorn::testing
