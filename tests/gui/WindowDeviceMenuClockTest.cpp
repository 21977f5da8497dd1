// The reference clock through the device menu: what is chosen is sent, followed on the status bar, and found
// again at the next start.
#include "ClockSettingsDialog.h"
#include "DeviceMenuStage.h"
#include "QtPrinting.h"
#include "StoredSettings.h"

#include <QComboBox>
#include <QLabel>
#include <QMessageBox>

namespace qorn::testing {
namespace {

using gui::ClockSettingsDialog;

constexpr const char* kEntry = "Clock settings...";
constexpr const char* kModeKey = "setup/referenceClockMode";

QByteArray sceneWithReference(const QByteArray& reference) {
    return standardScene("\"reference\": {" + reference + "},");
}

void chooseClock(DeviceMenuStage& stage, const char* source, const char* output) {
    auto& dialog = stage.choose<ClockSettingsDialog>(kEntry);
    DeviceMenuStage::control<QComboBox>(dialog, "source").setCurrentText(QString::fromUtf8(source));
    DeviceMenuStage::control<QComboBox>(dialog, "output").setCurrentText(QString::fromUtf8(output));
    DeviceMenuStage::click(dialog, "Apply");
}

int storedMode() {
    return storedSettings().value(QLatin1String(kModeKey), -1).toInt();
}

TEST(WindowDeviceMenuClock, TheExternalReferenceIsWaitedForAndThenShownAsLocked) {
    DeviceMenuStage stage(sceneWithReference(R"("lock_delay_s": 1.0)"));
    ASSERT_TRUE(stage.connectUnit());
    ASSERT_TRUE(stage.waitForFlag("Clock lock: internal"));
    EXPECT_EQ(stage.flag("Clock out"), QStringLiteral("Clock out: 10 MHz"));
    chooseClock(stage, "External 10 MHz input", "1 PPS");
    EXPECT_EQ(stage.message(), QStringLiteral("Clock settings applied."));
    EXPECT_EQ(stage.flag("Clock lock"), QStringLiteral("Clock lock: waiting"));
    EXPECT_EQ(stage.flagState("Clock lock"), QStringLiteral("warning"));
    EXPECT_EQ(stage.flag("Clock out"), QStringLiteral("Clock out: 1 PPS"));
    EXPECT_EQ(stage.flagState("Clock out"), QStringLiteral("good"));
    ASSERT_TRUE(stage.waitForFlag("Clock lock: external"));
    EXPECT_EQ(stage.flagState("Clock lock"), QStringLiteral("good"));
    EXPECT_EQ(storedMode(), 6);
}

TEST(WindowDeviceMenuClock, TheChoiceIsFoundAgainAtTheNextStart) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    chooseClock(stage, "External 10 MHz input", "1 PPS");
    stage.destroyWindow();
    ASSERT_TRUE(stage.connectUnit());
    ASSERT_TRUE(stage.waitForFlag("Clock lock: external"));
    ASSERT_TRUE(stage.waitForFlag("Clock out: 1 PPS"));
    auto& dialog = stage.choose<ClockSettingsDialog>(kEntry);
    EXPECT_EQ(DeviceMenuStage::control<QComboBox>(dialog, "source").currentText(),
              QStringLiteral("External 10 MHz input"));
    EXPECT_EQ(DeviceMenuStage::control<QComboBox>(dialog, "output").currentText(), QStringLiteral("1 PPS"));
    EXPECT_EQ(DeviceMenuStage::control<QLabel>(dialog, "current").text(),
              QStringLiteral("Current: External source, 1 PPS output"));
    DeviceMenuStage::click(dialog, "Cancel");
}

TEST(WindowDeviceMenuClock, CancelChangesNothing) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    ASSERT_TRUE(stage.waitForFlag("Clock lock: internal"));
    auto& dialog = stage.choose<ClockSettingsDialog>(kEntry);
    DeviceMenuStage::control<QComboBox>(dialog, "source").setCurrentIndex(2);
    DeviceMenuStage::control<QComboBox>(dialog, "output").setCurrentIndex(1);
    DeviceMenuStage::click(dialog, "Cancel");
    stage.controller().refreshClockStatus();
    EXPECT_EQ(stage.flag("Clock lock"), QStringLiteral("Clock lock: internal"));
    EXPECT_EQ(stage.flag("Clock out"), QStringLiteral("Clock out: 10 MHz"));
    EXPECT_EQ(storedMode(), -1);
    EXPECT_EQ(stage.choose<ClockSettingsDialog>(kEntry).wish(), gui::ClockWish());
}

TEST(WindowDeviceMenuClock, WithoutASignalAMeasurementDoesNotStartUntilTheClockIsInternalAgain) {
    DeviceMenuStage stage(sceneWithReference(R"("present": false)"));
    ASSERT_TRUE(stage.connectUnit());
    chooseClock(stage, "External 10 MHz input", "10 MHz");
    EXPECT_EQ(stage.flag("Clock lock"), QStringLiteral("Clock lock: waiting"));
    WindowStage::press(stage.tab(0), "Play");
    ASSERT_TRUE(stage.waitForBox("Capture error"));
    EXPECT_EQ(
        stage.takeBox(),
        QStringLiteral("External 10 MHz reference is selected, but the device is not locked to CLKIN."));
    ASSERT_TRUE(stage.waitForIdle());
    chooseClock(stage, "Internal", "10 MHz");
    EXPECT_EQ(stage.flag("Clock lock"), QStringLiteral("Clock lock: internal"));
    EXPECT_EQ(stage.flagState("Clock lock"), QStringLiteral("good"));
    WindowStage::press(stage.tab(0), "Play");
    EXPECT_TRUE(stage.waitForData(stage.tab(0)));
}

TEST(WindowDeviceMenuClock, AReferenceThatGoesAndComesBackIsFollowed) {
    DeviceMenuStage stage(
        sceneWithReference(R"("lock_delay_s": 0.1, "lost_after_s": 4.0, "back_after_s": 3.0)"));
    ASSERT_TRUE(stage.connectUnit());
    chooseClock(stage, "External 10 MHz input", "10 MHz");
    ASSERT_TRUE(stage.waitForFlag("Clock lock: external"));
    ASSERT_TRUE(stage.waitForFlag("Clock lock: waiting"));
    EXPECT_EQ(stage.flagState("Clock lock"), QStringLiteral("warning"));
    ASSERT_TRUE(stage.waitForFlag("Clock lock: external"));
    EXPECT_EQ(stage.flagState("Clock lock"), QStringLiteral("good"));
}

TEST(WindowDeviceMenuClock, AutomaticShowsALockThatIsAtFault) {
    DeviceMenuStage stage(sceneWithReference(R"("lock_fault": true)"));
    ASSERT_TRUE(stage.connectUnit());
    chooseClock(stage, "Automatic", "1 PPS");
    EXPECT_EQ(stage.flag("Clock lock"), QStringLiteral("Clock lock: internal"));
    EXPECT_EQ(stage.flagState("Clock lock"), QStringLiteral("warning"));
    EXPECT_EQ(storedMode(), 4);
}

TEST(WindowDeviceMenuClock, AnImageWithoutClockControlRefusesAndNothingIsStored) {
    DeviceMenuStage stage(sceneWithReference(R"("control": false)"));
    ASSERT_TRUE(stage.connectUnit());
    ASSERT_TRUE(stage.waitForFlag("Clock lock: unavailable"));
    EXPECT_EQ(stage.flagState("Clock lock"), QStringLiteral("warning"));
    EXPECT_EQ(stage.flagState("Clock out"), QStringLiteral("warning"));
    chooseClock(stage, "External 10 MHz input", "1 PPS");
    ASSERT_TRUE(stage.waitForBox("Clock settings"));
    EXPECT_EQ(stage.boxes().constFirst()->icon(), QMessageBox::Warning);
    EXPECT_EQ(stage.takeBox(), QStringLiteral("Clock control is unavailable on this device image."));
    EXPECT_NE(stage.message(), QStringLiteral("Clock settings applied."));
    EXPECT_EQ(storedMode(), -1);
}

TEST(WindowDeviceMenuClock, AFailureIsToldInItsOwnWords) {
    DeviceMenuStage stage(standardScene(
        R"("faults": {"calls": [{"call": "tt_set_reference_clock", "at": 2, "count": 1, "status": -1}]},)"));
    ASSERT_TRUE(stage.connectUnit());
    ASSERT_TRUE(stage.waitForFlag("Clock lock: internal"));
    QCoreApplication::processEvents(); // the opening's own call
    chooseClock(stage, "External 10 MHz input", "10 MHz");
    ASSERT_TRUE(stage.waitForBox("Clock settings"));
    EXPECT_FALSE(stage.takeBox().isEmpty());
    EXPECT_EQ(storedMode(), -1);
    chooseClock(stage, "External 10 MHz input", "10 MHz");
    EXPECT_EQ(storedMode(), 2) << "the next attempt works";
}

} // namespace
} // namespace qorn::testing
